#include "support/allocationCount.h"
#include "support/collisionForceTruth.h"
#include "support/comparison.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/contact/forces/ZqMassSpringDamperCollisionForceProcessor.h"
#include "zqManipulator/contact/forces/ZqShapeCollisionEvent.h"
#include "zqManipulator/contact/friction/ZqDryFrictionForceProcessor.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <gtest/gtest.h>

#include <map>

namespace
{
using zqTest::Comparison;
using zqTest::LogCapture;
using zqTest::RandomValues;
namespace truth = zqTest::collision;
using MassSpring = ZqMassSpringCollisionForceProcessor;
using MassSpringDamper = ZqMassSpringDamperCollisionForceProcessor;
using Forces = ZqXmlVectorType<ZqManipulatorExternalForce>;
using Torques = ZqXmlVectorType<ZqManipulatorTorque>;

truth::V plainVector(const ZqVector& v)
{
   return {v.x(), v.y(), v.z()};
}
truth::M plainAxes(const ZqOrientation& q)
{
   return truth::columns(plainVector(q.xAxis()), plainVector(q.yAxis()), plainVector(q.zAxis()));
}

/// Answers what it is told to, and keeps what it was asked.
class ToldFriction : public ZqXmlClass<ToldFriction, ZqBaseDissipativeForceProcessor>
{
public:
   struct Talk
   {
      int calls = 0;
      bool succeeds = true;
      ZqDissipativeForceInput input;
      ZqDissipativeForceOutput output;
   };
   static const ZqToken& classToken() { return ZqManip::ZqDissipativeForceProcessorToken; }
   bool operator==(const ToldFriction&) const = default;
   bool process(const ZqDissipativeForceInput& input,
                ZqDissipativeForceOutput& output) const override
   {
      ++talk->calls;
      talk->input = input;
      output = talk->output;
      return talk->succeeds;
   }
   Talk* talk = nullptr;
};

ZqDataMap randomSurface(RandomValues& random)
{
   ZqDataMap values;
   if (random.index(0, 3) != 0)
      values.add("surfaceTensionSpringConstant", random.real(1e3, 1e5));
   if (random.index(0, 3) != 0)
      values.add("zqSurfaceTensionDamperConstant",
                 random.index(0, 2) == 0 ? 0.0 : random.real(0.0, 50.0));
   if (random.index(0, 1) == 0)
      values.add("zqSurfaceTensionSpringExponent", random.real(0.5, 2.5));
   if (random.index(0, 1) == 0)
      values.add("surfaceMaterialType", random.index(0, 1) == 0 ? "steel" : "wood");
   return values;
}
ZqShape::Surfaces randomSurfaces(RandomValues& random)
{
   ZqShape::Surfaces surfaces;
   for (const char* key : {"0", "7", "No surface found"})
      if (random.index(0, 2) == 0)
         surfaces.add(key, randomSurface(random));
   return surfaces;
}

/// Two manipulators of a base and a link each, with shapes, and records of contacts between them.
class LawScene
{
public:
   explicit LawScene(RandomValues& r) : random(r)
   {
      for (ZqU32 m = 0; m < 2; ++m)
      {
         ZqIndividualManipulator arm = zqTest::randomManipulator(random, 1);
         arm.setManipulatorLabel("arm" + std::to_string(m));
         for (const ZqU32 link : {0U, ZqBaseLinkIndex})
         {
            ZqSphere shape(ZqVector(), 1.0);
            shape.setSurfaces(randomSurfaces(random));
            shape.setIsContactForceFree(random.index(0, 9) == 0);
            arm.linkByIndex(link)->setShape(shape);
         }
         arm.ZqIndividualManipulator::setSurfaces(randomSurfaces(random));
         system.addManipulator(arm);
      }
      system.mapManipulators();
      active.setNumManipulators(2);
      forces.resize(2);
      for (ZqManipulatorExternalForce& force : forces)
         force.resize(1);
   }

