#include "zqManipulator/dynamics/motion/ZqMotionWorkspace.h"
#include "zqManipulator/state/ZqManipulatorActiveAccelerationState.h"
#include "zqManipulator/state/ZqManipulatorActiveArticulationState.h"
#include "zqManipulator/state/ZqManipulatorActiveForceState.h"
#include "zqManipulator/state/ZqManipulatorActiveMassState.h"
#include "zqManipulator/state/ZqManipulatorActivePositionState.h"
#include "zqManipulator/state/ZqManipulatorActiveVelocityState.h"

template class ZqXmlClass<ZqLinkAccelerationState>;
template class ZqXmlVectorType<ZqLinkAccelerationState>;
template class ZqXmlClass<ZqLinkArticulationState>;
template class ZqXmlVectorType<ZqLinkArticulationState>;
template class ZqXmlClass<ZqLinkForceState>;
template class ZqXmlVectorType<ZqLinkForceState>;
template class ZqXmlClass<ZqLinkMassState>;
template class ZqXmlVectorType<ZqLinkMassState>;
template class ZqXmlClass<ZqLinkPositionState>;
template class ZqXmlVectorType<ZqLinkPositionState>;
template class ZqXmlClass<ZqLinkVelocityState>;
template class ZqXmlVectorType<ZqLinkVelocityState>;
template class ZqXmlClass<ZqManipulatorActiveAccelerationState>;
template class ZqLinkRecords<ZqManipulatorActiveAccelerationState, ZqLinkAccelerationState>;
template class ZqXmlClass<ZqManipulatorActiveArticulationState>;
template class ZqLinkRecords<ZqManipulatorActiveArticulationState, ZqLinkArticulationState>;
template class ZqXmlClass<ZqManipulatorActiveMassState>;
template class ZqLinkRecords<ZqManipulatorActiveMassState, ZqLinkMassState>;
template class ZqXmlClass<ZqManipulatorActivePositionState>;
template class ZqLinkRecords<ZqManipulatorActivePositionState, ZqLinkPositionState>;
template class ZqXmlClass<ZqManipulatorActiveVelocityState>;
template class ZqLinkRecords<ZqManipulatorActiveVelocityState, ZqLinkVelocityState>;

ZqManipulatorActivePositionState::ZqManipulatorActivePositionState() = default;
ZqManipulatorActivePositionState::ZqManipulatorActivePositionState(
   const ZqManipulatorActivePositionState& other) = default;
ZqManipulatorActivePositionState::ZqManipulatorActivePositionState(
   ZqManipulatorActivePositionState&& other) noexcept = default;
ZqManipulatorActivePositionState& ZqManipulatorActivePositionState::operator=(
   const ZqManipulatorActivePositionState& other) = default;
ZqManipulatorActivePositionState& ZqManipulatorActivePositionState::operator=(
   ZqManipulatorActivePositionState&& other) noexcept = default;
ZqManipulatorActivePositionState::~ZqManipulatorActivePositionState() = default;

void ZqManipulatorActivePositionState::makeWorkspace()
{
   m_workspace.get() = std::make_unique<ZqMotionWorkspace>();
}
