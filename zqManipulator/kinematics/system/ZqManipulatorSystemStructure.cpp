#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"

#include <algorithm>
#include <exception>
#include <map>
#include <utility>

namespace
{
bool isReference(const ZqIndividualManipulator& manipulator)
{
   return manipulator.manipulatorReferenceDescription().isManipulatorReferenced();
}

const ZqString& referencedLabel(const ZqIndividualManipulator& reference)
{
   return reference.manipulatorReferenceDescription().referencedManipulatorLabel();
}

void setReference(ZqIndividualManipulator& manipulator, const ZqString& referencedLabel)
{
   ZqManipulatorReferenceDescription description;
   description.setIsManipulatorReferenced(true);
   description.setReferencedManipulatorLabel(referencedLabel);
   manipulator.setManipulatorReferenceDescription(description);
}

void setIsReferencedBy(ZqIndividualManipulator& manipulator, bool isReferencedBy)
{
   ZqManipulatorReferenceDescription description = manipulator.manipulatorReferenceDescription();
   description.setIsManipulatorReferencedBy(isReferencedBy);
   manipulator.setManipulatorReferenceDescription(description);
}

/// Copies all but the label.
void copyModel(const ZqIndividualManipulator& from, ZqIndividualManipulator& to)
{
   const ZqString label = to.manipulatorLabel();
   to = from;
   to.setManipulatorLabel(label);
}
} // namespace

// Labels and indices

void ZqManipulatorSystem::mapManipulators()
{
   const ZqU32 count = numberOfManipulators();
   m_references.clear();
   for (ZqU32 i = 0; i < count; ++i)
      if (isReference(m_manipulators[i]))
         m_references.emplace(referencedLabel(m_manipulators[i]), i);

   // Models get their labels first, then references. Of labels that clash often, the search for an
   // unused one goes on from the last that was found.
   m_labelPool.clearUsingLabels();
   std::map<ZqString, ZqString> lastLabels;
   const auto putLabelToUse = [&](ZqU32 i)
   {
      const ZqString& label = m_manipulators[i].manipulatorLabel();
      if (m_labelPool.addUsingLabel(label, i))
         return;
      ZqString& lastLabel = lastLabels.try_emplace(label, label).first->second;
      lastLabel = m_labelPool.unusedLabel(lastLabel);
      const ZqString number = std::to_string(i);
      Zq::Print::instance().report(
         Zq::Oddity,
         {Zq::Severity::Warning,
          "label-changed",
          {},
          0,
          {},
          Zq::oneLine("the label \"" + label +
                      "\" is that of another manipulator too: manipulator " + number +
                      " becomes \"" + lastLabel + "\"")},
         "ZqManipulatorSystem::mapManipulators(): the label \"" + label +
            "\" is in use already: manipulator " + number + " becomes \"" + lastLabel + "\".\n");
      changeManipulatorLabelWithoutCheckingUniqueness(i, lastLabel);
      m_labelPool.addUsingLabel(lastLabel, i);
   };
   for (ZqU32 i = 0; i < count; ++i)
      if (!isReference(m_manipulators[i]))
         putLabelToUse(i);
   for (ZqU32 i = 0; i < count; ++i)
      if (isReference(m_manipulators[i]))
         putLabelToUse(i);
   for (ZqU32 i = 0; i < count; ++i)
      for (const ZqString& label : m_manipulators[i].usingManipulatorLabels())
         m_labelPool.addUsingLabel(label, i);

   // Labels are unique now, and the pool knows them all.
   for (ZqU32 i = 0; i < count; ++i)
      m_manipulators[i].setManipulatorIndex(i);
   for (ZqIndividualManipulator& manipulator : m_manipulators)
      manipulator.bindReference(isReference(manipulator) ? modelOf(manipulator) : nullptr);
}

/// The model at the end of the chain of references that starts at a manipulator; null when a label of
/// the chain is not there, or the chain is a ring.
ZqIndividualManipulator* ZqManipulatorSystem::modelOf(ZqIndividualManipulator& reference)
{
   ZqIndividualManipulator* manipulator = &reference;
   for (ZqU32 length = 0; isReference(*manipulator); ++length)
   {
      ZqU32 place = 0;
      if (length > numberOfManipulators() || !findManipulator(referencedLabel(*manipulator), place))
         return nullptr;
      manipulator = &m_manipulators[place];
   }
   return manipulator;
}

