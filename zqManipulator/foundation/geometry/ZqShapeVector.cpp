#include "zqManipulator/foundation/geometry/ZqShapeVector.h"

#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqCircularLozenge.h"
#include "zqManipulator/foundation/geometry/ZqCone.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqEllipsoid.h"
#include "zqManipulator/foundation/geometry/ZqHalfSpace.h"
#include "zqManipulator/foundation/geometry/ZqLozenge.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/foundation/geometry/ZqTriangularLozenge.h"

template class ZqXmlVariableType<ZqShape>;
template class ZqXmlVariableVectorType<ZqShape>;

namespace
{
/// How many lists of shapes the reading of a document is within.
thread_local unsigned listsBeingRead = 0;

struct ListIsRead
{
   ListIsRead() { ++listsBeingRead; }
   ListIsRead(const ListIsRead&) = delete;
   ListIsRead& operator=(const ListIsRead&) = delete;
   ~ListIsRead() { --listsBeingRead; }
};

template <class... Shapes>
void registerEach(ZqXmlBaseVariableCompoundType& container)
{
   (container.registerComponentCreator(Shapes::classToken(), Shapes::creator), ...);
}
} // namespace

ZqShapeVector::ZqShapeVector() = default;
ZqShapeVector::ZqShapeVector(const ZqShapeVector& other) = default;
ZqShapeVector::ZqShapeVector(ZqShapeVector&& other) noexcept = default;
ZqShapeVector& ZqShapeVector::operator=(const ZqShapeVector& other) = default;
ZqShapeVector& ZqShapeVector::operator=(ZqShapeVector&& other) noexcept = default;
ZqShapeVector::~ZqShapeVector() = default;

ZqXmlObject* ZqShapeVector::clone() const
{
   return new ZqShapeVector(*this);
}

ZqXmlObject* ZqShapeVector::newObject() const
{
   return new ZqShapeVector();
}

bool ZqShapeVector::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqShapeVector*>(other);
   return same != nullptr && *this == *same;
}

bool ZqShapeVector::operator==(const ZqShapeVector& other) const
{
   return ZqXmlVariableVectorType::operator==(other);
}

bool ZqShapeVector::read(ZqXmlReader& reader)
{
   const ListIsRead within;
   if (listsBeingRead <= deepest)
      return ZqXmlVariableVectorType::read(reader);
   reader.fail("shapes stand within shapes deeper than " + std::to_string(deepest) + " levels",
               "document");
   return false;
}

void ZqShapeVector::registerComponentCreators()
{
   registerShapes(*this);
}

void ZqShapeVector::registerShapes(ZqXmlBaseVariableCompoundType& container)
{
   registerEach<ZqSphere, ZqCapsule, ZqBox, ZqCylinder, ZqCone, ZqLozenge, ZqCircularLozenge,
                ZqTriangularLozenge, ZqEllipsoid, ZqHalfSpace, ZqConvexHull, ZqTriangleMesh,
                ZqShapeUnion>(container);
}
