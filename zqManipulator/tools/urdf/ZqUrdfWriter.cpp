#include "zqManipulator/tools/urdf/ZqUrdfWriter.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/tools/urdf/ZqUrdfScribe.h"

void ZqUrdfWriter::setMeshFolder(const ZqString& folder, const ZqString& uri)
{
   m_meshFolder = folder;
   m_meshUri = uri;
   m_hasMeshFolder = true;
}

bool ZqUrdfWriter::write(const ZqStatedSystem& scene, ZqU32 manipulator, const ZqString& fileName)
{
   ZqString text;
   return toText(scene, manipulator, text) && Zq::saveBytes(text, fileName);
}

bool ZqUrdfWriter::toText(const ZqStatedSystem& scene, ZqU32 manipulator, ZqString& text)
{
   text.clear();
   m_losses.clear();
   if (manipulator >= scene.numberOfManipulators())
   {
      Zq::Print::instance().report({Zq::Severity::Error,
                                    "not-saved",
                                    {},
                                    0,
                                    "ZqUrdfWriter",
                                    "there is no manipulator " + std::to_string(manipulator)});
      return false;
   }
   std::optional<ZqUrdf::MeshFolder> folder;
   if (m_hasMeshFolder)
      folder = ZqUrdf::MeshFolder{m_meshFolder, m_meshUri};
   ZqUrdf::Scribe scribe(scene, folder, m_losses);
   if (!scribe.write(manipulator))
      return false;
   text = scribe.document();
   return true;
}
