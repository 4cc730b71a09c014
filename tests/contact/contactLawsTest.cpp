#include "support/logCapture.h"
#include "support/randomValues.h"
#include "support/xmlSamples.h"
#include "zqManipulator/contact/forces/ZqPointContactForceProcessor.h"
#include "zqManipulator/contact/friction/ZqPointFrictionForceProcessor.h"
#include "zqManipulator/foundation/geometry/ZqDataMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace
{
using Frame = ZqCoordinateSystemTransformation;
using zqTest::RandomValues;

constexpr ZqReal muS = 0.5;
constexpr ZqReal muK = 0.4;

ZqPointFrictionForceProcessor frictionLaw(ZqReal torsionRadius)
{
   ZqFrictionCoefficientLookupTool table;
   table.setDefaultLinearTangentialStaticFrictionCoefficient(muS);
   table.setDefaultLinearKineticFrictionCoefficient(muK);
   ZqPointFrictionForceProcessor law;
   law.setFrictionCoefficientLUT(table);
   law.setTorsionRadius(torsionRadius);
   return law;
}

/// A plate of body 1 on the ground, body 2, that is moved along it and turned, with loads on its corners that come
/// and go, and of which a corner is cut off for a while.
class Plate
{
public:
   explicit Plate(ZqReal torsionRadius) : law(frictionLaw(torsionRadius)) {}

   /// In a system that has moved, and where both bodies move as one besides.
   void place(ZqReal t, const Frame& X, const ZqGeneralMotion& common)
   {
      input = {};
      input.time = t;
      input.stiffness = 5e4;
      input.mass = 1.0;
      input.material1 = input.material2 = &material;
      const ZqOrientation& R = X.orientation();
      const ZqVector p(2.5e-4 * std::sin(2.0 * t), 1.5e-4 * std::sin(3.1 * t), 0.05);
      const Frame X_21(p, ZqOrientation::zRotation(2e-3 * std::sin(2.3 * t)));
      const ZqVector v(5e-4 * std::cos(2.0 * t), 4.65e-4 * std::cos(3.1 * t), 0.0);
      input.body1.frame = X * X_21;
      input.body2.frame = X;
      input.body1.velocity = {R * v, R * ZqVector(0.0, 0.0, 4.6e-3 * std::cos(2.3 * t))};
      for (auto* body : {&input.body1, &input.body2})
      {
         ZqGeneralMotion motion = common;
         motion.transformBy(-body->frame.translation());
         body->velocity += motion;
      }
      input.normal = R * ZqVector(0.0, 0.0, -1.0);
      std::vector<ZqVector> places;
      for (const auto& [name, x, y] : corners(t))
      {
         ZqPatchFrictionInput::Point& point = input.points[places.size()];
         point.name = name;
         places.push_back(X_21 * ZqVector(x, y, -0.05));
         point.place = X * places.back();
         point.normal = input.normal;
      }
      input.count = static_cast<int>(places.size());
      std::vector<ZqReal> weights(places.size());
      zqShareOutPatch(places, ZqVector(0.0, 0.0, -1.0), weights);
      for (int i = 0; i < input.count; ++i)
      {
         auto& point = input.points[i];
         point.weight = weights[i];
         point.depth = 2e-4 * (1.0 + 1.3 * std::sin(5.0 * t + 2.0 * places[i].x() / 0.05));
         point.normalForce = std::max(0.0, 5e4 * point.weight * point.depth);
      }
   }
   /// The bodies, and what is named after them, the other way round.
   void exchange()
   {
      std::swap(input.body1, input.body2);
      input.normal = -input.normal;
      std::reverse(input.points.begin(), input.points.begin() + input.count);
      for (auto& point : input.points)
      {
         point.name = point.name << 32 | point.name >> 32;
         point.normal = -point.normal;
      }
   }
   void evaluate() { ASSERT_TRUE(law.processPoints(input, memory, output)); }

   /// About the origin of the ground, in its axes.
   ZqGeneralForce wrench(const Frame& X) const
   {
      ZqGeneralForce sum;
      for (int i = 0; i < input.count; ++i)
      {
         const ZqVector place = X.inverse() * input.points[i].place;
         const ZqVector f = X.orientation().inverse() * output.forces[i];
         const ZqVector n = X.orientation().inverse() * input.points[i].normal;
         sum += {f, place.cross(f) + n * output.moments[i]};
      }
      return sum;
   }
   ZqReal load() const
   {
      ZqReal sum = 0.0;
      for (int i = 0; i < input.count; ++i)
         sum += input.points[i].normalForce;
      return sum;
   }

   ZqPointFrictionForceProcessor law;
   ZqPatchFrictionInput input;
   ZqContactMemory memory;
   ZqPatchFriction output;

private:
   static std::vector<std::tuple<std::uint64_t, ZqReal, ZqReal>> corners(ZqReal t)
   {
      std::vector<std::tuple<std::uint64_t, ZqReal, ZqReal>> all{{7ULL << 32 | 1, 0.05, 0.05}};
      if (std::sin(1.7 * t) > 0.5)
         all = {{7ULL << 32 | 2, 0.05, 0.045}, {7ULL << 32 | 3, 0.045, 0.05}};
      for (const auto& corner : {std::tuple{8ULL << 32 | 4, -0.05, 0.05},
                                 {9ULL << 32 | 5, -0.05, -0.05},
                                 {10ULL << 32 | 6, 0.05, -0.05}})
         all.emplace_back(corner);
      return all;
   }
   static inline const ZqString material = "metal";
};

TEST(ContactLaws, PressureNeverPullsAndStaysFinite)
{
   RandomValues random(1);
   ZqPointContactForceProcessor law;
   ZqDataMap odd;
   const auto names = {"surfaceTensionSpringConstant", "zqSurfaceTensionSpringExponent",
                       "surfaceDissipation"};
   for (int round = 0; round < 20000; ++round)
   {
      for (const char* name : names)
         odd.add(name, std::array{-1.0, 0.0, 1.0, 1.5, 1e3, 1e30, 1e300, zqTest::nan,
                                  zqTest::infinity}[random.index(0, 8)]);
      const ZqReal mass = std::array{0.0, 1e-9, 1.0, 1e300, zqTest::infinity}[random.index(0, 4)];
      const ZqNormalContactLaw pair =
         law.normalLaw(law.surfaceMaterial(&odd), law.surfaceMaterial(nullptr), mass);
      const ZqReal depth = std::pow(10.0, random.real(-300.0, 20.0));
      const ZqReal rate = random.real() * std::pow(10.0, random.real(-20.0, 300.0));
      const auto force = pair.force(random.real(0.0, 1.0), depth, rate);
      ASSERT_TRUE(force.normal >= 0.0 && std::isfinite(force.normal));
      ASSERT_TRUE(force.spring >= 0.0 && std::isfinite(force.energy));
      ASSERT_TRUE(std::isfinite(pair.material.referenceStiffness()));
      ASSERT_EQ(pair.force(1.0, -depth, rate).normal, 0.0);
   }
}

TEST(ContactLaws, SharesOfAPatchFollowItsOutline)
{
   RandomValues random(2);
   for (int round = 0; round < 500; ++round)
   {
      const Frame X(random.vector(), random.orientation());
      std::vector<ZqVector> round8; // in order, convex
      const ZqU32 count = random.index(3, 7);
      for (ZqU32 i = 0; i < count; ++i)
      {
         const ZqReal angle = 2.0 * zqTest::pi * (i + random.real(-0.3, 0.3)) / count;
         round8.push_back(X *
                          ZqVector(std::cos(angle), 0.7 * std::sin(angle), random.real() * 0.1));
      }
      const ZqVector n = X.orientation() * ZqVector::zVector(1.0);
      const auto shares = [&](const std::vector<ZqVector>& places, const ZqVector& normal)
      {
         std::vector<ZqReal> weights(places.size());
         zqShareOutPatch(places, normal, weights);
         return weights;
      };
      const std::vector<ZqReal> whole = shares(round8, n);
      ZqReal sum = 0.0;
      for (const ZqReal w : whole)
         sum += w;
      EXPECT_NEAR(sum, 1.0, 1e-14);
      // From the other side, and in any order, they are the same.
      std::vector<ZqVector> mixed = round8;
      std::swap(mixed[0], mixed[count - 1]);
      const std::vector<ZqReal> others = shares(mixed, -n);
      EXPECT_NEAR(others[0], whole[count - 1], 1e-14);
      EXPECT_NEAR(others[1], whole[1], 1e-14);
      // A corner that is cut off leaves its share to the ends of the cut.
      constexpr ZqReal cut = 1e-6;
      std::vector<ZqVector> more = round8;
      more[0] += (round8[1] - round8[0]) * cut;
      more.push_back(round8[0] + (round8[count - 1] - round8[0]) * cut);
      const std::vector<ZqReal> parts = shares(more, n);
      EXPECT_NEAR(parts[0] + parts[count], whole[0], 2.0 * cut);
      for (ZqU32 i = 1; i < count; ++i)
         EXPECT_NEAR(parts[i], whole[i], 2.0 * cut);
   }
   // Without an outline they are equal.
   for (const std::size_t count : {1, 2, 5})
   {
      std::vector<ZqReal> weights(count);
      zqShareOutPatch(std::vector<ZqVector>(count, ZqVector(1.0, 2.0, 3.0)), ZqVector::xVector(1.0),
                      weights);
      for (const ZqReal w : weights)
         EXPECT_EQ(w, 1.0 / static_cast<ZqReal>(count));
   }
}

TEST(ContactLaws, FrictionIsTheSameFromBothSidesAndInAnyPlace)
{
   RandomValues random(3);
   const Frame X(random.vector(10.0), random.orientation());
   for (const ZqReal torsionRadius : {0.0, 0.02})
   {
      Plate plain(torsionRadius);
      Plate moved(torsionRadius);
      Plate exchanged(torsionRadius);
      int slips = 0;
      int sticks = 0;
      for (int step = 0; step < 4000; ++step)
      {
         const ZqReal t = 1e-3 * step;
         const ZqGeneralMotion common(random.vector(), random.vector());
         plain.place(t, {}, {});
         moved.place(t, X, common);
         exchanged.place(t, {}, {});
         exchanged.exchange();
         if (step == 2000)
         {
            exchanged.memory = plain.memory;
            exchanged.memory.exchangeSides();
         }
         for (Plate* plate : {&plain, &moved, &exchanged})
            plate->evaluate();
         const ZqGeneralForce f = plain.wrench({});
         // What 10 m are rounded to, by 4e4 N/m and the 4 points.
         constexpr ZqReal tolerance = 1e-8;
         ASSERT_TRUE(moved.wrench(X).approxEq(f, tolerance)) << step;
         ASSERT_TRUE(exchanged.wrench({}).approxEq(-f, tolerance)) << step;
         const bool slipsNow = plain.memory.isSlipping;
         (slipsNow ? slips : sticks) += 1;
         for (int i = 0; i < plain.input.count; ++i)
         {
            const ZqReal arc = torsionRadius > 0.0 ? plain.output.moments[i] / torsionRadius : 0.0;
            const ZqReal size = std::hypot(plain.output.forces[i].mag(), arc);
            const ZqReal cone = (slipsNow ? muK : muS) * plain.input.points[i].normalForce;
            ASSERT_LE(size, cone * (1.0 + 1e-12) + 1e-300) << step;
         }
      }
      EXPECT_GT(slips, 200);
      EXPECT_GT(sticks, 200);
   }
}

TEST(ContactLaws, FrictionBooksAllOfItsEnergy)
{
   for (const ZqReal torsionRadius : {0.0, 0.02})
   {
      ZqReal rest[2];
      ZqReal lost = 0.0;
      for (int fine = 0; fine < 2; ++fine)
      {
         Plate plate(torsionRadius);
         const int steps = 20000 << 2 * fine;
         const ZqReal dt = 4.0 / steps;
         ZqReal balance = 0.0;
         lost = 0.0;
         for (int step = 0; step <= steps; ++step)
         {
            plate.place(step * dt, {}, {});
            plate.evaluate();
            const ZqPatchFriction& out = plate.output;
            lost += out.slipLoss + out.loss * dt;
            balance += out.slipLoss - out.gain + out.loss * dt;
            ZqGeneralMotion motion = plate.input.body1.velocity;
            motion.transformBy(plate.input.body1.frame.translation());
            const ZqGeneralForce f = plate.wrench({});
            if (step < steps)
               balance += (f.force().dot(motion.linear()) + f.moment().dot(motion.angular())) * dt;
         }
         rest[fine] = std::abs(balance + plate.output.energy);
      }
      // What remains is of the order of the step.
      EXPECT_LT(rest[0], 0.02 * lost);
      EXPECT_LT(rest[1], 0.6 * rest[0]);
   }
}

TEST(ContactLaws, StretchOutlivesACompleteChangeOfNames)
{
   Plate plate(0.02);
   const auto load = [&](ZqReal t)
   {
      plate.place(t, {}, {});
      plate.input.body1.velocity = {};
      for (auto& point : plate.input.points)
      {
         point.depth = 4e-4;
         point.normalForce = 20.0 * point.weight;
      }
   };
   load(0.0);
   plate.evaluate();
   load(0.15);
   plate.evaluate();
   const ZqGeneralForce before = plate.wrench({});
   ASSERT_GT(before.force().mag(), 1.0);
   auto& points = plate.input.points;
   for (auto& point : points)
      point.name += 100;
   plate.evaluate();
   EXPECT_TRUE(plate.wrench({}).approxEq(before, 1e-9));
   EXPECT_NEAR(plate.output.gain, 0.0, 1e-12);
   // Two more points, of which no old one is near: halves of edges, and all in another order.
   points[4] = points[0];
   points[5] = points[1];
   points[4].place = 0.5 * (points[0].place + points[1].place);
   points[5].place = 0.5 * (points[2].place + points[3].place);
   plate.input.count = 6;
   for (int i = 0; i < 6; ++i)
   {
      points[i].weight = i < 4 ? 0.125 : 0.25;
      points[i].normalForce = 20.0 * points[i].weight;
      points[i].name = 300 + i;
   }
   std::reverse(points.begin(), points.begin() + 6);
   plate.evaluate();
   // The centre stays where it was; old springs turn it about theirs, which is 1e-4 m off, by 1e-3 rad.
   EXPECT_TRUE(plate.wrench({}).force().approxEq(before.force(), 5e4 * 1e-7));
}

/// A block on a slope under the law of one point: where it is, how fast, and whether it sticks.
struct Block
{
   Block(ZqReal angle, ZqReal speed, ZqReal time) : v(speed)
   {
      constexpr ZqReal dt = 1e-4;
      const ZqPointFrictionForceProcessor law = frictionLaw(0.0);
      ZqDissipativeForceInput input;
      input.setNormalForceInSystem(ZqVector::zVector(9.8 * std::cos(angle)));
      input.setCollisionNormalInSystem(ZqVector::zVector(-1.0));
      ZqDissipativeForceOutput output;
      ZqGeneralMotion last;
      for (ZqReal t = 0.0; t < time; t += dt)
      {
         const ZqGeneralMotion motion(ZqVector::xVector(v), {});
         input.setPrimaryFrame1InSystem(ZqVector::xVector(x));
         input.setBody1Velocity(motion);
         input.setLastBody1Velocity(last);
         input.setInStaticFrictionMode(sticks);
         input.setCurrentCollisionPointInPrimary2(ZqVector::xVector(x));
         EXPECT_TRUE(law.process(input, output));
         if (output.inStaticFrictionMode() && !sticks)
            input.setStaticStartCollisionPointInPrimary2(ZqVector::xVector(x));
         sticks = output.inStaticFrictionMode();
         last = motion;
         v += dt * (9.8 * std::sin(angle) + output.body1ForcePrimary().force().x());
         x += dt * v;
      }
   }
   ZqReal x = 0.0;
   ZqReal v;
   bool sticks = true;
};

TEST(ContactLaws, OnePointFormHoldsAndBrakesABlock)
{
   const Block held(0.9 * std::atan(muK), 0.0, 3.0);
   EXPECT_TRUE(held.sticks);
   EXPECT_NEAR(held.v, 0.0, 1e-12);
   EXPECT_LT(held.x, 2e-4);

   // Begun by the jump of the load a little later than at once.
   const ZqReal angle = 1.1 * std::atan(muS);
   const Block slides(angle, 0.0, 1.0);
   EXPECT_FALSE(slides.sticks);
   EXPECT_NEAR(slides.v, 9.8 * (std::sin(angle) - muK * std::cos(angle)), 0.03);

   // The last 2 cm/s are braked by the damper.
   const Block stops(0.0, 1.0, 1.0);
   EXPECT_TRUE(stops.sticks);
   EXPECT_NEAR(stops.v, 0.0, 1e-12);
   EXPECT_NEAR(stops.x, 0.5 / (9.8 * muK), 1e-3);
}

TEST(ContactLaws, ConstantsOutOfRangeAreRejectedAndRepaired)
{
   ZqPointContactForceProcessor contact;
   ZqPointFrictionForceProcessor friction;
   const std::vector<std::pair<std::function<void(ZqReal)>, ZqReal>> setters{
      {[&](ZqReal x) { contact.setDefaultSpringConstant(x); }, 2e30},
      {[&](ZqReal x) { contact.setDefaultSpringExponent(x); }, 0.0},
      {[&](ZqReal x) { contact.setDefaultDissipation(x); }, 1e7},
      {[&](ZqReal x) { contact.setSettlingDampingRatio(x); }, 1e4},
      {[&](ZqReal x) { contact.setSettlingForceFraction(x); }, 1.5},
      {[&](ZqReal x) { friction.setTangentialToNormalStiffness(x); }, 1e4},
      {[&](ZqReal x) { friction.setDampingRatio(x); }, 1e4},
      {[&](ZqReal x) { friction.setTorsionRadius(x); }, 1e4}};
   zqTest::LogCapture log;
   for (const auto& [set, tooMuch] : setters)
      for (const ZqReal value : {tooMuch, -1.0, zqTest::nan, zqTest::infinity})
      {
         log.clear();
         set(value);
         EXPECT_EQ(log.size(), 1U);
      }
   EXPECT_TRUE(contact == ZqPointContactForceProcessor());
   EXPECT_TRUE(friction == ZqPointFrictionForceProcessor());

   friction.setTorsionRadius(0.5);
   std::string document = zqTest::written(friction);
   document.insert(document.find("dampingRatio>") + 13, "-");
   log.clear();
   ZqPointFrictionForceProcessor repaired;
   EXPECT_TRUE(zqTest::readFrom(repaired, document));
   EXPECT_TRUE(repaired == friction);
   EXPECT_TRUE(log.contains("dampingRatio"));
}

} // namespace
