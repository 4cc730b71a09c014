#include "support/allocationCount.h"
#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/state/ZqManipulatorActivePositionState.h"

#include <functional>

namespace
{
using Link = ZqManipulatorLink;
using Manipulator = ZqIndividualManipulator;
using Masses = ZqRigidBodyMassProperties;
using zqTest::LogCapture;
using zqTest::RandomValues;

/// A manipulator "manipulator" of the links label0, label1, ... in a row on "base".
Manipulator arm(ZqU32 links)
{
   RandomValues random(61);
   Manipulator manipulator = zqTest::makeManipulator(zqTest::chain(links), [&](ZqU32)
                                                     { return zqTest::randomLink(random); });
   manipulator.setMassProperties(zqTest::randomMass(random));
   return manipulator;
}

TEST(ManipulatorLink, MassesStayTheSumInBothFrames)
{
   RandomValues random(62);
   const std::function<void(Link&)> edits[] = {
      [&](Link& l) { l.setBaseMassProperties(zqTest::randomMass(random)); },
      [&](Link& l) { l.addMassProperties("b", zqTest::randomMass(random)); },
      [&](Link& l) { l.addMassProperties("tool", zqTest::randomMass(random)); },
      [&](Link& l) { l.setPrimaryFrame(zqTest::randomFrame(random)); },
      [&](Link& l) { l.setMassPropertiesMap(zqTest::randomLink(random).massPropertiesMap()); },
      [&](Link& l)
      { l.setLinkKinematicsContainer(zqTest::randomLink(random).linkKinematicsContainer()); },
      [](Link& l)
      {
         const bool isThere = l.massPropertiesMap().lookupPointer("b") != nullptr;
         EXPECT_EQ(l.deleteMassProperties("b"), isThere);
      },
      [](Link& l) { l.clearMassPropertiesMap(); },
      [&](Link& l)
      {
         l.setMassProperties(zqTest::randomMass(random));
         EXPECT_EQ(l.massPropertiesMap().size(), 0U);
      },
      [&](Link& l) { l = zqTest::randomLink(random); },
      [&](Link& l) { l.copyAllButChildLinksFrom(zqTest::randomLink(random)); },
      [&](Link& l) { EXPECT_TRUE(Zq::fromXml(l, zqTest::written(zqTest::randomLink(random)))); }};
   Link link = zqTest::randomLink(random);
   for (unsigned i = 0; i < 500; ++i)
   {
      const std::size_t edit = random.index(0, std::size(edits) - 1);
      SCOPED_TRACE(edit);
      edits[edit](link);
      Masses sum(link.baseMassProperties());
      for (const auto& added : link.massPropertiesMap().mapContainer())
         sum += added.second;
      EXPECT_TRUE(link.massProperties().approxEq(sum, 1e-13));
      sum.transformBy(link.primaryFrame());
      EXPECT_TRUE(link.massPropertiesInDHFrame().approxEq(sum, 1e-12));
      if (link.massPropertiesMap().size() == 0)
      {
         EXPECT_EQ(link.massProperties(), link.baseMassProperties());
      }
   }
   // The default, too, is one that a document can hold.
   EXPECT_EQ(Link().massProperties(), Masses::nullObject());
}

TEST(ManipulatorLink, PropertiesAreSetByLabelAndNamesAreTakenOnce)
{
   RandomValues random(63);
   Manipulator manipulator = arm(3);
   const Link& link = *manipulator.linkByIndex(2);
   const Masses masses = zqTest::randomMass(random);
   EXPECT_TRUE(manipulator.replaceMassProperties("label2", masses));
   EXPECT_EQ(link.massProperties(), masses);
   // Replaced all the same.
   EXPECT_FALSE(manipulator.replaceMassProperties("base", masses));
   EXPECT_EQ(manipulator.massProperties(), masses);

   Link other = zqTest::randomLink(random);
   other.setLinkLabel("other");
   other.setNamedPoints({{"p", {1.0, 2.0, 3.0}}});
   EXPECT_TRUE(manipulator.replaceLinkProperties("label2", other, true));
   EXPECT_EQ(link.linkLabel(), "label2");
   other.setMassProperties(Masses(other.massProperties()));
   other.setIsConstrained(link.isConstrained());
   EXPECT_TRUE(link.equalForReferencing(other));
   EXPECT_FALSE(manipulator.setJointLimit("label3", true, -0.5) ||
                manipulator.replaceMassProperties("label3", masses) ||
                manipulator.replaceLinkProperties("label3", other, true));

   LogCapture log;
   ZqVector point;
   ZqCoordinateSystemTransformation frame;
   Link named;
   EXPECT_FALSE(named.lookupNamedPoint("p", point) || named.lookupNamedFrame("f", frame));
   for (const ZqReal x : {1.0, 2.0})
   {
      named.addNamedPoint("p", {x, 0.0, 0.0});
      named.addNamedFrame("f", ZqVector(x, 0.0, 0.0));
   }
   EXPECT_TRUE(named.lookupNamedPoint("p", point) && named.lookupNamedFrame("f", frame));
   EXPECT_EQ(point, ZqVector(1.0, 0.0, 0.0));
   EXPECT_EQ(frame, ZqVector(1.0, 0.0, 0.0));
   EXPECT_EQ(log.text(), "ZqManipulatorLink::addNamedPoint point already exists\n\n"
                         "ZqManipulatorLink::addNamedFrame frame already exists\n\n");
}

TEST(Manipulator, CountsItsLinksAndFindsThem)
{
   Manipulator manipulator;
   manipulator.clearChildLinks();
   EXPECT_EQ(manipulator.totalDof(), 0U);
   EXPECT_EQ(manipulator.jointAndBaseDof(), 6U);
   EXPECT_EQ(manipulator.linkCollisionTest().size(), 1U);
   manipulator = arm(3);
   EXPECT_EQ(manipulator.totalDof(), 3U);
   manipulator.setIsFixedBase(false);
   EXPECT_EQ(manipulator.totalDof(), 9U);
   EXPECT_EQ(manipulator.linkByIndex(3), nullptr);
   EXPECT_EQ(manipulator.linkByIndex(ZqNoLinkIndex), nullptr);
   EXPECT_EQ(manipulator.linkIndexByIdentifier("label3"), ZqNoLinkIndex);
   EXPECT_FALSE(manipulator.changeLinkLabel("label0", "label1"));
   EXPECT_FALSE(manipulator.changeLinkLabel("label0", "base"));
   EXPECT_FALSE(manipulator.changeLinkLabel("label3", "label4"));
   EXPECT_TRUE(manipulator.changeLinkLabel("base", "root"));
   EXPECT_TRUE(manipulator.changeLinkLabel("label0", "base"));
   EXPECT_EQ(manipulator.linkIndexByIdentifier("base"), 0U);
   EXPECT_EQ(manipulator.linkIndexByIdentifier("root"), ZqBaseLinkIndex);
   EXPECT_TRUE(zqTest::mapsAreRight(manipulator));
   // A link below the base takes the place of the base.
   LogCapture log;
   manipulator.setLinkLabel("label1");
   EXPECT_EQ(manipulator.linkByIdentifier("label1"), manipulator.linkByIndex(1));
   EXPECT_EQ(manipulator.linkIndexByIdentifier("label1"), 1U);
   EXPECT_TRUE(log.contains("with the same label, \"label1\""));

   manipulator.setIsFixedBase(false);
   manipulator.setOptimizeOnLoad(true);
   manipulator.setCoordSysXForm(ZqVector(1.0, 2.0, 3.0));
   manipulator.setManipulatorIndex(3);
   manipulator.setFromLink(*manipulator.linkByIndex(1));
   EXPECT_EQ(manipulator.manipulatorLabel() + manipulator.linkLabel(), "label1label1");
   EXPECT_EQ(manipulator.parentLink(), nullptr);
   EXPECT_EQ(manipulator.coordSysXForm(), ZqCoordinateSystemTransformation());
   EXPECT_TRUE(manipulator.isFixedBase() && !manipulator.optimizeOnLoad());
   EXPECT_EQ(manipulator.jointDof(), 1U);
   EXPECT_EQ(manipulator.manipulatorIndex(), 3U);
   EXPECT_TRUE(zqTest::parentsAreRight(manipulator) && zqTest::mapsAreRight(manipulator));
   // A label that is given may be one that changes.
   manipulator.appendToAllLabels(manipulator.linkLabel());
   EXPECT_NE(manipulator.linkByIdentifier("label2label1"), nullptr);
}

TEST(Manipulator, LinksCollideAsTheTableSays)
{
   Manipulator manipulator = arm(3);
   ZqManipulatorSelfCollisionLinkMap map;
   map.buildMapFromSystem(manipulator);
   map.setLinkCollisionCanditateByIdentifier("label0", "base", true);
   map.setLinkCollisionCanditateByIdentifier("label0", "label2", true);
   map.setLinkCollisionCanditateByIdentifier("label1", "label1", true);
   manipulator.setSelfCollisionLinkMap(map);
   const ZqU32 indices[] = {0, 1, 2, ZqBaseLinkIndex};
   LogCapture log;
   for (const ZqU32 i : indices)
      for (const ZqU32 j : indices)
         EXPECT_EQ(manipulator.canCollide(i, j),
                   i != j && i % 2 == 0 && j % 2 == 0 && (i == 0 || j == 0))
            << i << ' ' << j;
   EXPECT_FALSE(manipulator.canCollide(7, 7));
   EXPECT_TRUE(log.empty());
   EXPECT_FALSE(manipulator.canCollide(7, 0));
   EXPECT_FALSE(manipulator.canCollide(1, 5));
   const std::string text = "ZqIndividualManipulator::canCollide(): indices (";
   const std::string end = ") out of range.  Returning False.\n\n";
   EXPECT_EQ(log.text(), text + "7,0" + end + text + "1,5" + end);
   EXPECT_EQ(log.messages()[0].type, unsigned{Zq::Rejected});
   manipulator.addChild(Link());
   EXPECT_FALSE(manipulator.canCollide(0, ZqBaseLinkIndex));
   EXPECT_EQ(manipulator.linkCollisionTest().size(), 5U);

   // Links of one label share what they have with each other: no memory a pair of links.
   manipulator.childLinks().vectorContainer().assign(500, Link());
   manipulator.mapManipulator();
   ZqManipulatorSelfCollisionLinkMap alike;
   alike.setLinkCollisionCanditateByIdentifier(Link().linkLabel(), Link().linkLabel(), true);
   manipulator.setSelfCollisionLinkMap(alike);
   const zqTest::AllocationCount allocations;
   manipulator.mapLinkCollisionCandidates();
   EXPECT_LT(allocations.count(), 50U);
   EXPECT_TRUE(manipulator.canCollide(0, 499));
   EXPECT_FALSE(manipulator.canCollide(0, ZqBaseLinkIndex));
}

TEST(Manipulator, LengthsThatLeadToNoNumberAreRefused)
{
   const auto messagesOf = [](ZqReal a, const ZqVector& primaryOrigin)
   {
      Manipulator manipulator = arm(2);
      ZqDenavitHartenberg joint;
      joint.setDhA(a);
      joint.setPrimaryFrame(primaryOrigin);
      manipulator.linkByIndex(0)->setLinkKinematics(joint);
      LogCapture log;
      const bool isRead = Zq::fromXml(manipulator, zqTest::written(manipulator));
      EXPECT_EQ(isRead, log.empty());
      return log.text().substr(0, log.text().find('.'));
   };
   EXPECT_EQ(messagesOf(1e300, {1e300, 0.0, 0.0}), "");
   EXPECT_EQ(messagesOf(1.7e308, {}),
             "ZqXmlReader Error: the manipulator \"manipulator\" has no finite extent");
   EXPECT_EQ(messagesOf(0.0, {1.7e308, 1.7e308, 0.0}),
             "ZqXmlReader Error: the primary frame of a joint has no finite inverse");
}

TEST(Manipulator, ReferencesAreAnsweredByTheOtherAndComeToAnEnd)
{
   Manipulator::Manipulators all(7, arm(3));
   // Of its own, to it, to each other, to itself, to none, and to what is a reference itself.
   const std::string labels = "oabcsun";
   const std::string targets = "oocbsqa";
   for (std::size_t i = 0; i < labels.size(); ++i)
   {
      ZqManipulatorReferenceDescription description;
      description.setIsManipulatorReferenced(i > 0);
      description.setReferencedManipulatorLabel(targets.substr(i, 1));
      all[i].setManipulatorLabel(labels.substr(i, 1));
      all[i].setManipulatorReferenceDescription(description);
      all[i].mapManipulator();
   }
   for (std::size_t i = 0; i < labels.size(); ++i)
      EXPECT_EQ(all[i].configureManipulatorReference(all), i > 0 && labels[i] != 'u') << i;

   const Manipulator& own = all[0];
   const Manipulator& a = all[1];
   EXPECT_EQ(&a.concreteReference(), &own);
   EXPECT_EQ(a.referenceLink(), &own);
   EXPECT_EQ(a.jointDof(), 3U);
   EXPECT_EQ(&a.childLinks(), &own.childLinks());
   EXPECT_EQ(a.linkByIndex(1), own.linkByIndex(1));
   EXPECT_EQ(a.linkByIndex(ZqBaseLinkIndex), &own);
   EXPECT_EQ(a.linkByIdentifier("label2"), own.linkByIndex(2));
   EXPECT_EQ(a.linkIndexByIdentifier("label2"), 2U);
   const Manipulator copy(a);
   EXPECT_EQ(&copy.concreteReference(), &copy);
   EXPECT_EQ(copy.jointDof(), 0U);

   const LogCapture log;
   ZqManipulatorActivePositionState state;
   ZqPositionState position;
   position.setJointPositions({0.1, 0.2, 0.3});
   state.setPositionState(position);
   for (Manipulator& m : all)
   {
      SCOPED_TRACE(m.manipulatorLabel());
      std::vector<ZqReal> parameters;
      std::vector<const Link*> leaves;
      EXPECT_LE(m.jointDof(), 3U);
      EXPECT_LE(m.subtreeLinkCount(), 4U);
      m.primaryFrameInSystem(state);
      m.linkIndexByIdentifier("q");
      m.collectLeafLinks(leaves);
      m.getCraigDhParameters(parameters);
      m.fitAbsoluteBoundingSphere();
      m.buildSelfCollisionLinkMap();
      EXPECT_FALSE(m.canCollide(0, 1));
      EXPECT_EQ(m == own, &m == &own);
      EXPECT_NE(zqTest::written(m), "not written");
      EXPECT_TRUE(m.findAndConvertToReferences());
   }
}

TEST(Manipulator, CraigParametersAreThoseOfCraigJoints)
{
   using Joint = ZqDenavitHartenberg;
   std::vector<ZqReal> parameters{9.0};
   EXPECT_TRUE(Manipulator().getCraigDhParameters(parameters));
   EXPECT_TRUE(parameters.empty());
   const std::tuple<ZqU32, ZqReal, bool> cases[] = {
      {Joint::Craig, 1.0, true},          {Joint::GeneralCraig, 0.9e-10, true},
      {Joint::GeneralCraig, 1e-9, false}, {Joint::GeneralCraig, zqTest::nan, false},
      {Joint::Paul, 0.0, false},          {Joint::GeneralPaul, 0.0, false},
      {Joint::General, 0.0, false}};
   for (const auto& [type, precursor, isCraig] : cases)
   {
      Joint joint;
      joint.setDhType(type);
      joint.setPrecursor(ZqVector(precursor, 0.0, 0.0));
      joint.setDhA(0.25);
      joint.setDhAlpha(-0.5);
      joint.setDhD(0.75);
      Manipulator manipulator = arm(2);
      manipulator.linkByIndex(0)->setLinkKinematics(joint);
      joint.setDhType(Joint::Craig);
      joint.setDhA(1.25);
      manipulator.linkByIndex(1)->setLinkKinematics(joint);
      std::vector<ZqReal> expected{0.25, -0.5, 0.75};
      expected.resize(isCraig ? 3 : 0);
      expected.insert(expected.end(), {1.25, -0.5, 0.75});
      EXPECT_EQ(manipulator.getCraigDhParameters(parameters), isCraig) << type;
      EXPECT_EQ(parameters, expected) << type;
   }
}

TEST(Manipulator, ReferencesDifferInMoreThanLabels)
{
   const Manipulator original = arm(2);
   const std::pair<bool, std::function<void(Manipulator&)>> changes[] = {
      {true, [](Manipulator& m) { m.setManipulatorLabel("x"); }},
      {true, [](Manipulator& m) { m.setLinkLabel("x"); }},
      {false, [](Manipulator& m) { m.changeLinkLabel("label1", "x"); }},
      {false, [](Manipulator& m) { m.setCoordSysXForm(ZqVector(1.0, 0.0, 0.0)); }},
      {false, [](Manipulator& m) { m.setIsConstrained(true); }},
      {false, [](Manipulator& m) { m.setJointActuator(ZqJointActuator::defaultObject()); }},
      {false, [](Manipulator& m) { m.setJointLimit("label1", true, -9.0); }}};
   for (const auto& [isEqual, change] : changes)
   {
      Manipulator changed(original);
      EXPECT_TRUE(changed == original && changed.equalForReferencing(original));
      change(changed);
      EXPECT_FALSE(changed == original);
      EXPECT_EQ(changed.equalForReferencing(original), isEqual);
   }
}

TEST(Manipulator, OldDocumentsAreTakenOver)
{
   const Manipulator manipulator = arm(2);
   const std::string document = zqTest::written(manipulator);
   std::string old = document;
   old.insert(old.find("<manipulatorReferenceDescription>"),
              "<isControllable>true</isControllable><wheels>4</wheels>");
   LogCapture log;
   Manipulator read;
   EXPECT_TRUE(zqTest::readFrom(read, old));
   EXPECT_EQ(read, manipulator);
   EXPECT_TRUE(zqTest::parentsAreRight(read) && zqTest::mapsAreRight(read));
   EXPECT_TRUE(log.contains("wheels"));
   EXPECT_FALSE(log.contains("isControllable"));
   EXPECT_TRUE(zqTest::written(read) == document);
   // Without a label it takes that of its base.
   old.erase(old.find("<manipulatorIdentifier>"), 58);
   Manipulator unnamed;
   EXPECT_TRUE(zqTest::readFrom(unnamed, old));
   EXPECT_EQ(unnamed.manipulatorLabel(), "base");
}

TEST(Manipulator, LabelsOfABoundReferenceAreItsModelsToo)
{
   Manipulator::Manipulators both{arm(2), Manipulator()};
   both[1].setManipulatorLabel("second");
   ZqManipulatorReferenceDescription description;
   description.setIsManipulatorReferenced(true);
   description.setReferencedManipulatorLabel("manipulator");
   both[1].setManipulatorReferenceDescription(description);
   ASSERT_TRUE(both[1].configureManipulatorReference(both));
   ASSERT_TRUE(both[1].changeLinkLabel("label1", "hand"));
   for (const Manipulator& manipulator : both)
      EXPECT_EQ(manipulator.linkByIdentifier("hand"), both[0].linkByIndex(1));

   // Without its model, nothing of it is left.
   both[0].setManipulatorLabel("gone");
   EXPECT_FALSE(both[1].configureManipulatorReference(both));
   EXPECT_EQ(both[1].jointDof(), 0U);
   EXPECT_EQ(both[1].referenceLink(), &both[1]);
}
} // namespace
