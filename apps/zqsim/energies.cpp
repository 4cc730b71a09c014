#include "apps/zqsim/energies.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>

namespace
{
using namespace zqsim;

/// Of all parts, in the order of columns.
template <class Action>
void forEachColumn(const ZqEnergyBook& book, Action action)
{
   ZqEnergyBook::forEachPart(book, action);
   action("remainder", book.remainder());
}

std::vector<std::string> columnNames()
{
   std::vector<std::string> names = energyNames();
   names.insert(names.begin(), "time");
   return names;
}

class EnergyRecorder : public TableRecorder
{
public:
   EnergyRecorder(const std::string& fileName, const std::optional<Continuation>& continuation)
      : TableRecorder(fileName, columnNames(), continuation)
   {
   }

private:
   /// What is not finite is left out; the run ends there.
   void addLines(CsvTable& table, ZqSimulation& simulation, const ZqSimulation::Energy&) override
   {
      const ZqEnergyBook book = simulation.energyBook();
      bool isFinite = true;
      forEachColumn(book, [&](const char*, ZqReal value)
                    { isFinite = isFinite && std::isfinite(value); });
      if (!isFinite)
         return;
      table.add(simulation.state().time());
      forEachColumn(book, [&](const char*, ZqReal value) { table.add(value); });
      table.endLine();
   }
};

template <class Sum>
Json dataOf(const Sum& sum)
{
   Json data = Json::object();
   for (const auto& part : Sum::parts)
      data[part.key] = bounded(sum.*part.value);
   data["total"] = bounded(sum.total());
   return data;
}

void addRow(Json& rows, const char* name, const Json& start, const Json& end)
{
   if (start != 0.0 || end != 0.0)
      rows.push_back({{"name", name}, {"start", start}, {"end", end}});
}

/// Of what came and went since the start.
template <class Sum>
void addFlows(Json& rows, const Json& data)
{
   for (const auto& part : Sum::parts)
      addRow(rows, part.name, 0.0, data.at(part.key));
}
} // namespace

std::vector<std::string> zqsim::energyNames()
{
   std::vector<std::string> names;
   forEachColumn({}, [&](const char* name, ZqReal) { names.emplace_back(name); });
   return names;
}

void zqsim::takeEnergies(const ZqEnergyBook& book, std::vector<ZqReal>& numbers)
{
   numbers.clear();
   forEachColumn(book, [&](const char*, ZqReal value) { numbers.push_back(value); });
}

std::unique_ptr<zqsim::Observer>
zqsim::makeEnergyRecorder(const std::string& fileName,
                          const std::optional<Continuation>& continuation)
{
   return std::make_unique<EnergyRecorder>(fileName, continuation);
}

zqsim::Json zqsim::summarizeEnergies(ZqSimulation& simulation)
{
   if (!simulation.settings().booksEnergy)
      return nullptr;
   const ZqEnergyBook book = simulation.energyBook();
   return {{"heldAtStart", dataOf(book.heldAtStart)},
           {"held", dataOf(book.held)},
           {"work", dataOf(book.work)},
           {"lost", dataOf(book.lost)},
           {"remainder", bounded(book.remainder())}};
}

std::string zqsim::describeEnergies(const Json& data)
{
   constexpr std::array<Column, 3> columns{
      {{"energy (J)", "/name"}, {"at the start", "/start"}, {"at the end", "/end"}}};
   const Json& start = data.at("heldAtStart");
   const Json& held = data.at("held");
   Json rows = Json::array();
   for (const auto& part : ZqEnergyBook::Held::parts)
      addRow(rows, part.name, start.at(part.key), held.at(part.key));
   rows.push_back(
      {{"name", "held in all"}, {"start", start.at("total")}, {"end", held.at("total")}});
   addFlows<ZqEnergyBook::Work>(rows, data.at("work"));
   addFlows<ZqEnergyBook::Loss>(rows, data.at("lost"));
   return table(rows, columns) + "what is left is the integrator's: " + text(data.at("remainder")) +
          " J\n";
}
