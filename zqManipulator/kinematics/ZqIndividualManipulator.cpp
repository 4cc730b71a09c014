#include "zqManipulator/kinematics/ZqIndividualManipulator.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/ZqDenavitHartenberg.h"
#include "zqManipulator/state/ZqManipulatorActivePositionState.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>
#include <utility>

template class ZqXmlClass<ZqIndividualManipulator, ZqManipulatorLink>;
template class ZqXmlVectorType<ZqIndividualManipulator>;

ZqIndividualManipulator::ZqIndividualManipulator()
{
   ZqManipulatorLink::setLinkIndex(ZqBaseLinkIndex);
   ZqIndividualManipulator::mapManipulator();
   ZqIndividualManipulator::mapLinkCollisionCandidates();
}

ZqIndividualManipulator::ZqIndividualManipulator(const ZqIndividualManipulator& other)
   : ZqXmlClass(other), m_manipulatorLabel(other.m_manipulatorLabel),
     m_coordSysXForm(other.m_coordSysXForm),
     m_absoluteBoundingSphere(other.m_absoluteBoundingSphere), m_isFixedBase(other.m_isFixedBase),
     m_optimizeOnLoad(other.m_optimizeOnLoad), m_isControllable(other.m_isControllable),
     m_manipulatorReferenceDescription(other.m_manipulatorReferenceDescription),
     m_stateEqualityConstraints(other.m_stateEqualityConstraints),
     m_stoppingCriteria(other.m_stoppingCriteria), m_displayLinkIndices(other.m_displayLinkIndices),
     m_selfCollisionLinkMap(other.m_selfCollisionLinkMap),
     m_usingManipulatorLabels(other.m_usingManipulatorLabels),
     m_linkLabelMapping(other.m_linkLabelMapping), m_linkCollisionTest(other.m_linkCollisionTest)
{
   setParentLink(nullptr);
   ZqIndividualManipulator::mapManipulator();
}

ZqIndividualManipulator::ZqIndividualManipulator(ZqIndividualManipulator&& other) noexcept
   : ZqXmlClass(std::move(other)), m_manipulatorLabel(std::move(other.m_manipulatorLabel)),
     m_coordSysXForm(other.m_coordSysXForm),
     m_absoluteBoundingSphere(other.m_absoluteBoundingSphere), m_isFixedBase(other.m_isFixedBase),
     m_optimizeOnLoad(other.m_optimizeOnLoad), m_isControllable(other.m_isControllable),
     m_manipulatorReferenceDescription(std::move(other.m_manipulatorReferenceDescription)),
     m_stateEqualityConstraints(std::move(other.m_stateEqualityConstraints)),
     m_stoppingCriteria(std::move(other.m_stoppingCriteria)),
     m_displayLinkIndices(std::move(other.m_displayLinkIndices)),
     m_selfCollisionLinkMap(std::move(other.m_selfCollisionLinkMap)),
     m_manipulatorIndex(other.m_manipulatorIndex),
     m_usingManipulatorLabels(std::move(other.m_usingManipulatorLabels)),
     m_linkLabelMapping(std::move(other.m_linkLabelMapping)),
     m_linkCollisionTest(std::move(other.m_linkCollisionTest))
{
   setParentLink(nullptr);
   takeMapsFrom(other);
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
   ZqXmlClass::operator=(std::move(other));
   m_manipulatorLabel = std::move(other.m_manipulatorLabel);
   m_coordSysXForm = other.m_coordSysXForm;
   m_absoluteBoundingSphere = other.m_absoluteBoundingSphere;
   m_isFixedBase = other.m_isFixedBase;
   m_optimizeOnLoad = other.m_optimizeOnLoad;
   m_isControllable = other.m_isControllable;
   m_manipulatorReferenceDescription = std::move(other.m_manipulatorReferenceDescription);
   m_stateEqualityConstraints = std::move(other.m_stateEqualityConstraints);
   m_stoppingCriteria = std::move(other.m_stoppingCriteria);
   m_displayLinkIndices = std::move(other.m_displayLinkIndices);
   m_selfCollisionLinkMap = std::move(other.m_selfCollisionLinkMap);
   m_usingManipulatorLabels = std::move(other.m_usingManipulatorLabels);
   m_linkLabelMapping = std::move(other.m_linkLabelMapping);
   m_linkCollisionTest = std::move(other.m_linkCollisionTest);
   takeMapsFrom(other);
   return *this;
}

