#pragma once

#include "zqManipulator/state/ZqLinkRecords.h"
#include "zqManipulator/state/ZqLinkVelocityState.h"
#include "zqManipulator/state/ZqVelocityState.h"

/// The velocity of one manipulator and what follows from it and from the position for each link.
class ZqManipulatorActiveVelocityState final
   : public ZqLinkRecords<ZqManipulatorActiveVelocityState, ZqLinkVelocityState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorActiveVelocityStateToken; }
   static constexpr const char* documentation = "the velocities of a manipulator and of its links";
   template <class This = ZqManipulatorActiveVelocityState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_velocityState, &ZqManip::ZqVelocityStateToken,
                     "velocities of joints and base"},
         ZqComponent{&This::m_links, &ZqManip::ZqLinkVelocityStatesToken,
                     "velocities of each link, by index"},
         ZqComponent{&This::m_base, &ZqManip::ZqBaseVelocityStateToken, "velocities of the base"}};
   }
   bool operator==(const ZqManipulatorActiveVelocityState&) const = default;

   virtual const ZqVelocityState& velocityState() const { return m_velocityState; }
   /// Makes as many link records as there are joints, and clears all flags.
   virtual void setVelocityState(const ZqVelocityState& state)
   {
      m_velocityState = state;
      resizeRecords(m_velocityState.jointVelocities().size());
      invalidateRecords();
   }
   virtual Records& linkVelocityStates() { return links(); }
   virtual const Records& linkVelocityStates() const { return links(); }

   /// \name Values of one link
   /// By link index or `ZqBaseLinkIndex`; the index is not tested. A setter raises the flag.
   /// @{
   virtual const ZqGeneralMotion& linkDhVelocityInLocal(ZqU32 index) const
   {
      return record(index).dhFrameVelocityInLocal();
   }
   virtual void setLinkDhVelocityInLocal(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setDhFrameVelocityInLocal(motion);
   }
   virtual const ZqGeneralMotion& linkDhVelocityInSystem(ZqU32 index) const
   {
      return record(index).dhFrameVelocityInSystem();
   }
   virtual void setLinkDhVelocityInSystem(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setDhFrameVelocityInSystem(motion);
   }
   virtual const ZqGeneralMotion& linkPrimaryVelocityInSystem(ZqU32 index) const
   {
      return record(index).primaryFrameVelocityInSystem();
   }
   virtual void setLinkPrimaryVelocityInSystem(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setPrimaryFrameVelocityInSystem(motion);
   }
   virtual const ZqGeneralMotion& linkComVelocityInLocal(ZqU32 index) const
   {
      return record(index).comVelocityInLocal();
   }
   virtual void setLinkComVelocityInLocal(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setComVelocityInLocal(motion);
   }
   virtual bool localComValid(ZqU32 index) const { return record(index).localComValid(); }
   virtual const ZqGeneralMotion& linkMomentumInLocal(ZqU32 index) const
   {
      return record(index).momentumInLocal();
   }
   virtual void setLinkMomentumInLocal(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setMomentumInLocal(motion);
   }
   virtual bool localMomentumValid(ZqU32 index) const { return record(index).localMomentumValid(); }
   virtual const ZqGeneralMotion& linkCompositeMomentumInLocal(ZqU32 index) const
   {
      return record(index).compositeMomentumInLocal();
   }
   virtual void setLinkCompositeMomentumInLocal(ZqU32 index, const ZqGeneralMotion& motion)
   {
      record(index).setCompositeMomentumInLocal(motion);
   }
   /// @}

   virtual void setLinkVelocityStates(const Records& states) { setLinks(states); }
   virtual ZqLinkVelocityState& baseVelocityState() { return record(ZqBaseLinkIndex); }
   virtual const ZqLinkVelocityState& baseVelocityState() const { return record(ZqBaseLinkIndex); }
   virtual void setBaseVelocityState(const ZqLinkVelocityState& state)
   {
      record(ZqBaseLinkIndex) = state;
   }
   virtual void invalidateAll() { invalidateRecords(); }
   void invalidateAll(std::uint64_t epoch) noexcept { invalidateRecords(epoch); }
   /// Flags and values stay as they are.
   virtual void resize(ZqU32 count) { resizeRecords(count); }

private:
   ZqVelocityState m_velocityState;
};

extern template class ZqXmlClass<ZqManipulatorActiveVelocityState>;
extern template class ZqXmlVectorType<ZqLinkVelocityState>;
extern template class ZqLinkRecords<ZqManipulatorActiveVelocityState, ZqLinkVelocityState>;
