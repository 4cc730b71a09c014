#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/output.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>

namespace
{
using namespace zqsim;

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
} // namespace

zqsim::Run zqsim::check(CLI::App& arguments)
{
   const auto options = std::make_shared<ModelArguments>();
   options->declare(arguments);
   return [options]
   {
      ZqStatedSystem scene;
      const Diagnostics diagnostics = readAndCheckModel(options->model, scene);
      if (options->json)
      {
         Json list = Json::array();
         for (const Zq::Diagnostic& diagnostic : diagnostics)
            list.push_back(objectOf(diagnostic));
         print(Json{{"model", options->model}, {"diagnostics", list}});
      }
      else
         print(linesOf(diagnostics, options->model));
      return diagnostics.empty() ? Done : Findings;
   };
}
