#pragma once

#include "zqManipulator/actuation/ZqBaseJointActuator.h"

extern template class ZqXmlVariableType<ZqBaseJointActuator>;
extern template class ZqXmlSingleVariableType<ZqBaseJointActuator,
                                              ZqXmlClonePointer<ZqBaseJointActuator>>;
extern template class ZqBaseExpressionTreeContainer<ZqBaseJointActuator>;

/// A container of at most one drive, of the only class that old documents know (`ZqOldJointActuator`).
class ZqJointActuatorContainer : public ZqBaseExpressionTreeContainer<ZqBaseJointActuator>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqJointActuatorContainerToken; }
   static ZqXmlObject* creator() { return new ZqJointActuatorContainer(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   static ZqJointActuatorContainer nullObject() { return {}; }
   bool operator==(const ZqJointActuatorContainer&) const = default;
};
