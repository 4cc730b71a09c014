#pragma once

#include "zqManipulator/state/ZqLinkArticulationState.h"
#include "zqManipulator/state/ZqLinkRecords.h"

/// What the articulated body recursion finds for the links of one manipulator. An index here is that
/// of a link below the base, and is not tested; the base link has operations of its own.
class ZqManipulatorActiveArticulationState final
   : public ZqLinkRecords<ZqManipulatorActiveArticulationState, ZqLinkArticulationState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorActiveArticulationStateToken; }
   static constexpr const char* documentation = "the articulated bodies of a manipulator";
   template <class This = ZqManipulatorActiveArticulationState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_links, &ZqManip::ZqLinkArticulationStatesToken,
                                    "articulated body of each link, by index"},
                        ZqComponent{&This::m_base, &ZqManip::ZqBaseArticulationStateToken,
                                    "articulated body of the base"}};
   }
   bool operator==(const ZqManipulatorActiveArticulationState&) const = default;

   virtual const Records& linkArticulationStates() const { return links(); }
   virtual void setLinkArticulationStates(const Records& states) { setLinks(states); }
   virtual const ZqLinkArticulationState& baseArticulationState() const
   {
      return record(ZqBaseLinkIndex);
   }
   virtual void setBaseArticulationState(const ZqLinkArticulationState& state)
   {
      record(ZqBaseLinkIndex) = state;
   }
   virtual const ZqArticulatedBodyDynamics& arbd(ZqU32 index) const { return record(index).arbd(); }
   virtual void setArbd(ZqU32 index, const ZqArticulatedBodyDynamics& arbd)
   {
      record(index).setArbd(arbd);
   }
   virtual void setBaseArbd(const ZqArticulatedBodyDynamics& arbd)
   {
      record(ZqBaseLinkIndex).setArbd(arbd);
   }
   virtual const ZqGeneralMotion& supplementalDhAcceleration(ZqU32 index) const
   {
      return record(index).supplementalDhAcceleration();
   }
   virtual void setSupplementalDhAcceleration(ZqU32 index, const ZqGeneralMotion& acceleration)
   {
      record(index).setSupplementalDhAcceleration(acceleration);
   }
   virtual const ZqGeneralMotion& baseSupplementalDhAcceleration() const
   {
      return record(ZqBaseLinkIndex).supplementalDhAcceleration();
   }
   virtual void setBaseSupplementalDhAcceleration(const ZqGeneralMotion& acceleration)
   {
      record(ZqBaseLinkIndex).setSupplementalDhAcceleration(acceleration);
   }
   virtual ZqReal supplementalJointAcceleration(ZqU32 index) const
   {
      return record(index).supplementalJointAcceleration();
   }
   virtual void setSupplementalJointAcceleration(ZqU32 index, ZqReal acceleration)
   {
      record(index).setSupplementalJointAcceleration(acceleration);
   }
   virtual void invalidateAll() { invalidateRecords(); }
   void invalidateAll(std::uint64_t epoch) noexcept { invalidateRecords(epoch); }
   /// Flags and values stay as they are.
   virtual void resize(ZqU32 count) { resizeRecords(count); }
};

extern template class ZqXmlClass<ZqManipulatorActiveArticulationState>;
extern template class ZqXmlVectorType<ZqLinkArticulationState>;
extern template class ZqLinkRecords<ZqManipulatorActiveArticulationState, ZqLinkArticulationState>;
