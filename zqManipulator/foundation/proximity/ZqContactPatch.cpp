#include "zqManipulator/foundation/proximity/ZqContactPatch.h"

namespace zqConvex
{
namespace
{
std::uint32_t sideName(const ZqConvex& core, const SupportingFace& face, int side, bool leaves,
                       int ordinal) noexcept
{
   if (face.isDisc)
      return rimName(face, leaves, ordinal);
   return edgeName(core, face.vertex[side], face.vertex[side + 1 == face.count ? 0 : side + 1]);
}

/// By direction from the middle of all, without an angle: from 0 to 4 once around.
template <class Corner>
void sortAround(Corner* corners, int count) noexcept
{
   if (count < 3)
      return;
   ZqReal mx = 0.0;
   ZqReal my = 0.0;
   for (int i = 0; i < count; ++i)
   {
      mx += corners[i].x;
      my += corners[i].y;
   }
   mx /= count;
   my /= count;
   ZqReal turn[ContactPatch::capacity];
   for (int i = 0; i < count; ++i)
   {
      const Corner c = corners[i];
      const ZqReal x = c.x - mx;
      const ZqReal y = c.y - my;
      const ZqReal sum = std::abs(x) + std::abs(y);
      const ZqReal s = sum > 0.0 ? y / sum : 0.0;
      const ZqReal here = x < 0.0 ? 2.0 - s : y < 0.0 ? 4.0 + s : s;
      int at = i;
      for (; at > 0 && turn[at - 1] > here; --at)
      {
         turn[at] = turn[at - 1];
         corners[at] = corners[at - 1];
      }
      turn[at] = here;
      corners[at] = c;
   }
}
} // namespace

void putContact(const CorePair& pair, const Vec3& n, const Vec3& a, const Vec3& b, ZqReal gap,
                std::uint64_t name, ZqContactManifold& out) noexcept
{
   ZqContactPoint& p = out.points[out.count++];
   p.point1 = vector(coreToShape(pair.A, a + n * pair.A.radius));
   p.point2 = vector(coreToShape(pair.A, b - n * pair.B.radius));
   p.normal = out.normal;
   p.separation = gap - pair.A.radius - pair.B.radius;
   p.name = name;
}

ContactPatch::ContactPatch(const CorePair& pair, const Vec3& n, const SupportingFace* reference,
                           const SupportingFace& other, bool isReferenceA) noexcept
   : m_pair(pair), m_n(n), m_reference(reference), m_other(other), m_isReferenceA(isReferenceA)
{
   const ZqReal small = std::min(pair.A.size, pair.B.size);
   const ZqReal large = std::max(pair.A.size, pair.B.size);
   const bool isPlane = !pair.A.isBounded();
   const ZqReal least = isPlane ? large : small;
   m_rounding = (pair.A.isCurved() || pair.B.isCurved() ? 1e-6 : 1e-9) * least + 1e-13 * large;
   m_tolerance = toleranceOf(pair);
   m_normal = {0.0, 0.0, 1.0};
   m_origin = {0.0, 0.0, 0.0};
   m_e1 = {1.0, 0.0, 0.0};
   if (reference)
   {
      m_normal = reference->normal;
      m_origin = reference->isDisc ? reference->middle : reference->corner[0];
      m_e1 = reference->axis;
   }
   m_e2 = cross(m_normal, m_e1);
   project();
}

void ContactPatch::project() noexcept
{
   const ZqReal facing = 1.0 / dot(m_normal, m_n);
   m_g1 = m_e1 - m_normal * (dot(m_e1, m_n) * facing);
   m_g2 = m_e2 - m_normal * (dot(m_e2, m_n) * facing);
   // How far the other lies from a place on the reference, along the normal; turned round where the reference is B.
   const ZqReal scale = (m_isReferenceA ? 1.0 : -1.0) / dot(m_other.normal, m_n);
   m_gap0 = dot(m_other.normal, m_other.corner[0] - m_origin) * scale;
   m_gapX = -dot(m_other.normal, m_e1) * scale;
   m_gapY = -dot(m_other.normal, m_e2) * scale;
}

void ContactPatch::cut() noexcept
{
   load();
   if (!m_reference)
      return;
   if (m_reference->isDisc)
      m_other.count == 2 ? cutEdgeByRim() : m_other.isDisc ? cutRimByRim() : cutFaceByRim();
   else
      m_other.count == 2 ? cutEdgeByFace() : cutFaceByFace();
}

// The corners of the other run clockwise about the normal of the reference: they are taken backwards.
void ContactPatch::load() noexcept
{
   const int n = m_other.count;
   for (int i = 0; i < n; ++i)
   {
      const int k = n - 1 - i;
      m_corner[i] =
         corner(project(m_other.corner[k]), Meeting::OtherCorner, k, -1, k > 0 ? k - 1 : n - 1);
   }
   m_count = n;
}

namespace
{
/// The corners of a convex polygon in a ring: what is cut off is unlinked.
class Ring
{
public:
   static constexpr int capacity = 3 * SupportingFace::capacity;

