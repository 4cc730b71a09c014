#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/dynamics/tools/ZqTotalTorqueTool.h"
#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <memory>
#include <utility>

class ZqIndividualManipulator;
class ZqManipulatorExternalForce;
class ZqMotionStages;
class ZqStatedSystemStruct;

namespace zqMotion
{
struct JacobianView;
}

/// Derivatives of motion in closed form: gradients of inverse and of forward dynamics (Carpentier and Mansard
/// 2018; Singh, Russell and Wensing 2022), Jacobians, and the centroidal momentum matrix (Orin, Goswami and Lee
/// 2013).
///
/// All are arrays over the degrees of freedom, N = `totalDof()`: joint i of a fixed base has row or column i. A
/// free base comes first with six of its own, linear before angular, and joint i then has 6 + i. These six are
/// along the axes of the base's DH frame, about its origin:
///
/// | of a free base         | means                                                                   |
/// |------------------------|-------------------------------------------------------------------------|
/// | position               | the frame is moved (m) and turned (rad) by a little, while velocity and |
/// |                        | acceleration of the state, which stand in the system, stay as they are  |
/// | velocity, acceleration | what is added to those of the state, along the axes of the frame        |
/// | force                  | what holds the base in its DH frame (N, N m): see `ZqTotalTorqueTool`   |
///
/// So columns by the translation of the base are zero, and in those by its rotation gravity turns, since it is
/// part of the base's acceleration. Columns by a joint are per rad, or per m where it is prismatic, and so on.
/// External forces are constant in the DH frames of their links. Torques are those at the joints, as of
/// `ZqTotalTorqueTool::BodyTorque`: springs, dampers and the inertia of drives count, which is taken for
/// constant; drives are not differentiated else. A joint that does not tell how its unit motion changes
/// (`ZqLinkKinematics::unitMotionDerivatives`) has the column of its position by central differences of fourth
/// order over 1e-3, good to about 1e-11 where the joint itself is exact.
///
/// The active state says positions, velocities and accelerations; a scene, which may be null, adds the masses
/// of what is attached. Joints that the state lacks have zeros. The tool does not own the manipulator. Results
/// are references into the tool, which the next call for the same ones overwrites. A call allocates nothing once
/// sizes have settled, but for joints of classes of their own. One tool serves one thread at a time.
class ZqMotionDerivativeTool
{
public:
   /// In which axes, and of which point, a Jacobian tells velocities.
   enum class Axes : ZqU32
   {
      Local,  ///< of the point, in the axes of the link's DH frame
      System, ///< of the point of the link's body that passes the origin of the system, in its axes
      Mixed   ///< of the point, in the axes of the system
   };

   ZqMotionDerivativeTool();
   /// A copy has the manipulator, and nothing that was computed.
   ZqMotionDerivativeTool(const ZqMotionDerivativeTool& other);
   ZqMotionDerivativeTool& operator=(const ZqMotionDerivativeTool& other);
   virtual ~ZqMotionDerivativeTool();
   static ZqMotionDerivativeTool nullObject() { return {}; }

   virtual const ZqIndividualManipulator* manipulator() const { return m_manipulator; }
   virtual void setManipulator(const ZqIndividualManipulator* manipulator);

   /// \name Inverse dynamics
   /// How the torques of joints (rows) and the force that holds a free base change: N x N each.
   /// @{
   /// By positions and velocities, with the torques besides. False without a manipulator, and nothing is
   /// changed.
   virtual bool computeInverseDynamicsGradients(const ZqManipulatorExternalForce& externalForce,
                                                ZqManipulatorActiveState& activeState,
                                                const ZqStatedSystemStruct* stateStruct = nullptr);
   virtual const ZqReArray& torqueByPosition() const { return m_torqueByPosition; }
   virtual const ZqReArray& torqueByVelocity() const { return m_torqueByVelocity; }
   /// By accelerations: the mass matrix with the inertia of the drives. Without a manipulator the last result.
   virtual const ZqReArray& torqueByAcceleration(ZqManipulatorActiveState& activeState,
                                                 const ZqStatedSystemStruct* stateStruct = nullptr);
   /// The torques and the force on the base, of a fixed one as well.
   virtual const ZqManipulatorTorque& torques() const { return m_torques; }
   /// @}

