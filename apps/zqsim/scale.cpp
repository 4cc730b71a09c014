#include "apps/zqsim/edits.h"
#include "apps/zqsim/numbers.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <vector>

namespace
{
using namespace zqsim;

/// What it weighs (kg).
ZqReal massOf(const ZqStatedSystem& scene, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = *scene.manipulatorByIndex(index);
   ZqReal mass = manipulator.concreteReference().massProperties().mass();
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      mass += link->massProperties().mass();
   return mass;
}

/// How far it reaches from its base (m).
ZqReal reachOf(const ZqStatedSystem& scene, ZqU32 index)
{
   return scene.manipulatorByIndex(index)->concreteReference().absoluteBoundingSphere().radius();
}

void scaleOne(ZqStatedSystem& scene, ZqU32 index, ZqReal factor, Changes& changes)
{
   const ZqReal mass = massOf(scene, index);
   const ZqReal reach = reachOf(scene, index);
   require([&] { return scene.resizeManipulator(index, factor); });
   changes.add("mass", labelOf(scene, index), mass, massOf(scene, index));
   changes.add("reach", labelOf(scene, index), bounded(reach), bounded(reachOf(scene, index)));
}
} // namespace

zqsim::Run zqsim::scale(CLI::App& arguments)
{
   struct Options : EditArguments
   {
      std::string factor;
      std::vector<std::string> manipulators;
   };
   const auto options = std::make_shared<Options>();
   options->declare(arguments);
   arguments.add_option("--by", options->factor, "The factor by which lengths grow")
      ->required()
      ->type_name("NUMBER");
   arguments
      .add_option("--manipulator", options->manipulators,
                  "What to scale; may be given for several. If not given, all manipulators are")
      ->type_name("LABEL")
      ->expected(1)
      ->take_all();
   arguments.footer(
      "Each is scaled about the origin of its base, which stays where it is, at constant density: "
      "masses grow with the third power of the factor, and springs and dampers of its joints such "
      "that they take as long as before. Its positions and speeds are scaled with it. What is "
      "attached to it keeps its size and goes with its links.");
   return [options]
   {
      return runEdit(*options,
                     [&](ZqStatedSystem& scene, Changes& changes)
                     {
                        const ZqReal factor = parsePositive("--by", options->factor);
                        std::vector<ZqU32> indices;
                        for (const std::string& label : options->manipulators)
                        {
                           const ZqU32 index = findManipulator(scene, "--manipulator", label);
                           if (std::count(indices.begin(), indices.end(), index) != 0)
                              throw Failure(Usage,
                                            "--manipulator: \"" + label + "\" is given twice");
                           indices.push_back(index);
                        }
                        if (options->manipulators.empty())
                           for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
                              indices.push_back(i);
                        scene.placeAttachedManipulators();
                        for (const ZqU32 index : indices)
                           scaleOne(scene, index, factor, changes);
                     });
   };
}
