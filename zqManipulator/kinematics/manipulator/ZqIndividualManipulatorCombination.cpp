#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqLinkUnion.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/tools/labels/ZqLabelPool.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <set>

// Parts of trees

ZqBoolean ZqIndividualManipulator::replaceLinkAndChildren(const ZqString& label,
                                                          const ZqManipulatorLink& link)
{
   if (!aboutToModifyLink(label))
      return false;
   ZqManipulatorLink* const replaced = linkByIdentifier(label);
   bool isReplaced = false;
   if (replaced == nullptr)
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqIndividualManipulator::replaceLinkAndChildren(): unexpected "
                                  "NULL pointer for link %s.\n",
                                  label.c_str());
   else
   {
      const ZqLinkEdit::Labels before = linkLabels();
      // Of the base, what a manipulator has besides stays.
      replaced->ZqManipulatorLink::operator=(link);
      if (!isReference())
         apply(ZqLinkEdit::matched(before, linkLabels()));
      isReplaced = true;
   }
   mapManipulator();
   buildSelfCollisionLinkMap();
   fitAbsoluteBoundingSphere();
   return isReplaced;
}

ZqBoolean
ZqIndividualManipulator::transformLinkSubtreeBy(const ZqString& label,
                                                const ZqCoordinateSystemTransformation& transform)
{
   if (!aboutToModifyLink(label))
      return false;
   ZqManipulatorLink* const link = linkByIdentifier(label);
   if (link == nullptr)
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqIndividualManipulator::transformLinkSubtreeBy(): unexpected "
                                  "NULL pointer for link %s.\n",
                                  label.c_str());
      return false;
   }
   const bool isMoved = link->transformLinkTreeBy(transform);
   fitAbsoluteBoundingSphere();
   return isMoved;
}

namespace
{
using Name = ZqLinkUnion::Name;
using Member = ZqLinkUnion::Member;
using Popped = ZqLinkUnion::Popped;

void rejectCombination(const ZqString& operation, const ZqString& what, const ZqString& why)
{
   Zq::Print::instance().write(Zq::Rejected, "ZqIndividualManipulator::%s(): %s: %s.\n",
                               operation.c_str(), what.c_str(), why.c_str());
}

template <class Act>
void forEachLinkOf(ZqManipulatorLink::ChildLinks& links, const Act& act)
{
   for (ZqManipulatorLink& link : links)
   {
      act(link);
      forEachLinkOf(link.childLinks(), act);
   }
}

/// Labels the links of trees anew, by their order, and what these hold with them.
void relabelTrees(ZqManipulatorLink::ChildLinks& trees, const std::vector<ZqString>& labels,
                  const ZqLinkEdit& edit)
{
   for (ZqManipulatorLink& tree : trees)
      tree.apply(edit);
   std::size_t i = 0;
   forEachLinkOf(trees, [&](ZqManipulatorLink& link) { link.setLinkLabel(labels[i++]); });
}

/// What a manipulator that was merged becomes in the one that it is merged into, of which the index of a
/// link is known by its label.
template <class IndexOf>
ZqLinkEdit editInto(const Member& member, const ZqString& carrier, const IndexOf& indexOf)
{
   const ZqString& baseLabel = member.manipulator.linkLabel();
   std::map<ZqString, std::optional<ZqString>> labels;
   for (const Name& name : member.origin.others)
      labels[name.own] = name.present;
   std::vector<ZqU32> indices;
   for (const Name& name : member.origin.links)
   {
      indices.push_back(name.present ? indexOf(*name.present) : ZqNoLinkIndex);
      labels[name.own] = name.present;
   }
   labels[baseLabel] = carrier;
   ZqLinkEdit edit = ZqLinkEdit::carried(ZqRenumbering::to(std::move(indices)), std::move(labels),
                                         indexOf(carrier));
   edit.restate(indexOf(carrier), carrier, {member.transform});
   return edit;
}

template <class Element>
std::unique_ptr<Element> cloneOf(const Element& element)
{
   return std::unique_ptr<Element>(static_cast<Element*>(element.clone()));
}

/// The weights of a base that is fixed count for nothing, and are not to count in another manipulator.
void dropFixedBase(ZqBaseStateEqualityConstraint& constraint)
{
   auto* linear = dynamic_cast<ZqLinearStateEqualityConstraint*>(&constraint);
   if (linear == nullptr)
      return;
   ZqLinearStateEqualityConstraint::Weights weights = linear->baseWeights();
   for (auto& row : weights)
      std::fill(row.begin(), row.end(), 0.0);
   linear->setBaseWeights(weights);
}
template <class Other>
void dropFixedBase(Other&)
{
}

/// One merge that elements went through.
struct Inwards
{
   ZqLinkEdit edit;
   bool baseWasFixed;
};

/// What an element of the merged manipulator became; null when it is gone.
template <class Element>
std::unique_ptr<Element> carried(const Element& element, const Inwards& inwards)
{
   std::unique_ptr<Element> result = cloneOf(element);
   if (inwards.baseWasFixed)
      dropFixedBase(*result);
   return result->apply(inwards.edit) ? std::move(result) : nullptr;
}

template <class List>
void takeElements(List& list, const List& others, const Inwards& inwards, const Member& member,
                  const char* what)
{
   for (ZqU32 i = 0; i < others.size(); ++i)
   {
      const auto* other = others.vectorContainer()[i];
      if (other == nullptr)
         continue;
      if (const auto moved = carried(*other, inwards))
         list.pushBack(*moved);
      else
         Zq::Print::instance().write(Zq::Oddity,
                                     "ZqIndividualManipulator::combineManipulator(): %s %u of "
                                     "manipulator \"%s\" is left out: its base does not move by "
                                     "itself any more.\n",
                                     what, i, member.manipulator.manipulatorLabel().c_str());
   }
}

/// How a manipulator that is taken off again goes.
struct Outwards
{
   std::vector<Inwards> inwards; ///< how it came, the innermost merge first
   ZqLinkEdit restored;          ///< of it as it was, to what is left of it
   ZqLinkEdit remaining;         ///< of the combined manipulator
   ZqLinkEdit edit;              ///< of what goes
};

/// What a manipulator holds that speaks of its links.
struct Held
{
   ZqStateEqualityConstraintVector constraints;
   ZqStateConstraintVector limits;
   ZqStoppingCriterionVector criteria;
   ZqGeneralBoundObjectVector objects;

