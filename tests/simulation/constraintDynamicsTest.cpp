#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/loops.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/tools/ZqConstraintProjection.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <gtest/gtest.h>

#include <numbers>

namespace
{
using zqTest::pin;
using zqTest::RandomValues;
using zqTest::rod;

constexpr ZqReal hanger = 0.5;
constexpr ZqReal seat = 0.8;
constexpr ZqReal weight = 9.80665;
constexpr ZqReal start = -0.8 * std::numbers::pi;

ZqOrientation turnAbout(const ZqVector& axis, ZqReal angle)
{
   const ZqVector v = std::sin(0.5 * angle) * axis;
   return {std::cos(0.5 * angle), v.x(), v.y(), v.z()};
}

/// A slide along the y axis of what is before it, turned by theta about its own axis.
ZqManipulatorLink slide(const ZqString& label, ZqReal theta, ZqReal mass)
{
   ZqDenavitHartenberg joint;
   joint.setDhType(ZqDenavitHartenberg::Craig);
   joint.setJointType(ZqDenavitHartenberg::Prismatic);
   joint.setDhAlpha(-0.5 * std::numbers::pi);
   joint.setDhTheta(theta);
   ZqManipulatorLink link;
   link.setLinkLabel(label);
   link.setLinkKinematics(joint);
   link.setMassProperties({mass, ZqVector(), ZqSecondMoment()});
   return link;
}

/// A loop in the plane of x and y: a chain, and what closes it.
struct Loop
{
   const char* name;
   std::vector<ZqReal> links;
   std::vector<ZqReal> position;
   std::vector<ZqReal> velocity;
   ZqStateEqualityConstraintVector constraints;
   /// The acceleration of the first joint under its weight, and without.
   std::array<ZqReal, 2> acceleration = {zqTest::nan, zqTest::nan};
   ZqReal bead = 0.0; ///< its mass, if there is one, on slides along y and x
};

template <class... Constraint>
ZqStateEqualityConstraintVector all(const Constraint&... constraint)
{
   ZqStateEqualityConstraintVector result;
   (result.pushBack(constraint), ...);
   return result;
}

const ZqVector tip(hanger, 0.0, 0.0);
const ZqVector ground(seat, 0.0, 0.0);
const auto point = pin<ZqPointStateEqualityConstraint>("rod2", tip, "base", ground);
const auto xy = pin<ZqXyStateEqualityConstraint>("rod2", tip, "base", ground);

/// A parallelogram that swings from the ground, moved by the work of its weight.
Loop swing(const char* name, const ZqStateEqualityConstraintVector& constraints)
{
   return {name,
           {hanger, seat, hanger},
           {start, -start, start - std::numbers::pi},
           {0.7, -0.7, 0.7},
           constraints,
           {-weight * (hanger * hanger + seat * hanger) * std::cos(start) /
               (2.0 * hanger * hanger * hanger / 3.0 + seat * hanger * hanger),
            0.0}};
}

/// A bead that slides along a hinged rod. The plane of the constraint turns with the rod.
Loop beadOnARod()
{
   auto sleeve = pin<ZqXyStateEqualityConstraint>("bead", {}, "rod0", {});
   sleeve.setXyOrientation(turnAbout({0.0, 1.0, 0.0}, 0.5 * std::numbers::pi));
   constexpr ZqReal angle = 0.6;
   constexpr ZqReal rate = 1.3;
   constexpr ZqReal r = 0.45;
   constexpr ZqReal slip = -0.8;
   constexpr ZqReal m = 0.7;
   const ZqReal s = std::sin(angle);
   const ZqReal c = std::cos(angle);
   const ZqReal inertia = seat * seat * seat / 3.0 + m * r * r;
   const ZqReal coriolis = -2.0 * m * r * slip * rate / inertia;
   return {"bead",
           {seat},
           {angle, r * s, r * c},
           {rate, slip * s + r * rate * c, slip * c - r * rate * s},
           all(sleeve),
           {coriolis - weight * c * (0.5 * seat * seat + m * r) / inertia, coriolis},
           m};
}

/// A slider-crank: the end of the second rod slides along x. The plane is turned about that axis.
Loop sliderCrank(ZqReal turn)
{
   auto slide = pin<ZqXyStateEqualityConstraint>("rod1", ground, "base", ZqVector());
   slide.setXyOrientation(turnAbout({0.0, 1.0, 0.0}, 0.5 * std::numbers::pi) *
                          turnAbout({0.0, 0.0, 1.0}, turn));
   const ZqReal crank = 0.9;
   const ZqReal inclination = -std::asin(hanger / seat * std::sin(crank));
   const ZqReal rate = -hanger * std::cos(crank) / (seat * std::cos(inclination));
   return {
      "slider-crank", {hanger, seat}, {crank, inclination - crank}, {1.0, rate - 1.0}, all(slide)};
}

ZqIndividualManipulator model(const Loop& loop)
{
   ZqIndividualManipulator result;
   result.setLinkLabel("base");
   result.setMassProperties({2.0, ZqVector(), ZqSecondMoment(0.3, 0.4, 0.5, 0.0, 0.0, 0.0)});
   ZqReal before = 0.0;
   for (ZqU32 i = 0; i < loop.links.size(); ++i)
   {
      result.addLinkToEndOfChain(rod("rod" + std::to_string(i), before, loop.links[i]));
      before = loop.links[i];
   }
   if (loop.bead > 0.0)
   {
      ZqManipulatorLink along = slide("along y", -0.5 * std::numbers::pi, 0.0);
      along.addChild(slide("bead", 0.0, loop.bead));
      result.addChild(along);
   }
   result.setStateEqualityConstraints(loop.constraints);
   return result;
}

/// A scene with the model in some placement, and its state.
struct Scene
{
   Scene(const ZqIndividualManipulator& source, const std::vector<ZqReal>& q,
         const std::vector<ZqReal>& rates, const ZqOrientation& turn = ZqOrientation())
   {
      ZqIndividualManipulator turned(source);
      turned.setCoordSysXForm(ZqCoordinateSystemTransformation({0.3, -0.2, 0.1}, turn));
      system.setFromManipulator(turned);
      ZqSystemEnvironment environment;
      environment.setUpGravityVector(turn * ZqVector(0.0, weight, 0.0));
      system.setEnvironment(environment);
      position.setJointPositions(q);
      velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>(rates));
   }
   const ZqIndividualManipulator& manipulator() const { return *system.manipulatorByIndex(0); }
   ZqAccelerationState acceleration(ZqCrbiAccelerationTool& tool) const
   {
      tool.forgetOwnState();
      ZqAccelerationState result;
      tool.acceleration(system, manipulator(), position, velocity, {}, {}, result, nullptr, true);
      return result;
   }
   void step(ZqCrbiAccelerationTool& tool, ZqReal dt)
   {
      manipulator().propagateVelocityState(acceleration(tool), dt, velocity);
      manipulator().propagateState(velocity, dt, position);
   }
   ZqManipulatorActiveState active() const
   {
      ZqManipulatorActiveState state;
      state.setPositionState(position);
      state.setVelocityState(velocity);
      return state;
   }
   ZqReal kineticEnergy() const
   {
      ZqManipulatorActiveState state = active();
      return manipulator().computeKineticEnergy(state, nullptr);
   }
   ZqVector center() const
   {
      ZqManipulatorActiveState state = active();
      return manipulator().getCenterOfMassInSystem(state);
   }
   /// Of the whole, linear and about the origin of the base.
   ZqRealVector momentum() const
   {
      ZqManipulatorActiveState state = active();
      ZqMassMatrixTool tool;
      tool.setManipulator(&manipulator());
      ZqRealVector v = velocity.jointVelocities().values();
      for (ZqU32 k = 0; k < 6; ++k)
         v.push_back(velocity.generalVelocity()[k]);
      v = tool.extendedMassMatrixInSystem(state, nullptr) * v;
      return {v.end() - 6, v.end()};
   }
   ZqConstraintKinematics kinematics() const
   {
      ZqManipulatorActiveState state = active();
      return manipulator().stateEqualityConstraints().kinematics(manipulator(), state);
   }
   ZqReal gap() const
   {
      return manipulator().stateEqualityConstraints().greatestGap(kinematics()).size;
   }

