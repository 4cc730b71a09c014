#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/plot.h"
#include "apps/zqsim/progress.h"
#include "apps/zqsim/recorder.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

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
#include <limits>
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
   std::string out;
   std::string every = "1";
   std::string save;
   std::string plot;
   bool isNotProjected = false;
   bool quiet = false;
};

const std::map<std::string, ZqSimulation::Solver> solvers{{"crbi", ZqSimulation::Solver::Crbi},
                                                          {"arbi", ZqSimulation::Solver::Arbi}};

const std::map<std::string, ZqSimulation::Integrator> integrators{
   {"euler", ZqSimulation::Integrator::SemiImplicitEuler},
   {"midpoint", ZqSimulation::Integrator::ImplicitMidpoint},
   {"rk4", ZqSimulation::Integrator::RungeKutta}};

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

/// The times of the steps, which are of one length but for the last: that ends where it should.
class Schedule
{
public:
   Schedule(ZqReal start, ZqReal duration, ZqReal step)
      : m_start(start), m_end(start + duration), m_step(step)
   {
      if (!(step <= duration))
         throw Failure(Usage, "--dt: a step of " + exact(step) + " s is longer than --time, " +
                                 exact(duration) + " s");
      constexpr ZqReal most = 1e15;
      const ZqReal steps = duration / step;
      if (!(steps <= most && start + step > start && m_end - step < m_end))
         throw Failure(Usage, "--dt: steps of " + exact(step) + " s are too short for " +
                                 exact(duration) + " s from the time of the state, " +
                                 exact(start) + " s");
      // What exceeds a whole number by rounding is no step.
      constexpr ZqReal rounding = 4.0 * std::numeric_limits<ZqReal>::epsilon();
      m_count = static_cast<std::uint64_t>(std::ceil(steps * (1.0 - rounding)));
   }
   ZqReal start() const { return m_start; }
   ZqReal end() const { return m_end; }
   std::uint64_t count() const { return m_count; }
   /// After so many steps.
   ZqReal time(std::uint64_t steps) const
   {
      return steps < m_count ? m_start + static_cast<ZqReal>(steps) * m_step : m_end;
   }

private:
   ZqReal m_start;
   ZqReal m_end;
   ZqReal m_step;
   std::uint64_t m_count;
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
   return isStandardStream(options.out) || isStandardStream(options.save) ||
          isStandardStream(options.plot);
}

/// Finds before a long run what would make it be in vain.
void checkOutputs(const RunOptions& options)
{
   if (!options.out.empty() && !isStandardStream(options.out) && !options.out.ends_with(".csv") &&
       !options.out.ends_with(".xml"))
      throw Failure(Usage, "--out: " + options.out + " ends neither in .csv nor in .xml");
   const std::filesystem::path extension = std::filesystem::path(options.plot).extension();
   if (!extension.empty() && extension != ".svg")
      throw Failure(Usage, "--plot: " + options.plot + " is not for SVG, which is what is written");
   if (options.json && printsData(options))
      throw Failure(Usage, "--json: standard output is that of --out, --save or --plot");
   struct File
   {
      const char* option;
      const std::string& name;
   };
   const std::array<File, 4> files{{{"MODEL", options.model},
                                    {"--save", options.save},
                                    {"--out", options.out},
                                    {"--plot", options.plot}}};
   for (std::size_t i = 0; i < files.size(); ++i)
      for (std::size_t j = 0; j < i; ++j)
      {
         const bool isReplacedAtTheEnd = i == 1 && j == 0;
         const bool isInputAndOutput = j == 0 && isStandardStream(files[j].name);
         if (!isReplacedAtTheEnd && !isInputAndOutput && isSameFile(files[i].name, files[j].name))
            throw Failure(Usage, std::string(files[i].option) + ": " + files[i].name +
                                    " is the file of " + files[j].option);
      }
   // The model is saved by way of a file beside it; the others are opened before the first step.
   std::error_code error;
   const std::string& save = options.save;
   if (std::filesystem::is_directory(save, error))
      throw Failure(Failed, save + ": " + std::strerror(EISDIR));
   if (!save.empty() && !isStandardStream(save) && !std::filesystem::is_other(save, error) &&
       access(plainPath(save).parent_path().c_str(), W_OK) != 0)
      throw Failure(Failed, save + ": " + std::strerror(errno));
}

void checkLength(const char* option, const std::vector<ZqReal>& list, ZqU32 jointCount)
{
   if (list.size() > jointCount)
      throw Failure(Usage, std::string(option) + ": the model has " + std::to_string(jointCount) +
                              (jointCount == 1 ? " joint" : " joints") + ", but received " +
                              std::to_string(list.size()) + " numbers");
}

