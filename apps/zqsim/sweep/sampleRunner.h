#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zqsim
{
/// What came of a sample of a sweep.
struct SampleRow
{
   std::uint64_t sample = 0;
   std::string outcome;         ///< a word: "done", or why the run ended otherwise
   std::vector<ZqReal> metrics; ///< as many as there are; NaN for one that has no value
   std::string reason;          ///< of a failure, in one line; else empty
};

/// A study, ready to have its samples run: the model, the variation, inputs, initial states and metrics. It is const,
/// and any number of threads may run samples by one.
class SampleRunner
{
public:
   /// Reads the study and all that it names, relative to its folder. What cannot be read, or cannot be, is a `Failure`.
   explicit SampleRunner(const std::string& studyFile);
   ~SampleRunner();

   std::uint64_t sampleCount() const;
   const std::vector<std::string>& metricNames() const;
   /// SHA-256 of the bytes of all documents that it depends on: samples of two runners of one hash are the same.
   std::string hash() const;
   /// What came of a sample depends on the study and its number alone, to the bit.
   SampleRow run(std::uint64_t sample) const;

private:
   struct Contents;
   std::unique_ptr<const Contents> m_contents;
};
} // namespace zqsim
