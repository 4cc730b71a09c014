#pragma once

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include <optional>
#include <utility>
#include <vector>

class ZqLabelPool;

/// What is merged into a link: the link as it was before, and the bases of other manipulators.
///
/// A base brings its tree with it when manipulators are combined. Then its origin tells what became of the
/// labels and joints of the tree, and the manipulator of the member has, besides its base, all that the
/// other manipulator held, in the labels and indices that it had there. What was made of that in the
/// combined manipulator follows from the two again: so it is known what was changed since.
class ZqLinkUnion : public boost::intrusive_ref_counter<ZqLinkUnion>
{
public:
   /// A label in the other manipulator, and the present one; none when the link is gone.
   struct Name
   {
      ZqString own;
      std::optional<ZqString> present;
   };
   struct Origin
   {
      std::vector<Name> links;  ///< of the links below the base, by the index that they had
      std::vector<Name> others; ///< what the other manipulator speaks of, and is no link of it
      /// Of the links on the base, by their labels, before they were moved by X.
      std::vector<std::pair<ZqString, ZqLinkKinematicsContainer>> joints;
      ZqCoordinateSystemTransformation X;       ///< the base's DH frame in that of the link
      std::vector<ZqString> surfaces;           ///< names that came into the combined manipulator
      std::vector<ZqString> sharers;            ///< own labels of links that used the base's shape
      ZqLinkReferenceDescription baseReference; ///< whose shape the base used
      ZqU32 number = 0;           ///< above those of all that had come to either of the two before
      ZqU32 manipulatorIndex = 0; ///< in the system
   };
   struct Member
   {
      ZqIndividualManipulator manipulator;        ///< without links below its base
      ZqCoordinateSystemTransformation transform; ///< its primary frame in that of the link
      Origin origin;

      /// Another one that it had taken in is gone, with names of surfaces. What is left of these came with this
      /// one, too.
      void forget(const ZqString& label, std::vector<ZqString>& surfaces);
   };
   /// What is taken out of a union.
   struct Popped
   {
      Member member;
      ZqCoordinateSystemTransformation transform; ///< its primary frame in that of the link
      std::vector<Member> within;      ///< which manipulators it was a part of, the outermost first
      std::vector<std::size_t> places; ///< of these, each in the union that it is in

      /// Names of surfaces that go with it.
      std::vector<ZqString> surfaces;
   };

   /// Of those that came to links of a manipulator, the last one; null when there is none.
   static const Member* lastIn(const ZqIndividualManipulator& manipulator);
   /// Has all links of a manipulator forget what is merged into them.
   static void forget(ZqIndividualManipulator& manipulator);
   static bool isRigid(const ZqCoordinateSystemTransformation& T);
   /// A manipulator without the links below its base. What it holds of them stays as it is.
   static ZqIndividualManipulator baseOf(const ZqIndividualManipulator& manipulator);
   /// False, with no change, when shapes would stand too deep.
   static bool merge(ZqManipulatorLink& link, Member member);
   /// Takes out the first of a label. False when there is none.
   static bool pop(ZqManipulatorLink& link, const ZqString& label, Popped& popped);
   /// The names of a manipulator that was merged, as they are in the outermost of those that it is a part of.
   static std::vector<Name> presentNames(const std::vector<Name>& names,
                                         const std::vector<Member>& within);
   /// Tells a pool what stands for names of no links in what is merged into a link.
   static void addOtherLabels(const ZqManipulatorLink& link, ZqLabelPool& pool);
   /// Replaces what is remembered, without a change of the link.
   static void set(ZqManipulatorLink& link, ZqLinkUnion&& changed);
   /// Has a link use the shape of another one, which equals its own; as soon as it does, where others are
   /// merged into that one. Labels are to be mapped afterwards.
   static void shareShape(ZqManipulatorLink& link, ZqManipulatorLink& owner);
   /// The same where one of the two is a base that was merged in, by labels of a combined manipulator: when it
   /// is taken off.
   static void shareShapeApart(ZqIndividualManipulator& manipulator, const ZqString& sharer,
                               const ZqString& owner);

   /// Gives what a link was before its own merges the shape that it shared with a link of a label. False when
   /// it shared none.
   static bool endSharing(ZqManipulatorLink& link, const ZqString& owner);

   void apply(const ZqLinkEdit& edit);
   /// The link's contents were moved, or scaled: so were those of what it was made of.
   /// @{
   void transformBy(const ZqCoordinateSystemTransformation& T);
   void scaleBy(ZqReal scale);
   void resize(const ZqModelScaling& scaling);
   /// @}
   bool operator==(const ZqLinkUnion& other) const;

   ZqManipulatorLink before;     ///< without its children
   ZqShapeContainer sharedShape; ///< of the link before, where that is another one's
   std::vector<Member> members;
   std::vector<ZqString> sharers; ///< labels of links that used the shape of the link

private:
   void ownShape();
   void shareShapeApart(const ZqString& sharer, const ZqString& owner);
   bool hasShapes() const;
   static void dropSensors(ZqManipulatorLink& link, const ZqManipulatorLink& base);
   static bool add(ZqManipulatorLink& link, const Member& member, bool tellsClashes);
   void rebuild(ZqManipulatorLink& link) const;
};
