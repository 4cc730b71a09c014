// Robots in URDF as other libraries read them: for files and for generated robots, the frames of all links and the
// mass matrices at random positions, beside those of KDL's and DART's readers. Built when ZQ_BUILD_URDF_PEERS is on.

#include "support/randomUrdf.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"
#include "zqManipulator/tools/urdf/ZqUrdfReader.h"

#include <Eigen/Geometry>
#include <dart/utils/urdf/urdf.hpp>
#include <kdl/treefksolverpos_recursive.hpp>
#include <kdl/treeidsolver_recursive_newton_euler.hpp>
#include <kdl_parser/kdl_parser.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

namespace
{
using Frames = std::map<std::string, Eigen::Isometry3d>;

/// A robot at a position: frames of links by name, and the mass matrix, with joints as they are numbered here.
struct Answer
{
   Frames frames;
   Eigen::MatrixXd massMatrix;
};

/// Joints of other libraries by the link that they move.
using Joints = std::vector<std::string>;

class Ours
{
public:
   bool read(const std::string& text, const std::string& name)
   {
      ZqUrdfReader reader;
      return reader.readText(m_scene, text, name);
   }
   const ZqIndividualManipulator& robot() const { return *m_scene.manipulatorByIndex(0); }
   Joints joints() const
   {
      Joints labels;
      for (const ZqManipulatorLink* link : robot().linkPointerVector())
         labels.push_back(link->linkLabel());
      return labels;
   }
   Answer at(const std::vector<ZqReal>& q)
   {
      ZqPositionState position = m_scene.state().positionStates()[0];
      position.jointPositions().values() = q;
      m_scene.setIndividualPositionState(0, position);
      ZqSystemActiveState active;
      active.setNonredundantState(m_scene.state());
      ZqManipulatorActiveState& state = active.manipulatorActiveStateVector()[0];
      Answer answer;
      const auto add = [&](const ZqManipulatorLink& link)
      {
         const auto X = link.primaryFrameInSystem(state.activePositionState());
         answer.frames[link.linkLabel()] = isometry(X);
         for (const auto& [name, frame] : link.namedFrames().mapContainer())
            answer.frames.emplace(name, isometry(X * frame));
      };
      add(robot());
      for (const ZqManipulatorLink* link : robot().linkPointerVector())
         add(*link);
      ZqMassMatrixTool tool;
      tool.setManipulator(&robot());
      const ZqReArray& M = tool.massMatrix(state, nullptr);
      const auto n = static_cast<Eigen::Index>(q.size());
      answer.massMatrix.resize(n, n);
      for (std::size_t i = 0; i < q.size(); ++i)
         for (std::size_t j = 0; j < q.size(); ++j)
            answer.massMatrix(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) = M[i][j];
      return answer;
   }

private:
   static Eigen::Isometry3d isometry(const ZqCoordinateSystemTransformation& X)
   {
      const ZqOrientation& R = X.orientation();
      const ZqVector& p = X.translation();
      Eigen::Isometry3d result = Eigen::Isometry3d::Identity();
      int column = 0;
      for (const ZqVector& axis : {R.xAxis(), R.yAxis(), R.zAxis(), p})
         result.matrix().col(column++).head<3>() = Eigen::Vector3d(axis.x(), axis.y(), axis.z());
      return result;
   }

   ZqStatedSystem m_scene;
};

/// The numbers of joints of the peer, by ours; -1 for one that the peer does not have.
template <class NumberOf>
std::vector<int> matched(const Joints& joints, NumberOf numberOf)
{
   std::vector<int> numbers;
   for (const std::string& link : joints)
      numbers.push_back(numberOf(link));
   return numbers;
}

/// Mass matrices by columns of inverse dynamics, the only ones that there are for trees.
class Kdl
{
public:
   bool read(const std::string& text) { return kdl_parser::treeFromString(text, m_tree); }
   std::vector<int> match(const Joints& joints) const
   {
      return matched(joints,
                     [&](const std::string& link)
                     {
                        const auto found = m_tree.getSegments().find(link);
                        const bool moves =
                           found != m_tree.getSegments().end() &&
                           found->second.segment.getJoint().getType() != KDL::Joint::Fixed;
                        return moves ? static_cast<int>(found->second.q_nr) : -1;
                     });
   }
   Answer at(const std::vector<ZqReal>& q, const std::vector<int>& numbers)
   {
      const unsigned n = m_tree.getNrOfJoints();
      KDL::JntArray position(n), rest(n), torques(n);
      for (std::size_t i = 0; i < q.size(); ++i)
         position(static_cast<unsigned>(numbers[i])) = q[i];
      Answer answer;
      KDL::TreeFkSolverPos_recursive solver(m_tree);
      for (const auto& [name, element] : m_tree.getSegments())
      {
         KDL::Frame X;
         solver.JntToCart(position, X, name);
         Eigen::Isometry3d frame = Eigen::Isometry3d::Identity();
         for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
               frame.matrix()(i, j) = X(i, j);
         answer.frames[name] = frame;
      }
      KDL::TreeIdSolver_RNE dynamics(m_tree, KDL::Vector::Zero());
      answer.massMatrix.resize(n, n);
      for (std::size_t j = 0; j < q.size(); ++j)
      {
         KDL::JntArray acceleration(n);
         acceleration(static_cast<unsigned>(numbers[j])) = 1.0;
         dynamics.CartToJnt(position, rest, acceleration, {}, torques);
         for (std::size_t i = 0; i < q.size(); ++i)
            answer.massMatrix(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) =
               torques(static_cast<unsigned>(numbers[i]));
      }
      return answer;
   }

private:
   KDL::Tree m_tree;
};

class Dart
{
public:
   bool read(const std::string& text, const std::string& name)
   {
      using Loader = dart::utils::DartLoader;
      // Links without an inertial weigh nothing, and may not.
      const dart::dynamics::Inertia light(1e-30, Eigen::Vector3d::Zero(), Eigen::Matrix3d::Zero());
      Loader loader;
      loader.setOptions(Loader::Options(nullptr, Loader::RootJointType::FIXED, light));
      m_robot = loader.parseSkeletonString(text, dart::common::Uri("file://" + name));
      return m_robot != nullptr;
   }
   std::vector<int> match(const Joints& joints) const
   {
      return matched(
         joints,
         [&](const std::string& link)
         {
            const auto* body = m_robot->getBodyNode(link);
            const bool moves = body != nullptr && body->getParentJoint()->getNumDofs() == 1;
            return moves ? static_cast<int>(body->getParentJoint()->getIndexInSkeleton(0)) : -1;
         });
   }
   Answer at(const std::vector<ZqReal>& q, const std::vector<int>& numbers)
   {
      m_robot->resetPositions();
      for (std::size_t i = 0; i < q.size(); ++i)
         m_robot->setPosition(static_cast<std::size_t>(numbers[i]), q[i]);
      Answer answer;
      for (const dart::dynamics::BodyNode* body : m_robot->getBodyNodes())
         answer.frames[body->getName()] = body->getWorldTransform();
      const Eigen::MatrixXd& M = m_robot->getMassMatrix();
      const auto n = static_cast<Eigen::Index>(q.size());
      answer.massMatrix.resize(n, n);
      for (std::size_t i = 0; i < q.size(); ++i)
         for (std::size_t j = 0; j < q.size(); ++j)
            answer.massMatrix(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) =
               M(numbers[i], numbers[j]);
      return answer;
   }

private:
   dart::dynamics::SkeletonPtr m_robot;
};

/// The greatest differences: of frames in m or as such, of mass matrices beside the greatest element.
struct Difference
{
   double frames = 0.0;
   double massMatrix = 0.0;

