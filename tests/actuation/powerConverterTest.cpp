#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/actuation/ZqDcElectricMotor.h"
#include "zqManipulator/actuation/ZqHydraulicCylinder.h"
#include "zqManipulator/actuation/ZqPassThroughPowerConverter.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <gtest/gtest.h>

namespace
{
using Reals = ZqActuatorState::Reals;

/// The drive of the first of two joints.
struct DrivenJoint
{
   explicit DrivenJoint(const ZqBasePowerConverter& converter)
   {
      move(0.0, 0.0);
      ZqMechanicalActuatorComponent driveTrain;
      driveTrain.setGearRatio(40.0);
      driveTrain.setInertia(1e-4);
      driveTrain.setFrictionCoefficient(1e-4);
      drive.setManipulatorLink(manipulator.linkByIndex(0));
      drive.setMechanicalComponent(driveTrain);
      drive.setPowerConverter(converter);
      drive.initializeActuatorStates(state);
      motors().powerConverterStates().resize(2);
      motors().powerConverterStates()[0].resize(
         drive.powerConverterContainer().numStateVariables());
   }
   void move(ZqReal position, ZqReal velocity)
   {
      positions.setJointPositions({position, 0.0});
      state.setPositionState(positions);
      velocities.setJointVelocities(Reals{velocity, 0.0});
      state.setVelocityState(velocities);
   }
   ZqActuatorState& motors() { return state.actuatorState(); }
   Reals& converterState() { return motors().powerConverterStates()[0]; }
   /// Semi-implicit in the joint's motion and the converter's state.
   void step(ZqReal command, ZqReal jointInertia, ZqReal time)
   {
      const ZqReal input = drive.powerConverterContainer().outputTorque(command, motors());
      const ZqReal torque = drive.mechanicalComponentContainer().outputTorque(input, 0.0, state);
      velocities.jointVelocities()[0] +=
         time * torque / (jointInertia + drive.effectiveInertia(0.0));
      positions.jointPositions()[0] += time * velocities.jointVelocities()[0];
      state.setVelocityState(velocities);
      state.setPositionState(positions);
      motors().motorVelocities()[0] = drive.gearRatio() * velocities.jointVelocities()[0];
      motors().motorPositions()[0] = drive.gearRatio() * positions.jointPositions()[0];
      drive.powerConverterContainer().computeStateDerivatives(command, motors(), derivatives);
      for (unsigned i = 0; i < derivatives.size(); ++i)
         converterState()[i] += time * derivatives[i];
   }

