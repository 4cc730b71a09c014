#include "zqManipulator/simulation/attachments/ZqManipulatorAttachmentNode.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <algorithm>
#include <deque>

namespace
{
/// What a carried manipulator moves by while those that it carries are found. One for each level of the
/// tree, which a thread keeps, so that its memory is used again.
class CarriedState
{
public:
   CarriedState() : m_place(place(levels()++)) {}
   CarriedState(const CarriedState&) = delete;
   CarriedState& operator=(const CarriedState&) = delete;
   ~CarriedState() { --levels(); }

   ZqPositionState& position() { return m_place.position; }
   ZqVelocityState& velocity() { return m_place.velocity; }

private:
   struct Place
   {
      ZqPositionState position;
      ZqVelocityState velocity;
   };
   static std::size_t& levels()
   {
      thread_local std::size_t count = 0;
      return count;
   }
   static Place& place(std::size_t level)
   {
      thread_local std::deque<Place> places;
      if (level >= places.size())
         places.resize(level + 1);
      return places[level];
   }

   Place& m_place;
};
} // namespace

bool ZqManipulatorAttachmentNode::calculateBaseLocations(
   const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
   ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& positions) const
{
   return appendBases(manipulators, activeStates, indices, positions, nullptr,
                      VelocityRule::OfLocations);
}

bool ZqManipulatorAttachmentNode::calculateBaseLocationsAndVelocities(
   const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
   ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& positions,
   std::vector<ZqGeneralMotion>& velocities) const
{
   return appendBases(manipulators, activeStates, indices, positions, &velocities,
                      VelocityRule::OfLocations);
}

bool ZqManipulatorAttachmentNode::calculateBaseMotions(
   const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
   ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& positions,
   std::vector<ZqGeneralMotion>& velocities) const
{
   return appendBases(manipulators, activeStates, indices, positions, &velocities,
                      VelocityRule::OfMotions);
}

bool ZqManipulatorAttachmentNode::appendBases(
   const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
   ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& positions,
   std::vector<ZqGeneralMotion>* velocities, VelocityRule rule) const
{
   const ZqU32 count = std::min(manipulators.size(), activeStates.size());
   if (m_manipulatorIndex >= count)
      return false;
   const ZqIndividualManipulator& manipulator = manipulators[m_manipulatorIndex];
   ZqManipulatorActiveState& activeState = activeStates[m_manipulatorIndex];
   for (ZqU32 i = 0; i < m_childNodes.size(); ++i)
   {
      const ZqManipulatorAttachmentNode& child = m_childNodes[i];
      if (child.m_manipulatorIndex >= count)
         continue;
      const ZqManipulatorLink* link = manipulator.linkByIdentifier(child.m_linkLabel);
      if (link == nullptr)
         continue;

      const auto X_SL = link->primaryFrameInSystem(activeState.activePositionState());
      const auto X_SA = X_SL * child.m_offset;
      const auto& X_SM = manipulators[child.m_manipulatorIndex].coordSysXForm();
      indices.push_back(child.m_manipulatorIndex);
      positions.push_back(X_SM.inverse() * X_SA);
      if (velocities != nullptr)
      {
         ZqGeneralMotion& velocity =
            velocities->emplace_back(link->primaryFrameVelocityInSystem(activeState));
         if (rule == VelocityRule::OfMotions)
            velocity.transformBy(X_SL.orientation() * -child.m_offset.translation());
         else
         {
            velocity.transformBy(-child.m_offset.translation());
            velocity.transformBy(X_SM.orientation());
         }
      }
      if (child.m_childNodes.size() == 0)
         continue;

      // The child is put into its new place, with its new velocity, before its own children are found.
      ZqManipulatorActiveState& childState = activeStates[child.m_manipulatorIndex];
      CarriedState carried;
      ZqPositionState& position = carried.position();
      ZqVelocityState& velocity = carried.velocity();
      position = childState.positionState();
      const ZqCoordinateSystemTransformation oldBase = position.coordSysXForm();
      position.setCoordSysXForm(positions.back());
      childState.setPositionState(position);
      ZqGeneralMotion oldVelocity;
      if (velocities != nullptr)
      {
         velocity = childState.velocityState();
         oldVelocity = velocity.generalVelocity();
         velocity.setGeneralVelocity(velocities->back());
         childState.setVelocityState(velocity);
      }
      child.appendBases(manipulators, activeStates, indices, positions, velocities, rule);
      position.setCoordSysXForm(oldBase);
      childState.setPositionState(position);
      if (velocities != nullptr)
      {
         velocity.setGeneralVelocity(oldVelocity);
         childState.setVelocityState(velocity);
      }
   }
   return true;
}
