#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"

#include "zqManipulator/dynamics/bodies/ZqInertiaKernels.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqValueText.h"
#include "zqManipulator/foundation/geometry/ZqEllipsoid.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>
#include <sstream>

template class ZqXmlClass<ZqRigidBodyMassProperties>;

using zqInertiaKernels::Symmetric;

namespace
{
bool isValidMass(ZqReal mass)
{
   return mass >= ZqRigidBodyMassProperties::smallestMass && std::isfinite(mass);
}
} // namespace

ZqRigidBodyMassProperties::ZqRigidBodyMassProperties(const ZqNonNegReal& mass,
                                                     const ZqVector& firstMoment,
                                                     const ZqSecondMoment& secondMoment)
   : m_mass(mass), m_firstMoment(firstMoment), m_secondMoment(secondMoment)
{
   ZqRigidBodyMassProperties::makeValid();
}

bool ZqRigidBodyMassProperties::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlCompoundType::read(reader);
   const ZqRigidBodyMassProperties before(*this);
   makeValid();
   m_choleskyIsValid.lower();
   if (succeeded && !(before.m_mass == m_mass))
      reader.remark("the mass of a body is below 1e-9 and was set to that", "mass-repaired");
   if (succeeded && !(before.m_firstMoment == m_firstMoment))
      reader.remark("the first moment of a body is not finite and was set to zero",
                    "mass-repaired");
   if (succeeded && !(before.m_secondMoment == m_secondMoment))
      reader.remark("no body can have this second moment; it was replaced by the nearest possible",
                    "mass-repaired");
   return succeeded;
}

ZqRigidBodyMassProperties ZqRigidBodyMassProperties::nullObject()
{
   return {0.0, ZqVector(), ZqSecondMoment::nullObject()};
}

ZqRigidBodyMassProperties ZqRigidBodyMassProperties::defaultObject()
{
   return {1.5, ZqVector(1.0, 2.0, 3.0), ZqSecondMoment(3.0, 4.0, 5.0, 0.1, 0.2, 0.3)};
}

ZqRigidBodyMassProperties ZqRigidBodyMassProperties::pointMass(ZqReal mass)
{
   return {mass, ZqVector(), ZqSecondMoment()};
}

ZqRigidBodyMassProperties
ZqRigidBodyMassProperties::operator+(const ZqRigidBodyMassProperties& other) const
{
   return {m_mass + other.m_mass, m_firstMoment + other.m_firstMoment,
           m_secondMoment + other.m_secondMoment};
}

ZqRigidBodyMassProperties
ZqRigidBodyMassProperties::operator-(const ZqRigidBodyMassProperties& other) const
{
   return {m_mass - other.m_mass, m_firstMoment - other.m_firstMoment,
           m_secondMoment - other.m_secondMoment};
}

ZqRigidBodyMassProperties& ZqRigidBodyMassProperties::transformBy(const ZqVector& p)
{
   Symmetric I = Symmetric::of(m_secondMoment);
   I.moveBody(m_mass, m_firstMoment, p);
   m_secondMoment = I;
   m_firstMoment += p * m_mass;
   clearCaches();
   return *this;
}

ZqRigidBodyMassProperties& ZqRigidBodyMassProperties::transformBy(const ZqOrientation& orientation)
{
   const ZqRotationMatrix R(orientation);
   m_firstMoment = R * m_firstMoment;
   m_secondMoment = Symmetric::of(m_secondMoment).rotated(R);
   clearCaches();
   return *this;
}

ZqRigidBodyMassProperties& ZqRigidBodyMassProperties::transformBy(const ZqRotationMatrix& R,
                                                                  const ZqVector& p) noexcept
{
   const ZqVector h = R * m_firstMoment;
   Symmetric I = Symmetric::of(m_secondMoment).rotated(R);
   I.moveBody(m_mass, h, p);
   m_secondMoment = I;
   m_firstMoment = h + p * m_mass;
   clearCaches();
   return *this;
}

void ZqRigidBodyMassProperties::add(const ZqRigidBodyMassProperties& body,
                                    const ZqRotationMatrix& R, const ZqVector& p) noexcept
{
   const ZqReal m = body.m_mass;
   const ZqVector h = R * body.m_firstMoment;
   Symmetric I = Symmetric::of(body.m_secondMoment).rotated(R);
   I.moveBody(m, h, p);
   m_mass = m_mass + m;
   m_firstMoment += h + p * m;
   m_secondMoment += I;
   clearCaches();
}

ZqRigidBodyMassProperties&
ZqRigidBodyMassProperties::transformBy(const ZqCoordinateSystemTransformation& X)
{
   if (zqInertiaKernels::hasRotation(X))
      return transformBy(ZqRotationMatrix(X.orientation()), X.translation());
   return transformBy(X.translation());
}

