#include "support/logCapture.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
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

/// Registers its members by hand, one of them read only.
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
   const ZqToken& token() const override { return pointToken; }
   void registerComponents() override
   {
      registerAttributeComponent(foreignToken, &unit);
      registerComponent(yToken, &y);
      registerComponentReadOnly(plainToken, &old);
   }
   bool operator==(const ByHand&) const = default;

   ZqXmlBasicType<ZqString> unit;
   ZqXmlBasicType<ZqU32> y{7};
   ZqXmlBasicType<ZqU32> old;
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

TEST(ObjectGraph, WhatAClassRegistersByHandIsWrittenToo)
{
   ByHand object;
   EXPECT_EQ(written(object, false).find("<y"), std::string::npos);
   object.unit = "a<b";
   object.y = 0;
   expectRoundTrip(object, false);
   object.old = 7;
   EXPECT_EQ(written(object, true).find("<stiffness"), std::string::npos);
   const LogCapture log;
   EXPECT_TRUE(readFrom(object, inTag(pointToken, "", "new='1'")));
   EXPECT_TRUE(log.contains("\"new\"")) << log.text();
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
