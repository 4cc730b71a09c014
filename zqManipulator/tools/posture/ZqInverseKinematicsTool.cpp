#include "zqManipulator/tools/posture/ZqInverseKinematicsTool.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqRandom.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/tools/posture/ZqBoundedStep.h"
#include "zqManipulator/tools/posture/ZqPostureProblem.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace
{
using zqPosture::Point;
using zqPosture::Problem;

constexpr ZqReal firstDamping = 0.1; ///< in proportion to the cost
constexpr ZqReal leastDamping = 1e-6;
constexpr ZqReal mostDamping = 1e9;
constexpr ZqReal dampingOfNothing = 1e-14; ///< that keeps redundant rows apart from rounding
constexpr ZqReal restingStep = 1e-11;      ///< rad or m
constexpr ZqReal restingCost = 0.999;      ///< what hardly falls over all iterations of a start
constexpr ZqReal restingGain = 1e-19;      ///< of Newton's step, in proportion to the cost
constexpr ZqReal closedGap = 1e-11;        ///< of a constraint, for a robot of 1 m or less
constexpr ZqReal leastFreedom = 1e-4;      ///< of a joint, in proportion to the greatest
constexpr ZqU32 samplesPerRestart = 4;

bool rejectPosture(const char* operation, const char* reason)
{
   Zq::Print::instance().write(Zq::Rejected, "ZqInverseKinematicsTool::%s(): %s.\n", operation,
                               reason);
   return false;
}

bool isFiniteVector(const ZqVector& v)
{
   return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z());
}

/// With an orientation that can be brought to unit length; lengths whose squares have squares.
bool isFrame(const ZqCoordinateSystemTransformation& X)
{
   ZqOrientation axes = X.orientation();
   return isFiniteVector(X.translation()) && X.translation().mag() < 1e70 && axes.normalize();
}

bool areWeights(const ZqVector& w)
{
   const auto isWeight = [](ZqReal x) { return x >= 0.0 && x < 1e70; };
   return isWeight(w.x()) && isWeight(w.y()) && isWeight(w.z());
}

/// A frame whose z axis is along a direction.
ZqOrientation axesAlong(const ZqVector& direction)
{
   const ZqReal length = direction.mag();
   if (!(length > 0.0) || !std::isfinite(length))
      return {0.0, 0.0, 0.0, 0.0};
   const ZqVector z = direction * (1.0 / length);
   // The shortest turn from z; for the lower half, from -z after half a turn about x.
   ZqOrientation q = z.z() > 0.0 ? ZqOrientation(1.0 + z.z(), -z.y(), z.x(), 0.0)
                                 : ZqOrientation(-z.y(), 1.0 - z.z(), 0.0, z.x());
   q.normalize();
   return q;
}
} // namespace

ZqInverseKinematicsTool::Target
ZqInverseKinematicsTool::Target::pose(ZqU32 link, const ZqCoordinateSystemTransformation& goal,
                                      const ZqCoordinateSystemTransformation& frame)
{
   Target target;
   target.link = link;
   target.frame = frame;
   target.goal = goal;
   return target;
}

ZqInverseKinematicsTool::Target
ZqInverseKinematicsTool::Target::position(ZqU32 link, const ZqVector& goal, const ZqVector& point)
{
   Target target = pose(link, {goal}, {point});
   target.orientationWeights = ZqVector();
   return target;
}

ZqInverseKinematicsTool::Target
ZqInverseKinematicsTool::Target::axis(ZqU32 link, const ZqVector& direction, const ZqVector& goal)
{
   Target target = pose(link, {axesAlong(goal)}, {axesAlong(direction)});
   target.positionWeights = ZqVector();
   target.orientationWeights = ZqVector(1.0, 1.0, 0.0);
   return target;
}

/// The search: from one point to others, all within the limits and on the constraints.
struct ZqInverseKinematicsTool::Work
{
   enum class End
   {
      Met,
      AtRest,
      TooSlow,
      Exhausted
   };

   bool prepare(const Settings& settings);
   bool takeStart();
   End attempt();
   End descend(bool toRest);
   End refine();
   void settle();
   void search(Answer& answer);
   bool drawStart();
   bool takePosture();
   void unwind();
   void report(Answer& answer);
   bool isBeyondReach() const;

