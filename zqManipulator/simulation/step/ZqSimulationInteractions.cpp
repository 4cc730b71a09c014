#include "zqManipulator/contact/proximity/ZqManipulatorCollisionTool.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"
#include "zqManipulator/state/ZqInteractionState.h"

#include <algorithm>
#include <memory>
#include <utility>

/// Leaves out contact where it is not wanted. Its place stays, so that the others are those of the model.
void ZqSimulation::takeInteractions()
{
   auto& interactions = m_interactions.vectorContainer();
   for (ZqBaseLinkInteractions*& interaction : interactions)
      if (!m_settings.computesContact &&
          dynamic_cast<const ZqLinkCollisionForce*>(interaction) != nullptr)
         std::unique_ptr<ZqBaseLinkInteractions>(std::exchange(interaction, nullptr));
   m_interacts = m_settings.interacts &&
                 std::any_of(interactions.begin(), interactions.end(),
                             [](const ZqBaseLinkInteractions* one) { return one != nullptr; });
}

// Interactions and contacts are in a trial all the time but for the evaluation with which a step begins: so
// nobody else leaves a trace in what they remember.

void ZqSimulation::beginTrial()
{
   if (!m_interacts)
      return;
   collisions().invalidateAll();
   collisions().beginTrial();
   m_interactions.beginTrial();
}

void ZqSimulation::endTrial()
{
   if (!m_interacts)
      return;
   collisions().endTrial();
   collisions().invalidateAll();
   m_interactions.endTrial();
}

/// Adds what links do to each other in the present state, at a time (s), to the given forces.
void ZqSimulation::interact(ZqReal time)
{
   if (!m_interacts)
      return;
   ZqSystemActiveState::GeneralForces& forces = m_active.generalForceVector();
   m_interactions.computeForces(m_active, system(), time, m_torques, forces);
   m_active.setGeneralForceValid(true);
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      Member& member = m_members[i];
      member.force = member.externalForce;
      member.force[ZqBaseLinkIndex] += forces[i].baseForce();
      for (ZqU32 j = 0; j < member.joints.size(); ++j)
         member.force[j] += forces[i].linkForces()[j];
   }
   passForcesToCarriers();
}

/// The links that attached manipulators hang on, carriers before what they carry: of those that do not act back.
void ZqSimulation::findCarriers()
{
   m_carried.clear();
   if (m_settings.couplesAttachments)
      return;
   const ZqManipulatorAttachmentMap& map = m_scene.configuration().attachmentMap();
   for (const ZqManipulatorAttachmentNode& tree : map.baseNodes().vectorContainer())
      for (const ZqU32 index : map.dependentManipulators(tree.manipulatorIndex()))
      {
         const ZqManipulatorAttachmentNode* node = map.findNode(index);
         const ZqManipulatorAttachmentNode* parent = node != nullptr ? node->parentNode() : nullptr;
         const ZqU32 carrier = parent != nullptr ? parent->manipulatorIndex() : ZqNoLinkIndex;
         if (index >= m_members.size() || carrier >= m_members.size())
            continue;
         const ZqManipulatorLink* link =
            m_members[carrier].manipulator->linkByIdentifier(node->linkLabel());
         if (link != nullptr)
            m_carried.push_back({index, {carrier, link->linkIndex()}});
      }
}

/// What interactions do to all of an attached manipulator acts on the link that it hangs on as well, and so
/// on down to the one that hangs on nothing.
void ZqSimulation::passForcesToCarriers()
{
   const ZqSystemActiveState::GeneralForces& forces = m_active.generalForceVector();
   const auto frameOf = [&](const Place& place)
   { return linkAt(place)->dhFrameInSystem(activeState(place.manipulator).activePositionState()); };
   for (Carried& carried : m_carried)
   {
      const auto inSystem = [&](ZqU32 link) {
         return frameOf({carried.manipulator, link}) * *forces[carried.manipulator].forceOn(link);
      };
      carried.force = inSystem(ZqBaseLinkIndex);
      for (ZqU32 j = 0; j < m_members[carried.manipulator].joints.size(); ++j)
         carried.force += inSystem(j);
   }
   for (std::size_t k = m_carried.size(); k-- > 0;)
   {
      const Carried& carried = m_carried[k];
      const Place& carrier = carried.carrier;
      m_members[carrier.manipulator].force[carrier.link] +=
         frameOf(carrier).inverse() * carried.force;
      const auto next = std::find_if(m_carried.begin(), m_carried.end(),
                                     [&](const Carried& other)
                                     { return other.manipulator == carrier.manipulator; });
      if (next != m_carried.end())
         next->force += carried.force;
   }
}

