// Scenes in contact whose outcome is known from paper, under our own laws unless a law is named.

#include "support/contactScene.h"

#include "examples/models/modelParts.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <random>

namespace
{
using zqTest::ContactMaterial;
using zqTest::ContactScene;
using zqTest::SolidBody;
using Frame = ZqCoordinateSystemTransformation;

constexpr ZqReal g = 9.8;
const ZqVector cube(0.05, 0.05, 0.05);

/// Steps until a time, with what is to be done before each step.
void run(ZqSimulation& simulation, ZqReal dt, ZqReal until,
         const std::function<void(ZqReal)>& before = {})
{
   const auto first = std::llround(simulation.state().time() / dt);
   const auto last = std::llround(until / dt);
   for (auto k = first + 1; k <= last; ++k)
   {
      if (before)
         before(simulation.state().time());
      ASSERT_TRUE(simulation.stepTo(static_cast<ZqReal>(k) * dt));
   }
}

ZqVector onSlope(ZqReal angle)
{
   return {g * std::sin(angle), 0.0, -g * std::cos(angle)};
}

/// A body at rest on the floor, as deep as its weight along the normal says.
ContactScene onFloor(const SolidBody& body, ZqReal height, const ContactMaterial& material,
                     const ZqVector& gravity = {0.0, 0.0, -g}, const ZqGeneralMotion& velocity = {},
                     const ZqOrientation& axes = {})
{
   ContactScene scene(gravity);
   scene.addFloor();
   const ZqReal depth =
      std::pow(-gravity.z() * body.mass.mass() / material.stiffness, 1.0 / material.exponent);
   scene.addFree(body, {ZqVector(0.0, 0.0, height - depth), axes}, velocity);
   scene.setContact(material);
   return scene;
}

/// The middle and the turn of a body against where they were, whatever the axes.
ZqReal wayBetween(const Frame& from, const Frame& to)
{
   return (to.translation() - from.translation()).mag() +
          0.1 * (to.orientation().xAxis() - from.orientation().xAxis()).mag();
}

TEST(ContactTruth, ASlopeHoldsUpToTheAngleOfFriction)
{
   const ContactMaterial material;
   struct Case
   {
      const char* name;
      SolidBody body;
      ZqReal height;
      ZqOrientation axes = {};
   };
   // The tall one rests nearly all on its lower edge.
   std::array<Case, 5> cases{
      {{"box", zqTest::solidBox(1.0, cube), 0.05},
       {"tall box", zqTest::solidBox(1.0, {0.05, 0.05, 0.08}), 0.08},
       {"mesh", zqTest::meshBox(1.0, cube), 0.05},
       {"hull", zqTest::solidHull(1.0, cube), 0.05},
       {"capsule", zqTest::solidCapsule(1.0, 0.03, 0.05), 0.03, models::alongX}}};
   for (const auto& [name, body, height, axes] : cases)
      for (const ZqReal part : {0.9, 0.99, 1.01, 1.1})
      {
         SCOPED_TRACE(testing::Message() << part << " of a " << name);
         constexpr ZqReal dt = 1e-3;
         const ZqVector gravity = onSlope(part * std::atan(material.staticFriction));
         ZqSimulation simulation(onFloor(body, height, material, gravity, {}, axes).system);
         // What pulls it down is let go within half a second.
         const auto letGo = [&](ZqReal time)
         {
            zqTest::push(simulation, 1,
                         ZqVector(-gravity.x() * std::max(0.0, 1.0 - 2.0 * time), 0.0, 0.0));
         };
         run(simulation, dt, 2.0, letGo);
         const Frame early = zqTest::placeOf(simulation, 1);
         const ZqReal speed = zqTest::velocityOf(simulation, 1).linear().x();
         run(simulation, dt, part < 1.0 ? 12.0 : 3.0);
         EXPECT_NEAR(height - zqTest::wayOf(simulation, 1).z(), -gravity.z() / material.stiffness,
                     1e-7);
         if (part < 1.0)
         {
            EXPECT_LT(wayBetween(early, zqTest::placeOf(simulation, 1)), 1e-9);
            EXPECT_EQ(simulation.contacts().front().mode, ZqSimulation::ContactMode::Sticks);
            EXPECT_EQ(simulation.slips(), 0U);
         }
         else
         {
            EXPECT_NEAR(zqTest::velocityOf(simulation, 1).linear().x() - speed,
                        gravity.x() + material.kineticFriction * gravity.z(), 1e-4);
            EXPECT_EQ(simulation.contacts().front().mode, ZqSimulation::ContactMode::Slips);
            EXPECT_EQ(simulation.slips(), 1U);
         }
      }
}

TEST(ContactTruth, APulledBlockBreaksAwayStopsAndSticksAgain)
{
   const ContactMaterial material;
   // The force acts above the middle by this; far up, the points are loaded unevenly.
   for (const ZqReal lever : {-0.02, 0.0, 0.05})
   {
      SCOPED_TRACE(lever);
      constexpr ZqReal dt = 1e-3;
      constexpr ZqReal rate = 1.0;
      ZqSimulation simulation(
         onFloor(zqTest::solidBox(1.0, {0.05, 0.05, 0.02}), 0.02, material).system);
      ZqReal force = 0.0;
      const auto step = [&](ZqReal change)
      {
         force += change * dt;
         zqTest::push(simulation, 1, {force, 0.0, 0.0}, {0.0, lever * force, 0.0});
         ASSERT_TRUE(simulation.step(dt));
      };
      const auto speed = [&] { return zqTest::velocityOf(simulation, 1).linear().x(); };
      const auto way = [&] { return zqTest::wayOf(simulation, 1).x(); };
      for (int round = 0; round < 2; ++round)
      {
         const ZqReal start = way();
         while (way() < start + 1e-3 && force < 6.0)
            step(rate);
         // The first millimetre takes some hundredths of a second.
         EXPECT_NEAR(force, material.staticFriction * g, 0.07);
         EXPECT_GE(force, material.staticFriction * g);
         ZqReal friction = 0.0;
         int count = 0;
         while (speed() > 0.0 && force > 0.0)
         {
            const ZqReal before = speed();
            step(-rate);
            if (speed() < 0.05)
               continue;
            friction += force - (speed() - before) / dt;
            ++count;
         }
         EXPECT_NEAR(friction / count, material.kineticFriction * g, 1e-4);
         EXPECT_LT(force, material.kineticFriction * g);
      }
   }
}

/// An arm with three joints about y, each driven to its angle, whose hand points down with two fingers; and a
/// block below it on the floor.
struct GraspingArm
{
   static constexpr ZqReal length = 0.4; ///< of the upper arm and of the forearm
   static constexpr ZqReal shoulder = 0.5;
   static constexpr ZqReal reach = 0.15; ///< of the hand
   static constexpr ZqReal gap = 0.002;

