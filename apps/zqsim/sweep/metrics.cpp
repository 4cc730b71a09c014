#include "apps/zqsim/sweep/metrics.h"

#include <array>
#include <cmath>
#include <limits>

namespace
{
using Gathered = zqsim::Metrics::Gathered;

constexpr ZqReal none = std::numeric_limits<ZqReal>::quiet_NaN();

void takeFirst(Gathered& gathered, ZqReal, ZqReal x, ZqReal)
{
   if (!gathered.hasBegun)
      gathered.value = x;
}

void takeLast(Gathered& gathered, ZqReal, ZqReal x, ZqReal)
{
   gathered.value = x;
}

/// What is not a number stays.
void takeLeast(Gathered& gathered, ZqReal, ZqReal x, ZqReal)
{
   if (!gathered.hasBegun || (!(x >= gathered.value) && !std::isnan(gathered.value)))
      gathered.value = x;
}

void takeGreatest(Gathered& gathered, ZqReal, ZqReal x, ZqReal)
{
   if (!gathered.hasBegun || (!(x <= gathered.value) && !std::isnan(gathered.value)))
      gathered.value = x;
}

void takeTrapezoid(Gathered& gathered, ZqReal time, ZqReal x, ZqReal)
{
   gathered.value = x;
   if (gathered.hasBegun)
      gathered.addToSum(0.5 * (time - gathered.timeBefore) * (gathered.before + x));
}

void takeTrapezoidOfSquare(Gathered& gathered, ZqReal time, ZqReal x, ZqReal)
{
   gathered.value = x * x;
   if (gathered.hasBegun)
      gathered.addToSum(0.5 * (time - gathered.timeBefore) *
                        (gathered.before * gathered.before + x * x));
}

/// A time that is that of a step but for rounding is it.
void takeAt(Gathered& gathered, ZqReal time, ZqReal x, ZqReal wanted)
{
   const ZqReal rounding = 4.0 * std::numeric_limits<ZqReal>::epsilon() * std::abs(time);
   if (!gathered.hasBegun)
      gathered.value = none;
   if (std::abs(time - wanted) <= rounding)
      gathered.value = x;
   else if (gathered.hasBegun && gathered.timeBefore < wanted && wanted < time &&
            std::isnan(gathered.value))
      gathered.value = gathered.before + (wanted - gathered.timeBefore) /
                                            (time - gathered.timeBefore) * (x - gathered.before);
}

void takeTimeOfFirst(Gathered& gathered, ZqReal time, ZqReal x, ZqReal)
{
   if (!gathered.hasBegun)
      gathered.value = none;
   if (std::abs(x) > 0.0 && std::isnan(gathered.value))
      gathered.value = time;
}

void takeTimeOfLast(Gathered& gathered, ZqReal time, ZqReal x, ZqReal)
{
   if (!gathered.hasBegun)
      gathered.value = none;
   if (std::abs(x) > 0.0)
      gathered.value = time;
}

ZqReal valueOf(const Gathered& gathered)
{
   return gathered.value;
}

ZqReal integralOf(const Gathered& gathered)
{
   return gathered.integral();
}

/// Of no time, what there is at it.
ZqReal meanOf(const Gathered& gathered)
{
   const ZqReal duration = gathered.timeBefore - gathered.startTime;
   return duration > 0.0 ? gathered.integral() / duration : gathered.value;
}

ZqReal rootOfMean(const Gathered& gathered)
{
   return std::sqrt(meanOf(gathered));
}

constexpr std::array<zqsim::Metrics::Aggregate, 10> allAggregates{
   {{"initial", takeFirst, valueOf},
    {"final", takeLast, valueOf},
    {"at", takeAt, valueOf},
    {"min", takeLeast, valueOf},
    {"max", takeGreatest, valueOf},
    {"integral", takeTrapezoid, integralOf},
    {"mean", takeTrapezoid, meanOf},
    {"rms", takeTrapezoidOfSquare, rootOfMean},
    {"first", takeTimeOfFirst, valueOf},
    {"last", takeTimeOfLast, valueOf}}};
} // namespace

std::span<const zqsim::Metrics::Aggregate> zqsim::Metrics::aggregates()
{
   return allAggregates;
}

void zqsim::Metrics::Gathered::addToSum(ZqReal term)
{
   const ZqReal next = sum + term;
   lostOfSum += std::abs(sum) >= std::abs(term) ? (sum - next) + term : (term - next) + sum;
   sum = next;
}

zqsim::MetricGatherer::MetricGatherer(const Metrics& metrics)
   : m_metrics(metrics), m_gathered(metrics.m_gatherings.size()), m_stack(metrics.m_deepest)
{
}

void zqsim::MetricGatherer::see(ZqReal time, std::span<const ZqReal> columns)
{
   for (std::size_t i = 0; i < m_gathered.size(); ++i)
   {
      const Metrics::Gathering& gathering = m_metrics.m_gatherings[i];
      Metrics::Gathered& gathered = m_gathered[i];
      const ZqReal x = compute(gathering.code, time, columns);
      if (!gathered.hasBegun)
         gathered.startTime = time;
      gathering.aggregate->take(gathered, time, x, gathering.parameter);
      gathered.hasBegun = true;
      gathered.timeBefore = time;
      gathered.before = x;
   }
}

std::vector<ZqReal> zqsim::MetricGatherer::results()
{
   std::vector<ZqReal> results;
   for (const Metrics::Code& code : m_metrics.m_results)
      results.push_back(compute(code, none, {}));
   return results;
}

ZqReal zqsim::MetricGatherer::compute(const Metrics::Code& code, ZqReal time,
                                      std::span<const ZqReal> columns)
{
   using Kind = Metrics::Instruction::Kind;
   std::size_t depth = 0;
   for (const Metrics::Instruction& instruction : code)
      switch (instruction.kind)
      {
      case Kind::Number:
         m_stack[depth++] = instruction.number;
         break;
      case Kind::Time:
         m_stack[depth++] = time;
         break;
      case Kind::Column:
         m_stack[depth++] = columns[instruction.index];
         break;
      case Kind::Gathered:
         m_stack[depth++] = resultOf(instruction.index);
         break;
      case Kind::Unary:
         m_stack[depth - 1] = instruction.unary(m_stack[depth - 1]);
         break;
      case Kind::Binary:
         --depth;
         m_stack[depth - 1] = instruction.binary(m_stack[depth - 1], m_stack[depth]);
         break;
      }
   return m_stack[0];
}

ZqReal zqsim::MetricGatherer::resultOf(std::size_t index) const
{
   const Metrics::Gathered& gathered = m_gathered[index];
   return gathered.hasBegun ? m_metrics.m_gatherings[index].aggregate->result(gathered) : none;
}
