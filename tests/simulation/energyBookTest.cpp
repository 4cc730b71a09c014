#include "support/allocationCount.h"
#include "support/contactScene.h"
#include "support/randomScene.h"
#include "zqManipulator/actuation/ZqDcElectricMotor.h"
#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"
#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"
#include "zqManipulator/simulation/step/ZqInputTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>

namespace
{
using zqTest::RandomScene;
using Integrator = ZqSimulation::Integrator;

constexpr Integrator allIntegrators[]{Integrator::SemiImplicitEuler, Integrator::ImplicitMidpoint,
                                      Integrator::RungeKutta};

ZqSimulation::Settings withBooks(Integrator integrator)
{
   ZqSimulation::Settings settings;
   settings.integrator = integrator;
   settings.booksEnergy = true;
   return settings;
}

/// Sets what drives a simulation in the step that ends at a time.
using Drive = std::function<void(ZqSimulation&, ZqReal end)>;

/// Of a run over a length of time (s), in steps of equal length, which are the same without a book.
ZqEnergyBook bookOf(const ZqStatedSystem& scene, ZqSimulation::Settings settings, ZqReal length,
                    int steps, const Drive& drive)
{
   ZqSimulation simulation(scene, settings);
   settings.booksEnergy = false;
   ZqSimulation plain(scene, settings);
   const ZqReal start = simulation.state().time();
   for (int k = 1; k <= steps; ++k)
   {
      const ZqReal end = start + length * k / steps;
      drive(simulation, end);
      EXPECT_TRUE(simulation.stepTo(end));
      if (k > 20)
         continue;
      drive(plain, end);
      EXPECT_TRUE(plain.stepTo(end) && plain.state() == simulation.state());
   }
   EXPECT_EQ(plain.energyBook().work.total(), 0.0);
   return simulation.energyBook();
}

/// What has moved from one part to another (J).
ZqReal turnover(const ZqEnergyBook& book)
{
   return std::abs(book.held.kinetic - book.heldAtStart.kinetic) +
          std::abs(book.held.gravity - book.heldAtStart.gravity) + std::abs(book.work.drives) +
          std::abs(book.work.externalForces) + std::abs(book.lost.total());
}

/// The remainder goes with the length of the steps, or faster, and is a small part. What happens at once, as the
/// first touch of a damper, comes early or late in a step, so that pairs of runs count. Where gravity under Euler
/// leaves most of it, it halves with the step. Answers the finest book.
ZqEnergyBook expectClosing(const ZqStatedSystem& scene, const ZqSimulation::Settings& settings,
                           ZqReal length, int steps, const Drive& drive)
{
   const auto run = [&](int times)
   { return bookOf(scene, settings, length, times * steps, drive); };
   const ZqEnergyBook finest = run(16);
   const ZqReal size = turnover(finest);
   const ZqReal before = run(8).remainder();
   const ZqReal coarse = std::abs(run(1).remainder()) + std::abs(run(2).remainder());
   const ZqReal fine = std::abs(before) + std::abs(finest.remainder());
   EXPECT_LE(fine, std::max(coarse / 2.5, 1e-7 * size));
   EXPECT_LE(fine, 0.01 * size);
   if (settings.integrator == Integrator::SemiImplicitEuler && fine > 1e-4 * size)
   {
      EXPECT_NEAR(before / finest.remainder(), 2.0, 0.2);
   }
   return finest;
}

/// By numbers of which 0 (and an efficiency of 1) leave a part out.
struct DriveCase
{
   const char* name;
   ZqReal viscous, dry, efficiency;
   ZqReal stopperZone, stopperDamping;
   ZqReal shaftStiffness, shaftDamping, backlash;
   ZqReal inertia;
   bool hasFriction, hasDampers;
};

// clang-format off
const DriveCase driveCases[]{
   {"ideal",         0.0,  0.0,  1.0,  0.0,   0.0, 0.0,   0.0, 0.0,  1e-3, false, false},
   {"viscous",       0.01, 0.0,  1.0,  0.0,   0.0, 0.0,   0.0, 0.0,  1e-3, true,  false},
   {"dry",           0.0,  0.05, 1.0,  0.0,   0.0, 0.0,   0.0, 0.0,  1e-3, true,  false},
   {"gear",          0.0,  0.0,  0.7,  0.0,   0.0, 0.0,   0.0, 0.0,  1e-3, true,  false},
   {"stoppers",      0.0,  0.0,  1.0,  99.7,  0.0, 0.0,   0.0, 0.0,  1e-3, false, false},
   {"damped",        0.0,  0.0,  1.0,  99.7,  0.5, 0.0,   0.0, 0.0,  1e-3, false, true},
   {"both stoppers", 0.0,  0.0,  1.0,  101.0, 0.5, 0.0,   0.0, 0.0,  1e-3, false, true},
   {"shaft",         0.0,  0.0,  1.0,  0.0,   0.0, 200.0, 0.0, 0.0,  1e-3, false, false},
   {"damped shaft",  0.0,  0.0,  1.0,  0.0,   0.0, 200.0, 2.0, 0.0,  1e-3, false, true},
   {"no inertia",    0.0,  0.0,  1.0,  0.0,   0.0, 200.0, 1.0, 0.0,  0.0,  false, false},
   {"all of it",     0.01, 0.05, 0.7,  99.7,  0.5, 200.0, 1.0, 0.02, 1e-3, true,  true},
};
// clang-format on

/// Of a user, with drag instead of viscous friction.
class DriveWithDrag : public ZqMechanicalActuatorComponent
{
public:
   explicit DriveWithDrag(const ZqMechanicalActuatorComponent& drive)
      : ZqMechanicalActuatorComponent(drive)
   {
   }
   ZqXmlObject* clone() const override { return new DriveWithDrag(*this); }
   ZqReal viscousFrictionTorque(const ZqManipulatorActiveState& state) const override
   {
      const ZqReal torque = ZqMechanicalActuatorComponent::viscousFrictionTorque(state);
      return torque * std::abs(torque);
   }
};

/// A random chain of three joints by itself, whose drives are all of a kind.
RandomScene sceneWith(const DriveCase& kind, ZqU32 seed, bool hasSprings)
{
   RandomScene scene(seed, {zqTest::chain(3), seed % 2 == 0, hasSprings, hasSprings});
   ZqMechanicalActuatorComponent drive;
   drive.setGearRatio(seed % 2 == 0 ? 8.0 : -8.0);
   drive.setInertia(kind.inertia);
   drive.setFrictionCoefficient(kind.viscous);
   drive.setMaxEfficiency(kind.efficiency);
   drive.setStaticCoulombFriction(kind.dry);
   drive.setKineticCoulombFrictionPercentage(0.8);
   drive.setStaticCoulombSpringCoefficient(2.0);
   drive.setStaticCoulombDamperCoefficient(0.02);
   drive.setLimitingVelocityStickRegion(0.2);
   if (kind.stopperZone > 0.0)
   {
      // Far limits, and zones that reach close to zero or beyond.
      drive.setLowerLimit(-100.0);
      drive.setUpperLimit(100.0);
      drive.setStopperZone(kind.stopperZone);
      drive.setStopperSpringCoefficient(40.0);
      drive.setStopperDampingCoefficient(kind.stopperDamping);
   }
   drive.setIsRigid(kind.shaftStiffness == 0.0);
   drive.setJointFlexibilityStiffness(kind.shaftStiffness);
   drive.setJointFlexibilityDamping(kind.shaftDamping);
   drive.setBacklash(kind.backlash);
   const bool isOwn = kind.viscous > 0.0 && hasSprings;
   ZqJointActuator actuator;
   actuator.setMechanicalComponent(drive);
   if (isOwn)
      actuator.setMechanicalComponent(DriveWithDrag(drive));
   ZqIndividualManipulator model(scene.manipulator());
   for (ZqU32 j = 0; j < 3; ++j)
      model.linkByIndex(j)->setJointActuator(actuator);
   const ZqSystemEnvironment environment = scene.system.environment();
   scene.system = ZqStatedSystem();
   scene.system.addManipulator(model, scene.position, scene.velocity);
   scene.system.setEnvironment(environment);
   scene.index = 0;
   return scene;
}

TEST(EnergyBook, ClosesForDrivesOfAllKinds)
{
   for (const DriveCase& kind : driveCases)
      for (const Integrator integrator : allIntegrators)
         for (const bool hasSprings : {false, true})
         {
            SCOPED_TRACE(kind.name + std::to_string(static_cast<int>(integrator)) +
                         (hasSprings ? " springs" : ""));
            const RandomScene scene = sceneWith(kind, hasSprings ? 2 : 1, hasSprings);
            const Drive push = [&](ZqSimulation& simulation, ZqReal end)
            {
               simulation.setExternalForces(0, scene.external);
               simulation.setTorques({0.3 * std::cos(5.0 * end), 0.1, -0.2 * std::sin(3.0 * end)});
            };
            ZqSimulation::Settings settings = withBooks(integrator);
            if (hasSprings)
               settings.solver = ZqSimulation::Solver::Arbi;
            const ZqEnergyBook book = expectClosing(scene.system, settings, 0.2, 100, push);
            EXPECT_EQ(book.lost.jointFriction != 0.0, kind.hasFriction);
            // Springs that feel other joints take and give, too.
            EXPECT_EQ(std::abs(book.lost.jointDampers) > 1e-12, kind.hasDampers || hasSprings);
            EXPECT_EQ(book.lost.limits, 0.0);
         }
}

/// All motors, by what a simulation tells of its present (W).
ZqReal motorPower(ZqSimulation& simulation)
{
   const auto& present = simulation.present().manipulatorActiveStateVector()[0];
   const auto& torques = simulation.motorTorques(0).jointTorques();
   ZqReal sum = 0.0;
   for (ZqU32 j = 0; j < torques.size(); ++j)
      sum += torques[j] * present.actuatorState().motorVelocities()[j];
   return sum;
}

/// And allocates nothing.
TEST(EnergyBook, TellsTheWorkOfMotors)
{
   for (const DriveCase& kind : driveCases)
   {
      if (kind.inertia == 0.0)
         continue; // it is not the torque at the motor that drives it
      const RandomScene scene = sceneWith(kind, 6, true);
      ZqDcElectricMotor motor;
      motor.setArmatureInductance(1e-3);
      motor.setArmatureResistance(1.0);
      motor.setTorqueConstant(0.1);
      ZqIndividualManipulator model(scene.manipulator());
      ZqJointActuator actuator(model.linkByIndex(1)->jointActuator());
      actuator.setPowerConverter(motor);
      model.linkByIndex(1)->setJointActuator(actuator);
      ZqStatedSystem system;
      system.addManipulator(model, scene.position, scene.velocity);
      ZqSimulation simulation(system, withBooks(Integrator::SemiImplicitEuler));
      simulation.setCommands({0.0, 6.0});
      simulation.setTorques({0.4, 0.0, -0.2});
      constexpr ZqReal dt = 5e-5;
      ZqReal work = 0.0;
      ZqReal turned = 0.0;
      ASSERT_TRUE(simulation.step(dt) && simulation.step(dt));
      const ZqReal start = simulation.energyBook().work.drives;
      ZqReal before = motorPower(simulation);
      const zqTest::AllocationCount allocations;
      for (int k = 0; k < 4000; ++k)
      {
         ASSERT_TRUE(simulation.step(dt));
         const ZqReal after = motorPower(simulation);
         work += 0.5 * dt * (before + after);
         turned += 0.5 * dt * std::abs(before + after);
         before = after;
      }
      simulation.energyBook();
      EXPECT_EQ(allocations.count(), 0U) << kind.name;
      // The current follows in 1 ms, of which a step is a twentieth.
      EXPECT_NEAR(simulation.energyBook().work.drives - start, work, 2e-3 * turned) << kind.name;
      EXPECT_GT(turned, 0.1) << kind.name;
   }
}

TEST(EnergyBook, ClosesAtLimitsAndHighestRates)
{
   for (const Integrator integrator : allIntegrators)
      for (ZqU32 seed = 0; seed < 12; ++seed)
      {
         SCOPED_TRACE(std::to_string(seed) + ' ' + std::to_string(static_cast<int>(integrator)));
         const ZqU32 joints = seed < 4 ? 1 : 4;
         RandomScene scene(seed, {zqTest::chain(joints), seed < 10, false, false});
         ZqIndividualManipulator model(scene.manipulator());
         for (ZqU32 j = 0; j < joints; ++j)
         {
            ZqMechanicalActuatorComponent drive;
            drive.setInertia(0.01);
            drive.setLowerLimit(scene.position.jointPositions()[j] - (j == 3 ? 1e3 : 0.02));
            drive.setUpperLimit(scene.position.jointPositions()[j] + (j == 3 ? 1e3 : 0.02));
            drive.setMaxOutputRate(j == 3 ? 1.2 : 1e3);
            ZqJointActuator actuator;
            actuator.setMechanicalComponent(drive);
            model.linkByIndex(j)->setJointActuator(actuator);
            if (seed < 8 || j == 3)
               continue;
            // One that depends on all joints as well, a little ahead.
            const ZqRealVector c = scene.randomReals(4, 1.0);
            ZqReal rate = 0.0, sum = 0.0;
            for (ZqU32 i = 0; i < 4; ++i)
            {
               rate += c[i] * scene.velocity.jointVelocities()[i];
               sum += c[i] * scene.position.jointPositions()[i];
            }
            const ZqReal sign = rate > 0.0 ? -1.0 : 1.0;
            ZqLinearMultivariableConstraint limit;
            limit.setConstantTerm(0.01 - sign * sum);
            for (ZqU32 i = 0; i < 4; ++i)
               limit.setCoefficient(i, sign * c[i]);
            model.linkByIndex(j)->setLowerLimitConstraint(
               ZqMultivariableJointStateConstraint(limit));
         }
         ZqStatedSystem system; // without gravity
         system.addManipulator(model, scene.position, scene.velocity);
         const ZqEnergyBook book =
            expectClosing(system, withBooks(integrator), joints == 1 ? 2.0 : 0.3, 100,
                          [](ZqSimulation& simulation, ZqReal) {
                             simulation.setTorque({0, 3}, 40.0);
                          });
         if (joints == 1) // it stops, and has lost all that it had
         {
            EXPECT_NEAR(book.lost.limits, book.heldAtStart.kinetic, 1e-12 * book.lost.limits);
         }
         EXPECT_GT(book.lost.limits, 0.01 * turnover(book));
      }
}

/// What a criterion sends back in every step keeps its velocity, and so gains what it does not move.
TEST(EnergyBook, ClosesWhereCriteriaSendBack)
{
   ZqComPolygonalStoppingCriterion criterion;
   criterion.setPolygonVertices({{1, 1, 0}, {-1, 1, 0}, {-1, -1, 0}, {1, -1, 0}});
   ZqStoppingCriterionVector criteria;
   criteria.pushBack(criterion);
   ZqIndividualManipulator body;
   body.setMassProperties(ZqRigidBodyMassProperties::uniformSolidSphere(1.0, 0.5));
   body.setIsFixedBase(false);
   body.setStoppingCriteria(criteria);
   ZqStatedSystem scene;
   scene.setFromManipulator(body);
   ZqSystemEnvironment environment;
   environment.setUpGravityVector({0.0, 0.0, 9.8});
   scene.setEnvironment(environment);
   ZqVelocityState velocity;
   velocity.setGeneralVelocity({{4.0, 0.0, 0.0}, {0.1, 0.2, 0.3}});
   scene.setIndividualVelocityState(0, velocity);
   for (const Integrator integrator : allIntegrators)
      EXPECT_LT(expectClosing(scene, withBooks(integrator), 0.5, 100, [](ZqSimulation&, ZqReal) {})
                   .lost.limits,
                -5.0);
}

struct ExampleRun
{
   const char* model;
   ZqReal length; ///< s
   int steps;     ///< as short as its contacts ask for
};

const ExampleRun exampleRuns[]{
   {"bouncingBall", 0.5, 10000}, {"door", 0.1, 500},      {"freeChain", 0.2, 200},
   {"grasp", 0.1, 500},          {"gripper", 0.1, 500},   {"minimal", 0.2, 200},
   {"mobileBase", 0.1, 500},     {"pendulum", 0.2, 200},  {"planarTwoLink", 0.2, 200},
   {"puma560", 0.2, 200},        {"quadruped", 0.2, 200}, {"slope", 0.1, 500},
   {"stack", 0.1, 500},          {"tableTop", 0.1, 500},  {"twoArms", 0.1, 500},
};

/// With joints that move, torques at all motors, and the inputs that stand beside the model.
TEST(EnergyBook, ClosesForTheExamples)
{
   for (const auto& [model, length, steps] : exampleRuns)
   {
      const std::string file = std::string(ZQ_EXAMPLE_MODELS) + model;
      ZqStatedSystem scene;
      ASSERT_TRUE(Zq::load(scene, file + ".xml"));
      ZqInputTable inputs;
      const bool hasInputs =
         std::ifstream(file + ".csv").good() && inputs.load(file + ".csv", scene.system());
      ZqManipulatorSystemState state = scene.state();
      std::vector<ZqReal> torques;
      for (ZqU32 i = 0; i < state.velocityStates().size(); ++i)
         for (ZqReal& rate : state.velocityStates()[i].jointVelocities().values())
         {
            const auto k = static_cast<ZqReal>(torques.size());
            rate += 0.3 * std::cos(1.0 + 2.0 * k);
            torques.push_back(0.5 * std::sin(1.0 + 3.0 * k));
         }
      scene.setState(state);
      const Drive push = [&](ZqSimulation& simulation, ZqReal end)
      {
         simulation.setTorques(torques);
         if (hasInputs)
            inputs.apply(simulation, end);
      };
      for (const Integrator integrator : allIntegrators)
      {
         const bool isEuler = integrator == Integrator::SemiImplicitEuler;
         const ZqReal coarse =
            std::abs(bookOf(scene, withBooks(integrator), length, steps, push).remainder());
         const ZqEnergyBook book = bookOf(scene, withBooks(integrator), length, 2 * steps, push);
         const ZqReal fine = std::abs(book.remainder());
         // The smooth integrators leave next to nothing, which has no order in a few steps of a contact.
         const ZqReal least = (isEuler ? 1e-11 : 5e-5) * turnover(book);
         EXPECT_LE(fine, std::max(coarse / 1.6, least)) << model << static_cast<int>(integrator);
         EXPECT_LE(fine, 0.02 * turnover(book)) << model << static_cast<int>(integrator);
         EXPECT_GE(fine, isEuler && fine > least ? coarse / 2.6 : 0.0) << model;
      }
   }
}

/// Adds a body on a joint along z, or a body alone, in a system without gravity.
void addTo(ZqStatedSystem& scene, ZqReal mass, std::optional<ZqReal> rate = {},
           const ZqMechanicalActuatorComponent& drive = {})
{
   const ZqRigidBodyMassProperties body(mass, {}, {1.0, 1.0, 1.0, 0.0, 0.0, 0.0});
   ZqIndividualManipulator manipulator;
   manipulator.setMassProperties(body);
   ZqPositionState position;
   ZqVelocityState velocity;
   if (rate)
   {
      ZqManipulatorLink link;
      link.setLinkLabel("carriage");
      ZqDenavitHartenberg kinematics;
      kinematics.setJointType(ZqDenavitHartenberg::Prismatic);
      link.setLinkKinematics(kinematics);
      link.setMassProperties(body);
      ZqJointActuator actuator;
      actuator.setMechanicalComponent(drive);
      link.setJointActuator(actuator);
      manipulator.addChild(link);
      position.setJointPositions({0.0});
      velocity.setJointVelocities({*rate});
   }
   scene.addManipulator(manipulator, position, velocity);
}

/// 3 m/s of 2 kg that carry 3 are lost in a stop. Another 3 kg that follow by a joint are stopped by their carrier.
TEST(EnergyBook, HasCarriersAndTheirLoadsAsOneBody)
{
   ZqMechanicalActuatorComponent drive;
   drive.setUpperLimit(0.1);
   for (const bool isJointed : {false, true})
      for (const Integrator integrator : allIntegrators)
      {
         ZqStatedSystem scene;
         addTo(scene, 2.0, 3.0, drive);
         addTo(scene, 3.0, isJointed ? std::optional(0.0) : std::nullopt);
         ASSERT_TRUE(
            scene.configuration().attachmentMap().attachManipulator(1, 0, "carriage", {}, "held"));
         ZqSimulation::Settings settings = withBooks(integrator);
         settings.couplesAttachments = false;
         const ZqEnergyBook book = bookOf(scene, settings, 0.1, 100, [](ZqSimulation&, ZqReal) {});
         EXPECT_NEAR(book.lost.limits, 22.5, 1e-12);
         EXPECT_NEAR(book.work.carriers, isJointed ? -13.5 : 0.0, 1e-12);
         EXPECT_NEAR(book.remainder(), 0.0, 1e-12);
      }
}

/// A box tumbles without any damper: shares of its corners leap.
TEST(EnergyBook, ToldReleasedIsNoDamping)
{
   zqTest::ContactScene scene;
   scene.addFloor();
   scene.addFree(zqTest::solidBox(1.0, {0.1, 0.05, 0.025}),
                 {ZqVector(0.0, 0.0, 0.3), ZqOrientation::yRotation(1.0)},
                 {{2.0, 0.0, 0.0}, {3.0, 5.0, 7.0}});
   zqTest::ContactMaterial material;
   material.dissipation = material.settlingRatio = 0.0;
   material.staticFriction = material.kineticFriction = 0.0;
   scene.setContact(material);
   const ZqEnergyBook book = bookOf(scene.system, withBooks(Integrator::SemiImplicitEuler), 0.6,
                                    6000, [](ZqSimulation&, ZqReal) {});
   EXPECT_EQ(book.lost.contactDampers, 0.0);
   EXPECT_NE(book.lost.released, 0.0);
   EXPECT_LT(std::abs(book.remainder()), 0.01 * turnover(book));
}
} // namespace
