#pragma once

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlList.h"
#include "zqManipulator/foundation/xml/ZqXmlObjectVisitor.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableType.h"

#include <boost/current_function.hpp>

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <utility>

/// A persistent vector of objects of classes derived from T, which it owns. A place may be
/// null: it counts in the size and is not written.
template <class T>
class ZqXmlVariableVectorType : public ZqXmlVariableType<T>
{
public:
   ZqXmlVariableVectorType() = default;
   ZqXmlVariableVectorType(const ZqXmlVariableVectorType& other)
      : ZqXmlVariableType<T>(other), m_vector(copyOf(other.m_vector))
   {
      attach();
   }
   ZqXmlVariableVectorType& operator=(const ZqXmlVariableVectorType& other)
   {
      if (this != &other)
      {
         ZqXmlVariableType<T>::operator=(other);
         std::vector<T*> copies = copyOf(other.m_vector);
         deleteElements(0, m_vector.size());
         m_vector.swap(copies);
         attach();
      }
      return *this;
   }
   ZqXmlVariableVectorType(ZqXmlVariableVectorType&& other) noexcept
      // What the base moves is its own. NOLINTNEXTLINE(bugprone-use-after-move)
      : ZqXmlVariableType<T>(std::move(other)), m_vector(std::move(other.m_vector))
   {
      other.m_vector.clear();
      attach();
   }
   ZqXmlVariableVectorType& operator=(ZqXmlVariableVectorType&& other) noexcept
   {
      ZqXmlVariableType<T>::operator=(std::move(other));
      // NOLINTNEXTLINE(bugprone-use-after-move)
      m_vector.swap(other.m_vector);
      attach();
      other.attach();
      return *this;
   }
   ~ZqXmlVariableVectorType() override { deleteElements(0, m_vector.size()); }

   void accept(ZqXmlObjectVisitor* visitor) const override
   {
      ZqXmlVisiting::visitElements(visitor, *this, typeid(T), m_vector.size(),
                                   [this](std::size_t i) { return m_vector[i]; });
   }
   ZqXmlObject* clone() const override { return new ZqXmlVariableVectorType(*this); }
   bool read(ZqXmlReader& reader) override
   {
      ZqXmlVariableVectorType::clear();
      const long long count = ZqXmlList::readCount(reader, "ZqXmlVariableVectorType").value_or(0);
      if (count > 0 && reader.nodeKind() != ZqXmlReader::EmptyTag)
         m_vector.reserve(reader.reservable(static_cast<std::size_t>(count), sizeof(T*)));
      return ZqXmlBaseVariableCompoundType::read(reader);
   }
   bool write(ZqXmlWriter& writer) const override
   {
      ZqXmlList::writeCount(writer, m_vector.size());
      return ZqXmlBaseVariableCompoundType::write(writer) &&
             std::all_of(m_vector.begin(), m_vector.end(),
                         [&](const T* element)
                         { return element == nullptr || this->writeElement(writer, *element); });
   }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ZqXmlVariableVectorType*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlVariableVectorType(); }
   static const ZqToken& classToken() { return ZqXml::ZqVarVectorTypeToken; }
   const ZqToken& token() const override { return classToken(); }
   bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) override
   {
      bool succeeded = true;
      std::unique_ptr<T> read =
         this->readElement(token, reader, "ZqXmlVariableVectorType", succeeded);
      if (read)
         append(std::move(read));
      return succeeded;
   }

   /// Tells each element that has a container that this is it.
   virtual void setTopElementContainerToThis() { attach(); }
   /// A bad index, or a place that is null, is logged and answered with the first element, in an empty vector with an object of
   /// the first registered class. An empty vector without a registered class has no answer and throws
   /// `std::out_of_range`.
   virtual T& operator[](unsigned index) { return const_cast<T&>(std::as_const(*this)[index]); }
   virtual const T& operator[](unsigned index) const;
   /// Puts a clone into a place. False, with a message, when there is no such place.
   virtual bool exchange(unsigned index, const T& element);
   /// `last` is the first element that stays.
   virtual bool erase(unsigned index);
   virtual bool erase(unsigned first, unsigned last);
   /// Appends a clone.
   virtual void pushBack(const T& element)
   {
      append(std::unique_ptr<T>(ZqXmlClonePointer<T>::copyOf(&element)));
   }
   virtual std::vector<T*>& vectorContainer() { return m_vector; }
   virtual const std::vector<T*>& vectorContainer() const { return m_vector; }
   virtual void reserve(unsigned count) { m_vector.reserve(count); }
   /// New places are null.
   virtual void resize(unsigned count)
   {
      deleteElements(std::min<std::size_t>(count, m_vector.size()), m_vector.size());
      m_vector.resize(count, nullptr);
   }
   virtual void clear()
   {
      deleteElements(0, m_vector.size());
      m_vector.clear();
   }
   /// So many clones.
   virtual void assign(unsigned count, const T& element)
   {
      std::vector<T*> copies;
      copies.reserve(count);
      for (unsigned i = 0; i < count; ++i)
         copies.push_back(ZqXmlClonePointer<T>::copyOf(&element));
      clear();
      m_vector.swap(copies);
      attach();
   }
   virtual unsigned size() const { return static_cast<unsigned>(m_vector.size()); }

   /// \name Streaming: a list that is too long to hold, as for `ZqXmlVectorType`
   /// @{
   virtual bool writeHeaderToStream(std::ostream& stream, ZqXmlWriter*& writer,
                                    const ZqString& name, const ZqToken& token) const
   {
      if (!stream.good())
         return false;
      writer = new ZqXmlWriter(name, stream);
      writer->writeStartTag(token);
      ZqXmlList::writeCount(*writer, m_vector.size());
      return ZqXmlBaseVariableCompoundType::write(*writer);
   }
   virtual bool writeBodyToStream(ZqXmlWriter* writer) const
   {
      return writer != nullptr &&
             std::all_of(m_vector.begin(), m_vector.end(),
                         [&](const T* element)
                         { return element == nullptr || appendElementToStream(writer, *element); });
   }
   virtual bool appendElementToStream(ZqXmlWriter* writer, const T& element) const
   {
      return writer != nullptr && this->writeElement(*writer, element) && writer->good();
   }
   virtual bool writeFooterToStream(ZqXmlWriter*& writer) const
   {
      if (writer == nullptr)
         return false;
      writer->writeEndTag();
      const bool written = writer->flush();
      delete writer;
      writer = nullptr;
      return written;
   }
   /// @}

   bool operator==(const ZqXmlVariableVectorType& other) const
   {
      return ZqXmlBaseVariableCompoundType::operator==(other) &&
             std::equal(m_vector.begin(), m_vector.end(), other.m_vector.begin(),
                        other.m_vector.end(), ZqXmlClonePointer<T>::equal);
   }

