#include "apps/zqsim/commands.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/sweep/ranks.h"
#include "apps/zqsim/sweep/sampleRun.h"
#include "apps/zqsim/sweep/sampleRunner.h"
#include "apps/zqsim/sweep/sweepRun.h"
#include "apps/zqsim/sweep/sweepSummary.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

namespace
{
using namespace zqsim;

struct SweepOptions
{
   OneSample one; ///< with what holds for all samples as well
   std::optional<std::string> sample;
   std::optional<std::string> threads;
   std::optional<std::string> limit;
   bool isAgain = false;
   bool isFresh = false;
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

SweepJob jobOf(const std::shared_ptr<const SampleRunner>& runner)
{
   return {runner->hash(), runner->metricNames(), runner->sampleCount(),
           [runner](std::uint64_t sample) { return runner->run(sample); }, runner->warnings()};
}

/// What the table tells, unless it is too long to keep its numbers.
Json summaryOf(const SweepOptions& options, const SweepReport& report, std::size_t metricCount)
{
   constexpr std::uint64_t mostNumbers = 50'000'000;
   const bool isRead = !isStandardStream(options.one.out) && !report.isInterrupted &&
                       report.done * metricCount <= mostNumbers &&
                       std::filesystem::is_regular_file(options.one.out);
   if (isRead)
      return summarizeSweep(options.one.out);
   Json outcomes = Json::object();
   std::uint64_t failures = 0;
   for (const auto& [outcome, count] : report.outcomes)
   {
      outcomes[outcome] = count;
      failures += cameToItsEnd(outcome) ? 0 : count;
   }
   return {{"samples", report.done},
           {"outcomes", outcomes},
           {"metrics", Json::array()},
           {"failureCount", failures},
           {"failures", Json::array()}};
}

std::string describe(const SweepReport& report)
{
   std::string result;
   if (report.kept > 0)
      result += std::to_string(report.kept) + " of them had been there\n";
   if (report.repeated > 0)
      result += std::to_string(report.repeated) + " were run again, as their process had died\n";
   if (report.lostWorkers > 0)
      result += "processes that were lost: " + std::to_string(report.lostWorkers) +
                "; others ran their samples\n";
   if (report.done < report.sampleCount)
      result += std::to_string(report.sampleCount - report.done) + " are left to be run\n";
   return result;
}

/// By the seed of the study and its number, a sample that failed can be run again.
std::string howToRunAgain(const SweepOptions& options, const SampleRunner& runner)
{
   return "the seed is " + std::to_string(runner.seed()) + "; to run one again: zqsim sweep " +
          options.one.study + " --sample K\n";
}

ExitCode report(const SweepOptions& options, const SweepReport& report, const SampleRunner& runner)
{
   const Json summary = summaryOf(options, report, runner.metricNames().size());
   const bool isWell = summary.at("failureCount") == 0;
   if (options.one.json)
   {
      Json all{{"study", options.one.study},
               {"table", options.one.out},
               {"sampleCount", report.sampleCount},
               {"doneBefore", report.kept},
               {"repeated", report.repeated},
               {"lostProcesses", report.lostWorkers},
               {"seed", runner.seed()}};
      all.update(summary);
      print(all);
   }
   else if (!options.isQuiet && !isStandardStream(options.one.out))
      print(describeSweep(summary) + (isWell ? "" : howToRunAgain(options, runner)) +
            describe(report));
   if (report.isInterrupted)
      throw Failure(Interrupted, "interrupted after " + std::to_string(report.done) + " of " +
                                    std::to_string(report.sampleCount) +
                                    " samples; the same command goes on with " + options.one.out);
   if (!options.one.plot.empty())
      plotSweep(options.one.out, options.one.plot);
   return isWell ? Done : Findings;
}

ExitCode sweepStudy(const SweepOptions& options)
{
   if (options.one.out.empty())
      throw Failure(Usage, "--out is required, or --sample (see zqsim sweep --help)");
   if (isStandardStream(options.one.out) && (options.one.json || !options.one.plot.empty()))
      throw Failure(Usage, "--out -: neither --json nor --plot goes with it");
   SweepSettings settings;
   settings.out = options.one.out;
   settings.workers = threadsOf(options);
   if (options.limit)
      settings.limit = parseCount("--limit", *options.limit);
   settings.start = options.isFresh   ? TableStart::Fresh
                    : options.isAgain ? TableStart::RunLostAgain
                                      : TableStart::GoOn;
   settings.showsProgress = !options.isQuiet;
   std::shared_ptr<const SampleRunner> runner;
   const auto makeJob = [&]
   {
      runner = std::make_shared<const SampleRunner>(options.one.study);
      return jobOf(runner);
   };
   const auto done = zqsim::sweep(settings, makeJob);
   return done ? report(options, *done, *runner) : Done;
}

ExitCode runOne(OneSample options, const std::string& sample)
{
   const char* end = sample.data() + sample.size();
   const auto read = std::from_chars(sample.data(), end, options.sample);
   if (read.ec != std::errc() || read.ptr != end)
      throw Failure(Usage, "--sample: \"" + sample + "\" is not the number of a sample");
   return runOneSample(options);
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
   "Exit codes: 0 when all samples are done or stopped, 5 when some failed, 130 when\ninterrupted.";
} // namespace

zqsim::Run zqsim::sweep(CLI::App& arguments)
{
   const auto options = std::make_shared<SweepOptions>();
   OneSample& one = options->one;
   arguments.add_option("STUDY", one.study, "The study whose samples are run")
      ->required()
      ->type_name("FILE");
   const auto addFile = [&](const char* option, std::string& name, const char* description)
   { return arguments.add_option(option, name, description)->type_name("FILE"); };
   addFile(
      "-o,--out", one.out,
      "Where to write the table, or to go on with it; with --sample, what is recorded over time");
   addFile("--plot", one.plot,
           "Draw how the metrics are distributed; with --sample, the motion (SVG)");
   CLI::Option* threads =
      arguments
         .add_option("--threads", options->threads,
                     "How many samples run at the same time, each in a process of its own; if not "
                     "given, as many as there are processors, or with MPI one for each rank")
         ->type_name("N");
   CLI::Option* limit =
      arguments.add_option("--limit", options->limit, "Run no more than so many samples now")
         ->type_name("N");
   CLI::Option* fresh = arguments.add_flag("--fresh", options->isFresh,
                                           "Begin anew, in place of a table that there is");
   CLI::Option* again =
      arguments
         .add_flag("--again", options->isAgain,
                   "Run samples again that the table has as died or failed, as for want of memory")
         ->excludes(fresh);
   CLI::Option* sample =
      arguments
         .add_option("--sample", options->sample, "Run this sample alone, and tell its metrics")
         ->type_name("K")
         ->excludes(threads)
         ->excludes(limit)
         ->excludes(again)
         ->excludes(fresh);
   addFile("--replay", one.replay, "With --sample, write a page for the browser that shows it")
      ->needs(sample);
   addFile("--contacts", one.contacts, "With --sample, a table of its contacts")->needs(sample);
   addFile("--energy", one.energy, "With --sample, a table of its energies")->needs(sample);
   arguments
      .add_option("--columns", one.columns,
                  "With --sample, what --out and --plot show, as with zqsim run")
      ->type_name("LIST")
      ->needs(sample);
   arguments.add_flag("--json", one.json, "Write JSON");
   arguments.add_flag("--quiet", options->isQuiet, "Write nothing when all goes well");
   arguments.footer(explanation);
   return [options]
   { return options->sample ? runOne(options->one, *options->sample) : sweepStudy(*options); };
}
