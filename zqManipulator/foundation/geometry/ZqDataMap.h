#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <map>

/// Named material and surface values of a shape: numbers by name, and texts by name.
class ZqDataMap
{
public:
   /// Adds a value or replaces the one of that name.
   void add(const ZqString& name, ZqReal value);
   void add(const ZqString& name, const ZqString& value);

   /// True when there is such a value; otherwise `value` stays as it is.
   ZqBoolean lookup(const ZqString& name, ZqReal& value) const;
   ZqBoolean lookup(const ZqString& name, ZqString& value) const;

   const std::map<ZqString, ZqReal>& reals() const noexcept { return m_reals; }
   const std::map<ZqString, ZqString>& strings() const noexcept { return m_strings; }

   bool operator==(const ZqDataMap& other) const = default;

   /// The map that marks a shape as a bounding volume for display: light blue, and transparent.
   static const ZqDataMap& boundingColor();

private:
   std::map<ZqString, ZqReal> m_reals;
   std::map<ZqString, ZqString> m_strings;
};
