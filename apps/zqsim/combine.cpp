#include "apps/zqsim/edits.h"
#include "apps/zqsim/outputFile.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <set>
#include <vector>

namespace
{
using namespace zqsim;

/// The link into which a manipulator is merged, as "MANIPULATOR/LINK"; null when there is none.
Json mountOf(const ZqStatedSystem& scene, const std::string& label)
{
   for (const ZqIndividualManipulator& manipulator : scene.system().manipulators())
   {
      const auto isMount = [&](const ZqManipulatorLink& link)
      {
         std::set<ZqString> merged;
         link.manipulatorLabelsInUnion(merged);
         return merged.contains(label);
      };
      const std::string prefix = manipulator.manipulatorLabel() + '/';
      if (isMount(manipulator.concreteReference()))
         return prefix + manipulator.concreteReference().linkLabel();
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         if (isMount(*link))
            return prefix + link->linkLabel();
   }
   return {};
}

/// The links of a manipulator that is merged into another one: their labels in that, and their own.
std::vector<std::pair<std::string, std::string>> linksOf(const ZqStatedSystem& scene,
                                                         const std::string& label)
{
   std::vector<std::pair<std::string, std::string>> links;
   for (const ZqIndividualManipulator& manipulator : scene.system().manipulators())
      for (const auto& [present, own] :
           manipulator.linkLabelMapping().newLabelToManipulatorLinkLabel())
         if (own.first == label && manipulator.manipulatorLabel() != label)
            links.emplace_back(manipulator.manipulatorLabel() + '/' + present,
                               label + '/' + own.second);
   return links;
}
} // namespace

zqsim::Run zqsim::combine(CLI::App& arguments)
{
   struct Options : EditArguments
   {
      std::string other;
      std::string at;
      std::string manipulator;
      std::string offset = "0 0 0";
      bool alone = false;
   };
   const auto options = std::make_shared<Options>();
   arguments.add_option("MODEL", options->model, "The model to mount something on")
      ->required()
      ->type_name("FILE");
   arguments.add_option("OTHER", options->other, "The model with what is to be mounted")
      ->required()
      ->type_name("FILE");
   options->declare(arguments, false);
   arguments
      .add_option("--at", options->at,
                  "The link of MODEL to mount it on: its label, or MANIPULATOR/LINK")
      ->required()
      ->type_name("LINK");
   arguments
      .add_option("--manipulator", options->manipulator,
                  "Which manipulator of OTHER to mount; it need not be given if there is only one")
      ->type_name("LABEL");
   arguments.add_flag("--alone", options->alone, "Leave out the other manipulators of OTHER");
   arguments
      .add_option(
         "--offset", options->offset,
         "Where the primary frame of its base stands in that of the link, as one argument: "
         "\"x y z\" (m), or \"x y z roll pitch yaw\" (m, rad); if not given, at its origin")
      ->type_name("LIST");
   arguments.footer(
      "What is mounted becomes part of the manipulator: its base one body with the "
      "link, its links further links. Labels that are taken get a number. The rest of "
      "OTHER comes along as it is; environment, time and law of contact are those of "
      "MODEL.");
   return [options]
   {
      if (isStandardStream(options->model) && isStandardStream(options->other))
         throw Failure(Usage, "combine: standard input can be one of the models only");
      return runEdit(
         *options,
         [&](ZqStatedSystem& scene, Changes& changes)
         {
            const LinkPlace at = findLink(scene, "--at", options->at);
            const ZqCoordinateSystemTransformation offset = parseFrame("--offset", options->offset);
            const ZqU32 mounted =
               Arrival(options->other, options->manipulator, options->alone).joinTo(scene, changes);
            const std::string label = labelOf(scene, mounted);
            require([&]
                    { return scene.combineManipulator(mounted, at.manipulator, at.link, offset); });
            changes.add("mount", label, {}, mountOf(scene, label));
            for (const auto& [present, own] : linksOf(scene, label))
               changes.add("link", own, own, present);
         });
   };
}

zqsim::Run zqsim::separate(CLI::App& arguments)
{
   struct Options : EditArguments
   {
      std::string manipulator;
   };
   const auto options = std::make_shared<Options>();
   options->declare(arguments);
   arguments
      .add_option("--manipulator", options->manipulator,
                  "The label that what was mounted had as a manipulator")
      ->required()
      ->type_name("LABEL");
   arguments.footer("What combine has mounted becomes a manipulator again, with its own labels. It "
                    "stays where it is.");
   return [options]
   {
      return runEdit(
         *options,
         [&](ZqStatedSystem& scene, Changes& changes)
         {
            const std::string& label = options->manipulator;
            const Json mount = mountOf(scene, label);
            const auto links = linksOf(scene, label);
            ZqU32 parent = 0;
            ZqU32 child = 0;
            ZqCoordinateSystemTransformation offset;
            require([&] { return scene.uncombineManipulator(label, parent, child, offset); });
            changes.add("mount", labelOf(scene, child), mount, {});
            const Json frame = toJson(offset);
            for (const char* part : {"position", "orientation"})
               changes.add((std::string("offset ") + part).c_str(), labelOf(scene, child),
                           frame.at(part), {});
            for (const auto& [present, own] : links)
               changes.add("link", own, present, own);
         });
   };
}
