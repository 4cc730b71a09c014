#include "python/source/arrays.h"
#include "python/source/documents.h"
#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqCone.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqEllipsoid.h"
#include "zqManipulator/foundation/geometry/ZqHalfSpace.h"
#include "zqManipulator/foundation/geometry/ZqShapeContainer.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"

#include <cmath>
#include <map>
#include <variant>

namespace
{
using namespace zqPython;
using AnyShape = ZqShapeContainer;
using Numbers = std::map<std::string, std::variant<ZqReal, std::string>>;

AnyShape shapeOf(const ZqShape& shape)
{
   AnyShape container;
   container.setTopElement(shape);
   return container;
}

const ZqShape& elementOf(const AnyShape& shape)
{
   return *shape.topElement();
}

ZqReal lengthOf(ZqReal length, const char* name)
{
   if (!(length > 0.0) || !std::isfinite(length))
      throw py::value_error(std::string(name) + ": expected a finite length above zero");
   return length;
}

ZqVector lengthsOf(const Array& array, const char* name)
{
   const ZqVector lengths = vectorOf(array, name);
   for (std::size_t i = 0; i < 3; ++i)
      lengthOf(lengths[i], name);
   return lengths;
}

ZqCoordinateSystemTransformation frameOr(const std::optional<Array>& frame)
{
   return frame ? frameOf(*frame, "frame") : ZqCoordinateSystemTransformation();
}

ZqLineSegment segmentOf(const Array& start, const Array& end)
{
   return {vectorOf(start, "start"), vectorOf(end, "end")};
}

std::vector<ZqVector> pointsOf(const Array& array, const char* name)
{
   const std::span numbers = matrixOf(array, name, anyLength, 3);
   std::vector<ZqVector> points;
   for (std::size_t i = 0; i + 2 < numbers.size(); i += 3)
      points.emplace_back(numbers[i], numbers[i + 1], numbers[i + 2]);
   return points;
}

Array arrayOfPoints(const std::vector<ZqVector>& points)
{
   Array array({static_cast<py::ssize_t>(points.size()), py::ssize_t{3}});
   auto number = numbersOf(array).begin();
   for (const ZqVector& point : points)
      for (std::size_t i = 0; i < 3; ++i)
         *number++ = point[i];
   return array;
}

AnyShape newHull(const Array& points)
{
   if (points.ndim() == 2 && points.shape(0) == 0)
      throw py::value_error("points: expected at least one");
   return shapeOf(ZqConvexHull(pointsOf(points, "points")));
}

/// Whole numbers alone: others are not cut.
using Indices = py::array_t<std::int64_t, py::array::c_style>;

AnyShape newMesh(const Array& vertices, const Indices& triangles)
{
   std::vector<ZqVector> points = pointsOf(vertices, "vertices");
   if (triangles.ndim() != 2 || triangles.shape(1) != 3)
      throw py::value_error("triangles: expected the shape (n, 3)");
   std::vector<ZqTriangleMesh::Triangle> list(static_cast<std::size_t>(triangles.shape(0)));
   for (std::size_t i = 0; i < list.size(); ++i)
      for (std::size_t j = 0; j < 3; ++j)
      {
         const std::int64_t index = triangles.at(i, j);
         if (index < 0 || static_cast<std::size_t>(index) >= points.size())
            throw py::value_error("triangles: there is no vertex " + std::to_string(index));
         list[i][j] = static_cast<ZqU32>(index);
      }
   ZqTriangleMesh mesh;
   performNow("make a mesh", [&] { return mesh.setTriangles(std::move(points), list), true; });
   return shapeOf(mesh);
}

AnyShape newUnion(const std::vector<AnyShape>& members)
{
   ZqShapeUnion shapes;
   performNow("make a union",
              [&]
              {
                 return std::ranges::all_of(members, [&](const AnyShape& member)
                                            { return shapes.addShapeToUnion(elementOf(member)); });
              });
   return shapeOf(shapes);
}

std::vector<AnyShape> membersOf(const AnyShape& shape)
{
   std::vector<const ZqShape*> found;
   shape.collectShapes(found);
   std::vector<AnyShape> members;
   for (const ZqShape* member : found)
      members.push_back(shapeOf(*member));
   return members;
}

std::optional<Array> verticesOf(const AnyShape& shape)
{
   if (const auto* hull = dynamic_cast<const ZqConvexHull*>(shape.topElement()))
      return arrayOfPoints(hull->points());
   const auto* mesh = dynamic_cast<const ZqTriangleMesh*>(shape.topElement());
   if (mesh == nullptr)
      return std::nullopt;
   std::vector<ZqVector> points;
   for (ZqU32 i = 0; i < mesh->vertexCount(); ++i)
      points.push_back(mesh->vertex(i));
   return arrayOfPoints(points);
}

std::optional<Indices> trianglesOf(const AnyShape& shape)
{
   const auto* mesh = dynamic_cast<const ZqTriangleMesh*>(shape.topElement());
   if (mesh == nullptr)
      return std::nullopt;
   Indices triangles({static_cast<py::ssize_t>(mesh->triangleCount()), py::ssize_t{3}});
   for (ZqU32 i = 0; i < mesh->triangleCount(); ++i)
      for (std::size_t j = 0; j < 3; ++j)
         triangles.mutable_at(i, j) = mesh->triangle(i)[j];
   return triangles;
}

Array boundsOf(const AnyShape& shape)
{
   const ZqAxisAlignedBoundingBox box = elementOf(shape).axisAlignedBoundingBox({});
   return arrayOfPoints({box.lower(), box.upper()});
}

std::map<std::string, Numbers> surfacesOf(const AnyShape& shape)
{
   std::map<std::string, Numbers> surfaces;
   for (const auto& [name, data] : elementOf(shape).surfaces().mapContainer())
   {
      surfaces[name].insert(data.reals().begin(), data.reals().end());
      surfaces[name].insert(data.strings().begin(), data.strings().end());
   }
   return surfaces;
}

AnyShape withSurfaces(const AnyShape& shape, const std::map<std::string, Numbers>& surfaces)
{
   ZqShape::Surfaces values;
   for (const auto& [name, numbers] : surfaces)
   {
      ZqDataMap& data = values.mapContainer()[name];
      for (const auto& [key, value] : numbers)
         std::visit([&data, &name = key](const auto& one) { data.add(name, one); }, value);
   }
   AnyShape result = shape;
   result.topElement()->setSurfaces(values);
   return result;
}

AnyShape fromXml(const std::string& document)
{
   auto shape = objectOf<AnyShape>(document);
   if (shape.topElement() == nullptr)
      throw py::value_error("document: there is no shape in it");
   return shape;
}

void bindMakers(py::class_<AnyShape>& shape)
{
   shape
      .def_static(
         "box",
         [](const Array& size, const std::optional<Array>& frame)
         { return shapeOf(ZqBox(frameOr(frame), lengthsOf(size, "size") * 0.5)); },
         py::arg("size"), py::arg("frame") = py::none(),
         "By its whole lengths along x, y and z (m).")
      .def_static(
         "sphere",
         [](ZqReal radius, const std::optional<Array>& center)
         {
            return shapeOf(ZqSphere(center ? vectorOf(*center, "center") : ZqVector(),
                                    lengthOf(radius, "radius")));
         },
         py::arg("radius"), py::arg("center") = py::none())
      .def_static(
         "capsule",
         [](ZqReal radius, const Array& start, const Array& end)
         { return shapeOf(ZqCapsule(segmentOf(start, end), lengthOf(radius, "radius"))); },
         py::arg("radius"), py::arg("start"), py::arg("end"), "A line segment swept by a ball.")
      .def_static(
         "cylinder",
         [](ZqReal radius, const Array& start, const Array& end)
         { return shapeOf(ZqCylinder(segmentOf(start, end), lengthOf(radius, "radius"))); },
         py::arg("radius"), py::arg("start"), py::arg("end"), "By the middles of its flat ends.")
      .def_static(
         "cone",
         [](ZqReal radius, const Array& start, const Array& end, ZqReal endRadius)
         {
            if (endRadius != 0.0)
               lengthOf(endRadius, "end_radius");
            return shapeOf(ZqCone(segmentOf(start, end), lengthOf(radius, "radius"), endRadius));
         },
         py::arg("radius"), py::arg("start"), py::arg("end"), py::arg("end_radius") = 0.0,
         "A cone, or a frustum of one.")
      .def_static(
         "ellipsoid",
         [](const Array& semiAxes, const std::optional<Array>& frame)
         {
            const ZqVector axes = lengthsOf(semiAxes, "semi_axes");
            return shapeOf(ZqEllipsoid(axes.x(), axes.y(), axes.z(), frameOr(frame)));
         },
         py::arg("semi_axes"), py::arg("frame") = py::none())
      .def_static(
         "half_space",
         [](const Array& point, const Array& normal)
         {
            const ZqVector direction = vectorOf(normal, "normal");
            lengthOf(direction.mag(), "normal");
            return shapeOf(ZqHalfSpace(ZqPlane(vectorOf(point, "point"), direction.unitVector())));
         },
         py::arg("point"), py::arg("normal"), "All behind a plane.")
      .def_static("hull", &newHull, py::arg("points"), "The convex hull of points (m): n x 3.")
      .def_static("mesh", &newMesh, py::arg("vertices"), py::arg("triangles"),
                  "Triangles by their vertices (m, n x 3) and the three indices of each (m x 3), "
                  "counter-clockwise seen from outside.")
      .def_static("union", &newUnion, py::arg("members"), "A shape made of shapes.")
      .def_static("from_xml", &fromXml, py::arg("document"),
                  "A shape of any kind, from the text of `to_xml`.");
}
} // namespace

