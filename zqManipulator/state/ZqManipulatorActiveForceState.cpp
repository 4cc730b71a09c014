#include "zqManipulator/state/ZqManipulatorActiveForceState.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

template class ZqXmlClass<ZqManipulatorActiveForceState>;
template class ZqLinkRecords<ZqManipulatorActiveForceState, ZqLinkForceState>;

const ZqExternalForceDescription ZqManipulatorActiveForceState::m_theZeroForceDescription;

const ZqExternalForceDescription&
ZqManipulatorActiveForceState::externalForceDescription(ZqU32 index) const
{
   if (isInRange(index))
      return record(index).externalForceDescription();
   Zq::Print::instance().write(Zq::Rejected,
                               "ZqManipulatorActiveForceState::externalForceDescription(): link "
                               "index (%d) is not compatible "
                               "with the force states vector size (%d).\n",
                               static_cast<int>(index), static_cast<int>(m_links.size()));
   return m_theZeroForceDescription;
}

void ZqManipulatorActiveForceState::setExternalForceDescription(
   ZqU32 index, const ZqExternalForceDescription& description)
{
   if (isInRange(index))
      record(index).setExternalForceDescription(description);
   else
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqManipulatorActiveForceState::setExternalForceDescription(): "
                                  "link index (%d) is does not "
                                  "match the link force states size (%d)\n",
                                  static_cast<int>(index), static_cast<int>(m_links.size()));
}
