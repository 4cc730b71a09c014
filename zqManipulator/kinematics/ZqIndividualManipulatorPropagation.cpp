#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/ZqIndividualManipulator.h"
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
} // namespace

void ZqIndividualManipulator::propagateState(const ZqVelocityState& velocity, ZqReal dt,
                                             ZqPositionState& position,
                                             ZqPropagationResultData& results) const
{
   if (!isStep(dt, "propagateState"))
      return;
   const LinkPointerVector& links = linkPointerVector();
   const std::vector<ZqReal>& rates = velocity.jointVelocities().values();
   std::vector<ZqReal>& joints = position.jointPositions().values();
   const std::size_t count = std::min({links.size(), rates.size(), joints.size()});
   const auto stopAt = [&](std::size_t joint, ZqReal limit)
   {
      results.setHitJointLimit(true);
      results.setLinkIndexAtJointLimit(static_cast<ZqU32>(joint));
      joints[joint] = limit;
   };
   for (std::size_t i = 0; i < count; ++i)
   {
      // Links below the base are plain ones. Only the limit ahead is asked for.
      const ZqJointActuator& drive = links[i]->ZqManipulatorLink::jointActuator();
      const ZqReal rate = rates[i];
      joints[i] += dt * rate;
      if (rate > 0.0)
      {
         const ZqReal upper = drive.ZqJointActuator::upperLimit();
         if (upper < joints[i])
            stopAt(i, upper);
      }
      else if (rate < 0.0)
      {
         const ZqReal lower = drive.ZqJointActuator::lowerLimit();
         if (joints[i] < lower)
            stopAt(i, lower);
      }
   }
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
   m_propagationResult.reset();
   propagateState(velocity, dt, position, m_propagationResult);
}

void ZqIndividualManipulator::propagateVelocityState(const ZqAccelerationState& acceleration,
                                                     ZqReal dt, ZqVelocityState& velocity) const
{
   if (!isStep(dt, "propagateVelocityState"))
      return;
   const LinkPointerVector& links = linkPointerVector();
   const std::vector<ZqReal>& accelerations = acceleration.jointAccelerations().values();
   std::vector<ZqReal>& rates = velocity.jointVelocities().values();
   const std::size_t count = std::min({links.size(), accelerations.size(), rates.size()});
   for (std::size_t i = 0; i < count; ++i)
   {
      const ZqJointActuator& drive = links[i]->ZqManipulatorLink::jointActuator();
      const ZqReal most = drive.ZqJointActuator::maxOutputRate();
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
