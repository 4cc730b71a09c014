#pragma once

#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/foundation/tokens/ZqToken.h"

#include <functional>
#include <iosfwd>
#include <memory>

class ZqXmlBaseVariableCompoundType;

/// A cursor over the nodes of an XML document.
///
/// The document is read in blocks of fixed size, so memory does not grow with it. It is not trusted:
/// document type declarations and entities are refused, and nesting, texts, tags and names are
/// limited in size. The first failure is logged with file and line; from then on every node is
/// `EndOfInput`, so that a reading object needs no test of its own to end.
///
/// The cursor stands on one node. `nextNode` passes over white space, comments and processing
/// instructions. An element without content is one `EmptyTag` and has no `EndTag`.
class ZqXmlReader
{
public:
   enum NodeKind : unsigned
   {
      NoNode = 0,
      StartTag = 1,
      EndTag = 2,
      EmptyTag = 3,
      Text = 4,
      EndOfInput = 5
   };

   /// What a document may ask for. The defaults let a chain of 2,000 links through and fit a stack
   /// of 8 MB.
   struct Limits
   {
      unsigned depth = 4096;               ///< open elements
      std::size_t textBytes = 64U << 20U;  ///< one text, one tag
      std::size_t unknownNames = 100;      ///< reports of names that nobody knows
      std::size_t blockBytes = 64U << 10U; ///< bytes asked of the input at a time
   };

   using ProgressSink = std::function<void(unsigned read, unsigned total)>;

   /// Reads a file. A file that cannot be read is a failure like any other.
   explicit ZqXmlReader(const ZqString& fileName);
   /// Reads a stream that outlives the reader; the name stands in messages.
   ZqXmlReader(std::istream& stream, const ZqString& name);
   ZqXmlReader(const ZqXmlReader&) = delete;
   ZqXmlReader& operator=(const ZqXmlReader&) = delete;
   virtual ~ZqXmlReader();

   /// Steps to the next node and answers its kind.
   virtual unsigned nextNode();
   /// The kind of the node that the cursor stands on.
   virtual unsigned nodeKind() const;
   /// The name of the current start, empty or end tag.
   virtual ZqToken tagName() const;
   virtual unsigned attributeCount() const;
   /// Puts the attribute cursor on the attribute with this number, which must be below the count.
   virtual void setAttributeCursor(unsigned index);
   virtual ZqToken attributeName() const;
   virtual ZqString attributeValue() const;
   /// Prepares to read the text at the cursor as words apart by white space, each by the `read` of a
   /// basic value. False when there is no text at the cursor.
   virtual bool prepareForData();
   /// In a text prepared for data: true while there is another word. When there is none, the cursor
   /// stands on the end tag.
   virtual bool moreData();
   virtual const ZqString& fileName() const;
   virtual unsigned long lineNumber() const;
   /// The outermost variable compound being read: it is asked for creators of unknown elements.
   virtual ZqXmlBaseVariableCompoundType* topContainer() const;
   virtual void setTopContainer(ZqXmlBaseVariableCompoundType* container);
   /// Progress in links: the total is told by the document, and starts the count anew.
   virtual void setLinkTotal(unsigned total);
   virtual void incrementLinkCount();
   void setProgressSink(ProgressSink sink);

   /// Must be called before the first node is read.
   void setLimits(const Limits& limits);
   const Limits& limits() const;

   /// True for a start or an empty tag.
   static bool isStart(unsigned kind) { return kind == StartTag || kind == EmptyTag; }
   /// The name of the tag and the attribute at the cursor, valid until the next step.
   std::string_view tagText() const;
   std::string_view attributeNameText() const;
   std::string_view attributeValueText() const;

   /// The whole text of the current element, which must have no child; the cursor moves to the end
   /// tag. The text is valid until the next step.
   bool readText(std::string_view& text);
   /// True between `prepareForData` and the end of the data.
   bool inData() const;
   /// The next `count` words of the data, with one space between. A word in double quotes may hold
   /// white space, and stands for what the quotes enclose, when `quoted` is asked for.
   bool readWords(unsigned count, bool quoted, std::string_view& words);
   /// Passes over the rest of the element that the cursor stands on the start of.
   bool skipElement();
   /// For how many elements of this size memory may be reserved on the word of a count in the
   /// document, at most `claimed`. A count is a hint: all that a document gets reserved by counts is at
   /// most 16 times its own size.
   std::size_t reservable(std::size_t claimed, std::size_t elementBytes);

   /// \name Messages
   /// Each is a diagnostic with file, line and path. The codes are listed in docs/documents.md.
   /// @{
   /// Ends the document with a failure, an error, which is logged at level 3, once.
   void fail(const ZqString& what, const char* code = "structure");
   /// Records that a value did not read as what was expected.
   void failValue(const char* expected, std::string_view text);
   /// The same of the attribute at the cursor.
   void failAttributeValue(const char* expected);
   /// Records a failure that was already logged; the document can go on being read.
   void setFailed();
   bool failed() const;
   /// True when the document was given up by `fail`, or cannot be parsed any further.
   bool stopped() const;
   /// Lists the names that are known in a place.
   using KnownNames = std::function<std::vector<std::string_view>()>;
   /// Logs, once a name, that the current element or attribute is not known where it stands, and which
   /// are.
   void reportUnknownElement(std::string_view owner, const KnownNames& known = {});
   void reportUnknownAttribute(std::string_view owner, const KnownNames& known = {});
   /// The same for all attributes of the current tag.
   void reportUnknownAttributes(std::string_view owner);
   /// Logs, at level 3, a remark that is no failure.
   void remark(const ZqString& what, const char* code = "repaired");
   /// Logs a message that has a form of its own. An error is a failure as well.
   void report(unsigned type, Zq::Severity severity, const char* code, const ZqString& what,
               const ZqString& message);
   /// "Filename: ", the name, ", Line count: ", the number.
   ZqString place() const;
   /// @}

   /// Gives the innermost element that is open a name for paths: its kind, which is one word, and its
   /// label.
   void nameElement(const char* kind, const ZqString& label);
   /// The path of the element at the cursor, as `Zq::Diagnostic` has it: the outermost element, of the
   /// elements with names the innermost of each kind, and what is within the last of these.
   ZqString path() const;
   /// Gives a diagnostic the place of the cursor, where it has none.
   void locate(Zq::Diagnostic& diagnostic) const;

private:
   struct Parser;
   std::unique_ptr<Parser> m_parser;
};
