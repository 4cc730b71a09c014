#include "zqManipulator/contact/friction/ZqPointFrictionForceProcessor.h"

#include "zqManipulator/contact/friction/ZqContactMotion.h"
#include "zqManipulator/contact/friction/ZqLawNumber.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqPointFrictionForceProcessor, ZqBaseDissipativeForceProcessor>;

using zqConvex::cross;
using zqConvex::dot;
using zqConvex::norm;
using zqConvex::norm2;
using zqConvex::Vec3;
using zqConvex::vec3;

namespace
{
constexpr int pointCapacity = ZqContactMemory::capacity;
constexpr ZqLawRange pointFrictionRange{0.0, 1e3};

/// Anchors are put anew where the contact has left them by more than this along the surface (beyond twice the
/// stretch) or along the normal: a body that rolls, or sinks in. The force acts at the contact, and a spring that is
/// measured elsewhere would not take up the work of the force.
constexpr ZqReal anchorReach = 1e-5;

/// Of the patch as a whole.
struct PatchConstants
{
   ZqReal staticFriction, kineticFriction;
   ZqReal stiffness;     ///< N/m
   ZqReal damper;        ///< N s/m
   ZqReal torsionRadius; ///< m

   PatchConstants(const ZqPointFrictionForceProcessor& law, const ZqString& material1,
                  const ZqString& material2, ZqReal normalStiffness, ZqReal mass)
      : staticFriction(
           notBelowZero(law.frictionCoefficientLUT().tangentialCoefficientOfStaticFriction(
              material1, material2))),
        kineticFriction(notBelowZero(
           law.frictionCoefficientLUT().coefficientOfKineticFriction(material1, material2))),
        stiffness(law.tangentialToNormalStiffness() * notBelowZero(normalStiffness)),
        damper(2.0 * law.dampingRatio() * std::sqrt(stiffness * notBelowZero(mass))),
        torsionRadius(law.torsionRadius())
   {
   }

   /// Zero for NaN and infinity, too: two bodies that cannot move have no mass that could be told.
   static ZqReal notBelowZero(ZqReal value) noexcept
   {
      return value > 0.0 && std::isfinite(value) ? std::min(value, 1e75) : 0.0;
   }
};

/// How much of a damper's force fits into a cone beside that of a spring: the largest part up to 1.
ZqReal partWithin(ZqReal cone, const Vec3& spring, const Vec3& damper) noexcept
{
   if (norm2(spring + damper) <= cone * cone)
      return 1.0;
   const ZqReal dd = norm2(damper);
   if (!(dd > 0.0))
      return 0.0;
   const ZqReal sd = dot(spring, damper);
   const ZqReal room = std::max(0.0, cone * cone - norm2(spring));
   // The root of dd b^2 + 2 sd b = room, in the form that does not cancel.
   const ZqReal root = std::sqrt(sd * sd + dd * room);
   const ZqReal part = sd > 0.0 ? room / (sd + root) : (root - sd) / dd;
   return std::min(1.0, part);
}

/// A body in the system.
struct PatchBody
{
   zqConvex::Pose X;
   Vec3 v, w;

   explicit PatchBody(const ZqPatchFrictionInput::Body& body) noexcept
      : X(zqConvex::pose(body.frame)), v(vec3(body.velocity.linear())),
        w(vec3(body.velocity.angular()))
   {
   }
   Vec3 place(const ZqVector& anchor) const noexcept { return X * vec3(anchor); }
   ZqVector anchor(const Vec3& place) const noexcept
   {
      return zqConvex::vector(inverseTimes(X, place));
   }
   Vec3 velocityAt(const Vec3& p) const noexcept { return v + cross(w, p - X.t); }
};

/// Without its part along a unit vector.
Vec3 acrossNormal(const Vec3& n, const Vec3& v) noexcept
{
   return v - n * dot(n, v);
}

/// One evaluation of the law.
class PatchEvaluation
{
public:
   PatchEvaluation(const PatchConstants& constants, const ZqPatchFrictionInput& input,
                   ZqContactMemory& memory, ZqPatchFriction& out) noexcept
      : m_constants(constants), m_input(input), m_memory(memory), m_out(out), m_body1(input.body1),
        m_body2(input.body2), m_oldCount(memory.gripCount)
   {
      const ZqReal elapsed = input.time - memory.time;
      m_elapsed = elapsed > 0.0 && std::isfinite(elapsed) ? elapsed : 0.0;
   }
   void run() noexcept;

private:
   struct Point
   {
      Vec3 c;     ///< midway between the surfaces
      Vec3 n;     ///< normal
      Vec3 s;     ///< stretch across the normal, and along it the arc of the twist
      Vec3 v;     ///< rate of that
      bool pulls; ///< the surfaces overlap here
      bool mustAnchor;
   };
   /// A spring of the evaluation before as it stands now.
   struct OldSpring
   {
      Vec3 c; ///< midway between its anchors
      Vec3 s; ///< stretch across the normal of the contact
   };
   /// How a patch has moved on another: like a rigid body.
   struct Motion
   {
      Vec3 mean{0.0, 0.0, 0.0}, centre{0.0, 0.0, 0.0};
      ZqReal turn = 0.0;  ///< of the stretches about the centre (rad)
      ZqReal twist = 0.0; ///< of the springs that resist that (rad)
      bool isKnown = false;
   };

