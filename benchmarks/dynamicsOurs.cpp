#include "dynamicsLibrary.h"

#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

namespace zqBenchmark
{
namespace
{
Eigen::Vector3d toEigen(const ZqVector& v)
{
   return {v.x(), v.y(), v.z()};
}

Eigen::Isometry3d toEigen(const ZqCoordinateSystemTransformation& X)
{
   const ZqOrientation& q = X.orientation();
   return Eigen::Translation3d(toEigen(X.translation())) *
          Eigen::Quaterniond(q.w(), q.x(), q.y(), q.z());
}

template <class Spatial>
Vector6 toEigen6(const Spatial& value)
{
   Vector6 result;
   for (Eigen::Index i = 0; i < 6; ++i)
      result(i) = value[static_cast<std::size_t>(i)];
   return result;
}

ZqVector vectorOf(const Eigen::Vector3d& v)
{
   return {v.x(), v.y(), v.z()};
}

ZqGeneralMotion motionOf(const Vector6& motion)
{
   return {vectorOf(motion.head<3>()), vectorOf(motion.tail<3>())};
}

ZqXmlVectorBasicType<ZqReal> listOf(const Eigen::VectorXd& list)
{
   return std::vector<ZqReal>(list.begin(), list.end());
}

Eigen::VectorXd toEigen(const ZqXmlVectorBasicType<ZqReal>& list)
{
   return Eigen::Map<const Eigen::VectorXd>(list.values().data(),
                                            static_cast<Eigen::Index>(list.size()));
}

Eigen::MatrixXd toEigen(const ZqReArray& array)
{
   const auto n = static_cast<Eigen::Index>(array.rows());
   Eigen::MatrixXd result(n, n);
   for (Eigen::Index i = 0; i < n; ++i)
      for (Eigen::Index j = 0; j < n; ++j)
         result(i, j) = array[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
   return result;
}

Body bodyOf(const ZqRigidBodyMassProperties& properties)
{
   Body body;
   body.mass = properties.mass();
   body.center = toEigen(properties.firstMoment()) / body.mass;
   const ZqSecondMoment& I = properties.secondMoment();
   const Eigen::Vector3d& c = body.center;
   body.inertia << I.xx(), I.xy(), I.xz(), I.xy(), I.yy(), I.yz(), I.xz(), I.yz(), I.zz();
   body.inertia -= body.mass * (c.squaredNorm() * Eigen::Matrix3d::Identity() - c * c.transpose());
   return body;
}

/// Where the DH frame of a link stands in the frame that turns about its own z axis: in Paul's
/// convention, all but the rotation by the joint's position.
ZqCoordinateSystemTransformation dhFrameInBody(const ZqManipulatorLink& link)
{
   const auto& joint =
      static_cast<const ZqDenavitHartenberg&>(*link.linkKinematicsContainer().topElement());
   return joint.dhType() == ZqDenavitHartenberg::Paul ? joint.calculateTransform(0.0)
                                                      : ZqCoordinateSystemTransformation();
}

/// All by the public operations, with states and tools that are kept, as a user's loop would have it.
class Ours : public Library
{
public:
   Ours(const ZqIndividualManipulator& manipulator, const States& states)
      : Library("ours"), m_statesInCommon(states)
   {
      ZqSystemEnvironment environment;
      environment.setUpGravityVector(-vectorOf(Model().gravity));
      m_system.setFromManipulator(manipulator);
      m_system.setEnvironment(environment);
      m_manipulator = m_system.manipulatorByIndex(0);

      m_gravity.resize(m_manipulator->jointDof());
      m_gravity.setGeneralAcceleration({environment.upGravityVector(), ZqVector()});
      m_noForce.resize(m_manipulator->jointDof());
      m_noTorque.jointTorques().resize(m_manipulator->jointDof());
      m_torqueTool.setManipulator(m_manipulator);
      m_torqueTool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
      m_massTool.setManipulator(m_manipulator);
      m_activeStates.setNumManipulators(1);
      for (const State& state : states)
      {
         m_states.push_back(convert(state));
         m_accelerations.push_back(m_gravity);
         m_accelerations.back().setJointAccelerations(listOf(state.a));
         m_accelerations.back().generalAcceleration() += motionOf(state.baseAcceleration);
      }
      active().setAccelerationState(m_gravity);
   }

   bool offers(Operation) const override { return true; }

   void run(Operation operation, std::size_t index) override
   {
      const ZqPositionState& position = m_states[index].positionStates()[0];
      const ZqVelocityState& velocity = m_states[index].velocityStates()[0];
      switch (operation)
      {
      case Operation::Frames:
         active().setPositionState(position);
         for (const ZqManipulatorLink* link : m_manipulator->linkPointerVector())
            m_lastFrame = &link->dhFrameInSystem(active().activePositionState());
         break;
      case Operation::InverseDynamics:
         m_prescribed.setPositionState(position);
         m_prescribed.setVelocityState(velocity);
         m_prescribed.setAccelerationState(m_accelerations[index]);
         m_torques = &m_torqueTool.torques(m_noForce, m_prescribed, nullptr);
         break;
      case Operation::MassMatrix:
         active().setPositionState(position);
         m_massMatrix = m_manipulator->isFixedBase()
                           ? &m_massTool.massMatrix(active(), nullptr)
                           : &m_massTool.extendedMassMatrixInBase(active(), nullptr);
         break;
      case Operation::ByFactorisation:
         active().setPositionState(position);
         active().setVelocityState(velocity);
         m_byFactorisation.acceleration(m_system, *m_manipulator, m_noTorque, m_noForce, m_result,
                                        active(), true);
         break;
      case Operation::ByArticulatedBodies:
         active().setPositionState(position);
         active().setVelocityState(velocity);
         m_byArticulatedBodies.acceleration(m_system, *m_manipulator, position, velocity,
                                            m_noTorque, m_noForce, m_result, active());
         break;
      case Operation::StepByFactorisation:
         begin(index);
         m_byFactorisation.acceleration(m_system, *m_manipulator, m_noTorque, m_noForce, m_result,
                                        active(), true);
         finish();
         break;
      case Operation::StepByArticulatedBodies:
         begin(index);
         m_byArticulatedBodies.acceleration(m_system, *m_manipulator, position, velocity,
                                            m_noTorque, m_noForce, m_result, active());
         finish();
         break;
      }
   }

   Eigen::VectorXd result(Operation operation, std::size_t index) override
   {
      const State& state = m_statesInCommon[index];
      const bool isFree = !m_manipulator->isFixedBase();
      Eigen::VectorXd list;
      switch (operation)
      {
      case Operation::Frames:
         for (const ZqManipulatorLink* link : m_manipulator->linkPointerVector())
            append(list, toEigen(link->dhFrameInSystem(active().activePositionState())) *
                            toEigen(dhFrameInBody(*link)).inverse());
         break;
      case Operation::InverseDynamics:
         if (isFree)
            append(list, toSystem(state) * toEigen6(m_torques->generalForce()));
         append(list, toEigen(m_torques->jointTorques()));
         break;
      case Operation::MassMatrix:
         return isFree ? inSystem(toEigen(*m_massMatrix), state)
                       : Eigen::VectorXd(toEigen(*m_massMatrix).reshaped());
      case Operation::ByFactorisation:
      case Operation::ByArticulatedBodies:
         if (isFree)
            append(list, toEigen6(m_result.generalAcceleration()));
         append(list, toEigen(m_result.jointAccelerations()));
         break;
      case Operation::StepByFactorisation:
      case Operation::StepByArticulatedBodies:
      {
         const ZqPositionState& position = m_step.positionStates()[0];
         const ZqVelocityState& velocity = m_step.velocityStates()[0];
         if (isFree)
            append(list, (toEigen6(velocity.generalVelocity()) - state.baseVelocity) / timeStep);
         append(list, (toEigen(velocity.jointVelocities()) - state.v) / timeStep);
         if (isFree)
            append(list, baseRate(state.base, toEigen(position.coordSysXForm())));
         append(list, (toEigen(position.jointPositions()) - state.q) / timeStep);
         break;
      }
      }
      return list;
   }

private:
   ZqManipulatorActiveState& active() { return m_activeStates.manipulatorActiveStateVector()[0]; }
   void begin(std::size_t index)
   {
      m_step = m_states[index];
      m_activeStates.setNonredundantState(m_step);
   }
   void finish()
   {
      active().setAccelerationState(m_result);
      m_system.propagateTo(timeStep, m_step, m_stepResults, m_activeStates);
      active().setAccelerationState(m_gravity);
   }

   static ZqManipulatorSystemState convert(const State& state)
   {
      const Eigen::Quaterniond q(state.base.linear());
      ZqPositionState position;
      position.setJointPositions(listOf(state.q));
      position.setCoordSysXForm(
         {vectorOf(state.base.translation()), ZqOrientation(q.w(), q.x(), q.y(), q.z())});
      ZqVelocityState velocity;
      velocity.setJointVelocities(listOf(state.v));
      velocity.setGeneralVelocity(motionOf(state.baseVelocity));
      ZqManipulatorSystemState result;
      result.positionStates().resize(1);
      result.positionStates()[0] = position;
      result.velocityStates().resize(1);
      result.velocityStates()[0] = velocity;
      return result;
   }
   static Eigen::Matrix<double, 6, 6> toSystem(const State& state)
   {
      Eigen::Matrix<double, 6, 6> R = Eigen::Matrix<double, 6, 6>::Zero();
      R.topLeftCorner<3, 3>() = state.base.linear();
      R.bottomRightCorner<3, 3>() = state.base.linear();
      return R;
   }
   /// A mass matrix with the base last, in its axes, as one with the base first, in those of the system.
   static Eigen::VectorXd inSystem(const Eigen::MatrixXd& M, const State& state)
   {
      const Eigen::Index n = M.rows() - 6;
      Eigen::MatrixXd B = Eigen::MatrixXd::Zero(n + 6, n + 6);
      B.block(n, 0, 6, 6) = toSystem(state).transpose();
      B.block(0, 6, n, n).setIdentity();
      return (B.transpose() * M * B).reshaped();
   }

   States m_statesInCommon;
   ZqStatedSystem m_system;
   const ZqIndividualManipulator* m_manipulator = nullptr;
   std::vector<ZqManipulatorSystemState> m_states;
   std::vector<ZqAccelerationState> m_accelerations;
   ZqSystemActiveState m_activeStates;    ///< accelerated by gravity alone
   ZqManipulatorActiveState m_prescribed; ///< accelerated as the states say
   ZqAccelerationState m_gravity;
   ZqManipulatorExternalForce m_noForce;
   ZqManipulatorTorque m_noTorque;
   ZqTotalTorqueTool m_torqueTool;
   ZqMassMatrixTool m_massTool;
   ZqCrbiAccelerationTool m_byFactorisation;
   ZqArbiAccelerationTool m_byArticulatedBodies;
   const ZqCoordinateSystemTransformation* volatile m_lastFrame = nullptr;
   const ZqManipulatorTorque* m_torques = nullptr;
   const ZqReArray* m_massMatrix = nullptr;
   ZqAccelerationState m_result;
   ZqManipulatorSystemState m_step;
   ZqStatedSystem::PropagationResults m_stepResults;
};
} // namespace

Model describe(const ZqIndividualManipulator& manipulator)
{
   Model model;
   model.isFree = !manipulator.isFixedBase();
   model.base = bodyOf(manipulator.massPropertiesInDHFrame());
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const ZqCoordinateSystemTransformation X = dhFrameInBody(*link);
      ZqRigidBodyMassProperties properties = link->massPropertiesInDHFrame();
      Body body = bodyOf(properties.transformBy(X));
      const ZqManipulatorLink& parent = *link->parentLink();
      const bool isRoot = parent.linkIndex() == ZqBaseLinkIndex;
      body.parent = isRoot ? -1 : static_cast<int>(parent.linkIndex());
      // What the joint's transformation has besides its rotation and the DH frame behind that.
      const ZqCoordinateSystemTransformation joint =
         link->linkKinematicsContainer().calculateTransform(0.0) * X.inverse();
      body.placement = toEigen(isRoot ? joint : dhFrameInBody(parent) * joint);
      model.bodies.push_back(body);
   }
   return model;
}

std::unique_ptr<Library> ours(const ZqIndividualManipulator& manipulator, const States& states)
{
   return std::make_unique<Ours>(manipulator, states);
}
} // namespace zqBenchmark