   Problem problem;
   zqPosture::BoundedStep step;
   const Settings* settings = nullptr;
   const ZqStatedSystem* scene = nullptr; ///< not owned
   ZqU32 index = 0;                       ///< of the manipulator
   const ZqPositionState* from = nullptr; ///< the start
   Point start, current, trial, best, origin, drawn;

private:
   void setBounds(const Point& point);
   void boundStep(ZqReal damping, const ZqReal* preferred, const Point& point);
   bool closeConstraints(Point& point);
   bool tryStep();
   ZqReal dampingChange() const;
   void takeGradient(std::vector<ZqReal>& gradient);
   void takeCurvature();
   bool factorCurvature(ZqReal damping);
   bool isMet(const Point& point) const;
   ZqReal stepSize() const;
   ZqReal postureCost(const Point& point) const;

   std::vector<ZqReal> m_rows;    ///< derivatives at `current`
   std::vector<ZqReal> m_closing; ///< those on the way back to the constraints
   std::vector<ZqReal> m_preferred, m_lastStep;
   std::vector<ZqReal> m_gradient, m_gradientAhead; ///< of the cost
   std::vector<ZqReal> m_curvature;                 ///< n x n
   zqPosture::BoundedStep m_newton;                 ///< a row for each variable
   std::vector<ZqReal> m_newtonRows, m_newtonErrors;
   ZqReal m_chord = 0.0; ///< 2 sin(tolerance / 2)
   ZqU32 m_iterations = 0;
};

bool ZqInverseKinematicsTool::Work::prepare(const Settings& chosen)
{
   settings = &chosen;
   if (!problem.setVariables(chosen))
      return false;
   m_chord = 2.0 * ZqMath::cosineSine(std::min(0.5 * chosen.tolerance, 0.5 * ZqMath::pi)).sine;
   problem.weigh(false);
   step.resize(problem.rows(), problem.variables());
   m_preferred.assign(static_cast<std::size_t>(problem.variables()), 0.0);
   m_lastStep.assign(m_preferred.size(), 0.0);
   if (!chosen.jointWeights.empty())
      for (std::size_t k = 0; k < problem.joints().size(); ++k)
         step.freedom[k + static_cast<std::size_t>(problem.baseVariables())] =
            1.0 / chosen.jointWeights[static_cast<std::size_t>(problem.joints()[k])];
   if (!step.freedom.empty())
   {
      const ZqReal greatest = *std::max_element(step.freedom.begin(), step.freedom.end());
      for (ZqReal& freedom : step.freedom)
         freedom = std::max(freedom / greatest, leastFreedom);
   }
   m_iterations = 0;
   return true;
}

/// The start on the constraints. False where they cannot be fulfilled from there.
bool ZqInverseKinematicsTool::Work::takeStart()
{
   const ZqPositionState& position = *from;
   const auto& q = position.jointPositions().values();
   start.q.assign(q.begin(), q.end());
   problem.setReference(scene->state().positionStates()[index].jointPositions().values());
   const ZqCoordinateSystemTransformation& placement = position.placement() != nullptr
                                                          ? *position.placement()
                                                          : problem.manipulator().coordSysXForm();
   const ZqCoordinateSystemTransformation base = placement * position.coordSysXForm();
   start.base = {zqMotion::plain(base.translation()), zqMotion::plain(base.orientation())};
   current = start;
   std::fill(step.d.begin(), step.d.end(), 0.0);
   problem.move(start, step.d.data(), current); // within the limits
   problem.evaluate(current);
   return closeConstraints(current);
}

void ZqInverseKinematicsTool::Work::setBounds(const Point& point)
{
   const auto base = static_cast<std::size_t>(problem.baseVariables());
   std::fill_n(step.lower.begin(), base, -1e300);
   std::fill_n(step.upper.begin(), base, 1e300);
   for (std::size_t k = 0; k < problem.joints().size(); ++k)
   {
      const auto i = static_cast<std::size_t>(problem.joints()[k]);
      const bool isFree = problem.turnsFreely(i);
      step.lower[base + k] = isFree ? -1e300 : problem.lower()[i] - point.q[i];
      step.upper[base + k] = isFree ? 1e300 : problem.upper()[i] - point.q[i];
   }
}

