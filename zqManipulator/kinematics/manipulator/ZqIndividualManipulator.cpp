#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionPlanOf.h"
#include "zqManipulator/state/ZqManipulatorActivePositionState.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

template class ZqXmlClass<ZqIndividualManipulator, ZqManipulatorLink>;
template class ZqXmlVectorType<ZqIndividualManipulator>;

constinit std::atomic<std::uint64_t> ZqIndividualManipulator::m_latestVersion = 0;

ZqIndividualManipulator::ZqIndividualManipulator()
{
   ZqManipulatorLink::setLinkIndex(ZqBaseLinkIndex);
   ZqIndividualManipulator::mapManipulator();
   ZqIndividualManipulator::mapLinkCollisionCandidates();
}

ZqIndividualManipulator::ZqIndividualManipulator(const ZqIndividualManipulator& other)
   : ZqXmlClass(other), ZqManipulatorValues(other.presentValues())
{
   setParentLink(nullptr);
   m_generalBoundObjects.setManipulator(this);
   ZqIndividualManipulator::mapManipulator();
}

ZqIndividualManipulator::ZqIndividualManipulator(ZqIndividualManipulator&& other) noexcept
   : ZqIndividualManipulator(std::move(other), other.mapsAreRight())
{
}

ZqIndividualManipulator::ZqIndividualManipulator(ZqIndividualManipulator&& other,
                                                 bool mapsAreRight) noexcept
   : ZqXmlClass(std::move(other)), ZqManipulatorValues(std::move(other)),
     m_manipulatorIndex(other.m_manipulatorIndex)
{
   setParentLink(nullptr);
   takeMapsFrom(other, mapsAreRight);
}

ZqIndividualManipulator& ZqIndividualManipulator::operator=(const ZqIndividualManipulator& other)
{
   if (this != &other)
      *this = ZqIndividualManipulator(other);
   return *this;
}

ZqIndividualManipulator&
ZqIndividualManipulator::operator=(ZqIndividualManipulator&& other) noexcept
{
   if (this == &other)
      return *this;
   const bool mapsAreRight = other.mapsAreRight();
   ZqXmlClass::operator=(std::move(other));
   ZqManipulatorValues::operator=(std::move(other));
   takeMapsFrom(other, mapsAreRight);
   return *this;
}

void ZqIndividualManipulator::takeMapsFrom(ZqIndividualManipulator& other,
                                           bool mapsAreRight) noexcept
{
   m_concreteReference = this;
   m_generalBoundObjects.setManipulator(this);
   modelIsNew();
   other.modelIsNew();
   m_staleness = mapsAreRight ? 0 : TreeChanged;
   if (!mapsAreRight)
   {
      other.m_linkPointerVector.clear();
      other.m_linkPointerMap.clear();
   }
   m_linkPointerVector = std::move(other.m_linkPointerVector);
   m_linkPointerMap = std::move(other.m_linkPointerMap);
   other.m_linkPointerVector.clear();
   other.m_linkPointerMap.clear();
   // The links below the base stay where they are in memory; only pointers to the base change.
   setManipulatorPointer(this);
   for (auto& [label, link] : m_linkPointerMap)
      if (link == &other)
         link = this;
   for (ZqManipulatorLink* link : m_linkPointerVector)
   {
      link->setManipulatorPointer(this);
      if (link->referenceLink() == &other)
         link->m_referenceLink = this;
   }
   const ZqLinkReferenceDescription& description = linkReferenceDescription();
   const auto referenced = m_linkPointerMap.find(description.referencedLinkLabel());
   if (description.isShapeReferenced() && referenced != m_linkPointerMap.end())
      m_referenceLink = referenced->second;
}

bool ZqIndividualManipulator::operator==(const ZqIndividualManipulator& other) const
{
   return m_manipulatorLabel == other.m_manipulatorLabel && linkLabel() == other.linkLabel() &&
          equalForReferencing(other);
}

