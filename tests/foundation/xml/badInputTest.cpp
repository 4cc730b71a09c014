#include "support/allocationCount.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

#include <cmath>
#include <cstring>
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

Outcome outcomeOf(const ZqXmlObject& kind, const std::string& document,
                  const ZqXmlReader::Limits& limits = {})
{
   const std::unique_ptr<ZqXmlObject> object(kind.newObject());
   LogCapture log;
   const bool accepted = readFrom(*object, document, limits);
   return {accepted, log.text(), accepted ? written(*object) : ""};
}

std::string utf16(std::string_view ascii, bool bigEndian)
{
   std::string result = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
   for (const char c : ascii)
      result += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
   return result;
}

struct BadDocument
{
   const char* name;
   unsigned line;
   std::string document;
   const char* message = "bad.xml"; ///< part of what is logged
   const char* path = nullptr;      ///< where that matters
};

const std::string sampleTag = "<sample xmlns='" ZQ_TEST_NS "'";
const std::string xmlTag = "xmlns='http://zqmanipulator.org/namespace/xml#'>";
const char* const noDoctype = "document type declaration";

const std::vector<BadDocument> badSamples{
   {"nothing", 1, ""},
   {"wrong root", 2, "\n<node xmlns='" ZQ_TEST_NS "'/>", "test#sample"},
   {"two roots", 2, sampleOf("") + "\n" + sampleOf("")},
   {"text after the root", 2, sampleOf("") + "\nx"},
   {"unclosed tag", 2, sampleTag + ">\n<real>1</real>"},
   {"unbound prefix", 2, sampleOf("\n<q:real>1</q:real>")},
   {"bare ampersand", 2, sampleOf("\n<text>a & b</text>")},
   {"document type", 1, "<!DOCTYPE sample>\n" + sampleOf(""), noDoctype},
   {"entity bomb", 1,
    "<!DOCTYPE s [<!ENTITY a 'aaaaaaaa'><!ENTITY b '&a;&a;&a;'><!ENTITY c '&b;&b;&b;'>]>" +
       sampleOf("<text>&c;</text>"),
    noDoctype},
   {"undeclared entity", 3, sampleOf("\n\n<text>&nbsp;</text>")},
   {"zero byte", 2, sampleOf(std::string("<text>a\n\0b</text>", 17))},
   {"control character", 1, sampleOf("<text>\x01</text>")},
   {"invalid UTF-8", 2, sampleOf("<text>\n\xC3\x28</text>")},
   {"unknown encoding", 1, "<?xml version='1.0' encoding='x-none'?>\n" + sampleOf("")},
   {"text between elements", 2, sampleOf("\n<real>1</real> x <flag>true</flag>"), "received text"},
   {"CDATA between elements", 2, sampleOf("\n<![CDATA[x]]>"), "received text"},
   {"element in a number", 2, sampleOf("\n<real>1<b/>2</real>")},
   {"junk after a comment", 2, sampleOf("<real>1<!-- -->\nx</real>"), "a real number"},
   {"no token of the enumeration", 2, sampleOf("\n<mode>idle</mode>"), "\"slow\" \"fast\""},
   {"bad attribute, in the line of its tag", 2, "\n" + sampleOf("", "\nid='-1'"),
    "an unsigned integer", "sample/@id"},
   {"two numbers of three", 2, sampleOf("\n<place>1 2</place>"), "three real numbers"},
   {"orientation of zeros", 2, sampleOf("\n<turn>0 0 0 0</turn>"), "four real numbers"},
   {"junk in a vector of numbers, in the line of its start", 2,
    sampleOf("\n<reals>1 2\n 3; 4</reals>"), "a real number"},
   {"failure after what was passed over", 2,
    sampleOf("<pair>\n<foo/><first " + xmlTag + "x</first></pair>"), "received \"x\"",
    "sample/pair/foo"},
   {"map entry of another name", 2, sampleOf("<map>\n<entry/></map>"), "ZqXmlMapType Error",
    "sample/map/entry"},
   {"word in a set of numbers", 2,
    sampleOf("<set count='2'><group " + xmlTag + "1\ntwo</group></set>"), "an unsigned integer",
    "sample/set/group"},
};
} // namespace

