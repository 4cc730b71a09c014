#pragma once

#include "zqManipulator/actuation/ZqMechanicalActuatorComponent.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/tools/ZqManufacturerData.h"

/// The drive of one joint. Positions and rates are those of the joint, torques those at the motor
/// unless they are output torques; inertia and friction stand at the motor. Units are told at
/// `ZqMechanicalActuatorComponent`.
class ZqBaseJointActuator
   : public ZqXmlAbstractClass<ZqBaseJointActuator, ZqBaseExpressionTreeElement>
{
public:
   /// The link whose joint is driven; it is not owned, and may be null.
   virtual void setManipulatorLink(const ZqManipulatorLink* link) = 0;
   /// Limits are kept as they come: the lower one may be above the upper one, or NaN.
   virtual ZqReal lowerLimit() const = 0;
   virtual void setLowerLimit(ZqReal limit) = 0;
   /// As the lower limit.
   virtual ZqReal upperLimit() const = 0;
   virtual void setUpperLimit(ZqReal limit) = 0;
   virtual ZqReal maxOutputRate() const = 0;
   virtual void setMaxOutputRate(ZqReal rate) = 0;
   virtual ZqReal inertia() const = 0;
   virtual void setInertia(ZqReal inertia) = 0;
   virtual ZqReal frictionCoefficient() const = 0;
   virtual void setFrictionCoefficient(ZqReal coefficient) = 0;
   virtual ZqReal gearRatio() const = 0;
   virtual void setGearRatio(ZqReal ratio) = 0;
   virtual bool isRigid() const = 0;
   virtual void setIsRigid(bool isRigid) = 0;
};

/// The drive of one joint, made of parts: a drive train, and the records of who made it. It owns
/// its parts, and any may be missing. Without a drive train every query has a neutral answer, and
/// what would set a value of it does nothing.
class ZqJointActuator : public ZqXmlClass<ZqJointActuator, ZqBaseJointActuator>
{
public:
   using GearheadData = ZqXmlVectorType<ZqManufacturerData>;

   static const ZqToken& classToken() { return ZqManip::ZqCompositeJointActuatorToken; }
   static constexpr auto components()
   {
      using This = ZqJointActuator;
      return std::tuple{
         ZqComponent{&This::m_mechanicalComponentContainer,
                     &ZqManip::ZqMechanicalActuatorComponentContainerToken},
         ZqComponent{&This::m_primeMoverData, &ZqManip::ZqPrimeMoverManufacturerDataToken},
         ZqComponent{&This::m_gearheadData, &ZqManip::ZqGearheadManufacturerDataVectorToken}};
   }
   /// Gives the drive train that is read this actuator's link.
   bool read(ZqXmlReader& reader) override;

   /// The link takes no part.
   bool operator==(const ZqJointActuator& other) const;
   /// An actuator with the default drive train.
   static ZqJointActuator defaultObject();
   static ZqJointActuator nullObject() { return {}; }

   /// The drive train gets the link too. A copy has the link of the original until it is given its
   /// own.
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

   /// \name The drive train's parameters
   /// What an actuator without one answers stands behind each.
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
   /// As `ZqMechanicalActuatorComponent::scaleBy`.
   virtual void scaleBy(ZqReal scale, ZqReal jointScale);

private:
   ZqMechanicalActuatorComponent* component()
   {
      return m_mechanicalComponentContainer.topElement();
   }
   const ZqMechanicalActuatorComponent* component() const
   {
      return m_mechanicalComponentContainer.topElement();
   }

   ZqMechanicalActuatorComponentContainer m_mechanicalComponentContainer;
   ZqManufacturerData m_primeMoverData;
   GearheadData m_gearheadData;
   const ZqManipulatorLink* m_manipulatorLink = nullptr; ///< not owned
};
