#include "support/randomValues.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqHalfSpace.h"
#include "zqManipulator/foundation/geometry/ZqLozenge.h"
#include "zqManipulator/foundation/geometry/ZqShapeContainer.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"

namespace
{
using zqTest::LogCapture;
using zqTest::readFrom;
using zqTest::written;

/// The sizes of a stack from a shape outward, which must lead back inward as well.
std::vector<ZqReal> stackOf(const ZqShape& shape)
{
   std::vector<ZqReal> sizes;
   const ZqShape* finer = nullptr;
   for (const ZqShape* at = &shape; at != nullptr; at = at->coarserVolume())
   {
      EXPECT_EQ(at->volumeLevel(), sizes.size());
      EXPECT_EQ(at->finerVolume(), finer);
      EXPECT_EQ(&at->trueShape(), &shape);
      sizes.push_back(dynamic_cast<const ZqSphere&>(*at).radius());
      finer = at;
   }
   EXPECT_EQ(&shape.coarsestVolume(), finer);
   EXPECT_EQ(shape.numBoundingVolumes() + 1, sizes.size());
   return sizes;
}

ZqSphere ofRadius(ZqReal radius)
{
   return {ZqVector(), radius};
}

TEST(ShapeStack, SurvivesWhateverBecomesOfItsShape)
{
   using Sizes = std::vector<ZqReal>;
   ZqSphere shape = ofRadius(2.0);
   shape.setIdentifier("ball");
   EXPECT_TRUE(shape.addBoundingVolume(ofRadius(3.0)));
   ZqSphere withOwn = ofRadius(4.0);
   withOwn.addBoundingVolume(ofRadius(9.0)); // left behind
   EXPECT_TRUE(shape.coarserVolume()->addBoundingVolume(withOwn));
   const Sizes sizes = {2.0, 3.0, 4.0};
   EXPECT_EQ(stackOf(shape), sizes);

   const ZqSphere copy = shape;
   EXPECT_EQ(stackOf(copy), sizes);
   EXPECT_EQ(copy, shape);
   ZqSphere moved = std::move(shape);
   EXPECT_EQ(stackOf(moved), sizes);
   shape = ofRadius(5.0);
   EXPECT_EQ(stackOf(shape), Sizes{5.0});
   shape = std::move(moved);
   EXPECT_EQ(stackOf(shape), sizes);
   shape = *&shape;
   EXPECT_EQ(stackOf(shape), sizes);
   ZqSphere back;
   EXPECT_TRUE(readFrom(back, written(shape)));
   EXPECT_EQ(stackOf(back), sizes);
   EXPECT_EQ(back, shape);
   const std::unique_ptr<ZqShape> cloned(shape.clonedShape());
   EXPECT_EQ(stackOf(*cloned), sizes);

   // A copy of a volume is a true shape; what is assigned to a volume leaves it in its place.
   const ZqSphere alone = dynamic_cast<const ZqSphere&>(*shape.coarserVolume());
   EXPECT_EQ(stackOf(alone), Sizes{3.0});
   dynamic_cast<ZqSphere&>(*shape.coarserVolume()) = copy;
   EXPECT_EQ(stackOf(shape), (Sizes{2.0, 2.0, 4.0}));
   shape = dynamic_cast<const ZqSphere&>(*shape.coarserVolume()->coarserVolume());
   shape.setIdentifier("ball");
   EXPECT_EQ(stackOf(shape), (Sizes{4.0, 2.0, 4.0}));
   EXPECT_NE(copy, shape);

   const LogCapture log;
   for (ZqU32 i = shape.numBoundingVolumes(); i < ZqShape::mostBoundingVolumes; ++i)
      EXPECT_TRUE(shape.addBoundingVolume(ZqShape::BoxShape));
   EXPECT_FALSE(shape.addBoundingVolume(ZqShape::BoxShape));
   EXPECT_EQ(log.text(),
             "ZqShape::addBoundingVolume(): there are 16 volumes around \"ball\" already.\n\n");
   EXPECT_EQ(shape.deleteBoundingVolumes(ZqShape::BoxShape), 14U);
   EXPECT_EQ(stackOf(shape), (Sizes{4.0, 2.0, 4.0}));
   shape.deleteAllBoundingVolumes();
   EXPECT_EQ(stackOf(shape), Sizes{4.0});
}

ZqString spaceOf(const ZqToken& token)
{
   const ZqString text(token.view());
   return text.substr(0, text.size() - token.localName().size());
}
ZqString within(const ZqString& shape)
{
   return "<shapeContainer xmlns=\"" + spaceOf(ZqGeom::ZqShapeContainerToken) + "\" xmlns:x=\"" +
          spaceOf(ZqXml::ZqOrientationToken) + "\">" + shape + "</shapeContainer>";
}

/// What is amiss in a document is mended or refused, and a message says where and of which shape.
TEST(ShapeDocument, TellsWhatIsAmiss)
{
   struct Case
   {
      const char* shape;
      const char* message;
      const char* mended; ///< null when the document is refused
   };
   const Case cases[] = {
      {"<capsule><shapeIdentifier>arm</shapeIdentifier><radius>-2</radius></capsule>",
       "capsule \"arm\": its radius is below zero and counts as 0",
       "<capsule><shapeIdentifier>arm</shapeIdentifier></capsule>"},
      {"<box><halfExtents>1 -2 3</halfExtents></box>", "box: half extents below zero count as 0",
       "<box><halfExtents>1 0 3</halfExtents></box>"},
      {"<box><frame><x:orientation>2 0 0 0</x:orientation></frame>"
       "<halfExtents>1 -2 3</halfExtents></box>",
       "box: its orientation is made to be of unit length, and half extents below zero count as 0",
       "<box><halfExtents>1 0 3</halfExtents></box>"},
      {"<cone><firstRadius>-1</firstRadius><secondRadius>3</secondRadius></cone>",
       "cone: a radius is below zero and counts as 0",
       "<cone><secondRadius>3</secondRadius></cone>"},
      {"<lozenge><edge0>1 0 0</edge0><edge1>3 4 0</edge1><radius>-1</radius></lozenge>",
       "lozenge: its radius is below zero and counts as 0, and its second edge is made to be "
       "perpendicular to the first",
       "<lozenge><edge0>1 0 0</edge0><edge1>0 5 0</edge1></lozenge>"},
      {"<halfSpace><plane><normal>0 0 0</normal></plane></halfSpace>",
       "halfSpace: its normal has no direction and counts as z", "<halfSpace/>"},
      {"<ellipsoid><semiAxes>-1 2 3</semiAxes></ellipsoid>",
       "ellipsoid: semi-axes below zero count as 0",
       "<ellipsoid><semiAxes>0 2 3</semiAxes></ellipsoid>"},
      {"<convexHull/>", "convexHull: it has no points and counts as the origin", "<convexHull/>"},
      {"<triangleMesh><vertices>0 0 0 1 0 0 2 0 0 0 1 0</vertices>"
       "<triangles>0 1 2 0 1 3 1 1 3</triangles></triangleMesh>",
       "triangleMesh: 2 of 3 triangles have no area and are left out",
       "<triangleMesh><vertices>0 0 0 1 0 0 2 0 0 0 1 0</vertices>"
       "<triangles>0 1 3</triangles></triangleMesh>"},
      {"<box><boundingVolumes><sphere><radius>3</radius><boundingVolumes><sphere/>"
       "</boundingVolumes></sphere></boundingVolumes></box>",
       "sphere: volumes around a bounding volume are left out",
       "<box><boundingVolumes><sphere><radius>3</radius></sphere></boundingVolumes></box>"},
      {"<sphere><radius>nan</radius></sphere>", "a real number", nullptr},
      {"<capsule><radius>1e999</radius></capsule>", "a real number", nullptr},
      {"<triangleMesh><shapeIdentifier>cup</shapeIdentifier><vertices>0 0 0 1 0 0 0 1 0</vertices>"
       "<triangles>0 1 3</triangles></triangleMesh>",
       "triangleMesh \"cup\": there is no vertex 3: there are 3", nullptr},
      {"<triangleMesh><vertices>0 0 0 1 0 0 0 1 0</vertices><triangles>0 1</triangles>"
       "</triangleMesh>",
       "the number of indices is not a multiple of three", nullptr},
      {"<convexHull><points>1 2 3 4</points></convexHull>", "expected 3 words", nullptr},
      {"<potato/>", "potato", nullptr}};
   for (const Case& one : cases)
   {
      SCOPED_TRACE(one.shape);
      ZqShapeContainer container;
      LogCapture log;
      EXPECT_EQ(readFrom(container, within(one.shape)), one.mended != nullptr);
      EXPECT_NE(log.text().find(one.message), std::string::npos) << log.text();
      ZqShapeContainer mended;
      if (one.mended == nullptr)
         continue;
      const LogCapture quiet;
      readFrom(mended, within(one.mended));
      EXPECT_EQ(container, mended) << written(container);
   }
}

TEST(ShapeDocument, AMeshThatIsRefusedKeepsNothing)
{
   ZqTriangleMesh mesh({{}, {1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}}, {{0, 1, 2}});
   const LogCapture log;
   for (const char* triangles : {"0 1 2 0 1 9", "0 1 9", "0 1 x"})
   {
      ZqString document = written(mesh);
      document.replace(document.find("0 1 2</"), 5, triangles);
      ZqTriangleMesh read = mesh;
      EXPECT_FALSE(readFrom(read, document));
      read.removeRedundancy(1e-9);
      EXPECT_EQ(read.vertexCount() + read.triangleCount(), 0U);
      EXPECT_EQ(read.supportPoint({1.0, 0.0, 0.0}), ZqVector());
   }
}

TEST(ShapeDocument, NestsNoDeeperThanItMay)
{
   for (const unsigned depth : {ZqShapeVector::deepest, ZqShapeVector::deepest + 1, 1500U})
      for (const ZqString& list : {ZqString("members"), ZqString("boundingVolumes")})
      {
         ZqString shape = "<sphere/>";
         for (unsigned i = 0; i < depth; ++i)
            shape = "<shapeUnion><" + list + ">" + shape + "</" + list + "></shapeUnion>";
         ZqShapeContainer container;
         const LogCapture log;
         const bool isRead = readFrom(container, within(shape));
         EXPECT_EQ(isRead, depth == ZqShapeVector::deepest) << depth << list << log.text();
         EXPECT_EQ(log.text().find("deeper than 32 levels") == std::string::npos, isRead);
      }
   ZqShapeUnion whole;
   whole.addShapeToUnion(ZqSphere());
   const LogCapture log;
   unsigned levels = 1;
   for (ZqShapeUnion outer; outer.addShapeToUnion(whole) && levels < 100; outer = {})
   {
      whole = outer;
      ++levels;
   }
   EXPECT_EQ(levels, ZqShapeVector::deepest);
   EXPECT_FALSE(log.empty());
   ZqShapeUnion back;
   EXPECT_TRUE(readFrom(back, written(whole)));
   EXPECT_EQ(back, whole);
   EXPECT_EQ(back.memberCount(), 1U);
}

TEST(ShapeNumbers, MakeFiniteRecordsWhateverTheyAre)
{
   const ZqReal odd[] = {0.0, -1.0, 5e-324, 1e-100, 1e100, 1.7e308, zqTest::nan, zqTest::infinity};
   for (const ZqReal x : odd)
      for (const ZqReal y : odd)
      {
         const ZqVector v(x, 1.0, y);
         const ZqCoordinateSystemTransformation X(v, ZqOrientation(y, x, 0.0, 0.0));
         const ZqLineSegment segment(v, {y, x, 2.0});
         ZqShapeUnion whole;
         const LogCapture log; // of triangles that are left out
         whole.addShapeToUnion(ZqSphere(v, y));
         whole.addShapeToUnion(ZqCapsule(segment, x));
         whole.addShapeToUnion(ZqBox(X, v));
         whole.addShapeToUnion(ZqLozenge(v, v, {y, y, x}, x));
         whole.addShapeToUnion(ZqConvexHull({v, {x, x, x}, {y, 2.0, 3.0}, {1.0, y, 2.0}, {}}));
         whole.addShapeToUnion(ZqTriangleMesh({v, {x, x, x}, {y, 2.0, 3.0}}, {{0, 1, 2}}));
         whole.addShapeToUnion(ZqHalfSpace(ZqPlane(v, {x, y, 0.0})));
         for (ZqU32 i = 0; i < whole.memberCount(); ++i)
         {
            SCOPED_TRACE(testing::Message() << i << ", " << x << ", " << y);
            if (const ZqConvex* convex = whole.member(i)->convex())
            {
               EXPECT_TRUE(norm(convex->frame.t) < 1e76 && convex->radius < 1e76 &&
                           largest(convex->h) < 1e76 && convex->size < 1e76);
               EXPECT_NEAR(norm(convex->frame.R.c0), 1.0, 1e-12);
               EXPECT_GE(convex->volume(), 0.0);
            }
            ZqVector entry;
            whole.member(i)->intersectSegment({{1.0, 2.0, 9.0}, {1.0, 2.0, -9.0}}, entry);
            whole.member(i)->capsuleBoundingVolume();
         }
      }
}
} // namespace
