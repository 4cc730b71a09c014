#include "apps/zqsim/commands.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/sweep/ranks.h"
#include "apps/zqsim/sweep/sampleRunner.h"
#include "apps/zqsim/sweep/sweepRun.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace
{
using namespace zqsim;

struct SweepOptions
{
   std::string study;
   std::string out;
   std::optional<std::string> threads;
   std::optional<std::string> limit;
   bool isFresh = false;
   bool json = false;
   bool isQuiet = false;
};

/// If not given, all processors; of ranks, of which there are as many as processors, one each.
std::size_t threadsOf(const SweepOptions& options)
{
   constexpr std::uint64_t most = 4096;
   if (!options.threads)
      return Ranks::areThere() ? 1 : std::max(1U, std::thread::hardware_concurrency());
   const std::uint64_t threads = parseCount("--threads", *options.threads);
   if (threads > most)
      throw Failure(Usage, "--threads: expected at most " + std::to_string(most));
   return threads;
}

SweepJob jobOf(const std::string& study)
{
   const auto runner = std::make_shared<const SampleRunner>(study);
   return {runner->hash(), runner->metricNames(), runner->sampleCount(),
           [runner](std::uint64_t sample) { return runner->run(sample); }};
}

Json describe(const SweepOptions& options, const SweepReport& report)
{
   Json outcomes = Json::object();
   for (const auto& [outcome, count] : report.outcomes)
      outcomes[outcome] = count;
   return {{"study", options.study},
           {"table", options.out},
           {"samples", report.sampleCount},
           {"done", report.done},
           {"doneBefore", report.kept},
           {"repeated", report.repeated},
           {"lostWorkers", report.lostWorkers},
           {"outcomes", outcomes}};
}

std::string textOf(const SweepOptions& options, const SweepReport& report)
{
   std::string line = options.out + ": " + std::to_string(report.done) + " of " +
                      std::to_string(report.sampleCount) + " samples";
   const char* separator = ": ";
   for (const auto& [outcome, count] : report.outcomes)
   {
      line += separator + std::to_string(count) + ' ' + outcome;
      separator = ", ";
   }
   if (report.kept > 0)
      line += "; " + std::to_string(report.kept) + " of them had been there";
   if (report.repeated > 0)
      line += "; " + std::to_string(report.repeated) + " were run again, as their process died";
   return line + '\n';
}

ExitCode report(const SweepOptions& options, const SweepReport& report)
{
   if (options.json)
      print(describe(options, report));
   else if (!options.isQuiet && !isStandardStream(options.out))
      print(textOf(options, report));
   if (report.isInterrupted)
      throw Failure(Interrupted, "interrupted after " + std::to_string(report.done) + " of " +
                                    std::to_string(report.sampleCount) +
                                    " samples; the same command goes on with " + options.out);
   const bool areAllDone = std::all_of(report.outcomes.begin(), report.outcomes.end(),
                                       [](const auto& outcome) { return outcome.first == "done"; });
   return areAllDone ? Done : Findings;
}

ExitCode sweepStudy(const SweepOptions& options)
{
   if (options.json && isStandardStream(options.out))
      throw Failure(Usage, "--json and --out - both go to standard output");
   SweepSettings settings;
   settings.out = options.out;
   settings.workers = threadsOf(options);
   if (options.limit)
      settings.limit = parseCount("--limit", *options.limit);
   settings.isFresh = options.isFresh;
   settings.showsProgress = !options.isQuiet;
   const auto done = zqsim::sweep(settings, [&] { return jobOf(options.study); });
   return done ? report(options, *done) : Done;
}

constexpr const char* explanation =
   "The table has one line for each sample, in order: its number, how it ended, the metrics and "
   "the\n"
   "reason of a failure. It is the same to the byte however many threads or ranks there were. "
   "While\n"
   "samples wait for their turn, they stand in a file beside, .early. A sweep that was interrupted "
   "or\n"
   "killed goes on where it was by the same command. A sample that kills its process is run again\n"
   "once; if it does so again, its line says that it died. Under MPI, as by\n"
   "mpirun --enable-recovery -n 64 zqsim sweep STUDY --out TABLE, all ranks run samples, and rank "
   "0\n"
   "writes.\n"
   "Exit codes: 0 when each sample is done, 5 when some ended otherwise, 130 when interrupted.";
} // namespace

zqsim::Run zqsim::sweep(CLI::App& arguments)
{
   const auto options = std::make_shared<SweepOptions>();
   arguments.add_option("STUDY", options->study, "The study whose samples are run")
      ->required()
      ->type_name("FILE");
   arguments.add_option("-o,--out", options->out, "Where to write the table, or to go on with it")
      ->required()
      ->type_name("FILE");
   arguments
      .add_option("--threads", options->threads,
                  "How many samples run at the same time, each in a process of its own; if not "
                  "given, as many as there are processors, or with MPI one for each rank")
      ->type_name("N");
   arguments
      .add_option("--limit", options->limit, "Run no more than so many samples now; others later")
      ->type_name("N");
   arguments.add_flag("--fresh", options->isFresh, "Begin anew, in place of a table that there is");
   arguments.add_flag("--json", options->json, "Write JSON");
   arguments.add_flag("--quiet", options->isQuiet, "Write nothing when all goes well");
   arguments.footer(explanation);
   return [options] { return sweepStudy(*options); };
}
