#pragma once

#include "zqManipulator/contact/forces/ZqBaseCollisionForceProcessor.h"

extern template class ZqXmlVariableType<ZqBaseCollisionForceProcessor>;
extern template class ZqXmlSingleVariableType<ZqBaseCollisionForceProcessor,
                                              ZqXmlClonePointer<ZqBaseCollisionForceProcessor>>;
extern template class ZqBaseExpressionTreeContainer<ZqBaseCollisionForceProcessor>;

/// Holds the law of what touching bodies do to each other: at most one.
class ZqCollisionForceContainer final
   : public ZqBaseExpressionTreeContainer<ZqBaseCollisionForceProcessor>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqCollisionForceContainerToken; }
   static ZqXmlObject* creator() { return new ZqCollisionForceContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   static ZqCollisionForceContainer nullObject() { return {}; }
   bool operator==(const ZqCollisionForceContainer&) const = default;
};
