#pragma once

#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/proximity/ZqIntervalIntersectionProcessor.h"
#include "zqManipulator/foundation/proximity/ZqShapeKeys.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/state/ZqManipulatorStamp.h"

#include <span>
#include <utility>
#include <vector>

class ZqIndividualManipulator;
class ZqManipulatorActivePositionState;
class ZqManipulatorActiveState;
class ZqManipulatorLink;
class ZqManipulatorSystem;
template <class T>
class ZqXmlVectorType;

/// The broad phase of queries of proximity: a box along the axes of the system around the shape of
/// each link, and the pairs of boxes that overlap.
///
/// Boxes have numbers: those of the manipulators in order, for each its links by index and then its
/// base.
///
/// With a tolerance t (m) the list has every two links whose shapes come within t of each other.
/// The boxes are larger by t on every side, and a box stays where it is until its link has moved so
/// far that a point of the shape may have moved by more than t. Links without a shape are in no
/// pair.
///
/// What it has follows from the state and the model, and is looked after at each list: a state that
/// was changed or exchanged in any way, or another model, cost only what moved or a new set of
/// boxes.
class ZqSystemActiveBoundingBoxState : public ZqXmlClass<ZqSystemActiveBoundingBoxState>
{
public:
   using ActiveStates = ZqXmlVectorType<ZqManipulatorActiveState>;
   using Pairs = std::vector<std::pair<ZqLinkKey, ZqLinkKey>>;

   static const ZqToken& classToken() { return ZqManip::ZqSystemActiveBoundingBoxStateToken; }
   static constexpr const char* documentation = "boxes around the links; documents hold none";
   /// It has no value of its own.
   bool operator==(const ZqSystemActiveBoundingBoxState&) const { return true; }

   /// The manipulator and the link of a box; the key stays as it is when there is no such box in
   /// the system.
   virtual void intervalIDtoShapeKeyID(const ZqU32& intervalID, const ZqManipulatorSystem& system,
                                       ZqShapeKey& key) const;
   /// The inverse; the number stays as it is when there is no such link.
   virtual void shapeKeyIDToIntervalID(const ZqShapeKey& key, const ZqManipulatorSystem& system,
                                       ZqU32& intervalID) const;
   /// Makes all boxes anew. Nothing, for no active states.
   virtual void buildAABBDatabase(const ZqManipulatorSystem& system, ActiveStates& activeStates);
   virtual bool isInitialized() const { return m_isInitialized; }
   virtual void setIsInitialized(bool isInitialized) { m_isInitialized = isInitialized; }
   /// Has the next list find the pairs anew.
   virtual void invalidateAll() { m_isSorted = false; }
   /// Moves the box of a link that has moved. Nothing, when there is none.
   virtual void updateLinkPosition(const ZqManipulatorLink& link,
                                   const ZqIndividualManipulator& manipulator,
                                   ZqManipulatorActivePositionState& activePositionState);
   /// The same for all links.
   virtual void updateBoxPositions(const ZqManipulatorSystem& system, ActiveStates& activeStates);
   virtual void sortDatabase();
   /// In m; anything but a number above zero stands for zero.
   virtual void setTolerance(const ZqReal& tolerance);
   virtual const ZqReal& tolerance() const { return m_tolerance; }
   /// The box of a link or, for `ZqBaseLinkIndex`, of the base, larger by the tolerance. A link
   /// without a shape answers the box before its own. False, and no change, for a link that is not
   /// there.
   virtual bool getAABB(ZqU32 manipulatorIndex, ZqU32 linkIndex,
                        ZqAxisAlignedBoundingBox& box) const;

   /// The pairs of links whose boxes overlap, in the order of the boxes. The reference holds until
   /// the next list.
   const Pairs& intersectionList(const ZqManipulatorSystem& system, ActiveStates& activeStates);
   /// Those in which a manipulator takes part, as places in the last list, in its order.
   std::span<const ZqU32> intersectionsOf(ZqU32 manipulatorIndex) const;
   /// By what a box has to be larger (m) so that rounding loses no shape that touches it.
   static ZqReal slackOf(const ZqAxisAlignedBoundingBox& box);
   /// Becomes a new one, with the same tolerance.
   void reset();

private:
   /// A box stands for a shape that is placed there.
   struct Interval
   {
      ZqLinkKey key;
      bool hasShape = false;
      ZqReal reach = 0.0; ///< of the shape, from the origin of the link's frame
      ZqVector origin;
      ZqOrientation axes;
   };
   struct Range
   {
      ZqU32 first, linkCount;
   };

   ZqU32 intervalOf(ZqU32 manipulatorIndex, ZqU32 linkIndex) const;
   bool isOf(const ZqManipulatorSystem& system, const ActiveStates& activeStates) const;
   void addInterval(const ZqManipulatorLink* link, ZqLinkKey key,
                    ZqManipulatorActivePositionState& activePositionState);
   void place(ZqU32 interval, const ZqCoordinateSystemTransformation& frame,
              const ZqAxisAlignedBoundingBox& box);
   bool isCovered(const Interval& interval, const ZqCoordinateSystemTransformation& frame) const;
   ZqAxisAlignedBoundingBox searchBox(ZqU32 interval) const;
   void takePairs();

   ZqIntervalIntersectionProcessor m_processor;
   std::vector<Range> m_ranges; ///< by manipulator
   std::vector<Interval> m_intervals;
   std::vector<ZqAxisAlignedBoundingBox> m_boxes;
   std::vector<ZqManipulatorStamp> m_stamps; ///< by manipulator: what the boxes are right for
   Pairs m_pairs;
   std::vector<ZqU32> m_pairStarts, m_pairPlaces; ///< by manipulator
   ZqReal m_tolerance = 0.0;
   bool m_isInitialized = false;
   bool m_isSorted = false; ///< whether the pairs are those of the boxes
};

extern template class ZqXmlClass<ZqSystemActiveBoundingBoxState>;
