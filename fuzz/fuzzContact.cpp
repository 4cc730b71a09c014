// Makes a scene of bodies in contact out of bytes, with masses, constants and steps from next to nothing to far too
// much, and steps it. Whatever comes of it, states are finite or the run has diverged; who looks on changes
// nothing; and what is stored goes on as if it had never stopped.

#include "fuzzBytes.h"
#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <array>
#include <memory>

using zqFuzz::Bytes;
using zqFuzz::require;
using Frame = ZqCoordinateSystemTransformation;

namespace
{
/// One time in sixteen what nobody should give.
ZqReal constant(Bytes& bytes, ZqReal least, ZqReal most)
{
   constexpr std::array odd{0.0, -1.0, 1e300, 1e-300};
   const ZqReal value = bytes.magnitude(least, most);
   const std::uint8_t kind = bytes.byte();
   return kind < 240 ? value : odd[kind % odd.size()];
}

Frame frameFrom(Bytes& bytes, ZqReal reach)
{
   const ZqVector turn = bytes.byte() < 128 ? ZqVector() : bytes.vector(10.0);
   return {bytes.vector(10.0) * reach, ZqOrientation::exponential(turn)};
}

/// Of a size of centimetres to metres.
std::unique_ptr<ZqShape> shapeFrom(Bytes& bytes, int depth = 0)
{
   const ZqReal size = bytes.magnitude(0.01, 1.0);
   const auto some = [&] { return size * (0.1 + bytes.share()); };
   const ZqVector end = ZqVector(some(), some(), some()) * 0.5;
   switch (bytes.byte() % (depth < 2 ? 13 : 12))
   {
   case 0:
   case 1:
      return std::make_unique<ZqBox>(Frame(), end);
   case 2:
      return std::make_unique<ZqSphere>(ZqVector(), some());
   case 3:
      return std::make_unique<ZqCapsule>(ZqLineSegment(-end, end), some());
   case 4:
      return std::make_unique<ZqCylinder>(ZqLineSegment(-end, end), some());
   case 5:
      return std::make_unique<ZqCone>(ZqLineSegment(-end, end), some(), some());
   case 6:
      return std::make_unique<ZqEllipsoid>(some(), some(), some(), Frame());
   case 7:
      return std::make_unique<ZqCircularLozenge>(ZqVector(), end, some(), 0.1 * some());
   case 8:
      return std::make_unique<ZqLozenge>(ZqVector(), ZqVector(some(), 0.0, 0.0),
                                         ZqVector(0.0, some(), 0.0), 0.1 * some());
   case 9:
      return std::make_unique<ZqTriangularLozenge>(ZqVector(), ZqVector(some(), 0.0, 0.0),
                                                   ZqVector(0.0, some(), 0.0), 0.1 * some());
   case 10:
   {
      std::vector<ZqVector> points;
      for (int count = bytes.byte() % 16; count >= 0; --count)
         points.push_back(bytes.vector(2.0) * size);
      return std::make_unique<ZqConvexHull>(points);
   }
   case 11:
   {
      const ZqVector& h = end;
      std::vector<ZqVector> corners;
      for (int i = 0; i < 8; ++i)
         corners.emplace_back(i & 1 ? h.x() : -h.x(), i & 2 ? h.y() : -h.y(),
                              i & 4 ? h.z() : -h.z());
      std::vector<ZqTriangleMesh::Triangle> triangles{{0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5},
                                                      {0, 1, 5}, {0, 5, 4}, {2, 6, 7}, {2, 7, 3},
                                                      {0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6}};
      triangles.resize(triangles.size() - bytes.byte() % 3); // open now and then
      return std::make_unique<ZqTriangleMesh>(corners, triangles);
   }
   default:
      auto result = std::make_unique<ZqShapeUnion>();
      for (int count = bytes.byte() % 4; count >= 0; --count)
      {
         const std::unique_ptr<ZqShape> member = shapeFrom(bytes, depth + 1);
         member->transformBy(frameFrom(bytes, 0.3 * size));
         result->addShapeToUnion(*member);
      }
      result->setCompoundTestFlag(bytes.byte() % 2 == 0);
      return result;
   }
}

ZqRigidBodyMassProperties massFrom(Bytes& bytes)
{
   const ZqReal mass = bytes.magnitude(1e-9, 1e6);
   const ZqReal r = bytes.magnitude(0.003, 1.0);
   const ZqReal inertia = mass * r * r;
   return {mass,
           bytes.byte() < 200 ? ZqVector() : bytes.vector(1.0) * r,
           {inertia, inertia, (0.5 + bytes.share()) * inertia, 0.0, 0.0, 0.0}};
}

ZqFrictionCoefficientLookupTool tableFrom(Bytes& bytes)
{
   ZqFrictionCoefficientLookupTool table;
   table.setDefaultLinearTangentialStaticFrictionCoefficient(constant(bytes, 0.01, 10.0));
   table.setDefaultLinearKineticFrictionCoefficient(constant(bytes, 0.01, 10.0));
   table.setDefaultViscousFrictionCoefficient(constant(bytes, 1e-3, 1e3));
   return table;
}

std::unique_ptr<ZqBaseDissipativeForceProcessor> frictionFrom(Bytes& bytes)
{
   const auto whole = [&](auto law)
   {
      law->setUseStaticFriction(bytes.byte() < 200);
      law->setUseKineticFriction(bytes.byte() < 200);
      return law;
   };
   std::unique_ptr<ZqBaseDissipativeForceProcessor> result;
   switch (bytes.byte() % 5)
   {
   case 0:
      return nullptr;
   case 1:
      result = whole(std::make_unique<ZqDissipativeForceProcessor>());
      break;
   case 2:
      result = whole(std::make_unique<ZqDryFrictionForceProcessor>());
      break;
   default:
      auto law = std::make_unique<ZqPointFrictionForceProcessor>();
      law->setTangentialToNormalStiffness(constant(bytes, 1e-3, 1e3));
      law->setDampingRatio(constant(bytes, 1e-3, 1e3));
      law->setTorsionRadius(bytes.byte() < 128 ? 0.0 : constant(bytes, 1e-4, 1.0));
      result = std::move(law);
   }
   result->setFrictionCoefficientLUT(tableFrom(bytes));
   return result;
}

ZqLinkCollisionForce contactFrom(Bytes& bytes)
{
   const std::unique_ptr<ZqBaseDissipativeForceProcessor> friction = frictionFrom(bytes);
   ZqCollisionForceContainer container;
   const auto finish = [&](auto& law)
   {
      law.setDefaultSpringConstant(constant(bytes, 1.0, 1e12));
      law.setDefaultSpringExponent(bytes.byte() < 128 ? 1.0 : constant(bytes, 1.0, 10.0));
      law.setUseFriction(friction != nullptr);
      if (friction)
         law.setDissipativeForceProcessor(*friction);
      container.setTopElement(law);
   };
   switch (bytes.byte() % 4)
   {
   case 0:
   {
      ZqMassSpringCollisionForceProcessor law;
      law.setDefaultDamperConstant(constant(bytes, 1e-3, 1e6));
      law.setTorsionalRepulsionContributionFactor(bytes.byte() < 200 ? 0.5 : bytes.real(10.0));
      finish(law);
      break;
   }
   case 1:
   {
      ZqMassSpringDamperCollisionForceProcessor law;
      law.setDefaultDamperConstant(constant(bytes, 1e-3, 1e6));
      finish(law);
      break;
   }
   default:
      ZqPointContactForceProcessor law;
      law.setDefaultDissipation(constant(bytes, 1e-3, 1e3));
      law.setSettlingDampingRatio(constant(bytes, 1e-3, 1e3));
      law.setSettlingForceFraction(bytes.byte() < 200 ? 0.05 : bytes.share());
      finish(law);
   }
   ZqLinkCollisionForce contact;
   contact.setCollisionForceContainer(container);
   return contact;
}

/// A body, free or not, now and then with links that carry shapes.
ZqU32 addBody(ZqStatedSystem& scene, Bytes& bytes)
{
   ZqIndividualManipulator body;
   const std::uint8_t kind = bytes.byte();
   if (kind < 32)
      body.setShape(ZqHalfSpace());
   else
      body.setShape(*shapeFrom(bytes));
   body.setIsFixedBase(kind < 64);
   body.setMassProperties(massFrom(bytes));
   const int joints = kind < 192 ? 0 : kind % 4;
   ZqPositionState position;
   ZqVelocityState velocity;
   ZqManipulatorLink* parent = &body;
   for (int i = 0; i < joints; ++i)
   {
      ZqDenavitHartenberg joint;
      joint.setJointType(bytes.byte() % 2 == 0 ? ZqDenavitHartenberg::Rotational
                                               : ZqDenavitHartenberg::Prismatic);
      joint.setDhA(bytes.real(1.0));
      joint.setDhAlpha(bytes.real(3.0));
      ZqManipulatorLink link;
      link.setLinkLabel("link" + std::to_string(i));
      link.setLinkKinematics(joint);
      link.setMassProperties(massFrom(bytes));
      if (bytes.byte() % 4 != 0)
         link.setShape(*shapeFrom(bytes));
      parent->addChild(link);
      parent = &parent->childLinks()[parent->childLinks().size() - 1];
      position.jointPositions().values().push_back(bytes.real(3.0));
      velocity.jointVelocities().values().push_back(bytes.real(10.0));
   }
   position.setCoordSysXForm(frameFrom(bytes, kind < 32 ? 0.1 : 0.3));
   velocity.setGeneralVelocity({bytes.vector(100.0), bytes.vector(100.0)});
   body.setManipulatorLabel("body" + std::to_string(scene.numberOfManipulators()));
   scene.addManipulator(body, position, velocity);
   return static_cast<ZqU32>(joints);
}

ZqStatedSystem sceneFrom(Bytes& bytes)
{
   ZqStatedSystem scene;
   ZqSystemEnvironment environment;
   environment.setUpGravityVector(ZqVector(0.0, 0.0, 9.8));
   scene.setEnvironment(environment);
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(contactFrom(bytes));
   const ZqU32 count = 2 + bytes.byte() % 5;
   for (ZqU32 i = 0; i < count; ++i)
      if (addBody(scene, bytes) > 1 && bytes.byte() < 128)
      {
         ZqLatchedDoorLinks door;
         door.setLatchType(bytes.byte() % 2);
         door.setManipulatorId(i);
         door.setDoorLinkId(0);
         door.setHandleLinkId(1);
         door.setSpringConstant(constant(bytes, 1e-3, 1e6));
         door.setDamperConstant(constant(bytes, 1e-3, 1e3));
         door.setClosedDoorAngleLowerBound(bytes.real(1.0));
         door.setClosedDoorAngleUpperBound(bytes.real(1.0));
         door.setUnlatchingAngleLowerBound(bytes.real(1.0));
         door.setUnlatchingAngleUpperBound(bytes.real(1.0));
         interactions.pushBack(door);
      }
   if (bytes.byte() < 64)
   {
      ZqSpringAndDamperBetweenLinks spring;
      spring.setManipulatorOneIndex(bytes.byte() % count);
      spring.setManipulatorTwoIndex(bytes.byte() % count);
      spring.setLinkOneIndex(-2);
      spring.setLinkTwoIndex(-2);
      spring.setFrameOffsetOne(frameFrom(bytes, 0.1));
      spring.setLinearSpringConstant(constant(bytes, 1e-3, 1e9));
      spring.setLinearSpringOffset(bytes.share());
      spring.setLinearDamperConstant(constant(bytes, 1e-3, 1e3));
      spring.setAngularSpringConstant(constant(bytes, 1e-3, 1e3));
      spring.setAngularDamperConstant(constant(bytes, 1e-3, 1e3));
      interactions.pushBack(spring);
   }
   scene.setLinkInteractionsVector(interactions);
   return scene;
}

bool isFinite(const ZqVector& v)
{
   return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z());
}

