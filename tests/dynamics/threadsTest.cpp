#include "support/bits.h"
#include "support/contactScene.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/dynamics/tools/ZqMotionBatch.h"
#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <gtest/gtest.h>

#include <barrier>
#include <thread>

namespace
{
using zqTest::Bits;
using zqTest::RandomScene;

/// A joint of a user's class, which turns twice as far as its position says and keeps what it answers.
class GearedJoint : public ZqDenavitHartenberg
{
public:
   ZqXmlObject* clone() const override { return new GearedJoint(*this); }
   const ZqCoordinateSystemTransformation& calculateTransform(ZqReal q) const override
   {
      m_currentTransform.setToIdentity();
      transformBy(m_currentTransform, q);
      return m_currentTransform;
   }
   using ZqDenavitHartenberg::transformBy;
   void transformBy(ZqCoordinateSystemTransformation& result, ZqReal q) const override
   {
      ZqDenavitHartenberg::transformBy(result, 2.0 * q);
   }
   const ZqGeneralMotion& calculateVelocity(ZqReal q, ZqReal rate) const override
   {
      return ZqDenavitHartenberg::calculateVelocity(2.0 * q, 2.0 * rate);
   }
   const ZqGeneralMotion& calculateAcceleration(ZqReal q, ZqReal rate,
                                                ZqReal acceleration) const override
   {
      return ZqDenavitHartenberg::calculateAcceleration(2.0 * q, 2.0 * rate, 2.0 * acceleration);
   }
};

/// A constraint of a user's class, which has a Jacobian alone.
class PlainConstraint : public ZqPointStateEqualityConstraint
{
public:
   ZqXmlObject* clone() const override { return new PlainConstraint(*this); }
   void addKinematics(const ZqIndividualManipulator& manipulator,
                      ZqManipulatorActiveState& activeState, ZqU32 firstRow,
                      ZqConstraintKinematics& kinematics) const override
   {
      ZqBaseStateEqualityConstraint::addKinematics(manipulator, activeState, firstRow, kinematics);
   }
};

/// A tree with drives and springs, constraints of three kinds and a joint of a user's class; a reference to
/// it; and a manipulator that it carries.
ZqStatedSystem makeScene(ZqU32 seed)
{
   const RandomScene random(seed, {zqTest::balancedTree(9), seed % 2 == 0});
   ZqStatedSystem scene(random.system);
   scene.editManipulator(random.index,
                         [](ZqIndividualManipulator& model)
                         {
                            GearedJoint joint;
                            joint.setDhA(0.3);
                            joint.setDhAlpha(0.4);
                            model.linkByIndex(2)->setLinkKinematics(joint);
                            PlainConstraint plain;
                            plain.setFirstLinkLabel("label5");
                            plain.setFirstLinkPoint({0.1, 0.2, 0.3});
                            ZqPointStateEqualityConstraint loop;
                            loop.setFirstLinkLabel("label7");
                            loop.setSecondLinkLabel("label6");
                            ZqXyStateEqualityConstraint slide;
                            slide.setFirstLinkLabel("label8");
                            slide.setSecondLinkLabel("label4");
                            ZqStateEqualityConstraintVector constraints;
                            constraints.pushBack(plain);
                            constraints.pushBack(loop);
                            constraints.pushBack(slide);
                            model.setStateEqualityConstraints(constraints);
                         });
   scene.addManipulator(random.manipulator(), random.position, random.velocity);
   scene.addManipulator(*scene.manipulatorByIndex(random.index), random.position, random.velocity);
   scene.findAndConvertToReferences();
   ZqManipulatorAttachmentMap attachments;
   attachments.attachManipulator(random.index + 1, random.index, "label3", {{0.1, 0.0, 0.2}},
                                 "hold");
   scene.setManipulatorAttachmentMap(attachments);
   return scene;
}

/// What links and joints answer.
void addLinks(Bits& bits, const ZqIndividualManipulator& manipulator,
              ZqManipulatorActiveState& state, const ZqStatedSystemStruct& structure)
{
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      EXPECT_EQ(manipulator.linkByIdentifier(link->linkLabel()), link);
      bits.add(link->primaryFrameInSystem(state.activePositionState()));
      bits.add(link->dhFrameVelocityInSystem(state));
      bits.add(link->dhFrameAccelerationInLocal(state));
      const ZqGeneralForce force({1.0, 2.0, 3.0}, {4.0, 5.0, 6.0});
      for (const ZqStatedSystemStruct* scene : {&structure, (const ZqStatedSystemStruct*)nullptr})
      {
         const ZqRigidBodyMassProperties& masses = link->massProperties(scene);
         bits.add(masses.calculateAcceleration(force));
         bits.add(masses.invSecondMoment() * force.force());
      }
      bits.add(link->linkKinematicsContainer().torqueRequiredToExert(0.3, force));
      bits.add(link->upperBoundExtentDistance());
   }
}

