#pragma once

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlList.h"
#include "zqManipulator/foundation/xml/ZqXmlObjectVisitor.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <boost/current_function.hpp>

#include <algorithm>
#include <vector>

/// A persistent vector of persistent objects or plain values, held by value.
template <class T>
class ZqXmlVectorType : public ZqXmlObject
{
public:
   static_assert(!std::is_same_v<T, bool>, "a vector of bool holds ZqXmlBasicType<bool>");
   using value_type = T;

   ZqXmlVectorType() = default;
   explicit ZqXmlVectorType(std::size_t count, const T& value = T()) : m_vector(count, value) {}
   ZqXmlVectorType(std::initializer_list<T> elements) : m_vector(elements) {}
   // Defined below, where T is complete: an element may hold a vector of its own kind. And so that
   // `extern template` spares each file that includes a vector the code of its copies.
   ZqXmlVectorType(const ZqXmlVectorType&);
   ZqXmlVectorType(ZqXmlVectorType&&) noexcept = default;
   ZqXmlVectorType& operator=(const ZqXmlVectorType&);
   ZqXmlVectorType& operator=(ZqXmlVectorType&&) noexcept = default;
   ~ZqXmlVectorType() override;

   void accept(ZqXmlObjectVisitor* visitor) const override
   {
      ZqXmlVisiting::visitElements(visitor, *this, typeid(T), m_vector.size(),
                                   [this](std::size_t i)
                                   { return ZqXmlValue::asObject(m_vector[i]); });
   }
   ZqXmlObject* clone() const override { return new ZqXmlVectorType(*this); }
   /// Every child is taken as one element, whatever its name. A count attribute that differs from the
   /// number of elements is logged, and no more.
   bool read(ZqXmlReader& reader) override
   {
      if (!ZqXmlObject::read(reader))
         return false;
      m_vector.clear();
      return ZqXmlList::read(
         reader,
         {"ZqXmlVectorType Error: array size not equal to attribute value -- ",
          "ZqXmlVectorType Error: XML parser should be in data mode\n", &m_vector,
          [](void* list, std::size_t count) { static_cast<std::vector<T>*>(list)->reserve(count); },
          [](void* list, ZqXmlReader& source)
          { return ZqXmlValue::read(source, static_cast<std::vector<T>*>(list)->emplace_back()); },
          ZqXmlValue::isBasic(T()), sizeof(T)});
   }
   bool write(ZqXmlWriter& writer) const override
   {
      if (!ZqXmlObject::write(writer))
         return false;
      ZqXmlList::writeCount(writer, m_vector.size());
      return ZqXmlList::writeElements(writer, m_vector);
   }
   void writeSchema(ZqXmlSchema& schema) const override
   {
      ZqXmlList::describe(schema, typeid(*this), T());
   }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ZqXmlVectorType*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlVectorType(); }
   static const ZqToken& classToken() { return ZqXml::ZqVectorTypeToken; }
   const ZqToken& token() const override { return classToken(); }

   virtual void pushBack(const T& element) { m_vector.push_back(element); }
   /// False, with a message, when the index or the range is not within the vector. `last` is the
   /// first element that stays.
   virtual bool erase(unsigned index);
   virtual bool erase(unsigned first, unsigned last);
   virtual std::vector<T>& vectorContainer() { return m_vector; }
   virtual const std::vector<T>& vectorContainer() const { return m_vector; }
   virtual void reserve(unsigned count) { m_vector.reserve(count); }
   virtual void resize(unsigned count) { m_vector.resize(count); }
   virtual void resizeToAtLeast(unsigned count)
   {
      if (m_vector.size() < count)
         m_vector.resize(count);
   }
   virtual void clear() { m_vector.clear(); }
   virtual void assign(unsigned count, const T& value) { m_vector.assign(count, value); }
   virtual unsigned size() const { return static_cast<unsigned>(m_vector.size()); }
   /// Element n becomes the first; n is taken modulo the size.
   virtual void leftRotate(unsigned n)
   {
      if (!m_vector.empty())
         std::rotate(m_vector.begin(),
                     m_vector.begin() + static_cast<std::ptrdiff_t>(n % m_vector.size()),
                     m_vector.end());
   }

   /// \name Streaming: a list that is too long to hold
   /// The header makes a writer, which the footer deletes; between them elements are written one by
   /// one. Each answers false when the stream or the writer is not able to take more. The count that
   /// is written is that of the elements present at the header.
   /// @{
   virtual bool writeHeaderToStream(std::ostream& stream, ZqXmlWriter*& writer,
                                    const ZqString& name, const ZqToken& token) const;
   virtual bool writeBodyToStream(ZqXmlWriter* writer) const;
   virtual bool appendElementToStream(ZqXmlWriter* writer, const T& element) const;
   virtual bool writeFooterToStream(ZqXmlWriter*& writer) const;
   /// @}
   virtual void append(const ZqXmlVectorType& other)
   {
      m_vector.reserve(m_vector.size() + other.m_vector.size());
      std::copy_n(other.m_vector.begin(), other.m_vector.size(), std::back_inserter(m_vector));
   }

   decltype(auto) operator[](std::size_t index) { return m_vector[index]; }
   decltype(auto) operator[](std::size_t index) const { return m_vector[index]; }
   auto begin() { return m_vector.begin(); }
   auto begin() const { return m_vector.begin(); }
   auto end() { return m_vector.end(); }
   auto end() const { return m_vector.end(); }

   bool operator==(const ZqXmlVectorType& other) const { return m_vector == other.m_vector; }
   static ZqXmlVectorType nullObject() { return {}; }

