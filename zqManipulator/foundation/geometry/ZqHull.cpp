#include "zqManipulator/foundation/geometry/ZqHull.h"

#include <array>
#include <bit>
#include <cstdio>
#include <map>
#include <numeric>
#include <utility>

extern "C"
{
#include <libqhull_r/qhull_ra.h>
}

using zqConvex::Vec3;

namespace
{
/// Thinner than this, relative to the largest extent, points lie in one place, on a line or in a plane.
constexpr ZqReal flatness = 1e-12;
/// How far, relative to the extents, the corners of two faces may be from one plane for them to be one face.
constexpr ZqReal coplanarity = 1e-10;

using Polygon = std::vector<int>;

/// Four points that span much: two far apart, one far from their line, one far from the plane of the three.
struct Span
{
   int corner[4] = {0, 0, 0, 0};
   Vec3 along, across, normal; ///< unit
   ZqReal length = 0.0, width = 0.0, thickness = 0.0;

   explicit Span(std::span<const Vec3> points) noexcept
   {
      const Vec3 origin = points[0];
      const auto most = [&](auto&& measure, ZqReal& value)
      {
         int best = 0;
         value = 0.0;
         for (int i = 0; i < static_cast<int>(points.size()); ++i)
            if (const ZqReal here = measure(points[i] - origin); here > value)
            {
               value = here;
               best = i;
            }
         return best;
      };
      corner[1] = most([](const Vec3& p) { return norm(p); }, length);
      along = unit(points[corner[1]] - origin);
      corner[2] = most([&](const Vec3& p) { return norm(cross(along, p)); }, width);
      normal = width > 0.0 ? unit(cross(along, points[corner[2]] - origin)) : perpendicular(along);
      across = cross(normal, along);
      corner[3] = most([&](const Vec3& p) { return std::abs(dot(normal, p)); }, thickness);
   }
   int dimension() const noexcept
   {
      if (!(length > 0.0))
         return 0;
      if (!(width > flatness * length))
         return 1;
      return thickness > flatness * length ? 3 : 2;
   }
};

/// The points about the first one in a frame and in units in which they are about as long as they are wide
/// and thick: a hull does not change by that, and rounding is the same along all axes.
std::vector<Vec3> inOwnUnits(std::span<const Vec3> points, const Span& span)
{
   std::vector<Vec3> scaled;
   scaled.reserve(points.size());
   for (const Vec3& point : points)
   {
      const Vec3 p = point - points[0];
      scaled.push_back({dot(p, span.along) / span.length, dot(p, span.across) / span.width,
                        dot(p, span.normal) / span.thickness});
   }
   return scaled;
}

/// Where Qhull's messages go.
class Nowhere
{
public:
#ifdef _WIN32
   Nowhere() : m_file(std::fopen("NUL", "w"))
#else
   Nowhere() : m_file(std::fopen("/dev/null", "w"))
#endif
   {
      if (m_file == nullptr)
         m_file = std::tmpfile();
   }
   Nowhere(const Nowhere&) = delete;
   Nowhere& operator=(const Nowhere&) = delete;
   ~Nowhere()
   {
      if (m_file != nullptr)
         std::fclose(m_file);
   }
   std::FILE* get() const noexcept
   {
      return m_file;
   }

private:
   std::FILE* m_file;
};

/// The faces of the hull by Qhull, each by its points counter-clockwise as seen from outside. None where it
/// gives up.
std::vector<Polygon> facesByQhull(const std::vector<Vec3>& points, const char* options)
{
   static_assert(sizeof(Vec3) == 3 * sizeof(coordT));
   std::vector<Polygon> faces;
   const Nowhere nowhere;
   if (nowhere.get() == nullptr)
      return faces;
   qhT memory;
   qhT* const qh = &memory;
   qh_zero(qh, nowhere.get());
   ZqString command = options;
   // Qhull does not change the points.
   auto* coordinates = const_cast<coordT*>(&points[0].x);
   const int code = qh_new_qhull(qh, 3, static_cast<int>(points.size()), coordinates, False,
                                 command.data(), nowhere.get(), nowhere.get());
   if (code == 0)
   {
      facetT* facet;
      FORALLfacets
      {
         Polygon face;
         setT* vertices = qh_facet3vertex(qh, facet);
         vertexT* vertex;
         vertexT** vertexp;
         FOREACHvertex_(vertices) face.push_back(qh_pointid(qh, vertex->point));
         qh_settempfree(qh, &vertices);
         faces.push_back(std::move(face));
      }
   }
   qh_freeqhull(qh, qh_ALL);
   int blocks = 0;
   int bytes = 0;
   qh_memfreeshort(qh, &blocks, &bytes);
   return faces;
}

/// Twice the area of a polygon, along its normal (Newell).
Vec3 areaVector(std::span<const Vec3> points, const Polygon& face) noexcept
{
   Vec3 sum{0.0, 0.0, 0.0};
   const Vec3& origin = points[face[0]];
   for (std::size_t i = 1; i + 1 < face.size(); ++i)
      sum += cross(points[face[i]] - origin, points[face[i + 1]] - origin);
   return sum;
}

ZqReal sixfoldVolume(std::span<const Vec3> points, const std::vector<Polygon>& faces) noexcept
{
   const Vec3& apex = points[faces[0][0]];
   ZqReal sum = 0.0;
   for (const Polygon& face : faces)
      sum += dot(areaVector(points, face), points[face[0]] - apex);
   return sum;
}

/// Each edge of a closed surface belongs to two faces, once in each direction.
bool isClosedSurface(const std::vector<Polygon>& faces)
{
   std::vector<std::pair<int, int>> forth;
   std::vector<std::pair<int, int>> back;
   for (const Polygon& face : faces)
   {
      if (face.size() < 3)
         return false;
      for (std::size_t i = 0; i < face.size(); ++i)
      {
         const int from = face[i];
         const int to = face[i + 1 == face.size() ? 0 : i + 1];
         forth.emplace_back(from, to);
         back.emplace_back(to, from);
      }
   }
   std::sort(forth.begin(), forth.end());
   std::sort(back.begin(), back.end());
   return !forth.empty() && forth == back &&
          std::adjacent_find(forth.begin(), forth.end()) == forth.end();
}

/// The faces of the box around the points, for which it puts the corners of the box in their place: holds
/// them where all else has failed.
std::vector<Polygon> facesOfBox(std::vector<Vec3>& points)
{
   Vec3 lower = points[0];
   Vec3 upper = points[0];
   for (const Vec3& p : points)
      for (int i = 0; i < 3; ++i)
      {
         lower[i] = std::min(lower[i], p[i]);
         upper[i] = std::max(upper[i], p[i]);
      }
   points.clear();
   for (int i = 0; i < 8; ++i)
      points.push_back({(i & 1) != 0 ? upper.x : lower.x, (i & 2) != 0 ? upper.y : lower.y,
                        (i & 4) != 0 ? upper.z : lower.z});
   return {{0, 4, 6, 2}, {1, 3, 7, 5}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 2, 3, 1}, {4, 5, 7, 6}};
}

