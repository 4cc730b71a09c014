#include "zqManipulator/tools/sampling/ZqSweepStudy.h"

#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/simulation/step/ZqSimulationCheckpoint.h"

#include <array>
#include <charconv>
#include <cmath>
#include <set>

template class ZqXmlClass<ZqSweepMetric>;
template class ZqXmlVectorType<ZqSweepMetric>;
template class ZqXmlClass<ZqSweepStudy, ZqVariationStudy>;

namespace
{
ZqString faultOfTime(const ZqToken& token, ZqReal time)
{
   if (time > 0.0 && std::isfinite(time))
      return {};
   std::array<char, 32> digits{};
   const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), time);
   return ZqString(token.localName()) + ": expected a positive number, but received " +
          ZqString(digits.data(), end.ptr);
}

ZqString faultOfMetrics(const ZqSweepStudy::Metrics& metrics)
{
   const ZqString place(ZqManip::ZqMetricsToken.localName());
   if (metrics.size() == 0)
      return place + ": expected at least one metric";
   std::set<ZqString> names;
   for (unsigned i = 0; i < metrics.size(); ++i)
   {
      const ZqString number = place + "/[" + std::to_string(i) + "]";
      if (metrics[i].metricName().empty())
         return number + ": expected a name";
      if (!names.insert(metrics[i].metricName()).second)
         return number + ": there is another metric named '" + metrics[i].metricName() + '\'';
      if (metrics[i].expression().empty())
         return number + ": metric '" + metrics[i].metricName() + "' has no expression";
   }
   return {};
}
} // namespace

ZqSweepStudy::ZqSweepStudy()
   : m_interpolation(ZqSimulationCheckpoint::interpolationEnumeration()),
     m_solver(ZqSimulationCheckpoint::solverEnumeration()),
     m_integrator(ZqSimulationCheckpoint::integratorEnumeration())
{
}

bool ZqSweepStudy::read(ZqXmlReader& reader)
{
   // A document leaves out what is not told.
   m_initialStateFile.clear();
   m_inputFile.clear();
   m_interpolation = 0;
   setSettings({});
   return ZqXmlClass::read(reader);
}

ZqSimulation::Settings ZqSweepStudy::settings() const
{
   ZqSimulation::Settings settings;
   settings.solver = static_cast<ZqSimulation::Solver>(m_solver.value());
   settings.integrator = static_cast<ZqSimulation::Integrator>(m_integrator.value());
   settings.computesContact = m_computesContact;
   settings.couplesAttachments = m_couplesAttachments;
   return settings;
}

void ZqSweepStudy::setSettings(const ZqSimulation::Settings& settings)
{
   m_solver = static_cast<ZqU32>(settings.solver);
   m_integrator = static_cast<ZqU32>(settings.integrator);
   m_computesContact = settings.computesContact;
   m_couplesAttachments = settings.couplesAttachments;
}

ZqString ZqSweepStudy::fault() const
{
   if (ZqString fault = ZqVariationStudy::fault(); !fault.empty())
      return fault;
   if (m_modelFile.empty())
      return "modelFile: expected the name of a file";
   if (ZqString fault = faultOfTime(ZqManip::ZqDurationToken, m_duration); !fault.empty())
      return fault;
   if (ZqString fault = faultOfTime(ZqManip::ZqTimeStepToken, m_timeStep); !fault.empty())
      return fault;
   if (m_sampleCount == 0)
      return "sampleCount: expected at least 1";
   return faultOfMetrics(m_metrics);
}
