#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"

#include <array>

class ZqTriangles;

/// A surface of triangles, each of three vertices by index, counter-clockwise as seen from outside. Triangles
/// may stand in any order and need not meet.
///
/// A triangle that names a vertex which is not there, or one that is not finite, and one without area are
/// left out when the mesh is made or set; a remark says how many. Of a document, triangles without area are
/// left out so; one that names a vertex which is not there is a failure.
class ZqTriangleMesh final : public ZqXmlClass<ZqTriangleMesh, ZqBasePhysicalExtent>
{
public:
   using Triangle = std::array<ZqU32, 3>;

   ZqTriangleMesh() = default;
   ZqTriangleMesh(std::vector<ZqVector> vertices, const std::vector<Triangle>& triangles)
   {
      setTriangles(std::move(vertices), triangles);
   }

   static const ZqToken& classToken() { return ZqGeom::ZqTriangleMeshToken; }
   static constexpr const char* documentation = "a surface of triangles";
   template <class This = ZqTriangleMesh>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_vertices, &ZqGeom::ZqVerticesToken, "x y z of each vertex (m)"},
         ZqComponent{
            &This::m_triangles, &ZqGeom::ZqTrianglesToken,
            "three vertices of each triangle by index, counter-clockwise seen from outside"}};
   }
   /// A list of indices that is not whole triangles, or names vertices that are not there, is a failure of
   /// the document. After a failure the mesh is empty.
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqTriangleMesh& other) const
   {
      return ZqBasePhysicalExtent::operator==(other) && m_vertices == other.m_vertices &&
             m_triangles == other.m_triangles;
   }

   ZqU32 shapeType() const override { return TriangleMeshShape; }
   /// How many triangles were left out.
   ZqU32 setTriangles(std::vector<ZqVector> vertices, const std::vector<Triangle>& triangles);
   ZqU32 vertexCount() const noexcept { return m_vertices.size(); }
   const ZqVector& vertex(ZqU32 index) const { return m_vertices[index]; }
   ZqU32 triangleCount() const noexcept { return m_triangles.size() / 3; }
   Triangle triangle(ZqU32 index) const
   {
      const std::size_t first = std::size_t{3} * index;
      return {m_triangles[first], m_triangles[first + 1], m_triangles[first + 2]};
   }
   /// Whether the triangles bound a solid: each edge belongs to two of them, which run along it in opposite
   /// directions. Vertices at one place count as one.
   bool isClosed() const noexcept;
   /// That of the solid that the triangles bound, by the divergence theorem; below zero
   /// for a surface that is inside out. Of a surface with holes it means little.
   ZqReal volume() const override;

   const ZqConvexParts* parts() const override;
   ZqVector supportPoint(const ZqVector& direction) const override;
   /// Makes one vertex of those that are nearer to each other than the tolerance, and leaves out vertices
   /// that no triangle has.
   void removeRedundancy(ZqReal tolerance) override;

protected:
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   ZqU32 dropUseless();
   void surfaceChanges();

   ZqXmlVectorVector m_vertices;
   ZqXmlVectorBasicType<ZqU32> m_triangles; ///< three indices for each
   // These follow from the two above; copies share them.
   std::shared_ptr<const ZqTriangles> m_surface;
   std::shared_ptr<const ZqConvexParts> m_parts;
};

extern template class ZqXmlClass<ZqTriangleMesh, ZqBasePhysicalExtent>;
