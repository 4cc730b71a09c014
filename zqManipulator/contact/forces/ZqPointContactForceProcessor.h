#pragma once

#include "zqManipulator/contact/forces/ZqBaseCollisionForceProcessor.h"
#include "zqManipulator/contact/friction/ZqDissipativeForceProcessorContainer.h"

#include <span>

class ZqDataMap;

/// How a surface, or a pair of them, answers to being pressed in.
struct ZqContactMaterial
{
   ZqReal stiffness = 1e5;   ///< k (N/m^e)
   ZqReal exponent = 1.0;    ///< e
   ZqReal dissipation = 1.0; ///< c (s/m)

   bool operator==(const ZqContactMaterial&) const = default;

   /// Of two surfaces that carry the same force: their springs in series, the mean of the exponents, and the
   /// dissipation as the softer surface, which takes the larger share of the rate, has it.
   static ZqContactMaterial ofPair(const ZqContactMaterial& a, const ZqContactMaterial& b) noexcept;
   /// k d^e (N) at a depth d (m), which is above zero; 1e75 at most.
   ZqReal force(ZqReal depth) const noexcept;
   /// Stored up to a depth (J); nothing at one that is not above zero.
   ZqReal energy(ZqReal depth) const noexcept
   {
      return depth > 0.0 ? force(depth) * depth / (exponent + 1.0) : 0.0;
   }
   /// The derivative of the force (N/m).
   ZqReal stiffnessAt(ZqReal depth) const noexcept;
   /// That at a depth of 1 mm, by which friction is measured.
   ZqReal referenceStiffness() const noexcept { return stiffnessAt(1e-3); }
};

/// What a contact does along its normal where two surfaces overlap.
///
/// With the depth d, its rate d', the weight w of the point and the mass m of the pair
///
///     N = max(0, w k d^e (1 + c d') + clamp(w cn d', -r w k d^e, r w k d^e)),   cn = 2 zeta sqrt(m k e d^(e-1)):
///
/// spring and damper of Hunt and Crossley (1975), and a settling damper for small motions, which those damp hardly at
/// all; it reaches the part r of the spring's force. N is zero at first touch, and never pulls. A body that meets a
/// wall at the speed v, with zeta 0, leaves it at R v, where cv - ln(1 + cv) = -cRv - ln(1 - cRv).
struct ZqNormalContactLaw
{
   struct Force
   {
      ZqReal normal = 0.0; ///< N
      ZqReal spring = 0.0; ///< the part of the spring (N)
      ZqReal energy = 0.0; ///< stored (J)
      /// \name What a step has to be short enough for: of a whole patch at that depth
      /// @{
      /// How the force grows with the depth (N/m): k' = k e d^(e-1), times 1 + c d' while it grows.
      ZqReal stiffness = 0.0;
      /// The ratio of the dampers at rest to k' (s): cn / k' + c d / e.
      ZqReal dampingTime = 0.0;
      /// @}
   };

   ZqContactMaterial material;
   ZqReal mass = 0.0;              ///< m1 m2 / (m1 + m2) of the bodies (kg)
   ZqReal settlingRatio = 0.5;     ///< zeta
   ZqReal settlingFraction = 0.05; ///< r

   /// Zero where the depth (m) is not above zero. The rate is in m/s. At most 1e75 N.
   Force force(ZqReal weight, ZqReal depth, ZqReal rate) const noexcept;
};

/// The shares of the points of a patch, which sum up to 1: half of both edges that meet at a point by the length round
/// the patch, across the normal. Points may come in any order; they are taken round their mean. Equal for points that
/// coincide.
///
/// So a corner that is cut off leaves its share to both ends of the cut, and a body on any number of points has the same
/// depth.
void zqShareOutPatch(std::span<const ZqVector> places, const ZqVector& normal,
                     std::span<ZqReal> weights) noexcept;

