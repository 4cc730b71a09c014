#include "zqManipulator/foundation/geometry/ZqShape.h"

#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/geometry/ZqBoundingVolumeFit.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqConvex.h"
#include "zqManipulator/foundation/geometry/ZqConvexParts.h"
#include "zqManipulator/foundation/geometry/ZqSegmentCast.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <cmath>
#include <utility>

ZqShape::ZqShape(const ZqShape& other)
   : ZqXmlAbstractClass(other), m_identifier(other.m_identifier), m_surfaces(other.m_surfaces),
     m_volumes(other.m_volumes), m_isContactForceFree(other.m_isContactForceFree)
{
   linkVolumes();
}

ZqShape::ZqShape(ZqShape&& other) noexcept
   : ZqXmlAbstractClass(std::as_const(other)), m_identifier(std::move(other.m_identifier)),
     m_surfaces(std::move(other.m_surfaces)), m_volumes(std::move(other.m_volumes)),
     m_isContactForceFree(other.m_isContactForceFree)
{
   linkVolumes();
}

ZqShape& ZqShape::operator=(const ZqShape& other)
{
   if (this == &other)
      return *this;
   ZqXmlAbstractClass::operator=(other);
   m_identifier = other.m_identifier;
   m_surfaces = other.m_surfaces;
   m_isContactForceFree = other.m_isContactForceFree;
   // A volume of this shape's own stack is not to be deleted while it is copied from.
   if (m_trueShape == nullptr && other.m_trueShape != this)
   {
      m_volumes = other.m_volumes;
      linkVolumes();
   }
   return *this;
}

ZqShape& ZqShape::operator=(ZqShape&& other) noexcept
{
   if (this == &other)
      return *this;
   ZqXmlAbstractClass::operator=(std::as_const(other));
   m_identifier = std::move(other.m_identifier);
   m_surfaces = std::move(other.m_surfaces);
   m_isContactForceFree = other.m_isContactForceFree;
   if (m_trueShape == nullptr && other.m_trueShape == nullptr)
   {
      m_volumes = std::move(other.m_volumes);
      linkVolumes();
      other.linkVolumes();
   }
   else if (m_trueShape == nullptr && other.m_trueShape != this)
      m_volumes.clear();
   return *this;
}

bool ZqShape::operator==(const ZqShape& other) const
{
   return m_identifier == other.m_identifier && m_surfaces == other.m_surfaces &&
          m_isContactForceFree == other.m_isContactForceFree && m_volumes == other.m_volumes;
}

bool ZqShape::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlAbstractClass::read(reader);
   for (ZqShape* volume : m_volumes.vectorContainer())
      if (volume->m_volumes.size() > 0)
      {
         volume->m_volumes.clear();
         volume->remark(reader, "volumes around a bounding volume are left out");
      }
   if (m_volumes.size() > mostBoundingVolumes)
   {
      m_volumes.erase(mostBoundingVolumes, m_volumes.size());
      remark(reader, "of its bounding volumes only the first " +
                        std::to_string(mostBoundingVolumes) + " are taken");
   }
   linkVolumes();
   return succeeded;
}

bool ZqShape::readValueFromToken(const ZqToken& token, ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlAbstractClass::readValueFromToken(token, reader);
   if (token == ZqGeom::ZqShapeIdentifierToken)
      reader.nameElement("shape", m_identifier);
   return succeeded;
}

void ZqShape::remark(ZqXmlReader& reader, const ZqString& what) const
{
   ZqString name(token().localName());
   if (!m_identifier.empty())
      name += " \"" + Zq::oneLine(m_identifier) + '"';
   reader.remark(name + ": " + what, "shape-repaired");
}

void ZqShape::linkVolumes() noexcept
{
   ZqU32 level = 0;
   for (ZqShape* volume : m_volumes.vectorContainer())
   {
      volume->m_trueShape = this;
      volume->m_volumeLevel = ++level;
   }
}

const ZqShape* ZqShape::coarserVolume() const
{
   const auto& volumes = trueShape().m_volumes.vectorContainer();
   return m_volumeLevel < volumes.size() ? volumes[m_volumeLevel] : nullptr;
}

ZqShape* ZqShape::coarserVolume()
{
   return const_cast<ZqShape*>(std::as_const(*this).coarserVolume());
}

const ZqShape* ZqShape::finerVolume() const
{
   if (m_trueShape == nullptr)
      return nullptr;
   return m_volumeLevel > 1 ? m_trueShape->m_volumes.vectorContainer()[m_volumeLevel - 2]
                            : m_trueShape;
}

ZqShape* ZqShape::finerVolume()
{
   return const_cast<ZqShape*>(std::as_const(*this).finerVolume());
}