   ZqStatedSystem system;
   ZqPositionState position;
   ZqVelocityState velocity;
};

TEST(ConstraintDynamics, LoopsMoveAlikeInAnyOrientationHoweverOftenTheyAreClosed)
{
   ZqReal ofCrank[] = {zqTest::nan, zqTest::nan};
   RandomValues random(61);
   constexpr ZqReal vertical = 0.5 * std::numbers::pi;
   for (ZqU32 i = 0; i < 50; ++i)
   {
      const ZqOrientation turn =
         i < 4 ? turnAbout({1.0, 0.0, 0.0}, vertical * i) : random.orientation();
      for (const Loop& loop :
           {swing("pin", all(xy)), swing("ball joint", all(point)),
            swing("closed twice", all(point, point)), swing("closed thrice", all(xy, point, xy)),
            beadOnARod(), sliderCrank(0.0), sliderCrank(vertical),
            sliderCrank(random.real(-3.0, 3.0))})
         for (const bool isFree : {false, true})
            for (const bool isRight : {false, true})
            {
               SCOPED_TRACE(testing::Message() << loop.name << ' ' << i << isFree << isRight);
               // A base that stays where it is, with masses nine powers of ten apart.
               ZqIndividualManipulator manipulator = model(loop);
               manipulator.setIsFixedBase(!isFree);
               manipulator.setMassProperties(
                  {1e9, ZqVector(), ZqSecondMoment(1e9, 1e9, 1e9, 0.0, 0.0, 0.0)});
               const Scene scene(manipulator, loop.position, loop.velocity, turn);
               ZqCrbiAccelerationTool tool;
               tool.setUsesConstraintKinematics(isRight);
               const ZqReal found = scene.acceleration(tool).jointAccelerations()[0];
               // A slider-crank moves as in its first orientation. Differences are good to 1e-6.
               ZqReal expected = loop.acceleration[isFree];
               if (std::isnan(expected))
                  expected =
                     std::isnan(ofCrank[isFree]) ? ofCrank[isFree] = found : ofCrank[isFree];
               EXPECT_NEAR(found, expected, isRight ? 1e-8 : 5e-6);
               if (isFree)
                  continue;
               // Hybrid control of nothing finds the same.
               ZqManipulatorTorque torque;
               ZqAccelerationState hybrid;
               tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.position,
                                             scene.velocity, {}, {}, torque, hybrid, nullptr, true);
               EXPECT_NEAR(hybrid.jointAccelerations()[0], found, 1e-7);
            }
   }
}

