#include "zqManipulator/contact/response/ZqContactLoad.h"
#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace
{
/// How far bodies have to be thrown in a step, in terms of their size, to count as thrown.
constexpr ZqReal thrownPart = 0.1;

ZqReal depthOf(const ZqShapeCollisionData& record)
{
   return std::max(0.0, -record.separationDistance());
}

int overlappingPoints(const ZqContactManifold& manifold)
{
   return static_cast<int>(std::count_if(manifold.points, manifold.points + manifold.count,
                                         [](const ZqContactPoint& point)
                                         { return point.separation < 0.0; }));
}
} // namespace

/// Where the points of a contact remember how they hold, they tell; else the patch does.
ZqSimulation::ContactMode ZqSimulation::modeOf(const ZqContactMemory& memory)
{
   if (memory.gripCount > 0)
      return memory.isSlipping ? ContactMode::Slips : ContactMode::Sticks;
   switch (memory.frictionMode)
   {
   case ZqFrictionMode::Static:
      return ContactMode::Sticks;
   case ZqFrictionMode::Kinetic:
      return ContactMode::Slips;
   case ZqFrictionMode::NewContact:
      break;
   }
   return ContactMode::Frictionless;
}

ZqSimulation::ContactOfStep::ContactOfStep(const ZqShapeKey& key1, const ZqShapeKey& key2,
                                           const ZqContactMemory& memory)
   : mode(modeOf(memory))
{
   const auto& [first, second] = std::minmax(key1, key2);
   shapes = {first.manipulatorIndex(), first.linkIndex(),  second.manipulatorIndex(),
             second.linkIndex(),       first.shapeIndex(), second.shapeIndex()};
}

void ZqSimulation::findSizes(Member& member) const
{
   if (!m_interacts)
      return;
   const auto add = [&](const ZqManipulatorLink& link)
   {
      const ZqVector e =
         link.shape() != nullptr ? link.shape()->axisAlignedBoundingBox({}).extents() : ZqVector();
      member.linkSizes.push_back(std::max({e.x(), e.y(), e.z()}));
   };
   add(member.manipulator->concreteReference());
   for (const Joint& joint : member.joints)
      add(*joint.link);
}

ZqReal ZqSimulation::sizeAt(const Place& place) const
{
   return m_members[place.manipulator]
      .linkSizes[place.link == ZqBaseLinkIndex ? 0 : place.link + 1];
}

/// Whether neither of its links ever moves, or both are parts of one body of a tree, so that nothing comes of it.
bool ZqSimulation::areStill(const ZqShapeCollisionData& record) const
{
   const Place first{record.manipulatorOneID(), record.linkOneID()};
   const Place second{record.manipulatorTwoID(), record.linkTwoID()};
   const auto isStill = [&](const Place& place)
   { return place.link == ZqBaseLinkIndex && m_members[place.manipulator].isBaseStill; };
   const Tree* tree = m_members[first.manipulator].tree;
   return (isStill(first) && isStill(second)) ||
          (tree != nullptr && tree == m_members[second.manipulator].tree &&
           linkOfTree(first) == linkOfTree(second));
}

/// The link of a tree that has a link of one of its parts.
ZqU32 ZqSimulation::linkOfTree(const Place& place) const
{
   const Member& member = m_members[place.manipulator];
   const Tree::Part& part = member.tree->parts[member.partOfTree];
   return place.link == ZqBaseLinkIndex ? part.host : part.joints[place.link];
}

/// Takes down what the evaluation has found with which a step begins. What it found before is walked
/// over beside.
void ZqSimulation::noteContacts(ZqReal dt)
{
   if (!m_interacts)
      return;
   m_deepestContact.reset();
   m_pushes.clear();
   m_contactsBefore.swap(m_contactsOfStep);
   m_contactsOfStep.clear();
   auto before = m_contactsBefore.begin();
   collisions().resetNextCollisionData();
   while (const ZqShapeCollisionData* record = collisions().nextCollisionData())
   {
      if (areStill(*record))
         continue;
      const ContactOfStep now(record->key1(), record->key2(), record->memory());
      while (before != m_contactsBefore.end() && before->shapes < now.shapes)
         ++before;
      const bool stuck = before != m_contactsBefore.end() && before->shapes == now.shapes &&
                         before->mode == ContactMode::Sticks;
      m_slips += stuck && now.mode == ContactMode::Slips;
      m_contactsOfStep.push_back(now);
      const ZqReal depth = depthOf(*record);
      notePush(*record, depth, dt);
      if (!m_deepestContact || depth > m_deepestContact->depth)
         m_deepestContact = DeepestContact{{record->manipulatorOneID(), record->linkOneID()},
                                           {record->manipulatorTwoID(), record->linkTwoID()},
                                           depth,
                                           m_state.time()};
   }
   if (m_deepestContact && (!m_greatestDepth || m_deepestContact->depth > m_greatestDepth->depth))
      m_greatestDepth = m_deepestContact;
}

