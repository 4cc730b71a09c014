#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableType.h"

/// A persistent object of any class derived from T, or none. A copy of the container holds a clone.
template <class T>
class ZqXmlVariableElementType
   : public ZqXmlElementType<ZqXmlVariableElementType<T>, T, ZqXmlClonePointer<T>>
{
public:
   static constexpr const char* className = "ZqXmlVariableElementType";
   static const ZqToken& classToken() { return ZqXml::ZqVarElemTypeToken; }

   bool operator==(const ZqXmlVariableElementType&) const = default;
};
