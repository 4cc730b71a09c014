#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"

#include "zqManipulator/dynamics/bodies/ZqInertiaKernels.h"

template class ZqXmlClass<ZqArticulatedBodyDynamics>;

namespace
{
/// u (torque - s . bias) / d, and zero for a d of zero.
ZqGeneralForce jointForce(const ZqGeneralForce& u, ZqReal d, const ZqGeneralMotion& s,
                          const ZqGeneralForce& bias, ZqReal torque)
{
   if (d == 0.0)
      return {};
   return u * ((torque - s.linear().dot(bias.force()) - s.angular().dot(bias.moment())) / d);
}
} // namespace

void ZqArticulatedBodyDynamics::transformBy(const ZqVector& p)
{
   m_inertia.transformBy(p);
   m_bias.transformBy(p);
}

void ZqArticulatedBodyDynamics::transformBy(const ZqOrientation& orientation)
{
   m_inertia.transformBy(orientation);
   m_bias.transformBy(orientation);
}

void ZqArticulatedBodyDynamics::transformBy(const ZqCoordinateSystemTransformation& X)
{
   if (!zqInertiaKernels::hasRotation(X))
   {
      m_inertia.transformBy(X);
      m_bias.transformBy(X);
      return;
   }
   const ZqRotationMatrix R(X.orientation());
   const ZqVector f = R * m_bias.force();
   m_inertia.transformBy(R, X.translation());
   m_bias = {f, R * m_bias.moment() + X.translation().cross(f)};
}

void ZqArticulatedBodyDynamics::joinWith(const ZqArticulatedBodyDynamics& child,
                                         const ZqGeneralMotion& jointAxis,
                                         const ZqReal& jointInertia, const ZqReal& jointTorque)
{
   ZqGeneralForce u;
   ZqReal d = 0.0;
   m_inertia.joinWith(child.m_inertia, jointAxis, jointInertia, u, d);
   m_bias += child.m_bias + jointForce(u, d, jointAxis, child.m_bias, jointTorque);
}

void ZqArticulatedBodyDynamics::joinWith(const ZqArticulatedBodyDynamics& child,
                                         const ZqGeneralMotion& jointAxis, ZqReal jointInertia,
                                         ZqReal jointTorque, const ZqRotationMatrix& R,
                                         const ZqVector& p) noexcept
{
   ZqGeneralForce u;
   ZqReal d = 0.0;
   m_inertia.joinWith(child.m_inertia, jointAxis, jointInertia, R, p, u, d);
   const ZqGeneralForce bias =
      child.m_bias + jointForce(u, d, jointAxis, child.m_bias, jointTorque);
   const ZqVector force = R * bias.force();
   m_bias += ZqGeneralForce(force, R * bias.moment() + p.cross(force));
}

void ZqArticulatedBodyDynamics::setToTransformedValue(const ZqArticulatedBodyDynamics& child,
                                                      const ZqGeneralMotion& jointAxis,
                                                      const ZqReal& jointInertia,
                                                      const ZqReal& jointTorque)
{
   ZqGeneralForce u;
   ZqReal d = 0.0;
   m_inertia.setToTransformedValue(child.m_inertia, jointAxis, jointInertia, u, d);
   m_bias = child.m_bias + jointForce(u, d, jointAxis, child.m_bias, jointTorque);
}

ZqGeneralForce ZqArticulatedBodyDynamics::calculateForce(const ZqGeneralMotion& acceleration) const
{
   return m_bias + m_inertia.calculateForce(acceleration);
}

ZqGeneralMotion ZqArticulatedBodyDynamics::calculateAcceleration(const ZqGeneralForce& force) const
{
   return m_inertia.calculateAcceleration(force - m_bias);
}

bool ZqArticulatedBodyDynamics::approxEq(const ZqArticulatedBodyDynamics& other,
                                         ZqReal tolerance) const
{
   return m_inertia.approxEq(other.m_inertia, tolerance) &&
          m_bias.approxEq(other.m_bias, tolerance);
}