/// The step from `point`, whose derivatives are in `m_rows`, with the same damping for all rows of targets.
void ZqInverseKinematicsTool::Work::boundStep(ZqReal damping, const ZqReal* preferred,
                                              const Point& point)
{
   std::fill_n(step.damping.begin(), problem.targetRows(), damping);
   setBounds(point);
   step.solve(m_rows.data(), point.errors.data(), 0, preferred);
}

/// Newton's steps of least length back to the constraints, within the limits.
bool ZqInverseKinematicsTool::Work::closeConstraints(Point& point)
{
   if (!problem.hasConstraints())
      return std::isfinite(point.cost);
   ZqReal before = 1e300;
   for (int i = 0; i < 20 && point.gap > 1e-15 && point.gap < 0.9 * before; ++i)
   {
      before = point.gap;
      problem.differentiate(point, m_closing);
      setBounds(point);
      step.solve(m_closing.data(), point.errors.data(), problem.targetRows(), nullptr);
      drawn = point;
      problem.move(drawn, step.d.data(), point);
      problem.evaluate(point);
   }
   return point.gap <= closedGap * std::max(1.0, problem.length()) && std::isfinite(point.cost);
}

/// Moves `current` by the step into `trial`.
bool ZqInverseKinematicsTool::Work::tryStep()
{
   problem.move(current, step.d.data(), trial);
   problem.evaluate(trial);
   return closeConstraints(trial);
}

bool ZqInverseKinematicsTool::Work::isMet(const Point& point) const
{
   return problem.isMet(point, settings->tolerance, m_chord);
}

ZqReal ZqInverseKinematicsTool::Work::stepSize() const
{
   ZqReal size = 0.0;
   for (const ZqReal d : step.d)
      size = std::max(size, std::abs(d));
   return size;
}

/// Less damping where the step has gained what the derivatives promised, and more where it has not.
ZqReal ZqInverseKinematicsTool::Work::dampingChange() const
{
   ZqReal promised = current.cost;
   const int n = problem.variables();
   for (int i = 0; i < problem.targetRows(); ++i)
   {
      ZqReal error = current.errors[static_cast<std::size_t>(i)];
      for (int k = 0; k < n; ++k)
         error += m_rows[static_cast<std::size_t>(i * n + k)] * step.d[static_cast<std::size_t>(k)];
      promised -= 0.5 * error * error;
   }
   const ZqReal gained = current.cost - trial.cost;
   return gained > 0.75 * promised ? 0.3 : gained < 0.25 * promised ? 3.0 : 1.0;
}

/// From `current`, which was evaluated last, downhill. With `toRest` until it does not move any more, however
/// slowly; else it gives up where another start promises more.
ZqInverseKinematicsTool::Work::End ZqInverseKinematicsTool::Work::descend(bool toRest)
{
   constexpr ZqU32 patience = 5;
   ZqReal factor = firstDamping;
   ZqReal costBefore = current.cost;
   problem.differentiate(current, m_rows);
   for (ZqU32 i = 0; i < settings->maxIterations; ++i)
   {
      if (isMet(current))
         return End::Met;
      if (i > 0 && i % patience == 0)
      {
         if (!toRest && current.cost > 0.9 * costBefore)
            return End::TooSlow;
         costBefore = current.cost;
      }
      ++m_iterations;
      boundStep(factor * current.cost / (1.0 + current.cost) + dampingOfNothing, nullptr, current);
      if (stepSize() < restingStep)
         return End::AtRest;
      // A cost that is greater by rounding alone still leads to where the step is zero.
      if (!tryStep() || !(trial.cost <= current.cost * (1.0 + 1e-15)))
      {
         factor *= 10.0;
         if (factor > mostDamping)
            return End::AtRest;
         continue;
      }
      if (toRest)
         factor *= dampingChange();
      else if (trial.cost < 0.5 * current.cost)
         factor *= 0.1;
      factor = std::max(factor, leastDamping);
      std::swap(current, trial);
      problem.differentiate(current, m_rows);
   }
   return isMet(current) ? End::Met : End::Exhausted;
}

