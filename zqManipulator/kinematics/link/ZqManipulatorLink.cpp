#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

#include "zqManipulator/actuation/ZqJointActuatorContainer.h"
#include "zqManipulator/actuation/ZqOldJointActuator.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/state/ZqManipulatorActivePositionState.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>
#include <utility>

template class ZqXmlClass<ZqManipulatorLink>;
template class ZqXmlVectorType<ZqManipulatorLink>;
template class ZqXmlMapType<ZqString, ZqRigidBodyMassProperties>;
template class ZqXmlMapType<ZqString, ZqVector>;
template class ZqXmlMapType<ZqString, ZqCoordinateSystemTransformation>;

constinit const ZqCoordinateSystemTransformation ZqManipulatorLink::m_theDummyTransformation;

/// The drives of old documents, in both of their forms.
struct ZqManipulatorLink::OldDrives
{
   ZqOldJointActuator actuator;
   ZqJointActuatorContainer container;
};

ZqManipulatorLink::ZqManipulatorLink()
{
   m_jointActuator.setManipulatorLink(this);
}

ZqManipulatorLink::~ZqManipulatorLink()
{
   dropDefaultLimits();
}

ZqManipulatorLink::ZqManipulatorLink(const ZqManipulatorLink& other)
   : ZqXmlClass(other), ZqLinkPlace(other), ZqLinkValues(other), m_childLinks(other.m_childLinks)
{
   attachParts();
}

// If the other link belongs to a manipulator, that one is told: it has lost the contents of a link.
ZqManipulatorLink::ZqManipulatorLink(ZqManipulatorLink&& other) noexcept
   // The base class has nothing to move. NOLINTNEXTLINE(performance-move-constructor-init)
   : ZqXmlClass(other), ZqLinkPlace(other), ZqLinkValues(std::move(other)),
     m_childLinks(std::move(other.m_childLinks))
{
   attachParts();
   if (other.m_manipulator == nullptr)
      return;
   other.treeChanges();
   for (ZqManipulatorLink& child : m_childLinks)
      child.leaveManipulator();
}

ZqManipulatorLink& ZqManipulatorLink::operator=(const ZqManipulatorLink& other)
{
   if (this == &other)
      return *this;
   // Copied first, since the other link may stand below this one.
   ChildLinks children(other.m_childLinks);
   copyAllButChildLinksFrom(other);
   m_childLinks = std::move(children);
   attachParts();
   return *this;
}

ZqManipulatorLink& ZqManipulatorLink::operator=(ZqManipulatorLink&& other) noexcept
{
   if (this == &other)
      return *this;
   // Taken out first: the other link may stand below this one, and would be destroyed with its siblings.
   ZqManipulatorLink taken(std::move(other));
   ZqXmlClass::operator=(taken);
   ZqLinkValues::operator=(std::move(taken));
   treeChanges();
   m_manipulator = nullptr;
   m_childLinks = std::move(taken.m_childLinks);
   attachParts();
   return *this;
}

void ZqManipulatorLink::copyAllButChildLinksFrom(const ZqManipulatorLink& other)
{
   treeChanges();
   if (this == &other)
   {
      m_childLinks.clear();
      return;
   }
   ZqXmlClass::operator=(other);
   ZqLinkValues::operator=(other);
   m_manipulator = nullptr;
   attachParts();
}

/// Sets the pointers that lead back to this link: those of its drive, of its children, and its own
/// reference to the link whose shapes it uses. To be called when the link or its parts are new.
void ZqManipulatorLink::attachParts() noexcept
{
   m_referenceLink = this;
   m_jointActuator.setManipulatorLink(this);
   ZqManipulatorLink::updateDefaultLimitConstraints();
   for (ZqManipulatorLink& child : m_childLinks)
      child.m_parentLink = this;
}

bool ZqManipulatorLink::operator==(const ZqManipulatorLink& other) const
{
   return m_linkLabel == other.m_linkLabel && equalForReferencing(other);
}

