#pragma once

#include "zqManipulator/dynamics/tools/ZqCompositeBodySweep.h"
#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

/// The coupling between the joints and a free base: row i is the force, in the base's DH frame, that a
/// unit acceleration of joint i asks for at a base at rest.
///
/// The tool does not own the manipulator. Results are references into the tool, which the next call
/// overwrites. The form with a pointer takes null for the tool's own active state.
class ZqMatrixDTool
{
public:
   ZqMatrixDTool() = default;
   ZqMatrixDTool(const ZqMatrixDTool&) = default;
   ZqMatrixDTool& operator=(const ZqMatrixDTool&) = default;
   virtual ~ZqMatrixDTool() = default;
   static ZqMatrixDTool nullObject() { return {}; }

   virtual const ZqIndividualManipulator* manipulator() const { return m_manipulator; }
   virtual void setManipulator(const ZqIndividualManipulator* manipulator);
   virtual void setPositionState(const ZqPositionState& state);
   /// n x 6, the force before the moment. Without a manipulator the last result. A link that is not
   /// there is reported.
   virtual const ZqReArray& matrixD(ZqManipulatorActiveState& activeState,
                                    const ZqStatedSystemStruct* stateStruct);
   virtual const ZqReArray& matrixD(ZqManipulatorActiveState* activeState,
                                    const ZqStatedSystemStruct* stateStruct);
   /// result = D with the forces and moments of its rows turned by an orientation; what is no n x 6
   /// array is rejected with a message, and the result is empty.
   virtual void transformMatrixD(const ZqReArray& D, const ZqOrientation& orientation,
                                 ZqReArray& result) const;

   /// The same as `matrixD` from a sweep over the manipulator that was just done.
   const ZqReArray& matrixD(const ZqCompositeBodySweep& sweep);

protected:
   /// Sizes the result for the manipulator.
   virtual void resize();

private:
   const ZqIndividualManipulator* m_manipulator = nullptr; ///< not owned
   ZqManipulatorActiveState m_activeState;
   ZqReArray m_matrixD;
   ZqCompositeBodySweep m_sweep;
};
