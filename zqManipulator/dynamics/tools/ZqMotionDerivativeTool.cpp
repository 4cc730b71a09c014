#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionFactor.h"
#include "zqManipulator/dynamics/motion/ZqMotionJacobianSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionStages.h"

#include <algorithm>

using zqMotion::GradientMatrix;
using zqMotion::JacobianMatrix;
using zqMotion::JacobianView;
using zqMotion::plain;
using zqMotion::Vec3;

namespace
{
/// Sizes an array (N x N) of which a sweep writes the leading rows and columns; what a state lacks is zero.
void sizedGradient(ZqReArray& array, ZqU32 size, ZqU32 written)
{
   if (array.rows() != size || array.columns() != size || size != written)
      array.setToZeros(size, size);
}
} // namespace

/// What the sweeps leave, in the axes of the base.
struct ZqMotionDerivativeTool::Work
{
   void resize(std::size_t count)
   {
      if (places.size() == count + 1)
         return;
      const int stride = zqMotion::GradientWork::strideFor(static_cast<int>(count));
      numbers.assign(static_cast<std::size_t>(stride * zqMotion::GradientWork::columns), 0.0);
      places.resize(count + 1);
      torques.resize(static_cast<std::size_t>(stride));
      sweep = zqMotion::GradientWork::inSpace(numbers.data(), stride);
   }
   /// Unit motions, their rates, and the motions of links.
   void move(const ZqIndividualManipulator& manipulator, ZqMotionStages& stages,
             ZqManipulatorActiveState& activeState, bool withAccelerations)
   {
      const zqMotion::Tree& tree = stages.tree();
      const auto count = static_cast<std::size_t>(tree.count);
      resize(count);
      if (tree.slots > 0)
         stages.motions(); // fills them
      takeSlotChanges(manipulator, stages, activeState);
      const ZqGeneralMotion& V = manipulator.dhFrameVelocityInLocal(activeState);
      base = {{}, plain(V.linear()), plain(V.angular()), {}, {}};
      if (withAccelerations)
      {
         const ZqGeneralMotion& A = manipulator.dhFrameAccelerationInLocal(activeState);
         base.a = plain(A.linear());
         base.alpha = plain(A.angular());
      }
      filled(activeState.velocityState().jointVelocities(), count, velocities);
      filled(activeState.accelerationState().jointAccelerations(), count, accelerations);
      zqMotion::placeInBase(tree, stages.turns(), places.data());
      zqMotion::moveInBase(tree, base, places.data(), stages.work().slots.data(), changes.data(),
                           velocities.data(), withAccelerations ? accelerations.data() : nullptr,
                           sweep);
   }

   /// What the joints know of how their unit motions change.
   void takeSlotChanges(const ZqIndividualManipulator& manipulator, const ZqMotionStages& stages,
                        const ZqManipulatorActiveState& activeState)
   {
      const auto& positions = activeState.positionState().jointPositions();
      changes.resize(static_cast<std::size_t>(stages.tree().slots));
      for (std::size_t k = 0; k < changes.size(); ++k)
      {
         const ZqU32 link = stages.plan().slotLinks[k];
         const ZqLinkKinematics* const joint =
            manipulator.linkPointerVector()[link]->linkKinematicsContainer().topElement();
         ZqGeneralMotion first, second;
         const bool isKnown =
            joint != nullptr && joint->unitMotionDerivatives(positions[link], first, second);
         changes[k] = {plain(first), plain(second), isKnown};
      }
   }

