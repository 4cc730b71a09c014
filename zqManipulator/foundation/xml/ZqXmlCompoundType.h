#pragma once

#include "zqManipulator/foundation/xml/ZqXmlObject.h"

#include <atomic>
#include <map>
#include <memory>

namespace ZqXmlLeaf
{
struct Operations;
}
struct ZqXmlComponentTable;

/// A persistent object with named components: elements, and attributes with a text form.
///
/// A class states its members once, in `components()` of `ZqXmlClass`, and documents are then read
/// and written straight from that list. A class may instead register its members by hand in
/// `registerComponents`; then the maps below are built at first need and used. They hold the
/// addresses of this object's own members, so they are never copied, and they cost one pointer until
/// they are asked for. Any number of threads may write one object: the first builds the maps, and the
/// others wait for it.
class ZqXmlCompoundType : public ZqXmlObject
{
public:
   using ComponentMap = std::map<ZqToken, ZqXmlObject*>;
   using SpecialDescriptorMap = std::map<ZqToken, unsigned int>;

   constexpr ZqXmlCompoundType() noexcept = default;
   ZqXmlCompoundType(const ZqXmlCompoundType& other) noexcept : ZqXmlObject(other) {}
   // The pointer is not assigned, so that an object may be assigned to itself.
   // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
   ZqXmlCompoundType& operator=(const ZqXmlCompoundType& other) noexcept
   {
      ZqXmlObject::operator=(other);
      return *this;
   }
   ~ZqXmlCompoundType() override
   {
      if (m_maps.load(std::memory_order_relaxed) != nullptr)
         deleteMaps();
   }

   void accept(ZqXmlObjectVisitor* visitor) const override;
   bool xmlInit() override;
   /// `readAttributes`, and when that succeeds, `readElements`. Components that the document does not
   /// mention keep their values.
   bool read(ZqXmlReader& reader) override;
   bool write(ZqXmlWriter& writer) const override;
   void writeSchema(ZqXmlSchema& schema) const override;
   bool equalsDefault() const override;

   virtual bool readAttributes(ZqXmlReader& reader);
   /// Gives each child element to the component of its name. An element that nobody knows is reported
   /// once and passed over; of a component that occurs twice, the last occurrence counts, and a
   /// remark says so.
   virtual bool readElements(ZqXmlReader& reader);
   virtual bool writeAttributes(ZqXmlWriter& writer) const;
   /// Writes the components in the order of their registration, without the read-only ones.
   virtual bool writeElements(ZqXmlWriter& writer) const;
   virtual void writeSchemaAttributes(ZqXmlSchema& schema) const;
   virtual void writeSchemaElements(ZqXmlSchema& schema) const;
   /// Registers each persistent member, and does nothing else.
   virtual void registerComponents();
   virtual void registerComponent(const ZqToken& token, ZqXmlObject* component);
   /// A component that old documents hold and that is never written.
   virtual void registerComponentReadOnly(const ZqToken& token, ZqXmlObject* component);
   virtual const ComponentMap& componentMap() const;
   virtual void registerAttributeComponent(const ZqToken& token, ZqXmlObject* component);
   virtual void registerAttributeComponentReadOnly(const ZqToken& token, ZqXmlObject* component);
   virtual const ComponentMap& attributeComponentMap() const;
   /// Element names that the class reads by itself, in `readValueFromSpecialToken`, each with a number
   /// of the class's own. A class registers them in `createSpecialDescriptorMap`.
   virtual const SpecialDescriptorMap& specialDescriptorMap() const;
   virtual bool hasChildren() const;
   virtual bool hasAttributes() const;
   /// Reads the element at the cursor, which has this name.
   virtual bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader);
   virtual bool readValueFromSpecialToken(const ZqToken& token, ZqXmlReader& reader);
   virtual bool readAttributeFromToken(const ZqToken& token, ZqXmlReader& reader);
   virtual void newComponentMap();
   virtual void newSpecialDescriptorMap();
   virtual void createComponentMap() const;
   virtual void createAttributeComponentMap();
   virtual void createSpecialDescriptorMap();
   virtual bool isReadOnlyComponent(const ZqToken& token) const;
   virtual bool isReadOnlyAttribute(const ZqToken& token) const;

   bool operator==(const ZqXmlCompoundType&) const noexcept { return true; }

protected:
   void registerSpecialDescriptor(const ZqToken& token, unsigned int descriptor);
   /// Registers the members that a table lists.
   void registerComponentsOf(const ZqXmlComponentTable& table);
   /// The list of the members of this object's class, if the class states one.
   virtual const ZqXmlComponentTable* componentTable() const;
   /// Whether the maps of components hold the addresses of this object's members.
   bool componentsAreRegistered() const noexcept;

private:
   struct Maps;

   void deleteMaps() noexcept;
   Maps& maps() const;
   Maps& mapsToRegister();
   bool writeComponents(ZqXmlWriter& writer, bool attributes) const;
   const ZqXmlComponentTable* ownTable() const;
   std::unique_ptr<const ZqXmlCompoundType> defaultsUnless(bool all) const;
   bool readUnknown(const ZqToken& token, ZqXmlReader& reader);

   mutable std::atomic<Maps*> m_maps = nullptr;
};

/// One member in the list of a class.
struct ZqXmlComponentEntry
{
   const ZqToken* token;
   const char* documentation; ///< may be null
   bool isAttribute;
   bool isReadOnly;
   bool isOptional; ///< not written where it equals its default
   /// The operations of a plain member; null for a member that is a persistent object.
   const ZqXmlLeaf::Operations* leaf;
   /// The address of the member: as `ZqXmlObject*` when it is a persistent object.
   void* (*address)(ZqXmlCompoundType& owner);
};

/// The members of a class and of its bases, in order of registration.
struct ZqXmlComponentTable
{
   const std::type_info* type;
   const ZqXmlComponentEntry* entries;
   unsigned count;
   /// A default object of the class, to tell which members need not be written.
   const ZqXmlCompoundType& (*defaultObject)();
   const char* documentation; ///< of the class; may be null
};
