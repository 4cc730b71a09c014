#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/kinematics/ZqStatedSystem.h"
#include "zqManipulator/simulation/ZqComPolygonalStoppingCriterion.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

namespace
{
using Criterion = ZqComPolygonalStoppingCriterion;
using Frame = ZqCoordinateSystemTransformation;
using zqTest::LogCapture;

const ZqXmlVectorVector square{{1, 1, 0}, {-1, 1, 0}, {-1, -1, 0}, {1, -1, 0}};

Criterion criterionOf(const ZqXmlVectorVector& vertices, const ZqString& text = "tips over")
{
   Criterion criterion;
   criterion.setPolygonVertices(vertices);
   criterion.setDescriptiveText(text);
   return criterion;
}

/// A point of mass in the base of a manipulator that stands in a frame, with gravity.
struct Body
{
   Body(const ZqVector& center, const ZqVector& up, const Frame& frame = {})
   {
      ZqIndividualManipulator manipulator;
      manipulator.setLinkLabel("foot");
      auto mass = ZqRigidBodyMassProperties::pointMass(2.5);
      manipulator.setMassProperties(mass.transformBy(center));
      system.setFromManipulator(manipulator);
      system.setIndividualCoordinateSystemTransformation(0, frame);
      ZqSystemEnvironment environment;
      environment.setUpGravityVector(frame.orientation() * up);
      system.setEnvironment(environment);
      active.setNonredundantState(system.state());
   }
   bool stops(const Criterion& criterion, ZqU32 index = 0)
   {
      result.reset();
      const bool stops = criterion.stop(active, system, 0.0, index, result);
      EXPECT_EQ(result.hitGeneralStoppingCriterion(), stops);
      EXPECT_EQ(result.satisfiedGeneralStoppingCriteriaDescription(),
                stops ? criterion.descriptiveText() : "");
      return stops;
   }

