#pragma once

#include "zqManipulator/tools/control/ZqBaseTrajectory.h"

#include <vector>

/// Joints that go from way point to way point, at rest in each, as fast as limits allow: a constant acceleration, a
/// constant velocity, and the same backwards (Lynch and Park 2017, section 9.2.2.2). A joint that does not come to
/// its highest velocity has no middle part.
///
/// Between two way points the joint that takes longest sets the time; the others move by their own fastest profile,
/// stretched in time, so that all start and stop together and their velocities and accelerations are lower.
class ZqTrapezoidalTrajectory : public ZqBaseTrajectory
{
public:
   /// The motion through way points, a row of joint positions (rad or m) each, within limits by joint of velocity
   /// (rad/s or m/s) and acceleration (rad/s^2 or m/s^2). False, with a message and no change, without any way
   /// point, when lists are not of the same length, a position is not finite, or a limit is not above zero.
   bool set(const std::vector<ZqRealVector>& wayPoints, const ZqRealVector& velocityLimits,
            const ZqRealVector& accelerationLimits);

   ZqU32 jointCount() const override { return m_jointCount; }
   ZqReal duration() const override { return m_times.empty() ? 0.0 : m_times.back(); }
   /// When it is at each way point (s since the start).
   const ZqRealVector& times() const noexcept { return m_times; }

private:
   /// A joint between two way points. The velocity v rises in a time r, and falls in such a time.
   struct Move
   {
      ZqReal start, end;
      ZqReal velocity;
      ZqReal ramp;
   };

   Move& move(std::size_t segment, std::size_t joint)
   {
      return m_moves[segment * m_jointCount + joint];
   }
   void evaluateWithin(ZqReal time, ZqTrajectoryPoint& point) const override;

   ZqU32 m_jointCount = 0;
   ZqRealVector m_times;
   std::vector<Move>
      m_moves; ///< all joints of a segment, then of the next; one that rests in the last point
};
