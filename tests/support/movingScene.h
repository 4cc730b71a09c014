#pragma once

#include "support/randomManipulators.h"
#include "zqManipulator/dynamics/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/ZqManipulatorTorque.h"
#include "zqManipulator/kinematics/ZqManipulatorSystem.h"
#include "zqManipulator/kinematics/ZqStatedSystem.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

namespace zqTest
{
/// A manipulator in random motion, alone in its system, with random torques and forces. Its accelerations
/// are those of gravity unless `accelerate` is called.
struct MovingScene
{
   MovingScene(RandomValues& random, const ZqIndividualManipulator& model)
   {
      system.setFromManipulator(model);
      n = manipulator().jointDof();
      ZqSystemEnvironment environment;
      environment.setUpGravityVector(random.vector(9.8));
      system.setEnvironment(environment);
      velocity.jointVelocities().resize(n);
      force.resize(n);
      for (ZqU32 i = 0; i < n; ++i)
      {
         velocity.jointVelocities()[i] = random.real(-2.0, 2.0);
         torque.jointTorques().pushBack(random.real(-5.0, 5.0));
         force[i] = randomForce(random);
      }
      if (!manipulator().isFixedBase())
         velocity.setGeneralVelocity(randomMotion(random));
      torque.setGeneralForce(randomForce(random));
      force.setBaseForce(randomForce(random));
      position = randomPosition(random, manipulator());
      active.setPositionState(position);
      active.setVelocityState(velocity);
      gravity.resize(n);
      gravity.setGeneralAcceleration({system.environment().upGravityVector(), ZqVector()});
      active.setAccelerationState(gravity);
      for (const ZqManipulatorLink* link : manipulator().linkPointerVector())
         link->jointActuator().initializeActuatorStates(active);
   }
   const ZqIndividualManipulator& manipulator() const { return *system.manipulatorByIndex(0); }
   /// Adds accelerations to those of gravity.
   void accelerate(const ZqAccelerationState& acceleration)
   {
      ZqAccelerationState sum = acceleration;
      sum.generalAcceleration() += gravity.generalAcceleration();
      active.setAccelerationState(sum);
   }

   ZqStatedSystem system;
   ZqPositionState position;
   ZqVelocityState velocity;
   ZqAccelerationState gravity;
   ZqManipulatorActiveState active;
   ZqManipulatorExternalForce force;
   ZqManipulatorTorque torque;
   ZqU32 n = 0;
};

inline ZqAccelerationState randomAcceleration(RandomValues& random, ZqU32 joints, bool isFixedBase)
{
   ZqAccelerationState acceleration;
   for (ZqU32 i = 0; i < joints; ++i)
      acceleration.jointAccelerations().pushBack(random.real(-2.0, 2.0));
   if (!isFixedBase)
      acceleration.setGeneralAcceleration(randomMotion(random));
   return acceleration;
}

/// The largest number of a state.
inline ZqReal largest(const ZqAccelerationState& state)
{
   ZqReal result = 0.0;
   for (const ZqReal value : state.jointAccelerations())
      result = std::max(result, std::abs(value));
   for (std::size_t k = 0; k < 6; ++k)
      result = std::max(result, std::abs(state.generalAcceleration()[k]));
   return result;
}
} // namespace zqTest
