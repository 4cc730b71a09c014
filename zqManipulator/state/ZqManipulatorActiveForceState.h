#pragma once

#include "zqManipulator/state/ZqLinkForceState.h"
#include "zqManipulator/state/ZqLinkRecords.h"

/// The forces across the joints of one manipulator, and the external forces on its links.
class ZqManipulatorActiveForceState final
   : public ZqLinkRecords<ZqManipulatorActiveForceState, ZqLinkForceState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorActiveForceStateToken; }
   static constexpr const char* documentation = "the forces in a manipulator";
   template <class This = ZqManipulatorActiveForceState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_links, &ZqManip::ZqLinkForceStatesToken,
                     "force on each link, by index"},
         ZqComponent{&This::m_base, &ZqManip::ZqBaseForceStateToken, "force on the base"}};
   }
   bool operator==(const ZqManipulatorActiveForceState&) const = default;

   /// Clears all flags, too.
   virtual void resize(ZqU32 count)
   {
      resizeRecords(count);
      invalidateRecords();
   }
   virtual const Records& linkForceStates() const { return links(); }
   /// By link index or `ZqBaseLinkIndex`; the index is not tested.
   virtual const ZqGeneralForce& linkDhForceInLocal(ZqU32 index) const
   {
      return record(index).dhFrameForceInLocal();
   }
   virtual void setLinkDhForceInLocal(ZqU32 index, const ZqGeneralForce& force)
   {
      record(index).setDhFrameForceInLocal(force);
   }
   virtual void setLinkForceStates(const Records& states) { setLinks(states); }
   virtual const ZqLinkForceState& baseForceState() const { return record(ZqBaseLinkIndex); }
   virtual void setBaseForceState(const ZqLinkForceState& state)
   {
      record(ZqBaseLinkIndex) = state;
   }
   /// By link index or `ZqBaseLinkIndex`. For any other index a message is logged, and the answer is
   /// a description that is not valid.
   virtual const ZqExternalForceDescription& externalForceDescription(ZqU32 index) const;
   /// For an index out of range a message is logged, and nothing is stored.
   virtual void setExternalForceDescription(ZqU32 index,
                                            const ZqExternalForceDescription& description);
   virtual void invalidateAll() { invalidateRecords(); }
   void invalidateAll(std::uint64_t epoch) noexcept { invalidateRecords(epoch); }
   void resize(ZqU32 count, std::uint64_t epoch)
   {
      resizeRecords(count);
      invalidateRecords(epoch);
   }

protected:
   static const ZqExternalForceDescription m_theZeroForceDescription;

private:
   bool isInRange(ZqU32 index) const { return index == ZqBaseLinkIndex || index < m_links.size(); }
};

extern template class ZqXmlClass<ZqManipulatorActiveForceState>;
extern template class ZqXmlVectorType<ZqLinkForceState>;
extern template class ZqLinkRecords<ZqManipulatorActiveForceState, ZqLinkForceState>;
