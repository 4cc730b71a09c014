#include "apps/zqsimFixture.h"

namespace
{
class ZqsimEdits : public Zqsim
{
protected:
   /// Edits a model into a file of a name, and answers what was told.
   Json edit(const std::string& command, const std::string& in, const std::string& options,
             const std::string& out) const
   {
      return runForJson(command + ' ' + in + " -o " + scratch(out) + ' ' + options);
   }
   /// The frames of all links, by "MANIPULATOR/LINK".
   std::map<std::string, Json> framesOf(const std::string& fileName) const
   {
      std::map<std::string, Json> frames;
      const Json data = runForJson("frames " + fileName);
      for (const Json& manipulator : data.at("manipulators"))
         for (const Json& frame : manipulator.at("frames"))
            frames[manipulator.at("label").get<std::string>() + '/' +
                   frame.at("link").get<std::string>()] = frame;
      return frames;
   }
   static Json positionOf(const std::map<std::string, Json>& frames, const std::string& link)
   {
      return frames.at(link).at("position");
   }
   static void expectNear(const Json& a, const Json& b, double tolerance, double factor = 1.0)
   {
      for (std::size_t i = 0; i < 3; ++i)
         EXPECT_NEAR(a[i].get<double>(), b[i].get<double>() * factor, tolerance) << a << b;
   }
};

TEST_F(ZqsimEdits, LabelsChangeAtOnce)
{
   const auto before = framesOf(model("twoArms"));
   const Json told = edit("relabel", model("twoArms"),
                          "--manipulator leftArm=rightArm --manipulator rightArm=leftArm "
                          "--link leftArm/hand=forearm --link leftArm/forearm=hand --prefix my-",
                          "new.xml");
   EXPECT_EQ(told.at("changes").size(), 6U);
   const auto after = framesOf(scratch("new.xml"));
   EXPECT_EQ(after.size(), before.size());
   // The right arm was a reference to the left one: it keeps the labels that its links had.
   for (const auto& [from, to] :
        std::map<std::string, std::string>{{"leftArm/hand", "rightArm/forearm"},
                                           {"leftArm/forearm", "rightArm/hand"},
                                           {"rightArm/hand", "leftArm/hand"},
                                           {"carrier/carriage", "my-carrier/carriage"}})
   {
      EXPECT_EQ(positionOf(after, to), positionOf(before, from)) << from;
   }
   const Json carriers = told.at("manipulators");
   EXPECT_EQ(carriers[1].at("carrier"), "my-carrier/carriage");

   // Through pipes, the same bytes.
   const Result piped = run("relabel - - --prefix my- <" + model("twoArms"));
   run("relabel " + model("twoArms") + " --prefix my- " + scratch("file.xml"));
   EXPECT_EQ(piped.out, contentOf(scratch("file.xml")));
   EXPECT_EQ(piped.err, "");
}

TEST_F(ZqsimEdits, WhatIsAttachedAndDetachedStaysOrGoes)
{
   const auto before = framesOf(model("twoArms"));
   const Json off = edit("detach", model("twoArms"), "--manipulator leftArm", "off.xml");
   EXPECT_EQ(off.at("changes"), Json::parse(R"([{"what": "carrier", "of": "leftArm",
      "from": "carrier/carriage", "to": null}])"));
   EXPECT_EQ(framesOf(scratch("off.xml")), before);
   edit("attach", scratch("off.xml"), "--manipulator leftArm --to carriage --in-place", "on.xml");
   for (const auto& [link, frame] : framesOf(scratch("on.xml")))
      expectNear(frame.at("position"), positionOf(before, link), 1e-15);

