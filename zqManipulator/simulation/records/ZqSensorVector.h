#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"
#include "zqManipulator/simulation/records/ZqBaseSensor.h"

extern template class ZqXmlVariableVectorType<ZqBaseSensor>;

/// The sensors of a link. All are of classes of users.
class ZqSensorVector final : public ZqXmlVariableVectorType<ZqBaseSensor>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqSensorInterface::ZqSensorVectorToken; }
   static ZqXmlObject* creator() { return new ZqSensorVector(); }
   const ZqToken& token() const override;
   bool operator==(const ZqSensorVector&) const = default;
};
