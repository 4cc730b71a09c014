#pragma once

#include "zqManipulator/foundation/algebra/ZqPlanarVector.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/simulation/records/ZqBaseStoppingCriterion.h"

#include <vector>

/// Stops a manipulator that would tip over: when its centre of mass, projected along gravity onto the
/// plane of a polygon of support, is not inside the polygon.
///
/// The vertices (m) stand in order around the polygon, in the primary frame of the reference link, or
/// in the system frame when no link is named. The plane through their centroid is spanned by the
/// vertex and its predecessor that enclose the largest triangle with it. A polygon of fewer than three
/// vertices never fires. What is attached to the manipulator is carried by it, and counts.
class ZqComPolygonalStoppingCriterion
   : public ZqXmlClass<ZqComPolygonalStoppingCriterion, ZqBaseStoppingCriterion>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqComPolygonalStoppingCriterionToken; }
   static constexpr const char* documentation =
      "stops a manipulator whose center of mass is no longer above a polygon of support";
   template <class This = ZqComPolygonalStoppingCriterion>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_polygonVertices, &ZqManip::ZqPolygonVerticesToken,
                     "x y z of each vertex in order (m), in the frame of the reference link"},
         ZqComponent{&This::m_referenceLinkLabel, &ZqManip::ZqReferenceLinkLabelToken,
                     "label of the link in whose primary frame the vertices stand; else they stand "
                     "in the system"},
         ZqComponent{&This::m_descriptiveText, &ZqManip::ZqDescriptiveTextToken,
                     "what is told when it fires"}};
   }
   bool read(ZqXmlReader& reader) override;
   static ZqComPolygonalStoppingCriterion nullObject() { return {}; }
   /// What is derived from the vertices takes no part.
   bool operator==(const ZqComPolygonalStoppingCriterion& other) const;

   const ZqString& descriptiveText() const override { return m_descriptiveText; }
   /// An index beyond the manipulators is rejected with a message. A reference link that the
   /// manipulator does not have is reported, and the system frame is taken in its place.
   bool stop(ZqSystemActiveState& activeState, const ZqStatedSystem& statedSystem,
             const ZqReal& time, ZqU32 manipulatorIndex,
             ZqPropagationResultData& results) const override;
   bool apply(const ZqLinkEdit& edit) override;
   void scaleBy(const ZqModelScaling& scaling) override;
   virtual const ZqXmlVectorVector& polygonVertices() const { return m_polygonVertices; }
   virtual void setPolygonVertices(const ZqXmlVectorVector& vertices);
   virtual const ZqString& referenceLinkLabel() const { return m_referenceLinkLabel; }
   virtual void setReferenceLinkLabel(const ZqString& label) { m_referenceLinkLabel = label; }
   virtual void setDescriptiveText(const ZqString& text) { m_descriptiveText = text; }
   /// Finds the plane of the polygon, and the vertices in it. Vertices that span none are taken by
   /// their x and y, in the plane there was before.
   virtual void calculatePlanarValues();
   /// By the even-odd rule, in the plane of the polygon. The edges on its left and at its bottom are
   /// inside, those on its right and at its top are not.
   virtual bool isInsidePolygon(const ZqPlanarVector& point) const;

private:
   bool findPlane();

   ZqXmlVectorVector m_polygonVertices;
   ZqString m_referenceLinkLabel;
   ZqString m_descriptiveText;
   ZqCoordinateSystemTransformation m_planeFrame; ///< in the reference frame
   std::vector<ZqPlanarVector> m_planarVertices;  ///< in the plane frame
};

extern template class ZqXmlClass<ZqComPolygonalStoppingCriterion, ZqBaseStoppingCriterion>;
