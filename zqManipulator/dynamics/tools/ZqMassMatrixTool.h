#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/tools/ZqMatrixDTool.h"
#include "zqManipulator/dynamics/tools/ZqTotalTorqueTool.h"

/// The mass matrix of the bodies in joint space, without the inertia of actuators, by the method of
/// composite rigid bodies (Walker and Orin 1982).
///
/// The extended matrix of a free base has the joints first and the base last: [M, D; D^T, I], with M
/// the mass matrix (n x n), D the coupling (n x 6) and I the inertia of the whole as one rigid body
/// (6 x 6), about the origin of the base's DH frame, in its axes or in those of the system.
///
/// The tool does not own the manipulator. Results are references into the tool, which the next call
/// overwrites; without a manipulator they are empty. The forms with a pointer take null for the tool's
/// own active state.
class ZqMassMatrixTool
{
public:
   ZqMassMatrixTool() = default;
   ZqMassMatrixTool(const ZqMassMatrixTool&) = default;
   ZqMassMatrixTool& operator=(const ZqMassMatrixTool&) = default;
   virtual ~ZqMassMatrixTool() = default;
   static ZqMassMatrixTool nullObject() { return {}; }

   virtual const ZqIndividualManipulator* manipulator() const { return m_manipulator; }
   virtual void setManipulator(const ZqIndividualManipulator* manipulator);
   virtual void setPositionState(const ZqPositionState& state);
   virtual const ZqReArray& massMatrix(ZqManipulatorActiveState& activeState,
                                       const ZqStatedSystemStruct* stateStruct);
   virtual const ZqReArray& massMatrix(ZqManipulatorActiveState* activeState,
                                       const ZqStatedSystemStruct* stateStruct);
   virtual const ZqReArray& extendedMassMatrixInBase(ZqManipulatorActiveState& activeState,
                                                     const ZqStatedSystemStruct* stateStruct);
   virtual const ZqReArray& extendedMassMatrixInBase(ZqManipulatorActiveState* activeState,
                                                     const ZqStatedSystemStruct* stateStruct);
   virtual const ZqReArray& extendedMassMatrixInSystem(ZqManipulatorActiveState& activeState,
                                                       const ZqStatedSystemStruct* stateStruct);
   virtual const ZqReArray& extendedMassMatrixInSystem(ZqManipulatorActiveState* activeState,
                                                       const ZqStatedSystemStruct* stateStruct);
   /// \name The basis that `nullSpaceTorque` takes when it is given none
   /// @{
   virtual bool isFixedBase() const { return m_isFixedBase; }
   virtual void setIsFixedBase(bool fixed) { m_isFixedBase = fixed; }
   virtual unsigned int degreesOfConstraint() const { return m_degreesOfConstraint; }
   virtual void setDegreesOfConstraint(unsigned int count) { m_degreesOfConstraint = count; }
   /// @}
   /// (M B)^T (k x n) for a basis B of joint accelerations (n x k), by inverse dynamics of one column at
   /// a time: for few columns, where M is of no use. Here M has the inertia of the actuators on its
   /// diagonal, and the torques of springs are added to each row. Without degrees of constraint an empty
   /// basis stands for the identity, of n columns or, without a fixed base, n + 6. The active state is
   /// left at rest, with the accelerations of the last column.
   virtual const ZqReArray& nullSpaceTorque(ZqManipulatorActiveState& activeState,
                                            const ZqReArray& basis);
   virtual const ZqReArray& nullSpaceTorque(ZqManipulatorActiveState* activeState,
                                            const ZqReArray& basis);

   /// The work space of the last call for a mass matrix.
   ZqCompositeBodySweep& sweep() { return m_sweep; }

protected:
   /// Sizes the mass matrix for the manipulator and clears it.
   virtual void resize();

private:
   ZqManipulatorActiveState& activeStateOr(ZqManipulatorActiveState* activeState)
   {
      return activeState != nullptr ? *activeState : m_activeState;
   }
   const ZqReArray& computeBlocks(ZqManipulatorActiveState& activeState,
                                  const ZqStatedSystemStruct* stateStruct);
   void assemble(const ZqReArray& D, ZqReArray& result);

   const ZqIndividualManipulator* m_manipulator = nullptr; ///< not owned
   ZqManipulatorActiveState m_activeState;
   ZqReArray m_massMatrix;
   std::shared_ptr<const ZqMotionPlan>
      m_zerosOf; ///< the model between whose branches the matrix has zeros
   ZqReArray m_extendedMassMatrix;
   bool m_isFixedBase = true;
   unsigned int m_degreesOfConstraint = 0;
   ZqVelocityState m_velocityState;
   ZqReArray m_identityBasis;
   ZqManipulatorExternalForce m_noForce;
   ZqAccelerationState m_accelerationState;
   ZqTotalTorqueTool m_totalTorqueTool;
   ZqMatrixDTool m_matrixDTool;
   ZqReArray m_extendedMassMatrixInSystem;
   ZqReArray m_matrixDInSystem;
   ZqReArray m_nullSpaceTorque;
   ZqReArray m_baseInertia;
   ZqRigidBodyMassProperties m_baseMassProperties;
   ZqCompositeBodySweep m_sweep;
};
