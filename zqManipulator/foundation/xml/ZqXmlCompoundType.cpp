#include "zqManipulator/foundation/xml/ZqXmlCompoundType.h"

#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlLeaf.h"
#include "zqManipulator/foundation/xml/ZqXmlObjectVisitor.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

namespace
{
struct Registration
{
   ZqToken token;
   ZqXmlObject* object;
   bool isReadOnly;
   const char* documentation = nullptr;
   bool isOptional = false; ///< not written where it equals its default
};

/// What the schema tells of a component: its documentation, and its default if that is a plain value.
ZqString documentationOf(const Registration& registration, const ZqXmlObject* fallback)
{
   ZqString text = registration.documentation != nullptr ? registration.documentation : "";
   ZqString document;
   if (text.empty() || fallback == nullptr || !fallback->isBasicType() ||
       !Zq::toXml(*fallback, document))
      return text;
   // The value is all between the root's tags.
   const auto end = document.rfind("</");
   const auto begin = document.rfind('>', end) + 1;
   return end != ZqString::npos && begin < end
             ? text + "; default " + document.substr(begin, end - begin)
             : text;
}

/// What was registered, in order, and the same as a map. A token registered again moves to the new
/// object, so that a derived class can take a component over.
struct Registry
{
   std::vector<Registration> order;
   ZqXmlCompoundType::ComponentMap map;

   void add(const ZqToken& token, ZqXmlObject* object, bool isReadOnly)
   {
      if (!map.emplace(token, object).second)
      {
         map[token] = object;
         std::erase_if(order, [&](const Registration& old) { return old.token == token; });
      }
      order.push_back({token, object, isReadOnly});
   }

   bool isReadOnly(const ZqToken& token) const
   {
      return std::any_of(order.begin(), order.end(),
                         [&](const Registration& registration)
                         { return registration.token == token && registration.isReadOnly; });
   }

   ZqXmlObject* find(const ZqToken& token) const
   {
      const auto found = map.find(token);
      return found == map.end() ? nullptr : found->second;
   }
};

/// The components that an element has had already: few, so a list that rarely allocates serves.
class SeenComponents
{
public:
   /// False when it was there.
   bool insert(const void* component)
   {
      const auto* end = m_first.data() + m_count;
      if (std::find(static_cast<const void* const*>(m_first.data()), end, component) != end ||
          std::find(m_more.begin(), m_more.end(), component) != m_more.end())
         return false;
      if (m_count < m_first.size())
         m_first[m_count++] = component;
      else
         m_more.push_back(component);
      return true;
   }

private:
   std::array<const void*, 24> m_first;
   std::size_t m_count = 0;
   std::vector<const void*> m_more;
};

bool readComponent(ZqXmlObject& component, ZqXmlReader& reader)
{
   if (!component.xmlInitialized() && !component.xmlInit())
      return false;
   return component.read(reader);
}

ZqXmlObject* objectOf(const ZqXmlComponentEntry& entry, const ZqXmlCompoundType& owner)
{
   return static_cast<ZqXmlObject*>(entry.address(const_cast<ZqXmlCompoundType&>(owner)));
}

const void* memberOf(const ZqXmlComponentEntry& entry, const ZqXmlCompoundType& owner)
{
   return entry.address(const_cast<ZqXmlCompoundType&>(owner));
}

bool isDefault(const ZqXmlComponentEntry& entry, const ZqXmlCompoundType& owner,
               const ZqXmlComponentTable& table)
{
   const ZqXmlCompoundType& fresh = table.defaultObject();
   if (entry.leaf != nullptr)
      return entry.leaf->equal(memberOf(entry, owner), memberOf(entry, fresh));
   return objectOf(entry, owner)->equality(objectOf(entry, fresh));
}

/// Writes a component whose owner leaves defaults out. The component leaves out what equals the default
/// of its own class, so it may do so only where its owner's default is that same default: else what is
/// left out would read back as what the owner's default has there.
bool writeComponent(const ZqXmlObject& component, const ZqXmlObject& ownersDefault,
                    ZqXmlWriter& writer)
{
   const bool nestedDefaults = ownersDefault.equalsDefault();
   writer.setWriteDefaultDataFlag(!nestedDefaults);
   const bool written = component.write(writer);
   writer.setWriteDefaultDataFlag(false);
   return written;
}

bool writeEntry(const ZqXmlComponentEntry& entry, const ZqXmlCompoundType& owner,
                const ZqXmlComponentTable& table, ZqXmlWriter& writer)
{
   if (entry.leaf != nullptr)
      return entry.leaf->write(writer, memberOf(entry, owner));
   const ZqXmlObject& component = *objectOf(entry, owner);
   return writer.writeDefaultDataFlag()
             ? component.write(writer)
             : writeComponent(component, *objectOf(entry, table.defaultObject()), writer);
}

/// The local names of the components that a document may have in a place.
std::vector<std::string_view> namesOf(const ZqXmlComponentTable& table, bool areAttributes)
{
   std::vector<std::string_view> names;
   for (const auto* entry = table.entries; entry != table.entries + table.count; ++entry)
      if (entry->isAttribute == areAttributes && !entry->isReadOnly)
         names.push_back(entry->token->localName());
   return names;
}

std::vector<std::string_view> namesOf(const Registry& registry)
{
   std::vector<std::string_view> names;
   for (const Registration& registration : registry.order)
      if (!registration.isReadOnly)
         names.push_back(registration.token.localName());
   return names;
}

/// The entry of a name, looked for from the one that is expected next.
const ZqXmlComponentEntry* findEntry(const ZqXmlComponentTable& table, bool isAttribute,
                                     std::string_view name, unsigned& expected)
{
   for (unsigned i = 0; i < table.count; ++i)
   {
      const unsigned index = expected + i < table.count ? expected + i : expected + i - table.count;
      const ZqXmlComponentEntry& entry = table.entries[index];
      if (entry.isAttribute == isAttribute && entry.token->view() == name)
      {
         expected = index + 1 < table.count ? index + 1 : 0;
         return &entry;
      }
   }
   return nullptr;
}

const ZqXmlComponentEntry* findEntry(const ZqXmlComponentTable& table, bool isAttribute,
                                     const ZqToken& token)
{
   const auto* end = table.entries + table.count;
   const auto* found =
      std::find_if(table.entries, end,
                   [&](const ZqXmlComponentEntry& entry)
                   { return entry.isAttribute == isAttribute && *entry.token == token; });
   return found == end ? nullptr : found;
}

/// Held while maps are built for a const object. One for all objects, since registering may ask others;
/// recursive for the same reason.
constinit std::recursive_mutex mapsAreBuilt;
} // namespace

