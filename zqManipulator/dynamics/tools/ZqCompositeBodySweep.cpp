#include "zqManipulator/dynamics/tools/ZqCompositeBodySweep.h"

#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionStages.h"

void ZqCompositeBodySweep::run(const ZqIndividualManipulator& manipulator,
                               ZqManipulatorActiveState& activeState,
                               const ZqStatedSystemStruct* stateStruct)
{
   ZqMotionStages stages(manipulator, activeState);
   stages.axes(stateStruct);
   const auto& links = manipulator.linkPointerVector();
   m_manipulator = &manipulator;
   m_work = &stages.work();
   m_size = static_cast<ZqU32>(links.size());
   m_isWhole = stages.tree().count == static_cast<int>(links.size());
   for (auto i = static_cast<std::size_t>(stages.tree().count); i < links.size(); ++i)
      links[i]->crbi(activeState, stateStruct); // says why it cannot
}

const std::shared_ptr<const ZqMotionPlan>& ZqCompositeBodySweep::plan() const noexcept
{
   return m_work->plan;
}

ZqU32 ZqCompositeBodySweep::parent(ZqU32 link) const noexcept
{
   const int index = m_work->plan->joints[link].parent;
   return index < 0 ? ZqBaseLinkIndex : static_cast<ZqU32>(index);
}

ZqU32 ZqCompositeBodySweep::subtreeEnd(ZqU32 link) const noexcept
{
   return static_cast<ZqU32>(m_work->plan->joints[link].end);
}

void ZqCompositeBodySweep::writeMassMatrix(ZqReArray& array) const noexcept
{
   zqMotion::writeMassMatrix(m_work->tree, m_work->axes.data(), m_work->axisForces.data(), m_size,
                             array.data(), array.columns());
}

ZqReal ZqCompositeBodySweep::force(ZqU32 joint, ZqU32 k) const noexcept
{
   return m_work->axisForces[static_cast<std::size_t>(k) * m_size + joint];
}
