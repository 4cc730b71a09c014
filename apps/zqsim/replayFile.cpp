#include "apps/zqsim/replayFile.h"

#include "apps/replay/page.h"
#include "apps/zqsim/commands.h"

#include <filesystem>
#include <span>
#include <stdexcept>

namespace
{
/// What the replay throws, as a failure.
template <class Action>
std::string orFailure(const Action& action)
{
   try
   {
      return action();
   }
   catch (const std::runtime_error& error)
   {
      throw zqsim::Failure(zqsim::Failed, std::string("--replay: ") + error.what());
   }
}
} // namespace

zqsim::ReplayFile::ReplayFile(const std::string& fileName, const std::string& title,
                              ZqSimulation& simulation)
   : m_page(orFailure(zqReplay::readPage)), m_recording(simulation, {.title = title}),
     m_file(fileName)
{
}

void zqsim::ReplayFile::finish()
{
   const std::string scene = m_recording.json();
   m_file.write(orFailure([&] { return zqReplay::makePage(m_page, std::span(&scene, 1)); }));
   m_file.close();
}

void zqsim::checkReplayName(const std::string& fileName)
{
   if (!fileName.empty() && !isStandardStream(fileName) && !fileName.ends_with(".html"))
      throw Failure(Usage, "--replay: " + fileName + " does not end in .html");
}
