#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/state/ZqManipulatorLinkProximityState.h"

// Records of pairs are made when the pairs come near each other: most of all pairs never do.
bool ZqManipulatorLinkProximityState::initialize(const ZqU32& manipulatorIndex,
                                                 const ZqManipulatorSystem& system)
{
   if (manipulatorIndex >= system.numberOfManipulators())
      return m_isInitialized;
   m_data.clear();
   m_hasUnknown = false;
   m_moves.assign(system.numberOfManipulators(), 0);
   m_isInitialized = true;
   return m_isInitialized;
}
