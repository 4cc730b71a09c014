#include "zqManipulator/tools/variation/ZqLinkPropertyRandomVariation.h"

#include "zqManipulator/actuation/ZqJointActuator.h"
#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqRandom.h"
#include "zqManipulator/foundation/geometry/ZqDataMap.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

template class ZqXmlClass<ZqJointActuatorRandomVariation>;
template class ZqXmlClass<ZqLinkKinematicsRandomVariation>;
template class ZqXmlClass<ZqMassPropertyRandomVariation>;
template class ZqXmlClass<ZqSurfacePropertyRandomVariation>;
template class ZqXmlVectorType<ZqSurfacePropertyRandomVariation>;
template class ZqXmlClass<ZqLinkPropertyRandomVariation>;

namespace
{
constexpr ZqReal degree = ZqMath::pi / 180.0;

/// From this on a number stands for the absence of a limit.
constexpr ZqReal noLimit = 1e300;

/// A number of the normal distribution that is folded back where it is further from the mean than a distance.
ZqReal drawWithin(ZqReal mean, ZqReal sigma, ZqReal distance)
{
   const ZqReal drawn = ZqRandom::normalRandom(mean, sigma);
   return std::abs(mean) < noLimit ? ZqRandom::folded(drawn, mean - distance, mean + distance)
                                   : mean;
}

struct Range
{
   ZqReal lower, upper;
};

/// Draws both ends, neither of them beyond the middle between them, and at most so far as tells a reach.
template <class Reach>
Range drawRange(const Range& range, ZqReal sigma, Reach reach)
{
   // The halves, so that the width of a range without limits is no overflow.
   const ZqReal half = std::max(0.5 * range.upper - 0.5 * range.lower, 0.0);
   const ZqReal lower = drawWithin(range.lower, sigma, std::min(half, reach(range.lower)));
   const ZqReal upper = drawWithin(range.upper, sigma, std::min(half, reach(range.upper)));
   // Rounding may have crossed them.
   return {lower, range.lower <= range.upper ? std::max(lower, upper) : upper};
}

const ZqString& springConstant()
{
   static const ZqString name(ZqFoundCommon::ZqSurfaceTensionSpringConstantToken.localName());
   return name;
}

const ZqString& damperConstant()
{
   static const ZqString name(ZqManip::ZqSurfaceTensionDamperConstantToken.localName());
   return name;
}

ZqReal valueOr(const ZqDataMap& surface, const ZqString& name, ZqReal fallback)
{
   surface.lookup(name, fallback);
   return fallback;
}
} // namespace

// Drives

ZqJointActuatorRandomVariation ZqJointActuatorRandomVariation::defaultObject()
{
   ZqJointActuatorRandomVariation result;
   result.m_torqueRandomVariation = 5.0;
   result.m_positionRandomVariation = 0.04;
   result.m_velocityRandomVariation = 0.08;
   return result;
}

void ZqJointActuatorRandomVariation::getPossibleJointActuator(const ZqJointActuator& in,
                                                              ZqJointActuator& out) const
{
   const auto anywhere = [](ZqReal) { return std::numeric_limits<ZqReal>::infinity(); };
   const auto upToZero = [](ZqReal value) { return std::abs(value); };
   const Range position =
      drawRange({in.lowerLimit(), in.upperLimit()}, m_positionRandomVariation, anywhere);
   const Range torque =
      drawRange({in.minTorque(), in.maxTorque()}, m_torqueRandomVariation, upToZero);
   const ZqReal rate =
      drawWithin(in.maxOutputRate(), m_velocityRandomVariation, std::abs(in.maxOutputRate()));
   if (&out != &in)
      out = in;
   // A drive without the part that has a limit rejects to set it.
   if (position.lower != out.lowerLimit())
      out.setLowerLimit(position.lower);
   if (position.upper != out.upperLimit())
      out.setUpperLimit(position.upper);
   if (torque.lower != out.minTorque())
      out.setMinTorque(torque.lower);
   if (torque.upper != out.maxTorque())
      out.setMaxTorque(torque.upper);
   if (rate != out.maxOutputRate())
      out.setMaxOutputRate(rate);
}

