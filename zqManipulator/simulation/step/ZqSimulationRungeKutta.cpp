#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <array>

namespace
{
/// The rate of the rotation vector u by which an orientation has turned, exp(u) R, when it turns with an
/// angular velocity in outer axes: the inverse of the derivative of the exponential map, up to the
/// terms that a method of fourth order needs (Munthe-Kaas 1998).
ZqVector rateOfTurn(const ZqVector& u, const ZqVector& omega)
{
   const ZqVector first = u.cross(omega);
   return omega - first * 0.5 + u.cross(first) * (1.0 / 12.0);
}
} // namespace

/// The classical tableau of four stages: how far each leads on to the next, and its share of the step.
bool ZqSimulation::stepByRungeKutta(ZqReal dt)
{
   struct Stage
   {
      ZqReal reach;
      ZqReal share;
   };
   constexpr std::array<Stage, 4> stages{
      {{0.5, 1.0 / 6.0}, {0.5, 1.0 / 3.0}, {1.0, 1.0 / 3.0}, {0.0, 1.0 / 6.0}}};
   for (Member& member : m_members)
   {
      member.trial = member.start;
      member.turn = member.turnSum = member.angularSlopeSum = ZqVector();
      std::fill(member.rateSum.begin(), member.rateSum.end(), 0.0);
      std::fill(member.slopeSum.begin(), member.slopeSum.end(), 0.0);
   }
   ZqReal reached = 0.0;
   for (std::size_t stage = 0; stage < stages.size(); ++stage)
   {
      // The accelerations of the first are there.
      if (stage > 0)
      {
         moveTo(&Member::trial);
         if (!isStateFarFromOverflow())
            return false;
         computeTrialAccelerations(m_state.time() + reached * dt);
         for (ZqU32 i = 0; i < m_members.size(); ++i)
            readSlopes(i);
      }
      reached = stages[stage].reach;
      for (Member& member : m_members)
         addStage(member, stages[stage].share * dt, reached * dt);
   }
   for (Member& member : m_members)
   {
      for (std::size_t k = 0; k < member.size(); ++k)
      {
         member.end.positions[k] = member.start.positions[k] + member.rateSum[k];
         member.end.rates[k] = member.start.rates[k] + member.slopeSum[k];
      }
      member.end.orientation =
         ZqOrientation::exponential(member.turnSum) * member.start.orientation;
      member.end.orientation.normalize();
      member.end.angular = member.start.angular + member.angularSlopeSum;
   }
   moveTo(&Member::end);
   return true;
}

/// Adds the slopes of the trial to the sums, and moves the trial to the next stage. Both are times (s).
void ZqSimulation::addStage(Member& member, ZqReal share, ZqReal reach)
{
   Motion& trial = member.trial;
   for (std::size_t k = 0; k < member.size(); ++k)
   {
      member.rateSum[k] += share * trial.rates[k];
      member.slopeSum[k] += share * member.slopes[k];
      trial.positions[k] = member.start.positions[k] + reach * trial.rates[k];
      trial.rates[k] = member.start.rates[k] + reach * member.slopes[k];
   }
   const ZqVector rate = rateOfTurn(member.turn, trial.angular);
   member.turnSum += rate * share;
   member.angularSlopeSum += member.angularSlope * share;
   member.turn = rate * reach;
   trial.orientation = ZqOrientation::exponential(member.turn) * member.start.orientation;
   trial.angular = member.start.angular + member.angularSlope * reach;
}
