#pragma once

#include "zqManipulator/simulation/constraints/ZqBaseStateEqualityConstraint.h"

/// Weighted sums of the velocities of joints and base that stay zero, such as the gear between two
/// joints: each row of weights is a row of the Jacobian.
///
/// A row of joint weights is by link index, one of base weights is of up to six numbers, linear part
/// first; what a row lacks is zero, and what is beyond the degrees of freedom has no effect. The base
/// weights of a fixed base have none either, but there are as many constraints as all three lists have
/// entries. The values of the weighted sums themselves are kept for their user.
class ZqLinearStateEqualityConstraint
   : public ZqXmlClass<ZqLinearStateEqualityConstraint, ZqBaseStateEqualityConstraint>
{
public:
   using Weights = ZqXmlVectorType<ZqXmlVectorBasicType<ZqReal>>;

   static const ZqToken& classToken() { return ZqManip::ZqLinearStateEqualityConstraintToken; }
   static constexpr const char* documentation =
      "weighted sums of the velocities of joints and base that stay zero";
   template <class This = ZqLinearStateEqualityConstraint>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_jointWeights, &ZqManip::ZqJointWeightsToken,
                     "for each sum, a weight for each joint by link index"},
         ZqComponent{&This::m_baseWeights, &ZqManip::ZqBaseWeightsToken,
                     "for each sum, up to six weights of the base, linear part first"},
         ZqComponent{&This::m_weightedSums, &ZqManip::ZqWeightedSumsToken,
                     "value of each sum, kept for its user"}};
   }
   bool operator==(const ZqLinearStateEqualityConstraint&) const = default;

   /// The length of the shortest of the three lists.
   ZqU32 doc() const override;
   /// With no constraint, the array of the last call with one.
   const ZqReArray& jacobian(const ZqIndividualManipulator& manipulator,
                             const ZqPositionState& position) const override;
   /// Zero.
   const ZqReArray& jacobianDerivative(const ZqIndividualManipulator& manipulator,
                                       const ZqPositionState& position,
                                       const ZqVelocityState& velocity) const override;
   /// Without gap or bias: what is held is the sum of velocities.
   void addKinematics(const ZqIndividualManipulator& manipulator,
                      ZqManipulatorActiveState& activeState, ZqU32 firstRow,
                      ZqConstraintKinematics& kinematics) const override;
   /// A sum in which a joint that is gone had weight is no constraint any more.
   bool apply(const ZqLinkEdit& edit) override;

   virtual const Weights& jointWeights() const { return m_jointWeights; }
   virtual void setJointWeights(const Weights& weights) { m_jointWeights = weights; }
   virtual const Weights& baseWeights() const { return m_baseWeights; }
   virtual void setBaseWeights(const Weights& weights) { m_baseWeights = weights; }
   virtual const ZqXmlVectorBasicType<ZqReal>& weightedSums() const { return m_weightedSums; }
   virtual void setWeightedSums(const ZqXmlVectorBasicType<ZqReal>& sums) { m_weightedSums = sums; }

private:
   void restate(std::vector<ZqReal>& weights, ZqU32 row, const ZqLinkEdit& edit);
   void copyWeights(const ZqIndividualManipulator& manipulator, ZqU32 firstRow,
                    ZqReArray& rows) const;

   Weights m_jointWeights;
   Weights m_baseWeights;
   ZqXmlVectorBasicType<ZqReal> m_weightedSums;
};

extern template class ZqXmlClass<ZqLinearStateEqualityConstraint, ZqBaseStateEqualityConstraint>;
