#pragma once

#include "support/logCapture.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"
#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlMapType.h"
#include "zqManipulator/foundation/xml/ZqXmlPairType.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSetType.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

// Persistent classes that stand for those of the library, in a namespace that the library does not
// know, and the ways in which tests read them.

#define ZQ_TEST_NS "http://zqmanipulator.org/namespace/test#"

namespace zqTest
{
#define ZQ_TEST_TOKEN(name) inline const ZqToken name##Token{ZqToken::Literal{ZQ_TEST_NS #name}};
// clang-format off
ZQ_TEST_TOKEN(sample) ZQ_TEST_TOKEN(real) ZQ_TEST_TOKEN(flag) ZQ_TEST_TOKEN(text)
ZQ_TEST_TOKEN(angle) ZQ_TEST_TOKEN(size) ZQ_TEST_TOKEN(mode) ZQ_TEST_TOKEN(place)
ZQ_TEST_TOKEN(turn) ZQ_TEST_TOKEN(reals) ZQ_TEST_TOKEN(map) ZQ_TEST_TOKEN(set) ZQ_TEST_TOKEN(pair)
ZQ_TEST_TOKEN(links) ZQ_TEST_TOKEN(old) ZQ_TEST_TOKEN(node) ZQ_TEST_TOKEN(leaf)
ZQ_TEST_TOKEN(children)
// clang-format on
#undef ZQ_TEST_TOKEN
            inline const ZqToken idToken{ZqToken::Literal{"id"}};
inline const ZqToken labelToken{ZqToken::Literal{"label"}};
inline const ZqToken slowToken{ZqToken::Literal{"slow"}};
inline const ZqToken fastToken{ZqToken::Literal{"fast"}};

inline const ZqXmlEnumeration& modes()
{
   static const ZqXmlEnumeration tokens{{&slowToken, "at leisure"}, {&fastToken, "in haste"}};
   return tokens;
}

/// One member of every kind; public, as tests are its only users.
class Sample : public ZqXmlClass<Sample>
{
public:
   static const ZqToken& classToken() { return sampleToken; }
   static constexpr auto components()
   {
      return std::tuple{ZqAttributeComponent(&Sample::id, &idToken),
                        ZqAttributeComponent(&Sample::label, &labelToken),
                        ZqComponent{&Sample::real, &realToken},
                        ZqComponent{&Sample::flag, &flagToken},
                        ZqComponent{&Sample::text, &textToken},
                        ZqComponent{&Sample::angle, &angleToken},
                        ZqComponent{&Sample::size, &sizeToken},
                        ZqComponent{&Sample::mode, &modeToken},
                        ZqComponent{&Sample::place, &placeToken},
                        ZqComponent{&Sample::turn, &turnToken},
                        ZqComponent{&Sample::reals, &realsToken},
                        ZqComponent{&Sample::map, &mapToken},
                        ZqComponent{&Sample::set, &setToken},
                        ZqComponent{&Sample::pair, &pairToken},
                        ZqReadOnlyComponent(&Sample::old, &oldToken)};
   }
   bool operator==(const Sample&) const = default;

   /// No zero, no one and no repeated number.
   static Sample odd()
   {
      Sample s;
      s.id = 4294967295;
      s.label = "a \"b\" <&> 'c'";
      s.real = -2.5e-7;
      s.flag = true;
      s.text = "  spaced\n\ttext & more ";
      s.angle = ZqAngle(0.3);
      s.size = ZqNonNegReal(4.75);
      s.mode = 1;
      s.place = {1.5, -2.25, 3.125};
      s.turn = ZqOrientation(0.5, -0.5, 0.5, 0.5);
      s.reals = std::vector<ZqReal>{0.1, 1e300, -4.9e-324};
      s.map = {{"key one", 11.5}, {" \n\"two\"", 12.5}};
      s.set = {21, 23, 22};
      s.pair = {31, "thirty two"};
      return s;
   }

   ZqU32 id = 7;
   ZqString label;
   ZqReal real = 9.8;
   bool flag = false;
   ZqString text = "default";
   ZqAngle angle;
   ZqNonNegReal size{2.5};
   ZqXmlEnumType<ZqU32> mode{modes()};
   ZqVector place;
   ZqOrientation turn;
   ZqXmlVectorBasicType<ZqReal> reals;
   ZqXmlMapType<ZqString, ZqReal> map;
   ZqXmlSetType<ZqU32> set;
   ZqXmlPairType<ZqU32, ZqString> pair;
   ZqReal old = 0.0;
};

/// A base of polymorphic elements.
class Item : public ZqXmlAbstractClass<Item, ZqBaseExpressionTreeElement>
{
public:
   static constexpr auto components()
   {
      return std::tuple{ZqAttributeComponent(&Item::id, &idToken)};
   }
   bool operator==(const Item&) const = default;

