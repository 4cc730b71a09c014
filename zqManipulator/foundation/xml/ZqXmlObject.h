#pragma once

#include "zqManipulator/foundation/tokens/ZqToken.h"

class ZqXmlObjectVisitor;
class ZqXmlReader;
class ZqXmlSchema;
class ZqXmlWriter;

/// The root of all persistent classes: an object that can be copied, compared, written to a document
/// and read back through a base pointer.
///
/// `read` is called with the reader on the start tag of the object's element and leaves it on the
/// matching end tag; `write` is called between `writeStartTag` and `writeEndTag` of the element.
/// Neither throws: what is wrong is logged with its file and line, and the result is false.
class ZqXmlObject
{
public:
   constexpr ZqXmlObject() noexcept = default;
   /// A copy starts uninitialised, since what `xmlInit` prepares belongs to one object alone.
   ZqXmlObject(const ZqXmlObject& other) noexcept : m_specified(other.m_specified) {}
   ZqXmlObject& operator=(const ZqXmlObject& other) noexcept
   {
      m_specified = other.m_specified;
      return *this;
   }
   virtual ~ZqXmlObject() = default;

   /// Hands the object to the visitor.
   virtual void accept(ZqXmlObjectVisitor* visitor) const;
   /// A copy on the heap, which the caller owns.
   virtual ZqXmlObject* clone() const = 0;
   /// Prepares the object for reading or writing.
   virtual bool xmlInit();
   virtual bool read(ZqXmlReader& reader);
   /// Takes the value from the attribute that the reader's attribute cursor stands on. An object that
   /// has no text form logs a message and answers false.
   virtual bool readAttribute(ZqXmlReader& reader);
   virtual bool write(ZqXmlWriter& writer) const;
   /// Adds the definition of this object's type to the schema.
   virtual void writeSchema(ZqXmlSchema& schema) const;
   /// Writes the XML Schema of documents with this object in the root element `root` to a file; the
   /// schemas of further namespaces are written beside it. False, with a message, when that fails.
   virtual bool createSchema(const ZqString& fileName, const ZqToken& root) const;
   virtual bool xmlInitialized() const;
   virtual void setXmlInitialized(bool initialized);
   /// True once the object was read from a document, or a caller said so. Copied, never compared.
   virtual bool specified() const;
   virtual void setSpecified(bool specified);
   /// True for a single value that is written as text.
   virtual bool isBasicType() const;
   /// True when the object equals a newly made one of its class.
   virtual bool equalsDefault() const;
   /// True when the other object is of this class and equal.
   virtual bool equality(const ZqXmlObject* other) const = 0;
   /// A default object of this class on the heap, which the caller owns.
   virtual ZqXmlObject* newObject() const = 0;
   /// The element name of this class.
   virtual const ZqToken& token() const = 0;

   /// The flags are no part of the value: two plain objects are always equal.
   bool operator==(const ZqXmlObject&) const noexcept { return true; }

private:
   bool m_xmlInitialized = false;
   bool m_specified = false;
};
