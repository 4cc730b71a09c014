#include "zqManipulator/simulation/attachments/ZqManipulatorAttachmentMap.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/simulation/attachments/ZqOldManipulatorAttachmentMap.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"
#include "zqManipulator/tools/labels/ZqModelScaling.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

template class ZqXmlClass<ZqManipulatorAttachmentMap>;

template class ZqXmlClass<ZqManipulatorAttachmentChange>;
template class ZqXmlVectorType<ZqManipulatorAttachmentChange>;

namespace
{
constexpr ZqReal sameOffset = 1e-6; // m, and of a quaternion's components

ZqU32 levelsOf(const ZqManipulatorAttachmentNode& node)
{
   ZqU32 below = 0;
   for (const ZqManipulatorAttachmentNode& child : node.childNodes())
      below = std::max(below, levelsOf(child));
   return below + 1;
}

ZqU32 levelsDownTo(const ZqManipulatorAttachmentNode* node)
{
   ZqU32 levels = 0;
   for (; node != nullptr; node = node->parentNode())
      ++levels;
   return levels;
}
} // namespace

bool ZqManipulatorAttachmentMap::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   std::unordered_set<ZqU32> seen;
   ZqManipulatorAttachmentNode::removeNodes(
      m_baseNodes,
      [&](const ZqManipulatorAttachmentNode& node)
      {
         const ZqU32 index = node.manipulatorIndex();
         // The system is no manipulator, and merged maps may each have trees on it.
         const bool isSystem =
            index == ZqManipulatorAttachmentNode::noManipulator && node.parentNode() == nullptr;
         if (isSystem || seen.insert(index).second)
            return false;
         ZqString remark = "manipulator ";
         remark += std::to_string(index);
         remark += " occurs again; the node is left out, with all that hangs on it";
         reader.remark(remark, "attachment-repaired");
         return true;
      });
   return succeeded;
}

std::vector<ZqU32> ZqManipulatorAttachmentMap::removeManipulatorsFrom(ZqU32 count)
{
   std::vector<ZqU32> removed;
   ZqManipulatorAttachmentNode::removeNodes(
      m_baseNodes,
      [&](const ZqManipulatorAttachmentNode& node)
      {
         const ZqU32 index = node.manipulatorIndex();
         if (index < count || index == ZqManipulatorAttachmentNode::noManipulator)
            return false;
         removed.push_back(index);
         return true;
      });
   if (!removed.empty())
      std::erase_if(m_baseNodes.vectorContainer(), [](const ZqManipulatorAttachmentNode& node)
                    { return node.childNodes().size() == 0; });
   return removed;
}

bool ZqManipulatorAttachmentMap::operator==(const ZqManipulatorAttachmentMap& other) const
{
   return m_baseNodes == other.m_baseNodes &&
          m_lastAttachmentChange == other.m_lastAttachmentChange;
}

void ZqManipulatorAttachmentMap::setBaseNodes(const BaseNodes& nodes)
{
   // Copied first, since they may be the children of a node of this map.
   BaseNodes copies(nodes);
   m_baseNodes = std::move(copies);
}

