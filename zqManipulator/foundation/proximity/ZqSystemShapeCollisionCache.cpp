#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"

namespace
{
/// Evaluations for which the record of a pair that nobody looks at is kept.
constexpr std::uint64_t recordLife = 64;
} // namespace

ZqSystemShapeCollisionCache::ZqSystemShapeCollisionCache(const ZqSystemShapeCollisionCache& other)
   : m_records(other.m_records), m_walked(other.m_walked), m_evaluation(other.m_evaluation),
     m_isLookedAt(other.m_isLookedAt), m_model(other.m_model),
     m_latestVersion(other.m_latestVersion), m_versions(other.m_versions)
{
}

ZqSystemShapeCollisionCache&
ZqSystemShapeCollisionCache::operator=(const ZqSystemShapeCollisionCache& other)
{
   return *this = ZqSystemShapeCollisionCache(other);
}

void ZqSystemShapeCollisionCache::clear()
{
   m_records.clear();
   m_spare.clear();
   m_walked.reset();
   m_isLookedAt = false;
}

void ZqSystemShapeCollisionCache::invalidateAll()
{
   for (auto& [key, record] : m_records)
      record.isValid = false;
   if (!m_isLookedAt)
      return;
   m_isLookedAt = false;
   ++m_evaluation;
   if (m_evaluation % recordLife == 0)
      forgetOld();
}

void ZqSystemShapeCollisionCache::beginTrial()
{
   m_isTrial = true;
}

void ZqSystemShapeCollisionCache::endTrial()
{
   m_isTrial = false;
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
}

void ZqSystemShapeCollisionCache::forgetOld()
{
   for (auto it = m_records.begin(); it != m_records.end();)
   {
      const auto here = it++;
      if (here->second.looked + recordLife < m_evaluation)
         m_spare.push_back(m_records.extract(here));
   }
   // Of what may be wanted again no more is kept than there is.
   if (m_spare.size() > m_records.size() + recordLife)
      m_spare.resize(m_records.size() + recordLife);
}

ZqShapeProximityKey ZqSystemShapeCollisionCache::ordered(const ZqShapeKey& key1,
                                                         const ZqShapeKey& key2) noexcept
{
   return key2 < key1 ? ZqShapeProximityKey(key2, key1) : ZqShapeProximityKey(key1, key2);
}

void ZqSystemShapeCollisionCache::setValid(ZqShapeCollisionData* data)
{
   if (!data)
      return;
   const auto found = m_records.find(ordered(data->key1(), data->key2()));
   if (found == m_records.end() || &found->second.data != data)
      return;
   found->second.isValid = true;
   if (!m_isTrial)
      found->second.looked = found->second.touched = m_evaluation;
   look();
}

const ZqShapeCollisionData*
ZqSystemShapeCollisionCache::getCollisionData(const ZqShapeKey& key1, const ZqShapeKey& key2) const
{
   const auto found = m_records.find(ordered(key1, key2));
   const bool isThere = found != m_records.end() &&
                        (found->second.isValid || found->second.touched + 1 >= m_evaluation);
   return isThere ? &found->second.data : nullptr;
}

ZqShapeCollisionData* ZqSystemShapeCollisionCache::getCollisionData(const ZqShapeKey& key1,
                                                                    const ZqShapeKey& key2)
{
   return const_cast<ZqShapeCollisionData*>(std::as_const(*this).getCollisionData(key1, key2));
}

void ZqSystemShapeCollisionCache::resetNextCollisionData()
{
   m_walked.reset();
   look();
}

ZqShapeCollisionData* ZqSystemShapeCollisionCache::nextCollisionData()
{
   auto it = m_walked ? m_records.upper_bound(*m_walked) : m_records.begin();
   while (it != m_records.end() && !it->second.isValid)
      ++it;
   if (it == m_records.end())
      return nullptr;
   m_walked = it->first;
   keep(it->second);
   return &it->second.data;
}

void ZqSystemShapeCollisionCache::beginPair(const ZqLinkKey& link1, const ZqLinkKey& link2)
{
   look();
   const ZqLinkKey& first = std::min(link1, link2);
   const ZqLinkKey& second = std::max(link1, link2);
   for (auto it = m_records.lower_bound({ZqShapeKey(first, 0), ZqShapeKey()});
        it != m_records.end() && it->first.first().linkKey() == first; ++it)
   {
      Record& record = it->second;
      if (it->first.second().linkKey() != second)
         continue;
      record.isValid = false;
      if (!m_isTrial)
         record.touched = std::min(record.touched, m_evaluation - 1);
   }
}

void ZqSystemShapeCollisionCache::follow(const void* model, std::uint64_t latestVersion,
                                         std::span<const std::uint64_t> versions)
{
   // The links of a copy, and those that made room, have other places.
   const bool isOtherModel = model != m_model || versions.size() != m_versions.size();
   const auto isOther = [&](ZqU32 m)
   { return isOtherModel || m >= versions.size() || versions[m] != m_versions[m]; };
   for (auto& [key, record] : m_records)
      if (isOther(key.first().manipulatorIndex()) || isOther(key.second().manipulatorIndex()))
      {
         record.isValid = false;
         record.data.forgetShapes();
      }
   m_versions.assign(versions.begin(), versions.end());
   m_model = model;
   m_latestVersion = latestVersion;
}

ZqShapeCollisionData& ZqSystemShapeCollisionCache::lookAt(const ZqShapeKey& key1,
                                                          const ZqShapeKey& key2)
{
   look();
   const ZqShapeProximityKey key = ordered(key1, key2);
   auto found = m_records.lower_bound(key);
   if (found == m_records.end() || found->first != key)
   {
      if (m_spare.empty())
         found = m_records.try_emplace(found, key);
      else
      {
         m_spare.back().key() = key;
         found = m_records.insert(found, std::move(m_spare.back()));
         m_spare.pop_back();
      }
      found->second = {};
      found->second.data = ZqShapeCollisionData(key1, key2);
   }
   Record& record = found->second;
   if (!m_isTrial)
      record.looked = m_evaluation;
   keep(record);
   if (record.data.key1() != key1)
      record.data.exchangeSides();
   return record.data;
}

void ZqSystemShapeCollisionCache::touch(ZqShapeCollisionData& data)
{
   const auto found = m_records.find(ordered(data.key1(), data.key2()));
   if (found == m_records.end() || &found->second.data != &data)
      return;
   if (found->second.touched + 1 < m_evaluation)
      data.startAnew();
   if (!m_isTrial)
      found->second.touched = m_evaluation;
   found->second.isValid = true;
}