bool ZqIndividualManipulator::equalForReferencing(const ZqIndividualManipulator& other) const
{
   if (!ZqManipulatorLink::equalForReferencing(other))
      return false;
   // So that the bounding spheres are those of the trees as they are now.
   bringMapsUpToDate();
   other.bringMapsUpToDate();
   return ZqManipulatorContents::operator==(other);
}

bool ZqIndividualManipulator::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   if (m_manipulatorLabel.empty())
      m_manipulatorLabel = linkLabel();
   m_allPairsAreExcluded = false;
   m_generalBoundObjects.setManipulator(this);
   mapManipulator();
   fitAbsoluteBoundingSphere();
   mapLinkCollisionCandidates();
   if (m_optimizeOnLoad)
      recursiveOptimizeForRendering();
   if (succeeded && !std::isfinite(m_absoluteBoundingSphere.radius()))
   {
      reader.fail("the manipulator \"" + m_manipulatorLabel + "\" has no finite extent");
      return false;
   }
   return succeeded;
}

bool ZqIndividualManipulator::readValueFromToken(const ZqToken& token, ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::readValueFromToken(token, reader);
   if (token == ZqManip::ZqManipulatorIdentifierToken)
      reader.nameElement("manipulator", m_manipulatorLabel);
   else if (token == ZqManip::ZqIdentifierToken)
      reader.nameElement("base", linkLabel());
   return succeeded;
}

void ZqIndividualManipulator::setFromLink(const ZqManipulatorLink& link)
{
   ZqManipulatorLink::operator=(link);
   setParentLink(nullptr);
   // The label that this base has now: the link may have stood in this tree, and be gone.
   m_manipulatorLabel = linkLabel();
   m_coordSysXForm.setToIdentity();
   fitAbsoluteBoundingSphere();
   m_isFixedBase = true;
   m_optimizeOnLoad = false;
   mapManipulator();
}

// Maps of links

bool ZqIndividualManipulator::mapManipulator()
{
   const bool mapped = numberLinks();
   const std::uint8_t staleness = m_staleness;
   if (staleness != 0)
      fillCollisionTest();
   m_staleness.store(0, std::memory_order_release);
   if ((staleness & ShapesChanged) != 0)
      ZqIndividualManipulator::fitAbsoluteBoundingSphere();
   return mapped;
}

bool ZqIndividualManipulator::numberLinks()
{
   if (m_record != nullptr)
      followUnknownChange();
   modelIsNew();
   m_linkPointerVector.clear();
   m_linkPointerMap.clear();
   // A copy that binds its references to its own links has the shapes that the other one has.
   const bool shapesChanged = (m_staleness & ShapesChanged) != 0;
   const bool mapped = mapManipulator(m_linkPointerVector, m_linkPointerMap);
   if (!shapesChanged)
      m_staleness &= static_cast<std::uint8_t>(~ShapesChanged);
   return mapped;
}

bool ZqIndividualManipulator::mapManipulator(LinkPointerVector& links, LinkPointerMap& labelToLink)
{
   setManipulatorPointer(this);
   tellSensors();
   labelToLink.insert_or_assign(linkLabel(), this);
   if (isReference())
   {
      m_referenceLink = m_concreteReference;
      return true;
   }
   bool mapped = true;
   for (ZqManipulatorLink& child : m_childLinks)
   {
      child.setParentLink(this);
      child.setManipulatorPointer(this);
      mapped = child.mapLinks(links, labelToLink) && mapped;
   }
   setLinkReferences(labelToLink);
   return mapped;
}

namespace
{
/// One lock for all manipulators: maps are rebuilt so seldom that threads hardly ever wait for it.
constinit std::mutex mapsLock;

/// What is asked while maps are rebuilt, such as for the extent of shapes, is answered by what there is.
constinit thread_local bool mapsAreBeingRebuilt = false;

struct Rebuilding
{
   Rebuilding() noexcept { mapsAreBeingRebuilt = true; }
   Rebuilding(const Rebuilding&) = delete;
   Rebuilding& operator=(const Rebuilding&) = delete;
   ~Rebuilding() { mapsAreBeingRebuilt = false; }
};
} // namespace

