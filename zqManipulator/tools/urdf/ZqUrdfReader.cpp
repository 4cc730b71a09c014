#include "zqManipulator/tools/urdf/ZqUrdfReader.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/tools/urdf/ZqUrdfBuilder.h"
#include "zqManipulator/tools/urdf/ZqUrdfParser.h"

#include <algorithm>
#include <istream>
#include <new>
#include <streambuf>

namespace
{
/// A stream of a text that stays where it is.
class TextStream : private std::streambuf, public std::istream
{
public:
   explicit TextStream(std::string_view text) : std::istream(this)
   {
      char* begin = const_cast<char*>(text.data()); // a buffer for reading is not written to
      setg(begin, begin, begin + text.size());
   }
};

bool hasRobot(ZqXmlReader& reader)
{
   const Zq::DiagnosticCollector log;
   return ZqXmlReader::isStart(reader.nextNode()) && ZqUrdf::Parser::isRoot(reader.tagText());
}

bool endsWithXacro(const ZqString& name)
{
   return name.ends_with(".xacro");
}
} // namespace

bool ZqUrdfReader::recognizes(const ZqString& fileName)
{
   ZqXmlReader reader(fileName);
   return hasRobot(reader);
}

bool ZqUrdfReader::recognizesText(std::string_view text)
{
   TextStream stream(text);
   ZqXmlReader reader(stream, "text");
   return hasRobot(reader);
}

bool ZqUrdfReader::read(ZqStatedSystem& scene, const ZqString& fileName)
{
   ZqXmlReader reader(fileName);
   return read(scene, reader);
}

bool ZqUrdfReader::readText(ZqStatedSystem& scene, std::string_view text, const ZqString& name)
{
   TextStream stream(text);
   ZqXmlReader reader(stream, name);
   return read(scene, reader);
}

bool ZqUrdfReader::read(ZqStatedSystem& scene, ZqXmlReader& reader)
try
{
   ZqUrdf::Robot robot;
   ZqConversionLosses losses;
   if (endsWithXacro(reader.fileName()))
   {
      reader.fail("a file of xacro has to be expanded first: xacro robot.urdf.xacro > robot.urdf",
                  "xacro");
      return false;
   }
   if (!ZqUrdf::Parser(reader, robot, losses).parse())
      return false;
   ZqUrdf::Tree tree;
   std::optional<ZqUrdf::Fault> fault = ZqUrdf::findTree(robot, tree);
   if (!fault)
   {
      ZqUrdf::ShapeMaker shapes(robot, m_packages, m_meshReader, reader.fileName(), losses);
      fault = ZqUrdf::Builder(robot, tree, shapes, losses).build(m_hasFreeBase, scene);
   }
   if (fault)
   {
      Zq::Print::instance().report(
         {Zq::Severity::Error, "urdf", reader.fileName(), fault->line, fault->place, fault->text});
      return false;
   }
   std::stable_sort(losses.begin(), losses.end(),
                    [](const ZqConversionLoss& a, const ZqConversionLoss& b)
                    { return a.line < b.line; });
   m_losses = std::move(losses);
   return true;
}
catch (const std::bad_alloc&)
{
   Zq::Print::instance().report(
      {Zq::Severity::Error, "memory", reader.fileName(), 0, {}, "no memory for the robot"});
   return false;
}