std::string nameOf(const ZqStatedSystem& scene, const ZqSimulation::Place& place)
{
   const ZqIndividualManipulator& manipulator = scene.system().manipulators()[place.manipulator];
   const std::string of = " of " + manipulator.manipulatorLabel();
   if (place.link == ZqBaseLinkIndex)
      return "the base" + of;
   return "joint " + manipulator.linkByIndex(place.link)->linkLabel() + of;
}

void warnOfLostInputs(const ZqStatedSystem& scene, const ZqSimulation::Settings& settings)
{
   const auto isGiven = [](const std::vector<ZqReal>& list, std::size_t i)
   { return i < list.size() && list[i] != 0.0; };
   std::size_t joint = 0;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      for (const ZqManipulatorLink* link : scene.system().manipulators()[i].linkPointerVector())
      {
         const ZqJointActuator& drive = link->jointActuator();
         const bool hasDriveTrain = drive.mechanicalComponentContainer().topElement() != nullptr;
         const bool hasConverter = drive.powerConverterContainer().topElement() != nullptr;
         const auto warn = [&](const char* missing, const char* input)
         {
            complain("warning: " + nameOf(scene, {i, link->linkIndex()}) + " has no " + missing +
                     ", and passes no " + input);
         };
         if (!hasDriveTrain &&
             (isGiven(settings.torques, joint) || isGiven(settings.commands, joint)))
            warn("drive train", "torque");
         else if (!hasConverter && isGiven(settings.commands, joint))
            warn("power converter", "command");
         ++joint;
      }
}

// The run

struct Outcome
{
   const char* end = "time reached";
   std::uint64_t steps = 0;
   ZqReal wallTime = 0.0;
   ZqSimulation::Energy atStart;
   ZqSimulation::Energy atEnd;
   std::optional<Failure> failure; ///< of the recorder
};

/// Does the steps, and on the way records and plots the states.
class Runner
{
public:
   /// Recorder and plot may be null.
   Runner(ZqSimulation& simulation, const Schedule& schedule, Recorder* recorder,
          std::uint64_t every, Plot* plot)
      : m_simulation(simulation), m_schedule(schedule), m_recorder(recorder), m_every(every),
        m_plot(plot)
   {
   }

