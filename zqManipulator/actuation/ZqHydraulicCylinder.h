#pragma once

#include "zqManipulator/actuation/ZqBasePowerConverter.h"

/// A cylinder with a piston, driven by the opening u of its valve. Its state is the pressures p1
/// and p2 of the two chambers, and its "torque" the force A1 p1 - A2 p2 on the piston, whose place
/// x and velocity v are those of the motor:
///
///     dp1/dt = B / (A1 x + V1)       (q1 - A1 v)
///     dp2/dt = B / (A2 (l - x) + V2) (A2 v - q2)
///
/// For a positive u, fluid flows from the supply into chamber 1 and from chamber 2 into the drain,
/// for a negative one the other way: by the law of an orifice, C g u sqrt(2 |dp| / rho) with the
/// sign of the pressure drop dp. Beyond its stroke l the piston leaves chamber 2 no more than V2.
///
/// | parameter                       | unit   |                                   |
/// |---------------------------------|--------|-----------------------------------|
/// | fluidBulkModulus B              | Pa     |                                   |
/// | fluidDensity rho                | kg/m^3 |                                   |
/// | supplyPressure, drainPressure   | Pa     |                                   |
/// | dischargeCoefficient C          |        |                                   |
/// | flowAreaGradient g              | m^2    | orifice area per opening          |
/// | maximumValveOpening             |        | limits u on both sides            |
/// | effectiveArea1, 2 (A1, A2)      | m^2    | of the piston                     |
/// | fluidVolume1, 2 (V1, V2)        | m^3    | dead volumes                      |
/// | maximumFluidLength l            | m      | stroke                            |
class ZqHydraulicCylinder : public ZqXmlClass<ZqHydraulicCylinder, ZqBasePowerConverter>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqHydraulicCylinderToken; }
   static constexpr const char* documentation =
      "a hydraulic cylinder, driven by the opening of its valve; its state is the pressures (Pa) "
      "of the two chambers";
   template <class This = ZqHydraulicCylinder>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_fluidBulkModulus, &ZqManip::ZqFluidBulkModulusToken,
                                    "bulk modulus of the fluid (Pa)"},
                        ZqComponent{&This::m_fluidDensity, &ZqManip::ZqFluidDensityToken,
                                    "density of the fluid (kg/m^3)"},
                        ZqComponent{&This::m_supplyPressure, &ZqManip::ZqSupplyPressureToken,
                                    "pressure of the supply (Pa)"},
                        ZqComponent{&This::m_drainPressure, &ZqManip::ZqDrainPressureToken,
                                    "pressure of the drain (Pa)"},
                        ZqComponent{&This::m_dischargeCoefficient,
                                    &ZqManip::ZqDischargeCoefficientToken,
                                    "discharge coefficient of the orifice"},
                        ZqComponent{&This::m_flowAreaGradient, &ZqManip::ZqFlowAreaGradientToken,
                                    "area of the orifice per valve opening (m^2)"},
                        ZqComponent{&This::m_maximumValveOpening, &ZqManip::ZqMaxValveOpeningToken,
                                    "greatest valve opening, in both directions"},
                        ZqComponent{&This::m_effectiveArea1, &ZqManip::ZqEffectiveArea1Token,
                                    "area of the piston in chamber 1 (m^2)"},
                        ZqComponent{&This::m_effectiveArea2, &ZqManip::ZqEffectiveArea2Token,
                                    "area of the piston in chamber 2 (m^2)"},
                        ZqComponent{&This::m_fluidVolume1, &ZqManip::ZqFluidVolume1Token,
                                    "dead volume of chamber 1 (m^3)"},
                        ZqComponent{&This::m_fluidVolume2, &ZqManip::ZqFluidVolume2Token,
                                    "dead volume of chamber 2 (m^3)"},
                        ZqComponent{&This::m_maximumFluidLength, &ZqManip::ZqMaxFluidLengthToken,
                                    "stroke of the piston (m)"}};
   }
   static ZqHydraulicCylinder nullObject() { return {}; }
   bool operator==(const ZqHydraulicCylinder&) const = default;

   unsigned numStateVariables() const override { return m_theStateSize; }
   /// The opening does not enter. Without both pressures the force is 0.0; a joint without a state
   /// is rejected with a message, and 0.0.
   ZqReal outputTorque(ZqReal input, ZqActuatorState& state) const override;
   /// A density that is not positive, a dead volume of 0.0 and a joint without a state are rejected
   /// with a message, and a state without both pressures silently.
   void computeStateDerivatives(ZqReal input, ZqActuatorState& state,
                                ZqXmlVectorBasicType<ZqReal>& derivatives) const override;

   virtual ZqReal fluidBulkModulus() const { return m_fluidBulkModulus; }
   virtual void setFluidBulkModulus(ZqReal modulus) { m_fluidBulkModulus = modulus; }
   virtual ZqReal fluidDensity() const { return m_fluidDensity; }
   virtual void setFluidDensity(ZqReal density) { m_fluidDensity = density; }
   virtual ZqReal supplyPressure() const { return m_supplyPressure; }
   virtual void setSupplyPressure(ZqReal pressure) { m_supplyPressure = pressure; }
   virtual ZqReal drainPressure() const { return m_drainPressure; }
   virtual void setDrainPressure(ZqReal pressure) { m_drainPressure = pressure; }
   virtual ZqReal dischargeCoefficient() const { return m_dischargeCoefficient; }
   virtual void setDischargeCoefficient(ZqReal coefficient)
   {
      m_dischargeCoefficient = coefficient;
   }
   virtual ZqReal flowAreaGradient() const { return m_flowAreaGradient; }
   virtual void setFlowAreaGradient(ZqReal gradient) { m_flowAreaGradient = gradient; }
   virtual ZqReal maximumValveOpening() const { return m_maximumValveOpening; }
   virtual void setMaximumValveOpening(ZqReal opening) { m_maximumValveOpening = opening; }
   virtual ZqReal effectiveArea1() const { return m_effectiveArea1; }
   virtual void setEffectiveArea1(ZqReal area) { m_effectiveArea1 = area; }
   virtual ZqReal effectiveArea2() const { return m_effectiveArea2; }
   virtual void setEffectiveArea2(ZqReal area) { m_effectiveArea2 = area; }
   virtual ZqReal fluidVolume1() const { return m_fluidVolume1; }
   virtual void setFluidVolume1(ZqReal volume) { m_fluidVolume1 = volume; }
   virtual ZqReal fluidVolume2() const { return m_fluidVolume2; }
   virtual void setFluidVolume2(ZqReal volume) { m_fluidVolume2 = volume; }
   virtual ZqReal maximumFluidLength() const { return m_maximumFluidLength; }
   virtual void setMaximumFluidLength(ZqReal length) { m_maximumFluidLength = length; }

private:
   static constexpr unsigned m_theStateSize = 2;

   ZqReal m_fluidBulkModulus = 0.0;
   ZqReal m_fluidDensity = 0.0;
   ZqReal m_supplyPressure = 0.0;
   ZqReal m_drainPressure = 0.0;
   ZqReal m_dischargeCoefficient = 0.0;
   ZqReal m_flowAreaGradient = 0.0;
   ZqReal m_maximumValveOpening = 0.0;
   ZqReal m_effectiveArea1 = 0.0;
   ZqReal m_effectiveArea2 = 0.0;
   ZqReal m_fluidVolume1 = 0.0;
   ZqReal m_fluidVolume2 = 0.0;
   ZqReal m_maximumFluidLength = 0.0;
};

extern template class ZqXmlClass<ZqHydraulicCylinder, ZqBasePowerConverter>;