struct ZqXmlCompoundType::Maps
{
   Registry elements;
   Registry attributes;
   SpecialDescriptorMap specials;
   std::vector<std::unique_ptr<ZqXmlObject>> adapters;
   const char* documentation = nullptr; ///< of the class
   std::atomic<bool> componentsBuilt = false;
   std::atomic<bool> specialsBuilt = false;
   bool building = false;         ///< `registerComponents` is at work
   bool buildingSpecials = false; ///< `createSpecialDescriptorMap` is
   bool extended = false;         ///< something was registered besides

   void describe(const ZqXmlComponentEntry& entry)
   {
      for (Registration& registration : (entry.isAttribute ? attributes : elements).order)
         if (registration.token == *entry.token)
         {
            registration.documentation = entry.documentation;
            registration.isOptional = entry.isOptional;
         }
   }
   /// The component of the same name in an object of defaults, if there is one.
   static const ZqXmlObject* defaultOf(const ZqXmlCompoundType* defaults, Registry Maps::*kind,
                                       const Registration& registration)
   {
      return defaults != nullptr ? (defaults->maps().*kind).find(registration.token) : nullptr;
   }
};

void ZqXmlCompoundType::deleteMaps() noexcept
{
   delete m_maps.load(std::memory_order_relaxed);
}

ZqXmlCompoundType::Maps& ZqXmlCompoundType::maps() const
{
   Maps* own = m_maps.load(std::memory_order_acquire);
   if (own == nullptr)
   {
      own = new Maps;
      m_maps.store(own, std::memory_order_release);
   }
   return *own;
}

const ZqXmlComponentTable* ZqXmlCompoundType::componentTable() const
{
   return nullptr;
}

bool ZqXmlCompoundType::componentsAreRegistered() const noexcept
{
   const Maps* own = m_maps.load(std::memory_order_acquire);
   return own != nullptr && (own->building || own->componentsBuilt);
}

/// A new object of this class to compare the registered components with, when defaults are left out;
/// what is left out must read back the same.
std::unique_ptr<const ZqXmlCompoundType> ZqXmlCompoundType::defaultsUnless(bool all) const
{
   createComponentMap();
   if (all)
      return nullptr;
   std::unique_ptr<ZqXmlObject> fresh(newObject());
   const auto* compound = dynamic_cast<const ZqXmlCompoundType*>(fresh.get());
   if (compound == nullptr)
      return nullptr;
   compound->createComponentMap();
   return std::unique_ptr<const ZqXmlCompoundType>(
      static_cast<const ZqXmlCompoundType*>(fresh.release()));
}

