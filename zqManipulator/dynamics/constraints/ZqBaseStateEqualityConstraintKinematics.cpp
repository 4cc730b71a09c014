#include "zqManipulator/simulation/constraints/ZqBaseStateEqualityConstraint.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <span>

namespace
{
/// Held while a constraint computes what it answers with a reference into itself, and while it is copied.
/// One for all of them, since a constraint may ask another one; recursive, since it may ask itself.
constinit std::recursive_mutex resultsLock;

void copyRows(const ZqReArray& from, ZqU32 count, ZqU32 firstRow, ZqReArray& to)
{
   const std::size_t width = std::min(from.columns(), to.columns());
   for (ZqU32 i = 0; i < std::min({count, from.rows(), to.rows() - firstRow}); ++i)
      std::copy_n(from[i].begin(), width, to[firstRow + i].begin());
}
} // namespace

ZqBaseStateEqualityConstraint*
ZqBaseStateEqualityConstraint::cloneOf(const ZqBaseStateEqualityConstraint& constraint)
{
   const std::scoped_lock lock(resultsLock);
   return static_cast<ZqBaseStateEqualityConstraint*>(constraint.clone());
}

void ZqBaseStateEqualityConstraint::copyJacobian(const ZqIndividualManipulator& manipulator,
                                                 const ZqPositionState& position, ZqU32 firstRow,
                                                 ZqReArray& rows) const
{
   const std::scoped_lock lock(resultsLock);
   copyRows(jacobian(manipulator, position), doc(), firstRow, rows);
}

void ZqBaseStateEqualityConstraint::copyJacobianDerivative(
   const ZqIndividualManipulator& manipulator, const ZqPositionState& position,
   const ZqVelocityState& velocity, ZqU32 firstRow, ZqReArray& rows) const
{
   const std::scoped_lock lock(resultsLock);
   copyRows(jacobianDerivative(manipulator, position, velocity), doc(), firstRow, rows);
}

const ZqReArray&
ZqBaseStateEqualityConstraint::jacobianDerivative(const ZqIndividualManipulator& manipulator,
                                                  const ZqPositionState& position,
                                                  const ZqVelocityState& velocity) const
{
   Work& work = m_work.get();
   work.jacobianDerivative = jacobian(manipulator, position);

   // States need not have as many joints as the manipulator.
   const std::vector<ZqReal>& rates = velocity.jointVelocities();
   const ZqU32 joints =
      static_cast<ZqU32>(std::min({std::size_t{manipulator.jointDof()}, rates.size(),
                                   position.jointPositions().values().size()}));
   ZqReal dt = m_theMaxTimeIncrementForFiniteDifferencing;
   for (ZqU32 i = 0; i < joints; ++i)
      if (dt * rates[i] > m_theMaxJointIncrementForFiniteDifferencing)
         dt = m_theMaxJointIncrementForFiniteDifferencing / ZqMath::nonZeroPos(rates[i]);

   work.perturbedPosition = position;
   for (ZqU32 i = 0; i < joints; ++i)
      work.perturbedPosition.jointPositions()[i] += dt * rates[i];
   // A base at rest keeps its frame to the last bit: a difference would show as motion.
   if (!(velocity.generalVelocity() == ZqGeneralMotion::nullObject()))
      work.perturbedPosition.coordSysXForm().integrateReferenceFrameVelocity(
         velocity.generalVelocity(), joints * dt);

   work.jacobianDerivative -= jacobian(manipulator, work.perturbedPosition);
   work.jacobianDerivative *= 1.0 / ZqMath::nonZeroPos(-dt);
   return work.jacobianDerivative;
}

void ZqBaseStateEqualityConstraint::addKinematics(const ZqIndividualManipulator& manipulator,
                                                  ZqManipulatorActiveState& activeState,
                                                  ZqU32 firstRow,
                                                  ZqConstraintKinematics& kinematics) const
{
   const std::scoped_lock lock(resultsLock);
   const ZqPositionState& position = activeState.positionState();
   const ZqXmlVectorBasicType<ZqReal>& rates = activeState.velocityState().jointVelocities();
   const ZqGeneralMotion& ofBase = activeState.velocityState().generalVelocity();
   const bool baseMoves = !manipulator.isFixedBase() && !(ofBase == ZqGeneralMotion::nullObject());
   ZqReal fastest = std::max(1.0, baseMoves ? ofBase.angular().mag() : 0.0);
   for (const ZqReal rate : rates)
      fastest = std::max(fastest, std::abs(rate));
   const ZqReal dt = m_theIncrementForCentralDifferencing / fastest;

   // For each row what to do with the elements of the Jacobian that it has.
   const auto forRows = [&](const ZqPositionState& at, const auto& take)
   {
      const ZqReArray& G = jacobian(manipulator, at);
      for (ZqU32 i = 0; i < std::min({doc(), G.rows(), kinematics.doc() - firstRow}); ++i)
         take(firstRow + i, G[i].first(std::min(G.columns(), kinematics.jacobian.columns())));
   };
   const auto movedFor = [&](ZqReal time) -> const ZqPositionState&
   {
      ZqPositionState& moved = m_work.get().perturbedPosition;
      moved = position;
      const ZqU32 joints = std::min(rates.size(), moved.jointPositions().size());
      for (ZqU32 i = 0; i < joints; ++i)
         moved.jointPositions()[i] += time * rates[i];
      if (baseMoves)
      {
         const ZqOrientation toPlace = manipulator.coordSysXForm().orientation().inverse();
         moved.coordSysXForm().integrateReferenceFrameVelocity(
            {toPlace * ofBase.linear(), toPlace * ofBase.angular()}, time);
      }
      return moved;
   };
   const ZqU32 jointColumn = manipulator.isFixedBase() ? 0 : 6;
   const auto addBias = [&](ZqU32 row, std::span<const ZqReal> G, ZqReal factor)
   {
      ZqReal sum = 0.0;
      for (ZqU32 j = 0; j < G.size(); ++j)
         if (j < jointColumn)
            sum += G[j] * ofBase[j];
         else if (j - jointColumn < rates.size())
            sum += G[j] * rates[j - jointColumn];
      kinematics.bias[row][0] += factor * sum;
   };

   forRows(position, [&](ZqU32 row, std::span<const ZqReal> G)
           { std::copy(G.begin(), G.end(), kinematics.jacobian[row].begin()); });
   for (const ZqReal sign : {1.0, -1.0})
      forRows(movedFor(sign * dt),
              [&](ZqU32 row, std::span<const ZqReal> G) { addBias(row, G, sign / (2.0 * dt)); });
}
