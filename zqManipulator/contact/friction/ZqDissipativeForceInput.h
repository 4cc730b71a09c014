#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

/// What a law of friction is given: how two bodies move, and how they press on each other. Motions are those
/// of the primary frames, in the axes of the system. To make and to fill one allocates nothing.
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
   virtual const ZqString& body1MaterialType() const { return m_body1MaterialType.name(); }
   virtual void setBody1MaterialType(const ZqString& name) { m_body1MaterialType.set(name); }
   virtual const ZqString& body2MaterialType() const { return m_body2MaterialType.name(); }
   virtual void setBody2MaterialType(const ZqString& name) { m_body2MaterialType.set(name); }
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
   /// On body 1 (N).
   virtual const ZqVector& normalForceInSystem() const { return m_normalForceInSystem; }
   virtual void setNormalForceInSystem(const ZqVector& force) { m_normalForceInSystem = force; }
   /// Unit.
   virtual const ZqVector& collisionNormalInSystem() const { return m_collisionNormalInSystem; }
   virtual void setCollisionNormalInSystem(const ZqVector& normal)
   {
      m_collisionNormalInSystem = normal;
   }
   /// Where friction acts (m).
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
   /// The same point in each primary frame, and those frames then.
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
   /// \name What the dampers of bodies that stick are critical for (kg, kg m^2)
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
   /// A name that is owned elsewhere; compared as a text.
   class MaterialType
   {
   public:
      const ZqString& name() const { return m_name != nullptr ? *m_name : m_theNullMaterialType; }
      void set(const ZqString& name) { m_name = &name; }
      bool operator==(const MaterialType& other) const { return name() == other.name(); }

   private:
      const ZqString* m_name = nullptr;
   };

   MaterialType m_body1MaterialType, m_body2MaterialType;
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
