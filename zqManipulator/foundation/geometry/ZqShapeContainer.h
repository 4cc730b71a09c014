#pragma once

#include "zqManipulator/foundation/geometry/ZqShape.h"

extern template class ZqXmlSingleVariableType<ZqShape, ZqXmlClonePointer<ZqShape>>;
extern template class ZqBaseExpressionTreeContainer<ZqShape>;

/// Holds the shape of a link: at most one, which may be a union. A copy holds a copy of the shape.
class ZqShapeContainer final : public ZqBaseExpressionTreeContainer<ZqShape>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqGeom::ZqShapeContainerToken; }
   static ZqXmlObject* creator() { return new ZqShapeContainer(); }
   const ZqToken& token() const override;
   /// All classes of shapes.
   void registerComponentCreators() override;
   bool operator==(const ZqShapeContainer&) const = default;

   /// Where a segment, in the frame of the shape, first enters it, and the index of the member that it
   /// enters. False when it does not.
   bool intersectSegment(const ZqLineSegment& segment, ZqVector& point, ZqU32& shapeIndex) const;
   /// What `ZqShape` does under these names; nothing without a shape.
   /// @{
   void transformBy(const ZqCoordinateSystemTransformation& X);
   void scaleBy(ZqReal scale);
   void truncateValues(ZqReal tolerance);
   /// @}
   /// Appends the shapes that are no unions, in order: the shape itself, or the members of a union. Whoever
   /// moves or resizes one of them calls `shapesChanged` afterwards; names and surfaces need no call.
   void collectShapes(std::vector<ZqShape*>& shapes);
   void collectShapes(std::vector<const ZqShape*>& shapes) const;
   void shapesChanged();
};
