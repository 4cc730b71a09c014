#pragma once

#include "zqManipulator/foundation/proximity/ZqContactMemory.h"
#include "zqManipulator/foundation/proximity/ZqShapeKeys.h"
#include "zqManipulator/foundation/proximity/ZqShapeProximity.h"

#include <array>
#include <limits>

class ZqManipulatorLink;

/// m1 m2 / (m1 + m2) (kg): the mass that two bodies have on each other. Zero for two that cannot move, to which no
/// damper makes a difference.
inline ZqReal zqPairMass(ZqReal mass1, ZqReal mass2) noexcept
{
   const ZqReal sum = 1.0 / mass1 + 1.0 / mass2;
   return sum > 0.0 ? 1.0 / sum : 0.0;
}

/// The record of a contact between two shapes, kept for as long as they touch.
///
/// The geometry (separation, normal, points) is computed by `ZqShapeCollisionTool`, which knows the
/// two shapes and how they stand to each other; what needs links (pointers, velocities, and what is
/// in the system's frame) is set by `ZqManipulatorCollisionTool`. Friction keeps its mode here and
/// where sticking began.
///
/// Sides are 0 and 1, or named by their key. A key of neither side reads side 0 and sets nothing.
class ZqShapeCollisionData
{
public:
   ZqShapeCollisionData() = default;
   ZqShapeCollisionData(const ZqShapeKey& key1, const ZqShapeKey& key2) : m_keys{key1, key2} {}

   /// \name The pair
   /// @{
   const ZqShapeKey& key1() const noexcept { return m_keys[0]; }
   const ZqShapeKey& key2() const noexcept { return m_keys[1]; }
   ZqU32 manipulatorOneID() const noexcept { return m_keys[0].manipulatorIndex(); }
   ZqU32 manipulatorTwoID() const noexcept { return m_keys[1].manipulatorIndex(); }
   ZqU32 linkOneID() const noexcept { return m_keys[0].linkIndex(); }
   ZqU32 linkTwoID() const noexcept { return m_keys[1].linkIndex(); }
   ZqU32 shapeOneID() const noexcept { return m_keys[0].shapeIndex(); }
   ZqU32 shapeTwoID() const noexcept { return m_keys[1].shapeIndex(); }
   /// Not owned.
   const ZqManipulatorLink* link1Pointer() const noexcept { return m_sides[0].link; }
   const ZqManipulatorLink* link2Pointer() const noexcept { return m_sides[1].link; }
   void setLinkPointer(const ZqShapeKey& key, const ZqManipulatorLink* link) noexcept
   {
      set(key, &Side::link, link);
   }
   /// With which the bodies meet (kg): infinite for one that cannot move.
   ZqReal mass1() const noexcept { return m_sides[0].mass; }
   ZqReal mass2() const noexcept { return m_sides[1].mass; }
   /// As `zqPairMass`.
   ZqReal pairMass() const noexcept { return m_pairMass; }
   /// Of the side of a key, and of the other one.
   void setMasses(const ZqShapeKey& key, ZqReal mass, ZqReal otherMass) noexcept;
   /// @}

