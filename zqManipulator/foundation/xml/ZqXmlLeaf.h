#pragma once

#include "zqManipulator/foundation/xml/ZqXmlText.h"

class ZqXmlObject;
class ZqXmlReader;
class ZqXmlWriter;

/// Reading and writing of a single value that has a text form.
namespace ZqXmlLeaf
{
/// The value of the current element, or the next value of a text in data mode. What does not read
/// as a value is a failure of the document, and leaves the value as it was.
template <ZqTextual T>
bool read(ZqXmlReader& reader, T& value);
/// The value of the attribute at the reader's attribute cursor.
template <ZqTextual T>
bool readAttribute(ZqXmlReader& reader, T& value);
/// The value as the named attribute, as content of the element, or as the next word in data mode.
template <ZqTextual T>
bool write(ZqXmlWriter& writer, const T& value);

/// The operations of one textual type on a member behind a pointer.
struct Operations
{
   bool (*read)(ZqXmlReader&, void*);
   bool (*readAttribute)(ZqXmlReader&, void*);
   bool (*write)(ZqXmlWriter&, const void*);
   bool (*equal)(const void*, const void*);
   ZqXmlObject* (*makeAdapter)(
      void*); ///< an object that reads and writes the member; owned by the caller
   const char* schemaType;
};
template <ZqTextual T>
const Operations& operations();

#define ZQ_TEXTUAL_TYPE(T)                                                                         \
   extern template bool read<T>(ZqXmlReader&, T&);                                                 \
   extern template bool readAttribute<T>(ZqXmlReader&, T&);                                        \
   extern template bool write<T>(ZqXmlWriter&, const T&);                                          \
   extern template const Operations& operations<T>();
#include "zqManipulator/foundation/xml/ZqXmlTextualTypes.def"
} // namespace ZqXmlLeaf
