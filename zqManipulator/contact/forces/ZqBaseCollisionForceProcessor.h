#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"

class ZqShape;
class ZqShapeCollisionData;
class ZqSystemActiveState;

/// A law of what two bodies that touch do to each other.
///
/// It holds nothing of a contact: what lasts stands in the record.
class ZqBaseCollisionForceProcessor
   : public ZqXmlAbstractClass<ZqBaseCollisionForceProcessor, ZqBaseExpressionTreeElement>
{
public:
   bool operator==(const ZqBaseCollisionForceProcessor&) const noexcept { return true; }

   /// Adds the forces of a contact to those on the two links, each in the D-H frame of its link. The time
   /// is in seconds. A stage that fails is logged, and the next goes on without its forces. A record
   /// that does not know both links gets none.
   virtual bool process(ZqShapeCollisionData& data, ZqSystemActiveState& activeState,
                        const ZqXmlVectorType<ZqManipulatorTorque>& torques,
                        ZqXmlVectorType<ZqManipulatorExternalForce>& forces,
                        const ZqReal& time) const = 0;
   /// The name of the surface of a shape at a feature near a point of the shape's frame.
   virtual const ZqString& impactedSurfaceKey(const ZqShape* shape, ZqU32 closestPointIndex,
                                              const ZqVector& point) const;
   /// What that surface is made of.
   virtual const ZqString& impactedSurfaceMaterial(const ZqShape* shape, const ZqString& key) const;

protected:
   static const ZqString m_theDefualtSurfaceKey;
   static const ZqString m_theDefualtMaterialType;
};