/// What tools answer.
void addDynamics(Bits& bits, const ZqStatedSystem& scene,
                 const ZqIndividualManipulator& manipulator, ZqManipulatorActiveState& state)
{
   const ZqStatedSystemStruct structure(&scene, manipulator.manipulatorIndex());
   const ZqManipulatorExternalForce noForce;
   ZqManipulatorTorque torque;
   torque.setJointTorques(std::vector<ZqReal>(manipulator.jointDof(), 1.0));
   ZqTotalTorqueTool inverse;
   inverse.setManipulator(&manipulator);
   bits.add(inverse.torques(noForce, state, &structure).jointTorques().values());
   ZqMassMatrixTool masses;
   masses.setManipulator(&manipulator);
   bits.add(masses.extendedMassMatrixInSystem(state, &structure));
   ZqAccelerationState result;
   for (const bool byKinematics : {false, true})
   {
      ZqCrbiAccelerationTool crbi;
      crbi.setUsesConstraintKinematics(byKinematics);
      crbi.acceleration(scene, manipulator, torque, noForce, result, state, true);
      bits.add(result.jointAccelerations().values());
      bits.add(result.generalAcceleration());
   }
   ZqArbiAccelerationTool arbi;
   arbi.acceleration(scene, manipulator, state.positionState(), state.velocityState(), torque,
                     noForce, result, state);
   bits.add(result.jointAccelerations().values());
   bits.add(result.generalAcceleration());
   ZqConstraintKinematics kinematics;
   manipulator.stateEqualityConstraints().getKinematics(manipulator, state, kinematics);
   bits.add(kinematics.jacobian);
   bits.add(kinematics.bias);
   ZqMotionDerivativeTool gradients;
   gradients.setManipulator(&manipulator);
   EXPECT_TRUE(gradients.computeInverseDynamicsGradients(noForce, state, &structure));
   bits.add(gradients.torqueByPosition());
   bits.add(gradients.torqueByVelocity());
   ZqMotionBatch batch(manipulator, scene.environment().upGravityVector());
   const std::vector<ZqReal> positions(3 * manipulator.jointDof(), 0.4);
   std::vector<ZqReal> places;
   for (int i = 0; i < 3; ++i)
      places.insert(places.end(), {0.1, 0.2, 0.3, 1.0, 0.0, 0.0, 0.0});
   std::vector<ZqReal> torques(positions.size());
   EXPECT_TRUE(batch.inverseDynamics({positions, places}, {positions}, {positions}, {torques}));
   bits.add(torques);
}

void addState(Bits& bits, const ZqManipulatorSystemState& state)
{
   for (const ZqPositionState& position : state.positionStates())
   {
      bits.add(position.jointPositions().values());
      bits.add(position.coordSysXForm());
   }
   for (const ZqVelocityState& velocity : state.velocityStates())
   {
      bits.add(velocity.jointVelocities().values());
      bits.add(velocity.generalVelocity());
   }
}

/// All that one thread asks of a scene that it shares with others.
Bits answersOf(const ZqStatedSystem& scene)
{
   Bits bits;
   ZqSystemActiveState active;
   active.setNonredundantState(scene.state());
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& manipulator = *scene.manipulatorByIndex(i);
      ZqManipulatorActiveState& state = active.manipulatorActiveStateVector()[i];
      ZqAccelerationState acceleration =
         ZqAccelerationState::zeroCompatibleState(state.velocityState());
      acceleration.setGeneralAcceleration({scene.environment().upGravityVector(), ZqVector()});
      state.setAccelerationState(acceleration);
      manipulator.placeBase(state.activePositionState());
      addLinks(bits, manipulator, state, {&scene, i});
      addDynamics(bits, scene, manipulator, state);
   }
   ZqManipulatorSystemState moved = scene.state();
   ZqStatedSystem::PropagationResults results;
   scene.propagateTo(0.01, moved, results, active);
   addState(bits, moved);
   ZqString document;
   EXPECT_TRUE(Zq::toXml(scene, document));
   bits.add(static_cast<ZqReal>(scene.system().componentMap().size()));
   for (const char c : document + scene.system().labelPool().nextUnusedLabel("manipulator"))
      bits.add(static_cast<ZqReal>(c));
   return bits;
}

