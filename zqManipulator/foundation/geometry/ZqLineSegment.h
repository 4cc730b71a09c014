#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

/// The straight line between two points (m), which are both the origin by default. A plain value.
class ZqLineSegment
{
public:
   constexpr ZqLineSegment() noexcept = default;
   constexpr ZqLineSegment(const ZqVector& endpoint0, const ZqVector& endpoint1) noexcept
      : m_endpoint0(endpoint0), m_endpoint1(endpoint1)
   {
   }
   /// A shared segment from the origin to the origin.
   static const ZqLineSegment& nullObject() noexcept
   {
      static constexpr ZqLineSegment segment;
      return segment;
   }
   constexpr bool operator==(const ZqLineSegment&) const noexcept = default;

   constexpr const ZqVector& endpoint0() const noexcept { return m_endpoint0; }
   constexpr void setEndpoint0(const ZqVector& endpoint) noexcept { m_endpoint0 = endpoint; }
   constexpr const ZqVector& endpoint1() const noexcept { return m_endpoint1; }
   constexpr void setEndpoint1(const ZqVector& endpoint) noexcept { m_endpoint1 = endpoint; }
   constexpr ZqVector center() const noexcept { return m_endpoint0 * 0.5 + m_endpoint1 * 0.5; }
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
