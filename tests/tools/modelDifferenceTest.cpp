#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/zqManipulator.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
using Manipulator = ZqIndividualManipulator;
using Number = ZqXmlBasicType<ZqReal>;

ZqManipulatorLink* linkOf(Manipulator& m, const char* label)
{
   return m.linkByIdentifier(label);
}

/// Two arms: one of links label0 to label3, of which the first bears the second and third.
ZqStatedSystem twoArms()
{
   zqTest::RandomValues random(1);
   ZqStatedSystem scene;
   for (const char* const label : {"left", "right"})
   {
      Manipulator arm = zqTest::makeManipulator({zqTest::onBase, 0, 0, 2},
                                                [&](ZqU32) { return zqTest::randomLink(random); });
      arm.setManipulatorLabel(label);
      arm.linkByIndex(0)->addNamedPoint("elbow", {1.0, 2.0, 3.0});
      arm.buildSelfCollisionLinkMap();
      ZqVelocityState velocity;
      velocity.setJointVelocities(ZqRealVector(4, 0.5));
      scene.addManipulator(arm, zqTest::randomPosition(random, arm), velocity);
   }
   return scene;
}

void setMass(Manipulator& arm, const char* label, ZqReal mass)
{
   const ZqRigidBodyMassProperties& old = linkOf(arm, label)->baseMassProperties();
   linkOf(arm, label)->setBaseMassProperties({mass, old.firstMoment(), old.secondMoment()});
}

struct Case
{
   const char* name;
   void (*change)(ZqStatedSystem& scene);
   std::vector<const char*> told; ///< without values, below the list of manipulators
};

void editLeft(ZqStatedSystem& scene, void (*change)(Manipulator&))
{
   ASSERT_TRUE(scene.editManipulator(0, change));
}

const Case cases[]{
   {"nothing", [](ZqStatedSystem&) {}, {}},
   {"a mass",
    [](ZqStatedSystem& s) { editLeft(s, [](Manipulator& m) { setMass(m, "label3", 9.0); }); },
    {"[left]/childLinks[label3]/massProperties/mass"}},
   {"a link between two others",
    [](ZqStatedSystem& s)
    {
       editLeft(s,
                [](Manipulator& m)
                {
                   ZqManipulatorLink link = *linkOf(m, "label2");
                   ZqManipulatorLink between;
                   between.setLinkLabel("between");
                   between.setChildLinks(link.childLinks());
                   linkOf(m, "label2")->clearChildLinks();
                   linkOf(m, "label2")->addChild(between);
                   m.buildSelfCollisionLinkMap();
                });
       // Links that were taken off and put on again begin anew.
       ZqManipulatorSystemState state = s.state();
       state.positionStates()[0].jointPositions()[4] =
          twoArms().state().positionStates()[0].jointPositions()[3];
       state.velocityStates()[0].jointVelocities()[4] = 0.5;
       s.setState(state);
    },
    {"+[left]/childLinks[between]", "[left]/childLinks[label3]/parent"}},
   {"a link less",
    [](ZqStatedSystem& s)
    {
       editLeft(s,
                [](Manipulator& m)
                {
                   linkOf(m, "label2")->clearChildLinks();
                   m.buildSelfCollisionLinkMap();
                });
    },
    {"-[left]/childLinks[label3]", "[left]/absoluteBoundingSphere/radius"}},
   {"another order",
    [](ZqStatedSystem& s)
    { editLeft(s, [](Manipulator& m) { linkOf(m, "label0")->childLinks().leftRotate(1); }); },
    {"[left]/childLinks/order"}},
   {"a manipulator less", [](ZqStatedSystem& s) { s.removeManipulator(0); }, {"-[left]"}},
   {"a named point",
    [](ZqStatedSystem& s)
    { editLeft(s, [](Manipulator& m) { linkOf(m, "label0")->addNamedPoint("new", {}); }); },
    {"+[left]/childLinks[label0]/namedPoints[new]"}},
   {"what a point is",
    [](ZqStatedSystem& s)
    {
       editLeft(s,
                [](Manipulator& m) {
                   linkOf(m, "label0")->setNamedPoints({{"elbow", ZqVector()}});
                });
    },
    {"[left]/childLinks[label0]/namedPoints[elbow]/value"}},
   {"an orientation by its sign",
    [](ZqStatedSystem& s)
    {
       editLeft(s,
                [](Manipulator& m)
                {
                   const ZqOrientation q = m.coordSysXForm().orientation();
                   m.setCoordSysXForm({m.coordSysXForm().translation(),
                                       ZqOrientation(-q.w(), -q.x(), -q.y(), -q.z())});
                });
    },
    {}},
};

