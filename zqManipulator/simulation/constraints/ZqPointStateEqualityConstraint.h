#pragma once

#include "zqManipulator/simulation/constraints/ZqPointPairStateEqualityConstraint.h"

/// Two points of links that coincide: a ball joint that closes a loop.
///
/// The three rows are the velocity of the first point less that of the second, in the system. With two
/// links the motion of a free base cancels, and its columns are zero. With neither, all is zero.
/// `addKinematics` has what passes the first point on the second link in place of the second point,
/// which is the same while the points coincide.
class ZqPointStateEqualityConstraint
   : public ZqXmlClass<ZqPointStateEqualityConstraint, ZqPointPairStateEqualityConstraint>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqPointStateEqualityConstraintToken; }
   static constexpr const char* documentation = "two points of links that coincide";
   bool operator==(const ZqPointStateEqualityConstraint&) const = default;

   ZqU32 doc() const override { return 3; }
   const ZqReArray& jacobian(const ZqIndividualManipulator& manipulator,
                             const ZqPositionState& position) const override;
   void addKinematics(const ZqIndividualManipulator& manipulator,
                      ZqManipulatorActiveState& activeState, ZqU32 firstRow,
                      ZqConstraintKinematics& kinematics) const override;
};

extern template class ZqXmlClass<ZqPointStateEqualityConstraint,
                                 ZqPointPairStateEqualityConstraint>;
