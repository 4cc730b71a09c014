#include "zqManipulator/state/ZqEpoch.h"

#include <atomic>

namespace
{
/// Threads take blocks of numbers, so that they do not wait for each other.
constexpr std::uint64_t epochBlock = std::uint64_t{1} << 20;
constinit std::atomic<std::uint64_t> nextEpochBlock = 1;

struct EpochRange
{
   std::uint64_t next = 0;
   std::uint64_t end = 0;
};
constinit thread_local EpochRange epochRange;
} // namespace

std::uint64_t zqNextEpoch() noexcept
{
   EpochRange& range = epochRange;
   if (range.next == range.end)
   {
      range.next = nextEpochBlock.fetch_add(epochBlock, std::memory_order_relaxed);
      range.end = range.next + epochBlock;
   }
   return range.next++;
}