bool ZqManipulatorAttachmentMap::attachManipulator(ZqU32 manipulatorIndex,
                                                   ZqU32 baseManipulatorIndex,
                                                   const ZqString& linkLabel,
                                                   const ZqCoordinateSystemTransformation& offset,
                                                   const ZqString& name)
{
   if (manipulatorIndex == baseManipulatorIndex)
      return false;
   // Copied first: the arguments may be members of a node that is about to move.
   ZqManipulatorAttachmentChange change;
   change.setFromManipulatorAttach(manipulatorIndex, baseManipulatorIndex, linkLabel, offset, name);

   ZqManipulatorAttachmentNode* present = findNode(manipulatorIndex);
   ZqManipulatorAttachmentNode* oldParent = present == nullptr ? nullptr : present->m_parentNode;
   if (oldParent != nullptr && oldParent->manipulatorIndex() == baseManipulatorIndex)
   {
      if (present->linkLabel() == linkLabel && present->offset().approxEq(offset, sameOffset))
         return false;
      present->setLinkLabel(change.baseLinkLabel());
      present->setOffset(change.offset());
      record(change);
      return true;
   }

   ZqManipulatorAttachmentNode node;
   if (present != nullptr)
      node = *present;
   node.setName(name);
   node.setManipulatorIndex(manipulatorIndex);
   node.setOffset(offset);
   node.setLinkLabel(linkLabel);

   const ZqManipulatorAttachmentNode* base = findNode(baseManipulatorIndex);
   if (base != nullptr && !base->checkAddNode(node))
      return false;
   if (std::max(levelsDownTo(base), 1U) + levelsOf(node) > maxLevels)
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqManipulatorAttachmentMap::attachManipulator(): manipulator %u "
                                  "would make a chain of more than %u attached manipulators\n",
                                  manipulatorIndex, maxLevels);
      return false;
   }

   if (oldParent != nullptr)
      oldParent->removeNode(manipulatorIndex);
   else if (present != nullptr)
      removeManipulator(manipulatorIndex);
   // The removal may have moved the base.
   if (ZqManipulatorAttachmentNode* movedBase = findNode(baseManipulatorIndex))
      movedBase->addNode(node, false);
   else
   {
      ZqManipulatorAttachmentNode newBase;
      newBase.setManipulatorIndex(baseManipulatorIndex);
      if (!newBase.addNode(node, true))
         return false;
      m_baseNodes.pushBack(newBase);
   }
   record(change);
   return true;
}

bool ZqManipulatorAttachmentMap::removeManipulatorAttachment(ZqU32 manipulatorIndex)
{
   ZqManipulatorAttachmentNode removed;
   for (ZqU32 i = 0; i < m_baseNodes.size(); ++i)
   {
      if (!m_baseNodes[i].removeNode(manipulatorIndex, removed))
         continue;
      if (m_baseNodes[i].childNodes().size() == 0)
         m_baseNodes.erase(i);
      if (removed.childNodes().size() > 0)
      {
         removed.setParentNode(nullptr);
         m_baseNodes.pushBack(removed);
      }
      ZqManipulatorAttachmentChange change;
      change.setFromManipulatorDetach(manipulatorIndex);
      record(change);
      return true;
   }
   return false;
}

bool ZqManipulatorAttachmentMap::removeManipulator(ZqU32 manipulatorIndex)
{
   bool removed = false;
   for (ZqU32 i = 0; i < m_baseNodes.size(); ++i)
      if (m_baseNodes[i].manipulatorIndex() == manipulatorIndex)
         removed = m_baseNodes.erase(i);
      else if (m_baseNodes[i].removeNode(manipulatorIndex))
      {
         removed = true;
         if (m_baseNodes[i].childNodes().size() == 0)
            m_baseNodes.erase(i);
      }
   return removed;
}

bool ZqManipulatorAttachmentMap::getDependentManipulatorInfo(
   ZqU32 manipulatorIndex, ZqU32& baseManipulatorIndex, ZqString& linkLabel,
   ZqCoordinateSystemTransformation& offset) const
{
   const ZqManipulatorAttachmentNode* node = findNode(manipulatorIndex);
   if (node == nullptr || node->parentNode() == nullptr)
      return false;
   baseManipulatorIndex = node->parentNode()->manipulatorIndex();
   if (baseManipulatorIndex == ZqManipulatorAttachmentNode::noManipulator)
      return false;
   linkLabel = node->linkLabel();
   offset = node->offset();
   return true;
}

bool ZqManipulatorAttachmentMap::getDependentManipulatorsAndOffsets(
   ZqU32 manipulatorIndex, const ZqString& linkLabel, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& offsets) const
{
   indices.clear();
   offsets.clear();
   if (const ZqManipulatorAttachmentNode* node = findNode(manipulatorIndex))
      for (const ZqManipulatorAttachmentNode& child : node->childNodes())
         if (child.linkLabel() == linkLabel)
         {
            indices.push_back(child.manipulatorIndex());
            offsets.push_back(child.offset());
         }
   return !indices.empty();
}

