#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"

class ZqShape;

extern template class ZqXmlVariableType<ZqShape>;
extern template class ZqXmlVariableVectorType<ZqShape>;

/// Shapes of any class, in order: the members of a union, or the volumes around a shape.
///
/// In a document shapes stand within others no deeper than `deepest`: a document that goes deeper is refused.
class ZqShapeVector final : public ZqXmlVariableVectorType<ZqShape>
{
public:
   static constexpr unsigned deepest = 32;

   ZqShapeVector();
   ZqShapeVector(const ZqShapeVector& other);
   ZqShapeVector(ZqShapeVector&& other) noexcept;
   ZqShapeVector& operator=(const ZqShapeVector& other);
   ZqShapeVector& operator=(ZqShapeVector&& other) noexcept;
   ~ZqShapeVector() override;

   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static ZqXmlObject* creator() { return new ZqShapeVector(); }
   bool read(ZqXmlReader& reader) override;
   void registerComponentCreators() override;
   bool operator==(const ZqShapeVector& other) const;

   /// Registers the classes of shapes with a container of shapes.
   static void registerShapes(ZqXmlBaseVariableCompoundType& container);
};