/// At the point that was evaluated last.
void ZqInverseKinematicsTool::Work::takeGradient(std::vector<ZqReal>& gradient)
{
   const int n = problem.variables();
   gradient.assign(static_cast<std::size_t>(n), 0.0);
   for (int i = 0; i < problem.targetRows(); ++i)
      for (int k = 0; k < n; ++k)
         gradient[static_cast<std::size_t>(k)] += m_closing[static_cast<std::size_t>(i * n + k)] *
                                                  trial.errors[static_cast<std::size_t>(i)];
}

/// How the gradient changes, by central differences, which need not be exact: only the way depends on them.
void ZqInverseKinematicsTool::Work::takeCurvature()
{
   constexpr ZqReal h = 1e-5;
   const auto n = static_cast<std::size_t>(problem.variables());
   m_curvature.assign(n * n, 0.0);
   problem.relax(true); // differences also beyond a limit
   for (std::size_t k = 0; k < n; ++k)
      for (const ZqReal side : {h, -h})
      {
         std::fill(step.d.begin(), step.d.end(), 0.0);
         step.d[k] = side;
         problem.move(current, step.d.data(), trial);
         problem.evaluate(trial);
         problem.differentiate(trial, m_closing);
         takeGradient(m_gradientAhead);
         for (std::size_t i = 0; i < n; ++i)
         {
            m_curvature[i * n + k] += 0.25 / side * m_gradientAhead[i];
            m_curvature[k * n + i] += 0.25 / side * m_gradientAhead[i];
         }
      }
   problem.relax(false);
}

/// Writes curvature and gradient as rows whose sum of squares has them: L^T d + L^-1 g. False where that needs more
/// damping.
bool ZqInverseKinematicsTool::Work::factorCurvature(ZqReal damping)
{
   const auto n = static_cast<std::size_t>(problem.variables());
   m_newtonRows.assign(n * n, 0.0);
   m_newtonErrors.assign(n, 0.0);
   for (std::size_t j = 0; j < n; ++j)
   {
      ZqReal right = m_gradient[j];
      for (std::size_t k = 0; k < j; ++k)
         right -= m_newtonRows[k * n + j] * m_newtonErrors[k];
      for (std::size_t i = j; i < n; ++i)
      {
         ZqReal sum = m_curvature[i * n + j] + (i == j ? damping / step.freedom[j] : 0.0);
         for (std::size_t k = 0; k < j; ++k)
            sum -= m_newtonRows[k * n + i] * m_newtonRows[k * n + j];
         if (i == j && !(sum > 1e-12))
            return false;
         m_newtonRows[j * n + i] = i == j ? std::sqrt(sum) : sum / m_newtonRows[j * n + j];
      }
      m_newtonErrors[j] = right / m_newtonRows[j * n + j];
   }
   return true;
}

/// From `current`, which was evaluated last, to rest where errors stay: their curvature counts then, and Newton's
/// steps, within the limits, have it. Not for constraints, whose curvature would count as well.
ZqInverseKinematicsTool::Work::End ZqInverseKinematicsTool::Work::refine()
{
   const int n = problem.variables();
   m_newton.resize(n, n);
   ZqReal damping = 1e-3;
   for (ZqU32 i = 0; i < settings->maxIterations; ++i)
   {
      ++m_iterations;
      trial = current;
      problem.evaluate(trial);
      problem.differentiate(trial, m_closing);
      takeGradient(m_gradient);
      takeCurvature();
      for (;; damping *= 10.0)
      {
         if (damping > mostDamping)
         {
            problem.evaluate(current);
            return End::Exhausted;
         }
         if (!factorCurvature(damping))
            continue;
         setBounds(current);
         m_newton.lower = step.lower;
         m_newton.upper = step.upper;
         std::fill(m_newton.damping.begin(), m_newton.damping.end(), 1.0);
         std::fill(m_newton.freedom.begin(), m_newton.freedom.end(), 1e12);
         m_newton.solve(m_newtonRows.data(), m_newtonErrors.data(), 0, nullptr);
         step.d = m_newton.d;
         ZqReal slope = 0.0;
         for (std::size_t k = 0; k < m_gradient.size(); ++k)
            slope -= m_gradient[k] * step.d[k];
         if (stepSize() < restingStep || (damping <= 1.0 && slope < restingGain * current.cost))
         {
            problem.evaluate(current);
            return End::AtRest;
         }
         if (tryStep() && trial.cost <= current.cost * (1.0 + 1e-15))
            break;
      }
      std::swap(current, trial);
      damping = std::max(0.1 * damping, 1e-12);
   }
   problem.evaluate(current);
   return End::Exhausted;
}

