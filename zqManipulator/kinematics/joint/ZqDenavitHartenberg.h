#pragma once

#include "zqManipulator/foundation/algebra/ZqAngle.h"
#include "zqManipulator/foundation/algebra/ZqHalfAngle.h"
#include "zqManipulator/foundation/xml/ZqXmlEnumType.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematics.h"

#include <typeinfo>

/// A rotational or prismatic joint in one of the conventions of Denavit and Hartenberg (1955).
///
/// | D-H type         | transformation from the DH frame to the inboard frame              |
/// |------------------|--------------------------------------------------------------------|
/// | paul (0)         | Rz(theta) Tz(d) Tx(a) Rx(alpha)              (Paul 1981)            |
/// | generalPaul (1)  | precursor, then as paul                                            |
/// | craig (2)        | Tx(a) Rx(alpha) Rz(theta) Tz(d)              (Craig 1986)           |
/// | generalCraig (3) | precursor, then as craig                                           |
/// | general (4)      | precursor, then Rz(q) or Tz(q); a, d, theta and alpha play no part |
///
/// The joint position q takes the place of theta in a rotational joint (type 0) and of d in a
/// prismatic one (type 1); the stored value then has no effect.
///
/// A value of an enumeration beyond these is kept, and the operations that meet it change nothing but
/// what is said here. For an unknown D-H type each logs a message: the transformation is the identity,
/// and motions are what the result held before. For an unknown joint type the transformation of the
/// Paul and Craig families goes on with an identity in the joint's place, with a message; the general
/// type stays silent, and with it the accelerations of the Craig family.
///
/// A joint that is read over after use keeps its cached transformation for the last joint position:
/// reading is meant for fresh objects.
class ZqDenavitHartenberg : public ZqXmlClass<ZqDenavitHartenberg, ZqLinkKinematics>
{
public:
   enum JointType : ZqU32
   {
      Rotational = 0,
      Prismatic = 1
   };
   enum DhType : ZqU32
   {
      Paul = 0,
      GeneralPaul = 1,
      Craig = 2,
      GeneralCraig = 3,
      General = 4
   };

   ZqDenavitHartenberg();

