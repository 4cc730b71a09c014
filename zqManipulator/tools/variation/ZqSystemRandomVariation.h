#pragma once

#include "zqManipulator/foundation/xml/ZqXmlMapType.h"
#include "zqManipulator/tools/variation/ZqLinkPropertyRandomVariation.h"

extern template class ZqXmlMapType<ZqString, ZqLinkPropertyRandomVariation>;
extern template class ZqXmlVectorType<ZqXmlMapType<ZqString, ZqLinkPropertyRandomVariation>>;

/// How uncertain the properties of the links of a system are: by manipulator index and link label, of which the
/// label of the base counts too, with a default for all that is not listed.
class ZqSystemRandomVariation : public ZqXmlClass<ZqSystemRandomVariation>
{
public:
   using ManipulatorRandomVariation = ZqXmlMapType<ZqString, ZqLinkPropertyRandomVariation>;
   using ManipulatorRandomVariationVector = ZqXmlVectorType<ManipulatorRandomVariation>;

   static const ZqToken& classToken() { return ZqManip::ZqSystemRandomVariationToken; }
   static constexpr const char* documentation = "how uncertain the properties of a system are";
   template <class This = ZqSystemRandomVariation>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_manipulatorRandomVariationVector,
                                    &ZqManip::ZqManipulatorRandomVariationVectorToken,
                                    "for each manipulator, by index, links by label"},
                        ZqComponent{&This::m_defaultLinkPropertyRandomVariation,
                                    &ZqManip::ZqDefaultLinkPropertyRandomVariationToken,
                                    "for all links that are not listed"}};
   }
   /// The default object of a link for all links.
   static ZqSystemRandomVariation defaultObject();
   bool operator==(const ZqSystemRandomVariation&) const = default;

   /// Nothing, unless the list has the manipulator: it does not grow.
   virtual void addLinkPropertyRandomVariation(ZqU32 manipulator, const ZqString& linkLabel,
                                               const ZqLinkPropertyRandomVariation& variation);
   /// Whether there was one.
   virtual bool removeLinkPropertyRandomVariation(ZqU32 manipulator, const ZqString& linkLabel);
   /// The default where none is listed.
   virtual const ZqLinkPropertyRandomVariation&
   linkPropertyRandomVariation(ZqU32 manipulator, const ZqString& linkLabel) const;
   /// An empty one where none is listed.
   virtual const ManipulatorRandomVariation& manipulatorRandomVariation(ZqU32 manipulator) const;
   /// Nothing, unless the list has the manipulator.
   virtual void setManipulatorRandomVariation(ZqU32 manipulator,
                                              const ManipulatorRandomVariation& variation);
   virtual const ManipulatorRandomVariationVector& manipulatorRandomVariationVector() const
   {
      return m_manipulatorRandomVariationVector;
   }
   virtual void
   setManipulatorRandomVariationVector(const ManipulatorRandomVariationVector& variations)
   {
      m_manipulatorRandomVariationVector = variations;
   }
   virtual const ZqLinkPropertyRandomVariation& defaultLinkPropertyRandomVariation() const
   {
      return m_defaultLinkPropertyRandomVariation;
   }
   virtual void
   setDefaultLinkPropertyRandomVariation(const ZqLinkPropertyRandomVariation& variation)
   {
      m_defaultLinkPropertyRandomVariation = variation;
   }

private:
   ManipulatorRandomVariationVector m_manipulatorRandomVariationVector;
   ZqLinkPropertyRandomVariation m_defaultLinkPropertyRandomVariation;
};

extern template class ZqXmlClass<ZqSystemRandomVariation>;
