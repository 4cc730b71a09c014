#include "zqManipulator/contact/records/ZqPointEvents.h"
#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

#include <algorithm>
#include <cmath>
#include <memory>

const ZqCapsule ZqManipulatorLink::m_theDummyCapsuleBoundingVolume;

void ZqLinkShapes::number()
{
   m_byNumber.clear();
   m_container.collectShapes(m_byNumber);
   m_physicalCount = static_cast<ZqU32>(m_byNumber.size());
   if (ZqShape* top = m_container.topElement())
      for (ZqShape* volume = top->coarserVolume(); volume != nullptr;
           volume = volume->coarserVolume())
         m_byNumber.push_back(volume);
   m_count = static_cast<ZqU32>(m_byNumber.size());
}

bool ZqManipulatorLink::mapShapes()
{
   const bool hadNone = m_shapes.m_byNumber.empty();
   m_shapes.number();
   if (!hadNone || !m_shapes.m_byNumber.empty())
      shapesChange();
   return true;
}

// The shape of the link

void ZqManipulatorLink::takeShapes(ZqShapeContainer&& shapes)
{
   if (m_linkReferenceDescription.isShapeReferenced())
   {
      m_linkReferenceDescription.setIsShapeReferenced(false);
      m_referenceLink = this;
   }
   m_shapes.m_container = std::move(shapes);
   mapShapes();
}

void ZqManipulatorLink::setShapeContainer(const ZqShapeContainer& container)
{
   takeShapes(ZqShapeContainer(container));
}

void ZqManipulatorLink::setShape(const ZqShape& shape)
{
   ZqShapeContainer container;
   container.setTopElement(shape);
   takeShapes(std::move(container));
}

void ZqManipulatorLink::setFromShape(const ZqShape& shape, ZqReal mass)
{
   setShape(shape);
   setLinkKinematicsContainer(ZqLinkKinematicsContainer());
   setJointActuator(ZqJointActuator::defaultObject());
   setLinkLabel("shape");
   setMassProperties(ZqRigidBodyMassProperties::massPropertiesFromShape(
      mass, memberShapeContainer().topElement()));
}

void ZqManipulatorLink::setFromShapeContainer(const ZqShapeContainer& container)
{
   // A fixed mass, which stands for none that is known.
   if (container.topElement() != nullptr)
      setFromShape(*container.topElement(), 1.5);
}

namespace
{
/// A copy of a union with another shape in the place of a member that is no union. Volumes around the union
/// are left behind.
ZqShapeUnion withMember(const ZqShapeUnion& whole, ZqU32 index, const ZqShape& shape,
                        ZqU32& counter)
{
   ZqShapeUnion result;
   result.setIdentifier(whole.identifier());
   result.setSurfaces(whole.surfaces());
   result.setIsContactForceFree(whole.isContactForceFree());
   result.setCompoundTestFlag(whole.compoundTestFlag());
   for (ZqU32 i = 0; i < whole.ownMemberCount(); ++i)
   {
      const ZqShape& member = whole.ownMember(i);
      if (const auto* nested = dynamic_cast<const ZqShapeUnion*>(&member))
         result.addShapeToUnion(withMember(*nested, index, shape, counter));
      else
         result.addShapeToUnion(counter++ == index ? shape : member);
   }
   return result;
}
} // namespace

/// As `ZqIndividualManipulator::replaceLinkShape` tells, of the link's own shape.
void ZqManipulatorLink::replaceShape(const ZqShape& shape, ZqU32 shapeIndex, bool replaceAll)
{
   const ZqShape* top = m_shapes.m_container.topElement();
   const auto* whole = dynamic_cast<const ZqShapeUnion*>(top);
   if (whole != nullptr && !replaceAll && shapeIndex < m_shapes.m_physicalCount)
   {
      ZqU32 counter = 0;
      setShape(withMember(*whole, shapeIndex, shape, counter));
   }
   else if (top == nullptr || shapeIndex == 0)
      setShape(shape);
   else
   {
      const std::unique_ptr<ZqShape> result(top->clonedShape());
      result->deleteAllBoundingVolumes();
      for (ZqU32 i = m_shapes.m_physicalCount; i < std::min(shapeIndex, numberOfShapes()); ++i)
         result->addBoundingVolume(*m_shapes.m_byNumber[i]);
      result->addBoundingVolume(shape);
      setShape(*result);
   }
}

