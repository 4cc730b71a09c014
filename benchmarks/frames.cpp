// All link frames of a manipulator after a change of position, by the public queries, beside the same
// quaternion frames by a loop over plain structs and, where it is installed, beside KDL.

#include "models.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <benchmark/benchmark.h>

#ifdef ZQ_WITH_KDL
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#endif

#include <array>
#include <cmath>

namespace
{
using Build = ZqIndividualManipulator (*)();

struct Vector
{
   double x, y, z;
};
struct Quaternion
{
   double w, x, y, z;
};
struct Frame
{
   Vector p;
   Quaternion q;
};

Vector cross(const Vector& a, const Vector& b)
{
   return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline Frame product(const Frame& a, const Frame& b)
{
   const Vector u{a.q.x, a.q.y, a.q.z};
   Vector t = cross(u, b.p);
   t = {2.0 * t.x, 2.0 * t.y, 2.0 * t.z};
   const Vector s = cross(u, t);
   return {{a.p.x + b.p.x + t.x * a.q.w + s.x, a.p.y + b.p.y + t.y * a.q.w + s.y,
            a.p.z + b.p.z + t.z * a.q.w + s.z},
           {a.q.w * b.q.w - a.q.x * b.q.x - a.q.y * b.q.y - a.q.z * b.q.z,
            a.q.w * b.q.x + a.q.x * b.q.w + a.q.y * b.q.z - a.q.z * b.q.y,
            a.q.w * b.q.y - a.q.x * b.q.z + a.q.y * b.q.w + a.q.z * b.q.x,
            a.q.w * b.q.z + a.q.x * b.q.y - a.q.y * b.q.x + a.q.z * b.q.w}};
}

Frame frameOf(const ZqCoordinateSystemTransformation& X)
{
   const ZqVector& p = X.translation();
   const ZqOrientation& q = X.orientation();
   return {{p.x(), p.y(), p.z()}, {q.w(), q.x(), q.y(), q.z()}};
}

/// The floor: one flat list in the order of the link indices.
class ByHand
{
public:
   explicit ByHand(const ZqIndividualManipulator& manipulator)
   {
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      {
         const auto& joint =
            static_cast<const ZqDenavitHartenberg&>(*link->linkKinematicsContainer().topElement());
         const ZqU32 parent = link->parentLink()->linkIndex();
         m_links.push_back({parent == ZqBaseLinkIndex ? 0 : parent + 1,
                            joint.dhType() == ZqDenavitHartenberg::Paul, joint.dhA(), joint.dhD(),
                            joint.dhAlpha().sin(), joint.dhAlpha().cos(),
                            std::cos(joint.dhAlpha() / 2.0), std::sin(joint.dhAlpha() / 2.0),
                            link->primaryFrame().mode() != 3, frameOf(link->primaryFrame())});
      }
      m_dhFrames.resize(m_links.size() + 1, frameOf({}));
      m_primaryFrames = m_dhFrames;
   }

   [[gnu::noinline]] void calculate(const double* joints)
   {
      for (std::size_t i = 0; i < m_links.size(); ++i)
      {
         const Link& link = m_links[i];
         const double c = std::cos(joints[i] / 2.0);
         const double s = std::sin(joints[i] / 2.0);
         Frame T;
         if (link.isPaul)
         {
            T.p = {link.a * (1.0 - 2.0 * s * s), link.a * 2.0 * s * c, link.d};
            T.q = {c * link.cosHalf, c * link.sinHalf, s * link.sinHalf, s * link.cosHalf};
         }
         else
         {
            T.p = {link.a, -link.d * link.sinAlpha, link.d * link.cosAlpha};
            T.q = {c * link.cosHalf, c * link.sinHalf, -s * link.sinHalf, s * link.cosHalf};
         }
         m_dhFrames[i + 1] = product(m_dhFrames[link.parent], T);
         m_primaryFrames[i + 1] = link.hasPrimaryFrame
                                     ? product(m_dhFrames[i + 1], link.primaryFrame)
                                     : m_dhFrames[i + 1];
      }
   }
   const Frame& primaryFrame(std::size_t link) const { return m_primaryFrames[link + 1]; }

private:
   struct Link
   {
      ZqU32 parent;
      bool isPaul;
      double a, d, sinAlpha, cosAlpha, cosHalf, sinHalf;
      bool hasPrimaryFrame;
      Frame primaryFrame;
   };

   std::vector<Link> m_links;
   std::vector<Frame> m_dhFrames;
   std::vector<Frame> m_primaryFrames;
};

/// Positions that differ in every joint.
std::array<ZqPositionState, 64> positions(ZqU32 joints)
{
   zqTest::RandomValues random(joints);
   std::array<ZqPositionState, 64> list;
   for (ZqPositionState& state : list)
   {
      std::vector<ZqReal> values(joints);
      for (ZqReal& value : values)
         value = random.real(-3.0, 3.0);
      state.setJointPositions(values);
   }
   return list;
}

void byHand(benchmark::State& state, Build build)
{
   const ZqIndividualManipulator manipulator = build();
   const auto list = positions(manipulator.jointDof());
   ByHand frames(manipulator);
   std::size_t i = 0;
   for (auto _ : state)
   {
      frames.calculate(list[i++ & 63U].jointPositions().values().data());
      benchmark::DoNotOptimize(frames.primaryFrame(0));
      benchmark::ClobberMemory();
   }

   // The floor is one only if it computes the same.
   ZqManipulatorActiveState active;
   active.setPositionState(list[0]);
   frames.calculate(list[0].jointPositions().values().data());
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const Frame& frame = frames.primaryFrame(link->linkIndex());
      const ZqCoordinateSystemTransformation computed(
         ZqVector(frame.p.x, frame.p.y, frame.p.z),
         ZqOrientation(frame.q.w, frame.q.x, frame.q.y, frame.q.z));
      if (!link->primaryFrameInSystem(active.activePositionState()).approxEq(computed, 1e-11))
         state.SkipWithError("the frames differ");
   }
}

void byQueries(benchmark::State& state, Build build)
{
   const ZqIndividualManipulator manipulator = build();
   const auto list = positions(manipulator.jointDof());
   ZqManipulatorActiveState active;
   const auto& links = manipulator.linkPointerVector();
   std::size_t i = 0;
   for (auto _ : state)
   {
      active.setPositionState(list[i++ & 63U]);
      auto& position = active.activePositionState();
      for (const ZqManipulatorLink* link : links)
         benchmark::DoNotOptimize(link->primaryFrameInSystem(position));
   }
}

void queriesAgain(benchmark::State& state, Build build)
{
   const ZqIndividualManipulator manipulator = build();
   ZqManipulatorActiveState active;
   active.setPositionState(positions(manipulator.jointDof())[0]);
   const auto& links = manipulator.linkPointerVector();
   auto& position = active.activePositionState();
   for (auto _ : state)
      for (const ZqManipulatorLink* link : links)
         benchmark::DoNotOptimize(link->primaryFrameInSystem(position));
}

void setEqualPosition(benchmark::State& state, Build build)
{
   const ZqIndividualManipulator manipulator = build();
   const auto list = positions(manipulator.jointDof());
   ZqManipulatorActiveState active;
   active.setPositionState(list[0]);
   for (auto _ : state)
      benchmark::DoNotOptimize(active.setPositionState(list[0]));
}

void setNewPosition(benchmark::State& state, Build build)
{
   const ZqIndividualManipulator manipulator = build();
   const auto list = positions(manipulator.jointDof());
   ZqManipulatorActiveState active;
   std::size_t i = 0;
   for (auto _ : state)
      benchmark::DoNotOptimize(active.setPositionState(list[i++ & 63U]));
}

#ifdef ZQ_WITH_KDL
/// The same arm, all its frames.
void byKdl(benchmark::State& state, Build build)
{
   const ZqIndividualManipulator manipulator = build();
   const auto list = positions(manipulator.jointDof());
   KDL::Chain chain;
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const auto& joint =
         static_cast<const ZqDenavitHartenberg&>(*link->linkKinematicsContainer().topElement());
      chain.addSegment(
         KDL::Segment(KDL::Joint(KDL::Joint::None),
                      KDL::Frame::DH_Craig1989(joint.dhA(), joint.dhAlpha(), joint.dhD(), 0.0)));
      chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ)));
   }
   // Fixed segments are folded into the ones before, as a user of the library would do it.
   KDL::Chain folded;
   KDL::Frame pending = KDL::Frame::Identity();
   std::vector<KDL::Frame> fixed;
   for (const auto& segment : chain.segments)
      if (segment.getJoint().getType() == KDL::Joint::None)
         fixed.push_back(segment.getFrameToTip());
   folded.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::None), fixed[0]));
   for (std::size_t i = 0; i < fixed.size(); ++i)
      folded.addSegment(
         KDL::Segment(KDL::Joint(KDL::Joint::RotZ), i + 1 < fixed.size() ? fixed[i + 1] : pending));

   KDL::ChainFkSolverPos_recursive solver(folded);
   std::vector<KDL::Frame> frames(folded.getNrOfSegments());
   std::array<KDL::JntArray, 64> joints;
   for (std::size_t i = 0; i < joints.size(); ++i)
   {
      joints[i].resize(folded.getNrOfJoints());
      for (unsigned j = 0; j < folded.getNrOfJoints(); ++j)
         joints[i](j) = list[i].jointPositions()[j];
   }
   std::size_t i = 0;
   for (auto _ : state)
   {
      solver.JntToCart(joints[i++ & 63U], frames);
      benchmark::ClobberMemory();
   }

   ZqManipulatorActiveState active;
   active.setPositionState(list[0]);
   solver.JntToCart(joints[0], frames);
   const ZqU32 last = manipulator.jointDof() - 1;
   const ZqVector& tip =
      manipulator.linkByIndex(last)->dhFrameInSystem(active.activePositionState()).translation();
   const KDL::Vector& p = frames.back().p;
   if (!tip.approxEq(ZqVector(p.x(), p.y(), p.z()), 1e-11))
      state.SkipWithError("the frames differ");
}
BENCHMARK_CAPTURE(byKdl, arm7, zqBenchmark::arm7);
#endif

