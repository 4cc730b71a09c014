#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"
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
   Criterion criterion = criterionOf(square);
   LogCapture log;
   EXPECT_TRUE(body.stops(criterion));
   EXPECT_FALSE(body.stops(criterion, 1)); // the number of manipulators
   for (const auto& vertices : {ZqXmlVectorVector{}, {{1, 0, 0}, {-1, 0, 0}}})
      EXPECT_FALSE(body.stops(criterionOf(vertices)));
   EXPECT_EQ(log.text(), "");
   EXPECT_FALSE(body.stops(criterion, 2));
   criterion.setReferenceLinkLabel("hand");
   EXPECT_TRUE(body.stops(criterion));
   EXPECT_EQ(log.text(),
             "ZqComPolygonalStoppingCriterion::stop()->bad index (2).\n\n"
             "ZqComPolygonalStoppingCriterion::stop()->could not find reference link with label "
             "hand.\n\nUsing system coordinates for reference.\n\n");
   body.active.setNumManipulators(0);
   EXPECT_FALSE(body.stops(criterion));
}

TEST(StoppingCriteria, FollowTheEvenOddRule)
{
   // Vertices in a line span no plane and are taken by x and y. The plane of the hexagon has its x axis.
   const Criterion none;
   const Criterion line = criterionOf({{2, -1, 7}, {2, 0, 7}, {2, 1, 7}});
   const Criterion hexagon =
      criterionOf({{5, 0, 3}, {2, 1, 3}, {-2, 1, 3}, {-5, 0, 3}, {-2, -1, 3}, {2, -1, 3}});
   const Criterion notched =
      criterionOf({{5, 0, 0}, {0, 4, 0}, {0, 1, 0}, {-5, 0, 0}, {0, -1, 0}, {0, -4, 0}});
   for (const auto& [criterion, x, y, expected] : {std::tuple{&none, 0.0, 0.0, false},
                                                   {&line, 1.0, 0.5, false},
                                                   {&line, 1.0, -1.0, false},
                                                   {&hexagon, 3.4, 0.5, true},
                                                   {&hexagon, 3.6, 0.5, false},
                                                   {&hexagon, 0.0, 1.0, false},
                                                   {&hexagon, 0.0, -1.0, true},
                                                   {&hexagon, 5.0, 0.0, false},
                                                   {&hexagon, -5.0, 0.0, true},
                                                   {&notched, 1.0, 2.0, true},
                                                   {&notched, -1.0, 2.0, false},
                                                   {&notched, -1.0, 0.5, true}})
      EXPECT_EQ(criterion->isInsidePolygon({x, y}), expected) << x << ' ' << y;
}

TEST(StoppingCriteria, TakeTheManipulatorBack)
{
   Body body({}, {0.0, 0.0, 9.8});
   ZqIndividualManipulator manipulator = *body.system.manipulatorByIndex(0);
   manipulator.setIsFixedBase(false);
   ZqStoppingCriterionVector criteria;
   criteria.pushBack(criterionOf(square, "left foot"));
   criteria.pushBack(criterionOf({{9, 9, 0}, {-9, 9, 0}, {-9, -9, 0}, {9, -9, 0}}, "never"));
   criteria.resize(3); // a place that is empty
   criteria.pushBack(criterionOf(square, "right foot"));
   manipulator.setStoppingCriteria(criteria);
   body.system.setFromManipulator(manipulator);
   ZqVelocityState velocity;
   velocity.setGeneralVelocity({{1.0, 0.0, 0.0}, {}});
   body.system.setIndividualVelocityState(0, velocity);

   // The search for collisions shows the criteria the end of the step.
   ZqStatedSystem::PropagationResults results(1);
   for (const auto& [time, x, text] :
        {std::tuple{0.75, 0.75, ""}, {1.5, 0.75, "left foot; right foot"}, {1.625, 0.875, ""}})
   {
      results[0].reset();
      body.system.propagateSelfTo(time, results, nullptr, 1, 0.0, 1, 0.0);
      const ZqManipulatorSystemState& state = body.system.state();
      EXPECT_EQ(state.positionStates()[0].coordSysXForm().translation().x(), x);
      EXPECT_TRUE(state.time() == time && state.velocityStates()[0] == velocity);
      EXPECT_EQ(results[0].satisfiedGeneralStoppingCriteriaDescription(), text);
      EXPECT_EQ(results[0].exceptionOccurred(), *text != 0);
   }
   // A simulation shows it to them without one.
   body.system.setIndividualPositionState(0, {});
   ZqSimulation simulation(body.system);
   for (const auto& [time, x, fired] : {std::tuple{2.375, 0.75, 0U}, {3.125, 0.75, 1U}})
   {
      EXPECT_TRUE(simulation.stepTo(time));
      EXPECT_EQ(simulation.state().positionStates()[0].coordSysXForm().translation().x(), x);
      EXPECT_EQ(simulation.firedCriteria().size(), fired);
   }
   EXPECT_EQ(simulation.firedCriteria()[0].description, "left foot; right foot");

   results[0].setSatisfiedGeneralStoppingCriteriaDescription("kept while the flag is down");
   results[0].setHitSingularity(true);
   results[0].reset();
   EXPECT_FALSE(results[0].exceptionOccurred());
   results[0].registerGenericStoppingCriterion("x");
   EXPECT_EQ(results[0].satisfiedGeneralStoppingCriteriaDescription(),
             "kept while the flag is down; x");
}
} // namespace
