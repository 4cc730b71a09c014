#pragma once

#include "zqManipulator/foundation/xml/ZqXmlClass.h"

class ZqLinkEdit;
class ZqPropagationResultData;
class ZqStatedSystem;
class ZqSystemActiveState;
struct ZqModelScaling;

/// What a manipulator must not come to. It is asked at the end of each step of
/// `ZqStatedSystem::propagateTo`; a manipulator that has come to it goes back to where the step began.
class ZqBaseStoppingCriterion
   : public ZqXmlAbstractClass<ZqBaseStoppingCriterion, ZqXmlCompoundType>
{
public:
   /// What is reported when the criterion fires.
   virtual const ZqString& descriptiveText() const = 0;
   /// Whether the manipulator is to stop, in the state that the active state has. If so, the results
   /// get the descriptive text. The time is in seconds.
   virtual bool stop(ZqSystemActiveState& activeState, const ZqStatedSystem& statedSystem,
                     const ZqReal& time, ZqU32 manipulatorIndex,
                     ZqPropagationResultData& results) const = 0;
   /// Follows the links that it speaks of. False when one of them is gone, and the criterion with it.
   virtual bool apply(const ZqLinkEdit&) { return true; }
   /// Follows a change of size of its manipulator.
   virtual void scaleBy(const ZqModelScaling&) {}

   bool operator==(const ZqBaseStoppingCriterion&) const noexcept { return true; }
};
