#include "zqManipulator/dynamics/tools/ZqNetTorques.h"

#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

void ZqNetTorques::compute(const ZqIndividualManipulator& manipulator,
                           const ZqManipulatorTorque& torque,
                           const ZqManipulatorExternalForce& externalForce,
                           ZqManipulatorActiveState& activeState,
                           const ZqStatedSystemStruct* stateStruct, ZqManipulatorTorque& result)
{
   const ZqMotionPlan& plan = manipulator.motionPlan();
   auto& net = result.jointTorques();
   result.setGeneralForce(torque.generalForce());
   net.assign(manipulator.jointDof(), 0.0);
   if (!plan.anyDrive && !plan.anySpringOrDamper)
      return;
   const ZqXmlVectorBasicType<ZqReal>* load = nullptr;
   if (plan.anyDrive)
   {
      m_totalTorqueTool.setManipulator(&manipulator);
      m_totalTorqueTool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
      load = &m_totalTorqueTool.torques(externalForce, activeState, stateStruct).jointTorques();
   }
   const auto& links = manipulator.linkPointerVector();
   for (ZqU32 i = 0; i < net.size(); ++i)
   {
      const ZqManipulatorLink& link = *links[i];
      if (load != nullptr)
         net[i] = link.jointActuator().mechanicalComponentContainer().outputTorque(
            Zq::valueOrZero(torque.jointTorques(), i), (*load)[i], activeState);
      net[i] -= link.totalLocalTorque(activeState);
   }
}
