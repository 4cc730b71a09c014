#include "support/comparison.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "support/xmlSamples.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/xml/ZqXmlClassRegistry.h"
#include "zqManipulator/kinematics/joint/ZqQuadrilateralObjects.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/constraints/ZqConditionalJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"
#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"
#include "zqManipulator/state/ZqSystemActiveState.h"
#include "zqManipulator/tools/conversion/ZqKinematicsConversionTool.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{
using Manipulator = ZqIndividualManipulator;
using Frame = ZqCoordinateSystemTransformation;
using zqTest::RandomValues;

/// Of a user: the library has none.
class Feeler : public ZqXmlClass<Feeler, ZqBaseSensor>
{
public:
   static const ZqToken& classToken()
   {
      static const auto& token = *new ZqToken("http://example.org/sensors#feeler");
      return token;
   }
   static constexpr const char* documentation = "a feeler";
   bool operator==(const Feeler&) const = default;
};

/// A function of two joint positions.
ZqLinearMultivariableConstraint randomLimit(RandomValues& random, ZqU32 joints)
{
   ZqLinearMultivariableConstraint result;
   result.setConstantTerm(random.real(1.0, 2.0));
   for (int i = 0; i < 2; ++i)
      result.setCoefficient(random.index(0, joints - 1), random.real(0.1, 1.0));
   return result;
}

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
      if (random.index(0, 3) == 0)
      {
         const Feeler feeler;
         link.addSensor(&feeler);
      }
      if (i == links || links == 0)
         continue;
      if (random.index(0, 3) == 0)
         link.setUpperLimitConstraint(
            ZqMultivariableJointStateConstraint(randomLimit(random, links)));
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
   if (links > 0)
   {
      ZqConditionalJointStateConstraint conditional;
      conditional.setIndex(random.index(0, links - 1));
      conditional.setConditionals(ZqRealVector{0.0});
      ZqMultivariableConstraintVector functions;
      functions.pushBack(randomLimit(random, links));
      conditional.setConstraints(functions);
      ZqStateConstraintVector limits;
      limits.pushBack(conditional);
      result.setStateConstraints(limits);
      ZqQuadrilateralPivotedSliderJointBObject object;
      object.setlinkIdentifier(anyLabel());
      object.setPrimaryFrame(zqTest::randomFrame(random));
      ZqGeneralBoundObjectVector objects;
      objects.pushBack(object);
      result.setGeneralBoundObjects(objects);
   }
   ZqStoppingCriterionVector criteria;
   ZqComPolygonalStoppingCriterion criterion;
   // As that of others may be.
   criterion.setPolygonVertices(ZqXmlVectorVector{random.index(0, 1) * ZqVector(1.0, 0.0, 0.0)});
   criterion.setReferenceLinkLabel(random.index(0, 2) == 0 ? ZqString() : anyLabel());
   criteria.pushBack(criterion);
   result.setStoppingCriteria(criteria);
   result.setDisplayLinkIndices({ZqBaseLinkIndex});
   if (links > 0)
      result.setDisplayLinkIndices({links / 2, ZqBaseLinkIndex});
   ZqDataMap surface;
   surface.add("value", random.real());
   ZqShape::Surfaces surfaces;
   surfaces.add(label, surface);
   for (const char* name : {"paint", "gloss"})
   {
      surface.add("value", random.index(0, 1));
      if (random.index(0, 2) == 0)
         surfaces.add(name, surface);
   }
   result.setSurfaces(surfaces);
   ZqManipulatorSelfCollisionLinkMap pairs;
   for (ZqU32 i = 0; i < links; ++i)
      pairs.setLinkCollisionCanditateByIdentifier(anyLabel(), anyLabel(), random.index(0, 1) == 0);
   if (random.index(0, 3) != 0)
      result.setSelfCollisionLinkMap(pairs);
   result.fitAbsoluteBoundingSphere();
   return result;
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
   EXPECT_TRUE(manipulator.sensorVector() == before.sensorVector());
   EXPECT_TRUE(zqTest::written(manipulator) == zqTest::written(before));
   EXPECT_EQ(manipulator.linkLabelMapping(), before.linkLabelMapping());
   EXPECT_EQ(manipulator.usingManipulatorLabels(), before.usingManipulatorLabels());
}
} // namespace

