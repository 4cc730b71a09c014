#include "zqManipulator/dynamics/bodies/ZqVolumeIntegrals.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/geometry/ZqConvex.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"

#include <array>
#include <cmath>

using zqConvex::Vec3;
using zqInertiaKernels::Symmetric;
using zqVolume::Integrals;

namespace
{
constexpr ZqReal pi = ZqMath::pi;

/// a times u u^T.
Symmetric square(const ZqVector& u, ZqReal a)
{
   return {a * u.x() * u.x(), a * u.y() * u.y(), a * u.z() * u.z(),
           a * u.x() * u.y(), a * u.x() * u.z(), a * u.y() * u.z()};
}

void accumulate(Symmetric& sum, const Symmetric& S)
{
   sum.xx += S.xx;
   sum.yy += S.yy;
   sum.zz += S.zz;
   sum.xy += S.xy;
   sum.xz += S.xz;
   sum.yz += S.yz;
}

/// The integrals of 1, r and r r^T about an origin near by.
struct AboutOrigin
{
   ZqReal volume = 0.0;
   ZqVector first;
   Symmetric second{};

   /// A volume whose moments are about a point p.
   void add(ZqReal addedVolume, const ZqVector& f, const Symmetric& S, const ZqVector& p)
   {
      volume += addedVolume;
      first += f + p * addedVolume;
      accumulate(second, S);
      // p f^T + f p^T + V p p^T = p g^T + g p^T.
      const ZqVector g = f + p * (0.5 * addedVolume);
      accumulate(second, {2.0 * p.x() * g.x(), 2.0 * p.y() * g.y(), 2.0 * p.z() * g.z(),
                          p.x() * g.y() + p.y() * g.x(), p.x() * g.z() + p.z() * g.x(),
                          p.y() * g.z() + p.z() * g.y()});
   }
   /// The volume between the origin and a triangle, less than zero when it is seen from its back: by the
   /// integrals over a tetrahedron (Tonon 2004).
   void addTetrahedron(const ZqVector& a, const ZqVector& b, const ZqVector& c)
   {
      const ZqReal V = a.dot(b.cross(c)) / 6.0;
      const ZqVector sum = a + b + c;
      volume += V;
      first += sum * (0.25 * V);
      for (const ZqVector& corner : {a, b, c, sum})
         accumulate(second, square(corner, 0.05 * V));
   }

