#include "zqManipulator/kinematics/manipulator/ZqMotionStages.h"

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/dynamics/motion/ZqArticulatedSweep.h"
#include "zqManipulator/dynamics/motion/ZqInverseDynamicsSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/dynamics/motion/ZqMotionSineCosine.h"
#include "zqManipulator/dynamics/motion/ZqPositionSweep.h"
#include "zqManipulator/dynamics/motion/ZqVelocitySweep.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionPlanOf.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <algorithm>
#include <memory>

using Work = ZqMotionWorkspace;
using zqMotion::Joint;
using zqMotion::plain;
using zqMotion::Vec3;

namespace
{
/// A vector that is long enough, whatever stands in it.
template <class Vector>
typename Vector::value_type* sized(Vector& vector, std::size_t size)
{
   if (vector.size() < size)
      vector.resize(size);
   return vector.data();
}

/// The numbers of a list, filled up with zeros where they are too few.
const ZqReal* atLeast(const ZqXmlVectorBasicType<ZqReal>& list, int count,
                      std::vector<ZqReal>& filled)
{
   const auto& values = list.values();
   const auto size = static_cast<std::size_t>(count);
   if (values.size() >= size)
      return values.data();
   filled.assign(size, 0.0);
   std::copy(values.begin(), values.end(), filled.begin());
   return filled.data();
}

/// Enters the links of a tree by their indices, as far as these are below the size of the list.
void collect(const ZqManipulatorLink& link, std::vector<ZqManipulatorLink*>& links)
{
   if (link.linkIndex() < links.size())
      links[link.linkIndex()] = const_cast<ZqManipulatorLink*>(&link);
   for (const ZqManipulatorLink& child : link.childLinks())
      collect(child, links);
}

const ZqManipulatorLink& rootOf(const ZqManipulatorLink& link)
{
   const ZqManipulatorLink* root = &link;
   while (root->parentLink() != nullptr)
      root = root->parentLink();
   return *root;
}

ZqRotationMatrix matrixOf(const zqMotion::Mat3<ZqReal>& R)
{
   return {R.xx, R.xy, R.xz, R.yx, R.yy, R.yz, R.zx, R.zy, R.zz};
}

bool isZero(const ZqGeneralForce& force)
{
   return force == ZqGeneralForce::nullObject();
}
} // namespace

ZqMotionStages::ZqMotionStages(const ZqIndividualManipulator& manipulator,
                               ZqManipulatorActivePositionState& positions)
   : m_manipulator(&manipulator), m_positions(positions), m_work(positions.workspace())
{
   prepare();
}

ZqMotionStages::ZqMotionStages(const ZqIndividualManipulator& manipulator,
                               ZqManipulatorActiveState& activeState)
   : m_manipulator(&manipulator), m_positions(activeState.activePositionState()),
     m_activeState(&activeState), m_work(m_positions.workspace())
{
   prepare();
}

ZqMotionStages::ZqMotionStages(const ZqManipulatorLink& link,
                               ZqManipulatorActivePositionState& positions)
   : m_manipulator(link.manipulator()), m_positions(positions), m_work(positions.workspace())
{
   if (m_manipulator == nullptr)
      flatten(link);
   prepare();
}

ZqMotionStages::ZqMotionStages(const ZqManipulatorLink& link, ZqManipulatorActiveState& activeState)
   : m_manipulator(link.manipulator()), m_positions(activeState.activePositionState()),
     m_activeState(&activeState), m_work(m_positions.workspace())
{
   if (m_manipulator == nullptr)
      flatten(link);
   prepare();
}

/// A link that belongs to no manipulator is flattened with its subtree whenever it is asked, since nobody tells
/// when it changes. It may be a copy that has kept the parent of the original: then it hangs on that.
void ZqMotionStages::flatten(const ZqManipulatorLink& link)
{
   const ZqManipulatorLink& root = rootOf(link);
   m_manipulator = root.manipulator();
   m_loneLinks.resize(m_positions.size());
   collect(root, m_loneLinks);
   collect(link, m_loneLinks);
   auto plan = std::make_shared<ZqMotionPlan>(zqMotionPlanOf(m_loneLinks));
   if (m_manipulator != nullptr)
      zqSetBase(*m_manipulator, *plan);
   m_lonePlan = std::move(plan);
}

