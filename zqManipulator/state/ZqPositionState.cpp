#include "zqManipulator/state/ZqPositionState.h"

#include "zqManipulator/state/ZqStateValues.h"

template class ZqXmlClass<ZqPositionState>;

template class ZqXmlVectorType<ZqPositionState>;

bool ZqPositionState::approxEq(const ZqPositionState& other, ZqReal tolerance) const
{
   return m_coordSysXForm.approxEq(other.m_coordSysXForm, tolerance) &&
          ZqStateValues::approxEq(m_jointPositions, other.m_jointPositions, tolerance);
}

ZqBoolean ZqPositionState::readBin(std::istream& stream)
{
   return m_coordSysXForm.readBin(stream) &&
          ZqStateValues::readValues(stream, m_jointPositions.values());
}

ZqBoolean ZqPositionState::writeBin(std::ostream& stream) const
{
   return m_coordSysXForm.writeBin(stream) && ZqStateValues::writeValues(stream, m_jointPositions);
}

ZqBoolean ZqPositionState::linearInterpolation(const ZqPositionState& first,
                                               const ZqPositionState& second, ZqReal factor)
{
   const unsigned n1 = first.m_jointPositions.size();
   const unsigned n2 = second.m_jointPositions.size();
   if (n1 != n2)
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqPositionState::linearInterpolation(): the two joint-position sizes (%d and %d) do "
         "not match",
         static_cast<int>(n1), static_cast<int>(n2));
   m_jointPositions.resize(std::min(n1, n2));
   ZqStateValues::blend(first.m_jointPositions, second.m_jointPositions, factor,
                        m_jointPositions.values());
   m_coordSysXForm.setToFraction(first.m_coordSysXForm, second.m_coordSysXForm, factor);
   return n1 == n2;
}

void ZqPositionState::setPlacement(const ZqCoordinateSystemTransformation* frame)
{
   if (frame == nullptr)
      m_placement.frame.reset();
   else if (!m_placement.frame || *m_placement.frame != *frame)
      m_placement.frame = std::make_shared<const ZqCoordinateSystemTransformation>(*frame);
}