/// Steps on from where the targets are met, as long as they gain: convergence is quadratic there.
void ZqInverseKinematicsTool::Work::settle()
{
   for (int i = 0; i < 5 && current.cost > 0.0; ++i)
   {
      ++m_iterations;
      problem.differentiate(current, m_rows);
      boundStep(dampingOfNothing, nullptr, current);
      if (!tryStep() || !(trial.cost < 0.25 * current.cost))
         return;
      std::swap(current, trial);
   }
}

/// The best of a few postures that are drawn within the limits, on a base that is turned if it may move: to place
/// them costs less than to descend from them.
bool ZqInverseKinematicsTool::Work::drawStart()
{
   bool any = false;
   for (ZqU32 sample = 0; sample < samplesPerRestart; ++sample)
   {
      std::fill(step.d.begin(), step.d.end(), 0.0);
      for (int k = 3; k < problem.baseVariables(); ++k)
         step.d[static_cast<std::size_t>(k)] = ZqRandom::uniformRandom(-ZqMath::pi, ZqMath::pi);
      problem.move(start, step.d.data(), trial);
      for (const int joint : problem.joints())
      {
         const auto i = static_cast<std::size_t>(joint);
         const ZqReal half = problem.isAngle(i) ? ZqMath::pi : problem.length();
         const bool hasLower = problem.lower()[i] > -1e300 && !problem.turnsFreely(i);
         const bool hasUpper = problem.upper()[i] < 1e300 && !problem.turnsFreely(i);
         // Half open: as far as about the start, from the one limit.
         const ZqReal low = hasLower   ? problem.lower()[i]
                            : hasUpper ? problem.upper()[i] - 2.0 * half
                                       : start.q[i] - half;
         const ZqReal high = hasUpper ? problem.upper()[i] : low + 2.0 * half;
         trial.q[i] = ZqRandom::uniformRandom(low, high);
      }
      problem.evaluate(trial);
      if (closeConstraints(trial) && (!any || trial.cost < current.cost))
      {
         std::swap(current, trial);
         any = true;
      }
   }
   if (any)
      problem.evaluate(current);
   return any;
}

/// From `current`, which was evaluated last. Within the limits there may be no way to where the targets are met,
/// though that is within: so at first limits of joints that turn are left alone, as far as there are turns.
ZqInverseKinematicsTool::Work::End ZqInverseKinematicsTool::Work::attempt()
{
   if (problem.hasConstraints())
      return descend(false);
   origin = current;
   problem.relax(true);
   const bool isMetSomewhere = descend(false) == End::Met;
   if (isMetSomewhere)
      unwind();
   problem.relax(false);
   if (isMetSomewhere && descend(false) == End::Met)
      return End::Met;
   current = origin;
   problem.evaluate(current);
   return descend(false);
}

