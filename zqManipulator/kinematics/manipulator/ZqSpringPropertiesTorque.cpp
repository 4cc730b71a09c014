#include "zqManipulator/simulation/records/ZqSpringProperties.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

ZqReal ZqSpringProperties::torque(const ZqIndividualManipulator& manipulator,
                                  const ZqPositionState& state) const
{
   const unsigned count = m_associatedJoints.size();
   if (count != m_weightingFactors.size() || count != m_springOffsets.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqManipulatorLink::springTorque:: spring data size mismatch.");
      return 0.0;
   }
   const auto& positions = state.jointPositions();
   ZqReal sum = 0.0;
   for (unsigned i = 0; i < count; ++i)
   {
      const ZqString& label = m_associatedJoints[i];
      const ZqManipulatorLink* link = manipulator.linkByIdentifier(label);
      if (link == nullptr || link->linkIndex() >= positions.size())
         Zq::Print::instance().write(Zq::Rejected, "ZqSpringProperties::torque()->bad label, %s\n",
                                     label.c_str());
      else
         sum += (positions[link->linkIndex()] - m_springOffsets[i]) * m_weightingFactors[i];
   }
   return sum * m_springConstant;
}

ZqReal ZqSpringProperties::torque(const ZqIndividualManipulator& manipulator,
                                  const ZqManipulatorActiveState& state) const
{
   return torque(manipulator, state.positionState());
}