/// Null where nobody has the index.
const ZqManipulatorLink* ZqMotionStages::linkAt(ZqU32 index) const
{
   return m_lonePlan != nullptr ? m_loneLinks[index] : m_manipulator->linkPointerVector()[index];
}

/// Takes the plan, and as many links of it as the state has records for.
void ZqMotionStages::prepare()
{
   m_plan = m_lonePlan != nullptr ? m_lonePlan.get() : &m_manipulator->motionPlan();
   const std::size_t count = std::min<std::size_t>(m_plan->joints.size(), m_positions.size());
   takePlan(count);
   m_q = atLeast(m_positions.positionState().jointPositions(), static_cast<int>(count),
                 m_work.positions);
   forgetWhatFollowsFrom(Work::Position, m_positions.epoch(), Work::Velocities);
   if (m_activeState == nullptr)
      return;
   const auto& state = std::as_const(*m_activeState);
   forgetWhatFollowsFrom(Work::Velocity, state.activeVelocityState().epoch(), Work::Motions);
   forgetWhatFollowsFrom(Work::Acceleration, state.activeAccelerationState().epoch(), Work::Forces);
}

/// Where one state alone has changed, what is computed from it and others begins anew, from a stage on. What
/// bodies make up together follows from the positions of joints alone, wherever the base has been put.
void ZqMotionStages::forgetWhatFollowsFrom(ZqMotionWorkspace::Input input, std::uint64_t epoch,
                                           ZqMotionWorkspace::Stage first)
{
   if (m_work.inputs[input] == epoch)
      return;
   m_work.inputs[input] = epoch;
   const auto& composedAt = m_work.composedAt;
   const bool keepsBodies =
      input != Work::Position || (composedAt.size() == static_cast<std::size_t>(tree().count) &&
                                  std::equal(composedAt.begin(), composedAt.end(), m_q));
   for (unsigned stage = first; stage < Work::StageCount; ++stage)
      if (!keepsBodies || (stage != Work::Composites && stage != Work::Axes))
         m_work.done[stage] = ~std::uint64_t{0};
}

void ZqMotionStages::takePlan(std::size_t count)
{
   const bool hasSameLinks = m_work.plan != nullptr && m_work.plan->model == m_plan->model &&
                             static_cast<std::size_t>(m_work.tree.count) == count;
   if (hasSameLinks && m_work.plan.get() == m_plan)
      return;
   // Complete again at the end, if nothing fails.
   m_work.plan.reset();
   m_work.leastPivotsAreConstant = false;
   m_work.tree = m_plan->tree();
   if (count < m_plan->joints.size())
      shorten(static_cast<ZqU32>(count));
   if (hasSameLinks)
   {
      // Another manipulator with the same links: what does not depend on how the base moves stays.
      for (const Work::Stage stage :
           {Work::Velocities, Work::Motions, Work::Forces, Work::Articulated, Work::Accelerations})
         m_work.done[stage] = ~std::uint64_t{0};
   }
   else
   {
      m_work.forget();
      m_work.framesDone.assign(count + 1, ~std::uint64_t{0});
      m_work.frames.resize(count + 1);
      m_work.halfCos.resize(count);
      m_work.halfSin.resize(count);
      m_work.slots.resize(m_plan->slotLinks.size());
   }
   m_work.plan = m_lonePlan != nullptr ? m_lonePlan : m_manipulator->sharedMotionPlan();
}

/// The first links alone: parents stand before their children.
void ZqMotionStages::shorten(ZqU32 count)
{
   const int end = static_cast<int>(count);
   zqMotion::Tree& tree = m_work.tree;
   m_work.joints.assign(m_plan->joints.begin(), m_plan->joints.begin() + end);
   tree.count = end;
   tree.slots = 0;
   for (Joint& joint : m_work.joints)
   {
      joint.end = std::min(joint.end, end);
      tree.slots += joint.slot >= 0 ? 1 : 0;
   }
   tree.joints = m_work.joints.data();
}

void ZqMotionStages::angles()
{
   const std::uint64_t epoch = m_positions.epoch();
   if (m_work.isDone(Work::Angles, epoch))
      return;
   zqMotion::halfCosineSines(m_q, tree().count, m_work.halfCos.data(), m_work.halfSin.data());
   for (int k = 0; k < tree().slots; ++k)
   {
      const ZqU32 i = m_plan->slotLinks[static_cast<std::size_t>(k)];
      const int parent = joint(i).parent;
      zqMotion::place(linkAt(i)->linkKinematicsContainer(),
                      parent < 0 ? nullptr : &tree().joints[parent], m_q[i],
                      m_work.slots[static_cast<std::size_t>(k)]);
   }
   m_work.done[Work::Angles] = epoch;
}

