#include "zqManipulator/tools/variation/ZqSystemRandomVariation.h"

template class ZqXmlMapType<ZqString, ZqLinkPropertyRandomVariation>;
template class ZqXmlVectorType<ZqXmlMapType<ZqString, ZqLinkPropertyRandomVariation>>;
template class ZqXmlClass<ZqSystemRandomVariation>;

ZqSystemRandomVariation ZqSystemRandomVariation::defaultObject()
{
   ZqSystemRandomVariation result;
   result.m_defaultLinkPropertyRandomVariation = ZqLinkPropertyRandomVariation::defaultObject();
   return result;
}

void ZqSystemRandomVariation::addLinkPropertyRandomVariation(
   ZqU32 manipulator, const ZqString& linkLabel, const ZqLinkPropertyRandomVariation& variation)
{
   if (manipulator < m_manipulatorRandomVariationVector.size())
      m_manipulatorRandomVariationVector[manipulator].add(linkLabel, variation);
}

bool ZqSystemRandomVariation::removeLinkPropertyRandomVariation(ZqU32 manipulator,
                                                                const ZqString& linkLabel)
{
   return manipulator < m_manipulatorRandomVariationVector.size() &&
          m_manipulatorRandomVariationVector[manipulator].erase(linkLabel);
}

const ZqLinkPropertyRandomVariation&
ZqSystemRandomVariation::linkPropertyRandomVariation(ZqU32 manipulator,
                                                     const ZqString& linkLabel) const
{
   const auto* found = manipulatorRandomVariation(manipulator).lookupPointer(linkLabel);
   return found != nullptr ? *found : m_defaultLinkPropertyRandomVariation;
}

const ZqSystemRandomVariation::ManipulatorRandomVariation&
ZqSystemRandomVariation::manipulatorRandomVariation(ZqU32 manipulator) const
{
   static const auto& theEmptyVariation = *new ManipulatorRandomVariation();
   return manipulator < m_manipulatorRandomVariationVector.size()
             ? m_manipulatorRandomVariationVector[manipulator]
             : theEmptyVariation;
}

void ZqSystemRandomVariation::setManipulatorRandomVariation(
   ZqU32 manipulator, const ManipulatorRandomVariation& variation)
{
   if (manipulator < m_manipulatorRandomVariationVector.size())
      m_manipulatorRandomVariationVector[manipulator] = variation;
}
