#pragma once

#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlWhiteSpace.h"

#include <expat.h>

#include <fstream>
#include <set>
#include <vector>

/// What the reader and its parser share; no header of the library includes it.
namespace ZqXmlParsing
{
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
   bool isBlank = false; ///< a text that is all white space
};

/// An element whose end tag is still to come.
struct OpenElement
{
   std::size_t nameBegin = 0; ///< in the text of all names
   unsigned index = 0;        ///< among its siblings
   unsigned children = 0;     ///< so far
};

/// What an element that is open was named.
struct Title
{
   std::size_t level; ///< how many elements are around it
   ZqString text;     ///< kind and label
};

/// Of a token, the name without its namespace.
std::string_view localName(std::string_view name);

/// The part of a document's text that a message shows: whole characters, so many bytes at most.
ZqString excerpt(std::string_view text, std::size_t shown = 40);
} // namespace ZqXmlParsing

/// The input side of the reader: Expat, and the events of the block that it was fed last.
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

   std::vector<ZqXmlParsing::Event> events;
   std::vector<ZqXmlParsing::Attribute> attributes;
   std::string store;
   std::size_t next = 0; ///< the event after the current one

   ZqXmlParsing::Event current;
   std::vector<ZqXmlParsing::OpenElement> open;
   std::string openNames; ///< the names of these, one after the other
   std::vector<ZqXmlParsing::Title> titles;
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
   ZqXmlParsing::Span put(std::string_view text);
   std::string_view view(ZqXmlParsing::Span span) const
   {
      return {store.data() + span.begin, span.size};
   }
   unsigned long parserLine() const { return XML_GetCurrentLineNumber(expat); }
   void faultAhead(const ZqString& what);
   void fail(const ZqString& what, unsigned long atLine, const char* code,
             const ZqString& subPath = {});
   void log(Zq::Severity severity, const char* code, const ZqString& what, unsigned long atLine,
            const ZqString& subPath = {}) const;
   void enterElement();
   void leaveElement();
   ZqString nameOf(std::size_t level) const;
   ZqString path() const;

   void dropConsumed();
   std::size_t readBlock(void* block, std::size_t wanted);
   bool feed();
   bool ensure(std::size_t count);
   void failAtEnd() { fail(fault, faultLine, "document"); }
   bool refillData();
   bool skipSpaceInData();
   bool appendWord(bool quoted);
   void reportUnknown(std::string_view what, std::string_view unknown, std::string_view owner,
                      const KnownNames& known);
};
