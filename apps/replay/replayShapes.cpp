#include "apps/replay/replayShapes.h"

#include "apps/replay/numbers.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/geometry/ZqConvexParts.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

namespace
{
using namespace zqReplay;
using Core = ZqConvex::Core;
using zqConvex::Pose;
using zqConvex::Vec3;
using Corners = ZqTriangles::Corners;
using Triangles = std::shared_ptr<const ZqTriangles>;

constexpr ZqReal pi = ZqMath::pi;

Json toJson(const Vec3& v)
{
   return {v.x, v.y, v.z};
}

Json toJson(const Pose& X)
{
   ZqOrientation q;
   q.setFromDcmColumns(vector(X.R.c0), vector(X.R.c1), vector(X.R.c2));
   return {X.t.x, X.t.y, X.t.z, q.w(), q.x(), q.y(), q.z()};
}

// Points of round surfaces

/// Unit vectors about evenly over the sphere: through the points of a lattice on the faces of a cube.
std::vector<Vec3> directions(int quarter)
{
   const int half = std::max(1, quarter / 2);
   const auto place = [&](int i) { return std::tan(0.25 * pi * i / half); };
   std::vector<Vec3> result;
   for (int i = -half; i <= half; ++i)
      for (int j = -half; j <= half; ++j)
         for (int k = -half; k <= half; ++k)
            if (std::max({std::abs(i), std::abs(j), std::abs(k)}) == half)
               result.push_back(zqConvex::unit({place(i), place(j), place(k)}));
   return result;
}

std::vector<Vec3> pointsOfEllipsoid(const ZqConvex& convex, int quarter)
{
   std::vector<Vec3> points = directions(quarter);
   for (Vec3& p : points)
      p = {p.x * convex.h.x, p.y * convex.h.y, p.z * convex.h.z};
   return points;
}

/// Half a meridian of the swept core, turned about z.
std::vector<Vec3> pointsOfTurned(const ZqConvex& convex, int quarter)
{
   const auto& [lower, upper, half] = convex.h;
   std::vector<std::pair<ZqReal, ZqReal>> meridian; // distance from the axis, and height
   const int steps = convex.radius > 0.0 ? 2 * quarter : 1;
   const ZqReal mantle = std::atan2(lower - upper, 2.0 * half); // where its normal rises to
   const auto addArc = [&](ZqReal rim, ZqReal height, ZqReal from, ZqReal to)
   {
      for (int i = 0; i <= steps; ++i)
      {
         const ZqReal angle = from + (to - from) * i / steps;
         meridian.emplace_back(rim + convex.radius * std::cos(angle),
                               height + convex.radius * std::sin(angle));
      }
   };
   addArc(lower, -half, -0.5 * pi, mantle);
   addArc(upper, half, mantle, 0.5 * pi);
   std::vector<Vec3> points;
   for (int i = 0; i < 4 * quarter; ++i)
   {
      const ZqReal angle = 0.5 * pi * i / quarter;
      for (const auto& [distance, height] : meridian)
         points.push_back({distance * std::cos(angle), distance * std::sin(angle), height});
   }
   return points;
}

/// Of a polytope swept by a ball: its faces moved outward, an arc over each end of each edge, and a part of a
/// sphere about each vertex.
std::vector<Vec3> pointsOfSwept(const ZqHull& hull, ZqReal radius, int quarter)
{
   std::vector<Vec3> points;
   for (const ZqHull::Face& face : hull.faces)
      for (int i = 0; i < face.cornerCount; ++i)
      {
         const int* corners = &hull.corners[static_cast<std::size_t>(face.firstCorner)];
         const Vec3& from = hull.vertices[corners[i]];
         const Vec3& to = hull.vertices[corners[i + 1 == face.cornerCount ? 0 : i + 1]];
         // From this face's normal outward, to half a turn at most: beyond the next face's normal other points
         // are further out, and the hull leaves these out.
         const Vec3 aside = cross(unit(to - from), face.normal);
         for (int k = 0; k <= 2 * quarter; ++k)
         {
            const ZqReal angle = 0.5 * pi * k / quarter;
            const Vec3 n = face.normal * std::cos(angle) + aside * std::sin(angle);
            int at = 0;
            const Vec3& most = hull.support(n, at);
            if (dot(most, n) > dot(from, n) + 1e-9 * hull.radius)
               break;
            points.push_back(from + n * radius);
            points.push_back(to + n * radius);
         }
      }
   int at = 0;
   for (const Vec3& n : directions(quarter))
      points.push_back(hull.support(n, at) + n * radius);
   return points;
}

// Surfaces of triangles

std::vector<Vec3> cornersOf(const ZqConvex& convex)
{
   if (convex.core == Core::Triangle)
      return {convex.corner[0], convex.corner[1], convex.corner[2]};
   std::vector<Vec3> corners;
   for (int i = 0; i < 8; ++i)
      corners.push_back({(i & 1) != 0 ? convex.h.x : -convex.h.x,
                         (i & 2) != 0 ? convex.h.y : -convex.h.y,
                         (i & 4) != 0 ? convex.h.z : -convex.h.z});
   return corners;
}

std::shared_ptr<const ZqHull> hullOf(const ZqConvex& convex, int quarter)
{
   if (convex.core == Core::Ellipsoid)
      return ZqHull::of(pointsOfEllipsoid(convex, quarter));
   if (convex.core == Core::Turned)
      return ZqHull::of(pointsOfTurned(convex, quarter));
   const auto core = convex.core == Core::Polytope ? convex.hull : ZqHull::of(cornersOf(convex));
   return convex.radius > 0.0 ? ZqHull::of(pointsOfSwept(*core, convex.radius, quarter)) : core;
}

/// Null for what has no surface.
Triangles trianglesOf(const ZqConvex& convex, int quarter)
{
   const auto hull = hullOf(convex, quarter);
   std::vector<Vec3> vertices;
   for (const Vec3& vertex : hull->vertices)
      vertices.push_back(convex.frame * vertex);
   std::vector<Corners> triangles;
   for (const ZqHull::Face& face : hull->faces)
      for (int i = 2; i < face.cornerCount; ++i)
      {
         const auto corner = [&](int k)
         { return static_cast<ZqU32>(hull->corners[face.firstCorner + k]); };
         triangles.push_back({corner(0), corner(i - 1), corner(i)});
      }
   return triangles.empty() ? nullptr : ZqTriangles::of(std::move(vertices), std::move(triangles));
}

/// With fewer triangles where there are very many: of the vertices in a cell of a grid the first one stays.
Triangles simplified(const Triangles& triangles)
{
   constexpr std::size_t mostTriangles = 100'000;
   if (triangles->size() <= mostTriangles)
      return triangles;
   const auto vertices = triangles->vertices();
   Vec3 lower = vertices[0];
   Vec3 upper = vertices[0];
   for (const Vec3& p : vertices)
      for (int i = 0; i < 3; ++i)
      {
         lower[i] = std::min(lower[i], p[i]);
         upper[i] = std::max(upper[i], p[i]);
      }
   std::vector<Corners> left;
   for (ZqReal cells = 400.0; cells > 1.0; cells *= 0.8)
   {
      const ZqReal size = largest(upper - lower) / cells;
      std::map<std::array<int, 3>, ZqU32> firstIn;
      std::vector<ZqU32> first;
      for (const Vec3& p : vertices)
      {
         const auto cell = [&](int i) { return static_cast<int>((p[i] - lower[i]) / size); };
         const auto number = static_cast<ZqU32>(first.size());
         first.push_back(firstIn.try_emplace({cell(0), cell(1), cell(2)}, number).first->second);
      }
      left.clear();
      for (const auto& [a, b, c] : triangles->corners())
         if (first[a] != first[b] && first[b] != first[c] && first[c] != first[a])
            left.push_back({first[a], first[b], first[c]});
      if (left.size() <= mostTriangles)
         break;
   }
   return ZqTriangles::of({vertices.begin(), vertices.end()}, std::move(left));
}

/// The corners of triangles in sets: those at one place that look smooth together.
class SmoothCorners
{
public:
   explicit SmoothCorners(const ZqTriangles& triangles)
      : m_triangles(triangles), m_first(std::size_t{3} * triangles.size())
   {
      std::iota(m_first.begin(), m_first.end(), 0U);
      for (ZqU32 t = 0; t < triangles.size(); ++t)
         for (int edge = 0; edge < 3; ++edge)
         {
            const ZqU32 other = triangles.neighbour(t, edge);
            if (other == ZqTriangles::none || other < t || isCrease(t, other))
               continue;
            join(t, edge, other);
            join(t, (edge + 1) % 3, other);
         }
   }