   /// The factors of the mass matrix, from what the sweep has left.
   zqMotion::Factor factor(const zqMotion::Tree& tree, int baseDofs)
   {
      const int size = baseDofs + tree.count;
      const auto count = static_cast<std::size_t>(size);
      depths.resize(count);
      ends.resize(count);
      const int deepest = zqMotion::shapeFactor(tree, baseDofs > 0, depths.data(), ends.data());
      const std::size_t width = zqMotion::widthOfFactor(deepest);
      rows.resize(count * width);
      inverse.resize(count);
      space.resize(zqMotion::workOfFactor(size, width));
      path.resize(width);
      columns.resize(4 * count);
      const zqMotion::Factor result{size,           baseDofs,     width,
                                    depths.data(),  ends.data(),  rows.data(),
                                    inverse.data(), space.data(), path.data()};
      const auto whole = zqMotion::sumsAt<ZqReal>(sweep.sums, sweep.stride);
      zqMotion::gatherFactor(tree, sweep.s, sweep.momentum, static_cast<std::size_t>(sweep.stride),
                             {whole.m, whole.h, whole.S}, result);
      zqMotion::eliminate(result);
      return result;
   }
   /// M X = factor * B, four columns at a time.
   void solve(const zqMotion::Factor& M, const ZqReArray& B, ZqReal factor, ZqReArray& X)
   {
      const auto size = static_cast<ZqU32>(M.size);
      sizedGradient(X, B.rows(), size);
      for (ZqU32 k = 0; k < size; k += 4)
      {
         const ZqU32 lanes = std::min(4U, size - k);
         for (ZqU32 i = 0; i < size; ++i)
            for (ZqU32 lane = 0; lane < 4; ++lane)
               columns[4 * i + lane] = lane < lanes ? factor * B[i][k + lane] : 0.0;
         zqMotion::solveFourFactored(M, columns.data());
         for (ZqU32 i = 0; i < size; ++i)
            std::copy_n(columns.data() + 4 * i, lanes, X[i].data() + k);
      }
   }

   std::vector<ZqReal> numbers;
   std::vector<zqMotion::Place<ZqReal>> places;
   std::vector<zqMotion::LinkForce<ZqReal>> external;
   std::vector<zqMotion::SlotChange> changes;
   std::vector<ZqReal> velocities, accelerations, torques;
   zqMotion::BaseMotion<ZqReal> base{};
   zqMotion::GradientWork sweep{};
   std::vector<int> depths, ends, path; ///< of the factor, as what follows
   std::vector<ZqReal> rows, inverse, space, columns;

private:
   /// The numbers of a state, with zeros for those that it lacks.
   static void filled(const ZqXmlVectorBasicType<ZqReal>& list, std::size_t count,
                      std::vector<ZqReal>& numbers)
   {
      const auto& values = list.values();
      numbers.assign(values.begin(),
                     values.begin() + static_cast<long>(std::min(count, values.size())));
      numbers.resize(count, 0.0);
   }
};

namespace
{
GradientMatrix gradientOf(ZqReArray& array, ZqU32 size, ZqU32 firstJoint, int count)
{
   sizedGradient(array, size, firstJoint + static_cast<ZqU32>(count));
   return {array.data(), static_cast<int>(size), static_cast<int>(firstJoint)};
}

JacobianMatrix sizedJacobian(ZqReArray& array, ZqU32 columns, ZqU32 firstJoint)
{
   array.setToZeros(6, columns);
   return {array.data(), static_cast<int>(columns), static_cast<int>(firstJoint)};
}

/// How the torque of a spring or damper changes with the joints that it feels.
template <class Properties>
void addWeights(const Properties& properties, ZqReal constant, bool fits,
                const ZqIndividualManipulator& manipulator, ZqU32 firstJoint, ZqU32 row,
                ZqReArray& gradient)
{
   const auto& labels = properties.associatedJoints();
   for (ZqU32 k = 0; fits && k < labels.size(); ++k)
   {
      const ZqManipulatorLink* const link = manipulator.linkByIdentifier(labels[k]);
      if (link != nullptr && firstJoint + link->linkIndex() < gradient.columns())
         gradient[row][firstJoint + link->linkIndex()] +=
            constant * properties.weightingFactors()[k];
   }
}
} // namespace

