#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

/// Where joints are to be at one time, in the order of the link indices. Rates that are left out, all of a
/// list, are zeros.
struct ZqTrajectoryPoint
{
   ZqRealVector positions;     ///< rad or m
   ZqRealVector velocities;    ///< rad/s or m/s
   ZqRealVector accelerations; ///< rad/s^2 or m/s^2

   /// So many joints at rest at zero.
   void assignZeros(ZqU32 joints)
   {
      for (ZqRealVector* list : {&positions, &velocities, &accelerations})
         list->assign(joints, 0.0);
   }
};

/// A motion of one or several joints over time, in closed form: any time may be asked for, in any order.
///
/// Before its start and after its end a trajectory rests: at the position there, with rates of zero. At both
/// times themselves it answers the end that it was given, to the bit. A time that is NaN counts as before its start.
class ZqBaseTrajectory
{
public:
   virtual ~ZqBaseTrajectory() = default;

   /// The number of joints; zero for a trajectory that was not given any motion.
   virtual ZqU32 jointCount() const = 0;
   /// In s.
   virtual ZqReal duration() const = 0;
   /// Fills a point at a time since the start (s), with all rates. Allocates nothing once the point has its size.
   void evaluate(ZqReal time, ZqTrajectoryPoint& point) const;

protected:
   ZqBaseTrajectory() = default;
   ZqBaseTrajectory(const ZqBaseTrajectory&) = default;
   ZqBaseTrajectory& operator=(const ZqBaseTrajectory&) = default;
   /// At a time between 0 and the duration, both included; the point has its size.
   virtual void evaluateWithin(ZqReal time, ZqTrajectoryPoint& point) const = 0;
};
