#include "zqManipulator/foundation/algebra/ZqOrientation.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"

#include <cmath>
#include <limits>

namespace
{
ZqReal normSquared(const ZqOrientation& q)
{
   return q.w() * q.w() + q.vectorPart().magSquared();
}

ZqOrientation weightedSum(ZqReal a, const ZqOrientation& p, ZqReal b, const ZqOrientation& q)
{
   return {a * p.w() + b * q.w(), a * p.x() + b * q.x(), a * p.y() + b * q.y(),
           a * p.z() + b * q.z()};
}

ZqOrientation scaled(const ZqOrientation& q, ZqReal factor)
{
   return {q.w() * factor, q.x() * factor, q.y() * factor, q.z() * factor};
}
} // namespace

ZqOrientation ZqOrientation::xRotation(ZqReal angle) noexcept
{
   const ZqMath::CosineSine half = ZqMath::cosineSine(0.5 * angle);
   return {half.cosine, half.sine, 0.0, 0.0};
}

ZqOrientation ZqOrientation::yRotation(ZqReal angle) noexcept
{
   const ZqMath::CosineSine half = ZqMath::cosineSine(0.5 * angle);
   return {half.cosine, 0.0, half.sine, 0.0};
}

ZqOrientation ZqOrientation::zRotation(ZqReal angle) noexcept
{
   const ZqMath::CosineSine half = ZqMath::cosineSine(0.5 * angle);
   return {half.cosine, 0.0, 0.0, half.sine};
}

void ZqOrientation::setFromAngleAxis(ZqReal angle, const ZqVector& axis) noexcept
{
   const ZqVector unit = axis.unitVector();
   if (unit == ZqVector::zeroVector())
   {
      setToIdentity();
      return;
   }
   const ZqMath::CosineSine half = ZqMath::cosineSine(0.5 * angle);
   const ZqVector u = unit * half.sine;
   set(half.cosine, u.x(), u.y(), u.z());
}

void ZqOrientation::getAngleAxis(ZqReal& angle, ZqVector& axis) const noexcept
{
   // Of the two signs the one with w >= 0 turns by pi at most. The arc tangent of the two parts is
   // accurate at both ends, where the arc cosine of w or the arc sine of |u| lose half the digits.
   const ZqVector u = std::signbit(w()) ? -vectorPart() : vectorPart();
   angle = 2.0 * std::atan2(u.mag(), std::abs(w()));
   axis = u == ZqVector::zeroVector() ? ZqVector::zVector(1.0) : u.unitVector();
}

void ZqOrientation::setFromDcmColumns(const ZqVector& x, const ZqVector& y,
                                      const ZqVector& z) noexcept
{
   // Four times each squared component follows from the diagonal. The largest of them is at least
   // one, so that dividing by it is harmless; the others follow from the off-diagonal elements.
   const ZqReal trace = x.x() + y.y() + z.z();
   const ZqReal differenceX = y.z() - z.y();
   const ZqReal differenceY = z.x() - x.z();
   const ZqReal differenceZ = x.y() - y.x();
   const ZqReal sumXY = x.y() + y.x();
   const ZqReal sumXZ = x.z() + z.x();
   const ZqReal sumYZ = y.z() + z.y();
   if (trace >= x.x() && trace >= y.y() && trace >= z.z())
      set(1.0 + trace, differenceX, differenceY, differenceZ);
   else if (x.x() >= y.y() && x.x() >= z.z())
      set(differenceX, 1.0 + x.x() - y.y() - z.z(), sumXY, sumXZ);
   else if (y.y() >= z.z())
      set(differenceY, sumXY, 1.0 - x.x() + y.y() - z.z(), sumYZ);
   else
      set(differenceZ, sumXZ, sumYZ, 1.0 - x.x() - y.y() + z.z());
   normalize();
}

ZqOrientation ZqOrientation::scaledToUnitLength(ZqOrientation q, ZqReal squared) noexcept
{
   if (squared > 1e-280 && squared < 1e280)
      return scaled(q, 1.0 / std::sqrt(squared));

   // Rare: the square may have overflowed or underflowed, so the largest component is divided out.
   const ZqReal largest =
      std::max({std::abs(q.w()), std::abs(q.x()), std::abs(q.y()), std::abs(q.z())});
   if (std::isnan(squared) || std::isinf(largest))
   {
      constexpr ZqReal nan = std::numeric_limits<ZqReal>::quiet_NaN();
      return {nan, nan, nan, nan};
   }
   q = {q.w() / largest, q.x() / largest, q.y() / largest, q.z() / largest};
   return scaled(q, 1.0 / std::sqrt(normSquared(q)));
}

ZqOrientation ZqOrientation::exponential(const ZqVector& rotationVector) noexcept
{
   // Below this the series, cut after the fourth term, is exact to double precision.
   constexpr ZqReal seriesLimit = 1e-4;

   const ZqReal s = rotationVector.magSquared();
   ZqReal cosine = 0.0;
   ZqReal sineOverAngle = 0.0;
   if (s < seriesLimit)
   {
      cosine = 1.0 - s * (1.0 / 8.0 - s * (1.0 / 384.0 - s / 46080.0));
      sineOverAngle = 0.5 - s * (1.0 / 48.0 - s * (1.0 / 3840.0 - s / 645120.0));
   }
   else
   {
      const ZqReal angle = rotationVector.mag(); // whose square may have overflowed
      const ZqMath::CosineSine half = ZqMath::cosineSine(0.5 * angle);
      cosine = half.cosine;
      sineOverAngle = half.sine / angle;
   }
   const ZqVector u = rotationVector * sineOverAngle;
   return {cosine, u.x(), u.y(), u.z()};
}

ZqVector ZqOrientation::logarithm() const noexcept
{
   ZqReal angle = 0.0;
   ZqVector axis;
   getAngleAxis(angle, axis);
   return axis * angle;
}

ZqOrientation ZqOrientation::slerp(const ZqOrientation& from, const ZqOrientation& to,
                                   ZqReal fraction) noexcept
{
   // The sign of `to` that lies on the same side makes the arc the shorter one.
   const ZqReal cosine = from.w() * to.w() + from.vectorPart().dot(to.vectorPart());
   const ZqOrientation end = cosine < 0.0 ? -to : to;

   // Half the arc from chord and sum keeps its accuracy for tiny arcs.
   const ZqReal chord = std::sqrt(normSquared(weightedSum(1.0, end, -1.0, from)));
   const ZqReal sum = std::sqrt(normSquared(weightedSum(1.0, end, 1.0, from)));
   const ZqReal arc = 2.0 * std::atan2(chord, sum);

   // A sine differs from its angle by less than rounding where the straight line is taken.
   ZqReal fromWeight = 1.0 - fraction;
   ZqReal toWeight = fraction;
   if (!(arc < 1e-8))
   {
      const ZqReal scale = 1.0 / ZqMath::cosineSine(arc).sine;
      fromWeight = ZqMath::cosineSine((1.0 - fraction) * arc).sine * scale;
      toWeight = ZqMath::cosineSine(fraction * arc).sine * scale;
   }
   ZqOrientation result = weightedSum(fromWeight, from, toWeight, end);
   result.normalize();
   return result;
}

void ZqOrientation::integrateReferenceFrameAngularVelocity(const ZqVector& omega,
                                                           ZqReal dt) noexcept
{
   *this = exponential(omega * dt) * *this;
   normalize();
}
