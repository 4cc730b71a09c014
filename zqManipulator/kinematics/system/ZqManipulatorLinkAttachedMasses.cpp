#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"

#include <array>
#include <vector>

/// In most scenes nothing is.
bool ZqManipulatorLink::hasAttachments(const ZqStatedSystemStruct* stateStruct)
{
   const ZqStatedSystem* scene = stateStruct != nullptr ? stateStruct->statedSystemPtr() : nullptr;
   return scene != nullptr && scene->configuration().attachmentMap().baseNodes().size() != 0;
}

const ZqRigidBodyMassProperties&
ZqManipulatorLink::massProperties(const ZqStatedSystemStruct* stateStruct) const
{
   return hasAttachments(stateStruct) ? withAttachments(m_massProperties, stateStruct, nullptr)
                                      : m_massProperties;
}

const ZqRigidBodyMassProperties&
ZqManipulatorLink::massPropertiesInDHFrame(const ZqStatedSystemStruct* stateStruct) const
{
   return hasAttachments(stateStruct)
             ? withAttachments(m_massPropertiesInDHFrame, stateStruct, &primaryFrame())
             : m_massPropertiesInDHFrame;
}

/// The masses with those of what is attached to the link, in a scene that has attachments. They stand in
/// the primary frame: in the frame `outer`, unless that is null. The sum lasts while this thread asks for a
/// few others.
const ZqRigidBodyMassProperties&
ZqManipulatorLink::withAttachments(const ZqRigidBodyMassProperties& own,
                                   const ZqStatedSystemStruct* stateStruct,
                                   const ZqCoordinateSystemTransformation* outer) const
{
   const ZqStatedSystem* const scene = stateStruct->statedSystemPtr();
   // Kept between calls for their memory, since every step comes here.
   thread_local std::vector<ZqU32> indices;
   thread_local std::vector<ZqCoordinateSystemTransformation> offsets;
   if (!scene->configuration().attachmentMap().getDependentManipulatorsAndOffsets(
          stateStruct->manipulatorIndex(), linkLabel(), indices, offsets))
      return own;
   thread_local std::array<ZqRigidBodyMassProperties, 8> sums;
   thread_local std::size_t next = 0;
   ZqRigidBodyMassProperties& sum = sums[next++ % sums.size()];
   sum = own;
   for (std::size_t i = 0; i < indices.size(); ++i)
      if (const ZqIndividualManipulator* attached = scene->manipulatorByIndex(indices[i]))
      {
         ZqRigidBodyMassProperties properties = attached->massProperties();
         properties.transformBy(offsets[i]);
         if (outer != nullptr)
            properties.transformBy(*outer);
         sum += properties;
      }
   return sum;
}
