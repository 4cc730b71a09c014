#pragma once

#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"

#include <map>
#include <optional>
#include <span>
#include <vector>

/// What is remembered of a pair of shapes that touch.
struct ZqContactMemoryOfPair
{
   bool operator==(const ZqContactMemoryOfPair&) const = default;

   ZqShapeKey key1;
   ZqShapeKey key2;
   ZqContactMemory memory; ///< of which body 1 has the first shape
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
/// Records keep their place in memory. Those of pairs that nobody looked at for a while are taken
/// for other pairs, so that a run settles to allocating nothing.
class ZqSystemShapeCollisionCache
{
public:
   ZqSystemShapeCollisionCache() = default;
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
   /// The next valid record, in the order of keys; null behind the last.
   ZqShapeCollisionData* nextCollisionData();

   void beginTrial();
   void endTrial();
   bool isTrial() const noexcept { return m_isTrial; }

   /// \name To be stored
   /// @{
   /// Of the pairs that touched in the last evaluation that was no trial, in the order of keys.
   std::vector<ZqContactMemoryOfPair> memories() const;
   /// Forgets all pairs but these, which are taken to have touched in the evaluation before the next one.
   void setMemories(std::span<const ZqContactMemoryOfPair> memories);
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
   std::size_t size() const noexcept { return m_records.size(); }
   /// Space for who looks for contacts.
   std::vector<std::pair<ZqU32, ZqU32>>& memberPairs() noexcept { return m_memberPairs; }
   /// @}

private:
   /// What a record was before a trial, as far as later evaluations depend on it.
   struct Kept
   {
      ZqShapeKey key1; ///< of the side that was the first
      ZqContactMemory memory;
      ZqShapePairCache pairCache;
   };
   struct Record
   {
      ZqShapeCollisionData data;
      std::vector<Kept> kept;    ///< during a trial: one, once the record has been used
      std::uint64_t touched = 0; ///< the last evaluation in which it touched
      std::uint64_t looked = 0;  ///< or was looked at
      bool isValid = false;
   };
   /// By its lower key first.
   using Records = std::map<ZqShapeProximityKey, Record>;

   static ZqShapeProximityKey ordered(const ZqShapeKey& key1, const ZqShapeKey& key2) noexcept;
   void forgetOld();
   void keep(Record& record);
   void look() noexcept { m_isLookedAt = m_isLookedAt || !m_isTrial; }

   Records m_records;
   std::vector<Records::node_type> m_spare;
   std::optional<ZqShapeProximityKey> m_walked; ///< the last record that the walk gave
   std::uint64_t m_evaluation = 2; ///< above all stamps of records that never touched, by two
   bool m_isLookedAt = false;
   bool m_isTrial = false;
   const void* m_model = nullptr; ///< not owned, and only compared
   std::uint64_t m_latestVersion = 0;
   std::vector<std::uint64_t> m_versions; ///< by manipulator
   std::vector<std::pair<ZqU32, ZqU32>> m_memberPairs;
};
