#pragma once

#include "zqManipulator/foundation/tokens/ZqToken.h"

#include <functional>
#include <iosfwd>
#include <memory>
#include <typeinfo>

/// A sink that turns tags, attributes and values into an XML document.
///
/// The root element binds the namespaces of the library to fixed prefixes, its own also as the
/// default; a further namespace is bound where it is first used. Output is collected in a buffer and
/// handed to the stream in blocks. The first failure (a stream that refuses, a value that a document
/// cannot hold, elements nested deeper than a reader takes) is logged at level 4 and kept: `good()` is
/// false from then on, and nothing more is written.
class ZqXmlWriter
{
public:
   enum LANGUAGE
   {
      XML_DOCUMENT = 0, ///< with the XML declaration and header
      XML_FRAGMENT = 1  ///< the root element alone, to be placed in another document
   };

   using ProgressSink = std::function<void(unsigned written, unsigned total)>;
   static constexpr unsigned indentedLevels = 32;

   /// The name, of a file or another description, stands in messages. The stream must outlive the
   /// writer, whose destructor flushes to it.
   ZqXmlWriter(const ZqString& name, std::ostream& stream);
   ZqXmlWriter(const ZqXmlWriter&) = delete;
   ZqXmlWriter& operator=(const ZqXmlWriter&) = delete;
   virtual ~ZqXmlWriter();

   virtual void writeStartTag(const ZqToken& token);
   /// The same with the local name of the token in the namespace of the enclosing element.
   virtual void writeStartTagUsingParentNamespace(const ZqToken& token);
   /// The next value is written as this attribute of the tag that was just started.
   virtual void setAttributeName(const ZqToken& token);
   /// Values that follow one another in an element are laid out in so many columns; 0 for one line.
   virtual void setNumOfContentColumns(unsigned columns);
   virtual void writeEndTag();
   /// Spaces of indentation a level; a negative number writes the document on one line. Levels below
   /// `indentedLevels` are indented no further, so that a document grows with what it holds and not with
   /// its depth.
   virtual int indent() const;
   virtual void setIndent(int spaces);
   /// Text of a comment that stands before the root element.
   virtual ZqString& header();
   virtual const ZqString& header() const;
   virtual void setHeader(const ZqString& header);
   /// The address of an XSLT style sheet, for a processing instruction before the root element.
   virtual const ZqString& styleSheet() const;
   virtual void setStyleSheet(const ZqString& address);
   /// The namespace of schema instance attributes, bound to "xsi" at the root when a schema location
   /// is set.
   virtual const ZqString& schemaInstance() const;
   virtual void setSchemaInstance(const ZqString& uri);
   /// The value of the root's xsi:schemaLocation: pairs of a namespace and an address.
   virtual const ZqString& schemaLocation() const;
   virtual void setSchemaLocation(const ZqString& location);
   virtual void setLanguageSelection(LANGUAGE language);
   /// A readable name of a C++ type, which is a valid XML name.
   virtual ZqString type(const std::type_info& info) const;
   /// Text that is written as a CDATA section.
   virtual void data(const ZqString& text);
   /// Whether components that equal their default are written. True at first.
   virtual bool writeDefaultDataFlag() const;
   virtual void setWriteDefaultDataFlag(bool flag);
   /// Progress in links.
   virtual void setLinkTotal(unsigned total);
   virtual void resetLinkCount();
   virtual void incrementLinkCount();
   /// Text for the attribute that was named by `setAttributeName`.
   virtual void attributeValue(const ZqString& text);
   /// Text inside the current element.
   virtual void content(const ZqString& text);
   /// A writer of schemas binds the namespaces that the schema speaks of itself.
   virtual void setSchemaWriter(bool flag);
   /// Starts a new line, indented by n levels.
   virtual void tab(unsigned n);

   void setProgressSink(ProgressSink sink);
   /// How many elements may be open. At first as many as a reader takes: who asks for more reads the
   /// document with `ZqXmlReader::setLimits`.
   void setDepthLimit(unsigned depth);
   bool good() const;
   /// Records a failure, once with a message: "ZqXmlWriter Error: ", what, the name.
   void fail(const ZqString& what);
   /// Hands everything to the stream and flushes it. True when all went well.
   bool flush();

   /// Between these two the text of one value is appended to the string that the first returns: to
   /// the named attribute if there is one, else to the content, apart from a value before it.
   ZqString& beginValue();
   void endValue();
   /// Appends text to the value, escaped for an attribute and an element alike. Text that XML cannot
   /// carry (control characters, bytes that are no UTF-8) is a failure.
   void appendEscaped(std::string_view text);
   /// True while values are written side by side as words of one text.
   void setInData(bool inData);
   bool inData() const;

private:
   struct State;
   std::unique_ptr<State> m_state;
};
