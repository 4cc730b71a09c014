#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyInertia.h"

#include "zqManipulator/dynamics/bodies/ZqInertiaKernels.h"
#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <array>
#include <cmath>
#include <limits>

template class ZqXmlClass<ZqArticulatedBodyInertia>;

using zqInertiaKernels::Articulated;
using zqInertiaKernels::Symmetric;

namespace
{
/// The vector v of a matrix [v x].
ZqVector crossProductVector(const ZqSpatialMatrix& C)
{
   return {C[2][1], C[0][2], C[1][0]};
}

bool hasFormOfRigidBody(const ZqSecondMoment& A, const ZqSpatialMatrix& C)
{
   return A.xx() == A.yy() && A.xx() == A.zz() && A.xy() == 0.0 && A.xz() == 0.0 && A.yz() == 0.0 &&
          C == ZqSpatialMatrix::crossProductMatrix(crossProductVector(C));
}

/// S - u a^T of a symmetric outer product.
Symmetric reduced(const ZqSecondMoment& S, const ZqVector& u, const ZqVector& a)
{
   Symmetric result = Symmetric::of(S);
   result.subtractOuterProduct(u, a);
   return result;
}

/// C - a n^T
ZqSpatialMatrix reduced(const ZqSpatialMatrix& C, const ZqVector& a, const ZqVector& n)
{
   return {C[0] - n * a.x(), C[1] - n * a.y(), C[2] - n * a.z()};
}

/// What is known of a joint once its child's inertia is: u = I s and d = s . u + j.
void applyToJoint(const ZqArticulatedBodyInertia& child, const ZqGeneralMotion& jointAxis,
                  ZqReal jointInertia, ZqGeneralForce& u, ZqReal& d)
{
   u = child.calculateForceSparse(jointAxis);
   d = u.moment().dot(jointAxis.angular()) + u.force().dot(jointAxis.linear()) + jointInertia;
}

/// The reciprocal, and zero for zero.
ZqReal inverseOrZero(ZqReal x)
{
   return x == 0.0 ? 0.0 : 1.0 / x;
}

using Array6 = std::array<std::array<ZqReal, 6>, 6>;

/// Solves M x = b for a symmetric M, of which the lower triangle is read, by M = W D W^T. A pivot
/// that is but rounding is dropped with its unknown, as in `ZqReArray::choleskyFactor`.
void solveSymmetric(Array6& M, std::array<ZqReal, 6>& x)
{
   constexpr ZqReal epsilon = std::numeric_limits<ZqReal>::epsilon();
   std::array<ZqReal, 6> diagonal;
   for (std::size_t k = 0; k < 6; ++k)
      diagonal[k] = M[k][k];
   std::array<ZqReal, 6> inverse;
   for (std::size_t k = 0; k < 6; ++k)
   {
      ZqReal pivot = M[k][k];
      if (!(pivot > 10.0 * static_cast<ZqReal>(k) * epsilon * diagonal[k]) || !std::isnormal(pivot))
         pivot = std::isfinite(pivot) ? 0.0 : std::numeric_limits<ZqReal>::quiet_NaN();
      inverse[k] = inverseOrZero(pivot);
      for (std::size_t i = k + 1; i < 6; ++i)
      {
         const ZqReal w = M[i][k] * inverse[k];
         for (std::size_t j = k + 1; j <= i; ++j)
            M[i][j] -= w * M[j][k];
      }
   }
   // Below the diagonal stands W D.
   for (std::size_t k = 0; k < 6; ++k)
   {
      const ZqReal y = x[k] * inverse[k];
      for (std::size_t i = k + 1; i < 6; ++i)
         x[i] -= M[i][k] * y;
      x[k] = y;
   }
   for (std::size_t k = 6; k-- > 0;)
      for (std::size_t i = k + 1; i < 6; ++i)
         x[k] -= M[i][k] * inverse[k] * x[i];
}
} // namespace

ZqArticulatedBodyInertia::ZqArticulatedBodyInertia(const ZqRigidBodyMassProperties& body)
{
   ZqArticulatedBodyInertia::setFromRigidBody(body);
}