bool isFinite(const ZqManipulatorSystemState& state)
{
   const auto areFinite = [](const auto& values)
   { return std::all_of(values.begin(), values.end(), [](ZqReal x) { return std::isfinite(x); }); };
   for (const ZqPositionState& position : state.positionStates())
   {
      const Frame& X = position.coordSysXForm();
      if (!areFinite(position.jointPositions().values()) || !isFinite(X.translation()) ||
          !isFinite(X.orientation().xAxis()) || !isFinite(X.orientation().yAxis()))
         return false;
   }
   for (const ZqVelocityState& velocity : state.velocityStates())
   {
      const ZqGeneralMotion& V = velocity.generalVelocity();
      if (!areFinite(velocity.jointVelocities().values()) || !isFinite(V.linear()) ||
          !isFinite(V.angular()))
         return false;
   }
   return true;
}

/// All that a look at the present shows.
bool areContactsFinite(ZqSimulation& simulation)
{
   bool result = true;
   for (const ZqSimulation::Contact& contact : simulation.contacts())
   {
      require(contact.record != nullptr && contact.points >= 0);
      const ZqContactResponse& r = contact.record->response();
      result = result && std::isfinite(contact.depth) && std::isfinite(contact.normalForce) &&
               std::isfinite(contact.frictionForce) && isFinite(r.normalForce) &&
               isFinite(r.frictionForce) && std::isfinite(r.normalEnergy) &&
               std::isfinite(r.tangentialEnergy) && std::isfinite(r.normalLoss) &&
               std::isfinite(r.tangentialLoss) && std::isfinite(r.slipLoss) &&
               std::isfinite(r.patchGain);
      result = result && std::all_of(r.points.begin(), r.points.begin() + r.pointCount,
                                     [](const ZqContactResponse::Point& point) {
                                        return std::isfinite(point.normalForce) &&
                                               isFinite(point.friction);
                                     });
   }
   return result;
}

