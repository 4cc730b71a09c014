#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

class ZqDataMap;
class ZqJointActuator;
class ZqLinkKinematicsContainer;
class ZqRigidBodyMassProperties;

// How uncertain the properties of a link are, as standard deviations ("one sigma"), which are 0 by default:
// then a draw answers what it is given. All draw from `ZqRandom`, and each operation draws as often whatever
// the deviations are. The operations that are named `getPossible...` answer nothing that cannot be; the
// others draw by formulas that are given, and tell where these are not physics. A value may be drawn in place.

/// How uncertain the limits of a joint's drive are.
class ZqJointActuatorRandomVariation : public ZqXmlClass<ZqJointActuatorRandomVariation>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqJointActuatorRandomVariationToken; }
   static constexpr const char* documentation = "how uncertain the limits of a joint's drive are";
   template <class This = ZqJointActuatorRandomVariation>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_torqueRandomVariation, &ZqManip::ZqTorqueRandomVariationToken,
                     "one sigma of the least and the greatest torque at the motor (N m, or N)"},
         ZqComponent{&This::m_positionRandomVariation, &ZqManip::ZqPositionRandomVariationToken,
                     "one sigma of the limits of the joint (rad, or m)"},
         ZqComponent{&This::m_velocityRandomVariation, &ZqManip::ZqVelocityRandomVariationToken,
                     "one sigma of the greatest rate of the joint (rad/s, or m/s)"}};
   }
   /// 5 N m, 0.04 rad and 0.08 rad/s.
   static ZqJointActuatorRandomVariation defaultObject();
   bool operator==(const ZqJointActuatorRandomVariation&) const = default;

   virtual ZqReal torqueRandomVariation() const { return m_torqueRandomVariation; }
   virtual void setTorqueRandomVariation(ZqReal sigma) { m_torqueRandomVariation = sigma; }
   virtual ZqReal positionRandomVariation() const { return m_positionRandomVariation; }
   virtual void setPositionRandomVariation(ZqReal sigma) { m_positionRandomVariation = sigma; }
   virtual ZqReal velocityRandomVariation() const { return m_velocityRandomVariation; }
   virtual void setVelocityRandomVariation(ZqReal sigma) { m_velocityRandomVariation = sigma; }

   /// Draws the limits of positions, of torques and of the rate about those of a drive. What is no limit
   /// (1e300) stays none. A limit is folded back (`ZqRandom::folded`) where it would cross the middle
   /// between the lower and the upper one, and that of a torque or a rate where it would change its sign; so
   /// a limit keeps its mean, and one of zero stays zero.
   void getPossibleJointActuator(const ZqJointActuator& in, ZqJointActuator& out) const;

private:
   ZqReal m_torqueRandomVariation = 0.0;
   ZqReal m_positionRandomVariation = 0.0;
   ZqReal m_velocityRandomVariation = 0.0;
};

