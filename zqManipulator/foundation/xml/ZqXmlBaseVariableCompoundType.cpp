#include "zqManipulator/foundation/xml/ZqXmlBaseVariableCompoundType.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlClassRegistry.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <mutex>
#include <typeindex>
#include <unordered_map>
#include <utility>

using CreatorMap = ZqXmlBaseVariableCompoundType::CreatorMap;

struct ZqXmlBaseVariableCompoundType::Own
{
   std::vector<ZqString> libraries;
   CreatorMap creators;
};

namespace
{
/// The map that registrations go to while the creators of a class are collected.
thread_local CreatorMap* collecting = nullptr;

/// Sends registrations to a map for as long as it lives.
class Collecting
{
public:
   explicit Collecting(CreatorMap& creators) : m_before(std::exchange(collecting, &creators)) {}
   Collecting(const Collecting&) = delete;
   Collecting& operator=(const Collecting&) = delete;
   ~Collecting() { collecting = m_before; }

private:
   CreatorMap* m_before;
};
} // namespace

ZqXmlBaseVariableCompoundType::ZqXmlBaseVariableCompoundType() noexcept = default;

ZqXmlBaseVariableCompoundType::ZqXmlBaseVariableCompoundType(
   const ZqXmlBaseVariableCompoundType& other)
   : ZqXmlObject(other), m_own(other.m_own ? std::make_unique<Own>(*other.m_own) : nullptr)
{
}

ZqXmlBaseVariableCompoundType&
ZqXmlBaseVariableCompoundType::operator=(const ZqXmlBaseVariableCompoundType& other)
{
   if (this != &other)
   {
      ZqXmlObject::operator=(other);
      m_own = other.m_own ? std::make_unique<Own>(*other.m_own) : nullptr;
   }
   return *this;
}

ZqXmlBaseVariableCompoundType::ZqXmlBaseVariableCompoundType(
   ZqXmlBaseVariableCompoundType&& other) noexcept
   : ZqXmlObject(other), m_own(std::move(other.m_own))
{
}

ZqXmlBaseVariableCompoundType&
ZqXmlBaseVariableCompoundType::operator=(ZqXmlBaseVariableCompoundType&& other) noexcept
{
   ZqXmlObject::operator=(other);
   m_own = std::move(other.m_own);
   return *this;
}

ZqXmlBaseVariableCompoundType::~ZqXmlBaseVariableCompoundType() = default;

bool ZqXmlBaseVariableCompoundType::operator==(const ZqXmlBaseVariableCompoundType& other) const
{
   return addLibraries() == other.addLibraries();
}

ZqXmlBaseVariableCompoundType::Own& ZqXmlBaseVariableCompoundType::own()
{
   if (!m_own)
      m_own = std::make_unique<Own>();
   return *m_own;
}

bool ZqXmlBaseVariableCompoundType::xmlInit()
{
   creatorMap();
   return ZqXmlObject::xmlInit();
}

void ZqXmlBaseVariableCompoundType::registerComponentCreators() {}

void ZqXmlBaseVariableCompoundType::registerComponentCreator(const ZqToken& token, Creator creator)
{
   if (collecting != nullptr)
   {
      collecting->insert_or_assign(token, creator);
      return;
   }
   CreatorMap creators = creatorMap();
   creators.insert_or_assign(token, creator);
   own().creators = std::move(creators);
}

const CreatorMap& ZqXmlBaseVariableCompoundType::creatorMap() const
{
   if (m_own && !m_own->creators.empty())
      return m_own->creators;
   if (const CreatorMap* known = m_creators.load(std::memory_order_acquire))
      return *known;
   // Never destroyed, so that documents can be read and written until the process ends.
   static auto& mutex = *new std::mutex;
   static auto& creatorsOfClasses = *new std::unordered_map<std::type_index, CreatorMap>;
   const auto keep = [this](const CreatorMap& creators) -> const CreatorMap&
   {
      m_creators.store(&creators, std::memory_order_release);
      return creators;
   };
   {
      const std::scoped_lock lock(mutex);
      const auto found = creatorsOfClasses.find(typeid(*this));
      if (found != creatorsOfClasses.end())
         return keep(found->second);
   }
   // Registering changes nothing but the map. It may make other containers, so no lock is held.
   CreatorMap creators;
   {
      const Collecting into(creators);
      const_cast<ZqXmlBaseVariableCompoundType*>(this)->registerComponentCreators();
   }
   const std::scoped_lock lock(mutex);
   return keep(creatorsOfClasses.try_emplace(typeid(*this), std::move(creators)).first->second);
}

