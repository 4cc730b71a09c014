#pragma once

#include "zqManipulator/foundation/function/ZqBaseMultivariableConstraint.h"

extern template class ZqXmlSingleVariableType<ZqBaseMultivariableConstraint,
                                              ZqXmlClonePointer<ZqBaseMultivariableConstraint>>;
extern template class ZqBaseExpressionTreeContainer<ZqBaseMultivariableConstraint>;

/// Holds at most one constraint of many variables.
class ZqMultivariableConstraintContainer final
   : public ZqBaseExpressionTreeContainer<ZqBaseMultivariableConstraint>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken()
   {
      return ZqFunction::ZqMultivariableConstraintContainerToken;
   }
   static ZqXmlObject* creator() { return new ZqMultivariableConstraintContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   bool operator==(const ZqMultivariableConstraintContainer&) const = default;
};
