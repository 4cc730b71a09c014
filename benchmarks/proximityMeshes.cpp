// Distances, overlaps and contact points of triangle meshes beside other libraries, as far as these are found. It
// prints a table of its own: microseconds a query, the best of several passes over random placements, and how many
// times as long the peers take. The questions differ: what FCL lists of meshes that overlap are pairs of triangles,
// and Bullet tells of no distance.
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"
#include "zqManipulator/foundation/proximity/ZqShapeProximity.h"

#ifdef ZQ_WITH_FCL
#include <fcl/fcl.h>
#endif
#ifdef ZQ_WITH_BULLET
#include <BulletCollision/CollisionDispatch/btCollisionDispatcher.h>
#include <BulletCollision/Gimpact/btGImpactCollisionAlgorithm.h>
#include <BulletCollision/Gimpact/btGImpactShape.h>
#include <btBulletCollisionCommon.h>
#endif

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

using namespace zqConvex;

namespace
{
constexpr int placementCount = 20;
constexpr int passes = 3;
std::mt19937_64 engine(5);
double sink = 0.0;

double real(double low, double high)
{
   return low + (high - low) * (static_cast<double>(engine() >> 11) * 0x1p-53);
}
Vec3 direction()
{
   for (;;)
   {
      const Vec3 v{real(-1.0, 1.0), real(-1.0, 1.0), real(-1.0, 1.0)};
      if (norm2(v) > 0.01 && norm2(v) < 1.0)
         return unit(v);
   }
}
/// A turn by an angle about any axis (Rodrigues).
Mat3 turn(double angle)
{
   const Vec3 k = direction();
   const double c = std::cos(angle);
   const double s = std::sin(angle);
   const auto turned = [&](const Vec3& v)
   { return v * c + cross(k, v) * s + k * (dot(k, v) * (1.0 - c)); };
   return {turned({1.0, 0.0, 0.0}), turned({0.0, 1.0, 0.0}), turned({0.0, 0.0, 1.0})};
}

/// A torus about z of n by m squares.
ZqTriangleMesh torus(ZqU32 n, ZqU32 m)
{
   std::vector<ZqVector> v;
   std::vector<ZqTriangleMesh::Triangle> t;
   for (ZqU32 i = 0; i < n; ++i)
      for (ZqU32 j = 0; j < m; ++j)
      {
         const double a = 2.0 * ZqMath::pi * i / n;
         const double b = 2.0 * ZqMath::pi * j / m;
         const double r = 1.0 + 0.3 * std::cos(b);
         v.emplace_back(r * std::cos(a), r * std::sin(a), 0.3 * std::sin(b));
         const ZqU32 k = (i + 1) % n;
         const ZqU32 l = (j + 1) % m;
         t.push_back({i * m + j, k * m + j, k * m + l});
         t.push_back({i * m + j, k * m + l, i * m + l});
      }
   return {v, t};
}

ZqSeparation separationOf(const ZqTriangleMesh& mesh, const Pose& X)
{
   ZqSeparation out;
   distance(mesh, mesh, X, nullptr, out);
   return out;
}
/// Two meshes with a gap between them; below zero, pushed that far into each other from where they touch.
std::vector<Pose> posesAt(const ZqTriangleMesh& mesh, double gap)
{
   std::vector<Pose> poses;
   while (poses.size() < placementCount)
   {
      const Vec3 u = direction();
      Pose X{turn(real(0.0, 3.1)) * turn(real(0.0, 3.1)), u * 6.0};
      const double wanted = std::max(gap, 1e-7);
      ZqSeparation out = separationOf(mesh, X);
      for (int k = 0; k < 300 && out.distance > wanted * (1.0 + 1e-6); ++k)
      {
         X.t += u * (wanted - out.distance);
         out = separationOf(mesh, X);
      }
      if (dot(X.t, u) < 0.0)
         continue;
      if (gap < 0.0)
         X.t += vec3(out.normal) * gap;
      poses.push_back(X);
   }
   return poses;
}
/// What a step later moved.
Pose steppedFrom(const Pose& X)
{
   return {turn(1e-4) * X.R, X.t + direction() * 1e-4};
}

class Peer
{
public:
   virtual ~Peer() = default;
   virtual void take(const ZqTriangleMesh& mesh) = 0;
   virtual std::optional<double> distance(const Pose&) { return std::nullopt; }
   virtual bool overlap(const Pose& X) = 0;
   virtual int contacts(const Pose& X) = 0;
};

#ifdef ZQ_WITH_FCL
class FclMeshes : public Peer
{
public:
   void take(const ZqTriangleMesh& mesh) override
   {
      std::vector<fcl::Vector3d> vertices;
      std::vector<fcl::Triangle> triangles;
      for (ZqU32 i = 0; i < mesh.vertexCount(); ++i)
         vertices.emplace_back(mesh.vertex(i).x(), mesh.vertex(i).y(), mesh.vertex(i).z());
      for (ZqU32 i = 0; i < mesh.triangleCount(); ++i)
         triangles.emplace_back(mesh.triangle(i)[0], mesh.triangle(i)[1], mesh.triangle(i)[2]);
      m_model = std::make_unique<fcl::BVHModel<fcl::OBBRSSd>>();
      m_model->beginModel();
      m_model->addSubModel(vertices, triangles);
      m_model->endModel();
   }
   std::optional<double> distance(const Pose& X) override
   {
      const fcl::DistanceRequestd request(true);
      fcl::DistanceResultd result;
      return fcl::distance(m_model.get(), fcl::Transform3d::Identity(), m_model.get(), at(X),
                           request, result);
   }
   bool overlap(const Pose& X) override { return collide(X, fcl::CollisionRequestd()) > 0; }
   int contacts(const Pose& X) override
   {
      return static_cast<int>(collide(X, fcl::CollisionRequestd(100000, true)));
   }

private:
   static fcl::Transform3d at(const Pose& X)
   {
      fcl::Transform3d Y = fcl::Transform3d::Identity();
      for (int i = 0; i < 3; ++i)
         Y.linear().col(i) = fcl::Vector3d(X.R.column(i).x, X.R.column(i).y, X.R.column(i).z);
      Y.translation() = fcl::Vector3d(X.t.x, X.t.y, X.t.z);
      return Y;
   }
   std::size_t collide(const Pose& X, const fcl::CollisionRequestd& request) const
   {
      fcl::CollisionResultd result;
      return fcl::collide(m_model.get(), fcl::Transform3d::Identity(), m_model.get(), at(X),
                          request, result);
   }

