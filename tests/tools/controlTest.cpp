#include "support/allocationCount.h"
#include "support/comparison.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"
#include "zqManipulator/simulation/step/ZqInputTable.h"
#include "zqManipulator/tools/control/ZqComputedTorqueController.h"
#include "zqManipulator/tools/control/ZqFifthOrderTrajectory.h"
#include "zqManipulator/tools/control/ZqOperationalSpaceController.h"
#include "zqManipulator/tools/control/ZqPdGravityController.h"
#include "zqManipulator/tools/control/ZqTorquesAlong.h"
#include "zqManipulator/tools/control/ZqTrapezoidalTrajectory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <sstream>

namespace
{
using zqTest::Comparison;
using zqTest::RandomScene;
using Task = ZqOperationalSpaceController::Task;

ZqIndividualManipulator drivenModel(ZqU32 seed, const zqTest::Parents& parents)
{
   zqTest::SceneKind kind{parents};
   kind.hasLinkages = true;
   const RandomScene scene(seed, kind);
   ZqIndividualManipulator model = scene.manipulator();
   for (ZqU32 i = 0; i < model.jointDof(); ++i)
   {
      ZqMechanicalActuatorComponent drive;
      if (const auto* own = scene.driveOf(i))
         drive = *own;
      drive.setStaticCoulombFriction(0.3);
      drive.setKineticCoulombFrictionPercentage(0.7);
      drive.setLimitingVelocityStickRegion(1e-9);
      ZqJointActuator actuator;
      actuator.setMechanicalComponent(drive);
      model.linkByIndex(i)->setJointActuator(actuator);
   }
   return model;
}

/// A scene of which each joint has a drive with every loss, and the forward dynamics of it.
struct DrivenScene : RandomScene
{
   explicit DrivenScene(ZqU32 seed, const zqTest::Parents& parents)
      : RandomScene(seed, drivenModel(seed, parents)), isEven(seed % 2 == 0)
   {
      velocity.setGeneralVelocity(ZqGeneralMotion());
   }

   /// The accelerations that torques at the motors bring about.
   ZqRealVector accelerations(const ZqManipulatorTorque& motorTorques)
   {
      ZqManipulatorExternalForce none;
      none.resize(jointDof());
      ZqAccelerationState result;
      active = activeState();
      isEven ? crbi.acceleration(system, manipulator(), motorTorques, none, result, active, true)
             : arbi.acceleration(system, manipulator(), position, velocity, motorTorques, none,
                                 result, active);
      return result.jointAccelerations().values();
   }
   /// How a point of a link moves when joints accelerate, by the queries of the link.
   ZqTaskMotion motionOf(const ZqManipulatorLink& link, const ZqVector& point,
                         const ZqRealVector& jointAccelerations)
   {
      ZqAccelerationState state;
      state.setJointAccelerations(jointAccelerations);
      active = activeState();
      active.setAccelerationState(state);
      const ZqVector r = link.primaryFrame() * point;
      const ZqCoordinateSystemTransformation X = link.dhFrameInSystem(active.activePositionState());
      const ZqGeneralMotion V = link.dhFrameVelocityInLocal(active);
      const ZqGeneralMotion A = link.dhFrameAccelerationInLocal(active);
      const ZqVector w = V.angular();
      const ZqOrientation& R = X.orientation();
      return {X * r,
              R * (V.linear() + w.cross(r)),
              R * (A.linear() + A.angular().cross(r) + w.cross(w.cross(r))),
              R * link.primaryFrame().orientation(),
              R * w,
              R * A.angular()};
   }

