#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/state/ZqPositionState.h"
#include "zqManipulator/state/ZqVelocityState.h"

#include <functional>
#include <vector>

class ZqIndividualManipulator;
class ZqManipulatorActiveState;
class ZqModelEdit;

/// A manipulator in a tree of attachments, with what hangs on it by value. A child says to which link
/// of its parent's manipulator it is attached, and where: the offset is the frame of the child's
/// attachment in the primary frame of the link. At the root neither means anything.
///
/// Each child points to its parent. A copy has no parent; an assigned node stays in its place and
/// keeps the parent that it has.
///
/// The index `noManipulator` stands for the system itself: what hangs on it hangs on nothing that
/// moves.
class ZqManipulatorAttachmentNode : public ZqXmlClass<ZqManipulatorAttachmentNode>
{
public:
   using ChildNodes = ZqXmlVectorType<ZqManipulatorAttachmentNode>;

   static constexpr ZqU32 noManipulator = 0xFFFFFFFF;

   static const ZqToken& classToken() { return ZqManip::ZqManipulatorAttachmentNodeToken; }
   static constexpr const char* documentation =
      "a manipulator in a tree of attachments, with what hangs on it";
   template <class This = ZqManipulatorAttachmentNode>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_name, &ZqManip::ZqNameToken, "name of the attachment"},
         ZqComponent{&This::m_linkLabel, &ZqManip::ZqLinkIdentifierToken,
                     "label of the link of the parent's manipulator that it hangs on"},
         ZqComponent{&This::m_manipulatorIndex, &ZqManip::ZqManipulatorIdToken,
                     "index of the manipulator; 4294967295 for the system itself"},
         ZqComponent{&This::m_offset, &ZqManip::ZqOffsetToken,
                     "frame of the attachment in the primary frame of that link"},
         ZqComponent{&This::m_childNodes, &ZqManip::ZqChildNodesToken,
                     "what hangs on this manipulator"}};
   }
   bool read(ZqXmlReader& reader) override;

   ZqManipulatorAttachmentNode() = default;
   ZqManipulatorAttachmentNode(const ZqManipulatorAttachmentNode& other);
   /// Has the same parent: a list of siblings moves its nodes when it grows.
   ZqManipulatorAttachmentNode(ZqManipulatorAttachmentNode&& other) noexcept;
   ZqManipulatorAttachmentNode& operator=(const ZqManipulatorAttachmentNode& other);
   ZqManipulatorAttachmentNode& operator=(ZqManipulatorAttachmentNode&& other) noexcept;
   ~ZqManipulatorAttachmentNode() override = default;
   /// The parent takes no part.
   bool operator==(const ZqManipulatorAttachmentNode& other) const;

   virtual const ZqString& name() const { return m_name; }
   virtual void setName(const ZqString& name) { m_name = name; }
   virtual const ZqString& linkLabel() const { return m_linkLabel; }
   virtual void setLinkLabel(const ZqString& label) { m_linkLabel = label; }
   virtual ZqU32 manipulatorIndex() const { return m_manipulatorIndex; }
   virtual void setManipulatorIndex(ZqU32 index) { m_manipulatorIndex = index; }
   virtual const ZqCoordinateSystemTransformation& offset() const { return m_offset; }
   virtual void setOffset(const ZqCoordinateSystemTransformation& offset) { m_offset = offset; }
   virtual const ChildNodes& childNodes() const { return m_childNodes; }
   virtual void setChildNodes(const ChildNodes& nodes);
   /// Null at a root. Not owned.
   virtual const ZqManipulatorAttachmentNode* parentNode() const { return m_parentNode; }
   virtual void setParentNode(ZqManipulatorAttachmentNode* parent) { m_parentNode = parent; }

   /// Whether a node may hang on this one: its manipulator is not this one's, nor that of an ancestor
   /// or a descendant, and this node's manipulator is not below it.
   virtual bool checkAddNode(const ZqManipulatorAttachmentNode& node) const;
   /// Appends a copy. False, with `check`, when `checkAddNode` is.
   virtual bool addNode(const ZqManipulatorAttachmentNode& node, bool check);
   /// Removes the first descendant of the manipulator, and what hangs on it. False when there is none.
   virtual bool removeNode(ZqU32 manipulatorIndex);
   /// The same; `removedNode` becomes what was removed, if anything hung on it, and is else left as it
   /// stood. It must not be above or below the node that goes.
   virtual bool removeNode(ZqU32 manipulatorIndex, ZqManipulatorAttachmentNode& removedNode);
   /// The first descendant of the manipulator, depth first. Null when there is none.
   virtual ZqManipulatorAttachmentNode* findNode(ZqU32 manipulatorIndex);
   virtual const ZqManipulatorAttachmentNode* findNode(ZqU32 manipulatorIndex) const;
   /// Appends the manipulators of all descendants, depth first.
   virtual void getDependentManipulators(std::vector<ZqU32>& indices) const;
   /// Appends all manipulators below this one, depth first, and the frame of the base of each, as it
   /// stands in states: in the manipulator's place in the system. A descendant whose manipulator or
   /// link does not exist is left out with all that hangs on it. False when this manipulator does not
   /// exist.
   ///
   /// The active states of manipulators on which others hang are moved to find these, and back: they
   /// hold the same state afterwards, but not all that was derived from it.
   virtual bool
   calculateBaseLocations(const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
                          ZqXmlVectorType<ZqManipulatorActiveState>& activeStates,
                          std::vector<ZqU32>& indices,
                          std::vector<ZqCoordinateSystemTransformation>& positions) const;
   /// The same with a velocity of each base. It is that of the link at the attachment, in system axes,
   /// only for a link whose primary frame has the axes of the system and a manipulator that is placed
   /// without a turn: the offset is not turned into the system, and the placement turns the velocity.
   /// `calculateBaseMotions` answers the velocity in every case.
   virtual bool
   calculateBaseLocationsAndVelocities(const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
                                       ZqXmlVectorType<ZqManipulatorActiveState>& activeStates,
                                       std::vector<ZqU32>& indices,
                                       std::vector<ZqCoordinateSystemTransformation>& positions,
                                       std::vector<ZqGeneralMotion>& velocities) const;
   /// The same with the velocity that each base has when it moves with its link as one body: that of the
   /// link (m/s, rad/s) at the origin of the attachment, in the axes of the system, which is how
   /// velocity states hold it.
   bool calculateBaseMotions(const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
                             ZqXmlVectorType<ZqManipulatorActiveState>& activeStates,
                             std::vector<ZqU32>& indices,
                             std::vector<ZqCoordinateSystemTransformation>& positions,
                             std::vector<ZqGeneralMotion>& velocities) const;
   /// \name Renumbering of this node and its descendants; `noManipulator` stays
   /// @{
   virtual void shiftManipulatorIndices(ZqU32 shift);
   virtual void decreaseIndexGreaterThan(ZqU32 manipulatorIndex);
   /// @}

