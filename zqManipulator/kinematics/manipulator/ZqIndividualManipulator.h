#pragma once

#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"
#include "zqManipulator/kinematics/manipulator/ZqManipulatorContents.h"
#include "zqManipulator/simulation/records/ZqPropagationResultData.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"
#include "zqManipulator/tools/labels/ZqModelScaling.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <set>

class ZqAccelerationState;
class ZqManipulatorActiveState;
class ZqManipulatorPointEvent;
class ZqMassMatrixTool;
class ZqPlane;
class ZqPositionState;
class ZqVelocityState;
struct ZqMotionPlan;

/// One kinematic tree of a system, which is itself the root link of the tree: its base.
///
/// The base has the link index `ZqBaseLinkIndex` and no place in states: its motion is the base frame
/// and base velocity of the state, six more degrees of freedom unless the base is fixed. The links
/// below it are numbered from 0, parents before their children; link i has joint i.
///
/// A manipulator may be a reference to another one of its system: then it has no links of its own, and
/// what is asked of its tree is answered by that one, its concrete reference.
///
/// What the manipulator holds by label or index of its links (self collision, springs, dampers,
/// constraints, stopping criteria, links to display, references between links) follows the links in all
/// operations of the manipulator that label, add or remove them. An operation of a link below it does
/// not know what is held; the manipulator then numbers its links anew before it answers, and no more.
/// A first query after such a change may be one of several at once: it takes a lock.
class ZqIndividualManipulator : public ZqXmlClass<ZqIndividualManipulator, ZqManipulatorLink>,
                                public ZqManipulatorValues
{
public:
   using Manipulators = ZqXmlVectorType<ZqIndividualManipulator>;

   static const ZqToken& classToken() { return ZqManip::ZqIndividualManipulatorToken; }
   static constexpr bool componentsReplaceBase = true;
   static constexpr const char* documentation =
      "a manipulator: a tree of links, of which it is the base itself";
   template <class This = ZqIndividualManipulator>
   static constexpr auto components()
   {
      return std::tuple_cat(
         This::template componentsForBase<>(),
         std::tuple{
            ZqComponent{&This::m_manipulatorLabel, &ZqManip::ZqManipulatorIdentifierToken,
                        "label of the manipulator, unique in its system"},
            ZqComponent{&This::m_coordSysXForm, &ZqFoundCommon::ZqCoordinateSystemTransformToken,
                        "where the manipulator is placed in the system"},
            ZqComponent{
               &This::m_absoluteBoundingSphere, &ZqManip::ZqAbsoluteBoundingSphereToken,
               "sphere about the base that encloses the reach of all links; computed when read"},
            ZqComponent{
               &This::m_isFixedBase, &ZqManip::ZqIsFixedBaseToken,
               "whether the base stays where it is; a free one has six degrees of freedom"},
            ZqComponent{&This::m_optimizeOnLoad, &ZqManip::ZqOptimizeOnLoadToken,
                        "whether viewers prepare the links for drawing when they are read"},
            ZqComponent{&This::m_manipulatorReferenceDescription,
                        &ZqManip::ZqManipulatorReferenceDescriptionToken,
                        "whose model the manipulator uses"},
            ZqOptionalComponent(&This::m_generalBoundObjects,
                                &ZqManip::ZqGeneralBoundObjectVectorToken,
                                "shapes that go with sides of linkages"),
            ZqOptionalComponent(&This::m_stateConstraints, &ZqManip::ZqStateConstraintVectorToken,
                                "functions of the joint positions that are zero or more where they "
                                "are allowed, for a client that keeps to them"),
            ZqComponent{&This::m_stateEqualityConstraints,
                        &ZqManip::ZqStateEqualityConstraintVectorToken,
                        "relations between joints that forward dynamics holds"},
            ZqComponent{&This::m_stoppingCriteria, &ZqManip::ZqStoppingCriteriaToken,
                        "conditions under which a step is taken back"},
            ZqComponent{&This::m_displayLinkIndices, &ZqManip::ZqDisplayLinkIndicesToken,
                        "indices of links, kept for viewers"},
            ZqOptionalComponent(
               &This::m_surfaces, &ZqGeom::ZqSurfacesToken,
               "values of surfaces by their name, which go before those of shapes"),
            ZqComponent{&This::m_selfCollisionLinkMap,
                        &ZqManip::ZqManipulatorSelfCollisionLinkMapToken,
                        "which pairs of its links may collide"},
            ZqReadOnlyComponent(&This::m_isControllable, &ZqManip::ZqIsControllableToken,
                                "of old documents; without effect")});
   }
   /// Numbers the links and fits the bounding sphere, whatever the document says of it. A manipulator
   /// without a label takes that of its base.
   bool read(ZqXmlReader& reader) override;
   /// Messages name the manipulator by the label of its base until its own is read.
   bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) override;

   ZqIndividualManipulator();
   ZqIndividualManipulator(const ZqIndividualManipulator& other);
   ZqIndividualManipulator(ZqIndividualManipulator&& other) noexcept;
   ZqIndividualManipulator& operator=(const ZqIndividualManipulator& other);
   ZqIndividualManipulator& operator=(ZqIndividualManipulator&& other) noexcept;
   ~ZqIndividualManipulator() override = default;
   bool operator==(const ZqIndividualManipulator& other) const;
   /// Whether the two differ in no more than their labels.
   bool equalForReferencing(const ZqIndividualManipulator& other) const;

   virtual const ZqString& manipulatorLabel() const { return m_manipulatorLabel; }
   virtual void setManipulatorLabel(const ZqString& label) { m_manipulatorLabel = label; }
   /// Becomes a manipulator of a fixed base, with the label, the tree and the contents of a link.
   virtual void setFromLink(const ZqManipulatorLink& link);
   /// Where the manipulator is placed in the system: the frame in which the state's base frame stands.
   virtual const ZqCoordinateSystemTransformation& coordSysXForm() const { return m_coordSysXForm; }
   virtual void setCoordSysXForm(const ZqCoordinateSystemTransformation& frame)
   {
      m_coordSysXForm = frame;
   }
   virtual const ZqSphere& absoluteBoundingSphere() const
   {
      bringMapsUpToDate();
      return m_absoluteBoundingSphere;
   }
   virtual void setAbsoluteBoundingSphere(const ZqSphere& sphere)
   {
      m_absoluteBoundingSphere = sphere;
   }
   virtual void buildSelfCollisionLinkMap();
   /// About the base's origin, by the reach of the tree.
   virtual void fitAbsoluteBoundingSphere();
   virtual bool isFixedBase() const { return m_isFixedBase; }
   virtual void setIsFixedBase(bool fixed) { m_isFixedBase = fixed; }
   /// Whether `recursiveOptimizeForRendering` is called when the manipulator was read.
   virtual bool optimizeOnLoad() const { return m_optimizeOnLoad; }
   virtual void setOptimizeOnLoad(bool optimize) { m_optimizeOnLoad = optimize; }
   virtual const ZqManipulatorReferenceDescription& manipulatorReferenceDescription() const
   {
      return m_manipulatorReferenceDescription;
   }
   virtual void
   setManipulatorReferenceDescription(const ZqManipulatorReferenceDescription& description)
   {
      m_manipulatorReferenceDescription = description;
   }
   /// The place of the manipulator in its system.
   virtual ZqU32 manipulatorIndex() const { return m_manipulatorIndex; }

   /// \name Degrees of freedom
   /// @{
   virtual ZqU32 jointDof() const;
   virtual ZqU32 jointAndBaseDof() const { return jointDof() + 6; }
   /// That of the joints, and for a free base six more.
   virtual ZqU32 totalDof() const { return m_isFixedBase ? jointDof() : jointAndBaseDof(); }
   /// @}

   virtual const ZqLinkCollisionTest& linkCollisionTest() const
   {
      bringMapsUpToDate();
      return m_linkCollisionTest;
   }
   /// The lower factor (6 x 6) of the inertia of the whole as one rigid body, in the base's DH frame.
   virtual const ZqReArray&
   crbiSpatialCholeskyDecomposition(ZqManipulatorActiveState& activeState,
                                    const ZqStatedSystemStruct* stateStruct) const;

   /// \name Links of the concrete reference
   /// @{
   /// `ZqBaseLinkIndex` for the base's label, `ZqNoLinkIndex` for an unknown one.
   virtual ZqU32 linkIndexByIdentifier(const ZqString& label) const;
   /// Null for an unknown label.
   virtual const ZqManipulatorLink* linkByIdentifier(const ZqString& label) const;
   ZqManipulatorLink* linkByIdentifier(const ZqString& label);
   /// The base for `ZqBaseLinkIndex`; null for any other index beyond the links.
   virtual const ZqManipulatorLink* linkByIndex(ZqU32 index) const;
   ZqManipulatorLink* linkByIndex(ZqU32 index);
   /// @}

   /// Labels a link anew, everywhere in the manipulator. False when there is no such link, or the new
   /// label is taken.
   virtual bool changeLinkLabel(const ZqString& oldLabel, const ZqString& newLabel);

   /// \name One step of time by given rates
   /// dt is in seconds, and may be negative; one that is not finite is rejected with a message, and
   /// nothing changes. Joints are moved as far as all records have them.
   /// @{
   /// Moves the joints, and a free base, whose velocity stands in the system frame. A joint that moves
   /// towards a limit stops at it, which the results tell; one that is beyond it may come back. The
   /// results also tell of a limit that depends on several joints (`ZqManipulatorLink::upperLimitConstraint`)
   /// of a joint that moves towards it; it stops nothing.
   virtual void propagateState(const ZqVelocityState& velocity, ZqReal dt,
                               ZqPositionState& position, ZqPropagationResultData& results) const;
   /// The same; the results are dropped.
   virtual void propagateState(const ZqVelocityState& velocity, ZqReal dt,
                               ZqPositionState& position) const;
   /// Changes the rates, each up to the maximum of its joint's drive, and the velocity of a free base;
   /// that of a fixed base becomes zero.
   virtual void propagateVelocityState(const ZqAccelerationState& acceleration, ZqReal dt,
                                       ZqVelocityState& velocity) const;
   /// @}

   /// \name Trees that are put together, and taken apart
   /// Nothing changes where false is answered, or none; a message then names manipulators and link.
   /// @{
   /// Mounts a copy of another manipulator on a link: its base, whose primary frame stands at the rigid
   /// transformation in the primary frame of the link, becomes a part of the link
   /// (`ZqManipulatorLink::addLinkToUnion`), and its links become children of the link. Their labels stay where
   /// they are free. Springs, dampers, sensors, limits, shapes that links share, bound objects, constraints,
   /// stopping criteria, links to display and pairs that may collide come along. A sensor of the base stays as it
   /// is, whatever it knows of a place on it. A named surface of the manipulator that is taken keeps what it has,
   /// with a message. A constraint on the velocity of the other's base is dropped, since it has none of its own
   /// any more.
   ///
   /// False for a link that does not exist, for a manipulator that is this one, that refers to it or to which it
   /// refers, and when links on the other's base have no joint.
   virtual ZqBoolean combineManipulator(const ZqString& linkLabel,
                                        const ZqIndividualManipulator& manipulator,
                                        const ZqCoordinateSystemTransformation& transform);
   /// Takes a manipulator off again: answers it with its own labels and joints and with what it brought, the
   /// link that it was on, and where the primary frame of its base stood in that of the link. What was not changed
   /// meanwhile is to the bit as it was, in the manipulator and in this one; links that were added to those of
   /// the manipulator go with them. Any number of manipulators is taken off in any order, also one that came within
   /// another one. Of several with one label it is the first one. False also when one of its links does not hang
   /// on the link that it was mounted on any more, as when others were put between.
   virtual ZqBoolean uncombineManipulator(const ZqString& label, ZqString& linkLabel,
                                          ZqIndividualManipulator& manipulator,
                                          ZqCoordinateSystemTransformation& transform);
   /// What moved. The two operations answer it for those who hold indices and labels of links.
   struct CombinationRecord
   {
      ZqLinkEdit links;    ///< of this manipulator
      ZqLinkEdit transfer; ///< of links that came from the other one, or went to it
      ZqString linkLabel;  ///< of the link that carries the other one
      ZqU32 otherIndex;    ///< of the other one in its system, before it was combined
   };
   std::optional<CombinationRecord> combine(const ZqString& linkLabel,
                                            const ZqIndividualManipulator& manipulator,
                                            const ZqCoordinateSystemTransformation& transform);
   std::optional<CombinationRecord> uncombine(const ZqString& label,
                                              ZqIndividualManipulator& manipulator,
                                              ZqCoordinateSystemTransformation& transform);
   /// Replaces a link and all below it by a copy of another one. Other links keep the shapes that they share
   /// with the link, what is held by label follows links of the same label, and all pairs of links are excluded
   /// from collision. False when there is no such link.
   virtual ZqBoolean replaceLinkAndChildren(const ZqString& label, const ZqManipulatorLink& link);
   /// `ZqManipulatorLink::transformLinkTreeBy` of a link. False also when there is none.
   virtual ZqBoolean transformLinkSubtreeBy(const ZqString& label,
                                            const ZqCoordinateSystemTransformation& transform);
   /// @}
   /// Turns links with equal shapes into references. True.
   virtual bool findAndConvertToReferences();
   /// To be called before the shapes of a link change: links that use them get their own copies.
   /// False when there is no such link.
   virtual bool aboutToModifyLink(const ZqString& label);
   /// \name Shapes of links
   /// Other links keep the shapes that they share with one that is changed. False when there is no such link.
   /// @{
   /// Replaces the shape of a number. The first, or all, is the shape of the link: with its volumes it gives
   /// way to the new one. Of a union, unless all is to be replaced, one member gives way, and the volumes
   /// around the union go, since they need not hold the new member. A number of a bounding volume, or beyond,
   /// puts the shape in the place of that volume and of those around it.
   virtual bool replaceLinkShape(const ZqString& label, const ZqShape& shape, ZqU32 shapeIndex,
                                 bool replaceAll);
   /// Makes a shape the one bounding volume of the link's shape, with the surfaces that are given, or else
   /// with `ZqDataMap::boundingColor`. False also for a link without a shape.
   virtual bool setBoundingVolume(const ZqString& label, const ZqShape& volume,
                                  const ZqShape::Surfaces* surfaces = nullptr);
   /// Add a bounding volume to each link that has a shape of its own; boxes only where there are none yet.
   /// @{
   void addBoundingBoxToLinks();
   void addCapsuleBoundingVolumeToLinks();
   void addSphereBoundingVolumeToLinks();
   void addConvexHullToLinks();
   /// @}
   /// Makes a bounding volume of each link that has one around a shape of its own its only shape: the
   /// coarsest one, or the finest. Its one surface, "Bounding", has the values that are given, and of the
   /// shape that goes the material and the spring constant, where one of its surfaces has them.
   virtual void simplifyLinkShapesWithBoundingVolumes(const ZqDataMap& data, bool withCoarsest);
   /// The same with new bounding volumes, in place of those that there are.
   /// @{
   virtual void simplifyLinkShapesWithCapsules(const ZqDataMap& data);
   virtual void simplifyLinkShapesWithConvexHulls(const ZqDataMap& data);
   /// @}
   /// Sets the surfaces of a shape of a link, by index; links that share the shape share them.
   virtual bool setSurfacesByIDs(ZqU32 linkIndex, ZqU32 shapeIndex,
                                 const ZqShape::Surfaces& surfaces);
   /// @}
   /// Values of surfaces by name, for all links: `lookup` finds them first.
   virtual const ZqShape::Surfaces& surfaces() const { return m_surfaces; }
   virtual void setSurfaces(const ZqShape::Surfaces& surfaces) { m_surfaces = surfaces; }
   using ZqManipulatorLink::setSurfaces;
   /// Tells in an event which link a segment in the system enters first, and where, if that is nearer to the
   /// segment's beginning than what the event has: the joints' links by index, then the base.
   virtual void intersectLineSegmentWithManipulator(const ZqLineSegment& segment,
                                                    ZqManipulatorPointEvent& event,
                                                    ZqManipulatorActivePositionState& activeState,
                                                    ZqU32 level) const;
   /// \name Joints and frames of links
   /// False, with no change, when there is no such link.
   /// @{
   /// Replaces the joint of a link, and with it the primary frame.
   virtual bool replaceLinkKinematics(const ZqString& label, const ZqLinkKinematics& joint);
   virtual bool replaceLinkKinematics(ZqU32 index, const ZqLinkKinematics& joint);
   /// Replaces the primary frame of a link. What is stated in it stays as it is told, and moves.
   virtual bool replaceLinkPrimaryFrame(const ZqString& label,
                                        const ZqCoordinateSystemTransformation& frame);
   virtual bool replaceLinkPrimaryFrame(ZqU32 index, const ZqCoordinateSystemTransformation& frame);
   /// Changes the primary frame of a link, and restates what is stated in it: nothing moves. Points of
   /// constraints and polygons of stopping criteria follow; so does what a scene states of the link, in
   /// `editManipulator`. Links that use the shapes of this one get their own. False, with a message, also
   /// for a link without a joint.
   virtual bool transformPrimaryFrame(const ZqString& label,
                                      const ZqCoordinateSystemTransformation& frame);
   using ZqManipulatorLink::transformPrimaryFrame;
   /// The same for all links, with the identity. Links that share shapes go on sharing them if they have
   /// the same primary frame; the others get their own. True.
   virtual bool transformAllPrimaryFramesToIdentity();
   /// `transformComponentsBy` of a link: its contents move. Links that use its shapes get their own.
   virtual bool transformLinkComponentsBy(const ZqString& label,
                                          const ZqCoordinateSystemTransformation& T);
   /// @}
   /// Finds the manipulator that this one refers to. False when this one is no reference, or there is
   /// none of the label; it is then its own concrete reference.
   virtual bool configureManipulatorReference(Manipulators& manipulators);
   virtual const ZqIndividualManipulator& concreteReference() const { return *m_concreteReference; }
   /// Shapes that members carry which are no links.
   virtual const ZqGeneralBoundObjectVector& generalBoundObjects() const
   {
      return m_generalBoundObjects;
   }
   virtual void setGeneralBoundObjects(const ZqGeneralBoundObjectVector& objects)
   {
      m_generalBoundObjects = objects;
      m_generalBoundObjects.setManipulator(this);
   }
   /// The links below the base, by link index.
   virtual const LinkPointerVector& linkPointerVector() const;
   /// By label, the base included.
   virtual const LinkPointerMap& linkPointerMap() const;
   /// Numbers the links of this manipulator's own tree into a vector and a map, the base into the map.
   virtual bool mapManipulator(LinkPointerVector& links, LinkPointerMap& labelToLink);
   /// Builds the manipulator's own vector and map. To be called after a change of the tree by a
   /// reference to children that was kept; of other changes the manipulator knows.
   virtual bool mapManipulator();
   virtual void setSelfCollisionLinkMap(const ZqManipulatorSelfCollisionLinkMap& map);
   virtual const ZqManipulatorSelfCollisionLinkMap& selfCollisionLinkMap() const
   {
      return m_selfCollisionLinkMap;
   }
   /// Compiles the self collision map into the table that `canCollide` reads.
   virtual void mapLinkCollisionCandidates();
   /// Whether two links may collide, by link index or `ZqBaseLinkIndex`. A link does not collide with
   /// itself. An index out of range is rejected with a message, and the answer is false.
   virtual bool canCollide(ZqU32 first, ZqU32 second) const;
   /// Of the whole.
   virtual ZqVector getCenterOfMassInSystem(ZqManipulatorActiveState& activeState) const;
   /// The point of a plane in the system about which the contact there, as it moves the manipulator
   /// without gravity, has no moment in the plane. A force along the plane leaves the point as it was.
   virtual void computeZeroMomentPoint(const ZqPlane& plane, ZqManipulatorActiveState& activeState,
                                       ZqVector& zeroMomentPoint,
                                       const ZqStatedSystemStruct* stateStruct) const;
   /// The same under gravity (m/s^2), a vector in the system that points down.
   virtual void computeZeroMomentPoint(const ZqPlane& plane, const ZqVector& gravity,
                                       ZqManipulatorActiveState& activeState,
                                       ZqVector& zeroMomentPoint,
                                       const ZqStatedSystemStruct* stateStruct) const;
   /// Of the bodies, without the motors (J). A tool is used as work space and left with this
   /// manipulator and its kind of base; without one, work space is made.
   virtual ZqReal computeKineticEnergy(ZqManipulatorActiveState& activeState,
                                       ZqMassMatrixTool* tool) const;
   /// False when a link has a limit that a position does not keep to, where it has a number for the joint;
   /// the index is then that of the first such link, and otherwise stays as it was. A value that is NaN
   /// keeps to no limit.
   virtual bool checkLimitConstraints(const ZqPositionState& position, ZqU32& failedIndex) const;
   /// What a client is to keep to: steps in time heed the limits of links, and not these.
   virtual const ZqStateConstraintVector& stateConstraints() const { return m_stateConstraints; }
   virtual void setStateConstraints(const ZqStateConstraintVector& constraints)
   {
      m_stateConstraints = constraints;
   }
   virtual const ZqStateEqualityConstraintVector& stateEqualityConstraints() const
   {
      return m_stateEqualityConstraints;
   }
   virtual void setStateEqualityConstraints(const ZqStateEqualityConstraintVector& constraints)
   {
      m_stateEqualityConstraints = constraints;
   }
   virtual const ZqStoppingCriterionVector& stoppingCriteria() const { return m_stoppingCriteria; }
   virtual void setStoppingCriteria(const ZqStoppingCriterionVector& criteria)
   {
      m_stoppingCriteria = criteria;
   }
   virtual const DisplayLinkIndices& displayLinkIndices() const { return m_displayLinkIndices; }
   virtual void setDisplayLinkIndices(const DisplayLinkIndices& indices)
   {
      m_displayLinkIndices = indices;
   }
   /// Appends a (m), alpha (rad) and d (m) of each joint in Craig's convention, in index order. False
   /// when a joint is not of that convention; nothing is appended for it.
   virtual bool getCraigDhParameters(std::vector<ZqReal>& parameters) const;

   void setLinkLabel(const ZqString& label) override;
   void appendToAllLabels(const ZqString& suffix) override;
   void relabelSubtree(const ZqString& prefix, ZqU32& counter) override;
   const ChildLinks& childLinks() const override;
   ChildLinks& childLinks() override;
   void setChildLinks(const ChildLinks& links) override;
   void addChild(const ZqManipulatorLink& link) override;
   void clearChildLinks() override;
   void addLinkToEndOfChain(const ZqManipulatorLink& link) override;
   bool addLinkToChildLinkByName(const ZqManipulatorLink& link, const ZqString& label) override;
   ZqU32 linkIndex() const override { return ZqBaseLinkIndex; }
   /// Nothing: the index of a base does not change.
   void setLinkIndex(ZqU32) override {}
   const ZqCoordinateSystemTransformation&
   dhFrameInSystem(ZqManipulatorActivePositionState& activeState) const override;
   /// With the bound objects.
   void scaleIndividualLinkBy(ZqReal scale) override
   {
      ZqManipulatorLink::scaleIndividualLinkBy(scale);
      if (ZqModelScaling::isScale(scale))
         m_generalBoundObjects.scaleBy(scale);
   }
   /// Of all links.
   void truncateValues(ZqReal tolerance) override;
   /// Keeps the values for the manipulator as well, when any shape has a surface of the name.
   bool setSurfaceProperties(const ZqString& surface, const ZqDataMap& data) override;
   /// What the manipulator has for the surface; without that, what a shape has. So does `lookup`.
   const ZqDataMap* surfaceValues(const ZqString& surface) const override;

   /// \name The base's own motion
   /// That of the state, which stands in the axes of the system.
   /// @{
   const ZqGeneralMotion&
   dhFrameVelocityInLocal(ZqManipulatorActiveState& activeState) const override;
   const ZqGeneralMotion&
   dhFrameVelocityInSystem(ZqManipulatorActiveState& activeState) const override;
   const ZqGeneralMotion&
   primaryFrameVelocityInSystem(ZqManipulatorActiveState& activeState) const override;
   const ZqGeneralMotion&
   dhFrameAccelerationInLocal(ZqManipulatorActiveState& activeState) const override;
   /// @}
   const ZqGeneralForce&
   dhFrameForceInLocal(const ZqManipulatorExternalForce& externalForce,
                       ZqManipulatorActiveState& activeState,
                       const ZqStatedSystemStruct* stateStruct) const override;
   const ZqGeneralMotion&
   compositeSpatialMomentumInLocal(ZqManipulatorActiveState& activeState,
                                   const ZqStatedSystemStruct* stateStruct) const override;
   const ZqGeneralMotion&
   compositeSpatialMomentumRateInLocal(ZqManipulatorActiveState& activeState,
                                       const ZqStatedSystemStruct* stateStruct) const override;
   const ZqRigidBodyMassProperties& crbi(ZqManipulatorActiveState& activeState,
                                         const ZqStatedSystemStruct* stateStruct) const override;
   const ZqArticulatedBodyDynamics& arbd(const ZqManipulatorExternalForce& externalForce,
                                         const ZqManipulatorTorque& torque,
                                         ZqManipulatorActiveState& activeState,
                                         const ZqStatedSystemStruct* stateStruct) const override;
   /// Zero for a fixed base. A free base answers to the general force of the torques.
   const ZqGeneralMotion& arbiSupplementalDhFrameAccelerationInLocal(
      const ZqManipulatorExternalForce& externalForce, const ZqManipulatorTorque& torque,
      ZqManipulatorActiveState& activeState,
      const ZqStatedSystemStruct* stateStruct) const override;
   virtual const ZqGeneralMotion& arbiBaseAccelerationInLocal(
      const ZqManipulatorExternalForce& externalForce, const ZqManipulatorTorque& torque,
      ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const;

   /// The labels under which links of other manipulators went into this one.
   const ZqManipulatorLinkLabelMapping& linkLabelMapping() const { return m_linkLabelMapping; }
   /// The labels, besides its own, that this manipulator keeps in use in its system.
   const std::set<ZqString>& usingManipulatorLabels() const { return m_usingManipulatorLabels; }
   void setManipulatorIndex(ZqU32 index);
   /// Computes the base frame of a reference in the active state, from where the reference is placed.
   /// Links of a reference are those of its concrete reference, and would else find the base where that
   /// one is placed. To be called before the first query of a link with an active state that a user has
   /// filled; stated systems call it for theirs, and a query of the base itself does the same.
   void placeBase(ZqManipulatorActivePositionState& activeState) const
   {
      if (m_concreteReference != this)
         dhFrameInSystem(activeState);
   }
   /// The tree of the concrete reference, with the base of this one, as the plain numbers that all motion is
   /// computed from. It is made when it is first asked for after a change, behind a lock: several threads
   /// may ask at once. What was returned before is not valid any more then; whoever keeps it shares it.
   const ZqMotionPlan& motionPlan() const
   {
      if (!planIsRight())
         rebuildPlan();
      return *m_plan;
   }
   std::shared_ptr<const ZqMotionPlan> sharedMotionPlan() const { return motionPlan(), m_plan; }
   /// \name Noticing changes of shapes
   /// Who keeps what follows from the shapes of links (boxes, trees, distances) keeps these numbers with it:
   /// while they are the same, so are the shapes, the links, and where the shapes stand in the links.
   /// @{
   /// Changes whenever the model does, also by assignment. A version is never used again, by no manipulator.
   std::uint64_t shapesVersion() const
   {
      bringMapsUpToDate();
      m_concreteReference->bringMapsUpToDate();
      return std::max({m_modelVersion, m_shapesVersion, m_concreteReference->m_modelVersion,
                       m_concreteReference->m_shapesVersion});
   }
   /// Changes whenever the version of any manipulator may have: while it is the same, none needs to be asked.
   static std::uint64_t latestVersion() noexcept
   {
      return m_latestVersion.load(std::memory_order_acquire);
   }
   /// @}
   /// Sorts the two: the first becomes the greater one. True.
   static bool makeIndicesCompatible(ZqU32& a, ZqU32& b);
   /// Hides the link's operation, after which the tree would have to be mapped.
   void copyAllButChildLinksFrom(const ZqManipulatorLink& other);
   /// Makes a manipulator the concrete reference of this one, or this one itself for null. One that is
   /// no reference stays its own.
   void bindReference(ZqIndividualManipulator* model);
   /// False when there is no such link.
   bool setChildLinkNamedFrames(ZqU32 index, const NamedFrames& frames);
   /// The labels of the manipulator's own tree, by link index, and that of the base.
   ZqLinkEdit::Labels linkLabels() const;
   /// Changes what the manipulator holds by label or index of its links as an edit says. An operation
   /// that changes the tree calls it with the record of the change, and then `mapManipulator`.
   void apply(const ZqLinkEdit& edit);
   /// How the manipulator changes its size, for those who hold lengths on it, in a system where the origin of
   /// its base stands at a point.
   ZqModelScaling scaling(ZqReal factor, const ZqVector& center) const;
   /// Changes the size of all that the manipulator holds: of its tree, its constraints and its stopping
   /// criteria.
   void resize(const ZqModelScaling& scaling);
   /// From now on, until null is given, the record collects how links are moved, added, removed and
   /// labelled anew. Links that are changed in other ways than by operations of the manipulator are
   /// recognised by their labels, and what the manipulator holds follows them as well.
   struct Record
   {
      ZqLinkEdit edit;
      ZqLinkEdit::Labels labels; ///< as they are now
   };
   void keepRecord(Record* record);

private:
   friend class ZqLinkUnion;       // keeps what a base brings
   friend class ZqManipulatorLink; // tells of changes

   /// Why the maps may not be right: bits.
   enum Staleness : std::uint8_t
   {
      LabelChanged = 1,
      ChildrenLent = 2, ///< by one link, to somebody who may have changed them
      TreeChanged = 4,
      ShapesChanged = 8
   };

   ZqIndividualManipulator(ZqIndividualManipulator&& other, bool mapsAreRight) noexcept;
   void afterChangeOfTree(const ZqLinkEdit& edit);
   template <class Operation>
   void relabel(const Operation& operation);
   void followUnknownChange();
   void applyToLinks(const ZqLinkEdit& edit);
   template <class Operation>
   bool insertLinks(ZqU32 at, const Operation& operation);
   ZqU32 ownLinkCount() const { return ZqManipulatorLink::subtreeLinkCount() - 1; }
   bool numberLinks();
   bool mapsAreRight() const { return m_staleness.load(std::memory_order_acquire) == 0; }
   void bringMapsUpToDate() const
   {
      if (!mapsAreRight())
         const_cast<ZqIndividualManipulator*>(this)->rebuildMaps();
   }
   /// The values, with the bounding sphere and the collision test as the tree is now.
   const ZqManipulatorValues& presentValues() const
   {
      bringMapsUpToDate();
      return *this;
   }
   void rebuildMaps();
   static std::uint64_t newVersion() noexcept { return ++m_latestVersion; }
   void modelIsNew() noexcept { m_modelVersion = newVersion(); }
   bool planIsRight() const
   {
      bringMapsUpToDate();
      m_concreteReference->bringMapsUpToDate();
      return m_planVersion.load(std::memory_order_acquire) == modelVersion();
   }
   std::uint64_t modelVersion() const noexcept
   {
      return std::max(m_modelVersion, m_concreteReference->m_modelVersion);
   }
   void rebuildPlan() const;
   void fillCollisionTest();
   ZqString whyNotCombined(const ZqManipulatorLink* link,
                           const ZqIndividualManipulator& manipulator,
                           const ZqCoordinateSystemTransformation& transform) const;
   void takeContents(const ZqManipulatorLink& carrier, const ZqLinkEdit::Labels& ownLabels,
                     bool allPairsWereExcluded);
   void mapCombinedLabels();
   template <class Names>
   void giveCollisionPairs(ZqIndividualManipulator& to, const Names& names, const ZqString& carrier,
                           const ZqLinkEdit& restored) const;
   void giveLabelMapping(ZqIndividualManipulator& to,
                         const std::map<ZqString, ZqString>& moved) const;
   void addBoundingVolumes(ZqU32 type, bool onlyWhereNone);
   bool lentChildrenChanged() const;
   void childrenAreLent(const ZqManipulatorLink& lender);
   /// Takes the places of this manipulator's links from the links themselves.
   void takeMapsFrom(ZqIndividualManipulator& other, bool mapsAreRight) noexcept;
   bool sharesShapeOfLink() const { return !isReference() && referenceLink() != this; }
   bool isReference() const { return m_manipulatorReferenceDescription.isManipulatorReferenced(); }

   ZqU32 m_manipulatorIndex = 0;
   LinkPointerVector m_linkPointerVector;
   LinkPointerMap m_linkPointerMap;
   std::atomic<std::uint8_t> m_staleness = 0;
   const ZqManipulatorLink* m_lender = nullptr;    ///< not owned
   const ZqManipulatorLink* m_firstLent = nullptr; ///< as it was when it was lent; not owned
   std::size_t m_lentCount = 0;
   bool m_labelsChangeTogether = false;
   Record* m_record = nullptr;                          ///< not owned
   ZqIndividualManipulator* m_concreteReference = this; ///< not owned
   std::uint64_t m_modelVersion = 0;                    ///< grows with each change of the own tree
   std::uint64_t m_shapesVersion = 0; ///< grows with each change of shapes, which plans do not have
   /// One for all manipulators, so that the greater of two versions changes whenever one of them does.
   static std::atomic<std::uint64_t> m_latestVersion;
   mutable std::atomic<std::uint64_t> m_planVersion =
      ~std::uint64_t{0}; ///< what the plan was made of
   mutable std::shared_ptr<const ZqMotionPlan> m_plan;
};

extern template class ZqXmlClass<ZqIndividualManipulator, ZqManipulatorLink>;
extern template class ZqXmlVectorType<ZqIndividualManipulator>;
