#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionRecords.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionStages.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <utility>

const ZqGeneralMotion ZqManipulatorLink::m_theDummyGeneralVelocity;
const ZqGeneralMotion ZqManipulatorLink::m_theDummyGeneralAcceleration;
const ZqGeneralMotion ZqManipulatorLink::m_theDummySpatialMomentum;
const ZqGeneralMotion ZqManipulatorLink::m_theDummySpatialMomentumRate;
const ZqGeneralForce ZqManipulatorLink::m_theDummyGeneralForce;
const ZqRigidBodyMassProperties ZqManipulatorLink::m_theDummyCrbi =
   ZqRigidBodyMassProperties::nullObject();
const ZqArticulatedBodyDynamics ZqManipulatorLink::m_theDummyArbd;

namespace
{
[[gnu::cold]] void rejectIndex(const char* format, ZqU32 index)
{
   Zq::Print::instance().write(Zq::Rejected, format, static_cast<int>(index));
}

[[gnu::cold]] void rejectIndexAndExplain(const char* format, ZqU32 index)
{
   rejectIndex(format, index);
   Zq::Print::instance().write(
      Zq::Rejected, "This can be caused by the system and state not having the same size.\n");
}

/// Says that a link is none of those that its manipulator and the state both have.
[[gnu::cold]] bool lacks(const ZqMotionStages& stages, ZqU32 index)
{
   if (!stages.has(index))
      rejectIndex("ZqManipulatorLink: the index (%d) is none of the manipulator's.\n", index);
   return !stages.has(index);
}

/// The record of a link or of the base; null when there is none.
template <class Manipulator>
auto recordOf(Manipulator& records, ZqU32 index) -> decltype(&records.record(index))
{
   return index == ZqBaseLinkIndex || index < records.size() ? &records.record(index) : nullptr;
}

/// The record of a link for which position and velocity have one, or of the base; null for any other
/// link.
inline ZqLinkVelocityState* velocityRecord(ZqManipulatorActiveState& activeState, ZqU32 index)
{
   return recordOf(activeState.activePositionState(), index) != nullptr
             ? recordOf(activeState.activeVelocityState(), index)
             : nullptr;
}

/// The record of a link for which the position has one, or of the base; null for any other link. A state
/// of accelerations may be shorter than that of positions; it is then brought to the same size at once,
/// so that later queries of outer links do not move records to which references were returned.
inline ZqLinkAccelerationState* accelerationRecord(ZqManipulatorActiveState& activeState,
                                                   ZqU32 index)
{
   const ZqManipulatorActivePositionState& positions = activeState.activePositionState();
   if (recordOf(positions, index) == nullptr)
      return nullptr;
   ZqManipulatorActiveAccelerationState& accelerations = activeState.activeAccelerationState();
   if (accelerations.size() < positions.size())
      accelerations.resize(positions.size());
   return &accelerations.record(index);
}

/// The acceleration, less that of the origin, of a point at p that turns with the body.
inline ZqVector turningAcceleration(const ZqVector& omega, const ZqVector& alpha, const ZqVector& p)
{
   return alpha.cross(p) + omega.cross(omega.cross(p));
}

/// The second moment about the center of mass, in the same axes.
ZqSecondMoment centralSecondMoment(const ZqRigidBodyMassProperties& body, const ZqVector& center)
{
   ZqRigidBodyMassProperties moved(body);
   moved.transformBy(-center);
   return moved.secondMoment();
}
} // namespace

/// The masses in the DH frame, inline for the common case of a query without a scene.
inline const ZqRigidBodyMassProperties&
ZqManipulatorLink::dhMasses(const ZqStatedSystemStruct* stateStruct) const
{
   return stateStruct == nullptr ? m_massPropertiesInDHFrame : massPropertiesInDHFrame(stateStruct);
}

