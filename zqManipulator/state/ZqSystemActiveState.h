#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/state/ZqAttachmentState.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"
#include "zqManipulator/state/ZqManipulatorSystemState.h"
#include "zqManipulator/state/ZqSystemProximity.h"

#include <vector>

class ZqManipulatorLinkProximityState;
class ZqShapeStateCacheKey;
class ZqSystemActiveBoundingBoxState;
class ZqSystemShapeCollisionCache;

/// The active states of all manipulators of a system, by index, and what is derived for the system as a
/// whole. Only the former are written to a document.
///
/// What is derived for the system follows from positions: a change of velocity leaves it. The time is
/// not held here.
///
/// Where links are near each other is remembered here too. Those records are made when they are first asked
/// for: a state whose links nobody compares has none. They are looked after when they are used, so that
/// they never answer for another place or another shape of a link, in whatever way these were changed.
class ZqSystemActiveState final : public ZqXmlClass<ZqSystemActiveState>
{
public:
   using ActiveStates = ZqXmlVectorType<ZqManipulatorActiveState>;
   using GeneralForces = ZqXmlVectorType<ZqManipulatorExternalForce>;

   static const ZqToken& classToken() { return ZqManip::ZqSystemActiveStateToken; }
   static constexpr const char* documentation =
      "the state of a scene with what was derived from it";
   template <class This = ZqSystemActiveState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_manipulatorActiveStateVector,
                                    &ZqManip::ZqManipulatorActiveStateVectorToken,
                                    "active state of each manipulator, by index"}};
   }
   bool operator==(const ZqSystemActiveState& other) const
   {
      return m_manipulatorActiveStateVector == other.m_manipulatorActiveStateVector;
   }

   virtual ActiveStates& manipulatorActiveStateVector() { return m_manipulatorActiveStateVector; }
   virtual const ActiveStates& manipulatorActiveStateVector() const
   {
      return m_manipulatorActiveStateVector;
   }
   virtual ZqSystemActiveBoundingBoxState& systemActiveBoundingBoxState();
   virtual const ZqSystemActiveBoundingBoxState& systemActiveBoundingBoxState() const;
   virtual void setManipulatorActiveStateVector(const ActiveStates& states)
   {
      m_manipulatorActiveStateVector = states;
   }
   virtual void setSystemActiveBoundingBoxState(const ZqSystemActiveBoundingBoxState& state);
   virtual void setNumManipulators(ZqU32 count) { m_manipulatorActiveStateVector.resize(count); }
   /// Takes the positions and velocities of a state, for as many manipulators as it has positions;
   /// what is derived for the system is cleared when a position or the number of manipulators has
   /// changed. A manipulator without a velocity state keeps its velocity.
   virtual void setNonredundantState(const ZqManipulatorSystemState& state);
   /// The same for one manipulator. Nothing, when there is no such index.
   virtual void setManipulatorNonredundantState(const ZqManipulatorActiveState& state, ZqU32 index);
   /// When the position has changed, what is remembered of links of manipulators behind this one is dropped
   /// by both.
   virtual void setManipulatorNonredundantPositionState(const ZqPositionState& state, ZqU32 index);
   virtual void invalidateAll();
   /// Empties the states of the manipulators and the forces on them, for a system of another structure.
   virtual void resetForSystemChange();
   virtual GeneralForces& generalForceVector() { return m_generalForceVector; }
   virtual const GeneralForces& generalForceVector() const { return m_generalForceVector; }
   virtual void setGeneralForceVector(const GeneralForces& forces)
   {
      m_generalForceVector = forces;
   }
   virtual bool generalForceValid() const { return m_generalForceValid; }
   virtual void setGeneralForceValid(bool valid) { m_generalForceValid = valid; }
   /// Clears what is derived for the system, and not what is derived for the manipulators.
   virtual void invalidateSystemLevel();
   virtual void invalidateModifiedShapeKey();
   /// The distances that are remembered, by manipulator; after `setNonredundantState` there is an entry for
   /// each.
   virtual std::vector<ZqManipulatorLinkProximityState>& manipulatorLinkProximityStateVector();
   virtual void setManipulatorLinkProximityStateVector(
      const std::vector<ZqManipulatorLinkProximityState>& states);
   /// A copy of an active state starts with an empty one.
   virtual ZqSystemShapeCollisionCache& systemShapeCollisionCache();
   const ZqSystemShapeCollisionCache& systemShapeCollisionCache() const;
   virtual void setSystemShapeCollisionCache(const ZqSystemShapeCollisionCache& cache);
   /// \name Shapes that were changed, for whoever shows them
   /// @{
   virtual std::vector<ZqShapeStateCacheKey>& modifiedShapeKeyVec();
   virtual const std::vector<ZqShapeStateCacheKey>& modifiedShapeKeyVec() const;
   virtual void setModifiedShapeKeyVec(const std::vector<ZqShapeStateCacheKey>& keys);
   virtual ZqShapeStateCacheKey& modifiedShapeKey();
   virtual const ZqShapeStateCacheKey& modifiedShapeKey() const;
   virtual void setModifiedShapeKey(const ZqShapeStateCacheKey& key);
   /// @}
   virtual ZqAttachmentMapState& attachmentMapState() { return m_attachmentMapState; }
   virtual const ZqAttachmentMapState& attachmentMapState() const { return m_attachmentMapState; }
   virtual void setAttachmentMapState(const ZqAttachmentMapState& state)
   {
      m_attachmentMapState = state;
   }

   /// As `setNonredundantState`, from the positions and velocities of active states.
   void setNonredundantStateFromActiveStateVector(const ActiveStates& states);
   /// For the tools that fill the records of proximity.
   ZqSystemProximityRecords& proximityRecords();

private:
   /// The velocity may be null.
   bool setManipulatorState(ZqU32 index, const ZqPositionState& position,
                            const ZqVelocityState* velocity);
   bool resizeManipulators(ZqU32 count);
   void resizeLinkRecords(ZqU32 count);
   void linksMoved(ZqU32 manipulatorIndex);
   void manipulatorMoved(ZqU32 index);

   ActiveStates m_manipulatorActiveStateVector;
   GeneralForces m_generalForceVector;
   ZqAttachmentMapState m_attachmentMapState;
   ZqSystemProximity m_proximity;
   ZqU32 m_linkRecordCount = 0; ///< how many distance records there are, or will be once asked for
   bool m_generalForceValid = false;
};

extern template class ZqXmlClass<ZqSystemActiveState>;
