#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

#include <expat.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <fstream>
#include <set>
#include <vector>

namespace
{
constexpr std::size_t maxWordBytes = 1U << 20U;

bool isSpace(char c)
{
   return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

bool isAllSpace(std::string_view text)
{
   return std::all_of(text.begin(), text.end(), isSpace);
}

/// The part of a document's text that a message shows: whole characters, so many bytes at most.
ZqString excerpt(std::string_view text, std::size_t shown = 40)
{
   if (text.size() <= shown)
      return ZqString(text);
   while (shown > 0 && (static_cast<unsigned char>(text[shown]) & 0xC0U) == 0x80U)
      --shown;
   return ZqString(text.substr(0, shown)) + "...";
}

/// A stretch of the text store of a block.
struct Span
{
   std::size_t begin = 0;
   std::size_t size = 0;
};

struct Attribute
{
   Span name;
   Span value;
};

struct Event
{
   unsigned kind = ZqXmlReader::NoNode;
   Span text; ///< name of a tag, or characters
   std::size_t firstAttribute = 0;
   unsigned attributeCount = 0;
   unsigned long line = 0;
};
} // namespace

/// Expat, and the events of the block that it was fed last.
struct ZqXmlReader::Parser
{
   ZqString name;
   std::ifstream file;
   std::istream* input = nullptr;
   std::size_t totalBytes = 0; ///< 0 when the input does not tell
   std::size_t bytesFed = 0;
   std::size_t reservedBytes = 0; ///< granted on the word of counts
   Limits limits;

   XML_Parser expat = nullptr;
   unsigned depth = 0;
   bool ended = false;   ///< the input has no more
   bool failed = false;  ///< something was not as it should be
   bool stopped = false; ///< the document was given up, with a message
   ZqString fault;       ///< what is wrong behind the last event, if anything
   unsigned long faultLine = 0;

   std::vector<Event> events;
   std::vector<Attribute> attributes;
   std::string store;
   std::size_t next = 0; ///< the event after the current one

   Event current;
   unsigned attributeCursor = 0;
   unsigned long line = 0;

   bool dataMode = false;
   std::string_view data;     ///< what is left of the current piece of text
   std::size_t dataBytes = 0; ///< all that this text has given so far
   std::string word;

   ZqXmlBaseVariableCompoundType* topContainer = nullptr;
   unsigned linkTotal = 0;
   unsigned linkCount = 0;
   ProgressSink progressSink;
   std::set<std::string, std::less<>> unknownNames;
   std::size_t unknownReports = 0;

   explicit Parser(ZqString inputName);
   ~Parser() { XML_ParserFree(expat); }
   Parser(const Parser&) = delete;
   Parser& operator=(const Parser&) = delete;

   void onStart(const char* tag, const char** list);
   void onEnd();
   void onText(std::string_view piece);

   void findTotal();
   Span put(std::string_view text);
   std::string_view view(Span span) const { return {store.data() + span.begin, span.size}; }
   unsigned long parserLine() const { return XML_GetCurrentLineNumber(expat); }
   void faultAhead(const ZqString& what);
   void fail(const ZqString& what, unsigned long atLine);

