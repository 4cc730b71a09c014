#include "apps/zqsim/energies.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <vector>

namespace
{
using namespace zqsim;

/// A part of one of the sums of a book.
template <class Sum>
struct Part
{
   const char* name; ///< for people
   const char* key;  ///< in JSON
   ZqReal Sum::*value;
};

using Held = ZqEnergyBook::Held;
constexpr std::array<Part<Held>, 5> heldParts{
   {{"kinetic", "kinetic", &Held::kinetic},
    {"gravity", "gravity", &Held::gravity},
    {"joint springs", "jointSprings", &Held::jointSprings},
    {"link springs", "linkSprings", &Held::linkSprings},
    {"contact springs", "contactSprings", &Held::contactSprings}}};

using Work = ZqEnergyBook::Work;
constexpr std::array<Part<Work>, 3> workParts{
   {{"work of drives", "drives", &Work::drives},
    {"work of external forces", "externalForces", &Work::externalForces},
    {"work of carriers", "carriers", &Work::carriers}}};

using Loss = ZqEnergyBook::Loss;
constexpr std::array<Part<Loss>, 6> lossParts{
   {{"lost to joint friction", "jointFriction", &Loss::jointFriction},
    {"lost to joint dampers", "jointDampers", &Loss::jointDampers},
    {"lost to link dampers", "linkDampers", &Loss::linkDampers},
    {"lost to contact dampers", "contactDampers", &Loss::contactDampers},
    {"lost to contact friction", "contactFriction", &Loss::contactFriction},
    {"lost to limits", "limits", &Loss::limits}}};

/// Of all parts, in the order of columns.
template <class Action>
void forEachPart(const ZqEnergyBook& book, Action action)
{
   for (const auto& part : heldParts)
      action(part.name, book.held.*part.value);
   for (const auto& part : workParts)
      action(part.name, book.work.*part.value);
   for (const auto& part : lossParts)
      action(part.name, book.lost.*part.value);
   action("remainder", book.remainder());
}

std::vector<std::string> columnNames()
{
   std::vector<std::string> names{"time"};
   forEachPart({}, [&](const char* name, ZqReal) { names.emplace_back(name); });
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
      forEachPart(book,
                  [&](const char*, ZqReal value) { isFinite = isFinite && std::isfinite(value); });
      if (!isFinite)
         return;
      table.add(simulation.state().time());
      forEachPart(book, [&](const char*, ZqReal value) { table.add(value); });
      table.endLine();
   }
};

template <class Sum, std::size_t count>
Json dataOf(const Sum& sum, const std::array<Part<Sum>, count>& parts)
{
   Json data = Json::object();
   for (const Part<Sum>& part : parts)
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
template <class Sum, std::size_t count>
void addFlows(Json& rows, const Json& data, const std::array<Part<Sum>, count>& parts)
{
   for (const Part<Sum>& part : parts)
      addRow(rows, part.name, 0.0, data.at(part.key));
}
} // namespace

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
   return {{"heldAtStart", dataOf(book.heldAtStart, heldParts)},
           {"held", dataOf(book.held, heldParts)},
           {"work", dataOf(book.work, workParts)},
           {"lost", dataOf(book.lost, lossParts)},
           {"remainder", bounded(book.remainder())}};
}

std::string zqsim::describeEnergies(const Json& data)
{
   constexpr std::array<Column, 3> columns{
      {{"energy (J)", "/name"}, {"at the start", "/start"}, {"at the end", "/end"}}};
   const Json& start = data.at("heldAtStart");
   const Json& held = data.at("held");
   Json rows = Json::array();
   for (const auto& part : heldParts)
      addRow(rows, part.name, start.at(part.key), held.at(part.key));
   rows.push_back(
      {{"name", "held in all"}, {"start", start.at("total")}, {"end", held.at("total")}});
   addFlows(rows, data.at("work"), workParts);
   addFlows(rows, data.at("lost"), lossParts);
   return table(rows, columns) + "what is left is the integrator's: " + text(data.at("remainder")) +
          " J\n";
}
