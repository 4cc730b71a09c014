#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"

#include <algorithm>

namespace
{
/// Evaluations for which the record of a pair that nobody looks at is kept.
constexpr std::uint64_t recordLife = 64;
} // namespace

ZqSystemShapeCollisionCache::ZqSystemShapeCollisionCache(const ZqSystemShapeCollisionCache& other)
   : m_walked(other.m_walked), m_walkedKey(other.m_walkedKey), m_round(other.m_round),
     m_evaluation(other.m_evaluation), m_kept(other.m_kept), m_isLookedAt(other.m_isLookedAt),
     m_model(other.m_model), m_latestVersion(other.m_latestVersion), m_versions(other.m_versions)
{
   m_places.reserve(other.m_places.size());
   for (const Place& place : other.m_places)
      m_places.push_back({place.key, place.valid, place.touched, place.looked, 0,
                          std::make_unique<ZqShapeCollisionData>(*place.record)});
   restoreKept();
}

ZqSystemShapeCollisionCache&
ZqSystemShapeCollisionCache::operator=(const ZqSystemShapeCollisionCache& other)
{
   return *this = ZqSystemShapeCollisionCache(other);
}

ZqSystemShapeCollisionCache::Key::Key(const ZqShapeKey& key1, const ZqShapeKey& key2) noexcept
{
   const ZqShapeKey& first = key2 < key1 ? key2 : key1;
   const ZqShapeKey& second = key2 < key1 ? key1 : key2;
   link1 = first.linkKey().guesstimate();
   link2 = second.linkKey().guesstimate();
   shapes = std::uint64_t{first.shapeIndex()} << 32 | second.shapeIndex();
}

/// The first place that is not below a key.
std::size_t ZqSystemShapeCollisionCache::placeFrom(const Key& key, std::size_t guess) const noexcept
{
   const auto isBelow = [](const Place& place, const Key& k) { return place.key < k; };
   for (std::size_t i = guess; i < std::min(guess + 2, m_places.size()); ++i)
      if (m_places[i].key == key)
         return i;
   return static_cast<std::size_t>(
      std::lower_bound(m_places.begin(), m_places.end(), key, isBelow) - m_places.begin());
}

ZqSystemShapeCollisionCache::Place* ZqSystemShapeCollisionCache::find(const Key& key) noexcept
{
   const std::size_t at = placeFrom(key, m_last);
   if (at == m_places.size() || m_places[at].key != key)
      return nullptr;
   m_last = at;
   return &m_places[at];
}

/// Null for a record that is none of this cache.
ZqSystemShapeCollisionCache::Place*
ZqSystemShapeCollisionCache::placeOf(const ZqShapeCollisionData& data) noexcept
{
   Place* place = find({data.key1(), data.key2()});
   return place != nullptr && place->record.get() == &data ? place : nullptr;
}

void ZqSystemShapeCollisionCache::clear()
{
   m_places.clear();
   m_spare.clear();
   m_kept.clear();
   m_walkedKey.reset();
   m_isLookedAt = false;
}

void ZqSystemShapeCollisionCache::invalidateAll()
{
   ++m_round;
   if (!m_isLookedAt)
      return;
   m_isLookedAt = false;
   ++m_evaluation;
   if (m_evaluation % recordLife == 0)
      forgetOld();
}

void ZqSystemShapeCollisionCache::beginTrial()
{
   m_trial += m_isTrial ? 0 : 1;
   m_isTrial = true;
}

void ZqSystemShapeCollisionCache::endTrial()
{
   m_isTrial = false;
<<<<<<< HEAD
   for (auto& [key, record] : m_records)
   {
      if (record.kept.empty())
         continue;
      const Kept& kept = record.kept.front();
      if (record.data.key1() != kept.key1)
         record.data.exchangeSides();
      record.data.memory() = kept.memory;
      record.data.pairCache() = kept.pairCache;
      record.kept.clear();
   }
}

std::vector<ZqContactMemoryOfPair> ZqSystemShapeCollisionCache::memories() const
{
   std::vector<ZqContactMemoryOfPair> result;
   for (const auto& [key, record] : m_records)
   {
      if (record.touched + 1 < m_evaluation)
         continue;
      const bool isKept = !record.kept.empty();
      const ZqShapeKey& key1 = isKept ? record.kept.front().key1 : record.data.key1();
      result.push_back({key1, key1 == key.first() ? key.second() : key.first(),
                        isKept ? record.kept.front().memory : record.data.memory()});
   }
   return result;
}

void ZqSystemShapeCollisionCache::setMemories(std::span<const ZqContactMemoryOfPair> memories)
{
   clear();
   for (const ZqContactMemoryOfPair& pair : memories)
   {
      Record& record = m_records[ordered(pair.key1, pair.key2)];
      record.data = ZqShapeCollisionData(pair.key1, pair.key2);
      record.data.memory() = pair.memory;
      record.touched = record.looked = m_evaluation - 1;
   }
}

/// Has what later evaluations depend on outlive the trial, in which the record may be used at will.
void ZqSystemShapeCollisionCache::keep(Record& record)
{
   if (m_isTrial && record.kept.empty())
      record.kept.push_back({record.data.key1(), record.data.memory(), record.data.pairCache()});
=======
   restoreKept();
}

/// Has the memory of a record outlive the trial, in which it may be used at will.
void ZqSystemShapeCollisionCache::keep(Place& place)
{
   if (!m_isTrial || place.kept == m_trial)
      return;
   place.kept = m_trial;
   m_kept.push_back({place.key, place.record->key1(), place.record->memory()});
}