   /// The number of a corner that stands for all of its set.
   ZqU32 first(ZqU32 corner) const noexcept
   {
      while (m_first[corner] != corner)
         corner = m_first[corner];
      return corner;
   }

private:
   bool isCrease(ZqU32 t, ZqU32 other) const noexcept
   {
      constexpr ZqReal cosineOfCrease = 0.8; // 37 degrees
      return !(dot(m_triangles.normal(t), m_triangles.normal(other)) > cosineOfCrease);
   }
   void join(ZqU32 t, int corner, ZqU32 other) noexcept
   {
      for (int k = 0; k < 3; ++k)
         if (m_triangles.vertex(other, k) == m_triangles.vertex(t, corner))
         {
            const ZqU32 a = first(3 * t + static_cast<ZqU32>(corner));
            const ZqU32 b = first(3 * other + static_cast<ZqU32>(k));
            m_first[std::max(a, b)] = std::min(a, b);
         }
   }

   const ZqTriangles& m_triangles;
   std::vector<ZqU32> m_first; ///< by corner, of its set: it leads to a lower one
};

/// Smooth surfaces have a vertex for each of the normals that meet at a crease.
Json drawTriangles(const ZqTriangles& triangles, bool isFlat, bool isInsideOut)
{
   std::optional<SmoothCorners> smooth;
   if (!isFlat)
      smooth.emplace(triangles);
   std::vector<float> positions;
   std::vector<ZqU32> indices;
   std::vector<ZqU32> numbers(isFlat ? triangles.vertices().size() : 3 * triangles.size(),
                              ZqTriangles::none);
   for (ZqU32 t = 0; t < triangles.size(); ++t)
      for (int k = 0; k < 3; ++k)
      {
         const int corner = isInsideOut ? 2 - k : k;
         ZqU32& number = numbers[isFlat ? triangles.corners()[t][static_cast<std::size_t>(corner)]
                                        : smooth->first(3 * t + static_cast<ZqU32>(corner))];
         if (number == ZqTriangles::none)
         {
            number = static_cast<ZqU32>(positions.size() / 3);
            const Vec3& p = triangles.vertex(t, corner);
            positions.insert(positions.end(), {single(p.x), single(p.y), single(p.z)});
         }
         indices.push_back(number);
      }
   return {{"kind", "mesh"},
           {"positions", base64(std::span<const float>(positions))},
           {"indices", base64(std::span<const ZqU32>(indices))},
           {"flat", isFlat}};
}

// Shapes

/// What the page draws without a mesh; null for others.
Json drawPlainly(const ZqConvex& convex)
{
   const Pose& X = convex.frame;
   const auto between = [&](const char* kind, const Vec3& half, ZqReal radius) -> Json
   {
      return {{"kind", kind},
              {"from", toJson(X.t - half)},
              {"to", toJson(X.t + half)},
              {"radius", radius}};
   };
   if (convex.core == Core::HalfSpace)
      return {{"kind", "halfSpace"}, {"point", toJson(X.t)}, {"normal", toJson(X.R.c2)}};
   if (convex.core == Core::Box && convex.dimension == 0 && convex.radius > 0.0)
      return {{"kind", "sphere"}, {"center", toJson(X.t)}, {"radius", convex.radius}};
   if (convex.core == Core::Box && convex.dimension == 1 && convex.radius > 0.0)
      return between("capsule", convex.axis * convex.halfLength, convex.radius);
   if (convex.core == Core::Box && convex.dimension == 3 && !(convex.radius > 0.0))
      return {{"kind", "box"}, {"frame", toJson(X)}, {"halfExtents", toJson(convex.h)}};
   if (convex.core == Core::Turned && convex.dimension == 3 && !(convex.radius > 0.0) &&
       convex.h.x == convex.h.y)
      return between("cylinder", X.R.c2 * convex.h.z, convex.h.x);
   return nullptr;
}

/// Whether the surface is bent anywhere.
bool isRound(const ZqConvex& convex)
{
   return convex.isCurved() || convex.radius > 0.0;
}

/// What a shape consists of: convex sets and surfaces of triangles, of which one is null.
using Action = std::function<void(const ZqConvex*, const Triangles&)>;
void forEachPart(const ZqShape& shape, const Action& action)
{
   if (const ZqConvex* convex = shape.convex())
      action(convex, nullptr);
   else if (const ZqConvexParts* parts = shape.parts())
      for (const ZqConvexParts::Member& member : parts->members())
         action(member.triangles ? nullptr : &member.convex, member.triangles);
}

void forEachShape(const ZqManipulatorLink& link, const std::function<void(const ZqShape&)>& action)
{
   for (ZqU32 i = 0; i < link.numShapesInPhysicalRepresentation(); ++i)
      action(*link.shapeByIndex(i));
}

std::string materialOf(const ZqShape& shape)
{
   static const ZqString name(ZqFoundCommon::ZqSurfaceMaterialTypeToken.localName());
   ZqString material;
   if (const ZqDataMap* surface = nullptr; shape.surfaceData("0", surface))
      surface->lookup(name, material);
   return material;
}

/// Null for what has no surface, or stands nowhere.
Json drawConvex(const ZqConvex& convex, const Fineness& fineness)
{
   const auto& [R, t] = convex.frame;
   if (!std::isfinite(dot(R.c0 + R.c1 + R.c2, t)))
      return nullptr;
   if (Json plain = drawPlainly(convex); !plain.is_null())
      return plain;
   const auto triangles = trianglesOf(convex, fineness.quarter);
   return triangles ? drawTriangles(*triangles, !isRound(convex), false) : Json();
}
/// One that is inside out is turned.
Json drawMesh(const Triangles& triangles)
{
   const bool isInsideOut = triangles->isClosed() && triangles->outward() < 0.0;
   return drawTriangles(*simplified(triangles), false, isInsideOut);
}
} // namespace

