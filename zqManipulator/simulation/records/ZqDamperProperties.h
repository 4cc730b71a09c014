#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

class ZqIndividualManipulator;
class ZqLinkEdit;
class ZqManipulatorActiveState;
class ZqVelocityState;

/// A damper at a joint, which the velocities of any joints of its manipulator move:
///
///     torque = c sum of w qd
///
/// with the damper constant c (N m s/rad, or as the joint's units ask), and for each associated
/// joint, by the label of its link, a weight w. The torque counts against the drive.
class ZqDamperProperties : public ZqXmlClass<ZqDamperProperties>
{
public:
   using Reals = ZqXmlVectorBasicType<ZqReal>;
   using Labels = ZqXmlVectorType<ZqString>;

   static const ZqToken& classToken() { return ZqManip::ZqDamperPropertiesToken; }
   static constexpr const char* documentation =
      "a damper at a joint: torque = damperConstant times the weighted sum of joint velocities, "
      "against the drive";
   template <class This = ZqDamperProperties>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_damperConstant, &ZqManip::ZqDamperConstantToken,
                                    "damper constant (N m s/rad, or as the joint's units ask)"},
                        ZqComponent{&This::m_weightingFactors, &ZqManip::ZqWeightingFactorsToken,
                                    "weight of each associated joint"},
                        ZqComponent{&This::m_associatedJoints, &ZqManip::ZqAssociatedJointsToken,
                                    "labels of the links whose joints count"}};
   }
   static ZqDamperProperties nullObject() { return {}; }
   bool operator==(const ZqDamperProperties&) const = default;

   virtual ZqReal damperConstant() const { return m_damperConstant; }
   virtual void setDamperConstant(ZqReal constant) { m_damperConstant = constant; }
   virtual const Reals& weightingFactors() const { return m_weightingFactors; }
   virtual void setWeightingFactors(const Reals& factors) { m_weightingFactors = factors; }
   virtual const Labels& associatedJoints() const { return m_associatedJoints; }
   virtual void setAssociatedJoints(const Labels& labels) { m_associatedJoints = labels; }

   /// Unequal numbers of joints and weights are rejected with a message, and 0.0. A label that
   /// stands for no joint of the state is reported, and adds nothing.
   virtual ZqReal torque(const ZqIndividualManipulator& manipulator,
                         const ZqVelocityState& state) const;
   virtual ZqReal torque(const ZqIndividualManipulator& manipulator,
                         const ZqManipulatorActiveState& state) const;
   /// Follows the links of the associated joints; a joint that is gone is one no longer.
   void apply(const ZqLinkEdit& edit);
   /// The torque counts in the other sense.
   void turnTorque();
   /// Whether there is no damper.
   bool isEmpty() const
   {
      return m_associatedJoints.Labels::vectorContainer().empty() &&
             m_weightingFactors.values().empty();
   }

private:
   ZqReal m_damperConstant = 0.0;
   Reals m_weightingFactors;
   Labels m_associatedJoints;
};

extern template class ZqXmlClass<ZqDamperProperties>;
