#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

#include <string>
#include <tuple>
#include <vector>

class ZqCoordinateSystemTransformation;
class ZqIndividualManipulator;
class ZqStatedSystem;

/// Tells the joints and frames of a manipulator in another convention; nothing moves. In every state that
/// is carried over, the primary frames of all links stand where they stood, and forces and accelerations
/// are the same.
///
/// What speaks of a joint's position follows where the zero or the sense of the joint changes: limits and
/// least and greatest torques of its drive, the chambers of a hydraulic cylinder, offsets and weights of
/// springs and dampers, weights and sums of linear equality constraints, and in a scene positions and
/// rates of the state and the angles of latched doors, with what these remember. What is stated in a primary frame follows where
/// that changes: shapes, masses, named points and frames, points and planes of equality constraints,
/// polygons of stopping criteria, and in a scene offsets of attachments and frames of springs between
/// links. What acts in a D-H frame, as external forces and the moment of a latched door, does so in the
/// new one. Trajectories and commands are the user's own matter.
///
/// What contacts and interactions remember is told anew, so that a run goes on as it would have; but the motors of
/// drives start from the joints, as at every start of a simulation.
///
/// A scene may be its own result. Failures are logged, and leave the result as far as it was copied.
///
/// Craig's form: a joint that turns becomes Tx(a) Rx(alpha) Rz(theta) Tz(d) (Craig 1986), with the D-H frame of a link
/// on the axis of its own joint and x along the common normal to the axis of its first child's. The joint
/// is a craig one where that is all. Where the frame of the parent is not free to fit, on the base and
/// for all but one child of a fork, it is a generalCraig one, the precursor of which turns and slides the
/// frame of the parent along its z first.
///
/// - A frame that fits already stays. So joints in Craig's form stay as they are, those in Paul's keep
///   their zeros, and a, which is positive else, has the sign that it had.
/// - Axes that intersect have a normal by the cross product of their directions.
/// - Axes of which the common normal meets either further than the model's size (the sum of its lengths)
///   from where its frame stood, count as parallel: a is their distance there, and what alpha does not say
///   of their tilt goes into the precursor. So no frame stands far away, and no rounding is drawn out.
/// - Numbers count as equal within 64 epsilon, lengths times the model's size.
///
/// A joint that slides is not converted.
class ZqKinematicsConversionTool : public ZqXmlClass<ZqKinematicsConversionTool>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqKinematicsConversionToolToken; }
   static constexpr const char* documentation =
      "tells joints and frames of manipulators in other conventions";
   template <class This = ZqKinematicsConversionTool>
   static constexpr auto components()
   {
      return std::tuple{};
   }
   bool operator==(const ZqKinematicsConversionTool&) const noexcept { return true; }

   /// \name To Craig's form
   /// The zeros of joints change by no more than half a turn.
   /// @{
   /// As a chain or as a tree.
   virtual bool convertManipulatorToCraigsDhForm(const ZqStatedSystem& source,
                                                 ZqStatedSystem& result,
                                                 unsigned int manipulatorIndex) const;
   /// The same with a choice of whole turns for each joint, by link index; a list may be short. A joint with
   /// `useCenters` has the middle of its limits, or without limits its position, come as near to its center
   /// as can be; else one with `useShifts` the change of its zero (new position less old) to its shift.
   /// Those without either take the one center or the one shift, if there is any. All are in radians; a
   /// number that is not finite is rejected with a message.
   virtual bool convertManipulatorToCraigsDhForm(
      const ZqStatedSystem& source, ZqStatedSystem& result, unsigned int manipulatorIndex,
      const std::vector<bool>& useCenters, const std::vector<bool>& useShifts,
      const std::vector<double>& centers, const std::vector<double>& shifts, const double* center,
      const double* shift) const;
   /// A manipulator without forks; the primary frame of its base becomes the identity.
   virtual bool convertSerialManipulatorToCraigsDhForm(const ZqStatedSystem& source,
                                                       ZqStatedSystem& result,
                                                       unsigned int manipulatorIndex) const;
   virtual bool convertBifurcatingManipulatorToCraigsDhForm(const ZqStatedSystem& source,
                                                            ZqStatedSystem& result,
                                                            unsigned int manipulatorIndex) const;
   /// A link and, with `withChildren`, all below it; otherwise its children keep their convention, and
   /// their precursors what moved below them. The transformation is the D-H frame that the link's parent
   /// had, in the one that it has now. One that is not rigid, and without `withChildren` a child that has no
   /// joint, is refused.
   virtual bool convertBifurcatingLinkAndChildrenToCraigsDhForm(
      ZqStatedSystem& system, unsigned int manipulatorIndex, unsigned int linkIndex,
      const ZqCoordinateSystemTransformation& inboardChange, bool withChildren) const;
   /// @}

   /// As `ZqIndividualManipulator::transformAllPrimaryFramesToIdentity`.
   virtual bool reconfigureForIdentityPrimaryFrames(ZqStatedSystem& system,
                                                    unsigned int manipulatorIndex) const;
   /// Tells positions of joints that turn by whole turns more or less, so that the middle of the limits of
   /// joint i comes as near to `centers[i]` (rad) as can be. One that is as near already stays, and so does
   /// one whose numbers are too large for turns, as with one limit only.
   virtual bool recenterJointLimits(ZqStatedSystem& system, unsigned int manipulatorIndex,
                                    const std::vector<double>& centers) const;

   /// \name In a manipulator
   /// Within `ZqStatedSystem::restateManipulator`, and with new links within `editManipulator`, the scene follows.
   /// @{
   /// Makes the precursor say all: a, d, alpha and theta become zero. What stands behind the joint, as in
   /// Paul's form, goes into the primary frame and into the precursors of the children. Paul's types become
   /// generalPaul, and Craig's generalCraig; a general joint says no more already. A link with a child without a
   /// joint, which has no precursor, is refused.
   static bool reconfigureDhToPrecursor(ZqIndividualManipulator& manipulator,
                                        const std::string& linkLabel);
   /// The same, and the joint then turns or slides in the other sense.
   static bool flipJointSign(ZqIndividualManipulator& manipulator, const std::string& linkLabel);
   /// Puts three links behind a link, between its D-H frame and its children, which turn about x, y and z of
   /// that frame, in this order, at joint positions near zero. Their labels are "sag-" with the link's label,
   /// and the same with "-1" and with "-2".
   ///
   /// The body stays with the link: its mass, shapes, points and all that hangs on them; it is the children
   /// that sag. The new links have no mass, and each a drive of its own, `ZqJointActuator::defaultObject`,
   /// whose inertia keeps their equations regular; give them springs, or hold them. In a scene they start at 1e-9,
   /// as all new joints, and so the children move by as much times their distance. False, with a message,
   /// also when one of the labels is taken, and for the base.
   static bool add3SagJoints(ZqIndividualManipulator& manipulator, const std::string& linkLabel,
                             std::vector<std::string>& newLabels);
   /// @}
};

extern template class ZqXmlClass<ZqKinematicsConversionTool>;