protected:
   void writeSchemaAttributes(ZqXmlSchema& schema) const override
   {
      schema.addTextAttribute(ZqXml::ZqCountToken, "unsignedInt", "number of elements");
   }

private:
   static std::vector<T*> copyOf(const std::vector<T*>& elements)
   {
      std::vector<T*> copies(elements.size());
      std::transform(elements.begin(), elements.end(), copies.begin(),
                     ZqXmlClonePointer<T>::copyOf);
      return copies;
   }
   void deleteElements(std::size_t first, std::size_t last)
   {
      for (std::size_t i = first; i < last; ++i)
         delete m_vector[i];
   }
   void attach()
   {
      for (T* element : m_vector)
         attach(element);
   }
   /// Tells an element of its container, if it is of a kind that wants to know.
   void attach(T* element)
   {
      if constexpr (requires { element->setContainer(this); })
         if (element != nullptr)
            element->setContainer(this);
   }
   /// Takes ownership of a new last element.
   void append(std::unique_ptr<T> element)
   {
      m_vector.push_back(element.get());
      attach(element.release());
   }
   /// Stands in for the first element of a vector that has none.
   const T& standIn() const;

   std::vector<T*> m_vector;
   mutable std::unique_ptr<T> m_standIn;
};

template <class T>
const T& ZqXmlVariableVectorType<T>::standIn() const
{
   static constinit std::recursive_mutex lock;
   const std::scoped_lock locked(lock);
   const auto& creators = this->creatorMap();
   for (auto place = creators.begin(); place != creators.end() && !m_standIn; ++place)
   {
      std::unique_ptr<ZqXmlObject> made(place->second());
      if (dynamic_cast<T*>(made.get()) != nullptr)
         m_standIn.reset(dynamic_cast<T*>(made.release()));
   }
   if (m_standIn)
      return *m_standIn;
   throw std::out_of_range("ZqXmlVariableVectorType: an empty vector without creators was indexed");
}

template <class T>
const T& ZqXmlVariableVectorType<T>::operator[](unsigned index) const
{
   if (index < m_vector.size() && m_vector[index] != nullptr)
      return *m_vector[index];
   Zq::Print::instance().write(Zq::Rejected,
                               "%s: ZqXmlVariableVectorType<ElementType>::operator[]: bad index\n"
                               "Will attempt to return the first vector element.\n",
                               BOOST_CURRENT_FUNCTION);
   return !m_vector.empty() && m_vector.front() != nullptr ? *m_vector.front() : standIn();
}

template <class T>
bool ZqXmlVariableVectorType<T>::exchange(unsigned index, const T& element)
{
   if (index >= m_vector.size())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "%s: ZqXmlVariableVectorType<ElementType>::exchange: bad index, %u\n",
         BOOST_CURRENT_FUNCTION, index);
      return false;
   }
   T* copy = ZqXmlClonePointer<T>::copyOf(&element);
   delete m_vector[index];
   m_vector[index] = copy;
   attach(copy);
   return true;
}

template <class T>
bool ZqXmlVariableVectorType<T>::erase(unsigned index)
{
   if (index >= m_vector.size())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "%s: ZqXmlVariableVectorType<ElementType>::erase: bad index, %u\n",
         BOOST_CURRENT_FUNCTION, index);
      return false;
   }
   return ZqXmlVariableVectorType::erase(index, index + 1);
}

template <class T>
bool ZqXmlVariableVectorType<T>::erase(unsigned first, unsigned last)
{
   if (first >= m_vector.size() || first > last || last > m_vector.size())
   {
      Zq::Print::instance().write(
         Zq::Rejected,
         "%s: ZqXmlVariableVectorType<ElementType>::erase: bad first/last indices: %u, %u\n",
         BOOST_CURRENT_FUNCTION, first, last);
      return false;
   }
   deleteElements(first, last);
   m_vector.erase(m_vector.begin() + first, m_vector.begin() + last);
   return true;
}
