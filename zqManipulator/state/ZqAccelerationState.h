#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"

class ZqVelocityState;

/// How one manipulator accelerates: the second derivative of each joint in the order of the link
/// indices (rad/s^2 or m/s^2), and the spatial acceleration of the base.
class ZqAccelerationState final : public ZqXmlClass<ZqAccelerationState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqAccelerationStateToken; }
   static constexpr const char* documentation = "the accelerations of a manipulator";
   template <class This = ZqAccelerationState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_jointAccelerations, &ZqManip::ZqJointAccelerationsToken,
                     "acceleration of each joint by link index (rad/s^2, or m/s^2)"},
         ZqComponent{&This::m_generalAcceleration, &ZqManip::ZqGeneralAccelerationToken,
                     "acceleration of the base, in system axes"}};
   }
   static ZqAccelerationState nullObject() { return {}; }
   /// Zero, with as many joints as the velocity state.
   static ZqAccelerationState zeroCompatibleState(const ZqVelocityState& velocityState);
   bool operator==(const ZqAccelerationState&) const = default;

   virtual ZqXmlVectorBasicType<ZqReal>& jointAccelerations() { return m_jointAccelerations; }
   virtual const ZqXmlVectorBasicType<ZqReal>& jointAccelerations() const
   {
      return m_jointAccelerations;
   }
   /// From the first column of an array; rows without a column are rejected with a message.
   virtual void setJointAccelerations(const ZqReArray& accelerations);
   virtual void setJointAccelerations(const ZqXmlVectorBasicType<ZqReal>& accelerations)
   {
      m_jointAccelerations = accelerations;
   }
   virtual ZqGeneralMotion& generalAcceleration() { return m_generalAcceleration; }
   virtual const ZqGeneralMotion& generalAcceleration() const { return m_generalAcceleration; }
   virtual void setGeneralAcceleration(const ZqGeneralMotion& acceleration)
   {
      m_generalAcceleration = acceleration;
   }

   /// Keeps the joints that fit and adds zeros.
   virtual void resize(unsigned jointCount) { m_jointAccelerations.resize(jointCount); }
   /// True when there are as many joints and no number differs by more than the tolerance.
   virtual bool approxEq(const ZqAccelerationState& other, ZqReal tolerance) const;

private:
   ZqXmlVectorBasicType<ZqReal> m_jointAccelerations;
   ZqGeneralMotion m_generalAcceleration;
};

extern template class ZqXmlClass<ZqAccelerationState>;
