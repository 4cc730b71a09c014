#include "zqManipulator/tools/posture/ZqPostureProblem.h"

#include "zqManipulator/dynamics/motion/ZqMotionSineCosine.h"
#include "zqManipulator/dynamics/motion/ZqPositionSweep.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"

#include <algorithm>
#include <cmath>

using zqMotion::cross;
using zqMotion::JointKind;
using zqMotion::plain;

namespace zqPosture
{
namespace
{
constexpr ZqReal noLimit = 1e300;

Quat conjugate(const Quat& q)
{
   return {q.w, -q.x, -q.y, -q.z};
}

ZqReal lengthOf(const Vec3& v)
{
   return std::sqrt(zqMotion::dot(v, v));
}

Vec3 unitVector(int axis)
{
   return {axis == 0 ? 1.0 : 0.0, axis == 1 ? 1.0 : 0.0, axis == 2 ? 1.0 : 0.0};
}

/// A turn by a rotation vector that is exact to second order (Cayley 1846), by a square root alone.
Quat turned(const Quat& q, const Vec3& r)
{
   const Quat t = Quat{1.0, 0.5 * r.x, 0.5 * r.y, 0.5 * r.z} * q;
   const ZqReal scale = 1.0 / std::sqrt((t.w * t.w + t.x * t.x) + (t.y * t.y + t.z * t.z));
   return {t.w * scale, t.x * scale, t.y * scale, t.z * scale};
}
} // namespace

void Problem::setManipulator(const ZqIndividualManipulator& manipulator,
                             const ZqPositionState& position)
{
   m_manipulator = &manipulator;
   m_plan = manipulator.sharedMotionPlan();
   m_position = position;
   m_placement =
      position.placement() != nullptr ? *position.placement() : manipulator.coordSysXForm();
   m_targets.clear();
   const std::size_t count = m_plan->joints.size();
   m_halfCos.resize(count);
   m_halfSin.resize(count);
   m_slots.resize(m_plan->slotLinks.size());
   m_frames.resize(count + 1);
}

bool Problem::isOf(const ZqIndividualManipulator* manipulator) const
{
   return manipulator != nullptr && manipulator == m_manipulator &&
          manipulator->sharedMotionPlan() == m_plan;
}

void Problem::aimAt(Aim& aim, const ZqCoordinateSystemTransformation& goal)
{
   ZqOrientation axes = goal.orientation();
   axes.normalize();
   aim.goal = plain(goal.translation());
   aim.goalAxes = plain(axes);
   aim.goalRotation = zqMotion::matrixOf(axes);
}

void Problem::setGoal(std::size_t target, const ZqCoordinateSystemTransformation& goal)
{
   m_targets[target].goal = goal;
   aimAt(m_aims[target], goal);
}

void Problem::setTargets(const std::vector<Tool::Target>& targets)
{
   m_targets = targets;
   m_aims.clear();
   m_targetRows = 0;
   ZqReal reach = 0.0;
   m_greatestWeight = 0.0;
   m_hasOrientations = false;
   for (const Tool::Target& target : targets)
   {
      Aim aim{};
      aim.link = target.link == ZqBaseLinkIndex ? -1 : static_cast<int>(target.link);
      ZqCoordinateSystemTransformation X = m_manipulator->primaryFrame();
      if (aim.link >= 0)
         X = zqMotion::dhFrameOf(m_plan->joints[target.link]) * m_plan->primaryFrames[target.link];
      X = X * target.frame;
      ZqOrientation axes = X.orientation();
      axes.normalize();
      aim.p = plain(X.translation());
      aim.q = plain(axes);
      for (int k = 0; k < 3; ++k)
      {
         const auto axis = static_cast<std::size_t>(k);
         aim.asked[k] = target.positionWeights[axis];
         aim.asked[k + 3] = target.orientationWeights[axis];
         m_hasOrientations = m_hasOrientations || aim.asked[k + 3] > 0.0;
      }
      aim.rows = static_cast<int>(
         std::count_if(aim.asked, aim.asked + 6, [](ZqReal w) { return w > 0.0; }));
      m_targetRows += aim.rows;
      m_greatestWeight = std::max(m_greatestWeight, *std::max_element(aim.asked, aim.asked + 6));
      reach = std::max(reach, reachOf(target));
      aimAt(aim, target.goal);
      m_aims.push_back(aim);
   }
   m_length = reach > 1e-70 && reach < 1e70 ? std::ldexp(1.0, std::ilogb(reach)) : 1.0;
}

ZqReal Problem::reachOf(const Tool::Target& target) const
{
   const ZqManipulatorLink* link = m_manipulator->linkByIndex(target.link);
   ZqReal reach = (link->primaryFrame() * target.frame).translation().mag();
   for (; link->parentLink() != nullptr; link = link->parentLink())
   {
      const ZqLinkKinematics* const joint = link->linkKinematicsContainer().topElement();
      reach += joint != nullptr ? joint->upperBoundDhFrameDistance(link->jointActuator()) : 0.0;
   }
   return reach;
}

void Problem::weigh(bool asAsked)
{
   constexpr ZqReal leastShare = 0.01;
   // Where all errors are lengths, their unit is of no importance.
   const ZqReal unit = asAsked && m_hasOrientations ? 1.0 : m_length;
   for (Aim& aim : m_aims)
      for (int k = 0; k < 6; ++k)
      {
         const ZqReal share = aim.asked[k] / m_greatestWeight;
         const ZqReal weight = asAsked ? share : std::max(share, leastShare);
         aim.weights[k] = aim.asked[k] > 0.0 ? (k < 3 ? weight / unit : weight) : 0.0;
      }
}

bool Problem::takeLimits(const Tool::Settings& settings)
{
   const std::size_t count = m_plan->joints.size();
   m_lower.assign(count, -noLimit);
   m_upper.assign(count, noLimit);
   m_turnsFreely.assign(count, false);
   m_isPeriodic.assign(count, false);
   m_isRelaxed = false;
   m_isAngle.assign(count, true);
   for (std::size_t i = 0; i < count; ++i)
   {
      const ZqManipulatorLink* const link = m_manipulator->linkPointerVector()[i];
      if (link == nullptr)
         continue;
      const ZqLinkKinematics* const joint = link->linkKinematicsContainer().topElement();
      m_lower[i] = link->jointActuator().lowerLimit();
      m_upper[i] = link->jointActuator().upperLimit();
      m_isAngle[i] = joint == nullptr || joint->unitType() == 1;
      if (!(m_lower[i] <= m_upper[i]))
      {
         Zq::Print::instance().write(Zq::Rejected,
                                     "ZqInverseKinematicsTool::solve(): the limits of link \"%s\" "
                                     "leave its joint no position.\n",
                                     link->linkLabel().c_str());
         return false;
      }
      m_isPeriodic[i] = m_plan->joints[i].kind == JointKind::Revolute &&
                        m_manipulator->stateEqualityConstraints().doc() == 0;
      m_turnsFreely[i] =
         m_isPeriodic[i] && m_upper[i] - m_lower[i] >= 2.0 * ZqMath::pi && settings.posture.empty();
   }
   return true;
}

bool Problem::takeConstraints(const Tool::Settings& settings)
{
   const ZqStateEqualityConstraintVector& constraints = m_manipulator->stateEqualityConstraints();
   m_constraintRows = static_cast<int>(constraints.doc());
   if (m_constraintRows == 0)
      return true;
   m_activeState.setPositionState(m_position);
   constraints.getKinematics(*m_manipulator, m_activeState, m_kinematics);
   const bool mayBaseMove = settings.mayBaseMove && !m_manipulator->isFixedBase();
   for (ZqU32 row = 0; row < m_kinematics.doc(); ++row)
   {
      if (m_kinematics.hasGap[row])
         continue;
      const ZqU32 index = constraints.constraintOfRow(row);
      bool isHeld =
         dynamic_cast<const ZqLinearStateEqualityConstraint*>(&constraints[index]) != nullptr;
      // Rotations have no sum.
      for (ZqU32 k = 0; k < 6 && mayBaseMove; ++k)
         isHeld = isHeld && m_kinematics.jacobian[row][k] == 0.0;
      if (!isHeld)
      {
         Zq::Print::instance().write(
            Zq::Rejected,
            "ZqInverseKinematicsTool::solve(): constraint %s relates velocities "
            "alone, and cannot be held.\n",
            constraints.description(index).c_str());
         return false;
      }
   }
   return true;
}

/// Those on the way to a target; with constraints or a posture, all.
void Problem::takeJoints(const Tool::Settings& settings)
{
   const std::size_t count = m_plan->joints.size();
   const bool all = m_constraintRows > 0 || !settings.posture.empty();
   m_isPlaced.assign(count, false);
   for (const Aim& aim : m_aims)
      for (int i = aim.link; i >= 0; i = m_plan->joints[static_cast<std::size_t>(i)].parent)
         m_isPlaced[static_cast<std::size_t>(i)] = true;
   m_baseVariables = settings.mayBaseMove && !m_manipulator->isFixedBase() ? 6 : 0;
   m_links.clear();
   m_joints.clear();
   m_variableOf.assign(count, -1);
   for (std::size_t i = 0; i < count; ++i)
   {
      if (m_isPlaced[i])
         m_links.push_back(static_cast<int>(i));
      if (!(all || m_isPlaced[i]) ||
          (!settings.jointWeights.empty() && std::isinf(settings.jointWeights[i])))
         continue;
      m_variableOf[i] = variables();
      m_joints.push_back(static_cast<int>(i));
   }
}

bool Problem::setVariables(const Tool::Settings& settings)
{
   if (!takeLimits(settings) || !takeConstraints(settings))
      return false;
   takeJoints(settings);
   return true;
}

void Problem::place(const Point& point)
{
   const int count = static_cast<int>(m_plan->joints.size());
   zqMotion::halfCosineSines(point.q.data(), count, m_halfCos.data(), m_halfSin.data());
   m_frames[0] = point.base;
   for (const int i : m_links)
   {
      const auto k = static_cast<std::size_t>(i);
      const zqMotion::Joint& joint = m_plan->joints[k];
      if (joint.kind == JointKind::Slot)
         zqMotion::place(m_manipulator->linkPointerVector()[k]->linkKinematicsContainer(),
                         joint.parent < 0 ? nullptr
                                          : &m_plan->joints[static_cast<std::size_t>(joint.parent)],
                         point.q[k], m_slots[static_cast<std::size_t>(joint.slot)]);
      zqMotion::placeLink(joint, m_frames[static_cast<std::size_t>(joint.parent + 1)], point.q[k],
                          m_halfCos[k], m_halfSin[k], m_slots.data(), m_frames[k + 1]);
   }
}

void Problem::evaluate(Point& point)
{
   place(point);
   point.errors.resize(static_cast<std::size_t>(rows()));
   ZqReal sum = 0.0;
   ZqReal* next = point.errors.data();
   for (Aim& aim : m_aims)
   {
      const zqMotion::Frame<ZqReal>& link = m_frames[static_cast<std::size_t>(aim.link + 1)];
      aim.place = link.p + zqMotion::rotate(link.q, aim.p);
      Quat error = conjugate(aim.goalAxes) * (link.q * aim.q);
      if (error.w < 0.0)
         error = {-error.w, -error.x, -error.y, -error.z};
      aim.error = error;
      const Vec3 p = zqMotion::transposeTimes(aim.goalRotation, aim.place - aim.goal);
      const ZqReal errors[6] = {p.x, p.y, p.z, 2.0 * error.x, 2.0 * error.y, 2.0 * error.z};
      for (int k = 0; k < 6; ++k)
         if (aim.weights[k] > 0.0)
         {
            *next = aim.weights[k] * errors[k];
            sum += *next * *next;
            ++next;
         }
   }
   point.cost = 0.5 * sum;
   point.gap = 0.0;
   if (m_constraintRows > 0)
      evaluateConstraints(point);
}

void Problem::evaluateConstraints(Point& point)
{
   std::copy(point.q.begin(), point.q.end(), m_position.jointPositions().values().begin());
   if (m_baseVariables > 0)
   {
      const auto& [p, q] = point.base;
      m_position.setCoordSysXForm(m_placement.inverse() *
                                  ZqCoordinateSystemTransformation(
                                     ZqVector(p.x, p.y, p.z), ZqOrientation(q.w, q.x, q.y, q.z)));
   }
   m_activeState.setPositionState(m_position);
   m_manipulator->stateEqualityConstraints().getKinematics(*m_manipulator, m_activeState,
                                                           m_kinematics);
   const ZqU32 firstJoint = m_manipulator->isFixedBase() ? 0 : 6;
   for (ZqU32 row = 0; row < m_kinematics.doc(); ++row)
   {
      ZqReal gap = m_kinematics.gap[row][0];
      if (!m_kinematics.hasGap[row])
         for (ZqU32 i = 0; i < point.q.size(); ++i)
            gap += m_kinematics.jacobian[row][firstJoint + i] * (point.q[i] - m_reference[i]);
      point.errors[static_cast<std::size_t>(m_targetRows) + row] = gap;
      point.gap = std::abs(gap) <= point.gap ? point.gap : std::abs(gap); // NaN goes through
   }
}

/// What a motion, with the linear part of the target's point, does to its errors.
void Problem::writeColumn(const Aim& aim, int firstRow, int column, const Vec3& linear,
                          const Vec3& angular, ZqReal* rows) const
{
   const Vec3 v = zqMotion::transposeTimes(aim.goalRotation, linear);
   const Vec3 omega = zqMotion::transposeTimes(aim.goalRotation, angular);
   const Vec3 turn =
      omega * aim.error.w + cross(omega, Vec3{aim.error.x, aim.error.y, aim.error.z});
   const ZqReal rates[6] = {v.x, v.y, v.z, turn.x, turn.y, turn.z};
   ZqReal* entry = rows + firstRow * variables() + column;
   for (int k = 0; k < 6; ++k)
      if (aim.weights[k] > 0.0)
      {
         *entry = aim.weights[k] * rates[k];
         entry += variables();
      }
}

void Problem::differentiate(const Point& point, std::vector<ZqReal>& result)
{
   const int n = variables();
   result.assign(static_cast<std::size_t>(rows() * n), 0.0);
   const Vec3 z{0.0, 0.0, 1.0};
   int row = 0;
   for (const Aim& aim : m_aims)
   {
      for (int k = 0; k < m_baseVariables; ++k)
      {
         const Vec3 axis = unitVector(k % 3);
         if (k < 3)
            writeColumn(aim, row, k, axis, {0.0, 0.0, 0.0}, result.data());
         else
            writeColumn(aim, row, k, cross(axis, aim.place - point.base.p), axis, result.data());
      }
      for (int i = aim.link; i >= 0; i = m_plan->joints[static_cast<std::size_t>(i)].parent)
      {
         const auto index = static_cast<std::size_t>(i);
         if (m_variableOf[index] < 0)
            continue;
         const zqMotion::Joint& joint = m_plan->joints[index];
         const zqMotion::Frame<ZqReal>& link = m_frames[index + 1];
         Vec3 linear{0.0, 0.0, 0.0};
         Vec3 angular = linear;
         if (joint.kind == JointKind::Revolute)
            angular = zqMotion::rotate(link.q, z);
         else if (joint.kind == JointKind::Prismatic)
            linear = zqMotion::rotate(link.q, z);
         else
         {
            const auto& s = m_slots[static_cast<std::size_t>(joint.slot)].s;
            linear = zqMotion::rotate(link.q, s.linear);
            angular = zqMotion::rotate(link.q, s.angular);
         }
         writeColumn(aim, row, m_variableOf[index], linear + cross(angular, aim.place - link.p),
                     angular, result.data());
      }
      row += aim.rows;
   }
   if (m_constraintRows == 0)
      return;
   const int firstJoint = m_manipulator->isFixedBase() ? 0 : 6;
   for (ZqU32 k = 0; k < m_kinematics.doc(); ++k)
   {
      const auto from = m_kinematics.jacobian[k];
      ZqReal* const to = result.data() + (row + static_cast<int>(k)) * n;
      std::copy_n(from.begin(), m_baseVariables, to);
      for (std::size_t j = 0; j < m_joints.size(); ++j)
         to[static_cast<std::size_t>(m_baseVariables) + j] =
            from[static_cast<std::size_t>(firstJoint + m_joints[j])];
   }
}

void Problem::move(const Point& from, const ZqReal* step, Point& to) const
{
   to.q = from.q;
   to.base = from.base;
   if (m_baseVariables > 0)
   {
      to.base.p += Vec3{step[0], step[1], step[2]};
      to.base.q = turned(to.base.q, {step[3], step[4], step[5]});
   }
   for (std::size_t k = 0; k < m_joints.size(); ++k)
   {
      const auto i = static_cast<std::size_t>(m_joints[k]);
      const ZqReal q = from.q[i] + step[static_cast<std::size_t>(m_baseVariables) + k];
      to.q[i] = turnsFreely(i) ? q : std::min(std::max(q, m_lower[i]), m_upper[i]);
   }
}

/// Of the errors of a target, without the weights; goes on to those of the next.
Problem::Lengths Problem::lengthsOf(const Aim& aim, const ZqReal*& errors)
{
   ZqReal parts[6] = {};
   for (int k = 0; k < 6; ++k)
      if (aim.weights[k] > 0.0)
         parts[k] = *errors++ / aim.weights[k];
   return {lengthOf({parts[0], parts[1], parts[2]}), lengthOf({parts[3], parts[4], parts[5]})};
}

bool Problem::isMet(const Point& point, ZqReal distance, ZqReal chord) const
{
   const ZqReal* errors = point.errors.data();
   for (const Aim& aim : m_aims)
   {
      const Lengths lengths = lengthsOf(aim, errors);
      if (!(lengths.distance <= distance && lengths.chord <= chord))
         return false;
   }
   return true;
}

ZqReal Problem::askedCost(const Point& point) const
{
   ZqReal sum = 0.0;
   const ZqReal* errors = point.errors.data();
   for (const Aim& aim : m_aims)
      for (int k = 0; k < 6; ++k)
         if (aim.asked[k] > 0.0)
         {
            const ZqReal error = aim.asked[k] * (*errors++ / aim.weights[k]);
            sum += error * error;
         }
   return 0.5 * sum;
}

Tool::Residual Problem::residual(const Point& point, std::size_t target) const
{
   const ZqReal* errors = point.errors.data();
   Lengths lengths{};
   for (std::size_t k = 0; k <= target; ++k)
      lengths = lengthsOf(m_aims[k], errors);
   return {lengths.distance, 2.0 * std::asin(std::min(0.5 * lengths.chord, 1.0))};
}
} // namespace zqPosture
