#include "zqManipulator/simulation/interactions/ZqLinkInteractionsVector.h"

#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

void ZqLinkInteractionsVector::computeForces(
   ZqSystemActiveState& activeState, const ZqManipulatorSystem& system, const ZqReal& time,
   const ZqXmlVectorType<ZqManipulatorTorque>& torques,
   ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const
{
   const ZqU32 count = system.numberOfManipulators();
   if (forces.size() != count)
      forces.resize(count);
   ZqSystemActiveState::ActiveStates& states = activeState.manipulatorActiveStateVector();
   for (ZqU32 i = 0; i < count; ++i)
   {
      if (i < states.size())
         system.manipulators()[i].placeBase(states[i].activePositionState());
      forces[i].resize(system.manipulators()[i].jointDof());
      forces[i].setToZeros();
   }
   for (const ZqBaseLinkInteractions* interaction : vectorContainer())
      if (interaction != nullptr)
         interaction->forceBetweenLinks(activeState, system, time, torques, forces);
}

ZqInteractionEnergy ZqLinkInteractionsVector::energy(ZqSystemActiveState& activeState,
                                                     const ZqManipulatorSystem& system) const
{
   ZqInteractionEnergy sum;
   const ZqLinkCollisionForce* contact = nullptr;
   for (const ZqBaseLinkInteractions* interaction : vectorContainer())
   {
      const auto* own = dynamic_cast<const ZqLinkCollisionForce*>(interaction);
      if (own != nullptr && own->collisionForceContainer().topElement() != nullptr)
         contact = own; // all have the same records, with what the last has answered
      else if (interaction != nullptr)
         sum += interaction->energy(activeState, system);
   }
   if (contact != nullptr)
      sum += contact->energy(activeState, system);
   return sum;
}
