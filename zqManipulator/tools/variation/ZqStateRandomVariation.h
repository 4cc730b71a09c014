#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

class ZqPositionState;
class ZqVelocityState;

// How uncertain the state of a scene is, as standard deviations ("one sigma"), which are 0 by default.

/// How uncertain the position of a manipulator is.
class ZqPositionStateRandomVariation : public ZqXmlClass<ZqPositionStateRandomVariation>
{
public:
   using Sigmas = ZqXmlVectorBasicType<ZqReal>;

   static const ZqToken& classToken() { return ZqManip::ZqPositionStateRandomVariationToken; }
   static constexpr const char* documentation = "how uncertain the position of a manipulator is";
   template <class This = ZqPositionStateRandomVariation>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_jointPositionOneSigmas, &ZqManip::ZqJointPositionOneSigmasToken,
                     "one sigma of the position of each joint by link index (rad, or m)"},
         ZqComponent{&This::m_defaultJointPositionOneSigma,
                     &ZqManip::ZqDefaultJointPositionOneSigmaToken,
                     "the same for the joints after those of the list (rad, or m)"},
         ZqComponent{&This::m_basePositionOneSigma, &ZqManip::ZqBasePositionOneSigmaToken,
                     "one sigma of the signed length by which the base is moved, in any direction "
                     "(m)"},
         ZqComponent{&This::m_baseAngleOneSigma, &ZqManip::ZqBaseAngleOneSigmaToken,
                     "one sigma of the angle by which the base is turned, about any axis (rad)"}};
   }
   /// 0.1 for each of two joints and none for others; 0.1 m and 2 degrees for the base.
   static ZqPositionStateRandomVariation defaultObject();
   bool operator==(const ZqPositionStateRandomVariation&) const = default;

   virtual const Sigmas& jointPositionOneSigmas() const { return m_jointPositionOneSigmas; }
   virtual void setJointPositionOneSigmas(const Sigmas& sigmas)
   {
      m_jointPositionOneSigmas = sigmas;
   }
   virtual ZqReal defaultJointPositionOneSigma() const { return m_defaultJointPositionOneSigma; }
   virtual void setDefaultJointPositionOneSigma(ZqReal sigma)
   {
      m_defaultJointPositionOneSigma = sigma;
   }
   virtual ZqReal basePositionOneSigma() const { return m_basePositionOneSigma; }
   virtual void setBasePositionOneSigma(ZqReal sigma) { m_basePositionOneSigma = sigma; }
   virtual ZqReal baseAngleOneSigma() const { return m_baseAngleOneSigma; }
   virtual void setBaseAngleOneSigma(ZqReal sigma) { m_baseAngleOneSigma = sigma; }

   /// The base moves by an offset in its own frame, as that of `ZqLinkKinematicsRandomVariation`, and each
   /// joint by a normal number. Limits of joints play no part. A position may be drawn in place.
   virtual void getRandomPositionState(const ZqPositionState& in, ZqPositionState& out) const;

private:
   Sigmas m_jointPositionOneSigmas;
   ZqReal m_defaultJointPositionOneSigma = 0.0;
   ZqReal m_basePositionOneSigma = 0.0;
   ZqReal m_baseAngleOneSigma = 0.0;
};

/// How uncertain the velocity of a manipulator is.
class ZqVelocityStateRandomVariation : public ZqXmlClass<ZqVelocityStateRandomVariation>
{
public:
   using Sigmas = ZqXmlVectorBasicType<ZqReal>;

   static const ZqToken& classToken() { return ZqManip::ZqVelocityStateRandomVariationToken; }
   static constexpr const char* documentation = "how uncertain the velocity of a manipulator is";
   template <class This = ZqVelocityStateRandomVariation>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_jointVelocityOneSigmas, &ZqManip::ZqJointVelocityOneSigmasToken,
                     "one sigma of the rate of each joint by link index (rad/s, or m/s)"},
         ZqComponent{&This::m_defaultJointVelocityOneSigma,
                     &ZqManip::ZqDefaultJointVelocityOneSigmaToken,
                     "the same for the joints after those of the list (rad/s, or m/s)"},
         ZqComponent{&This::m_baseLinearVelocityOneSigma,
                     &ZqManip::ZqBaseLinearVelocityOneSigmaToken,
                     "one sigma of the signed speed that the base gets, in any direction (m/s)"},
         ZqComponent{&This::m_baseAngularVelocityOneSigma,
                     &ZqManip::ZqBaseAngularVelocityOneSigmaToken,
                     "one sigma of the signed angular speed that the base gets, about any axis "
                     "(rad/s)"}};
   }
   /// 0.5 for each of two joints and none for others; 0.5 m/s and 10 degrees/s for the base.
   static ZqVelocityStateRandomVariation defaultObject();
   bool operator==(const ZqVelocityStateRandomVariation&) const = default;

   virtual const Sigmas& jointVelocityOneSigmas() const { return m_jointVelocityOneSigmas; }
   virtual void setJointVelocityOneSigmas(const Sigmas& sigmas)
   {
      m_jointVelocityOneSigmas = sigmas;
   }
   virtual ZqReal defaultJointVelocityOneSigma() const { return m_defaultJointVelocityOneSigma; }
   virtual void setDefaultJointVelocityOneSigma(ZqReal sigma)
   {
      m_defaultJointVelocityOneSigma = sigma;
   }
   virtual ZqReal baseLinearVelocityOneSigma() const { return m_baseLinearVelocityOneSigma; }
   virtual void setBaseLinearVelocityOneSigma(ZqReal sigma)
   {
      m_baseLinearVelocityOneSigma = sigma;
   }
   virtual ZqReal baseAngularVelocityOneSigma() const { return m_baseAngularVelocityOneSigma; }
   virtual void setBaseAngularVelocityOneSigma(ZqReal sigma)
   {
      m_baseAngularVelocityOneSigma = sigma;
   }

   /// A velocity may be drawn in place.
   virtual void getRandomVelocityState(const ZqVelocityState& in, ZqVelocityState& out) const;

