#pragma once

#include "zqManipulator/state/ZqAccelerationState.h"
#include "zqManipulator/state/ZqLinkAccelerationState.h"
#include "zqManipulator/state/ZqLinkRecords.h"

/// The acceleration of one manipulator and what follows from it, the velocity and the position for
/// each link.
class ZqManipulatorActiveAccelerationState final
   : public ZqLinkRecords<ZqManipulatorActiveAccelerationState, ZqLinkAccelerationState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorActiveAccelerationStateToken; }
   static constexpr const char* documentation =
      "the accelerations of a manipulator and of its links";
   template <class This = ZqManipulatorActiveAccelerationState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_accelerationState, &ZqManip::ZqAccelerationStateToken,
                                    "accelerations of joints and base"},
                        ZqComponent{&This::m_links, &ZqManip::ZqLinkAccelerationStatesToken,
                                    "accelerations of each link, by index"},
                        ZqComponent{&This::m_base, &ZqManip::ZqBaseAccelerationStateToken,
                                    "accelerations of the base"}};
   }
   bool operator==(const ZqManipulatorActiveAccelerationState&) const = default;

   virtual const ZqAccelerationState& accelerationState() const { return m_accelerationState; }
   /// Makes as many link records as there are joints, and clears all flags.
   virtual void setAccelerationState(const ZqAccelerationState& state)
   {
      m_accelerationState = state;
      resizeRecords(m_accelerationState.jointAccelerations().size());
      invalidateRecords();
   }
   virtual const Records& linkAccelerationStates() const { return links(); }

   /// \name Values of one link
   /// By link index or `ZqBaseLinkIndex`; the index is not tested. A setter raises the flag.
   /// @{
   virtual const ZqGeneralMotion& linkDhAccelerationInLocal(ZqU32 index) const
   {
      return record(index).dhFrameAccelerationInLocal();
   }
   virtual void setLinkDhAccelerationInLocal(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setDhFrameAccelerationInLocal(motion);
   }
   virtual const ZqGeneralMotion& linkDhAccelerationInSystem(ZqU32 index) const
   {
      return record(index).dhFrameAccelerationInSystem();
   }
   virtual void setLinkDhAccelerationInSystem(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setDhFrameAccelerationInSystem(motion);
   }
   virtual const ZqGeneralMotion& linkPrimaryAccelerationInSystem(ZqU32 index) const
   {
      return record(index).primaryFrameAccelerationInSystem();
   }
   virtual void setLinkPrimaryAccelerationInSystem(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setPrimaryFrameAccelerationInSystem(motion);
   }
   virtual const ZqGeneralMotion& linkComAccelerationInLocal(ZqU32 index) const
   {
      return record(index).comAccelerationInLocal();
   }
   virtual void setLinkComAccelerationInLocal(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setComAccelerationInLocal(motion);
   }
   virtual bool localComValid(ZqU32 index) const { return record(index).localComValid(); }
   virtual const ZqGeneralMotion& linkMomentumRateInLocal(ZqU32 index) const
   {
      return record(index).momentumRateInLocal();
   }
   virtual void setLinkMomentumRateInLocal(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setMomentumRateInLocal(motion);
   }
   virtual bool localMomentumRateValid(ZqU32 index) const
   {
      return record(index).localMomentumRateValid();
   }
   virtual const ZqGeneralMotion& linkCompositeMomentumRateInLocal(ZqU32 index) const
   {
      return record(index).compositeMomentumRateInLocal();
   }
   virtual void setLinkCompositeMomentumRateInLocal(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setCompositeMomentumRateInLocal(motion);
   }
   /// @}

   virtual void setLinkAccelerationStates(const Records& states) { setLinks(states); }
   virtual const ZqLinkAccelerationState& baseAccelerationState() const
   {
      return record(ZqBaseLinkIndex);
   }
   virtual void setBaseAccelerationState(const ZqLinkAccelerationState& state)
   {
      record(ZqBaseLinkIndex) = state;
   }
   virtual void invalidateAll() { invalidateRecords(); }
   void invalidateAll(std::uint64_t epoch) noexcept { invalidateRecords(epoch); }
   /// Flags and values stay as they are.
   virtual void resize(ZqU32 count) { resizeRecords(count); }

private:
   ZqAccelerationState m_accelerationState;
};

extern template class ZqXmlClass<ZqManipulatorActiveAccelerationState>;
extern template class ZqXmlVectorType<ZqLinkAccelerationState>;
extern template class ZqLinkRecords<ZqManipulatorActiveAccelerationState, ZqLinkAccelerationState>;
