#pragma once

#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace zqsim
{
/// The arguments of a command that tells something of a model.
struct ModelArguments
{
   void declare(CLI::App& arguments);

   std::string model;
   bool json = false;
};

using Diagnostics = std::vector<Zq::Diagnostic>;

/// Prints what the library logs from now on as warnings, each once.
void warnOfMessages();

/// Collects what the library logs while something is done. Of equal diagnostics only the first is kept, and
/// notes, which nothing is wrong by, are not.
Diagnostics diagnosticsOf(const std::function<void()>& action);

/// What went wrong with a file, by the diagnostics, with its place.
std::string reason(const std::string& fileName, const Diagnostics& diagnostics);

/// A diagnostic in one line, with its code.
std::string lineOf(const Zq::Diagnostic& diagnostic);

/// Initial states on the command line: numbers for all joints of all manipulators in order. A wrong number
/// of them is a `Failure`.
/// @{
void setJointPositions(ZqStatedSystem& scene, const char* option, const std::string& list);
void setJointVelocities(ZqStatedSystem& scene, const char* option, const std::string& list);
/// @}

/// Reads a document from a file or standard input, and answers what had to be repaired. When it cannot be
/// read, that is a `Failure`.
Diagnostics readDocument(const std::string& fileName, ZqXmlObject& object);
/// The same of a model, with what is odd about it besides, once something has been done to it.
Diagnostics readAndCheckModel(const std::string& fileName, ZqStatedSystem& scene,
                              std::optional<ZqReal> step,
                              const std::function<void()>& prepare = nullptr);
/// What is odd about a model, for a simulation by steps of a length (s), or of the usual one.
Diagnostics checkModel(const std::string& fileName, const ZqStatedSystem& scene,
                       std::optional<ZqReal> step);
/// Prints a warning of each, but not notes.
void warnOf(const Diagnostics& diagnostics);
/// Writes a document to a file or standard output. When it cannot be written, that is a `Failure`.
void writeDocument(const ZqXmlObject& object, const std::string& fileName,
                   bool writeDefaults = true);
} // namespace zqsim
