#pragma once

#include "zqManipulator/foundation/xml/ZqXmlObject.h"

#include <atomic>
#include <map>
#include <memory>
#include <vector>

/// A persistent object that holds elements of polymorphic type: an element's name says which class is
/// to be made, by the creator that is registered for it.
///
/// The creators of a class are registered once, at first need, and shared by all its objects; a
/// creator that is registered with one object alone is that object's. A name that has no creator there
/// is looked for among the classes of the user (`Zq::registerClass`).
class ZqXmlBaseVariableCompoundType : public ZqXmlObject
{
public:
   using Creator = ZqXmlObject* (*)();
   using CreatorMap = std::map<ZqToken, Creator>;

   ZqXmlBaseVariableCompoundType() noexcept;
   ZqXmlBaseVariableCompoundType(const ZqXmlBaseVariableCompoundType& other);
   ZqXmlBaseVariableCompoundType& operator=(const ZqXmlBaseVariableCompoundType& other);
   ZqXmlBaseVariableCompoundType(ZqXmlBaseVariableCompoundType&& other) noexcept;
   ZqXmlBaseVariableCompoundType& operator=(ZqXmlBaseVariableCompoundType&& other) noexcept;
   ~ZqXmlBaseVariableCompoundType() override;

   bool xmlInit() override;
   /// Reads the children, each through `readValueFromToken`.
   bool read(ZqXmlReader& reader) override;
   bool write(ZqXmlWriter& writer) const override;
   void writeSchema(ZqXmlSchema& schema) const override;

   /// Registers the creators of the class, and does nothing else.
   virtual void registerComponentCreators();
   virtual void registerComponentCreator(const ZqToken& token, Creator creator);
   /// A new default object of the class that the token names, owned by the caller; null when there is
   /// no creator for it.
   virtual ZqXmlObject* newObjectFromToken(const ZqToken& token) const;
   /// Names of libraries that a document asks for.
   virtual const std::vector<ZqString>& addLibraries() const;
   virtual void setAddLibraries(const std::vector<ZqString>& libraries);
   virtual const CreatorMap& creatorMap() const;
   virtual bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) = 0;
   /// Called when a document has named libraries. It does nothing: a document must not have code
   /// loaded. A class that knows which libraries to trust overrides it.
   virtual void processLibraries();

   bool operator==(const ZqXmlBaseVariableCompoundType& other) const;

protected:
   /// Reads the element when it is the list of libraries, and tells whether it was.
   bool readLibraries(const ZqToken& token, ZqXmlReader& reader, bool& succeeded);
   /// Whether an object, which may be null, is of the family of classes that this one holds.
   virtual bool accepts(const ZqXmlObject* element) const;
   /// A new object for an element, of a class that is accepted here: by a creator of this object, else
   /// of the outermost one of the document, else by that of a class of the user. Null, with a message,
   /// when there is none.
   std::unique_ptr<ZqXmlObject> newElement(const ZqToken& token, ZqXmlReader& reader,
                                           const char* className) const;
   /// Describes the type: each registered class may occur, so many in all, and so may the classes of the
   /// user that are accepted here.
   void writeElementSchema(ZqXmlSchema& schema, unsigned most) const;
   virtual void writeSchemaAttributes(ZqXmlSchema& schema) const;

private:
   struct Own;

   Own& own();

   std::unique_ptr<Own> m_own; ///< what this object alone has; mostly nothing
   mutable std::atomic<const CreatorMap*> m_creators = nullptr; ///< of the class, once looked up
};
