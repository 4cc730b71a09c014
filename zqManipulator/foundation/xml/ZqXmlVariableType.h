#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlBaseVariableCompoundType.h"
#include "zqManipulator/foundation/xml/ZqXmlClonePointer.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

/// What the containers of polymorphic elements share, for elements of base class T.
template <class T>
class ZqXmlVariableType : public ZqXmlBaseVariableCompoundType
{
protected:
   bool accepts(const ZqXmlObject* element) const override
   {
      return dynamic_cast<const T*>(element) != nullptr;
   }
   /// Makes and reads the object that an element names. Null when nothing is made; `succeeded` tells
   /// whether that, and the reading, was as it should be.
   std::unique_ptr<T> readElement(const ZqToken& token, ZqXmlReader& reader, const char* className,
                                  bool& succeeded)
   {
      if (readLibraries(token, reader, succeeded))
         return nullptr;
      std::unique_ptr<ZqXmlObject> object = newElement(token, reader, className);
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

/// What the containers of at most one polymorphic element share; the pointer decides whether copies
/// clone the element or share it.
template <class T, class Pointer>
class ZqXmlSingleVariableType : public ZqXmlVariableType<T>
{
public:
   void accept(ZqXmlObjectVisitor* visitor) const override
   {
      if (m_element)
         m_element->accept(visitor);
   }
   /// The element that is held is released first: a document without one leaves the container empty.
   bool read(ZqXmlReader& reader) override
   {
      m_element.reset();
      reader.reportUnknownAttributes(this->token().localName());
      return ZqXmlBaseVariableCompoundType::read(reader);
   }
   bool write(ZqXmlWriter& writer) const override
   {
      return ZqXmlBaseVariableCompoundType::write(writer) &&
             (!m_element || this->writeElement(writer, *m_element));
   }
   void writeSchema(ZqXmlSchema& schema) const override { this->writeElementSchema(schema, 1); }

   bool operator==(const ZqXmlSingleVariableType& other) const
   {
      return ZqXmlBaseVariableCompoundType::operator==(other) &&
             ZqXmlClonePointer<T>::equal(m_element.get(), other.m_element.get());
   }

protected:
   /// Makes and reads the element that a tag names, and hands it to `hold`.
   template <class Hold>
   bool readSingle(const ZqToken& token, ZqXmlReader& reader, const char* className, Hold hold)
   {
      bool succeeded = true;
      std::unique_ptr<T> made = this->readElement(token, reader, className, succeeded);
      if (made && m_element)
         reader.remark("the container has an element already; the last one counts", "repeated");
      if (made)
         hold(made.release());
      return succeeded;
   }

   Pointer m_element;
};

/// What the two containers of at most one element share that hand it out under the name `element`.
/// Derived states its class token and its name, which messages bear.
template <class Derived, class T, class Pointer>
class ZqXmlElementType : public ZqXmlSingleVariableType<T, Pointer>
{
public:
   ZqXmlObject* clone() const override { return new Derived(static_cast<const Derived&>(*this)); }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const Derived*>(other);
      return same != nullptr && static_cast<const Derived&>(*this) == *same;
   }
   ZqXmlObject* newObject() const override { return new Derived(); }
   const ZqToken& token() const override { return Derived::classToken(); }
   bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) override
   {
      return this->readSingle(token, reader, Derived::className,
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
   /// Takes ownership, of null too; what was held before is released. The element that is held already
   /// stays.
   virtual void setAndDeleteElementPointer(T* element)
   {
      if (element != this->m_element.get())
         this->m_element.reset(element);
   }

   bool operator==(const ZqXmlElementType&) const = default;
};
