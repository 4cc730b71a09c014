// Feeds documents of stated systems to the library. Whatever can be read, with its repairs, must be
// consistent: queries answer, changes leave it consistent, and it reads back as it is written.

#include "fuzzBytes.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <cstdint>
#include <sstream>

using zqFuzz::require;

namespace
{
/// Asks for all that can be asked for.
void query(const ZqStatedSystem& scene)
{
   require(scene.system().isCompatible(scene.state()));
   ZqSystemActiveState active;
   active.setNonredundantState(scene.state());
   const auto& manipulators = scene.system().manipulators();
   for (ZqU32 i = 0; i < manipulators.size(); ++i)
   {
      const ZqIndividualManipulator& manipulator = manipulators[i];
      auto& position = active.manipulatorActiveStateVector()[i].activePositionState();
      manipulator.primaryFrameInSystem(position);
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      {
         link->primaryFrameInSystem(position);
         const ZqStatedSystemStruct place(&scene, i);
         require(link->massPropertiesInDHFrame(&place).mass() >= 1e-9);
         manipulator.canCollide(link->linkIndex(), ZqBaseLinkIndex);
         scene.canCollide(i, link->linkIndex(), manipulators.size() - 1 - i, ZqBaseLinkIndex, true);
      }
      require(scene.manipulatorByIdentifier(manipulator.manipulatorLabel()) == &manipulator);
   }
   std::vector<ZqU32> indices;
   std::vector<ZqCoordinateSystemTransformation> positions;
   for (ZqU32 i = 0; i <= manipulators.size(); ++i)
      scene.configuration().attachmentMap().calculateBaseLocations(
         i, manipulators, active.manipulatorActiveStateVector(), indices, positions);
   scene.absoluteBoundingSphere();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
   std::istringstream stream(std::string(reinterpret_cast<const char*>(data), size));
   ZqXmlReader reader(stream, "input");
   ZqStatedSystem scene;
   const bool succeeded = Zq::read(scene, reader);
   query(scene);
   if (!succeeded)
      return 0;

   ZqString document;
   if (Zq::toXml(scene, document)) // A number that is not finite cannot be written.
   {
      ZqStatedSystem back;
      ZqString again;
      require(Zq::fromXml(back, document));
      require(Zq::toXml(back, again));
      require(again == document);
   }

   ZqStatedSystem changed(scene);
   changed.mergeWith(scene);
   query(changed);
   changed.findAndConvertToReferences();
   query(changed);
   while (changed.numberOfManipulators() > 0 &&
          changed.deleteManipulator(changed.numberOfManipulators() / 2))
      query(changed);
   query(scene);
   return 0;
}
