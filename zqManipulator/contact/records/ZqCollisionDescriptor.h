#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

class ZqManipulatorLink;

/// A plain record of where two links touch. Documents hold nothing of it.
class ZqCollisionDescriptor : public ZqXmlClass<ZqCollisionDescriptor>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqCollisionDescriptorToken; }
   static constexpr const char* documentation = "where two links touch";
   bool operator==(const ZqCollisionDescriptor&) const = default;

   /// \name The links, not owned
   /// @{
   virtual const ZqManipulatorLink* link1Pointer() const { return m_link1; }
   virtual void setLink1Pointer(const ZqManipulatorLink* link) { m_link1 = link; }
   virtual const ZqManipulatorLink* link2Pointer() const { return m_link2; }
   virtual void setLink2Pointer(const ZqManipulatorLink* link) { m_link2 = link; }
   /// @}
   virtual const ZqVector& collisionNormal() const { return m_collisionNormal; }
   virtual void setCollisionNormal(const ZqVector& normal) { m_collisionNormal = normal; }
   /// \name The contact point in each link's primary frame
   /// @{
   virtual const ZqVector& contactPointRel1() const { return m_contactPointRel1; }
   virtual void setContactPointRel1(const ZqVector& point) { m_contactPointRel1 = point; }
   virtual const ZqVector& contactPointRel2() const { return m_contactPointRel2; }
   virtual void setContactPointRel2(const ZqVector& point) { m_contactPointRel2 = point; }
   /// @}
   /// In m, negative where the links overlap.
   virtual ZqReal separationDistance() const { return m_separationDistance; }
   virtual void setSeparationDistance(ZqReal distance) { m_separationDistance = distance; }
   /// \name Indices of shapes, of manipulators and of features
   /// @{
   virtual ZqU32 shapeOneID() const { return m_shapeOneID; }
   virtual void setShapeOneID(ZqU32 index) { m_shapeOneID = index; }
   virtual ZqU32 shapeTwoID() const { return m_shapeTwoID; }
   virtual void setShapeTwoID(ZqU32 index) { m_shapeTwoID = index; }
   virtual ZqU32 manipulatorOneID() const { return m_manipulatorOneID; }
   virtual void setManipulatorOneID(ZqU32 index) { m_manipulatorOneID = index; }
   virtual ZqU32 manipulatorTwoID() const { return m_manipulatorTwoID; }
   virtual void setManipulatorTwoID(ZqU32 index) { m_manipulatorTwoID = index; }
   virtual ZqU32 closestPointIndex1() const { return m_closestPointIndex1; }
   virtual void setClosestPointIndex1(ZqU32 index) { m_closestPointIndex1 = index; }
   virtual ZqU32 closestPointIndex2() const { return m_closestPointIndex2; }
   virtual void setClosestPointIndex2(ZqU32 index) { m_closestPointIndex2 = index; }
   /// @}
   /// In the system.
   virtual const ZqVector& collisionPointSystem() const { return m_collisionPointSystem; }
   virtual void setCollisionPointSystem(const ZqVector& point) { m_collisionPointSystem = point; }

private:
   const ZqManipulatorLink* m_link1 = nullptr;
   const ZqManipulatorLink* m_link2 = nullptr;
   ZqVector m_collisionNormal, m_contactPointRel1, m_contactPointRel2, m_collisionPointSystem;
   ZqReal m_separationDistance = 0.0;
   ZqU32 m_shapeOneID = 0;
   ZqU32 m_shapeTwoID = 0;
   ZqU32 m_manipulatorOneID = 0;
   ZqU32 m_manipulatorTwoID = 0;
   ZqU32 m_closestPointIndex1 = 0;
   ZqU32 m_closestPointIndex2 = 0;
};

extern template class ZqXmlClass<ZqCollisionDescriptor>;
