#include "support/contactScene.h"
#include "support/randomScene.h"
#include "zqManipulator/state/ZqInteractionState.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>

namespace
{
using zqTest::ContactMaterial;
using zqTest::ContactScene;
using zqTest::SolidBody;
using Door = ZqLatchedDoorLinks;
using Frame = ZqCoordinateSystemTransformation;
using Integrator = ZqSimulation::Integrator;

/// What the books of a run leave open (J).
struct OpenEnergy
{
   void add(ZqReal open) { greatest = std::max(greatest, std::abs(open)); }

   ZqReal greatest = 0.0;
   ZqReal turnover = 0.0; ///< the most that was held, and what was lost and released
};

// What is left open is the rule's by which it is summed up: half of it with half the step.
void expectFirstOrder(const std::function<OpenEnergy(ZqReal dt)>& run, ZqReal dt)
{
   const OpenEnergy coarse = run(dt);
   const OpenEnergy fine = run(0.5 * dt);
   const OpenEnergy finest = run(0.25 * dt);
   EXPECT_LT(coarse.greatest, 0.1 * coarse.turnover);
   EXPECT_LT(fine.greatest, 0.65 * coarse.greatest);
   EXPECT_LT(finest.greatest, 0.65 * fine.greatest);
}

// The handle is turned and let go at any place of a door that swings through its frame.
TEST(InteractionEnergy, OfDoorsIsTheirWorkHeldLostOrReleased)
{
   constexpr ZqReal turn = 2.0 * std::numbers::pi;
   zqTest::RandomScene scene(3, {zqTest::chain(3)});
   ZqXmlVectorType<ZqManipulatorExternalForce> forces(scene.index + 1);
   forces[scene.index].resize(3);
   ZqSystemActiveState active;
   active.setNumManipulators(scene.index + 1);
   for (const ZqU32 type : {Door::ClosedWithTurn, Door::ClosedWithoutTurn})
   {
      SCOPED_TRACE(type);
      const auto swing = [&](ZqReal dt)
      {
         Door door;
         door.setLatchType(type);
         door.setSpringConstant(8.0);
         door.setDamperConstant(0.3);
         door.setManipulatorId(scene.index);
         door.setDoorLinkId(1);
         door.setHandleLinkId(2);
         door.setUnlatchingAngleLowerBound(0.5);
         door.setUnlatchingAngleUpperBound(1.5);
         door.setClosedDoorAngleLowerBound(-0.125);
         door.setClosedDoorAngleUpperBound(0.375);
         OpenEnergy gap;
         ZqReal start = 0.0;
         ZqReal lost = 0.0;
         ZqReal put = 0.0;
         const auto angleAt = [](ZqReal t) { return 0.1 + 0.4 * std::sin(turn * t); };
         for (int k = 0; k * dt < 6.0; ++k)
         {
            const ZqReal t = k * dt;
            const ZqReal angle = angleAt(t);
            const ZqReal rate = 0.4 * turn * std::cos(turn * t);
            scene.position.setJointPositions(
               ZqRealVector{7.0, angle, 1.0 + std::sin(2.3 * turn * t)});
            scene.velocity.setJointVelocities(ZqRealVector{7.0, rate, 7.0});
            scene.prepare(active.manipulatorActiveStateVector()[scene.index]);
            forces[scene.index].setToZeros();
            door.forceBetweenLinks(active, scene.system.system(), t, {}, forces);
            const ZqInteractionEnergy now = door.energy(active, scene.system.system());
            if (k == 0)
               start = now.linkSprings;
            lost += now.released;
            gap.turnover += std::abs(now.released);
            gap.add(now.linkSprings - start + lost - put);
            lost += now.linkDampers * dt;
            put -= forces[scene.index][1].moment().z() * (angleAt(t + dt) - angle);
         }
         return gap;
      };
      expectFirstOrder(swing, 1e-3);
   }
}

/// Runs a scene from outside: what its interactions tell at the start of each step.
OpenEnergy balance(const ContactScene& scene, Integrator integrator, ZqReal dt, ZqReal end)
{
   ZqSimulation::Settings settings;
   settings.integrator = integrator;
   settings.booksEnergy = true; // contacts tell all of what they lose to who keeps books alone
   ZqSimulation simulation(scene.system, settings);
   const ZqLinkInteractionsVector& interactions = scene.system.system().linkInteractionsVector();
   OpenEnergy gap;
   ZqReal start = 0.0;
   ZqReal lost = 0.0;
   ZqReal mostHeld = 0.0;
   const int count = static_cast<int>(std::lround(end / dt));
   for (int k = 0; k <= count; ++k)
   {
      const ZqInteractionEnergy now =
         interactions.energy(simulation.present(), simulation.system());
      const ZqReal held = simulation.energy().total() + now.contactSprings + now.linkSprings;
      if (k == 0)
         start = held;
      else
         lost += now.slipped + now.released;
      mostHeld = std::max(mostHeld, now.contactSprings);
      gap.turnover += std::abs(now.slipped) + std::abs(now.released);
      gap.add(held - start + lost);
      lost += (now.contactDampers + now.friction + now.linkDampers) * dt;
      gap.turnover += std::abs(now.contactDampers + now.friction + now.linkDampers) * dt;
      EXPECT_TRUE(simulation.stepTo((k + 1) * dt));
   }
   gap.turnover += mostHeld;
   return gap;
}

ContactMaterial elastic()
{
   ContactMaterial material;
   material.dissipation = material.settlingFraction = material.settlingRatio = 0.0;
   material.staticFriction = material.kineticFriction = 0.0;
   return material;
}

ContactMaterial twisting()
{
   ContactMaterial material;
   material.torsionRadius = 0.02;
   return material;
}

ContactScene onFloor(const SolidBody& body, const Frame& frame, const ZqGeneralMotion& velocity,
                     const ZqLinkCollisionForce& contact, const Frame& floor = {})
{
   ContactScene scene;
   scene.addFloor(floor);
   scene.addFree(body, frame, velocity);
   scene.setContact(contact);
   return scene;
}

/// Thrown onto the rim of a body that stands.
ContactScene onRim(const SolidBody& table, const SolidBody& body, const ContactMaterial& material)
{
   ContactScene scene;
   ZqIndividualManipulator base;
   base.setShape(*table.shape);
   base.setIsFixedBase(true);
   ZqPositionState position;
   position.setCoordSysXForm({ZqVector(0.0, 0.0, -0.2), ZqOrientation()});
   scene.add(base, position, {});
   scene.addFree(body, {{0.17, 0.0, 0.05}, ZqOrientation::exponential({0.3, 0.2, 0.4})},
                 {{0.3, 0.0, 0.0}, {2.0, 1.0, 3.0}});
   scene.setContact(material);
   return scene;
}

/// One law of friction in one law of contact.
template <class Law, class Friction>
ZqLinkCollisionForce lawOf(const Law& plain, const Friction& rubs)
{
   Friction friction = rubs;
   ZqFrictionCoefficientLookupTool& table = friction.frictionCoefficientLUT();
   table.setDefaultLinearTangentialStaticFrictionCoefficient(0.5);
   table.setDefaultLinearKineticFrictionCoefficient(0.4);
   if constexpr (requires { friction.setUseKineticFriction(true); })
   {
      friction.setUseStaticFriction(true);
      friction.setUseKineticFriction(true);
   }
   ZqDissipativeForceProcessorContainer container;
   container.setTopElement(friction);
   Law law = plain;
   law.setDissipativeForceProcessorContainer(container);
   law.setUseFriction(true);
   law.setDefaultSpringConstant(1e5);
   return zqTest::contactOf(law);
}

TEST(InteractionEnergy, OfContactsLeavesWhatIsTheIntegrators)
{
   const ZqVector brick(0.1, 0.05, 0.03);
   const ZqVector table(0.2, 0.2, 0.2);
   const ContactMaterial rough;
   const Frame slope({}, ZqOrientation::yRotation(0.3));
   const Frame tilted({0.0, 0.0, 0.15}, ZqOrientation::exponential({0.6, 0.3, 0.1}));
   const ZqGeneralMotion thrown({1.0, 0.5, 0.0}, {8.0, 6.0, 3.0});
   const struct
   {
      const char* what;
      ContactScene scene;
      ZqReal end; ///< s
   } cases[]{
      {"a ball without losses",
       onFloor(zqTest::solidSphere(1.0, 0.1), Frame({0.0, 0.0, 0.15}), {},
               zqTest::contactOf(elastic())),
       0.35},
      {"a ball that falls",
       onFloor(zqTest::solidSphere(1.0, 0.1), Frame({0.0, 0.0, 0.15}), {},
               zqTest::contactOf(rough)),
       0.5},
      {"a ball that spins",
       onFloor(zqTest::solidSphere(1.0, 0.1), Frame({0.0, 0.0, 0.0999}),
               {{1.0, 0.0, 0.0}, {0.0, -5.0, 20.0}}, zqTest::contactOf(twisting())),
       0.5},
      {"a block that slides to rest",
       onFloor(zqTest::solidBox(1.0, brick), Frame({0.0, 0.0, 0.0299}),
               {{1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}}, zqTest::contactOf(rough)),
       0.5},
      {"a block that sticks on a slope",
       onFloor(zqTest::solidBox(1.0, brick), slope * Frame({0.0, 0.0, 0.0302}), {},
               zqTest::contactOf(rough), slope),
       0.3},
      {"a box that lands on an edge",
       onFloor(zqTest::solidBox(1.0, brick), Frame({0.0, 0.0, 0.1}, ZqOrientation::xRotation(0.6)),
               {{1.0, 0.0, 0.0}, {1.0, 0.0, 0.0}}, zqTest::contactOf(rough)),
       0.5},
      {"a hull that tumbles",
       onFloor(zqTest::solidHull(1.0, brick), tilted, thrown, zqTest::contactOf(rough)), 0.5},
      {"a coin that rolls round",
       onFloor(zqTest::solidCylinder(1.0, 0.05, 0.01),
               Frame({0.0, 0.0, 0.055}, ZqOrientation::xRotation(1.2)),
               {{0.3, 0.0, 0.0}, {0.0, 0.0, 10.0}}, zqTest::contactOf(rough)),
       0.5},
      {"a brick on the rim of a cylinder",
       onRim(zqTest::solidCylinder(1.0, 0.2, 0.2), zqTest::solidBox(1.0, brick), rough), 0.5},
      {"a disc on the rim of a box",
       onRim(zqTest::solidBox(1.0, table), zqTest::solidCylinder(1.0, 0.05, 0.01), rough), 0.5},
      {"a hull on the rim of a hull, without losses",
       onRim(zqTest::solidHull(1.0, table), zqTest::solidHull(1.0, brick), elastic()), 0.5},
      {"friction at one point",
       onFloor(zqTest::solidBox(1.0, brick), tilted, {},
               lawOf(ZqPointContactForceProcessor(), ZqDissipativeForceProcessor())),
       0.3},
      {"a law of one patch",
       onFloor(zqTest::solidBox(1.0, brick), tilted, {},
               lawOf(ZqMassSpringCollisionForceProcessor(), ZqDryFrictionForceProcessor())),
       0.3},
      {"a law of one point, with ours of friction",
       onFloor(zqTest::solidBox(1.0, brick), tilted, {},
               lawOf(ZqMassSpringDamperCollisionForceProcessor(), ZqPointFrictionForceProcessor())),
       0.3}};
   for (const auto& c : cases)
   {
      SCOPED_TRACE(c.what);
      expectFirstOrder([&](ZqReal dt)
                       { return balance(c.scene, Integrator::SemiImplicitEuler, dt, c.end); },
                       1e-4);
   }
}
} // namespace
