#include "support/xmlSamples.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableElementType.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableSharedElementType.h"
#include "zqManipulator/foundation/xml/ZqXmlVector.h"

using namespace zqTest;

namespace
{
const std::string leafTag = "<leaf xmlns='" ZQ_TEST_NS "' id='5'/>";
const std::string xmlNs = "http://zqmanipulator.org/namespace/xml#";

class ItemElement : public ZqXmlVariableElementType<Item>
{
public:
   void registerComponentCreators() override { registerComponentCreator(leafToken, Leaf::creator); }
};

class SharedItem : public ZqXmlVariableSharedElementType<Item>
{
public:
   void registerComponentCreators() override { registerComponentCreator(leafToken, Leaf::creator); }
};

/// The element between the root's tags, without the white space that lays the document out.
std::string content(const ZqXmlObject& object)
{
   std::string text = onOneLine(object);
   text.erase(0, text.find("?>") + 2);
   const auto rootEnd = text.find('>');
   const auto begin = std::min(text.find(" count="), text.find_last_not_of("/>", rootEnd) + 1);
   return text.substr(begin, text.rfind("</") - begin);
}
} // namespace

TEST(Containers, WriteTheDocumentedForm)
{
   EXPECT_EQ(content(ZqXmlVectorType<Leaf>()), " count=\"0\"/>");
   EXPECT_EQ(content(ZqXmlVectorType<Leaf>{Leaf(3), Leaf(4)}),
             " count=\"2\"><element id=\"3\"/><element id=\"4\"/>");
   EXPECT_EQ(content(ZqXmlVectorType<ZqU32>{6, 5}), " count=\"2\"><group>6 5</group>");
   EXPECT_EQ(content(ZqXmlVectorType<ZqXmlBasicType<ZqReal>>{2.5, -3.5}),
             " count=\"2\"><group>2.5 -3.5</group>");
   EXPECT_EQ(content(ZqXmlSetType<ZqU32>()), "/>");
   EXPECT_EQ(content(ZqXmlSetType<ZqU32>{6, 5}), " count=\"2\"><group>5 6</group>");
   EXPECT_EQ(content(ZqXmlMapType<ZqU32, bool>{{7, true}, {3, false}}),
             "><element><key>3</key><value>false</value></element>"
             "<element><key>7</key><value>true</value></element>");
   EXPECT_EQ(content(ZqXmlPairType<ZqU32, bool>(2, true)),
             "><first>2</first><second>true</second>");
   EXPECT_EQ(content(ZqXmlVectorBasicType<ZqReal>{2.5, 3}), ">2.5 3");
}

TEST(Containers, ReadBackWhatTheyWrite)
{
   expectRoundTrip(ZqXmlVectorType<ZqXmlVectorType<ZqU32>>{{3, 4}, {}, {5}});
   expectRoundTrip(ZqXmlVectorType<ZqXmlVector>{ZqVector(1.5, 2, 3), ZqVector(4, 5, 6)});
   expectRoundTrip(ZqXmlOrientation(0.5, -0.5, 0.5, 0.5));
   expectRoundTrip(ZqXmlMapType<ZqU32, ZqXmlPairType<ZqString, ZqCoordinateSystemTransformation>>{
      {5, {"x", ZqCoordinateSystemTransformation(ZqVector(1, 2, 3))}}});
   ItemElement element;
   element.setElement(Leaf(5));
   expectRoundTrip(element);
   ItemVector items;
   Node node;
   node.children.pushBack(Leaf(5));
   items.pushBack(node);
   items.setAddLibraries({"one", "two words", "th\"ree"});
   expectRoundTrip(items);
}

