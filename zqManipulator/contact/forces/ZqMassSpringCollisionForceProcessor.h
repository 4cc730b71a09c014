#pragma once

#include "zqManipulator/contact/forces/ZqBaseCollisionForceProcessor.h"
#include "zqManipulator/contact/forces/ZqContactRegion.h"
#include "zqManipulator/contact/friction/ZqDissipativeForceProcessorContainer.h"

class ZqDataMap;
class ZqManipulatorActivePositionState;
class ZqManipulatorLink;
class ZqShapeCollisionEvent;

/// A spring along the normal and a damper beside it push two bodies apart at one point, the middle of their
/// contact; and where they touch over a patch, the patch resists turning.
///
/// With the normal n from body 1 to body 2, the depth d and the velocity v of body 1 against body 2 at the
/// point on body 2, the force on body 1 is -(k d^e + c v.n) n, and zero where that would pull: k, c and e
/// are those of the pair of surfaces. The damper does not depend on the depth, so the force sets in with a
/// jump. The force acts on each body at that body's own point; the two are apart by the depth.
///
/// Of the patches of both sides the smaller one, body 1's of equal ones, is held against the plane of the
/// other: eight points on an ellipse in it, whose half axes are the roots of its moments. Each that lies
/// behind the plane has a spring and a damper of an eighth of k and c, linear in the depth whatever e is,
/// and free to pull. Let r be the cosine between one patch's normal and the opposite of the other's, times
/// the cosine between the other's and n. The eight count r times, and in the whole once more: the share of
/// the patch is w = r f with the contribution factor f, and the force at the one point keeps 1 - w. Nothing
/// holds w between 0 and 1: a factor beyond that turns the force at the point round. Friction is given that
/// force before it is shared.
///
/// Points of a side are taken in their order, four at most. Those nearer to an earlier one than 0.01 m
/// along each axis of the primary frame, and a third one within 0.01 m of the line of two, do not count:
/// small bodies touch at one point. Where a point of body 1 is off the plane of its three, that of body 2
/// with the same number is not looked at.
///
/// A patch of two points has its z axis against the outward normal. So it does not face a patch of another
/// number of points, and there is no torsion; but two such patches face each other all the same, and take
/// their share, with springs that hold only points that are apart: two edges lose half of their force.
///
/// Energy is not known to this law: in the response of a record it leaves the two forces alone.
class ZqMassSpringCollisionForceProcessor
   : public ZqXmlClass<ZqMassSpringCollisionForceProcessor, ZqBaseCollisionForceProcessor>
{
public:
   using Frame = ZqCoordinateSystemTransformation;

   static const ZqToken& classToken() { return ZqManip::ZqMassSpringCollisionForceProcessorToken; }
   static constexpr const char* documentation =
      "spring and damper at one point of a contact, and what resists turning";
   template <class This = ZqMassSpringCollisionForceProcessor>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_dissipativeForceProcessorContainer,
                     &ZqManip::ZqDissipativeForceProcessorContainerToken, "law of friction"},
         ZqComponent{&This::m_useFriction, &ZqManip::ZqUseFrictionToken, "whether it is used"},
         ZqComponent{&This::m_torsionalRepulsionContributionFactor,
                     &ZqManip::ZqTorsionalRepulsionContributionFactorToken,
                     "share of what resists turning, for patches that face each other squarely"},
         ZqComponent{&This::m_defaultSpringConstant, &ZqManip::ZqDefaultSpringConstantToken,
                     "spring constant of surfaces that do not tell theirs (N/m^e)"},
         ZqComponent{&This::m_defaultDamperConstant, &ZqManip::ZqDefaultDamperConstantToken,
                     "damper constant of surfaces that do not tell theirs (N s/m)"},
         ZqComponent{&This::m_defaultSpringExponent, &ZqManip::ZqDefaultSpringExponentToken,
                     "exponent of the depth of surfaces that do not tell theirs"},
         ZqComponent{&This::m_actionRadius, &ZqManip::ZqActionRadiusToken,
                     "radius of the patch for friction (m)"},
         ZqComponent{&This::m_linearInertia, &ZqManip::ZqLinearInertiaToken,
                     "inertia that dampers of friction are set for (kg)"},
         ZqComponent{&This::m_angularInertia, &ZqManip::ZqAngularInertiaToken,
                     "the same about the normal (kg m^2)"}};
   }
   bool operator==(const ZqMassSpringCollisionForceProcessor&) const = default;

   /// True. A record without links does nothing, and shapes that are free of contact forces have forces of
   /// zero described.
   bool process(ZqShapeCollisionData& data, ZqSystemActiveState& activeState,
                const ZqXmlVectorType<ZqManipulatorTorque>& torques,
                ZqXmlVectorType<ZqManipulatorExternalForce>& forces,
                const ZqReal& time) const override;

   /// \name Friction
   /// @{
   /// Null when there is none.
   virtual const ZqBaseDissipativeForceProcessor* dissipativeForceProcessor() const
   {
      return m_dissipativeForceProcessorContainer.topElement();
   }
   virtual void setDissipativeForceProcessor(const ZqBaseDissipativeForceProcessor& processor)
   {
      m_dissipativeForceProcessorContainer.setTopElement(processor);
   }
   virtual const ZqDissipativeForceProcessorContainer& dissipativeForceProcessorContainer() const
   {
      return m_dissipativeForceProcessorContainer;
   }
   virtual void
   setDissipativeForceProcessorContainer(const ZqDissipativeForceProcessorContainer& container)
   {
      m_dissipativeForceProcessorContainer = container;
   }
   virtual const bool& useFriction() const { return m_useFriction; }
   virtual void setUseFriction(bool use) { m_useFriction = use; }
   /// @}
   /// \name Parameters
   /// @{
   virtual const ZqReal& torsionalRepulsionContributionFactor() const
   {
      return m_torsionalRepulsionContributionFactor;
   }
   virtual void setTorsionalRepulsionContributionFactor(ZqReal factor)
   {
      m_torsionalRepulsionContributionFactor = factor;
   }
   virtual const ZqReal& defaultSpringExponent() const { return m_defaultSpringExponent; }
   virtual void setDefaultSpringExponent(ZqReal exponent) { m_defaultSpringExponent = exponent; }
   virtual const ZqReal& defaultSpringConstant() const { return m_defaultSpringConstant; }
   virtual void setDefaultSpringConstant(ZqReal constant) { m_defaultSpringConstant = constant; }
   virtual const ZqReal& defaultDamperConstant() const { return m_defaultDamperConstant; }
   virtual void setDefaultDamperConstant(ZqReal constant) { m_defaultDamperConstant = constant; }
   virtual const ZqReal& actionRadius() const { return m_actionRadius; }
   virtual void setActionRadius(ZqReal radius) { m_actionRadius = radius; }
   virtual const ZqReal& linearInertia() const { return m_linearInertia; }
   virtual void setLinearInertia(ZqReal inertia) { m_linearInertia = inertia; }
   virtual const ZqReal& angularInertia() const { return m_angularInertia; }
   virtual void setAngularInertia(ZqReal inertia) { m_angularInertia = inertia; }
   /// @}
   /// Of the law of friction; without one a tool with empty tables, and nothing is set.
   virtual const ZqFrictionCoefficientLookupTool& frictionCoeficientLookupTool() const
   {
      return m_dissipativeForceProcessorContainer.frictionCoeficientLookupTool();
   }
   virtual void setFrictionCoeficientLookupTool(const ZqFrictionCoefficientLookupTool& tool)
   {
      m_dissipativeForceProcessorContainer.setFrictionCoeficientLookupTool(tool);
   }

   /// \name Stages
   /// Frames are the primary frames in the system, velocities theirs in axes of the system. The normal is
   /// unit, from body 1 to body 2, in the system. Spatial forces are in the primary frame of their body.
   /// @{
   /// Adds a force at a point of a link to a sum, and tells it in an event: the force in axes of the system,
   /// all else in the primary frame. The laws here do not call it.
   virtual void applyForceToLink(const ZqManipulatorLink& link,
                                 ZqManipulatorActivePositionState& position, const ZqVector& point,
                                 const ZqVector& force, ZqGeneralForce& sum,
                                 ZqShapeCollisionEvent& event) const;
   /// The patches of both sides, each in its primary frame, from the points of the record. A side without
   /// points keeps its region. True.
   virtual bool estimateContactSurface(const ZqVector& normal, const Frame& frame1,
                                       const Frame& frame2, ZqShapeCollisionData& data,
                                       ZqContactRegion& region1, ZqContactRegion& region2) const;
   /// The force of the spring and damper on body 1, in axes of the system, and what that and the patches put on
   /// each body. Nothing is set when the shapes do not overlap or a link is missing. True.
   virtual bool computeRepulsionForce(const ZqShapeCollisionData& data,
                                      const ZqContactRegion& region1,
                                      const ZqContactRegion& region2,
                                      ZqSystemActiveState& activeState, ZqVector& normalForce,
                                      ZqGeneralForce& force1, ZqGeneralForce& force2) const;
   /// What friction puts on each body for a normal force on body 1 in axes of the system; the record keeps
   /// the mode, and where sticking began. Nothing is set without a law of friction or a link. False when that
   /// law fails. The time is not used.
   virtual bool computeFrictionForce(const ZqReal& time, const ZqVector& normalForce,
                                     ZqSystemActiveState& activeState, ZqShapeCollisionData& data,
                                     ZqGeneralForce& force1, ZqGeneralForce& force2) const;
   /// Of the symmetric matrix of sxx, syy and sxy the eigenvalues, the greater first, and the direction of
   /// its eigenvector.
   virtual void calculatePrincipalMoments(ZqReal sxx, ZqReal syy, ZqReal sxy, ZqReal& cosine,
                                          ZqReal& sine, ZqReal& m1, ZqReal& m2) const;
   /// @}

   /// \name Mathematics
   /// As above.
   /// @{
   /// -k |d|^e n, with the separation d (m). False when that is not finite.
   bool computeSpringForceResponse(const ZqVector& normal, ZqReal separation, ZqReal springConstant,
                                   ZqReal exponent, ZqVector& force) const;
   /// c (v.n) n, with the velocity v of body 1 against body 2 at a point of the primary frame of body 2. True.
   bool computeDamperForceResponse(const ZqVector& normal, const ZqGeneralMotion& velocity1,
                                   const ZqGeneralMotion& velocity2, const Frame& frame1,
                                   const Frame& frame2, const ZqVector& contactPoint2,
                                   ZqReal damperConstant, ZqVector& force) const;
   /// What patches that face each other put on each body, and their share of the whole; zero when they do not
   /// face each other. True.
   bool computeTorsionalForceResponse(const ZqVector& normal, const ZqContactRegion& region1,
                                      const ZqContactRegion& region2, ZqReal springConstant,
                                      ZqReal damperConstant, const ZqGeneralMotion& velocity1,
                                      const ZqGeneralMotion& velocity2, const Frame& frame1,
                                      const Frame& frame2, ZqGeneralForce& force1,
                                      ZqGeneralForce& force2, ZqReal& ratio) const;
   /// @}

   /// \name Constants of a pair of surfaces
   /// From the values of both, which may be null: springs in series, dampers in series, and the mean
   /// exponent. A value that a surface lacks is the default.
   /// @{
   ZqReal getSpringConstant(const ZqDataMap* surface1, const ZqDataMap* surface2) const;
   ZqReal getDamperConstant(const ZqDataMap* surface1, const ZqDataMap* surface2) const;
   ZqReal getSpringExponent(const ZqDataMap* surface1, const ZqDataMap* surface2) const;
   /// The values of a surface of a link: those of the shape of the index, else those that the link finds.
   /// False, and null, when neither has any. The index of the closest point is not used.
   bool lookupSurfaceProperty(const ZqManipulatorLink& link, ZqU32 shapeIndex,
                              ZqU32 closestPointIndex, const ZqString& surfaceKey,
                              const ZqDataMap*& surface) const;
   /// @}

protected:
   static constexpr ZqReal m_theDefaultDistanceTolerance = 0.01;

   /// What follows from the force at the one point, for a depth above zero: a spatial force on each body.
   static void setPointForces(const ZqShapeCollisionData& data, const ZqVector& force,
                              const Frame& frame1, const Frame& frame2, ZqGeneralForce& force1,
                              ZqGeneralForce& force2);
   /// \name Messages of stages that failed
   /// @{
   static void reportRepulsion();
   static void reportFriction();
   /// @}

private:
   ZqDissipativeForceProcessorContainer m_dissipativeForceProcessorContainer;
   bool m_useFriction = false;
   ZqReal m_torsionalRepulsionContributionFactor = 0.5;
   ZqReal m_defaultSpringConstant = 10000.0;
   ZqReal m_defaultDamperConstant = 10.0;
   ZqReal m_defaultSpringExponent = 1.0;
   ZqReal m_actionRadius = 0.1;
   ZqReal m_linearInertia = 1.0;
   ZqReal m_angularInertia = 0.5;
};

extern template class ZqXmlClass<ZqMassSpringCollisionForceProcessor,
                                 ZqBaseCollisionForceProcessor>;
