#include "zqManipulator/foundation/xml/ZqXmlLeaf.h"

#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <type_traits>

namespace
{
/// A persistent object that stands in for a plain member: it reads, writes and compares the member.
template <ZqTextual T>
class MemberAdapter final : public ZqXmlObject
{
public:
   explicit MemberAdapter(T& member) : m_member(&member) {}
   ZqXmlObject* clone() const override { return new ZqXmlBasicType<T>(*m_member); }
   bool read(ZqXmlReader& reader) override
   {
      return ZqXmlObject::read(reader) && ZqXmlLeaf::read(reader, *m_member);
   }
   bool readAttribute(ZqXmlReader& reader) override
   {
      return ZqXmlLeaf::readAttribute(reader, *m_member);
   }
   bool write(ZqXmlWriter& writer) const override { return ZqXmlLeaf::write(writer, *m_member); }
   void writeSchema(ZqXmlSchema& schema) const override
   {
      ZqXmlBasicType<T>(*m_member).writeSchema(schema);
   }
   bool isBasicType() const override { return true; }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* adapter = dynamic_cast<const MemberAdapter*>(other);
      return adapter != nullptr && *adapter->m_member == *m_member;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlBasicType<T>(); }
   const ZqToken& token() const override { return ZqXmlBasicType<T>::classToken(); }

private:
   T* m_member;
};
} // namespace

template <ZqTextual T>
bool ZqXmlLeaf::read(ZqXmlReader& reader, T& value)
{
   constexpr bool isText = std::is_same_v<T, ZqString>;
   std::string_view text;
   const bool found =
      reader.inData() ? reader.readWords(ZqXmlText<T>::words, isText, text) : reader.readText(text);
   if (!found)
      return false;
   if (ZqXmlText<T>::parse(text, value))
      return true;
   reader.failValue(ZqXmlText<T>::expected, text);
   return false;
}

template <ZqTextual T>
bool ZqXmlLeaf::readAttribute(ZqXmlReader& reader, T& value)
{
   if (ZqXmlText<T>::parse(reader.attributeValueText(), value))
      return true;
   reader.failAttributeValue(ZqXmlText<T>::expected);
   return false;
}

template <ZqTextual T>
bool ZqXmlLeaf::write(ZqXmlWriter& writer, const T& value)
{
   ZqString& out = writer.beginValue();
   if constexpr (std::is_same_v<T, ZqString>)
   {
      if (writer.inData())
      {
         // A word in quotes, in which a backslash takes the next character as it stands.
         ZqString quoted = "\"";
         for (const char c : value)
         {
            if (c == '"' || c == '\\')
               quoted += '\\';
            quoted += c;
         }
         writer.appendEscaped(quoted + '"');
      }
      else
         writer.appendEscaped(value);
   }
   else if (!ZqXmlText<T>::append(out, value))
      writer.fail("a number is not finite");
   writer.endValue();
   return writer.good();
}

template <ZqTextual T>
const ZqXmlLeaf::Operations& ZqXmlLeaf::operations()
{
   static constexpr Operations table{
      [](ZqXmlReader& reader, void* member)
      { return ZqXmlLeaf::read(reader, *static_cast<T*>(member)); },
      [](ZqXmlReader& reader, void* member)
      { return ZqXmlLeaf::readAttribute(reader, *static_cast<T*>(member)); },
      [](ZqXmlWriter& writer, const void* member)
      { return ZqXmlLeaf::write(writer, *static_cast<const T*>(member)); },
      [](const void* a, const void* b) -> bool
      { return *static_cast<const T*>(a) == *static_cast<const T*>(b); },
      [](void* member) -> ZqXmlObject* { return new MemberAdapter<T>(*static_cast<T*>(member)); },
      ZqXmlText<T>::schemaType};
   return table;
}

#define ZQ_TEXTUAL_TYPE(T)                                                                         \
   template bool ZqXmlLeaf::read<T>(ZqXmlReader&, T&);                                             \
   template bool ZqXmlLeaf::readAttribute<T>(ZqXmlReader&, T&);                                    \
   template bool ZqXmlLeaf::write<T>(ZqXmlWriter&, const T&);                                      \
   template const ZqXmlLeaf::Operations& ZqXmlLeaf::operations<T>();
#include "zqManipulator/foundation/xml/ZqXmlTextualTypes.def"
