#include "apps/zqsimFixture.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <csignal>

namespace
{
class ZqsimSweep : public Zqsim
{
protected:
   /// Runs samples that take no time; the command in front may do so in a way of its own.
   Result samples(const std::string& table, const std::string& options = {},
                  const std::string& front = {}) const
   {
      const std::string command = front + ' ' + SWEEP_PROGRAM + ' ' +
                                  (table == "-" ? table : scratch(table)) + ' ' + options + " >" +
                                  scratch("out") + " 2>" + scratch("errors");
      const int status = std::system(command.c_str());
      // The shell may have become the program itself.
      return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
              contentOf(scratch("out")), contentOf(scratch("errors"))};
   }
   /// The table that all have to be equal to.
   std::string wholeTable() const
   {
      EXPECT_EQ(samples("whole.csv").code, 0);
      return contentOf(scratch("whole.csv"));
   }
   std::string table(const std::string& name) const { return contentOf(scratch(name)); }
   void write(const std::string& name, const std::string& text) const
   {
      std::ofstream(scratch(name), std::ios::binary) << text;
   }
};

std::string lineOf(const std::string& text, std::size_t index)
{
   std::istringstream stream(text);
   std::string line;
   for (std::size_t i = 0; i <= index; ++i)
      std::getline(stream, line);
   return line;
}

std::ptrdiff_t linesOf(const std::string& text)
{
   return std::count(text.begin(), text.end(), '\n');
}

TEST_F(ZqsimSweep, TheTableIsTheSameForAnyWorkersAndInParts)
{
   const std::string whole = wholeTable();
   ASSERT_EQ(linesOf(whole), 202);
   EXPECT_TRUE(lineOf(whole, 0).ends_with(" sweep of study abc")) << whole.substr(0, 100);
   EXPECT_EQ(lineOf(whole, 1), "sample,outcome,a,b,reason");
   EXPECT_TRUE(lineOf(whole, 2 + 3).starts_with("3,diverged,"));
   EXPECT_TRUE(lineOf(whole, 2 + 3).ends_with(",,\"the \"\"elbow\"\", of course, gave way\""));
   for (const std::string workers : {"2", "8"})
   {
      EXPECT_EQ(samples("a.csv", "fresh=1 workers=" + workers).out,
                "kept 0 done 200 repeated 0 lost 0\n");
      EXPECT_EQ(table("a.csv"), whole);
   }
   for (const std::string kept : {"0", "77", "154"})
      EXPECT_TRUE(samples("parts.csv", "workers=3 limit=77").out.starts_with("kept " + kept));
   EXPECT_EQ(table("parts.csv"), whole);
   EXPECT_EQ(samples("-").out, whole + "kept 0 done 200 repeated 0 lost 0\n");
   // That many samples take no more room than few.
   EXPECT_EQ(samples("many.csv", "count=1000000000000 limit=200").code, 0);
   EXPECT_EQ(table("many.csv"), whole);
}

TEST_F(ZqsimSweep, ATornLineIsWrittenAnew)
{
   const std::string whole = wholeTable();
   for (std::size_t size = 0; size <= whole.size(); size += 1 + whole.size() / 40)
   {
      const std::string left = whole.substr(0, size);
      write("torn.csv", left);
      const auto kept = std::max<std::ptrdiff_t>(linesOf(left) - 2, 0);
      EXPECT_TRUE(samples("torn.csv", "workers=2")
                     .out.starts_with("kept " + std::to_string(kept) + " done 200"));
      EXPECT_EQ(table("torn.csv"), whole) << size;
   }
}

TEST_F(ZqsimSweep, WhatIsNotItsTableIsLeftAlone)
{
   const std::string whole = wholeTable();
   const std::string half = whole.substr(0, whole.find("\n100,") + 1);
   struct Case
   {
      const char* name;
      std::string content, options, says;
   };
   for (const Case& c : {
           Case{"another study", half, "study=xyz", "table of another study"},
           Case{"another file", "time,x\n0,1\n", "", "it is no table of a sweep"},
           Case{"a gap", half + "101,done,1,2,\n", "", "its line 103 is not of sample 100"},
           Case{"a line of less", half + "100,done,1,\n", "", "its line 103"},
           Case{"nothing", half + "\n", "", "its line 103"},
           Case{"too many", whole + "200,done,1,2,\n", "", "it has more samples than the study"},
        })
   {
      SCOPED_TRACE(c.name);
      write("x.csv", c.content);
      const Result result = samples("x.csv", c.options);
      EXPECT_EQ(result.code, 3);
      EXPECT_NE(result.err.find(c.says), std::string::npos) << result.err;
      EXPECT_NE(result.err.find("--fresh"), std::string::npos) << result.err;
      EXPECT_EQ(table("x.csv"), c.content);
   }
   const int other = ::open(scratch("x.csv").c_str(), O_RDONLY);
   ASSERT_EQ(::flock(other, LOCK_EX), 0);
   const Result result = samples("x.csv", "fresh=1");
   EXPECT_EQ(result.code, 1);
   EXPECT_NE(result.err.find("another sweep is writing it"), std::string::npos) << result.err;
   EXPECT_NE(table("x.csv"), whole);
   ::close(other);
   EXPECT_EQ(samples("x.csv", "fresh=1").code, 0);
   EXPECT_EQ(table("x.csv"), whole);
}

