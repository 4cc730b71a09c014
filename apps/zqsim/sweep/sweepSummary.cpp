#include "apps/zqsim/sweep/sweepSummary.h"

#include "apps/zqsim/drawing.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/sweep/sweepTable.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

namespace
{
using namespace zqsim;

/// Failures that are told one by one; of the others there is the number.
constexpr std::size_t mostFailures = 20;

struct Contents
{
   explicit Contents(const std::string& tableFile);

   std::vector<std::string> names;
   std::vector<std::vector<ZqReal>> values; ///< of each metric, those that are finite, in order
   std::uint64_t samples = 0;
   std::map<std::string, std::uint64_t> outcomes;
   std::uint64_t failureCount = 0;
   std::vector<SampleRow> failures; ///< the first ones
};

Contents::Contents(const std::string& tableFile)
{
   SweepTableReader reader(tableFile);
   names = reader.metricNames();
   values.resize(names.size());
   for (SampleRow row; reader.next(row);)
   {
      ++samples;
      ++outcomes[row.outcome];
      if (!cameToItsEnd(row.outcome) && ++failureCount <= mostFailures)
         failures.push_back(row);
      for (std::size_t i = 0; i < values.size(); ++i)
         if (std::isfinite(row.metrics[i]))
            values[i].push_back(row.metrics[i]);
   }
   for (std::vector<ZqReal>& list : values)
      std::sort(list.begin(), list.end());
}

/// Of sorted values, between two on a straight line (R. Hyndman, Y. Fan 1996, definition 7).
ZqReal quantile(const std::vector<ZqReal>& sorted, ZqReal part)
{
   const ZqReal place = part * static_cast<ZqReal>(sorted.size() - 1);
   const auto below = static_cast<std::size_t>(place);
   const std::size_t above = std::min(below + 1, sorted.size() - 1);
   return sorted[below] + (place - std::floor(place)) * (sorted[above] - sorted[below]);
}

/// In units of the greatest value, so that nothing overflows.
struct Moments
{
   explicit Moments(const std::vector<ZqReal>& sorted);

   ZqReal mean = 0.0;
   ZqReal deviation = 0.0; ///< of the values from which the sample is drawn
};

Moments::Moments(const std::vector<ZqReal>& sorted)
{
   const ZqReal greatest = std::max(std::abs(sorted.front()), std::abs(sorted.back()));
   const ZqReal unit = greatest > 0.0 ? greatest : 1.0;
   const auto count = static_cast<ZqReal>(sorted.size());
   for (const ZqReal value : sorted)
      mean += value / unit;
   mean /= count;
   // What rounding left of the mean comes back by the second sum (Chan, Golub and LeVeque 1983).
   ZqReal rest = 0.0;
   ZqReal squares = 0.0;
   for (const ZqReal value : sorted)
   {
      const ZqReal difference = value / unit - mean;
      rest += difference;
      squares += difference * difference;
   }
   deviation = sorted.size() > 1
                  ? unit * std::sqrt(std::max(0.0, squares - rest * rest / count) / (count - 1.0))
                  : std::nan("");
   mean = unit * (mean + rest / count);
}

struct Quantile
{
   const char* key;
   ZqReal part;
};
constexpr std::array<Quantile, 5> quantiles{
   {{"q05", 0.05}, {"q25", 0.25}, {"median", 0.5}, {"q75", 0.75}, {"q95", 0.95}}};

Json describeMetric(const std::string& name, const std::vector<ZqReal>& sorted)
{
   Json data{{"name", name}, {"count", sorted.size()}};
   const auto put = [&](const char* key, auto compute)
   { data[key] = sorted.empty() ? Json() : bounded(compute()); };
   put("mean", [&] { return Moments(sorted).mean; });
   put("deviation", [&] { return Moments(sorted).deviation; });
   put("min", [&] { return sorted.front(); });
   for (const Quantile& one : quantiles)
      put(one.key, [&] { return quantile(sorted, one.part); });
   put("max", [&] { return sorted.back(); });
   return data;
}

// Drawing

constexpr ZqReal panelHeight = 220.0;

/// As many bars as are twice the cube root of how many values there are.
std::vector<std::size_t> countsOf(const std::vector<ZqReal>& sorted)
{
   constexpr ZqReal most = 100.0;
   const auto bars = static_cast<std::size_t>(
      std::min(most, std::ceil(2.0 * std::cbrt(static_cast<ZqReal>(sorted.size())))));
   std::vector<std::size_t> counts(sorted.front() < sorted.back() ? bars : 1);
   // Halves, as the whole range may be more than the largest number.
   const ZqReal half = 0.5 * sorted.back() - 0.5 * sorted.front();
   for (const ZqReal value : sorted)
   {
      const ZqReal part = half > 0.0 ? (0.5 * value - 0.5 * sorted.front()) / half : 0.0;
      ++counts[std::min(counts.size() - 1,
                        static_cast<std::size_t>(part * static_cast<ZqReal>(counts.size())))];
   }
   return counts;
}

std::string drawMetric(const std::string& name, const std::vector<ZqReal>& sorted, ZqReal top)
{
   if (sorted.empty())
      return label(leftMargin, top - 14.0, " class=\"title\"", name + ": no values");
   const ZqReal right = leftMargin + plotWidth;
   const ZqReal bottom = top + panelHeight;
   const std::vector<std::size_t> counts = countsOf(sorted);
   const std::size_t most = *std::max_element(counts.begin(), counts.end());
   const Axis x(sorted.front(), sorted.back(), leftMargin, right);
   const Axis y = Axis(0.0, 1.05 * static_cast<ZqReal>(most), bottom, top);
   const ZqReal low = x.place(sorted.front());
   const ZqReal width = x.place(sorted.back()) - low;
   std::string bars;
   for (std::size_t i = 0; i < counts.size(); ++i)
   {
      const auto edge = [&](std::size_t k)
      { return low + width * static_cast<ZqReal>(k) / static_cast<ZqReal>(counts.size()); };
      // One value alone is a bar around it.
      const ZqReal spread = width > 0.0 ? 0.0 : 10.0;
      if (counts[i] > 0)
         bars += rectangle(edge(i) - spread, y.place(static_cast<ZqReal>(counts[i])),
                           edge(i + 1) + spread, bottom, " fill=\"#56b4e9\" stroke=\"white\"");
   }
   for (const Quantile& one : quantiles)
   {
      const ZqReal place = x.place(quantile(sorted, one.part));
      bars += curve({{place, top}, {place, bottom}},
                    one.part == 0.5 ? " stroke=\"#d55e00\""
                                    : " stroke=\"#333333\" stroke-dasharray=\"4 4\"");
   }
   return panelFrame(name + ", " + std::to_string(sorted.size()) + " values", name, "samples", x, y,
                     top, bottom) +
          bars;
}
} // namespace

