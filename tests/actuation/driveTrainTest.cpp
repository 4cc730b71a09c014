#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/actuation/ZqJointActuator.h"
#include "zqManipulator/actuation/ZqOldJointActuator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <gtest/gtest.h>

#include <cmath>
#include <concepts>
#include <functional>

// The numbers are such that sums and products are exact.

namespace
{
constexpr ZqU32 joint = 1;

/// A drive at the second of three joints, with a gear ratio of 4.
template <class DriveTrain>
class Drive : public testing::Test
{
protected:
   static constexpr bool isOld = std::same_as<DriveTrain, ZqOldJointActuator>;

   Drive()
   {
      subject.setManipulatorLink(manipulator.linkByIndex(joint));
      subject.setGearRatio(4.0);
      move(0.0, 0.0);
   }
   /// Moves the joint, and the motor with it.
   void move(ZqReal position, ZqReal velocity, ZqReal acceleration = 0.0)
   {
      ZqPositionState positions;
      positions.setJointPositions({9.0, position, 9.0});
      state.setPositionState(positions);
      ZqVelocityState velocities;
      velocities.setJointVelocities(ZqXmlVectorBasicType<ZqReal>{9.0, velocity, 9.0});
      state.setVelocityState(velocities);
      ZqAccelerationState accelerations;
      accelerations.setJointAccelerations(ZqXmlVectorBasicType<ZqReal>{9.0, acceleration, 9.0});
      state.setAccelerationState(accelerations);
      subject.initializeActuatorStates(state);
   }
   ZqActuatorState& motors() { return state.actuatorState(); }
   ZqReal motorAcceleration(ZqReal input)
   {
      subject.acceleration(input, state);
      return motors().motorAccelerations()[joint];
   }
   void setFlexible(ZqReal inertia)
   {
      subject.setIsRigid(false);
      subject.setInertia(inertia);
      subject.setJointFlexibilityStiffness(8.0);
      subject.setJointFlexibilityDamping(2.0);
   }

