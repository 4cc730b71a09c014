#pragma once

#include "zqManipulator/contact/exclusion/ZqSystemCollisionExclusionMap.h"
#include "zqManipulator/foundation/xml/ZqDeepCopyFlag.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/system/ZqBeforeCombining.h"
#include "zqManipulator/kinematics/system/ZqSystemEnvironment.h"
#include "zqManipulator/simulation/attachments/ZqOldManipulatorAttachmentMap.h"
#include "zqManipulator/simulation/interactions/ZqLinkInteractionsVector.h"
#include "zqManipulator/tools/labels/ZqLabelPool.h"

#include <functional>
#include <map>
#include <optional>
#include <vector>

class ZqManipulatorSystemState;
class ZqPositionState;
class ZqShapeStateCacheKey;
class ZqSystemActiveState;
class ZqVelocityState;

/// The model of a scene: manipulators by index, the environment, what acts between links, and which links of
/// different manipulators may collide. It holds no state but what its interactions remember, from one
/// `processLinkInteractions` to the next.
///
/// Labels of manipulators are unique. A manipulator may be a reference to another one's model, and
/// has then no links of its own: `aboutToModifyManipulator` ends such sharing before a
/// model is changed. All indices are places in `manipulators()`; an index that does not exist is
/// answered with false, null or zero. References to manipulators last until the system is changed.
class ZqManipulatorSystem : public ZqXmlClass<ZqManipulatorSystem>
{
public:
   using Manipulators = ZqIndividualManipulator::Manipulators;