TEST(BadInput, IsRefusedWithAMessageThatTellsThePlace)
{
   for (const BadDocument& bad : badSamples)
   {
      const Outcome outcome = outcomeOf(Sample(), bad.document);
      SCOPED_TRACE(std::string(bad.name) + ": " + bad.document);
      EXPECT_FALSE(outcome.accepted);
      EXPECT_NE(outcome.messages.find(bad.message), std::string::npos) << outcome.messages;
      EXPECT_NE(outcome.messages.find("bad.xml"), std::string::npos) << outcome.messages;
      const std::string line = "Line: " + std::to_string(bad.line);
      EXPECT_TRUE(outcome.messages.find(line + "\n") != std::string::npos ||
                  outcome.messages.find(line + "\t") != std::string::npos)
         << line << " in " << outcome.messages;
      // The same as a value.
      const Zq::DiagnosticCollector collector;
      Sample sample;
      readFrom(sample, bad.document);
      const auto& told = collector.diagnostics();
      const auto error = std::find_if(told.begin(), told.end(),
                                      [](const Zq::Diagnostic& diagnostic)
                                      { return diagnostic.severity == Zq::Severity::Error; });
      ASSERT_NE(error, told.end());
      EXPECT_EQ(error->file, "bad.xml");
      EXPECT_EQ(error->line, bad.line);
      EXPECT_EQ(error->text.find("File"), std::string::npos) << error->text;
      if (bad.path != nullptr)
      {
         EXPECT_EQ(error->path, bad.path);
      }
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
   for (const BadDocument& bad : badSamples)
      EXPECT_EQ(outcomeOf(Sample(), bad.document, limits), outcomeOf(Sample(), bad.document))
         << bad.name;

   Sample other = Sample::odd();
   other.label = "\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E";
   EXPECT_EQ(outcomeOf(other, written(other), limits), (Outcome{true, "", written(other)}));
   for (const std::string& document :
        {"<!-- c --><?pi x?>\n" + sampleTag +
            "><!-- -->\n<unknown a='1'><b/>t</unknown>"
            "<?pi?><text>a<!-- x -->b<![CDATA[<c>]]>\r\nd&#x20AC;</text>\n<real> 1.5\n</real>"
            "<real>2.5</real></sample> <!-- end -->\n",
         sampleOf("<reals> 1 2\t3\n4 </reals>")})
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
   const Sample sample = Sample::odd();
   for (const ZqXmlObject* object : std::initializer_list<const ZqXmlObject*>{&node, &sample})
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

namespace
{
struct Number
{
   const char* text;
   bool isNonNegative;
   bool isUnsigned;
   double value;
};

constexpr Number numbers[] = {{"0", true, true, 0},
                              {" \n12\t", true, true, 12},
                              {"4294967295", true, true, 4294967295.0},
                              {"4294967296", true, false, 4294967296.0},
                              {"-0", true, false, -0.0},
                              {"-1", false, false, -1},
                              {"1.5", true, false, 1.5},
                              {"5e-324", true, false, 4.9e-324},
                              {".5", true, false, 0.5},
                              {"1E2", true, false, 100}};
constexpr const char* notNumbers[] = {
   "1e999", "-1e999", "1e-400", "nan", "-nan(1)", "inf", "Infinity", "1x", "0x10",        "1,5",
   "1 5",   "",       " ",      "e5",  "+-1",     "++1", "- 1",      "1e", "\xC2\xA0\x31"};

/// Whether the text is taken as the value of an element and as a value in a map.
template <class T>
void expectNumber(const char* text, bool accepted, double expected = 0)
{
   constexpr double before = 3;
   const std::string content = std::string("\n") + text;
   for (const bool inMap : {false, true})
   {
      LogCapture log;
      ZqXmlBasicType<T> single{T(before)};
      ZqXmlMapType<ZqU32, T> map;
      const std::string element = "<element><key>5</key><value>" + content + "</value></element>";
      EXPECT_EQ(inMap ? readFrom(map, inTag(map.token(), element))
                      : readFrom(single, inTag(single.token(), content)),
                accepted);
      SCOPED_TRACE(std::string(inMap ? "map" : "element") + " \"" + text + "\" " + log.text());
      EXPECT_EQ(map.size(), inMap && accepted ? 1u : 0u);
      const T value = map.size() == 1 ? map.mapContainer().begin()->second : single.value();
      EXPECT_EQ(static_cast<double>(value), accepted ? expected : before);
      // A number of at least 0 has no negative zero.
      const bool hasSign = accepted && std::signbit(expected) && !std::is_same_v<T, ZqNonNegReal>;
      EXPECT_EQ(std::signbit(static_cast<double>(value)), hasSign);
      EXPECT_EQ(log.contains(ZqXmlText<T>::expected) && log.contains("Line: 2"), !accepted);
   }
}
} // namespace

TEST(BadInput, NumbersAreReadExactlyOrRefusedAndLeaveTheValueAsItWas)
{
   for (const Number& number : numbers)
   {
      expectNumber<ZqReal>(number.text, true, number.value);
      expectNumber<ZqNonNegReal>(number.text, number.isNonNegative, number.value);
      expectNumber<ZqAngle>(number.text, true, number.value);
      expectNumber<ZqU32>(number.text, number.isUnsigned, number.value);
   }
   for (const char* text : notNumbers)
   {
      expectNumber<ZqReal>(text, false);
      expectNumber<ZqNonNegReal>(text, false);
      expectNumber<ZqAngle>(text, false);
      expectNumber<ZqU32>(text, false);
      expectNumber<int>(text, false);
   }
   for (const int number : {-2, 7, -2147483647 - 1, 2147483647})
      expectNumber<int>(std::to_string(number).c_str(), true, number);
   for (const char* text : {"2147483648", "-2147483649", "4294967294", "1.0"})
      expectNumber<int>(text, false);
   for (const std::string text : {"true", " 1 ", "TRUE", "yes", "", "2", "truefalse"})
   {
      const bool accepted = text == "true" || text == " 1 ";
      ZqXmlBasicType<bool> value;
      LogCapture log;
      EXPECT_EQ(readFrom(value, inTag(value.token(), text)), accepted) << text;
      EXPECT_EQ(value.value(), accepted) << text;
      EXPECT_EQ(log.contains("true or false"), !accepted) << text;
   }
}

TEST(BadInput, NumbersDoNotDependOnTheLocale)
{
   struct Comma : std::numpunct<char>
   {
      char do_decimal_point() const override { return ','; }
      std::string do_grouping() const override { return "\3"; }
   };
   const std::string document = written(Sample::odd());
   const std::locale old = std::locale::global(std::locale(std::locale::classic(), new Comma));
   Sample back;
   const bool read = readFrom(back, document);
   const std::string again = written(Sample::odd());
   std::locale::global(old);
   EXPECT_TRUE(read);
   EXPECT_EQ(back, Sample::odd());
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

// Many counts that lie, in one document: what is set aside for all of them together stays in
// proportion to the document.
TEST(BadInput, CountsAreHintsAndDoNotAddUp)
{
   for (const char* count : {"4294967295", "4294967296", "99999999999999999999", "-1", "abc", ""})
   {
      const std::string attribute = std::string("count='") + count + "'";
      SCOPED_TRACE(attribute);
      const LogCapture log;
      ItemVector items;
      EXPECT_TRUE(
         readFrom(items, inTag(items.token(), "<leaf xmlns='" ZQ_TEST_NS "'/>", attribute)));
      EXPECT_EQ(items.size(), 1u);
      EXPECT_LT(items.vectorContainer().capacity(), 20'000u);

      ZqXmlVectorType<ZqXmlVectorType<ZqU32>> vectors;
      const std::string lists = repeated("<a " + attribute + "/>", 500) +
                                repeated("<a " + attribute + "><b>1</b></a>", 500);
      const std::string document = inTag(vectors.token(), lists, attribute);
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
   EXPECT_TRUE(readFrom(node, chainOfNodes(2048)));
   EXPECT_EQ(written(Node(node)), written(node));
   EXPECT_TRUE(readFrom(node, written(node)));
   for (const unsigned depth : {2049u, 500'000u})
   {
      const Outcome outcome = outcomeOf(Node(), chainOfNodes(depth));
      EXPECT_FALSE(outcome.accepted);
      EXPECT_NE(outcome.messages.find("4096"), std::string::npos);
      EXPECT_NE(outcome.messages.find("Line: 1\n"), std::string::npos);
   }
   // What nobody would read is not written, unless it is asked for. Beyond some depth indentation grows
   // no more, so that each link of a chain adds the same.
   const auto bytesOf = [](unsigned depth)
   {
      Node chain;
      EXPECT_TRUE(readFrom(chain, chainOfNodes(depth)));
      return written(chain).size();
   };
   EXPECT_EQ(bytesOf(2000) - bytesOf(1000), 10 * (bytesOf(200) - bytesOf(100)));
   ZqXmlReader::Limits limits;
   limits.depth = 5000;
   EXPECT_TRUE(readFrom(node, chainOfNodes(2049), limits));
   LogCapture log;
   EXPECT_EQ(written(node), "not written");
   EXPECT_TRUE(log.contains("ZqXmlWriter Error: elements are nested deeper than 4096."));
   std::stringstream stream;
   ZqXmlWriter writer("deep.xml", stream);
   writer.setDepthLimit(limits.depth);
   EXPECT_TRUE(Zq::write(node, writer) && readFrom(node, stream.str(), limits));
   limits.depth = 10;
   EXPECT_TRUE(readFrom(node, chainOfNodes(5), limits));
   EXPECT_FALSE(readFrom(node, chainOfNodes(6), limits));
}

TEST(BadInput, EndlessPartsAreRefusedLongBeforeTheyEnd)
{
   const std::tuple<const char*, std::string, const char*> inputs[] = {
      {"text", sampleTag + "><text>", "a\n"},
      {"word", sampleTag + "><reals>", "1"},
      {"attribute value", sampleTag + " label='", "a"},
      {"name", "<", "a"},
      {"white space in a tag", sampleTag, " "},
      {"comment", sampleTag + "><!--", "a"},
      {"CDATA", sampleTag + "><text><![CDATA[", "a"},
      {"processing instruction", sampleTag + "><?pi ", "a"},
      {"character references", sampleTag + "><text>", "&#65;"},
      {"depth", sampleTag + ">", "<a>"}};
   constexpr std::size_t bytes = std::size_t{1} << 25U;
   for (const auto& [name, head, unit] : inputs)
   {
      SCOPED_TRACE(name);
      std::istringstream stream(head + repeated(unit, bytes / std::strlen(unit)));
      ZqXmlReader reader(stream, "bad.xml");
      ZqXmlReader::Limits limits;
      limits.textBytes = 1U << 20U;
      reader.setLimits(limits);
      Sample sample;
      LogCapture log;
      EXPECT_FALSE(Zq::read(sample, reader));
      EXPECT_TRUE(log.contains("bad.xml"));
      EXPECT_LT(log.text().size(), 2000u);
      EXPECT_GT(stream.rdbuf()->in_avail(), bytes - (std::size_t{8} << 20U));
   }
}

// What is remembered of unknown names is bounded, and with it what each of them costs: those beyond the
// bound allocate no more than one name that occurs as often.
TEST(BadInput, ManyUnknownNamesAreNotRemembered)
{
   const auto allocationsOf = [](bool differ)
   {
      std::string content;
      std::string attributes;
      for (unsigned i = 100'000; i < 180'000; ++i)
         content += "<u" + std::to_string(differ ? i : 0) + " a='1'/>";
      for (unsigned i = 0; i < 4000; ++i)
         attributes += " b" + std::to_string(i) + "='1'";
      const std::string document = sampleOf(content, attributes);
      Sample sample;
      LogCapture log;
      const AllocationCount allocations;
      EXPECT_TRUE(readFrom(sample, document));
      EXPECT_EQ(log.size() / 100, 1u); // reports are capped
      return allocations.count();
   };
   EXPECT_LT(allocationsOf(true), allocationsOf(false) + 10'000);
}

TEST(BadInput, UnusableFilesAndStreamsAreFailures)
{
   const TestFolder folder;
   std::ofstream(folder / "empty.xml");
   for (const std::string& name :
        {folder / "empty.xml", folder / "missing.xml", folder / "", std::string()})
   {
      Sample sample;
      LogCapture log;
      EXPECT_FALSE(Zq::load(sample, name)) << name;
      EXPECT_TRUE(log.contains(name) && !log.empty()) << name << log.text();
   }

   // A stream that breaks in the middle, by its state or by throwing.
   struct Breaking : std::streambuf
   {
      int_type underflow() override
      {
         if (eback() != nullptr)
            throw std::runtime_error("broken");
         setg(text.data(), text.data(), text.data() + text.size());
         return traits_type::to_int_type(text.front());
      }
      std::string text = sampleOf("<real>5</real>");
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