/// Several threads may ask at once: the first one rebuilds, the others wait and find the maps right. What
/// there is to log is logged without the lock, since a sink of the log may ask manipulators too.
void ZqIndividualManipulator::rebuildMaps()
{
   if (mapsAreBeingRebuilt)
      return;
   // What a reference answers follows from the maps of its model.
   if (m_concreteReference != this &&
       m_concreteReference->m_concreteReference == m_concreteReference)
      m_concreteReference->bringMapsUpToDate();
   std::vector<Zq::Diagnostic> found;
   {
      const std::scoped_lock lock(mapsLock);
      const Rebuilding rebuilding;
      const Zq::DiagnosticCollector collector;
      const std::uint8_t staleness = m_staleness;
      const bool treeMayHaveChanged = (staleness & TreeChanged) != 0 ||
                                      ((staleness & ChildrenLent) != 0 && lentChildrenChanged());
      if (treeMayHaveChanged || (staleness & LabelChanged) != 0)
      {
         numberLinks();
         fillCollisionTest();
      }
      if (treeMayHaveChanged || (staleness & ShapesChanged) != 0)
         ZqIndividualManipulator::fitAbsoluteBoundingSphere();
      found = collector.diagnostics();
      m_staleness.store(0, std::memory_order_release);
   }
   for (const Zq::Diagnostic& diagnostic : found)
      Zq::Print::instance().report(diagnostic);
}

/// Several threads may ask at once, as for the maps: then each makes a plan, and the first one is kept. None
/// is made under the lock, since a class of a user is asked, and may ask a manipulator.
void ZqIndividualManipulator::rebuildPlan() const
{
   const std::uint64_t version = modelVersion();
   const ZqIndividualManipulator& model = *m_concreteReference;
   // Where references refer to each other, there is no model with a plan.
   const bool isOfModel = &model != this && model.m_concreteReference == &model;
   auto plan = std::make_shared<ZqMotionPlan>(isOfModel ? model.motionPlan()
                                                        : zqMotionPlanOf(linkPointerVector()));
   zqSetBase(*this, *plan);
   const std::scoped_lock lock(mapsLock);
   if (m_planVersion == version)
      return;
   m_plan = std::move(plan);
   m_planVersion.store(version, std::memory_order_release);
}

// What links tell their manipulator about changes

void ZqManipulatorLink::treeChanges() noexcept
{
   if (m_manipulator == nullptr)
      return;
   m_manipulator->m_staleness |= ZqIndividualManipulator::TreeChanged;
   m_manipulator->modelIsNew();
}

void ZqManipulatorLink::modelChanges() noexcept
{
   if (m_manipulator != nullptr)
      m_manipulator->modelIsNew();
}

void ZqManipulatorLink::shapesChange() noexcept
{
   if (m_manipulator == nullptr)
      return;
   m_manipulator->m_staleness |= ZqIndividualManipulator::ShapesChanged;
   m_manipulator->m_shapesVersion = ZqIndividualManipulator::newVersion();
}

bool ZqManipulatorLink::addSensor(const ZqBaseSensor* sensor)
{
   if (sensor == nullptr)
      return false;
   m_sensorVector.pushBack(*sensor);
   tellSensors();
   return true;
}

void ZqManipulatorLink::tellSensors()
{
   for (ZqBaseSensor* sensor : m_sensorVector.vectorContainer())
   {
      if (sensor == nullptr)
         continue;
      sensor->setLinkLabel(m_linkLabel);
      if (m_manipulator != nullptr)
         sensor->setManipulatorIndex(m_manipulator->manipulatorIndex());
   }
}

void ZqManipulatorLink::labelChanges() noexcept
{
   if (m_manipulator != nullptr)
      m_manipulator->m_staleness |= ZqIndividualManipulator::LabelChanged;
}

void ZqManipulatorLink::lendChildren()
{
   m_manipulator->childrenAreLent(*this);
   ZqIndividualManipulator::newVersion();
}