void ZqIndividualManipulator::takeMapsFrom(ZqIndividualManipulator& other) noexcept
{
   m_concreteReference = this;
   m_linkPointerVector = std::move(other.m_linkPointerVector);
   m_linkPointerMap = std::move(other.m_linkPointerMap);
   other.m_linkPointerVector.clear();
   other.m_linkPointerMap.clear();
   // The links below the base have not moved: only who refers to the base is told.
   setManipulatorPointer(this);
   for (auto& [label, link] : m_linkPointerMap)
      if (link == &other)
         link = this;
   for (ZqManipulatorLink* link : m_linkPointerVector)
   {
      link->setManipulatorPointer(this);
      if (link->referenceLink() == &other)
         link->setReferenceLink(this);
   }
   const ZqLinkReferenceDescription& description = linkReferenceDescription();
   const auto referenced = m_linkPointerMap.find(description.referencedLinkLabel());
   if (description.isShapeReferenced() && referenced != m_linkPointerMap.end())
      setReferenceLink(referenced->second);
}

bool ZqIndividualManipulator::operator==(const ZqIndividualManipulator& other) const
{
   return m_manipulatorLabel == other.m_manipulatorLabel && linkLabel() == other.linkLabel() &&
          equalForReferencing(other);
}

bool ZqIndividualManipulator::equalForReferencing(const ZqIndividualManipulator& other) const
{
   return ZqManipulatorLink::equalForReferencing(other) &&
          m_coordSysXForm == other.m_coordSysXForm &&
          m_absoluteBoundingSphere == other.m_absoluteBoundingSphere &&
          m_isFixedBase == other.m_isFixedBase && m_optimizeOnLoad == other.m_optimizeOnLoad &&
          m_manipulatorReferenceDescription == other.m_manipulatorReferenceDescription &&
          m_stateEqualityConstraints == other.m_stateEqualityConstraints &&
          m_stoppingCriteria == other.m_stoppingCriteria &&
          m_displayLinkIndices == other.m_displayLinkIndices &&
          m_selfCollisionLinkMap == other.m_selfCollisionLinkMap;
}

bool ZqIndividualManipulator::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   if (m_manipulatorLabel.empty())
      m_manipulatorLabel = linkLabel();
   mapManipulator();
   fitAbsoluteBoundingSphere();
   mapLinkCollisionCandidates();
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
   // Not that of the link, which may have been one of this tree.
   m_manipulatorLabel = linkLabel();
   m_coordSysXForm.setToIdentity();
   fitAbsoluteBoundingSphere();
   m_isFixedBase = true;
   m_optimizeOnLoad = false;
   mapManipulator();
}

bool ZqIndividualManipulator::mapManipulator()
{
   m_linkPointerVector.clear();
   m_linkPointerMap.clear();
   return mapManipulator(m_linkPointerVector, m_linkPointerMap);
}

bool ZqIndividualManipulator::mapManipulator(LinkPointerVector& links, LinkPointerMap& labelToLink)
{
   setManipulatorPointer(this);
   labelToLink.insert_or_assign(linkLabel(), this);
   if (isReference())
   {
      setReferenceLink(this);
      return true;
   }
   bool mapped = true;
   for (ZqManipulatorLink& child : ZqManipulatorLink::childLinks())
      mapped = child.mapLinks(links, labelToLink) && mapped;
   setLinkReferences(labelToLink);
   for (ZqManipulatorLink* link : links)
      link->setManipulatorPointer(this);
   return mapped;
}

