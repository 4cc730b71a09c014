// Has the hand of the PUMA 560 follow a line with its orientation kept: inverse kinematics, each point from the
// posture of the one before.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <iomanip>
#include <iostream>

int main(int argumentCount, char** arguments)
{
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/models/puma560.xml"))
      return 1;
   const ZqIndividualManipulator& arm = *scene.manipulatorByIndex(0);
   const ZqU32 flange = arm.linkIndexByIdentifier("flange");
   ZqPositionState position = scene.state().positionStates()[0];

   ZqInverseKinematicsTool tool;
   const ZqOrientation down = ZqOrientation::xRotation(ZqMath::pi);
   const ZqVector from(0.5, -0.3, 0.1);
   const ZqVector to(0.5, 0.3, 0.3);
   if (!tool.setManipulator(scene, 0) ||
       !tool.setTargets({ZqInverseKinematicsTool::Target::pose(flange, {from, down})}))
      return 1;

   ZqReal worst = 0.0;
   ZqManipulatorActiveState active;
   std::cout << "  part  joint positions (rad)\n" << std::fixed << std::setprecision(4);
   for (int i = 0; i <= 10; ++i)
   {
      const ZqVector point = from + (to - from) * (0.1 * i);
      if (!tool.setGoal(0, {point, down}) || !tool.solve(position) || !tool.answer().isSolved)
         return 1;
      position = tool.answer().position;
      std::cout << std::setw(6) << 0.1 * i;
      for (const ZqReal q : position.jointPositions())
         std::cout << std::setw(9) << q;
      std::cout << '\n';
      // Where the links are by the model itself.
      active.setPositionState(position);
      const ZqCoordinateSystemTransformation hand =
         arm.linkByIndex(flange)->primaryFrameInSystem(active.activePositionState());
      worst = std::max({worst, (hand.translation() - point).mag(),
                        (down.inverse() * hand.orientation()).vectorPart().mag()});
   }
   std::cout << std::scientific << "the hand is off by up to " << worst << ", should be 0\n";
   return worst < 1e-12 ? 0 : 1;
}