   void dropConsumed();
   std::size_t readBlock(void* block, std::size_t wanted);
   bool feed();
   bool ensure(std::size_t count);
   void failAtEnd() { fail(fault, faultLine); }
   bool refillData();
   bool skipSpaceInData();
   bool appendWord(bool quoted);
   void reportUnknown(std::string_view what, std::string_view unknown, std::string_view owner);
};

ZqXmlReader::Parser::Parser(ZqString inputName)
   : name(std::move(inputName)), expat(XML_ParserCreateNS(nullptr, '\0'))
{
   if (expat == nullptr)
      throw std::bad_alloc();
   XML_SetUserData(expat, this);
   // No exception may pass through the parser, which is C: the one that can occur is caught here.
   static constexpr auto guarded = [](void* self, auto&& work)
   {
      auto& parser = *static_cast<Parser*>(self);
      try
      {
         work(parser);
      }
      catch (const std::bad_alloc&)
      {
         parser.faultAhead("no memory for the document");
      }
   };
   XML_SetElementHandler(
      expat,
      [](void* self, const char* tag, const char** list)
      { guarded(self, [&](Parser& parser) { parser.onStart(tag, list); }); },
      [](void* self, const char*) { guarded(self, [](Parser& parser) { parser.onEnd(); }); });
   XML_SetCharacterDataHandler(expat,
                               [](void* self, const char* text, int size) {
                                  guarded(self,
                                          [&](Parser& parser) {
                                             parser.onText({text, static_cast<std::size_t>(size)});
                                          });
                               });
   XML_SetStartDoctypeDeclHandler(
      expat, [](void* self, const char*, const char*, const char*, int)
      { static_cast<Parser*>(self)->faultAhead("a document type declaration is not accepted"); });
}

/// Asks a seekable input for its size.
void ZqXmlReader::Parser::findTotal()
{
   try
   {
      std::streambuf* buffer = input->rdbuf();
      const std::streamoff here =
         buffer != nullptr ? std::streamoff(buffer->pubseekoff(0, std::ios::cur, std::ios::in))
                           : -1;
      if (here < 0)
         return;
      const std::streamoff end = buffer->pubseekoff(0, std::ios::end, std::ios::in);
      buffer->pubseekpos(here, std::ios::in);
      if (end > here)
         totalBytes = static_cast<std::size_t>(end - here);
   }
   catch (const std::exception&)
   {
      // An input that does not tell is read all the same.
   }
}

/// Ends the document with a failure; the first one is logged.
void ZqXmlReader::Parser::fail(const ZqString& what, unsigned long atLine)
{
   if (!stopped)
      Zq::Print::instance().write(Zq::XmlFault, "ZqXmlReader Error: %s.\n\tFile: %s\n\tLine: %lu\n",
                                  what.c_str(), name.c_str(), atLine);
   stopped = true;
   failed = true;
   ended = true;
   dataMode = false;
   events.clear();
   next = 0;
}

/// Ends the input with a fault. What stands before it is still handed out, so that neither the messages
/// nor what is read depend on where the blocks end; the fault is met in its place.
void ZqXmlReader::Parser::faultAhead(const ZqString& what)
{
   if (ended)
      return;
   ended = true;
   fault = what;
   faultLine = parserLine();
   XML_StopParser(expat, XML_FALSE);
}

Span ZqXmlReader::Parser::put(std::string_view text)
{
   const Span span{store.size(), text.size()};
   store.append(text);
   return span;
}

void ZqXmlReader::Parser::onStart(const char* tag, const char** list)
{
   if (++depth > limits.depth)
   {
      faultAhead("elements are nested deeper than " + std::to_string(limits.depth));
      return;
   }
   Event event;
   event.kind = StartTag;
   event.text = put(tag);
   event.firstAttribute = attributes.size();
   event.line = parserLine();
   for (; *list != nullptr; list += 2)
   {
      const Span attributeName = put(list[0]);
      attributes.push_back({attributeName, put(list[1])});
      ++event.attributeCount;
   }
   events.push_back(event);
}

void ZqXmlReader::Parser::onEnd()
{
   --depth;
   Event event;
   event.kind = EndTag;
   event.line = parserLine();
   events.push_back(event);
}

void ZqXmlReader::Parser::onText(std::string_view piece)
{
   Event* last = events.empty() ? nullptr : &events.back();
   if (last != nullptr && last->kind == Text)
   {
      // Of a text over several lines, the line on which it says something counts.
      if (isAllSpace(view(last->text)))
         last->line = parserLine();
      last->text.size += piece.size();
      store.append(piece);
      if (last->text.size > limits.textBytes)
         faultAhead("a text is longer than " + std::to_string(limits.textBytes) + " bytes");
      return;
   }
   // White space after an end tag only lays the document out: a text that counts has no child.
   if (last != nullptr && last->kind == EndTag && isAllSpace(piece))
      return;
   Event event;
   event.kind = Text;
   event.text = put(piece);
   event.line = parserLine();
   events.push_back(event);
}

/// Moves what the cursor has not reached yet to the front, so that a block's memory serves the next.
void ZqXmlReader::Parser::dropConsumed()
{
   if (next == events.size())
   {
      events.clear();
      attributes.clear();
      store.clear();
      next = 0;
      return;
   }
   const std::size_t textBegin = events[next].text.begin;
   std::size_t attributeBegin = attributes.size();
   for (std::size_t i = next; i < events.size(); ++i)
      if (events[i].kind == StartTag)
      {
         attributeBegin = events[i].firstAttribute;
         break;
      }
   store.erase(0, textBegin);
   attributes.erase(attributes.begin(),
                    attributes.begin() + static_cast<std::ptrdiff_t>(attributeBegin));
   events.erase(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(next));
   next = 0;
   for (Event& event : events)
   {
      if (event.kind != EndTag)
         event.text.begin -= textBegin;
      if (event.kind == StartTag)
         event.firstAttribute -= attributeBegin;
   }
   for (Attribute& attribute : attributes)
   {
      attribute.name.begin -= textBegin;
      attribute.value.begin -= textBegin;
   }
}

/// The bytes of the next block from the input; fewer than wanted only at its end.
std::size_t ZqXmlReader::Parser::readBlock(void* block, std::size_t wanted)
{
   // Straight from the buffer: the stream may be set to throw, or be in a failed state.
   try
   {
      if (input->good() && input->rdbuf() != nullptr)
         return static_cast<std::size_t>(
            input->rdbuf()->sgetn(static_cast<char*>(block), static_cast<std::streamsize>(wanted)));
   }
   catch (const std::exception&)
   {
      // What a stream buffer throws is a failure to read, as below.
   }
   faultAhead("the input cannot be read");
   return 0;
}

/// Parses one more block. False at the end of the input.
bool ZqXmlReader::Parser::feed()
{
   if (ended)
      return false;
   // A tag that does not fit a block is scanned anew with each block, so blocks grow with it.
   const XML_Index consumed = XML_GetCurrentByteIndex(expat);
   const std::size_t done = consumed < 0 ? 0 : static_cast<std::size_t>(consumed);
   const std::size_t unfinished = bytesFed > done ? bytesFed - done : 0;
   if (unfinished > limits.textBytes)
      faultAhead("a tag is longer than " + std::to_string(limits.textBytes) + " bytes");
   const std::size_t growFrom = std::max<std::size_t>(limits.blockBytes, 64U << 10U);
   const std::size_t wanted = unfinished > growFrom ? unfinished : limits.blockBytes;
   void* block = ended ? nullptr : XML_GetBuffer(expat, static_cast<int>(wanted));
   if (block == nullptr)
   {
      faultAhead("no memory for the next block");
      return false;
   }
   const std::size_t got = readBlock(block, wanted);
   if (ended)
      return false;
   bytesFed += got;
   const bool last = got < wanted;
   if (XML_ParseBuffer(expat, static_cast<int>(got), last ? XML_TRUE : XML_FALSE) != XML_STATUS_OK)
   {
      const bool isEmpty = XML_GetErrorCode(expat) == XML_ERROR_NO_ELEMENTS && bytesFed == 0;
      faultAhead(isEmpty
                    ? ZqString("the document is empty")
                    : ZqString("not well-formed XML: ") + XML_ErrorString(XML_GetErrorCode(expat)));
      return false;
   }
   ended = last;
   return true;
}

/// Makes sure that so many events lie ahead. False when the document has no more; when it has none at
/// all, a fault behind its last event is met.
bool ZqXmlReader::Parser::ensure(std::size_t count)
{
   if (events.size() - next >= count)
      return true;
   dropConsumed();
   while (events.size() < count && feed())
      ;
   if (events.empty() && !fault.empty())
      fail(fault, faultLine);
   return events.size() >= count;
}

/// The next piece of the text in data mode. False on the end tag, where data mode ends.
bool ZqXmlReader::Parser::refillData()
{
   if (!dataMode || !ensure(1))
   {
      dataMode = false;
      return false;
   }
   const Event& event = events[next];
   if (event.kind == StartTag)
   {
      fail("expected text, but received the element \"" + ZqString(view(event.text)) + "\"",
           event.line);
      return false;
   }
   current = event;
   ++next;
   if (event.kind == EndTag)
   {
      line = current.line;
      dataMode = false;
      return false;
   }
   data = view(current.text);
   dataBytes += data.size();
   if (dataBytes > limits.textBytes)
   {
      fail("a text is longer than " + std::to_string(limits.textBytes) + " bytes", line);
      return false;
   }
   return true;
}

bool ZqXmlReader::Parser::skipSpaceInData()
{
   for (;;)
   {
      while (!data.empty() && isSpace(data.front()))
         data.remove_prefix(1);
      if (!data.empty())
         return dataMode;
      if (!refillData())
         return false;
   }
}

/// Appends the word at the data cursor to `word`; it may go on in the next piece.
bool ZqXmlReader::Parser::appendWord(bool quoted)
{
   const bool inQuotes = quoted && data.front() == '"';
   if (inQuotes)
      data.remove_prefix(1);
   bool escaped = false;
   for (;;)
   {
      if (data.empty() && !refillData())
      {
         if (inQuotes && !stopped)
            fail("a word in quotes has no end", line);
         return !stopped;
      }
      const char c = data.front();
      if (!inQuotes && isSpace(c))
         return true;
      data.remove_prefix(1);
      if (inQuotes && !escaped && (c == '"' || c == '\\'))
      {
         if (c == '"')
            return true;
         escaped = true;
         continue;
      }
      escaped = false;
      word += c;
      if (!inQuotes && word.size() > maxWordBytes)
      {
         fail("a word is longer than " + std::to_string(maxWordBytes) + " bytes", line);
         return false;
      }
   }
}

void ZqXmlReader::Parser::reportUnknown(std::string_view what, std::string_view unknown,
                                        std::string_view owner)
{
   if (unknownReports > limits.unknownNames || unknownNames.find(unknown) != unknownNames.end())
      return;
   ++unknownReports;
   ZqString text;
   if (unknownReports > limits.unknownNames)
      text = "further names that are not known here are not reported";
   else
   {
      unknownNames.emplace(unknown);
      text = "the " + ZqString(what) + " \"" + excerpt(unknown, 200) + "\" is not known in " +
             ZqString(owner) + " and is passed over";
   }
   Zq::Print::instance().write(Zq::XmlFault, "ZqXmlReader: %s.\n\tFile: %s\n\tLine: %lu\n",
                               text.c_str(), name.c_str(), line);
}

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
   do
   {
      if (!p.ensure(1))
      {
         p.current = Event{};
         p.current.kind = EndOfInput;
         return EndOfInput;
      }
      p.current = p.events[p.next++];
   } while (p.current.kind == Text && isAllSpace(p.view(p.current.text)));
   p.line = p.current.line;
   p.attributeCursor = 0;
   if (p.current.kind == StartTag)
   {
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
             child.line);
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
                   p.line);
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

