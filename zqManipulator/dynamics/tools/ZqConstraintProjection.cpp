#include "zqManipulator/dynamics/tools/ZqConstraintProjection.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"

#include <algorithm>
#include <cmath>

namespace
{
/// Below this gap (m) a step would gain nothing but rounding.
constexpr ZqReal closedGap = 1e-12;
/// The most that a step moves a joint by (rad or m).
constexpr ZqReal longestStep = 1.0;
/// How often a step is halved that widens the gaps.
constexpr int mostHalvings = 10;

ZqReal length(const ZqReArray& column)
{
   ZqReal sum = 0.0;
   for (ZqU32 i = 0; i < column.rows(); ++i)
      sum = ZqVector(sum, column[i][0], 0.0).mag();
   return sum;
}

ZqU32 baseDof(const ZqIndividualManipulator& manipulator)
{
   return manipulator.isFixedBase() ? 0 : 6;
}

/// A joint that stands beyond one of its limits, and did not before.
ZqU32 findJointBeyondLimit(const ZqIndividualManipulator& manipulator,
                           const ZqPositionState& before, const ZqPositionState& after)
{
   const auto& links = manipulator.linkPointerVector();
   const std::vector<ZqReal>& from = before.jointPositions();
   const std::vector<ZqReal>& to = after.jointPositions();
   for (ZqU32 i = 0; i < std::min({links.size(), from.size(), to.size()}); ++i)
   {
      const ZqJointActuator& drive = links[i]->jointActuator();
      if ((to[i] < drive.lowerLimit() && to[i] < from[i]) ||
          (to[i] > drive.upperLimit() && to[i] > from[i]))
         return i;
   }
   return ZqNoLinkIndex;
}
} // namespace

/// The kinematics of the constraints at a position; velocities are those that the active state has.
const ZqConstraintKinematics&
ZqConstraintProjection::placeAt(const ZqPositionState& position,
                                const ZqIndividualManipulator& manipulator)
{
   m_activeState.setPositionState(position);
   m_activeState.invalidateAll();
   manipulator.stateEqualityConstraints().getKinematics(manipulator, m_activeState, m_kinematics);
   return m_kinematics;
}

void ZqConstraintProjection::factorConstraints(const ZqIndividualManipulator& manipulator,
                                               const ZqConstraintKinematics& kinematics,
                                               ZqMassMatrixFactor& massMatrix)
{
   m_jacobian = kinematics.jacobian;
   if (!manipulator.isFixedBase())
      ZqConstraintFactor::turnBaseColumns(
         manipulator.dhFrameInSystem(m_activeState.activePositionState()).orientation(),
         m_jacobian);
   m_constraintFactor.factor(m_jacobian);
   massMatrix.solveTranspose(m_constraintFactor.basis(), m_constraintFactor.inertialBasis());
}

/// Moves a position by a part of the step.
void ZqConstraintProjection::moveBy(ZqReal part, const ZqIndividualManipulator& manipulator,
                                    ZqPositionState& position)
{
   const ZqU32 base = baseDof(manipulator);
   if (base != 0)
   {
      ZqGeneralMotion motion;
      motion.copyFromArray(m_step);
      // From the axes of the base to those of the placement, in which the base's frame stands.
      position.coordSysXForm().integrateReferenceFrameVelocity(
         position.coordSysXForm().orientation() * motion, part);
   }
   ZqXmlVectorBasicType<ZqReal>& joints = position.jointPositions();
   for (ZqU32 i = 0; i < joints.size() && base + i < m_step.rows(); ++i)
      joints[i] += part * m_step[base + i][0];
}

