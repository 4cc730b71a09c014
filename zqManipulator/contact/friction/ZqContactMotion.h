#pragma once

#include "zqManipulator/contact/friction/ZqDissipativeForceInput.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"

/// How two bodies move on each other at the point where they touch: what all laws of friction begin with. In
/// the axes of the second body's primary frame, and where it says so, about its origin.
struct ZqContactMotion
{
   explicit ZqContactMotion(const ZqDissipativeForceInput& input);

   /// Adds a force at a point of the second body, given about that point, to the force on that body, and the
   /// opposite to the force on the first.
   void apply(ZqGeneralForce force, const ZqVector& point, ZqGeneralForce& onBody1,
              ZqGeneralForce& onBody2) const;

   ZqCoordinateSystemTransformation X_21; ///< the first primary frame in the second
   ZqCoordinateSystemTransformation X_12;
   ZqGeneralMotion motion1;  ///< of the first body in its own primary axes
   ZqGeneralMotion motion2;  ///< of the second body in its own primary axes
   ZqGeneralMotion rate;     ///< of the first body against the second, at the contact point
   ZqGeneralMotion lastRate; ///< in the step before
   ZqVector normal;          ///< of the contact
   ZqReal pressure;          ///< magnitude of the normal force (N)
};
