#pragma once

#include "zqManipulator/foundation/algebra/ZqOrientation.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

#include <iosfwd>

class ZqGeneralMotion;

/// A rigid transformation that maps x to R x + p; the identity by default.
///
/// A frame B in a frame A is the transformation X_AB that maps coordinates in B to coordinates in A:
/// R is the orientation of B and p its origin, in A. Products chain outward: a * b maps x to
/// a * (b * x).
///
/// `mode` tells which parts may be other than trivial; with it products and mappings skip work. It is
/// derived from the numbers, so it takes no part in equality and is not written.
class ZqCoordinateSystemTransformation : public ZqXmlClass<ZqCoordinateSystemTransformation>
{
public:
   /// The lowest bit says that there is no translation, the next that there is no rotation.
   enum Mode : ZqU32
   {
      RotationAndTranslation = 0,
      RotationOnly = 1,
      TranslationOnly = 2,
      NoChange = 3
   };

   constexpr ZqCoordinateSystemTransformation() noexcept = default;
   ZqCoordinateSystemTransformation(const ZqVector& translation) noexcept
      : m_mode(TranslationOnly), m_translation(translation)
   {
   }
   ZqCoordinateSystemTransformation(const ZqOrientation& orientation) noexcept
      : m_mode(RotationOnly), m_orientation(orientation)
   {
   }
   ZqCoordinateSystemTransformation(const ZqVector& translation,
                                    const ZqOrientation& orientation) noexcept
      : m_mode(RotationAndTranslation), m_translation(translation), m_orientation(orientation)
   {
   }

