#include "apps/zqsim/sweep/workers.h"

#include "apps/zqsim/commands.h"
#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>

namespace
{
using namespace zqsim;

/// Why a worker ends, as exit codes that nothing else has: any other one is the doing of a sample.
enum WorkerEnd
{
   NobodyThere = 110, ///< at the other end of the connection
   ToldItsDeath = 111 ///< by itself
};

/// A child ends with its parent, where the system can see to that.
void endWith(pid_t parent)
{
#ifdef __linux__
   ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
   if (::getppid() != parent)
      ::_exit(0);
}

/// An interruption is for the process that writes: it ends all others. A sample is to see nothing of it.
void blockInterruptions()
{
   sigset_t signals;
   ::sigemptyset(&signals);
   ::sigaddset(&signals, SIGINT);
   ::sigaddset(&signals, SIGTERM);
   ::sigprocmask(SIG_BLOCK, &signals, nullptr);
}

std::string deathOf(int status)
{
   if (WIFSIGNALED(status))
      return "killed by signal " + std::to_string(WTERMSIG(status)) + " (" +
             ::strsignal(WTERMSIG(status)) + ')';
   return "ended with exit code " + std::to_string(WEXITSTATUS(status));
}

void tellDeath(const LineSocket& connection, const std::string& reason)
{
   connection.send(deathMark + Zq::oneLine(reason) + '\n');
}

WorkerEnd work(LineSocket& connection, const SampleLine& lineOf)
{
   while (connection.receive())
      while (const auto range = connection.nextLine())
      {
         std::uint64_t sample = 0;
         std::uint64_t end = 0;
         const char* last = range->data() + range->size();
         std::from_chars(std::from_chars(range->data(), last, sample).ptr + 1, last, end);
         for (; sample < end; ++sample)
            if (!connection.send(lineOf(sample)))
               return NobodyThere;
      }
   return NobodyThere;
}

[[noreturn]] void workAndEnd(LineSocket& connection, const SampleLine& lineOf)
{
   // When memory is short, a worker is what can be spared.
   std::ofstream("/proc/self/oom_score_adj") << 1000;
   try
   {
      ::_exit(work(connection, lineOf));
   }
   catch (const std::exception& exception)
   {
      tellDeath(connection, exception.what());
   }
   ::_exit(ToldItsDeath);
}

/// -1 if there is none to be had.
pid_t startWorker(LineSocket& connection, const SampleLine& lineOf)
{
   const pid_t parent = ::getpid();
   const pid_t child = ::fork();
   if (child != 0)
      return child;
   blockInterruptions();
   endWith(parent);
   workAndEnd(connection, lineOf);
}
} // namespace

void zqsim::superviseWorkers(std::vector<LineSocket> connections, const SampleLine& lineOf)
{
   // What is said of a sample stands in its line.
   Zq::Print::instance().setSink([](unsigned, std::string_view) {});
   std::map<pid_t, LineSocket*> workers;
   const auto start = [&](LineSocket& connection)
   {
      const pid_t worker = startWorker(connection, lineOf);
      if (worker > 0)
         workers[worker] = &connection;
      else
         connection.shutDown();
   };
   for (LineSocket& connection : connections)
      start(connection);
   while (!workers.empty())
   {
      int status = 0;
      const pid_t ended = ::wait(&status);
      if (ended < 0 && errno != EINTR)
         return;
      const auto found = workers.find(ended);
      if (found == workers.end())
         continue;
      LineSocket& connection = *found->second;
      workers.erase(found);
      const int end = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      if (end == NobodyThere)
         continue;
      if (end != ToldItsDeath)
         tellDeath(connection, deathOf(status));
      start(connection);
   }
}

zqsim::LocalWorkers::LocalWorkers(std::size_t count, const SampleLine& lineOf)
{
   std::vector<LineSocket> theirs;
   for (std::size_t i = 0; i < count; ++i)
   {
      auto [mine, its] = LineSocket::makePair();
      m_connections.push_back(std::move(mine));
      theirs.push_back(std::move(its));
   }
   const pid_t parent = ::getpid();
   m_supervisor = ::fork();
   if (m_supervisor < 0)
      throw Failure(Failed, std::string("cannot start a process: ") + std::strerror(errno));
   if (m_supervisor > 0)
      return;
   blockInterruptions();
   endWith(parent);
   m_connections.clear();
   superviseWorkers(std::move(theirs), lineOf);
   ::_exit(0);
}

void zqsim::LocalWorkers::awaitEnd()
{
   ::waitpid(m_supervisor, nullptr, 0);
   m_supervisor = -1;
}

zqsim::LocalWorkers::~LocalWorkers()
{
   if (m_supervisor < 0)
      return;
   ::kill(m_supervisor, SIGKILL);
   awaitEnd();
}
