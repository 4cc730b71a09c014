#include "apps/zqsim/model.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/urdfFile.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/tools/checks/ZqModelCheck.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <set>
#include <string_view>
#include <utility>

namespace
{
std::string inputName(const std::string& fileName)
{
   return zqsim::isStandardStream(fileName) ? "standard input" : fileName;
}

/// What a robot in URDF lost is told by one warning.
zqsim::Diagnostics readAnyModel(const std::string& fileName, ZqStatedSystem& scene)
{
   std::optional<ZqConversionLosses> losses;
   zqsim::Diagnostics diagnostics = zqsim::readModel(fileName, {}, scene, losses);
   if (losses && !losses->empty())
      diagnostics.push_back({Zq::Severity::Warning,
                             "urdf",
                             inputName(fileName),
                             0,
                             {},
                             "of the robot in URDF is lost or changed: " +
                                std::to_string(losses->size()) + "; zqsim convert tells what"});
   return diagnostics;
}

/// Replaces one number for each joint in a state, in lists that a function finds by manipulator.
template <class ListOf>
void setOfJoints(ZqStatedSystem& scene, const char* option, const std::string& list, ListOf listOf)
{
   const std::vector<ZqReal> numbers = zqsim::parseNumbers(option, list);
   const ZqU32 needed = scene.system().jointDof();
   if (numbers.size() != needed)
      throw zqsim::Failure(zqsim::Usage, std::string(option) + ": the model needs " +
                                            std::to_string(needed) + " numbers, but received " +
                                            std::to_string(numbers.size()));
   ZqManipulatorSystemState state = scene.state();
   auto next = numbers.begin();
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      for (ZqReal& number : listOf(state, i))
         number = *next++;
   scene.setState(state);
}
} // namespace

void zqsim::ModelArguments::declare(CLI::App& arguments)
{
   arguments.add_option("MODEL", model, "The model to read")->required()->type_name("FILE");
   arguments.add_flag("--json", json, "Write JSON");
}

void zqsim::warnOfMessages()
{
   Zq::Print::instance().setSink(
      [seen = std::set<std::string, std::less<>>()](unsigned, std::string_view text) mutable
      {
         const std::string line = Zq::oneLine(text);
         if (seen.insert(line).second)
            complain("warning: " + line);
      });
}

zqsim::Diagnostics zqsim::diagnosticsOf(const std::function<void()>& action)
{
   const Zq::DiagnosticCollector collector;
   action();
   Diagnostics diagnostics;
   std::set<Zq::Diagnostic> seen;
   for (const Zq::Diagnostic& diagnostic : collector.diagnostics())
      if (diagnostic.severity != Zq::Severity::Note && seen.insert(diagnostic).second)
         diagnostics.push_back(diagnostic);
   return diagnostics;
}

std::string zqsim::reason(const std::string& fileName, const Diagnostics& diagnostics)
{
   if (diagnostics.empty())
      return fileName + ": unknown reason";
   // The first error; what follows it may follow from it.
   return Zq::toString(*std::min_element(diagnostics.begin(), diagnostics.end(),
                                         [](const Zq::Diagnostic& a, const Zq::Diagnostic& b)
                                         { return a.severity < b.severity; }));
}

std::string zqsim::lineOf(const Zq::Diagnostic& diagnostic)
{
   return Zq::toString(diagnostic) + " [" + diagnostic.code + ']';
}

zqsim::Diagnostics zqsim::readDocument(const std::string& fileName, ZqXmlObject& object)
{
   if (auto* scene = dynamic_cast<ZqStatedSystem*>(&object))
      return readAnyModel(fileName, *scene);
   const std::string name = inputName(fileName);
   bool isRead = false;
   Diagnostics diagnostics = diagnosticsOf(
      [&]
      {
         if (!isStandardStream(fileName))
         {
            isRead = Zq::load(object, fileName);
            return;
         }
         ZqXmlReader reader(std::cin, name);
         isRead = Zq::read(object, reader);
      });
   if (!isRead)
      throw Failure(InvalidInput, reason(name, diagnostics));
   return diagnostics;
}

zqsim::Diagnostics zqsim::readAndCheckModel(const std::string& fileName, ZqStatedSystem& scene,
                                            std::optional<ZqReal> step,
                                            const std::function<void()>& prepare)
{
   Diagnostics diagnostics = readDocument(fileName, scene);
   if (prepare)
      prepare();
   for (Zq::Diagnostic& found : checkModel(fileName, scene, step))
      diagnostics.push_back(std::move(found));
   return diagnostics;
}

zqsim::Diagnostics zqsim::checkModel(const std::string& fileName, const ZqStatedSystem& scene,
                                     std::optional<ZqReal> step)
{
   Diagnostics diagnostics = Zq::checkModel(scene, step);
   for (Zq::Diagnostic& found : diagnostics)
      found.file = inputName(fileName);
   return diagnostics;
}

void zqsim::setJointPositions(ZqStatedSystem& scene, const char* option, const std::string& list)
{
   setOfJoints(scene, option, list,
               [](ZqManipulatorSystemState& state, ZqU32 i) -> std::vector<ZqReal>&
               { return state.positionStates()[i].jointPositions().values(); });
}

void zqsim::setJointVelocities(ZqStatedSystem& scene, const char* option, const std::string& list)
{
   setOfJoints(scene, option, list,
               [](ZqManipulatorSystemState& state, ZqU32 i) -> std::vector<ZqReal>&
               { return state.velocityStates()[i].jointVelocities().values(); });
}

void zqsim::warnOf(const Diagnostics& diagnostics)
{
   for (const Zq::Diagnostic& diagnostic : diagnostics)
      if (diagnostic.severity != Zq::Severity::Note)
         complain("warning: " + lineOf(diagnostic));
}

void zqsim::writeDocument(const ZqXmlObject& object, const std::string& fileName,
                          bool writeDefaults)
{
   ZqString document;
   bool isWritten = false;
   const Diagnostics diagnostics = diagnosticsOf(
      [&]
      {
         isWritten = isStandardStream(fileName) ? Zq::toXml(object, document, writeDefaults)
                                                : Zq::save(object, fileName, writeDefaults);
      });
   if (!isWritten)
      throw Failure(Failed, reason(fileName, diagnostics));
   if (isStandardStream(fileName))
      print(document);
}
