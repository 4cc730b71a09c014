// The solids of `ZqRigidBodyMassProperties` that are given by a formula, and those of shapes.

#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"
#include "zqManipulator/dynamics/bodies/ZqUniformSolidFrames.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqCircularLozenge.h"
#include "zqManipulator/foundation/geometry/ZqCone.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqLozenge.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/geometry/ZqTriangularLozenge.h"

#include <algorithm>

namespace
{
using Body = ZqRigidBodyMassProperties;
using zqUniformSolids::placed;
using zqUniformSolids::zOnto;

Body withDiagonal(ZqReal mass, ZqReal Ixx, ZqReal Iyy, ZqReal Izz, const ZqVector& firstMoment = {})
{
   return {mass, firstMoment, ZqSecondMoment(Ixx, Iyy, Izz, 0.0, 0.0, 0.0)};
}

Body ofSphere(ZqReal mass, const ZqSphere& sphere)
{
   return placed(Body::uniformSolidSphere(mass, sphere.radius()), {}, sphere.center());
}

Body ofBox(ZqReal mass, const ZqBox& box)
{
   const ZqVector size = box.extents() * 2.0;
   ZqOrientation orientation;
   orientation.setFromDcmColumns(box.axis(0), box.axis(1), box.axis(2));
   return placed(Body::uniformSolidAxisAlignedRectangularPrism(mass, size.x(), size.y(), size.z()),
                 orientation, box.center());
}

Body ofLozenge(ZqReal mass, const ZqLozenge& lozenge)
{
   return Body::uniformSolidLozenge(mass, lozenge, 20);
}

Body ofCylinder(ZqReal mass, const ZqCylinder& cylinder)
{
   const ZqLineSegment& axis = cylinder.lineSegment();
   return placed(Body::uniformSolidAxisAlignedCylinder(mass, cylinder.radius(), axis.length()),
                 zOnto(axis), axis.center());
}

Body ofCone(ZqReal mass, const ZqCone& cone)
{
   const ZqLineSegment& axis = cone.lineSegment();
   return placed(Body::uniformSolidAxisAlignedCone(mass, cone.firstRadius(), cone.secondRadius(),
                                                   axis.length()),
                 zOnto(axis), axis.endpoint0());
}

Body ofCircularLozenge(ZqReal mass, const ZqCircularLozenge& lozenge)
{
   return placed(
      Body::uniformSolidAxisAlignedCircularLozenge(mass, lozenge.radius(), lozenge.discRadius()),
      zOnto(lozenge.normal().unitVector()), lozenge.center());
}

Body ofTriangularLozenge(ZqReal mass, const ZqTriangularLozenge& lozenge)
{
   return Body::uniformSolidTriangularLozenge(mass, lozenge, 100);
}

/// Calls a function of one class of shapes for a shape that has the number of this class.
template <auto Function, class Shape>
Body ofShape(ZqReal mass, const ZqShape& shape)
{
   return Function(mass, static_cast<const Shape&>(shape));
}

struct Solid
{
   ZqShape::ZqShapeValues type;
   Body (*make)(ZqReal mass, const ZqShape& shape);
};
constexpr Solid solids[] = {
   {ZqShape::SphereShape, ofShape<ofSphere, ZqSphere>},
   {ZqShape::CapsuleShape, ofShape<Body::uniformSolidCapsule, ZqCapsule>},
   {ZqShape::BoxShape, ofShape<ofBox, ZqBox>},
   {ZqShape::LozengeShape, ofShape<ofLozenge, ZqLozenge>},
   {ZqShape::CylinderShape, ofShape<ofCylinder, ZqCylinder>},
   {ZqShape::ConeShape, ofShape<ofCone, ZqCone>},
   {ZqShape::CircularLozengeShape, ofShape<ofCircularLozenge, ZqCircularLozenge>},
   {ZqShape::TriangularLozengeShape, ofShape<ofTriangularLozenge, ZqTriangularLozenge>}};

const Solid* findSolid(const ZqShape* shape)
{
   if (!shape)
      return nullptr;
   const Solid* const found =
      std::find_if(std::begin(solids), std::end(solids),
                   [&](const Solid& solid) { return solid.type == shape->shapeType(); });
   return found == std::end(solids) ? nullptr : found;
}
} // namespace

Body Body::massPropertiesFromShape(ZqReal mass, const ZqShape* shape)
{
   const Solid* const solid = findSolid(shape);
   return solid ? solid->make(mass, *shape) : defaultObject();
}

bool Body::isShapeSupported(const ZqShape* shape)
{
   return findSolid(shape) != nullptr;
}

Body Body::uniformSolidSphere(ZqReal mass, ZqReal radius)
{
   const ZqReal I = 0.4 * mass * radius * radius;
   return withDiagonal(mass, I, I, I);
}

Body Body::uniformSphericalShell(ZqReal mass, ZqReal radius)
{
   const ZqReal I = 2.0 / 3.0 * mass * radius * radius;
   return withDiagonal(mass, I, I, I);
}

