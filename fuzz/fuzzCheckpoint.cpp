// Feeds documents of checkpoints to the library. What can be read resumes or is refused; what resumes steps, and is
// stored to the same bytes again.

#include "fuzzBytes.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/simulation/step/ZqSimulationCheckpoint.h"

#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
   ZqSimulationCheckpoint checkpoint;
   if (!Zq::fromXml(checkpoint, {reinterpret_cast<const char*>(data), size}))
      return 0;
   const auto simulation = ZqSimulation::resume(checkpoint);
   if (!simulation)
      return 0;
   const ZqReal step = checkpoint.stepLength() > 0.0 ? checkpoint.stepLength() : 1e-3;
   for (int k = 0; k < 2; ++k)
   {
      simulation->step(step);
      ZqString document;
      if (!Zq::toXml(simulation->checkpoint(),
                     document)) // A number that is not finite cannot be written.
         return 0;
      ZqSimulationCheckpoint back;
      ZqString again;
      zqFuzz::require(Zq::fromXml(back, document) && Zq::toXml(back, again) && again == document);
   }
   return 0;
}
