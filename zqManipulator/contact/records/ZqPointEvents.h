#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/geometry/ZqShapePointEvent.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

// Where something met a shape: each of these records tells one more of shape, link, manipulator and place.

/// What met a shape of a link.
class ZqLinkPointEvent : public ZqXmlClass<ZqLinkPointEvent, ZqShapePointEvent>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkPointEventToken; }
   static constexpr const char* documentation = "what met a shape of a link";
   template <class This = ZqLinkPointEvent>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_shapeID, &ZqManip::ZqShapeIdToken,
                                    "index of the shape among those of the link"}};
   }
   bool operator==(const ZqLinkPointEvent&) const = default;

   virtual const ZqU32& shapeID() const { return m_shapeID; }
   virtual void setShapeID(ZqU32 index) { m_shapeID = index; }

private:
   ZqU32 m_shapeID = 0;
};

/// What met a link of a manipulator.
class ZqManipulatorPointEvent : public ZqXmlClass<ZqManipulatorPointEvent, ZqLinkPointEvent>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorPointEventToken; }
   static constexpr const char* documentation = "what met a link of a manipulator";
   template <class This = ZqManipulatorPointEvent>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_linkID, &ZqManip::ZqLinkIdToken,
                                    "index of the link, 4294967294 for the base"}};
   }
   bool operator==(const ZqManipulatorPointEvent&) const = default;

   virtual const ZqU32& linkID() const { return m_linkID; }
   virtual void setLinkID(ZqU32 index) { m_linkID = index; }

private:
   ZqU32 m_linkID = 0;
};

/// What met a manipulator of a system, and where.
class ZqSystemPointEvent : public ZqXmlClass<ZqSystemPointEvent, ZqManipulatorPointEvent>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqSystemPointEventToken; }
   static constexpr const char* documentation = "what met a manipulator, and where";
   template <class This = ZqSystemPointEvent>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_contactPoint, &ZqManip::ZqContactPointToken, "where (m)"},
         ZqComponent{&This::m_manipulatorID, &ZqManip::ZqManipulatorIdToken,
                     "index of the manipulator"}};
   }
   bool operator==(const ZqSystemPointEvent&) const = default;

   virtual const ZqVector& contactPoint() const { return m_contactPoint; }
   virtual void setContactPoint(const ZqVector& point) { m_contactPoint = point; }
   virtual const ZqU32& manipulatorID() const { return m_manipulatorID; }
   virtual void setManipulatorID(ZqU32 index) { m_manipulatorID = index; }

private:
   ZqVector m_contactPoint;
   ZqU32 m_manipulatorID = 0;
};

extern template class ZqXmlClass<ZqLinkPointEvent, ZqShapePointEvent>;
extern template class ZqXmlClass<ZqManipulatorPointEvent, ZqLinkPointEvent>;
extern template class ZqXmlClass<ZqSystemPointEvent, ZqManipulatorPointEvent>;
