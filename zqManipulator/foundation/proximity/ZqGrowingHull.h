#pragma once

#include "zqManipulator/foundation/proximity/ZqSimplex.h"

namespace zqConvex
{
/// A convex hull of triangles that grows point by point, without allocation: the expanding polytope. Faces
/// keep unit outward normals and signed offsets, so that the origin may lie outside while it grows.
template <int MaxVertices>
struct GrowingHull
{
   static constexpr int maxFaces = 4 * MaxVertices;
   static constexpr ZqReal gone = std::numeric_limits<ZqReal>::infinity();
   struct Face
   {
      Vec3 normal;
      int corner[3]; ///< counter-clockwise seen from outside
      int next[3];   ///< face across the edge from corner i to corner i + 1
      int mark;
   };
   Vec3 vertex[MaxVertices];
   Vec3 onA[MaxVertices]; ///< where the vertices come from
   Face face[maxFaces];
   ZqReal offset[maxFaces]; ///< normal . corner; `gone` of faces that were left inside
   int vertexCount = 0, faceCount = 0, aliveCount = 0;
   int lastMark = 0;
   ZqReal tolerance = 0.0; ///< thickness of a plane

   ZqReal height(int f, const Vec3& p) const noexcept { return dot(face[f].normal, p) - offset[f]; }
   /// The corners of a face.
   Simplex features(int f) const noexcept
   {
      Simplex S;
      S.count = 3;
      for (int i = 0; i < 3; ++i)
      {
         const int k = face[f].corner[i];
         S.set(i, onA[k], onA[k] - vertex[k]);
      }
      return S;
   }
   /// From four points that span a volume.
   void start(const Simplex& S, ZqReal planeThickness) noexcept
   {
      tolerance = planeThickness;
      vertexCount = faceCount = aliveCount = 4;
      const Vec3* p = S.w;
      const bool isFlipped = dot(cross(p[1] - p[0], p[2] - p[0]), p[3] - p[0]) > 0.0;
      for (int i = 0; i < 4; ++i)
      {
         const int k = isFlipped && (i == 1 || i == 2) ? 3 - i : i;
         vertex[i] = p[k];
         onA[i] = S.a[k];
      }
      constexpr int corners[4][3] = {{0, 1, 2}, {0, 3, 1}, {1, 3, 2}, {2, 3, 0}};
      constexpr int neighbours[4][3] = {{1, 2, 3}, {3, 2, 0}, {1, 3, 0}, {2, 1, 0}};
      for (int f = 0; f < 4; ++f)
      {
         setFace(f, corners[f][0], corners[f][1], corners[f][2]);
         for (int e = 0; e < 3; ++e)
            face[f].next[e] = neighbours[f][e];
      }
   }
   /// Adds a point that sees face `from`. Faces in whose plane it lies go too, so that no new face is flat.
   /// False, and nothing changed, when full or when rounding would tear the surface.
   bool add(const Vec3& a, const Vec3& b, int from) noexcept
   {
      if (vertexCount == MaxVertices)
         return false;
      const Vec3 p = a - b;
      int seen[maxFaces];
      const int seenCount = markSeen(p, from, seen);
      Rim rim;
      if (seenCount == aliveCount || !findRim(seen, seenCount, rim))
         return false;
      vertex[vertexCount] = p;
      onA[vertexCount] = a;
      for (int k = 0; k < rim.count; ++k)
         if (!setFace(faceCount + k, rim.from[k], rim.to[k], vertexCount))
            return false;
      for (int k = 0; k < rim.count; ++k)
         join(k, rim);
      for (int k = 0; k < seenCount; ++k)
         offset[seen[k]] = gone;
      faceCount += rim.count;
      aliveCount += rim.count - seenCount;
      ++vertexCount;
      return true;
   }

private:
   /// The edges around the faces that a point sees, one after the other, and the faces beyond them.
   struct Rim
   {
      static constexpr int capacity = 2 * MaxVertices;
      int from[capacity], to[capacity], outer[capacity];
      int count = 0;
   };

   bool setFace(int f, int a, int b, int c) noexcept
   {
      const Vec3& p = vertex[a];
      const Vec3& q = vertex[b];
      const Vec3& r = vertex[c];
      Vec3 n = cross(q - p, r - p);
      const ZqReal length = norm(n);
      const bool hasArea = length > 1e-300;
      n = hasArea ? n * (1.0 / length) : Vec3{0.0, 0.0, 0.0};
      Face& F = face[f];
      F.normal = n;
      F.corner[0] = a;
      F.corner[1] = b;
      F.corner[2] = c;
      F.mark = 0;
      // The mean of three: the error of one vertex does not tilt the choice of the nearest face.
      offset[f] = (dot(n, p) + dot(n, q) + dot(n, r)) / 3.0;
      return hasArea;
   }
   int markSeen(const Vec3& p, int from, int* seen) noexcept
   {
      int stack[maxFaces];
      int top = 0;
      int count = 0;
      ++lastMark;
      stack[top++] = from;
      face[from].mark = lastMark;
      while (top > 0)
      {
         const int f = stack[--top];
         seen[count++] = f;
         for (const int g : face[f].next)
            if (face[g].mark != lastMark && height(g, p) > -tolerance)
            {
               face[g].mark = lastMark;
               stack[top++] = g;
            }
      }
      return count;
   }
   /// False if the edges are not one loop that meets each of its vertices once.
   bool findRim(const int* seen, int seenCount, Rim& rim) const noexcept
   {
      for (int k = 0; k < seenCount; ++k)
         for (int e = 0; e < 3; ++e)
         {
            const Face& F = face[seen[k]];
            if (face[F.next[e]].mark == lastMark)
               continue;
            if (rim.count == Rim::capacity)
               return false;
            rim.from[rim.count] = F.corner[e];
            rim.to[rim.count] = F.corner[e == 2 ? 0 : e + 1];
            rim.outer[rim.count++] = F.next[e];
         }
      if (rim.count < 3 || faceCount + rim.count > maxFaces)
         return false;
      for (int k = 0; k + 1 < rim.count; ++k)
      {
         int j = k + 1;
         while (j < rim.count && rim.from[j] != rim.to[k])
            ++j;
         if (j == rim.count)
            return false;
         std::swap(rim.from[k + 1], rim.from[j]);
         std::swap(rim.to[k + 1], rim.to[j]);
         std::swap(rim.outer[k + 1], rim.outer[j]);
      }
      for (int k = 0; k < rim.count; ++k)
         for (int j = k + 1; j < rim.count; ++j)
            if (rim.from[k] == rim.from[j])
               return false;
      return rim.to[rim.count - 1] == rim.from[0];
   }
   /// The k-th new face with its neighbours.
   void join(int k, const Rim& rim) noexcept
   {
      Face& F = face[faceCount + k];
      F.next[0] = rim.outer[k];
      F.next[1] = faceCount + (k + 1) % rim.count;
      F.next[2] = faceCount + (k + rim.count - 1) % rim.count;
      Face& outer = face[rim.outer[k]];
      for (int e = 0; e < 3; ++e)
         if (outer.corner[e] == rim.to[k] && outer.corner[e == 2 ? 0 : e + 1] == rim.from[k])
            outer.next[e] = faceCount + k;
   }
};
} // namespace zqConvex