bool ZqManipulatorLink::equalForReferencing(const ZqManipulatorLink& other) const
{
   return ZqLinkContents::operator==(other) && m_childLinks == other.m_childLinks;
}

bool ZqManipulatorLink::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   mapShapes();
   takeOldDrives();
   attachParts();
   updateMassProperties();
   updateDHMassProperties();
   reader.incrementLinkCount();
   return succeeded;
}

bool ZqManipulatorLink::readValueFromToken(const ZqToken& token, ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::readValueFromToken(token, reader);
   if (token == ZqManip::ZqIdentifierToken)
      reader.nameElement("link", m_linkLabel);
   else if (token == ZqGeom::ZqShapeContainerToken)
   {
      m_shapes.number();
      shapesChange();
      for (const ZqShape* shape : m_shapes.m_byNumber)
         if (const auto* sphere = dynamic_cast<const ZqSphere*>(shape);
             sphere != nullptr && sphere->isEmpty())
            reader.remark("the shape is a sphere that holds no point, and counts as the origin",
                          "shape-repaired");
   }
   return succeeded;
}

bool ZqManipulatorLink::write(ZqXmlWriter& writer) const
{
   const bool succeeded = ZqXmlClass::write(writer);
   writer.incrementLinkCount();
   return succeeded;
}

ZqOldJointActuator& ZqManipulatorLink::oldJointActuator()
{
   return oldDrives().actuator;
}

ZqJointActuatorContainer& ZqManipulatorLink::oldJointActuatorContainer()
{
   return oldDrives().container;
}

/// Made when the document that is read has one, or when the components are registered.
ZqManipulatorLink::OldDrives& ZqManipulatorLink::oldDrives()
{
   if (!m_oldDrives)
      m_oldDrives = std::make_unique<OldDrives>();
   return *m_oldDrives;
}

/// Turns the drive that an old document holds into the link's drive; of its two forms, the one in the
/// container counts. Nothing of it is left for the next document.
void ZqManipulatorLink::takeOldDrives()
{
   if (!m_oldDrives)
      return;
   auto& [actuator, container] = *m_oldDrives;
   const ZqOldJointActuator none;
   if (actuator != none)
      m_jointActuator.setFromOldJointActuator(actuator);
   const auto* contained = dynamic_cast<const ZqOldJointActuator*>(container.topElement());
   if (contained != nullptr && *contained != none)
      m_jointActuator.setFromOldJointActuator(*contained);
   actuator = none;
   container.setAndDeleteTopElementPointer(nullptr);
   // Where the maps of components hold their addresses, they stay.
   if (!componentsAreRegistered())
      m_oldDrives.reset();
}

void ZqManipulatorLink::registerComponentsForBase()
{
   registerComponentsOf(
      ZqXmlTables::tableOfList<ZqManipulatorLink, &ZqManipulatorLink::componentsForBase<>>());
}

void ZqManipulatorLink::setLinkLabel(const ZqString& label)
{
   m_linkLabel = label;
   tellSensors();
   labelChanges();
}

void ZqManipulatorLink::appendToAllLabels(const ZqString& suffix)
{
   // A copy: the argument may be a label that is about to change. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
   const ZqString added = suffix;
   setLinkLabel(linkLabel() + added);
   for (ZqManipulatorLink& child : childLinks())
      child.appendToAllLabels(added);
}

void ZqManipulatorLink::relabelSubtree(const ZqString& prefix, ZqU32& counter)
{
   // A copy: the argument may be a label that is about to change. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
   const ZqString start = prefix;
   setLinkLabel(start + ZqINT2STRING(counter, 10));
   ++counter;
   for (ZqManipulatorLink& child : childLinks())
      child.relabelSubtree(start, counter);
}

void ZqManipulatorLink::setLinkKinematicsContainer(const ZqLinkKinematicsContainer& container)
{
   m_linkKinematicsContainer = container;
   updateDHMassProperties();
}

