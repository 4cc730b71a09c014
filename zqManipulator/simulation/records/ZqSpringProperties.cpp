#include "zqManipulator/simulation/records/ZqSpringProperties.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqSpringProperties>;

void ZqSpringProperties::apply(const ZqLinkEdit& edit)
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
         eraseAt(m_springOffsets.values(), i);
      }
      else if (const ZqLinkRestatement& restatement = edit.restatement(m_associatedJoints[i]);
               restatement.isOfJoint())
      {
         if (i < m_weightingFactors.size())
            m_weightingFactors[i] *= restatement.jointSign;
         if (i < m_springOffsets.size())
            m_springOffsets[i] = restatement.position(m_springOffsets[i]);
      }
}

void ZqSpringProperties::turnTorque()
{
   for (ZqReal& weight : m_weightingFactors)
      weight = -weight;
}
