// Dynamics of whole manipulators beside other libraries of the field, those that were found: the same
// models, states and loop for all, and every result compared before anything is measured. Then how our
// own times grow.
//
//    dynamicsBenchmark [text...]    only the rows that have one of the texts in their title

#include "dynamicsLibrary.h"
#include "models.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <span>

namespace
{
using namespace zqBenchmark;
using Libraries = std::vector<std::unique_ptr<Library>>;

constexpr struct
{
   Operation operation;
   const char* name;
} operations[] = {{Operation::Frames, "frames"},
                  {Operation::InverseDynamics, "inverse dynamics"},
                  {Operation::MassMatrix, "mass matrix"},
                  {Operation::ByFactorisation, "forward by factorisation"},
                  {Operation::ByArticulatedBodies, "forward by articulated bodies"},
                  {Operation::StepByFactorisation, "step by factorisation"},
                  {Operation::StepByArticulatedBodies, "step by articulated bodies"}};

/// States that differ in every number. A fixed base stands in the origin.
States randomStates(const ZqIndividualManipulator& manipulator, std::size_t count)
{
   const auto n = static_cast<Eigen::Index>(manipulator.jointDof());
   zqTest::RandomValues random(manipulator.jointDof());
   States states(count);
   for (State& state : states)
   {
      const auto list = [&](Eigen::Index size, double bound) {
         return Eigen::VectorXd::NullaryExpr(size, [&] { return random.real(-bound, bound); })
            .eval();
      };
      state.q = list(n, 3.0);
      state.v = list(n, 1.0);
      state.a = list(n, 1.0);
      if (manipulator.isFixedBase())
         continue;
      const ZqOrientation q = random.orientation();
      state.base = Eigen::Translation3d(list(3, 1.0)) *
                   Eigen::Quaterniond(q.w(), q.x(), q.y(), q.z()).normalized();
      state.baseVelocity = list(6, 1.0);
      state.baseAcceleration = list(6, 1.0);
   }
   return states;
}

/// The largest difference of two lists, relative to the largest number.
double difference(const Eigen::Ref<const Eigen::VectorXd>& a,
                  const Eigen::Ref<const Eigen::VectorXd>& b)
{
   return (a - b).lpNorm<Eigen::Infinity>() / a.lpNorm<Eigen::Infinity>();
}

/// The largest relative difference to our results over some states.
double difference(Library& ours, Library& peer, Operation operation)
{
   double largest = 0.0;
   for (std::size_t state = 0; state < 8; ++state)
   {
      ours.run(operation, state);
      peer.run(operation, state);
      const Eigen::VectorXd a = ours.result(operation, state);
      const Eigen::VectorXd b = peer.result(operation, state);
      if (a.size() != b.size())
         return INFINITY;
      // A step's velocities and positions are of different size: each half on its own.
      const bool isStep = operation == Operation::StepByFactorisation ||
                          operation == Operation::StepByArticulatedBodies;
      const Eigen::Index half = isStep ? a.size() / 2 : a.size();
      for (const double d :
           {difference(a.head(half), b.head(half)), difference(a.tail(half), b.tail(half))})
         largest = d <= largest ? largest : d; // NaN goes through
   }
   return largest;
}

/// Runs an operation of a library, each time with another state than the time before.
class Runner
{
public:
   Runner(Library& library, Operation operation, std::size_t states)
      : m_library(&library), m_operation(operation), m_states(states)
   {
   }
   /// Seconds of processor time for one evaluation, by a number of them.
   double time(std::size_t count)
   {
      const std::clock_t start = std::clock();
      for (std::size_t i = 0; i < count; ++i)
      {
         m_library->run(m_operation, m_next);
         m_next = m_next + 1 == m_states ? 0 : m_next + 1;
      }
      return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC /
             static_cast<double>(count);
   }

private:
   Library* m_library;
   Operation m_operation;
   std::size_t m_states;
   std::size_t m_next = 0;
};

double median(std::vector<double> values)
{
   const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
   std::nth_element(values.begin(), middle, values.end());
   return *middle;
}

/// Batches of all libraries in turn, so that a busy machine is so for all of them.
class Measurement
{
public:
   Measurement(std::span<Library* const> libraries, Operation operation, std::size_t states)
      : m_seconds(libraries.size())
   {
      constexpr int rounds = 25;
      constexpr double batch = 4e-3; // of a clock that may count in us
      std::vector<Runner> runners;
      std::vector<std::size_t> counts;
      for (Library* library : libraries)
      {
         Runner& runner = runners.emplace_back(*library, operation, states);
         runner.time(states); // sizes settle
         counts.push_back(static_cast<std::size_t>(batch / std::max(runner.time(states), 1e-8)) +
                          2);
      }
      for (int round = 0; round < rounds; ++round)
         for (std::size_t i = 0; i < runners.size(); ++i)
            m_seconds[i].push_back(runners[i].time(counts[i]));
   }
   double microseconds(std::size_t library) const { return 1e6 * median(m_seconds[library]); }
   /// The median of the ratios within a round.
   double ratio(std::size_t library, std::size_t peer) const
   {
      std::vector<double> ratios;
      for (std::size_t round = 0; round < m_seconds[library].size(); ++round)
         ratios.push_back(m_seconds[library][round] / m_seconds[peer][round]);
      return median(ratios);
   }

private:
   std::vector<std::vector<double>> m_seconds;
};

/// The clock rises to where it stays.
void warmUp()
{
   const std::clock_t end = std::clock() + CLOCKS_PER_SEC / 2;
   volatile double sum = 0.0;
   while (std::clock() < end)
      for (int i = 0; i < 1000; ++i)
         sum = sum + 1.0;
}

class Table
{
public:
   explicit Table(std::span<char*> filters) : m_filters(filters)
   {
      std::printf("%-46s %9s", "us (median)", "ours");
      for (const char* peer : peers)
         std::printf(" %9s", peer);
      for (const char* peer : peers)
         std::printf("  ours/%-6s", peer);
      std::printf("\n");
   }