   operator Integrals() const
   {
      if (!(std::abs(volume) > 0.0))
         return {};
      // Faces that are turned inward give all with the other sign.
      const ZqReal sign = volume > 0.0 ? 1.0 : -1.0;
      const ZqVector center = first / volume;
      Symmetric S = square(center, -volume);
      accumulate(S, second);
      return {sign * volume,
              center,
              {sign * S.xx, sign * S.yy, sign * S.zz, sign * S.xy, sign * S.xz, sign * S.yz}};
   }
};

/// A box with half extents h, of which any may be zero, swept by a ball.
///
/// The body is cut where the core ends. In each piece some of the coordinates are those of the core, and the
/// others the core's end plus those of a ball of their dimension:
///
/// | dimension n                     | 0 | 1         | 2           | 3             |
/// |---------------------------------|---|-----------|-------------|---------------|
/// | K0, the integral of 1           | 1 | 2 r       | pi r^2      | 4/3 pi r^3    |
/// | K1, of the magnitude of one     | 0 | r^2       | 4/3 r^3     | pi r^4 / 2    |
/// | K2, of the square of one        | 0 | 2/3 r^3   | pi r^4 / 4  | 4/15 pi r^5   |
Integrals sweptBox(const Vec3& h, ZqReal r)
{
   const ZqReal r2 = r * r;
   const ZqReal r3 = r2 * r;
   const std::array<ZqReal, 4> K0{1.0, 2.0 * r, pi * r2, 4.0 / 3.0 * pi * r3};
   const std::array<ZqReal, 4> K1{0.0, r2, 4.0 / 3.0 * r3, 0.5 * pi * r2 * r2};
   const std::array<ZqReal, 4> K2{0.0, 2.0 / 3.0 * r3, 0.25 * pi * r2 * r2,
                                  4.0 / 15.0 * pi * r2 * r3};
   Integrals whole;
   std::array<ZqReal, 3> spread{};
   for (unsigned int piece = 0; piece < 8; ++piece)
   {
      const auto isRounded = [&](int axis) { return (piece >> axis & 1u) != 0; };
      const std::size_t n = std::size_t{isRounded(0)} + isRounded(1) + isRounded(2);
      ZqReal ofCore = 1.0;
      for (int axis = 0; axis < 3; ++axis)
         ofCore *= isRounded(axis) ? 1.0 : 2.0 * h[axis];
      whole.volume += ofCore * K0[n];
      for (int axis = 0; axis < 3; ++axis)
      {
         const ZqReal a = h[axis];
         spread[static_cast<std::size_t>(axis)] +=
            ofCore *
            (isRounded(axis) ? a * a * K0[n] + 2.0 * a * K1[n] + K2[n] : a * a / 3.0 * K0[n]);
      }
   }
   whole.spread = {spread[0], spread[1], spread[2], 0.0, 0.0, 0.0};
   return whole;
}

/// A frustum about z with radii m - d at z = -H and m + d at z = H.
Integrals frustum(ZqReal lowerRadius, ZqReal upperRadius, ZqReal H)
{
   const ZqReal m = 0.5 * (lowerRadius + upperRadius);
   const ZqReal d = 0.5 * (upperRadius - lowerRadius);
   const ZqReal m2 = m * m;
   const ZqReal d2 = d * d;
   AboutOrigin whole;
   whole.volume = 2.0 * pi * H * (m2 + d2 / 3.0);
   whole.first = ZqVector(0.0, 0.0, 4.0 / 3.0 * pi * H * H * m * d);
   const ZqReal across = 0.5 * pi * H * (m2 * m2 + 2.0 * m2 * d2 + 0.2 * d2 * d2);
   const ZqReal along = 2.0 * pi * H * H * H * (m2 / 3.0 + 0.2 * d2);
   whole.second = {across, across, along, 0.0, 0.0, 0.0};
   return whole;
}

/// A disc of radius b in the plane of x and y that is swept by a ball of radius a: circles of radius
/// b + s with s = sqrt(a^2 - z^2), whose powers are integrated along z.
Integrals sweptDisc(ZqReal b, ZqReal a)
{
   const ZqReal a2 = a * a;
   const ZqReal a3 = a2 * a;
   const ZqReal b2 = b * b;
   Integrals whole;
   whole.volume = pi * (2.0 * a * b2 + pi * a2 * b + 4.0 / 3.0 * a3);
   const ZqReal across = 0.25 * pi *
                         (2.0 * a * b2 * b2 + 2.0 * pi * a2 * b2 * b + 8.0 * a3 * b2 +
                          1.5 * pi * a2 * a2 * b + 16.0 / 15.0 * a3 * a2);
   const ZqReal along = pi * (2.0 / 3.0 * a3 * b2 + 0.25 * pi * a2 * a2 * b + 4.0 / 15.0 * a3 * a2);
   whole.spread = {across, across, along, 0.0, 0.0, 0.0};
   return whole;
}

/// The unit normal about which the corners turn counter-clockwise. It is perpendicular to the longest edge to
/// within rounding also where the triangle is a needle; there is none without area.
ZqVector normalOf(const std::array<ZqVector, 3>& corners)
{
   const auto edge = [&](std::size_t i) { return corners[(i + 1) % 3] - corners[i % 3]; };
   std::size_t longest = 0;
   for (std::size_t i = 1; i < 3; ++i)
      if (edge(i).magSquared() > edge(longest).magSquared())
         longest = i;
   const ZqVector along = edge(longest).unitVector();
   const ZqVector n = along.cross(edge(longest + 1)).unitVector();
   return (n - along * n.dot(along)).unitVector();
}

/// The half of a cylinder about an edge of length l that lies along the normal m, between both sides of the
/// plane with the normal n.
void addHalfCylinder(AboutOrigin& sum, const ZqVector& from, const ZqVector& to, const ZqVector& m,
                     const ZqVector& n, ZqReal r)
{
   const ZqReal l = (to - from).mag();
   const ZqReal V = 0.5 * pi * r * r * l;
   Symmetric S = square(to - from, V / 12.0);
   accumulate(S, square(m, 0.25 * V * r * r));
   accumulate(S, square(n, 0.25 * V * r * r));
   sum.add(V, m * (2.0 / 3.0 * r * r * r * l), S, (from + to) * 0.5);
}

/// The wedge of a ball about a corner between the half planes along the unit vectors m0 and m1 and n, where
/// the turn about n from m0 to m1 is by an angle from 0 to pi.
void addBallWedge(AboutOrigin& sum, const ZqVector& corner, const ZqVector& m0, const ZqVector& m1,
                  const ZqVector& n, ZqReal r)
{
   const ZqReal sine = n.dot(m0.cross(m1));
   const ZqReal cosine = m0.dot(m1);
   const ZqReal angle = std::atan2(std::max(sine, 0.0), cosine);
   // The middle direction, by the sum of both or across their difference, whichever is the longer.
   const ZqVector middle = cosine >= 0.0 ? (m0 + m1).unitVector() : (m1 - m0).cross(n).unitVector();
   const ZqReal r4 = r * r * r * r;
   const ZqReal fifth = 4.0 / 15.0 * r4 * r;
   Symmetric S = square(middle, fifth * 0.5 * (angle + sine));
   accumulate(S, square(n.cross(middle), fifth * 0.5 * (angle - sine)));
   accumulate(S, square(n, fifth * 0.5 * angle));
   sum.add(2.0 / 3.0 * angle * r * r * r, (m1 - m0).cross(n) * (0.125 * pi * r4), S, corner);
}

/// A triangle swept by a ball: a prism on the triangle, half a cylinder on each edge, and wedges at the
/// corners that together are a ball.
Integrals sweptTriangle(const std::array<ZqVector, 3>& corners, ZqReal r)
{
   const ZqVector n = normalOf(corners);
   AboutOrigin sum;

   const ZqReal area = 0.5 * (corners[1] - corners[0]).cross(corners[2] - corners[0]).mag();
   const ZqVector total = corners[0] + corners[1] + corners[2];
   const ZqReal V = 2.0 * r * area;
   Symmetric S = square(n, V * r * r / 3.0);
   for (const ZqVector& point : {corners[0], corners[1], corners[2], total})
      accumulate(S, square(point, V / 12.0));
   sum.volume += V;
   sum.first += total * (V / 3.0);
   accumulate(sum.second, S);

   std::array<ZqVector, 3> outward;
   for (std::size_t i = 0; i < 3; ++i)
   {
      const ZqVector& from = corners[i];
      const ZqVector& to = corners[(i + 1) % 3];
      outward[i] = (to - from).cross(n).unitVector();
      addHalfCylinder(sum, from, to, outward[i], n, r);
   }
   for (std::size_t i = 0; i < 3; ++i)
      addBallWedge(sum, corners[i], outward[(i + 2) % 3], outward[i], n, r);
   return sum;
}

Integrals polytope(const ZqHull& hull)
{
   AboutOrigin sum;
   for (const ZqHull::Face& face : hull.faces)
   {
      const auto corner = [&](int i)
      { return zqConvex::vector(hull.vertices[hull.corners[face.firstCorner + i]]); };
      for (int i = 1; i + 1 < face.cornerCount; ++i)
         sum.addTetrahedron(corner(0), corner(i), corner(i + 1));
   }
   return sum;
}

/// False for a core that has no closed form.
bool integrate(const ZqConvex& convex, Integrals& result)
{
   const Vec3& h = convex.h;
   const ZqReal r = convex.radius;
   switch (convex.core)
   {
   case ZqConvex::Core::Box:
      result = sweptBox(h, r);
      break;
   case ZqConvex::Core::Turned:
      if (r > 0.0 && (h.z > 0.0 || h.x != h.y))
         return false;
      result = h.z > 0.0 ? frustum(h.x, h.y, h.z) : sweptDisc(h.x, r);
      break;
   case ZqConvex::Core::Triangle:
      result = sweptTriangle(
         {vector(convex.corner[0]), vector(convex.corner[1]), vector(convex.corner[2])}, r);
      break;
   case ZqConvex::Core::Polytope:
      if (r > 0.0)
         return false;
      result = convex.hull->dimension < 3 ? Integrals() : polytope(*convex.hull);
      break;
   case ZqConvex::Core::Ellipsoid:
   {
      if (r > 0.0)
         return false;
      const ZqReal V = 4.0 / 3.0 * pi * h.x * h.y * h.z;
      result.volume = V;
      result.spread = {
         0.2 * V * h.x * h.x, 0.2 * V * h.y * h.y, 0.2 * V * h.z * h.z, 0.0, 0.0, 0.0};
      break;
   }
   case ZqConvex::Core::HalfSpace:
      return false;
   }
   const zqConvex::Mat3& R = convex.frame.R;
   result.place(ZqRotationMatrix::fromColumns(vector(R.c0), vector(R.c1), vector(R.c2)),
                vector(convex.frame.t));
   return true;
}

bool integrate(const ZqTriangleMesh& mesh, Integrals& result)
{
   if (!mesh.isClosed() || mesh.triangleCount() == 0)
      return false;
   ZqVector middle;
   for (ZqU32 i = 0; i < mesh.vertexCount(); ++i)
      middle += mesh.vertex(i) / mesh.vertexCount();
   AboutOrigin sum;
   for (ZqU32 i = 0; i < mesh.triangleCount(); ++i)
   {
      const auto& corners = mesh.triangle(i);
      sum.addTetrahedron(mesh.vertex(corners[0]) - middle, mesh.vertex(corners[1]) - middle,
                         mesh.vertex(corners[2]) - middle);
   }
   result = sum;
   result.center += middle;
   return true;
}
} // namespace

