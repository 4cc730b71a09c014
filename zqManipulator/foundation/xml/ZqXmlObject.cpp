#include "zqManipulator/foundation/xml/ZqXmlObject.h"

#include "zqManipulator/foundation/xml/ZqXmlObjectVisitor.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <memory>

void ZqXmlObject::accept(ZqXmlObjectVisitor* visitor) const
{
   if (visitor != nullptr)
      visitor->visit(*this);
}

bool ZqXmlObject::xmlInit()
{
   setXmlInitialized(true);
   return true;
}

bool ZqXmlObject::read(ZqXmlReader& reader)
{
   setSpecified(true);
   return !reader.stopped();
}

bool ZqXmlObject::readAttribute(ZqXmlReader& reader)
{
   reader.fail("the attribute \"" + reader.attributeName().token() + "\" belongs to a " +
               token().token() + ", which has no text form");
   return false;
}

bool ZqXmlObject::write(ZqXmlWriter& writer) const
{
   return writer.good();
}

void ZqXmlObject::writeSchema(ZqXmlSchema&) const {}

bool ZqXmlObject::createSchema(const ZqString& fileName, const ZqToken& root) const
{
   ZqXmlSchema schema;
   schema.addRoot(root, *this);
   return schema.save(fileName);
}

bool ZqXmlObject::xmlInitialized() const
{
   return m_xmlInitialized;
}

void ZqXmlObject::setXmlInitialized(bool initialized)
{
   m_xmlInitialized = initialized;
}

bool ZqXmlObject::specified() const
{
   return m_specified;
}

void ZqXmlObject::setSpecified(bool specified)
{
   m_specified = specified;
}

bool ZqXmlObject::isBasicType() const
{
   return false;
}

bool ZqXmlObject::equalsDefault() const
{
   const std::unique_ptr<const ZqXmlObject> fresh(newObject());
   return equality(fresh.get());
}
