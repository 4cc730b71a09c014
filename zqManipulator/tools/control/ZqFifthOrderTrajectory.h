#pragma once

#include "zqManipulator/tools/control/ZqBaseTrajectory.h"

#include <array>
#include <vector>

/// Joints that go from one position, velocity and acceleration to another in a given time, each by a polynomial of
/// fifth order (Craig 2005, section 7.3): smooth up to the acceleration, and all at their ends together.
class ZqFifthOrderTrajectory : public ZqBaseTrajectory
{
public:
   /// The motion from one point to another in a time (s). False, with a message and no change, when the points are
   /// not of the same joints, when a number is not finite, and when the time is not above zero, or too short to be
   /// told in numbers.
   bool set(const ZqTrajectoryPoint& start, const ZqTrajectoryPoint& end, ZqReal duration);
   /// The least time (s) in which joints go from rest to rest within limits of velocity (rad/s or m/s) and
   /// acceleration (rad/s^2 or m/s^2): of the greatest of them over distance and time, 15/8 D/T and
   /// 10/sqrt(3) D/T^2. NaN, with a message, when lists are not of the same length, a position is not finite,
   /// or a limit is not above zero.
   static ZqReal leastDuration(const ZqRealVector& start, const ZqRealVector& end,
                               const ZqRealVector& velocityLimits,
                               const ZqRealVector& accelerationLimits);

   ZqU32 jointCount() const override { return static_cast<ZqU32>(m_joints.size()); }
   ZqReal duration() const override { return m_duration; }

private:
   /// Coefficients of the powers of the time from the start, and of the time that is left, which is counted
   /// backwards. Both are the same polynomial; each half of the time is asked of the one that is exact there.
   struct Joint
   {
      std::array<ZqReal, 6> fromStart, fromEnd;
   };

   void evaluateWithin(ZqReal time, ZqTrajectoryPoint& point) const override;

   std::vector<Joint> m_joints;
   ZqReal m_duration = 0.0;
};
