#pragma once

#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/tools/urdf/ZqConversionLoss.h"

#include <array>
#include <limits>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

/// What a document in URDF says, before it is checked as a whole.
namespace ZqUrdf
{
struct Geometry
{
   enum class Kind
   {
      Box,      ///< edges
      Cylinder, ///< radius, length along z
      Capsule,  ///< the same, without the half balls
      Sphere,   ///< radius
      Mesh      ///< scale
   };

   Kind kind = Kind::Box;
   ZqVector size;
   ZqString fileName;

   bool operator==(const Geometry&) const = default;
};

using Color = std::array<ZqReal, 4>; // red, green, blue, alpha

struct Material
{
   ZqString name;
   std::optional<Color> color;
};

struct Shape
{
   ZqString name;
   ZqCoordinateSystemTransformation origin;
   Geometry geometry;
   std::optional<Material> material;
   unsigned long line = 0;
};

struct Link
{
   ZqString name;
   unsigned long line = 0;
   unsigned long massLine = 0;
   ZqRigidBodyMassProperties body; ///< about the origin of the link; zero without an inertial
   std::vector<Shape> visuals;
   std::vector<Shape> collisions;
};

struct Limit
{
   ZqReal lower = 0.0;
   ZqReal upper = 0.0;
   ZqReal effort = 1e300;
   ZqReal velocity = 1e300;
};

struct Mimic
{
   ZqString joint;
   ZqReal multiplier = 1.0;
   ZqReal offset = 0.0;
   unsigned long line = 0;
};

struct Joint
{
   enum class Type
   {
      Revolute,
      Continuous,
      Prismatic,
      Fixed,
      Floating,
      Planar
   };
   bool hasOneFreedom() const { return type <= Type::Prismatic; }

   ZqString name;
   unsigned long line = 0;
   Type type = Type::Fixed;
   ZqString parent;
   ZqString child;
   ZqCoordinateSystemTransformation origin;
   ZqVector axis{1.0, 0.0, 0.0}; ///< of unit length
   Limit limit;
   ZqReal damping = 0.0;
   ZqReal friction = 0.0;
   ZqReal reduction = 1.0;
   std::optional<Mimic> mimic;
};

struct Transmission
{
   ZqString name;
   ZqString motor; ///< the name of its actuator
   ZqReal reduction = 1.0;
   ZqString lost; ///< what else it says, by element
   unsigned long line = 0;

   void lose(std::string_view element)
   {
      if (lost.find(element) == lost.npos)
         lost.append(lost.empty() ? "" : ", ").append(element);
   }
};

/// What the writer says of each transmission, as readers of transmissions ask for it; the reader tells no loss of it.
namespace usualTransmission
{
constexpr const char* type = "transmission_interface/SimpleTransmission";
constexpr const char* interface = "hardware_interface/EffortJointInterface";
inline ZqString name(const ZqString& link)
{
   return link + "_transmission";
}
inline ZqString motor(const ZqString& link)
{
   return link + "_motor";
}
} // namespace usualTransmission

struct Robot
{
   ZqString name;
   std::vector<Link> links;
   std::vector<Joint> joints;
   std::map<ZqString, Material> materials;
   std::map<ZqString, Transmission> transmissions; ///< by joint
};

constexpr ZqU32 none = std::numeric_limits<ZqU32>::max();

/// The tree of a robot, by the numbers of its links and joints.
struct Tree
{
   ZqU32 root = none;
   std::vector<ZqU32> jointAbove; ///< by link; none above the root
   std::vector<std::vector<ZqU32>>
      children;               ///< by link: the joints below it, in the document's order
   std::vector<ZqU32> leader; ///< by joint: that which it mimics in the end, or none
};

/// Something amiss with a robot as a whole.
struct Fault
{
   ZqString place;
   ZqString text;
   unsigned long line = 0;
};

inline ZqString quoted(const ZqString& name)
{
   return '\'' + name + '\'';
}

/// Finds the tree. Joints that mimic one that mimics another one are told by the last of the row. A fault when
/// the links are no tree, or the joints do not fit together.
std::optional<Fault> findTree(Robot& robot, Tree& tree);
} // namespace ZqUrdf