namespace
{
/// The two as one tree, built by hand.
Manipulator welded(const Manipulator& a, Manipulator b, const ZqString& carrier, const Frame& place)
{
   Manipulator result = a;
   b.appendToAllLabels("-b");
   ZqManipulatorLink& link = *result.linkByIdentifier(carrier);
   ZqRigidBodyMassProperties masses = b.massProperties(nullptr);
   link.addMassProperties("other base", masses.transformBy(place));
   const Frame X = link.primaryFrame() * place * b.primaryFrame().inverse();
   for (ZqManipulatorLink child : b.ZqManipulatorLink::childLinks())
   {
      EXPECT_TRUE(child.transformLinkTreeBy(X));
      link.addChild(child);
   }
   result.mapManipulator();
   return result;
}

/// Of both solvers, without constraints, in the same state under the same forces.
void compareAccelerations(zqTest::Comparison& compare, ZqU32 seed, Manipulator first,
                          Manipulator second)
{
   std::vector<ZqAccelerationState> results;
   for (Manipulator* manipulator : {&first, &second})
   {
      manipulator->setStateEqualityConstraints({});
      const zqTest::RandomScene scene(seed, *manipulator);
      results.resize(results.size() + 2);
      ZqManipulatorActiveState byCrbi = scene.activeState(), byArbi = scene.activeState();
      ZqCrbiAccelerationTool().acceleration(scene.system, scene.manipulator(), scene.torque,
                                            scene.external, results.rbegin()[1], byCrbi, true);
      ZqArbiAccelerationTool().acceleration(scene.system, scene.manipulator(), scene.position,
                                            scene.velocity, scene.torque, scene.external,
                                            results.back(), byArbi);
   }
   for (std::size_t solver = 0; solver < 2; ++solver)
   {
      const ZqAccelerationState& x = results[solver];
      const ZqAccelerationState& y = results[solver + 2];
      for (ZqU32 i = 0; i < first.jointDof(); ++i)
         compare("acceleration", x.jointAccelerations()[i], y.jointAccelerations()[i]);
      for (std::size_t i = 0; i < 6; ++i)
         compare("acceleration", x.generalAcceleration()[i], y.generalAcceleration()[i]);
   }
}
} // namespace

// Four, and one of these again, become one in any tree of combinations, and are taken apart in any order.
TEST(Combination, OfAnyTreeIsUndoneInAnyOrder)
{
   const zqTest::LogCapture log;
   for (ZqU32 seed = 0; seed < 200 && !HasFailure(); ++seed)
   {
      SCOPED_TRACE(seed);
      RandomValues random(seed);
      std::map<ZqString, Manipulator> originals;
      std::vector<Manipulator> there;
      for (const char* label : {"A", "B", "C", "D"})
      {
         there.push_back(withContents(random, label, random.index(0, 4)));
         originals.emplace(label, there.back());
      }
      // Names of two that are the same have one source.
      const bool isOneTwice = seed % 2 == 1;
      if (isOneTwice)
         there.insert(there.begin() + random.index(0, 3), there[random.index(0, 3)]);
      const std::size_t count = there.size();
      while (there.size() > 1)
      {
         const Manipulator other = there.back();
         there.pop_back();
         Manipulator& carrier = there[random.index(0, static_cast<ZqU32>(there.size()) - 1)];
         const ZqU32 dof = carrier.jointDof() + other.jointDof();
         ASSERT_TRUE(carrier.combineManipulator(anyLink(random, carrier), other,
                                                zqTest::randomFrame(random, random.index(0, 3))));
         EXPECT_TRUE(zqTest::mapsAreRight(carrier) && zqTest::parentsAreRight(carrier));
         EXPECT_EQ(carrier.jointDof(), dof);
         EXPECT_EQ(carrier.linkPointerMap().size(), dof + 1U);
         const auto& sources = carrier.linkLabelMapping().newLabelToManipulatorLinkLabel();
         EXPECT_TRUE(isOneTwice || sources.size() == dof + 1U);
         std::swap(carrier, there[random.index(0, static_cast<ZqU32>(there.size()) - 1)]);
      }
      while (there.size() < count)
      {
         std::vector<std::pair<std::size_t, ZqString>> choices;
         for (std::size_t i = 0; i < there.size(); ++i)
            for (const ZqString& label : there[i].usingManipulatorLabels())
               choices.emplace_back(i, label);
         ASSERT_FALSE(choices.empty());
         const auto& [i, label] = choices[random.index(0, static_cast<ZqU32>(choices.size()) - 1)];
         Manipulator taken;
         ZqString link;
         Frame place;
         ASSERT_TRUE(there[i].uncombineManipulator(label, link, taken, place));
         there.push_back(taken);
      }
      for (const Manipulator& manipulator : there)
         expectSame(manipulator, originals.at(manipulator.manipulatorLabel()));
   }
}

