#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"
#include "zqManipulator/simulation/records/ZqBaseStoppingCriterion.h"

class ZqLinkEdit;

extern template class ZqXmlVariableVectorType<ZqBaseStoppingCriterion>;

/// The stopping criteria of a manipulator, in the order in which they are asked.
class ZqStoppingCriterionVector : public ZqXmlVariableVectorType<ZqBaseStoppingCriterion>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqStoppingCriterionVectorToken; }
   static ZqXmlObject* creator() { return new ZqStoppingCriterionVector(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   static ZqStoppingCriterionVector nullObject() { return {}; }
   /// Changes the labels of links in each criterion as the edit says. Those that name a link that is
   /// gone are removed, with a message.
   void apply(const ZqLinkEdit& edit);
   void scaleBy(const ZqModelScaling& scaling);
   bool operator==(const ZqStoppingCriterionVector&) const = default;
};
