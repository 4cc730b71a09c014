#include "zqManipulator/contact/proximity/ZqManipulatorCollisionTool.h"

#include "zqManipulator/contact/proximity/ZqContactMass.h"
#include "zqManipulator/contact/proximity/ZqNearLinks.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <boost/current_function.hpp>

#include <algorithm>

namespace
{
bool hasOwnMembers(const ZqShape& shape)
{
   return shape.isCompoundShape() && shape.compoundTestFlag();
}

/// What stands in the active state hangs on others.
ZqReal massOf(const ZqManipulatorSystem& system, ZqSystemActiveState& activeState,
              const ZqLinkKey& key, const ZqManipulatorLink& link)
{
   const std::vector<ZqU32>& attached = activeState.attachmentMapState()
                                           .systemAttachmentState()
                                           .dependentManipulatorIndices()
                                           .values();
   const bool isAttached =
      std::find(attached.begin(), attached.end(), key.manipulatorIndex()) != attached.end();
   return zqContactMass(system.manipulators()[key.manipulatorIndex()], link, isAttached);
}

/// The shape that the link knows by the record's number tells the same feature as the record, also
/// when a volume around it was looked at.
void takeLink(ZqShapeCollisionData& data, const ZqShapeKey& key, const ZqManipulatorLink& link)
{
   data.setLinkPointer(key, &link);
   if (const ZqShape* shape = link.shapeByIndex(key.shapeIndex()))
      shape->setClosestPointIndex(data.closestPointIndex(key));
}
} // namespace

bool ZqManipulatorCollisionTool::computeLinkCollisionData(ZqU32 manipulator1, ZqU32 link1,
                                                          ZqU32 manipulator2, ZqU32 link2,
                                                          const ZqManipulatorSystem& system,
                                                          ZqSystemActiveState& activeState) const
{
   followModel(system, activeState);
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
   const ZqCoordinateSystemTransformation X = zqRelativeFrame(*a.frame, *b.frame);
   const auto [shape1, shape2] = zqNearVolumes(*a.shape, *b.shape, X, m_boundingVolumeLevel, 0.0);
   if (shape1 == nullptr)
   {
      cache.beginPair(key1, key2); // what was recorded of them is over
      return false;
   }
   ZqReal separation = 1e300;
   computeCollisionData(key1, key2, *shape1, *shape2, hasOwnMembers(*shape1),
                        hasOwnMembers(*shape2), X, cache, m_touching, separation);
   if (m_touching.empty())
      return false;
   const ZqReal mass1 = massOf(system, activeState, key1, *a.link);
   const ZqReal mass2 = massOf(system, activeState, key2, *b.link);
   for (const ZqShapeProximityKey& pair : m_touching)
      if (ZqShapeCollisionData* data = cache.getCollisionData(pair.first(), pair.second()))
      {
         takeLink(*data, pair.first(), *a.link);
         takeLink(*data, pair.second(), *b.link);
         data->setMasses(pair.first(), mass1, mass2);
         computeAndStoreCollisionInformation(pair.first(), pair.second(), *a.link, *b.link, state1,
                                             state2, *data);
         cache.setValid(data);
      }
   return false;
}

void ZqManipulatorCollisionTool::followModel(const ZqManipulatorSystem& system,
                                             ZqSystemActiveState& activeState) const
{
   ZqSystemShapeCollisionCache& cache = activeState.systemShapeCollisionCache();
   const std::uint64_t latest = ZqIndividualManipulator::latestVersion();
   if (cache.isUpTo(&system, system.numberOfManipulators(), latest))
      return;
   m_versions.clear();
   for (const ZqIndividualManipulator& manipulator : system.manipulators())
      m_versions.push_back(manipulator.shapesVersion());
   cache.follow(&system, latest, m_versions);
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
   const auto frame1 = [&]() -> const ZqCoordinateSystemTransformation&
   { return link1.primaryFrameInSystem(activeState1.activePositionState()); };
   const auto frame2 = [&]() -> const ZqCoordinateSystemTransformation&
   { return link2.primaryFrameInSystem(activeState2.activePositionState()); };
   // The record may have its sides the other way round.
   const bool isSwapped = !(data.key1() == key1);
   const ZqOrientation& axes = (isSwapped ? frame2() : frame1()).orientation();
   const ZqVector normal = axes * data.normalInPrimary1();
   data.setCollisionNormal(normal);

   if (data.numPenetrationPoints() > 0)
   {
      // The direction of one deepest point from the other, which shapes that only touch do not
      // have.
      const ZqVector& deepest = data.contactPoint(0).normal;
      const ZqVector line = deepest == data.normalInPrimary1() ? normal : axes * deepest;
      data.setLineOfAction(isSwapped ? -line : line);
   }
   else
   {
      Zq::Print::instance().write(Zq::Rejected, "%s: No penetration point\n",
                                  BOOST_CURRENT_FUNCTION);
      data.setLineOfAction(ZqVector().unitVector());
      const ZqVector middle(0.0, 1.0, 0.0);
      data.setCollisionPointPrimaryObject(key1, frame1().inverse() * middle);
      data.setCollisionPointPrimaryObject(key2, frame2().inverse() * middle);
   }
   ZqContactMemory& memory = data.memory();
   memory.lastVelocity = memory.velocity;
   memory.velocity[isSwapped] = link1.primaryFrameVelocityInSystem(activeState1);
   memory.velocity[!isSwapped] = link2.primaryFrameVelocityInSystem(activeState2);
}
