#include "apps/zqsim/runOptions.h"

#include "apps/zqsim/columns.h"
#include "apps/zqsim/commands.h"
#include "apps/zqsim/outputFile.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <utility>

namespace
{
using namespace zqsim;

const std::map<std::string, ZqSimulation::Solver> solvers{{"crbi", ZqSimulation::Solver::Crbi},
                                                          {"arbi", ZqSimulation::Solver::Arbi}};

const std::map<std::string, ZqSimulation::Integrator> integrators{
   {"euler", ZqSimulation::Integrator::SemiImplicitEuler},
   {"midpoint", ZqSimulation::Integrator::ImplicitMidpoint},
   {"rk4", ZqSimulation::Integrator::RungeKutta}};

const std::map<std::string, ZqInputTable::Interpolation> interpolations{
   {"hold", ZqInputTable::Interpolation::Hold}, {"linear", ZqInputTable::Interpolation::Linear}};

template <class Value>
const std::string& nameIn(const std::map<std::string, Value>& values, Value value)
{
   return std::find_if(values.begin(), values.end(),
                       [&](const auto& named) { return named.second == value; })
      ->first;
}

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

/// What is saved comes by way of a file beside it; other files are opened before the first step.
void checkPlace(const std::string& saved)
{
   std::error_code error;
   if (std::filesystem::is_directory(saved, error))
      throw Failure(Failed, saved + ": " + std::strerror(EISDIR));
   // The dot asks for a directory.
   if (!saved.empty() && !isStandardStream(saved) && !std::filesystem::is_other(saved, error) &&
       access((plainPath(saved).parent_path() / ".").c_str(), W_OK) != 0)
      throw Failure(Failed, saved + ": " + std::strerror(errno));
}

void checkTable(const char* option, const std::string& name)
{
   if (!name.empty() && !isStandardStream(name) && !name.ends_with(".csv"))
      throw Failure(Usage, std::string(option) + ": " + name + " does not end in .csv");
}
} // namespace

ZqSimulation::Settings zqsim::RunOptions::settings() const
{
   ZqSimulation::Settings settings;
   settings.solver = solvers.at(solver.value_or("crbi"));
   settings.integrator = integrators.at(integrator.value_or("euler"));
   settings.closesLoops = !isNotProjected;
   settings.computesContact = !isWithoutContact;
   settings.booksEnergy = booksEnergy();
   settings.couplesAttachments = !isNotCoupled;
   return settings;
}

std::optional<ZqInputTable::Interpolation> zqsim::RunOptions::chosenInterpolation() const
{
   if (!interpolation)
      return std::nullopt;
   return interpolations.at(*interpolation);
}

std::vector<std::string> zqsim::RunOptions::tableGroups() const
{
   return parseGroups("--columns", columns.value_or("positions,velocities,base,energy"));
}

std::vector<std::string> zqsim::RunOptions::plotGroups() const
{
   return parseGroups("--columns", columns.value_or("positions,base"));
}

std::string zqsim::RunOptions::title() const
{
   const std::string& name = model.empty() ? resume : model;
   return isStandardStream(name) ? "standard input"
                                 : std::filesystem::path(name).filename().string();
}

const std::string& zqsim::nameOf(ZqSimulation::Solver solver)
{
   return nameIn(solvers, solver);
}

const std::string& zqsim::nameOf(ZqSimulation::Integrator integrator)
{
   return nameIn(integrators, integrator);
}

// Checks

std::vector<zqsim::RunOptions::File> zqsim::RunOptions::outputs() const
{
   return {{"--save", save},     {"--save-checkpoint", saveCheckpoint},
           {"--out", out},       {"--contacts", contacts},
           {"--energy", energy}, {"--plot", plot},
           {"--replay", replay}};
}

bool zqsim::RunOptions::printsData() const
{
   const std::vector<File> files = outputs();
   return std::any_of(files.begin(), files.end(),
                      [](const File& file) { return isStandardStream(file.name); });
}

void zqsim::RunOptions::check() const
{
   checkStart();
   checkFiles();
   checkThatFilesDiffer();
   checkPlace(save);
   checkPlace(saveCheckpoint);
   checkPlace(replay);
}

void zqsim::RunOptions::checkStart() const
{
   if (time.has_value() == until.has_value())
      throw Failure(Usage, time ? "--until: it stands in place of --time"
                                : "--time or --until is required");
   if (resume.empty())
   {
      if (model.empty())
         throw Failure(Usage, "MODEL is required, or --resume");
      if (appends)
         throw Failure(Usage, "--append: it goes with --resume");
      return;
   }
   struct Option
   {
      const char* name;
      bool isGiven;
   };
   const std::array<Option, 7> ofTheStart{
      {{"--solver", solver.has_value()},
       {"--integrator", integrator.has_value()},
       {"--joints", joints.has_value()},
       {"--velocities", velocities.has_value()},
       {"--no-projection", isNotProjected},
       {"--no-contact", isWithoutContact},
       {isNotCoupled ? "--no-coupling" : "--coupling", isCoupled || isNotCoupled}}};
   for (const Option& option : ofTheStart)
      if (option.isGiven)
         throw Failure(Usage, std::string(option.name) + ": with --resume it is that of " + resume);
}

