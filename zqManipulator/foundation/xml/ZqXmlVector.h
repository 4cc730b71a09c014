#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"

/// `ZqVector` and `ZqOrientation` with the interface of a persistent object: "x y z", "w x y z". Where
/// a vector is a member of another object, the plain type serves: it has a text form of its own.
template <class Value>
class ZqXmlGeometricType : public Value, public ZqXmlObject
{
public:
   ZqXmlGeometricType() = default;
   ZqXmlGeometricType(const Value& value) : Value(value) {}
   using Value::Value;

   ZqXmlObject* clone() const override { return new ZqXmlGeometricType(*this); }
   bool read(ZqXmlReader& reader) override
   {
      return ZqXmlObject::read(reader) && ZqXmlLeaf::read<Value>(reader, *this);
   }
   bool readAttribute(ZqXmlReader& reader) override
   {
      setSpecified(true);
      return ZqXmlLeaf::readAttribute<Value>(reader, *this);
   }
   bool write(ZqXmlWriter& writer) const override { return ZqXmlLeaf::write<Value>(writer, *this); }
   void writeSchema(ZqXmlSchema& schema) const override { schema.addTextList("double"); }
   bool isBasicType() const override { return true; }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ZqXmlGeometricType*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlGeometricType(); }
   static const ZqToken& classToken();
   const ZqToken& token() const override { return classToken(); }

   bool operator==(const ZqXmlGeometricType& other) const
   {
      return static_cast<const Value&>(*this) == static_cast<const Value&>(other);
   }
};

using ZqXmlVector = ZqXmlGeometricType<ZqVector>;
using ZqXmlOrientation = ZqXmlGeometricType<ZqOrientation>;

template <>
inline const ZqToken& ZqXmlVector::classToken()
{
   return ZqXml::ZqVectorToken;
}

template <>
inline const ZqToken& ZqXmlOrientation::classToken()
{
   return ZqXml::ZqOrientationToken;
}
