#pragma once

#include "zqManipulator/state/ZqLinkMassState.h"
#include "zqManipulator/state/ZqLinkRecords.h"

/// The composite rigid body inertias of one manipulator, each in the DH frame of its link. They follow
/// from the position alone.
class ZqManipulatorActiveMassState final
   : public ZqLinkRecords<ZqManipulatorActiveMassState, ZqLinkMassState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorActiveMassStateToken; }
   static constexpr const char* documentation =
      "the composite rigid body inertias of a manipulator";
   template <class This = ZqManipulatorActiveMassState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_links, &ZqManip::ZqLinkMassStatesToken,
                     "inertia of each link, by index"},
         ZqComponent{&This::m_base, &ZqManip::ZqBaseMassStateToken, "inertia of the base"}};
   }
   bool operator==(const ZqManipulatorActiveMassState&) const = default;

   virtual const Records& linkMassStates() const { return links(); }
   virtual void setLinkMassStates(const Records& states) { setLinks(states); }
   virtual const ZqLinkMassState& baseMassState() const { return record(ZqBaseLinkIndex); }
   virtual void setBaseMassState(const ZqLinkMassState& state) { record(ZqBaseLinkIndex) = state; }
   /// By link index or `ZqBaseLinkIndex`; the index is not tested.
   virtual const ZqRigidBodyMassProperties& crbi(ZqU32 index) const { return record(index).crbi(); }
   virtual void setCrbi(ZqU32 index, const ZqRigidBodyMassProperties& crbi)
   {
      record(index).setCrbi(crbi);
   }
   virtual void invalidateAll() { invalidateRecords(); }
   void invalidateAll(std::uint64_t epoch) noexcept { invalidateRecords(epoch); }
   /// Flags and values stay as they are.
   virtual void resize(ZqU32 count) { resizeRecords(count); }
};

extern template class ZqXmlClass<ZqManipulatorActiveMassState>;
extern template class ZqXmlVectorType<ZqLinkMassState>;
extern template class ZqLinkRecords<ZqManipulatorActiveMassState, ZqLinkMassState>;
