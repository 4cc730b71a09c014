#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"

#include <algorithm>
#include <array>
#include <exception>
#include <ostream>
#include <vector>

namespace
{
constexpr std::size_t flushBytes = 64U << 10U;

struct Binding
{
   std::string_view uri;
   std::string_view prefix;
};

/// The namespaces that every document binds at its root.
const std::array<Binding, 5>& libraryBindings()
{
   static const std::array<Binding, 5> bindings{{{ZqManip::ns.view(), "mn"},
                                                 {ZqXml::ns.view(), "x"},
                                                 {ZqFoundCommon::ns.view(), "common"},
                                                 {ZqGeom::ns.view(), "geom"},
                                                 {ZqSensorInterface::ns.view(), "sensor"}}};
   return bindings;
}

struct OpenElement
{
   std::size_t nameBegin; ///< in the store of names
   std::size_t bindings;  ///< how many namespaces were bound before it
   bool
      defaultNamespaceOff; ///< it or an ancestor is a plain element, for which xmlns="" was written
   bool hasChild = false;
   unsigned values = 0;
};

/// Whether a character stands for itself in a document.
bool isPlain(char c)
{
   return c >= ' ' && c != '<' && c != '>' && c != '&' && c != '"';
}

/// What stands for a character that does not stand for itself. Line ends and tabs would be changed by
/// a parser that reads them as they stand.
std::string_view escapeOf(char c)
{
   switch (c)
   {
   case '<':
      return "&lt;";
   case '>':
      return "&gt;";
   case '&':
      return "&amp;";
   case '"':
      return "&quot;";
   case '\n':
      return "&#10;";
   case '\r':
      return "&#13;";
   default:
      return "&#9;";
   }
}

/// The bytes of the UTF-8 sequence at the front of the text; 0 when there is no valid one.
std::size_t sequenceLength(std::string_view text)
{
   const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
   const unsigned first = byte(0);
   const std::size_t length = first < 0x80   ? 1
                              : first < 0xC2 ? 0
                              : first < 0xE0 ? 2
                              : first < 0xF0 ? 3
                              : first < 0xF5 ? 4
                                             : 0;
   if (length == 0 || length > text.size())
      return 0;
   for (std::size_t i = 1; i < length; ++i)
      if ((byte(i) & 0xC0U) != 0x80U)
         return 0;
   if (length < 3)
      return length;
   // Overlong forms, surrogates, U+FFFE and U+FFFF, and what lies beyond U+10FFFF.
   const unsigned second = byte(1);
   const bool bad = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                    (first == 0xEF && second == 0xBF && byte(2) > 0xBD) ||
                    (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
   return bad ? 0 : length;
}
} // namespace

struct ZqXmlWriter::State
{
   ZqString name;
   std::ostream& stream;
   ZqString out;
   bool good = true;

   int indent = 1;
   unsigned depthLimit = ZqXmlReader::Limits().depth;
   unsigned columns = 0;
   ZqString header;
   ZqString styleSheet;
   ZqString schemaInstance = "http://www.w3.org/2001/XMLSchema-instance";
   ZqString schemaLocation;
   LANGUAGE language = XML_DOCUMENT;
   bool writeDefaults = true;
   bool schemaWriter = false;
   bool inData = false;
   unsigned linkTotal = 0;
   unsigned linkCount = 0;
   ProgressSink progressSink;

   std::vector<OpenElement> open;
   ZqString names; ///< the qualified names of the open elements, one after the other
   std::vector<std::pair<ZqString, ZqString>> bindings; ///< URI and prefix, the innermost last
   ZqString rootUri;
   bool hasRoot = false;
   bool tagOpen = false; ///< the ">" of the last start tag is still to come
   bool inAttribute = false;
   ZqString attribute;

   State(ZqString writerName, std::ostream& output) : name(std::move(writerName)), stream(output) {}

