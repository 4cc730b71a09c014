#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iosfwd>

/// Three components x, y, z of a point or direction; the zero vector by default. A plain value.
class ZqVector
{
public:
   constexpr ZqVector() noexcept : m_components{0.0, 0.0, 0.0} {}
   constexpr ZqVector(ZqReal x, ZqReal y, ZqReal z) noexcept : m_components{x, y, z} {}

   constexpr ZqReal x() const noexcept { return m_components[0]; }
   constexpr ZqReal y() const noexcept { return m_components[1]; }
   constexpr ZqReal z() const noexcept { return m_components[2]; }
   constexpr ZqReal& operator[](std::size_t i) noexcept { return m_components[i]; }
   constexpr const ZqReal& operator[](std::size_t i) const noexcept { return m_components[i]; }

   constexpr void set(ZqReal x, ZqReal y, ZqReal z) noexcept { *this = ZqVector(x, y, z); }
   constexpr void setX(ZqReal x) noexcept { m_components[0] = x; }
   constexpr void setY(ZqReal y) noexcept { m_components[1] = y; }
   constexpr void setZ(ZqReal z) noexcept { m_components[2] = z; }

   constexpr ZqVector operator+(const ZqVector& b) const noexcept
   {
      return {x() + b.x(), y() + b.y(), z() + b.z()};
   }
   constexpr ZqVector operator-(const ZqVector& b) const noexcept
   {
      return {x() - b.x(), y() - b.y(), z() - b.z()};
   }
   constexpr ZqVector operator-() const noexcept { return {-x(), -y(), -z()}; }
   constexpr ZqVector operator*(ZqReal s) const noexcept { return {x() * s, y() * s, z() * s}; }
   constexpr ZqVector operator/(ZqReal s) const noexcept { return {x() / s, y() / s, z() / s}; }
   friend constexpr ZqVector operator*(ZqReal s, const ZqVector& v) noexcept { return v * s; }

   constexpr ZqVector& operator+=(const ZqVector& b) noexcept { return *this = *this + b; }
   constexpr ZqVector& operator-=(const ZqVector& b) noexcept { return *this = *this - b; }
   constexpr ZqVector& operator*=(ZqReal s) noexcept { return *this = *this * s; }
   constexpr ZqVector& operator/=(ZqReal s) noexcept { return *this = *this / s; }

   constexpr bool operator==(const ZqVector& b) const noexcept
   {
      return x() == b.x() && y() == b.y() && z() == b.z();
   }

   constexpr ZqReal dot(const ZqVector& b) const noexcept
   {
      return x() * b.x() + y() * b.y() + z() * b.z();
   }
   /// This crossed with b, right-handed.
   constexpr ZqVector cross(const ZqVector& b) const noexcept
   {
      return {y() * b.z() - z() * b.y(), z() * b.x() - x() * b.z(), x() * b.y() - y() * b.x()};
   }
   constexpr ZqReal magSquared() const noexcept { return dot(*this); }
   /// The length; also right where its square would overflow or underflow.
   ZqReal mag() const noexcept
   {
      const ZqReal squared = magSquared();
      return isSafeSquare(squared) ? std::sqrt(squared) : scaledMag();
   }
   /// The vector of length 1 in this direction; the zero vector for the zero vector.
   ZqVector unitVector() const noexcept
   {
      const ZqReal squared = magSquared();
      return isSafeSquare(squared) ? *this * (1.0 / std::sqrt(squared)) : scaledUnitVector();
   }

   /// True when no component differs by more than the tolerance; NaN agrees with nothing.
   constexpr bool approxEq(const ZqVector& b, ZqReal tolerance) const noexcept
   {
      const ZqVector d = *this - b;
      return within(d.x(), tolerance) && within(d.y(), tolerance) && within(d.z(), tolerance);
   }

   static constexpr ZqVector xVector(ZqReal s) noexcept { return {s, 0.0, 0.0}; }
   static constexpr ZqVector yVector(ZqReal s) noexcept { return {0.0, s, 0.0}; }
   static constexpr ZqVector zVector(ZqReal s) noexcept { return {0.0, 0.0, s}; }
   static constexpr const ZqVector& zeroVector() noexcept;

   friend std::ostream& operator<<(std::ostream& stream, const ZqVector& vector);

private:
   static constexpr bool isSafeSquare(ZqReal squared) noexcept
   {
      return squared > 1e-280 && squared < 1e280;
   }
   static constexpr bool within(ZqReal difference, ZqReal tolerance) noexcept
   {
      return -tolerance <= difference && difference <= tolerance;
   }
   ZqReal largestComponent() const noexcept
   {
      return std::max({std::abs(x()), std::abs(y()), std::abs(z())});
   }
   /// Slow and rare: the components are divided by the largest of them before they are squared.
   ZqReal scaledMag() const noexcept
   {
      const ZqReal largest = largestComponent();
      if (!(largest > 0.0) || std::isinf(largest))
         return std::sqrt(magSquared());
      return largest * std::sqrt((*this / largest).magSquared());
   }
   ZqVector scaledUnitVector() const noexcept
   {
      const ZqReal largest = largestComponent();
      if (largest == 0.0 && magSquared() == 0.0)
         return {};
      const ZqVector scaled = *this / largest;
      return scaled / std::sqrt(scaled.magSquared());
   }

   std::array<ZqReal, 3> m_components;
};

namespace ZqVectorDetail
{
inline constexpr ZqVector zero;
}

constexpr const ZqVector& ZqVector::zeroVector() noexcept
{
   return ZqVectorDetail::zero;
}
