#include "zqManipulator/actuation/ZqDriveTrain.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
using Reals = ZqXmlVectorBasicType<ZqReal>;
using Flags = ZqActuatorState::Flags;

bool has(const Reals& list, ZqU32 index)
{
   return index < list.size();
}

bool has(const Flags& list, ZqU32 index)
{
   return index < list.Flags::size();
}

template <class... Lists>
bool allHave(ZqU32 index, const Lists&... lists)
{
   return (has(lists, index) && ...);
}

bool rejected(const char* message)
{
   Zq::Print::instance().write(Zq::Rejected, "%s", message);
   return false;
}

// Nobody derives from active states and their records. Their operations are called by qualified names,
// without the cost of virtual calls.

const Reals& positionsOf(const ZqManipulatorActiveState& state)
{
   return state.ZqManipulatorActiveState::positionState().ZqPositionState::jointPositions();
}

const Reals& velocitiesOf(const ZqManipulatorActiveState& state)
{
   return state.ZqManipulatorActiveState::velocityState().ZqVelocityState::jointVelocities();
}

const Reals& accelerationsOf(const ZqManipulatorActiveState& state)
{
   return state.ZqManipulatorActiveState::accelerationState()
      .ZqAccelerationState::jointAccelerations();
}

ZqActuatorState& motorsOf(ZqManipulatorActiveState& state)
{
   return state.ZqManipulatorActiveState::actuatorState();
}
} // namespace

/// The joint and its motor in the state; a law fills in what it asks for.
struct ZqDriveTrain::Motion
{
   ZqReal position = 0.0;
   ZqReal velocity = 0.0;
   ZqReal motorPosition = 0.0;
   ZqReal motorVelocity = 0.0;
   Flags::value_type* sticks = nullptr;
   ZqReal* center = nullptr;
};

/// A flexible one, as the joint feels it.
struct ZqDriveTrain::Shaft
{
   ZqReal torque() const { return spring + damper; }

   ZqReal held = 0.0;   ///< J
   ZqReal spring = 0.0; ///< N m or N
   ZqReal damper = 0.0; ///< likewise
};

inline ZqReal ZqDriveTrain::viscousFriction(const Motion& motion) const
{
   return m_frictionCoefficient * motion.motorVelocity * m_gearRatio;
}

inline ZqReal ZqDriveTrain::stoppers(const Motion& motion) const
{
   const ZqReal q = motion.position;
   const ZqReal damping = m_stopperDampingCoefficient * motion.velocity;
   const ZqReal lowerZone = m_lowerLimit + m_stopperZone;
   const ZqReal upperZone = m_upperLimit - m_stopperZone;
   ZqReal torque = 0.0;
   if (q < lowerZone)
      torque = damping - m_stopperSpringCoefficient * (lowerZone - q);
   if (q > upperZone)
      torque = torque + m_stopperSpringCoefficient * (q - upperZone) + damping;
   return torque;
}

/// What the springs of the stoppers hold.
inline ZqReal ZqDriveTrain::stoppersHeld(const Motion& motion) const
{
   const ZqReal below = std::max(0.0, m_lowerLimit + m_stopperZone - motion.position);
   const ZqReal above = std::max(0.0, motion.position - (m_upperLimit - m_stopperZone));
   return 0.5 * m_stopperSpringCoefficient * (below * below + above * above);
}

/// The dampers' part of the torque.
inline ZqReal ZqDriveTrain::stopperDamping(const Motion& motion) const
{
   const ZqReal damping = m_stopperDampingCoefficient * motion.velocity;
   const bool isBelow = motion.position < m_lowerLimit + m_stopperZone;
   const bool isAbove = motion.position > m_upperLimit - m_stopperZone;
   return (isBelow ? damping : 0.0) + (isAbove ? damping : 0.0);
}

