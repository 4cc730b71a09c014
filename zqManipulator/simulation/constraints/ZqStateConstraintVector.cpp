#include "zqManipulator/simulation/constraints/ZqStateConstraintVector.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/constraints/ZqConditionalJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"

template class ZqXmlVariableVectorType<ZqBaseStateConstraint>;

ZqXmlObject* ZqStateConstraintVector::clone() const
{
   return new ZqStateConstraintVector(*this);
}

ZqXmlObject* ZqStateConstraintVector::newObject() const
{
   return new ZqStateConstraintVector();
}

bool ZqStateConstraintVector::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqStateConstraintVector*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqStateConstraintVector::token() const
{
   return classToken();
}

void ZqStateConstraintVector::registerComponentCreators()
{
   registerComponentCreator(ZqMultivariableJointStateConstraint::classToken(),
                            ZqMultivariableJointStateConstraint::creator);
   registerComponentCreator(ZqConditionalJointStateConstraint::classToken(),
                            ZqConditionalJointStateConstraint::creator);
}

void ZqStateConstraintVector::apply(const ZqLinkEdit& edit)
{
   for (ZqU32 i = size(); i-- > 0;)
   {
      ZqBaseStateConstraint* constraint = vectorContainer()[i];
      if (constraint == nullptr || constraint->apply(edit))
         continue;
      erase(i);
      Zq::Print::instance().write(Zq::Oddity,
                                  "ZqStateConstraintVector::apply(): constraint %u is removed with "
                                  "a joint that it depends on.\n",
                                  i);
   }
}
