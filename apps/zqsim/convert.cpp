#include "apps/meshFiles/meshFiles.h"
#include "apps/zqsim/commands.h"
#include "apps/zqsim/edits.h"
#include "apps/zqsim/losses.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/urdfFile.h"
#include "apps/zqsim/urdfOut.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/tools/conversion/ZqKinematicsConversionTool.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace
{
using namespace zqsim;

ZqTriangleMesh readMesh(const std::string& fileName)
try
{
   return meshFiles::read(fileName);
}
catch (const std::runtime_error& error)
{
   throw Failure(meshFiles::canRead() ? InvalidInput : Failed, error.what());
}

/// Sets the shape of a link to what is in a file, as "LINK=FILE" says.
void setMesh(ZqStatedSystem& scene, const std::string& argument, bool asHull)
{
   const std::size_t sign = argument.find('=');
   if (sign == std::string::npos)
      throw Failure(Usage, "--mesh: expected LINK=FILE, but received \"" + argument + '"');
   const LinkPlace place = findLink(scene, "--mesh", argument.substr(0, sign));
   ZqTriangleMesh mesh;
   warnOf(diagnosticsOf([&] { mesh = readMesh(argument.substr(sign + 1)); }));
   const auto set = [&](const ZqShape& shape)
   { scene.replaceLinkShape(place.manipulator, place.link, shape, 0, true); };
   if (!asHull)
   {
      set(mesh);
      return;
   }
   std::vector<ZqVector> points;
   points.reserve(mesh.vertexCount());
   for (ZqU32 i = 0; i < mesh.vertexCount(); ++i)
      points.push_back(mesh.vertex(i));
   ZqConvexHull hull(std::move(points));
   hull.removeRedundancy(0.0); // keeps the corners alone
   set(hull);
}

/// Tells the joints of a manipulator by precursors alone; all of them or, as a failure tells, none.
bool reconfigureToPrecursors(ZqStatedSystem& scene, ZqU32 index)
{
   bool isConverted = true;
   ZqStatedSystem converted = scene;
   converted.restateManipulator(index,
                                [&](ZqIndividualManipulator& manipulator)
                                {
                                   for (ZqU32 i = 0; i < manipulator.jointDof() && isConverted; ++i)
                                      isConverted =
                                         ZqKinematicsConversionTool::reconfigureDhToPrecursor(
                                            manipulator, manipulator.linkByIndex(i)->linkLabel());
                                });
   if (isConverted)
      scene = converted;
   return isConverted;
}

bool convertManipulator(const std::string& form, ZqStatedSystem& scene, ZqU32 index)
{
   const ZqKinematicsConversionTool tool;
   if (form == "craig")
      return tool.convertManipulatorToCraigsDhForm(scene, scene, index);
   if (form == "precursor")
      return reconfigureToPrecursors(scene, index);
   return tool.reconfigureForIdentityPrimaryFrames(scene, index);
}

/// By how much the positions of joints are told otherwise, by the labels of their links.
Json shiftsOf(const ZqIndividualManipulator& manipulator, const ZqPositionState& before,
              const ZqPositionState& after)
{
   Json shifts = Json::object();
   for (ZqU32 i = 0; i < manipulator.jointDof(); ++i)
      if (const ZqReal shift = after.jointPositions()[i] - before.jointPositions()[i]; shift != 0.0)
         shifts[manipulator.linkByIndex(i)->linkLabel()] = shift;
   return shifts;
}

/// Converts one manipulator, or all of them, and answers what became of each. What cannot be converted
/// stays, with a warning.
Json convertTo(const std::string& form, ZqStatedSystem& scene, const std::string& label)
{
   Json list = Json::array();
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      const std::string name = scene.manipulatorByIndex(i)->manipulatorLabel();
      if (!label.empty() && name != label)
         continue;
      const ZqPositionState before = scene.state().positionStates()[i];
      bool isConverted = false;
      const Diagnostics diagnostics =
         diagnosticsOf([&] { isConverted = convertManipulator(form, scene, i); });
      Json entry{{"manipulator", name}, {"isConverted", isConverted}};
      if (isConverted)
      {
         warnOf(diagnostics);
         entry["shifts"] =
            shiftsOf(*scene.manipulatorByIndex(i), before, scene.state().positionStates()[i]);
      }
      else
      {
         // Without the name of the operation, which stands before the text.
         const std::string text = diagnostics.empty() ? "" : diagnostics.front().text;
         const std::size_t begin = text.find(": ");
         entry["reason"] = begin == std::string::npos ? text : text.substr(begin + 2);
         complain("warning: manipulator \"" + name +
                  "\" is not converted: " + entry["reason"].get<std::string>());
      }
      list.push_back(entry);
   }
   if (list.empty() && !label.empty())
      throw Failure(Usage, "--manipulator: the model has no manipulator \"" + label + '"');
   return list;
}

Json reportOf(const std::string& form, const Json& manipulators,
              const std::optional<ZqConversionLosses>& losses)
{
   Json report = Json::object();
   if (!form.empty())
      report = {{"to", form}, {"manipulators", manipulators}};
   if (losses)
      report["losses"] = toJson(*losses);
   return report;
}
} // namespace

