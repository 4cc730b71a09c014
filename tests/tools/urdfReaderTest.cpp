// Robots in URDF: frames and mass matrices against products of matrices, what is lost, and what is refused.

#include "support/logCapture.h"
#include "support/randomUrdf.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/state/ZqSystemActiveState.h"
#include "zqManipulator/tools/urdf/ZqUrdfReader.h"

#include <Eigen/Geometry>
#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace
{
using Eigen::Matrix3d;
using Eigen::Matrix4d;
using Eigen::MatrixXd;
using Eigen::Vector3d;
using zqTest::LogCapture;

// A second computation: a list of joints, from which both the document and the frames are made.

struct UrdfJoint
{
   const char* type;
   const char* parent;
   const char* child;
   Vector3d xyz, rpy, axis;
};

const std::vector<UrdfJoint> urdfJoints{
   {"fixed", "root", "pedestal", {0.1, -0.2, 0.5}, {0.3, -0.2, 1.1}, {0, 0, 1}},
   {"revolute", "pedestal", "upper", {0, 0.1, 0.2}, {0.4, 1.5, -2.0}, {0.3, -0.5, 0.7}},
   {"fixed", "upper", "bracket", {0.2, 0, 0.1}, {1.5707963267948966, 0, 0}, {0, 0, 1}},
   {"fixed", "bracket", "tip", {0, 0.3, 0}, {0, 0, 0.7}, {0, 0, 1}},
   {"prismatic", "tip", "slide", {0.1, 0.1, 0.1}, {-1, 0.2, 3}, {0, 0, -2}},
   {"continuous", "bracket", "wheel", {0, -0.3, 0.2}, {0, 0, 0}, {-1, 0, 0}},
   {"planar", "root", "puck", {0.5, 0.5, 0}, {0.1, 0.2, 0.3}, {0.2, 0.1, 1}},
   {"floating", "slide", "drone", {0, 0, 1}, {0.5, 0, 0.25}, {0, 0, 1}}};

std::string urdfText(const Vector3d& v)
{
   std::ostringstream text;
   text.precision(17);
   text << v.x() << ' ' << v.y() << ' ' << v.z();
   return text.str();
}

/// Masses grow from link to link; each has a center and an inertia of its own, in axes of their own.
struct UrdfBody
{
   explicit UrdfBody(double number)
      : mass(0.5 + number), center(0.1 * number, -0.05, 0.02 * number),
        rpy(0.2 * number, 0.4, -1.0), moments(0.3, 0.4 + 0.01 * number, 0.5)
   {
   }
   std::string text() const
   {
      return "<inertial><origin xyz=\"" + urdfText(center) + "\" rpy=\"" + urdfText(rpy) +
             "\"/><mass value=\"" + std::to_string(mass) + "\"/><inertia ixx=\"" +
             std::to_string(moments.x()) + "\" iyy=\"" + std::to_string(moments.y()) +
             "\" izz=\"0.5\" ixy=\"0.01\" ixz=\"-0.02\" iyz=\"0.03\"/></inertial>";
   }
   Matrix3d inertia() const
   {
      Matrix3d I;
      I << moments.x(), 0.01, -0.02, 0.01, moments.y(), 0.03, -0.02, 0.03, 0.5;
      return I;
   }

   double mass;
   Vector3d center, rpy, moments;
};

Matrix4d urdfFrame(const Vector3d& xyz, const Vector3d& rpy)
{
   const auto about = [&](int i)
   { return Eigen::AngleAxisd(rpy[i], Vector3d::Unit(i)).toRotationMatrix(); };
   Matrix4d X = Matrix4d::Identity();
   X.topLeftCorner<3, 3>() = about(2) * about(1) * about(0);
   X.topRightCorner<3, 1>() = xyz;
   return X;
}

/// A step of a joint: about or along an axis, in the frame before it.
struct UrdfStep
{
   std::string label;
   Vector3d axis;
   bool turns;

   Matrix4d at(double q) const
   {
      Matrix4d X = Matrix4d::Identity();
      if (turns)
         X.topLeftCorner<3, 3>() = Eigen::AngleAxisd(q, axis).toRotationMatrix();
      else
         X.topRightCorner<3, 1>() = axis * q;
      return X;
   }
};

std::vector<UrdfStep> stepsOf(const UrdfJoint& joint)
{
   const std::string type = joint.type;
   const std::string child = joint.child;
   const Vector3d axis = joint.axis.normalized();
   const auto R = Eigen::Quaterniond::FromTwoVectors(Vector3d::UnitZ(), axis).toRotationMatrix();
   const auto along = [](int i) { return Vector3d(Vector3d::Unit(i)); };
   if (type == "fixed")
      return {};
   if (type == "planar")
      return {
         {child + "-x", R.col(0), false}, {child + "-y", R.col(1), false}, {child, axis, true}};
   if (type == "floating")
      return {{child + "-x", along(0), false},    {child + "-y", along(1), false},
              {child + "-z", along(2), false},    {child + "-yaw", along(2), true},
              {child + "-pitch", along(1), true}, {child, along(0), true}};
   return {{child, axis, type != "prismatic"}};
}

std::string textOfJoints()
{
   std::string text = "<robot name=\"truth\"><link name=\"root\"/>";
   double number = 0.0;
   for (const UrdfJoint& joint : urdfJoints)
      text += "<joint name=\"to " + std::string(joint.child) + "\" type=\"" + joint.type +
              "\"><parent link=\"" + joint.parent + "\"/><child link=\"" + joint.child +
              "\"/><origin xyz=\"" + urdfText(joint.xyz) + "\" rpy=\"" + urdfText(joint.rpy) +
              "\"/><axis xyz=\"" + urdfText(joint.axis) +
              "\"/><limit lower=\"-3\" upper=\"3\"/></joint><link name=\"" + joint.child + "\">" +
              UrdfBody(number++).text() + "</link>";
   return text + "</robot>";
}

/// The frame of each link, and the sum over bodies of J^T M J.
struct UrdfMotion
{
   UrdfMotion(const ZqIndividualManipulator& robot, const std::vector<ZqReal>& q)
   {
      const auto n = static_cast<Eigen::Index>(q.size());
      frames["root"] = Matrix4d::Identity();
      massMatrix = MatrixXd::Zero(n, n);
      std::map<std::string, std::vector<std::pair<Matrix4d, UrdfStep>>> above;
      double number = 0.0;
      for (const UrdfJoint& joint : urdfJoints)
      {
         auto path = above[joint.parent];
         Matrix4d X = frames[joint.parent] * urdfFrame(joint.xyz, joint.rpy);
         for (const UrdfStep& step : stepsOf(joint))
         {
            path.emplace_back(X, step);
            X *= step.at(q[robot.linkIndexByIdentifier(step.label)]);
            // The light links of joints of several degrees of freedom.
            if (step.label != joint.child)
               add(robot, path, X, 1e-9, Matrix3d::Zero());
         }
         frames[joint.child] = X;
         above[joint.child] = path;
         const UrdfBody body(number++);
         const Matrix4d C = X * urdfFrame(body.center, body.rpy);
         add(robot, path, C, body.mass, body.inertia());
      }
   }
   /// A body with its center at the origin of a frame.
   void add(const ZqIndividualManipulator& robot,
            const std::vector<std::pair<Matrix4d, UrdfStep>>& path, const Matrix4d& C, double mass,
            const Matrix3d& inertia)
   {
      MatrixXd J = MatrixXd::Zero(6, massMatrix.cols());
      for (const auto& [X, step] : path)
      {
         const Vector3d axis = X.topLeftCorner<3, 3>() * step.axis;
         const Vector3d arm = C.topRightCorner<3, 1>() - X.topRightCorner<3, 1>();
         const auto column = static_cast<Eigen::Index>(robot.linkIndexByIdentifier(step.label));
         J.col(column).head<3>() = step.turns ? Vector3d(axis.cross(arm)) : axis;
         J.col(column).tail<3>() = step.turns ? axis : Vector3d(Vector3d::Zero());
      }
      const Matrix3d R = C.topLeftCorner<3, 3>();
      Eigen::Matrix<double, 6, 6> M = Eigen::Matrix<double, 6, 6>::Zero();
      M.topLeftCorner<3, 3>() = mass * Matrix3d::Identity();
      M.bottomRightCorner<3, 3>() = R * inertia * R.transpose();
      massMatrix += J.transpose() * M * J;
   }

   std::map<std::string, Matrix4d> frames;
   MatrixXd massMatrix;
};

/// The frame of a link in URDF: of a link that moves its own, of one that is fixed a named one.
ZqCoordinateSystemTransformation frameOf(const ZqIndividualManipulator& robot, const ZqString& name,
                                         ZqManipulatorActivePositionState& state)
{
   if (const ZqManipulatorLink* link = robot.linkByIdentifier(name))
      return link->primaryFrameInSystem(state);
   ZqCoordinateSystemTransformation frame;
   for (const ZqManipulatorLink* link : robot.linkPointerVector())
      if (link->namedFrames().lookup(name, frame))
         return link->primaryFrameInSystem(state) * frame;
   EXPECT_TRUE(robot.namedFrames().lookup(name, frame)) << name;
   return robot.primaryFrameInSystem(state) * frame;
}

TEST(UrdfReader, FramesAndMassMatrixAreThoseOfTheDocument)
{
   // Lengths are about 1 m, and no row of products is longer than 30.
   constexpr double tolerance = 1e-13;
   ZqUrdfReader reader;
   ZqStatedSystem scene;
   ASSERT_TRUE(reader.readText(scene, textOfJoints(), "truth.urdf"));
   const ZqIndividualManipulator& robot = *scene.manipulatorByIndex(0);
   ASSERT_EQ(robot.jointDof(), 12U);
   EXPECT_TRUE(robot.isFixedBase());
   zqTest::RandomValues random(17);
   for (int sample = 0; sample < 20; ++sample)
   {
      ZqPositionState position = scene.state().positionStates()[0];
      for (ZqReal& q : position.jointPositions().values())
         q = random.real(-2.0, 2.0);
      const UrdfMotion truth(robot, position.jointPositions().values());
      scene.setIndividualPositionState(0, position);
      ZqSystemActiveState active;
      active.setNonredundantState(scene.state());
      auto& state = active.manipulatorActiveStateVector()[0].activePositionState();
      for (const auto& [name, X] : truth.frames)
      {
         const auto frame = frameOf(robot, name, state);
         const ZqOrientation& R = frame.orientation();
         const std::array columns{R.xAxis(), R.yAxis(), R.zAxis(), frame.translation()};
         for (int j = 0; j < 4; ++j)
            for (int i = 0; i < 3; ++i)
               EXPECT_NEAR(columns[static_cast<std::size_t>(j)][static_cast<std::size_t>(i)],
                           X(i, j), tolerance)
                  << name;
      }
      ZqMassMatrixTool tool;
      tool.setManipulator(&robot);
      const ZqReArray& M = tool.massMatrix(active.manipulatorActiveStateVector()[0], nullptr);
      for (Eigen::Index i = 0; i < truth.massMatrix.rows(); ++i)
         for (Eigen::Index j = 0; j < truth.massMatrix.cols(); ++j)
            EXPECT_NEAR(M[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)],
                        truth.massMatrix(i, j),
                        tolerance * 300.0); // kg m^2
   }
}

