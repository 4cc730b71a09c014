#include "zqManipulator/simulation/attachments/ZqManipulatorAttachmentNode.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>
#include <utility>

template class ZqXmlClass<ZqManipulatorAttachmentNode>;

template class ZqXmlVectorType<ZqManipulatorAttachmentNode>;

ZqManipulatorAttachmentNode::ZqManipulatorAttachmentNode(const ZqManipulatorAttachmentNode& other)
   : ZqXmlClass(other), m_name(other.m_name), m_linkLabel(other.m_linkLabel),
     m_manipulatorIndex(other.m_manipulatorIndex), m_offset(other.m_offset),
     m_childNodes(other.m_childNodes)
{
   setParentOfChildren();
}

ZqManipulatorAttachmentNode::ZqManipulatorAttachmentNode(
   ZqManipulatorAttachmentNode&& other) noexcept
   // The base has nothing to move. NOLINTNEXTLINE(performance-move-constructor-init)
   : ZqXmlClass(other), m_name(std::move(other.m_name)), m_linkLabel(std::move(other.m_linkLabel)),
     m_manipulatorIndex(other.m_manipulatorIndex), m_offset(other.m_offset),
     m_childNodes(std::move(other.m_childNodes)), m_parentNode(other.m_parentNode)
{
   setParentOfChildren();
}

ZqManipulatorAttachmentNode&
ZqManipulatorAttachmentNode::operator=(const ZqManipulatorAttachmentNode& other)
{
   if (this != &other)
      *this = ZqManipulatorAttachmentNode(other);
   return *this;
}

ZqManipulatorAttachmentNode&
ZqManipulatorAttachmentNode::operator=(ZqManipulatorAttachmentNode&& other) noexcept
{
   if (this == &other)
      return *this;
   // Taken out first: the other node may stand below this one, and would be destroyed with its siblings.
   ZqManipulatorAttachmentNode taken(std::move(other));
   ZqXmlClass::operator=(taken);
   m_name = std::move(taken.m_name);
   m_linkLabel = std::move(taken.m_linkLabel);
   m_manipulatorIndex = taken.m_manipulatorIndex;
   m_offset = taken.m_offset;
   m_childNodes = std::move(taken.m_childNodes);
   setParentOfChildren();
   return *this;
}

bool ZqManipulatorAttachmentNode::operator==(const ZqManipulatorAttachmentNode& other) const
{
   return m_name == other.m_name && m_linkLabel == other.m_linkLabel &&
          m_manipulatorIndex == other.m_manipulatorIndex && m_offset == other.m_offset &&
          m_childNodes == other.m_childNodes;
}

bool ZqManipulatorAttachmentNode::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   setParentOfChildren();
   return succeeded;
}

void ZqManipulatorAttachmentNode::setChildNodes(const ChildNodes& nodes)
{
   // Copied first, since they may be the children of a descendant.
   ChildNodes children(nodes);
   m_childNodes = std::move(children);
   setParentOfChildren();
}

bool ZqManipulatorAttachmentNode::checkAddNode(const ZqManipulatorAttachmentNode& node) const
{
   const ZqU32 index = node.m_manipulatorIndex;
   if (index == m_manipulatorIndex || findNode(index) != nullptr ||
       node.findNode(m_manipulatorIndex) != nullptr)
      return false;
   for (const auto* ancestor = m_parentNode; ancestor != nullptr; ancestor = ancestor->m_parentNode)
      if (ancestor->m_manipulatorIndex == index)
         return false;
   return true;
}

bool ZqManipulatorAttachmentNode::addNode(const ZqManipulatorAttachmentNode& node, bool check)
{
   if (check && !checkAddNode(node))
      return false;
   m_childNodes.pushBack(node);
   m_childNodes.vectorContainer().back().m_parentNode = this;
   return true;
}

bool ZqManipulatorAttachmentNode::removeNode(ZqU32 manipulatorIndex)
{
   ZqManipulatorAttachmentNode removedNode;
   return removeNode(manipulatorIndex, removedNode);
}

bool ZqManipulatorAttachmentNode::removeNode(ZqU32 manipulatorIndex,
                                             ZqManipulatorAttachmentNode& removedNode)
{
   for (ZqU32 i = 0; i < m_childNodes.size(); ++i)
   {
      ZqManipulatorAttachmentNode& child = m_childNodes[i];
      if (child.m_manipulatorIndex == manipulatorIndex)
      {
         if (child.m_childNodes.size() > 0 && &removedNode != &child)
         {
            removedNode = std::move(child);
            removedNode.m_parentNode = this;
         }
         return m_childNodes.erase(i);
      }
      if (child.removeNode(manipulatorIndex, removedNode))
         return true;
   }
   return false;
}

