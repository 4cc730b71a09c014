#pragma once

#include "support/randomValues.h"
#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <vector>

class ZqPlane;

// Dynamics link by link: slow and obvious. Nothing is kept and nothing is skipped, and of joints nothing is
// known but the answers of their virtual functions.

namespace zqTest
{
/// What the motion of a manipulator follows from.
struct MotionInput
{
   const ZqIndividualManipulator& manipulator;
   const ZqStatedSystemStruct* scene = nullptr;
   ZqPositionState position;
   ZqVelocityState velocity;
   ZqAccelerationState acceleration;
   ZqManipulatorExternalForce external;
   ZqManipulatorTorque torque; ///< of the joints themselves, or commands to their drives

   /// An active state of this motion, in which motors follow their joints.
   ZqManipulatorActiveState activeState() const;
};

/// What a link does. In the axes of its DH frame, and about its origin, unless said otherwise.
struct RecursiveBody
{
   /// Of a point in the DH frame.
   ZqGeneralMotion velocityInSystem(const ZqVector& point) const;

   const ZqManipulatorLink* link = nullptr;
   std::size_t parent = 0;
   ZqReal q = 0.0, qd = 0.0, qdd = 0.0;
   ZqCoordinateSystemTransformation X;                     ///< the DH frame in that of the parent
   ZqCoordinateSystemTransformation dhFrame, primaryFrame; ///< in the system
   ZqGeneralMotion velocity, acceleration;
   ZqRigidBodyMassProperties mass;
   ZqVector center;
   ZqGeneralMotion centerVelocity, centerAcceleration;
   ZqGeneralMotion momentum, momentumRate; ///< the angular ones about the center of mass
   ZqGeneralMotion compositeMomentum, compositeMomentumRate;
   ZqGeneralForce ownForce, force; ///< that move the body, and it with its subtree
   ZqRigidBodyMassProperties composite;
   ZqArticulatedBodyDynamics articulated;
   ZqGeneralMotion addedAcceleration;
   ZqReal addedJointAcceleration = 0.0;
};

/// All of it, from the base outwards (motions), and from the tips inwards (momenta, forces, inertias).
class RecursiveDynamics
{
public:
   explicit RecursiveDynamics(const MotionInput& input);

   /// The base first: link i is body i + 1.
   const std::vector<RecursiveBody>& bodies() const { return m_bodies; }
   const RecursiveBody& base() const { return m_bodies[0]; }
   /// Of mass times acceleration of the centers of mass of the subtree, about a point in the system.
   ZqVector momentOfLinear(const RecursiveBody& body, const ZqVector& point) const;

   /// The mass matrix of the bodies, joints first, base last, in the axes of the base.
   ZqReArray massMatrix() const;
   /// What joints have to bear, springs, dampers and the inertia of drives included.
   std::vector<ZqReal> bodyTorques() const;
   /// What drives put out for commands.
   std::vector<ZqReal> driveTorques(const std::vector<ZqReal>& commands) const;
   std::vector<ZqReal> linearDriveTorques() const;
   /// The accelerations that the commands in the torques, and the force on a free base, add: joints first, base
   /// last, in its axes. By all of the mass matrix at once, to far more digits than it has.
   struct Solution
   {
      std::vector<ZqReal> accelerations;
      std::vector<ZqReal> scale; ///< roots of the diagonal; what has none does not accelerate
      ZqReal condition;          ///< of the mass matrix with rows and columns divided by the scale
   };
   Solution solve() const;
   /// The torques that hold the joints against gravity.
   std::vector<ZqReal> weight(const ZqVector& upGravity) const;
   /// The derivatives of the torque that holds a joint against gravity by all joint positions.
   std::vector<ZqReal> weightGradient(ZqU32 joint, const ZqVector& upGravity) const;
   ZqReal kineticEnergy() const;
   ZqVector centerOfMassInSystem() const;
   ZqVector zeroMomentPoint(const ZqPlane& plane, const ZqVector& downGravity) const;

private:
   void place();
   void move();
   void gather();
   void articulate();

   const MotionInput& m_input;
   mutable ZqManipulatorActiveState m_state; ///< for the parts of drives and springs
   std::vector<RecursiveBody> m_bodies;
};
} // namespace zqTest