TEST_F(ZqsimSweep, ASampleThatKillsItsProcessHarmsNoOther)
{
   const std::string whole = wholeTable();
   for (const std::string workers : {"workers=1", "workers=4"})
   {
      SCOPED_TRACE(workers);
      EXPECT_EQ(samples("once.csv", "fresh=1 diesOnce=150 " + workers).out,
                "kept 0 done 200 repeated 1 lost 0\n");
      EXPECT_EQ(table("once.csv"), whole);
      std::filesystem::remove(scratch("once.csv.mark"));

      EXPECT_EQ(samples("died.csv", "fresh=1 aborts=0 exits=100 throws=199 " + workers).out,
                "kept 0 done 200 repeated 3 lost 0\n");
      std::string expected = whole;
      for (const auto& [sample, line] : {std::pair{0, "0,died,,,killed by signal 6 (Aborted)"},
                                         std::pair{100, "100,died,,,ended with exit code 0"},
                                         std::pair{199, "199,died,,,\"no room, said the sample\""}})
      {
         const std::string old = lineOf(whole, 2 + static_cast<std::size_t>(sample));
         expected.replace(expected.find('\n' + old + '\n') + 1, old.size(), line);
      }
      EXPECT_EQ(table("died.csv"), expected);
      EXPECT_EQ(samples("died.csv").out, "kept 200 done 200 repeated 0 lost 0\n");
      // What was behind them waits beside, and another run that dies loses nothing.
      EXPECT_EQ(samples("died.csv", "again=1 limit=0").out,
                "kept 197 done 197 repeated 0 lost 0\n");
      EXPECT_EQ(samples("died.csv", "again=1 " + workers).out,
                "kept 197 done 200 repeated 0 lost 0\n");
      EXPECT_EQ(table("died.csv"), whole);
   }
}

TEST_F(ZqsimSweep, GoesOnAfterItWasKilled)
{
   const std::string whole = wholeTable();
   for (const int signal : {SIGKILL, SIGTERM, SIGINT})
      for (const int sample : {0, 1, 60, 199})
      {
         SCOPED_TRACE(std::to_string(signal) + " at " + std::to_string(sample));
         const std::string name = std::to_string(signal) + '-' + std::to_string(sample) + ".csv";
         const Result killed = samples(name, "workers=2 signal=" + std::to_string(signal) +
                                                " atSample=" + std::to_string(sample));
         EXPECT_EQ(killed.code, signal == SIGKILL ? 128 + SIGKILL : 130) << killed.err;
         // What is left has only whole lines of it, and all of them up to one.
         const std::string left = table(name);
         EXPECT_TRUE(whole.starts_with(left) && (left.empty() || left.back() == '\n')) << left;
         write(name + ".early.1.new", "what a process was killed over");
         EXPECT_EQ(samples(name, "workers=2").code, 0);
         EXPECT_EQ(table(name), whole);
         EXPECT_FALSE(std::filesystem::exists(scratch(name + ".early")));
         EXPECT_FALSE(std::filesystem::exists(scratch(name + ".early.1.new")));
      }
}

TEST_F(ZqsimSweep, WhatIsAheadOfItsTurnIsNotLost)
{
   const std::string whole = wholeTable();
   EXPECT_EQ(samples("a.csv", "workers=2 killsWhenOthersAreAhead=2").code, 128 + SIGKILL);
   EXPECT_EQ(linesOf(table("a.csv")), 2 + 2);
   const std::ptrdiff_t ahead = linesOf(table("a.csv.early")) - 2;
   EXPECT_GT(ahead, 0);
   EXPECT_TRUE(samples("a.csv").out.starts_with("kept " + std::to_string(2 + ahead) + " done"));
   EXPECT_EQ(table("a.csv"), whole);
   EXPECT_FALSE(std::filesystem::exists(scratch("a.csv.early")));
}

