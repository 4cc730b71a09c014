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

void ZqShapeCollisionData::takeManifold(const zqConvex::Pose& X) noexcept
{
   using zqConvex::vec3;
   m_deepest = 0;
   const int count = m_manifold.count;
   for (int i = 1; i < count; ++i)
      if (m_manifold.points[i].separation < m_manifold.points[m_deepest].separation)
         m_deepest = i;
   if (count == 0)
      return;
   const auto inPrimary2 = [&](const zqConvex::Vec3& p)
   { return zqConvex::vector(inverseTimes(X, p)); };
   const bool isDeep = m_manifold.points[m_deepest].separation < 0.0;
   ZqReal weight = 0.0;
   zqConvex::Vec3 middle1{0.0, 0.0, 0.0};
   zqConvex::Vec3 middle2{0.0, 0.0, 0.0};
   for (int i = 0; i < count; ++i)
   {
      const ZqContactPoint& p = m_manifold.points[placeOf(i, m_deepest)];
      m_points2[static_cast<std::size_t>(i)] = inPrimary2(vec3(p.point2));
      // Where none overlaps, the deepest counts alone.
      const ZqReal depth = isDeep ? std::max(0.0, -p.separation) : i == 0 ? 1.0 : 0.0;
      weight += depth;
      middle1 += vec3(p.point1) * depth;
      middle2 += vec3(m_points2[static_cast<std::size_t>(i)]) * depth;
   }
   m_sides[0].contactPoint = zqConvex::vector(middle1 * (1.0 / weight));
   m_sides[1].contactPoint = zqConvex::vector(middle2 * (1.0 / weight));
   const ZqContactPoint& deepest = m_manifold.points[m_deepest];
   const zqConvex::Vec3 middle = (vec3(deepest.point1) + vec3(deepest.point2)) * 0.5;
   m_sides[0].middle = zqConvex::vector(middle);
   m_sides[1].middle = inPrimary2(middle);
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

void ZqShapeCollisionData::setMasses(const ZqShapeKey& key, ZqReal mass, ZqReal otherMass) noexcept
{
   const int side = sideOf(key);
   if (side < 0 || (m_sides[side].mass == mass && m_sides[1 - side].mass == otherMass))
      return;
   m_sides[side].mass = mass;
   m_sides[1 - side].mass = otherMass;
   m_pairMass = zqPairMass(mass, otherMass);
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
   m_memory = {};
   m_response = {};
}