/// The faces of a solid, exact or else of joggled points; `points` are replaced by a box where both fail.
std::vector<Polygon> facesOfSolid(std::vector<Vec3>& points, const Span& span)
{
   const std::vector<Vec3> scaled = inOwnUnits(points, span);
   for (const char* options : {"qhull Pp", "qhull Pp QJ"})
   {
      std::vector<Polygon> faces = facesByQhull(scaled, options);
      if (!isClosedSurface(faces))
         continue;
      if (sixfoldVolume(scaled, faces) < 0.0)
         for (Polygon& face : faces)
            std::reverse(face.begin(), face.end());
      return faces;
   }
   return facesOfBox(points);
}

/// The polygon around points in a plane, counter-clockwise about the normal, without points that are on its
/// edges (Andrew 1979).
Polygon polygonAround(std::span<const Vec3> points, const Span& span)
{
   struct Flat
   {
      ZqReal x, y;
      int index;
   };
   std::vector<Flat> flat;
   for (int i = 0; i < static_cast<int>(points.size()); ++i)
   {
      const Vec3 p = points[i] - points[0];
      flat.push_back({dot(p, span.along) / span.length, dot(p, span.across) / span.width, i});
   }
   std::sort(flat.begin(), flat.end(),
             [](const Flat& a, const Flat& b)
             { return std::tie(a.x, a.y, a.index) < std::tie(b.x, b.y, b.index); });
   std::vector<Flat> chain;
   for (int half = 0; half < 2; ++half)
   {
      const std::size_t first = chain.size();
      for (const Flat& q : flat)
      {
         while (chain.size() >= first + 2)
         {
            const Flat& a = chain[chain.size() - 2];
            const Flat& b = chain.back();
            if ((b.x - a.x) * (q.y - a.y) - (b.y - a.y) * (q.x - a.x) > 1e-14)
               break;
            chain.pop_back();
         }
         chain.push_back(q);
      }
      chain.pop_back(); // the next half begins with it
      std::reverse(flat.begin(), flat.end());
   }
   Polygon polygon;
   for (const Flat& q : chain)
      polygon.push_back(q.index);
   return polygon;
}

