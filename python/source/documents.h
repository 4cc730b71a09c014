#pragma once

#include "python/source/failures.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"

#include <string>

/// Persistent objects as the text of a document.
namespace zqPython
{
inline std::string documentOf(const ZqXmlObject& object, bool defaults = true)
{
   ZqString document;
   performNow("write a document", [&] { return Zq::toXml(object, document, defaults); });
   return document;
}

/// An object of a class, from the text of a document of it.
template <class T>
T objectOf(const std::string& document)
{
   T object;
   performNow("read a document", [&] { return Zq::fromXml(object, document); });
   return object;
}

template <class T>
auto documentPickle()
{
   return py::pickle([](const T& self) { return documentOf(self); },
                     [](const std::string& document) { return objectOf<T>(document); });
}
} // namespace zqPython