// Queries

const ZqBasePhysicalExtent* ZqManipulatorLink::physicalExtent() const
{
   return dynamic_cast<const ZqBasePhysicalExtent*>(shape());
}

ZqCapsule ZqManipulatorLink::capsuleBoundingVolume() const
{
   const ZqShape* top = shape();
   if (top == nullptr)
      return m_theDummyCapsuleBoundingVolume;
   for (const ZqShape* volume = top; volume != nullptr; volume = volume->coarserVolume())
      if (const auto* capsule = dynamic_cast<const ZqCapsule*>(volume))
         return {capsule->lineSegment(), capsule->radius()};
   return top->capsuleBoundingVolume();
}

const ZqShape* ZqManipulatorLink::shapeByIdentifier(const ZqString& identifier) const
{
   if (identifier.empty())
      return nullptr;
   const std::vector<ZqShape*>& shapes = shapeOwner().m_shapes.m_byNumber;
   const auto found =
      std::find_if(shapes.begin(), shapes.end(),
                   [&](const ZqShape* shape) { return shape->identifier() == identifier; });
   return found != shapes.end() ? *found : nullptr;
}

const ZqShape* ZqManipulatorLink::findShape(const ZqString& identifier) const
{
   const ZqShape* found = shapeByIdentifier(identifier);
   for (auto child = childLinks().begin(); found == nullptr && child != childLinks().end(); ++child)
      found = child->findShape(identifier);
   return found;
}

std::vector<const ZqShape*> ZqManipulatorLink::boundingVolumes() const
{
   const ZqLinkShapes& shapes = shapeOwner().m_shapes;
   return {shapes.m_byNumber.begin() + shapes.m_physicalCount, shapes.m_byNumber.end()};
}

void ZqManipulatorLink::axisAlignedBoundingBoxVectorInSystem(
   ZqManipulatorActivePositionState& activeState,
   ZqXmlVectorType<ZqAxisAlignedBoundingBox>& boxes) const
{
   const ZqLinkShapes& shapes = shapeOwner().m_shapes;
   if (shapes.m_physicalCount == 0)
      return;
   const ZqCoordinateSystemTransformation& frame = primaryFrameInSystem(activeState);
   for (ZqU32 i = 0; i < shapes.m_physicalCount; ++i)
      boxes.pushBack(shapes.m_byNumber[i]->axisAlignedBoundingBox(frame));
}

void ZqManipulatorLink::intersectLineSegment(const ZqLineSegment& segment, ZqLinkPointEvent& event,
                                             ZqManipulatorActivePositionState& activeState,
                                             ZqU32 level) const
{
   const ZqLinkShapes& shapes = shapeOwner().m_shapes;
   if (shapes.m_byNumber.empty())
      return;
   ZqLineSegment local = segment;
   local.transformBy(primaryFrameInSystem(activeState).inverse());
   const auto volumes = static_cast<ZqU32>(shapes.m_byNumber.size()) - shapes.m_physicalCount;
   ZqVector point;
   ZqU32 number = shapes.m_physicalCount + std::min(level, volumes) - 1;
   const bool isEntered = std::min(level, volumes) > 0
                             ? shapes.m_byNumber[number]->intersectSegment(local, point)
                             : shapes.m_container.intersectSegment(local, point, number);
   const ZqReal distance = (point - local.endpoint0()).mag();
   if (!isEntered || (event.isImpacted() && !(distance < event.distance())))
      return;
   event.setIsImpacted(true);
   event.setDistance(distance);
   event.setShapeID(number);
}

