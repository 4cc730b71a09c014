#include "zqManipulator/foundation/geometry/ZqBoundingVolumeFit.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqConvexParts.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"

#include <Eigen/Eigenvalues>

#include <array>
#include <limits>

namespace zqConvex
{
namespace
{
constexpr ZqReal epsilon = std::numeric_limits<ZqReal>::epsilon();
constexpr ZqReal endless = std::numeric_limits<ZqReal>::infinity();

/// Balls whose convex hull holds a shape.
struct Ball
{
   Vec3 center;
   ZqReal radius;
};
using Balls = std::vector<Ball>;

/// Points around the unit ball, whose hull holds it: a geodesic one (Fuller), of an icosahedron whose faces
/// are cut twice into four.
const std::vector<Vec3>& pointsAroundBall()
{
   static const auto& points = *new std::vector<Vec3>(
      []
      {
         const ZqReal golden = 0.5 * (1.0 + std::sqrt(5.0));
         std::vector<Vec3> directions;
         for (int i = 0; i < 12; ++i)
         {
            Vec3 v{0.0, 0.0, 0.0};
            v[i / 4] = (i & 1) != 0 ? 1.0 : -1.0;
            v[(i / 4 + 1) % 3] = (i & 2) != 0 ? golden : -golden;
            directions.push_back(unit(v));
         }
         for (int cut = 0; cut < 2; ++cut)
         {
            const auto hull = ZqHull::of(directions);
            directions = hull->vertices;
            for (int v = 0; v < static_cast<int>(hull->vertices.size()); ++v)
               for (int k = hull->firstNeighbour[v]; k < hull->firstNeighbour[v + 1]; ++k)
                  if (const int w = hull->neighbours[k]; w > v)
                     directions.push_back(unit(hull->vertices[v] + hull->vertices[w]));
         }
         ZqReal inner = 1.0;
         const auto hull = ZqHull::of(directions);
         for (const ZqHull::Face& face : hull->faces)
            inner = std::min(inner, face.offset);
         for (Vec3& v : directions)
            v = v * ((1.0 + 1e-9) / inner);
         return directions;
      }());
   return points;
}

/// A ring of points around a circle about z, whose polygon holds it.
void addRing(const Pose& frame, ZqReal radius, ZqReal z, ZqReal ballRadius, Balls& balls)
{
   constexpr int corners = 32;
   const ZqReal outer = radius / ZqMath::cosineSine(ZqMath::pi / corners).cosine * (1.0 + 1e-12);
   for (int i = 0; i < (radius > 0.0 ? corners : 1); ++i)
   {
      const auto turn = ZqMath::cosineSine(2.0 * ZqMath::pi * i / corners);
      balls.push_back({frame * Vec3{outer * turn.cosine, outer * turn.sine, z}, ballRadius});
   }
}

void addBalls(const ZqConvex& C, Balls& balls)
{
   switch (C.core)
   {
   case ZqConvex::Core::Box:
      for (int i = 0; i < 8; ++i)
         if (((i & 1) == 0 || C.h.x > 0.0) && ((i & 2) == 0 || C.h.y > 0.0) &&
             ((i & 4) == 0 || C.h.z > 0.0))
            balls.push_back(
               {C.frame * Vec3{(i & 1) != 0 ? -C.h.x : C.h.x, (i & 2) != 0 ? -C.h.y : C.h.y,
                               (i & 4) != 0 ? -C.h.z : C.h.z},
                C.radius});
      break;
   case ZqConvex::Core::Turned:
      addRing(C.frame, C.h.x, -C.h.z, C.radius, balls);
      addRing(C.frame, C.h.y, C.h.z, C.radius, balls);
      break;
   case ZqConvex::Core::Triangle:
      for (const Vec3& corner : C.corner)
         balls.push_back({C.frame * corner, C.radius});
      break;
   case ZqConvex::Core::Polytope:
      for (const Vec3& vertex : C.hull->vertices)
         balls.push_back({C.frame * vertex, C.radius});
      break;
   case ZqConvex::Core::Ellipsoid:
      for (const Vec3& u : pointsAroundBall())
         balls.push_back({C.frame * Vec3{C.h.x * u.x, C.h.y * u.y, C.h.z * u.z}, 0.0});
      break;
   case ZqConvex::Core::HalfSpace:
      break;
   }
}

void addVertices(const ZqTriangles& triangles, Balls& balls)
{
   std::vector<bool> isUsed(triangles.vertices().size());
   for (const auto& corners : triangles.corners())
      for (ZqU32 corner : corners)
         isUsed[corner] = true;
   for (std::size_t i = 0; i < isUsed.size(); ++i)
      if (isUsed[i])
         balls.push_back({triangles.vertices()[i], 0.0});
}

/// None for a shape without points, or without end.
Balls ballsOf(const ZqShape& shape)
{
   Balls balls;
   if (const ZqConvex* convex = shape.convex())
   {
      addBalls(*convex, balls);
      return balls;
   }
   const ZqConvexParts* parts = shape.parts();
   if (parts == nullptr)
      return balls;
   for (const ZqConvexParts::Member& member : parts->members())
      if (member.triangles != nullptr)
         addVertices(*member.triangles, balls);
      else if (!member.convex.isBounded())
         return {};
      else if (member.partCount > 0)
         addBalls(member.convex, balls);
   return balls;
}

/// The balls that a volume is fitted around, and the hull of their centers about the first one.
struct Outline
{
   Balls balls;
   std::shared_ptr<const ZqHull> hull;

