#pragma once

#include "zqManipulator/foundation/proximity/ZqShapeKeys.h"
#include "zqManipulator/kinematics/system/ZqCombination.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystemConfiguration.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystemContainer.h"
#include "zqManipulator/simulation/records/ZqPropagationResultData.h"
#include "zqManipulator/state/ZqInteractionState.h"
#include "zqManipulator/state/ZqManipulatorSystemState.h"
#include "zqManipulator/tools/variation/ZqVariationStudy.h"

#include <memory>
#include <vector>

class ZqAccelerationState;
class ZqSystemActiveState;
class ZqSystemPointEvent;

/// A system together with its state and its configuration: the usual root of a document.
///
/// A manipulator that is added or removed gets or loses its place in the state as well. The system is
/// shared with copies of the stated system until one of them changes it (`aboutToModifySystem`); state
/// and configuration are each one's own. Each copy may be used by another thread. What is const serves any
/// number of threads, except where the stated system keeps an active state or results itself: they are
/// told below.
class ZqStatedSystem : public ZqXmlClass<ZqStatedSystem>
{
public:
   using ShapeKeys = std::vector<ZqShapeStateCacheKey>;
   using PropagationResults = ZqXmlVectorType<ZqPropagationResultData>;

   static const ZqToken& classToken() { return ZqManip::ZqStatedSystemToken; }
   static constexpr const char* documentation =
      "a scene: a system with its state and configuration";
   template <class This = ZqStatedSystem>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_systemContainer, &ZqManip::ZqManipulatorSystemContainerToken,
                     "model of the scene"},
         ZqComponent{&This::m_state, &ZqManip::ZqStateToken, "positions and velocities at a time"},
         ZqComponent{&This::m_configuration, &ZqManip::ZqManipulatorSystemConfigurationToken,
                     "attachments and exclusions that change at run time"},
         ZqOptionalComponent(&This::m_interactionState, &ZqManip::ZqInteractionStateToken,
                             "what contacts and interactions remember at the time of the state"),
         ZqOptionalComponent(&This::m_variationOrigin, &ZqManip::ZqVariationOriginToken,
                             "what a varied scene comes from"),
         ZqOptionalComponent(&This::m_combinations, &ZqManip::ZqCombinationsToken,
                             "of what manipulators are made that can be taken apart again")};
   }
   /// The system of an old document is a component that is made for reading alone.
   void registerComponents() override;
   /// Takes over what an old document has in other places, and makes the state fit the system, with
   /// messages.
   bool read(ZqXmlReader& reader) override;

   ZqStatedSystem();
   /// Shares the system unless the flag says otherwise.
   ZqStatedSystem(const ZqStatedSystem& other,
                  ZqFoundCommon::DeepCopyFlag flag = ZqFoundCommon::ShareWhatMayBeShared);
   ZqStatedSystem& operator=(const ZqStatedSystem& other);
   ~ZqStatedSystem() override;
   /// A shared empty stated system.
   static const ZqStatedSystem& nullObject();
   /// Does not ask whether the system was modified.
   bool operator==(const ZqStatedSystem& other) const;

   /// Appends another stated system, without what acts between its links. A failure to merge the
   /// configurations does not change the answer.
   virtual bool mergeWith(const ZqStatedSystem& other);
   virtual const ZqManipulatorSystem& system() const { return *m_systemContainer.element(); }
   /// The state stays as it is.
   virtual void setSystem(const ZqManipulatorSystem& system);
   /// The same with a system to be owned; null stands for an empty one. The configuration stays
   /// compiled against the old one.
   virtual void setAndDeleteSystemPointer(ZqManipulatorSystem* system);
   /// The state becomes a new one that fits.
   virtual void setFromSystem(const ZqManipulatorSystem& system);
   virtual void setFromManipulator(const ZqIndividualManipulator& manipulator);
   /// Becomes a system of one empty manipulator, for the caller to build in place and then to call
   /// `finalizeOneManipulator`, which makes a new state.
   virtual ZqIndividualManipulator& clearAndInitializeForOneManipulator();
   virtual void finalizeOneManipulator();
   /// With the state that `rightSizeState` gives it.
   virtual void addManipulator(const ZqIndividualManipulator& manipulator);
   virtual void addManipulator(const ZqIndividualManipulator& manipulator,
                               const ZqPositionState& position, const ZqVelocityState& velocity);
   virtual bool exchangeManipulator(ZqU32 index, const ZqIndividualManipulator& manipulator,
                                    const ZqPositionState& position,
                                    const ZqVelocityState& velocity);
   /// Adds a manipulator that is a plain body of a shape, with a mass of 1 kg
   /// (`ZqManipulatorLink::setFromShape`) and with these surfaces, and puts its base frame at the frame. Both
   /// the manipulator and its base get the label. The index of the manipulator.
   virtual ZqU32 addShapeAsManipulator(const ZqShape& shape,
                                       const ZqCoordinateSystemTransformation& frame,
                                       const ZqString& label, const ZqShape::Surfaces& surfaces);
   virtual bool changeManipulatorLabel(const ZqString& oldLabel, const ZqString& newLabel);
   /// \name Manipulators of the system
   /// Null when there is none such.
   /// @{
   virtual const ZqIndividualManipulator* manipulatorByIdentifier(const ZqString& label) const;
   virtual const ZqIndividualManipulator* manipulatorByIndex(ZqU32 index) const;
   /// @}
   virtual ZqU32 numberOfManipulators() const;
   virtual bool setSelfCollisionMap(const ZqManipulatorSelfCollisionLinkMap& map, ZqU32 index);
   /// Removes a manipulator from system, state and configuration.
   virtual bool deleteManipulator(ZqU32 index);
   /// The index of the manipulator; -1 for an unknown label. The configuration stays as it is.
   virtual int deleteManipulator(const ZqString& label);
   /// \name Edits after which all is consistent
   /// What anybody in the stated system holds by index or label follows what moved: state, exclusions,
   /// interactions, attachments with the records of their changes, results that are kept, and what manipulators hold.
   /// False for an index that does not exist.
   /// @{
   /// Appends another stated system as `mergeWith` does, with what acts between its links and with exclusions
   /// that name what they named. Environment, time and a law of contact stay those of this one; messages say
   /// where the other's are others.
   void append(const ZqStatedSystem& other);
   /// As `deleteManipulator` by index, but what is attached to what hung on the manipulator stays
   /// attached to that.
   bool removeManipulator(ZqU32 index);
   /// Lets a function change one manipulator in any way. New joints start at 1e-9, without a rate.
   ///
   ///     scene.editManipulator(0, [](ZqIndividualManipulator& arm)
   ///                           { arm.linkByIdentifier("wrist")->addChild(tool); });
   bool editManipulator(ZqU32 index, const std::function<void(ZqIndividualManipulator&)>& change);
   /// Labels a link anew. False also when there is no such link or the new label is taken.
   bool changeLinkLabel(ZqU32 index, const ZqString& oldLabel, const ZqString& newLabel);
   /// Makes a manipulator a greater or smaller one of the same kind, about the origin of its base, as
   /// `ZqModelScaling` tells: with what `scaleManipulatorBy` scales also masses that were added, named points
   /// and frames, the primary frames of all kinds of joints, springs and dampers, limits of several joints, the
   /// points of constraints and stopping criteria, and the attachments on its links, whose manipulators go with
   /// these and keep their own size. False also, with a message, for what is no scale. Without gravity, and
   /// where drives have neither inertia nor viscous friction, it moves as it did before, by torques that grow
   /// with the fifth power of the factor and forces with the fourth.
   bool resizeManipulator(ZqU32 index, ZqReal factor);
   /// Hangs a manipulator, with all that hangs on it, on a link of another one, by their labels; the offset is
   /// in the primary frame of the link. What was attached elsewhere moves. Base frames and velocities
   /// become those that follow. False, with a message and no change, for a label that there is not, a
   /// manipulator on itself or on what hangs on it, an offset that is not finite, and a chain that gets too
   /// long.
   bool attachManipulator(const ZqString& label, const ZqString& carrierLabel,
                          const ZqString& linkLabel, const ZqCoordinateSystemTransformation& offset,
                          const ZqString& name);
   /// Takes a manipulator off its carrier; it stays where it is, with the velocity that it has there, and what
   /// hangs on it stays on it. False, with a message and no change, when it is not attached or there is none.
   bool detachManipulator(const ZqString& label);
   /// @}
   /// \name Manipulators that become one, and two again
   /// As those of the system; state and configuration follow.
   /// @{
   /// Joints keep positions and rates. The base of the first manipulator is where the link has it from now on.
   virtual bool combineManipulator(ZqU32 first, ZqU32 second, const ZqString& link,
                                   const ZqCoordinateSystemTransformation& transform);
   bool combineManipulator(const ZqString& first, const ZqString& second, const ZqString& link,
                           const ZqCoordinateSystemTransformation& transform);
   /// Joints keep positions and rates, and the base of what is taken off starts where the link has it, with the
   /// velocity of the link there: nothing jumps. A base that is fixed has no velocity.
   virtual bool uncombineManipulator(const ZqString& label, ZqU32& parent, ZqU32& child,
                                     ZqCoordinateSystemTransformation& transform);
   /// @}
   /// Has the next document remember of what manipulators are made, so that whoever reads it can take them apart
   /// again. To be called when all is done and before it is written: a change of the system drops it. A manipulator
   /// that was changed since in such a way that its parts do not make it any more is left out, with a message, and
   /// the answer is false. What had spoken of a base before it was merged (springs, exclusions, attachments) is not
   /// remembered: taken apart after reading, it stays with the link that the base came to.
   bool keepCombinations();
   virtual const ZqSystemEnvironment& environment() const;
   virtual void setEnvironment(const ZqSystemEnvironment& environment);
   /// What acts between links; goes to the stated system's own model.
   void setLinkInteractionsVector(const ZqLinkInteractionsVector& interactions);

   /// \name State
   /// Whole states are taken as they are; an index that the state does not have is rejected with a
   /// message.
   /// @{
   virtual const ZqManipulatorSystemState& state() const { return m_state; }
   virtual void setState(const ZqManipulatorSystemState& state)
   {
      stateToModify() = state;
      placeReferences();
   }
   virtual void setIndividualPositionState(ZqU32 index, const ZqPositionState& position);
   virtual void
   setIndividualCoordinateSystemTransformation(ZqU32 index,
                                               const ZqCoordinateSystemTransformation& frame);
   virtual void setIndividualVelocityState(ZqU32 index, const ZqVelocityState& velocity);
   virtual void rotateIndividualBaseVelocity(ZqU32 index, const ZqOrientation& orientation);
   virtual void zeroIndividualVelocityState(ZqU32 index);
   virtual void setPositionStates(const ZqXmlVectorType<ZqPositionState>& states)
   {
      stateToModify().setPositionStates(states);
      placeReferences();
   }
   virtual void setVelocityStates(const ZqXmlVectorType<ZqVelocityState>& states)
   {
      stateToModify().setVelocityStates(states);
   }
   /// What contacts and interactions remember at the time of the state: where contacts stick, which doors are
   /// latched. Empty when they begin anew. It belongs to the model and the state as they are: whatever
   /// changes one of them empties it, and a copy keeps it. It is taken as it is; `ZqSimulation` begins with
   /// it, and drops one that does not fit.
   /// @{
   const ZqInteractionState& interactionState() const { return m_interactionState; }
   void setInteractionState(const ZqInteractionState& state) { m_interactionState = state; }
   /// @}
   /// @}

   /// What a varied scene comes from (`Zq::varyModel`); the default for all others. Copies and documents keep it,
   /// whatever changes.
   const ZqVariationOrigin& variationOrigin() const { return m_variationOrigin; }
   void setVariationOrigin(const ZqVariationOrigin& origin) { m_variationOrigin = origin; }

   virtual ZqManipulatorSystemConfiguration& configuration() { return m_configuration; }
   virtual const ZqManipulatorSystemConfiguration& configuration() const { return m_configuration; }
   virtual void setConfiguration(const ZqManipulatorSystemConfiguration& configuration);

   /// \name Propagation in time
   /// One call is one step of semi-implicit Euler from the time of the state to a time (s), with the
   /// accelerations that the caller has left in the active state: first the velocities, then by these
   /// the positions. A manipulator that comes to a joint limit or to one of its stopping criteria
   /// returns to its start of the step, and so do those that collide: in mode 1 all manipulators as
   /// soon as any two links meet, in mode 2 those that do. In mode 0, as in any other mode, nothing is
   /// looked for. Manipulators that are attached to others go where these carry them. The time
   /// advances whatever has returned, velocities do not return, and the active state is left at the
   /// start of the step, except by attachments and collisions.
   ///
   /// The results, one a manipulator, are added to: flags stay up until the caller resets them, and as
   /// long as that of a joint limit is up, the manipulator stays where it is. Neither the fidelity nor
   /// the tolerance (m) counts without a search for collisions, and the step is always that between
   /// the times: `dt` has no effect. A step that is not finite is rejected with a message, and nothing
   /// changes; one that is zero or negative is taken.
   ///
   /// A null active state stands for one that the stated system makes and keeps, for one thread. It has no
   /// accelerations, and in mode 0 without attachments no positions: what stopping criteria answer
   /// then means nothing.
   /// @{
   virtual void propagateSelfTo(ZqReal time, PropagationResults& results,
                                ZqSystemActiveState* activeState, ZqU32 mode, const ZqReal& dt,
                                const ZqU32& fidelity, const ZqReal& tolerance);
   virtual void propagateSelfTo(ZqReal time, PropagationResults& results,
                                ZqSystemActiveState* activeState);
   virtual void propagateSelfTo(ZqReal time, ZqSystemActiveState* activeState);
   virtual void propagateTo(ZqReal time, ZqManipulatorSystemState& state,
                            PropagationResults& results, ZqSystemActiveState& activeState,
                            ZqU32 mode, const ZqReal& dt, const ZqU32& fidelity,
                            const ZqReal& tolerance) const;
   /// In mode 0.
   virtual void propagateTo(ZqReal time, ZqManipulatorSystemState& state,
                            PropagationResults& results, ZqSystemActiveState& activeState) const;
   /// In mode 0, with results that the stated system keeps as long as it has the manipulator, for one
   /// thread: whoever needs to see or to reset them uses one of the other forms.
   virtual void propagateTo(ZqReal time, ZqManipulatorSystemState& state,
                            ZqSystemActiveState* activeState) const;
   /// @}
   /// \name Steps of one manipulator
   /// As those of the manipulator. Nothing, when there is no such index.
   /// @{
   virtual void propagateSingleStateBy(ZqU32 index, const ZqVelocityState& velocity, ZqReal dt,
                                       ZqPositionState& position,
                                       ZqPropagationResultData& results) const;
   virtual void propagateSingleStateBy(ZqU32 index, const ZqVelocityState& velocity, ZqReal dt,
                                       ZqPositionState& position) const;
   virtual void propagateSingleVelocityStateBy(ZqU32 index, const ZqAccelerationState& acceleration,
                                               ZqReal dt, ZqVelocityState& velocity) const;
   /// @}
   /// Puts the base of each manipulator that is attached, in the state, where the link that carries it
   /// has it. One whose carrier or link is not there stays where it is.
   void placeAttachedManipulators();
   /// Replaces the state by a new one that fits the system.
   virtual void addCompatibleState();
   /// The same, with every joint in the middle of its limits.
   virtual void setToMidpointState();
   virtual void rightSizeState(ZqManipulatorSystemState& state) const;
   /// About the system in its state.
   virtual ZqSphere absoluteBoundingSphere() const;
   /// Sets the surfaces of a shape, in the stated system's own model; manipulators and links that share the
   /// shape share them.
   virtual bool setSurfacesByKey(const ZqShapeStateCacheKey& key,
                                 const ZqShape::Surfaces& surfaces);
   /// \name Shapes that changed
   /// A list for those who draw them; the stated system itself adds nothing to it.
   /// @{
   virtual ShapeKeys& modifiedShapeKeyVec() { return m_modifiedShapeKeyVec; }
   virtual const ShapeKeys& modifiedShapeKeyVec() const { return m_modifiedShapeKeyVec; }
   virtual void setModifiedShapeKeyVec(const ShapeKeys& keys) { m_modifiedShapeKeyVec = keys; }
   /// Appends a key, unless it is there or names no shape.
   virtual void addModifiedShapeKeyVec(const ZqShapeStateCacheKey& key);
   /// @}
   /// Null when there is none.
   const ZqShape* shapeByKey(const ZqShapeStateCacheKey& key) const;
   virtual bool isTransparentDisplay() const { return m_transparentDisplay; }
   virtual void setIsTransparentDisplay(bool transparent) const
   {
      m_transparentDisplay = transparent;
   }
   /// Tells in an event which link a segment in the system enters first, and where, with the shapes or their
   /// bounding volumes of a level; without an active state, that it enters none. What the event had before is
   /// forgotten.
   virtual void intersectLineSegment(const ZqLineSegment& segment, ZqSystemPointEvent& event,
                                     ZqSystemActiveState* activeState, ZqU32 level) const;
   /// Scales the lengths of one manipulator, at constant density, and its joint positions and rates
   /// that are lengths, but not what else is on it: `resizeManipulator` does. What is no scale
   /// (`ZqModelScaling::isScale`) is rejected with a message.
   virtual bool scaleManipulatorBy(ZqU32 index, ZqReal factor);
   /// \name Operations of the system
   /// @{
   virtual bool findAndConvertToReferences();
   virtual ZqU32 jointDof(ZqU32 index) const;
   virtual bool setJointLimit(ZqU32 index, const ZqString& linkLabel, bool upper, ZqReal value);
   virtual bool replaceLinkProperties(ZqU32 index, const ZqString& linkLabel,
                                      const ZqManipulatorLink& properties, bool withShapes);
   /// @}
   /// Looks for collisions in the present state, as `checkForCollisions` does, with an active state that
   /// the stated system keeps, for one thread.
   virtual bool generateCollisionReport(PropagationResults& results, const ZqU32& fidelity,
                                        const ZqReal& tolerance) const;
   /// Whether the system was changed since the last reset.
   virtual bool isSystemModified() const { return m_systemModified; }
   virtual void resetIsSystemModified() const { m_systemModified = false; }
   /// Goes to the system itself, which may be shared: its other holders' shapes are rounded too.
   virtual void truncateValues(ZqReal tolerance);
   /// \name Transparency of a shape
   /// Sets a value of its surface "0": "zqAmbientAlpha" and so on. The old and the new value are logged. Nothing
   /// when there is no such shape.
   /// @{
   virtual void changeAmbientAlpha(const ZqShapeStateCacheKey& key, ZqReal alpha);
   virtual void changeDiffuseAlpha(const ZqShapeStateCacheKey& key, ZqReal alpha);
   virtual void changeSpecularAlpha(const ZqShapeStateCacheKey& key, ZqReal alpha);
   virtual void changeEmissionAlpha(const ZqShapeStateCacheKey& key, ZqReal alpha);
   /// @}
   virtual const ShapeKeys& selectedShapeKeyVector() const { return m_selectedShapeKeyVector; }
   virtual void setSelectedShapeKeyVector(const ShapeKeys& keys)
   {
      m_selectedShapeKeyVector = keys;
   }
   virtual ZqReal transparencyAlpha() const { return m_transparencyAlpha; }
   virtual void setTransparencyAlpha(ZqReal alpha) { m_transparencyAlpha = alpha; }
   virtual bool isSelectionDataChanged() const { return m_selectionDataChanged; }
   virtual void setIsSelectionDataChanged(bool changed) const { m_selectionDataChanged = changed; }
   /// Goes to the system itself, which may be shared: its other holders get the map too.
   virtual void setCollisionExclusionMap(const ZqSystemCollisionExclusionMap& map);
   /// These go to the configuration.
   virtual void setDynamicCollisionExclusionMap(const ZqSystemCollisionExclusionMap& map);
   virtual const ZqSystemCollisionExclusionMap& collisionExclusionMapForCA() const;
   virtual void setSollisionExclusionMapForCA(const ZqSystemCollisionExclusionMap& map);
   virtual void setManipulatorAttachmentMap(const ZqManipulatorAttachmentMap& map);
   /// False leaves the index as it was.
   virtual bool lookupManipulatorIndexFromLabel(const ZqString& label, ZqU32& index) const;
   /// Whether neither the system nor the configuration excludes a pair of links, by link index; with
   /// `checkForCA`, the exclusions for collision avoidance count too.
   virtual bool canCollide(ZqU32 manipulator1, ZqU32 link1, ZqU32 manipulator2, ZqU32 link2,
                           bool checkForCA) const;
   virtual bool replaceLinkKinematics(ZqU32 index, const ZqString& linkLabel,
                                      const ZqLinkKinematics& joint);
   virtual bool replaceLinkShape(ZqU32 index, const ZqString& linkLabel, const ZqShape& shape,
                                 ZqU32 shapeIndex, bool replaceAll);
   /// As the copy constructor with the flag.
   virtual void makeDeepCopy(ZqFoundCommon::DeepCopyFlag flag);

   bool setNamedFrames(ZqU32 manipulator, ZqU32 link, const ZqManipulatorLink::NamedFrames& frames);

