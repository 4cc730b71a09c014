#pragma once

#include "zqManipulator/tools/urdf/ZqConversionLoss.h"

class ZqStatedSystem;

/// Writes a manipulator of a scene as URDF, with what is attached to its links.
///
/// | in the scene                          | in URDF                                                         |
/// |---------------------------------------|-----------------------------------------------------------------|
/// | link                                  | link of its label; where a label is taken, with that of its     |
/// |                                       | manipulator before it                                           |
/// | joint                                 | joint `LABEL_joint`: continuous, revolute or prismatic, with its|
/// |                                       | origin at joint position 0                                      |
/// | primary frame                         | frame of the link, where the axis of the joint goes through its |
/// |                                       | origin; else the link stands on the axis, and the primary frame |
/// |                                       | is a link `LABEL_frame` that is fixed to it                      |
/// | named frame, named point              | a link without mass that is fixed to its link                   |
/// | place of the base                     | a fixed joint from a link `world`, unless it is the identity; a |
/// |                                       | floating one of a free base                                     |
/// | attached manipulator                  | its links, below the one that it is fixed to                    |
/// | masses                                | one `inertial`, about the center of mass in the link's axes     |
/// | shapes                                | a `visual` and a `collision` for each part                      |
/// | limits, greatest rate and torque      | `limit`; 1e300 where there is none                              |
/// | viscous and dry friction              | `dynamics`, both at the joint                                   |
/// | gear ratio                            | `transmission`                                                  |
/// | linear relation of two joints         | `mimic`                                                         |
///
/// Everything else is told as a loss. A joint that URDF does not have stands still where the state has it.
/// Numbers are written so that they read back the same.
class ZqUrdfWriter
{
public:
   /// Where triangles go: to binary STL files in a folder, which must exist, that the document names by the text
   /// before the name of the file, such as `meshes/` or `package://NAME/meshes/`. Without a folder, meshes, hulls and
   /// shapes that URDF does not have are losses. With one, round shapes that URDF does not have become triangles
   /// whose corners are on them.
   void setMeshFolder(const ZqString& folder, const ZqString& uri);

   /// Writes a file as `Zq::save` does, and files of triangles before it. False, with a message, for an index
   /// without a manipulator, for a number that is not finite, and when a file cannot be written.
   bool write(const ZqStatedSystem& scene, ZqU32 manipulator, const ZqString& fileName);
   /// The text of the document, which is empty when the answer is false; files of triangles are written.
   bool toText(const ZqStatedSystem& scene, ZqU32 manipulator, ZqString& text);

   /// Of the last document.
   const ZqConversionLosses& losses() const { return m_losses; }

private:
   ZqString m_meshFolder;
   ZqString m_meshUri;
   bool m_hasMeshFolder = false;
   ZqConversionLosses m_losses;
};
