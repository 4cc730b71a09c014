#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

#include <memory>

/// Where one manipulator is: a position for each joint in the order of the link indices (rad, or m for
/// a joint that slides), and the frame of the base in the system frame. The base has no joint.
///
/// The state of a manipulator whose links are those of another one, to which it is a reference, also
/// carries where that manipulator is placed, since the links do not know. This is no part of the value:
/// it is neither compared nor written. A stated system sees to it for the states that it holds.
class ZqPositionState final : public ZqXmlClass<ZqPositionState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqPositionStateToken; }
   static constexpr const char* documentation = "the position of a manipulator";
   template <class This = ZqPositionState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_jointPositions, &ZqManip::ZqJointPositionsToken,
                     "position of each joint by link index (rad, or m)"},
         ZqComponent{&This::m_coordSysXForm, &ZqFoundCommon::ZqCoordinateSystemTransformToken,
                     "DH frame of the base, in the manipulator's place in the system"}};
   }
   static ZqPositionState nullObject() { return {}; }
   bool operator==(const ZqPositionState&) const = default;

   virtual ZqXmlVectorBasicType<ZqReal>& jointPositions() { return m_jointPositions; }
   virtual const ZqXmlVectorBasicType<ZqReal>& jointPositions() const { return m_jointPositions; }
   virtual void setJointPositions(const ZqXmlVectorBasicType<ZqReal>& positions)
   {
      m_jointPositions = positions;
   }
   virtual ZqCoordinateSystemTransformation& coordSysXForm() { return m_coordSysXForm; }
   virtual const ZqCoordinateSystemTransformation& coordSysXForm() const { return m_coordSysXForm; }
   virtual void setCoordSysXForm(const ZqCoordinateSystemTransformation& frame)
   {
      m_coordSysXForm = frame;
   }

   /// Null for a manipulator with links of its own.
   const ZqCoordinateSystemTransformation* placement() const { return m_placement.frame.get(); }
   /// Copies the frame, unless it is null.
   void setPlacement(const ZqCoordinateSystemTransformation* frame);
   bool hasSamePlacement(const ZqPositionState& other) const
   {
      const auto& a = m_placement.frame;
      const auto& b = other.m_placement.frame;
      return a == b || (a && b && *a == *b);
   }

   /// True when there are as many joints and no number differs by more than the tolerance.
   virtual bool approxEq(const ZqPositionState& other, ZqReal tolerance) const;
   /// The binary form of the machine: the frame, the number of joints in 32 bits, each joint. What is
   /// read is not trusted: memory grows with the numbers that arrive, not with the count. A count that
   /// is 0 or, taken as signed, less stands for no joints. False when the stream ends early or the
   /// frame is refused; then the numbers before the fault have been taken.
   virtual ZqBoolean readBin(std::istream& stream);
   virtual ZqBoolean writeBin(std::ostream& stream) const;
   /// Becomes the state between two, which may be this one. A factor outside [0, 1] extrapolates the
   /// joints and the frame alike. With unequal numbers of joints it answers false, with a message, and
   /// takes the joints that both have.
   virtual ZqBoolean linearInterpolation(const ZqPositionState& first,
                                         const ZqPositionState& second, ZqReal factor);

private:
   struct Placement
   {
      std::shared_ptr<const ZqCoordinateSystemTransformation> frame;
      bool operator==(const Placement&) const { return true; }
   };

   ZqXmlVectorBasicType<ZqReal> m_jointPositions;
   ZqCoordinateSystemTransformation m_coordSysXForm;
   Placement m_placement;
};

extern template class ZqXmlVectorType<ZqPositionState>;

extern template class ZqXmlClass<ZqPositionState>;
