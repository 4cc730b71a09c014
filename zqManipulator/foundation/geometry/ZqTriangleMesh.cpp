#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"

#include "zqManipulator/foundation/geometry/ZqConvexParts.h"
#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <unordered_map>

template class ZqXmlClass<ZqTriangleMesh, ZqBasePhysicalExtent>;

namespace
{
/// A triangle that is thinner than this, relative to its longest edge, has no area.
constexpr ZqReal flatTriangle = 1e-14;

bool hasArea(const ZqVector& a, const ZqVector& b, const ZqVector& c) noexcept
{
   using zqConvex::vec3;
   const zqConvex::Vec3 e = vec3(b - a);
   const zqConvex::Vec3 f = vec3(c - a);
   const zqConvex::Vec3 g = vec3(c - b);
   const ZqReal longest = std::max({largest(e), largest(f), largest(g)});
   if (!(longest > 0.0 && std::isfinite(longest)))
      return false;
   const ZqReal scale = 1.0 / longest;
   return norm(cross(e * scale, f * scale)) > flatTriangle;
}

/// Finds, of points that come one by one, an earlier one that is within a tolerance.
class PlaceIndex
{
public:
   /// Cells are twice as wide as the tolerance, so that what is near a point is in one of eight.
   explicit PlaceIndex(ZqReal tolerance) : m_tolerance(tolerance), m_cell(2.0 * tolerance) {}

   ZqU32 placeOf(const ZqVector& point, std::vector<ZqVector>& places)
   {
      const Cell base{lowerCell(point.x()), lowerCell(point.y()), lowerCell(point.z())};
      for (int i = 0; i < 8; ++i)
      {
         const Cell cell{base[0] + (i & 1), base[1] + (i >> 1 & 1), base[2] + (i >> 2)};
         const auto [first, last] = m_cells.equal_range(cell);
         for (auto entry = first; entry != last; ++entry)
            if ((places[entry->second] - point).mag() <= m_tolerance)
               return entry->second;
      }
      const auto place = static_cast<ZqU32>(places.size());
      places.push_back(point);
      m_cells.emplace(Cell{cellOf(point.x()), cellOf(point.y()), cellOf(point.z())}, place);
      return place;
   }

private:
   using Cell = std::array<ZqReal, 3>;
   struct Hash
   {
      std::size_t operator()(const Cell& cell) const noexcept
      {
         std::size_t seed = 0;
         for (ZqReal x : cell) // equal numbers have equal hashes, -0.0 and 0.0 too
            seed = (seed ^ std::hash<ZqReal>()(x)) * 0x9E3779B97F4A7C15U + (seed >> 29U);
         return seed;
      }
   };
   ZqReal cellOf(ZqReal x) const noexcept { return m_cell > 0.0 ? std::floor(x / m_cell) : x; }
   ZqReal lowerCell(ZqReal x) const noexcept
   {
      return m_cell > 0.0 ? std::floor((x - m_tolerance) / m_cell) : x;
   }

   ZqReal m_tolerance;
   ZqReal m_cell;
   std::unordered_multimap<Cell, ZqU32, Hash> m_cells;
};
} // namespace

bool ZqTriangleMesh::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   if (!succeeded)
      return false;
   const auto refuse = [&](const ZqString& what)
   {
      m_triangles.clear();
      reader.fail("triangleMesh \"" + identifier() + "\": " + what, "value");
      return false;
   };
   if (m_triangles.size() % 3 != 0)
      return refuse("the number of indices is not a multiple of three");
   for (ZqU32 index : m_triangles)
      if (index >= m_vertices.size())
         return refuse("there is no vertex " + std::to_string(index) + ": there are " +
                       std::to_string(m_vertices.size()));
   const ZqU32 given = triangleCount();
   if (const ZqU32 dropped = dropUseless(); dropped > 0)
      remark(reader, std::to_string(dropped) + " of " + std::to_string(given) +
                        " triangles have no area and are left out");
   surfaceChanges();
   return true;
}

