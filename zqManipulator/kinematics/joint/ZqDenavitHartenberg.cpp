#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"

#include "zqManipulator/actuation/ZqJointActuator.h"
#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <algorithm>
#include <array>
#include <cmath>

template class ZqXmlClass<ZqDenavitHartenberg, ZqLinkKinematics>;

namespace
{
// Neither enumeration is ever destroyed, so that joints can be written until the process ends.
const ZqXmlEnumeration& jointTypeEnumeration()
{
   static const auto& enumeration =
      *new ZqXmlEnumeration{{&ZqManip::ZqJointTypeRotationalToken, "turns by an angle (rad)"},
                            {&ZqManip::ZqJointTypePrismaticToken, "slides by a length (m)"}};
   return enumeration;
}

const ZqXmlEnumeration& dhTypeEnumeration()
{
   static const auto& enumeration = *new ZqXmlEnumeration{
      {&ZqManip::ZqDhTypePaulToken, "Rz(theta) Tz(d) Tx(a) Rx(alpha)"},
      {&ZqManip::ZqDhTypeGeneralPaulToken, "precursor Rz(theta) Tz(d) Tx(a) Rx(alpha)"},
      {&ZqManip::ZqDhTypeCraigToken, "Tx(a) Rx(alpha) Rz(theta) Tz(d)"},
      {&ZqManip::ZqDhTypeGeneralCraigToken, "precursor Tx(a) Rx(alpha) Rz(theta) Tz(d)"},
      {&ZqManip::ZqDhTypeGeneralToken, "precursor Rz(q), or precursor Tz(q)"}};
   return enumeration;
}

void reject(const char* message)
{
   Zq::Print::instance().write(Zq::Rejected, "%s", message);
}

bool within(ZqReal a, ZqReal b, ZqReal tolerance)
{
   return a <= b + tolerance && b <= a + tolerance;
}

/// Composes a rotational joint, without its precursor, onto the result.
void turnBy(ZqCoordinateSystemTransformation& result, bool paul, ZqReal q, ZqReal a, ZqReal d,
            const ZqAngle& alpha, const ZqHalfAngle& halfAlpha)
{
   // The angle from its half, and not the other way: no root that all the rest would wait for.
   const auto [halfCos, halfSin] = ZqMath::cosineSine(0.5 * q);
   const ZqReal c = (halfCos - halfSin) * (halfCos + halfSin);
   const ZqReal s = 2.0 * halfSin * halfCos;
   // Of the two signs of the quaternion that in which the larger of the half angle's two is positive.
   const ZqReal sign = std::copysign(1.0, c > 0.0 ? halfCos : halfSin);
   const ZqReal cq = sign * halfCos;
   const ZqReal sq = sign * halfSin;
   const ZqReal y = sq * halfAlpha.sin;
   ZqOrientation orientation(cq * halfAlpha.cos, cq * halfAlpha.sin, paul ? y : -y,
                             sq * halfAlpha.cos);
   orientation.normalize();
   result.outboardTransformBy(paul ? ZqVector(a * c, a * s, d)
                                   : ZqVector(a, -d * alpha.sin(), d * alpha.cos()),
                              orientation);
}

/// The same for a prismatic joint.
void slideBy(ZqCoordinateSystemTransformation& result, bool paul, ZqReal q, ZqReal a,
             const ZqAngle& theta, const ZqAngle& alpha)
{
   const ZqOrientation twist = ZqOrientation::xRotation(alpha);
   const ZqOrientation turn = ZqOrientation::zRotation(theta);
   if (paul)
      result.outboardTransformBy(ZqVector(a * theta.cos(), a * theta.sin(), q), turn * twist);
   else
      result.outboardTransformBy(ZqVector::xVector(a) + twist * ZqVector::zVector(q), twist * turn);
}
} // namespace

ZqDenavitHartenberg::ZqDenavitHartenberg()
   : m_jointType(jointTypeEnumeration()), m_dhType(dhTypeEnumeration())
{
}

bool ZqDenavitHartenberg::xmlInit()
{
   registerJointTypeEnumerations();
   registerDhTypeEnumerations();
   return ZqXmlCompoundType::xmlInit();
}

bool ZqDenavitHartenberg::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqLinkKinematics::read(reader);
   m_halfAlpha = ZqHalfAngle(m_alpha.cos(), m_alpha.sin());
   return succeeded;
}

void ZqDenavitHartenberg::registerJointTypeEnumerations()
{
   m_jointType.registerEnumeration(jointTypeEnumeration());
}

void ZqDenavitHartenberg::registerDhTypeEnumerations()
{
   m_dhType.registerEnumeration(dhTypeEnumeration());
}

