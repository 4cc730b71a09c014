#include "support/allocationCount.h"
#include "support/comparison.h"
#include "support/logCapture.h"
#include "support/referenceDynamics.h"
#include "zqManipulator/dynamics/motion/ZqInverseDynamicsSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/dynamics/motion/ZqPositionSweep.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"

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
   Dual& operator+=(const Dual& b) { return *this = *this + b; }
   Dual& operator-=(const Dual& b) { return *this = *this - b; }

   ZqReal x, d;
};
using DualVector = zqMotion::Vec3<Dual>;

enum class By
{
   Position,
   Velocity,
   Acceleration
};

/// A scene in a random motion, that of the base and gravity included. The degrees of freedom of a free base
/// come first.
struct MovingScene : RandomScene
{
   explicit MovingScene(ZqU32 seed, const zqTest::SceneKind& kind)
      : RandomScene(seed, kind), first(manipulator().isFixedBase() ? 0 : 6)
   {
      acceleration = randomAcceleration();
      acceleration.generalAcceleration() += ZqGeneralMotion(gravity, ZqVector());
      if (kind.hasSprings)
         addDampers();
      setActive();
   }
   explicit MovingScene(ZqU32 seed) : MovingScene(seed, zqTest::SceneKind::ofSeed(seed)) {}