private:
   Sigmas m_jointVelocityOneSigmas;
   ZqReal m_defaultJointVelocityOneSigma = 0.0;
   ZqReal m_baseLinearVelocityOneSigma = 0.0;
   ZqReal m_baseAngularVelocityOneSigma = 0.0;
};

extern template class ZqXmlClass<ZqPositionStateRandomVariation>;
extern template class ZqXmlClass<ZqVelocityStateRandomVariation>;
extern template class ZqXmlVectorType<ZqPositionStateRandomVariation>;
extern template class ZqXmlVectorType<ZqVelocityStateRandomVariation>;

/// How uncertain the state of a scene is.
class ZqStateRandomVariation : public ZqXmlClass<ZqStateRandomVariation>
{
public:
   using PositionVariations = ZqXmlVectorType<ZqPositionStateRandomVariation>;
   using VelocityVariations = ZqXmlVectorType<ZqVelocityStateRandomVariation>;

   static const ZqToken& classToken() { return ZqManip::ZqStateRandomVariationToken; }
   static constexpr const char* documentation = "how uncertain the state of a scene is";
   template <class This = ZqStateRandomVariation>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_positionStateRandomVariations,
                                    &ZqManip::ZqPositionStateRandomVariationsToken,
                                    "the position of each manipulator, by index"},
                        ZqComponent{&This::m_velocityStateRandomVariations,
                                    &ZqManip::ZqVelocityStateRandomVariationsToken,
                                    "the velocity of each manipulator, by index"},
                        ZqComponent{&This::m_defaultPositionStateRandomVariation,
                                    &ZqManip::ZqDefaultPositionStateRandomVariationToken,
                                    "the position of the manipulators after those of the list"},
                        ZqComponent{&This::m_defaultVelocityStateRandomVariation,
                                    &ZqManip::ZqDefaultVelocityStateRandomVariationToken,
                                    "the velocity of the manipulators after those of the list"}};
   }
   /// The default objects of a position and a velocity for all manipulators.
   static ZqStateRandomVariation defaultObject();
   bool operator==(const ZqStateRandomVariation&) const = default;

   virtual const PositionVariations& positionStateRandomVariations() const
   {
      return m_positionStateRandomVariations;
   }
   virtual void setPositionStateRandomVariations(const PositionVariations& variations)
   {
      m_positionStateRandomVariations = variations;
   }
   virtual const VelocityVariations& velocityStateRandomVariations() const
   {
      return m_velocityStateRandomVariations;
   }
   virtual void setVelocityStateRandomVariations(const VelocityVariations& variations)
   {
      m_velocityStateRandomVariations = variations;
   }
   virtual const ZqPositionStateRandomVariation& defaultPositionStateRandomVariation() const
   {
      return m_defaultPositionStateRandomVariation;
   }
   virtual void
   setDefaultPositionStateRandomVariation(const ZqPositionStateRandomVariation& variation)
   {
      m_defaultPositionStateRandomVariation = variation;
   }
   virtual const ZqVelocityStateRandomVariation& defaultVelocityStateRandomVariation() const
   {
      return m_defaultVelocityStateRandomVariation;
   }
   virtual void
   setDefaultVelocityStateRandomVariation(const ZqVelocityStateRandomVariation& variation)
   {
      m_defaultVelocityStateRandomVariation = variation;
   }
   /// \name Those of a manipulator: of the list, or else the default
   /// @{
   const ZqPositionStateRandomVariation& positionStateRandomVariation(ZqU32 manipulator) const;
   const ZqVelocityStateRandomVariation& velocityStateRandomVariation(ZqU32 manipulator) const;
   /// @}

private:
   PositionVariations m_positionStateRandomVariations;
   VelocityVariations m_velocityStateRandomVariations;
   ZqPositionStateRandomVariation m_defaultPositionStateRandomVariation;
   ZqVelocityStateRandomVariation m_defaultVelocityStateRandomVariation;
};

extern template class ZqXmlClass<ZqStateRandomVariation>;
extern template class ZqXmlVectorType<ZqStateRandomVariation>;
