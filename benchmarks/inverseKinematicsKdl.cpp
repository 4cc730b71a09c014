#include "inverseKinematicsSolver.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#ifdef ZQ_WITH_KDL
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainiksolverpos_lma.hpp>
#include <kdl/chainiksolverpos_nr_jl.hpp>
#include <kdl/chainiksolvervel_pinv.hpp>
#endif

namespace zqBenchmark
{
#ifdef ZQ_WITH_KDL
namespace
{
KDL::Frame toKdl(const ZqCoordinateSystemTransformation& X)
{
   const ZqOrientation& q = X.orientation();
   const ZqVector& p = X.translation();
   return {KDL::Rotation::Quaternion(q.x(), q.y(), q.z(), q.w()), {p.x(), p.y(), p.z()}};
}

/// The chain, and where its root stands in the system.
struct Carried
{
   KDL::Chain chain;
   KDL::Frame root;
};

/// Joints turn about z before what stands behind them in Paul's convention, and after it in Craig's.
Carried carryOver(const ZqIndividualManipulator& manipulator)
{
   Carried result;
   result.root = toKdl(manipulator.coordSysXForm());
   std::vector<KDL::Frame> tips;
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const auto& joint =
         dynamic_cast<const ZqDenavitHartenberg&>(*link->linkKinematicsContainer().topElement());
      const KDL::Frame atZero = toKdl(joint.transformAt(0.0));
      if (joint.dhType() == ZqDenavitHartenberg::Craig)
      {
         KDL::Frame& before = tips.empty() ? result.root : tips.back();
         before = before * atZero;
         tips.push_back(KDL::Frame::Identity());
      }
      else
         tips.push_back(atZero);
   }
   tips.back() = tips.back() * toKdl(manipulator.linkPointerVector().back()->primaryFrame());
   for (const KDL::Frame& tip : tips)
      result.chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), tip));
   return result;
}

KDL::JntArray toKdl(const Joints& list)
{
   KDL::JntArray result(static_cast<unsigned>(list.size()));
   for (unsigned i = 0; i < list.size(); ++i)
      result(i) = list[i];
   return result;
}

class Kdl : public InverseSolver
{
public:
   Kdl(std::string name, const Carried& arm)
      : InverseSolver(std::move(name)), m_chain(arm.chain), m_root(arm.root), m_forward(m_chain),
        m_start(m_chain.getNrOfJoints()), m_result(m_chain.getNrOfJoints())
   {
   }
   void solve(const Joints& start, const ZqCoordinateSystemTransformation& goal,
              Joints& result) override
   {
      for (unsigned i = 0; i < start.size(); ++i)
         m_start(i) = start[i];
      inverse().CartToJnt(m_start, m_root.Inverse() * toKdl(goal), m_result);
      result.resize(start.size());
      for (unsigned i = 0; i < result.size(); ++i)
         result[i] = m_result(i);
   }
   bool agrees(const Joints& q, const ZqCoordinateSystemTransformation& pose) override
   {
      KDL::Frame X;
      m_forward.JntToCart(toKdl(q), X);
      return KDL::Equal(m_root * X, toKdl(pose), 1e-12);
   }

protected:
   virtual KDL::ChainIkSolverPos& inverse() = 0;

   KDL::Chain m_chain;
   KDL::Frame m_root;
   KDL::ChainFkSolverPos_recursive m_forward;

private:
   KDL::JntArray m_start, m_result;
};

/// Half of what is asked for, since it looks at single components or at a sum.
constexpr double kdlTolerance = 5e-10;

class Lma : public Kdl
{
public:
   /// Orientations count by a weight, which also applies to the tolerance.
   Lma(std::string name, const Carried& arm, double weight)
      : Kdl(std::move(name), arm),
        m_inverse(m_chain, (Eigen::Matrix<double, 6, 1>() << 1, 1, 1, weight, weight, weight).finished(),
                  kdlTolerance * weight, 500)
   {
   }

private:
   KDL::ChainIkSolverPos& inverse() override { return m_inverse; }
   KDL::ChainIkSolverPos_LMA m_inverse;
};

class NrJl : public Kdl
{
public:
   NrJl(const Carried& arm, const Joints& lower, const Joints& upper)
      : Kdl("KDL NR_JL", arm), m_rates(m_chain),
        m_inverse(m_chain, toKdl(lower), toKdl(upper), m_forward, m_rates, 100, kdlTolerance)
   {
   }

private:
   KDL::ChainIkSolverPos& inverse() override { return m_inverse; }
   KDL::ChainIkSolverVel_pinv m_rates;
   KDL::ChainIkSolverPos_NR_JL m_inverse;
};
} // namespace
#endif

std::vector<std::unique_ptr<InverseSolver>>
peersFor([[maybe_unused]] const ZqIndividualManipulator& manipulator,
         [[maybe_unused]] const Joints& lower, [[maybe_unused]] const Joints& upper)
{
   std::vector<std::unique_ptr<InverseSolver>> peers;
#ifdef ZQ_WITH_KDL
   const Carried arm = carryOver(manipulator);
   peers.push_back(std::make_unique<Lma>("KDL LMA, weights 1", arm, 1.0));
   peers.push_back(std::make_unique<Lma>("KDL LMA, its weights", arm, 0.01));
   peers.push_back(std::make_unique<NrJl>(arm, lower, upper));
#endif
   return peers;
}
} // namespace zqBenchmark
