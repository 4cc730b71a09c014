#pragma once

#include "zqManipulator/foundation/geometry/ZqConvex.h"

#include <array>
#include <memory>
#include <span>
#include <vector>

class ZqShape;
namespace zqConvex
{
class BoxHierarchy;
class TriangleTree;
} // namespace zqConvex

/// Triangles that share vertices, with a tree of boxes over them and who is next to whom. Made once and then
/// shared; for a million triangles about 180 MB.
///
/// Triangles that are next to each other share an edge by place: vertices that stand in the same place count
/// as one, as in files that repeat them for each triangle.
class ZqTriangles
{
public:
   using Corners = std::array<ZqU32, 3>;
   static constexpr ZqU32 none = 0xFFFFFFFF;

   /// Triangles with corners that no vertex has are left out. `before` may be what these triangles were
   /// until their vertices moved: then its tree is taken and refitted.
   static std::shared_ptr<const ZqTriangles> of(std::vector<zqConvex::Vec3> vertices,
                                                std::vector<Corners> corners,
                                                const ZqTriangles* before = nullptr);
   ~ZqTriangles();
   ZqTriangles(const ZqTriangles&) = delete;
   ZqTriangles& operator=(const ZqTriangles&) = delete;

   std::span<const zqConvex::Vec3> vertices() const noexcept { return m_vertices; }
   std::span<const Corners> corners() const noexcept { return m_corners; }
   ZqU32 size() const noexcept { return static_cast<ZqU32>(m_corners.size()); }
   const zqConvex::Vec3& vertex(ZqU32 triangle, int corner) const noexcept
   {
      return m_vertices[m_corners[triangle][corner]];
   }
   /// Whether each edge is that of two triangles, which go along it in opposite directions: then the
   /// triangles are the surface of a solid.
   bool isClosed() const noexcept { return m_isClosed; }
   /// How many edges are not those of two triangles in opposite directions.
   ZqU32 openEdgeCount() const noexcept { return m_openEdgeCount; }
   /// Of the solid, in cubic metres; below zero when the triangles face inwards. Of open triangles it
   /// means little.
   ZqReal volume() const noexcept { return m_volume; }
   /// Whether the triangles are the surface of a convex solid, but for rounding.
   bool isConvex() const noexcept { return m_isConvex; }
   /// 1 when triangles go counter-clockwise as seen from outside, -1 when they go clockwise.
   ZqReal outward() const noexcept { return m_volume < 0.0 ? -1.0 : 1.0; }
   /// The triangle on the other side of the edge from corner `edge` to the next one; `none` without one.
   ZqU32 neighbour(ZqU32 triangle, int edge) const noexcept { return m_neighbours[triangle][edge]; }
   /// Unit, of corners that go counter-clockwise; x for a triangle without area.
   zqConvex::Vec3 normal(ZqU32 triangle) const noexcept;
   /// Along the axes of the frame: for rays and boxes.
   const zqConvex::BoxHierarchy& tree() const noexcept { return *m_tree; }
   /// Along the surface: for what is near.
   const zqConvex::TriangleTree& surfaceTree() const noexcept { return *m_surfaceTree; }
   /// A triangle of each piece of the surface: those that neighbours lead to from one another.
   std::span<const ZqU32> pieces() const noexcept { return m_pieces; }
   /// Makes `convex` the triangle: a record that was made by `ZqConvex::triangle` or by this.
   void set(ZqConvex& convex, ZqU32 triangle) const noexcept;
   /// The point furthest along d, which need not be of unit length, and a triangle that has it; the origin
   /// without triangles.
   zqConvex::Vec3 support(const zqConvex::Vec3& d, ZqU32& triangle) const noexcept;
   zqConvex::Vec3 support(const zqConvex::Vec3& d) const noexcept
   {
      ZqU32 triangle = 0;
      return support(d, triangle);
   }
   /// Whether a point lies in the solid. Points within rounding of the surface may answer either way.
   bool contains(const zqConvex::Vec3& point) const noexcept;

private:
   ZqTriangles() = default;
   void findNeighbours();
   void findPieces();
   bool hasConvexEdges() const noexcept;

   std::vector<zqConvex::Vec3> m_vertices;
   std::vector<Corners> m_corners;
   std::vector<Corners> m_neighbours;
   std::vector<ZqU32> m_pieces;
   std::unique_ptr<zqConvex::BoxHierarchy> m_tree;
   std::unique_ptr<zqConvex::TriangleTree> m_surfaceTree;
   ZqReal m_volume = 0.0;
   ZqU32 m_openEdgeCount = 0;
   bool m_isClosed = false;
   bool m_isConvex = false;
};

/// The convex parts of a shape that is not convex: the triangles of a mesh, or those of the members of a
/// union, in the frame of the shape, with a tree of boxes over the members. Made once for the shape as it is,
/// then shared.
///
/// Parts are numbered through all members in their order: a convex member is one part, a mesh that is not
/// convex as many as it has triangles.
class ZqConvexParts
{
public:
   /// Convex, or triangles, or triangles around a convex solid: then it is one part.
   struct Member
   {
      ZqConvex convex;
      std::shared_ptr<const ZqTriangles> triangles;
      bool isConvex = true;
      ZqU32 firstPart = 0;
      ZqU32 partCount = 0; ///< none of a shape that has no points
   };

   static std::shared_ptr<const ZqConvexParts>
   ofTriangles(std::shared_ptr<const ZqTriangles> triangles);
   /// Of shapes that are no unions, in their order.
   static std::shared_ptr<const ZqConvexParts> ofShapes(std::span<const ZqShape* const> shapes);
   ~ZqConvexParts();
   ZqConvexParts(const ZqConvexParts&) = delete;
   ZqConvexParts& operator=(const ZqConvexParts&) = delete;

   /// Of all parts.
   ZqU32 size() const noexcept { return m_size; }
   std::span<const Member> members() const noexcept { return m_members; }
   /// The number of the member that a part belongs to.
   ZqU32 memberOf(ZqU32 part) const noexcept;
   /// Over the members.
   const zqConvex::BoxHierarchy& tree() const noexcept { return *m_tree; }
   /// The box of all, placed by X; lower above upper when there is none.
   void box(const zqConvex::Pose& X, zqConvex::Vec3& lower, zqConvex::Vec3& upper) const noexcept;
   /// The point furthest along d, which need not be of unit length; the origin without parts. Half-spaces
   /// are left out.
   zqConvex::Vec3 support(const zqConvex::Vec3& d) const noexcept;
   /// In cubic metres, the sum over the members.
   ZqReal volume() const noexcept;

private:
   ZqConvexParts() = default;

   std::vector<Member> m_members;
   std::unique_ptr<zqConvex::BoxHierarchy> m_tree;
   ZqU32 m_size = 0;
};
