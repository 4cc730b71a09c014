#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"

#include "zqManipulator/simulation/forces/ZqInteractionPlaces.h"

#include <algorithm>

void ZqLatchedDoorLinks::forceBetweenLinks(
   ZqSystemActiveState& activeState, const ZqManipulatorSystem& system, const ZqReal&,
   const ZqXmlVectorType<ZqManipulatorTorque>&,
   ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const
{
   const ZqManipulatorActiveState* state =
      zqActiveStateOf(m_manipulatorId, system, activeState, forces);
   if (state == nullptr)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqLatchedDoorLinks::forceBetweenLinks manipulator Index out of range\n");
      return;
   }
   const auto& positions = state->activePositionState().positionState().jointPositions().values();
   const auto& rates = state->activeVelocityState().velocityState().jointVelocities().values();
   const std::size_t count = std::min(
      {positions.size(), rates.size(), std::size_t{forces[m_manipulatorId].linkForces().size()}});
   if (m_doorLinkId >= count || m_handleLinkId >= count)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqLatchedDoorLinks::forceBetweenLinks link Index out of range\n");
      return;
   }
   const ZqReal torque =
      moment(positions[m_handleLinkId], positions[m_doorLinkId], rates[m_doorLinkId]);
   forces[m_manipulatorId][m_doorLinkId] += ZqGeneralForce({}, ZqVector::zVector(torque));
}

ZqInteractionEnergy ZqLatchedDoorLinks::energy(ZqSystemActiveState& activeState,
                                               const ZqManipulatorSystem& system) const
{
   const ZqManipulatorActiveState* state = zqActiveStateOf(m_manipulatorId, system, activeState);
   if (state == nullptr)
      return {};
   const auto& positions = state->activePositionState().positionState().jointPositions().values();
   const auto& rates = state->activeVelocityState().velocityState().jointVelocities().values();
   if (m_doorLinkId >= std::min(positions.size(), rates.size()))
      return {};
   return energyAt(positions[m_doorLinkId], rates[m_doorLinkId]);
}
