#pragma once

#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

/// Decides which boxes of a node of a `ZqBoxTreeNode` become neighbours: boxes are ordered, and the
/// children take equal shares one after the other. By default the order is that of the centers
/// along the axis on which they spread most. Other orders are those of derived classes.
class ZqBBTreeHeuristic
{
public:
   ZqBBTreeHeuristic() = default;
   ZqBBTreeHeuristic(const ZqBBTreeHeuristic&) = default;
   ZqBBTreeHeuristic& operator=(const ZqBBTreeHeuristic&) = default;
   virtual ~ZqBBTreeHeuristic() = default;

   /// Orders some of the boxes, which are told by their indices and none of which is empty.
   virtual void order(const std::vector<ZqAxisAlignedBoundingBox>& boxes,
                      std::span<unsigned> indices) const
   {
      ZqAxisAlignedBoundingBox centers;
      for (const unsigned i : indices)
         centers.expandToInclude(boxes[i].center());
      const ZqVector spread = centers.extents();
      const std::size_t axis = spread.x() >= spread.y() ? (spread.x() >= spread.z() ? 0 : 2)
                                                        : (spread.y() >= spread.z() ? 1 : 2);
      // Between opposite infinities there is no center.
      const auto place = [&](unsigned i)
      {
         const ZqReal center = boxes[i].center()[axis];
         return std::isnan(center) ? 0.0 : center;
      };
      std::sort(indices.begin(), indices.end(),
                [&](unsigned a, unsigned b)
                { return place(a) != place(b) ? place(a) < place(b) : a < b; });
   }
};
