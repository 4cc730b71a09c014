#pragma once

#include "zqManipulator/dynamics/tools/ZqTotalTorqueTool.h"

/// What moves the joints of a manipulator: the output of its drives less springs and dampers, and the force
/// on a free base. A joint without a drive takes no torque from a command.
class ZqNetTorques
{
public:
   /// Fills the result, which has as many joint torques as the manipulator has joints. The load on a joint
   /// matters to what drives it, and to nothing else: it is computed where there are drives.
   void compute(const ZqIndividualManipulator& manipulator, const ZqManipulatorTorque& torque,
                const ZqManipulatorExternalForce& externalForce,
                ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct,
                ZqManipulatorTorque& result);

private:
   ZqTotalTorqueTool m_totalTorqueTool;
};