inline ZqReal ZqDriveTrain::dryFriction(ZqReal torque, const Motion& motion) const
{
   const ZqReal staticLevel = m_staticCoulombFriction;
   if (std::abs(motion.motorVelocity) >= m_limitingVelocityStickRegion)
   {
      *motion.sticks = false;
      const ZqReal friction = m_kineticCoulombFrictionPercentage * staticLevel;
      return (motion.motorVelocity < 0.0 ? -friction : friction) * m_gearRatio;
   }
   if (!*motion.sticks)
   {
      *motion.sticks = true;
      *motion.center = motion.motorPosition;
   }
   if (m_gearRatio == 0.0)
      return 0.0;
   const ZqReal atMotor = torque / m_gearRatio;
   ZqReal friction = (motion.motorPosition - *motion.center) * m_staticCoulombSpringCoefficient +
                     motion.motorVelocity * m_staticCoulombDamperCoefficient + atMotor;
   if (atMotor < -staticLevel)
      friction = -staticLevel;
   else if (atMotor > staticLevel)
      friction = staticLevel;
   return friction * m_gearRatio;
}

ZqReal ZqDriveTrain::viscousFrictionLaw(const ZqManipulatorActiveState& state,
                                        const char* message) const
{
   const ZqU32 j = jointIndex();
   const auto& motorVelocities =
      state.ZqManipulatorActiveState::actuatorState().ZqActuatorState::motorVelocities();
   if (!allHave(j, motorVelocities))
      return rejected(message), 0.0;
   Motion motion;
   motion.motorVelocity = motorVelocities[j];
   return viscousFriction(motion);
}

ZqReal ZqDriveTrain::stopperLaw(const ZqManipulatorActiveState& state, const char* message) const
{
   const ZqU32 j = jointIndex();
   const auto& positions = positionsOf(state);
   const auto& velocities = velocitiesOf(state);
   if (!allHave(j, positions, velocities))
      return rejected(message), 0.0;
   Motion motion;
   motion.position = positions[j];
   motion.velocity = velocities[j];
   return stoppers(motion);
}

ZqReal ZqDriveTrain::dryFrictionLaw(ZqReal torque, ZqManipulatorActiveState& state,
                                    const char* message) const
{
   const ZqU32 j = jointIndex();
   ZqActuatorState& motors = motorsOf(state);
   auto& sticks = motors.ZqActuatorState::staticFrictionModes();
   auto& centers = motors.ZqActuatorState::springDamperCenters();
   const auto& motorPositions = motors.ZqActuatorState::motorPositions();
   const auto& motorVelocities = motors.ZqActuatorState::motorVelocities();
   if (!allHave(j, sticks, centers, motorPositions, motorVelocities))
      return rejected(message), 0.0;
   return dryFriction(torque,
                      {0.0, 0.0, motorPositions[j], motorVelocities[j], &sticks[j], &centers[j]});
}

bool ZqDriveTrain::rigidTorqueLaw(ZqReal driving, ZqReal load, bool frictionMeetsRest,
                                  ZqManipulatorActiveState& state, ZqReal& torque) const
{
   const ZqU32 j = jointIndex();
   ZqActuatorState& motors = motorsOf(state);
   const auto& positions = positionsOf(state);
   const auto& velocities = velocitiesOf(state);
   auto& sticks = motors.ZqActuatorState::staticFrictionModes();
   auto& centers = motors.ZqActuatorState::springDamperCenters();
   const auto& motorPositions = motors.ZqActuatorState::motorPositions();
   const auto& motorVelocities = motors.ZqActuatorState::motorVelocities();
   auto& outputTorques = motors.ZqActuatorState::outputTorques();
   if (!allHave(j, positions, velocities, sticks, centers, motorPositions, motorVelocities,
                outputTorques))
      return false;
   const Motion motion{positions[j],       velocities[j], motorPositions[j],
                       motorVelocities[j], &sticks[j],    &centers[j]};
   const ZqReal linear = viscousFriction(motion) + stoppers(motion);
   const ZqReal met = frictionMeetsRest ? driving - load - linear : driving - load;
   torque = driving - linear - dryFriction(met, motion);
   outputTorques[j] = torque;
   return true;
}

ZqReal ZqDriveTrain::shaftLaw(ZqManipulatorActiveState& state, const char* message) const
{
   const ZqU32 j = jointIndex();
   ZqActuatorState& motors = motorsOf(state);
   const auto& positions = positionsOf(state);
   const auto& velocities = velocitiesOf(state);
   const auto& motorPositions = motors.ZqActuatorState::motorPositions();
   const auto& motorVelocities = motors.ZqActuatorState::motorVelocities();
   if (!allHave(j, positions, velocities, motorPositions, motorVelocities))
      return rejected(message), 0.0;

   const Motion motion{positions[j],       velocities[j], motorPositions[j],
                       motorVelocities[j], nullptr,       nullptr};
   return keptOutputTorque(shaft(motion).torque(), state);
}

