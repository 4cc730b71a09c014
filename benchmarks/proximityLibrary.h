#pragma once

#include <Eigen/Geometry>

#include <memory>
#include <string>
#include <vector>

/// What the benchmark of proximity knows of a library: every peer builds the same pair of bodies from one
/// description, and answers the same questions at the same placements.
namespace zqBenchmark
{
/// About the origin, along z.
struct Solid
{
   enum class Kind
   {
      Sphere,
      Capsule,
      Box,
      Cylinder,
      Hull
   };

   Kind kind = Kind::Sphere;
   double radius = 0.0;     ///< m
   double halfLength = 0.0; ///< m
   Eigen::Vector3d halfExtents = Eigen::Vector3d::Zero();
   /// Of a hull: its vertices, and its faces by their corners, counter-clockwise from outside.
   std::vector<Eigen::Vector3d> vertices;
   std::vector<std::vector<int>> faces;
};

using Placements = std::vector<Eigen::Isometry3d>;

class ProximityPeer
{
public:
   virtual ~ProximityPeer() = default;
   /// The second body stands at the placements in the frame of the first. `normals` lead from the first to the
   /// second a little before, for those who can begin there.
   virtual void take(const Solid& first, const Solid& second, const Placements& placements,
                     const std::vector<Eigen::Vector3d>& normals) = 0;
   /// With the nearest points.
   virtual double distance(int placement) = 0;
   virtual double warmDistance(int placement) { return distance(placement); }
   virtual bool overlap(int placement) = 0;
   /// How many points of contact it finds.
   virtual int contacts(int placement) = 0;
};

/// One for each of its solvers.
std::vector<std::unique_ptr<ProximityPeer>> fclPeers();
std::unique_ptr<ProximityPeer> bulletPeer();
} // namespace zqBenchmark
