#pragma once

#include "zqManipulator/actuation/ZqBasePowerConverter.h"

/// A converter whose command is the torque itself.
class ZqPassThroughPowerConverter
   : public ZqXmlClass<ZqPassThroughPowerConverter, ZqBasePowerConverter>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqPassThroughPowerConverterToken; }
   static constexpr const char* documentation = "a drive whose command is the torque at the motor";
   static ZqPassThroughPowerConverter nullObject() { return {}; }
   bool operator==(const ZqPassThroughPowerConverter&) const = default;

   unsigned numStateVariables() const override { return 0; }
   ZqReal outputTorque(ZqReal input, ZqActuatorState& state) const override;
   void computeStateDerivatives(ZqReal input, ZqActuatorState& state,
                                ZqXmlVectorBasicType<ZqReal>& derivatives) const override;
};

extern template class ZqXmlClass<ZqPassThroughPowerConverter, ZqBasePowerConverter>;
