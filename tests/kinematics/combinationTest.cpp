#include "support/comparison.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <gtest/gtest.h>

namespace
{
using Manipulator = ZqIndividualManipulator;
using Frame = ZqCoordinateSystemTransformation;
using zqTest::RandomValues;

/// A manipulator with everything in it that may speak of its links.
Manipulator withContents(RandomValues& random, const ZqString& label, ZqU32 links)
{
   Manipulator result = zqTest::randomManipulator(random, links);
   result.setManipulatorLabel(label);
   const auto anyLabel = [&]
   {
      return random.index(0, links) == 0 ? ZqString("base")
                                         : "label" + std::to_string(random.index(0, links - 1));
   };
   for (ZqU32 i = 0; i <= links; ++i)
   {
      ZqManipulatorLink& link = *result.linkByIndex(i < links ? i : ZqBaseLinkIndex);
      if (random.index(0, 3) != 0)
         link.setShape(ZqSphere(random.vector(), random.real(0.1, 0.3)));
      if (i == links || links == 0)
         continue;
      ZqSpringProperties spring;
      spring.setSpringConstant(random.real());
      spring.setWeightingFactors(ZqRealVector{1.0, 0.5});
      spring.setSpringOffsets(ZqRealVector{random.real(), 0.0});
      spring.setAssociatedJoints(
         {link.linkLabel(), "label" + std::to_string(random.index(0, links - 1))});
      link.setSpringProperties(spring);
   }
   if (links > 1)
      for (ZqU32 i = 0; i < 2; ++i)
         if (const ZqString from = anyLabel(), to = anyLabel(); from != to)
         {
            ZqLinkReferenceDescription description;
            description.setReferencedLinkLabel(to);
            description.setIsShapeReferenced(true);
            ZqManipulatorLink& link = *result.linkByIdentifier(from);
            const ZqManipulatorLink& owner = *result.linkByIdentifier(to);
            if (owner.linkReferenceDescription().isShapeReferenced())
               continue;
            link.setShapeContainer({});
            link.setLinkReferenceDescription(description);
         }
   ZqStateEqualityConstraintVector constraints;
   for (ZqU32 i = random.index(0, 2); i-- > 0;)
   {
      ZqPointStateEqualityConstraint point;
      point.setFirstLinkLabel(anyLabel());
      point.setSecondLinkLabel(random.index(0, 2) == 0 ? ZqString("environment") : anyLabel());
      point.setFirstLinkPoint(random.vector());
      point.setSecondLinkPoint(random.vector());
      constraints.pushBack(point);
      ZqLinearStateEqualityConstraint linear;
      linear.setJointWeights({ZqRealVector(links, random.real(1.0, 2.0))});
      linear.setBaseWeights({ZqRealVector(6, result.isFixedBase() ? 1.0 : 0.0)});
      linear.setWeightedSums(ZqRealVector{random.real()});
      if (links > 0)
         constraints.pushBack(linear);
   }
   result.setStateEqualityConstraints(constraints);
   ZqStoppingCriterionVector criteria;
   ZqComPolygonalStoppingCriterion criterion;
   criterion.setPolygonVertices(
      ZqXmlVectorVector{random.vector(), random.vector(), random.vector()});
   criterion.setReferenceLinkLabel(random.index(0, 2) == 0 ? ZqString() : anyLabel());
   criteria.pushBack(criterion);
   result.setStoppingCriteria(criteria);
   result.setDisplayLinkIndices({ZqBaseLinkIndex, links / 2});
   ZqDataMap surface;
   surface.add("value", random.real());
   ZqShape::Surfaces surfaces;
   surfaces.add(label, surface);
   surfaces.add("paint", surface);
   result.setSurfaces(surfaces);
   ZqManipulatorSelfCollisionLinkMap pairs;
   for (ZqU32 i = 0; i < links; ++i)
      pairs.setLinkCollisionCanditateByIdentifier(anyLabel(), anyLabel(), random.index(0, 1) == 0);
   if (random.index(0, 3) != 0)
      result.setSelfCollisionLinkMap(pairs);
   result.fitAbsoluteBoundingSphere();
   return result;
}

ZqString document(const Manipulator& manipulator)
{
   std::ostringstream stream;
   ZqXmlWriter writer("test.xml", stream);
   manipulator.write(writer);
   writer.flush();
   return stream.str();
}

ZqString anyLink(RandomValues& random, const Manipulator& manipulator)
{
   const ZqU32 i = random.index(0, manipulator.jointDof());
   return manipulator.linkByIndex(i < manipulator.jointDof() ? i : ZqBaseLinkIndex)->linkLabel();
}

void expectSame(const Manipulator& manipulator, const Manipulator& before)
{
   EXPECT_TRUE(zqTest::mapsAreRight(manipulator) && zqTest::parentsAreRight(manipulator));
   EXPECT_TRUE(manipulator == before);
   EXPECT_EQ(document(manipulator), document(before));
   EXPECT_EQ(manipulator.linkLabelMapping(), before.linkLabelMapping());
   EXPECT_EQ(manipulator.usingManipulatorLabels(), before.usingManipulatorLabels());
}
} // namespace