/// A law of contact in which each point of the patch presses for itself, also those that friction is told by.
///
/// See `ZqNormalContactLaw` for the force and `zqShareOutPatch` for the weights of points; the whole patch is shared out,
/// with its points that do not overlap, so that a share does not jump when a point lifts off. Friction is that of the
/// law held: for each point by `ZqPointFrictionForceProcessor`, at one point with the whole normal force by the others.
///
/// Surfaces have k under "surfaceTensionSpringConstant", e under "zqSurfaceTensionSpringExponent" and c under
/// "surfaceDissipation". What a surface does not have, or has out of range, is the law's default.
class ZqPointContactForceProcessor
   : public ZqXmlClass<ZqPointContactForceProcessor, ZqBaseCollisionForceProcessor>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqPointContactForceProcessorToken; }
   static constexpr const char* documentation =
      "forces of contact in which each point presses for itself";
   template <class This = ZqPointContactForceProcessor>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_dissipativeForceProcessorContainer,
                     &ZqManip::ZqDissipativeForceProcessorContainerToken, "the law of friction"},
         ZqComponent{&This::m_useFriction, &ZqManip::ZqUseFrictionToken,
                     "whether there is friction"},
         ZqComponent{&This::m_defaultSpringConstant, &ZqManip::ZqDefaultSpringConstantToken,
                     "stiffness of a surface that tells none (N/m^e)"},
         ZqComponent{&This::m_defaultSpringExponent, &ZqManip::ZqDefaultSpringExponentToken,
                     "exponent of the depth, likewise"},
         ZqComponent{&This::m_defaultDissipation, &ZqManip::ZqDefaultDissipationToken,
                     "dissipation by the rate of the depth, likewise (s/m)"},
         ZqComponent{&This::m_settlingDampingRatio, &ZqManip::ZqSettlingDampingRatioToken,
                     "damping of small motions along the normal, 1 is critical"},
         ZqComponent{&This::m_settlingForceFraction, &ZqManip::ZqSettlingForceFractionToken,
                     "part of the spring's force that this damping may reach"}};
   }
   /// Numbers out of range are replaced by their defaults, with a remark.
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqPointContactForceProcessor&) const = default;

   /// Leaves the forces of each point, the energies and the losses in the response of the record. False, and nothing
   /// done, when the record does not know both links. Shapes that are free of contact forces get none. Both bodies get
   /// opposite forces at one place, midway between the surfaces. The time (s) is that of the state: friction that
   /// remembers is led on to it.
   bool process(ZqShapeCollisionData& data, ZqSystemActiveState& activeState,
                const ZqXmlVectorType<ZqManipulatorTorque>& torques,
                ZqXmlVectorType<ZqManipulatorExternalForce>& forces,
                const ZqReal& time) const override;

   /// What a surface with these values is made of; null has none.
   ZqContactMaterial surfaceMaterial(const ZqDataMap* values) const;
   /// The law of two bodies with such surfaces.
   ZqNormalContactLaw normalLaw(const ZqContactMaterial& surface1,
                                const ZqContactMaterial& surface2, ZqReal mass) const noexcept;

   /// \name Friction
   /// @{
   const ZqBaseDissipativeForceProcessor* dissipativeForceProcessor() const
   {
      return m_dissipativeForceProcessorContainer.topElement();
   }
   /// Holds a clone.
   void setDissipativeForceProcessor(const ZqBaseDissipativeForceProcessor& law)
   {
      m_dissipativeForceProcessorContainer.setTopElement(law);
   }
   const ZqDissipativeForceProcessorContainer& dissipativeForceProcessorContainer() const
   {
      return m_dissipativeForceProcessorContainer;
   }
   void setDissipativeForceProcessorContainer(const ZqDissipativeForceProcessorContainer& container)
   {
      m_dissipativeForceProcessorContainer = container;
   }
   const bool& useFriction() const { return m_useFriction; }
   void setUseFriction(bool use) { m_useFriction = use; }
   /// @}

   /// \name Constants
   /// Setters reject what is out of range with a message.
   /// @{
   /// From 0 to 1e30 N/m^e.
   const ZqReal& defaultSpringConstant() const { return m_defaultSpringConstant; }
   void setDefaultSpringConstant(ZqReal constant);
   /// From 1 to 10: below 1 a spring is infinitely stiff at first touch, and no step is short enough.
   const ZqReal& defaultSpringExponent() const { return m_defaultSpringExponent; }
   void setDefaultSpringExponent(ZqReal exponent);
   /// From 0 to 1e6 s/m.
   const ZqReal& defaultDissipation() const { return m_defaultDissipation; }
   void setDefaultDissipation(ZqReal dissipation);
   /// From 0 to 1e3.
   const ZqReal& settlingDampingRatio() const { return m_settlingDampingRatio; }
   void setSettlingDampingRatio(ZqReal ratio);
   /// From 0 to 1.
   const ZqReal& settlingForceFraction() const { return m_settlingForceFraction; }
   void setSettlingForceFraction(ZqReal fraction);
   /// @}

private:
   ZqDissipativeForceProcessorContainer m_dissipativeForceProcessorContainer;
   bool m_useFriction = true;
   ZqReal m_defaultSpringConstant = 1e5;
   ZqReal m_defaultSpringExponent = 1.0;
   ZqReal m_defaultDissipation = 1.0;
   ZqReal m_settlingDampingRatio = 0.5;
   ZqReal m_settlingForceFraction = 0.05;
};

extern template class ZqXmlClass<ZqPointContactForceProcessor, ZqBaseCollisionForceProcessor>;
