#pragma once

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <limits>

/// The mass (kg) with which a link meets another one: its own; that of its whole manipulator if it has none; infinite
/// for what cannot move, the base of a manipulator that is fixed.
inline ZqReal zqContactMass(const ZqManipulatorLink& link)
{
   const ZqIndividualManipulator* manipulator = link.manipulator();
   if (manipulator != nullptr && manipulator->isFixedBase() && link.linkIndex() == ZqBaseLinkIndex)
      return std::numeric_limits<ZqReal>::infinity();
   const ZqReal mass = link.massProperties().mass();
   if (manipulator == nullptr || mass > ZqRigidBodyMassProperties::smallestMass)
      return mass;
   ZqReal whole = manipulator->massProperties().mass();
   for (const ZqManipulatorLink* other : manipulator->linkPointerVector())
      whole += other->massProperties().mass();
   return whole;
}

/// m1 m2 / (m1 + m2) (kg): the mass that two bodies have on each other. Zero for two that cannot move, to which no
/// damper makes a difference.
inline ZqReal zqPairMass(ZqReal mass1, ZqReal mass2) noexcept
{
   const ZqReal sum = 1.0 / mass1 + 1.0 / mass2;
   return sum > 0.0 ? 1.0 / sum : 0.0;
}