/// The base's frame may be placed by its query, which begins a new epoch.
void ZqMotionStages::placeBase()
{
   zqMotion::Frame<ZqReal>& base = m_work.frames[0];
   if (m_manipulator == nullptr)
      base = {{0.0, 0.0, 0.0}, {1.0, 0.0, 0.0, 0.0}};
   else
   {
      const ZqCoordinateSystemTransformation& X = m_manipulator->dhFrameInSystem(m_positions);
      base = {plain(X.translation()), plain(X.orientation())};
   }
   m_work.framesDone[0] = m_positions.epoch();
}

const zqMotion::Frame<ZqReal>* ZqMotionStages::frames()
{
   if (m_work.isDone(Work::Frames, m_positions.epoch()))
      return m_work.frames.data();
   placeBase();
   angles();
   zqMotion::placeLinks(tree(), m_q, m_work.halfCos.data(), m_work.halfSin.data(),
                        m_work.slots.data(), m_work.frames.data());
   m_work.done[Work::Frames] = m_positions.epoch();
   return m_work.frames.data();
}

/// Places one link, those between it and the base before it.
void ZqMotionStages::place(ZqU32 link)
{
   const Joint& own = joint(link);
   const auto parent = static_cast<std::size_t>(own.parent + 1);
   if (m_work.framesDone[parent] != m_positions.epoch())
      own.parent < 0 ? placeBase() : place(static_cast<ZqU32>(own.parent));
   const ZqReal q = m_q[link];
   const auto half = zqMotion::halfCosineSine(q);
   zqMotion::placeLink(own, m_work.frames[parent], q, half.c, half.s, m_work.slots.data(),
                       m_work.frames[link + 1]);
   m_work.framesDone[link + 1] = m_positions.epoch();
}

const zqMotion::Frame<ZqReal>& ZqMotionStages::frame(ZqU32 link)
{
   if (m_work.isDone(Work::Frames, m_positions.epoch()) ||
       m_work.framesDone[link + 1] == m_positions.epoch())
      return m_work.frames[link + 1];
   // One link of a tree that branches is placed by itself, and so are a few; who asks for more wants all of
   // them, which are placed in one sweep at less than half of the cost each.
   if (m_work.placedEpoch != m_positions.epoch())
   {
      m_work.placedEpoch = m_positions.epoch();
      m_work.placed = 0;
   }
   constexpr int fewLinks = 16;
   const int placed = m_work.placed + joint(link).depth + 1;
   if (tree().slots > 0 || tree().count <= fewLinks ||
       placed * (m_work.placed == 0 ? 3 : 8) > tree().count)
      return frames()[link + 1];
   m_work.placed = placed;
   place(link);
   return m_work.frames[link + 1];
}

const zqMotion::Turn<ZqReal>* ZqMotionStages::turns()
{
   const std::uint64_t epoch = m_positions.epoch();
   if (m_work.isDone(Work::Turns, epoch))
      return m_work.turns.data();
   angles();
   zqMotion::turnJoints(tree(), m_q, m_work.halfCos.data(), m_work.halfSin.data(),
                        m_work.slots.data(),
                        sized(m_work.turns, static_cast<std::size_t>(tree().count)));
   m_work.done[Work::Turns] = epoch;
   return m_work.turns.data();
}

const zqMotion::Vec6<ZqReal>* ZqMotionStages::velocities()
{
   if (m_work.isDone(Work::Velocities, m_activeState->activeVelocityState().epoch()))
      return m_work.linkVelocities.data();
   const zqMotion::Turn<ZqReal>* const turned = turns();
   const auto size = static_cast<std::size_t>(tree().count) + 1;
   zqMotion::Vec6<ZqReal>* const V = sized(m_work.linkVelocities, size);
   V[0] = m_manipulator != nullptr ? plain(m_manipulator->dhFrameVelocityInLocal(*m_activeState))
                                   : zqMotion::Vec6<ZqReal>{};
   const ZqReal* const qd =
      atLeast(m_activeState->velocityState().jointVelocities(), tree().count, m_work.velocities);
   for (int k = 0; k < tree().slots; ++k)
   {
      const ZqU32 i = m_plan->slotLinks[static_cast<std::size_t>(k)];
      zqMotion::move(linkAt(i)->linkKinematicsContainer(), m_q[i], qd[i],
                     m_work.slots[static_cast<std::size_t>(k)]);
   }
   zqMotion::computeVelocities(tree(), turned, qd, m_work.slots.data(), V);
   m_work.done[Work::Velocities] = m_activeState->activeVelocityState().epoch();
   return V;
}