/// From the start and then from others, until the targets are met; else from the best again, to rest.
void ZqInverseKinematicsTool::Work::search(Answer& answer)
{
   bool hasBest = false;
   ZqReal bestCost = 0.0;
   std::optional<ZqRandom::Stream> stream;
   bool isFeasible = takeStart();
   for (answer.restarts = 0;; ++answer.restarts)
   {
      const End end = isFeasible ? attempt() : End::Exhausted;
      if (end == End::Met)
      {
         settle();
         answer.isSolved = true;
         answer.obstacle = Obstacle::None;
         return;
      }
      const ZqReal cost = problem.askedCost(current);
      if (isFeasible && (!hasBest || cost < bestCost))
      {
         best = current;
         bestCost = cost;
         hasBest = true;
      }
      if (answer.restarts == settings->maxRestarts)
         break;
      if (!stream)
         stream.emplace(std::initializer_list<ZqU32>{settings->seed});
      isFeasible = drawStart();
   }
   if (!hasBest)
   {
      answer.obstacle = Obstacle::Loops;
      current = start;
      problem.evaluate(current);
      return;
   }
   current = best;
   problem.weigh(true);
   problem.evaluate(current);
   End end = End::Exhausted;
   const int most = problem.hasConstraints() ? 10 : 1;
   for (int i = 0; i < most && end == End::Exhausted; ++i)
   {
      const ZqReal before = current.cost;
      end = descend(true);
      if (end == End::Exhausted && i > 0 && current.cost > restingCost * before)
         end = End::AtRest;
   }
   if (end != End::Met && !problem.hasConstraints() && refine() == End::AtRest)
      end = End::AtRest;
   if (isMet(current))
   {
      problem.weigh(false);
      problem.evaluate(current);
      settle();
      answer.isSolved = true;
      answer.obstacle = Obstacle::None;
      return;
   }
   answer.obstacle = end == End::AtRest ? Obstacle::Reach : Obstacle::Time;
}

/// Brings joints that turn freely next to where they started, or would rather be.
void ZqInverseKinematicsTool::Work::unwind()
{
   constexpr ZqReal turn = 2.0 * ZqMath::pi;
   for (const int joint : problem.joints())
   {
      const auto i = static_cast<std::size_t>(joint);
      if (!problem.turnsFreely(i))
         continue;
      ZqReal& q = current.q[i];
      const ZqReal near = settings->posture.empty() ? start.q[i] : settings->posture[i];
      q -= turn * std::round((q - near) / turn);
      if (q > problem.upper()[i])
         q -= turn * std::ceil((q - problem.upper()[i]) / turn);
      else if (q < problem.lower()[i])
         q += turn * std::ceil((problem.lower()[i] - q) / turn);
      q = std::min(std::max(q, problem.lower()[i]), problem.upper()[i]);
   }
   problem.evaluate(current);
}

ZqReal ZqInverseKinematicsTool::Work::postureCost(const Point& point) const
{
   ZqReal sum = 0.0;
   for (std::size_t k = 0; k < problem.joints().size(); ++k)
   {
      const auto i = static_cast<std::size_t>(problem.joints()[k]);
      const ZqReal difference = point.q[i] - settings->posture[i];
      sum += difference * difference /
             step.freedom[k + static_cast<std::size_t>(problem.baseVariables())];
   }
   return sum;
}

/// Leads `current`, which meets the targets, to the posture: by steps that are best for the linearised targets, and
/// back to these after each. True when no step is left.
bool ZqInverseKinematicsTool::Work::takePosture()
{
   const auto base = static_cast<std::size_t>(problem.baseVariables());
   ZqReal part = 1.0;
   ZqReal cost = postureCost(current);
   std::fill(m_lastStep.begin(), m_lastStep.end(), 0.0);
   for (ZqU32 i = 0; i < settings->maxIterations; ++i)
   {
      ++m_iterations;
      for (std::size_t k = 0; k < problem.joints().size(); ++k)
      {
         const auto joint = static_cast<std::size_t>(problem.joints()[k]);
         m_preferred[base + k] = part * (settings->posture[joint] - current.q[joint]);
      }
      problem.evaluate(current);
      problem.differentiate(current, m_rows);
      boundStep(0.0, m_preferred.data(), current);
      if (stepSize() < restingStep * part)
         return true;
      // Steps that turn back have gone too far: the targets are curved.
      ZqReal onward = 0.0;
      for (std::size_t k = 0; k < m_lastStep.size(); ++k)
         onward += m_lastStep[k] * step.d[k];
      std::copy(step.d.begin(), step.d.end(), m_lastStep.begin());
      best = current;
      const bool isOn = tryStep();
      std::swap(current, trial);
      if (isOn)
         settle();
      const ZqReal reached = postureCost(current);
      if (isOn && isMet(current) && reached <= cost * (1.0 + 1e-13))
      {
         cost = reached;
         part = onward < 0.0 ? 0.6 * part : std::min(1.3 * part, 1.0);
         continue;
      }
      std::swap(current, best);
      part *= 0.25;
      if (part < 1e-10)
         break;
   }
   problem.evaluate(current);
   return false;
}

