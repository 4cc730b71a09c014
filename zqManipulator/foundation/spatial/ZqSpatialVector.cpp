#include "zqManipulator/foundation/algebra/ZqValueText.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/spatial/ZqSpatialBinary.h"

#include <ostream>

template <class Derived>
ZqBoolean ZqSpatialVector<Derived>::copyFromArray(const ZqReArray& array)
{
   if (array.size() < 6 || array.columns() < 1)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "copyFromArray: expected an array of 6 x 1, but received %zu x %zu\n",
         static_cast<std::size_t>(array.size()), static_cast<std::size_t>(array.columns()));
      return false;
   }
   for (unsigned i = 0; i < 6; ++i)
      setScalarValue(i, array[i][0]);
   return true;
}

template <class Derived>
void ZqSpatialVector<Derived>::copyToArray(ZqReArray& array) const
{
   array.setToZeros(6, 1);
   for (unsigned i = 0; i < 6; ++i)
      array[i][0] = (*this)[i];
}

template <class Derived>
ZqBoolean ZqSpatialVector<Derived>::readBin(std::istream& stream)
{
   std::array<ZqReal, 6> v;
   if (!ZqSpatialBinary::read(stream, v))
      return false;
   m_first = ZqVector(v[0], v[1], v[2]);
   m_second = ZqVector(v[3], v[4], v[5]);
   return true;
}

template <class Derived>
ZqBoolean ZqSpatialVector<Derived>::writeBin(std::ostream& stream) const
{
   return ZqSpatialBinary::write(stream, std::array{m_first[0], m_first[1], m_first[2], m_second[0],
                                                    m_second[1], m_second[2]});
}

template class ZqSpatialVector<ZqGeneralMotion>;
template class ZqSpatialVector<ZqGeneralForce>;
template class ZqXmlClass<ZqGeneralForce>;
template class ZqXmlClass<ZqGeneralMotion>;

std::ostream& operator<<(std::ostream& stream, const ZqGeneralMotion& motion)
{
   return stream << ZqValueText::record({{"linear", ZqValueText::tuple(motion.linear())},
                                         {"angular", ZqValueText::tuple(motion.angular())}});
}

std::ostream& operator<<(std::ostream& stream, const ZqGeneralForce& force)
{
   return stream << ZqValueText::record({{"force", ZqValueText::tuple(force.force())},
                                         {"moment", ZqValueText::tuple(force.moment())}});
}
