#include "zqManipulator/contact/proximity/ZqManipulatorCollisionTool.h"

#include "zqManipulator/contact/proximity/ZqNearLinks.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <boost/current_function.hpp>

namespace
{
bool hasOwnMembers(const ZqShape& shape)
{
   return shape.isCompoundShape() && shape.compoundTestFlag();
}
} // namespace

bool ZqManipulatorCollisionTool::computeLinkCollisionData(ZqU32 manipulator1, ZqU32 link1,
                                                          ZqU32 manipulator2, ZqU32 link2,
                                                          const ZqManipulatorSystem& system,
                                                          ZqSystemActiveState& activeState) const
{
   constexpr const char* operation = "ZqManipulatorCollisionTool::checkLinkCollision";
   auto& activeStates = activeState.manipulatorActiveStateVector();
   // A manipulator without an active state is nowhere.
   const bool haveStates = std::max(manipulator1, manipulator2) < activeStates.size();
   if (!zqHasManipulators(system, manipulator1, haveStates ? manipulator2 : ZqNoLinkIndex,
                          BOOST_CURRENT_FUNCTION, operation))
      return false;
   ZqManipulatorActiveState& state1 = activeStates[manipulator1];
   ZqManipulatorActiveState& state2 = activeStates[manipulator2];
   const ZqLinkKey key1(manipulator1, link1);
   const ZqLinkKey key2(manipulator2, link2);
   ZqPlacedShape a, b;
   if (!zqPlaceBoth(system,
                    {key1, key2, state1.activePositionState(), state2.activePositionState()},
                    BOOST_CURRENT_FUNCTION, operation, a, b) ||
       a.shape == nullptr || b.shape == nullptr)
      return false;

   m_touching.clear();
   ZqSystemShapeCollisionCache& cache = activeState.systemShapeCollisionCache();
   const ZqCoordinateSystemTransformation X = zqRelativeFrame(a.frame, b.frame);
   const ZqShape& coarsest1 = zqCoarsestVolume(*a.shape);
   const ZqShape& coarsest2 = zqCoarsestVolume(*b.shape);
   ZqReal separation = 0.0;
   const bool hasCoarser = coarsest1.volumeLevel() > m_boundingVolumeLevel ||
                           coarsest2.volumeLevel() > m_boundingVolumeLevel;
   if (hasCoarser &&
       (!m_shapeProximityTool.distance(coarsest1, coarsest2, X, separation) || separation > 0.0))
   {
      cache.beginPair(key1, key2); // what was recorded of them is over
      return false;
   }
   const ZqShape& shape1 = zqVolumeDownTo(coarsest1, m_boundingVolumeLevel);
   const ZqShape& shape2 = zqVolumeDownTo(coarsest2, m_boundingVolumeLevel);
   separation = 1e300;
   computeCollisionData(key1, key2, shape1, shape2, hasOwnMembers(shape1), hasOwnMembers(shape2), X,
                        cache, m_touching, separation);
   for (const ZqShapeProximityKey& pair : m_touching)
      if (ZqShapeCollisionData* data = cache.getCollisionData(pair.first(), pair.second()))
      {
         data->setLinkPointer(pair.first(), a.link);
         data->setLinkPointer(pair.second(), b.link);
         computeAndStoreCollisionInformation(pair.first(), pair.second(), *a.link, *b.link, state1,
                                             state2, *data);
         cache.setValid(data);
      }
   return false;
}

ZqCoordinateSystemTransformation ZqManipulatorCollisionTool::computeShape2In1Transform(
   const ZqManipulatorLink& link1, const ZqManipulatorLink& link2,
   ZqManipulatorActivePositionState& state1, ZqManipulatorActivePositionState& state2) const
{
   return zqRelativeFrame(link1.primaryFrameInSystem(state1), link2.primaryFrameInSystem(state2));
}

void ZqManipulatorCollisionTool::computeAndStoreCollisionInformation(
   const ZqShapeKey& key1, const ZqShapeKey& key2, const ZqManipulatorLink& link1,
   const ZqManipulatorLink& link2, ZqManipulatorActiveState& activeState1,
   ZqManipulatorActiveState& activeState2, ZqShapeCollisionData& data) const
{
   const ZqCoordinateSystemTransformation frame1 =
      link1.primaryFrameInSystem(activeState1.activePositionState());
   const ZqCoordinateSystemTransformation frame2 =
      link2.primaryFrameInSystem(activeState2.activePositionState());
   // The record may have its sides the other way round.
   const bool isSwapped = !(data.key1() == key1);
   const ZqOrientation& axes = isSwapped ? frame2.orientation() : frame1.orientation();
   data.setCollisionNormal(axes * data.normalInPrimary1());

   ZqVector middle(0.0, 1.0, 0.0);
   if (data.numPenetrationPoints() > 0)
   {
      const ZqVector point1 = frame1 * data.penetrationPointPrimary(isSwapped ? 1 : 0, 0);
      const ZqVector point2 = frame2 * data.penetrationPointPrimary(isSwapped ? 0 : 1, 0);
      middle = 0.5 * (point1 + point2);
      // The direction of one deepest point from the other, which shapes that only touch do not have.
      const ZqVector normal = axes * data.contactPoint(0).normal;
      data.setLineOfAction(isSwapped ? -normal : normal);
   }
   else
   {
      Zq::Print::instance().write(Zq::Rejected, "%s: No penetration point\n",
                                  BOOST_CURRENT_FUNCTION);
      data.setLineOfAction(ZqVector().unitVector());
   }
   const struct
   {
      const ZqShapeKey& key;
      const ZqManipulatorLink& link;
      const ZqCoordinateSystemTransformation& frame;
      ZqManipulatorActiveState& state;
   } sides[]{{key1, link1, frame1, activeState1}, {key2, link2, frame2, activeState2}};
   for (const auto& side : sides)
      data.setCollisionPointPrimaryObject(side.key, side.frame.inverse() * middle);
   data.setLastVelocityPrimaryObject(key1, data.velocityPrimaryObject(key1));
   data.setLastVelocityPrimaryObject(key2, data.velocityPrimaryObject(key2));
   for (const auto& side : sides)
      data.setVelocityPrimaryObject(side.key, side.link.primaryFrameVelocityInSystem(side.state));
}
