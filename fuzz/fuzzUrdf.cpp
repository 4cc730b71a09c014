// Feeds documents in URDF to the library. What is read can be computed, written and read back; a scene in which
// something is refused stays as it is.

#include "fuzzBytes.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"
#include "zqManipulator/tools/checks/ZqModelCheck.h"
#include "zqManipulator/tools/urdf/ZqUrdfReader.h"

#include <cstdint>

using zqFuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
   const std::string_view text(reinterpret_cast<const char*>(data), size);
   ZqUrdfReader reader;
   reader.setPackage("p", "/p");
   reader.setMeshReader(
      [](const ZqString& name) -> std::optional<ZqTriangleMesh>
      {
         if (name.size() % 2 == 0)
            return std::nullopt;
         return ZqTriangleMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
      });
   ZqStatedSystem scene;
   if (!reader.readText(scene, text, "input.urdf"))
   {
      require(scene == ZqStatedSystem());
      return 0;
   }
   require(scene.numberOfManipulators() == 1);
   require(scene.system().isCompatible(scene.state()));
   const ZqIndividualManipulator& robot = *scene.manipulatorByIndex(0);
   ZqSystemActiveState active;
   active.setNonredundantState(scene.state());
   for (const ZqManipulatorLink* link : robot.linkPointerVector())
      link->primaryFrameInSystem(active.manipulatorActiveStateVector()[0].activePositionState());
   ZqMassMatrixTool tool;
   tool.setManipulator(&robot);
   tool.massMatrix(active.manipulatorActiveStateVector()[0], nullptr);
   Zq::checkModel(scene);
   ZqString document;
   if (Zq::toXml(scene, document)) // a number that is not finite cannot be written
   {
      ZqStatedSystem back;
      ZqString again;
      // Products of large numbers may have no finite reach.
      if (Zq::fromXml(back, document))
         require(Zq::toXml(back, again) && again == document);
   }
   return 0;
}
