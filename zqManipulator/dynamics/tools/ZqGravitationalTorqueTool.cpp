#include "zqManipulator/dynamics/tools/ZqGravitationalTorqueTool.h"

#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <algorithm>

namespace
{
ZqReal jointPosition(const ZqManipulatorLink& link, const ZqManipulatorActiveState& activeState)
{
   return Zq::valueOrZero(activeState.positionState().jointPositions(), link.linkIndex());
}

ZqGeneralMotion unitMotion(const ZqManipulatorLink& link,
                           const ZqManipulatorActiveState& activeState)
{
   return link.linkKinematicsContainer().accelerationAt(jointPosition(link, activeState), 0.0, 1.0);
}

ZqCoordinateSystemTransformation jointTransform(const ZqManipulatorLink& link,
                                                const ZqManipulatorActiveState& activeState)
{
   return link.linkKinematicsContainer().transformAt(jointPosition(link, activeState));
}

/// A vector in the system, in the axes of the DH frame of a link.
ZqVector inAxesOf(const ZqManipulatorLink& link, const ZqVector& vector,
                  ZqManipulatorActiveState& activeState)
{
   return link.dhFrameInSystem(activeState.activePositionState()).orientation().inverse() * vector;
}

/// The number of a link in an n x 1 array, if it has one there.
void setEntry(ZqReArray& array, const ZqManipulatorLink& link, ZqReal value)
{
   const ZqU32 index = link.linkIndex();
   if (index < array.rows())
      array[index][0] = value;
}

bool isJointLink(const ZqManipulatorLink* link)
{
   return link != nullptr && link->linkIndex() != ZqBaseLinkIndex;
}
} // namespace

void ZqGravitationalTorqueTool::setManipulator(const ZqIndividualManipulator* manipulator)
{
   m_manipulator = manipulator;
   resize();
}

void ZqGravitationalTorqueTool::resize()
{
   if (m_manipulator == nullptr)
      return;
   m_torques.resize(m_manipulator->jointDof(), 1);
   m_gradient.setToZeros(m_manipulator->jointDof(), 1);
}

void ZqGravitationalTorqueTool::setPositionState(const ZqPositionState& state)
{
   m_activeState.setPositionState(state);
}

const ZqReArray&
ZqGravitationalTorqueTool::gravitationalTorques(ZqManipulatorActiveState& activeState,
                                                const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_torques;
   resize();
   sweepInertias(activeState, stateStruct);
   for (ZqU32 i = 0; i < m_torques.rows(); ++i)
      m_torques[i][0] = gravitationalTorque(i, activeState, stateStruct);
   return m_torques;
}

const ZqReArray&
ZqGravitationalTorqueTool::gravitationalTorques(ZqManipulatorActiveState* activeState,
                                                const ZqStatedSystemStruct* stateStruct)
{
   return gravitationalTorques(activeStateOr(activeState), stateStruct);
}

/// Computes motions from the base outwards and forces from the tips inwards, in the order of the indices
/// and against it. Queries of links then find their neighbours done, and do not recurse along the tree.
void ZqGravitationalTorqueTool::sweepInertias(ZqManipulatorActiveState& activeState,
                                              const ZqStatedSystemStruct* stateStruct) const
{
   m_manipulator->placeBase(activeState.activePositionState());
   const auto& links = m_manipulator->linkPointerVector();
   const auto count =
      std::min<std::size_t>({links.size(), activeState.positionState().jointPositions().size(),
                             activeState.activeMassState().linkMassStates().size()});
   for (std::size_t i = 0; i < count; ++i)
      if (links[i] != nullptr)
         links[i]->dhFrameInSystem(activeState.activePositionState());
   for (std::size_t i = count; i-- > 0;)
      if (links[i] != nullptr)
         links[i]->crbi(activeState, stateStruct);
}

