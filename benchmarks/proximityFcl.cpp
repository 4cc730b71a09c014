#include "proximityLibrary.h"

#include <fcl/fcl.h>

namespace zqBenchmark
{
namespace
{
std::shared_ptr<fcl::CollisionGeometryd> geometryOf(const Solid& solid)
{
   switch (solid.kind)
   {
   case Solid::Kind::Sphere:
      return std::make_shared<fcl::Sphered>(solid.radius);
   case Solid::Kind::Capsule:
      return std::make_shared<fcl::Capsuled>(solid.radius, 2.0 * solid.halfLength);
   case Solid::Kind::Box:
      return std::make_shared<fcl::Boxd>(2.0 * solid.halfExtents);
   case Solid::Kind::Cylinder:
      return std::make_shared<fcl::Cylinderd>(solid.radius, 2.0 * solid.halfLength);
   case Solid::Kind::Hull:
      break;
   }
   auto vertices =
      std::make_shared<std::vector<fcl::Vector3d>>(solid.vertices.begin(), solid.vertices.end());
   auto faces = std::make_shared<std::vector<int>>();
   for (const std::vector<int>& face : solid.faces)
   {
      faces->push_back(static_cast<int>(face.size()));
      faces->insert(faces->end(), face.begin(), face.end());
   }
   return std::make_shared<fcl::Convexd>(vertices, static_cast<int>(solid.faces.size()), faces);
}

class FclPeer : public ProximityPeer
{
public:
   explicit FclPeer(fcl::GJKSolverType solver)
   {
      m_distance.enable_nearest_points = true;
      m_distance.gjk_solver_type = solver;
      m_overlap.enable_contact = false;
      m_overlap.gjk_solver_type = solver;
      m_contact.enable_contact = true;
      m_contact.num_max_contacts = 8;
      m_contact.gjk_solver_type = solver;
   }
   void take(const Solid& first, const Solid& second, const Placements& placements,
             const std::vector<Eigen::Vector3d>&) override
   {
      m_first = geometryOf(first);
      m_second = geometryOf(second);
      m_placements.assign(placements.begin(), placements.end());
   }
   double distance(int i) override
   {
      fcl::DistanceResultd result;
      return fcl::distance(m_first.get(), fcl::Transform3d::Identity(), m_second.get(), at(i),
                           m_distance, result);
   }
   bool overlap(int i) override
   {
      fcl::CollisionResultd result;
      return collide(i, m_overlap, result) > 0;
   }
   int contacts(int i) override
   {
      fcl::CollisionResultd result;
      collide(i, m_contact, result);
      return static_cast<int>(result.numContacts());
   }

private:
   const fcl::Transform3d& at(int i) const { return m_placements[static_cast<std::size_t>(i)]; }
   std::size_t collide(int i, const fcl::CollisionRequestd& request,
                       fcl::CollisionResultd& result) const
   {
      return fcl::collide(m_first.get(), fcl::Transform3d::Identity(), m_second.get(), at(i),
                          request, result);
   }

   fcl::DistanceRequestd m_distance;
   fcl::CollisionRequestd m_overlap, m_contact;
   std::shared_ptr<fcl::CollisionGeometryd> m_first, m_second;
   std::vector<fcl::Transform3d, Eigen::aligned_allocator<fcl::Transform3d>> m_placements;
};
} // namespace

std::vector<std::unique_ptr<ProximityPeer>> fclPeers()
{
   std::vector<std::unique_ptr<ProximityPeer>> peers;
   peers.push_back(std::make_unique<FclPeer>(fcl::GST_LIBCCD));
   peers.push_back(std::make_unique<FclPeer>(fcl::GST_INDEP));
   return peers;
}
} // namespace zqBenchmark
