#include "zqManipulator/simulation/records/ZqDamperProperties.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqDamperProperties>;

void ZqDamperProperties::apply(const ZqLinkEdit& edit)
{
   const auto eraseAt = [](auto& list, ZqU32 i)
   {
      if (i < list.size())
         list.erase(list.begin() + i);
   };
   for (ZqU32 i = m_associatedJoints.size(); i-- > 0;)
      if (!edit.apply(m_associatedJoints[i]))
      {
         eraseAt(m_associatedJoints.vectorContainer(), i);
         eraseAt(m_weightingFactors.values(), i);
      }
      else if (const ZqLinkRestatement& restatement = edit.restatement(m_associatedJoints[i]);
               restatement.isOfJoint())
      {
         if (i < m_weightingFactors.size())
            m_weightingFactors[i] *= restatement.jointSign;
      }
}

void ZqDamperProperties::turnTorque()
{
   for (ZqReal& weight : m_weightingFactors)
      weight = -weight;
}