   static Held of(const ZqIndividualManipulator& manipulator)
   {
      return {manipulator.stateEqualityConstraints(), manipulator.stateConstraints(),
              manipulator.stoppingCriteria(), manipulator.generalBoundObjects()};
   }
   void giveTo(ZqIndividualManipulator& manipulator) const
   {
      manipulator.setStateEqualityConstraints(constraints);
      manipulator.setStateConstraints(limits);
      manipulator.setStoppingCriteria(criteria);
      manipulator.setGeneralBoundObjects(objects);
   }
   /// Calls with each list and that of others.
   template <class Act>
   void withEachOf(Held& others, const Act& act) const
   {
      act(constraints, others.constraints);
      act(limits, others.limits);
      act(criteria, others.criteria);
      act(objects, others.objects);
   }
};

/// What a manipulator brought, as it was carried from merge to merge.
Held carriedThrough(const std::vector<Inwards>& steps, const ZqIndividualManipulator& manipulator)
{
   Held result;
   Held::of(manipulator)
      .withEachOf(result,
                  [&steps](const auto& list, auto& present)
                  {
                     for (const auto* element : list.vectorContainer())
                     {
                        auto moved = element != nullptr ? cloneOf(*element) : nullptr;
                        for (const Inwards& step : steps)
                           if (moved)
                              moved = carried(*moved, step);
                        if (moved)
                           present.pushBack(*moved);
                     }
                  });
   return result;
}

/// Takes out of a manipulator that was merged what had come to it and is gone, as it is told where the manipulator
/// came to: this, in its own labels and indices.
Held dropped(ZqIndividualManipulator& manipulator, const Held& gone, const Inwards& inwards)
{
   Held rest = Held::of(manipulator);
   Held result;
   const auto dropFrom = [&inwards](auto& list, const auto& present, auto& own)
   {
      for (const auto* one : present.vectorContainer())
         for (ZqU32 i = list.size(); i-- > 0;)
         {
            const auto* element = list.vectorContainer()[i];
            const auto moved = element != nullptr ? carried(*element, inwards) : nullptr;
            if (!moved || !moved->equality(one))
               continue;
            own.pushBack(*element);
            list.erase(i);
            break;
         }
   };
   dropFrom(rest.constraints, gone.constraints, result.constraints);
   dropFrom(rest.limits, gone.limits, result.limits);
   dropFrom(rest.criteria, gone.criteria, result.criteria);
   dropFrom(rest.objects, gone.objects, result.objects);
   rest.giveTo(manipulator);
   return result;
}

/// Moves elements from a list to that of the manipulator that is taken off: as they were where they have
/// not been changed, and else those that speak of its links.
template <class List>
void giveElements(List& list, List& to, const Outwards& outwards, const List& laterOnes)
{
   const List originals = to;
   to.clear();
   for (const auto* original : originals.vectorContainer())
   {
      if (original == nullptr)
         continue;
      auto present = cloneOf(*original);
      for (const Inwards& step : outwards.inwards)
         if (present)
            present = carried(*present, step);
      if (!present)
      {
         // It could not come along, and has been waiting.
         present = cloneOf(*original);
         if (present->apply(outwards.restored))
            to.pushBack(*present);
         continue;
      }
      // Of those that are equal, the combined manipulator's own stand first.
      for (ZqU32 i = list.size(); present && i-- > 0;)
      {
         const auto* element = list.vectorContainer()[i];
         if (element == nullptr || !element->equality(present.get()))
            continue;
         list.erase(i);
         present = cloneOf(*original);
         if (present->apply(outwards.restored))
            to.pushBack(*present);
         break;
      }
   }
   for (const auto* later : laterOnes.vectorContainer())
   {
      const auto back = cloneOf(*later);
      for (ZqU32 i = 0; i < list.size(); ++i)
         if (list.vectorContainer()[i] != nullptr && list.vectorContainer()[i]->equality(later) &&
             back->apply(outwards.edit))
         {
            to.pushBack(*back);
            list.erase(i);
            break;
         }
   }
   for (ZqU32 i = 0; i < list.size();)
   {
      const auto* element = list.vectorContainer()[i];
      const auto back = element != nullptr ? cloneOf(*element) : nullptr;
      if (back == nullptr || cloneOf(*element)->apply(outwards.remaining) ||
          !back->apply(outwards.edit))
      {
         ++i;
         continue;
      }
      to.pushBack(*back);
      list.erase(i);
   }
}
} // namespace

// Combining

