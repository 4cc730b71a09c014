#pragma once

#include "zqManipulator/contact/friction/ZqDissipativeForceInput.h"
#include "zqManipulator/contact/friction/ZqDissipativeForceOutput.h"
#include "zqManipulator/contact/friction/ZqFrictionCoefficientLookupTool.h"
#include "zqManipulator/contact/friction/ZqPatchFriction.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"

/// A law of friction between two bodies that touch. It holds the coefficients, and nothing of a contact:
/// what a contact remembers comes with each call.
class ZqBaseDissipativeForceProcessor
   : public ZqXmlAbstractClass<ZqBaseDissipativeForceProcessor, ZqBaseExpressionTreeElement>
{
public:
   template <class This = ZqBaseDissipativeForceProcessor>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_frictionCoefficientLUT,
                                    &ZqManip::ZqFrictionCoefficientLookupToolToken,
                                    "coefficients by pairs of materials"}};
   }
   bool operator==(const ZqBaseDissipativeForceProcessor&) const = default;

   virtual void setFrictionCoefficientLUT(const ZqFrictionCoefficientLookupTool& tool)
   {
      m_frictionCoefficientLUT = tool;
   }
   virtual const ZqFrictionCoefficientLookupTool& frictionCoefficientLUT() const
   {
      return m_frictionCoefficientLUT;
   }
   virtual ZqFrictionCoefficientLookupTool& frictionCoefficientLUT()
   {
      return m_frictionCoefficientLUT;
   }
   /// One force for the whole contact. The output is set whatever it held; false where no force was computed.
   virtual bool process(const ZqDissipativeForceInput& input,
                        ZqDissipativeForceOutput& output) const = 0;
   /// For laws that tell the points of a contact apart: from what the contact remembers, which is led on to
   /// the input's time. False, and nothing done, for laws that do not.
   virtual bool processPoints(const ZqPatchFrictionInput& /*input*/, ZqContactMemory& /*memory*/,
                              ZqPatchFriction& /*output*/) const
   {
      return false;
   }

private:
   ZqFrictionCoefficientLookupTool m_frictionCoefficientLUT;
};