   bool areSamePoints() const noexcept;
   void match() noexcept;
   void matchByName() noexcept;
   void matchTheRest() noexcept;
   void matchByPlace(const OldSpring* springs) noexcept;
   int nearestOld(const Vec3& place, const OldSpring* springs, ZqReal& least) const noexcept;
   bool isNearest(int i, int old, ZqReal distance, const OldSpring* springs) const noexcept;
   Motion motionOf(const OldSpring* springs) const noexcept;
   void inherit(int i, const Motion& motion) noexcept;
   void takeOver(int i, int old) noexcept;

   void measure(int i) noexcept;
   void measureSpring(int i) noexcept;
   void letGo(int i) noexcept;
   void chooseMode() noexcept;
   bool isBeyondStaticCone(int i) const noexcept;
   void hold(int i) noexcept;
   void yield(int i, ZqReal cone) noexcept;
   void anchor(int i) noexcept;

   ZqReal stiffnessOf(const ZqPointGrip& grip) const noexcept
   {
      return grip.weight * m_constants.stiffness;
   }
   ZqReal stiffnessOf(int i) const noexcept
   {
      return m_input.points[i].weight * m_constants.stiffness;
   }
   ZqReal coneOf(int i, ZqReal friction) const noexcept
   {
      return friction * PatchConstants::notBelowZero(m_input.points[i].normalForce);
   }

