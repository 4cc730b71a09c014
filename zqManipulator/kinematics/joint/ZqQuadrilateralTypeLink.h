#pragma once

#include "zqManipulator/foundation/xml/ZqXmlEnumType.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematics.h"

#include <optional>
#include <typeinfo>
#include <utility>

/// A joint that turns about z by a linkage of four sides, one of which is a slider of variable length:
/// the joint position is by how much the slider is longer than its nominal length.
///
///          C            fixed slider:   A = L, B = oppositeLength
///          |\           pivoted slider: A = oppositeLength, B = L
///          | \ B
///       d1 |  \         The frame stands at O, after the precursor: x towards P, y towards C. The link
///          |   \        turns about P, and the side B holds its point at the distance d2 from P.
///          O--A-P
///              d2
///
/// | symbol         | meaning                                                       | unit |
/// |----------------|---------------------------------------------------------------|------|
/// | q              | joint position                                                | m    |
/// | L              | length of the slider: nominal length + q                      | m    |
/// | A              | distance of the pivot P from O, along x                       | m    |
/// | B              | length of the side from C to the end of d2                    | m    |
/// | d1             | distance of the fixed point C from O, along y                 | m    |
/// | d2             | distance from the pivot to the end of the link's side         | m    |
/// | theta          | angle of the side d2 from x                                   | rad  |
/// | k              | d1 sin(theta) - A cos(theta), from the lengths alone          | m    |
/// | h              | sqrt(A A + d1 d1 - k k): the lever of the angle, up to a sign | m    |
/// | zDistanceA, B  | offsets along z of the link's frame and of A; of B and C      | m    |
///
/// The cosine rule gives k = (A A + d1 d1 + d2 d2 - B B) / (2 d2). Of the two assemblies, the one with the
/// larger cosine is taken if d1 is positive, or else if its sine is not negative, and the other one if it is; where
/// d1 is zero, and the cosines are one, the one with the positive sine. A slider for which the linkage does not close logs a message: the linkage then lies flat, with the angle of the nearest one.
///
/// The frame of the link stands in one of two places. They differ in what the motions are:
///
/// |                | by default                       | with `pivotFrame`                               |
/// |----------------|----------------------------------|-------------------------------------------------|
/// | origin         | (h, 0, zDistanceA)               | the pivot: (A, 0, zDistanceA)                   |
/// | velocity       | of the pivot, along x of the     | the derivative of the frame, in its axes        |
/// |                | precursor; the angular one of    |                                                 |
/// |                | the link                         |                                                 |
/// | assembly       | chosen anew in every position    | that of joint position 0, in every position     |
/// | dead point     | rates are not finite             | rates of a flat linkage, which are              |
/// | reach          | 0                                | that of the pivot between the joint's limits    |
///
/// So only the latter keeps energy, and moves as a linkage does; the default is for documents that rely on it. At
/// a dead point, where h is zero, the rates of a linkage that closes have no limit.
class ZqQuadrilateralTypeLink : public ZqXmlClass<ZqQuadrilateralTypeLink, ZqLinkKinematics>
{
public:
   enum JointType : ZqU32
   {
      FixedSlider = 0,
      PivotedSlider = 1
   };

   ZqQuadrilateralTypeLink();

   static const ZqToken& classToken() { return ZqManip::ZqQuadrilateralTypeLinkToken; }
   static constexpr const char* documentation = "a joint that turns by a linkage of four sides, "
                                                "one of them a slider; the joint position is by "
                                                "how much the slider is longer than nominal (m)";
   template <class This = ZqQuadrilateralTypeLink>
   static constexpr auto components()
   {
      return std::tuple{
         ZqOptionalAttributeComponent(&This::m_pivotFrame, &ZqManip::ZqPivotFrameToken,
                                      "whether the frame of the link stands at its pivot and moves "
                                      "with it, so that motions keep energy"),
         ZqComponent{&This::m_jointType, &ZqManip::ZqJointTypeToken, "which side is the slider"},
         ZqComponent{&This::m_precursor, &ZqManip::ZqPrecursorToken,
                     "fixed transformation before the linkage"},
         ZqComponent{&This::m_nominalLength, &ZqManip::ZqNominalSliderLengthToken,
                     "length of the slider at joint position 0 (m)"},
         ZqComponent{&This::m_d1Length, &ZqManip::ZqD1LengthToken,
                     "distance of the fixed point of the linkage along y (m)"},
         ZqComponent{&This::m_d2Length, &ZqManip::ZqD2LengthToken,
                     "side of the link, from its pivot (m)"},
         ZqComponent{&This::m_oppositeLength, &ZqManip::ZqOppositeLengthToken,
                     "side opposite to the slider (m)"},
         ZqComponent{&This::m_zDistanceA, &ZqManip::ZqZDistanceAToken,
                     "offset along z of the link's frame and of frame A (m)"},
         ZqComponent{&This::m_zDistanceB, &ZqManip::ZqZDistanceBToken,
                     "offset along z of frames B and C (m)"},
         ZqComponent{&This::m_zDistanceC, &ZqManip::ZqZDistanceCToken,
                     "a third offset (m), kept for others; no frame uses it"}};
   }
   bool xmlInit() override;
   bool read(ZqXmlReader& reader) override;

