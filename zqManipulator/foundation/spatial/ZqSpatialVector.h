#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

/// What motions and forces share: two vectors that add, scale and compare as six numbers, the linear
/// part first.
template <class Derived>
class ZqSpatialVector : public ZqXmlClass<Derived>
{
public:
   constexpr ZqSpatialVector() noexcept = default;
   ZqSpatialVector(const ZqVector& first, const ZqVector& second) noexcept
      : m_first(first), m_second(second)
   {
   }

   /// A shared zero.
   static const Derived& nullObject()
   {
      // Never destroyed, so that it serves the destructors of static objects as well.
      static const Derived& object = *new Derived();
      return object;
   }

   Derived operator+(const Derived& b) const noexcept
   {
      return Derived(m_first + b.m_first, m_second + b.m_second);
   }
   Derived operator-(const Derived& b) const noexcept
   {
      return Derived(m_first - b.m_first, m_second - b.m_second);
   }
   Derived operator-() const noexcept { return Derived(-m_first, -m_second); }
   Derived operator*(ZqReal s) const noexcept { return Derived(m_first * s, m_second * s); }
   friend Derived operator*(ZqReal s, const Derived& v) noexcept { return v * s; }
   Derived& operator+=(const Derived& b) noexcept
   {
      m_first += b.m_first;
      m_second += b.m_second;
      return self();
   }
   Derived& operator-=(const Derived& b) noexcept
   {
      m_first -= b.m_first;
      m_second -= b.m_second;
      return self();
   }
   Derived& operator*=(ZqReal s) noexcept
   {
      m_first *= s;
      m_second *= s;
      return self();
   }

   bool operator==(const ZqSpatialVector& b) const noexcept
   {
      return m_first == b.m_first && m_second == b.m_second;
   }
   /// True when none of the six numbers differs by more than the tolerance.
   bool approxEq(const Derived& b, ZqReal tolerance) const noexcept
   {
      return m_first.approxEq(b.m_first, tolerance) && m_second.approxEq(b.m_second, tolerance);
   }

   /// Number i of 0 to 5, the linear three first.
   const ZqReal& operator[](std::size_t i) const noexcept
   {
      return i < 3 ? m_first[i] : m_second[i - 3];
   }
   void setScalarValue(std::size_t i, ZqReal value) noexcept
   {
      (i < 3 ? m_first[i] : m_second[i - 3]) = value;
   }
   /// From the first column of an array of at least six rows; a smaller one is rejected with a
   /// message and changes nothing.
   ZqBoolean copyFromArray(const ZqReArray& array);
   /// Into a 6 x 1 array.
   void copyToArray(ZqReArray& array) const;

   /// Turns both parts.
   void transformBy(const ZqOrientation& orientation) noexcept
   {
      const ZqRotationMatrix R(orientation);
      m_first = R * m_first;
      m_second = R * m_second;
   }
   friend Derived operator*(const ZqOrientation& orientation, const Derived& vector) noexcept
   {
      Derived result(vector);
      result.transformBy(orientation);
      return result;
   }
   friend Derived operator*(const ZqCoordinateSystemTransformation& X,
                            const Derived& vector) noexcept
   {
      Derived result(vector);
      result.transformBy(X);
      return result;
   }

   /// Six doubles of the machine, taken as they are. Reading answers false, and changes nothing, when
   /// the stream gives less; writing answers whether the stream took them.
   ZqBoolean readBin(std::istream& stream);
   ZqBoolean writeBin(std::ostream& stream) const;

protected:
   /// Turns both parts by R, then adds p x the part that is the same for every reference point to the
   /// part that is not.
   static void transformParts(const ZqCoordinateSystemTransformation& X, ZqVector& invariant,
                              ZqVector& atPoint) noexcept
   {
      if ((X.mode() & ZqCoordinateSystemTransformation::TranslationOnly) == 0)
      {
         const ZqRotationMatrix R(X.orientation());
         invariant = R * invariant;
         atPoint = R * atPoint;
      }
      if ((X.mode() & ZqCoordinateSystemTransformation::RotationOnly) == 0)
         atPoint += X.translation().cross(invariant);
   }

   ZqVector m_first;
   ZqVector m_second;

private:
   Derived& self() noexcept { return static_cast<Derived&>(*this); }
};
