#include "apps/zqsim/shapes.h"

#include "zqManipulator/foundation/geometry/ZqConvex.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

#include <string_view>

namespace
{
using namespace zqsim;
using Frame = ZqCoordinateSystemTransformation;

Json toJson(const zqConvex::Vec3& v)
{
   return {v.x, v.y, v.z};
}

/// Where the core of a convex shape stands in the shape's frame.
Frame frameOf(const ZqConvex& convex)
{
   const auto vector = [](const zqConvex::Vec3& v) { return ZqVector(v.x, v.y, v.z); };
   const zqConvex::Pose& pose = convex.frame;
   ZqOrientation orientation;
   orientation.setFromDcmColumns(vector(pose.R.c0), vector(pose.R.c1), vector(pose.R.c2));
   return {vector(pose.t), orientation};
}

Json drawHull(const ZqHull& hull)
{
   Json vertices = Json::array();
   for (const zqConvex::Vec3& vertex : hull.vertices)
      vertices.push_back(toJson(vertex));
   Json faces = Json::array();
   for (const ZqHull::Face& face : hull.faces)
   {
      const auto first = hull.corners.begin() + face.firstCorner;
      faces.push_back(std::vector<int>(first, first + face.cornerCount));
   }
   return {{"vertices", vertices}, {"faces", faces}};
}

Json drawCore(const ZqConvex& convex)
{
   using Core = ZqConvex::Core;
   switch (convex.core)
   {
   case Core::Box:
      return {{"halfExtents", toJson(convex.h)}};
   case Core::Turned:
      return {{"lowerRadius", convex.h.x}, {"upperRadius", convex.h.y}, {"halfHeight", convex.h.z}};
   case Core::Triangle:
      return {{"corners",
               {toJson(convex.corner[0]), toJson(convex.corner[1]), toJson(convex.corner[2])}}};
   case Core::Ellipsoid:
      return {{"semiAxes", toJson(convex.h)}};
   case Core::Polytope:
      return drawHull(*convex.hull);
   case Core::HalfSpace: // below the plane of x and y
      break;
   }
   return Json::object();
}

Json drawMesh(const ZqTriangleMesh& mesh)
{
   Json vertices = Json::array();
   for (ZqU32 i = 0; i < mesh.vertexCount(); ++i)
      vertices.push_back(zqsim::toJson(mesh.vertex(i)));
   Json triangles = Json::array();
   for (ZqU32 i = 0; i < mesh.triangleCount(); ++i)
      triangles.push_back(mesh.triangle(i));
   return {{"vertices", vertices}, {"triangles", triangles}};
}

Json draw(const ZqShape& shape, const Frame& frame)
{
   Json result{{"type", className(shape)}, {"identifier", shape.identifier()}};
   if (const ZqConvex* convex = shape.convex())
   {
      result.update(zqsim::toJson(frame * frameOf(*convex)));
      result.update(drawCore(*convex));
      result["radius"] = convex->radius;
      return result;
   }
   result.update(zqsim::toJson(frame));
   if (const auto* mesh = dynamic_cast<const ZqTriangleMesh*>(&shape))
      result.update(drawMesh(*mesh));
   return result;
}
} // namespace

std::string zqsim::className(const ZqXmlObject& object)
{
   const std::string_view token = object.token().view();
   return std::string(token.substr(token.find_last_of("#/") + 1));
}

zqsim::Json zqsim::describeShapes(const ZqManipulatorLink& link)
{
   Json shapes = Json::array();
   for (ZqU32 i = 0; i < link.numShapes(); ++i)
   {
      const ZqShape& shape = *link.shapeByIndex(i);
      shapes.push_back({{"type", className(shape)},
                        {"identifier", shape.identifier()},
                        {"level", shape.volumeLevel()},
                        {"volume", bounded(shape.volume())}});
   }
   return shapes;
}

zqsim::Json zqsim::drawShapes(const ZqManipulatorLink& link, const Frame& frame)
{
   Json shapes = Json::array();
   for (ZqU32 i = 0; i < link.numShapesInPhysicalRepresentation(); ++i)
      shapes.push_back(draw(*link.shapeByIndex(i), frame));
   return shapes;
}