const ZqCoordinateSystemTransformation&
ZqManipulatorLink::dhFrameInSystem(ZqManipulatorActivePositionState& activeState) const
{
   if (const ZqLinkPositionState* own = placeInSystem(activeState, false))
      return own->dhFrame();
   Zq::Print::instance().write(Zq::Rejected,
                               "ZqManipulatorLink::dhFrameInSystem(): index out of range.\n");
   return m_theDummyTransformation;
}

const ZqCoordinateSystemTransformation&
ZqManipulatorLink::primaryFrameInSystem(ZqManipulatorActivePositionState& activeState) const
{
   if (m_linkIndex == ZqBaseLinkIndex)
   {
      dhFrameInSystem(activeState);
      return activeState.basePositionState().primaryFrame();
   }
   if (const ZqLinkPositionState* own = placeInSystem(activeState, true))
      return own->primaryFrame();
   const ZqU32 records = activeState.size();
   const ZqU32 joints = activeState.positionState().jointPositions().size();
   Zq::Print::instance().write(
      Zq::Rejected, "ZqManipulatorLink::primaryFrameInSystem(): index %d out of range %d.\n",
      static_cast<int>(m_linkIndex), static_cast<int>(m_linkIndex < records ? joints : records));
   return m_theDummyTransformation;
}

/// Fills the records of a link and of those on its way to the base, up to the first that is placed.
void ZqManipulatorLink::takeFramesInboard(int link, ZqManipulatorActivePositionState& activeState)
{
   const ZqMotionWorkspace& work = activeState.workspace();
   for (int i = link; i >= 0; i = work.tree.joints[i].parent)
   {
      const auto index = static_cast<ZqU32>(i);
      ZqLinkPositionState& record = activeState.record(index);
      if (record.locationInSystemValid())
         break;
      zqMotion::takeFrame(work.frames[index + 1], work.tree.joints[i],
                          work.plan->primaryFrames[index], false, record);
   }
}

/// Where frames of links were given, a link stands on what the record of its parent says.
const ZqLinkPositionState*
ZqManipulatorLink::placeOnParent(ZqManipulatorActivePositionState& activeState,
                                 bool primaryFrameIsNext, ZqLinkPositionState& own) const
{
   const auto& parent = m_parentLink != nullptr ? m_parentLink->dhFrameInSystem(activeState)
                                                : ZqCoordinateSystemTransformation::identity();
   own.setLocation(parent,
                   m_linkKinematicsContainer.transformAt(
                      activeState.positionState().jointPositions()[m_linkIndex]),
                   primaryFrame(), primaryFrameIsNext);
   return &own;
}

/// Stores the transformation of the joint where it is not known yet.
void ZqManipulatorLink::storeDhTransform(ZqManipulatorActivePositionState& activeState) const
{
   ZqLinkPositionState& own = activeState.record(m_linkIndex);
   if (own.holdsDhTransform())
      return;
   own.setDhTransform(m_linkKinematicsContainer.transformAt(
      Zq::valueOrZero(activeState.positionState().jointPositions(), m_linkIndex)));
   own.setDhTransformValid(true);
}

/// The record of the link with both frames valid, or null when the state has none, or no joint position
/// to fill it from.
const ZqLinkPositionState*
ZqManipulatorLink::placeInSystem(ZqManipulatorActivePositionState& activeState,
                                 bool primaryFrameIsNext) const
{
   if (m_linkIndex >= activeState.size())
      return nullptr;
   ZqLinkPositionState& own = activeState.record(m_linkIndex);
   if (own.locationInSystemValid())
      return &own;
   if (m_linkIndex >= activeState.positionState().jointPositions().size())
      return nullptr;
   if (activeState.hasGivenFrames())
      return placeOnParent(activeState, primaryFrameIsNext, own);
   const ZqMotionWorkspace& work = activeState.workspace();
   if (m_manipulator == nullptr || work.plan == nullptr ||
       work.plan->model != m_manipulator->motionPlan().model ||
       m_linkIndex >= static_cast<ZqU32>(work.tree.count) ||
       !work.isDone(ZqMotionWorkspace::Frames, activeState.epoch()))
   {
      ZqMotionStages stages(*this, activeState);
      if (!stages.has(m_linkIndex))
         return nullptr;
      stages.frame(m_linkIndex);
   }
   const zqMotion::Joint& joint = work.tree.joints[m_linkIndex];
   zqMotion::takeFrame(work.frames[m_linkIndex + 1], joint, work.plan->primaryFrames[m_linkIndex],
                       primaryFrameIsNext, own);
   if (joint.parent >= 0 &&
       !activeState.record(static_cast<ZqU32>(joint.parent)).locationInSystemValid())
      takeFramesInboard(joint.parent, activeState);
   return &own;
}

