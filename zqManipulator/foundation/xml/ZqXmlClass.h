#pragma once

#include "zqManipulator/foundation/xml/ZqXmlCompoundType.h"
#include "zqManipulator/foundation/xml/ZqXmlLeaf.h"

#include <array>
#include <concepts>
#include <tuple>
#include <typeinfo>

/// An entry of a class's list of members: a member and the name of its element.
template <class Owner, class Member>
struct ZqComponent
{
   Member Owner::*member;
   const ZqToken* token;
   bool isAttribute = false;
   bool isReadOnly = false;
};
template <class Owner, class Member>
ZqComponent(Member Owner::*, const ZqToken*) -> ZqComponent<Owner, Member>;

/// The same for a member that old documents hold and that is never written.
template <class Owner, class Member>
constexpr ZqComponent<Owner, Member> ZqReadOnlyComponent(Member Owner::*member,
                                                         const ZqToken* token)
{
   return {member, token, false, true};
}

/// The same for a member that is an attribute.
template <class Owner, class Member>
constexpr ZqComponent<Owner, Member> ZqAttributeComponent(Member Owner::*member,
                                                          const ZqToken* token)
{
   return {member, token, true, false};
}

/// Builds the table of a class from the lists of the class and of its bases.
namespace ZqXmlTables
{
template <class Class>
consteval std::size_t count()
{
   if constexpr (requires { typename Class::XmlBase; })
      return count<typename Class::XmlBase>() + std::tuple_size_v<decltype(Class::components())>;
   else
      return 0;
}

template <class Class, std::size_t index>
void* address(ZqXmlCompoundType& owner)
{
   constexpr auto component = std::get<index>(Class::components());
   auto& member = static_cast<Class&>(owner).*(component.member);
   if constexpr (std::derived_from<std::remove_reference_t<decltype(member)>, ZqXmlObject>)
      return static_cast<ZqXmlObject*>(&member);
   else
      return &member;
}

template <class Owner, class Member>
const ZqXmlLeaf::Operations* leafOf(const ZqComponent<Owner, Member>&)
{
   if constexpr (std::derived_from<Member, ZqXmlObject>)
      return nullptr;
   else
      return &ZqXmlLeaf::operations<Member>();
}

/// Appends the entries of the bases and then those of the class.
template <class Class>
void append(ZqXmlComponentEntry*& next)
{
   if constexpr (requires { typename Class::XmlBase; })
   {
      append<typename Class::XmlBase>(next);
      [&]<std::size_t... index>(std::index_sequence<index...>)
      {
         [[maybe_unused]] constexpr auto list = Class::components();
         ((*next++ = {std::get<index>(list).token, std::get<index>(list).isAttribute,
                      std::get<index>(list).isReadOnly, leafOf(std::get<index>(list)),
                      &address<Class, index>}),
          ...);
      }
      (std::make_index_sequence<std::tuple_size_v<decltype(Class::components())>>());
   }
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
                                          static_cast<unsigned>(entries.size()),
                                          []() -> const ZqXmlCompoundType&
                                          {
                                             static const Class object;
                                             return object;
                                          }};
   return table;
}
} // namespace ZqXmlTables

/// The persistent part of an abstract class: it states its members, and cannot be made by itself.
/// The class may declare `static constexpr auto components()`, as told at `ZqXmlClass`.
template <class Derived, class Base>
class ZqXmlAbstractClass : public Base
{
public:
   using XmlBase = Base;
   using Base::Base;
   static constexpr std::tuple<> components() { return {}; }
};

/// The persistent part of a class, made from its list of members.
///
/// The class declares
/// - `static const ZqToken& classToken()`, its element name;
/// - `static constexpr auto components()`, a tuple of `ZqComponent{&Class::m_member, &token}`,
///   `ZqAttributeComponent` and `ZqReadOnlyComponent`, in order of registration, without those of the
///   base; a member is a persistent object or of a plain type with a text form (`ZqXmlText`);
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
   static constexpr std::tuple<> components() { return {}; }

   static ZqXmlObject* creator() { return new Derived(); }
   ZqXmlObject* clone() const override { return new Derived(static_cast<const Derived&>(*this)); }
   ZqXmlObject* newObject() const override { return new Derived(); }
   const ZqToken& token() const override { return Derived::classToken(); }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const Derived*>(other);
      return same != nullptr && static_cast<const Derived&>(*this) == *same;
   }
   void registerComponents() override
   {
      this->registerComponentsOf(ZqXmlTables::tableOf<Derived>());
   }

protected:
   /// A class that overrides `registerComponents` registers more or less than it lists: its objects
   /// are read and written by what they register.
   const ZqXmlComponentTable* componentTable() const override
   {
      if constexpr (requires {
                       requires std::same_as<decltype(&Derived::registerComponents),
                                             void (ZqXmlClass::*)()>;
                    })
         return &ZqXmlTables::tableOf<Derived>();
      else
         return nullptr;
   }
};
