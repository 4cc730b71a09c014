#include "zqManipulator/contact/forces/ZqMassSpringCollisionForceProcessor.h"
#include "zqManipulator/contact/forces/ZqShapeCollisionEvent.h"
#include "zqManipulator/contact/response/ZqContactSides.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

bool ZqMassSpringCollisionForceProcessor::process(
   ZqShapeCollisionData& data, ZqSystemActiveState& activeState,
   const ZqXmlVectorType<ZqManipulatorTorque>&, ZqXmlVectorType<ZqManipulatorExternalForce>& forces,
   const ZqReal& time) const
{
   const ZqContactSides sides(data, activeState);
   if (!sides.areThere())
      return true;
   ZqContactForces repulsion;
   ZqContactForces friction;
   if (!sides.areInert())
   {
      ZqContactRegion region1;
      ZqContactRegion region2;
      if (!estimateContactSurface(data.collisionNormal(), sides[0].frame, sides[1].frame, data,
                                  region1, region2))
         Zq::Print::instance().write(Zq::Rejected, "ZqMassSpringCollisionForceProcessor::process  "
                                                   "estimateContactSurface-->returned ZqFalse");
      ZqVector normalForce;
      if (!computeRepulsionForce(data, region1, region2, activeState, normalForce, repulsion[0],
                                 repulsion[1]))
         reportRepulsion();
      if (useFriction() &&
          !computeFrictionForce(time, normalForce, activeState, data, friction[0], friction[1]))
         reportFriction();
   }
   data.response() = {};
   activeState.systemShapeCollisionCache().setValid(&data);
   sides.deliver(repulsion, friction, data, forces);
   return true;
}

void ZqMassSpringCollisionForceProcessor::reportRepulsion()
{
   Zq::Print::instance().write(Zq::Rejected, "ZqMassSpringCollisionForceProcessor::process  "
                                             "computeRepulsionForce-->returned ZqFalse");
}

void ZqMassSpringCollisionForceProcessor::reportFriction()
{
   Zq::Print::instance().write(Zq::Rejected, "ZqMassSpringCollisionForceProcessor::process "
                                             "computeFrictionForce-->returned ZqFalse");
}

bool ZqMassSpringCollisionForceProcessor::computeRepulsionForce(
   const ZqShapeCollisionData& data, const ZqContactRegion& region1, const ZqContactRegion& region2,
   ZqSystemActiveState& activeState, ZqVector& normalForce, ZqGeneralForce& force1,
   ZqGeneralForce& force2) const
{
   const ZqContactSides sides(data, activeState);
   const ZqReal separation = data.separationDistance();
   if (!sides.areThere() || !(separation < 0.0))
      return true;
   const ZqVector& normal = data.collisionNormal();
   const ZqDataMap* surface1 = sides.surface(*this, 0);
   const ZqDataMap* surface2 = sides.surface(*this, 1);
   const ZqReal k = getSpringConstant(surface1, surface2);
   const ZqReal c = getDamperConstant(surface1, surface2);

   ZqVector spring;
   ZqVector damper;
   computeSpringForceResponse(normal, separation, k, getSpringExponent(surface1, surface2), spring);
   computeDamperForceResponse(normal, sides[0].velocity, sides[1].velocity, sides[0].frame,
                              sides[1].frame, data.contactPointRel2(), c, damper);
   normalForce = spring - damper;
   if (normalForce.dot(normal) > 0.0)
      normalForce = ZqVector();
   setPointForces(data, normalForce, sides[0].frame, sides[1].frame, force1, force2);

   ZqContactForces torsion;
   ZqReal ratio = 0.0;
   computeTorsionalForceResponse(normal, region1, region2, k, c, sides[0].velocity,
                                 sides[1].velocity, sides[0].frame, sides[1].frame, torsion[0],
                                 torsion[1], ratio);
   const ZqReal share = ratio * m_torsionalRepulsionContributionFactor;
   force1 = (1.0 - share) * force1 + share * torsion[0];
   force2 = (1.0 - share) * force2 + share * torsion[1];
   return true;
}

bool ZqMassSpringCollisionForceProcessor::computeFrictionForce(
   const ZqReal&, const ZqVector& normalForce, ZqSystemActiveState& activeState,
   ZqShapeCollisionData& data, ZqGeneralForce& force1, ZqGeneralForce& force2) const
{
   const ZqContactSides sides(data, activeState);
   const ZqBaseDissipativeForceProcessor* friction = dissipativeForceProcessor();
   if (friction == nullptr || !sides.areThere())
      return true;
   ZqContactForces forces;
   if (!sides.computeFriction(*this, *friction, {m_actionRadius, m_linearInertia, m_angularInertia},
                              normalForce, data, forces))
      return false;
   force1 = forces[0];
   force2 = forces[1];
   return true;
}

bool ZqMassSpringCollisionForceProcessor::lookupSurfaceProperty(const ZqManipulatorLink& link,
                                                                ZqU32 shapeIndex, ZqU32,
                                                                const ZqString& surfaceKey,
                                                                const ZqDataMap*& surface) const
{
   surface = zqSurfaceValues(link, link.shapeByIndex(shapeIndex), surfaceKey);
   return surface != nullptr;
}

void ZqMassSpringCollisionForceProcessor::applyForceToLink(
   const ZqManipulatorLink& link, ZqManipulatorActivePositionState& position, const ZqVector& point,
   const ZqVector& force, ZqGeneralForce& sum, ZqShapeCollisionEvent& event) const
{
   const ZqVector linear = link.primaryFrameInSystem(position).orientation().inverse() * force;
   const ZqGeneralForce whole(linear, point.cross(linear));
   sum += whole;
   event.setForce(whole);
   event.setPoint(point);
}
