#include "apps/zqsim/progress.h"

#include "apps/zqsim/output.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

namespace
{
constexpr std::chrono::milliseconds interval(100);
constexpr const char* eraseLine = "\r\x1b[K";
} // namespace

zqsim::Progress::Progress(ZqReal start, ZqReal end, bool isWanted)
   : m_start(start), m_end(end), m_isShown(isWanted && isatty(STDERR_FILENO) != 0)
{
   m_next += interval;
}

zqsim::Progress::~Progress()
{
   if (m_isShown)
      std::fputs(eraseLine, stderr);
}

bool zqsim::Progress::update(ZqReal time)
{
   const Clock::time_point now = Clock::now();
   if (now < m_next)
      return false;
   m_next = now + interval;
   if (m_isShown)
      show(time);
   return true;
}

ZqReal zqsim::Progress::elapsed() const
{
   return std::chrono::duration<ZqReal>(Clock::now() - m_begin).count();
}

void zqsim::Progress::show(ZqReal time) const
{
   constexpr std::size_t width = 30;
   const ZqReal done = std::clamp((time - m_start) / (m_end - m_start), 0.0, 1.0);
   const ZqReal speed = (time - m_start) / elapsed();
   const auto filled = static_cast<std::size_t>(done * width);
   const auto left = static_cast<long long>(std::min((m_end - time) / speed, 1e9));
   const std::string bar = std::string(filled, '#') + std::string(width - filled, '.');
   // A message may come between two calls: the cursor waits where it can overwrite the bar.
   std::array<char, 160> line{};
   std::snprintf(line.data(), line.size(),
                 "%s[%s] %3.0f %%  %.6g of %.6g s  %.3g x real time  %lld:%02lld left\r", eraseLine,
                 bar.c_str(), 100.0 * done, time, m_end, speed, left / 60, left % 60);
   std::fputs(line.data(), stderr);
}
