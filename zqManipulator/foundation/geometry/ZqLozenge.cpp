#include "zqManipulator/foundation/geometry/ZqLozenge.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqLozenge, ZqConvexShape>;

namespace
{
/// The second edge, without what of it is along the first one beyond rounding; of its own length.
ZqVector acrossEdge(const ZqVector& edge0, const ZqVector& edge1) noexcept
{
   constexpr ZqReal tolerance = 1e-9; // of the cosine: what a document of nine digits has
   const ZqVector u = edge0.unitVector();
   const ZqReal along = u.dot(edge1);
   const ZqReal length = edge1.mag();
   return std::abs(along) <= tolerance * length ? edge1 : (edge1 - u * along).unitVector() * length;
}
} // namespace

ZqConvex ZqLozenge::makeConvex() const
{
   const ZqVector edge0 = zqConvex::finite(m_edge0);
   return ZqConvex::rectangle(zqConvex::finite(m_origin), edge0,
                              acrossEdge(edge0, zqConvex::finite(m_edge1)),
                              zqConvex::finite(m_radius));
}

ZqString ZqLozenge::repair()
{
   const bool isShrunk = zqConvex::repairLength(m_radius);
   const ZqVector across = acrossEdge(m_edge0, m_edge1);
   const bool isSkew = !(across == m_edge1);
   m_edge1 = across;
   return zqConvex::bothOf(isShrunk, "its radius is below zero and counts as 0", isSkew,
                           "its second edge is made to be perpendicular to the first");
}

void ZqLozenge::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   m_origin = X * m_origin;
   m_edge0 = X.orientation() * m_edge0;
   m_edge1 = X.orientation() * m_edge1;
   convexChanges();
}

void ZqLozenge::scaleSelfBy(ZqReal scale)
{
   m_origin *= scale;
   m_edge0 *= scale;
   m_edge1 *= scale;
   m_radius *= scale;
   convexChanges();
}

void ZqLozenge::truncateSelf(ZqReal tolerance)
{
   zqConvex::truncate(m_origin, tolerance);
   zqConvex::truncate(m_edge0, tolerance);
   zqConvex::truncate(m_edge1, tolerance);
   m_edge1 = acrossEdge(m_edge0, m_edge1);
   zqConvex::truncate(m_radius, tolerance);
   convexChanges();
}
