#pragma once

#include "zqManipulator/foundation/proximity/ZqBBTreeHeuristic.h"

#include <utility>

/// A tree of boxes: a node holds the boxes of its children, and a leaf one of the boxes that the
/// tree was made of, with a pair of indices that says whose it is (of a manipulator and of a link,
/// say). A plain value; empty by default.
///
/// All boxes stand in one frame (m). Empty ones, those with a NaN among them, are left out.
class ZqBoxTreeNode
{
public:
   using IndexPair = std::pair<unsigned, unsigned>;

   ZqBoxTreeNode() = default;
   /// A tree over the boxes, each with its pair of indices, where a node has up to `branching`
   /// children, at least two. Empty, with a message, when there are not as many pairs as boxes.
   ZqBoxTreeNode(const std::vector<ZqAxisAlignedBoundingBox>& boxes,
                 const std::vector<IndexPair>& indexPairs, unsigned branching,
                 const ZqBBTreeHeuristic& heuristic);
   bool operator==(const ZqBoxTreeNode&) const = default;

   bool isEmpty() const noexcept { return m_box.isEmpty(); }
   /// What holds all below.
   const ZqAxisAlignedBoundingBox& box() const noexcept { return m_box; }
   /// None for a leaf.
   const std::vector<ZqBoxTreeNode>& children() const noexcept { return m_children; }
   bool isLeaf() const noexcept { return m_children.empty() && !isEmpty(); }
   /// Of a leaf; zeros else.
   const IndexPair& indexPair() const noexcept { return m_indexPair; }

   /// Appends the pairs of indices of all leaves whose boxes overlap the given one, in the tree's
   /// order.
   void findOverlaps(const ZqAxisAlignedBoundingBox& box, std::vector<IndexPair>& found) const;

private:
   void build(const std::vector<ZqAxisAlignedBoundingBox>& boxes,
              const std::vector<IndexPair>& indexPairs, unsigned branching,
              const ZqBBTreeHeuristic& heuristic, std::span<unsigned> indices);

   ZqAxisAlignedBoundingBox m_box;
   std::vector<ZqBoxTreeNode> m_children;
   IndexPair m_indexPair{0, 0};
};
