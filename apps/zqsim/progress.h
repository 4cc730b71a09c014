#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <chrono>

namespace zqsim
{
/// Shows on standard error how far a simulation has come, for as long as this lives. On anything but a
/// terminal it shows nothing.
class Progress
{
public:
   /// From a simulated time to another, in seconds.
   Progress(ZqReal start, ZqReal end, bool isWanted);
   Progress(const Progress&) = delete;
   Progress& operator=(const Progress&) = delete;
   ~Progress();

   /// True at times (ten a second): then it was shown, and it is time for what is to be done now and
   /// then.
   bool update(ZqReal time);
   /// Wall-clock seconds since the beginning.
   ZqReal elapsed() const;

private:
   using Clock = std::chrono::steady_clock;
   void show(ZqReal time) const;

   ZqReal m_start;
   ZqReal m_end;
   bool m_isShown;
   Clock::time_point m_begin = Clock::now();
   Clock::time_point m_next = m_begin;
};
} // namespace zqsim
