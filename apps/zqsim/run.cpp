#include "apps/zqsim/columns.h"
#include "apps/zqsim/commands.h"
#include "apps/zqsim/contacts.h"
#include "apps/zqsim/inputs.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/plot.h"
#include "apps/zqsim/progress.h"
#include "apps/zqsim/recorder.h"
#include "apps/zqsim/replayFile.h"
#include "apps/zqsim/schedule.h"
#include "apps/zqsim/summary.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace
{
using namespace zqsim;

struct RunOptions : ModelArguments
{
   std::string time;
   std::string step = "0.001";
   std::string solver = "crbi";
   std::string integrator = "euler";
   std::string torques;
   std::string commands;
   std::string inputs;
   std::string interpolation = "hold";
   std::optional<std::string> joints;
   std::optional<std::string> velocities;
   std::optional<std::string> columns;
   std::string out;
   std::string contacts;
   std::string every = "1";
   std::string save;
   std::string plot;
   std::string replay;
   bool isNotProjected = false;
   bool isWithoutContact = false;
   bool quiet = false;
};

const std::map<std::string, ZqSimulation::Solver> solvers{{"crbi", ZqSimulation::Solver::Crbi},
                                                          {"arbi", ZqSimulation::Solver::Arbi}};

const std::map<std::string, ZqSimulation::Integrator> integrators{
   {"euler", ZqSimulation::Integrator::SemiImplicitEuler},
   {"midpoint", ZqSimulation::Integrator::ImplicitMidpoint},
   {"rk4", ZqSimulation::Integrator::RungeKutta}};

const std::map<std::string, ZqInputTable::Interpolation> interpolations{
   {"hold", ZqInputTable::Interpolation::Hold}, {"linear", ZqInputTable::Interpolation::Linear}};

// Interruption

volatile std::sig_atomic_t isInterrupted = 0;

/// While this lives, an interruption or a request to end lets the present step end; a second one ends
/// the process.
class InterruptionGuard
{
public:
   InterruptionGuard()
   {
      for (Signal& signal : m_signals)
         signal.before = std::signal(signal.number,
                                     [](int)
                                     {
                                        if (isInterrupted != 0)
                                           std::_Exit(Interrupted);
                                        isInterrupted = 1;
                                     });
   }
   InterruptionGuard(const InterruptionGuard&) = delete;
   InterruptionGuard& operator=(const InterruptionGuard&) = delete;
   ~InterruptionGuard()
   {
      for (const Signal& signal : m_signals)
         std::signal(signal.number, signal.before);
   }

private:
   struct Signal
   {
      int number;
      void (*before)(int) = nullptr;
   };
   std::array<Signal, 2> m_signals{{{SIGINT}, {SIGTERM}}};
};

// Arguments

/// Without links and detours, whether or not the file is there.
std::filesystem::path plainPath(const std::string& fileName)
{
   std::error_code error;
   return std::filesystem::weakly_canonical(std::filesystem::absolute(fileName, error), error);
}

bool isSameFile(const std::string& a, const std::string& b)
{
   std::error_code error;
   return !a.empty() && !b.empty() &&
          (plainPath(a) == plainPath(b) || std::filesystem::equivalent(a, b, error));
}

/// Whether standard output is for data, and so not for the summary.
bool printsData(const RunOptions& options)
{
   return isStandardStream(options.out) || isStandardStream(options.contacts) ||
          isStandardStream(options.save) || isStandardStream(options.plot) ||
          isStandardStream(options.replay);
}

/// Finds before a long run what would make it be in vain.
void checkOutputs(const RunOptions& options)
{
   if (!options.out.empty() && !isStandardStream(options.out) && !options.out.ends_with(".csv") &&
       !options.out.ends_with(".xml"))
      throw Failure(Usage, "--out: " + options.out + " ends neither in .csv nor in .xml");
   if (!options.contacts.empty() && !isStandardStream(options.contacts) &&
       !options.contacts.ends_with(".csv"))
      throw Failure(Usage, "--contacts: " + options.contacts + " does not end in .csv");
   if (!options.contacts.empty() && options.isWithoutContact)
      throw Failure(Usage, "--contacts: there are none with --no-contact");
   const std::filesystem::path extension = std::filesystem::path(options.plot).extension();
   if (!extension.empty() && extension != ".svg")
      throw Failure(Usage, "--plot: " + options.plot + " is not for SVG, which is what is written");
   checkReplayName(options.replay);
   if (options.columns && options.plot.empty() &&
       (options.out.empty() || options.out.ends_with(".xml")))
      throw Failure(Usage, "--columns: there is neither a table nor a plot to have them");
   if (options.json && printsData(options))
      throw Failure(
         Usage, "--json: standard output is that of --out, --contacts, --save, --plot or --replay");
   struct File
   {
      const char* option;
      const std::string& name;
   };
   constexpr std::size_t model = 0;
   constexpr std::size_t inputs = 1;
   constexpr std::size_t save = 2;
   const std::array<File, 7> files{{{"MODEL", options.model},
                                    {"--inputs", options.inputs},
                                    {"--save", options.save},
                                    {"--out", options.out},
                                    {"--contacts", options.contacts},
                                    {"--plot", options.plot},
                                    {"--replay", options.replay}}};
   for (std::size_t i = 0; i < files.size(); ++i)
      for (std::size_t j = 0; j < i; ++j)
      {
         const bool isReplacedAtTheEnd = i == save && j == model;
         const bool isInputAndOutput = j <= inputs && i > inputs && isStandardStream(files[j].name);
         if (!isReplacedAtTheEnd && !isInputAndOutput && isSameFile(files[i].name, files[j].name))
            throw Failure(Usage, std::string(files[i].option) + ": " + files[i].name +
                                    " is the file of " + files[j].option);
      }
   // The model is saved by way of a file beside it; the others are opened before the first step.
   std::error_code error;
   const std::string& saved = options.save;
   if (std::filesystem::is_directory(saved, error))
      throw Failure(Failed, saved + ": " + std::strerror(EISDIR));
   if (!saved.empty() && !isStandardStream(saved) && !std::filesystem::is_other(saved, error) &&
       access(plainPath(saved).parent_path().c_str(), W_OK) != 0)
      throw Failure(Failed, saved + ": " + std::strerror(errno));
}

void checkLength(const char* option, const std::vector<ZqReal>& list, ZqU32 jointCount)
{
   if (list.size() > jointCount)
      throw Failure(Usage, std::string(option) + ": the model has " + std::to_string(jointCount) +
                              (jointCount == 1 ? " joint" : " joints") + ", but received " +
                              std::to_string(list.size()) + " numbers");
}

// The run

/// Does the steps, and on the way records and plots the states.
class Runner
{
public:
   using Recorders = std::vector<std::unique_ptr<Recorder>>;

   /// Inputs and plot may be null.
   Runner(ZqSimulation& simulation, const Schedule& schedule, const ZqInputTable* inputs,
          Recorders recorders, std::uint64_t every, Plot* plot, ReplayFile* replay)
      : m_simulation(simulation), m_schedule(schedule), m_inputs(inputs),
        m_recorders(std::move(recorders)), m_every(every), m_plot(plot), m_replay(replay)
   {
   }

   Outcome run(bool showProgress)
   {
      setInputs();
      m_outcome.atStart = m_simulation.energy();
      m_outcome.atEnd = m_outcome.atStart;
      if (!m_simulation.divergence())
      {
         record(m_outcome.atStart);
         if (m_plot != nullptr)
            m_plot->sample(m_simulation);
         if (m_replay != nullptr)
            m_replay->sample(m_simulation);
         doSteps(showProgress);
         m_outcome.atEnd = m_simulation.energy();
         if (!m_isRecorded && std::isfinite(m_outcome.atEnd.total()))
            record(m_outcome.atEnd);
         if (m_plot != nullptr)
            m_plot->sampleLast(m_simulation);
         if (m_replay != nullptr)
            m_replay->sampleLast(m_simulation);
      }
      withRecorders([](Recorder& recorder) { recorder.finish(); });
      if (m_simulation.divergence())
         m_outcome.end = "diverged";
      return m_outcome;
   }

private:
   void doSteps(bool showProgress)
   {
      // To look at the clock would cost much of a short step.
      constexpr std::uint64_t stepsBetweenLooks = 16;
      const InterruptionGuard guard;
      Progress progress(m_schedule.start(), m_schedule.end(), showProgress);
      while (m_outcome.steps < m_schedule.count() && !m_outcome.failure &&
             m_simulation.stepTo(m_schedule.time(m_outcome.steps + 1)))
      {
         ++m_outcome.steps;
         setInputs();
         if (m_plot != nullptr)
            m_plot->sample(m_simulation);
         if (m_replay != nullptr)
            m_replay->sample(m_simulation);
         m_isRecorded = false;
         if (!m_recorders.empty() && m_outcome.steps % m_every == 0)
         {
            const ZqSimulation::Energy energy = m_simulation.energy();
            if (m_simulation.divergence())
               break;
            record(energy);
         }
         if (m_outcome.steps % stepsBetweenLooks == 0 &&
             progress.update(m_simulation.state().time()))
            withRecorders([](Recorder& recorder) { recorder.flush(); });
         if (!m_simulation.firedCriteria().empty())
         {
            m_outcome.end = "stopping criterion";
            break;
         }
         if (isInterrupted != 0)
         {
            m_outcome.end = "interrupted";
            break;
         }
      }
      m_outcome.wallTime = progress.elapsed();
   }

   /// Those of the next step, which are recorded with the present state.
   void setInputs()
   {
      if (m_inputs != nullptr)
         m_inputs->apply(m_simulation, m_schedule.time(m_outcome.steps + 1));
   }

   void record(const ZqSimulation::Energy& energy)
   {
      withRecorders([&](Recorder& recorder) { recorder.record(m_simulation, energy); });
      m_isRecorded = true;
   }

   /// A recorder that fails is not asked again.
   template <class Action>
   void withRecorders(Action action)
   {
      const auto fails = [&](const std::unique_ptr<Recorder>& recorder)
      {
         try
         {
            action(*recorder);
            return false;
         }
         catch (const Failure& failure)
         {
            m_outcome.failure = failure;
            m_outcome.end = "recording failed";
            return true;
         }
      };
      std::erase_if(m_recorders, fails);
   }

   ZqSimulation& m_simulation;
   const Schedule& m_schedule;
   const ZqInputTable* m_inputs;
   Recorders m_recorders;
   std::uint64_t m_every;
   Plot* m_plot;
   ReplayFile* m_replay;
   Outcome m_outcome;
   bool m_isRecorded = false; ///< the present state
};

// The command

/// Puts the model into the state in which the run begins.
void setInitialState(const RunOptions& options, ZqStatedSystem& scene)
{
   if (options.joints)
      setJointPositions(scene, "--joints", *options.joints);
   if (options.velocities)
      setJointVelocities(scene, "--velocities", *options.velocities);
}

/// What tables or drawings are to show: by default the motion.
std::vector<std::string> groupsOf(const RunOptions& options,
                                  std::initializer_list<const char*> otherwise)
{
   if (options.columns)
      return parseGroups("--columns", *options.columns);
   return {otherwise.begin(), otherwise.end()};
}

/// What has diverged, and the contact that is, or often is, to blame.
std::string describeDivergence(const ZqSimulation& simulation,
                               const ZqSimulation::Divergence& divergence,
                               const ZqStatedSystem& start, ZqReal step)
{
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
             ": take one of " + text(fitStep(start, step, divergence)) + " s";
   result += std::string("the ") + divergence.quantity + " of " +
             nameOf(simulation, divergence.place) + " is not finite";
   return deepest ? result + "; the deepest contact was that of " + pair + ", " + depth : result;
}

/// Files and summary. What fails keeps nothing else from being written.
std::vector<Failure> report(const RunOptions& options, ZqReal step, const Schedule& schedule,
                            const ZqStatedSystem& start,
                            const ZqLinkInteractionsVector& interactions, ZqSimulation& simulation,
                            const Outcome& outcome, const Plot* plot, OutputFile* plotFile,
                            ReplayFile* replay)
{
   std::vector<Failure> failures;
   const auto attempt = [&](const auto& action)
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
   if (isInterrupted != 0)
      failures.emplace_back(Interrupted,
                            "interrupted at " + text(simulation.state().time()) + " s");
   if (outcome.failure)
      failures.push_back(*outcome.failure);
   if (plot != nullptr)
      attempt(
         [&]
         {
            plotFile->write(plot->svg());
            plotFile->close();
         });
   if (replay != nullptr)
      attempt([&] { replay->finish(); });
   std::string saved;
   if (!options.save.empty())
      attempt(
         [&]
         {
            ZqStatedSystem scene = simulation.scene();
            if (options.isWithoutContact)
               scene.setLinkInteractionsVector(interactions);
            writeModel(scene, options.save);
            saved = "; saved is the state at " + text(simulation.state().time()) + " s";
         });
   if (!options.quiet && !printsData(options))
      attempt(
         [&]
         {
            const Json data = summarize({options.model, options.solver, options.integrator, step},
                                        schedule, simulation, outcome);
            options.json ? print(data) : print(describeRun(data));
         });
   if (const auto& divergence = simulation.divergence())
      failures.emplace_back(NumericalFailure,
                            describeDivergence(simulation, *divergence, start, step) + saved);
   return failures;
}

ExitCode simulate(const RunOptions& options)
{
   const ZqReal duration = parsePositive("--time", options.time);
   const ZqReal step = parsePositive("--dt", options.step);
   const std::vector<ZqReal> commands = parseNumbers("--commands", options.commands);
   const std::vector<ZqReal> torques = parseNumbers("--torques", options.torques);
   const std::uint64_t every = parseCount("--every", options.every);
   const auto tableGroups = groupsOf(options, {"positions", "velocities", "base", "energy"});
   const auto plotGroups = groupsOf(options, {"positions", "base"});
   checkOutputs(options);

   ZqStatedSystem scene;
   ZqLinkInteractionsVector interactions;
   const auto prepare = [&]
   {
      setInitialState(options, scene);
      interactions = scene.system().linkInteractionsVector();
      if (options.isWithoutContact)
         scene.setLinkInteractionsVector(withoutContact(interactions));
   };
   warnOf(readAndCheckModel(options.model, scene, step, prepare));
   if (!options.contacts.empty() && !hasContact(scene.system()))
      complain("warning: --contacts: there is no interaction of contact in the model");
   checkLength("--commands", commands, scene.system().jointDof());
   checkLength("--torques", torques, scene.system().jointDof());
   const Schedule schedule(scene.state().time(), duration, step);
   const auto inputs =
      options.inputs.empty() ? nullptr : readInputs(options.inputs, scene.system());
   if (inputs)
   {
      inputs->setInterpolation(interpolations.at(options.interpolation));
      warnOfTimesWithoutInputs(*inputs, options.inputs, schedule);
   }

   ZqSimulation::Settings settings;
   settings.solver = solvers.at(options.solver);
   settings.integrator = integrators.at(options.integrator);
   settings.closesLoops = !options.isNotProjected;
   ZqSimulation simulation(scene, settings);
   simulation.setCommands(commands);
   simulation.setTorques(torques);
   warnOfLostInputs(simulation, inputs.get());

   Runner::Recorders recorders;
   if (!options.out.empty())
      recorders.push_back(makeRecorder(options.out, makeTraces(simulation, tableGroups)));
   if (!options.contacts.empty())
      recorders.push_back(makeContactRecorder(options.contacts));
   const auto plot =
      options.plot.empty() ? nullptr : std::make_unique<Plot>(makeTraces(simulation, plotGroups));
   const auto plotFile = plot ? std::make_unique<OutputFile>(options.plot) : nullptr;
   const auto replay =
      options.replay.empty()
         ? nullptr
         : std::make_unique<ReplayFile>(
              options.replay, std::filesystem::path(options.model).filename().string(), simulation);
   const Outcome outcome = Runner(simulation, schedule, inputs.get(), std::move(recorders), every,
                                  plot.get(), replay.get())
                              .run(!options.quiet);
   warnOfDepth(simulation);

   // The last failure gives the exit code.
   const std::vector<Failure> failures =
      report(options, step, schedule, scene, interactions, simulation, outcome, plot.get(),
             plotFile.get(), replay.get());
   if (failures.empty())
      return Done;
   for (const Failure& failure : failures)
      if (&failure != &failures.back())
         complain(failure.what());
   throw Failure(failures.back());
}

constexpr const char* explanation =
   "Each step takes the accelerations under gravity, drives, springs and constraints, and moves\n"
   "everything by the integrator. Steps end at multiples of dt, also when a run goes on from "
   "another;\n"
   "the last one ends at start + time. A joint that comes to a limit stops there. Loops are held "
   "closed. Manipulators\n"
   "that are attached ride on their carriers, which bear their bases. Springs, doors and contact\n"
   "between links act as the interactions of the model tell. The run ends early when a\n"
   "stopping criterion is met, when something is not finite any more or the step is far too long "
   "for\n"
   "a contact (exit code 4), and at Ctrl-C or SIGTERM (130); files then hold what there is. When "
   "a\n"
   "file is standard output, no summary is written.";
} // namespace

