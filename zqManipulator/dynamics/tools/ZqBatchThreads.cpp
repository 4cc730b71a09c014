#include "zqManipulator/dynamics/tools/ZqBatchThreads.h"

#include <algorithm>
#include <system_error>

bool ZqBatchThreads::setCount(ZqU32 count)
{
   stop();
   m_round = 0;
   try
   {
      while (this->count() < std::min(count, mostThreads))
         m_threads.emplace_back(&ZqBatchThreads::work, this, this->count());
   }
   catch (const std::system_error&)
   {
      return false;
   }
   return count <= mostThreads;
}

void ZqBatchThreads::run(Task task, const void* context)
{
   if (!m_threads.empty())
   {
      const std::scoped_lock lock(m_lock);
      m_task = task;
      m_context = context;
      m_busy = m_threads.size();
      ++m_round;
   }
   m_start.notify_all();
   task(context, 0);
   std::unique_lock lock(m_lock);
   m_end.wait(lock, [this] { return m_busy == 0; });
}

void ZqBatchThreads::work(ZqU32 part)
{
   for (ZqU32 round = 1;; ++round)
   {
      std::unique_lock lock(m_lock);
      m_start.wait(lock, [&] { return m_round == round; });
      const Task task = m_task;
      const void* const context = m_context;
      lock.unlock();
      if (task != nullptr)
         task(context, part);
      lock.lock();
      if (--m_busy == 0)
         m_end.notify_one();
      if (task == nullptr)
         return;
   }
}

void ZqBatchThreads::stop()
{
   {
      const std::scoped_lock lock(m_lock);
      m_task = nullptr;
      m_busy = m_threads.size();
      ++m_round;
   }
   m_start.notify_all();
   for (std::thread& thread : m_threads)
      thread.join();
   m_threads.clear();
   m_busy = 0;
}
