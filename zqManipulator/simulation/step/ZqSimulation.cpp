#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>

namespace
{
ZqReal entry(const std::vector<ZqReal>& list, std::size_t index)
{
   return index < list.size() ? list[index] : 0.0;
}
} // namespace

ZqSimulation::ZqSimulation(const ZqStatedSystem& scene, const Settings& settings)
   : m_scene(scene), m_settings(settings), m_state(scene.state())
{
   scene.rightSizeState(m_state);
   m_active.setNonredundantState(m_state);
   m_members.reserve(scene.numberOfManipulators());
   std::size_t firstJoint = 0;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      m_members.push_back(makeMember(i, settings, firstJoint));
      firstJoint += m_members.back().joints.size();
   }
}

ZqSimulation::~ZqSimulation() = default;

ZqSimulation::Member ZqSimulation::makeMember(ZqU32 index, const Settings& settings,
                                              std::size_t firstJoint)
{
   Member member(m_scene.system().manipulators()[index]);
   for (const ZqManipulatorLink* link : member.manipulator->linkPointerVector())
   {
      const ZqJointActuator& drive = link->jointActuator();
      const std::size_t i = firstJoint + member.joints.size();
      member.joints.push_back({link, drive.mechanicalComponentContainer().topElement(),
                               drive.powerConverterContainer().topElement(), drive.gearRatio(),
                               entry(settings.commands, i), entry(settings.torques, i),
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

bool ZqSimulation::stepTo(ZqReal time)
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

void ZqSimulation::solve(ZqU32 index, ZqReal dt)
{
   Member& member = m_members[index];
   ZqManipulatorActiveState& active = activeState(index);
   if (m_settings.solver == Solver::Crbi)
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

/// Takes down what happened in the step that was done.
void ZqSimulation::collectResults()
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
