#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/loops.h"
#include "support/randomLinkages.h"
#include "support/sevenAxisArm.h"
#include "zqManipulator/foundation/algebra/ZqRandom.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"
#include "zqManipulator/tools/posture/ZqInverseKinematicsTool.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

namespace
{
using namespace zqTest;
using IkTool = ZqInverseKinematicsTool;
using IkTarget = IkTool::Target;

/// A scene of one manipulator, and frames by the queries of its links: a second way to them.
struct IkScene
{
   explicit IkScene(const ZqIndividualManipulator& manipulator)
   {
      scene.setFromManipulator(manipulator);
      tool.setManipulator(scene, 0);
      position = scene.state().positionStates()[0];
   }
   const ZqIndividualManipulator& manipulator() const { return *scene.manipulatorByIndex(0); }
   ZqCoordinateSystemTransformation frame(ZqU32 link, const ZqPositionState& at)
   {
      active.setPositionState(at);
      return manipulator().linkByIndex(link)->primaryFrameInSystem(active.activePositionState());
   }
   bool solve(const std::vector<IkTarget>& targets, const IkTool::Settings& settings = {})
   {
      return tool.setSettings(settings) && tool.setTargets(targets) && tool.solve(position);
   }
   const ZqPositionState& found() const { return tool.answer().position; }
   ZqReal limit(ZqU32 joint, bool isUpper) const
   {
      const ZqJointActuator& drive = manipulator().linkByIndex(joint)->jointActuator();
      return isUpper ? drive.upperLimit() : drive.lowerLimit();
   }
   void drawWithinLimits(RandomValues& random)
   {
      for (ZqU32 i = 0; i < manipulator().jointDof(); ++i)
         position.jointPositions()[i] = random.real(limit(i, false), limit(i, true));
   }
   ::testing::AssertionResult isWithinLimits() const
   {
      for (ZqU32 i = 0; i < manipulator().jointDof(); ++i)
         if (!(found().jointPositions()[i] >= limit(i, false) &&
               found().jointPositions()[i] <= limit(i, true)))
            return ::testing::AssertionFailure() << "joint " << i;
      return ::testing::AssertionSuccess();
   }
   /// The cost of targets by the queries of the links, written anew.
   ZqReal cost(const std::vector<IkTarget>& targets, const ZqPositionState& at)
   {
      ZqReal sum = 0.0;
      for (const IkTarget& target : targets)
      {
         const ZqCoordinateSystemTransformation error =
            target.goal.inverse() * (frame(target.link, at) * target.frame);
         for (ZqU32 k = 0; k < 3; ++k)
         {
            const ZqReal p = target.positionWeights[k] * error.translation()[k];
            const ZqReal r =
               target.orientationWeights[k] * 2.0 * error.orientation().vectorPart()[k];
            sum += 0.5 * (p * p + r * r);
         }
      }
      return sum;
   }
   /// By a joint, by central differences of a function of states.
   template <class Function>
   ZqReal slope(const ZqPositionState& at, ZqU32 joint, const Function& function)
   {
      constexpr ZqReal h = 1e-5;
      ZqPositionState before = at;
      ZqPositionState after = at;
      before.jointPositions()[joint] -= h;
      after.jointPositions()[joint] += h;
      return (function(after) - function(before)) / (2.0 * h);
   }

   ZqStatedSystem scene;
   ZqManipulatorActiveState active;
   IkTool tool;
   ZqPositionState position;
};

/// Rods of 1 m in a plane, with the same limits at each joint.
ZqIndividualManipulator rods(ZqU32 count, ZqReal limit)
{
   return makeManipulator(chain(count),
                          [&](ZqU32 i)
                          {
                             ZqManipulatorLink link = rod("", i == 0 ? 0.0 : 1.0, 1.0);
                             ZqJointActuator drive = ZqJointActuator::defaultObject();
                             drive.setLowerLimit(-limit);
                             drive.setUpperLimit(limit);
                             link.setJointActuator(drive);
                             return link;
                          });
}
} // namespace

