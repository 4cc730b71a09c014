#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/simulation/interactions/ZqBaseLinkInteractions.h"

/// A spring and a damper between two frames A and B, each fixed in the primary frame of a link:
///
///     F = k (|d| - l) d / |d| + c (v_B - v_A)                 on link one, and -F on link two
///     M = k' (theta - theta0) a + c' (w_B - w_A)
///
/// with d from A to B, the turn of B in A by the angle theta in [0, pi] about the unit axis a, and the
/// velocities v of the two origins and w of the two links. The force acts at the middle of A and B, so
/// that neither momentum is lost; by that, the part of the damper's force across d may do work on links
/// that turn. Of frames that are turned by pi the axis has two values, and the moment leaps there.
///
/// A link is told by its index, the base by -2. Numbers and frames that are not finite are rejected by
/// setters, with a message.
class ZqSpringAndDamperBetweenLinks
   : public ZqXmlClass<ZqSpringAndDamperBetweenLinks, ZqBaseLinkInteractions>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqSpringAndDamperBetweenLinksToken; }
   static constexpr const char* documentation =
      "a spring and a damper between a frame of one link and a frame of another one";
   template <class This = ZqSpringAndDamperBetweenLinks>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_linearSpringConstant, &ZqManip::ZqLinearSpringConstantToken,
                     "force for each metre that the origins are further apart than at rest (N/m)"},
         ZqComponent{
            &This::m_angularSpringConstant, &ZqManip::ZqAngularSpringConstantToken,
            "moment for each radian that the frames are turned more than at rest (N m/rad)"},
         ZqComponent{&This::m_linearSpringOffset, &ZqManip::ZqLinearSpringOffsetToken,
                     "distance of the origins at rest (m)"},
         ZqComponent{&This::m_angularSpringOffset, &ZqManip::ZqAngularSpringOffsetToken,
                     "angle between the frames at rest (rad)"},
         ZqComponent{&This::m_linearDamperConstant, &ZqManip::ZqLinearDamperConstantToken,
                     "force against the relative velocity of the origins (N s/m)"},
         ZqComponent{&This::m_angularDamperConstant, &ZqManip::ZqAngularDamperConstantToken,
                     "moment against the relative angular velocity (N m s/rad)"},
         ZqComponent{&This::m_manipulatorOneIndex, &ZqManip::ZqManipulatorOneIndexToken,
                     "index of the manipulator of link one"},
         ZqComponent{&This::m_manipulatorTwoIndex, &ZqManip::ZqManipulatorTwoIndexToken,
                     "index of the manipulator of link two"},
         ZqComponent{&This::m_linkOneIndex, &ZqManip::ZqLinkOneIndexToken,
                     "index of link one, -2 for the base"},
         ZqComponent{&This::m_linkTwoIndex, &ZqManip::ZqLinkTwoIndexToken,
                     "index of link two, -2 for the base"},
         ZqComponent{&This::m_frameOffsetOne, &ZqManip::ZqFrameOffsetOneToken,
                     "frame A in the primary frame of link one"},
         ZqComponent{&This::m_frameOffsetTwo, &ZqManip::ZqFrameOffsetTwoToken,
                     "frame B in the primary frame of link two"}};
   }
   static ZqSpringAndDamperBetweenLinks nullObject() { return {}; }
   bool operator==(const ZqSpringAndDamperBetweenLinks&) const = default;

   void forceBetweenLinks(ZqSystemActiveState& activeState, const ZqManipulatorSystem& system,
                          const ZqReal& time, const ZqXmlVectorType<ZqManipulatorTorque>& torques,
                          ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const override;
   /// Holds k (|d| - l)^2 / 2 + k' (theta - theta0)^2 / 2, and loses what the force and the moment take beyond
   /// that: c v . (v - (w_A + w_B) x d / 2) + c' w . w, with v = v_B - v_A and w = w_B - w_A. Of links that turn
   /// the first may be below zero.
   ZqInteractionEnergy energy(ZqSystemActiveState& activeState,
                              const ZqManipulatorSystem& system) const override;
   bool apply(const ZqModelEdit& edit) override;
   void scaleBy(const ZqModelScaling& scaling) override;

   virtual const ZqReal& linearSpringConstant() const { return m_linearSpringConstant; }
   virtual void setLinearSpringConstant(ZqReal constant);
   virtual const ZqReal& linearSpringOffset() const { return m_linearSpringOffset; }
   virtual void setLinearSpringOffset(ZqReal offset);
   virtual const ZqReal& angularSpringConstant() const { return m_angularSpringConstant; }
   virtual void setAngularSpringConstant(ZqReal constant);
   virtual const ZqReal& angularSpringOffset() const { return m_angularSpringOffset; }
   virtual void setAngularSpringOffset(ZqReal offset);
   virtual const ZqReal& linearDamperConstant() const { return m_linearDamperConstant; }
   virtual void setLinearDamperConstant(ZqReal constant);
   virtual const ZqReal& angularDamperConstant() const { return m_angularDamperConstant; }
   virtual void setAngularDamperConstant(ZqReal constant);
   virtual const ZqU32& manipulatorOneIndex() const { return m_manipulatorOneIndex; }
   virtual void setManipulatorOneIndex(ZqU32 index) { m_manipulatorOneIndex = index; }
   virtual const ZqU32& manipulatorTwoIndex() const { return m_manipulatorTwoIndex; }
   virtual void setManipulatorTwoIndex(ZqU32 index) { m_manipulatorTwoIndex = index; }
   virtual const int& linkOneIndex() const { return m_linkOneIndex; }
   virtual void setLinkOneIndex(int index) { m_linkOneIndex = index; }
   virtual const int& linkTwoIndex() const { return m_linkTwoIndex; }
   virtual void setLinkTwoIndex(int index) { m_linkTwoIndex = index; }
   virtual const ZqCoordinateSystemTransformation& frameOffsetOne() const
   {
      return m_frameOffsetOne;
   }
   virtual void setFrameOffsetOne(const ZqCoordinateSystemTransformation& frame);
   virtual const ZqCoordinateSystemTransformation& frameOffsetTwo() const
   {
      return m_frameOffsetTwo;
   }
   virtual void setFrameOffsetTwo(const ZqCoordinateSystemTransformation& frame);

private:
   ZqReal m_linearSpringConstant = 0.0;
   ZqReal m_linearSpringOffset = 0.0;
   ZqReal m_angularSpringConstant = 0.0;
   ZqReal m_angularSpringOffset = 0.0;
   ZqReal m_linearDamperConstant = 0.0;
   ZqReal m_angularDamperConstant = 0.0;
   ZqU32 m_manipulatorOneIndex = 0;
   ZqU32 m_manipulatorTwoIndex = 0;
   int m_linkOneIndex = 0;
   int m_linkTwoIndex = 0;
   ZqCoordinateSystemTransformation m_frameOffsetOne;
   ZqCoordinateSystemTransformation m_frameOffsetTwo;
};

extern template class ZqXmlClass<ZqSpringAndDamperBetweenLinks, ZqBaseLinkInteractions>;