   const PatchConstants& m_constants;
   const ZqPatchFrictionInput& m_input;
   ZqContactMemory& m_memory;
   ZqPatchFriction& m_out;
   const PatchBody m_body1, m_body2;
   const int m_oldCount;
   const ZqPointGrip* m_old = nullptr; ///< grips of the evaluation before, while they are matched
   int m_matched = 0;
   bool m_isOldMatched[pointCapacity] = {};
   bool m_isMatched[pointCapacity] = {};
   ZqReal m_elapsed;     ///< since that evaluation (s)
   ZqReal m_power = 0.0; ///< with which the motion loads the springs, but for their stiffness
   bool m_pulls = false; ///< the surfaces overlap anywhere
   Point m_points[pointCapacity];
};

void PatchEvaluation::run() noexcept
{
   const int count = m_input.count;
   m_out.energy = m_out.loss = m_out.slipLoss = m_out.gain = 0.0;
   m_out.stiffness = m_constants.stiffness;
   m_out.dampingTime =
      m_constants.stiffness > 0.0 ? m_constants.damper / m_constants.stiffness : 0.0;
   m_memory.gripCount = count;
   for (int i = 0; i < count; ++i)
   {
      m_points[i].c = vec3(m_input.points[i].place);
      m_points[i].n = vec3(m_input.points[i].normal);
   }
   if (!areSamePoints())
      match();
   for (int i = 0; i < count; ++i)
      measure(i);
   chooseMode();
   for (int i = 0; i < count; ++i)
      hold(i);
   // Memories of the same are equal.
   for (int i = count; i < m_oldCount; ++i)
      m_memory.grips[i] = {};
   m_memory.frictionMode = m_memory.isSlipping ? ZqFrictionMode::Kinetic : ZqFrictionMode::Static;
   m_memory.time = m_input.time;
}

/// In the same order: most patches are what they were.
bool PatchEvaluation::areSamePoints() const noexcept
{
   bool areSame = m_input.count == m_oldCount;
   for (int i = 0; areSame && i < m_oldCount; ++i)
      areSame = m_memory.grips[i].name == m_input.points[i].name;
   return areSame;
}

/// Gives each point the grip that was there, or one like those around it.
void PatchEvaluation::match() noexcept
{
   const std::array<ZqPointGrip, pointCapacity> old = m_memory.grips;
   m_old = old.data();
   matchByName();
   if (m_matched < std::max(m_input.count, m_oldCount))
      matchTheRest();
   m_old = nullptr;
}

void PatchEvaluation::takeOver(int i, int old) noexcept
{
   m_memory.grips[i] = m_old[old];
   m_memory.grips[i].name = m_input.points[i].name;
   m_isMatched[i] = m_isOldMatched[old] = true;
   ++m_matched;
}

void PatchEvaluation::matchByName() noexcept
{
   for (int i = 0; i < m_input.count; ++i)
   {
      // They mostly stand in the same order as before.
      int old = i < m_oldCount ? i : 0;
      for (int k = 0; k < m_oldCount; ++k, old = old + 1 < m_oldCount ? old + 1 : 0)
         if (!m_isOldMatched[old] && m_old[old].name == m_input.points[i].name)
         {
            takeOver(i, old);
            break;
         }
   }
}

/// Corners came, went, or have other names.
void PatchEvaluation::matchTheRest() noexcept
{
   const Vec3 n = vec3(m_input.normal);
   OldSpring springs[pointCapacity];
   for (int old = 0; old < m_oldCount; ++old)
   {
      const Vec3 a = m_body1.place(m_old[old].anchor1);
      const Vec3 b = m_body2.place(m_old[old].anchor2);
      springs[old] = {(a + b) * 0.5, acrossNormal(n, a - b)};
   }
   matchByPlace(springs);
   if (m_matched < m_input.count)
   {
      const Motion motion = motionOf(springs);
      for (int i = 0; i < m_input.count; ++i)
         if (!m_isMatched[i])
            inherit(i, motion);
   }
   if (!m_input.booksEnergy)
      return;
   // What those hold that nobody takes over is lost.
   for (int old = 0; old < m_oldCount; ++old)
      if (const ZqPointGrip& grip = m_old[old];
          !m_isOldMatched[old] && grip.state != ZqPointGrip::State::Open)
      {
         const ZqReal arc = m_constants.torsionRadius * grip.twist;
         m_out.gain -= 0.5 * stiffnessOf(grip) * (norm2(springs[old].s) + arc * arc);
      }
}

/// Of points without a spring, and springs without a point, those that are nearest to each other.
void PatchEvaluation::matchByPlace(const OldSpring* springs) noexcept
{
   for (int i = 0; i < m_input.count; ++i)
   {
      ZqReal least = std::numeric_limits<ZqReal>::infinity();
      const int old = m_isMatched[i] ? -1 : nearestOld(m_points[i].c, springs, least);
      if (old >= 0 && isNearest(i, old, least, springs))
         takeOver(i, old);
   }
}

int PatchEvaluation::nearestOld(const Vec3& place, const OldSpring* springs,
                                ZqReal& least) const noexcept
{
   int nearest = -1;
   for (int old = 0; old < m_oldCount; ++old)
      if (const ZqReal d = norm2(place - springs[old].c); !m_isOldMatched[old] && d < least)
      {
         least = d;
         nearest = old;
      }
   return nearest;
}

bool PatchEvaluation::isNearest(int i, int old, ZqReal distance,
                                const OldSpring* springs) const noexcept
{
   for (int k = 0; k < m_input.count; ++k)
      if (k != i && !m_isMatched[k] && norm2(m_points[k].c - springs[old].c) < distance)
         return false;
   return true;
}

/// The rigid motion that comes nearest to the stretches of the old springs (least squares by their weights).
PatchEvaluation::Motion PatchEvaluation::motionOf(const OldSpring* springs) const noexcept
{
   Motion motion;
   ZqReal weight = 0.0;
   const auto forHolding = [&](const auto& f)
   {
      for (int old = 0; old < m_oldCount; ++old)
         if (m_old[old].state != ZqPointGrip::State::Open)
            f(m_old[old], springs[old]);
   };
   forHolding(
      [&](const ZqPointGrip& grip, const OldSpring& spring)
      {
         weight += grip.weight;
         motion.mean += spring.s * grip.weight;
         motion.centre += spring.c * grip.weight;
         motion.twist += grip.twist * grip.weight;
      });
   if (!(weight > 0.0))
      return {};
   motion.isKnown = true;
   motion.mean = motion.mean * (1.0 / weight);
   motion.centre = motion.centre * (1.0 / weight);
   motion.twist /= weight;
   ZqReal moment = 0.0;
   ZqReal inertia = 0.0;
   forHolding(
      [&](const ZqPointGrip& grip, const OldSpring& spring)
      {
         const Vec3 lever = cross(vec3(m_input.normal), spring.c - motion.centre);
         moment += grip.weight * dot(lever, spring.s - motion.mean);
         inertia += grip.weight * norm2(lever);
      });
   motion.turn = inertia > 0.0 ? moment / inertia : 0.0;
   return motion;
}

/// A point without a predecessor: stretched as the patch is as a whole.
void PatchEvaluation::inherit(int i, const Motion& motion) noexcept
{
   Point& p = m_points[i];
   ZqPointGrip& grip = m_memory.grips[i];
   grip = {};
   grip.name = m_input.points[i].name;
   if (!motion.isKnown || !(m_input.points[i].depth > 0.0))
      return;
   grip.state = ZqPointGrip::State::Sticks;
   grip.twist = motion.twist;
   const Vec3 turned = cross(vec3(m_input.normal), p.c - motion.centre) * motion.turn;
   p.s = acrossNormal(p.n, motion.mean + turned);
   anchor(i);
}

void PatchEvaluation::measure(int i) noexcept
{
   Point& p = m_points[i];
   ZqPointGrip& grip = m_memory.grips[i];
   const ZqReal weight = m_input.points[i].weight;
   const ZqReal r = m_constants.torsionRadius;
   p.pulls = m_input.points[i].depth > 0.0;
   p.mustAnchor = false;
   p.s = {0.0, 0.0, 0.0};
   if (grip.state != ZqPointGrip::State::Open)
   {
      measureSpring(i);
      const ZqReal gained = (p.pulls ? weight : 0.0) - grip.weight;
      if (m_input.booksEnergy)
         m_out.gain += 0.5 * gained * m_constants.stiffness * norm2(p.s);
   }
   else if (p.pulls)
      p.mustAnchor = true;
   grip.weight = weight;
   if (!p.pulls)
   {
      letGo(i);
      return;
   }
   m_pulls = true;
   const Vec3 u = m_body1.velocityAt(p.c) - m_body2.velocityAt(p.c);
   p.v = acrossNormal(p.n, u) + p.n * (r * dot(p.n, m_body1.w - m_body2.w));
   m_power += weight * dot(p.s, p.v);
}

/// Nothing holds there; the anchors tell where the point is.
void PatchEvaluation::letGo(int i) noexcept
{
   ZqPointGrip& grip = m_memory.grips[i];
   grip.state = ZqPointGrip::State::Open;
   grip.twist = 0.0;
   m_points[i].s = {0.0, 0.0, 0.0};
   anchor(i);
}

void PatchEvaluation::measureSpring(int i) noexcept
{
   Point& p = m_points[i];
   const ZqPointGrip& grip = m_memory.grips[i];
   const ZqReal r = m_constants.torsionRadius;
   const Vec3 a = m_body1.place(grip.anchor1);
   const Vec3 b = m_body2.place(grip.anchor2);
   const ZqReal sunk = dot(p.n, a - b);
   p.s = (a - b) - p.n * sunk;
   const Vec3 left = acrossNormal(p.n, p.c - (a + b) * 0.5);
   p.mustAnchor =
      norm2(left) > 4.0 * norm2(p.s) + anchorReach * anchorReach || std::abs(sunk) > anchorReach;
   // The force acts at the contact: what a spring beside it is stretched more by the turning of the bodies, they do
   // not feel.
   const Vec3 turning = m_body1.w - m_body2.w;
   if (m_input.booksEnergy)
      m_out.gain += stiffnessOf(grip) * dot(p.s, cross(turning, (a + b) * 0.5 - p.c)) * m_elapsed;
   // Of the twist only what was turned since is known by its rate.
   if (r > 0.0)
      p.s += p.n * (r * (grip.twist + dot(p.n, turning) * m_elapsed));
}

bool PatchEvaluation::isBeyondStaticCone(int i) const noexcept
{
   return stiffnessOf(i) * norm(m_points[i].s) > coneOf(i, m_constants.staticFriction);
}

void PatchEvaluation::chooseMode() noexcept
{
   if (m_power < 0.0 || !m_pulls)
      m_memory.isSlipping = false;
   if (m_memory.isSlipping || !(m_power > 0.0))
      return;
   for (int i = 0; i < m_input.count; ++i)
      if (m_points[i].pulls && !isBeyondStaticCone(i))
         return;
   m_memory.isSlipping = true;
}

/// The spring gives way until it holds the force of the cone.
void PatchEvaluation::yield(int i, ZqReal cone) noexcept
{
   Point& p = m_points[i];
   const ZqReal length = norm(p.s);
   const ZqReal kept = cone / (stiffnessOf(i) * length);
   // While it is pulled along it holds the cone's force; what it gives back because the cone has become narrower was
   // stored.
   const ZqReal given = length * (1.0 - kept);
   const ZqReal pulled = std::clamp(dot(p.s, p.v) / length * m_elapsed, 0.0, given);
   m_out.slipLoss += cone * given + 0.5 * stiffnessOf(i) * (given - pulled) * (given - pulled);
   p.s = p.s * kept;
   p.mustAnchor = true;
}

void PatchEvaluation::anchor(int i) noexcept
{
   const Point& p = m_points[i];
   const Vec3 half = acrossNormal(p.n, p.s) * 0.5;
   m_memory.grips[i].anchor1 = m_body1.anchor(p.c + half);
   m_memory.grips[i].anchor2 = m_body2.anchor(p.c - half);
}

void PatchEvaluation::hold(int i) noexcept
{
   Point& p = m_points[i];
   m_out.forces[i] = ZqVector();
   m_out.moments[i] = 0.0;
   if (!p.pulls)
      return;
   ZqPointGrip& grip = m_memory.grips[i];
   const ZqReal r = m_constants.torsionRadius;
   const ZqReal kt = stiffnessOf(i);
   const ZqReal cone =
      coneOf(i, m_memory.isSlipping ? m_constants.kineticFriction : m_constants.staticFriction);
   grip.state = ZqPointGrip::State::Sticks;
   if (kt * norm(p.s) > cone)
   {
      yield(i, cone);
      grip.state = ZqPointGrip::State::Yields;
   }
   const ZqReal arc = dot(p.n, p.s);
   grip.twist = r > 0.0 ? arc / r : 0.0;
   if (p.mustAnchor)
      anchor(i);

   const Vec3 spring = p.s * kt;
   Vec3 damper = p.v * (m_input.points[i].weight * m_constants.damper);
   damper = damper * partWithin(cone, spring, damper);
   const Vec3 force = spring + damper;
   const ZqReal along = dot(p.n, force);
   m_out.forces[i] = zqConvex::vector(p.n * along - force);
   m_out.moments[i] = -along * r;
   m_out.energy += 0.5 * kt * norm2(p.s);
   m_out.loss += dot(damper, p.v);
}

/// How far the bodies of an input have come from where they began to stick, across the normal, and along it the
/// arc of their twist.
ZqVector stretchSinceSticking(const ZqDissipativeForceInput& input, const ZqContactMotion& contact,
                              ZqReal torsionRadius)
{
   const ZqVector& n = contact.normal;
   const ZqVector d = contact.X_21 * input.staticStartCollisionPointInPrimary1() -
                      input.staticStartCollisionPointInPrimary2();
   const ZqOrientation turned = contact.X_21.orientation() *
                                input.staticStartPrimaryFrame1InSystem().orientation().inverse() *
                                input.staticStartPrimaryFrame2InSystem().orientation();
   const ZqReal arc = torsionRadius > 0.0 ? torsionRadius * turned.logarithm().dot(n) : 0.0;
   return d + n * (arc - d.dot(n));
}

/// Of a motion at the contact, likewise.
ZqVector slidingOf(const ZqGeneralMotion& rate, const ZqVector& n, ZqReal torsionRadius)
{
   const ZqVector& u = rate.linear();
   return u + n * (torsionRadius * rate.angular().dot(n) - u.dot(n));
}

/// Against a velocity: a cone's force, and less in proportion to it below the speed where it is rounding.
ZqVector kineticForce(const ZqVector& v, ZqReal cone)
{
   constexpr ZqReal leastSpeed = 1e-6;
   return v * (cone / std::max(v.mag(), leastSpeed));
}
} // namespace