ZqMotionDerivativeTool::ZqMotionDerivativeTool() : m_work(std::make_unique<Work>()) {}

ZqMotionDerivativeTool::ZqMotionDerivativeTool(const ZqMotionDerivativeTool& other)
   : m_manipulator(other.m_manipulator), m_work(std::make_unique<Work>())
{
}

ZqMotionDerivativeTool& ZqMotionDerivativeTool::operator=(const ZqMotionDerivativeTool& other)
{
   setManipulator(other.m_manipulator);
   return *this;
}

ZqMotionDerivativeTool::~ZqMotionDerivativeTool() = default;

void ZqMotionDerivativeTool::setManipulator(const ZqIndividualManipulator* manipulator)
{
   m_manipulator = manipulator;
}

ZqU32 ZqMotionDerivativeTool::firstJoint() const
{
   return m_manipulator->isFixedBase() ? 0 : 6;
}

bool ZqMotionDerivativeTool::computeInverseDynamicsGradients(
   const ZqManipulatorExternalForce& externalForce, ZqManipulatorActiveState& activeState,
   const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return false;
   m_manipulator->placeBase(activeState.activePositionState());
   ZqMotionStages stages(*m_manipulator, activeState);
   Work& work = *m_work;
   work.move(*m_manipulator, stages, activeState, true);
   stages.takeBodies(stateStruct);
   work.external.assign(work.places.size(), {});
   stages.takeExternalForces(externalForce, work.external);

   const zqMotion::Tree& tree = stages.tree();
   zqMotion::weighBodies(tree, work.places.data(), work.external.data(), work.sweep);
   zqMotion::gatherGradients(tree, work.torques.data(), work.sweep);
   const GradientMatrix q =
      gradientOf(m_torqueByPosition, m_manipulator->totalDof(), firstJoint(), tree.count);
   const GradientMatrix v =
      gradientOf(m_torqueByVelocity, m_manipulator->totalDof(), firstJoint(), tree.count);
   zqMotion::writeGradients(tree, work.sweep, q, v);
   for (std::size_t k = 0; k < work.changes.size(); ++k)
   {
      const auto link = static_cast<int>(stages.plan().slotLinks[k]);
      if (work.changes[k].isKnown)
         *q.ofJoints(link, link) += zqMotion::torqueByOwnChange(
            link, work.places[static_cast<std::size_t>(link) + 1], work.changes[k], work.sweep);
   }
   if (firstJoint() > 0)
      zqMotion::writeBaseGradients(tree, work.base, work.sweep, q, v);
   takeTorques(stages, activeState);
   if (stages.plan().anySpringOrDamper)
      addSprings(tree.count);
   for (std::size_t k = 0; k < work.changes.size(); ++k)
   {
      const ZqU32 link = stages.plan().slotLinks[k];
      if (!work.changes[k].isKnown)
         differentiateSlot(link, externalForce, activeState, stateStruct);
   }
   return true;
}

/// The torques that the sweep leaves, with what drives, springs and dampers take.
void ZqMotionDerivativeTool::takeTorques(const ZqMotionStages& stages,
                                         const ZqManipulatorActiveState& activeState)
{
   auto& torques = m_torques.jointTorques();
   torques.assign(m_manipulator->jointDof(), 0.0);
   for (std::size_t i = 0; i < m_work->velocities.size(); ++i)
   {
      const auto link = static_cast<ZqU32>(i);
      torques[link] = m_work->torques[i];
      if (stages.plan().anySpringOrDamper)
         torques[link] += m_manipulator->linkPointerVector()[i]->totalLocalTorque(activeState);
      if (stages.plan().anyDrive)
         torques[link] += stages.driveInertia(link) * m_work->accelerations[i];
   }
   const zqMotion::Vec6<ZqReal> f =
      zqMotion::sumsAt<ZqReal>(m_work->sweep.sums, m_work->sweep.stride).f;
   m_torques.setGeneralForce(
      {{f.linear.x, f.linear.y, f.linear.z}, {f.angular.x, f.angular.y, f.angular.z}});
}

