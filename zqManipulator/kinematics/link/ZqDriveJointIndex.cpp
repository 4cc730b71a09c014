#include "zqManipulator/actuation/ZqBasePowerConverter.h"
#include "zqManipulator/actuation/ZqDriveTrain.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

// Drives hold a pointer to a class that their room does not know. The two functions that look into the
// link, for the index of its joint, stand here.

ZqU32 ZqBasePowerConverter::jointIndex() const
{
   return m_manipulatorLink != nullptr ? m_manipulatorLink->linkIndex() : ZqNoLinkIndex;
}

ZqU32 ZqDriveTrain::jointIndex() const
{
   return m_manipulatorLink != nullptr ? m_manipulatorLink->ZqManipulatorLink::linkIndex()
                                       : ZqNoLinkIndex;
}
