#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/kinematics/ZqManipulatorLinkIdentifier.h"

class ZqIndividualManipulator;
class ZqManipulatorActivePositionState;

/// A frame that is fixed to a link of a manipulator, in the primary frame of the link.
class ZqLinkAttachment : public ZqXmlClass<ZqLinkAttachment, ZqManipulatorLinkIdentifier>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkAttachmentToken; }
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&ZqLinkAttachment::m_frame, &ZqManip::ZqFrameToken}};
   }
   bool operator==(const ZqLinkAttachment&) const = default;

   virtual const ZqCoordinateSystemTransformation& frame() const { return m_frame; }
   virtual void setFrame(const ZqCoordinateSystemTransformation& frame) { m_frame = frame; }
   /// The frame in the system. Without a link of the label the result stays, with a message.
   virtual void calculatePlacement(const ZqIndividualManipulator& manipulator,
                                   ZqManipulatorActivePositionState& activePositionState,
                                   ZqCoordinateSystemTransformation& result) const;

private:
   ZqCoordinateSystemTransformation m_frame;
};
