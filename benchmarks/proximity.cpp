// Distances, overlaps and contact points of pairs of bodies beside other libraries, as far as these are found. It
// prints a table of its own: nanoseconds a query, the best of several passes over random placements, and how
// many times as long the peers take. Of FCL's two solvers the better one counts.
#include "proximityLibrary.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <random>

using namespace zqBenchmark;
using namespace zqConvex;

namespace
{
constexpr int placementCount = 400;
constexpr int passes = 25;

class Values
{
public:
   double real(double low, double high)
   {
      return low + (high - low) * (static_cast<double>(m_engine() >> 11) * 0x1p-53);
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
   /// A turn by an angle about any axis.
   Mat3 turn(double angle) { return turn(angle, direction()); }
   static Mat3 turn(double angle, const Vec3& axis)
   {
      const Eigen::Matrix3d R =
         Eigen::AngleAxisd(angle, Eigen::Vector3d(axis.x, axis.y, axis.z)).toRotationMatrix();
      return {
         {R(0, 0), R(1, 0), R(2, 0)}, {R(0, 1), R(1, 1), R(2, 1)}, {R(0, 2), R(1, 2), R(2, 2)}};
   }
   Mat3 anyTurn() { return turn(real(0.0, 3.1)) * turn(real(0.0, 3.1)); }

private:
   std::mt19937_64 m_engine{11};
};
Values values;
double sink = 0.0;

struct Body
{
   ZqConvex ours;
   Solid solid;
};

Body hullBody(const std::vector<Vec3>& points)
{
   Body body;
   const auto hull = ZqHull::of(points);
   body.ours = ZqConvex::polytope(hull, ZqVector());
   body.solid.kind = Solid::Kind::Hull;
   for (const Vec3& v : hull->vertices)
      body.solid.vertices.emplace_back(v.x, v.y, v.z);
   for (const ZqHull::Face& face : hull->faces)
   {
      const auto first = hull->corners.begin() + face.firstCorner;
      body.solid.faces.emplace_back(first, first + face.cornerCount);
   }
   return body;
}

Body bodyOf(const std::string& name)
{
   Body body;
   Solid& solid = body.solid;
   const ZqVector low(0.0, 0.0, -0.5);
   const ZqVector high(0.0, 0.0, 0.5);
   solid.halfLength = 0.5;
   if (name == "sphere")
   {
      solid.radius = 0.5;
      body.ours = ZqConvex::sphere(ZqVector(), 0.5);
   }
   else if (name == "capsule")
   {
      solid.kind = Solid::Kind::Capsule;
      solid.radius = 0.3;
      body.ours = ZqConvex::capsule(low, high, 0.3);
   }
   else if (name == "cylinder")
   {
      solid.kind = Solid::Kind::Cylinder;
      solid.radius = 0.4;
      body.ours = ZqConvex::frustum(low, high, 0.4, 0.4);
   }
   else if (name == "box")
   {
      solid.kind = Solid::Kind::Box;
      solid.halfExtents = {0.5, 0.4, 0.3};
      body.ours = ZqConvex::box(ZqCoordinateSystemTransformation(), {0.5, 0.4, 0.3});
   }
   else if (name == "prism")
   {
      std::vector<Vec3> points;
      for (int i = 0; i < 16; ++i)
         for (const double z : {-0.3, 0.3})
            points.push_back(Values::turn(i * ZqMath::pi / 8.0, {0.0, 0.0, 1.0}) *
                             Vec3{0.5, 0.0, z});
      return hullBody(points);
   }
   else
   {
      std::vector<Vec3> points;
      for (int i = 0; i < std::stoi(name.substr(4)); ++i)
      {
         const Vec3 d = values.direction();
         points.push_back({0.5 * d.x, 0.4 * d.y, 0.3 * d.z});
      }
      return hullBody(points);
   }
   return body;
}

double timed(const std::function<double(int)>& query)
{
   double best = 1e300;
   for (int pass = 0; pass < passes; ++pass)
   {
      const auto start = std::chrono::steady_clock::now();
      for (int i = 0; i < placementCount; ++i)
         sink += query(i);
      const std::chrono::duration<double, std::nano> time =
         std::chrono::steady_clock::now() - start;
      best = std::min(best, time.count() / placementCount);
   }
   return best;
}

/// One row of the table: a question about two bodies at placements.
struct Row
{
   std::string name;
   const Body& first;
   const Body& second;
   std::vector<Pose> poses;
   std::function<double(int)> ours;
   double (*theirs)(ProximityPeer&, int);
   std::vector<ZqVector> normals = {}; ///< a little before
};

class Peers
{
public:
   Peers()
   {
#ifdef ZQ_WITH_FCL
      m_fcl = fclPeers();
#endif
#ifdef ZQ_WITH_BULLET
      m_bullet = bulletPeer();
#endif
   }
   void measure(const Row& row)
   {
      const double ours = timed(row.ours);
      std::printf("%-42s %9.0f", row.name.c_str(), ours);
      double fcl = 1e300;
      for (const auto& peer : m_fcl)
         fcl = std::min(fcl, timeOf(*peer, row));
      if (!m_fcl.empty())
         std::printf(" %9.0f", fcl);
      double bullet = 0.0;
      if (m_bullet)
         std::printf(" %9.0f", bullet = timeOf(*m_bullet, row));
      if (!m_fcl.empty())
         std::printf("   %6.1f", fcl / ours);
      if (m_bullet)
         std::printf(" %6.1f", bullet / ours);
      std::printf("\n");
      std::fflush(stdout);
   }
   void printHead() const
   {
      std::printf("%-42s %9s", "ns", "ours");
      if (!m_fcl.empty())
         std::printf(" %9s", "FCL");
      if (m_bullet)
         std::printf(" %9s", "Bullet");
      if (!m_fcl.empty())
         std::printf("   %6s", "FCL/");
      if (m_bullet)
         std::printf(" %6s", "Bul./");
      std::printf("\n");
   }

private:
   static double timeOf(ProximityPeer& peer, const Row& row)
   {
      Placements placements;
      for (const Pose& X : row.poses)
      {
         Eigen::Isometry3d Y = Eigen::Isometry3d::Identity();
         for (int i = 0; i < 3; ++i)
            Y.linear().col(i) = Eigen::Vector3d(X.R.column(i).x, X.R.column(i).y, X.R.column(i).z);
         Y.translation() = Eigen::Vector3d(X.t.x, X.t.y, X.t.z);
         placements.push_back(Y);
      }
      std::vector<Eigen::Vector3d> normals;
      for (const ZqVector& n : row.normals)
         normals.emplace_back(n.x(), n.y(), n.z());
      peer.take(row.first.solid, row.second.solid, placements, normals);
      return timed([&](int i) { return row.theirs(peer, i); });
   }

