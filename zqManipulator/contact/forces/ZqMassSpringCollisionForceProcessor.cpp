#include "zqManipulator/contact/forces/ZqMassSpringCollisionForceProcessor.h"

#include "zqManipulator/contact/forces/ZqSurfaceConstant.h"
#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"

#include <cmath>

template class ZqXmlClass<ZqMassSpringCollisionForceProcessor, ZqBaseCollisionForceProcessor>;

ZqReal ZqMassSpringCollisionForceProcessor::getSpringConstant(const ZqDataMap* surface1,
                                                              const ZqDataMap* surface2) const
{
   return ZqSurfaceConstant::spring()(surface1, surface2, m_defaultSpringConstant);
}

ZqReal ZqMassSpringCollisionForceProcessor::getDamperConstant(const ZqDataMap* surface1,
                                                              const ZqDataMap* surface2) const
{
   return ZqSurfaceConstant::damper()(surface1, surface2, m_defaultDamperConstant);
}

ZqReal ZqMassSpringCollisionForceProcessor::getSpringExponent(const ZqDataMap* surface1,
                                                              const ZqDataMap* surface2) const
{
   return ZqSurfaceConstant::exponent()(surface1, surface2, m_defaultSpringExponent);
}

bool ZqMassSpringCollisionForceProcessor::computeSpringForceResponse(const ZqVector& normal,
                                                                     ZqReal separation,
                                                                     ZqReal springConstant,
                                                                     ZqReal exponent,
                                                                     ZqVector& force) const
{
   const ZqReal depth = std::abs(separation);
   const ZqReal raised = exponent == 1.0 ? depth : std::pow(depth, exponent);
   force = raised * (springConstant * -1.0) * normal;
   return std::isfinite(force.x()) && std::isfinite(force.y()) && std::isfinite(force.z());
}

bool ZqMassSpringCollisionForceProcessor::computeDamperForceResponse(
   const ZqVector& normal, const ZqGeneralMotion& velocity1, const ZqGeneralMotion& velocity2,
   const Frame& frame1, const Frame& frame2, const ZqVector& contactPoint2, ZqReal damperConstant,
   ZqVector& force) const
{
   const Frame X_21 = frame2.inverse() * frame1;
   ZqGeneralMotion rate = X_21 * (frame1.orientation().inverse() * velocity1) -
                          frame2.orientation().inverse() * velocity2;
   rate.transformBy(-contactPoint2);
   const ZqVector inSystem = frame2.orientation() * rate.linear();
   force = inSystem.dot(normal) * damperConstant * normal;
   return true;
}

void ZqMassSpringCollisionForceProcessor::setPointForces(const ZqShapeCollisionData& data,
                                                         const ZqVector& force, const Frame& frame1,
                                                         const Frame& frame2,
                                                         ZqGeneralForce& force1,
                                                         ZqGeneralForce& force2)
{
   const ZqVector linear1 = frame1.orientation().inverse() * force;
   const ZqVector linear2 = frame2.orientation().inverse() * -force;
   force1 = ZqGeneralForce(linear1, data.contactPointRel1().cross(linear1));
   force2 = ZqGeneralForce(linear2, data.contactPointRel2().cross(linear2));
}
