#include "support/comparison.h"
#include "support/referenceDynamics.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

namespace
{
using zqTest::Comparison;
using zqTest::coordinates;
using zqTest::Coordinates;
using zqTest::FrameMotion;
using zqTest::JetFrame;
using zqTest::RandomScene;
using zqTest::ReferenceDynamics;
using zqTest::ReferenceMotion;
using zqTest::SceneKind;

/// The loop of an application, on the position and velocity of a scene: without commands, and without
/// forces from outside.
class Simulation
{
public:
   explicit Simulation(RandomScene& scene) : m_scene(scene)
   {
      m_scene.velocity.jointVelocities().resize(m_scene.jointDof());
      m_scene.system.setIndividualVelocityState(m_scene.index, m_scene.velocity);
      solve();
   }
   /// Takes the accelerations on, and finds the next ones.
   void step(ZqReal dt)
   {
      state().setAccelerationState(m_acceleration);
      m_scene.system.propagateSelfTo(m_scene.system.state().time() + dt, m_results, &m_active);
      solve();
   }
   void run(ZqReal dt, ZqReal duration)
   {
      while (m_scene.system.state().time() < duration - dt / 2.0)
         step(dt);
   }
   ZqManipulatorActiveState& state()
   {
      return m_active.manipulatorActiveStateVector()[m_scene.index];
   }
   const ZqAccelerationState& acceleration() const { return m_acceleration; }

private:
   void solve()
   {
      const ZqManipulatorSystemState& now = m_scene.system.state();
      m_scene.position = now.positionStates()[m_scene.index];
      m_scene.velocity = now.velocityStates()[m_scene.index];
      m_active.setNonredundantState(now);
      m_scene.prepare(state());
      m_tool.acceleration(m_scene.system, m_scene.manipulator(), m_noTorque, m_noForce,
                          m_acceleration, state(), true);
   }

   RandomScene& m_scene;
   ZqSystemActiveState m_active;
   ZqStatedSystem::PropagationResults m_results;
   ZqCrbiAccelerationTool m_tool;
   ZqManipulatorTorque m_noTorque;
   ZqManipulatorExternalForce m_noForce;
   ZqAccelerationState m_acceleration;
};

SceneKind passiveChain(ZqU32 links, bool isFixedBase)
{
   return {zqTest::chain(links), isFixedBase, true, false};
}

/// The energy of a chain on which all springs feel their own joint alone.
ZqReal energy(const RandomScene& scene, ZqManipulatorActiveState& state)
{
   ZqReal sum = scene.kineticEnergy(state) + scene.potentialEnergy(state);
   for (ZqU32 i = 0; i < scene.jointDof(); ++i)
   {
      const ZqSpringProperties& spring = scene.link(i).springProperties();
      for (ZqU32 k = 0; k < spring.springOffsets().size(); ++k)
         sum += spring.springConstant() * spring.weightingFactors()[k] / 2.0 *
                std::pow(scene.position.jointPositions()[i] - spring.springOffsets()[k], 2);
   }
   return sum;
}

/// How the energy of a chain on a fixed base changes over 10 s, and what theory says of it.
///
/// A step h of semi-implicit Euler is, to the second order, the flow of q' = qd + h qdd / 2,
/// qd' = qdd - h qddd / 2 (backward error analysis: Hairer, Lubich, Wanner 2006, ch. IX). Along it the
/// energy changes by h times the integral of qdd dT/dq, less h / 2 times the change of qdd dT/dqd, with
/// the kinetic energy T.
struct EnergyDrift
{
   EnergyDrift(ZqU32 seed, ZqReal h)
   {
      RandomScene scene(seed, passiveChain(3, true));
      scene.velocity = {};
      Simulation simulation(scene);
      ZqManipulatorActiveState probe;
      // T with positions and rates moved along the accelerations.
      const auto kineticEnergy = [&](ZqReal position, ZqReal rate)
      {
         ZqPositionState q(scene.position);
         ZqVelocityState qd;
         qd.setJointVelocities(simulation.acceleration().jointAccelerations());
         scene.manipulator().propagateState(qd, position, q);
         qd = scene.velocity;
         scene.manipulator().propagateVelocityState(simulation.acceleration(), rate, qd);
         probe.setPositionState(q);
         probe.setVelocityState(qd);
         return scene.kineticEnergy(probe);
      };
      const auto alongPosition = [&]
      { return (kineticEnergy(1e-5, 0.0) - kineticEnergy(-1e-5, 0.0)) / 2e-5; };
      const auto alongRate = [&]
      { return (kineticEnergy(0.0, 1.0) - kineticEnergy(0.0, -1.0)) / 2.0; };

      const ZqReal start = energy(scene, simulation.state());
      constexpr ZqReal sampling = 5e-3;
      foretold = (alongRate() + alongPosition() * sampling) * h / 2.0;
      for (int i = 1; i <= 2000; ++i)
      {
         simulation.run(h, i * sampling);
         foretold += alongPosition() * h * sampling;
         largest = std::max(largest, std::abs(energy(scene, simulation.state()) - start));
      }
      foretold -= (alongRate() + alongPosition() * sampling) * h / 2.0;
      atEnd = energy(scene, simulation.state()) - start;
   }

