#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"
#include "zqManipulator/state/ZqPositionState.h"

/// The limits of the drive, as constraints.
struct ZqManipulatorLink::DefaultLimits
{
   ZqMultivariableJointStateConstraint upper{ZqLinearMultivariableConstraint()};
   ZqMultivariableJointStateConstraint lower{ZqLinearMultivariableConstraint()};
};

void ZqManipulatorLink::dropDefaultLimits() noexcept
{
   delete m_defaultLimits.load(std::memory_order_relaxed);
}

/// upper - q and q - lower.
void ZqManipulatorLink::setDefaultLimits(DefaultLimits& limits) const
{
   const auto set = [&](ZqMultivariableJointStateConstraint& limit, ZqReal constant, ZqReal sign)
   {
      auto& function = static_cast<ZqLinearMultivariableConstraint&>(*limit.constraint());
      function.setConstantTerm(constant);
      function.clearCoefficients();
      function.setCoefficient(m_linkIndex, sign);
   };
   set(limits.upper, m_jointActuator.upperLimit(), -1.0);
   set(limits.lower, -m_jointActuator.lowerLimit(), 1.0);
}

/// Those that are made first are kept.
const ZqManipulatorLink::DefaultLimits& ZqManipulatorLink::defaultLimits() const
{
   DefaultLimits* made = m_defaultLimits.load(std::memory_order_acquire);
   if (made != nullptr)
      return *made;
   auto limits = std::make_unique<DefaultLimits>();
   setDefaultLimits(*limits);
   return m_defaultLimits.compare_exchange_strong(made, limits.get(), std::memory_order_acq_rel)
             ? *limits.release()
             : *made;
}

void ZqManipulatorLink::updateDefaultLimitConstraints()
{
   if (DefaultLimits* const limits = m_defaultLimits.load(std::memory_order_acquire))
      setDefaultLimits(*limits);
}

const ZqBaseStateConstraint& ZqManipulatorLink::upperLimitConstraint() const
{
   const ZqBaseStateConstraint* const own = m_upperLimitConstraint.topElement();
   return own != nullptr ? *own : defaultLimits().upper;
}

const ZqBaseStateConstraint& ZqManipulatorLink::lowerLimitConstraint() const
{
   const ZqBaseStateConstraint* const own = m_lowerLimitConstraint.topElement();
   return own != nullptr ? *own : defaultLimits().lower;
}

void ZqManipulatorLink::setUpperLimitConstraint(const ZqBaseStateConstraint& constraint)
{
   m_upperLimitConstraint.setTopElement(constraint);
   modelChanges();
}

void ZqManipulatorLink::setLowerLimitConstraint(const ZqBaseStateConstraint& constraint)
{
   m_lowerLimitConstraint.setTopElement(constraint);
   modelChanges();
}

void ZqManipulatorLink::setUpperLimitConstraintContainer(
   const ZqStateConstraintContainer& container)
{
   m_upperLimitConstraint = container;
   modelChanges();
}

void ZqManipulatorLink::setLowerLimitConstraintContainer(
   const ZqStateConstraintContainer& container)
{
   m_lowerLimitConstraint = container;
   modelChanges();
}

bool ZqManipulatorLink::isWithinLimits(const ZqPositionState& position) const
{
   // The limits of the drive are asked for as numbers, so that nothing is made for them.
   const std::vector<ZqReal>& q = position.jointPositions();
   const ZqReal own = m_linkIndex < q.size() ? q[m_linkIndex] : 0.0;
   const ZqBaseStateConstraint* const upper = m_upperLimitConstraint.topElement();
   const ZqBaseStateConstraint* const lower = m_lowerLimitConstraint.topElement();
   const ZqReal below =
      upper != nullptr ? upper->evaluate(position) : m_jointActuator.upperLimit() - own;
   const ZqReal above =
      lower != nullptr ? lower->evaluate(position) : own - m_jointActuator.lowerLimit();
   return below >= 0.0 && above >= 0.0;
}