private:
   std::vector<T> m_vector;
};

template <class T>
ZqXmlVectorType<T>::ZqXmlVectorType(const ZqXmlVectorType&) = default;

template <class T>
ZqXmlVectorType<T>& ZqXmlVectorType<T>::operator=(const ZqXmlVectorType&) = default;

template <class T>
ZqXmlVectorType<T>::~ZqXmlVectorType() = default;

template <class T>
bool ZqXmlVectorType<T>::erase(unsigned index)
{
   if (index >= m_vector.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "%s::erase(): index (%u) exceeds vector size (%zu)\n",
                                  BOOST_CURRENT_FUNCTION, index, m_vector.size());
      return false;
   }
   m_vector.erase(m_vector.begin() + index);
   return true;
}

template <class T>
bool ZqXmlVectorType<T>::erase(unsigned first, unsigned last)
{
   const char* signature = BOOST_CURRENT_FUNCTION;
   // The end of the range may be the end of the vector.
   if (first >= m_vector.size() || last > m_vector.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "%s::erase(): index (%u) exceeds vector size (%zu)\n", signature,
                                  first >= m_vector.size() ? first : last, m_vector.size());
      return false;
   }
   if (first > last)
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "%s::erase(): first (%u) is bigger than last (%u)\n", signature,
                                  first, last);
      return false;
   }
   m_vector.erase(m_vector.begin() + first, m_vector.begin() + last);
   return true;
}

template <class T>
bool ZqXmlVectorType<T>::writeHeaderToStream(std::ostream& stream, ZqXmlWriter*& writer,
                                             const ZqString& name, const ZqToken& token) const
{
   if (!stream.good())
      return false;
   writer = new ZqXmlWriter(name, stream);
   writer->writeStartTag(token);
   ZqXmlObject::write(*writer);
   ZqXmlList::writeCount(*writer, m_vector.size());
   return ZqXmlValue::isBasic(T()) ? ZqXmlList::beginGroup(*writer) : writer->good();
}

template <class T>
bool ZqXmlVectorType<T>::writeBodyToStream(ZqXmlWriter* writer) const
{
   return std::all_of(m_vector.begin(), m_vector.end(),
                      [&](const T& element) { return appendElementToStream(writer, element); }) &&
          writer != nullptr;
}

template <class T>
bool ZqXmlVectorType<T>::appendElementToStream(ZqXmlWriter* writer, const T& element) const
{
   return writer != nullptr &&
          ZqXmlList::writeElement(*writer, element, ZqXmlValue::isBasic(element)) && writer->good();
}

template <class T>
bool ZqXmlVectorType<T>::writeFooterToStream(ZqXmlWriter*& writer) const
{
   if (writer == nullptr)
      return false;
   if (ZqXmlValue::isBasic(T()))
      ZqXmlList::endGroup(*writer);
   writer->writeEndTag();
   const bool written = writer->flush();
   delete writer;
   writer = nullptr;
   return written;
}

extern template class ZqXmlVectorType<ZqU32>;
extern template class ZqXmlVectorType<ZqString>;