// Small documents

const std::string urdfMass = "<inertial><mass value=\"1\"/><inertia ixx=\"1\" iyy=\"1\" izz=\"1\" "
                             "ixy=\"0\" ixz=\"0\" iyz=\"0\"/></inertial>";

std::string urdfRobot(const std::string& content)
{
   return "<robot name=\"r\">\n" + content + "</robot>\n";
}
std::string urdfLink(const std::string& name, const std::string& content = urdfMass)
{
   return "<link name=\"" + name + "\">" + content + "</link>\n";
}
std::string urdfJoint(const std::string& name, const std::string& type, const std::string& parent,
                      const std::string& child, const std::string& content = "")
{
   return "<joint name=\"" + name + "\" type=\"" + type + "\"><parent link=\"" + parent +
          "\"/><child link=\"" + child + "\"/>" + content + "</joint>\n";
}
/// Links a, b and c, and a joint between the first two with the content.
std::string urdfPair(const std::string& content, const std::string& type = "continuous")
{
   return urdfRobot(urdfLink("a") + urdfLink("b") + urdfJoint("j", type, "a", "b", content));
}

TEST(UrdfReader, BadDocumentsAreRefusedWithTheirPlace)
{
   const std::string ab = urdfLink("a") + urdfLink("b");
   const std::string limit = "<limit lower=\"-1\" upper=\"1\"/>";
   const auto joint = [](const std::string& name, const std::string& parent,
                         const std::string& child, const std::string& content = "")
   { return urdfJoint(name, "continuous", parent, child, content); };
   const std::pair<std::string, const char*> cases[]{
      {"", ":1: the document is empty"},
      {"<world/>", "expected the element \"robot\", but received \"world\""},
      {"<robot/>", "has no attribute \"name\""},
      {urdfRobot(""), "there is no link"},
      {"<!DOCTYPE r [<!ENTITY a \"b\">]><robot name=\"&a;\"/>", "document type"},
      {urdfRobot("<link/>"), ":2: robot 'r'/link: the element \"link\" has no attribute \"name\""},
      {urdfRobot(ab), ":3: link 'b': no joint has it as its child, as none has link 'a'"},
      {urdfRobot(ab + urdfLink("a")), ":4: link 'a': the name is taken already, in line 2"},
      {urdfRobot(ab + joint("j", "a", "b") + joint("j", "a", "b")), "joint 'j': the name is taken"},
      {urdfRobot(ab + joint("j", "a", "c")), ":4: joint 'j': there is no link 'c'"},
      {urdfRobot(ab + joint("j", "a", "b") + joint("k", "a", "b")),
       ":5: joint 'k': link 'b' is already the child of joint 'j'"},
      {urdfRobot(ab + joint("j", "a", "b") + joint("k", "b", "a")), "there is no root"},
      {urdfRobot(urdfLink("o") + ab + joint("j", "a", "b") + joint("k", "b", "a")), "a loop"},
      {urdfRobot(ab + joint("j", "a", "a") + joint("k", "a", "b")), "there is no root|a loop|two"},
      {urdfPair("", "hinge"), "joint 'j'/@type: expected one of revolute, continuous"},
      {urdfPair("", "revolute"), "has no element \"limit\""},
      {urdfPair("<limit lower=\"1\" upper=\"-1\"/>", "prismatic"), "lower limit"},
      {urdfPair("<axis xyz=\"0 0 0\"/>"), "axis/@xyz: expected an axis that is not zero"},
      {urdfPair("<axis xyz=\"0 0\"/>"), "expected three numbers, but received \"0 0\""},
      {urdfPair("<origin xyz=\"0,1 0 0\"/>"), "origin/@xyz: expected three numbers"},
      {urdfPair("<origin rpy=\"0 nan 0\"/>"), "origin/@rpy: expected three numbers"},
      {urdfPair("<origin xyz=\"0 1e999 0\"/>"), "expected three numbers"},
      {urdfPair("<origin xyz=\"${x} 0 0\"/>"), "xacro has to be|which has to be expanded first"},
      {"<robot name=\"r\" xmlns:xacro=\"http://www.ros.org/wiki/xacro\"><xacro:include/></robot>",
       "which has to be expanded first"},
      {urdfPair("<dynamics damping=\"-1\"/>"), "at least 0"},
      {urdfPair("<mimic joint=\"j\"/>"), "joint 'j': it mimics itself"},
      {urdfPair("<mimic joint=\"x\"/>"), "it mimics joint 'x', which does not exist"},
      {urdfPair("<mimic multiplier=\"2\"/>"), "has no attribute \"joint\""},
      {urdfRobot(ab + urdfLink("c") + urdfLink("d") + joint("j", "a", "b", "<mimic joint=\"k\"/>") +
                 joint("k", "a", "c", "<mimic joint=\"l\"/>") +
                 joint("l", "a", "d", "<mimic joint=\"k\"/>")),
       "joint 'j': it mimics itself, through other joints"},
      {urdfRobot(urdfLink("a") + urdfLink("b") + urdfLink("c") + urdfJoint("f", "fixed", "a", "b") +
                 joint("j", "a", "c", "<mimic joint=\"f\"/>")),
       "neither turns nor slides"},
      {urdfRobot(urdfLink("a", "<inertial><mass value=\"-1\"/></inertial>")),
       "a mass of at least 0"},
      {urdfRobot(urdfLink("a", "<inertial><mass value=\"1\"/></inertial>")),
       "no element \"inertia\""},
      {urdfRobot(urdfLink("a",
                          "<inertial><mass value=\"1\"/><inertia ixx=\"1\" iyy=\"1\" izz=\"-1\" "
                          "ixy=\"0\" ixz=\"0\" iyz=\"0\"/></inertial>")),
       "negative principal moment: -1 1 1"},
      {urdfRobot(urdfLink("a", "<visual/>")), "no element \"geometry\""},
      {urdfRobot(urdfLink("a", "<visual><geometry><cone/></geometry></visual>")), "none of box"},
      {urdfRobot(urdfLink("a", "<visual><geometry><sphere radius=\"-1\"/></geometry></visual>")),
       "a length of at least 0"},
      {urdfRobot(urdfLink("a", "<visual><geometry><mesh filename=\"m\" scale=\"1 0 1\"/></geometry>"
                               "</visual>")),
       "a scale that is not zero"},
      {urdfRobot(ab + joint("j", "a", "b") +
                 "<transmission name=\"t\"><joint name=\"j\"/><mechanicalReduction>0"
                 "</mechanicalReduction></transmission>"),
       "a reduction that is not zero"},
      {urdfRobot(urdfLink("a")) + "<robot/>", "junk after document element"},
   };
   for (const auto& [text, pieces] : cases)
   {
      ZqStatedSystem scene;
      const ZqStatedSystem before;
      ZqUrdfReader reader;
      const Zq::DiagnosticCollector log;
      EXPECT_FALSE(reader.readText(scene, text, "bad.urdf")) << text;
      EXPECT_TRUE(scene == before);
      ASSERT_EQ(log.diagnostics().size(), 1U) << text;
      const ZqString message = Zq::toString(log.diagnostics().front());
      bool isFound = false;
      std::istringstream list{ZqString(pieces)};
      for (ZqString piece; std::getline(list, piece, '|');)
         isFound = isFound || message.find(piece) != ZqString::npos;
      EXPECT_TRUE(isFound) << text << '\n' << message << "\nexpected: " << pieces;
   }
   ZqStatedSystem scene;
   ZqUrdfReader reader;
   LogCapture log;
   EXPECT_FALSE(reader.readText(scene, urdfRobot(urdfLink("a")), "robot.urdf.xacro"));
   EXPECT_TRUE(log.contains("xacro"));
}

