#pragma once

#include "zqManipulator/foundation/xml/ZqXmlLeaf.h"
#include "zqManipulator/foundation/xml/ZqXmlObject.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"

#include <concepts>

/// What the container templates do with an element: it is a persistent object or a plain value with
/// a text form.
namespace ZqXmlValue
{
template <class T>
concept Object = std::derived_from<T, ZqXmlObject>;

template <class T>
concept Element = Object<T> || ZqTextual<T>;

template <Element T>
bool read(ZqXmlReader& reader, T& value)
{
   if constexpr (Object<T>)
      return (value.xmlInitialized() || value.xmlInit()) && value.read(reader);
   else
      return ZqXmlLeaf::read(reader, value);
}

template <Element T>
bool write(ZqXmlWriter& writer, const T& value)
{
   if constexpr (Object<T>)
      return value.write(writer);
   else
      return ZqXmlLeaf::write(writer, value);
}

template <Element T>
bool isBasic(const T& value)
{
   if constexpr (Object<T>)
      return value.isBasicType();
   else
      return true;
}

template <Element T>
const ZqXmlObject* asObject(const T& value)
{
   if constexpr (Object<T>)
      return &value;
   else
      return nullptr;
}

template <Element T>
void describe(ZqXmlSchema& schema, const ZqToken& token, const T& value, unsigned least,
              unsigned most, const char* documentation)
{
   if constexpr (Object<T>)
      schema.addElement(token, value, least, most, documentation);
   else
      schema.addTextElement(token, ZqXmlText<T>::schemaType, least, most, documentation);
}
} // namespace ZqXmlValue
