#pragma once

#include <cstddef>

namespace zqTest
{
/// Counts what the calling thread allocates through operator new since the object was made.
class AllocationCount
{
public:
   AllocationCount();
   std::size_t count() const;

private:
   std::size_t m_start;
};
} // namespace zqTest