TEST(UrdfReader, ATruncatedDocumentIsRefused)
{
   const LogCapture log;
   for (ZqU32 seed = 0; seed < 3; ++seed)
   {
      const std::string text = zqTest::RandomUrdf(seed, {}).text();
      const std::size_t end = text.rfind("</robot>") + 8;
      for (std::size_t size = 0; size < end; size += 1 + size % 29)
      {
         ZqUrdfReader reader;
         ZqStatedSystem scene;
         EXPECT_FALSE(reader.readText(scene, text.substr(0, size), "cut.urdf")) << size;
      }
   }
}

TEST(UrdfReader, WhatHasNoPlaceIsToldOnce)
{
   // All of it in a namespace, of which no one asks.
   const std::string text =
      "<robot name=\"r\" xmlns=\"http://host/robots\">\n" +
      (urdfLink("a", urdfMass + "<visual><geometry><sphere radius=\"1\"/></geometry><material "
                                "name=\"red\"/></visual><collision><geometry><box size=\"1 1 1\"/>"
                                "</geometry><surface/></collision>") +
       "<material name=\"red\"><color rgba=\"1 0 0 1\"/><texture filename=\"t\"/></material>\n" +
       "<link name=\"b\" type=\"arm\">" + urdfMass + "</link>\n" +
       urdfJoint("j", "continuous", "a", "b",
                 "<limit lower=\"0\" upper=\"1\" velocity=\"0\" effort=\"5\"/>"
                 "<safety_controller/><calibration/>\n<color/>") +
       "<gazebo reference=\"b\"><x/></gazebo>\n" +
       "<transmission name=\"t\"><type>T</type><joint name=\"j\"/><actuator name=\"m\">"
       "<mechanicalReduction>4</mechanicalReduction></actuator></transmission>\n" +
       "<transmission name=\"u\"><joint name=\"x\"/></transmission>\n" +
       "<link name=\"point\"><inertial><mass value=\"1\"/><inertia ixx=\"0\" iyy=\"0\" izz=\"0\" "
       "ixy=\"0\" ixz=\"0\" iyz=\"0\"/></inertial></link>" +
       urdfJoint("k", "continuous", "a", "point")) +
      "</robot>";
   using Kind = ZqConversionLoss::Kind;
   const ZqConversionLosses expected{
      {Kind::Lost, "link 'a'", "surface", "an element that is not known here", 2},
      {Kind::Lost, "link 'a'", "visual",
       "shapes that differ from those for collision, which are the shape of the link: 1", 2},
      {Kind::Lost, "material 'red'", "texture", "textures have no place", 3},
      {Kind::Lost, "link 'b'", "link/@type", "an attribute that is not known", 4},
      {Kind::Lost, "joint 'j'", "limit", "a continuous joint has no limits of position", 5},
      {Kind::Changed, "joint 'j'", "limit/@velocity",
       "a greatest velocity that is not above zero is taken for none", 5},
      {Kind::Lost, "joint 'j'", "safety_controller", "limits of a controller have no place", 5},
      {Kind::Lost, "joint 'j'", "calibration", "positions for calibration have no place", 5},
      {Kind::Lost, "joint 'j'", "color", "an element that is not known here", 6},
      {Kind::Lost, "robot", "gazebo", "an extension for another simulator, of 'b'", 7},
      {Kind::Lost, "transmission 't'", "transmission", "type, names: no place", 8},
      {Kind::Lost, "transmission 'u'", "transmission", "there is no joint 'x' that turns or slides",
       9},
      {Kind::Changed, "robot", "inertial",
       "links that move without inertia, nor has what they carry any, as link 'point', are each "
       "given 1e-9 kg m^2 and at least 1e-9 kg: 1",
       10}};
   ZqUrdfReader reader;
   ZqStatedSystem scene;
   ASSERT_TRUE(reader.readText(scene, text, "lossy.urdf"));
   EXPECT_EQ(reader.losses().size(), expected.size());
   for (std::size_t i = 0; i < std::min(expected.size(), reader.losses().size()); ++i)
      EXPECT_EQ(reader.losses()[i], expected[i])
         << reader.losses()[i].place << ", " << reader.losses()[i].element << ": "
         << reader.losses()[i].text << ' ' << reader.losses()[i].line;
   const ZqJointActuator& drive =
      scene.manipulatorByIndex(0)->linkByIdentifier("b")->jointActuator();
   EXPECT_EQ(drive.gearRatio(), 4.0);
   EXPECT_EQ(drive.maxOutputTorque(), 5.0);
}

