#include "apps/zqsim/edits.h"

#include "apps/zqsim/numbers.h"
#include "apps/zqsim/outputFile.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace
{
using namespace zqsim;

/// A manipulator in the system: its label, and its base frame.
using Placed = std::pair<std::string, ZqCoordinateSystemTransformation>;

std::vector<Placed> placedManipulators(const ZqStatedSystem& scene)
{
   std::vector<Placed> placed;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      placed.emplace_back(labelOf(scene, i), scene.system().manipulators()[i].coordSysXForm() *
                                                scene.state().positionStates()[i].coordSysXForm());
   return placed;
}

/// Adds which base frames moved: of manipulators of one index, or of one label if some came or went.
void addMoves(const std::vector<Placed>& before, const std::vector<Placed>& after, Changes& changes)
{
   for (std::size_t i = 0; i < after.size(); ++i)
   {
      const auto& [label, frame] = after[i];
      const auto old =
         before.size() == after.size()
            ? before.begin() + static_cast<std::ptrdiff_t>(i)
            : std::find_if(before.begin(), before.end(),
                           [&](const Placed& placed) { return placed.first == label; });
      if (old == before.end())
         continue;
      const Json from = toJson(old->second);
      const Json to = toJson(frame);
      for (const char* part : {"position", "orientation"})
         if (from.at(part) != to.at(part))
            changes.add((std::string("base ") + part).c_str(), label, from.at(part), to.at(part));
   }
}

Json describeManipulators(const ZqStatedSystem& scene)
{
   Json rows = Json::array();
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      rows.push_back({{"index", i},
                      {"label", labelOf(scene, i)},
                      {"joints", scene.jointDof(i)},
                      {"carrier", carrierOf(scene, i)}});
   return rows;
}

std::string describe(const Json& data)
{
   constexpr std::array<Column, 4> changes{
      {{"what", "/what"}, {"of", "/of"}, {"from", "/from"}, {"to", "/to"}}};
   constexpr std::array<Column, 4> manipulators{{{"index", "/index"},
                                                 {"manipulator", "/label"},
                                                 {"joints", "/joints"},
                                                 {"carrier", "/carrier"}}};
   std::string result;
   if (!data.at("changes").empty())
      result = table(data.at("changes"), changes) + '\n';
   return result + table(data.at("manipulators"), manipulators);
}
} // namespace

void zqsim::EditArguments::declare(CLI::App& arguments, bool hasModel)
{
   if (hasModel)
      arguments.add_option("MODEL", model, "The model to read")->required()->type_name("FILE");
   arguments
      .add_option(
         "OUT,-o,--out", out,
         "Where to write the new model; it may be the same file, and is replaced only by a whole "
         "document. With -, standard output has the model, and nothing else is told")
      ->required()
      ->type_name("FILE");
   arguments.add_flag("--json", json, "Tell as JSON what changed");
   arguments.add_flag("--brief", brief, "Leave out of the model what equals its default");
}

zqsim::ExitCode zqsim::runEdit(const EditArguments& arguments, const Edit& edit)
{
   const bool isToldApart = !isStandardStream(arguments.out);
   if (arguments.json && !isToldApart)
      throw Failure(Usage, "--json: standard output is where the model goes");
   ZqStatedSystem scene;
   warnOf(readDocument(arguments.model, scene));
   const std::vector<Placed> before = placedManipulators(scene);
   Changes changes;
   edit(scene, changes);
   addMoves(before, placedManipulators(scene), changes);
   writeScene(scene, arguments.out, !arguments.brief);
   const Json data{{"model", arguments.model},
                   {"out", arguments.out},
                   {"changes", changes.rows()},
                   {"manipulators", describeManipulators(scene)}};
   if (arguments.json)
      print(data);
   else if (isToldApart)
      print(describe(data));
   return Done;
}

void zqsim::writeScene(ZqStatedSystem& scene, const std::string& fileName, bool writeDefaults)
{
   warnOf(diagnosticsOf([&] { scene.keepCombinations(); }));
   writeDocument(scene, fileName, writeDefaults);
}

namespace
{
/// What the first message says, without the name of an operation.
std::string reasonOf(const Diagnostics& diagnostics)
{
   if (diagnostics.empty())
      return "the model cannot be changed so";
   std::string text = Zq::toString(diagnostics.front());
   if (const std::size_t end = text.find("(): "); text.starts_with("Zq") && end != text.npos)
      text.erase(0, end + 4);
   if (text.ends_with('.'))
      text.pop_back();
   return text;
}
} // namespace

void zqsim::require(const std::function<bool()>& operation)
{
   bool isDone = false;
   const Diagnostics diagnostics = diagnosticsOf([&] { isDone = operation(); });
   if (!isDone)
      throw Failure(Usage, reasonOf(diagnostics));
   warnOf(diagnostics);
}

