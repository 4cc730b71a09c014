#pragma once

#include "zqManipulator/foundation/geometry/ZqPlane.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

/// The patch over which a body touches another one, seen from one side.
///
/// The z axis of its frame is the normal of the patch, x and y are its principal axes. Moments are the
/// mean squares of how far its points lie from the origin of the frame along x and along y (m^2); that of a
/// patch of two points is the sum of both squares, and a patch of one point has none.
class ZqContactRegion : public ZqXmlClass<ZqContactRegion>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqContactRegionToken; }
   static constexpr const char* documentation = "the patch over which bodies touch";
   template <class This = ZqContactRegion>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_contactFrame, &ZqManip::ZqContactFrameToken,
                     "frame at the middle, z along the normal"},
         ZqComponent{&This::m_momentX, &ZqManip::ZqMomentXToken, "mean square along x (m^2)"},
         ZqComponent{&This::m_momentY, &ZqManip::ZqMomentYToken, "mean square along y (m^2)"},
         ZqComponent{&This::m_momentZ, &ZqManip::ZqMomentZToken, "mean square along z (m^2)"}};
   }
   static ZqContactRegion nullObject() { return {}; }
   bool operator==(const ZqContactRegion&) const = default;

   /// The frame becomes X times the frame; moments stay.
   virtual void transformBy(const ZqCoordinateSystemTransformation& X)
   {
      m_contactFrame = X * m_contactFrame;
   }
   virtual const ZqCoordinateSystemTransformation& contactFrame() const { return m_contactFrame; }
   virtual void setContactFrame(const ZqCoordinateSystemTransformation& frame)
   {
      m_contactFrame = frame;
   }
   virtual void setContactFrameTranslation(const ZqVector& translation)
   {
      m_contactFrame.setTranslation(translation);
   }
   virtual void setContactFrameOrientation(const ZqOrientation& orientation)
   {
      m_contactFrame.setOrientation(orientation);
   }
   virtual const ZqReal& momentX() const { return m_momentX; }
   virtual void setMomentX(ZqReal moment) { m_momentX = moment; }
   virtual const ZqReal& momentY() const { return m_momentY; }
   virtual void setMomentY(ZqReal moment) { m_momentY = moment; }
   virtual const ZqReal& momentZ() const { return m_momentZ; }
   virtual void setMomentZ(ZqReal moment) { m_momentZ = moment; }
   /// The plane through the origin of the frame whose normal is the x axis: that across the longer
   /// principal axis, not that of the patch.
   virtual ZqPlane principalPlane() const
   {
      return {m_contactFrame.translation(), m_contactFrame.orientation().xAxis()};
   }
   /// Whether no number differs by more than the tolerance; the sign of a quaternion makes no difference.
   virtual bool approxEq(const ZqContactRegion& other, ZqReal tolerance) const;

private:
   ZqCoordinateSystemTransformation m_contactFrame;
   ZqReal m_momentX = 0.0;
   ZqReal m_momentY = 0.0;
   ZqReal m_momentZ = 0.0;
};

extern template class ZqXmlClass<ZqContactRegion>;
