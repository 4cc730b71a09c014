#include "zqManipulator/foundation/geometry/ZqShapeContainer.h"

#include "zqManipulator/foundation/geometry/ZqLineSegment.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"

#include <utility>

template class ZqXmlSingleVariableType<ZqShape, ZqXmlClonePointer<ZqShape>>;
template class ZqBaseExpressionTreeContainer<ZqShape>;

namespace
{
/// The unions within a union come before it.
void renewUnions(ZqShape& shape)
{
   auto* whole = dynamic_cast<ZqShapeUnion*>(&shape);
   if (whole == nullptr)
      return;
   for (ZqU32 i = 0; i < whole->ownMemberCount(); ++i)
      renewUnions(whole->ownMember(i));
   whole->membersChanged();
}
} // namespace

ZqXmlObject* ZqShapeContainer::clone() const
{
   return new ZqShapeContainer(*this);
}

ZqXmlObject* ZqShapeContainer::newObject() const
{
   return new ZqShapeContainer();
}

bool ZqShapeContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqShapeContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqShapeContainer::token() const
{
   return classToken();
}

void ZqShapeContainer::registerComponentCreators()
{
   ZqShapeVector::registerShapes(*this);
}

bool ZqShapeContainer::intersectSegment(const ZqLineSegment& segment, ZqVector& point,
                                        ZqU32& shapeIndex) const
{
   std::vector<const ZqShape*> shapes;
   collectShapes(shapes);
   bool isHit = false;
   ZqReal nearest = 0.0;
   for (std::size_t i = 0; i < shapes.size(); ++i)
   {
      ZqVector entry;
      if (!shapes[i]->intersectSegment(segment, entry))
         continue;
      const ZqReal distance = (entry - segment.endpoint0()).mag();
      if (isHit && !(distance < nearest))
         continue;
      isHit = true;
      nearest = distance;
      point = entry;
      shapeIndex = static_cast<ZqU32>(i);
   }
   return isHit;
}

void ZqShapeContainer::transformBy(const ZqCoordinateSystemTransformation& X)
{
   if (ZqShape* shape = topElement())
      shape->transformBy(X);
}

void ZqShapeContainer::scaleBy(ZqReal scale)
{
   if (ZqShape* shape = topElement())
      shape->scaleBy(scale);
}

void ZqShapeContainer::truncateValues(ZqReal tolerance)
{
   if (ZqShape* shape = topElement())
      shape->truncateValues(tolerance);
}

void ZqShapeContainer::collectShapes(std::vector<ZqShape*>& shapes)
{
   std::vector<const ZqShape*> found;
   std::as_const(*this).collectShapes(found);
   // Whoever may change the compound may change its members.
   for (const ZqShape* shape : found)
      shapes.push_back(const_cast<ZqShape*>(shape));
}

void ZqShapeContainer::collectShapes(std::vector<const ZqShape*>& shapes) const
{
   if (const ZqShape* shape = topElement())
      ZqShapeUnion::collectMembers(*shape, shapes);
}

void ZqShapeContainer::shapesChanged()
{
   if (ZqShape* shape = topElement())
      renewUnions(*shape);
}