   void fail(const ZqString& what);
   void handOver(bool flush = false);
   std::size_t nextCharacter(std::string_view text);
   void appendChecked(std::string_view text);
   void appendEscaped(std::string_view text);
   void closeTag();
   void newLine(std::size_t level);
   std::string_view prefixOf(std::string_view uri, ZqString& declaration);
   void appendAttribute(std::string_view key, std::string_view value);
   void startElement(std::string_view uri, std::string_view localName);
   void appendProlog();
   void appendRootBindings(std::string_view uri);
};

void ZqXmlWriter::State::fail(const ZqString& what)
{
   if (good)
      Zq::Print::instance().report(Zq::Rejected,
                                   {Zq::Severity::Error, "not-written", name, 0, {}, what},
                                   "ZqXmlWriter Error: " + what + ".\n\tFile: " + name + '\n');
   good = false;
}

/// Gives the buffer to the stream; straight to its buffer, as the stream may be set to throw.
void ZqXmlWriter::State::handOver(bool flush)
{
   bool taken = !good;
   try
   {
      std::streambuf* target = stream.good() ? stream.rdbuf() : nullptr;
      const auto size = static_cast<std::streamsize>(out.size());
      taken = taken || (target != nullptr && target->sputn(out.data(), size) == size &&
                        (!flush || target->pubsync() == 0));
      if (!taken)
         stream.setstate(std::ios::badbit);
   }
   catch (const std::exception&)
   {
      // What a stream buffer throws, or a stream on being marked as bad, says no more than that it
      // takes no more.
   }
   out.clear();
   if (!taken)
      fail("the output takes no more");
}

/// The bytes of the next character of a text, which XML can carry as it stands or escaped; 0, and a
/// failure, for a control character or bytes that are no UTF-8.
std::size_t ZqXmlWriter::State::nextCharacter(std::string_view text)
{
   const char c = text.front();
   const std::size_t length = sequenceLength(text);
   if (length == 0)
      fail("a text holds bytes that are no UTF-8");
   else if (length == 1 && c >= 0 && c < ' ' && c != '\n' && c != '\r' && c != '\t')
   {
      fail("a text holds the control character " + std::to_string(static_cast<int>(c)) +
           ", which XML cannot carry");
      return 0;
   }
   return length;
}

void ZqXmlWriter::State::appendChecked(std::string_view text)
{
   while (!text.empty())
   {
      const std::size_t length = nextCharacter(text);
      if (length == 0)
         return;
      out += text.substr(0, length);
      text.remove_prefix(length);
   }
}

void ZqXmlWriter::State::appendEscaped(std::string_view text)
{
   while (!text.empty())
   {
      // A run of plain characters is appended whole.
      const auto* end = std::find_if_not(text.data(), text.data() + text.size(), isPlain);
      const auto run = static_cast<std::size_t>(end - text.data());
      out += text.substr(0, run);
      text.remove_prefix(run);
      if (text.empty())
         return;
      const std::size_t length = nextCharacter(text);
      if (length == 0)
         return;
      if (length > 1)
         out += text.substr(0, length);
      else
         out += escapeOf(text.front());
      text.remove_prefix(length);
   }
}

void ZqXmlWriter::State::closeTag()
{
   if (tagOpen)
      out += '>';
   tagOpen = false;
}

void ZqXmlWriter::State::newLine(std::size_t level)
{
   if (indent < 0)
      return;
   out += '\n';
   level = std::min<std::size_t>(level, indentedLevels);
   out.append(level * static_cast<std::size_t>(indent), ' ');
}

void ZqXmlWriter::State::appendAttribute(std::string_view key, std::string_view value)
{
   out += ' ';
   out += key;
   out += "=\"";
   appendEscaped(value);
   out += '"';
}

void ZqXmlWriter::State::appendProlog()
{
   if (language == XML_FRAGMENT)
      return;
   out += R"(<?xml version="1.0" encoding="UTF-8"?>)";
   if (!styleSheet.empty())
   {
      out += "\n<?xml-stylesheet type=\"text/xsl\" href=\"";
      appendEscaped(styleSheet);
      out += "\"?>";
   }
   if (!header.empty())
   {
      // Two dashes would end the comment.
      ZqString text = header;
      for (auto at = text.find("--"); at != ZqString::npos; at = text.find("--", at))
         text.replace(at, 2, "- -");
      out += "\n<!-- ";
      appendChecked(text);
      out += " -->";
   }
   newLine(0);
}

/// The prefix of a namespace, with its colon; a binding that must be declared first is appended to
/// the declaration.
std::string_view ZqXmlWriter::State::prefixOf(std::string_view uri, ZqString& declaration)
{
   const auto bound = std::find_if(bindings.rbegin(), bindings.rend(),
                                   [&](const auto& binding) { return binding.first == uri; });
   if (bound != bindings.rend())
      return bound->second;
   ZqString prefix = "ns" + std::to_string(bindings.size()) + ":";
   declaration = "xmlns:" + prefix.substr(0, prefix.size() - 1);
   bindings.emplace_back(uri, std::move(prefix));
   return bindings.back().second;
}

void ZqXmlWriter::State::appendRootBindings(std::string_view uri)
{
   rootUri = uri;
   if (!uri.empty())
      appendAttribute("xmlns", uri);
   if (schemaWriter)
      return;
   for (const Binding& binding : libraryBindings())
   {
      appendAttribute("xmlns:" + ZqString(binding.prefix), binding.uri);
      bindings.emplace_back(binding.uri, ZqString(binding.prefix) + ":");
   }
   if (!schemaLocation.empty())
   {
      appendAttribute("xmlns:xsi", schemaInstance);
      appendAttribute("xsi:schemaLocation", schemaLocation);
   }
}

void ZqXmlWriter::State::startElement(std::string_view uri, std::string_view localName)
{
   closeTag();
   if (out.size() >= flushBytes)
      handOver();
   const bool isRoot = open.empty();
   if (isRoot && hasRoot)
      fail("a second root element");
   if (open.size() >= depthLimit)
      fail("elements are nested deeper than " + std::to_string(depthLimit));
   if (isRoot)
   {
      hasRoot = true;
      appendProlog();
   }
   else
   {
      open.back().hasChild = true;
      newLine(open.size());
   }

   OpenElement element{names.size(), bindings.size(), !isRoot && open.back().defaultNamespaceOff};
   ZqString declaration;
   const bool inDefault = isRoot || (uri == rootUri && !element.defaultNamespaceOff);
   if (!inDefault && !uri.empty())
      names += prefixOf(uri, declaration);
   names += localName;
   out += '<';
   out.append(names, element.nameBegin);
   if (isRoot)
      appendRootBindings(uri);
   else if (!declaration.empty())
      appendAttribute(declaration, uri);
   else if (uri.empty() && !rootUri.empty() && !element.defaultNamespaceOff)
   {
      element.defaultNamespaceOff = true;
      out += " xmlns=\"\"";
   }
   open.push_back(element);
   tagOpen = true;
   inData = false;
}

ZqXmlWriter::ZqXmlWriter(const ZqString& name, std::ostream& stream)
   : m_state(std::make_unique<State>(name, stream))
{
}

ZqXmlWriter::~ZqXmlWriter()
{
   m_state->handOver();
}

void ZqXmlWriter::writeStartTag(const ZqToken& token)
{
   m_state->startElement(token.namespaceUri(), token.localName());
}

void ZqXmlWriter::writeStartTagUsingParentNamespace(const ZqToken& token)
{
   State& s = *m_state;
   if (s.open.empty())
   {
      writeStartTag(token);
      return;
   }
   const std::string_view parent = std::string_view(s.names).substr(s.open.back().nameBegin);
   const std::string_view prefix = parent.substr(0, parent.find(':') + 1);
   ZqString uri = s.open.back().defaultNamespaceOff ? ZqString() : s.rootUri;
   for (const auto& [boundUri, boundPrefix] : s.bindings)
      if (!prefix.empty() && boundPrefix == prefix)
         uri = boundUri;
   s.startElement(uri, token.localName());
}

void ZqXmlWriter::setAttributeName(const ZqToken& token)
{
   State& s = *m_state;
   if (!s.tagOpen)
   {
      fail("an attribute behind the start tag");
      return;
   }
   ZqString declaration;
   s.attribute.clear();
   if (!token.namespaceUri().empty())
      s.attribute = s.prefixOf(token.namespaceUri(), declaration);
   s.attribute += token.localName();
   if (!declaration.empty())
      s.appendAttribute(declaration, token.namespaceUri());
   s.inAttribute = true;
}

void ZqXmlWriter::setNumOfContentColumns(unsigned columns)
{
   m_state->columns = columns;
}

void ZqXmlWriter::writeEndTag()
{
   State& s = *m_state;
   if (s.open.empty())
   {
      fail("an end tag without a start tag");
      return;
   }
   const OpenElement element = s.open.back();
   s.open.pop_back();
   if (s.tagOpen)
      s.out += "/>";
   else
   {
      if (element.hasChild)
         s.newLine(s.open.size());
      s.out += "</";
      s.out.append(s.names, element.nameBegin);
      s.out += '>';
   }
   s.tagOpen = false;
   s.inData = false;
   s.names.resize(element.nameBegin);
   if (!s.open.empty())
      s.bindings.resize(element.bindings);
}

int ZqXmlWriter::indent() const
{
   return m_state->indent;
}

void ZqXmlWriter::setIndent(int spaces)
{
   m_state->indent = spaces;
}

ZqString& ZqXmlWriter::header()
{
   return m_state->header;
}

const ZqString& ZqXmlWriter::header() const
{
   return m_state->header;
}

void ZqXmlWriter::setHeader(const ZqString& header)
{
   m_state->header = header;
}

const ZqString& ZqXmlWriter::styleSheet() const
{
   return m_state->styleSheet;
}

void ZqXmlWriter::setStyleSheet(const ZqString& address)
{
   m_state->styleSheet = address;
}

const ZqString& ZqXmlWriter::schemaInstance() const
{
   return m_state->schemaInstance;
}

void ZqXmlWriter::setSchemaInstance(const ZqString& uri)
{
   m_state->schemaInstance = uri;
}

const ZqString& ZqXmlWriter::schemaLocation() const
{
   return m_state->schemaLocation;
}

void ZqXmlWriter::setSchemaLocation(const ZqString& location)
{
   m_state->schemaLocation = location;
}

void ZqXmlWriter::setLanguageSelection(LANGUAGE language)
{
   m_state->language = language;
}

ZqString ZqXmlWriter::type(const std::type_info& info) const
{
   return ZqXmlSchema::typeName(info);
}

void ZqXmlWriter::data(const ZqString& text)
{
   State& s = *m_state;
   s.closeTag();
   s.out += "<![CDATA[";
   // A section cannot hold its own end, so one is ended and another begun within it.
   std::string_view rest = text;
   for (auto at = rest.find("]]>"); at != std::string_view::npos; at = rest.find("]]>"))
   {
      s.appendChecked(rest.substr(0, at + 2));
      s.out += "]]><![CDATA[";
      rest.remove_prefix(at + 2);
   }
   s.appendChecked(rest);
   s.out += "]]>";
}

bool ZqXmlWriter::writeDefaultDataFlag() const
{
   return m_state->writeDefaults;
}

void ZqXmlWriter::setWriteDefaultDataFlag(bool flag)
{
   m_state->writeDefaults = flag;
}

void ZqXmlWriter::setLinkTotal(unsigned total)
{
   m_state->linkTotal = total;
}

void ZqXmlWriter::resetLinkCount()
{
   m_state->linkCount = 0;
}

void ZqXmlWriter::incrementLinkCount()
{
   State& s = *m_state;
   ++s.linkCount;
   if (s.progressSink)
      s.progressSink(s.linkCount, s.linkTotal);
}

void ZqXmlWriter::attributeValue(const ZqString& text)
{
   if (!m_state->inAttribute)
   {
      fail("a value of an attribute that was not named");
      return;
   }
   beginValue();
   appendEscaped(text);
   endValue();
}

void ZqXmlWriter::content(const ZqString& text)
{
   beginValue();
   appendEscaped(text);
   endValue();
}

void ZqXmlWriter::setSchemaWriter(bool flag)
{
   m_state->schemaWriter = flag;
}

void ZqXmlWriter::tab(unsigned n)
{
   m_state->closeTag();
   m_state->newLine(n);
}

void ZqXmlWriter::setProgressSink(ProgressSink sink)
{
   m_state->progressSink = std::move(sink);
}

void ZqXmlWriter::setDepthLimit(unsigned depth)
{
   m_state->depthLimit = depth;
}

bool ZqXmlWriter::good() const
{
   return m_state->good;
}

void ZqXmlWriter::fail(const ZqString& what)
{
   m_state->fail(what);
}

bool ZqXmlWriter::flush()
{
   m_state->handOver(true);
   return m_state->good;
}

ZqString& ZqXmlWriter::beginValue()
{
   State& s = *m_state;
   if (s.inAttribute)
   {
      s.out += ' ';
      s.out += s.attribute;
      s.out += "=\"";
      return s.out;
   }
   s.closeTag();
   if (s.open.empty())
      return s.out;
   OpenElement& element = s.open.back();
   if (element.values > 0)
   {
      if (s.columns > 0 && s.indent >= 0 && element.values % s.columns == 0)
         s.newLine(s.open.size());
      else
         s.out += ' ';
      if (s.out.size() >= flushBytes)
         s.handOver();
   }
   ++element.values;
   return s.out;
}

void ZqXmlWriter::endValue()
{
   State& s = *m_state;
   if (s.inAttribute)
      s.out += '"';
   s.inAttribute = false;
}

void ZqXmlWriter::appendEscaped(std::string_view text)
{
   m_state->appendEscaped(text);
}

void ZqXmlWriter::setInData(bool inData)
{
   m_state->inData = inData;
}

bool ZqXmlWriter::inData() const
{
   return m_state->inData;
}
