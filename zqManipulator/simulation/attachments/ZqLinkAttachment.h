#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/tools/labels/ZqManipulatorLinkIdentifier.h"

class ZqIndividualManipulator;
class ZqManipulatorActivePositionState;
class ZqManipulatorActiveState;

/// A frame that is fixed to a link of a manipulator, in the primary frame of the link.
class ZqLinkAttachment : public ZqXmlClass<ZqLinkAttachment, ZqManipulatorLinkIdentifier>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkAttachmentToken; }
   static constexpr const char* documentation = "a frame fixed to a link";
   template <class This = ZqLinkAttachment>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_frame, &ZqManip::ZqFrameToken,
                                    "frame in the primary frame of the link"}};
   }
   bool operator==(const ZqLinkAttachment&) const = default;

   virtual const ZqCoordinateSystemTransformation& frame() const { return m_frame; }
   virtual void setFrame(const ZqCoordinateSystemTransformation& frame) { m_frame = frame; }
   /// The frame in the system. Without a link of the label the result stays, with a message.
   virtual void calculatePlacement(const ZqIndividualManipulator& manipulator,
                                   ZqManipulatorActivePositionState& activePositionState,
                                   ZqCoordinateSystemTransformation& result) const;
   /// Six numbers of the frame's origin in system axes, the linear three first, into a list from
   /// position `start` on, which becomes so long that they are its last; zeros without a link of the
   /// label.
   virtual void calculateVelocity(const ZqIndividualManipulator& manipulator,
                                  ZqManipulatorActiveState& activeState,
                                  ZqXmlVectorBasicType<ZqReal>& values, ZqU32 start) const;
   /// The same of the acceleration, into a list that keeps what is behind them.
   virtual void calculateAcceleration(const ZqIndividualManipulator& manipulator,
                                      ZqManipulatorActiveState& activeState,
                                      ZqXmlVectorBasicType<ZqReal>& values, ZqU32 start) const;

private:
   ZqCoordinateSystemTransformation m_frame;
};

extern template class ZqXmlClass<ZqLinkAttachment, ZqManipulatorLinkIdentifier>;
