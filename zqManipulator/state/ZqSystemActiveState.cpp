#include "zqManipulator/state/ZqSystemActiveState.h"

#include "zqManipulator/state/ZqSystemProximityRecords.h"

template class ZqXmlClass<ZqSystemActiveState>;

void ZqSystemActiveState::setNonredundantState(const ZqManipulatorSystemState& state)
{
   const auto& positions = state.positionStates();
   const auto& velocities = state.velocityStates();
   bool changed = resizeManipulators(positions.size());
   for (ZqU32 i = 0; i < positions.size(); ++i)
   {
      const bool moved =
         setManipulatorState(i, positions[i], i < velocities.size() ? &velocities[i] : nullptr);
      changed |= moved;
      if (moved)
         linksMoved(i);
   }
   if (changed)
      invalidateSystemLevel();
}

void ZqSystemActiveState::setNonredundantStateFromActiveStateVector(const ActiveStates& states)
{
   bool changed = resizeManipulators(states.size());
   for (ZqU32 i = 0; i < states.size(); ++i)
   {
      const bool moved = setManipulatorState(i, states[i].activePositionState().positionState(),
                                             &states[i].activeVelocityState().velocityState());
      changed |= moved;
      if (moved)
         linksMoved(i);
   }
   if (changed)
      invalidateSystemLevel();
}

void ZqSystemActiveState::setManipulatorNonredundantState(const ZqManipulatorActiveState& state,
                                                          ZqU32 index)
{
   if (index < m_manipulatorActiveStateVector.size() &&
       setManipulatorState(index, state.activePositionState().positionState(),
                           &state.activeVelocityState().velocityState()))
      manipulatorMoved(index);
}

void ZqSystemActiveState::setManipulatorNonredundantPositionState(const ZqPositionState& state,
                                                                  ZqU32 index)
{
   if (index < m_manipulatorActiveStateVector.size() && setManipulatorState(index, state, nullptr))
      manipulatorMoved(index);
}

void ZqSystemActiveState::manipulatorMoved(ZqU32 index)
{
   resizeLinkRecords(index + 1);
   linksMoved(index);
   invalidateSystemLevel();
}

void ZqSystemActiveState::linksMoved(ZqU32 manipulatorIndex)
{
   ZqSystemProximityRecords* records = m_proximity.get();
   if (records == nullptr || !records->hasLinks)
      return;
   if (records->moved.size() <= manipulatorIndex)
      records->moved.resize(std::size_t{manipulatorIndex} + 1);
   records->moved[manipulatorIndex] = true;
}

void ZqSystemActiveState::resizeLinkRecords(ZqU32 count)
{
   m_linkRecordCount = count;
   ZqSystemProximityRecords* records = m_proximity.get();
   if (records != nullptr && records->hasLinks)
      records->links.resize(count);
}

bool ZqSystemActiveState::setManipulatorState(ZqU32 index, const ZqPositionState& position,
                                              const ZqVelocityState* velocity)
{
   ZqManipulatorActiveState& manipulator = m_manipulatorActiveStateVector[index];
   const bool changed = manipulator.setPositionState(position);
   if (velocity != nullptr)
      manipulator.setVelocityState(*velocity);
   return changed;
}

bool ZqSystemActiveState::resizeManipulators(ZqU32 count)
{
   resizeLinkRecords(count);
   if (m_manipulatorActiveStateVector.size() == count)
      return false;
   m_manipulatorActiveStateVector.resize(count);
   for (ZqU32 i = 0; i < count; ++i)
      linksMoved(i);
   return true;
}

void ZqSystemActiveState::invalidateAll()
{
   for (ZqManipulatorActiveState& manipulator : m_manipulatorActiveStateVector)
      manipulator.invalidateAll();
   for (ZqU32 i = 0; i < m_manipulatorActiveStateVector.size(); ++i)
      linksMoved(i);
   invalidateSystemLevel();
}

void ZqSystemActiveState::resetForSystemChange()
{
   m_manipulatorActiveStateVector.resize(0);
   m_generalForceVector.resize(0);
   resizeLinkRecords(0);
   if (ZqSystemProximityRecords* records = m_proximity.get())
   {
      records->boxes.reset();
      records->modifiedShapes.clear();
      records->collisions.clear();
   }
}

void ZqSystemActiveState::invalidateSystemLevel()
{
   if (ZqSystemProximityRecords* records = m_proximity.get())
   {
      records->boxes.invalidateAll();
      records->collisions.invalidateAll();
   }
   m_generalForceValid = false;
}

// Records of proximity

