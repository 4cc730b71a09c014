#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionRecords.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionStages.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

namespace
{
/// Turns a motion from the axes of the system into those of a frame.
ZqGeneralMotion inAxesOf(const ZqCoordinateSystemTransformation& frame,
                         const ZqGeneralMotion& motion)
{
   return frame.orientation().inverse() * motion;
}
} // namespace

const ZqGeneralMotion&
ZqIndividualManipulator::dhFrameVelocityInLocal(ZqManipulatorActiveState& activeState) const
{
   ZqLinkVelocityState& base = activeState.activeVelocityState().record(ZqBaseLinkIndex);
   if (!base.localDhValid())
      base.setDhFrameVelocityInLocal(inAxesOf(dhFrameInSystem(activeState.activePositionState()),
                                              activeState.velocityState().generalVelocity()));
   return base.dhFrameVelocityInLocal();
}

const ZqGeneralMotion&
ZqIndividualManipulator::dhFrameVelocityInSystem(ZqManipulatorActiveState& activeState) const
{
   return activeState.velocityState().generalVelocity();
}

const ZqGeneralMotion&
ZqIndividualManipulator::primaryFrameVelocityInSystem(ZqManipulatorActiveState& activeState) const
{
   // The query of the link handles any index, and gets the velocity of the base from this class.
   return ZqManipulatorLink::primaryFrameVelocityInSystem(activeState);
}

const ZqGeneralMotion&
ZqIndividualManipulator::dhFrameAccelerationInLocal(ZqManipulatorActiveState& activeState) const
{
   ZqLinkAccelerationState& base = activeState.activeAccelerationState().record(ZqBaseLinkIndex);
   if (!base.localDhValid())
      base.setDhFrameAccelerationInLocal(
         inAxesOf(dhFrameInSystem(activeState.activePositionState()),
                  activeState.accelerationState().generalAcceleration()));
   return base.dhFrameAccelerationInLocal();
}

const ZqGeneralForce&
ZqIndividualManipulator::dhFrameForceInLocal(const ZqManipulatorExternalForce& externalForce,
                                             ZqManipulatorActiveState& activeState,
                                             const ZqStatedSystemStruct* stateStruct) const
{
   ZqLinkForceState& base = activeState.activeForceState().record(ZqBaseLinkIndex);
   if (!base.localDhValid())
   {
      const auto [f, n] = ZqMotionStages(*this, activeState).baseForce(externalForce, stateStruct);
      base.setDhFrameForceInLocal({zqMotion::vectorOf(f), zqMotion::vectorOf(n)});
   }
   return base.dhFrameForceInLocal();
}

const ZqGeneralMotion& ZqIndividualManipulator::compositeSpatialMomentumInLocal(
   ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const
{
   ZqLinkVelocityState& base = activeState.activeVelocityState().record(ZqBaseLinkIndex);
   if (!base.compositeMomentumValid())
      base.setCompositeMomentumInLocal(
         sumOverChildren(spatialMomentumInLocal(activeState, stateStruct), activeState,
                         &ZqManipulatorLink::compositeSpatialMomentumInLocal, stateStruct));
   return base.compositeMomentumInLocal();
}

const ZqGeneralMotion& ZqIndividualManipulator::compositeSpatialMomentumRateInLocal(
   ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const
{
   ZqLinkAccelerationState& base = activeState.activeAccelerationState().record(ZqBaseLinkIndex);
   if (!base.compositeMomentumRateValid())
      base.setCompositeMomentumRateInLocal(
         sumOverChildren(spatialMomentumRateInLocal(activeState, stateStruct), activeState,
                         &ZqManipulatorLink::compositeSpatialMomentumRateInLocal, stateStruct));
   return base.compositeMomentumRateInLocal();
}

const ZqRigidBodyMassProperties&
ZqIndividualManipulator::crbi(ZqManipulatorActiveState& activeState,
                              const ZqStatedSystemStruct* stateStruct) const
{
   ZqLinkMassState& base = activeState.activeMassState().record(ZqBaseLinkIndex);
   if (!base.crbiValid())
   {
      zqMotion::takeMasses(ZqMotionStages(*this, activeState).whole(stateStruct), nullptr,
                           base.crbiInPlace());
      base.setCrbiValid(true);
   }
   return base.crbi();
}

const ZqArticulatedBodyDynamics& ZqIndividualManipulator::arbd(
   const ZqManipulatorExternalForce& externalForce, const ZqManipulatorTorque& torque,
   ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const
{
   ZqLinkArticulationState& base = activeState.activeArticulationState().record(ZqBaseLinkIndex);
   if (!base.arbdValid())
   {
      const auto [body, bias] =
         ZqMotionStages(*this, activeState).articulatedBase(externalForce, torque, stateStruct);
      zqMotion::takeArticulatedBody(body, bias, nullptr, childLinks().size() == 0,
                                    base.arbdInPlace());
      base.setArbdValid(true);
   }
   return base.arbd();
}

const ZqGeneralMotion& ZqIndividualManipulator::arbiSupplementalDhFrameAccelerationInLocal(
   const ZqManipulatorExternalForce& externalForce, const ZqManipulatorTorque& torque,
   ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const
{
   if (isFixedBase())
      return m_theDummyGeneralAcceleration;
   ZqLinkArticulationState& base = activeState.activeArticulationState().record(ZqBaseLinkIndex);
   if (!base.supplementalDhAccelerationValid())
   {
      const auto [body, bias] =
         ZqMotionStages(*this, activeState).articulatedBase(externalForce, torque, stateStruct);
      base.setSupplementalDhAcceleration(
         zqMotion::accelerationOfBase(body, bias, torque.generalForce()));
   }
   return base.supplementalDhAcceleration();
}

const ZqGeneralMotion& ZqIndividualManipulator::arbiBaseAccelerationInLocal(
   const ZqManipulatorExternalForce& externalForce, const ZqManipulatorTorque& torque,
   ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const
{
   return arbiSupplementalDhFrameAccelerationInLocal(externalForce, torque, activeState,
                                                     stateStruct);
}
