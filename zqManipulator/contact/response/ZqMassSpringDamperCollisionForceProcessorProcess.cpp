#include "zqManipulator/contact/forces/ZqMassSpringDamperCollisionForceProcessor.h"
#include "zqManipulator/contact/response/ZqContactSides.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <cmath>

bool ZqMassSpringDamperCollisionForceProcessor::process(
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
      ZqVector normalForce;
      if (!computeRepulsionForce(data, activeState, normalForce, repulsion[0], repulsion[1]))
         reportRepulsion();
      if (useFriction() &&
          !computeFrictionForce(time, normalForce, activeState, data, friction[0], friction[1]))
         reportFriction();
   }
   data.response() = {};
   activeState.systemShapeCollisionCache().setValid(&data);
   const ZqContactForces whole = sides.add(repulsion, friction, data, forces);
   return updateCollisionAndForceData(data, activeState, whole[0], whole[1]);
}

bool ZqMassSpringDamperCollisionForceProcessor::computeRepulsionForce(
   const ZqShapeCollisionData& data, ZqSystemActiveState& activeState, ZqVector& normalForce,
   ZqGeneralForce& force1, ZqGeneralForce& force2) const
{
   const ZqContactSides sides(data, activeState);
   const ZqReal separation = data.separationDistance();
   if (!sides.areThere() || !(separation < 0.0))
      return true;
   const ZqVector& normal = data.collisionNormal();
   const std::array surfaces{sides.surface(*this, 0), sides.surface(*this, 1)};
   ZqVector spring;
   ZqVector damper;
   if (!computeSpringForceResponse(normal, separation, getSpringConstant(surfaces[0], surfaces[1]),
                                   getSpringExponent(surfaces[0], surfaces[1]), spring))
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqMassSpringDamperCollisionForceProcessor::process-->link1 force computation error");
   computeDamperForceResponse(normal, sides[0].velocity, sides[1].velocity, sides[0].frame,
                              sides[1].frame, data.contactPointRel2(),
                              getDamperConstant(surfaces[0], surfaces[1]), damper);
   normalForce = spring - std::abs(separation) * damper;
   setPointForces(data, normalForce, sides[0].frame, sides[1].frame, force1, force2);
   return true;
}

bool ZqMassSpringDamperCollisionForceProcessor::updateCollisionAndForceData(
   const ZqShapeCollisionData& data, ZqSystemActiveState& activeState, const ZqGeneralForce& force1,
   const ZqGeneralForce& force2) const
{
   const ZqContactSides sides(data, activeState);
   if (sides.areThere())
      sides.describe({force1, force2});
   return true;
}
