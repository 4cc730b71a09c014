#pragma once

#include "zqManipulator/foundation/function/ZqBaseScalarFunction.h"

extern template class ZqXmlSingleVariableType<ZqBaseScalarFunction,
                                              ZqXmlClonePointer<ZqBaseScalarFunction>>;
extern template class ZqBaseExpressionTreeContainer<ZqBaseScalarFunction>;

/// Holds at most one scalar function.
class ZqScalarFunctionContainer final : public ZqBaseExpressionTreeContainer<ZqBaseScalarFunction>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqFunction::ZqScalarFunctionContainerToken; }
   static ZqXmlObject* creator() { return new ZqScalarFunctionContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   bool operator==(const ZqScalarFunctionContainer&) const = default;
};