// The base has the shape of the link, of which there is more when what had come to the base goes.
TEST(Combination, EndsWithShapesSharedAsTheyWere)
{
   RandomValues random(3);
   const auto body = [&random](const char* label, ZqU32 links)
   {
      Manipulator result = zqTest::randomManipulator(random, links);
      result.setManipulatorLabel(label);
      result.linkByIndex(links > 0 ? 0 : ZqBaseLinkIndex)->setShape(ZqSphere(random.vector(), 0.2));
      return result;
   };
   Manipulator a = body("A", 1), whole = body("B", 0), taken, other;
   ZqLinkReferenceDescription description;
   description.setReferencedLinkLabel("label0");
   description.setIsShapeReferenced(true);
   a.setShapeContainer({});
   a.setLinkReferenceDescription(description);
   a.mapManipulator();
   a.fitAbsoluteBoundingSphere();
   const Manipulator before = a;
   ZqString link;
   Frame place;
   ASSERT_TRUE(a.combineManipulator("base", body("D", 0), place) &&
               whole.combineManipulator("base", a, place) &&
               whole.combineManipulator("label0", body("C", 0), place));
   ASSERT_TRUE(whole.uncombineManipulator("A", link, taken, place));
   for (const char* label : {"D", "C"})
   {
      ASSERT_TRUE(taken.uncombineManipulator(label, link, other, place));
      EXPECT_EQ(taken.numShapes(), 1U);
   }
   expectSame(taken, before);
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
      Manipulator b = withContents(random, "B", random.index(0, 5));
      const ZqString carrier = anyLink(random, a);
      const Frame place = zqTest::randomFrame(random);
      Manipulator whole = a;
      const auto record = whole.combine(carrier, b, place);
      ASSERT_TRUE(record);
      b.setIsFixedBase(false); // it moves with the link

      // States, taken apart by the record.
      ZqPositionState position = zqTest::randomPosition(random, whole);
      ZqVelocityState velocity;
      ZqRealVector rates(whole.jointDof());
      for (ZqReal& rate : rates)
         rate = random.real();
      velocity.setJointVelocities(rates);
      if (!a.isFixedBase())
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
      const Frame baseInSystem = link.primaryFrameInSystem(stateA.activePositionState()) * place *
                                 b.primaryFrame().inverse();
      positionB.setCoordSysXForm(b.coordSysXForm().inverse() * baseInSystem);
      const Frame& dh = link.dhFrameInSystem(stateA.activePositionState());
      const ZqGeneralMotion& v = link.dhFrameVelocityInSystem(stateA);
      const ZqVector lever = baseInSystem.translation() - dh.translation();
      velocityB.setGeneralVelocity({v.linear() + v.angular().cross(lever), v.angular()});
      stateB.setPositionState(positionB);
      stateB.setVelocityState(velocityB);

      const auto compareFrames = [&](const char* name, const Frame& X, const Frame& Y)
      {
         for (std::size_t i = 0; i < 3; ++i)
            compare(name, X.translation()[i], Y.translation()[i]);
         const auto unit = [](std::size_t i)
         { return ZqVector(i == 0 ? 1.0 : 0.0, i == 1 ? 1.0 : 0.0, i == 2 ? 1.0 : 0.0); };
         for (std::size_t i = 0; i < 3; ++i)
         {
            const ZqVector x = X.orientation() * unit(i), y = Y.orientation() * unit(i);
            compare("axes", (x - y).mag(), 0.0);
         }
         compare.scale("axes", 1.0);
      };
      for (ZqU32 i = 0; i < b.jointDof(); ++i)
      {
         const ZqManipulatorLink& there = *whole.linkByIndex(record->transfer.index(i));
         EXPECT_EQ(there.linkLabel(), *record->transfer.label(b.linkByIndex(i)->linkLabel()));
         compareFrames("frame", there.primaryFrameInSystem(wholeState.activePositionState()),
                       b.linkByIndex(i)->primaryFrameInSystem(stateB.activePositionState()));
         for (ZqU32 j = 0; j <= b.jointDof(); ++j)
         {
            const ZqU32 other = j < b.jointDof() ? j : ZqBaseLinkIndex;
            EXPECT_EQ(whole.canCollide(record->transfer.index(i), record->transfer.index(other)),
                      b.canCollide(i, other));
         }
      }
      for (ZqU32 i = 0; i < a.jointDof(); ++i)
         compareFrames("frame",
                       whole.linkByIndex(record->links.index(i))
                          ->primaryFrameInSystem(wholeState.activePositionState()),
                       a.linkByIndex(i)->primaryFrameInSystem(stateA.activePositionState()));
      compare("kinetic energy", whole.computeKineticEnergy(wholeState, nullptr),
              a.computeKineticEnergy(stateA, nullptr) + b.computeKineticEnergy(stateB, nullptr));
      const ZqReal massA = a.crbi(stateA, nullptr).mass(), massB = b.crbi(stateB, nullptr).mass();
      const ZqVector center = whole.getCenterOfMassInSystem(wholeState);
      const ZqVector expected =
         (a.getCenterOfMassInSystem(stateA) * massA + b.getCenterOfMassInSystem(stateB) * massB) /
         (massA + massB);
      for (std::size_t i = 0; i < 3; ++i)
         compare("center of mass", center[i], expected[i]);
      // Limits, of which those of the other one follow.
      const auto& limits = whole.stateConstraints().vectorContainer();
      for (const auto& [own, state] : {std::pair(&a, &stateA), {&b, &stateB}})
         for (const auto* limit : own->stateConstraints().vectorContainer())
         {
            const bool isOfA = own == &a;
            compare("limit", limits[isOfA ? 0 : limits.size() - 1]->evaluate(position),
                    limit->evaluate(isOfA ? positionA : positionB));
         }
      for (ZqU32 i = 0; i < b.jointDof(); ++i)
         compare(
            "limit of a link",
            whole.linkByIndex(record->transfer.index(i))->upperLimitConstraint().evaluate(position),
            b.linkByIndex(i)->upperLimitConstraint().evaluate(positionB));
      compareAccelerations(compare, seed, whole, welded(a, b, carrier, place));
      // Springs at the joints, by the same labels.
      for (ZqU32 i = 0; i < b.jointDof(); ++i)
         compare("spring",
                 whole.linkByIndex(record->transfer.index(i))->totalLocalTorque(wholeState),
                 b.linkByIndex(i)->totalLocalTorque(stateB));
   }
   compare.expectWithin(1e-12);
}