/// Puts the records of a hull together from faces of points by index.
class HullMaker
{
public:
   HullMaker(ZqHull& hull, std::span<const Vec3> points) : m_hull(hull), m_points(points) {}

   /// The ends of a segment, or a single place.
   void setVertices(std::vector<int> indices)
   {
      takeVertices(std::move(indices));
      for (std::size_t i = 0; i < m_hull.vertices.size(); ++i)
         for (std::size_t j = 0; j < m_hull.vertices.size(); ++j)
            if (i != j)
               m_edges.emplace_back(static_cast<int>(i), static_cast<int>(j));
      finish();
   }
   void setPolygon(const Polygon& polygon, const Vec3& normal)
   {
      takeVertices(polygon);
      const Polygon front = numbered(polygon);
      const Polygon back(front.rbegin(), front.rend());
      addEdges(front);
      addEdges(back);
      addFace(front, normal, front);
      addFace(back, -normal, back);
      finish();
   }
   /// Faces that lie in one plane, as the scale of the span has it, become one.
   void setSolid(const std::vector<Polygon>& faces, const Span& span)
   {
      std::vector<int> used;
      for (const Polygon& face : faces)
         used.insert(used.end(), face.begin(), face.end());
      takeVertices(std::move(used));
      std::vector<Polygon> polygons;
      for (const Polygon& face : faces)
      {
         polygons.push_back(numbered(face));
         addEdges(polygons.back());
      }
      m_hull.volume = sixfoldVolume(m_hull.vertices, polygons) / 6.0;
      joinFaces(polygons, inOwnUnits(m_hull.vertices, span));
      finish();
   }

private:
   /// In the order of the points, each once.
   void takeVertices(std::vector<int> indices)
   {
      std::sort(indices.begin(), indices.end());
      indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
      m_indices = std::move(indices);
      for (int index : m_indices)
         m_hull.vertices.push_back(m_points[index]);
   }
   Polygon numbered(const Polygon& polygon) const
   {
      Polygon result;
      for (int index : polygon)
         result.push_back(static_cast<int>(
            std::lower_bound(m_indices.begin(), m_indices.end(), index) - m_indices.begin()));
      return result;
   }
   void addEdges(const Polygon& polygon)
   {
      for (std::size_t i = 0; i < polygon.size(); ++i)
         m_edges.emplace_back(polygon[i], polygon[i + 1 == polygon.size() ? 0 : i + 1]);
   }
   /// A face with its rim; `members` are all vertices that count to it.
   void addFace(const Polygon& rim, const Vec3& normal, const Polygon& members)
   {
      const auto number = static_cast<int>(m_hull.faces.size());
      ZqReal offset = dot(normal, m_hull.vertices[rim[0]]);
      for (int member : members)
      {
         offset = std::max(offset, dot(normal, m_hull.vertices[member]));
         m_places.emplace_back(member, number);
      }
      m_hull.faces.push_back(
         {normal, offset, static_cast<int>(m_hull.corners.size()), static_cast<int>(rim.size())});
      m_hull.corners.insert(m_hull.corners.end(), rim.begin(), rim.end());
   }

