#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/proximity/ZqShapeKeys.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"
#include "zqManipulator/state/ZqManipulatorSystemState.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <numeric>

template class ZqXmlClass<ZqManipulatorSystem>;
template class ZqXmlClass<ZqSystemEnvironment>;

ZqManipulatorSystem::ZqManipulatorSystem()
{
   // Room for small scenes, so that adding to them does not move manipulators in memory.
   m_manipulators.reserve(20);
}

ZqManipulatorSystem::ZqManipulatorSystem(const ZqManipulatorSystem& other,
                                         ZqFoundCommon::DeepCopyFlag flag)
   : ZqXmlClass(other), m_environment(other.m_environment), m_manipulators(other.m_manipulators),
     m_linkInteractionsVector(other.m_linkInteractionsVector),
     m_collisionExclusionMap(other.m_collisionExclusionMap),
     m_manipulatorAttachmentMap(other.m_manipulatorAttachmentMap), m_labelPool(other.m_labelPool),
     m_beforeCombining(other.m_beforeCombining),
     m_collisionDetectionPrecisionLevel(other.m_collisionDetectionPrecisionLevel)
{
   ZqManipulatorSystem::mapManipulators();
   attachCollisionExclusionMap();
   if (flag == ZqFoundCommon::CopyAll)
      ZqManipulatorSystem::unreferenceShapes();
}

ZqManipulatorSystem& ZqManipulatorSystem::operator=(const ZqManipulatorSystem& other)
{
   if (this != &other)
   {
      ZqXmlClass::operator=(other);
      m_environment = other.m_environment;
      m_manipulators = other.m_manipulators;
      m_linkInteractionsVector = other.m_linkInteractionsVector;
      m_collisionExclusionMap = other.m_collisionExclusionMap;
      m_manipulatorAttachmentMap = other.m_manipulatorAttachmentMap;
      m_labelPool = other.m_labelPool;
      m_beforeCombining = other.m_beforeCombining;
      m_collisionDetectionPrecisionLevel = other.m_collisionDetectionPrecisionLevel;
   }
   mapManipulators();
   attachCollisionExclusionMap();
   return *this;
}

bool ZqManipulatorSystem::operator==(const ZqManipulatorSystem& other) const
{
   return m_environment == other.m_environment && m_manipulators == other.m_manipulators &&
          m_linkInteractionsVector == other.m_linkInteractionsVector &&
          m_collisionExclusionMap == other.m_collisionExclusionMap;
}

bool ZqManipulatorSystem::read(ZqXmlReader& reader)
{
   const bool isRead = ZqXmlClass::read(reader);
   mapManipulators();
   computeCollisionDetectionPrecisionLevel();
   attachCollisionExclusionMap();
   reportUnboundReferences();
   return isRead;
}

bool ZqManipulatorSystem::readAttributes(ZqXmlReader& reader)
{
   const bool areRead = ZqXmlClass::readAttributes(reader);
   reader.setLinkTotal(m_totalReadableLinkCount);
   return areRead;
}

bool ZqManipulatorSystem::write(ZqXmlWriter& writer) const
{
   const ZqU32 count = countAllReadableLinks();
   {
      // Only the first of several threads that write the system finds another number here.
      static constinit std::mutex mutex;
      const std::scoped_lock lock(mutex);
      if (m_totalReadableLinkCount != count)
         m_totalReadableLinkCount = count;
   }
   writer.setLinkTotal(count);
   writer.resetLinkCount();
   return ZqXmlClass::write(writer);
}

ZqU32 ZqManipulatorSystem::countAllReadableLinks() const
{
   ZqU32 count = numberOfManipulators();
   for (const ZqIndividualManipulator& manipulator : m_manipulators)
      if (!manipulator.manipulatorReferenceDescription().isManipulatorReferenced())
         count += manipulator.jointDof();
   return count;
}

ZqU32 ZqManipulatorSystem::jointDof(ZqU32 index) const
{
   if (index < numberOfManipulators())
      return m_manipulators[index].jointDof();
   Zq::Print::instance().write(
      Zq::Rejected, "ZqManipulatorSystem::jointDof-->manipulator at index (%d) undefined\n",
      static_cast<int>(index));
   return 0;
}

ZqU32 ZqManipulatorSystem::jointDof() const
{
   return std::accumulate(m_manipulators.begin(), m_manipulators.end(), ZqU32(0),
                          [](ZqU32 sum, const ZqIndividualManipulator& manipulator)
                          { return sum + manipulator.jointDof(); });
}

ZqU32 ZqManipulatorSystem::jointAndBaseDof() const
{
   return std::accumulate(m_manipulators.begin(), m_manipulators.end(), ZqU32(0),
                          [](ZqU32 sum, const ZqIndividualManipulator& manipulator)
                          { return sum + manipulator.jointAndBaseDof(); });
}

void ZqManipulatorSystem::setCollisionExclusionMap(const ZqSystemCollisionExclusionMap& map)
{
   m_collisionExclusionMap = map;
   attachCollisionExclusionMap();
}

