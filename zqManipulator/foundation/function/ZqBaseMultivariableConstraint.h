#pragma once

#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

#include <functional>
#include <vector>

/// A real function of many variables, which are held in a list, that is to be zero or more.
///
/// Everything const serves any number of threads.
class ZqBaseMultivariableConstraint
   : public ZqXmlAbstractClass<ZqBaseMultivariableConstraint, ZqBaseExpressionTreeElement>
{
public:
   /// Answers the new index of a variable, or `gone`.
   using NewIndex = std::function<ZqU32(ZqU32)>;
   static constexpr ZqU32 gone = 0xFFFFFFFF;

   /// Zero or more where the constraint is fulfilled. A variable that the list lacks is zero.
   virtual ZqReal evaluate(const std::vector<ZqReal>& variables) const = 0;
   /// The derivatives by the variables of the list, as many as it has.
   virtual void getGradient(const std::vector<ZqReal>& variables,
                            std::vector<ZqReal>& gradient) const = 0;
   /// Follows variables that have moved in the list. False when one that it depends on is gone, and the
   /// constraint with it. A class that has no indices stays as it is.
   virtual bool apply(const NewIndex&) { return true; }

   bool operator==(const ZqBaseMultivariableConstraint&) const noexcept { return true; }
};
