#include "support/allocationCount.h"

#include <cstdlib>
#include <new>

namespace
{
thread_local std::size_t allocations = 0;
thread_local std::size_t untilFailure = 0; ///< 0 when none is to fail

void* allocate(std::size_t size, std::size_t alignment) noexcept
{
   ++allocations;
   if (untilFailure > 0 && --untilFailure == 0)
      return nullptr;
   // aligned_alloc wants a size that is a multiple of the alignment.
   const std::size_t rounded = (size + alignment) / alignment * alignment;
   return alignment <= alignof(std::max_align_t) ? std::malloc(rounded)
                                                 : std::aligned_alloc(alignment, rounded);
}

void* allocateOrThrow(std::size_t size, std::size_t alignment)
{
   void* const memory = allocate(size, alignment);
   if (memory == nullptr)
      throw std::bad_alloc();
   return memory;
}
} // namespace

namespace zqTest
{
AllocationCount::AllocationCount() : m_start(allocations) {}

std::size_t AllocationCount::count() const
{
   return allocations - m_start;
}

FailingAllocation::FailingAllocation(std::size_t n)
{
   untilFailure = n;
}

FailingAllocation::~FailingAllocation()
{
   untilFailure = 0;
}

bool FailingAllocation::happened() const
{
   return untilFailure == 0;
}
} // namespace zqTest

// The memory comes from malloc, which a sanitizer watches as well. Each form is replaced, so that none
// is mixed with one that a sanitizer brings along.
// clang-format off
#define ZQ_REPLACE(NEW, DELETE)                                                                    \
   void* operator NEW(std::size_t size) { return allocateOrThrow(size, 1); }                       \
   void* operator NEW(std::size_t size, std::align_val_t alignment)                                \
   { return allocateOrThrow(size, static_cast<std::size_t>(alignment)); }                          \
   void* operator NEW(std::size_t size, const std::nothrow_t&) noexcept                            \
   { return allocate(size, 1); }                                                                   \
   void* operator NEW(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept \
   { return allocate(size, static_cast<std::size_t>(alignment)); }                                 \
   void operator DELETE(void* p) noexcept { std::free(p); }                                        \
   void operator DELETE(void* p, std::size_t) noexcept { std::free(p); }                           \
   void operator DELETE(void* p, std::align_val_t) noexcept { std::free(p); }                      \
   void operator DELETE(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }         \
   void operator DELETE(void* p, const std::nothrow_t&) noexcept { std::free(p); }                 \
   void operator DELETE(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
// clang-format on
ZQ_REPLACE(new, delete)
ZQ_REPLACE(new[], delete[])
