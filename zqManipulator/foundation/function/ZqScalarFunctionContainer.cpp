#include "zqManipulator/foundation/function/ZqScalarFunctionContainer.h"

#include "zqManipulator/foundation/function/ZqLinearScalarFunction.h"

template class ZqXmlVariableType<ZqBaseScalarFunction>;
template class ZqXmlSingleVariableType<ZqBaseScalarFunction,
                                       ZqXmlClonePointer<ZqBaseScalarFunction>>;
template class ZqBaseExpressionTreeContainer<ZqBaseScalarFunction>;

ZqXmlObject* ZqScalarFunctionContainer::clone() const
{
   return new ZqScalarFunctionContainer(*this);
}

ZqXmlObject* ZqScalarFunctionContainer::newObject() const
{
   return new ZqScalarFunctionContainer();
}

bool ZqScalarFunctionContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqScalarFunctionContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqScalarFunctionContainer::token() const
{
   return classToken();
}

void ZqScalarFunctionContainer::registerComponentCreators()
{
   registerComponentCreator(ZqLinearScalarFunction::classToken(), ZqLinearScalarFunction::creator);
}
