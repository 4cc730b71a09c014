#include "zqManipulator/kinematics/manipulator/ZqLinkUnion.h"

#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/tools/labels/ZqLabelPool.h"

#include <algorithm>
#include <cmath>
#include <memory>

void intrusive_ptr_add_ref(const ZqLinkUnion* held) noexcept
{
   boost::sp_adl_block::intrusive_ptr_add_ref(held);
}

void intrusive_ptr_release(const ZqLinkUnion* held) noexcept
{
   boost::sp_adl_block::intrusive_ptr_release(held);
}

bool ZqLinkUnionPointer::isEqual(const ZqLinkUnion& a, const ZqLinkUnion& b)
{
   return a == b;
}

bool ZqLinkUnion::operator==(const ZqLinkUnion& other) const
{
   return before == other.before &&
          std::equal(members.begin(), members.end(), other.members.begin(), other.members.end(),
                     [](const Member& a, const Member& b)
                     { return a.transform == b.transform && a.manipulator == b.manipulator; });
}

ZqIndividualManipulator ZqLinkUnion::baseOf(const ZqIndividualManipulator& manipulator)
{
   const ZqIndividualManipulator& model = manipulator.concreteReference();
   ZqIndividualManipulator base;
   static_cast<ZqManipulatorValues&>(base) = model.presentValues();
   static_cast<ZqManipulatorLink&>(base).copyAllButChildLinksFrom(model);
   if (base.linkReferenceDescription().isShapeReferenced())
      base.setShapeContainer(model.shapeContainer());
   // A reference stands where it is placed itself.
   base.setManipulatorLabel(manipulator.manipulatorLabel());
   base.setCoordSysXForm(manipulator.coordSysXForm());
   base.setIsFixedBase(manipulator.isFixedBase());
   base.setManipulatorIndex(manipulator.manipulatorIndex());
   base.ZqIndividualManipulator::mapManipulator();
   return base;
}

const ZqLinkUnion::Member* ZqLinkUnion::lastIn(const ZqIndividualManipulator& manipulator)
{
   const Member* last = nullptr;
   for (const auto& [label, link] : manipulator.linkPointerMap())
      if (link->m_union)
         for (const Member& member : link->m_union->members)
            if (last == nullptr || member.origin.number >= last->origin.number)
               last = &member;
   return last;
}

void ZqLinkUnion::forget(ZqIndividualManipulator& manipulator)
{
   for (const auto& [label, link] : manipulator.linkPointerMap())
      link->m_union = nullptr;
}

// What the link is made of

namespace
{
void tellClash(const ZqManipulatorLink& link, const ZqIndividualManipulator& manipulator,
               const char* what, const ZqString& name, const ZqString& newName)
{
   const ZqString end = newName.empty() ? "is left out" : "becomes \"" + newName + "\"";
   Zq::Print::instance().write(Zq::Oddity,
                               "ZqManipulatorLink::addLinkToUnion(): link \"%s\" keeps its %s "
                               "\"%s\"; that of manipulator \"%s\" %s.\n",
                               link.linkLabel().c_str(), what, name.c_str(),
                               manipulator.manipulatorLabel().c_str(), end.c_str());
}

/// A map with the values of another one under names that are not taken.
template <class Map, class Moved, class Taken>
Map withValuesOf(Map map, const Map& others, const Moved& moved, const Taken& taken)
{
   for (const auto& [name, value] : others.mapContainer())
      if (!map.mapContainer().try_emplace(name, moved(value)).second)
         taken(map, name, moved(value));
   return map;
}
} // namespace

