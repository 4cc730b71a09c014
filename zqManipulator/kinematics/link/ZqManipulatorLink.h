#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/kinematics/link/ZqLinkContents.h"

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <vector>

class ZqArticulatedBodyDynamics;
class ZqAxisAlignedBoundingBox;
class ZqBasePhysicalExtent;
class ZqCapsule;
class ZqIndividualManipulator;
class ZqJointActuatorContainer;
class ZqLineSegment;
class ZqLinkEdit;
class ZqLinkArticulationState;
class ZqLinkForceState;
class ZqLinkMassState;
class ZqLinkPointEvent;
class ZqLinkPositionState;
class ZqManipulatorActivePositionState;
class ZqManipulatorActiveState;
class ZqManipulatorExternalForce;
class ZqManipulatorTorque;
class ZqOldJointActuator;
class ZqPositionState;
class ZqStatedSystemStruct;
struct ZqModelScaling;

/// One rigid body of a manipulator, with the joint that connects it to its parent and, by value, its
/// children. The root of a tree is a `ZqIndividualManipulator`.
///
/// A link holds no motion: joint positions stand in a `ZqPositionState` by link index, and what follows
/// from them is kept in the active state that every query is given. So one link answers for any number
/// of states, and threads with a state each. A change of the model is not noticed by an active state: who
/// changes a joint or the tree invalidates the active states in use.
///
/// The DH frame of a link is that of its joint (`ZqLinkKinematics`), "local" in the names of queries;
/// masses, points and frames stand in the primary frame, which is fixed in the DH frame.
///
/// Since children are held by value, a pointer to a link lives until its tree changes or moves. A
/// manipulator notices when the tree below one of its links changes, and numbers its links anew before
/// it is next asked for one.
class ZqManipulatorLink : public ZqXmlClass<ZqManipulatorLink>,
                          private ZqLinkPlace,
                          public ZqLinkValues
{
public:
   using ChildLinks = ZqXmlVectorType<ZqManipulatorLink>;
   using LinkPointerVector = std::vector<ZqManipulatorLink*>;
   using LinkPointerMap = std::map<ZqString, ZqManipulatorLink*>;

   static const ZqToken& classToken() { return ZqManip::ZqManipulatorLinkToken; }
   static constexpr const char* documentation =
      "a link: a rigid body, the joint that connects it to its parent, and its children";
   template <class This = ZqManipulatorLink>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_linkLabel, &ZqManip::ZqIdentifierToken,
                     "label of the link, unique in its manipulator"},
         ZqComponent{&This::m_linkKinematicsContainer, &ZqManip::ZqLinkKinematicsContainerToken,
                     "joint between the parent and the link"},
         ZqComponent{&This::m_childLinks, &ZqManip::ZqChildLinksToken,
                     "links that hang on this one"},
         ZqOptionalComponent(&This::shapeComponent, &ZqGeom::ZqShapeContainerToken,
                             "shape of the link, in its primary frame"),
         ZqComponent{&This::m_jointActuator, &ZqManip::ZqCompositeJointActuatorToken,
                     "drive of the joint"},
         ZqReadOnlyComponent(&This::oldJointActuator, &ZqManip::ZqJointActuatorToken,
                             "drive of old documents"),
         ZqReadOnlyComponent(&This::oldJointActuatorContainer,
                             &ZqManip::ZqJointActuatorContainerToken, "drive of old documents"),
         ZqComponent{&This::m_baseMassProperties, &ZqManip::ZqMassPropertiesToken,
                     "mass of the bare link, in its primary frame"},
         ZqComponent{&This::m_springProperties, &ZqManip::ZqSpringPropertiesToken,
                     "spring at the joint"},
         ZqComponent{&This::m_damperProperties, &ZqManip::ZqDamperPropertiesToken,
                     "damper at the joint"},
         ZqComponent{&This::m_linkReferenceDescription, &ZqManip::ZqLinkReferenceDescriptionToken,
                     "whose shapes the link uses"},
         ZqOptionalComponent(&This::m_upperLimitConstraint, &ZqManip::ZqUpperLimitConstraintToken,
                             "upper limit that depends on several joints"),
         ZqOptionalComponent(&This::m_lowerLimitConstraint, &ZqManip::ZqLowerLimitConstraintToken,
                             "lower limit that depends on several joints"),
         ZqComponent{&This::m_namedPoints, &ZqManip::ZqNamedPointsToken,
                     "x y z of points (m) by name, in the primary frame"},
         ZqComponent{&This::m_namedFrames, &ZqManip::ZqNamedFramesToken,
                     "frames by name, in the primary frame"},
         ZqComponent{&This::m_isConstrained, &ZqManip::ZqIsConstrainedToken,
                     "whether the position of the joint is not free"},
         ZqComponent{&This::m_massPropertiesMap, &ZqManip::ZqMassPropertiesMapToken,
                     "further masses by name, in the primary frame, which add up"},
         ZqOptionalComponent(&This::m_sensorVector, &ZqSensorInterface::ZqSensorVectorToken,
                             "sensors on the link")};
   }
   /// The components of the base of a manipulator, which has no joint to drive or to limit.
   template <class This = ZqManipulatorLink>
   static constexpr auto componentsForBase()
   {
      // Identifier, joint, children, shape; mass; whose shapes, points, frames; further masses, sensors.
      constexpr auto all = components<This>();
      return std::tuple{std::get<0>(all),  std::get<1>(all),  std::get<2>(all),  std::get<3>(all),
                        std::get<7>(all),  std::get<10>(all), std::get<13>(all), std::get<14>(all),
                        std::get<16>(all), std::get<17>(all)};
   }
   bool read(ZqXmlReader& reader) override;
   /// Messages about what follows the label name the link.
   bool readValueFromToken(const ZqToken& token, ZqXmlReader& reader) override;
   bool write(ZqXmlWriter& writer) const override;

   ZqManipulatorLink();
   /// The copy has the parent and the index of the other link until it is given its own, and belongs to
   /// no manipulator.
   ZqManipulatorLink(const ZqManipulatorLink& other);
   ZqManipulatorLink(ZqManipulatorLink&& other) noexcept;
   /// The link keeps its own parent and index.
   ZqManipulatorLink& operator=(const ZqManipulatorLink& other);
   ZqManipulatorLink& operator=(ZqManipulatorLink&& other) noexcept;
   ~ZqManipulatorLink() override;
   /// All but the children. From itself, it empties its children, and nothing else.
   void copyAllButChildLinksFrom(const ZqManipulatorLink& other);
   /// `equalForReferencing`, and equal labels.
   bool operator==(const ZqManipulatorLink& other) const;
   /// Whether the two links and their subtrees differ in no more than the label of the link itself.
   bool equalForReferencing(const ZqManipulatorLink& other) const;

   virtual const ZqString& linkLabel() const { return m_linkLabel; }
   virtual void setLinkLabel(const ZqString& label);
   /// For the link and all its descendants.
   virtual void appendToAllLabels(const ZqString& suffix);
   virtual const ZqLinkKinematicsContainer& linkKinematicsContainer() const
   {
      return m_linkKinematicsContainer;
   }
   virtual void setLinkKinematicsContainer(const ZqLinkKinematicsContainer& container);
   virtual void setLinkKinematics(const ZqLinkKinematics& joint);

   /// \name Tree
   /// @{
   virtual const ChildLinks& childLinks() const { return m_childLinks; }
   /// For a change that is made at once: when the manipulator is next asked for a link, it looks whether
   /// the children have changed, and only then. After a change through a reference that was kept beyond
   /// that, call `mapManipulator`.
   virtual ChildLinks& childLinks()
   {
      if (m_manipulator != nullptr)
         lendChildren();
      return m_childLinks;
   }
   virtual void setChildLinks(const ChildLinks& links);
   /// Appends a copy.
   virtual void addChild(const ZqManipulatorLink& link);
   virtual void clearChildLinks();
   /// Adds a copy below the link that is reached by the first child at every level.
   virtual void addLinkToEndOfChain(const ZqManipulatorLink& link);
   /// The same from the first descendant, depth first, that has the label. False when there is none.
   virtual bool addLinkToChildLinkByName(const ZqManipulatorLink& link, const ZqString& label);
   /// @}

   /// The primary frame in the DH frame; the identity without a joint.
   virtual const ZqCoordinateSystemTransformation& primaryFrame() const
   {
      return m_linkKinematicsContainer.primaryFrame();
   }
   virtual void setPrimaryFrame(const ZqCoordinateSystemTransformation& frame);
   virtual const ZqJointActuator& jointActuator() const { return m_jointActuator; }
   virtual void setJointActuator(const ZqJointActuator& actuator);

   /// \name Masses
   /// In the primary frame: those of the bare link (base), those added by name, and their sum.
   /// @{
   /// The sum, and with a scene what is attached to this link in it: the attached manipulators' own
   /// masses, in place.
   virtual const ZqRigidBodyMassProperties&
   massProperties(const ZqStatedSystemStruct* stateStruct = nullptr) const;
   /// Sets those of the bare link, and removes all that were added.
   virtual void setMassProperties(const ZqRigidBodyMassProperties& properties);
   virtual const ZqRigidBodyMassProperties& baseMassProperties() const
   {
      return m_baseMassProperties;
   }
   virtual void setBaseMassProperties(const ZqRigidBodyMassProperties& properties);
   virtual const MassPropertiesMap& massPropertiesMap() const { return m_massPropertiesMap; }
   virtual void setMassPropertiesMap(const MassPropertiesMap& map);
   virtual void clearMassPropertiesMap();
   virtual void addMassProperties(const ZqString& name,
                                  const ZqRigidBodyMassProperties& properties);
   /// False when there was none of the name.
   virtual bool deleteMassProperties(const ZqString& name);
   /// @}

   /// \name Spring and damper of the joint
   /// By the positions and velocities of any joints of the manipulator.
   /// @{
   virtual const ZqSpringProperties& springProperties() const { return m_springProperties; }
   virtual void setSpringProperties(const ZqSpringProperties& properties)
   {
      m_springProperties = properties;
      modelChanges();
   }
   virtual const ZqDamperProperties& damperProperties() const { return m_damperProperties; }
   virtual void setDamperProperties(const ZqDamperProperties& properties)
   {
      m_damperProperties = properties;
      modelChanges();
   }
   /// @}

   virtual const ZqLinkReferenceDescription& linkReferenceDescription() const
   {
      return m_linkReferenceDescription;
   }
   virtual void setLinkReferenceDescription(const ZqLinkReferenceDescription& description);
   /// The link whose shapes this one uses: itself, or another one of the tree.
   virtual const ZqManipulatorLink* referenceLink() const { return m_referenceLink; }
   virtual void setReferenceLink(ZqManipulatorLink* link);
   /// The torque of spring and damper, which counts against the drive. A link without a manipulator is
   /// rejected with a message, and 0.0.
   virtual ZqReal totalLocalTorque(const ZqManipulatorActiveState& activeState) const;
   /// Whether anything is attached to any link of a scene, which may be null.
   static bool hasAttachments(const ZqStatedSystemStruct* stateStruct);
   /// As `massProperties`, in the DH frame.
   virtual const ZqRigidBodyMassProperties&
   massPropertiesInDHFrame(const ZqStatedSystemStruct* stateStruct = nullptr) const;
   virtual void updateDHMassProperties();
   /// Null at a root.
   virtual const ZqManipulatorLink* parentLink() const { return m_parentLink; }
   virtual void setParentLink(ZqManipulatorLink* parent) { m_parentLink = parent; }
   /// The place of the link's joint in states: set by `mapLinks`, until then `ZqNoLinkIndex`.
   virtual ZqU32 linkIndex() const { return m_linkIndex; }
   virtual void setLinkIndex(ZqU32 index);
   /// The number of links in the subtree, this one included.
   virtual ZqU32 subtreeLinkCount() const;
   /// Numbers the subtree from the size of the vector on, parents before their children, tells each
   /// link below this one its parent and its manipulator, and enters each link in the vector and, by
   /// its label, in the map. Of links with one label the last is
   /// entered, and a message says so.
   virtual bool mapLinks(LinkPointerVector& links, LinkPointerMap& labelToLink);
   /// The DH frame in the system. Computes what is stale of the links from the base to this one, their
   /// primary frames with it. An index that the active state does not have is rejected with a message;
   /// the answer is the identity. The reference is into the active state.
   virtual const ZqCoordinateSystemTransformation&
   dhFrameInSystem(ZqManipulatorActivePositionState& activeState) const;
   /// The primary frame in the system, as above.
   virtual const ZqCoordinateSystemTransformation&
   primaryFrameInSystem(ZqManipulatorActivePositionState& activeState) const;

   /// \name Motion, momentum and force
   /// What the link does in a state: computed from the base outwards (motions) or from the tips inwards
   /// (momenta, forces, inertias), kept in the active state, and answered by reference into it. Values
   /// are in the axes of the link's DH frame unless the name says `InSystem`. Velocities and
   /// accelerations are those of the frame's origin, or of the center of mass; accelerations are those
   /// of a point (classical, not spatial). The acceleration of the base carries gravity: it stands in
   /// the state as the acceleration that simulates it.
   ///
   /// Joint accelerations that the state does not list are zero, and so are external forces and torques
   /// that their records do not list. An index that the active state does not have is rejected with a
   /// message; the answer is then zero. A scene, which may be null, adds the masses of what is
   /// attached.
   ///
   /// A change of forces, torques or scene is not noticed: what is kept answers as it was computed.
   /// Setting the acceleration state makes room for other forces and torques, `invalidateAll` for
   /// another scene.
   /// @{
   virtual const ZqGeneralMotion&
   dhFrameVelocityInLocal(ZqManipulatorActiveState& activeState) const;
   virtual const ZqGeneralMotion&
   dhFrameVelocityInSystem(ZqManipulatorActiveState& activeState) const;
   virtual const ZqGeneralMotion&
   primaryFrameVelocityInSystem(ZqManipulatorActiveState& activeState) const;
   virtual const ZqGeneralMotion&
   dhFrameAccelerationInLocal(ZqManipulatorActiveState& activeState) const;
   /// The spatial force (N, N m) that the joint passes to the link, by the inward recursion of Newton
   /// and Euler (Luh, Walker, Paul 1980), for the motion in the state and forces from outside.
   virtual const ZqGeneralForce&
   dhFrameForceInLocal(const ZqManipulatorExternalForce& externalForce,
                       ZqManipulatorActiveState& activeState,
                       const ZqStatedSystemStruct* stateStruct) const;
   virtual const ZqGeneralMotion& comVelocityInLocal(ZqManipulatorActiveState& activeState,
                                                     const ZqStatedSystemStruct* stateStruct) const;
   virtual const ZqGeneralMotion&
   comAccelerationInLocal(ZqManipulatorActiveState& activeState,
                          const ZqStatedSystemStruct* stateStruct) const;
   /// Linear momentum (kg m/s), and angular momentum (kg m^2/s) about the center of mass.
   virtual const ZqGeneralMotion&
   spatialMomentumInLocal(ZqManipulatorActiveState& activeState,
                          const ZqStatedSystemStruct* stateStruct) const;
   virtual const ZqGeneralMotion&
   spatialMomentumRateInLocal(ZqManipulatorActiveState& activeState,
                              const ZqStatedSystemStruct* stateStruct) const;
   /// The sum over the subtree. Each link's angular part stays about its own center of mass, so that
   /// the sum lacks the moment of the linear parts; `computeMomentFromLinearAcceleration` has the rate
   /// of that.
   virtual const ZqGeneralMotion&
   compositeSpatialMomentumInLocal(ZqManipulatorActiveState& activeState,
                                   const ZqStatedSystemStruct* stateStruct) const;
   virtual const ZqGeneralMotion&
   compositeSpatialMomentumRateInLocal(ZqManipulatorActiveState& activeState,
                                       const ZqStatedSystemStruct* stateStruct) const;
   /// The moment (N m) about a point, both in the system, of mass times acceleration of the subtree's
   /// centers of mass. True.
   virtual ZqBoolean
   computeMomentFromLinearAcceleration(const ZqVector& point, ZqManipulatorActiveState& activeState,
                                       ZqVector& moment,
                                       const ZqStatedSystemStruct* stateStruct) const;
   /// The subtree as one rigid body, about the origin of the DH frame.
   virtual const ZqRigidBodyMassProperties& crbi(ZqManipulatorActiveState& activeState,
                                                 const ZqStatedSystemStruct* stateStruct) const;
   /// @}

   /// \name Articulated bodies (Featherstone 2008, ch. 7)
   /// Accelerations here are those that joint torques and the force on a free base add to the ones in
   /// the state; velocity products, gravity and external forces stand in the bias of the bodies. A
   /// torque that the record does not list is zero.
   /// @{
   virtual const ZqArticulatedBodyDynamics& arbd(const ZqManipulatorExternalForce& externalForce,
                                                 const ZqManipulatorTorque& torque,
                                                 ZqManipulatorActiveState& activeState,
                                                 const ZqStatedSystemStruct* stateStruct) const;
   /// Adds the link's body, less what its joint takes away, to that of the parent. The drive's inertia
   /// counts for the joint. Without a joint nothing is added.
   virtual void addArbdToParent(ZqArticulatedBodyDynamics& parentArbd,
                                const ZqManipulatorExternalForce& externalForce,
                                const ZqManipulatorTorque& torque,
                                ZqManipulatorActiveState& activeState,
                                const ZqStatedSystemStruct* stateStruct) const;
   /// The acceleration of the joint (rad/s^2, or m/s^2); 0.0 for a joint that has no inertia.
   virtual ZqReal arbiJointAcceleration(const ZqManipulatorExternalForce& externalForce,
                                        const ZqManipulatorTorque& torque,
                                        ZqManipulatorActiveState& activeState,
                                        const ZqStatedSystemStruct* stateStruct) const;
   virtual const ZqGeneralMotion& arbiSupplementalDhFrameAccelerationInLocal(
      const ZqManipulatorExternalForce& externalForce, const ZqManipulatorTorque& torque,
      ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const;
   /// @}

   /// The segment that represents the external force on the link, from its description in the state.
   virtual const ZqLineSegment& forceVectorInLocal(ZqManipulatorActiveState& activeState) const;
   /// Appends the links without children, depth first.
   virtual void collectLeafLinks(std::vector<const ZqManipulatorLink*>& leaves) const;
   /// Null when the link belongs to no manipulator.
   virtual const ZqIndividualManipulator* manipulator() const { return m_manipulator; }
   virtual void setManipulatorPointer(ZqIndividualManipulator* manipulator)
   {
      m_manipulator = manipulator;
   }
   /// A bound (m) on the distance from the inboard frame's origin to the DH frame's over the joint's
   /// travel; 0.0 without a joint.
   virtual ZqReal upperBoundExtentDistance() const;
   /// The radius (m) of a sphere about the inboard frame's origin that the subtree does not leave: neither
   /// the origins of its frames nor its shapes, but those without an end, which count for nothing. Cheap and
   /// not tight: a shape counts by its furthest points along the axes of the DH frame, and the squared
   /// distances of those along x, y and z are added.
   virtual ZqReal upperBoundSubmanipulatorExtentDistance() const;
   /// Labels the subtree, parents first, by the prefix and a counter, which counts on.
   virtual void relabelSubtree(const ZqString& prefix, ZqU32& counter);
   /// Scales shapes, joint, drive and bare masses by a length scale, at constant density. Masses that were
   /// added, named points and named frames stay. What is no scale (`ZqModelScaling::isScale`) is rejected
   /// with a message.
   virtual void scaleIndividualLinkBy(ZqReal scale);
   /// The same for the subtree.
   virtual void scaleBy(ZqReal scale);
   /// All of the subtree: with what `scaleBy` does, also masses that were added, named points and frames, and
   /// the springs and dampers at the joints, by which these take as long as before.
   void resize(const ZqModelScaling& scaling);

   /// \name Shapes
   /// In the primary frame. A link that refers to another one for its shapes has none of its own: what is
   /// asked here is answered from that link's, what is changed are the link's own. A shape that is set ends
   /// the reference.
   ///
   /// Shapes have numbers within the link: first those that are no compounds, in their order, then the volumes
   /// around the shape, the finest first. Pointers to shapes last until the link's shape is replaced, moved
   /// or scaled. Every change but that of surfaces and identifiers changes
   /// `ZqIndividualManipulator::shapesVersion`.
   /// @{
   virtual const ZqShapeContainer& shapeContainer() const
   {
      return shapeOwner().m_shapes.m_container;
   }
   /// The link's own.
   virtual const ZqShapeContainer& memberShapeContainer() const { return m_shapes.m_container; }
   /// The true shape; null for a link without a body.
   const ZqShape* shape() const { return shapeContainer().topElement(); }
   virtual void setShapeContainer(const ZqShapeContainer& container);
   virtual void setShape(const ZqShape& shape);
   /// Becomes a plain body of the shape, labelled "shape", without a joint and without a drive, with the mass
   /// (kg) spread evenly as `ZqRigidBodyMassProperties::massPropertiesFromShape` tells.
   virtual void setFromShape(const ZqShape& shape, ZqReal mass);
   /// The same with the shape in a container and a mass of 1.5 kg; nothing when the container is empty.
   virtual void setFromShapeContainer(const ZqShapeContainer& container);
   /// Null for a shape without an end, and without a shape.
   virtual const ZqBasePhysicalExtent* physicalExtent() const;
   /// A capsule around the shape: one of its bounding volumes, or else the smallest that is found. A point
   /// at the origin without a shape and for a half-space.
   virtual ZqCapsule capsuleBoundingVolume() const;
   /// Numbers the shapes of the link anew. True.
   virtual bool mapShapes();
   /// What `numShapes`, and nothing else, answers until the shapes are numbered again.
   virtual void setNumShapes(ZqU32 count) { m_shapes.m_count = count; }
   virtual ZqU32 numShapes() const { return shapeOwner().m_shapes.m_count; }
   /// The link's own: none for a link that refers to another one.
   virtual ZqU32 numberOfShapes() const { return static_cast<ZqU32>(m_shapes.m_byNumber.size()); }
   /// Those that are no bounding volumes.
   virtual ZqU32 numShapesInPhysicalRepresentation() const
   {
      return shapeOwner().m_shapes.m_physicalCount;
   }
   /// Null when there is no such number.
   virtual const ZqShape* shapeByIndex(ZqU32 index) const
   {
      const std::vector<ZqShape*>& shapes = shapeOwner().m_shapes.m_byNumber;
      return index < shapes.size() ? shapes[index] : nullptr;
   }
   virtual const ZqShape* getNthNonBoundingShape(ZqU32 n) const
   {
      return n < numShapesInPhysicalRepresentation() ? shapeByIndex(n) : nullptr;
   }
   /// The first of the identifier, which is not empty; null when there is none.
   virtual const ZqShape* shapeByIdentifier(const ZqString& identifier) const;
   /// The same in the subtree.
   virtual const ZqShape* findShape(const ZqString& identifier) const;
   /// The finest first.
   virtual std::vector<const ZqShape*> boundingVolumes() const;
   /// Puts a copy around the coarsest volume, or a volume of a type (`ZqShape::addBoundingVolume`). False
   /// when the link has no shape of its own, or none that the type can hold.
   /// @{
   virtual bool addBoundingVolume(const ZqShape& volume);
   virtual bool addBoundingVolume(ZqU32 type);
   /// @}
   /// Removes the volumes of a type from the subtree. How many there were.
   virtual ZqU32 deleteBoundingVolumes(ZqU32 type);
   /// Of the subtree.
   virtual void deleteAllBoundingVolumes();
   /// Rounds the numbers of the shapes to multiples of a tolerance.
   virtual void truncateValues(ZqReal tolerance);
   /// Removes points of the shapes of the subtree that are within a tolerance (m) of another one.
   virtual void removePhysicalExtentRedundancy(ZqReal tolerance);
   /// Numbers the shapes of the subtree anew. Shapes are each link's own already, also of a copy: what shapes
   /// share with copies of them does not change.
   virtual void unreferenceShapes();
   /// Calls the same of all children. A class that draws links overrides it.
   virtual void recursiveOptimizeForRendering();
   /// Sets the masses to those of aluminium (2700 kg/m^3) in the capsule around the shape, as
   /// `ZqRigidBodyMassProperties::uniformSolidCapsule` has them. Without a shape they become the default ones,
   /// with a message.
   virtual void estimateMassProperties();
   /// Appends the boxes, in the system, of the shapes that are no bounding volumes.
   virtual void
   axisAlignedBoundingBoxVectorInSystem(ZqManipulatorActivePositionState& activeState,
                                        ZqXmlVectorType<ZqAxisAlignedBoundingBox>& boxes) const;
   /// Tells in an event where a segment in the system first enters the shape, or its bounding volume of a
   /// level, if that is nearer to the segment's beginning than what the event has.
   virtual void intersectLineSegment(const ZqLineSegment& segment, ZqLinkPointEvent& event,
                                     ZqManipulatorActivePositionState& activeState,
                                     ZqU32 level) const;
   /// @}

   /// \name Surfaces of shapes
   /// Values by the name of the surface, of the link's own shapes. They do not count as a change of shapes.
   /// False when there is no such shape, or link in the subtree.
   /// @{
   virtual bool setSurfacesByShapeID(ZqU32 shapeIndex, const ZqShape::Surfaces& surfaces);
   virtual bool setSurfaces(const ZqString& shapeIdentifier, const ZqShape::Surfaces& surfaces);
   virtual bool setShapeSurfaceProperty(const ZqString& linkLabel, ZqU32 shapeIndex,
                                        const ZqShape::Surfaces& surfaces);
   virtual bool setShapeIdentifier(ZqU32 shapeIndex, const ZqString& identifier);
   /// Of each shape of the subtree that has a surface of the name.
   virtual bool setSurfaceProperties(const ZqString& surface, const ZqDataMap& data);
   /// The values of the first surface of the name in the subtree.
   virtual bool lookup(const ZqString& surface, ZqDataMap& data) const;
   /// The same values, not copied; null when `lookup` finds none.
   virtual const ZqDataMap* surfaceValues(const ZqString& surface) const;
   /// What the surface "0" of the shape has as "collisionAvoidanceMetric"; 1.0 without that.
   virtual ZqReal lookupCollisionAvoidanceMetric() const;
   /// @}

   /// \name Sharing of shapes between links
   /// @{
   /// Binds the subtree's references by the map of labels. A label that is not there is reported; the
   /// link then uses itself. Where the link of the label is a reference too, its shapes are those of the link at
   /// the end of the chain; where the chain is a ring, each has its own.
   virtual bool setLinkReferences(const LinkPointerMap& labelToLink);
   /// Turns each link of the subtree whose shapes equal those of an earlier link into a reference; so do
   /// links without shapes. True when any was turned.
   virtual bool useReferencesWherePossible(const LinkPointerVector& links);
   /// Ends a reference: the link gets copies of the shapes. False when there was nothing to take over.
   virtual bool removeLinkReferences();
   /// @}

   /// Restates shapes, masses, named points and named frames in a frame that is moved: what was at x is then
   /// at T x. The joint stays.
   virtual void transformComponentsBy(const ZqCoordinateSystemTransformation& T);
   /// Moves the link and all below it with respect to the parent: what the joint placed at x in the parent's DH
   /// frame it places at T x. The precursor of the joint takes T in. False, with no change, for a link without a
   /// joint.
   virtual ZqBoolean transformLinkTreeBy(const ZqCoordinateSystemTransformation& T);
   /// \name Unions
   /// Other manipulators' bases may be merged into the link, which is then one rigid body with them. The link
   /// remembers itself as it was, and each base by the label of its manipulator; copies remember it too,
   /// documents do not. `ZqIndividualManipulator::combineManipulator` merges whole trees.
   /// @{
   /// Merges the base of a manipulator, whose primary frame stands at the transformation in that of the
   /// link: its shape, its named points and frames, and its masses. A name of a point or frame that is taken
   /// keeps what it has, and masses under such a name get a new one; messages tell. False, with no change
   /// and a message, when the transformation is not rigid or shapes would stand too deep in others.
   virtual bool addLinkToUnion(const ZqIndividualManipulator& manipulator,
                               const ZqCoordinateSystemTransformation& transform);
   /// Undoes the first merge of the label, also one within what was merged: answers the manipulator, without
   /// its links below the base, and where it stood in this link's primary frame. What the link is without
   /// it is put together anew from what it was before all merges. False when there is none of the label.
   virtual bool popLinkFromUnion(const ZqString& label, ZqIndividualManipulator& manipulator,
                                 ZqCoordinateSystemTransformation& transform);
   /// Adds the labels of all manipulators of which the bases are merged in, also those merged into these.
   virtual void manipulatorLabelsInUnion(std::set<ZqString>& labels) const;
   /// Null for a link into which nothing is merged.
   const ZqLinkUnion* linkUnion() const { return m_union.get(); }
   /// @}
   /// Changes the primary frame, and restates in it what is stated in it: nothing moves. False, with a
   /// message and no change, for a link without a joint, which keeps the identity.
   ///
   /// What others state in the primary frame follows with the operation of the manipulator.
   virtual bool transformPrimaryFrame(const ZqCoordinateSystemTransformation& frame);
   /// Gives another link the label, damper, drive, joint, masses, spring and shapes of this one; the shapes
   /// are its own.
   void copyLinkProperties(ZqManipulatorLink& target) const;

   /// Sets a limit of the joint of the first link of the subtree with the label. False when there is
   /// none.
   virtual bool setJointLimit(const ZqString& label, bool isLower, ZqReal value);
   /// \name Limits as constraints
   /// Functions of the joint positions that are zero or more within the limit. A link may hold one for each
   /// limit, which may depend on several joints, by link index; it goes beside the limit that the drive
   /// has, and follows the joints when the manipulator changes. Without one, that of the drive is answered
   /// as a `ZqLinearMultivariableConstraint` of this joint, which lives and follows the drive as long as
   /// the link.
   /// @{
   virtual const ZqStateConstraintContainer& upperLimitConstraintContainer() const
   {
      return m_upperLimitConstraint;
   }
   void setUpperLimitConstraintContainer(const ZqStateConstraintContainer& container);
   virtual const ZqBaseStateConstraint& upperLimitConstraint() const;
   virtual void setUpperLimitConstraint(const ZqBaseStateConstraint& constraint);
   virtual const ZqStateConstraintContainer& lowerLimitConstraintContainer() const
   {
      return m_lowerLimitConstraint;
   }
   void setLowerLimitConstraintContainer(const ZqStateConstraintContainer& container);
   virtual const ZqBaseStateConstraint& lowerLimitConstraint() const;
   virtual void setLowerLimitConstraint(const ZqBaseStateConstraint& constraint);
   /// Whether the link holds a limit of its own.
   bool hasLimitConstraint() const
   {
      return m_upperLimitConstraint.topElement() != nullptr ||
             m_lowerLimitConstraint.topElement() != nullptr;
   }
   /// Whether a joint position keeps to the limits of the link, of both kinds.
   bool isWithinLimits(const ZqPositionState& position) const;
   /// @}
   /// Takes mass, joint, drive, spring and damper, points and frames, and with `withShapes` the shapes,
   /// from another link, for the first link of the subtree with the label. False when there is none.
   virtual bool replaceLinkProperties(const ZqString& label, const ZqManipulatorLink& link,
                                      bool withShapes);
   /// Sets the masses of the link of the label in the subtree. False when there is none, and also when
   /// it is this link itself.
   virtual bool replaceMassProperties(const ZqString& label,
                                      const ZqRigidBodyMassProperties& properties);

   /// \name Points and frames in the primary frame
   /// A name that is taken keeps its value, with a message.
   /// @{
   virtual const NamedPoints& namedPoints() const { return m_namedPoints; }
   virtual void setNamedPoints(const NamedPoints& points) { m_namedPoints = points; }
   virtual bool lookupNamedPoint(const ZqString& name, ZqVector& point) const;
   virtual void addNamedPoint(const ZqString& name, const ZqVector& point);
   virtual const NamedFrames& namedFrames() const { return m_namedFrames; }
   virtual void setNamedFrames(const NamedFrames& frames) { m_namedFrames = frames; }
   virtual bool lookupNamedFrame(const ZqString& name,
                                 ZqCoordinateSystemTransformation& frame) const;
   virtual void addNamedFrame(const ZqString& name, const ZqCoordinateSystemTransformation& frame);
   /// @}

   /// \name Sensors
   /// @{
   virtual const ZqSensorVector& sensorVector() const { return m_sensorVector; }
   /// Sets copies, which are told the label of the link and the index of its manipulator.
   virtual void setSensorVector(const ZqSensorVector& sensors);
   /// Adds one more copy. False for null.
   virtual bool addSensor(const ZqBaseSensor* sensor);
   /// @}

   virtual bool isConstrained() const { return m_isConstrained; }
   virtual void setIsConstrained(bool constrained) { m_isConstrained = constrained; }
   /// Registers the components that the base of a manipulator has.
   virtual void registerComponentsForBase();
   virtual void updateMassProperties();
   /// Has the default limits follow drive and index: to be called when a class that is derived from this one
   /// has changed these.
   virtual void updateDefaultLimitConstraints();
   /// Changes the labels that springs, dampers and references in the subtree hold, and the indices that
   /// limits hold, as an edit of the manipulator's links says, and what drives, springs and dampers say of
   /// positions of joints.
   void apply(const ZqLinkEdit& edit);

protected:
   /// \name What a failed query answers
   /// @{
   static const ZqCoordinateSystemTransformation m_theDummyTransformation;
   static const ZqGeneralMotion m_theDummyGeneralVelocity;
   static const ZqGeneralMotion m_theDummyGeneralAcceleration;
   static const ZqGeneralMotion m_theDummySpatialMomentum;
   static const ZqGeneralMotion m_theDummySpatialMomentumRate;
   static const ZqGeneralForce m_theDummyGeneralForce;
   static const ZqRigidBodyMassProperties m_theDummyCrbi;
   static const ZqArticulatedBodyDynamics m_theDummyArbd;
   static const ZqCapsule m_theDummyCapsuleBoundingVolume;
   /// @}

   using CompositeQuery =
      const ZqGeneralMotion& (ZqManipulatorLink::*)(ZqManipulatorActiveState& activeState,
                                                    const ZqStatedSystemStruct* stateStruct) const;
   ZqGeneralMotion sumOverChildren(const ZqGeneralMotion& own,
                                   ZqManipulatorActiveState& activeState, CompositeQuery query,
                                   const ZqStatedSystemStruct* stateStruct) const;

private:
   friend class ZqIndividualManipulator; // numbers the tree
   friend class ZqLinkUnion;             // puts the link together

   struct OldDrives;
   struct DefaultLimits;

   void applyLabels(const ZqLinkEdit& edit);
   void applyIndices(const ZqLinkEdit& edit);
   void setDefaultLimits(DefaultLimits& limits) const;
   const DefaultLimits& defaultLimits() const;
   void dropDefaultLimits() noexcept;
   void tellSensors();
   void attachParts() noexcept;
   // Tell the manipulator that its maps may not be right any more.
   void lendChildren();
   void treeChanges() noexcept;
   void applyToUnion(const ZqLinkEdit& edit);
   void transformUnionBy(const ZqCoordinateSystemTransformation& T);
   void scaleUnionBy(ZqReal scale);
   void resizeUnion(const ZqModelScaling& scaling);
   void scaleContentsBy(ZqReal scale);
   void labelChanges() noexcept;
   void modelChanges() noexcept;
   bool isScaleOf(ZqReal scale, const char* operation) const;
   void shapesChange() noexcept;
   void leaveManipulator() noexcept;
   ZqShapeContainer& shapeComponent() { return m_shapes.m_container; }
   /// The link whose shapes this one uses.
   const ZqManipulatorLink& shapeOwner() const
   {
      if (m_referenceLink == this && !m_linkReferenceDescription.isShapeReferenced())
         return *this;
      return referencedShapeOwner();
   }
   const ZqManipulatorLink& referencedShapeOwner() const;
   void transformAllButShapesBy(const ZqCoordinateSystemTransformation& T);
   void replaceShape(const ZqShape& shape, ZqU32 shapeIndex, bool replaceAll);
   void takeShapes(ZqShapeContainer&& shapes);
   ZqReal reachOfShape() const;
   ZqOldJointActuator& oldJointActuator();
   ZqJointActuatorContainer& oldJointActuatorContainer();
   OldDrives& oldDrives();
   void takeOldDrives();
   const ZqRigidBodyMassProperties&
   withAttachments(const ZqRigidBodyMassProperties& own, const ZqStatedSystemStruct* stateStruct,
                   const ZqCoordinateSystemTransformation* outer) const;
   const ZqLinkPositionState* placeOnParent(ZqManipulatorActivePositionState& activeState,
                                            bool primaryFrameIsNext,
                                            ZqLinkPositionState& own) const;
   void storeDhTransform(ZqManipulatorActivePositionState& activeState) const;
   static void takeFramesInboard(int link, ZqManipulatorActivePositionState& activeState);
   const ZqLinkPositionState* placeInSystem(ZqManipulatorActivePositionState& activeState,
                                            bool primaryFrameIsNext) const;
   const ZqRigidBodyMassProperties& dhMasses(const ZqStatedSystemStruct* stateStruct) const;

   ZqIndividualManipulator* m_manipulator = nullptr; ///< not owned
   ZqManipulatorLink* m_referenceLink = this;        ///< not owned
   ChildLinks m_childLinks;
   /// Owned; null until it is first asked for. Several threads may ask at once.
   mutable std::atomic<DefaultLimits*> m_defaultLimits = nullptr;
   std::unique_ptr<OldDrives> m_oldDrives; ///< while a document is read that has them
};

extern template class ZqXmlClass<ZqManipulatorLink>;
extern template class ZqXmlVectorType<ZqManipulatorLink>;
