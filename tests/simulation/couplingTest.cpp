#include "support/allocationCount.h"
#include "support/contactScene.h"
#include "support/logCapture.h"
#include "support/randomScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace
{
using zqTest::RandomScene;
using zqTest::RandomValues;
using Integrator = ZqSimulation::Integrator;
using Solver = ZqSimulation::Solver;

ZqSimulation::Settings couplingSettings(Integrator integrator, Solver solver = Solver::Crbi)
{
   ZqSimulation::Settings settings;
   settings.integrator = integrator;
   settings.solver = solver;
   return settings;
}

constexpr Integrator everyIntegrator[] = {Integrator::SemiImplicitEuler,
                                          Integrator::ImplicitMidpoint, Integrator::RungeKutta};

void setGravity(ZqStatedSystem& scene, const ZqVector& up)
{
   ZqSystemEnvironment environment;
   environment.setUpGravityVector(up);
   scene.setEnvironment(environment);
}

/// Puts a changed manipulator in the place of one, as that is and moves.
void exchange(ZqStatedSystem& scene, ZqU32 index, ZqIndividualManipulator& model)
{
   model.setManipulatorLabel("changed " + std::to_string(index));
   const ZqManipulatorSystemState state = scene.state();
   scene.exchangeManipulator(index, model, state.positionStates()[index],
                             state.velocityStates()[index]);
}

/// Manipulators on each other, in motion.
struct Forest
{
   struct Hanging
   {
      ZqU32 manipulator, carrier;
      ZqString link;
      ZqCoordinateSystemTransformation offset;
   };

   explicit Forest(ZqU32 seed) : random(seed)
   {
      const ZqU32 count = random.index(2, 5);
      for (ZqU32 i = 0; i < count; ++i)
      {
         const ZqU32 links = random.index(i == 0 ? 1 : 0, 5);
         const bool isFixed = random.index(0, 2) == 0;
         RandomScene one(100 * seed + i, {zqTest::randomTree(random, links), isFixed, true, true});
         ZqIndividualManipulator model(one.manipulator());
         model.setManipulatorLabel("m" + std::to_string(i));
         scene.addManipulator(model, one.position, one.velocity);
         // One more that shares its model.
         if (random.index(0, 2) == 0)
         {
            model.setManipulatorLabel("m" + std::to_string(i) + " again");
            scene.addManipulator(model, one.position, one.velocity);
         }
      }
      scene.findAndConvertToReferences();
      setGravity(scene, random.unitVector() * 9.8);
   }
   /// Most hang on another one, the first on none.
   void hang()
   {
      for (ZqU32 i = 1; i < scene.numberOfManipulators(); ++i)
      {
         if (random.index(0, 5) == 0)
            continue;
         const ZqU32 carrier = random.index(0, i - 1);
         const auto& links = scene.system().manipulators()[carrier].linkPointerVector();
         const ZqU32 link = random.index(0, static_cast<ZqU32>(links.size()));
         const ZqString label = link < links.size()
                                   ? links[link]->linkLabel()
                                   : scene.system().manipulators()[carrier].linkLabel();
         hanging.push_back(
            {i, carrier, label, zqTest::randomFrame(random, random.index(0, 3), 0.5)});
         EXPECT_TRUE(scene.configuration().attachmentMap().attachManipulator(
            i, carrier, label, hanging.back().offset, "held"));
      }
   }

   RandomValues random;
   ZqStatedSystem scene;
   std::vector<Hanging> hanging; ///< carriers before what they carry
};

/// What the equations of Newton and Euler leave over, link by link from the tips on, where each manipulator is asked by
/// itself: of torques at the joints, and of the force on bases that nothing holds. What a base that is carried needs
/// besides goes to the link that carries it.
ZqReal residualOf(ZqSimulation& simulation, const Forest& forest)
{
   auto& states = simulation.present().manipulatorActiveStateVector();
   const auto& manipulators = simulation.system().manipulators();
   std::vector<ZqManipulatorExternalForce> forces;
   std::vector<ZqManipulatorActiveState> active;
   for (ZqU32 i = 0; i < manipulators.size(); ++i)
   {
      active.push_back(states[i]);
      ZqAccelerationState acceleration = states[i].accelerationState();
      acceleration.generalAcceleration() +=
         ZqGeneralMotion(simulation.system().environment().upGravityVector(), {});
      active[i].setAccelerationState(acceleration);
      forces.emplace_back();
      forces[i].resize(manipulators[i].jointDof());
      forces[i].setBaseForce(simulation.externalForce({i, ZqBaseLinkIndex}));
      for (ZqU32 j = 0; j < manipulators[i].jointDof(); ++j)
         forces[i][j] = simulation.externalForce({i, j});
   }
   ZqReal residual = 0.0;
   ZqTotalTorqueTool tool;
   tool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   for (ZqU32 i = manipulators.size(); i-- > 0;)
   {
      const ZqIndividualManipulator& manipulator = manipulators[i];
      tool.setManipulator(&manipulator);
      ZqManipulatorTorque left = tool.torques(forces[i], active[i], nullptr);
      const ZqCoordinateSystemTransformation X =
         manipulator.dhFrameInSystem(active[i].activePositionState());
      const ZqReArray lambda = simulation.constraintForces(i);
      ZqConstraintKinematics kinematics;
      manipulator.stateEqualityConstraints().getKinematics(manipulator, active[i], kinematics);
      const ZqU32 base = manipulator.isFixedBase() ? 0 : 6;
      ZqGeneralForce onBase;
      for (ZqU32 row = 0; row < lambda.rows(); ++row)
      {
         ZqReal rate = kinematics.bias[row][0];
         const ZqGeneralMotion A = states[i].accelerationState().generalAcceleration();
         for (ZqU32 k = 0; k < base; ++k)
         {
            onBase.setScalarValue(k, onBase[k] + kinematics.jacobian[row][k] * lambda[row][0]);
            rate += kinematics.jacobian[row][k] * A[k];
         }
         for (ZqU32 j = 0; j < manipulator.jointDof(); ++j)
         {
            left.jointTorques()[j] -= kinematics.jacobian[row][base + j] * lambda[row][0];
            rate += kinematics.jacobian[row][base + j] *
                    states[i].accelerationState().jointAccelerations()[j];
         }
         residual = std::max(residual, std::abs(rate));
      }
      for (ZqU32 j = 0; j < manipulator.jointDof(); ++j)
         residual = std::max(residual, std::abs(left.jointTorques()[j] -
                                                states[i].actuatorState().outputTorques()[j]));
      const ZqGeneralForce needed = left.generalForce() - X.orientation().inverse() * onBase;
      const auto hanging =
         std::find_if(forest.hanging.begin(), forest.hanging.end(),
                      [&](const Forest::Hanging& each) { return each.manipulator == i; });
      if (hanging == forest.hanging.end())
      {
         for (ZqU32 k = 0; k < 6 && !manipulator.isFixedBase(); ++k)
            residual = std::max(residual, std::abs(needed[k]));
         continue;
      }
      const ZqU32 carrier = hanging->carrier;
      const ZqManipulatorLink& link = *manipulators[carrier].linkByIdentifier(hanging->link);
      const ZqU32 place = manipulators[carrier].linkIndexByIdentifier(hanging->link);
      const ZqCoordinateSystemTransformation offset = link.primaryFrame() * hanging->offset;
      forces[carrier][place] -= offset * needed;
      // The base accelerates with the link.
      ZqLinkAttachment attachment;
      attachment.setManipulatorId(carrier);
      attachment.setLinkId(hanging->link);
      attachment.setFrame(hanging->offset);
      ZqXmlVectorBasicType<ZqReal> numbers;
      attachment.calculateAcceleration(manipulators[carrier], active[carrier], numbers, 0);
      for (ZqU32 k = 0; k < 6; ++k)
         residual =
            std::max(residual,
                     std::abs(numbers[k] - active[i].accelerationState().generalAcceleration()[k]));
   }
   return residual;
}

/// Relations in which bases take part, and points in the environment.
void constrain(Forest& forest)
{
   RandomValues& random = forest.random;
   for (ZqU32 i = 0; i < forest.scene.numberOfManipulators(); ++i)
   {
      ZqIndividualManipulator model(forest.scene.system().manipulators()[i].concreteReference());
      ZqStateEqualityConstraintVector constraints;
      ZqLinearStateEqualityConstraint linear;
      const auto weights = [&](ZqU32 count)
      {
         ZqXmlVectorBasicType<ZqReal> result;
         for (ZqU32 k = 0; k < count; ++k)
            result.pushBack(random.real());
         return result;
      };
      linear.setJointWeights({weights(model.jointDof())});
      linear.setBaseWeights({weights(6)});
      linear.setWeightedSums({0.0});
      if (!model.isFixedBase() || model.jointDof() > 0)
         constraints.pushBack(linear);
      ZqPointStateEqualityConstraint point;
      point.setFirstLinkLabel("base");
      point.setSecondLinkLabel("nowhere");
      point.setFirstLinkPoint(random.vector());
      if (i + 1 == forest.scene.numberOfManipulators() && !model.isFixedBase())
         constraints.pushBack(point);
      model.setStateEqualityConstraints(constraints);
      exchange(forest.scene, i, model);
   }
}

TEST(Coupling, FulfilsTheEquationsOfMotionOfEachPart)
{
   ZqU32 carried = 0;
   ZqU32 contradictory = 0;
   for (ZqU32 seed = 0; seed < 60; ++seed)
   {
      SCOPED_TRACE(seed);
      const bool isConstrained = seed % 3 == 2;
      Forest forest(seed);
      if (isConstrained)
         constrain(forest);
      forest.hang();
      carried += static_cast<ZqU32>(forest.hanging.size());
      for (const Solver solver : {Solver::Crbi, Solver::Arbi})
      {
         if (isConstrained && solver == Solver::Arbi)
            continue;
         const zqTest::LogCapture log;
         ZqSimulation::Settings settings = couplingSettings(Integrator::SemiImplicitEuler, solver);
         settings.closesLoops = false;
         ZqSimulation simulation(forest.scene, settings);
         for (ZqU32 i = 0; i < forest.scene.numberOfManipulators(); ++i)
         {
            simulation.setExternalForce({i, ZqBaseLinkIndex},
                                        zqTest::randomForce(forest.random) * 10.0);
            for (ZqU32 j = 0; j < simulation.system().manipulators()[i].jointDof(); ++j)
            {
               simulation.setExternalForce({i, j}, zqTest::randomForce(forest.random) * 10.0);
               simulation.setTorque({i, j}, forest.random.real());
            }
         }
         // Forces are of 10 to 1000 N, and mass matrices of a condition of some 1e3.
         // Some ask for more than there is to be moved.
         if (const ZqReal residual = residualOf(simulation, forest);
             log.text().find("contradicts others") == std::string::npos)
            EXPECT_LT(residual, 1e-8);
         else
            ++contradictory;
      }
   }
   EXPECT_GT(carried, 100U);
   EXPECT_LT(contradictory, 3U);
}

// Against a tree that is built by hand

/// A chain with a second one on its last link, and the same as one manipulator.
struct Pair
{
   explicit Pair(ZqU32 seed)
      : carrier(seed, {zqTest::chain(3), seed % 2 == 0, true, true}),
        tool(seed + 1000, {zqTest::chain(3), seed % 3 == 0, true, true}),
        offset(zqTest::randomFrame(carrier.random, 3, 0.3))
   {
      ZqIndividualManipulator model(tool.manipulator());
      model.appendToAllLabels("t");
      model.setManipulatorLabel("tool");
      ZqMechanicalActuatorComponent flexible;
      flexible.setGearRatio(10.0);
      flexible.setInertia(0.001);
      flexible.setIsRigid(false);
      flexible.setJointFlexibilityStiffness(200.0);
      ZqJointActuator drive;
      drive.setMechanicalComponent(flexible);
      model.linkByIdentifier("label1t")->setJointActuator(drive);
      ZqIndividualManipulator arm(carrier.manipulator());
      arm.setManipulatorLabel("arm");

      ZqIndividualManipulator both(arm);
      ZqManipulatorLink& last = *both.linkByIndex(2);
      ZqRigidBodyMassProperties load = model.massPropertiesInDHFrame();
      last.addMassProperties("load", load.transformBy(offset));
      ZqManipulatorLink child = model.childLinks()[0];
      ZqLinkKinematicsContainer joint = child.linkKinematicsContainer();
      joint.transformBy(last.primaryFrame() * offset);
      child.setLinkKinematicsContainer(joint);
      last.addChild(child);
      // Joints of the tool, which have other places in the tree: two are geared, two have a limit together.
      const auto& q = tool.position.jointPositions();
      for (const auto& [changed, first] : {std::pair(&model, 0U), std::pair(&both, 3U)})
      {
         ZqLinearMultivariableConstraint limit;
         limit.setConstantTerm(0.02 + q[0] + 0.7 * q[2]);
         limit.setCoefficient(first, -1.0);
         limit.setCoefficient(first + 2, -0.7);
         changed->linkByIdentifier("label2t")->setUpperLimitConstraint(
            ZqMultivariableJointStateConstraint(limit));
         ZqRealVector weights(first + 1, 0.0);
         weights.insert(weights.end(), {1.0, -0.7});
         ZqLinearStateEqualityConstraint gear;
         gear.setJointWeights({weights});
         gear.setBaseWeights({{}});
         gear.setWeightedSums({0.0});
         ZqStateEqualityConstraintVector constraints;
         constraints.pushBack(gear);
         if (seed % 4 == 1)
            changed->setStateEqualityConstraints(constraints);
      }
      apart.addManipulator(arm, carrier.position, carrier.velocity);
      apart.addManipulator(model, tool.position, tool.velocity);
      EXPECT_TRUE(
         apart.configuration().attachmentMap().attachManipulator(1, 0, "label2", offset, "held"));
      apart.placeAttachedManipulators();
      ZqPositionState position = carrier.position;
      ZqVelocityState velocity = carrier.velocity;
      for (ZqU32 j = 0; j < 3; ++j)
      {
         position.jointPositions().pushBack(tool.position.jointPositions()[j]);
         velocity.jointVelocities().pushBack(tool.velocity.jointVelocities()[j]);
      }
      one.addManipulator(both, position, velocity);
      // A few stops on the way.
      const ZqReal limit = tool.position.jointPositions()[0] + 0.02;
      EXPECT_TRUE(apart.setJointLimit(1, "label0t", true, limit));
      EXPECT_TRUE(one.setJointLimit(0, "label0t", true, limit));
      for (ZqStatedSystem* scene : {&apart, &one})
         setGravity(*scene, carrier.gravity);
   }
   RandomScene carrier, tool;
   ZqCoordinateSystemTransformation offset;
   ZqStatedSystem apart, one;
};

TEST(Coupling, MovesAsOneManipulatorThatIsBuiltByHand)
{
   std::size_t stops = 0;
   for (ZqU32 seed = 0; seed < 12; ++seed)
      for (const Integrator integrator : everyIntegrator)
      {
         SCOPED_TRACE(testing::Message() << seed << " by " << static_cast<int>(integrator));
         const Pair pair(seed);
         ZqSimulation::Settings settings = couplingSettings(
            integrator, seed % 4 == 1 || seed % 3 == 0 ? Solver::Crbi : Solver::Arbi);
         settings.booksEnergy = true;
         ZqSimulation apart(pair.apart, settings);
         ZqSimulation one(pair.one, settings);
         apart.setTorques({0.1, 0.2, 0.3, 0.4, 0.5, 0.6});
         one.setTorques({0.1, 0.2, 0.3, 0.4, 0.5, 0.6});
         const ZqGeneralForce force({1.0, 2.0, 3.0}, {0.1, 0.2, 0.3});
         const ZqManipulatorLink& last = *one.linkAt({0, 2});
         apart.setExternalForce({1, ZqBaseLinkIndex}, force);
         one.setExternalForce({0, 2}, last.primaryFrame() * pair.offset * force);
         for (int k = 1; k <= 100; ++k)
            ASSERT_TRUE(apart.stepTo(1e-3 * k) && one.stepTo(1e-3 * k));
         // Rounding, that 100 steps have made more of.
         constexpr ZqReal tolerance = 1e-9;
         for (ZqU32 j = 0; j < 6; ++j)
         {
            const ZqVelocityState& velocity = apart.state().velocityStates()[j / 3];
            EXPECT_NEAR(velocity.jointVelocities()[j % 3],
                        one.state().velocityStates()[0].jointVelocities()[j], tolerance);
         }
         EXPECT_TRUE(apart.state().positionStates()[0].coordSysXForm().approxEq(
            one.state().positionStates()[0].coordSysXForm(), tolerance));
         EXPECT_EQ(apart.substitutedSteps(), one.substitutedSteps());
         EXPECT_EQ(apart.limitHits().size(), one.limitHits().size());
         stops += one.limitHits().size();
         const ZqEnergyBook ofApart = apart.energyBook();
         const ZqEnergyBook ofOne = one.energyBook();
         std::vector<ZqReal> parts;
         ZqEnergyBook::forEachPart(ofOne, [&](const char*, ZqReal part) { parts.push_back(part); });
         std::size_t next = 0;
         ZqEnergyBook::forEachPart(ofApart, [&](const char* name, ZqReal part)
                                   { EXPECT_NEAR(part, parts[next++], 1e-7) << name; });
         EXPECT_EQ(ofApart.work.carriers, 0.0);
      }
   EXPECT_GT(stops, 5U);
}

// Attaching and releasing on the way

/// Free chains, without gravity and without anything that loses energy.
ZqStatedSystem freeChains(ZqU32 seed)
{
   ZqStatedSystem scene;
   for (ZqU32 i = 0; i < 3; ++i)
   {
      RandomScene one(10 * seed + i, {zqTest::chain(i), false, false, false});
      ZqIndividualManipulator model(one.manipulator());
      model.setManipulatorLabel("m" + std::to_string(i));
      scene.addManipulator(model, one.position, one.velocity);
   }
   setGravity(scene, {});
   return scene;
}

/// Of all bodies, about the origin of the system.
ZqGeneralForce totalMomentum(const ZqSimulation& simulation)
{
   ZqGeneralForce sum;
   for (ZqU32 i = 0; i < simulation.state().positionStates().size(); ++i)
   {
      ZqManipulatorActiveState active;
      active.setPositionState(simulation.state().positionStates()[i]);
      active.setVelocityState(simulation.state().velocityStates()[i]);
      for (const auto* link : zqTest::inPreorder(simulation.system().manipulators()[i]))
         sum +=
            link->dhFrameInSystem(active.activePositionState()) *
            link->massPropertiesInDHFrame().calculateForce(link->dhFrameVelocityInLocal(active));
   }
   return sum;
}

void expectSameMomentum(const ZqGeneralForce& one, const ZqGeneralForce& other, ZqReal tolerance)
{
   for (ZqU32 k = 0; k < 6; ++k)
      EXPECT_NEAR(one[k], other[k], tolerance) << k;
}

/// Of bodies and motors, with the difference of two velocities.
ZqReal kineticEnergyOfChange(const ZqStatedSystem& scene, const ZqManipulatorSystemState& before,
                             const ZqManipulatorSystemState& after)
{
   ZqManipulatorSystemState change = after;
   for (ZqU32 i = 0; i < change.velocityStates().size(); ++i)
   {
      ZqVelocityState& velocity = change.velocityStates()[i];
      velocity.setGeneralVelocity(velocity.generalVelocity() -
                                  before.velocityStates()[i].generalVelocity());
      for (ZqU32 j = 0; j < velocity.jointVelocities().size(); ++j)
         velocity.jointVelocities()[j] -= before.velocityStates()[i].jointVelocities()[j];
   }
   ZqStatedSystem changing(scene);
   changing.setState(change);
   return ZqSimulation(changing).energy().kinetic;
}

TEST(Coupling, AttachingAndReleasingKeepMomentum)
{
   for (ZqU32 seed = 0; seed < 8; ++seed)
   {
      SCOPED_TRACE(seed);
      ZqSimulation::Settings settings = couplingSettings(Integrator::ImplicitMidpoint);
      settings.booksEnergy = true;
      const ZqStatedSystem scene = freeChains(seed);
      ZqSimulation simulation(scene, settings);
      const ZqGeneralForce momentum = totalMomentum(simulation);
      int steps = 0;
      const auto go = [&]
      {
         for (int k = 0; k < 20; ++k)
            ASSERT_TRUE(simulation.stepTo(1e-3 * ++steps));
         expectSameMomentum(totalMomentum(simulation), momentum, 1e-9);
         EXPECT_NEAR(simulation.energyBook().remainder(), 0.0, 1e-6);
      };
      go();
      // Whatever is attached has its velocities changed by the least.
      const auto attach = [&](ZqU32 manipulator, const ZqSimulation::Place& carrier)
      {
         const ZqManipulatorSystemState before = simulation.state();
         const ZqReal energy = simulation.energy().kinetic;
         ASSERT_TRUE(simulation.attach(manipulator, carrier));
         const ZqReal lost = energy - simulation.energy().kinetic;
         EXPECT_GT(lost, 1e-3);
         EXPECT_NEAR(kineticEnergyOfChange(scene, before, simulation.state()), lost, 1e-9);
         for (ZqU32 i = 0; i < 3; ++i)
            EXPECT_TRUE(
               simulation.state().positionStates()[i].approxEq(before.positionStates()[i], 1e-12));
      };
      attach(1, {2, 0});
      go();
      attach(0, {1, 0});
      go();
      const ZqManipulatorSystemState before = simulation.state();
      ASSERT_TRUE(simulation.detach(1));
      EXPECT_EQ(kineticEnergyOfChange(scene, before, simulation.state()), 0.0);
      go();
      EXPECT_EQ(simulation.attachments().baseManipulatorIndex(0), 1U);
      ASSERT_TRUE(simulation.detach(0));
      go();
   }
}

/// A scene in which a manipulator has a fixed base.
ZqStatedSystem withFixedBase(ZqStatedSystem scene, ZqU32 index)
{
   ZqIndividualManipulator model(scene.system().manipulators()[index].concreteReference());
   model.setIsFixedBase(true);
   exchange(scene, index, model);
   return scene;
}

TEST(Coupling, ReleasingAFixedBaseStopsItByAnImpulse)
{
   for (ZqU32 seed = 0; seed < 8; ++seed)
   {
      SCOPED_TRACE(seed);
      ZqSimulation::Settings settings = couplingSettings(Integrator::RungeKutta);
      settings.booksEnergy = true;
      const ZqStatedSystem scene = freeChains(seed);
      ZqSimulation simulation(withFixedBase(scene, 1), settings);
      ZqReal lost = simulation.energy().kinetic;
      ASSERT_TRUE(simulation.attach(1, {2, 0}) && (seed % 2 == 0 || simulation.attach(0, {1, 0})));
      lost -= simulation.energy().kinetic;
      // Also before the first step.
      EXPECT_NEAR(simulation.energyBook().lost.limits, lost, 1e-9);
      ASSERT_TRUE(simulation.stepTo(1e-3));
      const ZqManipulatorSystemState before = simulation.state();
      const ZqReal energy = simulation.energy().kinetic;
      ASSERT_TRUE(simulation.detach(1));
      EXPECT_EQ(simulation.state().velocityStates()[1].generalVelocity(), ZqGeneralMotion());
      // The change is across all that is left: joints feel nothing but what the base does.
      const ZqReal change = energy - simulation.energy().kinetic;
      EXPECT_GT(change, 1e-3);
      EXPECT_NEAR(kineticEnergyOfChange(scene, before, simulation.state()), change, 1e-9);
      EXPECT_NEAR(simulation.energyBook().remainder(), 0.0, 1e-6);
   }
}

TEST(Coupling, AttachingHeedsConstraintsThatStepsDoNotClose)
{
   const Pair pair(1);
   ZqSimulation::Settings settings = couplingSettings(Integrator::RungeKutta);
   settings.closesLoops = false;
   ZqSimulation simulation(pair.apart, settings);
   ASSERT_TRUE(simulation.detach(1) && simulation.attach(1, {0, 0}));
   const auto& rates = simulation.state().velocityStates()[1].jointVelocities();
   EXPECT_NEAR(rates[1] - 0.7 * rates[2], 0.0, 1e-12);
}

/// Keeps what it is shown of a base.
struct BaseWatcher : ZqXmlClass<BaseWatcher, ZqBaseStoppingCriterion>
{
   static const ZqToken& classToken()
   {
      static constinit const ZqToken token(ZqToken::Literal{"baseWatcher"});
      return token;
   }
   static constexpr const char* documentation = "keeps what it is shown";
   bool operator==(const BaseWatcher&) const noexcept { return true; }
   const ZqString& descriptiveText() const override { return none; }
   bool stop(ZqSystemActiveState& states, const ZqStatedSystem&, const ZqReal&, ZqU32 index,
             ZqPropagationResultData&) const override
   {
      seen = states.manipulatorActiveStateVector()[index].accelerationState().generalAcceleration();
      return false;
   }
   static inline ZqGeneralMotion seen;
   static inline const ZqString none;
};

TEST(Coupling, CriteriaSeeHowCarriedBasesAccelerate)
{
   for (const Integrator integrator : everyIntegrator)
   {
      ZqStatedSystem scene = Pair(4).apart;
      ZqIndividualManipulator tool(scene.system().manipulators()[1].concreteReference());
      ZqStoppingCriterionVector criteria;
      criteria.pushBack(BaseWatcher());
      tool.setStoppingCriteria(criteria);
      exchange(scene, 1, tool);
      ZqSimulation simulation(scene, couplingSettings(integrator));
      ASSERT_TRUE(simulation.stepTo(1e-6));
      const ZqGeneralMotion now = simulation.present()
                                     .manipulatorActiveStateVector()[1]
                                     .accelerationState()
                                     .generalAcceleration();
      EXPECT_GT(now.linear().mag(), 1.0);
      // As much as it changes in the step.
      for (ZqU32 k = 0; k < 6; ++k)
         EXPECT_NEAR(BaseWatcher::seen[k], now[k], 1e-3 * now.linear().mag());
   }
}

TEST(Coupling, ContactsGoOnAlikeFromCheckpoints)
{
   zqTest::ContactScene contact;
   contact.addFloor();
   const ZqU32 carrier =
      contact.addFree(zqTest::solidBox(2.0, {0.1, 0.1, 0.1}), ZqVector(0.0, 0.0, 0.1999));
   const ZqU32 tool =
      contact.addFree(zqTest::solidBox(1.0, {0.05, 0.05, 0.05}), ZqVector(0.0, 0.0, 0.05));
   contact.setContact(zqTest::ContactMaterial());
   for (const bool couples : {true, false})
   {
      ZqSimulation::Settings settings;
      settings.couplesAttachments = couples;
      ZqSimulation all(withFixedBase(contact.system, tool), settings);
      ASSERT_TRUE(all.attach(tool, {carrier, ZqBaseLinkIndex}));
      for (int k = 1; k <= 30; ++k)
      {
         ASSERT_TRUE(k != 20 || all.detach(tool));
         const auto rest = ZqSimulation::resume(all.checkpoint());
         ASSERT_NE(rest, nullptr);
         EXPECT_EQ(rest->contactStepLimit(), all.contactStepLimit()) << k;
         ASSERT_TRUE(all.stepTo(1e-3 * k) && rest->stepTo(1e-3 * k));
         EXPECT_EQ(rest->state(), all.state()) << k;
         // Of one body there are none; what is fixed and released touches the floor in vain.
         if (couples)
         {
            EXPECT_EQ(all.contacts().size(), 1U) << k;
         }
      }
   }
}

TEST(Coupling, RefusesWhatCannotBeAttached)
{
   ZqSimulation simulation(freeChains(1));
   ASSERT_TRUE(simulation.attach(1, {2, 0}));
   const ZqManipulatorSystemState state = simulation.state();
   const ZqManipulatorAttachmentMap map = simulation.attachments();
   using Place = ZqSimulation::Place;
   using Offset = std::optional<ZqCoordinateSystemTransformation>;
   const ZqCoordinateSystemTransformation twice({}, ZqOrientation(2.0, 0.0, 0.0, 0.0));
   for (const auto& [what, where, offset, reason] :
        {std::tuple(3U, Place{0, ZqBaseLinkIndex}, Offset(), "there is no manipulator 3"),
         std::tuple(0U, Place{1, 7}, Offset(), "\"m1\" has no link 7"),
         std::tuple(0U, Place{1, 0}, Offset(ZqVector(std::nan(""), 0.0, 0.0)), "not finite"),
         std::tuple(0U, Place{1, 0}, Offset(twice), "its orientation not of length 1"),
         std::tuple(0U, Place{1, 0}, Offset(ZqVector(1e200, 0.0, 0.0)), "would not be finite"),
         std::tuple(1U, Place{1, 0}, Offset(), "it would hang on itself"),
         std::tuple(1U, Place{2, 0}, Offset(), "it hangs there"),
         std::tuple(2U, Place{1, 0}, Offset(),
                    "\"m2\" cannot be attached to \"m1/label0\": \"m1\" hangs on it")})
   {
      const zqTest::LogCapture log;
      EXPECT_FALSE(simulation.attach(what, where, offset));
      EXPECT_NE(log.text().find(reason), std::string::npos) << log.text();
   }
   const zqTest::LogCapture log;
   EXPECT_FALSE(simulation.detach(0) || simulation.detach(9));
   EXPECT_TRUE(simulation.state() == state && simulation.attachments() == map);
   EXPECT_TRUE(simulation.stepTo(1e-3));
}

TEST(Coupling, GoesOnFromCheckpointsAndAllocatesNothing)
{
   for (ZqU32 seed = 0; seed < 6; ++seed)
   {
      SCOPED_TRACE(seed);
      Forest forest(seed + 200);
      if (seed % 2 == 0)
         constrain(forest);
      forest.hang();
      const zqTest::LogCapture log;
      ZqString text;
      ZqStatedSystem scene;
      // Reading computes bounds.
      ASSERT_TRUE(Zq::toXml(forest.scene, text) && Zq::fromXml(scene, text));
      ZqSimulation::Settings settings = couplingSettings(everyIntegrator[seed % 3]);
      settings.booksEnergy = seed % 2 == 1;
      ZqSimulation all(scene, settings);
      for (int k = 1; k <= 20; ++k)
         ASSERT_TRUE(all.stepTo(1e-4 * k));
      const zqTest::AllocationCount allocations;
      for (int k = 21; k <= 30; ++k)
         ASSERT_TRUE(all.stepTo(1e-4 * k));
      EXPECT_EQ(allocations.count(), 0U);
      ASSERT_TRUE(all.detach(forest.hanging[0].manipulator));
      ASSERT_TRUE(all.stepTo(31e-4));
      ASSERT_TRUE(all.attach(forest.hanging[0].manipulator, {0, 0}));
      ASSERT_TRUE(Zq::toXml(all.checkpoint(), text));
      ZqSimulationCheckpoint checkpoint;
      ASSERT_TRUE(Zq::fromXml(checkpoint, text));
      const auto rest = ZqSimulation::resume(checkpoint);
      ASSERT_NE(rest, nullptr);
      EXPECT_TRUE(rest->settings().couplesAttachments);
      for (int k = 32; k <= 60; ++k)
      {
         for (ZqSimulation* simulation : {&all, rest.get()})
            EXPECT_TRUE(k != 50 || simulation->detach(forest.hanging[0].manipulator));
         ASSERT_TRUE(all.stepTo(1e-4 * k) && rest->stepTo(1e-4 * k));
      }
      ZqString ofAll, ofRest;
      ASSERT_TRUE(Zq::toXml(all.checkpoint(), ofAll) && Zq::toXml(rest->checkpoint(), ofRest));
      EXPECT_TRUE(ofAll == ofRest);
   }
}
} // namespace
