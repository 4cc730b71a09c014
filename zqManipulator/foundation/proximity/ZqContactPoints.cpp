#include "zqManipulator/foundation/proximity/ZqContactPoints.h"

#include "zqManipulator/foundation/proximity/ZqSupportingFace.h"

namespace zqConvex
{
namespace
{
/// Edges that lean by less than this (rad, about) run side by side.
constexpr ZqReal sideBySide = 0.05;

/// Of a place that is neither vertex nor edge.
constexpr std::uint32_t unknownName = 0xffffffff;

/// What a corner of the patch is: in the order in which one stands for others at the same place.
enum class Meeting : std::uint8_t
{
   OtherCorner,     ///< a corner of the other face, within the reference
   ReferenceCorner, ///< a corner of the reference, within the other
   Crossing,        ///< of an edge of each
   Deepest          ///< the deepest place, where it is none of these
};

/// A corner of the patch, in the plane of the reference face.
struct Corner
{
   ZqReal x, y;
   ZqReal gap; ///< between the cores, along the normal
   std::uint64_t name;
   std::int16_t other, reference; ///< which corners or edges meet
   std::int16_t
      side; ///< what borders the patch from here on: an edge of the other, or ~ one of the reference
   Meeting meeting;
   std::int8_t rim; ///< of the crossing of a rim: twice its number, and 1 where it leaves
};

/// The face of B in the frame of A.
void place(const Pose& X, SupportingFace& face) noexcept
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

/// The patch that two faces cover together, or a face and an edge, or a plane without border and any.
///
/// One of the faces is the reference, in whose plane all is computed; the other one is projected onto it along
/// the normal. Which of them it is changes no more than the rounding.
class Patch
{
public:
   /// More than any two faces give: corners of both, or twice the sides of one and the points of a rim.
   static constexpr int capacity = 2 * SupportingFace::capacity + SupportingFace::rimPoints + 1;

   Patch(CorePair& pair, const CoreAnswer& answer, const SupportingFace* reference,
         const SupportingFace& other, bool isReferenceA) noexcept
      : m_pair(pair), m_answer(answer), m_reference(reference), m_other(other),
        m_isReferenceA(isReferenceA)
   {
      const ZqReal small = std::min(pair.A.size, pair.B.size);
      const ZqReal large = std::max(pair.A.size, pair.B.size);
      const bool isPlane = !pair.A.isBounded();
      const ZqReal least = isPlane ? large : small;
      m_rounding = (pair.A.isCurved() || pair.B.isCurved() ? 1e-6 : 1e-9) * least + 1e-13 * large;
      m_tolerance = 1e-6 * least + 1e-12 * large;
      const Vec3& n = answer.n;
      Vec3 normal = {0.0, 0.0, 1.0};
      m_origin = {0.0, 0.0, 0.0};
      m_e1 = {1.0, 0.0, 0.0};
      if (reference)
      {
         normal = reference->normal;
         m_origin = reference->isDisc ? reference->middle : reference->corner[0];
         m_e1 = reference->axis;
      }
      m_e2 = cross(normal, m_e1);
      const ZqReal facing = 1.0 / dot(normal, n);
      m_g1 = m_e1 - normal * (dot(m_e1, n) * facing);
      m_g2 = m_e2 - normal * (dot(m_e2, n) * facing);
      // How far the other lies from a place on the reference, along n; turned round where the reference is B.
      const ZqReal scale = (isReferenceA ? 1.0 : -1.0) / dot(other.normal, n);
      m_gap0 = dot(other.normal, other.corner[0] - m_origin) * scale;
      m_gapX = -dot(other.normal, m_e1) * scale;
      m_gapY = -dot(other.normal, m_e2) * scale;
   }

   void cut() noexcept
   {
      load();
      if (!m_reference)
         return;
      if (m_reference->isDisc)
         m_other.count == 2 ? cutEdgeByRim() : m_other.isDisc ? cutRimByRim() : cutFaceByRim();
      else
         m_other.count == 2 ? cutEdgeByFace() : cutFaceByFace();
   }
   /// Gaps and names; leaves out what is further apart than `reach`. False if no corner reaches the deepest
   /// place.
   bool measure(ZqReal reach) noexcept;
   void addDeepest() noexcept;
   void thin(int most) noexcept;
   void write(ZqContactManifold& out) const noexcept;

private:
   void load() noexcept;
   void cutFaceByFace() noexcept;
   void cutByEdge(int edge) noexcept;
   void cutEdgeByFace() noexcept;
   void cutFaceByRim() noexcept;
   void cutEdgeByRim() noexcept;
   void cutRimByRim() noexcept;
   void sortAround() noexcept;
   void joinDoubles() noexcept;
   void takeTinyForPoint() noexcept;
   std::uint64_t nameOf(const Corner& c) const noexcept;

