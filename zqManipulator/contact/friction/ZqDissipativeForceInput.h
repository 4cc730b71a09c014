#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

/// What a processor of friction is given: how two bodies move, and how they press on each other. Motions are
/// those of the primary frames, in the axes of the system.
class ZqDissipativeForceInput : public ZqXmlClass<ZqDissipativeForceInput>
{
public:
   using Frame = ZqCoordinateSystemTransformation;

   static const ZqToken& classToken() { return ZqManip::ZqDissipativeForceInputToken; }
   static constexpr const char* documentation = "what friction is computed from";
   bool operator==(const ZqDissipativeForceInput&) const = default;

   /// \name Materials
   /// The setters keep no copy: the name has to live as long as it is asked for.
   /// @{
   virtual const ZqString& body1MaterialType() const { return nameOf(m_body1MaterialType); }
   virtual void setBody1MaterialType(const ZqString& name) { m_body1MaterialType = &name; }
   virtual const ZqString& body2MaterialType() const { return nameOf(m_body2MaterialType); }
   virtual void setBody2MaterialType(const ZqString& name) { m_body2MaterialType = &name; }
   /// @}
   virtual const ZqGeneralMotion& body1Velocity() const { return m_body1Velocity; }
   virtual void setBody1Velocity(const ZqGeneralMotion& velocity) { m_body1Velocity = velocity; }
   virtual const ZqGeneralMotion& body2Velocity() const { return m_body2Velocity; }
   virtual void setBody2Velocity(const ZqGeneralMotion& velocity) { m_body2Velocity = velocity; }
   /// Those of the step before.
   virtual const ZqGeneralMotion& lastBody1Velocity() const { return m_lastBody1Velocity; }
   virtual void setLastBody1Velocity(const ZqGeneralMotion& velocity)
   {
      m_lastBody1Velocity = velocity;
   }
   virtual const ZqGeneralMotion& lastBody2Velocity() const { return m_lastBody2Velocity; }
   virtual void setLastBody2Velocity(const ZqGeneralMotion& velocity)
   {
      m_lastBody2Velocity = velocity;
   }
   virtual const ZqVector& normalForceInSystem() const { return m_normalForceInSystem; }
   virtual void setNormalForceInSystem(const ZqVector& force) { m_normalForceInSystem = force; }
   virtual const ZqVector& collisionNormalInSystem() const { return m_collisionNormalInSystem; }
   virtual void setCollisionNormalInSystem(const ZqVector& normal)
   {
      m_collisionNormalInSystem = normal;
   }
   virtual const ZqVector& currentCollisionPointInPrimary2() const
   {
      return m_currentCollisionPointInPrimary2;
   }
   virtual void setCurrentCollisionPointInPrimary2(const ZqVector& point)
   {
      m_currentCollisionPointInPrimary2 = point;
   }
   virtual const Frame& primaryFrame1InSystem() const { return m_primaryFrame1InSystem; }
   virtual void setPrimaryFrame1InSystem(const Frame& frame) { m_primaryFrame1InSystem = frame; }
   virtual const Frame& primaryFrame2InSystem() const { return m_primaryFrame2InSystem; }
   virtual void setPrimaryFrame2InSystem(const Frame& frame) { m_primaryFrame2InSystem = frame; }

   virtual const bool& inStaticFrictionMode() const { return m_inStaticFrictionMode; }
   virtual void setInStaticFrictionMode(bool isStatic) { m_inStaticFrictionMode = isStatic; }
   /// \name Where sticking began
   /// @{
   virtual const ZqVector& staticStartCollisionPointInPrimary1() const
   {
      return m_staticStartCollisionPointInPrimary1;
   }
   virtual void setStaticStartCollisionPointInPrimary1(const ZqVector& point)
   {
      m_staticStartCollisionPointInPrimary1 = point;
   }
   virtual const ZqVector& staticStartCollisionPointInPrimary2() const
   {
      return m_staticStartCollisionPointInPrimary2;
   }
   virtual void setStaticStartCollisionPointInPrimary2(const ZqVector& point)
   {
      m_staticStartCollisionPointInPrimary2 = point;
   }
   virtual const Frame& staticStartPrimaryFrame1InSystem() const
   {
      return m_staticStartPrimaryFrame1InSystem;
   }
   virtual void setStaticStartPrimaryFrame1InSystem(const Frame& frame)
   {
      m_staticStartPrimaryFrame1InSystem = frame;
   }
   virtual const Frame& staticStartPrimaryFrame2InSystem() const
   {
      return m_staticStartPrimaryFrame2InSystem;
   }
   virtual void setStaticStartPrimaryFrame2InSystem(const Frame& frame)
   {
      m_staticStartPrimaryFrame2InSystem = frame;
   }
   /// @}
   /// The radius of the patch (m).
   virtual const ZqReal& actionRadius() const { return m_actionRadius; }
   virtual void setActionRadius(ZqReal radius) { m_actionRadius = radius; }
   /// What dampers are half critical for: kg, and kg m^2.
   /// @{
   virtual const ZqReal& linearInertiaAlongNormal() const { return m_linearInertiaAlongNormal; }
   virtual void setLinearInertiaAlongNormal(ZqReal inertia)
   {
      m_linearInertiaAlongNormal = inertia;
   }
   virtual const ZqReal& angularInertiaAboutNormal() const { return m_angularInertiaAboutNormal; }
   virtual void setAngularInertiaAboutNormal(ZqReal inertia)
   {
      m_angularInertiaAboutNormal = inertia;
   }
   /// @}

protected:
   /// Answered as long as no name is set.
   static const ZqString m_theNullMaterialType;

private:
   static const ZqString& nameOf(const ZqString* name)
   {
      return name != nullptr ? *name : m_theNullMaterialType;
   }

   const ZqString* m_body1MaterialType = nullptr; ///< not owned
   const ZqString* m_body2MaterialType = nullptr; ///< not owned
   ZqGeneralMotion m_body1Velocity, m_body2Velocity;
   ZqGeneralMotion m_lastBody1Velocity, m_lastBody2Velocity;
   ZqVector m_normalForceInSystem;
   ZqVector m_collisionNormalInSystem = ZqVector(1.0, 0.0, 0.0);
   ZqVector m_currentCollisionPointInPrimary2;
   Frame m_primaryFrame1InSystem, m_primaryFrame2InSystem;
   Frame m_staticStartPrimaryFrame1InSystem, m_staticStartPrimaryFrame2InSystem;
   bool m_inStaticFrictionMode = true;
   ZqVector m_staticStartCollisionPointInPrimary1, m_staticStartCollisionPointInPrimary2;
   ZqReal m_actionRadius = 0.1;
   ZqReal m_linearInertiaAlongNormal = 1.0;
   ZqReal m_angularInertiaAboutNormal = 0.5;
};

extern template class ZqXmlClass<ZqDissipativeForceInput>;
