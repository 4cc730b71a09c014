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
   : public ZqDriveTrainClass<ZqMechanicalActuatorComponent, ZqBaseExpressionTreeElement>
{
public:
   static constexpr Messages messages{
      "ZqMechanicalActuatorComponent::stopperTorque()->index out of range\n",
      "ZqMechanicalActuatorComponent::viscousFrictionTorque()->index out of range\n",
      "ZqMechanicalActuatorComponent::dryFrictionTorque()->index out of range\n",
      "ZqMechanicalActuatorComponent::acceleration()->index out of range\n",
      "ZqMechanicalActuatorComponent::initializeActuatorStates()->index out of range\n",
      "ZqMechanicalActuatorComponent::nonRigidOutputTorque()->index out of range\n"};
   static constexpr bool frictionMeetsRest = false;
   static const ZqToken& classToken() { return ZqManip::ZqMechanicalActuatorComponentToken; }
   static constexpr const char* documentation =
      "a drive train: gear, motor inertia, friction, limits, stoppers and flexible shaft";
   template <class This = ZqMechanicalActuatorComponent>
   static constexpr auto components()
   {
      return std::tuple_cat(
         This::template gearComponents<>(), This::template lossComponents<>(),
         std::tuple{ZqComponent{&This::m_maxEfficiency, &ZqManip::ZqMaxEfficiencyToken,
                                "efficiency of the gear"}});
   }

   ZqMechanicalActuatorComponent() = default;
   /// With the parameters of another drive train, and no loss in the gear.
   explicit ZqMechanicalActuatorComponent(const ZqDriveTrain& driveTrain)
      : ZqDriveTrainClass(driveTrain)
   {
   }
   /// The link takes no part.
   bool operator==(const ZqMechanicalActuatorComponent& other) const
   {
      return hasParametersOf(other);
   }
   /// A geared drive with stoppers.
   static ZqMechanicalActuatorComponent defaultObject();
   static ZqMechanicalActuatorComponent nullObject() { return {}; }

   virtual ZqReal maxEfficiency() const { return m_maxEfficiency; }
   virtual void setMaxEfficiency(ZqReal efficiency) { m_maxEfficiency = efficiency; }
   ZqReal efficiency() const { return m_maxEfficiency; }

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
extern template class ZqDriveTrainClass<ZqMechanicalActuatorComponent, ZqBaseExpressionTreeElement>;
