#include "apps/zqsim/sweep/sweepRun.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/interruption.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/progress.h"
#include "apps/zqsim/sweep/lineSocket.h"
#include "apps/zqsim/sweep/ranks.h"
#include "apps/zqsim/sweep/samplesToDo.h"
#include "apps/zqsim/sweep/sweepTable.h"
#include "apps/zqsim/sweep/workers.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <poll.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <list>
#include <sstream>

namespace
{
using namespace zqsim;

using Clock = std::chrono::steady_clock;

/// A worker as seen from who hands out the samples.
struct Worker
{
   LineSocket socket;
   bool isKnown; ///< to run the same samples
   SampleRange work;
   ZqReal secondsASample = 0.0; ///< on an average of the last ones
   Clock::time_point since;     ///< its last line
   bool isLost = false;
};

/// Hands out samples, a few at a time, and collects their lines.
class Sweep
{
public:
   Sweep(const SweepJob& job, const SweepSettings& settings, const Ranks& ranks,
         LocalWorkers& localWorkers)
      : m_job(job), m_ranks(ranks),
        m_record(settings.out, headOf(job), job.sampleCount, settings.start),
        m_kept(m_record.done()), m_end(endOf(settings)), m_goal(m_kept + m_record.missing(m_end)),
        m_toDo({m_record.written(), m_end},
               [this](std::uint64_t sample) { return m_record.has(sample); })
   {
      for (LineSocket& socket : localWorkers.takeConnections())
         m_workers.push_back({std::move(socket), true, {}, 0.0, {}, false});
   }

   SweepReport run(bool showsProgress);

private:
   static std::string headOf(const SweepJob& job);
   std::uint64_t endOf(const SweepSettings& settings) const;
   std::uint64_t shareOf(const Worker& worker) const;
   void deal(Worker& worker);
   void give(Worker& worker, SampleRange samples);
   void exchange(int timeout);
   void receive(Worker& worker);
   void takeLine(Worker& worker, const std::string& line);
   void greet(Worker& worker, const std::string& line);
   void noteDeath(Worker& worker, const std::string& reason);
   void dropLost();