const ZqGeneralMotion&
ZqManipulatorLink::dhFrameVelocityInLocal(ZqManipulatorActiveState& activeState) const
{
   ZqLinkVelocityState* const own = velocityRecord(activeState, m_linkIndex);
   if (own == nullptr)
   {
      rejectIndexAndExplain("ZqManipulatorLink::dhFrameVelocityInLocal(): link index %d not in the "
                            "range of the active state.\n",
                            m_linkIndex);
      return m_theDummyGeneralVelocity;
   }
   if (own->localDhValid())
      return own->dhFrameVelocityInLocal();

   ZqMotionStages stages(*this, activeState);
   if (lacks(stages, m_linkIndex))
      return m_theDummyGeneralVelocity;
   storeDhTransform(activeState.activePositionState());
   own->setDhFrameVelocityInLocal(
      zqMotion::velocityOfDhFrame(stages.joint(m_linkIndex), stages.velocities()[m_linkIndex + 1]));
   return own->dhFrameVelocityInLocal();
}

const ZqGeneralMotion&
ZqManipulatorLink::dhFrameVelocityInSystem(ZqManipulatorActiveState& activeState) const
{
   if (m_linkIndex >= activeState.activeVelocityState().size())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqManipulatorLink::dhFrameVelocityInSystem(): index out of range.\n");
      return m_theDummyGeneralVelocity;
   }
   ZqLinkVelocityState& own = activeState.activeVelocityState().record(m_linkIndex);
   if (!own.systemDhValid())
   {
      const ZqGeneralMotion& local = dhFrameVelocityInLocal(activeState);
      if (&local == &m_theDummyGeneralVelocity)
         return local;
      ZqGeneralMotion motion = local;
      motion.transformBy(dhFrameInSystem(activeState.activePositionState()).orientation());
      own.setDhFrameVelocityInSystem(motion);
   }
   return own.dhFrameVelocityInSystem();
}

const ZqGeneralMotion&
ZqManipulatorLink::primaryFrameVelocityInSystem(ZqManipulatorActiveState& activeState) const
{
   const ZqU32 count = activeState.activeVelocityState().size();
   if (m_linkIndex != ZqBaseLinkIndex && m_linkIndex >= count)
   {
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqManipulatorLink::primaryFrameVelocityInSystem(): index %d  out of range %d.\n",
         static_cast<int>(m_linkIndex), static_cast<int>(count));
      return m_theDummyGeneralVelocity;
   }
   ZqLinkVelocityState& own = activeState.activeVelocityState().record(m_linkIndex);
   if (!own.systemPrimaryValid())
   {
      const ZqGeneralMotion& local = dhFrameVelocityInLocal(activeState);
      if (&local == &m_theDummyGeneralVelocity)
         return local;
      ZqGeneralMotion motion = local;
      motion.transformBy(m_linkKinematicsContainer.primaryFrameInverse());
      motion.transformBy(primaryFrameInSystem(activeState.activePositionState()).orientation());
      own.setPrimaryFrameVelocityInSystem(motion);
   }
   return own.primaryFrameVelocityInSystem();
}

