#include "apps/zqsimFixture.h"

#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/state/ZqManipulatorSystemState.h"

#include <sys/stat.h>

#include <cmath>
#include <functional>

namespace
{
const Change verticalAxis{"0.5 0.5 0.5 -0.5", "1 0 0 0"};
const Change sliding{"rotational", "prismatic"};

class ZqsimRun : public Zqsim
{
protected:
   Columns simulate(const std::string& arguments, int code = 0) const
   {
      const std::string out = scratch("out.csv");
      const Result result = run("run " + arguments + " --out " + out);
      EXPECT_EQ(result.code, code) << arguments << '\n' << result.err;
      return readCsv(out);
   }
};

TEST_F(ZqsimRun, TheSmallestArmSwingsLikeARod)
{
   // Released level, it is level again on the other side after 2 K(sin 45 deg) sqrt(2 l / 3 g), K being
   // the complete elliptic integral. There it turns, so that an error e of the time moves it by no
   // more than 1.5 g / l e^2 / 2; the method is of first order, with errors of about a step.
   constexpr double K = 1.854074677301372;
   constexpr double dt = 1e-4;
   const double time = 2.0 * K * std::sqrt(2.0 / 3.0 / 9.80665);
   std::ostringstream arguments;
   arguments.precision(17);
   arguments << "run - --time " << time << " --dt " << dt << " --out - <" << model("minimal");
   const Result result = run(arguments.str());
   EXPECT_EQ(result.code, 0) << result.err;
   std::ofstream(scratch("rod.csv")) << result.out;
   const Columns columns = readCsv(scratch("rod.csv"));
   EXPECT_NEAR(columns.at("arm/rod position").back(), -M_PI, 10 * dt);
   EXPECT_NEAR(columns.at("arm/rod velocity").back(), 0.0, 1.5 * 9.80665 * 10 * dt);
   // The same by way of files, byte for byte.
   simulate(model("minimal") + arguments.str().substr(5, arguments.str().find(" --out") - 5));
   EXPECT_EQ(contentOf(scratch("out.csv")), result.out);
   EXPECT_EQ(
      run(arguments.str().replace(arguments.str().find("--out"), 5, "--save")).out.find("<?xml"),
      0U);
}

TEST_F(ZqsimRun, StepsAreThoseOfSemiImplicitEuler)
{
   // One joint of 1 kg (m^2), so that its acceleration and its energy can be told by hand.
   constexpr double g = 9.80665;
   struct Case
   {
      std::string model;
      std::function<double(double)> acceleration;
      std::function<double(double)> height;
   };
   for (const Case& c : {Case{changed("pendulum", {verticalAxis, sliding}),
                              [](double) { return -g; }, [](double q) { return q; }},
                         Case{model("pendulum"), [](double q) { return -g * std::sin(q); },
                              [](double q) { return -std::cos(q); }}})
   {
      for (const std::string solver : {"crbi", "arbi"})
      {
         SCOPED_TRACE(c.model + solver);
         // The last step is half a step.
         const Columns columns =
            simulate(c.model + " --time 1.0005 --dt 0.001 --every 100 --solver " + solver);
         const auto& times = columns.at("time");
         ASSERT_EQ(times.size(), 12U);
         EXPECT_EQ(times.back(), 1.0005);
         double q = 0.5;
         double v = 0.0;
         for (int k = 0, row = 0; k <= 1001; ++k)
         {
            const double t = k <= 1000 ? k * 0.001 : 1.0005;
            if (k > 0)
            {
               const double dt = t - (k - 1) * 0.001;
               v += dt * c.acceleration(q);
               q += dt * v;
            }
            if (k % 100 != 0 && k != 1001)
               continue;
            constexpr double roundings = 1e-11; // of a thousand steps
            EXPECT_EQ(times[row], t);
            EXPECT_NEAR(columns.at("pendulum/bob position")[row], q, roundings);
            EXPECT_NEAR(columns.at("pendulum/bob velocity")[row], v, roundings);
            EXPECT_NEAR(columns.at("kinetic energy")[row], 0.5 * v * v, 10 * roundings);
            EXPECT_NEAR(columns.at("potential energy")[row], g * c.height(q), 10 * roundings);
            ++row;
         }
      }
   }
}

TEST_F(ZqsimRun, RunsRepeatAndSaveTheirStates)
{
   const std::string arguments = "run " + model("puma560") + " --time 0.5 --quiet --out ";
   for (const std::string file : {"a.csv", "b.csv", "a.xml", "b.xml"})
      EXPECT_EQ(run(arguments + scratch(file)).out, "");
   EXPECT_EQ(contentOf(scratch("a.csv")), contentOf(scratch("b.csv")));
   EXPECT_EQ(contentOf(scratch("a.xml")), contentOf(scratch("b.xml")));

   ZqXmlVectorType<ZqManipulatorSystemState> states;
   ASSERT_TRUE(Zq::load(states, scratch("a.xml")));
   ASSERT_EQ(states.size(), 501U);
   EXPECT_EQ(states[500].time(), 0.5);
   EXPECT_EQ(states[500].positionStates()[0].jointPositions()[1],
             readCsv(scratch("a.csv")).at("puma560/upperArm position").back());
}

TEST_F(ZqsimRun, JointsStopAtTheirLimits)
{
   for (const std::string integrator : {"euler", "midpoint", "rk4"})
   {
      SCOPED_TRACE(integrator);
      const std::string arguments = model("planarTwoLink") + " --time 4 --integrator " + integrator;
      const Json data = runForJson("run " + arguments);
      const Json limits = data.at("limits");
      ASSERT_FALSE(limits.empty());
      EXPECT_EQ(data.at("substitutedSteps") > 0, integrator != "euler");
      const Columns columns = simulate(arguments);
      const double limit = 170.0 * M_PI / 180.0;
      for (const std::string link : {"upperArm", "forearm"})
         for (const double q : columns.at("arm/" + link + " position"))
            ASSERT_TRUE(std::abs(q) <= limit) << link;
      // A stop takes energy, and never gives any.
      const auto& energy = columns.at("total energy");
      const auto hit =
         static_cast<std::size_t>(std::lround(limits[0].at("time").get<double>() / 0.001));
      EXPECT_LT(energy[hit], energy[hit - 1]);
      for (std::size_t i = 1; i < energy.size(); ++i)
         ASSERT_LT(energy[i], energy[i - 1] + 0.02) << i; // the error of a step
   }
}

TEST_F(ZqsimRun, ADivergingRunKeepsWhatWasFinite)
{
   // More friction than explicit steps of this length can bear, on a joint without limits. It is that
   // of the forearm: children stand first in a document.
   const std::string limit = "2.9670597283903604<";
   const std::string arm =
      changed("planarTwoLink", {{"<frictionCoefficient>0<", "<frictionCoefficient>1e5<"},
                                {"<lowerLimit>-" + limit, "<lowerLimit>-1e300<"},
                                {"<upperLimit>" + limit, "<upperLimit>1e300<"}}) +
      " --time 1";
   const std::string last = scratch("last.xml");
   const Columns columns = simulate(arm + " --plot " + scratch("plot.svg"), 4);
   const Json data = runForJson("run " + arm + " --save " + last, 4);
   EXPECT_EQ(data.at("divergence").at("link"), "forearm");
   EXPECT_LT(columns.at("time").back(), data.at("divergence").at("time"));
   EXPECT_EQ(runForJson("info " + last).at("time"), data.at("time"));
   EXPECT_EQ(contentOf(scratch("plot.svg")).find("nan"), std::string::npos);

   // The base tumbles, until its velocity squared is no number. To record less does not find it later.
   const std::string tumbling = model("freeChain") + " --time 1000 --dt 1 --every 50";
   const Json tumbled = runForJson("run " + tumbling + " --save " + last, 4);
   EXPECT_EQ(tumbled.at("divergence").at("link"), "base");
   EXPECT_EQ(run("check " + last).code, 0);
   EXPECT_EQ(simulate(tumbling, 4).at("time").back(), tumbled.at("time"));

   const Result result = run(
      "run " + changed("pendulum", {verticalAxis, sliding, {">0.5<", ">1e308<"}}) + " --time 1");
   EXPECT_EQ(result.code, 4);
   EXPECT_NE(result.err.find("at 0 s: the energy of joint bob of pendulum"), std::string::npos)
      << result.err;
}

TEST_F(ZqsimRun, AFileThatFailsKeepsNothingElseFromBeingWritten)
{
   const std::string full = scratch("full.csv");
   std::filesystem::create_symlink("/dev/full", full);
   const std::string last = scratch("last.xml");
   for (const auto& [file, end] : {std::pair{"--out " + full, "recording failed"},
                                   std::pair{std::string("--plot /dev/full"), "time reached"}})
   {
      const Result result =
         run("run " + model("puma560") + " --time 1 --json --save " + last + ' ' + file);
      EXPECT_EQ(result.code, 1);
      EXPECT_NE(result.err.find(": No space left"), std::string::npos) << result.err;
      const Json data = Json::parse(result.out);
      EXPECT_EQ(data.at("end"), end);
      EXPECT_EQ(runForJson("info " + last).at("time"), data.at("time"));
   }
}

TEST_F(ZqsimRun, AnInterruptionEndsTheStepAndTheFiles)
{
   // The records go through a pipe: the signal comes as soon as many have.
   const std::string pipe = scratch("pipe.xml");
   const std::string out = scratch("states.xml");
   const std::string script = scratch("interrupt.sh");
   ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
   for (const std::string signal : {"INT", "TERM"})
   {
      SCOPED_TRACE(signal);
      std::ofstream(script) << "\"$@\" &\nexec 3<" << pipe << "\nhead -c 100000 <&3 >" << out
                            << "\nkill -s " << signal << " $!\ncat <&3 >>" << out << "\nwait $!\n";
      const Result result =
         run("run " + model("pendulum") + " --time 1e6 --json --every 100 --out " + pipe +
                " --plot " + scratch("plot.svg"),
             "sh " + script);
      EXPECT_EQ(result.code, 130);
      EXPECT_NE(result.err.find("interrupted at"), std::string::npos) << result.err;
      const Json data = Json::parse(result.out);
      EXPECT_EQ(data.at("end"), "interrupted");
      ZqXmlVectorType<ZqManipulatorSystemState> states;
      ASSERT_TRUE(Zq::load(states, out));
      EXPECT_EQ(states[states.size() - 1].time(), data.at("time"));
      EXPECT_NE(contentOf(scratch("plot.svg")).find("</svg>"), std::string::npos);
   }
}

TEST_F(ZqsimRun, APlotIsADocumentWithALineForEachJoint)
{
   const std::string plot = scratch("plot.svg");
   const std::string file = changed("planarTwoLink", {{">forearm<", ">fore&amp;arm&lt;<"}});
   EXPECT_EQ(run("run " + file + " --time 3 --dt 0.0005 --plot " + plot).code, 0);
   const std::string svg = contentOf(plot);
   for (const char* label : {">upperArm<", ">fore&amp;arm&lt;<", ">angle (rad)<", ">time (s)<"})
      EXPECT_NE(svg.find(label), std::string::npos) << label;
   EXPECT_EQ(std::system(("xmllint --noout " + plot).c_str()), 0);
   EXPECT_EQ(svg.find("nan"), std::string::npos);
   EXPECT_LT(svg.size(), 50000U);
}

TEST_F(ZqsimRun, ProgressIsShownOnATerminalOnly)
{
   const std::string command = "run " + model("pendulum") + " --time 300";
   EXPECT_EQ(run(command).err, "");
   const Result result = run("", "script -qec '" ZQSIM " " + command + "' /dev/null #");
   EXPECT_NE(result.out.find("x real time  0:0"), std::string::npos) << result.out;

   const Result narrow =
      run("", "script -qec 'stty cols 70; " ZQSIM " " + command + "' /dev/null #");
   constexpr const char* eraseLine = "\x1b[K";
   std::size_t begin = narrow.out.find(eraseLine);
   ASSERT_NE(begin, std::string::npos);
   for (std::size_t end; (end = narrow.out.find(eraseLine, begin + 1)) != std::string::npos;)
   {
      EXPECT_LT(narrow.out.find('\r', begin) - begin - std::string(eraseLine).size(), 70U);
      begin = end;
   }
}

TEST_F(ZqsimRun, WrongOptionsAreToldBeforeARun)
{
   const std::string arm = model("planarTwoLink");
   const std::string here = scratch("");
   std::filesystem::copy(arm, scratch("arm.xml"));
   struct Case
   {
      std::string arguments;
      int code;
      std::string message;
   };
   for (const auto& [arguments, code, message] : std::initializer_list<Case>{
           {arm, 2, "--time"},
           {arm + " --time 0", 2, "--time: \"0\" is not a number above zero"},
           {arm + " --time -1", 2, "\"-1\" is not a number above zero"},
           {arm + " --time nan", 2, "\"nan\" is not a finite number"},
           {arm + " --time '1 2'", 2, "\"1 2\" is not"},
           {arm + " --time 1 --dt 0", 2, "--dt: \"0\""},
           {arm + " --time 1 --dt -0.1", 2, "--dt: \"-0.1\""},
           {arm + " --time 1 --dt inf", 2, "--dt: \"inf\""},
           {arm + " --time 1 --dt 1e-300", 2, "too short"},
           {changed("pendulum", {{"<time>0<", "<time>1e20<"}}) + " --time 1", 2, "too short"},
           {arm + " --time 1 --every 0", 2, "--every: \"0\" is not a whole number above zero"},
           {arm + " --time 1 --every 99999999999999999999", 2, "--every: \"9"},
           {arm + " --time 1 --solver abc", 2, "--solver"},
           {arm + " --time 1 --torques '1 2 3'", 2, "has 2 joints, but received 3"},
           {arm + " --time 1 --commands 'nan'", 2, "--commands: \"nan\""},
           {arm + " --time 1 --joints 1", 2, "--joints: the model needs 2 numbers, but received 1"},
           {arm + " --time 1 --velocities '1 x'", 2, "--velocities: \"x\""},
           {arm + " --time 1 --columns energy", 2, "--columns: there is neither"},
           {arm + " --time 1 --out - --columns pose", 2, "\"pose\" is none of positions, veloc"},
           {arm + " --time 1 --out - --columns ''", 2, "there is none of positions"},
           {arm + " --time 1 --interpolation cubic", 2, "--interpolation"},
           {"- --time 1 --inputs - </dev/null", 2, "--inputs: - is the file of MODEL"},
           {arm + " --time 1 --inputs none.csv", 3, "none.csv: cannot be opened: No such"},
           {arm + " --time 1 --inputs - </dev/null", 3, "standard input: the table is empty"},
           {arm + " --time 1 --inputs a.csv --out a.csv", 2, "--out: a.csv is the file of --inp"},
           {arm + " --time 1 --out states.txt", 2, "ends neither in .csv nor in .xml"},
           {here + "arm.xml --time 1 --out " + here + "arm.xml", 2, "is the file of MODEL"},
           {arm + " --time 1 --plot a.png", 2, "a.png is not for SVG, which is what is written"},
           {arm + " --time 1 --save - --plot -", 2, "--plot: - is the file of --save"},
           {arm + " --time 1 --json --out -", 2, "--json: standard output is that of --out"},
           {"- --time 1 </dev/null", 3, "standard input:1: the document is empty"},
           {arm + " --time 1 --plot p.svg --save p.svg", 2, "is the file of --save"},
           {arm + " --time 1 --plot " + here + "a.svg --save " + here + "./a.svg", 2, "of --save"},
           {arm + " --time 1 --save " + here + "none/a.xml", 1, "No such file or directory"},
           {arm + " --time 1 --save " + here, 1, "Is a directory"},
           {arm + " --time 1 --plot " + here, 1, "Is a directory"},
           {arm + " --time 1 --out " + here + "none/a.csv", 1, "No such file or directory"},
           {arm + " --time 1 --out /dev/full/a.csv", 1, "/dev/full/a.csv: "},
           {here + "none.xml --time 1", 3, "cannot be opened"}})
   {
      const Result result = run("run " + arguments);
      EXPECT_EQ(result.code, code) << arguments;
      EXPECT_EQ(result.out, "") << arguments;
      EXPECT_EQ(result.err.find('\n') + 1, result.err.size()) << result.err;
      EXPECT_NE(result.err.find(message), std::string::npos) << arguments << '\n' << result.err;
   }
}

TEST_F(ZqsimRun, ARunGoesOnAtTheSameTimes)
{
   // A model whose motion depends on nothing but its state, with times that are no sums of steps.
   const std::string half = scratch("half.xml");
   const Columns whole = simulate(model("freeChain") + " --time 0.3");
   const Columns first = simulate(model("freeChain") + " --time 0.1 --save " + half);
   Columns both = simulate(half + " --time 0.2");
   for (auto& [name, numbers] : both)
      numbers.insert(numbers.begin(), first.at(name).begin(), first.at(name).end() - 1);
   EXPECT_EQ(both, whole);
   // From beside the grid the first step is shorter, and so is the last.
   EXPECT_EQ(
      simulate(changed("pendulum", {{"<time>0<", "<time>0.0015<"}}) + " --time 0.002").at("time"),
      (std::vector<double>{0.0015, 0.002, 0.003, 0.0035}));
}

TEST_F(ZqsimRun, TablesHaveTheColumnsThatAreAskedFor)
{
   // The velocities of a free base are the rates of its position.
   const Columns free = simulate(model("freeChain") + " --time 0.1 --dt 1e-4 --integrator rk4");
   for (const std::string axis : {"x", "y", "z"})
   {
      const auto& position = free.at("chain/base position " + axis);
      const auto& velocity = free.at("chain/base linear velocity " + axis);
      for (std::size_t k = 1; k + 1 < position.size(); ++k)
         ASSERT_NEAR((position[k + 1] - position[k - 1]) / 2e-4, velocity[k], 1e-6);
   }
   // And its orientation turns by q' = w q / 2.
   const auto& w = free.at("chain/base orientation w");
   double rate = 0.0;
   for (const std::string axis : {"x", "y", "z"})
      rate -= 0.5 * free.at("chain/base angular velocity " + axis)[1] *
              free.at("chain/base orientation " + axis)[1];
   EXPECT_NEAR((w[2] - w[0]) / 2e-4, rate, 1e-6);

   // To record more changes nothing, and frames are those that the other command has.
   const std::string arm = model("puma560") + " --time 0.2 --torques '0 0.1 -0.1'";
   const std::string last = scratch("last.xml");
   const Columns all =
      simulate(arm + " --columns positions,poses,torques,motors,inputs,energy --save " + last);
   EXPECT_EQ(all.at("total energy"), simulate(arm).at("total energy"));
   const Json frames = runForJson("frames " + last).at("manipulators")[0].at("frames");
   EXPECT_EQ(all.at("puma560/flange frame position x").back(), frames.back().at("position")[0]);
   EXPECT_EQ(all.at("puma560/forearm torque").back(), -0.1);
   EXPECT_EQ(all.at("puma560/forearm motor torque").back(), -0.1);
   EXPECT_EQ(all.count("puma560/upperArm velocity"), 0U);

   // What was given can be given again, as a table.
   simulate(arm + " --columns inputs");
   std::filesystem::copy(scratch("out.csv"), scratch("inputs.csv"));
   for (const std::string interpolation : {"hold", "linear"})
      EXPECT_EQ(simulate(model("puma560") + " --time 0.2 --interpolation " + interpolation +
                         " --columns energy --inputs " + scratch("inputs.csv"))
                   .at("total energy"),
                all.at("total energy"));
}

TEST_F(ZqsimRun, ARunBeginsWhereItIsToldTo)
{
   const Columns columns =
      simulate(model("planarTwoLink") + " --time 0.01 --joints '0.1 -0.2' --velocities '3 -4'");
   EXPECT_EQ(columns.at("arm/upperArm position").front(), 0.1);
   EXPECT_EQ(columns.at("arm/forearm position").front(), -0.2);
   EXPECT_EQ(columns.at("arm/upperArm velocity").front(), 3.0);
   EXPECT_EQ(columns.at("arm/forearm velocity").front(), -4.0);
}

TEST_F(ZqsimRun, InputsWithoutEffectAreWarnings)
{
   std::ofstream(scratch("table.csv"))
      << "time,arm/base force x,arm/forearm command\n1,1,2\n2,1,2\n";
   EXPECT_EQ(run("run " + model("planarTwoLink") +
                 " --time 3 --quiet --interpolation linear "
                 "--inputs - <" +
                 scratch("table.csv"))
                .err,
             "zqsim: warning: standard input begins at 1 s, after the start at 0 s, and until then "
             "does nothing\n"
             "zqsim: warning: standard input ends at 2 s, before the end at 3 s, and its last line "
             "holds from then on\n"
             "zqsim: warning: the base of arm is fixed, and feels no force\n"
             "zqsim: warning: joint forearm of arm has no power converter, and passes no "
             "command\n");
   const Result result = run("run " + model("pendulum") + " --time 0.01 --torques 1 --quiet");
   EXPECT_EQ(result.code, 0);
   EXPECT_EQ(result.err, "zqsim: warning: joint bob of pendulum has no drive train, and passes no "
                         "torque\n");
}
} // namespace