/// How far a link may be from where it is meant to be on its parent.
class ZqLinkKinematicsRandomVariation : public ZqXmlClass<ZqLinkKinematicsRandomVariation>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkKinematicsRandomVariationToken; }
   static constexpr const char* documentation = "how uncertain the place of a joint is";
   template <class This = ZqLinkKinematicsRandomVariation>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_translationRandomVariation,
                     &ZqManip::ZqTranslationRandomVariationToken,
                     "one sigma of the signed length of a translation in any direction (m)"},
         ZqComponent{&This::m_angleRandomVariation, &ZqManip::ZqAngleRandomVariationToken,
                     "one sigma of the angle of a rotation about any axis (rad)"}};
   }
   ZqLinkKinematicsRandomVariation() = default;
   ZqLinkKinematicsRandomVariation(ZqReal translation, ZqReal angle)
      : m_translationRandomVariation(translation), m_angleRandomVariation(angle)
   {
   }
   /// 0.01 m and 1 degree.
   static ZqLinkKinematicsRandomVariation defaultObject();
   bool operator==(const ZqLinkKinematicsRandomVariation&) const = default;

   virtual ZqReal translationRandomVariation() const { return m_translationRandomVariation; }
   virtual void setTranslationRandomVariation(ZqReal sigma)
   {
      m_translationRandomVariation = sigma;
   }
   virtual ZqReal angleRandomVariation() const { return m_angleRandomVariation; }
   virtual void setAngleRandomVariation(ZqReal sigma) { m_angleRandomVariation = sigma; }

   /// The joint of `in` moved by an offset in the frame of its parent
   /// (`ZqLinkKinematics::transformBy`): both ends of the joint move as one, as when the part before it
   /// was made or clamped a little off. A container without a joint stays empty.
   virtual void getRandomLinkKinematics(const ZqLinkKinematicsContainer& in,
                                        ZqLinkKinematicsContainer& out) const;
   /// A translation whose signed length is normal, in a direction of any kind: each coordinate has the
   /// variance of the length by three. A rotation by a normal angle about an axis of any kind.
   virtual void getRandomLinkKinematicsOffset(ZqCoordinateSystemTransformation& offset) const;

private:
   ZqReal m_translationRandomVariation = 0.0;
   ZqReal m_angleRandomVariation = 0.0;
};

/// How uncertain the mass of a link is, and with it where it is.
///
/// | symbol  | meaning                                                                     |
/// |---------|-----------------------------------------------------------------------------|
/// | m, c, I | mass, center of mass, and second moment of the body that is given           |
/// | s       | one sigma of the mass (kg)                                                  |
/// | a, b, e | diagonal of I                                                               |
class ZqMassPropertyRandomVariation : public ZqXmlClass<ZqMassPropertyRandomVariation>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqMassPropertyRandomVariationToken; }
   static constexpr const char* documentation = "how uncertain the mass of a link is";
   template <class This = ZqMassPropertyRandomVariation>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_massRandomVariation,
                                    &ZqManip::ZqMassRandomVariationToken,
                                    "one sigma of the mass (kg)"}};
   }
   /// 5 kg.
   static ZqMassPropertyRandomVariation defaultObject();
   bool operator==(const ZqMassPropertyRandomVariation&) const = default;

   virtual ZqReal massRandomVariation() const { return m_massRandomVariation; }
   virtual void setMassRandomVariation(ZqReal sigma) { m_massRandomVariation = sigma; }

   /// The mass is drawn about m; one below zero is zero. A body without mass, given or drawn, is the null
   /// object, in the first case without a draw. The center of mass is drawn about c, its x with the
   /// deviation k sqrt(e + b - a) and likewise y and z, where k = s / sqrt(2 m). The second moment is
   /// copied, and the whole made valid.
   ///
   /// That is no physics: the deviations are first moments (kg m) and serve as lengths (m); I is that
   /// about the frame's origin and neither follows the mass nor the center. `getPossibleMassProperty` is
   /// what was meant.
   virtual void getRandomMassProperty(const ZqRigidBodyMassProperties& in,
                                      ZqRigidBodyMassProperties& out) const;
   /// A body that can be. The mass is drawn about m and folded back into [0, 2 m]
   /// (`ZqRandom::folded`), so that its mean stays m for any s, and is never less than the least of a valid
   /// body. The moments about the center of mass follow the mass, as by another density. The center moves
   /// as by a mass of s that is added anywhere in the body: along each axis with the deviation r s / m,
   /// where r is the body's radius of gyration from the plane across it, folded back into the box of
   /// uniform density with the same r, whose half-extents are r sqrt(3). A body of the least
   /// mass stands for none, and stays; one that could not be is mended when it is varied.
   void getPossibleMassProperty(const ZqRigidBodyMassProperties& in,
                                ZqRigidBodyMassProperties& out) const;
   /// \name Deviation of a moment
   /// That of a mass deviation s which is spread evenly: of a product of inertia by a b s / sqrt(35), of a
   /// moment on the diagonal by s sqrt((2 a^2 b^2 + 3 a^4 + 3 b^4) / 35), in a body of the lengths a and b
   /// (m).
   /// @{
   virtual ZqReal diagonalDeviation(ZqReal a, ZqReal b) const;
   virtual ZqReal offDiagonalDeviation(ZqReal a, ZqReal b) const;
   /// @}

