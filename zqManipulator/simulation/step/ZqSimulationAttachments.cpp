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
constexpr ZqReal ofLengthOne = 1e-6; // of the orientation of an offset

bool refuse(const char* name, const ZqString& reason)
{
   Zq::Print::instance().write(Zq::Rejected, "ZqSimulation::%s(): %s.\n", name, reason.c_str());
   return false;
}

bool isOffset(const ZqCoordinateSystemTransformation& X)
{
   const ZqVector& p = X.translation();
   const ZqOrientation& q = X.orientation();
   const ZqReal length = std::sqrt(q.w() * q.w() + q.x() * q.x() + q.y() * q.y() + q.z() * q.z());
   return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z()) &&
          std::abs(length - 1.0) <= ofLengthOne;
}
} // namespace

const ZqManipulatorAttachmentMap& ZqSimulation::attachments() const
{
   return m_scene.configuration().attachmentMap();
}

/// In quotes, with that of the link if it is not the base.
ZqString ZqSimulation::labelOf(const Place& place) const
{
   const ZqString& manipulator = m_members[place.manipulator].manipulator->manipulatorLabel();
   return place.link == ZqBaseLinkIndex
             ? '"' + manipulator + '"'
             : '"' + manipulator + '/' + linkAt(place)->linkLabel() + '"';
}

/// Empty when nothing speaks against it.
ZqString
ZqSimulation::reasonNotToAttach(ZqU32 manipulator, const Place& carrier,
                                const std::optional<ZqCoordinateSystemTransformation>& offset) const
{
   if (manipulator >= m_members.size() || carrier.manipulator >= m_members.size())
      return "there is no manipulator " +
             std::to_string(manipulator >= m_members.size() ? manipulator : carrier.manipulator);
   const ZqString ofCarrier = labelOf({carrier.manipulator, ZqBaseLinkIndex});
   const ZqManipulatorLink* const link = linkAt(carrier);
   if (link == nullptr)
      return ofCarrier + " has no link " + std::to_string(carrier.link);
   const ZqString what =
      labelOf({manipulator, ZqBaseLinkIndex}) + " cannot be attached to " + labelOf(carrier) + ": ";
   if (m_members[carrier.manipulator].manipulator->linkByIdentifier(link->linkLabel()) != link)
      return what + "another link has the same label";
   if (manipulator == carrier.manipulator)
      return what + "it would hang on itself";
   if (isCarriedBy(carrier.manipulator, manipulator))
      return what + ofCarrier + " hangs on it";
   if (offset && !isOffset(*offset))
      return what + "the offset is not finite, or its orientation not of length 1";
   return {};
}

bool ZqSimulation::attach(ZqU32 manipulator, const Place& carrier,
                          const std::optional<ZqCoordinateSystemTransformation>& offset,
                          const ZqString& name)
{
   constexpr const char* operation = "attach";
   const ZqString reason = reasonNotToAttach(manipulator, carrier, offset);
   if (!reason.empty())
      return refuse(operation, reason);
   // What is handed out of the present stays where there is no change.
   const auto placed = [&](ZqU32 index)
   {
      ZqManipulatorActiveState result;
      result.setPositionState(m_state.positionStates()[index]);
      m_members[index].manipulator->placeBase(result.activePositionState());
      return result;
   };
   const ZqManipulatorLink& link = *linkAt(carrier);
   const auto asItIs = [&]() -> ZqCoordinateSystemTransformation
   {
      const ZqIndividualManipulator& attached = *m_members[manipulator].manipulator;
      ZqManipulatorActiveState ofCarrier = placed(carrier.manipulator);
      ZqManipulatorActiveState ofAttached = placed(manipulator);
      return link.primaryFrameInSystem(ofCarrier.activePositionState()).inverse() *
             attached.dhFrameInSystem(ofAttached.activePositionState());
   };
   const ZqString what =
      labelOf({manipulator, ZqBaseLinkIndex}) + " cannot be attached to " + labelOf(carrier) + ": ";
   ZqManipulatorAttachmentMap map = attachments();
   if (!map.attachManipulator(manipulator, carrier.manipulator, link.linkLabel(),
                              offset ? *offset : asItIs(), name))
      return refuse(operation, what + "it hangs there, or on too long a chain");
   return changeAttachments(map, manipulator) ||
          refuse(operation, what + "the motion would not be finite");
}

bool ZqSimulation::detach(ZqU32 manipulator)
{
   constexpr const char* operation = "detach";
   if (manipulator >= m_members.size())
      return refuse(operation, "there is no manipulator " + std::to_string(manipulator));
   ZqManipulatorAttachmentMap map = attachments();
   const ZqString what = labelOf({manipulator, ZqBaseLinkIndex});
   if (!map.removeManipulatorAttachment(manipulator))
      return refuse(operation, what + " is not attached");
   return changeAttachments(map, manipulator) ||
          refuse(operation, what + " cannot be released: the motion would not be finite");
}