// Revolute and prismatic joints of all conventions, screws and linkages, in trees on bases of any frame.
TEST(InverseKinematics, ReachesPosesOfRandomTrees)
{
   RandomValues random(17);
   int solved = 0;
   constexpr int trees = 150;
   for (int tree = 0; tree < trees; ++tree)
   {
      ZqIndividualManipulator manipulator =
         makeManipulator(randomTree(random, random.index(6, 12)),
                         [&](ZqU32)
                         {
                            ZqManipulatorLink link = randomLink(random);
                            if (random.index(0, 3) == 0)
                               link.setLinkKinematics(*randomLinkageOrScrew(random));
                            return link;
                         });
      manipulator.setCoordSysXForm(randomFrame(random));
      manipulator.setPrimaryFrame({});
      manipulator.setIsFixedBase(tree % 3 != 0);
      IkScene scene(manipulator);
      scene.position.setCoordSysXForm(randomFrame(random));
      scene.drawWithinLimits(random);
      // Two links on branches of their own, and a point of one of them.
      const ZqU32 last = manipulator.jointDof() - 1;
      const std::vector<ZqU32> links{last, random.index(0, last)};
      const auto goal = [&](ZqU32 k) { return scene.frame(links[k], scene.position); };
      const ZqVector point = random.vector();
      std::vector<IkTarget> targets{IkTarget::pose(links[0], goal(0)),
                                    IkTarget::position(links[1], goal(1) * point, point),
                                    IkTarget::axis(links[1], point, goal(1).orientation() * point)};
      const ZqPositionState reached = scene.position;
      scene.drawWithinLimits(random);
      IkTool::Settings settings;
      settings.mayBaseMove = tree % 3 == 0;
      if (settings.mayBaseMove)
         scene.position.setCoordSysXForm(randomFrame(random));
      else
         scene.position.setCoordSysXForm(reached.coordSysXForm());
      ASSERT_TRUE(scene.solve(targets, settings));
      EXPECT_TRUE(scene.isWithinLimits());
      // What the tool says of itself is what the links say: weights are one.
      EXPECT_NEAR(scene.cost(targets, scene.found()), scene.tool.answer().cost,
                  1e-12 * (1.0 + scene.tool.answer().cost));
      solved += scene.tool.answer().isSolved ? 1 : 0;
      if (!scene.tool.answer().isSolved)
         continue;
      EXPECT_LT(scene.cost(targets, scene.found()), 1e-18);
      for (const IkTool::Residual& residual : scene.tool.answer().residuals)
         EXPECT_LE(std::max(residual.position, residual.orientation), 1e-9);
      EXPECT_TRUE(settings.mayBaseMove ||
                  scene.found().coordSysXForm() == scene.position.coordSysXForm());
   }
   EXPECT_GE(solved, trees - 3); // sharp corners of narrow limits may hide from a hundred starts
}

// A few hundred poses of the arm of the benchmark, of three sizes, and with weights far from each other: what can be
// met is. Nothing is allocated on the way.
TEST(InverseKinematics, ReachesPosesOfAnArmWithLimits)
{
   constexpr ZqReal sizesAndWeights[][2] = {{1.0, 1.0}, {1e-3, 1e8}, {1e3, 1e-8}};
   for (const auto& [size, weight] : sizesAndWeights)
   {
      RandomValues random(7);
      ZqIndividualManipulator arm = sevenAxisArm();
      arm.scaleBy(size);
      IkScene scene(arm);
      IkTarget target = IkTarget::pose(6, {});
      target.orientationWeights *= weight;
      ASSERT_TRUE(scene.solve({target}));
      for (int i = 0; i < 100; ++i)
      {
         scene.drawWithinLimits(random);
         const ZqCoordinateSystemTransformation goal = scene.frame(6, scene.position);
         scene.drawWithinLimits(random);
         ASSERT_TRUE(scene.tool.setGoal(0, goal));
         const AllocationCount count;
         ASSERT_TRUE(scene.tool.solve(scene.position));
         // But for the stream of random numbers.
         EXPECT_LE(count.count(), scene.tool.answer().restarts > 0 ? 2U : 0U);
         EXPECT_TRUE(scene.tool.answer().isSolved);
         EXPECT_LT(scene.cost({IkTarget::pose(6, goal)}, scene.found()), 1e-22);
         EXPECT_TRUE(scene.isWithinLimits());
      }
   }
}

