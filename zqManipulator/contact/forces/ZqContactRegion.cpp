#include "zqManipulator/contact/forces/ZqContactRegion.h"

#include <algorithm>

template class ZqXmlClass<ZqContactRegion>;

bool ZqContactRegion::approxEq(const ZqContactRegion& other, ZqReal tolerance) const
{
   const auto areNear = [tolerance](ZqReal a, ZqReal b)
   { return std::max(a, b) <= std::min(a, b) + tolerance; };
   return m_contactFrame.approxEq(other.m_contactFrame, tolerance) &&
          areNear(m_momentX, other.m_momentX) && areNear(m_momentY, other.m_momentY) &&
          areNear(m_momentZ, other.m_momentZ);
}
