#include "support/contactScene.h"

namespace zqTest
{
namespace
{
ZqRigidBodyMassProperties massOf(ZqReal mass, const ZqVector& inertia)
{
   return {mass, ZqVector(), {inertia.x(), inertia.y(), inertia.z(), 0.0, 0.0, 0.0}};
}
ZqRigidBodyMassProperties massOfBox(ZqReal mass, const ZqVector& h)
{
   const ZqVector s(h.x() * h.x(), h.y() * h.y(), h.z() * h.z());
   return massOf(mass, ZqVector(s.y() + s.z(), s.x() + s.z(), s.x() + s.y()) * (mass / 3.0));
}
} // namespace

ZqLinkCollisionForce contactOf(const ContactMaterial& material)
{
   ZqPointFrictionForceProcessor friction;
   ZqFrictionCoefficientLookupTool& table = friction.frictionCoefficientLUT();
   table.setDefaultLinearTangentialStaticFrictionCoefficient(material.staticFriction);
   table.setDefaultLinearKineticFrictionCoefficient(material.kineticFriction);
   friction.setDampingRatio(material.dampingRatio);
   friction.setTorsionRadius(material.torsionRadius);
   friction.setTangentialToNormalStiffness(material.tangentialRatio);
   ZqDissipativeForceProcessorContainer container;
   container.setTopElement(friction);

   ZqPointContactForceProcessor law;
   law.setDissipativeForceProcessorContainer(container);
   law.setUseFriction(material.staticFriction > 0.0);
   law.setDefaultSpringConstant(2.0 * material.stiffness);
   law.setDefaultSpringExponent(material.exponent);
   law.setDefaultDissipation(material.dissipation);
   law.setSettlingDampingRatio(material.settlingRatio);
   law.setSettlingForceFraction(material.settlingFraction);
   return contactOf(law);
}

ZqLinkCollisionForce contactOf(const ZqBaseCollisionForceProcessor& law)
{
   ZqCollisionForceContainer container;
   container.setTopElement(law);
   ZqLinkCollisionForce contact;
   contact.setCollisionForceContainer(container);
   return contact;
}

SolidBody solidBox(ZqReal mass, const ZqVector& halfExtents)
{
   return {std::make_unique<ZqBox>(ZqCoordinateSystemTransformation(), halfExtents),
           massOfBox(mass, halfExtents)};
}

SolidBody solidSphere(ZqReal mass, ZqReal radius)
{
   return {std::make_unique<ZqSphere>(ZqVector(), radius),
           massOf(mass, ZqVector(1.0, 1.0, 1.0) * (0.4 * mass * radius * radius))};
}

SolidBody solidCylinder(ZqReal mass, ZqReal radius, ZqReal halfLength)
{
   const ZqReal across = mass * (0.25 * radius * radius + halfLength * halfLength / 3.0);
   const ZqVector end(0.0, 0.0, halfLength);
   return {std::make_unique<ZqCylinder>(ZqLineSegment(-end, end), radius),
           massOf(mass, {across, across, 0.5 * mass * radius * radius})};
}

SolidBody solidCapsule(ZqReal mass, ZqReal radius, ZqReal halfLength)
{
   // Of the cylinder and of both halves of the ball, whose middles are 3/8 of the radius beyond its ends.
   const ZqReal r = radius;
   const ZqReal ball = mass * 2.0 * r / (3.0 * halfLength + 2.0 * r);
   const ZqReal tube = mass - ball;
   const ZqReal across = tube * (0.25 * r * r + halfLength * halfLength / 3.0) +
                         ball * (0.4 * r * r + halfLength * halfLength + 0.75 * r * halfLength);
   const ZqVector end(0.0, 0.0, halfLength);
   return {std::make_unique<ZqCapsule>(ZqLineSegment(-end, end), radius),
           massOf(mass, {across, across, (0.5 * tube + 0.4 * ball) * r * r})};
}

SolidBody solidHull(ZqReal mass, const ZqVector& h)
{
   std::vector<ZqVector> points;
   for (int i = 0; i < 27; ++i)
      if (i != 13)
         points.emplace_back((i % 3 - 1) * h.x(), (i / 3 % 3 - 1) * h.y(), (i / 9 - 1) * h.z());
   return {std::make_unique<ZqConvexHull>(points), massOfBox(mass, h)};
}

SolidBody meshBox(ZqReal mass, const ZqVector& h)
{
   ZqTriangleMesh mesh;
   std::vector<ZqVector> corners;
   for (int i = 0; i < 8; ++i)
      corners.emplace_back(i & 1 ? h.x() : -h.x(), i & 2 ? h.y() : -h.y(), i & 4 ? h.z() : -h.z());
   // Each face counter-clockwise from outside.
   constexpr int faces[6][4] = {{0, 4, 6, 2}, {1, 3, 7, 5}, {0, 1, 5, 4},
                                {2, 6, 7, 3}, {0, 2, 3, 1}, {4, 5, 7, 6}};
   std::vector<std::array<ZqU32, 3>> triangles;
   for (const auto& f : faces)
      for (int k = 1; k < 3; ++k)
         triangles.push_back(
            {static_cast<ZqU32>(f[0]), static_cast<ZqU32>(f[k]), static_cast<ZqU32>(f[k + 1])});
   return {std::make_unique<ZqTriangleMesh>(corners, triangles), massOfBox(mass, h)};
}

void ContactScene::setGravity(const ZqVector& gravity)
{
   ZqSystemEnvironment environment;
   environment.setUpGravityVector(-gravity);
   system.setEnvironment(environment);
}

ZqU32 ContactScene::add(ZqIndividualManipulator manipulator, const ZqPositionState& position,
                        const ZqVelocityState& velocity)
{
   const ZqU32 index = system.numberOfManipulators();
   manipulator.setManipulatorLabel("body" + std::to_string(index));
   system.addManipulator(manipulator, position, velocity);
   return index;
}

ZqU32 ContactScene::addFloor(const ZqCoordinateSystemTransformation& frame)
{
   ZqIndividualManipulator floor;
   floor.setShape(ZqHalfSpace());
   floor.setIsFixedBase(true);
   ZqPositionState position;
   position.setCoordSysXForm(frame);
   return add(floor, position, {});
}

ZqU32 ContactScene::addFree(const SolidBody& body, const ZqCoordinateSystemTransformation& frame,
                            const ZqGeneralMotion& velocity)
{
   ZqIndividualManipulator manipulator;
   manipulator.setShape(*body.shape);
   manipulator.setMassProperties(body.mass);
   manipulator.setIsFixedBase(false);
   ZqPositionState position;
   position.setCoordSysXForm(frame);
   ZqVelocityState rates;
   rates.setGeneralVelocity(velocity);
   return add(manipulator, position, rates);
}

void ContactScene::setContact(const ZqLinkCollisionForce& contact)
{
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(contact);
   system.setLinkInteractionsVector(interactions);
}

void push(ZqSimulation& simulation, ZqU32 body, const ZqVector& force, const ZqVector& moment)
{
   const ZqOrientation toBody = placeOf(simulation, body).orientation().inverse();
   simulation.setExternalForce({body, ZqBaseLinkIndex}, {toBody * force, toBody * moment});
}
} // namespace zqTest