/// A constraint of a user's own, that has no more than a Jacobian.
class PlainPoint : public ZqPointStateEqualityConstraint
{
public:
   ZqXmlObject* clone() const override { return new PlainPoint(*this); }
   void addKinematics(const ZqIndividualManipulator& manipulator, ZqManipulatorActiveState& state,
                      ZqU32 firstRow, ZqConstraintKinematics& kinematics) const override
   {
      ZqBaseStateEqualityConstraint::addKinematics(manipulator, state, firstRow, kinematics);
   }
};

TEST(ConstraintDynamics, BaseThatSpinsCountsOnceHoweverManyJointsThereAre)
{
   const ZqVector arm(1.0, 0.0, 0.0);
   for (const ZqU32 joints : {0, 1, 3})
   {
      const std::vector<ZqReal> values(joints, 0.3);
      ZqIndividualManipulator manipulator =
         model({"", values, values, values,
                all(pin<ZqPointStateEqualityConstraint>("base", arm, "nowhere", ZqVector()),
                    pin<PlainPoint>("base", arm, "nowhere", ZqVector()))});
      manipulator.setIsFixedBase(false);
      RandomValues random(62);
      const ZqOrientation turn = random.orientation();
      Scene scene(manipulator, values, values, turn);
      scene.velocity.setGeneralVelocity({random.vector(), turn * ZqVector(0.0, 0.0, 1.5)});
      const ZqVector expected = -2.25 * (turn * arm);
      for (ZqU32 i = 0; i < 6; ++i)
         EXPECT_NEAR(scene.kinematics().bias[i][0], expected[i % 3], i < 3 ? 1e-14 : 1e-9);
   }
}

