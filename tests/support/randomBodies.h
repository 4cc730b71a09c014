#pragma once

#include "support/randomModels.h"
#include "zqManipulator/dynamics/ZqRigidBodyMassProperties.h"

#include <vector>

namespace zqTest
{
/// The 6 x 6 matrix that takes spatial forces, force first, to the frame that X maps into; its inverse
/// transposed does so for motions.
inline ZqReArray forceTransformation(const ZqCoordinateSystemTransformation& X)
{
   ZqReArray result(6, 6);
   for (std::size_t j = 0; j < 3; ++j)
   {
      const ZqVector axis(j == 0 ? 1.0 : 0.0, j == 1 ? 1.0 : 0.0, j == 2 ? 1.0 : 0.0);
      const ZqVector column = X.orientation() * axis;
      const ZqVector moment = X.translation().cross(column);
      for (std::size_t i = 0; i < 3; ++i)
      {
         result[i][j] = result[i + 3][j + 3] = column[i];
         result[i + 3][j] = moment[i];
      }
   }
   return result;
}

/// The spatial inertia M in the frame that X maps into.
inline ZqReArray transformed(const ZqReArray& M, const ZqCoordinateSystemTransformation& X)
{
   const ZqReArray F = forceTransformation(X);
   return F * M * F.transpose();
}

template <class SpatialVector>
ZqRealVector asColumn(const SpatialVector& v)
{
   return {v[0], v[1], v[2], v[3], v[4], v[5]};
}

/// A rigid body as what it is made of: its inertia follows from Newton's law for each point.
struct PointMasses
{
   struct Point
   {
      ZqReal mass;
      ZqVector place;
   };

   explicit PointMasses(RandomValues& random)
   {
      const ZqVector center = random.vector(2.0);
      for (int i = 0; i < 5; ++i)
         points.push_back({random.real(0.1, 3.0), center + random.vector()});
   }

   ZqRigidBodyMassProperties body() const
   {
      ZqReal m = 0.0;
      ZqVector h;
      ZqSpatialMatrix I;
      for (const Point& point : points)
      {
         const auto P = ZqSpatialMatrix::crossProductMatrix(point.place);
         m += point.mass;
         h += point.place * point.mass;
         I -= P * P * point.mass;
      }
      return {m, h, ZqSecondMoment::fromMatrix(I)};
   }
   void moveBy(const ZqCoordinateSystemTransformation& X)
   {
      for (Point& point : points)
         point.place = X * point.place;
   }
   /// The force that gives the points the accelerations of a rigid body in this motion.
   ZqGeneralForce force(const ZqGeneralMotion& velocity, const ZqGeneralMotion& acceleration) const
   {
      ZqGeneralForce result;
      for (const Point& point : points)
      {
         const ZqVector& w = velocity.angular();
         const ZqVector f = (acceleration.linear() + acceleration.angular().cross(point.place) +
                             w.cross(w.cross(point.place))) *
                            point.mass;
         result += {f, point.place.cross(f)};
      }
      return result;
   }

   std::vector<Point> points;
};
} // namespace zqTest