   /// For each face those across its edges: the list of all edges and that of all edges turned round have the
   /// same order.
   static std::vector<std::vector<int>> facesAcross(const std::vector<Polygon>& polygons)
   {
      using Edge = std::array<int, 3>; // from, to, face
      std::vector<Edge> edges;
      for (int f = 0; f < static_cast<int>(polygons.size()); ++f)
      {
         const Polygon& p = polygons[f];
         for (std::size_t i = 0; i < p.size(); ++i)
            edges.push_back({p[i], p[i + 1 == p.size() ? 0 : i + 1], f});
      }
      std::vector<Edge> turned;
      for (const auto& [from, to, face] : edges)
         turned.push_back({to, from, face});
      std::sort(edges.begin(), edges.end());
      std::sort(turned.begin(), turned.end());
      std::vector<std::vector<int>> across(polygons.size());
      for (std::size_t i = 0; i < edges.size(); ++i)
         across[static_cast<std::size_t>(edges[i][2])].push_back(turned[i][2]);
      return across;
   }
   /// From the largest face on, each takes in those next to it that lie in its plane.
   void joinFaces(const std::vector<Polygon>& polygons, const std::vector<Vec3>& scaled)
   {
      const std::vector<std::vector<int>> across = facesAcross(polygons);
      std::vector<Vec3> area;
      for (const Polygon& polygon : polygons)
         area.push_back(areaVector(scaled, polygon));
      std::vector<int> order(polygons.size());
      std::iota(order.begin(), order.end(), 0);
      std::stable_sort(order.begin(), order.end(),
                       [&](int a, int b) { return norm2(area[a]) > norm2(area[b]); });
      std::vector<int> owner(polygons.size(), -1);
      for (int seed : order)
      {
         if (owner[seed] >= 0)
            continue;
         const Vec3 normal = unit(area[seed]);
         const ZqReal offset = dot(normal, scaled[polygons[seed][0]]);
         const auto isInPlane = [&](int f)
         {
            return !(dot(normal, area[f]) < -coplanarity) &&
                   std::all_of(polygons[f].begin(), polygons[f].end(),
                               [&](int v) {
                                  return std::abs(dot(normal, scaled[v]) - offset) <= coplanarity;
                               });
         };
         std::vector<int> joined = {seed};
         owner[seed] = seed;
         for (std::size_t next = 0; next < joined.size(); ++next)
            for (int other : across[static_cast<std::size_t>(joined[next])])
               if (owner[other] < 0 && isInPlane(other))
               {
                  owner[other] = seed;
                  joined.push_back(other);
               }
         addJoined(polygons, joined);
      }
   }
   void addJoined(const std::vector<Polygon>& polygons, const std::vector<int>& joined)
   {
      const Polygon rim = joined.size() > 1 ? rimOf(polygons, joined) : polygons[joined[0]];
      if (rim.empty()) // not one round: as they are
      {
         for (int f : joined)
            addFace(polygons[f], unit(areaVector(m_hull.vertices, polygons[f])), polygons[f]);
         return;
      }
      Polygon members;
      for (int f : joined)
         members.insert(members.end(), polygons[f].begin(), polygons[f].end());
      std::sort(members.begin(), members.end());
      members.erase(std::unique(members.begin(), members.end()), members.end());
      addFace(rim, unit(areaVector(m_hull.vertices, rim)), members);
   }
   /// The round of edges around faces that are next to each other; empty when there are several.
   static Polygon rimOf(const std::vector<Polygon>& polygons, const std::vector<int>& joined)
   {
      std::map<int, int> next;
      std::map<std::pair<int, int>, bool> edges;
      for (int f : joined)
      {
         const Polygon& p = polygons[f];
         for (std::size_t i = 0; i < p.size(); ++i)
            edges[{p[i], p[i + 1 == p.size() ? 0 : i + 1]}] = true;
      }
      std::size_t count = 0;
      for (const auto& [edge, is] : edges)
         if (edges.find({edge.second, edge.first}) == edges.end())
         {
            ++count;
            if (!next.emplace(edge.first, edge.second).second)
               return {};
         }
      Polygon rim;
      if (next.empty())
         return rim;
      const int first = next.begin()->first;
      for (int at = first; rim.size() <= count;)
      {
         rim.push_back(at);
         const auto found = next.find(at);
         if (found == next.end())
            return {};
         at = found->second;
         if (at == first)
            break;
      }
      return rim.size() == count && count >= 3 ? rim : Polygon();
   }