namespace
{
/// Whether a manipulator holds labels that are not those of its links: a copy that is told that all others are
/// gone then changes. Springs and dampers are about links with joints.
bool speaksOfOthers(const ZqIndividualManipulator& model,
                    const ZqManipulatorLink::ChildLinks& children)
{
   const auto losesAny = [](const auto& list, const ZqLinkEdit& edit)
   {
      return std::any_of(list.vectorContainer().begin(), list.vectorContainer().end(),
                         [&edit](const auto* element)
                         { return element != nullptr && !cloneOf(*element)->apply(edit); });
   };
   std::map<ZqString, ZqString> labels;
   for (const ZqString& label : model.linkLabels())
      labels[label] = label;
   const ZqLinkEdit onlyLinks = ZqLinkEdit::moved({}, labels, ZqBaseLinkIndex);
   if (losesAny(model.stateEqualityConstraints(), onlyLinks) ||
       losesAny(model.stoppingCriteria(), onlyLinks) ||
       losesAny(model.generalBoundObjects(), onlyLinks))
      return true;
   labels.erase(model.linkLabel());
   ZqManipulatorLink::ChildLinks copy = children;
   for (ZqManipulatorLink& child : copy)
      child.apply(ZqLinkEdit::moved({}, labels, ZqBaseLinkIndex));
   return !(copy == children);
}

/// The index of a child that is added to a link: behind all that stands below it.
ZqU32 indexBehind(const ZqManipulatorLink& link)
{
   const ZqManipulatorLink* last = &link;
   while (last->childLinks().size() > 0)
      last = &last->childLinks()[last->childLinks().size() - 1];
   return last->linkIndex() == ZqBaseLinkIndex ? 0 : last->linkIndex() + 1;
}
} // namespace

ZqString
ZqIndividualManipulator::whyNotCombined(const ZqManipulatorLink* link,
                                        const ZqIndividualManipulator& manipulator,
                                        const ZqCoordinateSystemTransformation& transform) const
{
   if (&manipulator == this)
      return "it is the same manipulator";
   if (&manipulator.concreteReference() == this)
      return "it refers to that manipulator";
   if (isReference())
      return "that manipulator refers to another one";
   if (link == nullptr)
      return "there is no such link";
   if (!ZqLinkUnion::isRigid(transform))
      return "the transformation is not rigid";
   for (const ZqManipulatorLink& child : manipulator.concreteReference().childLinks())
      if (child.linkKinematicsContainer().topElement() == nullptr)
         return "its link \"" + child.linkLabel() + "\" has no joint";
   return {};
}

ZqBoolean
ZqIndividualManipulator::combineManipulator(const ZqString& linkLabel,
                                            const ZqIndividualManipulator& manipulator,
                                            const ZqCoordinateSystemTransformation& transform)
{
   return combine(linkLabel, manipulator, transform).has_value();
}

std::optional<ZqIndividualManipulator::CombinationRecord>
ZqIndividualManipulator::combine(const ZqString& linkLabel,
                                 const ZqIndividualManipulator& manipulator,
                                 const ZqCoordinateSystemTransformation& transform)
{
   const ZqString what = "manipulator \"" + manipulator.manipulatorLabel() + "\" on link \"" +
                         linkLabel + "\" of manipulator \"" + m_manipulatorLabel + "\"";
   ZqManipulatorLink* link = linkByIdentifier(linkLabel);
   if (const ZqString why = whyNotCombined(link, manipulator, transform); !why.empty())
   {
      rejectCombination("combineManipulator", what, why);
      return std::nullopt;
   }
   const ZqIndividualManipulator& model = manipulator.concreteReference();

   // Labels: those of this manipulator are taken, and so is what the other one calls by a name that is none
   // of its links'.
   Member member{ZqLinkUnion::baseOf(manipulator), transform, {}};
   ZqLinkUnion::Origin& origin = member.origin;
   ZqLabelPool pool;
   const ZqLinkEdit::Labels ownLabels = linkLabels();
   ZqLinkEdit::Labels labels = model.linkLabels();
   for (const ZqString& label : ownLabels)
      pool.addUsedLabel(label);
   for (const ZqIndividualManipulator* one :
        {static_cast<const ZqIndividualManipulator*>(this), &model})
      for (const auto& [label, other] : one->linkPointerMap())
         ZqLinkUnion::addOtherLabels(*other, pool);
   std::map<ZqString, std::optional<ZqString>> newLabels;
   for (std::size_t i = 0; i + 1 < labels.size(); ++i)
   {
      const ZqString own = labels[i];
      labels[i] = pool.unusedLabel(own);
      pool.addUsedLabel(labels[i]);
      newLabels[own] = labels[i];
      origin.links.push_back({own, labels[i]});
   }
   labels.pop_back();
   // The other's links, each with a shape that does not depend on the base.
   ChildLinks children = model.ZqManipulatorLink::childLinks();
   ZqManipulatorLink merged;
   merged.copyAllButChildLinksFrom(*link);
   if (merged.linkReferenceDescription().isShapeReferenced())
      merged.setReferenceLink(const_cast<ZqManipulatorLink*>(link->referenceLink()));
   const LinkPointerVector& sources = model.linkPointerVector();
   std::size_t i = 0;
   forEachLinkOf(children,
                 [&](ZqManipulatorLink& child)
                 {
                    const ZqManipulatorLink& source = *sources[i++];
                    if (source.linkReferenceDescription().isShapeReferenced() &&
                        source.linkReferenceDescription().referencedLinkLabel() ==
                           model.linkLabel())
                    {
                       child.setShapeContainer(source.shapeContainer());
                       origin.sharers.push_back(source.linkLabel());
                    }
                 });
   origin.baseReference = model.linkReferenceDescription();
   origin.manipulatorIndex = manipulator.manipulatorIndex();
   for (const ZqIndividualManipulator* one :
        {static_cast<const ZqIndividualManipulator*>(this), &model})
      if (const Member* last = ZqLinkUnion::lastIn(*one))
         origin.number = std::max(origin.number, last->origin.number + 1);
   // What names none of its links is not to name one of these.
   std::set<ZqString> others{model.linkLabel()};
   if (speaksOfOthers(model, children))
      others.insert(ownLabels.begin(), ownLabels.end());
   for (const ZqString& label : others)
      if (!newLabels.contains(label))
      {
         const ZqString free = pool.unusedLabel(label);
         pool.addUsedLabel(free);
         newLabels[label] = free;
         origin.others.push_back({label, free});
      }
   for (const auto& [name, values] : model.surfaces().mapContainer())
      if (!m_surfaces.mapContainer().contains(name))
         origin.surfaces.push_back(name);
   std::vector<ZqU32> newIndices(labels.size());
   std::iota(newIndices.begin(), newIndices.end(), indexBehind(*link));
   relabelTrees(children, labels,
                ZqLinkEdit::carried(ZqRenumbering::to(std::move(newIndices)), std::move(newLabels),
                                    ZqBaseLinkIndex));

   origin.X = link->primaryFrame() * transform * model.primaryFrame().inverse();
   for (ZqManipulatorLink& child : children)
   {
      origin.joints.emplace_back(child.linkLabel(), child.linkKinematicsContainer());
      child.transformLinkTreeBy(origin.X);
   }
   if (!ZqLinkUnion::merge(merged, std::move(member)))
   {
      rejectCombination("combineManipulator", what, "shapes would stand too deep in others");
      return std::nullopt;
   }

   // From here on nothing fails.
   ZqLinkUnion changed = *merged.linkUnion();
   for (const auto& [label, other] : linkPointerMap())
   {
      const bool isSharer =
         other->linkReferenceDescription().isShapeReferenced() && other->referenceLink() == link;
      if (ZqLinkUnion::endSharing(*other, linkLabel) || isSharer)
         changed.sharers.push_back(label);
   }
   ZqLinkUnion::set(merged, std::move(changed));
   aboutToModifyLink(linkLabel);
   for (const ChildLinks* list : {&link->m_childLinks, &children})
      for (const ZqManipulatorLink& child : *list)
         merged.addChild(child);
   const ZqManipulatorSelfCollisionLinkMap pairs =
      m_allPairsAreExcluded ? ZqManipulatorSelfCollisionLinkMap() : m_selfCollisionLinkMap;
   const bool allPairsWereExcluded = m_allPairsAreExcluded;
   if (!replaceLinkAndChildren(linkLabel, merged))
      return std::nullopt;
   if (!allPairsWereExcluded)
      m_selfCollisionLinkMap = pairs;
   link = linkByIdentifier(linkLabel);
   takeContents(*link, ownLabels, allPairsWereExcluded);
   const Member& kept = link->linkUnion()->members.back();

   CombinationRecord record{
      ZqLinkEdit::matched(ownLabels, linkLabels()), {}, linkLabel, kept.origin.manipulatorIndex};
   std::map<ZqString, ZqString> moved{{model.linkLabel(), linkLabel}};
   std::vector<ZqU32> indices;
   for (const Name& name : kept.origin.links)
   {
      moved[name.own] = *name.present;
      indices.push_back(linkIndexByIdentifier(*name.present));
   }
   record.transfer =
      ZqLinkEdit::moved(ZqRenumbering::to(std::move(indices)), std::move(moved), link->linkIndex());
   record.transfer.restate(link->linkIndex(), linkLabel, {transform});
   return record;
}