   /// \name Where they touch
   /// @{
   /// Signed (m): minus the least translation that parts the shapes where they overlap.
   ZqReal separationDistance() const noexcept { return m_manifold.separation; }
   /// All points, those that do not overlap among them, in the frame of shape 1.
   const ZqContactManifold& manifold() const noexcept { return m_manifold; }
   /// Unit, from shape 1 to shape 2, in the frame of shape 1.
   const ZqVector& normalInPrimary1() const noexcept { return m_manifold.normal; }
   /// The same in the system.
   const ZqVector& collisionNormal() const noexcept { return m_collisionNormal; }
   void setCollisionNormal(const ZqVector& normal) noexcept { m_collisionNormal = normal; }
   /// Unit, through the deepest points, in the system.
   const ZqVector& lineOfAction() const noexcept { return m_lineOfAction; }
   void setLineOfAction(const ZqVector& line) noexcept { m_lineOfAction = line; }
   /// The middle of the points that overlap, weighted by how deep they are; on each shape, in its
   /// frame.
   const ZqVector& contactPointRel1() const noexcept { return m_sides[0].contactPoint; }
   const ZqVector& contactPointRel2() const noexcept { return m_sides[1].contactPoint; }
   /// Midway between the deepest points, in each frame.
   const ZqVector& collisionPointPrimaryObject(const ZqShapeKey& key) const noexcept
   {
      return m_sides[sideOf(key) == 1].middle;
   }
   const ZqVector& collisionPointPrimaryObject1() const noexcept { return m_sides[0].middle; }
   const ZqVector& collisionPointPrimaryObject2() const noexcept { return m_sides[1].middle; }
   void setCollisionPointPrimaryObject(const ZqShapeKey& key, const ZqVector& point) noexcept
   {
      set(key, &Side::middle, point);
   }
   /// The points of the manifold, on each shape and in its frame: the deepest first, then in their
   /// order.
   /// @{
   ZqU32 numPenetrationPoints() const noexcept { return static_cast<ZqU32>(m_manifold.count); }
   const ZqVector& penetrationPointPrimary(ZqU32 side, ZqU32 index) const noexcept
   {
      return (side & 1) == 0 ? contactPoint(index).point1 : m_points2[std::min(index, lastPoint)];
   }
   /// Null for an index out of range and a key of neither side.
   const ZqVector* getPenetrationPointShapePrimary(const ZqShapeKey& key,
                                                   ZqU32 index) const noexcept
   {
      const int side = sideOf(key);
      return side < 0 || index >= numPenetrationPoints()
                ? nullptr
                : &penetrationPointPrimary(static_cast<ZqU32>(side), index);
   }
   /// The place of such a point in the manifold, with its name and normal.
   const ZqContactPoint& contactPoint(ZqU32 index) const noexcept;
   /// @}
   /// Of a mesh the triangle of the deepest point; 0 of other shapes.
   ZqU32 closestPointIndex1() const noexcept { return m_sides[0].closestPointIndex; }
   ZqU32 closestPointIndex2() const noexcept { return m_sides[1].closestPointIndex; }
   ZqU32 closestPointIndex(const ZqShapeKey& key) const noexcept
   {
      return m_sides[sideOf(key) == 1].closestPointIndex;
   }
   void setClosestPointIndex(const ZqShapeKey& key, ZqU32 index) noexcept
   {
      set(key, &Side::closestPointIndex, index);
   }
   /// Takes over what was found. X places shape 2 in the frame of shape 1.
   void setManifold(const ZqContactManifold& manifold, const zqConvex::Pose& X) noexcept
   {
      m_manifold = manifold;
      takeManifold(X);
   }
   /// The same of what was written into the record's own manifold.
   void takeManifold(const zqConvex::Pose& X) noexcept;
   ZqContactManifold& manifold() noexcept { return m_manifold; }
   /// @}

   /// \name Motion of the primary frames, in the axes of the system
   /// @{
   const ZqGeneralMotion& velocityPrimaryObject(const ZqShapeKey& key) const noexcept
   {
      return m_memory.velocity[sideOf(key) == 1];
   }
   const ZqGeneralMotion& velocityPrimaryObject1() const noexcept { return m_memory.velocity[0]; }
   const ZqGeneralMotion& velocityPrimaryObject2() const noexcept { return m_memory.velocity[1]; }
   void setVelocityPrimaryObject(const ZqShapeKey& key, const ZqGeneralMotion& velocity) noexcept
   {
      setOf(key, m_memory.velocity, velocity);
   }
   const ZqGeneralMotion& lastVelocityPrimaryObject1() const noexcept
   {
      return m_memory.lastVelocity[0];
   }
   const ZqGeneralMotion& lastVelocityPrimaryObject2() const noexcept
   {
      return m_memory.lastVelocity[1];
   }
   void setLastVelocityPrimaryObject(const ZqShapeKey& key,
                                     const ZqGeneralMotion& velocity) noexcept
   {
      setOf(key, m_memory.lastVelocity, velocity);
   }
   /// @}

