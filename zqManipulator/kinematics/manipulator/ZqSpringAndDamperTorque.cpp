#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <algorithm>

namespace
{
/// Sum of w (x - x0) over the joints of the labels, where x is a joint's entry in the list. A label of
/// no joint is reported by the message, and adds nothing.
template <class Offset>
ZqReal weightedSum(const ZqXmlVectorType<ZqString>& labels,
                   const ZqXmlVectorBasicType<ZqReal>& weights, const Offset& offset,
                   const char* message, const ZqIndividualManipulator& manipulator,
                   const std::vector<ZqReal>& values)
{
   ZqReal sum = 0.0;
   for (unsigned i = 0; i < labels.size(); ++i)
   {
      const ZqManipulatorLink* link = manipulator.linkByIdentifier(labels[i]);
      if (link == nullptr || link->linkIndex() >= values.size())
         Zq::Print::instance().write(Zq::Rejected, message, labels[i].c_str());
      else
         sum += weights[i] * (values[link->linkIndex()] - offset(i));
   }
   return sum;
}
} // namespace

ZqReal ZqSpringProperties::torque(const ZqIndividualManipulator& manipulator,
                                  const ZqPositionState& state) const
{
   if (m_associatedJoints.size() != m_weightingFactors.size() ||
       m_associatedJoints.size() != m_springOffsets.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqManipulatorLink::springTorque:: spring data size mismatch.");
      return 0.0;
   }
   return m_springConstant * weightedSum(
                                m_associatedJoints, m_weightingFactors,
                                [this](unsigned i) { return m_springOffsets[i]; },
                                "ZqSpringProperties::torque()->bad label, %s\n", manipulator,
                                state.jointPositions());
}

ZqReal ZqSpringProperties::torque(const ZqIndividualManipulator& manipulator,
                                  const ZqManipulatorActiveState& state) const
{
   return torque(manipulator, state.positionState());
}

ZqReal ZqSpringProperties::heldEnergy(ZqU32 joint, const ZqIndividualManipulator& manipulator,
                                      const ZqManipulatorActiveState& state) const
{
   const auto& positions = state.positionState().jointPositions().values();
   if (m_associatedJoints.size() != m_weightingFactors.size() ||
       m_associatedJoints.size() != m_springOffsets.size() || joint >= positions.size())
      return 0.0;
   ZqReal sum = 0.0;
   for (ZqU32 i = 0; i < m_associatedJoints.size(); ++i)
   {
      const ZqManipulatorLink* link = manipulator.linkByIdentifier(m_associatedJoints[i]);
      if (link == nullptr || link->linkIndex() >= positions.size())
         continue;
      const ZqReal stretch = positions[link->linkIndex()] - m_springOffsets[i];
      sum += m_weightingFactors[i] *
             (link->linkIndex() == joint
                 ? 0.5 * stretch * stretch
                 : positions[joint] * (0.5 * positions[link->linkIndex()] - m_springOffsets[i]));
   }
   return m_springConstant * sum;
}

ZqReal ZqSpringProperties::circulatingPower(ZqU32 joint, const ZqIndividualManipulator& manipulator,
                                            const ZqManipulatorActiveState& state) const
{
   const auto& q = state.positionState().jointPositions().values();
   const auto& qd = state.velocityState().jointVelocities().values();
   const std::size_t count = std::min(q.size(), qd.size());
   if (m_associatedJoints.size() != m_weightingFactors.size() ||
       m_associatedJoints.size() != m_springOffsets.size() || joint >= count)
      return 0.0;
   ZqReal sum = 0.0;
   for (ZqU32 i = 0; i < m_associatedJoints.size(); ++i)
   {
      const ZqManipulatorLink* link = manipulator.linkByIdentifier(m_associatedJoints[i]);
      const ZqU32 other = link != nullptr ? link->linkIndex() : ZqNoLinkIndex;
      if (other < count && other != joint)
         sum += m_weightingFactors[i] * (q[other] * qd[joint] - q[joint] * qd[other]);
   }
   return 0.5 * m_springConstant * sum;
}

ZqReal ZqDamperProperties::torque(const ZqIndividualManipulator& manipulator,
                                  const ZqVelocityState& state) const
{
   if (m_associatedJoints.size() != m_weightingFactors.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqDamperProperties::torque:: damper data size mismatch.\n");
      return 0.0;
   }
   return m_damperConstant *
          weightedSum(
             m_associatedJoints, m_weightingFactors, [](unsigned) { return 0.0; },
             "ZqDamperProperties::torque()->bad label, %s\n", manipulator, state.jointVelocities());
}

ZqReal ZqDamperProperties::torque(const ZqIndividualManipulator& manipulator,
                                  const ZqManipulatorActiveState& state) const
{
   return torque(manipulator, state.velocityState());
}
