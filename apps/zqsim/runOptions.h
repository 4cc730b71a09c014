#pragma once

#include "zqManipulator/simulation/step/ZqInputTable.h"

#include <optional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace zqsim
{
/// What one may ask of a run, as it was written.
struct RunOptions
{
   void declare(CLI::App& arguments);
   /// Finds before a long run what would make it be in vain: a `Failure`.
   void check() const;

   /// A replay shows what the books tell, and does without where a run has none.
   bool booksEnergy() const { return needsEnergyBook() || !replay.empty(); }
   bool needsEnergyBook() const { return tellsEnergies || !energy.empty(); }
   /// Whether standard output is for data, and so not for the summary.
   bool printsData() const;
   /// Of what is shown: the file that the run begins with, without its directory.
   std::string title() const;
   /// Of a run that begins with a model.
   ZqSimulation::Settings settings() const;
   std::optional<ZqInputTable::Interpolation> chosenInterpolation() const;
   /// What tables or drawings are to show: by default the motion.
   /// @{
   std::vector<std::string> tableGroups() const;
   std::vector<std::string> plotGroups() const;
   /// @}

   /// \name Where it begins, and how it steps
   /// @{
   std::string model;
   std::string resume;
   std::optional<std::string> joints;
   std::optional<std::string> velocities;
   std::optional<std::string> time;
   std::optional<std::string> until;
   std::optional<std::string> step;
   std::optional<std::string> solver;
   std::optional<std::string> integrator;
   bool isNotProjected = false;
   bool isWithoutContact = false;
   bool isCoupled = false;
   bool isNotCoupled = false;
   /// @}
   /// \name What drives it
   /// @{
   std::optional<std::string> torques;
   std::optional<std::string> commands;
   std::optional<std::string> inputs;
   std::optional<std::string> interpolation;
   std::vector<std::string> attachments;
   std::vector<std::string> releases;
   /// @}
   /// \name What it writes
   /// @{
   std::string out;
   std::string contacts;
   std::string energy;
   std::string every = "1";
   bool appends = false;
   bool tellsEnergies = false;
   std::optional<std::string> columns;
   std::string plot;
   std::string replay;
   std::string save;
   std::string saveCheckpoint;
   std::optional<std::string> checkpointEvery;
   bool json = false;
   bool quiet = false;
   /// @}

private:
   struct File
   {
      const char* option;
      const std::string& name;
   };

   std::vector<File> outputs() const;
   void declareStart(CLI::App& arguments);
   void declareInputs(CLI::App& arguments);
   void declareAttachments(CLI::App& arguments);
   void declareFiles(CLI::App& arguments);
   void checkStart() const;
   void checkFiles() const;
   void checkThatFilesDiffer() const;
};

const std::string& nameOf(ZqSimulation::Solver solver);
const std::string& nameOf(ZqSimulation::Integrator integrator);
} // namespace zqsim