ZqSystemProximity::ZqSystemProximity() noexcept = default;
ZqSystemProximity::ZqSystemProximity(ZqSystemProximity&& other) noexcept = default;
ZqSystemProximity& ZqSystemProximity::operator=(ZqSystemProximity&& other) noexcept = default;
ZqSystemProximity::~ZqSystemProximity() = default;

ZqSystemProximity::ZqSystemProximity(const ZqSystemProximity& other)
{
   if (other.m_records != nullptr)
      m_records = std::make_unique<ZqSystemProximityRecords>(*other.m_records);
}

ZqSystemProximity& ZqSystemProximity::operator=(const ZqSystemProximity& other)
{
   if (other.m_records == nullptr)
      m_records.reset();
   else if (m_records == nullptr)
      m_records = std::make_unique<ZqSystemProximityRecords>();
   if (m_records != nullptr)
      *m_records = *other.m_records;
   return *this;
}

ZqSystemProximityRecords& ZqSystemProximity::made()
{
   if (m_records == nullptr)
      m_records = std::make_unique<ZqSystemProximityRecords>();
   return *m_records;
}

namespace
{
/// What a state without records of its own answers.
const ZqSystemProximityRecords& recordsOf(const ZqSystemProximity& proximity)
{
   static const auto& none = *new ZqSystemProximityRecords();
   return proximity.get() != nullptr ? *proximity.get() : none;
}
} // namespace

ZqSystemProximityRecords& ZqSystemActiveState::proximityRecords()
{
   ZqSystemProximityRecords& records = m_proximity.made();
   if (!records.hasLinks)
      records.links.resize(m_linkRecordCount);
   records.hasLinks = true;
   return records;
}

ZqSystemActiveBoundingBoxState& ZqSystemActiveState::systemActiveBoundingBoxState()
{
   return m_proximity.made().boxes;
}

const ZqSystemActiveBoundingBoxState& ZqSystemActiveState::systemActiveBoundingBoxState() const
{
   return recordsOf(m_proximity).boxes;
}

void ZqSystemActiveState::setSystemActiveBoundingBoxState(
   const ZqSystemActiveBoundingBoxState& state)
{
   m_proximity.made().boxes = state;
}

std::vector<ZqManipulatorLinkProximityState>&
ZqSystemActiveState::manipulatorLinkProximityStateVector()
{
   // Each of many records would have to be told of each of many moves: that can wait until somebody looks.
   ZqSystemProximityRecords& records = proximityRecords();
   for (ZqU32 i = 0; i < records.moved.size(); ++i)
      if (records.moved[i])
         for (ZqManipulatorLinkProximityState& links : records.links)
            links.invalidate(i);
   records.moved.clear();
   return records.links;
}

void ZqSystemActiveState::setManipulatorLinkProximityStateVector(
   const std::vector<ZqManipulatorLinkProximityState>& states)
{
   manipulatorLinkProximityStateVector() = states;
}

ZqSystemShapeCollisionCache& ZqSystemActiveState::systemShapeCollisionCache()
{
   return m_proximity.made().collisions;
}

const ZqSystemShapeCollisionCache& ZqSystemActiveState::systemShapeCollisionCache() const
{
   return recordsOf(m_proximity).collisions;
}

void ZqSystemActiveState::setSystemShapeCollisionCache(const ZqSystemShapeCollisionCache& cache)
{
   m_proximity.made().collisions = cache;
}

std::vector<ZqShapeStateCacheKey>& ZqSystemActiveState::modifiedShapeKeyVec()
{
   return m_proximity.made().modifiedShapes;
}

const std::vector<ZqShapeStateCacheKey>& ZqSystemActiveState::modifiedShapeKeyVec() const
{
   return recordsOf(m_proximity).modifiedShapes;
}

void ZqSystemActiveState::setModifiedShapeKeyVec(const std::vector<ZqShapeStateCacheKey>& keys)
{
   m_proximity.made().modifiedShapes = keys;
}

void ZqSystemActiveState::invalidateModifiedShapeKey()
{
   if (ZqSystemProximityRecords* records = m_proximity.get())
      records->modifiedShapes.clear();
}

ZqShapeStateCacheKey& ZqSystemActiveState::modifiedShapeKey()
{
   return m_proximity.made().modifiedShape;
}

const ZqShapeStateCacheKey& ZqSystemActiveState::modifiedShapeKey() const
{
   return recordsOf(m_proximity).modifiedShape;
}

void ZqSystemActiveState::setModifiedShapeKey(const ZqShapeStateCacheKey& key)
{
   m_proximity.made().modifiedShape = key;
}
