#include "support/logCapture.h"
#include "support/xmlSamples.h"
#include "zqManipulator/kinematics/ZqDenavitHartenberg.h"

#include <gtest/gtest.h>

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
   void set(ZqU32 i, const ZqString& t, ZqReal r, bool f, ZqReal o)
   {
      id = i, text = t, real = r, flag = f, old = o;
   }

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
   void set(ZqU32 i, const ZqString& t, ZqReal r, bool f, ZqReal o)
   {
      id = i, text = t, real = r, flag = f, old = o;
   }

   ZqXmlBasicType<ZqU32> id{7};
   ZqXmlBasicType<ZqString> text;
   ZqXmlBasicType<ZqReal> real{9.8};
   ZqXmlBasicType<bool> flag;
   ZqXmlBasicType<ZqReal> old;
};

/// A listed class with one member more, registered by hand.
class Extended : public Listed
{
public:
   ZqXmlObject* clone() const override { return new Extended(*this); }
   ZqXmlObject* newObject() const override { return new Extended(); }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const Extended*>(other);
      return same != nullptr && *this == *same;
   }
   void registerComponents() override
   {
      Listed::registerComponents();
      registerComponent(sizeToken, &size);
   }
   bool operator==(const Extended&) const = default;

   ZqXmlBasicType<ZqReal> size{3.5};
};

template <class T>
class Compound : public testing::Test
{
};
using Kinds = testing::Types<Listed, ByHand, Extended>;
TYPED_TEST_SUITE(Compound, Kinds);
} // namespace

TYPED_TEST(Compound, WritesTheListedMembersInOrderAndReadsThemBack)
{
   TypeParam object;
   object.set(21, "a<b", -1.5, true, 8.5);
   Listed listed;
   listed.set(21, "a<b", -1.5, true, 0);
   const std::string document = written(object);
   std::string same = document;
   if (const auto size = same.find(" <size>"); size != std::string::npos)
      same.erase(size, same.find('\n', size) + 1 - size);
   EXPECT_EQ(same, written(listed));
   EXPECT_EQ(document.find("<old>"), std::string::npos);

   TypeParam back;
   LogCapture log;
   EXPECT_TRUE(readFrom(back, document));
   EXPECT_TRUE(log.empty()) << log.text();
   EXPECT_FALSE(back == object); // the read-only member is not there
   back.old = 8.5;
   EXPECT_EQ(back, object);
   EXPECT_EQ(written(back), document);

   // A copy reads into itself, whatever maps the original has.
   TypeParam copy(back);
   EXPECT_TRUE(copy.componentMap().count(realToken) == 1 &&
               back.componentMap().count(oldToken) == 1);
   EXPECT_TRUE(readFrom(copy, inTag(sampleToken, "<real>4.5</real><old>2.5</old>")));
   EXPECT_EQ(back, object);
   EXPECT_EQ(static_cast<ZqReal>(copy.real), 4.5);
   EXPECT_EQ(static_cast<ZqReal>(copy.old), 2.5);
   EXPECT_EQ(static_cast<ZqU32>(copy.id), 21u);
   back = copy;
   EXPECT_TRUE(readFrom(back, inTag(sampleToken, "<real>5.5</real>")));
   EXPECT_EQ(static_cast<ZqReal>(copy.real), 4.5);
   EXPECT_TRUE(back.isReadOnlyComponent(oldToken) && !back.isReadOnlyComponent(realToken));
}

TYPED_TEST(Compound, LeavesDefaultsOutAndReadsBackTheSame)
{
   TypeParam plain;
   EXPECT_TRUE(plain.equalsDefault());
   const std::string empty = written(plain, false);
   for (const char* name : {"<real", "<text", "<flag", "<size", "id="})
      EXPECT_EQ(empty.find(name), std::string::npos) << name;
   // The default of the class counts, not that of the type.
   TypeParam object;
   object.set(0, "", 0.0, false, 0);
   EXPECT_FALSE(object.equalsDefault());
   const std::string document = written(object, false);
   EXPECT_NE(document.find("<real>0</real>"), std::string::npos) << document;
   EXPECT_NE(document.find("id=\"0\""), std::string::npos);
   EXPECT_EQ(document.find("<flag"), std::string::npos);
   TypeParam back;
   EXPECT_TRUE(readFrom(back, document));
   EXPECT_EQ(back, object);
   EXPECT_EQ(written(back, false), document);
}