bool ZqDenavitHartenberg::operator==(const ZqDenavitHartenberg& other) const
{
   return ZqLinkKinematics::operator==(other) && m_jointType == other.m_jointType &&
          m_dhType == other.m_dhType && m_precursor == other.m_precursor &&
          m_theta == other.m_theta && m_d == other.m_d && m_a == other.m_a &&
          m_alpha == other.m_alpha;
}

ZqDenavitHartenberg ZqDenavitHartenberg::defaultObject()
{
   ZqDenavitHartenberg object;
   object.setJointType(Prismatic);
   object.setDhTheta(1.0);
   object.setDhD(2.0);
   object.setDhA(ZqMath::pi);
   object.setDhAlpha(-1e-8);
   object.setPrimaryFrame({ZqVector(12.0, -3.0, -4.0), ZqOrientation(-1.0, 2.0, -1.0, 4.0)});
   return object;
}

const ZqU32& ZqDenavitHartenberg::jointType() const
{
   return m_jointType;
}

void ZqDenavitHartenberg::setJointType(ZqU32 jointType)
{
   m_jointType = jointType;
   forgetTransform();
}

const ZqU32& ZqDenavitHartenberg::dhType() const
{
   return m_dhType;
}

void ZqDenavitHartenberg::setDhType(ZqU32 dhType)
{
   m_dhType = dhType;
   forgetTransform();
}

const ZqCoordinateSystemTransformation& ZqDenavitHartenberg::precursor() const
{
   return m_precursor;
}

void ZqDenavitHartenberg::setPrecursor(const ZqCoordinateSystemTransformation& precursor)
{
   m_precursor = precursor;
   forgetTransform();
}

const ZqAngle& ZqDenavitHartenberg::dhTheta() const
{
   return m_theta;
}

void ZqDenavitHartenberg::setDhTheta(const ZqAngle& theta)
{
   m_theta = theta;
   forgetTransform();
}

const ZqReal& ZqDenavitHartenberg::dhD() const
{
   return m_d;
}

void ZqDenavitHartenberg::setDhD(ZqReal d)
{
   m_d = d;
   forgetTransform();
}

const ZqReal& ZqDenavitHartenberg::dhA() const
{
   return m_a;
}

void ZqDenavitHartenberg::setDhA(ZqReal a)
{
   m_a = a;
   forgetTransform();
}

const ZqAngle& ZqDenavitHartenberg::dhAlpha() const
{
   return m_alpha;
}

void ZqDenavitHartenberg::setDhAlpha(const ZqAngle& alpha)
{
   m_alpha = alpha;
   m_halfAlpha = ZqHalfAngle(m_alpha.cos(), m_alpha.sin());
   forgetTransform();
}

ZqDenavitHartenberg::Family ZqDenavitHartenberg::family() const
{
   static constexpr std::array families{Family::Paul, Family::Paul, Family::Craig, Family::Craig,
                                        Family::General};
   return m_dhType < families.size() ? families[m_dhType] : Family::Unknown;
}

const ZqCoordinateSystemTransformation&
ZqDenavitHartenberg::calculateTransform(ZqReal jointPosition) const
{
   return keptTransform(jointPosition);
}

void ZqDenavitHartenberg::transformBy(ZqCoordinateSystemTransformation& result,
                                      ZqReal jointPosition) const
{
   const Family type = family();
   if (type == Family::Unknown)
   {
      reject("ZqDenavitHartenberg::calculateTransform() bad D-H type:\n");
      return;
   }
   if (type == Family::General)
   {
      if (hasUnknownJointType())
         return;
      result = m_precursor;
      if (m_jointType == Rotational)
         result.outboardTransformBy(ZqVector(), ZqOrientation::zRotation(jointPosition));
      else
         result.outboardTransformBy(ZqVector::zVector(jointPosition));
      return;
   }
   if (m_dhType == GeneralPaul || m_dhType == GeneralCraig)
      result *= m_precursor;
   const bool paul = type == Family::Paul;
   if (m_jointType == Rotational)
      turnBy(result, paul, jointPosition, m_a, m_d, m_alpha, m_halfAlpha);
   else if (m_jointType == Prismatic)
      slideBy(result, paul, jointPosition, m_a, m_theta, m_alpha);
   else
   {
      reject("ZqDenavitHartenberg::calculateTransform() bad joint type:\n");
      result.outboardTransformBy(ZqVector(), ZqOrientation());
   }
}

/// The precursor of the joint, which is the identity for a joint without one, whatever the member
/// holds; such a joint becomes one with a precursor.
ZqCoordinateSystemTransformation ZqDenavitHartenberg::takePrecursor()
{
   if (m_dhType != Paul && m_dhType != Craig)
      return m_precursor;
   m_dhType = m_dhType == Paul ? GeneralPaul : GeneralCraig;
   return {};
}