   // Upside down on the hand of the other arm, which carries it from then on.
   const std::string hang = "--manipulator leftArm --to rightArm/hand --offset '0 0 .1 " +
                            std::to_string(M_PI) + " 0 0' --name perch";
   const Json told = edit("attach", scratch("on.xml"), hang, "hang.xml");
   EXPECT_EQ(told.at("manipulators")[1].at("carrier"), "rightArm/hand");
   EXPECT_EQ(told.at("changes")[1].at("what"), "base position");
   const Json info = runForJson("info " + scratch("hang.xml"));
   const Json all = info.at("attachments");
   const auto attachment = std::find_if(all.begin(), all.end(),
                                        [](const Json& one) { return one.at("name") == "perch"; });
   ASSERT_NE(attachment, all.end());
   EXPECT_NEAR(attachment->at("orientation")[1].get<double>(), 1.0, 1e-12);
   EXPECT_EQ(run("check " + scratch("hang.xml")).code, run("check " + model("twoArms")).code);
}

TEST_F(ZqsimEdits, AScaledCarrierTakesAlongWhatItCarries)
{
   const auto before = framesOf(model("twoArms"));
   const Json told = edit("scale", model("twoArms"), "--by 2 --manipulator carrier", "big.xml");
   const auto after = framesOf(scratch("big.xml"));
   EXPECT_NEAR(told.at("changes")[0].at("to").get<double>(), 320.0, 1e-6); // from 40 kg
   for (const std::string link : {"carrier/carriage", "leftArm/base", "rightArm/base"})
      expectNear(positionOf(after, link), positionOf(before, link), 1e-12, 2.0);
   // The arms keep their size.
   for (std::size_t i = 0; i < 3; ++i)
      EXPECT_NEAR(positionOf(after, "leftArm/hand")[i].get<double>() -
                     positionOf(after, "leftArm/base")[i].get<double>(),
                  positionOf(before, "leftArm/hand")[i].get<double>() -
                     positionOf(before, "leftArm/base")[i].get<double>(),
                  1e-12);
   // And back; all of it is found there.
   edit("scale", scratch("big.xml"), "--by .5 --manipulator carrier", "back.xml");
   EXPECT_EQ(framesOf(scratch("back.xml")), before);
   edit("scale", model("planarTwoLink"), "--by .25", "small.xml");
   EXPECT_EQ(run("check " + scratch("small.xml")).code, 0);
}

TEST_F(ZqsimEdits, WhatIsCombinedIsTakenApartFromTheDocument)
{
   const auto puma = framesOf(model("puma560"));
   const std::string turned = " --offset '0 0 .1 0 0 " + std::to_string(M_PI / 2) + '\'';
   const Json told = edit("combine", model("puma560") + ' ' + model("pendulum"),
                          "--at flange" + turned, "one.xml");
   EXPECT_EQ(told.at("manipulators").size(), 1U);
   EXPECT_EQ(told.at("manipulators")[0].at("joints"), 7);
   EXPECT_EQ(told.at("changes")[0].at("to"), "puma560/flange");
   const auto one = framesOf(scratch("one.xml"));
   for (const auto& [link, frame] : puma)
      EXPECT_EQ(positionOf(one, link), positionOf(puma, link)) << link;

   // Whatever was done to the whole was done to its parts.
   edit("relabel", scratch("one.xml"), "--manipulator puma560=arm", "arm.xml");
   run("convert " + scratch("arm.xml") + " -o " + scratch("arm.xml") + " --to precursor");
   edit("scale", scratch("arm.xml"), "--by 2", "big.xml");
   const auto big = framesOf(scratch("big.xml"));
   const Json apart = edit("separate", scratch("big.xml"), "--manipulator pendulum", "two.xml");
   EXPECT_EQ(apart.at("manipulators").size(), 2U);
   const auto two = framesOf(scratch("two.xml"));
   EXPECT_EQ(two.size(), big.size() + 1U); // the base of the pendulum
   expectNear(positionOf(two, "pendulum/bob"), positionOf(one, "puma560/bob"), 1e-12, 2.0);
   for (const auto& [link, frame] : puma)
      EXPECT_EQ(positionOf(two, "arm/" + link.substr(8)), positionOf(big, "arm/" + link.substr(8)));

   // Both models have all labels.
   edit("combine", model("twoArms") + ' ' + model("twoArms"),
        "--at leftArm/hand --manipulator tool", "arms.xml");
   EXPECT_EQ(run("check " + scratch("arms.xml")).code, 0);
   const Json info = runForJson("info " + scratch("arms.xml"));
   EXPECT_EQ(info.at("joints"), 18);
   EXPECT_EQ(info.at("attachments").size(), 5U); // one tool is a part of a hand
}

