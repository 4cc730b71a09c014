#pragma once

#include "zqManipulator/foundation/xml/ZqXmlValue.h"

#include <optional>

/// The document form that vectors and sets share: a count attribute, and the elements each in a tag
/// of any name, or as words of one text in a group tag.
namespace ZqXmlList
{
/// How a list takes what is read.
struct Target
{
   const char* sizeError; ///< logged, with both counts, when the count attribute is another
   const char* dataError; ///< logged when a group holds something else than text
   void* list;
   /// Told the count attribute, bounded by what the document can hold; null to ignore it.
   void (*reserve)(void* list, std::size_t count);
   bool (*readElement)(void* list, ZqXmlReader& reader);
   bool elementsAreBasic;
   std::size_t elementBytes;
};

bool read(ZqXmlReader& reader, const Target& target);
/// The value of the count attribute of the current tag, if there is one; 0 when it is no number.
std::optional<long long> readCount(ZqXmlReader& reader, std::string_view owner);
void writeCount(ZqXmlWriter& writer, std::size_t size);
/// The tags around an element, or around all elements when they are basic.
bool beginGroup(ZqXmlWriter& writer);
void endGroup(ZqXmlWriter& writer);
void beginElement(ZqXmlWriter& writer);
void endElement(ZqXmlWriter& writer);
/// A child element that must have this name. False with a message that names both when another came.
bool expectTag(ZqXmlReader& reader, const ZqToken& expected, const char* error);
/// Steps to the next child. False at the end of the element; `failed` tells whether that is an error.
bool nextChild(ZqXmlReader& reader, bool& failed);

template <ZqXmlValue::Element T>
bool writeElement(ZqXmlWriter& writer, const T& element, bool basic)
{
   if (basic)
      return ZqXmlValue::write(writer, element);
   beginElement(writer);
   const bool written = ZqXmlValue::write(writer, element);
   endElement(writer);
   return written;
}

/// All elements of a range.
template <class Range>
bool writeElements(ZqXmlWriter& writer, const Range& range)
{
   if (range.begin() == range.end())
      return true;
   const bool basic = ZqXmlValue::isBasic(*range.begin());
   if (basic && !beginGroup(writer))
      return false;
   for (const auto& element : range)
      if (!writeElement(writer, element, basic))
         return false;
   if (basic)
      endGroup(writer);
   return true;
}

/// The type of a list of such elements.
void describe(ZqXmlSchema& schema, const std::type_info& type, const ZqXmlObject* element,
              const char* textType);

template <ZqXmlValue::Element T>
void describe(ZqXmlSchema& schema, const std::type_info& type, const T& element)
{
   if constexpr (ZqXmlValue::Object<T>)
      describe(schema, type, &element, nullptr);
   else
      describe(schema, type, nullptr, ZqXmlText<T>::schemaType);
}
} // namespace ZqXmlList
