#include "apps/zqsimFixture.h"

#include <sys/stat.h>

#include <set>

namespace
{
class ZqsimResume : public Zqsim
{
protected:
   /// All tables of a run, in files that begin with a name.
   std::string tables(const std::string& name) const
   {
      return " --columns positions,velocities,base,torques,motors,constraints,inputs,energy "
             "--out " +
             scratch(name + ".csv") + " --contacts " + scratch(name + "Contacts.csv") +
             " --energy " + scratch(name + "Energy.csv");
   }
   void expectSameTables(const std::string& a, const std::string& b) const
   {
      for (const std::string table : {".csv", "Contacts.csv", "Energy.csv"})
         EXPECT_TRUE(contentOf(scratch(a + table)) == contentOf(scratch(b + table))) << table;
   }
   void expectDone(const std::string& arguments) const
   {
      const Result result = run("run --quiet " + arguments);
      EXPECT_EQ(result.code, 0) << arguments << '\n' << result.err;
   }
};

TEST_F(ZqsimResume, ARunInPartsLeavesTheTablesOfOneRun)
{
   const std::string checkpoint = scratch("run.ck");
   const std::string andSave = " --save-checkpoint " + checkpoint;
   std::set<std::filesystem::path> models; // in an order that does not depend on the disk
   for (const auto& entry : std::filesystem::directory_iterator(PROJECT "examples/models"))
      if (entry.path().extension() == ".xml")
         models.insert(entry.path());
   ASSERT_GT(models.size(), 10U);
   int index = 0;
   for (const auto& path : models)
   {
      SCOPED_TRACE(path.stem());
      const auto table = std::filesystem::path(path).replace_extension(".csv");
      const std::string numbers = runForJson("info " + path.string()).at("joints") > 0 ? "0.1" : "";
      const std::string integrator = std::array{"euler", "midpoint", "rk4"}[index++ % 3];
      const std::string start =
         path.string() + " --dt 0.0005 --integrator " + integrator +
         (exists(table) ? " --interpolation linear --inputs " + table.string()
                        : " --torques '" + numbers + "' --commands '" + numbers + '\'');
      // Parts that end beside what is recorded and on it.
      expectDone(start + " --until 0.12 --every 7" + tables("whole"));
      for (const std::string name : {".csv", "Contacts.csv", "Energy.csv"})
         std::filesystem::remove(scratch("parts" + name));
      expectDone(start + " --until 0.05 --every 7" + tables("parts") + andSave);
      for (const std::string until : {"0.07", "0.12"})
         expectDone("--resume " + checkpoint + " --until " + until + " --every 7 --append" +
                    tables("parts") + andSave);
      expectSameTables("parts", "whole");
   }
}

TEST_F(ZqsimResume, AKilledRunLosesNothing)
{
   // One of its tables is a pipe, of which so much is read that there is a checkpoint, and no more: it is killed
   // before its end.
   const std::string pipe = scratch("pipe.csv");
   const std::string script = scratch("kill.sh");
   const std::string checkpoint = scratch("run.ck");
   ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
   const std::string start = "run " + model("bouncingBall") + " --dt 0.0002 --quiet ";
   const auto outputs = [&](const std::string& name)
   { return " --out " + scratch(name + ".csv") + " --contacts " + scratch(name + "Contacts.csv"); };
   std::ofstream(script) << "\"$@\" &\nexec 3<" << pipe
                         << "\nhead -c 100000 <&3 >/dev/null\nkill -s KILL $!\nwait $!\n";
   const Result killed = run(start + "--until 1e6 --checkpoint-every 100 --save-checkpoint " +
                                checkpoint + outputs("parts") + " --energy " + pipe,
                             "sh " + script);
   EXPECT_EQ(killed.code, 128 + 9) << killed.err;
   for (const std::string table : {"parts.csv", "partsContacts.csv"})
      std::ofstream(scratch(table), std::ios::app) << "1e3,0.25";
   EXPECT_EQ(
      run("run --quiet --resume " + checkpoint + " --until 0.6 --append" + outputs("parts")).code,
      0);
   EXPECT_EQ(run(start + "--until 0.6" + outputs("whole")).code, 0);
   for (const std::string table : {".csv", "Contacts.csv"})
      EXPECT_TRUE(contentOf(scratch("parts" + table)) == contentOf(scratch("whole" + table)));
   EXPECT_GT(readCsv(scratch("whole.csv")).at("time").size(), 3000U);
}

TEST_F(ZqsimResume, AttachmentsChangeInPartsAsInOneRun)
{
   const std::string events =
      " --release '0.02 leftArm' --attach '0.05 leftArm carrier/carriage' --every 7 ";
   for (const std::string coupling : {"", " --no-coupling"})
   {
      SCOPED_TRACE(coupling);
      const std::string start = model("twoArms") + " --dt 0.0005" + coupling + events;
      const std::string checkpoint = scratch("run.ck");
      expectDone(start + "--until 0.08" + tables("whole"));
      EXPECT_EQ(runForJson("run " + start + "--until 0.03 --save-checkpoint " + checkpoint +
                           tables("parts"))
                   .at("end"),
                "time reached");
      expectDone("--resume " + checkpoint + events + "--until 0.08 --append" + tables("parts"));
      expectSameTables("parts", "whole");
      // The released arm stays where it is. Arms that swing move the carriage, if they act back.
      const auto places = readCsv(scratch("whole.csv")).at("leftArm/base position x");
      EXPECT_EQ(places[8], places[13]);
      EXPECT_EQ(places[0] == places[13], !coupling.empty());
   }
   const Result early = run("run " + model("twoArms") + events + "--until 0.03 --quiet");
   EXPECT_EQ(early.code, 0);
   EXPECT_NE(early.err.find("\": the run ends before, at 0.03 s"), std::string::npos) << early.err;
}

TEST_F(ZqsimResume, WhatDrivesItMayBeGivenAnew)
{
   const std::string checkpoint = scratch("run.ck");
   const std::string out = scratch("out.csv");
   expectDone(model("puma560") + " --time 0.1 --torques '0 0.1' --save-checkpoint " + checkpoint);
   expectDone("--resume " + checkpoint + " --time 0.1 --dt 0.0005 --torques '0 0.3' --columns " +
              "inputs --out " + out);
   const Columns columns = readCsv(out);
   EXPECT_EQ(columns.at("time").front(), 0.1);
   EXPECT_EQ(columns.at("time").size(), 201U);
   EXPECT_EQ(columns.at("puma560/upperArm torque").front(), 0.3);
   const Json data =
      runForJson("run " + model("puma560") + " --resume " + checkpoint + " --until 0.3");
   EXPECT_EQ(data.at("stepsBefore"), 100);
   EXPECT_EQ(data.at("steps"), 200);
   EXPECT_EQ(data.at("step"), 0.001);
}

TEST_F(ZqsimResume, WhatDoesNotFitIsRefusedAndLeftAsItIs)
{
   const std::string checkpoint = scratch("run.ck");
   const std::string table = scratch("table.csv");
   expectDone(model("pendulum") + " --time 0.1 --out " + table + " --save-checkpoint " +
              checkpoint);
   const std::string document = contentOf(checkpoint);
   const std::string lines = contentOf(table);
   const auto write = [&](const char* name, const std::string& text)
   {
      std::ofstream(scratch(name)) << text;
      return scratch(name);
   };
   std::string later = document;
   const std::string version = "checkpointVersion=\"";
   later.replace(later.find(version) + version.size(), 1, "9");
   const std::string resume = "--resume " + checkpoint + " --time 1";
   const std::string folder = scratch("folder.csv");
   std::filesystem::create_directory(folder);
   struct Case
   {
      std::string arguments;
      int code;
      std::string message;
   };
   for (const auto& [arguments, code, message] : std::initializer_list<Case>{
           {"--resume " + write("half.ck", document.substr(0, document.size() / 2)) + " --time 1",
            3, "half.ck:"},
           {"--resume " + write("later.ck", later) + " --time 1", 3, "version 9"},
           {"--resume " + model("pendulum") + " --time 1", 3, "pendulum.xml:"},
           {"--resume none.ck --time 1", 3, "none.ck: the file cannot be opened"},
           {model("planarTwoLink") + ' ' + resume, 3, "is not the model of"},
           {resume + " --append --out " + table + " --columns energy", 3,
            "its column 2 is \"pendulum/bob position\""},
           {resume + " --append --out " + table + " --contacts " + write("a.csv", "time,x\n"), 3,
            "a.csv: --append: its column 2 is \"x\""},
           {resume + " --append --out a.xml", 2, "--append: goes on with tables"},
           {resume + " --append --out -", 2, "--append: standard output"},
           {resume + " --append", 2, "--append: there is no table"},
           {model("pendulum") + " --time 1 --append --out " + table, 2, "goes with --resume"},
           {resume + " --solver arbi", 2, "--solver: with --resume it is that of"},
           {resume + " --joints 1", 2, "--joints: with --resume"},
           {resume + " --energy a.csv", 2, "run.ck is of a run that began without"},
           {resume + " --no-contact", 2, "--no-contact: with --resume"},
           {resume + " --until 1", 2, "--until: it stands in place of --time"},
           {"--resume " + checkpoint + " --until 0.09", 2, "0.09 s is before the start at 0.1"},
           {checkpoint + " --time 1", 3, "a run goes on from it with --resume"},
           {resume + " --append --out " + folder, 3, "--append: it is no file to go on with"},
           {resume + " --save " + checkpoint + "/x", 1, "run.ck/x: Not a directory"},
           {"--time 1", 2, "MODEL is required"},
           {resume + " --checkpoint-every 3", 2, "--checkpoint-every needs --save-checkpoint"},
           {resume + " --checkpoint-every 0 --save-checkpoint a.ck", 2,
            "--checkpoint-every: \"0\""},
           {resume + " --save " + checkpoint, 2, "is the file of --resume"},
           {resume + " --save-checkpoint " + scratch("none/a.ck"), 1, "No such file"}})
   {
      const Result result = run("run " + arguments);
      EXPECT_EQ(result.code, code) << arguments;
      EXPECT_EQ(result.out, "") << arguments;
      EXPECT_EQ(result.err.find('\n') + 1, result.err.size()) << result.err;
      EXPECT_NE(result.err.find(message), std::string::npos) << arguments << '\n' << result.err;
   }
   EXPECT_EQ(contentOf(table), lines);
   EXPECT_EQ(contentOf(scratch("a.csv")), "time,x\n");
}

TEST_F(ZqsimResume, ARunThatIsOverLeavesItsTables)
{
   // The checkpoint is beside what is recorded: the line of the end is there because the run ended.
   const std::string checkpoint = scratch("run.ck");
   const std::string andSave = " --save-checkpoint " + checkpoint + " --every 7" + tables("run");
   expectDone(model("pendulum") + " --until 0.1" + andSave);
   std::filesystem::copy_file(checkpoint, scratch("before.ck"));
   for (const std::string table : {".csv", "Contacts.csv", "Energy.csv"})
      std::filesystem::copy_file(scratch("run" + table), scratch("whole" + table));
   const std::string resume = "--resume " + checkpoint + " --append";
   for (const std::string arguments : {" --until 0.1", " --until 0.10000000000000001"})
   {
      expectDone(resume + arguments + andSave);
      expectSameTables("run", "whole");
      EXPECT_TRUE(contentOf(checkpoint) == contentOf(scratch("before.ck"))) << arguments;
   }
}

TEST_F(ZqsimResume, OnlyATornEndOfATableIsDropped)
{
   const std::string checkpoint = scratch("run.ck");
   const std::string table = scratch("table.csv");
   const std::string columns = " --columns energy --append --every 5 --out " + table;
   expectDone(model("pendulum") + " --time 0.05 --every 5 --columns energy --out " + table +
              " --save-checkpoint " + checkpoint);
   const std::string whole = contentOf(table);
   const auto lineOf = [&](const char* time) { return whole.find(std::string("\n") + time) + 1; };
   for (const auto& [text, message] : std::initializer_list<std::pair<std::string, std::string>>{
           {whole + "0.051,1", ""},
           {whole + std::string(9, '\0') + "\nx\n", ""},
           {std::string(whole).insert(lineOf("0.02,"), "x\n"), "line 6 cannot be read, but line 7"},
           {std::string(whole).insert(lineOf("0.02,"), "0.02,1\n"), "line 6 has 2 fields, and not"},
           {std::string(whole).insert(lineOf("0.02,"), "0.03,1,1,1\n"), "line 7 is of an earlier"},
           {std::string(whole).insert(lineOf("0.02,"), "\""), "line 6 has no end, but lines"},
           {whole.substr(0, lineOf("0.04,")), "lines are missing between 0.035 s and"}})
   {
      std::ofstream(table) << text;
      const Result result = run("run --quiet --resume " + checkpoint + " --until 0.05" + columns);
      EXPECT_EQ(result.code, message.empty() ? 0 : 3) << message << result.err;
      EXPECT_NE(result.err.find(message), std::string::npos) << message << '\n' << result.err;
      EXPECT_EQ(contentOf(table) == text, !message.empty()) << message;
   }
}

TEST_F(ZqsimResume, AFullDiskOrADivergenceLeavesTheCheckpointBefore)
{
   // A checkpoint that were saved would be of lines that are lost.
   const std::string checkpoint = scratch("run.ck");
   const std::string andSave = " --save-checkpoint " + checkpoint + ' ';
   expectDone(model("freeChain") + " --time 0.1" + andSave);
   const std::string before = contentOf(checkpoint);
   const std::string full = scratch("full.csv");
   std::filesystem::create_symlink("/dev/full", full);
   for (const auto& [arguments, code] :
        {std::pair{"--until 0.2 --out " + full, 1}, {"--until 1000 --dt 1", 4}})
   {
      const Result result = run("run --resume " + checkpoint + andSave + arguments);
      EXPECT_EQ(result.code, code) << result.err;
      EXPECT_NE(result.err.find("no checkpoint is saved of the end"), std::string::npos);
      EXPECT_TRUE(contentOf(checkpoint) == before);
   }
}

TEST_F(ZqsimResume, EnergiesAddUp)
{
   const std::string table = scratch("energy.csv");
   const std::string out = scratch("out.csv");
   const std::string grasp = model("grasp");
   const std::string inputs = PROJECT "examples/models/grasp.csv";
   const Json data = runForJson("run " + grasp + " --time 0.5 --dt 0.0005 --every 10 --inputs " +
                                inputs + " --columns energy --out " + out + " --energy " + table);
   const Columns columns = readCsv(table);
   const Columns energies = readCsv(out);
   const Json& book = data.at("energyBook");
   double largest = 0.0;
   for (std::size_t k = 0; k < columns.at("time").size(); ++k)
   {
      double change = 0.0;
      for (const auto& [name, values] : columns)
      {
         const double added = values[k] - values[0];
         if (name.starts_with("work of"))
            change -= added;
         else if (name != "time" && name != "remainder")
            change += added;
         largest = std::max(largest, std::abs(values[k]));
      }
      const double roundings = 2e-13 * largest;
      EXPECT_NEAR(columns.at("remainder")[k], change, roundings) << k;
      EXPECT_NEAR(columns.at("gravity")[k], energies.at("potential energy")[k], roundings);
      EXPECT_NEAR(columns.at("kinetic")[k], energies.at("kinetic energy")[k], roundings);
   }
   EXPECT_EQ(book.at("remainder"), columns.at("remainder").back());
   EXPECT_EQ(book.at("work").at("drives"), columns.at("work of drives").back());
   EXPECT_EQ(book.at("heldAtStart").at("gravity"), columns.at("gravity").front());
   EXPECT_NE(columns.at("work of drives").back(), 0.0);
   // Told to people is what is not zero.
   const std::string told = run("run " + model("pendulum") + " --time 0.1 --energy-summary").out;
   EXPECT_NE(told.find("\n  kinetic"), std::string::npos) << told;
   EXPECT_EQ(told.find("friction"), std::string::npos) << told;
   EXPECT_NE(told.find("what is left is the integrator's: "), std::string::npos) << told;
}
} // namespace
