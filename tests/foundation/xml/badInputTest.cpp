#include "support/logCapture.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/kinematics/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/ZqLinkKinematicsContainer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <clocale>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <locale>

// Documents are not trusted: whatever comes in, the answer is false and a message with the place, or
// the repair that is documented.

using namespace zqTest;

namespace
{
std::string sampleOf(std::string_view content, std::string_view attributes = {})
{
   return inTag(sampleToken, content, attributes);
}

struct Outcome
{
   bool accepted = false;
   std::string messages;
   std::string again; ///< what the object holds when it was accepted, as a document

   bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* out)
{
   *out << (outcome.accepted ? "accepted\n" : "refused\n") << outcome.messages << outcome.again;
}

Outcome outcomeOf(const ZqXmlObject& kind, const std::string& document,
                  const ZqXmlReader::Limits& limits = {})
{
   const std::unique_ptr<ZqXmlObject> object(kind.newObject());
   LogCapture log;
   Outcome outcome;
   outcome.accepted = readFrom(*object, document, limits);
   outcome.messages = log.text();
   if (outcome.accepted)
      outcome.again = written(*object);
   return outcome;
}

std::string utf16(std::string_view ascii, bool bigEndian)
{
   std::string result = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
   for (const char c : ascii)
      result += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
   return result;
}

std::string repeated(std::string_view text, std::size_t count)
{
   std::string result;
   result.reserve(text.size() * count);
   for (std::size_t i = 0; i < count; ++i)
      result += text;
   return result;
}

struct BadDocument
{
   const char* name;
   std::string document;
   const char* message; ///< part of what is logged
   unsigned line;
};

const std::vector<BadDocument>& badSamples()
{
   const std::string ns = "xmlns='" ZQ_TEST_NS "'";
   static const std::vector<BadDocument> table{
      {"nothing", "", "bad.xml", 1},
      {"white space alone", " \n\n ", "bad.xml", 3},
      {"text alone", "9.8", "bad.xml", 1},
      {"wrong root", "\n<node " + ns + "/>", "test#sample", 2},
      {"root without namespace", "<sample/>", "test#sample", 1},
      {"two roots", sampleOf("") + "\n" + sampleOf(""), "bad.xml", 2},
      {"text after the root", sampleOf("") + "\nx", "bad.xml", 2},
      {"mismatched tags", sampleOf("\n<real>1</flag>"), "bad.xml", 2},
      {"unclosed tag", "<sample " + ns + ">\n<real>1</real>", "bad.xml", 2},
      {"attribute twice", sampleOf("", "id='3'\nid='4'"), "bad.xml", 2},
      {"attribute twice through prefixes", sampleOf("", "xmlns:a='u' xmlns:b='u' a:k='3'\nb:k='4'"),
       "bad.xml", 1},
      {"unbound prefix", sampleOf("\n<q:real>1</q:real>"), "bad.xml", 2},
      {"bare ampersand", sampleOf("\n<text>a & b</text>"), "bad.xml", 2},
      {"bare less-than in an attribute", sampleOf("", "label='<'"), "bad.xml", 1},
      {"document type", "<!DOCTYPE sample>\n" + sampleOf(""), "document type declaration", 1},
      {"entity bomb",
       "<?xml version='1.0'?>\n<!DOCTYPE s [<!ENTITY a 'aaaaaaaaaa'><!ENTITY b "
       "'&a;&a;&a;&a;&a;&a;&a;&a;'><!ENTITY c '&b;&b;&b;&b;&b;&b;&b;&b;'>]>" +
          sampleOf("<text>&c;</text>"),
       "document type declaration", 2},
      {"external entity",
       "<!DOCTYPE s [<!ENTITY a SYSTEM 'file:///etc/passwd'>]>" + sampleOf("<text>&a;</text>"),
       "document type declaration", 1},
      {"external subset", "<!DOCTYPE s SYSTEM 'http://127.0.0.1/s.dtd'>" + sampleOf(""),
       "document type declaration", 1},
      {"undeclared entity", sampleOf("\n\n<text>&nbsp;</text>"), "bad.xml", 3},
      {"zero byte", sampleOf(std::string("<text>a\n\0b</text>", 17)), "bad.xml", 2},
      {"control character", sampleOf("<text>\x01</text>"), "bad.xml", 1},
      {"reference to a control character", sampleOf("<text>&#1;</text>"), "bad.xml", 1},
      {"half a surrogate pair", sampleOf("<text>&#xD800;</text>"), "bad.xml", 1},
      {"invalid UTF-8", sampleOf("<text>\n\xC3\x28</text>"), "bad.xml", 2},
      {"overlong UTF-8", sampleOf("<text>\xC0\xBC</text>"), "bad.xml", 1},
      {"UTF-8 that says it is UTF-16", "<?xml version='1.0' encoding='UTF-16'?>\n" + sampleOf(""),
       "bad.xml", 1},
      {"unknown encoding", "<?xml version='1.0' encoding='x-none'?>\n" + sampleOf(""), "bad.xml",
       1},
      {"XML declaration after a blank", "\n<?xml version='1.0'?>" + sampleOf(""), "bad.xml", 2},
      {"text between elements", sampleOf("\n<real>1</real> x <flag>true</flag>"), "received text",
       2},
      {"CDATA between elements", sampleOf("\n<![CDATA[x]]>"), "received text", 2},
      {"element in a number", sampleOf("\n<real>1<b/>2</real>"), "bad.xml", 2},
      {"comment in a number is none, junk is", sampleOf("<real>1<!-- -->\nx</real>"),
       "a real number", 2},
      {"no token of the enumeration", sampleOf("\n<mode>idle</mode>"), "\"slow\" \"fast\"", 2},
      {"number for an enumeration", sampleOf("\n<mode>1</mode>"), "\"slow\" \"fast\"", 2},
      {"bad attribute value, in the line of its tag", "\n" + sampleOf("", "\nid='-1'"),
       "an unsigned integer", 2},
      {"two numbers of three", sampleOf("\n<place>1 2</place>"), "three real numbers", 2},
      {"four numbers of three", sampleOf("\n<place>1 2 3 4</place>"), "three real numbers", 2},
      {"orientation of zeros", sampleOf("\n<turn>0 0 0 0</turn>"), "four real numbers", 2},
      {"junk in a vector of numbers, in the line of its start",
       sampleOf("\n<reals>1 2\n 3; 4</reals>"), "a real number", 2},
      {"failure after one that was passed over",
       sampleOf(
          "<pair>\n<foo/><first xmlns='http://zqmanipulator.org/namespace/xml#'>x</first></pair>"),
       "received \"x\"", 2},
      {"map entry of another name", sampleOf("<map>\n<entry/></map>"), "ZqXmlMapType Error", 2},
      {"word in a set of numbers",
       sampleOf("<set count='2'><group xmlns='http://zqmanipulator.org/namespace/xml#'>"
                "1\ntwo</group></set>"),
       "an unsigned integer", 2},
   };
   return table;
}

std::string truncated(std::string text)
{
   return text.size() > 200 ? text.substr(0, 200) + "..." : text;
}
} // namespace

