#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/tools/control/ZqFifthOrderTrajectory.h"
#include "zqManipulator/tools/control/ZqTrapezoidalTrajectory.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace
{
bool refuseTrajectory(const char* what)
{
   Zq::Print::instance().write(Zq::Rejected, "A trajectory is refused: %s.\n", what);
   return false;
}

bool areFinite(const ZqRealVector& numbers)
{
   return std::all_of(numbers.begin(), numbers.end(), [](ZqReal x) { return std::isfinite(x); });
}

bool areLimits(const ZqRealVector& velocities, const ZqRealVector& accelerations,
               std::size_t joints)
{
   const auto isLimit = [](ZqReal limit) { return limit > 0.0; };
   if (velocities.size() != joints || accelerations.size() != joints)
      return refuseTrajectory("there is not one limit of velocity and acceleration for each joint");
   return (std::all_of(velocities.begin(), velocities.end(), isLimit) &&
           std::all_of(accelerations.begin(), accelerations.end(), isLimit)) ||
          refuseTrajectory("a limit is not above zero");
}

/// A list of rates that may be left out.
bool areRates(const ZqRealVector& rates, std::size_t joints)
{
   return (rates.empty() || rates.size() == joints) && areFinite(rates);
}

ZqReal rateOf(const ZqRealVector& rates, std::size_t joint)
{
   return rates.empty() ? 0.0 : rates[joint];
}

/// Position, velocity and acceleration.
struct Motion
{
   ZqReal p, v, a;
};

/// The coefficients of the polynomial that leads from one motion to another.
std::array<ZqReal, 6> polynomialBetween(const Motion& start, const Motion& end, ZqReal T)
{
   // What is left of the end for the powers from the third on, over powers of T.
   const ZqReal p = (end.p - start.p - (start.v + 0.5 * start.a * T) * T) / T;
   const ZqReal v = end.v - start.v - start.a * T;
   const ZqReal a = (end.a - start.a) * T;
   const ZqReal T2 = T * T;
   return {start.p,
           start.v,
           0.5 * start.a,
           (10.0 * p - 4.0 * v + 0.5 * a) / T2,
           (-15.0 * p + 7.0 * v - a) / (T2 * T),
           (6.0 * p - 3.0 * v + 0.5 * a) / (T2 * T2)};
}

Motion valueOf(const std::array<ZqReal, 6>& c, ZqReal t)
{
   return {c[0] + t * (c[1] + t * (c[2] + t * (c[3] + t * (c[4] + t * c[5])))),
           c[1] + t * (2.0 * c[2] + t * (3.0 * c[3] + t * (4.0 * c[4] + t * 5.0 * c[5]))),
           2.0 * c[2] + t * (6.0 * c[3] + t * (12.0 * c[4] + t * 20.0 * c[5]))};
}

/// How long a joint accelerates, and how long it takes in all (s).
struct Profile
{
   ZqReal ramp, duration;
};

Profile fastestProfile(ZqReal distance, ZqReal velocity, ZqReal acceleration)
{
   const ZqReal d = std::abs(distance);
   // Over v^2 / a the joint comes to its highest velocity.
   if (velocity / acceleration * velocity < d)
      return {velocity / acceleration, d / velocity + velocity / acceleration};
   const ZqReal ramp = std::sqrt(d / acceleration);
   return {ramp, 2.0 * ramp};
}
} // namespace

void ZqBaseTrajectory::evaluate(ZqReal time, ZqTrajectoryPoint& point) const
{
   point.positions.resize(jointCount());
   point.velocities.resize(jointCount());
   point.accelerations.resize(jointCount());
   const ZqReal T = duration();
   evaluateWithin(time > 0.0 ? std::min(time, T) : 0.0, point);
   if (time >= 0.0 && time <= T)
      return;
   std::fill(point.velocities.begin(), point.velocities.end(), 0.0);
   std::fill(point.accelerations.begin(), point.accelerations.end(), 0.0);
}

// Of fifth order

bool ZqFifthOrderTrajectory::set(const ZqTrajectoryPoint& start, const ZqTrajectoryPoint& end,
                                 ZqReal duration)
{
   const std::size_t joints = start.positions.size();
   if (end.positions.size() != joints)
      return refuseTrajectory("start and end are not of the same joints");
   if (!(duration > 0.0 && std::isfinite(duration)))
      return refuseTrajectory("its duration is not finite and above zero");
   for (const ZqTrajectoryPoint* point : {&start, &end})
      if (!areFinite(point->positions) || !areRates(point->velocities, joints) ||
          !areRates(point->accelerations, joints))
         return refuseTrajectory(
            "an end has a number that is not finite, or not as many for each joint");
   std::vector<Joint> result(joints);
   for (std::size_t i = 0; i < joints; ++i)
   {
      const auto motionOf = [i](const ZqTrajectoryPoint& point, ZqReal sense)
      {
         return Motion{point.positions[i], sense * rateOf(point.velocities, i),
                       rateOf(point.accelerations, i)};
      };
      result[i].fromStart = polynomialBetween(motionOf(start, 1.0), motionOf(end, 1.0), duration);
      result[i].fromEnd = polynomialBetween(motionOf(end, -1.0), motionOf(start, -1.0), duration);
      for (const auto& coefficients : {result[i].fromStart, result[i].fromEnd})
         if (!std::all_of(coefficients.begin(), coefficients.end(),
                          [](ZqReal c) { return std::isfinite(c); }))
            return refuseTrajectory("its ends are too far from each other for its duration");
   }
   m_duration = duration;
   m_joints = std::move(result);
   return true;
}

