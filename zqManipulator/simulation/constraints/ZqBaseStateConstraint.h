#pragma once

#include "zqManipulator/foundation/function/ZqBaseMultivariableConstraint.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/state/ZqUncopied.h"

#include <vector>

class ZqLinkEdit;
class ZqPositionState;

/// A function of the joint positions of one manipulator that is zero or more where a position is
/// allowed: a limit, of one joint or of several.
///
/// All that is const serves any number of threads, but for `gradient`, which answers by reference.
class ZqBaseStateConstraint
   : public ZqXmlAbstractClass<ZqBaseStateConstraint, ZqBaseExpressionTreeElement>
{
public:
   /// Zero or more where the constraint is fulfilled.
   virtual ZqReal evaluate(const ZqPositionState& position) const = 0;
   /// The derivatives by the joint positions, as many as there are: those of `getGradient`, in a list of the
   /// constraint's own that the next call overwrites. The flag is for classes that can answer with a
   /// gradient of unit length (`normalizeGradient`); those of the library have no use for it.
   virtual const std::vector<ZqReal>& gradient(const ZqPositionState& position,
                                               bool normalized) const;
   /// The same in a list of the caller's.
   virtual void getGradient(const ZqPositionState& position,
                            std::vector<ZqReal>& gradient) const = 0;
   /// Follows the joints that it speaks of. False when one of them is gone, and the constraint with it.
   virtual bool apply(const ZqLinkEdit&) { return true; }

   /// Gradients are results, and no part of the value.
   bool operator==(const ZqBaseStateConstraint&) const noexcept { return true; }

protected:
   /// What an edit makes of a joint position.
   static ZqBaseMultivariableConstraint::Moved movedJoint(const ZqLinkEdit& edit, ZqU32 index);
   /// Divides the list that `gradient` answers by its length; a list of zeros stays.
   void normalizeGradient() const;
   std::vector<ZqReal>& gradientBuffer() const noexcept { return m_gradient.get(); }

private:
   mutable ZqUncopied<std::vector<ZqReal>> m_gradient;
};