// Each manipulator comes to any link of what is there, in any order of combination: C on B before B comes to A,
// or on what A and B are. They are taken off in another order.
TEST(Combination, IsUndoneToTheBitInAnyOrder)
{
   const zqTest::LogCapture log;
   for (ZqU32 seed = 0; seed < 200 && !HasFailure(); ++seed)
   {
      SCOPED_TRACE(seed);
      RandomValues random(seed);
      const Manipulator a = withContents(random, "A", random.index(0, 6));
      const Manipulator b = withContents(random, "B", random.index(0, 5));
      const Manipulator c = withContents(random, "C", random.index(0, 4));
      const bool cIsWithinB = seed % 2 == 0;
      const bool cGoesFirst = seed % 4 < 2;
      const Frame placeB = zqTest::randomFrame(random, random.index(0, 3));
      const Frame placeC = zqTest::randomFrame(random, random.index(0, 3));
      const bool onBase = random.index(0, 1) == 0;

      Manipulator whole = a;
      Manipulator middle = b;
      const ZqString carrierOfB = anyLink(random, a);
      if (cIsWithinB)
         ASSERT_TRUE(middle.combineManipulator(onBase ? "base" : anyLink(random, b), c, placeC));
      ASSERT_TRUE(whole.combineManipulator(carrierOfB, middle, placeB));
      const Manipulator first = whole;
      ZqString carrierOfC = onBase ? carrierOfB : anyLink(random, whole);
      if (!cIsWithinB)
         ASSERT_TRUE(whole.combineManipulator(carrierOfC, c, placeC));
      EXPECT_TRUE(zqTest::mapsAreRight(whole) && zqTest::parentsAreRight(whole));
      EXPECT_EQ(whole.jointDof(), a.jointDof() + b.jointDof() + c.jointDof());
      EXPECT_EQ(whole.linkPointerMap().size(), whole.jointDof() + 1U);
      EXPECT_EQ(whole.usingManipulatorLabels(), (std::set<ZqString>{"B", "C"}));
      EXPECT_EQ(whole.linkLabelMapping().newLabelToManipulatorLinkLabel().size(),
                whole.jointDof() + 1U);

      ZqString link;
      Manipulator taken;
      Frame place;
      if (cGoesFirst)
      {
         ASSERT_TRUE(whole.uncombineManipulator("C", link, taken, place));
         expectSame(taken, c);
         if (!cIsWithinB)
         {
            EXPECT_EQ(place, placeC);
            EXPECT_EQ(link, carrierOfC);
            expectSame(whole, first);
         }
         ASSERT_TRUE(whole.uncombineManipulator("B", link, taken, place));
         EXPECT_EQ(place, placeB);
         EXPECT_EQ(link, carrierOfB);
         expectSame(taken, b);
      }
      else
      {
         ASSERT_TRUE(whole.uncombineManipulator("B", link, taken, place));
         EXPECT_EQ(place, placeB);
         if (cIsWithinB)
            expectSame(taken, middle);
         Manipulator& holder = whole.usingManipulatorLabels().contains("C") ? whole : taken;
         Manipulator lastOne;
         ASSERT_TRUE(holder.uncombineManipulator("C", link, lastOne, place));
         EXPECT_EQ(place, placeC);
         expectSame(lastOne, c);
         expectSame(taken, b);
      }
      expectSame(whole, a);
      EXPECT_FALSE(whole.uncombineManipulator("B", link, taken, place));
      expectSame(whole, a);
   }
}