// Joints

ZqLinkKinematicsRandomVariation ZqLinkKinematicsRandomVariation::defaultObject()
{
   return {0.01, degree};
}

void ZqLinkKinematicsRandomVariation::getRandomLinkKinematicsOffset(
   ZqCoordinateSystemTransformation& offset) const
{
   const ZqReal distance = ZqRandom::normalRandom(0.0, m_translationRandomVariation);
   const ZqVector translation = ZqRandom::randomUnitVector() * distance;
   const ZqVector axis = ZqRandom::randomUnitVector();
   ZqOrientation rotation;
   rotation.setFromAngleAxis(ZqRandom::normalRandom(0.0, m_angleRandomVariation), axis);
   offset = {translation, rotation};
}

// Masses

ZqMassPropertyRandomVariation ZqMassPropertyRandomVariation::defaultObject()
{
   ZqMassPropertyRandomVariation result;
   result.m_massRandomVariation = 5.0;
   return result;
}

void ZqMassPropertyRandomVariation::getRandomMassProperty(const ZqRigidBodyMassProperties& in,
                                                          ZqRigidBodyMassProperties& out) const
{
   const ZqReal m = in.mass();
   const ZqReal s = m_massRandomVariation;
   const ZqReal drawn = m == 0.0 ? 0.0 : std::max(ZqRandom::normalRandom(m, s), 0.0);
   if (drawn == 0.0)
   {
      out = ZqRigidBodyMassProperties::nullObject();
      return;
   }
   const ZqSecondMoment I = in.secondMoment();
   const ZqReal k = s / ZqMath::sqrt(2.0 * m);
   ZqVector shift;
   shift.setX(ZqRandom::normalRandom(0.0, k * ZqMath::sqrt(I.zz() + I.yy() - I.xx())));
   shift.setY(ZqRandom::normalRandom(0.0, k * ZqMath::sqrt(I.zz() + I.xx() - I.yy())));
   shift.setZ(ZqRandom::normalRandom(0.0, k * ZqMath::sqrt(I.yy() + I.xx() - I.zz())));
   // The first moment of the drawn mass at the center that is moved: that of the body, where neither is.
   out.set(drawn, in.firstMoment() * (drawn / m) + shift * drawn, I, true);
}

void ZqMassPropertyRandomVariation::getPossibleMassProperty(const ZqRigidBodyMassProperties& in,
                                                            ZqRigidBodyMassProperties& out) const
{
   const ZqReal m = in.mass();
   const bool isBody = m > ZqRigidBodyMassProperties::smallestMass;
   const ZqReal s = isBody ? m_massRandomVariation : 0.0;
   const ZqReal drawn = std::max(drawWithin(m, s, m), ZqRigidBodyMassProperties::smallestMass);
   ZqVector center;
   in.getCenterOfMass(center);
   ZqRigidBodyMassProperties centered = in;
   centered.transformBy(center * -1.0);
   ZqSecondMoment I = centered.secondMoment();
   const ZqReal halfTrace = 0.5 * (I.xx() + I.yy() + I.zz());
   const auto shiftAlong = [&](ZqReal moment)
   {
      const ZqReal gyration = isBody ? ZqMath::sqrt((halfTrace - moment) / m) : 0.0;
      return drawWithin(0.0, gyration * (s / ZqMath::nonZeroPos(m)),
                        gyration * std::numbers::sqrt3);
   };
   ZqVector shift;
   shift.setX(shiftAlong(I.xx()));
   shift.setY(shiftAlong(I.yy()));
   shift.setZ(shiftAlong(I.zz()));
   const bool isPossible = in.isPossible();
   if (&out != &in)
      out = in;
   if (s == 0.0)
      return;
   I *= drawn / m;
   if (!isPossible)
      I.makeValid();
   out = ZqRigidBodyMassProperties(drawn, ZqVector(), I);
   out.transformBy(center + shift);
}

