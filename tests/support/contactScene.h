#pragma once

#include "zqManipulator/zqManipulator.h"

namespace zqTest
{
/// What every two surfaces of a scene have together.
struct ContactMaterial
{
   ZqReal stiffness = 1e5; ///< of the pair (N/m^e)
   ZqReal exponent = 1.0;
   ZqReal dissipation = 1.0; ///< s/m
   ZqReal staticFriction = 0.5;
   ZqReal kineticFriction = 0.4;
   ZqReal dampingRatio = 0.5; ///< of the springs along the surface
   ZqReal settlingRatio = 0.5;
   ZqReal settlingFraction = 0.05;
   ZqReal torsionRadius = 0.0; ///< m
   ZqReal tangentialRatio = 0.8;
};

/// An interaction by contact, with our laws.
ZqLinkCollisionForce contactOf(const ContactMaterial& material);
/// With a law of one's own.
ZqLinkCollisionForce contactOf(const ZqBaseCollisionForceProcessor& law);

/// A solid box, sphere, cylinder along z and so on: its shape and its mass about the origin.
struct SolidBody
{
   std::unique_ptr<ZqShape> shape;
   ZqRigidBodyMassProperties mass;
};
SolidBody solidBox(ZqReal mass, const ZqVector& halfExtents);
SolidBody solidSphere(ZqReal mass, ZqReal radius);
SolidBody solidCylinder(ZqReal mass, ZqReal radius, ZqReal halfLength);
/// Along z, with round ends beyond the half length.
SolidBody solidCapsule(ZqReal mass, ZqReal radius, ZqReal halfLength);
/// The box as the hull of its corners and of the middles of its sides.
SolidBody solidHull(ZqReal mass, const ZqVector& halfExtents);
/// The box's surface of twelve triangles.
SolidBody meshBox(ZqReal mass, const ZqVector& halfExtents);

/// Bodies of one link each, and what acts between them.
class ContactScene
{
public:
   explicit ContactScene(const ZqVector& gravity = {0.0, 0.0, -9.8}) { setGravity(gravity); }

   void setGravity(const ZqVector& gravity);
   /// A floor below a plane through a point; the plane's normal is the z axis of the frame.
   ZqU32 addFloor(const ZqCoordinateSystemTransformation& frame = {});
   ZqU32 addFree(const SolidBody& body, const ZqCoordinateSystemTransformation& frame,
                 const ZqGeneralMotion& velocity = {});
   ZqU32 add(ZqIndividualManipulator manipulator, const ZqPositionState& position,
             const ZqVelocityState& velocity);
   void setContact(const ZqLinkCollisionForce& contact);
   void setContact(const ContactMaterial& material) { setContact(contactOf(material)); }

   ZqStatedSystem system;
};

/// \name Of a body of one link
/// @{
inline const ZqCoordinateSystemTransformation& placeOf(const ZqSimulation& simulation, ZqU32 body)
{
   return simulation.state().positionStates()[body].coordSysXForm();
}
inline ZqVector wayOf(const ZqSimulation& simulation, ZqU32 body)
{
   return placeOf(simulation, body).translation();
}
inline const ZqGeneralMotion& velocityOf(const ZqSimulation& simulation, ZqU32 body)
{
   return simulation.state().velocityStates()[body].generalVelocity();
}
/// A force through the origin of its frame and a moment, both in axes of the system.
void push(ZqSimulation& simulation, ZqU32 body, const ZqVector& force, const ZqVector& moment = {});
/// @}
} // namespace zqTest
