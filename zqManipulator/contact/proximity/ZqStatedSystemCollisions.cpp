#include "zqManipulator/contact/proximity/ZqManipulatorProximityTool.h"
#include "zqManipulator/contact/proximity/ZqNearLinks.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

// As `checkManipulatorCollision` of each manipulator in turn answers, with one look at the boxes
// for all.
bool ZqStatedSystem::checkForCollisions(ZqSystemActiveState& activeState, const ZqReal&,
                                        const ZqU32& fidelity, const ZqReal& tolerance,
                                        PropagationResults& results) const
{
   results.resizeToAtLeast(numberOfManipulators());
   for (ZqPropagationResultData& result : results)
   {
      result.setCollisionOccurred(false);
      result.setClosestDistance(1e300);
   }
   ZqManipulatorProximityTool tool;
   tool.setBoundingVolumeLevel(fidelity);
   ZqNearLinks near(tool, *this, activeState, tolerance, 0);
   bool isAnyHit = false;
   for (ZqU32 i = 0; i < numberOfManipulators(); ++i)
   {
      const ZqFirstHit hit = near.findFirst(i, tolerance);
      ZqPropagationResultData& result = results[i];
      if (hit.isHit)
      {
         isAnyHit = true;
         result.setCollisionOccurred(true);
         result.setCollidedManipulator(i);
         result.setCollidedLink(hit.link);
         result.setOtherCollidedLink(hit.other.linkIndex());
         result.setOtherCollidedManipulator(hit.other.manipulatorIndex());
      }
      result.setClosestManipulator(i);
      result.setClosestLink(hit.nearestLink);
      result.setOtherClosestLink(hit.nearestOther.linkIndex());
      result.setOtherClosestManipulator(hit.nearestOther.manipulatorIndex());
      result.setClosestDistance(hit.nearestDistance);
   }
   return isAnyHit;
}