   static const ZqToken& classToken() { return ZqManip::ZqManipulatorSystemToken; }
   static constexpr const char* documentation =
      "the model of a scene: its environment and its manipulators";
   template <class This = ZqManipulatorSystem>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_environment, &ZqManip::ZqEnvironmentToken,
                     "frame and gravity of the scene"},
         ZqComponent{&This::m_manipulators, &ZqManip::ZqManipulatorsToken, "manipulators by index"},
         ZqOptionalComponent(&This::m_linkInteractionsVector,
                             &ZqManip::ZqLinkInteractionsVectorToken, "what acts between links"),
         ZqComponent{&This::m_collisionExclusionMap, &ZqManip::ZqSystemCollisionExclusionMapToken,
                     "pairs of links that need not be tested for collision"},
         ZqReadOnlyComponent(&This::m_manipulatorAttachmentMap,
                             &ZqManip::ZqManipulatorAttachmentMapToken,
                             "attachments of old documents"),
         ZqAttributeComponent(&This::m_totalReadableLinkCount,
                              &ZqManip::ZqTotalReadableLinkCountToken,
                              "how many links the document has, for progress")};
   }
   /// Numbers the manipulators and makes their labels unique, whatever the document says.
   bool read(ZqXmlReader& reader) override;
   /// Hands the number of links that the document announces on to the reader.
   bool readAttributes(ZqXmlReader& reader) override;
   bool write(ZqXmlWriter& writer) const override;

   ZqManipulatorSystem();
   /// With `ZqFoundCommon::CopyAll`, no shape is shared with the other system.
   ZqManipulatorSystem(const ZqManipulatorSystem& other,
                       ZqFoundCommon::DeepCopyFlag flag = ZqFoundCommon::ShareWhatMayBeShared);
   ZqManipulatorSystem& operator=(const ZqManipulatorSystem& other);
   ~ZqManipulatorSystem() override = default;
   bool operator==(const ZqManipulatorSystem& other) const;

   /// Appends a copy of another system, which may be this one: its manipulators, with new labels where
   /// theirs are taken, and its collision exclusions, which are shifted by the number of its own
   /// manipulators. Interactions of the other system are left out. True.
   virtual bool mergeWith(const ZqManipulatorSystem& other);
   virtual ZqU32 jointDof(ZqU32 index) const;
   /// \name Totals over all manipulators
   /// @{
   virtual ZqU32 jointDof() const;
   virtual ZqU32 jointAndBaseDof() const;
   /// @}
   virtual const ZqSystemEnvironment& environment() const { return m_environment; }
   virtual void setEnvironment(const ZqSystemEnvironment& environment)
   {
      m_environment = environment;
   }
   virtual const Manipulators& manipulators() const { return m_manipulators; }
   virtual void setManipulators(const Manipulators& manipulators);
   /// Appends a copy, with a new label if its own is taken.
   virtual void addManipulator(const ZqIndividualManipulator& manipulator);
   /// Replaces one manipulator; the label stays. References to the old one keep its model.
   virtual bool exchangeManipulator(const ZqString& label,
                                    const ZqIndividualManipulator& manipulator);
   /// Replaces one manipulator together with its label, which is a new one if it is taken.
   virtual bool exchangeManipulator(ZqU32 index, const ZqIndividualManipulator& manipulator);
   /// References to the manipulator keep its model. What `aboutToModifyManipulator` refuses is not
   /// deleted; the answer is true all the same.
   virtual bool deleteManipulator(ZqU32 index);
   /// The index of the manipulator; -1 for an unknown label.
   virtual int deleteManipulator(const ZqString& label);
   /// False when the old label is unknown or the new one is in use.
   virtual bool changeManipulatorLabel(const ZqString& oldLabel, const ZqString& newLabel);
   /// Lets a function change one manipulator, in place, in any way. What the system holds by index or
   /// label of links follows them, and so does what the manipulator holds itself; a label of the
   /// manipulator that is in use already is replaced. Answers the record of what moved, for those who
   /// hold more, such as states; none for an index that does not exist. References to the manipulator keep
   /// its model, one that is edited gets its own, and all stay where they are placed. What the function
   /// throws comes through, when everybody has followed what it did until then.
   std::optional<ZqModelEdit>
   editManipulator(ZqU32 index, const std::function<void(ZqIndividualManipulator&)>& change);
   /// Null for an unknown label.
   virtual const ZqIndividualManipulator* manipulatorByIdentifier(const ZqString& label) const;
   /// Numbers the manipulators, makes their labels unique and binds references to their models. Where
   /// several have the same label, the first that is no reference keeps it, or else the first; the
   /// others get new labels.
   virtual void mapManipulators();
   /// Becomes a system of one manipulator, without interactions; environment and collision exclusions
   /// stay.
   virtual void setFromIndividualManipulator(const ZqIndividualManipulator& manipulator);
   virtual const ZqLinkInteractionsVector& linkInteractionsVector() const
   {
      return m_linkInteractionsVector;
   }
   virtual void setLinkInteractionsVector(const ZqLinkInteractionsVector& interactions);
   virtual const ZqSystemCollisionExclusionMap& collisionExclusionMap() const
   {
      return m_collisionExclusionMap;
   }
   virtual void setCollisionExclusionMap(const ZqSystemCollisionExclusionMap& map);
   /// What an old document says of attachments.
   virtual const ZqOldManipulatorAttachmentMap& manipulatorAttachmentMap() const
   {
      return m_manipulatorAttachmentMap;
   }
   /// Moves all manipulators of a state by its rates, which stay, and its time with them: a kinematic
   /// step of dt seconds, without forces and without collisions. A step that is not finite is rejected
   /// with a message.
   virtual void propagateStateBy(ZqManipulatorSystemState& state, ZqReal dt) const;
   /// The same for one manipulator. Nothing, when there is no such index.
   virtual void propagateSingleStateBy(ZqU32 index, const ZqVelocityState& velocity, ZqReal dt,
                                       ZqPositionState& position) const;
   /// Gives a state the shape of the system, unless it has it. Frames, base velocities and rates that
   /// fit stay and so does the time; every joint position grows by 1e-9, a start that is not zero, and
   /// what is missing starts from zero.
   virtual void rightSizeState(ZqManipulatorSystemState& state) const;
   /// Whether a state has the manipulators of the system with as many joints each.
   virtual bool isCompatible(const ZqManipulatorSystemState& state) const;
   /// A sphere, in the system frame, about all manipulators that have a position in the state.
   virtual ZqSphere absoluteBoundingSphere(const ZqManipulatorSystemState& state) const;
   virtual ZqU32 numberOfManipulators() const { return m_manipulators.size(); }
   /// Computes the `generalForceVector` of the active state by `ZqLinkInteractionsVector::computeForces`,
   /// unless it is valid. What the interactions remember is led on: a system of which copies are
   /// simulated, as by `ZqSimulation`, has them not evaluated by several threads.
   virtual void processLinkInteractions(ZqSystemActiveState& activeState, const ZqReal& time,
                                        const ZqXmlVectorType<ZqManipulatorTorque>& torques) const;
   /// The `precisionLevel` of the first interaction that is a `ZqLinkCollisionForce`; else 0.
   virtual ZqU32 collisionDetectionPrecisionLevel() const
   {
      return m_collisionDetectionPrecisionLevel;
   }
   /// Turns manipulators that equal an earlier one but for the label into references to it. True.
   virtual bool findAndConvertToReferences();
   /// `ZqIndividualManipulator::setSurfacesByIDs` in one manipulator; those that share its model share the
   /// surfaces.
   virtual bool setSurfacesByKey(const ZqShapeStateCacheKey& key,
                                 const ZqShape::Surfaces& surfaces);
   /// Sets the upper or the lower limit of the joint of a link.
   virtual bool setJointLimit(ZqU32 index, const ZqString& linkLabel, bool upper, ZqReal value);
   /// Whether two links of different manipulators are no pair of the collision exclusion map, by link
   /// index. Pairs within one manipulator are that one's own matter: true.
   virtual bool canCollide(ZqU32 manipulator1, ZqU32 link1, ZqU32 manipulator2, ZqU32 link2) const;
   /// `ZqManipulatorLink::replaceLinkProperties` in one manipulator. Other links keep the shapes that they
   /// share with the one that is changed.
   virtual bool replaceLinkProperties(ZqU32 index, const ZqString& linkLabel,
                                      const ZqManipulatorLink& properties, bool withShapes);
   /// `ZqIndividualManipulator::truncateValues` in all manipulators.
   virtual void truncateValues(ZqReal tolerance);
   /// The numbers of the shapes of each link: for each manipulator those of the base, and then those of the
   /// links by index.
   virtual void getNumberOfShapes(std::vector<std::vector<std::vector<ZqU32>>>& numbers) const;
   /// `ZqManipulatorLink::unreferenceShapes` in all manipulators.
   virtual void unreferenceShapes();
   /// `ZqIndividualManipulator::replaceLinkShape` in one manipulator.
   virtual bool replaceLinkShape(ZqU32 index, const ZqString& linkLabel, const ZqShape& shape,
                                 ZqU32 shapeIndex, bool replaceAll);
   /// \name Manipulators that become one, and two again
   /// What the system holds by index or label of links follows them. References to the manipulators keep their
   /// models. False, with no change and a message, for an index or a label that does not exist, for two of which
   /// one is the other or refers to it, and for all that the operations of the manipulator reject.
   /// @{
   /// Mounts the first manipulator on a link of the second one (`ZqIndividualManipulator::combineManipulator`),
   /// and removes it. Its label stays in use. Where it was excluded from collision with a whole manipulator, its
   /// links below the base still are.
   virtual bool combineManipulator(ZqU32 first, ZqU32 second, const ZqString& link,
                                   const ZqCoordinateSystemTransformation& transform);
   bool combineManipulator(const ZqString& first, const ZqString& second, const ZqString& link,
                           const ZqCoordinateSystemTransformation& transform);
   /// Takes the manipulator of a label off the one that it came to, or that it is a part of since. Answers the
   /// indices of the two as they are then, and where the primary frame of its base stood in that of the link.
   /// It comes to the index that it had, if there are as many manipulators. What spoke of its base does so again
   /// if nothing of that kind has changed since; else it speaks of the link that carried it.
   virtual bool uncombineManipulator(const ZqString& label, ZqU32& parent, ZqU32& child,
                                     ZqCoordinateSystemTransformation& transform);
   /// The record of what moved, for those who hold more, such as states; none where nothing changed.
   /// @{
   std::optional<ZqModelEdit> combine(ZqU32 first, ZqU32 second, const ZqString& link,
                                      const ZqCoordinateSystemTransformation& transform);
   struct Uncombined
   {
      ZqModelEdit edit;
      ZqU32 parent;       ///< index afterwards
      ZqU32 child;        ///< index afterwards
      ZqString linkLabel; ///< of the link that carried it
      ZqCoordinateSystemTransformation transform;
   };
   std::optional<Uncombined> uncombine(const ZqString& label);
   /// @}
   /// @}
   virtual const ZqLabelPool& labelPool() const { return m_labelPool; }
   /// `ZqIndividualManipulator::replaceLinkKinematics` in one manipulator.
   virtual bool replaceLinkKinematics(ZqU32 index, const ZqString& linkLabel,
                                      const ZqLinkKinematics& joint);

   /// One for each manipulator, and one for each joint of those that are no references: what a
   /// document of the system holds.
   ZqU32 countAllReadableLinks() const;
   /// `ZqIndividualManipulator::setChildLinkNamedFrames` in one manipulator.
   bool setNamedFrames(ZqU32 manipulator, ZqU32 link, const ZqManipulatorLink::NamedFrames& frames);
   bool setSelfCollisionMap(const ZqManipulatorSelfCollisionLinkMap& map, ZqU32 index);