// How time grows with the number of links: in a chain and in a balanced tree.
void growth(benchmark::State& state, zqTest::Parents (*shape)(ZqU32))
{
   const auto links = static_cast<ZqU32>(state.range(0));
   const ZqIndividualManipulator manipulator = zqBenchmark::generalTree(shape(links));
   const auto list = positions(links);
   ZqManipulatorActiveState active;
   std::size_t i = 0;
   for (auto _ : state)
   {
      active.setPositionState(list[i++ & 63U]);
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         benchmark::DoNotOptimize(link->primaryFrameInSystem(active.activePositionState()));
   }
   state.SetItemsProcessed(state.iterations() * links);
}

void copying(benchmark::State& state, zqTest::Parents (*shape)(ZqU32))
{
   const auto links = static_cast<ZqU32>(state.range(0));
   const ZqIndividualManipulator manipulator = zqBenchmark::generalTree(shape(links));
   for (auto _ : state)
   {
      const ZqIndividualManipulator copy(manipulator);
      benchmark::DoNotOptimize(copy == manipulator);
   }
   state.SetItemsProcessed(state.iterations() * links);
}
} // namespace

#define ZQ_ON_ALL_MODELS(function)                                                                 \
   BENCHMARK_CAPTURE(function, arm7, zqBenchmark::arm7);                                           \
   BENCHMARK_CAPTURE(function, tree30, zqBenchmark::tree30);                                       \
   BENCHMARK_CAPTURE(function, chain100, zqBenchmark::chain100)

ZQ_ON_ALL_MODELS(byHand);
ZQ_ON_ALL_MODELS(byQueries);
ZQ_ON_ALL_MODELS(queriesAgain);
ZQ_ON_ALL_MODELS(setEqualPosition);
ZQ_ON_ALL_MODELS(setNewPosition);
BENCHMARK_CAPTURE(growth, chain, zqTest::chain)->RangeMultiplier(10)->Range(10, 10000);
BENCHMARK_CAPTURE(growth, balancedTree, zqTest::balancedTree)
   ->RangeMultiplier(10)
   ->Range(10, 10000);
BENCHMARK_CAPTURE(copying, chain, zqTest::chain)->RangeMultiplier(10)->Range(10, 10000);
BENCHMARK_CAPTURE(copying, balancedTree, zqTest::balancedTree)
   ->RangeMultiplier(10)
   ->Range(10, 10000);
