#include "zqManipulator/dynamics/tools/ZqCompositeBodySweep.h"

#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <algorithm>

void ZqCompositeBodySweep::resize(std::size_t count)
{
   if (m_frames.size() == count)
      return;
   m_frames.resize(count);
   m_parents.resize(count);
   m_subtreeEnds.resize(count);
   for (std::vector<ZqReal>& column : m_motions)
      column.resize(count);
   for (std::vector<ZqReal>& column : m_forces)
      column.resize(count);
}

void ZqCompositeBodySweep::findSubtrees(const std::vector<ZqManipulatorLink*>& links)
{
   const auto count = static_cast<ZqU32>(links.size());
   for (ZqU32 i = 0; i < count; ++i)
   {
      const ZqManipulatorLink* const parent =
         links[i] != nullptr ? links[i]->parentLink() : nullptr;
      const ZqU32 index = parent != nullptr ? parent->linkIndex() : ZqBaseLinkIndex;
      m_parents[i] = index < i ? index : ZqBaseLinkIndex;
      m_subtreeEnds[i] = i + 1;
   }
   for (ZqU32 i = count; i-- > 0;)
      if (m_parents[i] != ZqBaseLinkIndex)
      {
         ZqU32& end = m_subtreeEnds[m_parents[i]];
         end = std::max(end, m_subtreeEnds[i]);
      }
}

const ZqCompositeBodySweep::Frame& ZqCompositeBodySweep::frameOfParent(ZqU32 link) const noexcept
{
   static constexpr Frame base;
   return m_parents[link] != ZqBaseLinkIndex ? m_frames[m_parents[link]] : base;
}

void ZqCompositeBodySweep::setToZeros(ZqU32 link)
{
   m_frames[link] = frameOfParent(link);
   set(m_motions, link, ZqVector(), ZqVector());
   set(m_forces, link, ZqVector(), ZqVector());
}

void ZqCompositeBodySweep::place(ZqU32 link, const ZqRotationMatrix& R, const ZqVector& p)
{
   const Frame& parent = frameOfParent(link);
   m_frames[link].p = parent.p + parent.R * p;
   m_frames[link].R = parent.R * R;
}

void ZqCompositeBodySweep::setMotionAndForce(ZqU32 link, const ZqGeneralMotion& unitMotion,
                                             const ZqRigidBodyMassProperties& body)
{
   const Frame& frame = m_frames[link];
   const ZqVector& v = unitMotion.linear();
   const ZqVector& omega = unitMotion.angular();
   const ZqVector& h = body.firstMoment();
   const ZqVector turnedOmega = frame.R * omega;
   const ZqVector force = frame.R * (v * body.mass() - h.cross(omega));
   const ZqVector moment = frame.R * (body.secondMoment() * omega + h.cross(v));
   set(m_motions, link, frame.R * v + frame.p.cross(turnedOmega), turnedOmega);
   set(m_forces, link, force, moment + frame.p.cross(force));
}

void ZqCompositeBodySweep::run(const ZqIndividualManipulator& manipulator,
                               ZqManipulatorActiveState& activeState,
                               const ZqStatedSystemStruct* stateStruct)
{
   const auto& links = manipulator.linkPointerVector();
   const auto count = static_cast<ZqU32>(links.size());
   m_manipulator = &manipulator;
   resize(count);
   findSubtrees(links);

   ZqManipulatorActivePositionState& positions = activeState.activePositionState();
   ZqManipulatorActiveMassState& masses = activeState.activeMassState();
   const auto& jointPositions = positions.positionState().jointPositions();
   const auto inState =
      std::min<ZqU32>({count, jointPositions.size(), positions.linkPositionStates().size(),
                       masses.linkMassStates().size()});
   // From the tips inwards: the children of a link are then done before it, and no query recurses.
   for (ZqU32 i = inState; i-- > 0;)
      if (links[i] != nullptr)
         links[i]->crbi(activeState, stateStruct);

   for (ZqU32 i = 0; i < count; ++i)
   {
      if (links[i] == nullptr)
      {
         setToZeros(i);
         continue;
      }
      const ZqLinkKinematicsContainer& joint = links[i]->linkKinematicsContainer();
      if (i >= inState)
      {
         // A link that the state does not have stands at zero and answers for its inertia itself.
         const ZqCoordinateSystemTransformation& X = joint.calculateTransform(0.0);
         place(i, ZqRotationMatrix(X.orientation()), X.translation());
         setMotionAndForce(i, joint.calculateAcceleration(0.0, 0.0, 1.0),
                           links[i]->crbi(activeState, stateStruct));
         continue;
      }
      ZqLinkPositionState& own = positions.record(i);
      if (!own.holdsDhTransform())
      {
         own.setDhTransform(joint.calculateTransform(jointPositions[i]));
         own.setDhTransformValid(true);
      }
      place(i, own.dhRotation(), own.dhTransform().translation());
      setMotionAndForce(i, joint.calculateAcceleration(jointPositions[i], 0.0, 1.0),
                        masses.record(i).crbi());
   }
}

void ZqCompositeBodySweep::writeMassMatrix(ZqReArray& array) const noexcept
{
   // Row i above the diagonal belongs to the subtree of link i.
   const ZqU32 count = size();
   for (ZqU32 i = 0; i < count; ++i)
   {
      ZqReal* const row = array[i].data();
      const ZqReal s0 = m_motions[0][i];
      const ZqReal s1 = m_motions[1][i];
      const ZqReal s2 = m_motions[2][i];
      const ZqReal s3 = m_motions[3][i];
      const ZqReal s4 = m_motions[4][i];
      const ZqReal s5 = m_motions[5][i];
      for (ZqU32 j = i; j < m_subtreeEnds[i]; ++j)
         row[j] = (s0 * m_forces[0][j] + s1 * m_forces[1][j]) +
                  (s2 * m_forces[2][j] + s3 * m_forces[3][j]) +
                  (s4 * m_forces[4][j] + s5 * m_forces[5][j]);
   }
   for (ZqU32 i = 0; i < count; ++i)
   {
      const ZqReal* const row = array[i].data();
      ZqReal* column = array.data() + i;
      for (ZqU32 j = i + 1; j < m_subtreeEnds[i]; ++j)
         column[static_cast<std::size_t>(j) * array.columns()] = row[j];
   }
}
