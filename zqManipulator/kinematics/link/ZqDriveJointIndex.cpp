#include "zqManipulator/actuation/ZqBasePowerConverter.h"
#include "zqManipulator/actuation/ZqDriveTrain.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

// Drives hold a link without knowing it: which joint is theirs is told here.

ZqU32 ZqBasePowerConverter::jointIndex() const
{
   return m_manipulatorLink != nullptr ? m_manipulatorLink->linkIndex() : ZqNoLinkIndex;
}

ZqU32 ZqDriveTrain::jointIndex() const
{
   return m_manipulatorLink != nullptr ? m_manipulatorLink->ZqManipulatorLink::linkIndex()
                                       : ZqNoLinkIndex;
}