   Ring(const ContactCorner* corners, int count) noexcept : m_used(count)
   {
      for (int i = 0; i < count; ++i)
      {
         m_node[i] = corners[i];
         m_next[i] = i + 1 == count ? 0 : i + 1;
         m_last[i] = i == 0 ? count - 1 : i - 1;
      }
   }
   const ContactCorner& operator[](int i) const noexcept { return m_node[i]; }
   int next(int i) const noexcept { return m_next[i]; }
   int last(int i) const noexcept { return m_last[i]; }
   void link(int i, int j) noexcept
   {
      m_next[i] = j;
      m_last[j] = i;
   }
   /// After i, where a new side begins.
   int insert(int i, const ContactCorner& c) noexcept
   {
      m_node[m_used] = c;
      link(i, m_used);
      return m_used++;
   }
   /// The furthest in a direction, from where it was in one before; it is unimodal all around.
   template <class Height>
   int furthest(const Height& height, int i) const noexcept
   {
      ZqReal most = height(m_node[i]);
      for (const int* const way : {m_next, m_last})
         for (int k = 0; k < m_used; ++k)
         {
            const ZqReal h = height(m_node[way[i]]);
            if (!(h > most))
               break;
            most = h;
            i = way[i];
         }
      return i;
   }
   void setSide(int i, int side) noexcept { m_node[i].side = static_cast<std::int16_t>(side); }

private:
   int m_used;
   ContactCorner m_node[capacity];
   int m_next[capacity], m_last[capacity];
};
} // namespace

// The corner furthest beyond a side moves on as the sides go round, so that all of it takes as many steps as there are
// corners and sides. The corners outside follow each other: they give way to the two places where the line leaves
// the patch and enters it. What lies on the line counts as inside, and no crossing is made beside it.
void ContactPatch::cutFaceByFace() noexcept
{
   const int n = m_reference->count;
   Ring ring(m_corner, m_count);
   int at = 0;
   m_count = 0;
   Place from = flat(0);
   for (int edge = 0; edge < n; ++edge)
   {
      const Place to = flat(edge + 1 == n ? 0 : edge + 1);
      const Line cut = line(from, to);
      from = to;
      at = ring.furthest([&](const Corner& c) { return cut.height(c); }, at);
      if (!(cut.height(ring[at]) > cut.within))
         continue;
      int before = ring.last(at);
      while (cut.height(ring[before]) > cut.within)
      {
         if (before == at)
            return;
         before = ring.last(before);
      }
      int after = ring.next(at);
      while (cut.height(ring[after]) > cut.within)
         after = ring.next(after);
      const int outside = ring.last(after);
      at = before;
      if (const ZqReal height = cut.height(ring[before]); height >= -cut.within)
         ring.setSide(before, ~edge);
      else
         at = ring.insert(before, cutSide(ring[before], ring[ring.next(before)], cut, edge, ~edge));
      if (cut.height(ring[after]) < -cut.within)
         at = ring.insert(at, cutSide(ring[outside], ring[after], cut, edge, ring[outside].side));
      ring.link(at, after);
   }
   int i = at;
   do
   {
      add(ring[i]);
      i = ring.next(i);
   } while (i != at && m_count < capacity);
   joinDoubles();
}

// Where a side of the patch crosses one of the reference. Two sides of the reference meet in its corner, if they are
// neighbours; if not, in a place that a later side cuts off.
ContactCorner ContactPatch::cutSide(const Corner& p, const Corner& q, const Line& cut, int edge,
                                    int side) const noexcept
{
   const ZqReal height = cut.height(p);
   const Place place = between(p, q, height / (height - cut.height(q)));
   if (p.side >= 0)
      return crossing(place, p.side, edge, side);
   const int sides = m_reference->count;
   const int before = ~p.side;
   const int corner = (edge + 1) % sides == before ? before : edge;
   const bool isCorner = corner == before || (before + 1) % sides == edge;
   return referenceCorner(isCorner ? flat(corner) : place, corner, side);
}

void ContactPatch::cutEdgeByFace() noexcept
{
   beginCut();
   ZqReal t0 = 0.0;
   ZqReal t1 = 1.0;
   int side0 = -1;
   int side1 = -1;
   const Corner& p = m_last[0];
   const Corner& q = m_last[1];
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

void ContactPatch::cutFaceByRim() noexcept
{
   const int n = m_count;
   beginCut();
   const ZqReal radius2 = m_reference->radius * m_reference->radius;
   const ZqReal outer = m_reference->radius + m_rounding;
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
      const Corner& p = m_last[i];
      const Corner& q = m_last[i + 1 == n ? 0 : i + 1];
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
   sortAround(m_corner, m_count);
   joinDoubles();
}

void ContactPatch::cutEdgeByRim() noexcept
{
   beginCut();
   const Corner& p = m_last[0];
   const Corner& q = m_last[1];
   const ZqReal ex = q.x - p.x;
   const ZqReal ey = q.y - p.y;
   const ZqReal a = ex * ex + ey * ey;
   const ZqReal b = p.x * ex + p.y * ey;
   const ZqReal outer = m_reference->radius + m_rounding;
   const ZqReal root2 =
      b * b - a * (p.x * p.x + p.y * p.y - m_reference->radius * m_reference->radius);
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
void ContactPatch::cutRimByRim() noexcept
{
   beginCut();
   constexpr int n = SupportingFace::rimPoints;
   const Place middle = project(m_other.middle);
   const Corner* points = m_last;
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
   sortAround(m_corner, m_count);
   joinDoubles();
}

// Neighbours at one place become one, which is named after a vertex if one of them is.
void ContactPatch::joinDoubles() noexcept
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

std::uint64_t ContactPatch::nameOf(const Corner& c) const noexcept
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
      const bool referenceLeans = m_reference && m_reference->isDisc &&
                                  (!m_other.isDisc || std::abs(dot(m_reference->normal, m_n)) <
                                                         std::abs(dot(m_other.normal, m_n)));
      if (referenceLeans)
         reference = vertexName(m_reference->rimVertex);
      else if (m_other.isDisc)
         other = vertexName(m_other.rimVertex);
      else
         reference = other = unknownName;
      break;
   }
   }
   return m_isReferenceA ? contactName(reference, other) : contactName(other, reference);
}

