#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <utility>

const ZqGeneralMotion ZqManipulatorLink::m_theDummyGeneralVelocity;
const ZqGeneralMotion ZqManipulatorLink::m_theDummyGeneralAcceleration;
const ZqGeneralMotion ZqManipulatorLink::m_theDummySpatialMomentum;
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

inline ZqReal jointPosition(const ZqManipulatorActiveState& activeState, ZqU32 index)
{
   return Zq::valueOrZero(activeState.positionState().jointPositions(), index);
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

/// The record of the link with its joint's transformation, for a link that has a record.
inline const ZqLinkPositionState&
ZqManipulatorLink::withDhTransform(ZqManipulatorActivePositionState& activeState) const
{
   ZqLinkPositionState& own = activeState.record(m_linkIndex);
   if (!own.holdsDhTransform())
   {
      own.setDhTransform(m_linkKinematicsContainer.calculateTransform(
         Zq::valueOrZero(activeState.positionState().jointPositions(), m_linkIndex)));
      own.setDhTransformValid(true);
   }
   return own;
}

/// Velocity and acceleration of the DH frame: from the record if it is valid, which it is when links are
/// asked in the order of their indices, and else by the virtual query.
inline const ZqGeneralMotion& ZqManipulatorLink::velocityOf(const ZqManipulatorLink& link,
                                                            ZqManipulatorActiveState& activeState)
{
   const ZqLinkVelocityState* record =
      recordOf(activeState.activeVelocityState(), link.m_linkIndex);
   return record != nullptr && record->localDhValid() ? record->dhFrameVelocityInLocal()
                                                      : link.dhFrameVelocityInLocal(activeState);
}

inline const ZqGeneralMotion&
ZqManipulatorLink::accelerationOf(const ZqManipulatorLink& link,
                                  ZqManipulatorActiveState& activeState)
{
   const ZqLinkAccelerationState* record =
      recordOf(activeState.activeAccelerationState(), link.m_linkIndex);
   return record != nullptr && record->localDhValid()
             ? record->dhFrameAccelerationInLocal()
             : link.dhFrameAccelerationInLocal(activeState);
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

   ZqVector linear;
   ZqVector angular;
   if (m_parentLink != nullptr)
   {
      const ZqGeneralMotion& parent = velocityOf(*m_parentLink, activeState);
      const ZqLinkPositionState& place = withDhTransform(activeState.activePositionState());
      const ZqRotationMatrix& R = place.dhRotation();
      linear = R.transposeTimes(parent.linear() +
                                parent.angular().cross(place.dhTransform().translation()));
      angular = R.transposeTimes(parent.angular());
   }
   if (const ZqLinkKinematics* joint = m_linkKinematicsContainer.topElement())
   {
      const ZqGeneralMotion& added = joint->calculateVelocity(
         jointPosition(activeState, m_linkIndex),
         Zq::valueOrZero(activeState.velocityState().jointVelocities(), m_linkIndex));
      linear += added.linear();
      angular += added.angular();
   }
   own->setDhFrameVelocityInLocal({linear, angular});
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

   ZqVector linear;
   ZqVector angular;
   ZqVector omega; // of the inboard frame, in the axes of the DH frame
   // What the parent passes on: R^T (a + alpha x p + omega x (omega x p)), and R^T alpha.
   if (m_parentLink != nullptr)
   {
      const ZqVector& parentOmega = velocityOf(*m_parentLink, activeState).angular();
      const ZqGeneralMotion& parent = accelerationOf(*m_parentLink, activeState);
      const ZqLinkPositionState& place = withDhTransform(activeState.activePositionState());
      const ZqRotationMatrix& R = place.dhRotation();
      linear =
         R.transposeTimes(parent.linear() + turningAcceleration(parentOmega, parent.angular(),
                                                                place.dhTransform().translation()));
      angular = R.transposeTimes(parent.angular());
      omega = R.transposeTimes(parentOmega);
   }
   if (const ZqLinkKinematics* joint = m_linkKinematicsContainer.topElement())
   {
      // What the joint adds: its own acceleration, and the Coriolis terms of its velocity.
      const ZqReal q = jointPosition(activeState, m_linkIndex);
      const ZqReal qd = Zq::valueOrZero(activeState.velocityState().jointVelocities(), m_linkIndex);
      const ZqReal qdd =
         Zq::valueOrZero(activeState.accelerationState().jointAccelerations(), m_linkIndex);
      const ZqGeneralMotion& velocity = joint->calculateVelocity(q, qd);
      linear += omega.cross(velocity.linear()) * 2.0;
      angular += omega.cross(velocity.angular());
      const ZqGeneralMotion& acceleration = joint->calculateAcceleration(q, qd, qdd);
      linear += acceleration.linear();
      angular += acceleration.angular();
   }
   own->setDhFrameAccelerationInLocal({linear, angular});
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
      return m_theDummySpatialMomentum;
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
      const ZqRotationMatrix R(child.m_linkKinematicsContainer
                                  .calculateTransform(jointPosition(activeState, child.m_linkIndex))
                                  .orientation());
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
      return m_theDummySpatialMomentum;
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

/// The force that moves the link's own body, less what comes from outside.
[[gnu::always_inline]] inline ZqGeneralForce
ZqManipulatorLink::forceOnBody(const ZqManipulatorExternalForce& externalForce,
                               ZqManipulatorActiveState& activeState,
                               const ZqStatedSystemStruct* stateStruct) const
{
   const ZqU32 index = m_linkIndex;
   const ZqGeneralMotion& velocity = velocityOf(*this, activeState);
   const ZqGeneralMotion& acceleration = accelerationOf(*this, activeState);
   const ZqGeneralForce force = dhMasses(stateStruct).calculateForce(velocity, acceleration);
   const ZqGeneralForce* const external = externalForce.forceOn(index);
   return external == nullptr ? force : force - *external;
}

/// Fills the record of a link with the force that moves it and its subtree: one inward step of Newton
/// and Euler. The state has a position for the link.
void ZqManipulatorLink::gatherForces(ZqLinkForceState& record,
                                     const ZqManipulatorExternalForce& externalForce,
                                     ZqManipulatorActiveState& activeState,
                                     const ZqStatedSystemStruct* stateStruct) const
{
   // The link's own body.
   const ZqGeneralForce own = forceOnBody(externalForce, activeState, stateStruct);
   ZqVector force = own.force();
   ZqVector moment = own.moment();
   for (const ZqManipulatorLink& child : childLinks())
   {
      // The force at the child's joint, computed first where it is stale.
      const ZqLinkForceState* ofChild = recordOf(activeState.activeForceState(), child.m_linkIndex);
      const ZqGeneralForce& part =
         ofChild != nullptr && ofChild->localDhValid()
            ? ofChild->dhFrameForceInLocal()
            : child.dhFrameForceInLocal(externalForce, activeState, stateStruct);
      if (recordOf(activeState.activePositionState(), child.m_linkIndex) == nullptr)
         continue;
      // Turned into the axes of this link, and moved to its origin.
      const ZqLinkPositionState& place = child.withDhTransform(activeState.activePositionState());
      const ZqVector turned = place.dhRotation() * part.force();
      force += turned;
      moment +=
         place.dhRotation() * part.moment() + place.dhTransform().translation().cross(turned);
   }
   record.setDhFrameForceInLocal({force, moment});
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
   gatherForces(*own, externalForce, activeState, stateStruct);
   return own->dhFrameForceInLocal();
}

/// Fills the record of a link with the masses of its subtree as one rigid body, about the origin of its
/// DH frame. The state has a position for the link.
void ZqManipulatorLink::composeBody(ZqLinkMassState& record, ZqManipulatorActiveState& activeState,
                                    const ZqStatedSystemStruct* stateStruct) const
{
   ZqRigidBodyMassProperties& sum = record.crbiInPlace();
   sum = dhMasses(stateStruct);
   for (const ZqManipulatorLink& child : childLinks())
   {
      // The child's subtree, about the child's origin, is moved to this link's.
      const ZqRigidBodyMassProperties& part = child.crbi(activeState, stateStruct);
      if (child.m_linkIndex >= activeState.activePositionState().size())
         continue;
      const ZqLinkPositionState& place = child.withDhTransform(activeState.activePositionState());
      sum.add(part, place.dhRotation(), place.dhTransform().translation());
   }
   record.setCrbiValid(true);
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
      composeBody(own, activeState, stateStruct);
   return own.crbi();
}

/// Fills the record of a link with the articulated body of its subtree: one inward step of Featherstone.
/// The state has a position for the link.
void ZqManipulatorLink::articulateBody(ZqLinkArticulationState& record,
                                       const ZqManipulatorExternalForce& externalForce,
                                       const ZqManipulatorTorque& torque,
                                       ZqManipulatorActiveState& activeState,
                                       const ZqStatedSystemStruct* stateStruct) const
{
   // The link alone, as if it had no children.
   ZqArticulatedBodyDynamics& body = record.arbdInPlace();
   body.setInertiaFromRigidBody(dhMasses(stateStruct));
   body.setBias(forceOnBody(externalForce, activeState, stateStruct));
   // Each child, less what the freedom of its joint takes away.
   for (const ZqManipulatorLink& child : childLinks())
      child.addArbdToParent(body, externalForce, torque, activeState, stateStruct);
   record.setArbdValid(true);
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
      articulateBody(own, externalForce, torque, activeState, stateStruct);
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
      const ZqReal q = jointPosition(activeState, m_linkIndex);
      joint->addChildArbdToParent(parentArbd, own, q,
                                  Zq::valueOrZero(torque.jointTorques(), m_linkIndex),
                                  m_jointActuator.effectiveInertia(q));
   }
}

/// The acceleration that torques add to the parent, at the origin of this link and in its axes: one
/// outward step of Featherstone. Zero at a root.
ZqGeneralMotion ZqManipulatorLink::inboardAcceleration(
   const ZqManipulatorExternalForce& externalForce, const ZqManipulatorTorque& torque,
   ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const
{
   if (m_parentLink == nullptr)
      return {};
   const ZqGeneralMotion& parent = m_parentLink->arbiSupplementalDhFrameAccelerationInLocal(
      externalForce, torque, activeState, stateStruct);
   const ZqLinkPositionState& place = withDhTransform(activeState.activePositionState());
   const ZqRotationMatrix& R = place.dhRotation();
   return {
      R.transposeTimes(parent.linear() + parent.angular().cross(place.dhTransform().translation())),
      R.transposeTimes(parent.angular())};
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
   // The parent's acceleration comes first. Computing it also makes the articulated body of this link
   // valid, so that the query of the body below does not recurse again.
   const ZqGeneralMotion inboard =
      inboardAcceleration(externalForce, torque, activeState, stateStruct);
   const ZqArticulatedBodyDynamics& body = arbd(externalForce, torque, activeState, stateStruct);
   // qdd = (torque - s . (I a + bias)) / (s . I s + inertia of the drive)
   const ZqReal q = jointPosition(activeState, m_linkIndex);
   const ZqReal numerator =
      Zq::valueOrZero(torque.jointTorques(), m_linkIndex) -
      m_linkKinematicsContainer.torqueRequiredToExert(q, body.calculateForce(inboard));
   const ZqReal denominator = m_linkKinematicsContainer.unitAccelerationTorque(q, body.inertia()) +
                              m_jointActuator.effectiveInertia(q);
   const ZqReal acceleration = denominator == 0.0 ? 0.0 : numerator / denominator;
   own.setSupplementalJointAcceleration(acceleration);
   if (!own.supplementalDhAccelerationValid())
      own.setSupplementalDhAcceleration(
         inboard + m_linkKinematicsContainer.calculateAcceleration(q, 0.0, acceleration));
   return acceleration;
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
      // This query sets the acceleration of the frame as well, but not when that of the joint was valid.
      const ZqReal acceleration =
         arbiJointAcceleration(externalForce, torque, activeState, stateStruct);
      if (!own.supplementalDhAccelerationValid())
         own.setSupplementalDhAcceleration(
            inboardAcceleration(externalForce, torque, activeState, stateStruct) +
            m_linkKinematicsContainer.calculateAcceleration(jointPosition(activeState, m_linkIndex),
                                                            0.0, acceleration));
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
