// Batches of 1,000 states: the time of a state, by operation, model and instruction set.

#include "models.h"

#include "zqManipulator/dynamics/tools/ZqMotionBatch.h"

#include <benchmark/benchmark.h>

namespace
{
using namespace zqBenchmark;
using InstructionSet = ZqMotionBatch::InstructionSet;

/// The arrays of a batch, and the batch itself.
class Fixture
{
public:
   static constexpr ZqU32 states = 1000;

   Fixture(const ZqIndividualManipulator& model, InstructionSet set, ZqU32 threads)
      : m_model(model), m_batch(m_model, ZqVector(0.0, 0.0, 9.81))
   {
      m_batch.setInstructionSet(set);
      m_batch.setThreads(threads);
      const ZqU32 dof = m_model.jointDof();
      const ZqU32 all = m_model.totalDof();
      zqTest::RandomValues random(1);
      for (ZqRealVector* list : {&m_q, &m_v, &m_given})
         for (ZqU32 i = 0; i < states * dof; ++i)
            list->push_back(random.real(-2.0, 2.0));
      for (ZqU32 i = 0; all > dof && i < states; ++i)
      {
         const ZqOrientation q = random.orientation();
         m_placements.insert(m_placements.end(), {0.0, 0.0, 1.0, q.w(), q.x(), q.y(), q.z()});
         for (int k = 0; k < 6; ++k)
            m_baseV.push_back(random.real());
      }
      m_result.resize(states * dof);
      m_frames.resize(states * dof * 7);
      m_matrix.resize(states * all * all);
   }
   void frames() { m_batch.frames({m_q, m_placements}, m_frames); }
   void inverseDynamics()
   {
      m_batch.inverseDynamics({m_q, m_placements}, {m_v, m_baseV}, {m_given}, {m_result});
   }
   void forwardDynamics()
   {
      m_batch.forwardDynamics({m_q, m_placements}, {m_v, m_baseV}, {m_given}, {m_result});
   }
   void massMatrix() { m_batch.massMatrix({m_q, m_placements}, m_matrix); }
   /// So short that nothing diverges.
   void step() { m_batch.step({m_q, m_placements}, {m_v, m_baseV}, {m_given}, 1e-9); }

private:
   ZqIndividualManipulator m_model;
   ZqMotionBatch m_batch;
   ZqRealVector m_q, m_v, m_given, m_placements, m_baseV, m_result, m_frames, m_matrix;
};

void run(benchmark::State& state, void (Fixture::*operation)(), ZqIndividualManipulator (*model)(),
         InstructionSet set, ZqU32 threads)
{
   Fixture fixture(model(), set, threads);
   for (auto _ : state)
      (fixture.*operation)();
   using benchmark::Counter;
   state.counters["state"] =
      Counter(Fixture::states, Counter::kIsIterationInvariantRate | Counter::kInvert);
}

void addRows(const std::string& model, ZqIndividualManipulator (*make)())
{
   const std::pair<const char*, void (Fixture::*)()> operations[] = {
      {"frames", &Fixture::frames},
      {"inverse dynamics", &Fixture::inverseDynamics},
      {"forward dynamics", &Fixture::forwardDynamics},
      {"mass matrix", &Fixture::massMatrix},
      {"step", &Fixture::step}};
   const std::pair<const char*, InstructionSet> sets[] = {{"baseline", InstructionSet::Baseline},
                                                          {"AVX2", InstructionSet::Avx2},
                                                          {"AVX-512", InstructionSet::Avx512}};
   for (const auto& [operation, function] : operations)
      for (const auto& [name, set] : sets)
         if (ZqMotionBatch::isSupported(set))
            benchmark::RegisterBenchmark((model + ", " + operation + ", " + name).c_str(), run,
                                         function, make, set, 1U);
   benchmark::RegisterBenchmark((model + ", step, two threads").c_str(), run, &Fixture::step, make,
                                sets[ZqMotionBatch::isSupported(InstructionSet::Avx2)].second, 2U)
      ->UseRealTime();
}
} // namespace

int main(int argc, char** argv)
{
   addRows("arm of 7", arm7);
   addRows("free tree of 30", tree30);
   addRows("chain of 100", chain100);
   benchmark::Initialize(&argc, argv);
   benchmark::RunSpecifiedBenchmarks();
}
