#include "apps/zqsim/columns.h"
#include "apps/zqsim/commands.h"
#include "apps/zqsim/contacts.h"
#include "apps/zqsim/csvTable.h"
#include "apps/zqsim/energies.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/plot.h"
#include "apps/zqsim/recorder.h"
#include "apps/zqsim/replayFile.h"
#include "apps/zqsim/runOptions.h"
#include "apps/zqsim/runReport.h"
#include "apps/zqsim/runStart.h"
#include "apps/zqsim/runner.h"
#include "apps/zqsim/schedule.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <set>
#include <utility>

namespace
{
using namespace zqsim;

/// Where tables go on.
Continuation continuationOf(const RunStart& run, std::uint64_t every)
{
   const std::uint64_t steps = run.simulation->steps();
   const std::uint64_t sinceLine = steps == 0 ? 0 : (steps - 1) % every + 1;
   return {run.simulation->state().time(), steps % every == 0, run.stepBefore,
           static_cast<ZqReal>(sinceLine) * run.stepBefore};
}

void warnOfLostLines(const RunOptions& options, ZqReal time)
{
   for (const std::string* table : {&options.out, &options.contacts, &options.energy})
      if (beginsBefore(*table, time))
         complain("warning: " + *table + " is written anew and loses its lines from before " +
                  exact(time) + " s: --append goes on with it");
}

void warnOfLateEvents(const std::vector<AttachmentEvent>& events, const Schedule& schedule)
{
   for (const AttachmentEvent& event : events)
      if (!event.isDue(schedule.end()))
         complain("warning: " + event.text + ": the run ends before, at " + exact(schedule.end()) +
                  " s");
}

/// All that is to be shown the run.
Observers makeObservers(const RunOptions& options, const RunStart& run,
                        const std::set<ZqU32>& carried, std::uint64_t every)
{
   ZqSimulation& simulation = *run.simulation;
   std::optional<Continuation> continuation;
   if (options.appends)
      continuation = continuationOf(run, every);
   else if (!options.resume.empty())
      warnOfLostLines(options, simulation.state().time());
   Observers observers;
   if (!options.out.empty())
      observers.push_back(makeRecorder(
         options.out, makeTraces(simulation, options.tableGroups(), carried), continuation));
   if (!options.contacts.empty())
      observers.push_back(makeContactRecorder(options.contacts, continuation));
   if (!options.energy.empty())
      observers.push_back(makeEnergyRecorder(options.energy, continuation));
   if (!options.plot.empty())
      observers.push_back(std::make_unique<Plot>(
         options.plot, makeTraces(simulation, options.plotGroups(), carried)));
   if (!options.replay.empty())
      observers.push_back(makeReplay(options.replay, options.title(), simulation));
   return observers;
}

ExitCode simulate(const RunOptions& options)
{
   options.check();
   const ZqReal time = options.time ? parsePositive("--time", *options.time)
                                    : parseNumber("--until", *options.until);
   const std::uint64_t every = parseCount("--every", options.every);
   Checkpointing checkpointing;
   if (options.checkpointEvery)
      checkpointing.every = parseCount("--checkpoint-every", *options.checkpointEvery);

   const RunStart run = startRun(options);
   ZqSimulation& simulation = *run.simulation;
   const ZqReal start = simulation.state().time();
   const Schedule schedule = options.time ? Schedule::lasting(time, start, run.step)
                                          : Schedule::until(time, start, run.step);
   if (!options.saveCheckpoint.empty())
      checkpointing.save = [&] { writeCheckpoint(run, options.saveCheckpoint); };
   if (run.inputs)
      warnOfTimesWithoutInputs(*run.inputs, schedule);
   std::vector<AttachmentEvent> events =
      parseEvents(options.attachments, options.releases, simulation.system());
   const std::set<ZqU32> carried = findCarried(simulation, events);
   warnOfLostInputs(simulation, run.inputs ? &run.inputs->table : nullptr, carried);
   if (options.needsEnergyBook() && !simulation.settings().booksEnergy)
      throw Failure(Usage, (options.energy.empty() ? "--energy-summary: " : "--energy: ") +
                              options.resume + " is of a run that began without");

   // Those of its own time the run before has done.
   if (!options.resume.empty())
      std::erase_if(events, [&](const AttachmentEvent& event) { return event.isDue(start); });
   else if (!events.empty() && events.front().time < start)
      throw Failure(Usage, events.front().text + ": the run begins later");
   requirePossible(events, simulation.attachments(), simulation.system());
   warnOfLateEvents(events, schedule);

   Observers observers = makeObservers(options, run, carried, every);
   if (!options.contacts.empty() && !hasContact(simulation))
      complain("warning: --contacts: there is no interaction of contact in the model");
   const Outcome outcome = Runner(simulation, schedule, run.inputs ? &run.inputs->table : nullptr,
                                  std::move(events), std::move(observers), every, checkpointing)
                              .run(!options.quiet);
   warnOfDepth(simulation);

   // The last failure gives the exit code.
   const std::vector<Failure> failures = reportRun(options, run, schedule, outcome);
   if (failures.empty())
      return Done;
   for (const Failure& failure : failures)
      if (&failure != &failures.back())
         complain(failure.what());
   throw Failure(failures.back());
}

constexpr const char* explanation =
   "Each step takes the accelerations under gravity, drives, springs and constraints, and\n"
   "moves everything by the integrator. Steps end at multiples of dt, also when a run goes on\n"
   "from another; the last one ends at start + --time, or at --until. A joint that comes to a\n"
   "limit stops there. Loops are held closed. Manipulators that are attached move as one\n"
   "with their carriers, or with --no-coupling ride on them. Springs, doors and contact\n"
   "between links act as the interactions of the model tell. The run ends early when a stopping "
   "criterion is met, when\n"
   "something is not finite any more or the step is far too long for a contact (exit code 4),\n"
   "and at Ctrl-C or SIGTERM (130); files then hold what there is. When a file is standard\n"
   "output, no summary is written.\n\n"
   "With --resume a run goes on from a checkpoint to the same numbers as if it had never\n"
   "ended; --inputs, --interpolation, --commands, --torques and --dt may be given anew. With\n"
   "--append a run that was killed and resumed leaves the same tables as one that was not.";
} // namespace

zqsim::Run zqsim::run(CLI::App& arguments)
{
   const auto options = std::make_shared<RunOptions>();
   options->declare(arguments);
   arguments.footer(explanation);
   return [options] { return simulate(*options); };
}