/// Takes over what the last manipulator that was merged into a link held.
void ZqIndividualManipulator::takeContents(const ZqManipulatorLink& carrier,
                                           const ZqLinkEdit::Labels& ownLabels,
                                           bool allPairsWereExcluded)
{
   const Member& member = carrier.linkUnion()->members.back();
   const ZqIndividualManipulator& other = member.manipulator;
   const Inwards inwards{editInto(member, carrier.linkLabel(),
                                  [this](const ZqString& label)
                                  { return linkIndexByIdentifier(label); }),
                         other.isFixedBase()};
   takeElements(m_stateEqualityConstraints, other.m_stateEqualityConstraints, inwards, member,
                "constraint");
   takeElements(m_stateConstraints, other.m_stateConstraints, inwards, member, "state constraint");
   takeElements(m_stoppingCriteria, other.m_stoppingCriteria, inwards, member,
                "stopping criterion");
   takeElements(m_generalBoundObjects, other.m_generalBoundObjects, inwards, member,
                "bound object");
   m_generalBoundObjects.setManipulator(this);
   for (const ZqU32 index : other.m_displayLinkIndices)
      if (index != ZqBaseLinkIndex && inwards.edit.index(index) != ZqNoLinkIndex)
         m_displayLinkIndices.pushBack(inwards.edit.index(index));
   for (const auto& [name, values] : other.m_surfaces.mapContainer())
      if (const auto [place, isNew] = m_surfaces.mapContainer().try_emplace(name, values);
          !isNew && !(place->second == values))
         Zq::Print::instance().write(Zq::Oddity,
                                     "ZqIndividualManipulator::combineManipulator(): manipulator "
                                     "\"%s\" keeps its surface \"%s\"; that of manipulator \"%s\" "
                                     "on link \"%s\" is left out.\n",
                                     m_manipulatorLabel.c_str(), name.c_str(),
                                     other.m_manipulatorLabel.c_str(), carrier.linkLabel().c_str());

   // Pairs of the other's links. The base is one of these, but not a pair with itself.
   m_allPairsAreExcluded = allPairsWereExcluded;
   if (!allPairsWereExcluded)
      for (const Name& name : member.origin.links)
         m_selfCollisionLinkMap.addLink(*name.present);
   if (!other.m_allPairsAreExcluded)
   {
      std::map<ZqString, ZqString> present{{other.linkLabel(), carrier.linkLabel()}};
      for (const Name& name : member.origin.links)
         present[name.own] = *name.present;
      for (const auto& [greater, row] : other.m_selfCollisionLinkMap.mapContainer())
         for (const auto& [lesser, mayCollide] : row.mapContainer())
         {
            const auto first = present.find(greater);
            const auto second = present.find(lesser);
            if (!mayCollide || first == present.end() || second == present.end() ||
                (greater == lesser && greater == other.linkLabel()))
               continue;
            m_selfCollisionLinkMap.setLinkCollisionCanditateByIdentifier(first->second,
                                                                         second->second, true);
            m_allPairsAreExcluded = false;
         }
   }
   mapLinkCollisionCandidates();

   // Where each label comes from, first of all.
   if (m_linkLabelMapping.newLabelToManipulatorLinkLabel().empty())
      for (const ZqString& label : ownLabels)
         m_linkLabelMapping.insert(label, {m_manipulatorLabel, label});
   const auto& sources = other.m_linkLabelMapping.newLabelToManipulatorLinkLabel();
   for (const Name& name : member.origin.links)
   {
      const auto source = sources.find(name.own);
      m_linkLabelMapping.insert(*name.present, source != sources.end()
                                                  ? source->second
                                                  : std::pair(other.m_manipulatorLabel, name.own));
   }
   mapCombinedLabels();
}

