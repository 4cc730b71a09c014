#include "zqManipulator/tools/control/ZqTorquesAlong.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/step/ZqInputTable.h"
#include "zqManipulator/tools/control/ZqComputedTorqueController.h"

#include <cmath>

bool Zq::torquesAlong(const ZqBaseTrajectory& trajectory, const ZqStatedSystem& scene,
                      ZqU32 manipulator, ZqReal timeStep, ZqInputTable& table)
{
   constexpr ZqReal mostLines = 1e7;
   const ZqReal duration = trajectory.duration();
   if (!(timeStep > 0.0 && duration / timeStep < mostLines))
   {
      Zq::Print::instance().write(
         Zq::Rejected, "Zq::torquesAlong: no table of %g s can be made in steps of %g s.\n",
         duration, timeStep);
      return false;
   }
   table = ZqInputTable::ofTorques(scene.system(), manipulator);
   table.setInterpolation(ZqInputTable::Interpolation::Linear);
   ZqComputedTorqueController controller(scene, manipulator);
   controller.setCompensatesFriction(true);
   ZqPositionState position;
   ZqVelocityState velocity;
   if (manipulator < scene.state().positionStates().size())
      position = scene.state().positionStates()[manipulator];
   ZqTrajectoryPoint point;
   const auto add = [&](ZqReal time)
   {
      trajectory.evaluate(time, point);
      position.jointPositions().values() = point.positions;
      velocity.jointVelocities().values() = point.velocities;
      return controller.update(position, velocity, point) &&
             table.addLine(scene.state().time() + time,
                           controller.motorTorques().jointTorques().values());
   };
   bool isGood = true;
   // A multiple of the step may be the end but for rounding.
   for (ZqReal line = 0.0; isGood && line * timeStep < duration * (1.0 - 1e-12); ++line)
      isGood = add(line * timeStep);
   return isGood && add(duration) && add(duration + timeStep);
}
