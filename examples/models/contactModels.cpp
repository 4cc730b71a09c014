// The example models that touch something: all their links have shapes, and masses from them.

#include "contactModels.h"

#include "bodyParts.h"

#include <cmath>

namespace models
{
namespace
{
struct Gripper
{
   Parts carriage;
   ZqOrientation wayOfHand;
   ZqJointActuator lift, hand, finger;
};

/// A finger that slides to the left (1) or to the right (-1) of the hand, with a rubber pad inside that
/// reaches to the middle when the joint is at zero.
ZqManipulatorLink finger(const ZqString& label, ZqReal side, const Gripper& gripper)
{
   const ZqOrientation alongMinusY(0.5, 0.5, -0.5, 0.5);
   const Parts parts =
      Parts(label + "Jaw", steel,
            box(ZqVector(0.045, 0.013 * side, 0.0), ZqVector(0.09, 0.016, 0.03)))
         .add(label + "Pad", rubber,
              box(ZqVector(0.07, 0.0025 * side, 0.0), ZqVector(0.036, 0.005, 0.02)));
   return link(
      label,
      sliding(side > 0.0 ? alongY : alongMinusY, ZqVector(0.23, 0.0, 0.0), gripper.wayOfHand),
      parts, gripper.finger);
}

/// A carriage goes up a column, a hand along the carriage, and two fingers along the hand.
ZqIndividualManipulator gripperOnLift(const Gripper& gripper)
{
   const Parts post =
      Parts("foot", steel, box(ZqVector(-0.05, 0.0, 0.01), ZqVector(0.2, 0.24, 0.02)))
         .add("column", aluminium, box(ZqVector(-0.03, 0.0, 0.27), ZqVector(0.06, 0.08, 0.5)));
   const Parts handBody =
      Parts("bar", aluminium, box(ZqVector(0.1325, 0.0, 0.0), ZqVector(0.125, 0.03, 0.03)))
         .add("palm", housing, box(ZqVector(0.2125, 0.0, 0.0), ZqVector(0.035, 0.13, 0.034)));

   ZqManipulatorLink hand =
      link("hand", sliding(gripper.wayOfHand, ZqVector(), alongZ), handBody, gripper.hand);
   hand.addChild(finger("leftFinger", 1.0, gripper));
   hand.addChild(finger("rightFinger", -1.0, gripper));
   hand.addNamedPoint("grip", ZqVector(0.3, 0.0, 0.0));
   ZqManipulatorLink carriage =
      link("carriage", sliding(alongZ, ZqVector(0.0, 0.0, 0.03)), gripper.carriage, gripper.lift);
   carriage.addChild(hand);
   return manipulator("gripper", post, {carriage});
}

const Parts carriageBody("carriageBody", housing,
                         box(ZqVector(0.035, 0.0, 0.05), ZqVector(0.07, 0.1, 0.09)));

/// A motor of direct current, with what turns on its shaft.
struct DcMotor
{
   ZqReal voltage;        // V, the highest
   ZqReal resistance;     // ohm
   ZqReal inductance;     // H
   ZqReal torqueConstant; // N m / A
   ZqReal inertia;        // kg m^2
   ZqReal damping;        // N m s
   ZqReal dryFriction;    // N m
};
constexpr DcMotor servo{24.0, 1.0, 0.6e-3, 0.05, 2e-5, 2e-5, 0.01};
constexpr DcMotor fingerMotor{12.0, 3.0, 0.3e-3, 0.025, 1e-6, 1e-6, 0.002};

ZqJointActuator driven(const DcMotor& motor, ZqReal gearRatio, ZqReal lowerLimit, ZqReal upperLimit)
{
   ZqDcElectricMotor converter;
   converter.setArmatureResistance(motor.resistance);
   converter.setArmatureInductance(motor.inductance);
   converter.setTorqueConstant(motor.torqueConstant);
   const ZqReal stallTorque = motor.torqueConstant * motor.voltage / motor.resistance;
   converter.setMinTorque(-stallTorque);
   converter.setMaxTorque(stallTorque);

   ZqMechanicalActuatorComponent train;
   train.setLowerLimit(lowerLimit);
   train.setUpperLimit(upperLimit);
   train.setMaxOutputRate(motor.voltage / motor.torqueConstant / gearRatio);
   train.setInertia(motor.inertia);
   train.setGearRatio(gearRatio);
   train.setFrictionCoefficient(motor.damping);
   train.setStaticCoulombFriction(motor.dryFriction);
   train.setKineticCoulombFrictionPercentage(0.8);
   // What sticks does so by a spring and a damper that bring the shaft to rest within some 0.03 s.
   train.setLimitingVelocityStickRegion(1.0);
   train.setStaticCoulombSpringCoefficient(1e4 * motor.inertia);
   train.setStaticCoulombDamperCoefficient(200.0 * motor.inertia);
   ZqJointActuator actuator;
   actuator.setMechanicalComponent(train);
   actuator.setPowerConverter(converter);
   return actuator;
}

/// The table is the second manipulator of a scene, after the floor.
constexpr ZqReal tableHeight = 0.75;
ZqStatedSystem sceneWithTable()
{
   Parts table("top", wood, box(ZqVector(0.0, 0.0, tableHeight - 0.015), ZqVector(1.2, 0.8, 0.03)));
   for (const ZqReal x : {-0.55, 0.55})
      for (const ZqReal y : {-0.35, 0.35})
         table.add(ZqString(y > 0.0 ? "left" : "right") + (x > 0.0 ? "Front" : "Rear") + "Leg",
                   wood, box(ZqVector(x, y, 0.36), ZqVector(0.05, 0.05, 0.72)));
   ZqStatedSystem scene = sceneOnFloor();
   scene.addManipulator(manipulator("table", table, {}), position({}), rest(0));
   standFast(scene, 1);
   return scene;
}
} // namespace

ZqStatedSystem gripper()
{
   const auto drive = [](ZqReal upperLimit, ZqReal force, ZqReal rate, ZqReal damping)
   { return damped(strongDrive(0.0, upperLimit, force, rate), damping); };
   const Gripper gripper{carriageBody, alongX, drive(0.4, 80.0, 0.5, 100.0),
                         drive(0.15, 60.0, 0.5, 100.0), drive(0.045, 40.0, 0.15, 200.0)};
   ZqStatedSystem scene = sceneOnFloor();
   scene.addManipulator(gripperOnLift(gripper), position({0.0, 0.0, 0.04, 0.04}), rest(4));
   place(scene, freeBody("block", {"block", wood, box(0.05, 0.05, 0.05)}),
         ZqVector(0.4, 0.0, 0.025));
   standFast(scene, 1);
   return scene;
}

ZqStatedSystem grasp()
{
   // Turns of the motor by way of the joint (rad/m): a screw of 10 mm a turn, and behind gears of 8 a belt on a
   // pulley with a radius of 20 mm, and racks on pinions with one of 8 mm.
   constexpr ZqReal screw = 2.0 * std::numbers::pi / 0.01;
   constexpr ZqReal belt = 8.0 / 0.02;
   constexpr ZqReal rack = 8.0 / 0.008;
   Parts beam = carriageBody;
   beam.add("beam", housing, box(ZqVector(0.055, 0.0, 0.0), ZqVector(0.03, 0.44, 0.03)));
   ZqIndividualManipulator gripper =
      gripperOnLift({beam, alongY, driven(servo, screw, -0.01, 0.3), driven(servo, belt, -0.2, 0.2),
                     driven(fingerMotor, rack, 0.0, 0.045)});
   // The limits of the joints keep the links apart.
   ZqManipulatorSelfCollisionLinkMap pairs = gripper.selfCollisionLinkMap();
   pairs.unsetAllAsCollisionCandidates();
   gripper.setSelfCollisionLinkMap(pairs);

   ZqStatedSystem scene = sceneWithTable();
   const ZqVector foot(-0.2, 0.0, tableHeight);
   const ZqVector grip = foot + ZqVector(0.3, 0.0, 0.0);
   scene.addManipulator(gripper, position({0.1, -0.15, 0.04, 0.04}, foot), rest(4));
   standFast(scene, 2, 1);
   place(scene, freeBody("block", {"block", steel, box(0.05, 0.05, 0.05)}),
         grip + ZqVector(0.0, -0.15, 0.025));
   place(scene, freeBody("brick", {"brick", concrete, box(0.1, 0.1, 0.05)}),
         grip + ZqVector(0.0, 0.15, 0.025));
   return scene;
}

ZqStatedSystem tableTop()
{
   constexpr ZqReal top = tableHeight;
   ZqStatedSystem scene = sceneWithTable();
   const auto put = [&](const ZqString& label, const Parts& parts, const ZqVector& p, ZqReal turn) {
      place(scene, freeBody(label, parts), {p, ZqOrientation::zRotation(turn)});
   };
   put("crate", {"crate", wood, box(0.2, 0.15, 0.1)}, {-0.3, 0.1, top + 0.05}, 0.4);
   put("brick", {"brick", concrete, box(0.12, 0.06, 0.05)}, {-0.31, 0.1, top + 0.125}, 1.1);
   put("cube", {"cube", steel, box(0.04, 0.04, 0.04)}, {0.1, -0.2, top + 0.02}, 0.0);
   // A ramp of 30 degrees, whose origin is at its lower edge.
   std::vector<ZqVector> corners;
   for (const ZqReal y : {-0.04, 0.04})
      corners.insert(corners.end(), {{0.0, y, 0.0}, {0.12, y, 0.0}, {0.12, y, 0.0693}});
   put("wedge", {"wedge", wood, ZqConvexHull(corners)}, {0.3, 0.2, top}, -0.5);
   put("can",
       {"can", Material{"metal", 1000.0}, cylinder({0.0, 0.0, -0.06}, {0.0, 0.0, 0.06}, 0.033)},
       {0.35, -0.2, top + 0.06}, 0.0);
   // On its side, free to roll.
   put("roller", {"roller", aluminium, cylinder({0.0, -0.06, 0.0}, {0.0, 0.06, 0.0}, 0.03)},
       {0.02, 0.15, top + 0.03}, 0.3);
   return scene;
}

ZqStatedSystem mobileBase()
{
   constexpr ZqReal wheelRadius = 0.08;
   const Parts chassis("chassis", housing, box(0.5, 0.3, 0.12));
   const Parts wheelBody("tyre", rubber,
                         cylinder({0.0, -0.02, 0.0}, {0.0, 0.02, 0.0}, wheelRadius));
   std::vector<ZqManipulatorLink> children;
   for (const ZqReal x : {0.17, -0.17})
      for (const ZqReal y : {0.18, -0.18})
         children.push_back(
            link(ZqString(x > 0.0 ? "front" : "rear") + (y > 0.0 ? "Left" : "Right") + "Wheel",
                 turning(alongY, ZqVector(x, y, -0.05)), wheelBody,
                 strongDrive(-1e300, 1e300, 6.0, 15.0)));

   const auto limb = [](const ZqString& name, ZqReal length, ZqReal radius) {
      return Parts(name, housing, capsule({}, {0.0, 0.0, length}, radius));
   };
   const Parts turret("turret", housing, cylinder({}, {0.0, 0.0, 0.08}, 0.05));
   const Parts hand =
      Parts("handBody", housing, box({0.0, 0.0, 0.055}, {0.05, 0.09, 0.05}))
         .add("plate", aluminium, cylinder({0.0, 0.0, 0.08}, {0.0, 0.0, 0.09}, 0.025));
   children.push_back(chain({link("turret", turning(alongZ, ZqVector(0.12, 0.0, 0.06)), turret,
                                  strongDrive(-170.0 * degree, 170.0 * degree, 25.0, 2.5)),
                             link("upperArm", turning(alongY, ZqVector(0.0, 0.0, 0.12), alongZ),
                                  limb("upperArm", 0.25, 0.035), strongDrive(-2.0, 2.0, 40.0, 2.5)),
                             link("forearm", turning(alongY, ZqVector(0.0, 0.0, 0.25), alongY),
                                  limb("forearm", 0.2, 0.03), strongDrive(-2.6, 2.6, 20.0, 3.0)),
                             link("wrist", turning(alongY, ZqVector(0.0, 0.0, 0.2), alongY),
                                  limb("wrist", 0.06, 0.025), strongDrive(-2.0, 2.0, 8.0, 4.0)),
                             link("hand", turning(alongZ, ZqVector(0.0, 0.0, 0.06), alongY), hand,
                                  strongDrive(-175.0 * degree, 175.0 * degree, 4.0, 6.0))}));
   ZqIndividualManipulator robot = manipulator("robot", chassis, children);
   robot.setIsFixedBase(false);

   ZqStatedSystem scene = sceneOnFloor();
   // The wheels on the floor, and the arm folded over the chassis.
   scene.addManipulator(robot,
                        position({0.0, 0.0, 0.0, 0.0, 0.3, -0.6, 2.0, 0.9, 0.0},
                                 ZqVector(0.0, 0.0, wheelRadius + 0.05)),
                        rest(9));
   return scene;
}

ZqStatedSystem slope()
{
   const ZqReal frictionAngle = std::atan(0.45); // of wood on wood
   const Parts board("board", wood, box(ZqVector(0.0, 0.0, -0.02), ZqVector(3.0, 0.3, 0.04)));
   const Parts blockBody("block", wood, box(0.1, 0.1, 0.1));
   ZqStatedSystem scene = emptyScene();
   addInteraction(scene, contact());
   struct Ramp
   {
      const char* name;
      ZqReal part; // of the angle of friction
   };
   constexpr std::array<Ramp, 3> ramps{{{"gentle", 0.9}, {"limiting", 0.99}, {"steep", 1.1}}};
   ZqReal y = -0.5;
   for (const Ramp& ramp : ramps)
   {
      const ZqCoordinateSystemTransformation X(ZqVector(0.0, y, 1.0),
                                               ZqOrientation::yRotation(ramp.part * frictionAngle));
      const ZqString name = ramp.name;
      place(scene, manipulator(name + "Ramp", board, {}), X);
      place(scene, freeBody(name + "Block", blockBody),
            X * ZqCoordinateSystemTransformation(ZqVector(-1.2, 0.0, 0.05)));
      y += 0.5;
   }
   return scene;
}

ZqStatedSystem stack()
{
   // Softer than m g n^3 h / (4 b^2), 64 kN/m for ten cubes of 0.65 kg, it would fold up like a column.
   constexpr Material hardWood{"wood", 650.0, 1e6, 1.0};
   constexpr ZqReal side = 0.1;
   ZqStatedSystem scene = sceneOnFloor(Material{"concrete", 2400.0, 1e6});
   for (int i = 0; i < 10; ++i)
   {
      // Put down by hand: each some millimetres off, and turned a little.
      const ZqVector off(0.002 * ((7 * i) % 5 - 2), 0.002 * ((3 * i) % 5 - 2), side * (i + 0.5));
      place(scene,
            freeBody("box" + std::to_string(i + 1), {"cube", hardWood, box(side, side, side)}),
            {off, ZqOrientation::zRotation(0.05 * ((4 * i) % 5 - 2))});
   }
   return scene;
}

ZqStatedSystem bouncingBall()
{
   constexpr Material ball{"rubber", 1000.0, 2e7, 0.1};
   // Without the damper that lets things come to rest, the loss is that of the dissipation alone.
   ZqPointContactForceProcessor law = contactLaw();
   law.setSettlingDampingRatio(0.0);
   ZqStatedSystem scene = sceneOnFloor(Material{"concrete", 2400.0, 2e7, 0.1}, law);
   place(scene, freeBody("ball", {"ball", ball, ZqSphere(ZqVector(), 0.05)}),
         ZqVector(0.0, 0.0, 1.05));
   return scene;
}

ZqStatedSystem door()
{
   const Parts post("post", steel, box(ZqVector(-0.06, 0.0, 1.0), ZqVector(0.1, 0.1, 2.0)));
   const Parts leaf("leaf", wood, box(ZqVector(0.42, 0.0, 1.0), ZqVector(0.8, 0.04, 1.98)));
   const Parts lever("lever", steel, box(ZqVector(-0.06, -0.05, 0.0), ZqVector(0.12, 0.02, 0.02)));
   ZqManipulatorLink doorLeaf = link("leaf", turning(alongZ, ZqVector()), leaf,
                                     damped(strongDrive(-0.1, 1.6, 100.0, 10.0), 10.0));
   doorLeaf.addChild(link("handle", turning(alongY, ZqVector(0.76, 0.0, 1.05), alongZ), lever,
                          damped(strongDrive(0.0, 0.8, 10.0, 10.0), 0.05)));

   ZqStatedSystem scene = emptyScene();
   scene.addManipulator(manipulator("door", post, {doorLeaf}), position({0.0, 0.0}), rest(2));
   ZqLatchedDoorLinks latch;
   latch.setLatchType(ZqLatchedDoorLinks::ClosedWithoutTurn);
   latch.setManipulatorId(0);
   latch.setDoorLinkId(0);
   latch.setHandleLinkId(1);
   latch.setSpringConstant(5000.0);
   latch.setDamperConstant(100.0);
   latch.setUnlatchingAngleLowerBound(0.5);
   latch.setUnlatchingAngleUpperBound(1.0);
   latch.setClosedDoorAngleLowerBound(-0.02);
   latch.setClosedDoorAngleUpperBound(0.02);
   addInteraction(scene, latch);
   // Turns the handle back.
   ZqSpringAndDamperBetweenLinks spring;
   spring.setManipulatorOneIndex(0);
   spring.setManipulatorTwoIndex(0);
   spring.setLinkOneIndex(0);
   spring.setLinkTwoIndex(1);
   spring.setAngularSpringConstant(2.0);
   // The two frames are the same when the handle is at rest.
   spring.setFrameOffsetOne(ZqVector(0.76, 0.0, 1.05));
   spring.setFrameOffsetTwo(ZqVector());
   addInteraction(scene, spring);
   return scene;
}
} // namespace models
