#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableType.h"

#include <boost/shared_ptr.hpp>

/// A persistent object of any class derived from T, or none, that copies of the container share.
/// Copy-on-write is built on `makeSelfUnique`. A read releases this container's share only.
template <class T>
class ZqXmlVariableSharedElementType : public ZqXmlSingleVariableType<T, boost::shared_ptr<T>>
{
public:
   /// The clone shares the element.
   ZqXmlObject* clone() const override { return new ZqXmlVariableSharedElementType(*this); }
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
      return this->readSingle(token, reader, "ZqXmlVariableSharedElementType",
                              [this](T* made) { setAndDeleteElementPointer(made); });
   }

   /// Null when there is no element. What is changed through it changes for all who share it.
   virtual T* element() { return this->m_element.get(); }
   virtual const T* element() const { return this->m_element.get(); }
   /// Holds a clone, which nobody shares yet.
   virtual void setElement(const T& element)
   {
      setAndDeleteElementPointer(ZqXmlClonePointer<T>::copyOf(&element));
   }
   /// Takes ownership, of null too, and releases the share held before.
   virtual void setAndDeleteElementPointer(T* element) { this->m_element.reset(element); }
   /// Clones the element unless this is its only holder.
   virtual void makeSelfUnique()
   {
      if (this->m_element && !this->m_element.unique())
         setElement(*this->m_element);
   }

   bool operator==(const ZqXmlVariableSharedElementType&) const = default;
};