// At the answer the cost rises in every direction in which joints may go: the conditions of Karush, Kuhn and
// Tucker, with derivatives by differences of frames.
TEST(InverseKinematics, LeavesTheLeastErrorOfWhatIsNotReached)
{
   struct Case
   {
      const char* what;
      ZqVector goal;
      ZqReal orientationWeight;
      IkTool::Obstacle obstacle;
      bool isBeyondReach;
   };
   const Case cases[] = {
      {"too far", {2.0, 0.7, 0.4}, 0.0, IkTool::Obstacle::Reach, true},
      {"behind limits", {-0.9, 0.3, -0.6}, 0.0, IkTool::Obstacle::Limits, false},
      {"an orientation that contradicts", {0.8, 0.8, 0.1}, 0.2, IkTool::Obstacle::None, false},
   };
   IkTool::Settings settings;
   settings.maxRestarts = 10;
   for (const Case& is : cases)
   {
      SCOPED_TRACE(is.what);
      ZqIndividualManipulator arm = sevenAxisArm();
      if (is.obstacle == IkTool::Obstacle::Limits)
         for (ZqU32 i = 0; i < 7; ++i)
         {
            ZqJointActuator drive = arm.linkByIndex(i)->jointActuator();
            drive.setLowerLimit(-0.3);
            drive.setUpperLimit(0.4);
            arm.linkByIndex(i)->setJointActuator(drive);
         }
      IkScene scene(arm);
      IkTarget target = IkTarget::pose(6, {is.goal, ZqOrientation::xRotation(2.0)});
      target.positionWeights = {1.0, 1.0, 1.0};
      target.orientationWeights = ZqVector(1.0, 1.0, 1.0) * is.orientationWeight;
      ASSERT_TRUE(scene.solve({target}, settings));
      const IkTool::Answer& answer = scene.tool.answer();
      EXPECT_FALSE(answer.isSolved);
      EXPECT_TRUE(answer.obstacle == is.obstacle || is.obstacle == IkTool::Obstacle::None);
      EXPECT_NE(answer.obstacle, IkTool::Obstacle::Time);
      EXPECT_EQ(answer.isBeyondReach, is.isBeyondReach);
      EXPECT_TRUE(scene.isWithinLimits());
      std::set<ZqU32> atLimit;
      for (const auto& [joint, isUpper, isInTheWay] : answer.limits)
      {
         EXPECT_EQ(scene.found().jointPositions()[joint], scene.limit(joint, isUpper));
         atLimit.insert(joint);
         const ZqReal slope =
            scene.slope(scene.found(), joint,
                        [&](const ZqPositionState& at) { return scene.cost({target}, at); });
         EXPECT_EQ(isInTheWay, (isUpper ? -slope : slope) > 0.0) << joint << ' ' << slope;
      }
      for (ZqU32 joint = 0; joint < 7; ++joint)
      {
         const ZqReal slope =
            scene.slope(scene.found(), joint,
                        [&](const ZqPositionState& at) { return scene.cost({target}, at); });
         // Steps end where a step gains nothing that is not rounding: the square of a slope.
         EXPECT_LT(atLimit.count(joint) == 0 ? std::abs(slope) : 0.0, 1e-7) << joint;
      }
   }
}

TEST(InverseKinematics, MeetsNamedComponentsAlone)
{
   // The last rod may turn about its goal: five joints keep a height and an angle.
   IkScene scene(rods(5, 2.0));
   IkTarget target = IkTarget::pose(4, {ZqVector(7.0, 1.5, 0.0), ZqOrientation::zRotation(0.4)});
   target.positionWeights = {0.0, 1.0, 0.0};
   ASSERT_TRUE(scene.solve({target}));
   EXPECT_FALSE(scene.tool.answer().isBeyondReach);
   ASSERT_TRUE(scene.tool.answer().isSolved);
   // Along the axes of the goal, which is turned.
   const ZqCoordinateSystemTransformation error =
      target.goal.inverse() * scene.frame(4, scene.found());
   EXPECT_NEAR(error.translation().y(), 0.0, 1e-12);
   EXPECT_GT(std::abs(error.translation().x()), 1.0);
   EXPECT_NEAR(error.orientation().z(), 0.0, 1e-12);

   // A free base goes where it is wanted, though the slope of half a turn is zero.
   ZqIndividualManipulator free = rods(1, 2.0);
   free.setIsFixedBase(false);
   IkScene flying(free);
   IkTool::Settings settings;
   settings.mayBaseMove = true;
   target = IkTarget::pose(ZqBaseLinkIndex, {ZqVector(1.0, 2.0, 3.0), {0.0, 1.0, 0.0, 0.0}});
   ASSERT_TRUE(flying.solve({target}, settings));
   EXPECT_TRUE(flying.tool.answer().isSolved);
}

