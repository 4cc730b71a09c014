#include "zqManipulator/contact/response/ZqContactSides.h"

#include "zqManipulator/contact/friction/ZqBaseDissipativeForceProcessor.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"
#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>

namespace
{
/// What the record says of the links, and the state of their manipulators.
std::array<ZqContactSide, 2> recorded(const ZqShapeCollisionData& data)
{
   std::array<ZqContactSide, 2> sides;
   sides[0].link = data.link1Pointer();
   sides[1].link = data.link2Pointer();
   sides[0].manipulatorIndex = data.manipulatorOneID();
   sides[1].manipulatorIndex = data.manipulatorTwoID();
   sides[0].closestPointIndex = data.closestPointIndex1();
   sides[1].closestPointIndex = data.closestPointIndex2();
   sides[0].contactPoint = data.contactPointRel1();
   sides[1].contactPoint = data.contactPointRel2();
   sides[0].collisionPoint = data.collisionPointPrimaryObject1();
   sides[1].collisionPoint = data.collisionPointPrimaryObject2();
   return sides;
}

/// Lets the contact stick where the bodies are.
void stickHere(const ZqContactSides& sides, ZqShapeCollisionData& data)
{
   data.setStaticStartCollisionPointInPrimary1(sides[0].collisionPoint);
   data.setStaticStartCollisionPointInPrimary2(sides[1].collisionPoint);
   data.setStaticStartPrimaryFrame1InSystem(sides[0].frame);
   data.setStaticStartPrimaryFrame2InSystem(sides[1].frame);
}

/// Tells friction the mode of the record, which a new contact begins by sticking.
void setMode(const ZqContactSides& sides, ZqShapeCollisionData& data,
             ZqDissipativeForceInput& input)
{
   switch (data.frictionMode())
   {
   case ZqFrictionMode::Static:
      input.setInStaticFrictionMode(true);
      return;
   case ZqFrictionMode::Kinetic:
      input.setInStaticFrictionMode(false);
      return;
   case ZqFrictionMode::NewContact:
      input.setInStaticFrictionMode(true);
      stickHere(sides, data);
      data.setFrictionMode(ZqFrictionMode::Static);
      return;
   }
   Zq::Print::instance().write(
      Zq::Rejected, "ZqMassSpringCollisionForceProcessor::process-->Invalid friction mode");
}

/// What friction is told of the motion of the bodies and of where they stuck.
void setMotion(const ZqContactSides& sides, const ZqShapeCollisionData& data,
               ZqDissipativeForceInput& input)
{
   input.setLastBody1Velocity(data.lastVelocityPrimaryObject1());
   input.setLastBody2Velocity(data.lastVelocityPrimaryObject2());
   input.setBody1Velocity(data.velocityPrimaryObject1());
   input.setBody2Velocity(data.velocityPrimaryObject2());
   input.setPrimaryFrame1InSystem(sides[0].frame);
   input.setPrimaryFrame2InSystem(sides[1].frame);
   input.setStaticStartCollisionPointInPrimary1(data.staticStartCollisionPointInPrimary1());
   input.setStaticStartCollisionPointInPrimary2(data.staticStartCollisionPointInPrimary2());
   input.setStaticStartPrimaryFrame1InSystem(data.staticStartPrimaryFrame1InSystem());
   input.setStaticStartPrimaryFrame2InSystem(data.staticStartPrimaryFrame2InSystem());
}

void addTo(ZqXmlVectorType<ZqManipulatorExternalForce>& forces, const ZqContactSide& side,
           const ZqGeneralForce& force)
{
   const ZqU32 index = side.link->linkIndex();
   if (side.manipulatorIndex < forces.size() &&
       forces[side.manipulatorIndex].forceOn(index) != nullptr)
      forces[side.manipulatorIndex][index] += force;
   else
      Zq::Print::instance().write(Zq::Rejected,
                                  "a contact finds no force for link %u of manipulator %u.\n",
                                  index, side.manipulatorIndex);
}
} // namespace

const ZqDataMap* zqSurfaceValues(const ZqManipulatorLink& link, const ZqShape* shape,
                                 const ZqString& surface)
{
   const ZqDataMap* values = nullptr;
   if (shape != nullptr && shape->surfaceData(surface, values))
      return values;
   return link.surfaceValues(surface);
}

ZqContactSides::ZqContactSides(const ZqShapeCollisionData& data, ZqSystemActiveState& activeState)
   : m_sides(recorded(data)), m_booksEnergy(activeState.systemShapeCollisionCache().booksEnergy())
{
   auto& states = activeState.manipulatorActiveStateVector();
   for (const ZqContactSide& side : m_sides)
      if (side.link == nullptr || side.manipulatorIndex >= states.size())
         return;
   m_areThere = true;
   m_sides[0].shape = m_sides[0].link->shapeByIndex(data.shapeOneID());
   m_sides[1].shape = m_sides[1].link->shapeByIndex(data.shapeTwoID());
   for (ZqContactSide& side : m_sides)
   {
      side.state = &states[side.manipulatorIndex];
      side.frame = side.link->primaryFrameInSystem(side.state->activePositionState());
      side.velocity = side.link->primaryFrameVelocityInSystem(*side.state);
   }
}

