#pragma once

#include "zqManipulator/foundation/function/ZqMultivariableConstraintVector.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/simulation/constraints/ZqBaseStateConstraint.h"

/// One of several constraints, selected by the position x of one joint: the first whose upper bound is
/// not below x. Beyond the last bound everything is allowed. A single constraint without a bound holds
/// everywhere.
///
/// The constraints should agree at the bounds between them: a value that leaps there is a limit that nothing
/// approaches.
class ZqConditionalJointStateConstraint
   : public ZqXmlClass<ZqConditionalJointStateConstraint, ZqBaseStateConstraint>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqConditionalJointStateConstraintToken; }
   static constexpr const char* documentation =
      "one of several functions of the joint positions, selected by the position of a joint";
   template <class This = ZqConditionalJointStateConstraint>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_index, &ZqManip::ZqLinkIdToken, "index of the joint that selects"},
         ZqComponent{&This::m_conditionals, &ZqManip::ZqConditionalVectorToken,
                     "for each function, up to where of the joint that selects "
                     "(rad or m) it counts; ascending"},
         ZqComponent{&This::m_constraints, &ZqManip::ZqStateConstraintVectorToken,
                     "functions of the joint positions, by link index"}};
   }
   bool operator==(const ZqConditionalJointStateConstraint&) const = default;

   /// 0.0 where no constraint is selected.
   ZqReal evaluate(const ZqPositionState& position) const override;
   /// Zeros where no constraint is selected.
   void getGradient(const ZqPositionState& position, std::vector<ZqReal>& gradient) const override;
   bool apply(const ZqLinkEdit& edit) override;
   void scaleBy(const ZqModelScaling& scaling) override;

   virtual ZqU32 index() const { return m_index; }
   virtual void setIndex(ZqU32 index) { m_index = index; }
   virtual const ZqXmlVectorBasicType<ZqReal>& conditionals() const { return m_conditionals; }
   virtual void setConditionals(const ZqXmlVectorBasicType<ZqReal>& bounds)
   {
      m_conditionals = bounds;
   }
   virtual const ZqMultivariableConstraintVector& constraints() const { return m_constraints; }
   virtual void setConstraints(const ZqMultivariableConstraintVector& constraints)
   {
      m_constraints = constraints;
   }

protected:
   /// Null when the position is beyond the bounds of all constraints.
   const ZqBaseMultivariableConstraint* getActiveConstraint(ZqReal x) const;

private:
   bool isUnconditional() const { return m_conditionals.size() == 0 && m_constraints.size() == 1; }
   void moveBounds(ZqReal factor, ZqReal shift);
   void turn();
   const ZqBaseMultivariableConstraint* constraintAt(const ZqPositionState& position) const;

   ZqU32 m_index = 0;
   ZqXmlVectorBasicType<ZqReal> m_conditionals;
   ZqMultivariableConstraintVector m_constraints;
};

extern template class ZqXmlClass<ZqConditionalJointStateConstraint, ZqBaseStateConstraint>;
