#pragma once

#include "zqManipulator/actuation/ZqBaseJointActuator.h"
#include "zqManipulator/actuation/ZqDriveTrain.h"

/// The drive of a joint in one piece, as old documents hold it: a drive train and limits of the
/// torque at the motor. `ZqJointActuator::setFromOldJointActuator` converts it. Parameters and laws are
/// those of `ZqMechanicalActuatorComponent`, with two differences: the gear has no loss, and the dry
/// friction of a rigid drive opposes what viscous friction and stoppers have left of the torque.
class ZqOldJointActuator : public ZqDriveTrainClass<ZqOldJointActuator, ZqBaseJointActuator>
{
public:
   static constexpr Messages messages{
      "ZqOldJointActuator::stopperTorque()->index out of range\n",
      "ZqOldJointActuator::viscousFrictionTorque()->index out of range\n",
      "ZqOldJointActuator::dryFrictionTorque()->index out of range\n",
      "ZqOldJointActuator::acceleration()->index out of range\n",
      "ZqOldJointActuator::initializeActuatorStates()->index out of range\n",
      "ZqOldJointActuator::nonRigidOutputTorque()->index out of range\n"};
   static constexpr bool frictionMeetsRest = true;
   static const ZqToken& classToken() { return ZqManip::ZqJointActuatorToken; }
   static constexpr const char* documentation =
      "the drive of a joint in one piece, of old documents";
   template <class This = ZqOldJointActuator>
   static constexpr auto components()
   {
      return std::tuple_cat(This::template gearComponents<>(),
                            std::tuple{ZqComponent{&This::m_minTorque, &ZqManip::ZqMinTorqueToken,
                                                   "least torque at the motor (N m, or N)"},
                                       ZqComponent{&This::m_maxTorque, &ZqManip::ZqMaxTorqueToken,
                                                   "greatest torque at the motor (N m, or N)"}},
                            This::template lossComponents<>());
   }

   /// The link takes no part.
   bool operator==(const ZqOldJointActuator& other) const { return hasParametersOf(other); }
   static ZqOldJointActuator nullObject() { return {}; }

   ZqReal maxOutputTorque() const override { return m_gearRatio * m_maxTorque; }
   ZqReal minOutputTorque() const override { return m_gearRatio * m_minTorque; }
   ZqReal maxTorque() const override { return m_maxTorque; }
   void setMaxTorque(ZqReal torque) override { m_maxTorque = torque; }
   ZqReal minTorque() const override { return m_minTorque; }
   void setMinTorque(ZqReal torque) override { m_minTorque = torque; }
   ZqReal efficiency() const { return 1.0; }
   /// Limits of the torque go with the fifth power of the scale.
   void scaleBy(ZqReal scale, ZqReal jointScale) override;

private:
   ZqReal m_minTorque = -1e300;
   ZqReal m_maxTorque = 1e300;
};

extern template class ZqXmlClass<ZqOldJointActuator, ZqBaseJointActuator>;
extern template class ZqDriveTrainClass<ZqOldJointActuator, ZqBaseJointActuator>;
