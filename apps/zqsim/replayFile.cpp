#include "apps/zqsim/replayFile.h"

#include "apps/replay/page.h"
#include "apps/replay/replay.h"
#include "apps/zqsim/commands.h"
#include "apps/zqsim/outputFile.h"

#include <span>
#include <stdexcept>

namespace
{
using namespace zqsim;

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
      throw Failure(Failed, std::string("--replay: ") + error.what());
   }
}

class ReplayFile : public Observer
{
public:
   ReplayFile(const std::string& fileName, const std::string& title, ZqSimulation& simulation)
      : m_fileName(fileName), m_page(orFailure(zqReplay::readPage)),
        m_recording(simulation, {.title = title})
   {
   }

   void see(ZqSimulation& simulation) override { m_recording.sample(simulation); }
   void finish(ZqSimulation& simulation) override
   {
      m_recording.sampleLast(simulation);
      const std::string scene = m_recording.json();
      replaceFile(m_fileName,
                  orFailure([&] { return zqReplay::makePage(m_page, std::span(&scene, 1)); }));
   }

private:
   std::string m_fileName;
   std::string m_page;
   zqReplay::Recording m_recording;
};
} // namespace

std::unique_ptr<zqsim::Observer>
zqsim::makeReplay(const std::string& fileName, const std::string& title, ZqSimulation& simulation)
{
   return std::make_unique<ReplayFile>(fileName, title, simulation);
}