   Corner project(const Vec3& p) const noexcept
   {
      Corner c;
      c.x = dot(m_g1, p - m_origin);
      c.y = dot(m_g2, p - m_origin);
      c.rim = 0;
      return c;
   }
   struct Place
   {
      ZqReal x, y;
   };
   /// Of a corner of the reference, which the projection leaves where it is.
   Place flat(int i) const noexcept
   {
      const Vec3 d = m_reference->corner[i] - m_origin;
      return {dot(m_e1, d), dot(m_e2, d)};
   }
   /// The line of a side of the reference: what lies outside has a positive height times length, and `within`
   /// is the same of the rounding.
   struct Line
   {
      ZqReal x, y, ex, ey, within;

      ZqReal height(const Corner& c) const noexcept { return (c.x - x) * ey - (c.y - y) * ex; }
   };
   Line line(const Place& p, const Place& q) const noexcept
   {
      const ZqReal ex = q.x - p.x;
      const ZqReal ey = q.y - p.y;
      return {p.x, p.y, ex, ey, m_rounding * (std::abs(ex) + std::abs(ey))};
   }
   Line lineOfReference(int edge) const noexcept
   {
      return line(flat(edge), flat(edge + 1 == m_reference->count ? 0 : edge + 1));
   }
   void add(const Corner& c) noexcept
   {
      if (m_count < capacity)
         m_corner[m_count++] = c;
   }
   static Corner referenceCorner(const Place& p, int i, int side) noexcept
   {
      return {p.x,
              p.y,
              0.0,
              0,
              -1,
              static_cast<std::int16_t>(i),
              static_cast<std::int16_t>(side),
              Meeting::ReferenceCorner,
              0};
   }
   static Corner crossing(const Place& p, int other, int reference, int side, int rim = 0) noexcept
   {
      return {p.x,
              p.y,
              0.0,
              0,
              static_cast<std::int16_t>(other),
              static_cast<std::int16_t>(reference),
              static_cast<std::int16_t>(side),
              Meeting::Crossing,
              static_cast<std::int8_t>(rim)};
   }
   static Place between(const Corner& p, const Corner& q, ZqReal t) noexcept
   {
      return {p.x + (q.x - p.x) * t, p.y + (q.y - p.y) * t};
   }