/// The distance of the shape from the origin of the DH frame, as
/// `upperBoundSubmanipulatorExtentDistance` counts it.
ZqReal ZqManipulatorLink::reachOfShape() const
{
   const ZqBasePhysicalExtent* extent = physicalExtent();
   if (extent == nullptr)
      return 0.0;
   const ZqCoordinateSystemTransformation& frame = primaryFrame();
   const ZqOrientation toPrimary = frame.orientation().inverse();
   const auto reachAlong = [&](const ZqVector& axis)
   {
      const ZqVector d = toPrimary * axis;
      return std::max((frame * extent->supportPoint(d)).magSquared(),
                      (frame * extent->supportPoint(-d)).magSquared());
   };
   const ZqReal reach =
      std::sqrt(reachAlong(ZqVector(1.0, 0.0, 0.0)) + reachAlong(ZqVector(0.0, 1.0, 0.0)) +
                reachAlong(ZqVector(0.0, 0.0, 1.0)));
   // A union may have a member without an end.
   return std::isfinite(reach) ? reach : 0.0;
}

// Bounding volumes

bool ZqManipulatorLink::addBoundingVolume(const ZqShape& volume)
{
   ZqShape* top = m_shapes.m_container.topElement();
   const bool isAdded = top != nullptr && top->addBoundingVolume(volume);
   mapShapes();
   return isAdded;
}

bool ZqManipulatorLink::addBoundingVolume(ZqU32 type)
{
   ZqShape* top = m_shapes.m_container.topElement();
   const bool isAdded = top != nullptr && top->addBoundingVolume(type);
   mapShapes();
   return isAdded;
}

ZqU32 ZqManipulatorLink::deleteBoundingVolumes(ZqU32 type)
{
   ZqU32 count = 0;
   if (ZqShape* top = m_shapes.m_container.topElement())
   {
      count = top->deleteBoundingVolumes(type);
      mapShapes();
   }
   for (ZqManipulatorLink& child : childLinks())
      count += child.deleteBoundingVolumes(type);
   return count;
}

void ZqManipulatorLink::deleteAllBoundingVolumes()
{
   if (ZqShape* top = m_shapes.m_container.topElement())
   {
      top->deleteAllBoundingVolumes();
      mapShapes();
   }
   for (ZqManipulatorLink& child : childLinks())
      child.deleteAllBoundingVolumes();
}

// Changes of the numbers in shapes

void ZqManipulatorLink::truncateValues(ZqReal tolerance)
{
   m_shapes.m_container.truncateValues(tolerance);
   mapShapes();
}

void ZqManipulatorLink::removePhysicalExtentRedundancy(ZqReal tolerance)
{
   if (auto* extent = dynamic_cast<ZqBasePhysicalExtent*>(m_shapes.m_container.topElement()))
   {
      extent->removeRedundancy(tolerance);
      mapShapes();
   }
   for (ZqManipulatorLink& child : childLinks())
      child.removePhysicalExtentRedundancy(tolerance);
}

void ZqManipulatorLink::unreferenceShapes()
{
   for (ZqManipulatorLink& child : m_childLinks)
      child.unreferenceShapes();
   mapShapes();
}

void ZqManipulatorLink::recursiveOptimizeForRendering()
{
   for (ZqManipulatorLink& child : m_childLinks)
      child.recursiveOptimizeForRendering();
}

void ZqManipulatorLink::estimateMassProperties()
{
   constexpr ZqReal density = 2700.0;
   if (shape() == nullptr)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqManipulatorLink::estimateMassProperties-->Shape container is empty\n");
      setMassProperties(ZqRigidBodyMassProperties::defaultObject());
      return;
   }
   const ZqCapsule capsule = capsuleBoundingVolume();
   setMassProperties(
      ZqRigidBodyMassProperties::uniformSolidCapsule(capsule.volume() * density, capsule));
}

