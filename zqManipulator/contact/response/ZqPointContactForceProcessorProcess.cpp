#include "zqManipulator/contact/forces/ZqPointContactForceProcessor.h"
#include "zqManipulator/contact/response/ZqContactMass.h"
#include "zqManipulator/contact/response/ZqContactSides.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"

#include <algorithm>
#include <cmath>

namespace
{
/// Forces at places of the system: on body 1, and the opposite on body 2 at the same place.
class OpposedForces
{
public:
   explicit OpposedForces(const ZqContactSides& sides)
      : m_frame1(sides[0].frame), m_frame2(sides[1].frame)
   {
   }
   void add(const ZqVector& place, const ZqVector& force)
   {
      m_force += force;
      m_moment += (place - m_frame1.translation()).cross(force);
   }
   void addMoment(const ZqVector& moment) { m_moment += moment; }
   /// Each in the primary frame of its body.
   ZqContactForces forces() const
   {
      const ZqOrientation to1 = m_frame1.orientation().inverse();
      const ZqOrientation to2 = m_frame2.orientation().inverse();
      const ZqVector moment2 =
         m_moment + (m_frame1.translation() - m_frame2.translation()).cross(m_force);
      return {ZqGeneralForce(to1 * m_force, to1 * m_moment),
              ZqGeneralForce(-(to2 * m_force), -(to2 * moment2))};
   }
   const ZqVector& force() const { return m_force; }

private:
   const ZqCoordinateSystemTransformation& m_frame1;
   const ZqCoordinateSystemTransformation& m_frame2;
   ZqVector m_force;
   ZqVector m_moment; ///< about the origin of the first body's frame
};

/// One evaluation of the law for a contact.
class PointContact
{
public:
   PointContact(const ZqPointContactForceProcessor& law, const ZqContactSides& sides,
                ZqShapeCollisionData& data)
      : m_law(law), m_sides(sides), m_data(data), m_response(data.response()), m_repulsion(sides),
        m_friction(sides)
   {
   }
   void press(const ZqNormalContactLaw& normalLaw);
   void rub(const ZqBaseDissipativeForceProcessor& friction, const ZqNormalContactLaw& normalLaw,
            ZqReal time);
   ZqContactForces repulsion() const { return m_repulsion.forces(); }
   const ZqContactForces& friction() const { return m_frictionForces; }

private:
   void placePoints();
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
   OpposedForces m_repulsion, m_friction;
   ZqContactForces m_frictionForces;
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
   const zqConvex::Pose X = zqConvex::pose(m_sides[0].frame);
   const auto turned = [&](const ZqVector& v) { return zqConvex::vector(X.R * zqConvex::vec3(v)); };
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
   m_response.mass = normalLaw.mass;
   for (int i = 0; i < m_patch.count; ++i)
   {
      ZqPatchFrictionInput::Point& p = m_patch.points[i];
      const ZqReal rate = (velocityAt(0, p.place) - velocityAt(1, p.place)).dot(p.normal);
      const ZqNormalContactLaw::Force force = normalLaw.force(p.weight, p.depth, rate);
      p.normalForce = force.normal;
      m_response.stiffness = std::max(m_response.stiffness, normalLaw.stiffness(p.depth, rate));
      m_response.dampingTime = std::max(m_response.dampingTime, normalLaw.dampingTime(p.depth));
      m_repulsion.add(p.place, p.normal * -force.normal);
      m_response.normalEnergy += force.energy;
      m_response.normalLoss += (force.normal - force.spring) * rate;
      m_response.points[i] = {p.weight, force.normal, ZqVector()};
   }
}

/// Friction point by point, or by laws that do not tell points apart, at one point with the whole force.
void PointContact::rub(const ZqBaseDissipativeForceProcessor& friction,
                       const ZqNormalContactLaw& normalLaw, ZqReal time)
{
   for (std::size_t side = 0; side < 2; ++side)
      (side == 0 ? m_patch.body1 : m_patch.body2) = {m_sides[side].frame, m_sides[side].velocity};
   m_patch.time = time;
   m_patch.stiffness = normalLaw.material.referenceStiffness();
   m_patch.mass = normalLaw.mass;
   m_patch.material1 = &m_sides.material(m_law, 0);
   m_patch.material2 = &m_sides.material(m_law, 1);
   ZqPatchFriction output;
   if (friction.processPoints(m_patch, m_data.memory(), output))
      takePointFriction(output);
   else
      rubAsOne(friction, normalLaw.mass);
}

void PointContact::takePointFriction(const ZqPatchFriction& friction)
{
   for (int i = 0; i < m_patch.count; ++i)
   {
      const ZqPatchFrictionInput::Point& p = m_patch.points[i];
      m_friction.add(p.place, friction.forces[i]);
      m_friction.addMoment(p.normal * friction.moments[i]);
      m_response.points[i].friction = friction.forces[i];
   }
   m_frictionForces = m_friction.forces();
   m_response.tangentialEnergy = friction.energy;
   m_response.tangentialLoss = friction.loss;
   m_response.slipLoss = friction.slipLoss;
   m_response.patchGain = friction.gain;
   m_response.stiffness = std::max(m_response.stiffness, friction.stiffness);
   m_response.dampingTime = std::max(m_response.dampingTime, friction.dampingTime);
}

/// The radius of gyration of the patch by its weights (m), in place of that of a disc.
ZqReal PointContact::radius() const
{
   ZqVector mean;
   for (int i = 0; i < m_patch.count; ++i)
      mean += m_patch.points[i].place * m_patch.points[i].weight;
   ZqReal squared = 0.0;
   for (int i = 0; i < m_patch.count; ++i)
      squared += m_patch.points[i].weight * (m_patch.points[i].place - mean).magSquared();
   return std::sqrt(squared);
}

void PointContact::rubAsOne(const ZqBaseDissipativeForceProcessor& friction, ZqReal mass)
{
   ZqContactPatch patch;
   patch.actionRadius = radius();
   patch.linearInertia = mass;
   patch.angularInertia = mass * patch.actionRadius * patch.actionRadius;
   if (!m_sides.computeFriction(m_law, friction, patch, m_repulsion.force(), m_data,
                                m_frictionForces))
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqPointContactForceProcessor::process(): friction fails.\n");
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
      sides.deliver({}, {}, data, forces);
      return true;
   }
   const ZqReal mass = zqPairMass(zqContactMass(*sides[0].link), zqContactMass(*sides[1].link));
   const ZqNormalContactLaw law = normalLaw(surfaceMaterial(sides.surface(*this, 0)),
                                            surfaceMaterial(sides.surface(*this, 1)), mass);
   PointContact contact(*this, sides, data);
   contact.press(law);
   if (const ZqBaseDissipativeForceProcessor* friction = dissipativeForceProcessor();
       m_useFriction && friction != nullptr)
      contact.rub(*friction, law, time);
   sides.deliver(contact.repulsion(), contact.friction(), data, forces);
   return true;
}
