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
   static constexpr ZqU32 gone = 0xFFFFFFFF;
   /// What has become of a variable x: it has another index, or is `gone`, and its value is now
   /// factor x + shift.
   struct Moved
   {
      ZqU32 index;
      ZqReal factor = 1.0; ///< not zero; -1 where its sense turns
      ZqReal shift = 0.0;
   };
   /// Answers that for an old index.
   using NewVariable = std::function<Moved(ZqU32)>;

   /// Zero or more where the constraint is fulfilled. A variable that the list lacks is zero.
   virtual ZqReal evaluate(const std::vector<ZqReal>& variables) const = 0;
   /// The derivatives by the variables of the list, as many as it has.
   virtual void getGradient(const std::vector<ZqReal>& variables,
                            std::vector<ZqReal>& gradient) const = 0;
   /// Follows variables that have moved in the list or are told by other values. False when one
   /// that it depends on is gone, and the constraint with it. A class that has no indices stays as it is.
   virtual bool apply(const NewVariable&) { return true; }

   bool operator==(const ZqBaseMultivariableConstraint&) const noexcept { return true; }
};