ZqReal ZqGravitationalTorqueTool::gravitationalTorque(unsigned int index,
                                                      ZqManipulatorActiveState& activeState,
                                                      const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return 0.0;
   const auto& links = m_manipulator->linkPointerVector();
   if (index >= links.size() || links[index] == nullptr)
      return 0.0;
   const ZqManipulatorLink& link = *links[index];
   m_manipulator->placeBase(activeState.activePositionState());
   const ZqVector gravity = inAxesOf(link, m_gravityVector, activeState);
   const ZqRigidBodyMassProperties& body = link.crbi(activeState, stateStruct);
   const ZqGeneralMotion s = unitMotion(link, activeState);
   return (gravity * body.mass()).dot(s.linear()) +
          body.firstMoment().cross(gravity).dot(s.angular());
}

ZqReal ZqGravitationalTorqueTool::gravitationalTorque(unsigned int index,
                                                      ZqManipulatorActiveState* activeState,
                                                      const ZqStatedSystemStruct* stateStruct)
{
   return gravitationalTorque(index, activeStateOr(activeState), stateStruct);
}

const ZqReArray&
ZqGravitationalTorqueTool::gravitationalTorqueGradient(unsigned int index,
                                                       ZqManipulatorActiveState& activeState,
                                                       const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_gradient;
   resize();
   const auto& links = m_manipulator->linkPointerVector();
   if (index >= links.size() || links[index] == nullptr)
      return m_gradient;
   sweepInertias(activeState, stateStruct);
   const ZqManipulatorLink& link = *links[index];
   const ZqGeneralMotion s = unitMotion(link, activeState);
   if (isJointLink(link.parentLink()))
      calculateInboardPartialDerivatives(jointTransform(link, activeState) *
                                            link.crbi(activeState, stateStruct).calculateForce(s),
                                         link.parentLink(), activeState, m_gradient);
   calculateOutboardPartialDerivatives(s, &link, activeState, m_gradient, nullptr);
   return m_gradient;
}

const ZqReArray&
ZqGravitationalTorqueTool::gravitationalTorqueGradient(unsigned int index,
                                                       ZqManipulatorActiveState* activeState,
                                                       const ZqStatedSystemStruct* stateStruct)
{
   return gravitationalTorqueGradient(index, activeStateOr(activeState), stateStruct);
}

void ZqGravitationalTorqueTool::calculateInboardPartialDerivatives(
   const ZqGeneralForce& force, const ZqManipulatorLink* link,
   ZqManipulatorActiveState& activeState, ZqReArray& gradient)
{
   ZqGeneralForce carried = force;
   for (; isJointLink(link); link = link->parentLink())
   {
      const ZqVector axis = unitMotion(*link, activeState).angular();
      setEntry(gradient, *link,
               axis.cross(carried.force()).dot(inAxesOf(*link, m_gravityVector, activeState)));
      carried.transformBy(jointTransform(*link, activeState));
   }
}

void ZqGravitationalTorqueTool::calculateOutboardPartialDerivatives(
   const ZqGeneralMotion& motion, const ZqManipulatorLink* link,
   ZqManipulatorActiveState& activeState, ZqReArray& gradient,
   const ZqStatedSystemStruct* stateStruct)
{
   // Along a chain there is no need to recurse.
   ZqGeneralMotion carried = motion;
   while (link != nullptr)
   {
      const ZqGeneralForce force =
         link->crbi(activeState, stateStruct).calculateForce(unitMotion(*link, activeState));
      setEntry(
         gradient, *link,
         carried.angular().cross(force.force()).dot(inAxesOf(*link, m_gravityVector, activeState)));
      const auto& children = link->childLinks();
      link = nullptr;
      const ZqGeneralMotion here = carried;
      for (const ZqManipulatorLink& child : children)
      {
         ZqGeneralMotion there = here;
         there.transformBy(jointTransform(child, activeState).inverse());
         if (&child != &children[children.size() - 1])
            calculateOutboardPartialDerivatives(there, &child, activeState, gradient, stateStruct);
         else
         {
            link = &child;
            carried = there;
         }
      }
   }
}
