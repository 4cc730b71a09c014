#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

/// Who made a part, and under what number.
class ZqManufacturerData : public ZqXmlClass<ZqManufacturerData>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqPrimeMoverManufacturerDataToken; }
   static constexpr const char* documentation = "the maker of a part";
   template <class This = ZqManufacturerData>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_manufacturer, &ZqManip::ZqManufacturerToken, "name of the maker"},
         ZqComponent{&This::m_partNumber, &ZqManip::ZqPartNumberToken, "number of the part"}};
   }
   static ZqManufacturerData nullObject() { return {}; }
   bool operator==(const ZqManufacturerData&) const = default;

   virtual const ZqString& manufacturer() const { return m_manufacturer; }
   virtual void setManufacturer(const ZqString& manufacturer) { m_manufacturer = manufacturer; }
   virtual const ZqString& partNumber() const { return m_partNumber; }
   virtual void setPartNumber(const ZqString& partNumber) { m_partNumber = partNumber; }
   /// True when either text is not empty.
   virtual bool isValid() const { return !m_manufacturer.empty() || !m_partNumber.empty(); }

private:
   ZqString m_manufacturer;
   ZqString m_partNumber;
};

extern template class ZqXmlClass<ZqManufacturerData>;
extern template class ZqXmlVectorType<ZqManufacturerData>;
