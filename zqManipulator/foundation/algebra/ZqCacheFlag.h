#pragma once

#include <atomic>

/// Whether a cache is filled. It lets several threads query a const object that keeps results: the first that
/// needs the cache fills it, those that come meanwhile wait, and from then on reading costs one test.
///
/// A cache is not copied: the flag of a copy is down, and an assignment lowers it.
class ZqCacheFlag
{
public:
   constexpr ZqCacheFlag() noexcept = default;
   ZqCacheFlag(const ZqCacheFlag&) noexcept {}
   // Nothing is assigned. NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
   ZqCacheFlag& operator=(const ZqCacheFlag&) noexcept
   {
      lower();
      return *this;
   }
   ~ZqCacheFlag() = default;

   /// For who changes the object, which nobody else uses meanwhile.
   void lower() noexcept { m_stage.store(Empty, std::memory_order_relaxed); }

   /// Calls `fill` unless the cache is filled. What it throws comes through, and the cache stays empty.
   template <class Fill>
   void ensure(const Fill& fill)
   {
      if (m_stage.load(std::memory_order_acquire) != Filled)
         fillOrWait(fill);
   }

private:
   enum Stage : int
   {
      Empty,
      Filling,
      Filled
   };

   template <class Fill>
   void fillOrWait(const Fill& fill)
   {
      for (;;)
      {
         int stage = Empty;
         if (m_stage.compare_exchange_strong(stage, Filling, std::memory_order_acquire))
            break;
         if (stage == Filled)
            return;
         m_stage.wait(Filling, std::memory_order_acquire);
      }
      try
      {
         fill();
      }
      catch (...)
      {
         leave(Empty);
         throw;
      }
      leave(Filled);
   }
   void leave(Stage stage) noexcept
   {
      m_stage.store(stage, std::memory_order_release);
      m_stage.notify_all();
   }

   std::atomic<int> m_stage = Empty;
};
