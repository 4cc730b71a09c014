#pragma once

#include "support/randomModels.h"
#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"

#include <vector>

namespace zqTest
{
/// M a by the numbers of a 6 x 6 array.
inline ZqGeneralForce product(const ZqReArray& M, const ZqGeneralMotion& a)
{
   ZqGeneralForce result;
   for (std::size_t i = 0; i < 6; ++i)
      for (std::size_t j = 0; j < 6; ++j)
         result.setScalarValue(i, result[i] + M[i][j] * a[j]);
   return result;
}

/// A rigid body as what it is made of: its inertia follows from Newton's law for each point.
struct PointMasses
{
   explicit PointMasses(RandomValues& random, ZqReal distance = 2.0, ZqReal size = 1.0)
   {
      const ZqVector center = random.vector(distance);
      for (int i = 0; i < 5; ++i)
         points.emplace_back(random.real(0.1, 3.0), center + random.vector(size));
   }

   ZqRigidBodyMassProperties body() const
   {
      ZqReal sum = 0.0;
      ZqVector h;
      ZqSpatialMatrix I;
      for (const auto& [m, r] : points)
      {
         const auto P = ZqSpatialMatrix::crossProductMatrix(r);
         sum += m;
         h += r * m;
         I -= P * P * m;
      }
      return {sum, h, ZqSecondMoment::fromMatrix(I)};
   }
   /// The force that gives the points the accelerations of a rigid body in this motion.
   ZqGeneralForce force(const ZqGeneralMotion& velocity, const ZqGeneralMotion& acceleration) const
   {
      ZqGeneralForce result;
      const ZqVector& w = velocity.angular();
      for (const auto& [m, r] : points)
      {
         const ZqVector inwards = w.cross(w.cross(r));
         const ZqVector f = (acceleration.linear() + acceleration.angular().cross(r) + inwards) * m;
         result += {f, r.cross(f)};
      }
      return result;
   }

   std::vector<std::pair<ZqReal, ZqVector>> points;
};
} // namespace zqTest