/// Whether a target is farther from the base than all links in line.
bool ZqInverseKinematicsTool::Work::isBeyondReach() const
{
   if (problem.baseVariables() > 0)
      return false;
   const ZqVector base(start.base.p.x, start.base.p.y, start.base.p.z);
   for (const Target& target : problem.targets())
   {
      if (!(target.positionWeights.x() > 0.0 && target.positionWeights.y() > 0.0 &&
            target.positionWeights.z() > 0.0))
         continue;
      if ((target.goal.translation() - base).mag() > problem.reachOf(target) * (1.0 + 1e-12))
         return true;
   }
   return false;
}

/// Takes over `current`, which was evaluated last.
void ZqInverseKinematicsTool::Work::report(Answer& answer)
{
   answer.iterations = m_iterations;
   answer.position = *from;
   std::copy(current.q.begin(), current.q.end(), answer.position.jointPositions().values().begin());
   if (problem.baseVariables() > 0)
   {
      const auto& [p, q] = current.base;
      const ZqCoordinateSystemTransformation& placement =
         from->placement() != nullptr ? *from->placement() : problem.manipulator().coordSysXForm();
      answer.position.setCoordSysXForm(
         placement.inverse() * ZqCoordinateSystemTransformation(ZqVector(p.x, p.y, p.z),
                                                                ZqOrientation(q.w, q.x, q.y, q.z)));
   }
   answer.cost = problem.askedCost(current);
   answer.constraintGap = current.gap;
   answer.residuals.resize(problem.targets().size());
   for (std::size_t k = 0; k < answer.residuals.size(); ++k)
      answer.residuals[k] = problem.residual(current, k);

   // Who is held in a step from here would have to go on.
   const auto base = static_cast<std::size_t>(problem.baseVariables());
   if (!answer.isSolved)
   {
      problem.differentiate(current, m_rows);
      boundStep(1e-3, nullptr, current);
   }
   answer.limits.clear();
   for (std::size_t k = 0; k < problem.joints().size(); ++k)
   {
      const auto i = static_cast<std::size_t>(problem.joints()[k]);
      const bool isUpper = current.q[i] == problem.upper()[i];
      if (!isUpper && current.q[i] != problem.lower()[i])
         continue;
      const bool isInTheWay = !answer.isSolved && step.held[base + k] != 0;
      answer.limits.push_back({static_cast<ZqU32>(i), isUpper, isInTheWay});
      if (isInTheWay && answer.obstacle == Obstacle::Reach)
         answer.obstacle = Obstacle::Limits;
   }
   answer.isBeyondReach = !answer.isSolved && isBeyondReach();
}

ZqInverseKinematicsTool::ZqInverseKinematicsTool() : m_work(std::make_unique<Work>()) {}
ZqInverseKinematicsTool::~ZqInverseKinematicsTool() = default;

namespace
{
bool placesJoints(const ZqPositionState& position, ZqU32 joints)
{
   const auto& q = position.jointPositions().values();
   return q.size() == joints && isFrame(position.coordSysXForm()) &&
          std::all_of(q.begin(), q.end(), [](ZqReal x) { return std::isfinite(x); });
}
} // namespace

bool ZqInverseKinematicsTool::setManipulator(const ZqStatedSystem& scene, ZqU32 index)
{
   const ZqIndividualManipulator* const manipulator = scene.manipulatorByIndex(index);
   if (manipulator == nullptr || index >= scene.state().positionStates().size())
      return rejectPosture("setManipulator", "there is no such manipulator");
   const ZqPositionState& position = scene.state().positionStates()[index];
   if (!placesJoints(position, manipulator->jointDof()))
      return rejectPosture("setManipulator", "the state does not place all of the manipulator");
   m_settings.jointWeights.clear();
   m_settings.posture.clear();
   m_work->problem.setManipulator(*manipulator, position);
   m_work->scene = &scene;
   m_work->index = index;
   return true;
}