/// Keeps the address and the number of the children of one link, to see later whether they changed. When
/// a second link lends its children before that, the tree counts as changed.
void ZqIndividualManipulator::childrenAreLent(const ZqManipulatorLink& lender)
{
   if ((m_staleness & ChildrenLent) == 0)
   {
      m_lender = &lender;
      m_firstLent = lender.m_childLinks.vectorContainer().data();
      m_lentCount = lender.m_childLinks.size();
      m_staleness |= ChildrenLent;
   }
   else if (m_lender != &lender)
      m_staleness |= TreeChanged;
}

/// Only number and address are compared: a link that is assigned to reports it by itself (`treeChanges`).
bool ZqIndividualManipulator::lentChildrenChanged() const
{
   const auto& children = m_lender->m_childLinks.vectorContainer();
   return children.data() != m_firstLent || children.size() != m_lentCount;
}

// Edits

ZqLinkEdit::Labels ZqIndividualManipulator::linkLabels() const
{
   ZqLinkEdit::Labels labels;
   const auto append = [&](const auto& self, const ChildLinks& links) -> void
   {
      for (const ZqManipulatorLink& link : links)
      {
         labels.push_back(link.linkLabel());
         self(self, link.m_childLinks);
      }
   };
   append(append, m_childLinks);
   labels.push_back(linkLabel());
   return labels;
}

void ZqIndividualManipulator::keepRecord(Record* record)
{
   bringMapsUpToDate();
   // What the manipulator holds is right already, also after an assignment; only the record is not.
   if (m_record != nullptr)
      m_record->edit = m_record->edit.then(ZqLinkEdit::matched(m_record->labels, linkLabels()));
   m_record = record;
   if (record != nullptr)
      *record = {ZqLinkEdit(), linkLabels()};
}

void ZqIndividualManipulator::apply(const ZqLinkEdit& edit)
{
   if (!edit.isIdentity())
      applyToLinks(edit);
   if (edit.hasLabels() || edit.hasRestatements())
   {
      m_selfCollisionLinkMap.apply(edit);
      m_linkLabelMapping.apply(edit);
      m_stoppingCriteria.apply(edit);
      m_generalBoundObjects.apply(edit);
   }
   if (!edit.isIdentity())
   {
      m_stateConstraints.apply(edit);
      m_stateEqualityConstraints.apply(edit);
   }
   for (ZqU32& index : m_displayLinkIndices)
      index = edit.index(index);
   std::erase(m_displayLinkIndices.vectorContainer(), ZqNoLinkIndex);

   if (m_record != nullptr)
   {
      m_record->edit = m_record->edit.then(edit);
      m_record->labels = linkLabels();
   }
}

/// The tree is as it is after the edit; the vector of links has as many as there were before. The indices
/// that a link holds that came with the edit speak of the links as they are now.
void ZqIndividualManipulator::applyToLinks(const ZqLinkEdit& edit)
{
   const bool hasNames = edit.hasLabels() || edit.hasRestatements();
   if (hasNames)
      applyLabels(edit);
   if (m_union)
      applyToUnion(edit);
   std::vector<bool> wasThere(ownLinkCount());
   for (ZqU32 i = 0; i < m_linkPointerVector.size(); ++i)
      if (const ZqU32 place = edit.index(i); place < wasThere.size())
         wasThere[place] = true;
   ZqU32 index = 0;
   const auto applyBelow = [&](const auto& self, ChildLinks& links) -> void
   {
      for (ZqManipulatorLink& link : links)
      {
         if (hasNames)
            link.applyLabels(edit);
         if (wasThere[index])
            link.applyIndices(edit);
         if (link.m_union && (edit.hasLabels() || wasThere[index]))
            link.applyToUnion(edit);
         ++index;
         self(self, link.m_childLinks);
      }
   };
   applyBelow(applyBelow, m_childLinks);
}

/// Finds what changed without an operation of the manipulator, by comparing labels, and applies it.
void ZqIndividualManipulator::followUnknownChange()
{
   const ZqLinkEdit::Labels labels = linkLabels();
   if (labels == m_record->labels)
      return;
   apply((m_staleness & ~ShapesChanged) == LabelChanged
            ? ZqLinkEdit::relabelled(m_record->labels, labels)
            : ZqLinkEdit::matched(m_record->labels, labels));
}

