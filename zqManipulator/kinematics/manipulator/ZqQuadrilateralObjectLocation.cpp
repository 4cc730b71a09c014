#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqQuadrilateralObjects.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActivePositionState.h"

const ZqCoordinateSystemTransformation&
ZqBaseQuadrilateralObject::locationInSystem(ZqManipulatorActivePositionState& activeState) const
{
   const Member& expected = member();
   const auto reject = [&](const char* reason) -> const ZqCoordinateSystemTransformation&
   {
      Zq::Print::instance().write(Zq::Rejected, "%s::location - %s.\n", expected.name, reason);
      return m_locationInSystem;
   };
   const ZqManipulatorLink* const link =
      manipulator() != nullptr ? manipulator()->linkByIdentifier(linkIdentifier()) : nullptr;
   if (link == nullptr)
      return reject("invalid link identifier");
   const auto* joint =
      dynamic_cast<const ZqQuadrilateralTypeLink*>(link->linkKinematicsContainer().topElement());
   if (joint == nullptr)
      return reject("link kinematics must be of type ZqQuadrilateralTypeLink");
   if (joint->jointType() != expected.jointType)
      return reject(expected.jointType == ZqQuadrilateralTypeLink::FixedSlider
                       ? "incompatible joint type. FIXED_SLIDER expected"
                       : "incompatible joint type. PIVOTED_SLIDER expected");
   const auto& q = activeState.positionState().jointPositions();
   if (link->linkIndex() >= q.size())
      return reject("out of range index");
   manipulator()->placeBase(activeState);
   m_locationInSystem = link->parentLink() != nullptr
                           ? link->parentLink()->dhFrameInSystem(activeState)
                           : ZqCoordinateSystemTransformation();
   m_locationInSystem *= (joint->*expected.frame)(q[link->linkIndex()]);
   m_locationInSystem *= primaryFrame();
   return m_locationInSystem;
}