   /// Angles that put the middle of the fingers at (x, 0, z), the hand turned about y.
   static std::array<ZqReal, 3> angles(ZqReal x, ZqReal z, ZqReal turn)
   {
      const ZqReal X = x + reach * std::sin(turn);
      const ZqReal Z = shoulder - z - reach * std::cos(turn);
      const ZqReal elbow = std::acos((X * X + Z * Z) / (2.0 * length * length) - 1.0);
      const ZqReal first = std::atan2(Z, X) - 0.5 * elbow;
      return {first, elbow, turn - first - elbow};
   }

   explicit GraspingArm(const ContactMaterial& material)
   {
      using namespace models;
      const auto finger = [](const char* name, ZqReal x)
      {
         return shaped(
            link(name,
                 joint(ZqDenavitHartenberg::Prismatic, alongX, ZqVector(x, 0.0, -reach), alongY),
                 box(0.5, {}, {0.02, 0.03, 0.04}), models::drive(-1.0, 1.0)),
            ZqBox(Frame(), {0.01, 0.015, 0.02}));
      };
      ZqManipulatorLink hand = link("hand", turning(alongY, {length, 0.0, 0.0}, alongY),
                                    box(1.0, {0.0, 0.0, -0.05}, {0.1, 0.1, 0.1}));
      hand.addChild(finger("left", -0.04 - gap));
      hand.addChild(finger("right", 0.04 + gap));
      ZqManipulatorLink fore = link("fore", turning(alongY, {length, 0.0, 0.0}, alongY),
                                    rod(2.0, {0.5 * length, 0.0, 0.0}, length));
      fore.addChild(hand);
      ZqManipulatorLink upper = link("upper", turning(alongY, {0.0, 0.0, shoulder}),
                                     rod(2.0, {0.5 * length, 0.0, 0.0}, length));
      upper.addChild(fore);
      ZqIndividualManipulator arm;
      arm.setIsFixedBase(true);
      arm.addChild(upper);
      const auto q = angles(0.5, 0.05, 0.0);
      scene.addFloor();
      scene.add(arm, position({q[0], q[1], q[2], 0.0, 0.0}), rest(5));
      scene.addFree(zqTest::solidBox(1.0, {0.03, 0.03, 0.05}),
                    Frame(ZqVector(0.5, 0.0, 0.05 - g / material.stiffness)));
      scene.setContact(material);
   }

