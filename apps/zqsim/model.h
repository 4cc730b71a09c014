#pragma once

#include "zqManipulator/kinematics/ZqStatedSystem.h"

#include <functional>
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

/// A message of the library as one line.
struct Message
{
   std::string text;
   unsigned long line = 0; ///< of the document, or 0
   unsigned weight = 0;    ///< the greater, the more likely it tells why something failed
};

/// Prints what the library logs from now on as warnings, each once.
void warnOfMessages();

/// Collects what the library logs while something is done with a file. Of equal messages only the first
/// is kept.
std::vector<Message> messagesOf(const std::string& fileName, const std::function<void()>& action);

/// What went wrong with a file, by the messages, with its place.
std::string reason(const std::string& fileName, const std::vector<Message>& messages);

/// Reads a model from a file or standard input, and answers what had to be repaired. When it cannot be
/// read, that is a `Failure`.
std::vector<Message> readModel(const std::string& fileName, ZqStatedSystem& scene);
/// Reads a model, with a warning of each repair.
void readModelWithWarnings(const std::string& fileName, ZqStatedSystem& scene);
/// Writes a model to a file or standard output. When it cannot be written, that is a `Failure`.
void writeModel(const ZqStatedSystem& scene, const std::string& fileName,
                bool writeDefaults = true);
} // namespace zqsim