TEST(BadInput, IsRefusedWithAMessageThatTellsThePlace)
{
   for (const BadDocument& bad : badSamples())
   {
      const Outcome outcome = outcomeOf(Sample(), bad.document);
      SCOPED_TRACE(std::string(bad.name) + ": " + truncated(bad.document));
      EXPECT_FALSE(outcome.accepted);
      EXPECT_NE(outcome.messages.find(bad.message), std::string::npos) << outcome.messages;
      EXPECT_NE(outcome.messages.find("bad.xml"), std::string::npos) << outcome.messages;
      const std::string line = "Line: " + std::to_string(bad.line);
      EXPECT_TRUE(outcome.messages.find(line + "\n") != std::string::npos ||
                  outcome.messages.find(line + "\t") != std::string::npos)
         << line << " in " << outcome.messages;
   }
}

class BadInputInBlocks : public testing::TestWithParam<std::size_t>
{
};

// Expat is fed as many bytes at a time as the parameter says: nothing may depend on where they end.
TEST_P(BadInputInBlocks, HasTheSameOutcomeAsInOneBlock)
{
   ZqXmlReader::Limits limits;
   limits.blockBytes = GetParam();
   for (const BadDocument& bad : badSamples())
      EXPECT_EQ(outcomeOf(Sample(), bad.document, limits), outcomeOf(Sample(), bad.document))
         << bad.name;

   ZqLinkKinematicsContainer container;
   container.setTopElement(ZqDenavitHartenberg::defaultObject());
   Sample other = Sample::odd();
   other.label = "\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E";
   for (const ZqXmlObject* object : std::initializer_list<const ZqXmlObject*>{&container, &other})
   {
      const Outcome outcome = outcomeOf(*object, written(*object), limits);
      EXPECT_TRUE(outcome.accepted);
      EXPECT_EQ(outcome.messages, "");
      EXPECT_EQ(outcome.again, written(*object));
   }
   for (const char* document :
        {"<!-- c --><?pi x?>\n<sample xmlns='" ZQ_TEST_NS
         "'><!-- -->\n<unknown a='1'><b/>t</unknown>"
         "<?pi?><text>a<!-- x -->b<![CDATA[<c>]]>\r\nd&#x20AC;</text>\n<real> 1.5\n</real>"
         "<real>2.5</real></sample> <!-- end -->\n",
         "<sample xmlns='" ZQ_TEST_NS "'><reals> 1 2\t3\n4 </reals></sample>"})
   {
      const Outcome outcome = outcomeOf(Sample(), document, limits);
      EXPECT_TRUE(outcome.accepted);
      EXPECT_EQ(outcome, outcomeOf(Sample(), document));
   }
}