/// The table, unless a derived class, or a user of this object, may have registered more than it lists.
const ZqXmlComponentTable* ZqXmlCompoundType::ownTable() const
{
   const ZqXmlComponentTable* table = componentTable();
   const Maps* own = m_maps.load(std::memory_order_acquire);
   const bool extended = own != nullptr && own->extended;
   return table != nullptr && !extended && *table->type == typeid(*this) ? table : nullptr;
}

void ZqXmlCompoundType::accept(ZqXmlObjectVisitor* visitor) const
{
   if (visitor == nullptr)
      return;
   visitor->visit(*this);
   createComponentMap();
   for (const Registration& registration : maps().elements.order)
      registration.object->accept(visitor);
}

bool ZqXmlCompoundType::xmlInit()
{
   if (ownTable() == nullptr)
      createComponentMap();
   return ZqXmlObject::xmlInit();
}

bool ZqXmlCompoundType::equalsDefault() const
{
   const ZqXmlComponentTable* table = ownTable();
   return table != nullptr ? equality(&table->defaultObject()) : ZqXmlObject::equalsDefault();
}

bool ZqXmlCompoundType::read(ZqXmlReader& reader)
{
   if (!xmlInitialized() && !xmlInit())
      return false;
   return ZqXmlObject::read(reader) && readAttributes(reader) && readElements(reader);
}

bool ZqXmlCompoundType::readAttributes(ZqXmlReader& reader)
{
   const unsigned count = reader.attributeCount();
   if (count == 0)
      return true;
   const ZqXmlComponentTable* table = ownTable();
   unsigned expected = 0;
   for (unsigned i = 0; i < count; ++i)
   {
      reader.setAttributeCursor(i);
      const ZqXmlComponentEntry* entry =
         table != nullptr ? findEntry(*table, true, reader.attributeNameText(), expected) : nullptr;
      if (table != nullptr && entry == nullptr)
         reader.reportUnknownAttribute(token().localName(), [&] { return namesOf(*table, true); });
      else if (!readAttributeFromToken(entry != nullptr ? *entry->token : reader.attributeName(),
                                       reader))
         return false;
   }
   return true;
}

bool ZqXmlCompoundType::readElements(ZqXmlReader& reader)
{
   if (reader.nodeKind() == ZqXmlReader::EmptyTag)
      return true;
   const ZqXmlComponentTable* table = ownTable();
   unsigned expected = 0;
   SeenComponents seen;
   for (;;)
   {
      const unsigned kind = reader.nextNode();
      if (kind == ZqXmlReader::EndTag)
         return true;
      if (!ZqXmlReader::isStart(kind))
      {
         if (kind == ZqXmlReader::Text)
            reader.fail("expected an element of " + ZqString(token().localName()) +
                        ", but received text");
         return false;
      }
      const ZqXmlComponentEntry* entry =
         table != nullptr ? findEntry(*table, false, reader.tagText(), expected) : nullptr;
      const ZqToken tag = entry != nullptr ? *entry->token : reader.tagName();
      const void* component = entry;
      if (table == nullptr)
      {
         createComponentMap();
         component = maps().elements.find(tag);
      }
      if (component != nullptr && !seen.insert(component))
         reader.remark("the element \"" + tag.token() + "\" occurs again; the last one counts",
                       "repeated");
      if (!readValueFromToken(tag, reader))
         return false;
   }
}

bool ZqXmlCompoundType::readValueFromToken(const ZqToken& token, ZqXmlReader& reader)
{
   if (const ZqXmlComponentTable* table = ownTable())
   {
      if (const ZqXmlComponentEntry* entry = findEntry(*table, false, token))
         return entry->leaf != nullptr ? entry->leaf->read(reader, entry->address(*this))
                                       : readComponent(*objectOf(*entry, *this), reader);
   }
   else
   {
      createComponentMap();
      if (ZqXmlObject* component = maps().elements.find(token))
         return readComponent(*component, reader);
   }
   return readUnknown(token, reader);
}

bool ZqXmlCompoundType::readUnknown(const ZqToken& token, ZqXmlReader& reader)
{
   const SpecialDescriptorMap& specials = specialDescriptorMap();
   if (specials.find(token) != specials.end())
      return readValueFromSpecialToken(token, reader);
   reader.reportUnknownElement(this->token().localName(),
                               [this]
                               {
                                  const ZqXmlComponentTable* table = ownTable();
                                  return table != nullptr ? namesOf(*table, false)
                                                          : namesOf(maps().elements);
                               });
   return reader.skipElement();
}

