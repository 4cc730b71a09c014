#include "zqManipulator/foundation/proximity/ZqClosedForms.h"

#include <limits>

namespace zqConvex
{
namespace
{
/// The length of a gap and its direction; the latter is left alone where there is no gap.
ZqReal measure(const Vec3& gap, Vec3& n) noexcept
{
   const ZqReal length = norm(gap);
   if (length > 0.0)
      n = gap * (1.0 / length);
   return length;
}

struct Segment
{
   Vec3 direction; ///< unit
   ZqReal half;    ///< of its length
};

/// Places on two segments, and what leads from the first to the second.
struct SegmentPlaces
{
   ZqReal s, t;
   Vec3 gap;
};

/// The nearest of nearly parallel segments, of which c leads from the middle of the first to that of the second.
SegmentPlaces parallelPlaces(const Segment& A, const Segment& B, const Vec3& c, const Vec3& x,
                             ZqReal sine2) noexcept
{
   const Vec3& d = A.direction;
   const Vec3& e = B.direction;
   const ZqReal k = dot(d, e);
   const ZqReal middleOnA = dot(d, c);
   const ZqReal middleOnB = -dot(e, c);
   const auto onA = [&](ZqReal t) { return std::clamp(k * t + middleOnA, -A.half, A.half); };
   const auto onB = [&](ZqReal s) { return std::clamp(k * s + middleOnB, -B.half, B.half); };
   const auto places = [&](ZqReal s, ZqReal t) { return SegmentPlaces{s, t, c + e * t - d * s}; };
   // Side by side: the middle of the stretch, so that the point does not jump from end to end.
   const ZqReal low = std::max(-A.half, middleOnA - std::abs(k) * B.half);
   const ZqReal high = std::min(A.half, middleOnA + std::abs(k) * B.half);
   if (low < high && sine2 < 1e-24)
      return places((low + high) / 2.0, onB((low + high) / 2.0));
   SegmentPlaces best = places(-A.half, onB(-A.half));
   const auto offer = [&](ZqReal s, ZqReal t)
   {
      if (const SegmentPlaces other = places(s, t); norm2(other.gap) < norm2(best.gap))
         best = other;
   };
   offer(A.half, onB(A.half));
   offer(onA(-B.half), -B.half);
   offer(onA(B.half), B.half);
   if (!(sine2 > 0.0))
      return best;
   // Where the lines cross, solved twice: the second time from what the first left over.
   ZqReal s = 0.0;
   ZqReal t = 0.0;
   for (int i = 0; i < 2; ++i)
   {
      const Vec3 gap = c + e * t - d * s;
      s += dot(cross(gap, e), x) / sine2;
      t += dot(cross(gap, d), x) / sine2;
   }
   if (std::abs(s) <= A.half && std::abs(t) <= B.half)
      offer(s, t);
   return best;
}

SegmentPlaces crossingPlaces(const Segment& A, const Segment& B, const Vec3& c,
                             ZqReal sine2) noexcept
{
   const ZqReal k = dot(A.direction, B.direction);
   const ZqReal middleOnA = dot(A.direction, c);
   const ZqReal middleOnB = -dot(B.direction, c);
   ZqReal s = std::clamp((middleOnA + k * middleOnB) / sine2, -A.half, A.half);
   ZqReal t = k * s + middleOnB;
   if (std::abs(t) > B.half)
   {
      t = std::clamp(t, -B.half, B.half);
      s = std::clamp(k * t + middleOnA, -A.half, A.half);
   }
   return {s, t, c + B.direction * t - A.direction * s};
}

SegmentPlaces nearestPlaces(const Segment& A, const Segment& B, const Vec3& c) noexcept
{
   const Vec3 x = cross(A.direction, B.direction);
   const ZqReal sine2 = norm2(x);
   return sine2 > 1e-4 ? crossingPlaces(A, B, c, sine2) : parallelPlaces(A, B, c, x, sine2);
}

/// How long the gap is, and the normal, which is perpendicular to both segments where they meet.
ZqReal measure(const SegmentPlaces& places, const Segment& A, const Segment& B, const Vec3& c,
               Vec3& n) noexcept
{
   const ZqReal length = measure(places.gap, n);
   if (length > 1e-15 * (A.half + B.half))
      return length;
   const Vec3 x = cross(A.direction, B.direction);
   if (norm2(x) > 1e-24)
      n = unit(dot(x, c) < 0.0 ? -x : x);
   else
      n = perpendicular(A.half > 0.0 ? A.direction : B.direction);
   return length;
}

void segmentSegment(const Segment& A, const Segment& B, const Vec3& c, CoreAnswer& out) noexcept
{
   const SegmentPlaces places = nearestPlaces(A, B, c);
   out.a = A.direction * places.s;
   out.b = c + B.direction * places.t;
   out.distance = measure(places, A, B, c, out.n);
}

void pointPoint(const Vec3& c, CoreAnswer& out) noexcept
{
   out.n = {0.0, 0.0, 1.0};
   out.distance = measure(c, out.n);
   out.a = {0.0, 0.0, 0.0};
   out.b = c;
}

// Of the following, the first core is that of the name, and the second the point c.

void boxPoint(const Vec3& h, const Vec3& c, CoreAnswer& out) noexcept
{
   out.b = c;
   out.a = {std::clamp(c.x, -h.x, h.x), std::clamp(c.y, -h.y, h.y), std::clamp(c.z, -h.z, h.z)};
   out.distance = measure(c - out.a, out.n);
   if (out.distance > 0.0)
      return;
   int nearest = 0;
   for (int i = 1; i < 3; ++i)
      if (h[i] - std::abs(c[i]) < h[nearest] - std::abs(c[nearest]))
         nearest = i;
   const ZqReal sign = c[nearest] < 0.0 ? -1.0 : 1.0;
   out.n = {0.0, 0.0, 0.0};
   out.n[nearest] = sign;
   out.a[nearest] = sign * h[nearest];
   out.distance = std::abs(c[nearest]) - h[nearest];
}

/// In the half-plane of the axis and the point: (rho, z).
void turnedPoint(const Vec3& h, const Vec3& c, CoreAnswer& out) noexcept
{
   const ZqReal rho = std::sqrt(c.x * c.x + c.y * c.y);
   const ZqReal z = c.z;
   const Vec3 u = rho > 0.0 ? Vec3{c.x / rho, c.y / rho, 0.0} : Vec3{1.0, 0.0, 0.0};
   // The mantle's outward normal; the point's height over the mantle, and how far up it is along it.
   const ZqReal ruling = std::sqrt((h.y - h.x) * (h.y - h.x) + 4.0 * h.z * h.z); // zero of a disc
   const ZqReal nr = ruling > 0.0 ? 2.0 * h.z / ruling : 1.0;
   const ZqReal nz = ruling > 0.0 ? (h.x - h.y) / ruling : 0.0;
   const ZqReal side = (rho - h.x) * nr + (z + h.z) * nz;
   out.b = c;
   if (side <= 0.0 && std::abs(z) <= h.z)
   {
      const ZqReal cap = std::abs(z) - h.z;
      const ZqReal up = z < 0.0 ? -1.0 : 1.0;
      out.n = cap >= side ? Vec3{0.0, 0.0, up} : u * nr + Vec3{0.0, 0.0, nz};
      out.distance = std::max(cap, side);
      out.a = c - out.n * out.distance;
      return;
   }
   ZqReal squared = std::numeric_limits<ZqReal>::infinity();
   ZqReal r = 0.0;
   ZqReal y = 0.0;
   const auto offer = [&](ZqReal rThere, ZqReal yThere)
   {
      const ZqReal there = (rho - rThere) * (rho - rThere) + (z - yThere) * (z - yThere);
      if (!(there < squared))
         return;
      squared = there;
      r = rThere;
      y = yThere;
   };
   if (z > h.z)
      offer(std::min(rho, h.y), h.z);
   if (z < -h.z)
      offer(std::min(rho, h.x), -h.z);
   if (side > 0.0)
   {
      const ZqReal along = std::clamp((z + h.z) * nr - (rho - h.x) * nz, 0.0, ruling);
      offer(h.x - nz * along, -h.z + nr * along);
   }
   out.a = u * r + Vec3{0.0, 0.0, y};
   out.n = u * nr + Vec3{0.0, 0.0, nz};
   out.distance = measure(u * (rho - r) + Vec3{0.0, 0.0, z - y}, out.n);
}

void trianglePoint(const Vec3* corner, const Vec3& c, CoreAnswer& out) noexcept
{
   const Vec3 w[3] = {corner[0] - c, corner[1] - c, corner[2] - c};
   const Vec3 n = cross(corner[1] - corner[0], corner[2] - corner[0]);
   Vec3 gap = n * (dot(w[0], n) / norm2(n));
   ZqReal squared = std::numeric_limits<ZqReal>::infinity();
   bool isOver = true;
   for (int i = 0; i < 3; ++i)
      isOver &= dot(cross(w[i], w[(i + 1) % 3]), n) >= 0.0;
   for (int i = 0; i < 3 && !isOver; ++i)
   {
      const Vec3& p = w[i];
      const Vec3& q = w[(i + 1) % 3];
      const Vec3 e = q - p;
      const ZqReal s = std::clamp(-dot(p, e) / norm2(e), 0.0, 1.0);
      const Vec3 foot = s < 0.5 ? p + e * s : q - e * (1.0 - s);
      if (norm2(foot) < squared)
      {
         squared = norm2(foot);
         gap = foot;
      }
   }
   out.b = c;
   out.a = c + gap;
   out.n = unit(n);
   out.distance = measure(-gap, out.n);
}

/// The nearest point of an ellipsoid's surface has the coordinates h p with |p| = 1, where
/// p_i = (h_i / h_k)^2 (c_i / h_i) / (tau + m_i), m_i = (h_i / h_k)^2 - 1, h_k the least semi-axis and tau >= 0
/// (Eberly 2013). 1 / |p| is nearly linear in tau and concave: Newton's method from below rises to the root (Moré and
/// Sorensen 1983).
void ellipsoidPoint(const Vec3& h, const Vec3& c, CoreAnswer& out) noexcept
{
   const int k = h.x <= h.y && h.x <= h.z ? 0 : h.y <= h.z ? 1 : 2;
   Vec3 g{0.0, 0.0, 0.0};
   Vec3 m = g;
   Vec3 p = g;
   ZqReal tau = 0.0;
   for (int i = 0; i < 3; ++i)
   {
      g[i] = h[i] / h[k] * (std::abs(c[i]) / h[k]);
      m[i] = (h[i] - h[k]) / h[k] * ((h[i] + h[k]) / h[k]);
      tau = std::max(tau, g[i] - m[i]);
   }
   for (int step = 0; step < 60; ++step)
   {
      ZqReal slope = 0.0;
      for (int i = 0; i < 3; ++i)
      {
         const ZqReal below = tau + m[i];
         p[i] = g[i] > 0.0 ? g[i] / below : 0.0;
         slope += below > 0.0 ? p[i] * p[i] / below : 0.0;
      }
      const ZqReal length = norm(p);
      const ZqReal move = length > 1.0 ? length * length * (length - 1.0) / slope : 0.0;
      if (!(move > 1e-16 * tau))
         break;
      tau += move;
   }
   // In the plane of the two longer axes, and near the middle, the least one takes up what the others leave.
   if (!(tau > 0.0))
   {
      p[k] = 0.0;
      p[k] = std::sqrt(std::max(0.0, 1.0 - norm2(p)));
   }
   p = unit(p);
   for (int i = 0; i < 3; ++i)
      p[i] = std::copysign(p[i], c[i]);
   out.a = {h.x * p.x, h.y * p.y, h.z * p.z};
   out.b = c;
   out.n = unit({p.x * (h[k] / h.x), p.y * (h[k] / h.y), p.z * (h[k] / h.z)});
   out.distance = dot(out.n, c - out.a);
}

void exchange(const Pose& X, CoreAnswer& out) noexcept
{
   const Vec3 a = out.a;
   out.n = -(X.R * out.n);
   out.a = X * out.b;
   out.b = X * a;
}

/// A point at c in the frame of core C.
bool againstPoint(const ZqConvex& C, const Vec3& c, CoreAnswer& out) noexcept
{
   switch (C.core)
   {
   case ZqConvex::Core::Box:
      boxPoint(C.h, c, out);
      return true;
   case ZqConvex::Core::Turned:
      turnedPoint(C.h, c, out);
      return true;
   case ZqConvex::Core::Triangle:
      trianglePoint(C.corner, c, out);
      return true;
   case ZqConvex::Core::Ellipsoid:
      if (C.dimension == 3)
         ellipsoidPoint(C.h, c, out);
      return C.dimension == 3;
   case ZqConvex::Core::Polytope:
   case ZqConvex::Core::HalfSpace:
      break;
   }
   return false;
}

/// Of two half-spaces the normals are opposite, or no translation parts them.
void halfSpaces(const Pose& X, CoreAnswer& out) noexcept
{
   out.n = {0.0, 0.0, 1.0};
   out.a = {X.t.x, X.t.y, 0.0};
   out.b = X.t;
   out.distance = X.R.c2.z < 0.0 && norm2(cross(X.R.c2, out.n)) < 1e-24 ? X.t.z : -1e300;
}

/// Core C against the half-space below z = 0, in whose frame X places it.
void onHalfSpace(const ZqConvex& C, const Pose& X, int& at, CoreAnswer& out) noexcept
{
   out.n = {0.0, 0.0, 1.0};
   out.b = X * C.support(-X.R.row(2), at);
   out.a = {out.b.x, out.b.y, 0.0};
   out.distance = out.b.z;
}

bool halfSpaceForm(CorePair& pair, CoreAnswer& out) noexcept
{
   if (pair.A.isBounded() && pair.B.isBounded())
      return false;
   if (!pair.A.isBounded() && !pair.B.isBounded())
      halfSpaces(pair.X, out);
   else if (pair.B.isBounded())
      onHalfSpace(pair.B, pair.X, pair.atB, out);
   else
   {
      onHalfSpace(pair.A, inverse(pair.X), pair.atA, out);
      exchange(pair.X, out);
   }
   return true;
}

Segment segmentIn(const ZqConvex& C, const Mat3& R) noexcept
{
   return {R.column(C.h.x > 0.0 ? 0 : C.h.y > 0.0 ? 1 : 2), C.halfLength};
}
bool pointForm(CorePair& pair, CoreAnswer& out) noexcept
{
   if (pair.B.core == ZqConvex::Core::Box && pair.B.dimension == 0)
      return againstPoint(pair.A, pair.X.t, out);
   if (pair.A.core != ZqConvex::Core::Box || pair.A.dimension != 0 ||
       !againstPoint(pair.B, -turnBack(pair.X.R, pair.X.t), out))
      return false;
   exchange(pair.X, out);
   return true;
}
/// Of shapes that X places: from the middle of A's core to that of B's, along the axes of A's shape.
Vec3 betweenMiddles(const ZqConvex& A, const ZqConvex& B, const Pose& X) noexcept
{
   const Vec3 c = X * B.frame.t - A.frame.t;
   return {inRange(c.x), inRange(c.y), inRange(c.z)};
}
} // namespace

void thinSeparation(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqSeparation& out) noexcept
{
   const Vec3 c = betweenMiddles(A, B, X);
   Vec3 a = A.frame.t;
   Vec3 b = B.frame.t;
   Vec3 n{0.0, 0.0, 1.0};
   if (A.dimension == 0 && B.dimension == 0)
      out.distance = measure(c, n);
   else
   {
      const Segment first{A.axis, A.halfLength};
      const Segment second{X.R * B.axis, B.halfLength};
      const SegmentPlaces places = nearestPlaces(first, second, c);
      out.distance = measure(places, first, second, c, n);
      a += A.axis * places.s;
      b += B.axis * places.t;
   }
   out.distance -= A.radius + B.radius;
   out.error = 0.0;
   out.iterations = 0;
   out.normal = vector(n);
   out.point1 = vector(a + n * A.radius);
   out.point2 = vector(b - turnBack(X.R, n) * B.radius);
}

ZqReal thinDistance(const ZqConvex& A, const ZqConvex& B, const Pose& X) noexcept
{
   const Vec3 c = betweenMiddles(A, B, X);
   if (A.dimension == 0 && B.dimension == 0)
      return norm(c);
   return norm(nearestPlaces({A.axis, A.halfLength}, {X.R * B.axis, B.halfLength}, c).gap);
}

bool closedForm(CorePair& pair, CoreAnswer& out) noexcept
{
   if (isThin(pair.A) && isThin(pair.B))
   {
      if (pair.A.dimension == 0 && pair.B.dimension == 0)
         pointPoint(pair.X.t, out);
      else
         segmentSegment(segmentIn(pair.A, {}), segmentIn(pair.B, pair.X.R), pair.X.t, out);
   }
   else if (!pointForm(pair, out) && !halfSpaceForm(pair, out))
      return false;
   out.error = 0.0;
   out.iterations = 0;
   out.along = out.n;
   return true;
}
} // namespace zqConvex
