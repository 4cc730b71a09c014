#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <cmath>

ZqSimulation::Energy ZqSimulation::energy()
{
   m_active.setNonredundantState(m_state);
   Energy result;
   const auto add = [&](ZqU32 manipulator, ZqU32 link, const Energy& energy)
   {
      result.kinetic += energy.kinetic;
      result.potential += energy.potential;
      if (!m_divergence && !std::isfinite(result.total()))
         diverge(fastest({manipulator, link}), "energy");
   };
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      add(i, ZqBaseLinkIndex, energyOfBody(i, *m_members[i].manipulator));
      for (ZqU32 j = 0; j < m_members[i].joints.size(); ++j)
      {
         add(i, j, energyOfBody(i, *m_members[i].joints[j].link));
         add(i, j, energyOfMotor(i, j));
      }
   }
   return result;
}

/// V . (M V) / 2 and m g . c, in the link's D-H frame.
ZqSimulation::Energy ZqSimulation::energyOfBody(ZqU32 index, const ZqManipulatorLink& link)
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

ZqSimulation::Energy ZqSimulation::energyOfMotor(ZqU32 index, ZqU32 jointIndex)
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
