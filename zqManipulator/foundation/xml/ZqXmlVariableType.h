#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlBaseVariableCompoundType.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

/// What the containers of polymorphic elements share, for elements of base class T.
template <class T>
class ZqXmlVariableType : public ZqXmlBaseVariableCompoundType
{
protected:
   /// Makes and reads the object that an element names. Null when nothing is made; `succeeded` tells
   /// whether that, and the reading, was as it should be.
   std::unique_ptr<T> readElement(const ZqToken& token, ZqXmlReader& reader, const char* className,
                                  bool& succeeded)
   {
      if (readLibraries(token, reader, succeeded))
         return nullptr;
      std::unique_ptr<ZqXmlObject> object = newElement(
         token, reader,
         [](const ZqXmlObject* made) { return dynamic_cast<const T*>(made) != nullptr; },
         className);
      succeeded = object && object->xmlInit() && object->read(reader);
      return std::unique_ptr<T>(dynamic_cast<T*>(object.release()));
   }

   static bool writeElement(ZqXmlWriter& writer, const T& element)
   {
      writer.writeStartTag(element.token());
      const bool written = element.write(writer);
      writer.writeEndTag();
      return written;
   }
};
