#pragma once

#include "zqManipulator/actuation/ZqBaseJointActuator.h"
#include "zqManipulator/actuation/ZqMechanicalActuatorComponent.h"
#include "zqManipulator/actuation/ZqPowerConverterContainer.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/tools/labels/ZqManufacturerData.h"

class ZqOldJointActuator;
struct ZqLinkRestatement;

/// The drive of one joint, made of parts: a drive train, a power converter, and the records of who
/// made them. It owns its parts, and any may be missing. What a missing part would answer is
/// neutral, and what would set a value of it does nothing.
class ZqJointActuator : public ZqXmlClass<ZqJointActuator, ZqBaseJointActuator>
{
public:
   using GearheadData = ZqXmlVectorType<ZqManufacturerData>;

   static const ZqToken& classToken() { return ZqManip::ZqCompositeJointActuatorToken; }
   static constexpr const char* documentation =
      "the drive of a joint: a power converter, whose torque the drive train carries to the joint";
   template <class This = ZqJointActuator>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_mechanicalComponentContainer,
                     &ZqManip::ZqMechanicalActuatorComponentContainerToken,
                     "drive train between motor and joint"},
         ZqComponent{&This::m_powerConverterContainer, &ZqManip::ZqPowerConverterContainerToken,
                     "what makes the torque at the motor; without one there is none"},
         ZqComponent{&This::m_primeMoverData, &ZqManip::ZqPrimeMoverManufacturerDataToken,
                     "maker and part of the motor"},
         ZqComponent{&This::m_gearheadData, &ZqManip::ZqGearheadManufacturerDataVectorToken,
                     "makers and parts of the gears"}};
   }
   /// Gives the parts that are read this actuator's link.
   bool read(ZqXmlReader& reader) override;

   /// The link takes no part.
   bool operator==(const ZqJointActuator& other) const;
   /// An actuator with the default drive train, whose command is the torque.
   static ZqJointActuator defaultObject();
   static ZqJointActuator nullObject() { return {}; }

   /// The parts get the link too. A copy has the link of the original until it is given its own.
   void setManipulatorLink(const ZqManipulatorLink* link) override;
   virtual ZqMechanicalActuatorComponentContainer& mechanicalComponentContainer()
   {
      return m_mechanicalComponentContainer;
   }
   virtual const ZqMechanicalActuatorComponentContainer& mechanicalComponentContainer() const
   {
      return m_mechanicalComponentContainer;
   }
   /// Holds a copy, whose drive train gets this actuator's link.
   virtual void setMechanicalPartContainer(const ZqMechanicalActuatorComponentContainer& container);
   /// The same for the drive train itself.
   virtual void setMechanicalComponent(const ZqMechanicalActuatorComponent& component);
   virtual ZqPowerConverterContainer& powerConverterContainer()
   {
      return m_powerConverterContainer;
   }
   virtual const ZqPowerConverterContainer& powerConverterContainer() const
   {
      return m_powerConverterContainer;
   }
   /// Holds a copy, whose converter gets this actuator's link.
   virtual void setPowerConverterContainer(const ZqPowerConverterContainer& container);
   /// The same for the converter itself.
   virtual void setPowerConverter(const ZqBasePowerConverter& converter);

   /// \name The parameters of the parts
   /// Torques are those of the converter, all else of the drive train. What an actuator without the
   /// part answers stands behind each.
   /// @{
   ZqReal lowerLimit() const override ///< -1e300
   {
      const auto* part = component();
      return part != nullptr ? part->lowerLimit() : -1e300;
   }
   void setLowerLimit(ZqReal limit) override;
   ZqReal upperLimit() const override ///< 1e300
   {
      const auto* part = component();
      return part != nullptr ? part->upperLimit() : 1e300;
   }
   void setUpperLimit(ZqReal limit) override;
   ZqReal maxOutputRate() const override ///< 1e300
   {
      const auto* part = component();
      return part != nullptr ? part->maxOutputRate() : 1e300;
   }
   void setMaxOutputRate(ZqReal rate) override;
   ZqReal maxOutputTorque() const override { return gearRatio() * maxTorque(); }
   ZqReal minOutputTorque() const override { return gearRatio() * minTorque(); }
   ZqReal maxTorque() const override ///< 1e300
   {
      const auto* part = converter();
      return part != nullptr ? part->maxTorque() : 1e300;
   }
   void setMaxTorque(ZqReal torque) override;
   ZqReal minTorque() const override ///< -1e300
   {
      const auto* part = converter();
      return part != nullptr ? part->minTorque() : -1e300;
   }
   void setMinTorque(ZqReal torque) override;
   ZqReal inertia() const override ///< 0.0
   {
      const auto* part = component();
      return part != nullptr ? part->inertia() : 0.0;
   }
   void setInertia(ZqReal inertia) override;
   ZqReal frictionCoefficient() const override ///< 0.0
   {
      const auto* part = component();
      return part != nullptr ? part->frictionCoefficient() : 0.0;
   }
   void setFrictionCoefficient(ZqReal coefficient) override;
   ZqReal gearRatio() const override ///< 1.0
   {
      const auto* part = component();
      return part != nullptr ? part->gearRatio() : 1.0;
   }
   void setGearRatio(ZqReal ratio) override;
   bool isRigid() const override ///< true
   {
      const auto* part = component();
      return part == nullptr || part->isRigid();
   }
   void setIsRigid(bool isRigid) override;
   /// @}

   virtual const ZqManufacturerData& primeMoveManufacturerData() const { return m_primeMoverData; }
   virtual void setPrimeMoveManufacturerData(const ZqManufacturerData& data)
   {
      m_primeMoverData = data;
   }
   virtual const GearheadData& gearheadManufacturerDataVector() const { return m_gearheadData; }
   virtual void setGearheadManufacturerDataVector(const GearheadData& data)
   {
      m_gearheadData = data;
   }
   /// The motor's inertia as the joint feels it, 0.0 without a drive train.
   virtual ZqReal effectiveInertia(ZqReal inertia) const
   {
      const auto* part = component();
      return part != nullptr ? part->effectiveInertia(inertia) : 0.0;
   }
   /// Scales both parts, as `ZqMechanicalActuatorComponent::scaleBy` tells.
   virtual void scaleBy(ZqReal scale, ZqReal jointScale);
   /// As `ZqMechanicalActuatorComponent::initializeActuatorStates`.
   virtual void initializeActuatorStates(ZqManipulatorActiveState& state) const;
   /// Follows another zero or sense of its joint: its limits, and in another sense its least and greatest
   /// torque, so that a command is to be turned, too. What is not alike in both senses turns with its gear
   /// instead, and its motor is driven as before: a hydraulic cylinder, whose piston and chambers get the
   /// new zero, and a flexible shaft, whose play is on one side.
   void apply(const ZqLinkRestatement& restatement);
   /// Replaces the parts by a drive train of the same parameters, and a converter whose command is
   /// the torque, with the same limits. The records of makers stay.
   virtual void setFromOldJointActuator(const ZqOldJointActuator& old);

private:
   ZqMechanicalActuatorComponent* component()
   {
      return m_mechanicalComponentContainer.topElement();
   }
   const ZqMechanicalActuatorComponent* component() const
   {
      return m_mechanicalComponentContainer.topElement();
   }
   ZqBasePowerConverter* converter() { return m_powerConverterContainer.topElement(); }
   const ZqBasePowerConverter* converter() const { return m_powerConverterContainer.topElement(); }

   ZqMechanicalActuatorComponentContainer m_mechanicalComponentContainer;
   ZqPowerConverterContainer m_powerConverterContainer;
   ZqManufacturerData m_primeMoverData;
   GearheadData m_gearheadData;
   const ZqManipulatorLink* m_manipulatorLink = nullptr; ///< not owned
};

extern template class ZqXmlClass<ZqJointActuator, ZqBaseJointActuator>;