void Integrals::add(const Integrals& other) noexcept
{
   if (!(other.volume > 0.0))
      return;
   const ZqReal both = volume + other.volume;
   const ZqVector apart = other.center - center;
   accumulate(spread, other.spread);
   accumulate(spread, square(apart, volume * (other.volume / both)));
   center += apart * (other.volume / both);
   volume = both;
}

void Integrals::place(const ZqRotationMatrix& R, const ZqVector& t) noexcept
{
   center = R * center + t;
   spread = spread.rotated(R);
}

bool zqVolume::addShape(const ZqShape& shape, Integrals& sum)
{
   Integrals own;
   if (const ZqConvex* const convex = shape.convex())
   {
      if (!integrate(*convex, own))
         return false;
   }
   else if (shape.isCompoundShape())
   {
      const ZqU32 count = shape.memberCount();
      for (ZqU32 i = 0; i < count; ++i)
      {
         ZqU32 counter = 0;
         const ZqShape* const member = shape.memberByIndex(i, counter);
         if (!member || !addShape(*member, sum))
            return false;
      }
      return true;
   }
   else if (shape.shapeType() != ZqShape::TriangleMeshShape ||
            !integrate(static_cast<const ZqTriangleMesh&>(shape), own))
      return false;
   sum.add(own);
   return true;
}
