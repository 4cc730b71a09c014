#include "zqManipulator/simulation/records/ZqDamperProperties.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

ZqReal ZqDamperProperties::torque(const ZqIndividualManipulator& manipulator,
                                  const ZqVelocityState& state) const
{
   const unsigned count = m_associatedJoints.size();
   if (count != m_weightingFactors.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqDamperProperties::torque:: damper data size mismatch.\n");
      return 0.0;
   }
   const auto& velocities = state.jointVelocities();
   ZqReal sum = 0.0;
   for (unsigned i = 0; i < count; ++i)
   {
      const ZqString& label = m_associatedJoints[i];
      const ZqManipulatorLink* link = manipulator.linkByIdentifier(label);
      if (link == nullptr || link->linkIndex() >= velocities.size())
         Zq::Print::instance().write(Zq::Rejected, "ZqDamperProperties::torque()->bad label, %s\n",
                                     label.c_str());
      else
         sum += m_weightingFactors[i] * velocities[link->linkIndex()];
   }
   return sum * m_damperConstant;
}

ZqReal ZqDamperProperties::torque(const ZqIndividualManipulator& manipulator,
                                  const ZqManipulatorActiveState& state) const
{
   return torque(manipulator, state.velocityState());
}
