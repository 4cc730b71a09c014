#pragma once

#include "zqManipulator/contact/exclusion/ZqSystemCollisionExclusionMap.h"
#include "zqManipulator/simulation/attachments/ZqManipulatorAttachmentMap.h"
#include "zqManipulator/state/ZqUncopied.h"

class ZqManipulatorSystem;

/// What a stated system keeps of its system apart from the model: attachments and two maps of
/// collision exclusions, the second for collision avoidance (CA).
///
/// The maps are compiled against the system that the configuration is told. It is not owned, and it
/// does not go along with copies and assignments.
class ZqManipulatorSystemConfiguration : public ZqXmlClass<ZqManipulatorSystemConfiguration>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorSystemConfigurationToken; }
   static constexpr const char* documentation =
      "what changes in a scene at run time, apart from its state";
   template <class This = ZqManipulatorSystemConfiguration>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_attachmentMap, &ZqManip::ZqManipulatorAttachmentMapToken,
                     "which manipulators hang on links of others"},
         ZqComponent{&This::m_collisionExclusionMap, &ZqManip::ZqSystemCollisionExclusionMapToken,
                     "pairs of links that are not tested for collision"},
         ZqComponent{&This::m_collisionExclusionMapForCA,
                     &ZqManip::ZqSystemCollisionExclusionMapForCAToken,
                     "the same for collision avoidance"}};
   }
   bool operator==(const ZqManipulatorSystemConfiguration&) const = default;

   virtual void shiftManipulatorIndices(ZqU32 shift);
   /// Merges attachments, exclusions and exclusions for CA, and ends with the first that fails.
   virtual bool mergeWith(const ZqManipulatorSystemConfiguration& other);
   virtual ZqManipulatorAttachmentMap& attachmentMap() { return m_attachmentMap; }
   virtual const ZqManipulatorAttachmentMap& attachmentMap() const { return m_attachmentMap; }
   virtual void setAttachmentMap(const ZqManipulatorAttachmentMap& map) { m_attachmentMap = map; }
   virtual ZqSystemCollisionExclusionMap& collisionExclusionMap()
   {
      return m_collisionExclusionMap;
   }
   virtual const ZqSystemCollisionExclusionMap& collisionExclusionMap() const
   {
      return m_collisionExclusionMap;
   }
   virtual void setCollisionExclusionMap(const ZqSystemCollisionExclusionMap& map);
   virtual ZqSystemCollisionExclusionMap& collisionExclusionMapForCA()
   {
      return m_collisionExclusionMapForCA;
   }
   virtual const ZqSystemCollisionExclusionMap& collisionExclusionMapForCA() const
   {
      return m_collisionExclusionMapForCA;
   }
   virtual void setCollisionExclusionMapForCA(const ZqSystemCollisionExclusionMap& map);
   /// Compiles the exclusions against a system; with null, they stay as they are.
   virtual void setManipulatorSystem(const ZqManipulatorSystem* system);
   /// Removes what is said of a manipulator and closes the gap in the indices.
   virtual void deleteManipulatorAndShift(ZqU32 index);
   /// All follow manipulators and links. The exclusions are to be compiled again.
   void apply(const ZqModelEdit& edit);

private:
   ZqManipulatorAttachmentMap m_attachmentMap;
   ZqSystemCollisionExclusionMap m_collisionExclusionMap;
   ZqSystemCollisionExclusionMap m_collisionExclusionMapForCA;
   ZqUncopied<const ZqManipulatorSystem*> m_manipulatorSystem; ///< not owned
};

extern template class ZqXmlClass<ZqManipulatorSystemConfiguration>;
