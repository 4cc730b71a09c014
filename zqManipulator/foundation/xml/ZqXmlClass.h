#pragma once

#include "zqManipulator/foundation/xml/ZqXmlCompoundType.h"
#include "zqManipulator/foundation/xml/ZqXmlLeaf.h"

#include <array>
#include <concepts>
#include <tuple>
#include <type_traits>
#include <typeinfo>

/// An entry of a class's list of members: a member, the name of its element, and in a few words what
/// it is, in which unit and frame, for the schema of documents. In place of a member there may be a
/// member function that returns a reference: it is called to read the element, and may first make
/// what it returns. `Member` is then the type of the function.
template <class Owner, class Member>
struct ZqComponent
{
   Member Owner::*member;
   const ZqToken* token;
   const char* documentation = nullptr;
   bool isAttribute = false;
   bool isReadOnly = false;
   bool isOptional = false;
};
template <class Owner, class Member>
ZqComponent(Member Owner::*, const ZqToken*, const char* = nullptr) -> ZqComponent<Owner, Member>;

/// The same for a member that old documents hold and that is never written.
template <class Owner, class Member>
constexpr ZqComponent<Owner, Member> ZqReadOnlyComponent(Member Owner::*member,
                                                         const ZqToken* token,
                                                         const char* documentation = nullptr)
{
   return {member, token, documentation, false, true};
}

/// The same for a member that few objects use: it is never written where it equals its default.
template <class Owner, class Member>
constexpr ZqComponent<Owner, Member> ZqOptionalComponent(Member Owner::*member,
                                                         const ZqToken* token,
                                                         const char* documentation = nullptr)
{
   return {member, token, documentation, false, false, true};
}

/// The same for a member that is an attribute.
template <class Owner, class Member>
constexpr ZqComponent<Owner, Member> ZqAttributeComponent(Member Owner::*member,
                                                          const ZqToken* token,
                                                          const char* documentation = nullptr)
{
   return {member, token, documentation, true, false};
}

/// The same for an attribute that is never written where it equals its default.
template <class Owner, class Member>
constexpr ZqComponent<Owner, Member>
ZqOptionalAttributeComponent(Member Owner::*member, const ZqToken* token,
                             const char* documentation = nullptr)
{
   return {member, token, documentation, true, false, true};
}

/// Builds the table of a class from the lists of the class and of its bases.
namespace ZqXmlTables
{
template <class Class>
consteval std::size_t count()
{
   if constexpr (requires { typename Class::XmlBase; })
   {
      std::size_t inherited = 0;
      if constexpr (!Class::componentsReplaceBase)
         inherited = count<typename Class::XmlBase>();
      return inherited + std::tuple_size_v<decltype(Class::components())>;
   }
   else
      return 0;
}

/// What a component's pointer leads to: a member, or what a member function returns.
template <class Class, class Pointer>
auto& memberOf(Class& owner, Pointer pointer)
{
   if constexpr (std::is_member_function_pointer_v<Pointer>)
      return (owner.*pointer)();
   else
      return owner.*pointer;
}

template <class Class, auto list, std::size_t index>
void* address(ZqXmlCompoundType& owner)
{
   constexpr auto component = std::get<index>(list());
   auto& member = memberOf(static_cast<Class&>(owner), component.member);
   if constexpr (std::derived_from<std::remove_reference_t<decltype(member)>, ZqXmlObject>)
      return static_cast<ZqXmlObject*>(&member);
   else
      return &member;
}

template <class Owner, class Member>
const ZqXmlLeaf::Operations* leafOf(const ZqComponent<Owner, Member>&)
{
   using Value = std::remove_reference_t<std::invoke_result_t<Member Owner::*, Owner&>>;
   if constexpr (std::derived_from<Value, ZqXmlObject>)
      return nullptr;
   else
      return &ZqXmlLeaf::operations<Value>();
}

/// Appends the entries of one list of members of the class.
template <class Class, auto list>
void appendList(ZqXmlComponentEntry*& next)
{
   [[maybe_unused]] constexpr auto components = list();
   [&]<std::size_t... index>(std::index_sequence<index...>)
   {
      ((*next++ = {std::get<index>(components).token, std::get<index>(components).documentation,
                   std::get<index>(components).isAttribute, std::get<index>(components).isReadOnly,
                   std::get<index>(components).isOptional, leafOf(std::get<index>(components)),
                   &address<Class, list, index>}),
       ...);
   }
   (std::make_index_sequence<std::tuple_size_v<decltype(list())>>());
}

/// The list of members of a class, as a function that can be a template argument.
template <class Class>
constexpr auto listOf()
{
   return Class::components();
}

/// Appends the entries of the bases and then those of the class.
template <class Class>
void append(ZqXmlComponentEntry*& next)
{
   if constexpr (requires { typename Class::XmlBase; })
   {
      if constexpr (!Class::componentsReplaceBase)
         append<typename Class::XmlBase>(next);
      appendList<Class, &listOf<Class>>(next);
   }
}

template <class Class>
const ZqXmlCompoundType& defaultOf()
{
   // Never destroyed, so that documents can be written by the destructors of static objects as well.
   static const auto& object = *new Class();
   return object;
}

template <class Class>
const ZqXmlComponentTable& tableOf()
{
   static const auto entries = []
   {
      std::array<ZqXmlComponentEntry, count<Class>()> list;
      auto* next = list.data();
      append<Class>(next);
      return list;
   }();
   static const ZqXmlComponentTable table{&typeid(Class), entries.data(),
                                          static_cast<unsigned>(entries.size()), &defaultOf<Class>,
                                          Class::documentation};
   return table;
}

/// The table of a list other than the one by which the class is read and written.
template <class Class, auto list>
const ZqXmlComponentTable& tableOfList()
{
   static const auto entries = []
   {
      std::array<ZqXmlComponentEntry, std::tuple_size_v<decltype(list())>> all;
      auto* next = all.data();
      appendList<Class, list>(next);
      return all;
   }();
   static const ZqXmlComponentTable table{&typeid(Class), entries.data(),
                                          static_cast<unsigned>(entries.size()), &defaultOf<Class>,
                                          Class::documentation};
   return table;
}
} // namespace ZqXmlTables

