#pragma once

#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/state/ZqPairCacheState.h"

#include <functional>

class ZqModelEdit;
struct ZqManipulatorLinkIndex;

extern template class ZqXmlVectorType<ZqXmlVectorBasicType<ZqReal>>;

/// What is remembered of a contact of two shapes, to be stored to the last bit.
class ZqContactState : public ZqXmlClass<ZqContactState>
{
public:
   using Reals = ZqXmlVectorBasicType<ZqReal>;

   static const ZqToken& classToken() { return ZqManip::ZqContactStateToken; }
   static constexpr const char* documentation = "what is remembered of two shapes that touch";
   template <class This = ZqContactState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_manipulatorOneIndex, &ZqManip::ZqManipulatorOneIndexToken,
                     "index of the manipulator of body 1"},
         ZqComponent{&This::m_linkOneIndex, &ZqManip::ZqLinkOneIndexToken,
                     "index of the link that is body 1; 4294967294 for the base"},
         ZqComponent{&This::m_shapeOneIndex, &ZqManip::ZqShapeOneIndexToken,
                     "number of the shape of body 1"},
         ZqComponent{&This::m_manipulatorTwoIndex, &ZqManip::ZqManipulatorTwoIndexToken,
                     "index of the manipulator of body 2"},
         ZqComponent{&This::m_linkTwoIndex, &ZqManip::ZqLinkTwoIndexToken,
                     "index of the link that is body 2; 4294967294 for the base"},
         ZqComponent{&This::m_shapeTwoIndex, &ZqManip::ZqShapeTwoIndexToken,
                     "number of the shape of body 2"},
         ZqComponent{&This::m_times, &ZqManip::ZqTimeToken,
                     "of the evaluation that left it (s); none before the first"},
         ZqComponent{&This::m_frictionMode, &ZqManip::ZqFrictionModeToken,
                     "of the patch: 0 sticks, 1 slips, 2 has just met"},
         ZqComponent{&This::m_isSlipping, &ZqManip::ZqIsSlippingToken,
                     "whether the points as a whole slip"},
         ZqComponent{&This::m_stickPoints, &ZqManip::ZqStickPointsToken,
                     "where sticking began, in the primary frame of each body: x y z (m)"},
         ZqComponent{&This::m_stickFrames, &ZqManip::ZqStickFramesToken,
                     "the primary frame of each body in the system then: x y z (m), w x y z"},
         ZqComponent{&This::m_velocities, &ZqManip::ZqVelocitiesToken,
                     "of the primary frame of each body, in axes of the system: linear (m/s), "
                     "angular (rad/s)"},
         ZqComponent{&This::m_lastVelocities, &ZqManip::ZqLastVelocitiesToken,
                     "those of the evaluation before"},
         ZqComponent{
            &This::m_patchNumbers, &ZqManip::ZqPatchNumbersToken,
            "part of the stiffness that presses, what leaps of shares may bring in (J), and "
            "the energy stored across the normal (J), which may be missing"},
         ZqComponent{&This::m_pointNames, &ZqManip::ZqPointNamesToken,
                     "names of the points that hold, unsigned numbers of 64 bits"},
         ZqComponent{&This::m_pointStates, &ZqManip::ZqPointStatesToken,
                     "of each point: 0 open, 1 sticks, 2 yields"},
         ZqComponent{
            &This::m_pointNumbers, &ZqManip::ZqPointNumbersToken,
            "of each point: anchor in body 1 and in body 2 (m), twist (rad), weight, energy "
            "stored along the normal (J), and the rate of its depth (m/s), which may be missing of "
            "all"}};
   }
   static ZqContactState nullObject() { return {}; }
   bool operator==(const ZqContactState&) const = default;

   ZqContactState() = default;
   explicit ZqContactState(const ZqContactMemoryOfPair& pair);
   /// False, and no change, when there are not as many numbers as there should be, or a mode that
   /// is none.
   bool get(ZqContactMemoryOfPair& pair) const;

private:
   ZqU32 m_manipulatorOneIndex = 0;
   ZqU32 m_linkOneIndex = 0;
   ZqU32 m_shapeOneIndex = 0;
   ZqU32 m_manipulatorTwoIndex = 0;
   ZqU32 m_linkTwoIndex = 0;
   ZqU32 m_shapeTwoIndex = 0;
   Reals m_times;
   ZqU32 m_frictionMode = 0;
   bool m_isSlipping = false;
   Reals m_stickPoints;
   Reals m_stickFrames;
   Reals m_velocities;
   Reals m_lastVelocities;
   Reals m_patchNumbers;
   ZqString m_pointNames;
   ZqXmlVectorBasicType<ZqU32> m_pointStates;
   Reals m_pointNumbers;
};

extern template class ZqXmlClass<ZqContactState>;
extern template class ZqXmlVectorType<ZqContactState>;

/// What the interactions of a scene remember, at the time of a state of the scene.
class ZqInteractionState : public ZqXmlClass<ZqInteractionState>
{
public:
   using Contacts = ZqXmlVectorType<ZqContactState>;
   using PairCaches = ZqXmlVectorType<ZqPairCacheState>;
   using Memories = ZqXmlVectorType<ZqXmlVectorBasicType<ZqReal>>;

   static const ZqToken& classToken() { return ZqManip::ZqInteractionStateToken; }
   static constexpr const char* documentation = "what the interactions of a scene remember";
   template <class This = ZqInteractionState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_memories, &ZqManip::ZqInteractionMemoriesToken,
                                    "of each interaction, in their order"},
                        ZqComponent{&This::m_contacts, &ZqManip::ZqContactStatesToken,
                                    "of each pair of shapes that touch"},
                        ZqComponent{&This::m_pairCaches, &ZqManip::ZqPairCacheStatesToken,
                                    "of each pair of shapes that were near each other"}};
   }
   static ZqInteractionState nullObject() { return {}; }
   bool operator==(const ZqInteractionState&) const = default;

   /// Whether it is that of interactions which begin anew.
   bool isEmpty() const
   {
      return m_memories.size() == 0 && m_contacts.size() == 0 && m_pairCaches.size() == 0;
   }
   const Memories& memories() const { return m_memories; }
   void setMemories(const Memories& memories) { m_memories = memories; }
   const Contacts& contacts() const { return m_contacts; }
   void setContacts(const Contacts& contacts) { m_contacts = contacts; }
   /// Where searches for contacts begin. Without them a scene goes on within rounding, but for compounds that
   /// are deep in each other, of which each way out is an answer.
   const PairCaches& pairCaches() const { return m_pairCaches; }
   void setPairCaches(const PairCaches& caches) { m_pairCaches = caches; }
   /// Tells what contacts remember in other primary frames of links that stay in space and in their places; where
   /// shapes are told anew, searches for contacts begin anew. The function answers the orientation of the new
   /// primary frame of a link in the system.
   void
   restate(const ZqModelEdit& edit,
           const std::function<ZqOrientation(const ZqManipulatorLinkIndex&)>& newOrientationOf);

private:
   Memories m_memories;
   Contacts m_contacts;
   PairCaches m_pairCaches;
};

extern template class ZqXmlClass<ZqInteractionState>;
