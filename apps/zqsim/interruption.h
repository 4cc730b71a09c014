#pragma once

#include <array>

namespace zqsim
{
/// While this lives, an interruption (Ctrl-C) or a request to end (SIGTERM) is only noted; a second one ends the
/// process.
class InterruptionGuard
{
public:
   InterruptionGuard();
   InterruptionGuard(const InterruptionGuard&) = delete;
   InterruptionGuard& operator=(const InterruptionGuard&) = delete;
   ~InterruptionGuard();

private:
   std::array<void (*)(int), 2> m_before{};
};

/// Whether one was noted.
bool isInterrupted();
} // namespace zqsim
