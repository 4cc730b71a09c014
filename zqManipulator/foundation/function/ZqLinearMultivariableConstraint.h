#pragma once

#include "zqManipulator/foundation/function/ZqBaseMultivariableConstraint.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"

/// A constant and a weighted sum of variables: constant + sum of coefficient x variable. Variables that
/// have no coefficient take no part and cost nothing.
class ZqLinearMultivariableConstraint
   : public ZqXmlClass<ZqLinearMultivariableConstraint, ZqBaseMultivariableConstraint>
{
public:
   static const ZqToken& classToken() { return ZqFunction::ZqLinearMultivariableConstraintToken; }
   static constexpr const char* documentation =
      "a constant and a weighted sum of variables, to be zero or more";
   template <class This = ZqLinearMultivariableConstraint>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_constantTerm, &ZqFunction::ZqConstantTermToken, "constant"},
         ZqComponent{&This::m_indices, &ZqFunction::ZqIndicesToken,
                     "indices of the variables that take part"},
         ZqComponent{&This::m_coefficients, &ZqFunction::ZqCoefficientsToken,
                     "coefficient of each of them; those of an index that is repeated add up"}};
   }
   bool operator==(const ZqLinearMultivariableConstraint&) const = default;

   /// What one of the two lists has beyond the other counts for nothing.
   ZqReal evaluate(const std::vector<ZqReal>& variables) const override;
   void getGradient(const std::vector<ZqReal>& variables,
                    std::vector<ZqReal>& gradient) const override;
   bool apply(const NewVariable& newVariable) override;

   ZqReal constantTerm() const noexcept { return m_constantTerm; }
   void setConstantTerm(ZqReal value) noexcept { m_constantTerm = value; }
   /// Zero for a variable that takes no part.
   ZqReal coefficient(ZqU32 index) const noexcept;
   /// Zero takes the variable out.
   void setCoefficient(ZqU32 index, ZqReal value);
   const std::vector<ZqU32>& indices() const noexcept { return m_indices; }
   const std::vector<ZqReal>& coefficients() const noexcept { return m_coefficients; }
   void clearCoefficients() noexcept;

private:
   std::size_t count() const noexcept;
   void removeTerm(std::size_t place);

   ZqReal m_constantTerm = 0.0;
   ZqXmlVectorBasicType<ZqU32> m_indices;
   ZqXmlVectorBasicType<ZqReal> m_coefficients;
};

extern template class ZqXmlClass<ZqLinearMultivariableConstraint, ZqBaseMultivariableConstraint>;
