#pragma once

#include "zqManipulator/foundation/function/ZqMultivariableConstraintContainer.h"
#include "zqManipulator/simulation/constraints/ZqBaseStateConstraint.h"

/// A constraint of many variables, which are the joint positions by link index.
class ZqMultivariableJointStateConstraint
   : public ZqXmlClass<ZqMultivariableJointStateConstraint, ZqBaseStateConstraint>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqMultivariableJointStateConstraintToken; }
   static constexpr const char* documentation =
      "a function of the joint positions that is zero or more where they are allowed";
   template <class This = ZqMultivariableJointStateConstraint>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_constraint,
                                    &ZqFunction::ZqMultivariableConstraintContainerToken,
                                    "function of the joint positions, by link index"}};
   }
   bool operator==(const ZqMultivariableJointStateConstraint&) const = default;

   ZqMultivariableJointStateConstraint() = default;
   explicit ZqMultivariableJointStateConstraint(const ZqBaseMultivariableConstraint& constraint)
   {
      m_constraint.setTopElement(constraint);
   }

   /// 0.0 without a function: everything is allowed.
   ZqReal evaluate(const ZqPositionState& position) const override;
   void getGradient(const ZqPositionState& position, std::vector<ZqReal>& gradient) const override;
   bool apply(const ZqLinkEdit& edit) override;

   /// Null when there is none.
   virtual const ZqBaseMultivariableConstraint* constraint() const
   {
      return m_constraint.topElement();
   }
   virtual ZqBaseMultivariableConstraint* constraint() { return m_constraint.topElement(); }
   virtual void setConstraint(const ZqBaseMultivariableConstraint& constraint)
   {
      m_constraint.setTopElement(constraint);
   }

private:
   ZqMultivariableConstraintContainer m_constraint;
};

extern template class ZqXmlClass<ZqMultivariableJointStateConstraint, ZqBaseStateConstraint>;
