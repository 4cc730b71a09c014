#include "apps/zqsim/runReport.h"

#include "apps/zqsim/contacts.h"
#include "apps/zqsim/inputs.h"
#include "apps/zqsim/interruption.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/runOptions.h"
#include "apps/zqsim/runStart.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <string_view>

std::string zqsim::describeDivergence(const ZqSimulation& simulation, const ZqStatedSystem& scene,
                                      ZqReal step)
{
   const ZqSimulation::Divergence& divergence = *simulation.divergence();
   std::string result = "diverged at " + text(divergence.time) + " s: ";
   const auto& deepest = divergence.deepestContact;
   const std::string pair = deepest ? linkName(simulation, deepest->first) + " and " +
                                         linkName(simulation, deepest->second)
                                    : "";
   const std::string depth =
      deepest ? text(deepest->depth) + " m deep in each other at " + text(deepest->time) + " s"
              : "";
   if (divergence.quantity == std::string_view("contact"))
      return result + "the step is far too long for the contact of " + pair + ", " + depth +
             ": take one of " + text(fitStep(scene, step, divergence)) + " s";
   result += std::string("the ") + divergence.quantity + " of " +
             nameOf(simulation, divergence.place) + " is not finite";
   return deepest ? result + "; the deepest contact was that of " + pair + ", " + depth : result;
}

std::vector<zqsim::Failure> zqsim::reportRun(const RunOptions& options, const RunStart& run,
                                             const Schedule& schedule, const Outcome& outcome)
{
   ZqSimulation& simulation = *run.simulation;
   const std::string time = text(simulation.state().time()) + " s";
   std::vector<Failure> failures;
   if (isInterrupted())
      failures.emplace_back(Interrupted, "interrupted at " + time);
   failures.insert(failures.end(), outcome.failures.begin(), outcome.failures.end());
   const auto attempt = [&](const std::function<void()>& action)
   {
      try
      {
         action();
      }
      catch (const Failure& failure)
      {
         failures.push_back(failure);
      }
   };
   std::string saved;
   if (!options.save.empty())
      attempt(
         [&]
         {
            writeDocument(simulation.scene(), options.save);
            saved = "; saved is the state at " + time;
         });
   if (!options.saveCheckpoint.empty() && outcome.checkpointTime != simulation.state().time())
      complain("warning: no checkpoint is saved of the end, at " + time +
               (outcome.checkpointTime
                   ? "; the last one is of " + text(*outcome.checkpointTime) + " s"
                   : "; the run has saved none"));
   if (!options.quiet && !options.printsData())
      attempt(
         [&]
         {
            const Json data =
               summarize({options.model, options.resume, run.step}, schedule, simulation, outcome);
            options.json ? print(data) : print(describeRun(data));
         });
   if (simulation.divergence())
      failures.emplace_back(NumericalFailure,
                            describeDivergence(simulation, run.scene, run.step) + saved);
   return failures;
}
