// Models that are written as URDF and read again: what moves, moves alike; what stands in the document stays as it is;
// and what has no place in it is told.

#include "support/logCapture.h"
#include "support/randomScene.h"
#include "support/randomUrdf.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqEllipsoid.h"
#include "zqManipulator/foundation/geometry/ZqHalfSpace.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/kinematics/joint/ZqScrewTypeLink.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/tools/checks/ZqModelCheck.h"
#include "zqManipulator/tools/urdf/ZqUrdfReader.h"
#include "zqManipulator/tools/urdf/ZqUrdfWriter.h"

#include <Eigen/Eigenvalues>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace
{
using Transform = ZqCoordinateSystemTransformation;
using zqTest::LogCapture;
using zqTest::RandomScene;
using zqTest::RandomValues;

ZqString urdfOf(const ZqStatedSystem& scene, ZqU32 index, ZqConversionLosses* losses = nullptr)
{
   ZqUrdfWriter writer;
   ZqString text;
   EXPECT_TRUE(writer.toText(scene, index, text));
   if (losses != nullptr)
      *losses = writer.losses();
   return text;
}

ZqStatedSystem sceneOfUrdf(const ZqString& text)
{
   ZqUrdfReader reader;
   ZqStatedSystem scene;
   const LogCapture log;
   EXPECT_TRUE(reader.readText(scene, text, "robot.urdf")) << log.text();
   return scene;
}

/// What a model does in a state that is told by the labels of links.
struct Behaviour
{
   std::map<ZqString, Transform> frames; ///< primary and named ones, in the system
   std::vector<ZqString> labels;         ///< of joints, by index
   ZqReArray massMatrix;
   std::array<std::vector<ZqReal>, 2> accelerations; ///< of both solvers
};
using ByLabel = std::map<ZqString, std::array<ZqReal, 3>>; ///< position, velocity, torque

Behaviour behaviourOf(const ZqStatedSystem& scene, ZqU32 index, const ByLabel& motion,
                      const ZqVector& gravity)
{
   Behaviour result;
   const ZqIndividualManipulator& model = *scene.manipulatorByIndex(index);
   ZqPositionState position = scene.state().positionStates()[index];
   ZqVelocityState velocity;
   velocity.jointVelocities().assign(model.jointDof(), 0.0);
   ZqManipulatorTorque torque;
   torque.jointTorques().assign(model.jointDof(), 0.0);
   for (ZqU32 i = 0; i < model.jointDof(); ++i)
   {
      result.labels.push_back(model.linkByIndex(i)->linkLabel());
      const auto& [q, qd, t] = motion.at(result.labels.back());
      position.jointPositions()[i] = q;
      velocity.jointVelocities()[i] = qd;
      torque.jointTorques()[i] = t;
   }
   ZqManipulatorActiveState state;
   state.setPositionState(position);
   state.setVelocityState(velocity);
   ZqAccelerationState acceleration = ZqAccelerationState::zeroCompatibleState(velocity);
   acceleration.setGeneralAcceleration({gravity, ZqVector()});
   state.setAccelerationState(acceleration);
   for (const ZqManipulatorLink* link : zqTest::inPreorder(model))
   {
      const Transform X = link->primaryFrameInSystem(state.activePositionState());
      result.frames[link->linkLabel()] = X;
      for (const auto& [name, frame] : link->namedFrames().mapContainer())
         result.frames[name] = X * frame;
      if (const auto* train = link->jointActuator().mechanicalComponentContainer().topElement())
         train->initializeActuatorStates(state);
   }
   const ZqStatedSystemStruct structure{&scene, index};
   ZqMassMatrixTool masses;
   masses.setManipulator(&model);
   result.massMatrix = masses.massMatrix(state, &structure);
   ZqManipulatorExternalForce external;
   external.resize(model.jointDof());
   ZqAccelerationState solved;
   EXPECT_TRUE(ZqArbiAccelerationTool().acceleration(scene, model, position, velocity, torque,
                                                     external, solved, state));
   result.accelerations[0] = solved.jointAccelerations().values();
   state.setAccelerationState(acceleration);
   EXPECT_TRUE(
      ZqCrbiAccelerationTool().acceleration(scene, model, torque, external, solved, state, true));
   result.accelerations[1] = solved.jointAccelerations().values();
   return result;
}

ZqReal largestOf(const std::vector<ZqReal>& values)
{
   ZqReal largest = 0.0;
   for (const ZqReal value : values)
      largest = std::abs(value) <= largest ? largest : std::abs(value); // NaN goes through
   return largest;
}

/// The condition of the mass matrix.
ZqReal conditionOf(const ZqReArray& masses, ZqU32 n)
{
   if (n == 0)
      return 1.0;
   Eigen::MatrixXd M(n, n);
   for (ZqU32 i = 0; i < n; ++i)
      for (ZqU32 k = 0; k < n; ++k)
         M(i, k) = masses[i][k];
   const Eigen::VectorXd values = Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(M).eigenvalues();
   return std::abs(values[n - 1] / values[0]);
}

/// All that a behaviour has is there in the other one: frames to 1e-12 of how far away they are, masses to that of the
/// largest, and accelerations of the largest, where the masses are well conditioned.
void expectAlike(const Behaviour& expected, const Behaviour& actual, const std::string& what)
{
   constexpr ZqReal tolerance = 1e-12;
   for (const auto& [name, frame] : expected.frames)
   {
      // A primary frame off the axis is a named frame.
      const ZqString written = actual.frames.contains(name + "_frame") ? name + "_frame" : name;
      ASSERT_TRUE(actual.frames.contains(written)) << what << ": " << name;
      EXPECT_LE(zqTest::ReferenceFrame(frame).difference(actual.frames.at(written)),
                tolerance * (1.0 + frame.translation().mag()))
         << what << ": " << name;
   }
   ASSERT_EQ(expected.labels, actual.labels) << what;
   std::vector<ZqReal> masses;
   std::vector<ZqReal> wrong;
   for (ZqU32 i = 0; i < expected.labels.size(); ++i)
      for (ZqU32 k = 0; k < expected.labels.size(); ++k)
      {
         masses.push_back(expected.massMatrix[i][k]);
         wrong.push_back(expected.massMatrix[i][k] - actual.massMatrix[i][k]);
      }
   EXPECT_LE(largestOf(wrong), tolerance * largestOf(masses)) << what;
   const ZqReal condition =
      conditionOf(expected.massMatrix, static_cast<ZqU32>(expected.labels.size()));
   for (std::size_t solver = 0; solver < 2; ++solver)
   {
      wrong.clear();
      for (std::size_t i = 0; i < expected.labels.size(); ++i)
         wrong.push_back(expected.accelerations[solver][i] - actual.accelerations[solver][i]);
      EXPECT_LE(largestOf(wrong), std::max(tolerance, 10.0 * zqTest::epsilon * condition) *
                                     largestOf(expected.accelerations[solver]))
         << what << ", solver " << solver;
   }
}

ByLabel randomMotion(RandomValues& random, const ZqIndividualManipulator& model)
{
   ByLabel motion;
   for (const ZqManipulatorLink* link : model.linkPointerVector())
   {
      const bool isDriven = link->jointActuator().mechanicalComponentContainer().topElement();
      motion[link->linkLabel()] = {random.real(-2.0, 2.0), random.real(),
                                   isDriven ? random.real(-5.0, 5.0) : 0.0};
   }
   return motion;
}

/// Weights and sums, in any order.
std::set<std::vector<ZqReal>> mimicsOf(const ZqStatedSystem& scene)
{
   std::set<std::vector<ZqReal>> mimics;
   for (const auto* one : scene.manipulatorByIndex(0)->stateEqualityConstraints().vectorContainer())
   {
      const auto& linear = dynamic_cast<const ZqLinearStateEqualityConstraint&>(*one);
      std::vector<ZqReal> row = linear.jointWeights()[0].values();
      row.push_back(linear.weightedSums().values()[0]);
      mimics.insert(row);
   }
   return mimics;
}

// Next to the lock of the gimbals the last digits of roll and yaw may differ in the second document.

TEST(UrdfRoundTrip, ModelsMoveAsBefore)
{
   int drifts = 0;
   for (ZqU32 seed = 0; seed < 150; ++seed)
   {
      zqTest::SceneKind kind = zqTest::SceneKind::ofSeed(seed);
      kind.hasSprings = false;
      RandomScene scene(seed, kind);
      const auto prepare = [&](ZqIndividualManipulator& model)
      {
         for (ZqU32 i = 0; i < model.jointDof(); ++i)
         {
            ZqMechanicalActuatorComponent train;
            train.setGearRatio(scene.random.real(1.0, 90.0));
            train.setFrictionCoefficient(scene.random.index(0, 1) * scene.random.real(0.0, 1e-3));
            train.setLowerLimit(scene.random.index(0, 1) == 0 ? -1e300 : -2.5);
            ZqJointActuator drive;
            drive.setMechanicalComponent(train);
            model.linkByIndex(i)->setJointActuator(drive);
            if (scene.random.index(0, 2) == 0)
               model.linkByIndex(i)->addNamedFrame("tip" + std::to_string(i),
                                                   zqTest::randomFrame(scene.random));
            model.linkByIndex(i)->setShape(
               ZqBox(zqTest::randomFrame(scene.random), {0.1, 0.2, 0.3}));
         }
      };
      ASSERT_TRUE(scene.system.editManipulator(scene.index, prepare));
      const ZqString text = urdfOf(scene.system, scene.index);
      ZqStatedSystem again = sceneOfUrdf(text);
      again.setEnvironment(scene.system.environment());
      const ByLabel motion = randomMotion(scene.random, scene.manipulator());
      expectAlike(behaviourOf(scene.system, scene.index, motion, scene.gravity),
                  behaviourOf(again, 0, motion, scene.gravity), "seed " + std::to_string(seed));
      drifts += urdfOf(again, 0) == text ? 0 : 1;
   }
   EXPECT_LE(drifts, 3); // of 150
}

TEST(UrdfRoundTrip, DocumentsAreReadAsBefore)
{
   int drifts = 0; // of documents of which a tenth of the rotations stand next to the lock
   for (ZqU32 seed = 0; seed < 100; ++seed)
   {
      zqTest::UrdfKind kind;
      kind.links = 2 + seed % 15;
      kind.hasOddNames = seed % 3 == 0;
      kind.isRootHeavy = seed % 2 == 0;
      const ZqStatedSystem scene = sceneOfUrdf(zqTest::RandomUrdf(seed, kind).text());
      for (const Zq::Diagnostic& found : Zq::checkModel(scene))
         EXPECT_NE(found.severity, Zq::Severity::Error) << Zq::toString(found);
      ZqString document;
      ZqStatedSystem kept;
      EXPECT_TRUE(Zq::toXml(scene, document) && Zq::fromXml(kept, document) && kept == scene);
      const ZqString text = urdfOf(scene, 0);
      const ZqStatedSystem again = sceneOfUrdf(text);
      RandomValues random(seed);
      const ByLabel motion = randomMotion(random, *scene.manipulatorByIndex(0));
      const ZqVector gravity(0.0, 0.0, 9.8);
      expectAlike(behaviourOf(scene, 0, motion, gravity), behaviourOf(again, 0, motion, gravity),
                  "seed " + std::to_string(seed));
      EXPECT_EQ(mimicsOf(scene), mimicsOf(again)) << seed;
      drifts += urdfOf(again, 0) == text ? 0 : 1;
   }
   EXPECT_LE(drifts, 15); // of 100
}

TEST(UrdfRoundTrip, ExamplesComeToRest)
{
   for (const auto& entry : std::filesystem::directory_iterator(PROJECT "examples/models"))
   {
      if (entry.path().extension() != ".xml")
         continue;
      ZqStatedSystem scene;
      ASSERT_TRUE(Zq::load(scene, entry.path().string()));
      for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      {
         // What is fixed to a link becomes a part of it; from then on nothing changes.
         const ZqString second = urdfOf(sceneOfUrdf(urdfOf(scene, i)), 0);
         EXPECT_EQ(urdfOf(sceneOfUrdf(second), 0), second) << entry.path() << ' ' << i;
      }
   }
}

TEST(UrdfRoundTrip, RotationsAreExactInAndNextToTheGimbalLock)
{
   RandomValues random(11);
   for (const ZqReal offset : {0.0, 1e-16, 1e-12, 1e-9, 1e-7, 1e-3, 0.1})
      for (const ZqReal sign : {-1.0, 1.0})
         for (int k = 0; k < 20; ++k)
         {
            const ZqOrientation q = ZqOrientation::zRotation(random.real(-3.0, 3.0)) *
                                    ZqOrientation::yRotation(sign * (zqTest::pi / 2 - offset)) *
                                    ZqOrientation::xRotation(random.real(-3.0, 3.0));
            ZqIndividualManipulator body;
            body.setCoordSysXForm(Transform(q));
            ZqStatedSystem scene;
            scene.setFromManipulator(body);
            const ZqStatedSystem again = sceneOfUrdf(urdfOf(scene, 0));
            const Transform place = again.manipulatorByIndex(0)->coordSysXForm() *
                                    again.state().positionStates()[0].coordSysXForm();
            // 5 epsilon: of three rotations, and of two angles that are rounded.
            EXPECT_LE(zqTest::ReferenceFrame(Transform(q)).difference(place), 1.2e-15)
               << offset << ' ' << sign;
         }
}

/// The corners of the triangles of a binary STL file.
std::vector<float> cornersIn(const std::string& bytes)
{
   std::vector<float> corners;
   for (std::size_t at = 84; at + 50 <= bytes.size(); at += 50)
   {
      std::array<float, 9> triangle{};
      std::memcpy(triangle.data(), bytes.data() + at + 12, sizeof(triangle));
      corners.insert(corners.end(), triangle.begin(), triangle.end());
   }
   return corners;
}

TEST(UrdfWriter, WritesTrianglesBesideTheDocument)
{
   const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "zqUrdfMeshes";
   std::filesystem::create_directories(folder);
   const std::vector<ZqVector> corners{{0, 0, 0}, {1, 0, 0}, {0, 0.5, 0}, {0, 0, 2}};
   const std::pair<const char*, std::unique_ptr<ZqShape>> cases[] = {
      {"", std::make_unique<ZqTriangleMesh>(
              corners,
              std::vector<ZqTriangleMesh::Triangle>{{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}})},
      {"convexHull", std::make_unique<ZqConvexHull>(corners)},
      {"ellipsoid", std::make_unique<ZqEllipsoid>(0.5, 1.0, 2.0, Transform(ZqVector(1, 2, 3)))}};
   for (const auto& [changed, shape] : cases)
   {
      ZqIndividualManipulator body;
      body.setManipulatorLabel("body");
      body.setLinkLabel("a/b");
      body.setShape(*shape);
      ZqStatedSystem scene;
      scene.setFromManipulator(body);
      ZqSystemEnvironment earth;
      earth.setUpGravityVector(ZqVector(0, 0, ZqUrdfReader::gravity));
      scene.setEnvironment(earth);
      ZqUrdfWriter writer;
      writer.setMeshFolder(folder.string(), "package://it/");
      ASSERT_TRUE(writer.write(scene, 0, (folder / "body.urdf").string()));
      EXPECT_EQ(writer.losses().size(), *changed == '\0' ? 0U : 1U);
      for (const ZqConversionLoss& loss : writer.losses())
         EXPECT_EQ(loss.kind == ZqConversionLoss::Kind::Changed ? loss.element : "", changed);
      std::ostringstream bytes, text;
      bytes << std::ifstream(folder / "a_b.stl", std::ios::binary).rdbuf();
      text << std::ifstream(folder / "body.urdf").rdbuf();
      EXPECT_NE(text.str().find("<mesh filename=\"package://it/a_b.stl\"/>"), std::string::npos);
      // The volume by the divergence theorem: triangles face outwards, and corners are on the surface.
      const std::vector<float> v = cornersIn(bytes.str());
      ZqReal volume = 0.0;
      for (std::size_t i = 0; i + 9 <= v.size(); i += 9)
         volume +=
            ZqVector(v[i], v[i + 1], v[i + 2])
               .dot(ZqVector(v[i + 3], v[i + 4], v[i + 5]).cross({v[i + 6], v[i + 7], v[i + 8]})) /
            6.0;
      EXPECT_NEAR(volume / shape->volume(), 1.0, *changed == 'e' ? 0.03 : 1e-6);
   }
   // A folder that is not there, and no folder.
   ZqIndividualManipulator body;
   body.setShape(*cases[0].second);
   ZqStatedSystem scene;
   scene.setFromManipulator(body);
   const LogCapture log;
   ZqUrdfWriter writer;
   writer.setMeshFolder((folder / "none").string(), "");
   ZqString text;
   EXPECT_FALSE(writer.toText(scene, 0, text));
   EXPECT_NE(log.text().find("none/"), std::string::npos);
   std::filesystem::remove_all(folder);
}

TEST(UrdfWriter, TellsWhatHasNoPlace)
{
   ZqManipulatorLink link;
   link.setLinkKinematics(ZqDenavitHartenberg());
   ZqIndividualManipulator model;
   model.setManipulatorLabel("model");
   model.setLinkLabel("base");
   for (const char* label : {"a", "b", "world", "screw"})
   {
      link.setLinkLabel(label);
      if (ZqString(label) == "screw")
      {
         ZqScrewTypeLink screw;
         screw.setPitch(0.25);
         link.setLinkKinematics(screw);
         link.setShape(ZqHalfSpace());
      }
      model.addChild(link);
   }
   ZqLinearStateEqualityConstraint ring;
   ring.setJointWeights({ZqXmlVectorBasicType<ZqReal>({1.0, 2.0}),
                         ZqXmlVectorBasicType<ZqReal>({0.5, -1.0, 0.0}),
                         ZqXmlVectorBasicType<ZqReal>({1.0, 1.0, 1.0})});
   ring.setBaseWeights(ZqLinearStateEqualityConstraint::Weights(3));
   ring.setWeightedSums(ZqXmlVectorBasicType<ZqReal>({0.0, 0.0, 0.0}));
   ZqStateEqualityConstraintVector constraints;
   constraints.pushBack(ring);
   model.setStateEqualityConstraints(constraints);
   ZqSpringProperties spring;
   spring.setAssociatedJoints({"a"});
   model.linkByIdentifier("a")->setSpringProperties(spring);
   model.linkByIdentifier("b")->addNamedFrame("a", Transform(ZqVector(1, 0, 0)));
   model.linkByIdentifier("b")->addNamedPoint("tip", {0, 0, 1});
   model.setCoordSysXForm(Transform(ZqVector(1, 2, 3)));
   ZqStatedSystem scene;
   scene.setFromManipulator(model);
   ZqPositionState position = scene.state().positionStates()[0];
   position.jointPositions().assign(4, 0.5);
   scene.setIndividualPositionState(0, position);
   ZqIndividualManipulator tool;
   tool.setManipulatorLabel("tool");
   tool.setLinkLabel("a");
   scene.addManipulator(tool);
   tool.setManipulatorLabel("table");
   scene.addManipulator(tool);
   ASSERT_TRUE(scene.configuration().attachmentMap().attachManipulator(
      1, 0, "b", Transform(ZqVector(0, 0, 0.5)), "grip"));

   ZqConversionLosses losses;
   const ZqString text = urdfOf(scene, 0, &losses);
   std::set<ZqString> told;
   for (const ZqConversionLoss& loss : losses)
      told.insert((loss.kind == ZqConversionLoss::Kind::Lost ? "- " : "~ ") + loss.place + ' ' +
                  loss.element);
   EXPECT_EQ(told, (std::set<ZqString>{
                      "- link 'model/a' springProperties", "- link 'model/screw' halfSpace",
                      "- link 'model/screw' linkKinematicsContainer",
                      "- manipulator 'model' positionState",
                      "- manipulator 'model' stateEqualityConstraints",
                      "- manipulator 'table' individualManipulator", "- scene upGravityVector",
                      "~ link 'model/b' namedFrames", "~ link 'model/b' namedPoints",
                      "~ link 'model/world' identifier", "~ link 'tool/a' identifier",
                      "~ manipulator 'tool' individualManipulator"}));
   for (const char* part :
        {"<link name=\"tool_a\"/>", "<origin xyz=\"0 0 0.5\"/>", "<link name=\"b_a\"/>",
         "<link name=\"world_2\"/>", "<mimic joint=\"b_joint\" multiplier=\"-2\" offset=\"1.5"})
      EXPECT_NE(text.find(part), ZqString::npos) << part << '\n' << text;

   // What cannot be written is none.
   const LogCapture log;
   ZqUrdfWriter writer;
   ZqString none = "x";
   EXPECT_FALSE(writer.toText(scene, 3, none));
   EXPECT_EQ(none, "");
   model.setCoordSysXForm(Transform(ZqVector(zqTest::nan, 0, 0)));
   scene.setFromManipulator(model);
   EXPECT_FALSE(writer.toText(scene, 0, none));
   EXPECT_FALSE(writer.write(sceneOfUrdf(text), 0, "/no/such/folder/robot.urdf"));
   EXPECT_EQ(log.size(), 3U);
}
} // namespace