   /// Drives the joints by stiff springs with dampers. The left finger holds its place, the right one presses.
   static void drive(ZqSimulation& simulation, const std::array<ZqReal, 3>& goal, ZqReal force)
   {
      constexpr std::array stiffness{1e4, 1e4, 1e3, 2e4};
      constexpr std::array damping{80.0, 50.0, 5.0, 60.0};
      const auto& q = simulation.state().positionStates()[1].jointPositions().values();
      const auto& v = simulation.state().velocityStates()[1].jointVelocities().values();
      for (ZqU32 i = 0; i < 3; ++i)
         simulation.setTorque({1, i}, stiffness[i] * (goal[i] - q[i]) - damping[i] * v[i]);
      simulation.setTorque({1, 3}, stiffness[3] * (gap - q[3]) - damping[3] * v[3]);
      simulation.setTorque({1, 4}, -force - damping[3] * v[4]);
   }

   ContactScene scene;
};

TEST(ContactTruth, AnArmLiftsABlockAndTurnsIt)
{
   const ContactMaterial material;
   constexpr ZqReal dt = 2.5e-4;
   constexpr ZqReal turn = 1.0;
   ZqSimulation simulation(GraspingArm(material).scene.system);
   const auto step = [](ZqReal time, ZqReal start, ZqReal end)
   {
      const ZqReal s = std::clamp((time - start) / (end - start), 0.0, 1.0);
      return s * s * s * (10.0 + s * (-15.0 + 6.0 * s));
   };
   const auto drive = [&](ZqReal time)
   {
      GraspingArm::drive(
         simulation,
         GraspingArm::angles(0.5, 0.05 + 0.2 * step(time, 1.0, 2.0), turn * step(time, 4.0, 5.0)),
         50.0 * step(time, 0.2, 0.6));
   };
   const auto blockInFinger = [&](ZqU32 finger)
   {
      auto& state = simulation.present().manipulatorActiveStateVector()[1].activePositionState();
      return simulation.linkAt({1, finger})->primaryFrameInSystem(state).inverse() *
             zqTest::placeOf(simulation, 2);
   };
   // Along the fingers, from what they carry.
   const auto height = [&]
   { return 0.5 * (blockInFinger(3).translation().z() + blockInFinger(4).translation().z()); };
   run(simulation, dt, 1.0, drive);
   ASSERT_EQ(simulation.contacts().size(), 3U);
   const ZqReal onFloor = g - simulation.contacts().front().normalForce;
   const ZqReal atFirst = height();
   run(simulation, dt, 4.0, drive);
   ASSERT_EQ(simulation.contacts().size(), 2U);
   // The block turns a hair between the fingers, so that what these press is not quite across.
   const ZqReal kt = material.tangentialRatio * material.stiffness;
   const ZqReal sag = g / (2.0 * kt);
   const ZqReal upright = height();
   EXPECT_NEAR(atFirst - upright, (g - onFloor) / (2.0 * kt), 1e-3 * sag);
   run(simulation, dt, 7.0, drive);
   EXPECT_NEAR(height() - upright, (1.0 - std::cos(turn)) * sag, 1e-3 * sag);
   const std::array before{blockInFinger(3), blockInFinger(4)};
   run(simulation, dt, 17.0, drive);
   EXPECT_LT(wayBetween(before[0], blockInFinger(3)), 1e-11);
   EXPECT_LT(wayBetween(before[1], blockInFinger(4)), 1e-11);
   EXPECT_GT(zqTest::wayOf(simulation, 2).z(), 0.24);
   EXPECT_EQ(simulation.contacts().front().mode, ZqSimulation::ContactMode::Sticks);
}

TEST(ContactTruth, AStackOfTenStands)
{
   constexpr ZqReal dt = 2e-4;
   ContactMaterial material;
   material.stiffness = 4e5;
   // One that is put up with care, and one of boxes that are turned and shifted, which sways for a while.
   for (const ZqReal roughness : {0.0, 1.0})
   {
      std::mt19937 random(7);
      std::uniform_real_distribution<ZqReal> some(-roughness, roughness);
      ContactScene scene;
      scene.addFloor();
      ZqReal z = -0.05;
      for (int i = 0; i < 10; ++i)
      {
         z += 0.1 - (10 - i) * g / material.stiffness;
         const ZqVector p(2e-3 * some(random), 2e-3 * some(random), z);
         scene.addFree(zqTest::solidBox(1.0, cube),
                       {p, ZqOrientation::zRotation(0.1 * some(random))});
      }
      scene.setContact(material);
      ZqSimulation simulation(scene.system);
      run(simulation, dt, roughness > 0.0 ? 3.0 : 0.2);
      EXPECT_LT(simulation.energy().kinetic, roughness > 0.0 ? 2e-5 : 1e-20);
      EXPECT_NEAR(zqTest::wayOf(simulation, 10).z(), z, roughness > 0.0 ? 2e-5 : 1e-12);
      EXPECT_EQ(simulation.contacts().size(), 10U);
      EXPECT_EQ(simulation.slips(), 0U);
   }
}

TEST(ContactTruth, ABoxComesToRestAsDeepAsItsWeightSays)
{
   for (const ZqReal exponent : {1.0, 1.5})
   {
      SCOPED_TRACE(exponent);
      ContactMaterial material;
      material.exponent = exponent;
      material.stiffness = exponent > 1.0 ? 1e7 : 1e5;
      ContactScene scene;
      scene.addFloor();
      scene.addFree(
         zqTest::solidBox(1.0, cube),
         {ZqVector(0.0, 0.0, 0.15), ZqOrientation::yRotation(0.5) * ZqOrientation::xRotation(0.3)});
      scene.setContact(material);
      ZqSimulation simulation(scene.system);
      run(simulation, 5e-4, 6.0);
      EXPECT_NEAR(0.05 - zqTest::wayOf(simulation, 1).z(),
                  std::pow(g / material.stiffness, 1.0 / exponent), 1e-9);
      EXPECT_LT(simulation.energy().kinetic, 1e-15);
      // Level to rounding: one of its axes is upright.
      const ZqOrientation& R = zqTest::placeOf(simulation, 1).orientation();
      const ZqReal upright =
         std::max({std::abs(R.xAxis().z()), std::abs(R.yAxis().z()), std::abs(R.zAxis().z())});
      EXPECT_NEAR(upright, 1.0, 1e-15);
   }
}

/// What a law presses with, as a function of the depth and its rate.
using NormalLaw = std::function<ZqReal(ZqReal depth, ZqReal rate)>;

/// Of 1 kg that meets it at a speed, without gravity: greatest depth, and the speed with which it leaves.
std::array<ZqReal, 2> bounceOf(const NormalLaw& law, ZqReal speed)
{
   constexpr ZqReal h = 1e-6;
   ZqReal d = 0.0;
   ZqReal v = speed;
   ZqReal deepest = 0.0;
   const auto a = [&](ZqReal depth, ZqReal rate) { return depth > 0.0 ? -law(depth, rate) : 0.0; };
   do
   {
      const ZqReal k1 = a(d, v);
      const ZqReal k2 = a(d + 0.5 * h * v, v + 0.5 * h * k1);
      const ZqReal k3 = a(d + 0.5 * h * v + 0.25 * h * h * k1, v + 0.5 * h * k2);
      const ZqReal k4 = a(d + h * v + 0.5 * h * h * k2, v + h * k3);
      d += h * v + h * h / 6.0 * (k1 + k2 + k3);
      v += h / 6.0 * (k1 + 2.0 * k2 + 2.0 * k3 + k4);
      deepest = std::max(deepest, d);
   } while (d > 0.0);
   return {deepest, -v};
}

TEST(ContactTruth, ASphereBouncesAsEachLawIntegrates)
{
   struct Case
   {
      const char* name;
      ZqLinkCollisionForce contact;
      NormalLaw law;
   };
   std::vector<Case> cases;
   for (const ZqReal exponent : {1.0, 1.5})
      for (const ZqReal dissipation : {0.0, 1.0, 3.0})
      {
         ContactMaterial material;
         material.exponent = exponent;
         material.stiffness = exponent > 1.0 ? 1e6 : 1e5;
         material.dissipation = dissipation;
         material.settlingFraction = 0.0;
         material.staticFriction = 0.0;
         cases.push_back({"our own", zqTest::contactOf(material),
                          [=](ZqReal d, ZqReal rate)
                          {
                             return std::max(0.0, material.stiffness * std::pow(d, exponent) *
                                                     (1.0 + dissipation * rate));
                          }});
      }
   // The laws of one point: two surfaces of these constants in series.
   constexpr ZqReal k = 5e4;
   constexpr ZqReal c = 20.0;
   const auto set = [&](auto law, ZqReal exponent, ZqReal damper)
   {
      law.setDefaultSpringConstant(2.0 * k);
      law.setDefaultDamperConstant(2.0 * damper);
      law.setDefaultSpringExponent(exponent);
      return zqTest::contactOf(law);
   };
   for (const ZqReal exponent : {1.0, 1.2})
   {
      // Half of it by the patch, which neither knows the exponent nor lets go.
      cases.push_back({"spring and patch", set(ZqMassSpringCollisionForceProcessor(), exponent, c),
                       [=](ZqReal d, ZqReal rate) {
                          return 0.5 * std::max(0.0, k * std::pow(d, exponent) + c * rate) +
                                 0.5 * (k * d + c * rate);
                       }});
      cases.push_back({"damper that grows",
                       set(ZqMassSpringDamperCollisionForceProcessor(), exponent, 200.0 * c),
                       [=](ZqReal d, ZqReal rate)
                       { return k * std::pow(d, exponent) + 200.0 * c * d * rate; }});
   }
   for (std::size_t i = 0; i < cases.size(); ++i)
   {
      const Case& one = cases[i];
      SCOPED_TRACE(testing::Message() << one.name << ' ' << i);
      constexpr ZqReal dt = 1e-5;
      ContactScene scene({0.0, 0.0, 0.0});
      scene.addFloor();
      scene.addFree(zqTest::solidSphere(1.0, 0.05), Frame(ZqVector(0.0, 0.0, 0.05 + 0.3 * dt)),
                    {ZqVector(0.0, 0.0, -1.0), ZqVector()});
      scene.setContact(one.contact);
      ZqSimulation simulation(scene.system);
      ZqReal deepest = 0.0;
      do
      {
         ASSERT_TRUE(simulation.step(dt));
         deepest = std::max(deepest, 0.05 - zqTest::wayOf(simulation, 1).z());
      } while (simulation.state().time() < 3 * dt || zqTest::wayOf(simulation, 1).z() < 0.05);
      const auto [depth, speed] = bounceOf(one.law, 1.0);
      EXPECT_NEAR(deepest, depth, 2e-3 * depth);
      EXPECT_NEAR(zqTest::velocityOf(simulation, 1).linear().z(), speed, 1e-3);
      EXPECT_NEAR(simulation.greatestDepth()->depth, deepest, 1e-12);
   }
}

TEST(ContactTruth, CollidingBodiesKeepTheirMomentum)
{
   const auto make = [](int kind) -> SolidBody
   {
      switch (kind)
      {
      case 0:
         return zqTest::solidSphere(2.0, 0.05);
      case 1:
         return zqTest::solidBox(2.0, {0.05, 0.04, 0.03});
      case 2:
         return zqTest::solidCylinder(2.0, 0.04, 0.05);
      default:
         return zqTest::meshBox(2.0, {0.05, 0.04, 0.03});
      }
   };
   for (int one = 0; one < 4; ++one)
      for (int other = 0; other <= one; ++other)
      {
         SCOPED_TRACE(testing::Message() << one << " on " << other);
         ContactScene scene({0.0, 0.0, 0.0});
         ContactMaterial material;
         scene.addFree(make(one), Frame(), {{1.2, 0.1, 0.3}, {3.0, -5.0, 2.0}});
         scene.addFree(make(other),
                       {ZqVector(0.13, 0.02, 0.01),
                        ZqOrientation::xRotation(0.3) * ZqOrientation::zRotation(0.6)},
                       {{-0.8, 0.0, -0.1}, {-1.0, 4.0, 6.0}});
         scene.setContact(material);
         const auto momentum = [&](const ZqSimulation& simulation)
         {
            std::array<ZqVector, 2> sum;
            for (ZqU32 i = 0; i < 2; ++i)
            {
               const Frame& X = zqTest::placeOf(simulation, i);
               const ZqGeneralMotion& V = zqTest::velocityOf(simulation, i);
               const auto& mass = simulation.system().manipulators()[i].massProperties();
               const ZqOrientation toBody = X.orientation().inverse();
               const ZqGeneralForce own =
                  mass.calculateForce({toBody * V.linear(), toBody * V.angular()});
               sum[0] += X.orientation() * own.force();
               sum[1] += X.orientation() * own.moment() +
                         X.translation().cross(X.orientation() * own.force());
            }
            return sum;
         };
         // Of the angular momentum the integrator leaves an error of first order, also without contact.
         std::array<ZqReal, 2> turned{};
         for (int half = 0; half < 2; ++half)
         {
            ZqSimulation simulation(scene.system);
            const auto before = momentum(simulation);
            run(simulation, half ? 5e-5 : 1e-4, 0.2);
            const auto after = momentum(simulation);
            EXPECT_LT((after[0] - before[0]).mag(), 1e-13);
            turned[half] = (after[1] - before[1]).mag();
            ASSERT_TRUE(simulation.greatestDepth());
            EXPECT_GT(simulation.greatestDepth()->depth, 1e-4);
         }
         EXPECT_LT(turned[0], 1e-3);
         EXPECT_LT(turned[1], 0.6 * turned[0] + 1e-12);
      }
}

TEST(ContactTruth, RoundBodiesSlideUntilTheyRoll)
{
   struct Case
   {
      SolidBody body;
      Frame frame;
      ZqReal share; ///< of its inertia about the axis in m r^2
   };
   std::array<Case, 2> cases{
      {{zqTest::solidSphere(1.0, 0.05), Frame(), 0.4},
       {zqTest::solidCylinder(1.0, 0.05, 0.06),
        Frame(ZqVector(), ZqOrientation::xRotation(std::numbers::pi / 2.0)), 0.5}}};
   for (const auto& [body, frame, share] : cases)
   {
      SCOPED_TRACE(share);
      constexpr ZqReal dt = 2e-4;
      ContactMaterial material;
      material.staticFriction = material.kineticFriction = 0.3;
      const ZqReal depth = g / material.stiffness;
      ContactScene scene;
      scene.addFloor();
      scene.addFree(body, {ZqVector(0.0, 0.0, 0.05 - depth), frame.orientation()},
                    {{1.0, 0.0, 0.0}, {}});
      scene.setContact(material);
      ZqSimulation simulation(scene.system);
      ZqReal rolls = 0.0;
      while (simulation.state().time() < 1.0)
      {
         ASSERT_TRUE(simulation.step(dt));
         const ZqGeneralMotion& V = zqTest::velocityOf(simulation, 1);
         if (rolls == 0.0 && V.linear().x() - 0.05 * V.angular().y() < 1e-3)
            rolls = simulation.state().time();
      }
      // The lever of a sunk body is shorter: from v = w (r - d / 2) and I w = m (v0 - v) (r - d / 2).
      const ZqReal lever = 0.05 - 0.5 * depth;
      const ZqReal ratio = share * 0.0025 / (lever * lever);
      EXPECT_NEAR(zqTest::velocityOf(simulation, 1).linear().x(), 1.0 / (1.0 + ratio), 1e-4);
      EXPECT_NEAR(rolls, (1.0 - 1.0 / (1.0 + share)) / (0.3 * g), 2e-3);
   }
}

TEST(ContactTruth, ADiscEndsSlidingAndSpinningTogether)
{
   // As theory has it for every disc and ring. Eight points of the rim brake as a ring does: alone, by
   // mu g / r.
   constexpr ZqReal radius = 0.1;
   ContactMaterial material;
   material.staticFriction = material.kineticFriction = 0.3;
   for (const ZqReal speed : {0.0, 1.0})
   {
      SCOPED_TRACE(speed);
      constexpr ZqReal dt = 2e-4;
      ZqSimulation simulation(onFloor(zqTest::solidCylinder(1.0, radius, 0.01), 0.01, material,
                                      {0.0, 0.0, -g}, {{speed, 0.0, 0.0}, {0.0, 0.0, 20.0}})
                                 .system);
      ZqReal slideEnds = 0.0;
      ZqReal spinEnds = 0.0;
      while (simulation.state().time() < 0.8)
      {
         ASSERT_TRUE(simulation.step(dt));
         const ZqGeneralMotion& V = zqTest::velocityOf(simulation, 1);
         if (V.linear().mag() > 0.01)
            slideEnds = simulation.state().time();
         if (std::abs(V.angular().z()) > 0.2)
            spinEnds = simulation.state().time();
      }
      if (speed == 0.0)
         EXPECT_NEAR(spinEnds, 20.0 * 0.5 * radius / (0.3 * g), 0.005);
      else
         EXPECT_NEAR(slideEnds, spinEnds, 0.03 * spinEnds);
      EXPECT_LT(zqTest::velocityOf(simulation, 1).angular().mag(), 1e-6);
   }
}

TEST(ContactTruth, ASpinningTopIsBrakedByTorsion)
{
   ContactMaterial material;
   material.staticFriction = material.kineticFriction = 0.3;
   material.torsionRadius = 0.005;
   ZqSimulation simulation(onFloor(zqTest::solidSphere(1.0, 0.05), 0.05, material, {0.0, 0.0, -g},
                                   {{}, {0.0, 0.0, 10.0}})
                              .system);
   const auto spin = [&] { return zqTest::velocityOf(simulation, 1).angular().z(); };
   run(simulation, 2e-4, 0.4);
   const ZqReal braking = 0.3 * g * 0.005 / (0.4 * 0.0025);
   EXPECT_NEAR(spin(), 10.0 - 0.4 * braking, 0.01);
   // What the torsional spring rings with afterwards fades by 3.5 in a second.
   run(simulation, 2e-4, 3.0);
   EXPECT_NEAR(spin(), 0.0, 1e-3);
   EXPECT_LT(std::hypot(zqTest::wayOf(simulation, 1).x(), zqTest::wayOf(simulation, 1).y()), 1e-12);
}

/// Of motion, in gravity, and in the springs along the normal.
ZqReal energyOf(ZqSimulation& simulation)
{
   ZqReal result = simulation.energy().total();
   for (const ZqSimulation::Contact& contact : simulation.contacts())
      result += contact.record->response().normalEnergy;
   return result;
}

TEST(ContactTruth, NothingIsGainedWithoutDampers)
{
   ContactMaterial material;
   material.dissipation = 0.0;
   material.settlingFraction = 0.0;
   material.staticFriction = 0.0;
   {
      // Rocking on a face keeps it.
      ContactScene scene;
      scene.addFloor();
      scene.addFree(zqTest::solidBox(1.0, cube),
                    {ZqVector(0.0, 0.0, 0.05),
                     ZqOrientation::yRotation(0.01) * ZqOrientation::xRotation(0.007)});
      scene.setContact(material);
      ZqSimulation simulation(scene.system);
      const ZqReal before = energyOf(simulation);
      run(simulation, 2e-5, 1.0);
      EXPECT_NEAR(energyOf(simulation), before, 1e-4);
   }
   // Tumbling over edges, corners and rims, and meeting another one, may lose some where shares leap.
   ZqSimulation::Settings settings;
   settings.integrator = ZqSimulation::Integrator::RungeKutta;
   const auto stone = [](const ZqVector& size)
   {
      SolidBody body = zqTest::solidBox(1.0, cube);
      std::vector<ZqVector> corners;
      for (const ZqReal sign : {-1.0, 1.0})
         corners.insert(corners.end(), {{sign * size.x(), 0.01, 0.0},
                                        {0.0, sign * size.y(), -0.01},
                                        {0.02, 0.0, sign * size.z()}});
      body.shape = std::make_unique<ZqConvexHull>(corners);
      return body;
   };
   for (int kind = 0; kind < 4; ++kind)
      for (const bool isPair : {false, true})
      {
         SCOPED_TRACE(testing::Message() << kind << (isPair ? " against a box" : " on a floor"));
         const SolidBody body = kind == 0   ? zqTest::solidBox(1.0, cube)
                                : kind == 1 ? zqTest::solidCylinder(1.0, 0.05, 0.02)
                                : kind == 2 ? zqTest::meshBox(1.0, cube)
                                            : stone({0.05, 0.06, 0.04});
         ContactScene scene(isPair ? ZqVector() : ZqVector(0.0, 0.0, -g));
         if (isPair)
            scene.addFree(zqTest::solidBox(1.0, {0.06, 0.05, 0.04}),
                          Frame(ZqVector(0.01, 0.02, 0.0)), {{}, {2.0, -3.0, 1.0}});
         else
            scene.addFloor();
         scene.addFree(body,
                       {ZqVector(0.0, 0.0, 0.3), ZqOrientation::exponential({1.0, 0.7, -0.4})},
                       {{0.0, 0.0, isPair ? -2.0 : 0.0}, {1.0, 2.0, -1.0}});
         scene.setContact(material);
         ZqSimulation simulation(scene.system, settings);
         const ZqReal before = energyOf(simulation);
         ZqReal most = before;
         run(simulation, 1e-4, isPair ? 0.3 : 2.0,
             [&](ZqReal) { most = std::max(most, energyOf(simulation)); });
         EXPECT_LT(most, 1.002 * before);
         ASSERT_TRUE(simulation.greatestDepth());
      }
}

TEST(ContactTruth, TurningAndExchangingChangeNothing)
{
   // A block that slides and spins down a slope over a second one that sticks to it.
   const ContactMaterial material;
   const auto make = [&](const Frame& world, bool isExchanged)
   {
      ContactScene scene(world.orientation() * onSlope(1.2 * std::atan(0.4)));
      const auto addFloor = [&] { scene.addFloor(world); };
      const auto addLower = [&]
      {
         scene.addFree(zqTest::solidBox(1.0, {0.08, 0.07, 0.02}),
                       world * Frame(ZqVector(0.0, 0.0, 0.0198)),
                       {world.orientation() * ZqVector(0.3, 0.1, 0.0),
                        world.orientation() * ZqVector(0.0, 0.0, 2.0)});
      };
      const auto addUpper = [&]
      {
         scene.addFree(zqTest::solidBox(0.5, {0.04, 0.03, 0.02}),
                       world * Frame(ZqVector(0.01, 0.0, 0.0597), ZqOrientation::zRotation(0.4)),
                       {world.orientation() * ZqVector(0.3, 0.1, 0.0),
                        world.orientation() * ZqVector(0.0, 0.0, 2.0)});
      };
      if (isExchanged)
      {
         addUpper();
         addLower();
         addFloor();
      }
      else
      {
         addFloor();
         addLower();
         addUpper();
      }
      scene.setContact(material);
      return scene.system;
   };
   constexpr ZqReal dt = 5e-4;
   ZqSimulation straight(make(Frame(), false));
   run(straight, dt, 0.4);

   const Frame world({3.0, -2.0, 5.0},
                     ZqOrientation::xRotation(0.7) * ZqOrientation::yRotation(-1.1));
   ZqSimulation turned(make(world, false));
   run(turned, dt, 0.4);
   ZqSimulation exchanged(make(Frame(), true));
   run(exchanged, dt, 0.4);
   for (ZqU32 i = 1; i < 3; ++i)
   {
      EXPECT_LT(
         wayBetween(zqTest::placeOf(straight, i), world.inverse() * zqTest::placeOf(turned, i)),
         1e-9);
      EXPECT_LT(wayBetween(zqTest::placeOf(straight, i), zqTest::placeOf(exchanged, 2 - i)), 1e-9);
   }
}

} // namespace