/// With a sign in front where only one of the two has the element.
std::vector<std::string> told(const ZqModelDifference& difference)
{
   const std::string list = "manipulatorSystemContainer/manipulatorSystem/manipulators";
   std::vector<std::string> result;
   for (const auto& [path, first, second] : difference.entries())
      result.push_back((!first    ? "+"
                        : !second ? "-"
                                  : "") +
                       (path.starts_with(list) ? path.substr(list.size()) : path));
   return result;
}

TEST(ModelDifference, TellsEachThingOnceAndNothingElse)
{
   const ZqStatedSystem scene = twoArms();
   for (const Case& each : cases)
   {
      SCOPED_TRACE(each.name);
      ZqStatedSystem changed(scene);
      each.change(changed);
      const ZqModelDifference difference(scene, changed);
      EXPECT_EQ(told(difference), std::vector<std::string>(each.told.begin(), each.told.end()))
         << difference.text();
      EXPECT_EQ(ZqModelDifference(changed, scene).count(), each.told.size());
      EXPECT_EQ(difference.isEmpty(), each.told.empty());
   }
}

TEST(ModelDifference, TellsStatesByTheLabelsOfJoints)
{
   const ZqStatedSystem scene = twoArms();
   ZqStatedSystem changed(scene);
   ZqManipulatorSystemState state = scene.state();
   state.positionStates()[1].jointPositions()[2] = 0.25;
   state.setTime(2.0);
   changed.setState(state);
   const ZqModelDifference difference(scene, changed);
   EXPECT_EQ(told(difference),
             (std::vector<std::string>{"state/positionStates[right]/jointPositions[label2]",
                                       "state/time"}));
   EXPECT_EQ(difference.entries()[0].second, "0.25");
   EXPECT_EQ(difference.entries()[1].first, "0");
}

/// |a - b| <= tolerance + relative max(|a|, |b|), for 8 and 10.
TEST(ModelDifference, TakesNumbersAsEqualWithinTolerances)
{
   const Number a(-8.0);
   const Number b(-10.0);
   struct Tolerances
   {
      ZqReal absolute, relative;
      bool areEqual;
   };
   for (const auto& [absolute, relative, areEqual] : {Tolerances{0.0, 0.0, false},
                                                      {1.99, 0.0, false},
                                                      {2.0, 0.0, true},
                                                      {0.0, 0.19, false},
                                                      {0.0, 0.2, true},
                                                      {0.9, 0.1, false},
                                                      {1.0, 0.1, true},
                                                      {NAN, 0.0, false}})
      EXPECT_EQ(ZqModelDifference(a, b, {absolute, relative, {}, 1}).isEmpty(), areEqual)
         << absolute << ' ' << relative;
}

