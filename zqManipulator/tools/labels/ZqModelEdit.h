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
   /// Only the labels that are listed stay, or go with their links to another manipulator.
   static ZqLinkEdit moved(ZqRenumbering indices, std::map<ZqString, ZqString> labels,
                           ZqU32 newBaseIndex);
   /// The same, but labels that are not listed stay. Those listed without a new one are gone.
   static ZqLinkEdit carried(ZqRenumbering indices,
                             std::map<ZqString, std::optional<ZqString>> labels,
                             ZqU32 newBaseIndex);
   /// Says that a link becomes a part of the one that its label and index lead to, and where its primary
   /// frame then stands in the primary frame of that one: what is stated in coordinates of the link is to be
   /// restated.
   void setPlacement(const ZqString& oldLabel, ZqU32 oldIndex,
                     const ZqCoordinateSystemTransformation& placement)
   {
      m_placed = Placed{oldLabel, oldIndex, placement};
   }

   bool isIdentity() const { return !hasLabels() && !hasIndices(); }
   bool hasLabels() const { return !m_labels.empty() || m_otherLabelsGo; }
   bool hasIndices() const { return !m_indices.isIdentity() || m_base != ZqBaseLinkIndex; }
   /// `ZqNoLinkIndex` when the link is gone.
   ZqU32 index(ZqU32 oldIndex) const;
   const ZqRenumbering& indices() const { return m_indices; }
   /// Those that changed, with their new values; none when the link is gone.
   const std::map<ZqString, std::optional<ZqString>>& changedLabels() const { return m_labels; }
   /// Null when the link is gone. The label itself, when nothing is known of it.
   const ZqString* label(const ZqString& oldLabel) const;
   /// Gives a label its new value. False, with no change, when the link is gone.
   bool apply(ZqString& label) const;
   /// Where the primary frame of a link stands in that of the link of which it becomes a part; null for a
   /// link that stays itself.
   /// @{
   const ZqCoordinateSystemTransformation* placement(const ZqString& oldLabel) const
   {
      return m_placed && m_placed->label == oldLabel ? &m_placed->frame : nullptr;
   }
   const ZqCoordinateSystemTransformation* placement(ZqU32 oldIndex) const
   {
      return m_placed && m_placed->index == oldIndex ? &m_placed->frame : nullptr;
   }
   /// @}
   /// This edit, and then another one. Of two placements the first counts, unless the second is of the same
   /// link.
   ZqLinkEdit then(const ZqLinkEdit& next) const;

private:
   struct Placed
   {
      ZqString label;
      ZqU32 index;
      ZqCoordinateSystemTransformation frame;
   };

   ZqRenumbering m_indices;
   ZqU32 m_base = ZqBaseLinkIndex;
   std::map<ZqString, std::optional<ZqString>> m_labels; ///< of those that changed
   bool m_otherLabelsGo = false;
   std::optional<Placed> m_placed;
};

/// The record of an edit of a scene: where manipulators, their links and their labels went.
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
   /// Where the primary frame of a link stands in that of the link, told by `place` or `name`, of which it
   /// becomes a part; the identity for all others.
   /// @{
   const ZqCoordinateSystemTransformation& placement(const ZqManipulatorLinkIndex& oldPlace) const;
   const ZqCoordinateSystemTransformation& placement(ZqU32 oldManipulator,
                                                     const ZqString& oldLabel) const;
   /// @}

private:
   struct Transfer
   {
      ZqU32 from;
      ZqU32 to;
      ZqLinkEdit links;
   };

   /// The edit that a link goes through: that of its own manipulator, or of a transfer, with the new index of
   /// the manipulator that it is in then; null when it is gone.
   template <class Stays>
   const ZqLinkEdit* editOf(ZqU32 from, ZqU32& to, const Stays& stays) const;

   ZqRenumbering m_manipulators;
   std::map<ZqU32, ZqLinkEdit> m_links;
   std::vector<Transfer> m_transfers;
};
