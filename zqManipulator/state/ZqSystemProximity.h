#pragma once

#include <memory>

struct ZqSystemProximityRecords;

/// Holds the records of proximity of an active state, which most never need: they are made when they are
/// first asked for. A copy has a copy of the records, if there are any.
class ZqSystemProximity
{
public:
   ZqSystemProximity() noexcept;
   ZqSystemProximity(const ZqSystemProximity& other);
   ZqSystemProximity(ZqSystemProximity&& other) noexcept;
   ZqSystemProximity& operator=(const ZqSystemProximity& other);
   ZqSystemProximity& operator=(ZqSystemProximity&& other) noexcept;
   ~ZqSystemProximity();

   /// Null as long as nobody asked for them.
   ZqSystemProximityRecords* get() const noexcept { return m_records.get(); }
   ZqSystemProximityRecords& made();

private:
   std::unique_ptr<ZqSystemProximityRecords> m_records;
};