/// Merges a base into the link, of which nothing is remembered.
bool ZqLinkUnion::add(ZqManipulatorLink& link, const Member& member, bool tellsClashes)
{
   const ZqIndividualManipulator& other = member.manipulator;
   const ZqCoordinateSystemTransformation& T = member.transform;
   if (const ZqShape* shape = other.shape())
   {
      ZqShapeContainer moved;
      moved.setTopElement(*shape);
      moved.transformBy(T);
      if (const ZqShape* own = link.shape())
      {
         ZqShapeUnion both;
         if (!both.addShapeToUnion(*moved.topElement()) || !both.addShapeToUnion(*own))
            return false;
         moved.setTopElement(both);
      }
      link.setShapeContainer(moved);
   }
   const auto keepFirst = [&](const char* what)
   {
      return [&, what](const auto&, const ZqString& name, const auto&)
      {
         if (tellsClashes)
            tellClash(link, other, what, name, {});
      };
   };
   const auto place = [&T](const auto& value) { return T * value; };
   link.setNamedFrames(
      withValuesOf(link.namedFrames(), other.namedFrames(), place, keepFirst("named frame")));
   link.setNamedPoints(
      withValuesOf(link.namedPoints(), other.namedPoints(), place, keepFirst("named point")));

   const auto placeMasses = [&T](ZqRigidBodyMassProperties masses)
   { return masses.transformBy(T); };
   // Masses must not be lost: they get another name.
   const auto rename = [&](auto& map, const ZqString& name, const ZqRigidBodyMassProperties& masses)
   {
      ZqLabelPool names;
      for (const auto& entry : map.mapContainer())
         names.addUsedLabel(entry.first);
      for (const auto& entry : other.massPropertiesMap().mapContainer())
         names.addUsedLabel(entry.first);
      const ZqString newName = names.unusedLabel(name);
      map.mapContainer().emplace(newName, masses);
      if (tellsClashes)
         tellClash(link, other, "masses", name, newName);
   };
   link.setMassPropertiesMap(
      withValuesOf(link.massPropertiesMap(), other.massPropertiesMap(), placeMasses, rename));
   ZqRigidBodyMassProperties masses = link.baseMassProperties();
   masses += placeMasses(other.baseMassProperties());
   masses.makeValid();
   link.setBaseMassProperties(masses);
   return true;
}

bool ZqLinkUnion::merge(ZqManipulatorLink& link, Member member)
{
   boost::intrusive_ptr<ZqLinkUnion> merged(new ZqLinkUnion());
   if (link.m_union)
      *merged = *link.m_union;
   else
   {
      merged->before.copyAllButChildLinksFrom(link);
      merged->before.setParentLink(nullptr);
      if (link.linkReferenceDescription().isShapeReferenced())
         merged->sharedShape = link.shapeContainer();
   }
   if (!add(link, member, true))
      return false;
   for (const ZqBaseSensor* sensor : member.manipulator.sensorVector().vectorContainer())
      link.addSensor(sensor);
   merged->members.push_back(std::move(member));
   link.m_union = merged;
   return true;
}

/// Whether anything that is merged in brought a shape: a link that shared one has its own since.
bool ZqLinkUnion::hasShapes() const
{
   return std::any_of(members.begin(), members.end(),
                      [](const Member& member) { return member.manipulator.shape() != nullptr; });
}

void ZqLinkUnion::rebuild(ZqManipulatorLink& link) const
{
   const bool wasShared = before.linkReferenceDescription().isShapeReferenced();
   if (wasShared && !hasShapes())
   {
      link.m_shapes = ZqLinkShapes();
      link.setLinkReferenceDescription(before.linkReferenceDescription());
   }
   else
      link.setShapeContainer(wasShared ? sharedShape : before.memberShapeContainer());
   link.setNamedFrames(before.namedFrames());
   link.setNamedPoints(before.namedPoints());
   link.setMassPropertiesMap(before.massPropertiesMap());
   link.setBaseMassProperties(before.baseMassProperties());
   for (const Member& member : members)
      add(link, member, false);
}

void ZqLinkUnion::set(ZqManipulatorLink& link, ZqLinkUnion&& changed)
{
   link.m_union = changed.members.empty() ? nullptr : new ZqLinkUnion(std::move(changed));
}

void ZqLinkUnion::Member::forget(const ZqString& label, std::vector<ZqString>& surfaces)
{
   manipulator.m_usingManipulatorLabels.erase(label);
   for (const ZqString& name : surfaces)
      manipulator.m_surfaces.erase(name);
   std::erase_if(surfaces,
                 [this](const ZqString& name) { return std::erase(origin.surfaces, name) == 0; });
}

void ZqLinkUnion::addOtherLabels(const ZqManipulatorLink& link, ZqLabelPool& pool)
{
   if (!link.m_union)
      return;
   for (const Member& member : link.m_union->members)
   {
      for (const Name& name : member.origin.others)
         if (name.present)
            pool.addUsedLabel(*name.present);
      addOtherLabels(member.manipulator, pool);
   }
}

