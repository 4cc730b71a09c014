#pragma once

#include "zqManipulator/foundation/geometry/ZqConvexAlgebra.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

/// A convex polytope: vertices, faces and who is next to whom. It is made once and then shared.
///
/// Points that no direction has as its furthest are left out, and triangles that lie in one plane are one
/// face. The hull of points in a plane is its polygon, seen from both sides; of points on a line its two
/// ends; of one place a single vertex.
struct ZqHull
{
   struct Face
   {
      zqConvex::Vec3 normal; ///< unit, outward
      ZqReal offset;         ///< normal . x of its points
      int firstCorner, cornerCount;
   };

   std::vector<zqConvex::Vec3> vertices; ///< in the order of the points they come from
   std::vector<int> firstNeighbour;      ///< by vertex, with one more at the end
   std::vector<int> neighbours;          ///< vertices at the other ends of the edges
   std::vector<Face> faces;
   std::vector<int> corners;   ///< of the faces: vertices, counter-clockwise seen from outside
   std::vector<int> firstFace; ///< by vertex, with one more at the end
   std::vector<int> facesAt;   ///< faces around each vertex
   ZqReal volume = 0.0;        ///< m^3
   ZqReal radius = 0.0;        ///< m, of the vertices about the origin
   int dimension = 3;          ///< 0 a point, 1 a segment, 2 a polygon, 3 a solid
   /// A number that follows from the vertices, the same wherever they are read again.
   std::uint64_t fingerprint = 0;

   /// The hull of points (m), which are finite; of none, the origin alone. By Qhull (Barber, Dobkin and
   /// Huhdanpaa 1996); where rounding makes it give up, from the points moved apart by as little as it takes.
   static std::shared_ptr<const ZqHull> of(std::span<const zqConvex::Vec3> points);

   /// The vertex furthest along d. `at` is a vertex to begin at, and receives the answer.
   ///
   /// A walk uphill over the edges ends at a maximum, since the neighbours are those of a convex surface. It
   /// begins at the better of two: the vertex of the last query, and the one that a map of all directions
   /// has for the middle of the cell that d is in. Few vertices are looked through one by one.
   const zqConvex::Vec3& support(const zqConvex::Vec3& d, int& at) const noexcept
   {
      const int count = static_cast<int>(vertices.size());
      if (count <= fewVertices || dimension < 3)
         return supportAmongAll(d, at);
      int k = std::clamp(at, 0, count - 1);
      ZqReal best = dot(vertices[k], d);
      const int other = startAlong(d);
      if (const ZqReal s = dot(vertices[other], d); s > best)
      {
         best = s;
         k = other;
      }
      for (int last = -1; last != k;)
      {
         last = k;
         const int end = firstNeighbour[k + 1];
         for (int i = firstNeighbour[k]; i < end; ++i)
         {
            const int j = neighbours[i];
            const ZqReal s = dot(vertices[j], d);
            const bool isUp = s > best;
            best = isUp ? s : best;
            k = isUp ? j : k;
         }
      }
      at = k;
      return vertices[k];
   }

private:
   static constexpr int fewVertices = 12;

   const zqConvex::Vec3& supportAmongAll(const zqConvex::Vec3& d, int& at) const noexcept
   {
      const int count = static_cast<int>(vertices.size());
      ZqReal best = dot(vertices[0], d);
      int k = 0;
      for (int i = 1; i < count; ++i)
         if (const ZqReal s = dot(vertices[i], d); s > best)
         {
            best = s;
            k = i;
         }
      at = k;
      return vertices[k];
   }
   int startAlong(const zqConvex::Vec3& d) const noexcept
   {
      return m_startOf.empty() ? 0 : m_startOf[cellOf(d)];
   }
   int cellOf(const zqConvex::Vec3& d) const noexcept;
   zqConvex::Vec3 middleOfCell(int cell) const noexcept;
   void makeStarts();
   void makeFingerprint() noexcept;

   int m_cells = 0;                      ///< along an edge of the cube of directions
   std::vector<std::uint16_t> m_startOf; ///< by cell: the vertex furthest along its middle
};

inline int ZqHull::cellOf(const zqConvex::Vec3& d) const noexcept
{
   const ZqReal ax = std::abs(d.x);
   const ZqReal ay = std::abs(d.y);
   const ZqReal az = std::abs(d.z);
   ZqReal most, u, v;
   int side;
   if (ax >= ay && ax >= az)
   {
      most = ax, u = d.y, v = d.z;
      side = d.x < 0.0;
   }
   else if (ay >= az)
   {
      most = ay, u = d.x, v = d.z;
      side = 2 + (d.y < 0.0);
   }
   else
   {
      most = az, u = d.x, v = d.y;
      side = 4 + (d.z < 0.0);
   }
   if (!(most > 1e-300))
      return 0;
   const ZqReal half = 0.5 * m_cells;
   const ZqReal scale = half / most;
   // Clamped on both sides, for directions that are none.
   const int i = std::clamp(static_cast<int>(u * scale + half), 0, m_cells - 1);
   const int j = std::clamp(static_cast<int>(v * scale + half), 0, m_cells - 1);
   return (side * m_cells + i) * m_cells + j;
}
