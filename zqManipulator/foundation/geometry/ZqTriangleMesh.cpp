#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"

#include "zqManipulator/foundation/geometry/ZqConvexParts.h"
#include "zqManipulator/foundation/geometry/ZqPlaceIndex.h"
#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

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
} // namespace

bool ZqTriangleMesh::read(ZqXmlReader& reader)
{
   const auto clear = [this]
   {
      m_vertices.clear();
      m_triangles.clear();
      surfaceChanges();
   };
   if (!ZqXmlClass::read(reader))
   {
      clear();
      return false;
   }
   const auto refuse = [&](const ZqString& what)
   {
      clear();
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
   zqConvex::PlaceIndex index(tolerance, m_vertices.values());
   std::vector<ZqVector> places;
   constexpr ZqU32 none = ~ZqU32{0};
   std::vector<ZqU32> placeOfVertex(vertexCount(), none);
   for (ZqU32& vertex : m_triangles)
   {
      ZqU32& place = placeOfVertex[vertex];
      if (place == none)
         place = index.placeOf(m_vertices[vertex], places);
      vertex = place;
   }
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
