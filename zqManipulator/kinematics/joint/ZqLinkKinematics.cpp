#include "zqManipulator/kinematics/joint/ZqLinkKinematics.h"

#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <array>
#include <cmath>
#include <mutex>

namespace
{
/// The step of numeric differentiation, in units of the joint position. Differences of fourth order err by
/// step^4 / 30 times a fifth derivative and by rounding of about epsilon / step, which over this step is about
/// the same, 1e-13. A power of two, so that steps are exact.
constexpr ZqReal differenceStep = 0x1p-10;

/// By fourth-order central differences: f(i) is the value at i steps, for i of -2, -1, 1 and 2.
template <class Function>
auto derivative(const Function& f)
{
   const auto near = f(1) - f(-1);
   const auto far = f(2) - f(-2);
   return (near * 8.0 - far) * (1.0 / (12.0 * differenceStep));
}

/// The components of a quaternion, as a vector of numbers.
struct Numbers
{
   std::array<ZqReal, 4> v;
   friend Numbers operator-(Numbers a, const Numbers& b)
   {
      for (unsigned i = 0; i < 4; ++i)
         a.v[i] -= b.v[i];
      return a;
   }
   friend Numbers operator*(Numbers a, ZqReal factor)
   {
      for (ZqReal& x : a.v)
         x *= factor;
      return a;
   }
};

/// The quaternion on the side of another one, since q and -q are the same orientation.
Numbers onTheSideOf(const ZqOrientation& o, const ZqOrientation& q)
{
   const bool flipped = o[0] * q[0] + o[1] * q[1] + o[2] * q[2] + o[3] * q[3] < 0.0;
   const ZqReal sign = flipped ? -1.0 : 1.0;
   return {{sign * q[0], sign * q[1], sign * q[2], sign * q[3]}};
}

/// Held while a joint computes what it answers with a reference into itself, and while such a joint is
/// copied. One for all joints, since a joint may ask another one; recursive, since it may ask itself.
constinit std::recursive_mutex cachesLock;
} // namespace

ZqLinkKinematics::ZqLinkKinematics(const ZqLinkKinematics& other) = default;

ZqLinkKinematics& ZqLinkKinematics::operator=(const ZqLinkKinematics& other) = default;

bool ZqLinkKinematics::operator==(const ZqLinkKinematics& other) const
{
   return m_primaryFrame == other.m_primaryFrame &&
          m_primaryFrameInverse == other.m_primaryFrameInverse;
}

bool ZqLinkKinematics::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlCompoundType::read(reader);
   m_primaryFrameInverse = m_primaryFrame.inverse();
   if (succeeded && !std::isfinite(m_primaryFrameInverse.translation().mag()))
   {
      reader.fail("the primary frame of a joint has no finite inverse");
      return false;
   }
   return succeeded;
}

bool ZqLinkKinematics::approxEq(const ZqLinkKinematics& other, ZqReal tolerance) const
{
   return m_primaryFrame.approxEq(other.m_primaryFrame, tolerance);
}

const ZqCoordinateSystemTransformation& ZqLinkKinematics::primaryFrame() const
{
   return m_primaryFrame;
}

const ZqCoordinateSystemTransformation& ZqLinkKinematics::primaryFrameInverse() const
{
   return m_primaryFrameInverse;
}

void ZqLinkKinematics::setPrimaryFrame(const ZqCoordinateSystemTransformation& frame)
{
   m_primaryFrame = frame;
   m_primaryFrameInverse = m_primaryFrame.inverse();
}

void ZqLinkKinematics::scaleBy(ZqReal scale)
{
   m_primaryFrame.scaleTranslationBy(scale);
   m_primaryFrameInverse = m_primaryFrame.inverse();
}

const ZqCoordinateSystemTransformation& ZqLinkKinematics::keptTransform(ZqReal jointPosition) const
{
   if (m_transformValid && jointPosition == m_lastJointPosition)
      return m_currentTransform;
   m_lastJointPosition = jointPosition;
   m_currentTransform.setToIdentity();
   transformBy(m_currentTransform, jointPosition);
   m_transformValid = true;
   return m_currentTransform;
}