TEST(ConstraintDynamics, ContradictingConstraintsAreNamedOnceAndStayFinite)
{
   // The last rod is to turn about three points at once, and moves.
   using Point = ZqPointStateEqualityConstraint;
   const Loop loop =
      swing("", all(point, pin<Point>("rod2", {}, "base", {0.5, 0.4, 0.0}),
                    pin<Point>("rod2", {0.2, 0.1, 0.0}, "elsewhere", {0.1, -0.7, 0.0})));
   for (const bool isRight : {false, true})
   {
      Scene scene(model(loop), loop.position, loop.velocity);
      ZqCrbiAccelerationTool tool;
      tool.setUsesConstraintKinematics(isRight);
      const zqTest::LogCapture log;
      for (int i = 0; i < 5000; ++i)
         scene.step(tool, 1e-3);
      for (const ZqReal rate : scene.velocity.jointVelocities())
         EXPECT_LT(std::abs(rate), 10.0);
      EXPECT_EQ(log.size(), 3u) << log.text();
      EXPECT_TRUE(log.contains("constraint 2 (pointStateEqualityConstraint between \"rod2\" and "
                               "\"elsewhere\")"));
   }
}

/// A loop of four bars of which no two are alike, open by a few millimetres.
Loop fourBar()
{
   return {
      "four-bar",
      {0.3, 0.7, 0.5},
      {1.1, -0.79, -1.4},
      {0.0, 0.0, 0.0},
      all(pin<ZqPointStateEqualityConstraint>("rod2", {0.5, 0.0, 0.0}, "base", {0.9, 0.0, 0.0}))};
}

TEST(ConstraintProjection, TakesWhatViolatesAndNoMomentumOrMore)
{
   RandomValues random(63);
   for (ZqU32 i = 0; i < 50; ++i)
   {
      SCOPED_TRACE(i);
      // A loop that is open by a few centimetres, on a base that is free.
      Loop loop = i % 2 == 0 ? fourBar() : swing("", all(point, xy));
      for (ZqReal& q : loop.position)
         q += random.real(-0.05, 0.05);
      ZqIndividualManipulator manipulator = model(loop);
      manipulator.setIsFixedBase(i % 3 == 0);
      Scene scene(manipulator, loop.position, {1.0, -2.0, 3.0}, random.orientation());
      scene.position.setCoordSysXForm(zqTest::randomFrame(random));
      scene.velocity.setGeneralVelocity({random.vector(), random.vector()});
      if (manipulator.isFixedBase())
         scene.velocity.setGeneralVelocity(ZqGeneralMotion());
      const ZqVector center = scene.center();

      ZqConstraintProjection projection;
      const auto place =
         projection.projectPosition(scene.system, scene.manipulator(), scene.position);
      EXPECT_TRUE(place.converged);
      EXPECT_GT(place.before, 1e-4);
      EXPECT_LT(scene.gap(), 1e-12);
      EXPECT_LE(place.iterations, 8u);
      const ZqVelocityState before = scene.velocity;
      const ZqReal energy = scene.kineticEnergy();
      const auto momentum = scene.momentum();
      EXPECT_TRUE(
         projection
            .projectVelocity(scene.system, scene.manipulator(), scene.position, scene.velocity)
            .converged);
      if (!manipulator.isFixedBase())
      {
         // To first order in the change.
         EXPECT_TRUE(scene.center().approxEq(center, 2e-2));
         for (ZqU32 k = 0; k < 6; ++k)
            EXPECT_NEAR(scene.momentum()[k], momentum[k], 1e-12);
      }

      // By Pythagoras: the energy is what is left and what was taken away. And once is enough.
      const ZqReal left = scene.kineticEnergy();
      const ZqVelocityState after = scene.velocity;
      for (ZqU32 k = 0; k < 3; ++k)
         scene.velocity.jointVelocities()[k] =
            before.jointVelocities()[k] - after.jointVelocities()[k];
      scene.velocity.setGeneralVelocity(before.generalVelocity() - after.generalVelocity());
      EXPECT_NEAR(scene.kineticEnergy() + left, energy, 1e-12 * energy);
      scene.velocity = after;
      ZqPositionState position = scene.position;
      const zqTest::AllocationCount allocations;
      projection.projectPosition(scene.system, scene.manipulator(), position);
      projection.projectVelocity(scene.system, scene.manipulator(), position, scene.velocity);
      EXPECT_EQ(allocations.count(), 0u);
      EXPECT_EQ(position, scene.position);
      EXPECT_TRUE(scene.velocity.approxEq(after, 1e-13));
   }
}