void ZqManipulatorSystem::reportUnboundReferences() const
{
   for (const ZqIndividualManipulator& manipulator : m_manipulators)
      if (isReference(manipulator) && &manipulator.concreteReference() == &manipulator)
      {
         const ZqString& label = manipulator.manipulatorLabel();
         const ZqString what =
            "refers to \"" + referencedLabel(manipulator) + "\", which leads to no model";
         Zq::Print::instance().report(Zq::Rejected,
                                      {Zq::Severity::Warning,
                                       "reference-unbound",
                                       {},
                                       0,
                                       "manipulator '" + Zq::oneLine(label) + "'",
                                       Zq::oneLine(what) + "; it has no links"},
                                      "ZqManipulatorSystem::read(): manipulator \"" + label +
                                         "\" " + what + ".\n");
      }
}

bool ZqManipulatorSystem::changeManipulatorLabelWithoutCheckingUniqueness(ZqU32 index,
                                                                          const ZqString& label)
{
   if (index >= numberOfManipulators())
      return false;
   const ZqString oldLabel = m_manipulators[index].manipulatorLabel();
   if (label == oldLabel)
      return true;
   for (auto place = m_references.lower_bound(oldLabel);
        place != m_references.end() && place->first == oldLabel;)
   {
      const auto reference = place++;
      if (reference->second == index)
         continue;
      ZqIndividualManipulator& manipulator = m_manipulators[reference->second];
      ZqManipulatorReferenceDescription description = manipulator.manipulatorReferenceDescription();
      description.setReferencedManipulatorLabel(label);
      manipulator.setManipulatorReferenceDescription(description);
      auto node = m_references.extract(reference);
      node.key() = label;
      m_references.insert(std::move(node));
   }
   m_manipulators[index].setManipulatorLabel(label);
   return true;
}

bool ZqManipulatorSystem::changeManipulatorLabel(const ZqString& oldLabel, const ZqString& newLabel)
{
   ZqU32 index = 0;
   if (!findManipulator(oldLabel, index) || m_labelPool.isLabelUsing(newLabel))
      return false;
   changeManipulatorLabelWithoutCheckingUniqueness(index, newLabel);
   mapManipulators();
   return true;
}

bool ZqManipulatorSystem::findManipulator(const ZqString& label, ZqU32& index) const
{
   // The pool also knows labels that a manipulator uses besides its own, and does not know what was
   // changed in a manipulator that was built in place.
   ZqU32 place = 0;
   const auto hasLabel = [&](const ZqIndividualManipulator& manipulator)
   { return manipulator.manipulatorLabel() == label; };
   if (!m_labelPool.indexOfUsingLabel(label, place) || place >= numberOfManipulators() ||
       !hasLabel(m_manipulators[place]))
      place =
         static_cast<ZqU32>(std::find_if(m_manipulators.begin(), m_manipulators.end(), hasLabel) -
                            m_manipulators.begin());
   if (place >= numberOfManipulators())
      return false;
   index = place;
   return true;
}

const ZqIndividualManipulator*
ZqManipulatorSystem::manipulatorByIdentifier(const ZqString& label) const
{
   ZqU32 index = 0;
   return findManipulator(label, index) ? &m_manipulators[index] : nullptr;
}

// Manipulators that come and go

/// Adds the label of a manipulator that is new at this place to the pool, or gives it another one.
void ZqManipulatorSystem::labelNewManipulator(ZqU32 index)
{
   ZqIndividualManipulator& manipulator = m_manipulators[index];
   if (!m_labelPool.addUsingLabel(manipulator.manipulatorLabel(), index))
      manipulator.setManipulatorLabel(m_labelPool.unusedLabel(manipulator.manipulatorLabel()));
}

void ZqManipulatorSystem::setManipulators(const Manipulators& manipulators)
{
   m_manipulators = manipulators;
   mapManipulators();
   attachCollisionExclusionMap();
}

void ZqManipulatorSystem::setFromIndividualManipulator(const ZqIndividualManipulator& manipulator)
{
   m_linkInteractionsVector.clear();
   computeCollisionDetectionPrecisionLevel();
   setManipulators({manipulator});
}

void ZqManipulatorSystem::addManipulator(const ZqIndividualManipulator& manipulator)
{
   m_manipulators.pushBack(manipulator);
   labelNewManipulator(numberOfManipulators() - 1);
   mapManipulators();
   attachCollisionExclusionMap();
}

bool ZqManipulatorSystem::exchangeManipulator(const ZqString& label,
                                              const ZqIndividualManipulator& manipulator)
{
   ZqU32 index = 0;
   if (!findManipulator(label, index) || !aboutToModifyManipulator(label))
      return false;
   m_labelPool.deleteUsingLabel(label);
   copyModel(manipulator, m_manipulators[index]);
   mapManipulators();
   attachCollisionExclusionMap();
   return true;
}

