#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace CLI
{
class App;
}

namespace zqsim
{
/// What the process answers.
enum ExitCode
{
   Done = 0,
   Failed = 1, ///< at run time
   Usage = 2,
   InvalidInput = 3,
   NumericalFailure = 4,
   Findings = 5,
   Interrupted = 130
};

/// Ends the run with an exit code and a message, which is printed as one line.
class Failure : public std::runtime_error
{
public:
   Failure(ExitCode code, const std::string& message) : std::runtime_error(message), m_code(code) {}
   ExitCode code() const noexcept { return m_code; }

private:
   ExitCode m_code;
};

/// \name Sub-commands
/// Each declares its arguments, and answers what runs it once they are parsed.
/// @{
using Run = std::function<ExitCode()>;
Run attach(CLI::App& arguments);
Run check(CLI::App& arguments);
Run combine(CLI::App& arguments);
Run convert(CLI::App& arguments);
Run detach(CLI::App& arguments);
Run diff(CLI::App& arguments);
Run distance(CLI::App& arguments);
Run frames(CLI::App& arguments);
/// Makes the manual page and the completions of shells. Nobody is shown it.
Run generate(CLI::App& arguments);
Run ik(CLI::App& arguments);
Run info(CLI::App& arguments);
Run relabel(CLI::App& arguments);
Run run(CLI::App& arguments);
Run scale(CLI::App& arguments);
Run schema(CLI::App& arguments);
Run separate(CLI::App& arguments);
Run sweep(CLI::App& arguments);
Run vary(CLI::App& arguments);
/// @}
} // namespace zqsim
