#pragma once

#include "zqManipulator/actuation/ZqBaseJointActuator.h"
#include "zqManipulator/actuation/ZqDriveTrain.h"

/// The drive of a joint in one piece, as old documents hold it: a drive train and limits of the
/// torque at the motor. `ZqJointActuator` takes it over. Parameters and laws are those of
/// `ZqMechanicalActuatorComponent`, but for a gear without loss, and dry friction that meets the
/// torque after friction and stoppers.
class ZqOldJointActuator : public ZqXmlClass<ZqOldJointActuator, ZqBaseJointActuator>,
                           public ZqDriveTrain
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqJointActuatorToken; }
   static constexpr const char* documentation =
      "the drive of a joint in one piece, of old documents";
   static constexpr auto components()
   {
      using This = ZqOldJointActuator;
      return std::tuple_cat(gearComponents(),
                            std::tuple{ZqComponent{&This::m_minTorque, &ZqManip::ZqMinTorqueToken,
                                                   "least torque at the motor (N m, or N)"},
                                       ZqComponent{&This::m_maxTorque, &ZqManip::ZqMaxTorqueToken,
                                                   "greatest torque at the motor (N m, or N)"}},
                            lossComponents());
   }

   /// The link takes no part.
   bool operator==(const ZqOldJointActuator& other) const;
   static ZqOldJointActuator nullObject() { return {}; }

   /// A copy has the link of the original until it is given its own.
   void setManipulatorLink(const ZqManipulatorLink* link) override { m_manipulatorLink = link; }
   ZqReal inertia() const override { return m_inertia; }
   void setInertia(ZqReal inertia) override { m_inertia = inertia; }
   ZqReal frictionCoefficient() const override { return m_frictionCoefficient; }
   void setFrictionCoefficient(ZqReal coefficient) override { m_frictionCoefficient = coefficient; }
   ZqReal gearRatio() const override { return m_gearRatio; }
   void setGearRatio(ZqReal ratio) override { m_gearRatio = ratio; }
   ZqReal lowerLimit() const override { return m_lowerLimit; }
   void setLowerLimit(ZqReal limit) override { m_lowerLimit = limit; }
   ZqReal upperLimit() const override { return m_upperLimit; }
   void setUpperLimit(ZqReal limit) override { m_upperLimit = limit; }
   ZqReal maxOutputRate() const override { return m_maxOutputRate; }
   void setMaxOutputRate(ZqReal rate) override { m_maxOutputRate = rate; }
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
   bool isRigid() const override { return m_isRigid; }
   void setIsRigid(bool isRigid) override { m_isRigid = isRigid; }
   virtual ZqReal jointFlexibilityStiffness() const { return m_jointFlexibilityStiffness; }
   virtual void setJointFlexibilityStiffness(ZqReal stiffness)
   {
      m_jointFlexibilityStiffness = stiffness;
   }
   virtual ZqReal jointFlexibilityDamping() const { return m_jointFlexibilityDamping; }
   virtual void setJointFlexibilityDamping(ZqReal damping) { m_jointFlexibilityDamping = damping; }
   virtual ZqReal backlash() const { return m_backlash; }
   virtual void setBacklash(ZqReal backlash) { m_backlash = backlash; }
   ZqReal maxOutputTorque() const override { return m_gearRatio * m_maxTorque; }
   ZqReal minOutputTorque() const override { return m_gearRatio * m_minTorque; }
   ZqReal maxTorque() const override { return m_maxTorque; }
   void setMaxTorque(ZqReal torque) override { m_maxTorque = torque; }
   ZqReal minTorque() const override { return m_minTorque; }
   void setMinTorque(ZqReal torque) override { m_minTorque = torque; }

   virtual ZqReal outputTorque(ZqReal inputTorque, ZqReal loadTorque,
                               ZqManipulatorActiveState& state) const;
   virtual ZqReal linearTorque(ZqManipulatorActiveState& state) const;
   virtual ZqReal stopperTorque(const ZqManipulatorActiveState& state) const;
   virtual ZqReal viscousFrictionTorque(const ZqManipulatorActiveState& state) const;
   virtual ZqReal dryFrictionTorque(ZqReal drivingTorque, ZqManipulatorActiveState& state) const;
   virtual void acceleration(ZqReal inputTorque, ZqManipulatorActiveState& state) const;
   virtual ZqReal effectiveInertia(ZqReal inertia) const;
   /// Limits of the torque go with the fifth power of the scale.
   virtual void scaleBy(ZqReal scale, ZqReal jointScale);
   virtual void initializeActuatorStates(ZqManipulatorActiveState& state) const;

protected:
   virtual ZqReal nonRigidOutputTorque(ZqManipulatorActiveState& state) const;

private:
   ZqReal m_minTorque = -1e300;
   ZqReal m_maxTorque = 1e300;
};

extern template class ZqXmlClass<ZqOldJointActuator, ZqBaseJointActuator>;