   void move()
   {
      for (ZqU32 m = 0; m < 2; ++m)
      {
         const ZqIndividualManipulator& arm = system.manipulators()[m];
         ZqManipulatorActiveState& state = active.manipulatorActiveStateVector()[m];
         state.setPositionState(zqTest::randomPosition(random, arm));
         ZqVelocityState velocity = state.velocityState();
         const ZqReal last =
            velocity.jointVelocities().size() > 0 ? velocity.jointVelocities()[0] : 0.0;
         const ZqU32 kind = random.index(0, 4);
         const ZqReal back = kind == 1 ? -1.0 : 0.0;
         velocity.setJointVelocities(
            ZqXmlVectorBasicType<ZqReal>{kind > 1 ? random.real() : last * back});
         velocity.setGeneralVelocity(kind > 1 ? ZqGeneralMotion(random.vector(), random.vector())
                                              : velocity.generalVelocity() * back);
         state.setVelocityState(velocity);
         for (const ZqU32 link : {0U, ZqBaseLinkIndex})
         {
            forces[m][link] = randomForce();
            ZqExternalForceDescription description;
            description.setValid(random.index(0, 1) == 0);
            description.setExternalLinkForce(randomForce());
            description.setForceApplicationPoint(random.vector());
            state.activeForceState().setExternalForceDescription(link, description);
         }
      }
   }
   ZqGeneralForce randomForce() { return {random.vector(), random.vector()}; }
   const ZqManipulatorLink& link(const ZqShapeKey& key) const
   {
      return *system.manipulators()[key.manipulatorIndex()].linkByIndex(key.linkIndex());
   }
   ZqManipulatorActiveState& state(const ZqShapeKey& key)
   {
      return active.manipulatorActiveStateVector()[key.manipulatorIndex()];
   }
   ZqShapeKey randomKey()
   {
      return {random.index(0, 1), random.index(0, 1) == 0 ? 0 : ZqBaseLinkIndex,
              random.index(0, 9) == 0 ? 5U : 0U};
   }

