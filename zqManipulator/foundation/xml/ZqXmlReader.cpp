#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlReaderParser.h"

#include <algorithm>

using ZqXmlParsing::Event;
using ZqXmlParsing::excerpt;
using ZqXmlParsing::localName;
using ZqXmlWhiteSpace::isSpace;

ZqXmlReader::ZqXmlReader(const ZqString& fileName) : m_parser(std::make_unique<Parser>(fileName))
{
   m_parser->file.open(fileName, std::ios::binary);
   m_parser->input = &m_parser->file;
   if (!m_parser->file)
   {
      m_parser->ended = true;
      m_parser->fault = "the file cannot be opened";
   }
   else
      m_parser->findTotal();
}

ZqXmlReader::ZqXmlReader(std::istream& stream, const ZqString& name)
   : m_parser(std::make_unique<Parser>(name))
{
   m_parser->input = &stream;
   m_parser->findTotal();
}

ZqXmlReader::~ZqXmlReader() = default;

unsigned ZqXmlReader::nextNode()
{
   Parser& p = *m_parser;
   // Leaving a text that was prepared for data half read: the rest of it is passed over.
   p.dataMode = false;
   p.data = {};
   p.leaveElement();
   do
   {
      if (!p.ensure(1))
      {
         p.current = Event{};
         p.current.kind = EndOfInput;
         return EndOfInput;
      }
      p.current = p.events[p.next++];
   } while (p.current.kind == Text && p.current.isBlank);
   p.line = p.current.line;
   p.attributeCursor = 0;
   if (p.current.kind == StartTag)
   {
      p.enterElement();
      // The next event tells whether the element has content. It may have to be fetched, with the
      // current one kept in the store.
      --p.next;
      const bool hasNext = p.ensure(2);
      p.current = p.events[p.next++];
      if (hasNext && p.events[p.next].kind == EndTag)
      {
         p.current.kind = EmptyTag;
         ++p.next;
      }
   }
   return p.current.kind;
}

unsigned ZqXmlReader::nodeKind() const
{
   return m_parser->current.kind;
}

ZqToken ZqXmlReader::tagName() const
{
   return ZqToken(tagText());
}

unsigned ZqXmlReader::attributeCount() const
{
   return m_parser->current.attributeCount;
}

void ZqXmlReader::setAttributeCursor(unsigned index)
{
   m_parser->attributeCursor = index;
}

ZqToken ZqXmlReader::attributeName() const
{
   return ZqToken(attributeNameText());
}

ZqString ZqXmlReader::attributeValue() const
{
   return ZqString(attributeValueText());
}

bool ZqXmlReader::prepareForData()
{
   Parser& p = *m_parser;
   if (p.current.kind != Text)
      return false;
   p.dataMode = true;
   p.data = p.view(p.current.text);
   p.dataBytes = p.data.size();
   return true;
}

bool ZqXmlReader::moreData()
{
   return m_parser->skipSpaceInData();
}

const ZqString& ZqXmlReader::fileName() const
{
   return m_parser->name;
}

unsigned long ZqXmlReader::lineNumber() const
{
   return m_parser->line;
}

ZqXmlBaseVariableCompoundType* ZqXmlReader::topContainer() const
{
   return m_parser->topContainer;
}

void ZqXmlReader::setTopContainer(ZqXmlBaseVariableCompoundType* container)
{
   m_parser->topContainer = container;
}

void ZqXmlReader::setLinkTotal(unsigned total)
{
   m_parser->linkTotal = total;
   m_parser->linkCount = 0;
}

void ZqXmlReader::incrementLinkCount()
{
   Parser& p = *m_parser;
   ++p.linkCount;
   if (p.progressSink)
      p.progressSink(p.linkCount, p.linkTotal);
}

void ZqXmlReader::setProgressSink(ProgressSink sink)
{
   m_parser->progressSink = std::move(sink);
}

void ZqXmlReader::setLimits(const Limits& limits)
{
   m_parser->limits = limits;
   m_parser->limits.blockBytes = std::clamp<std::size_t>(limits.blockBytes, 1, 1U << 24U);
}

const ZqXmlReader::Limits& ZqXmlReader::limits() const
{
   return m_parser->limits;
}

std::string_view ZqXmlReader::tagText() const
{
   const unsigned kind = m_parser->current.kind;
   return isStart(kind) ? m_parser->view(m_parser->current.text) : std::string_view();
}

std::string_view ZqXmlReader::attributeNameText() const
{
   const Parser& p = *m_parser;
   return p.view(p.attributes[p.current.firstAttribute + p.attributeCursor].name);
}

std::string_view ZqXmlReader::attributeValueText() const
{
   const Parser& p = *m_parser;
   return p.view(p.attributes[p.current.firstAttribute + p.attributeCursor].value);
}

bool ZqXmlReader::readText(std::string_view& text)
{
   Parser& p = *m_parser;
   text = {};
   if (p.current.kind == EmptyTag)
      return true;
   // The text and the end tag behind it are brought into one block, so that the text is one piece.
   if (p.current.kind != StartTag)
      return false;
   if (!p.ensure(2))
   {
      p.failAtEnd();
      return false;
   }
   const Event& event = p.events[p.next];
   const Event& after = p.events[p.next + 1];
   if (event.kind != Text || after.kind != EndTag)
   {
      const Event& child = event.kind == StartTag ? event : after;
      p.fail("expected text, but received the element \"" + ZqString(p.view(child.text)) + "\"",
             child.line, "structure");
      return false;
   }
   text = p.view(event.text);
   p.current = after;
   p.line = after.line;
   p.next += 2;
   return true;
}

