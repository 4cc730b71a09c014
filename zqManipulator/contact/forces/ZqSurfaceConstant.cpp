#include "zqManipulator/contact/forces/ZqSurfaceConstant.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

namespace
{
ZqReal inSeries(ZqReal a, ZqReal b)
{
   return a * b / ZqMath::nonZeroPos(a + b);
}

struct SurfaceConstants
{
   ZqSurfaceConstant spring{
      ZqString(ZqFoundCommon::ZqSurfaceTensionSpringConstantToken.localName()), inSeries};
   ZqSurfaceConstant damper{ZqString(ZqManip::ZqSurfaceTensionDamperConstantToken.localName()),
                            [](ZqReal a, ZqReal b) { return a + b == 0.0 ? 0.0 : inSeries(a, b); }};
   ZqSurfaceConstant exponent{ZqString(ZqManip::ZqSurfaceTensionSpringExponentToken.localName()),
                              [](ZqReal a, ZqReal b) { return (a + b) * 0.5; }};
};

const SurfaceConstants& surfaceConstants()
{
   static const auto& constants = *new SurfaceConstants();
   return constants;
}
} // namespace

const ZqSurfaceConstant& ZqSurfaceConstant::spring()
{
   return surfaceConstants().spring;
}

const ZqSurfaceConstant& ZqSurfaceConstant::damper()
{
   return surfaceConstants().damper;
}

const ZqSurfaceConstant& ZqSurfaceConstant::exponent()
{
   return surfaceConstants().exponent;
}