/// To be called after each change of the tree, with the record of the change.
void ZqIndividualManipulator::afterChangeOfTree(const ZqLinkEdit& edit)
{
   // What a reference holds by label or index is about the links of its model, not about its own tree.
   if (!isReference())
      apply(edit);
   mapManipulator();
   buildSelfCollisionLinkMap();
   fitAbsoluteBoundingSphere();
}

/// Runs an operation that changes labels, and then applies all changes together, so that the order in
/// which labels are set does not matter. Labels of the concrete reference are followed as well.
template <class Operation>
void ZqIndividualManipulator::relabel(const Operation& operation)
{
   ZqIndividualManipulator& model = *m_concreteReference;
   model.bringMapsUpToDate();
   ZqLinkEdit::Labels before = model.linkLabels();
   const ZqString ownBefore = linkLabel();
   m_labelsChangeTogether = model.m_labelsChangeTogether = true;
   operation();
   m_labelsChangeTogether = model.m_labelsChangeTogether = false;
   ZqLinkEdit::Labels after = model.linkLabels();
   model.apply(ZqLinkEdit::relabelled(before, after));
   model.mapManipulator();
   if (this == &model)
      return;
   before.push_back(ownBefore);
   after.push_back(linkLabel());
   apply(ZqLinkEdit::relabelled(before, after));
   mapManipulator();
}

void ZqIndividualManipulator::copyAllButChildLinksFrom(const ZqManipulatorLink& other)
{
   ZqManipulatorLink::copyAllButChildLinksFrom(other);
   mapManipulator();
}

void ZqIndividualManipulator::setLinkLabel(const ZqString& label)
{
   if (m_labelsChangeTogether)
      ZqManipulatorLink::setLinkLabel(label);
   else
      relabel([&] { ZqManipulatorLink::setLinkLabel(label); });
}

void ZqIndividualManipulator::appendToAllLabels(const ZqString& suffix)
{
   relabel([&] { ZqManipulatorLink::appendToAllLabels(suffix); });
}

void ZqIndividualManipulator::relabelSubtree(const ZqString& prefix, ZqU32& counter)
{
   relabel([&] { ZqManipulatorLink::relabelSubtree(prefix, counter); });
}

bool ZqIndividualManipulator::changeLinkLabel(const ZqString& oldLabel, const ZqString& newLabel)
{
   ZqManipulatorLink* link = linkByIdentifier(oldLabel);
   if (link == nullptr || linkByIdentifier(newLabel) != nullptr)
      return false;
   relabel([&] { link->setLinkLabel(newLabel); });
   return true;
}

// Tree

const ZqManipulatorLink::ChildLinks& ZqIndividualManipulator::childLinks() const
{
   // Not the virtual operation, which would not end where two manipulators refer to each other.
   return m_concreteReference->m_childLinks;
}

ZqManipulatorLink::ChildLinks& ZqIndividualManipulator::childLinks()
{
   return m_concreteReference->ZqManipulatorLink::childLinks();
}

void ZqIndividualManipulator::setChildLinks(const ChildLinks& links)
{
   bringMapsUpToDate();
   const ZqLinkEdit::Labels before = linkLabels();
   const bool sharesShape = sharesShapeOfLink();
   const ZqShapeContainer shape = sharesShape ? shapeContainer() : ZqShapeContainer();
   ZqManipulatorLink::setChildLinks(links);
   if (!isReference())
      apply(ZqLinkEdit::matched(before, linkLabels()));
   // The base keeps the shape of a link that went.
   if (sharesShape && !linkReferenceDescription().isShapeReferenced())
      setShapeContainer(shape);
   mapManipulator();
   fitAbsoluteBoundingSphere();
}

namespace
{
/// The number of links from a link on to the end of its chain of first children, itself included.
ZqU32 chainLength(const ZqManipulatorLink& link)
{
   ZqU32 length = 1;
   for (const ZqManipulatorLink* next = &link; next->childLinks().size() > 0; ++length)
      next = &next->childLinks()[0];
   return length;
}
} // namespace