/// The results of a function that so many threads call, each with its number, all at once.
template <class Work>
std::vector<Bits> inThreads(unsigned count, const Work& work)
{
   std::vector<Bits> results(count);
   std::barrier start(static_cast<std::ptrdiff_t>(count));
   std::vector<std::jthread> threads;
   for (unsigned i = 0; i < count; ++i)
      threads.emplace_back(
         [&, i]
         {
            start.arrive_and_wait();
            results[i] = work(i);
         });
   threads.clear();
   return results;
}

constexpr unsigned threadCount = 4;

TEST(Threads, AskOneModelAtOnce)
{
   const zqTest::LogCapture log;
   for (ZqU32 seed = 0; seed < 6; ++seed)
   {
      SCOPED_TRACE(seed);
      ZqStatedSystem scene = makeScene(seed);
      for (int round = 0; round < 3; ++round)
      {
         // Nobody has asked since the change.
         scene.editManipulator(
            0, [](ZqIndividualManipulator& model)
            { model.childLinks()[0].addMassProperties("more", model.massProperties()); });
         const Bits expected = answersOf(ZqStatedSystem(scene, ZqFoundCommon::CopyAll));
         for (const Bits& result :
              inThreads(threadCount, [&](unsigned) { return answersOf(scene); }))
            EXPECT_TRUE(result == expected);
      }
   }
}

TEST(Threads, AskAManipulatorFirstAfterAChangeOfItsTree)
{
   zqTest::RandomValues random(71);
   for (ZqU32 i = 0; i < 20; ++i)
   {
      SCOPED_TRACE(i);
      ZqIndividualManipulator manipulator = zqTest::randomManipulator(random, 9);
      const ZqIndividualManipulator& asked = manipulator;
      ZqPositionState position = zqTest::randomPosition(random, asked);
      position.jointPositions().values().push_back(0.5);
      const auto ask = [&](const ZqIndividualManipulator& one)
      {
         Bits bits;
         ZqManipulatorActivePositionState state;
         state.setPositionState(position);
         one.placeBase(state);
         bits.add(one.linkByIdentifier("another")->primaryFrameInSystem(state));
         for (ZqU32 k = 0; k < one.jointDof(); ++k)
            bits.add(one.linkByIndex(k)->primaryFrameInSystem(state));
         bits.add(one.absoluteBoundingSphere().radius());
         return bits;
      };
      manipulator.linkByIndex(i % 8)->addChild(zqTest::randomLink(random));
      manipulator.childLinks()[0].setLinkLabel("another");
      const std::vector<Bits> results =
         inThreads(threadCount, [&](unsigned) { return ask(asked); });
      for (const Bits& result : results)
         EXPECT_TRUE(result == ask(ZqIndividualManipulator(asked)));
   }
}

/// A run of a copy of a scene, whose model is shared until it is changed.
Bits runOf(const ZqStatedSystem& original, unsigned number)
{
   ZqStatedSystem scene(original);
   for (int k = 0; k < 5 && number % 4 == 3; ++k)
   {
      scene = original;
      EXPECT_TRUE(scene.setJointLimit(0, "label1", true, 0.5));
      scene.deleteManipulator(scene.numberOfManipulators() - 1);
   }
   ZqSimulation::Settings settings;
   settings.solver = number % 2 == 0 ? ZqSimulation::Solver::Crbi : ZqSimulation::Solver::Arbi;
   settings.integrator = number % 4 == 2 ? ZqSimulation::Integrator::RungeKutta
                                         : ZqSimulation::Integrator::SemiImplicitEuler;
   settings.closesLoops = number % 4 == 2;
   ZqSimulation simulation(scene, settings);
   Bits bits;
   for (int k = 0; k < 10 && simulation.step(1e-4); ++k)
      addState(bits, simulation.state());
   return bits;
}

