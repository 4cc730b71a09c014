#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zqsim
{
/// Whether a sample has metrics, as its outcome is "done" or "stopped".
inline bool cameToItsEnd(std::string_view outcome)
{
   return outcome == "done" || outcome == "stopped";
}
/// In one line, with its reason, if there is one.
inline std::string describeOutcome(const std::string& outcome, const std::string& reason)
{
   return reason.starts_with(outcome) ? reason : outcome + (reason.empty() ? "" : ": ") + reason;
}

/// What came of a sample of a sweep.
struct SampleRow
{
   std::uint64_t sample = 0;
   /// A word: "done", "stopped" by a criterion, "diverged", "refused" where the model cannot be varied, "failed", or
   /// "interrupted", which is no outcome of the sample: it is to be run again.
   std::string outcome;
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
   std::uint32_t seed() const;
   /// SHA-256 of what samples depend on, that is of all documents but for the number of samples: samples of two runners
   /// of one hash are the same.
   std::string hash() const;
   /// What is odd about the study and its model, line by line, for who tells it once.
   std::vector<std::string> warnings() const;
   /// What came of a sample depends on the study and its number alone, to the bit.
   SampleRow run(std::uint64_t sample) const;

private:
   struct Contents;
   std::unique_ptr<const Contents> m_contents;
};
} // namespace zqsim
