#pragma once

#include "apps/zqsim/columns.h"

#include <memory>
#include <string>

namespace zqsim
{
/// Writes what a simulation goes through to a file, as it goes. A file that cannot be written is a
/// `Failure`.
class Recorder
{
public:
   Recorder() = default;
   Recorder(const Recorder&) = delete;
   Recorder& operator=(const Recorder&) = delete;
   virtual ~Recorder() = default;

   virtual void record(ZqSimulation& simulation, const ZqSimulation::Energy& energy) = 0;
   /// Hands to the system what was recorded until now.
   virtual void flush() = 0;
   /// Ends the file.
   virtual void finish() = 0;
};

/// By the ending of the name: of .csv a table of time and traces; of .xml a document of states. Null for any
/// other.
std::unique_ptr<Recorder> makeRecorder(const std::string& fileName, std::vector<Trace> traces);

/// A table of contacts: at each time one line for each pair of shapes that touch. What is not finite is left
/// out; the run ends there.
std::unique_ptr<Recorder> makeContactRecorder(const std::string& fileName);

/// A field of a line of a table, in quotation marks where it needs them (RFC 4180).
std::string csvField(const std::string& text);
} // namespace zqsim
