#include "zqManipulator/kinematics/joint/ZqLinkKinematics.h"

#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <array>
#include <cmath>
#include <mutex>

namespace
{
/// The step of numeric differentiation, in units of the joint position and of its rate.
constexpr ZqReal epsilon = 1e-8;

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

const ZqGeneralMotion& ZqLinkKinematics::calculateVelocity(ZqReal jointPosition,
                                                           ZqReal jointVelocity) const
{
   const ZqCoordinateSystemTransformation T1 = calculateTransform(jointPosition + epsilon);
   const ZqCoordinateSystemTransformation T0 = calculateTransform(jointPosition);
   const ZqOrientation& o = T0.orientation();
   // The quaternion is taken on the side of T0's, since q and -q are the same orientation.
   const ZqOrientation& next = T1.orientation();
   const bool flipped = o[0] * next[0] + o[1] * next[1] + o[2] * next[2] + o[3] * next[3] < 0.0;
   const ZqOrientation o1 = flipped ? -next : next;
   std::array<ZqReal, 4> dq;
   for (unsigned i = 0; i < 4; ++i)
      dq[i] = (o1[i] - o[i]) / epsilon;
   // The angular rate in the frame of T0 is 2 E dq, with E the lower rows of the conjugate's matrix.
   const ZqReal w = o[0];
   const ZqReal x = o[1];
   const ZqReal y = o[2];
   const ZqReal z = o[3];
   const ZqVector angular(2.0 * (-x * dq[0] + w * dq[1] + z * dq[2] - y * dq[3]),
                          2.0 * (-y * dq[0] - z * dq[1] + w * dq[2] + x * dq[3]),
                          2.0 * (-z * dq[0] + y * dq[1] - x * dq[2] + w * dq[3]));
   const ZqVector linear = o.inverse() * ((T1.translation() - T0.translation()) * 100000000.0);
   m_currentVelocity.setLinear(linear * jointVelocity);
   m_currentVelocity.setAngular(angular * jointVelocity);
   return m_currentVelocity;
}

const ZqGeneralMotion& ZqLinkKinematics::calculateAcceleration(ZqReal jointPosition,
                                                               ZqReal jointVelocity,
                                                               ZqReal jointAcceleration) const
{
   ZqGeneralMotion V0 = calculateVelocity(jointPosition, jointVelocity);
   ZqGeneralMotion Vq = calculateVelocity(jointPosition + epsilon, jointVelocity);
   ZqGeneralMotion Vd = calculateVelocity(jointPosition, jointVelocity + epsilon);
   const ZqOrientation o1 = calculateTransform(jointPosition + epsilon).orientation();
   const ZqOrientation o0 = calculateTransform(jointPosition).orientation();
   // Differences are taken in the axes of the inboard frame, which do not turn.
   V0.transformBy(o0);
   Vd.transformBy(o0);
   Vq.transformBy(o1);
   const ZqGeneralMotion A =
      (Vd - V0) * (jointAcceleration / epsilon) + (Vq - V0) * (jointVelocity / epsilon);
   m_currentAcceleration = o0.inverse() * A;
   return m_currentAcceleration;
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
