#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/tools/labels/ZqManipulatorLinkIndex.h"

#include <map>
#include <optional>
#include <utility>
#include <vector>

/// Where the elements of a list went in an edit of the list: a new index for each old one, or `gone`.
class ZqRenumbering
{
public:
   static constexpr ZqU32 gone = 0xFFFFFFFF;

   /// Everything stays.
   ZqRenumbering() = default;
   static ZqRenumbering inserted(ZqU32 at, ZqU32 count);
   static ZqRenumbering removed(ZqU32 first, ZqU32 count);
   /// A new index for each old one; an index beyond the list is gone.
   static ZqRenumbering to(std::vector<ZqU32> newIndices);

   /// `gone` is answered with `gone`.
   ZqU32 operator()(ZqU32 oldIndex) const;
   bool isIdentity() const { return m_newIndices.empty() && m_shift == 0 && !m_othersGo; }
   /// This one, and then another one.
   ZqRenumbering then(const ZqRenumbering& next) const;

   /// A list with its elements in their new places, those between filled in.
   template <class T>
   std::vector<T> moved(const std::vector<T>& list, const T& filling) const
   {
      std::vector<T> result;
      for (ZqU32 i = 0; i < list.size(); ++i)
         if (const ZqU32 place = (*this)(i); place != gone)
         {
            if (result.size() <= place)
               result.resize(place + std::size_t{1}, filling);
            result[place] = list[i];
         }
      return result;
   }

private:
   std::vector<ZqU32> m_newIndices; ///< of as many as were in the way of the edit
   int m_shift = 0;                 ///< of those behind
   bool m_othersGo = false;         ///< those behind are gone
};

/// How what is told of a link changes in an edit by which nothing moves in space: with another primary
/// frame of the link, another zero or another sense of its joint.
struct ZqLinkRestatement
{
   /// What was at x in the primary frame is at T x in the new one.
   ZqCoordinateSystemTransformation T;
   ZqReal jointSign = 1.0;  ///< 1 or -1
   ZqReal jointShift = 0.0; ///< rad, or m

   /// The new value of a position of the joint.
   ZqReal position(ZqReal q) const { return jointSign * q + jointShift; }
   bool isOfJoint() const { return jointSign != 1.0 || jointShift != 0.0; }
   /// Has a lower and an upper position of the joint follow.
   void restate(ZqReal& lower, ZqReal& upper) const
   {
      lower = position(lower);
      upper = position(upper);
      if (jointSign < 0.0)
         std::swap(lower, upper);
   }
   /// This one, and then another one.
   ZqLinkRestatement then(const ZqLinkRestatement& next) const
   {
      return {next.T * T, next.jointSign * jointSign, next.position(jointShift)};
   }
};

/// What moved among the links of one manipulator: a new index or none for each old one, and a new label
/// or none for each old one. The base has a label and an index like any other link, and stays unless it
/// is said to become something else.
///
/// A label stands for the link that it named: for the last one, of several links with one label.
class ZqLinkEdit
{
public:
   using Labels = std::vector<ZqString>; ///< by link index, that of the base last

   /// Nothing moves.
   ZqLinkEdit() = default;
   /// Links came; no label is affected.
   static ZqLinkEdit inserted(ZqU32 at, ZqU32 count);
   /// Each link keeps its place, and has a new label.
   static ZqLinkEdit relabelled(const Labels& before, const Labels& after);
   /// The tree was replaced or changed in unknown ways: links of one label are the same, the first of
   /// several of one label the first. What has no match is gone.
   static ZqLinkEdit matched(const Labels& before, const Labels& after);
   /// Links go to another manipulator: only the labels that are listed stay. The base becomes a part of the link
   /// of an index there, unless it stays behind (`ZqNoLinkIndex`).
   static ZqLinkEdit moved(ZqRenumbering indices, std::map<ZqString, ZqString> labels,
                           ZqU32 newBaseIndex);
   /// The same, but labels that are not listed stay. Those listed without a new one are gone.
   static ZqLinkEdit carried(ZqRenumbering indices,
                             std::map<ZqString, std::optional<ZqString>> labels,
                             ZqU32 newBaseIndex);

   /// What is told of a link, by its new index and label, is told anew after all else of this edit.
   void restate(ZqU32 index, const ZqString& label, const ZqLinkRestatement& restatement);

