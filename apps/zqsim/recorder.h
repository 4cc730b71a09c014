#pragma once

#include "apps/zqsim/columns.h"
#include "apps/zqsim/csvTable.h"

#include <memory>
#include <string>

namespace zqsim
{
/// By the ending of the name: of .xml a document of states; of any other a table of time and traces.
std::unique_ptr<Observer> makeRecorder(const std::string& fileName, std::vector<Trace> traces,
                                       const std::optional<Continuation>& continuation);

/// A table of contacts: at each time one line for each pair of shapes that touch. What is not finite is left
/// out; the run ends there.
std::unique_ptr<Observer> makeContactRecorder(const std::string& fileName,
                                              const std::optional<Continuation>& continuation);
} // namespace zqsim
