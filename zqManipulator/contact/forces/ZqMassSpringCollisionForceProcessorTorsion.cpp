#include "zqManipulator/contact/forces/ZqMassSpringCollisionForceProcessor.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"

#include <array>
#include <numbers>

namespace
{
struct PatchBody
{
   const ZqContactRegion& region;
   const ZqCoordinateSystemTransformation& frame;
   const ZqGeneralMotion& velocity;

   /// In axes of the body.
   ZqGeneralMotion ownVelocity() const { return frame.orientation().inverse() * velocity; }
};

/// Points of the smaller patch against the plane of the other, in the frame of the smaller one.
struct PatchPair
{
   std::array<ZqVector, 8> points;
   ZqVector origin;      ///< of the plane
   ZqVector normal;      ///< of the contact, to the side that the plane faces
   ZqGeneralMotion rate; ///< of the smaller patch's body against the other
};

bool spreadsLess(const ZqContactRegion& a, const ZqContactRegion& b)
{
   const ZqReal sizeA = a.momentX() * a.momentY();
   const ZqReal sizeB = b.momentX() * b.momentY();
   return sizeA == 0.0 && sizeB == 0.0 ? a.momentX() < b.momentX() : sizeA < sizeB;
}

/// On an ellipse whose half axes are the roots of the moments.
std::array<ZqVector, 8> samplePoints(const ZqContactRegion& region)
{
   const ZqReal sx = ZqMath::sqrt(region.momentX());
   const ZqReal sy = ZqMath::sqrt(region.momentY());
   const ZqReal dx = sx / std::numbers::sqrt2;
   const ZqReal dy = sy / std::numbers::sqrt2;
   return {ZqVector(sx, 0.0, 0.0),  ZqVector(-sx, 0.0, 0.0), ZqVector(0.0, sy, 0.0),
           ZqVector(0.0, -sy, 0.0), ZqVector(dx, dy, 0.0),   ZqVector(dx, -dy, 0.0),
           ZqVector(-dx, dy, 0.0),  ZqVector(-dx, -dy, 0.0)};
}

/// The sum of springs and dampers at the points that lie behind the plane.
ZqGeneralForce pressureOn(const PatchPair& pair, ZqReal springConstant, ZqReal damperConstant)
{
   ZqGeneralForce sum;
   for (const ZqVector& point : pair.points)
   {
      const ZqReal depth = -(point - pair.origin).dot(pair.normal);
      if (!(depth > 0.0))
         continue;
      const ZqVector v = pair.rate.linear() + pair.rate.angular().cross(point);
      const ZqVector force =
         depth * springConstant * pair.normal - v.dot(pair.normal) * damperConstant * pair.normal;
      sum += ZqGeneralForce(force, point.cross(force));
   }
   return sum;
}
} // namespace

bool ZqMassSpringCollisionForceProcessor::computeTorsionalForceResponse(
   const ZqVector& normal, const ZqContactRegion& region1, const ZqContactRegion& region2,
   ZqReal springConstant, ZqReal damperConstant, const ZqGeneralMotion& velocity1,
   const ZqGeneralMotion& velocity2, const Frame& frame1, const Frame& frame2,
   ZqGeneralForce& force1, ZqGeneralForce& force2, ZqReal& ratio) const
{
   const std::array<PatchBody, 2> bodies{PatchBody{region1, frame1, velocity1},
                                         PatchBody{region2, frame2, velocity2}};
   const bool isSecondSmaller = spreadsLess(region2, region1);
   const PatchBody& a = bodies[isSecondSmaller ? 1 : 0];
   const PatchBody& b = bodies[isSecondSmaller ? 0 : 1];
   const Frame X_Ca = a.region.contactFrame().inverse();
   const Frame X_Cb = X_Ca * (a.frame.inverse() * b.frame);
   ZqContactRegion plane = b.region;
   plane.transformBy(X_Cb);

   force1 = ZqGeneralForce();
   force2 = ZqGeneralForce();
   ratio = 0.0;
   const ZqVector facing = plane.contactFrame().orientation().zAxis();
   if (!(facing.z() < 0.0))
      return true;
   ZqVector across = X_Cb.orientation() * (b.frame.orientation().inverse() * normal);
   if (facing.dot(across) < 0.0)
      across = -across;
   ratio = -facing.z() * facing.dot(across);

   const PatchPair pair{samplePoints(a.region), plane.contactFrame().translation(), across,
                        X_Ca * a.ownVelocity() - X_Cb * b.ownVelocity()};
   const ZqGeneralForce force = pressureOn(pair, springConstant, damperConstant) * (ratio * 0.125);
   (isSecondSmaller ? force2 : force1) = a.region.contactFrame() * force;
   (isSecondSmaller ? force1 : force2) = X_Cb.inverse() * -force;
   return true;
}
