#pragma once

#include "zqManipulator/foundation/xml/ZqXmlCompoundType.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableType.h"

#include <utility>

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

/// A container of at most one element of a class derived from T, its top element. A copy of the
/// container holds a clone.
template <class T>
class ZqBaseExpressionTreeContainer : public ZqXmlSingleVariableType<T, ZqXmlClonePointer<T>>
{
public:
   ZqBaseExpressionTreeContainer() = default;
   ZqBaseExpressionTreeContainer(const ZqBaseExpressionTreeContainer& other)
      : ZqXmlSingleVariableType<T, ZqXmlClonePointer<T>>(other)
   {
      attach();
   }
   ZqBaseExpressionTreeContainer& operator=(const ZqBaseExpressionTreeContainer& other)
   {
      ZqXmlSingleVariableType<T, ZqXmlClonePointer<T>>::operator=(other);
      attach();
      return *this;
   }

   ZqBaseExpressionTreeContainer(ZqBaseExpressionTreeContainer&& other) noexcept
      : ZqXmlSingleVariableType<T, ZqXmlClonePointer<T>>(std::move(other))
   {
      attach();
   }
   ZqBaseExpressionTreeContainer& operator=(ZqBaseExpressionTreeContainer&& other) noexcept
   {
      ZqXmlSingleVariableType<T, ZqXmlClonePointer<T>>::operator=(std::move(other));
      attach();
      return *this;
   }
   ~ZqBaseExpressionTreeContainer() override = default;

   bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) override
   {
      return this->readSingle(token, reader, "ZqBaseExpressionTreeContainer",
                              [this](T* made) { setAndDeleteTopElementPointer(made); });
   }

   /// Null when the container is empty.
   virtual T* topElement() { return this->m_element.get(); }
   virtual const T* topElement() const { return this->m_element.get(); }
   /// Holds a clone.
   virtual void setTopElement(const T& element)
   {
      setAndDeleteTopElementPointer(ZqXmlClonePointer<T>::copyOf(&element));
   }
   /// Takes ownership, of null too. The element that is held already stays.
   virtual void setAndDeleteTopElementPointer(T* element)
   {
      if (element != this->m_element.get())
         this->m_element.reset(element);
      setTopElementContainerToThis();
   }
   virtual void setTopElementContainerToThis() { attach(); }

   bool operator==(const ZqBaseExpressionTreeContainer&) const = default;

private:
   void attach()
   {
      if (this->m_element)
         this->m_element->setContainer(this);
   }
};
