#pragma once

#include "zqManipulator/foundation/geometry/ZqShape.h"

/// Holds the shape of a link: at most one, which may be a union.
class ZqShapeContainer final
   : public ZqXmlClass<ZqShapeContainer, ZqBaseExpressionTreeContainer<ZqShape>>
{
public:
   static const ZqToken& classToken() { return ZqGeom::ZqShapeContainerToken; }
   static constexpr const char* documentation = "the shape of a link, in its primary frame";

   ZqShapeContainer() = default;
   bool operator==(const ZqShapeContainer&) const = default;

   /// All classes of shapes.
   void registerComponentCreators() override;

   /// Where a segment, in the frame of the shape, first enters it, and the index of the member that it
   /// enters. False when it does not.
   bool intersectSegment(const ZqLineSegment& segment, ZqVector& point, ZqU32& shapeIndex) const;
   void transformBy(const ZqCoordinateSystemTransformation& X);
   void scaleBy(ZqReal scale);
   /// The shapes that are no compounds, in order: the shape itself, or the members of a union.
   void collectShapes(std::vector<ZqShape*>& shapes);
   void collectShapes(std::vector<const ZqShape*>& shapes) const;
};
