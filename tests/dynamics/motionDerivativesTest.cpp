#include "support/allocationCount.h"
#include "support/comparison.h"
#include "support/logCapture.h"
#include "support/referenceDynamics.h"
#include "zqManipulator/dynamics/motion/ZqInverseDynamicsSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/dynamics/motion/ZqPositionSweep.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"

#include <gtest/gtest.h>

namespace
{
using zqTest::Comparison;
using zqTest::RandomScene;
using Axes = ZqMotionDerivativeTool::Axes;

/// A number with its derivative by one parameter.
struct Dual
{
   Dual(ZqReal value = 0.0, ZqReal derivative = 0.0) : x(value), d(derivative) {}
   friend Dual operator+(const Dual& a, const Dual& b) { return {a.x + b.x, a.d + b.d}; }
   friend Dual operator-(const Dual& a, const Dual& b) { return {a.x - b.x, a.d - b.d}; }
   friend Dual operator-(const Dual& a) { return {-a.x, -a.d}; }
   friend Dual operator*(const Dual& a, const Dual& b)
   {
      return {a.x * b.x, a.x * b.d + a.d * b.x};
   }

   ZqReal x, d;
};
using DualVector = zqMotion::Vec3<Dual>;

enum class By
{
   Position,
   Velocity,
   Acceleration
};

/// A scene in a random motion. The degrees of freedom of a free base come first; a fixed one is at rest.
struct MovingScene : RandomScene
{
   explicit MovingScene(ZqU32 seed, const zqTest::SceneKind& kind)
      : RandomScene(seed, kind), first(manipulator().isFixedBase() ? 0 : 6)
   {
      if (first == 0)
         velocity.setGeneralVelocity({});
      acceleration = randomAcceleration();
      if (seed % 2 == 0)
         addDampers();
      active = activeState();
      active.setAccelerationState(acceleration);
      tool.setManipulator(&manipulator());
   }
   explicit MovingScene(ZqU32 seed) : MovingScene(seed, zqTest::SceneKind::ofSeed(seed)) {}

   ZqU32 dof() const { return first + jointDof(); }
   /// Something of the joints and, in the axes of the system, of the base.
   ZqReArray column(const ZqRealVector& joints, ZqGeneralMotion base) const
   {
      base.transformBy(baseAxes().inverse());
      ZqReArray result(dof(), 1);
      for (ZqU32 i = 0; i < dof(); ++i)
         result[i][0] = i < first ? base[i] : joints[i - first];
      return result;
   }
   ZqReArray velocities() const
   {
      return column(velocity.jointVelocities().values(), velocity.generalVelocity());
   }
   ZqReArray accelerations() const
   {
      return column(acceleration.jointAccelerations().values(),
                    acceleration.generalAcceleration());
   }
   /// Changes one degree of freedom of the state.
   void change(By by, ZqU32 k, ZqReal step)
   {
      if (k >= first)
         (by == By::Position ? position.jointPositions()
                             : velocity.jointVelocities())[k - first] += step;
      else if (by == By::Velocity)
      {
         ZqGeneralMotion motion;
         motion.setScalarValue(k, step);
         motion.transformBy(baseAxes());
         velocity.generalVelocity() += motion;
      }
      else
      {
         ZqVector move;
         move[k % 3] = step;
         const ZqReal c = std::cos(step / 2.0);
         const ZqVector half = move * (std::sin(step / 2.0) / step);
         const ZqOrientation turn(c, half.x(), half.y(), half.z());
         position.setCoordSysXForm(position.coordSysXForm() *
                                   (k < 3 ? ZqCoordinateSystemTransformation(move)
                                          : ZqCoordinateSystemTransformation(turn)));
      }
   }

