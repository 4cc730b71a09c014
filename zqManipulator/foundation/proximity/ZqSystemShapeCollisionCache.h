#pragma once

#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"

#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

/// What is remembered of a pair of shapes that touch.
struct ZqContactMemoryOfPair
{
   bool operator==(const ZqContactMemoryOfPair&) const = default;

   ZqShapeKey key1;
   ZqShapeKey key2;
   ZqContactMemory memory; ///< of which body 1 has the first shape
};

/// Where the search for the contact of two shapes begins, whether they touched or not.
struct ZqPairCacheOfPair
{
   ZqShapeKey key1;
   ZqShapeKey key2;
   /// Evaluations from that which looked at the pair last to the next one: 1 or more.
   ZqU32 age = 1;
   ZqShapePairCache cache; ///< of which the first shape is that of key 1
};

/// The records of the contacts of a system, by pair of shapes.
///
/// Records outlive the evaluations that look at them: a pair that touches in one and in the next
/// keeps its record, with the mode of its friction and where sticking began; when an evaluation has
/// passed in which it did not touch, or was not looked at, the next touch begins anew. An
/// evaluation ends with `invalidateAll`, provided that somebody looked for contacts or walked over
/// records since the last one: several in a row count as one.
///
/// Between `beginTrial` and `endTrial` evaluations are trials: they find what touches, from what is
/// remembered, and leave no trace in that. So an integrator may look at places on its way, and a
/// recorder at the present.
///
/// A record has where the search for its contact ended, with which the next search begins, unless 64
/// evaluations have passed in which nobody looked at the pair.
///
/// Records keep their place in memory. Those of pairs that nobody looked at for so long are taken
/// for other pairs, so that a run settles to allocating nothing.
class ZqSystemShapeCollisionCache
{
public:
   ZqSystemShapeCollisionCache() = default;
   /// Of a trial a copy takes no part: it has the memories of before.
   ZqSystemShapeCollisionCache(const ZqSystemShapeCollisionCache& other);
   ZqSystemShapeCollisionCache(ZqSystemShapeCollisionCache&& other) noexcept = default;
   ZqSystemShapeCollisionCache& operator=(const ZqSystemShapeCollisionCache& other);
   ZqSystemShapeCollisionCache& operator=(ZqSystemShapeCollisionCache&& other) noexcept = default;
   ~ZqSystemShapeCollisionCache() = default;

   /// Forgets all pairs.
   void clear();
   /// No record is valid until it is set so.
   void invalidateAll();
   /// The record is one of this cache; another one, or null, changes nothing.
   void setValid(ZqShapeCollisionData* data);
   /// The record of a pair in either order that touches, or touched in the last evaluation; else
   /// null.
   ZqShapeCollisionData* getCollisionData(const ZqShapeKey& key1, const ZqShapeKey& key2);
   const ZqShapeCollisionData* getCollisionData(const ZqShapeKey& key1,
                                                const ZqShapeKey& key2) const;
   /// Goes back before the first valid record.
   void resetNextCollisionData();
   /// The next valid record, in the order of links and then of shapes; null behind the last.
   ZqShapeCollisionData* nextCollisionData();
   /// The same among the pairs up to that of two links: null behind these. A later call goes on from there, and
   /// does not come back to them.
   ZqShapeCollisionData* nextCollisionDataUpTo(const ZqLinkKey& link1, const ZqLinkKey& link2);

   void beginTrial();
   void endTrial();
   bool isTrial() const noexcept { return m_isTrial; }

   /// Whether laws of contact leave in responses what nobody but a book of energies asks for. Forces do not depend on
   /// it.
   bool booksEnergy() const noexcept { return m_booksEnergy; }
   void setBooksEnergy(bool booksEnergy) noexcept { m_booksEnergy = booksEnergy; }

   /// \name To be stored
   /// @{
   /// Of the pairs that touched in the last evaluation that was no trial, in the order of keys.
   std::vector<ZqContactMemoryOfPair> memories() const;
   /// Forgets all pairs but these, which are taken to have touched in the evaluation before the next one.
   void setMemories(std::span<const ZqContactMemoryOfPair> memories);
   /// Where searches begin that do not begin anew, in the order of keys: with the memories all of the past that
   /// the next evaluation depends on.
   std::vector<ZqPairCacheOfPair> pairCaches() const;
   /// The next searches of these pairs begin with their caches, and those of all other pairs as if there were none
   /// to set. A cache of a pair that the model does not have is left out.
   void setPairCaches(std::span<const ZqPairCacheOfPair> caches);
   /// @}

