#pragma once

#include "zqManipulator/foundation/geometry/ZqConvex.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"

/// A shape that has an extent: a furthest point in every direction.
class ZqBasePhysicalExtent : public ZqXmlAbstractClass<ZqBasePhysicalExtent, ZqShape>
{
public:
   using ZqXmlAbstractClass::ZqXmlAbstractClass;

   /// The point of the shape furthest along a direction, which need not be of unit length; some point of the
   /// surface for the zero vector.
   virtual ZqVector supportPoint(const ZqVector& direction) const = 0;
   /// Removes points that the shape does not need: those within a tolerance (m) of another one. Only hulls,
   /// meshes and unions have any.
   virtual void removeRedundancy(ZqReal tolerance);
};

/// A convex shape, which is asked for through its record: a core swept by a ball. A class derived from it
/// tells how the record is made from its members, and calls `convexChanges` whenever one changed.
///
/// Members are kept as they are set. What is no length (not finite, or below zero) counts as zero in the
/// record.
class ZqConvexShape : public ZqXmlAbstractClass<ZqConvexShape, ZqBasePhysicalExtent>
{
public:
   using ZqXmlAbstractClass::ZqXmlAbstractClass;
   /// After the members the sizes are looked at: see `repair`.
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqConvexShape& other) const
   {
      return ZqBasePhysicalExtent::operator==(other);
   }

   const ZqConvex* convex() const override { return &m_convex; }
   ZqVector supportPoint(const ZqVector& direction) const override;

protected:
   virtual ZqConvex makeConvex() const = 0;
   /// Makes members that no such shape has (a radius below zero, a normal of no length) ones that are, as
   /// little changed as may be, and tells which, as a text such as "its radius is below zero and counts as 0";
   /// empty when nothing was amiss.
   virtual ZqString repair() = 0;
   /// To be called after any member changed.
   void convexChanges() { m_convex = makeConvex(); }

private:
   ZqConvex m_convex; ///< follows from the members
};