/// Runs an operation of the base class that adds links, the first of which gets the index `at`.
template <class Operation>
bool ZqIndividualManipulator::insertLinks(ZqU32 at, const Operation& operation)
{
   const ZqU32 before = ownLinkCount();
   if (!operation())
      return false;
   afterChangeOfTree(ZqLinkEdit::inserted(at, ownLinkCount() - before));
   return true;
}

void ZqIndividualManipulator::addChild(const ZqManipulatorLink& link)
{
   bringMapsUpToDate();
   insertLinks(ownLinkCount(), [&] { return ZqManipulatorLink::addChild(link), true; });
}

void ZqIndividualManipulator::clearChildLinks()
{
   bringMapsUpToDate();
   const ZqLinkEdit::Labels before = linkLabels();
   if (sharesShapeOfLink())
      removeLinkReferences();
   ZqManipulatorLink::clearChildLinks();
   afterChangeOfTree(ZqLinkEdit::matched(before, linkLabels()));
}

void ZqIndividualManipulator::addLinkToEndOfChain(const ZqManipulatorLink& link)
{
   bringMapsUpToDate();
   ZqU32 levels = 0;
   if (m_childLinks.size() > 0)
      levels = chainLength(m_childLinks[0]);
   insertLinks(levels, [&] { return ZqManipulatorLink::addLinkToEndOfChain(link), true; });
}

bool ZqIndividualManipulator::addLinkToChildLinkByName(const ZqManipulatorLink& link,
                                                       const ZqString& label)
{
   bringMapsUpToDate();
   const auto found = std::find_if(m_linkPointerVector.begin(), m_linkPointerVector.end(),
                                   [&](const ZqManipulatorLink* candidate)
                                   { return candidate->linkLabel() == label; });
   const auto index = static_cast<ZqU32>(found - m_linkPointerVector.begin());
   const ZqU32 at = found == m_linkPointerVector.end() ? 0 : index + chainLength(**found);
   return insertLinks(at, [&] { return ZqManipulatorLink::addLinkToChildLinkByName(link, label); });
}

ZqU32 ZqIndividualManipulator::jointDof() const
{
   return static_cast<ZqU32>(linkPointerVector().size());
}

const ZqManipulatorLink::LinkPointerVector& ZqIndividualManipulator::linkPointerVector() const
{
   m_concreteReference->bringMapsUpToDate();
   return m_concreteReference->m_linkPointerVector;
}

const ZqManipulatorLink::LinkPointerMap& ZqIndividualManipulator::linkPointerMap() const
{
   m_concreteReference->bringMapsUpToDate();
   return m_concreteReference->m_linkPointerMap;
}

const ZqManipulatorLink* ZqIndividualManipulator::linkByIndex(ZqU32 index) const
{
   const LinkPointerVector& links = linkPointerVector();
   if (index < links.size())
      return links[index];
   return index == ZqBaseLinkIndex ? m_concreteReference : nullptr;
}

ZqManipulatorLink* ZqIndividualManipulator::linkByIndex(ZqU32 index)
{
   return const_cast<ZqManipulatorLink*>(std::as_const(*this).linkByIndex(index));
}

const ZqManipulatorLink* ZqIndividualManipulator::linkByIdentifier(const ZqString& label) const
{
   const LinkPointerMap& links = linkPointerMap();
   const auto found = links.find(label);
   if (found != links.end())
      return found->second;
   return label == linkLabel() ? m_concreteReference : nullptr;
}

ZqManipulatorLink* ZqIndividualManipulator::linkByIdentifier(const ZqString& label)
{
   return const_cast<ZqManipulatorLink*>(std::as_const(*this).linkByIdentifier(label));
}

ZqU32 ZqIndividualManipulator::linkIndexByIdentifier(const ZqString& label) const
{
   const LinkPointerVector& links = linkPointerVector();
   const auto found =
      std::find_if(links.begin(), links.end(),
                   [&](const ZqManipulatorLink* link) { return link->linkLabel() == label; });
   if (found != links.end())
      return static_cast<ZqU32>(found - links.begin());
   return label == linkLabel() ? ZqBaseLinkIndex : ZqNoLinkIndex;
}