Vec3 ContactPatch::directionOfSide(const SupportingFace& face, int side,
                                   const Vec3& p) const noexcept
{
   if (face.isDisc)
      return cross(face.normal, p - face.middle);
   return face.corner[side + 1 == face.count ? 0 : side + 1] - face.corner[side];
}

// Of the face that a corner meets, or across both edges that cross.
Vec3 ContactPatch::normalAt(const Corner& c, const Vec3& p) const noexcept
{
   const ZqReal sense = m_isReferenceA ? 1.0 : -1.0;
   if (c.meeting == Meeting::OtherCorner)
      return m_reference->normal * sense;
   if (c.meeting == Meeting::ReferenceCorner)
      return m_other.normal * -sense;
   const Vec3 u = directionOfSide(*m_reference, c.reference, p);
   const Vec3 v = directionOfSide(m_other, c.other, p);
   const Vec3 n = cross(u, v);
   if (norm2(n) < 1e-6 * norm2(u) * norm2(v))
      return m_n;
   return unit(dot(n, m_n) < 0.0 ? -n : n);
}

// Along another normal, so near that no place moves by it.
bool ContactPatch::turnTo(const Vec3& n) noexcept
{
   const ZqReal turn = largest(n - m_n);
   for (int i = 0; i < m_count; ++i)
      if (!(turn * std::abs(gapAt(m_corner[i].x, m_corner[i].y)) <= 0.01 * m_tolerance))
         return false;
   m_n = n;
   project();
   return true;
}