/// All but A.
void ZqMotionStages::setBaseMotion(zqMotion::LinkMotion<ZqReal>& base)
{
   base = {};
   if (m_manipulator == nullptr)
      return;
   if (m_plan->hasOwnBase)
   {
      const ZqGeneralMotion& A = m_manipulator->dhFrameAccelerationInLocal(*m_activeState);
      base.omega = plain(m_manipulator->dhFrameVelocityInLocal(*m_activeState).angular());
      base.alpha = plain(A.angular());
      base.a = plain(A.linear());
      return;
   }
   // What those queries answer, without their records: turned from the axes of the system.
   const ZqRotationMatrix R(m_manipulator->dhFrameInSystem(m_positions).orientation());
   const ZqGeneralMotion& A = m_activeState->accelerationState().generalAcceleration();
   base.omega = plain(R.transposeTimes(m_activeState->velocityState().generalVelocity().angular()));
   base.alpha = plain(R.transposeTimes(A.angular()));
   base.a = plain(R.transposeTimes(A.linear()));
}

const zqMotion::LinkMotion<ZqReal>* ZqMotionStages::motions()
{
   const auto& state = std::as_const(*m_activeState);
   if (m_work.isDone(Work::Motions, state.activeAccelerationState().epoch()))
      return m_work.motions.data();
   const zqMotion::Turn<ZqReal>* const turned = turns();
   zqMotion::LinkMotion<ZqReal>* const motions =
      sized(m_work.motions, static_cast<std::size_t>(tree().count) + 1);
   setBaseMotion(motions[0]);
   const ZqReal* const qd =
      atLeast(state.velocityState().jointVelocities(), tree().count, m_work.velocities);
   const ZqReal* const qdd =
      atLeast(state.accelerationState().jointAccelerations(), tree().count, m_work.accelerations);
   for (int k = 0; k < tree().slots; ++k)
   {
      const ZqU32 i = m_plan->slotLinks[static_cast<std::size_t>(k)];
      zqMotion::accelerate(linkAt(i)->linkKinematicsContainer(), m_q[i], qd[i], qdd[i],
                           m_work.slots[static_cast<std::size_t>(k)]);
   }
   zqMotion::computeMotions(tree(), turned, qd, qdd, m_work.slots.data(), motions);
   m_work.done[Work::Motions] = state.activeAccelerationState().epoch();
   return motions;
}

/// The bodies of a scene, where anything is attached to any link of it; else those of the plan.
void ZqMotionStages::takeBodies(const ZqStatedSystemStruct* stateStruct)
{
   takeLinkBodies(stateStruct);
   if (m_work.tree.bodies == m_plan->linkBodies.data())
      m_work.tree.bodies = m_plan->bodies.data();
   else
      m_work.bodies[0] = baseBody(stateStruct);
}

/// The same with nothing at the base, which manipulators with the same links need not have in common.
void ZqMotionStages::takeLinkBodies(const ZqStatedSystemStruct* stateStruct)
{
   m_work.tree.bodies = m_plan->linkBodies.data();
   if (!ZqManipulatorLink::hasAttachments(stateStruct))
      return;
   m_work.bodies = m_plan->linkBodies;
   for (int i = 0; i < tree().count; ++i)
   {
      const auto index = static_cast<ZqU32>(i);
      if (const ZqManipulatorLink* link = linkAt(index))
         m_work.bodies[index + 1] = zqMotionBodyOf(link->massPropertiesInDHFrame(stateStruct),
                                                   zqMotion::dhFrameOf(joint(index)));
   }
   m_work.tree.bodies = m_work.bodies.data();
}

zqMotion::Body ZqMotionStages::baseBody(const ZqStatedSystemStruct* stateStruct) const
{
   return ZqManipulatorLink::hasAttachments(stateStruct)
             ? zqMotionBodyOf(m_manipulator->massPropertiesInDHFrame(stateStruct), {})
             : m_plan->bodies[0];
}

