#include "apps/zqsim/sweep/sampleRunner.h"

#include "apps/zqsim/sweep/preparedStudy.h"

#include <exception>
#include <limits>

struct zqsim::SampleRunner::Contents : PreparedStudy
{
   using PreparedStudy::PreparedStudy;
};

zqsim::SampleRunner::SampleRunner(const std::string& studyFile)
   : m_contents(std::make_unique<Contents>(studyFile))
{
}

zqsim::SampleRunner::~SampleRunner() = default;

std::uint64_t zqsim::SampleRunner::sampleCount() const
{
   return m_contents->study().sampleCount();
}

const std::vector<std::string>& zqsim::SampleRunner::metricNames() const
{
   return m_contents->metricNames();
}

std::uint32_t zqsim::SampleRunner::seed() const
{
   return m_contents->study().seed();
}

std::string zqsim::SampleRunner::hash() const
{
   return m_contents->hash();
}

std::vector<std::string> zqsim::SampleRunner::warnings() const
{
   std::vector<std::string> lines;
   for (const Zq::Diagnostic& diagnostic : m_contents->warnings())
      if (diagnostic.severity != Zq::Severity::Note)
         lines.push_back(lineOf(diagnostic));
   return lines;
}

zqsim::SampleRow zqsim::SampleRunner::run(std::uint64_t sample) const
{
   try
   {
      return m_contents->run(sample, {});
   }
   catch (const std::exception& failure)
   {
      return {sample, "failed",
              std::vector<ZqReal>(metricNames().size(), std::numeric_limits<ZqReal>::quiet_NaN()),
              failure.what()};
   }
}
