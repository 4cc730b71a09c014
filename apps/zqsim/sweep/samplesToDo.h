#pragma once

#include <cstdint>
#include <functional>
#include <map>

namespace zqsim
{
/// Samples that follow each other.
struct SampleRange
{
   std::uint64_t first = 0;
   std::uint64_t end = 0; ///< behind the last

   bool isEmpty() const { return first >= end; }
   std::uint64_t size() const { return isEmpty() ? 0 : end - first; }
};

/// What of a sweep nobody works at yet. It takes as little room for many samples as for few.
class SamplesToDo
{
public:
   /// Besides those that are done already.
   SamplesToDo(SampleRange samples, std::function<bool(std::uint64_t)> isDone)
      : m_new(samples), m_isDone(std::move(isDone))
   {
   }

   /// At most so many, the first that there are, and new ones only below a limit; may be empty.
   SampleRange take(std::uint64_t count, std::uint64_t limit);
   /// What was taken and not done.
   void giveBack(SampleRange samples);

private:
   SampleRange m_new; ///< that were never taken
   std::function<bool(std::uint64_t)> m_isDone;
   std::map<std::uint64_t, std::uint64_t> m_returned; ///< ends of ranges by their first samples
};
} // namespace zqsim
