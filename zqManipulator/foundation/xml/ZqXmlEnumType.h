#pragma once

#include "zqManipulator/foundation/xml/ZqXmlObject.h"

#include <vector>

/// A value of an enumeration: its token, and what it means.
struct ZqXmlEnumerator
{
   const ZqToken* token;
   const char* documentation = nullptr;
};

/// The values of an enumeration: the first stands for 0, and so on.
using ZqXmlEnumeration = std::vector<ZqXmlEnumerator>;

/// A value of an enumeration, written as the token of the value. Only `ZqU32` is an element type.
///
/// The list of tokens is shared by all objects of the class that owns the value and must outlive
/// them. A value that has no token can be held, but not written.
template <class T>
class ZqXmlEnumType;

template <>
class ZqXmlEnumType<ZqU32> : public ZqXmlObject
{
public:
   ZqXmlEnumType() = default;
   explicit ZqXmlEnumType(ZqU32 value) : m_value(value) {}
   explicit ZqXmlEnumType(const ZqXmlEnumeration& enumeration, ZqU32 value = 0)
      : m_value(value), m_enumeration(&enumeration)
   {
   }
   ZqXmlEnumType& operator=(ZqU32 value)
   {
      m_value = value;
      return *this;
   }

   operator const ZqU32&() const { return m_value; }
   const ZqU32& value() const { return m_value; }
   /// Registers the tokens of the values 0, 1, ...
   void registerEnumeration(const ZqXmlEnumeration& enumeration) { m_enumeration = &enumeration; }
   /// The token of the value, or null when it has none.
   const ZqToken* valueToken() const;
   /// False, and no change, when the text is no token of the enumeration.
   virtual bool setValueFromString(std::string_view text);

   ZqXmlObject* clone() const override;
   bool read(ZqXmlReader& reader) override;
   bool readAttribute(ZqXmlReader& reader) override;
   bool write(ZqXmlWriter& writer) const override;
   void writeSchema(ZqXmlSchema& schema) const override;
   bool isBasicType() const override;
   bool equality(const ZqXmlObject* other) const override;
   ZqXmlObject* newObject() const override;
   static const ZqToken& classToken();
   const ZqToken& token() const override;

   friend bool operator==(const ZqXmlEnumType& a, const ZqXmlEnumType& b) noexcept
   {
      return a.m_value == b.m_value;
   }

private:
   bool parse(ZqXmlReader& reader, std::string_view text);

   ZqU32 m_value = 0;
   const ZqXmlEnumeration* m_enumeration = nullptr;
};
