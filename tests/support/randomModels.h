#pragma once

#include "support/randomValues.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"

#include <array>
#include <cmath>

namespace zqTest
{
/// A random transformation of a mode; lengths up to the size.
inline ZqCoordinateSystemTransformation randomFrame(RandomValues& random, ZqU32 mode = 0,
                                                    ZqReal size = 2.0)
{
   const ZqVector p = random.vector(size);
   const ZqOrientation q = random.orientation();
   if (mode == ZqCoordinateSystemTransformation::RotationAndTranslation)
      return {p, q};
   if (mode == ZqCoordinateSystemTransformation::RotationOnly)
      return {q};
   if (mode == ZqCoordinateSystemTransformation::TranslationOnly)
      return {p};
   return {};
}

inline ZqGeneralMotion randomMotion(RandomValues& random)
{
   const ZqVector linear = random.vector();
   return {linear, random.vector()};
}
inline ZqGeneralForce randomForce(RandomValues& random)
{
   const ZqVector force = random.vector();
   return {force, random.vector()};
}

/// A random angle, every third one where formulas change their branch.
inline ZqReal randomAngle(RandomValues& random)
{
   static const std::array delicate{
      0.0, 1e-300,  -1e-17,    1e-8,       pi / 2,   -pi / 2,  std::nextafter(pi / 2, 4.0),
      pi,  -pi,     pi - 1e-9, -pi + 1e-9, 1.5 * pi, 2.0 * pi, std::nextafter(-pi / 2, -4.0),
      1e6, 3.0 * pi};
   if (random.index(0, 2) == 0)
      return delicate[random.index(0, static_cast<ZqU32>(delicate.size()) - 1)];
   return random.real(-pi, pi);
}

/// A random joint of a joint type and a D-H type, with precursor and primary frame.
inline ZqDenavitHartenberg randomJoint(RandomValues& random, ZqU32 jointType, ZqU32 dhType)
{
   ZqDenavitHartenberg joint;
   joint.setJointType(jointType);
   joint.setDhType(dhType);
   joint.setPrecursor(randomFrame(random, random.index(0, 3)));
   joint.setPrimaryFrame(randomFrame(random, random.index(0, 3)));
   joint.setDhA(random.real());
   joint.setDhD(random.real());
   joint.setDhAlpha(randomAngle(random));
   joint.setDhTheta(randomAngle(random));
   return joint;
}

/// A random joint of any joint type and D-H type.
inline ZqDenavitHartenberg randomJoint(RandomValues& random)
{
   const ZqU32 jointType = random.index(0, 1);
   return randomJoint(random, jointType, random.index(0, 4));
}

/// A homogeneous 4 x 4 matrix: a second way to compute frames, without quaternions and modes.
template <class Real>
class BasicReferenceFrame
{
public:
   using Matrix = std::array<std::array<Real, 4>, 4>;

   BasicReferenceFrame() { m[0][0] = m[1][1] = m[2][2] = m[3][3] = 1.0L; }
   explicit BasicReferenceFrame(const ZqCoordinateSystemTransformation& X)
   {
      // The length of the quaternion is divided out: a rounding of it is not part of the rotation.
      const ZqOrientation& o = X.orientation();
      const long double w = o.w();
      const long double x = o.x();
      const long double y = o.y();
      const long double z = o.z();
      const long double s = 2.0L / (w * w + x * x + y * y + z * z);
      m = {
         {{1 - s * (y * y + z * z), s * (x * y - w * z), s * (x * z + w * y), X.translation().x()},
          {s * (x * y + w * z), 1 - s * (x * x + z * z), s * (y * z - w * x), X.translation().y()},
          {s * (x * z - w * y), s * (y * z + w * x), 1 - s * (x * x + y * y), X.translation().z()},
          {0, 0, 0, 1}}};
   }
   static BasicReferenceFrame rotation(std::size_t axis, Real angle)
   {
      using std::cos;
      using std::sin;
      BasicReferenceFrame result;
      const std::size_t i = (axis + 1) % 3;
      const std::size_t j = (axis + 2) % 3;
      result.m[i][i] = result.m[j][j] = cos(angle);
      result.m[j][i] = sin(angle);
      result.m[i][j] = -result.m[j][i];
      return result;
   }
   static BasicReferenceFrame translation(std::size_t axis, Real distance)
   {
      BasicReferenceFrame result;
      result.m[axis][3] = distance;
      return result;
   }
   /// The transformation of a joint, from the table of the conventions.
   static BasicReferenceFrame ofJoint(const ZqDenavitHartenberg& joint, Real q)
   {
      const bool turns = joint.jointType() == ZqDenavitHartenberg::Rotational;
      const BasicReferenceFrame precursor(joint.precursor());
      const auto along = [&](Real theta, Real d) { return rotation(2, theta) * translation(2, d); };
      if (joint.dhType() == ZqDenavitHartenberg::General)
         return precursor * (turns ? along(q, 0) : along(0, q));
      const BasicReferenceFrame z =
         turns ? along(q, joint.dhD()) : along(ZqReal(joint.dhTheta()), q);
      const BasicReferenceFrame x =
         translation(0, joint.dhA()) * rotation(0, ZqReal(joint.dhAlpha()));
      const bool isPaul = joint.dhType() <= ZqDenavitHartenberg::GeneralPaul;
      const bool isPlain = joint.dhType() == ZqDenavitHartenberg::Paul ||
                           joint.dhType() == ZqDenavitHartenberg::Craig;
      return (isPlain ? BasicReferenceFrame() : precursor) * (isPaul ? z * x : x * z);
   }

   BasicReferenceFrame operator*(const BasicReferenceFrame& b) const
   {
      BasicReferenceFrame result;
      for (std::size_t i = 0; i < 4; ++i)
         for (std::size_t j = 0; j < 4; ++j)
         {
            result.m[i][j] = 0.0L;
            for (std::size_t k = 0; k < 4; ++k)
               result.m[i][j] += m[i][k] * b.m[k][j];
         }
      return result;
   }
   BasicReferenceFrame inverse() const
   {
      BasicReferenceFrame result;
      for (std::size_t i = 0; i < 3; ++i)
         for (std::size_t j = 0; j < 3; ++j)
         {
            result.m[i][j] = m[j][i];
            result.m[i][3] -= m[j][i] * m[j][3];
         }
      return result;
   }
   ZqVector operator*(const ZqVector& p) const
   {
      ZqVector result;
      for (std::size_t i = 0; i < 3; ++i)
         result[i] =
            static_cast<ZqReal>(m[i][0] * p.x() + m[i][1] * p.y() + m[i][2] * p.z() + m[i][3]);
      return result;
   }

   /// The largest difference of an element to a frame of the library.
   ZqReal difference(const ZqCoordinateSystemTransformation& X) const
   {
      const BasicReferenceFrame other(X);
      Real largest = 0.0L;
      for (std::size_t i = 0; i < 3; ++i)
         for (std::size_t j = 0; j < 4; ++j)
         {
            const Real d = std::abs(m[i][j] - other.m[i][j]);
            largest = d <= largest ? largest : d; // NaN goes through
         }
      return static_cast<ZqReal>(largest);
   }

   Matrix m = {};
};

/// In extended precision.
using ReferenceFrame = BasicReferenceFrame<long double>;

/// The deviation of a quaternion from unit length.
inline ZqReal lengthError(const ZqOrientation& q)
{
   const auto square = [](long double x) { return x * x; };
   return static_cast<ZqReal>(
      std::abs(std::sqrt(square(q.w()) + square(q.x()) + square(q.y()) + square(q.z())) - 1.0L));
}
} // namespace zqTest
