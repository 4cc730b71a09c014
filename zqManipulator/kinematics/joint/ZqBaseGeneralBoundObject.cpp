#include "zqManipulator/kinematics/joint/ZqBaseGeneralBoundObject.h"

ZqBaseGeneralBoundObject::ZqBaseGeneralBoundObject(const ZqBaseGeneralBoundObject& other)
   : ZqXmlAbstractClass(other), m_locationInSystem(other.m_locationInSystem),
     m_shapeContainer(other.m_shapeContainer), m_primaryFrame(other.m_primaryFrame)
{
}

// The manipulator stays.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
ZqBaseGeneralBoundObject& ZqBaseGeneralBoundObject::operator=(const ZqBaseGeneralBoundObject& other)
{
   ZqXmlAbstractClass::operator=(other);
   m_locationInSystem = other.m_locationInSystem;
   m_shapeContainer = other.m_shapeContainer;
   m_primaryFrame = other.m_primaryFrame;
   return *this;
}

bool ZqBaseGeneralBoundObject::operator==(const ZqBaseGeneralBoundObject& other) const
{
   return m_shapeContainer == other.m_shapeContainer && m_primaryFrame == other.m_primaryFrame;
}

void ZqBaseGeneralBoundObject::scaleBy(ZqReal scale)
{
   m_shapeContainer.scaleBy(scale);
   m_primaryFrame.scaleTranslationBy(scale);
}
