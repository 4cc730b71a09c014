#include "zqManipulator/simulation/ZqLinkAttachment.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/ZqIndividualManipulator.h"

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
