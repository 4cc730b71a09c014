#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlList.h"
#include "zqManipulator/foundation/xml/ZqXmlObjectVisitor.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <map>

/// A persistent ordered map; keys and values are persistent objects or plain values.
template <class K, class V>
class ZqXmlMapType : public ZqXmlObject
{
public:
   ZqXmlMapType() = default;
   ZqXmlMapType(std::initializer_list<std::pair<const K, V>> entries) : m_map(entries) {}
   // Defined below, so that `extern template` spares each file that includes a map the code of its copies.
   ZqXmlMapType(const ZqXmlMapType&);
   ZqXmlMapType(ZqXmlMapType&&) noexcept = default;
   ZqXmlMapType& operator=(const ZqXmlMapType&);
   ZqXmlMapType& operator=(ZqXmlMapType&&) noexcept = default;
   ~ZqXmlMapType() override;

   void accept(ZqXmlObjectVisitor* visitor) const override
   {
      auto place = m_map.begin();
      ZqXmlVisiting::visitElements(visitor, *this, typeid(V), m_map.size(),
                                   [&](std::size_t)
                                   { return ZqXmlValue::asObject((place++)->second); });
   }
   ZqXmlObject* clone() const override { return new ZqXmlMapType(*this); }
   /// Of a key that occurs twice, the last value counts, and a remark says so. An element without any
   /// content leaves the map as it was: the one container that does not become empty.
   bool read(ZqXmlReader& reader) override;
   bool write(ZqXmlWriter& writer) const override;
   void writeSchema(ZqXmlSchema& schema) const override;
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ZqXmlMapType*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlMapType(); }
   static const ZqToken& classToken() { return ZqXml::ZqMapTypeToken; }
   const ZqToken& token() const override { return classToken(); }

   /// False leaves the value as it was.
   virtual bool lookup(const K& key, V& value) const
   {
      const V* found = lookupPointer(key);
      if (found != nullptr)
         value = *found;
      return found != nullptr;
   }
   /// Null when there is no such key.
   virtual V* lookupPointer(const K& key)
   {
      const auto found = m_map.find(key);
      return found == m_map.end() ? nullptr : &found->second;
   }
   virtual const V* lookupPointer(const K& key) const
   {
      const auto found = m_map.find(key);
      return found == m_map.end() ? nullptr : &found->second;
   }
   /// Inserts or replaces.
   virtual void add(const K& key, const V& value) { m_map.insert_or_assign(key, value); }
   virtual bool erase(const K& key) { return m_map.erase(key) > 0; }
   virtual void clear() { m_map.clear(); }
   virtual std::map<K, V>& mapContainer() { return m_map; }
   virtual const std::map<K, V>& mapContainer() const { return m_map; }
   /// The place of a key in key order; the size when there is none such.
   virtual unsigned keyIndex(const K& key) const
   {
      return static_cast<unsigned>(std::distance(m_map.begin(), m_map.find(key)));
   }
   /// The key at a place in key order; a default key beyond the last.
   virtual K indexKey(unsigned index) const
   {
      return index < m_map.size() ? std::next(m_map.begin(), index)->first : K();
   }
   virtual unsigned size() const { return static_cast<unsigned>(m_map.size()); }

   bool operator==(const ZqXmlMapType& other) const { return m_map == other.m_map; }
   static ZqXmlMapType nullObject() { return {}; }

private:
   bool readEntry(ZqXmlReader& reader);

   std::map<K, V> m_map;
};

template <class K, class V>
ZqXmlMapType<K, V>::ZqXmlMapType(const ZqXmlMapType&) = default;

template <class K, class V>
ZqXmlMapType<K, V>& ZqXmlMapType<K, V>::operator=(const ZqXmlMapType&) = default;

template <class K, class V>
ZqXmlMapType<K, V>::~ZqXmlMapType() = default;

template <class K, class V>
bool ZqXmlMapType<K, V>::read(ZqXmlReader& reader)
{
   if (!ZqXmlObject::read(reader))
      return false;
   reader.reportUnknownAttributes("ZqXmlMapType");
   if (reader.nodeKind() == ZqXmlReader::EmptyTag)
      return true;
   m_map.clear();
   bool failed = false;
   while (ZqXmlList::nextChild(reader, failed))
      if (!readEntry(reader))
         return false;
   return !failed;
}

template <class K, class V>
bool ZqXmlMapType<K, V>::readEntry(ZqXmlReader& reader)
{
   constexpr const char* error =
      "ZqXmlMapType Error: file not valid.\n\tKey map format not correct.";
   const auto enter = [&](const ZqToken& token)
   {
      // An entry without content has no child to step to.
      if (reader.nodeKind() != ZqXmlReader::EmptyTag || token != ZqXml::ZqKeyToken)
         reader.nextNode();
      return ZqXmlList::expectTag(reader, token, error);
   };
   K key{};
   V value{};
   if (!ZqXmlList::expectTag(reader, ZqXml::ZqElementToken, error) || !enter(ZqXml::ZqKeyToken) ||
       !ZqXmlValue::read(reader, key) || !enter(ZqXml::ZqValueToken) ||
       !ZqXmlValue::read(reader, value))
      return false;
   if (reader.nextNode() != ZqXmlReader::EndTag)
   {
      reader.fail("expected the end of a map entry");
      return false;
   }
   if (m_map.find(key) != m_map.end())
      reader.remark("a key of the map occurs again; the last one counts", "repeated");
   add(key, value);
   return true;
}

template <class K, class V>
bool ZqXmlMapType<K, V>::write(ZqXmlWriter& writer) const
{
   if (!ZqXmlObject::write(writer))
      return false;
   for (const auto& [key, value] : m_map)
   {
      writer.writeStartTag(ZqXml::ZqElementToken);
      writer.writeStartTag(ZqXml::ZqKeyToken);
      bool written = ZqXmlValue::write(writer, key);
      writer.writeEndTag();
      writer.writeStartTag(ZqXml::ZqValueToken);
      written = written && ZqXmlValue::write(writer, value);
      writer.writeEndTag();
      writer.writeEndTag();
      if (!written)
         return false;
   }
   return true;
}

/// The type of one entry of a map, which no class of its own stands for.
template <class K, class V>
class ZqXmlMapEntry : public ZqXmlObject
{
public:
   ZqXmlObject* clone() const override { return new ZqXmlMapEntry(*this); }
   bool equality(const ZqXmlObject*) const override { return true; }
   ZqXmlObject* newObject() const override { return new ZqXmlMapEntry(); }
   const ZqToken& token() const override { return ZqXml::ZqElementToken; }
   void writeSchema(ZqXmlSchema& schema) const override
   {
      if (!schema.beginType(typeid(*this), ""))
         return;
      ZqXmlValue::describe(schema, ZqXml::ZqKeyToken, K(), 1, 1, "key of the entry");
      ZqXmlValue::describe(schema, ZqXml::ZqValueToken, V(), 1, 1, "value of the entry");
      schema.endType();
   }
};

template <class K, class V>
void ZqXmlMapType<K, V>::writeSchema(ZqXmlSchema& schema) const
{
   if (!schema.beginType(typeid(*this), ""))
      return;
   schema.addElement(ZqXml::ZqElementToken, ZqXmlMapEntry<K, V>(), 0, ZqXmlSchema::unbounded,
                     "an entry of the map");
   schema.endType();
}