   void take(const Answer& ours, const Answer& peer)
   {
      for (const auto& [name, X] : peer.frames)
         if (const auto own = ours.frames.find(name); own != ours.frames.end())
            frames = std::max(frames, (own->second.matrix() - X.matrix()).cwiseAbs().maxCoeff());
         else
            missing = name;
      if (ours.massMatrix.size() > 0)
         massMatrix =
            std::max(massMatrix, (ours.massMatrix - peer.massMatrix).cwiseAbs().maxCoeff() /
                                    std::max(ours.massMatrix.cwiseAbs().maxCoeff(), 1e-300));
   }
   std::string missing;
};

template <class Peer>
void compare(Ours& ours, Peer& peer, const char* peerName, double& worst)
{
   const std::vector<int> numbers = peer.match(ours.joints());
   if (std::find(numbers.begin(), numbers.end(), -1) != numbers.end())
   {
      std::printf("  %s: other joints", peerName);
      return;
   }
   if (numbers.empty())
   {
      std::printf("  %s: no joints", peerName);
      return;
   }
   Difference difference;
   zqTest::RandomValues random(1);
   for (int sample = 0; sample < 10; ++sample)
   {
      std::vector<ZqReal> q(numbers.size());
      for (ZqReal& value : q)
         value = random.real(-2.0, 2.0);
      difference.take(ours.at(q), peer.at(q, numbers));
   }
   std::printf("  %s: frames %.1e, mass matrix %.1e%s%s", peerName, difference.frames,
               difference.massMatrix, difference.missing.empty() ? "" : ", without ",
               difference.missing.c_str());
   worst = std::max({worst, difference.frames, difference.massMatrix});
}

/// Without the shapes: a robot whose meshes are not there is refused by DART.
std::string withoutShapes(std::string text)
{
   for (const std::string element : {"visual", "collision"})
      for (std::size_t begin = 0; (begin = text.find('<' + element, begin)) != std::string::npos;)
      {
         const std::string end = "</" + element + '>';
         const std::size_t at = text.find(end, begin);
         if (at == std::string::npos)
            break;
         text.erase(begin, at + end.size() - begin);
      }
   return text;
}

void compareAll(const std::string& document, const std::string& name, double& worst)
{
   const std::string text = withoutShapes(document);
   std::printf("%s:", name.c_str());
   Ours ours;
   if (!ours.read(text, name))
   {
      std::printf(" not read\n");
      return;
   }
   std::printf(" %u joints", ours.robot().jointDof());
   Kdl kdl;
   Dart dart;
   if (kdl.read(text))
      compare(ours, kdl, "KDL", worst);
   else
      std::printf("  KDL: not read");
   if (dart.read(text, name))
      compare(ours, dart, "DART", worst);
   else
      std::printf("  DART: not read");
   std::printf("\n");
}
} // namespace

int main(int argumentCount, char** arguments)
{
   double worst = 0.0;
   for (int i = 1; i < argumentCount; ++i)
   {
      std::ifstream file(arguments[i]);
      double unused = 0.0; // what files leave out, each library fills in as it likes
      compareAll(std::move(std::ostringstream() << file.rdbuf()).str(), arguments[i], unused);
   }
   for (ZqU32 seed = 0; seed < 50; ++seed)
   {
      zqTest::UrdfKind kind;
      kind.links = 2 + seed % 25;
      kind.hasWideJoints = false; // the others take them for fixed, or have other coordinates
      kind.hasMimics = seed % 2 == 0;
      compareAll(zqTest::RandomUrdf(seed, kind).text(), "/random" + std::to_string(seed), worst);
   }
   std::printf("greatest difference of generated robots: %.1e\n", worst);
   return worst <= 1e-12 ? 0 : 1;
}
