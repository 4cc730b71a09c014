#pragma once

#include "zqManipulator/foundation/xml/ZqXmlMapType.h"
#include "zqManipulator/foundation/xml/ZqXmlSetType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/tools/labels/ZqManipulatorLinkIdentifier.h"
#include "zqManipulator/tools/labels/ZqManipulatorLinkIndex.h"

#include <functional>
#include <utility>
#include <vector>

class ZqIndividualManipulator;
class ZqManipulatorSystem;

extern template class ZqXmlSetType<ZqU32>;
extern template class ZqXmlSetType<ZqManipulatorLinkIdentifier>;
extern template class ZqXmlMapType<ZqU32, ZqXmlSetType<ZqU32>>;
extern template class ZqXmlMapType<ZqManipulatorLinkIdentifier, ZqXmlSetType<ZqU32>>;
extern template class ZqXmlMapType<ZqManipulatorLinkIdentifier,
                                   ZqXmlSetType<ZqManipulatorLinkIdentifier>>;

/// Which pairs of different manipulators, or of their links, are excluded from collision. What is
/// not in here may collide.
///
/// Manipulators are named by their index in the system, links by that and their label. A pair of
/// two manipulators and a pair of two links stand once: the lesser one is the key, the greater one
/// in its set. A link is excluded from a manipulator in one direction, the link being the key.
///
/// Queries by index are meant for inner loops. Exclusions of links they know only from the last
/// `buildMapFromSystem`, which is to be called again after any change of this map, of links or of
/// the list of manipulators. Queries by label always see the map as it stands.
class ZqSystemCollisionExclusionMap : public ZqXmlClass<ZqSystemCollisionExclusionMap>
{
public:
   using ManipulatorSet = ZqXmlSetType<ZqU32>;
   using LinkSet = ZqXmlSetType<ZqManipulatorLinkIdentifier>;
   using ManipulatorExclusionMap = ZqXmlMapType<ZqU32, ManipulatorSet>;
   using LinkManipulatorExclusionMap = ZqXmlMapType<ZqManipulatorLinkIdentifier, ManipulatorSet>;
   using LinkExclusionMap = ZqXmlMapType<ZqManipulatorLinkIdentifier, LinkSet>;
   using Manipulators = ZqXmlVectorType<ZqIndividualManipulator>;