/// Also where the scene has become another one, whose manipulators stand elsewhere.
bool ZqInverseKinematicsTool::isCurrent() const
{
   const ZqStatedSystem* const scene = m_work->scene;
   return scene != nullptr && m_work->index < scene->state().positionStates().size() &&
          m_work->problem.isOf(scene->manipulatorByIndex(m_work->index));
}

bool ZqInverseKinematicsTool::setSettings(const Settings& settings)
{
   if (!isCurrent())
      return rejectPosture("setSettings", "there is no manipulator, or it has changed");
   const std::size_t joints = m_work->problem.manipulator().jointDof();
   const auto fits = [&](const std::vector<ZqReal>& list, const auto& isRight)
   {
      return list.empty() ||
             (list.size() == joints && std::all_of(list.begin(), list.end(), isRight));
   };
   if (!(settings.tolerance > 0.0))
      return rejectPosture("setSettings", "the tolerance has to be above zero");
   if (!fits(settings.jointWeights,
             [](ZqReal w) { return w > 1e-70 && (w < 1e70 || std::isinf(w)); }))
      return rejectPosture("setSettings", "weights of joints are one above zero for each joint");
   if (!fits(settings.posture, [](ZqReal q) { return std::abs(q) < 1e70; }))
      return rejectPosture("setSettings", "a posture is a finite number for each joint");
   m_settings = settings;
   return true;
}

bool ZqInverseKinematicsTool::setTargets(const std::vector<Target>& targets)
{
   if (!isCurrent())
      return rejectPosture("setTargets", "there is no manipulator, or it has changed");
   if (targets.empty())
      return rejectPosture("setTargets", "there are no targets");
   for (const Target& target : targets)
   {
      if (m_work->problem.manipulator().linkByIndex(target.link) == nullptr)
         return rejectPosture("setTargets", "a target is for a link that there is not");
      if (!isFrame(target.frame) || !isFrame(target.goal))
         return rejectPosture("setTargets", "a frame or a goal is no finite frame");
      if (!areWeights(target.positionWeights) || !areWeights(target.orientationWeights))
         return rejectPosture("setTargets", "weights are finite, and not below zero");
      if (target.positionWeights == ZqVector() && target.orientationWeights == ZqVector())
         return rejectPosture("setTargets", "a target asks for nothing");
   }
   m_work->problem.setTargets(targets);
   return true;
}

bool ZqInverseKinematicsTool::setGoal(ZqU32 target, const ZqCoordinateSystemTransformation& goal)
{
   if (!isCurrent() || target >= m_work->problem.targets().size())
      return rejectPosture("setGoal", "there is no such target");
   if (!isFrame(goal))
      return rejectPosture("setGoal", "the goal is no finite frame");
   m_work->problem.setGoal(target, goal);
   return true;
}

bool ZqInverseKinematicsTool::solve()
{
   return isCurrent() ? solve(m_work->scene->state().positionStates()[m_work->index])
                      : rejectPosture("solve", "there is no manipulator, or it has changed");
}

bool ZqInverseKinematicsTool::solve(const ZqPositionState& from)
{
   if (!isCurrent() || m_work->problem.targets().empty())
      return rejectPosture("solve", "there are no targets, or the manipulator has changed");
   const ZqU32 joints = m_work->problem.manipulator().jointDof();
   for (const ZqPositionState* position :
        {&from, &m_work->scene->state().positionStates()[m_work->index]})
      if (!placesJoints(*position, joints))
         return rejectPosture("solve", "a state does not place all of the manipulator");
   if (!m_work->prepare(m_settings))
      return false;
   m_answer.isSolved = m_answer.isPostureBest = m_answer.isBeyondReach = false;
   m_work->from = &from;
   m_work->search(m_answer);
   if (m_answer.obstacle != Obstacle::Loops)
      m_work->unwind();
   if (m_answer.isSolved && !m_settings.posture.empty())
      m_answer.isPostureBest = m_work->takePosture();
   m_work->report(m_answer);
   return true;
}
