#include "apps/zqsim/simulation.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
using namespace zqsim;

ZqReal entry(const std::vector<ZqReal>& list, std::size_t index)
{
   return index < list.size() ? list[index] : 0.0;
}

bool isFinite(const ZqVector& vector)
{
   return std::isfinite(vector.x()) && std::isfinite(vector.y()) && std::isfinite(vector.z());
}

bool isFinite(const ZqOrientation& q)
{
   return std::isfinite(q.w()) && std::isfinite(q.x()) && std::isfinite(q.y()) &&
          std::isfinite(q.z());
}

/// As the velocity is clipped when it is propagated.
ZqReal clipped(ZqReal velocity, ZqReal maxRate)
{
   if (maxRate <= velocity)
      velocity = maxRate;
   if (velocity <= -maxRate)
      velocity = -maxRate;
   return velocity;
}
} // namespace

zqsim::Simulation::Simulation(const ZqStatedSystem& scene, Solver solver, const DriveInputs& inputs)
   : m_scene(scene), m_solver(solver), m_state(scene.state())
{
   m_active.setNonredundantState(m_state);
   m_members.reserve(scene.numberOfManipulators());
   std::size_t firstJoint = 0;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      m_members.push_back(makeMember(i, inputs, firstJoint));
      firstJoint += m_members.back().joints.size();
   }
}

zqsim::Simulation::Member zqsim::Simulation::makeMember(ZqU32 index, const DriveInputs& inputs,
                                                        std::size_t firstJoint)
{
   Member member(m_scene, index);
   for (const ZqManipulatorLink* link : member.manipulator->linkPointerVector())
   {
      const ZqJointActuator& drive = link->jointActuator();
      const std::size_t i = firstJoint + member.joints.size();
      member.joints.push_back({link, drive.mechanicalComponentContainer().topElement(),
                               drive.powerConverterContainer().topElement(), drive.gearRatio(),
                               entry(inputs.commands, i), entry(inputs.torques, i),
                               drive.lowerLimit(), drive.upperLimit(), drive.maxOutputRate(),
                               !drive.isRigid()});
   }

   const auto jointCount = static_cast<unsigned>(member.joints.size());
   member.gravity.resize(jointCount);
   member.gravity.setGeneralAcceleration(
      ZqGeneralMotion(m_scene.environment().upGravityVector(), ZqVector()));
   member.torque.jointTorques().resize(jointCount);
   member.externalForce.resize(jointCount);
   member.isFree.assign(jointCount, true);

   ZqManipulatorActiveState& active = activeState(index);
   active.setAccelerationState(member.gravity);
   ZqActuatorState& drives = active.actuatorState();
   drives.resize(jointCount);
   drives.powerConverterStates().resize(jointCount);
   for (unsigned j = 0; j < jointCount; ++j)
   {
      const Joint& joint = member.joints[j];
      joint.link->jointActuator().initializeActuatorStates(active);
      if (joint.converter != nullptr)
         drives.powerConverterStates()[j].resize(joint.converter->numStateVariables());
   }
   return member;
}

bool zqsim::Simulation::stepTo(ZqReal time)
{
   const ZqReal dt = time - m_state.time();
   m_stateBefore = m_state;
   m_active.setNonredundantState(m_state);
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      activeState(i).setAccelerationState(m_members[i].gravity);
      driveMotors(i, dt);
      solve(i, dt);
      if (const std::optional<Place> place = firstNotFinite(i, dt))
      {
         m_divergence = Divergence{*place, time, "motion"};
         return false;
      }
      activeState(i).setAccelerationState(m_members[i].accelerations);
      advanceMotors(i, dt);
   }
   m_scene.propagateTo(time, m_state, m_results, m_active);
   if (!isStateFinite())
   {
      m_state = m_stateBefore;
      return false;
   }
   collectResults();
   return true;
}

/// Brings the motor side up to the state, and finds the torques at the motors.
void zqsim::Simulation::driveMotors(ZqU32 index, ZqReal dt)
{
   Member& member = m_members[index];
   const auto& positions = m_state.positionStates()[index].jointPositions().values();
   const auto& velocities = m_state.velocityStates()[index].jointVelocities().values();
   ZqActuatorState& drives = activeState(index).actuatorState();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      if (!joint.isFlexible)
      {
         drives.motorPositions()[j] = joint.gearRatio * positions[j];
         drives.motorVelocities()[j] = joint.gearRatio * velocities[j];
      }
      ZqReal torque = joint.torque;
      if (joint.converter != nullptr)
      {
         advanceConverter(joint, dt, drives);
         torque += joint.converter->outputTorque(joint.command, drives);
      }
      member.torque.jointTorques()[j] = torque;
   }
}

