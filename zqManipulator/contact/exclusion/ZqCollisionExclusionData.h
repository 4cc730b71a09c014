#pragma once

#include "zqManipulator/contact/exclusion/ZqManipulatorSelfCollisionLinkMap.h"
#include "zqManipulator/contact/exclusion/ZqSystemCollisionExclusionMap.h"

/// An archive of collision exclusions that is saved with a model: maps of the whole system by name,
/// and one table of self collision for each manipulator, in the order of the system.
class ZqCollisionExclusionData : public ZqXmlClass<ZqCollisionExclusionData>
{
public:
   using SystemMaps = ZqXmlMapType<ZqString, ZqSystemCollisionExclusionMap>;
   using SelfCollisionMaps = ZqXmlVectorType<ZqManipulatorSelfCollisionLinkMap>;

   static const ZqToken& classToken() { return ZqManip::ZqCollisionExclusionDataToken; }
   static constexpr const char* documentation = "an archive of collision exclusions";
   template <class This = ZqCollisionExclusionData>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_systemMaps, &ZqManip::ZqSystemCollisionMapToken,
                     "exclusions between manipulators, by name"},
         ZqComponent{
            &This::m_selfCollision, &ZqManip::ZqSelfCollisionToken,
            "for each manipulator, in the order of the system, which of its links may collide"}};
   }
   static ZqCollisionExclusionData nullObject() { return {}; }
   bool operator==(const ZqCollisionExclusionData&) const = default;

   /// Replaces what there is of the name.
   virtual void addCollisionExclusionMap(const ZqString& name,
                                         const ZqSystemCollisionExclusionMap& map);
   /// An empty map when there is none of the name.
   virtual const ZqSystemCollisionExclusionMap&
   getCollisionExclusionMap(const ZqString& name) const;
   virtual const SystemMaps& systemCollisionExclusionMap() const { return m_systemMaps; }
   virtual void setSystemCollisionExclusionMap(const SystemMaps& maps) { m_systemMaps = maps; }
   virtual const SelfCollisionMaps& selfCollision() const { return m_selfCollision; }
   virtual void setSelfCollision(const SelfCollisionMaps& maps) { m_selfCollision = maps; }
   /// Maps and tables follow manipulators and links, and go with them.
   void apply(const ZqModelEdit& edit);

private:
   SystemMaps m_systemMaps;
   SelfCollisionMaps m_selfCollision;
};

extern template class ZqXmlClass<ZqCollisionExclusionData>;
extern template class ZqXmlMapType<ZqString, ZqSystemCollisionExclusionMap>;
extern template class ZqXmlVectorType<ZqManipulatorSelfCollisionLinkMap>;
