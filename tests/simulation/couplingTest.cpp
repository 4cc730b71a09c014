#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/tools/ZqTotalTorqueTool.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/simulation/attachments/ZqLinkAttachment.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"
#include "zqManipulator/simulation/step/ZqSimulationCheckpoint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace
{
using zqTest::RandomScene;
using zqTest::RandomValues;
using Integrator = ZqSimulation::Integrator;
using Solver = ZqSimulation::Solver;

ZqSimulation::Settings couplingSettings(Integrator integrator, Solver solver = Solver::Crbi)
{
   ZqSimulation::Settings settings;
   settings.integrator = integrator;
   settings.solver = solver;
   return settings;
}

constexpr Integrator everyIntegrator[] = {Integrator::SemiImplicitEuler,
                                          Integrator::ImplicitMidpoint, Integrator::RungeKutta};

/// Manipulators on each other, in motion.
struct Forest
{
   struct Hanging
   {
      ZqU32 manipulator, carrier;
      ZqString link;
      ZqCoordinateSystemTransformation offset;
   };

   explicit Forest(ZqU32 seed) : random(seed)
   {
      const ZqU32 count = random.index(2, 5);
      for (ZqU32 i = 0; i < count; ++i)
      {
         const ZqU32 links = random.index(i == 0 ? 1 : 0, 5);
         const bool isFixed = random.index(0, 2) == 0;
         RandomScene one(100 * seed + i, {zqTest::randomTree(random, links), isFixed, true, true});
         ZqIndividualManipulator model(one.manipulator());
         model.setManipulatorLabel("m" + std::to_string(i));
         scene.addManipulator(model, one.position, one.velocity);
         // One more that shares its model.
         if (random.index(0, 2) == 0)
         {
            model.setManipulatorLabel("m" + std::to_string(i) + " again");
            scene.addManipulator(model, one.position, one.velocity);
         }
      }
      scene.findAndConvertToReferences();
      ZqSystemEnvironment environment;
      environment.setUpGravityVector(random.unitVector() * 9.8);
      scene.setEnvironment(environment);
   }
   /// Most hang on another one, the first on none.
   void hang()
   {
      for (ZqU32 i = 1; i < scene.numberOfManipulators(); ++i)
      {
         if (random.index(0, 5) == 0)
            continue;
         const ZqU32 carrier = random.index(0, i - 1);
         const auto& links = scene.system().manipulators()[carrier].linkPointerVector();
         const ZqU32 link = random.index(0, links.size());
         const ZqString label = link < links.size()
                                   ? links[link]->linkLabel()
                                   : scene.system().manipulators()[carrier].linkLabel();
         hanging.push_back({i, carrier, label, zqTest::randomFrame(random, random.index(0, 3), 0.5)});
         EXPECT_TRUE(scene.configuration().attachmentMap().attachManipulator(
            i, carrier, label, hanging.back().offset, "held"));
      }
   }

   RandomValues random;
   ZqStatedSystem scene;
   std::vector<Hanging> hanging; ///< carriers before what they carry
};

/// What the equations of Newton and Euler leave over, link by link from the tips on, where each manipulator is asked by
/// itself: of torques at the joints, and of the force on bases that nothing holds. What a base that is carried needs
/// besides goes to the link that carries it.
ZqReal residualOf(ZqSimulation& simulation, const Forest& forest)
{
   auto& states = simulation.present().manipulatorActiveStateVector();
   const auto& manipulators = simulation.system().manipulators();
   std::vector<ZqManipulatorExternalForce> forces;
   std::vector<ZqManipulatorActiveState> active;
   for (ZqU32 i = 0; i < manipulators.size(); ++i)
   {
      active.push_back(states[i]);
      ZqAccelerationState acceleration = states[i].accelerationState();
      acceleration.generalAcceleration() +=
         ZqGeneralMotion(simulation.system().environment().upGravityVector(), {});
      active[i].setAccelerationState(acceleration);
      forces.emplace_back();
      forces[i].resize(manipulators[i].jointDof());
      forces[i].setBaseForce(simulation.externalForce({i, ZqBaseLinkIndex}));
      for (ZqU32 j = 0; j < manipulators[i].jointDof(); ++j)
         forces[i][j] = simulation.externalForce({i, j});
   }
   ZqReal residual = 0.0;
   ZqTotalTorqueTool tool;
   tool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   for (ZqU32 i = manipulators.size(); i-- > 0;)
   {
      const ZqIndividualManipulator& manipulator = manipulators[i];
      tool.setManipulator(&manipulator);
      ZqManipulatorTorque left = tool.torques(forces[i], active[i], nullptr);
      const ZqCoordinateSystemTransformation X =
         manipulator.dhFrameInSystem(active[i].activePositionState());
      const ZqReArray lambda = simulation.constraintForces(i);
      ZqConstraintKinematics kinematics;
      manipulator.stateEqualityConstraints().getKinematics(manipulator, active[i], kinematics);
      const ZqU32 base = manipulator.isFixedBase() ? 0 : 6;
      ZqGeneralForce onBase;
      for (ZqU32 row = 0; row < lambda.rows(); ++row)
      {
         ZqReal rate = kinematics.bias[row][0];
         const ZqGeneralMotion A = states[i].accelerationState().generalAcceleration();
         for (ZqU32 k = 0; k < base; ++k)
         {
            onBase.setScalarValue(k, onBase[k] + kinematics.jacobian[row][k] * lambda[row][0]);
            rate += kinematics.jacobian[row][k] * A[k];
         }
         for (ZqU32 j = 0; j < manipulator.jointDof(); ++j)
         {
            left.jointTorques()[j] -= kinematics.jacobian[row][base + j] * lambda[row][0];
            rate += kinematics.jacobian[row][base + j] *
                    states[i].accelerationState().jointAccelerations()[j];
         }
         residual = std::max(residual, std::abs(rate));
      }
      for (ZqU32 j = 0; j < manipulator.jointDof(); ++j)
         residual = std::max(residual,
                             std::abs(left.jointTorques()[j] -
                                      states[i].actuatorState().outputTorques()[j]));
      const ZqGeneralForce needed = left.generalForce() - X.orientation().inverse() * onBase;
      const auto hanging =
         std::find_if(forest.hanging.begin(), forest.hanging.end(),
                      [&](const Forest::Hanging& each) { return each.manipulator == i; });
      if (hanging == forest.hanging.end())
      {
         for (ZqU32 k = 0; k < 6 && !manipulator.isFixedBase(); ++k)
            residual = std::max(residual, std::abs(needed[k]));
         continue;
      }
      const ZqU32 carrier = hanging->carrier;
      const ZqManipulatorLink& link = *manipulators[carrier].linkByIdentifier(hanging->link);
      const ZqU32 place = manipulators[carrier].linkIndexByIdentifier(hanging->link);
      const ZqCoordinateSystemTransformation offset = link.primaryFrame() * hanging->offset;
      forces[carrier][place] -= offset * needed;
      // The base accelerates with the link.
      ZqLinkAttachment attachment;
      attachment.setManipulatorId(carrier);
      attachment.setLinkId(hanging->link);
      attachment.setFrame(hanging->offset);
      ZqXmlVectorBasicType<ZqReal> numbers;
      attachment.calculateAcceleration(manipulators[carrier], active[carrier], numbers, 0);
      for (ZqU32 k = 0; k < 6; ++k)
         residual = std::max(residual,
                             std::abs(numbers[k] -
                                      active[i].accelerationState().generalAcceleration()[k]));
   }
   return residual;
}

/// Relations in which bases take part, and points in the environment.
void constrain(Forest& forest)
{
   RandomValues& random = forest.random;
   for (ZqU32 i = 0; i < forest.scene.numberOfManipulators(); ++i)
   {
      ZqIndividualManipulator model(forest.scene.system().manipulators()[i].concreteReference());
      model.setManipulatorLabel("constrained " + std::to_string(i));
      ZqStateEqualityConstraintVector constraints;
      ZqLinearStateEqualityConstraint linear;
      const auto weights = [&](ZqU32 count)
      {
         ZqXmlVectorBasicType<ZqReal> result;
         for (ZqU32 k = 0; k < count; ++k)
            result.pushBack(random.real());
         return result;
      };
      linear.setJointWeights({weights(model.jointDof())});
      linear.setBaseWeights({weights(6)});
      linear.setWeightedSums({0.0});
      if (!model.isFixedBase() || model.jointDof() > 0)
         constraints.pushBack(linear);
      ZqPointStateEqualityConstraint point;
      point.setFirstLinkLabel("base");
      point.setSecondLinkLabel("nowhere");
      point.setFirstLinkPoint(random.vector());
      if (i + 1 == forest.scene.numberOfManipulators() && !model.isFixedBase())
         constraints.pushBack(point);
      model.setStateEqualityConstraints(constraints);
      const ZqManipulatorSystemState state = forest.scene.state();
      forest.scene.exchangeManipulator(i, model, state.positionStates()[i],
                                       state.velocityStates()[i]);
   }
}

TEST(Coupling, FulfilsTheEquationsOfMotionOfEachPart)
{
   ZqU32 carried = 0;
   for (ZqU32 seed = 0; seed < 60; ++seed)
   {
      SCOPED_TRACE(seed);
      const bool isConstrained = seed % 3 == 2;
      Forest forest(seed);
      if (isConstrained)
         constrain(forest);
      forest.hang();
      carried += static_cast<ZqU32>(forest.hanging.size());
      for (const Solver solver : {Solver::Crbi, Solver::Arbi})
      {
         if (isConstrained && solver == Solver::Arbi)
            continue;
         const zqTest::LogCapture log;
         ZqSimulation::Settings settings = couplingSettings(Integrator::SemiImplicitEuler, solver);
         settings.closesLoops = false;
         ZqSimulation simulation(forest.scene, settings);
         for (ZqU32 i = 0; i < forest.scene.numberOfManipulators(); ++i)
         {
            simulation.setExternalForce({i, ZqBaseLinkIndex},
                                        zqTest::randomForce(forest.random) * 10.0);
            for (ZqU32 j = 0; j < simulation.system().manipulators()[i].jointDof(); ++j)
            {
               simulation.setExternalForce({i, j}, zqTest::randomForce(forest.random) * 10.0);
               simulation.setTorque({i, j}, forest.random.real());
            }
         }
         // Forces are of 10 to 1000 N, and mass matrices of a condition of some 1e3.
         EXPECT_LT(residualOf(simulation, forest), 1e-8) << log.text();
      }
   }
   EXPECT_GT(carried, 100U);
}
} // namespace
