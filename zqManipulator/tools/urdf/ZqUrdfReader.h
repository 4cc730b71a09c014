#pragma once

#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/tools/urdf/ZqConversionLoss.h"

#include <functional>
#include <map>
#include <optional>
#include <string_view>

class ZqStatedSystem;
class ZqXmlReader;

/// Reads robots in the Unified Robot Description Format.
///
///     ZqUrdfReader reader;
///     reader.setPackage("my_robot", "/home/me/my_robot");
///     ZqStatedSystem scene;
///     if (reader.read(scene, "robot.urdf"))
///        for (const ZqConversionLoss& loss : reader.losses())
///           ...
///
/// The scene becomes that of one manipulator with the name of the robot, whose links have the names of those of
/// the robot. The primary frame of each is the frame of the link in URDF, at every joint position. Joints that
/// are fixed are no joints here: what is on the child goes to the parent, and the child's frame becomes a named
/// frame of it. Each joint of URDF leaves its name as a named frame as well, where the frame of its child is. A
/// planar joint is two slides and a turn, and a floating one three slides and three turns, with light links
/// between; but a floating joint on a root without mass makes a free base of its child. `docs/urdf.md` tells
/// what becomes of each element.
///
/// Joints start at zero, or at the limit that is next to it, and joints that mimic others as these ask for. Gravity
/// is `gravity`.
///
/// A document is refused, with a diagnostic of file, line and element, when something of it is missing, is no
/// number or contradicts the rest. What has no place here is left out and told by `losses`; nothing is left out
/// otherwise. Numbers do not depend on the locale.
class ZqUrdfReader
{
public:
   /// Moving links in a row, from the base to a tip: as many as documents of models can hold.
   static constexpr ZqU32 deepestChain = 2000;
   /// Of which URDF says nothing: against z (m/s^2).
   static constexpr ZqReal gravity = 9.80665;

   /// Answers the triangles of a file, unscaled, in metres and in the file's own axes. The name is the one in the
   /// document, without package, and relative names are made to start where the document stands. None, with a
   /// message, when the file cannot be read.
   using MeshReader = std::function<std::optional<ZqTriangleMesh>(const ZqString& fileName)>;

   /// Where a package is: the directory that stands for `package://NAME`. A package that is not set is looked
   /// for above the document: a directory of its name, or one that has a directory of its name.
   void setPackage(const ZqString& name, const ZqString& directory)
   {
      m_packages[name] = directory;
   }
   /// Who reads meshes; without one they are losses.
   void setMeshReader(MeshReader reader) { m_meshReader = std::move(reader); }
   /// Whether the base is free also without a floating joint: URDF does not say. Otherwise it is fixed.
   void setHasFreeBase(bool isFree) { m_hasFreeBase = isFree; }

   /// Reads a file. False, with a message and no change of the scene, when it is refused.
   bool read(ZqStatedSystem& scene, const ZqString& fileName);
   /// The same of a text. The name stands in messages, and is where relative names start.
   bool readText(ZqStatedSystem& scene, std::string_view text, const ZqString& name);

   /// What the last reading that succeeded could not carry over.
   const ZqConversionLosses& losses() const { return m_losses; }

   /// Whether the root element of a file, or a text, is that of a robot in URDF. False also for what cannot be
   /// read.
   /// @{
   static bool recognizes(const ZqString& fileName);
   static bool recognizesText(std::string_view text);
   /// @}

private:
   bool read(ZqStatedSystem& scene, ZqXmlReader& reader);

   std::map<ZqString, ZqString> m_packages;
   MeshReader m_meshReader;
   bool m_hasFreeBase = false;
   ZqConversionLosses m_losses;
};
