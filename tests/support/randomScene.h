#pragma once

#include "support/randomBodies.h"
#include "support/randomLinkages.h"
#include "support/randomManipulators.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

namespace zqTest
{
/// What kind of random scene it is.
struct SceneKind
{
   Parents parents;
   bool isFixedBase = true;
   bool hasSprings = true;
   bool hasLosses = true;    ///< in drives; and springs feel other joints
   bool hasLinkages = false; ///< every other joint, or so, is a screw or a linkage

   /// Chains and trees of 0 to 40 links.
   static SceneKind ofSeed(ZqU32 seed)
   {
      RandomValues random(seed);
      const ZqU32 links = seed % 24 == 0 ? 40 : random.index(seed % 8 == 1 ? 0 : 1, 12);
      const Parents shapes[] = {chain(links), balancedTree(links), randomTree(random, links)};
      return {shapes[random.index(0, 2)], random.index(0, 1) == 0, random.index(0, 1) == 0};
   }
   /// The same, with linkages.
   static SceneKind withLinkages(ZqU32 seed)
   {
      SceneKind kind = ofSeed(seed);
      kind.hasLinkages = true;
      return kind;
   }
};

/// A stated system with one manipulator to look at, in a random state under random forces, on a base
/// that moves. Bodies are of about the same size, 2 to 13 kg and 0.3 m, at distances up to 1 m, so
/// that mass matrices are as well conditioned as the number of links lets them be.
class RandomScene
{
public:
   explicit RandomScene(ZqU32 seed) : RandomScene(seed, SceneKind::ofSeed(seed)) {}
   RandomScene(ZqU32 seed, const SceneKind& kind) : random(seed), gravity(random.unitVector() * 9.8)
   {
      ZqIndividualManipulator model =
         makeManipulator(kind.parents, [&](ZqU32 i) { return makeLink(i, kind); });
      model.setLinkKinematics(makeJoint());
      model.setMassProperties(addBody("base"));
      model.setCoordSysXForm(randomFrame(random));
      model.setIsFixedBase(kind.isFixedBase);
      add(model);
   }
   RandomScene(ZqU32 seed, const ZqIndividualManipulator& model)
      : random(seed), gravity(random.unitVector() * 9.8)
   {
      add(model);
   }

   const ZqIndividualManipulator& manipulator() const { return *system.manipulatorByIndex(index); }
   const ZqManipulatorLink& link(ZqU32 i) const { return *manipulator().linkByIndex(i); }
   ZqU32 jointDof() const { return position.jointPositions().size(); }
   ZqStatedSystemStruct structure() const { return {&system, index}; }
   /// The axes of the base in the system.
   ZqOrientation baseAxes() const
   {
      return (manipulator().coordSysXForm() * position.coordSysXForm()).orientation();
   }

   ZqRealVector randomReals(ZqU32 n, ZqReal size)
   {
      ZqRealVector values(n);
      for (ZqReal& value : values)
         value = random.real(-size, size);
      return values;
   }
   ZqAccelerationState randomAcceleration()
   {
      ZqAccelerationState state;
      state.setJointAccelerations(randomReals(jointDof(), 2.0));
      if (!manipulator().isFixedBase())
         state.setGeneralAcceleration(randomMotion(random));
      return state;
   }
   ZqVelocityState randomVelocity() { return randomVelocity(jointDof()); }
   ZqVelocityState randomVelocity(ZqU32 n)
   {
      ZqVelocityState state;
      state.setJointVelocities(randomReals(n, 1.0));
      state.setGeneralVelocity(randomMotion(random));
      return state;
   }
   ZqPositionState randomPosition(ZqU32 n)
   {
      ZqPositionState state;
      state.setJointPositions(randomReals(n, 2.0));
      state.setCoordSysXForm(randomFrame(random));
      return state;
   }
   ZqManipulatorTorque randomTorque(ZqU32 n)
   {
      ZqManipulatorTorque result;
      result.setJointTorques(randomReals(n, 5.0));
      result.setGeneralForce(randomForce(random) * 20.0);
      return result;
   }
   ZqManipulatorExternalForce randomExternalForce(ZqU32 n)
   {
      ZqManipulatorExternalForce result;
      result.resize(n);
      for (ZqU32 i = 0; i < n; ++i)
         result[i] = randomForce(random) * 10.0;
      result.setBaseForce(randomForce(random) * 10.0);
      return result;
   }

