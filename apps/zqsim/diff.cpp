#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/output.h"
#include "zqManipulator/tools/difference/ZqModelDifference.h"
#include "zqManipulator/tools/difference/ZqMotionDifference.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <array>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace
{
using namespace zqsim;

struct DiffOptions
{
   void declare(CLI::App& arguments);
   ExitCode run() const;

private:
   ExitCode compareModels(const ZqStatedSystem& a, const ZqStatedSystem& b) const;
   ExitCode compareMotion(const ZqStatedSystem& a, const ZqStatedSystem& b) const;
   ZqReal numberOr(const char* option, const std::string& given, ZqReal other) const;
   ZqU32 countOf(const char* option, const std::string& given) const;

   std::string first;
   std::string second;
   std::string tolerance;
   std::string relative;
   std::vector<std::string> ignored;
   std::string limit = "100";
   std::string states = "100";
   std::string seed = "1";
   bool motion = false;
   bool fromState = false;
   bool json = false;
};

void DiffOptions::declare(CLI::App& arguments)
{
   arguments.add_option("A", first, "A model")->required()->type_name("FILE");
   arguments.add_option("B", second, "The model to compare with it")->required()->type_name("FILE");
   arguments
      .add_option("--tolerance", tolerance,
                  "By how much numbers may differ; 0 if not given, and with --motion 1e-9")
      ->type_name("NUMBER");
   CLI::Option* const relativeOption =
      arguments
         .add_option("--relative", relative,
                     "By how much more, as a part of the greater of the two; 0 if not given")
         ->type_name("NUMBER");
   CLI::Option* const ignoreOption =
      arguments
         .add_option("--ignore", ignored,
                     "Pass over elements, and what is in them: a name, or names one below the "
                     "other and apart by /, each with a label in brackets or for any label; "
                     "may be given several times")
         ->type_name("PATH")
         ->expected(1)
         ->take_all();
   CLI::Option* const limitOption =
      arguments.add_option("--limit", limit, "How many differences are told")
         ->type_name("N")
         ->capture_default_str();
   CLI::Option* const motionOption =
      arguments.add_flag("--motion", motion,
                         "Compare how the models move in random states, not what they are made of");
   motionOption->excludes(relativeOption)->excludes(ignoreOption)->excludes(limitOption);
   arguments.add_option("--states", states, "How many states")
      ->type_name("N")
      ->capture_default_str()
      ->needs(motionOption);
   arguments.add_option("--seed", seed, "Which random states")
      ->type_name("N")
      ->capture_default_str()
      ->needs(motionOption);
   arguments
      .add_flag("--from-state", fromState,
                "Compare how they move away from where the state of each has them: zeros of joints "
                "and frames of links may differ, as after convert --to")
      ->needs(motionOption);
   arguments.add_flag("--json", json, "Print JSON");
   arguments.footer("The exit code is 5 if they differ, or do not move alike.");
}

ZqReal DiffOptions::numberOr(const char* option, const std::string& given, ZqReal other) const
{
   const ZqReal number = given.empty() ? other : parseNumber(option, given);
   if (!(number >= 0.0))
      throw Failure(Usage, std::string(option) + ": expected a number of at least 0");
   return number;
}

ZqU32 DiffOptions::countOf(const char* option, const std::string& given) const
{
   const std::uint64_t count = parseCount(option, given);
   if (count > std::numeric_limits<ZqU32>::max())
      throw Failure(Usage, std::string(option) + ": expected at most 4294967295");
   return static_cast<ZqU32>(count);
}

ExitCode DiffOptions::run() const
{
   if (first == "-" && second == "-")
      throw Failure(Usage, "standard input can be one of the models only");
   ZqStatedSystem a;
   ZqStatedSystem b;
   warnOf(readDocument(first, a));
   warnOf(readDocument(second, b));
   return motion ? compareMotion(a, b) : compareModels(a, b);
}

Json valueOf(const std::optional<ZqString>& value)
{
   return value ? Json(*value) : Json();
}

ExitCode DiffOptions::compareModels(const ZqStatedSystem& a, const ZqStatedSystem& b) const
{
   ZqModelDifference::Settings settings;
   settings.tolerance = numberOr("--tolerance", tolerance, 0.0);
   settings.relative = numberOr("--relative", relative, 0.0);
   settings.ignored = ignored;
   settings.limit = countOf("--limit", limit);
   const ZqModelDifference difference(a, b, settings);
   if (!difference.isValid())
      throw Failure(InvalidInput, "a model holds what cannot be compared");
   if (json)
   {
      Json list = Json::array();
      for (const ZqModelDifference::Entry& entry : difference.entries())
         list.push_back(
            {{"path", entry.path}, {"a", valueOf(entry.first)}, {"b", valueOf(entry.second)}});
      print(Json{{"a", first},
                 {"b", second},
                 {"count", difference.count()},
                 {"differences", std::move(list)}});
   }
   else
   {
      const std::size_t count = difference.count();
      std::string summary = count == 0   ? "no difference"
                            : count == 1 ? "1 difference"
                                         : std::to_string(count) + " differences";
      if (count > difference.entries().size())
         summary += ", of which " + std::to_string(difference.entries().size()) + " are told";
      print(difference.text() + summary + '\n');
   }
   return difference.isEmpty() ? Done : Findings;
}

ExitCode DiffOptions::compareMotion(const ZqStatedSystem& a, const ZqStatedSystem& b) const
{
   const ZqReal most = numberOr("--tolerance", tolerance, 1e-9);
   const ZqMotionDifference::Settings settings{countOf("--states", states), countOf("--seed", seed),
                                               fromState};
   const ZqMotionDifference difference = ZqMotionDifference::between(a, b, settings);
   const bool isAlike = difference.isWithin(most);
   using Deviation = ZqMotionDifference::Deviation;
   struct Row
   {
      const char* name;
      const char* unit;
      const Deviation& deviation;
   };
   const std::array<Row, 4> rows{{{"position", "m", difference.position},
                                  {"orientation", "rad", difference.orientation},
                                  {"mass", "kg", difference.mass},
                                  {"acceleration", "relative", difference.acceleration}}};
   Json data{{"a", first},
             {"b", second},
             {"states", settings.states},
             {"seed", settings.seed},
             {"tolerance", most},
             {"alike", isAlike},
             {"deviations", Json::array()}};
   for (const auto& [name, unit, deviation] : rows)
      data["deviations"].push_back(
         {{"of", name},
          {"unit", unit},
          {"greatest", bounded(deviation.value)},
          {"place", deviation.place.empty() ? Json() : Json(deviation.place)},
          {"state", deviation.state}});
   data["onlyInA"] = difference.onlyInFirst;
   data["onlyInB"] = difference.onlyInSecond;
   if (json)
      print(data);
   else
   {
      constexpr std::array<Column, 5> columns{{{"greatest", "/greatest"},
                                               {"of", "/of"},
                                               {"in", "/unit"},
                                               {"place", "/place"},
                                               {"state", "/state"}}};
      std::string result;
      for (const auto& [mark, list] : {std::pair("only in A: ", &difference.onlyInFirst),
                                       std::pair("only in B: ", &difference.onlyInSecond)})
         for (const ZqString& name : *list)
            result += mark + name + '\n';
      print(result + table(data["deviations"], columns) +
            (isAlike ? "they move alike\n" : "they do not move alike\n"));
   }
   return isAlike ? Done : Findings;
}
} // namespace

zqsim::Run zqsim::diff(CLI::App& arguments)
{
   const auto options = std::make_shared<DiffOptions>();
   options->declare(arguments);
   return [options] { return options->run(); };
}
