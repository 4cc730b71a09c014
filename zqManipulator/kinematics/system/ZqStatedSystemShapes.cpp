#include "zqManipulator/contact/records/ZqPointEvents.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>
#include <memory>

ZqU32 ZqStatedSystem::addShapeAsManipulator(const ZqShape& shape,
                                            const ZqCoordinateSystemTransformation& frame,
                                            const ZqString& label,
                                            const ZqShape::Surfaces& surfaces)
{
   const ZqU32 index = numberOfManipulators();
   const std::unique_ptr<ZqShape> surfaced(shape.clonedShape());
   surfaced->setSurfaces(surfaces);
   ZqManipulatorLink body;
   body.setFromShape(*surfaced, 1.0);
   body.setLinkLabel(label);
   ZqIndividualManipulator manipulator;
   manipulator.setFromLink(body);
   ZqPositionState position;
   position.setCoordSysXForm(frame);
   addManipulator(manipulator, position, ZqVelocityState());
   return index;
}

bool ZqStatedSystem::replaceLinkShape(ZqU32 index, const ZqString& linkLabel, const ZqShape& shape,
                                      ZqU32 shapeIndex, bool replaceAll)
{
   return systemToModify().replaceLinkShape(index, linkLabel, shape, shapeIndex, replaceAll);
}

bool ZqStatedSystem::setSurfacesByKey(const ZqShapeStateCacheKey& key,
                                      const ZqShape::Surfaces& surfaces)
{
   return systemToModify().setSurfacesByKey(key, surfaces);
}

void ZqStatedSystem::truncateValues(ZqReal tolerance)
{
   m_systemContainer.element()->truncateValues(tolerance);
}

void ZqStatedSystem::addModifiedShapeKeyVec(const ZqShapeStateCacheKey& key)
{
   if (key != ZqShapeStateCacheKey::nullObject() &&
       std::find(m_modifiedShapeKeyVec.begin(), m_modifiedShapeKeyVec.end(), key) ==
          m_modifiedShapeKeyVec.end())
      m_modifiedShapeKeyVec.push_back(key);
}

const ZqShape* ZqStatedSystem::shapeByKey(const ZqShapeStateCacheKey& key) const
{
   const ZqIndividualManipulator* manipulator = manipulatorByIndex(key.manipID());
   const ZqManipulatorLink* link =
      manipulator != nullptr ? manipulator->linkByIndex(key.linkID()) : nullptr;
   return link != nullptr ? link->shapeByIndex(key.shapeID()) : nullptr;
}

void ZqStatedSystem::intersectLineSegment(const ZqLineSegment& segment, ZqSystemPointEvent& event,
                                          ZqSystemActiveState* activeState, ZqU32 level) const
{
   event.setIsImpacted(false);
   event.setDistance(ZqSystemPointEvent().distance());
   if (activeState == nullptr)
      return;
   auto& states = activeState->manipulatorActiveStateVector();
   ZqReal nearest = 1e300;
   for (ZqU32 i = 0; i < std::min(states.size(), numberOfManipulators()); ++i)
   {
      system().manipulators()[i].intersectLineSegmentWithManipulator(
         segment, event, states[i].activePositionState(), level);
      if (!event.isImpacted() || !(event.distance() < nearest))
         continue;
      event.setManipulatorID(i);
      nearest = event.distance();
   }
   if (event.isImpacted() && segment.length() > 0.0)
      event.setContactPoint(segment.endpoint0() + (segment.endpoint1() - segment.endpoint0()) *
                                                     (nearest / segment.length()));
   else if (event.isImpacted())
      event.setContactPoint(segment.endpoint0());
}

void ZqStatedSystem::changeAlpha(const ZqShapeStateCacheKey& key, const char* name, ZqReal alpha)
{
   const ZqShape* shape = shapeByKey(key);
   if (shape == nullptr)
      return;
   // The level of what is told and is no fault.
   constexpr unsigned told = Zq::Oddity + 1;
   const ZqString whole = "0";
   ZqShape::Surfaces surfaces = shape->surfaces();
   ZqDataMap values;
   surfaces.lookup(whole, values);
   ZqReal value = 0.0;
   values.lookup(name, value);
   Zq::Print::instance().write(told, "\n%s: %f\n", name, value);
   values.add(name, alpha);
   values.lookup(name, value);
   Zq::Print::instance().write(told, "\nNew Alpha: %f\n", value);
   surfaces.add(whole, values);
   setSurfacesByKey(key, surfaces);
}

void ZqStatedSystem::changeAmbientAlpha(const ZqShapeStateCacheKey& key, ZqReal alpha)
{
   changeAlpha(key, "zqAmbientAlpha", alpha);
}

void ZqStatedSystem::changeDiffuseAlpha(const ZqShapeStateCacheKey& key, ZqReal alpha)
{
   changeAlpha(key, "zqDiffuseAlpha", alpha);
}

void ZqStatedSystem::changeSpecularAlpha(const ZqShapeStateCacheKey& key, ZqReal alpha)
{
   changeAlpha(key, "zqSpecularAlpha", alpha);
}

void ZqStatedSystem::changeEmissionAlpha(const ZqShapeStateCacheKey& key, ZqReal alpha)
{
   changeAlpha(key, "zqEmissionAlpha", alpha);
}