/// Those of all manipulators that are merged into links; without any, labels come from nowhere else.
void ZqIndividualManipulator::mapCombinedLabels()
{
   m_usingManipulatorLabels.clear();
   for (const auto& [label, link] : m_linkPointerMap)
      link->manipulatorLabelsInUnion(m_usingManipulatorLabels);
   if (m_usingManipulatorLabels.empty())
      m_linkLabelMapping = {};
}

// Taking off

namespace
{
/// Undoes what merges did to the joint of a link on the base: exactly, unless the joint was changed since. X is the
/// base's DH frame in that of the link as it is now.
void moveBack(ZqManipulatorLink& child, const Popped& popped,
              const ZqCoordinateSystemTransformation& X)
{
   // Its labels from the outermost merge to its own.
   std::vector<const ZqLinkUnion::Origin*> origins;
   for (const Member& outer : popped.within)
      origins.push_back(&outer.origin);
   origins.push_back(&popped.member.origin);
   ZqString label = child.linkLabel();
   for (std::size_t i = 0; i + 1 < origins.size(); ++i)
      for (const Name& name : origins[i]->links)
         if (name.present == label)
         {
            label = name.own;
            break;
         }
   const auto& joints = popped.member.origin.joints;
   const auto found = std::find_if(joints.begin(), joints.end(),
                                   [&](const auto& entry) { return entry.first == label; });
   ZqLinkKinematicsContainer joint = child.linkKinematicsContainer();
   if (found != joints.end())
   {
      ZqLinkKinematicsContainer moved = found->second;
      for (auto origin = origins.rbegin(); origin != origins.rend(); ++origin)
         moved.transformBy((*origin)->X);
      if (moved == joint)
         return child.setLinkKinematicsContainer(found->second);
   }
   joint.transformBy(X.inverse());
   child.setLinkKinematicsContainer(joint);
}

/// The first link of a manipulator that was merged into a carrier which does not hang on that any more; null when
/// there is none.
const ZqManipulatorLink* strayLink(const ZqIndividualManipulator& combined,
                                   const ZqManipulatorLink& carrier,
                                   const std::map<ZqString, ZqString>& ownNames)
{
   for (const auto& [present, own] : ownNames)
   {
      const ZqManipulatorLink* const link = combined.linkByIdentifier(present);
      const ZqManipulatorLink* top = link;
      while (top != nullptr && top->parentLink() != &carrier)
         top = top->parentLink();
      if (link != nullptr && (top == nullptr || !ownNames.contains(top->linkLabel())))
         return link;
   }
   return nullptr;
}

/// The index of a link in the manipulator that another one was merged into.
ZqU32 indexIn(const Member& outer, const ZqString& name)
{
   const auto& links = outer.origin.links;
   const auto found = std::find_if(links.begin(), links.end(),
                                   [&name](const Name& link) { return link.own == name; });
   if (found != links.end())
      return static_cast<ZqU32>(found - links.begin());
   return name == outer.manipulator.linkLabel() ? ZqBaseLinkIndex : ZqNoLinkIndex;
}

/// How a manipulator came into the base of one that was merged itself.
Inwards inwardsInto(const Member& outer, const Member& inner)
{
   return {editInto(inner, outer.manipulator.linkLabel(),
                    [&outer](const ZqString& name) { return indexIn(outer, name); }),
           inner.manipulator.isFixedBase()};
}

/// A manipulator that leaves the combined one.
struct Departure
{
   ZqString label;
   ZqU32 number;                   ///< of the merge into the link that it leaves
   bool isTaken;                   ///< not because that is on a link of what is taken off
   Held held;                      ///< what it brought, as it is there
   std::vector<ZqString> surfaces; ///< names that came with it, and go
   ZqShape::Surfaces brought;      ///< the same with values, of all that came with it at first
};

/// Has one that was merged forget what leaves, if that was a part of it, and all within that. Names of surfaces
/// that had not come on with it stay from there on.
void forgetIn(Member& outer, Departure& departure, const Inwards& inwards, const ZqString& carrier)
{
   const auto& links = outer.origin.links;
   const auto found = std::find_if(links.begin(), links.end(),
                                   [&](const Name& name) { return name.present == carrier; });
   if (found == links.end() || outer.origin.number <= departure.number)
      return;
   const Held own = dropped(outer.manipulator, departure.held, inwards);
   if (outer.manipulator.linkUnion() != nullptr)
   {
      Departure inside{departure.label,
                       departure.number,
                       departure.isTaken,
                       own,
                       std::move(departure.surfaces),
                       {}};
      ZqLinkUnion changed = *outer.manipulator.linkUnion();
      for (Member& inner : changed.members)
         forgetIn(inner, inside, inwardsInto(outer, inner), found->own);
      ZqLinkUnion::set(outer.manipulator, std::move(changed));
      departure.surfaces = std::move(inside.surfaces);
   }
   outer.forget(departure.label, departure.surfaces);
}

/// The same in those that the manipulator that is taken off was a part of where it was merged into a base. Names
/// of surfaces that came with itself these have forgotten already.
void forgetAround(ZqManipulatorLink& link, const Popped& popped, const std::vector<Inwards>& steps,
                  Departure& departure, std::size_t depth = 0)
{
   if (depth == popped.places.size())
      return;
   ZqLinkUnion changed = *link.linkUnion();
   Member& outer = changed.members[popped.places[depth]];
   if (!departure.isTaken && outer.origin.number <= departure.number)
      return;
   Departure inside{departure.label,
                    departure.number,
                    departure.isTaken,
                    dropped(outer.manipulator, departure.held, steps[popped.places.size() - depth]),
                    std::move(departure.surfaces),
                    {}};
   forgetAround(outer.manipulator, popped, steps, inside, depth + 1);
   departure.surfaces = std::move(inside.surfaces);
   if (!departure.isTaken)
      outer.forget(departure.label, departure.surfaces);
   ZqLinkUnion::set(link, std::move(changed));
}

/// The same in all that had come to other links of the combined manipulator.
void forgetInAll(ZqIndividualManipulator& combined, Departure& departure, const ZqString& carrier,
                 const ZqManipulatorLink& done)
{
   std::vector<std::pair<ZqManipulatorLink*, std::size_t>> outer;
   const auto memberAt = [](const auto& place) -> const Member&
   { return place.first->linkUnion()->members[place.second]; };
   for (const auto& [name, link] : combined.linkPointerMap())
      for (std::size_t i = 0;
           link != &done && link->linkUnion() != nullptr && i < link->linkUnion()->members.size();
           ++i)
         outer.emplace_back(link, i);
   // The innermost first, which has the fewest links.
   std::sort(outer.begin(), outer.end(),
             [&](const auto& a, const auto& b)
             { return memberAt(a).origin.links.size() < memberAt(b).origin.links.size(); });
   for (const auto& [link, i] : outer)
   {
      ZqLinkUnion changed = *link->linkUnion();
      Member& member = changed.members[i];
      const Inwards inwards{editInto(member, link->linkLabel(),
                                     [&combined](const ZqString& name)
                                     { return combined.linkIndexByIdentifier(name); }),
                            member.manipulator.isFixedBase()};
      forgetIn(member, departure, inwards, carrier);
      ZqLinkUnion::set(*link, std::move(changed));
   }
}

/// What came to links of a manipulator later than this to the combined one, and leaves with it: by the link. What
/// came as a part of others is not told apart from them.
std::vector<std::pair<const ZqManipulatorLink*, const Member*>>
laterThan(const Member& member, ZqManipulatorLink::ChildLinks& links)
{
   std::vector<std::pair<const ZqManipulatorLink*, const Member*>> result;
   forEachLinkOf(links,
                 [&](const ZqManipulatorLink& link)
                 {
                    if (link.linkUnion() != nullptr)
                       for (const Member& later : link.linkUnion()->members)
                          if (later.origin.number > member.origin.number)
                             result.emplace_back(&link, &later);
                 });
   const auto isPart = [all = result](const auto& one)
   {
      return std::any_of(all.begin(), all.end(),
                         [&one](const auto& other)
                         {
                            const auto& names = other.second->origin.links;
                            return other.second->origin.number > one.second->origin.number &&
                                   std::any_of(names.begin(), names.end(),
                                               [&one](const Name& name)
                                               { return name.present == one.first->linkLabel(); });
                         });
   };
   std::erase_if(result, isPart);
   return result;
}

/// Rows go with the last of the pairs that they had come with.
void applyToPairs(const ZqLinkEdit& edit, ZqManipulatorSelfCollisionLinkMap& pairs)
{
   std::set<ZqString> emptyRows;
   for (const auto& [name, row] : pairs.mapContainer())
      if (row.mapContainer().empty())
         emptyRows.insert(name);
   pairs.apply(edit);
   std::erase_if(pairs.mapContainer(), [&](const auto& row)
                 { return row.second.mapContainer().empty() && !emptyRows.contains(row.first); });
}
} // namespace

