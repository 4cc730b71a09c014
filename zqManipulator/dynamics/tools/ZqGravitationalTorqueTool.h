#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

class ZqIndividualManipulator;
class ZqManipulatorLink;
class ZqStatedSystemStruct;

/// The torques that hold a manipulator at rest against gravity, and how they change with the joints.
///
/// The tool does not own the manipulator. Results are references into the tool, which the next call
/// overwrites. The forms with a pointer take null for the tool's own active state.
class ZqGravitationalTorqueTool
{
public:
   ZqGravitationalTorqueTool() = default;
   ZqGravitationalTorqueTool(const ZqGravitationalTorqueTool&) = default;
   ZqGravitationalTorqueTool& operator=(const ZqGravitationalTorqueTool&) = default;
   virtual ~ZqGravitationalTorqueTool() = default;
   static ZqGravitationalTorqueTool nullObject() { return {}; }

   virtual const ZqIndividualManipulator* manipulator() const { return m_manipulator; }
   virtual void setManipulator(const ZqIndividualManipulator* manipulator);
   /// Points up, against gravity, with the magnitude of gravity (m/s^2), in the axes of the system: the
   /// acceleration of a base that feels like gravity. (0, 0, 9.8) by default.
   virtual const ZqVector& gravityVector() const { return m_gravityVector; }
   virtual void setGravityVector(const ZqVector& gravity) { m_gravityVector = gravity; }
   virtual void setPositionState(const ZqPositionState& state);
   /// n x 1. Without a manipulator the last result.
   virtual const ZqReArray& gravitationalTorques(ZqManipulatorActiveState& activeState,
                                                 const ZqStatedSystemStruct* stateStruct);
   virtual const ZqReArray& gravitationalTorques(ZqManipulatorActiveState* activeState,
                                                 const ZqStatedSystemStruct* stateStruct);
   /// 0.0 for a joint that is not there.
   virtual ZqReal gravitationalTorque(unsigned int index, ZqManipulatorActiveState& activeState,
                                      const ZqStatedSystemStruct* stateStruct);
   virtual ZqReal gravitationalTorque(unsigned int index, ZqManipulatorActiveState* activeState,
                                      const ZqStatedSystemStruct* stateStruct);
   /// The derivatives of the torque of one joint by the joint positions, n x 1: those by joints on
   /// other branches are zero. A joint that is not there has only zeros.
   virtual const ZqReArray& gravitationalTorqueGradient(unsigned int index,
                                                        ZqManipulatorActiveState& activeState,
                                                        const ZqStatedSystemStruct* stateStruct);
   virtual const ZqReArray& gravitationalTorqueGradient(unsigned int index,
                                                        ZqManipulatorActiveState* activeState,
                                                        const ZqStatedSystemStruct* stateStruct);

protected:
   /// Sizes the results for the manipulator and clears the gradient.
   virtual void resize();
   /// The derivatives by the joint of a link and by those inboard of it, for a force in the frame of
   /// the link.
   virtual void calculateInboardPartialDerivatives(const ZqGeneralForce& force,
                                                   const ZqManipulatorLink* link,
                                                   ZqManipulatorActiveState& activeState,
                                                   ZqReArray& gradient);
   /// The derivatives by the joint of a link and by those outboard of it, for a unit motion in the
   /// frame of the link.
   virtual void calculateOutboardPartialDerivatives(const ZqGeneralMotion& motion,
                                                    const ZqManipulatorLink* link,
                                                    ZqManipulatorActiveState& activeState,
                                                    ZqReArray& gradient,
                                                    const ZqStatedSystemStruct* stateStruct);

private:
   ZqManipulatorActiveState& activeStateOr(ZqManipulatorActiveState* activeState)
   {
      return activeState != nullptr ? *activeState : m_activeState;
   }
   void sweepInertias(ZqManipulatorActiveState& activeState,
                      const ZqStatedSystemStruct* stateStruct) const;

   const ZqIndividualManipulator* m_manipulator = nullptr; ///< not owned
   ZqManipulatorActiveState m_activeState;
   ZqReArray m_torques;
   ZqReArray m_gradient;
   ZqVector m_gravityVector = ZqVector(0.0, 0.0, 9.8);
};