/// What every change of the tree entails.
void ZqIndividualManipulator::afterChangeOfTree()
{
   mapManipulator();
   buildSelfCollisionLinkMap();
   fitAbsoluteBoundingSphere();
}

/// The links may be those of the concrete reference.
void ZqIndividualManipulator::afterChangeOfLabels()
{
   mapManipulator();
   if (m_concreteReference != this)
      m_concreteReference->mapManipulator();
}

void ZqIndividualManipulator::copyAllButChildLinksFrom(const ZqManipulatorLink& other)
{
   ZqManipulatorLink::copyAllButChildLinksFrom(other);
   mapManipulator();
}

void ZqIndividualManipulator::setLinkLabel(const ZqString& label)
{
   ZqManipulatorLink::setLinkLabel(label);
   mapManipulator();
}

void ZqIndividualManipulator::appendToAllLabels(const ZqString& suffix)
{
   ZqManipulatorLink::appendToAllLabels(suffix);
   afterChangeOfLabels();
}

void ZqIndividualManipulator::relabelSubtree(const ZqString& prefix, ZqU32& counter)
{
   ZqManipulatorLink::relabelSubtree(prefix, counter);
   afterChangeOfLabels();
}

const ZqManipulatorLink::ChildLinks& ZqIndividualManipulator::childLinks() const
{
   // Not the virtual operation: two manipulators may refer to each other.
   return m_concreteReference->ZqManipulatorLink::childLinks();
}

ZqManipulatorLink::ChildLinks& ZqIndividualManipulator::childLinks()
{
   return m_concreteReference->ZqManipulatorLink::childLinks();
}

void ZqIndividualManipulator::setChildLinks(const ChildLinks& links)
{
   ZqManipulatorLink::setChildLinks(links);
   mapManipulator();
   fitAbsoluteBoundingSphere();
}

void ZqIndividualManipulator::addChild(const ZqManipulatorLink& link)
{
   ZqManipulatorLink::addChild(link);
   afterChangeOfTree();
}

void ZqIndividualManipulator::clearChildLinks()
{
   ZqManipulatorLink::clearChildLinks();
   afterChangeOfTree();
}

void ZqIndividualManipulator::addLinkToEndOfChain(const ZqManipulatorLink& link)
{
   ZqManipulatorLink::addLinkToEndOfChain(link);
   afterChangeOfTree();
}

bool ZqIndividualManipulator::addLinkToChildLinkByName(const ZqManipulatorLink& link,
                                                       const ZqString& label)
{
   if (!ZqManipulatorLink::addLinkToChildLinkByName(link, label))
      return false;
   afterChangeOfTree();
   return true;
}

ZqU32 ZqIndividualManipulator::jointDof() const
{
   return static_cast<ZqU32>(linkPointerVector().size());
}

const ZqManipulatorLink::LinkPointerVector& ZqIndividualManipulator::linkPointerVector() const
{
   return m_concreteReference->m_linkPointerVector;
}

