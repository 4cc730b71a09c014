#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <memory>
#include <utility>
#include <vector>

class ZqAxisAlignedBoundingBox;
namespace zqConvex
{
class BroadPhase;
}

/// The broad phase: tells which of many moving boxes overlap. The id of a box is its place in the
/// list that was set. All boxes stand in one frame (m).
///
/// The pairs are exactly those that a test of all boxes with each other finds: boxes that touch
/// overlap, empty ones and those with a NaN overlap nothing, and unbounded ones are like others.
/// They are sorted by the lesser id and then by the greater one, and depend on the boxes alone, not
/// on how these came there.
///
/// Each box stands in a larger one, and the pairs of those are kept. A box that stays in its larger
/// one costs a comparison; one that leaves it gets a new one, which leads the way that it goes, and
/// looks for its pairs in a tree of the larger boxes. The tree keeps its shape and is refitted
/// until it has become loose: time is near linear in what moves, and where all boxes jump it is
/// that of building the tree, n log n, and of the pairs. Nothing is allocated once sizes have
/// settled.
class ZqIntervalIntersectionProcessor
{
public:
   using Pair = std::pair<unsigned, unsigned>;

   ZqIntervalIntersectionProcessor() noexcept;
   ZqIntervalIntersectionProcessor(const ZqIntervalIntersectionProcessor& other);
   ZqIntervalIntersectionProcessor& operator=(const ZqIntervalIntersectionProcessor& other);
   ~ZqIntervalIntersectionProcessor();

   /// Takes these boxes in place of those that it has. As many as before are taken as new places of
   /// the same. False, with a message, when there are more than 2^30.
   bool setBoxes(const std::vector<ZqAxisAlignedBoundingBox>& boxes);
   /// Takes a new place or size of a box. False, with a message, when there is no such box.
   bool updateBox(unsigned id, const ZqAxisAlignedBoundingBox& box);
   /// Brings the pairs up to date with the boxes.
   void sort();
   /// The pairs of ids (i, j), i < j, of boxes that overlap; it sorts first if boxes have changed.
   const std::vector<Pair>& overlaps();

   /// The number of boxes.
   unsigned intervalCount() const noexcept;
   /// The box of an id, an empty one as the default. False, with a message, when there is none.
   bool getBox(unsigned id, ZqAxisAlignedBoundingBox& box) const;

private:
   std::unique_ptr<zqConvex::BroadPhase> m_broadPhase; ///< null until boxes are set
};
