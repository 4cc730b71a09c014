#include "zqManipulator/state/ZqVelocityState.h"

#include "zqManipulator/state/ZqStateValues.h"

template class ZqXmlClass<ZqVelocityState>;

template class ZqXmlVectorType<ZqVelocityState>;

void ZqVelocityState::setJointVelocities(const ZqReArray& velocities)
{
   ZqStateValues::copyColumn(velocities, m_jointVelocities.values(),
                             "ZqVelocityState::setJointVelocities()");
}

bool ZqVelocityState::approxEq(const ZqVelocityState& other, ZqReal tolerance) const
{
   return m_generalVelocity.approxEq(other.m_generalVelocity, tolerance) &&
          ZqStateValues::approxEq(m_jointVelocities, other.m_jointVelocities, tolerance);
}

ZqBoolean ZqVelocityState::readBin(std::istream& stream)
{
   return m_generalVelocity.readBin(stream) &&
          ZqStateValues::readValues(stream, m_jointVelocities.values());
}

ZqBoolean ZqVelocityState::writeBin(std::ostream& stream) const
{
   return m_generalVelocity.writeBin(stream) &&
          ZqStateValues::writeValues(stream, m_jointVelocities);
}

ZqBoolean ZqVelocityState::linearInterpolation(const ZqVelocityState& first,
                                               const ZqVelocityState& second, ZqReal factor)
{
   if (first.m_jointVelocities.size() != second.m_jointVelocities.size())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "%s",
         "ZqVelocityState::linearInterpolation velocityState1.jointVelocities() size mismatch.");
      return false;
   }
   m_jointVelocities.resize(first.m_jointVelocities.size());
   ZqStateValues::blend(first.m_jointVelocities, second.m_jointVelocities, factor,
                        m_jointVelocities.values());
   const ZqGeneralMotion& v1 = first.m_generalVelocity;
   const ZqGeneralMotion& v2 = second.m_generalVelocity;
   m_generalVelocity.setLinear(v2.linear() * factor + v1.linear() * (1.0 - factor));
   m_generalVelocity.setAngular(v2.angular() * factor + v1.angular() * (1.0 - factor));
   return true;
}
