#pragma once

#include "support/randomScene.h"

// How a scene moves, from nothing but where its points of mass are: derivatives by time come from an
// arithmetic with derivatives, forces from d'Alembert's principle. Slow, and without recursions, inertias
// and Jacobians to get wrong.

namespace zqTest
{
using Real = long double;

/// A number along a path, with its first and second derivative by time.
struct Jet
{
   Jet(Real position = 0, Real rate = 0, Real acceleration = 0)
      : x(position), v(rate), a(acceleration)
   {
   }
   Jet operator-() const { return {-x, -v, -a}; }
   Jet operator+(const Jet& q) const { return {x + q.x, v + q.v, a + q.a}; }
   Jet operator*(const Jet& q) const
   {
      return {x * q.x, v * q.x + x * q.v, a * q.x + 2 * v * q.v + x * q.a};
   }
   Jet& operator+=(const Jet& q) { return *this = *this + q; }
   Jet& operator-=(const Jet& q) { return *this = *this + -q; }
   /// To a power of one half or minus one.
   friend Jet sqrt(const Jet& p)
   {
      const Real f = std::sqrt(p.x);
      return {f, p.v / (2 * f), (p.a - p.v * p.v / (2 * p.x)) / (2 * f)};
   }
   friend Jet inverse(const Jet& p)
   {
      const Real f = 1 / p.x;
      return {f, -p.v * f * f, (2 * p.v * p.v * f - p.a) * f * f};
   }
   friend Jet sin(const Jet& p) { return p.chain(std::sin(p.x), std::cos(p.x)); }
   friend Jet cos(const Jet& p) { return p.chain(std::cos(p.x), -std::sin(p.x)); }

   Real x, v, a;

private:
   /// A function f with f'' = -f.
   Jet chain(Real f, Real slope) const { return {f, slope * v, slope * a - f * v * v}; }
};
using JetFrame = BasicReferenceFrame<Jet>;

/// A linkage in the plane, as two circles meet: about the pivot P at (A, 0) with radius d2, and about C at (0, d1)
/// with radius B.
struct CirclesOfLinkage
{
   CirclesOfLinkage(const ZqQuadrilateralTypeLink& joint, const Jet& q)
   {
      const Jet slider = q + Jet(joint.nominalLength());
      const Jet opposite(joint.oppositeLength());
      const bool isFixed = joint.jointType() == ZqQuadrilateralTypeLink::FixedSlider;
      A = isFixed ? slider : opposite;
      const Jet B = isFixed ? opposite : slider;
      const Jet d1(joint.d1Length());
      const Jet d2(joint.d2Length());
      const Jet perDistance = inverse(A * A + d1 * d1); // of the centers, squared
      const Jet along = Jet(0.5L) + (d2 * d2 + -(B * B)) * perDistance * 0.5L;
      const Jet across = sqrt(d2 * d2 * perDistance + -(along * along));
      for (const int side : {0, 1})
      {
         const Jet u = side == 0 ? across : -across;
         cosine[side] = (-(along * A) + u * d1) * inverse(d2);
         sine[side] = (along * d1 + u * A) * inverse(d2);
      }
   }
   /// Which of the two is taken: the flatter one of those above, or else the upper one; where P is right of C.
   int side() const
   {
      if (sine[0].x >= 0 && sine[1].x >= 0)
         return cosine[0].x > cosine[1].x ? 0 : 1;
      return sine[0].x > sine[1].x ? 0 : 1;
   }