/// The persistent part of an abstract class: it states its members, and cannot be made by itself.
/// The class may declare `components()`, as told at `ZqXmlClass`.
template <class Derived, class Base>
class ZqXmlAbstractClass : public Base
{
public:
   using XmlBase = Base;
   using Base::Base;
   static constexpr bool componentsReplaceBase = false;
   static constexpr std::tuple<> components() { return {}; }
};

/// The persistent part of a class, made from its list of members.
///
/// The class declares
/// - `static const ZqToken& classToken()`, its element name;
/// - `static constexpr const char* documentation`, in a few words what its objects are;
/// - `template <class This = Class> static constexpr auto components()`, a tuple of
///   `ZqComponent{&This::m_member, &token, "text"}`, `ZqAttributeComponent` and `ZqReadOnlyComponent`,
///   in order of registration, without those of the base; a member is a persistent object or of a
///   plain type with a text form (`ZqXmlText`). As a template it costs nothing where the header is only
///   included: the tuple is made in the one file that has the code of the class. A class
///   that has not all components of its base, or has them in another order, states them all and
///   declares `static constexpr bool componentsReplaceBase = true`;
/// - `operator==`, defaulted wherever every member takes part.
///
/// It gets `token`, `creator`, `clone`, `newObject`, `equality`, `registerComponents`, and documents
/// that are read and written straight from the list.
template <class Derived, class Base = ZqXmlCompoundType>
class ZqXmlClass : public Base
{
public:
   using XmlBase = Base;
   using Base::Base;
   static constexpr bool componentsReplaceBase = false;
   static constexpr const char* documentation = nullptr;
   static constexpr std::tuple<> components() { return {}; }

   static ZqXmlObject* creator() { return new Derived(); }
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   const ZqToken& token() const override;
   bool equality(const ZqXmlObject* other) const override;
   void registerComponents() override;

protected:
   /// A class that overrides `registerComponents` registers more or less than it lists: its objects
   /// are read and written by what they register.
   const ZqXmlComponentTable* componentTable() const override;
};

template <class Derived, class Base>
ZqXmlObject* ZqXmlClass<Derived, Base>::clone() const
{
   return new Derived(static_cast<const Derived&>(*this));
}

template <class Derived, class Base>
ZqXmlObject* ZqXmlClass<Derived, Base>::newObject() const
{
   return new Derived();
}

template <class Derived, class Base>
const ZqToken& ZqXmlClass<Derived, Base>::token() const
{
   return Derived::classToken();
}

template <class Derived, class Base>
bool ZqXmlClass<Derived, Base>::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const Derived*>(other);
   return same != nullptr && static_cast<const Derived&>(*this) == *same;
}

template <class Derived, class Base>
void ZqXmlClass<Derived, Base>::registerComponents()
{
   this->registerComponentsOf(ZqXmlTables::tableOf<Derived>());
}

template <class Derived, class Base>
const ZqXmlComponentTable* ZqXmlClass<Derived, Base>::componentTable() const
{
   if constexpr (requires {
                    requires std::same_as<decltype(&Derived::registerComponents),
                                          void (ZqXmlClass::*)()>;
                 })
      return &ZqXmlTables::tableOf<Derived>();
   else
      return nullptr;
}