ZqConstraintProjection::Result
ZqConstraintProjection::projectPosition(const ZqStatedSystem& statedSystem,
                                        const ZqIndividualManipulator& manipulator,
                                        ZqPositionState& position)
{
   const ZqStateEqualityConstraintVector& constraints = manipulator.stateEqualityConstraints();
   Result result;
   if (constraints.doc() == 0)
      return result;
   m_rest.jointVelocities().assign(manipulator.jointDof(), 0.0);
   m_activeState.setVelocityState(m_rest);
   m_reached = position;
   const ZqConstraintKinematics* kinematics = &placeAt(position, manipulator);
   auto gap = constraints.greatestGap(*kinematics);
   result.before = gap.size;

   ZqMassMatrixFactor* massMatrix = nullptr;
   ZqReal total = length(kinematics->gap);
   while (total > closedGap && result.iterations < m_maxIterations)
   {
      if (massMatrix == nullptr)
      {
         const ZqStatedSystemStruct stateStruct(&statedSystem, manipulator.manipulatorIndex());
         massMatrix = &m_solver.factorMassMatrix(manipulator, m_activeState, stateStruct);
      }
      factorConstraints(manipulator, *kinematics, *massMatrix);
      m_step.setToZeros(manipulator.totalDof(), 1);
      m_constraintFactor.impose(kinematics->gap, m_step);

      ZqReal part = longestStep;
      for (ZqU32 j = baseDof(manipulator); j < m_step.rows(); ++j)
         part = std::min(part, longestStep / std::abs(m_step[j][0]));
      ZqReal tried = total;
      for (int halvings = 0; halvings <= mostHalvings; ++halvings, part *= 0.5)
      {
         m_tried = m_reached;
         moveBy(part, manipulator, m_tried);
         kinematics = &placeAt(m_tried, manipulator);
         tried = length(kinematics->gap);
         // A gap that counts as closed is good enough: the step is not halved for the sake of rounding.
         if (tried < total || gap.size <= m_tolerance)
            break;
      }
      if (!(tried < total))
         break;
      m_reached = m_tried;
      total = tried;
      gap = constraints.greatestGap(*kinematics);
      ++result.iterations;
   }
   result.after = gap.size;
   result.constraint = gap.constraint;
   result.converged = gap.size <= m_tolerance;
   if (result.converged)
   {
      result.jointBeyondLimit = findJointBeyondLimit(manipulator, position, m_reached);
      position = m_reached;
   }
   return result;
}

ZqConstraintProjection::Result
ZqConstraintProjection::projectVelocity(const ZqStatedSystem& statedSystem,
                                        const ZqIndividualManipulator& manipulator,
                                        const ZqPositionState& position, ZqVelocityState& velocity)
{
   const ZqStateEqualityConstraintVector& constraints = manipulator.stateEqualityConstraints();
   Result result;
   if (constraints.doc() == 0)
      return result;
   m_activeState.setVelocityState(velocity);
   const ZqConstraintKinematics& kinematics = placeAt(position, manipulator);
   const ZqStatedSystemStruct stateStruct(&statedSystem, manipulator.manipulatorIndex());
   factorConstraints(manipulator, kinematics,
                     m_solver.factorMassMatrix(manipulator, m_activeState, stateStruct));

   // The velocities in the order of the equations.
   const ZqU32 base = baseDof(manipulator);
   const ZqOrientation toSystem =
      manipulator.dhFrameInSystem(m_activeState.activePositionState()).orientation();
   const std::vector<ZqReal>& rates = velocity.jointVelocities();
   m_step.setToZeros(manipulator.totalDof(), 1);
   const ZqGeneralMotion ofBase = toSystem.inverse() * velocity.generalVelocity();
   for (ZqU32 k = 0; k < base; ++k)
      m_step[k][0] = ofBase[k];
   const auto joints = std::min<std::size_t>(m_step.rows() - base, rates.size());
   std::copy_n(rates.begin(), joints, m_step.data() + base);

   const auto greatestRate = [&]
   {
      m_jacobian.multiply(m_step, m_rows);
      return constraints.greatest(m_rows);
   };
   result.before = greatestRate().size;
   m_zeros.setToZeros(m_jacobian.rows(), 1);
   for (; result.iterations < 2; ++result.iterations)
      m_constraintFactor.impose(m_zeros, m_step);
   const auto left = greatestRate();
   result.after = left.size;
   result.constraint = left.constraint;
   result.converged = left.size <= m_tolerance;
   if (!result.converged)
      return result;

   if (base != 0)
   {
      ZqGeneralMotion motion;
      motion.copyFromArray(m_step);
      velocity.setGeneralVelocity(toSystem * motion);
   }
   std::copy_n(m_step.data() + base, joints, velocity.jointVelocities().values().data());
   return result;
}
