#pragma once

#include "zqManipulator/kinematics/joint/ZqLinkKinematics.h"

#include <typeinfo>

/// A joint that slides along z and turns about it, coupled by a pitch: precursor, then Tz(q)
/// Rz(2 pi pitch q).
///
/// | symbol | meaning               | unit |
/// |--------|-----------------------|------|
/// | q      | joint position        | m    |
/// | pitch  | turns per unit length | 1/m  |
///
/// Its unit motion is the same in all positions: a slide by 1 and a turn by 2 pi pitch along z of the DH
/// frame.
class ZqScrewTypeLink : public ZqXmlClass<ZqScrewTypeLink, ZqLinkKinematics>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqScrewTypeLinkToken; }
   static constexpr const char* documentation =
      "a joint that slides along z and turns about it; the joint position is the length that it "
      "slides (m)";
   template <class This = ZqScrewTypeLink>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_precursor, &ZqManip::ZqPrecursorToken,
                     "fixed transformation before the joint"},
         ZqComponent{&This::m_pitch, &ZqManip::ZqPitchToken, "turns per unit length (1/m)"}};
   }
   bool read(ZqXmlReader& reader) override;

   bool operator==(const ZqScrewTypeLink& other) const;
   static ZqScrewTypeLink nullObject() { return {}; }

   using ZqLinkKinematics::approxEq;
   const ZqCoordinateSystemTransformation& calculateTransform(ZqReal jointPosition) const override;
   /// The precursor becomes the transformation times the precursor.
   void transformBy(const ZqCoordinateSystemTransformation& transformation) override;
   void transformBy(ZqCoordinateSystemTransformation& result, ZqReal jointPosition) const override;
   const ZqGeneralMotion& calculateVelocity(ZqReal jointPosition,
                                            ZqReal jointVelocity) const override;
   const ZqGeneralMotion& calculateAcceleration(ZqReal jointPosition, ZqReal jointVelocity,
                                                ZqReal jointAcceleration) const override;
   /// The larger of the two at the limits.
   ZqReal upperBoundDhFrameDistance(const ZqJointActuator& actuator) const override;
   /// Scales the precursor's translation, and divides the pitch. The primary frame stays as it is.
   void scaleBy(ZqReal scale) override;
   /// 1.0: the joint position is a length.
   ZqReal jointParameterScalability() const override;
   /// The precursor becomes the precursor times the transformation.
   void changeInboardFrameBy(const ZqCoordinateSystemTransformation& transformation) override;
   ZqU32 unitType() const override;
   ZqCoordinateSystemTransformation transformAt(ZqReal jointPosition) const override;
   ZqGeneralMotion velocityAt(ZqReal jointPosition, ZqReal jointVelocity) const override;
   ZqGeneralMotion accelerationAt(ZqReal jointPosition, ZqReal jointVelocity,
                                  ZqReal jointAcceleration) const override;
   bool unitMotionDerivatives(ZqReal jointPosition, ZqGeneralMotion& first,
                              ZqGeneralMotion& second) const override;

   virtual const ZqCoordinateSystemTransformation& precursor() const { return m_precursor; }
   virtual void setPrecursor(const ZqCoordinateSystemTransformation& precursor);
   virtual const ZqReal& pitch() const { return m_pitch; }
   virtual void setPitch(ZqReal pitch);
   /// True when the primary frames, the precursors and the pitches agree within the tolerance.
   virtual bool approxEq(const ZqScrewTypeLink& other, ZqReal tolerance) const;

private:
   /// Whether no derived class may have overridden what this one computes.
   bool isOfThisClass() const { return typeid(*this) == typeid(ZqScrewTypeLink); }
   ZqGeneralMotion motionOf(ZqReal rate) const;

   ZqCoordinateSystemTransformation m_precursor;
   ZqReal m_pitch = 0.0;
};

extern template class ZqXmlClass<ZqScrewTypeLink, ZqLinkKinematics>;
