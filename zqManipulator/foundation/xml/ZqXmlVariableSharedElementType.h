#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableType.h"

#include <boost/shared_ptr.hpp>

/// A persistent object of any class derived from T, or none, that copies and clones of the container
/// share: what is changed through one changes for all. Copy-on-write is built on `makeSelfUnique`.
/// Reading and setting release this container's share only.
template <class T>
class ZqXmlVariableSharedElementType
   : public ZqXmlElementType<ZqXmlVariableSharedElementType<T>, T, boost::shared_ptr<T>>
{
public:
   static constexpr const char* className = "ZqXmlVariableSharedElementType";
   static const ZqToken& classToken() { return ZqXml::ZqVarSharedElemTypeToken; }

   /// Clones the element unless this is its only holder.
   virtual void makeSelfUnique()
   {
      if (this->m_element && !this->m_element.unique())
         this->setElement(*this->m_element);
   }

   bool operator==(const ZqXmlVariableSharedElementType&) const = default;
};