   /// \name Forward dynamics
   /// How the accelerations of a free base and of joints (rows) change: N x N each.
   /// @{
   /// By positions, velocities and torques, at the accelerations in the active state: those that the torques
   /// of the moment bring about, with gravity added to that of the base. A degree of freedom whose pivot in the
   /// mass matrix is nothing but rounding does not accelerate. Computes the gradients of inverse dynamics as
   /// well. False without a manipulator, and nothing is changed.
   virtual bool computeForwardDynamicsGradients(const ZqManipulatorExternalForce& externalForce,
                                                ZqManipulatorActiveState& activeState,
                                                const ZqStatedSystemStruct* stateStruct = nullptr);
   virtual const ZqReArray& accelerationByPosition() const { return m_accelerationByPosition; }
   virtual const ZqReArray& accelerationByVelocity() const { return m_accelerationByVelocity; }
   /// By torques of joints and a force on a free base: the inverse of the mass matrix.
   virtual const ZqReArray& accelerationByTorque() const { return m_accelerationByTorque; }
   /// @}

   /// \name Jacobians
   /// Matrices (6 x N) that make the velocity of a point (m/s) and the angular velocity of its link (rad/s) of
   /// the velocities of a free base, along its axes, and of the joints. The rate J' (1/s) of J is such that
   /// J a + J' v is the rate of J v, with accelerations a, that of the base along its axes as well.
   /// @{
   /// Of a point in the primary frame of a link (m), or of the base by `ZqBaseLinkIndex`. A link that the
   /// manipulator or the state does not have is rejected with a message; the answer is then empty, as it is
   /// without a manipulator.
   virtual const ZqReArray& jacobian(ZqU32 link, const ZqVector& point, Axes axes,
                                     ZqManipulatorActiveState& activeState);
   virtual const ZqReArray& jacobianRate(ZqU32 link, const ZqVector& point, Axes axes,
                                         ZqManipulatorActiveState& activeState);
   /// Both, for less than one after the other.
   std::pair<const ZqReArray&, const ZqReArray&>
   jacobianAndRate(ZqU32 link, const ZqVector& point, Axes axes,
                   ZqManipulatorActiveState& activeState);
   /// Of the center of mass of the whole, the base included, in the axes of the system: 3 x N.
   virtual const ZqReArray& centerOfMassJacobian(ZqManipulatorActiveState& activeState,
                                                 const ZqStatedSystemStruct* stateStruct = nullptr);
   /// @}

   /// \name Momentum
   /// Of the whole, the base included but no motors, in the axes of the system, linear (kg m/s) before angular
   /// (kg m^2/s), this one about the center of mass.
   /// @{
   /// From velocities to momentum: 6 x N.
   virtual const ZqReArray&
   centroidalMomentumMatrix(ZqManipulatorActiveState& activeState,
                            const ZqStatedSystemStruct* stateStruct = nullptr);
   /// Its rate times the velocities, which is the rate of the momentum without accelerations: 6 x 1.
   virtual const ZqReArray&
   centroidalMomentumBias(ZqManipulatorActiveState& activeState,
                          const ZqStatedSystemStruct* stateStruct = nullptr);
   /// @}

private:
   struct Work;

   ZqU32 firstJoint() const;
   void takeTorques(const ZqMotionStages& stages, const ZqManipulatorActiveState& activeState);
   void addSprings(int count);
   void differentiateSlot(ZqU32 link, const ZqManipulatorExternalForce& externalForce,
                          const ZqManipulatorActiveState& activeState,
                          const ZqStatedSystemStruct* stateStruct);
   /// Either array may be null.
   void writePointJacobians(ZqU32 link, const ZqVector& point, Axes axes,
                            ZqManipulatorActiveState& activeState, ZqReArray* jacobian,
                            ZqReArray* rate);
   zqMotion::JacobianView viewOf(int link, const ZqVector& point, Axes axes,
                                 const ZqMotionStages& stages,
                                 ZqManipulatorActiveState& activeState) const;
   void writeMomenta(ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct,
                     bool perMass, ZqReArray& result);

   const ZqIndividualManipulator* m_manipulator = nullptr; ///< not owned
   std::unique_ptr<Work> m_work;
   ZqManipulatorTorque m_torques;
   ZqReArray m_torqueByPosition;
   ZqReArray m_torqueByVelocity;
   ZqReArray m_torqueByAcceleration;
   ZqReArray m_accelerationByPosition;
   ZqReArray m_accelerationByVelocity;
   ZqReArray m_accelerationByTorque;
   ZqReArray m_identity;
   ZqReArray m_jacobian;
   ZqReArray m_jacobianRate;
   ZqReArray m_centerOfMassJacobian;
   ZqReArray m_centroidalMomentumMatrix;
   ZqReArray m_centroidalMomentumBias;
   ZqManipulatorActiveState m_probe; ///< for joints of classes of their own
   ZqTotalTorqueTool m_torqueTool;
};