INSTANTIATE_TEST_SUITE_P(Bytes, BadInputInBlocks, testing::Values(1, 2, 3, 4, 5, 64));

TEST(BadInput, NoPrefixOfADocumentIsAccepted)
{
   Node node;
   node.children.pushBack(Leaf(5));
   ZqLinkKinematicsContainer joint;
   joint.setTopElement(ZqDenavitHartenberg::defaultObject());
   const Sample sample = Sample::odd();
   for (const ZqXmlObject* object :
        std::initializer_list<const ZqXmlObject*>{&node, &joint, &sample})
   {
      const std::string document = written(*object);
      ASSERT_TRUE(outcomeOf(*object, document).accepted);
      for (std::size_t size = 0; size < document.size(); ++size)
      {
         const Outcome outcome = outcomeOf(*object, document.substr(0, size));
         EXPECT_FALSE(outcome.accepted) << document.substr(0, size);
         EXPECT_NE(outcome.messages.find("bad.xml"), std::string::npos) << document.substr(0, size);
      }
   }
}

// One byte changed for another: it may still be a document, but then what was read is written and
// read again without loss.
TEST(BadInput, ChangedBytesNeverLeadToAnObjectThatDoesNotReadBack)
{
   const std::string document = written(Sample::odd());
   for (std::size_t i = 0; i < document.size(); ++i)
      for (const char c : {'<', '>', '\0', '\xFF', '"', '/', '9', '-'})
      {
         std::string changed = document;
         changed[i] = c;
         Sample sample;
         LogCapture log;
         if (!readFrom(sample, changed))
         {
            EXPECT_TRUE(log.contains("bad.xml")) << changed;
            continue;
         }
         Sample back;
         EXPECT_TRUE(Zq::fromXml(back, written(sample))) << changed;
         EXPECT_EQ(back, sample) << changed;
      }
}

namespace
{
struct Number
{
   const char* text;
   bool isReal;
   bool isNonNegative;
   bool isUnsigned;
   double value;
};

constexpr Number numbers[] = {{"0", true, true, true, 0},
                              {" \n12\t", true, true, true, 12},
                              {"4294967295", true, true, true, 4294967295.0},
                              {"4294967296", true, true, false, 4294967296.0},
                              {"-0", true, true, false, -0.0},
                              {"-1", true, false, false, -1},
                              {"1.5", true, true, false, 1.5},
                              {"5e-324", true, true, false, 4.9e-324},
                              {".5", true, true, false, 0.5},
                              {"1E2", true, true, false, 100},
                              {"1e999", false, false, false, 0},
                              {"-1e999", false, false, false, 0},
                              {"1e-400", false, false, false, 0},
                              {"nan", false, false, false, 0},
                              {"-nan(1)", false, false, false, 0},
                              {"inf", false, false, false, 0},
                              {"Infinity", false, false, false, 0},
                              {"1x", false, false, false, 0},
                              {"0x10", false, false, false, 0},
                              {"1,5", false, false, false, 0},
                              {"1 5", false, false, false, 0},
                              {"", false, false, false, 0},
                              {" ", false, false, false, 0},
                              {"e5", false, false, false, 0},
                              {"+-1", false, false, false, 0},
                              {"++1", false, false, false, 0},
                              {"- 1", false, false, false, 0},
                              {"1e", false, false, false, 0},
                              {"\xC2\xA0"
                               "1",
                               false, false, false, 0}};

/// Whether the text is taken as the value of an element, of an attribute, and as a word in a group.
template <class T>
void expectNumber(const char* text, bool accepted, double expected)
{
   constexpr double before = 3;
   const auto check = [&](const char* where, bool result, const T& value, const LogCapture& log)
   {
      SCOPED_TRACE(std::string(where) + " \"" + text + "\" " + log.text());
      EXPECT_EQ(result, accepted);
      EXPECT_EQ(static_cast<double>(value), accepted ? expected : before);
      // A number of at least 0 has no negative zero.
      const bool hasSign = accepted && std::signbit(expected) && !std::is_same_v<T, ZqNonNegReal>;
      EXPECT_EQ(std::signbit(static_cast<double>(value)), hasSign);
      EXPECT_EQ(log.contains(ZqXmlText<T>::expected) && log.contains("Line: 2"), !accepted);
   };
   const std::string content = std::string("\n") + text;
   {
      LogCapture log;
      ZqXmlBasicType<T> value{T(before)};
      const bool result = readFrom(value, inTag(value.token(), content));
      check("element", result, value.value(), log);
   }
   {
      LogCapture log;
      ZqXmlMapType<ZqU32, T> map;
      const bool result = readFrom(
         map, inTag(map.token(), "<element><key>5</key><value>" + content + "</value></element>"));
      EXPECT_EQ(map.size(), accepted ? 1u : 0u) << text;
      check("map", result, accepted ? map.mapContainer().begin()->second : T(before), log);
   }
}
} // namespace

