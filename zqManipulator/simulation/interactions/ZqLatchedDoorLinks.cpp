#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"
#include "zqManipulator/tools/labels/ZqModelScaling.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqLatchedDoorLinks, ZqBaseLinkInteractions>;

namespace
{
// Never destroyed, so that doors can be written until the process ends.
const ZqXmlEnumeration& latchTypeEnumeration()
{
   static const auto& enumeration = *new ZqXmlEnumeration{
      {&ZqManip::ZqLatchTypeClosedWithTurnToken,
       "while the handle is not turned, a free door is kept out of its frame"},
      {&ZqManip::ZqLatchTypeClosedWithoutTurnToken, "a free door latches when it comes into it"}};
   return enumeration;
}
} // namespace

ZqLatchedDoorLinks::ZqLatchedDoorLinks() : m_latchType(latchTypeEnumeration()) {}

bool ZqLatchedDoorLinks::xmlInit()
{
   registerLatchTypeEnumerations();
   return ZqXmlCompoundType::xmlInit();
}

void ZqLatchedDoorLinks::registerLatchTypeEnumerations()
{
   m_latchType.registerEnumeration(latchTypeEnumeration());
}

bool ZqLatchedDoorLinks::read(ZqXmlReader& reader)
{
   m_latch.get() = {};
   return ZqXmlClass::read(reader);
}

void ZqLatchedDoorLinks::init(ZqReal doorAngle) const
{
   m_latch.get() = {
      true, !(m_closedDoorAngleLowerBound <= doorAngle && doorAngle <= m_closedDoorAngleUpperBound),
      (m_closedDoorAngleLowerBound + m_closedDoorAngleUpperBound) * 0.5};
}

/// What the spring does now. Leads the latch on.
ZqLatchedDoorLinks::Spring ZqLatchedDoorLinks::leadLatchOn(ZqReal handleAngle,
                                                           ZqReal doorAngle) const
{
   if (!m_latch.get().isInitialized)
      init(doorAngle);
   Latch& latch = m_latch.get();
   const ZqReal lower = m_closedDoorAngleLowerBound;
   const ZqReal upper = m_closedDoorAngleUpperBound;
   const bool isHandleOut =
      handleAngle < m_unlatchingAngleLowerBound || handleAngle > m_unlatchingAngleUpperBound;

   if (!latch.isDoorFree)
   {
      if (isHandleOut)
         return Spring::HoldsIn;
      latch.isDoorFree = doorAngle < lower || doorAngle > upper;
      return Spring::None;
   }
   if (isHandleOut && m_latchType == ClosedWithTurn)
      return Spring::KeepsOut;
   if (lower < doorAngle && doorAngle < upper)
      latch.isDoorFree = false;
   return Spring::None;
}

/// The position of the door against that in which the spring rests, where it touches the door (rad).
std::optional<ZqReal> ZqLatchedDoorLinks::stretch(Spring spring, ZqReal doorAngle) const
{
   const ZqReal center = m_latch.get().closedDoorCenter;
   const ZqReal lower = m_closedDoorAngleLowerBound;
   const ZqReal upper = m_closedDoorAngleUpperBound;
   if (spring == Spring::HoldsIn)
      return doorAngle - center;
   if (spring == Spring::KeepsOut && lower < doorAngle && doorAngle < upper)
      return doorAngle - (doorAngle <= center ? lower : upper);
   return std::nullopt;
}

/// The moment on the door, about its z axis (N m). Leads the latch on.
ZqReal ZqLatchedDoorLinks::moment(ZqReal handleAngle, ZqReal doorAngle, ZqReal doorRate) const
{
   const Spring spring = leadLatchOn(handleAngle, doorAngle);
   Latch& latch = m_latch.get();
   latch.springBefore = latch.spring;
   latch.spring = spring;
   const std::optional<ZqReal> turned = stretch(spring, doorAngle);
   return turned ? -(*turned * m_springConstant + doorRate * dampingOf(spring)) : 0.0;
}

/// Of the damper beside a spring: that of the wall pushes.
ZqReal ZqLatchedDoorLinks::dampingOf(Spring spring) const
{
   return spring == Spring::KeepsOut ? -m_damperConstant : m_damperConstant;
}

/// With the door at a position and velocity, as of the last evaluation.
ZqInteractionEnergy ZqLatchedDoorLinks::energyAt(ZqReal doorAngle, ZqReal doorRate) const
{
   const Latch& latch = m_latch.get();
   const auto heldBy = [&](Spring spring)
   {
      const ZqReal turned = stretch(spring, doorAngle).value_or(0.0);
      return 0.5 * m_springConstant * turned * turned;
   };
   ZqInteractionEnergy energy;
   energy.linkSprings = heldBy(latch.spring);
   if (stretch(latch.spring, doorAngle))
      energy.linkDampers = dampingOf(latch.spring) * doorRate * doorRate;
   if (latch.springBefore != Spring::Unknown)
      energy.released = heldBy(latch.springBefore) - energy.linkSprings;
   return energy;
}

