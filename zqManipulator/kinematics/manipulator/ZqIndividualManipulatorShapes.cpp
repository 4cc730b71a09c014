#include "zqManipulator/contact/records/ZqPointEvents.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <algorithm>
#include <memory>

/// References are bound when the maps are built, and may lead to links that are gone while they are not right.
/// That of the base of a manipulator which is a reference leads to the base of its model.
const ZqManipulatorLink& ZqManipulatorLink::referencedShapeOwner() const
{
   const ZqIndividualManipulator* manipulator = nullptr;
   const auto next = [&](const ZqManipulatorLink* link)
   {
      if (link->m_manipulator != manipulator && link->m_manipulator != nullptr)
         link->m_manipulator->bringMapsUpToDate();
      manipulator = link->m_manipulator;
      return link->m_referenceLink != nullptr ? link->m_referenceLink : link;
   };
   // One that goes along at half the pace is met again where the chain is a ring.
   const ZqManipulatorLink* owner = next(this);
   const ZqManipulatorLink* slow = this;
   for (bool isEven = false; next(owner) != owner; isEven = !isEven)
   {
      owner = next(owner);
      if (owner == slow)
         return *this;
      if (isEven)
         slow = next(slow);
   }
   return *owner;
}

bool ZqIndividualManipulator::aboutToModifyLink(const ZqString& label)
{
   const ZqManipulatorLink* modified = linkByIdentifier(label);
   if (modified == nullptr)
      return false;
   const ZqShapeContainer shapes = modified->shapeContainer();
   const auto giveOwnShapes = [&](ZqManipulatorLink& link)
   {
      const ZqLinkReferenceDescription& description = link.linkReferenceDescription();
      if (description.isShapeReferenced() && description.referencedLinkLabel() == label)
         link.setShapeContainer(shapes);
   };
   for (ZqManipulatorLink* link : linkPointerVector())
      giveOwnShapes(*link);
   giveOwnShapes(*m_concreteReference);
   return true;
}

bool ZqIndividualManipulator::replaceLinkShape(const ZqString& label, const ZqShape& shape,
                                               ZqU32 shapeIndex, bool replaceAll)
{
   if (!aboutToModifyLink(label))
      return false;
   ZqManipulatorLink& link = *linkByIdentifier(label);
   link.removeLinkReferences();
   link.replaceShape(shape, shapeIndex, replaceAll);
   return true;
}

bool ZqIndividualManipulator::setBoundingVolume(const ZqString& label, const ZqShape& volume,
                                                const ZqShape::Surfaces* surfaces)
{
   const ZqManipulatorLink* link = linkByIdentifier(label);
   if (link == nullptr || link->shape() == nullptr)
      return false;
   const std::unique_ptr<ZqShape> shape(link->shape()->clonedShape());
   const std::unique_ptr<ZqShape> coloured(volume.clonedShape());
   if (surfaces != nullptr)
      coloured->setSurfaces(*surfaces);
   else
      coloured->setSurfaces({{"0", ZqDataMap::boundingColor()}});
   shape->deleteAllBoundingVolumes();
   return shape->addBoundingVolume(*coloured) && replaceLinkShape(label, *shape, 0, true);
}

void ZqIndividualManipulator::addBoundingVolumes(ZqU32 type, bool onlyWhereNone)
{
   const auto addTo = [&](ZqManipulatorLink& link)
   {
      const auto isOfType = [&](const ZqShape* volume) { return volume->shapeType() == type; };
      const auto volumes = link.boundingVolumes();
      if (!link.linkReferenceDescription().isShapeReferenced() && link.shape() != nullptr &&
          !(onlyWhereNone && std::any_of(volumes.begin(), volumes.end(), isOfType)))
         link.addBoundingVolume(type);
   };
   for (ZqManipulatorLink* link : linkPointerVector())
      addTo(*link);
   addTo(*m_concreteReference);
}

void ZqIndividualManipulator::addBoundingBoxToLinks()
{
   addBoundingVolumes(ZqShape::BoxShape, true);
}

void ZqIndividualManipulator::addCapsuleBoundingVolumeToLinks()
{
   addBoundingVolumes(ZqShape::CapsuleShape, false);
}

void ZqIndividualManipulator::addSphereBoundingVolumeToLinks()
{
   addBoundingVolumes(ZqShape::SphereShape, false);
}

