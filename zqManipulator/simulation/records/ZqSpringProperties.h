#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

class ZqIndividualManipulator;
class ZqLinkEdit;
class ZqManipulatorActiveState;
class ZqPositionState;

/// A spring at a joint, which the positions of any joints of its manipulator stretch:
///
///     torque = k sum of w (q - q0)
///
/// with the spring constant k (N m/rad, or as the joint's units ask), and for each associated
/// joint, by the label of its link, a weight w and an offset q0. The torque counts against the
/// drive.
class ZqSpringProperties : public ZqXmlClass<ZqSpringProperties>
{
public:
   using Reals = ZqXmlVectorBasicType<ZqReal>;
   using Labels = ZqXmlVectorType<ZqString>;

   static const ZqToken& classToken() { return ZqManip::ZqSpringPropertiesToken; }
   static constexpr const char* documentation =
      "a spring at a joint: torque = springConstant times the weighted sum of joint positions less "
      "offsets, against the drive";
   template <class This = ZqSpringProperties>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_springConstant, &ZqManip::ZqSpringConstantToken,
                     "spring constant (N m/rad, or as the joint's units ask)"},
         ZqComponent{&This::m_weightingFactors, &ZqManip::ZqWeightingFactorsToken,
                     "weight of each associated joint"},
         ZqComponent{&This::m_springOffsets, &ZqManip::ZqSpringOffsetsToken,
                     "position at which each associated joint is at rest (rad, or m)"},
         ZqComponent{&This::m_associatedJoints, &ZqManip::ZqAssociatedJointsToken,
                     "labels of the links whose joints count"}};
   }
   static ZqSpringProperties nullObject() { return {}; }
   bool operator==(const ZqSpringProperties&) const = default;

   virtual ZqReal springConstant() const { return m_springConstant; }
   virtual void setSpringConstant(ZqReal constant) { m_springConstant = constant; }
   virtual const Reals& weightingFactors() const { return m_weightingFactors; }
   virtual void setWeightingFactors(const Reals& factors) { m_weightingFactors = factors; }
   virtual const Reals& springOffsets() const { return m_springOffsets; }
   virtual void setSpringOffsets(const Reals& offsets) { m_springOffsets = offsets; }
   virtual const Labels& associatedJoints() const { return m_associatedJoints; }
   virtual void setAssociatedJoints(const Labels& labels) { m_associatedJoints = labels; }

   /// Unequal numbers of joints, weights and offsets are rejected with a message, and 0.0. A label
   /// that stands for no joint of the state is reported, and adds nothing.
   virtual ZqReal torque(const ZqIndividualManipulator& manipulator,
                         const ZqPositionState& state) const;
   virtual ZqReal torque(const ZqIndividualManipulator& manipulator,
                         const ZqManipulatorActiveState& state) const;
   /// \name Energies of the spring at the joint with this index
   /// Their sums over all joints of a manipulator count; what `torque` leaves out, they leave out silently.
   /// @{
   /// What it holds (J): k w (q - q0)^2 / 2 of its own joint. With k w q (q' / 2 - q0') for each other joint q' the
   /// sum is the potential of springs that act on each other alike.
   ZqReal heldEnergy(ZqU32 joint, const ZqIndividualManipulator& manipulator,
                     const ZqManipulatorActiveState& state) const;
   /// What it takes besides (W), where springs of two joints act on each other unlike, which has no potential:
   /// k w (q' qd - q qd') / 2.
   ZqReal circulatingPower(ZqU32 joint, const ZqIndividualManipulator& manipulator,
                           const ZqManipulatorActiveState& state) const;
   /// @}
   /// Follows the links of the associated joints; a joint that is gone is one no longer.
   void apply(const ZqLinkEdit& edit);
   /// The torque counts in the other sense.
   void turnTorque();
   /// Whether there is no spring.
   bool isEmpty() const
   {
      return m_associatedJoints.Labels::vectorContainer().empty() &&
             m_weightingFactors.values().empty() && m_springOffsets.values().empty();
   }

private:
   ZqReal m_springConstant = 0.0;
   Reals m_weightingFactors;
   Reals m_springOffsets;
   Labels m_associatedJoints;
};

extern template class ZqXmlClass<ZqSpringProperties>;