ZqXmlObject* ZqXmlBaseVariableCompoundType::newObjectFromToken(const ZqToken& token) const
{
   const CreatorMap& creators = creatorMap();
   const auto found = creators.find(token);
   return found == creators.end() ? nullptr : found->second();
}

const std::vector<ZqString>& ZqXmlBaseVariableCompoundType::addLibraries() const
{
   static const auto& none = *new std::vector<ZqString>;
   return m_own ? m_own->libraries : none;
}

void ZqXmlBaseVariableCompoundType::setAddLibraries(const std::vector<ZqString>& libraries)
{
   own().libraries = libraries;
}

void ZqXmlBaseVariableCompoundType::processLibraries() {}

bool ZqXmlBaseVariableCompoundType::read(ZqXmlReader& reader)
{
   if (!xmlInitialized() && !xmlInit())
      return false;
   if (!ZqXmlObject::read(reader))
      return false;
   const bool outermost = reader.topContainer() == nullptr;
   if (outermost)
      reader.setTopContainer(this);
   bool failed = false;
   if (reader.nodeKind() != ZqXmlReader::EmptyTag)
      while (!failed && ZqXmlList::nextChild(reader, failed))
         failed = !readValueFromToken(reader.tagName(), reader);
   if (outermost)
      reader.setTopContainer(nullptr);
   return !failed;
}

bool ZqXmlBaseVariableCompoundType::write(ZqXmlWriter& writer) const
{
   if (!ZqXmlObject::write(writer))
      return false;
   if (addLibraries().empty())
      return true;
   writer.writeStartTag(ZqXml::ZqAddLibrariesToken);
   ZqXmlVectorType<ZqString> libraries;
   libraries.vectorContainer() = addLibraries();
   const bool written = libraries.write(writer);
   writer.writeEndTag();
   return written;
}

void ZqXmlBaseVariableCompoundType::writeSchema(ZqXmlSchema& schema) const
{
   writeElementSchema(schema, ZqXmlSchema::unbounded);
}

void ZqXmlBaseVariableCompoundType::writeSchemaAttributes(ZqXmlSchema&) const {}

void ZqXmlBaseVariableCompoundType::writeElementSchema(ZqXmlSchema& schema, unsigned most) const
{
   if (!schema.beginType(typeid(*this), ""))
      return;
   writeSchemaAttributes(schema);
   // The list of libraries may stand before an element.
   schema.setChoice(0, most == ZqXmlSchema::unbounded ? most : most + 1);
   schema.addElement(ZqXml::ZqAddLibrariesToken, ZqXmlVectorType<ZqString>(), 1, 1,
                     "names of libraries; without effect");
   CreatorMap creators = creatorMap();
   creators.merge(Zq::registeredCreators());
   for (const auto& [token, creator] : creators)
   {
      const std::unique_ptr<ZqXmlObject> sample(creator());
      if (!accepts(sample.get()))
         continue;
      sample->xmlInit();
      schema.addElement(token, *sample, 1, 1);
   }
   schema.endType();
}

bool ZqXmlBaseVariableCompoundType::readLibraries(const ZqToken& token, ZqXmlReader& reader,
                                                  bool& succeeded)
{
   if (!(token == ZqXml::ZqAddLibrariesToken))
      return false;
   ZqXmlVectorType<ZqString> libraries;
   succeeded = libraries.read(reader);
   setAddLibraries(libraries.vectorContainer());
   processLibraries();
   return true;
}

bool ZqXmlBaseVariableCompoundType::accepts(const ZqXmlObject* element) const
{
   return element != nullptr;
}

std::unique_ptr<ZqXmlObject> ZqXmlBaseVariableCompoundType::newElement(const ZqToken& token,
                                                                       ZqXmlReader& reader,
                                                                       const char* className) const
{
   std::unique_ptr<ZqXmlObject> object(newObjectFromToken(token));
   if (!object && reader.topContainer() != nullptr)
      object.reset(reader.topContainer()->newObjectFromToken(token));
   const Creator creator = object ? nullptr : Zq::registeredCreator(token);
   if (creator != nullptr)
      object.reset(creator());
   if (!accepts(object.get()))
   {
      ZqString known;
      for (const auto& [name, ignored] : creatorMap())
         known += (known.empty() ? "; known are " : ", ") + ZqString(name.localName());
      reader.report(Zq::Rejected, Zq::Severity::Error, "unknown-class",
                    "the class \"" + token.token() + "\" is not known" + known,
                    ZqString(className) + "::readValueFromToken() error:\n\t\"" + token.token() +
                       "\" tag not registered.\n" + reader.place() + '\n');
      return nullptr;
   }
   return object;
}