zqsim::Arrival::Arrival(const std::string& fileName, const std::string& label, bool isAlone)
{
   warnOf(readDocument(fileName, model));
   manipulator = findManipulatorOrOnly(model, "--manipulator", label);
   if (!isAlone)
      return;
   for (ZqU32 i = model.numberOfManipulators(); i-- > 0;)
      if (i != manipulator)
         require([&] { return model.removeManipulator(i); });
   manipulator = 0;
}

ZqU32 zqsim::Arrival::joinTo(ZqStatedSystem& scene, Changes& changes) const
{
   const ZqU32 count = scene.numberOfManipulators();
   warnOf(diagnosticsOf([&] { scene.append(model); }));
   for (ZqU32 i = 0; i < model.numberOfManipulators(); ++i)
      if (labelOf(scene, count + i) != labelOf(model, i))
         changes.add("label", labelOf(model, i), labelOf(model, i), labelOf(scene, count + i));
   return count + manipulator;
}

zqsim::LinkPlace zqsim::findLink(const ZqStatedSystem& scene, const char* option,
                                 const std::string& name)
{
   std::vector<LinkPlace> found;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& manipulator = *scene.manipulatorByIndex(i);
      const std::string& label = manipulator.manipulatorLabel();
      if (manipulator.linkByIdentifier(name) != nullptr)
         found.push_back({i, name});
      else if (name.size() > label.size() && name.starts_with(label) &&
               (name[label.size()] == '/' || name[label.size()] == ':') &&
               manipulator.linkByIdentifier(name.substr(label.size() + 1)) != nullptr)
         found.push_back({i, name.substr(label.size() + 1)});
   }
   if (found.empty())
      throw Failure(Usage, std::string(option) + ": the model has no link \"" + name + '"');
   if (found.size() > 1)
      throw Failure(Usage, std::string(option) + ": more than one manipulator has a link \"" +
                              name + "\"; give it as MANIPULATOR/LINK");
   return found.front();
}

ZqU32 zqsim::findManipulator(const ZqStatedSystem& scene, const char* option,
                             const std::string& label)
{
   ZqU32 index = 0;
   if (!scene.lookupManipulatorIndexFromLabel(label, index))
      throw Failure(Usage, std::string(option) + ": the model has no manipulator \"" + label + '"');
   return index;
}

ZqU32 zqsim::findManipulatorOrOnly(const ZqStatedSystem& scene, const char* option,
                                   const std::string& label)
{
   if (!label.empty())
      return findManipulator(scene, option, label);
   if (scene.numberOfManipulators() != 1)
      throw Failure(Usage, std::string(option) + ": the model has " +
                              std::to_string(scene.numberOfManipulators()) +
                              " manipulators; say which");
   return 0;
}

std::pair<std::string, std::string>
zqsim::splitAtSign(const char* option, const std::string& argument, const char* form)
{
   const std::size_t sign = argument.find('=');
   if (sign == std::string::npos || sign == 0 || sign + 1 == argument.size())
      throw Failure(Usage, std::string(option) + ": expected " + form + ", but received \"" +
                              argument + '"');
   return {argument.substr(0, sign), argument.substr(sign + 1)};
}

ZqCoordinateSystemTransformation zqsim::parseFrame(const char* option, const std::string& text)
{
   const std::vector<ZqReal> n = parseNumbers(option, text);
   if (n.size() != 3 && n.size() != 6)
      throw Failure(Usage, std::string(option) +
                              ": expected \"x y z\" or \"x y z roll pitch yaw\", but received " +
                              std::to_string(n.size()) + " numbers");
   ZqOrientation orientation;
   if (n.size() == 6)
   {
      const auto turn = [](ZqReal angle, const ZqVector& axis)
      {
         ZqOrientation result;
         result.setFromAngleAxis(angle, axis);
         return result;
      };
      orientation =
         turn(n[5], {0.0, 0.0, 1.0}) * turn(n[4], {0.0, 1.0, 0.0}) * turn(n[3], {1.0, 0.0, 0.0});
   }
   return {ZqVector(n[0], n[1], n[2]), orientation};
}

zqsim::Json zqsim::carrierOf(const ZqStatedSystem& scene, ZqU32 index)
{
   ZqU32 carrier = 0;
   ZqString link;
   ZqCoordinateSystemTransformation offset;
   if (!scene.configuration().attachmentMap().getDependentManipulatorInfo(index, carrier, link,
                                                                          offset) ||
       carrier >= scene.numberOfManipulators())
      return {};
   return labelOf(scene, carrier) + '/' + link;
}
