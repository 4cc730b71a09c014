#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/contact/records/ZqPointEvents.h"
#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqHalfSpace.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

namespace
{
using Frame = ZqCoordinateSystemTransformation;
using Link = ZqManipulatorLink;
using Manipulator = ZqIndividualManipulator;
using Masses = ZqRigidBodyMassProperties;
using zqTest::LogCapture;
using zqTest::RandomValues;

ZqSphere ball(ZqReal radius, const ZqVector& center = {})
{
   return {center, radius};
}

ZqShapeUnion unionOf(std::initializer_list<ZqReal> radii)
{
   ZqShapeUnion result;
   for (const ZqReal radius : radii)
      result.addShapeToUnion(ball(radius));
   return result;
}

ZqString documentOf(const ZqXmlObject& object)
{
   ZqString document;
   EXPECT_TRUE(Zq::toXml(object, document));
   return document;
}

/// The radii of the shapes of a link, by number.
std::vector<ZqReal> radii(const Link& link)
{
   std::vector<ZqReal> result;
   for (ZqU32 i = 0; i < link.numShapes(); ++i)
      result.push_back(dynamic_cast<const ZqSphere&>(*link.shapeByIndex(i)).radius());
   EXPECT_EQ(link.shapeByIndex(link.numShapes()), nullptr);
   return result;
}

ZqReal radiusOf(const Link& link)
{
   return link.shape() != nullptr ? dynamic_cast<const ZqSphere&>(*link.shape()).radius() : 0.0;
}

/// A box, a capsule or a hull, or a union of two of them.
void setRandomShape(RandomValues& random, Link& link, bool mayBeUnion = true)
{
   const ZqU32 kind = random.index(0, mayBeUnion ? 3 : 2);
   const auto size = [&] { return random.real(0.01, 0.4); };
   if (kind == 0)
      link.setShape(ZqBox(zqTest::randomFrame(random), {size(), size(), size()}));
   else if (kind == 1)
      link.setShape(ZqCapsule({random.vector(), random.vector()}, size()));
   else if (kind == 2)
      link.setShape(ZqConvexHull(
         {random.vector(), random.vector(), random.vector(), random.vector(), random.vector()}));
   else
   {
      ZqShapeUnion both;
      Link member;
      for (int i = 0; i < 2; ++i)
      {
         setRandomShape(random, member, false);
         both.addShapeToUnion(*member.shape());
      }
      link.setShape(both);
   }
}

/// Every link below the base, and the base, has the shape that a simple list says.
class SharedShapes : public testing::Test
{
protected:
   struct Entry
   {
      ZqReal own = 0.0;
      ZqString uses; ///< the label of another link, or nothing
   };

