#include "zqManipulator/foundation/function/ZqLinearScalarFunction.h"

template class ZqXmlClass<ZqLinearScalarFunction, ZqBaseScalarFunction>;

ZqReal ZqLinearScalarFunction::evaluate(ZqReal t) const
{
   return (1.0 - t) * m_startValue + t * m_endValue;
}
