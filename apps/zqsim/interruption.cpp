#include "apps/zqsim/interruption.h"

#include "apps/zqsim/commands.h"

#include <csignal>
#include <cstddef>
#include <cstdlib>

namespace
{
volatile std::sig_atomic_t isNoted = 0;
constexpr std::array signals{SIGINT, SIGTERM};

extern "C" void noteInterruption(int)
{
   if (isNoted != 0)
      std::_Exit(zqsim::Interrupted);
   isNoted = 1;
}
} // namespace

zqsim::InterruptionGuard::InterruptionGuard()
{
   for (std::size_t i = 0; i < signals.size(); ++i)
      m_before[i] = std::signal(signals[i], noteInterruption);
}

zqsim::InterruptionGuard::~InterruptionGuard()
{
   for (std::size_t i = 0; i < signals.size(); ++i)
      std::signal(signals[i], m_before[i]);
}

bool zqsim::isInterrupted()
{
   return isNoted != 0;
}
