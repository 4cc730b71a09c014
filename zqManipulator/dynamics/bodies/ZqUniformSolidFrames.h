#pragma once

#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"

/// How the solids of shapes get to where the shapes are.
namespace zqUniformSolids
{
/// The shortest turn of z onto a unit vector; onto minus z half a turn about x, and for the zero vector none.
inline ZqOrientation zOnto(const ZqVector& u)
{
   const ZqVector z = ZqVector::zVector(1.0);
   const ZqVector axis = z.cross(u);
   if (axis == ZqVector() && u.z() < 0.0)
      return ZqOrientation::xRotation(ZqMath::pi);
   ZqOrientation q;
   q.setFromAngleAxis(ZqMath::acos(z.dot(u)), axis.unitVector());
   return q;
}

inline ZqOrientation zOnto(const ZqLineSegment& segment)
{
   return zOnto((segment.endpoint1() - segment.endpoint0()).unitVector());
}

/// The body, turned and then moved. A place that is not finite leaves a valid one, too.
inline ZqRigidBodyMassProperties placed(ZqRigidBodyMassProperties body, const ZqOrientation& q,
                                        const ZqVector& p)
{
   body.transformBy(q).transformBy(p).makeValid();
   return body;
}
} // namespace zqUniformSolids
