#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/output.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

namespace
{
using namespace zqsim;

struct CheckOptions : ModelArguments
{
   std::string step;
};

/// What does not apply is null.
Json objectOf(const Zq::Diagnostic& diagnostic)
{
   const auto orNull = [](const std::string& value)
   { return value.empty() ? Json() : Json(value); };
   return {{"severity", Zq::nameOf(diagnostic.severity)},
           {"code", diagnostic.code},
           {"file", diagnostic.file},
           {"line", diagnostic.line != 0 ? Json(diagnostic.line) : Json()},
           {"path", orNull(diagnostic.path)},
           {"text", diagnostic.text}};
}

/// One line for each, as compilers tell theirs.
std::string linesOf(const Diagnostics& diagnostics, const std::string& model)
{
   std::string result;
   for (const Zq::Diagnostic& diagnostic : diagnostics)
      result += std::string(Zq::nameOf(diagnostic.severity)) + ": " + lineOf(diagnostic) + '\n';
   return result.empty() ? model + ": nothing to complain of\n" : result;
}

bool isAnyWrong(const Diagnostics& diagnostics)
{
   return std::any_of(diagnostics.begin(), diagnostics.end(),
                      [](const Zq::Diagnostic& diagnostic)
                      { return diagnostic.severity != Zq::Severity::Note; });
}
} // namespace

zqsim::Run zqsim::check(CLI::App& arguments)
{
   const auto options = std::make_shared<CheckOptions>();
   options->declare(arguments);
   arguments
      .add_option("--dt", options->step,
                  "Length of the steps (s) by which the model is to be simulated: whether contact "
                  "takes them; if not given, a note tells whether it takes 0.001")
      ->type_name("NUMBER");
   return [options]
   {
      std::optional<ZqReal> step;
      if (!options->step.empty())
         step = parsePositive("--dt", options->step);
      ZqStatedSystem scene;
      const Diagnostics diagnostics = readAndCheckModel(options->model, scene, step);
      if (options->json)
      {
         Json list = Json::array();
         for (const Zq::Diagnostic& diagnostic : diagnostics)
            list.push_back(objectOf(diagnostic));
         print(Json{{"model", options->model}, {"diagnostics", list}});
      }
      else
         print(linesOf(diagnostics, options->model));
      return isAnyWrong(diagnostics) ? Findings : Done;
   };
}
