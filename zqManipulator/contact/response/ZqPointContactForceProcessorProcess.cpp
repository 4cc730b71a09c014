#include "zqManipulator/contact/forces/ZqPointContactForceProcessor.h"
#include "zqManipulator/contact/response/ZqContactSides.h"
#include "zqManipulator/foundation/geometry/ZqConvexAlgebra.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"

#include <algorithm>
#include <cmath>

using zqConvex::cross;
using zqConvex::turnBack;
using zqConvex::Vec3;
using zqConvex::vec3;

namespace
{
/// Forces at places of the system: on body 1, and the opposite on body 2 at the same place.
class OpposedForces
{
public:
   OpposedForces(const zqConvex::Pose& X1, const zqConvex::Pose& X2) : m_X1(X1), m_X2(X2) {}
   void add(const ZqVector& place, const ZqVector& force)
   {
      const Vec3 f = vec3(force);
      m_force += f;
      m_moment += cross(vec3(place) - m_X1.t, f);
   }
   void addMoment(const ZqVector& moment) { m_moment += vec3(moment); }
   /// Each in the primary frame of its body.
   ZqContactForces forces() const
   {
      const auto inAxesOf = [](const zqConvex::Pose& X, const Vec3& f, const Vec3& n) {
         return ZqGeneralForce(zqConvex::vector(turnBack(X.R, f)),
                               zqConvex::vector(turnBack(X.R, n)));
      };
      const Vec3 moment2 = m_moment + cross(m_X1.t - m_X2.t, m_force);
      return {inAxesOf(m_X1, m_force, m_moment), inAxesOf(m_X2, -m_force, -moment2)};
   }
   ZqVector force() const { return zqConvex::vector(m_force); }

private:
   const zqConvex::Pose& m_X1;
   const zqConvex::Pose& m_X2;
   Vec3 m_force{0.0, 0.0, 0.0};
   Vec3 m_moment{0.0, 0.0, 0.0}; ///< about the origin of the first body's frame
};

/// One evaluation of the law for a contact.
class PointContact
{
public:
   PointContact(const ZqPointContactForceProcessor& law, const ZqContactSides& sides,
                ZqShapeCollisionData& data, ZqReal time)
      : m_law(law), m_sides(sides), m_data(data), m_response(data.response()),
        m_X1(zqConvex::pose(sides[0].frame)), m_X2(zqConvex::pose(sides[1].frame)),
        m_forces(m_X1, m_X2)
   {
      const ZqReal elapsed = time - data.memory().time;
      m_elapsed = elapsed > 0.0 && std::isfinite(elapsed) ? elapsed : 0.0;
   }
   void press(const ZqNormalContactLaw& normalLaw);
   /// Whether the law of friction has led the grips of the points on.
   bool rub(const ZqBaseDissipativeForceProcessor& friction, const ZqNormalContactLaw& normalLaw,
            ZqReal time);
   ZqContactForces forces() const;
   void remember(bool isGripped, ZqReal time);
   /// What a law of friction takes that does not tell points apart. It is no part of the reserve.
   void bookPatchFriction()
   {
      if (m_sides.booksEnergy())
         m_response.tangentialLoss += m_sides.powerTaken(m_patchFriction);
   }

private:
   using PointForces = std::array<ZqNormalContactLaw::Force, ZqContactManifold::capacity>;
   using PointRates = std::array<ZqReal, ZqContactManifold::capacity>; ///< of the depths (m/s)

   void placePoints();
   ZqReal partOfPatch(const ZqNormalContactLaw& law, const PointForces& forces);
   ZqReal energyBefore(const ZqNormalContactLaw& law, const PointForces& forces);
   ZqReal gainByWandering(const ZqNormalContactLaw& law, const ZqPointGrip& grip, int i) const;
   void takePointFriction(const ZqPatchFriction& friction);
   void rubAsOne(const ZqBaseDissipativeForceProcessor& friction, ZqReal mass);
   ZqReal radius() const;
   ZqVector velocityAt(std::size_t side, const ZqVector& place) const
   {
      const ZqGeneralMotion& motion = m_sides[side].velocity;
      return motion.linear() + motion.angular().cross(place - m_sides[side].frame.translation());
   }

