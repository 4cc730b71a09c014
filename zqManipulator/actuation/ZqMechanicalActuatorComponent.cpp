#include "zqManipulator/actuation/ZqMechanicalActuatorComponent.h"

template class ZqXmlClass<ZqMechanicalActuatorComponent, ZqBaseExpressionTreeElement>;
template class ZqDriveTrainClass<ZqMechanicalActuatorComponent, ZqBaseExpressionTreeElement>;
template class ZqXmlVariableType<ZqMechanicalActuatorComponent>;
template class ZqXmlSingleVariableType<ZqMechanicalActuatorComponent,
                                       ZqXmlClonePointer<ZqMechanicalActuatorComponent>>;
template class ZqBaseExpressionTreeContainer<ZqMechanicalActuatorComponent>;

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
