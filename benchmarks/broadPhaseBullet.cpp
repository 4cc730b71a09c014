#include "broadPhaseLibrary.h"

#include <BulletCollision/BroadphaseCollision/btAxisSweep3.h>
#include <BulletCollision/BroadphaseCollision/btDbvtBroadphase.h>
#include <btBulletCollisionCommon.h>

namespace zqBenchmark
{
namespace
{
class Bullet : public BroadPhase
{
public:
   Bullet(const char* name, std::unique_ptr<btBroadphaseInterface> broadPhase,
          const std::vector<Box>& boxes)
      : BroadPhase(name), m_dispatcher(&m_configuration), m_broadPhase(std::move(broadPhase))
   {
      for (const Box& box : boxes)
      {
         btBroadphaseProxy* proxy =
            m_broadPhase->createProxy(vector(box.lower), vector(box.upper), BOX_SHAPE_PROXYTYPE,
                                      nullptr, 1, -1, &m_dispatcher);
         // The sweep does not keep the box of a new proxy.
         proxy->m_aabbMin = vector(box.lower);
         proxy->m_aabbMax = vector(box.upper);
         m_proxies.push_back(proxy);
      }
      m_broadPhase->calculateOverlappingPairs(&m_dispatcher);
   }
   ~Bullet() override
   {
      for (btBroadphaseProxy* proxy : m_proxies)
         m_broadPhase->destroyProxy(proxy, &m_dispatcher);
   }
   void prepare(const Moves& moves) override { m_moves = &moves; }
   std::size_t run() override
   {
      for (const Move& move : *m_moves)
         m_broadPhase->setAabb(m_proxies[move.id], vector(move.box.lower), vector(move.box.upper),
                               &m_dispatcher);
      m_broadPhase->calculateOverlappingPairs(&m_dispatcher);
      const btBroadphasePairArray& pairs =
         m_broadPhase->getOverlappingPairCache()->getOverlappingPairArray();
      std::size_t count = 0;
      for (int k = 0; k < pairs.size(); ++k)
      {
         const btBroadphaseProxy& a = *pairs[k].m_pProxy0;
         const btBroadphaseProxy& b = *pairs[k].m_pProxy1;
         if (TestAabbAgainstAabb2(a.m_aabbMin, a.m_aabbMax, b.m_aabbMin, b.m_aabbMax))
            ++count;
      }
      return count;
   }

private:
   static btVector3 vector(const std::array<double, 3>& v) { return {v[0], v[1], v[2]}; }

   btDefaultCollisionConfiguration m_configuration;
   btCollisionDispatcher m_dispatcher;
   std::unique_ptr<btBroadphaseInterface> m_broadPhase;
   std::vector<btBroadphaseProxy*> m_proxies;
   const Moves* m_moves = nullptr;
};
} // namespace

void addBullet(const std::vector<Box>& boxes, BroadPhases& peers)
{
   peers.push_back(
      std::make_unique<Bullet>("Bullet tree", std::make_unique<btDbvtBroadphase>(), boxes));
   const btVector3 margin(2.0, 2.0, 2.0);
   btVector3 lower(1e9, 1e9, 1e9);
   btVector3 upper = -lower;
   for (const Box& box : boxes)
   {
      lower.setMin({box.lower[0], box.lower[1], box.lower[2]});
      upper.setMax({box.upper[0], box.upper[1], box.upper[2]});
   }
   peers.push_back(std::make_unique<Bullet>(
      "Bullet sweep",
      std::make_unique<btAxisSweep3>(lower - margin, upper + margin,
                                     static_cast<unsigned short>(boxes.size() + 2)),
      boxes));
}
} // namespace zqBenchmark