const std::vector<ZqSimulation::Contact>& ZqSimulation::contacts()
{
   present();
   if (m_areContactsPresent || !m_interacts)
      return m_contacts;
   m_areContactsPresent = true;
   m_contacts.clear();
   collisions().resetNextCollisionData();
   while (const ZqShapeCollisionData* record = collisions().nextCollisionData())
      if (!areStill(*record))
         m_contacts.push_back({{record->manipulatorOneID(), record->linkOneID()},
                               {record->manipulatorTwoID(), record->linkTwoID()},
                               record->shapeOneID(),
                               record->shapeTwoID(),
                               overlappingPoints(record->manifold()),
                               depthOf(*record),
                               record->response().normalForce.mag(),
                               record->response().frictionForce.mag(),
                               modeOf(record->memory()),
                               record});
   return m_contacts;
}

ZqReal ZqSimulation::contactStepLimit()
{
   std::map<std::pair<ZqU32, ZqU32>, ZqContactLoad> loads;
   for (const Contact& contact : contacts())
   {
      const ZqContactResponse& response = contact.record->response();
      const auto load =
         ZqContactLoad::of(response.stiffness, response.dampingTime, contact.record->pairMass());
      for (const auto& [place, mass] : {std::pair(contact.first, contact.record->mass1()),
                                        std::pair(contact.second, contact.record->mass2())})
         // What cannot move bears any load.
         if (std::isfinite(mass))
            loads[{place.manipulator, place.link}] += load;
   }
   ZqReal result = std::numeric_limits<ZqReal>::infinity();
   for (const auto& [place, load] : loads)
      result = std::min(result, load.longestStep());
   return result;
}

// Steps that are far too long

/// Keeps a contact whose force alone would throw the two bodies, if they were free, so far in the step as no step
/// that is short enough does: further than they are deep in each other, and than a good part of the smaller one.
/// Likewise one that is deeper than the smaller one is large.
void ZqSimulation::notePush(const ZqShapeCollisionData& record, ZqReal depth, ZqReal dt)
{
   const Place first{record.manipulatorOneID(), record.linkOneID()};
   const Place second{record.manipulatorTwoID(), record.linkTwoID()};
   const ZqContactResponse& response = record.response();
   const ZqReal size = std::min(sizeAt(first), sizeAt(second));
   const ZqReal reach = std::max(depth, thrownPart * size);
   const ZqReal mass = record.pairMass();
   const ZqVector wayOfMass = response.normalForce * (dt * dt); // kg m
   const bool isThrown = mass > 0.0 && wayOfMass.magSquared() > reach * reach * mass * mass;
   if (!(isThrown || depth > size))
      return;
   const ZqReal told =
      ZqContactLoad::of(response.stiffness, response.dampingTime, mass).longestStep();
   const ZqReal secant =
      ZqContactLoad::of(response.normalForce.mag() / depth, 0.0, mass).longestStep();
   m_pushes.push_back({{first, second, depth, m_state.time()},
                       response.normalForce.unitVector(),
                       {record.contactPointRel1(), record.contactPointRel2()},
                       reach,
                       depth > size,
                       record.mass1() <= record.mass2(),
                       std::min(told, secant),
                       0.0});
   m_pushes.back().speed = separationSpeed(m_pushes.back());
}

/// Of the points that touched where the step began, along the force (m/s).
ZqReal ZqSimulation::separationSpeed(const Push& push)
{
   const auto speedOf = [&](const Place& place, const ZqVector& point)
   {
      ZqManipulatorActiveState& active = activeState(place.manipulator);
      const ZqManipulatorLink& link = *linkAt(place);
      const ZqGeneralMotion& V = link.primaryFrameVelocityInSystem(active);
      const ZqVector arm =
         link.primaryFrameInSystem(active.activePositionState()).orientation() * point;
      return (V.linear() + V.angular().cross(arm)).dot(push.direction);
   };
   return speedOf(push.contact.first, push.points[0]) -
          speedOf(push.contact.second, push.points[1]);
}

/// Whether the step has thrown links apart as no contact does, by one leap and much faster than they came
/// together; or whether links that are all within each other go on, where the step is too long for their contact.
/// Links that are light beside what hangs on them push hard, and do not leap.
bool ZqSimulation::isAnyContactLost(ZqReal dt)
{
   if (m_pushes.empty())
      return false;
   m_active.setNonredundantState(m_state);
   for (const Push& push : m_pushes)
   {
      const ZqReal speed = separationSpeed(push);
      const bool isThrown = speed * dt > push.reach && speed > 2.0 * std::abs(push.speed);
      const bool isSunk = push.isWithin && speed < 0.0 && dt > push.stepLimit;
      if (!isThrown && !isSunk)
         continue;
      const auto& [first, second, depth, time] = push.contact;
      m_divergence = Divergence{push.isFirstLighter ? first : second, m_state.time(), "contact",
                                push.contact, push.stepLimit};
      return true;
   }
   return false;
}