ZqGeneralMotion ZqRigidBodyMassProperties::calculateAcceleration(const ZqGeneralForce& force) const
{
   constexpr ZqReal smallestPivot = 1e-300;
   const ZqReal* const L = spatialCholeskyDecomposition().data();
   // The reciprocals do not wait for one another, as quotients would.
   std::array<ZqReal, 6> forward;
   std::array<ZqReal, 6> backward;
   for (std::size_t i = 0; i < 6; ++i)
   {
      backward[i] = 1.0 / std::max(L[7 * i], smallestPivot);
      forward[i] = i < 3 ? 1.0 / ZqMath::nonZeroPos(L[7 * i]) : backward[i];
   }
   std::array<ZqReal, 6> a;
   // L y = F, where the first three rows of L are diagonal.
   for (std::size_t i = 0; i < 3; ++i)
      a[i] = force.force()[i] * forward[i];
   for (std::size_t i = 3; i < 6; ++i)
   {
      ZqReal sum = 0.0;
      for (std::size_t j = 0; j < i; ++j)
         sum += L[6 * i + j] * a[j];
      a[i] = (force.moment()[i - 3] - sum) * forward[i];
   }
   // L^T a = y.
   for (std::size_t i = 6; i-- > 0;)
   {
      ZqReal sum = 0.0;
      for (std::size_t j = std::max<std::size_t>(i + 1, 3); j < 6; ++j)
         sum += L[6 * j + i] * a[j];
      a[i] = (a[i] - sum) * backward[i];
   }
   return {{a[0], a[1], a[2]}, {a[3], a[4], a[5]}};
}

ZqGeneralMotion ZqRigidBodyMassProperties::calculateAcceleration(const ZqGeneralMotion& velocity,
                                                                 const ZqGeneralForce& force) const
{
   const ZqVector& omega = velocity.angular();
   const ZqGeneralForce bias(-omega.cross(m_firstMoment.cross(omega)),
                             omega.cross(m_secondMoment * omega));
   return calculateAcceleration(force - bias);
}

const ZqSpatialMatrix& ZqRigidBodyMassProperties::invSecondMoment() const
{
   m_inverseIsValid.ensure([this] { computeSecondMomentInverse(); });
   return m_inverseSecondMoment;
}

void ZqRigidBodyMassProperties::computeSecondMomentInverse() const
{
   m_inverseSecondMoment = m_secondMoment.matrix().inverse();
}

void ZqRigidBodyMassProperties::set(ZqNonNegReal mass, const ZqVector& firstMoment,
                                    const ZqSecondMoment& secondMoment, bool validate)
{
   m_mass = mass;
   m_firstMoment = firstMoment;
   m_secondMoment = secondMoment;
   if (validate)
      makeValid();
   m_choleskyIsValid.lower();
}

void ZqRigidBodyMassProperties::getCenterOfMass(ZqVector& center) const
{
   center = m_mass == 0.0 ? ZqVector() : m_firstMoment * (1.0 / m_mass);
}

bool ZqRigidBodyMassProperties::getPrincipalFrame(ZqCoordinateSystemTransformation& frame) const
{
   ZqVector center;
   getCenterOfMass(center);
   ZqRigidBodyMassProperties centered(*this);
   centered.transformBy(-center);
   ZqVector moments;
   ZqOrientation axes;
   centered.m_secondMoment.principalAxes(moments, axes);
   frame = {center, axes};
   return true;
}

bool ZqRigidBodyMassProperties::isValid() const
{
   return isValidMass(m_mass) && m_secondMoment.isValid();
}

bool ZqRigidBodyMassProperties::getPrincipalMoments(ZqVector& moments) const
{
   ZqVector center;
   getCenterOfMass(center);
   ZqRigidBodyMassProperties centered(*this);
   centered.transformBy(-center);
   ZqOrientation axes;
   return centered.m_secondMoment.principalAxes(moments, axes);
}

bool ZqRigidBodyMassProperties::isPossible(ZqReal tolerance) const
{
   if (!(m_mass > 0.0))
      return m_mass == 0.0 && m_firstMoment == ZqVector() && m_secondMoment == ZqSecondMoment();
   ZqVector moments;
   if (!std::isfinite(m_mass) || !getPrincipalMoments(moments))
      return false;
   const ZqSecondMoment& I = m_secondMoment;
   const ZqReal least = -tolerance * (I.xx() + I.yy() + I.zz());
   // The moments ascend: where the last is borne by the others, none is negative.
   return moments.x() + moments.y() - moments.z() >= least;
}

const ZqReArray& ZqRigidBodyMassProperties::spatialCholeskyDecomposition() const
{
   m_choleskyIsValid.ensure([this] { computeCholeskyDecomposition(); });
   return m_cholesky;
}

