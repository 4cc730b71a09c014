#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

#include <limits>

class ZqCapsule;

/// The points between a lower and an upper corner (m), along the axes of whatever frame it is told
/// in; boundaries belong to it. Empty by default.
///
/// A box is empty when a lower bound is above the upper one or a bound is NaN. Bounds may be
/// infinite, as those of a half-space are.
class ZqAxisAlignedBoundingBox : public ZqXmlClass<ZqAxisAlignedBoundingBox>
{
public:
   ZqAxisAlignedBoundingBox() noexcept = default;
   ZqAxisAlignedBoundingBox(const ZqVector& lower, const ZqVector& upper) noexcept
      : m_lower(lower), m_upper(upper)
   {
   }

   static const ZqToken& classToken() { return ZqGeom::ZqAxisAlignedBoundingBoxToken; }
   static constexpr const char* documentation = "a box along the axes of its frame";
   template <class This = ZqAxisAlignedBoundingBox>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_lower, &ZqGeom::ZqLowerToken, "least x y z (m)"},
                        ZqComponent{&This::m_upper, &ZqGeom::ZqUpperToken, "greatest x y z (m)"}};
   }
   /// An empty box.
   static ZqAxisAlignedBoundingBox nullObject() noexcept { return {}; }
   bool operator==(const ZqAxisAlignedBoundingBox&) const = default;

   const ZqVector& lower() const noexcept { return m_lower; }
   void setLower(const ZqVector& lower) noexcept { m_lower = lower; }
   const ZqVector& upper() const noexcept { return m_upper; }
   void setUpper(const ZqVector& upper) noexcept { m_upper = upper; }

   bool isEmpty() const noexcept { return !isOrdered(m_lower, m_upper); }
   /// Midway between the corners; NaN along an axis without bounds and where an empty box has none.
   ZqVector center() const noexcept { return m_lower * 0.5 + m_upper * 0.5; }
   /// From the lower to the upper corner.
   ZqVector extents() const noexcept { return m_upper - m_lower; }

   /// Widens by the margin (m) on every side. Less than nothing narrows, down to an empty box; an
   /// empty box stays empty.
   void enlarge(ZqReal margin) noexcept { enlarge(ZqVector(margin, margin, margin)); }
   /// The same by a margin along each axis.
   void enlarge(const ZqVector& margins) noexcept
   {
      if (isEmpty())
         return;
      m_lower -= margins;
      m_upper += margins;
   }
   /// Becomes the least box that holds the capsule.
   void resize(const ZqCapsule& capsule) noexcept;

   /// Grows to the least box that holds both; a point with a NaN is left out.
   void expandToInclude(const ZqVector& point) noexcept { expandToInclude({point, point}); }
   void expandToInclude(const ZqAxisAlignedBoundingBox& box) noexcept
   {
      if (box.isEmpty())
         return;
      if (isEmpty())
         *this = box;
      for (std::size_t i = 0; i < 3; ++i)
      {
         m_lower[i] = std::min(m_lower[i], box.m_lower[i]);
         m_upper[i] = std::max(m_upper[i], box.m_upper[i]);
      }
   }

   /// Boxes that touch overlap; empty ones overlap nothing.
   bool overlaps(const ZqAxisAlignedBoundingBox& box) const noexcept
   {
      return isOrdered(m_lower, box.m_upper) && isOrdered(box.m_lower, m_upper) && !isEmpty() &&
             !box.isEmpty();
   }
   bool contains(const ZqVector& point) const noexcept
   {
      return isOrdered(m_lower, point) && isOrdered(point, m_upper);
   }
   /// An empty box is in each box.
   bool contains(const ZqAxisAlignedBoundingBox& box) const noexcept
   {
      return box.isEmpty() || (contains(box.m_lower) && contains(box.m_upper));
   }

private:
   /// Documents hold finite numbers only.
   static constexpr ZqReal greatest = std::numeric_limits<ZqReal>::max();
   static bool isOrdered(const ZqVector& a, const ZqVector& b) noexcept
   {
      return a.x() <= b.x() && a.y() <= b.y() && a.z() <= b.z();
   }

   ZqVector m_lower = ZqVector(greatest, greatest, greatest);
   ZqVector m_upper = ZqVector(-greatest, -greatest, -greatest);
};

extern template class ZqXmlClass<ZqAxisAlignedBoundingBox>;
