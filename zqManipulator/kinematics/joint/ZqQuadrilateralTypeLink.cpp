#include "zqManipulator/kinematics/joint/ZqQuadrilateralTypeLink.h"

#include "zqManipulator/actuation/ZqJointActuator.h"
#include "zqManipulator/foundation/algebra/ZqHalfAngle.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqQuadrilateralTypeLink, ZqLinkKinematics>;

namespace
{
// Never destroyed, so that joints can be written until the process ends.
const ZqXmlEnumeration& sliderEnumeration()
{
   static const auto& enumeration = *new ZqXmlEnumeration{
      {&ZqManip::ZqFixedSliderJointToken, "the slider carries the pivot of the link"},
      {&ZqManip::ZqPivotedSliderJointToken, "the slider pushes the end of the link's side"}};
   return enumeration;
}

void rejectSlider(const char* message)
{
   Zq::Print::instance().write(Zq::Rejected, "%s", message);
}

/// The turn about z with these direction cosines.
ZqOrientation turnAboutZ(ZqReal cosine, ZqReal sine)
{
   const ZqHalfAngle half(cosine, sine);
   ZqOrientation orientation(half.cos, 0.0, 0.0, half.sin);
   orientation.normalize();
   return orientation;
}

/// Gives a direction the length 1; along x, when it has none.
void normaliseDirection(ZqReal& x, ZqReal& y)
{
   const ZqReal length = std::hypot(x, y);
   const bool isDirection = length > 0.0 && std::isfinite(length);
   x = isDirection ? x / length : 1.0;
   y = isDirection ? y / length : 0.0;
}
} // namespace

ZqQuadrilateralTypeLink::ZqQuadrilateralTypeLink() : m_jointType(sliderEnumeration()) {}

bool ZqQuadrilateralTypeLink::xmlInit()
{
   registerJointTypeEnumerations();
   return ZqXmlCompoundType::xmlInit();
}

bool ZqQuadrilateralTypeLink::read(ZqXmlReader& reader)
{
   invalidateAllTransforms();
   m_pivotFrame = false; // where the document does not say so
   return ZqLinkKinematics::read(reader);
}

void ZqQuadrilateralTypeLink::registerJointTypeEnumerations()
{
   m_jointType.registerEnumeration(sliderEnumeration());
}

bool ZqQuadrilateralTypeLink::operator==(const ZqQuadrilateralTypeLink& other) const
{
   return ZqLinkKinematics::operator==(other) && m_jointType == other.m_jointType &&
          m_precursor == other.m_precursor && m_nominalLength == other.m_nominalLength &&
          m_d1Length == other.m_d1Length && m_d2Length == other.m_d2Length &&
          m_oppositeLength == other.m_oppositeLength && m_zDistanceA == other.m_zDistanceA &&
          m_zDistanceB == other.m_zDistanceB && m_zDistanceC == other.m_zDistanceC &&
          m_pivotFrame == other.m_pivotFrame;
}

bool ZqQuadrilateralTypeLink::approxEq(const ZqQuadrilateralTypeLink& other, ZqReal tolerance) const
{
   const auto agree = [&](ZqReal ZqQuadrilateralTypeLink::*length)
   { return std::abs(this->*length - other.*length) <= tolerance; };
   using Link = ZqQuadrilateralTypeLink;
   return ZqLinkKinematics::approxEq(other, tolerance) && m_jointType == other.m_jointType &&
          m_pivotFrame == other.m_pivotFrame &&
          m_precursor.approxEq(other.m_precursor, tolerance) && agree(&Link::m_nominalLength) &&
          agree(&Link::m_d1Length) && agree(&Link::m_d2Length) && agree(&Link::m_oppositeLength) &&
          agree(&Link::m_zDistanceA) && agree(&Link::m_zDistanceB) && agree(&Link::m_zDistanceC);
}

void ZqQuadrilateralTypeLink::invalidateAllTransforms()
{
   forgetTransform();
   m_frameBValid = false;
}

void ZqQuadrilateralTypeLink::set(ZqReal& member, ZqReal value)
{
   member = value;
   invalidateAllTransforms();
}

void ZqQuadrilateralTypeLink::setJointType(ZqU32 jointType)
{
   m_jointType = jointType;
   invalidateAllTransforms();
}

void ZqQuadrilateralTypeLink::setPrecursor(const ZqCoordinateSystemTransformation& precursor)
{
   m_precursor = precursor;
   invalidateAllTransforms();
}

void ZqQuadrilateralTypeLink::setPivotFrame(bool pivotFrame)
{
   m_pivotFrame = pivotFrame;
   invalidateAllTransforms();
}

