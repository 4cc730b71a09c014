#pragma once

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <limits>

/// The mass (kg) with which a link meets another one: its own; that of its whole manipulator if it has none; infinite
/// for what cannot move, the base of a manipulator that is fixed and not attached to another one. An attached
/// manipulator without any mass counts as infinitely heavy, too.
///
/// The manipulator is the link's own: that of a link of a reference is the model's, its base is not.
inline ZqReal zqContactMass(const ZqIndividualManipulator& manipulator,
                            const ZqManipulatorLink& link, bool isAttached)
{
   constexpr ZqReal infinity = std::numeric_limits<ZqReal>::infinity();
   constexpr ZqReal none = ZqRigidBodyMassProperties::smallestMass;
   const bool isBase = link.linkIndex() == ZqBaseLinkIndex;
   if (isBase && manipulator.isFixedBase() && !isAttached)
      return infinity;
   const ZqReal ofBase = manipulator.massProperties().mass();
   const ZqReal mass = isBase ? ofBase : ZqReal(link.massProperties().mass());
   if (mass > none)
      return mass;
   ZqReal whole = ofBase;
   for (const ZqManipulatorLink* other : manipulator.linkPointerVector())
      whole += other->massProperties().mass();
   return whole > none || !isAttached ? whole : infinity;
}