   /// Of equal balls those at the corners of the hull are enough.
   explicit Outline(Balls all) : balls(std::move(all))
   {
      if (balls.empty())
         return;
      const Vec3 origin = balls[0].center;
      const ZqReal radius = balls[0].radius;
      std::vector<Vec3> centers;
      bool areEqual = true;
      for (const Ball& ball : balls)
      {
         centers.push_back(ball.center - origin);
         areEqual = areEqual && ball.radius == radius;
      }
      hull = ZqHull::of(centers);
      if (!areEqual)
         return;
      balls.clear();
      for (const Vec3& vertex : hull->vertices)
         balls.push_back({origin + vertex, radius});
   }
};

/// What rounding may take away from a volume of this size and place.
ZqReal roundingOf(ZqReal size, const Vec3& place) noexcept
{
   return 32.0 * epsilon * (size + largest(place));
}

// The smallest sphere -----------------------------------------------------------------------------

/// The center of the sphere through up to four points, in the space that they span. False where they do not
/// span it.
bool centerThrough(const std::vector<Vec3>& p, Vec3& center) noexcept
{
   const auto n = static_cast<Eigen::Index>(p.size()) - 1;
   Eigen::Matrix<ZqReal, Eigen::Dynamic, Eigen::Dynamic, 0, 3, 3> gram(n, n);
   Eigen::Matrix<ZqReal, Eigen::Dynamic, 1, 0, 3, 1> squares(n);
   for (Eigen::Index i = 0; i < n; ++i)
   {
      const Vec3 e = p[static_cast<std::size_t>(i) + 1] - p[0];
      squares[i] = 0.5 * norm2(e);
      for (Eigen::Index j = 0; j < n; ++j)
         gram(i, j) = dot(e, p[static_cast<std::size_t>(j) + 1] - p[0]);
   }
   center = p[0];
   if (n == 0)
      return true;
   const auto factor = gram.ldlt();
   if (!(factor.rcond() > 1e-14))
      return false;
   const auto weights = factor.solve(squares).eval();
   for (Eigen::Index i = 0; i < n; ++i)
      center += (p[static_cast<std::size_t>(i) + 1] - p[0]) * weights[i];
   return true;
}

/// The smallest sphere around up to five points, of which those that it goes through remain.
Ball smallestAround(std::vector<Vec3>& points)
{
   Ball best{points[0], endless};
   std::vector<Vec3> through;
   for (unsigned choice = 1; choice < 1U << points.size(); ++choice)
   {
      std::vector<Vec3> chosen;
      for (std::size_t i = 0; i < points.size(); ++i)
         if ((choice >> i & 1U) != 0)
            chosen.push_back(points[i]);
      Vec3 center;
      if (chosen.size() > 4 || !centerThrough(chosen, center))
         continue;
      ZqReal radius = 0.0;
      for (const Vec3& point : points)
         radius = std::max(radius, norm(point - center));
      if (radius < best.radius * (1.0 - 1e-12) && norm(chosen[0] - center) >= radius * (1.0 - 1e-9))
      {
         best = {center, radius};
         through = std::move(chosen);
      }
   }
   points = std::move(through);
   return best;
}

/// Takes in the farthest point as long as there is one outside: the radius grows at each step, and the
/// sphere is the smallest around those that it goes through (Gärtner 1999).
Ball smallestSphereOfPoints(const std::vector<Vec3>& points)
{
   constexpr int mostSteps = 1000;
   std::vector<Vec3> through = {points[0]};
   Ball ball{points[0], 0.0};
   for (int step = 0; step < mostSteps; ++step)
   {
      const Vec3* farthest = &points[0];
      for (const Vec3& point : points)
         if (norm2(point - ball.center) > norm2(*farthest - ball.center))
            farthest = &point;
      if (!(norm(*farthest - ball.center) > ball.radius * (1.0 + 1e-12)))
         break;
      std::vector<Vec3> next = through;
      next.push_back(*farthest);
      const Ball larger = smallestAround(next);
      if (next.empty() || !(larger.radius > ball.radius))
         break;
      ball = larger;
      through = std::move(next);
   }
   return ball;
}

ZqReal radiusAround(const Balls& balls, const Vec3& center) noexcept
{
   ZqReal radius = 0.0;
   for (const Ball& ball : balls)
      radius = std::max(radius, norm(ball.center - center) + ball.radius);
   return radius;
}

/// Of balls of different sizes by their points that are farthest from the center, again and again.
Ball smallestSphere(const Balls& balls)
{
   std::vector<Vec3> points;
   for (const Ball& ball : balls)
      points.push_back(ball.center);
   Vec3 center = smallestSphereOfPoints(points).center;
   Ball best{center, radiusAround(balls, center)};
   constexpr int mostRounds = 30;
   for (int round = 0; round < mostRounds; ++round)
   {
      for (std::size_t i = 0; i < balls.size(); ++i)
         points[i] = balls[i].center + unit(balls[i].center - center) * balls[i].radius;
      center = smallestSphereOfPoints(points).center;
      const ZqReal radius = radiusAround(balls, center);
      if (!(radius < best.radius * (1.0 - 1e-9)))
         break;
      best = {center, radius};
   }
   return best;
}

Ball sphereAround(const ZqShape& shape, const Balls& balls)
{
   const ZqConvex* C = shape.convex();
   if (C == nullptr)
      return smallestSphere(balls);
   switch (C->core)
   {
   case ZqConvex::Core::Box:
      return {C->frame.t, norm(C->h) + C->radius};
   case ZqConvex::Core::Ellipsoid:
      return {C->frame.t, largest(C->h)};
   case ZqConvex::Core::Turned:
   {
      // Equally far from both rims, as long as that is between the caps.
      const ZqReal level =
         C->h.z > 0.0 ? (C->h.y - C->h.x) * (C->h.y + C->h.x) / (4.0 * C->h.z) : 0.0;
      const ZqReal z = std::clamp(level, -C->h.z, C->h.z);
      const ZqReal radius =
         std::max(norm(Vec3{C->h.x, 0.0, z + C->h.z}), norm(Vec3{C->h.y, 0.0, z - C->h.z}));
      return {C->frame * Vec3{0.0, 0.0, z}, radius + C->radius};
   }
   default:
      return smallestSphere(balls);
   }
}

// The box ------------------------------------------------------------------------------------------

/// The axes along which the surface of the hull of points spreads most and least, right-handed.
Mat3 principalAxes(const ZqHull& hull)
{
   // Second moments of the surface about its middle; of the vertices where there is no surface.
   ZqReal weight = 0.0;
   Vec3 first{0.0, 0.0, 0.0};
   Eigen::Matrix<ZqReal, 3, 3> second = Eigen::Matrix<ZqReal, 3, 3>::Zero();
   const auto add = [&](const Vec3& p, ZqReal w)
   {
      const Eigen::Matrix<ZqReal, 3, 1> v(p.x, p.y, p.z);
      weight += w;
      first += p * w;
      second += v * v.transpose() * w;
   };
   for (const ZqHull::Face& face : hull.faces)
      for (int i = 1; i + 1 < face.cornerCount; ++i)
      {
         const int* corners = &hull.corners[face.firstCorner];
         const Vec3& a = hull.vertices[corners[0]];
         const Vec3& b = hull.vertices[corners[i]];
         const Vec3& c = hull.vertices[corners[i + 1]];
         const ZqReal third = norm(cross(b - a, c - a)) / 3.0;
         // Exact by the middles of the edges.
         add((a + b) * 0.5, third);
         add((b + c) * 0.5, third);
         add((c + a) * 0.5, third);
      }
   if (hull.faces.empty())
      for (const Vec3& vertex : hull.vertices)
         add(vertex, 1.0);
   if (!(weight > 0.0))
      return {};
   const Eigen::Matrix<ZqReal, 3, 1> mean =
      Eigen::Matrix<ZqReal, 3, 1>(first.x, first.y, first.z) / weight;
   second = second / weight - mean * mean.transpose();
   const Eigen::SelfAdjointEigenSolver<Eigen::Matrix<ZqReal, 3, 3>> solver(second);
   const auto axis = [&](int i)
   {
      const auto v = solver.eigenvectors().col(i);
      return unit(Vec3{v[0], v[1], v[2]});
   };
   const Vec3 z = axis(2);
   const Vec3 x = axis(0);
   return {x, cross(z, x), z};
}

/// The axes that a shape may be boxed along: its own where it has some, else those that are tried.
std::vector<Mat3> axesOf(const ZqShape& shape, const Outline& outline)
{
   const ZqConvex* C = shape.convex();
   if (C != nullptr && C->core != ZqConvex::Core::Triangle && C->core != ZqConvex::Core::Polytope)
      return {C->frame.R};
   std::vector<Mat3> axes = {Mat3(), principalAxes(*outline.hull)};
   if (C != nullptr && C->core == ZqConvex::Core::Triangle)
      for (int i = 0; i < 3; ++i)
      {
         const Vec3 x = unit(C->corner[(i + 1) % 3] - C->corner[i]);
         const Vec3 z = unit(cross(x, C->corner[(i + 2) % 3] - C->corner[i]));
         axes.push_back({x, cross(z, x), z});
      }
   return axes;
}

struct OrientedBox
{
   Mat3 axes;
   Vec3 lower, upper; ///< along the axes