void zqPython::bindShape(py::module_& module)
{
   py::class_<AnyShape> shape(
      module, "Shape",
      "The shape of a body, as a value, in the frame of whoever holds it. Lengths are in m.");
   bindMakers(shape);
   shape
      .def(
         "to_xml", [](const AnyShape& self, bool defaults) { return documentOf(self, defaults); },
         py::arg("defaults") = true)
      .def_property_readonly(
         "kind",
         [](const AnyShape& self) { return std::string(elementOf(self).token().localName()); },
         "The name in documents: 'box', 'triangleMesh' and so on.")
      .def_property_readonly(
         "volume", [](const AnyShape& self) { return elementOf(self).volume(); },
         "In m^3; infinite for a half-space, of a union the sum over its members.")
      .def_property_readonly("bounds", &boundsOf, "The least and the greatest x y z: 2 x 3.")
      .def_property_readonly("members", &membersOf,
                             "The shapes of a union; of another shape that itself.")
      .def_property_readonly("vertices", &verticesOf, "Of a hull or a mesh: n x 3; otherwise None.")
      .def_property_readonly("triangles", &trianglesOf,
                             "Of a mesh, by index of vertices: m x 3; otherwise None.")
      .def_property_readonly("name",
                             [](const AnyShape& self) { return elementOf(self).identifier(); })
      .def_property_readonly(
         "surfaces", &surfacesOf,
         "Values (material, friction, color) by name, by the name of the surface: '0' is all.")
      .def("with_surfaces", &withSurfaces, py::arg("surfaces"), "A copy with other `surfaces`.")
      .def(
         "with_name",
         [](const AnyShape& self, const std::string& name)
         {
            AnyShape result = self;
            result.topElement()->setIdentifier(name);
            return result;
         },
         py::arg("name"), "A copy with another `name`.")
      .def(
         "transformed",
         [](const AnyShape& self, const Array& frame)
         {
            AnyShape result = self;
            result.transformBy(frameOf(frame, "frame"));
            return result;
         },
         py::arg("frame"), "A copy that is moved by a frame.")
      .def(
         "scaled",
         [](const AnyShape& self, ZqReal factor)
         {
            AnyShape result = self;
            result.scaleBy(lengthOf(factor, "factor"));
            return result;
         },
         py::arg("factor"), "A copy of another size, about the origin.")
      .def(
         "__eq__", [](const AnyShape& self, const AnyShape& other) { return self == other; },
         py::is_operator())
      .def("__repr__", [](const AnyShape& self)
           { return "<Shape " + std::string(elementOf(self).token().localName()) + ">"; })
      .def(py::pickle([](const AnyShape& self) { return documentOf(self); }, &fromXml));
}
