#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"

#include <utility>

namespace
{
/// The place in the manifold of the point that is `index`th when the deepest comes first.
int placeOf(int index, int deepest) noexcept
{
   return index == 0 ? deepest : index <= deepest ? index - 1 : index;
}
} // namespace

const ZqContactPoint& ZqShapeCollisionData::contactPoint(ZqU32 index) const noexcept
{
   return m_manifold.points[placeOf(static_cast<int>(std::min(index, lastPoint)), m_deepest)];
}

void ZqShapeCollisionData::setManifold(const ZqContactManifold& manifold,
                                       const zqConvex::Pose& X) noexcept
{
   m_manifold = manifold;
   m_deepest = 0;
   ZqReal weight = 0.0;
   ZqVector middle1;
   ZqVector middle2;
   for (int i = 0; i < manifold.count; ++i)
   {
      const ZqContactPoint& p = manifold.points[i];
      m_deepest = p.separation < manifold.points[m_deepest].separation ? i : m_deepest;
      const ZqReal depth = std::max(0.0, -p.separation);
      weight += depth;
      middle1 += p.point1 * depth;
      middle2 += p.point2 * depth;
   }
   const auto inPrimary2 = [&](const ZqVector& p)
   { return zqConvex::vector(inverseTimes(X, zqConvex::vec3(p))); };
   for (int i = 0; i < manifold.count; ++i)
   {
      const ZqContactPoint& p = manifold.points[placeOf(i, m_deepest)];
      m_sides[0].points[i] = p.point1;
      m_sides[1].points[i] = inPrimary2(p.point2);
   }
   if (manifold.count == 0)
      return;
   const bool isDeep = weight > 0.0;
   const ZqContactPoint& deepest = manifold.points[m_deepest];
   m_sides[0].contactPoint = isDeep ? middle1 * (1.0 / weight) : deepest.point1;
   m_sides[1].contactPoint = inPrimary2(isDeep ? middle2 * (1.0 / weight) : deepest.point2);
}

void ZqContactMemory::exchangeSides() noexcept
{
   std::swap(stickPoint[0], stickPoint[1]);
   std::swap(stickFrame[0], stickFrame[1]);
   std::swap(velocity[0], velocity[1]);
   std::swap(lastVelocity[0], lastVelocity[1]);
   for (int i = 0; i < gripCount; ++i)
   {
      grips[i].name = grips[i].name << 32 | grips[i].name >> 32;
      std::swap(grips[i].anchor1, grips[i].anchor2);
   }
}

void ZqShapeCollisionData::exchangeSides() noexcept
{
   std::swap(m_keys[0], m_keys[1]);
   std::swap(m_sides[0], m_sides[1]);
   m_memory.exchangeSides();
   m_response = {};
   m_collisionNormal = -m_collisionNormal;
   m_lineOfAction = -m_lineOfAction;
   m_manifold = {};
   m_deepest = 0;
   m_pairCache = {};
}

void ZqShapeCollisionData::forgetShapes() noexcept
{
   m_manifold = {};
   m_deepest = 0;
   m_pairCache = {};
   for (Side& side : m_sides)
   {
      side.link = nullptr;
      side.closestPointIndex = 0;
   }
}

void ZqShapeCollisionData::startAnew() noexcept
{
   ZqShapeCollisionData anew(m_keys[0], m_keys[1]);
   std::swap(anew.m_pairCache, m_pairCache);
   *this = std::move(anew);
}