   ZqU32 id = 0;
};

class ItemVector : public ZqXmlVariableVectorType<Item>
{
public:
   void registerComponentCreators() override;
};

class Leaf : public ZqXmlClass<Leaf, Item>
{
public:
   explicit Leaf(ZqU32 number = 0) { id = number; }
   static const ZqToken& classToken() { return leafToken; }
   bool operator==(const Leaf&) const = default;
};

/// An item that holds items: documents of any depth.
class Node : public ZqXmlClass<Node, Item>
{
public:
   static const ZqToken& classToken() { return nodeToken; }
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&Node::children, &childrenToken}};
   }
   bool operator==(const Node&) const = default;

   ItemVector children;
};

inline void ItemVector::registerComponentCreators()
{
   registerComponentCreator(leafToken, Leaf::creator);
   registerComponentCreator(nodeToken, Node::creator);
}

inline std::string repeated(std::string_view text, std::size_t count)
{
   std::string result;
   result.reserve(text.size() * count);
   for (std::size_t i = 0; i < count; ++i)
      result += text;
   return result;
}

inline std::string inTag(const ZqToken& token, std::string_view content,
                         std::string_view attributes = {})
{
   const std::string name(token.localName());
   return "<" + name + " xmlns='" + std::string(token.namespaceUri()) + "' " +
          std::string(attributes) + ">" + std::string(content) + "</" + name + ">";
}

/// The start and end tags of `depth` nodes within one another.
inline std::string chainOfNodes(unsigned depth)
{
   const std::string inner = repeated("<children><node>", depth - 1) + "<children>";
   return inTag(nodeToken, inner + repeated("</children></node>", depth - 1) + "</children>");
}

inline bool readFrom(ZqXmlObject& object, const std::string& document,
                     const ZqXmlReader::Limits& limits = {})
{
   std::istringstream stream(document);
   ZqXmlReader reader(stream, "bad.xml");
   reader.setLimits(limits);
   return Zq::read(object, reader);
}

inline std::string written(const ZqXmlObject& object, bool writeDefaults = true)
{
   ZqString document;
   return Zq::toXml(object, document, writeDefaults) ? document : "not written";
}

/// The document without line ends and indentation.
inline std::string onOneLine(const ZqXmlObject& object)
{
   std::ostringstream stream;
   {
      ZqXmlWriter writer("(test)", stream);
      writer.setIndent(-1);
      Zq::write(object, writer);
   }
   return stream.str();
}

/// Without a message, into an equal object that is written in the same way.
template <class T>
void expectRoundTrip(const T& object, bool writeDefaults = true)
{
   const std::string document = written(object, writeDefaults);
   T back;
   LogCapture log;
   EXPECT_TRUE(readFrom(back, document)) << document;
   EXPECT_EQ(log.text(), "") << document;
   EXPECT_EQ(back, object) << document;
   EXPECT_EQ(written(back, writeDefaults), document);
}

/// A folder of its own for each test process.
class TestFolder
{
public:
   TestFolder() { std::filesystem::create_directories(path); }
   TestFolder(const TestFolder&) = delete;
   TestFolder& operator=(const TestFolder&) = delete;
   ~TestFolder() { std::filesystem::remove_all(path); }
   std::string operator/(const char* name) const { return (path / name).string(); }

   const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("zqTest." + std::to_string(getpid()));
};

/// Whether a document is valid by the schema that the object writes; true without a validator.
inline bool followsSchema(const ZqXmlObject& object, const std::string& document)
{
   static const bool isInstalled = std::system("xmllint --version >/dev/null 2>&1") == 0;
   const TestFolder folder;
   EXPECT_TRUE(object.createSchema(folder / "s.xsd", object.token()));
   std::ofstream(folder / "d.xml") << document;
   const std::string schema = "xmllint --nonet --noout --schema '" + (folder / "s.xsd");
   const std::string command = schema + "' '" + (folder / "d.xml") + "' >/dev/null 2>&1";
   return !isInstalled || std::system(command.c_str()) == 0;
}
} // namespace zqTest
