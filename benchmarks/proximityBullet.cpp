#include "proximityLibrary.h"

#include <BulletCollision/CollisionDispatch/btCollisionDispatcher.h>
#include <BulletCollision/NarrowPhaseCollision/btGjkEpaPenetrationDepthSolver.h>
#include <BulletCollision/NarrowPhaseCollision/btGjkPairDetector.h>
#include <BulletCollision/NarrowPhaseCollision/btPointCollector.h>
#include <btBulletCollisionCommon.h>

#include <optional>

namespace zqBenchmark
{
namespace
{
btVector3 vectorOf(const Eigen::Vector3d& v)
{
   return {v.x(), v.y(), v.z()};
}

std::unique_ptr<btConvexShape> shapeOf(const Solid& solid)
{
   // Its own default is 4 cm.
   constexpr double margin = 0.001;
   std::unique_ptr<btConvexShape> shape;
   switch (solid.kind)
   {
   case Solid::Kind::Sphere:
      return std::make_unique<btSphereShape>(solid.radius);
   case Solid::Kind::Capsule:
      return std::make_unique<btCapsuleShapeZ>(solid.radius, 2.0 * solid.halfLength);
   case Solid::Kind::Box:
      shape = std::make_unique<btBoxShape>(vectorOf(solid.halfExtents));
      break;
   case Solid::Kind::Cylinder:
      shape = std::make_unique<btCylinderShapeZ>(
         btVector3(solid.radius, solid.radius, solid.halfLength));
      break;
   case Solid::Kind::Hull:
   {
      auto hull = std::make_unique<btConvexHullShape>();
      for (const Eigen::Vector3d& vertex : solid.vertices)
         hull->addPoint(vectorOf(vertex), false);
      hull->recalcLocalAabb();
      hull->initializePolyhedralFeatures();
      shape = std::move(hull);
      break;
   }
   }
   shape->setMargin(margin);
   return shape;
}

class BulletPeer : public ProximityPeer
{
public:
   BulletPeer() : m_dispatcher(&m_configuration) {}
   ~BulletPeer() override { forget(); }
   void take(const Solid& first, const Solid& second, const Placements& placements,
             const std::vector<Eigen::Vector3d>& normals) override
   {
      forget();
      m_first = shapeOf(first);
      m_second = shapeOf(second);
      m_placements.clear();
      for (const Eigen::Isometry3d& X : placements)
      {
         const Eigen::Matrix3d R = X.linear();
         m_placements.emplace_back(btMatrix3x3(R(0, 0), R(0, 1), R(0, 2), R(1, 0), R(1, 1), R(1, 2),
                                               R(2, 0), R(2, 1), R(2, 2)),
                                   vectorOf(X.translation()));
      }
      m_normals.clear();
      for (const Eigen::Vector3d& n : normals)
         m_normals.push_back(vectorOf(n));
      m_firstObject.setCollisionShape(m_first.get());
      m_secondObject.setCollisionShape(m_second.get());
      m_firstObject.setWorldTransform(btTransform::getIdentity());
      m_firstWrapped.emplace(nullptr, m_first.get(), &m_firstObject,
                             m_firstObject.getWorldTransform(), -1, -1);
      m_secondWrapped.emplace(nullptr, m_second.get(), &m_secondObject,
                              m_secondObject.getWorldTransform(), -1, -1);
      m_algorithm = m_dispatcher.findAlgorithm(&*m_firstWrapped, &*m_secondWrapped, nullptr,
                                               BT_CONTACT_POINT_ALGORITHMS);
      m_result = std::make_unique<btManifoldResult>(&*m_firstWrapped, &*m_secondWrapped);
   }
   double distance(int i) override { return nearest(i, false, BT_LARGE_FLOAT); }
   double warmDistance(int i) override { return nearest(i, true, BT_LARGE_FLOAT); }
   bool overlap(int i) override { return nearest(i, false, 1e-12) <= 0.0; }
   // As its stepping does it: the pair's algorithm, with an empty manifold.
   int contacts(int i) override
   {
      m_secondObject.setWorldTransform(m_placements[static_cast<std::size_t>(i)]);
      if (m_result->getPersistentManifold() != nullptr)
         m_result->getPersistentManifold()->clearManifold();
      m_algorithm->processCollision(&*m_firstWrapped, &*m_secondWrapped, m_info, m_result.get());
      return m_result->getPersistentManifold() == nullptr
                ? 0
                : m_result->getPersistentManifold()->getNumContacts();
   }

private:
   double nearest(int i, bool isWarm, double farthest2)
   {
      btGjkPairDetector detector(m_first.get(), m_second.get(), &m_simplex,
                                 farthest2 < 1.0 ? nullptr : &m_depth);
      if (isWarm)
         detector.setCachedSeparatingAxis(-m_normals[static_cast<std::size_t>(i)]);
      btDiscreteCollisionDetectorInterface::ClosestPointInput input;
      input.m_transformA.setIdentity();
      input.m_transformB = m_placements[static_cast<std::size_t>(i)];
      input.m_maximumDistanceSquared = farthest2;
      btPointCollector result;
      detector.getClosestPoints(input, result, nullptr);
      return result.m_distance;
   }
   void forget()
   {
      m_result.reset();
      if (m_algorithm == nullptr)
         return;
      m_algorithm->~btCollisionAlgorithm();
      m_dispatcher.freeCollisionAlgorithm(m_algorithm);
      m_algorithm = nullptr;
   }

   btDefaultCollisionConfiguration m_configuration;
   btCollisionDispatcher m_dispatcher;
   btVoronoiSimplexSolver m_simplex;
   btGjkEpaPenetrationDepthSolver m_depth;
   btDispatcherInfo m_info;
   std::unique_ptr<btConvexShape> m_first, m_second;
   btCollisionObject m_firstObject, m_secondObject;
   std::optional<btCollisionObjectWrapper> m_firstWrapped, m_secondWrapped;
   btCollisionAlgorithm* m_algorithm = nullptr;
   std::unique_ptr<btManifoldResult> m_result;
   std::vector<btTransform> m_placements;
   std::vector<btVector3> m_normals;
};
} // namespace

std::unique_ptr<ProximityPeer> bulletPeer()
{
   return std::make_unique<BulletPeer>();
}
} // namespace zqBenchmark