zqsim::Run zqsim::convert(CLI::App& arguments)
{
   struct Options
   {
      std::string in;
      std::string out;
      std::vector<std::string> meshes;
      std::string meshAs = "mesh";
      std::string form;
      UrdfOptions urdf;
      UrdfOutOptions urdfOut;
      bool strict = false;
      bool json = false;
      bool brief = false;
   };
   const auto options = std::make_shared<Options>();
   arguments.add_option("IN", options->in, "The model to read, in any form that can be read")
      ->required()
      ->type_name("FILE");
   arguments
      .add_option(
         "OUT,-o,--out", options->out,
         "Where to write it: in URDF when its name ends in .urdf, and else in today's form. It may "
         "be the same file, and is replaced only by a whole document")
      ->required()
      ->type_name("FILE");
   arguments
      .add_option(
         "--mesh", options->meshes,
         "Replace the shape of a link by the triangles in an STL or OBJ file, in metres and in "
         "the link's primary frame. LINK is the link's label, or MANIPULATOR/LINK. Masses "
         "stay. May be given for several links")
      ->type_name("LINK=FILE")
      ->expected(1)
      ->take_all();
   arguments
      .add_option("--mesh-as", options->meshAs,
                  "What --mesh makes of the triangles: a mesh, or the convex hull of their corners")
      ->check(CLI::IsMember({"mesh", "hull"}));
   arguments
      .add_option(
         "--to", options->form,
         "Tell joints and frames in another convention, in which nothing moves: craig, by "
         "Craig's "
         "Denavit-Hartenberg parameters, with a precursor where these do not say all; "
         "precursor, "
         "without parameters; identity-frames, with the D-H frame of each link as its primary "
         "frame. "
         "What cannot be told so, such as a slide in Craig's form, stays as it is, and the exit "
         "code is then 5")
      ->check(CLI::IsMember({"craig", "precursor", "identity-frames"}));
   arguments
      .add_option(
         "--manipulator", options->urdfOut.manipulator,
         "Convert this manipulator alone: by --to, or to URDF, which has one tree. What is "
         "attached to its links comes along")
      ->type_name("LABEL");
   arguments
      .add_option("--as", options->urdfOut.form,
                  "Write URDF, or a model in today's form, whatever the name of OUT")
      ->check(CLI::IsMember({"urdf", "model"}));
   CLI::Option* meshFolder =
      arguments
         .add_option(
            "--mesh-folder", options->urdfOut.meshFolder,
            "Where to put the triangles of a model in URDF, in binary STL files named after "
            "their links. Without it they are losses")
         ->type_name("DIR");
   arguments
      .add_option(
         "--mesh-uri", options->urdfOut.meshUri,
         "What is to stand before the names of these files, such as package://NAME/meshes/. "
         "Without it, the way from OUT to DIR")
      ->type_name("URI")
      ->needs(meshFolder);
   arguments
      .add_option(
         "--package", options->urdf.packages,
         "Where package://NAME of a model in URDF is. A package that is not told is looked for "
         "above IN. May be given for several packages")
      ->type_name("NAME=DIR")
      ->expected(1)
      ->take_all();
   arguments.add_flag("--free-base", options->urdf.hasFreeBase,
                      "Leave the base of a model in URDF free, of which URDF says nothing");
   arguments.add_flag(
      "--strict", options->strict,
      "Answer 5 when anything was lost or changed from URDF or to it. OUT is written all the same");
   arguments.add_flag(
      "--json", options->json,
      "Print as JSON what became of each manipulator: whether it is converted, or the "
      "reason why not, and the shift of each joint position (rad) that is told otherwise; and "
      "what was lost from URDF or to it. OUT is a file then");
   arguments.add_flag("--brief", options->brief, "Leave out what equals its default");
   return [options]
   {
      if (options->json && options->out == "-")
         throw Failure(Usage, "--json: OUT must be a file");
      const bool toUrdf = isUrdf(options->out, options->urdfOut);
      if (!options->urdfOut.manipulator.empty() && options->form.empty() && !toUrdf)
         throw Failure(Usage, "--manipulator: it goes with --to, or with URDF");
      if (!options->urdfOut.meshFolder.empty() && !toUrdf)
         throw Failure(Usage, "--mesh-folder: OUT is no URDF");
      ZqStatedSystem scene;
      std::optional<ZqConversionLosses> losses;
      warnOf(readModel(options->in, options->urdf, scene, losses));
      if (options->json && options->form.empty() && !losses && !toUrdf)
         throw Failure(Usage, "--json: there is nothing to tell without --to or a model in URDF");
      for (const std::string& mesh : options->meshes)
         setMesh(scene, mesh, options->meshAs == "hull");
      Json manipulators = Json::array();
      if (!options->form.empty())
         manipulators = convertTo(options->form, scene, options->urdfOut.manipulator);
      if (toUrdf)
      {
         const ZqConversionLosses lost = writeUrdf(scene, options->out, options->urdfOut);
         losses = losses.value_or(ZqConversionLosses());
         losses->insert(losses->end(), lost.begin(), lost.end());
      }
      else
         writeScene(scene, options->out, !options->brief);
      if (options->json)
         print(reportOf(options->form, manipulators, losses));
      else if (losses && isStandardStream(options->out))
         warnOfLosses(*losses);
      else if (losses)
         printLosses(*losses, false);
      const bool areConverted =
         std::all_of(manipulators.begin(), manipulators.end(),
                     [](const Json& entry) { return entry["isConverted"].get<bool>(); });
      const bool isKept = !options->strict || !losses || losses->empty();
      return areConverted && isKept ? Done : Findings;
   };
}
