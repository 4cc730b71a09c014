// Builds a trolley on a rail and a pendulum, and puts the pendulum on the trolley: as a part of it, and attached to
// it. Both move alike.

#include "zqManipulator/zqManipulator.h"

#include <cmath>
#include <iostream>

namespace
{
/// A link on a fixed base.
ZqIndividualManipulator oneLink(const ZqString& label, const ZqString& linkLabel,
                                const ZqDenavitHartenberg& joint,
                                const ZqRigidBodyMassProperties& mass)
{
   ZqManipulatorLink link;
   link.setLinkLabel(linkLabel);
   link.setLinkKinematics(joint);
   link.setMassProperties(mass);
   ZqIndividualManipulator manipulator;
   manipulator.setManipulatorLabel(label);
   manipulator.addChild(link);
   return manipulator;
}

/// Where the first joint is after half a second.
ZqReal positionAtEnd(const ZqStatedSystem& scene)
{
   ZqSimulation simulation(scene);
   for (int step = 1; step <= 500; ++step)
      simulation.stepTo(0.001 * step);
   return simulation.state().positionStates()[0].jointPositions()[0];
}
} // namespace

int main()
{
   // A rail along the x axis of the base, and on it 2 kg.
   ZqDenavitHartenberg rail;
   rail.setDhType(ZqDenavitHartenberg::General);
   rail.setJointType(ZqDenavitHartenberg::Prismatic);
   rail.setPrecursor(ZqOrientation(0.5, 0.5, 0.5, 0.5));
   rail.setPrimaryFrame(ZqOrientation(0.5, -0.5, -0.5, -0.5));

   // A hinge about the y axis of the base, and on it 1 kg at the end of a rod of 1 m, which hangs at zero.
   ZqDenavitHartenberg hinge;
   hinge.setDhType(ZqDenavitHartenberg::General);
   hinge.setPrecursor(ZqOrientation(0.5, 0.5, 0.5, -0.5));
   ZqRigidBodyMassProperties bob = ZqRigidBodyMassProperties::pointMass(1.0);
   bob.transformBy(ZqVector(1.0, 0.0, 0.0));

   ZqSystemEnvironment environment;
   environment.setUpGravityVector(ZqVector(0.0, 0.0, 9.80665));
   ZqPositionState swung;
   swung.setJointPositions({1.0});

   ZqStatedSystem scene;
   scene.setEnvironment(environment);
   scene.addManipulator(
      oneLink("trolley", "cart", rail, ZqRigidBodyMassProperties::pointMass(2.0)));
   scene.addManipulator(oneLink("pendulum", "rod", hinge, bob), swung, ZqVelocityState());

   ZqStatedSystem combined(scene);
   combined.combineManipulator("pendulum", "trolley", "cart", {});
   combined.keepCombinations();
   ZqStatedSystem attached(scene);
   attached.attachManipulator("pendulum", "trolley", "cart", {}, "hook");
   if (!Zq::save(combined, "combined.xml") || !Zq::save(attached, "attached.xml"))
      return 1;

   const ZqReal first = positionAtEnd(combined);
   const ZqReal second = positionAtEnd(attached);
   std::cout << "combined, the cart comes to " << first << " m; attached, to " << second << " m\n";
   return std::abs(first) > 0.01 && std::abs(first - second) < 1e-12 ? 0 : 1;
}
