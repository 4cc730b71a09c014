#include "support/comparison.h"
#include "support/referenceDynamics.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"

namespace
{
using zqTest::Comparison;
using zqTest::coordinates;
using zqTest::FrameMotion;
using zqTest::JetFrame;
using zqTest::RandomScene;
using zqTest::ReferenceDynamics;
using zqTest::ReferenceMotion;

/// Two arms on one base whose tips are joined, or of which one is held by its tip.
struct Loop
{
   explicit Loop(ZqU32 seed)
      : scene(seed, {{base, 0, 1, 2, base, 4, 5}, seed % 2 == 0, true, false}),
        isHeld(seed / 2 % 2 == 0), first(scene.random.vector(0.3))
   {
      ZqManipulatorActiveState state = scene.activeState();
      ZqIndividualManipulator manipulator(scene.manipulator());
      const auto frameOf = [&](const char* label) {
         return manipulator.linkByIdentifier(label)->primaryFrameInSystem(
            state.activePositionState());
      };
      second = frameOf("label3") * first;
      if (!isHeld)
         second = frameOf("label6").inverse() * second;
      ZqPointStateEqualityConstraint tips;
      tips.setFirstLinkLabel("label3");
      tips.setSecondLinkLabel(isHeld ? "environment" : "label6");
      tips.setFirstLinkPoint(first);
      tips.setSecondLinkPoint(second);
      ZqStateEqualityConstraintVector constraints;
      constraints.pushBack(tips);
      manipulator.setStateEqualityConstraints(constraints);
      scene.system.exchangeManipulator(scene.index, manipulator, scene.position, scene.velocity);
      // A base that turns would turn the gap, which these velocities open.
      scene.velocity.setGeneralVelocity({});
   }
   /// As the motion of points has it.
   ZqVector gapAcceleration(const ReferenceMotion& motion) const
   {
      const auto acceleration = [&](const char* label, const ZqVector& point)
      {
         const ZqManipulatorLink& link = *scene.manipulator().linkByIdentifier(label);
         return FrameMotion(motion.frames[ReferenceMotion::bodyOf(link)] *
                            JetFrame(link.primaryFrame()) *
                            JetFrame(ZqCoordinateSystemTransformation(point)))
            .a;
      };
      return acceleration("label3", first) - (isHeld ? ZqVector() : acceleration("label6", second));
   }
   /// A Jacobian with six columns for the base, and these last.
   ZqReArray baseLast(const ZqReArray& array) const
   {
      ZqReArray result(array.rows(), scene.jointDof() + 6);
      for (ZqU32 i = 0; i < array.rows(); ++i)
         for (ZqU32 j = 0; j < array.columns(); ++j)
            result[i][(j + scene.jointDof()) % array.columns()] = array[i][j];
      return result;
   }
   ZqReArray jacobian() const
   {
      return baseLast(scene.manipulator().stateEqualityConstraints().jacobian(scene.manipulator(),
                                                                              scene.position));
   }
   static constexpr ZqU32 base = zqTest::onBase;
   RandomScene scene;
   bool isHeld;
   ZqVector first, second; ///< in the primary frames of their links, or the second in the system
};

TEST(ConstraintTruth, ForcesOfConstraintsKeepLoopsClosedAndActAlongThem)
{
   ZqCrbiAccelerationTool tool;
   for (ZqU32 seed = 0; seed < 60; ++seed)
   {
      SCOPED_TRACE(seed);
      Loop loop(seed);
      RandomScene& scene = loop.scene;
      ZqManipulatorActiveState state = scene.activeState();
      ZqManipulatorTorque torque(scene.torque);
      ZqAccelerationState a;
      a.setJointAccelerations(scene.randomReals(scene.jointDof(), 3.0));
      if (seed / 4 % 2 == 0)
         tool.acceleration(scene.system, scene.manipulator(), torque, scene.external, a, state,
                           true);
      else
      {
         // The first arm alone has joints enough to heed the constraint.
         const std::vector<bool> mask{
            true, true, true, true, scene.driveOf(4) == nullptr, scene.driveOf(5) == nullptr};
         tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.external, mask,
                                       torque, a, state, true);
         a.generalAcceleration().transformBy(scene.baseAxes());
      }

      Comparison compare;
      const ReferenceMotion motion(
         scene, coordinates(scene.velocity),
         coordinates(a.jointAccelerations().values(), a.generalAcceleration()));
      for (const ReferenceMotion::Point& point : motion.points)
         compare.scale("gap", point.a.mag());
      compare("gap", loop.gapAcceleration(motion).mag(), 0.0);

      // The forces that are missing are those of multipliers.
      const ReferenceDynamics::Balance balance = ReferenceDynamics(scene).balance(a, torque);
      ZqReArray missing(scene.jointDof() + 6, 1);
      for (std::size_t i = 0; i < missing.rows(); ++i)
         missing[i][0] = balance.asked[i] - balance.given[i];
      const ZqReArray G = loop.jacobian();
      ZqReArray factor;
      ZqReArray multipliers;
      EXPECT_TRUE((G * G.transpose()).choleskyFactor(factor));
      factor.choleskySolve(G * missing, multipliers);
      compare("forces", G.transpose() * multipliers, missing);
      // The rate of the Jacobian is a difference over 1e-8 s.
      compare.expectWithin(1e-6L);
   }
}

} // namespace