bool ZqContactSides::areInert() const
{
   return std::any_of(m_sides.begin(), m_sides.end(),
                      [](const ZqContactSide& side)
                      { return side.shape != nullptr && side.shape->isContactForceFree(); });
}

const ZqString& ZqContactSides::surfaceKey(const ZqBaseCollisionForceProcessor& law,
                                           std::size_t side) const
{
   const ZqContactSide& s = m_sides[side];
   return law.impactedSurfaceKey(s.shape, s.closestPointIndex, s.collisionPoint);
}

const ZqDataMap* ZqContactSides::surface(const ZqBaseCollisionForceProcessor& law,
                                         std::size_t side) const
{
   return zqSurfaceValues(*m_sides[side].link, m_sides[side].shape, surfaceKey(law, side));
}

const ZqString& ZqContactSides::material(const ZqBaseCollisionForceProcessor& law,
                                         std::size_t side) const
{
   return law.impactedSurfaceMaterial(m_sides[side].shape, surfaceKey(law, side));
}

bool ZqContactSides::computeFriction(const ZqBaseCollisionForceProcessor& law,
                                     const ZqBaseDissipativeForceProcessor& friction,
                                     const ZqContactPatch& patch, const ZqVector& normalForce,
                                     ZqShapeCollisionData& data, ZqContactForces& forces) const
{
   ZqDissipativeForceInput input;
   input.setBody1MaterialType(material(law, 0));
   input.setBody2MaterialType(material(law, 1));
   setMode(*this, data, input);
   setMotion(*this, data, input);
   input.setNormalForceInSystem(normalForce);
   input.setCollisionNormalInSystem(data.lineOfAction());
   input.setCurrentCollisionPointInPrimary2(m_sides[1].contactPoint);
   input.setActionRadius(patch.actionRadius);
   input.setLinearInertiaAlongNormal(patch.linearInertia);
   input.setAngularInertiaAboutNormal(patch.angularInertia);

   ZqDissipativeForceOutput output;
   if (!friction.process(input, output))
      return false;
   forces = {output.body1ForcePrimary(), output.body2ForcePrimary()};
   const bool isStatic = output.inStaticFrictionMode();
   if (isStatic && !input.inStaticFrictionMode())
      stickHere(*this, data);
   data.setFrictionMode(isStatic ? ZqFrictionMode::Static : ZqFrictionMode::Kinetic);
   return true;
}

ZqReal ZqContactSides::powerTaken(const ZqContactForces& forces) const
{
   ZqReal power = 0.0;
   for (std::size_t i = 0; i < 2; ++i)
   {
      const ZqContactSide& side = m_sides[i];
      const ZqOrientation& axes = side.frame.orientation();
      power -= (axes * forces[i].force()).dot(side.velocity.linear()) +
               (axes * forces[i].moment()).dot(side.velocity.angular());
   }
   return power;
}

ZqContactForces ZqContactSides::add(const ZqContactForces& repulsion,
                                    const ZqContactForces& friction, ZqShapeCollisionData& data,
                                    ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const
{
   const ZqOrientation& axes = m_sides[0].frame.orientation();
   ZqContactResponse& response = data.response();
   response.normalForce = axes * repulsion[0].force();
   response.frictionForce = axes * friction[0].force();
   if (m_booksEnergy && !areInert())
   {
      response.normalLoss = powerTaken(repulsion);
      response.tangentialLoss = powerTaken(friction);
   }
   return add({repulsion[0] + friction[0], repulsion[1] + friction[1]}, forces);
}

ZqContactForces ZqContactSides::add(const ZqContactForces& whole,
                                    ZqXmlVectorType<ZqManipulatorExternalForce>& forces) const
{
   const bool isInert = areInert();
   ZqContactForces inDhFrames = whole;
   for (std::size_t i = 0; i < 2; ++i)
   {
      inDhFrames[i].transformBy(m_sides[i].link->primaryFrame());
      if (!isInert)
         addTo(forces, m_sides[i], inDhFrames[i]);
   }
   return inDhFrames;
}

void ZqContactSides::describe(const ZqContactForces& forces) const
{
   for (std::size_t i = 0; i < 2; ++i)
   {
      const ZqContactSide& side = m_sides[i];
      const ZqU32 index = side.link->linkIndex();
      ZqManipulatorActiveForceState& state = side.state->activeForceState();
      ZqExternalForceDescription description = state.externalForceDescription(index);
      const bool isFirst = !description.valid();
      description.setExternalLinkForce(isFirst ? forces[i]
                                               : description.externalLinkForce() + forces[i]);
      description.setForceApplicationPoint(
         isFirst ? side.contactPoint : description.forceApplicationPoint() + side.contactPoint);
      description.setValid(true);
      state.setExternalForceDescription(index, description);
   }
}
