#pragma once

#include "zqManipulator/contact/friction/ZqDissipativeForceInput.h"
#include "zqManipulator/contact/friction/ZqDissipativeForceOutput.h"

/// How two bodies move on each other at the point where they touch: what all laws of friction begin with. In
/// the axes of the second body's primary frame, and where it says so, about its origin.
struct ZqContactMotion
{
   explicit ZqContactMotion(const ZqDissipativeForceInput& input);

   /// Sets the forces of the output: that on the second body from what it comes to about a point of it, and
   /// the opposite on the first.
   void apply(ZqGeneralForce force, const ZqVector& point, ZqDissipativeForceOutput& output) const;

   ZqCoordinateSystemTransformation X_21; ///< the first primary frame in the second
   ZqCoordinateSystemTransformation X_12;
   ZqGeneralMotion motion1;  ///< of the first body in the axes of its own primary frame
   ZqGeneralMotion motion2;  ///< of the second body
   ZqGeneralMotion rate;     ///< of the first body against the second, at the contact point
   ZqGeneralMotion lastRate; ///< in the step before
   ZqVector normal;          ///< of the contact
   ZqReal pressure;          ///< magnitude of the normal force (N)
};