   void rows(const char* title, const ZqIndividualManipulator& manipulator)
   {
      const States states = randomStates(manipulator, 64);
      const Model model = describe(manipulator);
      const std::unique_ptr<Library> own = ours(manipulator, states);
      Libraries others;
#ifdef ZQ_WITH_KDL
      others.push_back(kdl(model, states));
#endif
#ifdef ZQ_WITH_DART
      others.push_back(dart(model, states));
#endif
#ifdef ZQ_WITH_MUJOCO
      others.push_back(mujoco(model, states));
#endif
      for (const auto& [operation, name] : operations)
      {
         const std::string row = std::string(title) + ", " + name;
         if (!isWanted(row))
            continue;
         std::vector<Library*> libraries{own.get()};
         for (const auto& other : others)
            if (other != nullptr && other->offers(operation) &&
                agrees(row, *own, *other, operation))
               libraries.push_back(other.get());
         print(row, libraries, Measurement(libraries, operation, states.size()));
      }
   }

   /// Our times alone, by the number of joints.
   void growth(Operation operation, const char* name, std::initializer_list<ZqU32> sizes)
   {
      for (const ZqU32 size : sizes)
      {
         const std::string row = "chain of " + std::to_string(size) + ", " + name;
         if (!isWanted(row))
            continue;
         const ZqIndividualManipulator manipulator = generalTree(zqTest::chain(size));
         const States states = randomStates(manipulator, std::clamp(6400U / size, 8U, 64U));
         const std::unique_ptr<Library> own = ours(manipulator, states);
         Library* const library = own.get();
         const double time =
            Measurement(std::span(&library, 1), operation, states.size()).microseconds(0);
         std::printf("%-46s %9.3f %9.4f a joint\n", row.c_str(), time, time / size);
         std::fflush(stdout);
      }
   }

   bool allAgree() const
   {
      return m_allAgree;
   }

private:
   static constexpr const char* peers[] = {"KDL", "DART", "MuJoCo"};

   bool isWanted(const std::string& row) const
   {
      return m_filters.empty() ||
             std::any_of(m_filters.begin(), m_filters.end(),
                         [&](const char* filter) { return row.find(filter) != std::string::npos; });
   }
   bool agrees(const std::string& row, Library& own, Library& other, Operation operation)
   {
      const double d = difference(own, other, operation);
      if (d <= 1e-6)
         return true;
      std::printf("%s: %s differs from ours by %.1e\n", row.c_str(), other.name().c_str(), d);
      m_allAgree = false;
      return false;
   }
   static void print(const std::string& row, const std::vector<Library*>& libraries,
                     const Measurement& measurement)
   {
      std::string times;
      std::string ratios;
      for (const char* peer : peers)
      {
         char time[32] = "";
         char ratio[32] = "";
         for (std::size_t i = 1; i < libraries.size(); ++i)
            if (libraries[i]->name() == peer)
            {
               std::snprintf(time, sizeof time, "%.3f", measurement.microseconds(i));
               std::snprintf(ratio, sizeof ratio, "%.2f", measurement.ratio(0, i));
            }
         char cell[32];
         std::snprintf(cell, sizeof cell, " %9s", time);
         times += cell;
         std::snprintf(cell, sizeof cell, "  %11s", ratio);
         ratios += cell;
      }
      std::printf("%-46s %9.3f%s%s\n", row.c_str(), measurement.microseconds(0), times.c_str(),
                  ratios.c_str());
      std::fflush(stdout);
   }

   std::span<char*> m_filters;
   bool m_allAgree = true;
};
} // namespace

int main(int argc, char** argv)
{
   warmUp();
   Table table(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
   table.rows("arm of 7", arm7());
   table.rows("free tree of 30", tree30());
   table.rows("chain of 100", chain100());
   table.growth(Operation::ByArticulatedBodies, "articulated bodies", {10, 100, 1000, 10000});
   table.growth(Operation::MassMatrix, "mass matrix alone", {10, 30, 100, 300});
   table.growth(Operation::ByFactorisation, "factorisation", {10, 30, 100, 300});
   return table.allAgree() ? 0 : 1;
}