   SharedShapes()
   {
      m_manipulator = zqTest::makeManipulator(zqTest::randomTree(m_random, 6),
                                              [&](ZqU32) { return zqTest::randomLink(m_random); });
      for (const ZqString& label : m_manipulator.linkLabels())
         m_entries[label];
   }
   ZqString someLabel()
   {
      const auto labels = m_manipulator.linkLabels();
      return labels[m_random.index(0, static_cast<ZqU32>(labels.size()) - 1)];
   }
   /// The label at the end of a chain of references; nothing where it is a ring.
   ZqString end(ZqString label) const
   {
      for (std::size_t i = 0; i < m_entries.size(); ++i)
      {
         const ZqString& next = m_entries.at(label).uses;
         if (next.empty())
            return label;
         label = next;
      }
      return {};
   }
   ZqReal expected(const ZqString& label) const { return m_entries.at(end(label)).own; }
   void refer(const ZqString& label, const ZqString& other)
   {
      const Entry before = std::exchange(m_entries[label], {m_entries[label].own, other});
      if (label == other || end(label).empty())
      {
         m_entries[label] = before;
         return;
      }
      ZqLinkReferenceDescription description;
      description.setIsShapeReferenced(true);
      description.setReferencedLinkLabel(other);
      m_manipulator.linkByIdentifier(label)->setLinkReferenceDescription(description);
   }
   void change()
   {
      const ZqString label = someLabel();
      Link& link = *m_manipulator.linkByIdentifier(label);
      Entry& entry = m_entries[label];
      switch (m_random.index(0, 9))
      {
      case 0:
         m_radius += 1.0;
         link.setShape(ball(m_radius));
         entry = {m_radius, ""};
         break;
      case 1:
      case 2:
         refer(label, someLabel());
         break;
      case 3: // from a wide choice of two, so that links have equal shapes
         for (auto& [other, use] : m_entries)
            if (use.uses == label)
               use = {expected(label), ""};
         EXPECT_TRUE(
            m_manipulator.replaceLinkShape(label, ball(0.5), 0, m_random.index(0, 1) == 0));
         entry = {0.5, ""};
         break;
      case 4:
         entry = {expected(label), ""};
         EXPECT_TRUE(link.removeLinkReferences());
         break;
      case 5:
      {
         const ZqString label2 = "renamed" + std::to_string(++m_labels);
         EXPECT_TRUE(m_manipulator.changeLinkLabel(label, label2));
         m_entries[label2] = entry;
         m_entries.erase(label);
         for (auto& [other, use] : m_entries)
            if (use.uses == label)
               use.uses = label2;
         break;
      }
      case 6:
         m_manipulator = Manipulator(m_manipulator);
         break;
      case 7:
      {
         Manipulator moved(std::move(m_manipulator));
         m_manipulator = std::move(moved);
         break;
      }
      case 8:
      {
         const ZqString document = documentOf(m_manipulator);
         Manipulator read;
         EXPECT_TRUE(Zq::fromXml(read, document));
         EXPECT_EQ(documentOf(read), document);
         EXPECT_TRUE(read == m_manipulator);
         m_manipulator = read;
         break;
      }
      default:
         m_manipulator.findAndConvertToReferences();
         takeEntries();
      }
   }
   /// Takes who refers to whom from the manipulator, when nothing but that may have changed.
   void takeEntries()
   {
      const auto before = m_entries;
      for (auto& [label, entry] : m_entries)
      {
         const Link& link = *m_manipulator.linkByIdentifier(label);
         const ZqLinkReferenceDescription& description = link.linkReferenceDescription();
         const bool refers = description.isShapeReferenced();
         entry = {refers ? 0.0 : entry.own, refers ? description.referencedLinkLabel() : ""};
         EXPECT_NE(refers, &link.shapeContainer() == &link.memberShapeContainer());
      }
      const auto after = std::exchange(m_entries, before);
      for (const auto& [label, entry] : before)
      {
         const ZqReal shape = expected(label);
         m_entries = after;
         EXPECT_EQ(expected(label), shape);
         m_entries = before;
      }
      m_entries = after;
   }

