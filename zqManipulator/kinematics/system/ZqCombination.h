#pragma once

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

/// One manipulator of those that became one, for a document: what it was before, and where it went.
///
/// The records of a document are a list. A record that has no carrier is what all the others came to, in the
/// order of the list; put together again, they make the manipulator of its label in the system.
class ZqCombination : public ZqXmlClass<ZqCombination>
{
public:
   static constexpr ZqU32 noCarrier = 0xFFFFFFFF;

   static const ZqToken& classToken() { return ZqManip::ZqCombinationToken; }
   static constexpr const char* documentation =
      "a manipulator that was combined with others, as it was before";
   template <class This = ZqCombination>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_manipulatorIndex, &ZqManip::ZqManipulatorIdToken,
                     "index that it had in the system"},
         ZqComponent{&This::m_carrier, &ZqManip::ZqBaseManipulatorIndexToken,
                     "place in the list of what it came to; 4294967295 for what others came to"},
         ZqComponent{&This::m_linkLabel, &ZqManip::ZqLinkIdentifierToken,
                     "label of the link that it came to"},
         ZqComponent{&This::m_transform, &ZqManip::ZqOffsetToken,
                     "primary frame of its base in the primary frame of that link"},
         ZqComponent{&This::m_manipulator, &ZqManip::ZqIndividualManipulatorToken,
                     "the manipulator"}};
   }
   /// Of a manipulator as reading one leaves it.
   ZqCombination() { m_manipulator.fitAbsoluteBoundingSphere(); }
   bool operator==(const ZqCombination&) const = default;

   using Combinations = ZqXmlVectorType<ZqCombination>;
   /// Appends the records of a manipulator of which links have others merged in: those of which it is made. False,
   /// with no change, when what they make is not what the manipulator is now, as after some edits of it.
   static bool append(const ZqIndividualManipulator& combined, Combinations& combinations);
   /// Puts the manipulator of a record together, with all that came to it. False when the records do not fit
   /// each other.
   static bool build(const Combinations& combinations, ZqU32 record,
                     ZqIndividualManipulator& combined);
   /// Whether two manipulators differ in no more than what is merged into their links, which documents do not
   /// tell.
   static bool areAlike(const ZqIndividualManipulator& a, const ZqIndividualManipulator& b);

   ZqU32 carrier() const { return m_carrier; }
   const ZqIndividualManipulator& manipulator() const { return m_manipulator; }

private:
   static void takeApart(ZqIndividualManipulator combined, ZqCombination record,
                         Combinations& combinations);

   ZqU32 m_manipulatorIndex = 0;
   ZqU32 m_carrier = noCarrier;
   ZqString m_linkLabel;
   ZqCoordinateSystemTransformation m_transform;
   ZqIndividualManipulator m_manipulator;
};

extern template class ZqXmlClass<ZqCombination>;
extern template class ZqXmlVectorType<ZqCombination>;
