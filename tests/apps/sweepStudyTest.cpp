#include "apps/zqsim/sweep/metrics.h"
#include "apps/zqsim/sweep/sampleRun.h"
#include "apps/zqsim/sweep/sampleRunner.h"
#include "apps/zqsim/sweep/sweepSummary.h"
#include "apps/zqsim/sweep/sweepTable.h"
#include "apps/zqsimFixture.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <random>
#include <thread>

namespace
{
using zqsim::SampleRow;
using zqsim::SampleRunner;

/// NaN is equal to itself.
bool isSame(ZqReal a, ZqReal b)
{
   return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) ||
          (std::isnan(a) && std::isnan(b));
}

const std::vector<std::string> columns{"arm/elbow velocity", "arm/elbow position", "total energy",
                                       "arm/a-b velocity", "odd, (name)"};

/// Of a run of 11 steps of 0.1 s, in which the columns are t^2, t, 5 - t, -t and 2.
ZqReal valueOf(const std::string& expression)
{
   zqsim::Metrics metrics;
   metrics.add(expression, columns);
   zqsim::MetricGatherer gatherer(metrics);
   for (int k = 0; k <= 10; ++k)
   {
      const ZqReal t = k / 10.0;
      const std::array all{t * t, t, 5.0 - t, -t, 2.0};
      std::vector<ZqReal> numbers;
      for (const std::size_t column : metrics.columns())
         numbers.push_back(all[column]);
      gatherer.see(t, numbers);
   }
   return gatherer.results().front();
}

TEST(SweepMetrics, ExpressionsMeanWhatTheySay)
{
   const std::vector<std::pair<std::string, ZqReal>> cases{
      {"final(arm/elbow velocity)", 1.0},
      {"max(abs(arm/a-b velocity)-arm/elbow position/2)", 0.5},
      {"mean(arm/elbow \n\t velocity)", 0.335},
      {"rms(arm/elbow position)", std::sqrt(0.335)},
      {"integral(2*time)", 1.0},
      {"at(0.35, arm/elbow velocity)", 0.125},
      {"at(0.3, arm/elbow velocity)", 0.09},
      {"at(1.5, total energy)", NAN},
      {"time()", 1.0},
      {"first(arm/elbow position >= 0.5)", 0.5},
      {"last(arm/elbow position < 0.5)", 0.4},
      {"first(time > 2)", NAN},
      {"max(abs(total energy - initial(total energy)))", 1.0},
      {"max(final(total energy), min(total energy))", 4.0},
      {"final(\"odd, (name)\") + max('odd, (name)')", 4.0},
      {"2^3^2 - -2^2 + 2^-1", 516.5},
      {"1 + 2*3 - 4/2 + (1 < 2) + (2 != 2) + sin(pi/2)", 7.0},
      {"max(sqrt(time - 0.5))", NAN},
      {"min(0/0, 1)", NAN},
      {"min(1, 0/0)", NAN}};
   for (const auto& [expression, expected] : cases)
   {
      const ZqReal value = valueOf(expression);
      // Eleven roundings, of numbers up to 512.
      EXPECT_TRUE(std::isnan(expected) ? std::isnan(value)
                                       : std::abs(value - expected) <= 1e-15 * 512)
         << expression << ": " << value;
   }
}

TEST(SweepMetrics, WhatCannotBeReadIsToldWithItsPlace)
{
   const std::vector<std::pair<std::string, std::string>> cases{
      {"", "character 1: expected a number, a name or ("},
      {"1 +", "character 4: expected a number"},
      {"1 + * 2", "character 5: expected a number"},
      {"1 2", "character 3: expected an operator"},
      {"(1", "character 3: expected )"},
      {"1)", "character 2: there is no ("},
      {"1e999", "character 1: a number out of range"},
      {"fin(3)", "character 1: there is no function \"fin\" among initial, final"},
      {"time", "character 1: a column changes over time"},
      {"2 * arm/elbow velocity", "character 5: a column changes over time"},
      {"max(min(time))", "character 5: min(...) is known at the end"},
      {"mean(initial(initial(time)))", "character 14: initial(...)"},
      {"at(time, time)", "character 4: expected a number"},
      {"final(\"x)", "character 7: the quotation mark"},
      {"final(arm/elbow velocities)", "character 7: there is no column \"arm/elbow velocities\"; "
                                      "near it are \"arm/elbow velocity\""},
      {std::string(100000, '('), "character 101: it nests too deep"},
      {std::string(100000, '-') + '1', "character 101: it nests too deep"}};
   for (const auto& [expression, expected] : cases)
      try
      {
         zqsim::Metrics().add(expression, columns);
         ADD_FAILURE() << expression;
      }
      catch (const zqsim::ExpressionFault& fault)
      {
         EXPECT_EQ(std::string(fault.what()).substr(0, expected.size()), expected);
      }
   std::string sum = "1";
   for (int k = 0; k < 100000; ++k)
      sum += "+1";
   EXPECT_EQ(valueOf(sum), 100001.0);
}