void ZqRigidBodyMassProperties::computeCholeskyDecomposition() const
{
   const ZqVector& h = m_firstMoment;
   const ZqReal s = std::sqrt(m_mass);
   const ZqReal r = 1.0 / ZqMath::nonZeroPos(s);
   const ZqReal w = 1.0 / ZqMath::nonZeroPos(m_mass);

   // The Schur complement of the linear block is the second moment about the center of mass.
   ZqSpatialMatrix S = ZqSpatialMatrix::crossProductMatrix(h * w);
   S.multiplyOnLeftByCrossProductMatrix(h);
   S += m_secondMoment.matrix();
   S.choleskyDecomposition(S);

   m_cholesky.setToZeros(6, 6);
   const ZqSpatialMatrix lowerLeft = ZqSpatialMatrix::crossProductMatrix(h * r);
   for (std::size_t i = 0; i < 3; ++i)
   {
      m_cholesky[i][i] = s;
      for (std::size_t j = 0; j < 3; ++j)
      {
         m_cholesky[i + 3][j] = lowerLeft[i][j];
         m_cholesky[i + 3][j + 3] = S[i][j];
      }
   }
}

void ZqRigidBodyMassProperties::getArray(ZqReArray& array) const
{
   array.setToZeros(6, 6);
   const ZqSpatialMatrix crossed = ZqSpatialMatrix::crossProductMatrix(m_firstMoment);
   const ZqSpatialMatrix I = m_secondMoment.matrix();
   for (std::size_t i = 0; i < 3; ++i)
   {
      array[i][i] = m_mass;
      for (std::size_t j = 0; j < 3; ++j)
      {
         array[i][j + 3] = -crossed[i][j];
         array[i + 3][j] = crossed[i][j];
         array[i + 3][j + 3] = I[i][j];
      }
   }
}

bool ZqRigidBodyMassProperties::approxEq(const ZqRigidBodyMassProperties& other,
                                         ZqReal tolerance) const
{
   return m_mass <= other.m_mass + tolerance && other.m_mass <= m_mass + tolerance &&
          m_firstMoment.approxEq(other.m_firstMoment, tolerance) &&
          m_secondMoment.approxEq(other.m_secondMoment, tolerance);
}

void ZqRigidBodyMassProperties::scaleBy(ZqReal factor)
{
   const ZqReal cube = factor * factor * factor;
   m_mass *= cube;
   m_firstMoment *= cube * factor;
   m_secondMoment *= cube * factor * factor;
}

void ZqRigidBodyMassProperties::getEllipsoid(ZqEllipsoid& ellipsoid, ZqReal& density) const
{
   const ZqVector center = m_firstMoment * (1.0 / ZqMath::nonZeroPos(m_mass));
   ZqRigidBodyMassProperties centered(*this);
   centered.transformBy(-center);
   ZqCoordinateSystemTransformation frame;
   centered.getPrincipalFrame(frame);
   centered.transformBy(frame.orientation().inverse());

   // A uniform ellipsoid has the moments m (b^2 + c^2) / 5 and so on.
   const ZqSecondMoment& I = centered.m_secondMoment;
   const ZqReal g = 2.5 / ZqMath::nonZeroPos(m_mass);
   const auto semiAxis = [](ZqReal squared)
   {
      constexpr ZqReal smallest = 1e-12;
      return squared > smallest ? std::sqrt(squared) : smallest;
   };
   ellipsoid = ZqEllipsoid(semiAxis((I.yy() - I.xx() + I.zz()) * g),
                           semiAxis((I.xx() - I.yy() + I.zz()) * g),
                           semiAxis((I.yy() + I.xx() - I.zz()) * g),
                           ZqCoordinateSystemTransformation(center, frame.orientation()));
   density = m_mass / ZqMath::nonZeroPos(ellipsoid.volume());
}

void ZqRigidBodyMassProperties::makeValid()
{
   if (!isValidMass(m_mass))
      m_mass = smallestMass;
   if (!(m_firstMoment - m_firstMoment == ZqVector()))
      m_firstMoment = ZqVector();
   // The test is about the origin, the repair about the center of mass.
   if (m_secondMoment.isValid())
      return;
   ZqVector center;
   getCenterOfMass(center);
   ZqRigidBodyMassProperties centered(*this);
   centered.transformBy(-center);
   centered.m_secondMoment.makeValid();
   centered.transformBy(center);
   centered.m_firstMoment = m_firstMoment;
   if (!centered.m_secondMoment.isValid())
   {
      // The center of mass is so far away that the moments about it overflow.
      centered.m_secondMoment = m_secondMoment;
      centered.m_secondMoment.makeValid();
   }
   *this = centered;
}

std::ostream& operator<<(std::ostream& stream, const ZqRigidBodyMassProperties& body)
{
   std::ostringstream secondMoment;
   secondMoment << body.secondMoment();
   return stream << ZqValueText::record({{"mass", ZqValueText::number(body.mass())},
                                         {"firstMoment", ZqValueText::tuple(body.firstMoment())},
                                         {"secondMoment", secondMoment.str()}});
}