   RandomValues& random;
   ZqManipulatorSystem system;
   ZqSystemActiveState active;
   Forces forces;
};

/// Up to eight points, most of them in a plane, some near each other or on a line.
ZqContactManifold randomManifold(RandomValues& random)
{
   ZqContactManifold manifold;
   manifold.separation = random.index(0, 9) == 0 ? 0.0 : random.real(-0.1, 0.02);
   manifold.normal = random.unitVector();
   manifold.count = static_cast<int>(random.index(0, ZqContactManifold::capacity));
   const ZqVector middle = random.vector();
   const ZqVector x = manifold.normal.cross(random.unitVector()).unitVector();
   const ZqVector y = manifold.normal.cross(x);
   const ZqReal breadth = random.index(0, 3) == 0 ? 0.005 : 0.3;
   const ZqReal roughness = random.index(0, 3) == 0 ? 0.03 : 0.0;
   for (int i = 0; i < manifold.count; ++i)
   {
      ZqContactPoint& point = manifold.points[i];
      point.separation = random.real(-0.1, 0.02);
      point.point1 =
         middle + random.real() * 0.3 * x + random.real() * breadth * y + random.vector(roughness);
      point.point2 = point.point1 + point.separation * manifold.normal + random.vector(roughness);
   }
   return manifold;
}

/// The record of two sides with all that the links and the collision tool would tell.
ZqShapeCollisionData& randomRecord(LawScene& scene, const ZqShapeKey (&keys)[2])
{
   RandomValues& random = scene.random;
   ZqShapeCollisionData& data = scene.active.systemShapeCollisionCache().lookAt(keys[0], keys[1]);
   data.startAnew();
   ZqCoordinateSystemTransformation frames[2];
   for (int i = 0; i < 2; ++i)
   {
      const ZqManipulatorLink& link = scene.link(keys[i]);
      frames[i] = link.primaryFrameInSystem(scene.state(keys[i]).activePositionState());
      data.setLinkPointer(keys[i], &link);
      data.setClosestPointIndex(keys[i], random.index(0, 1) * 7);
      data.setCollisionPointPrimaryObject(keys[i], random.vector());
      data.setVelocityPrimaryObject(keys[i], {random.vector(), random.vector()});
      data.setLastVelocityPrimaryObject(keys[i], {random.vector(), random.vector()});
      data.memory().stickPoint[i] = random.vector();
      data.memory().stickFrame[i] = zqTest::randomFrame(random);
   }
   data.setManifold(randomManifold(random), zqConvex::pose(frames[0].inverse() * frames[1]));
   data.setCollisionNormal(random.index(0, 3) == 0
                              ? random.unitVector()
                              : frames[0].orientation() * data.normalInPrimary1());
   data.setLineOfAction(random.unitVector());
   data.setFrictionMode(static_cast<ZqFrictionMode>(random.index(0, 3)));
   return data;
}

/// What a side's surface is called, and its values, which may be null.
std::pair<ZqString, const ZqDataMap*> surfaceOf(const LawScene& scene, const ZqShapeKey& key,
                                                ZqU32 feature)
{
   const ZqIndividualManipulator& arm = scene.system.manipulators()[key.manipulatorIndex()];
   const ZqShape::Surfaces* own =
      key.shapeIndex() == 0 ? &scene.link(key).shape()->surfaces() : nullptr;
   ZqString name = "No surface found";
   if (own != nullptr)
      name = own->lookupPointer(std::to_string(feature)) ? std::to_string(feature) : "0";
   std::vector<const ZqShape::Surfaces*> places{own};
   if (key.linkIndex() == ZqBaseLinkIndex)
      for (const ZqShape::Surfaces* place :
           {&arm.surfaces(), &arm.shape()->surfaces(), &arm.linkByIndex(0)->shape()->surfaces()})
         places.push_back(place);
   else
      places.push_back(&scene.link(key).shape()->surfaces());
   for (const ZqShape::Surfaces* place : places)
      if (place != nullptr && place->lookupPointer(name) != nullptr)
         return {name, place->lookupPointer(name)};
   return {name, nullptr};
}
ZqReal valueOf(const ZqDataMap* values, const char* name, ZqReal fallback)
{
   if (values != nullptr)
      values->lookup(name, fallback);
   return fallback;
}
ZqString materialOf(const LawScene& scene, const ZqShapeKey& key, const ZqString& surface)
{
   ZqString material = "metal";
   const ZqDataMap* values =
      key.shapeIndex() == 0 ? scene.link(key).shape()->surfaces().lookupPointer(surface) : nullptr;
   if (values != nullptr)
      values->lookup("surfaceMaterialType", material);
   return material;
}

truth::Contact plainContact(LawScene& scene, const ZqShapeCollisionData& data,
                            const MassSpring& law)
{
   truth::Contact contact;
   const ZqDataMap* surfaces[2];
   for (ZqU32 i = 0; i < 2; ++i)
   {
      const ZqShapeKey& key = i == 0 ? data.key1() : data.key2();
      truth::Side& side = contact.side[i];
      const ZqManipulatorLink& link = scene.link(key);
      const auto& frame = link.primaryFrameInSystem(scene.state(key).activePositionState());
      const ZqGeneralMotion& velocity = link.primaryFrameVelocityInSystem(scene.state(key));
      side.x = plainVector(frame.translation());
      side.R = plainAxes(frame.orientation());
      side.v = plainVector(velocity.linear());
      side.w = plainVector(velocity.angular());
      side.contactPoint = plainVector(i == 0 ? data.contactPointRel1() : data.contactPointRel2());
      for (ZqU32 j = 0; j < data.numPenetrationPoints(); ++j)
         if (data.contactPoint(j).separation < 0.0)
            side.points.push_back(plainVector(data.penetrationPointPrimary(i, j)));
      surfaces[i] = surfaceOf(scene, key, data.closestPointIndex(key)).second;
   }
   const auto both = [&](const char* name, ZqReal fallback) {
      return std::pair(valueOf(surfaces[0], name, fallback), valueOf(surfaces[1], name, fallback));
   };
   const auto [ka, kb] = both("surfaceTensionSpringConstant", law.defaultSpringConstant());
   const auto [ca, cb] = both("zqSurfaceTensionDamperConstant", law.defaultDamperConstant());
   const auto [ea, eb] = both("zqSurfaceTensionSpringExponent", law.defaultSpringExponent());
   contact.k = 1.0 / (1.0 / ka + 1.0 / kb);
   contact.c = ca * cb == 0.0 ? 0.0 : 1.0 / (1.0 / ca + 1.0 / cb);
   contact.e = (ea + eb) / 2.0;
   contact.n = plainVector(data.collisionNormal());
   contact.separation = data.separationDistance();
   contact.torsionShare = law.torsionalRepulsionContributionFactor();
   truth::estimatePatches(contact);
   return contact;
}

class RecordTest
{
public:
   void run(LawScene& scene, MassSpring& law, bool isDamped, ToldFriction::Talk& talk)
   {
      ZqShapeKey keys[2]{scene.randomKey(), scene.randomKey()};
      while (keys[0].linkKey() == keys[1].linkKey())
         keys[1] = scene.randomKey();
      scene.move();
      ZqShapeCollisionData& data = randomRecord(scene, keys);
      talk.calls = 0;
      talk.succeeds = scene.random.index(0, 19) != 0;
      talk.output.setInStaticFrictionMode(scene.random.index(0, 1) == 0);
      talk.output.setBody1ForcePrimary(scene.randomForce());
      talk.output.setBody2ForcePrimary(scene.randomForce());
      law.setUseFriction(scene.random.index(0, 3) != 0);
      law.setTorsionalRepulsionContributionFactor(scene.random.real(0.0, 1.5));

      const ZqShapeCollisionData before = data;
      const Forces forces = scene.forces;
      ZqExternalForceDescription described[2];
      for (int i = 0; i < 2; ++i)
         described[i] =
            scene.state(keys[i]).activeForceState().externalForceDescription(keys[i].linkIndex());
      expect("process", law.process(data, scene.active, Torques(), scene.forces, 0.5));

      const bool isInert = isFree(scene, keys[0]) || isFree(scene, keys[1]);
      const truth::Contact contact = plainContact(scene, before, law);
      truth::Outcome outcome;
      if (!isInert && contact.separation < 0.0)
         outcome = isDamped ? truth::massSpringDamper(contact) : truth::massSpring(contact);
      const bool rubs = !isInert && law.useFriction();
      expect("calls of friction", talk.calls == (rubs ? 1 : 0));
      if (rubs)
         checkFriction(scene, before, data, law, talk, outcome.press);
      else
         expect("memory without friction", data.memory() == before.memory());

      const bool isRubbed = rubs && talk.succeeds;
      const ZqReal scale = 1.0 / (contact.k + contact.c);
      for (int i = 0; i < 2; ++i)
      {
         const ZqGeneralForce friction = !isRubbed ? ZqGeneralForce()
                                                   : (i == 0 ? talk.output.body1ForcePrimary()
                                                             : talk.output.body2ForcePrimary());
         checkSide(scene, keys[i], isInert,
                   i == 0 ? data.contactPointRel1() : data.contactPointRel2(), outcome.on[i],
                   friction, described[i], forces, scale);
         if (i == 0)
         {
            compare("response", data.response().normalForce,
                    truth::operator*(contact.side[0].R, outcome.on[0].force), scale);
            compare("friction's response", data.response().frictionForce,
                    truth::operator*(contact.side[0].R, plainVector(friction.force())), 1.0);
         }
      }
   }
   /// The patches, and what they do to each other when neither is smaller or one is.
   void runRegions(LawScene& scene, const MassSpring& law)
   {
      const ZqShapeKey keys[2]{{0, 0, 0}, {1, 0, 0}};
      scene.move();
      ZqShapeCollisionData& data = randomRecord(scene, keys);
      truth::Contact contact = plainContact(scene, data, law);
      const ZqCoordinateSystemTransformation* frames[2];
      const ZqGeneralMotion* velocities[2];
      for (int i = 0; i < 2; ++i)
      {
         const ZqManipulatorLink& link = scene.link(keys[i]);
         frames[i] = &link.primaryFrameInSystem(scene.state(keys[i]).activePositionState());
         velocities[i] = &link.primaryFrameVelocityInSystem(scene.state(keys[i]));
      }
      ZqContactRegion regions[2];
      const ZqVector n = data.collisionNormal();
      expect("regions",
             law.estimateContactSurface(n, *frames[0], *frames[1], data, regions[0], regions[1]));
      const ZqReal moments[2]{scene.random.real(0.0, 0.1), scene.random.real(0.0, 0.1)};
      for (int i = 0; i < 2; ++i)
      {
         truth::Patch& patch = contact.side[i].patch;
         const auto& frame = regions[i].contactFrame();
         compare("middle of a patch", frame.translation(), patch.middle, 1.0);
         compare("x of a patch", frame.orientation().xAxis(), truth::column(patch.axes, 0), 1.0);
         compare("y of a patch", frame.orientation().yAxis(), truth::column(patch.axes, 1), 1.0);
         compare("moments of a patch",
                 {regions[i].momentX(), regions[i].momentY(), regions[i].momentZ()},
                 {patch.momentX, patch.momentY, 0.0}, 1.0);
         patch.momentX = moments[i];
         patch.momentY = moments[scene.random.index(0, 1)];
         regions[i].setMomentX(patch.momentX);
         regions[i].setMomentY(patch.momentY);
      }
      ZqGeneralForce force[2];
      truth::Wrench expected[2];
      ZqReal ratio = scene.random.real();
      law.computeTorsionalForceResponse(n, regions[0], regions[1], contact.k, contact.c,
                                        *velocities[0], *velocities[1], *frames[0], *frames[1],
                                        force[0], force[1], ratio);
      comparison("share of torsion", ratio, truth::torsion(contact, expected));
      for (int i = 0; i < 2; ++i)
      {
         compare("force of torsion", force[i].force(), expected[i].force,
                 1.0 / (contact.k + contact.c));
         compare("moment of torsion", force[i].moment(), expected[i].moment,
                 1.0 / (contact.k + contact.c));
      }
   }
   void finish()
   {
      comparison.expectWithin(1e-11L);
      for (const auto& [name, count] : faults)
         ADD_FAILURE() << name << " of " << count << " records";
   }

private:
   static bool isFree(const LawScene& scene, const ZqShapeKey& key)
   {
      return key.shapeIndex() == 0 && scene.link(key).shape()->isContactForceFree();
   }
   void expect(const char* name, bool holds)
   {
      if (!holds)
         ++faults[name];
   }
   void compare(const char* name, const ZqVector& value, const truth::V& expected, ZqReal scale)
   {
      for (std::size_t i = 0; i < 3; ++i)
         comparison(name, value[i] * scale, expected[i] * scale);
   }