std::vector<ZqLinkUnion::Name> ZqLinkUnion::presentNames(const std::vector<Name>& names,
                                                         const std::vector<Member>& within)
{
   std::vector<Name> result = names;
   for (auto outer = within.rbegin(); outer != within.rend(); ++outer)
   {
      std::map<ZqString, std::optional<ZqString>> outwards;
      for (const std::vector<Name>* list : {&outer->origin.others, &outer->origin.links})
         for (const Name& name : *list)
            outwards[name.own] = name.present;
      for (Name& name : result)
         if (name.present)
            if (const auto found = outwards.find(*name.present); found != outwards.end())
               name.present = found->second;
   }
   return result;
}

/// Takes the sensors off a link that came with a base, but for those that were changed since.
void ZqLinkUnion::dropSensors(ZqManipulatorLink& link, const ZqManipulatorLink& base)
{
   ZqSensorVector sensors = link.sensorVector();
   for (const ZqBaseSensor* sensor : base.sensorVector().vectorContainer())
      for (ZqU32 i = sensors.size(); sensor != nullptr && i-- > 0;)
      {
         const ZqBaseSensor* const candidate = sensors.vectorContainer()[i];
         if (candidate == nullptr)
            continue;
         const std::unique_ptr<ZqBaseSensor> told(static_cast<ZqBaseSensor*>(sensor->clone()));
         told->setLinkLabel(candidate->linkLabel());
         told->setManipulatorIndex(candidate->manipulatorIndex());
         if (!candidate->equality(told.get()))
            continue;
         sensors.erase(i);
         break;
      }
   link.setSensorVector(sensors);
}

bool ZqLinkUnion::pop(ZqManipulatorLink& link, const ZqString& label, Popped& popped)
{
   if (!link.m_union)
      return false;
   ZqLinkUnion rest = *link.m_union;
   bool found = false;
   for (std::size_t i = 0; !found && i < rest.members.size(); ++i)
   {
      Member& member = rest.members[i];
      if (member.manipulator.manipulatorLabel() == label)
      {
         popped.member = std::move(member);
         popped.transform = popped.member.transform;
         popped.surfaces = popped.member.origin.surfaces;
         rest.members.erase(rest.members.begin() + static_cast<std::ptrdiff_t>(i));
         found = true;
      }
      else if (const ZqLinkUnionPointer inner = member.manipulator.m_union;
               pop(member.manipulator, label, popped))
      {
         // Sharing of shapes that the inner merge had ended is as if the outer one had.
         if (member.manipulator.linkUnion() == nullptr)
            member.origin.sharers.insert(member.origin.sharers.end(), inner->sharers.begin(),
                                         inner->sharers.end());
         if (const auto& shared = member.manipulator.linkReferenceDescription();
             shared.isShapeReferenced())
         {
            member.origin.baseReference = shared;
            member.manipulator.setShapeContainer(inner->sharedShape);
         }
         // Out of the member, and with it out of this link.
         popped.transform = member.transform * popped.transform;
         const std::vector<Name> gone = presentNames(popped.member.origin.links, popped.within);
         popped.within.insert(popped.within.begin(), member);
         popped.places.insert(popped.places.begin(), i);
         for (const Name& goneName : gone)
            for (Name& name : member.origin.links)
               if (goneName.present == name.own)
                  name.present.reset();
         member.forget(label, popped.surfaces);
         found = true;
      }
   }
   if (!found)
      return false;
   dropSensors(link, popped.member.manipulator);
   rest.rebuild(link);
   set(link, std::move(rest));
   return true;
}

