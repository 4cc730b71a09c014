#include "dynamicsLibrary.h"

#include <kdl/chain.hpp>
#include <kdl/chaindynparam.hpp>
#include <kdl/chainfdsolver_recursive_newton_euler.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainhdsolver_vereshchagin.hpp>
#include <kdl/chainidsolver_recursive_newton_euler.hpp>

namespace zqBenchmark
{
namespace
{
KDL::Vector toKdl(const Eigen::Vector3d& v)
{
   return {v.x(), v.y(), v.z()};
}

KDL::Frame toKdl(const Eigen::Isometry3d& X)
{
   const Eigen::Matrix3d R = X.linear();
   return {KDL::Rotation(R(0, 0), R(0, 1), R(0, 2), R(1, 0), R(1, 1), R(1, 2), R(2, 0), R(2, 1),
                         R(2, 2)),
           toKdl(X.translation())};
}

Eigen::Isometry3d fromKdl(const KDL::Frame& frame)
{
   Eigen::Isometry3d X = Eigen::Isometry3d::Identity();
   for (int i = 0; i < 3; ++i)
   {
      for (int j = 0; j < 3; ++j)
         X(i, j) = frame.M(i, j);
      X(i, 3) = frame.p(i);
   }
   return X;
}

/// The root stands in the frame of the first joint, and the tip of each segment in that of the next
/// joint, so that there are as few segments and transformations as can be.
KDL::Chain chainOf(const Model& model)
{
   KDL::Chain chain;
   for (std::size_t i = 0; i < model.bodies.size(); ++i)
   {
      const Body& body = model.bodies[i];
      const Eigen::Matrix3d& I = body.inertia;
      const KDL::Frame tip = i + 1 < model.bodies.size() ? toKdl(model.bodies[i + 1].placement)
                                                         : KDL::Frame::Identity();
      const KDL::RigidBodyInertia inertia(
         body.mass, toKdl(body.center),
         KDL::RotationalInertia(I(0, 0), I(1, 1), I(2, 2), I(0, 1), I(0, 2), I(1, 2)));
      chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), tip, tip.Inverse() * inertia));
   }
   return chain;
}

class Kdl : public Library
{
public:
   Kdl(const Model& model, const States& states)
      : Library("KDL"), m_placements(model.bodies.size()), m_chain(chainOf(model)),
        m_gravity(toKdl(model.bodies.front().placement.linear().transpose() * model.gravity)),
        m_frameSolver(m_chain), m_inverseSolver(m_chain, m_gravity),
        m_parameters(m_chain, m_gravity), m_byFactorisation(m_chain, m_gravity),
        m_byArticulatedBodies(m_chain, KDL::Twist(-m_gravity, KDL::Vector::Zero()), 0),
        m_frames(m_chain.getNrOfSegments()), m_noForces(m_chain.getNrOfSegments()),
        m_torques(m_chain.getNrOfJoints()), m_noTorques(m_chain.getNrOfJoints()),
        m_noConstraints(0), m_constraintTorques(m_chain.getNrOfJoints()), m_noDirections(0),
        m_accelerations(m_chain.getNrOfJoints()), m_positions(m_chain.getNrOfJoints()),
        m_velocities(m_chain.getNrOfJoints()), m_massMatrix(m_chain.getNrOfJoints())
   {
      for (std::size_t i = 0; i < model.bodies.size(); ++i)
         m_placements[i] = model.bodies[i].placement;
      for (const State& state : states)
      {
         KDL::JntArray q(m_chain.getNrOfJoints());
         KDL::JntArray v = q;
         KDL::JntArray a = q;
         q.data = state.q;
         v.data = state.v;
         a.data = state.a;
         m_states.push_back({q, v, a});
      }
   }

   bool offers(Operation) const override { return true; }

   void run(Operation operation, std::size_t index) override
   {
      const auto& [q, v, a] = m_states[index];
      switch (operation)
      {
      case Operation::Frames:
         m_frameSolver.JntToCart(q, m_frames);
         break;
      case Operation::InverseDynamics:
         m_inverseSolver.CartToJnt(q, v, a, m_noForces, m_torques);
         break;
      case Operation::MassMatrix:
         m_parameters.JntToMass(q, m_massMatrix);
         break;
      case Operation::ByFactorisation:
         m_byFactorisation.CartToJnt(q, v, m_noTorques, m_noForces, m_accelerations);
         break;
      case Operation::ByArticulatedBodies:
         m_byArticulatedBodies.CartToJnt(q, v, m_accelerations, m_noDirections, m_noConstraints,
                                         m_noForces, m_noTorques, m_constraintTorques);
         break;
      case Operation::StepByFactorisation:
         run(Operation::ByFactorisation, index);
         integrate(q, v);
         break;
      case Operation::StepByArticulatedBodies:
         run(Operation::ByArticulatedBodies, index);
         integrate(q, v);
         break;
      }
   }

   Eigen::VectorXd result(Operation operation, std::size_t index) override
   {
      Eigen::VectorXd list;
      switch (operation)
      {
      case Operation::Frames:
         for (std::size_t i = 0; i < m_placements.size(); ++i)
         {
            const Eigen::Isometry3d tip = m_placements.front() * fromKdl(m_frames[i]);
            append(list, i + 1 < m_placements.size() ? tip * m_placements[i + 1].inverse() : tip);
         }
         break;
      case Operation::InverseDynamics:
         return m_torques.data;
      case Operation::MassMatrix:
         return m_massMatrix.data.reshaped();
      case Operation::ByFactorisation:
      case Operation::ByArticulatedBodies:
         return m_accelerations.data;
      case Operation::StepByFactorisation:
      case Operation::StepByArticulatedBodies:
         append(list, (m_velocities.data - m_states[index].v.data) / timeStep);
         append(list, (m_positions.data - m_states[index].q.data) / timeStep);
         break;
      }
      return list;
   }

private:
   struct KdlState
   {
      KDL::JntArray q, v, a;
   };

   void integrate(const KDL::JntArray& q, const KDL::JntArray& v)
   {
      m_velocities.data = v.data + timeStep * m_accelerations.data;
      m_positions.data = q.data + timeStep * m_velocities.data;
   }

   std::vector<Eigen::Isometry3d> m_placements;
   KDL::Chain m_chain;
   KDL::Vector m_gravity;
   KDL::ChainFkSolverPos_recursive m_frameSolver;
   KDL::ChainIdSolver_RNE m_inverseSolver;
   KDL::ChainDynParam m_parameters;
   KDL::ChainFdSolver_RNE m_byFactorisation;
   KDL::ChainHdSolver_Vereshchagin m_byArticulatedBodies;
   std::vector<KdlState> m_states;
   std::vector<KDL::Frame> m_frames;
   KDL::Wrenches m_noForces;
   KDL::JntArray m_torques, m_noTorques, m_noConstraints, m_constraintTorques;
   KDL::Jacobian m_noDirections;
   KDL::JntArray m_accelerations, m_positions, m_velocities;
   KDL::JntSpaceInertiaMatrix m_massMatrix;
};
} // namespace

/// Its solvers of dynamics are for chains on a fixed base.
std::unique_ptr<Library> kdl(const Model& model, const States& states)
{
   if (model.isFree)
      return nullptr;
   for (std::size_t i = 0; i < model.bodies.size(); ++i)
      if (model.bodies[i].parent != static_cast<int>(i) - 1)
         return nullptr;
   return std::make_unique<Kdl>(model, states);
}
} // namespace zqBenchmark
