#include "zqManipulator/contact/friction/ZqContactMotion.h"

ZqContactMotion::ZqContactMotion(const ZqDissipativeForceInput& input)
{
   const ZqCoordinateSystemTransformation& frame1 = input.primaryFrame1InSystem();
   const ZqCoordinateSystemTransformation& frame2 = input.primaryFrame2InSystem();
   const ZqOrientation toBody1 = frame1.orientation().inverse();
   const ZqOrientation toBody2 = frame2.orientation().inverse();
   X_21 = frame2.inverse() * frame1;
   X_12 = X_21.inverse();
   motion1 = toBody1 * input.body1Velocity();
   motion2 = toBody2 * input.body2Velocity();
   rate = X_21 * motion1 - motion2;
   lastRate = X_21 * (toBody1 * input.lastBody1Velocity()) - toBody2 * input.lastBody2Velocity();
   rate.transformBy(-input.currentCollisionPointInPrimary2());
   lastRate.transformBy(-input.currentCollisionPointInPrimary2());
   normal = toBody2 * input.collisionNormalInSystem();
   pressure = input.normalForceInSystem().mag();
}

void ZqContactMotion::apply(ZqGeneralForce force, const ZqVector& point,
                            ZqDissipativeForceOutput& output) const
{
   force.transformBy(point);
   output.setBody2ForcePrimary(force);
   output.setBody1ForcePrimary(X_12 * -force);
}