/// Pairs of what is taken off may collide as they may now.
template <class Names>
void ZqIndividualManipulator::giveCollisionPairs(ZqIndividualManipulator& to, const Names& names,
                                                 const ZqString& carrier,
                                                 const ZqLinkEdit& restored) const
{
   std::map<ZqString, ZqString> present{{to.linkLabel(), carrier}};
   for (const Name& name : names)
      if (name.present)
         present[name.own] = *name.present;
   if (!m_allPairsAreExcluded || !to.m_allPairsAreExcluded)
      for (auto& [greater, row] : to.m_selfCollisionLinkMap.mapContainer())
         for (auto& [lesser, mayCollide] : row.mapContainer())
         {
            const auto first = present.find(greater);
            const auto second = present.find(lesser);
            if (first == present.end() || second == present.end() ||
                (greater == lesser && greater == to.linkLabel()))
               continue;
            m_selfCollisionLinkMap.linkCollisionCanditateByIdentifier(first->second, second->second,
                                                                      mayCollide);
            to.m_allPairsAreExcluded = to.m_allPairsAreExcluded && !mayCollide;
         }
   applyToPairs(restored, to.m_selfCollisionLinkMap);
}

void ZqIndividualManipulator::giveLabelMapping(ZqIndividualManipulator& to,
                                               const std::map<ZqString, ZqString>& moved) const
{
   const ZqManipulatorLinkLabelMapping own = to.m_linkLabelMapping;
   const auto& sources = own.newLabelToManipulatorLinkLabel();
   const auto& present = m_linkLabelMapping.newLabelToManipulatorLinkLabel();
   to.m_linkLabelMapping = {};
   to.m_linkLabelMapping.insert(to.linkLabel(), {to.m_manipulatorLabel, to.linkLabel()});
   for (const auto& [here, there] : moved)
   {
      const auto source = sources.find(there);
      const auto entry = present.find(here);
      if (source != sources.end())
         to.m_linkLabelMapping.insert(there, source->second);
      else if (entry != present.end())
         to.m_linkLabelMapping.insert(there, entry->second);
   }
   to.mapCombinedLabels();
}

