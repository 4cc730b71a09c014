#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

class ZqManipulatorActiveState;
class ZqManipulatorLink;

/// What the drive trains have in common: their parameters, which `ZqMechanicalActuatorComponent`
/// tells, and the laws of friction, stoppers and shaft.
///
/// A law that finds no entry for its joint in the state logs the message that it is given, and
/// answers 0.0 or does nothing.
class ZqDriveTrain
{
public:
   /// The product, but never infinite: a limit that is none stays one that a document can hold.
   static ZqReal scaledLimit(ZqReal limit, ZqReal scale);

protected:
   /// \name The parameters in documents, which have torque limits between the two in the old form
   /// @{
   static constexpr auto gearComponents()
   {
      using This = ZqDriveTrain;
      return std::tuple{
         ZqComponent{&This::m_inertia, &ZqManip::ZqInertiaToken,
                     "inertia of rotor and gear, at the motor (kg m^2, or kg)"},
         ZqComponent{&This::m_frictionCoefficient, &ZqManip::ZqFrictionCoefficientToken,
                     "viscous friction, at the motor (N m s/rad, or N s/m)"},
         ZqComponent{&This::m_gearRatio, &ZqManip::ZqGearRatioToken,
                     "motor position per joint position"},
         ZqComponent{&This::m_lowerLimit, &ZqManip::ZqLowerLimitToken,
                     "least joint position (rad, or m)"},
         ZqComponent{&This::m_upperLimit, &ZqManip::ZqUpperLimitToken,
                     "greatest joint position (rad, or m)"},
         ZqComponent{&This::m_maxOutputRate, &ZqManip::ZqMaxOutputRateToken,
                     "greatest joint velocity (rad/s, or m/s)"},
         ZqComponent{&This::m_stopperZone, &ZqManip::ZqStopperZoneToken,
                     "distance before the limits in which stoppers push (rad, or m)"}};
   }
   static constexpr auto lossComponents()
   {
      using This = ZqDriveTrain;
      return std::tuple{
         ZqComponent{&This::m_stopperSpringCoefficient, &ZqManip::ZqStopperSpringCoefficientToken,
                     "spring of the stoppers, at the joint (N m/rad, or N/m)"},
         ZqComponent{&This::m_stopperDampingCoefficient, &ZqManip::ZqStopperDampingCoefficientToken,
                     "damper of the stoppers, at the joint (N m s/rad, or N s/m)"},
         ZqComponent{&This::m_staticCoulombFriction, &ZqManip::ZqStaticCoulombFrictionToken,
                     "torque at which the motor breaks away, at the motor (N m, or N)"},
         ZqComponent{&This::m_kineticCoulombFrictionPercentage,
                     &ZqManip::ZqKineticCoulombFrictionPercentageToken,
                     "sliding friction over static friction, 1 for equal"},
         ZqComponent{&This::m_staticCoulombSpringCoefficient,
                     &ZqManip::ZqStaticCoulombSpringCoefficientToken,
                     "spring that holds the motor where it sticks (N m/rad, or N/m)"},
         ZqComponent{&This::m_staticCoulombDamperCoefficient,
                     &ZqManip::ZqStaticCoulombDamperCoefficientToken,
                     "damper that holds the motor where it sticks (N m s/rad, or N s/m)"},
         ZqComponent{&This::m_limitingVelocityStickRegion,
                     &ZqManip::ZqLimitingVelocityStickRegionToken,
                     "motor velocity from which on it slips (rad/s, or m/s)"},
         ZqComponent{&This::m_isRigid, &ZqManip::ZqIsRigidJointToken,
                     "whether the shaft is rigid, so that the motor follows the joint"},
         ZqComponent{&This::m_jointFlexibilityStiffness, &ZqManip::ZqJointFlexibilityStiffnessToken,
                     "stiffness of the shaft, at the joint (N m/rad, or N/m)"},
         ZqComponent{&This::m_jointFlexibilityDamping, &ZqManip::ZqJointFlexibilityDampingToken,
                     "damping of the shaft, at the joint (N m s/rad, or N s/m)"},
         ZqComponent{&This::m_backlash, &ZqManip::ZqBacklashToken,
                     "backlash of the gear, at the motor (rad, or m)"}};
   }
   /// @}

