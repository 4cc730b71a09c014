#include "zqManipulator/simulation/records/ZqAssociatedJoints.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

void zqAssociatedJoints::apply(const ZqLinkEdit& edit, ZqXmlVectorType<ZqString>& joints,
                               ZqXmlVectorBasicType<ZqReal>& weights,
                               ZqXmlVectorBasicType<ZqReal>* offsets)
{
   const auto eraseAt = [](auto& list, ZqU32 i)
   {
      if (i < list.size())
         list.erase(list.begin() + i);
   };
   for (ZqU32 i = joints.size(); i-- > 0;)
      if (!edit.apply(joints[i]))
      {
         eraseAt(joints.vectorContainer(), i);
         eraseAt(weights.values(), i);
         if (offsets != nullptr)
            eraseAt(offsets->values(), i);
      }
      else
      {
         const ZqLinkRestatement& restatement = edit.restatement(joints[i]);
         if (i < weights.size())
            weights[i] *= restatement.jointSign;
         if (offsets != nullptr && i < offsets->size())
            (*offsets)[i] = restatement.position((*offsets)[i]);
      }
}

void zqAssociatedJoints::turn(ZqXmlVectorBasicType<ZqReal>& weights)
{
   for (ZqReal& weight : weights)
      weight = -weight;
}
