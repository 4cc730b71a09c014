#pragma once

#include "zqManipulator/contact/friction/ZqBaseDissipativeForceProcessor.h"

/// Dry friction: a spring of 4000 N/m and a damper that is critical for the assumed mass hold the points
/// where sticking began as long as their force stays within the cone of static friction; outside it kinetic
/// friction brakes the sliding, weighted by the speed.
///
/// Spring and damper act in all three directions: the part along the normal counts in the cone as well. With
/// the exponent 0, which is the default, kinetic friction is zero.
class ZqDryFrictionForceProcessor
   : public ZqXmlClass<ZqDryFrictionForceProcessor, ZqBaseDissipativeForceProcessor>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqDryFrictionForceProcessorToken; }
   static constexpr const char* documentation = "kinetic and static friction without moments";
   template <class This = ZqDryFrictionForceProcessor>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_useStaticFriction, &ZqManip::ZqComputeStaticFrictionFlagToken,
                     "whether bodies that stick are held"},
         ZqComponent{&This::m_useKineticFriction, &ZqManip::ZqComputeKineticFrictionFlagToken,
                     "whether bodies that slide are braked"},
         ZqComponent{&This::m_linearStaticFrictionModelMaxDistanceError,
                     &ZqManip::ZqLinearStaticFrictionModelMaxDistanceErrorToken, "not used (m)"},
         ZqComponent{&This::m_linearStaticFrictionModelNormalToTangentialSpringRatio,
                     &ZqManip::ZqLinearStaticFrictionModelNormalToTangentialSpringRatioToken,
                     "not used"},
         ZqComponent{&This::m_angularStaticFrictionModelMaxAngularError,
                     &ZqManip::ZqAngularStaticFrictionModelMaxAngularErrorToken, "not used (rad)"},
         ZqComponent{&This::m_staticFrictionMaxSpringForceFraction,
                     &ZqManip::ZqStaticFrictionMaxSpringForceFractionToken, "not used"},
         ZqComponent{&This::m_kineticFrictionWeightingExponent,
                     &ZqManip::ZqKineticFrictionWeightingExponentToken,
                     "how steeply kinetic friction rises with the speed (s/m)"}};
   }
   bool operator==(const ZqDryFrictionForceProcessor&) const = default;

   /// True.
   bool process(const ZqDissipativeForceInput& input,
                ZqDissipativeForceOutput& output) const override;

   virtual const bool& useKineticFriction() const { return m_useKineticFriction; }
   virtual void setUseKineticFriction(bool use) { m_useKineticFriction = use; }
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
   virtual const ZqReal& staticFrictionMaxSpringForceFraction() const
   {
      return m_staticFrictionMaxSpringForceFraction;
   }
   /// NaN is not taken; every other number is.
   virtual void setStaticFrictionMaxSpringForceFraction(ZqReal fraction)
   {
      if (fraction >= 0.5 || fraction <= 1.0)
         m_staticFrictionMaxSpringForceFraction = fraction;
   }
   virtual const ZqReal& kineticFrictionWeightingExponent() const
   {
      return m_kineticFrictionWeightingExponent;
   }
   virtual void setKineticFrictionWeightingExponent(ZqReal exponent)
   {
      m_kineticFrictionWeightingExponent = exponent;
   }
   /// What a speed x (m/s) has to be multiplied by to rise from 0 to 1: (1 - exp(-e x)) / x with the
   /// exponent e, which it tends to at rest.
   virtual ZqReal weightingFunction(ZqReal speed) const;

private:
   bool m_useStaticFriction = false;
   bool m_useKineticFriction = false;
   ZqReal m_linearStaticFrictionModelMaxDistanceError = 0.003;
   ZqReal m_linearStaticFrictionModelNormalToTangentialSpringRatio = 0.1;
   ZqReal m_angularStaticFrictionModelMaxAngularError = 0.02;
   ZqReal m_staticFrictionMaxSpringForceFraction = 2.0 / 3.0;
   ZqReal m_kineticFrictionWeightingExponent = 0.0;
};

extern template class ZqXmlClass<ZqDryFrictionForceProcessor, ZqBaseDissipativeForceProcessor>;