/// The sines of the two assemblies are (d1 k + h A) / S and (d1 k - h A) / S, their cosines
/// (d1 h - A k) / S and (-d1 h - A k) / S. So the first one has the larger cosine when d1 is positive.
ZqQuadrilateralTypeLink::Closure ZqQuadrilateralTypeLink::closureAt(ZqReal q) const
{
   const ZqReal L = q + m_nominalLength;
   const ZqReal A = isFixedSlider() ? L : m_oppositeLength;
   const ZqReal B = isFixedSlider() ? m_oppositeLength : L;
   const ZqReal d1 = m_d1Length;
   const ZqReal S = A * A + d1 * d1;
   const ZqReal k = (S + m_d2Length * m_d2Length - B * B) / (2.0 * m_d2Length);
   const ZqReal h2 = S - k * k;
   const bool closes = h2 >= 0.0 && S > 0.0;
   const ZqReal h = closes ? std::sqrt(h2) : 0.0;
   bool isFirst = d1 > 0.0;
   if (!isFirst)
      isFirst =
         m_pivotFrame && q != 0.0 ? closureAt(0.0).lever >= 0.0 : d1 * k - h * A < 0.0 || h == 0.0;
   const ZqReal lever = isFirst ? h : -h;
   ZqReal sine = (d1 * k + lever * A) / S;
   ZqReal cosine = (d1 * lever - A * k) / S;
   if (!closes)
      normaliseDirection(cosine, sine);
   return {L, A, k, lever, sine, cosine, closes};
}

/// With a message where the sides do not reach each other.
ZqQuadrilateralTypeLink::Closure ZqQuadrilateralTypeLink::closureToldAt(ZqReal q) const
{
   const Closure linkage = closureAt(q);
   if (!linkage.closes)
      rejectSlider("ZqQuadrilateralTypeLink::transformBy()-Invalid joint position\n");
   return linkage;
}

/// The sides reach each other where the distance of P from C is between the difference and the sum of d2 and B.
std::optional<std::pair<ZqReal, ZqReal>> ZqQuadrilateralTypeLink::closingRange() const
{
   const ZqReal d2 = std::abs(m_d2Length);
   const auto slider = [this](ZqReal length) { return length - m_nominalLength; };
   if (!isFixedSlider())
   {
      const ZqReal distance = std::hypot(m_oppositeLength, m_d1Length);
      return std::pair{slider(std::abs(distance - d2)), slider(distance + d2)};
   }
   const ZqReal B = std::abs(m_oppositeLength);
   const auto lengthAt = [this](ZqReal distance)
   { return std::sqrt(std::max(0.0, (distance - m_d1Length) * (distance + m_d1Length))); };
   if (!(d2 + B >= std::abs(m_d1Length)))
      return std::nullopt;
   return std::pair{slider(lengthAt(std::abs(d2 - B))), slider(lengthAt(d2 + B))};
}

/// The rates of the lengths in d1 sin(theta) - A cos(theta) = k, whose derivative by theta is the lever: it
/// changes with q by A' sin(theta) - k theta'.
ZqQuadrilateralTypeLink::Rates ZqQuadrilateralTypeLink::ratesAt(const Closure& linkage) const
{
   const auto& [L, A, k, lever, s, c, closes] = linkage;
   const ZqReal ofA = isFixedSlider() ? 1.0 : 0.0;
   if (m_pivotFrame && lever == 0.0)
   {
      // Flat: the side d2 is on the line of P and C, which turns as P slides.
      const ZqReal S = A * A + m_d1Length * m_d1Length;
      const ZqReal first = S > 0.0 ? ofA * m_d1Length / S : 0.0;
      if (first == 0.0)
         return {0.0, 0.0, 0.0};
      return {first, -2.0 * first * A / S,
              first * (6.0 * A * A - 2.0 * m_d1Length * m_d1Length) / (S * S)};
   }
   const ZqReal perD2 = (isFixedSlider() ? 1.0 : -1.0) / m_d2Length;
   const ZqReal ofK = L * perD2;
   const ZqReal first = (ofK + ofA * c) / lever;
   const ZqReal second = (perD2 - 2.0 * ofA * s * first + k * first * first) / lever;
   const ZqReal third =
      ((ofK - 2.0 * ofA * c) * first * first + 3.0 * second * (k * first - ofA * s)) / lever;
   return {first, second, third};
}

const ZqCoordinateSystemTransformation&
ZqQuadrilateralTypeLink::calculateTransform(ZqReal jointPosition) const
{
   return keptTransform(jointPosition);
}

void ZqQuadrilateralTypeLink::transformBy(ZqCoordinateSystemTransformation& result,
                                          ZqReal jointPosition) const
{
   result *= m_precursor;
   if (!isKnown())
   {
      rejectSlider("ZqQuadrilateralTypeLink::transformBy() bad joint type:\n");
      return;
   }
   const Closure linkage = closureToldAt(jointPosition);
   result.outboardTransformBy(
      ZqVector(m_pivotFrame ? linkage.A : std::abs(linkage.lever), 0.0, m_zDistanceA),
      turnAboutZ(linkage.cosine, linkage.sine));
}