void ZqXmlReader::fail(const ZqString& what)
{
   m_parser->fail(what, m_parser->line);
}

void ZqXmlReader::failValue(const char* expected, std::string_view text)
{
   fail(ZqString("expected ") + expected + ", but received \"" + excerpt(text) + "\"");
}

void ZqXmlReader::setFailed()
{
   m_parser->failed = true;
}

bool ZqXmlReader::failed() const
{
   return m_parser->failed;
}

void ZqXmlReader::reportUnknownElement(std::string_view owner)
{
   m_parser->reportUnknown("element", tagText(), owner);
}

void ZqXmlReader::reportUnknownAttribute(std::string_view owner)
{
   const std::string_view name = attributeNameText();
   // These two speak to the parser and the validator, not to us.
   if (!name.starts_with("http://www.w3.org/2001/XMLSchema-instance") &&
       !name.starts_with("http://www.w3.org/XML/1998/namespace"))
      m_parser->reportUnknown("attribute", name, owner);
}

void ZqXmlReader::remark(const ZqString& what)
{
   Zq::Print::instance().write(Zq::XmlFault, "ZqXmlReader: %s.\n\tFile: %s\n\tLine: %lu\n",
                               what.c_str(), m_parser->name.c_str(), m_parser->line);
}

ZqString ZqXmlReader::place() const
{
   return "Filename: " + m_parser->name + ", Line count: " + std::to_string(m_parser->line);
}