bool ZqManipulatorSystem::canCollide(ZqU32 manipulator1, ZqU32 link1, ZqU32 manipulator2,
                                     ZqU32 link2) const
{
   return !m_collisionExclusionMap.isLinkCollisionCandidateExcluded(manipulator1, link1,
                                                                    manipulator2, link2);
}

// Interactions

void ZqManipulatorSystem::setLinkInteractionsVector(const ZqLinkInteractionsVector& interactions)
{
   m_linkInteractionsVector = interactions;
   computeCollisionDetectionPrecisionLevel();
}

void ZqManipulatorSystem::computeCollisionDetectionPrecisionLevel()
{
   m_collisionDetectionPrecisionLevel = 0;
   for (const ZqBaseLinkInteractions* interaction : m_linkInteractionsVector.vectorContainer())
      if (const auto* contacts = dynamic_cast<const ZqLinkCollisionForce*>(interaction))
      {
         m_collisionDetectionPrecisionLevel = contacts->precisionLevel();
         return;
      }
}

void ZqManipulatorSystem::processLinkInteractions(
   ZqSystemActiveState& activeState, const ZqReal& time,
   const ZqXmlVectorType<ZqManipulatorTorque>& torques) const
{
   if (activeState.generalForceValid())
      return;
   m_linkInteractionsVector.computeForces(activeState, *this, time, torques,
                                          activeState.generalForceVector());
   activeState.setGeneralForceValid(true);
}

// Steps of time

void ZqManipulatorSystem::propagateStateBy(ZqManipulatorSystemState& state, ZqReal dt) const
{
   if (!std::isfinite(dt))
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqManipulatorSystem::propagateStateBy(): the step, %g, is not finite.\n",
         dt);
      return;
   }
   auto& positions = state.positionStates();
   const auto& velocities = state.velocityStates();
   const ZqU32 count = std::min(positions.size(), velocities.size());
   for (ZqU32 i = 0; i < count; ++i)
      propagateSingleStateBy(i, velocities[i], dt, positions[i]);
   state.setTime(state.time() + dt);
}

void ZqManipulatorSystem::propagateSingleStateBy(ZqU32 index, const ZqVelocityState& velocity,
                                                 ZqReal dt, ZqPositionState& position) const
{
   if (index < numberOfManipulators())
      m_manipulators[index].propagateState(velocity, dt, position);
}

// The shape of states

namespace
{
/// Where joints start whose position is not known: not at zero, where many arms are singular.
constexpr ZqReal startPosition = 1e-9;

/// Adds the values that both have.
void addTo(std::vector<ZqReal>& sums, const ZqXmlVectorBasicType<ZqReal>& values)
{
   const auto count = std::min<std::size_t>(sums.size(), values.size());
   for (std::size_t i = 0; i < count; ++i)
      sums[i] += values[i];
}
} // namespace

void ZqManipulatorSystem::rightSizeState(ZqManipulatorSystemState& state) const
{
   if (isCompatible(state))
      return;
   const auto& oldPositions = state.positionStates();
   const auto& oldVelocities = state.velocityStates();
   const ZqU32 count = numberOfManipulators();
   ZqXmlVectorType<ZqPositionState> positions(count);
   ZqXmlVectorType<ZqVelocityState> velocities(count);
   for (ZqU32 i = 0; i < count; ++i)
   {
      const ZqU32 dof = m_manipulators[i].jointDof();
      std::vector<ZqReal> joints(dof, startPosition);
      if (i < oldPositions.size())
      {
         positions[i].setCoordSysXForm(oldPositions[i].coordSysXForm());
         addTo(joints, oldPositions[i].jointPositions());
      }
      positions[i].jointPositions().values() = joints;
      joints.assign(dof, 0.0);
      if (i < oldVelocities.size())
      {
         velocities[i].setGeneralVelocity(oldVelocities[i].generalVelocity());
         addTo(joints, oldVelocities[i].jointVelocities());
      }
      velocities[i].jointVelocities().values() = std::move(joints);
   }
   state.setPositionStates(positions);
   state.setVelocityStates(velocities);
}

bool ZqManipulatorSystem::isCompatible(const ZqManipulatorSystemState& state) const
{
   const ZqU32 count = numberOfManipulators();
   if (state.positionStates().size() != count || state.velocityStates().size() != count)
      return false;
   for (ZqU32 i = 0; i < count; ++i)
   {
      const ZqU32 dof = m_manipulators[i].jointDof();
      if (state.positionStates()[i].jointPositions().size() != dof ||
          state.velocityStates()[i].jointVelocities().size() != dof)
         return false;
   }
   return true;
}

ZqSphere ZqManipulatorSystem::absoluteBoundingSphere(const ZqManipulatorSystemState& state) const
{
   const auto& positions = state.positionStates();
   if (numberOfManipulators() != positions.size())
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqManipulatorSystem::absoluteBoundingSphere(): system size, %d, "
                                  "not equal to state size, %d.",
                                  static_cast<int>(numberOfManipulators()),
                                  static_cast<int>(positions.size()));
   const ZqU32 count = std::min(numberOfManipulators(), positions.size());
   ZqSphere sphere = ZqSphere::empty();
   for (ZqU32 i = 0; i < count; ++i)
   {
      // A reference has the reach of the model that it stands for.
      const ZqIndividualManipulator& manipulator = m_manipulators[i];
      const ZqSphere& reach = manipulator.concreteReference().absoluteBoundingSphere();
      sphere.expandSelfToInclude(manipulator.coordSysXForm() *
                                 (positions[i].coordSysXForm() * reach));
   }
   return sphere;
}

