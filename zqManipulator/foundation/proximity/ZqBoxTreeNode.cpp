#include "zqManipulator/foundation/proximity/ZqBoxTreeNode.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

ZqBoxTreeNode::ZqBoxTreeNode(const std::vector<ZqAxisAlignedBoundingBox>& boxes,
                             const std::vector<IndexPair>& indexPairs, unsigned branching,
                             const ZqBBTreeHeuristic& heuristic)
{
   if (boxes.size() != indexPairs.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqBoxTreeNode: %zu boxes, but %zu pairs of indices\n",
                                  boxes.size(), indexPairs.size());
      return;
   }
   std::vector<unsigned> indices;
   for (unsigned i = 0; i < boxes.size(); ++i)
      if (!boxes[i].isEmpty())
         indices.push_back(i);
   if (!indices.empty())
      build(boxes, indexPairs, std::max(branching, 2U), heuristic, indices);
}

void ZqBoxTreeNode::build(const std::vector<ZqAxisAlignedBoundingBox>& boxes,
                          const std::vector<IndexPair>& indexPairs, unsigned branching,
                          const ZqBBTreeHeuristic& heuristic, std::span<unsigned> indices)
{
   if (indices.size() == 1)
   {
      m_box = boxes[indices.front()];
      m_indexPair = indexPairs[indices.front()];
      return;
   }
   heuristic.order(boxes, indices);
   const std::size_t count = std::min<std::size_t>(branching, indices.size());
   m_children.resize(count);
   for (std::size_t k = 0; k < count; ++k)
   {
      const std::size_t first = k * indices.size() / count;
      const std::size_t last = (k + 1) * indices.size() / count;
      m_children[k].build(boxes, indexPairs, branching, heuristic,
                          indices.subspan(first, last - first));
      m_box.expandToInclude(m_children[k].m_box);
   }
}

void ZqBoxTreeNode::findOverlaps(const ZqAxisAlignedBoundingBox& box,
                                 std::vector<IndexPair>& found) const
{
   if (!m_box.overlaps(box))
      return;
   if (isLeaf())
      found.push_back(m_indexPair);
   for (const ZqBoxTreeNode& child : m_children)
      child.findOverlaps(box, found);
}
