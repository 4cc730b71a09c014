#pragma once

#include "zqManipulator/contact/friction/ZqBaseDissipativeForceProcessor.h"

/// Friction by springs: each point of a contact holds on to both bodies, and sticks and slips for itself.
///
/// A spring of a point runs between two anchors, one fixed in each body. Its stretch s is what the anchors have
/// moved apart across the normal, so it follows from where the bodies stand and from nothing that was summed up:
/// nothing creeps, and a motion of both bodies together changes nothing. With a torsion radius r, s has along the
/// normal the arc r times the twist. With the point's weight w, the stiffness kt and the damper ct of the patch, the
/// rate v of s and the normal force N, what the point does to body 2 is
///
///     f = w kt s + beta w ct v,   beta the largest in [0, 1] with |f| <= mu N
///
/// and the opposite to body 1 at the same place. Where the spring alone is beyond the cone the point yields: the
/// anchors follow, so that the spring holds just mu N. A force thus points along s, never along a velocity, and one of
/// rounding size does nothing.
///
/// Whether mu is that of static or of kinetic friction is a matter of the patch. It begins to stick; it slips when
/// every point that overlaps is beyond its static cone and is pulled on; it sticks again as soon as the motion unloads
/// the springs as a whole. So it breaks away at muS times the whole normal force, however unevenly its points are
/// loaded.
///
/// | symbol | is                                                     | unit  |
/// |--------|--------------------------------------------------------|-------|
/// | kt     | tangentialToNormalStiffness times the normal stiffness | N/m   |
/// | ct     | 2 dampingRatio sqrt(kt m), m the mass of the pair       | N s/m |
/// | muS    | tangential static friction of the pair of materials    |       |
/// | muK    | kinetic friction of the pair of materials              |       |
///
/// When corners of the patch change, springs are handed on: by the names of points, among the others by nearest place;
/// a point without a predecessor has its spring as the patch has moved as a whole.
class ZqPointFrictionForceProcessor
   : public ZqXmlClass<ZqPointFrictionForceProcessor, ZqBaseDissipativeForceProcessor>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqPointFrictionForceProcessorToken; }
   static constexpr const char* documentation =
      "friction in which each point of a contact sticks and slips for itself";
   template <class This = ZqPointFrictionForceProcessor>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_tangentialToNormalStiffness,
                                    &ZqManip::ZqTangentialToNormalStiffnessToken,
                                    "stiffness along the surface by that along the normal"},
                        ZqComponent{&This::m_dampingRatio, &ZqManip::ZqDampingRatioToken,
                                    "damping of points that stick, 1 is critical"},
                        ZqComponent{&This::m_torsionRadius, &ZqManip::ZqTorsionRadiusToken,
                                    "lever with which a point resists twist about the normal (m)"}};
   }
   /// Numbers out of range are replaced by their defaults, with a remark.
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqPointFrictionForceProcessor&) const = default;

   /// The law for a contact of one point, for who looks at a contact as one patch: a spring between the places where
   /// sticking began, with the whole normal force. True.
   ///
   /// It is as stiff as two surfaces of the default stiffness are, and damped for the input's linear inertia. It breaks
   /// away when the spring is beyond the static cone and is pulled on. Sliding is braked by muK N against the velocity,
   /// below 1e-6 m/s in proportion to it, and it sticks again when it is not getting faster and the damper alone is
   /// within that.
   bool process(const ZqDissipativeForceInput& input,
                ZqDissipativeForceOutput& output) const override;
   /// True. Grips, mode and time of the memory are led on to the input's time; the rest of it stays.
   bool processPoints(const ZqPatchFrictionInput& input, ZqContactMemory& memory,
                      ZqPatchFriction& output) const override;

   /// \name Constants
   /// From 0 to 1e3 each. Setters reject all else with a message.
   /// @{
   const ZqReal& tangentialToNormalStiffness() const { return m_tangentialToNormalStiffness; }
   void setTangentialToNormalStiffness(ZqReal ratio);
   const ZqReal& dampingRatio() const { return m_dampingRatio; }
   void setDampingRatio(ZqReal ratio);
   const ZqReal& torsionRadius() const { return m_torsionRadius; }
   void setTorsionRadius(ZqReal radius);
   /// @}

private:
   ZqReal m_tangentialToNormalStiffness = 0.8;
   ZqReal m_dampingRatio = 0.5;
   ZqReal m_torsionRadius = 0.0;
};

extern template class ZqXmlClass<ZqPointFrictionForceProcessor, ZqBaseDissipativeForceProcessor>;