ZqReal ZqMassPropertyRandomVariation::diagonalDeviation(ZqReal a, ZqReal b) const
{
   const ZqReal a2 = a * a;
   const ZqReal b2 = b * b;
   return std::sqrt((2.0 * a2 * b2 + 3.0 * a2 * a2 + 3.0 * b2 * b2) / 35.0) * m_massRandomVariation;
}

ZqReal ZqMassPropertyRandomVariation::offDiagonalDeviation(ZqReal a, ZqReal b) const
{
   return a * m_massRandomVariation * b / std::sqrt(35.0);
}

// Surfaces

ZqSurfacePropertyRandomVariation ZqSurfacePropertyRandomVariation::defaultObject()
{
   ZqSurfacePropertyRandomVariation result;
   result.m_surfaceMaterial = "metal";
   result.m_tensionSpringConstantRandomVariation = 1000.0;
   result.m_tensionDamperConstantRandomVariation = 1.0;
   return result;
}

bool ZqSurfacePropertyRandomVariation::concerns(const ZqDataMap& surface) const
{
   ZqString material;
   surface.lookup(ZqString(ZqFoundCommon::ZqSurfaceMaterialTypeToken.localName()), material);
   return m_surfaceMaterial.empty() || m_surfaceMaterial == material;
}

void ZqSurfacePropertyRandomVariation::getRandomSurfaceProperty(const ZqDataMap& in,
                                                                ZqDataMap& out) const
{
   const ZqReal spring = valueOr(in, springConstant(), m_defaultSpringConstant);
   const ZqReal damper = valueOr(in, damperConstant(), m_defaultDamperConstant);
   if (&out != &in)
      out = in;
   out.add(springConstant(),
           ZqRandom::normalRandom(spring, m_tensionSpringConstantRandomVariation));
   out.add(damperConstant(),
           ZqRandom::normalRandom(damper, m_tensionDamperConstantRandomVariation));
}

void ZqSurfacePropertyRandomVariation::getPossibleSurfaceProperty(const ZqDataMap& in,
                                                                  ZqDataMap& out) const
{
   if (&out != &in)
      out = in;
   const auto draw = [&](const ZqString& name, ZqReal sigma, ZqReal fallback)
   {
      ZqReal mean = fallback;
      const bool isSet = out.lookup(name, mean);
      const ZqReal drawn = drawWithin(mean, sigma, std::abs(mean));
      if (isSet || (sigma > 0.0 && fallback > 0.0))
         out.add(name, drawn);
   };
   draw(springConstant(), m_tensionSpringConstantRandomVariation, m_defaultSpringConstant);
   draw(damperConstant(), m_tensionDamperConstantRandomVariation, m_defaultDamperConstant);
}

// Links

ZqLinkPropertyRandomVariation ZqLinkPropertyRandomVariation::defaultObject()
{
   ZqLinkPropertyRandomVariation result;
   result.m_linkKinematicsRandomVariation = ZqLinkKinematicsRandomVariation::defaultObject();
   result.m_massPropertyRandomVariation = ZqMassPropertyRandomVariation::defaultObject();
   result.m_jointActuatorRandomVariation = ZqJointActuatorRandomVariation::defaultObject();
   result.m_surfacePropertyRandomVariationVector.pushBack(
      ZqSurfacePropertyRandomVariation::defaultObject());
   return result;
}

bool ZqLinkPropertyRandomVariation::isExact() const
{
   return m_linkKinematicsRandomVariation == ZqLinkKinematicsRandomVariation() &&
          m_massPropertyRandomVariation == ZqMassPropertyRandomVariation() &&
          m_jointActuatorRandomVariation == ZqJointActuatorRandomVariation() &&
          std::all_of(m_surfacePropertyRandomVariationVector.begin(),
                      m_surfacePropertyRandomVariationVector.end(),
                      [](const ZqSurfacePropertyRandomVariation& surface)
                      { return surface.isExact(); });
}
