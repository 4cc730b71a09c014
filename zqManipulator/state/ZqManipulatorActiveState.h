#pragma once

#include "zqManipulator/state/ZqActuatorState.h"
#include "zqManipulator/state/ZqManipulatorActiveAccelerationState.h"
#include "zqManipulator/state/ZqManipulatorActiveArticulationState.h"
#include "zqManipulator/state/ZqManipulatorActiveForceState.h"
#include "zqManipulator/state/ZqManipulatorActiveMassState.h"
#include "zqManipulator/state/ZqManipulatorActivePositionState.h"
#include "zqManipulator/state/ZqManipulatorActiveVelocityState.h"

/// The state of one manipulator with everything that has been derived from it. The queries of the links
/// take what is valid from here, and store here what they compute; nothing is computed before it is
/// asked for.
///
/// Setting a state clears the flags of what the change can affect, and no more; a state that equals the
/// present one changes nothing. An active state serves one thread at a time.
class ZqManipulatorActiveState final : public ZqXmlClass<ZqManipulatorActiveState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorActiveStateToken; }
   static constexpr const char* documentation =
      "the state of a manipulator with what was derived from it";
   template <class This = ZqManipulatorActiveState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_activePositionState, &ZqManip::ZqActivePositionStateToken,
                     "position and frames"},
         ZqComponent{&This::m_activeVelocityState, &ZqManip::ZqActiveVelocityStateToken,
                     "velocities"},
         ZqComponent{&This::m_activeAccelerationState, &ZqManip::ZqActiveAccelerationStateToken,
                     "accelerations"},
         ZqComponent{&This::m_activeForceState, &ZqManip::ZqActiveForceStateToken, "forces"},
         ZqComponent{&This::m_activeMassState, &ZqManip::ZqActiveMassStateToken,
                     "composite rigid body inertias"},
         ZqComponent{&This::m_activeArticulationState, &ZqManip::ZqActiveArticulationStateToken,
                     "articulated bodies"},
         ZqComponent{&This::m_actuatorState, &ZqManip::ZqActuatorStateToken,
                     "what the drives remember"}};
   }
   bool operator==(const ZqManipulatorActiveState&) const = default;

   virtual const ZqPositionState& positionState() const
   {
      return m_activePositionState.positionState();
   }
   /// Clears all flags. False, and nothing else, when the state equals the present one.
   virtual bool setPositionState(const ZqPositionState& state);
   virtual const ZqVelocityState& velocityState() const
   {
      return m_activeVelocityState.velocityState();
   }
   /// Leaves what follows from the position alone, inertias included. False, and nothing else, when the
   /// state equals the present one.
   virtual bool setVelocityState(const ZqVelocityState& state);
   virtual const ZqAccelerationState& accelerationState() const
   {
      return m_activeAccelerationState.accelerationState();
   }
   /// Clears the flags of accelerations, forces and articulated bodies, also for an equal state.
   virtual void setAccelerationState(const ZqAccelerationState& state);

   /// \name Records
   /// @{
   virtual ZqManipulatorActivePositionState& activePositionState() { return m_activePositionState; }
   virtual const ZqManipulatorActivePositionState& activePositionState() const
   {
      return m_activePositionState;
   }
   virtual void setActivePositionState(const ZqManipulatorActivePositionState& state)
   {
      m_activePositionState = state;
   }
   virtual ZqManipulatorActiveVelocityState& activeVelocityState() { return m_activeVelocityState; }
   virtual const ZqManipulatorActiveVelocityState& activeVelocityState() const
   {
      return m_activeVelocityState;
   }
   virtual void setActiveVelocityState(const ZqManipulatorActiveVelocityState& state)
   {
      m_activeVelocityState = state;
   }
   virtual ZqManipulatorActiveAccelerationState& activeAccelerationState()
   {
      return m_activeAccelerationState;
   }
   virtual const ZqManipulatorActiveAccelerationState& activeAccelerationState() const
   {
      return m_activeAccelerationState;
   }
   virtual void setActiveAccelerationState(const ZqManipulatorActiveAccelerationState& state)
   {
      m_activeAccelerationState = state;
   }
   virtual ZqManipulatorActiveForceState& activeForceState() { return m_activeForceState; }
   virtual const ZqManipulatorActiveForceState& activeForceState() const
   {
      return m_activeForceState;
   }
   virtual void setActiveForceState(const ZqManipulatorActiveForceState& state)
   {
      m_activeForceState = state;
   }
   virtual ZqManipulatorActiveMassState& activeMassState() { return m_activeMassState; }
   virtual const ZqManipulatorActiveMassState& activeMassState() const { return m_activeMassState; }
   virtual void setActiveMassState(const ZqManipulatorActiveMassState& state)
   {
      m_activeMassState = state;
   }
   virtual ZqManipulatorActiveArticulationState& activeArticulationState()
   {
      return m_activeArticulationState;
   }
   virtual const ZqManipulatorActiveArticulationState& activeArticulationState() const
   {
      return m_activeArticulationState;
   }
   virtual void setActiveArticulationState(const ZqManipulatorActiveArticulationState& state)
   {
      m_activeArticulationState = state;
   }
   virtual ZqActuatorState& actuatorState() { return m_actuatorState; }
   virtual const ZqActuatorState& actuatorState() const { return m_actuatorState; }
   virtual void setActuatorState(const ZqActuatorState& state) { m_actuatorState = state; }
   /// @}

   virtual void invalidateAll();

private:
   ZqManipulatorActivePositionState m_activePositionState;
   ZqManipulatorActiveVelocityState m_activeVelocityState;
   ZqManipulatorActiveAccelerationState m_activeAccelerationState;
   ZqManipulatorActiveForceState m_activeForceState;
   ZqManipulatorActiveMassState m_activeMassState;
   ZqManipulatorActiveArticulationState m_activeArticulationState;
   ZqActuatorState m_actuatorState;
};

extern template class ZqXmlClass<ZqManipulatorActiveState>;
extern template class ZqXmlVectorType<ZqManipulatorActiveState>;
