#include "broadPhaseLibrary.h"

#include <fcl/broadphase/broadphase_SaP.h>
#include <fcl/broadphase/broadphase_dynamic_AABB_tree.h>
#include <fcl/geometry/shape/box.h>

namespace zqBenchmark
{
namespace
{
class Fcl : public BroadPhase
{
public:
   using Manager = fcl::BroadPhaseCollisionManagerd;

   Fcl(const char* name, std::unique_ptr<Manager> manager, const std::vector<Box>& boxes)
      : BroadPhase(name), m_manager(std::move(manager))
   {
      std::vector<fcl::CollisionObjectd*> list;
      for (const Box& box : boxes)
      {
         const auto shape = std::make_shared<fcl::Boxd>(
            box.upper[0] - box.lower[0], box.upper[1] - box.lower[1], box.upper[2] - box.lower[2]);
         list.push_back(
            m_objects.emplace_back(std::make_unique<fcl::CollisionObjectd>(shape)).get());
         place(*list.back(), box);
      }
      m_manager->registerObjects(list);
      m_manager->setup();
   }
   void prepare(const Moves& moves) override
   {
      m_moved.clear();
      for (const Move& move : moves)
      {
         place(*m_objects[move.id], move.box);
         m_moved.push_back(m_objects[move.id].get());
      }
   }
   std::size_t run() override
   {
      if (m_moved.size() < m_objects.size())
         m_manager->update(m_moved);
      else
         m_manager->update();
      std::size_t count = 0;
      m_manager->collide(&count,
                         [](fcl::CollisionObjectd* a, fcl::CollisionObjectd* b, void* data)
                         {
                            if (a->getAABB().overlap(b->getAABB()))
                               ++*static_cast<std::size_t*>(data);
                            return false;
                         });
      return count;
   }

private:
   static void place(fcl::CollisionObjectd& object, const Box& box)
   {
      object.setTranslation({(box.lower[0] + box.upper[0]) / 2.0,
                             (box.lower[1] + box.upper[1]) / 2.0,
                             (box.lower[2] + box.upper[2]) / 2.0});
      object.computeAABB();
   }
   std::unique_ptr<Manager> m_manager;
   std::vector<std::unique_ptr<fcl::CollisionObjectd>> m_objects;
   std::vector<fcl::CollisionObjectd*> m_moved;
};
} // namespace

void addFcl(const std::vector<Box>& boxes, bool isCrowded, BroadPhases& peers)
{
   peers.push_back(std::make_unique<Fcl>(
      "FCL tree", std::make_unique<fcl::DynamicAABBTreeCollisionManagerd>(), boxes));
   if (!isCrowded)
      peers.push_back(
         std::make_unique<Fcl>("FCL sweep", std::make_unique<fcl::SaPCollisionManagerd>(), boxes));
}
} // namespace zqBenchmark