bool ZqArticulatedBodyInertia::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlCompoundType::read(reader);
   if (m_isRigid && !hasFormOfRigidBody(m_linearMatrix, m_crossMatrix))
   {
      m_isRigid = false;
      if (succeeded)
         reader.remark("an inertia that is called rigid is not one of a rigid body", "odd-value");
   }
   return succeeded;
}

void ZqArticulatedBodyInertia::setFromRigidBody(const ZqRigidBodyMassProperties& body)
{
   const ZqReal m = body.mass();
   m_linearMatrix = ZqSecondMoment(m, m, m, 0.0, 0.0, 0.0);
   m_angularMatrix = body.secondMoment();
   m_crossMatrix = ZqSpatialMatrix::crossProductMatrix(-body.firstMoment());
   m_isRigid = true;
}

void ZqArticulatedBodyInertia::rotate(const ZqRotationMatrix& R) noexcept
{
   if (m_isRigid)
   {
      m_angularMatrix = Symmetric::of(m_angularMatrix).rotated(R);
      m_crossMatrix = ZqSpatialMatrix::crossProductMatrix(R * crossProductVector(m_crossMatrix));
      return;
   }
   Articulated body = plain();
   body.rotate(R);
   takePlain(body);
}

void ZqArticulatedBodyInertia::translate(const ZqVector& p) noexcept
{
   if (m_isRigid)
   {
      Symmetric B = Symmetric::of(m_angularMatrix);
      const ZqReal m = m_linearMatrix.xx();
      const ZqVector h = -crossProductVector(m_crossMatrix);
      B.moveBody(m, h, p);
      m_angularMatrix = B;
      m_crossMatrix = ZqSpatialMatrix::crossProductMatrix(-(h + p * m));
      return;
   }
   Articulated body = plain();
   body.translate(p);
   takePlain(body);
}

/// The matrices as plain numbers, and back.
inline Articulated ZqArticulatedBodyInertia::plain() const noexcept
{
   return {Symmetric::of(m_linearMatrix),
           Symmetric::of(m_angularMatrix),
           {m_crossMatrix[0], m_crossMatrix[1], m_crossMatrix[2]}};
}

inline void ZqArticulatedBodyInertia::takePlain(const Articulated& body) noexcept
{
   m_linearMatrix = body.A;
   m_angularMatrix = body.B;
   m_crossMatrix = {body.C[0], body.C[1], body.C[2]};
}

void ZqArticulatedBodyInertia::transformBy(const ZqVector& p)
{
   translate(p);
}

void ZqArticulatedBodyInertia::transformBy(const ZqOrientation& orientation)
{
   rotate(ZqRotationMatrix(orientation));
}

void ZqArticulatedBodyInertia::transformBy(const ZqRotationMatrix& R, const ZqVector& p) noexcept
{
   rotate(R);
   translate(p);
}

void ZqArticulatedBodyInertia::transformBy(const ZqCoordinateSystemTransformation& X)
{
   if (zqInertiaKernels::hasRotation(X))
      rotate(ZqRotationMatrix(X.orientation()));
   if (zqInertiaKernels::hasTranslation(X))
      translate(X.translation());
}

void ZqArticulatedBodyInertia::transformBy2(const ZqCoordinateSystemTransformation& X)
{
   ZqSpatialMatrix R;
   R.setToDcm(X.orientation());
   const ZqSpatialMatrix RT = R.transpose();
   const ZqSpatialMatrix P = ZqSpatialMatrix::crossProductMatrix(X.translation());
   const ZqSpatialMatrix A = R * m_linearMatrix.matrix() * RT;
   const ZqSpatialMatrix B = R * m_angularMatrix.matrix() * RT;
   const ZqSpatialMatrix C = R * m_crossMatrix * RT;
   m_angularMatrix = ZqSecondMoment::fromMatrix(B + P * C - C.transpose() * P - P * A * P);
   m_crossMatrix = C - A * P;
   m_linearMatrix = ZqSecondMoment::fromMatrix(A);
}

