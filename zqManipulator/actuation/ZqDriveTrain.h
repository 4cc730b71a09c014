#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

class ZqManipulatorActiveState;
class ZqManipulatorLink;

/// What acts in a drive train in one state, by what becomes of its energy.
struct ZqDriveLoads
{
   /// Torques (N m or N) that go with the joint and with the motor.
   struct Torques
   {
      /// Their power (W), of the rates (rad/s or m/s) of both.
      ZqReal along(ZqReal jointRate, ZqReal motorRate) const noexcept
      {
         return joint * jointRate + motor * motorRate;
      }

      ZqReal joint = 0.0;
      ZqReal motor = 0.0;
   };

   Torques driving;  ///< put in
   Torques friction; ///< lost in viscous and dry friction, and in the gear
   Torques damping;  ///< lost in the dampers of stoppers and shaft
};

/// What the drive trains have in common: their parameters, which `ZqMechanicalActuatorComponent`
/// tells, and the laws of friction, stoppers and shaft.
///
/// A law that finds no entry for its joint in the state logs the message that it is given, and
/// answers 0.0 or does nothing.
class ZqDriveTrain
{
public:
   /// limit * scale, but never infinite: 1e300, which stands for no limit, stays a number that a document
   /// can hold.
   static ZqReal scaledLimit(ZqReal limit, ZqReal scale);

