#pragma once

#include "zqManipulator/foundation/algebra/ZqOrientation.h"
#include "zqManipulator/foundation/algebra/ZqSpatialMatrix.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

#include <iosfwd>

/// The second moment of a mass distribution (inertia tensor, kg m^2) about a point, as a symmetric
/// matrix of six values. Zero by default.
class ZqSecondMoment : public ZqXmlClass<ZqSecondMoment>
{
public:
   /// The tolerance of `isValid`: room for the rounding of sums and rotations.
   static constexpr ZqReal validityTolerance = 1e-9;

   ZqSecondMoment() noexcept = default;
   /// The elements of the matrix; those off the diagonal are the negative products of inertia.
   ZqSecondMoment(ZqReal xx, ZqReal yy, ZqReal zz, ZqReal xy, ZqReal xz, ZqReal yz) noexcept
      : m_xx(xx), m_yy(yy), m_zz(zz), m_xy(xy), m_xz(xz), m_yz(yz)
   {
   }

   static const ZqToken& classToken() { return ZqFoundCommon::ZqSecondMomentToken; }
   static constexpr const char* documentation =
      "a symmetric 3 x 3 matrix: the second moment of a mass (kg m^2), with products of inertia as "
      "they stand in the matrix";
   template <class This = ZqSecondMoment>
   static constexpr auto components()
   {
      return std::tuple{
         ZqAttributeComponent(&This::m_xx, &ZqFoundCommon::ZqXxToken, "element xx of the matrix"),
         ZqAttributeComponent(&This::m_yy, &ZqFoundCommon::ZqYyToken, "element yy of the matrix"),
         ZqAttributeComponent(&This::m_zz, &ZqFoundCommon::ZqZzToken, "element zz of the matrix"),
         ZqAttributeComponent(&This::m_xy, &ZqFoundCommon::ZqXyToken, "element xy of the matrix"),
         ZqAttributeComponent(&This::m_xz, &ZqFoundCommon::ZqXzToken, "element xz of the matrix"),
         ZqAttributeComponent(&This::m_yz, &ZqFoundCommon::ZqYzToken, "element yz of the matrix")};
   }
   static ZqSecondMoment nullObject() noexcept { return {}; }
   /// The symmetric part of a matrix.
   static ZqSecondMoment fromMatrix(const ZqSpatialMatrix& matrix) noexcept;
   ZqSpatialMatrix matrix() const noexcept;

   ZqReal xx() const noexcept { return m_xx; }
   ZqReal yy() const noexcept { return m_yy; }
   ZqReal zz() const noexcept { return m_zz; }
   ZqReal xy() const noexcept { return m_xy; }
   ZqReal xz() const noexcept { return m_xz; }
   ZqReal yz() const noexcept { return m_yz; }

   ZqSecondMoment operator+(const ZqSecondMoment& b) const noexcept
   {
      return ZqSecondMoment(*this) += b;
   }
   ZqSecondMoment operator-(const ZqSecondMoment& b) const noexcept
   {
      return ZqSecondMoment(*this) -= b;
   }
   ZqSecondMoment& operator+=(const ZqSecondMoment& b) noexcept
   {
      m_xx += b.m_xx;
      m_yy += b.m_yy;
      m_zz += b.m_zz;
      m_xy += b.m_xy;
      m_xz += b.m_xz;
      m_yz += b.m_yz;
      return *this;
   }
   ZqSecondMoment& operator-=(const ZqSecondMoment& b) noexcept
   {
      m_xx -= b.m_xx;
      m_yy -= b.m_yy;
      m_zz -= b.m_zz;
      m_xy -= b.m_xy;
      m_xz -= b.m_xz;
      m_yz -= b.m_yz;
      return *this;
   }
   ZqSecondMoment& operator*=(ZqReal s) noexcept
   {
      m_xx *= s;
      m_yy *= s;
      m_zz *= s;
      m_xy *= s;
      m_xz *= s;
      m_yz *= s;
      return *this;
   }
   ZqVector operator*(const ZqVector& v) const noexcept
   {
      return {m_xx * v.x() + m_xy * v.y() + m_xz * v.z(),
              m_xy * v.x() + m_yy * v.y() + m_yz * v.z(),
              m_xz * v.x() + m_yz * v.y() + m_zz * v.z()};
   }

   bool operator==(const ZqSecondMoment&) const noexcept = default;
   bool approxEq(const ZqSecondMoment& b, ZqReal tolerance) const noexcept;

   /// The same moment in the frame that the orientation maps into: R I R^T.
   ZqSecondMoment rotated(const ZqOrientation& orientation) const noexcept;
   /// The principal moments, ascending, and the orientation of the principal axes in this frame: the
   /// moment is that of the diagonal matrix rotated by it. False when a value is not finite.
   ZqBoolean principalAxes(ZqVector& moments, ZqOrientation& axes) const;
   /// Whether a distribution of positive mass can have this moment: the principal moments are not
   /// negative, and none exceeds the sum of the other two, to within the tolerance times the
   /// largest of them.
   ZqBoolean isValid(ZqReal tolerance = validityTolerance) const;
   /// Moves to the nearest moment that a distribution of positive mass can have, which is this one
   /// when it is valid to within rounding: about its principal axes, spreads of mass that are
   /// negative become zero (Wensing, Kim and Slotine 2018, sec. III). A moment that is not finite
   /// becomes zero.
   virtual void makeValid();

   friend std::ostream& operator<<(std::ostream& stream, const ZqSecondMoment& moment);

private:
   ZqReal m_xx = 0.0;
   ZqReal m_yy = 0.0;
   ZqReal m_zz = 0.0;
   ZqReal m_xy = 0.0;
   ZqReal m_xz = 0.0;
   ZqReal m_yz = 0.0;
};

extern template class ZqXmlClass<ZqSecondMoment>;
