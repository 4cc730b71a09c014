#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqAccelerationState.h"
#include "zqManipulator/state/ZqPositionState.h"
#include "zqManipulator/state/ZqVelocityState.h"

#include <algorithm>
#include <cmath>

namespace
{
/// Whether a step is one; else a message of the operation says so.
bool isStep(ZqReal dt, const char* operation)
{
   if (std::isfinite(dt))
      return true;
   Zq::Print::instance().write(
      Zq::Rejected, "ZqIndividualManipulator::%s(): the step, %g, is not finite.\n", operation, dt);
   return false;
}

/// Tells whether joints move towards limits that depend on several joints, beyond which the position is.
void tellOfLimits(const std::vector<ZqManipulatorLink*>& links, std::size_t count,
                  const ZqReal* rates, const ZqPositionState& position,
                  ZqPropagationResultData& results)
{
   for (std::size_t i = 0; i < count; ++i)
   {
      const ZqBaseStateConstraint* const upper =
         links[i]->upperLimitConstraintContainer().topElement();
      const ZqBaseStateConstraint* const lower =
         links[i]->lowerLimitConstraintContainer().topElement();
      if ((upper != nullptr && rates[i] > 0.0 && upper->evaluate(position) < 0.0) ||
          (lower != nullptr && rates[i] < 0.0 && lower->evaluate(position) < 0.0))
      {
         results.setHitJointLimit(true);
         results.setLinkIndexAtJointLimit(static_cast<ZqU32>(i));
      }
   }
}

/// What limits the joints of a model without drives, whose links need not be touched then.
constexpr ZqReal withoutDrive = 1e300;
} // namespace

void ZqIndividualManipulator::propagateState(const ZqVelocityState& velocity, ZqReal dt,
                                             ZqPositionState& position,
                                             ZqPropagationResultData& results) const
{
   if (!isStep(dt, "propagateState"))
      return;
   const LinkPointerVector& links = linkPointerVector();
   const bool anyDrive = motionPlan().anyDrive;
   const auto count = std::min<std::size_t>(
      {links.size(), velocity.jointVelocities().size(), position.jointPositions().size()});
   const ZqReal* const rates = velocity.jointVelocities().values().data();
   ZqReal* const joints = position.jointPositions().values().data();
   const auto stopAt = [&](std::size_t joint, ZqReal limit)
   {
      results.setHitJointLimit(true);
      results.setLinkIndexAtJointLimit(static_cast<ZqU32>(joint));
      joints[joint] = limit;
   };
   for (std::size_t i = 0; i < count; ++i)
   {
      // Only the limit ahead is asked for. Links below the base are plain ones.
      const ZqJointActuator* const drive =
         anyDrive ? &links[i]->ZqManipulatorLink::jointActuator() : nullptr;
      const ZqReal rate = rates[i];
      const ZqReal q = dt * rate + joints[i];
      joints[i] = q;
      if (rate > 0.0)
      {
         const ZqReal upper =
            drive != nullptr ? drive->ZqJointActuator::upperLimit() : withoutDrive;
         if (upper < q)
            stopAt(i, upper);
      }
      else if (rate < 0.0)
      {
         const ZqReal lower =
            drive != nullptr ? drive->ZqJointActuator::lowerLimit() : -withoutDrive;
         if (q < lower)
            stopAt(i, lower);
      }
   }
   if (motionPlan().anyLimitConstraint)
      tellOfLimits(links, count, rates, position, results);
   if (isFixedBase())
      return;

   // The base frame stands where the manipulator is placed, its velocity in the system.
   const ZqGeneralMotion& baseVelocity = velocity.generalVelocity();
   const ZqOrientation toPlace = coordSysXForm().orientation().inverse();
   position.coordSysXForm().integrateReferenceFrameVelocity(
      {toPlace * baseVelocity.linear(), toPlace * baseVelocity.angular()}, dt);
}

void ZqIndividualManipulator::propagateState(const ZqVelocityState& velocity, ZqReal dt,
                                             ZqPositionState& position) const
{
   ZqPropagationResultData dropped;
   propagateState(velocity, dt, position, dropped);
}

void ZqIndividualManipulator::propagateVelocityState(const ZqAccelerationState& acceleration,
                                                     ZqReal dt, ZqVelocityState& velocity) const
{
   if (!isStep(dt, "propagateVelocityState"))
      return;
   const LinkPointerVector& links = linkPointerVector();
   const bool anyDrive = motionPlan().anyDrive;
   const auto count = std::min<std::size_t>(
      {links.size(), acceleration.jointAccelerations().size(), velocity.jointVelocities().size()});
   const ZqReal* const accelerations = acceleration.jointAccelerations().values().data();
   ZqReal* const rates = velocity.jointVelocities().values().data();
   for (std::size_t i = 0; i < count; ++i)
   {
      const ZqReal most =
         anyDrive ? links[i]->ZqManipulatorLink::jointActuator().ZqJointActuator::maxOutputRate()
                  : withoutDrive;
      ZqReal rate = dt * accelerations[i] + rates[i];
      if (most <= rate)
         rate = most;
      if (rate <= -most)
         rate = -most;
      rates[i] = rate;
   }
   if (isFixedBase())
      velocity.setGeneralVelocity(ZqGeneralMotion());
   else
      velocity.generalVelocity() += acceleration.generalAcceleration() * dt;
}
