#pragma once

#include <Eigen/Geometry>

#include <memory>
#include <string>
#include <vector>

/// What the benchmark of contact knows of a library: every peer builds the same scene from one description,
/// and steps it.
namespace zqBenchmark
{
/// A body of uniform density.
struct ContactBody
{
   enum class Kind
   {
      Box,
      Sphere
   };

   Kind kind = Kind::Box;
   double radius = 0.0;                                   ///< m
   Eigen::Vector3d halfExtents = Eigen::Vector3d::Zero(); ///< m
   double mass = 1.0;                                     ///< kg
   Eigen::Isometry3d placement = Eigen::Isometry3d::Identity();
   Eigen::Vector3d velocity = Eigen::Vector3d::Zero();        ///< m/s
   Eigen::Vector3d angularVelocity = Eigen::Vector3d::Zero(); ///< rad/s
   /// Moves along x alone, and is pushed there (N): a finger.
   bool isOnRail = false;
   double push = 0.0;

   /// The diagonal of its inertia about the middle (kg m^2).
   Eigen::Vector3d moments() const
   {
      if (kind == Kind::Sphere)
         return Eigen::Vector3d::Constant(0.4 * mass * radius * radius);
      const Eigen::Vector3d square = halfExtents.cwiseAbs2();
      return (mass / 3.0) * Eigen::Vector3d(square.y() + square.z(), square.z() + square.x(),
                                            square.x() + square.y());
   }
};

/// Bodies above a plane, z = 0.
struct ContactScene
{
   std::string name;
   std::vector<ContactBody> bodies;
   Eigen::Vector3d gravity{0.0, 0.0, -9.80665}; ///< m/s^2
   double friction = 0.5;                       ///< of each pair, static and kinetic
   double timeStep = 1e-3;                      ///< s
   double stiffness =
      2.5e4; ///< of a pair (N/m), for those who have springs; half the longest step fits
   bool hasPlane = true;

   /// Where bodies touch other bodies, and not the plane alone.
   bool hasStacks = false;
};

class ContactLibrary
{
public:
   virtual ~ContactLibrary() = default;
   virtual void step() = 0;
   /// Of the last step.
   virtual int points() = 0;
   /// The middle of a body in the system.
   virtual Eigen::Vector3d position(std::size_t body) = 0;
   virtual Eigen::Vector3d velocity(std::size_t body) = 0;
};

/// What parts of a step of ours take once the scene has settled (us); the rest is for the bodies.
struct ContactShares
{
   double broadPhase = 0.0; ///< with the frames and boxes of bodies
   double narrowPhase = 0.0;
   double laws = 0.0;
};
ContactShares contactShares(const ContactScene& scene);

/// Null for a scene that a library has no contacts for.
std::unique_ptr<ContactLibrary> contactOurs(const ContactScene& scene);
std::unique_ptr<ContactLibrary> contactBullet(const ContactScene& scene);
std::unique_ptr<ContactLibrary> contactMujoco(const ContactScene& scene);
std::unique_ptr<ContactLibrary> contactDart(const ContactScene& scene);
std::unique_ptr<ContactLibrary> contactSimbody(const ContactScene& scene);
} // namespace zqBenchmark
