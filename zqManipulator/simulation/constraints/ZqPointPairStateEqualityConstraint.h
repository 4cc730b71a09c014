#pragma once

#include "zqManipulator/simulation/constraints/ZqBaseStateEqualityConstraint.h"

class ZqManipulatorLink;
class ZqRotationMatrix;

/// What constraints between two points on links share: the points, each in the primary frame of a link
/// that is named by its label. A label that names no link stands for the fixed environment; the point
/// is then one of the system. The base has a label as well.
class ZqPointPairStateEqualityConstraint
   : public ZqXmlAbstractClass<ZqPointPairStateEqualityConstraint, ZqBaseStateEqualityConstraint>
{
public:
   template <class This = ZqPointPairStateEqualityConstraint>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_firstLinkLabel, &ZqManip::ZqFirstLinkLabelToken,
                     "label of the first link; one that no link has stands for the environment"},
         ZqComponent{&This::m_secondLinkLabel, &ZqManip::ZqSecondLinkLabelToken,
                     "label of the second link; one that no link has stands for the environment"},
         ZqComponent{&This::m_firstLinkPoint, &ZqManip::ZqFirstLinkPointToken,
                     "x y z (m) in the primary frame of the first link, or in the system"},
         ZqComponent{&This::m_secondLinkPoint, &ZqManip::ZqSecondLinkPointToken,
                     "x y z (m) in the primary frame of the second link, or in the system"}};
   }
   bool operator==(const ZqPointPairStateEqualityConstraint&) const = default;

   /// The kind, and the labels.
   ZqString description() const override;

   virtual const ZqString& firstLinkLabel() const { return m_firstLinkLabel; }
   virtual void setFirstLinkLabel(const ZqString& label) { m_firstLinkLabel = label; }
   virtual const ZqString& secondLinkLabel() const { return m_secondLinkLabel; }
   virtual void setSecondLinkLabel(const ZqString& label) { m_secondLinkLabel = label; }
   virtual const ZqVector& firstLinkPoint() const { return m_firstLinkPoint; }
   virtual void setFirstLinkPoint(const ZqVector& point) { m_firstLinkPoint = point; }
   virtual const ZqVector& secondLinkPoint() const { return m_secondLinkPoint; }
   virtual void setSecondLinkPoint(const ZqVector& point) { m_secondLinkPoint = point; }
   bool apply(const ZqLinkEdit& edit) override;
   void scaleBy(const ZqModelScaling& scaling) override;

protected:
   /// The velocity, in the system, of a point in the primary frame of a link per unit rate of a joint
   /// between the link and the base.
   virtual ZqVector pointMotion(const ZqManipulatorLink& jointLink,
                                const ZqManipulatorLink& pointLink, const ZqVector& point,
                                ZqManipulatorActivePositionState& activeState) const;

   /// The motion of the DH frame of a joint per unit rate of it, in the axes of the frame.
   static ZqGeneralMotion unitMotion(const ZqManipulatorLink& jointLink,
                                     const ZqManipulatorActivePositionState& activeState);
   /// The position in the system of a point on a link, or of the environment when the link is null.
   static ZqVector positionInSystem(const ZqManipulatorLink* link, const ZqVector& point,
                                    ZqManipulatorActivePositionState& activeState);
   /// Whether a link moves by a joint. The base does not, and neither does null: a walk towards the
   /// base ends there.
   static bool hasJoint(const ZqManipulatorLink* link);
   /// Adds as many components as there are rows to the column of a joint, times a sign.
   void addToColumn(const ZqIndividualManipulator& manipulator, const ZqManipulatorLink& jointLink,
                    const ZqVector& motion, ZqReal sign) const;

   /// The rows of `addKinematics` along as many axes as the constraint has rows: the gap is the first
   /// point less the second, and its rate that which is seen from the second link. The links need not be
   /// there; what is not there is the environment, and so is a fixed base. Joints that carry both links
   /// move neither against the other, and their columns are zero; so the forces of a constraint between
   /// two links leave the momentum of a free manipulator as it is, also while there is a gap.
   ///
   /// The axes are those of the system or, with `axesTurn`, fixed in the second link.
   void addRelativeMotion(const ZqIndividualManipulator& manipulator,
                          ZqManipulatorActiveState& activeState, const ZqRotationMatrix& axes,
                          bool axesTurn, ZqU32 firstRow, ZqConstraintKinematics& kinematics) const;

   ZqString m_firstLinkLabel;
   ZqString m_secondLinkLabel;
   ZqVector m_firstLinkPoint;
   ZqVector m_secondLinkPoint;
};
