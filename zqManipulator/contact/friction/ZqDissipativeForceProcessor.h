#pragma once

#include "zqManipulator/contact/friction/ZqBaseDissipativeForceProcessor.h"

/// Viscous, kinetic and static friction, along the surface and about its normal. While two bodies stick,
/// springs and critical dampers hold them where sticking began; the springs are such that the allowed error
/// gives the full friction of the present load.
///
/// Bodies slip when the error grows beyond what is allowed, and stick again when in one step both the sliding
/// and the spin about the normal have turned round. The moment of kinetic friction goes with the square of
/// the patch's radius, without the scale that static friction has. A velocity of rounding size slides with the
/// full kinetic friction.
class ZqDissipativeForceProcessor
   : public ZqXmlClass<ZqDissipativeForceProcessor, ZqBaseDissipativeForceProcessor>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqDissipativeForceProcessorToken; }
   static constexpr const char* documentation = "viscous, kinetic and static friction";
   template <class This = ZqDissipativeForceProcessor>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_useStaticFriction, &ZqManip::ZqComputeStaticFrictionFlagToken,
                     "whether bodies that stick are held"},
         ZqComponent{&This::m_useKineticFriction, &ZqManip::ZqComputeKineticFrictionFlagToken,
                     "whether bodies that slide are braked"},
         ZqComponent{&This::m_useViscousFriction, &ZqManip::ZqComputeViscousFrictionFlagToken,
                     "whether there is a force in proportion to the velocity"},
         ZqComponent{&This::m_linearStaticFrictionModelMaxDistanceError,
                     &ZqManip::ZqLinearStaticFrictionModelMaxDistanceErrorToken,
                     "distance from where sticking began at which bodies slip (m)"},
         ZqComponent{&This::m_linearStaticFrictionModelNormalToTangentialSpringRatio,
                     &ZqManip::ZqLinearStaticFrictionModelNormalToTangentialSpringRatioToken,
                     "stiffness along the normal by that along the surface"},
         ZqComponent{&This::m_angularStaticFrictionModelMaxAngularError,
                     &ZqManip::ZqAngularStaticFrictionModelMaxAngularErrorToken,
                     "twist about the normal at which bodies slip (rad)"}};
   }
   bool operator==(const ZqDissipativeForceProcessor&) const = default;

   /// True.
   bool process(const ZqDissipativeForceInput& input,
                ZqDissipativeForceOutput& output) const override;

   virtual const bool& useKineticFriction() const { return m_useKineticFriction; }
   virtual void setUseKineticFriction(bool use) { m_useKineticFriction = use; }
   virtual const bool& useViscousFriction() const { return m_useViscousFriction; }
   virtual void setUseViscousFriction(bool use) { m_useViscousFriction = use; }
   virtual const bool& useStaticFriction() const { return m_useStaticFriction; }
   virtual void setUseStaticFriction(bool use) { m_useStaticFriction = use; }
   virtual const ZqReal& linearStaticFrictionModelMaxDistanceError() const
   {
      return m_linearStaticFrictionModelMaxDistanceError;
   }
   virtual void setLinearStaticFrictionModelMaxDistanceError(ZqReal distance)
   {
      m_linearStaticFrictionModelMaxDistanceError = distance;
   }
   virtual const ZqReal& linearStaticFrictionModelNormalToTangentialSpringRatio() const
   {
      return m_linearStaticFrictionModelNormalToTangentialSpringRatio;
   }
   virtual void setLinearStaticFrictionModelNormalToTangentialSpringRatio(ZqReal ratio)
   {
      m_linearStaticFrictionModelNormalToTangentialSpringRatio = ratio;
   }
   virtual const ZqReal& angularStaticFrictionModelMaxAngularError() const
   {
      return m_angularStaticFrictionModelMaxAngularError;
   }
   virtual void setAngularStaticFrictionModelMaxAngularError(ZqReal angle)
   {
      m_angularStaticFrictionModelMaxAngularError = angle;
   }

private:
   bool m_useStaticFriction = false;
   bool m_useKineticFriction = false;
   bool m_useViscousFriction = false;
   ZqReal m_linearStaticFrictionModelMaxDistanceError = 0.003;
   ZqReal m_linearStaticFrictionModelNormalToTangentialSpringRatio = 0.1;
   ZqReal m_angularStaticFrictionModelMaxAngularError = 0.02;
};

extern template class ZqXmlClass<ZqDissipativeForceProcessor, ZqBaseDissipativeForceProcessor>;
