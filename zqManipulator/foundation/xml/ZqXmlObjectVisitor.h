#pragma once

#include "zqManipulator/foundation/xml/ZqXmlObject.h"

#include <cstddef>
#include <typeinfo>
#include <vector>

/// A walker over an object graph: `object.accept(&visitor)` hands it the object and all that is in it,
/// components and elements. It keeps a list of texts about the last container walked over and those
/// within: for each the name of its element type and a label "name (size)", and for each element the
/// path to it. A derived class overrides `visit` to do something with each object.
class ZqXmlObjectVisitor
{
public:
   virtual ~ZqXmlObjectVisitor() = default;

   /// Called for every persistent object, before what is in it.
   virtual void visit(const ZqXmlObject& object);
   /// Called by a container before its elements, with the type of an element.
   virtual void enterContainer(const ZqXmlObject& container, const std::type_info& elementType,
                               std::size_t size);
   /// Called before an element of the current container is handed to the visitor.
   virtual void enterElement(std::size_t index);
   /// Called after the last element.
   virtual void leaveContainer();

   const std::vector<ZqString>& list() const { return m_list; }
   std::vector<ZqString>& list() { return m_list; }

private:
   std::vector<ZqString> m_list;
   std::vector<ZqString> m_path;
};

namespace ZqXmlVisiting
{
/// Walks a visitor over the elements of a container: `element(i)` gives an object or null.
template <class Element>
void visitElements(ZqXmlObjectVisitor* visitor, const ZqXmlObject& container,
                   const std::type_info& elementType, std::size_t size, Element element)
{
   if (visitor == nullptr)
      return;
   visitor->visit(container);
   visitor->enterContainer(container, elementType, size);
   for (std::size_t i = 0; i < size; ++i)
   {
      visitor->enterElement(i);
      if (const ZqXmlObject* object = element(i))
         object->accept(visitor);
   }
   visitor->leaveContainer();
}
} // namespace ZqXmlVisiting