ZqU32 ZqTriangleMesh::setTriangles(std::vector<ZqVector> vertices,
                                   const std::vector<Triangle>& triangles)
{
   m_vertices.values() = std::move(vertices);
   m_triangles.clear();
   m_triangles.reserve(3 * triangles.size());
   for (const Triangle& triangle : triangles)
      for (ZqU32 index : triangle)
         m_triangles.pushBack(index);
   const ZqU32 dropped = dropUseless();
   if (dropped > 0)
      Zq::Print::instance().write(
         Zq::Oddity,
         "ZqTriangleMesh: %u of %zu triangles have no area or no vertices and are left out.\n",
         dropped, triangles.size());
   surfaceChanges();
   return dropped;
}

ZqU32 ZqTriangleMesh::dropUseless()
{
   std::vector<ZqU32>& indices = m_triangles.values();
   const ZqU32 count = vertexCount();
   const auto isUseful = [&](const ZqU32* v)
   {
      return v[0] < count && v[1] < count && v[2] < count &&
             hasArea(m_vertices[v[0]], m_vertices[v[1]], m_vertices[v[2]]);
   };
   std::size_t kept = 0;
   for (std::size_t i = 0; i + 3 <= indices.size(); i += 3)
      if (isUseful(&indices[i]))
      {
         std::copy_n(indices.begin() + static_cast<std::ptrdiff_t>(i), 3,
                     indices.begin() + static_cast<std::ptrdiff_t>(kept));
         kept += 3;
      }
   const std::size_t dropped = indices.size() - kept;
   indices.resize(kept);
   return static_cast<ZqU32>(dropped / 3);
}

void ZqTriangleMesh::surfaceChanges()
{
   std::vector<zqConvex::Vec3> vertices;
   vertices.reserve(m_vertices.size());
   for (const ZqVector& vertex : m_vertices)
      vertices.push_back(
         zqConvex::vec3(zqConvex::finite(vertex))); // no triangle has one that is not
   std::vector<Triangle> corners(triangleCount());
   for (ZqU32 i = 0; i < triangleCount(); ++i)
      corners[i] = triangle(i);
   const ZqTriangles* before = m_surface.get();
   m_surface = ZqTriangles::of(std::move(vertices), std::move(corners), before);
   m_parts = ZqConvexParts::ofTriangles(m_surface);
}

bool ZqTriangleMesh::isClosed() const noexcept
{
   return m_surface != nullptr && m_surface->size() > 0 && m_surface->isClosed();
}

ZqReal ZqTriangleMesh::volume() const
{
   return m_surface != nullptr ? m_surface->volume() : 0.0;
}

const ZqConvexParts* ZqTriangleMesh::parts() const
{
   static const auto& none = *new std::shared_ptr<const ZqConvexParts>(
      ZqConvexParts::ofTriangles(ZqTriangles::of({}, {})));
   return m_parts != nullptr ? m_parts.get() : none.get();
}

ZqVector ZqTriangleMesh::supportPoint(const ZqVector& direction) const
{
   return zqConvex::vector(parts()->support(zqConvex::vec3(direction)));
}

void ZqTriangleMesh::removeRedundancy(ZqReal tolerance)
{
   PlaceIndex index(tolerance > 0.0 && std::isfinite(tolerance) ? tolerance : 0.0);
   std::vector<ZqVector> places;
   for (ZqU32& vertex : m_triangles)
      vertex = index.placeOf(m_vertices[vertex], places);
   m_vertices.values() = std::move(places);
   dropUseless(); // those whose corners have come together
   surfaceChanges();
}

void ZqTriangleMesh::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   for (ZqVector& vertex : m_vertices)
      vertex = X * vertex;
   surfaceChanges();
}

void ZqTriangleMesh::scaleSelfBy(ZqReal scale)
{
   for (ZqVector& vertex : m_vertices)
      vertex *= scale;
   dropUseless();
   surfaceChanges();
}

void ZqTriangleMesh::truncateSelf(ZqReal tolerance)
{
   for (ZqVector& vertex : m_vertices)
      zqConvex::truncate(vertex, tolerance);
   dropUseless();
   surfaceChanges();
}