void ZqManipulatorLink::setLinkKinematics(const ZqLinkKinematics& joint)
{
   m_linkKinematicsContainer.setTopElement(joint);
   updateDHMassProperties();
}

void ZqManipulatorLink::setPrimaryFrame(const ZqCoordinateSystemTransformation& frame)
{
   m_linkKinematicsContainer.setPrimaryFrame(frame);
   updateDHMassProperties();
}

void ZqManipulatorLink::setJointActuator(const ZqJointActuator& actuator)
{
   m_jointActuator = actuator;
   m_jointActuator.setManipulatorLink(this);
   updateDefaultLimitConstraints();
   modelChanges();
}

void ZqManipulatorLink::setChildLinks(const ChildLinks& links)
{
   // Copied first, since the links may stand below this one.
   ChildLinks children(links);
   treeChanges();
   m_childLinks = std::move(children);
   attachParts();
}

void ZqManipulatorLink::addChild(const ZqManipulatorLink& link)
{
   treeChanges();
   m_childLinks.pushBack(link);
   attachParts();
}

void ZqManipulatorLink::clearChildLinks()
{
   treeChanges();
   m_childLinks.clear();
}

void ZqManipulatorLink::addLinkToEndOfChain(const ZqManipulatorLink& link)
{
   ZqManipulatorLink* end = this;
   while (end->m_childLinks.size() > 0)
      end = &end->m_childLinks[0];
   end->ZqManipulatorLink::addChild(link);
}

bool ZqManipulatorLink::addLinkToChildLinkByName(const ZqManipulatorLink& link,
                                                 const ZqString& label)
{
   for (ZqManipulatorLink& child : m_childLinks)
   {
      if (child.linkLabel() == label)
      {
         child.addLinkToEndOfChain(link);
         return true;
      }
      if (child.addLinkToChildLinkByName(link, label))
         return true;
   }
   return false;
}

ZqU32 ZqManipulatorLink::subtreeLinkCount() const
{
   ZqU32 count = 1;
   for (const ZqManipulatorLink& child : childLinks())
      count += child.subtreeLinkCount();
   return count;
}

void ZqManipulatorLink::collectLeafLinks(std::vector<const ZqManipulatorLink*>& leaves) const
{
   if (childLinks().size() == 0)
      leaves.push_back(this);
   for (const ZqManipulatorLink& child : childLinks())
      child.collectLeafLinks(leaves);
}

void ZqManipulatorLink::setLinkIndex(ZqU32 index)
{
   m_linkIndex = index;
   updateDefaultLimitConstraints();
}

void ZqManipulatorLink::setSensorVector(const ZqSensorVector& sensors)
{
   m_sensorVector = sensors;
   tellSensors();
}

bool ZqManipulatorLink::mapLinks(LinkPointerVector& links, LinkPointerMap& labelToLink)
{
   setLinkIndex(static_cast<ZqU32>(links.size()));
   links.push_back(this);
   const auto [entry, isNew] = labelToLink.insert_or_assign(m_linkLabel, this);
   if (!isNew)
      Zq::Print::instance().write(Zq::Oddity,
                                  "ZqManipulatorLink::mapLinks(): there are duplicate links with "
                                  "the same label, \"%s\".  The last will be used.\n",
                                  m_linkLabel.c_str());
   bool mapped = true;
   for (ZqManipulatorLink& child : m_childLinks)
   {
      child.setParentLink(this);
      child.setManipulatorPointer(m_manipulator);
      mapped = child.mapLinks(links, labelToLink) && mapped;
   }
   tellSensors();
   return mapped;
}

void ZqManipulatorLink::setLinkReferenceDescription(const ZqLinkReferenceDescription& description)
{
   m_linkReferenceDescription = description;
   labelChanges();
   shapesChange();
}

void ZqManipulatorLink::setReferenceLink(ZqManipulatorLink* link)
{
   if (m_referenceLink == link)
      return;
   m_referenceLink = link;
   shapesChange();
}