const ZqGeneralMotion&
ZqManipulatorLink::dhFrameAccelerationInLocal(ZqManipulatorActiveState& activeState) const
{
   ZqLinkAccelerationState* const own = accelerationRecord(activeState, m_linkIndex);
   if (own == nullptr)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqManipulatorLink::dhFrameAccelerationInLocal(): index out of range.\n");
      return m_theDummyGeneralAcceleration;
   }
   if (own->localDhValid())
      return own->dhFrameAccelerationInLocal();

   ZqMotionStages stages(*this, activeState);
   if (lacks(stages, m_linkIndex))
      return m_theDummyGeneralAcceleration;
   storeDhTransform(activeState.activePositionState());
   own->setDhFrameAccelerationInLocal(zqMotion::accelerationOfDhFrame(
      stages.joint(m_linkIndex), stages.motions()[m_linkIndex + 1]));
   return own->dhFrameAccelerationInLocal();
}

const ZqGeneralMotion&
ZqManipulatorLink::comVelocityInLocal(ZqManipulatorActiveState& activeState,
                                      const ZqStatedSystemStruct* stateStruct) const
{
   const ZqU32 index = linkIndex();
   ZqLinkVelocityState* const own = velocityRecord(activeState, index);
   if (own == nullptr)
   {
      rejectIndexAndExplain("ZqManipulatorLink::comVelocityInLocal(): link index %d not in the "
                            "range of the active state.\n",
                            index);
      return m_theDummyGeneralVelocity;
   }
   if (!own->localComValid())
   {
      ZqVector center;
      dhMasses(stateStruct).getCenterOfMass(center);
      ZqGeneralMotion motion = dhFrameVelocityInLocal(activeState);
      motion.transformBy(-center);
      own->setComVelocityInLocal(motion);
   }
   return own->comVelocityInLocal();
}

const ZqGeneralMotion&
ZqManipulatorLink::comAccelerationInLocal(ZqManipulatorActiveState& activeState,
                                          const ZqStatedSystemStruct* stateStruct) const
{
   const ZqU32 index = linkIndex();
   ZqLinkAccelerationState* const own = velocityRecord(activeState, index) != nullptr
                                           ? accelerationRecord(activeState, index)
                                           : nullptr;
   if (own == nullptr)
   {
      rejectIndexAndExplain("ZqManipulatorLink::comAccelerationInLocal(): link index %d not in the "
                            "range of the active state.\n",
                            index);
      return m_theDummyGeneralAcceleration;
   }
   if (!own->localComValid())
   {
      ZqVector center;
      dhMasses(stateStruct).getCenterOfMass(center);
      const ZqVector& omega = dhFrameVelocityInLocal(activeState).angular();
      ZqGeneralMotion motion = dhFrameAccelerationInLocal(activeState);
      motion.setLinear(motion.linear() + turningAcceleration(omega, motion.angular(), center));
      own->setComAccelerationInLocal(motion);
   }
   return own->comAccelerationInLocal();
}

const ZqGeneralMotion&
ZqManipulatorLink::spatialMomentumInLocal(ZqManipulatorActiveState& activeState,
                                          const ZqStatedSystemStruct* stateStruct) const
{
   const ZqU32 index = linkIndex();
   ZqLinkVelocityState* const own = velocityRecord(activeState, index);
   if (own == nullptr)
   {
      rejectIndex("ZqManipulatorLink::spatialMomentumInLocal(): index (%d) out of range.\n", index);
      return m_theDummySpatialMomentum;
   }
   if (!own->localMomentumValid())
   {
      const ZqRigidBodyMassProperties& body = dhMasses(stateStruct);
      ZqVector center;
      body.getCenterOfMass(center);
      const ZqGeneralMotion& velocity = comVelocityInLocal(activeState, stateStruct);
      own->setMomentumInLocal(
         {velocity.linear() * body.mass(), centralSecondMoment(body, center) * velocity.angular()});
   }
   return own->momentumInLocal();
}