   RandomValues m_random{71};
   Manipulator m_manipulator;
   std::map<ZqString, Entry> m_entries;
   ZqReal m_radius = 1.0;
   int m_labels = 0;
};

TEST_F(SharedShapes, FollowTheirLinksWhateverHappensToThese)
{
   for (int round = 0; round < 3000; ++round)
   {
      SCOPED_TRACE(round);
      const Manipulator copy = m_manipulator;
      const ZqString before = round % 50 == 0 ? documentOf(copy) : "";
      const auto version = m_manipulator.shapesVersion();
      std::vector<ZqReal> old;
      for (const auto& [label, entry] : m_entries)
         old.push_back(radiusOf(*m_manipulator.linkByIdentifier(label)));
      change();
      std::vector<ZqReal> now;
      ZqReal reach = 0.0;
      for (const auto& [label, entry] : m_entries)
      {
         now.push_back(radiusOf(*m_manipulator.linkByIdentifier(label)));
         EXPECT_EQ(now.back(), expected(label)) << label;
         reach = std::max(reach, now.back());
      }
      EXPECT_TRUE(old == now || m_manipulator.shapesVersion() != version);
      EXPECT_LE(m_manipulator.shapesVersion(), Manipulator::latestVersion());
      EXPECT_GE(m_manipulator.absoluteBoundingSphere().radius(), reach);
      EXPECT_EQ(m_manipulator.absoluteBoundingSphere().radius(),
                m_manipulator.upperBoundSubmanipulatorExtentDistance());
      EXPECT_TRUE(before.empty() || documentOf(copy) == before);
      if (HasFailure())
         break;
   }
}

TEST(LinkShapes, AreWithinReach)
{
   RandomValues random(72);
   for (int i = 0; i < 200; ++i)
   {
      Manipulator manipulator = zqTest::randomManipulator(random, random.index(0, 6));
      const ZqMotionPlan* plan = &manipulator.motionPlan();
      for (ZqU32 j = 0; j < manipulator.jointDof(); ++j)
         setRandomShape(random, *manipulator.linkByIndex(j));
      setRandomShape(random, manipulator);
      const ZqReal reach = manipulator.absoluteBoundingSphere().radius();
      EXPECT_EQ(&manipulator.motionPlan(), plan) << "shapes do not move";

      ZqManipulatorActivePositionState state;
      state.setPositionState(zqTest::randomPosition(random, manipulator));
      ZqPositionState position = state.positionState();
      for (const Link* link : manipulator.linkPointerVector())
         position.jointPositions()[link->linkIndex()] =
            random.real(link->jointActuator().lowerLimit(), link->jointActuator().upperLimit());
      state.setPositionState(position);
      const ZqVector origin = manipulator.dhFrameInSystem(state).translation();
      for (const Link* link : zqTest::inPreorder(manipulator))
      {
         const Frame& X = link->primaryFrameInSystem(state);
         ZqXmlVectorType<ZqAxisAlignedBoundingBox> boxes;
         link->axisAlignedBoundingBoxVectorInSystem(state, boxes);
         EXPECT_EQ(boxes.size(), link->numShapesInPhysicalRepresentation());
         for (int k = 0; k < 20; ++k)
         {
            const ZqVector p = X * link->physicalExtent()->supportPoint(random.vector());
            EXPECT_LE((p - origin).mag(), reach * (1.0 + 1e-12));
            bool isInBox = false;
            for (ZqAxisAlignedBoundingBox box : boxes)
            {
               box.enlarge(1e-9);
               const ZqVector low = p - box.lower();
               const ZqVector high = box.upper() - p;
               isInBox = isInBox || (low.x() >= 0.0 && low.y() >= 0.0 && low.z() >= 0.0 &&
                                     high.x() >= 0.0 && high.y() >= 0.0 && high.z() >= 0.0);
            }
            EXPECT_TRUE(isInBox);
         }
      }
   }
   // What has no end does not count.
   Manipulator floor;
   floor.setShape(ZqHalfSpace());
   EXPECT_EQ(floor.absoluteBoundingSphere().radius(), 0.0);
   EXPECT_EQ(floor.physicalExtent(), nullptr);
   // A box about the base's origin: three corners at a distance of 7, squared and added.
   floor.setShape(ZqBox({}, {2.0, 3.0, 6.0}));
   EXPECT_DOUBLE_EQ(floor.absoluteBoundingSphere().radius(), std::sqrt(3.0) * 7.0);
}

TEST(LinkShapes, AreReplacedByNumber)
{
   struct Case
   {
      ZqU32 number;
      bool all;
      std::vector<ZqReal> ofBall, ofUnion;
   };
   const std::vector<Case> cases{{0, true, {9}, {9}},
                                 {0, false, {9}, {9, 2}},
                                 {1, true, {1, 9}, {1, 2, 9}},
                                 {1, false, {1, 9}, {1, 9}},
                                 {2, false, {1, 5, 9}, {1, 2, 9}},
                                 {3, false, {1, 5, 6, 9}, {1, 2, 5, 9}},
                                 {9, true, {1, 5, 6, 9}, {1, 2, 5, 6, 9}}};
   for (const auto& [number, all, ofBall, ofUnion] : cases)
      for (const bool isUnion : {false, true})
      {
         SCOPED_TRACE(number);
         Manipulator manipulator;
         manipulator.setLinkLabel("base");
         manipulator.setShape(ball(1));
         if (isUnion)
            manipulator.setShape(unionOf({1, 2}));
         EXPECT_TRUE(manipulator.addBoundingVolume(ball(5)));
         EXPECT_TRUE(manipulator.addBoundingVolume(ball(6)));
         EXPECT_EQ(manipulator.boundingVolumes().size(), 2U);
         EXPECT_FALSE(manipulator.replaceLinkShape("nobody", ball(9), number, all));
         EXPECT_TRUE(manipulator.replaceLinkShape("base", ball(9), number, all));
         EXPECT_EQ(radii(manipulator), isUnion ? ofUnion : ofBall);
      }
}

TEST(LinkShapes, AreFoundNamedAndSurfaced)
{
   Manipulator arm = zqTest::makeManipulator(zqTest::chain(3), [](ZqU32) { return Link(); });
   const auto links = arm.linkPointerVector();
   links[0]->setShape(unionOf({1, 2}));
   links[2]->setShape(ball(3));
   EXPECT_TRUE(links[0]->setShapeIdentifier(1, "tip"));
   EXPECT_FALSE(links[1]->setShapeIdentifier(0, "none"));
   EXPECT_EQ(arm.findShape("tip"), links[0]->shapeByIdentifier("tip"));
   EXPECT_EQ(arm.findShape("tip"), links[0]->shapeByIndex(1));
   EXPECT_EQ(arm.findShape(""), nullptr);

   ZqDataMap steel, metric;
   steel.add("surfaceMaterialType", ZqString("steel"));
   metric.add("collisionAvoidanceMetric", 2.5);
   EXPECT_TRUE(links[0]->setSurfaces("tip", {{"nail", steel}}));
   EXPECT_TRUE(arm.setShapeSurfaceProperty("label2", 0, {{"0", metric}}));
   EXPECT_FALSE(arm.setShapeSurfaceProperty("label1", 0, {{"0", metric}}));
   EXPECT_EQ(links[2]->lookupCollisionAvoidanceMetric(), 2.5);
   EXPECT_EQ(links[0]->lookupCollisionAvoidanceMetric(), 1.0);
   ZqDataMap found;
   EXPECT_TRUE(arm.lookup("nail", found));
   EXPECT_TRUE(found == steel);
   EXPECT_FALSE(arm.setSurfaceProperties("hair", metric));
   EXPECT_TRUE(arm.setSurfaceProperties("nail", metric));
   EXPECT_TRUE(arm.surfaces() == (ZqShape::Surfaces{{"nail", metric}}));
   EXPECT_TRUE(arm.findShape("tip")->surfaces() == arm.surfaces());

   // Bounding volumes: to links with a shape of their own alone, boxes once.
   for (int i = 0; i < 2; ++i)
   {
      arm.addBoundingBoxToLinks();
      arm.addCapsuleBoundingVolumeToLinks();
   }
   EXPECT_EQ(links[0]->numShapes(), 5U);
   EXPECT_EQ(links[1]->numShapes(), 0U);
   EXPECT_EQ(arm.deleteBoundingVolumes(ZqShape::CapsuleShape), 4U);
   EXPECT_TRUE(arm.setBoundingVolume("label2", ball(8)));
   EXPECT_FALSE(arm.setBoundingVolume("label1", ball(8)));
   EXPECT_EQ(radii(*links[2]), (std::vector<ZqReal>{3, 8}));
   EXPECT_TRUE(links[2]->shapeByIndex(1)->surfaces() ==
               (ZqShape::Surfaces{{"0", ZqDataMap::boundingColor()}}));
   arm.deleteAllBoundingVolumes();
   EXPECT_EQ(links[2]->numShapes(), 1U);
}

TEST(LinkShapes, GoWithTheLinkWhenItIsScaledMovedAndCopied)
{
   RandomValues random(73);
   for (int i = 0; i < 100; ++i)
   {
      Link link = zqTest::randomLink(random);
      link.addNamedPoint("p", random.vector());
      setRandomShape(random, link);
      const ZqVector d = random.vector();
      const ZqVector support = link.physicalExtent()->supportPoint(d);
      const Frame T = zqTest::randomFrame(random);
      Link moved = link;
      moved.transformComponentsBy(T);
      const ZqVector there = moved.physicalExtent()->supportPoint(T.orientation() * d);
      EXPECT_LE((there - T * support).mag(), 1e-12);
      ZqVector before, after;
      link.massProperties().getCenterOfMass(before);
      moved.massProperties().getCenterOfMass(after);
      EXPECT_LE((after - T * before).mag(), 1e-9);
      EXPECT_EQ(moved.namedPoints().mapContainer().at("p"),
                T * link.namedPoints().mapContainer().at("p"));
      Link scaled = link;
      scaled.scaleBy(2.0);
      EXPECT_LE((scaled.physicalExtent()->supportPoint(d) - support * 2.0).mag(), 1e-12);

      Link target;
      link.copyLinkProperties(target);
      EXPECT_TRUE(target.shapeContainer() == link.shapeContainer());
      EXPECT_FALSE(scaled.shapeContainer() == link.shapeContainer());
      Link whole = zqTest::randomLink(random);
      whole.setLinkLabel("whole");
      EXPECT_TRUE(whole.replaceLinkProperties("whole", link, true));
      EXPECT_TRUE(whole.shapeContainer() == link.shapeContainer());
   }
}

TEST(LinkShapes, GiveMasses)
{
   const LogCapture log;
   Link link;
   link.estimateMassProperties();
   EXPECT_EQ(log.text(),
             "ZqManipulatorLink::estimateMassProperties-->Shape container is empty\n\n");
   EXPECT_TRUE(link.massProperties() == Masses::defaultObject());
   const ZqCapsule capsule({{0.0, 0.0, 1.0}, {0.0, 2.0, 1.0}}, 0.5);
   link.setShape(capsule);
   link.estimateMassProperties();
   const ZqReal mass = 2700.0 * zqTest::pi * (0.25 * 2.0 + 4.0 / 3.0 * 0.125);
   EXPECT_NEAR(link.massProperties().mass(), mass, 1e-9 * mass);
   link.setFromShapeContainer({});
   EXPECT_NEAR(link.massProperties().mass(), mass, 1e-9 * mass);
   link.setFromShapeContainer(Link(link).shapeContainer());
   EXPECT_TRUE(link.massProperties() == Masses::massPropertiesFromShape(1.5, &capsule));
   EXPECT_EQ(link.linkLabel(), "shape");
   EXPECT_EQ(link.linkKinematicsContainer().topElement(), nullptr);
}

TEST(LinkShapes, TellTheFirstLinkThatASegmentMeets)
{
   RandomValues random(74);
   ZqReal hits = 0;
   for (int i = 0; i < 200; ++i)
   {
      ZqStatedSystem scene;
      struct Ball
      {
         ZqVector center;
         ZqReal radius;
         ZqU32 manipulator, link;
      };
      std::vector<Ball> balls;
      for (ZqU32 m = 0; m < 3; ++m)
      {
         Manipulator manipulator = zqTest::randomManipulator(random, random.index(0, 3));
         for (ZqU32 j = 0; j < manipulator.jointDof(); ++j)
            manipulator.linkByIndex(j)->setShape(ball(random.real(0.3, 1.5), random.vector()));
         manipulator.setShape(ball(random.real(0.3, 1.5), random.vector()));
         scene.addManipulator(manipulator);
      }
      ZqSystemActiveState active;
      active.setNonredundantState(scene.state());
      for (ZqU32 m = 0; m < 3; ++m)
      {
         auto& state = active.manipulatorActiveStateVector()[m].activePositionState();
         for (const Link* link : zqTest::inPreorder(scene.system().manipulators()[m]))
         {
            const auto& sphere = dynamic_cast<const ZqSphere&>(*link->shape());
            balls.push_back({link->primaryFrameInSystem(state) * sphere.center(), sphere.radius(),
                             m, link->linkIndex()});
         }
      }
      const ZqLineSegment segment(random.vector(3.0), random.vector(3.0));
      const ZqVector along = (segment.endpoint1() - segment.endpoint0()) * (1.0 / segment.length());
      ZqReal nearest = std::numeric_limits<ZqReal>::infinity();
      const Ball* met = nullptr;
      for (const Ball& each : balls)
      {
         const ZqVector to = each.center - segment.endpoint0();
         const ZqReal middle = to.dot(along);
         const ZqReal h2 = each.radius * each.radius - (to.dot(to) - middle * middle);
         const ZqReal t = to.mag() <= each.radius ? 0.0 : middle - std::sqrt(std::max(h2, 0.0));
         if ((t != 0.0 && h2 < 0.0) || t < 0.0 || t > segment.length() || t >= nearest)
            continue;
         nearest = t;
         met = &each;
      }
      ZqSystemPointEvent event;
      event.setIsImpacted(true); // forgotten
      scene.intersectLineSegment(segment, event, &active, 0);
      ASSERT_EQ(event.isImpacted(), met != nullptr);
      if (met == nullptr)
         continue;
      ++hits;
      EXPECT_NEAR(event.distance(), nearest, 1e-9);
      EXPECT_LE((event.contactPoint() - segment.endpoint0() - along * nearest).mag(), 1e-9);
      // Of several around the beginning, the first counts.
      EXPECT_TRUE(nearest == 0.0 ||
                  (event.manipulatorID() == met->manipulator && event.linkID() == met->link));
      scene.intersectLineSegment(segment, event, nullptr, 0);
      EXPECT_FALSE(event.isImpacted());
   }
   EXPECT_GT(hits, 50);
}

TEST(LinkShapes, OfAStatedSystemAreKnownByKeys)
{
   ZqStatedSystem scene;
   const Frame frame(ZqVector(1.0, 2.0, 3.0));
   ZqDataMap paint;
   paint.add("zqAmbientAlpha", 0.25);
   EXPECT_EQ(scene.addShapeAsManipulator(ball(2), frame, "ball", {{"0", paint}}), 0U);
   EXPECT_EQ(scene.addShapeAsManipulator(unionOf({1, 2}), frame, "ball", {}), 1U);
   EXPECT_EQ(scene.manipulatorByIndex(0)->linkLabel(), "ball");
   EXPECT_NEAR(scene.manipulatorByIndex(0)->massProperties().mass(), 1.0, 1e-12);
   EXPECT_EQ(scene.state().positionStates()[0].coordSysXForm(), frame);
   std::vector<std::vector<std::vector<ZqU32>>> numbers;
   scene.editManipulator(0, [](Manipulator& model) { model.setNumShapes(~ZqU32{0}); });
   scene.system().getNumberOfShapes(numbers);
   EXPECT_EQ(numbers, (std::vector<std::vector<std::vector<ZqU32>>>{{{0}}, {{0, 1}}}));

   const ZqShapeStateCacheKey first(0, ZqBaseLinkIndex, 0);
   for (const ZqShapeStateCacheKey& bad :
        {ZqShapeStateCacheKey(2, ZqBaseLinkIndex, 0), ZqShapeStateCacheKey(0, 0, 0),
         ZqShapeStateCacheKey(0, ZqBaseLinkIndex, 1), ZqShapeStateCacheKey::nullObject()})
   {
      EXPECT_EQ(scene.shapeByKey(bad), nullptr);
      EXPECT_FALSE(scene.setSurfacesByKey(bad, {}));
      scene.changeAmbientAlpha(bad, 0.5);
   }
   // Changes reach one's own model alone, and not that of a copy.
   const ZqStatedSystem copy(scene), deep(scene, ZqFoundCommon::CopyAll);
   EXPECT_TRUE(deep == scene);
   EXPECT_NE(deep.shapeByKey(first), scene.shapeByKey(first));
   {
      const LogCapture log;
      scene.changeAmbientAlpha(first, 0.5);
      scene.changeEmissionAlpha(first, 0.75);
      EXPECT_EQ(log.text(), "\nzqAmbientAlpha: 0.250000\n\n\nNew Alpha: 0.500000\n\n"
                            "\nzqEmissionAlpha: 0.000000\n\n\nNew Alpha: 0.750000\n\n");
   }
   ZqReal alpha = 0.0;
   EXPECT_TRUE(
      scene.shapeByKey(first)->surfaces().lookupPointer("0")->lookup("zqAmbientAlpha", alpha));
   EXPECT_EQ(alpha, 0.5);
   EXPECT_TRUE(copy.shapeByKey(first)->surfaces() == (ZqShape::Surfaces{{"0", paint}}));

   EXPECT_TRUE(
      scene.replaceLinkShape(1, scene.manipulatorByIndex(1)->linkLabel(), ball(9), 1, false));
   EXPECT_EQ(radii(*scene.manipulatorByIndex(1)), (std::vector<ZqReal>{1, 9}));
   EXPECT_EQ(radii(*copy.manipulatorByIndex(1)), (std::vector<ZqReal>{1, 2}));
   {
      const LogCapture log;
      EXPECT_FALSE(scene.replaceLinkShape(2, "ball", ball(9), 0, true));
      EXPECT_EQ(log.text(),
                "ZqManipulatorSystem::replaceLinkShape() - invalid manipulator index.\n\n");
   }
   scene.addModifiedShapeKeyVec(first);
   scene.addModifiedShapeKeyVec(first);
   scene.addModifiedShapeKeyVec(ZqShapeStateCacheKey::nullObject());
   EXPECT_EQ(scene.modifiedShapeKeyVec(), ZqStatedSystem::ShapeKeys{first});

   ZqStatedSystem read;
   const ZqString document = documentOf(scene);
   EXPECT_TRUE(Zq::fromXml(read, document));
   EXPECT_EQ(documentOf(read), document);
}

TEST(LinkShapes, StayWithABaseThatUsedThoseOfALinkThatGoes)
{
   for (const bool clears : {true, false})
   {
      Manipulator arm = zqTest::makeManipulator(zqTest::chain(2), [](ZqU32) { return Link(); });
      arm.linkByIndex(1)->setShape(ball(4));
      ZqLinkReferenceDescription description;
      description.setIsShapeReferenced(true);
      description.setReferencedLinkLabel("label1");
      arm.setLinkReferenceDescription(description);
      const LogCapture log;
      clears ? arm.clearChildLinks() : arm.setChildLinks({Link()});
      EXPECT_EQ(radiusOf(arm), 4.0);
      EXPECT_FALSE(arm.linkReferenceDescription().isShapeReferenced());
      EXPECT_EQ(log.text(), "");
   }
}

TEST(LinkShapes, TellOfEachChange)
{
   Manipulator arm = zqTest::makeManipulator(zqTest::chain(2), [](ZqU32) { return Link(); });
   Link& link = *arm.linkByIndex(0);
   Link& other = *arm.linkByIndex(1);
   link.setShape(ball(4));
   other.setShape(ball(40));
   const LogCapture log;
   const auto isTold = [&](const auto& change)
   {
      const auto version = arm.shapesVersion();
      change();
      return arm.shapesVersion() != version;
   };
   EXPECT_TRUE(isTold([&] { link.setReferenceLink(&other); }));
   EXPECT_FALSE(isTold([&] { link.setReferenceLink(&other); }));
   EXPECT_TRUE(isTold([&] { link.setLinkReferences({}); }));
   EXPECT_FALSE(isTold([&] { link.setLinkReferences({}); }));

   ZqString document = documentOf(other);
   const std::size_t first = document.find("sphere");
   const std::size_t start = document.rfind('<', first);
   const std::size_t end = document.find('>', document.rfind("sphere>")) + 1;
   ZqString empty = document;
   empty.replace(start, end - start, "");
   EXPECT_GE(arm.absoluteBoundingSphere().radius(), 40.0);
   EXPECT_TRUE(Zq::fromXml(other, empty));
   EXPECT_EQ(other.shape(), nullptr);
   EXPECT_LT(arm.absoluteBoundingSphere().radius(), 40.0);
   EXPECT_EQ(log.text(), "");
   document.replace(document.find(">40<"), 4, ">-1<");
   EXPECT_TRUE(Zq::fromXml(other, document));
   EXPECT_NE(log.text().find("a sphere that holds no point"), ZqString::npos) << log.text();
}

TEST(LinkShapes, OfAReferenceAreThoseOfItsModel)
{
   ZqManipulatorSystem system;
   Manipulator model = zqTest::makeManipulator(zqTest::chain(2), [](ZqU32) { return Link(); });
   model.setShape(ball(1));
   model.linkByIndex(1)->setShape(ball(2));
   for (int i = 0; i < 3; ++i)
      system.addManipulator(model);
   EXPECT_TRUE(system.findAndConvertToReferences());
   const auto& all = system.manipulators();
   EXPECT_TRUE(all[2].manipulatorReferenceDescription().isManipulatorReferenced());
   EXPECT_EQ(all[2].memberShapeContainer().topElement(), nullptr);
   EXPECT_EQ(all[2].shape(), all[0].shape());
   EXPECT_EQ(radiusOf(*all[2].linkByIndex(1)), 2.0);
   const auto version = all[2].shapesVersion();
   EXPECT_TRUE(system.setSurfacesByKey({2, 1, 0}, {{"0", ZqDataMap::boundingColor()}}));
   EXPECT_EQ(all[2].shapesVersion(), version);
   EXPECT_EQ(all[0].linkByIndex(1)->shape()->surfaces().size(), 1U);
   // Who is changed gets a model of its own.
   EXPECT_TRUE(system.replaceLinkShape(2, "label1", ball(3), 0, true));
   EXPECT_NE(all[2].shapesVersion(), version);
   EXPECT_EQ(radiusOf(*all[2].linkByIndex(1)), 3.0);
   EXPECT_EQ(radiusOf(*all[1].linkByIndex(1)), 2.0);
   EXPECT_EQ(radiusOf(all[2]), 1.0);
}
} // namespace
