#pragma once

#include "zqManipulator/foundation/geometry/ZqConvexAlgebra.h"

#include <limits>
#include <utility>

namespace zqConvex
{
/// Up to four points w = a - b of the difference of two sets, with the weights of the point that is nearest the
/// origin.
struct Simplex
{
   Vec3 w[4], a[4], b[4];
   ZqReal weight[4];
   int count = 0;

   void set(int i, const Vec3& onA, const Vec3& onB) noexcept
   {
      a[i] = onA;
      b[i] = onB;
      w[i] = onA - onB;
   }
   bool holds(const Vec3& point) const noexcept
   {
      for (int i = 0; i < count; ++i)
         if (w[i] == point)
            return true;
      return false;
   }
};

/// The point of some feature of a simplex that is nearest the origin, and which of its points it weighs how.
struct NearestPoint
{
   ZqReal squared = std::numeric_limits<ZqReal>::infinity();
   Vec3 v{0.0, 0.0, 0.0};
   int count = 0;
   int index[3] = {0, 0, 0};
   ZqReal weight[3] = {0.0, 0.0, 0.0};

   bool holds(int i) const noexcept
   {
      for (int k = 0; k < count; ++k)
         if (index[k] == i)
            return true;
      return false;
   }
};

inline void offerPoint(const Vec3* w, int i, NearestPoint& best) noexcept
{
   const ZqReal squared = norm2(w[i]);
   if (!(squared < best.squared))
      return;
   best.squared = squared;
   best.v = w[i];
   best.count = 1;
   best.index[0] = i;
   best.weight[0] = 1.0;
}

inline void offerSegment(const Vec3* w, int i, int j, NearestPoint& best) noexcept
{
   const Vec3 e = w[j] - w[i];
   const ZqReal length2 = norm2(e);
   const ZqReal t = -dot(w[i], e);
   if (!(t > 0.0) || !(length2 > 0.0))
      return offerPoint(w, i, best);
   if (t >= length2)
      return offerPoint(w, j, best);
   // Measured from the nearer end, so that the foot keeps its digits.
   const ZqReal s = t / length2;
   const Vec3 v = s <= 0.5 ? w[i] + e * s : w[j] - e * (dot(w[j], e) / length2);
   const ZqReal squared = norm2(v);
   if (!(squared < best.squared))
      return;
   best.squared = squared;
   best.v = v;
   best.count = 2;
   best.index[0] = i;
   best.index[1] = j;
   best.weight[0] = 1.0 - s;
   best.weight[1] = s;
}

/// The areas, times a common factor, of the triangles that a point p in the plane of a triangle makes with its
/// edges, over its area: from their projections along the largest coordinate of the normal n.
inline Vec3 areasAbout(const Vec3& p, const Vec3& a, const Vec3& b, const Vec3& c,
                       const Vec3& n) noexcept
{
   const Vec3 u = a - p;
   const Vec3 v = b - p;
   const Vec3 w = c - p;
   const ZqReal x = std::abs(n.x);
   const ZqReal y = std::abs(n.y);
   const ZqReal z = std::abs(n.z);
   if (x >= y && x >= z)
      return Vec3{v.y * w.z - v.z * w.y, w.y * u.z - w.z * u.y, u.y * v.z - u.z * v.y} *
             (1.0 / n.x);
   if (y >= z)
      return Vec3{v.z * w.x - v.x * w.z, w.z * u.x - w.x * u.z, u.z * v.x - u.x * v.z} *
             (1.0 / n.y);
   return Vec3{v.x * w.y - v.y * w.x, w.x * u.y - w.y * u.x, u.x * v.y - u.y * v.x} * (1.0 / n.z);
}

inline void offerTriangle(const Vec3* w, int i, int j, int k, NearestPoint& best) noexcept
{
   const Vec3& a = w[i];
   const Vec3& b = w[j];
   const Vec3& c = w[k];
   const Vec3 n = cross(b - a, c - a);
   const ZqReal n2 = norm2(n);
   if (!(n2 > 0.0))
   {
      offerSegment(w, i, j, best);
      offerSegment(w, j, k, best);
      offerSegment(w, k, i, best);
      return;
   }
   const ZqReal s = (dot(a, n) + dot(b, n) + dot(c, n)) / (3.0 * n2);
   const Vec3 foot = n * s;
   Vec3 area = areasAbout(foot, a, b, c, n);
   if (!(area.x > 0.0 && area.y > 0.0 && area.z > 0.0))
   {
      // The foot of an outside point lies on an edge that it is beyond.
      if (!(area.x > 0.0))
         offerSegment(w, j, k, best);
      if (!(area.y > 0.0))
         offerSegment(w, k, i, best);
      if (!(area.z > 0.0))
         offerSegment(w, i, j, best);
      return;
   }
   area = area * (1.0 / (area.x + area.y + area.z));
   // The foot on the plane has the exact direction of the normal, however near the origin is; but the plane of a
   // needle is noise. Where the weighted points contradict it, they are right: they do lie in the simplex.
   const Vec3 weighted = a * area.x + b * area.y + c * area.z;
   const bool isNeedle =
      largest(weighted - foot) > 2e-15 * std::max({largest(a), largest(b), largest(c)});
   const ZqReal squared = isNeedle ? norm2(weighted) : s * s * n2;
   if (!(squared < best.squared))
      return;
   best.squared = squared;
   best.v = isNeedle ? weighted : foot;
   best.count = 3;
   best.index[0] = i;
   best.index[1] = j;
   best.index[2] = k;
   best.weight[0] = area.x;
   best.weight[1] = area.y;
   best.weight[2] = area.z;
}

/// True if the origin is inside. The signed volumes tell which faces it is beyond (Montanari, Petrinic and
/// Barbieri 2017).
inline bool offerTetrahedron(const Vec3* w, NearestPoint& best) noexcept
{
   const ZqReal a = dot(w[1], cross(w[2], w[3]));
   const ZqReal b = dot(w[0], cross(w[3], w[2]));
   const ZqReal c = dot(w[0], cross(w[1], w[3]));
   const ZqReal d = dot(w[0], cross(w[2], w[1]));
   const ZqReal volume = a + b + c + d;
   const ZqReal sign = volume < 0.0 ? -1.0 : 1.0;
   const bool isSolid =
      std::abs(volume) > 1e-14 * (std::abs(a) + std::abs(b) + std::abs(c) + std::abs(d));
   const bool insideA = isSolid && a * sign > 0.0;
   const bool insideB = isSolid && b * sign > 0.0;
   const bool insideC = isSolid && c * sign > 0.0;
   const bool insideD = isSolid && d * sign > 0.0;
   if (insideA && insideB && insideC && insideD)
      return true;
   if (!insideA)
      offerTriangle(w, 1, 2, 3, best);
   if (!insideB)
      offerTriangle(w, 0, 2, 3, best);
   if (!insideC)
      offerTriangle(w, 0, 1, 3, best);
   if (!insideD)
      offerTriangle(w, 0, 1, 2, best);
   return false;
}

/// The point of the simplex that is nearest the origin; true if the origin is inside a tetrahedron.
inline bool nearest(const Simplex& S, NearestPoint& best) noexcept
{
   switch (S.count)
   {
   case 1:
      offerPoint(S.w, 0, best);
      return false;
   case 2:
      offerSegment(S.w, 0, 1, best);
      return false;
   case 3:
      offerTriangle(S.w, 0, 1, 2, best);
      return false;
   default:
      return offerTetrahedron(S.w, best);
   }
}

/// Among the features that hold the newest point alone. Theory says that it belongs to the answer; where
/// rounding has dropped it, the iteration would turn in a circle.
inline void nearestWithLast(const Simplex& S, NearestPoint& best) noexcept
{
   const int last = S.count - 1;
   const auto offer = [&](const NearestPoint& other)
   {
      if (other.holds(last) && other.squared < best.squared)
         best = other;
   };
   offerPoint(S.w, last, best);
   for (int i = 0; i < last; ++i)
   {
      NearestPoint onSegment;
      offerSegment(S.w, i, last, onSegment);
      offer(onSegment);
      for (int j = i + 1; j < last; ++j)
      {
         NearestPoint onTriangle;
         offerTriangle(S.w, i, j, last, onTriangle);
         offer(onTriangle);
      }
   }
}

/// Keeps only the feature that holds the nearest point.
inline void reduce(Simplex& S, NearestPoint& point) noexcept
{
   // Sorted, so that points move only down.
   for (int i = 1; i < point.count; ++i)
      for (int j = i; j > 0 && point.index[j] < point.index[j - 1]; --j)
      {
         std::swap(point.index[j], point.index[j - 1]);
         std::swap(point.weight[j], point.weight[j - 1]);
      }
   for (int k = 0; k < point.count; ++k)
   {
      const int i = point.index[k];
      if (i != k)
      {
         S.w[k] = S.w[i];
         S.a[k] = S.a[i];
         S.b[k] = S.b[i];
      }
      S.weight[k] = point.weight[k];
   }
   S.count = point.count;
}
} // namespace zqConvex