   Outcome run(bool showProgress)
   {
      m_outcome.atStart = m_simulation.energy();
      m_outcome.atEnd = m_outcome.atStart;
      if (!m_simulation.divergence())
      {
         record(m_outcome.atStart);
         if (m_plot != nullptr)
            m_plot->sample(m_simulation.state());
         doSteps(showProgress);
         m_outcome.atEnd = m_simulation.energy();
         if (!m_isRecorded && std::isfinite(m_outcome.atEnd.total()))
            record(m_outcome.atEnd);
         if (m_plot != nullptr)
            m_plot->sampleLast(m_simulation.state());
      }
      withRecorder([](Recorder& recorder) { recorder.finish(); });
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
         if (m_plot != nullptr)
            m_plot->sample(m_simulation.state());
         m_isRecorded = false;
         if (m_recorder != nullptr && m_outcome.steps % m_every == 0)
         {
            const ZqSimulation::Energy energy = m_simulation.energy();
            if (m_simulation.divergence())
               break;
            record(energy);
         }
         if (m_outcome.steps % stepsBetweenLooks == 0 &&
             progress.update(m_simulation.state().time()))
            withRecorder([](Recorder& recorder) { recorder.flush(); });
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

   void record(const ZqSimulation::Energy& energy)
   {
      withRecorder([&](Recorder& recorder) { recorder.record(m_simulation.state(), energy); });
      m_isRecorded = true;
   }

   /// A recorder that fails is not asked again.
   template <class Action>
   void withRecorder(Action action)
   {
      if (m_recorder == nullptr)
         return;
      try
      {
         action(*m_recorder);
      }
      catch (const Failure& failure)
      {
         m_outcome.failure = failure;
         m_outcome.end = "recording failed";
         m_recorder = nullptr;
      }
   }

   ZqSimulation& m_simulation;
   const Schedule& m_schedule;
   Recorder* m_recorder;
   std::uint64_t m_every;
   Plot* m_plot;
   Outcome m_outcome;
   bool m_isRecorded = false; ///< the present state
};

// What is told of it

Json toJson(const ZqSimulation::Energy& energy)
{
   return {{"kinetic", bounded(energy.kinetic)},
           {"potential", bounded(energy.potential)},
           {"total", bounded(energy.total())}};
}

Json toJson(const ZqStatedSystem& scene, const ZqSimulation::Place& place)
{
   const ZqIndividualManipulator& manipulator = scene.system().manipulators()[place.manipulator];
   const ZqManipulatorLink* link = manipulator.linkByIndex(place.link);
   return {{"manipulator", manipulator.manipulatorLabel()},
           {"link", link != nullptr ? link->linkLabel() : ""}};
}

Json summarize(const RunOptions& options, const ZqStatedSystem& scene, const Schedule& schedule,
               ZqReal step, const ZqSimulation& simulation, const Outcome& outcome)
{
   Json limits = Json::array();
   for (const ZqSimulation::LimitHit& hit : simulation.limitHits())
   {
      limits.push_back(toJson(scene, hit.place));
      limits.back()["time"] = hit.time;
   }
   Json criteria = Json::array();
   for (const ZqSimulation::FiredCriterion& fired : simulation.firedCriteria())
   {
      const auto& manipulator = scene.system().manipulators()[fired.manipulator];
      criteria.push_back({{"manipulator", manipulator.manipulatorLabel()},
                          {"description", fired.description},
                          {"time", fired.time}});
   }
   Json gap;
   if (const auto& greatest = simulation.greatestGap())
   {
      const auto& manipulator = scene.system().manipulators()[greatest->manipulator];
      gap = {
         {"manipulator", manipulator.manipulatorLabel()},
         {"constraint", manipulator.stateEqualityConstraints().description(greatest->constraint)},
         {"size", bounded(greatest->size)},
         {"time", greatest->time}};
   }
   Json divergence;
   if (simulation.divergence())
   {
      divergence = toJson(scene, simulation.divergence()->place);
      divergence["quantity"] = simulation.divergence()->quantity;
      divergence["time"] = simulation.divergence()->time;
   }
   const ZqReal simulated = simulation.state().time() - schedule.start();
   const auto perWallTime = [&](ZqReal value)
   { return outcome.wallTime > 0.0 ? Json(value / outcome.wallTime) : Json(); };
   return {{"model", options.model},
           {"solver", options.solver},
           {"integrator", options.integrator},
           {"step", step},
           {"start", schedule.start()},
           {"time", simulation.state().time()},
           {"end", outcome.end},
           {"steps", outcome.steps},
           {"substitutedSteps", simulation.substitutedSteps()},
           {"wallTime", outcome.wallTime},
           {"stepsPerSecond", perWallTime(static_cast<ZqReal>(outcome.steps))},
           {"timesRealTime", perWallTime(simulated)},
           {"energy", {{"start", toJson(outcome.atStart)}, {"end", toJson(outcome.atEnd)}}},
           {"greatestGap", gap},
           {"limits", limits},
           {"criteria", criteria},
           {"divergence", divergence}};
}

std::string describe(const Json& data)
{
   constexpr std::array<Column, 4> energyColumns{{{"energy (J)", "/name"},
                                                  {"kinetic", "/kinetic"},
                                                  {"potential", "/potential"},
                                                  {"total", "/total"}}};
   constexpr std::array<Column, 3> limitColumns{
      {{"joint at a limit", "/link"}, {"of", "/manipulator"}, {"first at (s)", "/time"}}};
   constexpr std::array<Column, 3> criterionColumns{
      {{"stopping criterion", "/description"}, {"of", "/manipulator"}, {"at (s)", "/time"}}};

   Json energies = Json::array();
   for (const auto& [time, energy] : data.at("energy").items())
   {
      energies.push_back({{"name", "at the " + time}});
      energies.back().update(energy);
   }
   std::string result = text(data.at("model")) + ": from " + text(data.at("start")) + " s to " +
                        text(data.at("time")) + " s in steps of " + text(data.at("step")) +
                        " s, solver " + text(data.at("solver")) + ", integrator " +
                        text(data.at("integrator")) + ": " + text(data.at("end")) + '\n';
   result += "steps " + text(data.at("steps")) + ", wall time " + text(data.at("wallTime")) +
             " s, steps per second " + text(data.at("stepsPerSecond")) + ", " +
             text(data.at("timesRealTime")) + " x real time\n";
   if (data.at("substitutedSteps") != 0)
      result += text(data.at("substitutedSteps")) +
                " of the steps by euler: at limits, or where the integrator found no end\n";
   result += table(energies, energyColumns);
   if (const Json& gap = data.at("greatestGap"); !gap.is_null())
      result += "greatest gap of a loop " + text(gap.at("size")) + " m, at " +
                text(gap.at("time")) + " s: " + text(gap.at("constraint")) + " of " +
                text(gap.at("manipulator")) + '\n';
   if (data.at("limits").empty())
      result += "no joint at a limit\n";
   else
      result += table(data.at("limits"), limitColumns);
   if (data.at("criteria").empty())
      result += "no stopping criterion met\n";
   else
      result += table(data.at("criteria"), criterionColumns);
   return result;
}

// The command

ExitCode simulate(const RunOptions& options)
{
   const ZqReal duration = parsePositive("--time", options.time);
   const ZqReal step = parsePositive("--dt", options.step);
   ZqSimulation::Settings settings;
   settings.solver = solvers.at(options.solver);
   settings.integrator = integrators.at(options.integrator);
   settings.closesLoops = !options.isNotProjected;
   settings.commands = parseNumbers("--commands", options.commands);
   settings.torques = parseNumbers("--torques", options.torques);
   const std::uint64_t every = parseCount("--every", options.every);
   checkOutputs(options);
   ZqStatedSystem scene;
   warnOf(readAndCheckModel(options.model, scene));
   const ZqU32 jointCount = scene.system().jointDof();
   checkLength("--commands", settings.commands, jointCount);
   checkLength("--torques", settings.torques, jointCount);
   warnOfLostInputs(scene, settings);
   const Schedule schedule(scene.state().time(), duration, step);

   ZqSimulation simulation(scene, settings);
   const auto recorder = options.out.empty() ? nullptr : makeRecorder(options.out, scene);
   const auto plot = options.plot.empty() ? nullptr : std::make_unique<Plot>(scene);
   const auto plotFile = plot ? std::make_unique<OutputFile>(options.plot) : nullptr;
   const Outcome outcome =
      Runner(simulation, schedule, recorder.get(), every, plot.get()).run(!options.quiet);

   // What fails keeps nothing else from being written. The last failure gives the exit code.
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
                            "interrupted at " + exact(simulation.state().time()) + " s");
   if (outcome.failure)
      failures.push_back(*outcome.failure);
   if (plot)
      attempt(
         [&]
         {
            plotFile->write(plot->svg());
            plotFile->close();
         });
   std::string saved;
   if (!options.save.empty())
      attempt(
         [&]
         {
            scene.setState(simulation.state());
            writeModel(scene, options.save);
            saved = "; saved is the state at " + exact(scene.state().time()) + " s";
         });
   if (!options.quiet && !printsData(options))
      attempt(
         [&]
         {
            const Json data = summarize(options, scene, schedule, step, simulation, outcome);
            options.json ? print(data) : print(describe(data));
         });
   if (const auto& divergence = simulation.divergence())
      failures.emplace_back(NumericalFailure, "diverged at " + exact(divergence->time) +
                                                 " s: the " + divergence->quantity + " of " +
                                                 nameOf(scene, divergence->place) +
                                                 " is not finite" + saved);
   if (failures.empty())
      return Done;
   for (const Failure& failure : failures)
      if (&failure != &failures.back())
         complain(failure.what());
   throw Failure(failures.back());
}