TYPED_TEST(Compound, PassesOverWhatItDoesNotKnowAndSaysSoOnce)
{
   TypeParam object;
   LogCapture log;
   EXPECT_TRUE(readFrom(object, inTag(sampleToken,
                                      "<future><real>1</real>t</future>\n<later/><future/>"
                                      "<real xmlns='urn:other'>2</real><text>x</text>",
                                      "id='3' new='1' xml:lang='en'")));
   EXPECT_EQ(static_cast<ZqReal>(object.real), 9.8);
   EXPECT_EQ(static_cast<ZqU32>(object.id), 3u);
   EXPECT_EQ(static_cast<ZqString>(object.text), "x");
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
   EXPECT_TRUE(object.specified());
   object.setXmlInitialized(true);
   const TypeParam copy(object);
   EXPECT_TRUE(copy.specified());
   EXPECT_FALSE(copy.xmlInitialized());
   TypeParam assigned;
   assigned = object;
   EXPECT_TRUE(assigned.specified());
   const std::unique_ptr<ZqXmlObject> fresh(object.newObject());
   EXPECT_FALSE(fresh->specified());
   EXPECT_TRUE(fresh->equality(&copy)); // the flags are no part of the value
}

// Each kind of value says that it was given, as an element and as an attribute.
TEST(Values, AreSpecifiedOnceRead)
{
   const std::string ns = " xmlns='http://zqmanipulator.org/namespace/xml#'";
   const auto check = [](ZqXmlObject&& object, const char* text)
   {
      EXPECT_TRUE(readFrom(object, inTag(object.token(), text))) << text;
      EXPECT_TRUE(object.specified()) << text;
   };
   check(ZqXmlBasicType<ZqReal>(), "1");
   check(ZqXmlEnumType<ZqU32>(modes()), "fast");
   check(ZqXmlVectorBasicType<ZqReal>(), "1 2");
   check(ZqXmlVectorType<ZqU32>(), "<a>1</a>");
   check(ZqXmlMapType<ZqU32, ZqU32>(), "<element><key>1</key><value>2</value></element>");
   check(ZqXmlSetType<ZqU32>(), "<a>1</a>");
   check(ZqXmlPairType<ZqU32, ZqU32>(), "<first>1</first>");
   check(ItemVector(), "<leaf xmlns='" ZQ_TEST_NS "'/>");
}

TEST(Tokens, OrderCompareAndJoinByTheirText)
{
   const ZqToken joined = ZqToken("urn:a#") + "name";
   EXPECT_EQ(joined, ZqToken("urn:a#name"));
   EXPECT_EQ(joined, ZqString("urn:a#name"));
   EXPECT_EQ(joined.namespaceUri(), "urn:a#");
   EXPECT_EQ(joined.localName(), "name");
   EXPECT_TRUE(ZqToken("a") < ZqToken("ab") && ZqToken("B") < ZqToken("a") && !(joined < joined));
   // A token owns its text and so do its copies.
   auto text = std::make_unique<ZqString>("a text that is too long to be kept in place");
   auto token = std::make_unique<ZqToken>(*text);
   const ZqToken copy(*token);
   ZqToken assigned("other");
   assigned = *token;
   assigned = *&assigned;
   const ZqString expected = *text;
   text->assign(text->size(), 'x');
   text.reset();
   token.reset();
   EXPECT_EQ(copy.token(), expected);
   EXPECT_EQ(assigned.token(), expected);
   assigned = realToken;
   EXPECT_EQ(assigned.token(), ZQ_TEST_NS "real");
   // The string of a literal stays where it is for as long as anybody may use it.
   const ZqString& lasting = ZqToken(realToken).token();
   EXPECT_EQ(lasting, ZQ_TEST_NS "real");
}
