#include "zqManipulator/actuation/ZqJointActuator.h"

#include "zqManipulator/actuation/ZqHydraulicCylinder.h"
#include "zqManipulator/actuation/ZqOldJointActuator.h"
#include "zqManipulator/actuation/ZqPassThroughPowerConverter.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqJointActuator, ZqBaseJointActuator>;

bool ZqJointActuator::read(ZqXmlReader& reader)
{
   const bool wasRead = ZqXmlClass::read(reader);
   setManipulatorLink(m_manipulatorLink);
   return wasRead;
}

bool ZqJointActuator::operator==(const ZqJointActuator& other) const
{
   return std::apply([&](const auto&... component)
                     { return ((this->*component.member == other.*component.member) && ...); },
                     components());
}

ZqJointActuator ZqJointActuator::defaultObject()
{
   ZqJointActuator actuator;
   actuator.setMechanicalComponent(ZqMechanicalActuatorComponent::defaultObject());
   actuator.setPowerConverter(ZqPassThroughPowerConverter());
   return actuator;
}

void ZqJointActuator::setManipulatorLink(const ZqManipulatorLink* link)
{
   m_manipulatorLink = link;
   if (auto* part = component())
      part->setManipulatorLink(link);
   if (auto* part = converter())
      part->setManipulatorLink(link);
}

void ZqJointActuator::setMechanicalPartContainer(
   const ZqMechanicalActuatorComponentContainer& container)
{
   m_mechanicalComponentContainer = container;
   setManipulatorLink(m_manipulatorLink);
}

void ZqJointActuator::setMechanicalComponent(const ZqMechanicalActuatorComponent& component)
{
   m_mechanicalComponentContainer.setTopElement(component);
   setManipulatorLink(m_manipulatorLink);
}

void ZqJointActuator::setPowerConverterContainer(const ZqPowerConverterContainer& container)
{
   m_powerConverterContainer = container;
   setManipulatorLink(m_manipulatorLink);
}

void ZqJointActuator::setPowerConverter(const ZqBasePowerConverter& converter)
{
   m_powerConverterContainer.setTopElement(converter);
   setManipulatorLink(m_manipulatorLink);
}

void ZqJointActuator::setLowerLimit(ZqReal limit)
{
   if (auto* part = component())
      part->setLowerLimit(limit);
}

void ZqJointActuator::setUpperLimit(ZqReal limit)
{
   if (auto* part = component())
      part->setUpperLimit(limit);
}

void ZqJointActuator::setMaxOutputRate(ZqReal rate)
{
   if (auto* part = component())
      part->setMaxOutputRate(rate);
}

void ZqJointActuator::setMaxTorque(ZqReal torque)
{
   if (auto* part = converter())
      part->setMaxTorque(torque);
}

void ZqJointActuator::setMinTorque(ZqReal torque)
{
   if (auto* part = converter())
      part->setMinTorque(torque);
}

void ZqJointActuator::setInertia(ZqReal inertia)
{
   if (auto* part = component())
      part->setInertia(inertia);
}

void ZqJointActuator::setFrictionCoefficient(ZqReal coefficient)
{
   if (auto* part = component())
      part->setFrictionCoefficient(coefficient);
}

void ZqJointActuator::setGearRatio(ZqReal ratio)
{
   if (auto* part = component())
      part->setGearRatio(ratio);
}

void ZqJointActuator::setIsRigid(bool isRigid)
{
   if (auto* part = component())
      part->setIsRigid(isRigid);
}

void ZqJointActuator::scaleBy(ZqReal scale, ZqReal jointScale)
{
   if (auto* part = component())
      part->scaleBy(scale, jointScale);
   if (auto* part = converter())
      part->scaleBy(scale);
}

void ZqJointActuator::initializeActuatorStates(ZqManipulatorActiveState& state) const
{
   if (const auto* part = component())
      part->initializeActuatorStates(state);
}

void ZqJointActuator::apply(const ZqLinkRestatement& restatement)
{
   if (auto* part = component())
   {
      ZqReal lower = part->lowerLimit();
      ZqReal upper = part->upperLimit();
      restatement.restate(lower, upper);
      part->setLowerLimit(lower);
      part->setUpperLimit(upper);
   }
   if (auto* cylinder = dynamic_cast<ZqHydraulicCylinder*>(converter()))
   {
      setGearRatio(restatement.jointSign * gearRatio());
      // Chamber 1 begins, and the stroke ends, where they did.
      const ZqReal shift = gearRatio() * restatement.jointShift;
      cylinder->setMaximumFluidLength(cylinder->maximumFluidLength() + shift);
      cylinder->setFluidVolume1(cylinder->fluidVolume1() - cylinder->effectiveArea1() * shift);
   }
   else if (const auto* part = component();
            restatement.jointSign < 0.0 && part != nullptr && !part->isRigid())
      setGearRatio(-gearRatio()); // the play is on one side of the motor
   else if (restatement.jointSign < 0.0)
   {
      const ZqReal greatest = -minTorque();
      setMinTorque(-maxTorque());
      setMaxTorque(greatest);
   }
}

void ZqJointActuator::setFromOldJointActuator(const ZqOldJointActuator& old)
{
   ZqPassThroughPowerConverter converter;
   converter.setMinTorque(old.minTorque());
   converter.setMaxTorque(old.maxTorque());
   setMechanicalComponent(ZqMechanicalActuatorComponent(old));
   setPowerConverter(converter);
}
