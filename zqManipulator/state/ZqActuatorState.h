#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

/// What the actuators of one manipulator remember, with one entry for each joint in every list. The
/// actuators give the values their meaning; the lists are independent here.
class ZqActuatorState final : public ZqXmlClass<ZqActuatorState>
{
public:
   using Reals = ZqXmlVectorBasicType<ZqReal>;
   using Flags = ZqXmlVectorType<ZqXmlBasicType<bool>>;
   using RealLists = ZqXmlVectorType<ZqXmlVectorBasicType<ZqReal>>;

   static const ZqToken& classToken() { return ZqManip::ZqActuatorStateToken; }
   static constexpr const char* documentation =
      "what the drives of a manipulator remember, with an entry for each joint by link index";
   template <class This = ZqActuatorState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_outputTorques, &ZqManip::ZqActuatorOutputTorquesToken,
                     "torque at each joint (N m, or N)"},
         ZqComponent{&This::m_motorPositions, &ZqManip::ZqMotorPositionsToken,
                     "position of each motor (rad, or m)"},
         ZqComponent{&This::m_motorVelocities, &ZqManip::ZqMotorVelocitiesToken,
                     "velocity of each motor (rad/s, or m/s)"},
         ZqComponent{&This::m_motorAccelerations, &ZqManip::ZqMotorAccelerationsToken,
                     "acceleration of each motor (rad/s^2, or m/s^2)"},
         ZqComponent{&This::m_nonRigidActuatorFlags, &ZqManip::ZqNonRigidActuatorFlagsToken,
                     "whether the shaft of the drive is flexible"},
         ZqComponent{&This::m_springDamperCenters, &ZqManip::ZqActuatorSpringDamperCentersToken,
                     "motor position at which each drive sticks (rad, or m)"},
         ZqComponent{&This::m_staticFrictionModes, &ZqManip::ZqActuatorStaticFrictionModesToken,
                     "whether each drive sticks"},
         ZqComponent{&This::m_lastVelocities, &ZqManip::ZqActuatorLastVelocitiesToken,
                     "velocity of each motor when the states were made (rad/s, or m/s)"},
         ZqComponent{&This::m_reverseMotionPositions,
                     &ZqManip::ZqActuatorReverseMotionPositionsToken,
                     "position of each motor when the states were made (rad, or m)"},
         ZqComponent{&This::m_powerConverterStates, &ZqManip::ZqPowerConverterStatesToken,
                     "for each drive, the states of its power converter"}};
   }
   static ZqActuatorState nullObject() { return {}; }
   bool operator==(const ZqActuatorState&) const = default;

   virtual Reals& outputTorques() { return m_outputTorques; }
   virtual const Reals& outputTorques() const { return m_outputTorques; }
   virtual void setOutputTorques(const Reals& torques) { m_outputTorques = torques; }

   virtual Reals& motorPositions() { return m_motorPositions; }
   virtual const Reals& motorPositions() const { return m_motorPositions; }
   virtual void setMotorPositions(const Reals& positions) { m_motorPositions = positions; }

   virtual Reals& motorVelocities() { return m_motorVelocities; }
   virtual const Reals& motorVelocities() const { return m_motorVelocities; }
   virtual void setMotorVelocities(const Reals& velocities) { m_motorVelocities = velocities; }

   virtual Reals& motorAccelerations() { return m_motorAccelerations; }
   virtual const Reals& motorAccelerations() const { return m_motorAccelerations; }
   virtual void setMotorAccelerations(const Reals& accelerations)
   {
      m_motorAccelerations = accelerations;
   }

   virtual Flags& nonRigidActuatorFlags() { return m_nonRigidActuatorFlags; }
   virtual const Flags& nonRigidActuatorFlags() const { return m_nonRigidActuatorFlags; }
   virtual void setNonRigidActuatorFlags(const Flags& flags) { m_nonRigidActuatorFlags = flags; }

   virtual Reals& springDamperCenters() { return m_springDamperCenters; }
   virtual const Reals& springDamperCenters() const { return m_springDamperCenters; }
   virtual void setSpringDamperCenters(const Reals& centers) { m_springDamperCenters = centers; }

   virtual Flags& staticFrictionModes() { return m_staticFrictionModes; }
   virtual const Flags& staticFrictionModes() const { return m_staticFrictionModes; }
   virtual void setStaticFrictionModes(const Flags& modes) { m_staticFrictionModes = modes; }

   virtual Reals& lastVelocities() { return m_lastVelocities; }
   virtual const Reals& lastVelocities() const { return m_lastVelocities; }
   virtual void setLastVelocities(const Reals& velocities) { m_lastVelocities = velocities; }

   virtual Reals& reverseMotionPositions() { return m_reverseMotionPositions; }
   virtual const Reals& reverseMotionPositions() const { return m_reverseMotionPositions; }
   virtual void setReverseMotionPositions(const Reals& positions)
   {
      m_reverseMotionPositions = positions;
   }

   /// A list for each joint, of a length that its power converter sets.
   virtual RealLists& powerConverterStates() { return m_powerConverterStates; }
   virtual const RealLists& powerConverterStates() const { return m_powerConverterStates; }
   virtual void setPowerConverterStates(const RealLists& states)
   {
      m_powerConverterStates = states;
   }

   /// Keeps the entries that fit and adds zeros and false; `powerConverterStates` stays as it is.
   virtual void resize(unsigned jointCount);

private:
   bool hasSize(ZqU32 jointCount) const noexcept;

   Reals m_outputTorques;
   Reals m_motorPositions;
   Reals m_motorVelocities;
   Reals m_motorAccelerations;
   Flags m_nonRigidActuatorFlags;
   Reals m_springDamperCenters;
   Flags m_staticFrictionModes;
   Reals m_lastVelocities;
   Reals m_reverseMotionPositions;
   RealLists m_powerConverterStates;
};

extern template class ZqXmlClass<ZqActuatorState>;
extern template class ZqXmlVectorType<ZqXmlBasicType<bool>>;
extern template class ZqXmlVectorType<ZqXmlVectorBasicType<ZqReal>>;
