#include "zqManipulator/actuation/ZqMechanicalActuatorComponent.h"

#include <cmath>

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

ZqReal ZqMechanicalActuatorComponent::effectiveInertia(ZqReal) const
{
   return m_isRigid ? m_gearRatio * m_gearRatio * m_inertia : 0.0;
}

void ZqMechanicalActuatorComponent::scaleBy(ZqReal scale, ZqReal jointScale)
{
   const ZqReal square = scale * scale;
   const ZqReal fifthPower = std::pow(scale, 5.0);
   m_inertia *= fifthPower;
   m_frictionCoefficient *= square;
   m_lowerLimit *= jointScale;
   m_upperLimit *= jointScale;
   m_stopperZone *= jointScale;
   m_stopperSpringCoefficient *= fifthPower;
   m_stopperDampingCoefficient *= fifthPower;
   m_staticCoulombFriction *= fifthPower;
   m_staticCoulombSpringCoefficient *= fifthPower;
   m_staticCoulombDamperCoefficient *= fifthPower;
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