void ZqDenavitHartenberg::transformBy(const ZqCoordinateSystemTransformation& transformation)
{
   m_precursor = transformation * takePrecursor();
   forgetTransform();
}

void ZqDenavitHartenberg::changeInboardFrameBy(
   const ZqCoordinateSystemTransformation& transformation)
{
   m_precursor = takePrecursor() * transformation;
   forgetTransform();
}

/// The axis of the joint in the DH frame. In Paul's conventions that frame lies behind the twist and the
/// length, so that the axis is seen tilted; in Craig's it lies on the axis.
ZqVector ZqDenavitHartenberg::jointAxis(Family family) const
{
   return family == Family::Paul ? ZqVector(0.0, m_alpha.sin(), m_alpha.cos())
                                 : ZqVector(0.0, 0.0, 1.0);
}

/// Becomes the motion of a joint at this velocity; an unknown D-H type counts as one of Craig's, and an
/// unknown joint type as prismatic.
void ZqDenavitHartenberg::setToMotion(ZqGeneralMotion& motion, Family family, ZqReal velocity) const
{
   const ZqVector axis = jointAxis(family);
   if (m_jointType != Rotational)
   {
      motion.setLinear(axis * velocity);
      motion.setAngular(ZqVector());
      return;
   }
   // The origin of a Paul joint swings about the axis with radius a.
   motion.setLinear(family == Family::Paul ? ZqVector(0.0, m_a * m_alpha.cos() * velocity,
                                                      -m_a * m_alpha.sin() * velocity)
                                           : ZqVector());
   motion.setAngular(axis * velocity);
}

void ZqDenavitHartenberg::getUnitFrameMotion(ZqGeneralMotion& motion, ZqReal) const
{
   const Family type = family();
   if (type == Family::Unknown)
   {
      reject("ZqDenavitHartenberg::getUnitFrameMotion() bad D-H type:\n");
      return;
   }
   if (hasUnknownJointType())
   {
      if (type != Family::General)
         reject("ZqDenavitHartenberg::getUnitFrameMotion() bad joint type:\n");
      return;
   }
   setToMotion(motion, type, 1.0);
}

/// An unknown D-H or joint type leaves the motion as `getUnitFrameMotion` does, times the velocity.
void ZqDenavitHartenberg::setToVelocity(ZqGeneralMotion& motion, ZqReal jointPosition,
                                        ZqReal jointVelocity) const
{
   const Family type = family();
   if (type != Family::Unknown && !hasUnknownJointType())
   {
      setToMotion(motion, type, jointVelocity);
      return;
   }
   getUnitFrameMotion(motion, jointPosition);
   motion *= jointVelocity;
}

void ZqDenavitHartenberg::setToAcceleration(ZqGeneralMotion& motion, ZqReal jointVelocity,
                                            ZqReal jointAcceleration) const
{
   const Family type = family();
   if (type == Family::Unknown)
      reject("ZqDenavitHartenberg::accelerationFromJointVelocity() bad D-H type:\n");
   else if (hasUnknownJointType())
   {
      if (type == Family::Paul)
         reject("ZqDenavitHartenberg::accelerationFromJointVelocity() bad joint type:\n");
   }
   else
   {
      setToMotion(motion, type, jointAcceleration);
      // The origin of a Paul joint swings on radius a and is drawn towards the axis.
      if (type == Family::Paul && m_jointType == Rotational)
         motion.setScalarValue(0, -m_a * jointVelocity * jointVelocity);
   }
}

const ZqGeneralMotion& ZqDenavitHartenberg::calculateVelocity(ZqReal jointPosition,
                                                              ZqReal jointVelocity) const
{
   setToVelocity(m_currentVelocity, jointPosition, jointVelocity);
   return m_currentVelocity;
}

const ZqGeneralMotion& ZqDenavitHartenberg::calculateAcceleration(ZqReal, ZqReal jointVelocity,
                                                                  ZqReal jointAcceleration) const
{
   setToAcceleration(m_currentAcceleration, jointVelocity, jointAcceleration);
   return m_currentAcceleration;
}

ZqCoordinateSystemTransformation ZqDenavitHartenberg::transformAt(ZqReal jointPosition) const
{
   if (!isOfThisClass())
      return ZqLinkKinematics::transformAt(jointPosition);
   ZqCoordinateSystemTransformation result;
   ZqDenavitHartenberg::transformBy(result, jointPosition);
   return result;
}

ZqGeneralMotion ZqDenavitHartenberg::velocityAt(ZqReal jointPosition, ZqReal jointVelocity) const
{
   if (!isOfThisClass())
      return ZqLinkKinematics::velocityAt(jointPosition, jointVelocity);
   ZqGeneralMotion result;
   setToVelocity(result, jointPosition, jointVelocity);
   return result;
}

