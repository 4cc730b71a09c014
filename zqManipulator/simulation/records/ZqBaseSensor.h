#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

/// Something that measures, mounted on a link. What it measures and how is for the class of a user,
/// which documents hold once it is known to them (`Zq::registerClass`).
class ZqBaseSensor : public ZqXmlAbstractClass<ZqBaseSensor, ZqXmlCompoundType>
{
public:
   template <class This = ZqBaseSensor>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_linkLabel, &ZqSensorInterface::ZqLinkLabelToken,
                                    "label of the link that has the sensor"},
                        ZqComponent{&This::m_manipulatorIndex,
                                    &ZqSensorInterface::ZqManipulatorIndexToken,
                                    "index of the manipulator that the link belongs to"}};
   }
   /// The link tells its sensors its label and the index of its manipulator, and tells them anew when these
   /// change.
   virtual const ZqString& linkLabel() const { return m_linkLabel; }
   virtual void setLinkLabel(const ZqString& label) { m_linkLabel = label; }
   virtual ZqU32 manipulatorIndex() const { return m_manipulatorIndex; }
   virtual void setManipulatorIndex(ZqU32 index) { m_manipulatorIndex = index; }

   bool operator==(const ZqBaseSensor&) const = default;

private:
   ZqString m_linkLabel;
   ZqU32 m_manipulatorIndex = 0;
};
