#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/foundation/geometry/ZqPlane.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <algorithm>
#include <optional>

namespace
{
/// Moves a point to where a force F and a moment about the plane's base point have no moment in the
/// plane, unless the force lies in the plane (Vukobratovic and Borovac 2004).
void setZeroMomentPoint(const ZqPlane& plane, const ZqVector& force, const ZqVector& moment,
                        ZqVector& zeroMomentPoint)
{
   const ZqVector& n = plane.normalVector();
   const ZqReal normalForce = force.dot(n);
   if (normalForce < 0.0 || normalForce > 0.0)
      zeroMomentPoint = n.cross(moment) / normalForce + plane.basePoint();
}
} // namespace

const ZqReArray& ZqIndividualManipulator::crbiSpatialCholeskyDecomposition(
   ZqManipulatorActiveState& activeState, const ZqStatedSystemStruct* stateStruct) const
{
   return crbi(activeState, stateStruct).spatialCholeskyDecomposition();
}

ZqVector
ZqIndividualManipulator::getCenterOfMassInSystem(ZqManipulatorActiveState& activeState) const
{
   ZqVector center;
   crbi(activeState, nullptr).getCenterOfMass(center);
   return dhFrameInSystem(activeState.activePositionState()) * center;
}

void ZqIndividualManipulator::computeZeroMomentPoint(const ZqPlane& plane,
                                                     ZqManipulatorActiveState& activeState,
                                                     ZqVector& zeroMomentPoint,
                                                     const ZqStatedSystemStruct* stateStruct) const
{
   computeZeroMomentPoint(plane, ZqVector(), activeState, zeroMomentPoint, stateStruct);
}

void ZqIndividualManipulator::computeZeroMomentPoint(const ZqPlane& plane, const ZqVector& gravity,
                                                     ZqManipulatorActiveState& activeState,
                                                     ZqVector& zeroMomentPoint,
                                                     const ZqStatedSystemStruct* stateStruct) const
{
   ZqGeneralMotion momentumRate = compositeSpatialMomentumRateInLocal(activeState, stateStruct);
   momentumRate.transformBy(dhFrameInSystem(activeState.activePositionState()).orientation());
   ZqVector momentOfLinear;
   computeMomentFromLinearAcceleration(plane.basePoint(), activeState, momentOfLinear, stateStruct);

   const ZqReal mass = crbi(activeState, stateStruct).mass();
   const ZqVector center = getCenterOfMassInSystem(activeState) - plane.basePoint();
   setZeroMomentPoint(plane, gravity * mass - momentumRate.linear(),
                      center.cross(gravity) * mass - momentOfLinear - momentumRate.angular(),
                      zeroMomentPoint);
}

ZqReal ZqIndividualManipulator::computeKineticEnergy(ZqManipulatorActiveState& activeState,
                                                     ZqMassMatrixTool* tool) const
{
   const ZqU32 n = jointDof();
   if (isFixedBase() && n == 0)
      return 0.0;
   std::optional<ZqMassMatrixTool> own;
   if (tool == nullptr)
      tool = &own.emplace();
   tool->setManipulator(this);
   tool->setIsFixedBase(isFixedBase());
   const ZqReArray& M = isFixedBase() ? tool->massMatrix(activeState, nullptr)
                                      : tool->extendedMassMatrixInSystem(activeState, nullptr);

   const auto& rates = activeState.velocityState().jointVelocities();
   const ZqGeneralMotion& baseVelocity = activeState.velocityState().generalVelocity();
   const auto velocity = [&](ZqU32 i)
   { return i >= n ? baseVelocity[i - n] : Zq::valueOrZero(rates, i); };
   // The matrix is symmetric: the elements below the diagonal stand for those above.
   ZqReal energy = 0.0;
   for (ZqU32 i = 0; i < M.rows(); ++i)
   {
      ZqReal momentum = 0.5 * M[i][i] * velocity(i);
      for (ZqU32 j = 0; j < i; ++j)
         momentum += M[i][j] * velocity(j);
      energy += momentum * velocity(i);
   }
   return energy;
}
