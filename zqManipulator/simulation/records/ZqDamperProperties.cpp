#include "zqManipulator/simulation/records/ZqDamperProperties.h"

#include "zqManipulator/simulation/records/ZqAssociatedJoints.h"
#include "zqManipulator/tools/labels/ZqModelScaling.h"

#include <algorithm>

template class ZqXmlClass<ZqDamperProperties>;

void ZqDamperProperties::apply(const ZqLinkEdit& edit)
{
   zqAssociatedJoints::apply(edit, m_associatedJoints, m_weightingFactors, nullptr);
}

void ZqDamperProperties::turnTorque()
{
   zqAssociatedJoints::turn(m_weightingFactors);
}

void ZqDamperProperties::scaleBy(const ZqModelScaling& scaling, ZqReal jointFactor)
{
   m_damperConstant *= scaling.power(5) / jointFactor;
   for (ZqU32 i = 0; i < std::min(m_associatedJoints.size(), m_weightingFactors.size()); ++i)
      m_weightingFactors[i] /= scaling.jointFactor(m_associatedJoints[i]);
}