   Jet A, cosine[2], sine[2];
};

/// The transformation of any joint of the library, of a linkage with its frame at the pivot.
inline JetFrame frameOf(const ZqLinkKinematics& joint, const Jet& q)
{
   if (const auto* screw = dynamic_cast<const ZqScrewTypeLink*>(&joint))
      return JetFrame(screw->precursor()) * JetFrame::translation(2, q) *
             JetFrame::rotation(2, q * (2 * std::numbers::pi_v<Real> * screw->pitch()));
   const auto* linkage = dynamic_cast<const ZqQuadrilateralTypeLink*>(&joint);
   if (linkage == nullptr)
      return JetFrame::ofJoint(dynamic_cast<const ZqDenavitHartenberg&>(joint), q);
   const int side = CirclesOfLinkage(*linkage, 0).side();
   const CirclesOfLinkage circles(*linkage, q);
   JetFrame turn;
   turn.m[0][0] = turn.m[1][1] = circles.cosine[side];
   turn.m[1][0] = circles.sine[side];
   turn.m[0][1] = -circles.sine[side];
   return JetFrame(linkage->precursor()) * JetFrame::translation(0, circles.A) *
          JetFrame::translation(2, Jet(linkage->zDistanceA())) * turn;
}

/// A frame in motion, in the axes of the system: its own axes, and the position, velocity and
/// acceleration of its origin, and the angular ones.
struct FrameMotion
{
   explicit FrameMotion(const JetFrame& X) : p(column(X, 3, &Jet::x))
   {
      for (std::size_t j = 0; j < 3; ++j)
      {
         axes[j] = column(X, j, &Jet::x);
         w += axes[j].cross(column(X, j, &Jet::v)) * 0.5;
         alpha += axes[j].cross(column(X, j, &Jet::a)) * 0.5;
      }
      v = column(X, 3, &Jet::v);
      a = column(X, 3, &Jet::a);
   }
   ZqVector toLocal(const ZqVector& t) const
   {
      return {axes[0].dot(t), axes[1].dot(t), axes[2].dot(t)};
   }
   ZqVector toSystem(const ZqVector& t) const
   {
      return axes[0] * t.x() + axes[1] * t.y() + axes[2] * t.z();
   }

   std::array<ZqVector, 3> axes;
   ZqVector p, v, a, w, alpha;

private:
   static ZqVector column(const JetFrame& X, std::size_t j, Real Jet::*order)
   {
      const auto number = [&](std::size_t i) { return static_cast<ZqReal>(X.m[i][j].*order); };
      return {number(0), number(1), number(2)};
   }
};

/// One number for each joint, and six for the base: linear and angular, in the system.
using Coordinates = ZqRealVector;

inline Coordinates coordinates(const ZqRealVector& joints, const ZqGeneralMotion& base)
{
   Coordinates result(joints);
   for (std::size_t i = 0; i < 6; ++i)
      result.push_back(base[i]);
   return result;
}
inline Coordinates coordinates(const ZqVelocityState& state)
{
   return coordinates(state.jointVelocities().values(), state.generalVelocity());
}

/// The motion of everything in the position of a scene at given rates and accelerations.
struct ReferenceMotion
{
   struct Point
   {
      std::size_t body; ///< 0 for the base, 1 + i for link i
      ZqReal mass;
      ZqVector x, v, a;
   };

   ReferenceMotion(const RandomScene& scene, const Coordinates& rates,
                   const Coordinates& accelerations)
   {
      const std::size_t n = scene.jointDof();
      const auto path = [&](std::size_t i, Real x) { return Jet(x, rates[i], accelerations[i]); };

      // The base turns by exp([z]) = 1 + [z] + [z]^2 / 2 + ...
      const Jet z[] = {path(n + 3, 0), path(n + 4, 0), path(n + 5, 0)};
      JetFrame base;
      for (std::size_t i = 0; i < 3; ++i)
      {
         const std::size_t j = (i + 1) % 3;
         const std::size_t k = (i + 2) % 3;
         base.m[i][i] += (z[j] * z[j] + z[k] * z[k]) * -0.5L;
         base.m[i][j] = z[i] * z[j] * 0.5L + -z[k];
         base.m[j][i] = z[i] * z[j] * 0.5L + z[k];
      }
      const JetFrame start =
         JetFrame(scene.manipulator().coordSysXForm()) * JetFrame(scene.position.coordSysXForm());
      base = base * start;
      for (std::size_t i = 0; i < 3; ++i)
         base.m[i][3] = path(n + i, start.m[i][3].x);
      add(scene, scene.manipulator(), base);

      for (ZqU32 i = 0; i < n; ++i)
      {
         const ZqManipulatorLink& link = scene.link(i);
         const ZqLinkKinematics& joint = *link.linkKinematicsContainer().topElement();
         const Jet q = path(i, scene.position.jointPositions()[i]);
         add(scene, link, frames[bodyOf(*link.parentLink())] * frameOf(joint, q));
      }
   }
   static std::size_t bodyOf(const ZqManipulatorLink& link)
   {
      return link.linkIndex() == ZqBaseLinkIndex ? 0 : link.linkIndex() + 1;
   }