bool ZqManipulatorLink::setLinkReferences(const LinkPointerMap& labelToLink)
{
   ZqManipulatorLink* link = this;
   if (m_linkReferenceDescription.isShapeReferenced())
   {
      const ZqString& label = m_linkReferenceDescription.referencedLinkLabel();
      const auto found = labelToLink.find(label);
      if (found != labelToLink.end())
         link = found->second;
      else
         Zq::Print::instance().write(Zq::Rejected,
                                     "ZqManipulatorLink::setLinkReference(): could not find link "
                                     "with label %s for referencing.  Using self.\n",
                                     label.c_str());
   }
   setReferenceLink(link);
   for (ZqManipulatorLink& child : m_childLinks)
      child.setLinkReferences(labelToLink);
   return true;
}

bool ZqManipulatorLink::useReferencesWherePossible(const LinkPointerVector& links)
{
   const auto end =
      links.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(linkIndex(), links.size()));
   // A link that is a reference already compares by what it refers to.
   const ZqShapeContainer& own = shapeContainer();
   const auto candidate =
      std::find_if(links.begin(), end,
                   [&](const ZqManipulatorLink* link)
                   {
                      return link != nullptr &&
                             !link->linkReferenceDescription().isShapeReferenced() &&
                             link->shapeContainer() == own;
                   });
   bool any = candidate != end;
   if (any)
   {
      m_linkReferenceDescription.setReferencedLinkLabel((*candidate)->linkLabel());
      m_linkReferenceDescription.setIsShapeReferenced(true);
      m_shapes = ZqLinkShapes();
      m_referenceLink = *candidate;
      shapesChange();
   }
   for (ZqManipulatorLink& child : m_childLinks)
      any = child.useReferencesWherePossible(links) || any;
   return any;
}

bool ZqManipulatorLink::removeLinkReferences()
{
   if (!m_linkReferenceDescription.isShapeReferenced())
      return true;
   const bool tookOver = m_referenceLink != nullptr;
   const ZqShapeContainer shared = shapeContainer();
   m_linkReferenceDescription = ZqLinkReferenceDescription();
   m_referenceLink = this;
   if (tookOver)
      setShapeContainer(shared);
   return tookOver;
}

void ZqManipulatorLink::apply(const ZqLinkEdit& edit)
{
   applyLabels(edit);
   applyIndices(edit);
   if (m_union)
      applyToUnion(edit);
   for (ZqManipulatorLink& child : m_childLinks)
      child.apply(edit);
}

/// What this link alone holds by label.
void ZqManipulatorLink::applyLabels(const ZqLinkEdit& edit)
{
   m_springProperties.apply(edit);
   m_damperProperties.apply(edit);
   if (const ZqLinkRestatement& restatement = edit.restatement(m_linkLabel);
       restatement.isOfJoint())
   {
      m_jointActuator.apply(restatement);
      if (restatement.jointSign < 0.0)
      {
         m_springProperties.turnTorque();
         m_damperProperties.turnTorque();
         std::swap(m_upperLimitConstraint, m_lowerLimitConstraint);
      }
      updateDefaultLimitConstraints();
      modelChanges();
   }
   if (m_linkReferenceDescription.isShapeReferenced())
   {
      ZqString referenced = m_linkReferenceDescription.referencedLinkLabel();
      if (edit.apply(referenced))
         m_linkReferenceDescription.setReferencedLinkLabel(referenced);
      else
         m_linkReferenceDescription = ZqLinkReferenceDescription();
   }
}

/// What this link alone holds by index.
void ZqManipulatorLink::applyIndices(const ZqLinkEdit& edit)
{
   m_upperLimitConstraint.apply(edit);
   m_lowerLimitConstraint.apply(edit);
}

/// The link and its subtree belong to no manipulator any more.
void ZqManipulatorLink::leaveManipulator() noexcept
{
   m_manipulator = nullptr;
   for (ZqManipulatorLink& child : m_childLinks)
      child.leaveManipulator();
}