   ZqStatedSystem system;
   ZqSystemActiveState active;
   ZqPropagationResultData result;
};

TEST(StoppingCriteria, ProjectTheCenterOfMassAlongGravity)
{
   zqTest::RandomValues random(61);
   int stopped = 0;
   for (int i = 0; i < 300; ++i)
   {
      // Before it is turned, the square lies in z = 0, where the answer is plain.
      const ZqVector center = random.vector(1.5);
      const ZqVector up(random.real(), random.real(), random.real(0.5, 9.8));
      const ZqVector point = center - up * (center.z() / up.z());
      const bool expected = std::abs(point.x()) > 1.0 || std::abs(point.y()) > 1.0;
      stopped += expected ? 1 : 0;

      const Frame frame = zqTest::randomFrame(random);
      Body body(center, up, frame);
      ZqXmlVectorVector vertices;
      for (ZqU32 j = 0; j < 4; ++j) // in either direction, from any vertex
         vertices.pushBack(frame * square[(i % 2 == 0 ? j : 4 - j) % 4]);
      EXPECT_EQ(body.stops(criterionOf(vertices)), expected) << i;

      Criterion onLink = criterionOf(square);
      onLink.setReferenceLinkLabel("foot");
      Criterion read;
      EXPECT_TRUE(zqTest::readFrom(read, zqTest::written(onLink)));
      EXPECT_EQ(body.stops(read), expected) << i;
   }
   EXPECT_TRUE(stopped > 50 && stopped < 250);
}

TEST(StoppingCriteria, ReportWhatTheyCannotFind)
{
   Body body({0.5, 0.25, 3.0}, {0.0, 0.0, 9.8}, Frame(ZqVector(5.0, 0.0, 0.0)));
   const Criterion criterion = criterionOf(square);
   LogCapture log;
   EXPECT_TRUE(body.stops(criterion));
   for (const auto& vertices : {ZqXmlVectorVector{}, {{1, 0, 0}, {-1, 0, 0}}})
      EXPECT_FALSE(body.stops(criterionOf(vertices)));
   EXPECT_FALSE(body.stops(criterion, 1));
   EXPECT_EQ(log.text(), "");
   EXPECT_FALSE(body.stops(criterion, 2));
   EXPECT_EQ(log.text(), "ZqComPolygonalStoppingCriterion::stop()->bad index (2).\n\n");
   log.clear();
   Criterion lost = criterion;
   lost.setReferenceLinkLabel("foot");
   EXPECT_FALSE(body.stops(lost));
   lost.setReferenceLinkLabel("hand");
   EXPECT_TRUE(body.stops(lost));
   EXPECT_EQ(log.text(),
             "ZqComPolygonalStoppingCriterion::stop()->could not find reference link with label "
             "hand.\n\nUsing system coordinates for reference.\n\n");
   body.active.setNumManipulators(0);
   EXPECT_FALSE(body.stops(criterion));
}

TEST(StoppingCriteria, FollowTheEvenOddRule)
{
   // Vertices in a line span no plane: they are taken as they are.
   const auto isInside = [](const ZqXmlVectorVector& vertices, ZqReal x, ZqReal y) {
      return criterionOf(vertices).isInsidePolygon({x, y});
   };
   EXPECT_FALSE(isInside({}, 0.0, 0.0));
   const ZqXmlVectorVector line{{2, -1, 7}, {2, 0, 7}, {2, 1, 7}};
   for (const ZqReal y : {-1.0, 0.5, 0.999})
      EXPECT_FALSE(isInside(line, 1.0, y)); // it is crossed twice

   // In its own plane, the square has its corners on the axes, at (1, 0) the first one.
   const ZqReal r = std::sqrt(2.0);
   const ZqXmlVectorVector diamond{{r, 0, 0}, {0, r, 0}, {-r, 0, 0}, {0, -r, 0}};
   EXPECT_TRUE(isInside(diamond, 0.0, 0.0));
   EXPECT_TRUE(isInside(diamond, 0.7, 0.7));
   EXPECT_FALSE(isInside(diamond, 0.72, 0.72));

   // A lower edge belongs to the polygon, an upper one does not; nor does a notch.
   Criterion criterion = criterionOf({{0, -1, 0}, {4, -1, 0}, {4, 1, 0}, {0, 1, 0}});
   const bool upward = criterion.isInsidePolygon({0.0, 0.0});
   EXPECT_TRUE(upward);
   const ZqXmlVectorVector notched{{-3, -3, 0}, {3, -3, 0}, {3, 3, 0}, {0, 0, 0}, {-3, 3, 0}};
   Body notch({0.0, 1.0, 0.0}, {0.0, 0.0, 1.0});
   EXPECT_TRUE(notch.stops(criterionOf(notched)));
   EXPECT_FALSE(Body({0.0, -1.0, 0.0}, {0.0, 0.0, 1.0}).stops(criterionOf(notched)));
}

TEST(StoppingCriteria, TakeTheManipulatorBack)
{
   const ZqVector up{0.0, 0.0, 9.8};
   Body body({}, up);
   ZqIndividualManipulator manipulator = *body.system.manipulatorByIndex(0);
   manipulator.setIsFixedBase(false);
   ZqStoppingCriterionVector criteria;
   for (const char* text : {"left foot", "right foot"})
      criteria.pushBack(criterionOf(square, text));
   criteria.resize(3); // a place that is empty
   ZqXmlVectorVector wide = square;
   for (ZqVector& vertex : wide)
      vertex *= 10.0;
   criteria.pushBack(criterionOf(wide, "never"));
   manipulator.setStoppingCriteria(criteria);
   ZqStatedSystem system;
   system.setFromManipulator(manipulator);
   system.setEnvironment(body.system.environment());
   ZqVelocityState velocity;
   velocity.setGeneralVelocity({{1.0, 0.0, 0.0}, {}});
   system.setIndividualVelocityState(0, velocity);

   // Criteria see the active state: here that of the end of the step.
   ZqStatedSystem::PropagationResults results;
   for (const auto& [time, x] : {std::pair{0.75, 0.75}, {1.5, 0.75}, {1.625, 0.875}})
   {
      results.resize(1);
      results[0].reset();
      system.propagateSelfTo(time, results, nullptr, 1, 0.0, 1, 0.0);
      EXPECT_EQ(system.state().positionStates()[0].coordSysXForm().translation().x(), x);
      EXPECT_EQ(system.state().time(), time);
      EXPECT_TRUE(system.state().velocityStates()[0] == velocity);
      EXPECT_EQ(results[0].exceptionOccurred(), time == 1.5);
      EXPECT_EQ(results[0].satisfiedGeneralStoppingCriteriaDescription(),
                time == 1.5 ? "left foot; right foot" : "");
   }
   results[0].setSatisfiedGeneralStoppingCriteriaDescription("kept while the flag is down");
   results[0].reset();
   results[0].registerGenericStoppingCriterion("x");
   EXPECT_EQ(results[0].satisfiedGeneralStoppingCriteriaDescription(),
             "kept while the flag is down; x");
}
} // namespace