/// Forces from outside act on the DH frame: turned into the axis frame and moved to its origin, they take
/// their share off what has to move the link.
void ZqMotionStages::takeExternalForcesOnLinks(
   const ZqManipulatorExternalForce& externalForce,
   std::vector<zqMotion::LinkForce<ZqReal>>& forces) const
{
   const auto& ofLinks = externalForce.linkForces();
   const auto count = std::min(static_cast<ZqU32>(tree().count), ofLinks.size());
   for (ZqU32 i = 0; i < count; ++i)
   {
      if (isZero(ofLinks[i]))
         continue;
      const Joint& own = joint(i);
      Vec3<ZqReal> f = plain(ofLinks[i].force());
      Vec3<ZqReal> n = plain(ofLinks[i].moment());
      if (own.hasDhOffset)
      {
         f = own.B * f;
         n = own.B * n + zqMotion::cross(own.pB, f);
      }
      forces[i + 1].f -= f;
      forces[i + 1].n -= n;
   }
}

void ZqMotionStages::takeExternalForces(const ZqManipulatorExternalForce& externalForce,
                                        std::vector<zqMotion::LinkForce<ZqReal>>& forces) const
{
   takeExternalForcesOnLinks(externalForce, forces);
   forces[0].f -= plain(externalForce.baseForce().force());
   forces[0].n -= plain(externalForce.baseForce().moment());
}

/// What moves the base's own body, less what comes from outside.
zqMotion::LinkForce<ZqReal>
ZqMotionStages::forceOnBaseBody(const ZqManipulatorExternalForce& externalForce,
                                const ZqStatedSystemStruct* stateStruct)
{
   auto [f, n] = zqMotion::bodyForce(baseBody(stateStruct), motions()[0]);
   return {f - plain(externalForce.baseForce().force()),
           n - plain(externalForce.baseForce().moment())};
}

zqMotion::LinkForce<ZqReal>
ZqMotionStages::baseForce(const ZqManipulatorExternalForce& externalForce,
                          const ZqStatedSystemStruct* stateStruct)
{
   const auto [f, n] = forces(externalForce, stateStruct)[0];
   const auto own = forceOnBaseBody(externalForce, stateStruct);
   return {own.f + f, own.n + n};
}

zqMotion::Composite<ZqReal> ZqMotionStages::whole(const ZqStatedSystemStruct* stateStruct)
{
   zqMotion::Composite<ZqReal> sum = composites(stateStruct)[0];
   const zqMotion::Body own = baseBody(stateStruct);
   sum.m += own.m;
   sum.h += own.h;
   sum.S += own.S;
   return sum;
}

ZqMotionStages::ArticulatedBase
ZqMotionStages::articulatedBase(const ZqManipulatorExternalForce& externalForce,
                                const ZqManipulatorTorque& torque,
                                const ZqStatedSystemStruct* stateStruct)
{
   ArticulatedBase base{articulated(externalForce, torque, stateStruct)[0], m_work.biasForces[0]};
   addBase(externalForce, stateStruct, base.body, base.bias);
   return base;
}

/// Adds the base's own body to what its children are.
void ZqMotionStages::addBase(const ZqManipulatorExternalForce& externalForce,
                             const ZqStatedSystemStruct* stateStruct,
                             zqMotion::Articulated<ZqReal>& body, zqMotion::LinkForce<ZqReal>& bias)
{
   zqMotion::Articulated<ZqReal> own;
   zqMotion::setRigid(baseBody(stateStruct), own);
   body.M += own.M;
   body.I += own.I;
   // The coupling of a rigid body is antisymmetric: [h]x.
   body.H.xy += own.H.xy;
   body.H.xz += own.H.xz;
   body.H.yx += own.H.yx;
   body.H.yz += own.H.yz;
   body.H.zx += own.H.zx;
   body.H.zy += own.H.zy;
   const auto force = forceOnBaseBody(externalForce, stateStruct);
   bias.f += force.f;
   bias.n += force.n;
}

