#include "support/logCapture.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlPairType.h"
#include "zqManipulator/foundation/xml/ZqXmlSetType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

#include <gtest/gtest.h>

using namespace zqTest;

namespace
{
using Transformation = ZqCoordinateSystemTransformation;

constinit const ZqToken mountToken{ZqToken::Literal{"http://test/#mount"}};
constinit const ZqToken frameToken{ZqToken::Literal{"http://test/#frame"}};
constinit const ZqToken plainToken{ZqToken::Literal{"stiffness"}};
constinit const ZqToken foreignToken{ZqToken::Literal{"http://other/#unit"}};
constinit const ZqToken pointToken{ZqToken::Literal{"http://test/#point"}};
constinit const ZqToken xToken{ZqToken::Literal{"http://test/#x"}};
constinit const ZqToken yToken{ZqToken::Literal{"http://test/#y"}};

/// Its default frame is not the default of a frame; one component has no namespace, and an attribute
/// has another one.
class Mount : public ZqXmlClass<Mount>
{
public:
   static const ZqToken& classToken() { return mountToken; }
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&Mount::frame, &frameToken},
                        ZqComponent{&Mount::stiffness, &plainToken},
                        ZqAttributeComponent(&Mount::unit, &foreignToken)};
   }
   bool operator==(const Mount&) const = default;

   Transformation frame{ZqVector(1.0, 2.0, 3.0)};
   ZqReal stiffness = 9.8;
   ZqString unit = "N/m";
};

class Point : public ZqXmlClass<Point>
{
public:
   static const ZqToken& classToken() { return pointToken; }
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&Point::x, &xToken}, ZqComponent{&Point::y, &yToken}};
   }
   bool operator==(const Point&) const = default;
   bool operator<(const Point& other) const { return x < other.x || (x == other.x && y < other.y); }

   ZqU32 x = 0;
   ZqU32 y = 0;
};

/// Lists one member and registers another by hand.
class Extended : public ZqXmlClass<Extended>
{
public:
   static const ZqToken& classToken() { return pointToken; }
   static constexpr auto components() { return std::tuple{ZqComponent{&Extended::x, &xToken}}; }
   void registerComponents() override
   {
      ZqXmlClass::registerComponents();
      registerComponent(yToken, &y);
   }
   bool operator==(const Extended&) const = default;

   ZqU32 x = 0;
   ZqXmlBasicType<ZqU32> y;
};

/// Counts what it is shown.
class Counter : public ZqXmlObjectVisitor
{
public:
   void visit(const ZqXmlObject&) override { ++visited; }
   int visited = 0;
};
} // namespace

TEST(ObjectGraph, WhatIsLeftOutReadsBackTheSameAtEveryDepth)
{
   ZqOrientation turned;
   turned.setFromAngleAxis(0.5, ZqVector(1.0, 2.0, 2.0));
   for (const Transformation& frame :
        {Transformation(ZqVector(1.0, 2.0, 3.0)), Transformation(turned), Transformation(),
         Transformation(ZqVector(4.0, 0.0, 0.0), turned)})
   {
      Mount mount;
      mount.frame = frame;
      expectRoundTrip(mount, false);
      mount.stiffness = 0.0;
      expectRoundTrip(ZqXmlVectorType<Mount>{mount, Mount(), mount}, false);
   }
   // An element of a set has nothing of the one before it.
   Point a;
   a.y = 7;
   Point b;
   b.x = 3;
   expectRoundTrip(ZqXmlSetType<Point>{a, b}, false);
}

TEST(ObjectGraph, WhatAClassRegistersBesidesItsListIsWrittenToo)
{
   Extended object;
   object.x = 5;
   object.y = 6;
   expectRoundTrip(object, false);
   EXPECT_EQ(object.componentMap().size(), 2U);

   // So is what a user adds to one object.
   Point point;
   ZqXmlBasicType<ZqReal> added = 2.5;
   point.registerComponent(frameToken, &added);
   ZqString document;
   ASSERT_TRUE(Zq::toXml(point, document));
   EXPECT_NE(document.find("<frame>2.5</frame>"), ZqString::npos) << document;
}

TEST(ObjectGraph, AnUnknownChildOfAPairSpoilsTheResultAndNoMore)
{
   LogCapture log;
   ZqXmlPairType<Point, Point> pair;
   const ZqString x = "http://zqmanipulator.org/namespace/xml#";
   EXPECT_FALSE(Zq::fromXml(
      pair, "<pairType xmlns='" + x + "' xmlns:t='http://test/#'><other><t:x>9</t:x></other>" +
               "<first><t:x>1</t:x></first><second><t:y>2</t:y></second></pairType>"));
   EXPECT_EQ(pair.first().x, 1U);
   EXPECT_EQ(pair.second().y, 2U);
   EXPECT_TRUE(log.contains("but received " + x + "other."));
   EXPECT_FALSE(log.contains("but received text"));
}

TEST(ObjectGraph, VisitorSeesEverythingOnce)
{
   const ZqXmlVectorType<ZqXmlVectorType<Point>> lists{{Point()}, {Point(), Point()}};
   Counter counter;
   for (int round = 0; round < 2; ++round)
   {
      counter.visited = 0;
      lists.accept(&counter);
      // Three lists, three points, and two components of each.
      EXPECT_EQ(counter.visited, 3 + 3 + 6);
      ASSERT_EQ(counter.list().size(), 3U * 2 + 2 + 3);
      EXPECT_EQ(counter.list()[1], "vectorType (2)");
      EXPECT_EQ(counter.list().back(), "vectorType[1]/vectorType[1]");
   }
}

TEST(ObjectGraph, SchemaCoversNamespacesOfComponentsAndAttributes)
{
   Mount mount;
   mount.stiffness = 4.5;
   EXPECT_TRUE(followsSchema(mount, written(mount)));
   EXPECT_TRUE(followsSchema(mount, written(mount, false)));
}

TEST(ObjectGraph, AnOrientationThatIsNoRotationIsRemarkedAndKept)
{
   LogCapture log;
   Transformation frame(ZqVector(), ZqOrientation(1.0, 1.0, 1.0, 1.0));
   ZqString document;
   ASSERT_TRUE(Zq::toXml(frame, document));
   Transformation read;
   EXPECT_TRUE(Zq::fromXml(read, document));
   EXPECT_EQ(read, frame);
   EXPECT_TRUE(log.contains("not of unit length"));
}