std::vector<ZqU32> ZqManipulatorAttachmentMap::dependentManipulators(ZqU32 manipulatorIndex) const
{
   std::vector<ZqU32> indices;
   if (const ZqManipulatorAttachmentNode* node = findNode(manipulatorIndex))
      node->getDependentManipulators(indices);
   return indices;
}

bool ZqManipulatorAttachmentMap::calculateBaseLocations(
   ZqU32 manipulatorIndex, const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
   ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& positions) const
{
   indices.clear();
   positions.clear();
   const ZqManipulatorAttachmentNode* node = findNode(manipulatorIndex);
   return node == nullptr ||
          node->calculateBaseLocations(manipulators, activeStates, indices, positions);
}

bool ZqManipulatorAttachmentMap::calculateBaseLocationsAndVelocities(
   const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
   ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& positions,
   std::vector<ZqGeneralMotion>& velocities) const
{
   indices.clear();
   positions.clear();
   velocities.clear();
   for (const ZqManipulatorAttachmentNode& node : m_baseNodes)
      node.calculateBaseLocationsAndVelocities(manipulators, activeStates, indices, positions,
                                               velocities);
   return m_baseNodes.size() > 0;
}

bool ZqManipulatorAttachmentMap::calculateBaseLocationsAndVelocities(
   ZqU32 manipulatorIndex, const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
   ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& positions,
   std::vector<ZqGeneralMotion>& velocities) const
{
   indices.clear();
   positions.clear();
   velocities.clear();
   const ZqManipulatorAttachmentNode* node = findNode(manipulatorIndex);
   return node == nullptr || node->calculateBaseLocationsAndVelocities(
                                manipulators, activeStates, indices, positions, velocities);
}

bool ZqManipulatorAttachmentMap::calculateBaseMotions(
   const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
   ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& positions,
   std::vector<ZqGeneralMotion>& velocities) const
{
   indices.clear();
   positions.clear();
   velocities.clear();
   for (const ZqManipulatorAttachmentNode& node : m_baseNodes)
      node.calculateBaseMotions(manipulators, activeStates, indices, positions, velocities);
   return m_baseNodes.size() > 0;
}

ZqU32 ZqManipulatorAttachmentMap::baseManipulatorIndex(ZqU32 manipulatorIndex) const
{
   const ZqManipulatorAttachmentNode* node = findNode(manipulatorIndex);
   if (node == nullptr)
      return manipulatorIndex;
   while (node->parentNode() != nullptr &&
          node->parentNode()->manipulatorIndex() != ZqManipulatorAttachmentNode::noManipulator)
      node = node->parentNode();
   return node->manipulatorIndex();
}

void ZqManipulatorAttachmentMap::clear()
{
   m_baseNodes.clear();
   m_lastAttachmentChange = ZqManipulatorAttachmentChange();
   m_attachmentChangeVector.clear();
}

void ZqManipulatorAttachmentMap::shiftManipulatorIndices(ZqU32 shift)
{
   for (ZqManipulatorAttachmentNode& node : m_baseNodes)
      node.shiftManipulatorIndices(shift);
}

void ZqManipulatorAttachmentMap::deleteManipulatorAndShift(ZqU32 manipulatorIndex)
{
   removeManipulator(manipulatorIndex);
   for (ZqManipulatorAttachmentNode& node : m_baseNodes)
      node.decreaseIndexGreaterThan(manipulatorIndex);
   ZqModelEdit edit;
   edit.setManipulators(ZqRenumbering::removed(manipulatorIndex, 1));
   applyToChanges(edit);
}

bool ZqManipulatorAttachmentMap::mergeWith(const ZqManipulatorAttachmentMap& other)
{
   m_baseNodes.append(other.m_baseNodes);
   return true;
}

void ZqManipulatorAttachmentMap::convertFromOldFormat(const ZqOldManipulatorAttachmentMap& oldMap)
{
   clear();
   ZqU32 base = 0;
   ZqString linkLabel;
   ZqCoordinateSystemTransformation offset;
   for (const auto& entry : oldMap.mapContainer())
      if (oldMap.getDependentManipulatorInfo(entry.first, base, linkLabel, offset))
         attachManipulator(entry.first, base, linkLabel, offset, ZqString());
}

