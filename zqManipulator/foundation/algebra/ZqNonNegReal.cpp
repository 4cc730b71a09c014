#include "zqManipulator/foundation/algebra/ZqNonNegReal.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

ZqReal ZqNonNegReal::repair(ZqReal value)
{
   Zq::Print::instance().write(Zq::Rejected, "ZqNonNegReal: negative value %g set to zero", value);
   return 0.0;
}
