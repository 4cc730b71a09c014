#include "support/comparison.h"
#include "support/referenceDynamics.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqGravitationalTorqueTool.h"

namespace
{
using zqTest::Comparison;
using zqTest::RandomScene;
using zqTest::Real;
using zqTest::ReferenceDynamics;
using zqTest::SceneKind;

/// What is allowed for solutions with a mass matrix of 40 links.
constexpr Real tolerance = 1e-9L;

template <class Six>
void compareSix(Comparison& compare, const char* name, const Six& value, const Six& expected)
{
   for (std::size_t i = 0; i < 6; ++i)
      compare(name, value[i], expected[i]);
}

void compareForces(Comparison& compare, const ReferenceDynamics& reference,
                   const ZqAccelerationState& acceleration, const ZqManipulatorTorque& torque)
{
   const ReferenceDynamics::Balance balance = reference.balance(acceleration, torque);
   for (std::size_t i = 0; i < balance.asked.size(); ++i)
      compare("balance of forces", balance.asked[i], balance.given[i]);
}

TEST(DynamicsTruth, SolversAgreeAndInverseDynamicsGivesBackTheTorques)
{
   ZqCrbiAccelerationTool crbi;
   ZqArbiAccelerationTool arbi;
   ZqTotalTorqueTool inverse;
   for (ZqU32 seed = 0; seed < 300; ++seed)
   {
      SCOPED_TRACE(seed);
      const RandomScene scene(seed,
                              seed < 250 ? SceneKind::ofSeed(seed) : SceneKind::withLinkages(seed));
      const ZqIndividualManipulator& manipulator = scene.manipulator();
      const ZqStatedSystemStruct structure = scene.structure();
      const ReferenceDynamics reference(scene);
      ZqManipulatorActiveState state = scene.activeState();
      ZqAccelerationState a;
      ZqAccelerationState b;
      Comparison compare;
      // The second call has the factors of the first, which had other torques.
      crbi.acceleration(scene.system, manipulator, {}, scene.external, a, state, true);
      crbi.acceleration(scene.system, manipulator, scene.torque, scene.external, a, state, false);
      compareForces(compare, reference, a, scene.torque);
      arbi.acceleration(scene.system, manipulator, scene.position, scene.velocity, scene.torque,
                        scene.external, b, state);
      compareForces(compare, reference, b, scene.torque);
      for (ZqU32 i = 0; i < scene.jointDof(); ++i)
         compare("acceleration", b.jointAccelerations()[i], a.jointAccelerations()[i]);
      compareSix(compare, "acceleration", b.generalAcceleration(), a.generalAcceleration());

      b = a;
      b.generalAcceleration() += ZqGeneralMotion(scene.gravity, ZqVector());
      state.setAccelerationState(b);
      inverse.setManipulator(&manipulator);
      inverse.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
      const ZqManipulatorTorque& torques = inverse.torques(scene.external, state, &structure);
      for (ZqU32 i = 0; i < scene.jointDof(); ++i)
         compare("torque", torques.jointTorques()[i],
                 scene.driveTorque(i, scene.torque.jointTorques()[i]));
      if (!manipulator.isFixedBase())
         compareSix(compare, "force", torques.generalForce(), scene.torque.generalForce());
      compare.expectWithin(tolerance);
   }
}

TEST(DynamicsTruth, MassMatrixIsThatOfThePointsOfMassAndOfInverseDynamics)
{
   ZqMassMatrixTool tool;
   ZqGravitationalTorqueTool gravity;
   for (ZqU32 seed = 0; seed < 170; ++seed)
   {
      SCOPED_TRACE(seed);
      SceneKind kind = SceneKind::ofSeed(seed);
      kind.hasLinkages = seed >= 150;
      kind.hasSprings = kind.hasLosses = false;
      RandomScene scene(seed, kind);
      const ZqU32 n = scene.jointDof();
      const ZqStatedSystemStruct structure = scene.structure();
      ZqManipulatorActiveState state = scene.activeState();
      const ZqReArray inSystem = ReferenceDynamics(scene).massMatrix();
      ZqReArray joints(n, n);
      ZqReArray weight(n, 1);
      ZqReArray toSystem = ZqReArray::identity(n + 6);
      for (std::size_t i = 0; i < n; ++i)
      {
         std::copy_n(inSystem[i].begin(), n, joints[i].begin());
         for (std::size_t k = 0; k < 3; ++k)
            weight[i][0] += inSystem[i][n + k] * scene.gravity[k];
      }
      const ZqOrientation q = scene.baseAxes();
      const ZqVector axes[] = {q.xAxis(), q.yAxis(), q.zAxis()};
      for (std::size_t i = 0; i < 6; ++i)
         for (std::size_t j = 0; j < 3; ++j)
            toSystem[n + i][n + i / 3 * 3 + j] = axes[j][i % 3];
      ZqReArray inBase;
      toSystem.leftTransposeTransform(inSystem, inBase);

      Comparison compare;
      tool.setManipulator(&scene.manipulator());
      compare("joints", tool.massMatrix(state, &structure), joints);
      compare("in base", tool.extendedMassMatrixInBase(state, &structure), inBase);
      compare("in system", tool.extendedMassMatrixInSystem(state, &structure), inSystem);
      gravity.setManipulator(&scene.manipulator());
      gravity.setGravityVector(scene.gravity);
      compare("weight", gravity.gravitationalTorques(state, &structure), weight);
      for (ZqU32 i = 0; i < n; ++i)
         joints[i][i] += scene.driveInertia(i);
      const ZqReArray basis = scene.random.array(n, 3);
      compare("null space", tool.nullSpaceTorque(state, basis), (joints * basis).transpose());
      compare.expectWithin(1e-12L);
   }
}

TEST(DynamicsTruth, HybridSolutionsSatisfyTheEquationsOfMotion)
{
   ZqCrbiAccelerationTool tool;
   for (ZqU32 seed = 0; seed < 150; ++seed)
   {
      SCOPED_TRACE(seed);
      SceneKind kind = SceneKind::ofSeed(seed);
      kind.hasLosses = false;
      RandomScene scene(seed, kind);
      const ZqU32 n = scene.jointDof();
      // What a mask does not list has a given torque, and so must joints without a drive.
      std::vector<bool> mask(scene.random.index(0, scene.manipulator().totalDof()));
      for (ZqU32 i = 0; i < mask.size(); ++i)
         mask[i] = scene.random.index(0, 1) == 0 || (i < n && scene.driveOf(i) == nullptr);
      ZqManipulatorActiveState state = scene.activeState();
      ZqManipulatorTorque torque(scene.torque);
      ZqAccelerationState given;
      given.setJointAccelerations(scene.randomReals(n, 3.0));
      if (!scene.manipulator().isFixedBase())
         given.setGeneralAcceleration(zqTest::randomMotion(scene.random));
      ZqAccelerationState solved(given);
      tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.external, mask, torque,
                                    solved, state, true);
      // Factors that are there hold the mask as well.
      ZqManipulatorTorque again(scene.torque);
      ZqAccelerationState once(given);
      tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.external, {}, again,
                                    once, state, false);
      EXPECT_TRUE(again == torque && once == solved);

      mask.resize(n + 6, true);
      for (ZqU32 i = 0; i < n; ++i)
         if (mask[i])
            EXPECT_EQ(torque.jointTorques()[i], scene.torque.jointTorques()[i]);
         else
            EXPECT_EQ(solved.jointAccelerations()[i], given.jointAccelerations()[i]);
      for (ZqU32 i = 0; i < 6; ++i)
         if (mask[n + i])
            EXPECT_EQ(torque.generalForce()[i], scene.torque.generalForce()[i]);
         else
            EXPECT_EQ(solved.generalAcceleration()[i], given.generalAcceleration()[i]);
      Comparison compare;
      solved.generalAcceleration().transformBy(scene.baseAxes());
      compareForces(compare, ReferenceDynamics(scene), solved, torque);
      compare.expectWithin(tolerance);
   }
}

} // namespace
