#include "zqManipulator/contact/friction/ZqDryFrictionForceProcessor.h"

#include "zqManipulator/contact/friction/ZqContactMotion.h"

#include <cmath>

template class ZqXmlClass<ZqDryFrictionForceProcessor, ZqBaseDissipativeForceProcessor>;

ZqReal ZqDryFrictionForceProcessor::weightingFunction(ZqReal speed) const
{
   const ZqReal e = m_kineticFrictionWeightingExponent;
   return speed > 1e-5 ? (1.0 - std::exp(-speed * e)) / speed : e;
}

bool ZqDryFrictionForceProcessor::process(const ZqDissipativeForceInput& input,
                                          ZqDissipativeForceOutput& output) const
{
   constexpr ZqReal stiffness = 4000.0;
   const ZqContactMotion contact(input);
   const ZqString& a = input.body1MaterialType();
   const ZqString& b = input.body2MaterialType();
   const ZqVector& start1 = input.staticStartCollisionPointInPrimary1();
   const ZqVector& start2 = input.staticStartCollisionPointInPrimary2();
   ZqGeneralForce onBody1;
   ZqGeneralForce onBody2;

   const ZqReal mass = frictionCoefficientLUT().assumedMass(a, b);
   const ZqReal damper = 2.0 * std::sqrt(mass * stiffness);
   // How the points move on each other that stick, or stuck.
   ZqGeneralMotion motion1 = contact.motion1;
   ZqGeneralMotion motion2 = contact.motion2;
   motion1.transformBy(-start1);
   motion2.transformBy(-start2);
   const ZqVector slip = contact.X_21.orientation() * motion1.linear() - motion2.linear();
   ZqVector force = slip * damper;
   if (input.inStaticFrictionMode())
      force += (contact.X_21 * start1 - start2) * stiffness;

   const ZqReal cone =
      frictionCoefficientLUT().tangentialCoefficientOfStaticFriction(a, b) * contact.pressure;
   const bool sticks = force.mag() <= cone;
   if (m_useStaticFriction && sticks)
      contact.apply({force, ZqVector()}, start2, onBody1, onBody2);
   if (m_useKineticFriction && !sticks)
   {
      const ZqVector& u = contact.rate.linear();
      const ZqVector sliding = u - contact.normal * u.dot(contact.normal);
      const ZqReal friction =
         frictionCoefficientLUT().coefficientOfKineticFriction(a, b) * contact.pressure;
      contact.apply({sliding * (weightingFunction(sliding.mag()) * friction), ZqVector()},
                    input.currentCollisionPointInPrimary2(), onBody1, onBody2);
   }
   output.setInStaticFrictionMode(sticks);
   output.setBody1ForcePrimary(onBody1);
   output.setBody2ForcePrimary(onBody2);
   return true;
}