/// x += dt f / (1 - dt f'), where f' is the derivative of f by x: the linearly implicit Euler method
/// (Hairer, Wanner 1996, IV.7), for each state by itself as converters couple them through the motor
/// alone. A derivative above zero is no reason to slow down, and is left out.
void zqsim::Simulation::advanceConverter(const Joint& joint, ZqReal dt, ZqActuatorState& drives)
{
   auto& x = drives.powerConverterStates()[joint.link->linkIndex()].values();
   if (x.empty())
      return;
   // A converter that rejects the call leaves them as they are.
   m_derivatives.resize(0);
   joint.converter->computeStateDerivatives(joint.command, drives, m_derivatives);
   if (m_derivatives.size() != x.size())
      return;
   m_nextConverterState = x;
   for (std::size_t k = 0; k < x.size(); ++k)
   {
      constexpr ZqReal relativeStep = 1e-6;
      const ZqReal before = x[k];
      const ZqReal step = relativeStep * std::max(1.0, std::abs(before));
      x[k] = before + step;
      joint.converter->computeStateDerivatives(joint.command, drives, m_nearbyDerivatives);
      x[k] = before;
      const ZqReal slope = (m_nearbyDerivatives[k] - m_derivatives[k]) / step;
      m_nextConverterState[k] += dt * m_derivatives[k] / (1.0 - dt * std::min(slope, 0.0));
   }
   x = m_nextConverterState;
}

void zqsim::Simulation::solve(ZqU32 index, ZqReal dt)
{
   Member& member = m_members[index];
   ZqManipulatorActiveState& active = activeState(index);
   if (m_solver == Solver::Crbi)
      member.crbi.acceleration(m_scene, *member.manipulator, member.torque, member.externalForce,
                               member.accelerations, active, true);
   else
      member.arbi.acceleration(m_scene, *member.manipulator, active.positionState(),
                               active.velocityState(), member.torque, member.externalForce,
                               member.accelerations, active);

   std::fill(member.isFree.begin(), member.isFree.end(), true);
   member.isAnyHeld = false;
   // To hold one joint may push another into its limit.
   while (findJointsAtLimits(index, dt))
      solveAtLimits(index, dt);
}

/// Whether the step would take joints that are free beyond their limits; they are free no more.
bool zqsim::Simulation::findJointsAtLimits(ZqU32 index, ZqReal dt)
{
   Member& member = m_members[index];
   const auto& positions = m_state.positionStates()[index].jointPositions().values();
   const auto& velocities = m_state.velocityStates()[index].jointVelocities().values();
   const auto& accelerations = member.accelerations.jointAccelerations().values();
   bool isAnyFound = false;
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      Joint& joint = member.joints[j];
      const ZqReal velocity = clipped(velocities[j] + dt * accelerations[j], joint.maxRate);
      const ZqReal position = positions[j] + dt * velocity;
      const bool isAbove = joint.upperLimit < position && velocity > 0.0;
      const bool isBelow = position < joint.lowerLimit && velocity < 0.0;
      if ((isAbove || isBelow) && member.isFree[j])
      {
         // At rest but for less than rounding, which must not lead outward.
         constexpr ZqReal rounding = 4.0 * std::numeric_limits<ZqReal>::epsilon();
         const ZqReal inward = std::abs(velocities[j]) * rounding;
         joint.velocityAtLimit = isAbove ? -inward : inward;
         member.isFree[j] = false;
         member.isAnyHeld = true;
         isAnyFound = true;
      }
   }
   return isAnyFound;
}

/// The accelerations with all joints at limits coming to rest. The torques that this needs are the
/// reactions of the stops.
void zqsim::Simulation::solveAtLimits(ZqU32 index, ZqReal dt)
{
   Member& member = m_members[index];
   ZqManipulatorActiveState& active = activeState(index);
   const auto& velocities = m_state.velocityStates()[index].jointVelocities().values();
   auto& accelerations = member.accelerations.jointAccelerations().values();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
      if (!member.isFree[j])
         accelerations[j] = (member.joints[j].velocityAtLimit - velocities[j]) / dt;
   member.torqueAtLimits = member.torque;
   member.crbi.hybridTorqueAcceleration(m_scene, *member.manipulator, member.externalForce,
                                        member.isFree, member.torqueAtLimits, member.accelerations,
                                        active, true);
   // That of a free base comes in the axes of the base.
   member.accelerations.generalAcceleration().transformBy(
      member.manipulator->dhFrameInSystem(active.activePositionState()).orientation());
}

