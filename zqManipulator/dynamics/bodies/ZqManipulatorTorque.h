#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"

/// What drives one manipulator: a torque (N m) or force (N) for each joint in the order of the link
/// indices, and the spatial force on the base, in its DH frame. For a fixed base the latter is the
/// reaction.
class ZqManipulatorTorque final : public ZqXmlClass<ZqManipulatorTorque>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorTorqueToken; }
   static constexpr const char* documentation = "what drives a manipulator";
   template <class This = ZqManipulatorTorque>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_jointTorques, &ZqManip::ZqJointTorquesToken,
                     "torque (N m) or force (N) of each drive, by link index"},
         ZqComponent{&This::m_generalForce, &ZqFoundCommon::ZqGeneralForceToken,
                     "force on a free base, in its DH frame; the reaction for a fixed one"}};
   }
   /// A shared record without joints.
   static const ZqManipulatorTorque& nullObject();
   bool operator==(const ZqManipulatorTorque&) const = default;

   virtual ZqXmlVectorBasicType<ZqReal>& jointTorques() { return m_jointTorques; }
   virtual const ZqXmlVectorBasicType<ZqReal>& jointTorques() const { return m_jointTorques; }
   /// From the first column of an array; rows without a column are rejected with a message.
   virtual void setJointTorques(const ZqReArray& torques);
   virtual void setJointTorques(const ZqXmlVectorBasicType<ZqReal>& torques)
   {
      m_jointTorques = torques;
   }
   virtual ZqGeneralForce& generalForce() { return m_generalForce; }
   virtual const ZqGeneralForce& generalForce() const { return m_generalForce; }
   virtual void setGeneralForce(const ZqGeneralForce& force) { m_generalForce = force; }

private:
   ZqXmlVectorBasicType<ZqReal> m_jointTorques;
   ZqGeneralForce m_generalForce;
};

extern template class ZqXmlClass<ZqManipulatorTorque>;