// The gradient of the cost of the posture has no part along motions that keep the targets, but against limits.
TEST(InverseKinematics, TakesThePostureThatIsNearest)
{
   RandomValues random(3);
   for (int i = 0; i < 20; ++i)
   {
      IkScene scene(rods(5, i % 2 == 0 ? 3.0 : 1.2));
      scene.drawWithinLimits(random);
      const ZqVector tip(1.0, 0.0, 0.0);
      const ZqVector goal = scene.frame(4, scene.position) * tip;
      scene.drawWithinLimits(random);
      IkTool::Settings settings;
      settings.maxIterations = 1000;
      for (ZqU32 k = 0; k < 5; ++k)
      {
         settings.posture.push_back(random.real(-0.8, 0.8));
         settings.jointWeights.push_back(random.real(0.5, 2.0));
      }
      ASSERT_TRUE(scene.solve({IkTarget::position(4, goal, tip)}, settings));
      ASSERT_TRUE(scene.tool.answer().isSolved) << i;
      ASSERT_TRUE(scene.tool.answer().isPostureBest) << i;
      const auto& q = scene.found().jointPositions();
      // Free joints: their gradient is a sum of the two rows of the Jacobian, by least squares.
      ZqReal rows[2][5], gradient[5];
      bool isFree[5];
      for (ZqU32 k = 0; k < 5; ++k)
      {
         for (ZqU32 r = 0; r < 2; ++r)
            rows[r][k] = scene.slope(scene.found(), k,
                                     [&](const ZqPositionState& at)
                                     { return (scene.frame(4, at) * tip)[r]; });
         gradient[k] = settings.jointWeights[k] * (q[k] - settings.posture[k]);
         isFree[k] = q[k] != scene.limit(k, false) && q[k] != scene.limit(k, true);
      }
      ZqReal a = 0.0, b = 0.0, c = 0.0, u = 0.0, v = 0.0;
      for (ZqU32 k = 0; k < 5; ++k)
         if (isFree[k])
         {
            a += rows[0][k] * rows[0][k];
            b += rows[0][k] * rows[1][k];
            c += rows[1][k] * rows[1][k];
            u += rows[0][k] * gradient[k];
            v += rows[1][k] * gradient[k];
         }
      const ZqReal x = (c * u - b * v) / (a * c - b * b);
      const ZqReal y = (a * v - b * u) / (a * c - b * b);
      for (ZqU32 k = 0; k < 5; ++k)
      {
         const ZqReal rest = gradient[k] - x * rows[0][k] - y * rows[1][k];
         const ZqReal against = q[k] == scene.limit(k, false) ? -rest : rest;
         EXPECT_LT(isFree[k] ? std::abs(rest) : against, 1e-8) << i;
      }
   }
}

