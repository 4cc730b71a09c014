#include "apps/zqsim/inputs.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/schedule.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <utility>

namespace
{
using namespace zqsim;
using Quantity = ZqInputTable::Quantity;

bool isGiven(const ZqInputTable::Input& input, const ZqSimulation& simulation,
             const ZqInputTable* table)
{
   if (ZqInputTable::valueOf(input, simulation) != 0.0)
      return true;
   if (table == nullptr)
      return false;
   for (std::size_t k = 0; k < table->inputs().size(); ++k)
      if (table->inputs()[k].name == input.name)
         for (std::size_t line = 0; line < table->times().size(); ++line)
            if (table->value(line, k) != 0.0)
               return true;
   return false;
}

/// What keeps an input from acting; empty when nothing does.
std::string obstacleTo(const ZqInputTable::Input& input, const ZqSimulation& simulation,
                       const std::set<ZqU32>& carried)
{
   const bool isForce = input.quantity != Quantity::Command && input.quantity != Quantity::Torque;
   const auto& manipulator = simulation.system().manipulators()[input.place.manipulator];
   const bool isHeldByCarrier =
      simulation.settings().couplesAttachments && carried.contains(input.place.manipulator);
   if (isForce)
      return input.place.link == ZqBaseLinkIndex && manipulator.isFixedBase() && !isHeldByCarrier
                ? " is fixed, and feels no force"
                : "";
   const ZqJointActuator& drive = simulation.linkAt(input.place)->jointActuator();
   if (drive.mechanicalComponentContainer().topElement() == nullptr)
      return " has no drive train, and passes no torque";
   if (input.quantity == Quantity::Command &&
       drive.powerConverterContainer().topElement() == nullptr)
      return " has no power converter, and passes no command";
   return "";
}
} // namespace

std::string zqsim::nameOf(const ZqSimulation& simulation, const ZqSimulation::Place& place)
{
   const std::string of =
      " of " + simulation.system().manipulators()[place.manipulator].manipulatorLabel();
   if (place.link == ZqBaseLinkIndex)
      return "the base" + of;
   return "joint " + simulation.linkAt(place)->linkLabel() + of;
}

std::string zqsim::textOfFile(const std::string& fileName)
{
   std::ifstream file;
   errno = 0;
   if (!isStandardStream(fileName))
      file.open(fileName, std::ios::binary);
   std::istream& stream = file.is_open() ? file : std::cin;
   std::ostringstream text;
   if (file.good() && stream.peek() != std::istream::traits_type::eof())
      text << stream.rdbuf();
   if (file.fail() || stream.bad() || text.fail())
      throw Failure(InvalidInput,
                    fileName + (file.is_open() ? ": cannot be read: " : ": cannot be opened: ") +
                       std::strerror(errno));
   return std::move(text).str();
}

void zqsim::readTable(Inputs& inputs, const ZqManipulatorSystem& system)
{
   bool isRead = false;
   const Diagnostics diagnostics = diagnosticsOf(
      [&]
      {
         std::istringstream stream(inputs.text);
         isRead = inputs.table.read(stream, inputs.name, system);
      });
   if (!isRead)
      throw Failure(InvalidInput, reason(inputs.name, diagnostics));
}

void zqsim::warnOfLostInputs(const ZqSimulation& simulation, const ZqInputTable* table,
                             const std::set<ZqU32>& carried)
{
   std::set<std::string> told;
   for (const ZqInputTable::Input& input : ZqInputTable::inputsOf(simulation.system()))
   {
      const std::string obstacle = obstacleTo(input, simulation, carried);
      if (obstacle.empty() || !isGiven(input, simulation, table))
         continue;
      const std::string warning = "warning: " + nameOf(simulation, input.place) + obstacle;
      if (told.insert(warning).second)
         complain(warning);
   }
}

void zqsim::warnOfTimesWithoutInputs(const Inputs& inputs, const Schedule& schedule)
{
   const auto& [name, text, table] = inputs;
   const ZqReal first = table.times().front();
   const ZqReal last = table.times().back();
   if (first > schedule.start())
      complain("warning: " + name + " begins at " + exact(first) + " s, after the start at " +
               exact(schedule.start()) + " s, and until then does nothing");
   if (table.interpolation() == ZqInputTable::Interpolation::Linear && last < schedule.end())
      complain("warning: " + name + " ends at " + exact(last) + " s, before the end at " +
               exact(schedule.end()) + " s, and its last line holds from then on");
}
