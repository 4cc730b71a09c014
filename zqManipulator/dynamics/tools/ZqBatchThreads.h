#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

/// Threads that wait for work: each does its part of a task, the caller the first one. Nothing is allocated to
/// hand out a task.
class ZqBatchThreads
{
public:
   /// A task gets the number of the part.
   using Task = void (*)(const void* context, ZqU32 part);

   ZqBatchThreads() = default;
   ZqBatchThreads(const ZqBatchThreads&) = delete;
   ZqBatchThreads& operator=(const ZqBatchThreads&) = delete;
   ~ZqBatchThreads() { stop(); }

   /// The caller included.
   ZqU32 count() const { return static_cast<ZqU32>(m_threads.size()) + 1; }
   static constexpr ZqU32 mostThreads = 1024;
   /// False when there cannot be as many: then there are fewer.
   bool setCount(ZqU32 count);
   /// Does the parts 0 to count() - 1, and returns when all are done. A task does not throw.
   void run(Task task, const void* context);

private:
   void work(ZqU32 part);
   void stop();

   std::vector<std::thread> m_threads;
   std::mutex m_lock;
   std::condition_variable m_start;
   std::condition_variable m_end;
   Task m_task = nullptr; ///< null ends the threads
   const void* m_context = nullptr;
   ZqU32 m_round = 0;
   std::size_t m_busy = 0;
};
