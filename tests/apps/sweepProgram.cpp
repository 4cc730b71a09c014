// A sweep whose samples take no time and do what a test tells: they end processes, or wait for what others do.
//
//   sweepProgram TABLE [NAME=VALUE ...]

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/sweep/sweepRun.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <string>

namespace
{
const pid_t mainProcess = ::getpid();
std::map<std::string, std::string> options;

std::uint64_t number(const std::string& name, std::uint64_t otherwise)
{
   return options.contains(name) ? std::stoull(options.at(name)) : otherwise;
}

bool isThere(const std::string& ending)
{
   return std::filesystem::exists(options.at("table") + ending);
}

void awaitFile(const std::string& ending)
{
   while (!isThere(ending))
      ::usleep(1000);
}

/// In what standard error goes to.
void awaitWarningOfRank()
{
   std::string text;
   while (text.find("does not help") == std::string::npos)
   {
      ::usleep(1000);
      std::ifstream file(options.at("errors"));
      text.assign(std::istreambuf_iterator<char>(file), {});
   }
}

/// True for one process only, once in the life of the table.
bool isFirst()
{
   std::FILE* mark = std::fopen((options.at("table") + ".mark").c_str(), "wx");
   return mark != nullptr && std::fclose(mark) == 0;
}

void endAll(int signal)
{
   ::kill(mainProcess, signal);
   ::pause();
}

void misbehave(std::uint64_t sample)
{
   constexpr std::uint64_t none = std::numeric_limits<std::uint64_t>::max();
   const char* rankText = std::getenv("OMPI_COMM_WORLD_RANK");
   const std::uint64_t rank = rankText == nullptr ? 0 : std::stoull(rankText);
   if (sample == number("aborts", none))
      std::raise(SIGABRT);
   if (sample == number("exits", none))
      std::_Exit(0);
   if (sample == number("throws", none))
      throw std::runtime_error("no room, said the sample");
   if (sample == number("diesOnce", none) && isFirst())
      std::raise(SIGKILL);
   if (options.contains("errors"))
      awaitWarningOfRank();
   if (sample == number("killsWhenOthersAreAhead", none))
   {
      awaitFile(".early");
      if (isFirst())
         endAll(SIGKILL);
   }
   if (options.contains("signal") && rank == number("ofRank", 0) &&
       sample >= number("atSample", 0) && isFirst())
      endAll(std::stoi(options.at("signal")));
   // Others are to have a part of the work.
   if (sample >= number("atSample", 0) && rank != number("ofRank", rank))
      awaitFile(".mark");
}

zqsim::SampleRow run(std::uint64_t sample)
{
   misbehave(sample);
   std::mt19937_64 numbers(sample);
   const auto next = [&] { return static_cast<ZqReal>(numbers()) / 3e12; };
   zqsim::SampleRow row{sample, "done", {next(), -next()}, {}};
   if (sample % 7 == 3)
      row = {sample,
             "diverged",
             {next(), std::numeric_limits<ZqReal>::quiet_NaN()},
             "the \"elbow\", of course,\n gave way"};
   return row;
}
} // namespace

int main(int count, char** arguments)
{
   std::signal(SIGPIPE, SIG_IGN);
   options["table"] = arguments[1];
   for (int i = 2; i < count; ++i)
   {
      const std::string word = arguments[i];
      options[word.substr(0, word.find('='))] = word.substr(word.find('=') + 1);
   }
   zqsim::SweepSettings settings;
   settings.out = options.at("table");
   settings.workers = number("workers", 1);
   settings.start = options.contains("fresh")   ? zqsim::TableStart::Fresh
                    : options.contains("again") ? zqsim::TableStart::RunLostAgain
                                                : zqsim::TableStart::GoOn;
   if (options.contains("limit"))
      settings.limit = number("limit", 0);
   try
   {
      const auto report = zqsim::sweep(
         settings,
         []
         {
            const char* rank = std::getenv("OMPI_COMM_WORLD_RANK");
            const std::string study = options.contains("study") ? options.at("study") : "abc";
            if (options.contains("noStudyOfRank") && rank == options.at("noStudyOfRank"))
               throw zqsim::Failure(zqsim::InvalidInput, "1 study is not there");
            if (options.contains("otherStudyOfRank") && rank == options.at("otherStudyOfRank"))
               return zqsim::SweepJob{"other", {"a", "b"}, number("count", 200), run};
            return zqsim::SweepJob{study, {"a", "b"}, number("count", 200), run, {"of the study"}};
         });
      if (!report)
         return zqsim::Done;
      std::printf("kept %d done %d repeated %d lost %d\n", static_cast<int>(report->kept),
                  static_cast<int>(report->done), static_cast<int>(report->repeated),
                  static_cast<int>(report->lostWorkers));
      return report->isInterrupted ? zqsim::Interrupted : zqsim::Done;
   }
   catch (const zqsim::Failure& failure)
   {
      zqsim::complain(failure.what());
      return failure.code();
   }
}
