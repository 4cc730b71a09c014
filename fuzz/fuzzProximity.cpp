// Makes two convex shapes and a placement out of bytes, of sizes from nothing to kilometres, and asks for their
// distance, their overlap and their contact points, also with what an earlier placement left. Whatever the numbers are, the
// answers are finite and agree with each other.

#include "fuzzBytes.h"
#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"

using namespace zqConvex;
using zqFuzz::Bytes;
using zqFuzz::require;

namespace
{
Pose poseFrom(Bytes& bytes)
{
   const Vec3 z = unit(vec3(bytes.vector(10.0)));
   const Vec3 x = unit(vec3(bytes.vector(10.0)));
   const Vec3 along = x - z * dot(x, z);
   const Mat3 R = norm(along) > 1e-3 ? Mat3{cross(unit(along), z), unit(along), z} : frameAbout(z);
   return {{unit(R.c0), R.c1, R.c2}, vec3(bytes.vector(1e4))};
}

/// Perpendicular to an edge, as lozenges have them.
ZqVector acrossEdge(const ZqVector& edge, const ZqVector& v)
{
   const Vec3 e = unit(vec3(edge));
   return vector(vec3(v) - e * dot(e, vec3(v)));
}

ZqConvex shapeFrom(Bytes& bytes)
{
   const ZqVector place = bytes.vector(10.0);
   switch (bytes.byte() % 10)
   {
   case 0:
      return ZqConvex::sphere(place, bytes.size());
   case 1:
      return ZqConvex::capsule(place, bytes.vector(1e3), bytes.size());
   case 2:
   {
      const ZqReal x = bytes.size();
      const ZqReal y = bytes.size();
      const ZqReal z = bytes.size();
      return ZqConvex::box(ZqCoordinateSystemTransformation(place), {x, y, z}, bytes.size());
   }
   case 3:
   {
      const ZqReal low = bytes.size();
      return ZqConvex::frustum(place, bytes.vector(1e3), low, bytes.size());
   }
   case 4:
   {
      const ZqReal disc = bytes.size();
      return ZqConvex::disc(place, bytes.vector(1.0), disc, bytes.size());
   }
   case 5:
   {
      const ZqVector edge = bytes.vector(1e3);
      return ZqConvex::rectangle(place, edge, acrossEdge(edge, bytes.vector(1e3)), bytes.size());
   }
   case 6:
   {
      const ZqVector edge = bytes.vector(1e3);
      return ZqConvex::triangle(place, edge, bytes.vector(1e3), bytes.size());
   }
   case 7:
   {
      const ZqReal x = bytes.size();
      const ZqReal y = bytes.size();
      const ZqReal z = bytes.size();
      return ZqConvex::ellipsoid(ZqCoordinateSystemTransformation(place), {x, y, z});
   }
   case 8:
   {
      std::vector<Vec3> points;
      for (int count = bytes.byte() % 32; count >= 0; --count)
         points.push_back(vec3(bytes.vector(1e3)));
      return ZqConvex::polytope(ZqHull::of(points), place, bytes.size());
   }
   default:
      return ZqConvex::halfSpace(place, bytes.vector(1.0));
   }
}

bool isFinite(const ZqVector& v)
{
   return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z());
}
bool isUnit(const ZqVector& v)
{
   return std::abs(norm(vec3(v)) - 1.0) < 1e-9;
}

void check(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqPairCache* cache)
{
   ZqSeparation separation;
   distance(A, B, X, cache, separation);
   const ZqReal d = separation.distance;
   require(std::isfinite(d) && std::isfinite(separation.error) && isUnit(separation.normal));
   if (!A.isBounded() && !B.isBounded())
      return;
   require(isFinite(separation.point1) && isFinite(separation.point2));
   // The numbers are as good as the sizes and the way between them let them be.
   const ZqReal size = (A.isBounded() ? A.size + largest(A.frame.t) : 0.0) + A.radius + B.radius +
                       (B.isBounded() ? B.size + largest(B.frame.t) : 0.0) + largest(X.t) +
                       std::abs(d) + 1.0;
   const Vec3 line = X * vec3(separation.point2) - vec3(separation.point1);
   require(std::abs(dot(line, vec3(separation.normal)) - d) <= 1e-6 * size);

   const bool isNear = isWithin(A, B, X, 0.0, cache);
   require(isNear || d > -1e-6 * size);
   require(!isNear || d <= 1e-6 * size);

   ZqContactManifold contacts;
   const ZqReal margin = 0.01;
   const bool hasContacts = contact(A, B, X, margin, cache, contacts);
   require(std::isfinite(contacts.separation));
   require(hasContacts || d > margin - 1e-6 * size);
   require(!hasContacts || (d <= margin + 1e-6 * size && contacts.count > 0));
   for (int i = 0; hasContacts && i < contacts.count; ++i)
   {
      const ZqContactPoint& p = contacts.points[i];
      require(isFinite(p.point1) && isFinite(p.point2) && isUnit(p.normal));
      const ZqReal along = dot(vec3(p.normal), vec3(p.point2) - vec3(p.point1));
      require(std::abs(along - p.separation) <= 1e-6 * size);
      require(p.separation <= margin + 1e-6 * size);
      for (int j = 0; j < i; ++j)
         require(contacts.points[j].name != p.name);
   }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
   Bytes bytes(data, size);
   const ZqConvex A = shapeFrom(bytes);
   const ZqConvex B = shapeFrom(bytes);
   ZqPairCache cache;
   for (int k = 0; k < 3; ++k)
   {
      const Pose X = poseFrom(bytes);
      check(A, B, X, nullptr);
      check(A, B, X, &cache);
      check(B, A, inverse(X), nullptr);
   }
   return 0;
}
