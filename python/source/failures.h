#pragma once

#include "python/source/bindings.h"
#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include <string>
#include <utility>
#include <vector>

/// What the library tells of in messages, as exceptions and warnings of Python.
namespace zqPython
{
/// Raises `zqmanipulator.Error`, which carries the diagnostics: its text is those of the errors, or else what
/// was being done.
[[noreturn]] void fail(const std::string& doing, const std::vector<Zq::Diagnostic>& diagnostics);
/// Warns of diagnostics by `zqmanipulator.Warning`, but not of notes.
void warn(const std::vector<Zq::Diagnostic>& diagnostics);

/// Does something short that answers whether it succeeded. What is logged on the way is raised when it did not,
/// and warned of when it did.
template <class Action>
void performNow(const std::string& doing, Action&& action)
{
   bool succeeds = false;
   std::vector<Zq::Diagnostic> diagnostics;
   {
      const Zq::DiagnosticCollector collector;
      succeeds = std::forward<Action>(action)();
      diagnostics = collector.diagnostics();
   }
   if (!succeeds)
      fail(doing, diagnostics);
   warn(diagnostics);
}

/// The same of something that takes long, with the interpreter's lock released.
template <class Action>
void perform(const std::string& doing, Action&& action)
{
   performNow(doing,
              [&]
              {
                 const py::gil_scoped_release release;
                 return std::forward<Action>(action)();
              });
}

/// Does something short, under the interpreter's lock, and warns of what is logged on the way.
template <class Action>
auto told(Action&& action)
{
   std::vector<Zq::Diagnostic> diagnostics;
   const auto answer = [&]
   {
      const Zq::DiagnosticCollector collector;
      auto result = std::forward<Action>(action)();
      diagnostics = collector.diagnostics();
      return result;
   }();
   warn(diagnostics);
   return answer;
}
} // namespace zqPython
