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

#include <complex>

namespace
{
using zqTest::Comparison;
using Axes = ZqMotionDerivativeTool::Axes;
using Kind = zqTest::SceneKind;

enum class By
{
   Position,
   Velocity,
   Acceleration
};

/// A scene in a random motion, that of the base and gravity included. The degrees of freedom of a free base
/// come first.
struct MovingScene : zqTest::RandomScene
{
   explicit MovingScene(ZqU32 seed) : MovingScene(seed, Kind::ofSeed(seed)) {}
   MovingScene(ZqU32 seed, const Kind& kind)
      : RandomScene(seed, kind), first(manipulator().isFixedBase() ? 0 : 6)
   {
      acceleration = randomAcceleration();
      acceleration.generalAcceleration() += ZqGeneralMotion(gravity, ZqVector());
      setActive();
   }
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
   /// Numbers of the base and of joints.
   template <class Spatial>
   ZqReArray column(const Spatial& base, const ZqRealVector& joints) const
   {
      ZqReArray result(dof(), 1);
      for (ZqU32 i = 0; i < dof(); ++i)
         result[i][0] = i < first ? base[i] : joints[i - first];
      return result;
   }
   ZqReArray velocities() const
   {
      return column(baseAxes().inverse() * velocity.generalVelocity(),
                    velocity.jointVelocities().values());
   }
   ZqReArray accelerations(const ZqAccelerationState& state) const
   {
      return column(baseAxes().inverse() * state.generalAcceleration(),
                    state.jointAccelerations().values());
   }
   /// Changes one degree of freedom of the state.
   void change(By by, ZqU32 k, ZqReal step)
   {
      if (k >= first)
      {
         auto& values = by == By::Position ? position.jointPositions() : velocity.jointVelocities();
         values[k - first] += step;
         return;
      }
      ZqGeneralMotion motion;
      motion.setScalarValue(k, step);
      if (by == By::Velocity)
         velocity.generalVelocity() += baseAxes() * motion;
      else
      {
         const ZqVector half = motion.angular() * (std::sin(step / 2.0) / step);
         const ZqOrientation turn(std::sqrt(1.0 - half.dot(half)), half.x(), half.y(), half.z());
         position.setCoordSysXForm(position.coordSysXForm() *
                                   ZqCoordinateSystemTransformation(motion.linear(), turn));
      }
   }
   void edit(const std::function<void(ZqManipulatorLink&)>& change)
   {
      system.editManipulator(index,
                             [&](ZqIndividualManipulator& model)
                             {
                                for (ZqU32 i = 0; i < jointDof(); ++i)
                                   change(*model.linkByIndex(i));
                             });
      setActive();
   }
   void addDampers()
   {
      ZqDamperProperties damper;
      damper.setDamperConstant(2.0);
      damper.setWeightingFactors(ZqRealVector{0.7, -0.4});
      damper.setAssociatedJoints({link(0).linkLabel(), link(jointDof() - 1).linkLabel()});
      edit([&](ZqManipulatorLink& link) { link.setDamperProperties(damper); });
   }

