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
/// How far the bodies have come from where they began to stick.
struct StickError
{
   ZqVector along;     ///< the normal (m)
   ZqVector across;    ///< the normal (m)
   ZqReal twist = 0.0; ///< about the normal (rad)
};

StickError errorSinceSticking(const ZqDissipativeForceInput& input, const ZqContactMotion& contact)
{
   const ZqVector& m = contact.normal;
   const ZqVector d = contact.X_21 * input.staticStartCollisionPointInPrimary1() -
                      input.staticStartCollisionPointInPrimary2();
   const ZqOrientation turned = contact.X_21.orientation() *
                                input.staticStartPrimaryFrame1InSystem().orientation().inverse() *
                                input.staticStartPrimaryFrame2InSystem().orientation();
   ZqReal angle;
   ZqVector axis;
   turned.getAngleAxis(angle, axis);
   const ZqVector along = m * d.dot(m);
   return {along, d - along, axis.dot(m) * angle};
}

/// Of a spring with a damper that is critical for the inertia.
template <class T>
T springForce(ZqReal stiffness, ZqReal inertia, const T& error, const T& rate)
{
   return error * stiffness + rate * (2.0 * std::sqrt(inertia * stiffness));
}

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
   const ZqFrictionCoefficientLookupTool& table = frictionCoefficientLUT();
   const ZqReal r = input.actionRadius();

   // Bodies that have just stuck have no error yet: where they did is taken down after this.
   StickError error;
   bool sticks;
   if (input.inStaticFrictionMode())
   {
      error = errorSinceSticking(input, contact);
      sticks = !(error.across.mag() > m_linearStaticFrictionModelMaxDistanceError ||
                 std::abs(error.twist) > m_angularStaticFrictionModelMaxAngularError);
   }
   else
      sticks = contact.lastRate.linear().dot(u) < 0.0 &&
               contact.lastRate.angular().dot(m) * w.dot(m) < 0.0;

   ZqGeneralForce friction;
   if (m_useViscousFriction)
   {
      const ZqReal viscosity = table.coefficientOfViscousFriction(a, b);
      friction += {u * viscosity, w * (viscosity * r)};
   }
   if (m_useKineticFriction && !sticks)
   {
      const ZqReal cone = table.coefficientOfKineticFriction(a, b) * contact.pressure;
      friction += {u.unitVector() * cone, w.unitVector() * (r * r * cone)};
   }
   if (m_useStaticFriction && sticks)
   {
      // Springs are such that the error that is allowed gives all the friction of the present load.
      const ZqReal cone = table.tangentialCoefficientOfStaticFriction(a, b) * contact.pressure;
      const ZqReal most = table.rotationalFrictionScaleFactor(a, b) * r * r * cone;
      const ZqReal across = cone / m_linearStaticFrictionModelMaxDistanceError;
      const ZqReal along = across * m_linearStaticFrictionModelNormalToTangentialSpringRatio;
      const ZqReal twist = most / m_angularStaticFrictionModelMaxAngularError;
      const ZqReal mass = input.linearInertiaAlongNormal();
      const ZqVector rate = m * u.dot(m);
      const ZqVector force = springForce(across, mass, error.across, u - rate) +
                             springForce(along, mass, error.along, rate);
      const ZqReal moment =
         springForce(twist, input.angularInertiaAboutNormal(), error.twist, w.dot(m));
      friction += {limited(force, cone), limited(m * moment, most)};
   }
   contact.apply(friction, input.currentCollisionPointInPrimary2(), output);
   output.setInStaticFrictionMode(sticks);
   return true;
}