void ZqMotionDerivativeTool::addSprings(int count)
{
   const ZqU32 first = firstJoint();
   for (ZqU32 i = 0; i < static_cast<ZqU32>(count); ++i)
   {
      const ZqManipulatorLink& link = *m_manipulator->linkPointerVector()[i];
      const ZqSpringProperties& spring = link.springProperties();
      const ZqDamperProperties& damper = link.damperProperties();
      const auto fits = [](const auto& properties)
      { return properties.associatedJoints().size() == properties.weightingFactors().size(); };
      addWeights(spring, spring.springConstant(),
                 fits(spring) && spring.springOffsets().size() == spring.weightingFactors().size(),
                 *link.manipulator(), first, first + i, m_torqueByPosition);
      addWeights(damper, damper.damperConstant(), fits(damper), *link.manipulator(), first,
                 first + i, m_torqueByVelocity);
   }
}

/// The column of a joint whose unit motion changes with its position in a way that it does not tell: by central
/// differences of fourth order.
void ZqMotionDerivativeTool::differentiateSlot(ZqU32 link,
                                               const ZqManipulatorExternalForce& externalForce,
                                               const ZqManipulatorActiveState& activeState,
                                               const ZqStatedSystemStruct* stateStruct)
{
   constexpr ZqReal step = 1e-3;
   const ZqU32 first = firstJoint();
   m_torqueTool.setManipulator(m_manipulator);
   m_torqueTool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   m_probe = activeState;
   m_probe.setAccelerationState(activeState.accelerationState());
   const ZqReal q = activeState.positionState().jointPositions()[link];
   const auto add = [&](ZqReal offset, ZqReal weight)
   {
      ZqPositionState position = activeState.positionState();
      position.jointPositions()[link] = q + offset;
      m_probe.setPositionState(position);
      const ZqManipulatorTorque& torques =
         m_torqueTool.torques(externalForce, m_probe, stateStruct);
      for (ZqU32 i = 0; i < m_torqueByPosition.rows(); ++i)
         m_torqueByPosition[i][first + link] +=
            (i < first ? torques.generalForce()[i] : torques.jointTorques()[i - first]) * weight;
   };
   for (ZqU32 i = 0; i < m_torqueByPosition.rows(); ++i)
      m_torqueByPosition[i][first + link] = 0.0;
   for (const ZqReal sign : {1.0, -1.0})
   {
      add(sign * step, sign * 2.0 / (3.0 * step));
      add(sign * 2.0 * step, -sign / (12.0 * step));
   }
}

const ZqReArray&
ZqMotionDerivativeTool::torqueByAcceleration(ZqManipulatorActiveState& activeState,
                                             const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_torqueByAcceleration;
   ZqMotionStages stages(*m_manipulator, activeState);
   stages.axes(stateStruct);
   const zqMotion::Tree& tree = stages.tree();
   const ZqMotionWorkspace& stage = stages.work();
   const auto count = static_cast<std::size_t>(tree.count);
   const GradientMatrix M =
      gradientOf(m_torqueByAcceleration, m_manipulator->totalDof(), firstJoint(), tree.count);
   zqMotion::clearBetweenBranches(tree, M);
   zqMotion::writeMassMatrix(tree, stage.axes.data(), stage.axisForces.data(), count,
                             M.ofJoints(0, 0), static_cast<std::size_t>(M.rowLength));
   if (firstJoint() > 0)
      zqMotion::writeBaseInertia(tree, stages.whole(stateStruct), stage.axisForces.data(),
                                 tree.count, M);
   for (int i = 0; i < tree.count && stages.plan().anyDrive; ++i)
      *M.ofJoints(i, i) += stages.driveInertia(static_cast<ZqU32>(i));
   return m_torqueByAcceleration;
}