   Vec3 extents() const noexcept { return upper - lower; }
   /// Grows with the volume, of flat ones with the area.
   ZqReal measure() const noexcept
   {
      const Vec3 e = extents();
      const ZqReal least = 1e-6 * largest(e);
      return (e.x + least) * (e.y + least) * (e.z + least);
   }
};

OrientedBox boxAlong(const Mat3& axes, const ZqShape& shape, const Balls& balls)
{
   OrientedBox box{axes, {endless, endless, endless}, {-endless, -endless, -endless}};
   if (const ZqConvex* C = shape.convex())
   {
      C->box(inverse(Pose{axes, {0.0, 0.0, 0.0}}), box.lower, box.upper);
      return box;
   }
   for (const Ball& ball : balls)
   {
      const Vec3 p = turnBack(axes, ball.center);
      for (int i = 0; i < 3; ++i)
      {
         box.lower[i] = std::min(box.lower[i], p[i] - ball.radius);
         box.upper[i] = std::max(box.upper[i], p[i] + ball.radius);
      }
   }
   return box;
}

OrientedBox smallestBox(const ZqShape& shape, const Outline& outline)
{
   const std::vector<Mat3> axes = axesOf(shape, outline);
   OrientedBox best = boxAlong(axes[0], shape, outline.balls);
   for (std::size_t i = 1; i < axes.size(); ++i)
      if (const OrientedBox box = boxAlong(axes[i], shape, outline.balls);
          box.measure() < best.measure())
         best = box;
   return best;
}

// The capsule --------------------------------------------------------------------------------------

/// A ring about the axis of a capsule: how high, how wide, and of balls of which radius.
struct Ring
{
   ZqReal z, rho, radius;
};
/// A capsule on an axis, from one height to another.
struct Fit
{
   Vec3 origin, axis;
   ZqReal from = 0.0, to = 0.0, radius = endless;

