#pragma once

#include "zqManipulator/state/ZqSystemActiveBoundingBoxState.h"

#include <boost/unordered_map.hpp>

#include <cstdint>

/// The distance of two links, and for which places of their manipulators it is right.
class ZqLinkProximityData
{
public:
   static constexpr ZqU32 never = 0xFFFFFFFF;

   virtual ~ZqLinkProximityData() = default;
   virtual const ZqReal& distance() const { return m_distance; }
   virtual void setDistance(const ZqReal& distance) { m_distance = distance; }
   virtual void setUpdateTime1(const ZqU32& time) { m_updateTime1 = time; }
   virtual const ZqU32& updateTime1() const { return m_updateTime1; }
   virtual void setUpdateTime2(const ZqU32& time) { m_updateTime2 = time; }
   virtual const ZqU32& updateTime2() const { return m_updateTime2; }

private:
   ZqReal m_distance = 0.0;
   ZqU32 m_updateTime1 = never;
   ZqU32 m_updateTime2 = never;
};

/// Remembers how far the links of one manipulator are from others, so that a pair that rests is not
/// asked for twice. Each manipulator has a counter of its moves: a distance counts as long as
/// neither has moved.
class ZqManipulatorLinkProximityState
{
public:
   virtual ~ZqManipulatorLinkProximityState() = default;

   /// For queries with a margin.
   virtual ZqSystemActiveBoundingBoxState& systemActiveBoundingBoxState() { return m_boxes; }
   virtual const ZqSystemActiveBoundingBoxState& systemActiveBoundingBoxState() const
   {
      return m_boxes;
   }
   virtual void setSystemActiveBoundingBoxState(const ZqSystemActiveBoundingBoxState& state)
   {
      m_boxes = state;
   }
   /// The record of two links, in either order; made at first need.
   virtual ZqLinkProximityData& getData(const ZqLinkKey& a, const ZqLinkKey& b);
   virtual const ZqLinkProximityData& getData(const ZqLinkKey& a, const ZqLinkKey& b) const;
   /// Stores a distance that is right as long as neither manipulator moves. True.
   virtual bool setDistance(const ZqLinkKey& a, const ZqLinkKey& b, const ZqReal& distance);
   virtual const ZqReal& getDistance(const ZqLinkKey& a, const ZqLinkKey& b) const;
   /// Has all manipulators move.
   virtual void invalidateAll();
   /// Has one manipulator move.
   virtual void invalidate(const ZqU32& manipulatorIndex);
   virtual bool isValid(const ZqLinkKey& a, const ZqLinkKey& b) const;
   virtual void setValid(const ZqLinkKey& a, const ZqLinkKey& b);
   /// For a manipulator of a system. False, and no change, when there is none of the index.
   virtual bool initialize(const ZqU32& manipulatorIndex, const ZqManipulatorSystem& system);
   virtual void setIsInitialized(bool isInitialized) { m_isInitialized = isInitialized; }
   virtual bool isInitialized() const { return m_isInitialized; }

   /// For those who number what a manipulator's places and shapes are: has it move when the number
   /// is another than the last one.
   void follow(ZqU32 manipulatorIndex, std::uint64_t version);

private:
   struct Hash
   {
      std::size_t operator()(const ZqLinkProximityKey& key) const noexcept;
   };

   bool isKnown(const ZqLinkKey& key) const { return key.manipulatorIndex() < m_moves.size(); }
   /// 0 for a manipulator that it does not know.
   ZqU32 movesOf(const ZqLinkKey& key) const
   {
      return isKnown(key) ? m_moves[key.manipulatorIndex()] : 0;
   }
   void forgetUnknown();
   void countMove(ZqU32 manipulatorIndex);

   mutable boost::unordered_map<ZqLinkProximityKey, ZqLinkProximityData, Hash> m_data{16};
   ZqSystemActiveBoundingBoxState m_boxes;
   std::vector<ZqU32> m_moves;            ///< by manipulator
   std::vector<std::uint64_t> m_versions; ///< by manipulator: what it followed last
   bool m_hasUnknown = false; ///< whether it has distances of manipulators that it does not know
   bool m_isInitialized = false;
};