/// With the accelerations a(q, v, tau), inverse dynamics of them gives tau: M da = -(its gradient by q or v)
/// (Carpentier and Mansard 2018, section V).
bool ZqMotionDerivativeTool::computeForwardDynamicsGradients(
   const ZqManipulatorExternalForce& externalForce, ZqManipulatorActiveState& activeState,
   const ZqStatedSystemStruct* stateStruct)
{
   if (!computeInverseDynamicsGradients(externalForce, activeState, stateStruct))
      return false;
   ZqMotionStages stages(*m_manipulator, activeState);
   if (stages.plan().anyOwnDrive)
      stages.takeDriveInertias();
   const zqMotion::Factor M = m_work->factor(stages.tree(), static_cast<int>(firstJoint()));
   const ZqU32 size = m_manipulator->totalDof();
   if (m_identity.rows() != size)
      m_identity = ZqReArray::identity(size);
   m_work->solve(M, m_identity, 1.0, m_accelerationByTorque);
   m_work->solve(M, m_torqueByPosition, -1.0, m_accelerationByPosition);
   m_work->solve(M, m_torqueByVelocity, -1.0, m_accelerationByVelocity);
   return true;
}

const ZqReArray& ZqMotionDerivativeTool::jacobian(ZqU32 link, const ZqVector& point, Axes axes,
                                                  ZqManipulatorActiveState& activeState)
{
   writePointJacobians(link, point, axes, activeState, &m_jacobian, nullptr);
   return m_jacobian;
}

const ZqReArray& ZqMotionDerivativeTool::jacobianRate(ZqU32 link, const ZqVector& point, Axes axes,
                                                      ZqManipulatorActiveState& activeState)
{
   writePointJacobians(link, point, axes, activeState, nullptr, &m_jacobianRate);
   return m_jacobianRate;
}

std::pair<const ZqReArray&, const ZqReArray&>
ZqMotionDerivativeTool::jacobianAndRate(ZqU32 link, const ZqVector& point, Axes axes,
                                        ZqManipulatorActiveState& activeState)
{
   writePointJacobians(link, point, axes, activeState, &m_jacobian, &m_jacobianRate);
   return {m_jacobian, m_jacobianRate};
}

void ZqMotionDerivativeTool::writePointJacobians(ZqU32 link, const ZqVector& point, Axes axes,
                                                 ZqManipulatorActiveState& activeState,
                                                 ZqReArray* jacobian, ZqReArray* rate)
{
   for (ZqReArray* const result : {jacobian, rate})
      if (result != nullptr)
         result->resize(0, 0);
   if (m_manipulator == nullptr)
      return;
   m_manipulator->placeBase(activeState.activePositionState());
   ZqMotionStages stages(*m_manipulator, activeState);
   const zqMotion::Tree& tree = stages.tree();
   const bool isBase = link == ZqBaseLinkIndex;
   if (!isBase && link >= static_cast<ZqU32>(tree.count))
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqMotionDerivativeTool::jacobian(): link index %d out of range.\n",
         static_cast<int>(link));
      return;
   }
   m_work->move(*m_manipulator, stages, activeState, false);
   const int index = isBase ? -1 : static_cast<int>(link);
   const JacobianView view = viewOf(index, point, axes, stages, activeState);
   const ZqU32 columns = m_manipulator->totalDof();
   if (jacobian != nullptr)
      zqMotion::writeJacobian(tree, index, view, m_work->sweep,
                              sizedJacobian(*jacobian, columns, firstJoint()));
   if (rate != nullptr)
      zqMotion::writeJacobianRate(tree, index, view, m_work->sweep,
                                  sizedJacobian(*rate, columns, firstJoint()));
}

