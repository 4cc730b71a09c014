#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlEnumType.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"
#include "zqManipulator/foundation/xml/ZqXmlWhiteSpace.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

template <ZqTextual T>
void ZqXmlBasicType<T>::writeSchema(ZqXmlSchema& schema) const
{
   schema.addText(ZqXmlText<T>::schemaType);
}

template <ZqTextual T>
const ZqToken& ZqXmlBasicType<T>::classToken()
{
   return ZqXml::ZqBasicTypeToken;
}

#define ZQ_TEXTUAL_TYPE(T) template class ZqXmlBasicType<T>;
#include "zqManipulator/foundation/xml/ZqXmlTextualTypes.def"

const ZqToken* ZqXmlEnumType<ZqU32>::valueToken() const
{
   return m_enumeration != nullptr && m_value < m_enumeration->size()
             ? (*m_enumeration)[m_value].token
             : nullptr;
}

bool ZqXmlEnumType<ZqU32>::setValueFromString(std::string_view text)
{
   if (m_enumeration == nullptr)
      return false;
   for (ZqU32 value = 0; value < m_enumeration->size(); ++value)
      if ((*m_enumeration)[value].token->view() == text)
      {
         m_value = value;
         return true;
      }
   return false;
}

ZqXmlObject* ZqXmlEnumType<ZqU32>::clone() const
{
   return new ZqXmlEnumType(*this);
}

bool ZqXmlEnumType<ZqU32>::parse(ZqXmlReader& reader, std::string_view text)
{
   if (setValueFromString(ZqXmlWhiteSpace::trimmed(text)))
      return true;
   ZqString expected = "one of";
   if (m_enumeration != nullptr)
      for (const ZqXmlEnumerator& enumerator : *m_enumeration)
         expected += " \"" + enumerator.token->token() + '"';
   reader.failValue(expected.c_str(), text);
   return false;
}

bool ZqXmlEnumType<ZqU32>::read(ZqXmlReader& reader)
{
   if (!ZqXmlObject::read(reader))
      return false;
   if (!reader.inData())
      reader.reportUnknownAttributes("a value");
   std::string_view text;
   return (reader.inData() ? reader.readWords(1, false, text) : reader.readText(text)) &&
          parse(reader, text);
}

bool ZqXmlEnumType<ZqU32>::readAttribute(ZqXmlReader& reader)
{
   setSpecified(true);
   return parse(reader, reader.attributeValueText());
}

bool ZqXmlEnumType<ZqU32>::write(ZqXmlWriter& writer) const
{
   const ZqToken* token = valueToken();
   if (token == nullptr)
   {
      writer.fail("the value " + std::to_string(m_value) + " is not of its enumeration");
      return false;
   }
   writer.beginValue();
   writer.appendEscaped(token->view());
   writer.endValue();
   return writer.good();
}

void ZqXmlEnumType<ZqU32>::writeSchema(ZqXmlSchema& schema) const
{
   if (m_enumeration != nullptr)
      schema.addEnumeration(*m_enumeration);
}

bool ZqXmlEnumType<ZqU32>::isBasicType() const
{
   return true;
}

bool ZqXmlEnumType<ZqU32>::equality(const ZqXmlObject* other) const
{
   const auto* enumeration = dynamic_cast<const ZqXmlEnumType*>(other);
   return enumeration != nullptr && *this == *enumeration;
}

ZqXmlObject* ZqXmlEnumType<ZqU32>::newObject() const
{
   auto* fresh = new ZqXmlEnumType();
   fresh->m_enumeration = m_enumeration;
   return fresh;
}

const ZqToken& ZqXmlEnumType<ZqU32>::classToken()
{
   return ZqXml::ZqEnumTypeToken;
}

const ZqToken& ZqXmlEnumType<ZqU32>::token() const
{
   return classToken();
}