   ZqIndividualManipulator manipulator =
      zqTest::makeManipulator(zqTest::chain(2), [](ZqU32) { return ZqManipulatorLink(); });
   ZqJointActuator drive;
   ZqManipulatorActiveState state;
   ZqPositionState positions;
   ZqVelocityState velocities;
   Reals derivatives;
};

ZqDcElectricMotor motor()
{
   ZqDcElectricMotor result;
   result.setArmatureInductance(1e-3);
   result.setArmatureResistance(2.0);
   result.setTorqueConstant(0.05);
   return result;
}

TEST(DcElectricMotor, ReachesTheSteadyStateOfItsEquation)
{
   DrivenJoint joint(motor());
   const ZqReal u = 24.0;
   joint.step(0.0, 0.1, 1e-4);
   EXPECT_EQ(joint.derivatives, Reals{0.0}); // at rest
   joint.step(u, 0.1, 1e-4);
   const zqTest::AllocationCount allocations;
   for (int i = 0; i < 40000; ++i)
      joint.step(u, 0.1, 1e-4);
   EXPECT_EQ(allocations.count(), 0U);
   // K i = c w at the motor, u = R i + K w.
   const ZqReal speed = u / (0.05 + 2.0 * 1e-4 / 0.05);
   EXPECT_NEAR(joint.motors().motorVelocities()[0], speed, 1e-9 * speed);
   EXPECT_NEAR(joint.converterState()[0], 1e-4 * speed / 0.05, 1e-9 * speed);
   EXPECT_EQ(joint.velocities.jointVelocities()[0], joint.motors().motorVelocities()[0] / 40.0);
}

TEST(DcElectricMotor, LeavesDerivativesAloneThatItCannotGive)
{
   ZqDcElectricMotor converter = motor();
   DrivenJoint joint(converter);
   Reals derivatives{7.0, 8.0};
   converter.setManipulatorLink(joint.manipulator.linkByIndex(0));
   converter.setArmatureInductance(-1.0);
   converter.computeStateDerivatives(1.0, joint.motors(), derivatives);
   EXPECT_EQ(derivatives, Reals{7.0});
   joint.converterState().resize(0);
   converter.setArmatureInductance(1.0);
   converter.computeStateDerivatives(1.0, joint.motors(), derivatives);
   EXPECT_EQ(derivatives, Reals{7.0});
   EXPECT_EQ(converter.outputTorque(1.0, joint.motors()), 0.0);
}

ZqHydraulicCylinder cylinder()
{
   ZqHydraulicCylinder result;
   result.setFluidBulkModulus(10.0);
   result.setFluidDensity(2.0);
   result.setSupplyPressure(100.0);
   result.setDrainPressure(3.0);
   result.setDischargeCoefficient(0.5);
   result.setFlowAreaGradient(4.0);
   result.setMaximumValveOpening(0.5);
   result.setEffectiveArea1(2.0);
   result.setEffectiveArea2(1.0);
   result.setFluidVolume1(3.0);
   result.setFluidVolume2(4.0);
   result.setMaximumFluidLength(5.0);
   return result;
}

TEST(HydraulicCylinder, FlowsAsTheValveAndThePressuresTell)
{
   DrivenJoint joint(cylinder());
   struct
   {
      ZqReal u, p1, p2, x, v, rate1, rate2;
   } const cases[] = {
      {0.25, 19.0, 19.0, 1.0, 0.0, 9.0, -2.5},    // into chamber 1, out of chamber 2
      {-0.25, 19.0, 19.0, 1.0, 0.0, -4.0, 5.625}, // the other way
      {9.0, 19.0, 19.0, 1.0, 0.0, 18.0, -5.0},    // no more than the valve opens
      {-9.0, 19.0, 19.0, 1.0, 0.0, -8.0, 11.25},  //
      {0.25, 104.0, 2.0, 1.0, 0.0, -2.0, 0.625},  // back against the valve
      {0.0, 19.0, 19.0, 1.0, 0.5, -2.0, 0.625},   // the piston's motion alone
      {0.25, 19.0, 19.0, 1.0, 2.25, 0.0, 0.3125}, // chamber 1 grows by what flows in
      {0.0, 19.0, 19.0, 7.0, 1.7, -2.0, 4.25}};   // beyond the stroke
   for (const auto& [u, p1, p2, x, v, rate1, rate2] : cases)
   {
      SCOPED_TRACE(u);
      joint.converterState() = {p1, p2};
      joint.motors().motorPositions()[0] = x;
      joint.motors().motorVelocities()[0] = v;
      const auto& converter = joint.drive.powerConverterContainer();
      converter.computeStateDerivatives(u, joint.motors(), joint.derivatives);
      ASSERT_EQ(joint.derivatives.size(), 2U);
      EXPECT_DOUBLE_EQ(joint.derivatives[0], rate1);
      EXPECT_DOUBLE_EQ(joint.derivatives[1], rate2);
      EXPECT_EQ(converter.outputTorque(u, joint.motors()), 2.0 * p1 - p2);
   }
   joint.converterState().resize(1);
   EXPECT_EQ(joint.drive.powerConverterContainer().outputTorque(1.0, joint.motors()), 0.0);
}

TEST(PowerConverter, LimitsItsTorque)
{
   DrivenJoint joint((ZqPassThroughPowerConverter()));
   joint.drive.setMinTorque(-2.0);
   joint.drive.setMaxTorque(3.0);
   const auto& container = joint.drive.powerConverterContainer();
   for (const auto& [command, torque] : {std::pair(2.5, 2.5), {4.0, 3.0}, {-4.0, -2.0}})
      EXPECT_EQ(container.outputTorque(command, joint.motors()), torque);
   EXPECT_EQ(joint.drive.maxOutputTorque(), 120.0);
   EXPECT_EQ(joint.drive.minOutputTorque(), -80.0);
   joint.drive.scaleBy(2.0, 1.0);
   EXPECT_EQ(joint.drive.maxTorque(), 96.0);
   EXPECT_EQ(joint.drive.minTorque(), -64.0);

   joint.drive.setPowerConverter(motor());
   joint.drive.setMaxTorque(0.5);
   joint.converterState() = {20.0};
   EXPECT_EQ(container.outputTorque(0.0, joint.motors()), 0.5);

   // Without a converter, or one with a state, there are no derivatives.
   joint.derivatives.resize(3);
   const ZqPowerConverterContainer none;
   EXPECT_EQ(none.outputTorque(1.0, joint.motors()), 0.0);
   none.computeStateDerivatives(1.0, joint.motors(), joint.derivatives);
   EXPECT_EQ(joint.derivatives.size() + none.numStateVariables(), 0U);
   joint.derivatives.resize(3);
   ZqPassThroughPowerConverter().computeStateDerivatives(1.0, joint.motors(), joint.derivatives);
   EXPECT_EQ(joint.derivatives.size(), 0U);
}

TEST(PowerConverter, ReportsWhatItCannotCompute)
{
   const ZqHydraulicCylinder full = cylinder();
   const auto with = [](auto converter, auto set, ZqReal value)
   {
      (converter.*set)(value);
      return converter;
   };
   using Cylinder = ZqHydraulicCylinder;
   const Cylinder noDensity = with(full, &Cylinder::setFluidDensity, 0.0);
   const Cylinder negativeDensity = with(full, &Cylinder::setFluidDensity, -2.0);
   const Cylinder noVolume1 = with(full, &Cylinder::setFluidVolume1, 0.0);
   const Cylinder noVolume2 = with(full, &Cylinder::setFluidVolume2, 0.0);
   const ZqDcElectricMotor dcMotor = motor();
   const auto noInductance = with(dcMotor, &ZqDcElectricMotor::setArmatureInductance, 0.0);
   const char* const cylinderDivides =
      "ZqHydraulicCylinder::computeStateDerivatives - potentially divided by zeroo\n";
   const struct
   {
      const ZqBasePowerConverter& converter;
      bool asksForTorque;
      const char* message;
   } cases[] = {
      {dcMotor, true, "ZqDcElectricMotor::outputTorque - index out of range\n"},
      {dcMotor, false, "ZqDcElectricMotor::computeStateDerivatives - index out of range\n"},
      {noInductance, false, "ZqDcElectricMotor::computeStateDerivatives - divided by zeroo\n"},
      {full, true, "ZqHydraulicCylinder::outputTorque - index out of range\n"},
      {full, false, "ZqHydraulicCylinder::computeStateDerivatives - index out of range\n"},
      {noDensity, false, cylinderDivides},
      {negativeDensity, false, cylinderDivides},
      {noVolume1, false, cylinderDivides},
      {noVolume2, false, cylinderDivides}};
   for (const auto& [converter, asksForTorque, message] : cases)
   {
      ZqActuatorState state;
      Reals derivatives{7.0, 8.0, 9.0};
      const zqTest::LogCapture log;
      if (asksForTorque)
         EXPECT_EQ(converter.outputTorque(1.0, state), 0.0);
      else
         converter.computeStateDerivatives(1.0, state, derivatives);
      ASSERT_EQ(log.size(), 1U) << message;
      EXPECT_EQ(log.messages()[0].text, message);
      EXPECT_EQ(log.messages()[0].type, Zq::Rejected);
      EXPECT_EQ(derivatives, (Reals{7.0, 8.0, 9.0}));
   }
}
} // namespace