   /// \name Friction
   /// @{
   ZqFrictionMode frictionMode() const noexcept { return m_memory.frictionMode; }
   void setFrictionMode(ZqFrictionMode mode) noexcept { m_memory.frictionMode = mode; }
   /// Where sticking began: the point in each primary frame, and the frames in the system.
   const ZqVector& staticStartCollisionPointInPrimary1() const noexcept
   {
      return m_memory.stickPoint[0];
   }
   const ZqVector& staticStartCollisionPointInPrimary2() const noexcept
   {
      return m_memory.stickPoint[1];
   }
   void setStaticStartCollisionPointInPrimary1(const ZqVector& point) noexcept
   {
      m_memory.stickPoint[0] = point;
   }
   void setStaticStartCollisionPointInPrimary2(const ZqVector& point) noexcept
   {
      m_memory.stickPoint[1] = point;
   }
   const ZqCoordinateSystemTransformation& staticStartPrimaryFrame1InSystem() const noexcept
   {
      return m_memory.stickFrame[0];
   }
   const ZqCoordinateSystemTransformation& staticStartPrimaryFrame2InSystem() const noexcept
   {
      return m_memory.stickFrame[1];
   }
   void setStaticStartPrimaryFrame1InSystem(const ZqCoordinateSystemTransformation& frame) noexcept
   {
      m_memory.stickFrame[0] = frame;
   }
   void setStaticStartPrimaryFrame2InSystem(const ZqCoordinateSystemTransformation& frame) noexcept
   {
      m_memory.stickFrame[1] = frame;
   }
   /// @}

   /// \name From step to step
   /// @{
   /// All of what friction keeps, the velocities among it.
   const ZqContactMemory& memory() const noexcept { return m_memory; }
   ZqContactMemory& memory() noexcept { return m_memory; }
   /// @}
   /// \name What the bodies do to each other
   /// @{
   const ZqContactResponse& response() const noexcept { return m_response; }
   ZqContactResponse& response() noexcept { return m_response; }
   /// @}

   /// What the next query of the pair begins with.
   ZqShapePairCache& pairCache() noexcept { return m_pairCache; }
   const ZqShapePairCache& pairCache() const noexcept { return m_pairCache; }
   /// All that belongs to a side goes to the other one; the manifold, which has a side, is left
   /// behind.
   void exchangeSides() noexcept;
   /// What follows from the shapes and the links is left behind.
   void forgetShapes() noexcept;
   /// Back to a new contact: what was remembered and done is left behind; what was found stays.
   void startAnew() noexcept;

private:
   static constexpr ZqU32 lastPoint = ZqContactManifold::capacity - 1;
   struct Side
   {
      const ZqManipulatorLink* link = nullptr;
      ZqReal mass = std::numeric_limits<ZqReal>::infinity();
      ZqU32 closestPointIndex = 0;
      ZqVector contactPoint;
      ZqVector middle;
   };

   int sideOf(const ZqShapeKey& key) const noexcept
   {
      return key == m_keys[0] ? 0 : key == m_keys[1] ? 1 : -1;
   }
   template <class T>
   void set(const ZqShapeKey& key, T Side::*member, const T& value) noexcept
   {
      if (const int side = sideOf(key); side >= 0)
         m_sides[side].*member = value;
   }
   template <class T>
   void setOf(const ZqShapeKey& key, std::array<T, 2>& values, const T& value) noexcept
   {
      if (const int side = sideOf(key); side >= 0)
         values[side] = value;
   }

   std::array<ZqShapeKey, 2> m_keys;
   std::array<Side, 2> m_sides;
   ZqReal m_pairMass = 0.0; ///< kg
   ZqContactManifold m_manifold;
   std::array<ZqVector, ZqContactManifold::capacity> m_points2; ///< the deepest first
   int m_deepest = 0;
   ZqVector m_collisionNormal;
   ZqVector m_lineOfAction;
   ZqContactMemory m_memory;
   ZqContactResponse m_response;
   ZqShapePairCache m_pairCache;
};
