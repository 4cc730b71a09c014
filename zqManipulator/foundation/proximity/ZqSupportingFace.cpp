#include "zqManipulator/foundation/proximity/ZqSupportingFace.h"

namespace zqConvex
{
namespace
{
constexpr ZqReal facing = 0.8660254037844386; // cos 30 degrees
constexpr ZqReal across = 0.2588190451025207; // sin 15 degrees

// Vertices of a turned core: eight points of each rim, which a disc has but once, and the ends of the line on the
// mantle that is looked at, wherever it runs.
constexpr int mantleEnd = 2 * SupportingFace::rimPoints;

void setVertex(SupportingFace& face, const Vec3& d, const Vec3& p, int vertex) noexcept
{
   face.count = 1;
   face.normal = d;
   face.corner[0] = p;
   face.vertex[0] = vertex;
}

void setEdge(SupportingFace& face, const Vec3& d, const Vec3& p, int vertex, const Vec3& q,
             int other) noexcept
{
   const Vec3 e = q - p;
   face.count = 2;
   face.normal = unit(d - e * (dot(d, e) / norm2(e)));
   face.corner[0] = p;
   face.corner[1] = q;
   face.vertex[0] = vertex;
   face.vertex[1] = other;
}

// Extents of zero have one side only.
int vertexOfBox(const Vec3& h, const Vec3& p) noexcept
{
   return (h.x > 0.0 && p.x < 0.0) + 2 * (h.y > 0.0 && p.y < 0.0) + 4 * (h.z > 0.0 && p.z < 0.0);
}

void faceOfBox(const ZqConvex& C, const Vec3& d, SupportingFace& face) noexcept
{
   const Vec3& h = C.h;
   const Vec3 p = {std::copysign(h.x, d.x), std::copysign(h.y, d.y), std::copysign(h.z, d.z)};
   int k = std::abs(d.x) >= std::abs(d.y) ? 0 : 1;
   if (std::abs(d.z) > std::abs(d[k]))
      k = 2;
   const int i = k == 2 ? 0 : k + 1;
   const int j = k == 0 ? 2 : k - 1;
   if (std::abs(d[k]) >= facing && h[i] > 0.0 && h[j] > 0.0)
   {
      const ZqReal side = d[k] < 0.0 ? -1.0 : 1.0;
      const ZqReal alongI[4] = {h[i], -h[i], -h[i], h[i]};
      const ZqReal alongJ[4] = {h[j], h[j], -h[j], -h[j]};
      face.count = 4;
      face.normal = {0.0, 0.0, 0.0};
      face.normal[k] = side;
      face.axis = {0.0, 0.0, 0.0};
      face.axis[i] = 1.0;
      for (int q = 0; q < 4; ++q)
      {
         Vec3& c = face.corner[q];
         c = p;
         c[i] = alongI[q];
         c[j] = side * alongJ[q];
         face.vertex[q] = vertexOfBox(h, c);
      }
      return;
   }
   int along = -1;
   ZqReal best = 0.0;
   for (int q = 0; q < 3; ++q)
      if (const ZqReal lean = std::abs(d[q]);
          h[q] > 0.0 && lean <= across && h[q] * (1.0 - lean) > best)
      {
         best = h[q] * (1.0 - lean);
         along = q;
      }
   if (along < 0)
      return setVertex(face, d, p, vertexOfBox(h, p));
   Vec3 first = p;
   Vec3 second = p;
   first[along] = h[along];
   second[along] = -h[along];
   setEdge(face, d, first, vertexOfBox(h, first), second, vertexOfBox(h, second));
}

void faceOfTurned(const ZqConvex& C, const Vec3& d, SupportingFace& face) noexcept
{
   const ZqReal bottom = C.h.x;
   const ZqReal top = C.h.y;
   const ZqReal half = C.h.z;
   const ZqReal rho = std::sqrt(d.x * d.x + d.y * d.y);
   const bool isUp = d.z > 0.0;
   const ZqReal radius = isUp ? top : bottom;
   const Vec3 out = rho > 0.0 ? Vec3{d.x / rho, d.y / rho, 0.0} : Vec3{1.0, 0.0, 0.0};
   // How well the mantle looks along d, and how far the line on it below d leans.
   const ZqReal length = std::sqrt(4.0 * half * half + (top - bottom) * (top - bottom));
   const ZqReal mantle = half > 0.0 ? (2.0 * half * rho + (bottom - top) * d.z) / length : 0.0;
   const ZqReal lean = half > 0.0 ? (2.0 * half * d.z + (top - bottom) * rho) / length : 1.0;
   if (radius > 0.0 && std::abs(d.z) >= facing && std::abs(d.z) >= mantle)
   {
      const ZqReal side = isUp ? 1.0 : -1.0;
      const ZqReal r = radius;
      const ZqReal q = 0.7071067811865476 * radius;
      const ZqReal x[SupportingFace::rimPoints] = {r, q, 0.0, -q, -r, -q, 0.0, q};
      const ZqReal y[SupportingFace::rimPoints] = {0.0, q, r, q, 0.0, -q, -r, -q};
      const int rim = isUp && half > 0.0 ? 1 : 0;
      face.count = SupportingFace::rimPoints;
      face.isDisc = true;
      face.normal = {0.0, 0.0, side};
      face.axis = {1.0, 0.0, 0.0};
      face.middle = {0.0, 0.0, side * half};
      face.radius = radius;
      face.rim = rim;
      face.rimVertex = mantleEnd + rim;
      for (int i = 0; i < SupportingFace::rimPoints; ++i)
      {
         const int k = isUp ? i : (SupportingFace::rimPoints - i) % SupportingFace::rimPoints;
         face.corner[i] = {x[k], y[k], side * half};
         face.vertex[i] = SupportingFace::rimPoints * rim + k;
      }
      return;
   }
   if (mantle > 0.0 && std::abs(lean) <= across)
   {
      const Vec3 low = {out.x * bottom, out.y * bottom, -half};
      const Vec3 high = {out.x * top, out.y * top, half};
      return setEdge(face, d, low, mantleEnd, high, mantleEnd + 1);
   }
   const bool isHigh = top * rho + half * d.z >= bottom * rho - half * d.z;
   const ZqReal there = isHigh ? top : bottom;
   setVertex(face, d, {out.x * there, out.y * there, isHigh ? half : -half},
             mantleEnd + (isHigh && half > 0.0));
}

void faceOfTriangle(const ZqConvex& C, const Vec3& d, SupportingFace& face) noexcept
{
   const Vec3* c = C.corner;
   const Vec3 normal = unit(cross(c[1] - c[0], c[2] - c[0]));
   const ZqReal s = dot(normal, d);
   if (std::abs(s) >= facing)
   {
      face.count = 3;
      face.normal = s > 0.0 ? normal : -normal;
      face.axis = unit(c[1] - c[0]);
      for (int k = 0; k < 3; ++k)
      {
         face.vertex[k] = s > 0.0 ? k : 2 - k;
         face.corner[k] = c[face.vertex[k]];
      }
      return;
   }
   int k = dot(c[1], d) > dot(c[0], d) ? 1 : 0;
   if (dot(c[2], d) > dot(c[k], d))
      k = 2;
   int other = -1;
   ZqReal best = across * across;
   for (const int i : {(k + 1) % 3, (k + 2) % 3})
   {
      const Vec3 e = c[i] - c[k];
      if (const ZqReal l = dot(e, d); l * l <= best * norm2(e))
      {
         best = l * l / norm2(e);
         other = i;
      }
   }
   if (other < 0)
      return setVertex(face, d, c[k], k);
   setEdge(face, d, c[k], k, c[other], other);
}

void faceOfPolygon(const ZqHull& H, int f, SupportingFace& face) noexcept
{
   const ZqHull::Face& F = H.faces[f];
   const int step = (F.cornerCount + SupportingFace::capacity - 1) / SupportingFace::capacity;
   face.count = 0;
   face.normal = F.normal;
   face.axis = perpendicular(F.normal);
   for (int i = 0; i < F.cornerCount; i += step)
   {
      const int vertex = H.corners[F.firstCorner + i];
      face.vertex[face.count] = vertex;
      face.corner[face.count++] = H.vertices[vertex];
   }
}

/// The neighbour of the furthest vertex that is least behind it, seen from there, and how far the edge leans.
int neighbourAlong(const ZqHull& H, const Vec3& d, int at, ZqReal& lean2) noexcept
{
   int other = -1;
   ZqReal l2 = 1.0;
   ZqReal e2 = 1.0;
   for (int i = H.firstNeighbour[at]; i < H.firstNeighbour[at + 1]; ++i)
   {
      const Vec3 e = H.vertices[H.neighbours[i]] - H.vertices[at];
      const ZqReal l = dot(e, d);
      const ZqReal length2 = norm2(e);
      if (l * l * e2 < l2 * length2)
      {
         l2 = l * l;
         e2 = length2;
         other = H.neighbours[i];
      }
   }
   lean2 = l2 / e2;
   return other;
}

// Where an edge is furthest, of its two faces: the deepest place is on both of them, and on no other one.
void faceOfHull(const ZqHull& H, const Vec3& d, int& at, SupportingFace& face) noexcept
{
   constexpr ZqReal level = 1e-5;
   H.support(d, at);
   ZqReal lean2 = 1.0;
   const int other = neighbourAlong(H, d, at, lean2);
   const bool isEdge = other >= 0 && lean2 <= level * level;
   int pick = -1;
   ZqReal best = facing;
   for (int i = H.firstFace[at]; i < H.firstFace[at + 1]; ++i)
   {
      const int f = H.facesAt[i];
      const ZqReal s = dot(H.faces[f].normal, d);
      if (s <= best - level || (s <= best && f > pick) || H.faces[f].cornerCount < 3)
         continue;
      const int* const end = H.facesAt.data() + H.firstFace[other + 1];
      if (isEdge && std::find(H.facesAt.data() + H.firstFace[other], end, f) == end)
         continue;
      best = std::max(best, s);
      pick = f;
   }
   if (pick >= 0)
      return faceOfPolygon(H, pick, face);
   if (other < 0 || lean2 > across * across)
      return setVertex(face, d, H.vertices[at], at);
   setEdge(face, d, H.vertices[at], at, H.vertices[other], other);
}
} // namespace

void supportingFace(const ZqConvex& C, const Vec3& d, int& at, SupportingFace& face) noexcept
{
   face.isDisc = false;
   switch (C.core)
   {
   case ZqConvex::Core::Box:
      return faceOfBox(C, d, face);
   case ZqConvex::Core::Turned:
      return faceOfTurned(C, d, face);
   case ZqConvex::Core::Triangle:
      return faceOfTriangle(C, d, face);
   case ZqConvex::Core::Polytope:
      return faceOfHull(*C.hull, d, at, face);
   case ZqConvex::Core::Ellipsoid:
   case ZqConvex::Core::HalfSpace:
      break;
   }
   setVertex(face, d, C.support(d, at), 0);
}

void placeFace(const Pose& X, SupportingFace& face) noexcept
{
   face.normal = X.R * face.normal;
   for (int i = 0; i < face.count; ++i)
      face.corner[i] = X * face.corner[i];
   if (face.count < 3)
      return;
   face.axis = X.R * face.axis;
   if (face.isDisc)
      face.middle = X * face.middle;
}

std::uint32_t vertexName(int vertex) noexcept
{
   return 2u * static_cast<std::uint32_t>(vertex) + 2u;
}

std::uint32_t edgeName(const ZqConvex& C, int vertex, int other) noexcept
{
   const int low = std::min(vertex, other);
   const int high = std::max(vertex, other);
   // Of a hull: where the low vertex tells of the high one.
   int number = 32 * low + high;
   if (C.core == ZqConvex::Core::Polytope)
   {
      const ZqHull& H = *C.hull;
      const int count = static_cast<int>(H.neighbours.size());
      number = count + low; // of a side that stands for several edges
      if (low + 1 < static_cast<int>(H.firstNeighbour.size()))
         for (int i = H.firstNeighbour[low]; i < H.firstNeighbour[low + 1]; ++i)
            if (H.neighbours[i] == high)
               number = i;
   }
   return 2u * static_cast<std::uint32_t>(number) + 3u;
}

std::uint32_t rimName(const SupportingFace& disc, bool leaves, int ordinal) noexcept
{
   // Beyond the numbers of edges between vertices of a turned core.
   return 2u * static_cast<std::uint32_t>(1024 + 4 * ordinal + 2 * disc.rim + leaves) + 3u;
}
} // namespace zqConvex
