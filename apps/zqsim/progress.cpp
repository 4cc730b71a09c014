#include "apps/zqsim/progress.h"

#include "apps/zqsim/output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

namespace
{
constexpr std::chrono::milliseconds interval(100);
constexpr const char* eraseLine = "\r\x1b[K";

/// Of the terminal, in characters.
std::size_t width()
{
   winsize size{};
   constexpr std::size_t usual = 80;
   return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

/// Hours, where there are some, minutes and seconds.
std::string clockTime(ZqReal seconds)
{
   const auto whole = static_cast<long long>(seconds < 1e9 ? seconds : 1e9);
   std::array<char, 40> text{};
   if (whole < 3600)
      std::snprintf(text.data(), text.size(), "%lld:%02lld", whole / 60, whole % 60);
   else
      std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                    whole % 60);
   return text.data();
}

/// A bar and the text behind it, in one line: one that wraps could not be overwritten.
std::string bar(ZqReal done, const std::string& text)
{
   constexpr std::size_t shortest = 5;
   constexpr std::size_t longest = 30;
   const std::size_t room = width() - 1;
   if (text.size() + shortest + 2 > room)
      return text.substr(0, room);
   const std::size_t length = std::min(longest, room - text.size() - 2);
   const auto filled = static_cast<std::size_t>(done * static_cast<ZqReal>(length));
   return '[' + std::string(filled, '#') + std::string(length - filled, '.') + ']' + text;
}
} // namespace

zqsim::Progress::Progress(ZqReal start, ZqReal end, bool isWanted, const ProgressUnits& units)
   : m_start(start), m_end(end), m_isShown(isWanted && isatty(STDERR_FILENO) != 0), m_units(units)
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
   const ZqReal done = std::clamp((time - m_start) / (m_end - m_start), 0.0, 1.0);
   const ZqReal speed = (time - m_start) / elapsed();
   std::array<char, 160> numbers{};
   std::snprintf(numbers.data(), numbers.size(), " %3.0f %%  %.*g of %.*g %s  %.3g %s  %s left",
                 100.0 * done, m_units.digits, time, m_units.digits, m_end, m_units.amount, speed,
                 m_units.speed, clockTime((m_end - time) / speed).c_str());
   const std::string line = bar(done, numbers.data());
   // A message may come between two calls: the cursor waits where it can overwrite the bar.
   std::fprintf(stderr, "%s%s\r", eraseLine, line.c_str());
}