void ZqLinkUnion::shareShape(ZqManipulatorLink& link, ZqManipulatorLink& owner)
{
   if (&link == &owner)
      return;
   if (owner.m_union)
   {
      // Again, once what was merged in is gone.
      ZqLinkUnion changed = *owner.m_union;
      changed.sharers.push_back(link.linkLabel());
      set(owner, std::move(changed));
      if (owner.m_union->hasShapes())
      {
         endSharing(link, owner.linkLabel());
         return;
      }
   }
   const ZqShapeContainer shape = owner.shapeContainer();
   const auto share = [&](ZqManipulatorLink& sharer)
   {
      if (sharer.linkReferenceDescription().isShapeReferenced() ||
          !(sharer.memberShapeContainer() == shape))
         return;
      ZqLinkReferenceDescription description;
      description.setReferencedLinkLabel(owner.linkLabel());
      description.setIsShapeReferenced(true);
      sharer.m_shapes = ZqLinkShapes();
      sharer.setLinkReferenceDescription(description);
   };
   if (!link.m_union)
      return share(link);
   // Others were merged in since: it is the link without them that shares.
   ZqLinkUnion changed = *link.m_union;
   share(changed.before);
   changed.sharedShape = shape;
   if (!changed.hasShapes())
      share(link);
   set(link, std::move(changed));
}

void ZqLinkUnion::shareShapeApart(const ZqString& sharer, const ZqString& owner)
{
   const auto find = [](const std::vector<Name>& names, const ZqString& present) -> const ZqString*
   {
      const auto found =
         std::find_if(names.begin(), names.end(),
                      [&present](const Name& name) { return name.present == present; });
      return found != names.end() ? &found->own : nullptr;
   };
   for (Member& member : members)
   {
      // One of the two is a link of it, and the other a base, the label of which stays where it is free.
      const Origin& origin = member.origin;
      if (find(origin.links, sharer) == nullptr && find(origin.links, owner) == nullptr)
         continue;
      const auto own = [&](const ZqString& present)
      {
         for (const std::vector<Name>* list : {&origin.links, &origin.others})
            if (const ZqString* const name = find(*list, present))
               return *name;
         return present;
      };
      const ZqString ownSharer = own(sharer);
      const ZqString ownOwner = own(owner);
      const ZqString& base = member.manipulator.linkLabel();
      if (ownSharer == base)
      {
         member.origin.baseReference.setReferencedLinkLabel(ownOwner);
         member.origin.baseReference.setIsShapeReferenced(true);
      }
      else if (ownOwner == base)
         member.origin.sharers.push_back(ownSharer);
      else if (member.manipulator.m_union)
      {
         ZqLinkUnion changed = *member.manipulator.m_union;
         changed.shareShapeApart(ownSharer, ownOwner);
         set(member.manipulator, std::move(changed));
      }
   }
}

void ZqLinkUnion::shareShapeApart(ZqIndividualManipulator& manipulator, const ZqString& sharer,
                                  const ZqString& owner)
{
   for (const auto& [label, link] : manipulator.linkPointerMap())
      if (link->m_union)
      {
         ZqLinkUnion changed = *link->m_union;
         changed.shareShapeApart(sharer, owner);
         set(*link, std::move(changed));
      }
}

bool ZqLinkUnion::endSharing(ZqManipulatorLink& link, const ZqString& owner)
{
   if (!link.m_union || !link.m_union->before.linkReferenceDescription().isShapeReferenced() ||
       link.m_union->before.linkReferenceDescription().referencedLinkLabel() != owner)
      return false;
   ZqLinkUnion changed = *link.m_union;
   changed.ownShape();
   set(link, std::move(changed));
   return true;
}

// What happens to the link

/// Ends the sharing of the shape.
void ZqLinkUnion::ownShape()
{
   if (before.linkReferenceDescription().isShapeReferenced())
      before.setShapeContainer(sharedShape);
}

void ZqLinkUnion::apply(const ZqLinkEdit& edit)
{
   const bool shared = before.linkReferenceDescription().isShapeReferenced();
   before.apply(edit);
   if (shared && !before.linkReferenceDescription().isShapeReferenced())
      before.setShapeContainer(sharedShape);
   std::erase_if(sharers, [&edit](ZqString& label) { return !edit.apply(label); });
   for (Member& member : members)
   {
      const auto follow = [&edit](std::vector<Name>& names)
      {
         for (Name& name : names)
            if (name.present && !edit.apply(*name.present))
               name.present.reset();
      };
      follow(member.origin.links);
      follow(member.origin.others);
      std::erase_if(member.origin.joints,
                    [&edit](auto& joint) { return !edit.apply(joint.first); });
   }
}

void ZqLinkUnion::transformBy(const ZqCoordinateSystemTransformation& T)
{
   ownShape();
   before.transformComponentsBy(T);
   for (Member& member : members)
      member.transform = T * member.transform;
}

