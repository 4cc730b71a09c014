#pragma once

#include "zqManipulator/simulation/constraints/ZqBaseStateConstraint.h"

extern template class ZqXmlSingleVariableType<ZqBaseStateConstraint,
                                              ZqXmlClonePointer<ZqBaseStateConstraint>>;
extern template class ZqBaseExpressionTreeContainer<ZqBaseStateConstraint>;

/// Holds at most one state constraint: a limit of a joint that depends on several joints.
class ZqStateConstraintContainer final : public ZqBaseExpressionTreeContainer<ZqBaseStateConstraint>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqStateConstraintContainerToken; }
   static ZqXmlObject* creator() { return new ZqStateConstraintContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   bool operator==(const ZqStateConstraintContainer&) const = default;

   /// Has the joints followed that are spoken of. What speaks of one that is gone is removed, with a
   /// message.
   void apply(const ZqLinkEdit& edit);
};
