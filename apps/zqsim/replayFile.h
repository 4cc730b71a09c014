#pragma once

#include "apps/replay/replay.h"
#include "apps/zqsim/outputFile.h"

#include <string>

namespace zqsim
{
/// A page for the browser that shows a run. It is written at the end.
class ReplayFile
{
public:
   /// Opens the file. When it cannot be written, or there is no page to show scenes, that is a `Failure`.
   ReplayFile(const std::string& fileName, const std::string& title, ZqSimulation& simulation);

   void sample(ZqSimulation& simulation) { m_recording.sample(simulation); }
   void sampleLast(ZqSimulation& simulation) { m_recording.sampleLast(simulation); }
   void finish();

private:
   std::string m_page;
   zqReplay::Recording m_recording;
   OutputFile m_file;
};

/// What is wrong with the name of the file is a `Failure`.
void checkReplayName(const std::string& fileName);
} // namespace zqsim