   const ZqPointContactForceProcessor& m_law;
   const ZqContactSides& m_sides;
   ZqShapeCollisionData& m_data;
   ZqContactResponse& m_response;
   ZqPatchFrictionInput m_patch;
   PointRates m_rates{};
   const zqConvex::Pose m_X1, m_X2; ///< the primary frames in the system
   OpposedForces m_forces;          ///< at the points
   ZqReal m_elapsed;                ///< since the evaluation before (s)
   ZqContactForces m_patchFriction; ///< by a law that does not tell points apart
};

/// Where the points of the manifold are in the system, and how the patch is shared out.
void PointContact::placePoints()
{
   const ZqContactManifold& manifold = m_data.manifold();
   std::array<ZqVector, ZqContactManifold::capacity> places;
   std::array<ZqReal, ZqContactManifold::capacity> weights;
   const auto count = static_cast<std::size_t>(manifold.count);
   for (std::size_t i = 0; i < count; ++i)
      places[i] = 0.5 * (manifold.points[i].point1 + manifold.points[i].point2);
   zqShareOutPatch(std::span(places).first(count), manifold.normal,
                   std::span(weights).first(count));
   const auto turned = [&](const ZqVector& v) { return zqConvex::vector(m_X1.R * vec3(v)); };
   for (std::size_t i = 0; i < count; ++i)
   {
      const ZqContactPoint& p = manifold.points[i];
      ZqPatchFrictionInput::Point& point = m_patch.points[i];
      point.name = p.name;
      point.place = turned(places[i]) + m_sides[0].frame.translation();
      point.normal = turned(p.normal);
      point.depth = -p.separation;
      point.weight = weights[i];
   }
   m_patch.count = manifold.count;
   m_patch.normal = turned(manifold.normal);
}

/// Each point along its own normal.
void PointContact::press(const ZqNormalContactLaw& normalLaw)
{
   placePoints();
   m_response.pointCount = m_patch.count;
   PointForces forces;
   for (int i = 0; i < m_patch.count; ++i)
   {
      const ZqPatchFrictionInput::Point& p = m_patch.points[i];
      m_rates[i] = (velocityAt(0, p.place) - velocityAt(1, p.place)).dot(p.normal);
      forces[i] = normalLaw.force(p.weight, p.depth, m_rates[i]);
   }
   const ZqReal part = partOfPatch(normalLaw, forces);
   for (int i = 0; i < m_patch.count; ++i)
   {
      ZqPatchFrictionInput::Point& p = m_patch.points[i];
      const ZqNormalContactLaw::Force& force = forces[i];
      p.weight *= part;
      p.normalForce = part * force.normal;
      m_response.stiffness = std::max(m_response.stiffness, part * force.stiffness);
      m_response.dampingTime = std::max(m_response.dampingTime, force.dampingTime);
      m_forces.add(p.place, p.normal * -p.normalForce);
      m_response.normalEnergy += part * force.energy;
      m_response.normalLoss += part * (force.normal - force.spring) * m_rates[i];
      m_response.points[i] = {p.weight, p.normalForce, ZqVector(), part * force.energy};
   }
   m_response.normalForce = m_forces.force();
}

/// The part of the patch's stiffness that presses. Where shares leap, as on a body that tilts from a face to an edge, the
/// energy stored would leap with them. It may fall; it may not rise by more than what the contact has lost before, so
/// that nothing is gained by tilting to and fro.
ZqReal PointContact::partOfPatch(const ZqNormalContactLaw& law, const PointForces& forces)
{
   ZqContactMemory& memory = m_data.memory();
   constexpr ZqReal leastPart = 1.0 / 16.0;
   ZqReal now = 0.0;
   for (int i = 0; i < m_patch.count; ++i)
      now += forces[i].energy;
   if (memory.gripCount == 0 || !(now > 0.0))
   {
      memory.part = 1.0;
      return 1.0;
   }
   const ZqReal before = energyBefore(law, forces);
   memory.part = std::clamp((before + memory.reserve) / now, leastPart, 1.0);
   const ZqReal gain = memory.part * now - before;
   memory.reserve = std::max(0.0, memory.reserve - gain);
   if (m_sides.booksEnergy())
      m_response.patchGain += gain;
   return memory.part;
}

/// Stored along the normal, had the points the shares that they had in the evaluation before (J). A point that was not
/// there has the share that it has now if it is no deeper than the motion since then has taken it. Books what those
/// that were there have gained by wandering.
ZqReal PointContact::energyBefore(const ZqNormalContactLaw& law, const PointForces& forces)
{
   const ZqContactMemory& memory = m_data.memory();
   ZqReal energy = 0.0;
   std::array<bool, ZqContactManifold::capacity> wasThere{};
   for (int old = 0; old < memory.gripCount; ++old)
   {
      const ZqPointGrip& grip = memory.grips[old];
      // They mostly stand in the same order as before.
      int i = old < m_patch.count ? old : 0;
      int left = m_patch.count;
      for (; left > 0 && m_patch.points[i].name != grip.name; --left)
         i = i + 1 < m_patch.count ? i + 1 : 0;
      const bool isThere = left > 0 && m_patch.points[i].weight > 0.0;
      energy += isThere ? grip.weight * (forces[i].energy / m_patch.points[i].weight) : grip.energy;
      wasThere[i] = wasThere[i] || isThere;
      if (isThere && m_sides.booksEnergy())
         m_response.patchGain += gainByWandering(law, grip, i);
   }
   for (int i = 0; i < m_patch.count; ++i)
      if (!wasThere[i] && m_patch.points[i].depth <= m_rates[i] * m_elapsed)
         energy += forces[i].energy;
   return energy;
}

/// A point that wanders over the bodies, as where two edges cross, may come to be deeper by that, or less deep. The
/// force knows nothing of it: its power is that of the material. What the material there could not have stored since
/// the evaluation before, with none of the rates between the one of then and the present one, was gained (J).
ZqReal PointContact::gainByWandering(const ZqNormalContactLaw& law, const ZqPointGrip& grip,
                                     int i) const
{
   const auto storedBefore = [&](ZqReal rate)
   { return grip.weight * law.material.energy(m_patch.points[i].depth - rate * m_elapsed); };
   const auto [slowest, fastest] = std::minmax(grip.rate, m_rates[i]);
   return std::max(0.0, storedBefore(fastest) - grip.energy) -
          std::max(0.0, grip.energy - storedBefore(slowest));
}

/// What the next evaluation needs, besides what friction has left. The time is that of this one (s).
void PointContact::remember(bool isGripped, ZqReal time)
{
   ZqContactMemory& memory = m_data.memory();
   for (int i = 0; i < m_patch.count; ++i)
   {
      ZqPointGrip& grip = memory.grips[i];
      if (!isGripped)
      {
         grip = {};
         grip.name = m_patch.points[i].name;
         grip.weight = m_patch.points[i].weight;
      }
      grip.energy = m_response.points[i].energy;
      grip.rate = m_rates[i];
   }
   memory.gripCount = m_patch.count;
   const ZqReal loss =
      (m_response.normalLoss + m_response.tangentialLoss) * m_elapsed + m_response.slipLoss;
   memory.reserve += std::max(0.0, loss);
   memory.tangentialEnergy = m_response.tangentialEnergy;
   memory.time = time;
}

/// Friction point by point, or by laws that do not tell points apart, at one point with the whole force.
bool PointContact::rub(const ZqBaseDissipativeForceProcessor& friction,
                       const ZqNormalContactLaw& normalLaw, ZqReal time)
{
   for (std::size_t side = 0; side < 2; ++side)
      (side == 0 ? m_patch.body1 : m_patch.body2) = {m_sides[side].frame, m_sides[side].velocity};
   m_patch.time = time;
   m_patch.stiffness = normalLaw.material.referenceStiffness();
   m_patch.mass = normalLaw.mass;
   m_patch.booksEnergy = m_sides.booksEnergy();
   m_patch.material1 = &m_sides.material(m_law, 0);
   m_patch.material2 = &m_sides.material(m_law, 1);
   ZqPatchFriction output;
   if (!friction.processPoints(m_patch, m_data.memory(), output))
   {
      rubAsOne(friction, normalLaw.mass);
      return false;
   }
   takePointFriction(output);
   return true;
}

void PointContact::takePointFriction(const ZqPatchFriction& friction)
{
   for (int i = 0; i < m_patch.count; ++i)
   {
      const ZqPatchFrictionInput::Point& p = m_patch.points[i];
      m_forces.add(p.place, friction.forces[i]);
      m_forces.addMoment(p.normal * friction.moments[i]);
      m_response.points[i].friction = friction.forces[i];
      m_response.frictionForce += friction.forces[i];
   }
   m_response.tangentialEnergy = friction.energy;
   m_response.tangentialLoss = friction.loss;
   m_response.slipLoss = friction.slipLoss;
   m_response.patchGain += friction.gain;
   m_response.stiffness = std::max(m_response.stiffness, friction.stiffness);
   m_response.dampingTime = std::max(m_response.dampingTime, friction.dampingTime);
}

/// The radius of gyration of the patch by its weights (m), in place of that of a disc.
ZqReal PointContact::radius() const
{
   const ZqReal whole = 1.0 / m_data.memory().part;
   ZqVector mean;
   for (int i = 0; i < m_patch.count; ++i)
      mean += m_patch.points[i].place * (m_patch.points[i].weight * whole);
   ZqReal squared = 0.0;
   for (int i = 0; i < m_patch.count; ++i)
      squared += m_patch.points[i].weight * (m_patch.points[i].place - mean).magSquared();
   return std::sqrt(squared * whole);
}

void PointContact::rubAsOne(const ZqBaseDissipativeForceProcessor& friction, ZqReal mass)
{
   ZqContactPatch patch;
   patch.actionRadius = radius();
   patch.linearInertia = mass;
   patch.angularInertia = mass * patch.actionRadius * patch.actionRadius;
   if (!m_sides.computeFriction(m_law, friction, patch, m_response.normalForce, m_data,
                                m_patchFriction))
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqPointContactForceProcessor::process(): friction fails.\n");
   m_response.frictionForce = zqConvex::vector(m_X1.R * vec3(m_patchFriction[0].force()));
}

/// Each in the primary frame of its body.
ZqContactForces PointContact::forces() const
{
   const ZqContactForces atPoints = m_forces.forces();
   return {atPoints[0] + m_patchFriction[0], atPoints[1] + m_patchFriction[1]};
}
} // namespace

bool ZqPointContactForceProcessor::process(ZqShapeCollisionData& data,
                                           ZqSystemActiveState& activeState,
                                           const ZqXmlVectorType<ZqManipulatorTorque>&,
                                           ZqXmlVectorType<ZqManipulatorExternalForce>& forces,
                                           const ZqReal& time) const
{
   const ZqContactSides sides(data, activeState);
   if (!sides.areThere())
      return false;
   data.response() = {};
   if (sides.areInert())
   {
      sides.deliver({}, forces);
      return true;
   }
   const ZqNormalContactLaw law =
      normalLaw(surfaceMaterial(sides.surface(*this, 0)), surfaceMaterial(sides.surface(*this, 1)),
                data.pairMass());
   PointContact contact(*this, sides, data, time);
   contact.press(law);
   const ZqBaseDissipativeForceProcessor* friction =
      m_useFriction ? dissipativeForceProcessor() : nullptr;
   const bool isGripped = friction != nullptr && contact.rub(*friction, law, time);
   contact.remember(isGripped, time);
   if (friction != nullptr && !isGripped)
      contact.bookPatchFriction();
   sides.deliver(contact.forces(), forces);
   return true;
}
