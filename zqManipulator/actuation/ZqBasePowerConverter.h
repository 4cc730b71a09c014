#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"

class ZqActuatorState;
class ZqManipulatorLink;

/// What turns a command (a voltage, the opening of a valve, a torque) into a torque (N m) at the
/// motor, within limits.
///
/// A converter with a motion of its own, as the current of a motor, has it in the actuator state:
/// in the joint's entry of `powerConverterStates`, which the caller sizes to `numStateVariables`
/// and integrates by the derivatives that the converter gives.
class ZqBasePowerConverter
   : public ZqXmlAbstractClass<ZqBasePowerConverter, ZqBaseExpressionTreeElement>
{
public:
   template <class This = ZqBasePowerConverter>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_minTorque, &ZqManip::ZqMinTorqueToken,
                                    "least torque at the motor (N m, or N)"},
                        ZqComponent{&This::m_maxTorque, &ZqManip::ZqMaxTorqueToken,
                                    "greatest torque at the motor (N m, or N)"}};
   }
   /// The link takes no part.
   bool operator==(const ZqBasePowerConverter& other) const
   {
      return m_minTorque == other.m_minTorque && m_maxTorque == other.m_maxTorque;
   }

   /// The link whose joint is driven; it is not owned, and may be null. A copy has the link of the
   /// original until it is given its own.
   virtual void setManipulatorLink(const ZqManipulatorLink* link) { m_manipulatorLink = link; }
   virtual ZqReal maxTorque() const { return m_maxTorque; }
   virtual void setMaxTorque(ZqReal torque) { m_maxTorque = torque; }
   virtual ZqReal minTorque() const { return m_minTorque; }
   virtual void setMinTorque(ZqReal torque) { m_minTorque = torque; }
   virtual unsigned numStateVariables() const = 0;
   /// Scales lengths: at constant density torques, and so the limits, go with the fifth power, as
   /// the torques of `ZqMechanicalActuatorComponent::scaleBy` do.
   virtual void scaleBy(ZqReal scale);
   /// The torque in the present state, limited.
   virtual ZqReal outputTorque(ZqReal input, ZqActuatorState& state) const = 0;
   /// The derivatives of the state variables under a command. They are left as they come when there
   /// are none to be had.
   virtual void computeStateDerivatives(ZqReal input, ZqActuatorState& state,
                                        ZqXmlVectorBasicType<ZqReal>& derivatives) const = 0;
   /// The upper limit is asked first.
   virtual void limitOutputTorque(ZqReal& torque) const
   {
      if (torque > m_maxTorque)
         torque = m_maxTorque;
      else if (torque < m_minTorque)
         torque = m_minTorque;
   }

protected:
   /// The place of the joint in the state's lists; beyond any list without a link.
   ZqU32 jointIndex() const;

private:
   ZqReal m_minTorque = -1e300;
   ZqReal m_maxTorque = 1e300;
   const ZqManipulatorLink* m_manipulatorLink = nullptr; ///< not owned
};