TEST(Threads, StepCopiesOfOneStatedSystem)
{
   const zqTest::LogCapture log;
   for (ZqU32 seed = 0; seed < 4; ++seed)
   {
      SCOPED_TRACE(seed);
      const ZqStatedSystem scene = makeScene(seed);
      std::vector<Bits> expected;
      for (unsigned i = 0; i < threadCount; ++i)
         expected.push_back(runOf(ZqStatedSystem(scene, ZqFoundCommon::CopyAll), i));
      const std::vector<Bits> results =
         inThreads(threadCount, [&](unsigned i) { return runOf(scene, i); });
      for (unsigned i = 0; i < threadCount; ++i)
      {
         EXPECT_GT(results[i].size(), 100U);
         EXPECT_TRUE(results[i] == expected[i]) << i;
      }
   }
}

/// Bodies of all kinds of shapes that fall onto each other askew.
ZqStatedSystem fallingBodies()
{
   using Frame = ZqCoordinateSystemTransformation;
   const ZqVector half(0.05, 0.04, 0.03);
   ZqShapeUnion angle;
   angle.addShapeToUnion(ZqBox(Frame(ZqVector(0.0, 0.0, -0.03)), {0.06, 0.04, 0.01}));
   angle.addShapeToUnion(ZqBox(Frame(ZqVector(0.05, 0.0, 0.01)), {0.01, 0.04, 0.03}));
   std::vector<zqTest::SolidBody> bodies;
   const auto add = [&](std::unique_ptr<ZqShape> shape) {
      bodies.push_back({std::move(shape), zqTest::solidBox(1.0, half).mass});
   };
   bodies.push_back(zqTest::solidBox(1.0, half));
   bodies.push_back(zqTest::meshBox(1.0, half));
   add(std::make_unique<ZqShapeUnion>(angle));
   angle.setCompoundTestFlag(false);
   add(std::make_unique<ZqShapeUnion>(angle));
   bodies.push_back(zqTest::meshBox(1.0, half));
   add(std::make_unique<ZqConvexHull>(std::vector<ZqVector>{
      {0.05, 0.0, 0.0}, {-0.03, 0.04, 0.0}, {-0.03, -0.04, 0.0}, {0.0, 0.0, 0.05}}));

   zqTest::ContactScene scene;
   scene.addFloor();
   ZqReal z = 0.05;
   for (const zqTest::SolidBody& body : bodies)
   {
      scene.addFree(body,
                    {ZqVector(0.1 * z, 0.05 * z, z), ZqOrientation::exponential({z, -z, 3.0 * z})},
                    {ZqVector(0.3, 0.0, -1.0), ZqVector()});
      z += 0.09;
   }
   scene.setContact(zqTest::ContactMaterial());
   return scene.system;
}

TEST(Threads, StepOneModelWithContact)
{
   const auto fall = [](const ZqStatedSystem& scene, unsigned number)
   {
      ZqSimulation::Settings settings;
      settings.integrator = static_cast<ZqSimulation::Integrator>(number % 3);
      ZqSimulation simulation(scene, settings);
      Bits bits;
      std::size_t touching = 0;
      for (int k = 1; k <= 250 && simulation.stepTo(4e-4 * k); ++k)
      {
         addState(bits, simulation.state());
         for (const ZqSimulation::Contact& contact : simulation.contacts())
            bits.add(contact.normalForce);
         touching = std::max(touching, simulation.contacts().size());
      }
      EXPECT_FALSE(simulation.divergence());
      EXPECT_GE(touching, 5U);
      return bits;
   };
   // What is found out of shapes when first asked for is shared with copies: here, with no other scene.
   std::vector<Bits> expected;
   for (unsigned i = 0; i < threadCount; ++i)
      expected.push_back(fall(fallingBodies(), i));
   const ZqStatedSystem scene = fallingBodies();
   const std::vector<Bits> results =
      inThreads(threadCount, [&](unsigned i) { return fall(scene, i); });
   for (unsigned i = 0; i < threadCount; ++i)
      EXPECT_TRUE(results[i] == expected[i]) << i;
}
} // namespace