void ZqQuadrilateralTypeLink::transformBy(const ZqCoordinateSystemTransformation& transformation)
{
   m_precursor = transformation * m_precursor;
   invalidateAllTransforms();
}

void ZqQuadrilateralTypeLink::changeInboardFrameBy(
   const ZqCoordinateSystemTransformation& transformation)
{
   m_precursor *= transformation;
   invalidateAllTransforms();
}

/// What slides along x of the precursor at a rate, with the slider that carries it.
ZqVector ZqQuadrilateralTypeLink::linearAlong(const Closure& linkage, ZqReal rate) const
{
   if (!isFixedSlider())
      return {};
   return m_pivotFrame ? ZqVector(linkage.cosine * rate, -linkage.sine * rate, 0.0)
                       : ZqVector(rate, 0.0, 0.0);
}

ZqGeneralMotion ZqQuadrilateralTypeLink::velocityOf(ZqReal q, ZqReal qd) const
{
   const Closure linkage = closureAt(q);
   return {linearAlong(linkage, qd), ZqVector::zVector(ratesAt(linkage).first * qd)};
}

ZqGeneralMotion ZqQuadrilateralTypeLink::accelerationOf(ZqReal q, ZqReal qd, ZqReal qdd) const
{
   const Closure linkage = closureAt(q);
   const Rates rates = ratesAt(linkage);
   return {linearAlong(linkage, qdd),
           ZqVector::zVector(rates.first * qdd + rates.second * qd * qd)};
}

ZqGeneralMotion ZqQuadrilateralTypeLink::velocityAt(ZqReal jointPosition,
                                                    ZqReal jointVelocity) const
{
   if (!isOfThisClass())
      return ZqLinkKinematics::velocityAt(jointPosition, jointVelocity);
   if (isKnown())
      return velocityOf(jointPosition, jointVelocity);
   rejectSlider("ZqQuadrilateralTypeLink::calculateVelocity() bad joint type:\n");
   return {};
}

ZqGeneralMotion ZqQuadrilateralTypeLink::accelerationAt(ZqReal jointPosition, ZqReal jointVelocity,
                                                        ZqReal jointAcceleration) const
{
   if (!isOfThisClass())
      return ZqLinkKinematics::accelerationAt(jointPosition, jointVelocity, jointAcceleration);
   if (isKnown())
      return accelerationOf(jointPosition, jointVelocity, jointAcceleration);
   rejectSlider("ZqQuadrilateralTypeLink::calculateAcceleration() bad joint type:\n");
   return {};
}

const ZqGeneralMotion& ZqQuadrilateralTypeLink::calculateVelocity(ZqReal jointPosition,
                                                                  ZqReal jointVelocity) const
{
   calculateTransform(jointPosition);
   if (isKnown())
   {
      m_currentVelocity = velocityOf(jointPosition, jointVelocity);
      m_angularRate = m_currentVelocity.angular().z();
      return m_currentVelocity;
   }
   rejectSlider("ZqQuadrilateralTypeLink::calculateVelocity() bad joint type:\n");
   m_currentVelocity.setAngular(ZqVector::zVector(m_angularRate));
   return m_currentVelocity;
}

const ZqGeneralMotion&
ZqQuadrilateralTypeLink::calculateAcceleration(ZqReal jointPosition, ZqReal jointVelocity,
                                               ZqReal jointAcceleration) const
{
   calculateVelocity(jointPosition, jointVelocity);
   if (isKnown())
      return m_currentAcceleration =
                accelerationOf(jointPosition, jointVelocity, jointAcceleration);
   rejectSlider("ZqQuadrilateralTypeLink::calculateAcceleration() bad joint type:\n");
   m_currentAcceleration.setAngular(ZqVector());
   return m_currentAcceleration;
}

ZqCoordinateSystemTransformation ZqQuadrilateralTypeLink::transformAt(ZqReal jointPosition) const
{
   if (!isOfThisClass())
      return ZqLinkKinematics::transformAt(jointPosition);
   ZqCoordinateSystemTransformation result;
   ZqQuadrilateralTypeLink::transformBy(result, jointPosition);
   return result;
}

