#include "zqManipulator/contact/friction/ZqDissipativeForceProcessor.h"

#include "zqManipulator/contact/friction/ZqContactMotion.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqDissipativeForceInput>;
template class ZqXmlClass<ZqDissipativeForceOutput>;
template class ZqXmlClass<ZqDissipativeForceProcessor, ZqBaseDissipativeForceProcessor>;

const ZqString ZqDissipativeForceInput::m_theNullMaterialType;

namespace
{
/// Springs and half-critical dampers that hold bodies which stick, for the present load.
struct StickSprings
{
   ZqReal mostForce, mostMoment;
   ZqReal tangential, normal, twist; ///< stiffness
   ZqReal tangentialDamper, normalDamper, twistDamper;

   StickSprings(const ZqDissipativeForceProcessor& law, const ZqDissipativeForceInput& input,
                ZqReal pressure)
   {
      const auto& table = law.frictionCoefficientLUT();
      const ZqString& a = input.body1MaterialType();
      const ZqString& b = input.body2MaterialType();
      const ZqReal muS = table.tangentialCoefficientOfStaticFriction(a, b);
      const ZqReal r = input.actionRadius();
      mostForce = muS * pressure;
      tangential = mostForce / law.linearStaticFrictionModelMaxDistanceError();
      normal = tangential * law.linearStaticFrictionModelNormalToTangentialSpringRatio();
      mostMoment = table.rotationalFrictionScaleFactor(a, b) * r * r * muS * pressure;
      twist = mostMoment / law.angularStaticFrictionModelMaxAngularError();
      tangentialDamper = std::sqrt(input.linearInertiaAlongNormal() * tangential);
      normalDamper = std::sqrt(input.linearInertiaAlongNormal() * normal);
      twistDamper = std::sqrt(input.angularInertiaAboutNormal() * twist);
   }
};

/// How far the bodies have come from where they began to stick.
struct StickError
{
   ZqVector along;  ///< the normal
   ZqVector across; ///< the normal
   ZqReal twist;    ///< about the normal (rad)

   StickError(const ZqDissipativeForceInput& input, const ZqContactMotion& contact)
   {
      const ZqVector d = contact.X_21 * input.staticStartCollisionPointInPrimary1() -
                         input.staticStartCollisionPointInPrimary2();
      along = contact.normal * d.dot(contact.normal);
      across = d - along;
      const ZqOrientation turned =
         contact.X_21.orientation() *
         input.staticStartPrimaryFrame1InSystem().orientation().inverse() *
         input.staticStartPrimaryFrame2InSystem().orientation();
      ZqVector axis;
      turned.getAngleAxis(twist, axis);
      twist *= axis.dot(contact.normal);
   }
};

ZqVector limited(const ZqVector& v, ZqReal most)
{
   return v == ZqVector() ? v : v * std::min(1.0, most / v.mag());
}
} // namespace

bool ZqDissipativeForceProcessor::process(const ZqDissipativeForceInput& input,
                                          ZqDissipativeForceOutput& output) const
{
   const ZqContactMotion contact(input);
   const ZqVector& m = contact.normal;
   const ZqVector& u = contact.rate.linear();
   const ZqVector& w = contact.rate.angular();
   const ZqString& a = input.body1MaterialType();
   const ZqString& b = input.body2MaterialType();
   const ZqReal r = input.actionRadius();
   ZqGeneralForce onBody1;
   ZqGeneralForce onBody2;
   const auto apply = [&](const ZqVector& force, const ZqVector& moment) {
      contact.apply({force, moment}, input.currentCollisionPointInPrimary2(), onBody1, onBody2);
   };

   if (m_useViscousFriction)
   {
      const ZqReal viscosity = frictionCoefficientLUT().coefficientOfViscousFriction(a, b);
      apply(u * viscosity, w * (viscosity * r));
   }

   const StickSprings springs(*this, input, contact.pressure);
   const StickError error(input, contact);
   bool sticks = input.inStaticFrictionMode();
   bool hasJustStuck = false;
   if (!sticks)
      sticks = hasJustStuck = contact.lastRate.linear().dot(u) < 0.0 &&
                              contact.lastRate.angular().dot(m) * w.dot(m) < 0.0;
   else if (error.across.mag() > m_linearStaticFrictionModelMaxDistanceError ||
            std::abs(error.twist) > m_angularStaticFrictionModelMaxAngularError)
      sticks = false;

   if (m_useKineticFriction && !sticks)
   {
      const ZqReal friction =
         frictionCoefficientLUT().coefficientOfKineticFriction(a, b) * contact.pressure;
      apply(u.unitVector() * friction, w.unitVector() * (r * r * friction));
   }
   if (m_useStaticFriction && sticks)
   {
      const ZqVector along = m * u.dot(m);
      ZqVector force =
         along * (2.0 * springs.normalDamper) + (u - along) * (2.0 * springs.tangentialDamper);
      ZqReal moment = w.dot(m) * 2.0 * springs.twistDamper;
      // Where sticking begins is only now being taken down.
      if (!hasJustStuck)
      {
         force += error.across * springs.tangential + error.along * springs.normal;
         moment += error.twist * springs.twist;
      }
      apply(limited(force, springs.mostForce), limited(m * moment, springs.mostMoment));
   }
   output.setInStaticFrictionMode(sticks);
   output.setBody1ForcePrimary(onBody1);
   output.setBody2ForcePrimary(onBody2);
   return true;
}
