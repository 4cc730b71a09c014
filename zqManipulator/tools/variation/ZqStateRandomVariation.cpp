#include "zqManipulator/tools/variation/ZqStateRandomVariation.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqRandom.h"
#include "zqManipulator/state/ZqPositionState.h"
#include "zqManipulator/state/ZqVelocityState.h"
#include "zqManipulator/tools/variation/ZqLinkPropertyRandomVariation.h"

template class ZqXmlClass<ZqPositionStateRandomVariation>;
template class ZqXmlClass<ZqVelocityStateRandomVariation>;
template class ZqXmlVectorType<ZqPositionStateRandomVariation>;
template class ZqXmlVectorType<ZqVelocityStateRandomVariation>;
template class ZqXmlClass<ZqStateRandomVariation>;
template class ZqXmlVectorType<ZqStateRandomVariation>;

namespace
{
void drawJoints(std::vector<ZqReal>& values, const std::vector<ZqReal>& sigmas, ZqReal defaultSigma)
{
   for (std::size_t i = 0; i < values.size(); ++i)
      values[i] = ZqRandom::normalRandom(values[i], i < sigmas.size() ? sigmas[i] : defaultSigma);
}

ZqVector inAnyDirection(ZqReal sigma)
{
   const ZqReal length = ZqRandom::normalRandom(0.0, sigma);
   return ZqRandom::randomUnitVector() * length;
}
} // namespace

ZqPositionStateRandomVariation ZqPositionStateRandomVariation::defaultObject()
{
   ZqPositionStateRandomVariation result;
   result.m_jointPositionOneSigmas = {0.1, 0.1};
   result.m_basePositionOneSigma = 0.1;
   result.m_baseAngleOneSigma = 2.0 * ZqMath::pi / 180.0;
   return result;
}

void ZqPositionStateRandomVariation::getRandomPositionState(const ZqPositionState& in,
                                                            ZqPositionState& out) const
{
   ZqCoordinateSystemTransformation offset;
   ZqLinkKinematicsRandomVariation(m_basePositionOneSigma, m_baseAngleOneSigma)
      .getRandomLinkKinematicsOffset(offset);
   if (&out != &in)
      out = in;
   if (offset != ZqCoordinateSystemTransformation::identity())
      out.setCoordSysXForm(in.coordSysXForm() * offset);
   drawJoints(out.jointPositions().values(), m_jointPositionOneSigmas,
              m_defaultJointPositionOneSigma);
}

ZqVelocityStateRandomVariation ZqVelocityStateRandomVariation::defaultObject()
{
   ZqVelocityStateRandomVariation result;
   result.m_jointVelocityOneSigmas = {0.5, 0.5};
   result.m_baseLinearVelocityOneSigma = 0.5;
   result.m_baseAngularVelocityOneSigma = 10.0 * ZqMath::pi / 180.0;
   return result;
}

void ZqVelocityStateRandomVariation::getRandomVelocityState(const ZqVelocityState& in,
                                                            ZqVelocityState& out) const
{
   const ZqVector linear = inAnyDirection(m_baseLinearVelocityOneSigma);
   const ZqVector angular = inAnyDirection(m_baseAngularVelocityOneSigma);
   if (&out != &in)
      out = in;
   if (linear != ZqVector() || angular != ZqVector())
      out.setGeneralVelocity(in.generalVelocity() + ZqGeneralMotion(linear, angular));
   drawJoints(out.jointVelocities().values(), m_jointVelocityOneSigmas,
              m_defaultJointVelocityOneSigma);
}

ZqStateRandomVariation ZqStateRandomVariation::defaultObject()
{
   ZqStateRandomVariation result;
   result.m_defaultPositionStateRandomVariation = ZqPositionStateRandomVariation::defaultObject();
   result.m_defaultVelocityStateRandomVariation = ZqVelocityStateRandomVariation::defaultObject();
   return result;
}

const ZqPositionStateRandomVariation&
ZqStateRandomVariation::positionStateRandomVariation(ZqU32 manipulator) const
{
   return manipulator < m_positionStateRandomVariations.size()
             ? m_positionStateRandomVariations[manipulator]
             : m_defaultPositionStateRandomVariation;
}

const ZqVelocityStateRandomVariation&
ZqStateRandomVariation::velocityStateRandomVariation(ZqU32 manipulator) const
{
   return manipulator < m_velocityStateRandomVariations.size()
             ? m_velocityStateRandomVariations[manipulator]
             : m_defaultVelocityStateRandomVariation;
}