TEST(BadInput, NumbersAreReadExactlyOrRefusedAndLeaveTheValueAsItWas)
{
   for (const Number& number : numbers)
   {
      expectNumber<ZqReal>(number.text, number.isReal, number.value);
      expectNumber<ZqNonNegReal>(number.text, number.isNonNegative, number.value);
      expectNumber<ZqAngle>(number.text, number.isReal, number.value);
      expectNumber<ZqU32>(number.text, number.isUnsigned, number.value);
   }
   for (const auto& [text, accepted] : std::map<std::string, bool>{{"true", true},
                                                                   {" 1 ", true},
                                                                   {"TRUE", false},
                                                                   {"yes", false},
                                                                   {"", false},
                                                                   {"2", false},
                                                                   {"truefalse", false}})
   {
      ZqXmlBasicType<bool> value;
      LogCapture log;
      EXPECT_EQ(readFrom(value, inTag(value.token(), text)), accepted) << text;
      EXPECT_EQ(value.value(), accepted) << text;
      EXPECT_EQ(log.contains("true or false"), !accepted) << text;
   }
}

// A locale with a decimal comma and grouped thousands, for C (if one is installed) and for C++.
TEST(BadInput, NumbersDoNotDependOnTheLocale)
{
   struct Comma : std::numpunct<char>
   {
      char do_decimal_point() const override { return ','; }
      char do_thousands_sep() const override { return '.'; }
      std::string do_grouping() const override { return "\3"; }
   };
   const Sample odd = Sample::odd();
   const std::string document = written(odd);
   const std::string oldC = std::setlocale(LC_ALL, nullptr);
   const std::locale old = std::locale::global(std::locale(std::locale::classic(), new Comma));
   for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8"})
      if (std::setlocale(LC_NUMERIC, name) != nullptr)
         break;
   Sample back;
   const bool read = readFrom(back, document);
   const std::string again = written(odd);
   std::locale::global(old);
   std::setlocale(LC_ALL, oldC.c_str());
   EXPECT_TRUE(read);
   EXPECT_EQ(back, odd);
   EXPECT_EQ(again, document);
}

TEST(BadInput, OtherEncodingsAreUnderstoodWhenTheyAreWhatTheySay)
{
   Sample sample;
   sample.text = "\xC3\xA9";
   const std::string head = "<?xml version='1.0' encoding='";
   for (const std::string& document :
        {"\xEF\xBB\xBF" + sampleOf("<text>\xC3\xA9</text>"),
         utf16(sampleOf("<text>&#233;</text>"), true),
         utf16(head + "UTF-16'?>" + sampleOf("<text>&#233;</text>"), false),
         head + "ISO-8859-1'?>" + sampleOf("<text>\xE9</text>")})
   {
      Sample back;
      LogCapture log;
      EXPECT_TRUE(readFrom(back, document)) << log.text();
      EXPECT_EQ(back, sample);
   }
   // An odd number of bytes, half a character.
   const std::string wide = utf16(sampleOf(""), true);
   EXPECT_FALSE(outcomeOf(Sample(), wide.substr(0, wide.size() - 1)).accepted);
}