private:
   ZqReal m_massRandomVariation = 0.0;
};

/// How uncertain the contact of surfaces of a material is.
class ZqSurfacePropertyRandomVariation : public ZqXmlClass<ZqSurfacePropertyRandomVariation>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqSurfacePropertyRandomVariationToken; }
   static constexpr const char* documentation =
      "how uncertain the contact of surfaces of a material is";
   template <class This = ZqSurfacePropertyRandomVariation>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_surfaceMaterial, &ZqManip::ZqSurfaceMaterialToken,
                     "the surfaces meant are those of this material; all, when it is empty"},
         ZqComponent{&This::m_tensionSpringConstantRandomVariation,
                     &ZqManip::ZqTensionSpringConstantRandomVariationToken,
                     "one sigma of the spring constant, in its unit"},
         ZqComponent{&This::m_tensionDamperConstantRandomVariation,
                     &ZqManip::ZqTensionDamperConstantRandomVariationToken,
                     "one sigma of the damper constant, in its unit"},
         ZqComponent{&This::m_defaultSpringConstant, &ZqManip::ZqDefaultSpringConstantToken,
                     "mean of the spring constant of a surface without one"},
         ZqComponent{&This::m_defaultDamperConstant, &ZqManip::ZqDefaultDamperConstantToken,
                     "mean of the damper constant of a surface without one"}};
   }
   /// "metal", with 1000 and 1.
   static ZqSurfacePropertyRandomVariation defaultObject();
   bool operator==(const ZqSurfacePropertyRandomVariation&) const = default;

   virtual const ZqString& surfaceMaterial() const { return m_surfaceMaterial; }
   virtual void setSurfaceMaterial(const ZqString& material) { m_surfaceMaterial = material; }
   virtual ZqReal tensionSpringConstantRandomVariation() const
   {
      return m_tensionSpringConstantRandomVariation;
   }
   virtual void setTensionSpringConstantRandomVariation(ZqReal sigma)
   {
      m_tensionSpringConstantRandomVariation = sigma;
   }
   virtual ZqReal tensionDamperConstantRandomVariation() const
   {
      return m_tensionDamperConstantRandomVariation;
   }
   virtual void setTensionDamperConstantRandomVariation(ZqReal sigma)
   {
      m_tensionDamperConstantRandomVariation = sigma;
   }
   virtual ZqReal defaultSpringConstant() const { return m_defaultSpringConstant; }
   virtual void setDefaultSpringConstant(ZqReal constant) { m_defaultSpringConstant = constant; }
   virtual ZqReal defaultDamperConstant() const { return m_defaultDamperConstant; }
   virtual void setDefaultDamperConstant(ZqReal constant) { m_defaultDamperConstant = constant; }

   /// Whether both deviations are zero.
   bool isExact() const
   {
      return m_tensionSpringConstantRandomVariation == 0.0 &&
             m_tensionDamperConstantRandomVariation == 0.0;
   }
   /// Whether the values of a surface are of the material.
   bool concerns(const ZqDataMap& surface) const;
   /// Draws both constants of a surface, and sets also those that it did not have. They may come out negative,
   /// and the material is not asked for.
   virtual void getRandomSurfaceProperty(const ZqDataMap& in, ZqDataMap& out) const;
   /// The same with constants that can be: one is folded back into [0, 2 mean] (`ZqRandom::folded`), so that
   /// its mean stays and zero stays zero. What the surface does not have is set only where both its
   /// deviation and its default are positive.
   void getPossibleSurfaceProperty(const ZqDataMap& in, ZqDataMap& out) const;

