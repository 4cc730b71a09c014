#pragma once

#include "support/frictionTruth.h"

#include <vector>

// Two laws of contact forces told a second time: in axes of the system and at points of the system, where the
// library computes in the frames of patches; and with angles where it solves for directions.
namespace zqTest::collision
{
using namespace friction;

/// A force, and its moment about the origin of the frame in which both are given.
struct Wrench
{
   V force{}, moment{};
};
/// In the primary frame; the axes are columns.
struct Patch
{
   V middle{};
   M axes{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
   double momentX = 0.0, momentY = 0.0;
};
struct Side
{
   V x{};
   M R{};
   V v{}, w{};
   V contactPoint{}; ///< in the primary frame
   std::vector<V> points;
   Patch patch;
};
struct Contact
{
   Side side[2];
   V n{};
   double separation = 0.0;
   double k = 0.0, c = 0.0, e = 0.0;
   double torsionShare = 0.0;
};
struct Outcome
{
   V press{};
   Wrench on[2]; ///< in the primary frames
};

inline M columns(const V& x, const V& y, const V& z)
{
   return transpose({x, y, z});
}
inline V column(const M& A, int i)
{
   return {A[0][i], A[1][i], A[2][i]};
}
/// The rotation of the quaternion that the greatest element of q q' leads to.
inline M rotation(const M& A)
{
   const double x = A[0][0], y = A[1][1], z = A[2][2];
   const double wx = A[2][1] - A[1][2], wy = A[0][2] - A[2][0], wz = A[1][0] - A[0][1];
   const double xy = A[0][1] + A[1][0], xz = A[0][2] + A[2][0], yz = A[1][2] + A[2][1];
   const double outer[4][4] = {{1 + x + y + z, wx, wy, wz},
                               {wx, 1 + x - y - z, xy, xz},
                               {wy, xy, 1 - x + y - z, yz},
                               {wz, xz, yz, 1 - x - y + z}};
   int best = 0;
   for (int i = 1; i < 4; ++i)
      if (outer[i][i] > outer[best][best])
         best = i;
   const double* q = outer[best];
   const double s = 2.0 / (q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
   const V u{q[1], q[2], q[3]};
   M R{};
   for (int i = 0; i < 3; ++i)
   {
      V e{};
      e[i] = 1.0;
      const V t = cross(u, e);
      const V image = e + s * (q[0] * t + cross(u, t));
      for (int j = 0; j < 3; ++j)
         R[j][i] = image[j];
   }
   return R;
}

inline bool isNear(const V& a, const V& b)
{
   const V d = a - b;
   return std::abs(d[0]) <= 0.01 && std::abs(d[1]) <= 0.01 && std::abs(d[2]) <= 0.01;
}
inline double distanceFromLine(const V& p, const V& a, const V& b)
{
   return norm(cross(unit(b - a), p - a));
}
/// False ends the round.
inline bool keep(std::vector<V>& kept, const V& p)
{
   for (const V& other : kept)
      if (isNear(p, other))
         return true;
   if (kept.size() == 4 || (kept.size() == 2 && !(distanceFromLine(p, kept[0], kept[1]) > 0.01 &&
                                                  distanceFromLine(kept[1], kept[0], p) > 0.01)))
      return true;
   if (kept.size() == 3)
   {
      const V normal = unit(cross(kept[1] - kept[0], kept[2] - kept[0]));
      if (!(std::abs(dot(p - kept[0], normal)) < 0.01))
         return false;
   }
   kept.push_back(p);
   return true;
}
inline V leastAxis(const V& n)
{
   const double x = std::abs(n[0]), y = std::abs(n[1]), z = std::abs(n[2]);
   if (y <= x)
      return z <= y ? V{0, 0, 1} : V{0, 1, 0};
   return z <= x ? V{0, 0, 1} : V{1, 0, 0};
}
inline void spread(Patch& patch, const std::vector<V>& p, const V& n)
{
   const double share = 1.0 / static_cast<double>(p.size());
   patch.middle = {};
   for (const V& point : p)
      patch.middle = patch.middle + share * point;
   V z = unit(cross(p[1] - p[0], p[2] - p[0]));
   if (dot(z, n) < 0.0)
      z = -1.0 * z;
   const V x = unit(p[1] - p[0]);
   const V y = cross(z, x);
   double xx = 0.0, yy = 0.0, xy = 0.0;
   for (const V& point : p)
   {
      const V d = point - patch.middle;
      xx += share * dot(d, x) * dot(d, x);
      yy += share * dot(d, y) * dot(d, y);
      xy += share * dot(d, x) * dot(d, y);
   }
   double angle = 0.5 * std::atan2(2.0 * xy, xx - yy);
   if (xx < yy && angle < 0.0)
      angle += std::acos(-1.0);
   const double c = std::cos(angle), s = std::sin(angle);
   patch.axes = rotation(columns(c * x + s * y, c * y - s * x, z));
   patch.momentX = 0.5 * (xx + yy) + std::hypot(0.5 * (xx - yy), xy);
   patch.momentY = (xx * yy - xy * xy) / patch.momentX;
}
inline void estimatePatches(Contact& contact)
{
   std::vector<V> kept[2];
   for (std::size_t i = 0; i < contact.side[0].points.size(); ++i)
      for (int s = 0; s < 2 && keep(kept[s], contact.side[s].points[i]); ++s)
      {
      }
   for (int s = 0; s < 2; ++s)
   {
      const std::vector<V>& p = kept[s];
      Patch& patch = contact.side[s].patch;
      patch = {};
      const V n = transpose(contact.side[s].R) * ((s == 0 ? 1.0 : -1.0) * contact.n);
      if (p.size() == 1)
      {
         const V u = unit(cross(n, leastAxis(n)));
         patch = {p[0], rotation(columns(cross(u, n), u, n)), 0.0, 0.0};
      }
      else if (p.size() == 2)
      {
         const V x = unit(p[1] - p[0]);
         const V y = cross(x, n);
         patch = {0.5 * (p[0] + p[1]), rotation(columns(x, y, cross(x, y))),
                  0.5 * dot(p[1] - p[0], p[1] - p[0]), 0.0};
      }
      else if (p.size() > 2)
         spread(patch, p, n);
   }
}

/// In the primary frame of a side what acts at a place of the system.
inline Wrench onSide(const Side& side, const V& place, const V& force)
{
   return {transpose(side.R) * force, transpose(side.R) * cross(place - side.x, force)};
}
inline V rateAt(const Side& a, const Side& b, const V& place)
{
   return a.v + cross(a.w, place - a.x) - b.v - cross(b.w, place - b.x);
}
inline void addTo(Wrench& sum, double share, const Wrench& more)
{
   sum.force = sum.force + share * more.force;
   sum.moment = sum.moment + share * more.moment;
}

inline Outcome pointForces(const Contact& c, const V& press)
{
   Outcome out;
   out.press = press;
   for (int i = 0; i < 2; ++i)
      out.on[i] = onSide(c.side[i], c.side[i].x + c.side[i].R * c.side[i].contactPoint,
                         (i == 0 ? 1.0 : -1.0) * press);
   return out;
}
inline double approach(const Contact& c)
{
   return dot(rateAt(c.side[0], c.side[1], c.side[1].x + c.side[1].R * c.side[1].contactPoint),
              c.n);
}

/// The share of patches that face each other.
inline double torsion(const Contact& c, Wrench (&on)[2])
{
   const Patch& one = c.side[0].patch;
   const Patch& two = c.side[1].patch;
   const double size1 = one.momentX * one.momentY, size2 = two.momentX * two.momentY;
   const bool isLine = size1 == 0.0 && size2 == 0.0;
   const int small = (isLine ? two.momentX < one.momentX : size2 < size1) ? 1 : 0;
   const Side& a = c.side[small];
   const Side& b = c.side[1 - small];
   const M axes = a.R * a.patch.axes;
   const V facing = b.R * column(b.patch.axes, 2);
   const double opposite = -dot(facing, column(axes, 2));
   if (!(opposite > 0.0))
      return 0.0;
   const V n = dot(facing, c.n) < 0.0 ? -1.0 * c.n : c.n;
   const double ratio = opposite * dot(facing, n);
   const V middle = a.x + a.R * a.patch.middle;
   const V origin = b.x + b.R * b.patch.middle;
   const double r = std::sqrt(0.5);
   const double place[8][2] = {{1, 0}, {-1, 0}, {0, 1},  {0, -1},
                               {r, r}, {r, -r}, {-r, r}, {-r, -r}};
   for (const auto& [x, y] : place)
   {
      const V p = middle + x * std::sqrt(a.patch.momentX) * column(axes, 0) +
                  y * std::sqrt(a.patch.momentY) * column(axes, 1);
      const double depth = -dot(p - origin, n);
      if (!(depth > 0.0))
         continue;
      const V force = (c.k * depth - c.c * dot(rateAt(a, b, p), n)) * n;
      addTo(on[small], ratio / 8.0, onSide(a, p, force));
      addTo(on[1 - small], -ratio / 8.0, onSide(b, p, force));
   }
   return ratio;
}

inline Outcome massSpring(const Contact& c)
{
   const double push = -c.k * std::pow(std::abs(c.separation), c.e) - c.c * approach(c);
   const Outcome point = pointForces(c, std::min(push, 0.0) * c.n);
   Wrench turning[2];
   const double share = torsion(c, turning) * c.torsionShare;
   Outcome out;
   out.press = point.press;
   for (int i = 0; i < 2; ++i)
   {
      addTo(out.on[i], 1.0 - share, point.on[i]);
      addTo(out.on[i], share, turning[i]);
   }
   return out;
}
inline Outcome massSpringDamper(const Contact& c)
{
   const double depth = std::abs(c.separation);
   return pointForces(c, (-c.k * std::pow(depth, c.e) - depth * c.c * approach(c)) * c.n);
}
} // namespace zqTest::collision
