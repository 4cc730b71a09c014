#include "support/xmlSamples.h"

using namespace zqTest;

TEST(Compound, ReadOnlyMembersAreReadAndNotWritten)
{
   Sample sample;
   sample.old = 8.5;
   Sample copy(sample);
   EXPECT_EQ(written(sample).find("<old"), std::string::npos);
   EXPECT_TRUE(copy.isReadOnlyComponent(oldToken) && !copy.isReadOnlyComponent(realToken));
   EXPECT_TRUE(readFrom(copy, inTag(sampleToken, "<real>4.5</real><old>2.5</old>")));
   EXPECT_EQ(sample.real, 9.8);
   sample.real = 4.5;
   sample.old = 2.5;
   EXPECT_EQ(copy, sample);
}

TEST(Compound, PassesOverWhatItDoesNotKnowAndSaysSoOnce)
{
   Sample object;
   LogCapture log;
   EXPECT_TRUE(readFrom(object, inTag(sampleToken,
                                      "<future><real>1</real>t</future>\n<later/><future/>"
                                      "<real xmlns='urn:other'>2</real><text>x</text>",
                                      "id='3' new='1' xml:lang='en'")));
   Sample expected;
   expected.id = 3;
   expected.text = "x";
   EXPECT_EQ(object, expected);
   ASSERT_EQ(log.size(), 4u) << log.text();
   const char* names[] = {"\"new\"", "future\"", "later\"", "urn:otherreal\""};
   for (std::size_t i = 0; i < 4; ++i)
      EXPECT_TRUE(log.messages()[i].text.find(names[i]) != std::string::npos &&
                  log.messages()[i].text.find("bad.xml") != std::string::npos)
         << names[i] << log.messages()[i].text;

   log.clear();
   EXPECT_TRUE(readFrom(object, inTag(sampleToken, "<real>1</real>\n<real>2.5</real>")));
   EXPECT_EQ(object.real, 2.5);
   EXPECT_EQ(log.size(), 1u);
   EXPECT_TRUE(log.contains("#real\" occurs again") && log.contains("Line: 2")) << log.text();
}

TEST(Compound, TellsWhetherItWasRead)
{
   Sample object;
   EXPECT_FALSE(object.specified());
   EXPECT_TRUE(readFrom(object, inTag(sampleToken, "")));
   const Sample copy(object);
   EXPECT_TRUE(object.specified() && copy.specified());
   EXPECT_TRUE(copy == Sample()); // the flag is no part of the value
}

TEST(Tokens, OrderCompareJoinAndOwnTheirText)
{
   const ZqToken joined = ZqToken("urn:a#") + "name";
   EXPECT_EQ(joined, ZqToken("urn:a#name"));
   EXPECT_EQ(joined.namespaceUri(), "urn:a#");
   EXPECT_EQ(joined.localName(), "name");
   EXPECT_TRUE(ZqToken("a") < ZqToken("ab") && ZqToken("B") < ZqToken("a") && !(joined < joined));
   const ZqString expected = "a text that is too long to be kept in place";
   auto token = std::make_unique<ZqToken>(expected);
   const ZqToken copy(*token);
   token.reset();
   EXPECT_EQ(copy.token(), expected);
   // The string of a literal stays where it is for as long as anybody may use it.
   const ZqString& lasting = ZqToken(realToken).token();
   EXPECT_EQ(lasting, ZQ_TEST_NS "real");
}