void ZqSystemShapeCollisionCache::restoreKept() noexcept
{
   for (const Kept& kept : m_kept)
      if (Place* place = find(kept.key))
      {
         ZqContactMemory& memory = place->record->memory();
         memory = kept.memory;
         if (place->record->key1() != kept.key1)
            memory.exchangeSides();
      }
   m_kept.clear();
>>>>>>> patches
}

void ZqSystemShapeCollisionCache::forgetOld()
{
   std::erase_if(m_places,
                 [this](Place& place)
                 {
                    const bool isOld = place.looked + recordLife < m_evaluation;
                    if (isOld)
                       m_spare.push_back(std::move(place.record));
                    return isOld;
                 });
   // Of what may be wanted again no more is kept than there is.
   if (m_spare.size() > m_places.size() + recordLife)
      m_spare.resize(m_places.size() + recordLife);
}

void ZqSystemShapeCollisionCache::setValid(ZqShapeCollisionData* data)
{
   Place* const place = data != nullptr ? placeOf(*data) : nullptr;
   if (place == nullptr)
      return;
<<<<<<< HEAD
   const auto found = m_records.find(ordered(data->key1(), data->key2()));
   if (found == m_records.end() || &found->second.data != data)
      return;
   found->second.isValid = true;
   if (!m_isTrial)
      found->second.looked = found->second.touched = m_evaluation;
=======
   place->valid = m_round;
   place->looked = m_evaluation;
   if (!m_isTrial)
      place->touched = m_evaluation;
>>>>>>> patches
   look();
}

const ZqShapeCollisionData*
ZqSystemShapeCollisionCache::getCollisionData(const ZqShapeKey& key1, const ZqShapeKey& key2) const
{
   const Key key(key1, key2);
   const std::size_t at = placeFrom(key, m_last);
   return at < m_places.size() && m_places[at].key == key && isThere(m_places[at])
             ? m_places[at].record.get()
             : nullptr;
}

ZqShapeCollisionData* ZqSystemShapeCollisionCache::getCollisionData(const ZqShapeKey& key1,
                                                                    const ZqShapeKey& key2)
{
   return const_cast<ZqShapeCollisionData*>(std::as_const(*this).getCollisionData(key1, key2));
}

void ZqSystemShapeCollisionCache::resetNextCollisionData()
{
   m_walkedKey.reset();
   m_walked = 0;
   look();
}

ZqShapeCollisionData* ZqSystemShapeCollisionCache::nextCollisionData()
{
   std::size_t at = 0;
   if (m_walkedKey)
   {
      at = placeFrom(*m_walkedKey, m_walked);
      at += at < m_places.size() && m_places[at].key == *m_walkedKey ? 1 : 0;
   }
   while (at < m_places.size() && m_places[at].valid != m_round)
      ++at;
   if (at == m_places.size())
      return nullptr;
   m_walked = at;
   m_walkedKey = m_places[at].key;
   keep(m_places[at]);
   return m_places[at].record.get();
}

void ZqSystemShapeCollisionCache::beginPair(const ZqLinkKey& link1, const ZqLinkKey& link2)
{
   look();
   const Key key({link1, 0}, {link2, 0});
   m_last = placeFrom(key, m_last);
   for (std::size_t i = m_last; i < m_places.size() && m_places[i].key.link1 == key.link1 &&
                                m_places[i].key.link2 == key.link2;
        ++i)
   {
      m_places[i].valid = 0;
      if (!m_isTrial)
         m_places[i].touched = std::min(m_places[i].touched, m_evaluation - 1);
   }
}

void ZqSystemShapeCollisionCache::follow(const void* model, std::uint64_t latestVersion,
                                         std::span<const std::uint64_t> versions)
{
   // The links of a copy, and those that made room, have other places.
   const bool isOtherModel = model != m_model || versions.size() != m_versions.size();
   const auto isOther = [&](const ZqShapeKey& key)
   {
      const ZqU32 m = key.manipulatorIndex();
      return isOtherModel || m >= versions.size() || versions[m] != m_versions[m];
   };
   for (Place& place : m_places)
      if (isOther(place.record->key1()) || isOther(place.record->key2()))
      {
         place.valid = 0;
         place.record->forgetShapes();
      }
   m_versions.assign(versions.begin(), versions.end());
   m_model = model;
   m_latestVersion = latestVersion;
}

ZqShapeCollisionData& ZqSystemShapeCollisionCache::lookAt(const ZqShapeKey& key1,
                                                          const ZqShapeKey& key2)
{
   look();
   const Key key(key1, key2);
   const std::size_t at = placeFrom(key, m_last);
   m_last = at;
   if (at == m_places.size() || m_places[at].key != key)
   {
      Record record;
      if (m_spare.empty())
         record = std::make_unique<ZqShapeCollisionData>();
      else
      {
         record = std::move(m_spare.back());
         m_spare.pop_back();
      }
      *record = ZqShapeCollisionData(key1, key2);
      m_places.insert(m_places.begin() + static_cast<std::ptrdiff_t>(at),
                      {key, 0, 0, 0, 0, std::move(record)});
   }
<<<<<<< HEAD
   Record& record = found->second;
   if (!m_isTrial)
      record.looked = m_evaluation;
   keep(record);
   if (record.data.key1() != key1)
      record.data.exchangeSides();
   return record.data;
=======
   Place& place = m_places[at];
   place.looked = m_evaluation;
   keep(place);
   if (place.record->key1() != key1)
      place.record->exchangeSides();
   return *place.record;
>>>>>>> patches
}

void ZqSystemShapeCollisionCache::touch(ZqShapeCollisionData& data)
{
   Place* const place = placeOf(data);
   if (place == nullptr)
      return;
   if (place->touched + 1 < m_evaluation)
      data.startAnew();
   if (!m_isTrial)
      place->touched = m_evaluation;
   place->valid = m_round;
}