ZqXmlVectorBasicType<ZqReal> ZqLatchedDoorLinks::memory() const
{
   const Latch& latch = m_kept.get() ? *m_kept.get() : m_latch.get();
   ZqXmlVectorBasicType<ZqReal> numbers;
   if (latch.isInitialized)
      numbers.values() = {latch.isDoorFree ? 1.0 : 0.0, latch.closedDoorCenter,
                          static_cast<ZqReal>(latch.spring)};
   return numbers;
}

bool ZqLatchedDoorLinks::setMemory(const ZqXmlVectorBasicType<ZqReal>& memory)
{
   const auto& numbers = memory.values();
   if (numbers.empty())
   {
      m_latch.get() = {};
      return true;
   }
   const bool isSpringTold = numbers.size() == 3;
   if ((numbers.size() != 2 && !isSpringTold) || (numbers[0] != 0.0 && numbers[0] != 1.0) ||
       !std::isfinite(numbers[1]))
      return false;
   Latch latch{true, numbers[0] == 1.0, numbers[1]};
   if (isSpringTold)
   {
      const auto known = {Spring::None, Spring::HoldsIn, Spring::KeepsOut, Spring::Unknown};
      const auto found =
         std::find_if(known.begin(), known.end(),
                      [&](Spring spring) { return static_cast<ZqReal>(spring) == numbers[2]; });
      if (found == known.end())
         return false;
      latch.spring = *found;
   }
   m_latch.get() = latch;
   return true;
}

void ZqLatchedDoorLinks::beginTrial() const
{
   if (!m_kept.get())
      m_kept.get() = m_latch.get();
}

void ZqLatchedDoorLinks::endTrial() const
{
   if (m_kept.get())
      m_latch.get() = *m_kept.get();
   m_kept.get().reset();
}

bool ZqLatchedDoorLinks::apply(const ZqModelEdit& edit)
{
   const auto door = edit.place({m_manipulatorId, m_doorLinkId});
   const auto handle = edit.place({m_manipulatorId, m_handleLinkId});
   // Both have joints, and are links of one manipulator.
   if (!door || !handle || door->manipulatorIndex != handle->manipulatorIndex ||
       door->linkIndex == ZqBaseLinkIndex || handle->linkIndex == ZqBaseLinkIndex)
      return false;
   const ZqLinkRestatement& ofDoor = edit.restatement({m_manipulatorId, m_doorLinkId});
   ofDoor.restate(m_closedDoorAngleLowerBound, m_closedDoorAngleUpperBound);
   m_latch.get().closedDoorCenter = ofDoor.position(m_latch.get().closedDoorCenter);
   if (m_kept.get())
      m_kept.get()->closedDoorCenter = ofDoor.position(m_kept.get()->closedDoorCenter);
   edit.restatement({m_manipulatorId, m_handleLinkId})
      .restate(m_unlatchingAngleLowerBound, m_unlatchingAngleUpperBound);
   m_manipulatorId = door->manipulatorIndex;
   m_doorLinkId = door->linkIndex;
   m_handleLinkId = handle->linkIndex;
   return true;
}

void ZqLatchedDoorLinks::setLatchType(ZqU32 type)
{
   if (type <= ClosedWithoutTurn)
      m_latchType = type;
   else
      Zq::Print::instance().write(
         Zq::Rejected, "ZqLatchedDoorLinks::setLatchType(): there is no latch type %u.\n", type);
}

void ZqLatchedDoorLinks::setSpringConstant(ZqReal constant)
{
   take(m_springConstant, constant, "ZqLatchedDoorLinks::setSpringConstant()");
}

void ZqLatchedDoorLinks::setDamperConstant(ZqReal constant)
{
   take(m_damperConstant, constant, "ZqLatchedDoorLinks::setDamperConstant()");
}

void ZqLatchedDoorLinks::setUnlatchingAngleLowerBound(ZqReal angle)
{
   take(m_unlatchingAngleLowerBound, angle, "ZqLatchedDoorLinks::setUnlatchingAngleLowerBound()");
}

void ZqLatchedDoorLinks::setUnlatchingAngleUpperBound(ZqReal angle)
{
   take(m_unlatchingAngleUpperBound, angle, "ZqLatchedDoorLinks::setUnlatchingAngleUpperBound()");
}

void ZqLatchedDoorLinks::setClosedDoorAngleLowerBound(ZqReal angle)
{
   take(m_closedDoorAngleLowerBound, angle, "ZqLatchedDoorLinks::setClosedDoorAngleLowerBound()");
}

void ZqLatchedDoorLinks::setClosedDoorAngleUpperBound(ZqReal angle)
{
   take(m_closedDoorAngleUpperBound, angle, "ZqLatchedDoorLinks::setClosedDoorAngleUpperBound()");
}

void ZqLatchedDoorLinks::scaleBy(const ZqModelScaling& scaling)
{
   if (m_manipulatorId != scaling.manipulator)
      return;
   const ZqReal door = scaling.jointFactor(m_doorLinkId);
   const ZqReal handle = scaling.jointFactor(m_handleLinkId);
   m_springConstant *= scaling.power(5) / door;
   m_damperConstant *= scaling.power(5) / door;
   m_closedDoorAngleLowerBound *= door;
   m_closedDoorAngleUpperBound *= door;
   m_unlatchingAngleLowerBound *= handle;
   m_unlatchingAngleUpperBound *= handle;
   setMemory({}); // which has the middle of the frame
}