void ZqLinkUnion::scaleBy(ZqReal scale)
{
   ownShape();
   before.scaleIndividualLinkBy(scale);
   for (Member& member : members)
   {
      member.manipulator.scaleIndividualLinkBy(scale);
      member.transform.scaleTranslationBy(scale);
      member.origin.X.scaleTranslationBy(scale);
      for (auto& [label, joint] : member.origin.joints)
         joint.scaleBy(scale);
   }
}

void ZqLinkUnion::resize(const ZqModelScaling& scaling)
{
   ownShape();
   before.resize(scaling);
   for (Member& member : members)
   {
      // What it holds names its links as they were.
      ZqModelScaling own{scaling.manipulator, scaling.factor, scaling.center, {}, {}};
      own.links[member.manipulator.linkLabel()] = ZqBaseLinkIndex;
      for (const Name& name : member.origin.links)
      {
         own.links[name.own] = static_cast<ZqU32>(own.jointFactors.size());
         own.jointFactors.push_back(name.present ? scaling.jointFactor(*name.present) : 1.0);
      }
      member.manipulator.resize(own);
      member.transform.scaleTranslationBy(scaling.factor);
      member.origin.X.scaleTranslationBy(scaling.factor);
      for (auto& [label, joint] : member.origin.joints)
         joint.resizeBy(scaling.factor);
   }
}

// Operations of the link

bool ZqLinkUnion::isRigid(const ZqCoordinateSystemTransformation& T)
{
   // Quaternions of documents are of unit length within rounding.
   constexpr ZqReal tolerance = 1e-9;
   const ZqOrientation& q = T.orientation();
   const ZqReal squared = q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3];
   const ZqVector& p = T.translation();
   return std::abs(squared - 1.0) <= tolerance && std::isfinite(p[0]) && std::isfinite(p[1]) &&
          std::isfinite(p[2]);
}
bool ZqManipulatorLink::addLinkToUnion(const ZqIndividualManipulator& manipulator,
                                       const ZqCoordinateSystemTransformation& transform)
{
   if (ZqLinkUnion::isRigid(transform) &&
       ZqLinkUnion::merge(*this, {ZqLinkUnion::baseOf(manipulator), transform, {}}))
      return true;
   Zq::Print::instance().write(Zq::Rejected,
                               "ZqManipulatorLink::addLinkToUnion(): manipulator \"%s\" is not "
                               "merged into link \"%s\".\n",
                               manipulator.manipulatorLabel().c_str(), linkLabel().c_str());
   return false;
}

bool ZqManipulatorLink::popLinkFromUnion(const ZqString& label,
                                         ZqIndividualManipulator& manipulator,
                                         ZqCoordinateSystemTransformation& transform)
{
   ZqLinkUnion::Popped popped;
   if (!ZqLinkUnion::pop(*this, label, popped))
      return false;
   transform = popped.transform;
   manipulator = std::move(popped.member.manipulator);
   return true;
}

void ZqManipulatorLink::manipulatorLabelsInUnion(std::set<ZqString>& labels) const
{
   if (!m_union)
      return;
   for (const ZqLinkUnion::Member& member : m_union->members)
   {
      labels.insert(member.manipulator.manipulatorLabel());
      member.manipulator.manipulatorLabelsInUnion(labels);
   }
}

void ZqManipulatorLink::applyToUnion(const ZqLinkEdit& edit)
{
   ZqLinkUnion changed = *m_union;
   changed.apply(edit);
   ZqLinkUnion::set(*this, std::move(changed));
}

void ZqManipulatorLink::transformUnionBy(const ZqCoordinateSystemTransformation& T)
{
   ZqLinkUnion changed = *m_union;
   changed.transformBy(T);
   ZqLinkUnion::set(*this, std::move(changed));
}

void ZqManipulatorLink::resizeUnion(const ZqModelScaling& scaling)
{
   ZqLinkUnion changed = *m_union;
   changed.resize(scaling);
   ZqLinkUnion::set(*this, std::move(changed));
}

void ZqManipulatorLink::scaleUnionBy(ZqReal scale)
{
   ZqLinkUnion changed = *m_union;
   changed.scaleBy(scale);
   ZqLinkUnion::set(*this, std::move(changed));
}