bool ZqXmlCompoundType::readValueFromSpecialToken(const ZqToken&, ZqXmlReader& reader)
{
   return reader.skipElement();
}

bool ZqXmlCompoundType::readAttributeFromToken(const ZqToken& token, ZqXmlReader& reader)
{
   if (const ZqXmlComponentTable* table = ownTable())
   {
      if (const ZqXmlComponentEntry* entry = findEntry(*table, true, token))
         return entry->leaf != nullptr ? entry->leaf->readAttribute(reader, entry->address(*this))
                                       : objectOf(*entry, *this)->readAttribute(reader);
   }
   else
   {
      createComponentMap();
      if (ZqXmlObject* component = maps().attributes.find(token))
         return component->readAttribute(reader);
   }
   reader.reportUnknownAttribute(this->token().localName(),
                                 [this] { return namesOf(maps().attributes); });
   return true;
}

bool ZqXmlCompoundType::write(ZqXmlWriter& writer) const
{
   return ZqXmlObject::write(writer) && writeAttributes(writer) && writeElements(writer);
}

bool ZqXmlCompoundType::writeAttributes(ZqXmlWriter& writer) const
{
   return writeComponents(writer, true);
}

bool ZqXmlCompoundType::writeElements(ZqXmlWriter& writer) const
{
   return writeComponents(writer, false);
}

/// Writes the attributes or the elements, without the read-only ones and, if so asked, the defaults.
bool ZqXmlCompoundType::writeComponents(ZqXmlWriter& writer, bool attributes) const
{
   const auto begin = [&](const ZqToken& token)
   { attributes ? writer.setAttributeName(token) : writer.writeStartTag(token); };
   const auto end = [&]
   {
      if (!attributes)
         writer.writeEndTag();
   };
   // What cannot be written any more is not descended into.
   if (!writer.good())
      return false;
   const bool all = writer.writeDefaultDataFlag();
   if (const ZqXmlComponentTable* table = ownTable())
   {
      for (const auto* entry = table->entries; entry != table->entries + table->count; ++entry)
      {
         if (entry->isAttribute != attributes || entry->isReadOnly ||
             ((!all || entry->isOptional) && isDefault(*entry, *this, *table)))
            continue;
         begin(*entry->token);
         if (!writeEntry(*entry, *this, *table, writer))
            return false;
         end();
      }
      return writer.good();
   }
   createComponentMap();
   const auto kind = attributes ? &Maps::attributes : &Maps::elements;
   const auto& order = (maps().*kind).order;
   const auto isOptional = [](const Registration& registration) { return registration.isOptional; };
   const auto fresh = defaultsUnless(all && std::none_of(order.begin(), order.end(), isOptional));
   for (const Registration& registration : order)
   {
      const ZqXmlObject* fallback = all && !registration.isOptional
                                       ? nullptr
                                       : Maps::defaultOf(fresh.get(), kind, registration);
      if (registration.isReadOnly ||
          (fallback != nullptr && registration.object->equality(fallback)))
         continue;
      begin(registration.token);
      const bool written = fallback != nullptr && !all
                              ? writeComponent(*registration.object, *fallback, writer)
                              : registration.object->write(writer);
      if (!written)
         return false;
      end();
   }
   return writer.good();
}

void ZqXmlCompoundType::writeSchema(ZqXmlSchema& schema) const
{
   createComponentMap();
   if (!schema.beginType(typeid(*this), "", maps().documentation))
      return;
   writeSchemaAttributes(schema);
   writeSchemaElements(schema);
   schema.endType();
}

void ZqXmlCompoundType::writeSchemaAttributes(ZqXmlSchema& schema) const
{
   const auto fresh = defaultsUnless(false);
   for (const Registration& registration : maps().attributes.order)
      if (!registration.isReadOnly)
         schema.addAttribute(
            registration.token, *registration.object,
            documentationOf(registration,
                            Maps::defaultOf(fresh.get(), &Maps::attributes, registration))
               .c_str());
}

void ZqXmlCompoundType::writeSchemaElements(ZqXmlSchema& schema) const
{
   const auto fresh = defaultsUnless(false);
   for (const Registration& registration : maps().elements.order)
      if (!registration.isReadOnly)
         schema.addElement(
            registration.token, *registration.object, 0, 1,
            documentationOf(registration,
                            Maps::defaultOf(fresh.get(), &Maps::elements, registration))
               .c_str());
}

void ZqXmlCompoundType::registerComponents() {}

/// The maps, for a registration: one that the class does not make itself adds to what the class makes.
ZqXmlCompoundType::Maps& ZqXmlCompoundType::mapsToRegister()
{
   Maps& own = maps();
   if (!own.building)
   {
      createComponentMap();
      own.extended = true;
   }
   return own;
}

