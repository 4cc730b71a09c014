#include "zqManipulator/simulation/records/ZqStoppingCriterionVector.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"

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

void ZqStoppingCriterionVector::apply(const ZqLinkEdit& edit)
{
   for (ZqU32 i = size(); i-- > 0;)
   {
      ZqBaseStoppingCriterion* criterion = vectorContainer()[i];
      if (criterion == nullptr || criterion->apply(edit))
         continue;
      erase(i);
      Zq::Print::instance().write(Zq::Oddity,
                                  "ZqStoppingCriterionVector::apply(): stopping criterion %u is "
                                  "removed with its reference link.\n",
                                  i);
   }
}

void ZqStoppingCriterionVector::scaleBy(const ZqModelScaling& scaling)
{
   for (ZqBaseStoppingCriterion* criterion : vectorContainer())
      if (criterion != nullptr)
         criterion->scaleBy(scaling);
}
