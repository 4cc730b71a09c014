#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/state/ZqAttachmentState.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"
#include "zqManipulator/state/ZqManipulatorSystemState.h"

/// The active states of all manipulators of a system, by index, and what is derived for the system as a
/// whole. Only the former are written to a document.
///
/// What is derived for the system follows from positions: a change of velocity leaves it. The time is
/// not held here.
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
   virtual void setManipulatorActiveStateVector(const ActiveStates& states)
   {
      m_manipulatorActiveStateVector = states;
   }
   virtual void setNumManipulators(ZqU32 count) { m_manipulatorActiveStateVector.resize(count); }
   /// Takes the positions and velocities of a state, for as many manipulators as it has positions;
   /// what is derived for the system is cleared when a position or the number of manipulators has
   /// changed. A manipulator without a velocity state keeps its velocity.
   virtual void setNonredundantState(const ZqManipulatorSystemState& state);
   /// The same for one manipulator. Nothing, when there is no such index.
   virtual void setManipulatorNonredundantState(const ZqManipulatorActiveState& state, ZqU32 index);
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
   virtual ZqAttachmentMapState& attachmentMapState() { return m_attachmentMapState; }
   virtual const ZqAttachmentMapState& attachmentMapState() const { return m_attachmentMapState; }
   virtual void setAttachmentMapState(const ZqAttachmentMapState& state)
   {
      m_attachmentMapState = state;
   }

   /// As `setNonredundantState`, from the positions and velocities of active states.
   void setNonredundantStateFromActiveStateVector(const ActiveStates& states);

private:
   /// The velocity may be null.
   bool setManipulatorState(ZqU32 index, const ZqPositionState& position,
                            const ZqVelocityState* velocity);
   bool resizeManipulators(ZqU32 count);

   ActiveStates m_manipulatorActiveStateVector;
   GeneralForces m_generalForceVector;
   ZqAttachmentMapState m_attachmentMapState;
   bool m_generalForceValid = false;
};

extern template class ZqXmlClass<ZqSystemActiveState>;
