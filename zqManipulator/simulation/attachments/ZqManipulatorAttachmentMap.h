#pragma once

#include "zqManipulator/simulation/attachments/ZqManipulatorAttachmentChange.h"
#include "zqManipulator/simulation/attachments/ZqManipulatorAttachmentNode.h"

class ZqModelEdit;
class ZqOldManipulatorAttachmentMap;
struct ZqModelScaling;

/// Which manipulators of a system hang on links of others: a forest, in which a manipulator occurs at
/// most once. A base node is the root of a tree, and moves by itself. The base frames of all others
/// follow from the map and the states.
///
/// Each change is recorded: the last one goes into documents, the list of all since the last reset does
/// not, and takes no part in equality.
class ZqManipulatorAttachmentMap : public ZqXmlClass<ZqManipulatorAttachmentMap>
{
public:
   using BaseNodes = ZqXmlVectorType<ZqManipulatorAttachmentNode>;
   using ChangeVector = ZqXmlVectorType<ZqManipulatorAttachmentChange>;

   /// The levels that a tree can get by `attachManipulator`: what can be built can be written and read.
   static constexpr ZqU32 maxLevels = 1000;

   static const ZqToken& classToken() { return ZqManip::ZqManipulatorAttachmentMapToken; }
   static constexpr const char* documentation =
      "which manipulators hang on links of others: a forest";
   template <class This = ZqManipulatorAttachmentMap>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_baseNodes, &ZqManip::ZqManipulatorAttachmentNodeVectorToken,
                     "manipulators that hang on none, with what hangs on them"},
         ZqComponent{&This::m_lastAttachmentChange, &ZqManip::ZqLastAttachmentChangeToken,
                     "what was attached or detached last"}};
   }
   /// Leaves a forest: where a manipulator occurs again, be it below itself, the node is removed with
   /// all that hangs on it, and a remark says so.
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqManipulatorAttachmentMap& other) const;

   virtual const BaseNodes& baseNodes() const { return m_baseNodes; }
   virtual void setBaseNodes(const BaseNodes& nodes);
   /// Attaches a manipulator, with all that hangs on it, to a link of another one, or moves it there.
   /// The offset is in the primary frame of the link. False, and no change, when the manipulator is the
   /// base itself, carries it, hangs on it through others, or hangs just there within 1e-6; and, with a
   /// message, when a tree would get too many levels. An attachment that only moves on its base keeps
   /// its name.
   virtual bool attachManipulator(ZqU32 manipulatorIndex, ZqU32 baseManipulatorIndex,
                                  const ZqString& linkLabel,
                                  const ZqCoordinateSystemTransformation& offset,
                                  const ZqString& name);
   /// Detaches a manipulator; what hangs on it goes with it, as a tree of its own. False when it is not
   /// attached.
   virtual bool removeManipulatorAttachment(ZqU32 manipulatorIndex);
   virtual const ChangeVector& attachmentChangeVector() const { return m_attachmentChangeVector; }
   virtual void resetAttachmentChangeVector() { m_attachmentChangeVector.clear(); }
   /// Removes a manipulator with all that hangs on it, and a tree of which only the root is left. False
   /// when it does not occur. The tree after one that is removed is not looked at.
   virtual bool removeManipulator(ZqU32 manipulatorIndex);
   /// Where a manipulator hangs. False when it hangs on no other one.
   virtual bool getDependentManipulatorInfo(ZqU32 manipulatorIndex, ZqU32& baseManipulatorIndex,
                                            ZqString& linkLabel,
                                            ZqCoordinateSystemTransformation& offset) const;
   /// What hangs on one link, without what hangs on that in turn. False when nothing does.
   virtual bool
   getDependentManipulatorsAndOffsets(ZqU32 manipulatorIndex, const ZqString& linkLabel,
                                      std::vector<ZqU32>& indices,
                                      std::vector<ZqCoordinateSystemTransformation>& offsets) const;
   /// All that hangs on a manipulator, directly or on others that do, depth first.
   virtual std::vector<ZqU32> dependentManipulators(ZqU32 manipulatorIndex) const;
   /// Where all that hangs on a manipulator is: see `ZqManipulatorAttachmentNode`. The lists are emptied
   /// first. False when the manipulator is attached to, but does not exist.
   virtual bool calculateBaseLocations(
      ZqU32 manipulatorIndex, const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
      ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
      std::vector<ZqCoordinateSystemTransformation>& positions) const;
   /// Where all manipulators that are attached are, with velocities that need not be those of the links:
   /// see `ZqManipulatorAttachmentNode`. False when there are none.
   virtual bool
   calculateBaseLocationsAndVelocities(const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
                                       ZqXmlVectorType<ZqManipulatorActiveState>& activeStates,
                                       std::vector<ZqU32>& indices,
                                       std::vector<ZqCoordinateSystemTransformation>& positions,
                                       std::vector<ZqGeneralMotion>& velocities) const;
   /// The same for all that hangs on one manipulator, as `calculateBaseLocations`.
   virtual bool calculateBaseLocationsAndVelocities(
      ZqU32 manipulatorIndex, const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
      ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
      std::vector<ZqCoordinateSystemTransformation>& positions,
      std::vector<ZqGeneralMotion>& velocities) const;
   /// Where all manipulators that are attached are, and how they move with their links. False when there
   /// are none.
   bool calculateBaseMotions(const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
                             ZqXmlVectorType<ZqManipulatorActiveState>& activeStates,
                             std::vector<ZqU32>& indices,
                             std::vector<ZqCoordinateSystemTransformation>& positions,
                             std::vector<ZqGeneralMotion>& velocities) const;
   /// The manipulator at the root of the tree: the one itself when it hangs on nothing.
   virtual ZqU32 baseManipulatorIndex(ZqU32 manipulatorIndex) const;
   /// Makes the map a new one.
   virtual void clear();
   virtual void shiftManipulatorIndices(ZqU32 shift);
   /// For a manipulator that leaves the system: removes it with all that hangs on it, and closes the gap
   /// in the indices.
   virtual void deleteManipulatorAndShift(ZqU32 manipulatorIndex);
   /// Appends the trees of the other map, whose indices the caller has shifted. True.
   virtual bool mergeWith(const ZqManipulatorAttachmentMap& other);
   /// What of the old map makes no forest is left out.
   virtual void convertFromOldFormat(const ZqOldManipulatorAttachmentMap& oldMap);
   /// The tree whose root is the manipulator. Null when there is none.
   virtual const ZqManipulatorAttachmentNode* findBaseNode(ZqU32 manipulatorIndex) const;
   /// Null when the manipulator does not occur.
   virtual ZqManipulatorAttachmentNode* findNode(ZqU32 manipulatorIndex);
   virtual const ZqManipulatorAttachmentNode* findNode(ZqU32 manipulatorIndex) const;

   const ZqManipulatorAttachmentChange& lastAttachmentChange() const
   {
      return m_lastAttachmentChange;
   }

   /// Removes the manipulators of this index and above, for a system that has not so many, each with all
   /// that hangs on it, and trees of which only the root is left. Returns those at the top of what went.
   std::vector<ZqU32> removeManipulatorsFrom(ZqU32 count);
   /// Attachments follow manipulators and links, and so do the records of their changes. What hangs on
   /// something that is gone comes off, and keeps what hangs on it in turn.
   void apply(const ZqModelEdit& edit);
   /// What is attached to a manipulator that changes its size stays where it is on its links.
   void scaleBy(const ZqModelScaling& scaling);

private:
   void applyToChanges(const ZqModelEdit& edit);
   void record(const ZqManipulatorAttachmentChange& change);

   BaseNodes m_baseNodes;
   ZqManipulatorAttachmentChange m_lastAttachmentChange;
   ChangeVector m_attachmentChangeVector;
};

extern template class ZqXmlClass<ZqManipulatorAttachmentMap>;