void ZqArticulatedBodyInertia::joinWith(const ZqArticulatedBodyInertia& child,
                                        const ZqGeneralMotion& jointAxis,
                                        const ZqReal& jointInertia, ZqGeneralForce& u, ZqReal& d)
{
   applyToJoint(child, jointAxis, jointInertia, u, d);
   const ZqReal w = inverseOrZero(d);
   const ZqVector a = u.force() * w;
   m_linearMatrix += reduced(child.m_linearMatrix, u.force(), a);
   m_angularMatrix += reduced(child.m_angularMatrix, u.moment(), u.moment() * w);
   m_crossMatrix += reduced(child.m_crossMatrix, a, u.moment());
   m_isRigid = false;
}

void ZqArticulatedBodyInertia::joinWith(const ZqArticulatedBodyInertia& child,
                                        const ZqGeneralMotion& jointAxis,
                                        const ZqReal& jointInertia)
{
   ZqGeneralForce u;
   ZqReal d = 0.0;
   joinWith(child, jointAxis, jointInertia, u, d);
}

void ZqArticulatedBodyInertia::joinWith(const ZqArticulatedBodyInertia& child,
                                        const ZqGeneralMotion& jointAxis, ZqReal jointInertia,
                                        const ZqRotationMatrix& R, const ZqVector& p,
                                        ZqGeneralForce& u, ZqReal& d) noexcept
{
   applyToJoint(child, jointAxis, jointInertia, u, d);
   const ZqReal w = inverseOrZero(d);
   const ZqVector a = u.force() * w;
   Articulated body = child.plain();
   body.A.subtractOuterProduct(u.force(), a);
   body.B.subtractOuterProduct(u.moment(), u.moment() * w);
   body.C[0] -= u.moment() * a.x();
   body.C[1] -= u.moment() * a.y();
   body.C[2] -= u.moment() * a.z();
   body.rotate(R);
   body.translate(p);
   m_linearMatrix += body.A;
   m_angularMatrix += body.B;
   m_crossMatrix += ZqSpatialMatrix(body.C[0], body.C[1], body.C[2]);
   m_isRigid = false;
}

void ZqArticulatedBodyInertia::setToTransformedValue(const ZqArticulatedBodyInertia& child,
                                                     const ZqGeneralMotion& jointAxis,
                                                     const ZqReal& jointInertia, ZqGeneralForce& u,
                                                     ZqReal& d)
{
   applyToJoint(child, jointAxis, jointInertia, u, d);
   const ZqReal w = inverseOrZero(d);
   const ZqVector a = u.force() * w;
   m_linearMatrix = reduced(child.m_linearMatrix, u.force(), a);
   m_angularMatrix = reduced(child.m_angularMatrix, u.moment(), u.moment() * w);
   m_crossMatrix = reduced(child.m_crossMatrix, a, u.moment());
   m_isRigid = false;
}

ZqGeneralForce ZqArticulatedBodyInertia::calculateForce(const ZqGeneralMotion& acceleration) const
{
   const ZqSpatialMatrix& C = m_crossMatrix;
   const ZqVector& linear = acceleration.linear();
   const ZqVector& angular = acceleration.angular();
   if (!m_isRigid)
      return {m_linearMatrix * linear + C * angular,
              C.transposeTimes(linear) + m_angularMatrix * angular};
   const ZqVector f(
      m_linearMatrix.xx() * linear.x() + C[0][1] * angular.y() + C[0][2] * angular.z(),
      m_linearMatrix.yy() * linear.y() + C[1][0] * angular.x() + C[1][2] * angular.z(),
      m_linearMatrix.zz() * linear.z() + C[2][0] * angular.x() + C[2][1] * angular.y());
   const ZqVector n(C[1][0] * linear.y() + C[2][0] * linear.z(),
                    C[0][1] * linear.x() + C[2][1] * linear.z(),
                    C[0][2] * linear.x() + C[1][2] * linear.y());
   return {f, n + m_angularMatrix * angular};
}