bool isConvex(const ZqSimulation& simulation, const ZqSimulation::Place& place)
{
   return simulation.linkAt(place)->shape()->convex() != nullptr;
}

/// What is stored sees the same contacts, to rounding: geometry has no guess to begin with. Of compounds the
/// depth is only the best that was found.
void checkRestored(ZqSimulation& watched, const ZqSimulation::Settings& settings)
{
   ZqSimulation restored(watched.scene(), settings);
   require(restored.setInteractionState(watched.interactionState()));
   require(restored.interactionState() == watched.interactionState());
   const auto& expected = watched.contacts();
   const auto& contacts = restored.contacts();
   require(contacts.size() == expected.size());
   for (std::size_t i = 0; i < contacts.size(); ++i)
   {
      const ZqSimulation::Contact& a = contacts[i];
      const ZqSimulation::Contact& b = expected[i];
      require(a.record->key1() == b.record->key1() && a.record->key2() == b.record->key2());
      if (!isConvex(watched, b.first) || !isConvex(watched, b.second))
         continue;
      require(std::abs(a.depth - b.depth) <= 1e-9 * (1.0 + b.depth));
      require(a.mode == b.mode && a.points == b.points);
      const ZqReal change = std::abs(a.normalForce - b.normalForce);
      require(!std::isfinite(b.normalForce) || change <= 1e-6 * (b.normalForce + 1.0));
   }
}

