#pragma once

#include <Eigen/Geometry>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class ZqIndividualManipulator;

/// What the benchmark of dynamics knows of a library: ours and every peer build the same model from one
/// description, and are measured and compared through one interface.
namespace zqBenchmark
{
using Vector6 = Eigen::Matrix<double, 6, 1>;

enum class Operation
{
   Frames,
   InverseDynamics,
   MassMatrix,
   ByFactorisation,     ///< forward dynamics by the factors of the mass matrix
   ByArticulatedBodies, ///< forward dynamics by articulated bodies
   StepByFactorisation, ///< forward dynamics, and a step of semi-implicit Euler
   StepByArticulatedBodies
};

/// A rigid body that turns about the z axis of its frame.
struct Body
{
   int parent = -1; ///< -1 is the base
   /// The frame in that of the parent, at joint position 0.
   Eigen::Isometry3d placement = Eigen::Isometry3d::Identity();
   double mass = 0.0;
   Eigen::Vector3d center = Eigen::Vector3d::Zero();
   Eigen::Matrix3d inertia = Eigen::Matrix3d::Zero(); ///< about the center of mass
};

/// A tree of bodies in preorder, which no torque drives.
struct Model
{
   bool isFree = false; ///< a fixed base stands in the origin
   Body base;
   std::vector<Body> bodies;
   Eigen::Vector3d gravity{0.0, 0.0, -9.81};
};

/// A state of a model, and the accelerations that inverse dynamics is asked about. Motions of the base
/// are those of its origin, in axes of the system, linear part first.
struct State
{
   Eigen::VectorXd q, v, a;
   Eigen::Isometry3d base = Eigen::Isometry3d::Identity();
   Vector6 baseVelocity = Vector6::Zero();
   Vector6 baseAcceleration = Vector6::Zero();
};
using States = std::vector<State>;

/// In s. So short that all schemes of first order do the same.
inline constexpr double timeStep = 1e-7;

class Library
{
public:
   explicit Library(std::string name) : m_name(std::move(name)) {}
   virtual ~Library() = default;
   const std::string& name() const { return m_name; }
   virtual bool offers(Operation operation) const = 0;
   /// Takes over a state by its index, and computes.
   virtual void run(Operation operation, std::size_t state) = 0;
   /// What `run` has computed, in a form that is the same for all libraries:
   /// | operation        | numbers                                                             |
   /// |------------------|---------------------------------------------------------------------|
   /// | frames           | those of all bodies in the system, their 3 x 4 entries by columns   |
   /// | inverse dynamics | the force on a free base, the torques                               |
   /// | mass matrix      | all its entries, a free base first                                  |
   /// | forward dynamics | the acceleration of a free base, those of the joints                |
   /// | steps            | the same from the change of velocities, then the rates from that of |
   /// |                  | positions                                                           |
   virtual Eigen::VectorXd result(Operation operation, std::size_t state) = 0;

protected:
   Library(const Library&) = delete;
   Library& operator=(const Library&) = delete;

private:
   std::string m_name;
};

/// The description of a manipulator whose joints are rotational and of the Paul or Craig types.
Model describe(const ZqIndividualManipulator& manipulator);

std::unique_ptr<Library> ours(const ZqIndividualManipulator& manipulator, const States& states);

/// \name Peers
/// Null when a library cannot hold the model.
/// @{
std::unique_ptr<Library> kdl(const Model& model, const States& states);
std::unique_ptr<Library> dart(const Model& model, const States& states);
std::unique_ptr<Library> mujoco(const Model& model, const States& states);
/// @}

inline void append(Eigen::VectorXd& list, const Eigen::Ref<const Eigen::VectorXd>& more)
{
   const Eigen::Index size = list.size();
   list.conservativeResize(size + more.size());
   list.tail(more.size()) = more;
}

inline void append(Eigen::VectorXd& list, const Eigen::Isometry3d& frame)
{
   const Eigen::Matrix<double, 3, 4> entries = frame.matrix().topRows<3>();
   append(list, Eigen::Map<const Eigen::VectorXd>(entries.data(), entries.size()));
}

/// The rates that take a base from one place to another within a time step.
inline Vector6 baseRate(const Eigen::Isometry3d& from, const Eigen::Isometry3d& to)
{
   const Eigen::Matrix3d R = to.linear() * from.linear().transpose();
   Vector6 rate;
   rate << to.translation() - from.translation(),
      0.5 * Eigen::Vector3d(R(2, 1) - R(1, 2), R(0, 2) - R(2, 0), R(1, 0) - R(0, 1));
   return rate / timeStep;
}
} // namespace zqBenchmark
