#pragma once

#include "zqManipulator/state/ZqLinkPositionState.h"
#include "zqManipulator/state/ZqLinkRecords.h"
#include "zqManipulator/state/ZqPositionState.h"

#include <memory>

struct ZqMotionWorkspace;

/// The position of one manipulator and the frames that follow from it.
class ZqManipulatorActivePositionState final
   : public ZqLinkRecords<ZqManipulatorActivePositionState, ZqLinkPositionState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorActivePositionStateToken; }
   static constexpr const char* documentation =
      "the position of a manipulator and the frames of its links";
   template <class This = ZqManipulatorActivePositionState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_positionState, &ZqManip::ZqPositionStateToken,
                     "positions of joints and base"},
         ZqComponent{&This::m_links, &ZqManip::ZqLinkPositionStatesToken,
                     "frames of each link, by index"},
         ZqComponent{&This::m_base, &ZqManip::ZqBasePositionStateToken, "frames of the base"}};
   }
   ZqManipulatorActivePositionState();
   ZqManipulatorActivePositionState(const ZqManipulatorActivePositionState& other);
   ZqManipulatorActivePositionState(ZqManipulatorActivePositionState&& other) noexcept;
   ZqManipulatorActivePositionState& operator=(const ZqManipulatorActivePositionState& other);
   ZqManipulatorActivePositionState& operator=(ZqManipulatorActivePositionState&& other) noexcept;
   ~ZqManipulatorActivePositionState() override;
   bool operator==(const ZqManipulatorActivePositionState& other) const
   {
      return ZqLinkRecords::operator==(other) && m_positionState == other.m_positionState;
   }

   virtual const ZqPositionState& positionState() const { return m_positionState; }
   /// Makes as many link records as there are joint positions, and clears all flags.
   virtual void setPositionState(const ZqPositionState& state)
   {
      m_positionState = state;
      resizeRecords(m_positionState.jointPositions().size());
      invalidateRecords();
   }
   virtual const Records& linkPositionStates() const { return links(); }
   /// The index is below the number of links: `ZqBaseLinkIndex` is not taken here.
   virtual void setLinkPositionState(ZqU32 index, const ZqCoordinateSystemTransformation& dhFrame,
                                     const ZqCoordinateSystemTransformation& primaryFrame)
   {
      setLocation(record(index), dhFrame, primaryFrame);
      m_epochOfGivenFrames = epoch();
      m_givenFrames = zqNextEpoch();
   }
   virtual void setDhTransform(ZqU32 index, const ZqCoordinateSystemTransformation& transformation)
   {
      ZqLinkPositionState& link = record(index);
      link.setDhTransform(transformation);
      link.setDhTransformValid(true);
   }
   virtual void setLinkPositionStates(const Records& states)
   {
      setLinks(states); // in a new epoch
      for (const ZqLinkPositionState& link : states)
         if (link.locationInSystemValid())
            m_epochOfGivenFrames = epoch();
   }
   virtual const ZqLinkPositionState& basePositionState() const { return record(ZqBaseLinkIndex); }
   virtual void setBaseLinkPositionState(const ZqCoordinateSystemTransformation& dhFrame,
                                         const ZqCoordinateSystemTransformation& primaryFrame)
   {
      setLocation(record(ZqBaseLinkIndex), dhFrame, primaryFrame);
      m_givenFrames = zqNextEpoch();
   }
   virtual void setBasePositionState(const ZqLinkPositionState& state)
   {
      record(ZqBaseLinkIndex) = state;
      m_givenFrames = zqNextEpoch();
   }
   virtual void invalidateAll() { invalidateRecords(); }
   /// Has the base be placed there from now on; when it stood elsewhere, clears all flags.
   void setPlacement(const ZqCoordinateSystemTransformation& frame)
   {
      const ZqCoordinateSystemTransformation* old = m_positionState.placement();
      if (old != nullptr && *old == frame)
         return;
      m_positionState.setPlacement(&frame);
      invalidateRecords();
   }

   /// Where the motion of the manipulator is computed: not part of the value.
   ZqMotionWorkspace& workspace()
   {
      if (m_workspace.get() == nullptr)
         makeWorkspace();
      return *m_workspace.get();
   }

   /// Whether somebody has given frames of links in this state: those that hang on them follow.
   bool hasGivenFrames() const noexcept { return m_epochOfGivenFrames == epoch(); }
   /// Changes, within an epoch, whenever somebody gives the frames of a link or of the base, to a number that no
   /// other records ever had.
   std::uint64_t givenFrames() const noexcept { return m_givenFrames; }

private:
   void makeWorkspace();
   static void setLocation(ZqLinkPositionState& record,
                           const ZqCoordinateSystemTransformation& dhFrame,
                           const ZqCoordinateSystemTransformation& primaryFrame)
   {
      record.setDhFrame(dhFrame);
      record.setPrimaryFrame(primaryFrame);
      record.setLocationInSystemValid(true);
   }

   ZqPositionState m_positionState;
   std::uint64_t m_epochOfGivenFrames = ~std::uint64_t{0};
   std::uint64_t m_givenFrames = 0;
   ZqUncopied<std::unique_ptr<ZqMotionWorkspace>> m_workspace;
};

extern template class ZqXmlClass<ZqManipulatorActivePositionState>;
extern template class ZqXmlVectorType<ZqLinkPositionState>;
extern template class ZqLinkRecords<ZqManipulatorActivePositionState, ZqLinkPositionState>;
