#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqSpringAndDamperBetweenLinks, ZqBaseLinkInteractions>;

namespace
{
/// False when the link is gone. One that there never was stays so.
bool followLink(ZqU32& manipulator, int& link, ZqCoordinateSystemTransformation& frame,
                const ZqModelEdit& edit)
{
   if (static_cast<ZqU32>(link) == ZqNoLinkIndex)
      return true;
   const ZqManipulatorLinkIndex oldPlace{manipulator, static_cast<ZqU32>(link)};
   const auto place = edit.place(oldPlace);
   if (!place)
      return false;
   frame = edit.restatement(oldPlace).T * frame;
   manipulator = place->manipulatorIndex;
   link = static_cast<int>(place->linkIndex);
   return true;
}
} // namespace

bool ZqSpringAndDamperBetweenLinks::apply(const ZqModelEdit& edit)
{
   return followLink(m_manipulatorOneIndex, m_linkOneIndex, m_frameOffsetOne, edit) &&
          followLink(m_manipulatorTwoIndex, m_linkTwoIndex, m_frameOffsetTwo, edit);
}

void ZqSpringAndDamperBetweenLinks::setLinearSpringConstant(ZqReal constant)
{
   take(m_linearSpringConstant, constant,
        "ZqSpringAndDamperBetweenLinks::setLinearSpringConstant()");
}

void ZqSpringAndDamperBetweenLinks::setLinearSpringOffset(ZqReal offset)
{
   take(m_linearSpringOffset, offset, "ZqSpringAndDamperBetweenLinks::setLinearSpringOffset()");
}

void ZqSpringAndDamperBetweenLinks::setAngularSpringConstant(ZqReal constant)
{
   take(m_angularSpringConstant, constant,
        "ZqSpringAndDamperBetweenLinks::setAngularSpringConstant()");
}

void ZqSpringAndDamperBetweenLinks::setAngularSpringOffset(ZqReal offset)
{
   take(m_angularSpringOffset, offset, "ZqSpringAndDamperBetweenLinks::setAngularSpringOffset()");
}

void ZqSpringAndDamperBetweenLinks::setLinearDamperConstant(ZqReal constant)
{
   take(m_linearDamperConstant, constant,
        "ZqSpringAndDamperBetweenLinks::setLinearDamperConstant()");
}

void ZqSpringAndDamperBetweenLinks::setAngularDamperConstant(ZqReal constant)
{
   take(m_angularDamperConstant, constant,
        "ZqSpringAndDamperBetweenLinks::setAngularDamperConstant()");
}

void ZqSpringAndDamperBetweenLinks::setFrameOffsetOne(const ZqCoordinateSystemTransformation& frame)
{
   take(m_frameOffsetOne, frame, "ZqSpringAndDamperBetweenLinks::setFrameOffsetOne()");
}

void ZqSpringAndDamperBetweenLinks::setFrameOffsetTwo(const ZqCoordinateSystemTransformation& frame)
{
   take(m_frameOffsetTwo, frame, "ZqSpringAndDamperBetweenLinks::setFrameOffsetTwo()");
}