   static const ZqToken& classToken() { return ZqFoundCommon::ZqCoordinateSystemTransformToken; }
   static constexpr const char* documentation =
      "a frame in another one: a point p becomes orientation p + translation";
   template <class This = ZqCoordinateSystemTransformation>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_translation, &ZqXml::ZqTranslationToken, "x y z of the origin (m)"},
         ZqComponent{&This::m_orientation, &ZqXml::ZqOrientationToken,
                     "w x y z of the unit quaternion"}};
   }
   /// An orientation that is not of unit length is kept as it is, with a remark; what is called a
   /// rotation then also scales, and `inverse` is none.
   bool read(ZqXmlReader& reader) override;

   /// A shared identity.
   static const ZqCoordinateSystemTransformation& identity();
   static ZqCoordinateSystemTransformation nullObject() noexcept { return {}; }
   void setToIdentity() noexcept
   {
      m_mode = NoChange;
      m_translation = ZqVector();
      m_orientation = ZqOrientation();
   }

   ZqU32 mode() const noexcept { return m_mode; }
   const ZqVector& translation() const noexcept { return m_translation; }
   const ZqOrientation& orientation() const noexcept { return m_orientation; }
   void setTranslation(const ZqVector& translation) noexcept
   {
      m_translation = translation;
      m_mode &= ~RotationOnly;
   }
   void setOrientation(const ZqOrientation& orientation) noexcept
   {
      m_orientation = orientation;
      m_mode &= ~TranslationOnly;
   }

   ZqCoordinateSystemTransformation
   operator*(const ZqCoordinateSystemTransformation& other) const noexcept
   {
      return {m_mode & other.m_mode, mapped(other), turned(other)};
   }
   ZqCoordinateSystemTransformation&
   operator*=(const ZqCoordinateSystemTransformation& other) noexcept
   {
      // The other one may be this one: nothing is stored before all is computed.
      const ZqVector translation = mapped(other);
      const ZqOrientation orientation = turned(other);
      m_mode &= other.m_mode;
      m_translation = translation;
      m_orientation = orientation;
      return *this;
   }
   /// Becomes the product of two, of which it may be either: in place, where an assignment would copy.
   void setToProduct(const ZqCoordinateSystemTransformation& a,
                     const ZqCoordinateSystemTransformation& b) noexcept
   {
      m_translation = a.mapped(b);
      m_orientation = a.turned(b);
      m_mode = a.m_mode & b.m_mode;
   }
   /// Becomes a copy, number by number: a value that has just been computed is at hand so at once,
   /// whereas wider moves would wait for its numbers to reach the cache.
   void setByNumbers(const ZqCoordinateSystemTransformation& other) noexcept
   {
      const ZqVector& p = other.m_translation;
      const ZqOrientation& q = other.m_orientation;
      m_translation = ZqVector(p.x(), p.y(), p.z());
      m_orientation = ZqOrientation(q.w(), q.x(), q.y(), q.z());
      m_mode = other.m_mode;
   }
   /// The same of a translation and an orientation that need not be told from none.
   void setByNumbers(const ZqVector& p, const ZqOrientation& q) noexcept
   {
      m_translation = ZqVector(p.x(), p.y(), p.z());
      m_orientation = ZqOrientation(q.w(), q.x(), q.y(), q.z());
      m_mode = RotationAndTranslation;
   }
   /// This times a translation.
   void outboardTransformBy(const ZqVector& translation) noexcept
   {
      m_translation = operator*(translation);
      m_mode &= ~RotationOnly;
   }
   /// This times the transformation of the two.
   void outboardTransformBy(const ZqVector& translation, const ZqOrientation& orientation) noexcept
   {
      m_translation = operator*(translation);
      m_orientation = hasRotation() ? m_orientation * orientation : orientation;
      m_mode = RotationAndTranslation;
   }
   ZqCoordinateSystemTransformation inverse() const noexcept
   {
      const ZqOrientation inverse = m_orientation.inverse();
      return {m_mode, hasRotation() ? -(inverse * m_translation) : -m_translation, inverse};
   }
   ZqCoordinateSystemTransformation& invert() noexcept { return *this = inverse(); }

   /// The mapped point.
   ZqVector operator*(const ZqVector& point) const noexcept
   {
      const ZqVector turned = hasRotation() ? m_orientation * point : point;
      return hasTranslation() ? turned + m_translation : turned;
   }
   void transform(const ZqVector& in, ZqVector& out) const noexcept { out = operator*(in); }

   /// Scales the translation; what is trivial stays so.
   void scaleTranslationBy(ZqReal scale) noexcept { m_translation *= scale; }

   /// Exact, and of the numbers alone.
   bool operator==(const ZqCoordinateSystemTransformation& other) const noexcept
   {
      return m_translation == other.m_translation && m_orientation == other.m_orientation;
   }
   /// True when no component of the translation or of the quaternion differs by more than the
   /// tolerance; the sign of a quaternion makes no difference.
   bool approxEq(const ZqCoordinateSystemTransformation& other, ZqReal tolerance) const noexcept
   {
      return m_translation.approxEq(other.m_translation, tolerance) &&
             m_orientation.approxEq(other.m_orientation, tolerance);
   }

   /// Becomes the frame between two: the translation linear, the orientation along the shorter arc
   /// at a constant rate. False, and no change, for a fraction outside [0, 1].
   ZqBoolean interpolation(const ZqCoordinateSystemTransformation& from,
                           const ZqCoordinateSystemTransformation& to, ZqReal fraction) noexcept;
   /// The same for any fraction: one outside [0, 1] goes on at the same rates.
   void setToFraction(const ZqCoordinateSystemTransformation& from,
                      const ZqCoordinateSystemTransformation& to, ZqReal fraction) noexcept;
   /// Advances the frame over dt seconds by a velocity in the axes of the reference frame: the linear
   /// part (m/s) is that of the frame's origin, the angular part (rad/s) is constant, and the
   /// orientation is advanced exactly, by the exponential map.
   void integrateReferenceFrameVelocity(const ZqGeneralMotion& velocity, ZqReal dt) noexcept;

   /// Seven doubles of the machine: the translation, then the quaternion. Reading answers false, and
   /// changes nothing, when the stream gives less, a number is not finite, or the quaternion is zero.
   ZqBoolean readBin(std::istream& stream);
   ZqBoolean writeBin(std::ostream& stream) const;

   friend std::ostream& operator<<(std::ostream& stream, const ZqCoordinateSystemTransformation& X);

private:
   ZqCoordinateSystemTransformation(ZqU32 mode, const ZqVector& translation,
                                    const ZqOrientation& orientation) noexcept
      : m_mode(mode), m_translation(translation), m_orientation(orientation)
   {
   }
   bool hasTranslation() const noexcept { return (m_mode & RotationOnly) == 0; }
   bool hasRotation() const noexcept { return (m_mode & TranslationOnly) == 0; }
   void setModeFromNumbers() noexcept;
   /// The translation and the orientation of this times the other.
   ZqVector mapped(const ZqCoordinateSystemTransformation& other) const noexcept
   {
      return other.hasTranslation() ? operator*(other.m_translation) : m_translation;
   }
   ZqOrientation turned(const ZqCoordinateSystemTransformation& other) const noexcept
   {
      if (!other.hasRotation())
         return m_orientation;
      return hasRotation() ? m_orientation * other.m_orientation : other.m_orientation;
   }

   ZqU32 m_mode = NoChange;
   ZqVector m_translation;
   ZqOrientation m_orientation;
};

extern template class ZqXmlClass<ZqCoordinateSystemTransformation>;
