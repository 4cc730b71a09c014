#pragma once

#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/tools/urdf/ZqUrdfRobot.h"

#include <functional>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace ZqUrdf
{
/// Reads a document into a record of a robot. What the record has no place for is a loss.
class Parser
{
public:
   Parser(ZqXmlReader& reader, Robot& robot, ZqConversionLosses& losses)
      : m_reader(reader), m_robot(robot), m_losses(losses)
   {
   }
   /// False when the document is refused.
   bool parse();
   /// Whether the name of an element is that of a root, in a namespace or in none.
   static bool isRoot(std::string_view name);

private:
   /// A child element that is known where it stands.
   struct Child
   {
      const char* name;
      bool isList;
      std::function<void()> read;
   };
   class Attributes;

   void readChildren(std::initializer_list<Child> children);
   void readNothing() { readChildren({}); }
   void lose(const ZqString& element, const ZqString& text, unsigned long line,
             ZqConversionLoss::Kind kind = ZqConversionLoss::Kind::Lost);
   void loseElement(const ZqString& text);
   void setPlace(const char* kind, const ZqString& name);
   bool stopped() const { return m_reader.stopped(); }
   std::string_view tag() const;
   void refuseXacro();
   bool isXacroTag();
   bool isXacroValue(std::string_view text);

   bool takeName(Attributes& attributes, const char* kind, ZqString& name);
   void readRobot();
   void readLink();
   void readJoint();
   void readTransmission();
   void checkTransmissions();
   void readMaterial(Material& material);
   void readColor(Material& material);
   void readOrigin(ZqCoordinateSystemTransformation& origin);
   void readInertial(Link& link);
   void readInertia(ZqSecondMoment& moment);
   void checkInertia(const ZqSecondMoment& moment);
   void readShape(std::vector<Shape>& shapes, bool isVisual);
   void readGeometry(Geometry& geometry);
   void readLimit(Joint& joint);
   void checkLimit(Joint& joint, unsigned long line);
   void readMimic(Joint& joint);
   void readDynamics(Joint& joint);
   void readAxis(ZqVector& axis);
   ZqString readName(const char* attribute);
   ZqString readText();

   ZqXmlReader& m_reader;
   Robot& m_robot;
   ZqConversionLosses& m_losses;
   ZqString m_place = "robot";
   ZqString m_namespace; ///< of the root, and of all that is known
};
} // namespace ZqUrdf
