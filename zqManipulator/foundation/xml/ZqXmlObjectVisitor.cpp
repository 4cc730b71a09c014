#include "zqManipulator/foundation/xml/ZqXmlObjectVisitor.h"

#include <boost/core/demangle.hpp>

void ZqXmlObjectVisitor::visit(const ZqXmlObject&) {}

void ZqXmlObjectVisitor::enterContainer(const ZqXmlObject& container,
                                        const std::type_info& elementType, std::size_t size)
{
   if (m_path.empty())
      m_list.clear();
   const ZqString name(container.token().localName());
   m_list.push_back(boost::core::demangle(elementType.name()));
   m_list.push_back(name + " (" + std::to_string(size) + ")");
   m_path.push_back(m_path.empty() ? name : m_path.back() + "/" + name);
   m_path.emplace_back();
}

void ZqXmlObjectVisitor::enterElement(std::size_t index)
{
   m_path.back() = m_path[m_path.size() - 2] + "[" + std::to_string(index) + "]";
   m_list.push_back(m_path.back());
}

void ZqXmlObjectVisitor::leaveContainer()
{
   m_path.resize(m_path.size() - 2);
}