void ZqXmlCompoundType::registerComponent(const ZqToken& token, ZqXmlObject* component)
{
   mapsToRegister().elements.add(token, component, false);
}

void ZqXmlCompoundType::registerComponentReadOnly(const ZqToken& token, ZqXmlObject* component)
{
   mapsToRegister().elements.add(token, component, true);
}

void ZqXmlCompoundType::registerAttributeComponent(const ZqToken& token, ZqXmlObject* component)
{
   mapsToRegister().attributes.add(token, component, false);
}

void ZqXmlCompoundType::registerAttributeComponentReadOnly(const ZqToken& token,
                                                           ZqXmlObject* component)
{
   mapsToRegister().attributes.add(token, component, true);
}

void ZqXmlCompoundType::registerComponentsOf(const ZqXmlComponentTable& table)
{
   maps().documentation = table.documentation;
   for (const auto* entry = table.entries; entry != table.entries + table.count; ++entry)
   {
      ZqXmlObject* component = nullptr;
      if (entry->leaf != nullptr)
         component =
            maps().adapters.emplace_back(entry->leaf->makeAdapter(entry->address(*this))).get();
      else
         component = objectOf(*entry, *this);
      if (entry->isAttribute)
         entry->isReadOnly ? registerAttributeComponentReadOnly(*entry->token, component)
                           : registerAttributeComponent(*entry->token, component);
      else
         entry->isReadOnly ? registerComponentReadOnly(*entry->token, component)
                           : registerComponent(*entry->token, component);
      maps().describe(*entry);
   }
}

const ZqXmlCompoundType::ComponentMap& ZqXmlCompoundType::componentMap() const
{
   createComponentMap();
   return maps().elements.map;
}

const ZqXmlCompoundType::ComponentMap& ZqXmlCompoundType::attributeComponentMap() const
{
   createComponentMap();
   return maps().attributes.map;
}

const ZqXmlCompoundType::SpecialDescriptorMap& ZqXmlCompoundType::specialDescriptorMap() const
{
   const Maps* made = m_maps.load(std::memory_order_acquire);
   if (made != nullptr && made->specialsBuilt.load(std::memory_order_acquire))
      return made->specials;
   const std::scoped_lock lock(mapsAreBuilt);
   Maps& own = maps();
   if (!own.specialsBuilt && !own.buildingSpecials)
   {
      own.buildingSpecials = true;
      // Registering changes nothing but the map.
      const_cast<ZqXmlCompoundType&>(*this).createSpecialDescriptorMap();
      own.buildingSpecials = false;
      own.specialsBuilt.store(true, std::memory_order_release);
   }
   return own.specials;
}

bool ZqXmlCompoundType::hasChildren() const
{
   return !componentMap().empty();
}

bool ZqXmlCompoundType::hasAttributes() const
{
   return !attributeComponentMap().empty();
}

void ZqXmlCompoundType::newComponentMap()
{
   Maps& own = maps();
   own.componentsBuilt = false;
   own.elements = {};
   own.attributes = {};
   own.adapters.clear();
}

void ZqXmlCompoundType::newSpecialDescriptorMap()
{
   maps().specials.clear();
}

void ZqXmlCompoundType::createComponentMap() const
{
   const Maps* made = m_maps.load(std::memory_order_acquire);
   if (made != nullptr && made->componentsBuilt.load(std::memory_order_acquire))
      return;
   const std::scoped_lock lock(mapsAreBuilt);
   Maps& own = maps();
   if (own.componentsBuilt || own.building)
      return;
   // Registering changes nothing but the maps.
   auto& self = const_cast<ZqXmlCompoundType&>(*this);
   self.newComponentMap();
   own.building = true;
   self.registerComponents();
   own.building = false;
   own.componentsBuilt.store(true, std::memory_order_release);
}

void ZqXmlCompoundType::createAttributeComponentMap()
{
   createComponentMap();
}

void ZqXmlCompoundType::createSpecialDescriptorMap()
{
   newSpecialDescriptorMap();
}

bool ZqXmlCompoundType::isReadOnlyComponent(const ZqToken& token) const
{
   createComponentMap();
   return maps().elements.isReadOnly(token);
}

bool ZqXmlCompoundType::isReadOnlyAttribute(const ZqToken& token) const
{
   createComponentMap();
   return maps().attributes.isReadOnly(token);
}

void ZqXmlCompoundType::registerSpecialDescriptor(const ZqToken& token, unsigned int descriptor)
{
   maps().specials[token] = descriptor;
}
