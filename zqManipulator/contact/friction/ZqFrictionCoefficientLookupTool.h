#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlMapType.h"

extern template class ZqXmlMapType<ZqString, ZqReal>;
extern template class ZqXmlMapType<ZqString, ZqXmlMapType<ZqString, ZqReal>>;

/// What friction holds between two materials, by their names: six tables, each with a value for the pairs
/// that it does not list.
///
/// A table is triangular: of two names the greater is its key, the lesser that of the row. The order in which
/// a query names them makes no difference, and documents may have it either way.
class ZqFrictionCoefficientLookupTool : public ZqXmlClass<ZqFrictionCoefficientLookupTool>
{
public:
   using PairMap = ZqXmlMapType<ZqString, ZqXmlMapType<ZqString, ZqReal>>;

   static const ZqToken& classToken() { return ZqManip::ZqFrictionCoefficientLookupToolToken; }
   static constexpr const char* documentation = "coefficients of friction by pairs of materials";
   template <class This = ZqFrictionCoefficientLookupTool>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_kineticFrictionMap, &ZqManip::ZqKineticFrictionMapToken,
                     "coefficient of kinetic friction by pairs of materials"},
         ZqComponent{&This::m_tangentialStaticFrictionMap,
                     &ZqManip::ZqTangentialStaticFrictionMapToken,
                     "coefficient of static friction along the surface"},
         ZqComponent{&This::m_normalStaticFrictionMap, &ZqManip::ZqNormalStaticFrictionMapToken,
                     "coefficient of static friction along the normal"},
         ZqComponent{&This::m_viscousFrictionMap, &ZqManip::ZqViscousFrictionMapToken,
                     "coefficient of viscous friction (N s/m)"},
         ZqComponent{&This::m_rotationalFrictionScaleFactorMap,
                     &ZqManip::ZqRotationalFrictionScaleFactorToken,
                     "scale of the moment of static friction about the normal"},
         ZqComponent{&This::m_assumedMassMap, &ZqManip::ZqAssumedMassToken,
                     "mass for which dampers of dry friction are critical (kg)"},
         ZqComponent{&This::m_defaultLinearKineticFrictionCoefficient,
                     &ZqManip::ZqDefaultLinearKineticFrictionCoefficientToken,
                     "kinetic friction of other pairs"},
         ZqComponent{&This::m_defaultAngularFrictionScaleFactor,
                     &ZqManip::ZqDefaultAngularFrictionScaleFactorToken,
                     "scale of the moment of other pairs"},
         ZqComponent{&This::m_defaultLinearNormalStaticFrictionCoefficient,
                     &ZqManip::ZqDefaultLinearNormalStaticFrictionCoefficientToken,
                     "static friction along the normal of other pairs"},
         ZqComponent{&This::m_defaultLinearTangentialStaticFrictionCoefficient,
                     &ZqManip::ZqDefaultLinearTangentialStaticFrictionCoefficientToken,
                     "static friction along the surface of other pairs"},
         ZqComponent{&This::m_defaultViscousFrictionCoefficient,
                     &ZqManip::ZqDefaultViscousFrictionCoefficientToken,
                     "viscous friction of other pairs (N s/m)"},
         ZqComponent{&This::m_defaultAssumedMass, &ZqManip::ZqDefaultAssumedMassToken,
                     "assumed mass of other pairs (kg)"}};
   }
   /// Afterwards the pairs stand in the order of their names; of a pair that stands there in both orders the
   /// one that comes later counts.
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqFrictionCoefficientLookupTool&) const = default;

   /// A tool with values for steel, metal, wood and ice. One that is made otherwise has empty tables.
   static const ZqFrictionCoefficientLookupTool& defaultObject();

   /// \name Tables
   /// @{
   virtual ZqReal rotationalFrictionScaleFactor(const ZqString& a, const ZqString& b) const;
   virtual bool setRotationalFrictionScaleFactor(const ZqString& a, const ZqString& b,
                                                 ZqReal value);
   virtual const PairMap& assumedMassMap() const { return m_assumedMassMap; }
   virtual void setAssumedMassMap(const PairMap& map) { m_assumedMassMap = map; }
   virtual const PairMap& normalCoefficientOfStaticFrictionMap() const
   {
      return m_normalStaticFrictionMap;
   }
   virtual void setNormalCoefficientOfStaticFrictionMap(const PairMap& map)
   {
      m_normalStaticFrictionMap = map;
   }
   virtual const PairMap& tangentialCoefficientOfStaticFrictionMap() const
   {
      return m_tangentialStaticFrictionMap;
   }
   virtual void setTangentialCoefficientOfStaticFrictionMap(const PairMap& map)
   {
      m_tangentialStaticFrictionMap = map;
   }
   virtual const PairMap& kineticFrictionMap() const { return m_kineticFrictionMap; }
   virtual void setKineticFrictionMap(const PairMap& map) { m_kineticFrictionMap = map; }
   virtual const PairMap& viscousFrictionMap() const { return m_viscousFrictionMap; }
   virtual void setViscousFrictionMap(const PairMap& map) { m_viscousFrictionMap = map; }
   virtual const PairMap& rotationalFrictionScaleFactorMap() const
   {
      return m_rotationalFrictionScaleFactorMap;
   }
   virtual void setRotationalFrictionScaleFactorMap(const PairMap& map)
   {
      m_rotationalFrictionScaleFactorMap = map;
   }
   /// @}

   /// \name Pairs
   /// A pair that a table does not list has the default of the table. Setters answer true.
   /// @{
   virtual ZqReal tangentialCoefficientOfStaticFriction(const ZqString& a, const ZqString& b) const;
   virtual bool setTangentialCoefficientOfStaticFriction(const ZqString& a, const ZqString& b,
                                                         ZqReal value);
   virtual ZqReal normalCoefficientOfStaticFriction(const ZqString& a, const ZqString& b) const;
   virtual bool setNormalCoefficientOfStaticFriction(const ZqString& a, const ZqString& b,
                                                     ZqReal value);
   virtual ZqReal coefficientOfKineticFriction(const ZqString& a, const ZqString& b) const;
   virtual bool setCoefficientOfKineticFriction(const ZqString& a, const ZqString& b, ZqReal value);
   virtual ZqReal coefficientOfViscousFriction(const ZqString& a, const ZqString& b) const;
   virtual bool setCoefficientOfViscousFriction(const ZqString& a, const ZqString& b, ZqReal value);
   virtual ZqReal assumedMass(const ZqString& a, const ZqString& b) const;
   virtual bool setAssumedMass(const ZqString& a, const ZqString& b, ZqReal value);
   /// @}

   /// \name Defaults
   /// @{
   virtual const ZqReal& defaultLinearKineticFrictionCoefficient() const
   {
      return m_defaultLinearKineticFrictionCoefficient;
   }
   virtual void setDefaultLinearKineticFrictionCoefficient(ZqReal value)
   {
      m_defaultLinearKineticFrictionCoefficient = value;
   }
   virtual const ZqReal& defaultAngularFrictionScaleFactor() const
   {
      return m_defaultAngularFrictionScaleFactor;
   }
   virtual void setDefaultAngularFrictionScaleFactor(ZqReal value)
   {
      m_defaultAngularFrictionScaleFactor = value;
   }
   virtual const ZqReal& defaultLinearNormalStaticFrictionCoefficient() const
   {
      return m_defaultLinearNormalStaticFrictionCoefficient;
   }
   virtual void setDefaultLinearNormalStaticFrictionCoefficient(ZqReal value)
   {
      m_defaultLinearNormalStaticFrictionCoefficient = value;
   }
   virtual const ZqReal& defaultLinearTangentialStaticFrictionCoefficient() const
   {
      return m_defaultLinearTangentialStaticFrictionCoefficient;
   }
   virtual void setDefaultLinearTangentialStaticFrictionCoefficient(ZqReal value)
   {
      m_defaultLinearTangentialStaticFrictionCoefficient = value;
   }
   virtual const ZqReal& defaultViscousFrictionCoefficient() const
   {
      return m_defaultViscousFrictionCoefficient;
   }
   virtual void setDefaultViscousFrictionCoefficient(ZqReal value)
   {
      m_defaultViscousFrictionCoefficient = value;
   }
   virtual const ZqReal& defaultAssumedMass() const { return m_defaultAssumedMass; }
   virtual void setDefaultAssumedMass(ZqReal value) { m_defaultAssumedMass = value; }
   /// @}

   /// False, and no change of the value, when the table does not list the pair.
   virtual bool lookupValue(const ZqString& a, const ZqString& b, const PairMap& map,
                            ZqReal& value) const;
   virtual bool setFrictionValue(const ZqString& a, const ZqString& b, ZqReal value,
                                 PairMap& map) const;
   /// The pairs of a table, which may be the same one, in the order of their names.
   virtual void maintainOrder(PairMap& ordered, const PairMap& map) const;

private:
   ZqReal valueOr(ZqReal fallback, const ZqString& a, const ZqString& b, const PairMap& map) const;

   PairMap m_normalStaticFrictionMap;
   PairMap m_tangentialStaticFrictionMap;
   PairMap m_kineticFrictionMap;
   PairMap m_viscousFrictionMap;
   PairMap m_rotationalFrictionScaleFactorMap;
   PairMap m_assumedMassMap;
   ZqReal m_defaultLinearKineticFrictionCoefficient = 0.3;
   ZqReal m_defaultLinearNormalStaticFrictionCoefficient = 0.35;
   ZqReal m_defaultLinearTangentialStaticFrictionCoefficient = 0.3;
   ZqReal m_defaultAngularFrictionScaleFactor = 1.0;
   ZqReal m_defaultViscousFrictionCoefficient = 0.5;
   ZqReal m_defaultAssumedMass = 100.0;
};

extern template class ZqXmlClass<ZqFrictionCoefficientLookupTool>;