TEST(UrdfReader, MeshesAreFoundScaledAndTurned)
{
   const auto mesh = [](const std::string& name, const std::string& scale)
   {
      return "<collision><origin xyz=\"0 0 1\"/><geometry><mesh filename=\"" + name +
             "\" scale=\"" + scale + "\"/></geometry></collision>\n";
   };
   const std::string text = urdfRobot(urdfLink(
      "a", mesh("package://p/m/x.stl", "-2 1 3") + mesh("y.stl", "1 1 1") +
              mesh("file://localhost/z.stl", "1 1 1") + mesh("package://q/x.stl", "1 1 1") +
              mesh("http://host/x.stl", "1 1 1") + mesh("none.stl", "1 1 1") +
              mesh("package://../x.stl", "1 1 1") + mesh("", "1 1 1")));
   std::vector<ZqString> asked;
   ZqUrdfReader reader;
   reader.setPackage("p", "/packages/p");
   reader.setMeshReader(
      [&](const ZqString& name) -> std::optional<ZqTriangleMesh>
      {
         asked.push_back(name);
         if (name.find("none") != ZqString::npos)
            return std::nullopt;
         return ZqTriangleMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                               {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}});
      });
   ZqStatedSystem scene;
   ASSERT_TRUE(reader.readText(scene, text, "/robots/r.urdf"));
   EXPECT_EQ(asked, (std::vector<ZqString>{"/packages/p/m/x.stl", "/robots/y.stl", "/z.stl",
                                           "/robots/none.stl"}));
   EXPECT_EQ(reader.losses().size(), 5U);
   const auto& shapes = dynamic_cast<const ZqShapeUnion&>(*scene.manipulatorByIndex(0)->shape());
   ASSERT_EQ(shapes.ownMemberCount(), 3U);
   // The mirrored one is not inside out.
   const auto& first = dynamic_cast<const ZqTriangleMesh&>(shapes.ownMember(0));
   EXPECT_DOUBLE_EQ(first.volume(), 1.0);
   EXPECT_EQ(first.vertex(1), ZqVector(-2.0, 0.0, 1.0));
}