   bool isEven;
   ZqManipulatorActiveState active;
   ZqCrbiAccelerationTool crbi;
   ZqArbiAccelerationTool arbi;
};

TEST(Controllers, ErrorsOfComputedTorqueHaveTheirOwnLinearDynamics)
{
   for (ZqU32 seed = 0; seed < 100; ++seed)
   {
      SCOPED_TRACE(seed);
      zqTest::RandomValues random(seed);
      DrivenScene scene(seed, zqTest::randomTree(random, random.index(1, 9)));
      const ZqU32 n = scene.jointDof();
      ZqComputedTorqueController controller(scene.system, scene.index);
      controller.setCompensatesFriction(true);
      std::vector<ZqControlGains> gains(n);
      for (ZqControlGains& gain : gains)
         gain = {random.real(0.0, 20.0), random.real(0.0, 9.0)};
      controller.setGains(gains);
      const ZqTrajectoryPoint desired{scene.randomReals(n, 2.0), scene.randomReals(n, 2.0),
                                      scene.randomReals(n, 2.0)};
      ASSERT_TRUE(controller.update(scene.position, scene.velocity, desired));
      const ZqRealVector accelerations = scene.accelerations(controller.motorTorques());
      Comparison compare;
      for (ZqU32 i = 0; i < n; ++i)
      {
         const ZqReal e = desired.positions[i] - scene.position.jointPositions()[i];
         const ZqReal rate = desired.velocities[i] - scene.velocity.jointVelocities()[i];
         compare("e''", desired.accelerations[i] - accelerations[i],
                 -gains[i].derivative * rate - gains[i].proportional * e);
      }
      compare.expectWithin(1e-10L);
   }
}

TEST(Controllers, TasksAccelerateAsToldWhateverThePosture)
{
   int undamped = 0;
   for (ZqU32 seed = 0; seed < 100; ++seed)
   {
      SCOPED_TRACE(seed);
      DrivenScene scene(seed, zqTest::chain(8));
      zqTest::RandomValues random(seed);
      const ZqU32 n = scene.jointDof();
      const auto task = static_cast<Task>(seed % 3);
      const ZqU32 link = task == Task::Pose ? n - 1 : random.index(n - 3, n - 1);
      const ZqVector point = random.vector();
      const ZqTaskMotion now = scene.motionOf(scene.link(link), point, {});
      const ZqVector e = random.vector(), turn = random.vector();
      const ZqTaskMotion desired{
         now.position + e, random.vector(),
         random.vector(),  ZqOrientation::exponential(turn) * now.orientation,
         random.vector(),  random.vector()};
      const ZqControlGains gains = ZqControlGains::criticallyDamped(random.real(1.0, 5.0));
      ZqOperationalSpaceController controller(scene.system, scene.index, task, link, point);
      controller.setCompensatesFriction(true);
      controller.setTaskGains(gains);

      const ZqControlGains postureGains{3.0, 2.0};
      ZqRealVector joints[2], forced[2];
      for (int k = 0; k < 2; ++k)
      {
         const ZqRealVector posture = scene.randomReals(n, 2.0);
         controller.setPosture(postureGains, posture);
         ASSERT_TRUE(controller.update(scene.position, scene.velocity, desired));
         joints[k] = scene.accelerations(controller.motorTorques());
         for (ZqU32 i = 0; i < n; ++i)
            forced[k].push_back(joints[k][i] -
                                (3.0 * (posture[i] - scene.position.jointPositions()[i]) -
                                 2.0 * scene.velocity.jointVelocities()[i]));
         if (controller.isDamped())
            continue;
         ++undamped;
         const ZqTaskMotion moved = scene.motionOf(scene.link(link), point, joints[k]);
         const ZqVector linear = desired.acceleration + gains.proportional * e +
                                 gains.derivative * (desired.velocity - now.velocity);
         const ZqVector angular =
            desired.angularAcceleration + gains.proportional * turn +
            gains.derivative * (desired.angularVelocity - now.angularVelocity);
         Comparison compare;
         for (const ZqReal a : joints[k])
            compare.scale("task", a);
         for (ZqU32 c = 0; c < 3; ++c)
         {
            if (task != Task::Orientation)
               compare("task", moved.acceleration[c], linear[c]);
            if (task != Task::Position)
               compare("task", moved.angularAcceleration[c], angular[c]);
         }
         compare.expectWithin(1e-9L);
      }
      if (controller.isDamped())
         continue;

      // What moves between two postures is free, and the force of the task does no work on it.
      ZqMotionDerivativeTool tool;
      tool.setManipulator(&scene.manipulator());
      const ZqReArray& M = tool.torqueByAcceleration(scene.active);
      ZqReal work = 0.0, size = 0.0, free = 0.0;
      for (ZqU32 i = 0; i < n; ++i)
      {
         const ZqReal d = joints[1][i] - joints[0][i];
         free = std::max(free, std::abs(d));
         for (ZqU32 j = 0; j < n; ++j)
         {
            work += d * M[i][j] * forced[0][j];
            size += std::abs(d * M[i][j] * forced[0][j]);
         }
      }
      EXPECT_GT(free, 1e-3);
      EXPECT_LE(std::abs(work), 1e-9 * size);
   }
   EXPECT_GT(undamped, 150);
}

TEST(Controllers, TasksWithMoreRowsThanJointsAreFollowedAsFarAsJointsCan)
{
   for (ZqU32 seed = 0; seed < 20; ++seed)
   {
      SCOPED_TRACE(seed);
      DrivenScene scene(seed, zqTest::chain(2));
      ZqOperationalSpaceController controller(scene.system, scene.index, Task::Pose, 1);
      controller.setCompensatesFriction(true);
      controller.setLeastEigenvalue(1e-9);
      const ZqRealVector possible = scene.randomReals(2, 2.0);
      ASSERT_TRUE(controller.update(scene.position, scene.velocity,
                                    scene.motionOf(scene.link(1), {}, possible)));
      EXPECT_TRUE(controller.isDamped());
      const ZqRealVector done = scene.accelerations(controller.motorTorques());
      Comparison compare;
      for (ZqU32 i = 0; i < 2; ++i)
         compare("joint", done[i], possible[i]);
      compare.expectWithin(1e-6L);

      // What no joint can do is damped away, and asks for nothing beyond bounds.
      controller.setLeastEigenvalue(1e-3);
      ZqTaskMotion impossible;
      impossible.acceleration = {1.0, 1.0, 1.0};
      ASSERT_TRUE(controller.update(scene.position, scene.velocity, impossible));
      for (const ZqReal a : scene.accelerations(controller.motorTorques()))
         EXPECT_LT(std::abs(a), 1e3);
   }
}

TEST(Controllers, RefuseWhatTheyCannotControl)
{
   const auto change = [](DrivenScene& scene, const auto& action)
   { scene.system.editManipulator(scene.index, action); };
   using Spoil = std::function<void(DrivenScene&, ZqTrajectoryPoint&)>;
   const std::pair<const char*, Spoil> cases[] = {
      {"the scene does not have it", [](DrivenScene& scene, auto&) { scene.index = 99; }},
      {"its base is not fixed", [&](DrivenScene& scene, auto&)
       { change(scene, [](auto& model) { model.setIsFixedBase(false); }); }},
      {"a drive has a flexible shaft",
       [&](DrivenScene& scene, auto&)
       {
          ZqJointActuator actuator = ZqJointActuator::defaultObject();
          actuator.setIsRigid(false);
          change(scene, [&](auto& model) { model.linkByIndex(1)->setJointActuator(actuator); });
       }},
      {"the state does not have its joints",
       [](DrivenScene& scene, auto&) { scene.velocity.jointVelocities().resize(2); }},
      {"the desired point does not have its joints",
       [](DrivenScene&, ZqTrajectoryPoint& desired) { desired.velocities.resize(1); }},
      {"a torque is not finite",
       [](DrivenScene&, ZqTrajectoryPoint& desired) { desired.positions[2] = zqTest::nan; }},
   };
   for (const auto& [why, spoil] : cases)
   {
      DrivenScene scene(4, zqTest::chain(3));
      ZqTrajectoryPoint desired{scene.randomReals(3, 1.0), {}, {}};
      spoil(scene, desired);
      ZqComputedTorqueController controller(scene.system, scene.index);
      controller.setGains({{1.0, 1.0}});
      const zqTest::LogCapture log;
      EXPECT_FALSE(controller.update(scene.position, scene.velocity, desired));
      EXPECT_TRUE(log.contains(why)) << why << ": " << log.text();
      for (const ZqReal torque : controller.motorTorques().jointTorques())
         EXPECT_EQ(torque, 0.0);
   }
   DrivenScene scene(4, zqTest::chain(3));
   const zqTest::LogCapture log;
   ZqOperationalSpaceController hand(scene.system, scene.index, Task::Pose, 3);
   EXPECT_FALSE(hand.update(scene.position, scene.velocity, {}));
   ZqTaskMotion nowhere;
   nowhere.orientation = {0.0, 0.0, 0.0, 0.0};
   ZqOperationalSpaceController wrist(scene.system, scene.index, Task::Orientation, 2);
   EXPECT_FALSE(wrist.update(scene.position, scene.velocity, nowhere));
   ZqSimulation simulation(scene.system);
   EXPECT_FALSE(ZqPdGravityController(scene.system, 99).drive(simulation, {}));
}

TEST(Controllers, UpdatesAllocateNothing)
{
   DrivenScene scene(2, zqTest::chain(7));
   ZqComputedTorqueController joints(scene.system, scene.index);
   ZqPdGravityController posture(scene.system, scene.index);
   ZqOperationalSpaceController hand(scene.system, scene.index, Task::Pose, 6);
   joints.setCompensatesFriction(true);
   hand.setCompensatesFriction(true);
   const ZqTrajectoryPoint desired{scene.randomReals(7, 1.0), {}, {}};
   hand.setPosture({1.0, 1.0}, desired.positions);
   std::size_t allocations = 0;
   for (int k = 0; k < 3; ++k)
   {
      scene.position.jointPositions()[k] += 0.1;
      const zqTest::AllocationCount count;
      EXPECT_TRUE(joints.update(scene.position, scene.velocity, desired));
      EXPECT_TRUE(posture.update(scene.position, scene.velocity, desired.positions));
      EXPECT_TRUE(hand.update(scene.position, scene.velocity, {}));
      allocations = count.count();
   }
   EXPECT_EQ(allocations, 0U);
}

/// The greatest share of limits that is used, while each rate is that of what it is the rate of, which does not jump.
ZqReal usedOfLimits(const ZqBaseTrajectory& trajectory, const ZqRealVector& velocityLimits,
                    const ZqRealVector& accelerationLimits)
{
   constexpr int steps = 20000;
   ZqReal used = 0.0;
   const ZqReal dt = trajectory.duration() / steps;
   ZqTrajectoryPoint start, middle;
   trajectory.evaluate(0.0, start);
   ZqTrajectoryPoint sum = start;
   for (int k = 0; k < steps; ++k)
   {
      trajectory.evaluate((k + 0.5) * dt, middle);
      for (ZqU32 i = 0; i < trajectory.jointCount(); ++i)
      {
         const ZqReal A = accelerationLimits[i];
         used = std::max({used, std::abs(middle.velocities[i]) / velocityLimits[i],
                          std::abs(middle.accelerations[i]) / A});
         // By the rule of midpoints, which is off by at most a jump of the acceleration in one step of each
         // of four ramps, and by what the acceleration turns within steps.
         EXPECT_NEAR(sum.positions[i] + 0.5 * dt * middle.velocities[i], middle.positions[i],
                     4.0 * A * trajectory.duration() * dt);
         EXPECT_NEAR(sum.velocities[i] + 0.5 * dt * middle.accelerations[i], middle.velocities[i],
                     20.0 * A * dt);
         sum.positions[i] += dt * middle.velocities[i];
         sum.velocities[i] += dt * middle.accelerations[i];
      }
   }
   return used;
}

/// The least time to go a distance from rest to rest: along it, the highest velocity from which one may still
/// stop, in small pieces that are finer at both ends.
ZqReal bruteForceTime(ZqReal distance, ZqReal velocity, ZqReal acceleration)
{
   constexpr int pieces = 20000;
   ZqReal time = 0.0;
   for (int k = 0; k < pieces; ++k)
   {
      const ZqReal angle = zqTest::pi * (k + 0.5) / pieces;
      const ZqReal s = 0.5 * distance * (1.0 - std::cos(angle));
      const ZqReal ds = 0.5 * distance * std::sin(angle) * zqTest::pi / pieces;
      time += ds / std::min(velocity, std::sqrt(2.0 * acceleration * std::min(s, distance - s)));
   }
   return time;
}

TEST(Trajectories, TrapezoidsGoThroughWayPointsInTheLeastTime)
{
   for (ZqU32 seed = 0; seed < 20; ++seed)
   {
      SCOPED_TRACE(seed);
      zqTest::RandomValues random(seed);
      const ZqU32 joints = random.index(1, 4);
      const auto reals = [&](ZqReal least, ZqReal greatest)
      {
         ZqRealVector values(joints);
         for (ZqReal& value : values)
            value = random.real(least, greatest);
         return values;
      };
      const ZqRealVector V = reals(0.2, 4.0), A = reals(0.2, 4.0);
      std::vector<ZqRealVector> points{reals(-3.0, 3.0), reals(-3.0, 3.0), reals(-3.0, 3.0)};
      points[2][0] = points[1][0];
      points.insert(points.begin() + 1, points[0]); // where nothing moves
      ZqTrapezoidalTrajectory trajectory;
      ASSERT_TRUE(trajectory.set(points, V, A));
      EXPECT_NEAR(usedOfLimits(trajectory, V, A), 1.0, 1e-12);
      ZqTrajectoryPoint now;
      for (std::size_t k = 0; k < points.size(); ++k)
      {
         trajectory.evaluate(trajectory.times()[k], now);
         EXPECT_EQ(now.positions, points[k]);
         EXPECT_EQ(now.velocities, ZqRealVector(joints));
         ZqReal least = 0.0;
         for (ZqU32 i = 0; k > 0 && i < joints; ++i)
            least = std::max(least,
                             bruteForceTime(std::abs(points[k][i] - points[k - 1][i]), V[i], A[i]));
         // The pieces miss the corners of the velocity.
         if (k > 0)
         {
            EXPECT_NEAR(trajectory.times()[k] - trajectory.times()[k - 1], least, 1e-6);
         }
      }
      for (const ZqReal outside : {-1.0, trajectory.duration() + 1.0})
      {
         trajectory.evaluate(outside, now);
         EXPECT_EQ(now.positions, outside < 0.0 ? points.front() : points.back());
         EXPECT_EQ(now.accelerations, ZqRealVector(joints));
      }
   }
}

TEST(Trajectories, FifthOrderMeetsItsEndsAndItsLimits)
{
   for (ZqU32 seed = 0; seed < 20; ++seed)
   {
      SCOPED_TRACE(seed);
      RandomScene random(seed);
      const ZqTrajectoryPoint ends[] = {
         {random.randomReals(3, 3.0), random.randomReals(3, 3.0), random.randomReals(3, 3.0)},
         {random.randomReals(3, 3.0), random.randomReals(3, 3.0), random.randomReals(3, 3.0)}};
      ZqFifthOrderTrajectory trajectory;
      const ZqReal T = random.random.real(0.5, 3.0);
      ASSERT_TRUE(trajectory.set(ends[0], ends[1], T));
      ZqTrajectoryPoint now, after;
      for (const int k : {0, 1})
      {
         trajectory.evaluate(k * T, now);
         EXPECT_EQ(now.positions, ends[k].positions);
         EXPECT_EQ(now.velocities, ends[k].velocities);
         EXPECT_EQ(now.accelerations, ends[k].accelerations);
      }
      // Both halves are one polynomial.
      trajectory.evaluate(0.5 * T, now);
      trajectory.evaluate(std::nextafter(0.5 * T, T), after);
      for (ZqU32 i = 0; i < 3; ++i)
      {
         EXPECT_NEAR(now.positions[i], after.positions[i], 1e-13);
         EXPECT_NEAR(now.accelerations[i], after.accelerations[i], 1e-11);
      }

      // From rest to rest in the least time: within limits, and at one of them.
      const ZqRealVector V{random.random.real(0.2, 3.0), 1.0, 2.0};
      const ZqRealVector A{random.random.real(0.2, 3.0), 1.0, 2.0};
      const ZqReal least =
         ZqFifthOrderTrajectory::leastDuration(ends[0].positions, ends[1].positions, V, A);
      ASSERT_TRUE(trajectory.set({ends[0].positions, {}, {}}, {ends[1].positions, {}, {}}, least));
      // The grid misses the peak a little.
      const ZqReal used = usedOfLimits(trajectory, V, A);
      EXPECT_TRUE(used <= 1.0 + 1e-12 && used > 1.0 - 1e-7) << used;
   }
}

TEST(Trajectories, RefuseWhatIsNoMotion)
{
   const ZqReal nan = zqTest::nan;
   const zqTest::LogCapture log;
   ZqFifthOrderTrajectory fifth;
   struct Motion
   {
      ZqTrajectoryPoint start, end;
      ZqReal duration;
   };
   for (const auto& [start, end, duration] : {Motion{{{0.0}, {}, {}}, {{1.0, 2.0}, {}, {}}, 1.0},
                                              {{{0.0}, {1.0, 2.0}, {}}, {{1.0}, {}, {}}, 1.0},
                                              {{{0.0}, {}, {}}, {{nan}, {}, {}}, 1.0},
                                              {{{0.0}, {}, {}}, {{1.0}, {}, {}}, 0.0},
                                              {{{0.0}, {}, {}}, {{1.0}, {}, {}}, 1e-150},
                                              {{{0.0}, {}, {}}, {{1.0}, {}, {}}, nan}})
      EXPECT_FALSE(fifth.set(start, end, duration));
   EXPECT_TRUE(std::isnan(ZqFifthOrderTrajectory::leastDuration({0.0}, {1.0}, {1.0}, {0.0})));
   ZqTrapezoidalTrajectory trapezoid;
   EXPECT_FALSE(trapezoid.set({}, {}, {}));
   EXPECT_FALSE(trapezoid.set({{0.0}, {nan}}, {1.0}, {1.0}));
   EXPECT_FALSE(trapezoid.set({{0.0}, {1.0}}, {1.0}, {nan}));
   EXPECT_FALSE(trapezoid.set({{0.0}, {1.0}}, {1.0, 1.0}, {1.0}));
   EXPECT_FALSE(trapezoid.set({{-1e308}, {1e308}}, {1.0}, {1.0}));
   EXPECT_EQ(log.size(), 12U);
   EXPECT_EQ(fifth.jointCount() + trapezoid.jointCount(), 0U);
}

TEST(Trajectories, BecomeTablesThatDriveASimulationAlongThem)
{
   DrivenScene scene(3, zqTest::chain(3));
   scene.velocity.jointVelocities().assign(3, 0.0);
   scene.system.setIndividualVelocityState(scene.index, scene.velocity);
   const ZqRealVector start = scene.position.jointPositions().values();
   const ZqRealVector end{start[0] + 0.5, start[1] - 0.3, start[2] + 0.2};
   ZqFifthOrderTrajectory trajectory;
   ASSERT_TRUE(trajectory.set({start, {}, {}}, {end, {}, {}}, 0.5));

   ZqReal errors[2];
   for (const int k : {0, 1})
   {
      const ZqReal dt = k == 0 ? 2e-3 : 1e-3;
      ZqInputTable made, table;
      ASSERT_TRUE(Zq::torquesAlong(trajectory, scene.system, scene.index, dt, made));
      std::stringstream text, again;
      made.write(text);
      ASSERT_TRUE(table.read(text, "table", scene.system.system()));
      table.setInterpolation(made.interpolation());
      table.write(again);
      EXPECT_EQ(again.str(), text.str());

      ZqSimulation simulation(scene.system);
      const ZqReal begin = simulation.state().time();
      for (int step = 1; step <= 0.5 / dt + 0.5; ++step)
      {
         table.apply(simulation, begin + step * dt);
         ASSERT_TRUE(simulation.stepTo(begin + step * dt));
      }
      errors[k] = 0.0;
      for (ZqU32 i = 0; i < 3; ++i)
         errors[k] =
            std::max(errors[k],
                     std::abs(simulation.state().positionStates()[scene.index].jointPositions()[i] -
                              end[i]));
   }
   // The steps are of first order.
   EXPECT_LT(errors[1], 0.01);
   EXPECT_NEAR(errors[0] / errors[1], 2.0, 0.5);

   const zqTest::LogCapture log;
   ZqInputTable table = ZqInputTable::ofTorques(scene.system.system(), scene.index);
   const ZqRealVector values(3);
   EXPECT_TRUE(table.addLine(1.0, values));
   EXPECT_FALSE(table.addLine(1.0, values));
   EXPECT_FALSE(table.addLine(2.0, ZqRealVector(2)));
   EXPECT_FALSE(table.save("/nowhere/table.csv"));
   EXPECT_FALSE(Zq::torquesAlong(trajectory, scene.system, scene.index, 0.0, table));
   EXPECT_EQ(log.size(), 4U);
}
} // namespace