bool ZqIndividualManipulator::setChildLinkNamedFrames(ZqU32 index, const NamedFrames& frames)
{
   ZqManipulatorLink* link = linkByIndex(index);
   if (link == nullptr)
      return false;
   link->setNamedFrames(frames);
   return true;
}

void ZqIndividualManipulator::setManipulatorIndex(ZqU32 index)
{
   // Also where it stays: the sensors may have come with the tree of another manipulator.
   m_manipulatorIndex = index;
   const auto tell = [](const auto& self, ZqManipulatorLink& link) -> void
   {
      link.tellSensors();
      for (ZqManipulatorLink& child : link.m_childLinks)
         self(self, child);
   };
   tell(tell, *this);
}

void ZqIndividualManipulator::fitAbsoluteBoundingSphere()
{
   m_absoluteBoundingSphere.setRadius(upperBoundSubmanipulatorExtentDistance());
   m_absoluteBoundingSphere.setCenter(ZqVector());
}

const ZqCoordinateSystemTransformation&
ZqIndividualManipulator::dhFrameInSystem(ZqManipulatorActivePositionState& activeState) const
{
   if (m_concreteReference != this)
      activeState.setPlacement(m_coordSysXForm);
   ZqLinkPositionState& base = activeState.record(ZqBaseLinkIndex);
   if (!base.locationInSystemValid())
   {
      const ZqPositionState& position = activeState.positionState();
      base.setLocation(position.placement() != nullptr ? *position.placement() : m_coordSysXForm,
                       position.coordSysXForm(), primaryFrame(), false);
   }
   return base.dhFrame();
}

bool ZqIndividualManipulator::makeIndicesCompatible(ZqU32& a, ZqU32& b)
{
   if (a < b)
      std::swap(a, b);
   return true;
}

bool ZqIndividualManipulator::getCraigDhParameters(std::vector<ZqReal>& parameters) const
{
   parameters.clear();
   bool allAreCraig = true;
   for (const ZqManipulatorLink* link : linkPointerVector())
   {
      const auto* joint =
         dynamic_cast<const ZqDenavitHartenberg*>(link->linkKinematicsContainer().topElement());
      const bool isCraig = joint != nullptr && joint->hasCraigParameters();
      if (isCraig)
         parameters.insert(parameters.end(), {joint->dhA(), joint->dhAlpha(), joint->dhD()});
      allAreCraig = allAreCraig && isCraig;
   }
   return allAreCraig;
}

bool ZqIndividualManipulator::checkLimitConstraints(const ZqPositionState& position,
                                                    ZqU32& failedIndex) const
{
   const LinkPointerVector& links = linkPointerVector();
   const auto end =
      links.begin() + std::min<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(links.size()),
                                               position.jointPositions().size());
   const auto failed = std::find_if_not(links.begin(), end,
                                        [&](const ZqManipulatorLink* link)
                                        { return link->isWithinLimits(position); });
   if (failed == end)
      return true;
   failedIndex = static_cast<ZqU32>(failed - links.begin());
   return false;
}

// References

bool ZqIndividualManipulator::configureManipulatorReference(Manipulators& manipulators)
{
   bindReference(nullptr);
   if (!isReference())
      return false;
   // A chain of references is followed to the model at its end. In a chain without a model, each
   // reference is bound to the next one.
   ZqIndividualManipulator* model = this;
   ZqIndividualManipulator* next = nullptr;
   for (ZqU32 length = 0; model->isReference() && length <= manipulators.size(); ++length)
   {
      const ZqString& label = model->m_manipulatorReferenceDescription.referencedManipulatorLabel();
      const auto found = std::find_if(manipulators.begin(), manipulators.end(),
                                      [&](const ZqIndividualManipulator& other)
                                      { return other.m_manipulatorLabel == label; });
      if (found == manipulators.end())
         break;
      model = &*found;
      if (next == nullptr)
         next = model;
   }
   bindReference(model->isReference() ? next : model);
   return next != nullptr;
}

