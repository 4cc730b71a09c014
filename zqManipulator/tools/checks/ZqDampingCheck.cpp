#include "zqManipulator/tools/checks/ZqDampingCheck.h"

#include "zqManipulator/actuation/ZqMechanicalActuatorComponent.h"
#include "zqManipulator/dynamics/tools/ZqMotionBatch.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace
{
using namespace zqChecks;

/// Of the joints, those of rigid drives (N m s/rad, or N s/m); another one does not bear on its joint at once.
ZqRealVector frictionAtJoints(const ZqIndividualManipulator& manipulator)
{
   ZqRealVector result;
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const ZqJointActuator& drive = link->jointActuator();
      const ZqReal ratio = drive.gearRatio();
      result.push_back(drive.isRigid() ? ratio * ratio * drive.frictionCoefficient() : 0.0);
   }
   return result;
}

/// The fastest rate (1/s) at which the friction C slows a motion, and the joint that has most of it.
struct Decay
{
   ZqReal rate = 0.0;
   std::size_t joint = 0;
};

/// The greatest eigenvalue of M^-1 C, from below: by powers, with Rayleigh's quotient of C M^-1 C over C.
Decay fastestDecay(const ZqIndividualManipulator& manipulator, const ZqPositionState& state,
                   const ZqRealVector& friction)
{
   constexpr int powers = 30; // for a few percent, which is all that the bound is good for
   ZqMotionBatch batch(manipulator, ZqVector());
   const ZqVector& p = state.coordSysXForm().translation();
   const ZqOrientation& o = state.coordSysXForm().orientation();
   const std::array base{p[0], p[1], p[2], o[0], o[1], o[2], o[3]};
   const ZqMotionBatch::Input positions{state.jointPositions(), base};
   ZqRealVector velocities(friction.size(), 1.0), torques(friction.size()),
      accelerations(friction.size());
   Decay result;
   for (int i = 0; i < powers; ++i)
   {
      ZqReal power = 0.0, slowing = 0.0;
      for (std::size_t j = 0; j < friction.size(); ++j)
         power += velocities[j] * (torques[j] = friction[j] * velocities[j]);
      if (!batch.forwardDynamics(positions, {}, {torques}, {accelerations}))
         return {};
      ZqReal greatest = 0.0;
      for (std::size_t j = 0; j < friction.size(); ++j)
      {
         slowing += torques[j] * accelerations[j];
         if (std::abs(accelerations[j]) > greatest)
         {
            greatest = std::abs(accelerations[j]);
            result.joint = j;
         }
      }
      if (!(power > 0.0) || !std::isfinite(slowing) || !(greatest > 0.0))
         return {};
      result.rate = slowing / power;
      for (std::size_t j = 0; j < friction.size(); ++j)
         velocities[j] = accelerations[j] / greatest;
   }
   return result;
}
} // namespace

void zqChecks::checkDamping(Inspection& inspection, ZqU32 index, std::optional<ZqReal> step)
{
   constexpr ZqReal usualStep = 0.001;
   const ZqReal length = step.value_or(usualStep);
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   const ZqRealVector friction = frictionAtJoints(manipulator);
   const auto isDamped = [](ZqReal coefficient)
   { return coefficient > 0.0 && std::isfinite(coefficient); };
   if (!std::any_of(friction.begin(), friction.end(), isDamped))
      return;
   const Decay decay =
      fastestDecay(manipulator, inspection.state().positionStates()[index], friction);
   if (!(length * decay.rate >= 2.0))
      return;
   const ZqManipulatorLink& link = *manipulator.linkPointerVector()[decay.joint];
   inspection.report(
      step ? Severity::Warning : Severity::Note, "damping-step", pathOf(manipulator, link),
      "a step of " + rounded(length) +
         " s is too long for the viscous friction of its drive and the inertia that it moves: take "
         "one of " +
         rounded(roundedDown(1.0 / decay.rate)) + " s, or add inertia to the drive");
}
