#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/simulation/records/ZqPropagationResultData.h"
#include "zqManipulator/state/ZqSystemActiveState.h"
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

bool ZqComPolygonalStoppingCriterion::stop(ZqSystemActiveState& activeState,
                                           const ZqStatedSystem& statedSystem, const ZqReal&,
                                           ZqU32 manipulatorIndex,
                                           ZqPropagationResultData& results) const
{
   if (manipulatorIndex > statedSystem.numberOfManipulators())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqComPolygonalStoppingCriterion::stop()->bad index (%d).\n",
                                  static_cast<int>(manipulatorIndex));
      return false;
   }
   const ZqIndividualManipulator* manipulator = statedSystem.manipulatorByIndex(manipulatorIndex);
   auto& activeStates = activeState.manipulatorActiveStateVector();
   if (m_planarVertices.size() < 3 || manipulator == nullptr ||
       manipulatorIndex >= activeStates.size())
      return false;
   ZqManipulatorActiveState& active = activeStates[manipulatorIndex];

   ZqCoordinateSystemTransformation plane = m_planeFrame;
   if (!m_referenceLinkLabel.empty())
   {
      if (const ZqManipulatorLink* link = manipulator->linkByIdentifier(m_referenceLinkLabel))
         plane.setToProduct(link->primaryFrameInSystem(active.activePositionState()), m_planeFrame);
      else
      {
         Zq::Print::instance().write(Zq::Rejected,
                                     "ZqComPolygonalStoppingCriterion::stop()->could not find "
                                     "reference link with label %s.\n",
                                     m_referenceLinkLabel.c_str());
         Zq::Print::instance().write(Zq::Rejected, "%s",
                                     "Using system coordinates for reference.\n");
      }
   }

   const ZqStatedSystemStruct scene(&statedSystem, manipulatorIndex);
   ZqVector com;
   manipulator->crbi(active, &scene).getCenterOfMass(com);
   com = manipulator->dhFrameInSystem(active.activePositionState()) * com;

   // Along gravity to where z is zero in the plane.
   const ZqCoordinateSystemTransformation toPlane = plane.inverse();
   const ZqVector comInPlane = toPlane * com;
   const ZqVector up = toPlane.orientation() * statedSystem.environment().upGravityVector();
   const ZqVector point = comInPlane - up * (comInPlane.z() / ZqMath::nonZeroPos(up.z()));
   if (isInsidePolygon({point.x(), point.y()}))
      return false;
   results.registerGenericStoppingCriterion(m_descriptiveText);
   return true;
}

bool ZqComPolygonalStoppingCriterion::apply(const ZqLinkEdit& edit)
{
   return m_referenceLinkLabel.empty() || edit.apply(m_referenceLinkLabel);
}