ZqDriveTrain::Shaft ZqDriveTrain::shaft(const Motion& motion) const
{
   const ZqReal end = motion.position * m_gearRatio;
   ZqReal motor = motion.motorPosition;
   // With backlash the shaft touches the motor at one of two ends, or at none.
   const bool isPushed = end <= motor;
   const bool isPulled = motor <= end - m_backlash;
   if (!(isPushed || isPulled) || m_gearRatio == 0.0)
      return {};
   if (isPulled)
      motor += m_backlash;
   const ZqReal twist = motor / m_gearRatio - motion.position;
   const ZqReal spring = twist * m_jointFlexibilityStiffness;
   return {0.5 * twist * spring, spring,
           (motion.motorVelocity / m_gearRatio - motion.velocity) * m_jointFlexibilityDamping};
}

ZqReal ZqDriveTrain::heldEnergyLaw(const ZqManipulatorActiveState& state) const
{
   const ZqU32 j = jointIndex();
   const auto& positions = positionsOf(state);
   const auto& velocities = velocitiesOf(state);
   const auto& motors = state.ZqManipulatorActiveState::actuatorState();
   const auto& motorPositions = motors.ZqActuatorState::motorPositions();
   const auto& motorVelocities = motors.ZqActuatorState::motorVelocities();
   if (!allHave(j, positions, velocities, motorPositions, motorVelocities))
      return 0.0;
   const Motion motion{positions[j],       velocities[j], motorPositions[j],
                       motorVelocities[j], nullptr,       nullptr};
   return m_isRigid ? stoppersHeld(motion) : shaft(motion).held;
}

ZqDriveLoads ZqDriveTrain::loadsLaw(ZqReal inputTorque, ZqReal efficiency,
                                    const ZqManipulatorActiveState& state) const
{
   return m_isRigid ? rigidLoads(inputTorque, state)
                    : flexibleLoads(inputTorque, efficiency, state);
}

ZqDriveLoads ZqDriveTrain::rigidLoads(ZqReal input, const ZqManipulatorActiveState& state) const
{
   const ZqU32 j = jointIndex();
   const auto& positions = positionsOf(state);
   const auto& velocities = velocitiesOf(state);
   const auto& outputTorques =
      state.ZqManipulatorActiveState::actuatorState().ZqActuatorState::outputTorques();
   ZqDriveLoads loads;
   if (!allHave(j, positions, velocities, outputTorques))
      return loads;
   Motion motion;
   motion.position = positions[j];
   motion.velocity = velocities[j];
   loads.driving.motor = input;
   loads.friction.joint = input * m_gearRatio - stoppers(motion) - outputTorques[j];
   loads.damping.joint = stopperDamping(motion);
   return loads;
}

ZqDriveLoads ZqDriveTrain::flexibleLoads(ZqReal input, ZqReal efficiency,
                                         const ZqManipulatorActiveState& state) const
{
   const ZqU32 j = jointIndex();
   const auto& positions = positionsOf(state);
   const auto& velocities = velocitiesOf(state);
   const auto& motors = state.ZqManipulatorActiveState::actuatorState();
   const auto& sticks = motors.ZqActuatorState::staticFrictionModes();
   const auto& centers = motors.ZqActuatorState::springDamperCenters();
   const auto& motorPositions = motors.ZqActuatorState::motorPositions();
   const auto& motorVelocities = motors.ZqActuatorState::motorVelocities();
   ZqDriveLoads loads;
   if (m_gearRatio == 0.0 ||
       !allHave(j, positions, velocities, sticks, centers, motorPositions, motorVelocities))
      return loads;
   // The laws may change what friction remembers: of a copy.
   Flags::value_type sticksNow = sticks[j];
   ZqReal center = centers[j];
   const Motion motion{positions[j],       velocities[j], motorPositions[j],
                       motorVelocities[j], &sticksNow,    &center};
   const Shaft atJoint = shaft(motion);
   loads.damping = {-atJoint.damper, atJoint.damper / m_gearRatio};
   if (!motorIsBody())
   {
      loads.driving.motor = atJoint.torque() / m_gearRatio;
      return loads;
   }
   const ZqReal viscous = viscousFriction(motion);
   const ZqReal stopper = stoppers(motion);
   const ZqReal net = input * m_gearRatio * efficiency - (viscous + stopper) - atJoint.torque();
   loads.driving.motor = input;
   loads.friction.motor =
      input * (1.0 - efficiency) + (viscous + dryFriction(net, motion)) / m_gearRatio;
   loads.damping.motor += stopper / m_gearRatio;
   return loads;
}

