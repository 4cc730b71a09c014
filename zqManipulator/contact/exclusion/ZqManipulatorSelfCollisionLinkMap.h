#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlMapType.h"

class ZqIndividualManipulator;
class ZqLinkEdit;

extern template class ZqXmlMapType<ZqString, ZqXmlMapType<ZqString, bool>>;

/// Which pairs of links of one manipulator may collide, by their labels: true marks a pair as a
/// candidate, false excludes it. A pair that is not in the table is no candidate either.
///
/// The table is triangular: the greater label is the key of the table, the lesser one that of the
/// row. A link may be paired with itself.
class ZqManipulatorSelfCollisionLinkMap
   : public ZqXmlMapType<ZqString, ZqXmlMapType<ZqString, bool>>
{
public:
   ZqXmlObject* clone() const override { return new ZqManipulatorSelfCollisionLinkMap(*this); }
   ZqXmlObject* newObject() const override { return new ZqManipulatorSelfCollisionLinkMap(); }
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorSelfCollisionLinkMapToken; }
   static ZqXmlObject* creator() { return new ZqManipulatorSelfCollisionLinkMap(); }
   const ZqToken& token() const override { return classToken(); }
   static ZqManipulatorSelfCollisionLinkMap nullObject() { return {}; }
   bool operator==(const ZqManipulatorSelfCollisionLinkMap&) const = default;

   /// Excludes every pair of the links and the base of the manipulator, each with itself too. Pairs
   /// of other labels stay as they are. A manipulator of n links has (n + 1)(n + 2) / 2 pairs:
   /// 50 million for 10,000 links. Always true.
   virtual bool buildMapFromSystem(const ZqIndividualManipulator& manipulator);
   /// The order of the labels does not matter; the pair need not be in the table. Always true.
   virtual bool setLinkCollisionCanditateByIdentifier(const ZqString& label1,
                                                      const ZqString& label2, bool isCandidate);
   /// False, and no change of the result, when the pair is not in the table.
   virtual bool linkCollisionCanditateByIdentifier(const ZqString& label1, const ZqString& label2,
                                                   bool& isCandidate) const;
   /// All pairs of the table, which gets no new ones.
   virtual void setAllAsCollisionCandidates();
   virtual void unsetAllAsCollisionCandidates();
   /// Whether a pair of the table that the link is in, be it with itself, is excluded.
   bool linkHasExclusionCandidate(const ZqString& label) const;
   /// Excludes a link from all links of the table, and from itself, so that it is in the table.
   void addLink(const ZqString& label);
   /// Pairs follow their links, and go with them. Takes time in proportion to the pairs that change.
   void apply(const ZqLinkEdit& edit);
};

extern template class ZqXmlMapType<ZqString, bool>;