   bool operator==(const ZqQuadrilateralTypeLink& other) const;
   static ZqQuadrilateralTypeLink nullObject() { return {}; }

   using ZqLinkKinematics::approxEq;
   const ZqCoordinateSystemTransformation& calculateTransform(ZqReal jointPosition) const override;
   /// The precursor becomes the transformation times the precursor.
   void transformBy(const ZqCoordinateSystemTransformation& transformation) override;
   /// An unknown joint type logs a message, and composes the precursor alone.
   void transformBy(ZqCoordinateSystemTransformation& result, ZqReal jointPosition) const override;
   /// An unknown joint type logs a message, and keeps the rate of the last one.
   const ZqGeneralMotion& calculateVelocity(ZqReal jointPosition,
                                            ZqReal jointVelocity) const override;
   const ZqGeneralMotion& calculateAcceleration(ZqReal jointPosition, ZqReal jointVelocity,
                                                ZqReal jointAcceleration) const override;
   ZqReal upperBoundDhFrameDistance(const ZqJointActuator& actuator) const override;
   /// Scales the precursor's translation and all lengths. The primary frame stays as it is.
   void scaleBy(ZqReal scale) override;
   /// 1.0: the joint position is a length, though the link turns.
   ZqReal jointParameterScalability() const override;
   /// The precursor becomes the precursor times the transformation.
   void changeInboardFrameBy(const ZqCoordinateSystemTransformation& transformation) override;
   ZqU32 unitType() const override;
   ZqCoordinateSystemTransformation transformAt(ZqReal jointPosition) const override;
   ZqGeneralMotion velocityAt(ZqReal jointPosition, ZqReal jointVelocity) const override;
   ZqGeneralMotion accelerationAt(ZqReal jointPosition, ZqReal jointVelocity,
                                  ZqReal jointAcceleration) const override;
   /// False without `pivotFrame`: the motion is then not the derivative of the frame.
   bool unitMotionDerivatives(ZqReal jointPosition, ZqGeneralMotion& first,
                              ZqGeneralMotion& second) const override;