const ZqManipulatorAttachmentNode*
ZqManipulatorAttachmentMap::findBaseNode(ZqU32 manipulatorIndex) const
{
   const auto found = std::find_if(m_baseNodes.begin(), m_baseNodes.end(),
                                   [&](const ZqManipulatorAttachmentNode& node)
                                   { return node.manipulatorIndex() == manipulatorIndex; });
   return found == m_baseNodes.end() ? nullptr : &*found;
}

ZqManipulatorAttachmentNode* ZqManipulatorAttachmentMap::findNode(ZqU32 manipulatorIndex)
{
   return const_cast<ZqManipulatorAttachmentNode*>(std::as_const(*this).findNode(manipulatorIndex));
}

const ZqManipulatorAttachmentNode*
ZqManipulatorAttachmentMap::findNode(ZqU32 manipulatorIndex) const
{
   for (const ZqManipulatorAttachmentNode& node : m_baseNodes)
   {
      if (node.manipulatorIndex() == manipulatorIndex)
         return &node;
      if (const auto* found = node.findNode(manipulatorIndex))
         return found;
   }
   return nullptr;
}

void ZqManipulatorAttachmentMap::record(const ZqManipulatorAttachmentChange& change)
{
   m_lastAttachmentChange = change;
   m_attachmentChangeVector.pushBack(change);
}

void ZqManipulatorAttachmentMap::apply(const ZqModelEdit& edit)
{
   std::vector<ZqManipulatorAttachmentNode> trees = std::move(m_baseNodes.vectorContainer());
   m_baseNodes.clear();
   std::vector<ZqManipulatorAttachmentNode::Moved> moved;
   std::vector<ZqManipulatorAttachmentNode> roots;
   for (ZqManipulatorAttachmentNode& tree : trees)
      if (ZqManipulatorAttachmentNode::apply(edit, tree, roots, moved))
         roots.push_back(std::move(tree));
   // What hung on a link that came to another manipulator hangs on that one, as far as a forest allows.
   m_baseNodes.vectorContainer() = std::move(roots);
   for (const auto& [host, node] : moved)
   {
      if (findNode(host) == nullptr)
      {
         ZqManipulatorAttachmentNode base;
         base.setManipulatorIndex(host);
         m_baseNodes.pushBack(base);
      }
      if (!findNode(host)->addNode(node, true))
         m_baseNodes.pushBack(node);
   }
   std::erase_if(m_baseNodes.vectorContainer(), [](const ZqManipulatorAttachmentNode& node)
                 { return node.childNodes().size() == 0; });
   applyToChanges(edit);
}

void ZqManipulatorAttachmentMap::applyToChanges(const ZqModelEdit& edit)
{
   std::erase_if(m_attachmentChangeVector.vectorContainer(),
                 [&](ZqManipulatorAttachmentChange& change) { return !change.apply(edit); });
   if (m_lastAttachmentChange != ZqManipulatorAttachmentChange() &&
       !m_lastAttachmentChange.apply(edit))
      m_lastAttachmentChange = ZqManipulatorAttachmentChange();
}

void ZqManipulatorAttachmentMap::scaleBy(const ZqModelScaling& scaling)
{
   if (ZqManipulatorAttachmentNode* carrier = findNode(scaling.manipulator))
      for (ZqManipulatorAttachmentNode& carried : carrier->m_childNodes)
         carried.m_offset.scaleTranslationBy(scaling.factor);
   const auto scale = [&](ZqManipulatorAttachmentChange& change)
   {
      if (change.isAttach() && change.baseManipulatorIndex() == scaling.manipulator)
      {
         ZqCoordinateSystemTransformation offset = change.offset();
         offset.scaleTranslationBy(scaling.factor);
         change.setFromManipulatorAttach(change.manipulatorIndex(), change.baseManipulatorIndex(),
                                         ZqString(change.baseLinkLabel()), offset,
                                         ZqString(change.name()));
      }
   };
   scale(m_lastAttachmentChange);
   for (ZqManipulatorAttachmentChange& change : m_attachmentChangeVector)
      scale(change);
}
