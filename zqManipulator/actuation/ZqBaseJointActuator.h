#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

class ZqManipulatorLink;

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
   /// At the joint: the gear ratio times the limit at the motor.
   virtual ZqReal maxOutputTorque() const = 0;
   virtual ZqReal minOutputTorque() const = 0;
   virtual ZqReal maxTorque() const = 0;
   virtual void setMaxTorque(ZqReal torque) = 0;
   virtual ZqReal minTorque() const = 0;
   virtual void setMinTorque(ZqReal torque) = 0;
   virtual ZqReal inertia() const = 0;
   virtual void setInertia(ZqReal inertia) = 0;
   virtual ZqReal frictionCoefficient() const = 0;
   virtual void setFrictionCoefficient(ZqReal coefficient) = 0;
   virtual ZqReal gearRatio() const = 0;
   virtual void setGearRatio(ZqReal ratio) = 0;
   virtual bool isRigid() const = 0;
   virtual void setIsRigid(bool isRigid) = 0;
};
