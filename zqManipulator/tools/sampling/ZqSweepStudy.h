#pragma once

#include "zqManipulator/foundation/xml/ZqXmlEnumType.h"
#include "zqManipulator/simulation/step/ZqInputTable.h"
#include "zqManipulator/tools/variation/ZqVariationStudy.h"

/// A number that a sweep keeps of each of its runs: a name, and an expression of what a run records, as
/// "max(abs(puma560/elbow velocity))". It is for the program that runs the sweep to read the expression.
class ZqSweepMetric : public ZqXmlClass<ZqSweepMetric>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqMetricToken; }
   static constexpr const char* documentation = "a number that a sweep keeps of each run";
   template <class This = ZqSweepMetric>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_metricName, &ZqManip::ZqMetricNameToken,
                                    "heads its column in the table of the sweep"},
                        ZqComponent{&This::m_expression, &ZqManip::ZqExpressionToken,
                                    "of what a run records, as final(arm/hand frame position z)"}};
   }
   ZqSweepMetric() = default;
   ZqSweepMetric(const ZqString& name, const ZqString& expression)
      : m_metricName(name), m_expression(expression)
   {
   }
   bool operator==(const ZqSweepMetric&) const = default;

   const ZqString& metricName() const { return m_metricName; }
   void setMetricName(const ZqString& name) { m_metricName = name; }
   const ZqString& expression() const { return m_expression; }
   void setExpression(const ZqString& expression) { m_expression = expression; }

private:
   ZqString m_metricName;
   ZqString m_expression;
};

extern template class ZqXmlClass<ZqSweepMetric>;
extern template class ZqXmlVectorType<ZqSweepMetric>;

/// Many runs of one scene that is varied, as a document: which scene, how uncertain it is, where it begins and what
/// drives it, how it is simulated, and which numbers of each run are kept. Sample k follows from the seed and k alone.
///
/// Files are named relative to the folder of the document.
class ZqSweepStudy : public ZqXmlClass<ZqSweepStudy, ZqVariationStudy>
{
public:
   using Metrics = ZqXmlVectorType<ZqSweepMetric>;

   static const ZqToken& classToken() { return ZqManip::ZqSweepStudyToken; }
   static constexpr const char* documentation = "many runs of a scene that is varied";
   template <class This = ZqSweepStudy>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_modelFile, &ZqManip::ZqModelFileToken, "the scene that is varied"},
         ZqOptionalComponent(
            &This::m_initialStateFile, &ZqManip::ZqInitialStateFileToken,
            "table (CSV) of positions and velocities of joints to begin with, one "
            "line for each sample in turn; what it does not name is as in the scene"),
         ZqOptionalComponent(&This::m_inputFile, &ZqManip::ZqInputFileToken,
                             "table (CSV) of what drives each run over time"),
         ZqOptionalComponent(&This::m_interpolation, &ZqManip::ZqInterpolationToken,
                             "between the lines of that table"),
         ZqComponent{&This::m_duration, &ZqManip::ZqDurationToken, "of each run (s)"},
         ZqComponent{&This::m_timeStep, &ZqManip::ZqTimeStepToken, "length of a step (s)"},
         ZqOptionalComponent(&This::m_solver, &ZqManip::ZqSolverToken,
                             "what computes accelerations"),
         ZqOptionalComponent(&This::m_integrator, &ZqManip::ZqIntegratorToken,
                             "by which rule a step leads on from the accelerations"),
         ZqOptionalComponent(&This::m_computesContact, &ZqManip::ZqComputesContactToken,
                             "whether links that touch push each other"),
         ZqOptionalComponent(&This::m_couplesAttachments, &ZqManip::ZqCouplesAttachmentsToken,
                             "whether what is attached acts back on what carries it"),
         ZqComponent{&This::m_seed, &ZqManip::ZqSeedToken, "of all that is drawn"},
         ZqComponent{&This::m_sampleCount, &ZqManip::ZqSampleCountToken, "how many runs"},
         ZqComponent{&This::m_metrics, &ZqManip::ZqMetricsToken,
                     "what is kept of each run, in the order of columns"}};
   }
   bool operator==(const ZqSweepStudy&) const = default;
   bool read(ZqXmlReader& reader) override;

   /// Of nothing: one sample, and steps of 1 ms, but no time.
   ZqSweepStudy();

   /// \name Files
   /// Empty where there is none.
   /// @{
   const ZqString& modelFile() const { return m_modelFile; }
   void setModelFile(const ZqString& name) { m_modelFile = name; }
   const ZqString& initialStateFile() const { return m_initialStateFile; }
   void setInitialStateFile(const ZqString& name) { m_initialStateFile = name; }
   const ZqString& inputFile() const { return m_inputFile; }
   void setInputFile(const ZqString& name) { m_inputFile = name; }
   /// @}
   ZqInputTable::Interpolation interpolation() const
   {
      return static_cast<ZqInputTable::Interpolation>(m_interpolation.value());
   }
   void setInterpolation(ZqInputTable::Interpolation interpolation)
   {
      m_interpolation = static_cast<ZqU32>(interpolation);
   }

   /// \name How each run is simulated
   /// @{
   /// In s.
   ZqReal duration() const { return m_duration; }
   void setDuration(ZqReal duration) { m_duration = duration; }
   /// In s.
   ZqReal timeStep() const { return m_timeStep; }
   void setTimeStep(ZqReal step) { m_timeStep = step; }
   ZqSimulation::Settings settings() const;
   /// Of which solver, integrator, contact and coupling are kept.
   void setSettings(const ZqSimulation::Settings& settings);
   /// @}

   ZqU32 seed() const { return m_seed; }
   void setSeed(ZqU32 seed) { m_seed = seed; }
   ZqU32 sampleCount() const { return m_sampleCount; }
   void setSampleCount(ZqU32 count) { m_sampleCount = count; }
   const Metrics& metrics() const { return m_metrics; }
   void setMetrics(const Metrics& metrics) { m_metrics = metrics; }

   /// What a sample comes from; the document of the scene is for the caller to tell.
   ZqVariationOrigin originOf(ZqU32 sample) const { return {*this, m_seed, sample}; }

   /// Empty when the study can be made, as far as it tells by itself. Otherwise what is wrong first, after the
   /// elements that lead to it. Files and expressions are not looked into.
   ZqString fault() const;

private:
   ZqString m_modelFile;
   ZqString m_initialStateFile;
   ZqString m_inputFile;
   ZqXmlEnumType<ZqU32> m_interpolation;
   ZqReal m_duration = 0.0;
   ZqReal m_timeStep = 0.001;
   ZqXmlEnumType<ZqU32> m_solver;
   ZqXmlEnumType<ZqU32> m_integrator;
   bool m_computesContact = true;
   bool m_couplesAttachments = true;
   ZqU32 m_seed = 0;
   ZqU32 m_sampleCount = 1;
   Metrics m_metrics;
};

extern template class ZqXmlClass<ZqSweepStudy, ZqVariationStudy>;