   CorePair& m_pair;
   const CoreAnswer& m_answer;
   const SupportingFace* m_reference; ///< null: a plane without border
   const SupportingFace& m_other;
   const bool m_isReferenceA;
   ZqReal
      m_rounding; ///< within which places are one: what the error of a normal on curved cores makes of them
   ZqReal m_tolerance; ///< within which depths are one
   Vec3 m_origin, m_e1, m_e2;
   Vec3 m_g1, m_g2; ///< coordinates in the plane of what is projected along the normal
   ZqReal m_gap0, m_gapX, m_gapY;
   int m_count = 0;
   Corner m_corner[capacity];
   Corner m_loaded[capacity]; ///< the other face in the plane; then a work space
};

// The corners of the other run clockwise about the normal of the reference: they are taken backwards.
void Patch::load() noexcept
{
   const int n = m_other.count;
   for (int i = 0; i < n; ++i)
   {
      const int k = n - 1 - i;
      Corner c = project(m_other.corner[k]);
      c.other = static_cast<std::int16_t>(k);
      c.reference = -1;
      c.side = static_cast<std::int16_t>(k > 0 ? k - 1 : n - 1);
      c.meeting = Meeting::OtherCorner;
      m_loaded[i] = c;
      m_corner[i] = c;
   }
   m_count = n;
}

void Patch::cutFaceByFace() noexcept
{
   for (int edge = 0; edge < m_reference->count && m_count > 0; ++edge)
      cutByEdge(edge);
   joinDoubles();
}

// What lies on the line counts as inside, and no crossing is made beside it.
void Patch::cutByEdge(int edge) noexcept
{
   const Line cut = lineOfReference(edge);
   ZqReal height[capacity];
   ZqReal most = 0.0;
   for (int i = 0; i < m_count; ++i)
   {
      height[i] = cut.height(m_corner[i]);
      most = std::max(most, height[i]);
   }
   if (!(most > cut.within))
      return;
   const int sides = m_reference->count;
   const int n = m_count;
   std::copy(m_corner, m_corner + n, m_loaded);
   m_count = 0;
   for (int i = 0; i < n; ++i)
   {
      const int j = i + 1 == n ? 0 : i + 1;
      const Corner& p = m_loaded[i];
      const bool isIn = height[i] <= cut.within;
      const bool isNextIn = height[j] <= cut.within;
      const int side = isNextIn ? p.side : ~edge;
      if (isIn)
      {
         add(p);
         if (!isNextIn && height[i] >= -cut.within)
            m_corner[m_count - 1].side = static_cast<std::int16_t>(side);
      }
      if (isIn == isNextIn || std::abs(height[isIn ? i : j]) <= cut.within)
         continue;
      // Two sides of the reference meet in its corner, if they are neighbours; if not, in a place that a later
      // side cuts off.
      const int before = ~p.side;
      const int corner = (edge + 1) % sides == before ? before : edge;
      const bool isCorner = corner == before || (before + 1) % sides == edge;
      const Place place = p.side < 0 && isCorner
                             ? flat(corner)
                             : between(p, m_loaded[j], height[i] / (height[i] - height[j]));
      add(p.side < 0 ? referenceCorner(place, corner, side) : crossing(place, p.side, edge, side));
   }
}

void Patch::cutEdgeByFace() noexcept
{
   ZqReal t0 = 0.0;
   ZqReal t1 = 1.0;
   int side0 = -1;
   int side1 = -1;
   const Corner& p = m_loaded[0];
   const Corner& q = m_loaded[1];
   m_count = 0;
   for (int edge = 0; edge < m_reference->count; ++edge)
   {
      const Line cut = lineOfReference(edge);
      const ZqReal a = cut.height(p);
      const ZqReal b = cut.height(q);
      if (a > cut.within && b > cut.within)
         return;
      if (a <= cut.within && b <= cut.within)
         continue;
      const ZqReal t = a / (a - b);
      if (a > b && t > t0)
      {
         t0 = t;
         side0 = edge;
      }
      if (a < b && t < t1)
      {
         t1 = t;
         side1 = edge;
      }
   }
   if (!(t0 <= t1))
      return;
   add(side0 < 0 ? p : crossing(between(p, q, t0), 0, side0, 0));
   add(side1 < 0 ? q : crossing(between(p, q, t1), 0, side1, 0));
   joinDoubles();
}

void Patch::cutFaceByRim() noexcept
{
   const ZqReal radius2 = m_reference->radius * m_reference->radius;
   const ZqReal outer = m_reference->radius + m_rounding;
   const int n = m_count;
   m_count = 0;
   int cuts = 0;
   bool rimIsIn[SupportingFace::rimPoints];
   Place rim[SupportingFace::rimPoints];
   for (int k = 0; k < SupportingFace::rimPoints; ++k)
   {
      rim[k] = flat(k);
      rimIsIn[k] = true;
   }
   for (int i = 0; i < n; ++i)
   {
      const Corner& p = m_loaded[i];
      const Corner& q = m_loaded[i + 1 == n ? 0 : i + 1];
      const bool isIn = p.x * p.x + p.y * p.y <= outer * outer;
      const bool isNextIn = q.x * q.x + q.y * q.y <= outer * outer;
      if (isIn)
         add(p);
      const Line side = line({p.x, p.y}, {q.x, q.y});
      for (int k = 0; k < SupportingFace::rimPoints; ++k)
         rimIsIn[k] = rimIsIn[k] &&
                      (rim[k].x - side.x) * side.ey - (rim[k].y - side.y) * side.ex <= side.within;
      if (isIn && isNextIn)
         continue;
      // Where the side crosses the rim: |p + t e|^2 = r^2.
      const ZqReal a = side.ex * side.ex + side.ey * side.ey;
      const ZqReal b = p.x * side.ex + p.y * side.ey;
      const ZqReal root2 = b * b - a * (p.x * p.x + p.y * p.y - radius2);
      if (!(root2 > 0.0) || (!isIn && !isNextIn && (b >= 0.0 || -b >= a)))
         continue;
      const ZqReal root = std::sqrt(root2);
      cuts += 1;
      if (!isIn)
         add(crossing(between(p, q, (-b - root) / a), p.side, 0, 0, 0));
      if (!isNextIn)
         add(crossing(between(p, q, (-b + root) / a), p.side, 0, 0, 1));
   }
   if (m_count == n && cuts == 0)
      return;
   for (int k = 0; k < SupportingFace::rimPoints; ++k)
      if (rimIsIn[k])
         add(referenceCorner(rim[k], k, 0));
   if (cuts == 0)
      return;
   sortAround();
   joinDoubles();
}

void Patch::cutEdgeByRim() noexcept
{
   const Corner& p = m_loaded[0];
   const Corner& q = m_loaded[1];
   const ZqReal ex = q.x - p.x;
   const ZqReal ey = q.y - p.y;
   const ZqReal a = ex * ex + ey * ey;
   const ZqReal b = p.x * ex + p.y * ey;
   const ZqReal outer = m_reference->radius + m_rounding;
   const ZqReal root2 =
      b * b - a * (p.x * p.x + p.y * p.y - m_reference->radius * m_reference->radius);
   m_count = 0;
   const bool isIn = p.x * p.x + p.y * p.y <= outer * outer;
   const bool isNextIn = q.x * q.x + q.y * q.y <= outer * outer;
   if (!isIn && !isNextIn && !(root2 > 0.0 && b < 0.0 && -b < a))
      return;
   const ZqReal root = std::sqrt(std::max(root2, 0.0));
   add(isIn ? p : crossing(between(p, q, (-b - root) / a), 0, 0, 0, 0));
   add(isNextIn ? q : crossing(between(p, q, (-b + root) / a), 0, 0, 0, 1));
   joinDoubles();
}

// The other rim is an ellipse in the plane: c + u cos + v sin. Between two of its points of which one is outside
// it crosses the rim of the reference; the place nearest to the middle of the reference is looked at as well.
void Patch::cutRimByRim() noexcept
{
   constexpr int n = SupportingFace::rimPoints;
   const Corner middle = project(m_other.middle);
   const Corner* points = m_loaded;
   const ZqReal radius2 = m_reference->radius * m_reference->radius;
   const ZqReal outer = m_reference->radius + m_rounding;
   // Half of what lies opposite: a quarter of the rim apart, in the order of the points.
   const Place u = {0.5 * (points[0].x - points[n / 2].x), 0.5 * (points[0].y - points[n / 2].y)};
   const Place v = {0.5 * (points[n / 4].x - points[3 * n / 4].x),
                    0.5 * (points[n / 4].y - points[3 * n / 4].y)};
   const auto at = [&](const Place& d) {
      return Place{middle.x + u.x * d.x + v.x * d.y, middle.y + u.y * d.x + v.y * d.y};
   };
   const auto beyond = [&](const Place& p) { return p.x * p.x + p.y * p.y - radius2; };

   // Directions on the rim: those of the points, and towards the middle of the reference.
   constexpr ZqReal q = 0.7071067811865476;
   const Place eighth[n] = {{1.0, 0.0},  {q, q},   {0.0, 1.0},  {-q, q},
                            {-1.0, 0.0}, {-q, -q}, {0.0, -1.0}, {q, -q}};
   const ZqReal towardsU = -(middle.x * u.x + middle.y * u.y);
   const ZqReal towardsV = -(middle.x * v.x + middle.y * v.y);
   const ZqReal length = std::sqrt(towardsU * towardsU + towardsV * towardsV);
   const Place towards = length > 0.0 ? Place{towardsU / length, towardsV / length} : eighth[0];

   m_count = 0;
   int crossings = 0;
   const auto walk = [&](const Place& d0, const Place& d1)
   {
      // Regula falsi in the Illinois form, over the chord between the directions.
      ZqReal t0 = 0.0;
      ZqReal t1 = 1.0;
      ZqReal f0 = beyond(at(d0));
      ZqReal f1 = beyond(at(d1));
      const ZqReal within = 2.0 * m_rounding * outer;
      if ((f0 <= within) == (f1 <= within))
         return;
      const bool leaves = f1 > f0;
      Place place = at(leaves ? d0 : d1);
      for (int k = 0; k < 40; ++k)
      {
         const ZqReal t = f0 == f1 ? 0.5 * (t0 + t1) : t0 + (t1 - t0) * (f0 / (f0 - f1));
         Place d = {d0.x + (d1.x - d0.x) * t, d0.y + (d1.y - d0.y) * t};
         const ZqReal scale = 1.0 / std::sqrt(d.x * d.x + d.y * d.y);
         d = {d.x * scale, d.y * scale};
         place = at(d);
         const ZqReal f = beyond(place);
         if (std::abs(f) <= 1e-14 * radius2)
            break;
         if ((f > 0.0) == (f1 > 0.0))
         {
            t1 = t;
            f1 = f;
            f0 *= 0.5;
         }
         else
         {
            t0 = t;
            f0 = f;
            f1 *= 0.5;
         }
      }
      add(crossing(place, 0, 0, 0, 2 * (crossings++ / 2) + (leaves ? 1 : 0)));
   };
   for (int k = 0; k < n; ++k)
   {
      const Place& d0 = eighth[k];
      const Place& d1 = eighth[(k + 1) % n];
      if (beyond({points[k].x, points[k].y}) <= outer * outer - radius2)
         add(points[k]);
      const bool isBetween =
         d0.x * towards.y - d0.y * towards.x > 0.0 && towards.x * d1.y - towards.y * d1.x > 0.0;
      if (isBetween)
      {
         walk(d0, towards);
         walk(towards, d1);
      }
      else
         walk(d0, d1);
   }
   if (m_count == n && crossings == 0)
      return;
   // Points of the reference within the other: by what the ellipse is to the unit circle.
   const ZqReal det = u.x * v.y - u.y * v.x;
   const ZqReal inner = 1.0 - m_rounding / m_other.radius;
   for (int k = 0; k < n; ++k)
   {
      const Place p = flat(k);
      const ZqReal px = p.x - middle.x;
      const ZqReal py = p.y - middle.y;
      const ZqReal s = (px * v.y - py * v.x) / det;
      const ZqReal t = (u.x * py - u.y * px) / det;
      if (s * s + t * t <= inner * inner)
         add(referenceCorner(p, k, 0));
   }
   sortAround();
   joinDoubles();
}

// By direction from the middle of all, without an angle: from 0 to 4 once around.
void Patch::sortAround() noexcept
{
   if (m_count < 3)
      return;
   ZqReal mx = 0.0;
   ZqReal my = 0.0;
   for (int i = 0; i < m_count; ++i)
   {
      mx += m_corner[i].x;
      my += m_corner[i].y;
   }
   mx /= m_count;
   my /= m_count;
   ZqReal turn[capacity];
   for (int i = 0; i < m_count; ++i)
   {
      const Corner c = m_corner[i];
      const ZqReal x = c.x - mx;
      const ZqReal y = c.y - my;
      const ZqReal sum = std::abs(x) + std::abs(y);
      const ZqReal s = sum > 0.0 ? y / sum : 0.0;
      const ZqReal here = x < 0.0 ? 2.0 - s : y < 0.0 ? 4.0 + s : s;
      int at = i;
      for (; at > 0 && turn[at - 1] > here; --at)
      {
         turn[at] = turn[at - 1];
         m_corner[at] = m_corner[at - 1];
      }
      turn[at] = here;
      m_corner[at] = c;
   }
}

// Neighbours at one place become one, which is named after a vertex if one of them is.
void Patch::joinDoubles() noexcept
{
   const ZqReal near2 = 16.0 * m_rounding * m_rounding;
   const auto isDouble = [&](const Corner& p, const Corner& q)
   { return (p.x - q.x) * (p.x - q.x) + (p.y - q.y) * (p.y - q.y) <= near2; };
   int n = 0;
   for (int i = 0; i < m_count; ++i)
   {
      const Corner& c = m_corner[i];
      if (n == 0 || !isDouble(c, m_corner[n - 1]))
         m_corner[n++] = c;
      else if (c.meeting < m_corner[n - 1].meeting)
         m_corner[n - 1] = c;
   }
   if (n > 1 && isDouble(m_corner[0], m_corner[n - 1]))
   {
      --n;
      if (m_corner[n].meeting < m_corner[0].meeting)
         m_corner[0] = m_corner[n];
   }
   m_count = n;
}

std::uint64_t joined(std::uint32_t first, std::uint32_t second) noexcept
{
   return std::uint64_t(first) << 32 | second;
}

std::uint32_t sideName(const ZqConvex& core, const SupportingFace& face, int side, bool leaves,
                       int ordinal) noexcept
{
   if (face.isDisc)
      return rimName(face, leaves, ordinal);
   return edgeName(core, face.vertex[side], face.vertex[side + 1 == face.count ? 0 : side + 1]);
}

std::uint64_t Patch::nameOf(const Corner& c) const noexcept
{
   const ZqConvex& referenceCore = m_isReferenceA ? m_pair.A : m_pair.B;
   const ZqConvex& otherCore = m_isReferenceA ? m_pair.B : m_pair.A;
   std::uint32_t reference = 0;
   std::uint32_t other = 0;
   switch (c.meeting)
   {
   case Meeting::OtherCorner:
      other = vertexName(m_other.vertex[c.other]);
      break;
   case Meeting::ReferenceCorner:
      reference = vertexName(m_reference->vertex[c.reference]);
      break;
   case Meeting::Crossing:
      other = sideName(otherCore, m_other, c.other, c.rim & 1, c.rim >> 1);
      reference = sideName(referenceCore, *m_reference, c.reference, c.rim & 1, c.rim >> 1);
      break;
   case Meeting::Deepest:
   {
      // Of a cap it is the place of the rim that leans most; else no feature can be told.
      const bool referenceLeans =
         m_reference && m_reference->isDisc &&
         (!m_other.isDisc || std::abs(dot(m_reference->normal, m_answer.n)) <
                                std::abs(dot(m_other.normal, m_answer.n)));
      if (referenceLeans)
         reference = vertexName(m_reference->rimVertex);
      else if (m_other.isDisc)
         other = vertexName(m_other.rimVertex);
      else
         reference = other = unknownName;
      break;
   }
   }
   return m_isReferenceA ? joined(reference, other) : joined(other, reference);
}

bool Patch::measure(ZqReal reach) noexcept
{
   int n = 0;
   ZqReal least = 1e300;
   for (int i = 0; i < m_count; ++i)
   {
      Corner& c = m_corner[i];
      c.gap = m_gap0 + m_gapX * c.x + m_gapY * c.y;
      if (!(c.gap <= reach))
         continue;
      least = std::min(least, c.gap);
      c.name = nameOf(c);
      m_corner[n++] = c;
   }
   m_count = n;
   takeTinyForPoint();
   return n > 0 && least <= m_answer.distance + m_tolerance;
}

// A patch so small that the error of a normal makes it is one point: the deepest corner.
void Patch::takeTinyForPoint() noexcept
{
   int deepest = 0;
   for (int i = 1; i < m_count; ++i)
   {
      const ZqReal apart =
         std::abs(m_corner[i].x - m_corner[0].x) + std::abs(m_corner[i].y - m_corner[0].y);
      if (!(apart <= 10.0 * m_tolerance))
         return;
      deepest = m_corner[i].gap < m_corner[deepest].gap ? i : deepest;
   }
   if (m_count > 1)
   {
      m_corner[0] = m_corner[deepest];
      m_count = 1;
   }
}

// A corner that is there already, but for the error of the normal, is put at the place and keeps its name.
void Patch::addDeepest() noexcept
{
   Corner deepest = project(m_isReferenceA ? m_answer.a : m_answer.b);
   deepest.gap = m_answer.distance;
   deepest.meeting = Meeting::Deepest;
   for (int i = 0; i < m_count; ++i)
   {
      Corner& c = m_corner[i];
      if (std::abs(c.x - deepest.x) + std::abs(c.y - deepest.y) > 100.0 * m_tolerance ||
          c.gap - deepest.gap > 10.0 * m_tolerance)
         continue;
      deepest.name = c.name;
      c = deepest;
      return;
   }
   deepest.name = nameOf(deepest);
   add(deepest);
   sortAround();
}

// The choice hangs on places and names, not on depths, which rounding and the slightest rocking change: the corner
// with the lowest name first, then always the one furthest from those that are chosen. Only where all chosen ones are
// less deep does the deepest take the place of its nearest.
void Patch::thin(int most) noexcept
{
   if (m_count <= most)
      return;
   // The same whichever shape is the first.
   const auto key = [](const Corner& c)
   {
      const auto a = static_cast<std::uint32_t>(c.name >> 32);
      const auto b = static_cast<std::uint32_t>(c.name);
      return joined(std::max(a, b), std::min(a, b));
   };
   const auto apart2 = [](const Corner& p, const Corner& q)
   { return (p.x - q.x) * (p.x - q.x) + (p.y - q.y) * (p.y - q.y); };
   ZqReal near[capacity];
   bool isChosen[capacity];
   int pick = 0;
   int deepest = 0;
   for (int i = 0; i < m_count; ++i)
   {
      near[i] = 1e300;
      isChosen[i] = false;
      pick = key(m_corner[i]) < key(m_corner[pick]) ? i : pick;
      deepest = m_corner[i].gap < m_corner[deepest].gap ? i : deepest;
   }
   ZqReal least = 1e300;
   for (int k = 0; k < most; ++k)
   {
      isChosen[pick] = true;
      least = std::min(least, m_corner[pick].gap);
      int next = -1;
      for (int i = 0; i < m_count; ++i)
      {
         near[i] = std::min(near[i], apart2(m_corner[i], m_corner[pick]));
         if (isChosen[i])
            continue;
         const ZqReal further = next < 0 ? 1.0 : near[i] - near[next];
         const ZqReal alike = next < 0 ? 0.0 : 1e-6 * near[next];
         if (further > alike || (further >= -alike && key(m_corner[i]) < key(m_corner[next])))
            next = i;
      }
      pick = next;
   }
   if (least > m_corner[deepest].gap + m_tolerance)
   {
      int nearest = -1;
      for (int i = 0; i < m_count; ++i)
         if (isChosen[i] && (nearest < 0 || apart2(m_corner[i], m_corner[deepest]) <
                                               apart2(m_corner[nearest], m_corner[deepest])))
            nearest = i;
      isChosen[nearest] = false;
      isChosen[deepest] = true;
   }
   int n = 0;
   for (int i = 0; i < m_count; ++i)
      if (isChosen[i])
         m_corner[n++] = m_corner[i];
   m_count = n;
}

void put(const CorePair& pair, const Vec3& n, const Vec3& a, const Vec3& b, ZqReal gap,
         std::uint64_t name, ZqContactManifold& out) noexcept
{
   ZqContactPoint& p = out.points[out.count++];
   p.point1 = vector(coreToShape(pair.A, a + n * pair.A.radius));
   p.point2 = vector(coreToShape(pair.A, b - n * pair.B.radius));
   p.normal = out.normal;
   p.separation = gap - pair.A.radius - pair.B.radius;
   p.name = name;
}

void Patch::write(ZqContactManifold& out) const noexcept
{
   int first = 0;
   for (int i = 1; i < m_count; ++i)
      if (m_corner[i].name < m_corner[first].name)
         first = i;
   const Vec3& n = m_answer.n;
   for (int i = 0; i < m_count; ++i)
   {
      const int step = m_isReferenceA ? i : m_count - i;
      const Corner& c = m_corner[(first + step) % m_count];
      const Vec3 p = m_origin + m_e1 * c.x + m_e2 * c.y;
      if (c.meeting == Meeting::Deepest)
         put(m_pair, n, m_answer.a, m_answer.b, c.gap, c.name, out);
      else if (m_isReferenceA)
         put(m_pair, n, p, p + n * c.gap, c.gap, c.name, out);
      else
         put(m_pair, n, p - n * c.gap, p, c.gap, c.name, out);
   }
}

/// The deepest points of flat cores that overlap: at a vertex, where two edges cross, or by moving the cores apart.
void findDeepest(CorePair& pair, const SupportingFace& fa, const SupportingFace& fb,
                 CoreAnswer& answer) noexcept
{
   const Vec3 across = answer.n * answer.distance;
   if (fb.count == 1)
   {
      answer.b = fb.corner[0];
      answer.a = answer.b - across;
      return;
   }
   if (fa.count == 1)
   {
      answer.a = fa.corner[0];
      answer.b = answer.a + across;
      return;
   }
   if (fa.count == 2 && fb.count == 2)
   {
      const Vec3 u = fa.corner[1] - fa.corner[0];
      const Vec3 v = fb.corner[1] - fb.corner[0];
      const Vec3 m = cross(u, v);
      const ZqReal m2 = norm2(m);
      if (m2 > 1e-6 * norm2(u) * norm2(v))
      {
         const Vec3 d = fb.corner[0] - fa.corner[0];
         answer.a = fa.corner[0] + u * (dot(cross(d, v), m) / m2);
         answer.b = fb.corner[0] + v * (dot(cross(d, u), m) / m2);
         return;
      }
   }
   int supports = 0;
   deepestPoints(pair, answer.n, -answer.distance, 1e-3 * pair.size(), answer.a, answer.b,
                 supports);
}

/// The name of the deepest place where the supporting faces tell no more: of a vertex and nothing, or two edges
/// that cross.
std::uint64_t nameOfDeepest(const CorePair& pair, const SupportingFace& fa,
                            const SupportingFace& fb) noexcept
{
   if (fa.count == 1 && fb.count == 1)
      return joined(vertexName(fa.vertex[0]), vertexName(fb.vertex[0]));
   if (fa.count == 1)
      return joined(vertexName(fa.vertex[0]), 0);
   if (fb.count == 1)
      return joined(0, vertexName(fb.vertex[0]));
   if (fa.count == 2 && fb.count == 2)
      return joined(edgeName(pair.A, fa.vertex[0], fa.vertex[1]),
                    edgeName(pair.B, fb.vertex[0], fb.vertex[1]));
   return joined(unknownName, unknownName);
}

/// Two edges: the ends of what they have in common along the line between them, if they run side by side.
void meetAlongEdges(const CorePair& pair, const CoreAnswer& answer, const SupportingFace& fa,
                    const SupportingFace& fb, ZqReal reach, ZqContactManifold& out) noexcept
{
   const Vec3 u = unit(fa.corner[1] - fa.corner[0]);
   const Vec3 v = unit(fb.corner[1] - fb.corner[0]);
   if (norm2(cross(u, v)) > sideBySide * sideBySide)
      return;
   const bool isAgainst = dot(u, v) < 0.0;
   const Vec3 w = unit(isAgainst ? u - v : u + v);
   const int b0 = isAgainst ? 1 : 0;
   const ZqReal a0At = dot(w, fa.corner[0]);
   const ZqReal a1At = dot(w, fa.corner[1]);
   const ZqReal b0At = dot(w, fb.corner[b0]);
   const ZqReal b1At = dot(w, fb.corner[1 - b0]);
   const ZqReal low = std::max(a0At, b0At);
   const ZqReal high = std::min(a1At, b1At);
   if (!(high - low > 1e-9 * std::min(a1At - a0At, b1At - b0At)))
      return;
   const auto end = [&](ZqReal at, std::uint64_t name)
   {
      const Vec3 a = fa.corner[0] + (fa.corner[1] - fa.corner[0]) * ((at - a0At) / (a1At - a0At));
      const Vec3 b =
         fb.corner[b0] + (fb.corner[1 - b0] - fb.corner[b0]) * ((at - b0At) / (b1At - b0At));
      if (const ZqReal gap = dot(answer.n, b - a); gap <= reach)
         put(pair, answer.n, a, b, gap, name, out);
   };
   end(low,
       b0At >= a0At ? joined(0, vertexName(fb.vertex[b0])) : joined(vertexName(fa.vertex[0]), 0));
   end(high, b1At <= a1At ? joined(0, vertexName(fb.vertex[1 - b0]))
                          : joined(vertexName(fa.vertex[1]), 0));
}
} // namespace

void contactPoints(CorePair& pair, CoreAnswer& answer, bool hasPoints, ZqReal margin,
                   ZqContactManifold& out) noexcept
{
   const ZqReal reach = margin + pair.A.radius + pair.B.radius;
   const bool isPlane = !pair.A.isBounded();
   out.count = 0;
   SupportingFace fa, fb;
   fa.count = SupportingFace::capacity;
   fa.isDisc = false;
   if (!isPlane)
      supportingFace(pair.A, answer.n, pair.atA, fa);
   supportingFace(pair.B, turnBack(pair.X.R, -answer.n), pair.atB, fb);
   place(pair.X, fb);
   const auto findPoints = [&]
   {
      if (!hasPoints)
         findDeepest(pair, fa, fb, answer);
   };
   if (fa.count > 1 && fb.count > 1 && fa.count + fb.count > 4)
   {
      // A rim cuts best; else the face that has fewer sides.
      const bool isFirst =
         fb.count == 2 || (fa.count > 2 && (fa.isDisc || (!fb.isDisc && fa.count <= fb.count)));
      const bool isReferenceA = isPlane || isFirst;
      const SupportingFace* reference = isPlane ? nullptr : isReferenceA ? &fa : &fb;
      Patch patch(pair, answer, reference, isReferenceA ? fb : fa, isReferenceA);
      patch.cut();
      if (!patch.measure(reach))
      {
         findPoints();
         patch.addDeepest();
      }
      patch.thin(ZqContactManifold::capacity);
      patch.write(out);
      return;
   }
   if (fa.count == 2 && fb.count == 2)
      meetAlongEdges(pair, answer, fa, fb, reach, out);
   if (out.count > 0)
      return;
   findPoints();
   put(pair, answer.n, answer.a, answer.b, answer.distance, nameOfDeepest(pair, fa, fb), out);
}
} // namespace zqConvex
