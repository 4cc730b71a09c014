#include "zqManipulator/kinematics/joint/ZqScrewTypeLink.h"

#include "zqManipulator/actuation/ZqJointActuator.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqScrewTypeLink, ZqLinkKinematics>;

namespace
{
constexpr ZqReal fullTurn = 6.283185307179586;
} // namespace

bool ZqScrewTypeLink::read(ZqXmlReader& reader)
{
   forgetTransform();
   return ZqLinkKinematics::read(reader);
}

bool ZqScrewTypeLink::operator==(const ZqScrewTypeLink& other) const
{
   return ZqLinkKinematics::operator==(other) && m_precursor == other.m_precursor &&
          m_pitch == other.m_pitch;
}

void ZqScrewTypeLink::setPrecursor(const ZqCoordinateSystemTransformation& precursor)
{
   m_precursor = precursor;
   forgetTransform();
}

void ZqScrewTypeLink::setPitch(ZqReal pitch)
{
   m_pitch = pitch;
   forgetTransform();
}

bool ZqScrewTypeLink::approxEq(const ZqScrewTypeLink& other, ZqReal tolerance) const
{
   return ZqLinkKinematics::approxEq(other, tolerance) &&
          m_precursor.approxEq(other.m_precursor, tolerance) &&
          std::abs(m_pitch - other.m_pitch) <= tolerance;
}

const ZqCoordinateSystemTransformation&
ZqScrewTypeLink::calculateTransform(ZqReal jointPosition) const
{
   return keptTransform(jointPosition);
}

void ZqScrewTypeLink::transformBy(ZqCoordinateSystemTransformation& result,
                                  ZqReal jointPosition) const
{
   result *= m_precursor;
   result.outboardTransformBy(ZqVector::zVector(jointPosition),
                              ZqOrientation::zRotation(m_pitch * fullTurn * jointPosition));
}

void ZqScrewTypeLink::transformBy(const ZqCoordinateSystemTransformation& transformation)
{
   m_precursor = transformation * m_precursor;
   forgetTransform();
}

void ZqScrewTypeLink::changeInboardFrameBy(const ZqCoordinateSystemTransformation& transformation)
{
   m_precursor *= transformation;
   forgetTransform();
}

ZqGeneralMotion ZqScrewTypeLink::motionOf(ZqReal rate) const
{
   return {ZqVector::zVector(rate), ZqVector::zVector(fullTurn * m_pitch * rate)};
}

const ZqGeneralMotion& ZqScrewTypeLink::calculateVelocity(ZqReal, ZqReal jointVelocity) const
{
   return m_currentVelocity = motionOf(jointVelocity);
}

const ZqGeneralMotion& ZqScrewTypeLink::calculateAcceleration(ZqReal, ZqReal,
                                                              ZqReal jointAcceleration) const
{
   return m_currentAcceleration = motionOf(jointAcceleration);
}

ZqCoordinateSystemTransformation ZqScrewTypeLink::transformAt(ZqReal jointPosition) const
{
   if (!isOfThisClass())
      return ZqLinkKinematics::transformAt(jointPosition);
   ZqCoordinateSystemTransformation result;
   ZqScrewTypeLink::transformBy(result, jointPosition);
   return result;
}

ZqGeneralMotion ZqScrewTypeLink::velocityAt(ZqReal jointPosition, ZqReal jointVelocity) const
{
   return isOfThisClass() ? motionOf(jointVelocity)
                          : ZqLinkKinematics::velocityAt(jointPosition, jointVelocity);
}

ZqGeneralMotion ZqScrewTypeLink::accelerationAt(ZqReal jointPosition, ZqReal jointVelocity,
                                                ZqReal jointAcceleration) const
{
   return isOfThisClass()
             ? motionOf(jointAcceleration)
             : ZqLinkKinematics::accelerationAt(jointPosition, jointVelocity, jointAcceleration);
}

bool ZqScrewTypeLink::unitMotionDerivatives(ZqReal, ZqGeneralMotion& first,
                                            ZqGeneralMotion& second) const
{
   first = second = {};
   return isOfThisClass();
}

ZqReal ZqScrewTypeLink::upperBoundDhFrameDistance(const ZqJointActuator& actuator) const
{
   return std::max(transformAt(actuator.lowerLimit()).translation().mag(),
                   transformAt(actuator.upperLimit()).translation().mag());
}

void ZqScrewTypeLink::scaleBy(ZqReal scale)
{
   m_precursor.scaleTranslationBy(scale);
   m_pitch /= ZqMath::nonZeroPos(scale);
   forgetTransform();
}

ZqReal ZqScrewTypeLink::jointParameterScalability() const
{
   return 1.0;
}

ZqU32 ZqScrewTypeLink::unitType() const
{
   return 0;
}
