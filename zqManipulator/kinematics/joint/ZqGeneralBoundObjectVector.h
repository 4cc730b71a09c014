#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"
#include "zqManipulator/kinematics/joint/ZqBaseGeneralBoundObject.h"

extern template class ZqXmlVariableVectorType<ZqBaseGeneralBoundObject>;

/// The shapes of a manipulator that members carry which are no links.
class ZqGeneralBoundObjectVector : public ZqXmlVariableVectorType<ZqBaseGeneralBoundObject>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqGeneralBoundObjectVectorToken; }
   static ZqXmlObject* creator() { return new ZqGeneralBoundObjectVector(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   static ZqGeneralBoundObjectVector nullObject() { return {}; }
   bool operator==(const ZqGeneralBoundObjectVector&) const = default;

   /// Changes the labels of links in each object as the edit says. Those that name a link that is gone are
   /// removed, with a message.
   void apply(const ZqLinkEdit& edit);
   /// Of all objects.
   void setManipulator(const ZqIndividualManipulator* manipulator);
   void scaleBy(ZqReal scale);
};
