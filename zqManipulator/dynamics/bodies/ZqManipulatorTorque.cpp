#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

template class ZqXmlClass<ZqManipulatorTorque>;

const ZqManipulatorTorque& ZqManipulatorTorque::nullObject()
{
   // Never destroyed, so that it serves the destructors of static objects as well.
   static const ZqManipulatorTorque& object = *new ZqManipulatorTorque();
   return object;
}

void ZqManipulatorTorque::setJointTorques(const ZqReArray& torques)
{
   if (torques.rows() > 0 && torques.columns() == 0)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqManipulatorTorque::setJointTorques(): array of %u rows has no column.\n",
         torques.rows());
      return;
   }
   m_jointTorques.resize(torques.rows());
   for (std::size_t i = 0; i < torques.rows(); ++i)
      m_jointTorques[i] = torques[i][0];
}