protected:
   /// To be called before the model of one manipulator changes, so that the change reaches it alone.
   /// The first of the manipulators that refer to it takes over a copy of the model, to which the
   /// others then refer; a manipulator that is a reference gets a copy of the model at the end of its
   /// chain of references, or, with a message, stays a reference when there is none.
   virtual bool aboutToModifyManipulator(ZqU32 index);
   virtual bool aboutToModifyManipulator(const ZqString& label);
   virtual void computeCollisionDetectionPrecisionLevel();
   /// References to the manipulator get its new label.
   virtual bool changeManipulatorLabelWithoutCheckingUniqueness(ZqU32 index, const ZqString& label);

   /// One entry for each joint of the system: a (m), alpha (rad) and d (m) in Craig's convention, or
   /// nothing for a joint that is not of that convention. True.
   bool getCraigDhParameters(std::vector<std::vector<ZqReal>>& result) const;

private:
   friend class ZqStatedSystem; // builds a manipulator in place

   bool findManipulator(const ZqString& label, ZqU32& index) const;
   void follow(const ZqModelEdit& edit);
   std::vector<ZqString> manipulatorLabels() const;
   bool isAboutToModify(ZqU32 index, const char* operation);
   bool separate(ZqU32 index);
   void takeModelOfReferenced(ZqU32 index);
   ZqIndividualManipulator* modelOf(ZqIndividualManipulator& reference);
   void reportUnboundReferences() const;
   void labelNewManipulator(ZqU32 index);
   void attachCollisionExclusionMap() { m_collisionExclusionMap.buildMapFromSystem(*this); }

   ZqSystemEnvironment m_environment;
   Manipulators m_manipulators;
   ZqLinkInteractionsVector m_linkInteractionsVector;
   ZqSystemCollisionExclusionMap m_collisionExclusionMap;
   ZqOldManipulatorAttachmentMap m_manipulatorAttachmentMap;
   mutable ZqU32 m_totalReadableLinkCount = 0; ///< of the document; not copied
   ZqLabelPool m_labelPool;
   /// What speaks of links.
   struct Holders
   {
      ZqLinkInteractionsVector interactions;
      ZqSystemCollisionExclusionMap exclusions;
      ZqOldManipulatorAttachmentMap attachments;

      bool operator==(const Holders&) const = default;
   };
   Holders holders() const
   {
      return {m_linkInteractionsVector, m_collisionExclusionMap, m_manipulatorAttachmentMap};
   }
   ZqBeforeCombining<Holders> m_beforeCombining;
   ZqU32 m_collisionDetectionPrecisionLevel = 0;
   /// The manipulators that are references, by the label that they refer to, since the last mapping.
   std::multimap<ZqString, ZqU32> m_references;
};

extern template class ZqXmlClass<ZqManipulatorSystem>;
