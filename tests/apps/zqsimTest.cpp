#include "apps/zqsimFixture.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/foundation/xml/ZqSha256.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <regex>
#include <tuple>

namespace
{
/// The place of the PUMA and that of its base in it: both are finite, and their sum is not.
const std::string placed = "\n     <common:coordinateSystemTransform>\n      <x:translation>0 0 ";
const std::string stated = "\n    <common:coordinateSystemTransform>\n     <x:translation>0 0 ";
const std::vector<Change> tooLong{
   {"Identifier>" + placed + "0<", "Identifier>" + placed + "1e308<"},
   {"Positions>" + stated + "0<", "Positions>" + stated + "1e308<"}};

/// A zero of either sign equals a default of zero.
std::string withoutSignOfZero(const std::string& document)
{
   return std::regex_replace(document, std::regex(" -0(?=[ <])"), " 0");
}

TEST_F(Zqsim, ModelsAreReadWithoutAWordAndWrittenAsTheyAre)
{
   const std::string schema = scratch("model.xsd");
   EXPECT_EQ(run("schema --out " + schema).code, 0);
   const bool canValidate = std::system("xmllint --version >/dev/null 2>&1") == 0;
   const std::string validate = "xmllint --nonet --noout --schema " + schema + ' ';
   const std::string full = scratch("full.xml"), brief = scratch("brief.xml");
   for (const auto& entry : std::filesystem::directory_iterator(PROJECT "examples/models"))
   {
      const std::string file = entry.path();
      if (!file.ends_with(".xml"))
         continue;
      SCOPED_TRACE(file);
      for (const std::string command : {"info ", "frames ", "distance ", "check "})
      {
         const Result result = run(command + file);
         EXPECT_EQ(result.code, 0);
         EXPECT_NE(result.out, "");
         EXPECT_EQ(result.err, "");
      }
      const Json frames = runForJson("frames " + file).at("manipulators");
      std::size_t joints = runForJson("info " + file).at("joints");
      for (const Json& manipulator : frames)
         joints -= manipulator.at("frames").size() - 1; // the base has no joint
      EXPECT_EQ(joints, 0U);

      EXPECT_EQ(run("convert " + file + ' ' + full).code, 0);
      const std::string document = contentOf(full);
      if (!file.ends_with("minimal.xml")) // written by hand
      {
         EXPECT_EQ(contentOf(file), document);
      }
      EXPECT_EQ(run("convert --brief " + file + ' ' + brief).code, 0);
      EXPECT_LT(contentOf(brief).size(), document.size());
      EXPECT_EQ(withoutSignOfZero(run("convert - - <" + brief).out), withoutSignOfZero(document));
      EXPECT_EQ(run("convert - --brief - <" + brief).out, contentOf(brief));
      const std::string all = file + ' ' + full + ' ' + brief;
      EXPECT_TRUE(!canValidate || std::system((validate + all + " 2>/dev/null").c_str()) == 0);
   }
}

TEST_F(Zqsim, TheSchemaSaysWhatEachElementIs)
{
   const std::string schema = run("schema").out;
   const std::string annotation = "<xs:annotation><xs:documentation>";
   std::size_t count = 0;
   for (const std::string kind : {"<xs:element ", "<xs:attribute ", "<xs:enumeration "})
      for (auto place = schema.find(kind); place != std::string::npos;
           place = schema.find(kind, place + 1), ++count)
      {
         const auto end = schema.find_first_not_of("\n ", schema.find('>', place) + 1);
         EXPECT_EQ(schema.compare(end, annotation.size(), annotation), 0)
            << schema.substr(place, end - place);
      }
   EXPECT_GT(count, 100U);
   EXPECT_NE(schema.find("motor position per joint position; default 1<"), std::string::npos);
}

TEST_F(Zqsim, ShellsAndManualsKnowWhatTheProgramDeclares)
{
   // What a shell would offer at the end of a line.
   run("generate bash " + scratch("zqsim.bash"));
   const auto offered = [&](const std::string& words)
   {
      const std::string script = ". " + scratch("zqsim.bash") + "; COMP_WORDS=(zqsim " + words +
                                 "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _zqsim; "
                                 "echo ${COMPREPLY[@]} #";
      return run("", "bash -c '" + script + "' ").out;
   };
   EXPECT_EQ(offered("ch"), "check\n");
   EXPECT_EQ(offered("run a.xml --sol"), "--solver\n");
   EXPECT_EQ(offered("run --solver \"\""), "arbi crbi\n");
   EXPECT_EQ(offered("frames READ"), "README.md\n");
   EXPECT_EQ(offered("run --plot READ"), "README.md\n");
   EXPECT_EQ(offered("run --time READ"), "\n");

   const std::string page = run("generate man").out;
   const std::string completions = run("generate zsh").out + run("generate fish").out;
   EXPECT_EQ(page.find("generate"), std::string::npos);
   for (const std::string command :
        {"info", "frames", "check", "convert", "attach", "relabel", "run", "vary", "schema"})
   {
      const std::string help = run(command + " --help").out;
      for (auto place = help.find("\n  --"); place != std::string::npos;
           place = help.find("\n  --", place + 1))
      {
         const auto begin = place + 5;
         const std::string name = help.substr(begin, help.find_first_of(" ,\n", begin) - begin);
         const std::string inRoff = std::regex_replace("--" + name, std::regex("-"), "\\-");
         EXPECT_NE(page.find(inRoff), std::string::npos) << name;
         EXPECT_NE(completions.find("--" + name), std::string::npos) << name;
         EXPECT_NE(completions.find(" -l " + name), std::string::npos) << name;
      }
   }
   // As far as there are judges: one complains on standard output, the other on standard error.
   const std::string file = scratch("zqsim.1");
   std::ofstream(file) << page;
   for (const std::string& judge : {"mandoc -Tlint -Werror " + file,
                                    "man --warnings -l -Tutf8 -Z " + file + " 2>&1 >/dev/null"})
      EXPECT_EQ(run("", "command -v " + judge.substr(0, judge.find(' ')) + " >/dev/null && " +
                           judge + "; true ")
                   .out,
                "");
}

TEST_F(Zqsim, FailuresHaveTheirCodeAndOneLine)
{
   const std::string puma = model("puma560");
   std::ofstream(scratch("empty.xml"));
   std::ofstream(scratch("text.xml")) << "no document";
   std::ofstream(scratch("root.xml")) << "<scene/>";
   std::ofstream(scratch("truncated.xml")) << contentOf(puma).substr(0, 5000);
   struct Case
   {
      std::string arguments;
      int code;
      std::string message;
   };
   for (const auto& [arguments, code, message] : std::initializer_list<Case>{
           {"", 2, "sub-command"},
           {"fly " + puma, 2, "fly"},
           {"info", 2, "MODEL"},
           {"info --fast " + puma, 2, "--fast"},
           {"frames " + puma + " --joints", 2, "--joints"},
           {"distance " + puma + " --margin nan", 2, "--margin"},
           {"frames " + puma + " --joints '0.1 0.2'", 2, "needs 6 numbers, but received 2"},
           {"frames " + puma + " --joints '1 2 3 4 5 nan'", 2, "\"nan\""},
           {"frames " + puma + " --joints '1 2 3 4 5 6m'", 2, "\"6m\""},
           {"info " + scratch("missing.xml"), 3, "missing.xml: the file cannot be opened"},
           {"info " + scratch(""), 3, "cannot be read"},
           {"info " + scratch("empty.xml"), 3, "empty"},
           {"check --json " + scratch("text.xml"), 3, "text.xml:1: not well-formed"},
           {"frames " + scratch("root.xml"), 3, "expected the root element"},
           {"check " + scratch("truncated.xml"), 3, "not well-formed"},
           {"convert " + scratch("truncated.xml") + " " + scratch("new.xml"), 3, "not well-formed"},
           {"convert " + puma + " " + scratch("none/new.xml"), 1, "No such file or directory"},
           {"diff " + puma + ' ' + scratch("empty.xml"), 3, "empty"},
           {"diff - -", 2, "one of the models"},
           {"diff " + puma + ' ' + puma + " --tolerance -1", 2, "--tolerance"},
           {"diff " + puma + ' ' + puma + " --states 5", 2, "--motion"},
           {"diff " + puma + ' ' + puma + " --motion --ignore mass", 2, "--motion"},
           {"vary " + puma + " -o " + scratch("new.xml"), 2, "expected --study or one of --sigma"},
           {"vary " + puma + " --sigma-mass -1 -o " + scratch("new.xml"), 2, "--sigma-mass"},
           {"vary " + puma + " --sigma-mass 1e31 -o " + scratch("new.xml"), 2, "--sigma-mass"},
           {"vary " + puma + " --seed -1 --sigma-mass 1 -o " + scratch("new.xml"), 2, "--seed"},
           {"vary " + puma + " --count 2 --sigma-mass 1 -o " + scratch("new.xml"), 2, "%k"},
           {"vary " + model("door") + " --study examples/pumaStudy.xml -o " + scratch("new.xml"), 3,
            "manipulator 'door' has no link 'upperArm'"},
           {"info " + puma + " >/dev/full", 1, "standard output"}})
   {
      const Result result = run(arguments);
      EXPECT_EQ(result.code, code) << arguments;
      EXPECT_EQ(result.out, "") << arguments;
      EXPECT_EQ(result.err.find('\n') + 1, result.err.size()) << result.err;
      EXPECT_EQ(result.err.find("zqsim: "), 0U) << result.err;
      EXPECT_NE(result.err.find(message), std::string::npos) << arguments << '\n' << result.err;
   }
   EXPECT_FALSE(std::filesystem::exists(scratch("new.xml")));
}

TEST_F(Zqsim, SamplesAreTheSameInWhateverRun)
{
   const std::string study =
      "vary " + model("puma560") + " --seed 7 --study examples/pumaStudy.xml";
   const Json told = runForJson(study + " --count 3 -o " + scratch("puma-%k.xml"));
   EXPECT_EQ(told.at("source"), "puma560.xml");
   EXPECT_EQ(told.at("sourceHash"), Zq::sha256(contentOf(model("puma560"))));
   EXPECT_EQ(told.at("samples")[2].at("file"), scratch("puma-2.xml"));
   const std::string sample = contentOf(scratch("puma-2.xml"));
   EXPECT_EQ(run(study + " --first 2 -o -").out, sample);
   EXPECT_NE(contentOf(scratch("puma-1.xml")), sample);
   EXPECT_EQ(run("convert " + scratch("puma-2.xml") + " -").out, sample);
   EXPECT_EQ(run("check " + scratch("puma-2.xml")).out,
             scratch("puma-2.xml") + ": nothing to complain of\n");
   if (std::system("xmllint --version >/dev/null 2>&1") == 0)
   {
      EXPECT_EQ(run("schema --out " + scratch("model.xsd")).code, 0);
      EXPECT_EQ(run("", "xmllint --noout --schema " + scratch("model.xsd") +
                           " examples/pumaStudy.xml " + scratch("puma-2.xml") + " 2>&1; true ")
                   .out,
                "examples/pumaStudy.xml validates\n" + scratch("puma-2.xml") + " validates\n");
   }
}

TEST_F(Zqsim, AReaderThatGoesAwayIsNoFailure)
{
   FILE* pipe = popen((ZQSIM " info " + model("quadruped")).c_str(), "r");
   const int status = pclose(pipe);
   EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST_F(Zqsim, PumaReachesWhereItsGeometrySays)
{
   // The wrist of the arm in the plane of its upper arm and forearm, d3 beside the first axis.
   constexpr double a2 = 0.4318, a3 = 0.0203, d3 = 0.15005, d4 = 0.4318;
   for (const std::array<double, 3>& q :
        {std::array{0.0, M_PI / 2, -M_PI / 2}, {0.3, 0.7, -0.4}, {-2.1, 2.5, 0.6}})
   {
      const double s = std::sin(q[1] + q[2]);
      const double c = std::cos(q[1] + q[2]);
      const double r = a2 * std::cos(q[1]) + a3 * c - d4 * s;
      const std::array expected{r * std::cos(q[0]) + d3 * std::sin(q[0]),
                                r * std::sin(q[0]) - d3 * std::cos(q[0]),
                                a2 * std::sin(q[1]) + a3 * s + d4 * c};
      std::ostringstream joints;
      joints.precision(17);
      joints << q[0] << ' ' << q[1] << ' ' << q[2] << " 0.5 -0.6 0.7";
      const Json data =
         runForJson("frames " + model("puma560") + " --joints '" + joints.str() + "'");
      const Json& tip = data.at("manipulators")[0].at("frames").back();
      EXPECT_EQ(tip.at("link"), "flange");
      for (std::size_t i = 0; i < 3; ++i)
         EXPECT_NEAR(tip.at("position")[i], expected[i], 1e-14); // a few roundings of a metre
   }
}

TEST_F(Zqsim, ConvertTellsAModelInOtherConventionsAndWhatCannotBe)
{
   const std::string out = scratch("converted.xml");
   const std::string alike = "diff --motion --states 20 ";
   for (const auto& entry : std::filesystem::directory_iterator(PROJECT "examples/models"))
      for (const std::string form : {"craig", "precursor", "identity-frames"})
      {
         const std::string file = entry.path();
         if (!file.ends_with(".xml"))
            continue;
         SCOPED_TRACE(file + " to " + form);
         const Result result = run("convert " + file + ' ' + out + " --json --to " + form);
         bool areAll = true;
         const Json summary = Json::parse(result.out);
         for (const Json& told : summary.at("manipulators"))
         {
            const bool isConverted = told.at("isConverted").get<bool>();
            areAll = areAll && isConverted;
            EXPECT_TRUE(isConverted || !told.at("reason").empty());
         }
         EXPECT_EQ(result.code, areAll ? 0 : 5) << result.err;
         EXPECT_TRUE(areAll || form != "identity-frames"); // where joints slide, or are linkages
         const Result motion = run(alike + file + ' ' + out);
         EXPECT_EQ(motion.code, 0) << motion.out;
      }
   // A run goes on as it would have, with what contacts remember. Forces hang on penetrations of 1e-6 m, and follow
   // roundings of 1e-16 m for some thousand steps.
   const std::string half = scratch("half.xml"), whole = scratch("whole.xml");
   for (const std::string name : {"slope", "grasp"})
   {
      ASSERT_EQ(run("run " + model(name) + " --quiet --time 0.2 --save " + half).code, 0);
      ASSERT_EQ(run("run " + half + " --quiet --time 0.2 --save " + whole).code, 0);
      for (const std::string form : {"precursor", "identity-frames"})
      {
         ASSERT_EQ(run("convert " + half + ' ' + out + " --to " + form).code, 0);
         ASSERT_EQ(run("run " + out + " --quiet --time 0.2 --save " + out).code, 0);
         const Result motion = run(alike + "--tolerance 1e-7 " + whole + ' ' + out);
         EXPECT_EQ(motion.code, 0) << name << " to " << form << '\n' << motion.out;
      }
   }
   const std::string convert = "convert " + model("gripper");
   EXPECT_EQ(run(convert + ' ' + out + " --json --to craig --manipulator none").code, 2);
   EXPECT_EQ(run(convert + " - --json --to craig").code, 2);
}

TEST_F(Zqsim, DistancesAreThoseOfTheShapes)
{
   // A ball on an arm that turns about z, beside two others that stand.
   const auto bodyOf = [](const char* label, const ZqVector& center)
   {
      ZqManipulatorLink link;
      link.setLinkLabel(label);
      link.setLinkKinematics(ZqDenavitHartenberg());
      link.setMassProperties(ZqRigidBodyMassProperties::pointMass(1.0));
      link.setShape(ZqSphere(center, 0.25));
      return link;
   };
   ZqIndividualManipulator arm;
   arm.setManipulatorLabel("arm");
   arm.addChild(bodyOf("ball", {1.0, 0.0, 0.0}));
   ZqStatedSystem scene;
   scene.addManipulator(arm);
   for (const auto& [label, y] : {std::pair{"near", 1.0}, {"far", 3.0}})
   {
      ZqIndividualManipulator body;
      body.setManipulatorLabel(label);
      body.setLinkLabel("base");
      body.setShape(ZqSphere(ZqVector(0.0, y, 0.0), 0.25));
      scene.addManipulator(body);
   }
   const std::string file = scratch("balls.xml");
   ASSERT_TRUE(Zq::save(scene, file));
   const auto pairsAt = [&](const std::string& options)
   { return runForJson("distance " + file + ' ' + options).at("pairs"); };

   const Json level = pairsAt("");
   ASSERT_EQ(level.size(), 3U);
   EXPECT_NEAR(level[0].at("distance"), std::sqrt(2.0) - 0.5, 1e-8); // the joint is at 1e-9
   const Json up = pairsAt("--margin 0 --joints 1.3");               // overlapping
   ASSERT_EQ(up.size(), 1U);
   const ZqVector ball(std::cos(1.3), std::sin(1.3), 0.0);
   const ZqVector away = ZqVector(0.0, 1.0, 0.0) - ball;
   EXPECT_NEAR(up[0].at("distance"), away.mag() - 0.5, 1e-15);
   EXPECT_EQ(up[0].at("links")[0], Json({{"manipulator", "arm"}, {"link", "ball"}}));
   for (std::size_t i = 0; i < 3; ++i)
   {
      EXPECT_NEAR(up[0].at("points")[0][i], (ball + away.unitVector() * 0.25)[i], 1e-15);
      EXPECT_NEAR(up[0].at("normal")[i], away.unitVector()[i], 1e-14);
   }
   EXPECT_EQ(run("distance " + file + " --margin 0").out,
             "no two links that may collide are within 0 m\n");
   EXPECT_EQ(run("distance " + file + " --margin inf").code, 2);
   EXPECT_EQ(run("check " + file).code, 0);

   // What check tells of shapes.
   scene.editManipulator(1, [](ZqIndividualManipulator& body)
                         { body.setShape(ZqSphere(ZqVector(1.0, 0.1, 0.0), 0.25)); });
   scene.editManipulator(2,
                         [](ZqIndividualManipulator& body)
                         {
                            body.setShape(ZqTriangleMesh(
                               {{5.0, 0.0, 0.0}, {6.0, 0.0, 0.0}, {5.0, 1.0, 0.0}}, {{0, 1, 2}}));
                         });
   ASSERT_TRUE(Zq::save(scene, file));
   const Result found = run("check " + file);
   EXPECT_EQ(found.code, 5);
   EXPECT_NE(found.out.find("overlaps link \"base\" of \"near\" by 0.4 m"), std::string::npos)
      << found.out;
   EXPECT_NE(found.out.find("[mesh-not-closed]"), std::string::npos) << found.out;
}

TEST_F(Zqsim, WhatIsAttachedMovesAlong)
{
   const std::string twoArms = "frames " + model("twoArms");
   const Json saved = runForJson(twoArms).at("manipulators");
   EXPECT_EQ(
      runForJson(twoArms + " --joints '.25 .3 .6 .9 -.4 -.3 -.5 -1.1 .2'").at("manipulators"),
      saved);
   const Json moved =
      runForJson(twoArms + " --joints '.75 .3 .6 .9 -.4 -.3 -.5 -1.1 .2'").at("manipulators");
   Json expected = saved;
   for (std::size_t i = 0; i < saved.size(); ++i)
      for (std::size_t j = i == 0 ? 1 : 0; j < saved[i].at("frames").size(); ++j)
      {
         Json& x = expected[i].at("frames")[j].at("position")[0];
         const double after = moved[i].at("frames")[j].at("position")[0];
         EXPECT_NEAR(after, x.get<double>() + 0.5, 1e-15); // two roundings
         x = after;
      }
   EXPECT_EQ(moved, expected);
   // Wherever the document leaves it, it is where its carrier has it.
   const std::string elsewhere = changed("twoArms", {{"0.25 0.4 0.1<", "0.25 0.4 7.1<"}});
   EXPECT_EQ(runForJson("frames " + elsewhere).at("manipulators"), saved);
}

TEST_F(Zqsim, CheckFindsWhatIsBroken)
{
   const Change isReference{"torReferenced>false", "torReferenced>true"};
   const std::string label = "<referencedManipulatorLabel>";
   const Change refersToRight{label, label + "rightArm"};
   const Change cycle{label + "leftArm", label + "carrier"};
   const std::string exclusion =
      "ExclusionMap><x:element><x:key>0</x:key><x:value count=\"1\"><x:group>7"
      "</x:group></x:value></x:element></manipulatorExclusionMap>";
   const std::string arm =
      ": statedSystem/.../base 'base'/.../link 'upperArm'/massProperties: the mass";
   const std::string angle =
      "denavitHartenberg/alpha: the angle, -90 rad, is beyond a full turn; meant as "
      "degrees it is -1.5707963267948966 rad (-pi/2)";
   struct Case
   {
      const char *model, *code;
      std::string finding;
      std::vector<Change> changes;
   };
   for (const auto& [name, code, finding, changes] : std::initializer_list<Case>{
           {"twoArms", "reference-missing", "\"arm\"", {{label + "leftArm", label + "arm"}}},
           {"twoArms", "reference-unbound", "to \"arm\"", {{label + "leftArm", label + "arm"}}},
           {"twoArms", "label-changed", "tor 2 becomes", {{"Identifier>right", "Identifier>left"}}},
           {"twoArms", "reference-cycle", "to itself", {{label + "left", label + "right"}}},
           // The first manipulator, the carrier, becomes a reference.
           {"twoArms", "reference-chain", "to \"rightArm\"", {isReference, refersToRight}},
           {"twoArms", "reference-cycle", "'carrier'/man", {isReference, refersToRight, cycle}},
           {"twoArms", "attachment-missing", "leftArm\", wh", {{">hand</linkIn", ">hook</linkIn"}}},
           {"twoArms", "attachment-repaired", "manipulator 9", {{"rId>3<", "rId>9<"}}},
           {"twoArms", "attachment-elsewhere", "2e-06 m", {{"0.4 0.1<", "0.4 0.100002<"}}},
           {"twoArms", "exclusion-missing", "manipulator 7", {{"ExclusionMap/>", exclusion}}},
           {"puma560", "beyond-limit", "'shoulder': the joint po", {{"ons>0 ", "ons>3 "}}},
           {"puma560", "beyond-limit", "6 rad (pi/2)", {{"ons>0 ", "ons>90 "}}},
           {"puma560", "state-size", "'puma560': 5 joint pos", {{"ons>0 ", "ons>"}}},
           {"puma560", "limits-empty", "6803190927 and 2.7925", {{"Limit>-2.", "Limit>3."}}},
           {"puma560", "label-repeated", "link 'base'", {{">flange<", ">base<"}}},
           {"puma560", "unknown-name", ": statedSystem/state/t:", {{"<time>", "<t/><time>"}}},
           {"puma560", "unknown-name", "known are positionStates, vel", {{"<time>", "<t/><time>"}}},
           {"puma560", "count", "2, but the list has 1", {{"tors count=\"1", "tors count=\"2"}}},
           {"puma560", "mass-repaired", arm, {{"<mass>17.4<", "<mass>0<"}}},
           {"puma560", "angle-in-degrees", angle, {{"<alpha>1.5707963267948966<", "<alpha>-90<"}}},
           {"puma560", "not-finite", "link 'base': the frame", tooLong},
           {"freeChain", "no-mass", "the base is free", {{"<mass>10<", "<mass>0<"}}},
           {"pendulum", "impossible-body", "meant about", {{"1\" zz=\"1", "0.1\" zz=\"0.1"}}},
           {"pendulum",
            "no-mass",
            "neither",
            {{"<mass>1<", "<mass>0<"}, {"yy=\"1\" zz=\"1\"", ""}}}})
   {
      const std::string file = changed(name, changes);
      const Result result = run("check " + file);
      EXPECT_EQ(result.code, 5) << finding;
      EXPECT_EQ(result.err, "") << finding;
      EXPECT_NE(result.out.find(finding), std::string::npos) << finding << "\nin\n" << result.out;
      const Json diagnostics = runForJson("check " + file, 5).at("diagnostics");
      EXPECT_EQ(diagnostics.size(), std::count(result.out.begin(), result.out.end(), '\n'));
      const auto told = std::find_if(diagnostics.begin(), diagnostics.end(),
                                     [&](const Json& one) { return one.at("code") == code; });
      ASSERT_NE(told, diagnostics.end()) << code << "\nin\n" << diagnostics;
      EXPECT_EQ(told->at("file"), file);
   }
}

TEST_F(Zqsim, CheckDoesNotListWhatIsNoFault)
{
   const std::string whole = contentOf(model("puma560"));
   const auto state = whole.find(" <state>");
   const std::string end = "</state>\n";
   std::ofstream(scratch("stateless.xml"))
      << whole.substr(0, state) << whole.substr(whole.find(end) + end.size());
   for (const std::string& file :
        {scratch("stateless.xml"), changed("puma560", {{"tors count=\"1\"", "tors"}})})
      EXPECT_EQ(run("check " + file).out, file + ": nothing to complain of\n");
}

TEST_F(Zqsim, WarningsSayWhatCheckFinds)
{
   const std::string broken =
      changed("puma560", {{"<mass>17.4<", "<mass>0<"}, {"ons>0 ", "ons>3 "}});
   const std::string found = run("check " + broken).out;
   std::string warnings = run("run " + broken + " --time 0.001 --quiet").err;
   for (auto place = warnings.find("zqsim: "); place != std::string::npos;
        place = warnings.find("zqsim: "))
      warnings.erase(place, 7);
   EXPECT_EQ(warnings, found);
   // What is repaired does not come back; what is not, does: the body has not got its mass.
   EXPECT_EQ(run("convert " + broken + " " + scratch("repaired.xml")).err,
             "zqsim: " + found.substr(0, found.find('\n') + 1));
   EXPECT_EQ(runForJson("check " + scratch("repaired.xml"), 5).at("diagnostics").size(), 2U);
}

TEST_F(Zqsim, DiffTellsWhatDiffersAndHowItMoves)
{
   const std::string puma = model("puma560");
   const std::string other =
      changed("puma560", {{"<mass>17.4</mass>", "<mass>17.5</mass>"}, {"<time>0", "<time>1"}});
   const std::string both = puma + ' ' + other;
   EXPECT_EQ(run("diff " + puma + ' ' + puma).out, "no difference\n");
   const Result told = run("diff " + both);
   EXPECT_EQ(told.code, 5);
   EXPECT_EQ(told.out, "manipulatorSystemContainer/manipulatorSystem/manipulators[puma560]/"
                       "childLinks[upperArm]/massProperties/mass: 17.4 | 17.5\n"
                       "state/time: 0 | 1\n2 differences\n");
   EXPECT_EQ(run("diff - " + other + " --relative 0.01 --ignore time <" + puma).code, 0);
   const Json limited = runForJson("diff --limit 1 " + both, 5);
   EXPECT_EQ(limited.at("count"), 2);
   EXPECT_EQ(limited.at("differences").size(), 1U);
   EXPECT_EQ(limited.at("differences").at(0).at("b"), "17.5");

   EXPECT_EQ(run("diff --motion " + puma + ' ' + puma).code, 0);
   const Json motion = runForJson("diff --motion --states 5 --seed 7 " + both, 5);
   EXPECT_EQ(motion.at("alike"), false);
   EXPECT_LT(motion.at("deviations").at(1).at("greatest"), 1e-14);
   EXPECT_EQ(motion.at("deviations").at(2).at("place"), "puma560/upperArm");
   EXPECT_NEAR(motion.at("deviations").at(2).at("greatest"), 0.1, 1e-14);
   EXPECT_EQ(run("diff --motion --tolerance 1 " + both).code, 0);
}

TEST_F(Zqsim, AnOldDocumentIsConverted)
{
   const std::string old =
      changed("twoArms", {{"<manipulatorSystemContainer>\n  <manipulatorSystem", "<system"},
                          {"</manipulatorSystem>\n </manipulatorSystemContainer>", "</system>"}});
   EXPECT_EQ(run("convert " + old + " " + old).code, 0);
   EXPECT_EQ(contentOf(old), contentOf(model("twoArms")));
}

TEST_F(Zqsim, FramesThatAreNotFiniteAreANumericalFailure)
{
   const Json tip = runForJson("frames " + changed("puma560", tooLong), 4)
                       .at("/manipulators/0/frames/6/position"_json_pointer);
   EXPECT_TRUE(tip[0].is_number() && tip[2].is_null()) << tip;
}

/// The four triangles of a tetrahedron, as a binary STL file that says how many there are.
std::string binaryStl(std::uint32_t count, const std::string& header = "made by hand")
{
   const float corners[4][3] = {{0, 0, 0}, {0.5, 0, 0}, {0, 0.25, 0}, {0, 0, 0.125}};
   const int triangles[4][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
   std::string file = header;
   file.resize(80);
   file.append(reinterpret_cast<const char*>(&count), 4);
   for (const auto& triangle : triangles)
   {
      file.append(12, '\0');
      for (const int corner : triangle)
         file.append(reinterpret_cast<const char*>(corners[corner]), 12);
      file.append(2, '\0');
   }
   return file;
}

/// A point in the frame of a shape that is drawn, in the system.
std::array<double, 3> inSystem(const Json& shape, const Json& point)
{
   const auto cross = [](const std::array<double, 3>& a, const std::array<double, 3>& b)
   {
      return std::array{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                        a[0] * b[1] - a[1] * b[0]};
   };
   const auto p = point.get<std::array<double, 3>>();
   const auto t = shape.at("position").get<std::array<double, 3>>();
   const auto q = shape.at("orientation").get<std::array<double, 4>>();
   const std::array u{q[1], q[2], q[3]};
   const auto c = cross(u, p);
   const auto d = cross(u, c);
   std::array<double, 3> result{};
   for (std::size_t i = 0; i < 3; ++i)
      result[i] = t[i] + p[i] + 2.0 * (q[0] * c[i] + d[i]);
   return result;
}

TEST_F(Zqsim, MeshesOfFilesBecomeShapes)
{
   std::vector<double> ofMesh;
   if (run("convert x.xml y.xml --mesh a=b").err.find("without Assimp") != std::string::npos)
      GTEST_SKIP() << "built without Assimp";
   std::string text = "solid t\n",
               wavefront = "mtllib none.mtl\nv 0 0 0\nv 0.5 0 0\nv 0 0.25 0\nv 0 0 0.125\n"
                           "vn 0 0 1\n";
   for (const char* const triangle : {"0 0 0/0 0.25 0/0.5 0 0", "0 0 0/0.5 0 0/0 0 0.125",
                                      "0 0 0/0 0 0.125/0 0.25 0", "0.5 0 0/0 0.25 0/0 0 0.125"})
      text += "facet normal 0 0 0\nouter loop\nvertex " +
              std::regex_replace(std::string(triangle), std::regex("/"), "\nvertex ") +
              "\nendloop\nendfacet\n";
   text += "endsolid t\n";
   wavefront += "f 1//1 3//1 2//1\nusemtl m\nf 1 2 \\\n4\nf 1 4 3\nf -3 -2 -1\n";
   const std::string chain = model("freeChain"), out = scratch("out.xml");
   const auto write = [&](const std::string& name, const std::string& content)
   {
      std::ofstream(scratch(name), std::ios::binary) << content;
      return scratch(name);
   };
   for (const auto& [name, content] : {std::pair<std::string, std::string>{"a.stl", binaryStl(4)},
                                       {"b.STL", binaryStl(4, "solid")},
                                       {"c.stl", text},
                                       {"d.obj", wavefront}})
      for (const std::string as : {"mesh", "hull"})
      {
         SCOPED_TRACE(name + as);
         const Result made = run("convert " + chain + " -o " + out +
                                 " --mesh link3=" + write(name, content) + " --mesh-as " + as);
         EXPECT_EQ(made.code, 0) << made.err;
         const std::string type = as == "mesh" ? "triangleMesh" : "convexHull";
         const Json info = runForJson("info " + out);
         EXPECT_EQ(info.at("shapes"), (Json{{type, 1}}));
         for (const Json& link : info.at("/manipulators/0/links"_json_pointer))
            EXPECT_EQ(link.at("shapes").size(), link.at("label") == "link3" ? 1U : 0U);
         EXPECT_NE(run("info " + out).out.find("link3  " + type), std::string::npos);
         const Json frames = runForJson("frames " + out);
         for (const Json& link : frames.at("/manipulators/0/frames"_json_pointer))
            for (const Json& shape : link.at("shapes"))
            {
               EXPECT_EQ(shape.at("vertices").size(), 4U);
               EXPECT_EQ(shape.at(as == "mesh" ? "triangles" : "faces").size(), 4U);
               // In the system both stand in the same place.
               std::vector<double> sum(3);
               for (const Json& vertex : shape.at("vertices"))
                  for (int i = 0; i < 3; ++i)
                     sum[i] += inSystem(shape, vertex)[i];
               if (as == "mesh")
                  ofMesh = sum;
               for (int i = 0; i < 3; ++i)
                  EXPECT_NEAR(sum[i], ofMesh[i], 1e-6) << shape;
            }
         EXPECT_EQ(run("convert " + out + " -").out, contentOf(out));
      }
   const std::string whole = binaryStl(4);
   for (const auto& [argument, code, message] :
        {std::tuple<std::string, int, std::string>{"link3", 2, "LINK=FILE"},
         {"nobody=" + write("a.stl", whole), 2, "no link \"nobody\""},
         {"link3=" + scratch("missing.stl"), 3, "cannot be opened"},
         {"link3=" + scratch(""), 3, ".stl, .obj and .dae"},
         {"link3=" + write("a.ply", whole), 3, ".stl, .obj and .dae"},
         {"link3=" + write("cut.stl", whole.substr(0, whole.size() - 1)), 3, "4 triangles"},
         {"link3=" + write("more.stl", binaryStl(5)), 3, "5 triangles"},
         {"link3=" + write("less.stl", binaryStl(3)), 3, "3 triangles"},
         {"link3=" + write("huge.stl", binaryStl(0xFFFFFFFF)), 3, "4294967295 triangles"},
         {"link3=" + write("short.stl", whole.substr(0, 83)), 3, "cut short"},
         {"link3=" + write("text.stl", text.substr(0, 200)), 3, "cut short"},
         {"link3=" + write("none.stl", ""), 3, "cut short"},
         {"link3=" + write("none.obj", ""), 3, "none.obj"},
         {"link3=" + write("bad.obj", "v 0 0 0\nf 1 2 99\n"), 3, "bad.obj"},
         {"link3=" + write("far.obj", "v 0 0 0\nv 1e99 0 0\nv 0 1 0\nf 1 2 3\n"), 3, "not finite"},
         {"link3=" + write("flat.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n"), 3, "no triangle"}})
   {
      SCOPED_TRACE(argument);
      const Result result =
         run("convert " + chain + " --out " + scratch("no.xml") + " --mesh " + argument);
      EXPECT_EQ(result.code, code) << result.err;
      EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
      EXPECT_FALSE(std::filesystem::exists(scratch("no.xml")));
   }
}

TEST_F(Zqsim, TheReadmeShowsWhatIsPrinted)
{
   const std::string command = "$ zqsim ";
   std::filesystem::create_directory_symlink(PROJECT "examples", scratch("examples"));
   for (const auto& [document, least] :
        {std::pair("README.md", 25), std::pair("docs/models.md", 40)})
   {
      std::istringstream lines(contentOf(PROJECT + std::string(document)));
      std::string output;
      int shown = 0;
      for (std::string line; std::getline(lines, line);)
      {
         for (std::string rest; line.ends_with('\\') && std::getline(lines, rest); line += rest)
            line.pop_back();
         if (line.starts_with(command))
         {
            const Result result = run(line.substr(command.size()), "cd " + scratch("") + " &&");
            EXPECT_TRUE(result.code == 0 || result.code == 5) << line << '\n' << result.err;
            output = result.out;
         }
         else if (line == "```")
            output.clear();
         else if (!output.empty() && !line.empty() && line != "  ...")
         {
            EXPECT_NE(output.find(line + '\n'), std::string::npos) << line << "\nin\n" << output;
            ++shown;
         }
      }
      EXPECT_GT(shown, least) << document;
   }
}
} // namespace