Body Body::uniformSolidHemisphere(ZqReal mass, ZqReal radius)
{
   const ZqReal I = 0.4 * mass * radius * radius;
   return withDiagonal(mass, I, I, I, ZqVector(0.0, 0.0, 0.375 * radius));
}

Body Body::uniformSolidAxisAlignedCylinder(ZqReal mass, ZqReal radius, ZqReal length)
{
   const ZqReal across = mass / 12.0 * (3.0 * radius * radius + length * length);
   return withDiagonal(mass, across, across, 0.5 * mass * radius * radius);
}

Body Body::uniformSolidAxisAlignedRectangularPrism(ZqReal mass, ZqReal x, ZqReal y, ZqReal z)
{
   const ZqReal twelfth = mass / 12.0;
   return withDiagonal(mass, twelfth * (z * z + y * y), twelfth * (z * z + x * x),
                       twelfth * (y * y + x * x));
}

Body Body::uniformSolidAxisAlignedEllipsoid(ZqReal mass, ZqReal a, ZqReal b, ZqReal c)
{
   const ZqReal fifth = 0.2 * mass;
   return withDiagonal(mass, fifth * (c * c + b * b), fifth * (c * c + a * a),
                       fifth * (b * b + a * a));
}

Body Body::uniformSolidAxisAlignedTorus(ZqReal mass, ZqReal majorRadius, ZqReal minorRadius)
{
   const ZqReal major = majorRadius * majorRadius;
   const ZqReal minor = minorRadius * minorRadius;
   const ZqReal across = mass / 8.0 * (5.0 * minor + 4.0 * major);
   return withDiagonal(mass, across, across, mass / 4.0 * (3.0 * minor + 4.0 * major));
}

Body Body::uniformSolidAxisAlignedCone(ZqReal mass, ZqReal radiusOne, ZqReal radiusTwo,
                                       ZqReal length)
{
   const ZqReal one = radiusOne * radiusOne;
   const ZqReal two = radiusTwo * radiusTwo;
   const ZqReal p = radiusOne * radiusTwo;
   const ZqReal s = one + two + p;
   const ZqReal t = p * one + one * one + two * one + p * two + two * two;
   const ZqReal z = mass * (2.0 * p + one + 3.0 * two) * length * 0.25 / s;
   const ZqReal across =
      mass * ((3.0 * p + one + 6.0 * two) * 0.1 * (length * length) + 0.15 * t) / s;
   return withDiagonal(mass, across, across, mass * 0.3 * t / s, ZqVector(0.0, 0.0, z));
}

Body Body::uniformSolidAxisAlignedCircularLozenge(ZqReal mass, ZqReal radius, ZqReal discRadius)
{
   constexpr ZqReal pi = ZqMath::pi;
   const ZqReal a = radius;
   const ZqReal b = discRadius;
   const ZqReal a2 = a * a;
   const ZqReal a3 = a2 * a;
   const ZqReal a4 = a2 * a2;
   const ZqReal a5 = a4 * a;
   const ZqReal b2 = b * b;
   const ZqReal b3 = b2 * b;
   const ZqReal b4 = b2 * b2;
   // The volume, divided by 2 pi.
   const ZqReal D = a * b2 + 2.0 / 3.0 * a3 + pi / 2.0 * a2 * b;
   const ZqReal Izz =
      mass * 0.5 *
      (4.0 * a3 * b2 + a * b4 + pi * a2 * b3 + 3.0 * pi / 4.0 * a4 * b + 8.0 / 15.0 * a5) / D;
   const ZqReal across = (a3 * b2 / 3.0 + 2.0 / 15.0 * a5 + pi / 8.0 * a4 * b) / D + 0.5 * Izz;
   return withDiagonal(mass, across, across, Izz);
}

Body Body::uniformSolidCapsule(ZqReal mass, const ZqCapsule& capsule)
{
   const ZqLineSegment& segment = capsule.lineSegment();
   const ZqReal r = capsule.radius();
   const ZqReal length = segment.length();
   if (length == 0.0)
      return placed(uniformSolidSphere(mass, r), {}, segment.center());

   const ZqReal cylinder = ZqMath::pi * r * r * length;
   const ZqReal cap = 2.0 * ZqMath::pi / 3.0 * r * r * r;
   const ZqReal total = std::max(cylinder + 2.0 * cap, ZqMath::smallestDivisor);
   const Body middle = uniformSolidAxisAlignedCylinder(mass * cylinder / total, r, length);
   Body upper = uniformSolidHemisphere(mass * cap / total, r);
   Body lower = upper;
   lower.transformBy(ZqOrientation::xRotation(ZqMath::pi));
   upper.transformBy(ZqVector(0.0, 0.0, 0.5 * length));
   lower.transformBy(ZqVector(0.0, 0.0, -0.5 * length));
   return placed(middle + upper + lower, zOnto(segment), segment.center());
}
