#pragma once

#include "zqManipulator/foundation/xml/ZqXmlEnumType.h"

#include <memory>
#include <typeinfo>
#include <utility>
#include <vector>

/// Collects the XML Schema of documents: objects describe their types in `writeSchema`.
///
/// A type is described once and referred to by name. Elements of other namespaces than the root's
/// stand in schema files of their own, as XML Schema demands, beside the main one and imported by it.
/// A documentation is plain text; without one, an element has that of its type.
class ZqXmlSchema
{
public:
   ZqXmlSchema();
   ZqXmlSchema(const ZqXmlSchema&) = delete;
   ZqXmlSchema& operator=(const ZqXmlSchema&) = delete;
   ~ZqXmlSchema();

   /// A readable name of a C++ type, which is a valid XML name.
   static ZqString typeName(const std::type_info& type);

   /// Makes an element with this content a root of documents. All roots share one namespace.
   void addRoot(const ZqToken& token, const ZqXmlObject& object);

   /// \name What an object says of itself in `writeSchema`
   /// One of `addText`, `addTextList`, `addEnumeration`, or a type.
   /// @{
   /// A text of an XML Schema type such as "double"; "doubles" is a list of them.
   void addText(const char* schemaType);
   /// A list of texts of a type, apart by white space.
   void addTextList(const char* schemaType);
   void addEnumeration(const ZqXmlEnumeration& enumeration);
   /// Starts the type of a class; the variant tells objects of one class apart whose content differs.
   /// False when it is described already: then nothing is to be added.
   bool beginType(const std::type_info& type, const ZqString& variant,
                  const char* documentation = nullptr);
   void endType();
   /// @}

   /// \name The content of a type that was begun
   /// @{
   static constexpr unsigned unbounded = 0xFFFFFFFF;
   void addElement(const ZqToken& token, const ZqXmlObject& content, unsigned least, unsigned most,
                   const char* documentation = nullptr);
   void addTextElement(const ZqToken& token, const char* schemaType, unsigned least, unsigned most,
                       const char* documentation = nullptr);
   void addAttribute(const ZqToken& token, const ZqXmlObject& content,
                     const char* documentation = nullptr);
   void addTextAttribute(const ZqToken& token, const char* schemaType,
                         const char* documentation = nullptr);
   /// From here on the elements are alternatives, of which there may be so many in any order.
   void setChoice(unsigned least, unsigned most);
   /// @}

   /// The text of each file, the main one first, when the main one bears this name.
   std::vector<std::pair<ZqString, ZqString>> files(const ZqString& fileName) const;
   /// Writes the schema to a file, and those of further namespaces beside it, as
   /// "<stem>-<n>.xsd". False, with a message, when a file cannot be written.
   bool save(const ZqString& fileName) const;

private:
   struct Model;
   std::unique_ptr<Model> m_model;
};