   std::vector<std::unique_ptr<ProximityPeer>> m_fcl;
   std::unique_ptr<ProximityPeer> m_bullet;
};

Pose placedApart(const Body& A, const Body& B, double gap)
{
   Pose X{values.anyTurn(), {0.0, 0.0, 0.0}};
   const Vec3 u = values.direction();
   double low = 0.0;
   double high = 6.0;
   for (int k = 0; k < 60; ++k)
   {
      const double middle = 0.5 * (low + high);
      ZqSeparation separation;
      X.t = u * middle;
      distance(A.ours, B.ours, X, nullptr, separation);
      (separation.distance < gap ? low : high) = middle;
   }
   X.t = u * high;
   return X;
}
std::vector<Pose> posesApart(const Body& A, const Body& B, double gap, double other)
{
   std::vector<Pose> poses;
   for (int i = 0; i < placementCount; ++i)
      poses.push_back(placedApart(A, B, i % 2 == 0 ? gap : other));
   return poses;
}
/// Standing on the first, turned anyhow about z, and tilted as little as a body that rests is.
std::vector<Pose> posesResting(double height)
{
   std::vector<Pose> poses;
   for (int i = 0; i < placementCount; ++i)
      poses.push_back({values.turn(1e-5) * Values::turn(values.real(0.0, 6.28), {0.0, 0.0, 1.0}),
                       {values.real(-0.2, 0.2), values.real(-0.2, 0.2), height - 1e-4}});
   return poses;
}

void measureDistance(Peers& peers, const std::string& a, const std::string& b, double gap)
{
   const Body A = bodyOf(a);
   const Body B = bodyOf(b);
   Row row{a + ", " + b + (gap < 0.1 ? ", 0.01 apart" : ", 1 apart"),
           A,
           B,
           posesApart(A, B, gap, gap),
           {},
           [](ProximityPeer& peer, int i) { return peer.distance(i); }};
   row.ours = [&](int i)
   {
      ZqSeparation separation;
      distance(A.ours, B.ours, row.poses[static_cast<std::size_t>(i)], nullptr, separation);
      return separation.distance;
   };
   peers.measure(row);
}

void measureWarm(Peers& peers, const std::string& a, const std::string& b)
{
   const Body A = bodyOf(a);
   const Body B = bodyOf(b);
   Row row{a + ", " + b + ", warm",
           A,
           B,
           posesApart(A, B, 0.01, 0.01),
           {},
           [](ProximityPeer& peer, int i) { return peer.warmDistance(i); }};
   std::vector<ZqPairCache> caches(row.poses.size());
   for (std::size_t i = 0; i < row.poses.size(); ++i)
   {
      ZqSeparation separation;
      Pose& X = row.poses[i];
      distance(A.ours, B.ours, X, &caches[i], separation);
      row.normals.push_back(separation.normal);
      X = {values.turn(1e-4) * X.R, X.t + values.direction() * 1e-4};
   }
   row.ours = [&](int i)
   {
      ZqPairCache cache = caches[static_cast<std::size_t>(i)];
      ZqSeparation separation;
      distance(A.ours, B.ours, row.poses[static_cast<std::size_t>(i)], &cache, separation);
      return separation.distance;
   };
   peers.measure(row);
}

void measureOverlap(Peers& peers, const std::string& a, const std::string& b)
{
   const Body A = bodyOf(a);
   const Body B = bodyOf(b);
   Row row{a + ", " + b + ", overlap or not",
           A,
           B,
           posesApart(A, B, 0.05, -0.05),
           {},
           [](ProximityPeer& peer, int i) { return peer.overlap(i) ? 1.0 : 0.0; }};
   row.ours = [&](int i)
   {
      return isWithin(A.ours, B.ours, row.poses[static_cast<std::size_t>(i)], 0.0, nullptr) ? 1.0
                                                                                            : 0.0;
   };
   peers.measure(row);
}

void measureContacts(Peers& peers, const std::string& a, const std::string& b,
                     const std::string& how, bool isWarm = false)
{
   const Body A = bodyOf(a);
   const Body B = bodyOf(b);
   Row row{a + ", " + b + ", contact points" + how, A, B, {}, {}, [](ProximityPeer& peer, int i) {
              return static_cast<double>(peer.contacts(i));
           }};
   if (how.find("resting") != std::string::npos)
      row.poses = posesResting(0.3 + (b == "cylinder" ? 0.5 : 0.3));
   else
      row.poses = posesApart(A, B, -0.02, -0.02);
   std::vector<ZqPairCache> caches(row.poses.size());
   row.ours = [&](int i)
   {
      ZqContactManifold contacts;
      ZqPairCache& cache = caches[static_cast<std::size_t>(i)];
      contact(A.ours, B.ours, row.poses[static_cast<std::size_t>(i)], 1e-3,
              isWarm ? &cache : nullptr, contacts);
      return static_cast<double>(contacts.count);
   };
   peers.measure(row);
}
} // namespace

int main()
{
   Peers peers;
   peers.printHead();
   const std::pair<const char*, const char*> pairs[] = {
      {"sphere", "sphere"}, {"capsule", "capsule"}, {"box", "box"},
      {"cylinder", "box"},  {"hull50", "hull50"},   {"hull500", "hull500"}};
   for (const auto& [a, b] : pairs)
      for (const double gap : {0.01, 1.0})
         measureDistance(peers, a, b, gap);
   for (const auto& [a, b] : pairs)
      measureWarm(peers, a, b);
   for (const auto& [a, b] : pairs)
      measureOverlap(peers, a, b);
   measureContacts(peers, "box", "box", ", resting");
   measureContacts(peers, "box", "cylinder", ", resting");
   measureContacts(peers, "prism", "prism", ", resting");
   for (const auto& [a, b] : pairs)
      measureContacts(peers, a, b, "");
   measureContacts(peers, "prism", "prism", ", resting, warm", true);
   measureContacts(peers, "hull50", "hull50", ", warm", true);
   return sink == 12345.0 ? 1 : 0;
}