/// Goes on with other attachments, of which that of one manipulator is new or gone. False, and as before, when the
/// energy of what comes is not finite.
bool ZqSimulation::changeAttachments(const ZqManipulatorAttachmentMap& map, ZqU32 manipulator)
{
   dropPresent();
   const bool isBooked = m_settings.booksEnergy;
   const ZqEnergyBook::Held heldBefore = isBooked ? heldInTrial() : ZqEnergyBook::Held();
   const ZqManipulatorAttachmentMap mapBefore = attachments();
   const ZqManipulatorSystemState stateBefore = m_state;
   takeAttachments(map);
   ZqGeneralMotion& velocity = m_state.velocityStates()[manipulator].generalVelocity();
   if (map.baseManipulatorIndex(manipulator) == manipulator &&
       m_members[manipulator].manipulator->isFixedBase())
      velocity = ZqGeneralMotion();
   followCarriers();
   const ZqGeneralMotion excess =
      stateBefore.velocityStates()[manipulator].generalVelocity() - velocity;
   if (m_settings.couplesAttachments)
      meet(manipulator, excess);
   if (!std::isfinite(heldBetweenInteractions().total()))
   {
      m_state = stateBefore;
      takeAttachments(mapBefore);
      return false;
   }
   if (isBooked)
      bookChange(heldBefore);
   return true;
}

void ZqSimulation::takeAttachments(const ZqManipulatorAttachmentMap& map)
{
   m_active.setNonredundantState(m_state);
   m_scene.setManipulatorAttachmentMap(map);
   bindAll();
   for (ZqU32 i = 0; i < m_members.size(); ++i)
      activeState(i).setAccelerationState(m_members[i].gravity);
}

/// Books what is held otherwise than before.
void ZqSimulation::bookChange(const ZqEnergyBook::Held& heldBefore)
{
   if (!m_hasBookBegun)
      m_book.heldAtStart = heldBefore;
   m_hasBookBegun = true;
   const ZqReal change = heldInTrial().total() - heldBefore.total();
   if (!std::isfinite(change))
      return;
   // Without an impulse on the carrier something else has made it follow.
   if (m_settings.couplesAttachments)
      m_book.lost.limits -= change;
   else
      m_book.work.carriers += change;
}

/// Has a manipulator that was attached or released, and moved by some velocity (m/s, rad/s, in the system) otherwise
/// than its base does now, move as one with what it is solved with.
void ZqSimulation::meet(ZqU32 manipulator, const ZqGeneralMotion& excess)
{
   Tree* const tree = m_members[manipulator].tree;
   const Unit unit = tree != nullptr ? tree->unit() : unitOf(manipulator);
   const bool isReleased = tree == nullptr || tree->root() == manipulator;
   if (unit.member.isStill || (isReleased && excess == ZqGeneralMotion()))
      return;
   strike(unit, manipulator, excess);
   followCarriers();
}

/// Changes the velocities by what a part brings in which moves, with all that it carries, by some velocity otherwise
/// than its base.
void ZqSimulation::strike(const Unit& unit, ZqU32 manipulator, const ZqGeneralMotion& excess)
{
   m_active.setNonredundantState(m_state);
   if (unit.tree != nullptr)
      gatherState(*unit.tree);
   Member& member = unit.member;
   const ZqIndividualManipulator& whole = *member.manipulator;
   const ZqReArray impulse = impulseOf(unit, manipulator, excess);
   const ZqStatedSystemStruct place(&unit.scene, whole.manipulatorIndex());
   ZqReArray change;
   member.solvers->crbi.factorMassMatrix(whole, unit.active, place).solve(impulse, change);
   ZqU32 next = 0;
   if (!whole.isFixedBase())
   {
      ZqGeneralMotion ofBase;
      ofBase.copyFromArray(change);
      unit.velocity.generalVelocity() +=
         whole.dhFrameInSystem(unit.active.activePositionState()).orientation() * ofBase;
      next = 6;
   }
   for (ZqU32 j = 0; next < change.rows(); ++j, ++next)
      unit.velocity.jointVelocities()[j] += change[next][0];
   if (member.isConstrained && !m_settings.closesLoops)
      member.solvers->projection.projectVelocity(unit.scene, whole, unit.position, unit.velocity);
   if (unit.tree != nullptr)
      scatterState(*unit.tree);
   if (member.isConstrained)
      closeLoops(unit);
}

/// Along the base, if it is free, and the joints, of the momentum that a part has, with all that it carries, by some
/// velocity of its base.
ZqReArray ZqSimulation::impulseOf(const Unit& unit, ZqU32 manipulator,
                                  const ZqGeneralMotion& velocity)
{
   const ZqIndividualManipulator& whole = *unit.member.manipulator;
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
      ZqGeneralMotion ofBody = velocity;
      ofBody.transformBy(origin - X.translation());
      const ZqGeneralForce momentum =
         X.orientation() *
         link.massPropertiesInDHFrame().calculateForce(X.orientation().inverse() * ofBody);
      const ZqReArray& J =
         tool.jacobian(place, point, ZqMotionDerivativeTool::Axes::Mixed, unit.active);
      for (ZqU32 column = 0; column < impulse.rows(); ++column)
         for (ZqU32 k = 0; k < 6; ++k)
            impulse[column][0] += J[k][column] * momentum[k];
   };
   Tree::Part itself{manipulator, ZqBaseLinkIndex, {}};
   for (ZqU32 j = 0; unit.tree == nullptr && j < whole.jointDof(); ++j)
      itself.joints.push_back(j);
   for (const Tree::Part& part : unit.tree != nullptr
                                    ? std::span<const Tree::Part>(unit.tree->parts)
                                    : std::span(&itself, 1))
   {
      if (part.manipulator != manipulator && !isCarriedBy(part.manipulator, manipulator))
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
   return impulse;
}

/// Whether a manipulator is another one, or hangs on it.
bool ZqSimulation::isCarriedBy(ZqU32 manipulator, ZqU32 carrier) const
{
   const ZqManipulatorAttachmentNode* node = attachments().findNode(manipulator);
   while (node != nullptr && node->manipulatorIndex() != carrier)
      node = node->parentNode();
   return node != nullptr;
}
