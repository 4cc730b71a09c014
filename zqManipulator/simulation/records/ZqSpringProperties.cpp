#include "zqManipulator/simulation/records/ZqSpringProperties.h"

#include "zqManipulator/simulation/records/ZqAssociatedJoints.h"
#include "zqManipulator/tools/labels/ZqModelScaling.h"

#include <algorithm>

template class ZqXmlClass<ZqSpringProperties>;

void ZqSpringProperties::apply(const ZqLinkEdit& edit)
{
   zqAssociatedJoints::apply(edit, m_associatedJoints, m_weightingFactors, &m_springOffsets);
}

void ZqSpringProperties::turnTorque()
{
   zqAssociatedJoints::turn(m_weightingFactors);
}

void ZqSpringProperties::scaleBy(const ZqModelScaling& scaling, ZqReal jointFactor)
{
   m_springConstant *= scaling.power(5) / jointFactor;
   for (ZqU32 i = 0; i < std::min(m_associatedJoints.size(), m_weightingFactors.size()); ++i)
      m_weightingFactors[i] /= scaling.jointFactor(m_associatedJoints[i]);
   for (ZqU32 i = 0; i < std::min(m_associatedJoints.size(), m_springOffsets.size()); ++i)
      m_springOffsets[i] *= scaling.jointFactor(m_associatedJoints[i]);
}