   void checkFriction(LawScene& scene, const ZqShapeCollisionData& before,
                      const ZqShapeCollisionData& data, const MassSpring& law,
                      const ToldFriction::Talk& talk, const truth::V& press)
   {
      const ZqDissipativeForceInput& input = talk.input;
      const bool isNew = before.frictionMode() == ZqFrictionMode::NewContact;
      const bool wasStatic = before.frictionMode() != ZqFrictionMode::Kinetic;
      ZqContactMemory here = before.memory();
      const ZqShapeKey keys[2]{data.key1(), data.key2()};
      for (int i = 0; i < 2; ++i)
      {
         here.stickPoint[i] =
            i == 0 ? data.collisionPointPrimaryObject1() : data.collisionPointPrimaryObject2();
         here.stickFrame[i] =
            scene.link(keys[i]).primaryFrameInSystem(scene.state(keys[i]).activePositionState());
      }
      const ZqContactMemory& start = isNew ? here : before.memory();
      ZqDissipativeForceInput wanted = input;
      wanted.setInStaticFrictionMode(wasStatic);
      wanted.setLastBody1Velocity(before.lastVelocityPrimaryObject1());
      wanted.setLastBody2Velocity(before.lastVelocityPrimaryObject2());
      wanted.setBody1Velocity(before.velocityPrimaryObject1());
      wanted.setBody2Velocity(before.velocityPrimaryObject2());
      wanted.setPrimaryFrame1InSystem(here.stickFrame[0]);
      wanted.setPrimaryFrame2InSystem(here.stickFrame[1]);
      wanted.setStaticStartCollisionPointInPrimary1(start.stickPoint[0]);
      wanted.setStaticStartCollisionPointInPrimary2(start.stickPoint[1]);
      wanted.setStaticStartPrimaryFrame1InSystem(start.stickFrame[0]);
      wanted.setStaticStartPrimaryFrame2InSystem(start.stickFrame[1]);
      wanted.setCollisionNormalInSystem(before.lineOfAction());
      wanted.setCurrentCollisionPointInPrimary2(before.contactPointRel2());
      wanted.setActionRadius(law.actionRadius());
      wanted.setLinearInertiaAlongNormal(law.linearInertia());
      wanted.setAngularInertiaAboutNormal(law.angularInertia());
      expect("input of friction", input == wanted);
      compare("press", input.normalForceInSystem(), press, 1e-4);
      for (int i = 0; i < 2; ++i)
      {
         const ZqString name = surfaceOf(scene, keys[i], data.closestPointIndex(keys[i])).first;
         expect("material", (i == 0 ? input.body1MaterialType() : input.body2MaterialType()) ==
                               materialOf(scene, keys[i], name));
      }
      const bool sticks = talk.output.inStaticFrictionMode();
      ZqContactMemory after =
         isNew || (talk.succeeds && sticks && !wasStatic) ? here : before.memory();
      if (talk.succeeds)
         after.frictionMode = sticks ? ZqFrictionMode::Static : ZqFrictionMode::Kinetic;
      else if (isNew)
         after.frictionMode = ZqFrictionMode::Static;
      expect("memory after friction", data.memory() == after);
   }
   void checkSide(LawScene& scene, const ZqShapeKey& key, bool isInert,
                  const ZqVector& contactPoint, truth::Wrench expected,
                  const ZqGeneralForce& friction, const ZqExternalForceDescription& described,
                  const Forces& forces, ZqReal scale)
   {
      truth::addTo(expected, 1.0, {plainVector(friction.force()), plainVector(friction.moment())});
      const ZqCoordinateSystemTransformation& X = scene.link(key).primaryFrame();
      const truth::M R = plainAxes(X.orientation());
      const truth::V force = truth::operator*(R, expected.force);
      const truth::V moment = truth::operator+(truth::operator*(R, expected.moment),
                                               truth::cross(plainVector(X.translation()), force));
      const ZqU32 link = key.linkIndex();
      const ZqGeneralForce added =
         scene.forces[key.manipulatorIndex()][link] - forces[key.manipulatorIndex()][link];
      compare("force", added.force(), isInert ? truth::V{} : force, scale);
      compare("moment", added.moment(), isInert ? truth::V{} : moment, scale);

      const ZqExternalForceDescription& told =
         scene.state(key).activeForceState().externalForceDescription(link);
      expect("validity of the description", told.valid());
      ZqGeneralForce share = told.externalLinkForce();
      ZqVector point = contactPoint;
      if (described.valid())
      {
         share -= described.externalLinkForce();
         point = described.forceApplicationPoint() + contactPoint;
      }
      compare("described force", share.force(), force, scale);
      compare("described moment", share.moment(), moment, scale);
      expect("point of application", told.forceApplicationPoint() == point);
   }

