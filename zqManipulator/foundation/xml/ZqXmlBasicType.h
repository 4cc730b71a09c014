#pragma once

#include "zqManipulator/foundation/xml/ZqXmlLeaf.h"
#include "zqManipulator/foundation/xml/ZqXmlObject.h"

#include <concepts>
#include <utility>

/// A persistent object of a single value, written as text. A default one holds the value's default:
/// 0.0, 0, false, the empty string.
template <ZqTextual T>
class ZqXmlBasicType : public ZqXmlObject
{
public:
   using ValueType = T;

   ZqXmlBasicType() = default;
   ZqXmlBasicType(T value) : m_value(std::move(value)) {}
   ZqXmlBasicType& operator=(const T& value)
   {
      m_value = value;
      return *this;
   }

   const T& value() const { return m_value; }
   operator const T&() const { return m_value; }
   /// Takes the value from a text; false, and no change, when the text is no such value.
   virtual bool setValueFromString(std::string_view text)
   {
      return ZqXmlText<T>::parse(text, m_value);
   }

   ZqXmlObject* clone() const override { return new ZqXmlBasicType(*this); }
   bool read(ZqXmlReader& reader) override
   {
      return ZqXmlObject::read(reader) && ZqXmlLeaf::read(reader, m_value);
   }
   bool readAttribute(ZqXmlReader& reader) override
   {
      setSpecified(true);
      return ZqXmlLeaf::readAttribute(reader, m_value);
   }
   bool write(ZqXmlWriter& writer) const override { return ZqXmlLeaf::write(writer, m_value); }
   void writeSchema(ZqXmlSchema& schema) const override;
   bool isBasicType() const override { return true; }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* basic = dynamic_cast<const ZqXmlBasicType*>(other);
      return basic != nullptr && *this == *basic;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlBasicType(); }
   static const ZqToken& classToken();
   const ZqToken& token() const override { return classToken(); }

   friend bool operator==(const ZqXmlBasicType& a, const ZqXmlBasicType& b)
   {
      return a.m_value == b.m_value;
   }
   template <class U>
   requires std::convertible_to<const U&, T>
   friend bool operator==(const ZqXmlBasicType& a, const U& b)
   {
      return a.m_value == static_cast<T>(b);
   }
   friend bool operator<(const ZqXmlBasicType& a, const ZqXmlBasicType& b) requires
      requires(const T& x)
   {
      x < x;
   }
   {
      return a.m_value < b.m_value;
   }

protected:
   T m_value{};
};

#define ZQ_TEXTUAL_TYPE(T) extern template class ZqXmlBasicType<T>;
#include "zqManipulator/foundation/xml/ZqXmlTextualTypes.def"
