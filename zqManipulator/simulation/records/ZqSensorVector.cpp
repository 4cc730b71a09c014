#include "zqManipulator/simulation/records/ZqSensorVector.h"

template class ZqXmlVariableVectorType<ZqBaseSensor>;

ZqXmlObject* ZqSensorVector::clone() const
{
   return new ZqSensorVector(*this);
}

ZqXmlObject* ZqSensorVector::newObject() const
{
   return new ZqSensorVector();
}

bool ZqSensorVector::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqSensorVector*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqSensorVector::token() const
{
   return classToken();
}