bool ContactPatch::foot(PatchFoot& out) const noexcept
{
   if (m_count == 0)
      return false;
   const Corner* deepest = m_corner;
   out.gap = 1e300;
   ZqReal x = 0.0;
   ZqReal y = 0.0;
   for (const Corner* c = m_corner; c < m_corner + m_count; ++c)
   {
      x += c->x;
      y += c->y;
      if (const ZqReal gap = gapAt(c->x, c->y); gap < out.gap)
      {
         out.gap = gap;
         deepest = c;
      }
   }
   const Vec3 p = placeAt(deepest->x, deepest->y);
   out.a = m_isReferenceA ? p : p - m_n * out.gap;
   out.b = m_isReferenceA ? p + m_n * out.gap : p;
   out.n = normalAt(*deepest, p);
   x /= m_count;
   y /= m_count;
   out.middle = placeAt(x, y);
   out.middleGap = gapAt(x, y);
   out.slope = std::sqrt(m_gapX * m_gapX + m_gapY * m_gapY);
   return true;
}

bool ContactPatch::measure(ZqReal reach, ZqReal distance) noexcept
{
   ZqReal least = 1e300;
   m_pointCount = 0;
   for (int i = 0; i < m_count; ++i)
   {
      const Corner& c = m_corner[i];
      const ZqReal gap = gapAt(c.x, c.y);
      if (!(gap <= reach))
         continue;
      least = std::min(least, gap);
      m_point[m_pointCount++] = {c, gap, nameOf(c)};
   }
   takeTinyForPoint();
   return m_pointCount > 0 && least <= distance + m_tolerance;
}

// A patch so small that the error of a normal makes it is one point: the deepest corner.
void ContactPatch::takeTinyForPoint() noexcept
{
   int deepest = 0;
   for (int i = 1; i < m_pointCount; ++i)
   {
      const ZqReal apart =
         std::abs(m_point[i].x - m_point[0].x) + std::abs(m_point[i].y - m_point[0].y);
      if (!(apart <= 10.0 * m_tolerance))
         return;
      deepest = m_point[i].gap < m_point[deepest].gap ? i : deepest;
   }
   if (m_pointCount > 1)
   {
      m_point[0] = m_point[deepest];
      m_pointCount = 1;
   }
}

// A corner that is there already, but for the error of the normal, is put at the place and keeps its name.
void ContactPatch::addDeepest(const CoreAnswer& answer) noexcept
{
   Point deepest = {
      corner(project(m_isReferenceA ? answer.a : answer.b), Meeting::Deepest, -1, -1, 0),
      answer.distance, 0};
   m_deepestA = answer.a;
   m_deepestB = answer.b;
   for (int i = 0; i < m_pointCount; ++i)
   {
      Point& c = m_point[i];
      if (std::abs(c.x - deepest.x) + std::abs(c.y - deepest.y) > 100.0 * m_tolerance ||
          c.gap - deepest.gap > 10.0 * m_tolerance)
         continue;
      deepest.name = c.name;
      c = deepest;
      return;
   }
   deepest.name = nameOf(deepest);
   if (m_pointCount < capacity)
      m_point[m_pointCount++] = deepest;
   sortAround(m_point, m_pointCount);
}