   static const ZqToken& classToken() { return ZqManip::ZqDenavitHartenbergToken; }
   static constexpr const char* documentation =
      "a rotational or prismatic joint by Denavit-Hartenberg parameters; the joint position takes "
      "the place of theta or d";
   template <class This = ZqDenavitHartenberg>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_jointType, &ZqManip::ZqJointTypeToken, "what the joint does"},
         ZqComponent{&This::m_dhType, &ZqManip::ZqDhTypeToken, "order of the transformations"},
         ZqComponent{&This::m_precursor, &ZqManip::ZqPrecursorToken,
                     "fixed transformation before the joint, of the general types"},
         ZqComponent{&This::m_a, &ZqManip::ZqDhAToken, "length a along x (m)"},
         ZqComponent{&This::m_d, &ZqManip::ZqDhDToken,
                     "offset d along z (m); of a prismatic joint without effect"},
         ZqComponent{&This::m_alpha, &ZqManip::ZqDhAlphaToken, "twist alpha about x (rad)"},
         ZqComponent{&This::m_theta, &ZqManip::ZqDhThetaToken,
                     "angle theta about z (rad); of a rotational joint without effect"}};
   }
   bool xmlInit() override;
   bool read(ZqXmlReader& reader) override;

   bool operator==(const ZqDenavitHartenberg& other) const;
   /// A joint with odd values in every member, for samples.
   static ZqDenavitHartenberg defaultObject();
   static ZqDenavitHartenberg nullObject() { return {}; }

   using ZqLinkKinematics::approxEq;
   const ZqCoordinateSystemTransformation& calculateTransform(ZqReal jointPosition) const override;
   /// A paul or craig joint becomes generalPaul or generalCraig, with this as its precursor; else the
   /// precursor becomes the transformation times the precursor.
   void transformBy(const ZqCoordinateSystemTransformation& transformation) override;
   /// For general joints the result is assigned, for all others composed onto what it held.
   void transformBy(ZqCoordinateSystemTransformation& result, ZqReal jointPosition) const override;
   const ZqGeneralMotion& calculateVelocity(ZqReal jointPosition,
                                            ZqReal jointVelocity) const override;
   const ZqGeneralMotion& calculateAcceleration(ZqReal jointPosition, ZqReal jointVelocity,
                                                ZqReal jointAcceleration) const override;
   ZqReal upperBoundDhFrameDistance(const ZqJointActuator& actuator) const override;
   bool addChildArbdToParent(ZqArticulatedBodyDynamics& parent,
                             const ZqArticulatedBodyDynamics& child, ZqReal jointPosition,
                             ZqReal jointTorque, ZqReal effectiveInertia) const override;
   void scaleBy(ZqReal scale) override;
   /// 0.0, with a message, also for an unknown joint type.
   ZqReal jointParameterScalability() const override;
   /// As `transformBy`, with the precursor becoming the precursor times the transformation.
   void changeInboardFrameBy(const ZqCoordinateSystemTransformation& transformation) override;
   ZqU32 unitType() const override;
   ZqCoordinateSystemTransformation transformAt(ZqReal jointPosition) const override;
   ZqGeneralMotion velocityAt(ZqReal jointPosition, ZqReal jointVelocity) const override;
   ZqGeneralMotion accelerationAt(ZqReal jointPosition, ZqReal jointVelocity,
                                  ZqReal jointAcceleration) const override;

   virtual void registerJointTypeEnumerations();
   virtual void registerDhTypeEnumerations();
   virtual const ZqU32& jointType() const;
   virtual void setJointType(ZqU32 jointType);
   virtual const ZqU32& dhType() const;
   virtual void setDhType(ZqU32 dhType);
   virtual const ZqCoordinateSystemTransformation& precursor() const;
   virtual void setPrecursor(const ZqCoordinateSystemTransformation& precursor);
   virtual const ZqAngle& dhTheta() const;
   virtual void setDhTheta(const ZqAngle& theta);
   virtual const ZqReal& dhD() const;
   virtual void setDhD(ZqReal d);
   virtual const ZqReal& dhA() const;
   virtual void setDhA(ZqReal a);
   virtual const ZqAngle& dhAlpha() const;
   virtual void setDhAlpha(const ZqAngle& alpha);
   /// Whether a, alpha and d say all in Craig's convention: a craig joint, or a generalCraig one whose
   /// precursor is the identity to within 1e-10.
   bool hasCraigParameters() const
   {
      return m_dhType == Craig ||
             (m_dhType == GeneralCraig &&
              m_precursor.approxEq(ZqCoordinateSystemTransformation::identity(), 1e-10));
   }
   /// The motion per unit joint velocity, which is the same for every q.
   virtual void getUnitFrameMotion(ZqGeneralMotion& motion, ZqReal jointPosition) const;
   /// The given accelerations with the velocity-product terms of the joint, in the DH frame; the
   /// angular velocity (rad/s) is that of the inboard side.
   virtual void accelerationFromJointVelocity(ZqReal jointVelocity, const ZqVector& angularVelocity,
                                              const ZqVector& linearAcceleration,
                                              const ZqVector& angularAcceleration,
                                              ZqGeneralMotion& result) const;
   /// True when the primary frames, theta, alpha, a and d agree within the tolerance and the joint
   /// types are the same. The D-H type and the precursor are not compared.
   virtual bool approxEq(const ZqDenavitHartenberg& other, ZqReal tolerance) const;

private:
   /// The geometry of a D-H type: where the DH frame stands in the link.
   enum class Family
   {
      Paul,
      Craig,
      General,
      Unknown
   };
   Family family() const;
   bool hasUnknownJointType() const { return m_jointType > Prismatic; }
   ZqCoordinateSystemTransformation takePrecursor();
   ZqVector jointAxis(Family family) const;
   void setToMotion(ZqGeneralMotion& motion, Family family, ZqReal velocity) const;
   void setToVelocity(ZqGeneralMotion& motion, ZqReal jointPosition, ZqReal jointVelocity) const;
   void setToAcceleration(ZqGeneralMotion& motion, ZqReal jointVelocity,
                          ZqReal jointAcceleration) const;
   /// Whether no derived class may have overridden what this one computes.
   bool isOfThisClass() const { return typeid(*this) == typeid(ZqDenavitHartenberg); }

   ZqXmlEnumType<ZqU32> m_jointType;
   ZqXmlEnumType<ZqU32> m_dhType;
   ZqCoordinateSystemTransformation m_precursor;
   ZqAngle m_theta;
   ZqReal m_d = 0.0;
   ZqReal m_a = 0.0;
   ZqAngle m_alpha; ///< with its sine and cosine
   ZqHalfAngle m_halfAlpha;
};

extern template class ZqXmlClass<ZqDenavitHartenberg, ZqLinkKinematics>;
