#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/simulation/records/ZqPropagationResultData.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

bool ZqComPolygonalStoppingCriterion::stop(ZqSystemActiveState& activeState,
                                           const ZqStatedSystem& statedSystem, const ZqReal&,
                                           ZqU32 manipulatorIndex,
                                           ZqPropagationResultData& results) const
{
   if (manipulatorIndex > statedSystem.numberOfManipulators())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqComPolygonalStoppingCriterion::stop()->bad index (%d).\n",
                                  static_cast<int>(manipulatorIndex));
      return false;
   }
   const ZqIndividualManipulator* manipulator = statedSystem.manipulatorByIndex(manipulatorIndex);
   auto& activeStates = activeState.manipulatorActiveStateVector();
   if (m_planarVertices.size() < 3 || manipulator == nullptr ||
       manipulatorIndex >= activeStates.size())
      return false;
   ZqManipulatorActiveState& active = activeStates[manipulatorIndex];

   ZqCoordinateSystemTransformation plane = m_planeFrame;
   if (!m_referenceLinkLabel.empty())
   {
      if (const ZqManipulatorLink* link = manipulator->linkByIdentifier(m_referenceLinkLabel))
         plane.setToProduct(link->primaryFrameInSystem(active.activePositionState()), m_planeFrame);
      else
      {
         Zq::Print::instance().write(Zq::Rejected,
                                     "ZqComPolygonalStoppingCriterion::stop()->could not find "
                                     "reference link with label %s.\n",
                                     m_referenceLinkLabel.c_str());
         Zq::Print::instance().write(Zq::Rejected, "%s",
                                     "Using system coordinates for reference.\n");
      }
   }

   const ZqStatedSystemStruct scene(&statedSystem, manipulatorIndex);
   ZqVector com;
   manipulator->crbi(active, &scene).getCenterOfMass(com);
   com = manipulator->dhFrameInSystem(active.activePositionState()) * com;

   // Along gravity to where z is zero in the plane.
   const ZqCoordinateSystemTransformation toPlane = plane.inverse();
   const ZqVector comInPlane = toPlane * com;
   const ZqVector up = toPlane.orientation() * statedSystem.environment().upGravityVector();
   const ZqVector point = comInPlane - up * (comInPlane.z() / ZqMath::nonZeroPos(up.z()));
   if (isInsidePolygon({point.x(), point.y()}))
      return false;
   results.registerGenericStoppingCriterion(m_descriptiveText);
   return true;
}
