#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableType.h"

/// A persistent object of any class derived from T, or none. A copy of the container holds a clone.
template <class T>
class ZqXmlVariableElementType : public ZqXmlSingleVariableType<T, ZqXmlClonePointer<T>>
{
public:
   ZqXmlObject* clone() const override { return new ZqXmlVariableElementType(*this); }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ZqXmlVariableElementType*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlVariableElementType(); }
   static const ZqToken& classToken() { return ZqXml::ZqVarElemTypeToken; }
   const ZqToken& token() const override { return classToken(); }
   bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) override
   {
      return this->readSingle(token, reader, "ZqXmlVariableElementType",
                              [this](T* made) { setAndDeleteElementPointer(made); });
   }

   /// Null when there is no element.
   virtual T* element() { return this->m_element.get(); }
   virtual const T* element() const { return this->m_element.get(); }
   /// Holds a clone.
   virtual void setElement(const T& element)
   {
      setAndDeleteElementPointer(ZqXmlClonePointer<T>::copyOf(&element));
   }
   /// Takes ownership, of null too.
   virtual void setAndDeleteElementPointer(T* element) { this->m_element.reset(element); }

   bool operator==(const ZqXmlVariableElementType&) const = default;
};