ZqBoolean ZqIndividualManipulator::uncombineManipulator(const ZqString& label, ZqString& linkLabel,
                                                        ZqIndividualManipulator& manipulator,
                                                        ZqCoordinateSystemTransformation& transform)
{
   const auto record = uncombine(label, manipulator, transform);
   if (!record)
      return false;
   linkLabel = record->linkLabel;
   return true;
}

std::optional<ZqIndividualManipulator::CombinationRecord>
ZqIndividualManipulator::uncombine(const ZqString& label, ZqIndividualManipulator& manipulator,
                                   ZqCoordinateSystemTransformation& transform)
{
   Popped popped;
   ZqManipulatorLink rest;
   const ZqManipulatorLink* carrier = nullptr;
   if (!isReference())
      for (const auto& [name, link] : linkPointerMap())
      {
         if (link->linkUnion() == nullptr)
            continue;
         rest.copyAllButChildLinksFrom(*link);
         if (ZqLinkUnion::pop(rest, label, popped))
         {
            carrier = link;
            break;
         }
      }
   if (carrier == nullptr)
   {
      rejectCombination("uncombineManipulator",
                        "manipulator \"" + label + "\" off manipulator \"" + m_manipulatorLabel +
                           "\"",
                        "no link of it has that merged in");
      return std::nullopt;
   }
   ZqString missingOwner;
   if (const ZqLinkReferenceDescription& shared = rest.linkReferenceDescription();
       shared.isShapeReferenced() && !linkPointerMap().contains(shared.referencedLinkLabel()))
   {
      missingOwner = shared.referencedLinkLabel();
      rest.setShapeContainer(carrier->linkUnion()->sharedShape);
   }
   const ZqLinkEdit::Labels ownLabels = linkLabels();
   const ZqString carrierLabel = carrier->linkLabel();
   const std::vector<ZqString> sharers = carrier->linkUnion()->sharers;
   const std::vector<Name> names =
      ZqLinkUnion::presentNames(popped.member.origin.links, popped.within);

   // How it came: from merge to merge, and last into this manipulator.
   const auto inwardsHere = [this](const Member& inner, const ZqString& link) -> Inwards
   {
      return {editInto(inner, link,
                       [this](const ZqString& name) { return linkIndexByIdentifier(name); }),
              inner.manipulator.isFixedBase()};
   };
   Outwards outwards;
   for (std::size_t i = popped.within.size() + 1; i-- > 0;)
   {
      const Member& inner = i < popped.within.size() ? popped.within[i] : popped.member;
      const Member* outer = i > 0 ? &popped.within[i - 1] : nullptr;
      outwards.inwards.push_back(outer != nullptr ? inwardsInto(*outer, inner)
                                                  : inwardsHere(inner, carrierLabel));
   }

   // Its links on the carrier go, with all below them, and have their own labels again. Others that were added
   // keep theirs, if they can.
   std::map<ZqString, ZqString> ownNames;
   ZqLabelPool pool;
   pool.addUsedLabel(popped.member.manipulator.linkLabel());
   for (const Name& name : names)
   {
      pool.addUsedLabel(name.own);
      if (name.present)
         ownNames.emplace(*name.present, name.own);
   }
   if (const ZqManipulatorLink* stray = strayLink(*this, *carrier, ownNames))
   {
      rejectCombination("uncombineManipulator",
                        "manipulator \"" + label + "\" off manipulator \"" + m_manipulatorLabel +
                           "\"",
                        "its link \"" + stray->linkLabel() + "\" does not hang on link \"" +
                           carrierLabel + "\" any more");
      return std::nullopt;
   }
   ChildLinks going;
   aboutToModifyLink(carrierLabel);
   for (const ZqManipulatorLink& child : carrier->m_childLinks)
      if (ownNames.contains(child.linkLabel()))
         going.pushBack(child);
      else
         rest.addChild(child);
   std::map<ZqString, std::optional<ZqString>> newLabels;
   for (const ZqString& name : ownLabels)
      newLabels[name] = std::nullopt;
   for (const Name& name : ZqLinkUnion::presentNames(popped.member.origin.others, popped.within))
      if (name.present)
         newLabels[*name.present] = name.own;
   std::vector<ZqString> labels;
   std::map<ZqString, ZqString> moved;
   forEachLinkOf(going,
                 [&](const ZqManipulatorLink& link)
                 {
                    const auto own = ownNames.find(link.linkLabel());
                    labels.push_back(own != ownNames.end() ? own->second
                                                           : pool.unusedLabel(link.linkLabel()));
                    pool.addUsedLabel(labels.back());
                    newLabels[link.linkLabel()] = moved[link.linkLabel()] = labels.back();
                 });
   std::vector<ZqU32> indices;
   ZqLinkEdit::Labels remaining;
   ZqU32 count = 0;
   for (const ZqString& name : ownLabels)
   {
      const bool goes = moved.contains(name);
      indices.push_back(goes ? count++ : ZqNoLinkIndex);
      if (!goes)
         remaining.push_back(name);
   }
   indices.pop_back();
   outwards.remaining = ZqLinkEdit::matched(ownLabels, remaining);
   // What leaves: it, and what came to its links later.
   std::vector<std::pair<ZqString, Departure>> departures{
      {carrierLabel,
       {label,
        (popped.within.empty() ? popped.member : popped.within.front()).origin.number,
        true,
        carriedThrough(outwards.inwards, popped.member.manipulator),
        popped.surfaces,
        {}}}};
   Held laterHeld;
   for (const auto& [link, later] : laterThan(popped.member, going))
   {
      const Held held =
         carriedThrough({inwardsHere(*later, link->linkLabel())}, later->manipulator);
      held.withEachOf(laterHeld,
                      [](const auto& list, auto& all)
                      {
                         for (const auto* element : list.vectorContainer())
                            all.pushBack(*element);
                      });
      ZqShape::Surfaces brought;
      for (const ZqString& name : later->origin.surfaces)
         if (const ZqDataMap* values = later->manipulator.m_surfaces.lookupPointer(name))
            brought.add(name, *values);
      departures.push_back({link->linkLabel(),
                            {later->manipulator.m_manipulatorLabel, later->origin.number, false,
                             held, later->origin.surfaces, brought}});
   }
   for (auto& [link, departure] : departures)
      forgetAround(rest, popped, outwards.inwards, departure);
   const ZqCoordinateSystemTransformation X = carrier->primaryFrame() * popped.transform *
                                              popped.member.manipulator.primaryFrame().inverse();
   for (ZqManipulatorLink& child : going)
      moveBack(child, popped, X);
   relabelTrees(going, labels,
                ZqLinkEdit::carried(ZqRenumbering::to(indices), newLabels, ZqNoLinkIndex));
   newLabels[carrierLabel] = popped.member.manipulator.linkLabel();
   outwards.edit = ZqLinkEdit::carried(ZqRenumbering::to(indices), newLabels, ZqNoLinkIndex);
   outwards.edit.restate(ZqBaseLinkIndex, popped.member.manipulator.linkLabel(),
                         {popped.transform.inverse()});

   // The manipulator as it was, with the links that are left of it.
   ZqIndividualManipulator taken = std::move(popped.member.manipulator);
   for (const ZqManipulatorLink& child : going)
      taken.ZqManipulatorLink::addChild(child);
   taken.mapManipulator();
   for (const ZqString& name : popped.member.origin.sharers)
      if (ZqManipulatorLink* link = taken.linkByIdentifier(name))
         ZqLinkUnion::shareShape(*link, taken);
   ZqLinkReferenceDescription shared = popped.member.origin.baseReference;
   if (!shared.isShapeReferenced() && taken.linkUnion() != nullptr)
      shared = taken.linkUnion()->before.linkReferenceDescription();
   if (shared.isShapeReferenced())
   {
      // Others may have come to the owner.
      ZqLinkUnion::endSharing(taken, shared.referencedLinkLabel());
      if (ZqManipulatorLink* owner = taken.linkByIdentifier(shared.referencedLinkLabel()))
         ZqLinkUnion::shareShape(taken, *owner);
   }
   taken.mapManipulator();
   ZqLinkEdit::Labels formerLabels;
   for (const Name& name : names)
      formerLabels.push_back(name.own);
   formerLabels.push_back(taken.linkLabel());
   outwards.restored = ZqLinkEdit::matched(formerLabels, taken.linkLabels());

   // What it held.
   giveElements(m_stateEqualityConstraints, taken.m_stateEqualityConstraints, outwards,
                laterHeld.constraints);
   giveElements(m_stateConstraints, taken.m_stateConstraints, outwards, laterHeld.limits);
   giveElements(m_stoppingCriteria, taken.m_stoppingCriteria, outwards, laterHeld.criteria);
   giveElements(m_generalBoundObjects, taken.m_generalBoundObjects, outwards, laterHeld.objects);
   for (ZqU32& index : taken.m_displayLinkIndices)
      index = outwards.restored.index(index);
   std::erase(taken.m_displayLinkIndices.vectorContainer(), ZqNoLinkIndex);
   for (auto& [link, departure] : departures)
   {
      forgetInAll(*this, departure, link, *carrier);
      for (const auto& [name, values] : departure.brought.mapContainer())
         taken.m_surfaces.mapContainer().try_emplace(name, values);
      for (const ZqString& name : departure.surfaces)
      {
         const ZqDataMap* values = m_surfaces.lookupPointer(name);
         const ZqDataMap* own = taken.m_surfaces.lookupPointer(name);
         if (values == nullptr || own == nullptr || (departure.isTaken && !(*values == *own)))
            continue;
         taken.m_surfaces.add(name, ZqDataMap(*values));
         m_surfaces.erase(name);
      }
   }
   giveCollisionPairs(taken, names, carrierLabel, outwards.restored);
   giveLabelMapping(taken, moved);

   // From here on nothing fails.
   const bool allPairsWereExcluded = m_allPairsAreExcluded;
   ZqManipulatorSelfCollisionLinkMap pairs =
      allPairsWereExcluded ? ZqManipulatorSelfCollisionLinkMap() : m_selfCollisionLinkMap;
   if (!replaceLinkAndChildren(carrierLabel, rest))
      return std::nullopt;
   if (!allPairsWereExcluded)
   {
      applyToPairs(outwards.remaining, pairs);
      m_selfCollisionLinkMap = std::move(pairs);
      m_allPairsAreExcluded = false;
      mapLinkCollisionCandidates();
   }
   if (!missingOwner.empty())
      ZqLinkUnion::shareShapeApart(*this, carrierLabel, missingOwner);
   ZqManipulatorLink* left = linkByIdentifier(carrierLabel);
   if (left->linkUnion() == nullptr && !sharers.empty())
   {
      for (const ZqString& name : sharers)
         if (ZqManipulatorLink* link = linkByIdentifier(name))
            ZqLinkUnion::shareShape(*link, *left);
         else
            ZqLinkUnion::shareShapeApart(*this, name, carrierLabel);
      mapManipulator();
   }
   mapCombinedLabels();
   taken.mapLinkCollisionCandidates();
   taken.fitAbsoluteBoundingSphere();
   transform = popped.transform;
   manipulator = std::move(taken);
   return CombinationRecord{
      outwards.remaining,
      ZqLinkEdit::moved(ZqRenumbering::to(std::move(indices)), std::move(moved), ZqNoLinkIndex),
      carrierLabel, popped.member.origin.manipulatorIndex};
}