// Changes of one model

/// False, with a message of the operation, for an index that does not exist.
bool ZqManipulatorSystem::isAboutToModify(ZqU32 index, const char* operation)
{
   if (index >= numberOfManipulators())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqManipulatorSystem::%s() - invalid manipulator index.\n", operation);
      return false;
   }
   aboutToModifyManipulator(index);
   return true;
}

bool ZqManipulatorSystem::setJointLimit(ZqU32 index, const ZqString& linkLabel, bool upper,
                                        ZqReal value)
{
   if (!isAboutToModify(index, "setJointLimit") ||
       !m_manipulators[index].setJointLimit(linkLabel, !upper, value))
      return false;
   m_manipulators[index].fitAbsoluteBoundingSphere();
   return true;
}

bool ZqManipulatorSystem::replaceLinkProperties(ZqU32 index, const ZqString& linkLabel,
                                                const ZqManipulatorLink& properties,
                                                bool withShapes)
{
   if (!isAboutToModify(index, "replaceLinkProperties"))
      return false;
   if (withShapes)
      m_manipulators[index].aboutToModifyLink(linkLabel);
   if (!m_manipulators[index].replaceLinkProperties(linkLabel, properties, withShapes))
      return false;
   m_manipulators[index].fitAbsoluteBoundingSphere();
   return true;
}

bool ZqManipulatorSystem::replaceLinkKinematics(ZqU32 index, const ZqString& linkLabel,
                                                const ZqLinkKinematics& joint)
{
   return isAboutToModify(index, "replaceLinkKinematics") &&
          m_manipulators[index].replaceLinkKinematics(linkLabel, joint);
}

bool ZqManipulatorSystem::replaceLinkShape(ZqU32 index, const ZqString& linkLabel,
                                           const ZqShape& shape, ZqU32 shapeIndex, bool replaceAll)
{
   return isAboutToModify(index, "replaceLinkShape") &&
          m_manipulators[index].replaceLinkShape(linkLabel, shape, shapeIndex, replaceAll);
}

bool ZqManipulatorSystem::setSurfacesByKey(const ZqShapeStateCacheKey& key,
                                           const ZqShape::Surfaces& surfaces)
{
   return key.manipID() < numberOfManipulators() &&
          m_manipulators[key.manipID()].setSurfacesByIDs(key.linkID(), key.shapeID(), surfaces);
}

void ZqManipulatorSystem::truncateValues(ZqReal tolerance)
{
   for (ZqIndividualManipulator& manipulator : m_manipulators)
      if (&manipulator.concreteReference() == &manipulator)
         manipulator.truncateValues(tolerance);
}

void ZqManipulatorSystem::unreferenceShapes()
{
   for (ZqIndividualManipulator& manipulator : m_manipulators)
      manipulator.unreferenceShapes();
}

void ZqManipulatorSystem::getNumberOfShapes(
   std::vector<std::vector<std::vector<ZqU32>>>& numbers) const
{
   numbers.clear();
   for (const ZqIndividualManipulator& manipulator : m_manipulators)
   {
      std::vector<std::vector<ZqU32>>& links = numbers.emplace_back();
      const auto append = [&](const ZqManipulatorLink& link)
      {
         links.emplace_back(link.numShapesInPhysicalRepresentation() +
                            link.boundingVolumes().size());
         std::iota(links.back().begin(), links.back().end(), 0U);
      };
      append(manipulator);
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         append(*link);
   }
}

bool ZqManipulatorSystem::setNamedFrames(ZqU32 manipulator, ZqU32 link,
                                         const ZqManipulatorLink::NamedFrames& frames)
{
   return manipulator < numberOfManipulators() &&
          m_manipulators[manipulator].setChildLinkNamedFrames(link, frames);
}

bool ZqManipulatorSystem::setSelfCollisionMap(const ZqManipulatorSelfCollisionLinkMap& map,
                                              ZqU32 index)
{
   if (index >= numberOfManipulators())
      return false;
   m_manipulators[index].setSelfCollisionLinkMap(map);
   return true;
}

bool ZqManipulatorSystem::getCraigDhParameters(std::vector<std::vector<ZqReal>>& result) const
{
   result.clear();
   for (const ZqIndividualManipulator& manipulator : m_manipulators)
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      {
         std::vector<ZqReal>& parameters = result.emplace_back();
         const auto* joint =
            dynamic_cast<const ZqDenavitHartenberg*>(link->linkKinematicsContainer().topElement());
         if (joint != nullptr && joint->hasCraigParameters())
            parameters = {joint->dhA(), joint->dhAlpha(), joint->dhD()};
      }
   return true;
}
