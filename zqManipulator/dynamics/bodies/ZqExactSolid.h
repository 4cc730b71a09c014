#pragma once

#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"

class ZqShape;

/// The body of uniform density that fills a shape: its volume, center and moments by exact integrals, in the
/// frame of the shape. For the masses of links, made once from their shapes:
///
/// ```cpp
/// link.setMassProperties(ZqExactSolid(shape).ofDensity(2700.0)); // aluminium
/// ```
///
/// | shape                     | integral                                                             |
/// |---------------------------|----------------------------------------------------------------------|
/// | convex, a core and a ball | in closed form, of the core's parts swept by those of the ball       |
/// | hull, mesh                | tetrahedra from a point inside to the faces (Tonon 2004)             |
/// | union                     | the sum over its members: where they overlap, the body counts twice  |
///
/// Nothing is answered for null, a half-space, a mesh that is not closed, a union with one of these, a class
/// of a user's own whose swept core is none of the library's, and a shape without volume. The faces of a
/// mesh may be turned inward, if all are.
class ZqExactSolid
{
public:
   explicit ZqExactSolid(const ZqShape* shape);
   explicit ZqExactSolid(const ZqShape& shape) : ZqExactSolid(&shape) {}

   /// Whether there is such a body. Without one, all values are zero, and the masses null objects.
   bool isSolid() const noexcept { return m_volume > 0.0; }
   /// In cubic metres.
   ZqReal volume() const noexcept { return m_volume; }
   /// The center of mass (m).
   const ZqVector& center() const noexcept { return m_center; }
   /// The second moment about the center of mass for each kilogram (m^2).
   const ZqSecondMoment& specificMoment() const noexcept { return m_specificMoment; }

   /// Of a mass in kg.
   ZqRigidBodyMassProperties ofMass(ZqReal mass) const;
   /// Of a density in kg/m^3.
   ZqRigidBodyMassProperties ofDensity(ZqReal density) const;

private:
   ZqReal m_volume = 0.0;
   ZqVector m_center;
   ZqSecondMoment m_specificMoment;
};