   /// Makes an active state one of the present position and velocity, where motors follow their joints,
   /// with no acceleration but that which stands for gravity.
   void prepare(ZqManipulatorActiveState& state) const
   {
      state.setPositionState(position);
      state.setVelocityState(velocity);
      ZqAccelerationState acceleration = ZqAccelerationState::zeroCompatibleState(velocity);
      acceleration.setGeneralAcceleration({gravity, ZqVector()});
      state.setAccelerationState(acceleration);
      for (ZqU32 i = 0; i < jointDof(); ++i)
         if (const auto* drive = driveOf(i))
            drive->initializeActuatorStates(state);
   }
   ZqManipulatorActiveState activeState() const
   {
      ZqManipulatorActiveState state;
      prepare(state);
      return state;
   }

   const ZqMechanicalActuatorComponent* driveOf(ZqU32 i) const
   {
      return link(i).jointActuator().mechanicalComponentContainer().topElement();
   }
   ZqReal driveInertia(ZqU32 i) const
   {
      const ZqMechanicalActuatorComponent* drive = driveOf(i);
      return drive == nullptr ? 0.0 : drive->inertia() * drive->gearRatio() * drive->gearRatio();
   }
   /// Of a joint's drive for a command.
   ZqReal driveTorque(ZqU32 i, ZqReal command) const
   {
      const ZqMechanicalActuatorComponent* drive = driveOf(i);
      if (drive == nullptr)
         return 0.0;
      const ZqReal r = drive->gearRatio();
      return command * r * drive->maxEfficiency() -
             drive->frictionCoefficient() * r * r * velocity.jointVelocities()[i];
   }

   RandomValues random;
   ZqVector gravity; ///< upwards, in the system
   ZqStatedSystem system;
   ZqU32 index = 0; ///< of the manipulator
   /// What bodies are made of, in the primary frame, by the label of the link.
   std::map<ZqString, decltype(PointMasses::points)> points;
   ZqPositionState position;
   ZqVelocityState velocity;
   ZqManipulatorTorque torque;
   ZqManipulatorExternalForce external;

private:
   void add(const ZqIndividualManipulator& model)
   {
      position = randomPosition(model.jointDof());
      velocity = randomVelocity();
      const ZqU32 others = random.index(0, 2);
      for (index = 0; index < others; ++index)
         system.addManipulator(randomManipulator(random, 3));
      system.addManipulator(model, position, velocity);

      torque = randomTorque(jointDof());
      external = randomExternalForce(jointDof());
      ZqSystemEnvironment environment;
      environment.setUpGravityVector(gravity);
      system.setEnvironment(environment);
   }
   ZqRigidBodyMassProperties addBody(const std::string& label)
   {
      const PointMasses body(random, 0.3, 0.3);
      points[label].insert(points[label].end(), body.points.begin(), body.points.end());
      return body.body();
   }
   ZqDenavitHartenberg makeJoint()
   {
      ZqDenavitHartenberg joint = randomJoint(random);
      joint.setPrecursor(randomFrame(random, random.index(0, 3), 0.5));
      joint.setPrimaryFrame(randomFrame(random, random.index(0, 3), 0.3));
      return joint;
   }
   ZqManipulatorLink makeLink(ZqU32 i, const SceneKind& kind)
   {
      const std::string label = "label" + std::to_string(i);
      const std::string other = kind.hasLosses ? "label" + std::to_string(i / 2) : label;
      ZqManipulatorLink link;
      if (kind.hasLinkages && random.index(0, 1) == 0)
         link.setLinkKinematics(*randomLinkageOrScrew(random));
      else
         link.setLinkKinematics(makeJoint());
      link.setMassProperties(addBody(label));
      if (random.index(0, 3) == 0)
         link.addMassProperties("tool", addBody(label));
      if (random.index(0, 7) != 0)
      {
         ZqMechanicalActuatorComponent drive;
         drive.setGearRatio(random.real(1.0, 20.0) * (random.index(0, 1) == 0 ? 1.0 : -1.0));
         drive.setInertia(random.index(0, 2) * random.real(0.0, 0.002));
         drive.setFrictionCoefficient(kind.hasLosses ? random.real(0.0, 0.01) : 0.0);
         drive.setMaxEfficiency(kind.hasLosses ? random.real(0.5, 1.0) : 1.0);
         ZqJointActuator actuator;
         actuator.setMechanicalComponent(drive);
         link.setJointActuator(actuator);
      }
      if (kind.hasSprings)
      {
         ZqSpringProperties spring;
         spring.setSpringConstant(random.real(20.0, 100.0));
         spring.setWeightingFactors(ZqRealVector{1.0, random.real(0.5, 1.0)});
         spring.setSpringOffsets(randomReals(2, 0.5));
         spring.setAssociatedJoints({label, other});
         link.setSpringProperties(spring);
      }
      return link;
   }
};
} // namespace zqTest