   ZqIndividualManipulator manipulator =
      zqTest::makeManipulator(zqTest::chain(3), [](ZqU32) { return ZqManipulatorLink(); });
   DriveTrain subject;
   ZqManipulatorActiveState state;
};
using DriveTrains = testing::Types<ZqMechanicalActuatorComponent, ZqOldJointActuator>;
TYPED_TEST_SUITE(Drive, DriveTrains);

TYPED_TEST(Drive, StartsWithAMotorThatFollowsItsJoint)
{
   this->move(0.5, -2.0, 3.0);
   const ZqActuatorState& motors = this->motors();
   EXPECT_EQ(motors.motorPositions(), ZqActuatorState::Reals({0.0, 2.0, 0.0}));
   EXPECT_EQ(motors.motorVelocities(), ZqActuatorState::Reals({0.0, -8.0, 0.0}));
   EXPECT_EQ(motors.motorAccelerations(), ZqActuatorState::Reals({0.0, 12.0, 0.0}));
   EXPECT_EQ(motors.springDamperCenters(), motors.motorPositions());
   EXPECT_EQ(motors.reverseMotionPositions(), motors.motorPositions());
   EXPECT_EQ(motors.lastVelocities(), motors.motorVelocities());
   EXPECT_FALSE(motors.staticFrictionModes()[joint] || motors.nonRigidActuatorFlags()[joint]);
   EXPECT_EQ(motors.outputTorques().size(), 3U);

   // Without joint accelerations the motor has none.
   this->subject.setIsRigid(false);
   this->state.setAccelerationState(ZqAccelerationState());
   this->subject.initializeActuatorStates(this->state);
   EXPECT_TRUE(motors.nonRigidActuatorFlags()[joint]);
   EXPECT_EQ(motors.motorAccelerations()[joint], 0.0);
}

TYPED_TEST(Drive, StoppersPushInTheirZones)
{
   auto& drive = this->subject;
   drive.setStopperSpringCoefficient(10.0);
   drive.setStopperDampingCoefficient(2.0);
   drive.setFrictionCoefficient(0.5);
   struct
   {
      ZqReal lower, upper, zone, q, qd, torque;
   } const cases[] = {{-4.0, 4.0, 1.0, 2.0, 8.0, 0.0},         {-4.0, 4.0, 1.0, 3.0, 8.0, 0.0},
                      {-4.0, 4.0, 1.0, 3.5, 8.0, 21.0},        {-4.0, 4.0, 1.0, -3.0, 8.0, 0.0},
                      {-4.0, 4.0, 1.0, -3.5, -8.0, -21.0},     {-4.0, 4.0, 1.0, -6.0, 8.0, -14.0},
                      {-4.0, 4.0, 6.0, 0.5, 1.0, 14.0}, // where the zones overlap
                      {-4.0, 4.0, 1.0, std::nan(""), 1.0, 0.0}};
   for (const auto& [lower, upper, zone, q, qd, torque] : cases)
   {
      SCOPED_TRACE(q);
      drive.setLowerLimit(lower);
      drive.setUpperLimit(upper);
      drive.setStopperZone(zone);
      this->move(q, qd);
      EXPECT_EQ(drive.stopperTorque(this->state), torque);
      // Friction goes with the motor's velocity, and is felt through the gear.
      EXPECT_EQ(drive.viscousFrictionTorque(this->state), 8.0 * qd);
      EXPECT_EQ(drive.linearTorque(this->state), 8.0 * qd + torque);
   }
}

TYPED_TEST(Drive, SticksUpToTheStaticLevelAndSlipsWhenFast)
{
   auto& drive = this->subject;
   drive.setStaticCoulombFriction(3.0);
   drive.setKineticCoulombFrictionPercentage(0.5);
   drive.setStaticCoulombSpringCoefficient(16.0);
   drive.setStaticCoulombDamperCoefficient(2.0);
   drive.setLimitingVelocityStickRegion(1.0);
   this->move(0.0, 0.0);
   struct
   {
      ZqReal tau, motorPosition, motorVelocity, torque;
      bool sticks;
      ZqReal center;
   } const cases[] = {
      {8.0, 5.0, -1.0, -6.0, false, 0.0}, // slips from the limiting velocity on
      {8.0, 5.0, 7.0, 6.0, false, 0.0},   //
      {8.0, 5.0, 0.5, 12.0, true, 5.0}, // sticks where it came to be slow: 2 + 0.5 * 2 at the motor
      {12.0, 5.25, 0.0, 28.0, true, 5.0},   // at the level still within: 3 + 0.25 * 16
      {16.0, 5.25, 0.0, 12.0, true, 5.0},   // above: the level
      {-16.0, 5.25, 0.0, -12.0, true, 5.0}, //
      {0.0, 4.75, 0.5, -12.0, true, 5.0},   //
      {0.0, 6.0, 2.0, 6.0, false, 5.0},     // broken away
      {0.0, 6.0, 0.0, 0.0, true, 6.0}};
   for (const auto& [tau, motorPosition, motorVelocity, torque, sticks, center] : cases)
   {
      SCOPED_TRACE(tau);
      this->motors().motorPositions()[joint] = motorPosition;
      this->motors().motorVelocities()[joint] = motorVelocity;
      EXPECT_EQ(drive.dryFrictionTorque(tau, this->state), torque);
      EXPECT_EQ(this->motors().staticFrictionModes()[joint], sticks);
      EXPECT_EQ(this->motors().springDamperCenters()[joint], center);
   }
}

TYPED_TEST(Drive, ShaftGivesNoTorqueWithinTheBacklash)
{
   auto& drive = this->subject;
   this->setFlexible(0.25);
   drive.setBacklash(2.0);
   this->move(1.0, 0.5); // the shaft's end at 4 with 2
   struct
   {
      ZqReal backlash, motorPosition, motorVelocity, torque;
   } const cases[] = {{2.0, 6.0, 2.0, 4.0},   {2.0, 4.0, 6.0, 2.0},         {2.0, 3.0, 6.0, 0.0},
                      {2.0, 2.0, 6.0, 2.0},   {2.0, 1.0, 2.0, -2.0},        {0.0, 3.0, 2.0, -2.0},
                      {-1.0, 4.5, 2.0, -1.0}, {2.0, std::nan(""), 2.0, 0.0}};
   for (const auto& [backlash, motorPosition, motorVelocity, torque] : cases)
   {
      SCOPED_TRACE(motorPosition);
      drive.setBacklash(backlash);
      this->motors().motorPositions()[joint] = motorPosition;
      this->motors().motorVelocities()[joint] = motorVelocity;
      this->motors().outputTorques()[joint] = 77.0;
      EXPECT_EQ(drive.outputTorque(5.0, 3.0, this->state), torque);
      EXPECT_EQ(this->motors().outputTorques()[joint], torque);
   }
}

TYPED_TEST(Drive, GivesWhatFrictionLeavesOfTheInput)
{
   auto& drive = this->subject;
   drive.setFrictionCoefficient(0.125);
   drive.setStaticCoulombFriction(3.0);
   ZqReal efficiency = 1.0;
   if constexpr (!this->isOld)
   {
      efficiency = 0.5;
      drive.setMaxEfficiency(efficiency);
   }
   this->move(0.0, 2.0, 3.0);
   this->motors().outputTorques().resize(0);
   // Viscous friction of 4; dry friction takes up what the load, and of old the friction, leaves,
   // to 12.
   struct
   {
      ZqReal input, load, dry;
   } const cases[] = {{40.0, 10.0, 12.0},
                      {4.0, 50.0, -12.0},
                      {4.0, 10.0, 4.0 * 4.0 * efficiency - 10.0 - (this->isOld ? 4.0 : 0.0)}};
   for (const auto& [input, load, dry] : cases)
   {
      const ZqReal expected = input * 4.0 * efficiency - 4.0 - dry;
      EXPECT_EQ(drive.outputTorque(input, load, this->state), expected);
      EXPECT_EQ(this->motors().outputTorques(), ZqActuatorState::Reals({0.0, expected}));
   }

   // A rigid motor follows the joint; so does one without inertia.
   EXPECT_EQ(this->motorAcceleration(40.0), 12.0);
   this->setFlexible(0.0);
   EXPECT_EQ(this->motorAcceleration(40.0), 12.0);
   EXPECT_EQ(drive.effectiveInertia(1.0), 0.0);
   // A body of its own lies between the input and the shaft, here wound by 0.25 at the joint.
   this->setFlexible(0.25);
   this->motors().motorPositions()[joint] = 1.0;
   EXPECT_EQ(this->motorAcceleration(10.0), 40.0 * efficiency - 4.0 - 2.0 - 12.0);
   drive.setIsRigid(true);
   EXPECT_EQ(drive.effectiveInertia(1.0), 4.0);
}

/// With a law of its own.
template <class DriveTrain>
struct Oily : DriveTrain
{
   ZqReal friction = 0.0;
   ZqReal viscousFrictionTorque(const ZqManipulatorActiveState&) const override { return friction; }
};

TYPED_TEST(Drive, TakesTheLawsOfADerivedClass)
{
   auto& drive = this->subject;
   drive.setFrictionCoefficient(0.125);
   drive.setStaticCoulombFriction(3.0);
   drive.setStopperSpringCoefficient(2.0);
   drive.setUpperLimit(0.25);
   this->move(0.5, 2.0);
   Oily<TypeParam> oily;
   static_cast<TypeParam&>(oily) = drive;
   for (const ZqReal friction : {4.0, 5.0})
   {
      oily.friction = friction;
      EXPECT_EQ(oily.outputTorque(40.0, 10.0, this->state),
                drive.outputTorque(40.0, 10.0, this->state) + 4.0 - friction);
   }
}

TYPED_TEST(Drive, ZeroGearRatioPassesNothing)
{
   auto& drive = this->subject;
   this->setFlexible(0.25);
   drive.setStaticCoulombFriction(3.0);
   drive.setGearRatio(0.0);
   EXPECT_EQ(drive.dryFrictionTorque(5.0, this->state), 0.0);
   EXPECT_EQ(drive.dryFrictionTorque(0.0, this->state), 0.0);
   EXPECT_EQ(drive.outputTorque(5.0, 1.0, this->state), 0.0);
   EXPECT_EQ(this->motorAcceleration(5.0), 0.0);
   drive.setIsRigid(true);
   EXPECT_EQ(drive.outputTorque(5.0, 1.0, this->state), 0.0);
}

TYPED_TEST(Drive, JointWithoutAnEntryIsReported)
{
   auto& drive = this->subject;
   auto& active = this->state;
   const std::pair<const char*, std::function<ZqReal()>> cases[] = {
      {"stopperTorque", [&] { return drive.stopperTorque(active); }},
      {"viscousFrictionTorque", [&] { return drive.viscousFrictionTorque(active); }},
      {"dryFrictionTorque", [&] { return drive.dryFrictionTorque(1.0, active); }},
      {"acceleration", [&] { return drive.acceleration(1.0, active), 0.0; }},
      {"initializeActuatorStates", [&] { return drive.initializeActuatorStates(active), 0.0; }},
      {"nonRigidOutputTorque", [&] { return drive.outputTorque(1.0, 1.0, active); }}};
   const ZqManipulatorLink unmapped;
   ZqManipulatorLink beyond;
   beyond.setLinkIndex(3);
   this->setFlexible(0.25);
   const std::initializer_list<const ZqManipulatorLink*> links = {nullptr, &unmapped,
                                                                  &this->manipulator, &beyond};
   for (const ZqManipulatorLink* link : links)
      for (const auto& [name, call] : cases)
      {
         drive.setManipulatorLink(link);
         const zqTest::LogCapture log;
         EXPECT_EQ(call(), 0.0);
         ASSERT_EQ(log.size(), 1U) << log.text();
         EXPECT_EQ(log.messages()[0].type, Zq::Rejected);
         EXPECT_EQ(
            log.messages()[0].text,
            std::string(this->isOld ? "ZqOldJointActuator" : "ZqMechanicalActuatorComponent") +
               "::" + name + "()->index out of range\n");
      }
}
} // namespace