TEST(Containers, KeepAnyTextExactly)
{
   std::vector<ZqString> texts{ZqString(100'000, 'x') + "\" y", "\xE2\x82\xAC", "\xF0\x9D\x84\x9E"};
   texts.insert(texts.end(), {"", " ", "\n", "\"", "\\", "\"\"", "\\\"", "a\\", "\\n", "'", "-1"});
   texts.insert(texts.end(),
                {"two words", "  led", "end\t\r\n", "]]>", "&", "<a>&amp;", "\xEF\xBB\xBF"});
   ZqXmlVectorType<ZqString> all;
   ZqXmlMapType<ZqString, ZqString> map;
   ZqXmlSetType<ZqString> set;
   for (const ZqString& text : texts)
   {
      Sample sample;
      sample.label = text;
      sample.text = text;
      expectRoundTrip(sample);
      expectRoundTrip(ZqXmlVectorType<ZqString>{text});
      all.pushBack(text);
      map.add(text, text + text);
      set.add(text);
   }
   expectRoundTrip(all);
   expectRoundTrip(map);
   expectRoundTrip(set);
}

TEST(Containers, IgnoreElementNamesAndWarnOfAWrongCount)
{
   const std::string two = "<foo>5</foo>\n<bar xmlns='u'>6</bar>";
   ZqXmlVectorType<ZqU32> vector{9};
   ZqXmlSetType<ZqU32> set{9};
   LogCapture log;
   for (const auto& [attribute, number] : std::map<std::string, std::string>{
           {"count='3'", "3"}, {"", "0"}, {"count='-7x'", "-7"}, {"count='x'", "0"}})
   {
      log.clear();
      EXPECT_TRUE(readFrom(vector, inTag(vector.token(), two, attribute)));
      EXPECT_TRUE(readFrom(set, inTag(set.token(), two, attribute)));
      EXPECT_EQ(vector, (ZqXmlVectorType<ZqU32>{5, 6}));
      EXPECT_EQ(set, (ZqXmlSetType<ZqU32>{5, 6}));
      ASSERT_EQ(log.size(), 2u);
      EXPECT_TRUE(log.messages()[0].type == 3 && log.messages()[1].type == 3);
      const std::string sizes =
         " size not equal to attribute value -- " + number + ", actual -- 2\n";
      EXPECT_EQ(log.messages()[0].text,
                "ZqXmlVectorType Error: array" + sizes + "Filename: bad.xml, Line count: 2\n");
      EXPECT_EQ(log.messages()[1].text.find("ZqXmlSetType Error: set" + sizes), 0u);
   }
   log.clear();
   EXPECT_TRUE(readFrom(
      vector, inTag(vector.token(), "<group>1 2</group><a>3</a><group>4</group>", "count='4'")));
   EXPECT_EQ(vector, (ZqXmlVectorType<ZqU32>{1, 2, 3, 4}));
   // An empty element: the vector and the set are emptied, the map is left alone.
   EXPECT_TRUE(readFrom(vector, inTag(vector.token(), "")));
   EXPECT_EQ(vector.size(), 0u);
   ZqXmlMapType<ZqU32, ZqU32> map{{1, 2}};
   EXPECT_TRUE(readFrom(map, inTag(map.token(), "")));
   EXPECT_EQ(map.size(), 1u);
   EXPECT_TRUE(log.empty()) << log.text();
}

TEST(Containers, RejectWhatTheyCannotHoldWithTheDocumentedMessage)
{
   ZqXmlVectorType<ZqU32> vector;
   ZqXmlSetType<ZqU32> set;
   ZqXmlMapType<ZqU32, ZqU32> map;
   ItemVector items;
   ItemElement element;
   SharedItem shared;
   const std::string dataMode = " Error: XML parser should be in data mode\n";
   const std::string mapFault = "ZqXmlMapType Error: file not valid.\n\tKey map format not correct."
                                "\n\tFile: bad.xml\n\tLine: 2\tExpected " +
                                xmlNs;
   const std::string notRegistered =
      "::readValueFromToken() error:\n\t\"" + xmlNs + "foo\" tag not registered.\n";
   const std::tuple<ZqXmlObject&, std::string, std::string> cases[] = {
      {vector, "<group><a/></group>", "ZqXmlVectorType" + dataMode},
      {set, "<group><a/></group>", "ZqXmlSetType" + dataMode},
      {map, "<entry/>", mapFault + "element but received " + xmlNs + "entry."},
      {map, "<element><value>1</value></element>",
       mapFault + "key but received " + xmlNs + "value."},
      {map, "<element><key>1</key><key>2</key></element>",
       mapFault + "value but received " + xmlNs + "key."},
      {map, "<element/>", mapFault + "key but received "},
      {map, "<element/><key>1</key><value>2</value>", mapFault + "key but received "},
      {map, "<element><key>1</key></element>", mapFault + "value but received "},
      {map, "<element><key>1</key></element><value>2</value>", mapFault + "value but received "},
      {items, "<foo/>", "ZqXmlVariableVectorType" + notRegistered},
      {element, "<foo/>", "ZqXmlVariableElementType" + notRegistered},
      {shared, "<foo/>", "ZqXmlVariableSharedElementType" + notRegistered},
   };
   for (const auto& [object, body, message] : cases)
   {
      LogCapture log;
      EXPECT_FALSE(readFrom(object, inTag(object.token(), "\n" + body))) << body;
      ASSERT_EQ(log.size(), 1u) << body << log.text();
      EXPECT_EQ(log.text().substr(0, message.size()), message) << body;
      EXPECT_EQ(log.messages()[0].type, 4u) << body;
   }

   // The pair goes on after what it does not know.
   ZqXmlPairType<ZqU32, ZqU32> pair(1, 2, placeToken, turnToken);
   LogCapture log;
   EXPECT_FALSE(readFrom(pair, inTag(pair.token(), "\n<third><x/></third><second>7</second>"
                                                   "<place xmlns='" ZQ_TEST_NS "'>6</place>")));
   EXPECT_EQ(pair, (ZqXmlPairType<ZqU32, ZqU32>(6, 7)));
   ASSERT_EQ(log.size(), 1u) << log.text();
   EXPECT_EQ(log.messages()[0].type, 4u);
   EXPECT_EQ(
      log.messages()[0].text,
      "ZqXmlPairType Error: file not valid.\n\tFormat not correct.\n\tFile: bad.xml\n\tLine: 2"
      "\tExpected " ZQ_TEST_NS "place or " ZQ_TEST_NS "turn but received " +
         xmlNs + "third.");
}

TEST(Containers, IndexFaultsAreLoggedAndLeaveTheContainerAlone)
{
   LogCapture log;
   const auto refused = [&log](bool succeeded, const std::string& message)
   {
      EXPECT_TRUE(!succeeded && log.contains(message)) << message << log.text();
      log.clear();
   };
   ZqXmlVectorType<ZqU32> vector{5, 6, 7};
   refused(vector.erase(3), "::erase(): index (3) exceeds vector size (3)");
   refused(vector.erase(2, 1), "first (2) is bigger than last (1)");
   refused(vector.erase(0, 4), "index (4) exceeds vector size (3)");
   EXPECT_TRUE(vector.erase(1, 3));
   EXPECT_EQ(vector, (ZqXmlVectorType<ZqU32>{5}));

   const std::string about = "ZqXmlVariableVectorType<ElementType>::";
   ItemVector items;
   EXPECT_NO_THROW(static_cast<void>(std::as_const(items)[4].id));
   items.pushBack(Leaf(5));
   items.pushBack(Node());
   log.clear();
   refused(&items[2] != items.vectorContainer()[0], about + "operator[]: bad index\n");
   refused(items.exchange(2, Leaf(6)), about + "exchange: bad index, 2");
   refused(items.erase(2), about + "erase: bad index, 2");
   refused(items.erase(1, 0), about + "erase: bad first/last indices: ");
   refused(items.erase(1, 3), about + "erase: bad first/last indices: ");
   EXPECT_EQ(items.size(), 2u);
   // An element may take its own place, or be repeated.
   EXPECT_TRUE(items.exchange(0, items[0]));
   items.pushBack(items[0]);
   items.assign(2, items[2]);
   EXPECT_TRUE(items.size() == 2 && items[1].id == 5 && items[1].container() == &items);
   // An element that is held already stays.
   ItemElement single;
   single.setElement(Leaf(5));
   single.setAndDeleteElementPointer(single.element());
   SharedItem shared;
   shared.setElement(*single.element());
   shared.setAndDeleteElementPointer(shared.element());
   EXPECT_EQ(*shared.element(), *single.element());
}

// What a container does not know, the outermost one of the document may; nobody else.
TEST(Containers, TheOutermostContainerLendsItsCreators)
{
   // The inner vector is of a class without creators of its own.
   using Bare = ZqXmlVariableVectorType<Item>;
   class Outer : public ZqXmlVariableVectorType<ZqXmlObject>
   {
   public:
      void registerComponentCreators() override
      {
         registerComponentCreator(leafToken, Leaf::creator);
         registerComponentCreator(linksToken, [] { return static_cast<ZqXmlObject*>(new Bare()); });
      }
   };
   const std::string inner = "<links xmlns='" ZQ_TEST_NS "'>" + leafTag + "</links>";
   Outer outer;
   LogCapture log;
   EXPECT_TRUE(readFrom(outer, inTag(outer.token(), inner, "count='1'"))) << log.text();
   ASSERT_EQ(outer.size(), 1u);
   EXPECT_EQ(static_cast<Bare&>(outer[0]).size(), 1u);

   // Alone, it has nobody to ask; an object of a foreign class is none of its elements.
   Bare bare;
   EXPECT_FALSE(readFrom(bare, inTag(bare.token(), leafTag)));
   bare.registerComponentCreator(leafToken, Sample::creator);
   EXPECT_FALSE(readFrom(bare, inTag(bare.token(), leafTag)));
   EXPECT_EQ(bare.size(), 0u);
}

TEST(Containers, StreamedFormReadsBackEqual)
{
   const auto stream = [](auto& container, const auto& more)
   {
      std::ostringstream out;
      ZqXmlWriter* writer = nullptr;
      EXPECT_TRUE(container.writeHeaderToStream(out, writer, "out.xml", linksToken));
      EXPECT_NE(writer, nullptr);
      EXPECT_TRUE(container.writeBodyToStream(writer));
      EXPECT_TRUE(container.appendElementToStream(writer, more));
      EXPECT_TRUE(container.writeFooterToStream(writer));
      EXPECT_EQ(writer, nullptr);
      EXPECT_FALSE(container.appendElementToStream(nullptr, more));
      std::ostringstream broken;
      broken.setstate(std::ios::failbit);
      EXPECT_FALSE(container.writeHeaderToStream(broken, writer, "out.xml", linksToken));

      auto copy = container;
      std::istringstream in(out.str());
      ZqXmlReader reader(in, "out.xml");
      EXPECT_TRUE(ZqXmlReader::isStart(reader.nextNode()));
      EXPECT_EQ(reader.tagName(), linksToken);
      LogCapture log;
      EXPECT_TRUE(copy.xmlInit() && copy.read(reader)) << out.str() << log.text();
      container.pushBack(more);
      EXPECT_EQ(copy, container) << out.str();
   };
   ZqXmlVectorType<ZqString> texts{"x"};
   stream(texts, ZqString("a \"b\""));
   ZqXmlVectorType<Leaf> leaves{Leaf(5)};
   stream(leaves, Leaf(6));
   ItemVector items;
   items.pushBack(Leaf(5));
   stream(items, Node());
}