bool ZqPointFrictionForceProcessor::processPoints(const ZqPatchFrictionInput& input,
                                                  ZqContactMemory& memory,
                                                  ZqPatchFriction& output) const
{
   const PatchConstants constants(*this, *input.material1, *input.material2, input.stiffness,
                                  input.mass);
   PatchEvaluation(constants, input, memory, output).run();
   return true;
}

bool ZqPointFrictionForceProcessor::process(const ZqDissipativeForceInput& input,
                                            ZqDissipativeForceOutput& output) const
{
   constexpr ZqReal normalStiffness = 5e4;
   const ZqContactMotion contact(input);
   const PatchConstants constants(*this, input.body1MaterialType(), input.body2MaterialType(),
                                  normalStiffness, input.linearInertiaAlongNormal());
   const ZqReal r = m_torsionRadius;
   const ZqReal kineticCone = constants.kineticFriction * contact.pressure;
   const ZqReal staticCone = constants.staticFriction * contact.pressure;
   const ZqVector v = slidingOf(contact.rate, contact.normal, r);
   const ZqVector damper = v * constants.damper;

   ZqVector spring;
   ZqReal cone = staticCone;
   bool sticks;
   if (input.inStaticFrictionMode())
   {
      spring = stretchSinceSticking(input, contact, r) * constants.stiffness;
      const ZqReal size = spring.mag();
      const bool isBeyond = size > staticCone;
      sticks = !(isBeyond && spring.dot(v) > 0.0);
      if (isBeyond)
         spring *= staticCone / size;
   }
   else
   {
      // Where sticking begins is taken down after this: there is no spring yet.
      const ZqVector before = slidingOf(contact.lastRate, contact.normal, r);
      sticks = damper.mag() <= kineticCone && v.magSquared() <= before.magSquared();
      cone = kineticCone;
   }
   const ZqVector force = sticks ? spring + damper * partWithin(cone, vec3(spring), vec3(damper))
                                 : kineticForce(v, kineticCone);
   const ZqReal along = force.dot(contact.normal);
   contact.apply({force - contact.normal * along, contact.normal * (along * r)},
                 input.currentCollisionPointInPrimary2(), output);
   output.setInStaticFrictionMode(sticks);
   return true;
}