const ZqGeneralMotion&
ZqManipulatorLink::spatialMomentumRateInLocal(ZqManipulatorActiveState& activeState,
                                              const ZqStatedSystemStruct* stateStruct) const
{
   const ZqU32 index = linkIndex();
   ZqLinkAccelerationState* const own = velocityRecord(activeState, index) != nullptr
                                           ? accelerationRecord(activeState, index)
                                           : nullptr;
   if (own == nullptr)
   {
      rejectIndex("ZqManipulatorLink::spatialMomentumRateInLocal(): index (%d) out of range.\n",
                  index);
      return m_theDummySpatialMomentumRate;
   }
   if (!own->localMomentumRateValid())
   {
      const ZqRigidBodyMassProperties& body = dhMasses(stateStruct);
      ZqVector center;
      body.getCenterOfMass(center);
      const ZqSecondMoment I = centralSecondMoment(body, center);
      const ZqVector& omega = comVelocityInLocal(activeState, stateStruct).angular();
      const ZqGeneralMotion& acceleration = comAccelerationInLocal(activeState, stateStruct);
      own->setMomentumRateInLocal({acceleration.linear() * body.mass(),
                                   I * acceleration.angular() + omega.cross(I * omega)});
   }
   return own->momentumRateInLocal();
}

/// The link's own value plus those of its children, each turned into the link's axes.
ZqGeneralMotion ZqManipulatorLink::sumOverChildren(const ZqGeneralMotion& own,
                                                   ZqManipulatorActiveState& activeState,
                                                   CompositeQuery query,
                                                   const ZqStatedSystemStruct* stateStruct) const
{
   ZqGeneralMotion sum = own;
   for (const ZqManipulatorLink& child : childLinks())
   {
      const ZqGeneralMotion& part = (child.*query)(activeState, stateStruct);
      if (recordOf(activeState.activePositionState(), child.m_linkIndex) == nullptr)
         continue;
      ZqMotionStages stages(child, activeState);
      if (lacks(stages, child.m_linkIndex))
         continue;
      const ZqRotationMatrix R = stages.dhRotation(child.m_linkIndex);
      sum += ZqGeneralMotion(R * part.linear(), R * part.angular());
   }
   return sum;
}

const ZqGeneralMotion&
ZqManipulatorLink::compositeSpatialMomentumInLocal(ZqManipulatorActiveState& activeState,
                                                   const ZqStatedSystemStruct* stateStruct) const
{
   const ZqU32 index = linkIndex();
   ZqLinkVelocityState* const own = velocityRecord(activeState, index);
   if (own == nullptr)
   {
      rejectIndex(
         "ZqManipulatorLink::compositeSpatialMomentumInLocal(): index (%d) out of range.\n", index);
      return m_theDummySpatialMomentum;
   }
   if (!own->compositeMomentumValid())
      own->setCompositeMomentumInLocal(
         sumOverChildren(spatialMomentumInLocal(activeState, stateStruct), activeState,
                         &ZqManipulatorLink::compositeSpatialMomentumInLocal, stateStruct));
   return own->compositeMomentumInLocal();
}