   ZqReal largest = 0.0;
   ZqReal atEnd = 0.0;
   ZqReal foretold = 0.0; ///< at the end
};

TEST(SimulationTruth, EnergyOfPassiveChainsDriftsAsForetoldAndInProportionToTheStep)
{
   for (ZqU32 seed = 0; seed < 6; ++seed)
   {
      SCOPED_TRACE(seed);
      const EnergyDrift coarse(seed, 1e-3);
      const EnergyDrift fine(seed, 5e-4);
      for (const EnergyDrift& drift : {coarse, fine})
         EXPECT_NEAR(drift.atEnd, drift.foretold, 0.02 * drift.largest);
      EXPECT_NEAR(coarse.largest / fine.largest, 2.0, 0.05);
   }
}

/// Linear momentum, and angular momentum about the origin of the system.
ZqGeneralMotion momentum(const RandomScene& scene, ZqManipulatorActiveState& state)
{
   ZqGeneralMotion sum;
   for (const ZqManipulatorLink* link : zqTest::inPreorder(scene.manipulator()))
   {
      const ZqCoordinateSystemTransformation X = link->dhFrameInSystem(state.activePositionState());
      const ZqGeneralMotion own = X.orientation() * link->spatialMomentumInLocal(state, nullptr);
      ZqVector center;
      link->massPropertiesInDHFrame().getCenterOfMass(center);
      sum += own + ZqGeneralMotion({}, (X * center).cross(own.linear()));
   }
   return sum;
}

TEST(SimulationTruth, MomentumAndEnergyOfFreeChainsChangeInProportionToTheStep)
{
   for (ZqU32 seed = 0; seed < 5; ++seed)
   {
      SCOPED_TRACE(seed);
      ZqReal change[2][2] = {};
      for (const int k : {0, 1})
      {
         RandomScene scene(seed, passiveChain(4, false));
         scene.gravity = {};
         Simulation simulation(scene);
         const ZqGeneralMotion momentumAtStart = momentum(scene, simulation.state());
         const ZqReal energyAtStart = energy(scene, simulation.state());
         for (int i = 1; i <= 20; ++i)
         {
            simulation.run(k == 0 ? 1e-3 : 1e-4, i * 0.05);
            const ZqGeneralMotion d = momentum(scene, simulation.state()) - momentumAtStart;
            change[k][0] = std::max({change[k][0], d.linear().mag(), d.angular().mag()});
            change[k][1] =
               std::max(change[k][1], std::abs(energy(scene, simulation.state()) - energyAtStart));
         }
      }
      EXPECT_NEAR(change[0][0] / change[1][0], 10.0, 1.0);
      EXPECT_NEAR(change[0][1] / change[1][1], 10.0, 1.0);
   }
}

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
   ZqReArray jacobianDerivative() const
   {
      return baseLast(scene.manipulator().stateEqualityConstraints().jacobianDerivative(
         scene.manipulator(), scene.position, scene.velocity));
   }

   static constexpr ZqU32 base = zqTest::onBase;
   RandomScene scene;
   bool isHeld;
   ZqVector first, second; ///< in the primary frames of their links, or the second in the system
};

TEST(SimulationTruth, ForcesOfConstraintsKeepLoopsClosedAndActAlongThem)
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

TEST(SimulationTruth, LoopsStayClosedInEachStep)
{
   for (ZqU32 seed = 0; seed < 12; ++seed)
   {
      SCOPED_TRACE(seed);
      Loop loop(seed);
      Simulation simulation(loop.scene);
      Comparison compare;
      for (ZqU32 step = 0; step < 200; ++step)
      {
         const ZqAccelerationState& acceleration = simulation.acceleration();
         const Coordinates a = coordinates(acceleration.jointAccelerations().values(),
                                           acceleration.generalAcceleration());
         const Coordinates ofAcceleration = loop.jacobian() * a;
         const Coordinates ofVelocity =
            loop.jacobianDerivative() * coordinates(loop.scene.velocity);
         for (std::size_t i = 0; i < 3; ++i)
            compare("gap", ofAcceleration[i], -ofVelocity[i]);
         simulation.step(1e-3);
      }
      compare.expectWithin(1e-10L);
   }
}
} // namespace