   /// Lists by vertex, from pairs of a vertex and what it has.
   static void listByVertex(std::vector<std::pair<int, int>>& pairs, std::size_t vertexCount,
                            std::vector<int>& first, std::vector<int>& items)
   {
      std::sort(pairs.begin(), pairs.end());
      pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
      first.assign(vertexCount + 1, 0);
      for (const auto& [vertex, item] : pairs)
      {
         ++first[static_cast<std::size_t>(vertex) + 1];
         items.push_back(item);
      }
      std::partial_sum(first.begin(), first.end(), first.begin());
   }
   void finish()
   {
      listByVertex(m_edges, m_hull.vertices.size(), m_hull.firstNeighbour, m_hull.neighbours);
      listByVertex(m_places, m_hull.vertices.size(), m_hull.firstFace, m_hull.facesAt);
      for (const Vec3& vertex : m_hull.vertices)
         m_hull.radius = std::max(m_hull.radius, norm(vertex));
   }

   ZqHull& m_hull;
   std::span<const Vec3> m_points;
   std::vector<int> m_indices;                ///< of the points that are vertices
   std::vector<std::pair<int, int>> m_edges;  ///< from vertex to vertex
   std::vector<std::pair<int, int>> m_places; ///< vertex and face
};
} // namespace

std::shared_ptr<const ZqHull> ZqHull::of(std::span<const Vec3> points)
{
   const auto hull = std::make_shared<ZqHull>();
   const Vec3 origin{0.0, 0.0, 0.0};
   if (points.empty())
      points = {&origin, 1};
   const Span span(points);
   hull->dimension = span.dimension();
   std::vector<Vec3> own;
   switch (hull->dimension)
   {
   case 0:
      HullMaker(*hull, points).setVertices({0});
      break;
   case 1:
   {
      const auto [low, high] = std::minmax_element(
         points.begin(), points.end(),
         [&](const Vec3& a, const Vec3& b) { return dot(a, span.along) < dot(b, span.along); });
      HullMaker(*hull, points)
         .setVertices(
            {static_cast<int>(low - points.begin()), static_cast<int>(high - points.begin())});
      break;
   }
   case 2:
      HullMaker(*hull, points).setPolygon(polygonAround(points, span), span.normal);
      break;
   default:
   {
      own.assign(points.begin(), points.end());
      const std::vector<Polygon> faces = facesOfSolid(own, span);
      HullMaker(*hull, own).setSolid(faces, span);
      hull->makeStarts();
      break;
   }
   }
   hull->makeFingerprint();
   return hull;
}

void ZqHull::makeFingerprint() noexcept
{
   fingerprint = vertices.size();
   for (const Vec3& vertex : vertices)
      for (const ZqReal x : {vertex.x, vertex.y, vertex.z})
      {
         // The two zeros are one place.
         const auto bits = std::bit_cast<std::uint64_t>(x + 0.0);
         fingerprint = (fingerprint ^ bits ^ bits >> 32) * 0x9E3779B97F4A7C15;
         fingerprint ^= fingerprint >> 29;
      }
}

zqConvex::Vec3 ZqHull::middleOfCell(int cell) const noexcept
{
   const int side = cell / (m_cells * m_cells);
   const ZqReal u = (2.0 * (cell / m_cells % m_cells) + 1.0) / m_cells - 1.0;
   const ZqReal v = (2.0 * (cell % m_cells) + 1.0) / m_cells - 1.0;
   const ZqReal most = side % 2 == 1 ? -1.0 : 1.0;
   if (side < 2)
      return {most, u, v};
   return side < 4 ? Vec3{u, most, v} : Vec3{u, v, most};
}

void ZqHull::makeStarts()
{
   const std::size_t count = vertices.size();
   if (count <= fewVertices || count > std::numeric_limits<std::uint16_t>::max())
      return;
   m_cells = std::clamp(static_cast<int>(std::sqrt(static_cast<ZqReal>(count) / 2.0)), 3, 32);
   std::vector<std::uint16_t> starts(static_cast<std::size_t>(6 * m_cells * m_cells));
   int at = 0; // from one cell to the next it is a short walk
   for (std::size_t cell = 0; cell < starts.size(); ++cell)
   {
      support(middleOfCell(static_cast<int>(cell)), at);
      starts[cell] = static_cast<std::uint16_t>(at);
   }
   m_startOf = std::move(starts);
}
