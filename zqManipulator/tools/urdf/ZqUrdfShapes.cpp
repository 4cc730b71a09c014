#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/tools/urdf/ZqUrdfBuilder.h"

#include <algorithm>
#include <filesystem>

namespace ZqUrdf
{
namespace
{
/// The values of the surface of a shape, as viewers know them.
ZqShape::Surfaces surfacesOf(const Material& material)
{
   ZqDataMap values;
   if (!material.name.empty())
      values.add("zqMaterialName", material.name);
   if (material.color)
   {
      constexpr std::array parts{"Red", "Green", "Blue", "Alpha"};
      for (const char* const light : {"zqAmbient", "zqDiffuse"})
         for (std::size_t i = 0; i < parts.size(); ++i)
            values.add(ZqString(light) + parts[i], (*material.color)[i]);
   }
   ZqShape::Surfaces surfaces;
   surfaces.add("0", values);
   return surfaces;
}

ZqLineSegment alongZ(ZqReal length)
{
   return {ZqVector(0.0, 0.0, -0.5 * length), ZqVector(0.0, 0.0, 0.5 * length)};
}
} // namespace

void ShapeMaker::lose(const ZqString& element, const ZqString& text, unsigned long line)
{
   m_losses.push_back({ZqConversionLoss::Kind::Lost, m_place, element, text, line});
}

void ShapeMaker::addShapes(const Link& link, const ZqCoordinateSystemTransformation& place,
                           ZqShapeUnion& shapes)
{
   m_place = "link " + quoted(link.name);
   if (link.collisions.empty())
   {
      for (const Shape& shape : link.visuals)
         addShape(shape, &shape, place, shapes);
      return;
   }
   std::vector<bool> isShown(link.visuals.size());
   for (const Shape& shape : link.collisions)
      addShape(shape, visualOf(shape, link, isShown), place, shapes);
   const auto hidden = std::find(isShown.begin(), isShown.end(), false);
   if (hidden != isShown.end())
      lose("visual",
           "shapes that differ from those for collision, which are the shape of the link: " +
              std::to_string(std::count(isShown.begin(), isShown.end(), false)),
           link.visuals[static_cast<std::size_t>(hidden - isShown.begin())].line);
}

/// The visual shape that is the same as one for collision, and was not found for another one.
const Shape* ShapeMaker::visualOf(const Shape& collision, const Link& link,
                                  std::vector<bool>& isShown) const
{
   for (std::size_t i = 0; i < isShown.size(); ++i)
      if (!isShown[i] && link.visuals[i].geometry == collision.geometry &&
          link.visuals[i].origin == collision.origin)
      {
         isShown[i] = true;
         return &link.visuals[i];
      }
   return nullptr;
}

/// That of a shape, or the robot's of that name where the shape has no more than the name.
const Material* ShapeMaker::materialOf(const Shape& shape)
{
   if (!shape.material || shape.material->color)
      return shape.material ? &*shape.material : nullptr;
   const auto found = m_robot.materials.find(shape.material->name);
   if (found != m_robot.materials.end())
      return &found->second;
   return &*shape.material;
}

void ShapeMaker::addShape(const Shape& shape, const Shape* visual,
                          const ZqCoordinateSystemTransformation& place, ZqShapeUnion& shapes)
{
   using Kind = Geometry::Kind;
   const ZqVector& size = shape.geometry.size;
   const auto add = [&](auto made) { addPlaced(made, shape, visual, place, shapes); };
   switch (shape.geometry.kind)
   {
   case Kind::Box:
      add(ZqBox({}, size * 0.5));
      break;
   case Kind::Cylinder:
      add(ZqCylinder(alongZ(size.y()), size.x()));
      break;
   case Kind::Capsule:
      add(ZqCapsule(alongZ(size.y()), size.x()));
      break;
   case Kind::Sphere:
      add(ZqSphere({}, size.x()));
      break;
   case Kind::Mesh:
      if (ZqTriangleMesh mesh; makeMesh(shape, mesh))
         add(std::move(mesh));
   }
}

void ShapeMaker::addPlaced(ZqShape& made, const Shape& shape, const Shape* visual,
                           const ZqCoordinateSystemTransformation& place, ZqShapeUnion& shapes)
{
   made.transformBy(place * shape.origin);
   made.setIdentifier(shape.name);
   if (const Material* material = visual != nullptr ? materialOf(*visual) : nullptr)
      made.setSurfaces(surfacesOf(*material));
   shapes.addShapeToUnion(made);
}

/// The triangles of a mesh at its scale. A negative scale turns a surface inside out, and is made good.
bool ShapeMaker::makeMesh(const Shape& shape, ZqTriangleMesh& mesh)
{
   const std::optional<ZqTriangleMesh>& found = meshOf(shape);
   if (!found)
      return false;
   const ZqVector& scale = shape.geometry.size;
   if (scale == ZqVector(1.0, 1.0, 1.0))
   {
      mesh = *found;
      return true;
   }
   std::vector<ZqVector> vertices(found->vertexCount());
   for (ZqU32 i = 0; i < vertices.size(); ++i)
   {
      const ZqVector& v = found->vertex(i);
      vertices[i] = {v.x() * scale.x(), v.y() * scale.y(), v.z() * scale.z()};
   }
   std::vector<ZqTriangleMesh::Triangle> triangles(found->triangleCount());
   for (ZqU32 i = 0; i < triangles.size(); ++i)
   {
      triangles[i] = found->triangle(i);
      if (scale.x() * scale.y() * scale.z() < 0.0)
         std::swap(triangles[i][1], triangles[i][2]);
   }
   mesh.setTriangles(std::move(vertices), triangles);
   return true;
}

/// Each file is read once. One that cannot be is told for each shape.
const std::optional<ZqTriangleMesh>& ShapeMaker::meshOf(const Shape& shape)
{
   const auto [entry, isNew] = m_meshes.try_emplace(shape.geometry.fileName);
   std::optional<ZqTriangleMesh>& mesh = entry->second;
   const auto tell = [&](const ZqString& why)
   { lose("mesh", shape.geometry.fileName + ": " + why, shape.line); };
   if (!m_meshReader)
      tell("the mesh is left out, since nobody reads meshes");
   else if (!isNew && !mesh)
      tell("the mesh is left out, as before");
   else if (isNew)
      if (const std::optional<ZqString> fileName = locate(shape))
      {
         const Zq::DiagnosticCollector collector;
         mesh = m_meshReader(*fileName);
         if (!mesh && collector.diagnostics().empty())
            tell("the mesh cannot be read");
         else if (!mesh)
            lose("mesh", collector.diagnostics().front().text, shape.line);
      }
   return mesh;
}

/// Where the file of a mesh is, without a look at whether it is there.
std::optional<ZqString> ShapeMaker::locate(const Shape& shape)
{
   const ZqString& name = shape.geometry.fileName;
   if (name.empty())
   {
      lose("mesh", "the mesh names no file", shape.line);
      return std::nullopt;
   }
   const std::size_t sign = name.find("://");
   if (sign == ZqString::npos)
      return (std::filesystem::path(m_documentName).parent_path() / name).string();
   const ZqString scheme = name.substr(0, sign);
   const ZqString rest = name.substr(sign + 3);
   constexpr std::string_view thisHost = "localhost/";
   if (scheme == "file")
      return rest.starts_with(thisHost) ? rest.substr(thisHost.size() - 1) : rest;
   if (scheme == "package" || scheme == "model")
   {
      const std::size_t slash = std::min(rest.find('/'), rest.size());
      const ZqString package = rest.substr(0, slash);
      if (const auto directory = packageDirectory(package))
         return *directory + rest.substr(slash);
      lose("mesh", name + ": nobody said where the package " + quoted(package) + " is", shape.line);
      return std::nullopt;
   }
   lose("mesh", name + ": only files can be read", shape.line);
   return std::nullopt;
}

std::optional<ZqString> ShapeMaker::packageDirectory(const ZqString& name) const
{
   namespace fs = std::filesystem;
   if (const auto found = m_packages.find(name); found != m_packages.end())
      return found->second;
   if (name.empty() || name == "." || name == "..")
      return std::nullopt;
   std::error_code error;
   const fs::path document = fs::absolute(m_documentName, error).lexically_normal();
   for (fs::path place = document.parent_path(); !error; place = place.parent_path())
   {
      if (place.filename() == name)
         return place.string();
      if (fs::is_directory(place / name, error))
         return (place / name).string();
      error.clear();
      if (place == place.parent_path())
         break;
   }
   return std::nullopt;
}
} // namespace ZqUrdf