/// Of what the step leads to, the first that is not finite. When all joints are not, the one that is
/// to blame had a torque that is not finite, or else was the fastest.
std::optional<zqsim::Simulation::Place> zqsim::Simulation::firstNotFinite(ZqU32 index, ZqReal dt)
{
   const Member& member = m_members[index];
   const ZqPositionState& position = m_state.positionStates()[index];
   const ZqVelocityState& velocity = m_state.velocityStates()[index];
   const auto& positions = position.jointPositions().values();
   const auto& velocities = velocity.jointVelocities().values();
   const auto& accelerations = member.accelerations.jointAccelerations().values();
   const auto& torques = activeState(index).actuatorState().outputTorques().values();
   std::optional<Place> result;
   ZqReal highest = -1.0;
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      if (std::isfinite(positions[j] + dt * (velocities[j] + dt * accelerations[j])))
         continue;
      const bool hasTorque = j >= torques.size() || std::isfinite(torques[j]);
      const ZqReal speed =
         hasTorque ? std::abs(velocities[j]) : std::numeric_limits<ZqReal>::infinity();
      if (speed > highest)
      {
         highest = speed;
         result = Place{index, static_cast<ZqU32>(j)};
      }
   }
   const ZqGeneralMotion& V = velocity.generalVelocity();
   const ZqGeneralMotion& A = member.accelerations.generalAcceleration();
   if (!result &&
       !(::isFinite(position.coordSysXForm().translation() + (V.linear() + A.linear() * dt) * dt) &&
         ::isFinite((V.angular() + A.angular() * dt) * dt)))
      result = Place{index, ZqBaseLinkIndex};
   return result;
}

/// Integrates the motors that are bodies of their own.
void zqsim::Simulation::advanceMotors(ZqU32 index, ZqReal dt)
{
   const Member& member = m_members[index];
   ZqManipulatorActiveState& active = activeState(index);
   ZqActuatorState& drives = active.actuatorState();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      if (!member.joints[j].isFlexible)
         continue;
      member.joints[j].driveTrain->acceleration(member.torque.jointTorques()[j], active);
      drives.motorVelocities()[j] += dt * drives.motorAccelerations()[j];
      drives.motorPositions()[j] += dt * drives.motorVelocities()[j];
   }
}

/// Of the state that a step has led to, with its energy; else that is the divergence.
bool zqsim::Simulation::isStateFinite()
{
   if (isStateFarFromOverflow())
      return true;
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const ZqCoordinateSystemTransformation& X = m_state.positionStates()[i].coordSysXForm();
      const ZqGeneralMotion& V = m_state.velocityStates()[i].generalVelocity();
      if (!(::isFinite(X.translation()) && ::isFinite(X.orientation()) && ::isFinite(V.linear()) &&
            ::isFinite(V.angular())))
      {
         m_divergence = Divergence{{i, ZqBaseLinkIndex}, m_state.time(), "motion"};
         return false;
      }
   }
   energy();
   return !m_divergence;
}

/// Whether all positions and rates are so small that their squares, and so the energy, are finite.
bool zqsim::Simulation::isStateFarFromOverflow()
{
   constexpr ZqReal far = 1e50;
   const auto isBelow = [](ZqReal number) { return std::abs(number) < far; };
   const auto areBelow = [&](const ZqXmlVectorBasicType<ZqReal>& numbers)
   { return std::all_of(numbers.values().begin(), numbers.values().end(), isBelow); };
   const auto isVectorBelow = [&](const ZqVector& vector)
   { return isBelow(vector.x()) && isBelow(vector.y()) && isBelow(vector.z()); };
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const ZqPositionState& position = m_state.positionStates()[i];
      const ZqVelocityState& velocity = m_state.velocityStates()[i];
      const ZqGeneralMotion& V = velocity.generalVelocity();
      if (!(areBelow(position.jointPositions()) && areBelow(velocity.jointVelocities()) &&
            areBelow(activeState(i).actuatorState().motorVelocities()) &&
            isVectorBelow(position.coordSysXForm().translation()) &&
            ::isFinite(position.coordSysXForm().orientation()) && isVectorBelow(V.linear()) &&
            isVectorBelow(V.angular())))
         return false;
   }
   return true;
}

