#include "apps/zqsimFixture.h"

#include <algorithm>

namespace
{
class ZqsimIk : public Zqsim
{
protected:
   static std::string numbersOf(const Json& list)
   {
      std::string text;
      for (const Json& number : list)
         text += number.dump() + ' ';
      return text;
   }
   Json frameOf(const std::string& arguments, const std::string& link) const
   {
      const Json data = runForJson("frames " + arguments);
      for (const Json& manipulator : data.at("manipulators"))
         for (const Json& frame : manipulator.at("frames"))
            if (frame.at("link") == link)
               return frame;
      return {};
   }
};

// What is printed is what `frames` takes: the pose comes back, from the list and from the model.
TEST_F(ZqsimIk, WhatItPrintsHasTheLinkThere)
{
   const Json wanted = frameOf(model("puma560") + " --joints '0.3 0.8 -0.9 0.4 0.7 -1.1'", "flange");
   const std::string target =
      numbersOf(wanted.at("position")) + numbersOf(wanted.at("orientation"));
   const Result told = run("ik " + model("puma560") + " --link flange --target '" + target + "' -o " +
                           scratch("there.xml"));
   ASSERT_EQ(told.code, 0) << told.err;
   const std::string list = told.out.substr(told.out.find("--joints"));
   for (const Json& frame : {frameOf(model("puma560") + ' ' + list.substr(0, list.find('\n')), "flange"),
                             frameOf(scratch("there.xml"), "flange")})
   {
      double sign = 0.0;
      for (std::size_t i = 0; i < 4; ++i)
         sign += frame.at("orientation")[i].get<double>() * wanted.at("orientation")[i].get<double>();
      EXPECT_NEAR(std::abs(sign), 1.0, 1e-12);
      for (std::size_t i = 0; i < 3; ++i)
         EXPECT_NEAR(frame.at("position")[i].get<double>(), wanted.at("position")[i].get<double>(), 1e-12);
   }
}

TEST_F(ZqsimIk, SaysWhatIsInTheWay)
{
   const std::string ik = "ik " + model("puma560") + " --restarts 5 ";
   struct Case
   {
      const char* arguments;
      int code;
      const char* text;
   };
   const Case cases[] = {
      {"--link flange --target '3 0 0'", 5, "out of reach: farther than all links"},
      {"--link flange --target '0.5 0.1 0.2' --point '0 0 0.1'", 0, "solved"},
      {"--link forearm --target '0.4 0.1 0.2' --link flange --target '0.4 0.1 9' --position-only", 5, "not solved"},
      {"--link flange --target '0.5 0.1'", 2, "--target: expected"},
      {"--link flange --target '0.5 0.1 nan'", 2, "--target"},
      {"--link flange --target '0 0 0 0 0 0 0'", 2, "no finite frame"},
      {"--link none --target '0 0 0'", 2, "no link"},
      {"--link flange", 2, "--target"},
      {"--link flange --link forearm --target '0 0 0'", 2, "each --link needs one"},
      {"--link flange --target '0 0 0' --posture '0 0'", 2, "posture"},
      {"--link flange --target '0 0 0' --seed -1", 2, "--seed"}};
   for (const Case& is : cases)
   {
      const Result result = run(ik + is.arguments);
      EXPECT_EQ(result.code, is.code) << is.arguments << result.err;
      EXPECT_NE((result.out + result.err).find(is.text), std::string::npos)
         << is.arguments << result.out << result.err;
   }
   const Json far = Json::parse(run(ik + "--link flange --target '3 0 0' --json").out);
   EXPECT_FALSE(far.at("solved").get<bool>());
   EXPECT_GT(far.at("targets")[0].at("positionError").get<double>(), 1.0);
   EXPECT_EQ(far.at("seed"), 1);
}
} // namespace