   virtual void registerJointTypeEnumerations();
   virtual const ZqU32& jointType() const { return m_jointType; }
   virtual void setJointType(ZqU32 jointType);
   virtual const ZqCoordinateSystemTransformation& precursor() const { return m_precursor; }
   virtual void setPrecursor(const ZqCoordinateSystemTransformation& precursor);
   virtual const ZqReal& nominalLength() const { return m_nominalLength; }
   virtual void setNominalLength(ZqReal length) { set(m_nominalLength, length); }
   virtual const ZqReal& d1Length() const { return m_d1Length; }
   virtual void setD1Length(ZqReal length) { set(m_d1Length, length); }
   virtual const ZqReal& d2Length() const { return m_d2Length; }
   virtual void setD2Length(ZqReal length) { set(m_d2Length, length); }
   virtual const ZqReal& oppositeLength() const { return m_oppositeLength; }
   virtual void setOppositeLength(ZqReal length) { set(m_oppositeLength, length); }
   virtual const ZqReal& zDistanceA() const { return m_zDistanceA; }
   virtual void setZDistanceA(ZqReal distance) { set(m_zDistanceA, distance); }
   virtual const ZqReal& zDistanceB() const { return m_zDistanceB; }
   virtual void setZDistanceB(ZqReal distance) { set(m_zDistanceB, distance); }
   virtual const ZqReal& zDistanceC() const { return m_zDistanceC; }
   virtual void setZDistanceC(ZqReal distance) { set(m_zDistanceC, distance); }
   /// True when all frames and lengths agree within the tolerance and joint type and form are the same.
   virtual bool approxEq(const ZqQuadrilateralTypeLink& other, ZqReal tolerance) const;
   /// \name Frames of the members of the linkage, in the inboard frame
   /// References into the joint, as of `calculateTransform`. An unknown joint type logs a message, and the frame
   /// is what it was.
   /// @{
   /// At the pivot, with the axes of the precursor.
   virtual const ZqCoordinateSystemTransformation& frameATransform(ZqReal jointPosition) const;
   /// At the end of the side d2, with x along the side that comes from C.
   virtual const ZqCoordinateSystemTransformation& frameBTransform(ZqReal jointPosition) const;
   /// Frame B, moved back along x by the length of the slider: at C, where that is the pivoted slider.
   virtual const ZqCoordinateSystemTransformation& frameCTransform(ZqReal jointPosition) const;
   /// @}
   /// \name The same by value, with nothing kept
   /// @{
   ZqCoordinateSystemTransformation frameAAt(ZqReal jointPosition) const;
   ZqCoordinateSystemTransformation frameBAt(ZqReal jointPosition) const;
   ZqCoordinateSystemTransformation frameCAt(ZqReal jointPosition) const;
   /// @}
   bool pivotFrame() const { return m_pivotFrame; }
   void setPivotFrame(bool pivotFrame);
   /// Whether the sides reach each other.
   bool closesAt(ZqReal jointPosition) const { return closureAt(jointPosition).closes; }
   /// The lowest and the highest joint position for which they do, of those with a slider that is not shorter than
   /// nothing. None where there is none.
   std::optional<std::pair<ZqReal, ZqReal>> closingRange() const;

private:
   /// The linkage in one position.
   struct Closure
   {
      ZqReal L, A, k;
      ZqReal lever; ///< h, negative in the second assembly: d theta is (dk + cos(theta) dA) / lever
      ZqReal sine, cosine;
      bool closes;
   };
   /// How theta changes with the joint position.
   struct Rates
   {
      ZqReal first, second, third;
   };

   /// Whether no derived class may have overridden what this one computes.
   bool isOfThisClass() const { return typeid(*this) == typeid(ZqQuadrilateralTypeLink); }
   bool isKnown() const { return m_jointType <= PivotedSlider; }
   bool isFixedSlider() const { return m_jointType == FixedSlider; }
   void set(ZqReal& member, ZqReal value);
   void invalidateAllTransforms();
   Closure closureAt(ZqReal q) const;
   Rates ratesAt(const Closure& linkage) const;
   Closure closureToldAt(ZqReal q) const;
   ZqCoordinateSystemTransformation frameB(const Closure& linkage) const;
   ZqGeneralMotion velocityOf(ZqReal q, ZqReal qd) const;
   ZqGeneralMotion accelerationOf(ZqReal q, ZqReal qd, ZqReal qdd) const;
   ZqVector linearAlong(const Closure& linkage, ZqReal rate) const;

   ZqXmlEnumType<ZqU32> m_jointType;
   ZqCoordinateSystemTransformation m_precursor;
   ZqReal m_nominalLength = 1.0;
   ZqReal m_d1Length = 1.0;
   ZqReal m_d2Length = 1.0;
   ZqReal m_oppositeLength = 1.0;
   ZqReal m_zDistanceA = 0.0;
   ZqReal m_zDistanceB = 0.0;
   ZqReal m_zDistanceC = 0.0;
   bool m_pivotFrame = false;
   mutable ZqCoordinateSystemTransformation m_frameA;
   mutable ZqCoordinateSystemTransformation m_frameB;
   mutable ZqCoordinateSystemTransformation m_frameC;
   mutable bool m_frameBValid = false;
   mutable ZqReal m_frameBJointPosition = 0.0;
   mutable ZqReal m_angularRate = 0.0; ///< that of the last velocity (rad/s)
};

extern template class ZqXmlClass<ZqQuadrilateralTypeLink, ZqLinkKinematics>;
