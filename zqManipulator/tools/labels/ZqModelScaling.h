#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <cmath>
#include <map>
#include <vector>

/// The record of a change of size: one manipulator grows by a factor about the origin of its base, at
/// constant density and with all times as they are. Then masses grow with the third power of the factor,
/// forces with the fourth, torques with the fifth; what an angle or a time is stays.
///
/// Whoever holds lengths on the manipulator, or what follows from them, has an operation `scaleBy` that takes
/// the record, as those who hold indices or labels have `apply` for a `ZqModelEdit`.
struct ZqModelScaling
{
   ZqU32 manipulator = 0; ///< by index
   ZqReal factor = 1.0;
   ZqVector center; ///< the origin of the base, in the system
   /// By link index, by what the position of the joint grows: the factor for a length, 1 for an angle.
   std::vector<ZqReal> jointFactors;
   std::map<ZqString, ZqU32> links; ///< indices by label, with the base

   /// Whether a number is a scale of lengths: positive, and its fifth power a number like any other.
   static bool isScale(ZqReal factor)
   {
      return factor > 0.0 && std::isnormal(factor * factor * factor * factor * factor);
   }
   ZqReal power(ZqU32 exponent) const
   {
      ZqReal result = 1.0;
      for (ZqU32 i = 0; i < exponent; ++i)
         result *= factor;
      return result;
   }
   /// 1 for what is no joint.
   ZqReal jointFactor(ZqU32 link) const
   {
      return link < jointFactors.size() ? jointFactors[link] : 1.0;
   }
   ZqReal jointFactor(const ZqString& label) const
   {
      const auto link = links.find(label);
      return link != links.end() ? jointFactor(link->second) : 1.0;
   }
   /// A point in the primary frame of the link of a label, or in the system if there is no such link.
   ZqVector scaled(const ZqString& label, const ZqVector& point) const
   {
      return links.contains(label) ? point * factor : center + (point - center) * factor;
   }
};
