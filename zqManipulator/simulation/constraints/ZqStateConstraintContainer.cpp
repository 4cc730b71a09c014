#include "zqManipulator/simulation/constraints/ZqStateConstraintContainer.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/constraints/ZqConditionalJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"

template class ZqXmlVariableType<ZqBaseStateConstraint>;
template class ZqXmlSingleVariableType<ZqBaseStateConstraint,
                                       ZqXmlClonePointer<ZqBaseStateConstraint>>;
template class ZqBaseExpressionTreeContainer<ZqBaseStateConstraint>;

ZqXmlObject* ZqStateConstraintContainer::clone() const
{
   return new ZqStateConstraintContainer(*this);
}

ZqXmlObject* ZqStateConstraintContainer::newObject() const
{
   return new ZqStateConstraintContainer();
}

bool ZqStateConstraintContainer::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqStateConstraintContainer*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqStateConstraintContainer::token() const
{
   return classToken();
}

void ZqStateConstraintContainer::registerComponentCreators()
{
   registerComponentCreator(ZqMultivariableJointStateConstraint::classToken(),
                            ZqMultivariableJointStateConstraint::creator);
   registerComponentCreator(ZqConditionalJointStateConstraint::classToken(),
                            ZqConditionalJointStateConstraint::creator);
}

void ZqStateConstraintContainer::apply(const ZqLinkEdit& edit)
{
   ZqBaseStateConstraint* constraint = topElement();
   if (constraint == nullptr || constraint->apply(edit))
      return;
   setAndDeleteTopElementPointer(nullptr);
   Zq::Print::instance().write(Zq::Oddity,
                               "ZqStateConstraintContainer::apply(): a limit is removed "
                               "with a joint that it depends on.\n");
}