class SweepStudy : public Zqsim
{
protected:
   std::string studyOf(const std::string& model, const std::string& settings,
                       const std::vector<std::string>& expressions,
                       const std::string& count = "9") const
   {
      std::string text = R"(<sweepStudy xmlns="http://zqmanipulator.org/namespace/mn#")"
                         R"( xmlns:x="http://zqmanipulator.org/namespace/xml#">)" +
                         std::string(deviations) + "<modelFile>" PROJECT "examples/models/" +
                         model + ".xml</modelFile>" + settings + "<seed>5</seed><sampleCount>" +
                         count + "</sampleCount><metrics>";
      for (const std::string& expression : expressions)
         text += "<x:element><metricName>" + expression + "</metricName><expression>" + expression +
                 "</expression></x:element>";
      const std::string file = scratch("study.xml");
      std::ofstream(file) << text << "</metrics></sweepStudy>\n";
      std::ofstream(scratch("deviations.xml"))
         << R"(<variationStudy xmlns="http://zqmanipulator.org/namespace/mn#">)" << deviations
         << "</variationStudy>\n";
      return file;
   }

   static constexpr const char* deviations =
      "<systemRandomVariation><defaultLinkPropertyRandomVariation><massPropertyRandomVariation>"
      "<massRandomVariation>0.01</massRandomVariation></massPropertyRandomVariation>"
      "</defaultLinkPropertyRandomVariation></systemRandomVariation>";
};

TEST_F(SweepStudy, ASampleIsWhatVaryAndRunMakeOfIt)
{
   struct Case
   {
      std::string model, settings, options;
      std::vector<std::string> looked;
   };
   const std::string models = PROJECT "examples/models/";
   const std::vector<Case> cases{
      {"puma560",
       "<duration>0.0305</duration><timeStep>0.001</timeStep><integrator>rk4</integrator>",
       "--time 0.0305 --integrator rk4",
       {"puma560/forearm velocity", "puma560/flange frame position z", "total energy",
        "puma560/shoulder joint torque"}},
      {"gripper",
       "<inputFile>" + models +
          "gripper.csv</inputFile><interpolation>linear</interpolation>"
          "<duration>0.02</duration><timeStep>0.0005</timeStep>",
       "--time 0.02 --dt 0.0005 --interpolation linear --inputs " + models + "gripper.csv",
       {}},
      {"twoArms",
       "<duration>0.02</duration><timeStep>0.001</timeStep><solver>arbi</solver>"
       "<computesContact>false</computesContact><couplesAttachments>false</couplesAttachments>",
       "--time 0.02 --solver arbi --no-contact --no-coupling",
       {}}};
   for (const Case& one : cases)
   {
      const std::string out = scratch("run.csv");
      const std::string record =
         " --quiet --columns positions,velocities,poses,torques,energy --out " + out;
      run("run " + models + one.model + ".xml " + one.options + record);
      std::vector<std::string> looked = one.looked;
      if (looked.empty())
         for (const auto& [name, values] : readCsv(out))
            if (name.ends_with(" velocity") || name == "total energy")
               looked.push_back(name);
      std::vector<std::string> expressions;
      for (const std::string& name : looked)
         for (const char* function : {"final(", "max(", "initial("})
            expressions.push_back(function + name + ')');
      const SampleRunner runner(studyOf(one.model, one.settings, expressions));
      // In an order of their own, by several threads at a time.
      std::array<SampleRow, 3> rows;
      {
         std::vector<std::jthread> threads;
         for (std::size_t k = rows.size(); k-- > 0;)
            threads.emplace_back([&, k] { rows[k] = runner.run(k); });
      }
      for (std::size_t k = 0; k < rows.size(); ++k)
      {
         const std::string varied = scratch("varied.xml");
         EXPECT_EQ(run("vary " + models + one.model + ".xml --seed 5 --first " + std::to_string(k) +
                       " --study " + scratch("deviations.xml") + " -o " + varied)
                      .code,
                   0);
         EXPECT_EQ(run("run " + varied + ' ' + one.options + record).code, 0) << one.model;
         const Columns table = readCsv(out);
         EXPECT_EQ(rows[k].outcome, "done") << rows[k].reason;
         for (std::size_t i = 0; i < looked.size(); ++i)
         {
            const std::vector<double>& values = table.at(looked[i]);
            EXPECT_TRUE(isSame(rows[k].metrics[3 * i], values.back())) << looked[i];
            EXPECT_TRUE(
               isSame(rows[k].metrics[3 * i + 1], *std::max_element(values.begin(), values.end())))
               << looked[i];
            EXPECT_TRUE(isSame(rows[k].metrics[3 * i + 2], values.front())) << looked[i];
         }
      }
      EXPECT_NE(rows[0].metrics, rows[1].metrics) << one.model;
      // With all that may be recorded besides.
      zqsim::OneSample alone;
      alone.study = scratch("study.xml");
      alone.sample = 2;
      alone.out = scratch("alone.csv");
      alone.energy = scratch("energy.csv");
      alone.plot = scratch("alone.svg");
      alone.json = true;
      testing::internal::CaptureStdout();
      EXPECT_EQ(zqsim::runOneSample(alone), zqsim::Done);
      const Json told = Json::parse(testing::internal::GetCapturedStdout());
      for (std::size_t i = 0; i < expressions.size(); ++i)
         EXPECT_TRUE(isSame(told.at("metrics").at(expressions[i]), rows[2].metrics[i]));
   }
}