const ZqShape& ZqShape::coarsestVolume() const
{
   const ZqShape& whole = trueShape();
   const auto& volumes = whole.m_volumes.vectorContainer();
   return volumes.empty() ? whole : *volumes.back();
}

bool ZqShape::addBoundingVolume(const ZqShape& volume)
{
   ZqShape& whole = trueShape();
   if (whole.m_volumes.size() >= mostBoundingVolumes)
   {
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqShape::addBoundingVolume(): there are %u volumes around \"%s\" already.\n",
         mostBoundingVolumes, whole.m_identifier.c_str());
      return false;
   }
   whole.m_volumes.pushBack(volume);
   whole.m_volumes.vectorContainer().back()->m_volumes.clear();
   whole.linkVolumes();
   return true;
}

bool ZqShape::addBoundingVolume(ZqU32 type)
{
   const std::unique_ptr<ZqShape> volume = zqConvex::volumeAround(trueShape(), type);
   return volume != nullptr && addBoundingVolume(*volume);
}

ZqCapsule ZqShape::capsuleBoundingVolume() const
{
   return zqConvex::capsuleAround(*this).value_or(ZqCapsule());
}

ZqU32 ZqShape::deleteBoundingVolumes(ZqU32 type)
{
   ZqShape& whole = trueShape();
   ZqU32 count = 0;
   for (ZqU32 i = whole.m_volumes.size(); i-- > 0;)
      if (whole.m_volumes.vectorContainer()[i]->shapeType() == type)
      {
         whole.m_volumes.erase(i);
         ++count;
      }
   whole.linkVolumes();
   return count;
}

void ZqShape::deleteAllBoundingVolumes()
{
   trueShape().m_volumes.clear();
}

void ZqShape::capsuleApproximation(std::vector<ZqCapsule>& capsules,
                                   std::vector<ZqU32>& indices) const
{
   if (const std::optional<ZqCapsule> capsule = zqConvex::capsuleAround(*this))
   {
      capsules.push_back(*capsule);
      indices.push_back(0);
   }
}

const ZqString& ZqShape::surfaceKey(ZqU32 index, const ZqVector&) const
{
   static const auto& whole = *new ZqString("0");
   if (m_surfaces.size() == 0)
      return whole;
   const auto& surfaces = m_surfaces.mapContainer();
   const auto found = surfaces.find(std::to_string(index));
   return found != surfaces.end() ? found->first : whole;
}

bool ZqShape::surfaceData(const ZqString& key, const ZqDataMap*& data) const
{
   data = m_surfaces.lookupPointer(key);
   return data != nullptr;
}

const ZqShape* ZqShape::memberByIndex(ZqU32 index, ZqU32& counter) const
{
   return counter++ == index ? this : nullptr;
}

ZqReal ZqShape::volume() const
{
   if (const ZqConvex* whole = convex())
      return whole->volume();
   const ZqConvexParts* pieces = parts();
   return pieces != nullptr ? pieces->volume() : 0.0;
}

ZqAxisAlignedBoundingBox
ZqShape::axisAlignedBoundingBox(const ZqCoordinateSystemTransformation& X) const
{
   zqConvex::Vec3 lower;
   zqConvex::Vec3 upper;
   if (const ZqConvex* whole = convex())
      whole->box(zqConvex::pose(X), lower, upper);
   else if (const ZqConvexParts* pieces = parts())
      pieces->box(zqConvex::pose(X), lower, upper);
   else
      return {};
   return {zqConvex::vector(lower), zqConvex::vector(upper)};
}

bool ZqShape::intersectSegment(const ZqLineSegment& segment, ZqVector& point) const
{
   if (const ZqConvex* whole = convex())
      return zqConvex::castSegment(*whole, segment, point);
   const ZqConvexParts* pieces = parts();
   return pieces != nullptr && zqConvex::castSegment(*pieces, segment, point);
}

void ZqShape::transformBy(const ZqCoordinateSystemTransformation& X)
{
   transformSelfBy(X);
   for (ZqShape* volume : m_volumes.vectorContainer())
      volume->transformSelfBy(X);
}

void ZqShape::scaleBy(ZqReal scale)
{
   if (!(scale > 0.0 && std::isfinite(scale)))
   {
      Zq::Print::instance().write(Zq::Rejected, "ZqShape::scaleBy(): %g is no scale.\n", scale);
      return;
   }
   scaleSelfBy(scale);
   for (ZqShape* volume : m_volumes.vectorContainer())
      volume->scaleSelfBy(scale);
}

void ZqShape::truncateValues(ZqReal tolerance)
{
   if (!(tolerance > 0.0 && std::isfinite(tolerance)))
      return;
   truncateSelf(tolerance);
   for (ZqShape* volume : m_volumes.vectorContainer())
      volume->truncateSelf(tolerance);
}