bool ZqManipulatorSystem::exchangeManipulator(ZqU32 index,
                                              const ZqIndividualManipulator& manipulator)
{
   if (index >= numberOfManipulators() || !aboutToModifyManipulator(index))
      return false;
   m_labelPool.deleteUsingLabel(m_manipulators[index].manipulatorLabel());
   m_manipulators[index] = manipulator;
   labelNewManipulator(index);
   mapManipulators();
   attachCollisionExclusionMap();
   return true;
}

std::optional<ZqModelEdit>
ZqManipulatorSystem::editManipulator(ZqU32 index,
                                     const std::function<void(ZqIndividualManipulator&)>& change)
{
   if (!separate(index))
      return std::nullopt;
   ZqIndividualManipulator::Record record;
   ZqIndividualManipulator& manipulator = m_manipulators[index];
   manipulator.keepRecord(&record);
   std::exception_ptr thrown;
   try
   {
      change(manipulator);
   }
   catch (...)
   {
      // Thrown on when everybody follows what was done until then.
      thrown = std::current_exception();
   }
   manipulator.keepRecord(nullptr);

   ZqModelEdit edit;
   edit.setLinks(index, record.edit);
   m_linkInteractionsVector.apply(edit);
   m_collisionExclusionMap.apply(edit);
   m_manipulatorAttachmentMap.apply(edit);
   mapManipulators();
   attachCollisionExclusionMap();
   if (thrown)
      std::rethrow_exception(thrown);
   return edit;
}

bool ZqManipulatorSystem::deleteManipulator(ZqU32 index)
{
   if (index >= numberOfManipulators())
      return false;
   if (!aboutToModifyManipulator(index))
      return true;
   m_manipulators.erase(index);
   m_collisionExclusionMap.deleteManipulatorAndShift(index);
   ZqModelEdit edit;
   edit.setManipulators(ZqRenumbering::removed(index, 1));
   m_linkInteractionsVector.apply(edit);
   m_manipulatorAttachmentMap.apply(edit);
   mapManipulators();
   attachCollisionExclusionMap();
   return true;
}

int ZqManipulatorSystem::deleteManipulator(const ZqString& label)
{
   ZqU32 index = 0;
   if (!findManipulator(label, index))
      return -1;
   deleteManipulator(index);
   return static_cast<int>(index);
}

bool ZqManipulatorSystem::mergeWith(const ZqManipulatorSystem& other)
{
   ZqManipulatorSystem appended(other);
   const ZqU32 size = numberOfManipulators();
   const ZqU32 count = appended.numberOfManipulators();
   // Labels that both systems have are changed in the appended one, references along with them.
   for (ZqU32 k = 0; k < count; ++k)
   {
      const ZqString oldLabel = appended.m_manipulators[k].manipulatorLabel();
      if (m_labelPool.addUsingLabel(oldLabel, size + k))
         continue;
      ZqString label = m_labelPool.unusedLabel(oldLabel);
      while (appended.m_labelPool.isLabelUsing(label))
      {
         m_labelPool.addUsedLabel(label);
         label = m_labelPool.unusedLabel(oldLabel);
      }
      appended.changeManipulatorLabelWithoutCheckingUniqueness(k, label);
      appended.m_labelPool.deleteUsingLabel(oldLabel);
      appended.m_labelPool.addUsingLabel(label, k);
      m_labelPool.addUsingLabel(label, size + k);
   }
   auto& manipulators = m_manipulators.vectorContainer();
   std::move(appended.m_manipulators.begin(), appended.m_manipulators.end(),
             std::back_inserter(manipulators));
   // Indices in the exclusions are shifted by the number of manipulators appended, not by the number
   // that were there before.
   appended.m_collisionExclusionMap.shiftManipulatorIndices(count);
   m_collisionExclusionMap.mergeWith(appended.m_collisionExclusionMap);
   mapManipulators();
   attachCollisionExclusionMap();
   return true;
}

// References