protected:
   /// Makes the state's number of manipulators that of the system. False, with a message, when there
   /// was something to correct.
   virtual bool validateTopLevelDimensions();
   /// The same for the numbers of joints: positions are padded with 1e-9, rates with zero.
   virtual bool validateLowLevelDimensions();
   /// To be called before the system changes: a shared one is copied first, and what interactions remember
   /// is dropped.
   virtual void aboutToModifySystem();
   /// Tells in the results, one a manipulator, which links collide in the active state, and answers whether any
   /// do: links that may collide, of one or of two manipulators, and come within the tolerance (m) of each
   /// other. The fidelity is the level of the bounding volumes that are compared: 0 compares the shapes
   /// themselves. A manipulator that collides is looked at up to the first of its pairs that does, and the
   /// closest pair is that of those looked at.
   virtual bool checkForCollisions(ZqSystemActiveState& activeState, const ZqReal& dt,
                                   const ZqU32& fidelity, const ZqReal& tolerance,
                                   PropagationResults& results) const;

private:
   ZqManipulatorSystem& systemToModify();
   /// The state, without what interactions remember of it.
   ZqManipulatorSystemState& stateToModify()
   {
      forgetInteractions();
      return m_state;
   }
   /// To be called with every change of the system.
   void systemChanges()
   {
      m_systemModified = true;
      forgetInteractions();
      m_combinations.clear();
   }
   void forgetInteractions()
   {
      if (!m_interactionState.isEmpty())
         m_interactionState = {};
   }
   void changeAlpha(const ZqShapeStateCacheKey& key, const char* name, ZqReal alpha);
   void attachConfiguration()
   {
      m_configuration.setManipulatorSystem(&system());
      placeReferences();
   }
   void takeLegacySystem();
   void deleteState(ZqU32 index);
   void takeCombinations();
   void follow(const ZqModelEdit& edit);
   void fitJoints(ZqU32 index);
   bool isScaleOf(ZqU32 index, ZqReal factor, const char* operation) const;
   void scaleJoints(const ZqModelScaling& scaling);
   void carryAlong(ZqU32 index);
   void placeReferences();
   void reportOldAttachments() const;
   ZqSystemActiveState& activeStateOr(ZqSystemActiveState* activeState) const;
   void resetReportActiveState();

   boost::shared_ptr<ZqManipulatorSystem> m_legacySystem; ///< made when there is a need
   ZqManipulatorSystemContainer m_systemContainer;
   ZqManipulatorSystemState m_state;
   ZqManipulatorSystemConfiguration m_configuration;
   /// \name For those who bring none of their own
   /// @{
   mutable std::unique_ptr<ZqSystemActiveState> m_activeState;       ///< made at first use
   mutable std::unique_ptr<ZqSystemActiveState> m_reportActiveState; ///< made at first use
   mutable PropagationResults m_propagationResults;
   /// @}
   ShapeKeys m_modifiedShapeKeyVec;
   mutable bool m_systemModified = false;
   ShapeKeys m_selectedShapeKeyVector;
   ZqReal m_transparencyAlpha = 0.0;
   mutable bool m_selectionDataChanged = false;
   mutable bool m_transparentDisplay = false;
   ZqInteractionState m_interactionState;
   ZqVariationOrigin m_variationOrigin;
   ZqBeforeCombining<ZqManipulatorSystemConfiguration> m_beforeCombining;
   ZqCombination::Combinations m_combinations; ///< of the document
};

extern template class ZqXmlClass<ZqStatedSystem>;
