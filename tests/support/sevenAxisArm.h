#pragma once

#include "support/randomManipulators.h"

namespace zqTest
{
/// An arm of seven joints with limits: shoulder and wrist are spherical, the elbow is off the line by a little, so
/// that no formula applies. The primary frame of the last link is the tool.
inline ZqIndividualManipulator sevenAxisArm()
{
   struct Row
   {
      ZqReal a, alpha, d, limit;
   };
   constexpr ZqReal right = ZqMath::pi / 2.0;
   static constexpr Row rows[] = {
      {0.0, 0.0, 0.31, 2.8},    {0.0, -right, 0.0, 1.9}, {0.0, right, 0.38, 2.8},
      {0.04, right, 0.0, 2.1},  {-0.04, -right, 0.36, 2.8}, {0.0, -right, 0.0, 2.0},
      {0.07, right, 0.0, 2.9}};
   ZqIndividualManipulator arm =
      makeManipulator(chain(7),
                      [](ZqU32 i)
                      {
                         ZqDenavitHartenberg joint;
                         joint.setDhType(ZqDenavitHartenberg::Craig);
                         joint.setDhA(rows[i].a);
                         joint.setDhAlpha(rows[i].alpha);
                         joint.setDhD(rows[i].d);
                         if (i == 6)
                            joint.setPrimaryFrame({ZqVector(0.0, 0.0, 0.14)});
                         ZqJointActuator drive = ZqJointActuator::defaultObject();
                         drive.setLowerLimit(-rows[i].limit);
                         drive.setUpperLimit(rows[i].limit);
                         ZqManipulatorLink link;
                         link.setLinkKinematics(joint);
                         link.setJointActuator(drive);
                         return link;
                      });
   arm.setIsFixedBase(true);
   return arm;
}
} // namespace zqTest