zqsim::Run zqsim::run(CLI::App& arguments)
{
   const CLI::Validator isNamed(
      [](const std::string& name)
      { return name.empty() ? std::string("the name of the file is empty") : std::string(); },
      "");
   const auto options = std::make_shared<RunOptions>();
   options->declare(arguments);
   arguments.add_option("--time", options->time, "How long to simulate (s)")
      ->required()
      ->type_name("NUMBER");
   arguments.add_option("--dt", options->step, "Length of a step (s)")
      ->type_name("NUMBER")
      ->capture_default_str();
   arguments
      .add_option("--solver", options->solver,
                  "How accelerations are computed: crbi by composite bodies, for models with "
                  "constraints too; arbi by articulated bodies, for long chains")
      ->check(CLI::IsMember(solvers))
      ->type_name("NAME")
      ->capture_default_str();
   arguments
      .add_option(
         "--integrator", options->integrator,
         "euler: semi-implicit, of first order; midpoint: implicit, of second order, keeps "
         "energy and momentum of free bodies; rk4: of fourth order, for smooth motion")
      ->check(CLI::IsMember(integrators))
      ->type_name("NAME")
      ->capture_default_str();
   arguments.add_flag("--no-projection", options->isNotProjected,
                      "Leave the gaps that steps open in loops as they are");
   arguments.add_flag("--no-contact", options->isWithoutContact,
                      "Let links pass through each other; springs between links and doors stay");
   arguments
      .add_option("--torques", options->torques,
                  "Torques at the motors (N m, N) of the joints of all manipulators in "
                  "order, as one argument: \"0.1 0.2\"; those missing are 0")
      ->type_name("LIST");
   arguments
      .add_option("--commands", options->commands,
                  "Commands to the power converters (a voltage, a valve opening, a torque), "
                  "in the same form")
      ->type_name("LIST");
   arguments
      .add_option("--inputs", options->inputs,
                  "A table (CSV) of what drives the model over time: \"time\" (s), and commands, "
                  "torques and external forces by name, as \"arm/forearm torque\"; an unknown name "
                  "is answered with those that there are")
      ->check(isNamed)
      ->type_name("FILE");
   arguments
      .add_option("--interpolation", options->interpolation,
                  "Between lines of --inputs: hold the last one, or linear")
      ->check(CLI::IsMember(interpolations))
      ->type_name("NAME")
      ->capture_default_str();
   arguments
      .add_option("--joints", options->joints,
                  "Positions (rad, m) of all joints to begin with, in place of those of the "
                  "model's state, as one argument: \"0.1 0.2\"")
      ->type_name("LIST");
   arguments
      .add_option("--velocities", options->velocities,
                  "Velocities (rad/s, m/s) of all joints to begin with, in the same form")
      ->type_name("LIST");
   arguments
      .add_option("--out", options->out,
                  "Where to record: to .csv, or standard output, a table over time; to .xml the "
                  "states")
      ->check(isNamed)
      ->type_name("FILE");
   arguments
      .add_option("--columns", options->columns,
                  "What the table and the plot show, with commas between, of " + groupNames() +
                     "; if not given, the table positions,velocities,base,energy and the plot "
                     "positions,base")
      ->type_name("LIST");
   arguments
      .add_option("--contacts", options->contacts,
                  "Where to record contacts, as .csv or to standard output: at each recorded time "
                  "one line for each pair of shapes that touch")
      ->check(isNamed)
      ->type_name("FILE");
   arguments
      .add_option(
         "--every", options->every,
         "Record with --out and --contacts the first state, that of every Nth step, and the last")
      ->type_name("N")
      ->capture_default_str();
   arguments
      .add_option("--save", options->save,
                  "Where to write the model as it ended, for another run to go on from")
      ->check(isNamed)
      ->type_name("FILE");
   arguments.add_option("--plot", options->plot, "Where to draw the motion over time, as SVG")
      ->check(isNamed)
      ->type_name("FILE");
   arguments
      .add_option("--replay", options->replay,
                  "Where to show the run, as a page (.html) for the browser that needs no network")
      ->check(isNamed)
      ->type_name("FILE");
   arguments.add_flag("--quiet", options->quiet, "Write nothing when all goes well");
   arguments.footer(explanation);
   return [options] { return simulate(*options); };
}