   std::vector<JetFrame> frames; ///< the DH frames in the system, by body
   std::vector<Point> points;

private:
   void add(const RandomScene& scene, const ZqManipulatorLink& link, const JetFrame& frame)
   {
      const JetFrame primary = frame * JetFrame(link.primaryFrame());
      for (const auto& [mass, r] : scene.points.at(link.linkLabel()))
      {
         const FrameMotion at(primary * JetFrame(ZqCoordinateSystemTransformation(r)));
         points.push_back({frames.size(), mass, at.p, at.v, at.a});
      }
      frames.push_back(frame);
   }
};

/// The equations of motion of a scene in its position and velocity.
class ReferenceDynamics
{
public:
   explicit ReferenceDynamics(const RandomScene& scene) : m_scene(scene)
   {
      const std::size_t count = scene.jointDof() + 6;
      for (std::size_t i = 0; i < count; ++i)
      {
         Coordinates unit(count);
         unit[i] = 1;
         m_partial.emplace_back(scene, unit, Coordinates(count));
      }
   }
   /// Of the bodies, for all coordinates.
   ZqReArray massMatrix() const
   {
      const auto count = static_cast<ZqU32>(m_partial.size());
      ZqReArray M(count, count);
      for (std::size_t i = 0; i < count; ++i)
         for (std::size_t j = 0; j < count; ++j)
            M[i][j] = power(m_partial[i], m_partial[j], &Point::v);
      return M;
   }
   /// Forces by coordinate: those that a motion asks for, and those that there are.
   struct Balance
   {
      Coordinates asked, given;
   };
   /// For accelerations relative to gravity, commands to drives and a force on a free base. The
   /// reaction of a fixed one counts as given.
   Balance balance(const ZqAccelerationState& acceleration, const ZqManipulatorTorque& torque) const
   {
      const Coordinates accelerations = coordinates(
         acceleration.jointAccelerations().values(),
         acceleration.generalAcceleration() + ZqGeneralMotion(m_scene.gravity, ZqVector()));
      const ReferenceMotion motion(m_scene, coordinates(m_scene.velocity), accelerations);
      Balance result;
      for (const ReferenceMotion& partial : m_partial)
      {
         ZqReal asked = power(partial, motion, &Point::a);
         for (std::size_t body = 0; body < motion.frames.size(); ++body)
         {
            const FrameMotion frame(partial.frames[body]);
            const ZqGeneralForce& force =
               m_scene.external[body == 0 ? ZqBaseLinkIndex : static_cast<ZqU32>(body - 1)];
            asked -= frame.toSystem(force.force()).dot(frame.v) +
                     frame.toSystem(force.moment()).dot(frame.w);
         }
         result.asked.push_back(asked);
      }
      result.given = result.asked;
      const ZqU32 n = m_scene.jointDof();
      const ZqManipulatorActiveState state = m_scene.activeState();
      for (ZqU32 i = 0; i < n; ++i)
      {
         result.asked[i] +=
            m_scene.driveInertia(i) * accelerations[i] + m_scene.link(i).totalLocalTorque(state);
         result.given[i] = m_scene.driveTorque(i, torque.jointTorques()[i]);
      }
      const ZqGeneralForce force = m_scene.baseAxes() * torque.generalForce();
      for (std::size_t i = 0; i < 6 && !m_scene.manipulator().isFixedBase(); ++i)
         result.given[n + i] = force[i];
      return result;
   }

private:
   using Point = ReferenceMotion::Point;
   static ZqReal power(const ReferenceMotion& partial, const ReferenceMotion& motion,
                       ZqVector Point::*order)
   {
      ZqReal sum = 0.0;
      for (std::size_t i = 0; i < motion.points.size(); ++i)
         sum += motion.points[i].mass * partial.points[i].v.dot(motion.points[i].*order);
      return sum;
   }

   const RandomScene& m_scene;
   std::vector<ReferenceMotion> m_partial; ///< for each coordinate moving alone at a unit rate
};
} // namespace zqTest
