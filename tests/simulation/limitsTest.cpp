#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/constraints/ZqStopFactor.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/foundation/function/ZqLinearScalarFunction.h"
#include "zqManipulator/simulation/constraints/ZqConditionalJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"
#include "zqManipulator/state/ZqJacobianState.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"
#include "zqManipulator/tools/labels/ZqModelScaling.h"
#include "zqManipulator/tools/posture/ZqManipulatorConstraintTool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace
{
using zqTest::LogCapture;
using zqTest::RandomScene;
using zqTest::RandomValues;
using Integrator = ZqSimulation::Integrator;
using Linear = ZqLinearMultivariableConstraint;
using OfSeveral = ZqMultivariableJointStateConstraint;
using Reals = std::vector<ZqReal>;

Linear linear(ZqReal constant, const Reals& coefficients)
{
   Linear result;
   result.setConstantTerm(constant);
   for (ZqU32 i = 0; i < coefficients.size(); ++i)
      result.setCoefficient(i, coefficients[i]);
   return result;
}

ZqPositionState at(const Reals& q)
{
   ZqPositionState position;
   position.setJointPositions(q);
   return position;
}

ZqReal dot(const Reals& a, const Reals& b)
{
   return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

TEST(StateConstraint, ConditionsSelectByUpperBounds)
{
   ZqMultivariableConstraintVector functions;
   for (const ZqReal value : {10.0, 20.0, 30.0})
      functions.pushBack(linear(value, {1.0, 0.0, 2.0}));
   struct Case
   {
      ZqU32 index;
      Reals bounds;
      unsigned functions;
      Reals q;
      ZqReal value;
      Reals gradient;
   };
   const Reals own{1.0, 0.0, 2.0}, none{0.0, 0.0, 0.0};
   const Case cases[]{
      {1, {-1.0, 1.0, 5.0}, 3, {3.0, -1.0, 0.5}, 14.0, own}, // at a bound
      {1, {-1.0, 1.0, 5.0}, 3, {3.0, -0.5, 0.5}, 24.0, own},
      {1, {-1.0, 1.0, 5.0}, 3, {3.0, 5.5, 0.5}, 0.0, none}, // beyond all
      {1, {-1.0, 1.0, 5.0}, 2, {3.0, 4.0, 0.5}, 0.0, none}, // a bound without a function
      {1, {-1.0}, 3, {3.0, 0.0, 0.5}, 0.0, none},           // functions without a bound
      {7, {9.0}, 1, {3.0, 0.0, 0.5}, 0.0, none},            // no such joint
      {7, {}, 1, {3.0, 0.0, 0.5}, 14.0, own},               // which is not looked at
      {1, {}, 2, {3.0, 0.0, 0.5}, 0.0, none},
      {1, {9.0}, 1, {3.0, NAN, 0.5}, 0.0, none},
      {1, {9.0}, 1, {3.0}, 0.0, {0.0}},
   };
   for (const Case& one : cases)
   {
      SCOPED_TRACE(&one - cases);
      ZqConditionalJointStateConstraint constraint;
      constraint.setIndex(one.index);
      constraint.setConditionals(one.bounds);
      ZqMultivariableConstraintVector some = functions;
      some.resize(one.functions);
      constraint.setConstraints(some);
      EXPECT_EQ(constraint.evaluate(at(one.q)), one.value);
      EXPECT_EQ(constraint.gradient(at(one.q), true), one.gradient);
   }
}

TEST(StateConstraint, SelectionFollowsAJointThatIsTurnedAndScaled)
{
   constexpr ZqReal most = std::numeric_limits<ZqReal>::max();
   ZqMultivariableConstraintVector functions;
   functions.pushBack(linear(10.0, {}));
   functions.pushBack(linear(20.0, {}));
   functions.resize(3); // one that is not there
   functions.pushBack(linear(30.0, {}));
   ZqLinkEdit turn;
   turn.restate(0, "joint", {{}, -1.0, 0.0});
   ZqModelScaling scaling;
   scaling.jointFactors = {4.0};
   for (const Reals& bounds : {Reals{-1.0, 0.0, 1.0, 5.0},
                               {2.0},
                               {0.0, 1.0, 2.0, most},
                               {1.0, 0.0, 3.0},
                               {NAN, 2.0, 2.0, 3.0},
                               {most}})
   {
      ZqConditionalJointStateConstraint told;
      told.setConditionals(bounds);
      told.setConstraints(functions);
      ZqConditionalJointStateConstraint turned(told);
      EXPECT_TRUE(turned.apply(turn));
      turned.scaleBy(scaling);
      ZqConditionalJointStateConstraint back(turned);
      EXPECT_TRUE(back.apply(turn));
      for (const ZqReal bound : turned.conditionals().values())
         EXPECT_LE(bound, most);
      for (ZqReal x = -2.0; x < 6.0; x += 0.5)
         for (const ZqReal q : {std::nextafter(x, -9.0), x, std::nextafter(x, 9.0)})
         {
            EXPECT_EQ(turned.evaluate(at({-4.0 * q})), told.evaluate(at({q}))) << q;
            EXPECT_EQ(back.evaluate(at({4.0 * q})), told.evaluate(at({q}))) << q;
         }
   }
}

TEST(StateConstraint, LinearFunctionsAreSparseAndTheirOwnGradient)
{
   RandomValues random(11);
   for (int i = 0; i < 100; ++i)
   {
      Linear function;
      Reals dense(20), q(20), gradient;
      for (ZqReal& x : q)
         x = random.real(-3.0, 3.0);
      for (int k = 0; k < 8; ++k)
      {
         const ZqU32 index = random.index(0, 24);
         const ZqReal value = random.index(0, 3) == 0 ? 0.0 : random.real(-2.0, 2.0);
         function.setCoefficient(index, value);
         if (index < 20)
            dense[index] = value;
      }
      EXPECT_LE(function.indices().size(), 8U);
      EXPECT_TRUE(std::is_sorted(function.indices().begin(), function.indices().end()));
      function.getGradient(q, gradient);
      EXPECT_EQ(gradient, dense);
      EXPECT_NEAR(function.evaluate(q), dot(dense, q), 1e-13);
   }
}

TEST(LimitConstraints, FollowTheDriveOrStandBesideIt)
{
   RandomValues random(12);
   for (int i = 0; i < 50; ++i)
   {
      ZqIndividualManipulator arm = zqTest::randomManipulator(random, 4);
      const ZqU32 j = random.index(0, 3);
      ZqManipulatorLink& link = *arm.linkByIndex(j);
      const ZqBaseStateConstraint& upper = link.upperLimitConstraint();
      EXPECT_TRUE(arm.setJointLimit(link.linkLabel(), false, 2.5));
      EXPECT_TRUE(arm.setJointLimit(link.linkLabel(), true, -2.0));
      Reals q(4, 0.0);
      q[j] = 2.5;
      EXPECT_EQ(upper.evaluate(at(q)), 0.0);
      EXPECT_EQ(link.lowerLimitConstraint().evaluate(at(q)), 4.5);
      ZqU32 failed = 77;
      EXPECT_TRUE(arm.checkLimitConstraints(at(q), failed) && failed == 77);
      q[j] = std::nextafter(2.5, 3.0);
      EXPECT_LT(upper.evaluate(at(q)), 0.0);
      EXPECT_TRUE(!arm.checkLimitConstraints(at(q), failed) && failed == j);
      link.setLinkIndex((j + 1) % 4);
      EXPECT_EQ(upper.evaluate(at(q)), 2.5);
      link.setLinkIndex(j);

      // The joint of a link that moves is another one; a copy has its own.
      ZqManipulatorLink first = zqTest::randomLink(random);
      first.setLinkLabel("first");
      ZqManipulatorLink::ChildLinks children{first};
      for (const ZqManipulatorLink& child : arm.childLinks())
         children.pushBack(child);
      arm.setChildLinks(children);
      q.insert(q.begin(), 0.0);
      EXPECT_LT(arm.linkByIndex(j + 1)->upperLimitConstraint().evaluate(at(q)), 0.0);
      ZqIndividualManipulator copy(arm);
      EXPECT_TRUE(copy.setJointLimit(copy.linkByIndex(j + 1)->linkLabel(), false, 1.5));
      EXPECT_GT(arm.linkByIndex(j + 1)->upperLimitConstraint().evaluate(at(q)),
                copy.linkByIndex(j + 1)->upperLimitConstraint().evaluate(at(q)));

      // One of several joints stands instead, and counts in steps only while its joint goes that way.
      const OfSeveral slanted(linear(0.1, {-1.0, 0.0, -1.0}));
      arm.linkByIndex(2)->setUpperLimitConstraint(slanted);
      EXPECT_FALSE(arm == copy);
      EXPECT_EQ(&arm.linkByIndex(2)->upperLimitConstraint(),
                arm.linkByIndex(2)->upperLimitConstraintContainer().topElement());
      for (const ZqReal rate : {1.0, 0.0, -1.0})
      {
         ZqVelocityState velocity;
         velocity.setJointVelocities(Reals{1.0, 0.0, rate, 0.0, 0.0});
         ZqPositionState position = at(Reals(5, 0.06));
         ZqPropagationResultData result;
         arm.propagateState(velocity, 0.0, position, result);
         EXPECT_EQ(result.hitJointLimit(), rate > 0.0);
         EXPECT_EQ(position, at(Reals(5, 0.06)));
      }
      EXPECT_TRUE(!arm.checkLimitConstraints(at(Reals(5, 0.06)), failed) && failed == 2);
   }
}

TEST(StopFactor, PushesAsLittleAsItCan)
{
   RandomValues random(15);
   ZqStopFactor stops;
   for (int i = 0; i < 3000; ++i)
   {
      SCOPED_TRACE(i);
      const ZqU32 n = random.index(1, 6), k = random.index(1, 9);
      ZqReArray A(n, n), M, L;
      std::generate_n(A.data(), n * n, [&] { return random.real(-1.0, 1.0); });
      A.multiplyByTranspose(A, M);
      for (ZqU32 j = 0; j < n; ++j)
         M[j][j] += 0.05;
      M.choleskyFactor(L);
      // Some rows repeat the first, or are nearly opposite to it; some have one number. A point is within all.
      const ZqReal angle = std::pow(10.0, random.real(-6.0, -2.0));
      Reals inside(n), b(k);
      for (ZqReal& x : inside)
         x = random.real(-2.0, 2.0);
      stops.clear(n);
      for (ZqU32 row = 0; row < k; ++row)
      {
         const std::span<ZqReal> c = stops.addRow();
         const ZqU32 kind = random.index(0, 3);
         for (ZqU32 j = 0; j < n; ++j)
            c[j] = kind == 0 && row > 0   ? 7.0 * stops.rows()[0][j]
                   : kind == 3 && row > 0 ? angle * random.real(-1.0, 1.0) - stops.rows()[0][j]
                                          : random.real(-1.0, 1.0);
         for (ZqU32 j = 0; j + 1 < n && kind == 1; ++j)
            c[j] = 0.0;
         b[row] = std::inner_product(c.begin(), c.end(), inside.begin(), 0.0) -
                  random.index(0, 1) * random.real(0.0, 1.0);
      }
      L.choleskySolveTranspose(stops.rows(), stops.inertialRows());
      const ZqReArray& x = stops.leastChange(b);
      // What pushes is met, and pushes; nothing lacks anything. That is the least change, M being convex.
      for (ZqU32 row = 0; row < k; ++row)
      {
         ZqReal excess = -b[row];
         for (ZqU32 j = 0; j < n; ++j)
            excess += stops.rows()[row][j] * x[j][0];
         EXPECT_GE(excess, -1e-5);
         EXPECT_GE(stops.impulses()[row], 0.0);
         EXPECT_TRUE(stops.impulses()[row] == 0.0 || excess < 1e-5) << excess;
      }
      ZqReArray v(n, 1), p; // of a velocity that is -inside, half the energy that the change adds
      for (ZqU32 j = 0; j < n; ++j)
         v[j][0] = 0.5 * x[j][0] - inside[j];
      M.multiply(x, p);
      EXPECT_LE(std::inner_product(p.data(), p.data() + n, v.data(), 0.0), 1e-9);
   }
}

/// An arm that moves towards limits that depend on several joints.
struct PressedArm
{
   PressedArm(ZqU32 seed, ZqU32 limitCount, bool isFixedBase, bool isLooped)
      : scene(seed, {zqTest::chain(4), isFixedBase, false, false}), model(scene.manipulator())
   {
      RandomValues& random = scene.random;
      for (ZqU32 j = 0; j < 4; ++j)
      {
         model.linkByIndex(j)->setJointActuator({});
         if (j >= limitCount)
            continue;
         Reals c(4);
         for (ZqReal& x : c)
            x = random.real(-1.0, 1.0);
         if (j == 2) // the first once more
            for (ZqU32 i = 0; i < 4; ++i)
               c[i] = 3.0 * limits.front().coefficient(i);
         const ZqReal rate = dot(c, scene.velocity.jointVelocities());
         for (ZqReal& x : c)
            x *= rate > 0.0 ? -1.0 : 1.0;
         limits.push_back(
            linear((j == 2 ? 0.06 : 0.02) - dot(c, scene.position.jointPositions()), c));
         model.linkByIndex(j)->setLowerLimitConstraint(OfSeveral(limits.back()));
      }
      if (isLooped)
      {
         ZqLinearStateEqualityConstraint gear;
         gear.setJointWeights({Reals{1.0, 0.0, 0.0, 2.0}});
         gear.setBaseWeights(ZqLinearStateEqualityConstraint::Weights(1));
         gear.setWeightedSums({0.0});
         ZqStateEqualityConstraintVector gears;
         gears.pushBack(gear);
         model.setStateEqualityConstraints(gears);
      }
      system.addManipulator(model, scene.position, scene.velocity); // without gravity
   }
   ZqReal least(const ZqManipulatorSystemState& state) const
   {
      ZqReal result = 1e300;
      for (const Linear& limit : limits)
         result = std::min(result, limit.evaluate(state.positionStates()[0].jointPositions()));
      return result;
   }

   RandomScene scene;
   ZqIndividualManipulator model;
   std::vector<Linear> limits;
   ZqStatedSystem system;
};

TEST(LimitsOfSeveralJoints, StopAlongTheirGradientsAndLetTheRestMove)
{
   constexpr Integrator integrators[]{Integrator::SemiImplicitEuler, Integrator::ImplicitMidpoint,
                                      Integrator::RungeKutta};
   int touched = 0;
   for (ZqU32 seed = 0; seed < 48; ++seed)
   {
      SCOPED_TRACE(seed);
      const PressedArm arm(seed, 1 + seed % 4, seed % 2 == 0, seed % 3 == 0);
      ZqSimulation::Settings settings;
      settings.integrator = integrators[seed / 4 % 3];
      settings.booksEnergy = true;
      ZqSimulation simulation(arm.system, settings);
      for (int k = 1; k <= 400; ++k)
      {
         ASSERT_TRUE(simulation.stepTo(1e-3 * k));
         ASSERT_GE(arm.least(simulation.state()), -1e-12);
         const Reals after = simulation.state().velocityStates()[0].jointVelocities();
         // Between several an arm may be caught; along one it goes on.
         ASSERT_TRUE(arm.limits.size() > 1 || dot(after, after) > 1e-3);
      }
      touched += static_cast<int>(simulation.limitHits().size());
      const ZqEnergyBook book = simulation.energyBook();
      EXPECT_GE(book.lost.limits, 0.0);
      EXPECT_LE(book.held.kinetic, book.heldAtStart.kinetic * (1.0 + 1e-2));
      EXPECT_LE(std::abs(book.remainder()), 1e-2 * book.heldAtStart.kinetic);
   }
   EXPECT_GT(touched, 60);
}

/// Of a user: joint positions within a ball.
class Ball : public ZqXmlClass<Ball, ZqBaseMultivariableConstraint>
{
public:
   static const ZqToken& classToken()
   {
      static const auto& token = *new ZqToken("http://example.org/functions#ball");
      return token;
   }
   static constexpr const char* documentation = "a ball";
   bool operator==(const Ball&) const = default;
   ZqReal evaluate(const Reals& q) const override
   {
      ZqReal squares = 0.0;
      for (std::size_t j = 0; j < q.size(); ++j)
         squares += (q[j] - center[j]) * (q[j] - center[j]);
      return 0.01 - squares;
   }
   void getGradient(const Reals& q, Reals& gradient) const override
   {
      gradient.resize(q.size());
      for (std::size_t j = 0; j < q.size(); ++j)
         gradient[j] = -2.0 * (q[j] - center[j]);
   }

   Reals center;
};

TEST(LimitsOfSeveralJoints, ThatCurveAreKept)
{
   for (ZqU32 seed = 0; seed < 12; ++seed)
   {
      SCOPED_TRACE(seed);
      PressedArm arm(seed, 0, seed % 2 == 0, false);
      Ball ball;
      ball.center = arm.scene.position.jointPositions();
      arm.model.linkByIndex(3)->setUpperLimitConstraint(OfSeveral(ball));
      arm.system.editManipulator(0, [&](ZqIndividualManipulator& m) { m = arm.model; });
      ZqSimulation simulation(arm.system);
      ZqReal speed = 0.0;
      for (int k = 1; k <= 2000; ++k)
      {
         const zqTest::AllocationCount allocations;
         ASSERT_TRUE(simulation.stepTo(1e-3 * k));
         ASSERT_TRUE(k <= 1000 || allocations.count() == 0);
         ASSERT_GE(ball.evaluate(simulation.state().positionStates()[0].jointPositions()), -1e-6);
         const Reals v = simulation.state().velocityStates()[0].jointVelocities();
         speed = dot(v, v);
      }
      EXPECT_EQ(simulation.limitHits().size(), 1U);
      EXPECT_GT(speed, 1e-3); // it slides on
   }
}

/// What a stop throws above its highest rate reacts, and energy does not grow. Where no stop is met a velocity is
/// clipped alone, which may add some: not to these arms.
TEST(LimitsOfDrives, AreKeptWithHighestRates)
{
   for (ZqU32 seed = 0; seed < 95; ++seed)
   {
      SCOPED_TRACE(seed);
      PressedArm arm(seed, 0, seed % 2 == 0, false);
      for (ZqU32 j = 0; j < 4; ++j)
      {
         const ZqReal q = arm.scene.position.jointPositions()[j];
         ZqJointActuator drive;
         drive.setMechanicalComponent(ZqMechanicalActuatorComponent());
         drive.setLowerLimit(q - arm.scene.random.real(0.01, 0.1));
         drive.setUpperLimit(q + arm.scene.random.real(0.01, 0.1));
         drive.setMaxOutputRate(arm.scene.random.real(2.0, 4.0) *
                                std::abs(arm.scene.velocity.jointVelocities()[j]));
         arm.model.linkByIndex(j)->setJointActuator(drive);
      }
      arm.system.editManipulator(0, [&](ZqIndividualManipulator& m) { m = arm.model; });
      ZqSimulation::Settings settings;
      settings.booksEnergy = true;
      ZqSimulation simulation(arm.system, settings);
      for (int k = 1; k <= 300; ++k)
         ASSERT_TRUE(simulation.step(5e-4));
      const ZqEnergyBook book = simulation.energyBook();
      EXPECT_LE(book.held.kinetic, book.heldAtStart.kinetic * (1.0 + 1e-2));
   }
}

/// A step that stops changes velocities by M^-1 C^T p with p >= 0, and leaves no speed along what pushed.
TEST(LimitsOfSeveralJoints, PushAndDoNotPull)
{
   int pushed = 0;
   for (ZqU32 seed = 100; seed < 160; ++seed)
   {
      SCOPED_TRACE(seed);
      const PressedArm arm(seed, 1 + seed % 3, true, false);
      ZqStatedSystem free = arm.system;
      ZqIndividualManipulator unlimited(arm.model);
      for (ZqU32 j = 0; j < 4; ++j)
         unlimited.linkByIndex(j)->setLowerLimitConstraintContainer({});
      free.editManipulator(0, [&](ZqIndividualManipulator& m) { m = unlimited; });
      constexpr ZqReal dt = 0.2; // across all limits
      ZqSimulation with(arm.system), without(free);
      ASSERT_TRUE(with.stepTo(dt) && without.stepTo(dt));
      ZqReArray change(4, 1);
      const Reals v = with.state().velocityStates()[0].jointVelocities();
      for (ZqU32 j = 0; j < 4; ++j)
         change[j][0] = v[j] - without.state().velocityStates()[0].jointVelocities()[j];
      ZqManipulatorActiveState active;
      active.setPositionState(arm.scene.position);
      active.setVelocityState(arm.scene.velocity);
      ZqMassMatrixTool tool;
      tool.setManipulator(&arm.model);
      const ZqReArray impulse = tool.massMatrix(active, nullptr) * change;
      // By the limits that have come to rest: p by least squares, of those the first stands for its double.
      ZqReArray C(0, 4);
      for (std::size_t k = 0; k < std::min<std::size_t>(arm.limits.size(), 2); ++k)
      {
         Reals c;
         arm.limits[k].getGradient(Reals(4), c);
         ASSERT_GE(arm.limits[k].evaluate(with.state().positionStates()[0].jointPositions()),
                   -1e-12);
         if (std::abs(dot(c, v)) > 1e-12)
            continue;
         C.resize(C.rows() + 1, 4);
         std::copy(c.begin(), c.end(), C[C.rows() - 1].begin());
      }
      if (C.rows() == 0)
         continue;
      ZqReArray gram, L, b, p, back;
      C.multiplyByTranspose(C, gram);
      C.multiply(impulse, b);
      gram.choleskyFactor(L);
      L.choleskySolve(b, p);
      for (ZqU32 k = 0; k < p.rows(); ++k)
         EXPECT_GE(p[k][0], -1e-12);
      C.leftTransposeMultiply(p, back);
      EXPECT_TRUE(back.approxEq(impulse, 1e-10)) << back << impulse;
      ++pushed;
   }
   EXPECT_GT(pushed, 50);
}

class Gauge : public ZqXmlClass<Gauge, ZqBaseSensor>
{
public:
   static const ZqToken& classToken()
   {
      static const auto& token = *new ZqToken("http://example.org/sensors#gauge");
      return token;
   }
   static constexpr const char* documentation = "a gauge";
   bool operator==(const Gauge&) const = default;
};

TEST(Sensors, KnowTheirLinkAndTheirManipulator)
{
   RandomValues random(16);
   const Gauge gauge;
   ZqManipulatorLink link = zqTest::randomLink(random);
   link.setLinkLabel("wrist");
   EXPECT_TRUE(!link.addSensor(nullptr) && link.addSensor(&gauge));
   ZqIndividualManipulator arm = zqTest::randomManipulator(random, 2);
   arm.setSensorVector(link.sensorVector()); // which were told of the link
   EXPECT_EQ(arm.sensorVector()[0].linkLabel(), arm.linkLabel());
   arm.addChild(link);
   arm.setManipulatorLabel("arm");
   ZqStatedSystem system;
   ZqIndividualManipulator other = zqTest::randomManipulator(random, 1);
   other.setManipulatorLabel("other");
   for (const ZqIndividualManipulator* one : {&other, &arm})
      system.addManipulator(*one);
   EXPECT_TRUE(system.changeLinkLabel(1, "wrist", "hand"));
   const auto expectSensors = [&](ZqU32 index)
   {
      const ZqIndividualManipulator& m = *system.manipulatorByIndex(index);
      for (const ZqManipulatorLink* one :
           {m.linkByIdentifier("hand"), m.linkByIndex(ZqBaseLinkIndex)})
      {
         ASSERT_EQ(one->sensorVector().size(), 1U);
         EXPECT_EQ(one->sensorVector()[0].linkLabel(), one->linkLabel());
         EXPECT_EQ(one->sensorVector()[0].manipulatorIndex(), index);
      }
   };
   expectSensors(1);
   EXPECT_TRUE(system.removeManipulator(0));
   expectSensors(0);
}

TEST(JacobianState, KernelIsThatOfTheJacobianWithoutPadding)
{
   RandomValues random(13);
   for (int i = 0; i < 200; ++i)
   {
      SCOPED_TRACE(i);
      const ZqU32 r = random.index(1, 9), c = random.index(1, 9);
      const ZqU32 rank = random.index(0, std::min(r, c));
      const auto filled = [&](ZqU32 rows, ZqU32 columns)
      {
         ZqReArray A(rows, columns);
         std::generate_n(A.data(), rows * columns, [&] { return random.real(-1.0, 1.0); });
         return A;
      };
      const ZqReArray J = rank == 0 ? ZqReArray(r, c) : filled(r, rank) * filled(rank, c);
      ZqJacobianState state;
      state.setIsSparse(i % 2 == 0);
      state.setJacobian(filled(c, r)); // of another shape
      state.nullSpace();
      state.setJacobian(J);
      const ZqReArray N = state.nullSpace();
      ASSERT_EQ(N.rows(), c);
      ASSERT_EQ(N.columns(), c - rank);
      ASSERT_TRUE(state.nullSpaceValid());
      EXPECT_EQ(state.jacobianLU().rows(), std::max(r, c));
      ZqReArray zero(r, c - rank), gram, L;
      EXPECT_TRUE((J * N).approxEq(zero, 1e-9));
      N.leftTransposeMultiply(N, gram);
      EXPECT_TRUE(gram.choleskyFactor(L)); // of full rank
   }
   ZqJacobianState state;
   const auto expectMessage = [&](const auto& ask, const char* message)
   {
      const LogCapture log;
      ask();
      EXPECT_EQ(log.size(), *message == '\0' ? 0U : 1U);
      EXPECT_TRUE(log.size() == 0 || log.messages().front().text == message);
   };
   expectMessage([&] { EXPECT_EQ(state.nullSpace().rows(), 0U); }, "Jacobian not available.");
   expectMessage([&] { state.softJacobian(); }, "Soft Jacobian not ready");
   state.setJacobian(ZqReArray::identity(2));
   state.setSoftJacobian(ZqReArray::identity(3));
   expectMessage([&] { EXPECT_EQ(state.nullSpace().columns(), 0U); }, "");
   state.invalidateAll();
   expectMessage([&] { EXPECT_EQ(state.jacobian(), ZqReArray::identity(2)); },
                 "Jacobian not ready");
   state.jacobianReferenceToSet()[0][0] = NAN;
   state.calculateNullSpaceAndJacobianLU();
   EXPECT_FALSE(state.nullSpaceValid());
}

TEST(ManipulatorConstraintTool, LeadsGroupsOfJointsWithinTheirLimits)
{
   RandomValues random(14);
   ZqStatedSystem system;
   for (const ZqU32 links : {3U, 2U})
   {
      ZqIndividualManipulator manipulator = zqTest::randomManipulator(random, links);
      manipulator.setManipulatorLabel("m" + std::to_string(links));
      system.addManipulator(manipulator);
   }
   using Tool = ZqManipulatorConstraintTool;
   Tool tool;
   EXPECT_TRUE(tool.setToOneGroup(system));
   ASSERT_EQ(tool.manipulatorConstraints()[0].size(), 5U);
   for (const ZqReal t : {-0.5, 0.0, 0.25, 1.0, 7.0})
   {
      ZqManipulatorSystemState state = system.state();
      const LogCapture log;
      EXPECT_TRUE(tool.convert({t}, system, state));
      EXPECT_EQ(log.size(), 2U); // of the second manipulator
      for (ZqU32 m = 0; m < 2; ++m)
         for (ZqU32 j = 0; j < 3 - m; ++j)
         {
            const ZqJointActuator& drive =
               system.system().manipulators()[m].linkByIndex(j)->jointActuator();
            const ZqReal part = std::clamp(t, 0.0, 1.0);
            EXPECT_EQ(state.positionStates()[m].jointPositions()[j],
                      (1.0 - part) * drive.lowerLimit() + part * drive.upperLimit());
         }
   }

   const auto tell =
      [&](const ZqString& label, ZqU32 groups, std::size_t values, ZqReal value = 0.3)
   {
      Tool::Group group = tool.manipulatorConstraints()[0];
      Tool::Element unknown = group[1];
      unknown.first().second() = label;
      group.pushBack(unknown);
      Tool other;
      other.setManipulatorConstraints(Tool::Groups(groups, group));
      ZqManipulatorSystemState state = system.state();
      const LogCapture log;
      EXPECT_FALSE(other.convert(Reals(values, value), system, state));
      EXPECT_EQ(state, system.state());
      return log.messages().back().text;
   };
   const ZqString sizes = "ZqManipulatorConstraintTool::convert group size problem.";
   EXPECT_EQ(tell("label0", 0, 0), sizes);
   EXPECT_EQ(tell("label0", 2, 1), sizes);
   EXPECT_NE(tell("label0", 1, 1, NAN).find("leads to no position of joint 0"), ZqString::npos);
   EXPECT_EQ(tell("nobody", 1, 1), "ZqManipulatorConstraintTool::convert link not found");

   Tool::Element bare = tool.manipulatorConstraints()[0][0];
   bare.second().setTopElement(ZqLinearScalarFunction(8.0, 9.0));
   Tool reset;
   Tool::Element empty = bare;
   empty.second().setAndDeleteTopElementPointer(nullptr);
   reset.setManipulatorConstraints({Tool::Group{bare, empty}});
   const LogCapture log;
   EXPECT_TRUE(reset.setConstraintToJointLimit(system));
   EXPECT_EQ(log.messages().front().text,
             "Bad function type in ZqManipulatorConstraintTool::setConstraintToJointLimit()\n");
   EXPECT_EQ(reset.manipulatorConstraints()[0][0], tool.manipulatorConstraints()[0][0]);
}
} // namespace