namespace
{
struct Scene
{
   ZqStatedSystem system;
   ZqString carrier; ///< of A, where C stands at a place as if it were a part of it
   Frame place;
};

/// Three manipulators, A, B and C, with springs between their links, exclusions and attachments, which move; C, at
/// index 2 or before the others, moves with a link of A.
Scene makeScene(RandomValues& random, ZqU32 placeOfC)
{
   Scene scene;
   std::vector<Manipulator> manipulators{withContents(random, "A", random.index(1, 5)),
                                         withContents(random, "B", random.index(1, 4))};
   manipulators.insert(manipulators.begin() + placeOfC,
                       withContents(random, "C", random.index(0, 4)));
   for (Manipulator& manipulator : manipulators)
   {
      ZqVelocityState velocity;
      ZqRealVector rates(manipulator.jointDof());
      for (ZqReal& rate : rates)
         rate = random.real();
      velocity.setJointVelocities(rates);
      manipulator.setIsFixedBase(false);
      velocity.setGeneralVelocity(zqTest::randomMotion(random));
      scene.system.addManipulator(manipulator, zqTest::randomPosition(random, manipulator),
                                  velocity);
   }
   const auto index = [&](const char* label)
   { return scene.system.manipulatorByIdentifier(label)->manipulatorIndex(); };
   const ZqU32 a = index("A"), b = index("B"), c = index("C");
   const auto at = [&](ZqU32 i) -> const Manipulator&
   { return *scene.system.manipulatorByIndex(i); };
   const auto anyOf = [&](ZqU32 i) { return at(i).linkIndexByIdentifier(anyLink(random, at(i))); };

   scene.carrier = anyLink(random, at(a));
   scene.place = zqTest::randomFrame(random);
   ZqManipulatorActiveState state;
   state.setPositionState(scene.system.state().positionStates()[a]);
   state.setVelocityState(scene.system.state().velocityStates()[a]);
   const ZqManipulatorLink& link = *at(a).linkByIdentifier(scene.carrier);
   const Frame inSystem = link.primaryFrameInSystem(state.activePositionState()) * scene.place *
                          at(c).primaryFrame().inverse();
   const ZqGeneralMotion& v = link.dhFrameVelocityInSystem(state);
   const ZqVector lever =
      inSystem.translation() - link.dhFrameInSystem(state.activePositionState()).translation();
   ZqPositionState position = scene.system.state().positionStates()[c];
   position.setCoordSysXForm(at(c).coordSysXForm().inverse() * inSystem);
   ZqVelocityState velocity = scene.system.state().velocityStates()[c];
   velocity.setGeneralVelocity({v.linear() + v.angular().cross(lever), v.angular()});
   scene.system.setIndividualPositionState(c, position);
   scene.system.setIndividualVelocityState(c, velocity);

   ZqLinkInteractionsVector interactions;
   for (int i = 0; i < 6; ++i)
   {
      ZqSpringAndDamperBetweenLinks spring;
      spring.setManipulatorOneIndex(random.index(0, 2));
      spring.setManipulatorTwoIndex(random.index(0, 2));
      spring.setLinkOneIndex(static_cast<int>(anyOf(spring.manipulatorOneIndex())));
      spring.setLinkTwoIndex(static_cast<int>(anyOf(spring.manipulatorTwoIndex())));
      spring.setFrameOffsetOne(zqTest::randomFrame(random));
      spring.setFrameOffsetTwo(zqTest::randomFrame(random));
      spring.setLinearSpringConstant(random.real(1.0, 2.0));
      interactions.pushBack(spring);
   }
   scene.system.setLinkInteractionsVector(interactions);
   ZqSystemCollisionExclusionMap maps[3];
   for (auto& map : maps)
   {
      for (int i = 0; i < 6; ++i)
      {
         const ZqU32 first = random.index(0, 2), second = random.index(0, 2);
         map.excludeLinkCollisionCandidate(first, anyLink(random, at(first)), second,
                                           anyLink(random, at(second)));
      }
      if (random.index(0, 2) == 0)
         map.excludeManipulatorCollisionCandidates(b, c);
      if (random.index(0, 2) == 0)
         map.excludeLinkCollisionCandidates(b, anyLink(random, at(b)), c);
   }
   scene.system.setCollisionExclusionMap(maps[0]);
   scene.system.setDynamicCollisionExclusionMap(maps[1]);
   scene.system.setSollisionExclusionMapForCA(maps[2]);
   ZqManipulatorAttachmentMap attachments;
   attachments.attachManipulator(b, c, anyLink(random, at(c)), zqTest::randomFrame(random), "b");
   if (random.index(0, 1) == 0)
      attachments.attachManipulator(c, a, scene.carrier, scene.place, "c");
   scene.system.setManipulatorAttachmentMap(attachments);
   return scene;
}

/// Where the links, the ends of springs and what is attached to links are in the system, by labels of links that
/// are told of their manipulators.
std::map<ZqString, Frame> placesIn(const ZqStatedSystem& scene)
{
   std::map<ZqString, Frame> result;
   std::vector<ZqManipulatorActiveState> states(scene.numberOfManipulators());
   const auto linkFrame = [&](ZqU32 i, ZqU32 link)
   {
      return scene.manipulatorByIndex(i)->linkByIndex(link)->primaryFrameInSystem(
         states[i].activePositionState());
   };
   for (ZqU32 i = 0; i < states.size(); ++i)
      states[i].setPositionState(scene.state().positionStates()[i]);
   for (ZqU32 i = 0; i < states.size(); ++i)
   {
      const Manipulator& manipulator = *scene.manipulatorByIndex(i);
      const auto& sources = manipulator.linkLabelMapping().newLabelToManipulatorLinkLabel();
      for (ZqU32 j = 0; j < manipulator.jointDof(); ++j)
      {
         const ZqString& label = manipulator.linkByIndex(j)->linkLabel();
         const auto source = sources.find(label);
         const auto name = source != sources.end()
                              ? source->second
                              : std::pair(manipulator.manipulatorLabel(), label);
         result[name.first + '/' + name.second] = linkFrame(i, j);
      }
      ZqU32 base = 0;
      ZqString label;
      Frame offset;
      if (scene.configuration().attachmentMap().getDependentManipulatorInfo(i, base, label, offset))
         result["attached " + manipulator.manipulatorLabel()] =
            linkFrame(base, scene.manipulatorByIndex(base)->linkIndexByIdentifier(label)) * offset;
   }
   const ZqLinkInteractionsVector& interactions = scene.system().linkInteractionsVector();
   for (ZqU32 i = 0; i < interactions.size(); ++i)
   {
      const auto& spring =
         dynamic_cast<const ZqSpringAndDamperBetweenLinks&>(*interactions.vectorContainer()[i]);
      result["one " + std::to_string(i)] =
         linkFrame(spring.manipulatorOneIndex(), static_cast<ZqU32>(spring.linkOneIndex())) *
         spring.frameOffsetOne();
      result["two " + std::to_string(i)] =
         linkFrame(spring.manipulatorTwoIndex(), static_cast<ZqU32>(spring.linkTwoIndex())) *
         spring.frameOffsetTwo();
   }
   return result;
}

/// The kinetic energy (J), the center of all masses (m), and the number of joints of C, or of the links that came
/// from it.
std::vector<ZqReal> motionOf(const ZqStatedSystem& scene)
{
   std::vector<ZqReal> result(5);
   ZqReal mass = 0.0;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      const Manipulator& manipulator = *scene.manipulatorByIndex(i);
      ZqManipulatorActiveState state;
      state.setPositionState(scene.state().positionStates()[i]);
      state.setVelocityState(scene.state().velocityStates()[i]);
      result[0] += manipulator.computeKineticEnergy(state, nullptr);
      const ZqReal own = manipulator.crbi(state, nullptr).mass();
      const ZqVector center = manipulator.getCenterOfMassInSystem(state);
      mass += own;
      for (std::size_t k = 0; k < 3; ++k)
         result[1 + k] += own * center[k];
      if (manipulator.manipulatorLabel() == "C")
         result[4] += manipulator.jointDof();
      for (const auto& [label, source] :
           manipulator.linkLabelMapping().newLabelToManipulatorLinkLabel())
         if (source.first == "C")
            result[4] += 1.0;
   }
   for (std::size_t k = 0; k < 3; ++k)
      result[1 + k] /= mass;
   return result;
}

