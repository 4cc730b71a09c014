#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"

#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqConvexParts.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <algorithm>
#include <mutex>

template class ZqXmlClass<ZqShapeUnion, ZqBasePhysicalExtent>;

namespace
{
/// How many levels of shapes are within a shape: 0 where there is none.
unsigned levelsWithin(const ZqShape& shape)
{
   unsigned most = 0;
   if (const auto* whole = dynamic_cast<const ZqShapeUnion*>(&shape))
      for (ZqU32 i = 0; i < whole->ownMemberCount(); ++i)
         most = std::max(most, 1 + levelsWithin(whole->ownMember(i)));
   for (const ZqShape* volume = shape.coarserVolume();
        volume != nullptr && shape.volumeLevel() == 0; volume = volume->coarserVolume())
      most = std::max(most, 1 + levelsWithin(*volume));
   return most;
}
} // namespace

struct ZqShapeUnion::Parts
{
   std::once_flag isMade;
   std::shared_ptr<const ZqConvexParts> parts;
};

void ZqShapeUnion::collectMembers(const ZqShape& shape, std::vector<const ZqShape*>& members)
{
   if (const auto* whole = dynamic_cast<const ZqShapeUnion*>(&shape))
      for (ZqU32 i = 0; i < whole->ownMemberCount(); ++i)
         collectMembers(whole->ownMember(i), members);
   else if (!shape.isCompoundShape())
      members.push_back(&shape);
   else
      for (ZqU32 i = 0; i < shape.memberCount(); ++i)
      {
         ZqU32 counter = 0;
         members.push_back(shape.memberByIndex(i, counter));
      }
}

bool ZqShapeUnion::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   membersChanged();
   return succeeded;
}

bool ZqShapeUnion::addShapeToUnion(const ZqShape& shape)
{
   if (1 + levelsWithin(shape) > ZqShapeVector::deepest)
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqShapeUnion::addShapeToUnion(): shapes would stand within "
                                  "shapes deeper than %u levels.\n",
                                  ZqShapeVector::deepest);
      return false;
   }
   m_members.pushBack(shape);
   membersChanged();
   return true;
}

void ZqShapeUnion::membersChanged()
{
   m_parts = std::make_shared<Parts>();
}

ZqU32 ZqShapeUnion::memberCount() const
{
   ZqU32 count = 0;
   for (const ZqShape* shape : m_members.vectorContainer())
      count += shape->isCompoundShape() ? shape->memberCount() : 1;
   return count;
}

const ZqShape* ZqShapeUnion::memberByIndex(ZqU32 index, ZqU32& counter) const
{
   for (const ZqShape* shape : m_members.vectorContainer())
      if (const ZqShape* found = shape->memberByIndex(index, counter))
         return found;
   return nullptr;
}

ZqReal ZqShapeUnion::volume() const
{
   ZqReal sum = 0.0;
   for (const ZqShape* shape : m_members.vectorContainer())
      sum += shape->volume();
   return sum;
}

void ZqShapeUnion::capsuleApproximation(std::vector<ZqCapsule>& capsules,
                                        std::vector<ZqU32>& indices) const
{
   std::vector<const ZqShape*> members;
   collectMembers(*this, members);
   for (ZqU32 i = 0; i < members.size(); ++i)
   {
      const auto before = static_cast<std::ptrdiff_t>(indices.size());
      members[i]->capsuleApproximation(capsules, indices);
      std::fill(indices.begin() + before, indices.end(), i);
   }
}

const ZqConvexParts* ZqShapeUnion::parts() const
{
   static const auto& none = *new std::shared_ptr<const ZqConvexParts>(ZqConvexParts::ofShapes({}));
   if (m_parts == nullptr)
      return none.get();
   std::call_once(m_parts->isMade,
                  [this]
                  {
                     std::vector<const ZqShape*> shapes;
                     collectMembers(*this, shapes);
                     m_parts->parts = ZqConvexParts::ofShapes(shapes);
                  });
   return m_parts->parts.get();
}

ZqVector ZqShapeUnion::supportPoint(const ZqVector& direction) const
{
   return zqConvex::vector(parts()->support(zqConvex::vec3(direction)));
}

void ZqShapeUnion::removeRedundancy(ZqReal tolerance)
{
   for (ZqShape* shape : m_members.vectorContainer())
      if (auto* extent = dynamic_cast<ZqBasePhysicalExtent*>(shape))
         extent->removeRedundancy(tolerance);
   membersChanged();
}

void ZqShapeUnion::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   for (ZqShape* shape : m_members.vectorContainer())
      shape->transformBy(X);
   membersChanged();
}

void ZqShapeUnion::scaleSelfBy(ZqReal scale)
{
   for (ZqShape* shape : m_members.vectorContainer())
      shape->scaleBy(scale);
   membersChanged();
}

void ZqShapeUnion::truncateSelf(ZqReal tolerance)
{
   for (ZqShape* shape : m_members.vectorContainer())
      shape->truncateValues(tolerance);
   membersChanged();
}
