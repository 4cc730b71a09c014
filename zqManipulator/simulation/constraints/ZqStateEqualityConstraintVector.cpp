#include "zqManipulator/simulation/constraints/ZqStateEqualityConstraintVector.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>

template class ZqXmlVariableVectorType<ZqBaseStateEqualityConstraint>;

ZqXmlObject* ZqStateEqualityConstraintVector::clone() const
{
   return new ZqStateEqualityConstraintVector(*this);
}

ZqXmlObject* ZqStateEqualityConstraintVector::newObject() const
{
   return new ZqStateEqualityConstraintVector();
}

bool ZqStateEqualityConstraintVector::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqStateEqualityConstraintVector*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqStateEqualityConstraintVector::token() const
{
   return classToken();
}

void ZqStateEqualityConstraintVector::registerComponentCreators()
{
   registerComponentCreator(ZqLinearStateEqualityConstraint::classToken(),
                            ZqLinearStateEqualityConstraint::creator);
   registerComponentCreator(ZqPointStateEqualityConstraint::classToken(),
                            ZqPointStateEqualityConstraint::creator);
   registerComponentCreator(ZqXyStateEqualityConstraint::classToken(),
                            ZqXyStateEqualityConstraint::creator);
}

ZqU32 ZqStateEqualityConstraintVector::doc() const
{
   ZqU32 sum = 0;
   for (const ZqBaseStateEqualityConstraint* constraint : vectorContainer())
      sum += constraint != nullptr ? constraint->doc() : 0;
   return sum;
}

ZqStateEqualityConstraintVector::Gap
ZqStateEqualityConstraintVector::greatest(const ZqReArray& rows) const
{
   Gap result;
   ZqU32 row = 0;
   for (ZqU32 i = 0; i < size(); ++i)
   {
      const ZqBaseStateEqualityConstraint* const constraint = vectorContainer()[i];
      const ZqU32 end =
         std::min(row + (constraint != nullptr ? constraint->doc() : 0), rows.rows());
      ZqReal length = 0.0;
      for (; row < end; ++row)
         length = ZqVector(length, rows[row][0], 0.0).mag();
      if (!(length <= result.size))
         result = {length, i};
   }
   return result;
}

ZqU32 ZqStateEqualityConstraintVector::constraintOfRow(ZqU32 row) const
{
   ZqU32 end = 0;
   for (ZqU32 i = 0; i < size(); ++i)
   {
      end += vectorContainer()[i] != nullptr ? vectorContainer()[i]->doc() : 0;
      if (row < end)
         return i;
   }
   return size();
}

ZqString ZqStateEqualityConstraintVector::description(ZqU32 constraint) const
{
   ZqString text = "constraint " + ZqINT2STRING(constraint, 10);
   if (constraint < size() && vectorContainer()[constraint] != nullptr)
      text += " (" + vectorContainer()[constraint]->description() + ")";
   return text;
}

void ZqStateEqualityConstraintVector::apply(const ZqLinkEdit& edit)
{
   for (ZqU32 i = size(); i-- > 0;)
   {
      ZqBaseStateEqualityConstraint* constraint = vectorContainer()[i];
      if (constraint == nullptr || constraint->apply(edit))
         continue;
      erase(i);
      Zq::Print::instance().write(
         Zq::Oddity,
         "ZqStateEqualityConstraintVector::apply(): constraint %u is removed "
         "with a link of it.\n",
         i);
   }
}

void ZqStateEqualityConstraintVector::scaleBy(const ZqModelScaling& scaling)
{
   for (ZqBaseStateEqualityConstraint* constraint : vectorContainer())
      if (constraint != nullptr)
         constraint->scaleBy(scaling);
}
