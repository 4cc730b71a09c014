#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <compare>

/// Names a link of a system.
class ZqLinkKey
{
public:
   constexpr ZqLinkKey() noexcept = default;
   constexpr ZqLinkKey(ZqU32 manipulatorIndex, ZqU32 linkIndex) noexcept
      : m_manipulatorIndex(manipulatorIndex), m_linkIndex(linkIndex)
   {
   }
   friend constexpr auto operator<=>(const ZqLinkKey&, const ZqLinkKey&) noexcept = default;

   constexpr ZqU32 manipulatorIndex() const noexcept { return m_manipulatorIndex; }
   constexpr void setManipulatorIndex(ZqU32 index) noexcept { m_manipulatorIndex = index; }
   /// `ZqBaseLinkIndex` names the root link.
   constexpr ZqU32 linkIndex() const noexcept { return m_linkIndex; }
   constexpr void setLinkIndex(ZqU32 index) noexcept { m_linkIndex = index; }
   /// A number to hash by: keys that differ have different ones.
   constexpr std::uint64_t guesstimate() const noexcept
   {
      return std::uint64_t{m_manipulatorIndex} << 32 | m_linkIndex;
   }

private:
   ZqU32 m_manipulatorIndex = 0;
   ZqU32 m_linkIndex = 0;
};

/// Names a shape of a link: its number among the shapes of the link that are no unions, 0 where the shape of
/// the link is meant as a whole.
class ZqShapeKey
{
public:
   constexpr ZqShapeKey() noexcept = default;
   constexpr ZqShapeKey(ZqU32 manipulatorIndex, ZqU32 linkIndex, ZqU32 shapeIndex) noexcept
      : m_link(manipulatorIndex, linkIndex), m_shapeIndex(shapeIndex)
   {
   }
   constexpr ZqShapeKey(const ZqLinkKey& link, ZqU32 shapeIndex) noexcept
      : m_link(link), m_shapeIndex(shapeIndex)
   {
   }
   friend constexpr auto operator<=>(const ZqShapeKey&, const ZqShapeKey&) noexcept = default;

   constexpr const ZqLinkKey& linkKey() const noexcept { return m_link; }
   constexpr ZqU32 manipulatorIndex() const noexcept { return m_link.manipulatorIndex(); }
   constexpr void setManipulatorIndex(ZqU32 index) noexcept { m_link.setManipulatorIndex(index); }
   constexpr ZqU32 linkIndex() const noexcept { return m_link.linkIndex(); }
   constexpr void setLinkIndex(ZqU32 index) noexcept { m_link.setLinkIndex(index); }
   constexpr ZqU32 shapeIndex() const noexcept { return m_shapeIndex; }
   constexpr void setShapeIndex(ZqU32 index) noexcept { m_shapeIndex = index; }

private:
   ZqLinkKey m_link;
   ZqU32 m_shapeIndex = 0;
};

/// Two links; a pair equals itself with its sides exchanged.
class ZqLinkProximityKey
{
public:
   constexpr ZqLinkProximityKey() noexcept = default;
   constexpr ZqLinkProximityKey(const ZqLinkKey& first, const ZqLinkKey& second) noexcept
      : m_first(first), m_second(second)
   {
   }
   friend constexpr bool operator==(const ZqLinkProximityKey& a,
                                    const ZqLinkProximityKey& b) noexcept
   {
      return (a.m_first == b.m_first && a.m_second == b.m_second) ||
             (a.m_first == b.m_second && a.m_second == b.m_first);
   }

   constexpr const ZqLinkKey& first() const noexcept { return m_first; }
   constexpr const ZqLinkKey& second() const noexcept { return m_second; }

private:
   ZqLinkKey m_first;
   ZqLinkKey m_second;
};

/// Two shapes, in their order.
class ZqShapeProximityKey
{
public:
   constexpr ZqShapeProximityKey() noexcept = default;
   constexpr ZqShapeProximityKey(const ZqShapeKey& first, const ZqShapeKey& second) noexcept
      : m_first(first), m_second(second)
   {
   }
   friend constexpr auto operator<=>(const ZqShapeProximityKey&,
                                     const ZqShapeProximityKey&) noexcept = default;

   constexpr const ZqShapeKey& first() const noexcept { return m_first; }
   constexpr const ZqShapeKey& second() const noexcept { return m_second; }

private:
   ZqShapeKey m_first;
   ZqShapeKey m_second;
};

/// Names the manipulator whose cached state something belongs to.
class ZqManipulatorStateCacheKey
{
public:
   ZqManipulatorStateCacheKey() = default;
   explicit ZqManipulatorStateCacheKey(ZqU32 manipID) : m_manipID(manipID) {}
   ZqManipulatorStateCacheKey(const ZqManipulatorStateCacheKey&) = default;
   ZqManipulatorStateCacheKey& operator=(const ZqManipulatorStateCacheKey&) = default;
   virtual ~ZqManipulatorStateCacheKey() = default;
   bool operator==(const ZqManipulatorStateCacheKey& other) const
   {
      return m_manipID == other.m_manipID;
   }

   virtual ZqU32 manipID() const { return m_manipID; }
   virtual void setManipID(ZqU32 id) { m_manipID = id; }

private:
   ZqU32 m_manipID = 0;
};

/// Names a link in the same way.
class ZqLinkStateCacheKey : public ZqManipulatorStateCacheKey
{
public:
   ZqLinkStateCacheKey() = default;
   ZqLinkStateCacheKey(ZqU32 manipID, ZqU32 linkID)
      : ZqManipulatorStateCacheKey(manipID), m_linkID(linkID)
   {
   }
   bool operator==(const ZqLinkStateCacheKey&) const = default;

   virtual ZqU32 linkID() const { return m_linkID; }
   virtual void setLinkID(ZqU32 id) { m_linkID = id; }

private:
   ZqU32 m_linkID = 0;
};

/// Names a shape in the same way.
class ZqShapeStateCacheKey : public ZqLinkStateCacheKey
{
public:
   ZqShapeStateCacheKey() = default;
   ZqShapeStateCacheKey(ZqU32 manipID, ZqU32 linkID, ZqU32 shapeID)
      : ZqLinkStateCacheKey(manipID, linkID), m_shapeID(shapeID)
   {
   }
   bool operator==(const ZqShapeStateCacheKey&) const = default;
   /// Names no shape.
   static ZqShapeStateCacheKey nullObject()
   {
      return {ZqNoLinkIndex, ZqNoLinkIndex, ZqNoLinkIndex};
   }

   virtual ZqU32 shapeID() const { return m_shapeID; }
   virtual void setShapeID(ZqU32 id) { m_shapeID = id; }

private:
   ZqU32 m_shapeID = 0;
};
