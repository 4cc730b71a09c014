#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"

class ZqArticulatedBodyDynamics;
class ZqArticulatedBodyInertia;
class ZqJointActuator;

/// A joint: from the scalar joint position q and its rates, the transformation from the DH frame of
/// the link to that of its parent (the inboard frame), and the motion that the joint adds.
///
/// Lengths are in metres and angles in radians; q is a length or an angle, as `unitType` says. Motions
/// are those of the DH frame relative to the inboard frame, in the axes of the DH frame ("local").
/// The primary frame of the link, in which shapes, masses and points are stated, is fixed in the DH
/// frame.
///
/// The operations `calculate...` answer with references into the joint, which the next query of the same
/// kind overwrites: they are for one thread at a time. All else that is const serves any number of threads;
/// `transformAt`, `velocityAt` and `accelerationAt` answer the same by value, but zeros where a message tells
/// that the former answer what they kept. For a joint of a class of one's own they ask the former, under a lock that all such joints share; a class that computes without
/// a cache overrides them, and does without the lock.
class ZqLinkKinematics : public ZqXmlAbstractClass<ZqLinkKinematics, ZqBaseExpressionTreeElement>
{
public:
   template <class This = ZqLinkKinematics>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_primaryFrame, &ZqManip::ZqPrimaryFrameToken,
                     "frame of masses, shapes and points of the link, in its DH frame"}};
   }
   bool read(ZqXmlReader& reader) override;

   ZqLinkKinematics() = default;
   ZqLinkKinematics(const ZqLinkKinematics& other);
   ZqLinkKinematics& operator=(const ZqLinkKinematics& other);
   bool operator==(const ZqLinkKinematics& other) const;

   /// True when the primary frames agree within the tolerance.
   virtual bool approxEq(const ZqLinkKinematics& other, ZqReal tolerance) const;
   /// The primary frame in the DH frame.
   virtual const ZqCoordinateSystemTransformation& primaryFrame() const;
   virtual const ZqCoordinateSystemTransformation& primaryFrameInverse() const;
   virtual void setPrimaryFrame(const ZqCoordinateSystemTransformation& frame);
   /// The transformation from the DH frame to the inboard frame. It is kept: asked again with exactly
   /// the same joint position, it is returned as it stands.
   virtual const ZqCoordinateSystemTransformation&
   calculateTransform(ZqReal jointPosition) const = 0;
   /// Moves the joint, with its inboard frame, by a transformation in the inboard frame.
   virtual void transformBy(const ZqCoordinateSystemTransformation& transformation) = 0;
   /// Composes the joint's transformation onto the result. Nothing is kept.
   virtual void transformBy(ZqCoordinateSystemTransformation& result,
                            ZqReal jointPosition) const = 0;
   /// The velocity that the joint adds, by numeric differentiation of `calculateTransform`: by central
   /// differences of fourth order over 2^-10 (m or rad), which are good to about 1e-12 for a joint whose
   /// transform changes on a scale of 1. The transform is asked for up to twice that beyond the position.
   virtual const ZqGeneralMotion& calculateVelocity(ZqReal jointPosition,
                                                    ZqReal jointVelocity) const;
   /// The acceleration that the joint adds: what remains for a parent at rest, velocity products
   /// included. A unit joint acceleration from rest gives the unit motion of any joint. Numeric, by the same
   /// differences of `calculateVelocity`: velocity products are good to about 1e-9 times the joint velocity
   /// squared, and to about 1e-12 for a joint with a velocity in closed form.
   virtual const ZqGeneralMotion& calculateAcceleration(ZqReal jointPosition, ZqReal jointVelocity,
                                                        ZqReal jointAcceleration) const;
   /// The joint torque (N m, or N) that accelerates an articulated body by a unit joint acceleration.
   virtual ZqReal unitAccelerationTorque(ZqReal jointPosition,
                                         const ZqArticulatedBodyInertia& inertia) const;
   /// The component of a spatial force, at the DH frame, that the joint's drive has to exert: its
   /// power on the unit motion.
   virtual ZqReal torqueRequiredToExert(ZqReal jointPosition, const ZqGeneralForce& force) const;
   /// A bound on the distance (m) between the origins of the inboard and the DH frame over the travel
   /// between the actuator's limits.
   virtual ZqReal upperBoundDhFrameDistance(const ZqJointActuator& actuator) const = 0;
   /// Reduces the child's articulated body by the joint's freedom and adds it to the parent's.
   virtual bool addChildArbdToParent(ZqArticulatedBodyDynamics& parent,
                                     const ZqArticulatedBodyDynamics& child, ZqReal jointPosition,
                                     ZqReal jointTorque, ZqReal effectiveInertia) const;
   /// Scales all lengths.
   virtual void scaleBy(ZqReal scale);
   /// The power of a length scale that applies to the joint position: 0.0 for an angle, 1.0 for a
   /// length.
   virtual ZqReal jointParameterScalability() const = 0;
   /// Changes the inboard frame to one in which the joint's precursor is followed by T.
   virtual void changeInboardFrameBy(const ZqCoordinateSystemTransformation& transformation) = 0;
   /// 0 when the joint position is a length, 1 when it is an angle.
   virtual ZqU32 unitType() const = 0;

   /// \name As `calculateTransform`, `calculateVelocity` and `calculateAcceleration`, by value
   /// @{
   virtual ZqCoordinateSystemTransformation transformAt(ZqReal jointPosition) const;
   virtual ZqGeneralMotion velocityAt(ZqReal jointPosition, ZqReal jointVelocity) const;
   virtual ZqGeneralMotion accelerationAt(ZqReal jointPosition, ZqReal jointVelocity,
                                          ZqReal jointAcceleration) const;
   /// @}
   /// How the unit motion S, in the axes of the DH frame, changes with the joint position: dS/dq and
   /// d2S/dq2. False, with no promise of what they are, where the joint does not know, or where its motion is
   /// not the derivative of its transform; gradients then have differences for this joint.
   virtual bool unitMotionDerivatives(ZqReal jointPosition, ZqGeneralMotion& first,
                                      ZqGeneralMotion& second) const;
   /// A clone for another model, while these do not ask the joint for what it keeps. The caller owns it.
   static ZqLinkKinematics* cloneOf(const ZqLinkKinematics& joint);

protected:
   /// What `calculateTransform` answers in a joint that keeps its last transform: that one, or a new one
   /// by `transformBy`.
   const ZqCoordinateSystemTransformation& keptTransform(ZqReal jointPosition) const;
   /// To be called when a parameter changes.
   void forgetTransform() { m_transformValid = false; }

   mutable ZqCoordinateSystemTransformation m_currentTransform;
   mutable ZqGeneralMotion m_currentVelocity;
   mutable ZqGeneralMotion m_currentAcceleration;

private:
   ZqCoordinateSystemTransformation m_primaryFrame;
   ZqCoordinateSystemTransformation m_primaryFrameInverse;
   mutable ZqReal m_lastJointPosition = 0.0;
   mutable bool m_transformValid = false;
};