void expectSameState(const ZqManipulatorSystemState& a, const ZqManipulatorSystemState& b)
{
   ASSERT_EQ(a.positionStates().size(), b.positionStates().size());
   for (ZqU32 i = 0; i < a.positionStates().size(); ++i)
   {
      EXPECT_EQ(a.positionStates()[i].jointPositions(), b.positionStates()[i].jointPositions());
      EXPECT_EQ(a.velocityStates()[i].jointVelocities(), b.velocityStates()[i].jointVelocities());
      // Frames are of some metres, and go through a few products.
      EXPECT_TRUE(a.positionStates()[i].coordSysXForm().approxEq(
         b.positionStates()[i].coordSysXForm(), 1e-13));
      const ZqGeneralMotion v = a.velocityStates()[i].generalVelocity();
      const ZqGeneralMotion w = b.velocityStates()[i].generalVelocity();
      EXPECT_LE((v.linear() - w.linear()).mag() + (v.angular() - w.angular()).mag(), 1e-12);
   }
}
} // namespace

TEST(CombinationInScenes, MovesNothingAndIsUndone)
{
   Zq::registerClass<Feeler>();
   const zqTest::LogCapture log;
   for (ZqU32 seed = 0; seed < 100 && !HasFailure(); ++seed)
   {
      SCOPED_TRACE(seed);
      RandomValues random(seed);
      Scene scene = makeScene(random, seed % 3);
      ZqStatedSystem& system = scene.system;
      const ZqStatedSystem before = system;
      const auto places = placesIn(system);
      const ZqU32 c = system.manipulatorByIdentifier("C")->manipulatorIndex();
      ASSERT_TRUE(system.combineManipulator("C", "A", scene.carrier, scene.place));
      EXPECT_EQ(before.numberOfManipulators(), 3U);
      ASSERT_EQ(system.numberOfManipulators(), 2U);
      EXPECT_TRUE(system.system().labelPool().isLabelUsing("C"));
      for (const auto& [name, frame] : placesIn(system))
      {
         ASSERT_TRUE(places.contains(name)) << name;
         EXPECT_TRUE(frame.approxEq(places.at(name), 1e-12)) << name;
      }
      // Pairs of B with what was in the other two.
      const ZqIndividualManipulator& b = *system.manipulatorByIdentifier("B");
      const ZqIndividualManipulator& whole = *system.manipulatorByIdentifier("A");
      for (ZqU32 j = 0; j < whole.jointDof(); ++j)
      {
         const auto& source = whole.linkLabelMapping().newLabelToManipulatorLinkLabel().at(
            whole.linkByIndex(j)->linkLabel());
         const Manipulator& own = *before.manipulatorByIdentifier(source.first);
         const ZqU32 oldB = before.manipulatorByIdentifier("B")->manipulatorIndex();
         for (ZqU32 k = 0; k < b.jointDof() && whole.linkByIndex(j)->linkLabel() != scene.carrier;
              ++k)
            for (const bool forCA : {false, true})
               EXPECT_EQ(
                  system.canCollide(whole.manipulatorIndex(), j, b.manipulatorIndex(), k, forCA),
                  before.canCollide(own.manipulatorIndex(),
                                    own.linkIndexByIdentifier(source.second), oldB, k, forCA));
      }

      // A document remembers, when it is asked to.
      const ZqString plain = zqTest::written(system);
      EXPECT_TRUE(system.keepCombinations());
      const ZqString keeping = zqTest::written(system);
      EXPECT_EQ(plain.find("combination"), std::string::npos);
      ZqStatedSystem read;
      ASSERT_TRUE(zqTest::readFrom(read, keeping));
      EXPECT_TRUE(zqTest::written(read) == keeping);

      for (ZqStatedSystem* which : {&system, &read})
      {
         ZqU32 parent = 9, child = 9;
         Frame place;
         ASSERT_TRUE(which->uncombineManipulator("C", parent, child, place));
         EXPECT_EQ(parent, before.manipulatorByIdentifier("A")->manipulatorIndex());
         EXPECT_EQ(child, c);
         EXPECT_EQ(place, scene.place);
         EXPECT_TRUE(which->system().manipulators() == before.system().manipulators());
         expectSameState(which->state(), before.state());
      }
      ZqStatedSystem undone = system;
      undone.setState(before.state());
      EXPECT_TRUE(zqTest::written(undone) == zqTest::written(before));
   }
}