// Always the corner goes without which the patch loses least; of those that are alike that with the highest name. That
// hangs on places and names and not on depths, which rounding and the slightest rocking change. Only where none that is
// left is as deep as the deepest was, that takes the place of the nearer of its neighbours.
void ContactPatch::thin(int most) noexcept
{
   if (m_pointCount <= most)
      return;
   // The same whichever shape is the first.
   const auto key = [](const Point& c)
   {
      const auto a = static_cast<std::uint32_t>(c.name >> 32);
      const auto b = static_cast<std::uint32_t>(c.name);
      return contactName(std::max(a, b), std::min(a, b));
   };
   int left = m_pointCount;
   int ring[capacity];    // those that are left
   ZqReal area[capacity]; // that goes with each
   const auto setArea = [&](int i)
   {
      const Point& p = m_point[ring[i == 0 ? left - 1 : i - 1]];
      const Point& q = m_point[ring[i]];
      const Point& r = m_point[ring[i + 1 == left ? 0 : i + 1]];
      area[i] = (q.x - p.x) * (r.y - q.y) - (q.y - p.y) * (r.x - q.x);
   };
   int lowest = 0;
   for (int i = 0; i < left; ++i)
      ring[i] = i;
   for (int i = 0; i < left; ++i)
   {
      setArea(i);
      lowest = m_point[i].gap < m_point[lowest].gap ? i : lowest;
   }
   const Point deepest = m_point[lowest];
   while (left > most)
   {
      int pick = 0;
      ZqReal alike = 1e-6 * std::abs(area[0]);
      for (int i = 1; i < left; ++i)
      {
         if (area[i] > area[pick] + alike)
            continue;
         if (area[i] < area[pick] - alike || key(m_point[ring[i]]) > key(m_point[ring[pick]]))
         {
            pick = i;
            alike = 1e-6 * std::abs(area[i]);
         }
      }
      --left;
      for (int i = pick; i < left; ++i)
      {
         ring[i] = ring[i + 1];
         area[i] = area[i + 1];
      }
      setArea(pick == left ? 0 : pick);
      setArea(pick == 0 ? left - 1 : pick - 1);
   }
   m_pointCount = left;
   for (int i = 0; i < left; ++i)
      m_point[i] = m_point[ring[i]];
   int behind = 0;
   for (int i = 0; i < left; ++i)
   {
      if (m_point[i].gap <= deepest.gap + m_tolerance)
         return;
      behind += ring[i] < lowest ? 1 : 0;
   }
   Point& before = m_point[behind == 0 ? left - 1 : behind - 1];
   Point& after = m_point[behind == left ? 0 : behind];
   const auto apart2 = [&](const Point& p)
   { return (p.x - deepest.x) * (p.x - deepest.x) + (p.y - deepest.y) * (p.y - deepest.y); };
   (apart2(before) < apart2(after) ? before : after) = deepest;
}

void ContactPatch::write(ZqContactManifold& out) const noexcept
{
   int first = 0;
   for (int i = 1; i < m_pointCount; ++i)
      if (m_point[i].name < m_point[first].name)
         first = i;
   for (int i = 0; i < m_pointCount; ++i)
   {
      const int step = m_isReferenceA ? i : m_pointCount - i;
      const Point& c = m_point[(first + step) % m_pointCount];
      const Vec3 p = placeAt(c.x, c.y);
      if (c.meeting == Meeting::Deepest)
         putContact(m_pair, m_n, m_deepestA, m_deepestB, c.gap, c.name, out);
      else if (m_isReferenceA)
         putContact(m_pair, m_n, p, p + m_n * c.gap, c.gap, c.name, out);
      else
         putContact(m_pair, m_n, p - m_n * c.gap, p, c.gap, c.name, out);
   }
}
} // namespace zqConvex
