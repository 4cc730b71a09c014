#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace zqsim
{
class ExpressionParser;

/// What is wrong with an expression, and where: a character of its text, counted from 1.
class ExpressionFault : public std::runtime_error
{
public:
   ExpressionFault(std::size_t character, const std::string& message)
      : std::runtime_error("character " + std::to_string(character) + ": " + message)
   {
   }
};

/// Numbers of a run, each by an expression of what a table of the run has in its columns. What an expression takes of
/// a column over time is gathered step by step, so that nothing else of the run is kept. Const, and so for any number of
/// runs at a time, of which each has a `MetricGatherer`.
///
/// | in an expression                      | meaning                                                             |
/// |---------------------------------------|---------------------------------------------------------------------|
/// | initial(x), final(x)                  | at the start, at the end                                            |
/// | at(t, x)                              | at a time (s), between steps on a straight line                     |
/// | min(x), max(x)                        | of all steps                                                        |
/// | integral(x), mean(x), rms(x)          | over time, by trapezoids; of squares for the root of their mean     |
/// | first(x), last(x)                     | when a condition holds first, last (s)                              |
/// | time()                                | when the run ended (s)                                              |
/// | + - * / ^, < <= > >= == !=            | a condition is 1 where it holds, else 0                             |
/// | abs, sqrt, exp, log, sin, cos, tan, asin, acos, atan, sign | of one number                                  |
/// | min(a, b), max(a, b), atan2(a, b)     | of two                                                              |
///
/// x is itself an expression of columns, by their names, and of `time`; besides numbers and pi it may have initial(x). A
/// name that reads as something else stands in quotation marks. What is not a number at some step stays none.
class Metrics
{
public:
   /// Of a table with such columns. What cannot be read is an `ExpressionFault`, and then nothing is added.
   void add(const std::string& expression, std::span<const std::string> columns);

   /// The columns that are looked at, by index.
   const std::vector<std::size_t>& columns() const { return m_columns; }

   /// What an instruction does with the numbers on a stack, of which the last is on top.
   struct Instruction
   {
      enum class Kind : unsigned char
      {
         Number, ///< comes on top
         Time,
         Column,
         Gathered,
         Unary, ///< of the one on top
         Binary ///< of the two on top
      };
      Kind kind = Kind::Number;
      std::size_t index = 0; ///< among `columns`, or among what is gathered
      ZqReal number = 0.0;
      ZqReal (*unary)(ZqReal) = nullptr;
      ZqReal (*binary)(ZqReal, ZqReal) = nullptr;
   };
   using Code = std::vector<Instruction>;

   /// What is gathered so far of an expression over time.
   struct Gathered
   {
      void addToSum(ZqReal term);
      ZqReal integral() const { return sum + lostOfSum; }

      ZqReal value = 0.0;
      ZqReal sum = 0.0;
      ZqReal lostOfSum = 0.0; ///< by rounding (Neumaier 1974)
      ZqReal startTime = 0.0; ///< s
      /// \name At the step before
      /// @{
      ZqReal timeBefore = 0.0; ///< s
      ZqReal before = 0.0;
      /// @}
      bool hasBegun = false;
   };
   struct Aggregate
   {
      const char* name;
      /// Takes the number at a time; `parameter` is that of `at`.
      void (*take)(Gathered& gathered, ZqReal time, ZqReal x, ZqReal parameter);
      ZqReal (*result)(const Gathered& gathered);
   };
   static std::span<const Aggregate> aggregates();

private:
   friend class MetricGatherer;
   friend class ExpressionParser;

   struct Gathering
   {
      const Aggregate* aggregate;
      ZqReal parameter;
      Code code; ///< of what has been gathered of those before, it may take what these have
   };

   std::vector<std::size_t> m_columns;
   std::vector<Gathering> m_gatherings;
   std::vector<Code> m_results;
   std::size_t m_deepest = 0; ///< stack
};

/// Gathers the metrics of a run. After it is made it allocates nothing but results.
class MetricGatherer
{
public:
   /// The metrics have to outlive it.
   explicit MetricGatherer(const Metrics& metrics);

   /// The present numbers of `Metrics::columns`, at the start and after each step, at its time (s).
   void see(ZqReal time, std::span<const ZqReal> columns);
   /// One number for each expression, NaN where it has no value.
   std::vector<ZqReal> results();

private:
   ZqReal compute(const Metrics::Code& code, ZqReal time, std::span<const ZqReal> columns);
   ZqReal resultOf(std::size_t index) const;

   const Metrics& m_metrics;
   std::vector<Metrics::Gathered> m_gathered;
   std::vector<ZqReal> m_stack;
};
} // namespace zqsim
