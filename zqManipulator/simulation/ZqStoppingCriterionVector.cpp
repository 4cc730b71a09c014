#include "zqManipulator/simulation/ZqStoppingCriterionVector.h"

#include "zqManipulator/simulation/ZqComPolygonalStoppingCriterion.h"

template class ZqXmlVariableVectorType<ZqBaseStoppingCriterion>;

ZqXmlObject* ZqStoppingCriterionVector::clone() const
{
   return new ZqStoppingCriterionVector(*this);
}

ZqXmlObject* ZqStoppingCriterionVector::newObject() const
{
   return new ZqStoppingCriterionVector();
}

bool ZqStoppingCriterionVector::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqStoppingCriterionVector*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqStoppingCriterionVector::token() const
{
   return classToken();
}

void ZqStoppingCriterionVector::registerComponentCreators()
{
   registerComponentCreator(ZqComPolygonalStoppingCriterion::classToken(),
                            ZqComPolygonalStoppingCriterion::creator);
}
