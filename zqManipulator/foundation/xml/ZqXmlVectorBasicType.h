#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlObject.h"
#include "zqManipulator/foundation/xml/ZqXmlText.h"

#include <span>
#include <vector>

/// A persistent vector of numbers (`ZqReal` or `ZqU32`), held contiguously and written as the text of
/// one element.
template <class T>
class ZqXmlVectorBasicType : public ZqXmlObject
{
public:
   ZqXmlVectorBasicType() = default;
   explicit ZqXmlVectorBasicType(std::size_t count, const T& value = T()) : m_values(count, value)
   {
   }
   ZqXmlVectorBasicType(std::initializer_list<T> values) : m_values(values) {}
   ZqXmlVectorBasicType(std::vector<T> values) : m_values(std::move(values)) {}
   T& operator[](std::size_t index) { return m_values[index]; }
   const T& operator[](std::size_t index) const { return m_values[index]; }
   void pushBack(const T& value) { m_values.push_back(value); }
   void assign(std::size_t count, const T& value) { m_values.assign(count, value); }
   void resize(std::size_t count) { m_values.resize(count); }
   void reserve(std::size_t count) { m_values.reserve(count); }
   void clear() { m_values.clear(); }
   unsigned size() const { return static_cast<unsigned>(m_values.size()); }
   const std::vector<T>& values() const { return m_values; }
   std::vector<T>& values() { return m_values; }
   operator const std::vector<T>&() const { return m_values; }
   auto begin() const { return m_values.begin(); }
   auto begin() { return m_values.begin(); }
   auto end() const { return m_values.end(); }
   auto end() { return m_values.end(); }

   ZqXmlObject* clone() const override { return new ZqXmlVectorBasicType(*this); }
   bool read(ZqXmlReader& reader) override;
   bool write(ZqXmlWriter& writer) const override;
   void writeSchema(ZqXmlSchema& schema) const override;
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ZqXmlVectorBasicType*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlVectorBasicType(); }
   static const ZqToken& classToken() { return ZqXml::ZqVectorBasicTypeToken; }
   const ZqToken& token() const override { return classToken(); }

   bool operator==(const ZqXmlVectorBasicType& other) const { return m_values == other.m_values; }
   static ZqXmlVectorBasicType nullObject() { return {}; }

private:
   std::vector<T> m_values;
};

extern template class ZqXmlVectorBasicType<ZqReal>;
extern template class ZqXmlVectorBasicType<ZqU32>;

/// A persistent vector of `ZqVector`, written as the text of one element, three numbers each.
using ZqXmlVectorVector = ZqXmlVectorBasicType<ZqVector>;
extern template class ZqXmlVectorBasicType<ZqVector>;