   void setActive()
   {
      active = activeState();
      active.setAccelerationState(acceleration);
      tool.setManipulator(&manipulator());
   }
   /// A fixed base has no columns, so that it must not move where a product with these is all.
   void holdFixedBase()
   {
      if (first > 0)
         return;
      velocity.setGeneralVelocity({});
      acceleration.setGeneralAcceleration({});
      setActive();
   }
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
      return column(acceleration.jointAccelerations().values(), acceleration.generalAcceleration());
   }
   /// Changes one degree of freedom of the state.
   void change(By by, ZqU32 k, ZqReal step)
   {
      if (k >= first)
         (by == By::Position ? position.jointPositions() : velocity.jointVelocities())[k - first] +=
            step;
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
   computeBodyForces<Dual>(tree, tree.bodies, motions.data(), forces.data());
   for (std::size_t i = 0; i <= n; ++i)
   {
      ZqGeneralForce external =
         i == 0 ? scene.external.baseForce() : scene.external.linkForces()[i - 1];
      if (i > 0)
         external.transformBy(dhFrameOf(tree.joints[i - 1]));
      for (const auto& [sum, part] :
           {std::pair(&forces[i].f, external.force()), std::pair(&forces[i].n, external.moment())})
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

/// The same of what springs, dampers and drives take at a joint: all is linear.
ZqReal derivativeAtJoint(const MovingScene& scene, By by, ZqU32 row, ZqU32 k)
{
   if (by == By::Acceleration)
      return row == k ? scene.driveInertia(row) : 0.0;
   const auto torque = [&](ZqReal step)
   {
      MovingScene moved = scene;
      moved.change(by, scene.first + k, step);
      return scene.link(row).totalLocalTorque(moved.activeState());
   };
   return torque(0.5) - torque(-0.5);
}

/// The base's force and the torques of joints, as the torque tool has them.
ZqReArray torquesOf(const MovingScene& scene, ZqManipulatorActiveState& active)
{
   ZqTotalTorqueTool tool;
   tool.setManipulator(&scene.manipulator());
   tool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   const ZqManipulatorTorque& torques = tool.torques(scene.external, active, nullptr);
   ZqReArray result(scene.dof(), 1);
   for (ZqU32 i = 0; i < scene.dof(); ++i)
      result[i][0] =
         i < scene.first ? torques.generalForce()[i] : torques.jointTorques()[i - scene.first];
   return result;
}

ZqReArray columnOf(const ZqReArray& array, ZqU32 k)
{
   ZqReArray result(array.rows(), 1);
   for (ZqU32 i = 0; i < array.rows(); ++i)
      result[i][0] = array[i][k];
   return result;
}

/// By central differences of a function of a scene.
template <class Function>
ZqReArray difference(const MovingScene& scene, By by, ZqU32 k, ZqReal step, Function function)
{
   MovingScene after = scene;
   MovingScene before = scene;
   after.change(by, k, step);
   before.change(by, k, -step);
   return (function(after) - function(before)) * (0.5 / step);
}

TEST(MotionDerivatives, OfInverseDynamicsAreThoseOfDualNumbers)
{
   for (ZqU32 seed = 0; seed < 100; ++seed)
   {
      SCOPED_TRACE(seed);
      MovingScene scene(seed);
      ASSERT_TRUE(scene.tool.computeInverseDynamicsGradients(scene.external, scene.active));
      Comparison compare;
      compare.scale("by velocity", 1.0); // zero for some
      const ZqReArray torques = torquesOf(scene, scene.active);
      for (ZqU32 i = 0; i < scene.dof(); ++i)
         compare("torque",
                 i < scene.first ? scene.tool.torques().generalForce()[i]
                                 : scene.tool.torques().jointTorques()[i - scene.first],
                 torques[i][0]);
      const std::pair<By, const ZqReArray*> gradients[] = {
         {By::Position, &scene.tool.torqueByPosition()},
         {By::Velocity, &scene.tool.torqueByVelocity()},
         {By::Acceleration, &scene.tool.torqueByAcceleration(scene.active)}};
      for (const auto& [by, gradient] : gradients)
         for (ZqU32 k = 0; k < scene.dof(); ++k)
         {
            const auto expected = derivativeOfInverseDynamics(scene, by, k);
            ASSERT_EQ(gradient->rows(), expected.size());
            for (ZqU32 i = 0; i < scene.dof(); ++i)
            {
               const bool ofJoints = i >= scene.first && k >= scene.first;
               compare(by == By::Position   ? "by position"
                       : by == By::Velocity ? "by velocity"
                                            : "by acceleration",
                       (*gradient)[i][k],
                       expected[i] +
                          (ofJoints ? derivativeAtJoint(scene, by, i - scene.first, k - scene.first)
                                    : 0.0));
            }
         }
      compare.expectWithin(1e-12L);
   }
}

/// Joints and base, relative to the accelerations that stand for gravity, by articulated bodies.
ZqAccelerationState accelerationsOf(const MovingScene& scene)
{
   ZqManipulatorActiveState active = scene.activeState();
   ZqAccelerationState result;
   ZqArbiAccelerationTool solver;
   solver.acceleration(scene.system, scene.manipulator(), scene.position, scene.velocity,
                       scene.torque, scene.external, result, active);
   return result;
}

TEST(MotionDerivatives, OfForwardDynamicsAreThoseOfTheSolver)
{
   for (ZqU32 seed = 0; seed < 40; ++seed)
   {
      SCOPED_TRACE(seed);
      zqTest::RandomValues random(seed);
      // Losses of drives are not differentiated.
      MovingScene scene(seed, {zqTest::randomTree(random, 6), seed % 4 < 2, true, false});
      const auto solve = [&](const MovingScene& moved)
      {
         const ZqAccelerationState result = accelerationsOf(moved);
         return scene.column(result.jointAccelerations().values(), result.generalAcceleration());
      };
      ZqAccelerationState total = accelerationsOf(scene);
      total.generalAcceleration() += ZqGeneralMotion(scene.gravity, ZqVector());
      scene.active.setAccelerationState(total);
      ASSERT_TRUE(scene.tool.computeForwardDynamicsGradients(scene.external, scene.active));
      Comparison compare;
      for (ZqU32 k = 0; k < scene.dof(); ++k)
      {
         compare("by position", columnOf(scene.tool.accelerationByPosition(), k),
                 difference(scene, By::Position, k, 1e-5, solve));
         compare("by velocity", columnOf(scene.tool.accelerationByVelocity(), k),
                 difference(scene, By::Velocity, k, 1e-3, solve)); // a parabola
      }
      compare.expectWithin(1e-7L);

      Comparison identities;
      const ZqReArray& M = scene.tool.torqueByAcceleration(scene.active);
      identities("by torque", M * scene.tool.accelerationByTorque(),
                 ZqReArray::identity(scene.dof()));
      identities("q", M * scene.tool.accelerationByPosition(), -scene.tool.torqueByPosition());
      identities("v", M * scene.tool.accelerationByVelocity(), -scene.tool.torqueByVelocity());
      identities.expectWithin(1e-10L);
   }
}

/// The velocity of a point (m) in the DH frame of a link, and its rate, as a Jacobian tells them.
std::pair<ZqGeneralMotion, ZqGeneralMotion>
motionOf(MovingScene& scene, const ZqManipulatorLink& link, const ZqVector& point, Axes axes)
{
   const ZqCoordinateSystemTransformation& X =
      link.dhFrameInSystem(scene.active.activePositionState());
   ZqGeneralMotion v = link.dhFrameVelocityInLocal(scene.active);
   ZqGeneralMotion a = link.dhFrameAccelerationInLocal(scene.active);
   const ZqVector w = v.angular();
   v.setLinear(v.linear() + w.cross(point));
   a.setLinear(a.linear() + a.angular().cross(point) + w.cross(w.cross(point)));
   if (axes == Axes::Local)
      return {v, {a.linear() - w.cross(v.linear()), a.angular()}};
   v.transformBy(X.orientation());
   a.transformBy(X.orientation());
   if (axes == Axes::System)
   {
      const ZqVector p = X * point;
      a.setLinear(a.linear() - a.angular().cross(p) - v.angular().cross(v.linear()));
      v.setLinear(v.linear() - v.angular().cross(p));
   }
   return {v, a};
}

TEST(MotionDerivatives, JacobiansMakeVelocitiesAndAccelerations)
{
   for (ZqU32 seed = 0; seed < 200; ++seed)
   {
      SCOPED_TRACE(seed);
      MovingScene scene(seed);
      scene.holdFixedBase();
      const ZqU32 i = scene.random.index(0, scene.jointDof());
      const ZqU32 index = i == scene.jointDof() ? ZqBaseLinkIndex : i;
      const ZqManipulatorLink& link = *scene.manipulator().linkByIndex(index);
      const ZqVector point = scene.random.vector();
      Comparison compare;
      for (const Axes axes : {Axes::Local, Axes::System, Axes::Mixed})
      {
         const auto [v, a] = motionOf(scene, link, link.primaryFrame() * point, axes);
         const ZqReArray& J = scene.tool.jacobian(index, point, axes, scene.active);
         const ZqReArray& rate = scene.tool.jacobianRate(index, point, axes, scene.active);
         const ZqReArray velocity = J * scene.velocities();
         const ZqReArray acceleration = J * scene.accelerations() + rate * scene.velocities();
         for (ZqU32 k = 0; k < 6; ++k)
         {
            compare("velocity", velocity[k][0], v[k]);
            compare("acceleration", acceleration[k][0], a[k]);
         }
      }
      compare.expectWithin(1e-12L);
   }
}

/// Of all points of mass: six numbers, the angular ones about the center of mass, and its velocity.
struct Momenta
{
   Momenta(const zqTest::ReferenceMotion& motion, ZqVector zqTest::ReferenceMotion::Point::*order)
   {
      ZqReal mass = 0.0;
      ZqVector center;
      for (const auto& point : motion.points)
      {
         mass += point.mass;
         center += point.x * point.mass;
      }
      center *= 1.0 / mass;
      ZqVector linear;
      ZqVector angular;
      for (const auto& point : motion.points)
      {
         linear += point.*order * point.mass;
         angular += (point.x - center).cross(point.*order) * point.mass;
      }
      momentum = {linear, angular};
      velocity = linear / mass;
   }

   ZqGeneralMotion momentum;
   ZqVector velocity;
};

TEST(MotionDerivatives, CentroidalMomentumIsThatOfAllPoints)
{
   using zqTest::ReferenceMotion;
   for (ZqU32 seed = 0; seed < 60; ++seed)
   {
      SCOPED_TRACE(seed);
      MovingScene scene(seed);
      scene.holdFixedBase();
      const auto rates = zqTest::coordinates(scene.velocity);
      const ReferenceMotion motion(scene, rates, zqTest::Coordinates(rates.size()));
      const Momenta sums(motion, &ReferenceMotion::Point::v);
      const Momenta rate(motion, &ReferenceMotion::Point::a);
      const ZqReArray momentum =
         scene.tool.centroidalMomentumMatrix(scene.active) * scene.velocities();
      const ZqReArray velocity = scene.tool.centerOfMassJacobian(scene.active) * scene.velocities();
      ASSERT_EQ(velocity.rows(), 3U);
      const ZqReArray& bias = scene.tool.centroidalMomentumBias(scene.active);
      Comparison compare;
      for (ZqU32 k = 0; k < 6; ++k)
      {
         compare("momentum", momentum[k][0], sums.momentum[k]);
         compare("rate", bias[k][0], rate.momentum[k]);
         if (k < 3)
            compare("center of mass", velocity[k][0], sums.velocity[k]);
      }
      compare.expectWithin(1e-11L); // sums over many points
   }
}

/// A joint that a linkage turns: its unit motion changes with its position q.
class LinkageJoint : public ZqDenavitHartenberg
{
public:
   using ZqDenavitHartenberg::transformBy;
   ZqXmlObject* clone() const override { return new LinkageJoint(*this); }
   const ZqCoordinateSystemTransformation& calculateTransform(ZqReal q) const override
   {
      return ZqDenavitHartenberg::calculateTransform(turn(q));
   }
   void transformBy(ZqCoordinateSystemTransformation& result, ZqReal q) const override
   {
      ZqDenavitHartenberg::transformBy(result, turn(q));
   }
   const ZqGeneralMotion& calculateVelocity(ZqReal q, ZqReal qd) const override
   {
      return ZqDenavitHartenberg::calculateVelocity(turn(q), slope(q) * qd);
   }
   const ZqGeneralMotion& calculateAcceleration(ZqReal q, ZqReal qd, ZqReal qdd) const override
   {
      return ZqDenavitHartenberg::calculateAcceleration(
         turn(q), slope(q) * qd, slope(q) * qdd - 0.4 * std::sin(q) * qd * qd);
   }

private:
   static ZqReal turn(ZqReal q) { return q + 0.4 * std::sin(q); }
   static ZqReal slope(ZqReal q) { return 1.0 + 0.4 * std::cos(q); }
};

TEST(MotionDerivatives, OfJointsOfOwnClassesAreThoseOfDifferences)
{
   for (ZqU32 seed = 0; seed < 20; ++seed)
   {
      SCOPED_TRACE(seed);
      zqTest::RandomValues random(seed);
      MovingScene scene(seed, {zqTest::randomTree(random, 6), seed % 4 < 2, true, false});
      scene.system.editManipulator(
         scene.index,
         [&](ZqIndividualManipulator& model)
         {
            for (const ZqU32 i : {1U, 4U})
            {
               LinkageJoint joint;
               static_cast<ZqDenavitHartenberg&>(joint) = zqTest::randomJoint(random);
               model.replaceLinkKinematics(model.linkByIndex(i)->linkLabel(), joint);
            }
         });
      scene.setActive();
      const auto torques = [&](const MovingScene& moved)
      {
         ZqManipulatorActiveState active = moved.activeState();
         active.setAccelerationState(scene.acceleration);
         return torquesOf(moved, active);
      };
      ASSERT_TRUE(scene.tool.computeInverseDynamicsGradients(scene.external, scene.active));
      Comparison compare;
      for (ZqU32 k = 0; k < scene.dof(); ++k)
      {
         compare("by position", columnOf(scene.tool.torqueByPosition(), k),
                 difference(scene, By::Position, k, 1e-5, torques));
         compare("by velocity", columnOf(scene.tool.torqueByVelocity(), k),
                 difference(scene, By::Velocity, k, 1e-3, torques)); // a parabola
      }
      compare.expectWithin(1e-7L);

      scene.holdFixedBase();
      Comparison rates;
      const auto [v, a] =
         motionOf(scene, scene.link(5), scene.link(5).primaryFrame() * ZqVector(), Axes::Mixed);
      const ZqReArray acceleration =
         scene.tool.jacobian(5, ZqVector(), Axes::Mixed, scene.active) * scene.accelerations() +
         scene.tool.jacobianRate(5, ZqVector(), Axes::Mixed, scene.active) * scene.velocities();
      for (ZqU32 k = 0; k < 6; ++k)
         rates("acceleration", acceleration[k][0], a[k]);
      rates.expectWithin(1e-12L);
   }
}

TEST(MotionDerivatives, RejectWhatIsNotThere)
{
   MovingScene scene(3, {zqTest::chain(3), false});
   ZqMotionDerivativeTool none;
   EXPECT_FALSE(none.computeInverseDynamicsGradients(scene.external, scene.active));
   EXPECT_FALSE(none.computeForwardDynamicsGradients(scene.external, scene.active));
   EXPECT_EQ(none.jacobian(0, ZqVector(), Axes::Local, scene.active).rows(), 0U);
   EXPECT_EQ(none.centroidalMomentumMatrix(scene.active).rows(), 0U);

   const zqTest::LogCapture log;
   EXPECT_EQ(scene.tool.jacobian(3, ZqVector(), Axes::Local, scene.active).rows(), 0U);
   EXPECT_EQ(log.text(), "ZqMotionDerivativeTool::jacobian(): link index 3 out of range.\n");

   // What a state lacks stands still: with no more joints than it has, the rest is the same.
   ZqPositionState shorter = scene.position;
   shorter.jointPositions().resize(2);
   ZqManipulatorActiveState active;
   active.setPositionState(shorter);
   active.setVelocityState(scene.velocity);
   active.setAccelerationState(scene.acceleration);
   ASSERT_TRUE(scene.tool.computeInverseDynamicsGradients(scene.external, active));
   const ZqReArray& gradient = scene.tool.torqueByPosition();
   ASSERT_EQ(gradient.rows(), 9U);
   EXPECT_NE(gradient[7][6], 0.0);
   for (ZqU32 i = 0; i < 9; ++i)
   {
      EXPECT_EQ(gradient[8][i], 0.0);
      EXPECT_EQ(gradient[i][8], 0.0);
   }
}

TEST(MotionDerivatives, AllocateNothingOnceSizesHaveSettled)
{
   MovingScene scene(5, {zqTest::balancedTree(9), false});
   const auto run = [&]
   {
      scene.active.setAccelerationState(scene.acceleration);
      scene.tool.computeForwardDynamicsGradients(scene.external, scene.active);
      scene.tool.jacobianRate(7, ZqVector(), Axes::Local, scene.active);
      scene.tool.centerOfMassJacobian(scene.active);
      scene.tool.centroidalMomentumBias(scene.active);
   };
   run();
   const zqTest::AllocationCount allocations;
   run();
   EXPECT_EQ(allocations.count(), 0U);
}
} // namespace