bool ZqXmlReader::inData() const
{
   return m_parser->dataMode;
}

bool ZqXmlReader::readWords(unsigned count, bool quoted, std::string_view& words)
{
   Parser& p = *m_parser;
   p.word.clear();
   words = {};
   for (unsigned i = 0; i < count; ++i)
   {
      if (!p.skipSpaceInData())
      {
         if (!p.stopped)
            p.fail("expected " + std::to_string(count) + " words, but received " +
                      std::to_string(i),
                   p.line, "value");
         return false;
      }
      // A word within its piece needs no copy.
      if (count == 1 && (!quoted || p.data.front() != '"'))
      {
         const auto end = std::find_if(p.data.begin(), p.data.end(), isSpace);
         if (end != p.data.end())
         {
            words = p.data.substr(0, static_cast<std::size_t>(end - p.data.begin()));
            p.data.remove_prefix(words.size());
            return true;
         }
      }
      if (i > 0)
         p.word += ' ';
      if (!p.appendWord(quoted))
         return false;
   }
   words = p.word;
   return true;
}

bool ZqXmlReader::skipElement()
{
   unsigned depth = m_parser->current.kind == StartTag ? 1 : 0;
   while (depth > 0)
   {
      const unsigned kind = nextNode();
      if (kind == EndOfInput)
         return false;
      depth += kind == StartTag ? 1U : 0U;
      depth -= kind == EndTag ? 1U : 0U;
   }
   return true;
}

std::size_t ZqXmlReader::reservable(std::size_t claimed, std::size_t elementBytes)
{
   Parser& p = *m_parser;
   constexpr std::size_t bytesPerByte = 16;
   const std::size_t allowed = bytesPerByte * std::max(p.totalBytes, p.bytesFed);
   const std::size_t left = allowed > p.reservedBytes ? allowed - p.reservedBytes : 0;
   const std::size_t count = std::min(claimed, left / std::max<std::size_t>(elementBytes, 1));
   p.reservedBytes += count * elementBytes;
   return count;
}

void ZqXmlReader::fail(const ZqString& what, const char* code)
{
   m_parser->fail(what, m_parser->line, code);
}

namespace
{
ZqString expectation(const char* expected, std::string_view text)
{
   return ZqString("expected ") + expected + ", but received \"" + excerpt(text) + "\"";
}
} // namespace

void ZqXmlReader::failValue(const char* expected, std::string_view text)
{
   fail(expectation(expected, text), "value");
}

void ZqXmlReader::failAttributeValue(const char* expected)
{
   m_parser->fail(expectation(expected, attributeValueText()), m_parser->line, "value",
                  "/@" + ZqString(localName(attributeNameText())));
}

void ZqXmlReader::setFailed()
{
   m_parser->failed = true;
}

bool ZqXmlReader::failed() const
{
   return m_parser->failed;
}

bool ZqXmlReader::stopped() const
{
   return m_parser->stopped;
}

void ZqXmlReader::reportUnknownElement(std::string_view owner, const KnownNames& known)
{
   m_parser->reportUnknown("element", tagText(), owner, known);
}

void ZqXmlReader::reportUnknownAttribute(std::string_view owner, const KnownNames& known)
{
   const std::string_view name = attributeNameText();
   // These two speak to the parser and the validator, not to us.
   if (!name.starts_with("http://www.w3.org/2001/XMLSchema-instance") &&
       !name.starts_with("http://www.w3.org/XML/1998/namespace"))
      m_parser->reportUnknown("attribute", name, owner, known);
}

void ZqXmlReader::reportUnknownAttributes(std::string_view owner)
{
   for (unsigned i = 0; i < attributeCount(); ++i)
   {
      setAttributeCursor(i);
      reportUnknownAttribute(owner);
   }
}

void ZqXmlReader::remark(const ZqString& what, const char* code)
{
   m_parser->log(Zq::Severity::Warning, code, what, m_parser->line);
}

void ZqXmlReader::report(unsigned type, Zq::Severity severity, const char* code,
                         const ZqString& what, const ZqString& message)
{
   Zq::Diagnostic diagnostic{severity, code, {}, 0, {}, what};
   locate(diagnostic);
   Zq::Print::instance().report(type, diagnostic, message);
   if (severity == Zq::Severity::Error)
      setFailed();
}

void ZqXmlReader::nameElement(const char* kind, const ZqString& label)
{
   Parser& p = *m_parser;
   // The cursor may stand on the end of a child.
   const std::size_t ended = p.current.kind == EndTag || p.current.kind == EmptyTag ? 1 : 0;
   if (p.open.size() <= ended)
      return;
   const std::size_t level = p.open.size() - ended - 1;
   if (p.titles.empty() || p.titles.back().level != level)
      p.titles.push_back({level, {}});
   p.titles.back().text = ZqString(kind) + " '" + Zq::oneLine(excerpt(label, 200)) + "'";
}

ZqString ZqXmlReader::path() const
{
   return m_parser->path();
}

void ZqXmlReader::locate(Zq::Diagnostic& diagnostic) const
{
   if (diagnostic.file.empty())
      diagnostic.file = m_parser->name;
   if (diagnostic.line == 0)
      diagnostic.line = m_parser->line;
   if (diagnostic.path.empty())
      diagnostic.path = path();
}

ZqString ZqXmlReader::place() const
{
   return "Filename: " + m_parser->name + ", Line count: " + std::to_string(m_parser->line);
}
