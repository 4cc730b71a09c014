#pragma once

#include "zqManipulator/actuation/ZqBasePowerConverter.h"

/// A motor of direct current, driven by its voltage u. Its state is the armature current i:
///
///     L di/dt = u - R i - K w,   torque = K i
///
/// with the motor velocity w. In SI units the constant K of the torque is that of the back
/// electromotive force.
///
/// | parameter                               | unit       |                                        |
/// |-----------------------------------------|------------|----------------------------------------|
/// | armatureInductance L                    | H          |                                        |
/// | armatureResistance R                    | ohm        |                                        |
/// | torqueConstant K                        | N m / A    |                                        |
/// | maxEfficiency                           |            | of the data sheet; without effect here |
/// | noLoadSpeed, noLoadCurrent, stallTorque | rad/s, A, N m | the same                            |
class ZqDcElectricMotor : public ZqXmlClass<ZqDcElectricMotor, ZqBasePowerConverter>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqDcElectricMotorToken; }
   static constexpr const char* documentation =
      "a motor of direct current, driven by its voltage (V); its state is the current (A)";
   template <class This = ZqDcElectricMotor>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_armatureInductance, &ZqManip::ZqArmatureInductanceToken,
                     "inductance L of the armature (H)"},
         ZqComponent{&This::m_armatureResistance, &ZqManip::ZqArmatureResistanceToken,
                     "resistance R of the armature (ohm)"},
         ZqComponent{
            &This::m_torqueConstant, &ZqManip::ZqTorqueConstantToken,
            "torque per current, and back electromotive force per motor velocity (N m/A, V s/rad)"},
         ZqComponent{&This::m_maxEfficiency, &ZqManip::ZqMaxEfficiencyToken,
                     "efficiency of the data sheet, without effect"},
         ZqComponent{&This::m_noLoadSpeed, &ZqManip::ZqNoLoadSpeedToken,
                     "speed without load (rad/s) of the data sheet, without effect"},
         ZqComponent{&This::m_noLoadCurrent, &ZqManip::ZqNoLoadCurrentToken,
                     "current without load (A) of the data sheet, without effect"},
         ZqComponent{&This::m_stallTorque, &ZqManip::ZqStallTorqueToken,
                     "torque at standstill (N m) of the data sheet, without effect"}};
   }
   static ZqDcElectricMotor nullObject() { return {}; }
   bool operator==(const ZqDcElectricMotor&) const = default;

   unsigned numStateVariables() const override { return m_theStateSize; }
   /// The voltage does not enter. An empty state has no current; a joint without a state is rejected
   /// with a message, and 0.0.
   ZqReal outputTorque(ZqReal input, ZqActuatorState& state) const override;
   /// An inductance of 0.0 and a joint without a state are rejected with a message, and an empty
   /// state silently. For a negative inductance there is no derivative to set.
   void computeStateDerivatives(ZqReal input, ZqActuatorState& state,
                                ZqXmlVectorBasicType<ZqReal>& derivatives) const override;

   virtual ZqReal armatureInductance() const { return m_armatureInductance; }
   virtual void setArmatureInductance(ZqReal inductance) { m_armatureInductance = inductance; }
   virtual ZqReal armatureResistance() const { return m_armatureResistance; }
   virtual void setArmatureResistance(ZqReal resistance) { m_armatureResistance = resistance; }
   virtual ZqReal torqueConstant() const { return m_torqueConstant; }
   virtual void setTorqueConstant(ZqReal constant) { m_torqueConstant = constant; }
   virtual ZqReal maxEfficiency() const { return m_maxEfficiency; }
   virtual void setMaxEfficiency(ZqReal efficiency) { m_maxEfficiency = efficiency; }
   virtual ZqReal noLoadSpeed() const { return m_noLoadSpeed; }
   virtual void setNoLoadSpeed(ZqReal speed) { m_noLoadSpeed = speed; }
   virtual ZqReal noLoadCurrent() const { return m_noLoadCurrent; }
   virtual void setNoLoadCurrent(ZqReal current) { m_noLoadCurrent = current; }
   virtual ZqReal stallTorque() const { return m_stallTorque; }
   virtual void setStallTorque(ZqReal torque) { m_stallTorque = torque; }

private:
   static constexpr unsigned m_theStateSize = 1;

   ZqReal m_armatureInductance = 0.0;
   ZqReal m_armatureResistance = 0.0;
   ZqReal m_torqueConstant = 0.0;
   ZqReal m_maxEfficiency = 1.0;
   ZqReal m_noLoadSpeed = 0.0;
   ZqReal m_noLoadCurrent = 0.0;
   ZqReal m_stallTorque = 0.0;
};

extern template class ZqXmlClass<ZqDcElectricMotor, ZqBasePowerConverter>;