   /// c v r of the motor's velocity v.
   ZqReal viscousFrictionLaw(const ZqManipulatorActiveState& state, const char* message) const;
   /// A spring and a damper in the zones before the limits. Both zones count when they overlap.
   ZqReal stopperLaw(const ZqManipulatorActiveState& state, const char* message) const;
   /// Coulomb friction against a torque at the joint. Below the limiting velocity the motor sticks
   /// where it came to be so slow: up to the static level friction takes up the torque, and a
   /// spring and a damper hold the motor. From that velocity on it slips. 0.0 for a gear ratio of
   /// 0.0.
   ZqReal dryFrictionLaw(ZqReal torque, ZqManipulatorActiveState& state, const char* message) const;
   /// What is left of a rigid drive's torque at the joint, in one go, for a class that has no other
   /// laws than these. Dry friction meets the drive less the load and, with `frictionMeetsRest`, less
   /// viscous friction and stoppers. False, and nothing done, when any entry is missing.
   bool rigidTorqueLaw(ZqReal driving, ZqReal load, bool frictionMeetsRest,
                       ZqManipulatorActiveState& state, ZqReal& torque) const;
   /// The torque of a flexible shaft with backlash, which is kept as the output torque. 0.0 within
   /// the backlash, and for a gear ratio of 0.0.
   ZqReal shaftLaw(ZqManipulatorActiveState& state, const char* message) const;
   /// The motor's acceleration under a torque at the joint; 0.0 for a gear ratio of 0.0.
   ZqReal motorAccelerationLaw(ZqReal torque) const;
   ZqReal effectiveInertiaLaw() const
   {
      return m_isRigid ? m_gearRatio * m_gearRatio * m_inertia : 0.0;
   }
   void initializeStates(ZqManipulatorActiveState& state, const char* message) const;
   void scaleParametersBy(ZqReal scale, ZqReal jointScale);

   /// Whether the motor has a motion of its own; otherwise it follows the joint.
   bool motorIsBody() const { return !m_isRigid && m_inertia != 0.0; }
   /// Where the motor's acceleration is kept; null, with the message, when the state has no such
   /// entry.
   ZqReal* motorAcceleration(ZqManipulatorActiveState& state, const char* message) const;
   /// The acceleration of a motor that follows the joint.
   ZqReal followingAcceleration(const ZqManipulatorActiveState& state) const;
   /// Gives the joint an entry among the output torques, if its link has an index.
   void ensureOutputTorque(ZqManipulatorActiveState& state) const;
   /// Keeps the output torque, and returns it.
   ZqReal keptOutputTorque(ZqReal torque, ZqManipulatorActiveState& state) const;

   ZqReal m_inertia = 0.0;
   ZqReal m_frictionCoefficient = 0.0;
   ZqReal m_gearRatio = 1.0;
   ZqReal m_lowerLimit = -1e300;
   ZqReal m_upperLimit = 1e300;
   ZqReal m_maxOutputRate = 1e300;
   ZqReal m_stopperZone = 0.0;
   ZqReal m_stopperSpringCoefficient = 0.0;
   ZqReal m_stopperDampingCoefficient = 0.0;
   ZqReal m_staticCoulombFriction = 0.0;
   ZqReal m_kineticCoulombFrictionPercentage = 1.0;
   ZqReal m_staticCoulombSpringCoefficient = 0.0;
   ZqReal m_staticCoulombDamperCoefficient = 0.0;
   ZqReal m_limitingVelocityStickRegion = 1e300;
   bool m_isRigid = true;
   ZqReal m_jointFlexibilityStiffness = 0.0;
   ZqReal m_jointFlexibilityDamping = 0.0;
   ZqReal m_backlash = 0.0;
   const ZqManipulatorLink* m_manipulatorLink = nullptr; ///< not owned

private:
   struct Motion;

   ZqReal viscousFriction(const Motion& motion) const;
   ZqReal stoppers(const Motion& motion) const;
   ZqReal dryFriction(ZqReal torque, const Motion& motion) const;
   ZqU32 jointIndex() const;
};
