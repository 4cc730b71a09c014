#include "zqManipulator/actuation/ZqOldJointActuator.h"

#include <cmath>
#include <typeinfo>

template class ZqXmlClass<ZqOldJointActuator, ZqBaseJointActuator>;

bool ZqOldJointActuator::operator==(const ZqOldJointActuator& other) const
{
   return std::apply([&](const auto&... component)
                     { return ((this->*component.member == other.*component.member) && ...); },
                     components());
}

ZqReal ZqOldJointActuator::outputTorque(ZqReal inputTorque, ZqReal loadTorque,
                                        ZqManipulatorActiveState& state) const
{
   if (!m_isRigid)
   {
      ensureOutputTorque(state);
      return nonRigidOutputTorque(state);
   }
   const ZqReal driving = inputTorque * m_gearRatio;
   ZqReal torque = 0.0;
   if (typeid(*this) == typeid(ZqOldJointActuator) &&
       rigidTorqueLaw(driving, loadTorque, true, state, torque))
      return torque;
   const ZqReal linear = linearTorque(state);
   const ZqReal friction = dryFrictionTorque(driving - loadTorque - linear, state);
   return keptOutputTorque(driving - linear - friction, state);
}

ZqReal ZqOldJointActuator::linearTorque(ZqManipulatorActiveState& state) const
{
   return viscousFrictionTorque(state) + stopperTorque(state);
}

ZqReal ZqOldJointActuator::stopperTorque(const ZqManipulatorActiveState& state) const
{
   return stopperLaw(state, "ZqOldJointActuator::stopperTorque()->index out of range\n");
}

ZqReal ZqOldJointActuator::viscousFrictionTorque(const ZqManipulatorActiveState& state) const
{
   return viscousFrictionLaw(state,
                             "ZqOldJointActuator::viscousFrictionTorque()->index out of range\n");
}

ZqReal ZqOldJointActuator::dryFrictionTorque(ZqReal drivingTorque,
                                             ZqManipulatorActiveState& state) const
{
   return dryFrictionLaw(drivingTorque, state,
                         "ZqOldJointActuator::dryFrictionTorque()->index out of range\n");
}

void ZqOldJointActuator::acceleration(ZqReal inputTorque, ZqManipulatorActiveState& state) const
{
   ZqReal* const result =
      motorAcceleration(state, "ZqOldJointActuator::acceleration()->index out of range\n");
   if (result == nullptr)
      return;
   if (!motorIsBody())
   {
      *result = followingAcceleration(state);
      return;
   }
   const ZqReal net = inputTorque * m_gearRatio - linearTorque(state) - nonRigidOutputTorque(state);
   *result = motorAccelerationLaw(net - dryFrictionTorque(net, state));
}

ZqReal ZqOldJointActuator::effectiveInertia(ZqReal) const
{
   return effectiveInertiaLaw();
}

void ZqOldJointActuator::scaleBy(ZqReal scale, ZqReal jointScale)
{
   scaleParametersBy(scale, jointScale);
   const ZqReal fifthPower = std::pow(scale, 5.0);
   m_minTorque = scaledLimit(m_minTorque, fifthPower);
   m_maxTorque = scaledLimit(m_maxTorque, fifthPower);
}

void ZqOldJointActuator::initializeActuatorStates(ZqManipulatorActiveState& state) const
{
   initializeStates(state, "ZqOldJointActuator::initializeActuatorStates()->index out of range\n");
}

ZqReal ZqOldJointActuator::nonRigidOutputTorque(ZqManipulatorActiveState& state) const
{
   return shaftLaw(state, "ZqOldJointActuator::nonRigidOutputTorque()->index out of range\n");
}
