#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"
#include "zqManipulator/simulation/constraints/ZqBaseStateConstraint.h"

extern template class ZqXmlVariableVectorType<ZqBaseStateConstraint>;

/// The state constraints of a manipulator, for a client that keeps to them: steps in time heed the limits of
/// links, and not these.
class ZqStateConstraintVector final : public ZqXmlVariableVectorType<ZqBaseStateConstraint>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqStateConstraintVectorToken; }
   static ZqXmlObject* creator() { return new ZqStateConstraintVector(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   bool operator==(const ZqStateConstraintVector&) const = default;

   /// Has the joints followed that are spoken of. What speaks of one that is gone is removed, with a
   /// message.
   void apply(const ZqLinkEdit& edit);
};