   const SweepJob& m_job;
   const Ranks& m_ranks;
   SweepRecord m_record;
   std::uint64_t m_kept;
   std::uint64_t m_end;  ///< behind the last sample that is run now
   std::uint64_t m_goal; ///< of how many are done then
   SamplesToDo m_toDo;
   std::list<Worker> m_workers;
   std::map<std::uint64_t, int> m_deaths; ///< by sample, while it has no line
   std::uint64_t m_repeated = 0;
   std::size_t m_lostWorkers = 0;
};

std::string Sweep::headOf(const SweepJob& job)
{
   return "# zqsim " ZQSIM_VERSION " sweep of study " + job.hash + '\n' +
          sweepTableHead(job.metricNames);
}

std::uint64_t Sweep::endOf(const SweepSettings& settings) const
{
   const std::uint64_t left = m_job.sampleCount - m_record.written();
   return m_record.written() + std::min(left, settings.limit.value_or(left));
}

/// So many samples that few lines wait for their turn, and yet no worker for its next ones; towards the end less, so
/// that all end together.
std::uint64_t Sweep::shareOf(const Worker& worker) const
{
   constexpr ZqReal seconds = 0.05;
   constexpr ZqReal most = 1024.0;
   if (!(worker.secondsASample > 0.0))
      return 1;
   const std::uint64_t left = m_goal - m_record.done();
   const auto share =
      static_cast<std::uint64_t>(std::clamp(seconds / worker.secondsASample, 1.0, most));
   return std::clamp<std::uint64_t>(left / (2 * m_workers.size()), 1, share);
}

void Sweep::give(Worker& worker, SampleRange samples)
{
   worker.work = samples;
   worker.since = Clock::now();
   // Nobody there: that shows when nothing comes from it.
   worker.socket.send(std::to_string(samples.first) + ' ' + std::to_string(samples.end) + '\n');
}

/// What is done ahead of its turn is bounded, by lines and by bytes.
void Sweep::deal(Worker& worker)
{
   constexpr std::uint64_t mostAhead = 65536;
   constexpr std::size_t mostBytes = 64U << 20U;
   if (!worker.isKnown || !worker.work.isEmpty())
      return;
   const std::uint64_t ahead = m_record.earlySize() > mostBytes ? 1 : mostAhead;
   const SampleRange samples = m_toDo.take(shareOf(worker), m_record.written() + ahead);
   if (!samples.isEmpty())
      give(worker, samples);
}

void Sweep::greet(Worker& worker, const std::string& line)
{
   std::istringstream words(line);
   std::string password;
   std::string hash;
   std::string rank;
   std::string fault;
   std::getline(words >> password >> hash >> rank >> std::ws, fault);
   worker.isLost = password != m_ranks.password() || hash != m_job.hash;
   worker.isKnown = !worker.isLost;
   if (password == m_ranks.password() && worker.isLost)
      complain("warning: rank " + rank + " does not help: " +
               (fault.empty() ? "it finds another study by that name" : fault));
}

/// A sample that has its process die is run again, by a new one and by itself; when that dies too, it has its line.
void Sweep::noteDeath(Worker& worker, const std::string& reason)
{
   const SampleRange work = worker.work;
   worker.work = {};
   if (work.isEmpty())
      return;
   m_toDo.giveBack({work.first + 1, work.end});
   if (++m_deaths[work.first] == 1)
   {
      ++m_repeated;
      give(worker, {work.first, work.first + 1});
      return;
   }
   m_deaths.erase(work.first);
   const SampleRow row{
      work.first, "died",
      std::vector<ZqReal>(m_job.metricNames.size(), std::numeric_limits<ZqReal>::quiet_NaN()),
      reason};
   m_record.add(work.first, sweepTableLine(row));
}

void Sweep::takeLine(Worker& worker, const std::string& line)
{
   if (!worker.isKnown)
      return greet(worker, line);
   // A process that dies may leave a part of a line.
   if (const auto mark = line.find(deathMark); mark != std::string::npos)
      return noteDeath(worker, line.substr(mark + 1));
   worker.isLost = worker.work.isEmpty() || !m_record.isLineOf(worker.work.first, line);
   if (worker.isLost)
      return;
   m_deaths.erase(worker.work.first);
   m_record.add(worker.work.first++, line + '\n');
   const Clock::time_point now = Clock::now();
   const ZqReal seconds = std::chrono::duration<ZqReal>(now - worker.since).count();
   constexpr ZqReal weight = 0.2;
   worker.since = now;
   worker.secondsASample +=
      (worker.secondsASample > 0.0 ? weight : 1.0) * (seconds - worker.secondsASample);
}

void Sweep::receive(Worker& worker)
{
   constexpr std::size_t longestGreeting = 4096;
   if (!worker.socket.receive())
      worker.isLost = true;
   while (!worker.isLost)
   {
      const auto line = worker.socket.nextLine();
      if (!line)
         break;
      takeLine(worker, *line);
   }
   if (!worker.isKnown && worker.socket.torn() > longestGreeting)
      worker.isLost = true;
}

/// Of workers that are lost with their rank, what they had is for others; it is no fault of a sample.
void Sweep::dropLost()
{
   std::erase_if(m_workers,
                 [this](Worker& worker)
                 {
                    if (!worker.isLost)
                       return false;
                    m_lostWorkers += worker.isKnown ? 1 : 0;
                    worker.socket.shutDown();
                    m_toDo.giveBack(worker.work);
                    return true;
                 });
}

/// Takes what comes within a time (ms).
void Sweep::exchange(int timeout)
{
   std::vector<pollfd> states;
   for (const Worker& worker : m_workers)
      states.push_back({worker.socket.descriptor(), POLLIN, 0});
   states.push_back({m_ranks.listener(), POLLIN, 0}); // left out while negative
   if (::poll(states.data(), static_cast<nfds_t>(states.size()), timeout) <= 0)
      return;
   auto state = states.begin();
   for (Worker& worker : m_workers)
      if ((state++)->revents != 0)
         receive(worker);
   if (states.back().revents != 0)
      if (LineSocket socket = m_ranks.accept(); socket.descriptor() >= 0)
         m_workers.push_back({std::move(socket), false, {}, 0.0, {}, false});
   dropLost();
}

SweepReport Sweep::run(bool showsProgress)
{
   constexpr int patience = 200; // ms: a signal may come just ahead of a wait
   constexpr std::chrono::seconds syncInterval(1);
   Progress progress(static_cast<ZqReal>(m_kept), static_cast<ZqReal>(m_goal), showsProgress,
                     {"samples", "a second", 10});
   Clock::time_point nextSync = Clock::now() + syncInterval;
   m_record.write();
   while (m_record.written() < m_end && !isInterrupted() && !m_ranks.areAbandoned())
   {
      if (m_workers.empty())
         throw Failure(Failed, "all processes that run samples were ended; the same command goes "
                               "on with the table");
      for (Worker& worker : m_workers)
         deal(worker);
      exchange(patience);
      m_record.write();
      if (Clock::now() >= nextSync)
      {
         m_record.sync();
         nextSync = Clock::now() + syncInterval;
      }
      progress.update(static_cast<ZqReal>(m_record.done()));
   }
   exchange(0);
   m_record.write();
   m_record.sync();
   return {m_job.sampleCount,   m_kept,        m_record.done(),           m_repeated,
           m_record.outcomes(), m_lostWorkers, m_record.written() < m_end};
}

/// Each worker is a connection or two.
void allowAsManyFilesAsThereMayBe()
{
   rlimit files{};
   if (::getrlimit(RLIMIT_NOFILE, &files) != 0)
      return;
   files.rlim_cur = files.rlim_max;
   ::setrlimit(RLIMIT_NOFILE, &files);
}

/// What a rank other than 0 does: it runs samples until rank 0 has no more, or is told to end.
void help(Ranks& ranks, const std::function<SweepJob()>& makeJob)
{
   for (const int signal : {SIGINT, SIGTERM})
      std::signal(signal, [](int) { std::_Exit(Done); });
   // What there is to say, rank 0 says.
   Zq::Print::instance().setSink([](unsigned, std::string_view) {});
   std::vector<LineSocket> connections = ranks.takeConnections();
   const std::string rank = std::to_string(ranks.rank());
   SweepJob job;
   std::string fault;
   try
   {
      job = makeJob();
   }
   catch (const Failure& failure)
   {
      job.hash = "-";
      fault = std::string(" ") + failure.what();
   }
   for (const LineSocket& connection : connections)
      connection.send(ranks.password() + ' ' + job.hash + ' ' + rank + fault + '\n');
   if (fault.empty())
      superviseWorkers(std::move(connections),
                       [&](std::uint64_t sample) { return sweepTableLine(job.run(sample)); });
}
} // namespace

std::optional<zqsim::SweepReport> zqsim::sweep(const SweepSettings& settings,
                                               const std::function<SweepJob()>& makeJob)
{
   allowAsManyFilesAsThereMayBe();
   Ranks ranks(settings.workers);
   if (ranks.rank() != 0)
   {
      help(ranks, makeJob);
      return std::nullopt;
   }
   const SweepJob job = makeJob();
   for (const std::string& warning : job.warnings)
      complain("warning: " + warning);
   // They come first, so that what is open then, as the lock of the table, is not theirs.
   LocalWorkers workers(settings.workers,
                        [&](std::uint64_t sample) { return sweepTableLine(job.run(sample)); });
   const InterruptionGuard guard;
   const SweepReport report = Sweep(job, settings, ranks, workers).run(settings.showsProgress);
   if (!report.isInterrupted)
      workers.awaitEnd();
   return report;
}
