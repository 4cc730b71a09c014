#include "zqManipulator/foundation/xml/ZqXmlList.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <charconv>

template class ZqXmlVectorType<ZqU32>;
template class ZqXmlVectorType<ZqString>;

namespace
{
/// Reads the elements of a group, which are words of one text.
bool readGroup(ZqXmlReader& reader, const ZqXmlList::Target& target, long long& count)
{
   // A stream that nothing was appended to leaves a group without content.
   if (reader.nodeKind() == ZqXmlReader::EmptyTag)
      return true;
   const unsigned kind = reader.nextNode();
   if (kind == ZqXmlReader::EndTag)
      return true;
   if (kind != ZqXmlReader::Text || !target.elementsAreBasic)
   {
      if (kind != ZqXmlReader::EndOfInput)
         reader.report(Zq::Rejected, Zq::Severity::Error, "structure",
                       "expected the elements of a list as one text",
                       target.dataError + reader.place() + '\n');
      reader.setFailed();
      return false;
   }
   reader.prepareForData();
   for (; reader.moreData(); ++count)
      if (!target.readElement(target.list, reader))
         return false;
   return reader.nodeKind() == ZqXmlReader::EndTag;
}
} // namespace

std::optional<long long> ZqXmlList::readCount(ZqXmlReader& reader, std::string_view owner)
{
   std::optional<long long> count;
   for (unsigned i = 0; i < reader.attributeCount(); ++i)
   {
      reader.setAttributeCursor(i);
      if (reader.attributeNameText() != ZqXml::ZqCountToken.view())
      {
         reader.reportUnknownAttribute(owner);
         continue;
      }
      const std::string_view text = reader.attributeValueText();
      count = 0;
      std::from_chars(text.data(), text.data() + text.size(), *count);
   }
   return count;
}

bool ZqXmlList::read(ZqXmlReader& reader, const Target& target)
{
   const std::optional<long long> stated = readCount(reader, "a list");
   const long long claimed = stated.value_or(0);
   if (reader.nodeKind() == ZqXmlReader::EmptyTag)
      return true;
   if (target.reserve != nullptr && claimed > 0)
      target.reserve(target.list,
                     reader.reservable(static_cast<std::size_t>(claimed), target.elementBytes));
   unsigned kind = reader.nextNode();
   if (kind == ZqXmlReader::EndOfInput)
      return false;
   long long count = 0;
   for (;;)
   {
      if (kind == ZqXmlReader::Text)
      {
         reader.fail("expected an element of a list, but received text");
         return false;
      }
      if (!ZqXmlReader::isStart(kind))
         break;
      if (reader.tagText() == ZqXml::ZqGroupToken.view())
      {
         if (!readGroup(reader, target, count))
            return false;
      }
      else
      {
         if (!target.readElement(target.list, reader))
            return false;
         ++count;
      }
      kind = reader.nextNode();
      if (kind == ZqXmlReader::EndOfInput)
         return false;
   }
   if (count != claimed)
   {
      const ZqString actual = std::to_string(count);
      reader.report(Zq::XmlFault, stated ? Zq::Severity::Warning : Zq::Severity::Note, "count",
                    stated ? "the count is " + std::to_string(claimed) + ", but the list has " +
                                actual + " elements"
                           : "there is no count",
                    target.sizeError + std::to_string(claimed) + ", actual -- " + actual + '\n' +
                       reader.place() + '\n');
   }
   return true;
}

void ZqXmlList::writeCount(ZqXmlWriter& writer, std::size_t size)
{
   writer.setAttributeName(ZqXml::ZqCountToken);
   ZqXmlLeaf::write(writer, static_cast<ZqU32>(size));
}

bool ZqXmlList::beginGroup(ZqXmlWriter& writer)
{
   writer.writeStartTag(ZqXml::ZqGroupToken);
   writer.setInData(true);
   return writer.good();
}

void ZqXmlList::endGroup(ZqXmlWriter& writer)
{
   writer.writeEndTag();
}

void ZqXmlList::beginElement(ZqXmlWriter& writer)
{
   writer.writeStartTag(ZqXml::ZqElementToken);
}

void ZqXmlList::endElement(ZqXmlWriter& writer)
{
   writer.writeEndTag();
}

bool ZqXmlList::nextChild(ZqXmlReader& reader, bool& failed)
{
   const unsigned kind = reader.nextNode();
   if (ZqXmlReader::isStart(kind))
      return true;
   if (kind == ZqXmlReader::Text)
      reader.fail("expected an element, but received text");
   failed = kind != ZqXmlReader::EndTag;
   return false;
}

bool ZqXmlList::expectTag(ZqXmlReader& reader, const ZqToken& expected, const char* error)
{
   if (reader.tagText() == expected.view())
      return true;
   const ZqString received(reader.tagText());
   reader.report(Zq::Rejected, Zq::Severity::Error, "structure",
                 "expected the element \"" + expected.token() + "\", but received \"" + received +
                    '"',
                 ZqString(error) + "\n\tFile: " + reader.fileName() +
                    "\n\tLine: " + std::to_string(reader.lineNumber()) + "\tExpected " +
                    expected.token() + " but received " + received + '.');
   return false;
}

void ZqXmlList::describe(ZqXmlSchema& schema, const std::type_info& type,
                         const ZqXmlObject* element, const char* textType)
{
   if (!schema.beginType(type, ""))
      return;
   schema.addTextAttribute(ZqXml::ZqCountToken, "unsignedInt", "number of elements");
   // The words of a group may be quoted, so that their type is text.
   if (textType != nullptr || element->isBasicType())
      schema.addTextElement(ZqXml::ZqGroupToken, "string", 0, 1,
                            "the values as words; a text stands in double quotes");
   else
      schema.addElement(ZqXml::ZqElementToken, *element, 0, ZqXmlSchema::unbounded,
                        "an element of the list");
   schema.endType();
}
