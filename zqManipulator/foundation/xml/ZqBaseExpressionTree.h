#pragma once

#include "zqManipulator/foundation/xml/ZqXmlClonePointer.h"
#include "zqManipulator/foundation/xml/ZqXmlCompoundType.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableType.h"

/// Base of the polymorphic elements that a container holds. An element knows its container, which is
/// no part of its value: a copy is in no container until it is put into one.
class ZqBaseExpressionTreeElement : public ZqXmlCompoundType
{
public:
   ZqBaseExpressionTreeElement() noexcept = default;
   ZqBaseExpressionTreeElement(const ZqBaseExpressionTreeElement& other) noexcept
      : ZqXmlCompoundType(other)
   {
   }
   // The pointer is not assigned, so that an object may be assigned to itself.
   // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
   ZqBaseExpressionTreeElement& operator=(const ZqBaseExpressionTreeElement& other) noexcept
   {
      ZqXmlCompoundType::operator=(other);
      return *this;
   }

   /// Null for an element that is in no container.
   virtual ZqXmlBaseVariableCompoundType* container() const { return m_container; }
   virtual void setContainer(ZqXmlBaseVariableCompoundType* container) { m_container = container; }

   bool operator==(const ZqBaseExpressionTreeElement&) const noexcept { return true; }

private:
   ZqXmlBaseVariableCompoundType* m_container = nullptr;
};

/// A container of at most one element of a class derived from T, its top element.
template <class T>
class ZqBaseExpressionTreeContainer : public ZqXmlVariableType<T>
{
public:
   ZqBaseExpressionTreeContainer() = default;
   ZqBaseExpressionTreeContainer(const ZqBaseExpressionTreeContainer& other)
      : ZqXmlVariableType<T>(other), m_topElement(other.m_topElement)
   {
      attach();
   }
   ZqBaseExpressionTreeContainer& operator=(const ZqBaseExpressionTreeContainer& other)
   {
      ZqXmlVariableType<T>::operator=(other);
      m_topElement = other.m_topElement;
      attach();
      return *this;
   }

   void accept(ZqXmlObjectVisitor* visitor) const override
   {
      if (m_topElement)
         m_topElement->accept(visitor);
   }
   /// The element that is held is deleted first: a document without one leaves the container empty.
   bool read(ZqXmlReader& reader) override
   {
      m_topElement.reset();
      return ZqXmlBaseVariableCompoundType::read(reader);
   }
   bool write(ZqXmlWriter& writer) const override
   {
      return ZqXmlBaseVariableCompoundType::write(writer) &&
             (!m_topElement || this->writeElement(writer, *m_topElement));
   }
   void writeSchema(ZqXmlSchema& schema) const override { this->writeElementSchema(schema, 1); }
   bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) override
   {
      bool succeeded = true;
      std::unique_ptr<T> read =
         this->readElement(token, reader, "ZqBaseExpressionTreeContainer", succeeded);
      if (read)
         setAndDeleteTopElementPointer(read.release());
      return succeeded;
   }

   /// Null when the container is empty.
   virtual T* topElement() { return m_topElement.get(); }
   virtual const T* topElement() const { return m_topElement.get(); }
   /// Holds a clone.
   virtual void setTopElement(const T& element)
   {
      setAndDeleteTopElementPointer(ZqXmlClonePointer<T>::copyOf(&element));
   }
   /// Takes ownership, of null too.
   virtual void setAndDeleteTopElementPointer(T* element)
   {
      m_topElement.reset(element);
      setTopElementContainerToThis();
   }
   virtual void setTopElementContainerToThis() { attach(); }

   bool operator==(const ZqBaseExpressionTreeContainer& other) const
   {
      return ZqXmlBaseVariableCompoundType::operator==(other) && m_topElement == other.m_topElement;
   }

private:
   void attach()
   {
      if (m_topElement)
         m_topElement->setContainer(this);
   }

   ZqXmlClonePointer<T> m_topElement;
};