// To be stored

ZqInteractionState ZqSimulation::interactionState() const
{
   ZqInteractionState result;
   if (!m_interacts)
      return result;
   // Both answer what was before the trial.
   ZqInteractionState::Memories memories;
   for (const ZqBaseLinkInteractions* interaction : m_interactions.vectorContainer())
      memories.pushBack(interaction != nullptr ? interaction->memory()
                                               : ZqXmlVectorBasicType<ZqReal>());
   ZqInteractionState::Contacts contacts;
   for (const ZqContactMemoryOfPair& pair : m_active.systemShapeCollisionCache().memories())
      contacts.pushBack(ZqContactState(pair));
   ZqInteractionState::PairCaches caches;
   for (const ZqPairCacheOfPair& pair : m_active.systemShapeCollisionCache().pairCaches())
      caches.pushBack(ZqPairCacheState(pair));
   const auto isEmpty = [](const auto& memory) { return memory.size() == 0; };
   if (contacts.size() == 0 && caches.size() == 0 &&
       std::all_of(memories.begin(), memories.end(), isEmpty))
      return result;
   result.setMemories(memories);
   result.setContacts(contacts);
   result.setPairCaches(caches);
   return result;
}

bool ZqSimulation::isShape(const ZqShapeKey& key) const
{
   const ZqManipulatorLink* link = linkAt({key.manipulatorIndex(), key.linkIndex()});
   return link != nullptr && link->shapeByIndex(key.shapeIndex()) != nullptr;
}

bool ZqSimulation::setInteractionState(const ZqInteractionState& state)
{
   const char* const misfit = takeInteractionState(state);
   if (misfit != nullptr)
      Zq::Print::instance().write(Zq::Rejected, "ZqSimulation::setInteractionState(): %s.\n",
                                  misfit);
   return misfit == nullptr;
}

/// Null, or else the reason why it does not fit; then nothing changes.
const char* ZqSimulation::takeInteractionState(const ZqInteractionState& state)
{
   ZqInteractionState::Memories memories = state.memories();
   const ZqU32 interactionCount = m_settings.interacts ? m_interactions.size() : 0;
   if (state.isEmpty())
      memories.resize(interactionCount);
   if (memories.size() != interactionCount)
      return "it is of another number of interactions";
   // A copy tells whether it takes them.
   ZqLinkInteractionsVector copy = m_interactions;
   for (ZqU32 i = 0; i < memories.size(); ++i)
      if (copy.vectorContainer()[i] != nullptr &&
          !copy.vectorContainer()[i]->setMemory(memories[i]))
         return "it has what an interaction cannot remember";
   std::vector<ZqContactMemoryOfPair> pairs(state.contacts().size());
   for (ZqU32 i = 0; i < pairs.size(); ++i)
   {
      if (!state.contacts()[i].get(pairs[i]))
         return "the numbers of a contact do not fit";
      if (!isShape(pairs[i].key1) || !isShape(pairs[i].key2))
         return "it has a contact of shapes that there are not";
   }
   std::vector<ZqPairCacheOfPair> caches(state.pairCaches().size());
   for (ZqU32 i = 0; i < caches.size(); ++i)
   {
      if (!state.pairCaches()[i].get(caches[i]))
         return "the numbers of where a search for a contact begins do not fit";
      if (!isShape(caches[i].key1) || !isShape(caches[i].key2))
         return "it has a search for a contact of shapes that there are not";
   }
   if (!m_settings.computesContact)
   {
      pairs.clear();
      caches.clear();
   }
   if (!m_interacts)
      return pairs.empty() && caches.empty() ? nullptr
                                             : "it has contacts, and nothing acts between links";
   dropPresent();
   endTrial();
   for (ZqU32 i = 0; i < memories.size(); ++i)
      if (m_interactions.vectorContainer()[i] != nullptr)
         m_interactions.vectorContainer()[i]->setMemory(memories[i]);
   collisions().setMemories(pairs);
   // What is found of another model is forgotten when contacts are looked for.
   ZqManipulatorCollisionTool().followModel(system(), m_active);
   collisions().setPairCaches(caches);
   m_contactsOfStep.clear();
   for (const ZqContactMemoryOfPair& pair : collisions().memories())
      m_contactsOfStep.emplace_back(pair.key1, pair.key2, pair.memory);
   beginTrial();
   return nullptr;
}