/// The unit motion in the axes of the frame, which turn: that of a pivot that slides is (cos, -sin).
bool ZqQuadrilateralTypeLink::unitMotionDerivatives(ZqReal jointPosition, ZqGeneralMotion& first,
                                                    ZqGeneralMotion& second) const
{
   if (!m_pivotFrame || !isKnown() || !isOfThisClass())
      return false;
   const Closure linkage = closureAt(jointPosition);
   const Rates rates = ratesAt(linkage);
   first = {{}, ZqVector::zVector(rates.second)};
   second = {{}, ZqVector::zVector(rates.third)};
   if (!isFixedSlider())
      return true;
   const ZqReal c = linkage.cosine;
   const ZqReal s = linkage.sine;
   const ZqReal square = rates.first * rates.first;
   first.setLinear(ZqVector(-s, -c, 0.0) * rates.first);
   second.setLinear(ZqVector(-s * rates.second - c * square, s * square - c * rates.second, 0.0));
   return true;
}

ZqCoordinateSystemTransformation ZqQuadrilateralTypeLink::frameB(const Closure& linkage) const
{
   const ZqReal side = isFixedSlider() ? m_oppositeLength : linkage.L;
   const ZqReal x = m_d2Length * linkage.cosine + linkage.A;
   const ZqReal y = m_d2Length * linkage.sine;
   ZqReal c = linkage.sine;
   ZqReal s = -linkage.cosine;
   if (side > 0.0)
   {
      c = x / side;
      s = (y - m_d1Length) / side;
      if (!linkage.closes)
         normaliseDirection(c, s);
   }
   ZqCoordinateSystemTransformation result = m_precursor;
   result.outboardTransformBy(ZqVector(x, y, m_zDistanceB), turnAboutZ(c, s));
   return result;
}

const ZqCoordinateSystemTransformation&
ZqQuadrilateralTypeLink::frameATransform(ZqReal jointPosition) const
{
   if (!isKnown())
   {
      rejectSlider("ZqQuadrilateralTypeLink::frameATransform() bad joint type:\n");
      return m_frameA;
   }
   return m_frameA = frameAAt(jointPosition);
}

ZqCoordinateSystemTransformation ZqQuadrilateralTypeLink::frameAAt(ZqReal jointPosition) const
{
   const ZqReal A = isFixedSlider() ? jointPosition + m_nominalLength : m_oppositeLength;
   ZqCoordinateSystemTransformation result = m_precursor;
   result.outboardTransformBy(ZqVector(A, 0.0, m_zDistanceA));
   return result;
}

ZqCoordinateSystemTransformation ZqQuadrilateralTypeLink::frameBAt(ZqReal jointPosition) const
{
   return frameB(closureToldAt(jointPosition));
}

ZqCoordinateSystemTransformation ZqQuadrilateralTypeLink::frameCAt(ZqReal jointPosition) const
{
   ZqCoordinateSystemTransformation result = frameBAt(jointPosition);
   result.outboardTransformBy(ZqVector::xVector(-(jointPosition + m_nominalLength)));
   return result;
}

const ZqCoordinateSystemTransformation&
ZqQuadrilateralTypeLink::frameBTransform(ZqReal jointPosition) const
{
   if (m_frameBValid && jointPosition == m_frameBJointPosition)
      return m_frameB;
   calculateTransform(jointPosition);
   if (!isKnown())
   {
      rejectSlider("ZqQuadrilateralTypeLink::frameBTransform() bad joint type:\n");
      return m_frameB;
   }
   m_frameB = frameB(closureAt(jointPosition));
   m_frameBJointPosition = jointPosition;
   m_frameBValid = true;
   return m_frameB;
}

const ZqCoordinateSystemTransformation&
ZqQuadrilateralTypeLink::frameCTransform(ZqReal jointPosition) const
{
   m_frameC = frameBTransform(jointPosition);
   m_frameC.outboardTransformBy(ZqVector::xVector(-(jointPosition + m_nominalLength)));
   return m_frameC;
}

ZqReal ZqQuadrilateralTypeLink::upperBoundDhFrameDistance(const ZqJointActuator& actuator) const
{
   if (!m_pivotFrame || !isKnown())
      return 0.0;
   // The pivot stays, or slides along a line.
   const auto distanceAt = [this](ZqReal q)
   {
      const ZqReal A = isFixedSlider() ? q + m_nominalLength : m_oppositeLength;
      return (m_precursor * ZqVector(A, 0.0, m_zDistanceA)).mag();
   };
   return std::max(distanceAt(actuator.lowerLimit()), distanceAt(actuator.upperLimit()));
}

void ZqQuadrilateralTypeLink::scaleBy(ZqReal scale)
{
   m_precursor.scaleTranslationBy(scale);
   for (ZqReal* length : {&m_nominalLength, &m_d1Length, &m_d2Length, &m_oppositeLength,
                          &m_zDistanceA, &m_zDistanceB, &m_zDistanceC})
      *length *= scale;
   invalidateAllTransforms();
}

ZqReal ZqQuadrilateralTypeLink::jointParameterScalability() const
{
   return 1.0;
}

ZqU32 ZqQuadrilateralTypeLink::unitType() const
{
   return 0;
}
