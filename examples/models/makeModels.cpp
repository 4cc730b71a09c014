// Writes the example models into a directory: each is a whole scene, of a model and a state.

#include "contactModels.h"
#include "modelParts.h"

#include <array>
#include <iostream>

using namespace models;

namespace
{
/// Moves the bases of all manipulators that hang on others to where they hang.
void placeAttached(ZqStatedSystem& scene)
{
   const ZqManipulatorAttachmentMap& map = scene.configuration().attachmentMap();
   ZqSystemActiveState active;
   active.setNonredundantState(scene.state());
   std::vector<ZqU32> indices;
   std::vector<ZqCoordinateSystemTransformation> frames;
   for (const ZqManipulatorAttachmentNode& root : map.baseNodes())
   {
      map.calculateBaseLocations(root.manipulatorIndex(), scene.system().manipulators(),
                                 active.manipulatorActiveStateVector(), indices, frames);
      for (std::size_t i = 0; i < indices.size(); ++i)
         scene.setIndividualCoordinateSystemTransformation(indices[i], frames[i]);
   }
}

// The models

/// 1 kg at 1 m, hanging down at zero and swinging in the plane of x and z.
ZqStatedSystem pendulum()
{
   // x points down and z, the axis, along -y.
   ZqDenavitHartenberg pivot;
   pivot.setDhType(ZqDenavitHartenberg::General);
   pivot.setPrecursor(ZqOrientation(0.5, 0.5, 0.5, -0.5));
   ZqRigidBodyMassProperties bob = ZqRigidBodyMassProperties::pointMass(1.0);
   bob.transformBy(ZqVector(1.0, 0.0, 0.0));
   ZqShapeUnion shape;
   shape.addShapeToUnion(capsule({}, {1.0, 0.0, 0.0}, 0.005));
   shape.addShapeToUnion(ZqSphere({1.0, 0.0, 0.0}, 0.03));

   ZqStatedSystem scene = emptyScene();
   scene.addManipulator(
      onFixedBase("pendulum", shaped(link("bob", pivot, bob, ZqJointActuator()), shape)),
      position({0.5}), rest(1));
   return scene;
}

/// The two-link arm of the textbooks, in the plane of x and z, with angles from the horizontal.
ZqStatedSystem planarTwoLink()
{
   constexpr ZqReal upperLength = 1.0;
   constexpr ZqReal foreLength = 0.8;
   ZqDenavitHartenberg shoulder = paul(upperLength, 0.0, 0.0);
   shoulder.setDhType(ZqDenavitHartenberg::GeneralPaul);
   shoulder.setPrecursor(ZqOrientation::xRotation(90.0 * degree));
   // Paul's frame is at the far end of the link.
   const ZqVector upperCenter(-0.5 * upperLength, 0.0, 0.0);
   const ZqVector foreCenter(-0.5 * foreLength, 0.0, 0.0);
   const ZqCapsule upperShape = capsule(upperCenter * 2.0, {}, 0.02);
   const ZqCapsule foreShape = capsule(foreCenter * 2.0, {}, 0.02);

   ZqStatedSystem scene = emptyScene();
   scene.addManipulator(
      onFixedBase(
         "arm",
         chain(
            {shaped(link("upperArm", shoulder, rod(2.0, upperCenter, upperLength)), upperShape),
             shaped(link("forearm", paul(foreLength, 0.0, 0.0), rod(1.5, foreCenter, foreLength)),
                    foreShape)})),
      position({0.4, -0.7}), velocity({0.5, -0.3}));
   return scene;
}

/// The PUMA 560 without load.
///
/// The values are those of P. I. Corke and B. Armstrong-Helouvry, "A search for consensus among model
/// parameters reported for the PUMA 560 robot", Proc. IEEE ICRA 1994, in the form of the tables that
/// P. Corke published with his robotics software; they were taken from that form and not compared
/// with the paper. Gear ratios are magnitudes, and Coulomb friction is left out.
///
/// Of link 1, which only turns about a vertical axis, nothing is published but the moment about that
/// axis, Iyy; on a fixed base no motion depends on the rest. It gets the smallest mass that a body may
/// have here, and the same moment about all axes. The shapes are rough: cylinders and capsules of about the
/// size. The published moments of link 3 are such that no
/// body can have them (Ixx + Izz < Iyy): the nearest possible ones, (.06975, .086, .01625), take their
/// place when the body is made.
ZqStatedSystem puma560()
{
   struct Row
   {
      const char* label;
      ZqReal a, d, alpha; // m, m, degrees
      ZqReal mass;
      ZqVector center, inertia; // in the D-H frame; about the center of mass
      ZqReal motorInertia, gearRatio, motorFriction;
      ZqReal lowerLimit, upperLimit; // degrees
   };
   constexpr ZqReal noMass = ZqRigidBodyMassProperties::smallestMass;
   const std::array<Row, 6> rows{{{"shoulder",
                                   0.0,
                                   0.0,
                                   90.0,
                                   noMass,
                                   {},
                                   {.35, .35, .35},
                                   200e-6,
                                   62.6111,
                                   1.48e-3,
                                   -160.0,
                                   160.0},
                                  {"upperArm",
                                   .4318,
                                   0.0,
                                   0.0,
                                   17.4,
                                   {-.3638, .006, .2275},
                                   {.13, .524, .539},
                                   200e-6,
                                   107.815,
                                   .817e-3,
                                   -45.0,
                                   225.0},
                                  {"forearm",
                                   .0203,
                                   .15005,
                                   -90.0,
                                   4.8,
                                   {-.0203, -.0141, .070},
                                   {.066, .086, .0125},
                                   200e-6,
                                   53.7063,
                                   1.38e-3,
                                   -225.0,
                                   45.0},
                                  {"wristRoll",
                                   0.0,
                                   .4318,
                                   90.0,
                                   .82,
                                   {0.0, .019, 0.0},
                                   {1.8e-3, 1.3e-3, 1.8e-3},
                                   33e-6,
                                   76.0364,
                                   71.2e-6,
                                   -110.0,
                                   170.0},
                                  {"wristPitch",
                                   0.0,
                                   0.0,
                                   -90.0,
                                   .34,
                                   {},
                                   {.3e-3, .4e-3, .3e-3},
                                   33e-6,
                                   71.923,
                                   82.6e-6,
                                   -100.0,
                                   100.0},
                                  {"flange",
                                   0.0,
                                   0.0,
                                   0.0,
                                   .09,
                                   {0.0, 0.0, .032},
                                   {.15e-3, .15e-3, .04e-3},
                                   33e-6,
                                   76.686,
                                   36.7e-6,
                                   -266.0,
                                   266.0}}};

   const ZqCylinder turret = cylinder({0.0, 0.0, -.1}, {0.0, 0.0, .12}, .09);
   const ZqCapsule upperArm = capsule({-.4318, 0.0, .2}, {0.0, 0.0, .2}, .08);
   const ZqCapsule forearm = capsule({-.0203, 0.0, 0.0}, {-.0203, 0.0, .29}, .05);
   const ZqCapsule wrist = capsule({0.0, -.1, 0.0}, {}, .04);
   const ZqSphere wristPitch({}, .045);
   const ZqCylinder flange = cylinder({0.0, 0.0, .045}, {0.0, 0.0, .0565}, .03);
   const std::array<const ZqShape*, 6> shapes{&turret, &upperArm,   &forearm,
                                              &wrist,  &wristPitch, &flange};

   std::vector<ZqManipulatorLink> links;
   for (const Row& row : rows)
   {
      ZqJointActuator actuator = drive(row.lowerLimit * degree, row.upperLimit * degree);
      actuator.setInertia(row.motorInertia);
      actuator.setGearRatio(row.gearRatio);
      actuator.setFrictionCoefficient(row.motorFriction);
      links.push_back(shaped(link(row.label, paul(row.a, row.d, row.alpha * degree),
                                  body(row.mass, row.center, row.inertia), actuator),
                             *shapes[links.size()]));
   }
   ZqIndividualManipulator arm = onFixedBase("puma560", chain(links));
   arm.setShape(cylinder({0.0, 0.0, -.67}, {0.0, 0.0, -.1}, .09));
   ZqStatedSystem scene = emptyScene();
   // Ready: the arm straight up.
   scene.addManipulator(arm, position({0.0, 90.0 * degree, -90.0 * degree, 0.0, 0.0, 0.0}),
                        rest(6));
   return scene;
}

/// Five links on a base that floats and tumbles.
ZqStatedSystem freeChain()
{
   constexpr ZqReal length = 0.3;
   std::vector<ZqManipulatorLink> links;
   for (int i = 1; i <= 5; ++i)
   {
      // Every second axis is across the one before.
      const ZqReal alpha = (i % 2 == 0 ? -90.0 : 90.0) * degree;
      links.push_back(link("link" + std::to_string(i), paul(length, 0.0, alpha),
                           rod(1.0 / i, ZqVector(-0.5 * length, 0.0, 0.0), length)));
   }
   ZqIndividualManipulator swimmer =
      manipulator("chain", box(10.0, ZqVector(), ZqVector(0.5, 0.4, 0.3)), {chain(links)});
   swimmer.setIsFixedBase(false);

   ZqStatedSystem scene = emptyScene();
   scene.addManipulator(swimmer,
                        position({0.3, -0.5, 0.8, 0.2, -0.9},
                                 {ZqVector(0.1, -0.2, 2.0), ZqOrientation(0.8, 0.6, 0, 0)}),
                        velocity({0.4, -0.6, 0.3, 0.7, -0.2},
                                 {ZqVector(0.1, -0.2, 0.05), ZqVector(0.3, 0.1, -0.25)}));
   return scene;
}

/// Four legs of three joints on a free base, x ahead and y to the left.
ZqStatedSystem quadruped()
{
   struct Leg
   {
      const char* name;
      ZqReal ahead, left; // of the base's middle or, negative, behind and right of it
   };
   constexpr std::array<Leg, 4> legs{
      {{"frontLeft", 1, 1}, {"frontRight", 1, -1}, {"rearLeft", -1, 1}, {"rearRight", -1, -1}}};
   constexpr ZqReal boneLength = 0.2;
   const ZqVector knee(0.0, 0.0, -boneLength);

   std::vector<ZqManipulatorLink> children;
   for (const Leg& leg : legs)
   {
      const ZqString name = leg.name;
      const ZqVector hip(0.18 * leg.ahead, 0.05 * leg.left, 0.0);
      const ZqVector side(0.0, 0.08 * leg.left, 0.0);
      const ZqVector hipSize(0.09, 0.08, 0.09);
      const ZqCapsule bone = capsule({}, knee, 0.012);
      ZqManipulatorLink shank =
         shaped(link(name + "Shank", turning(alongY, knee, alongY),
                     box(0.15, ZqVector(0.0, 0.0, -0.09), ZqVector(0.02, 0.02, boneLength)),
                     drive(-2.7, -0.5)),
                bone);
      shank.addNamedPoint("foot", ZqVector(0.0, 0.0, -boneLength));
      children.push_back(
         chain({shaped(link(name + "Hip", turning(alongX, hip), box(0.6, side * 0.5, hipSize),
                            drive(-0.8, 0.8)),
                       ZqBox(side * 0.5, hipSize * 0.5)),
                shaped(link(name + "Thigh", turning(alongY, side, alongX),
                            box(0.9, ZqVector(0.0, 0.0, -0.05), ZqVector(0.04, 0.05, boneLength)),
                            drive(-1.0, 3.5)),
                       bone),
                shank}));
   }
   const ZqVector bodySize(0.4, 0.2, 0.12);
   ZqIndividualManipulator walker =
      manipulator("quadruped", box(5.0, ZqVector(), bodySize), children);
   walker.setShape(ZqBox({}, bodySize * 0.5));
   walker.setIsFixedBase(false);

   std::vector<ZqReal> crouch;
   for (const Leg& leg : legs)
      crouch.insert(crouch.end(), {0.05 * leg.left, 0.7, -1.4});
   ZqStatedSystem scene = emptyScene();
   scene.addManipulator(walker, position(crouch, ZqVector(0.0, 0.0, 0.32)), rest(crouch.size()));
   return scene;
}

/// A carriage on a rail with two arms of one model, of which the left one holds a tool.
ZqStatedSystem twoArms()
{
   const ZqString carriageLabel = "carriage";
   const ZqString handLabel = "hand";
   const ZqIndividualManipulator rail = onFixedBase(
      "carrier", link(carriageLabel, joint(ZqDenavitHartenberg::Prismatic, alongX, {}, alongZ),
                      box(40.0, ZqVector(), ZqVector(0.6, 1.0, 0.2)), drive(-2.0, 2.0)));

   const ZqVector elbow(0.0, 0.0, 0.4);
   const ZqVector wrist(0.0, 0.0, 0.35);
   const ZqIndividualManipulator leftArm =
      manipulator("leftArm", box(3.0, ZqVector(), ZqVector(0.2, 0.2, 0.1)),
                  {chain({link("shoulder", turning(alongZ, ZqVector(0.0, 0.0, 0.1)),
                               box(4.0, ZqVector(), ZqVector(0.15, 0.15, 0.2))),
                          link("upperArm", turning(alongY, ZqVector(0.0, 0.0, 0.1)),
                               box(5.0, elbow * 0.5, ZqVector(0.1, 0.1, 0.4))),
                          link("forearm", turning(alongY, elbow, alongY),
                               box(3.0, wrist * 0.5, ZqVector(0.08, 0.08, 0.35))),
                          link(handLabel, turning(alongZ, wrist, alongY),
                               box(0.5, ZqVector(0.0, 0.0, 0.03), ZqVector(0.1, 0.06, 0.06)))})});
   ZqIndividualManipulator rightArm = leftArm;
   rightArm.setManipulatorLabel("rightArm");
   const ZqIndividualManipulator tool =
      manipulator("tool", box(0.8, ZqVector(0.0, 0.0, 0.05), ZqVector(0.04, 0.04, 0.1)), {});

   ZqStatedSystem scene = emptyScene();
   scene.addManipulator(rail, position({0.25}), rest(1));
   scene.addManipulator(leftArm, position({0.3, 0.6, 0.9, -0.4}), rest(4));
   scene.addManipulator(rightArm, position({-0.3, -0.5, -1.1, 0.2}), rest(4));
   scene.addManipulator(tool, position({}), rest(0));
   // Of the two arms the second is stored as a reference to the first.
   scene.findAndConvertToReferences();

   ZqManipulatorAttachmentMap attachments;
   attachments.attachManipulator(1, 0, carriageLabel, ZqVector(0.0, 0.4, 0.1), "left mount");
   attachments.attachManipulator(2, 0, carriageLabel,
                                 {ZqVector(0.0, -0.4, 0.1), ZqOrientation(0.0, 0.0, 0.0, 1.0)},
                                 "right mount");
   attachments.attachManipulator(3, 1, handLabel, ZqVector(0.0, 0.0, 0.06), "grip");
   scene.setManipulatorAttachmentMap(attachments);
   placeAttached(scene);
   return scene;
}

/// A cylinder of a working pressure of 25 MPa.
ZqJointActuator cylinderDrive(ZqReal stroke, ZqReal pistonArea, ZqReal rodSideArea)
{
   ZqHydraulicCylinder cylinder;
   cylinder.setFluidBulkModulus(1.4e9);
   cylinder.setFluidDensity(860.0);
   cylinder.setSupplyPressure(25e6);
   cylinder.setDrainPressure(1e5);
   cylinder.setDischargeCoefficient(0.6);
   cylinder.setFlowAreaGradient(6e-5);
   cylinder.setMaximumValveOpening(1.0);
   cylinder.setEffectiveArea1(pistonArea);
   cylinder.setEffectiveArea2(rodSideArea);
   cylinder.setFluidVolume1(1e-3);
   cylinder.setFluidVolume2(1e-3);
   cylinder.setMaximumFluidLength(stroke);
   ZqJointActuator actuator = drive(0.0, stroke);
   actuator.setPowerConverter(cylinder);
   return actuator;
}

/// A joint that a cylinder pushes: from C, at d1 along y of the precursor, to the end of the link's side d2, whose
/// pivot is at the distance along x. The joint position is how far the cylinder is out.
ZqQuadrilateralTypeLink pushed(const ZqCoordinateSystemTransformation& precursor, ZqReal distance,
                               ZqReal d1, ZqReal d2, ZqReal closedCylinder)
{
   ZqQuadrilateralTypeLink joint;
   joint.setPivotFrame(true);
   joint.setJointType(ZqQuadrilateralTypeLink::PivotedSlider);
   joint.setPrecursor(precursor);
   joint.setOppositeLength(distance);
   joint.setD1Length(d1);
   joint.setD2Length(d2);
   joint.setNominalLength(closedCylinder);
   return joint;
}

/// Half of a cylinder as it is drawn, at one of its ends.
template <class End>
End halfOfCylinder(const ZqString& link, ZqReal from, ZqReal to, ZqReal radius)
{
   End end;
   end.setlinkIdentifier(link);
   end.setShape(cylinder({from, 0.0, 0.0}, {to, 0.0, 0.0}, radius));
   return end;
}

/// A wheel loader, x ahead: a boom that a cylinder lifts, and a bucket that another one tips.
ZqStatedSystem loader()
{
   using Bottom = ZqQuadrilateralPivotedSliderJointCObject;
   using Rod = ZqQuadrilateralPivotedSliderJointBObject;
   const ZqString boomLabel = "boom";
   const ZqString bucketLabel = "bucket";
   // The pivot is 1.8 m above the ground and 1.2 m above the foot of the cylinder, which is ahead of it.
   const ZqCoordinateSystemTransformation belowPivot(ZqVector(0.0, 0.0, 0.6), alongY);
   const ZqManipulatorLink boom =
      shaped(link(boomLabel, pushed(belowPivot, 1.2, 0.3, 0.8, 0.9),
                  rod(800.0, ZqVector(1.2, 0.0, 0.0), 2.4), cylinderDrive(0.7, 0.0245, 0.0156)),
             capsule({}, {2.4, 0.0, 0.0}, 0.1));
   // On the boom, with y up: the lever of the bucket stands up, and the bucket lies ahead of it.
   ZqQuadrilateralTypeLink tipping =
      pushed({ZqVector(1.2, 0.0, 0.0), ZqOrientation(0.0, 1.0, 0.0, 0.0)}, 1.2, 0.35, 0.35, 0.95);
   tipping.setPrimaryFrame(ZqOrientation::zRotation(-90.0 * degree));
   const ZqVector middle(0.5, 0.0, 0.0);
   const ZqVector size(0.7, 0.6, 2.4);
   const ZqManipulatorLink bucket = shaped(
      link(bucketLabel, tipping, box(600.0, middle, size), cylinderDrive(0.5, 0.0123, 0.0078)),
      ZqBox(middle, size * 0.5));

   ZqIndividualManipulator machine =
      manipulator("loader", box(9000.0, ZqVector(-1.2, 0.0, 1.2), ZqVector(2.2, 1.6, 1.4)),
                  {chain({boom, bucket})});
   machine.setShape(ZqBox(ZqVector(-1.3, 0.0, 1.2), ZqVector(1.1, 0.8, 0.7)));
   ZqGeneralBoundObjectVector cylinders;
   cylinders.pushBack(halfOfCylinder<Bottom>(boomLabel, 0.0, 0.85, 0.09));
   cylinders.pushBack(halfOfCylinder<Rod>(boomLabel, -0.85, 0.0, 0.05));
   cylinders.pushBack(halfOfCylinder<Bottom>(bucketLabel, 0.0, 0.9, 0.07));
   cylinders.pushBack(halfOfCylinder<Rod>(bucketLabel, -0.9, 0.0, 0.04));
   machine.setGeneralBoundObjects(cylinders);

   ZqStatedSystem scene = emptyScene();
   scene.addManipulator(machine, position({0.3, 0.25}), rest(2));
   return scene;
}

struct Model
{
   const char* name;
   ZqStatedSystem (*make)();
};
constexpr std::array allModels{
   Model{"pendulum", pendulum},     Model{"planarTwoLink", planarTwoLink},
   Model{"puma560", puma560},       Model{"freeChain", freeChain},
   Model{"quadruped", quadruped},   Model{"twoArms", twoArms},
   Model{"gripper", gripper},       Model{"tableTop", tableTop},
   Model{"mobileBase", mobileBase}, Model{"slope", slope},
   Model{"stack", stack},           Model{"bouncingBall", bouncingBall},
   Model{"grasp", grasp},           Model{"door", door},
   Model{"loader", loader}};
} // namespace

int main(int argumentCount, char** arguments)
{
   if (argumentCount != 2)
   {
      std::cerr << "usage: makeModels DIRECTORY\n";
      return 2;
   }
   const ZqString directory = arguments[1];
   for (const Model& model : allModels)
      if (!Zq::save(model.make(), directory + "/" + model.name + ".xml"))
         return 1;
   return 0;
}
