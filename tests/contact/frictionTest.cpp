#include "support/allocationCount.h"
#include "support/frictionTruth.h"
#include "support/randomValues.h"
#include "support/xmlSamples.h"
#include "zqManipulator/contact/friction/ZqDissipativeForceProcessor.h"
#include "zqManipulator/contact/friction/ZqDissipativeForceProcessorContainer.h"
#include "zqManipulator/contact/friction/ZqDryFrictionForceProcessor.h"

#include <map>

namespace
{
using zqTest::RandomValues;
using FrictionTool = ZqFrictionCoefficientLookupTool;
namespace frictionTruth = zqTest::friction;
using frictionTruth::operator-;

const std::array<ZqString, 4> materialNames{"steel", "", "ice that is so cold that it sticks",
                                            "wood"};

/// A query of the tool, what changes its answer, and its value for pairs that it does not list.
struct FrictionQuantity
{
   ZqReal (FrictionTool::*ask)(const ZqString&, const ZqString&) const;
   bool (FrictionTool::*tell)(const ZqString&, const ZqString&, ZqReal);
   const ZqReal& (FrictionTool::*otherwise)() const;
   const FrictionTool::PairMap& (FrictionTool::*table)() const;
   void (FrictionTool::*setTable)(const FrictionTool::PairMap&);
};
const std::array<FrictionQuantity, 6> frictionQuantities{{
   {&FrictionTool::tangentialCoefficientOfStaticFriction,
    &FrictionTool::setTangentialCoefficientOfStaticFriction,
    &FrictionTool::defaultLinearTangentialStaticFrictionCoefficient,
    &FrictionTool::tangentialCoefficientOfStaticFrictionMap,
    &FrictionTool::setTangentialCoefficientOfStaticFrictionMap},
   {&FrictionTool::coefficientOfKineticFriction, &FrictionTool::setCoefficientOfKineticFriction,
    &FrictionTool::defaultLinearKineticFrictionCoefficient, &FrictionTool::kineticFrictionMap,
    &FrictionTool::setKineticFrictionMap},
   {&FrictionTool::coefficientOfViscousFriction, &FrictionTool::setCoefficientOfViscousFriction,
    &FrictionTool::defaultViscousFrictionCoefficient, &FrictionTool::viscousFrictionMap,
    &FrictionTool::setViscousFrictionMap},
   {&FrictionTool::rotationalFrictionScaleFactor, &FrictionTool::setRotationalFrictionScaleFactor,
    &FrictionTool::defaultAngularFrictionScaleFactor,
    &FrictionTool::rotationalFrictionScaleFactorMap,
    &FrictionTool::setRotationalFrictionScaleFactorMap},
   {&FrictionTool::assumedMass, &FrictionTool::setAssumedMass, &FrictionTool::defaultAssumedMass,
    &FrictionTool::assumedMassMap, &FrictionTool::setAssumedMassMap},
   {&FrictionTool::normalCoefficientOfStaticFriction,
    &FrictionTool::setNormalCoefficientOfStaticFriction,
    &FrictionTool::defaultLinearNormalStaticFrictionCoefficient,
    &FrictionTool::normalCoefficientOfStaticFrictionMap,
    &FrictionTool::setNormalCoefficientOfStaticFrictionMap},
}};

TEST(FrictionTable, AnswersPairsInEitherOrderAndOthersByDefault)
{
   const auto& names = materialNames;
   const ZqU32 count = names.size();
   RandomValues random(3);
   FrictionTool tool;
   std::map<std::array<ZqU32, 3>, ZqReal> expected; // by quantity and pair, the lesser index first
   for (int i = 0; i < 60; ++i)
   {
      const ZqU32 quantity = random.index(0, 5);
      const ZqU32 a = random.index(0, count - 1);
      const ZqU32 b = random.index(0, count - 1);
      const ZqReal value = random.real();
      EXPECT_TRUE((tool.*frictionQuantities[quantity].tell)(names[a], names[b], value));
      expected[{quantity, std::min(a, b), std::max(a, b)}] = value;
   }
   const zqTest::AllocationCount allocations;
   ZqU32 byDefault = 0;
   for (ZqU32 quantity = 0; quantity < frictionQuantities.size(); ++quantity)
      for (ZqU32 a = 0; a < count; ++a)
         for (ZqU32 b = 0; b < count; ++b)
         {
            const FrictionQuantity& q = frictionQuantities[quantity];
            const auto found = expected.find({quantity, std::min(a, b), std::max(a, b)});
            const bool isListed = found != expected.end();
            byDefault += !isListed;
            EXPECT_EQ((tool.*q.ask)(names[a], names[b]),
                      isListed ? found->second : (tool.*q.otherwise)());
         }
   EXPECT_EQ(allocations.count(), 0U);
   EXPECT_GT(byDefault, 10U);
}

// Of a pair that stands in both orders the later one counts, by the order of a table's rows.
TEST(FrictionTable, IsPutInOrderWhenItIsRead)
{
   const FrictionTool::PairMap unordered{
      {"a", {{"a", 1.0}, {"b", 2.0}, {"c", 3.0}}}, {"b", {{"a", 4.0}, {"c", 5.0}}}, {"c", {}}};
   const FrictionTool::PairMap ordered{
      {"a", {{"a", 1.0}}}, {"b", {{"a", 4.0}}}, {"c", {{"a", 3.0}, {"b", 5.0}}}};
   for (const FrictionQuantity& q : frictionQuantities)
   {
      FrictionTool tool;
      (tool.*q.setTable)(unordered);
      EXPECT_EQ((tool.*q.table)(), unordered);
      EXPECT_EQ((tool.*q.ask)("a", "c"), (tool.*q.otherwise)());
      FrictionTool read;
      ASSERT_TRUE(zqTest::readFrom(read, zqTest::written(tool)));
      EXPECT_EQ((read.*q.table)(), ordered);
      EXPECT_EQ((read.*q.ask)("a", "c"), 3.0);
      zqTest::expectRoundTrip(read);
   }
}

TEST(FrictionContainer, HoldsAnyOfTheLawsAndPassesTheTableOn)
{
   ZqDissipativeForceProcessorContainer container;
   container.setFrictionCoeficientLookupTool(FrictionTool::defaultObject());
   EXPECT_EQ(container.frictionCoeficientLookupTool(), FrictionTool());
   for (const ZqToken* token :
        {&ZqDissipativeForceProcessor::classToken(), &ZqDryFrictionForceProcessor::classToken()})
   {
      ASSERT_TRUE(zqTest::readFrom(
         container, zqTest::inTag(container.token(), "<" + ZqString(token->localName()) + "/>")));
      ASSERT_NE(container.topElement(), nullptr);
      EXPECT_EQ(&container.topElement()->token(), token);
      container.setFrictionCoeficientLookupTool(FrictionTool::defaultObject());
      EXPECT_EQ(container.topElement()->frictionCoefficientLUT(), FrictionTool::defaultObject());
      EXPECT_EQ(container.frictionCoeficientLookupTool(), FrictionTool::defaultObject());
   }
}

TEST(DryFriction, WeighsKineticFrictionBySpeed)
{
   ZqDryFrictionForceProcessor law;
   for (const ZqReal speed : {0.0, 1e-5, 0.1, 10.0})
      EXPECT_EQ(law.weightingFunction(speed), 0.0);
   law.setKineticFrictionWeightingExponent(3.0);
   EXPECT_EQ(law.weightingFunction(0.0), 3.0);
   EXPECT_EQ(law.weightingFunction(1e-5), 3.0);
   EXPECT_LT(law.weightingFunction(1.00001e-5), 3.0);
   EXPECT_EQ(law.weightingFunction(zqTest::nan), 3.0);
   law.setKineticFrictionWeightingExponent(1000.0);
   EXPECT_EQ(law.weightingFunction(2.0), 0.5);

   for (const ZqReal fraction : {0.25, 7.0, -2.0})
   {
      law.setStaticFrictionMaxSpringForceFraction(fraction);
      law.setStaticFrictionMaxSpringForceFraction(zqTest::nan);
      EXPECT_EQ(law.staticFrictionMaxSpringForceFraction(), fraction);
   }
}

// Exactly what is allowed still sticks; what is beyond it by the last digit slips.
TEST(DissipativeFriction, SlipsBeyondWhatIsAllowed)
{
   ZqDissipativeForceProcessor law;
   law.setLinearStaticFrictionModelMaxDistanceError(0.25);
   ZqDissipativeForceInput input;
   ZqDissipativeForceOutput output;
   const auto sticksAt = [&](ZqReal error)
   {
      input.setStaticStartCollisionPointInPrimary1({7.0, 0.0, error}); // the normal is along x
      EXPECT_TRUE(law.process(input, output));
      return output.inStaticFrictionMode();
   };
   EXPECT_TRUE(sticksAt(0.25));
   EXPECT_FALSE(sticksAt(std::nextafter(0.25, 1.0)));
   input.setInStaticFrictionMode(false); // and nothing moves
   EXPECT_FALSE(sticksAt(0.0));
   EXPECT_EQ(output.body1ForcePrimary(), ZqGeneralForce());
}

frictionTruth::V arrayOf(const ZqVector& v)
{
   return {v.x(), v.y(), v.z()};
}
frictionTruth::M matrixOf(const ZqOrientation& q)
{
   const ZqReal w = q.w(), x = q.x(), y = q.y(), z = q.z();
   return {{{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
            {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
            {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}}};
}

/// Contacts of two bodies that stick or slide, as the library is told and as plain numbers.
struct RandomContact
{
   ZqDissipativeForceInput input;
   frictionTruth::Contact contact;

   RandomContact(RandomValues& random, const FrictionTool& table)
   {
      const ZqString& name1 = materialNames[random.index(0, 3)];
      const ZqString& name2 = materialNames[random.index(0, 3)];
      input.setBody1MaterialType(name1);
      input.setBody2MaterialType(name2);
      contact.pair = {table.tangentialCoefficientOfStaticFriction(name1, name2),
                      table.coefficientOfKineticFriction(name1, name2),
                      table.coefficientOfViscousFriction(name1, name2),
                      table.rotationalFrictionScaleFactor(name1, name2),
                      table.assumedMass(name1, name2)};

      const ZqVector place = random.vector(2.0);
      input.setPrimaryFrame1InSystem({place + random.vector(), random.orientation()});
      input.setPrimaryFrame2InSystem({place + random.vector(), random.orientation()});
      const auto& X1 = input.primaryFrame1InSystem();
      const auto& X2 = input.primaryFrame2InSystem();
      input.setCollisionNormalInSystem(random.unitVector());
      input.setCurrentCollisionPointInPrimary2(X2.inverse() * place);
      // From where they stuck they have come far, somewhat or nowhere.
      const ZqReal way = random.index(0, 3) == 0 ? 0.0 : power(random, -4, -1);
      // Without load, what has gone nowhere would slip or not by rounding.
      const bool hasLoad = way == 0.0 || random.index(0, 6) != 0;
      input.setNormalForceInSystem(hasLoad ? random.unitVector() * power(random, -1, 3)
                                           : ZqVector());
      input.setStaticStartCollisionPointInPrimary1(X1.inverse() * (place + random.vector(way)));
      input.setStaticStartCollisionPointInPrimary2(X2.inverse() * (place + random.vector(way)));
      input.setStaticStartPrimaryFrame1InSystem(
         {random.vector(), turned(random, way) * X1.orientation()});
      input.setStaticStartPrimaryFrame2InSystem(
         {random.vector(), turned(random, way) * X2.orientation()});
      setMotion(random);
      input.setInStaticFrictionMode(random.index(0, 1) == 0);
      input.setActionRadius(random.real(0.0, 0.5));
      input.setLinearInertiaAlongNormal(power(random, -2, 2));
      input.setAngularInertiaAboutNormal(power(random, -2, 2));

      contact.body1 =
         bodyOf(X1, input.staticStartPrimaryFrame1InSystem(), input.body1Velocity(),
                input.lastBody1Velocity(), input.staticStartCollisionPointInPrimary1());
      contact.body2 =
         bodyOf(X2, input.staticStartPrimaryFrame2InSystem(), input.body2Velocity(),
                input.lastBody2Velocity(), input.staticStartCollisionPointInPrimary2());
      contact.normal = arrayOf(input.collisionNormalInSystem());
      contact.press = arrayOf(input.normalForceInSystem());
      contact.point = arrayOf(input.currentCollisionPointInPrimary2());
      contact.radius = input.actionRadius();
      contact.mass = input.linearInertiaAlongNormal();
      contact.inertia = input.angularInertiaAboutNormal();
      contact.sticks = input.inStaticFrictionMode();
   }

   static ZqReal power(RandomValues& random, ZqReal low, ZqReal high)
   {
      return std::pow(10.0, random.real(low, high));
   }

private:
   using Frame = ZqCoordinateSystemTransformation;
   static frictionTruth::Body bodyOf(const Frame& X, const Frame& start,
                                     const ZqGeneralMotion& motion, const ZqGeneralMotion& last,
                                     const ZqVector& point)
   {
      return {arrayOf(X.translation()),      matrixOf(X.orientation()),
              matrixOf(start.orientation()), arrayOf(motion.linear()),
              arrayOf(motion.angular()),     arrayOf(last.linear()),
              arrayOf(last.angular()),       arrayOf(point)};
   }
   static ZqOrientation turned(RandomValues& random, ZqReal angle)
   {
      ZqOrientation q;
      q.setFromAngleAxis(angle, random.unitVector());
      return q;
   }
   /// At rest, as before, turned round, or anyhow.
   void setMotion(RandomValues& random)
   {
      if (random.index(0, 7) == 0)
         return;
      const ZqReal size = power(random, -4, 1);
      const auto motion = [&] { return ZqGeneralMotion(random.vector(size), random.vector(size)); };
      input.setBody1Velocity(motion());
      input.setBody2Velocity(motion());
      const std::array<ZqReal, 3> factors{-1.0, -0.01, 1.0};
      const ZqU32 kind = random.index(0, 3);
      input.setLastBody1Velocity(kind < 3 ? input.body1Velocity() * factors[kind] : motion());
      input.setLastBody2Velocity(kind < 3 ? input.body2Velocity() * factors[kind] : motion());
   }
};

/// The largest difference, and the modes that were met before and after.
class LawComparison
{
public:
   void operator()(const ZqDissipativeForceOutput& output, const RandomContact& one,
                   const frictionTruth::Result& expected)
   {
      const frictionTruth::Contact& c = one.contact;
      EXPECT_EQ(output.inStaticFrictionMode(), expected.sticks);
      // Springs that come to more than is left of them, and 4000 N/m times the rounding of places.
      const ZqReal size =
         1.0 + frictionTruth::norm(c.press) + frictionTruth::norm(expected.force2) +
         frictionTruth::norm(expected.moment1) + frictionTruth::norm(expected.moment2);
      const auto compare = [&](const ZqVector& value, const frictionTruth::V& known)
      {
         const ZqReal difference = frictionTruth::norm(arrayOf(value) - known);
         EXPECT_LE(difference, 1e-11 * size);
      };
      compare(output.body1ForcePrimary().force(), expected.force1);
      compare(output.body1ForcePrimary().moment(), expected.moment1);
      compare(output.body2ForcePrimary().force(), expected.force2);
      compare(output.body2ForcePrimary().moment(), expected.moment2);
      ++m_met[c.sticks][expected.sticks];
   }
   void expectAllModes(int least) const
   {
      for (const auto& row : m_met)
         for (const int met : row)
            EXPECT_GT(met, least);
   }

private:
   std::array<std::array<int, 2>, 2> m_met{};
};

TEST(FrictionLaws, AgreeWithPlainNumbers)
{
   RandomValues random(11);
   const auto& names = materialNames;
   FrictionTool table;
   for (const FrictionQuantity& q : frictionQuantities)
      for (ZqU32 i = 0; i < 4; ++i)
         (table.*q.tell)(names[i], names[random.index(0, 3)], RandomContact::power(random, -1, 1));

   LawComparison full;
   LawComparison dry;
   ZqDissipativeForceProcessor fullLaw;
   ZqDryFrictionForceProcessor dryLaw;
   fullLaw.setFrictionCoefficientLUT(table);
   dryLaw.setFrictionCoefficientLUT(table);
   frictionTruth::FullLaw fullTruth;
   frictionTruth::DryLaw dryTruth;
   for (int i = 0; i < 100000 && !testing::Test::HasFailure(); ++i)
   {
      SCOPED_TRACE(i);
      const RandomContact one(random, table);
      const frictionTruth::Flags use{random.index(0, 3) != 0, random.index(0, 3) != 0,
                                     random.index(0, 3) == 0};
      fullLaw.setUseStaticFriction(use.isStatic);
      fullLaw.setUseKineticFriction(use.isKinetic);
      fullLaw.setUseViscousFriction(use.isViscous);
      dryLaw.setUseStaticFriction(use.isStatic);
      dryLaw.setUseKineticFriction(use.isKinetic);
      if (i % 4 != 0) // else as the last time, and in the beginning by default
      {
         fullTruth = {RandomContact::power(random, -3, 0), random.real(0.0, 2.0),
                      RandomContact::power(random, -3, 0)};
         dryTruth = {RandomContact::power(random, -1, 3)};
         fullLaw.setLinearStaticFrictionModelMaxDistanceError(fullTruth.mostError);
         fullLaw.setLinearStaticFrictionModelNormalToTangentialSpringRatio(fullTruth.ratio);
         fullLaw.setAngularStaticFrictionModelMaxAngularError(fullTruth.mostTwist);
         dryLaw.setKineticFrictionWeightingExponent(dryTruth.exponent);
      }
      ZqDissipativeForceOutput output;
      const zqTest::AllocationCount allocations;
      EXPECT_TRUE(fullLaw.process(one.input, output));
      EXPECT_EQ(allocations.count(), 0U);
      full(output, one, fullTruth(one.contact, use));
      EXPECT_TRUE(dryLaw.process(one.input, output));
      EXPECT_EQ(allocations.count(), 0U);
      dry(output, one, dryTruth(one.contact, use));
   }
   full.expectAllModes(1000);
   dry.expectAllModes(1000);
}
} // namespace
