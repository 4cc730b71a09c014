#include "support/bits.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

// Long runs, in which any bit that is lost grows: they end in the same bits on every x86-64 processor, and
// for every compiler and degree of optimisation. A change of an algorithm that changes last bits changes
// the digests below; a failure tells what to put in the place of each.

namespace
{
using Integrator = ZqSimulation::Integrator;
using Solver = ZqSimulation::Solver;

/// Joints of all kinds with drives and springs, on a free base, two of its branches bound together.
ZqStatedSystem randomTree()
{
   zqTest::RandomScene scene(83, {zqTest::balancedTree(10), false});
   scene.system.editManipulator(scene.index,
                                [&](ZqIndividualManipulator& model)
                                {
                                   for (ZqU32 i = 0; i < 10; ++i)
                                      model.linkByIndex(i)->setLinkKinematics(
                                         zqTest::randomJoint(scene.random, i % 2, i / 2));
                                   ZqPointStateEqualityConstraint loop;
                                   loop.setFirstLinkLabel("label7");
                                   loop.setSecondLinkLabel("label9");
                                   ZqStateEqualityConstraintVector constraints;
                                   constraints.pushBack(loop);
                                   model.setStateEqualityConstraints(constraints);
                                });
   return scene.system;
}

struct LongRun
{
   const char* model; ///< a file of the examples; empty for the random tree
   Solver solver;
   Integrator integrator;
   ZqReal step; ///< s
   std::uint64_t digest;
};

// clang-format off
const LongRun runs[]{
   {"pendulum.xml", Solver::Crbi, Integrator::ImplicitMidpoint, 1e-3, 0x0},
   {"planarTwoLink.xml", Solver::Arbi, Integrator::RungeKutta, 1e-3, 0x0},
   {"puma560.xml", Solver::Crbi, Integrator::SemiImplicitEuler, 1e-3, 0x0},
   {"puma560.xml", Solver::Arbi, Integrator::SemiImplicitEuler, 1e-3, 0x0},
   {"quadruped.xml", Solver::Crbi, Integrator::RungeKutta, 1e-3, 0x0},
   {"quadruped.xml", Solver::Arbi, Integrator::ImplicitMidpoint, 1e-3, 0x0},
   {"twoArms.xml", Solver::Crbi, Integrator::SemiImplicitEuler, 1e-3, 0x0},
   {"twoArms.xml", Solver::Arbi, Integrator::SemiImplicitEuler, 1e-3, 0x0},
   {"freeChain.xml", Solver::Arbi, Integrator::ImplicitMidpoint, 1e-3, 0x0},
   {"", Solver::Crbi, Integrator::SemiImplicitEuler, 1e-4, 0x0},
   {"", Solver::Arbi, Integrator::SemiImplicitEuler, 1e-4, 0x0},
};
// clang-format on

void addState(zqTest::Bits& bits, const ZqManipulatorSystemState& state)
{
   for (ZqU32 i = 0; i < state.positionStates().size(); ++i)
   {
      const ZqPositionState& position = state.positionStates()[i];
      const ZqVelocityState& velocity = state.velocityStates()[i];
      bits.add(position.jointPositions().values());
      bits.add(position.coordSysXForm());
      bits.add(velocity.jointVelocities().values());
      bits.add(velocity.generalVelocity());
   }
}

TEST(Digest, OfLongRunsIsThatOfEveryProcessor)
{
#ifndef __x86_64__
   GTEST_SKIP() << "the digests are those of x86-64";
#endif
   const zqTest::LogCapture log;
   for (const LongRun& run : runs)
   {
      ZqStatedSystem scene;
      if (*run.model == '\0')
         scene = randomTree();
      else
         ASSERT_TRUE(Zq::load(scene, std::string(ZQ_EXAMPLE_MODELS) + run.model)) << run.model;
      ZqSimulation::Settings settings;
      settings.solver = run.solver;
      settings.integrator = run.integrator;
      ZqSimulation simulation(scene, settings);
      zqTest::Bits bits;
      for (int k = 1; k <= 2000; ++k)
      {
         ASSERT_TRUE(simulation.step(run.step)) << run.model << k;
         if (k % 100 == 0)
            addState(bits, simulation.state());
      }
      std::ostringstream digest;
      digest << "0x" << std::hex << std::setw(16) << std::setfill('0') << bits.digest();
      EXPECT_EQ(bits.digest(), run.digest)
         << "run " << &run - runs << " (" << run.model << "): " << digest.str();
   }
}
} // namespace