ZqReal ZqDriveTrain::motorAccelerationLaw(ZqReal torque) const
{
   return m_gearRatio != 0.0 ? torque / m_gearRatio / m_inertia : 0.0;
}

void ZqDriveTrain::initializeStates(ZqManipulatorActiveState& state, const char* message) const
{
   const ZqU32 j = jointIndex();
   const auto& positions = positionsOf(state);
   const auto& velocities = velocitiesOf(state);
   const auto& accelerations = accelerationsOf(state);
   if (!allHave(j, positions, velocities) ||
       (accelerations.size() > 0 && !allHave(j, accelerations)))
   {
      rejected(message);
      return;
   }
   ZqActuatorState& motors = motorsOf(state);
   motors.resize(positions.size());
   const ZqReal position = m_gearRatio * positions[j];
   const ZqReal velocity = m_gearRatio * velocities[j];
   motors.ZqActuatorState::motorPositions()[j] = position;
   motors.ZqActuatorState::motorVelocities()[j] = velocity;
   motors.ZqActuatorState::motorAccelerations()[j] = followingAcceleration(state);
   motors.ZqActuatorState::springDamperCenters()[j] = position;
   motors.ZqActuatorState::staticFrictionModes()[j] = false;
   motors.ZqActuatorState::reverseMotionPositions()[j] = position;
   motors.ZqActuatorState::lastVelocities()[j] = velocity;
   motors.ZqActuatorState::nonRigidActuatorFlags()[j] = !m_isRigid;
}

ZqReal ZqDriveTrain::scaledLimit(ZqReal limit, ZqReal scale)
{
   constexpr ZqReal greatest = std::numeric_limits<ZqReal>::max();
   return std::clamp(limit * scale, -greatest, greatest);
}

void ZqDriveTrain::scaleParametersBy(ZqReal scale, ZqReal jointScale)
{
   const ZqReal fifthPower = scale * scale * scale * scale * scale;
   m_inertia *= fifthPower;
   m_frictionCoefficient *= scale * scale;
   m_lowerLimit = scaledLimit(m_lowerLimit, jointScale);
   m_upperLimit = scaledLimit(m_upperLimit, jointScale);
   m_stopperZone *= jointScale;
   m_stopperSpringCoefficient *= fifthPower;
   m_stopperDampingCoefficient *= fifthPower;
   m_staticCoulombFriction *= fifthPower;
   m_staticCoulombSpringCoefficient *= fifthPower;
   m_staticCoulombDamperCoefficient *= fifthPower;
}

ZqReal* ZqDriveTrain::motorAcceleration(ZqManipulatorActiveState& state, const char* message) const
{
   const ZqU32 j = jointIndex();
   auto& motorAccelerations = motorsOf(state).ZqActuatorState::motorAccelerations();
   const auto& accelerations = accelerationsOf(state);
   if (allHave(j, motorAccelerations) && (accelerations.size() == 0 || allHave(j, accelerations)))
      return &motorAccelerations[j];
   rejected(message);
   return nullptr;
}

ZqReal ZqDriveTrain::followingAcceleration(const ZqManipulatorActiveState& state) const
{
   const auto& accelerations = accelerationsOf(state);
   return accelerations.size() == 0 ? 0.0 : m_gearRatio * accelerations[jointIndex()];
}

void ZqDriveTrain::ensureOutputTorque(ZqManipulatorActiveState& state) const
{
   const ZqU32 j = jointIndex();
   auto& torques = motorsOf(state).ZqActuatorState::outputTorques();
   if (!has(torques, j) && j < ZqBaseLinkIndex)
      torques.resize(j + 1);
}

ZqReal ZqDriveTrain::keptOutputTorque(ZqReal torque, ZqManipulatorActiveState& state) const
{
   ensureOutputTorque(state);
   const ZqU32 j = jointIndex();
   auto& torques = motorsOf(state).ZqActuatorState::outputTorques();
   if (has(torques, j))
      torques[j] = torque;
   return torque;
}
