#include "zqManipulator/kinematics/system/ZqManipulatorSystemConfiguration.h"

#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"

template class ZqXmlClass<ZqManipulatorSystemConfiguration>;

void ZqManipulatorSystemConfiguration::shiftManipulatorIndices(ZqU32 shift)
{
   m_attachmentMap.shiftManipulatorIndices(shift);
   m_collisionExclusionMap.shiftManipulatorIndices(shift);
   m_collisionExclusionMapForCA.shiftManipulatorIndices(shift);
}

bool ZqManipulatorSystemConfiguration::mergeWith(const ZqManipulatorSystemConfiguration& other)
{
   return m_attachmentMap.mergeWith(other.m_attachmentMap) &&
          m_collisionExclusionMap.mergeWith(other.m_collisionExclusionMap) &&
          m_collisionExclusionMapForCA.mergeWith(other.m_collisionExclusionMapForCA);
}

void ZqManipulatorSystemConfiguration::setCollisionExclusionMap(
   const ZqSystemCollisionExclusionMap& map)
{
   m_collisionExclusionMap = map;
   if (const ZqManipulatorSystem* system = m_manipulatorSystem.get())
      m_collisionExclusionMap.buildMapFromSystem(*system);
}

void ZqManipulatorSystemConfiguration::setCollisionExclusionMapForCA(
   const ZqSystemCollisionExclusionMap& map)
{
   m_collisionExclusionMapForCA = map;
   if (const ZqManipulatorSystem* system = m_manipulatorSystem.get())
      m_collisionExclusionMapForCA.buildMapFromSystem(*system);
}

void ZqManipulatorSystemConfiguration::setManipulatorSystem(const ZqManipulatorSystem* system)
{
   m_manipulatorSystem.get() = system;
   if (system == nullptr)
      return;
   m_collisionExclusionMap.buildMapFromSystem(*system);
   m_collisionExclusionMapForCA.buildMapFromSystem(*system);
}

void ZqManipulatorSystemConfiguration::deleteManipulatorAndShift(ZqU32 index)
{
   m_collisionExclusionMap.deleteManipulatorAndShift(index);
   m_collisionExclusionMapForCA.deleteManipulatorAndShift(index);
   m_attachmentMap.deleteManipulatorAndShift(index);
}

void ZqManipulatorSystemConfiguration::apply(const ZqModelEdit& edit)
{
   m_collisionExclusionMap.apply(edit);
   m_collisionExclusionMapForCA.apply(edit);
   m_attachmentMap.apply(edit);
}