TEST_F(SweepStudy, SamplesBeginAtTheGivenStatesInTurn)
{
   const std::string settings = "<duration>0.001</duration><timeStep>0.001</timeStep>";
   const std::vector<std::string> looked{"robot/forearm position", "robot/hand velocity",
                                         "robot/base position x", "robot/base angular velocity z"};
   std::vector<std::string> expressions;
   for (const std::string& name : looked)
      expressions.push_back("initial(" + name + ')');
   const std::string run1 = "run " PROJECT "examples/models/mobileBase.xml --no-contact --every 50 "
                            "--time 0.1 --quiet --out ";
   const std::string contact = "<computesContact>false</computesContact>";
   run(run1 + scratch("start.csv"));
   run(run1 + scratch("start.xml"));
   const Columns table = readCsv(scratch("start.csv"));
   ASSERT_EQ(table.at("time").size(), 3U);
   for (const char* file : {"start.csv", "start.xml"})
   {
      const SampleRunner runner(studyOf("mobileBase",
                                        "<initialStateFile>" + std::string(file) +
                                           "</initialStateFile>" + settings + contact,
                                        expressions));
      for (const std::uint64_t sample : {1U, 8U})
         for (std::size_t i = 0; i < looked.size(); ++i)
            EXPECT_TRUE(isSame(runner.run(sample).metrics[i], table.at(looked[i])[sample % 3]))
               << file << ' ' << looked[i];
   }
}

TEST_F(SweepStudy, WhatCannotBeIsRefusedAndWhatGoesWrongIsAnOutcome)
{
   const std::string step = "<timeStep>0.001</timeStep>";
   const std::string good = "<duration>0.01</duration>" + step;
   struct Case
   {
      std::string settings, expression, count, message;
   };
   const std::vector<Case> cases{
      {good, "time()", "0", "sampleCount: expected at least 1"},
      {good, "time()", "-1", "-1"},
      {"<duration>0</duration>" + step, "time()", "1", "duration: expected a positive number"},
      {"<duration>1</duration><timeStep>NaN</timeStep>", "time()", "1", "timeStep"},
      {"<duration>1e300</duration>" + step, "time()", "1", "too short"},
      {good + "<solver>magic</solver>", "time()", "1", "crbi"},
      {good, "final(arm/rod speed)", "1", "character 7: there is no column \"arm/rod speed\""},
      {good + "<inputFile>none.csv</inputFile>", "time()", "1", "none.csv: cannot be opened"},
      {good + "<initialStateFile>bad.csv</initialStateFile>", "time()", "1", "arm/rod position"}};
   std::ofstream(scratch("bad.csv")) << "arm/rod positions\n1\n";
   for (const Case& one : cases)
      try
      {
         const SampleRunner runner(studyOf("minimal", one.settings, {one.expression}, one.count));
         ADD_FAILURE() << one.message;
      }
      catch (const zqsim::Failure& failure)
      {
         EXPECT_EQ(failure.code(), zqsim::InvalidInput);
         EXPECT_NE(std::string(failure.what()).find(one.message), std::string::npos)
            << failure.what();
      }
   // A table that drives the arm to what is not a number.
   std::ofstream(scratch("wild.csv")) << "time,arm/rod moment z\n0,1e308\n";
   const SampleRunner runner(
      studyOf("minimal", good + "<inputFile>wild.csv</inputFile>", {"time()"}, "1000000000"));
   EXPECT_EQ(runner.sampleCount(), 1000000000U);
   const SampleRow row = runner.run(999999999);
   EXPECT_EQ(row.outcome, "diverged");
   EXPECT_NE(row.reason.find("is not finite"), std::string::npos) << row.reason;
   EXPECT_TRUE(std::isnan(row.metrics.front()));
}