void run(const ZqStatedSystem& scene, const ZqSimulation::Settings& settings, ZqReal dt,
         Bytes& bytes)
{
   ZqSimulation watched(scene, settings);
   ZqSimulation alone(scene, settings);
   const int count = 30 + bytes.byte() % 31;
   const int storedAt = bytes.byte() % count;
   for (int k = 1; k <= count; ++k)
   {
      if (k == storedAt)
         checkRestored(watched, settings);
      const bool isFiniteBefore = areContactsFinite(watched);
      const ZqReal limit = watched.contactStepLimit();
      watched.interactionState();
      const bool goesOn = watched.stepTo(k * dt);
      require(alone.stepTo(k * dt) == goesOn);
      require(alone.state() == watched.state());
      require(isFinite(watched.state()));
      require(goesOn != watched.divergence().has_value());
      require(!goesOn || (isFiniteBefore && limit >= 0.0));
      if (!goesOn)
         return;
   }
   require(alone.slips() == watched.slips());
   require(alone.interactionState() == watched.interactionState());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
   Bytes bytes(data, size);
   ZqSimulation::Settings settings;
   settings.integrator = static_cast<ZqSimulation::Integrator>(bytes.byte() % 3);
   settings.solver = static_cast<ZqSimulation::Solver>(bytes.byte() % 2);
   const ZqReal dt = bytes.byte() < 128 ? bytes.magnitude(1e-5, 1e-2) : bytes.magnitude(1e-7, 10.0);
   const ZqStatedSystem scene = sceneFrom(bytes);
   run(scene, settings, dt, bytes);
   return 0;
}
