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

/// Makes the n-th allocation of the calling thread from now on fail, once.
class FailingAllocation
{
public:
   explicit FailingAllocation(std::size_t n);
   FailingAllocation(const FailingAllocation&) = delete;
   FailingAllocation& operator=(const FailingAllocation&) = delete;
   ~FailingAllocation();
   /// Whether it has come to that.
   bool happened() const;
};
} // namespace zqTest