   std::unique_ptr<fcl::BVHModel<fcl::OBBRSSd>> m_model;
};
#endif

#ifdef ZQ_WITH_BULLET
/// Moving meshes, as its stepping does them: the pair's algorithm, with an empty manifold.
class BulletMeshes : public Peer
{
public:
   BulletMeshes() : m_dispatcher(&m_configuration)
   {
      btGImpactCollisionAlgorithm::registerAlgorithm(&m_dispatcher);
   }
   void take(const ZqTriangleMesh& mesh) override
   {
      m_triangles = std::make_unique<btTriangleMesh>();
      const auto corner = [&](ZqU32 v)
      { return btVector3(mesh.vertex(v).x(), mesh.vertex(v).y(), mesh.vertex(v).z()); };
      for (ZqU32 i = 0; i < mesh.triangleCount(); ++i)
         m_triangles->addTriangle(corner(mesh.triangle(i)[0]), corner(mesh.triangle(i)[1]),
                                  corner(mesh.triangle(i)[2]));
      for (int i = 0; i < 2; ++i)
      {
         m_shapes[i] = std::make_unique<btGImpactMeshShape>(m_triangles.get());
         m_shapes[i]->setMargin(0.0);
         m_shapes[i]->updateBound();
         m_objects[i].setCollisionShape(m_shapes[i].get());
         m_objects[i].setWorldTransform(btTransform::getIdentity());
      }
   }
   bool overlap(const Pose& X) override { return contacts(X) > 0; }
   int contacts(const Pose& X) override
   {
      const Mat3& R = X.R;
      m_objects[1].setWorldTransform(btTransform(
         btMatrix3x3(R.c0.x, R.c1.x, R.c2.x, R.c0.y, R.c1.y, R.c2.y, R.c0.z, R.c1.z, R.c2.z),
         btVector3(X.t.x, X.t.y, X.t.z)));
      const btCollisionObjectWrapper first(nullptr, m_shapes[0].get(), &m_objects[0],
                                           m_objects[0].getWorldTransform(), -1, -1);
      const btCollisionObjectWrapper second(nullptr, m_shapes[1].get(), &m_objects[1],
                                            m_objects[1].getWorldTransform(), -1, -1);
      btCollisionAlgorithm* algorithm =
         m_dispatcher.findAlgorithm(&first, &second, nullptr, BT_CONTACT_POINT_ALGORITHMS);
      btManifoldResult result(&first, &second);
      algorithm->processCollision(&first, &second, m_info, &result);
      const int count = result.getPersistentManifold() == nullptr
                           ? 0
                           : result.getPersistentManifold()->getNumContacts();
      algorithm->~btCollisionAlgorithm();
      m_dispatcher.freeCollisionAlgorithm(algorithm);
      return count;
   }

private:
   btDefaultCollisionConfiguration m_configuration;
   btCollisionDispatcher m_dispatcher;
   btDispatcherInfo m_info;
   std::unique_ptr<btTriangleMesh> m_triangles;
   std::unique_ptr<btGImpactMeshShape> m_shapes[2];
   btCollisionObject m_objects[2];
};
#endif

/// By their names in the head of the table.
std::vector<std::pair<std::string, std::unique_ptr<Peer>>> peers()
{
   std::vector<std::pair<std::string, std::unique_ptr<Peer>>> list;
#ifdef ZQ_WITH_FCL
   list.emplace_back("FCL", std::make_unique<FclMeshes>());
#endif
#ifdef ZQ_WITH_BULLET
   list.emplace_back("Bullet", std::make_unique<BulletMeshes>());
#endif
   return list;
}

using Query = std::function<double(std::size_t)>;
double timed(const Query& query)
{
   double best = 1e300;
   for (int pass = 0; pass < passes; ++pass)
   {
      const auto start = std::chrono::steady_clock::now();
      for (std::size_t i = 0; i < placementCount; ++i)
         sink += query(i);
      const std::chrono::duration<double, std::micro> time =
         std::chrono::steady_clock::now() - start;
      best = std::min(best, time.count() / placementCount);
   }
   return best;
}

class Table
{
public:
   explicit Table(const ZqTriangleMesh& mesh) : m_mesh(mesh)
   {
      std::printf("%-34s %10s", (std::to_string(mesh.triangleCount()) + " triangles, us").c_str(),
                  "ours");
      for (const auto& [name, peer] : m_peers)
      {
         peer->take(mesh);
         std::printf(" %10s        ", name.c_str());
      }
      std::printf("\n");
   }
   void measureDistance(double gap)
   {
      place(gap);
      const auto theirs = [](Peer& peer, const Pose& X) { return peer.distance(X); };
      const auto ours = [&](const Pose& X, ZqShapePairCache* cache)
      {
         ZqSeparation out;
         distance(m_mesh, m_mesh, X, cache, out);
         return out.distance;
      };
      measure("distance, " + text(gap) + " apart", ours, theirs);
   }
   void measureOverlap(double gap)
   {
      place(gap);
      const auto theirs = [](Peer& peer, const Pose& X)
      { return std::optional<double>(peer.overlap(X)); };
      const auto ours = [&](const Pose& X, ZqShapePairCache* cache)
      { return isWithin(m_mesh, m_mesh, X, 0.0, cache) ? 1.0 : 0.0; };
      measure("overlap, " + text(std::abs(gap)) + (gap < 0.0 ? " deep" : " apart"), ours, theirs);
   }
   void measureContacts(double gap)
   {
      place(gap);
      const auto theirs = [](Peer& peer, const Pose& X)
      { return std::optional<double>(peer.contacts(X)); };
      const auto ours = [&](const Pose& X, ZqShapePairCache* cache)
      {
         ZqContactManifold out;
         contact(m_mesh, m_mesh, X, 0.001, cache, out);
         return out.separation;
      };
      measure("contacts, " + text(-gap) + " deep", ours, theirs);
   }

private:
   static std::string text(double value)
   {
      char space[32];
      std::snprintf(space, sizeof space, "%g", value);
      return space;
   }
   void place(double gap)
   {
      m_before = posesAt(m_mesh, gap);
      m_poses.clear();
      for (const Pose& X : m_before)
         m_poses.push_back(steppedFrom(X));
   }
   template <class Ours, class Theirs>
   void measure(const std::string& name, const Ours& ours, const Theirs& theirs)
   {
      std::vector<ZqShapePairCache> caches(placementCount);
      for (std::size_t i = 0; i < placementCount; ++i)
         ours(m_before[i], &caches[i]);
      const double cold = timed([&](std::size_t i) { return ours(m_poses[i], nullptr); });
      const double warm = timed(
         [&](std::size_t i)
         {
            ZqShapePairCache cache = caches[i];
            return ours(m_poses[i], &cache);
         });
      std::vector<std::optional<double>> times;
      for (const auto& [unused, peer] : m_peers)
         times.push_back(theirs(*peer, m_poses[0])
                            ? std::optional<double>(
                                 timed([&](std::size_t i) { return *theirs(*peer, m_poses[i]); }))
                            : std::nullopt);
      for (const auto& [way, time] : {std::pair{"", cold}, std::pair{", warm", warm}})
      {
         std::printf("%-34s %10.1f", (name + way).c_str(), time);
         for (const std::optional<double>& other : times)
            if (other)
               std::printf(" %10.1f %6.2fx", *other, *other / time);
            else
               std::printf(" %10s %7s", "-", "");
         std::printf("\n");
      }
      std::fflush(stdout);
   }

   const ZqTriangleMesh& m_mesh;
   std::vector<Pose> m_before; ///< a step before
   std::vector<Pose> m_poses;
   std::vector<std::pair<std::string, std::unique_ptr<Peer>>> m_peers = peers();
};
} // namespace

int main()
{
   for (const auto& [n, m] : {std::pair<ZqU32, ZqU32>{25, 20}, {125, 80}})
   {
      const ZqTriangleMesh mesh = torus(n, m);
      Table table(mesh);
      for (const double gap : {1.0, 0.1, 0.01})
         table.measureDistance(gap);
      for (const double gap : {0.01, -0.02})
         table.measureOverlap(gap);
      for (const double gap : {-0.02, -0.1})
         table.measureContacts(gap);
   }
   return sink == 12345.0 ? 1 : 0;
}
