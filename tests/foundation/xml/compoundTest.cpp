#include "support/xmlSamples.h"

using namespace zqTest;

namespace
{
/// The members of a class as a list; `ByHand` below registers the same by itself.
class Listed : public ZqXmlClass<Listed>
{
public:
   static const ZqToken& classToken() { return sampleToken; }
   static constexpr auto components()
   {
      return std::tuple{
         ZqAttributeComponent(&Listed::id, &idToken), ZqComponent{&Listed::text, &textToken},
         ZqComponent{&Listed::real, &realToken}, ZqReadOnlyComponent(&Listed::old, &oldToken),
         ZqComponent{&Listed::flag, &flagToken}};
   }
   bool operator==(const Listed&) const = default;

   ZqU32 id = 7;
   ZqString text;
   ZqReal real = 9.8;
   bool flag = false;
   ZqReal old = 0;
};

class ByHand : public ZqXmlCompoundType
{
public:
   ZqXmlObject* clone() const override { return new ByHand(*this); }
   ZqXmlObject* newObject() const override { return new ByHand(); }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const ByHand*>(other);
      return same != nullptr && *this == *same;
   }
   const ZqToken& token() const override { return sampleToken; }
   void registerComponents() override
   {
      registerAttributeComponent(idToken, &id);
      registerComponent(textToken, &text);
      registerComponent(realToken, &real);
      registerComponentReadOnly(oldToken, &old);
      registerComponent(flagToken, &flag);
   }
   bool operator==(const ByHand&) const = default;

   ZqXmlBasicType<ZqU32> id{7};
   ZqXmlBasicType<ZqString> text;
   ZqXmlBasicType<ZqReal> real{9.8};
   ZqXmlBasicType<bool> flag;
   ZqXmlBasicType<ZqReal> old;
};

template <class T>
T filled(ZqU32 id, const ZqString& text, ZqReal real, bool flag, ZqReal old)
{
   T object;
   object.id = id, object.text = text, object.real = real, object.flag = flag, object.old = old;
   return object;
}

template <class T>
class Compound : public testing::Test
{
};
using Kinds = testing::Types<Listed, ByHand>;
TYPED_TEST_SUITE(Compound, Kinds);
} // namespace

TYPED_TEST(Compound, WritesTheListedMembersInOrderAndReadsThemBack)
{
   const auto object = filled<TypeParam>(21, "a<b", -1.5, true, 8.5);
   const std::string document = written(object);
   EXPECT_EQ(document, written(filled<Listed>(21, "a<b", -1.5, true, 0)));
   TypeParam back;
   EXPECT_TRUE(readFrom(back, document));
   EXPECT_FALSE(back == object); // the read-only member is not there
   back.old = 8.5;
   EXPECT_EQ(back, object);

   // A copy reads into itself, whatever maps the original has.
   TypeParam copy(back);
   EXPECT_EQ(copy.componentMap().count(realToken), 1u);
   EXPECT_TRUE(readFrom(copy, inTag(sampleToken, "<real>4.5</real><old>2.5</old>")));
   EXPECT_EQ(back, object);
   EXPECT_EQ(copy, filled<TypeParam>(21, "a<b", 4.5, true, 2.5));
   EXPECT_TRUE(back.isReadOnlyComponent(oldToken) && !back.isReadOnlyComponent(realToken));
}

TYPED_TEST(Compound, LeavesDefaultsOutAndReadsBackTheSame)
{
   const TypeParam plain;
   EXPECT_TRUE(plain.equalsDefault());
   const std::string empty = written(plain, false);
   for (const char* name : {"<real", "<text", "<flag", "id="})
      EXPECT_EQ(empty.find(name), std::string::npos) << name;
   // The default of the class counts, not that of the type.
   const auto object = filled<TypeParam>(0, "", 0.0, false, 0);
   EXPECT_FALSE(object.equalsDefault());
   const std::string document = written(object, false);
   EXPECT_NE(document.find("<real>0</real>"), std::string::npos) << document;
   EXPECT_NE(document.find("id=\"0\""), std::string::npos);
   EXPECT_EQ(document.find("<flag"), std::string::npos);
   expectRoundTrip(object, false);
}

TYPED_TEST(Compound, PassesOverWhatItDoesNotKnowAndSaysSoOnce)
{
   TypeParam object;
   LogCapture log;
   EXPECT_TRUE(readFrom(object, inTag(sampleToken,
                                      "<future><real>1</real>t</future>\n<later/><future/>"
                                      "<real xmlns='urn:other'>2</real><text>x</text>",
                                      "id='3' new='1' xml:lang='en'")));
   EXPECT_EQ(object, filled<TypeParam>(3, "x", 9.8, false, 0));
   ASSERT_EQ(log.size(), 4u) << log.text();
   const char* names[] = {"\"new\"", "future\"", "later\"", "urn:otherreal\""};
   for (std::size_t i = 0; i < 4; ++i)
      EXPECT_TRUE(log.messages()[i].text.find(names[i]) != std::string::npos &&
                  log.messages()[i].text.find("bad.xml") != std::string::npos)
         << names[i] << log.messages()[i].text;

   log.clear();
   EXPECT_TRUE(readFrom(object, inTag(sampleToken, "<real>1</real>\n<real>2.5</real>")));
   EXPECT_EQ(static_cast<ZqReal>(object.real), 2.5);
   EXPECT_EQ(log.size(), 1u);
   EXPECT_TRUE(log.contains("#real\" occurs again") && log.contains("Line: 2")) << log.text();
}

TYPED_TEST(Compound, TellsWhetherItWasRead)
{
   TypeParam object;
   EXPECT_FALSE(object.specified());
   EXPECT_TRUE(readFrom(object, inTag(sampleToken, "")));
   const TypeParam copy(object);
   TypeParam assigned;
   assigned = object;
   EXPECT_TRUE(object.specified() && copy.specified() && assigned.specified());
   const std::unique_ptr<ZqXmlObject> fresh(object.newObject());
   EXPECT_FALSE(fresh->specified());
   EXPECT_TRUE(fresh->equality(&copy)); // the flag is no part of the value
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
