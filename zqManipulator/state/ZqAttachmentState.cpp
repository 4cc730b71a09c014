#include "zqManipulator/state/ZqAttachmentState.h"

template class ZqXmlClass<ZqAttachmentNodeState>;
template class ZqXmlClass<ZqAttachmentMapState>;

template class ZqXmlVectorType<ZqCoordinateSystemTransformation>;
template class ZqXmlVectorType<ZqGeneralMotion>;
template class ZqXmlMapType<ZqU32, ZqAttachmentNodeState>;

ZqAttachmentNodeState& ZqAttachmentMapState::manipulatorAttachmentState(unsigned manipulatorIndex)
{
   return m_manipulatorAttachmentStates.mapContainer()[manipulatorIndex];
}

void ZqAttachmentMapState::setManipulatorAttachmentState(unsigned manipulatorIndex,
                                                         const ZqAttachmentNodeState& state)
{
   m_manipulatorAttachmentStates.add(manipulatorIndex, state);
}
