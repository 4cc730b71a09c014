#include "support/comparison.h"
#include "support/referenceDynamics.h"

namespace
{
using zqTest::Comparison;
using zqTest::coordinates;
using zqTest::FrameMotion;
using zqTest::JetFrame;
using zqTest::RandomScene;
using zqTest::ReferenceMotion;
using Point = ReferenceMotion::Point;

/// Compares all that a link, or the base, is asked about its motion.
class LinkComparison
{
public:
   LinkComparison(Comparison& compare, const RandomScene& scene, const ReferenceMotion& motion,
                  const ZqManipulatorLink& link, ZqManipulatorActiveState& state)
      : m_compare(compare), m_motion(motion), m_first(ReferenceMotion::bodyOf(link)),
        m_frame(motion.frames[m_first])
   {
      const ZqStatedSystemStruct structure = scene.structure();
      const FrameMotion primary(motion.frames[m_first] * JetFrame(link.primaryFrame()));
      const Point& center = motion.centers[m_first];
      compareFrame(link.dhFrameInSystem(state.activePositionState()), m_frame);
      compareFrame(link.primaryFrameInSystem(state.activePositionState()), primary);
      inSystem("velocity", link.dhFrameVelocityInSystem(state), m_frame.v, m_frame.w);
      inSystem("velocity", link.primaryFrameVelocityInSystem(state), primary.v, primary.w);
      inLocal("velocity", link.dhFrameVelocityInLocal(state), m_frame.v, m_frame.w);
      inLocal("velocity", link.comVelocityInLocal(state, &structure), center.v, m_frame.w);
      inLocal("acceleration", link.dhFrameAccelerationInLocal(state), m_frame.a, m_frame.alpha);
      inLocal("acceleration", link.comAccelerationInLocal(state, &structure), center.a,
              m_frame.alpha);

      // Angular momenta are about the center of mass of each body.
      const auto momentum = [](const Point& p) { return p.v; };
      const auto force = [](const Point& p) { return p.a; };
      const auto arm = [&](const Point& p) { return p.x - motion.centers[p.body].x; };
      const auto spin = [&](const Point& p) { return arm(p).cross(p.v); };
      const auto spinRate = [&](const Point& p) { return arm(p).cross(p.a); };
      inLocal("momentum", link.spatialMomentumInLocal(state, &structure), sum(momentum), sum(spin));
      inLocal("rate of momentum", link.spatialMomentumRateInLocal(state, &structure), sum(force),
              sum(spinRate));
      m_count = link.subtreeLinkCount();
      inLocal("momentum", link.compositeSpatialMomentumInLocal(state, &structure), sum(momentum),
              sum(spin));
      inLocal("rate of momentum", link.compositeSpatialMomentumRateInLocal(state, &structure),
              sum(force), sum(spinRate));
      ZqVector moment;
      const ZqVector point(1.0, -0.5, 0.25);
      EXPECT_TRUE(link.computeMomentFromLinearAcceleration(point, state, moment, &structure));
      const auto ofCenter = [&](const Point& p)
      { return (motion.centers[p.body].x - point).cross(motion.centers[p.body].a); };
      inSystem("moment", ZqGeneralForce({}, moment), {}, sum(ofCenter));

      const auto lever = [&](const Point& p) { return p.x - m_frame.p; };
      const ZqRigidBodyMassProperties& body = link.crbi(state, &structure);
      const ZqVector axis(0.3, -0.8, 0.5);
      const ZqVector w = m_frame.toSystem(axis);
      inLocal("composite body", ZqGeneralForce(body.firstMoment(), body.secondMoment() * axis),
              sum(lever), sum([&](const Point& p) { return lever(p).cross(w.cross(lever(p))); }));
      compare("mass", ZqReal(body.mass()),
              sum([](const Point&) { return ZqVector(1.0, 0.0, 0.0); }).x());

      ZqVector linear = sum(force);
      ZqVector angular = sum([&](const Point& p) { return lever(p).cross(p.a); });
      for (std::size_t i = m_first; i < m_first + m_count; ++i)
      {
         const FrameMotion at(motion.frames[i]);
         const ZqGeneralForce& applied =
            scene.external[i == 0 ? ZqBaseLinkIndex : static_cast<ZqU32>(i - 1)];
         const ZqVector f = at.toSystem(applied.force());
         linear = linear - f;
         angular = angular - at.toSystem(applied.moment()) - (at.p - m_frame.p).cross(f);
      }
      inLocal("force", link.dhFrameForceInLocal(scene.external, state, &structure), linear,
              angular);
   }

private:
   /// Of something times mass, over the points of the link, later of its subtree.
   template <class Summand>
   ZqVector sum(const Summand& summand) const
   {
      ZqVector total;
      for (const Point& p : m_motion.points)
         if (p.body >= m_first && p.body < m_first + m_count)
            total += summand(p) * p.mass;
      return total;
   }
   template <class Spatial>
   void inSystem(const char* name, const Spatial& value, const ZqVector& linear,
                 const ZqVector& angular) const
   {
      const ZqGeneralMotion expected(linear, angular);
      for (std::size_t i = 0; i < 6; ++i)
         m_compare(name, value[i], expected[i]);
   }
   template <class Spatial>
   void inLocal(const char* name, const Spatial& value, const ZqVector& linear,
                const ZqVector& angular) const
   {
      inSystem(name, value, m_frame.toLocal(linear), m_frame.toLocal(angular));
   }
   void compareFrame(const ZqCoordinateSystemTransformation& X, const FrameMotion& expected) const
   {
      inSystem("frame", ZqGeneralMotion(X.translation(), X.orientation().xAxis()), expected.p,
               expected.axes[0]);
      inSystem("frame", ZqGeneralMotion(X.translation(), X.orientation().yAxis()), expected.p,
               expected.axes[1]);
   }

   Comparison& m_compare;
   const ReferenceMotion& m_motion;
   std::size_t m_first;
   std::size_t m_count = 1;
   FrameMotion m_frame;
};

TEST(LinkMotionTruth, QueriesFollowFromThePointsOfMass)
{
   for (ZqU32 seed = 0; seed < 300; ++seed)
   {
      SCOPED_TRACE(seed);
      RandomScene scene(seed);
      ZqManipulatorActiveState state = scene.activeState();
      ZqAccelerationState acceleration;
      acceleration.setJointAccelerations(scene.randomReals(scene.jointDof(), 2.0));
      acceleration.setGeneralAcceleration(zqTest::randomMotion(scene.random) * 5.0);
      state.setAccelerationState(acceleration);
      const ReferenceMotion motion(scene, coordinates(scene.velocity),
                                   coordinates(acceleration.jointAccelerations().values(),
                                               acceleration.generalAcceleration()));
      Comparison compare;
      for (const ZqManipulatorLink* link : zqTest::inPreorder(scene.manipulator()))
         LinkComparison(compare, scene, motion, *link, state);
      ZqReal energy = 0.0;
      for (const Point& p : motion.points)
         energy += p.mass * p.v.magSquared() / 2.0;
      if (!scene.manipulator().isFixedBase())
         compare("kinetic energy", scene.manipulator().computeKineticEnergy(state, nullptr),
                 energy);
      compare.expectWithin(1e-12L);
   }
}
} // namespace