const zqMotion::LinkForce<ZqReal>*
ZqMotionStages::forces(const ZqManipulatorExternalForce& externalForce,
                       const ZqStatedSystemStruct* stateStruct)
{
   const std::uint64_t epoch = std::as_const(*m_activeState).activeForceState().epoch();
   if (m_work.isDone(Work::Forces, epoch))
      return m_work.forces.data();
   const zqMotion::LinkMotion<ZqReal>* const moved = motions();
   const auto count = static_cast<std::size_t>(tree().count);
   takeLinkBodies(stateStruct);
   zqMotion::computeBodyForces(tree(), tree().bodies, moved, sized(m_work.forces, count + 1));
   takeExternalForcesOnLinks(externalForce, m_work.forces);
   zqMotion::gatherForces(tree(), turns(), m_work.slots.data(), m_work.forces.data(),
                          sized(m_work.inverseTorques, count));
   m_work.done[Work::Forces] = epoch;
   return m_work.forces.data();
}

const zqMotion::Composite<ZqReal>*
ZqMotionStages::composites(const ZqStatedSystemStruct* stateStruct)
{
   const std::uint64_t epoch = std::as_const(*m_activeState).activeMassState().epoch();
   if (m_work.isDone(Work::Composites, epoch))
      return m_work.composites.data();
   const zqMotion::Turn<ZqReal>* const turned = turns();
   takeLinkBodies(stateStruct);
   zqMotion::composeBodies(tree(), turned,
                           sized(m_work.composites, static_cast<std::size_t>(tree().count) + 1));
   m_work.composedAt.assign(m_q, m_q + tree().count);
   m_work.done[Work::Composites] = epoch;
   return m_work.composites.data();
}

void ZqMotionStages::axes(const ZqStatedSystemStruct* stateStruct)
{
   const std::uint64_t epoch = std::as_const(*m_activeState).activeMassState().epoch();
   if (m_work.isDone(Work::Axes, epoch))
      return;
   const zqMotion::Composite<ZqReal>* const bodies = composites(stateStruct);
   const auto count = static_cast<std::size_t>(tree().count);
   // Links that the state lacks have zeros.
   const std::size_t width = m_plan->joints.size();
   if (width > count)
   {
      m_work.axes.assign(6 * width, 0.0);
      m_work.axisForces.assign(6 * width, 0.0);
   }
   zqMotion::placeInBase(tree(), turns(), sized(m_work.places, count + 1));
   zqMotion::computeAxesAndForces(tree(), m_work.places.data(), bodies, m_work.slots.data(),
                                  sized(m_work.axes, 6 * width),
                                  sized(m_work.axisForces, 6 * width), width);
   m_work.done[Work::Axes] = epoch;
}

