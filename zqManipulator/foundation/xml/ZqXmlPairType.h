#pragma once

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlList.h"
#include "zqManipulator/foundation/xml/ZqXmlObjectVisitor.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

/// A persistent pair. The owner may give the names of its two elements; in a document the names
/// `ZqXml::ZqFirstToken` and `ZqXml::ZqSecondToken` are understood as well.
template <class A, class B>
class ZqXmlPairType : public ZqXmlObject
{
public:
   ZqXmlPairType() = default;
   ZqXmlPairType(const A& first, const B& second) : m_first(first), m_second(second) {}
   ZqXmlPairType(const A& first, const B& second, const ZqToken& firstToken,
                 const ZqToken& secondToken)
      : m_first(first), m_second(second), m_firstToken(firstToken), m_secondToken(secondToken)
   {
   }

   A& first() { return m_first; }
   const A& first() const { return m_first; }
   B& second() { return m_second; }
   const B& second() const { return m_second; }
   void setFirst(const A& first) { m_first = first; }
   void setSecond(const B& second) { m_second = second; }
   const ZqToken& firstToken() const { return m_firstToken; }
   const ZqToken& secondToken() const { return m_secondToken; }
   void setFirstToken(const ZqToken& token) { m_firstToken = token; }
   void setSecondToken(const ZqToken& token) { m_secondToken = token; }

   void accept(ZqXmlObjectVisitor* visitor) const override
   {
      ZqXmlVisiting::visitElements(visitor, *this, typeid(*this), 2,
                                   [this](std::size_t i) {
                                      return i == 0 ? ZqXmlValue::asObject(m_first)
                                                    : ZqXmlValue::asObject(m_second);
                                   });
   }
   ZqXmlObject* clone() const override { return new ZqXmlPairType(*this); }
   bool read(ZqXmlReader& reader) override
   {
      if (!ZqXmlObject::read(reader))
         return false;
      reader.reportUnknownAttributes("ZqXmlPairType");
      if (reader.nodeKind() == ZqXmlReader::EmptyTag)
         return true;
      bool valid = true;
      bool failed = false;
      while (ZqXmlList::nextChild(reader, failed))
      {
         const std::string_view tag = reader.tagText();
         if (tag == m_firstToken.view() || tag == ZqXml::ZqFirstToken.view())
            valid = ZqXmlValue::read(reader, m_first) && valid;
         else if (tag == m_secondToken.view() || tag == ZqXml::ZqSecondToken.view())
            valid = ZqXmlValue::read(reader, m_second) && valid;
         else
         {
            const ZqString expected = m_firstToken.token() + " or " + m_secondToken.token();
            const ZqString received(tag);
            reader.report(Zq::Rejected, Zq::Severity::Error, "structure",
                          "expected " + expected + ", but received " + received,
                          "ZqXmlPairType Error: file not valid.\n\tFormat not correct.\n\tFile: " +
                             reader.fileName() +
                             "\n\tLine: " + std::to_string(reader.lineNumber()) + "\tExpected " +
                             expected + " but received " + received + '.');
            valid = false;
            reader.skipElement();
         }
      }
      return valid && !failed;
   }
   bool write(ZqXmlWriter& writer) const override
   {
      if (!ZqXmlObject::write(writer))
         return false;
      writer.writeStartTag(m_firstToken);
      bool written = ZqXmlValue::write(writer, m_first);
      writer.writeEndTag();
      writer.writeStartTag(m_secondToken);
      written = ZqXmlValue::write(writer, m_second) && written;
      writer.writeEndTag();
      return written;
   }
   void writeSchema(ZqXmlSchema& schema) const override
   {
      ZqString variant(m_firstToken.localName());
      variant += '.';
      variant += m_secondToken.localName();
      if (!schema.beginType(typeid(*this), variant))
         return;
      ZqXmlValue::describe(schema, m_firstToken, m_first, 0, 1, "first of the pair");
      ZqXmlValue::describe(schema, m_secondToken, m_second, 0, 1, "second of the pair");
      schema.endType();
   }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ZqXmlPairType*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override
   {
      return new ZqXmlPairType(A(), B(), m_firstToken, m_secondToken);
   }
   static const ZqToken& classToken() { return ZqXml::ZqPairTypeToken; }
   const ZqToken& token() const override { return classToken(); }

   /// The names of the elements are the owner's and take no part.
   bool operator==(const ZqXmlPairType& other) const
   {
      return m_first == other.m_first && m_second == other.m_second;
   }
   static ZqXmlPairType nullObject() { return {}; }

private:
   A m_first{};
   B m_second{};
   ZqToken m_firstToken = ZqXml::ZqFirstToken;
   ZqToken m_secondToken = ZqXml::ZqSecondToken;
};