   ZqU32 first;
   ZqAccelerationState acceleration;
   ZqManipulatorActiveState active;
   ZqMotionDerivativeTool tool;

private:
   void addDampers()
   {
      const auto count = jointDof();
      system.editManipulator(index,
                             [&](ZqIndividualManipulator& model)
                             {
                                for (ZqU32 i = 0; i < count; ++i)
                                {
                                   ZqDamperProperties damper;
                                   damper.setDamperConstant(random.real(1.0, 3.0));
                                   damper.setWeightingFactors(ZqRealVector{random.real()});
                                   damper.setAssociatedJoints({link(i / 2).linkLabel()});
                                   model.linkByIndex(i)->setDamperProperties(damper);
                                }
                             });
   }
};

/// Base force and joint torques of the bodies, with their derivatives by one degree of freedom: the recursion
/// of Newton and Euler in dual numbers.
std::vector<ZqReal> derivativeOfInverseDynamics(const MovingScene& scene, By by, ZqU32 k)
{
   using namespace zqMotion;
   const Tree tree = scene.manipulator().motionPlan().tree();
   const auto n = static_cast<std::size_t>(tree.count);
   const auto seeded = [&](const ZqRealVector& values, By order)
   {
      std::vector<Dual> result(values.begin(), values.end());
      if (by == order && k >= scene.first)
         result[k - scene.first].d = 1.0;
      return result;
   };
   const auto q = seeded(scene.position.jointPositions().values(), By::Position);
   const auto qd = seeded(scene.velocity.jointVelocities().values(), By::Velocity);
   const auto qdd = seeded(scene.acceleration.jointAccelerations().values(), By::Acceleration);
   std::vector<Dual> c(n), s(n), torques(n);
   for (std::size_t i = 0; i < n; ++i)
   {
      c[i] = {std::cos(q[i].x / 2.0), -std::sin(q[i].x / 2.0) * q[i].d / 2.0};
      s[i] = {std::sin(q[i].x / 2.0), std::cos(q[i].x / 2.0) * q[i].d / 2.0};
   }
   std::vector<Turn<Dual>> turns(n);
   turnJoints<Dual>(tree, q.data(), c.data(), s.data(), nullptr, turns.data());

   // The motion of the base in its own axes, which a rotation about e changes by v x e.
   std::vector<LinkMotion<Dual>> motions(n + 1);
   const auto inBase = [&](ZqVector v, By order, bool isAngular)
   {
      v = scene.baseAxes().inverse() * v;
      ZqVector e;
      ZqVector change;
      if (k < scene.first)
         e[k % 3] = 1.0;
      if (by == By::Position && k >= 3)
         change = v.cross(e);
      else if (by == order && isAngular == (k >= 3))
         change = e;
      return DualVector{{v.x(), change.x()}, {v.y(), change.y()}, {v.z(), change.z()}};
   };
   const ZqGeneralMotion& a = scene.acceleration.generalAcceleration();
   motions[0].omega = inBase(scene.velocity.generalVelocity().angular(), By::Velocity, true);
   motions[0].alpha = inBase(a.angular(), By::Acceleration, true);
   motions[0].a = inBase(a.linear(), By::Acceleration, false);
   computeMotions<Dual>(tree, turns.data(), qd.data(), qdd.data(), nullptr, motions.data());
   std::vector<LinkForce<Dual>> forces(n + 1);
   computeBodyForces<Dual>(tree, motions.data(), forces.data());
   for (std::size_t i = 0; i <= n; ++i)
   {
      ZqGeneralForce external = i == 0 ? scene.external.baseForce() : scene.external.linkForces()[i - 1];
      if (i > 0)
         external.transformBy(dhFrameOf(tree.joints[i - 1]));
      for (const auto& [sum, part] : {std::pair(&forces[i].f, external.force()),
                                      std::pair(&forces[i].n, external.moment())})
         *sum -= DualVector{part.x(), part.y(), part.z()};
   }
   gatherForces<Dual>(tree, turns.data(), nullptr, forces.data(), torques.data());

   const auto& [f, m] = forces[0];
   std::vector<ZqReal> result{f.x.d, f.y.d, f.z.d, m.x.d, m.y.d, m.z.d};
   result.erase(result.begin(), result.begin() + (6 - scene.first));
   for (const Dual& torque : torques)
      result.push_back(torque.d);
   return result;
}

/// What springs, dampers and the inertia of drives add: all are linear.
ZqReal derivativeAtJoint(MovingScene& scene, By by, ZqU32 row, ZqU32 k)
{
   if (by == By::Acceleration)
      return row == k ? scene.driveInertia(row) : 0.0;
   const auto torque = [&](ZqReal step)
   {
      (by == By::Position ? scene.position.jointPositions() : scene.velocity.jointVelocities())[k] +=
         step;
      return scene.link(row).totalLocalTorque(scene.activeState());
   };
   return torque(1.0) - torque(-1.0);
}
} // namespace