zqsim::Json zqsim::summarizeSweep(const std::string& tableFile)
{
   const Contents contents(tableFile);
   Json outcomes = Json::object();
   for (const auto& [outcome, count] : contents.outcomes)
      outcomes[outcome] = count;
   Json metrics = Json::array();
   for (std::size_t i = 0; i < contents.names.size(); ++i)
      metrics.push_back(describeMetric(contents.names[i], contents.values[i]));
   Json failures = Json::array();
   for (const SampleRow& row : contents.failures)
      failures.push_back(
         {{"sample", row.sample}, {"outcome", row.outcome}, {"reason", row.reason}});
   return {{"samples", contents.samples},
           {"outcomes", outcomes},
           {"metrics", metrics},
           {"failureCount", contents.failureCount},
           {"failures", failures}};
}

std::string zqsim::describeSweep(const Json& summary)
{
   static constexpr std::array columns{
      Column{"metric", "/name"},  Column{"count", "/count"},   Column{"mean", "/mean"},
      Column{"sd", "/deviation"}, Column{"min", "/min"},       Column{"5 %", "/q05"},
      Column{"25 %", "/q25"},     Column{"median", "/median"}, Column{"75 %", "/q75"},
      Column{"95 %", "/q95"},     Column{"max", "/max"}};
   std::string result = text(summary.at("samples")) + " samples:";
   const char* separator = " ";
   for (const auto& [outcome, count] : summary.at("outcomes").items())
   {
      result += separator + text(count) + ' ' + outcome;
      separator = ", ";
   }
   result += '\n';
   if (!summary.at("metrics").empty())
      result += table(summary.at("metrics"), columns);
   for (const Json& failure : summary.at("failures"))
      result += "sample " + text(failure.at("sample")) + ' ' +
                describeOutcome(text(failure.at("outcome")), text(failure.at("reason"))) + '\n';
   const auto more =
      summary.at("failureCount").get<std::uint64_t>() - summary.at("failures").size();
   if (more > 0)
      result += "and " + std::to_string(more) + " more; the table tells their reasons\n";
   return result;
}

void zqsim::plotSweep(const std::string& tableFile, const std::string& plotFile)
{
   const Contents contents(tableFile);
   constexpr ZqReal rightMargin = 30.0;
   std::string panels;
   ZqReal height = 0.0;
   for (std::size_t i = 0; i < contents.names.size(); ++i)
   {
      panels += drawMetric(contents.names[i], contents.values[i], height + titleHeight);
      height += titleHeight + (contents.values[i].empty() ? 0.0 : panelHeight) + axisHeight;
   }
   OutputFile file(plotFile);
   file.write(drawing(panels, leftMargin + plotWidth + rightMargin, height));
   file.close();
}
