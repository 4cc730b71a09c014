#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"

#include "zqManipulator/foundation/proximity/ZqPairCacheNumbers.h"

#include <algorithm>

ZqSystemShapeCollisionCache::ZqSystemShapeCollisionCache(const ZqSystemShapeCollisionCache& other)
   : m_walked(other.m_walked), m_walkedKey(other.m_walkedKey), m_round(other.m_round),
     m_evaluation(other.m_evaluation), m_kept(other.m_kept), m_isLookedAt(other.m_isLookedAt),
     m_booksEnergy(other.m_booksEnergy), m_model(other.m_model),
     m_latestVersion(other.m_latestVersion), m_versions(other.m_versions)
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
   restoreKept();
}

std::vector<ZqContactMemoryOfPair> ZqSystemShapeCollisionCache::memories() const
{
   // A copy has what was before the trial.
   if (m_isTrial)
      return ZqSystemShapeCollisionCache(*this).memories();
   std::vector<ZqContactMemoryOfPair> result;
   for (const Place& place : m_places)
      if (place.touched + 1 >= m_evaluation)
         result.push_back({place.record->key1(), place.record->key2(), place.record->memory()});
   return result;
}

void ZqSystemShapeCollisionCache::setMemories(std::span<const ZqContactMemoryOfPair> memories)
{
   clear();
   for (const ZqContactMemoryOfPair& pair : memories)
   {
      lookAt(pair.key1, pair.key2).memory() = pair.memory;
      Place& place = *find({pair.key1, pair.key2});
      place.touched = place.looked = m_evaluation - 1;
   }
   m_isLookedAt = false;
}

std::vector<ZqPairCacheOfPair> ZqSystemShapeCollisionCache::pairCaches() const
{
   if (m_isTrial)
      return ZqSystemShapeCollisionCache(*this).pairCaches();
   const std::uint64_t next = m_evaluation + (m_isLookedAt ? 1 : 0);
   std::vector<ZqPairCacheOfPair> result;
   for (const Place& place : m_places)
   {
      const ZqShapePairCache& cache = place.record->pairCache();
      if (place.looked + recordLife >= next && !zqConvex::isEmpty(cache) &&
          zqConvex::isSound(cache))
         result.push_back({place.record->key1(), place.record->key2(),
                           static_cast<ZqU32>(next - place.looked), cache});
   }
   return result;
}

void ZqSystemShapeCollisionCache::setPairCaches(std::span<const ZqPairCacheOfPair> caches)
{
   const bool wasLookedAt = m_isLookedAt;
   const std::uint64_t next = m_evaluation + (wasLookedAt ? 1 : 0);
   for (const ZqPairCacheOfPair& pair : caches)
   {
      if (pair.age == 0 || pair.age > recordLife)
         continue;
      lookAt(pair.key1, pair.key2).pairCache() = pair.cache;
      find({pair.key1, pair.key2})->looked = next - pair.age;
   }
   m_isLookedAt = wasLookedAt;
}

/// Has what later evaluations depend on outlive the trial, in which the record may be used at will.
void ZqSystemShapeCollisionCache::keep(Place& place)
{
   if (!m_isTrial || place.kept == m_trial)
      return;
   place.kept = m_trial;
   m_kept.push_back(
      {place.key, place.record->key1(), place.record->memory(), place.record->pairCache()});
}

void ZqSystemShapeCollisionCache::restoreKept() noexcept
{
   for (const Kept& kept : m_kept)
      if (Place* place = find(kept.key))
      {
         if (place->record->key1() != kept.key1)
            place->record->exchangeSides();
         place->record->memory() = kept.memory;
         place->record->pairCache() = kept.pairCache;
      }
   m_kept.clear();
}

void ZqSystemShapeCollisionCache::forgetOld()
{
   std::erase_if(m_places,
                 [this](Place& place)
                 {
                    if (isOld(place))
                       m_spare.push_back(std::move(place.record));
                    return place.record == nullptr;
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
   place->valid = m_round;
   if (!m_isTrial)
      place->looked = place->touched = m_evaluation;
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

/// The place behind that which the walk gave last.
std::size_t ZqSystemShapeCollisionCache::nextPlace() const noexcept
{
   if (!m_walkedKey)
      return 0;
   const std::size_t at = placeFrom(*m_walkedKey, m_walked);
   return at + (at < m_places.size() && m_places[at].key == *m_walkedKey ? 1 : 0);
}

ZqShapeCollisionData* ZqSystemShapeCollisionCache::walkTo(std::size_t at)
{
   m_walked = at;
   m_walkedKey = m_places[at].key;
   keep(m_places[at]);
   return m_places[at].record.get();
}

ZqShapeCollisionData* ZqSystemShapeCollisionCache::nextCollisionData()
{
   std::size_t at = nextPlace();
   while (at < m_places.size() && m_places[at].valid != m_round)
      ++at;
   return at < m_places.size() ? walkTo(at) : nullptr;
}

ZqShapeCollisionData* ZqSystemShapeCollisionCache::nextCollisionDataUpTo(const ZqLinkKey& link1,
                                                                         const ZqLinkKey& link2)
{
   Key last({link1, 0}, {link2, 0});
   last.shapes = ~std::uint64_t{0};
   for (std::size_t at = nextPlace(); at < m_places.size() && m_places[at].key <= last; ++at)
   {
      if (m_places[at].valid == m_round)
         return walkTo(at);
      m_walked = at;
      m_walkedKey = m_places[at].key;
   }
   return nullptr;
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
   Place& place = m_places[at];
   // It is forgotten by its age alone, whenever it is taken away. What one trial has found is not old in it.
   if (isOld(place) && !(m_isTrial && place.kept == m_trial))
      place.record->pairCache() = {};
   if (!m_isTrial)
      place.looked = m_evaluation;
   keep(place);
   if (place.record->key1() != key1)
      place.record->exchangeSides();
   return *place.record;
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
