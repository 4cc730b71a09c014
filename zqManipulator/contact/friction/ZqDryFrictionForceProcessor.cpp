#include "zqManipulator/contact/friction/ZqDryFrictionForceProcessor.h"

#include "zqManipulator/contact/friction/ZqContactMotion.h"

#include <cmath>

template class ZqXmlClass<ZqDryFrictionForceProcessor, ZqBaseDissipativeForceProcessor>;

ZqReal ZqDryFrictionForceProcessor::weightingFunction(ZqReal speed) const
{
   const ZqReal e = m_kineticFrictionWeightingExponent;
   return speed > 1e-5 ? -std::expm1(-speed * e) / speed : e;
}

bool ZqDryFrictionForceProcessor::process(const ZqDissipativeForceInput& input,
                                          ZqDissipativeForceOutput& output) const
{
   constexpr ZqReal stiffness = 4000.0;
   const ZqContactMotion contact(input);
   const ZqString& a = input.body1MaterialType();
   const ZqString& b = input.body2MaterialType();
   const ZqFrictionCoefficientLookupTool& table = frictionCoefficientLUT();
   const ZqVector& start1 = input.staticStartCollisionPointInPrimary1();
   const ZqVector& start2 = input.staticStartCollisionPointInPrimary2();

   // How the points move on each other that stick, or stuck.
   ZqGeneralMotion motion1 = contact.motion1;
   ZqGeneralMotion motion2 = contact.motion2;
   motion1.transformBy(-start1);
   motion2.transformBy(-start2);
   const ZqVector rate = contact.X_21.orientation() * motion1.linear() - motion2.linear();
   ZqVector hold = rate * (2.0 * std::sqrt(table.assumedMass(a, b) * stiffness));
   if (input.inStaticFrictionMode())
      hold += (contact.X_21 * start1 - start2) * stiffness;
   const ZqReal cone = table.tangentialCoefficientOfStaticFriction(a, b) * contact.pressure;
   const bool sticks = hold.mag() <= cone;

   ZqVector friction;
   if (m_useStaticFriction && sticks)
      friction = hold;
   if (m_useKineticFriction && !sticks)
   {
      const ZqVector& u = contact.rate.linear();
      const ZqVector sliding = u - contact.normal * u.dot(contact.normal);
      friction = sliding * (weightingFunction(sliding.mag()) *
                            table.coefficientOfKineticFriction(a, b) * contact.pressure);
   }
   contact.apply({friction, {}}, sticks ? start2 : input.currentCollisionPointInPrimary2(), output);
   output.setInStaticFrictionMode(sticks);
   return true;
}