TEST(ModelDifference, PassesOverWhatIsIgnoredAndKeepsWithinTheLimit)
{
   const ZqStatedSystem scene = twoArms();
   ZqStatedSystem changed(scene);
   for (const ZqU32 arm : {0U, 1U})
      changed.editManipulator(arm,
                              [](Manipulator& m)
                              {
                                 setMass(m, "label1", 5.0);
                                 m.setIsFixedBase(!m.isFixedBase());
                              });
   struct Ignored
   {
      std::vector<ZqString> paths;
      std::size_t left;
   };
   for (const auto& [paths, left] : {Ignored{{}, 4},
                                     {{"mass"}, 2},
                                     {{"manipulators[left]"}, 2},
                                     {{"manipulators[left]/isFixedBase", "massProperties/mass"}, 1},
                                     {{"childLinks[label2]", "childLinks/mass", "mas"}, 4},
                                     {{"childLinks[label1]/massProperties"}, 2},
                                     {{"manipulatorSystemContainer"}, 0}})
      EXPECT_EQ(ZqModelDifference(scene, changed, {0.0, 0.0, paths, 100}).count(), left);
   const ZqModelDifference limited(scene, changed, {0.0, 0.0, {}, 3});
   EXPECT_EQ(limited.count(), 4U);
   EXPECT_EQ(limited.entries().size(), 3U);
}

TEST(ModelDifference, OfWhatCannotBeWrittenIsNone)
{
   const zqTest::LogCapture log;
   const Number number(1.0);
   for (const ZqReal other : {ZqReal(NAN), ZqReal(INFINITY)})
   {
      const ZqModelDifference difference(number, Number(other));
      EXPECT_FALSE(difference.isValid() || difference.isEmpty());
   }
   EXPECT_FALSE(log.empty());
   EXPECT_EQ(ZqModelDifference(number, ZqStatedSystem()).count(), 1U); // another class
}

TEST(MotionDifference, FindsWhatMovesOtherwise)
{
   const ZqStatedSystem scene = twoArms();
   const auto between = [&](const ZqStatedSystem& other) {
      return ZqMotionDifference::between(scene, other, {20, 3});
   };
   EXPECT_TRUE(between(ZqStatedSystem(scene)).isWithin(1e-15));

   ZqStatedSystem heavier(scene);
   editLeft(heavier, [](Manipulator& m)
            { setMass(m, "label3", m.linkByIndex(3)->baseMassProperties().mass() / 2.0); });
   const ZqMotionDifference masses = between(heavier);
   EXPECT_EQ(masses.position.value, 0.0);
   EXPECT_EQ(masses.mass.place, "left/label3");
   EXPECT_GT(masses.mass.value, 0.01);
   EXPECT_GT(masses.acceleration.value, 1e-3);
   EXPECT_FALSE(masses.isWithin(1e-3));

   // A link with another primary frame, with all that is in it where it was: only the frame is elsewhere.
   ZqStatedSystem moved(scene);
   editLeft(moved,
            [](Manipulator& m)
            {
               ZqManipulatorLink& link = *linkOf(m, "label1");
               const ZqCoordinateSystemTransformation X(ZqVector(0.0, 3e-3, 4e-3),
                                                        ZqOrientation::zRotation(0.1));
               link.transformComponentsBy(X.inverse());
               link.setPrimaryFrame(link.primaryFrame() * X);
            });
   const ZqMotionDifference frames = between(moved);
   EXPECT_NEAR(frames.position.value, 5e-3, 1e-14);
   EXPECT_NEAR(frames.orientation.value, 0.1, 1e-14);
   EXPECT_EQ(frames.position.place, "left/label1");
   EXPECT_LT(frames.mass.value + frames.acceleration.value, 1e-10);
   EXPECT_TRUE(ZqMotionDifference::between(scene, moved, {20, 3, true}).isWithin(1e-10));

   ZqStatedSystem renamed(scene);
   renamed.changeLinkLabel(1, "label3", "hand");
   const ZqMotionDifference names = between(renamed);
   EXPECT_EQ(names.onlyInFirst, std::vector<ZqString>{"right/label3"});
   EXPECT_EQ(names.onlyInSecond, std::vector<ZqString>{"right/hand"});
   EXPECT_FALSE(names.isWithin(1.0));
}
} // namespace