zqReplay::Fineness zqReplay::Fineness::forShapes(std::size_t count) noexcept
{
   constexpr ZqReal mostTriangles = 3e5;
   constexpr int least = 4;
   // A sphere has twelve times the square of its parts.
   const ZqReal quarter = std::sqrt(mostTriangles / 12.0 / static_cast<ZqReal>(count));
   return {count == 0 ? Fineness().quarter
                      : std::clamp(static_cast<int>(quarter) / 2 * 2, least, Fineness().quarter)};
}

std::size_t zqReplay::countRoundMeshes(const ZqManipulatorLink& link)
{
   std::size_t count = 0;
   forEachShape(link,
                [&](const ZqShape& shape)
                {
                   forEachPart(shape,
                               [&](const ZqConvex* convex, const Triangles&) {
                                  count += convex != nullptr && isRound(*convex) &&
                                           drawPlainly(*convex).is_null();
                               });
                });
   return count;
}

zqReplay::Json zqReplay::drawShapes(const ZqManipulatorLink& link, const Fineness& fineness)
{
   Json result = Json::array();
   forEachShape(link,
                [&](const ZqShape& shape)
                {
                   const auto draw = [&](const ZqConvex* convex, const Triangles& triangles)
                   {
                      Json drawing =
                         convex != nullptr ? drawConvex(*convex, fineness) : drawMesh(triangles);
                      if (drawing.is_null())
                         return;
                      drawing["name"] = shape.identifier();
                      drawing["material"] = materialOf(shape);
                      result.push_back(std::move(drawing));
                   };
                   forEachPart(shape, draw);
                });
   return result;
}