ZqRotationMatrix ZqMotionStages::dhRotation(ZqU32 link)
{
   const Joint& own = joint(link);
   const zqMotion::Turn<ZqReal>& turn = turns()[link];
   constexpr zqMotion::Mat3<ZqReal> identity{1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
   ZqRotationMatrix R =
      matrixOf(own.isTwist ? zqMotion::TwistAxes<ZqReal>(own, turn).appendTo(identity) : turn.R);
   if (own.hasDhOffset)
      R = R * matrixOf(own.B);
   if (own.parent < 0 || !joint(static_cast<ZqU32>(own.parent)).hasDhOffset)
      return R;
   const ZqRotationMatrix B = matrixOf(joint(static_cast<ZqU32>(own.parent)).B);
   return ZqRotationMatrix::fromColumns(
      B.transposeTimes(R.column(0)), B.transposeTimes(R.column(1)), B.transposeTimes(R.column(2)));
}

ZqReal ZqMotionStages::driveInertia(ZqU32 index) const
{
   const ZqManipulatorLink* const link = m_plan->anyOwnDrive ? linkAt(index) : nullptr;
   return link != nullptr ? link->jointActuator().effectiveInertia(m_q[index])
                          : joint(index).driveInertia;
}

/// Computes the articulated bodies of given torques and forces from outside, whatever stands there.
void ZqMotionStages::articulate(const ZqManipulatorExternalForce& externalForce,
                                const ZqManipulatorTorque& torque,
                                const ZqStatedSystemStruct* stateStruct)
{
   const zqMotion::LinkMotion<ZqReal>* const moved = motions();
   const auto count = static_cast<std::size_t>(tree().count);
   if (m_plan->anyOwnDrive)
      takeDriveInertias();
   takeLinkBodies(stateStruct);
   zqMotion::computeBodyForces(tree(), tree().bodies, moved, sized(m_work.biasForces, count + 1));
   takeExternalForcesOnLinks(externalForce, m_work.biasForces);
   zqMotion::articulateBodies(tree(), turns(), m_work.slots.data(),
                              atLeast(torque.jointTorques(), tree().count, m_work.torques),
                              m_work.biasForces.data(), sized(m_work.articulated, count + 1));
}

void ZqMotionStages::takeDriveInertias()
{
   const auto count = static_cast<ZqU32>(tree().count);
   if (tree().joints != m_work.joints.data())
      m_work.joints.assign(tree().joints, tree().joints + count);
   m_work.tree.joints = m_work.joints.data();
   for (ZqU32 i = 0; i < count; ++i)
      m_work.joints[i].driveInertia = driveInertia(i);
}

const zqMotion::Articulated<ZqReal>*
ZqMotionStages::articulated(const ZqManipulatorExternalForce& externalForce,
                            const ZqManipulatorTorque& torque,
                            const ZqStatedSystemStruct* stateStruct)
{
   const std::uint64_t epoch = std::as_const(*m_activeState).activeArticulationState().epoch();
   if (!m_work.isDone(Work::Articulated, epoch))
      articulate(externalForce, torque, stateStruct);
   m_work.done[Work::Articulated] = epoch;
   return m_work.articulated.data();
}

/// With the acceleration of the base in its articulated body.
void ZqMotionStages::accelerate()
{
   zqMotion::accelerateJoints(
      tree(), turns(), m_work.slots.data(), m_work.articulated.data(),
      sized(m_work.jointAccelerations, static_cast<std::size_t>(tree().count)));
}

const ZqReal* ZqMotionStages::jointAccelerations(const ZqManipulatorExternalForce& externalForce,
                                                 const ZqManipulatorTorque& torque,
                                                 const ZqStatedSystemStruct* stateStruct)
{
   const std::uint64_t epoch = std::as_const(*m_activeState).activeArticulationState().epoch();
   if (m_work.isDone(Work::Accelerations, epoch))
      return m_work.jointAccelerations.data();
   articulated(externalForce, torque, stateStruct);
   zqMotion::Articulated<ZqReal>& base = m_work.articulated[0];
   base.a = base.alpha = {0.0, 0.0, 0.0};
   if (m_manipulator != nullptr && !m_manipulator->isFixedBase())
   {
      const ZqGeneralMotion& A = m_manipulator->arbiSupplementalDhFrameAccelerationInLocal(
         externalForce, torque, *m_activeState, stateStruct);
      base.a = plain(A.linear());
      base.alpha = plain(A.angular());
   }
   accelerate();
   m_work.done[Work::Accelerations] = epoch;
   return m_work.jointAccelerations.data();
}

/// They are constants of a model all of whose joints turn.
void ZqMotionStages::findLeastPivots(const ZqStatedSystemStruct* stateStruct)
{
   const bool areConstant = !tree().anyPrismatic && tree().slots == 0 && !m_plan->anyOwnDrive &&
                            tree().bodies == m_plan->linkBodies.data();
   if (areConstant && m_work.leastPivotsAreConstant)
      return;
   const auto count = static_cast<std::size_t>(tree().count);
   takeBodies(stateStruct);
   zqMotion::computeLeastPivots(tree(), turns(), m_work.slots.data(),
                                sized(m_work.bounds, count + 1),
                                sized(m_work.leastPivots, count + 6));
   m_work.leastPivotsAreConstant = areConstant;
}

bool ZqMotionStages::solve(const ZqManipulatorExternalForce& externalForce,
                           const ZqManipulatorTorque& torque,
                           const ZqStatedSystemStruct* stateStruct)
{
   // What the records of articulated bodies are filled from is overwritten.
   m_work.done[Work::Articulated] = m_work.done[Work::Accelerations] = ~std::uint64_t{0};
   articulate(externalForce, torque, stateStruct);
   addBase(externalForce, stateStruct, m_work.articulated[0], m_work.biasForces[0]);
   findLeastPivots(stateStruct);
   if (!zqMotion::pivotsAreSound(tree(), !m_manipulator->isFixedBase(), m_work.articulated.data(),
                                 m_work.leastPivots.data()))
      return false;
   zqMotion::Articulated<ZqReal>& base = m_work.articulated[0];
   base.a = base.alpha = {0.0, 0.0, 0.0};
   if (!m_manipulator->isFixedBase())
   {
      const auto& [f, n] = m_work.biasForces[0];
      const ZqGeneralForce& force = torque.generalForce();
      zqMotion::solveBase(base, {plain(force.force()) - f, plain(force.moment()) - n}, base.a,
                          base.alpha);
   }
   accelerate();
   return true;
}