bool ZqManipulatorSystem::aboutToModifyManipulator(ZqU32 index)
{
   if (index >= numberOfManipulators())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqManipulatorSystem::aboutToModifyManipulator(): bad index (%u).\n", index);
      return false;
   }
   ZqIndividualManipulator& manipulator = m_manipulators[index];
   std::vector<ZqU32> referring;
   const auto [first, last] = m_references.equal_range(manipulator.manipulatorLabel());
   for (auto reference = first; reference != last; ++reference)
      if (reference->second != index)
         referring.push_back(reference->second);
      else
         Zq::Print::instance().write(Zq::Rejected,
                                     "ZqManipulatorSystem::aboutToModifyManipulator(): "
                                     "self-reference error for manipulator %u.\n",
                                     index);

   std::sort(referring.begin(), referring.end());

   // The others stop referring to this one: they get what it refers to, or the copy of its model.
   if (isReference(manipulator))
   {
      for (const ZqU32 i : referring)
         m_manipulators[i].setManipulatorReferenceDescription(
            manipulator.manipulatorReferenceDescription());
      takeModelOfReferenced(index);
   }
   else if (!referring.empty())
   {
      ZqIndividualManipulator& heir = m_manipulators[referring.front()];
      copyModel(manipulator, heir);
      for (std::size_t k = 1; k < referring.size(); ++k)
         setReference(m_manipulators[referring[k]], heir.manipulatorLabel());
   }
   else
      return true;
   mapManipulators();
   attachCollisionExclusionMap();
   return true;
}

bool ZqManipulatorSystem::aboutToModifyManipulator(const ZqString& label)
{
   ZqU32 index = 0;
   return findManipulator(label, index) && aboutToModifyManipulator(index);
}

/// As `aboutToModifyManipulator`, but the reference that gets a model of its own keeps what is its own and
/// not that of its links: above all it stays where it is.
bool ZqManipulatorSystem::separate(ZqU32 index)
{
   if (index >= numberOfManipulators())
      return aboutToModifyManipulator(index);
   ZqU32 heir = index;
   if (!isReference(m_manipulators[index]))
   {
      const auto [first, last] = m_references.equal_range(m_manipulators[index].manipulatorLabel());
      if (first == last)
         return true;
      heir = std::min_element(first, last,
                              [](const auto& a, const auto& b) { return a.second < b.second; })
                ->second;
   }
   const ZqIndividualManipulator reference = m_manipulators[heir];
   if (!aboutToModifyManipulator(index))
      return false;
   ZqIndividualManipulator& manipulator = m_manipulators[heir];
   manipulator.setCoordSysXForm(reference.coordSysXForm());
   manipulator.setIsFixedBase(reference.isFixedBase());
   manipulator.setStateEqualityConstraints(reference.stateEqualityConstraints());
   manipulator.setStoppingCriteria(reference.stoppingCriteria());
   manipulator.setDisplayLinkIndices(reference.displayLinkIndices());
   manipulator.setSelfCollisionLinkMap(reference.selfCollisionLinkMap());
   return true;
}

/// Copies the model at the end of the chain of references that starts at a manipulator.
void ZqManipulatorSystem::takeModelOfReferenced(ZqU32 index)
{
   const ZqString* label = &referencedLabel(m_manipulators[index]);
   ZqU32 found = 0;
   // A chain that is longer than the list of manipulators is a ring.
   for (ZqU32 length = 0; length < numberOfManipulators() && findManipulator(*label, found);
        ++length)
   {
      if (!isReference(m_manipulators[found]))
      {
         copyModel(m_manipulators[found], m_manipulators[index]);
         return;
      }
      label = &referencedLabel(m_manipulators[found]);
   }
   Zq::Print::instance().write(Zq::Rejected,
                               "ZqManipulatorSystem::aboutToModifyManipulator(): could not find "
                               "referenced manipulator %s\n.",
                               label->c_str());
}

bool ZqManipulatorSystem::findAndConvertToReferences()
{
   Manipulators manipulators = m_manipulators;
   // What counts is who refers to a manipulator, not what it says of that; and that others do makes no
   // difference between two models.
   std::vector<bool> isReferencedBy(manipulators.size());
   for (ZqU32 i = 0; i < manipulators.size(); ++i)
   {
      isReferencedBy[i] = m_references.contains(manipulators[i].manipulatorLabel());
      setIsReferencedBy(manipulators[i], false);
   }
   for (ZqU32 i = 1; i < manipulators.size(); ++i)
   {
      if (isReferencedBy[i])
         continue;
      ZqU32 j = 0;
      while (j < i && (isReference(manipulators[j]) ||
                       !manipulators[i].equalForReferencing(manipulators[j])))
         ++j;
      if (j == i)
         continue;
      setReference(manipulators[i], manipulators[j].manipulatorLabel());
      manipulators[i].setChildLinks({});
      manipulators[i].setShapeContainer({});
      manipulators[i].setSelfCollisionLinkMap({});
      isReferencedBy[j] = true;
   }
   for (ZqU32 i = 0; i < manipulators.size(); ++i)
   {
      setIsReferencedBy(manipulators[i], isReferencedBy[i]);
      if (!isReferencedBy[i] && !isReference(manipulators[i]))
         manipulators[i].removeLinkReferences();
   }
   setManipulators(manipulators);
   return true;
}