TEST(BadInput, CountsAreHintsAndNeverAllocations)
{
   for (const char* count : {"4294967295", "4294967296", "18446744073709551615",
                             "99999999999999999999", "-1", "abc", "", "0x3"})
   {
      const std::string attribute = std::string("count='") + count + "'";
      const std::string two = "<element>\n<translation>1 2 3</translation></element><element/>";
      SCOPED_TRACE(attribute);
      LogCapture log;
      ZqXmlVectorType<ZqCoordinateSystemTransformation> vector;
      EXPECT_TRUE(readFrom(vector, inTag(vector.token(), two, attribute)));
      EXPECT_EQ(vector.size(), 2u);
      EXPECT_TRUE(log.contains("bad.xml") && log.contains(", Line count: 2")) << log.text();
      log.clear();

      ItemVector items;
      EXPECT_TRUE(
         readFrom(items, inTag(items.token(), "<leaf xmlns='" ZQ_TEST_NS "'/>", attribute)));
      EXPECT_EQ(items.size(), 1u);
      EXPECT_LT(vector.vectorContainer().capacity() + items.vectorContainer().capacity(), 30'000u);
   }
}

// Many counts that lie, in one document: what is set aside for all of them together stays in
// proportion to the document.
TEST(BadInput, LyingCountsDoNotAddUp)
{
   ZqXmlVectorType<ZqXmlVectorType<ZqU32>> vectors;
   for (const char* lists : {"<a count='4294967295'/>", "<a count='4294967295'><b>1</b></a>"})
   {
      const std::string document = inTag(vectors.token(), repeated(lists, 1000), "count='1000'");
      LogCapture log;
      EXPECT_TRUE(readFrom(vectors, document));
      EXPECT_EQ(vectors.size(), 1000u);
      std::size_t bytes = 0;
      for (const auto& vector : vectors)
         bytes += vector.vectorContainer().capacity() * sizeof(ZqU32);
      EXPECT_LT(bytes, 20 * document.size() + (std::size_t{1} << 20U));
   }
}

TEST(BadInput, NestingIsLimited)
{
   Node node;
   EXPECT_TRUE(readFrom(node, chainOfNodes(1000)));
   EXPECT_TRUE(readFrom(node, chainOfNodes(2048)));
   EXPECT_EQ(written(Node(node)), written(node));
   for (const unsigned depth : {2049u, 500'000u})
   {
      const Outcome outcome = outcomeOf(Node(), chainOfNodes(depth));
      EXPECT_FALSE(outcome.accepted);
      EXPECT_TRUE(outcome.messages.find("4096") != std::string::npos &&
                  outcome.messages.find("Line: 1\n") != std::string::npos)
         << truncated(outcome.messages);
   }
   // Where nobody knows the elements, they count all the same.
   EXPECT_FALSE(readFrom(node, inTag(nodeToken, repeated("<u>", 1'000'000))));

   ZqXmlReader::Limits limits;
   limits.depth = 10;
   EXPECT_TRUE(readFrom(node, chainOfNodes(5), limits));
   EXPECT_FALSE(readFrom(node, chainOfNodes(6), limits));
}

namespace
{
/// Gives a head and then one text over and over, up to a number of bytes.
class GeneratedInput : public std::streambuf
{
public:
   GeneratedInput(std::string head, std::string_view unit, std::size_t bytes)
      : m_head(std::move(head)), m_block(repeated(unit, 65536 / unit.size())), m_bytes(bytes)
   {
   }
   std::size_t given() const { return m_given; }

protected:
   int_type underflow() override
   {
      if (m_given >= m_bytes)
         return traits_type::eof();
      std::string& text = m_given == 0 ? m_head : m_block;
      m_given += text.size();
      setg(text.data(), text.data(), text.data() + text.size());
      return traits_type::to_int_type(text.front());
   }

private:
   std::string m_head;
   std::string m_block;
   std::size_t m_bytes;
   std::size_t m_given = 0;
};
} // namespace

TEST(BadInput, EndlessPartsAreRefusedLongBeforeTheyEnd)
{
   const std::string start = "<sample xmlns='" ZQ_TEST_NS "' ";
   const std::tuple<const char*, std::string, const char*> inputs[] = {
      {"text", start + "><text>", "a\n"},
      {"word", start + "><reals>", "1"},
      {"attribute value", start + "label='", "a"},
      {"name", "<", "a"},
      {"white space in a tag", start, " "},
      {"comment", start + "><!--", "a"},
      {"CDATA", start + "><text><![CDATA[", "a"},
      {"processing instruction", start + "><?pi ", "a"},
      {"character references", start + "><text>", "&#65;"},
      {"depth", start + ">", "<a>"}};
   for (const auto& [name, head, unit] : inputs)
   {
      SCOPED_TRACE(name);
      GeneratedInput input(head, unit, std::size_t{1} << 26U);
      std::istream stream(&input);
      ZqXmlReader reader(stream, "bad.xml");
      ZqXmlReader::Limits limits;
      limits.textBytes = 1U << 20U;
      reader.setLimits(limits);
      Sample sample;
      LogCapture log;
      EXPECT_FALSE(Zq::read(sample, reader));
      EXPECT_TRUE(log.contains("bad.xml")) << truncated(log.text());
      EXPECT_LT(log.text().size(), 2000u);
      EXPECT_LT(input.given(), std::size_t{8} << 20U);
   }
}

TEST(BadInput, ReportsOfUnknownNamesAreCappedAndLinear)
{
   const auto secondsFor = [](unsigned count)
   {
      std::string content;
      for (unsigned i = 0; i < count; ++i)
         content += "<u" + std::to_string(i) + " a" + std::to_string(i) + "='1'/>";
      std::string attributes;
      for (unsigned i = 0; i < count / 20; ++i)
         attributes += " b" + std::to_string(i) + "='1'";
      LogCapture log;
      Sample sample;
      const auto start = std::chrono::steady_clock::now();
      EXPECT_TRUE(readFrom(sample, sampleOf(content + "<real>3</real>", attributes)));
      const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
      EXPECT_EQ(sample.real, 3);
      EXPECT_LE(log.size(), 101u);
      EXPECT_GE(log.size(), 100u);
      return seconds.count();
   };
   secondsFor(1000);
   // Quadratic work would take 16 times as long; the bound leaves room for a busy machine.
   const double few = secondsFor(20'000);
   EXPECT_LT(secondsFor(80'000), 10 * few + 0.05);
}

// An element is told its container when it is added: that must not walk over all others.
TEST(BadInput, ReadingManyPolymorphicElementsTakesLinearTime)
{
   const auto secondsFor = [](std::size_t count)
   {
      ItemVector items;
      const std::string document =
         inTag(items.token(), repeated("<leaf xmlns='" ZQ_TEST_NS "'/>", count));
      const auto start = std::chrono::steady_clock::now();
      LogCapture log;
      EXPECT_TRUE(readFrom(items, document));
      const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
      EXPECT_EQ(items.size(), count);
      return seconds.count();
   };
   secondsFor(1000);
   const double few = secondsFor(20'000);
   EXPECT_LT(secondsFor(80'000), 10 * few + 0.05);
}

TEST(BadInput, UnusableFilesAndStreamsAreFailures)
{
   namespace fs = std::filesystem;
   const fs::path folder = fs::temp_directory_path() / ("zqBadInput." + std::to_string(getpid()));
   fs::create_directories(folder);
   std::ofstream(folder / "empty.xml");
   for (const std::string& name :
        {(folder / "empty.xml").string(), (folder / "missing.xml").string(), folder.string(),
         (folder / "empty.xml" / "below").string(), std::string()})
   {
      Sample sample = Sample::odd();
      LogCapture log;
      EXPECT_FALSE(Zq::load(sample, name)) << name;
      EXPECT_TRUE(log.contains(name) && !log.empty()) << name << log.text();
      EXPECT_EQ(sample, Sample::odd());
   }
   fs::remove_all(folder);

   // A stream that breaks in the middle, by its state or by throwing.
   class Breaking : public std::streambuf
   {
      int_type underflow() override
      {
         if (std::exchange(m_given, true))
            throw std::runtime_error("broken");
         setg(m_text.data(), m_text.data(), m_text.data() + m_text.size());
         return traits_type::to_int_type(m_text.front());
      }
      std::string m_text = sampleOf("<real>5</real>");
      bool m_given = false;
   };
   for (const bool throws : {false, true})
   {
      Breaking buffer;
      std::istream stream(&buffer);
      if (throws)
         stream.exceptions(std::ios::badbit);
      ZqXmlReader reader(stream, "bad.xml");
      LogCapture log;
      Sample sample;
      EXPECT_FALSE(Zq::read(sample, reader)) << throws;
      EXPECT_TRUE(log.contains("bad.xml")) << log.text();
   }
}
