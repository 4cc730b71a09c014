#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

/// The frame and the gravity of a scene.
class ZqSystemEnvironment : public ZqXmlClass<ZqSystemEnvironment>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqEnvironmentToken; }
   static constexpr const char* documentation = "the surroundings of all manipulators";
   template <class This = ZqSystemEnvironment>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_coordSysXForm,
                                    &ZqFoundCommon::ZqCoordinateSystemTransformToken,
                                    "frame of the scene"},
                        ZqComponent{&This::m_upGravityVector, &ZqManip::ZqUpGravityVectorToken,
                                    "x y z of gravity (m/s^2), pointing up; zero for none"}};
   }
   static ZqSystemEnvironment nullObject() { return {}; }
   bool operator==(const ZqSystemEnvironment&) const = default;

   virtual const ZqCoordinateSystemTransformation& coordSysXForm() const { return m_coordSysXForm; }
   virtual void setCoordSysXForm(const ZqCoordinateSystemTransformation& frame)
   {
      m_coordSysXForm = frame;
   }
   /// Points up, against gravity, with the magnitude of gravity (m/s^2): the acceleration of a base that
   /// feels like gravity.
   virtual const ZqVector& upGravityVector() const { return m_upGravityVector; }
   virtual void setUpGravityVector(const ZqVector& gravity) { m_upGravityVector = gravity; }

private:
   ZqCoordinateSystemTransformation m_coordSysXForm;
   ZqVector m_upGravityVector;
};

extern template class ZqXmlClass<ZqSystemEnvironment>;
