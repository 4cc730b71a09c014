#pragma once

#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

/// A real function of one real variable.
class ZqBaseScalarFunction
   : public ZqXmlAbstractClass<ZqBaseScalarFunction, ZqBaseExpressionTreeElement>
{
public:
   virtual ZqReal evaluate(ZqReal t) const = 0;

   bool operator==(const ZqBaseScalarFunction&) const noexcept { return true; }
};
