#include "zqManipulator/foundation/xml/ZqXmlReaderParser.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

#include <algorithm>
#include <exception>

using ZqXmlParsing::Attribute;
using ZqXmlParsing::Event;
using ZqXmlParsing::excerpt;
using ZqXmlParsing::localName;
using ZqXmlParsing::Span;
using ZqXmlWhiteSpace::isAllSpace;
using ZqXmlWhiteSpace::isSpace;

namespace
{
constexpr std::size_t maxWordBytes = 1U << 20U;
} // namespace

std::string_view ZqXmlParsing::localName(std::string_view name)
{
   return name.substr(name.find_last_of("#/:") + 1);
}

ZqString ZqXmlParsing::excerpt(std::string_view text, std::size_t shown)
{
   if (text.size() <= shown)
      return ZqString(text);
   while (shown > 0 && (static_cast<unsigned char>(text[shown]) & 0xC0U) == 0x80U)
      --shown;
   return ZqString(text.substr(0, shown)) + "...";
}

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
void ZqXmlReader::Parser::fail(const ZqString& what, unsigned long atLine, const char* code,
                               const ZqString& subPath)
{
   if (!stopped)
      log(Zq::Severity::Error, code, what, atLine, subPath);
   open.clear();
   openNames.clear();
   titles.clear();
   stopped = true;
   failed = true;
   ended = true;
   dataMode = false;
   events.clear();
   next = 0;
}

void ZqXmlReader::Parser::log(Zq::Severity severity, const char* code, const ZqString& what,
                              unsigned long atLine, const ZqString& subPath) const
{
   const ZqString where = path() + subPath;
   ZqString message = severity == Zq::Severity::Error ? "ZqXmlReader Error: " : "ZqXmlReader: ";
   message += what + ".\n\tFile: " + name + "\n\tLine: " + std::to_string(atLine) + '\n';
   if (!where.empty())
      message += "\tElement: " + where + '\n';
   Zq::Print::instance().report(Zq::XmlFault, {severity, code, name, atLine, where, what}, message);
}

/// Takes the current tag, a start, for an element that is open.
void ZqXmlReader::Parser::enterElement()
{
   open.push_back({openNames.size(), open.empty() ? 0 : open.back().children++, 0});
   openNames += view(current.text);
}

/// Closes the element that ends at the cursor, if one does.
void ZqXmlReader::Parser::leaveElement()
{
   if ((current.kind != EndTag && current.kind != EmptyTag) || open.empty())
      return;
   openNames.resize(open.back().nameBegin);
   open.pop_back();
   if (!titles.empty() && titles.back().level == open.size())
      titles.pop_back();
}

/// The local name of an element that is open, with its index where it is one of a list.
ZqString ZqXmlReader::Parser::nameOf(std::size_t level) const
{
   const std::size_t begin = open[level].nameBegin;
   const std::size_t end = level + 1 < open.size() ? open[level + 1].nameBegin : openNames.size();
   ZqString result =
      excerpt(localName(std::string_view(openNames).substr(begin, end - begin)), 200);
   if (result == "element")
      result += '[' + std::to_string(open[level].index) + ']';
   return result;
}

ZqString ZqXmlReader::Parser::path() const
{
   constexpr std::size_t longestTail = 8;
   // From the innermost element outwards.
   std::vector<ZqString> parts;
   std::set<std::string_view> kinds;
   auto title = titles.rbegin();
   for (std::size_t level = open.size(); level-- > 0;)
   {
      const bool hasTitle = title != titles.rend() && title->level == level;
      const std::string_view text = hasTitle ? std::string_view((title++)->text) : "";
      const bool isInTail = kinds.empty() && open.size() - level <= longestTail;
      if (hasTitle && kinds.insert(text.substr(0, text.find(' '))).second)
         parts.emplace_back(text);
      else if (isInTail || level == 0)
         parts.push_back(nameOf(level));
      else if (parts.back() != "...")
         parts.emplace_back("...");
   }
   ZqString result;
   for (auto part = parts.rbegin(); part != parts.rend(); ++part)
      result += (result.empty() ? "" : "/") + *part;
   return result;
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
      if (last->isBlank)
         last->line = parserLine();
      last->isBlank = last->isBlank && isAllSpace(piece);
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
   event.isBlank = isAllSpace(piece);
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
      failAtEnd();
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
           event.line, "structure");
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
      fail("a text is longer than " + std::to_string(limits.textBytes) + " bytes", line,
           "document");
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
            fail("a word in quotes has no end", line, "value");
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
         fail("a word is longer than " + std::to_string(maxWordBytes) + " bytes", line, "document");
         return false;
      }
   }
}

void ZqXmlReader::Parser::reportUnknown(std::string_view what, std::string_view unknown,
                                        std::string_view owner, const KnownNames& known)
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
      const auto names = known ? known() : std::vector<std::string_view>();
      for (std::size_t i = 0; i < names.size(); ++i)
         text += (i == 0 ? "; known are " : ", ") + ZqString(names[i]);
   }
   log(Zq::Severity::Warning, "unknown-name", text, line);
}
