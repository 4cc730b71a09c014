#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace
{
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

/// Takes down what the evaluation has found with which a step begins. What it found before is walked
/// over beside.
void ZqSimulation::noteContacts()
{
   if (!m_interacts)
      return;
   m_deepestContact.reset();
   m_contactsBefore.swap(m_contactsOfStep);
   m_contactsOfStep.clear();
   auto before = m_contactsBefore.begin();
   collisions().resetNextCollisionData();
   while (const ZqShapeCollisionData* record = collisions().nextCollisionData())
   {
      const ContactOfStep now(record->key1(), record->key2(), record->memory());
      while (before != m_contactsBefore.end() && before->shapes < now.shapes)
         ++before;
      const bool stuck = before != m_contactsBefore.end() && before->shapes == now.shapes &&
                         before->mode == ContactMode::Sticks;
      m_slips += stuck && now.mode == ContactMode::Slips;
      m_contactsOfStep.push_back(now);
      const ZqReal depth = depthOf(*record);
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
   struct Load
   {
      ZqReal squaredRate = 0.0; ///< rad^2/s^2
      ZqReal dampingTime = 0.0; ///< s
   };
   std::map<std::pair<ZqU32, ZqU32>, Load> loads;
   for (const Contact& contact : contacts())
   {
      const ZqContactResponse& response = contact.record->response();
      const ZqReal pairMass = contact.record->pairMass();
      if (!(response.stiffness > 0.0 && pairMass > 0.0))
         continue;
      for (const auto& [place, mass] : {std::pair(contact.first, contact.record->mass1()),
                                        std::pair(contact.second, contact.record->mass2())})
      {
         // What cannot move bears any load.
         if (!std::isfinite(mass))
            continue;
         Load& load = loads[{place.manipulator, place.link}];
         load.squaredRate += 4.0 * response.stiffness / pairMass;
         load.dampingTime = std::max(load.dampingTime, response.dampingTime);
      }
   }
   ZqReal result = std::numeric_limits<ZqReal>::infinity();
   for (const auto& [place, load] : loads)
   {
      // sqrt(T^2 + r) - T, without the difference of numbers that are nearly the same.
      const ZqReal r = 4.0 / load.squaredRate;
      const ZqReal T = load.dampingTime;
      result = std::min(result, r / (std::sqrt(T * T + r) + T));
   }
   return result;
}