   ZqU32 first;
   ZqAccelerationState acceleration;
   ZqManipulatorActiveState active;
   ZqMotionDerivativeTool tool;
};

/// Base force and joint torques of the bodies, differentiated by one degree of freedom: the recursion of
/// Newton and Euler by a complex step, which is exact to rounding (Squire and Trapp 1998).
ZqReArray derivativeOfInverseDynamics(const MovingScene& scene, By by, ZqU32 k)
{
   using namespace zqMotion;
   using Complex = std::complex<ZqReal>;
   constexpr ZqReal step = 1e-100;
   const Tree tree = scene.manipulator().motionPlan().tree();
   const auto n = static_cast<std::size_t>(tree.count);
   const auto seeded = [&](const ZqRealVector& values, By order)
   {
      std::vector<Complex> result(values.begin(), values.end());
      if (by == order && k >= scene.first)
         result[k - scene.first] += Complex(0.0, step);
      return result;
   };
   const auto q = seeded(scene.position.jointPositions().values(), By::Position);
   const auto qd = seeded(scene.velocity.jointVelocities().values(), By::Velocity);
   const auto qdd = seeded(scene.acceleration.jointAccelerations().values(), By::Acceleration);
   std::vector<Complex> c, s, torques(n);
   for (const Complex& angle : q)
   {
      c.push_back(std::cos(angle / 2.0));
      s.push_back(std::sin(angle / 2.0));
   }
   std::vector<Turn<Complex>> turns(n);
   turnJoints<Complex>(tree, q.data(), c.data(), s.data(), nullptr, turns.data());

   // The motion of the base in its own axes, which a rotation about e changes by v x e.
   const auto inBase = [&](const ZqVector& inSystem, By order, bool isAngular)
   {
      const ZqVector v = scene.baseAxes().inverse() * inSystem;
      ZqVector e;
      e[k % 3] = k < scene.first ? 1.0 : 0.0;
      const ZqVector change = by == By::Position && k >= 3           ? v.cross(e)
                              : by == order && isAngular == (k >= 3) ? e
                                                                     : ZqVector();
      return Vec3<Complex>{
         {v.x(), step * change.x()}, {v.y(), step * change.y()}, {v.z(), step * change.z()}};
   };
   std::vector<LinkMotion<Complex>> motions(n + 1);
   const ZqGeneralMotion& a = scene.acceleration.generalAcceleration();
   motions[0].omega = inBase(scene.velocity.generalVelocity().angular(), By::Velocity, true);
   motions[0].alpha = inBase(a.angular(), By::Acceleration, true);
   motions[0].a = inBase(a.linear(), By::Acceleration, false);
   computeMotions<Complex>(tree, turns.data(), qd.data(), qdd.data(), nullptr, motions.data());
   std::vector<LinkForce<Complex>> forces(n + 1);
   computeBodyForces<Complex>(tree, tree.bodies, motions.data(), forces.data());
   for (std::size_t i = 0; i <= n; ++i)
   {
      ZqGeneralForce external = *scene.external.forceOn(i == 0 ? ZqBaseLinkIndex : ZqU32(i - 1));
      if (i > 0)
         external.transformBy(dhFrameOf(tree.joints[i - 1]));
      forces[i].f -= Vec3<Complex>{external[0], external[1], external[2]};
      forces[i].n -= Vec3<Complex>{external[3], external[4], external[5]};
   }
   gatherForces<Complex>(tree, turns.data(), nullptr, forces.data(), torques.data());

   const auto& [f, m] = forces[0];
   ZqRealVector ofJoints;
   for (const Complex& torque : torques)
      ofJoints.push_back(torque.imag() / step);
   const ZqVector force(f.x.imag(), f.y.imag(), f.z.imag());
   return scene.column(
      ZqGeneralForce(force / step, ZqVector(m.x.imag(), m.y.imag(), m.z.imag()) / step), ofJoints);
}

ZqReArray columnOf(const ZqReArray& array, ZqU32 k)
{
   ZqReArray result(array.rows(), 1);
   for (ZqU32 i = 0; i < array.rows(); ++i)
      result[i][0] = array[i][k];
   return result;
}

TEST(MotionDerivatives, OfInverseDynamicsAreThoseOfAComplexStep)
{
   ZqMotionDerivativeTool tool; // may leave nothing behind for the next one
   for (ZqU32 seed = 0; seed < 100; ++seed)
   {
      SCOPED_TRACE(seed);
      Kind kind = Kind::ofSeed(seed);
      kind.hasSprings = false;
      MovingScene scene(seed, kind);
      tool.setManipulator(&scene.manipulator());
      ASSERT_TRUE(tool.computeInverseDynamicsGradients(scene.external, scene.active));
      ZqReArray M = tool.torqueByAcceleration(scene.active);
      for (ZqU32 i = 0; i < scene.jointDof(); ++i)
         M[scene.first + i][scene.first + i] -= scene.driveInertia(i);
      Comparison compare;
      for (ZqU32 k = 0; k < scene.dof(); ++k)
      {
         compare("by position", columnOf(tool.torqueByPosition(), k),
                 derivativeOfInverseDynamics(scene, By::Position, k));
         compare("by velocity", columnOf(tool.torqueByVelocity(), k),
                 derivativeOfInverseDynamics(scene, By::Velocity, k));
         compare("by acceleration", columnOf(M, k),
                 derivativeOfInverseDynamics(scene, By::Acceleration, k));
      }
      compare.scale("by velocity", 1.0); // zero where there is one joint
      compare.expectWithin(1e-12L);
   }
}

ZqReArray torquesOf(MovingScene& scene)
{
   ZqTotalTorqueTool inverse;
   inverse.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   inverse.setManipulator(&scene.manipulator());
   const ZqManipulatorTorque& torques = inverse.torques(scene.external, scene.active, nullptr);
   return scene.column(torques.generalForce(), torques.jointTorques().values());
}

/// By central differences of fourth order of the torques of a scene, which may have joints whose unit motions change.
ZqReArray differenceOfTorques(const MovingScene& scene, By by, ZqU32 k)
{
   constexpr ZqReal step = 1e-3;
   const auto at = [&](ZqReal offset)
   {
      MovingScene moved = scene;
      moved.change(by, k, offset);
      moved.setActive();
      return torquesOf(moved);
   };
   return ((at(step) - at(-step)) * 8.0 - (at(2.0 * step) - at(-2.0 * step))) *
          (1.0 / (12.0 * step));
}

void expectGradientsOfTorques(MovingScene& scene, Comparison::Real tolerance)
{
   ASSERT_TRUE(scene.tool.computeInverseDynamicsGradients(scene.external, scene.active));
   Comparison compare;
   for (ZqU32 k = 0; k < scene.dof(); ++k)
   {
      compare("by position", columnOf(scene.tool.torqueByPosition(), k),
              differenceOfTorques(scene, By::Position, k));
      compare("by velocity", columnOf(scene.tool.torqueByVelocity(), k),
              differenceOfTorques(scene, By::Velocity, k));
   }
   compare.scale("by velocity", 1.0); // zero where there is one joint
   compare.expectWithin(tolerance);
}

TEST(MotionDerivatives, OfLinkagesAreThoseOfTheirTorques)
{
   for (ZqU32 seed = 0; seed < 40; ++seed)
   {
      SCOPED_TRACE(seed);
      MovingScene scene(seed, Kind::withLinkages(seed));
      // Over such a step differences err by about epsilon / step and step^4 / 30 of fifth derivatives.
      expectGradientsOfTorques(scene, 1e-10L);
   }
}

/// By central differences of a function of a scene. By a velocity it is a parabola.
template <class Function>
ZqReArray difference(const MovingScene& scene, By by, ZqU32 k, Function function)
{
   const ZqReal step = by == By::Position ? 1e-5 : 1e-2;
   MovingScene after = scene;
   MovingScene before = scene;
   after.change(by, k, step);
   before.change(by, k, -step);
   return (function(after) - function(before)) * (0.5 / step);
}

/// Relative to the accelerations that stand for gravity, by articulated bodies.
ZqAccelerationState solve(const MovingScene& scene)
{
   ZqManipulatorActiveState active = scene.activeState();
   ZqAccelerationState result;
   ZqArbiAccelerationTool().acceleration(scene.system, scene.manipulator(), scene.position,
                                         scene.velocity, scene.torque, scene.external, result,
                                         active);
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
      scene.addDampers();
      ZqAccelerationState total = solve(scene);
      total.generalAcceleration() += ZqGeneralMotion(scene.gravity, ZqVector());
      scene.active.setAccelerationState(total);
      ASSERT_TRUE(scene.tool.computeForwardDynamicsGradients(scene.external, scene.active));
      const auto accelerations = [&](const MovingScene& moved)
      { return scene.accelerations(solve(moved)); };
      Comparison compare;
      for (ZqU32 k = 0; k < scene.dof(); ++k)
      {
         compare("by position", columnOf(scene.tool.accelerationByPosition(), k),
                 difference(scene, By::Position, k, accelerations));
         compare("by velocity", columnOf(scene.tool.accelerationByVelocity(), k),
                 difference(scene, By::Velocity, k, accelerations));
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

/// The velocity of a point in the primary frame of a link, and its rate, as a Jacobian tells them.
std::pair<ZqGeneralMotion, ZqGeneralMotion>
motionOf(MovingScene& scene, const ZqManipulatorLink& link, const ZqVector& inPrimary, Axes axes)
{
   const ZqCoordinateSystemTransformation& X =
      link.dhFrameInSystem(scene.active.activePositionState());
   const ZqVector point = link.primaryFrame() * inPrimary;
   ZqGeneralMotion v = link.dhFrameVelocityInLocal(scene.active);
   ZqGeneralMotion a = link.dhFrameAccelerationInLocal(scene.active);
   const ZqVector w = v.angular();
   v.transformBy(-point);
   a.transformBy(-point);
   a.setLinear(a.linear() + w.cross(w.cross(point)));
   if (axes == Axes::Local)
      return {v, {a.linear() - w.cross(v.linear()), a.angular()}};
   v = X.orientation() * v;
   a = X.orientation() * a;
   if (axes == Axes::System)
   {
      a.setLinear(a.linear() - v.angular().cross(v.linear()));
      v.transformBy(X * point);
      a.transformBy(X * point);
   }
   return {v, a};
}

void compareJacobians(Comparison& compare, MovingScene& scene, ZqU32 index, const ZqVector& point)
{
   for (const Axes axes : {Axes::Local, Axes::System, Axes::Mixed})
   {
      const auto [v, a] = motionOf(scene, *scene.manipulator().linkByIndex(index), point, axes);
      const ZqReArray& J = scene.tool.jacobian(index, point, axes, scene.active);
      const ZqReArray& rate = scene.tool.jacobianRate(index, point, axes, scene.active);
      const ZqReArray velocity = J * scene.velocities();
      const ZqReArray acceleration =
         J * scene.accelerations(scene.acceleration) + rate * scene.velocities();
      for (ZqU32 k = 0; k < 6; ++k)
      {
         compare("velocity", velocity[k][0], v[k]);
         compare("acceleration", acceleration[k][0], a[k]);
      }
      const auto after = [&](ZqReal time)
      {
         MovingScene moved = scene;
         for (ZqU32 k = 0; k < scene.jointDof(); ++k)
            moved.change(By::Position, scene.first + k, time * scene.velocity.jointVelocities()[k]);
         moved.setActive();
         return ZqReArray(moved.tool.jacobian(index, point, axes, moved.active));
      };
      Comparison rates;
      rates.scale("rate", 1.0);
      if (scene.first == 0)
         rates("rate", rate, (after(1e-5) - after(-1e-5)) * 0.5e5);
      rates.expectWithin(1e-8L);
   }
}

TEST(MotionDerivatives, JacobiansMakeMotionsOfPointsAndMomenta)
{
   using Reference = zqTest::ReferenceMotion;
   for (ZqU32 seed = 0; seed < 100; ++seed)
   {
      SCOPED_TRACE(seed);
      MovingScene scene(seed);
      scene.holdFixedBase();
      Comparison compare;
      compareJacobians(compare, scene, ZqBaseLinkIndex, scene.random.vector());
      if (scene.jointDof() > 0)
         compareJacobians(compare, scene, scene.random.index(0, scene.jointDof() - 1),
                          scene.random.vector());

      // The momentum of all points of mass, and its rate when nothing accelerates.
      const auto rates = zqTest::coordinates(scene.velocity);
      const Reference motion(scene, rates, zqTest::Coordinates(rates.size()));
      ZqManipulatorActiveState& active = scene.active;
      const ZqVector center = scene.manipulator().getCenterOfMassInSystem(active);
      const ZqReArray momentum = scene.tool.centroidalMomentumMatrix(active) * scene.velocities();
      const ZqReArray velocity = scene.tool.centerOfMassJacobian(active) * scene.velocities();
      const ZqReArray& bias = scene.tool.centroidalMomentumBias(active);
      ZqReal mass = 0.0;
      ZqGeneralForce sum;
      ZqGeneralForce rate;
      for (const Reference::Point& point : motion.points)
      {
         const ZqVector r = point.x - center;
         mass += point.mass;
         sum += {point.v * point.mass, r.cross(point.v) * point.mass};
         rate += {point.a * point.mass, r.cross(point.a) * point.mass};
      }
      ASSERT_EQ(velocity.rows(), 3U);
      for (ZqU32 k = 0; k < 6; ++k)
      {
         compare("momentum", momentum[k][0], sum[k]);
         compare("rate of momentum", bias[k][0], rate[k]);
         if (k < 3)
            compare("center of mass", velocity[k][0], sum[k] / mass);
      }
      compare.expectWithin(1e-11L); // sums over many points
   }
}

/// A joint that a linkage turns: its unit motion changes with its position q.
class LinkageJoint : public ZqDenavitHartenberg
{
public:
   explicit LinkageJoint(const ZqDenavitHartenberg& joint) : ZqDenavitHartenberg(joint) {}
   using ZqDenavitHartenberg::transformBy;
   ZqXmlObject* clone() const override { return new LinkageJoint(*this); }
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
      MovingScene scene(seed, {zqTest::randomTree(random, 6), seed % 4 < 2});
      scene.edit(
         [&](ZqManipulatorLink& link)
         {
            if (random.index(0, 1) == 0)
               link.setLinkKinematics(LinkageJoint(zqTest::randomJoint(random)));
         });
      expectGradientsOfTorques(scene, 1e-7L);
      const ZqManipulatorTorque& own = scene.tool.torques();
      Comparison exact;
      exact("torques", scene.column(own.generalForce(), own.jointTorques().values()),
            torquesOf(scene));
      scene.holdFixedBase();
      compareJacobians(exact, scene, 5, random.vector());
      exact.expectWithin(1e-12L);
   }
}

TEST(MotionDerivatives, RejectWhatIsNotThere)
{
   MovingScene scene(3, {zqTest::chain(3), false});
   ZqMotionDerivativeTool none;
   EXPECT_FALSE(none.computeForwardDynamicsGradients(scene.external, scene.active));
   EXPECT_EQ(none.jacobian(0, ZqVector(), Axes::Local, scene.active).rows(), 0U);

   const zqTest::LogCapture log;
   EXPECT_EQ(scene.tool.jacobian(3, ZqVector(), Axes::Local, scene.active).rows(), 0U);
   EXPECT_EQ(log.text(), "ZqMotionDerivativeTool::jacobian(): link index 3 out of range.\n\n");

   // A joint that the state lacks has zeros.
   scene.position.jointPositions().resize(2);
   scene.active.setPositionState(scene.position);
   ASSERT_TRUE(scene.tool.computeForwardDynamicsGradients(scene.external, scene.active));
   for (const ZqReArray* gradient :
        {&scene.tool.torqueByPosition(), &scene.tool.accelerationByPosition()})
      for (ZqU32 i = 0; i < 9; ++i)
      {
         EXPECT_NE((*gradient)[7][7], 0.0);
         EXPECT_EQ((*gradient)[8][i], 0.0);
         EXPECT_EQ((*gradient)[i][8], 0.0);
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
