#pragma once

#include "zqManipulator/foundation/xml/ZqXmlClonePointer.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableType.h"

/// A persistent object of any class derived from T, or none.
template <class T>
class ZqXmlVariableElementType : public ZqXmlVariableType<T>
{
public:
   void accept(ZqXmlObjectVisitor* visitor) const override
   {
      if (m_element)
         m_element->accept(visitor);
   }
   ZqXmlObject* clone() const override { return new ZqXmlVariableElementType(*this); }
   /// The element that is held is deleted first: a document without one leaves the container empty.
   bool read(ZqXmlReader& reader) override
   {
      m_element.reset();
      return ZqXmlBaseVariableCompoundType::read(reader);
   }
   bool write(ZqXmlWriter& writer) const override
   {
      return ZqXmlBaseVariableCompoundType::write(writer) &&
             (!m_element || this->writeElement(writer, *m_element));
   }
   void writeSchema(ZqXmlSchema& schema) const override { this->writeElementSchema(schema, 1); }
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
      bool succeeded = true;
      std::unique_ptr<T> read =
         this->readElement(token, reader, "ZqXmlVariableElementType", succeeded);
      if (read)
         setAndDeleteElementPointer(read.release());
      return succeeded;
   }

   /// Null when there is no element.
   virtual T* element() { return m_element.get(); }
   virtual const T* element() const { return m_element.get(); }
   /// Holds a clone.
   virtual void setElement(const T& element)
   {
      setAndDeleteElementPointer(ZqXmlClonePointer<T>::copyOf(&element));
   }
   /// Takes ownership, of null too.
   virtual void setAndDeleteElementPointer(T* element) { m_element.reset(element); }

   bool operator==(const ZqXmlVariableElementType&) const = default;

private:
   ZqXmlClonePointer<T> m_element;
};