   bool isIdentity() const { return !hasLabels() && !hasIndices() && !hasRestatements(); }
   bool hasLabels() const { return !m_labels.empty() || m_otherLabelsGo; }
   bool hasIndices() const { return !m_indices.isIdentity() || m_base != ZqBaseLinkIndex; }
   /// The base becomes a part of another link, and has no motion of its own any more.
   bool baseIsMerged() const { return m_baseIsMerged; }
   /// `ZqNoLinkIndex` when the link is gone.
   ZqU32 index(ZqU32 oldIndex) const;
   const ZqRenumbering& indices() const { return m_indices; }
   /// Those that changed, with their new values; none when the link is gone.
   const std::map<ZqString, std::optional<ZqString>>& changedLabels() const { return m_labels; }
   /// Null when the link is gone. The label itself, when nothing is known of it.
   const ZqString* label(const ZqString& oldLabel) const;
   /// Gives a label its new value. False, with no change, when the link is gone.
   bool apply(ZqString& label) const;
   /// \name How what is told of a link changes, by the new index or label of the link
   /// @{
   bool hasRestatements() const { return !m_restatements.empty(); }
   const ZqLinkRestatement& restatement(ZqU32 newIndex) const;
   const ZqLinkRestatement& restatement(const ZqString& newLabel) const;
   /// @}
   /// This edit, and then another one.
   ZqLinkEdit then(const ZqLinkEdit& next) const;

private:
   ZqRenumbering m_indices;
   ZqU32 m_base = ZqBaseLinkIndex;
   bool m_baseIsMerged = false;
   std::map<ZqString, std::optional<ZqString>> m_labels; ///< of those that changed
   bool m_otherLabelsGo = false;
   std::map<ZqU32, ZqLinkRestatement> m_restatements; ///< by new index
   std::map<ZqString, ZqU32> m_restatedLabels;        ///< the new indices of new labels
};

/// The record of an edit of a scene: where manipulators, their links and their labels went, and what is
/// told anew of links that stayed in space.
///
/// Whoever holds an index or a label has an operation `apply` that takes the record: states move their
/// values, exclusions and attachments their names, springs, constraints and criteria the labels of
/// their links; what spoke of something that is gone goes too. All names of an edit change at once, so
/// that labels and indices may be swapped. A manipulator applies the record of its links to what it
/// holds itself; `ZqManipulatorSystem::editManipulator` and `ZqStatedSystem::editManipulator` hand it to
/// the rest of the scene.
///
/// An operation that changes a scene makes the record and has it applied:
///
///     edit.setManipulators(ZqRenumbering::removed(2, 1));         // manipulator 2 is deleted
///     edit.setLinks(0, ZqLinkEdit::inserted(3, 2));               // two links came into manipulator 0
///
/// For links that go from one manipulator to another, as when manipulator 2 with links `x`, `y` is
/// mounted on link 4 of manipulator 0, with its base as a part of that link, there is a transfer:
///
///     edit.setManipulators(ZqRenumbering::removed(2, 1));
///     edit.setLinks(0, ZqLinkEdit::inserted(5, 2));
///     edit.addTransfer(2, 0, ZqLinkEdit::moved(ZqRenumbering::to({5, 6}),
///                                              {{"base", "wrist"}, {"x", "x-1"}, {"y", "y"}}, 4));
///
/// All indices are old ones on the left and new ones on the right; the receiving manipulator of a
/// transfer is told by its new index. The reverse, a manipulator that is taken off, has the links `gone`
/// in their own manipulator and a transfer to a new one.
class ZqModelEdit
{
public:
   /// The label of a link and the index of its manipulator.
   using LinkName = std::pair<ZqU32, ZqString>;

   void setManipulators(const ZqRenumbering& manipulators) { m_manipulators = manipulators; }
   /// Of a manipulator by its old index.
   void setLinks(ZqU32 oldManipulator, const ZqLinkEdit& links) { m_links[oldManipulator] = links; }
   void addTransfer(ZqU32 oldManipulator, ZqU32 newManipulator, const ZqLinkEdit& links)
   {
      m_transfers.push_back({oldManipulator, newManipulator, links});
   }

   /// `ZqRenumbering::gone` when the manipulator is gone.
   ZqU32 manipulator(ZqU32 oldIndex) const { return m_manipulators(oldIndex); }
   const ZqRenumbering& manipulators() const { return m_manipulators; }
   bool isIdentity() const;
   /// Of a manipulator by its old index.
   const ZqLinkEdit& links(ZqU32 oldManipulator) const;
   /// None when the link is gone.
   std::optional<ZqManipulatorLinkIndex> place(const ZqManipulatorLinkIndex& oldPlace) const;
   std::optional<LinkName> name(ZqU32 oldManipulator, const ZqString& oldLabel) const;
   /// \name How what is told of a link changes, by its old place
   /// @{
   const ZqLinkRestatement& restatement(const ZqManipulatorLinkIndex& oldPlace) const;
   const ZqLinkRestatement& restatement(ZqU32 oldManipulator, const ZqString& oldLabel) const;
   /// @}

private:
   struct Transfer
   {
      ZqU32 from;
      ZqU32 to;
      ZqLinkEdit links;
   };

   template <class IsKnown>
   std::pair<ZqU32, const ZqLinkEdit*> follow(ZqU32 from, const IsKnown& isKnown) const;
   /// The manipulator to which a link went, and the edit that tells of it; null when the link is gone.
   /// @{
   std::pair<ZqU32, const ZqLinkEdit*> followPlace(const ZqManipulatorLinkIndex& oldPlace) const;
   std::pair<ZqU32, const ZqLinkEdit*> followLabel(ZqU32 oldManipulator,
                                                   const ZqString& oldLabel) const;
   /// @}

   ZqRenumbering m_manipulators;
   std::map<ZqU32, ZqLinkEdit> m_links;
   std::vector<Transfer> m_transfers;
};
