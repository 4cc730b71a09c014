#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

#include "zqManipulator/foundation/algebra/ZqValueText.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/spatial/ZqSpatialBinary.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <algorithm>
#include <cmath>
#include <ostream>

template class ZqXmlClass<ZqCoordinateSystemTransformation>;

namespace
{
/// How far the squared length of a quaternion in a document may be from one without a remark.
constexpr ZqReal unitTolerance = 1e-6;
} // namespace

bool ZqCoordinateSystemTransformation::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlCompoundType::read(reader);
   setModeFromNumbers();
   // The numbers are kept as they are, so that a document reads and writes exactly.
   const ZqOrientation& q = m_orientation;
   const ZqReal norm = q.w() * q.w() + q.vectorPart().magSquared();
   if (succeeded && !(std::abs(norm - 1.0) < unitTolerance))
      reader.remark("an orientation is not of unit length, so that it does not only rotate",
                    "odd-value");
   return succeeded;
}

const ZqCoordinateSystemTransformation& ZqCoordinateSystemTransformation::identity()
{
   // Never destroyed, so that it serves the destructors of static objects as well.
   static const auto& object = *new ZqCoordinateSystemTransformation();
   return object;
}

void ZqCoordinateSystemTransformation::setModeFromNumbers() noexcept
{
   m_mode = (m_translation == ZqVector() ? RotationOnly : 0U) |
            (m_orientation == ZqOrientation() ? TranslationOnly : 0U);
}

ZqBoolean
ZqCoordinateSystemTransformation::interpolation(const ZqCoordinateSystemTransformation& from,
                                                const ZqCoordinateSystemTransformation& to,
                                                ZqReal fraction) noexcept
{
   if (!(fraction >= 0.0 && fraction <= 1.0))
      return false;
   setToFraction(from, to, fraction);
   return true;
}

void ZqCoordinateSystemTransformation::setToFraction(const ZqCoordinateSystemTransformation& from,
                                                     const ZqCoordinateSystemTransformation& to,
                                                     ZqReal fraction) noexcept
{
   const ZqVector translation = from.m_translation * (1.0 - fraction) + to.m_translation * fraction;
   const ZqOrientation orientation =
      ZqOrientation::slerp(from.m_orientation, to.m_orientation, fraction);
   *this = ZqCoordinateSystemTransformation(from.m_mode & to.m_mode, translation, orientation);
}

void ZqCoordinateSystemTransformation::integrateReferenceFrameVelocity(
   const ZqGeneralMotion& velocity, ZqReal dt) noexcept
{
   m_translation += velocity.linear() * dt;
   m_orientation.integrateReferenceFrameAngularVelocity(velocity.angular(), dt);
   m_mode = RotationAndTranslation;
}

ZqBoolean ZqCoordinateSystemTransformation::readBin(std::istream& stream)
{
   std::array<ZqReal, 7> v;
   if (!ZqSpatialBinary::read(stream, v))
      return false;
   const bool finite = std::all_of(v.begin(), v.end(), [](ZqReal x) { return std::isfinite(x); });
   const bool isZero = std::all_of(v.begin() + 3, v.end(), [](ZqReal x) { return x == 0.0; });
   if (!finite || isZero)
      return false;
   m_translation = ZqVector(v[0], v[1], v[2]);
   m_orientation = ZqOrientation(v[3], v[4], v[5], v[6]);
   setModeFromNumbers();
   return true;
}

ZqBoolean ZqCoordinateSystemTransformation::writeBin(std::ostream& stream) const
{
   return ZqSpatialBinary::write(
      stream, std::array{m_translation[0], m_translation[1], m_translation[2], m_orientation[0],
                         m_orientation[1], m_orientation[2], m_orientation[3]});
}

std::ostream& operator<<(std::ostream& stream, const ZqCoordinateSystemTransformation& X)
{
   return stream << ZqValueText::record({{"translation", ZqValueText::tuple(X.translation())},
                                         {"orientation", ZqValueText::tuple(X.orientation())}});
}