TEST_F(ZqsimSweep, TheCommandRunsAStudy)
{
   // A model has its place, wherever the study is.
   std::string study = contentOf(PROJECT "examples/pumaSweep.xml");
   const auto put = [&](const std::string& from, const std::string& to)
   { study.replace(study.find(from), from.size(), to); };
   put("models/puma560.xml", model("puma560"));
   put("<duration>0.5", "<duration>0.02");
   put("<sampleCount>100", "<sampleCount>30");
   write("study.xml", study);
   const std::string sweep = "sweep " + scratch("study.xml") + " --out ";
   Json first = runForJson(sweep + scratch("1.csv") + " --threads 1");
   EXPECT_EQ(first.at("samples"), 30);
   EXPECT_EQ(first.at("seed"), 7);
   EXPECT_EQ(first.at("outcomes"), Json({{"done", 30}}));
   // More samples are the same ones, and others.
   put("<sampleCount>30", "<sampleCount>1000000000");
   write("study.xml", study);
   for (const std::string threads : {"2", "8"})
   {
      const std::string file = scratch(threads + ".csv");
      EXPECT_EQ(run(sweep + file + " --limit 30 --threads " + threads).code, 0);
      EXPECT_EQ(contentOf(file), table("1.csv"));
   }
   const Json more = runForJson(sweep + scratch("1.csv") + " --limit 3 --plot " + scratch("p.svg"));
   EXPECT_EQ(more.at("sampleCount"), 1000000000);
   EXPECT_EQ(more.at("doneBefore"), 30);
   EXPECT_EQ(more.at("samples"), 33);
   EXPECT_NE(table("p.svg").find("33 values"), std::string::npos);

   // What drives it leads to what is not finite.
   put("<duration>", "<inputFile>wild.csv</inputFile><duration>");
   write("wild.csv", "time,puma560/shoulder torque\n0,1e308\n");
   put("<sampleCount>1000000000", "<sampleCount>3");
   write("study.xml", study);
   const Result other = run(sweep + scratch("1.csv"));
   EXPECT_EQ(other.code, 3);
   EXPECT_NE(other.err.find("it is the table of another study"), std::string::npos) << other.err;
   const Json failed = runForJson(sweep + scratch("f.csv"), 5);
   EXPECT_EQ(failed.at("outcomes"), Json({{"diverged", 3}}));
   const Result alone =
      run("sweep " + scratch("study.xml") + " --sample 2 --replay " + scratch("2.html"));
   EXPECT_EQ(alone.code, 4);
   EXPECT_NE(alone.err.find(failed.at("failures").at(2).at("reason")), std::string::npos);
   put("<sampleCount>3", "<sampleCount>0");
   write("study.xml", study);
   EXPECT_EQ(run(sweep + scratch("none.csv")).code, 3);
   EXPECT_FALSE(std::filesystem::exists(scratch("none.csv")));

   for (const std::string wrong :
        {"", " --out x.csv --threads 0", " --out x.csv --threads 1e3",
         " --out x.csv --replay r.html", " --out x.csv --limit 0", " --sample 1.5", " --sample -1",
         " --sample 1 --threads 2", " --sample 100", " --out - --json"})
      EXPECT_EQ(run("sweep examples/pumaSweep.xml" + wrong).code, 2) << wrong;
}

#ifdef MPIRUN
TEST_F(ZqsimSweep, RanksWriteTheSameTable)
{
   // All at once on this machine, whoever runs the tests; what is killed is to be the matter of the sweep alone.
   for (const char* name : {"OMPI_ALLOW_RUN_AS_ROOT", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM",
                            "OMPI_MCA_rmaps_base_oversubscribe", "OMPI_MCA_orte_enable_recovery"})
      ::setenv(name, "1", 1);
   if (std::system(MPIRUN " -n 2 true >/dev/null 2>&1") != 0)
      GTEST_SKIP() << MPIRUN " cannot run anything here";
   const std::string whole = wholeTable();
   for (const std::string ranks : {"1", "2", "7"})
   {
      EXPECT_EQ(samples("a.csv", "fresh=1 workers=2", MPIRUN " -n " + ranks).out,
                "kept 0 done 200 repeated 0 lost 0\n");
      EXPECT_EQ(table("a.csv"), whole);
      const std::string errors = table("errors");
      EXPECT_NE(errors.find("warning: of the study"), std::string::npos) << errors;
      EXPECT_EQ(errors.find("warning:"), errors.rfind("warning:")) << errors;
   }
   // A rank that is killed, or told to end, takes no sample with it.
   for (const std::string signal : {"9", "15"})
   {
      const Result result =
         samples("a.csv", "fresh=1 ofRank=1 atSample=20 signal=" + signal, MPIRUN " -n 3");
      EXPECT_EQ(result.out, "kept 0 done 200 repeated 0 lost 1\n") << result.err;
      EXPECT_EQ(table("a.csv"), whole);
      std::filesystem::remove(scratch("a.csv.mark"));
   }
   // Without the one that writes, the others end.
   samples("a.csv", "fresh=1 atSample=20 signal=9 ofRank=0", MPIRUN " -n 3");
   EXPECT_TRUE(table("a.csv") != whole && whole.starts_with(table("a.csv")));
   EXPECT_EQ(samples("a.csv").code, 0);
   EXPECT_EQ(table("a.csv"), whole);
   for (const auto& [option, says] : {std::pair{"otherStudyOfRank=1", "it finds another study"},
                                      std::pair{"noStudyOfRank=1", "1 study is not there"}})
   {
      const Result other =
         samples("a.csv", "fresh=1 errors=" + scratch("errors") + ' ' + option, MPIRUN " -n 2");
      EXPECT_NE(other.err.find("warning: rank 1 does not help: " + std::string(says)),
                std::string::npos)
         << other.err;
      EXPECT_EQ(table("a.csv"), whole);
   }
}
#endif
} // namespace