TEST_F(SweepStudy, SummariesAreThoseOfTheTable)
{
   const std::vector<std::string> names{"a, \"b\"", "far", "none"};
   std::mt19937 engine(3);
   std::vector<ZqReal> values;
   std::string text = zqsim::sweepTableHead(names);
   std::vector<SampleRow> rows;
   for (std::uint64_t k = 0; k < 101; ++k)
   {
      SampleRow row{k, "done", {NAN, NAN, NAN}, ""};
      if (k % 10 == 3)
         row = {k, "diverged", row.metrics, "\"x\", of\nit"};
      else
      {
         values.push_back(1e8 + static_cast<ZqReal>(engine()) / 4294967296.0);
         row.metrics = {values.back(), 1e300 * (values.back() - 1e8), NAN};
      }
      text += zqsim::sweepTableLine(row);
      rows.push_back(row);
   }
   const std::string file = scratch("table.csv");
   std::ofstream(file) << text;
   zqsim::SweepTableReader reader(file);
   EXPECT_EQ(reader.metricNames(), names);
   SampleRow read;
   for (const SampleRow& row : rows)
   {
      ASSERT_TRUE(reader.next(read));
      EXPECT_EQ(read.sample, row.sample);
      EXPECT_EQ(read.outcome, row.outcome);
      EXPECT_EQ(read.reason, row.reason.empty() ? "" : "\"x\", of it");
      for (std::size_t i = 0; i < names.size(); ++i)
         EXPECT_TRUE(isSame(read.metrics[i], row.metrics[i]));
   }
   EXPECT_FALSE(reader.next(read));

   const Json summary = Json::parse(zqsim::summarizeSweep(file).dump());
   EXPECT_EQ(summary.at("outcomes"), (Json{{"diverged", 10}, {"done", 91}}));
   EXPECT_EQ(summary.at("failures").at(1).at("sample"), 13);
   const Json& metric = summary.at("metrics").at(0);
   // By sums of 64 bits of mantissa, of what the values have beyond 1e8.
   long double sum = 0.0;
   for (const ZqReal value : values)
      sum += value - 1e8L;
   const long double mean = sum / 91;
   long double squares = 0.0;
   for (const ZqReal value : values)
      squares += (value - 1e8L - mean) * (value - 1e8L - mean);
   EXPECT_NEAR(metric.at("mean"), static_cast<double>(1e8L + mean), 3e-8); // two last places
   EXPECT_NEAR(metric.at("deviation"), static_cast<double>(std::sqrt(squares / 90)), 3e-8);
   std::sort(values.begin(), values.end());
   EXPECT_EQ(metric.at("count"), 91);
   EXPECT_EQ(metric.at("min"), values.front());
   EXPECT_EQ(metric.at("median"), values[45]);
   EXPECT_EQ(metric.at("q05"), values[4] + 0.5 * (values[5] - values[4]));
   EXPECT_EQ(metric.at("max"), values.back());
   EXPECT_TRUE(summary.at("metrics").at(2).at("mean").is_null());
   zqsim::plotSweep(file, scratch("table.svg"));
   EXPECT_NE(contentOf(scratch("table.svg")).find("91 values"), std::string::npos);

   for (const char* torn :
        {"", "sample,outcome\n", "sample,outcome,x,reason\n1,done,2\n",
         "sample,outcome,x,reason\n1,done,2y,\n", "sample,outcome,x,reason\n1,done,2,"})
   {
      std::ofstream(file) << torn;
      EXPECT_THROW(zqsim::summarizeSweep(file), zqsim::Failure) << torn;
   }
}
} // namespace
