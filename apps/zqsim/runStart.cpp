#include "apps/zqsim/runStart.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/runOptions.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/simulation/step/ZqSimulationCheckpoint.h"

#include <string>
#include <utility>
#include <vector>

namespace
{
using namespace zqsim;

/// Contact is not looked at when it is not computed.
std::optional<ZqReal> stepOfContact(bool computesContact, ZqReal step)
{
   return computesContact ? std::optional(step) : std::nullopt;
}

/// Tells who has given a checkpoint in place of a model what it is.
[[noreturn]] void throwOfModel(const Failure& failure)
{
   const std::string message = failure.what();
   const std::string received = "received \"" + ZqSimulationCheckpoint::classToken().token() + '"';
   throw Failure(failure.code(), message.find(received) == std::string::npos
                                    ? message
                                    : message + "; a run goes on from it with --resume");
}

void readModel(const RunOptions& options, RunStart& run)
{
   const auto setInitialState = [&]
   {
      if (options.joints)
         setJointPositions(run.scene, "--joints", *options.joints);
      if (options.velocities)
         setJointVelocities(run.scene, "--velocities", *options.velocities);
   };
   try
   {
      warnOf(readAndCheckModel(options.model, run.scene,
                               stepOfContact(!options.isWithoutContact, run.step),
                               setInitialState));
   }
   catch (const Failure& failure)
   {
      throwOfModel(failure);
   }
}

bool isSame(const ZqXmlObject& a, const ZqXmlObject& b)
{
   ZqString textOfA;
   ZqString textOfB;
   return Zq::toXml(a, textOfA) && Zq::toXml(b, textOfB) && textOfA == textOfB;
}

/// Whatever its state.
void requireSameModel(const RunOptions& options, const ZqStatedSystem& expected)
{
   ZqStatedSystem scene;
   readDocument(options.model, scene);
   for (const auto& [isTheSame, difference] :
        {std::pair{isSame(scene.system(), expected.system()), ""},
         std::pair{isSame(scene.configuration(), expected.configuration()),
                   ": its attachments or exclusions are others"}})
      if (!isTheSame)
         throw Failure(InvalidInput,
                       options.model + ": is not the model of " + options.resume + difference);
}

void resume(const RunOptions& options, RunStart& run)
{
   ZqSimulationCheckpoint checkpoint;
   Diagnostics diagnostics = readDocument(options.resume, checkpoint);
   warnOf(diagnostics);
   diagnostics = diagnosticsOf([&] { run.simulation = ZqSimulation::resume(checkpoint); });
   if (run.simulation == nullptr)
      throw Failure(InvalidInput, options.resume + ": " + reason(options.resume, diagnostics));
   warnOf(diagnostics);
   if (!options.model.empty())
      requireSameModel(options, checkpoint.scene());
   run.scene = checkpoint.scene();
   const bool computesContact = checkpoint.settings().computesContact;
   if (options.step)
      warnOf(checkModel(options.resume, run.scene, stepOfContact(computesContact, run.step)));
   else
      run.step = checkpoint.stepLength();
   run.stepBefore = checkpoint.stepLength() > 0.0 ? checkpoint.stepLength() : run.step;
   if (!(run.step > 0.0))
      throw Failure(Usage, "--dt is required: " + options.resume + " does not tell a step");
   if (!checkpoint.inputTable().empty())
   {
      run.inputs = Inputs{"the inputs in " + options.resume, checkpoint.inputTable(), {}};
      run.inputs->table.setInterpolation(checkpoint.inputInterpolation());
   }
}

void checkLength(const char* option, const std::vector<ZqReal>& list, ZqU32 jointCount)
{
   if (list.size() > jointCount)
      throw Failure(Usage, std::string(option) + ": the model has " + std::to_string(jointCount) +
                              (jointCount == 1 ? " joint" : " joints") + ", but received " +
                              std::to_string(list.size()) + " numbers");
}
} // namespace

zqsim::RunStart zqsim::startRun(const RunOptions& options)
{
   RunStart run;
   run.step = parsePositive("--dt", options.step.value_or("0.001"));
   const std::vector<ZqReal> commands = parseNumbers("--commands", options.commands.value_or(""));
   const std::vector<ZqReal> torques = parseNumbers("--torques", options.torques.value_or(""));
   if (options.resume.empty())
      readModel(options, run);
   else
      resume(options, run);

   checkLength("--commands", commands, run.scene.system().jointDof());
   checkLength("--torques", torques, run.scene.system().jointDof());
   if (options.inputs)
   {
      const auto interpolation =
         run.inputs ? run.inputs->table.interpolation() : ZqInputTable::Interpolation::Hold;
      const bool isStandard = isStandardStream(*options.inputs);
      run.inputs =
         Inputs{isStandard ? "standard input" : *options.inputs, textOfFile(*options.inputs), {}};
      run.inputs->table.setInterpolation(interpolation);
   }
   if (run.inputs)
   {
      readTable(*run.inputs, run.scene.system());
      run.inputs->table.setInterpolation(
         options.chosenInterpolation().value_or(run.inputs->table.interpolation()));
   }

   if (run.simulation == nullptr)
      run.simulation = std::make_unique<ZqSimulation>(run.scene, options.settings());
   if (options.commands)
      run.simulation->setCommands(commands);
   if (options.torques)
      run.simulation->setTorques(torques);
   return run;
}

void zqsim::writeCheckpoint(const RunStart& run, const std::string& fileName)
{
   ZqSimulationCheckpoint checkpoint = run.simulation->checkpoint();
   checkpoint.setStepLength(run.step);
   if (run.inputs)
   {
      checkpoint.setInputTable(run.inputs->text);
      checkpoint.setInputInterpolation(run.inputs->table.interpolation());
   }
   writeDocument(checkpoint, fileName);
}