   /// \name Both walks leave no trace
   /// @{
   /// Over the records that are valid.
   template <class Visitor>
   void forEachValid(const Visitor& visitor) const
   {
      for (const Place& place : m_places)
         if (place.valid == m_round)
            visitor(std::as_const(*place.record));
   }
   /// Over those whose pair touched in the evaluation before, no trial, and that are not valid in the present one.
   template <class Visitor>
   void forEachEnded(const Visitor& visitor) const
   {
      for (const Place& place : m_places)
         if (place.valid != m_round && place.touched + 1 == m_evaluation)
            visitor(std::as_const(*place.record));
   }
   /// @}

   /// \name For who looks for contacts
   /// @{
   /// To be called before the pairs of shapes of two links are looked at: until they touch again,
   /// none of their records is valid.
   void beginPair(const ZqLinkKey& link1, const ZqLinkKey& link2);
   /// The record of a pair that is looked at, with its sides in this order; it is not valid by
   /// that.
   ZqShapeCollisionData& lookAt(const ZqShapeKey& key1, const ZqShapeKey& key2);
   /// The pair of a record touches: it is valid, and begins anew unless it touched in the last
   /// evaluation.
   void touch(ZqShapeCollisionData& data);
   /// Whether it has followed a model of so many manipulators since the version of any may have
   /// changed.
   bool isUpTo(const void* model, ZqU32 count, std::uint64_t latestVersion) const noexcept
   {
      return model == m_model && count == m_versions.size() && latestVersion == m_latestVersion;
   }
   /// Takes a model over, of which each manipulator has a version. Of manipulators that are others
   /// than before, no record is valid any more, nor has it anything that follows from shapes and
   /// links; friction stays.
   void follow(const void* model, std::uint64_t latestVersion,
               std::span<const std::uint64_t> versions);
   /// The number of records, whether they touch or not.
   std::size_t size() const noexcept { return m_places.size(); }
   /// Space for who looks for contacts.
   std::vector<std::pair<ZqU32, ZqU32>>& memberPairs() noexcept { return m_memberPairs; }
   /// @}

private:
   /// Evaluations for which the record of a pair that nobody looks at is kept.
   static constexpr std::uint64_t recordLife = 64;

   using Record = std::unique_ptr<ZqShapeCollisionData>;
   /// A pair in either order: of links, the lesser first, and of the numbers of their shapes.
   struct Key
   {
      Key() = default;
      Key(const ZqShapeKey& key1, const ZqShapeKey& key2) noexcept;
      friend auto operator<=>(const Key&, const Key&) noexcept = default;

      std::uint64_t link1 = 0, link2 = 0, shapes = 0;
   };
   /// A record, and what decides whether it counts.
   struct Place
   {
      Key key;
      std::uint64_t valid = 0;   ///< the last round in which it was
      std::uint64_t touched = 0; ///< the last evaluation in which it touched
      std::uint64_t looked = 0;  ///< or was looked at
      std::uint64_t kept = 0;    ///< the last trial before which its memory was kept
      Record record;
   };
   using Places = std::vector<Place>;
   /// What a record was before a trial, as far as later evaluations depend on it.
   struct Kept
   {
      Key key;
      ZqShapeKey key1; ///< of the side that was the first
      ZqContactMemory memory;
      ZqShapePairCache pairCache;
   };

   std::size_t nextPlace() const noexcept;
   ZqShapeCollisionData* walkTo(std::size_t at);
   std::size_t placeFrom(const Key& key, std::size_t guess) const noexcept;
   Place* find(const Key& key) noexcept;
   Place* placeOf(const ZqShapeCollisionData& data) noexcept;
   void forgetOld();
   void keep(Place& place);
   void restoreKept() noexcept;
   bool isThere(const Place& place) const noexcept
   {
      return place.valid == m_round || place.touched + 1 >= m_evaluation;
   }
   bool isOld(const Place& place) const noexcept
   {
      return place.looked + recordLife < m_evaluation;
   }
   void look() noexcept { m_isLookedAt = m_isLookedAt || !m_isTrial; }

   Places m_places; ///< sorted
   std::vector<Record> m_spare;
   /// Where the last pair was found, and that which the walk gave last. Pairs come in order mostly: the next
   /// one is there or behind it.
   std::size_t m_last = 0;
   std::size_t m_walked = 0;
   std::optional<Key> m_walkedKey;
   std::uint64_t m_round = 1;                   ///< of validity
   std::uint64_t m_evaluation = recordLife + 2; ///< stamps of 0 are old
   std::uint64_t m_trial = 0;
   std::vector<Kept> m_kept;
   bool m_isLookedAt = false;
   bool m_isTrial = false;
   bool m_booksEnergy = true;
   const void* m_model = nullptr; ///< not owned, and only compared
   std::uint64_t m_latestVersion = 0;
   std::vector<std::uint64_t> m_versions; ///< by manipulator
   std::vector<std::pair<ZqU32, ZqU32>> m_memberPairs;
};
