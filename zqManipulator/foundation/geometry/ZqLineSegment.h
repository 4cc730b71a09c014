#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

/// The straight line between two points (m), which are both the origin by default.
class ZqLineSegment : public ZqXmlClass<ZqLineSegment>
{
public:
   constexpr ZqLineSegment() noexcept = default;
   ZqLineSegment(const ZqVector& endpoint0, const ZqVector& endpoint1) noexcept
      : m_endpoint0(endpoint0), m_endpoint1(endpoint1)
   {
   }

   static const ZqToken& classToken() { return ZqGeom::ZqLineSegmentToken; }
   static constexpr const char* documentation = "the straight line between two points";
   template <class This = ZqLineSegment>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_endpoint0, &ZqGeom::ZqEndpoint0Token, "x y z of the first end (m)"},
         ZqComponent{&This::m_endpoint1, &ZqGeom::ZqEndpoint1Token, "x y z of the other end (m)"}};
   }

   /// A shared segment from the origin to the origin.
   static const ZqLineSegment& nullObject() noexcept;
   bool operator==(const ZqLineSegment&) const noexcept = default;

   const ZqVector& endpoint0() const noexcept { return m_endpoint0; }
   void setEndpoint0(const ZqVector& endpoint) noexcept { m_endpoint0 = endpoint; }
   const ZqVector& endpoint1() const noexcept { return m_endpoint1; }
   void setEndpoint1(const ZqVector& endpoint) noexcept { m_endpoint1 = endpoint; }
   ZqVector center() const noexcept { return m_endpoint0 * 0.5 + m_endpoint1 * 0.5; }
   ZqReal length() const noexcept { return (m_endpoint1 - m_endpoint0).mag(); }

   /// Maps both endpoints.
   void transformBy(const ZqCoordinateSystemTransformation& X) noexcept
   {
      m_endpoint0 = X * m_endpoint0;
      m_endpoint1 = X * m_endpoint1;
   }

private:
   ZqVector m_endpoint0;
   ZqVector m_endpoint1;
};

extern template class ZqXmlClass<ZqLineSegment>;