TEST(UrdfReader, JointsThatMimicAreHeld)
{
   const auto limit = [](const std::string& mimic)
   { return "<limit lower=\"0.5\" upper=\"1\"/>" + mimic; };
   const std::string text =
      urdfRobot(urdfLink("a") + urdfLink("b") + urdfLink("c") + urdfLink("d") +
                urdfJoint("k", "revolute", "a", "b",
                          limit("<mimic joint=\"l\" multiplier=\"2\" offset=\"3\"/>")) +
                urdfJoint("l", "revolute", "b", "c",
                          limit("<mimic joint=\"m\" multiplier=\"-4\" offset=\"5\"/>")) +
                urdfJoint("m", "revolute", "c", "d", limit("")));
   ZqUrdfReader reader;
   ZqStatedSystem scene;
   ASSERT_TRUE(reader.readText(scene, text, "mimic.urdf"));
   EXPECT_TRUE(reader.losses().empty());
   // m begins at its limit; l = 5 - 4 m, and k = 3 + 2 l.
   EXPECT_EQ(scene.state().positionStates()[0].jointPositions().values(),
             (std::vector<ZqReal>{9.0, 3.0, 0.5}));
   const auto& constraints = scene.manipulatorByIndex(0)->stateEqualityConstraints();
   ASSERT_EQ(constraints.doc(), 2U);
   const ZqReArray& J =
      constraints.jacobian(*scene.manipulatorByIndex(0), scene.state().positionStates()[0]);
   const ZqReal rows[2][3]{{1.0, 0.0, 8.0}, {0.0, 1.0, 4.0}};
   for (ZqU32 i = 0; i < 2; ++i)
      for (ZqU32 j = 0; j < 3; ++j)
         EXPECT_EQ(J[i][j], rows[i][j]) << i << ' ' << j;
}