zqMotion::JacobianView ZqMotionDerivativeTool::viewOf(int link, const ZqVector& point, Axes axes,
                                                      const ZqMotionStages& stages,
                                                      ZqManipulatorActiveState& activeState) const
{
   const ZqManipulatorLink& owner =
      link < 0 ? static_cast<const ZqManipulatorLink&>(m_manipulator->concreteReference())
               : *m_manipulator->linkPointerVector()[static_cast<std::size_t>(link)];
   const ZqCoordinateSystemTransformation& base =
      m_manipulator->dhFrameInSystem(activeState.activePositionState());
   const auto body = static_cast<std::size_t>(link + 1);
   zqMotion::Place<ZqReal> X = m_work->places[body]; // the DH frame in the base
   if (link >= 0)
   {
      const zqMotion::Joint& joint = stages.tree().joints[link];
      X = {X.R * joint.B, X.p + X.R * joint.pB};
   }
   const Vec3<ZqReal> r = X.p + X.R * plain(owner.primaryFrame() * point);
   const auto v = zqMotion::vec6At<ZqReal>(m_work->sweep.v + body, m_work->sweep.stride);
   const zqMotion::Mat3<ZqReal> R = zqMotion::matrixOf(base.orientation());
   switch (axes)
   {
   case Axes::Local:
      return zqMotion::viewInBody(X, r, v);
   case Axes::System:
      return zqMotion::viewInSystem(R, plain(base.translation()), m_work->base.v);
   default:
      return zqMotion::viewAlongSystem(R, r, v);
   }
}

void ZqMotionDerivativeTool::writeMomenta(ZqManipulatorActiveState& activeState,
                                          const ZqStatedSystemStruct* stateStruct, bool perMass,
                                          ZqReArray& result)
{
   m_manipulator->placeBase(activeState.activePositionState());
   ZqMotionStages stages(*m_manipulator, activeState);
   stages.axes(stateStruct);
   const zqMotion::Composite<ZqReal> whole = stages.whole(stateStruct);
   const auto R = zqMotion::matrixOf(
      m_manipulator->dhFrameInSystem(activeState.activePositionState()).orientation());
   const JacobianMatrix J = sizedJacobian(result, m_manipulator->totalDof(), firstJoint());
   zqMotion::writeCentroidalMomentum(stages.tree(), R, whole, stages.work().axisForces.data(),
                                     stages.tree().count, J);
   if (perMass)
      result *= 1.0 / whole.m;
}

const ZqReArray&
ZqMotionDerivativeTool::centroidalMomentumMatrix(ZqManipulatorActiveState& activeState,
                                                 const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator != nullptr)
      writeMomenta(activeState, stateStruct, false, m_centroidalMomentumMatrix);
   return m_centroidalMomentumMatrix;
}

/// The linear momentum is the velocity of the center of mass times the mass.
const ZqReArray&
ZqMotionDerivativeTool::centerOfMassJacobian(ZqManipulatorActiveState& activeState,
                                             const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_centerOfMassJacobian;
   writeMomenta(activeState, stateStruct, true, m_centerOfMassJacobian);
   m_centerOfMassJacobian.resize(3, m_centerOfMassJacobian.columns());
   return m_centerOfMassJacobian;
}

const ZqReArray&
ZqMotionDerivativeTool::centroidalMomentumBias(ZqManipulatorActiveState& activeState,
                                               const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_centroidalMomentumBias;
   m_manipulator->placeBase(activeState.activePositionState());
   ZqMotionStages stages(*m_manipulator, activeState);
   m_work->move(*m_manipulator, stages, activeState, false);
   stages.takeBodies(stateStruct);
   zqMotion::weighBodies(stages.tree(), m_work->places.data(), nullptr, m_work->sweep);
   const auto R = zqMotion::matrixOf(
      m_manipulator->dhFrameInSystem(activeState.activePositionState()).orientation());
   m_centroidalMomentumBias.resize(6, 1);
   zqMotion::put(m_centroidalMomentumBias.data(), 1,
                 zqMotion::centroidalMomentumBias(stages.tree(), R, m_work->sweep));
   return m_centroidalMomentumBias;
}
