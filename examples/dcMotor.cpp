// A motor of direct current turns a flywheel through a gear, against friction. Current and speed settle
// where voltage and friction balance:
//
//     K i = c w,   u = R i + K w   =>   w = u K / (R c + K^2),   i = w c / K
//
// with the motor's speed w and the friction c of its bearings. The library gives the torque and the
// rate of the current; it is the program that integrates the current.

#include "zqManipulator/zqManipulator.h"

#include <cmath>
#include <iomanip>
#include <iostream>

int main()
{
   constexpr ZqReal u = 24.0;   // V
   constexpr ZqReal R = 1.2;    // ohm
   constexpr ZqReal L = 0.8e-3; // H
   constexpr ZqReal K = 0.05;   // N m / A
   constexpr ZqReal c = 2e-4;   // N m s
   constexpr ZqReal gear = 20.0;

   ZqDcElectricMotor motor;
   motor.setArmatureResistance(R);
   motor.setArmatureInductance(L);
   motor.setTorqueConstant(K);
   ZqMechanicalActuatorComponent driveTrain;
   driveTrain.setInertia(2e-5); // kg m^2
   driveTrain.setFrictionCoefficient(c);
   driveTrain.setGearRatio(gear);
   ZqJointActuator drive;
   drive.setMechanicalComponent(driveTrain);
   drive.setPowerConverter(motor);

   ZqManipulatorLink flywheel;
   flywheel.setLinkLabel("flywheel");
   flywheel.setLinkKinematics(ZqDenavitHartenberg()); // turns about z
   flywheel.setMassProperties({1.0, ZqVector(), ZqSecondMoment(0.02, 0.02, 0.04, 0.0, 0.0, 0.0)});
   flywheel.setJointActuator(drive);
   ZqIndividualManipulator machine;
   machine.setLinkLabel("frame");
   machine.addChild(flywheel);
   ZqStatedSystem scene;
   scene.setFromManipulator(machine);

   const ZqIndividualManipulator& model = *scene.manipulatorByIndex(0);
   const ZqJointActuator& actuator = model.linkByIndex(0)->jointActuator();
   const ZqPowerConverterContainer& converter = actuator.powerConverterContainer();
   ZqPositionState position = scene.state().positionStates()[0];
   ZqVelocityState velocity = scene.state().velocityStates()[0];
   ZqManipulatorActiveState state;
   auto& converterStates = state.actuatorState().powerConverterStates();
   converterStates.resize(1);
   converterStates[0].resize(converter.numStateVariables());
   ZqReal& current = converterStates[0][0];
   ZqXmlVectorBasicType<ZqReal> currentRate(1);
   ZqManipulatorTorque torque;
   torque.jointTorques().resize(1);
   ZqAccelerationState acceleration;
   ZqCrbiAccelerationTool tool;

   constexpr ZqReal dt = 2e-5;
   const auto print = [](const auto& time, ZqReal i, ZqReal w)
   { std::cout << std::setw(10) << time << std::setw(13) << i << std::setw(28) << w << '\n'; };
   std::cout << "  time (s)  current (A)  speed of the motor (rad/s)\n";
   for (int step = 0; step < 50000; ++step)
   {
      if (step % 5000 == 0)
         print(step * dt, current, gear * velocity.jointVelocities()[0]);
      state.setPositionState(position);
      state.setVelocityState(velocity);
      actuator.initializeActuatorStates(state); // the motor follows the joint
      torque.jointTorques()[0] = converter.outputTorque(u, state.actuatorState());
      converter.computeStateDerivatives(u, state.actuatorState(), currentRate);
      tool.acceleration(scene, model, torque, {}, acceleration, state, true);

      current += currentRate[0] * dt;
      model.propagateVelocityState(acceleration, dt, velocity);
      model.propagateState(velocity, dt, position);
   }
   const ZqReal speed = gear * velocity.jointVelocities()[0];
   const ZqReal expectedSpeed = u * K / (R * c + K * K);
   const ZqReal expectedCurrent = expectedSpeed * c / K;
   print("at the end", current, speed);
   print("should be", expectedCurrent, expectedSpeed);
   const auto agree = [](ZqReal a, ZqReal b) { return std::abs(a - b) < 1e-6 * b; };
   return agree(speed, expectedSpeed) && agree(current, expectedCurrent) ? 0 : 1;
}
