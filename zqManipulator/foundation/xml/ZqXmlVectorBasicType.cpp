#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"

#include "zqManipulator/foundation/xml/ZqXmlLeaf.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

template <class T>
bool ZqXmlValueVector<T>::read(ZqXmlReader& reader)
{
   if (!ZqXmlObject::read(reader))
      return false;
   m_values.clear();
   reader.reportUnknownAttributes("a vector of values");
   if (reader.nodeKind() == ZqXmlReader::EmptyTag)
      return true;
   const unsigned kind = reader.nextNode();
   if (kind == ZqXmlReader::EndTag)
      return true;
   if (!reader.prepareForData())
   {
      if (kind != ZqXmlReader::EndOfInput)
         reader.fail("expected numbers, but received the element \"" + ZqString(reader.tagText()) +
                     "\"");
      return false;
   }
   while (reader.moreData())
   {
      T value{};
      if (!ZqXmlLeaf::read(reader, value))
         return false;
      m_values.push_back(value);
   }
   return reader.nodeKind() == ZqXmlReader::EndTag;
}

template <class T>
bool ZqXmlValueVector<T>::write(ZqXmlWriter& writer) const
{
   for (const T& value : m_values)
      if (!ZqXmlLeaf::write(writer, value))
         return false;
   return ZqXmlObject::write(writer);
}

template <class T>
void ZqXmlValueVector<T>::writeSchema(ZqXmlSchema& schema) const
{
   // A value of several words is a list already.
   schema.addTextList(ZqXmlText<T>::words > 1 ? "double" : ZqXmlText<T>::schemaType);
}

template class ZqXmlValueVector<ZqReal>;
template class ZqXmlValueVector<ZqU32>;
template class ZqXmlValueVector<ZqVector>;
