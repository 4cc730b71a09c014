#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

/// What happened to one manipulator in the steps since the last `reset`: flags once raised stay up,
/// and the indices beside a flag that is down mean nothing. Manipulators and links are told by index.
class ZqPropagationResultData : public ZqXmlClass<ZqPropagationResultData>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqPropagationResultDataToken; }
   static constexpr const char* documentation =
      "what happened to a manipulator since the last reset";
   template <class This = ZqPropagationResultData>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_hitJointLimit, &ZqManip::ZqHitJointLimitToken,
                     "whether a joint came to its limit"},
         ZqComponent{&This::m_hitSingularity, &ZqManip::ZqHitSingularityToken,
                     "whether it came to a singular position"},
         ZqComponent{&This::m_collisionOccurred, &ZqManip::ZqCollisionOccurredToken,
                     "whether it collided"},
         ZqComponent{&This::m_collidedManipulator, &ZqManip::ZqCollidedManipulatorToken,
                     "index of the manipulator that collided"},
         ZqComponent{&This::m_collidedLink, &ZqManip::ZqCollidedLinkToken,
                     "index of the link that collided"},
         ZqComponent{&This::m_linkIndexAtJointLimit, &ZqManip::ZqLinkIndexAtJointLimitToken,
                     "index of the link whose joint came to its limit last"},
         ZqComponent{&This::m_otherCollidedLink, &ZqManip::ZqOtherCollidedLinkToken,
                     "index of the link that it collided with"},
         ZqComponent{&This::m_otherCollidedManipulator, &ZqManip::ZqOtherCollidedManipulatorToken,
                     "index of the manipulator that it collided with"},
         ZqComponent{&This::m_closestLink, &ZqManip::ZqClosestLinkToken,
                     "index of the link of the closest pair"},
         ZqComponent{&This::m_closestManipulator, &ZqManip::ZqClosestManipulatorToken,
                     "index of the manipulator of the closest pair"},
         ZqComponent{&This::m_otherClosestLink, &ZqManip::ZqOtherClosestLinkToken,
                     "index of the other link of the closest pair"},
         ZqComponent{&This::m_otherClosestManipulator, &ZqManip::ZqOtherClosestManipulatorToken,
                     "index of the other manipulator of the closest pair"},
         ZqComponent{&This::m_closestDistance, &ZqManip::ZqClosestDistanceToken,
                     "distance of the closest pair (m)"},
         ZqComponent{&This::m_hitGeneralStoppingCriterion,
                     &ZqManip::ZqHitGeneralStoppingCriterionToken,
                     "whether a stopping criterion fired"},
         ZqComponent{&This::m_satisfiedGeneralStoppingCriteriaDescription,
                     &ZqManip::ZqSatisfiedGeneralStoppingCriteriaDescriptionToken,
                     "the texts of the criteria that fired"}};
   }
   bool operator==(const ZqPropagationResultData&) const = default;

   /// Whether any flag is up.
   virtual bool exceptionOccurred() const
   {
      return m_collisionOccurred || m_hitJointLimit || m_hitSingularity ||
             m_hitGeneralStoppingCriterion;
   }
   virtual bool hitJointLimit() const { return m_hitJointLimit; }
   virtual void setHitJointLimit(bool hit) { m_hitJointLimit = hit; }
   virtual bool hitSingularity() const { return m_hitSingularity; }
   virtual void setHitSingularity(bool hit) { m_hitSingularity = hit; }
   virtual bool hitGeneralStoppingCriterion() const { return m_hitGeneralStoppingCriterion; }
   virtual void setHitGeneralStoppingCriterion(bool hit) { m_hitGeneralStoppingCriterion = hit; }
   /// Of all criteria that fired.
   virtual const ZqString& satisfiedGeneralStoppingCriteriaDescription() const
   {
      return m_satisfiedGeneralStoppingCriteriaDescription;
   }
   virtual void setSatisfiedGeneralStoppingCriteriaDescription(const ZqString& description)
   {
      m_satisfiedGeneralStoppingCriteriaDescription = description;
   }
   virtual bool collisionOccurred() const { return m_collisionOccurred; }
   virtual void setCollisionOccurred(bool occurred) { m_collisionOccurred = occurred; }
   virtual void setLinkIndexAtJointLimit(ZqU32 index) { m_linkIndexAtJointLimit = index; }
   /// The last one that hit a limit.
   virtual ZqU32 linkIndexAtJointLimit() const { return m_linkIndexAtJointLimit; }

   /// \name The pair that collided, and the pair that is closest
   /// The distance (m) is 1e300 as long as none was found.
   /// @{
   virtual ZqU32 collidedManipulator() const { return m_collidedManipulator; }
   virtual void setCollidedManipulator(ZqU32 index) { m_collidedManipulator = index; }
   virtual ZqU32 collidedLink() const { return m_collidedLink; }
   virtual void setCollidedLink(ZqU32 index) { m_collidedLink = index; }
   virtual ZqU32 otherCollidedLink() const { return m_otherCollidedLink; }
   virtual void setOtherCollidedLink(ZqU32 index) { m_otherCollidedLink = index; }
   virtual ZqU32 otherCollidedManipulator() const { return m_otherCollidedManipulator; }
   virtual void setOtherCollidedManipulator(ZqU32 index) { m_otherCollidedManipulator = index; }
   virtual ZqU32 closestManipulator() const { return m_closestManipulator; }
   virtual void setClosestManipulator(ZqU32 index) { m_closestManipulator = index; }
   virtual ZqU32 closestLink() const { return m_closestLink; }
   virtual void setClosestLink(ZqU32 index) { m_closestLink = index; }
   virtual ZqU32 otherClosestLink() const { return m_otherClosestLink; }
   virtual void setOtherClosestLink(ZqU32 index) { m_otherClosestLink = index; }
   virtual ZqU32 otherClosestManipulator() const { return m_otherClosestManipulator; }
   virtual void setOtherClosestManipulator(ZqU32 index) { m_otherClosestManipulator = index; }
   virtual void setClosestDistance(ZqReal distance) { m_closestDistance = distance; }
   virtual ZqReal closestDistance() const { return m_closestDistance; }
   /// @}

   /// Raises the flag of stopping criteria, and adds to their description.
   virtual void registerGenericStoppingCriterion(const ZqString& description);
   /// Lowers all flags and forgets the distance and the description; indices stay, and so does a
   /// description whose flag is down.
   virtual void reset();

protected:
   /// Stands between the descriptions of two criteria.
   static const ZqString m_theDescriptionSeparator;

private:
   bool m_collisionOccurred = false;
   bool m_hitJointLimit = false;
   bool m_hitSingularity = false;
   bool m_hitGeneralStoppingCriterion = false;
   ZqU32 m_collidedManipulator = 0;
   ZqU32 m_collidedLink = 0;
   ZqU32 m_otherCollidedLink = 0;
   ZqU32 m_otherCollidedManipulator = 0;
   ZqU32 m_closestManipulator = 0;
   ZqU32 m_closestLink = 0;
   ZqU32 m_otherClosestLink = 0;
   ZqU32 m_otherClosestManipulator = 0;
   ZqReal m_closestDistance = 1e300;
   ZqU32 m_linkIndexAtJointLimit = 0;
   ZqString m_satisfiedGeneralStoppingCriteriaDescription;
};

extern template class ZqXmlVectorType<ZqPropagationResultData>;

extern template class ZqXmlClass<ZqPropagationResultData>;
