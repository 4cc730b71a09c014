#include "zqManipulator/contact/forces/ZqBaseCollisionForceProcessor.h"

#include "zqManipulator/foundation/geometry/ZqShape.h"

template class ZqXmlAbstractClass<ZqBaseCollisionForceProcessor, ZqBaseExpressionTreeElement>;

const ZqString ZqBaseCollisionForceProcessor::m_theDefualtSurfaceKey("No surface found");
const ZqString ZqBaseCollisionForceProcessor::m_theDefualtMaterialType("metal");

const ZqString& ZqBaseCollisionForceProcessor::impactedSurfaceKey(const ZqShape* shape,
                                                                  ZqU32 closestPointIndex,
                                                                  const ZqVector& point) const
{
   return shape ? shape->surfaceKey(closestPointIndex, point) : m_theDefualtSurfaceKey;
}

const ZqString& ZqBaseCollisionForceProcessor::impactedSurfaceMaterial(const ZqShape* shape,
                                                                       const ZqString& key) const
{
   static const ZqString name(ZqFoundCommon::ZqSurfaceMaterialTypeToken.localName());
   const ZqDataMap* surface = nullptr;
   if (!shape || !shape->surfaceData(key, surface) || !surface)
      return m_theDefualtMaterialType;
   const auto found = surface->strings().find(name);
   return found == surface->strings().end() ? m_theDefualtMaterialType : found->second;
}
