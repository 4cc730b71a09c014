#pragma once

#include "zqManipulator/contact/friction/ZqBaseDissipativeForceProcessor.h"

extern template class ZqXmlSingleVariableType<ZqBaseDissipativeForceProcessor,
                                              ZqXmlClonePointer<ZqBaseDissipativeForceProcessor>>;
extern template class ZqBaseExpressionTreeContainer<ZqBaseDissipativeForceProcessor>;

/// Holds the law of friction in use: at most one.
class ZqDissipativeForceProcessorContainer final
   : public ZqBaseExpressionTreeContainer<ZqBaseDissipativeForceProcessor>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqDissipativeForceProcessorContainerToken; }
   static ZqXmlObject* creator() { return new ZqDissipativeForceProcessorContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   bool operator==(const ZqDissipativeForceProcessorContainer&) const = default;

   /// Gives it to the law that is held; without one nothing.
   void setFrictionCoeficientLookupTool(const ZqFrictionCoefficientLookupTool& tool);
   /// That of the law that is held; without one a tool with empty tables.
   const ZqFrictionCoefficientLookupTool& frictionCoeficientLookupTool() const;
};
