#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <cmath>

// Between steps. Where something is attached that moves otherwise than the link, the two become one by an impulse
// between them: the velocities change by the least in the metric of the mass matrix, as those of bodies that collide
// and stay together.

namespace
{
bool refuse(const char* name, const char* reason)
{
   Zq::Print::instance().write(Zq::Rejected, "ZqSimulation::%s(): %s.\n", name, reason);
   return false;
}

bool isFrameFinite(const ZqCoordinateSystemTransformation& X)
{
   const ZqVector& p = X.translation();
   const ZqOrientation& q = X.orientation();
   return std::isfinite(p.x() + p.y() + p.z()) && std::isfinite(q.w() + q.x() + q.y() + q.z());
}
} // namespace

const ZqManipulatorAttachmentMap& ZqSimulation::attachments() const
{
   return m_scene.configuration().attachmentMap();
}

bool ZqSimulation::attach(ZqU32 manipulator, const Place& carrier,
                          const std::optional<ZqCoordinateSystemTransformation>& offset,
                          const ZqString& name)
{
   constexpr const char* operation = "attach";
   if (!isPlace({manipulator, ZqBaseLinkIndex}) || !isPlace(carrier))
      return refuse(operation, "there is no such place");
   if (offset && !isFrameFinite(*offset))
      return refuse(operation, "a number of the offset is not finite");
   dropPresent();
   m_active.setNonredundantState(m_state);
   const ZqManipulatorLink& link = *linkAt(carrier);
   const auto asItIs = [&]
   {
      const ZqCoordinateSystemTransformation X =
         link.primaryFrameInSystem(activeState(carrier.manipulator).activePositionState());
      return X.inverse() * m_members[manipulator].manipulator->dhFrameInSystem(
                              activeState(manipulator).activePositionState());
   };
   ZqManipulatorAttachmentMap map = attachments();
   if (!map.attachManipulator(manipulator, carrier.manipulator, link.linkLabel(),
                              offset ? *offset : asItIs(), name))
      return refuse(operation, "it hangs there, or carries what it is to hang on");
   changeAttachments(map, manipulator);
   return true;
}

bool ZqSimulation::detach(ZqU32 manipulator)
{
   ZqManipulatorAttachmentMap map = attachments();
   if (!map.removeManipulatorAttachment(manipulator))
      return refuse("detach", "the manipulator is not attached");
   dropPresent();
   changeAttachments(map, manipulator);
   return true;
}

/// Goes on with other attachments, of which that of one manipulator is new or gone.
void ZqSimulation::changeAttachments(const ZqManipulatorAttachmentMap& map, ZqU32 manipulator)
{
   const bool isBooked = m_settings.booksEnergy && m_hasBookBegun;
   const ZqReal heldBefore = isBooked ? heldInTrial() : 0.0;
   ZqGeneralMotion& velocity = m_state.velocityStates()[manipulator].generalVelocity();
   const ZqGeneralMotion velocityBefore = velocity;
   m_scene.setManipulatorAttachmentMap(map);
   bindAll();
   for (ZqU32 i = 0; i < m_members.size(); ++i)
      activeState(i).setAccelerationState(m_members[i].gravity);
   if (map.baseManipulatorIndex(manipulator) == manipulator &&
       m_members[manipulator].manipulator->isFixedBase())
      velocity = ZqGeneralMotion();
   followCarriers();
   Tree* const tree = m_members[manipulator].tree;
   if (tree != nullptr && tree->root() != manipulator && !tree->whole.isStill)
   {
      strike(*tree, manipulator, velocityBefore - velocity);
      if (tree->whole.isConstrained)
         closeLoops(tree->unit());
      followCarriers();
   }
   if (!isBooked)
      return;
   const ZqReal held = heldInTrial();
   if (!std::isfinite(held - heldBefore))
      return;
   // Without an impulse on the carrier something else has made it follow.
   if (m_settings.couplesAttachments)
      m_book.lost.limits += heldBefore - held;
   else
      m_book.work.carriers += held - heldBefore;
}

/// Changes the velocities of a tree by what a part brings in which moves, with all that it carries, by some velocity
/// (m/s, rad/s, in the system) otherwise than where it hangs.
void ZqSimulation::strike(Tree& tree, ZqU32 manipulator, const ZqGeneralMotion& excess)
{
   m_active.setNonredundantState(m_state);
   gatherState(tree);
   const ZqIndividualManipulator& whole = *tree.whole.manipulator;
   ZqMotionDerivativeTool tool;
   tool.setManipulator(&whole);
   ZqReArray impulse;
   impulse.setToZeros(whole.totalDof(), 1);
   const ZqVector origin =
      m_members[manipulator]
         .manipulator->dhFrameInSystem(activeState(manipulator).activePositionState())
         .translation();
   const auto add =
      [&](ZqU32 index, const ZqManipulatorLink& link, ZqU32 place, const ZqVector& point)
   {
      const auto X = link.dhFrameInSystem(activeState(index).activePositionState());
      ZqGeneralMotion ofBody = excess;
      ofBody.transformBy(origin - X.translation());
      const ZqGeneralForce momentum =
         X.orientation() *
         link.massPropertiesInDHFrame().calculateForce(X.orientation().inverse() * ofBody);
      const ZqReArray& J =
         tool.jacobian(place, point, ZqMotionDerivativeTool::Axes::Mixed, tree.active);
      for (ZqU32 column = 0; column < impulse.rows(); ++column)
         for (ZqU32 k = 0; k < 6; ++k)
            impulse[column][0] += J[k][column] * momentum[k];
   };
   for (const Tree::Part& part : tree.parts)
   {
      if (!isCarriedBy(part.manipulator, manipulator))
         continue;
      const Member& member = m_members[part.manipulator];
      const ZqCoordinateSystemTransformation toPrimary =
         whole.linkByIndex(part.host)->primaryFrame().inverse();
      add(part.manipulator, *member.manipulator, part.host, (toPrimary * part.base).translation());
      for (ZqU32 j = 0; j < part.joints.size(); ++j)
      {
         const ZqManipulatorLink& link = *member.joints[j].link;
         add(part.manipulator, link, part.joints[j], link.primaryFrame().inverse().translation());
      }
   }
   const ZqStatedSystemStruct place(&tree.scene, whole.manipulatorIndex());
   ZqReArray change;
   tree.whole.solvers->crbi.factorMassMatrix(whole, tree.active, place).solve(impulse, change);
   ZqU32 next = 0;
   if (!whole.isFixedBase())
   {
      ZqGeneralMotion ofBase;
      ofBase.copyFromArray(change);
      tree.velocity.generalVelocity() +=
         whole.dhFrameInSystem(tree.active.activePositionState()).orientation() * ofBase;
      next = 6;
   }
   for (ZqU32 j = 0; next < change.rows(); ++j, ++next)
      tree.velocity.jointVelocities()[j] += change[next][0];
   scatterState(tree);
}

/// Whether a manipulator is another one, or hangs on it.
bool ZqSimulation::isCarriedBy(ZqU32 manipulator, ZqU32 carrier) const
{
   const ZqManipulatorAttachmentNode* node = attachments().findNode(manipulator);
   while (node != nullptr && node->manipulatorIndex() != carrier)
      node = node->parentNode();
   return node != nullptr;
}
