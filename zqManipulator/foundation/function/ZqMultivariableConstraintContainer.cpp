#include "zqManipulator/foundation/function/ZqMultivariableConstraintContainer.h"

#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"

template class ZqXmlVariableType<ZqBaseMultivariableConstraint>;
template class ZqXmlSingleVariableType<ZqBaseMultivariableConstraint,
                                       ZqXmlClonePointer<ZqBaseMultivariableConstraint>>;
template class ZqBaseExpressionTreeContainer<ZqBaseMultivariableConstraint>;

ZqXmlObject* ZqMultivariableConstraintContainer::clone() const
{
   return new ZqMultivariableConstraintContainer(*this);
}

ZqXmlObject* ZqMultivariableConstraintContainer::newObject() const
{
   return new ZqMultivariableConstraintContainer();
}

bool ZqMultivariableConstraintContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqMultivariableConstraintContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqMultivariableConstraintContainer::token() const
{
   return classToken();
}

void ZqMultivariableConstraintContainer::registerComponentCreators()
{
   registerComponentCreator(ZqLinearMultivariableConstraint::classToken(),
                            ZqLinearMultivariableConstraint::creator);
}
