#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"

#include <span>
#include <vector>

/// A persistent vector of values (`ZqReal`, `ZqU32` or `ZqVector`), held contiguously and written as the text of
/// one element.
template <class T>
class ZqXmlValueVector : public ZqXmlObject
{
public:
   ZqXmlValueVector() = default;
   explicit ZqXmlValueVector(std::size_t count, const T& value = T()) : m_values(count, value) {}
   ZqXmlValueVector(std::initializer_list<T> values) : m_values(values) {}
   ZqXmlValueVector(std::vector<T> values) : m_values(std::move(values)) {}
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

   ZqXmlObject* clone() const override { return new ZqXmlValueVector(*this); }
   bool read(ZqXmlReader& reader) override;
   bool write(ZqXmlWriter& writer) const override;
   void writeSchema(ZqXmlSchema& schema) const override;
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ZqXmlValueVector*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlValueVector(); }
   static const ZqToken& classToken() { return ZqXml::ZqVectorBasicTypeToken; }
   const ZqToken& token() const override { return classToken(); }

   bool operator==(const ZqXmlValueVector& other) const { return m_values == other.m_values; }
   static ZqXmlValueVector nullObject() { return {}; }

private:
   std::vector<T> m_values;
};

extern template class ZqXmlValueVector<ZqReal>;
extern template class ZqXmlValueVector<ZqU32>;
extern template class ZqXmlValueVector<ZqVector>;

/// The plain type of a basic type.
template <class T>
struct ZqXmlPlainType
{
   using type = T;
};
template <class T>
struct ZqXmlPlainType<ZqXmlBasicType<T>>
{
   using type = T;
};

/// A vector of numbers, by the plain type or the basic one: both name the same class.
template <class T>
using ZqXmlVectorBasicType = ZqXmlValueVector<typename ZqXmlPlainType<T>::type>;

/// A persistent vector of `ZqVector`, written as the text of one element, three numbers each.
using ZqXmlVectorVector = ZqXmlValueVector<ZqVector>;
