#pragma once

#include "zqManipulator/foundation/function/ZqBaseMultivariableConstraint.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"

extern template class ZqXmlVariableVectorType<ZqBaseMultivariableConstraint>;

/// Constraints of many variables, in an order that their holder gives a meaning to.
class ZqMultivariableConstraintVector final
   : public ZqXmlVariableVectorType<ZqBaseMultivariableConstraint>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqFunction::ZqMultivariableConstraintVectorToken; }
   static ZqXmlObject* creator() { return new ZqMultivariableConstraintVector(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   bool operator==(const ZqMultivariableConstraintVector&) const = default;
};