TEST_F(ZqsimEdits, WhatCannotBeDoneWritesNothing)
{
   const std::string arms = model("twoArms");
   const std::string content = contentOf(arms);
   const std::string file = scratch("arms.xml");
   std::ofstream(file) << content;
   const struct
   {
      std::string arguments;
      int code;
      std::string message;
   } cases[]{
      {"relabel IN -o IN", 2, "--manipulator, --link or --prefix"},
      {"relabel IN -o IN --manipulator leftArm", 2, "expected OLD=NEW"},
      {"relabel IN -o IN --manipulator leftArm=", 2, "expected OLD=NEW"},
      {"relabel IN -o IN --manipulator x=y", 2, "no manipulator \"x\""},
      {"relabel IN -o IN --manipulator leftArm=rightArm", 2, "would be there twice"},
      {"relabel IN -o IN --link hand=grip", 2, "more than one manipulator has a link \"hand\""},
      {"relabel IN -o IN --link leftArm/hand=forearm", 2, "would be there twice"},
      {"relabel IN - --prefix a --json", 2, "standard output is where the model goes"},
      {"scale IN -o IN --by 0", 2, "\"0\" is not a number above zero"},
      {"scale IN -o IN --by -1", 2, "above zero"},
      {"scale IN -o IN --by nan", 2, "\"nan\""},
      {"scale IN -o IN --by 1e99", 2, "1e+99 is no scale for manipulator \"carrier\""},
      {"scale IN -o IN --by 2 --manipulator x", 2, "no manipulator \"x\""},
      {"scale IN -o IN --by 2 --manipulator tool --manipulator tool", 2, "given twice"},
      {"run IN --time 1 --save IN --release '.1 carrier'", 2, "\"carrier\" is not attached then"},
      {"run IN --time 1 --save IN --attach '.1 leftArm carrier/carriage'", 2, "there already"},
      {"run IN --time 1 --save IN --attach '.1 carrier tool:base'", 2, "would hang on itself"},
      {"attach IN -o IN --manipulator leftArm --to x", 2, "no link \"x\""},
      {"attach IN -o IN --manipulator x --to carriage", 2, "no manipulator \"x\""},
      {"attach IN -o IN --manipulator leftArm --to leftArm/hand", 2, "it would hang on itself"},
      {"attach IN -o IN --manipulator carrier --to leftArm/hand", 2, "\"leftArm\" hangs on it"},
      {"attach IN -o IN --manipulator leftArm --to carriage --offset '1 2'", 2, "received 2"},
      {"combine IN IN -o IN --at x", 2, "no link \"x\""},
      {"combine IN IN -o IN --at leftArm/hand", 2, "has 4 manipulators; say which"},
      {"combine IN " + scratch("none.xml") + " -o IN --at leftArm/hand", 3, "cannot be opened"},
      {"combine IN IN -o IN --at leftArm/hand --manipulator leftArm --offset nan", 2, "\"nan\""},
      {"combine - - -o IN --at hand", 2, "one of the models only"},
      {"separate IN -o IN --manipulator tool", 2, "\"tool\" merged in"},
      {"detach IN -o IN --manipulator carrier", 2, "it is not attached"},
      {"detach " + scratch("none.xml") + " -o IN --manipulator carrier", 3, "cannot be opened"},
      {"detach IN -o " + scratch("no/where.xml") + " --manipulator leftArm", 1, "No such file"}};
   for (const auto& [arguments, code, message] : cases)
   {
      std::string command = arguments;
      for (auto place = command.find("IN"); place != std::string::npos; place = command.find("IN"))
         command.replace(place, 2, file);
      const Result result = run(command);
      EXPECT_EQ(result.code, code) << arguments;
      EXPECT_EQ(result.out, "") << arguments;
      EXPECT_NE(result.err.find(message), std::string::npos) << arguments << '\n' << result.err;
      EXPECT_EQ(contentOf(file), content) << arguments;
   }
}
} // namespace
