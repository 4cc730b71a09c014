#pragma once

#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"

/// What the articulated body recursion finds for one link, each with a flag that its setter raises:
/// the articulated body of the link and its descendants and the acceleration of the DH frame, both in
/// the axes of the DH frame, and the acceleration of the joint.
class ZqLinkArticulationState final : public ZqXmlClass<ZqLinkArticulationState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkArticulationStateToken; }
   static constexpr const char* documentation = "the articulated body of a link";
   template <class This = ZqLinkArticulationState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_arbd, &ZqManip::ZqArbdToken,
                     "articulated body of the link and its descendants, in the DH frame"},
         ZqComponent{&This::m_arbdValid, &ZqManip::ZqArbdValidToken, "whether it is computed"},
         ZqComponent{&This::m_supplementalDhAcceleration,
                     &ZqManip::ZqSupplementalDhAccelerationToken,
                     "acceleration of the DH frame, in its own axes"},
         ZqComponent{&This::m_supplementalDhAccelerationValid,
                     &ZqManip::ZqSupplementalDhAccelerationValidToken, "whether it is computed"},
         ZqComponent{&This::m_supplementalJointAcceleration,
                     &ZqManip::ZqSupplementalJointAccelerationToken,
                     "acceleration of the joint (rad/s^2, or m/s^2)"},
         ZqComponent{&This::m_supplementalJointAccelerationValid,
                     &ZqManip::ZqSupplementalJointAccelerationValidToken,
                     "whether it is computed"}};
   }
   bool operator==(const ZqLinkArticulationState&) const = default;

   virtual const ZqArticulatedBodyDynamics& arbd() const { return m_arbd; }
   virtual void setArbd(const ZqArticulatedBodyDynamics& arbd)
   {
      m_arbd = arbd;
      m_arbdValid = true;
   }
   /// For a query that computes it in place, and raises the flag.
   ZqArticulatedBodyDynamics& arbdInPlace() { return m_arbd; }
   virtual bool arbdValid() const { return m_arbdValid; }
   virtual void setArbdValid(bool valid) { m_arbdValid = valid; }
   virtual const ZqGeneralMotion& supplementalDhAcceleration() const
   {
      return m_supplementalDhAcceleration;
   }
   virtual void setSupplementalDhAcceleration(const ZqGeneralMotion& acceleration)
   {
      m_supplementalDhAcceleration = acceleration;
      m_supplementalDhAccelerationValid = true;
   }
   virtual bool supplementalDhAccelerationValid() const
   {
      return m_supplementalDhAccelerationValid;
   }
   virtual void setSupplementalDhAccelerationValid(bool valid)
   {
      m_supplementalDhAccelerationValid = valid;
   }
   virtual ZqReal supplementalJointAcceleration() const { return m_supplementalJointAcceleration; }
   virtual void setSupplementalJointAcceleration(ZqReal acceleration)
   {
      m_supplementalJointAcceleration = acceleration;
      m_supplementalJointAccelerationValid = true;
   }
   virtual bool supplementalJointAccelerationValid() const
   {
      return m_supplementalJointAccelerationValid;
   }
   virtual void setSupplementalJointAccelerationValid(bool valid)
   {
      m_supplementalJointAccelerationValid = valid;
   }
   virtual void invalidateAll()
   {
      m_arbdValid = false;
      m_supplementalDhAccelerationValid = false;
      m_supplementalJointAccelerationValid = false;
   }

private:
   bool m_arbdValid = false;
   bool m_supplementalDhAccelerationValid = false;
   bool m_supplementalJointAccelerationValid = false;
   ZqReal m_supplementalJointAcceleration = 0.0;
   ZqArticulatedBodyDynamics m_arbd;
   ZqGeneralMotion m_supplementalDhAcceleration;
};

extern template class ZqXmlClass<ZqLinkArticulationState>;
