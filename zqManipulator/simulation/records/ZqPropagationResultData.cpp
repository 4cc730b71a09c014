#include "zqManipulator/simulation/records/ZqPropagationResultData.h"

template class ZqXmlClass<ZqPropagationResultData>;

template class ZqXmlVectorType<ZqPropagationResultData>;

const ZqString ZqPropagationResultData::m_theDescriptionSeparator = "; ";

void ZqPropagationResultData::registerGenericStoppingCriterion(const ZqString& description)
{
   ZqString& all = m_satisfiedGeneralStoppingCriteriaDescription;
   m_hitGeneralStoppingCriterion = true;
   if (!all.empty())
      all += m_theDescriptionSeparator;
   all += description;
}

void ZqPropagationResultData::reset()
{
   m_hitJointLimit = false;
   m_hitSingularity = false;
   m_collisionOccurred = false;
   m_closestDistance = 1e300;
   if (m_hitGeneralStoppingCriterion)
      m_satisfiedGeneralStoppingCriteriaDescription.clear();
   m_hitGeneralStoppingCriterion = false;
}