const ZqManipulatorLink::LinkPointerMap& ZqIndividualManipulator::linkPointerMap() const
{
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

bool ZqIndividualManipulator::changeLinkLabel(const ZqString& oldLabel, const ZqString& newLabel)
{
   ZqManipulatorLink* link = linkByIdentifier(oldLabel);
   if (link == nullptr || linkByIdentifier(newLabel) != nullptr)
      return false;
   link->setLinkLabel(newLabel);
   afterChangeOfLabels();
   return true;
}

bool ZqIndividualManipulator::replaceLinkKinematics(const ZqString& label,
                                                    const ZqLinkKinematics& joint)
{
   ZqManipulatorLink* link = linkByIdentifier(label);
   if (link == nullptr)
      return false;
   link->setLinkKinematics(joint);
   fitAbsoluteBoundingSphere();
   return true;
}

bool ZqIndividualManipulator::setChildLinkNamedFrames(ZqU32 index, const NamedFrames& frames)
{
   ZqManipulatorLink* link = linkByIndex(index);
   if (link == nullptr)
      return false;
   link->setNamedFrames(frames);
   return true;
}

void ZqIndividualManipulator::fitAbsoluteBoundingSphere()
{
   m_absoluteBoundingSphere.setRadius(upperBoundSubmanipulatorExtentDistance());
   m_absoluteBoundingSphere.setCenter(ZqVector());
}

const ZqCoordinateSystemTransformation&
ZqIndividualManipulator::dhFrameInSystem(ZqManipulatorActivePositionState& activeState) const
{
   ZqLinkPositionState& base = activeState.record(ZqBaseLinkIndex);
   if (!base.locationInSystemValid())
      base.setLocation(m_coordSysXForm, activeState.positionState().coordSysXForm(), primaryFrame(),
                       false);
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

// References

bool ZqIndividualManipulator::configureManipulatorReference(Manipulators& manipulators)
{
   bindReference(nullptr);
   if (!isReference())
      return false;
   const ZqString& label = m_manipulatorReferenceDescription.referencedManipulatorLabel();
   const auto found = std::find_if(manipulators.begin(), manipulators.end(),
                                   [&](const ZqIndividualManipulator& other)
                                   { return other.m_manipulatorLabel == label; });
   if (found == manipulators.end())
      return false;
   bindReference(&*found);
   return true;
}

void ZqIndividualManipulator::bindReference(ZqIndividualManipulator* model)
{
   m_concreteReference = model != nullptr ? model : this;
   if (!isReference())
      return;
   setReferenceLink(m_concreteReference);
   if (m_linkCollisionTest.size() != jointDof() + 1)
      mapLinkCollisionCandidates();
}

bool ZqIndividualManipulator::findAndConvertToReferences()
{
   if (isReference())
      return true;
   useReferencesWherePossible(m_linkPointerVector);
   // A copy has its links side by side, and binds the references.
   *this = ZqIndividualManipulator(*this);
   return true;
}

bool ZqIndividualManipulator::aboutToModifyLink(const ZqString& label)
{
   if (linkByIdentifier(label) == nullptr)
      return false;
   for (ZqManipulatorLink* link : m_concreteReference->m_linkPointerVector)
   {
      ZqLinkReferenceDescription description = link->linkReferenceDescription();
      if (description.isShapeReferenced() && description.referencedLinkLabel() == label)
      {
         description.setIsShapeReferenced(false);
         link->setLinkReferenceDescription(description);
      }
   }
   return true;
}

// Collision of links with each other

void ZqIndividualManipulator::buildSelfCollisionLinkMap()
{
   m_selfCollisionLinkMap.buildMapFromSystem(*this);
   mapLinkCollisionCandidates();
}

void ZqIndividualManipulator::setSelfCollisionLinkMap(const ZqManipulatorSelfCollisionLinkMap& map)
{
   m_selfCollisionLinkMap = map;
   mapLinkCollisionCandidates();
}

void ZqIndividualManipulator::mapLinkCollisionCandidates()
{
   const LinkPointerVector& links = linkPointerVector();
   const ZqU32 base = jointDof();
   m_linkCollisionTest.resize(base + 1);

   // An entry whose outer label is the lesser is one that no lookup finds.
   const auto forEachPair = [this](auto&& act)
   {
      for (const auto& [outer, row] : m_selfCollisionLinkMap.mapContainer())
         for (const auto& [inner, isCandidate] : row.mapContainer())
            if (isCandidate && inner <= outer)
               act(outer, inner);
   };
   // Each label that is in a pair is a group; numbered in their order, in which the pairs come as well.
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
   const ZqU32 rows = m_linkCollisionTest.size();
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
