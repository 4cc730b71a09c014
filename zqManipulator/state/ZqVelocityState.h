#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

/// How fast one manipulator moves: a rate for each joint in the order of the link indices (rad/s or
/// m/s), and the spatial velocity of the base.
class ZqVelocityState final : public ZqXmlClass<ZqVelocityState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqVelocityStateToken; }
   static constexpr const char* documentation = "the velocity of a manipulator";
   template <class This = ZqVelocityState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_jointVelocities, &ZqManip::ZqJointVelocitiesToken,
                                    "velocity of each joint by link index (rad/s, or m/s)"},
                        ZqComponent{&This::m_generalVelocity,
                                    &ZqFoundCommon::ZqGeneralVelocityToken,
                                    "velocity of a free base, in system axes"}};
   }
   static ZqVelocityState nullObject() { return {}; }
   bool operator==(const ZqVelocityState&) const = default;

   virtual ZqXmlVectorBasicType<ZqReal>& jointVelocities() { return m_jointVelocities; }
   virtual const ZqXmlVectorBasicType<ZqReal>& jointVelocities() const { return m_jointVelocities; }
   /// From the first column of an array; rows without a column are rejected with a message.
   virtual void setJointVelocities(const ZqReArray& velocities);
   virtual void setJointVelocities(const ZqXmlVectorBasicType<ZqReal>& velocities)
   {
      m_jointVelocities = velocities;
   }
   virtual ZqGeneralMotion& generalVelocity() { return m_generalVelocity; }
   virtual const ZqGeneralMotion& generalVelocity() const { return m_generalVelocity; }
   virtual void setGeneralVelocity(const ZqGeneralMotion& velocity)
   {
      m_generalVelocity = velocity;
   }

   /// True when there are as many joints and no number differs by more than the tolerance.
   virtual bool approxEq(const ZqVelocityState& other, ZqReal tolerance) const;
   /// As those of `ZqPositionState`, with the velocity of the base in the place of the frame.
   virtual ZqBoolean readBin(std::istream& stream);
   virtual ZqBoolean writeBin(std::ostream& stream) const;
   /// Becomes the state between two, which may be this one; a factor outside [0, 1] extrapolates. With
   /// unequal numbers of joints it answers false, with a message, and changes nothing.
   virtual ZqBoolean linearInterpolation(const ZqVelocityState& first,
                                         const ZqVelocityState& second, ZqReal factor);

private:
   ZqXmlVectorBasicType<ZqReal> m_jointVelocities;
   ZqGeneralMotion m_generalVelocity;
};

extern template class ZqXmlVectorType<ZqVelocityState>;

extern template class ZqXmlClass<ZqVelocityState>;
