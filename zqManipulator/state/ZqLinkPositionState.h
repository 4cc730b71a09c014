#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/state/ZqUncopied.h"

/// The frames of one link that follow from a position: the DH frame and the primary frame in the
/// system, which are valid together, and the joint's transformation from the DH frame to the inboard
/// frame.
///
/// The primary frame is computed when the record is asked for it: a simulation seldom does.
///
/// The setters of values leave the flags alone: the manipulator's record raises them. The joint's
/// transformation is not part of the value; a copy holds the identity in its place, whatever its flag
/// says, which is why queries ask `holdsDhTransform`.
class ZqLinkPositionState final : public ZqXmlClass<ZqLinkPositionState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkPositionStateToken; }
   static constexpr const char* documentation = "the frames of a link";
   template <class This = ZqLinkPositionState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_dhFrame, &ZqManip::ZqDhFrameToken, "DH frame in the system"},
         ZqComponent{&This::m_primaryFrame, &ZqManip::ZqPrimaryFrameToken,
                     "primary frame in the system"},
         ZqComponent{&This::m_locationInSystemValid, &ZqManip::ZqLocationInSystemValidToken,
                     "whether both frames are computed"},
         ZqComponent{&This::m_dhTransformValid, &ZqManip::ZqDhTransformValidToken,
                     "whether the transformation of the joint is computed"}};
   }
   bool operator==(const ZqLinkPositionState& other) const
   {
      return m_dhFrame == other.m_dhFrame && primaryFrame() == other.primaryFrame() &&
             m_locationInSystemValid == other.m_locationInSystemValid &&
             m_dhTransformValid == other.m_dhTransformValid;
   }
   // Who goes by the list of members finds the primary frame as the getter gives it.
   bool read(ZqXmlReader& reader) override
   {
      computePrimaryFrame();
      return ZqXmlClass::read(reader);
   }
   bool write(ZqXmlWriter& writer) const override
   {
      computePrimaryFrame();
      return ZqXmlClass::write(writer);
   }
   const ComponentMap& componentMap() const override
   {
      computePrimaryFrame();
      return ZqXmlClass::componentMap();
   }

   virtual const ZqCoordinateSystemTransformation& dhFrame() const { return m_dhFrame; }
   virtual void setDhFrame(const ZqCoordinateSystemTransformation& frame)
   {
      computePrimaryFrame();
      m_dhFrame = frame;
   }
   virtual const ZqCoordinateSystemTransformation& primaryFrame() const
   {
      computePrimaryFrame();
      return m_primaryFrame;
   }
   virtual void setPrimaryFrame(const ZqCoordinateSystemTransformation& frame)
   {
      m_primaryFrame = frame;
      m_primaryFrameIsLocal = false;
   }
   virtual const ZqCoordinateSystemTransformation& dhTransform() const
   {
      return m_dhTransform.get();
   }
   virtual void setDhTransform(const ZqCoordinateSystemTransformation& transformation)
   {
      m_dhTransform.get().setByNumbers(transformation);
      m_dhTransformSet.value = true;
   }
   /// Whether the flag is raised for the transformation that stands here.
   bool holdsDhTransform() const { return m_dhTransformValid && m_dhTransformSet.value; }
   virtual bool locationInSystemValid() const { return m_locationInSystemValid; }
   virtual void setLocationInSystemValid(bool valid) { m_locationInSystemValid = valid; }
   virtual bool dhTransformValid() const { return m_dhTransformValid; }
   virtual void setDhTransformValid(bool valid) { m_dhTransformValid = valid; }
   /// Places the link: its DH frame is that of its parent times the joint's transformation, and its
   /// primary frame is given in the DH frame. Whoever asks for the latter next has it computed at once.
   void setLocation(const ZqCoordinateSystemTransformation& parent,
                    const ZqCoordinateSystemTransformation& joint,
                    const ZqCoordinateSystemTransformation& primaryFrame,
                    bool primaryFrameIsNext) noexcept
   {
      m_dhFrame.setToProduct(parent, joint);
      takePrimaryFrame(primaryFrame, primaryFrameIsNext);
   }
   /// The same, of a DH frame that was computed elsewhere.
   void setLocation(const ZqVector& p, const ZqOrientation& q,
                    const ZqCoordinateSystemTransformation& primaryFrame,
                    bool primaryFrameIsNext) noexcept
   {
      m_dhFrame.setByNumbers(p, q);
      takePrimaryFrame(primaryFrame, primaryFrameIsNext);
   }
   virtual void invalidateAll()
   {
      m_locationInSystemValid = false;
      m_dhTransformValid = false;
   }

private:
   /// False in a copy, and after an assignment.
   struct Mark
   {
      bool value = false;

      Mark() = default;
      Mark(const Mark&) noexcept {}
      Mark(Mark&&) = default;
      Mark& operator=(const Mark&) noexcept
      {
         value = false;
         return *this;
      }
      ~Mark() = default;
      bool operator==(const Mark&) const noexcept { return true; }
   };

   void takePrimaryFrame(const ZqCoordinateSystemTransformation& primaryFrame, bool isNext) noexcept
   {
      if (isNext)
         m_primaryFrame.setToProduct(m_dhFrame, primaryFrame);
      else
         m_primaryFrame.setByNumbers(primaryFrame);
      m_primaryFrameIsLocal = !isNext;
      m_locationInSystemValid = true;
   }
   void computePrimaryFrame() const noexcept
   {
      if (!m_primaryFrameIsLocal)
         return;
      m_primaryFrame.setToProduct(m_dhFrame, m_primaryFrame);
      m_primaryFrameIsLocal = false;
   }

   bool m_locationInSystemValid = false;
   bool m_dhTransformValid = false;
   mutable bool m_primaryFrameIsLocal = false; ///< it stands in the DH frame yet
   Mark m_dhTransformSet;
   ZqCoordinateSystemTransformation m_dhFrame;
   mutable ZqCoordinateSystemTransformation m_primaryFrame;
   ZqUncopied<ZqCoordinateSystemTransformation> m_dhTransform;
};

extern template class ZqXmlClass<ZqLinkPositionState>;
