#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

/// A mechanical interface point on a link: a frame, in the link's primary frame, at which something of
/// the same type can be connected.
class ZqBaseLinkInterface : public ZqXmlClass<ZqBaseLinkInterface>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqBaseLinkInterfaceToken; }
   static constexpr const char* documentation =
      "a frame on a link at which something of the same type can be connected";
   template <class This = ZqBaseLinkInterface>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_identifier, &ZqManip::ZqLinkInterfaceIdentifierToken,
                                    "name of the interface"},
                        ZqComponent{&This::m_type, &ZqManip::ZqLinkInterfaceTypeToken,
                                    "what fits: an interface of the same type"},
                        ZqComponent{&This::m_frame, &ZqManip::ZqLinkInterfaceFrameToken,
                                    "frame in the link's primary frame"},
                        ZqComponent{&This::m_inUse, &ZqManip::ZqLinkInterfaceInUseToken,
                                    "whether something is connected"}};
   }
   bool operator==(const ZqBaseLinkInterface&) const = default;

   virtual const ZqString& type() const { return m_type; }
   virtual void setType(const ZqString& type) { m_type = type; }
   virtual const ZqString& identifier() const { return m_identifier; }
   virtual void setIdentifier(const ZqString& identifier) { m_identifier = identifier; }
   virtual const ZqCoordinateSystemTransformation& frame() const { return m_frame; }
   virtual void setFrame(const ZqCoordinateSystemTransformation& frame) { m_frame = frame; }
   virtual bool inUse() const { return m_inUse; }
   virtual void setInUse(bool inUse) { m_inUse = inUse; }

private:
   ZqString m_type = "default type";
   ZqString m_identifier = "default identifier";
   ZqCoordinateSystemTransformation m_frame;
   bool m_inUse = false;
};
