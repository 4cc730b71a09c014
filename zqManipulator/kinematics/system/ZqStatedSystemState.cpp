#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>

namespace
{
/// Whether there is a state of this index; else a message of the operation says so.
template <class State>
bool hasState(const ZqXmlVectorType<State>& states, ZqU32 index, const char* operation,
              const char* kind)
{
   if (index < states.size())
      return true;
   Zq::Print::instance().write(
      Zq::Rejected, "ZqStatedSystem::%s(): manipulator index %d to big for %s state size, %d",
      operation, static_cast<int>(index), kind, static_cast<int>(states.size()));
   return false;
}
} // namespace

void ZqStatedSystem::setIndividualPositionState(ZqU32 index, const ZqPositionState& position)
{
   if (!hasState(m_state.positionStates(), index, "setIndividualState", "position"))
      return;
   stateToModify().positionStates()[index] = position;
   placeReferences();
}

void ZqStatedSystem::setIndividualCoordinateSystemTransformation(
   ZqU32 index, const ZqCoordinateSystemTransformation& frame)
{
   if (hasState(m_state.positionStates(), index, "setIndividualCoordinateSystemTransformation",
                "position"))
      stateToModify().positionStates()[index].setCoordSysXForm(frame);
}

void ZqStatedSystem::setIndividualVelocityState(ZqU32 index, const ZqVelocityState& velocity)
{
   if (hasState(m_state.velocityStates(), index, "setIndividualState", "velocity"))
      stateToModify().velocityStates()[index] = velocity;
}

void ZqStatedSystem::rotateIndividualBaseVelocity(ZqU32 index, const ZqOrientation& orientation)
{
   if (hasState(m_state.velocityStates(), index, "rotateIndividualBaseVelocity", "velocity"))
      stateToModify().velocityStates()[index].generalVelocity().transformBy(orientation);
}

void ZqStatedSystem::zeroIndividualVelocityState(ZqU32 index)
{
   if (!hasState(m_state.velocityStates(), index, "setIndividualState", "velocity"))
      return;
   ZqVelocityState& state = stateToModify().velocityStates()[index];
   std::vector<ZqReal>& rates = state.jointVelocities().values();
   std::fill(rates.begin(), rates.end(), 0.0);
   state.setGeneralVelocity(ZqGeneralMotion::nullObject());
}

void ZqStatedSystem::placeAttachedManipulators()
{
   const ZqManipulatorAttachmentMap& attachments = m_configuration.attachmentMap();
   ZqSystemActiveState active;
   active.setNonredundantState(m_state);
   std::vector<ZqU32> indices;
   std::vector<ZqCoordinateSystemTransformation> frames;
   for (ZqU32 root = 0; root < numberOfManipulators(); ++root)
   {
      if (attachments.baseManipulatorIndex(root) != root)
         continue;
      attachments.calculateBaseLocations(root, system().manipulators(),
                                         active.manipulatorActiveStateVector(), indices, frames);
      for (std::size_t i = 0; i < indices.size(); ++i)
         setIndividualCoordinateSystemTransformation(indices[i], frames[i]);
   }
}

void ZqStatedSystem::addCompatibleState()
{
   ZqManipulatorSystemState state;
   rightSizeState(state);
   setState(state);
}

void ZqStatedSystem::setToMidpointState()
{
   ZqManipulatorSystemState state;
   rightSizeState(state);
   for (ZqU32 i = 0; i < state.positionStates().size(); ++i)
   {
      const ZqIndividualManipulator& manipulator = system().manipulators()[i];
      std::vector<ZqReal>& positions = state.positionStates()[i].jointPositions().values();
      for (ZqU32 j = 0; j < positions.size(); ++j)
      {
         const ZqJointActuator& actuator = manipulator.linkByIndex(j)->jointActuator();
         positions[j] = (actuator.lowerLimit() + actuator.upperLimit()) * 0.5;
      }
   }
   setState(state);
}

void ZqStatedSystem::rightSizeState(ZqManipulatorSystemState& state) const
{
   system().rightSizeState(state);
}

ZqSphere ZqStatedSystem::absoluteBoundingSphere() const
{
   return system().absoluteBoundingSphere(m_state);
}

// Configuration

void ZqStatedSystem::setConfiguration(const ZqManipulatorSystemConfiguration& configuration)
{
   m_configuration = configuration;
   attachConfiguration();
}

void ZqStatedSystem::setCollisionExclusionMap(const ZqSystemCollisionExclusionMap& map)
{
   m_systemContainer.element()->setCollisionExclusionMap(map);
}

void ZqStatedSystem::setLinkInteractionsVector(const ZqLinkInteractionsVector& interactions)
{
   systemToModify().setLinkInteractionsVector(interactions);
}

void ZqStatedSystem::setDynamicCollisionExclusionMap(const ZqSystemCollisionExclusionMap& map)
{
   m_configuration.setCollisionExclusionMap(map);
}

const ZqSystemCollisionExclusionMap& ZqStatedSystem::collisionExclusionMapForCA() const
{
   return m_configuration.collisionExclusionMapForCA();
}

void ZqStatedSystem::setSollisionExclusionMapForCA(const ZqSystemCollisionExclusionMap& map)
{
   m_configuration.setCollisionExclusionMapForCA(map);
}

void ZqStatedSystem::setManipulatorAttachmentMap(const ZqManipulatorAttachmentMap& map)
{
   m_configuration.setAttachmentMap(map);
}

bool ZqStatedSystem::canCollide(ZqU32 manipulator1, ZqU32 link1, ZqU32 manipulator2, ZqU32 link2,
                                bool checkForCA) const
{
   const auto excludes = [&](const ZqSystemCollisionExclusionMap& map)
   { return map.isLinkCollisionCandidateExcluded(manipulator1, link1, manipulator2, link2); };
   return system().canCollide(manipulator1, link1, manipulator2, link2) &&
          !excludes(m_configuration.collisionExclusionMap()) &&
          !(checkForCA && excludes(m_configuration.collisionExclusionMapForCA()));
}
