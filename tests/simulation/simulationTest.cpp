#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/loops.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/tools/ZqTotalTorqueTool.h"
#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/simulation/step/ZqInputTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>

namespace
{
using zqTest::RandomScene;
using Integrator = ZqSimulation::Integrator;

ZqSimulation::Settings settingsOf(Integrator integrator)
{
   ZqSimulation::Settings settings;
   settings.integrator = integrator;
   return settings;
}

/// Positions and velocities of all.
std::vector<ZqReal> numbersOf(const ZqManipulatorSystemState& state)
{
   std::vector<ZqReal> numbers;
   for (ZqU32 i = 0; i < state.positionStates().size(); ++i)
   {
      const ZqPositionState& position = state.positionStates()[i];
      const ZqVelocityState& velocity = state.velocityStates()[i];
      for (const auto* joints : {&position.jointPositions(), &velocity.jointVelocities()})
         numbers.insert(numbers.end(), joints->values().begin(), joints->values().end());
      for (std::size_t k = 0; k < 6; ++k)
         numbers.push_back(velocity.generalVelocity()[k]);
      for (const ZqVector& v :
           {position.coordSysXForm().translation(), position.coordSysXForm().orientation().xAxis(),
            position.coordSysXForm().orientation().yAxis()})
         numbers.insert(numbers.end(), {v.x(), v.y(), v.z()});
   }
   return numbers;
}

/// Linear momentum, and angular momentum about the origin of the system.
ZqGeneralMotion momentumOf(const RandomScene& scene, const ZqManipulatorSystemState& now)
{
   ZqManipulatorActiveState state;
   state.setPositionState(now.positionStates()[scene.index]);
   state.setVelocityState(now.velocityStates()[scene.index]);
   ZqGeneralMotion sum;
   for (const ZqManipulatorLink* link : zqTest::inPreorder(scene.manipulator()))
   {
      const ZqCoordinateSystemTransformation X = link->dhFrameInSystem(state.activePositionState());
      const ZqGeneralMotion own = X.orientation() * link->spatialMomentumInLocal(state, nullptr);
      ZqVector center;
      link->massPropertiesInDHFrame().getCenterOfMass(center);
      sum += own + ZqGeneralMotion({}, (X * center).cross(own.linear()));
   }
   return sum;
}

/// Joint 1 gets a motor that is a body of its own, behind a shaft.
void makeFlexible(RandomScene& scene)
{
   ZqMechanicalActuatorComponent drive;
   drive.setGearRatio(10.0);
   drive.setInertia(0.001);
   drive.setIsRigid(false);
   drive.setJointFlexibilityStiffness(200.0);
   drive.setJointFlexibilityDamping(1.0);
   ZqJointActuator actuator;
   actuator.setMechanicalComponent(drive);
   ZqIndividualManipulator model(scene.manipulator());
   model.linkByIndex(1)->setJointActuator(actuator);
   scene.system.exchangeManipulator(scene.index, model, scene.position, scene.velocity);
}

TEST(Simulation, IntegratorsAreOfTheirOrders)
{
   struct Case
   {
      Integrator integrator;
      ZqReal step;
      ZqReal factor; ///< of the error, when the step is halved
   };
   for (const auto& [integrator, step, factor] : {Case{Integrator::SemiImplicitEuler, 5e-4, 2.0},
                                                  {Integrator::ImplicitMidpoint, 5e-4, 4.0},
                                                  {Integrator::RungeKutta, 1e-3, 16.0}})
      for (ZqU32 seed = 0; seed < 6; ++seed)
      {
         SCOPED_TRACE(seed);
         RandomScene scene(seed, {{zqTest::onBase, 0, 0, 2}, seed % 2 == 0, true, true});
         makeFlexible(scene);
         const auto endOf = [&](int steps)
         {
            ZqSimulation simulation(scene.system, settingsOf(integrator));
            for (int k = 1; k <= steps; ++k)
               EXPECT_TRUE(simulation.stepTo(50.0 * step * k / steps));
            EXPECT_EQ(simulation.substitutedSteps(), 0U);
            return numbersOf(simulation.state());
         };
         const std::array ends{endOf(50), endOf(100), endOf(200)};
         ZqReal before = 0.0;
         ZqReal after = 0.0;
         for (std::size_t k = 0; k < ends[0].size(); ++k)
         {
            before = std::max(before, std::abs(ends[1][k] - ends[0][k]));
            after = std::max(after, std::abs(ends[2][k] - ends[1][k]));
         }
         // What the next term of the error adds.
         EXPECT_NEAR(before / after, factor, 0.1 * factor) << static_cast<int>(integrator);
      }
}

TEST(Simulation, MidpointsKeepWhatFreeBodiesKeep)
{
   // A body that tumbles about its middle axis, and chains.
   for (ZqU32 seed = 0; seed < 4; ++seed)
   {
      SCOPED_TRACE(seed);
      const bool isBody = seed == 0;
      RandomScene scene(seed, {zqTest::chain(isBody ? 0 : seed + 1), false, false, false});
      ZqIndividualManipulator model(scene.manipulator());
      if (isBody)
      {
         ZqRigidBodyMassProperties body(2.0, {}, {0.02, 0.01, 0.03, 0.0, 0.0, 0.0});
         model.setMassProperties(body.transformBy(ZqVector(0.1, -0.2, 0.3)));
         scene.velocity.setGeneralVelocity(
            {{1.0, 2.0, 3.0}, scene.baseAxes() * ZqVector(50.0, 0.05, 0.05)});
      }
      scene.system.exchangeManipulator(scene.index, model, scene.position, scene.velocity);
      ZqSystemEnvironment environment;
      environment.setUpGravityVector({});
      scene.system.setEnvironment(environment);

      ZqSimulation simulation(scene.system, settingsOf(Integrator::ImplicitMidpoint));
      const ZqReal energy = simulation.energy().total();
      const ZqGeneralMotion momentum = momentumOf(scene, simulation.state());
      ZqReal swing = 0.0;
      for (int k = 1; k <= 10000; ++k)
      {
         ASSERT_TRUE(simulation.stepTo(1e-3 * k));
         swing = std::max(swing, std::abs(simulation.energy().total() - energy) / energy);
      }
      // The roundings of so many steps add up at random, on numbers that grow as the body travels.
      constexpr ZqReal roundings = 1e-11;
      const ZqGeneralMotion change = momentumOf(scene, simulation.state()) - momentum;
      EXPECT_LT(change.linear().mag(), roundings * momentum.linear().mag());
      EXPECT_LT(change.angular().mag(),
                roundings * (10.0 * momentum.linear().mag() + momentum.angular().mag()));
      // The energy of a chain swings with the square of the step.
      EXPECT_LT(swing, isBody ? roundings : 1e-6);
   }
}

/// Four bars in a vertical plane, of which the ground is one; the loop is open by some centimetres.
ZqStatedSystem openLinkage()
{
   ZqManipulatorLink chain = zqTest::rod("crank", 0.0, 0.5);
   chain.addLinkToEndOfChain(zqTest::rod("coupler", 0.5, 0.8));
   chain.addLinkToEndOfChain(zqTest::rod("rocker", 0.8, 0.4));
   ZqIndividualManipulator linkage;
   linkage.setLinkLabel("ground");
   linkage.addChild(chain);
   ZqStateEqualityConstraintVector constraints;
   constraints.pushBack(zqTest::pin<ZqXyStateEqualityConstraint>("rocker", {0.4, 0.0, 0.0},
                                                                 "ground", {0.72, 0.0, 0.0}));
   linkage.setStateEqualityConstraints(constraints);
   ZqSystemEnvironment environment;
   environment.setUpGravityVector({0.0, 9.8, 0.0});
   ZqPositionState position;
   position.setJointPositions({-2.5, 2.5, -5.65});
   ZqStatedSystem scene;
   scene.setFromManipulator(linkage);
   scene.setEnvironment(environment);
   scene.setIndividualPositionState(0, position);
   return scene;
}

TEST(Simulation, HoldsLoopsClosed)
{
   const ZqStatedSystem scene = openLinkage();
   for (const Integrator integrator :
        {Integrator::SemiImplicitEuler, Integrator::ImplicitMidpoint, Integrator::RungeKutta})
      for (const bool closes : {true, false})
      {
         const zqTest::LogCapture log;
         ZqSimulation::Settings settings = settingsOf(integrator);
         settings.closesLoops = closes;
         ZqSimulation simulation(scene, settings);
         EXPECT_NE(log.text().find("begins with a gap of 0.0"), std::string::npos) << log.text();
         const ZqReal energy = simulation.energy().total();
         for (int k = 1; k <= 2000; ++k)
            ASSERT_TRUE(simulation.stepTo(1e-3 * k));
         ASSERT_TRUE(simulation.greatestGap().has_value());
         EXPECT_EQ(simulation.greatestGap()->size < 1e-9, closes);
         // The forces of a loop do no work: what changes is the error of the steps.
         const ZqReal ofSteps = integrator == Integrator::RungeKutta ? 1e-8 : 0.05;
         EXPECT_NEAR(simulation.energy().total(), energy, closes ? ofSteps : 1.0);
      }

   const zqTest::LogCapture log;
   ZqSimulation::Settings settings;
   settings.solver = ZqSimulation::Solver::Arbi;
   EXPECT_FALSE(ZqSimulation(scene, settings).greatestGap());
   EXPECT_NE(log.text().find("which the solver arbi ignores"), std::string::npos);
}

TEST(Simulation, ForcesOfConstraintsAccelerateWithTheRest)
{
   ZqSimulation simulation(openLinkage());
   const ZqReArray forces = simulation.constraintForces(0);
   ZqManipulatorActiveState& active = simulation.present().manipulatorActiveStateVector()[0];
   const ZqIndividualManipulator& linkage = simulation.system().manipulators()[0];
   const ZqReArray G = linkage.stateEqualityConstraints().kinematics(linkage, active).jacobian;
   ZqAccelerationState acceleration = active.accelerationState();
   acceleration.setGeneralAcceleration({{0.0, 9.8, 0.0}, {}});
   active.setAccelerationState(acceleration);
   ZqTotalTorqueTool tool;
   tool.setManipulator(&linkage);
   const ZqManipulatorTorque needed = tool.torques(ZqManipulatorExternalForce(), active, nullptr);
   ASSERT_EQ(forces.rows(), 2U);
   for (ZqU32 j = 0; j < 3; ++j)
      EXPECT_NEAR(G[0][j] * forces[0][0] + G[1][j] * forces[1][0], needed.jointTorques()[j], 1e-9);
   EXPECT_GT(std::abs(forces[0][0]) + std::abs(forces[1][0]), 1.0);
   EXPECT_EQ(simulation.constraintForces(1).rows(), 0U);
}

TEST(Simulation, TablesOfInputsHoldOrGoStraight)
{
   RandomScene scene(1, {zqTest::chain(2), true, false, false});
   const ZqManipulatorSystem& system = scene.system.system();
   const std::string arm = system.manipulators()[scene.index].manipulatorLabel();
   const std::string text = "\xEF\xBB\xBFtime,\"" + arm + "/label0 torque\", " + arm +
                            "/label1 force y\r\n0.001,1,-4\r\n\r\n0.003,3,0\r\n";
   ZqInputTable table;
   std::istringstream stream(text);
   ASSERT_TRUE(table.read(stream, "table", system));
   const ZqSimulation::Place joint{scene.index, 0};
   const ZqSimulation::Place link{scene.index, 1};
   struct Expected
   {
      ZqInputTable::Interpolation interpolation;
      std::array<ZqReal, 4> torques, forces;
   };
   for (const auto& [interpolation, torques, forces] :
        {Expected{ZqInputTable::Interpolation::Hold, {7.0, 1.0, 1.0, 3.0}, {2.0, -4.0, -4.0, 0.0}},
         Expected{
            ZqInputTable::Interpolation::Linear, {7.0, 1.5, 2.5, 3.0}, {2.0, -3.0, -1.0, 0.0}}})
   {
      table.setInterpolation(interpolation);
      ZqSimulation driven(scene.system);
      driven.setTorque(joint, 7.0);
      driven.setExternalForce(link, {{1.0, 2.0, 3.0}, {}});
      for (int k = 0; k < 4; ++k)
      {
         table.apply(driven, 1e-3 * (k + 1));
         EXPECT_NEAR(driven.torque(joint), torques[k], 1e-12) << k;
         EXPECT_NEAR(driven.externalForce(link).force().y(), forces[k], 1e-12) << k;
         EXPECT_EQ(driven.externalForce(link).force().x(), 1.0);
         ASSERT_TRUE(driven.stepTo(1e-3 * (k + 1)));
      }
      const zqTest::AllocationCount allocations;
      for (int k = 5; k < 50; ++k)
      {
         table.apply(driven, 1e-3 * k);
         driven.stepTo(1e-3 * k);
      }
      EXPECT_EQ(allocations.count(), 0U);
   }

   const std::string head = "time," + arm + "/label0 torque\n";
   struct Case
   {
      std::string text, message;
   };
   for (const auto& [bad, message] : std::initializer_list<Case>{
           {"", "table: the table is empty"},
           {" \n\n", "the table is empty"},
           {"t,a\n", "table:1: the first column is to be \"time\", and not \"t\""},
           {"time\n0\n", "no column but time"},
           {"time," + arm + "/label0 torqu\n", "there go in command, torque, force x"},
           {"time," + arm + "/base\n", "there go in force x, force y"},
           {"time,a/b torque\n", "LINK being one of "},
           {head.substr(0, head.size() - 1) + ',' + arm + "/label0 torque\n", "two columns"},
           {head, "no line of numbers"},
           {head + "0,1,2\n", "table:2: there are 2 columns, but 3 fields"},
           {head + "0\n", "but 1 fields"},
           {head + "0,1\n1,\n", "table:3: there is no number for \"" + arm + "/label0 torque\""},
           {head + "0,nan\n", "\"nan\" for"},
           {head + "0,1e999\n", "not a finite number"},
           {head + "0,1 N\n", "not a finite number"},
           {head + "inf,1\n", "\"inf\" for \"time\""},
           {head + "0,1\n\n1,1\n1,2\n", "table:5: the time 1 s is not after"},
           {head + "0,\"1\n", "table:2: a quotation mark"}})
   {
      const zqTest::LogCapture log;
      std::istringstream badStream(bad);
      EXPECT_FALSE(table.read(badStream, "table", system)) << bad;
      EXPECT_NE(log.text().find(message), std::string::npos) << bad << log.text();
      EXPECT_TRUE(table.times().empty() && table.inputs().empty());
   }
   const zqTest::LogCapture log;
   EXPECT_FALSE(table.load("/none/table.csv", system));
   EXPECT_NE(log.text().find("/none/table.csv: cannot be opened: No such"), std::string::npos);
}

TEST(Simulation, RejectsInputsThatHaveNoPlace)
{
   RandomScene scene(1, {zqTest::chain(2), true, false, false});
   ZqSimulation simulation(scene.system);
   const ZqU32 joints = scene.system.system().jointDof();
   const ZqGeneralForce notFinite({0.0, zqTest::nan, 0.0}, {});
   ZqManipulatorExternalForce tooMany;
   tooMany.resize(3);
   const zqTest::LogCapture log;
   EXPECT_FALSE(simulation.setTorques(std::vector<ZqReal>(joints + 1, 1.0)));
   EXPECT_FALSE(simulation.setCommands({zqTest::infinity}));
   for (const ZqSimulation::Place& place :
        {ZqSimulation::Place{99, 0}, {scene.index, 2}, {scene.index, ZqNoLinkIndex}})
   {
      EXPECT_FALSE(simulation.setCommand(place, 1.0) || simulation.setTorque(place, 1.0) ||
                   simulation.setExternalForce(place, {}));
      EXPECT_EQ(simulation.linkAt(place), nullptr);
      EXPECT_EQ(simulation.externalForce(place), ZqGeneralForce());
   }
   EXPECT_FALSE(simulation.setTorque({scene.index, ZqBaseLinkIndex}, 1.0));
   EXPECT_FALSE(simulation.setTorque({scene.index, 0}, zqTest::nan));
   EXPECT_FALSE(simulation.setExternalForce({scene.index, 0}, notFinite));
   EXPECT_FALSE(simulation.setExternalForces(scene.index, tooMany));
   EXPECT_FALSE(simulation.setExternalForces(99, {}));
   EXPECT_EQ(simulation.torque({scene.index, 0}), 0.0);
   EXPECT_NE(log.text().find("ZqSimulation::setTorques(): there are more numbers than joints"),
             std::string::npos);
}

TEST(Simulation, RejectsTimesThatAreNotLater)
{
   RandomScene scene(1);
   ZqSimulation simulation(scene.system);
   EXPECT_TRUE(simulation.stepTo(1e-3));
   for (const ZqReal time : {1e-3, 0.0, zqTest::nan, zqTest::infinity})
   {
      const zqTest::LogCapture log;
      EXPECT_FALSE(simulation.stepTo(time));
      EXPECT_NE(log.text().find("is no time after 0.001 s"), std::string::npos);
      EXPECT_TRUE(simulation.state().time() == 1e-3 && !simulation.divergence());
   }
}
} // namespace