void zqsim::RunOptions::checkFiles() const
{
   if (!out.empty() && !isStandardStream(out) && !out.ends_with(".csv") && !out.ends_with(".xml"))
      throw Failure(Usage, "--out: " + out + " ends neither in .csv nor in .xml");
   checkTable("--contacts", contacts);
   checkTable("--energy", energy);
   if (!contacts.empty() && isWithoutContact)
      throw Failure(Usage, "--contacts: there are none with --no-contact");
   const std::filesystem::path extension = std::filesystem::path(plot).extension();
   if (!extension.empty() && extension != ".svg")
      throw Failure(Usage, "--plot: " + plot + " is not for SVG, which is what is written");
   if (!replay.empty() && !isStandardStream(replay) && !replay.ends_with(".html"))
      throw Failure(Usage, "--replay: " + replay + " does not end in .html");
   tableGroups();
   plotGroups();
   if (columns && plot.empty() && (out.empty() || out.ends_with(".xml")))
      throw Failure(Usage, "--columns: there is neither a table nor a plot to have them");
   if (checkpointEvery && saveCheckpoint.empty())
      throw Failure(Usage, "--checkpoint-every needs --save-checkpoint");
   if (checkpointEvery && isStandardStream(saveCheckpoint))
      throw Failure(Usage, "--checkpoint-every: each takes the place of the one before, which "
                           "standard output cannot");
   if (!appends)
      return;
   if (out.ends_with(".xml"))
      throw Failure(Usage, "--append: goes on with tables, and not with states as " + out);
   if (out.empty() && contacts.empty() && energy.empty())
      throw Failure(Usage, "--append: there is no table to go on with");
   for (const std::string* table : {&out, &contacts, &energy})
      if (isStandardStream(*table))
         throw Failure(Usage, "--append: standard output is no file to go on with");
}

void zqsim::RunOptions::checkThatFilesDiffer() const
{
   const std::vector<File> written = outputs();
   if (json)
      for (const File& file : written)
         if (isStandardStream(file.name))
            throw Failure(Usage, std::string("--json: standard output is that of ") + file.option);
   const std::string& table = inputs ? *inputs : std::string();
   std::vector<File> files{{"MODEL", model}, {"--resume", resume}, {"--inputs", table}};
   const std::size_t readCount = files.size();
   for (const File& file : written)
      files.push_back(file);
   for (std::size_t i = 0; i < files.size(); ++i)
      for (std::size_t j = 0; j < i; ++j)
      {
         const bool isReplacedAtTheEnd =
            (&files[i].name == &save && &files[j].name == &model) ||
            (&files[i].name == &saveCheckpoint && &files[j].name == &resume);
         const bool isInputAndOutput =
            j < readCount && i >= readCount && isStandardStream(files[j].name);
         if (!isReplacedAtTheEnd && !isInputAndOutput && isSameFile(files[i].name, files[j].name))
            throw Failure(Usage, std::string(files[i].option) + ": " + files[i].name +
                                    " is the file of " + files[j].option);
      }
}

// Declarations

namespace
{
/// The name is a string, or optionally one.
template <class Name>
void addFile(CLI::App& arguments, const char* option, Name& name, const char* description)
{
   static const CLI::Validator isNamed(
      [](const std::string& given)
      { return given.empty() ? std::string("the name of the file is empty") : std::string(); },
      "");
   arguments.add_option(option, name, description)->check(isNamed)->type_name("FILE");
}
} // namespace

void zqsim::RunOptions::declare(CLI::App& arguments)
{
   declareStart(arguments);
   declareInputs(arguments);
   declareAttachments(arguments);
   declareFiles(arguments);
}