bool ZqPointFrictionForceProcessor::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqBaseDissipativeForceProcessor::read(reader);
   const ZqPointFrictionForceProcessor plain;
   const auto repair = [&](ZqReal& number, ZqReal byDefault, const ZqToken& name)
   { zqRepairLawNumber(number, byDefault, pointFrictionRange, name, reader); };
   repair(m_tangentialToNormalStiffness, plain.m_tangentialToNormalStiffness,
          ZqManip::ZqTangentialToNormalStiffnessToken);
   repair(m_dampingRatio, plain.m_dampingRatio, ZqManip::ZqDampingRatioToken);
   repair(m_torsionRadius, plain.m_torsionRadius, ZqManip::ZqTorsionRadiusToken);
   return succeeded;
}

void ZqPointFrictionForceProcessor::setTangentialToNormalStiffness(ZqReal ratio)
{
   zqSetLawNumber(m_tangentialToNormalStiffness, ratio, pointFrictionRange,
                  "ZqPointFrictionForceProcessor::setTangentialToNormalStiffness()");
}

void ZqPointFrictionForceProcessor::setDampingRatio(ZqReal ratio)
{
   zqSetLawNumber(m_dampingRatio, ratio, pointFrictionRange,
                  "ZqPointFrictionForceProcessor::setDampingRatio()");
}

void ZqPointFrictionForceProcessor::setTorsionRadius(ZqReal radius)
{
   zqSetLawNumber(m_torsionRadius, radius, pointFrictionRange,
                  "ZqPointFrictionForceProcessor::setTorsionRadius()");
}