private:
   ZqString m_surfaceMaterial;
   ZqReal m_tensionSpringConstantRandomVariation = 0.0;
   ZqReal m_tensionDamperConstantRandomVariation = 0.0;
   ZqReal m_defaultSpringConstant = 0.0;
   ZqReal m_defaultDamperConstant = 0.0;
};

extern template class ZqXmlClass<ZqJointActuatorRandomVariation>;
extern template class ZqXmlClass<ZqLinkKinematicsRandomVariation>;
extern template class ZqXmlClass<ZqMassPropertyRandomVariation>;
extern template class ZqXmlClass<ZqSurfacePropertyRandomVariation>;
extern template class ZqXmlVectorType<ZqSurfacePropertyRandomVariation>;

/// How uncertain the properties of a link are.
class ZqLinkPropertyRandomVariation : public ZqXmlClass<ZqLinkPropertyRandomVariation>
{
public:
   using SurfaceVariations = ZqXmlVectorType<ZqSurfacePropertyRandomVariation>;

   static const ZqToken& classToken() { return ZqManip::ZqLinkPropertyRandomVariationToken; }
   static constexpr const char* documentation = "how uncertain the properties of a link are";
   template <class This = ZqLinkPropertyRandomVariation>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_linkKinematicsRandomVariation,
                     &ZqManip::ZqLinkKinematicsRandomVariationToken, "the place of the joint"},
         ZqComponent{&This::m_massPropertyRandomVariation,
                     &ZqManip::ZqMassPropertyRandomVariationToken, "the mass of the bare link"},
         ZqComponent{&This::m_jointActuatorRandomVariation,
                     &ZqManip::ZqJointActuatorRandomVariationToken, "the limits of the drive"},
         ZqComponent{&This::m_surfacePropertyRandomVariationVector,
                     &ZqManip::ZqSurfacePropertyRandomVariationVectorToken,
                     "the surfaces of shapes, by material"}};
   }
   /// The default objects of all four; one surface.
   static ZqLinkPropertyRandomVariation defaultObject();
   bool operator==(const ZqLinkPropertyRandomVariation&) const = default;

   /// Whether nothing is uncertain: no deviation is other than zero.
   bool isExact() const;

   virtual const ZqLinkKinematicsRandomVariation& linkKinematicsRandomVariation() const
   {
      return m_linkKinematicsRandomVariation;
   }
   virtual void setLinkKinematicsRandomVariation(const ZqLinkKinematicsRandomVariation& variation)
   {
      m_linkKinematicsRandomVariation = variation;
   }
   virtual const ZqMassPropertyRandomVariation& massPropertyRandomVariation() const
   {
      return m_massPropertyRandomVariation;
   }
   virtual void setMassPropertyRandomVariation(const ZqMassPropertyRandomVariation& variation)
   {
      m_massPropertyRandomVariation = variation;
   }
   virtual const ZqJointActuatorRandomVariation& jointActuatorRandomVariation() const
   {
      return m_jointActuatorRandomVariation;
   }
   virtual void setJointActuatorRandomVariation(const ZqJointActuatorRandomVariation& variation)
   {
      m_jointActuatorRandomVariation = variation;
   }
   virtual const SurfaceVariations& surfacePropertyRandomVariationVector() const
   {
      return m_surfacePropertyRandomVariationVector;
   }
   virtual void setSurfacePropertyRandomVariationVector(const SurfaceVariations& variations)
   {
      m_surfacePropertyRandomVariationVector = variations;
   }

private:
   ZqLinkKinematicsRandomVariation m_linkKinematicsRandomVariation;
   ZqMassPropertyRandomVariation m_massPropertyRandomVariation;
   ZqJointActuatorRandomVariation m_jointActuatorRandomVariation;
   SurfaceVariations m_surfacePropertyRandomVariationVector;
};

extern template class ZqXmlClass<ZqLinkPropertyRandomVariation>;
