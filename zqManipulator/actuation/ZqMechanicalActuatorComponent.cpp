#include "zqManipulator/actuation/ZqMechanicalActuatorComponent.h"

#include <typeinfo>

template class ZqXmlClass<ZqMechanicalActuatorComponent, ZqBaseExpressionTreeElement>;

template class ZqXmlVariableType<ZqMechanicalActuatorComponent>;
template class ZqXmlSingleVariableType<ZqMechanicalActuatorComponent,
                                       ZqXmlClonePointer<ZqMechanicalActuatorComponent>>;
template class ZqBaseExpressionTreeContainer<ZqMechanicalActuatorComponent>;

bool ZqMechanicalActuatorComponent::operator==(const ZqMechanicalActuatorComponent& other) const
{
   return std::apply([&](const auto&... component)
                     { return ((this->*component.member == other.*component.member) && ...); },
                     components());
}

ZqMechanicalActuatorComponent ZqMechanicalActuatorComponent::defaultObject()
{
   ZqMechanicalActuatorComponent component;
   component.m_inertia = 0.004;
   component.m_frictionCoefficient = 0.001;
   component.m_gearRatio = 40.0;
   component.m_lowerLimit = -150.0;
   component.m_upperLimit = 150.0;
   component.m_maxOutputRate = 1000.0;
   component.m_stopperZone = 0.08;
   component.m_stopperSpringCoefficient = 4900.0;
   component.m_limitingVelocityStickRegion = 140.0;
   return component;
}

ZqReal ZqMechanicalActuatorComponent::outputTorque(ZqReal inputTorque, ZqReal loadTorque,
                                                   ZqManipulatorActiveState& state) const
{
   if (!m_isRigid)
   {
      ensureOutputTorque(state);
      return nonRigidOutputTorque(state);
   }
   const ZqReal driving = inputTorque * m_gearRatio * m_maxEfficiency;
   ZqReal torque = 0.0;
   if (typeid(*this) == typeid(ZqMechanicalActuatorComponent) &&
       rigidTorqueLaw(driving, loadTorque, false, state, torque))
      return torque;
   const ZqReal linear = linearTorque(state);
   const ZqReal friction = dryFrictionTorque(driving - loadTorque, state);
   return keptOutputTorque(driving - linear - friction, state);
}

ZqReal ZqMechanicalActuatorComponent::linearTorque(ZqManipulatorActiveState& state) const
{
   return viscousFrictionTorque(state) + stopperTorque(state);
}

ZqReal ZqMechanicalActuatorComponent::stopperTorque(const ZqManipulatorActiveState& state) const
{
   return stopperLaw(state, "ZqMechanicalActuatorComponent::stopperTorque()->index out of range\n");
}

ZqReal
ZqMechanicalActuatorComponent::viscousFrictionTorque(const ZqManipulatorActiveState& state) const
{
   return viscousFrictionLaw(
      state, "ZqMechanicalActuatorComponent::viscousFrictionTorque()->index out of range\n");
}

ZqReal ZqMechanicalActuatorComponent::dryFrictionTorque(ZqReal drivingTorque,
                                                        ZqManipulatorActiveState& state) const
{
   return dryFrictionLaw(
      drivingTorque, state,
      "ZqMechanicalActuatorComponent::dryFrictionTorque()->index out of range\n");
}

void ZqMechanicalActuatorComponent::acceleration(ZqReal inputTorque,
                                                 ZqManipulatorActiveState& state) const
{
   ZqReal* const result = motorAcceleration(
      state, "ZqMechanicalActuatorComponent::acceleration()->index out of range\n");
   if (result == nullptr)
      return;
   if (!motorIsBody())
   {
      *result = followingAcceleration(state);
      return;
   }
   const ZqReal net = inputTorque * m_gearRatio * m_maxEfficiency - linearTorque(state) -
                      nonRigidOutputTorque(state);
   *result = motorAccelerationLaw(net - dryFrictionTorque(net, state));
}

ZqReal ZqMechanicalActuatorComponent::effectiveInertia(ZqReal) const
{
   return effectiveInertiaLaw();
}

void ZqMechanicalActuatorComponent::scaleBy(ZqReal scale, ZqReal jointScale)
{
   scaleParametersBy(scale, jointScale);
}

void ZqMechanicalActuatorComponent::initializeActuatorStates(ZqManipulatorActiveState& state) const
{
   initializeStates(
      state, "ZqMechanicalActuatorComponent::initializeActuatorStates()->index out of range\n");
}

ZqReal ZqMechanicalActuatorComponent::nonRigidOutputTorque(ZqManipulatorActiveState& state) const
{
   return shaftLaw(state,
                   "ZqMechanicalActuatorComponent::nonRigidOutputTorque()->index out of range\n");
}

ZqXmlObject* ZqMechanicalActuatorComponentContainer::clone() const
{
   return new ZqMechanicalActuatorComponentContainer(*this);
}

ZqXmlObject* ZqMechanicalActuatorComponentContainer::newObject() const
{
   return new ZqMechanicalActuatorComponentContainer();
}

bool ZqMechanicalActuatorComponentContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqMechanicalActuatorComponentContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqMechanicalActuatorComponentContainer::token() const
{
   return classToken();
}

void ZqMechanicalActuatorComponentContainer::registerComponentCreators()
{
   registerComponentCreator(ZqMechanicalActuatorComponent::classToken(),
                            ZqMechanicalActuatorComponent::creator);
}
