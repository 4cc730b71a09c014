#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"

template class ZqXmlClass<ZqManipulatorExternalForce>;

template class ZqXmlVectorType<ZqGeneralForce>;

const ZqGeneralForce& ZqManipulatorExternalForce::outOfRange(unsigned int index)
{
   Zq::Print::instance().write(
      Zq::Rejected,
      "ZqManipulatorExternalForce::operator[]: index %d out of range.  Returning zero force.\n",
      static_cast<int>(index));
   return ZqGeneralForce::nullObject();
}

void ZqManipulatorExternalForce::setToZeros()
{
   m_baseForce = ZqGeneralForce();
   for (ZqGeneralForce& force : m_linkForces)
      force = ZqGeneralForce();
}
