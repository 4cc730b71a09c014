#pragma once

#include "zqManipulator/foundation/xml/ZqXmlClonePointer.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableType.h"

#include <boost/shared_ptr.hpp>

/// A persistent object of any class derived from T, or none, that copies of the container share.
/// Copy-on-write is built on `makeSelfUnique`.
template <class T>
class ZqXmlVariableSharedElementType : public ZqXmlVariableType<T>
{
public:
   void accept(ZqXmlObjectVisitor* visitor) const override
   {
      if (m_element)
         m_element->accept(visitor);
   }
   /// The clone shares the element.
   ZqXmlObject* clone() const override { return new ZqXmlVariableSharedElementType(*this); }
   /// Releases this container's share only: other holders keep what they have.
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
      const auto* same = dynamic_cast<const ZqXmlVariableSharedElementType*>(other);
      return same != nullptr && *this == *same;
   }
   ZqXmlObject* newObject() const override { return new ZqXmlVariableSharedElementType(); }
   static const ZqToken& classToken() { return ZqXml::ZqVarSharedElemTypeToken; }
   const ZqToken& token() const override { return classToken(); }
   bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) override
   {
      bool succeeded = true;
      std::unique_ptr<T> read =
         this->readElement(token, reader, "ZqXmlVariableSharedElementType", succeeded);
      if (read)
         setAndDeleteElementPointer(read.release());
      return succeeded;
   }

   /// Null when there is no element. What is changed through it changes for all who share it.
   virtual T* element() { return m_element.get(); }
   virtual const T* element() const { return m_element.get(); }
   /// Holds a clone, which nobody shares yet.
   virtual void setElement(const T& element)
   {
      setAndDeleteElementPointer(ZqXmlClonePointer<T>::copyOf(&element));
   }
   /// Takes ownership, of null too, and releases the share held before.
   virtual void setAndDeleteElementPointer(T* element) { m_element.reset(element); }
   /// Clones the element unless this is its only holder.
   virtual void makeSelfUnique()
   {
      if (m_element && !m_element.unique())
         m_element.reset(ZqXmlClonePointer<T>::copyOf(m_element.get()));
   }

   bool operator==(const ZqXmlVariableSharedElementType& other) const
   {
      return ZqXmlBaseVariableCompoundType::operator==(other) &&
             ZqXmlClonePointer<T>::equal(element(), other.element());
   }

private:
   boost::shared_ptr<T> m_element;
};