   static const ZqToken& classToken() { return ZqManip::ZqSystemCollisionExclusionMapToken; }
   static constexpr const char* documentation =
      "pairs of different manipulators, or of their links, that need not be tested for collision";
   template <class This = ZqSystemCollisionExclusionMap>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{
            &This::m_manipulatorExclusionMap, &ZqManip::ZqManipulatorExclusionMapToken,
            "manipulators excluded from manipulators: by the lesser index, the greater ones"},
         ZqComponent{&This::m_linkManipulatorExclusionMap,
                     &ZqManip::ZqLinkManipulatorExclusionMapToken,
                     "manipulators, by index, excluded from links"},
         ZqComponent{&This::m_linkExclusionMap, &ZqManip::ZqLinkLinkExclusionMapToken,
                     "links excluded from links: by the lesser link, the greater ones"}};
   }
   static ZqSystemCollisionExclusionMap nullObject() { return {}; }
   /// What was built for queries by index takes no part.
   bool operator==(const ZqSystemCollisionExclusionMap& other) const;

   virtual const ManipulatorExclusionMap& manipulatorExclusionMap() const
   {
      return m_manipulatorExclusionMap;
   }
   virtual void setManipulatorExclusionMap(const ManipulatorExclusionMap& map)
   {
      m_manipulatorExclusionMap = map;
   }
   virtual const LinkManipulatorExclusionMap& linkManipulatorExclusionMap() const
   {
      return m_linkManipulatorExclusionMap;
   }
   virtual void setLinkManipulatorExclusionMap(const LinkManipulatorExclusionMap& map)
   {
      m_linkManipulatorExclusionMap = map;
   }
   virtual const LinkExclusionMap& linkExclusionMap() const { return m_linkExclusionMap; }
   virtual void setLinkExclusionMap(const LinkExclusionMap& map) { m_linkExclusionMap = map; }

   /// \name Edits
   /// Of two links, of a link and another manipulator, of two manipulators. Each answers false, and
   /// does nothing, when the two manipulators are the same; a removal also when there was no such
   /// exclusion. What is named need not exist. A removal keeps the key, be its set empty.
   /// @{
   virtual bool excludeLinkCollisionCandidate(ZqU32 manipulator1, const ZqString& link1,
                                              ZqU32 manipulator2, const ZqString& link2);
   virtual bool excludeLinkCollisionCandidates(ZqU32 manipulator, const ZqString& link,
                                               ZqU32 otherManipulator);
   virtual bool excludeManipulatorCollisionCandidates(ZqU32 manipulator1, ZqU32 manipulator2);
   virtual bool removeLinkCollisionExclusionCandidate(ZqU32 manipulator1, const ZqString& link1,
                                                      ZqU32 manipulator2, const ZqString& link2);
   virtual bool removeLinkCollisionExclusionCandidates(ZqU32 manipulator, const ZqString& link,
                                                       ZqU32 otherManipulator);
   virtual bool removeManipulatorCollisionExclusionCandidates(ZqU32 manipulator1,
                                                              ZqU32 manipulator2);
   /// @}

   /// Prepares the queries by index for the system, which is not kept. A link that the system does
   /// not have is passed over. Always true.
   virtual bool buildMapFromSystem(const ZqManipulatorSystem& system);
   /// Erases what names a manipulator or a link that the system does not have, and keys whose set
   /// is empty. True when anything was erased. Queries by index do not notice.
   virtual bool trimMap(const ZqManipulatorSystem& system);

   /// By link index, or `ZqBaseLinkIndex` for the base. False for links of one manipulator, which
   /// this map does not speak of. Allocates nothing.
   virtual bool isLinkCollisionCandidateExcluded(ZqU32 manipulator1, ZqU32 link1,
                                                 ZqU32 manipulator2, ZqU32 link2) const;
   /// By label. Links of one manipulator are looked up too, as the pair of the second and the
   /// first.
   virtual bool isLinkCollisionCandidateExcluded(ZqU32 manipulator1, const ZqString& link1,
                                                 ZqU32 manipulator2, const ZqString& link2) const;
   virtual bool isManipulatorCollisionExcluded(ZqU32 manipulator1, ZqU32 manipulator2) const;
   /// Whether the link, or its manipulator, is excluded from the other manipulator. That a link of
   /// the other is excluded from this one's manipulator does not count.
   virtual bool isLinktoManipulatorCollisionExcluded(ZqU32 manipulator, const ZqString& link,
                                                     ZqU32 otherManipulator) const;
   /// Whether the link or its manipulator is named in any exclusion; also when a link of another
   /// manipulator is excluded from this one's.
   virtual bool linkHasExclusionCandidate(ZqU32 manipulator, const ZqString& link) const;
   /// Whether the manipulator is excluded from another one.
   virtual bool manipulatorHasExclusionCandidate(ZqU32 manipulator) const;
   virtual void removeAllExclusionCandidates();
   /// Adds to every manipulator index, for a system whose manipulators come behind others.
   virtual void shiftManipulatorIndices(ZqU32 shift);
   /// Takes over all entries of the other map. Where both have a key, the set of the other one
   /// replaces that of this one. Always true.
   virtual bool mergeWith(const ZqSystemCollisionExclusionMap& other);
   /// Erases what names the manipulator, and moves those behind it up by one.
   virtual void deleteManipulatorAndShift(ZqU32 manipulator);
   /// States what is said of a whole manipulator of these of its links too, one by one: for a manipulator that is
   /// about to become a part of another one.
   void excludeByLinks(ZqU32 manipulator, const std::vector<ZqString>& links);
   /// Exclusions follow manipulators and links, and go with them; two links that came into one
   /// manipulator are excluded no longer. `buildMapFromSystem` is to be called after it.
   void apply(const ZqModelEdit& edit);

protected:
   /// False, and no change of the result, when there is no such manipulator or link.
   virtual bool convertToManipulatorLinkIndex(const Manipulators& manipulators,
                                              const ZqManipulatorLinkIdentifier& identifier,
                                              ZqManipulatorLinkIndex& index) const;
   /// The indices of all links of a manipulator, the base's last. False, and no change of the
   /// result, when there is no such manipulator.
   virtual bool obtainManipulatorLinkIndices(const Manipulators& manipulators, ZqU32 manipulator,
                                             std::vector<ZqManipulatorLinkIndex>& indices) const;
   /// Erases what names the manipulator, and keys whose set is empty. True when anything was
   /// erased.
   virtual bool removeManipulator(ZqU32 manipulator);
   /// Adds to every manipulator index from the threshold on.
   virtual void conditionallyShiftManipulatorIndices(ZqU32 threshold, int shift);

private:
   /// Of a manipulator, or of a link by its manipulator and its label.
   using NamePredicate = std::function<bool(ZqU32 manipulator, const ZqString* linkLabel)>;
   /// Erases keys, members and then keys without members. True when anything was erased.
   bool eraseNamed(const NamePredicate& isToGo);

   ManipulatorExclusionMap m_manipulatorExclusionMap;
   LinkManipulatorExclusionMap m_linkManipulatorExclusionMap;
   LinkExclusionMap m_linkExclusionMap;
   // The last two maps by index, one entry for each member of a set, in order.
   std::vector<std::pair<ZqManipulatorLinkIndex, ZqU32>> m_linkManipulatorIndices;
   std::vector<std::pair<ZqManipulatorLinkIndex, ZqManipulatorLinkIndex>> m_linkIndices;
};

extern template class ZqXmlClass<ZqSystemCollisionExclusionMap>;
