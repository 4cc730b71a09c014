#include <zqManipulator/zqManipulator.h>

#include <iostream>

int main()
{
   // An arm of two links, 0.4 m and 0.3 m, whose joints turn about z (Paul's convention).
   ZqDenavitHartenberg joint;
   joint.setDhA(0.4);
   ZqManipulatorLink upperArm;
   upperArm.setLinkLabel("upperArm");
   upperArm.setLinkKinematics(joint);
   joint.setDhA(0.3);
   ZqManipulatorLink forearm;
   forearm.setLinkLabel("forearm");
   forearm.setLinkKinematics(joint);

   ZqIndividualManipulator arm;
   arm.setManipulatorLabel("arm");
   arm.addChild(upperArm);
   arm.addLinkToEndOfChain(forearm);

   // A scene with that arm, and its state: 0.5 rad at the shoulder, 1 rad at the elbow.
   ZqStatedSystem scene;
   scene.setFromManipulator(arm);
   ZqPositionState position;
   position.setJointPositions({0.5, 1.0});
   scene.setIndividualPositionState(0, position);

   // What follows from a state is kept beside it, and computed when it is asked for.
   ZqManipulatorActiveState active;
   active.setPositionState(scene.state().positionStates()[0]);
   const ZqManipulatorLink* hand = scene.manipulatorByIndex(0)->linkByIdentifier("forearm");
   const ZqVector p = hand->dhFrameInSystem(active.activePositionState()).translation();
   std::cout << "the hand is at (" << p.x() << ", " << p.y() << ")\n";

   // Written to a document and read back, exactly.
   ZqStatedSystem copy;
   const bool good = Zq::save(scene, "arm.xml") && Zq::load(copy, "arm.xml");
   return good && copy == scene ? 0 : 1;
}