void ZqIndividualManipulator::bindReference(ZqIndividualManipulator* model)
{
   m_concreteReference = model != nullptr ? model : this;
   modelIsNew();
   if (!isReference())
      return;
   m_referenceLink = m_concreteReference;
   if (m_linkCollisionTest.size() != jointDof() + 1)
      mapLinkCollisionCandidates();
}

bool ZqIndividualManipulator::findAndConvertToReferences()
{
   if (isReference())
      return true;
   bringMapsUpToDate();
   useReferencesWherePossible(m_linkPointerVector);
   // A copy has its links side by side, and binds the references.
   *this = ZqIndividualManipulator(*this);
   return true;
}

// Collision of links with each other

void ZqIndividualManipulator::buildSelfCollisionLinkMap()
{
   if (m_allPairsAreExcluded)
   {
      // Only links that are new are missing.
      for (const ZqString& label : m_concreteReference->linkLabels())
         if (!m_selfCollisionLinkMap.mapContainer().contains(label))
            m_selfCollisionLinkMap.addLink(label);
   }
   else
      m_selfCollisionLinkMap.buildMapFromSystem(*this);
   m_allPairsAreExcluded = true;
   mapLinkCollisionCandidates();
}

void ZqIndividualManipulator::setSelfCollisionLinkMap(const ZqManipulatorSelfCollisionLinkMap& map)
{
   m_selfCollisionLinkMap = map;
   m_allPairsAreExcluded = false;
   mapLinkCollisionCandidates();
}

void ZqIndividualManipulator::mapLinkCollisionCandidates()
{
   m_concreteReference->bringMapsUpToDate();
   fillCollisionTest();
}

void ZqIndividualManipulator::fillCollisionTest()
{
   const LinkPointerVector& links = m_concreteReference->m_linkPointerVector;
   const auto base = static_cast<ZqU32>(links.size());
   m_linkCollisionTest.resize(base + 1);
   if (m_allPairsAreExcluded)
      return;

   // Lookups take the greater label as key: an entry the other way round is never found, and is skipped.
   const auto forEachPair = [this](auto&& act)
   {
      for (const auto& [outer, row] : m_selfCollisionLinkMap.mapContainer())
         for (const auto& [inner, isCandidate] : row.mapContainer())
            if (isCandidate && inner <= outer)
               act(outer, inner);
   };
   // Each label that is in a pair makes a group. Groups are numbered in the order of the labels, which
   // is also the order of the pairs.
   std::map<std::string_view, ZqU32> groups;
   forEachPair(
      [&groups](const ZqString& outer, const ZqString& inner)
      {
         groups.try_emplace(outer);
         groups.try_emplace(inner);
      });
   if (groups.empty())
      return;
   ZqU32 count = 0;
   for (auto& [label, group] : groups)
      group = ++count;
   for (ZqU32 i = 0; i <= base; ++i)
   {
      const ZqManipulatorLink* link = i < base ? links[i] : m_concreteReference;
      const auto found = groups.find(link->linkLabel());
      if (found != groups.end())
         m_linkCollisionTest.setGroup(i, found->second);
   }
   forEachPair([&](const ZqString& outer, const ZqString& inner)
               { m_linkCollisionTest.setPair(groups.at(outer), groups.at(inner)); });
}

bool ZqIndividualManipulator::canCollide(ZqU32 first, ZqU32 second) const
{
   const ZqU32 rows = linkCollisionTest().size();
   if (first == ZqBaseLinkIndex)
      first = rows - 1;
   if (second == ZqBaseLinkIndex)
      second = rows - 1;
   if (first == second)
      return false;
   if (first < rows && second < rows)
      return m_linkCollisionTest.test(first, second);
   Zq::Print::instance().write(Zq::Rejected,
                               "ZqIndividualManipulator::canCollide(): indices (%d,%d) out of "
                               "range.  Returning False.\n",
                               static_cast<int>(first), static_cast<int>(second));
   return false;
}