void zqsim::RunOptions::declareStart(CLI::App& arguments)
{
   arguments.add_option("MODEL", model, "The model to read; none is needed with --resume")
      ->type_name("FILE");
   addFile(arguments, "--resume", resume,
           "A checkpoint to go on from, with all that it had: model, drives, inputs, step, solver "
           "and integrator; a MODEL besides must be the same");
   arguments.add_option("--time", time, "How long to simulate (s)")->type_name("NUMBER");
   arguments.add_option("--until", until, "In place of --time, the time at which to end (s)")
      ->type_name("NUMBER");
   arguments
      .add_option("--dt", step,
                  "Length of a step (s); if not given, 0.001, or with --resume as before")
      ->type_name("NUMBER");
   arguments
      .add_option("--solver", solver,
                  "How accelerations are computed: crbi, if not given, by composite bodies, for "
                  "models with constraints too; arbi by articulated bodies, for long chains")
      ->check(CLI::IsMember(solvers))
      ->type_name("NAME");
   arguments
      .add_option(
         "--integrator", integrator,
         "euler, if not given: semi-implicit, of first order; midpoint: implicit, of second "
         "order, keeps energy and momentum of free bodies; rk4: of fourth order, for smooth motion")
      ->check(CLI::IsMember(integrators))
      ->type_name("NAME");
   arguments.add_flag("--no-projection", isNotProjected,
                      "Leave the gaps that steps open in loops as they are");
   arguments.add_flag("--no-contact", isWithoutContact,
                      "Let links pass through each other; springs between links and doors stay");
   arguments.add_flag("--no-coupling", isNotCoupled,
                      "Load carriers with no more than the bases of what is attached to them, "
                      "which does not act back");
   arguments
      .add_flag("--coupling", isCoupled,
                "Have what is attached act back on what carries it, which is so if not given")
      ->excludes("--no-coupling");
   arguments
      .add_option("--joints", joints,
                  "Positions (rad, m) of all joints to begin with, in place of those of the "
                  "model's state, as one argument: \"0.1 0.2\"")
      ->type_name("LIST");
   arguments
      .add_option("--velocities", velocities,
                  "Velocities (rad/s, m/s) of all joints to begin with, in the same form")
      ->type_name("LIST");
}

void zqsim::RunOptions::declareInputs(CLI::App& arguments)
{
   arguments
      .add_option("--torques", torques,
                  "Torques at the motors (N m, N) of the joints of all manipulators in "
                  "order, as one argument: \"0.1 0.2\"; those missing are 0")
      ->type_name("LIST");
   arguments
      .add_option("--commands", commands,
                  "Commands to the power converters (a voltage, a valve opening, a torque), "
                  "in the same form")
      ->type_name("LIST");
   addFile(arguments, "--inputs", inputs,
           "A table (CSV) of what drives the model over time: \"time\" (s), and commands, "
           "torques and external forces by name, as \"arm/forearm torque\"; an unknown name "
           "is answered with those that there are");
   arguments
      .add_option("--interpolation", interpolation,
                  "Between lines of --inputs: hold the last one, or linear; if not given, hold, "
                  "or with --resume as before")
      ->check(CLI::IsMember(interpolations))
      ->type_name("NAME");
}

void zqsim::RunOptions::declareAttachments(CLI::App& arguments)
{
   arguments
      .add_option("--attach", attachments,
                  "At a time (s), attach a manipulator to a link of another one as it stands then, "
                  "as one argument: \"0.5 peg arm/hand\"; may be given again. With --resume give "
                  "all of them again")
      ->allow_extra_args(false)
      ->type_name("EVENT");
   arguments
      .add_option("--release", releases,
                  "At a time (s), release a manipulator, likewise: \"1.5 peg\"")
      ->allow_extra_args(false)
      ->type_name("EVENT");
}

void zqsim::RunOptions::declareFiles(CLI::App& arguments)
{
   addFile(arguments, "--out", out,
           "Where to record: to .csv, or standard output, a table over time; to .xml the "
           "states");
   arguments
      .add_option("--columns", columns,
                  "What the table and the plot show, with commas between, of " + groupNames() +
                     "; if not given, the table positions,velocities,base,energy and the plot "
                     "positions,base")
      ->type_name("LIST");
   addFile(arguments, "--contacts", contacts,
           "Where to record contacts, as .csv or to standard output: at each recorded time "
           "one line for each pair of shapes that touch");
   addFile(arguments, "--energy", energy,
           "Where to record energies, as .csv or to standard output: a table over time of what "
           "bodies and springs hold, what drives put in, and what was lost to friction, dampers "
           "and limits");
   arguments.add_flag("--energy-summary", tellsEnergies,
                      "Tell energies at the end in the summary, also without a table");
   arguments
      .add_option("--every", every,
                  "Record with --out, --contacts and --energy the first state, that of every Nth "
                  "step since the beginning, and the last")
      ->type_name("N")
      ->capture_default_str();
   arguments.add_flag("--append", appends,
                      "With --resume, go on with the tables that there are: what they have after "
                      "the checkpoint is written anew");
   addFile(arguments, "--plot", plot,
           "Where to draw the motion over time, as SVG; of a run that was resumed, its own part");
   addFile(arguments, "--replay", replay,
           "Where to show the run, as a page (.html) for the browser that needs no network; of a "
           "run that was resumed, its own part");
   addFile(arguments, "--save", save,
           "Where to write the model as it ended, for another run to go on from");
   addFile(arguments, "--save-checkpoint", saveCheckpoint,
           "Where to write, at the end, all that --resume needs to go on to the same numbers");
   arguments
      .add_option("--checkpoint-every", checkpointEvery,
                  "Write the checkpoint after every Nth step since the beginning, too")
      ->type_name("N");
   arguments.add_flag("--json", json, "Write JSON");
   arguments.add_flag("--quiet", quiet, "Write nothing when all goes well");
}
