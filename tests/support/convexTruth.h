#pragma once

#include "support/randomValues.h"

#include "zqManipulator/foundation/geometry/ZqConvex.h"

#include <array>

// What convex sets are, told a second time: slowly, plainly and with more digits.
namespace zqTest
{
using Long = long double;
using Long3 = std::array<Long, 3>;

inline Long3 long3(const zqConvex::Vec3& v)
{
   return {v.x, v.y, v.z};
}
inline Long dotOf(const Long3& a, const Long3& b)
{
   return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline Long3 unitOf(const Long3& a)
{
   const Long length = std::sqrt(dotOf(a, a));
   return {a[0] / length, a[1] / length, a[2] / length};
}
inline Long3 turnedBack(const zqConvex::Mat3& R, const Long3& v)
{
   return {dotOf(long3(R.c0), v), dotOf(long3(R.c1), v), dotOf(long3(R.c2), v)};
}

/// How far a convex set reaches along a unit vector, both in the frame of its shape.
inline Long reachAlong(const ZqConvex& C, const Long3& u)
{
   const Long3 d = turnedBack(C.frame.R, u);
   const Long at = dotOf(long3(C.frame.t), u) + C.radius;
   const Long3 h = long3(C.h);
   const Long rho = std::sqrt(d[0] * d[0] + d[1] * d[1]);
   Long most = -std::numeric_limits<Long>::infinity();
   switch (C.core)
   {
   case ZqConvex::Core::Box:
      return at + h[0] * std::abs(d[0]) + h[1] * std::abs(d[1]) + h[2] * std::abs(d[2]);
   case ZqConvex::Core::Turned:
      return at + std::max(h[0] * rho - h[2] * d[2], h[1] * rho + h[2] * d[2]);
   case ZqConvex::Core::Triangle:
      for (const zqConvex::Vec3& p : C.corner)
         most = std::max(most, dotOf(long3(p), d));
      return at + most;
   case ZqConvex::Core::Polytope:
      for (const zqConvex::Vec3& p : C.hull->vertices)
         most = std::max(most, dotOf(long3(p), d));
      return at + most;
   case ZqConvex::Core::Ellipsoid:
      return at + std::sqrt(h[0] * h[0] * d[0] * d[0] + h[1] * h[1] * d[1] * d[1] +
                            h[2] * h[2] * d[2] * d[2]);
   case ZqConvex::Core::HalfSpace:
      return rho <= 1e-12L && d[2] > 0.0L ? at : -most;
   }
   return most;
}

/// How far the height of the difference of A and B, which X places in A's frame, is above the origin along n: minus the
/// gap between them along n.
inline Long heightAlong(const ZqConvex& A, const ZqConvex& B, const zqConvex::Pose& X,
                        const Long3& n)
{
   const Long3 back = turnedBack(X.R, n);
   return reachAlong(A, n) + reachAlong(B, {-back[0], -back[1], -back[2]}) - dotOf(long3(X.t), n);
}

/// The least height over directions: the best of many, each few of which go downhill by smaller and smaller steps.
inline Long leastHeight(const ZqConvex& A, const ZqConvex& B, const zqConvex::Pose& X,
                        RandomValues& random)
{
   Long least = std::numeric_limits<Long>::infinity();
   for (int start = 0; start < 6; ++start)
   {
      Long3 n{};
      Long height = std::numeric_limits<Long>::infinity();
      const auto offer = [&](const Long3& u)
      {
         const Long there = heightAlong(A, B, X, u);
         if (!(there < height))
            return false;
         height = there;
         n = u;
         return true;
      };
      for (int k = 0; k < 12; ++k)
         offer(long3(zqConvex::vec3(random.unitVector())));
      int misses = 0;
      for (Long step = 0.5L; step > 1e-9L; step *= misses > 6 ? 0.3L : 1.0L)
      {
         misses = misses > 6 ? 0 : misses;
         const ZqVector w = random.vector();
         const Long3 near{n[0] + step * w.x(), n[1] + step * w.y(), n[2] + step * w.z()};
         misses += !offer(unitOf(near));
      }
      least = std::min(least, height);
   }
   return least;
}

/// How far a point of the frame of its shape lies outside a core, by at most its size; below zero of points inside.
inline Long outsideOf(const ZqConvex& C, const ZqVector& point)
{
   const zqConvex::Vec3 p = zqConvex::inverseTimes(C.frame, zqConvex::vec3(point));
   const Long3 h = long3(C.h);
   const Long rho = std::hypot(static_cast<Long>(p.x), static_cast<Long>(p.y));
   Long most = -std::numeric_limits<Long>::infinity();
   switch (C.core)
   {
   case ZqConvex::Core::Box:
      return std::max({std::abs(p.x) - h[0], std::abs(p.y) - h[1], std::abs(p.z) - h[2]});
   case ZqConvex::Core::Turned:
   {
      const Long up = h[2] > 0.0L ? std::clamp(0.5L + 0.5L * p.z / h[2], 0.0L, 1.0L) : 1.0L;
      return std::max(std::abs(p.z) - h[2], rho - (h[0] + (h[1] - h[0]) * up));
   }
   case ZqConvex::Core::Triangle:
   case ZqConvex::Core::Polytope:
   {
      // No further along any of these than the core.
      std::vector<zqConvex::Vec3> directions;
      const zqConvex::Vec3* corners = C.corner;
      int count = 3;
      if (C.hull)
      {
         corners = C.hull->vertices.data();
         count = static_cast<int>(C.hull->vertices.size());
         for (const ZqHull::Face& face : C.hull->faces)
            directions.push_back(face.normal);
      }
      if (C.dimension == 2)
      {
         const zqConvex::Vec3 n =
            zqConvex::unit(C.hull ? C.hull->faces[0].normal
                                  : cross(corners[1] - corners[0], corners[2] - corners[0]));
         directions.push_back(n);
         directions.push_back(-n);
         for (int i = 0; i < count; ++i)
            for (int j = 0; j < count; ++j)
               if (const zqConvex::Vec3 e = cross(corners[j] - corners[i], n); norm2(e) > 0.0)
                  directions.push_back(zqConvex::unit(e));
      }
      for (const zqConvex::Vec3& d : directions)
      {
         Long reach = -std::numeric_limits<Long>::infinity();
         for (int i = 0; i < count; ++i)
            reach = std::max(reach, dotOf(long3(corners[i]), long3(d)));
         most = std::max(most, dotOf(long3(p), long3(d)) - reach);
      }
      return most;
   }
   case ZqConvex::Core::Ellipsoid:
      return (std::hypot(p.x / h[0], p.y / h[1], p.z / h[2]) - 1.0L) * std::min({h[0], h[1], h[2]});
   case ZqConvex::Core::HalfSpace:
      return p.z;
   }
   return most;
}
} // namespace zqTest