ZqGeneralMotion ZqDenavitHartenberg::accelerationAt(ZqReal jointPosition, ZqReal jointVelocity,
                                                    ZqReal jointAcceleration) const
{
   if (!isOfThisClass())
      return ZqLinkKinematics::accelerationAt(jointPosition, jointVelocity, jointAcceleration);
   ZqGeneralMotion result;
   setToAcceleration(result, jointVelocity, jointAcceleration);
   return result;
}

void ZqDenavitHartenberg::accelerationFromJointVelocity(ZqReal jointVelocity,
                                                        const ZqVector& angularVelocity,
                                                        const ZqVector& linearAcceleration,
                                                        const ZqVector& angularAcceleration,
                                                        ZqGeneralMotion& result) const
{
   const Family type = family();
   const bool paul = type == Family::Paul;
   const ZqReal qd = jointVelocity;
   const ZqVector& w = angularVelocity;
   ZqVector linear;
   ZqVector angular;
   if (type == Family::Unknown)
      reject("ZqDenavitHartenberg::accelerationFromJointVelocity() bad D-H type:\n");
   else if (hasUnknownJointType())
   {
      if (paul)
         reject("ZqDenavitHartenberg::accelerationFromJointVelocity() bad joint type:\n");
   }
   else
   {
      const ZqVector turning = w.cross(jointAxis(type)) * qd;
      if (m_jointType == Prismatic)
         linear = turning * 2.0;
      else
      {
         angular = turning;
         if (paul)
            linear = ZqVector(-(qd + 2.0 * m_alpha.sin() * w.y() + 2.0 * m_alpha.cos() * w.z()),
                              2.0 * m_alpha.sin() * w.x(), 2.0 * m_alpha.cos() * w.x()) *
                     (m_a * qd);
      }
   }
   result.setLinear(linear + linearAcceleration);
   result.setAngular(angular + angularAcceleration);
}

bool ZqDenavitHartenberg::approxEq(const ZqDenavitHartenberg& other, ZqReal tolerance) const
{
   return ZqLinkKinematics::approxEq(other, tolerance) && m_jointType == other.m_jointType &&
          within(m_theta, other.m_theta, tolerance) && within(m_alpha, other.m_alpha, tolerance) &&
          within(m_a, other.m_a, tolerance) && within(m_d, other.m_d, tolerance);
}

ZqU32 ZqDenavitHartenberg::unitType() const
{
   return m_jointType == Rotational ? 1 : 0;
}

ZqReal ZqDenavitHartenberg::jointParameterScalability() const
{
   if (m_jointType == Rotational)
      return 0.0;
   if (m_jointType == Prismatic)
      return 1.0;
   Zq::Print::instance().write(
      Zq::Rejected, "ZqDenavitHartenberg::jointParameterScalability(): unknown joint type (%d).",
      static_cast<int>(m_jointType.value()));
   return 0.0;
}

void ZqDenavitHartenberg::scaleBy(ZqReal scale)
{
   ZqLinkKinematics::scaleBy(scale);
   m_precursor.scaleTranslationBy(scale);
   m_d *= scale;
   m_a *= scale;
   forgetTransform();
}

bool ZqDenavitHartenberg::addChildArbdToParent(ZqArticulatedBodyDynamics& parent,
                                               const ZqArticulatedBodyDynamics& child,
                                               ZqReal jointPosition, ZqReal jointTorque,
                                               ZqReal effectiveInertia) const
{
   ZqGeneralMotion U;
   setToMotion(U, family(), 1.0);
   const ZqCoordinateSystemTransformation X = transformAt(jointPosition);
   parent.joinWith(child, U, effectiveInertia, jointTorque, ZqRotationMatrix(X.orientation()),
                   X.translation());
   return true;
}

ZqReal ZqDenavitHartenberg::upperBoundDhFrameDistance(const ZqJointActuator& actuator) const
{
   const auto distanceAt = [this](ZqReal q) { return transformAt(q).translation().mag(); };
   if (hasUnknownJointType())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqDenavitHartenberg::upperBoundDhFrameDistance-->Joint Type (%d) unknown",
         static_cast<int>(jointType()));
      return 0.0;
   }
   if (m_jointType == Prismatic)
      return std::max(distanceAt(actuator.lowerLimit()), distanceAt(actuator.upperLimit()));
   // The swing of a about the axis can carry the origin away from any one place by its diameter.
   return distanceAt(actuator.upperLimit()) +
          (family() == Family::Paul ? 2.0 * std::abs(m_a) : 0.0);
}
