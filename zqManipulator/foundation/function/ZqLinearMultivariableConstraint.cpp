#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"

#include <algorithm>

template class ZqXmlClass<ZqLinearMultivariableConstraint, ZqBaseMultivariableConstraint>;

std::size_t ZqLinearMultivariableConstraint::count() const noexcept
{
   return std::min(m_indices.size(), m_coefficients.size());
}

ZqReal ZqLinearMultivariableConstraint::evaluate(const std::vector<ZqReal>& variables) const
{
   ZqReal sum = m_constantTerm;
   for (std::size_t i = 0; i < count(); ++i)
      if (m_indices[i] < variables.size())
         sum += m_coefficients[i] * variables[m_indices[i]];
   return sum;
}

void ZqLinearMultivariableConstraint::getGradient(const std::vector<ZqReal>& variables,
                                                  std::vector<ZqReal>& gradient) const
{
   gradient.assign(variables.size(), 0.0);
   for (std::size_t i = 0; i < count(); ++i)
      if (m_indices[i] < gradient.size())
         gradient[m_indices[i]] += m_coefficients[i];
}

ZqReal ZqLinearMultivariableConstraint::coefficient(ZqU32 index) const noexcept
{
   ZqReal sum = 0.0;
   for (std::size_t i = 0; i < count(); ++i)
      if (m_indices[i] == index)
         sum += m_coefficients[i];
   return sum;
}

void ZqLinearMultivariableConstraint::setCoefficient(ZqU32 index, ZqReal value)
{
   m_indices.resize(count());
   m_coefficients.resize(m_indices.size());
   for (std::size_t i = count(); i-- > 0;)
      if (m_indices[i] == index)
         removeTerm(i);
   if (value == 0.0)
      return;
   const auto place = std::lower_bound(m_indices.begin(), m_indices.end(), index);
   m_coefficients.values().insert(m_coefficients.begin() + (place - m_indices.begin()), value);
   m_indices.values().insert(place, index);
}

void ZqLinearMultivariableConstraint::clearCoefficients() noexcept
{
   m_indices.clear();
   m_coefficients.clear();
}

void ZqLinearMultivariableConstraint::removeTerm(std::size_t place)
{
   const auto offset = static_cast<std::ptrdiff_t>(place);
   m_indices.values().erase(m_indices.begin() + offset);
   m_coefficients.values().erase(m_coefficients.begin() + offset);
}

bool ZqLinearMultivariableConstraint::apply(const NewVariable& newVariable)
{
   for (std::size_t i = count(); i-- > 0;)
   {
      const Moved moved = newVariable(m_indices[i]);
      m_indices[i] = moved.index;
      m_coefficients[i] /= moved.factor;
      m_constantTerm -= m_coefficients[i] * moved.shift;
      if (moved.index != gone)
         continue;
      if (m_coefficients[i] != 0.0)
         return false;
      removeTerm(i);
   }
   return true;
}
