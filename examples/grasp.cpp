// A gripper takes a block, lifts it, carries it aside and puts it on a brick. Motors of direct current do it, by
// voltages from a table; friction is all that holds the block. The program compares with what follows from the
// numbers of the model:
//
// - a finger presses with what its motor makes, but for what dry friction in its drive keeps;
// - with kt, the stiffness of a contact along the pad, the block sags between the fingers by m g / (2 kt);
// - with k, that of a contact across it, what rests has sunk in by its weight / k.

#include "zqManipulator/zqManipulator.h"

#include <cmath>
#include <iomanip>
#include <iostream>

namespace
{
// By their places in the scene, and in the gripper.
constexpr ZqU32 gripper = 2;
constexpr ZqU32 block = 3;
constexpr ZqU32 brick = 4;
constexpr ZqU32 carriage = 0;
constexpr ZqSimulation::Place finger{gripper, 2};

// Two surfaces are springs in series, and softer along than across: those of steel and concrete have 5e4 N/m, the
// pads of rubber 3e4 N/m.
constexpr ZqReal k = 5e4 / 2.0;
constexpr ZqReal kt = 0.8 * 5e4 * 3e4 / (5e4 + 3e4);

ZqReal lift(const ZqSimulation& simulation)
{
   return simulation.state().positionStates()[gripper].jointPositions()[carriage];
}
ZqVector place(const ZqSimulation& simulation)
{
   return simulation.state().positionStates()[block].coordSysXForm().translation();
}
ZqReal height(const ZqSimulation& simulation)
{
   return place(simulation).z();
}
ZqReal weight(const ZqSimulation& simulation, ZqU32 body)
{
   const ZqManipulatorLink& base = *simulation.linkAt({body, ZqBaseLinkIndex});
   return base.massProperties().mass() * simulation.system().environment().upGravityVector().z();
}
/// Of the motor, on the finger (N).
ZqReal drivingForce(ZqSimulation& simulation)
{
   const ZqReal gearRatio = simulation.linkAt(finger)->jointActuator().gearRatio();
   return -gearRatio * simulation.motorTorques(gripper).jointTorques()[finger.link];
}
/// Of the finger, on the block (N).
ZqReal grip(ZqSimulation& simulation)
{
   for (const ZqSimulation::Contact& contact : simulation.contacts())
      if (contact.first.manipulator == gripper && contact.first.link == finger.link)
         return contact.normalForce;
   return 0.0;
}

bool isNear(const char* what, ZqReal value, ZqReal expected, ZqReal tolerance)
{
   std::cout << what << value << ", should be " << expected << '\n';
   return std::abs(value - expected) <= tolerance;
}
} // namespace

int main(int argumentCount, char** arguments)
{
   const ZqString folder = argumentCount > 1 ? arguments[1] : "examples/models";
   ZqStatedSystem scene;
   ZqInputTable voltages;
   if (!Zq::load(scene, folder + "/grasp.xml") ||
       !voltages.load(folder + "/grasp.csv", scene.system()))
      return 1;
   voltages.setInterpolation(ZqInputTable::Interpolation::Linear);
   ZqSimulation simulation(scene);
   ZqReal onTable = 0.0; // how high the block is above the lift
   ZqReal sag = 0.0, pressing = 0.0, driving = 0.0;
   std::cout << "time (s)  lift (m)  block aside, up (m)  grip (N)\n"
             << std::fixed << std::setprecision(3);
   for (int step = 1; step <= 8000; ++step)
   {
      voltages.apply(simulation, 1e-3 * step);
      if (!simulation.stepTo(1e-3 * step))
         return 1;
      if (step == 2000) // held, and still on the table
         onTable = height(simulation) - lift(simulation);
      if (step == 4200) // between the fingers alone
      {
         sag = onTable - (height(simulation) - lift(simulation));
         pressing = grip(simulation);
         driving = drivingForce(simulation);
      }
      if (step % 500 == 0)
         std::cout << std::setw(8) << simulation.state().time() << std::setw(10) << lift(simulation)
                   << std::setw(13) << place(simulation).y() << std::setw(8) << height(simulation)
                   << std::setw(10) << grip(simulation) << '\n';
   }

   const ZqMechanicalActuatorComponent& drive =
      *simulation.linkAt(finger)->jointActuator().mechanicalComponentContainer().topElement();
   const ZqReal kept = drive.gearRatio() * drive.staticCoulombFriction();
   const ZqReal w = weight(simulation, block);
   // The top of the table, the brick and half of the block.
   const ZqReal stacked = 0.75 + 0.05 + 0.5 * 0.05 - w / k - (w + weight(simulation, brick)) / k;
   std::cout << std::defaultfloat << std::setprecision(6) << "dry friction keeps " << kept
             << " N of a finger at most\n";
   const bool isHeld = isNear("a finger presses with (N) ", pressing, driving, kept);
   const bool hasSagged = isNear("the block has sagged by (m) ", sag, w / (2.0 * kt), 1e-7);
   const bool isPutDown = isNear("on the brick it is at (m) ", height(simulation), stacked, 1e-7);
   return isHeld && hasSagged && isPutDown ? 0 : 1;
}
