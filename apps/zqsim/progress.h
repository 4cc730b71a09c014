#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <chrono>

namespace zqsim
{
/// In what progress is told.
struct ProgressUnits
{
   const char* amount;
   const char* speed;
   int digits; ///< of amounts
};

/// Shows on standard error how far a simulation, or something else, has come, for as long as this lives. On anything but a
/// terminal it shows nothing.
class Progress
{
public:
   /// From a simulated time to another, in seconds, or in other units.
   Progress(ZqReal start, ZqReal end, bool isWanted,
            const ProgressUnits& units = {"s", "x real time", 6});
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
   ProgressUnits m_units;
   Clock::time_point m_begin = Clock::now();
   Clock::time_point m_next = m_begin;
};
} // namespace zqsim