TEST(ConstraintProjection, LeavesWhatCannotBeClosedAndTellsOfLimits)
{
   Loop loop =
      swing("", all(pin<ZqPointStateEqualityConstraint>("rod2", tip, "base", {9.0, 0.0, 0.0})));
   Scene open(model(loop), loop.position, loop.velocity);
   ZqConstraintProjection projection;
   const ZqPositionState before = open.position;
   auto result = projection.projectPosition(open.system, open.manipulator(), open.position);
   EXPECT_FALSE(result.converged);
   EXPECT_EQ(open.position, before);
   EXPECT_EQ(result.constraint, 0u);
   EXPECT_NEAR(result.after, 9.0 - 2.0 * hanger - seat, 1e-2);
   EXPECT_LT(result.after, result.before);
   for (const ZqReal bad : {zqTest::nan, zqTest::infinity})
   {
      open.position.jointPositions()[1] = bad;
      EXPECT_FALSE(
         projection.projectPosition(open.system, open.manipulator(), open.position).converged);
      EXPECT_FALSE(
         projection.projectVelocity(open.system, open.manipulator(), open.position, open.velocity)
            .converged);
   }

   loop = fourBar();
   ZqIndividualManipulator limited = model(loop);
   loop.position[1] += 0.1;
   ZqMechanicalActuatorComponent drive;
   drive.setLowerLimit(loop.position[1] - 1e-3);
   ZqJointActuator actuator;
   actuator.setMechanicalComponent(drive);
   limited.linkByIndex(1)->setJointActuator(actuator);
   Scene scene(limited, loop.position, loop.velocity);
   result = projection.projectPosition(scene.system, scene.manipulator(), scene.position);
   EXPECT_TRUE(result.converged);
   EXPECT_EQ(result.jointBeyondLimit, 1u);
}

/// A second from where a loop stands. Answers the energy at the end, and the steps that were left to the
/// first integrator.
std::pair<ZqSimulation::Energy, std::uint64_t> simulate(const Loop& loop,
                                                        const ZqIndividualManipulator& model,
                                                        ZqSimulation::Integrator integrator)
{
   Scene scene(model, loop.position, loop.velocity);
   ZqManipulatorSystemState state = scene.system.state();
   state.positionStates()[0] = scene.position;
   state.velocityStates()[0] = scene.velocity;
   scene.system.setState(state);
   ZqSimulation::Settings settings;
   settings.integrator = integrator;
   ZqSimulation simulation(scene.system, settings);
   for (int i = 1; i <= 1000; ++i)
      EXPECT_TRUE(simulation.stepTo(1e-3 * i));
   EXPECT_LT(simulation.greatestGap()->size, 1.1e-12);
   return {simulation.energy(), simulation.substitutedSteps()};
}

TEST(ConstraintDynamics, DeadPointsAndHeavyBodiesGiveNoEnergy)
{
   using Integrator = ZqSimulation::Integrator;
   for (const Integrator integrator :
        {Integrator::SemiImplicitEuler, Integrator::ImplicitMidpoint, Integrator::RungeKutta})
   {
      // Three rods that are as long as the ground, but for what one could not see.
      for (const ZqReal slack : {0.0, 1e-9})
      {
         const Loop loop{"stretched",
                         {0.3, 0.9, 0.7},
                         {0.8, -0.9, 0.1},
                         {0.0, 0.0, 0.0},
                         all(pin<ZqPointStateEqualityConstraint>("rod2", {0.7, 0.0, 0.0}, "base",
                                                                 {1.9 - slack, 0.0, 0.0}))};
         EXPECT_LT(simulate(loop, model(loop), integrator).first.kinetic, 1e-2);
      }
      // Beside a mass a billion times as great the others lose digits, and no more. At the start, where
      // rounding is most of what moves, a step may be left to the first integrator.
      ZqIndividualManipulator heavy = model(fourBar());
      heavy.linkByIndex(1)->setMassProperties(
         {1e9, ZqVector(3e8, 0.0, 0.0), ZqSecondMoment(0.0, 2e8, 2e8, 0.0, 0.0, 0.0)});
      EXPECT_LT(simulate(fourBar(), heavy, integrator).second, 10u);
   }
}
} // namespace