   Comparison comparison;
   std::map<std::string, int> faults;
};

TEST(CollisionForces, AgreeWithPlainNumbersOverRandomRecords)
{
   const LogCapture log;
   RandomValues random(11);
   RecordTest test;
   ToldFriction::Talk talk;
   ToldFriction friction;
   friction.talk = &talk;
   MassSpring massSpring;
   MassSpringDamper massSpringDamper;
   for (int i = 0; i < 200; ++i)
   {
      LawScene scene(random);
      const bool isDamped = i % 2 == 1;
      MassSpring& law = isDamped ? massSpringDamper : massSpring;
      law.setDissipativeForceProcessor(friction);
      law.setActionRadius(random.real(0.1, 1.0));
      law.setLinearInertia(random.real(0.1, 1.0));
      law.setAngularInertia(random.real(0.1, 1.0));
      law.setDefaultDamperConstant(random.index(0, 1) == 0 ? 0.0 : 10.0);
      for (int j = 0; j < 500; ++j)
         test.run(scene, law, isDamped, talk);
      for (int j = 0; j < 100; ++j)
         test.runRegions(scene, law);
   }
   test.finish();
   EXPECT_TRUE(
      log.contains("ZqMassSpringCollisionForceProcessor::process-->Invalid friction mode"));
   EXPECT_TRUE(log.contains(
      "ZqMassSpringCollisionForceProcessor::process computeFrictionForce-->returned ZqFalse"));
}

/// A scene whose first record overlaps by 0.01 m at one point, and whose shapes make forces.
struct Touch
{
   explicit Touch(ZqU32 seed) : random(seed), scene(random)
   {
      scene.move();
      ZqContactManifold manifold;
      manifold.separation = manifold.points[0].separation = -0.01;
      manifold.count = 1;
      data = &randomRecord(scene, keys);
      data->setManifold(manifold, {});
   }
   bool process(const MassSpring& law)
   {
      return law.process(*data, scene.active, Torques(), scene.forces, 0.5);
   }