   ZqReal volume() const noexcept { return radius * radius * (to - from + 4.0 / 3.0 * radius); }
};

/// The shortest capsule of a radius that holds the rings.
Fit ofRadius(const std::vector<Ring>& rings, ZqReal radius, const Vec3& origin,
             const Vec3& axis) noexcept
{
   ZqReal lowest = endless;
   ZqReal highest = -endless;
   for (const Ring& ring : rings)
   {
      const ZqReal inner = radius - ring.radius;
      const ZqReal reach = std::sqrt(std::max(0.0, (inner - ring.rho) * (inner + ring.rho)));
      lowest = std::min(lowest, ring.z + reach);
      highest = std::max(highest, ring.z - reach);
   }
   if (lowest > highest) // any height between is enough
      lowest = highest = 0.5 * (lowest + highest);
   return {origin, axis, lowest, highest, radius};
}

/// The smallest capsule on an axis, of a few dozen radii that are tried.
Fit smallestOnAxis(const std::vector<Ring>& rings, const Vec3& origin, const Vec3& axis) noexcept
{
   ZqReal least = 0.0;
   ZqReal low = endless;
   ZqReal high = -endless;
   for (const Ring& ring : rings)
   {
      least = std::max(least, ring.rho + ring.radius);
      low = std::min(low, ring.z - ring.radius);
      high = std::max(high, ring.z + ring.radius);
   }
   const ZqReal step = 0.5 * (high - low) / 16.0;
   Fit best = ofRadius(rings, least, origin, axis);
   const auto attempt = [&](ZqReal radius)
   {
      const Fit fit = ofRadius(rings, radius, origin, axis);
      if (fit.volume() < best.volume())
         best = fit;
   };
   for (int i = 1; i <= 16; ++i)
      attempt(least + i * step);
   for (ZqReal width = 0.5 * step; width > 1e-3 * step; width *= 0.5)
   {
      const ZqReal middle = best.radius;
      attempt(middle + width);
      attempt(std::max(least, middle - width));
   }
   return best;
}

Fit capsuleOnAxis(const Balls& balls, const Vec3& axis)
{
   // The circle around what is seen along the axis.
   const Mat3 frame = frameAbout(axis);
   Balls seen;
   for (const Ball& ball : balls)
   {
      const Vec3 p = turnBack(frame, ball.center);
      seen.push_back({{p.x, p.y, 0.0}, ball.radius});
   }
   const Vec3 middle = smallestSphere(seen).center;
   std::vector<Ring> rings;
   for (std::size_t i = 0; i < balls.size(); ++i)
      rings.push_back({dot(axis, balls[i].center), norm(seen[i].center - middle), balls[i].radius});
   return smallestOnAxis(rings, frame * middle, axis);
}

Fit capsuleOf(const ZqShape& shape, const Outline& outline)
{
   if (const ZqConvex* C = shape.convex())
      switch (C->core)
      {
      case ZqConvex::Core::Box:
      {
         const int along = C->h.x >= C->h.y && C->h.x >= C->h.z ? 0 : C->h.y >= C->h.z ? 1 : 2;
         Vec3 across = C->h;
         across[along] = 0.0;
         const ZqReal rho = norm(across);
         return smallestOnAxis({{-C->h[along], rho, C->radius}, {C->h[along], rho, C->radius}},
                               C->frame.t, C->frame.R.column(along));
      }
      case ZqConvex::Core::Turned:
         return smallestOnAxis({{-C->h.z, C->h.x, C->radius}, {C->h.z, C->h.y, C->radius}},
                               C->frame.t, C->frame.R.c2);
      case ZqConvex::Core::Ellipsoid:
      {
         // A ball that rolls along the longest axis touches the widest place and both ends.
         const int along = C->h.x >= C->h.y && C->h.x >= C->h.z ? 0 : C->h.y >= C->h.z ? 1 : 2;
         const ZqReal wide = std::max(C->h[(along + 1) % 3], C->h[(along + 2) % 3]);
         const ZqReal half = C->h[along] - wide;
         return {C->frame.t, C->frame.R.column(along), -half, half, wide};
      }
      default:
         break;
      }
   const OrientedBox box = smallestBox(shape, outline);
   Fit best;
   for (const Mat3& axes : {box.axes, principalAxes(*outline.hull)})
      for (int i = 0; i < 3; ++i)
         if (const Fit fit = capsuleOnAxis(outline.balls, axes.column(i));
             fit.volume() < best.volume())
            best = fit;
   return best;
}

ZqCapsule capsuleFrom(const Fit& fit)
{
   const Vec3 from = fit.origin + fit.axis * fit.from;
   const Vec3 to = fit.origin + fit.axis * fit.to;
   const ZqReal rounding = roundingOf(fit.radius + fit.to - fit.from, from) + roundingOf(0.0, to);
   return {ZqLineSegment(vector(from), vector(to)), fit.radius + rounding};
}

std::unique_ptr<ZqBox> boxFrom(const OrientedBox& box)
{
   ZqOrientation orientation;
   orientation.setFromDcmColumns(vector(box.axes.c0), vector(box.axes.c1), vector(box.axes.c2));
   const Vec3 center = box.axes * ((box.lower + box.upper) * 0.5);
   const ZqReal rounding = roundingOf(norm(box.extents()), center);
   const ZqVector half = vector((box.upper - box.lower) * 0.5);
   return std::make_unique<ZqBox>(ZqCoordinateSystemTransformation(vector(center), orientation),
                                  half + ZqVector(rounding, rounding, rounding));
}

std::unique_ptr<ZqConvexHull> hullFrom(const Balls& balls)
{
   std::vector<ZqVector> points;
   for (const Ball& ball : balls)
   {
      if (!(ball.radius > 0.0))
         points.push_back(vector(ball.center));
      else
         for (const Vec3& direction : pointsAroundBall())
            points.push_back(vector(ball.center + direction * ball.radius));
   }
   auto hull = std::make_unique<ZqConvexHull>(std::move(points));
   hull->removeRedundancy(0.0);
   return hull;
}
} // namespace

std::optional<ZqCapsule> capsuleAround(const ZqShape& shape)
{
   const Outline outline(ballsOf(shape));
   return outline.balls.empty() ? std::nullopt
                                : std::optional<ZqCapsule>(capsuleFrom(capsuleOf(shape, outline)));
}

std::unique_ptr<ZqShape> volumeAround(const ZqShape& shape, ZqU32 type)
{
   const Outline outline(ballsOf(shape));
   if (outline.balls.empty())
      return nullptr;
   switch (type)
   {
   case ZqShape::SphereShape:
   {
      const Ball ball = sphereAround(shape, outline.balls);
      return std::make_unique<ZqSphere>(vector(ball.center),
                                        ball.radius + roundingOf(ball.radius, ball.center));
   }
   case ZqShape::CapsuleShape:
      return std::make_unique<ZqCapsule>(capsuleFrom(capsuleOf(shape, outline)));
   case ZqShape::BoxShape:
      return boxFrom(smallestBox(shape, outline));
   case ZqShape::ConvexHullShape:
      return hullFrom(outline.balls);
   default:
      return nullptr;
   }
}
} // namespace zqConvex
