#pragma once

#include "zqManipulator/actuation/ZqBasePowerConverter.h"

extern template class ZqXmlVariableType<ZqBasePowerConverter>;
extern template class ZqXmlSingleVariableType<ZqBasePowerConverter,
                                              ZqXmlClonePointer<ZqBasePowerConverter>>;
extern template class ZqBaseExpressionTreeContainer<ZqBasePowerConverter>;

/// A container of at most one power converter. Without one there are no state variables, and no
/// torque.
class ZqPowerConverterContainer : public ZqBaseExpressionTreeContainer<ZqBasePowerConverter>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqPowerConverterContainerToken; }
   static ZqXmlObject* creator() { return new ZqPowerConverterContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   static ZqPowerConverterContainer nullObject() { return {}; }
   bool operator==(const ZqPowerConverterContainer&) const = default;

   /// \name The converter's operations
   /// @{
   unsigned numStateVariables() const { return m_element ? m_element->numStateVariables() : 0; }
   ZqReal outputTorque(ZqReal input, ZqActuatorState& state) const
   {
      return m_element ? m_element->outputTorque(input, state) : 0.0;
   }
   void computeStateDerivatives(ZqReal input, ZqActuatorState& state,
                                ZqXmlVectorBasicType<ZqReal>& derivatives) const
   {
      if (m_element)
         m_element->computeStateDerivatives(input, state, derivatives);
      else
         derivatives.resize(0);
   }
   /// @}
};