/// The joint or the base of a manipulator with the highest rate: what it carries may have more energy,
/// but is not to blame. When all are at rest, what was given.
zqsim::Simulation::Place zqsim::Simulation::fastest(const Place& otherwise) const
{
   const ZqVelocityState& velocity = m_state.velocityStates()[otherwise.manipulator];
   const auto& rates = velocity.jointVelocities().values();
   const ZqGeneralMotion& V = velocity.generalVelocity();
   Place result = otherwise;
   ZqReal highest = 0.0;
   const auto compare = [&](ZqReal rate, ZqU32 link)
   {
      if (std::abs(rate) > highest)
      {
         highest = std::abs(rate);
         result.link = link;
      }
   };
   for (const ZqReal rate : {V.linear().x(), V.linear().y(), V.linear().z(), V.angular().x(),
                             V.angular().y(), V.angular().z()})
      compare(rate, ZqBaseLinkIndex);
   for (std::size_t j = 0; j < rates.size(); ++j)
      compare(rates[j], static_cast<ZqU32>(j));
   return result;
}

/// Takes down what happened in the step that was done.
void zqsim::Simulation::collectResults()
{
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      Member& member = m_members[i];
      if (member.isAnyHeld)
         for (std::size_t j = 0; j < member.joints.size(); ++j)
            if (!member.isFree[j])
               noteLimit(i, static_cast<ZqU32>(j));
      ZqPropagationResultData& result = m_results[i];
      if (!result.exceptionOccurred())
         continue;
      if (result.hitJointLimit())
      {
         // A limit that depends on several joints: the manipulator went back to where it was, and
         // would do so for ever.
         noteLimit(i, result.linkIndexAtJointLimit());
         auto& velocities = m_state.velocityStates()[i].jointVelocities().values();
         std::fill(velocities.begin(), velocities.end(), 0.0);
      }
      if (result.hitGeneralStoppingCriterion() && !member.hasFiredCriterion)
      {
         member.hasFiredCriterion = true;
         m_firedCriteria.push_back(
            {i, result.satisfiedGeneralStoppingCriteriaDescription(), m_state.time()});
      }
      result.reset();
   }
}

void zqsim::Simulation::noteLimit(ZqU32 manipulator, ZqU32 joint)
{
   auto& joints = m_members[manipulator].joints;
   if (joint >= joints.size() || joints[joint].wasAtLimit)
      return;
   joints[joint].wasAtLimit = true;
   m_limitHits.push_back({{manipulator, joint}, m_state.time()});
}

zqsim::Energy zqsim::Simulation::energy()
{
   m_active.setNonredundantState(m_state);
   Energy result;
   const auto add = [&](ZqU32 manipulator, ZqU32 link, const Energy& energy)
   {
      result.kinetic += energy.kinetic;
      result.potential += energy.potential;
      if (!m_divergence && !std::isfinite(result.total()))
         m_divergence = Divergence{fastest({manipulator, link}), m_state.time(), "energy"};
   };
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      add(i, ZqBaseLinkIndex, energyOfBody(i, m_members[i].manipulator->concreteReference()));
      for (ZqU32 j = 0; j < m_members[i].joints.size(); ++j)
      {
         add(i, j, energyOfBody(i, *m_members[i].joints[j].link));
         add(i, j, energyOfMotor(i, j));
      }
   }
   return result;
}

/// V . (M V) / 2 and m g . c, in the link's D-H frame.
zqsim::Energy zqsim::Simulation::energyOfBody(ZqU32 index, const ZqManipulatorLink& link)
{
   ZqManipulatorActiveState& active = activeState(index);
   // What is attached to the link is a body of its own.
   const ZqRigidBodyMassProperties& body = link.massPropertiesInDHFrame();
   const ZqGeneralMotion& V = link.dhFrameVelocityInLocal(active);
   const ZqGeneralForce momentum = body.calculateForce(V);
   const ZqCoordinateSystemTransformation& X = link.dhFrameInSystem(active.activePositionState());
   const ZqVector firstMoment =
      X.translation() * ZqReal(body.mass()) + X.orientation() * body.firstMoment();
   return {0.5 * (V.linear().dot(momentum.force()) + V.angular().dot(momentum.moment())),
           m_scene.environment().upGravityVector().dot(firstMoment)};
}

zqsim::Energy zqsim::Simulation::energyOfMotor(ZqU32 index, ZqU32 jointIndex)
{
   const Joint& joint = m_members[index].joints[jointIndex];
   if (joint.driveTrain == nullptr)
      return {};
   const ZqReal speed =
      joint.isFlexible
         ? activeState(index).actuatorState().motorVelocities()[jointIndex]
         : joint.gearRatio * m_state.velocityStates()[index].jointVelocities()[jointIndex];
   return {0.5 * joint.driveTrain->inertia() * speed * speed, 0.0};
}