   const ZqShapeKey keys[2]{{0, 0, 5}, {1, 0, 5}};
   RandomValues random;
   LawScene scene;
   ZqShapeCollisionData* data = nullptr;
};

template <class Law>
struct FailingLaw : Law
{
   bool estimateContactSurface(const ZqVector&, const ZqCoordinateSystemTransformation&,
                               const ZqCoordinateSystemTransformation&, ZqShapeCollisionData&,
                               ZqContactRegion&, ZqContactRegion&) const override
   {
      return false;
   }
   bool computeRepulsionForce(const ZqShapeCollisionData&, const ZqContactRegion&,
                              const ZqContactRegion&, ZqSystemActiveState&, ZqVector&,
                              ZqGeneralForce&, ZqGeneralForce&) const override
   {
      return false;
   }
   bool computeFrictionForce(const ZqReal&, const ZqVector&, ZqSystemActiveState&,
                             ZqShapeCollisionData&, ZqGeneralForce&, ZqGeneralForce&) const override
   {
      return false;
   }
};

TEST(CollisionForces, GoOnAfterStagesThatFailAndTellThem)
{
   const std::string begin = "ZqMassSpringCollisionForceProcessor::process";
   const std::string friction = begin + " computeFrictionForce-->returned ZqFalse\n";
   FailingLaw<MassSpring> failing;
   FailingLaw<MassSpringDamper> damped;
   damped.setDefaultSpringConstant(zqTest::infinity); // and the rest of its numbers are no numbers
   const struct
   {
      MassSpring& law;
      std::string messages;
      bool isZero;
   } cases[]{
      {failing,
       begin + "  estimateContactSurface-->returned ZqFalse\n" + begin +
          "  computeRepulsionForce-->returned ZqFalse\n" + friction,
       true},
      {damped,
       "ZqMassSpringDamperCollisionForceProcessor::process-->link1 force computation error\n" +
          friction,
       false}};
   for (const auto& [law, messages, isZero] : cases)
   {
      Touch touch(3);
      law.setUseFriction(true);
      const Forces before = touch.scene.forces;
      const LogCapture log;
      EXPECT_TRUE(touch.process(law));
      EXPECT_EQ(log.text(), messages);
      for (const LogCapture::Message& message : log.messages())
         EXPECT_EQ(message.type, Zq::Rejected);
      EXPECT_EQ(touch.scene.forces == before, isZero);
      ZqSystemShapeCollisionCache& cache = touch.scene.active.systemShapeCollisionCache();
      cache.resetNextCollisionData();
      EXPECT_EQ(cache.nextCollisionData(), touch.data);
   }
}

TEST(CollisionForces, LeaveRecordsAloneThatLackLinksOrStates)
{
   for (const bool lacksLink : {true, false})
   {
      Touch touch(4);
      MassSpring law;
      law.setUseFriction(true);
      law.setDissipativeForceProcessor(ZqDryFrictionForceProcessor());
      const Forces before = touch.scene.forces;
      if (lacksLink)
         touch.data->setLinkPointer(touch.keys[1], nullptr);
      else
         touch.scene.active.setNumManipulators(1);
      const ZqContactMemory memory = touch.data->memory();
      EXPECT_TRUE(touch.process(law));
      EXPECT_EQ(touch.scene.forces, before);
      EXPECT_TRUE(touch.data->memory() == memory);
   }
}

TEST(CollisionForces, AllocateNothing)
{
   Touch touch(5);
   MassSpring massSpring;
   MassSpringDamper massSpringDamper;
   for (MassSpring* law : {&massSpring, static_cast<MassSpring*>(&massSpringDamper)})
   {
      law->setUseFriction(true);
      law->setDissipativeForceProcessor(ZqDryFrictionForceProcessor());
      touch.data->setFrictionMode(ZqFrictionMode::NewContact);
      touch.process(*law);
      const zqTest::AllocationCount allocations;
      touch.process(*law);
      EXPECT_EQ(allocations.count(), 0U);
   }
}

TEST(CollisionForces, OfferStepsToDerivedLaws)
{
   Touch touch(6);
   MassSpring law;
   const ZqShapeKey& key = touch.keys[0];
   const ZqManipulatorLink& link = touch.scene.link(key);
   ZqManipulatorActivePositionState& position = touch.scene.state(key).activePositionState();
   const ZqVector point(0.1, 0.2, -0.3);
   const ZqVector linear(1.0, -2.0, 3.0);
   ZqGeneralForce sum;
   ZqShapeCollisionEvent event;
   for (int i = 0; i < 2; ++i)
      law.applyForceToLink(link, position, point,
                           link.primaryFrameInSystem(position).orientation() * linear, sum, event);
   const ZqGeneralForce expected(linear, point.cross(linear));
   EXPECT_TRUE(event.force().approxEq(expected, 1e-14));
   EXPECT_EQ(event.point(), point);
   EXPECT_TRUE(sum.approxEq(expected * 2.0, 1e-14));
}

TEST(CollisionForces, CombineConstantsOfTwoSurfaces)
{
   const MassSpring law;
   for (const ZqReal c : {0.0, 3.0})
   {
      ZqDataMap a;
      ZqDataMap b;
      a.add("zqSurfaceTensionDamperConstant", c);
      b.add("zqSurfaceTensionDamperConstant", -c);
      EXPECT_EQ(law.getDamperConstant(&a, &b), 0.0);
   }
}

} // namespace