ZqGeneralForce
ZqArticulatedBodyInertia::calculateForceSparse(const ZqGeneralMotion& acceleration) const
{
   const Symmetric A = Symmetric::of(m_linearMatrix);
   const Symmetric B = Symmetric::of(m_angularMatrix);
   const ZqSpatialMatrix& C = m_crossMatrix;
   const ZqVector& linear = acceleration.linear();
   const ZqVector& angular = acceleration.angular();
   ZqVector f;
   ZqVector n;
   const auto add = [&](ZqReal component, const ZqVector& force, const ZqVector& moment)
   {
      if (component != 0.0)
      {
         f += force * component;
         n += moment * component;
      }
   };
   if (m_isRigid)
   {
      add(linear.x(), {A.xx, 0.0, 0.0}, {0.0, C[0][1], C[0][2]});
      add(linear.y(), {0.0, A.yy, 0.0}, {C[1][0], 0.0, C[1][2]});
      add(linear.z(), {0.0, 0.0, A.zz}, {C[2][0], C[2][1], 0.0});
      add(angular.x(), {0.0, C[1][0], C[2][0]}, {B.xx, B.xy, B.xz});
      add(angular.y(), {C[0][1], 0.0, C[2][1]}, {B.xy, B.yy, B.yz});
      add(angular.z(), {C[0][2], C[1][2], 0.0}, {B.xz, B.yz, B.zz});
   }
   else
   {
      add(linear.x(), {A.xx, A.xy, A.xz}, C[0]);
      add(linear.y(), {A.xy, A.yy, A.yz}, C[1]);
      add(linear.z(), {A.xz, A.yz, A.zz}, C[2]);
      add(angular.x(), C.column(0), {B.xx, B.xy, B.xz});
      add(angular.y(), C.column(1), {B.xy, B.yy, B.yz});
      add(angular.z(), C.column(2), {B.xz, B.yz, B.zz});
   }
   return {f, n};
}

ZqGeneralMotion ZqArticulatedBodyInertia::calculateAcceleration(const ZqGeneralForce& force) const
{
   const Symmetric A = Symmetric::of(m_linearMatrix);
   const Symmetric B = Symmetric::of(m_angularMatrix);
   const ZqSpatialMatrix& C = m_crossMatrix;
   Array6 M{{{A.xx},
             {A.xy, A.yy},
             {A.xz, A.yz, A.zz},
             {C[0][0], C[1][0], C[2][0], B.xx},
             {C[0][1], C[1][1], C[2][1], B.xy, B.yy},
             {C[0][2], C[1][2], C[2][2], B.xz, B.yz, B.zz}}};
   std::array<ZqReal, 6> x{force[0], force[1], force[2], force[3], force[4], force[5]};
   solveSymmetric(M, x);
   return {{x[0], x[1], x[2]}, {x[3], x[4], x[5]}};
}

void ZqArticulatedBodyInertia::setFromArray(const ZqReArray& array)
{
   if (array.rows() < 6 || array.columns() < 6)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqArticulatedBodyInertia::setFromArray(): array of %u x %u is not 6 x 6.\n",
         array.rows(), array.columns());
      return;
   }
   const auto diagonalBlock = [&array](std::size_t i) -> ZqSecondMoment
   {
      return {array[i][i],     array[i + 1][i + 1], array[i + 2][i + 2],
              array[i][i + 1], array[i][i + 2],     array[i + 1][i + 2]};
   };
   const auto crossRow = [&array](std::size_t i) -> ZqVector {
      return {array[i][3], array[i][4], array[i][5]};
   };
   set(diagonalBlock(0), diagonalBlock(3), {crossRow(0), crossRow(1), crossRow(2)});
}

void ZqArticulatedBodyInertia::getArray(ZqReArray& array) const
{
   array.resize(6, 6);
   const ZqSpatialMatrix A = m_linearMatrix.matrix();
   const ZqSpatialMatrix B = m_angularMatrix.matrix();
   for (std::size_t i = 0; i < 3; ++i)
      for (std::size_t j = 0; j < 3; ++j)
      {
         array[i][j] = A[i][j];
         array[i][j + 3] = array[j + 3][i] = m_crossMatrix[i][j];
         array[i + 3][j + 3] = B[i][j];
      }
}

bool ZqArticulatedBodyInertia::approxEq(const ZqArticulatedBodyInertia& other,
                                        ZqReal tolerance) const
{
   return m_linearMatrix.approxEq(other.m_linearMatrix, tolerance) &&
          m_angularMatrix.approxEq(other.m_angularMatrix, tolerance) &&
          m_crossMatrix.approxEq(other.m_crossMatrix, tolerance);
}
