#include "support/logCapture.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableElementType.h"
#include "zqManipulator/foundation/xml/ZqXmlVariableSharedElementType.h"

#include <gtest/gtest.h>

using namespace zqTest;

namespace
{
const std::string leafTag = "<leaf xmlns='" ZQ_TEST_NS "' id='5'/>";
const char* const xmlNs = "http://zqmanipulator.org/namespace/xml#";

class ItemElement : public ZqXmlVariableElementType<Item>
{
public:
   void registerComponentCreators() override
   {
      registerComponentCreator(leafToken, Leaf::creator);
      registerComponentCreator(nodeToken, Node::creator);
   }
};

class SharedItem : public ZqXmlVariableSharedElementType<Item>
{
public:
   void registerComponentCreators() override { registerComponentCreator(leafToken, Leaf::creator); }
};

class TopItem : public ZqBaseExpressionTreeContainer<Item>
{
public:
   ZqXmlObject* clone() const override { return new TopItem(*this); }
   ZqXmlObject* newObject() const override { return new TopItem(); }
   bool equality(const ZqXmlObject* other) const override
   {
      const auto* same = dynamic_cast<const TopItem*>(other);
      return same != nullptr && *this == *same;
   }
   const ZqToken& token() const override { return placeToken; }
   void registerComponentCreators() override { registerComponentCreator(leafToken, Leaf::creator); }
};

/// The element between the root's tags, without the white space that lays the document out.
std::string content(const ZqXmlObject& object)
{
   std::string text = written(object);
   text.erase(0, text.find('\n') + 1);
   const auto rootEnd = text.find('>');
   const auto begin = std::min(text.find(" count="), text.find_last_not_of("/>", rootEnd) + 1);
   std::string result = text.substr(begin, rootEnd - begin + 1);
   for (std::size_t i = rootEnd + 1; i < text.size(); ++i)
      if (text[i] == '\n')
         i = std::min(text.find_first_not_of(' ', i + 1), text.size()) - 1;
      else
         result += text[i];
   return result.substr(0, result.rfind("</"));
}

template <class T>
void expectRoundTrip(const T& object)
{
   const std::string document = written(object);
   T back;
   LogCapture log;
   EXPECT_TRUE(readFrom(back, document)) << document << log.text();
   EXPECT_EQ(log.text(), "") << document;
   EXPECT_EQ(back, object) << document;
   EXPECT_EQ(written(back), document);
}

const std::vector<ZqString>& trickyTexts()
{
   static const std::vector<ZqString> texts{"",
                                            " ",
                                            "\n",
                                            "\"",
                                            "\\",
                                            "\"\"",
                                            "\\\"",
                                            "a\\",
                                            "\\n",
                                            "two words",
                                            "  led",
                                            "trailed\t\r\n",
                                            "q\"uo\"te",
                                            "'",
                                            "]]>",
                                            "<a b='c'>&amp;",
                                            "&",
                                            "\xE2\x82\xAC",
                                            "\xF0\x9D\x84\x9E",
                                            "\xEF\xBB\xBF",
                                            "-1",
                                            ",",
                                            ZqString(100'000, 'x') + "\" y"};
   return texts;
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

   ItemVector items;
   items.pushBack(Leaf(5));
   items.resize(2);
   items.pushBack(Leaf(6));
   const std::string document = written(items);
   EXPECT_NE(document.find("count=\"3\""), std::string::npos);
   EXPECT_LT(document.find("id=\"5\""), document.find("id=\"6\""));
}

TEST(Containers, ReadBackWhatTheyWrite)
{
   expectRoundTrip(ZqXmlVectorType<Leaf>{Leaf(3), Leaf(4)});
   expectRoundTrip(ZqXmlVectorType<ZqXmlVectorType<ZqU32>>{{3, 4}, {}, {5}});
   expectRoundTrip(ZqXmlVectorVector{ZqVector(1.5, 2, 3), ZqVector(4, 5, 6)});
   expectRoundTrip(ZqXmlMapType<ZqString, ZqXmlMapType<ZqString, bool>>{
      {"a", {{"b", true}, {"c", false}}}, {"d", {}}});
   expectRoundTrip(ZqXmlMapType<ZqU32, ZqXmlPairType<ZqString, ZqCoordinateSystemTransformation>>{
      {5, {"x", ZqCoordinateSystemTransformation(ZqVector(1, 2, 3))}}});
   expectRoundTrip(ZqXmlMapType<ZqU32, ZqXmlSetType<ZqU32>>{{5, {2, 3}}, {6, {}}});
   ItemElement element;
   expectRoundTrip(element);
   element.setElement(Leaf(5));
   expectRoundTrip(element);
   ItemVector items;
   Node node;
   node.children.pushBack(Leaf(5));
   items.pushBack(node);
   items.setAddLibraries({"one", "two words", "th\"ree"});
   expectRoundTrip(items);
   EXPECT_EQ(ItemVector(items).addLibraries(), items.addLibraries());
}

TEST(Containers, KeepAnyTextExactly)
{
   ZqXmlVectorType<ZqString> all;
   ZqXmlMapType<ZqString, ZqString> map;
   ZqXmlSetType<ZqString> set;
   for (const ZqString& text : trickyTexts())
   {
      expectRoundTrip(ZqXmlBasicType<ZqString>(text));
      expectRoundTrip(ZqXmlVectorType<ZqString>{text});
      Sample sample;
      sample.label = text;
      sample.text = text;
      expectRoundTrip(sample);
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
      EXPECT_EQ(log.messages()[0].type, 3u);
      EXPECT_EQ(log.messages()[0].text,
                "ZqXmlVectorType Error: array size not equal to attribute value -- " + number +
                   ", actual -- 2\nFilename: bad.xml, Line count: 2\n");
      EXPECT_EQ(log.messages()[1].type, 3u);
      EXPECT_EQ(log.messages()[1].text.substr(0, log.messages()[1].text.find('\n')),
                "ZqXmlSetType Error: set size not equal to attribute value -- " + number +
                   ", actual -- 2");
   }
   log.clear();
   EXPECT_TRUE(readFrom(set, inTag(set.token(), "<a>5</a><a>5</a>", "count='2'")));
   EXPECT_EQ(set.size(), 1u);
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
   struct Case
   {
      std::shared_ptr<ZqXmlObject> object;
      std::string content;
      std::string message;
   };
   const std::string ns = xmlNs;
   const std::string map =
      "ZqXmlMapType Error: file not valid.\n\tKey map format not correct.\n\tFile: "
      "bad.xml\n\tLine: 2\tExpected " +
      ns;
   using Map = ZqXmlMapType<ZqU32, ZqU32>;
   const Case cases[] = {
      {std::make_shared<ZqXmlVectorType<ZqU32>>(), "\n<group><a/></group>",
       "ZqXmlVectorType Error: XML parser should be in data mode\n"},
      {std::make_shared<ZqXmlSetType<ZqU32>>(), "\n<group><a/></group>",
       "ZqXmlSetType Error: XML parser should be in data mode\n"},
      {std::make_shared<Map>(), "\n<entry/>", map + "element but received " + ns + "entry."},
      {std::make_shared<Map>(), "\n<element><value>1</value></element>",
       map + "key but received " + ns + "value."},
      {std::make_shared<Map>(), "\n<element><key>1</key><key>2</key></element>",
       map + "value but received " + ns + "key."},
      {std::make_shared<Map>(), "\n<element/>", map + "key but received "},
      {std::make_shared<Map>(), "\n<element/><key>1</key><value>2</value>",
       map + "key but received "},
      {std::make_shared<Map>(), "\n<element><key>1</key></element>", map + "value but received "},
      {std::make_shared<Map>(), "\n<element><key>1</key></element><value>2</value>",
       map + "value but received "},
      {std::make_shared<ItemVector>(), "\n<foo/>",
       "ZqXmlVariableVectorType::readValueFromToken() error:\n\t\"" + ns +
          "foo\" tag not registered.\n"},
      {std::make_shared<ItemElement>(), "\n<foo/>",
       "ZqXmlVariableElementType::readValueFromToken() error:\n\t\"" + ns +
          "foo\" tag not registered.\n"},
      {std::make_shared<SharedItem>(), "\n<foo/>",
       "ZqXmlVariableSharedElementType::readValueFromToken() error:\n\t\"" + ns +
          "foo\" tag not registered.\n"},
   };
   for (const Case& c : cases)
   {
      LogCapture log;
      EXPECT_FALSE(readFrom(*c.object, inTag(c.object->token(), c.content))) << c.content;
      EXPECT_EQ(log.size(), 1u) << c.content << log.text();
      EXPECT_EQ(log.text().substr(0, c.message.size()), c.message) << c.content;
      EXPECT_TRUE(log.empty() || log.messages().front().type == 4) << c.content;
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
         ns + "third.");
}

TEST(Containers, IndexFaultsAreLoggedAndLeaveTheContainerAlone)
{
   LogCapture log;
   ZqXmlVectorType<ZqU32> vector{5, 6, 7};
   EXPECT_FALSE(vector.erase(3));
   EXPECT_TRUE(log.contains("::erase(): index (3) exceeds vector size (3)"));
   EXPECT_FALSE(vector.erase(2, 1));
   EXPECT_TRUE(log.contains("first (2) is bigger than last (1)"));
   EXPECT_FALSE(vector.erase(0, 4));
   EXPECT_TRUE(log.contains("index (4) exceeds vector size (3)"));
   EXPECT_EQ(vector, (ZqXmlVectorType<ZqU32>{5, 6, 7}));
   EXPECT_TRUE(vector.erase(1, 3));
   EXPECT_EQ(vector, (ZqXmlVectorType<ZqU32>{5}));

   log.clear();
   const std::string about = "ZqXmlVariableVectorType<ElementType>::";
   ItemVector items;
   EXPECT_NO_THROW(static_cast<void>(std::as_const(items)[4].id));
   items.pushBack(Leaf(5));
   items.pushBack(Node());
   log.clear();
   EXPECT_EQ(&items[2], items.vectorContainer()[0]);
   EXPECT_TRUE(log.contains(about + "operator[]: bad index\n"));
   EXPECT_TRUE(log.contains("Will attempt to return the first vector element.\n"));
   EXPECT_FALSE(items.exchange(2, Leaf(6)));
   EXPECT_TRUE(log.contains(about + "exchange: bad index, 2"));
   EXPECT_FALSE(items.erase(2));
   EXPECT_TRUE(log.contains(about + "erase: bad index, 2"));
   EXPECT_FALSE(items.erase(1, 0));
   EXPECT_FALSE(items.erase(1, 3));
   EXPECT_TRUE(log.contains(about + "erase: bad first/last indices: "));
   EXPECT_EQ(items.size(), 2u);
   // An element may take its own place, or be repeated.
   EXPECT_TRUE(items.exchange(0, items[0]));
   items.pushBack(items[0]);
   items.assign(2, items[2]);
   EXPECT_EQ(items.size(), 2u);
   EXPECT_EQ(items[1].id, 5u);
   EXPECT_EQ(items[1].container(), &items);
}

TEST(Containers, CopiesAreIndependent)
{
   ItemVector items;
   items.pushBack(Leaf(5));
   items.resize(2);
   ItemVector copy(items);
   EXPECT_EQ(copy, items);
   EXPECT_EQ(copy[0].container(), &copy);
   copy[0].id = 6;
   EXPECT_EQ(items[0].id, 5u);
   EXPECT_FALSE(copy == items);
   copy = items;
   copy = *&copy;
   EXPECT_EQ(copy, items);
   EXPECT_NE(copy.vectorContainer()[0], items.vectorContainer()[0]);

   TopItem top;
   top.setTopElement(Leaf(5));
   const std::unique_ptr<ZqXmlObject> clone(top.clone());
   EXPECT_TRUE(clone->equality(&top));
   EXPECT_EQ(static_cast<TopItem&>(*clone).topElement()->container(), clone.get());
   EXPECT_EQ(top.topElement()->container(), &top);

   SharedItem shared;
   shared.setElement(Leaf(5));
   SharedItem other(shared);
   SharedItem third;
   third = shared;
   EXPECT_EQ(other.element(), shared.element());
   EXPECT_EQ(third.element(), shared.element());
   EXPECT_TRUE(readFrom(other, inTag(other.token(), "<leaf xmlns='" ZQ_TEST_NS "' id='8'/>")));
   EXPECT_EQ(shared.element()->id, 5u);
   third.makeSelfUnique();
   EXPECT_NE(third.element(), shared.element());
   EXPECT_EQ(third, shared);
   const Item* held = third.element();
   third.makeSelfUnique();
   EXPECT_EQ(third.element(), held);
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
   log.clear();
   EXPECT_FALSE(readFrom(bare, inTag(bare.token(), leafTag)));
   EXPECT_TRUE(log.contains("tag not registered")) << log.text();
   EXPECT_EQ(bare.size(), 0u);
   // A creator that is registered with one object is that object's.
   bare.registerComponentCreator(leafToken, Leaf::creator);
   EXPECT_TRUE(readFrom(bare, inTag(bare.token(), leafTag)));
   EXPECT_FALSE(readFrom(*std::make_unique<Bare>(), inTag(bare.token(), leafTag)));
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
      // A null writer, and a stream that takes nothing.
      EXPECT_FALSE(container.writeBodyToStream(nullptr));
      EXPECT_FALSE(container.appendElementToStream(nullptr, more));
      EXPECT_FALSE(container.writeFooterToStream(writer));
      std::ostringstream broken;
      broken.setstate(std::ios::failbit);
      EXPECT_FALSE(container.writeHeaderToStream(broken, writer, "out.xml", linksToken));
      EXPECT_EQ(writer, nullptr);

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
   ZqXmlVectorType<ZqU32> numbers{5, 6};
   stream(numbers, 7U);
   ZqXmlVectorType<ZqString> texts;
   stream(texts, ZqString("a \"b\""));
   ZqXmlVectorType<Leaf> leaves{Leaf(5)};
   stream(leaves, Leaf(6));
   ItemVector items;
   items.pushBack(Leaf(5));
   stream(items, Node());
}
