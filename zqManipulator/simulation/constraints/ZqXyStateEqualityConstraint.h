#pragma once

#include "zqManipulator/simulation/constraints/ZqPointPairStateEqualityConstraint.h"

/// Two points of links that agree in x and y of a plane's frame and slide freely along its z. The frame
/// is fixed in the second link: the orientation is in its primary frame, the origin is the second
/// point. Without a second link both are in the system.
///
/// The two rows are the velocity of the first point relative to the second link, in x and y. That is
/// what `addKinematics` answers for any pair of labels. From `jacobian` not every pair gives it:
/// - With a first link that no joint moves (the base, or none) x and y are those of the system in the
///   columns of joints.
/// - With a first link and no second one the columns of joints are zero.
/// - A free base has columns when just one of the links is there, whichever it is: those of its point
///   moving with the base, in the plane's frame as if that stood in the system.
class ZqXyStateEqualityConstraint
   : public ZqXmlClass<ZqXyStateEqualityConstraint, ZqPointPairStateEqualityConstraint>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqXyStateEqualityConstraintToken; }
   static constexpr const char* documentation =
      "two points of links that agree in x and y of a plane, and slide along its z";
   template <class This = ZqXyStateEqualityConstraint>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_xyOrientation, &ZqManip::ZqXyOrientationToken,
                     "w x y z of the plane in the primary frame of the second link"}};
   }
   bool operator==(const ZqXyStateEqualityConstraint&) const = default;

   ZqU32 doc() const override { return 2; }
   bool apply(const ZqLinkEdit& edit) override;
   const ZqReArray& jacobian(const ZqIndividualManipulator& manipulator,
                             const ZqPositionState& position) const override;
   void addKinematics(const ZqIndividualManipulator& manipulator,
                      ZqManipulatorActiveState& activeState, ZqU32 firstRow,
                      ZqConstraintKinematics& kinematics) const override;

   virtual const ZqOrientation& xyOrientation() const { return m_xyOrientation; }
   virtual void setXyOrientation(const ZqOrientation& orientation)
   {
      m_xyOrientation = orientation;
   }

protected:
   /// The motion, in the axes of the system, of a frame in the primary frame of a link per unit rate of
   /// a joint between the link and the base.
   virtual void getFrameMotion(const ZqManipulatorLink& jointLink,
                               const ZqManipulatorLink& frameLink,
                               const ZqCoordinateSystemTransformation& frame,
                               ZqManipulatorActivePositionState& activeState,
                               ZqGeneralMotion& motion) const;
   /// The position in the system of a point in the primary frame of a link.
   virtual ZqVector pointPosition(const ZqManipulatorLink& link, const ZqVector& point,
                                  ZqManipulatorActivePositionState& activeState) const;
   /// Sets the columns of the base to those of a point that moves with it.
   virtual void calculateFloatingBaseJacobian(const ZqIndividualManipulator& manipulator,
                                              const ZqManipulatorLink& link, const ZqVector& point,
                                              ZqManipulatorActivePositionState& activeState) const;

private:
   ZqOrientation m_xyOrientation;
};

extern template class ZqXmlClass<ZqXyStateEqualityConstraint, ZqPointPairStateEqualityConstraint>;
