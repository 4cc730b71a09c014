// The solids of `ZqRigidBodyMassProperties` that are sums over cells.

#include "zqManipulator/dynamics/bodies/ZqUniformSolidFrames.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/geometry/ZqLozenge.h"
#include "zqManipulator/foundation/geometry/ZqTriangularLozenge.h"

namespace
{
/// An octant of a rectangle with half edges a and b along x and y that is swept by a ball.
struct LozengeOctant
{
   ZqReal a, b, r;
   ZqReal density;
   unsigned int divisions;

   /// Half the thickness along z.
   ZqReal halfThickness(ZqReal x, ZqReal y) const
   {
      const ZqReal u = x > a ? x - a : 0.0;
      const ZqReal v = y > b ? y - b : 0.0;
      return u * u + v * v <= r * r ? ZqMath::sqrt(r * r - u * u - v * v) : 0.0;
   }
   ZqReal momentAboutZ() const
   {
      const ZqReal dx = (a + r) / divisions;
      const ZqReal dy = (b + r) / divisions;
      ZqReal sum = 0.0;
      for (unsigned int i = 0; i < divisions; ++i)
         for (unsigned int j = 0; j < divisions; ++j)
         {
            const ZqReal x = i * dx;
            const ZqReal y = j * dy;
            sum += (x * x + y * y) * dx * density * dy * halfThickness(x, y);
         }
      return 8.0 * sum;
   }
   ZqReal momentAboutX() const
   {
      const ZqReal dy = (b + r) / divisions;
      const ZqReal dz = r / divisions;
      ZqReal sum = 0.0;
      for (unsigned int i = 0; i < divisions; ++i)
         for (unsigned int j = 0; j < divisions; ++j)
         {
            const ZqReal y = i * dy;
            const ZqReal z = j * dz;
            const ZqReal u = y > b ? y - b : 0.0;
            if (u * u + z * z <= r * r)
               sum +=
                  (y * y + z * z) * dy * density * dz * (ZqMath::sqrt(r * r - u * u - z * z) + a);
         }
      return 8.0 * sum;
   }
   LozengeOctant withAxesExchanged() const { return {b, a, r, density, divisions}; }
};

/// The number of points (x, y, k dz), k from 0 to `count` - 1, that are in a shape whose middle plane is that
/// of x and y: it is convex, so that these are the first ones.
unsigned int pointsInside(const ZqTriangularLozenge& lozenge, ZqReal x, ZqReal y, ZqReal dz,
                          unsigned int count)
{
   unsigned int inside = 0;
   unsigned int outside = count;
   while (inside < outside)
   {
      const unsigned int k = inside + (outside - inside) / 2;
      if (lozenge.checkIntersectWithPoint(ZqVector(x, y, k * dz)))
         inside = k + 1;
      else
         outside = k;
   }
   return inside;
}
} // namespace

ZqRigidBodyMassProperties ZqRigidBodyMassProperties::uniformSolidLozenge(ZqReal mass,
                                                                         const ZqLozenge& lozenge,
                                                                         unsigned int divisions)
{
   const ZqVector x = lozenge.edge0().unitVector();
   const ZqVector y = lozenge.edge1().unitVector();
   const LozengeOctant octant{0.5 * lozenge.edge0().mag(), 0.5 * lozenge.edge1().mag(),
                              lozenge.radius(), mass / lozenge.volume(), divisions};
   const ZqReal Ixx = octant.momentAboutX();
   const ZqReal Iyy = octant.withAxesExchanged().momentAboutX();
   const ZqReal Izz = octant.momentAboutZ();
   const ZqSecondMoment I(Ixx, Iyy, Izz, 0.0, 0.0, 0.0);
   ZqOrientation orientation;
   orientation.setFromDcmColumns(x, y, x.cross(y));
   return zqUniformSolids::placed({mass, ZqVector(), I}, orientation, lozenge.center());
}

ZqRigidBodyMassProperties ZqRigidBodyMassProperties::uniformSolidTriangularLozenge(
   ZqReal mass, const ZqTriangularLozenge& lozenge, unsigned int divisions)
{
   const ZqVector xAxis = lozenge.edge0().unitVector();
   const ZqVector zAxis = lozenge.normal();
   ZqOrientation orientation;
   orientation.setFromDcmColumns(xAxis, zAxis.cross(xAxis), zAxis);
   const ZqCoordinateSystemTransformation X(lozenge.origin(), orientation);

   // In the plane of x and y.
   ZqTriangularLozenge flat = lozenge;
   flat.transformBy(X.inverse());
   const ZqReal left = flat.supportPoint(ZqVector(-1.0, 0.0, 0.0)).x();
   const ZqReal right = flat.supportPoint(ZqVector(1.0, 0.0, 0.0)).x();
   const ZqReal lower = flat.supportPoint(ZqVector(0.0, -1.0, 0.0)).y();
   const ZqReal upper = flat.supportPoint(ZqVector(0.0, 1.0, 0.0)).y();
   const ZqReal dx = (right - left) / divisions;
   const ZqReal dy = (upper - lower) / divisions;
   const ZqReal dz = flat.radius() / divisions;
   // Twice, for the half below the plane.
   const ZqReal w = mass / lozenge.volume() * dx * dy * dz * 2.0;

   ZqReal hx = 0.0;
   ZqReal hy = 0.0;
   ZqReal Ixx = 0.0;
   ZqReal Iyy = 0.0;
   ZqReal Izz = 0.0;
   ZqReal Ixy = 0.0;
   for (unsigned int i = 0; i < divisions; ++i)
      for (unsigned int j = 0; j < divisions; ++j)
      {
         const ZqReal x = left + i * dx;
         const ZqReal y = lower + j * dy;
         const unsigned int inside = pointsInside(flat, x, y, dz, divisions);
         for (unsigned int k = 0; k < inside; ++k)
         {
            const ZqReal z = k * dz;
            hx += x * w;
            hy += y * w;
            Ixx += (y * y + z * z) * w;
            Iyy += (x * x + z * z) * w;
            Izz += (x * x + y * y) * w;
            Ixy -= x * y * w;
         }
      }
   const ZqSecondMoment I(Ixx, Iyy, Izz, Ixy, 0.0, 0.0);
   return zqUniformSolids::placed({mass, ZqVector(hx, hy, 0.0), I}, X.orientation(),
                                  X.translation());
}
