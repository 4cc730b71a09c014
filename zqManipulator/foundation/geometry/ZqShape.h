#pragma once

#include "zqManipulator/foundation/geometry/ZqDataMap.h"
#include "zqManipulator/foundation/geometry/ZqShapeVector.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"

#include <atomic>
#include <vector>

class ZqAxisAlignedBoundingBox;
class ZqCapsule;
class ZqConvexParts;
class ZqLineSegment;
struct ZqConvex;

/// The shape of a body, in the frame of whoever holds it: for a link its primary frame. Lengths in metres.
///
/// A shape is the true shape of a body or one of the volumes around it. These form a stack: from the true
/// shape, of level 0, each coarser volume holds the one before and is one level higher. The true shape owns
/// the stack, and a copy of it has a stack of its own. A copy of a volume is a true shape that has none.
///
/// Distances, depths and contact points are computed from what `convex` answers: the shape as a core swept
/// by a ball. A shape that is not convex answers `parts` instead. A class of a user's own need answer no more
/// than that.
///
/// Queries of a const shape may be made by any number of threads.
class ZqShape : public ZqXmlAbstractClass<ZqShape, ZqBaseExpressionTreeElement>
{
public:
   /// Numbers of the shapes, which programs may keep.
   enum ZqShapeValues : ZqU32
   {
      UnknownShape = 0,
      ConvexHullShape = 1,
      HalfSpaceShape = 2,
      TriangleMeshShape = 3,
      SphereShape = 4,
      CapsuleShape = 5,
      EllipsoidShape = 6,
      UnionShape = 7,
      BoxShape = 8,
      LozengeShape = 9,
      CylinderShape = 11,
      ConeShape = 12,
      CircularLozengeShape = 13,
      TriangularLozengeShape = 14
   };
   static constexpr ZqU32 mostBoundingVolumes = 16;
   using Surfaces = ZqXmlMapType<ZqString, ZqDataMap>;

