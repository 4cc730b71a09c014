#include "zqManipulator/foundation/function/ZqMultivariableConstraintVector.h"

#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"

template class ZqXmlVariableVectorType<ZqBaseMultivariableConstraint>;

ZqXmlObject* ZqMultivariableConstraintVector::clone() const
{
   return new ZqMultivariableConstraintVector(*this);
}

ZqXmlObject* ZqMultivariableConstraintVector::newObject() const
{
   return new ZqMultivariableConstraintVector();
}

bool ZqMultivariableConstraintVector::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqMultivariableConstraintVector*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqMultivariableConstraintVector::token() const
{
   return classToken();
}

void ZqMultivariableConstraintVector::registerComponentCreators()
{
   registerComponentCreator(ZqLinearMultivariableConstraint::classToken(),
                            ZqLinearMultivariableConstraint::creator);
}