// The other one apart, with its base where the link carries it, moves as it does in the combination, has the same
// energies together with the rest, and the pairs that might collide may.
TEST(Combination, MovesAsTheTwoWeldedTogether)
{
   const zqTest::LogCapture log;
   zqTest::Comparison compare;
   for (ZqU32 seed = 0; seed < 100; ++seed)
   {
      RandomValues random(seed);
      const Manipulator a = withContents(random, "A", random.index(0, 6));
      const Manipulator b = withContents(random, "B", random.index(0, 5));
      const ZqString carrier = anyLink(random, a);
      const Frame place = zqTest::randomFrame(random);
      Manipulator whole = a;
      const auto record = whole.combine(carrier, b, place);
      ASSERT_TRUE(record);

      // States, taken apart by the record.
      ZqPositionState position = zqTest::randomPosition(random, whole);
      ZqVelocityState velocity;
      ZqRealVector rates(whole.jointDof());
      for (ZqReal& rate : rates)
         rate = random.real();
      velocity.setJointVelocities(rates);
      velocity.setGeneralVelocity(zqTest::randomMotion(random));
      const auto part = [&](const auto& values, const ZqLinkEdit& edit, ZqU32 count)
      {
         ZqRealVector result(count);
         for (ZqU32 i = 0; i < count; ++i)
            result[i] = values[edit.index(i)];
         return result;
      };
      ZqManipulatorActiveState wholeState, stateA, stateB;
      wholeState.setPositionState(position);
      wholeState.setVelocityState(velocity);
      ZqPositionState positionA = position, positionB = position;
      ZqVelocityState velocityA = velocity, velocityB = velocity;
      positionA.setJointPositions(part(position.jointPositions(), record->links, a.jointDof()));
      velocityA.setJointVelocities(part(rates, record->links, a.jointDof()));
      stateA.setPositionState(positionA);
      stateA.setVelocityState(velocityA);
      positionB.setJointPositions(part(position.jointPositions(), record->transfer, b.jointDof()));
      velocityB.setJointVelocities(part(rates, record->transfer, b.jointDof()));
      const ZqManipulatorLink& link = *a.linkByIdentifier(carrier);
      const Frame baseInSystem =
         link.primaryFrameInSystem(stateA) * place * b.primaryFrame().inverse();
      positionB.setCoordSysXForm(b.coordSysXForm().inverse() * baseInSystem);
      const Frame& dh = link.dhFrameInSystem(stateA);
      const ZqGeneralMotion& v = link.dhFrameVelocityInSystem(stateA);
      const ZqVector lever = baseInSystem.translation() - dh.translation();
      velocityB.setGeneralVelocity({v.linear() + v.angular().cross(lever), v.angular()});
      stateB.setPositionState(positionB);
      stateB.setVelocityState(velocityB);

      const auto compareFrames = [&](const char* name, const Frame& X, const Frame& Y)
      {
         for (std::size_t i = 0; i < 3; ++i)
            compare(name, X.translation()[i], Y.translation()[i]);
         compare("orientation", std::abs(X.orientation().dot(Y.orientation())), 1.0);
      };
      for (ZqU32 i = 0; i < b.jointDof(); ++i)
      {
         const ZqManipulatorLink& there = *whole.linkByIndex(record->transfer.index(i));
         EXPECT_EQ(there.linkLabel(), *record->transfer.label(b.linkByIndex(i)->linkLabel()));
         compareFrames("frame", there.primaryFrameInSystem(wholeState),
                       b.linkByIndex(i)->primaryFrameInSystem(stateB));
         for (ZqU32 j = 0; j <= b.jointDof(); ++j)
         {
            const ZqU32 other = j < b.jointDof() ? j : ZqBaseLinkIndex;
            EXPECT_EQ(whole.canCollide(record->transfer.index(i), record->transfer.index(other)),
                      b.canCollide(i, other));
         }
      }
      for (ZqU32 i = 0; i < a.jointDof(); ++i)
         compareFrames("frame",
                       whole.linkByIndex(record->links.index(i))->primaryFrameInSystem(wholeState),
                       a.linkByIndex(i)->primaryFrameInSystem(stateA));
      compare("kinetic energy", whole.computeKineticEnergy(wholeState, nullptr),
              a.computeKineticEnergy(stateA, nullptr) + b.computeKineticEnergy(stateB, nullptr));
      const ZqReal massA = a.crbi(stateA, nullptr).mass(), massB = b.crbi(stateB, nullptr).mass();
      const ZqVector center = whole.getCenterOfMassInSystem(wholeState);
      const ZqVector expected =
         (a.getCenterOfMassInSystem(stateA) * massA + b.getCenterOfMassInSystem(stateB) * massB) /
         (massA + massB);
      for (std::size_t i = 0; i < 3; ++i)
         compare("center of mass", center[i], expected[i]);
      // Springs at the joints, by the same labels.
      for (ZqU32 i = 0; i < b.jointDof(); ++i)
         compare("spring",
                 whole.linkByIndex(record->transfer.index(i))->totalLocalTorque(wholeState),
                 b.linkByIndex(i)->totalLocalTorque(stateB));
   }
   compare.expectWithin(1e-12);
}
