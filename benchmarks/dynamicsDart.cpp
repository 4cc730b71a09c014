#include "dynamicsLibrary.h"

#include <dart/dynamics/BodyNode.hpp>
#include <dart/dynamics/FreeJoint.hpp>
#include <dart/dynamics/RevoluteJoint.hpp>
#include <dart/dynamics/Skeleton.hpp>

namespace zqBenchmark
{
namespace
{
namespace dynamics = ::dart::dynamics;

dynamics::BodyNode::Properties propertiesOf(const Body& body, const std::string& name)
{
   return dynamics::BodyNode::Properties(dynamics::BodyNode::AspectProperties(
      name, dynamics::Inertia(body.mass, body.center, body.inertia)));
}

/// A free joint moves by the twist of the body in its own axes, angular part first.
class Dart : public Library
{
public:
   Dart(const Model& model, const States& states)
      : Library("DART"), m_isFree(model.isFree), m_statesInCommon(states),
        m_skeleton(dynamics::Skeleton::create())
   {
      dynamics::BodyNode* base = nullptr;
      if (model.isFree)
         base = m_skeleton
                   ->createJointAndBodyNodePair<dynamics::FreeJoint>(
                      nullptr, dynamics::FreeJoint::Properties(), propertiesOf(model.base, "base"))
                   .second;
      for (const Body& body : model.bodies)
      {
         dynamics::RevoluteJoint::Properties joint;
         joint.mName = "joint" + std::to_string(m_bodies.size());
         joint.mAxis = Eigen::Vector3d::UnitZ();
         joint.mT_ParentBodyToJoint = body.placement;
         dynamics::BodyNode* const parent =
            body.parent < 0 ? base : m_bodies[static_cast<std::size_t>(body.parent)];
         m_bodies.push_back(
            m_skeleton
               ->createJointAndBodyNodePair<dynamics::RevoluteJoint>(
                  parent, joint, propertiesOf(body, "body" + std::to_string(m_bodies.size())))
               .second);
      }
      m_skeleton->setGravity(model.gravity);
      m_skeleton->setTimeStep(timeStep);
      m_noForces = Eigen::VectorXd::Zero(static_cast<Eigen::Index>(m_skeleton->getNumDofs()));
      for (const State& state : states)
         m_states.push_back(convert(state));
   }

   bool offers(Operation) const override { return true; }

   void run(Operation operation, std::size_t index) override
   {
      const DartState& state = m_states[index];
      m_skeleton->setPositions(state.q);
      switch (operation)
      {
      case Operation::Frames:
         for (const dynamics::BodyNode* body : m_bodies)
            m_lastFrame = &body->getWorldTransform();
         break;
      case Operation::InverseDynamics:
         m_skeleton->setVelocities(state.v);
         m_skeleton->setAccelerations(state.a);
         m_skeleton->computeInverseDynamics();
         break;
      case Operation::MassMatrix:
         m_massMatrix = &m_skeleton->getMassMatrix();
         break;
      case Operation::ByFactorisation:
         m_skeleton->setVelocities(state.v);
         m_factors.compute(m_skeleton->getMassMatrix());
         m_accelerations = m_factors.solve(m_noForces - m_skeleton->getCoriolisAndGravityForces());
         break;
      case Operation::ByArticulatedBodies:
         m_skeleton->setVelocities(state.v);
         m_skeleton->computeForwardDynamics();
         break;
      case Operation::StepByFactorisation:
         run(Operation::ByFactorisation, index);
         m_skeleton->setAccelerations(m_accelerations);
         integrate();
         break;
      case Operation::StepByArticulatedBodies:
         run(Operation::ByArticulatedBodies, index);
         integrate();
         break;
      }
   }

   Eigen::VectorXd result(Operation operation, std::size_t index) override
   {
      const State& state = m_statesInCommon[index];
      Eigen::VectorXd list;
      switch (operation)
      {
      case Operation::Frames:
         for (const dynamics::BodyNode* body : m_bodies)
            append(list, body->getWorldTransform());
         break;
      case Operation::InverseDynamics:
         return m_isFree ? Eigen::VectorXd(toBody(state).transpose() * m_skeleton->getForces())
                         : m_skeleton->getForces();
      case Operation::MassMatrix:
         return (toBody(state).transpose() * *m_massMatrix * toBody(state)).reshaped();
      case Operation::ByFactorisation:
         return fromBody(m_accelerations, state);
      case Operation::ByArticulatedBodies:
         return fromBody(m_skeleton->getAccelerations(), state);
      case Operation::StepByFactorisation:
      case Operation::StepByArticulatedBodies:
         append(list,
                fromBody((m_skeleton->getVelocities() - m_states[index].v) / timeStep, state));
         if (m_isFree)
            append(list, baseRate(state.base, m_skeleton->getRootBodyNode()->getWorldTransform()));
         append(list,
                (m_skeleton->getPositions() - m_states[index].q).tail(state.q.size()) / timeStep);
         break;
      }
      return list;
   }

private:
   struct DartState
   {
      Eigen::VectorXd q, v, a;
   };

   DartState convert(const State& state) const
   {
      if (!m_isFree)
         return {state.q, state.v, state.a};
      DartState result;
      append(result.q, dynamics::FreeJoint::convertToPositions(state.base));
      append(result.q, state.q);
      Eigen::VectorXd v(state.baseVelocity);
      append(v, state.v);
      result.v = toBody(state) * v;
      Eigen::VectorXd a(state.baseAcceleration);
      append(a, state.a);
      result.a = toBody(state) * a;
      result.a.segment<3>(3) -= inwards(state);
      return result;
   }
   /// What the acceleration of the origin has over the rate of the twist, in axes of the body.
   static Eigen::Vector3d inwards(const State& state)
   {
      const Eigen::Vector3d omega = state.baseVelocity.tail<3>();
      return state.base.linear().transpose() * omega.cross(state.baseVelocity.head<3>());
   }
   /// Takes motions of the base from axes of the system.
   Eigen::MatrixXd toBody(const State& state) const
   {
      const auto n = static_cast<Eigen::Index>(m_skeleton->getNumDofs());
      Eigen::MatrixXd B = Eigen::MatrixXd::Identity(n, n);
      if (m_isFree)
      {
         B.topLeftCorner<6, 6>().setZero();
         B.block<3, 3>(0, 3) = state.base.linear().transpose();
         B.block<3, 3>(3, 0) = state.base.linear().transpose();
      }
      return B;
   }
   Eigen::VectorXd fromBody(Eigen::VectorXd accelerations, const State& state) const
   {
      if (m_isFree)
         accelerations.segment<3>(3) += inwards(state);
      return toBody(state).transpose() * accelerations;
   }
   void integrate()
   {
      m_skeleton->integrateVelocities(timeStep);
      m_skeleton->integratePositions(timeStep);
   }

   bool m_isFree;
   States m_statesInCommon;
   dynamics::SkeletonPtr m_skeleton;
   std::vector<dynamics::BodyNode*> m_bodies;
   std::vector<DartState> m_states;
   Eigen::VectorXd m_noForces;
   const Eigen::Isometry3d* volatile m_lastFrame = nullptr;
   const Eigen::MatrixXd* m_massMatrix = nullptr;
   Eigen::LLT<Eigen::MatrixXd> m_factors;
   Eigen::VectorXd m_accelerations;
};
} // namespace

std::unique_ptr<Library> dart(const Model& model, const States& states)
{
   return std::make_unique<Dart>(model, states);
}
} // namespace zqBenchmark