ZqReal ZqFifthOrderTrajectory::leastDuration(const ZqRealVector& start, const ZqRealVector& end,
                                             const ZqRealVector& velocityLimits,
                                             const ZqRealVector& accelerationLimits)
{
   constexpr ZqReal none = std::numeric_limits<ZqReal>::quiet_NaN();
   if (end.size() != start.size() || !areFinite(start) || !areFinite(end))
      return refuseTrajectory("its ends are not finite, or not of the same joints"), none;
   if (!areLimits(velocityLimits, accelerationLimits, start.size()))
      return none;
   ZqReal duration = 0.0;
   for (std::size_t i = 0; i < start.size(); ++i)
   {
      const ZqReal distance = std::abs(end[i] - start[i]);
      duration = std::max({duration, 15.0 / 8.0 * distance / velocityLimits[i],
                           std::sqrt(10.0 / std::sqrt(3.0) * distance / accelerationLimits[i])});
   }
   return duration;
}

void ZqFifthOrderTrajectory::evaluateWithin(ZqReal time, ZqTrajectoryPoint& point) const
{
   const bool isFirstHalf = time <= 0.5 * m_duration;
   for (std::size_t i = 0; i < m_joints.size(); ++i)
   {
      const Motion motion = isFirstHalf ? valueOf(m_joints[i].fromStart, time)
                                        : valueOf(m_joints[i].fromEnd, m_duration - time);
      point.positions[i] = motion.p;
      point.velocities[i] = isFirstHalf ? motion.v : -motion.v;
      point.accelerations[i] = motion.a;
   }
}

// Trapezoidal

bool ZqTrapezoidalTrajectory::set(const std::vector<ZqRealVector>& wayPoints,
                                  const ZqRealVector& velocityLimits,
                                  const ZqRealVector& accelerationLimits)
{
   if (wayPoints.empty())
      return refuseTrajectory("there is no way point");
   const std::size_t joints = wayPoints.front().size();
   for (const ZqRealVector& point : wayPoints)
      if (point.size() != joints || !areFinite(point))
         return refuseTrajectory("a way point is not finite, or not of the same joints");
   if (!areLimits(velocityLimits, accelerationLimits, joints))
      return false;

   ZqTrapezoidalTrajectory result;
   result.m_jointCount = static_cast<ZqU32>(joints);
   result.m_times.assign(1, 0.0);
   result.m_moves.resize(wayPoints.size() * joints);
   for (std::size_t s = 0; s < wayPoints.size(); ++s)
   {
      const ZqRealVector& start = wayPoints[s];
      const ZqRealVector& end = wayPoints[std::min(s + 1, wayPoints.size() - 1)];
      const auto fastestOf = [&](std::size_t i)
      { return fastestProfile(end[i] - start[i], velocityLimits[i], accelerationLimits[i]); };
      ZqReal longest = 0.0;
      for (std::size_t i = 0; i < joints; ++i)
         longest = std::max(longest, fastestOf(i).duration);
      for (std::size_t i = 0; i < joints; ++i)
      {
         const Profile fastest = fastestOf(i);
         const ZqReal ramp = fastest.ramp * (longest / fastest.duration);
         const bool isStill = end[i] == start[i];
         result.move(s, i) = {start[i], end[i],
                              isStill ? 0.0 : (end[i] - start[i]) / (longest - ramp),
                              isStill ? 0.0 : ramp};
      }
      if (s + 1 < wayPoints.size())
         result.m_times.push_back(result.m_times.back() + longest);
   }
   if (!std::isfinite(result.duration()))
      return refuseTrajectory("way points are too far from each other");
   *this = std::move(result);
   return true;
}

void ZqTrapezoidalTrajectory::evaluateWithin(ZqReal time, ZqTrajectoryPoint& point) const
{
   if (m_times.empty())
      return;
   // The segment that begins last; the one after the last way point rests.
   const auto next = std::upper_bound(m_times.begin(), m_times.end(), time);
   const auto s = static_cast<std::size_t>(next - m_times.begin()) - 1;
   const ZqReal T = next == m_times.end() ? 0.0 : *next - m_times[s];
   const ZqReal fromStart = time - m_times[s];
   const bool isFirstHalf = fromStart <= 0.5 * T;
   const ZqReal t = isFirstHalf ? fromStart : *next - time;
   for (std::size_t i = 0; i < m_jointCount; ++i)
   {
      const Move& move = m_moves[s * m_jointCount + i];
      const bool isRamp = t < move.ramp && move.velocity != 0.0;
      const ZqReal way =
         isRamp ? 0.5 * move.velocity * t * t / move.ramp : move.velocity * (t - 0.5 * move.ramp);
      point.positions[i] = isFirstHalf ? move.start + way : move.end - way;
      point.velocities[i] = isRamp ? move.velocity * t / move.ramp : move.velocity;
      const ZqReal a = isRamp ? move.velocity / move.ramp : 0.0;
      point.accelerations[i] = isFirstHalf ? a : -a;
   }
}
