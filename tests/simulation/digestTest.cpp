#include "support/bits.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
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

ZqManipulatorLink makeLink(zqTest::RandomValues& random, ZqU32 i)
{
   // One random number a statement: the order of arguments is the compiler's.
   ZqDenavitHartenberg joint;
   joint.setJointType(i % 2);
   joint.setDhType(i / 2);
   const ZqVector p = random.vector(0.5);
   const ZqVector axis = random.vector();
   ZqOrientation turn(1.0, axis.x(), axis.y(), axis.z());
   turn.normalize();
   joint.setPrecursor({p, turn});
   joint.setPrimaryFrame(random.vector(0.3));
   joint.setDhA(random.real());
   joint.setDhD(random.real());
   joint.setDhAlpha(random.real(-3.0, 3.0));
   joint.setDhTheta(random.real(-3.0, 3.0));
   ZqMechanicalActuatorComponent drive;
   drive.setGearRatio(random.real(1.0, 20.0));
   drive.setInertia(0.001);
   drive.setFrictionCoefficient(0.002);
   drive.setMaxEfficiency(0.9);
   ZqJointActuator actuator;
   actuator.setMechanicalComponent(drive);
   ZqSpringProperties spring;
   spring.setSpringConstant(random.real(20.0, 100.0));
   spring.setWeightingFactors(ZqRealVector{1.0});
   spring.setSpringOffsets(ZqRealVector{0.3});
   spring.setAssociatedJoints({"label" + std::to_string(i)});
   ZqManipulatorLink link;
   link.setLinkKinematics(joint);
   link.setMassProperties(zqTest::randomMass(random));
   link.setJointActuator(actuator);
   link.setSpringProperties(spring);
   return link;
}

/// Joints of all kinds with drives and springs, on a free base, two of its branches bound together.
ZqStatedSystem randomTree()
{
   zqTest::RandomValues random(83);
   ZqIndividualManipulator model = zqTest::makeManipulator(zqTest::balancedTree(10), [&](ZqU32 i)
                                                           { return makeLink(random, i); });
   model.setMassProperties(zqTest::randomMass(random));
   model.setIsFixedBase(false);
   ZqPointStateEqualityConstraint loop;
   loop.setFirstLinkLabel("label7");
   loop.setSecondLinkLabel("label9");
   ZqStateEqualityConstraintVector constraints;
   constraints.pushBack(loop);
   model.setStateEqualityConstraints(constraints);

   ZqPositionState position;
   ZqVelocityState velocity;
   std::vector<ZqReal> positions(10);
   std::vector<ZqReal> rates(10);
   for (std::size_t i = 0; i < 10; ++i)
   {
      positions[i] = random.real();
      rates[i] = random.real();
   }
   position.setJointPositions(positions);
   velocity.setJointVelocities(rates);
   velocity.setGeneralVelocity({random.vector(), ZqVector(0.3, -0.2, 0.1)});
   ZqStatedSystem scene;
   scene.addManipulator(model, position, velocity);
   return scene;
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
   {"pendulum.xml", Solver::Crbi, Integrator::ImplicitMidpoint, 1e-3, 0x9c5c8cf6415f5c84},
   {"planarTwoLink.xml", Solver::Arbi, Integrator::RungeKutta, 1e-3, 0x43f06d8c0ac380af},
   {"puma560.xml", Solver::Crbi, Integrator::SemiImplicitEuler, 1e-3, 0x2e074a72d42f5e27},
   {"puma560.xml", Solver::Arbi, Integrator::SemiImplicitEuler, 1e-3, 0x2e074a72d42f5e27},
   {"quadruped.xml", Solver::Crbi, Integrator::RungeKutta, 1e-3, 0xc21951fb0ebd6415},
   {"quadruped.xml", Solver::Arbi, Integrator::ImplicitMidpoint, 1e-3, 0xf8630c342c0f9cfd},
   {"twoArms.xml", Solver::Crbi, Integrator::SemiImplicitEuler, 1e-3, 0x54820719ea17b4ce},
   {"twoArms.xml", Solver::Arbi, Integrator::SemiImplicitEuler, 1e-3, 0x54820719ea17b4ce},
   {"freeChain.xml", Solver::Arbi, Integrator::ImplicitMidpoint, 1e-3, 0x22f6c604fa45e86b},
   {"", Solver::Crbi, Integrator::SemiImplicitEuler, 1e-4, 0x4f44a9189f88ebe6},
   {"", Solver::Arbi, Integrator::SemiImplicitEuler, 1e-4, 0xf8ebe65f0917077f},
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