TEST(UrdfReader, TheBaseIsWhatTheRootSays)
{
   const std::string world = urdfLink("world", "");
   const std::string origin = "<origin xyz=\"1 2 3\"/>";
   struct Case
   {
      std::string text;
      bool asksForFree;
      const char* base;
      bool isFixed;
      ZqReal x;
   };
   const Case cases[]{
      {urdfRobot(urdfLink("a")), false, "a", true, 0.0},
      {urdfRobot(urdfLink("a")), true, "a", false, 0.0},
      {urdfRobot(world + urdfLink("a") + urdfJoint("j", "fixed", "world", "a", origin)), false, "a",
       true, 1.0},
      {urdfRobot(urdfLink("plate", "") + urdfLink("a") +
                 urdfJoint("j", "fixed", "plate", "a", origin)),
       false, "plate", true, 0.0},
      {urdfRobot(world + urdfLink("a") + urdfJoint("j", "floating", "world", "a", origin)), false,
       "a", false, 1.0}};
   for (const Case& test : cases)
   {
      ZqUrdfReader reader;
      reader.setHasFreeBase(test.asksForFree);
      ZqStatedSystem scene;
      ASSERT_TRUE(reader.readText(scene, test.text, "base.urdf"));
      EXPECT_TRUE(reader.losses().empty());
      const ZqIndividualManipulator& robot = *scene.manipulatorByIndex(0);
      EXPECT_EQ(robot.linkLabel(), test.base);
      EXPECT_EQ(robot.isFixedBase(), test.isFixed);
      EXPECT_EQ(robot.massProperties().mass(), 1.0);
      EXPECT_EQ(scene.state().positionStates()[0].coordSysXForm().translation().x(), test.x);
   }
}

TEST(UrdfReader, RowsAndStarsOfAnyLength)
{
   const auto robot = [](ZqU32 links, const char* type, bool isStar)
   {
      std::string text = urdfLink("0");
      for (ZqU32 i = 1; i < links; ++i)
         text += urdfLink(std::to_string(i)) + urdfJoint("j" + std::to_string(i), type,
                                                         isStar ? "0" : std::to_string(i - 1),
                                                         std::to_string(i));
      return urdfRobot(text);
   };
   ZqStatedSystem scene;
   ZqUrdfReader reader;
   ASSERT_TRUE(reader.readText(scene, robot(20000, "fixed", false), "row.urdf"));
   EXPECT_EQ(scene.manipulatorByIndex(0)->massProperties().mass(), 20000.0);
   ASSERT_TRUE(reader.readText(scene, robot(20000, "continuous", true), "star.urdf"));
   EXPECT_EQ(scene.manipulatorByIndex(0)->jointDof(), 19999U);
   const LogCapture log;
   EXPECT_FALSE(reader.readText(scene, robot(ZqUrdfReader::deepestChain + 2, "continuous", false),
                                "deep.urdf"));
   EXPECT_TRUE(log.contains("more than 2000 moving links stand in a row"));
}
} // namespace