void ZqIndividualManipulator::addConvexHullToLinks()
{
   addBoundingVolumes(ZqShape::ConvexHullShape, false);
}

namespace
{
/// Copies a value of the first surface of a shape that has it.
template <class Value>
void takeOver(const ZqToken& name, const ZqShape& shape, ZqDataMap& data)
{
   const ZqString key(name.localName());
   Value value{};
   for (const auto& [surface, values] : shape.surfaces().mapContainer())
      if (values.lookup(key, value))
      {
         data.add(key, value);
         return;
      }
}
} // namespace

void ZqIndividualManipulator::simplifyLinkShapesWithBoundingVolumes(const ZqDataMap& data,
                                                                    bool withCoarsest)
{
   const auto simplify = [&](ZqManipulatorLink& link)
   {
      const auto volumes = link.boundingVolumes();
      if (link.linkReferenceDescription().isShapeReferenced() || volumes.empty())
         return;
      ZqDataMap values = data;
      takeOver<ZqString>(ZqFoundCommon::ZqSurfaceMaterialTypeToken, *link.shape(), values);
      takeOver<ZqReal>(ZqFoundCommon::ZqSurfaceTensionSpringConstantToken, *link.shape(), values);
      const std::unique_ptr<ZqShape> volume(
         (withCoarsest ? volumes.back() : volumes.front())->clonedShape());
      volume->deleteAllBoundingVolumes();
      volume->setSurfaces({{"Bounding", values}});
      link.setShape(*volume);
   };
   for (ZqManipulatorLink* link : linkPointerVector())
      simplify(*link);
   simplify(*m_concreteReference);
}

void ZqIndividualManipulator::simplifyLinkShapesWithCapsules(const ZqDataMap& data)
{
   deleteAllBoundingVolumes();
   addCapsuleBoundingVolumeToLinks();
   simplifyLinkShapesWithBoundingVolumes(data, true);
}

void ZqIndividualManipulator::simplifyLinkShapesWithConvexHulls(const ZqDataMap& data)
{
   deleteAllBoundingVolumes();
   addConvexHullToLinks();
   simplifyLinkShapesWithBoundingVolumes(data, true);
}

bool ZqIndividualManipulator::setSurfacesByIDs(ZqU32 linkIndex, ZqU32 shapeIndex,
                                               const ZqShape::Surfaces& surfaces)
{
   const ZqManipulatorLink* link = linkByIndex(linkIndex);
   return link != nullptr && const_cast<ZqManipulatorLink&>(link->shapeOwner())
                                .setSurfacesByShapeID(shapeIndex, surfaces);
}

void ZqIndividualManipulator::truncateValues(ZqReal tolerance)
{
   m_concreteReference->ZqManipulatorLink::truncateValues(tolerance);
   for (ZqManipulatorLink* link : linkPointerVector())
      link->truncateValues(tolerance);
}

bool ZqIndividualManipulator::setSurfaceProperties(const ZqString& surface, const ZqDataMap& data)
{
   if (!ZqManipulatorLink::setSurfaceProperties(surface, data))
      return false;
   m_surfaces.add(surface, data);
   return true;
}

const ZqDataMap* ZqIndividualManipulator::surfaceValues(const ZqString& surface) const
{
   const ZqDataMap* values = m_surfaces.lookupPointer(surface);
   return values != nullptr ? values : ZqManipulatorLink::surfaceValues(surface);
}

void ZqIndividualManipulator::intersectLineSegmentWithManipulator(
   const ZqLineSegment& segment, ZqManipulatorPointEvent& event,
   ZqManipulatorActivePositionState& activeState, ZqU32 level) const
{
   placeBase(activeState);
   ZqReal nearest = event.isImpacted() ? event.distance() : 1e300;
   const auto intersect = [&](const ZqManipulatorLink& link, ZqU32 index)
   {
      link.intersectLineSegment(segment, event, activeState, level);
      if (!event.isImpacted() || !(event.distance() < nearest))
         return;
      event.setLinkID(index);
      nearest = event.distance();
   };
   const LinkPointerVector& links = linkPointerVector();
   for (ZqU32 i = 0; i < links.size(); ++i)
      intersect(*links[i], i);
   intersect(*this, ZqBaseLinkIndex);
}