constexpr const char* explanation =
   "Each step takes the accelerations under gravity, drives, springs and constraints, and moves\n"
   "everything by the integrator. The times are start + k dt; the last step is shortened to end "
   "at\n"
   "start + time. A joint that comes to a limit stops there. Loops are held closed. Manipulators\n"
   "that are attached ride on their carriers, which bear their bases. The run ends early when a\n"
   "stopping criterion is met, when something is not finite any more (exit code 4), and at Ctrl-C\n"
   "or SIGTERM (130); files then hold what there is. When a file is standard output, no summary "
   "is\n"
   "written.";
} // namespace

zqsim::Run zqsim::run(CLI::App& arguments)
{
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
      .add_option("--out", options->out,
                  "Where to record: to .csv, or standard output, time, joint positions and "
                  "velocities, and energy; to .xml the states")
      ->type_name("FILE");
   arguments
      .add_option("--every", options->every,
                  "Record with --out the first state, that of every Nth step, and the last")
      ->type_name("N")
      ->capture_default_str();
   arguments
      .add_option("--save", options->save,
                  "Where to write the model as it ended, for another run to go on from")
      ->type_name("FILE");
   arguments.add_option("--plot", options->plot, "Where to draw joint positions over time, as SVG")
      ->type_name("FILE");
   arguments.add_flag("--quiet", options->quiet, "Write nothing when all goes well");
   arguments.footer(explanation);
   return [options] { return simulate(*options); };
}
