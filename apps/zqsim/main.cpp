// The command line of zqManipulator: looks into models, checks, converts and simulates them.

#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/output.h"

#include <CLI/CLI.hpp>

#include <array>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <utility>
#include <vector>

namespace
{
using namespace zqsim;

struct Command
{
   const char* name;
   const char* description;
   Run (*declare)(CLI::App& arguments);
};
constexpr auto commands = std::to_array<Command>(
   {{"info", "Tell what is in a model: manipulators, links, masses and state", info},
    {"frames", "Compute where the links of a model are", frames},
    {"diff", "Tell what differs between two models, or whether they move alike", diff},
    {"distance", "Tell how near the links of a model are to each other", distance},
    {"ik", "Find positions of joints that bring links where they are wanted", ik},
    {"check", "List what was repaired and what is odd in a model", check},
    {"convert", "Read a model and write it anew", convert},
    {"combine", "Mount a manipulator of another model on a link, as one tree", combine},
    {"separate", "Take off again what was mounted by combine", separate},
    {"attach", "Hang a manipulator of a model on a link of another one", attach},
    {"detach", "Take a manipulator off the link that it is attached to", detach},
    {"scale", "Make manipulators of a model greater or smaller", scale},
    {"relabel", "Give manipulators and links of a model new labels", relabel},
    {"run", "Simulate a model, step by step", zqsim::run},
    {"vary", "Make models that differ by chance from one", vary},
    {"sweep", "Run the samples of a study on all processors or machines, into one table",
     zqsim::sweep},
    {"schema", "Print the XML Schema of models, with what each element means", schema},
    {"generate", "Make the manual page and the completions of shells", generate}});

constexpr const char* exitCodes =
   "Exit codes: 0 done, 1 failed at run time, 2 usage, 3 invalid input,\n"
   "4 numerical failure, 5 findings, 130 interrupted.\n"
   "In place of a FILE, - is standard input or output.";

ExitCode run(int argumentCount, char** arguments)
{
   CLI::App app("Looks into models of manipulators, checks, converts and simulates them.", "zqsim");
   app.set_version_flag("--version", "zqsim " ZQSIM_VERSION);
   app.require_subcommand(0, 1);
   app.footer(exitCodes);
   std::vector<std::pair<CLI::App*, Run>> runs;
   for (const Command& command : commands)
   {
      CLI::App* subcommand = app.add_subcommand(command.name, command.description);
      runs.emplace_back(subcommand, command.declare(*subcommand));
   }
   try
   {
      app.parse(argumentCount, arguments);
   }
   catch (const CLI::CallForHelp&)
   {
      print(app.help());
      return Done;
   }
   catch (const CLI::CallForVersion&)
   {
      print(app.version() + '\n');
      return Done;
   }
   catch (const CLI::ParseError& error)
   {
      throw Failure(Usage, std::string(error.what()) + " (see zqsim --help)");
   }
   for (const auto& [subcommand, runSubcommand] : runs)
      if (subcommand->parsed())
         return runSubcommand();
   throw Failure(Usage, "a sub-command is required (see zqsim --help)");
}

ExitCode runAndReport(int argumentCount, char** arguments)
{
   try
   {
      return run(argumentCount, arguments);
   }
   catch (const Failure& failure)
   {
      complain(failure.what());
      return failure.code();
   }
   catch (const std::bad_alloc&)
   {
      complain("out of memory");
   }
   catch (const std::exception& exception)
   {
      complain(exception.what());
   }
   return Failed;
}
} // namespace

int main(int argumentCount, char** arguments)
{
   // Who reads the output may stop before its end.
   std::signal(SIGPIPE, SIG_IGN);
   std::signal(SIGINT, [](int) { std::_Exit(Interrupted); });
   warnOfMessages();
   return runAndReport(argumentCount, arguments);
}
