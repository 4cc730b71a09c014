#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqComPolygonalStoppingCriterion, ZqBaseStoppingCriterion>;

bool ZqComPolygonalStoppingCriterion::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   calculatePlanarValues();
   return succeeded;
}

bool ZqComPolygonalStoppingCriterion::operator==(const ZqComPolygonalStoppingCriterion& other) const
{
   return m_polygonVertices == other.m_polygonVertices &&
          m_referenceLinkLabel == other.m_referenceLinkLabel &&
          m_descriptiveText == other.m_descriptiveText;
}

void ZqComPolygonalStoppingCriterion::setPolygonVertices(const ZqXmlVectorVector& vertices)
{
   m_polygonVertices = vertices;
   calculatePlanarValues();
}

void ZqComPolygonalStoppingCriterion::calculatePlanarValues()
{
   const bool hasPlane = findPlane();
   const ZqCoordinateSystemTransformation toPlane = m_planeFrame.inverse();
   m_planarVertices.clear();
   for (const ZqVector& vertex : m_polygonVertices)
   {
      const ZqVector point = hasPlane ? toPlane * vertex : vertex;
      m_planarVertices.emplace_back(point.x(), point.y());
   }
}

/// Sets the frame of the plane. False, and no change, when the vertices span none.
bool ZqComPolygonalStoppingCriterion::findPlane()
{
   const ZqU32 count = m_polygonVertices.size();
   if (count < 3)
      return false;
   ZqVector centroid;
   for (const ZqVector& vertex : m_polygonVertices)
      centroid += vertex;
   centroid *= 1.0 / count;

   // The largest of the triangles of the centroid and an edge, by its squared area.
   ZqReal largest = 0.0;
   ZqVector a;
   ZqVector b;
   ZqVector previous = m_polygonVertices[count - 1] - centroid;
   for (const ZqVector& vertex : m_polygonVertices)
   {
      const ZqVector present = vertex - centroid;
      const ZqReal squaredArea = 0.25 * present.cross(previous).magSquared();
      if (squaredArea > largest)
      {
         largest = squaredArea;
         a = present;
         b = previous;
      }
      previous = present;
   }
   if (largest == 0.0)
      return false;

   const ZqVector x = a.unitVector();
   const ZqVector y = x.cross(b).cross(x).unitVector();
   ZqOrientation orientation;
   orientation.setFromDcmColumns(x, y, x.cross(y));
   m_planeFrame = ZqCoordinateSystemTransformation(centroid, orientation);
   return true;
}

bool ZqComPolygonalStoppingCriterion::isInsidePolygon(const ZqPlanarVector& point) const
{
   bool isInside = false;
   if (m_planarVertices.empty())
      return isInside;
   const ZqPlanarVector* j = &m_planarVertices.back();
   for (const ZqPlanarVector& i : m_planarVertices)
   {
      if ((i.y() > point.y()) != (j->y() > point.y()) &&
          (point.y() - i.y()) * (j->x() - i.x()) / (j->y() - i.y()) + i.x() > point.x())
         isInside = !isInside;
      j = &i;
   }
   return isInside;
}

bool ZqComPolygonalStoppingCriterion::apply(const ZqLinkEdit& edit)
{
   if (m_referenceLinkLabel.empty())
      return true;
   const bool stays = edit.apply(m_referenceLinkLabel);
   if (const ZqCoordinateSystemTransformation& T = edit.restatement(m_referenceLinkLabel).T;
       T.mode() != ZqCoordinateSystemTransformation::NoChange)
   {
      for (ZqVector& vertex : m_polygonVertices)
         vertex = T * vertex;
      calculatePlanarValues();
   }
   return stays;
}
