#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"

#include "zqManipulator/contact/proximity/ZqManipulatorCollisionTool.h"
#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/state/ZqSystemActiveBoundingBoxState.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

namespace
{
/// So many are looked at before their forces are computed: what has been found is still at hand then. Pairs come in
/// the order of records.
constexpr int pairsAtATime = 16;

bool canTouch(const ZqManipulatorSystem& system, const ZqLinkKey& a, const ZqLinkKey& b)
{
   if (a.manipulatorIndex() != b.manipulatorIndex())
      return system.canCollide(a.manipulatorIndex(), a.linkIndex(), b.manipulatorIndex(),
                               b.linkIndex());
   return a.linkIndex() != b.linkIndex() &&
          system.manipulators()[a.manipulatorIndex()].canCollide(a.linkIndex(), b.linkIndex());
}
} // namespace

ZqManipulatorCollisionTool& ZqLinkCollisionForce::tool() const
{
   if (!m_tool.get())
      m_tool.get() = std::make_shared<ZqManipulatorCollisionTool>();
   m_tool.get()->setBoundingVolumeLevel(m_precisionLevel);
   return *m_tool.get();
}

void ZqLinkCollisionForce::forceBetweenLinks(
   ZqSystemActiveState& activeState, const ZqManipulatorSystem& system, const ZqReal& time,
   const ZqXmlVectorType<ZqManipulatorTorque>& torques,
   ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const
{
   const ZqBaseCollisionForceProcessor* law = m_collisionForceContainer.topElement();
   if (law == nullptr)
      return;
   const ZqManipulatorCollisionTool& tool = this->tool();
   tool.followModel(system, activeState);
   ZqSystemShapeCollisionCache& cache = activeState.systemShapeCollisionCache();
   cache.resetNextCollisionData();
   int looked = 0;
   for (const auto& [a, b] : activeState.systemActiveBoundingBoxState().intersectionList(
           system, activeState.manipulatorActiveStateVector()))
   {
      if (canTouch(system, a, b))
         tool.computeLinkCollisionData(a.manipulatorIndex(), a.linkIndex(), b.manipulatorIndex(),
                                       b.linkIndex(), system, activeState);
      if (++looked % pairsAtATime == 0)
         while (ZqShapeCollisionData* data = cache.nextCollisionDataUpTo(a, b))
            law->process(*data, activeState, torques, forces, time);
   }
   while (ZqShapeCollisionData* data = cache.nextCollisionData())
      law->process(*data, activeState, torques, forces, time);
}

ZqInteractionEnergy ZqLinkCollisionForce::energy(ZqSystemActiveState& activeState,
                                                 const ZqManipulatorSystem&) const
{
   ZqInteractionEnergy energy;
   if (m_collisionForceContainer.topElement() == nullptr)
      return energy;
   const ZqSystemShapeCollisionCache& cache = activeState.systemShapeCollisionCache();
   cache.forEachValid(
      [&](const ZqShapeCollisionData& record)
      {
         const ZqContactResponse& response = record.response();
         energy.contactSprings += response.normalEnergy + response.tangentialEnergy;
         energy.contactDampers += response.normalLoss;
         energy.friction += response.tangentialLoss;
         energy.slipped += response.slipLoss;
         energy.released -= response.patchGain;
      });
   cache.forEachEnded([&](const ZqShapeCollisionData& record)
                      { energy.released += record.memory().tangentialEnergy; });
   return energy;
}
