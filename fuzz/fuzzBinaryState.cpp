// Feeds bytes to the binary form of states. What is accepted must read back as it is written, and what
// is not must leave an object that can be used.

#include "fuzzBytes.h"
#include "zqManipulator/state/ZqManipulatorSystemState.h"

#include <cstdint>
#include <sstream>

using zqFuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
   std::istringstream stream(std::string(reinterpret_cast<const char*>(data), size));
   ZqManipulatorSystemState state;
   const bool succeeded = state.readBin(stream);
   ZqManipulatorSystemState copy(state);
   copy.zeroVelocityStates();
   copy.mergeWith(state);
   if (!succeeded)
      return 0;

   std::ostringstream written;
   require(state.writeBin(written));
   std::istringstream source(written.str());
   ZqManipulatorSystemState back;
   std::ostringstream again;
   require(back.readBin(source));
   require(back.writeBin(again));
   require(again.str() == written.str());
   return 0;
}