   /// What the laws log when the state has no entry for the joint.
   struct Messages
   {
      const char* stopperTorque;
      const char* viscousFrictionTorque;
      const char* dryFrictionTorque;
      const char* acceleration;
      const char* initializeActuatorStates;
      const char* nonRigidOutputTorque;
   };

protected:
   /// \name The parameters in documents, which have torque limits between the two in the old form
   /// @{
   template <class This = ZqDriveTrain>
   static constexpr auto gearComponents()
   {
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
   template <class This = ZqDriveTrain>
   static constexpr auto lossComponents()
   {
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
   /// The output torque of a rigid drive by all laws at once, for a class that overrides none of them.
   /// Dry friction opposes the driving torque less the load and, with `frictionMeetsRest`, less viscous
   /// friction and stoppers. False, and nothing done, when any entry is missing.
   bool rigidTorqueLaw(ZqReal driving, ZqReal load, bool frictionMeetsRest,
                       ZqManipulatorActiveState& state, ZqReal& torque) const;
   /// The torque of a flexible shaft with backlash, which is kept as the output torque. 0.0 within
   /// the backlash, and for a gear ratio of 0.0.
   ZqReal shaftLaw(ZqManipulatorActiveState& state, const char* message) const;
   /// The motor's acceleration under a torque at the joint; 0.0 for a gear ratio of 0.0.
   ZqReal motorAccelerationLaw(ZqReal torque) const;
   /// What springs of stoppers and of the shaft hold (J).
   ZqReal heldEnergyLaw(const ZqManipulatorActiveState& state) const;
   /// As `loads` of the derived classes, with the torque that the gear lets through.
   ZqDriveLoads loadsLaw(ZqReal inputTorque, ZqReal efficiency,
                         const ZqManipulatorActiveState& state) const;
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
   struct Shaft;

   ZqReal viscousFriction(const Motion& motion) const;
   ZqReal stoppers(const Motion& motion) const;
   ZqReal stoppersHeld(const Motion& motion) const;
   ZqReal stopperDamping(const Motion& motion) const;
   ZqReal dryFriction(ZqReal torque, const Motion& motion) const;
   Shaft shaft(const Motion& motion) const;
   ZqDriveLoads rigidLoads(ZqReal input, const ZqManipulatorActiveState& state) const;
   ZqDriveLoads flexibleLoads(ZqReal input, ZqReal efficiency,
                              const ZqManipulatorActiveState& state) const;
   ZqU32 jointIndex() const;
};

/// What the two classes of drive trains have in common: getters and setters of the parameters, and the
/// laws as operations, which use one another virtually.
///
/// `Derived` states `messages`; `efficiency()`, that of its gear; and `frictionMeetsRest`: whether the
/// dry friction of a rigid drive opposes what viscous friction and stoppers have left of the torque, or
/// all of it.
template <class Derived, class Base>
class ZqDriveTrainClass : public ZqXmlClass<Derived, Base>, public ZqDriveTrain
{
public:
   /// The link whose joint is driven; it is not owned, and may be null. A copy has the link of the
   /// original until it is given its own.
   virtual void setManipulatorLink(const ZqManipulatorLink* link) { m_manipulatorLink = link; }
   virtual ZqReal inertia() const { return m_inertia; }
   virtual void setInertia(ZqReal inertia) { m_inertia = inertia; }
   virtual ZqReal frictionCoefficient() const { return m_frictionCoefficient; }
   virtual void setFrictionCoefficient(ZqReal coefficient) { m_frictionCoefficient = coefficient; }
   virtual ZqReal gearRatio() const { return m_gearRatio; }
   virtual void setGearRatio(ZqReal ratio) { m_gearRatio = ratio; }
   virtual ZqReal lowerLimit() const { return m_lowerLimit; }
   virtual void setLowerLimit(ZqReal limit) { m_lowerLimit = limit; }
   virtual ZqReal upperLimit() const { return m_upperLimit; }
   virtual void setUpperLimit(ZqReal limit) { m_upperLimit = limit; }
   virtual ZqReal maxOutputRate() const { return m_maxOutputRate; }
   virtual void setMaxOutputRate(ZqReal rate) { m_maxOutputRate = rate; }
   virtual ZqReal stopperZone() const { return m_stopperZone; }
   virtual void setStopperZone(ZqReal zone) { m_stopperZone = zone; }
   virtual ZqReal stopperSpringCoefficient() const { return m_stopperSpringCoefficient; }
   virtual void setStopperSpringCoefficient(ZqReal coefficient)
   {
      m_stopperSpringCoefficient = coefficient;
   }
   virtual ZqReal stopperDampingCoefficient() const { return m_stopperDampingCoefficient; }
   virtual void setStopperDampingCoefficient(ZqReal coefficient)
   {
      m_stopperDampingCoefficient = coefficient;
   }
   virtual ZqReal staticCoulombFriction() const { return m_staticCoulombFriction; }
   virtual void setStaticCoulombFriction(ZqReal friction) { m_staticCoulombFriction = friction; }
   virtual ZqReal kineticCoulombFrictionPercentage() const
   {
      return m_kineticCoulombFrictionPercentage;
   }
   virtual void setKineticCoulombFrictionPercentage(ZqReal fraction)
   {
      m_kineticCoulombFrictionPercentage = fraction;
   }
   virtual ZqReal staticCoulombSpringCoefficient() const
   {
      return m_staticCoulombSpringCoefficient;
   }
   virtual void setStaticCoulombSpringCoefficient(ZqReal coefficient)
   {
      m_staticCoulombSpringCoefficient = coefficient;
   }
   virtual ZqReal staticCoulombDamperCoefficient() const
   {
      return m_staticCoulombDamperCoefficient;
   }
   virtual void setStaticCoulombDamperCoefficient(ZqReal coefficient)
   {
      m_staticCoulombDamperCoefficient = coefficient;
   }
   virtual ZqReal limitingVelocityStickRegion() const { return m_limitingVelocityStickRegion; }
   virtual void setLimitingVelocityStickRegion(ZqReal velocity)
   {
      m_limitingVelocityStickRegion = velocity;
   }
   virtual bool isRigid() const { return m_isRigid; }
   virtual void setIsRigid(bool isRigid) { m_isRigid = isRigid; }
   virtual ZqReal jointFlexibilityStiffness() const { return m_jointFlexibilityStiffness; }
   virtual void setJointFlexibilityStiffness(ZqReal stiffness)
   {
      m_jointFlexibilityStiffness = stiffness;
   }
   virtual ZqReal jointFlexibilityDamping() const { return m_jointFlexibilityDamping; }
   virtual void setJointFlexibilityDamping(ZqReal damping) { m_jointFlexibilityDamping = damping; }
   virtual ZqReal backlash() const { return m_backlash; }
   virtual void setBacklash(ZqReal backlash) { m_backlash = backlash; }

   /// The torque at the joint (N m or N) that a torque at the motor gives: what friction and
   /// stoppers leave of it, or of a flexible joint the torque of the shaft, which the state of the
   /// motor decides. The load is what the joint's motion takes; dry friction opposes what is left.
   /// The torque is kept in the state's `outputTorques`, which grow where they have no entry for
   /// the joint. What the state has no entries for takes nothing of the drive.
   virtual ZqReal outputTorque(ZqReal inputTorque, ZqReal loadTorque,
                               ZqManipulatorActiveState& state) const;
   /// Viscous friction and stoppers. As these, it counts against the drive.
   virtual ZqReal linearTorque(ZqManipulatorActiveState& state) const;
   /// Of springs and dampers in the zones before the limits; both count where the zones overlap. A
   /// positive one pushes to lower positions.
   virtual ZqReal stopperTorque(const ZqManipulatorActiveState& state) const;
   virtual ZqReal viscousFrictionTorque(const ZqManipulatorActiveState& state) const;
   /// Stiction and Coulomb friction against a torque at the joint. The state remembers whether the
   /// motor sticks, and where: each call may change it.
   virtual ZqReal dryFrictionTorque(ZqReal drivingTorque, ZqManipulatorActiveState& state) const;
   /// Sets the motor's acceleration in the state: that of a body of its own between the torque at
   /// the motor and a flexible shaft, or what follows from the joint. Without any joint
   /// accelerations in the state the joint has none.
   virtual void acceleration(ZqReal inputTorque, ZqManipulatorActiveState& state) const;
   /// The motor's inertia as the joint feels it; 0.0 for a flexible joint, behind which the motor
   /// is a body of its own. The argument has no effect.
   virtual ZqReal effectiveInertia(ZqReal inertia) const;
   /// Scales lengths by `scale` and joint positions by `jointScale`. At constant density the
   /// inertia goes with the fifth power of the scale; so do the stiffness, damping and friction of
   /// stoppers and stiction, by which a joint bounces and sticks at the same times as before. The
   /// viscous coefficient goes with the square, the limits and the zone with the joint position.
   /// Nothing else changes.
   virtual void scaleBy(ZqReal scale, ZqReal jointScale);
   /// Gives the actuator state an entry for each joint, and sets that of this joint to a motor that
   /// follows the joint and does not stick. States of power converters are left to the caller.
   virtual void initializeActuatorStates(ZqManipulatorActiveState& state) const;
   /// \name Energies
   /// By the laws of this class. What the springs hold that hold a motor where it sticks counts as friction, when
   /// they take it in and when they give it back. A state without entries for the joint holds nothing, and has no
   /// loads.
   /// @{
   /// In springs of stoppers, and in the shaft (J). The stoppers of a flexible drive push the motor by the position
   /// of the joint, and hold nothing.
   ZqReal heldEnergy(const ZqManipulatorActiveState& state) const { return heldEnergyLaw(state); }
   /// What acts at a torque at the motor, after `outputTorque` was asked for the state. The friction of a rigid
   /// drive is all that its output torque lacks, of an own class too; that of a gear with an efficiency is negative
   /// where the joint drives the motor. What the stoppers of a flexible drive do counts as damping. A flexible
   /// drive without inertia is driven by what its shaft asks for.
   ZqDriveLoads loads(ZqReal inputTorque, const ZqManipulatorActiveState& state) const
   {
      return loadsLaw(inputTorque, self().efficiency(), state);
   }
   /// @}

protected:
   ZqDriveTrainClass() = default;
   explicit ZqDriveTrainClass(const ZqDriveTrain& driveTrain) : ZqDriveTrain(driveTrain) {}
   /// The torque of the flexible shaft, which is kept as the output torque; 0.0 within the backlash.
   virtual ZqReal nonRigidOutputTorque(ZqManipulatorActiveState& state) const;
   /// The link takes no part.
   bool hasParametersOf(const Derived& other) const;

private:
   const Derived& self() const { return static_cast<const Derived&>(*this); }
};

template <class Derived, class Base>
bool ZqDriveTrainClass<Derived, Base>::hasParametersOf(const Derived& other) const
{
   return std::apply([&](const auto&... component)
                     { return ((self().*component.member == other.*component.member) && ...); },
                     Derived::components());
}

template <class Derived, class Base>
ZqReal ZqDriveTrainClass<Derived, Base>::outputTorque(ZqReal inputTorque, ZqReal loadTorque,
                                                      ZqManipulatorActiveState& state) const
{
   if (!m_isRigid)
   {
      ensureOutputTorque(state);
      return nonRigidOutputTorque(state);
   }
   const ZqReal driving = inputTorque * m_gearRatio * self().efficiency();
   ZqReal torque = 0.0;
   if (typeid(*this) == typeid(Derived) &&
       rigidTorqueLaw(driving, loadTorque, Derived::frictionMeetsRest, state, torque))
      return torque;
   const ZqReal linear = linearTorque(state);
   const ZqReal met =
      Derived::frictionMeetsRest ? driving - loadTorque - linear : driving - loadTorque;
   const ZqReal friction = dryFrictionTorque(met, state);
   return keptOutputTorque(driving - linear - friction, state);
}

template <class Derived, class Base>
ZqReal ZqDriveTrainClass<Derived, Base>::linearTorque(ZqManipulatorActiveState& state) const
{
   return viscousFrictionTorque(state) + stopperTorque(state);
}

template <class Derived, class Base>
ZqReal ZqDriveTrainClass<Derived, Base>::stopperTorque(const ZqManipulatorActiveState& state) const
{
   return stopperLaw(state, Derived::messages.stopperTorque);
}

template <class Derived, class Base>
ZqReal
ZqDriveTrainClass<Derived, Base>::viscousFrictionTorque(const ZqManipulatorActiveState& state) const
{
   return viscousFrictionLaw(state, Derived::messages.viscousFrictionTorque);
}

template <class Derived, class Base>
ZqReal ZqDriveTrainClass<Derived, Base>::dryFrictionTorque(ZqReal drivingTorque,
                                                           ZqManipulatorActiveState& state) const
{
   return dryFrictionLaw(drivingTorque, state, Derived::messages.dryFrictionTorque);
}

template <class Derived, class Base>
void ZqDriveTrainClass<Derived, Base>::acceleration(ZqReal inputTorque,
                                                    ZqManipulatorActiveState& state) const
{
   ZqReal* const result = motorAcceleration(state, Derived::messages.acceleration);
   if (result == nullptr)
      return;
   if (!motorIsBody())
   {
      *result = followingAcceleration(state);
      return;
   }
   const ZqReal net = inputTorque * m_gearRatio * self().efficiency() - linearTorque(state) -
                      nonRigidOutputTorque(state);
   *result = motorAccelerationLaw(net - dryFrictionTorque(net, state));
}

template <class Derived, class Base>
ZqReal ZqDriveTrainClass<Derived, Base>::effectiveInertia(ZqReal) const
{
   return effectiveInertiaLaw();
}

template <class Derived, class Base>
void ZqDriveTrainClass<Derived, Base>::scaleBy(ZqReal scale, ZqReal jointScale)
{
   scaleParametersBy(scale, jointScale);
}

template <class Derived, class Base>
void ZqDriveTrainClass<Derived, Base>::initializeActuatorStates(
   ZqManipulatorActiveState& state) const
{
   initializeStates(state, Derived::messages.initializeActuatorStates);
}

template <class Derived, class Base>
ZqReal ZqDriveTrainClass<Derived, Base>::nonRigidOutputTorque(ZqManipulatorActiveState& state) const
{
   return shaftLaw(state, Derived::messages.nonRigidOutputTorque);
}