const ZqGeneralMotion& ZqLinkKinematics::calculateVelocity(ZqReal jointPosition,
                                                           ZqReal jointVelocity) const
{
   std::array<ZqCoordinateSystemTransformation, 5> T;
   for (int i = -2; i <= 2; ++i)
      T[static_cast<std::size_t>(i + 2)] = calculateTransform(jointPosition + i * differenceStep);
   const auto at = [&](int i) -> const ZqCoordinateSystemTransformation&
   { return T[static_cast<std::size_t>(i + 2)]; };
   const ZqOrientation& o = at(0).orientation();
   const std::array<ZqReal, 4> dq =
      derivative([&](int i) { return onTheSideOf(o, at(i).orientation()); }).v;
   // The angular rate in the frame of T0 is 2 E dq, with E the lower rows of the conjugate's matrix.
   const ZqReal w = o[0];
   const ZqReal x = o[1];
   const ZqReal y = o[2];
   const ZqReal z = o[3];
   const ZqVector angular(2.0 * (-x * dq[0] + w * dq[1] + z * dq[2] - y * dq[3]),
                          2.0 * (-y * dq[0] - z * dq[1] + w * dq[2] + x * dq[3]),
                          2.0 * (-z * dq[0] + y * dq[1] - x * dq[2] + w * dq[3]));
   const ZqVector linear = o.inverse() * derivative([&](int i) { return at(i).translation(); });
   m_currentVelocity.setLinear(linear * jointVelocity);
   m_currentVelocity.setAngular(angular * jointVelocity);
   return m_currentVelocity;
}

/// The velocity is linear in its rate. Differences are taken in the axes of the inboard frame, which do not
/// turn.
const ZqGeneralMotion& ZqLinkKinematics::calculateAcceleration(ZqReal jointPosition,
                                                               ZqReal jointVelocity,
                                                               ZqReal jointAcceleration) const
{
   ZqGeneralMotion A = calculateVelocity(jointPosition, jointAcceleration);
   if (jointVelocity != 0.0)
   {
      const ZqGeneralMotion products = derivative(
         [&](int i)
         {
            const ZqReal q = jointPosition + i * differenceStep;
            ZqGeneralMotion V = calculateVelocity(q, jointVelocity);
            V.transformBy(calculateTransform(q).orientation());
            return V;
         });
      A += calculateTransform(jointPosition).orientation().inverse() * products * jointVelocity;
   }
   m_currentAcceleration = A;
   return m_currentAcceleration;
}

bool ZqLinkKinematics::unitMotionDerivatives(ZqReal, ZqGeneralMotion&, ZqGeneralMotion&) const
{
   return false;
}

ZqLinkKinematics* ZqLinkKinematics::cloneOf(const ZqLinkKinematics& joint)
{
   const std::scoped_lock lock(cachesLock);
   return static_cast<ZqLinkKinematics*>(joint.clone());
}

ZqCoordinateSystemTransformation ZqLinkKinematics::transformAt(ZqReal jointPosition) const
{
   const std::scoped_lock lock(cachesLock);
   return calculateTransform(jointPosition);
}

ZqGeneralMotion ZqLinkKinematics::velocityAt(ZqReal jointPosition, ZqReal jointVelocity) const
{
   const std::scoped_lock lock(cachesLock);
   return calculateVelocity(jointPosition, jointVelocity);
}

ZqGeneralMotion ZqLinkKinematics::accelerationAt(ZqReal jointPosition, ZqReal jointVelocity,
                                                 ZqReal jointAcceleration) const
{
   const std::scoped_lock lock(cachesLock);
   return calculateAcceleration(jointPosition, jointVelocity, jointAcceleration);
}

ZqReal ZqLinkKinematics::torqueRequiredToExert(ZqReal jointPosition,
                                               const ZqGeneralForce& force) const
{
   const ZqGeneralMotion U = accelerationAt(jointPosition, 0.0, 1.0);
   return U.angular().dot(force.moment()) + U.linear().dot(force.force());
}

ZqReal ZqLinkKinematics::unitAccelerationTorque(ZqReal jointPosition,
                                                const ZqArticulatedBodyInertia& inertia) const
{
   return torqueRequiredToExert(jointPosition,
                                inertia.calculateForce(accelerationAt(jointPosition, 0.0, 1.0)));
}

bool ZqLinkKinematics::addChildArbdToParent(ZqArticulatedBodyDynamics& parent,
                                            const ZqArticulatedBodyDynamics& child,
                                            ZqReal jointPosition, ZqReal jointTorque,
                                            ZqReal effectiveInertia) const
{
   const ZqCoordinateSystemTransformation X = transformAt(jointPosition);
   parent.joinWith(child, accelerationAt(jointPosition, 0.0, 1.0), effectiveInertia, jointTorque,
                   ZqRotationMatrix(X.orientation()), X.translation());
   return true;
}
