#include "apps/zqsim/edits.h"
#include "apps/zqsim/outputFile.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace
{
using namespace zqsim;

/// Where the base of a manipulator stands in the primary frame of a link.
ZqCoordinateSystemTransformation frameOnLink(const ZqStatedSystem& scene, ZqU32 index,
                                             const LinkPlace& carrier)
{
   ZqSystemActiveState active;
   active.setNonredundantState(scene.state());
   const auto& manipulators = scene.system().manipulators();
   const auto stateOf = [&](ZqU32 i) -> ZqManipulatorActivePositionState&
   {
      auto& state = active.manipulatorActiveStateVector()[i].activePositionState();
      manipulators[i].placeBase(state);
      return state;
   };
   const ZqCoordinateSystemTransformation link =
      manipulators[carrier.manipulator]
         .linkByIdentifier(carrier.link)
         ->primaryFrameInSystem(stateOf(carrier.manipulator));
   return link.inverse() * manipulators[index].dhFrameInSystem(stateOf(index));
}
} // namespace

zqsim::Run zqsim::attach(CLI::App& arguments)
{
   struct Options : EditArguments
   {
      std::string manipulator;
      std::string carrier;
      std::string offset = "0 0 0";
      std::string name;
      std::string from;
      bool alone = false;
      bool inPlace = false;
   };
   const auto options = std::make_shared<Options>();
   options->declare(arguments);
   arguments.add_option("--manipulator", options->manipulator, "What to attach")
      ->required()
      ->type_name("LABEL");
   arguments
      .add_option("--to", options->carrier,
                  "The link to attach it to: its label, or MANIPULATOR/LINK")
      ->required()
      ->type_name("LINK");
   CLI::Option* from = arguments
                          .add_option("--from", options->from,
                                      "Another model to take it from, which comes along as it is")
                          ->type_name("FILE");
   arguments
      .add_flag("--alone", options->alone,
                "Leave out the other manipulators of the model of --from")
      ->needs(from);
   CLI::Option* offset = arguments
                            .add_option("--offset", options->offset,
                                        "Where its base stands in the primary frame of the link, "
                                        "as one argument: \"x y z\" (m), or \"x y z roll pitch "
                                        "yaw\" (m, rad); if not given, at its origin")
                            ->type_name("LIST");
   arguments.add_flag("--in-place", options->inPlace, "Leave it where it stands now")
      ->excludes(offset);
   arguments.add_option("--name", options->name, "Name of the attachment")->type_name("NAME");
   arguments.footer("A manipulator that is attached keeps its joints and its label, and goes where "
                    "the link goes, with all that is attached to it.");
   return [options]
   {
      if (isStandardStream(options->model) && isStandardStream(options->from))
         throw Failure(Usage, "attach: standard input can be one of the models only");
      return runEdit(
         *options,
         [&](ZqStatedSystem& scene, Changes& changes)
         {
            const LinkPlace carrier = findLink(scene, "--to", options->carrier);
            const ZqU32 index = options->from.empty()
                                   ? findManipulator(scene, "--manipulator", options->manipulator)
                                   : Arrival(options->from, options->manipulator, options->alone)
                                        .joinTo(scene, changes);
            const std::string label = labelOf(scene, index);
            scene.placeAttachedManipulators();
            const Json before = carrierOf(scene, index);
            const ZqCoordinateSystemTransformation frame =
               options->inPlace ? frameOnLink(scene, index, carrier)
                                : parseFrame("--offset", options->offset);
            require(
               [&]
               {
                  return scene.attachManipulator(label, labelOf(scene, carrier.manipulator),
                                                 carrier.link, frame, options->name);
               });
            changes.add("carrier", label, before, carrierOf(scene, index));
         });
   };
}

zqsim::Run zqsim::detach(CLI::App& arguments)
{
   struct Options : EditArguments
   {
      std::string manipulator;
   };
   const auto options = std::make_shared<Options>();
   options->declare(arguments);
   arguments.add_option("--manipulator", options->manipulator, "What to detach")
      ->required()
      ->type_name("LABEL");
   arguments.footer("It stays where its carrier has it, with what is attached to it.");
   return [options]
   {
      return runEdit(*options,
                     [&](ZqStatedSystem& scene, Changes& changes)
                     {
                        const ZqU32 index =
                           findManipulator(scene, "--manipulator", options->manipulator);
                        const Json before = carrierOf(scene, index);
                        require([&] { return scene.detachManipulator(options->manipulator); });
                        changes.add("carrier", options->manipulator, before, {});
                     });
   };
}
