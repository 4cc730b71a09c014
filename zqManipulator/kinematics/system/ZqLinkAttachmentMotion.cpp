#include "zqManipulator/simulation/attachments/ZqLinkAttachment.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

namespace
{
void store(const ZqVector& linear, const ZqVector& angular, ZqReal* values)
{
   for (std::size_t i = 0; i < 3; ++i)
   {
      values[i] = linear[i];
      values[3 + i] = angular[i];
   }
}
} // namespace

void ZqLinkAttachment::calculatePlacement(const ZqIndividualManipulator& manipulator,
                                          ZqManipulatorActivePositionState& activePositionState,
                                          ZqCoordinateSystemTransformation& result) const
{
   if (const ZqManipulatorLink* link = manipulator.linkByIdentifier(linkId()))
      result = link->primaryFrameInSystem(activePositionState) * m_frame;
   else
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqAttachment::calculateFramePlacement():  bad label on link attachment: %s.\n",
         linkId().c_str());
}

void ZqLinkAttachment::calculateVelocity(const ZqIndividualManipulator& manipulator,
                                         ZqManipulatorActiveState& activeState,
                                         ZqXmlVectorBasicType<ZqReal>& values, ZqU32 start) const
{
   ZqVector v;
   ZqVector omega;
   if (const ZqManipulatorLink* link = manipulator.linkByIdentifier(linkId()))
   {
      const ZqGeneralMotion& V = link->primaryFrameVelocityInSystem(activeState);
      const auto& X_SP = link->primaryFrameInSystem(activeState.activePositionState());
      omega = V.angular();
      v = V.linear() + omega.cross(X_SP.orientation() * m_frame.translation());
   }
   const std::size_t first = start;
   values.resize(first + 6);
   store(v, omega, &values[first]);
}

void ZqLinkAttachment::calculateAcceleration(const ZqIndividualManipulator& manipulator,
                                             ZqManipulatorActiveState& activeState,
                                             ZqXmlVectorBasicType<ZqReal>& values,
                                             ZqU32 start) const
{
   ZqVector a;
   ZqVector alpha;
   if (const ZqManipulatorLink* link = manipulator.linkByIdentifier(linkId()))
   {
      // All in the DH frame, then turned into the system: the point at p goes round with the link.
      const ZqVector p = link->primaryFrame() * m_frame.translation();
      const ZqGeneralMotion& A = link->dhFrameAccelerationInLocal(activeState);
      const ZqVector& omega = link->dhFrameVelocityInLocal(activeState).angular();
      const ZqRotationMatrix R_SD(
         link->dhFrameInSystem(activeState.activePositionState()).orientation());
      a = R_SD * (A.linear() + A.angular().cross(p) + omega.cross(omega.cross(p)));
      alpha = R_SD * A.angular();
   }
   const std::size_t first = start;
   if (values.size() < first + 6)
      values.resize(first + 6);
   store(a, alpha, &values[first]);
}
