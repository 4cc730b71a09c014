#pragma once

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

/// The active state of a manipulator of the system; null when there is none.
inline ZqManipulatorActiveState* zqActiveStateOf(ZqU32 manipulator,
                                                 const ZqManipulatorSystem& system,
                                                 ZqSystemActiveState& activeState)
{
   auto& activeStates = activeState.manipulatorActiveStateVector();
   return manipulator < system.numberOfManipulators() && manipulator < activeStates.size()
             ? &activeStates[manipulator]
             : nullptr;
}

/// Likewise; null also when there is no list of forces on it.
inline ZqManipulatorActiveState*
zqActiveStateOf(ZqU32 manipulator, const ZqManipulatorSystem& system,
                ZqSystemActiveState& activeState,
                const ZqXmlVectorType<ZqManipulatorExternalForce>& forces)
{
   return manipulator < forces.size() ? zqActiveStateOf(manipulator, system, activeState) : nullptr;
}