ZqManipulatorAttachmentNode* ZqManipulatorAttachmentNode::findNode(ZqU32 manipulatorIndex)
{
   return const_cast<ZqManipulatorAttachmentNode*>(std::as_const(*this).findNode(manipulatorIndex));
}

const ZqManipulatorAttachmentNode*
ZqManipulatorAttachmentNode::findNode(ZqU32 manipulatorIndex) const
{
   for (const ZqManipulatorAttachmentNode& child : m_childNodes)
   {
      if (child.m_manipulatorIndex == manipulatorIndex)
         return &child;
      if (const auto* found = child.findNode(manipulatorIndex))
         return found;
   }
   return nullptr;
}

void ZqManipulatorAttachmentNode::getDependentManipulators(std::vector<ZqU32>& indices) const
{
   for (const ZqManipulatorAttachmentNode& child : m_childNodes)
   {
      indices.push_back(child.m_manipulatorIndex);
      child.getDependentManipulators(indices);
   }
}

void ZqManipulatorAttachmentNode::shiftManipulatorIndices(ZqU32 shift)
{
   if (m_manipulatorIndex != noManipulator)
      m_manipulatorIndex += shift;
   for (ZqManipulatorAttachmentNode& child : m_childNodes)
      child.shiftManipulatorIndices(shift);
}

void ZqManipulatorAttachmentNode::decreaseIndexGreaterThan(ZqU32 manipulatorIndex)
{
   if (m_manipulatorIndex != noManipulator && m_manipulatorIndex > manipulatorIndex)
      --m_manipulatorIndex;
   for (ZqManipulatorAttachmentNode& child : m_childNodes)
      child.decreaseIndexGreaterThan(manipulatorIndex);
}

void ZqManipulatorAttachmentNode::setParentOfChildren() noexcept
{
   for (ZqManipulatorAttachmentNode& child : m_childNodes)
      child.m_parentNode = this;
}

void ZqManipulatorAttachmentNode::removeNodes(
   ChildNodes& nodes, const std::function<bool(const ZqManipulatorAttachmentNode&)>& goes)
{
   std::vector<ZqManipulatorAttachmentNode>& list = nodes.vectorContainer();
   std::size_t kept = 0;
   for (ZqManipulatorAttachmentNode& node : list)
   {
      if (goes(node))
         continue;
      removeNodes(node.m_childNodes, goes);
      if (&node != &list[kept])
         list[kept] = std::move(node);
      ++kept;
   }
   list.erase(list.begin() + static_cast<std::ptrdiff_t>(kept), list.end());
}

bool ZqManipulatorAttachmentNode::apply(const ZqModelEdit& edit, ZqManipulatorAttachmentNode& node,
                                        std::vector<ZqManipulatorAttachmentNode>& roots,
                                        std::vector<Moved>& moved)
{
   const ZqU32 oldIndex = node.m_manipulatorIndex;
   const bool isSystem = oldIndex == noManipulator;
   if (!isSystem)
      node.m_manipulatorIndex = edit.manipulator(oldIndex);
   std::vector<ZqManipulatorAttachmentNode> children =
      std::move(node.m_childNodes.vectorContainer());
   node.m_childNodes.clear();
   for (ZqManipulatorAttachmentNode& child : children)
   {
      if (!apply(edit, child, roots, moved))
         continue;
      const auto carrier = isSystem
                              ? std::optional(ZqModelEdit::LinkName(oldIndex, child.m_linkLabel))
                              : edit.name(oldIndex, child.m_linkLabel);
      child.m_parentNode = nullptr;
      if (carrier && !isSystem)
         child.m_offset = edit.restatement(oldIndex, child.m_linkLabel).T * child.m_offset;
      if (carrier)
         child.m_linkLabel = carrier->second;
      if (!carrier)
         roots.push_back(std::move(child));
      else if (carrier->first != node.m_manipulatorIndex)
         moved.push_back({carrier->first, std::move(child)});
      else
         node.m_childNodes.vectorContainer().push_back(std::move(child));
   }
   node.setParentOfChildren();
   return isSystem || node.m_manipulatorIndex != noManipulator;
}
