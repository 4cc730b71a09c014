#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlMapType.h"

extern template class ZqXmlMapType<ZqString, ZqReal>;
extern template class ZqXmlMapType<ZqString, ZqString>;

/// Named material and surface values of a shape: numbers by name, and texts by name.
class ZqDataMap : public ZqXmlClass<ZqDataMap>
{
public:
   static const ZqToken& classToken() { return ZqGeom::ZqDataMapToken; }
   static constexpr const char* documentation = "values by name";
   template <class This = ZqDataMap>
   static constexpr auto components()
   {
      return std::tuple{
         ZqOptionalComponent(&This::m_reals, &ZqGeom::ZqNumbersToken, "numbers by name, in SI"),
         ZqOptionalComponent(&This::m_strings, &ZqGeom::ZqTextsToken, "texts by name")};
   }

   /// Adds a value or replaces the one of that name.
   void add(const ZqString& name, ZqReal value);
   void add(const ZqString& name, const ZqString& value);

   /// True when there is such a value; otherwise `value` stays as it is.
   ZqBoolean lookup(const ZqString& name, ZqReal& value) const;
   ZqBoolean lookup(const ZqString& name, ZqString& value) const;

   const std::map<ZqString, ZqReal>& reals() const noexcept { return m_reals.mapContainer(); }
   const std::map<ZqString, ZqString>& strings() const noexcept { return m_strings.mapContainer(); }

   bool operator==(const ZqDataMap& other) const = default;

   /// The map that marks a shape as a bounding volume for display: light blue, and transparent.
   static const ZqDataMap& boundingColor();

private:
   ZqXmlMapType<ZqString, ZqReal> m_reals;
   ZqXmlMapType<ZqString, ZqString> m_strings;
};

extern template class ZqXmlClass<ZqDataMap>;
extern template class ZqXmlMapType<ZqString, ZqDataMap>;