const ZqGeneralMotion& ZqManipulatorLink::compositeSpatialMomentumRateInLocal(
   ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const
{
   const ZqU32 index = linkIndex();
   ZqLinkAccelerationState* const own = velocityRecord(activeState, index) != nullptr
                                           ? accelerationRecord(activeState, index)
                                           : nullptr;
   if (own == nullptr)
   {
      rejectIndex(
         "ZqManipulatorLink::compositeSpatialMomentumRateInLocal(): index (%d) out of range.\n",
         index);
      return m_theDummySpatialMomentumRate;
   }
   if (!own->compositeMomentumRateValid())
      own->setCompositeMomentumRateInLocal(
         sumOverChildren(spatialMomentumRateInLocal(activeState, stateStruct), activeState,
                         &ZqManipulatorLink::compositeSpatialMomentumRateInLocal, stateStruct));
   return own->compositeMomentumRateInLocal();
}

ZqBoolean ZqManipulatorLink::computeMomentFromLinearAcceleration(
   const ZqVector& point, ZqManipulatorActiveState& activeState, ZqVector& moment,
   const ZqStatedSystemStruct* stateStruct) const
{
   ZqVector center;
   dhMasses(stateStruct).getCenterOfMass(center);
   const ZqVector acceleration = comAccelerationInLocal(activeState, stateStruct).linear();
   const ZqCoordinateSystemTransformation& frame =
      dhFrameInSystem(activeState.activePositionState());
   // Summed apart, since the caller may pass one vector as both point and moment.
   ZqVector sum = (frame * center - point).cross(frame.orientation() * acceleration) *
                  massProperties(stateStruct).mass();
   for (const ZqManipulatorLink& child : childLinks())
   {
      ZqVector ofChild;
      child.computeMomentFromLinearAcceleration(point, activeState, ofChild, stateStruct);
      sum += ofChild;
   }
   moment = sum;
   return true;
}

const ZqGeneralForce&
ZqManipulatorLink::dhFrameForceInLocal(const ZqManipulatorExternalForce& externalForce,
                                       ZqManipulatorActiveState& activeState,
                                       const ZqStatedSystemStruct* stateStruct) const
{
   ZqLinkForceState* const own = recordOf(activeState.activeForceState(), m_linkIndex);
   if (own != nullptr && own->localDhValid())
      return own->dhFrameForceInLocal();
   if (own == nullptr || accelerationRecord(activeState, m_linkIndex) == nullptr)
   {
      Zq::Print::instance().write(
         Zq::Rejected, own == nullptr
                          ? "ZqManipulatorLink::dhFrameForceInLocal(): force index out of range.\n"
                          : "ZqManipulatorLink::dhFrameForceInLocal(): acc. index out of range.\n");
      return m_theDummyGeneralForce;
   }
   ZqMotionStages stages(*this, activeState);
   if (lacks(stages, m_linkIndex))
      return m_theDummyGeneralForce;
   own->setDhFrameForceInLocal(zqMotion::forceAtDhFrame(
      stages.joint(m_linkIndex), stages.forces(externalForce, stateStruct)[m_linkIndex + 1]));
   return own->dhFrameForceInLocal();
}

const ZqRigidBodyMassProperties&
ZqManipulatorLink::crbi(ZqManipulatorActiveState& activeState,
                        const ZqStatedSystemStruct* stateStruct) const
{
   ZqManipulatorActiveMassState& masses = activeState.activeMassState();
   if (m_linkIndex >= masses.size())
   {
      rejectIndex("ZqManipulatorLink::crbi(): index (%d) out of range.\n", m_linkIndex);
      return m_theDummyCrbi;
   }
   ZqLinkMassState& own = masses.record(m_linkIndex);
   if (!own.crbiValid())
   {
      ZqMotionStages stages(*this, activeState);
      if (lacks(stages, m_linkIndex))
         return m_theDummyCrbi;
      zqMotion::takeMasses(stages.composites(stateStruct)[m_linkIndex + 1],
                           &stages.joint(m_linkIndex), own.crbiInPlace());
      own.setCrbiValid(true);
   }
   return own.crbi();
}

const ZqArticulatedBodyDynamics&
ZqManipulatorLink::arbd(const ZqManipulatorExternalForce& externalForce,
                        const ZqManipulatorTorque& torque, ZqManipulatorActiveState& activeState,
                        const ZqStatedSystemStruct* stateStruct) const
{
   ZqManipulatorActiveArticulationState& articulations = activeState.activeArticulationState();
   if (m_linkIndex >= articulations.size())
   {
      rejectIndex("ZqManipulatorLink::arbd(): index (%d) out of range.\n", m_linkIndex);
      return m_theDummyArbd;
   }
   ZqLinkArticulationState& own = articulations.record(m_linkIndex);
   if (!own.arbdValid())
   {
      ZqMotionStages stages(*this, activeState);
      if (lacks(stages, m_linkIndex))
         return m_theDummyArbd;
      const auto* const bodies = stages.articulated(externalForce, torque, stateStruct);
      zqMotion::takeArticulatedBody(
         bodies[m_linkIndex + 1], stages.work().biasForces[m_linkIndex + 1],
         &stages.joint(m_linkIndex), childLinks().size() == 0, own.arbdInPlace());
      own.setArbdValid(true);
   }
   return own.arbd();
}

void ZqManipulatorLink::addArbdToParent(ZqArticulatedBodyDynamics& parentArbd,
                                        const ZqManipulatorExternalForce& externalForce,
                                        const ZqManipulatorTorque& torque,
                                        ZqManipulatorActiveState& activeState,
                                        const ZqStatedSystemStruct* stateStruct) const
{
   const ZqArticulatedBodyDynamics& own = arbd(externalForce, torque, activeState, stateStruct);
   if (const ZqLinkKinematics* joint = m_linkKinematicsContainer.topElement())
   {
      const ZqReal q = Zq::valueOrZero(activeState.positionState().jointPositions(), m_linkIndex);
      joint->addChildArbdToParent(parentArbd, own, q,
                                  Zq::valueOrZero(torque.jointTorques(), m_linkIndex),
                                  m_jointActuator.effectiveInertia(q));
   }
}

ZqReal ZqManipulatorLink::arbiJointAcceleration(const ZqManipulatorExternalForce& externalForce,
                                                const ZqManipulatorTorque& torque,
                                                ZqManipulatorActiveState& activeState,
                                                const ZqStatedSystemStruct* stateStruct) const
{
   ZqManipulatorActiveArticulationState& articulations = activeState.activeArticulationState();
   if (m_linkIndex >= articulations.size())
   {
      rejectIndex("ZqManipulatorLink::arbiJointAcceleration(): articulation states index (%d) out "
                  "of range.\n",
                  m_linkIndex);
      return 0.0;
   }
   ZqLinkArticulationState& own = articulations.record(m_linkIndex);
   if (own.supplementalJointAccelerationValid())
      return own.supplementalJointAcceleration();
   ZqMotionStages stages(*this, activeState);
   if (lacks(stages, m_linkIndex))
      return 0.0;
   own.setSupplementalJointAcceleration(
      stages.jointAccelerations(externalForce, torque, stateStruct)[m_linkIndex]);
   return own.supplementalJointAcceleration();
}

const ZqGeneralMotion& ZqManipulatorLink::arbiSupplementalDhFrameAccelerationInLocal(
   const ZqManipulatorExternalForce& externalForce, const ZqManipulatorTorque& torque,
   ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const
{
   ZqManipulatorActiveArticulationState& articulations = activeState.activeArticulationState();
   if (m_linkIndex >= articulations.size())
   {
      rejectIndex("ZqManipulatorLink::arbiSupplementalDhFrameAccelerationInLocal(): articulation "
                  "states index (%d) out of range.\n",
                  m_linkIndex);
      return m_theDummyGeneralAcceleration;
   }
   ZqLinkArticulationState& own = articulations.record(m_linkIndex);
   if (!own.supplementalDhAccelerationValid())
   {
      ZqMotionStages stages(*this, activeState);
      if (lacks(stages, m_linkIndex))
         return m_theDummyGeneralAcceleration;
      stages.jointAccelerations(externalForce, torque, stateStruct);
      own.setSupplementalDhAcceleration(zqMotion::addedAccelerationOfDhFrame(
         stages.joint(m_linkIndex), stages.work().articulated[m_linkIndex + 1]));
   }
   return own.supplementalDhAcceleration();
}

const ZqLineSegment&
ZqManipulatorLink::forceVectorInLocal(ZqManipulatorActiveState& activeState) const
{
   return std::as_const(activeState)
      .activeForceState()
      .externalForceDescription(linkIndex())
      .representativeForceVector();
}