TEST(InverseKinematics, HoldsGearsAndLoops)
{
   // Joint 2 mimics joint 1 with a factor and an offset, from wherever it starts.
   ZqIndividualManipulator geared = rods(4, 2.5);
   ZqLinearStateEqualityConstraint gear;
   ZqLinearStateEqualityConstraint::Weights joints;
   joints.pushBack(ZqXmlVectorBasicType<ZqReal>(std::vector<ZqReal>{0.0, -0.5, 1.0}));
   ZqLinearStateEqualityConstraint::Weights base;
   base.pushBack(ZqXmlVectorBasicType<ZqReal>(std::vector<ZqReal>(6)));
   gear.setJointWeights(joints);
   gear.setBaseWeights(base);
   gear.setWeightedSums(std::vector<ZqReal>{0.0});
   ZqStateEqualityConstraintVector constraints;
   constraints.pushBack(gear);
   geared.setStateEqualityConstraints(constraints);
   RandomValues random(5);
   IkScene scene(geared);
   ZqPositionState home = scene.position;
   home.jointPositions().values() = {0.0, 0.2, 0.4, 0.0};
   scene.scene.setIndividualPositionState(0, home);
   ASSERT_TRUE(scene.tool.setManipulator(scene.scene, 0));
   int solved = 0;
   for (int i = 0; i < 50; ++i)
   {
      scene.drawWithinLimits(random);
      auto& q = scene.position.jointPositions();
      q[2] = 0.3 + 0.5 * q[1];
      const ZqCoordinateSystemTransformation goal = scene.frame(3, scene.position);
      scene.drawWithinLimits(random);
      ASSERT_TRUE(scene.solve({IkTarget::pose(3, goal)}));
      solved += scene.tool.answer().isSolved ? 1 : 0;
      EXPECT_NEAR(scene.found().jointPositions()[2] - 0.5 * scene.found().jointPositions()[1], 0.3,
                  1e-12);
      EXPECT_TRUE(scene.isWithinLimits());
   }
   EXPECT_EQ(solved, 50);

   // Rods in a ring of four, with a fifth behind the ring; also where the goal is out of reach.
   ZqIndividualManipulator ring = rods(4, 3.1);
   ZqStateEqualityConstraintVector closed;
   closed.pushBack(
      pin<ZqPointStateEqualityConstraint>("label2", {1.0, 0.0, 0.0}, "base", {1.2, 0.0, 0.0}));
   ring.setStateEqualityConstraints(closed);
   IkScene loop(ring);
   loop.position.jointPositions().values() = {1.0, -1.0, -1.0, 0.3};
   for (const ZqVector& goal : {ZqVector(0.3, 1.4, 0.0), ZqVector(0.0, 9.0, 0.0)})
   {
      ASSERT_TRUE(loop.solve({IkTarget::position(1, goal, {0.5, 0.0, 0.0})}));
      EXPECT_LT(
         (loop.frame(2, loop.found()) * ZqVector(1.0, 0.0, 0.0) - ZqVector(1.2, 0.0, 0.0)).mag(),
         1e-11);
   }
   EXPECT_FALSE(loop.tool.answer().isSolved);
}

TEST(InverseKinematics, FollowsFromTheSeed)
{
   IkScene scene(sevenAxisArm());
   scene.position.jointPositions().values() = {2.7, -1.8, 2.5, 2.0, -2.7, 1.9, -2.8};
   RandomValues random(11);
   ZqPositionState reached = scene.position;
   for (ZqReal& q : reached.jointPositions().values())
      q = random.real(-1.9, 1.9);
   const std::vector<IkTarget> targets{
      IkTarget::pose(6, scene.frame(6, reached)),
      IkTarget::position(3, {5.0, 0.0, 0.0})}; // never met: all starts
   IkTool::Settings settings;
   settings.maxRestarts = 5;
   std::set<std::vector<ZqReal>> answers;
   ZqU32 restarts = 0;
   for (const ZqU32 seed : {1U, 2U, 1U, 2U})
   {
      settings.seed = seed;
      ZqRandom::uniformRandom(0.0, 1.0); // what others draw has no say
      ASSERT_TRUE(scene.solve(targets, settings));
      restarts += scene.tool.answer().restarts;
      std::vector<ZqReal> q = scene.found().jointPositions().values();
      q.push_back(scene.tool.answer().iterations);
      answers.insert(q);
   }
   EXPECT_EQ(restarts, 20U);
   EXPECT_EQ(answers.size(), 2U);
}