   template <class This = ZqShape>
   static constexpr auto components()
   {
      return std::tuple{
         ZqOptionalComponent(&This::m_identifier, &ZqGeom::ZqShapeIdentifierToken,
                             "name of the shape"),
         ZqOptionalComponent(&This::m_surfaces, &ZqGeom::ZqSurfacesToken,
                             "values of surfaces by name; \"0\" is all of the shape's surface, "
                             "another number that of a feature"),
         ZqOptionalComponent(&This::m_isContactForceFree, &ZqGeom::ZqIsContactForceFreeToken,
                             "whether contact with the shape makes no force"),
         ZqOptionalComponent(&This::m_volumes, &ZqGeom::ZqBoundingVolumesToken,
                             "volumes that hold the shape, from finer to coarser")};
   }
   /// After the shape its bounding volumes are looked at: volumes that have volumes of their own lose them,
   /// and only the first 16 stay, each with a remark.
   bool read(ZqXmlReader& reader) override;
   bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) override;

   ZqShape() = default;
   ZqShape(const ZqShape& other);
   ZqShape(ZqShape&& other) noexcept;
   /// A shape in a stack keeps its place in it and takes over no stack.
   ZqShape& operator=(const ZqShape& other);
   ZqShape& operator=(ZqShape&& other) noexcept;
   ~ZqShape() override = default;
   /// All that documents hold, the volumes around the shape among it.
   bool operator==(const ZqShape& other) const;

   /// \name Bounding volumes
   /// @{
   /// The next coarser volume around this one; null for the coarsest.
   virtual const ZqShape* coarserVolume() const;
   virtual ZqShape* coarserVolume();
   /// The next finer volume inside this one; null for the true shape.
   virtual const ZqShape* finerVolume() const;
   virtual ZqShape* finerVolume();
   /// 0 for the true shape, and one more for each coarser volume.
   virtual const ZqU32& volumeLevel() const { return m_volumeLevel; }
   /// @}
   /// Appends capsules that together hold the shape, and for each the index of the member that it holds,
   /// 0 for a shape without members. Nothing for a half-space.
   virtual void capsuleApproximation(std::vector<ZqCapsule>& capsules,
                                     std::vector<ZqU32>& indices) const;
   /// The name of the surface at a feature near a point of the shape's frame: that of the feature's number
   /// if the shape has surfaces of that name, else "0".
   virtual const ZqString& surfaceKey(ZqU32 index, const ZqVector& point) const;
   /// The values of the surface of a name. False, and null, when the shape has none.
   virtual bool surfaceData(const ZqString& key, const ZqDataMap*& data) const;
   /// The feature that the last computation of a contact left: a face, an edge or a vertex by number.
   virtual ZqU32 closestPointIndexOf() const
   {
      return m_closestPointIndex.load(std::memory_order_relaxed);
   }
   void setClosestPointIndex(ZqU32 index) const
   {
      m_closestPointIndex.store(index, std::memory_order_relaxed);
   }
   virtual const bool& isContactForceFree() const { return m_isContactForceFree; }
   virtual void setIsContactForceFree(bool isFree) { m_isContactForceFree = isFree; }

   /// \name Compounds
   /// @{
   virtual bool isCompoundShape() const { return false; }
   /// The number of members that are not compounds, those of nested compounds among them; 0 for a shape that
   /// is no compound.
   virtual ZqU32 memberCount() const { return 0; }
   /// The shape at `index` of those that are not compounds, counted on from `counter` through nested ones: a
   /// shape that is no compound counts as one. Null when there are fewer; `counter` then is how many it has
   /// seen.
   virtual const ZqShape* memberByIndex(ZqU32 index, ZqU32& counter) const;
   /// Whether a contact is computed for each pair of members, and not for the compound as one.
   virtual bool compoundTestFlag() const { return false; }
   /// @}

   /// One of `ZqShapeValues`, or a number of a user's own from 1000 on.
   virtual ZqU32 shapeType() const = 0;
   /// The shape as a core swept by a ball; null when it is not convex.
   virtual const ZqConvex* convex() const { return nullptr; }
   /// The convex parts of a shape that is not convex; null when it is.
   virtual const ZqConvexParts* parts() const { return nullptr; }
   /// In cubic metres; infinite for a half-space. Of a union the sum over its members.
   virtual ZqReal volume() const;
   /// The box of the shape, placed by X.
   virtual ZqAxisAlignedBoundingBox
   axisAlignedBoundingBox(const ZqCoordinateSystemTransformation& X) const;
   /// Where the segment first enters the shape, at its start if that is inside. False when it does not.
   virtual bool intersectSegment(const ZqLineSegment& segment, ZqVector& point) const;

   /// Each with the volumes around the shape.
   /// @{
   void transformBy(const ZqCoordinateSystemTransformation& X);
   /// By a length scale about the origin. One that is not above zero and finite is rejected, with a message.
   void scaleBy(ZqReal scale);
   /// Rounds lengths to multiples of the tolerance (m), and leaves directions and orientations as they are.
   /// Volumes around the shape then hold it but for about the tolerance.
   /// A tolerance that is not above zero changes nothing.
   void truncateValues(ZqReal tolerance);
   /// @}

   const ZqString& identifier() const { return m_identifier; }
   void setIdentifier(const ZqString& identifier) { m_identifier = identifier; }
   const Surfaces& surfaces() const { return m_surfaces; }
   Surfaces& surfaces() { return m_surfaces; }
   void setSurfaces(const Surfaces& surfaces) { m_surfaces = surfaces; }

   /// Puts a copy around the coarsest volume of the stack that this shape is in. The caller answers for its
   /// holding the shape; a stack of its own is left behind. False, with a message, when there are as many
   /// volumes as there may be.
   bool addBoundingVolume(const ZqShape& volume);
   /// The same with a volume of a type that is fitted closely around the true shape: box, capsule, sphere or
   /// convex hull. False for another type, for a half-space, and for a shape without points.
   bool addBoundingVolume(ZqU32 type);
   /// A capsule that is fitted closely around this shape; a single point for a half-space and a shape
   /// without points.
   ZqCapsule capsuleBoundingVolume() const;
   /// Removes the volumes of a type; all coarser ones move up. How many there were.
   ZqU32 deleteBoundingVolumes(ZqU32 type);
   void deleteAllBoundingVolumes();
   /// The number of volumes around the true shape.
   ZqU32 numBoundingVolumes() const { return trueShape().m_volumes.size(); }
   const ZqShape& coarsestVolume() const;
   const ZqShape& trueShape() const { return m_trueShape != nullptr ? *m_trueShape : *this; }
   ZqShape& trueShape() { return m_trueShape != nullptr ? *m_trueShape : *this; }

   ZqShape* clonedShape() const { return static_cast<ZqShape*>(clone()); }

protected:
   /// What `transformBy`, `scaleBy` and `truncateValues` do to this shape alone.
   /// @{
   virtual void transformSelfBy(const ZqCoordinateSystemTransformation& X) = 0;
   virtual void scaleSelfBy(ZqReal scale) = 0;
   virtual void truncateSelf(ZqReal tolerance) = 0;
   /// @}
   /// Tells of something amiss that a document says of this shape, and how it was mended.
   void remark(ZqXmlReader& reader, const ZqString& what) const;

private:
   /// Tells the volumes of the true shape, which this is, and of their levels.
   void linkVolumes() noexcept;

   ZqString m_identifier;
   Surfaces m_surfaces;
   ZqShapeVector m_volumes;        ///< of the true shape alone: the volumes from finer to coarser
   ZqShape* m_trueShape = nullptr; ///< of a volume: the shape that owns it
   ZqU32 m_volumeLevel = 0;
   bool m_isContactForceFree = false;
   mutable std::atomic<ZqU32> m_closestPointIndex = 0;
};