// Surfaces

bool ZqManipulatorLink::setSurfacesByShapeID(ZqU32 shapeIndex, const ZqShape::Surfaces& surfaces)
{
   if (shapeIndex >= numberOfShapes())
      return false;
   m_shapes.m_byNumber[shapeIndex]->setSurfaces(surfaces);
   return true;
}

bool ZqManipulatorLink::setSurfaces(const ZqString& shapeIdentifier,
                                    const ZqShape::Surfaces& surfaces)
{
   const std::vector<ZqShape*>& shapes = m_shapes.m_byNumber;
   const auto found = std::find(shapes.begin(), shapes.end(), shapeByIdentifier(shapeIdentifier));
   if (found == shapes.end())
      return false;
   (*found)->setSurfaces(surfaces);
   return true;
}

bool ZqManipulatorLink::setShapeSurfaceProperty(const ZqString& linkLabel, ZqU32 shapeIndex,
                                                const ZqShape::Surfaces& surfaces)
{
   if (this->linkLabel() == linkLabel)
      return setSurfacesByShapeID(shapeIndex, surfaces);
   return std::any_of(childLinks().begin(), childLinks().end(),
                      [&](ZqManipulatorLink& child)
                      { return child.setShapeSurfaceProperty(linkLabel, shapeIndex, surfaces); });
}

bool ZqManipulatorLink::setShapeIdentifier(ZqU32 shapeIndex, const ZqString& identifier)
{
   if (shapeIndex >= numberOfShapes())
      return false;
   m_shapes.m_byNumber[shapeIndex]->setIdentifier(identifier);
   return true;
}

bool ZqManipulatorLink::setSurfaceProperties(const ZqString& surface, const ZqDataMap& data)
{
   bool any = false;
   const auto setIn = [&](ZqShape& shape)
   {
      ZqShape::Surfaces& surfaces = shape.surfaces();
      if (surfaces.lookupPointer(surface) == nullptr)
         return;
      surfaces.add(surface, data);
      any = true;
   };
   // A union has surfaces of its own, but no number.
   ZqShape* top = m_shapes.m_container.topElement();
   if (top != nullptr && top->isCompoundShape())
      setIn(*top);
   for (ZqShape* shape : m_shapes.m_byNumber)
      setIn(*shape);
   for (ZqManipulatorLink& child : childLinks())
      any = child.setSurfaceProperties(surface, data) || any;
   return any;
}

bool ZqManipulatorLink::lookup(const ZqString& surface, ZqDataMap& data) const
{
   const ZqDataMap* found = surfaceValues(surface);
   if (found != nullptr)
      data = *found;
   return found != nullptr;
}

const ZqDataMap* ZqManipulatorLink::surfaceValues(const ZqString& surface) const
{
   const ZqDataMap* found = nullptr;
   const auto isFoundIn = [&](const ZqShape* shape)
   { return (found = shape->surfaces().lookupPointer(surface)) != nullptr; };
   const ZqShape* top = shape();
   const std::vector<ZqShape*>& shapes = shapeOwner().m_shapes.m_byNumber;
   if ((top != nullptr && isFoundIn(top)) || std::any_of(shapes.begin(), shapes.end(), isFoundIn))
      return found;
   for (const ZqManipulatorLink& child : childLinks())
      if ((found = child.surfaceValues(surface)) != nullptr)
         return found;
   return nullptr;
}

ZqReal ZqManipulatorLink::lookupCollisionAvoidanceMetric() const
{
   ZqReal metric = 1.0;
   const ZqShape* top = shape();
   const ZqDataMap* data = nullptr;
   if (top != nullptr && top->surfaceData("0", data))
      data->lookup("collisionAvoidanceMetric", metric);
   return metric;
}