private:
   friend class ZqManipulatorAttachmentMap;

   /// A node, with what hangs on it, that came to a link of another manipulator, its new host.
   struct Moved;

   void setParentOfChildren() noexcept;
   enum class VelocityRule
   {
      OfLocations, ///< `calculateBaseLocationsAndVelocities`
      OfMotions    ///< `calculateBaseMotions`
   };

   /// Changes a tree as the edits of links and manipulators say. What comes off it and carries something
   /// is added to the roots. False when the manipulator of the node itself is gone.
   static bool apply(const ZqModelEdit& edit, ZqManipulatorAttachmentNode& node,
                     std::vector<ZqManipulatorAttachmentNode>& roots, std::vector<Moved>& moved);
   /// The velocities may be null.
   bool appendBases(const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
                    ZqXmlVectorType<ZqManipulatorActiveState>& activeStates,
                    std::vector<ZqU32>& indices,
                    std::vector<ZqCoordinateSystemTransformation>& positions,
                    std::vector<ZqGeneralMotion>* velocities, VelocityRule rule) const;
   /// Removes each node that goes, with all that hangs on it; a node is asked before those below it.
   static void removeNodes(ChildNodes& nodes,
                           const std::function<bool(const ZqManipulatorAttachmentNode&)>& goes);

   ZqString m_name;
   ZqString m_linkLabel;
   ZqU32 m_manipulatorIndex = 0;
   ZqCoordinateSystemTransformation m_offset;
   ChildNodes m_childNodes;
   ZqManipulatorAttachmentNode* m_parentNode = nullptr; ///< not owned
};

struct ZqManipulatorAttachmentNode::Moved
{
   ZqU32 host;
   ZqManipulatorAttachmentNode node;
};

extern template class ZqXmlVectorType<ZqManipulatorAttachmentNode>;

extern template class ZqXmlClass<ZqManipulatorAttachmentNode>;