// An attached arm reaches from where its carrier has it; a joint of infinite weight stays.
TEST(InverseKinematics, StandsOnItsCarrier)
{
   ZqStatedSystem scene;
   scene.setFromManipulator(rods(2, 2.0));
   ZqIndividualManipulator arm = sevenAxisArm();
   arm.setManipulatorLabel("arm");
   scene.addManipulator(arm);
   ZqPositionState carrier = scene.state().positionStates()[0];
   carrier.jointPositions().values() = {0.4, -0.9};
   scene.setIndividualPositionState(0, carrier);
   ASSERT_TRUE(
      scene.attachManipulator("arm", "manipulator", "label1", {ZqVector(1.0, 0.0, 0.2)}, "mount"));
   const ZqVector goal(2.1, 0.3, 0.9);
   IkTool tool;
   ASSERT_TRUE(tool.setManipulator(scene, 1));
   IkTool::Settings settings;
   settings.jointWeights = {1, 1, std::numeric_limits<ZqReal>::infinity(), 1, 1, 1, 1};
   ASSERT_TRUE(tool.setSettings(settings) && tool.setTargets({IkTarget::position(6, goal)}) &&
               tool.solve());
   ASSERT_TRUE(tool.answer().isSolved);
   EXPECT_EQ(tool.answer().position.jointPositions()[2],
             scene.state().positionStates()[1].jointPositions()[2]);
   scene.setIndividualPositionState(1, tool.answer().position);
   scene.placeAttachedManipulators();
   ZqManipulatorActiveState active;
   active.setPositionState(scene.state().positionStates()[1]);
   EXPECT_LT((scene.manipulatorByIndex(1)
                 ->linkByIndex(6)
                 ->primaryFrameInSystem(active.activePositionState())
                 .translation() -
              goal)
                .mag(),
             1e-9);
}

TEST(InverseKinematics, RefusesWhatMeansNothing)
{
   const ZqReal nan = std::numeric_limits<ZqReal>::quiet_NaN();
   const LogCapture log;
   IkTool tool;
   EXPECT_FALSE(tool.setTargets({IkTarget::position(0, {})}));
   EXPECT_FALSE(tool.solve());
   ZqStatedSystem scene;
   scene.setFromManipulator(sevenAxisArm());
   EXPECT_FALSE(tool.setManipulator(scene, 1));
   ASSERT_TRUE(tool.setManipulator(scene, 0));
   EXPECT_FALSE(tool.solve()) << "without targets";
   IkTarget weightless = IkTarget::pose(6, {});
   weightless.positionWeights = weightless.orientationWeights = ZqVector();
   IkTarget negative = IkTarget::pose(6, {});
   negative.positionWeights = {1.0, -1.0, 1.0};
   IkTarget weightNan = negative;
   weightNan.positionWeights = {nan, 1.0, 1.0};
   const std::vector<std::vector<IkTarget>> refused{
      {},
      {IkTarget::position(7, {})},
      {IkTarget::position(6, {nan, 0.0, 0.0})},
      {IkTarget::position(6, {}, {0.0, 1e300, 0.0})},
      {IkTarget::pose(6, {ZqOrientation(0.0, 0.0, 0.0, 0.0)})},
      {IkTarget::pose(6, {ZqOrientation(1.0, nan, 0.0, 0.0)})},
      {IkTarget::axis(6, {}, {0.0, 0.0, 1.0})},
      {weightless},
      {negative},
      {weightNan},
      {IkTarget::pose(6, {}), weightless}};
   for (std::size_t k = 0; k < refused.size(); ++k)
      EXPECT_FALSE(tool.setTargets(refused[k])) << k;
   std::vector<IkTool::Settings> settings(5);
   settings[0].tolerance = nan;
   settings[1].posture = {0.0};
   settings[2].posture.assign(7, nan);
   settings[3].jointWeights.assign(7, 0.0);
   settings[4].jointWeights.assign(7, nan);
   for (std::size_t k = 0; k < settings.size(); ++k)
      EXPECT_FALSE(tool.setSettings(settings[k])) << k;
   ASSERT_TRUE(tool.setTargets({IkTarget::position(6, {0.3, 0.3, 0.3})}));
   EXPECT_FALSE(tool.setGoal(1, {}));
   EXPECT_FALSE(tool.setGoal(0, {ZqVector(0.0, 0.0, nan)}));
   ZqPositionState start = scene.state().positionStates()[0];
   start.jointPositions()[3] = nan;
   EXPECT_FALSE(tool.solve(start));
   EXPECT_FALSE(tool.solve(ZqPositionState()));
   EXPECT_TRUE(tool.solve() && tool.answer().isSolved) << "what was refused left no trace";
   scene.editManipulator(0, [](ZqIndividualManipulator& arm) { arm.scaleBy(2.0); });
   EXPECT_FALSE(tool.solve()) << "of a model that has changed";
   scene = ZqStatedSystem();
   EXPECT_FALSE(tool.solve() || tool.setGoal(0, {})) << "of one that is gone";
}
