#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlList.h"
#include "zqManipulator/foundation/xml/ZqXmlObjectVisitor.h"

#include <set>

/// A persistent ordered set of persistent objects or plain values.
template <class T>
class ZqXmlSetType : public ZqXmlObject
{
public:
   ZqXmlSetType() = default;
   ZqXmlSetType(std::initializer_list<T> elements) : m_set(elements) {}
   // Defined below, so that `extern template` spares each file that includes a set the code of its copies.
   ZqXmlSetType(const ZqXmlSetType&);
   ZqXmlSetType(ZqXmlSetType&&) noexcept = default;
   ZqXmlSetType& operator=(const ZqXmlSetType&);
   ZqXmlSetType& operator=(ZqXmlSetType&&) noexcept = default;
   ~ZqXmlSetType() override;

   void accept(ZqXmlObjectVisitor* visitor) const override
   {
      auto place = m_set.begin();
      ZqXmlVisiting::visitElements(visitor, *this, typeid(T), m_set.size(),
                                   [&](std::size_t) { return ZqXmlValue::asObject(*place++); });
   }
   ZqXmlObject* clone() const override { return new ZqXmlSetType(*this); }
   /// As a vector's; an element that occurs twice counts twice and is held once.
   bool read(ZqXmlReader& reader) override
   {
      if (!ZqXmlObject::read(reader))
         return false;
      m_set.clear();
      Filling filling{&m_set, T()};
      return ZqXmlList::read(
         reader, {"ZqXmlSetType Error: set size not equal to attribute value -- ",
                  "ZqXmlSetType Error: XML parser should be in data mode\n", &filling, nullptr,
                  [](void* list, ZqXmlReader& source)
                  {
                     auto& target = *static_cast<Filling*>(list);
                     // What an element does not mention is a default, and not what
                     // the element before it had.
                     target.element = T();
                     if (!ZqXmlValue::read(source, target.element))
                        return false;
                     target.set->insert(target.element);
                     return true;
                  },
                  ZqXmlValue::isBasic(filling.element), sizeof(T)});
   }
   /// An empty set writes nothing, not even a count.
   bool write(ZqXmlWriter& writer) const override
   {
      if (!ZqXmlObject::write(writer))
         return false;
      if (!m_set.empty())
         ZqXmlList::writeCount(writer, m_set.size());
      return ZqXmlList::writeElements(writer, m_set);
   }
   void writeSchema(ZqXmlSchema& schema) const override
   {
      ZqXmlList::describe(schema, typeid(*this), T());
   }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ZqXmlSetType*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlSetType(); }
   static const ZqToken& classToken() { return ZqXml::ZqSetTypeToken; }
   const ZqToken& token() const override { return classToken(); }

   /// True when the element was not there yet.
   virtual bool add(const T& element) { return m_set.insert(element).second; }
   /// True when the element was there.
   virtual bool erase(const T& element) { return m_set.erase(element) > 0; }
   virtual void clear() { m_set.clear(); }
   virtual std::set<T>& setContainer() { return m_set; }
   virtual const std::set<T>& setContainer() const { return m_set; }
   virtual unsigned size() const { return static_cast<unsigned>(m_set.size()); }

   bool operator==(const ZqXmlSetType& other) const { return m_set == other.m_set; }
   static ZqXmlSetType nullObject() { return {}; }

private:
   struct Filling
   {
      std::set<T>* set;
      T element;
   };

   std::set<T> m_set;
};

template <class T>
ZqXmlSetType<T>::ZqXmlSetType(const ZqXmlSetType&) = default;

template <class T>
ZqXmlSetType<T>& ZqXmlSetType<T>::operator=(const ZqXmlSetType&) = default;

template <class T>
ZqXmlSetType<T>::~ZqXmlSetType() = default;