// Frames, joints, labels and sizes are told anew while the two are one: taken apart, they are where the one was.
TEST(CombinationInScenes, AreTakenApartAfterEdits)
{
   const zqTest::LogCapture log;
   zqTest::Comparison compare;
   for (ZqU32 seed = 0; seed < 100 && !HasFailure(); ++seed)
   {
      SCOPED_TRACE(seed);
      RandomValues random(seed);
      Scene scene = makeScene(random, seed % 3);
      ZqStatedSystem& system = scene.system;
      ASSERT_TRUE(system.combineManipulator("C", "A", scene.carrier, scene.place));
      ZqU32 a = system.manipulatorByIdentifier("A")->manipulatorIndex();
      using Tool = ZqKinematicsConversionTool;
      for (int i = 0; i < 3; ++i)
      {
         const Manipulator& whole = *system.manipulatorByIndex(a);
         const ZqString label = random.index(0, 1) == 0
                                   ? whole.linkByIdentifier(scene.carrier)->linkLabel()
                                   : anyLink(random, whole);
         const ZqU32 kind = random.index(0, 6);
         system.editManipulator(a,
                                [&](Manipulator& m)
                                {
                                   if (kind == 0)
                                      m.transformPrimaryFrame(label, zqTest::randomFrame(random));
                                   else if (kind == 1)
                                      m.transformAllPrimaryFramesToIdentity();
                                   else if (kind == 2)
                                      Tool::reconfigureDhToPrecursor(m, label);
                                   else if (kind == 3)
                                      Tool::flipJointSign(m, label);
                                   else if (kind == 4 && label != scene.carrier)
                                      m.changeLinkLabel(label, label + "-again");
                                });
         if (kind == 5)
            Tool().convertManipulatorToCraigsDhForm(system, system, a); // unless a joint slides
         else if (kind == 6)
         {
            EXPECT_TRUE(system.resizeManipulator(a, random.real(0.5, 2.0)));
         }
      }
      const auto before = motionOf(system);
      ZqU32 child = 0;
      Frame place;
      ASSERT_TRUE(system.uncombineManipulator("C", a, child, place)) << log.text();
      const auto after = motionOf(system);
      for (std::size_t i = 0; i < before.size(); ++i)
         compare(i == 0 ? "energy" : "center", after[i], before[i]);
      for (const Manipulator& manipulator : system.system().manipulators())
         EXPECT_TRUE(zqTest::mapsAreRight(manipulator) && zqTest::parentsAreRight(manipulator));

      // What hangs on something else by now cannot go.
      ASSERT_TRUE(system.combineManipulator("C", "A", scene.carrier, scene.place));
      a = system.manipulatorByIdentifier("A")->manipulatorIndex();
      std::vector<std::string> labels;
      if (scene.carrier == "base" || before.back() == 0.0)
         continue;
      ASSERT_TRUE(system.editManipulator(a, [&](Manipulator& m)
                                         { Tool::add3SagJoints(m, scene.carrier, labels); }));
      const ZqString written = zqTest::written(system);
      EXPECT_FALSE(system.uncombineManipulator("C", a, child, place));
      EXPECT_TRUE(log.contains("does not hang on link \"" + scene.carrier + "\""));
      EXPECT_TRUE(zqTest::written(system) == written);
   }
   compare.expectWithin(1e-11);
}

