#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqConvex.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqHull.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/tools/urdf/ZqUrdfPreimage.h"
#include "zqManipulator/tools/urdf/ZqUrdfRotations.h"
#include "zqManipulator/tools/urdf/ZqUrdfScribe.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace ZqUrdf
{
namespace
{
using Kind = ZqConversionLoss::Kind;

/// A length or an angle to 2^-48 of a scale: what a segment in another frame and back has lost is not told.
ZqReal rounded(ZqReal value, ZqReal scale, Unit unit)
{
   const ZqReal step = std::ldexp(1.0, std::ilogb(scale) - 48);
   return numberMeant(value, step, unit).value_or(std::round(value / step) * step);
}

ZqVector rounded(const ZqVector& v, ZqReal scale, Unit unit)
{
   return {rounded(v.x(), scale, unit), rounded(v.y(), scale, unit), rounded(v.z(), scale, unit)};
}
} // namespace

/// Stands in the middle of a segment, with an x axis that is level in the frame and z along the segment.
ShapeScribe::Geometry ShapeScribe::cylinder(ZqLineSegment segment, ZqReal radius,
                                            const Frame& frame)
{
   segment.transformBy(frame);
   const ZqVector along = segment.endpoint1() - segment.endpoint0();
   const ZqReal scale = std::max(sizeOf(segment.endpoint0()), sizeOf(segment.endpoint1())); // m
   const ZqReal length = rounded(along.mag(), scale, Unit::Length);
   const ZqVector z = length > 0.0 ? along.unitVector() : ZqVector(0.0, 0.0, 1.0);
   constexpr ZqReal vertical = 1e-12;
   const ZqReal inPlane = std::hypot(z.x(), z.z());
   // Pitch is known the less the less z lies in the plane that it turns in.
   const ZqReal roll = rounded(std::atan2(-z.y(), inPlane), 1.0, Unit::Angle);
   const ZqReal pitch =
      inPlane > vertical ? rounded(std::atan2(z.x(), z.z()), 1.0 / inPlane, Unit::Angle) : 0.0;
   return {rounded(segment.center(), scale, Unit::Length),
           {roll, pitch, 0.0},
           "cylinder",
           {{"radius", m_text.numbers(radius)}, {"length", m_text.numbers(length)}}};
}

namespace
{
void appendLittleEndian(ZqString& bytes, std::uint32_t value, int count)
{
   for (int i = 0; i < count; ++i)
      bytes += static_cast<char>(value >> 8 * i & 0xFFU);
}

void appendFloats(ZqString& bytes, const ZqVector& v)
{
   for (std::size_t i = 0; i < 3; ++i)
      appendLittleEndian(bytes, std::bit_cast<std::uint32_t>(static_cast<float>(v[i])), 4);
}

/// Unit vectors over the sphere, also along and across z.
std::vector<ZqVector> directions()
{
   constexpr int around = 48;
   std::vector<ZqVector> result{{0.0, 0.0, 1.0}, {0.0, 0.0, -1.0}};
   for (int i = 1; i < around / 2; ++i)
      for (int k = 0; k < around; ++k)
      {
         const auto polar = ZqMath::cosineSine(2.0 * ZqMath::pi * i / around);
         const auto turn = ZqMath::cosineSine(2.0 * ZqMath::pi * k / around);
         result.emplace_back(polar.sine * turn.cosine, polar.sine * turn.sine, polar.cosine);
      }
   return result;
}
} // namespace

void ShapeScribe::lose(Kind kind, const ZqString& element, const ZqString& text)
{
   m_losses.push_back({kind, m_place, element, text, 0});
}

bool ShapeScribe::write(const ZqString& place, const ZqString& name, const ZqShape& shape,
                        const Frame& frame)
{
   m_place = place;
   m_name = name;
   std::vector<const ZqShape*> members;
   ZqShapeUnion::collectMembers(shape, members);
   if (shape.numBoundingVolumes() > 0)
      lose(Kind::Lost, "boundingVolumes", "volumes around the shape");
   std::vector<Written> written;
   for (const ZqShape* member : members)
   {
      Written& one = written.emplace_back(Written{member, {}});
      if (!geometriesOf(*member, frame, one.geometries))
         return false;
      loseOfShape(*member);
   }
   for (const char* const element : {"visual", "collision"})
      for (const Written& one : written)
         writeElements(element, one);
   return true;
}

/// What URDF says of no shape.
void ShapeScribe::loseOfShape(const ZqShape& shape)
{
   if (shape.isContactForceFree())
      lose(Kind::Changed, "isContactForceFree", "contact with the shape makes a force");
   for (const auto& [name, values] : shape.surfaces().mapContainer())
   {
      const auto isKnown = [&](const ZqString& value)
      {
         return name == "0" && (value == "zqMaterialName" || value.starts_with("zqDiffuse") ||
                                value.starts_with("zqAmbient"));
      };
      for (const auto& [value, number] : values.reals())
         if (!isKnown(value))
            lose(Kind::Lost, "surfaces", '\'' + value + "' of the surface '" + name + '\'');
      for (const auto& [value, text] : values.strings())
         if (!isKnown(value))
            lose(Kind::Lost, "surfaces", '\'' + value + "' of the surface '" + name + '\'');
   }
}

/// False when a file cannot be written. A shape that has no place in URDF has no geometries.
bool ShapeScribe::geometriesOf(const ZqShape& shape, const Frame& frame,
                               std::vector<Geometry>& geometries)
{
   const auto add = [&](Geometry geometry) { geometries.push_back(std::move(geometry)); };
   const auto sphere = [&](const ZqVector& center, ZqReal radius) {
      add({frame * center, {}, "sphere", {{"radius", m_text.numbers(radius)}}});
   };
   switch (shape.shapeType())
   {
   case ZqShape::BoxShape:
   {
      const auto& box = static_cast<const ZqBox&>(shape);
      const auto X = frame * box.frame();
      add({X.translation(),
           anglesOf(X.orientation()),
           "box",
           {{"size", m_text.numbers(box.extents() * 2.0)}}});
      return true;
   }
   case ZqShape::SphereShape:
   {
      const auto& ball = static_cast<const ZqSphere&>(shape);
      sphere(ball.center(), std::max(0.0, ball.radius()));
      return true;
   }
   case ZqShape::CylinderShape:
   {
      const auto& turned = static_cast<const ZqCylinder&>(shape);
      add(cylinder(turned.lineSegment(), turned.radius(), frame));
      return true;
   }
   case ZqShape::CapsuleShape:
   {
      const auto& capsule = static_cast<const ZqCapsule&>(shape);
      add(cylinder(capsule.lineSegment(), capsule.radius(), frame));
      sphere(capsule.lineSegment().endpoint0(), capsule.radius());
      sphere(capsule.lineSegment().endpoint1(), capsule.radius());
      lose(Kind::Changed, "capsule", "a cylinder and two spheres");
      return true;
   }
   default:
      return addMesh(shape, frame, geometries);
   }
}

/// The triangles of a mesh, of a polytope, or of points on the surface of another convex shape.
bool ShapeScribe::addMesh(const ZqShape& shape, const Frame& frame,
                          std::vector<Geometry>& geometries)
{
   const ZqString element(shape.token().localName());
   const auto* const mesh = dynamic_cast<const ZqTriangleMesh*>(&shape);
   const ZqConvex* const convex = shape.convex();
   if (mesh == nullptr && (convex == nullptr || !convex->isBounded()))
   {
      lose(Kind::Lost, element, "URDF has no such shape");
      return true;
   }
   if (!m_folder)
   {
      lose(Kind::Lost, element,
           "the shape is one of triangles, which need a folder for their files");
      return true;
   }
   Triangles triangles;
   if (mesh != nullptr)
      for (ZqU32 i = 0; i < mesh->triangleCount(); ++i)
      {
         const auto& [a, b, c] = mesh->triangle(i);
         triangles.push_back({mesh->vertex(a), mesh->vertex(b), mesh->vertex(c)});
      }
   else
   {
      addSurface(*convex, triangles);
      const bool isPolytope = convex->core == ZqConvex::Core::Polytope && convex->radius == 0.0;
      lose(Kind::Changed, element,
           isPolytope ? "a mesh of the faces" : "a mesh with its corners on the curved surface");
   }
   const bool isSingle =
      std::all_of(triangles.begin(), triangles.end(),
                  [](const auto& triangle)
                  {
                     return std::all_of(triangle.begin(), triangle.end(),
                                        [](const ZqVector& v)
                                        {
                                           return v == ZqVector(static_cast<float>(v.x()),
                                                                static_cast<float>(v.y()),
                                                                static_cast<float>(v.z()));
                                        });
                  });
   if (mesh != nullptr && !isSingle)
      lose(Kind::Changed, element, "corners are rounded to single precision");
   return addTriangles(triangles, frame, geometries);
}

void ShapeScribe::addSurface(const ZqConvex& convex, Triangles& triangles)
{
   std::shared_ptr<const ZqHull> hull = convex.hull;
   ZqVector middle = zqConvex::vector(convex.frame.t);
   if (convex.core != ZqConvex::Core::Polytope || convex.radius > 0.0)
   {
      std::vector<zqConvex::Vec3> points;
      for (const ZqVector& d : directions())
      {
         const ZqVector turned = zqConvex::vector(convex.frame.R * zqConvex::vec3(d));
         points.push_back(zqConvex::vec3(convex.supportPoint(turned) - middle));
      }
      hull = ZqHull::of(points);
   }
   for (const ZqHull::Face& face : hull->faces)
      for (int i = 2; i < face.cornerCount; ++i)
      {
         const auto corner = [&](int k)
         {
            const auto at = static_cast<std::size_t>(face.firstCorner + k);
            return middle +
                   zqConvex::vector(hull->vertices[static_cast<std::size_t>(hull->corners[at])]);
         };
         triangles.push_back({corner(0), corner(i - 1), corner(i)});
      }
}

/// A binary STL file, of which all readers take the bytes alike.
bool ShapeScribe::addTriangles(const Triangles& triangles, const Frame& frame,
                               std::vector<Geometry>& geometries)
{
   ZqString bytes(80, '\0');
   appendLittleEndian(bytes, static_cast<std::uint32_t>(triangles.size()), 4);
   for (const auto& [a, b, c] : triangles)
   {
      appendFloats(bytes, (b - a).cross(c - a).unitVector());
      for (const ZqVector& v : {a, b, c})
         appendFloats(bytes, v);
      appendLittleEndian(bytes, 0, 2);
   }
   const ZqString name = freeFileName();
   if (!Zq::saveBytes(bytes, m_folder->folder + '/' + name))
      return false;
   geometries.push_back({frame.translation(),
                         anglesOf(frame.orientation()),
                         "mesh",
                         {{"filename", m_folder->uri + name}}});
   return true;
}

/// The name of the link, with the characters that all file systems take.
ZqString ShapeScribe::freeFileName()
{
   ZqString stem = m_name;
   for (char& c : stem)
   {
      const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '-' || c == '_';
      c = isPlain ? c : '_';
   }
   ZqString name = stem + ".stl";
   for (int i = 2; !m_fileNames.insert(name).second; ++i)
      name = stem + '-' + std::to_string(i) + ".stl";
   return name;
}

void ShapeScribe::writeElements(const char* element, const Written& written)
{
   for (const Geometry& geometry : written.geometries)
   {
      if (written.shape->identifier().empty())
         m_text.open(element);
      else
         m_text.open(element, {{"name", written.shape->identifier()}});
      m_text.origin(geometry.xyz, geometry.rpy);
      m_text.open("geometry");
      m_text.leaf(geometry.element, geometry.attributes);
      m_text.close();
      if (element[0] == 'v')
         writeMaterial(*written.shape);
      m_text.close();
   }
}

/// The name and the color that viewers take from a surface.
void ShapeScribe::writeMaterial(const ZqShape& shape)
{
   const ZqDataMap* surface = nullptr;
   if (!shape.surfaceData("0", surface))
      return;
   ZqString name;
   surface->lookup("zqMaterialName", name);
   ZqString color;
   for (const char* const part : {"Red", "Green", "Blue", "Alpha"})
   {
      ZqReal value = 1.0;
      const bool isThere = surface->lookup(ZqString("zqDiffuse") + part, value);
      if (!isThere && *part != 'A')
         color.clear();
      if (isThere || (*part == 'A' && !color.empty()))
         color.append(color.empty() ? "" : " ").append(m_text.numbers(value));
   }
   if (!color.empty())
   {
      m_text.open("material", {{"name", name}});
      m_text.leaf("color", {{"rgba", color}});
      m_text.close();
   }
   else if (!name.empty())
      lose(Kind::Lost, "surfaces",
           "the material '" + name + "', of which the surface does not say the color");
}
} // namespace ZqUrdf
