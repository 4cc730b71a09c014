#pragma once

#include "zqManipulator/actuation/ZqDriveTrain.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"

/// The drive train between a motor and a joint: gear, motor inertia, viscous friction, end
/// stoppers, Coulomb friction with stiction, flexibility with backlash, and efficiency.
///
/// These are parameters only; what moves stands in the active state, by the index of the link. The
/// motor turns by the gear ratio times the joint position. Units are those of the joint position
/// (rad or m, written rad here) and of the torque that belongs to it (N m or N).
///
/// | parameter                        | side  | unit          | meaning                           |
/// |----------------------------------|-------|---------------|-----------------------------------|
/// | inertia                          | motor | kg m^2        | of rotor and gear                 |
/// | frictionCoefficient              | motor | N m s / rad   | viscous                           |
/// | gearRatio                        |       |               | motor position per joint position |
/// | lowerLimit, upperLimit           | joint | rad           | where the joint ends              |
/// | maxOutputRate                    | joint | rad / s       |                                   |
/// | stopperZone                      | joint | rad           | before the limits, where stoppers |
/// |                                  |       |               | begin to push                     |
/// | stopperSpringCoefficient         | joint | N m / rad     |                                   |
/// | stopperDampingCoefficient        | joint | N m s / rad   |                                   |
/// | staticCoulombFriction            | motor | N m           | at which the motor breaks away    |
/// | kineticCoulombFrictionPercentage |       |               | sliding over static level, 1.0: all|
/// | staticCoulombSpringCoefficient   | motor | N m / rad     | about where the motor sticks      |
/// | staticCoulombDamperCoefficient   | motor | N m s / rad   |                                   |
/// | limitingVelocityStickRegion      | motor | rad / s       | from which on the motor slips     |
/// | jointFlexibilityStiffness        | joint | N m / rad     | of the shaft                      |
/// | jointFlexibilityDamping          | joint | N m s / rad   |                                   |
/// | backlash                         | motor | rad           |                                   |
/// | maxEfficiency                    |       |               | of the gear                       |
///
/// Values are kept as they come: the limits of a document may be crossed, and setters take NaN too,
/// so whoever compares with them decides what that means.
///
/// The laws read the entry of the link's index in the lists of the state. Where there is none, as
/// before `initializeActuatorStates`, each logs a message and answers 0.0 or does nothing. Through
/// a gear ratio of 0.0 no torque passes by friction or a flexible shaft, and no acceleration to the
/// motor.
class ZqMechanicalActuatorComponent
   : public ZqXmlClass<ZqMechanicalActuatorComponent, ZqBaseExpressionTreeElement>,
     public ZqDriveTrain
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqMechanicalActuatorComponentToken; }
   static constexpr const char* documentation =
      "a drive train: gear, motor inertia, friction, limits, stoppers and flexible shaft";
   static constexpr auto components()
   {
      return std::tuple_cat(
         gearComponents(), lossComponents(),
         std::tuple{ZqComponent{&ZqMechanicalActuatorComponent::m_maxEfficiency,
                                &ZqManip::ZqMaxEfficiencyToken, "efficiency of the gear"}});
   }

   ZqMechanicalActuatorComponent() = default;
   /// With the parameters of another drive train, and no loss in the gear.
   explicit ZqMechanicalActuatorComponent(const ZqDriveTrain& driveTrain) : ZqDriveTrain(driveTrain)
   {
   }
   /// The link takes no part.
   bool operator==(const ZqMechanicalActuatorComponent& other) const;
   /// A geared drive with stoppers.
   static ZqMechanicalActuatorComponent defaultObject();
   static ZqMechanicalActuatorComponent nullObject() { return {}; }

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
   virtual ZqReal maxEfficiency() const { return m_maxEfficiency; }
   virtual void setMaxEfficiency(ZqReal efficiency) { m_maxEfficiency = efficiency; }

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

protected:
   /// The torque of the flexible shaft, which is kept as the output torque; 0.0 within the backlash.
   virtual ZqReal nonRigidOutputTorque(ZqManipulatorActiveState& state) const;

private:
   ZqReal m_maxEfficiency = 1.0;
};

extern template class ZqXmlVariableType<ZqMechanicalActuatorComponent>;
extern template class ZqXmlSingleVariableType<ZqMechanicalActuatorComponent,
                                              ZqXmlClonePointer<ZqMechanicalActuatorComponent>>;
extern template class ZqBaseExpressionTreeContainer<ZqMechanicalActuatorComponent>;

/// A container of at most one drive train. Without one it gives no torque.
class ZqMechanicalActuatorComponentContainer
   : public ZqBaseExpressionTreeContainer<ZqMechanicalActuatorComponent>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken()
   {
      return ZqManip::ZqMechanicalActuatorComponentContainerToken;
   }
   static ZqXmlObject* creator() { return new ZqMechanicalActuatorComponentContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   static ZqMechanicalActuatorComponentContainer nullObject() { return {}; }
   bool operator==(const ZqMechanicalActuatorComponentContainer&) const = default;

   /// \name The drive train's torques
   /// @{
   ZqReal linearTorque(ZqManipulatorActiveState& state) const
   {
      return m_element ? m_element->linearTorque(state) : 0.0;
   }
   ZqReal outputTorque(ZqReal inputTorque, ZqReal loadTorque, ZqManipulatorActiveState& state) const
   {
      return m_element ? m_element->outputTorque(inputTorque, loadTorque, state) : 0.0;
   }
   /// @}
};

extern template class ZqXmlClass<ZqMechanicalActuatorComponent, ZqBaseExpressionTreeElement>;