TEST(CombinationInScenes, KeepsReferencesAndRejectsWhatCannotBe)
{
   RandomValues random(7);
   Scene scene = makeScene(random, 2);
   ZqStatedSystem& system = scene.system;
   Manipulator reference;
   reference.setLinkLabel("base");
   ZqManipulatorReferenceDescription description;
   description.setIsManipulatorReferenced(true);
   for (const char* label : {"A", "C"})
   {
      description.setReferencedManipulatorLabel(label);
      reference.setManipulatorReferenceDescription(description);
      reference.setManipulatorLabel(ZqString("like") + label);
      system.addManipulator(reference);
   }
   const ZqU32 a = 0, c = 2, likeA = 3;
   Frame bent(ZqVector(), ZqOrientation(2.0, 0.0, 0.0, 0.0));
   const Frame lost(ZqVector(zqTest::nan, 0.0, 0.0));
   const ZqString before = zqTest::written(system);
   struct Case
   {
      ZqU32 first, second;
      const char* link;
      Frame transform;
      const char* says;
   };
   const Case cases[] = {{a, a, "base", {}, "\"A\" on link \"base\""},
                         {a, likeA, "base", {}, "refers to the other"},
                         {likeA, a, "base", {}, "refers to the other"},
                         {9, a, "base", {}, "no manipulator 9"},
                         {c, 9, "base", {}, "no manipulator 9"},
                         {c, a, "none", {}, "\"C\" on link \"none\" of manipulator \"A\""},
                         {c, a, "base", bent, "not rigid"},
                         {c, a, "base", lost, "not rigid"}};
   for (const Case& bad : cases)
   {
      const zqTest::LogCapture log;
      EXPECT_FALSE(system.combineManipulator(bad.first, bad.second, bad.link, bad.transform));
      EXPECT_TRUE(log.contains(bad.says)) << log.text();
      EXPECT_EQ(log.size(), 1U);
   }
   {
      const zqTest::LogCapture log;
      ZqU32 parent = 0, child = 0;
      Frame place;
      EXPECT_FALSE(system.uncombineManipulator("C", parent, child, place));
      EXPECT_TRUE(log.contains("\"C\""));
      EXPECT_FALSE(system.combineManipulator("C", "X", "base", place));
      EXPECT_TRUE(log.contains("\"X\""));
   }
   EXPECT_TRUE(zqTest::written(system) == before);

   // Those that refer to one of the two have its model from now on.
   const zqTest::LogCapture log;
   const ZqU32 dofA = system.jointDof(a), dofC = system.jointDof(c);
   ASSERT_TRUE(system.combineManipulator("C", "A", "base", Frame()));
   EXPECT_EQ(system.manipulatorByIdentifier("A")->jointDof(), dofA + dofC);
   EXPECT_EQ(system.manipulatorByIdentifier("likeA")->jointDof(), dofA);
   EXPECT_EQ(system.manipulatorByIdentifier("likeC")->jointDof(), dofC);
}
