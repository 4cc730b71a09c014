#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "support/wholeScene.h"
#include "support/xmlSamples.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

// Random edits of random scenes. After each, the scene is as one that is made afresh from its document.

namespace
{
using zqTest::RandomValues;
using Manipulator = ZqIndividualManipulator;

/// A scene under edits, and what they are made of.
struct Edited
{
   explicit Edited(ZqU32 seed) : random(seed), scene(zqTest::wholeScene(random).system) {}

   ZqU32 count() const { return scene.numberOfManipulators(); }
   const Manipulator& at(ZqU32 i) const { return *scene.manipulatorByIndex(i); }
   ZqU32 someManipulator() { return random.index(0, count() - 1); }
   /// By its label; the base may be one.
   ZqString someLink(ZqU32 i)
   {
      const ZqU32 n = at(i).jointDof();
      const ZqU32 j = random.index(0, n);
      return (j == n ? at(i).concreteReference() : *at(i).linkByIndex(j)).linkLabel();
   }
   /// The same but for the base, whose reach depends on a drive that documents do not have.
   ZqString someJoint(ZqU32 i)
   {
      const ZqU32 n = at(i).jointDof();
      return n == 0 ? ZqString("none") : at(i).linkByIndex(random.index(0, n - 1))->linkLabel();
   }
   ZqString newLabel() { return "new" + std::to_string(++last); }
   ZqManipulatorLink newLink()
   {
      ZqManipulatorLink link = zqTest::randomLink(random);
      link.setLinkLabel(newLabel());
      return link;
   }
   Manipulator newManipulator()
   {
      Manipulator manipulator = zqTest::randomManipulator(random, random.index(0, 4));
      manipulator.setManipulatorLabel(newLabel());
      manipulator.fitAbsoluteBoundingSphere(); // for the joint of the base
      return manipulator;
   }
   /// Of a manipulator that has such a link.
   bool edit(ZqU32 i, const std::function<void(Manipulator&)>& change)
   {
      return scene.editManipulator(i, change);
   }

   RandomValues random;
   ZqStatedSystem scene;
   ZqU32 last = 0;
   std::vector<ZqString> combined; ///< labels of what was combined
};

/// An edit that may be refused.
struct Operation
{
   const char* name;
   void (*apply)(Edited& e, ZqU32 i);
};

const Operation operations[]{
   {"addManipulator",
    [](Edited& e, ZqU32)
    {
       const Manipulator m = e.newManipulator();
       ZqVelocityState velocity;
       velocity.setJointVelocities(ZqRealVector(m.jointDof(), 0.1));
       e.scene.addManipulator(m, zqTest::randomPosition(e.random, m), velocity);
    }},
   {"addManipulator without state",
    [](Edited& e, ZqU32) { e.scene.addManipulator(e.newManipulator()); }},
   {"exchangeManipulator",
    [](Edited& e, ZqU32 i)
    {
       // Of the same links: what speaks of others stays, as it is told.
       Manipulator m(e.at(i).concreteReference());
       m.setManipulatorReferenceDescription({});
       m.setCoordSysXForm(zqTest::randomFrame(e.random));
       ZqVelocityState velocity;
       velocity.setJointVelocities(ZqRealVector(m.jointDof(), 0.2));
       e.scene.exchangeManipulator(i, m, zqTest::randomPosition(e.random, m), velocity);
    }},
   {"removeManipulator", [](Edited& e, ZqU32 i) { e.scene.removeManipulator(i); }},
   {"deleteManipulator", [](Edited& e, ZqU32 i) { e.scene.deleteManipulator(i); }},
   {"changeManipulatorLabel", [](Edited& e, ZqU32 i)
    { e.scene.changeManipulatorLabel(e.at(i).manipulatorLabel(), e.newLabel()); }},
   {"changeManipulatorLabel to one that is taken",
    [](Edited& e, ZqU32 i)
    {
       e.scene.changeManipulatorLabel(e.at(i).manipulatorLabel(),
                                      e.at(e.someManipulator()).manipulatorLabel());
    }},
   {"addShapeAsManipulator",
    [](Edited& e, ZqU32)
    {
       e.scene.addShapeAsManipulator(ZqSphere(e.random.vector(), 0.1),
                                     zqTest::randomFrame(e.random), e.newLabel(), {});
    }},
   {"mergeWith",
    [](Edited& e, ZqU32 i)
    {
       // Exclusions of what is appended are told to go elsewhere.
       ZqStatedSystem other(e.scene);
       other.setCollisionExclusionMap({});
       for (ZqU32 j = other.numberOfManipulators(); j-- > 0;)
          if (j == i)
             other.removeManipulator(j);
       if (e.count() + other.numberOfManipulators() < 16)
          e.scene.mergeWith(other);
    }},
   {"append",
    [](Edited& e, ZqU32 i)
    {
       ZqStatedSystem other(e.scene);
       other.removeManipulator(i);
       if (e.count() + other.numberOfManipulators() < 16)
          e.scene.append(other);
    }},
   {"resizeManipulator",
    [](Edited& e, ZqU32 i) { e.scene.resizeManipulator(i, e.random.real(1.0, 1.5)); }},
   {"attachManipulator of the scene",
    [](Edited& e, ZqU32 i)
    {
       const ZqU32 carrier = e.someManipulator();
       e.scene.attachManipulator(e.at(i).manipulatorLabel(), e.at(carrier).manipulatorLabel(),
                                 e.someLink(carrier), zqTest::randomFrame(e.random), e.newLabel());
    }},
   {"detachManipulator",
    [](Edited& e, ZqU32 i) { e.scene.detachManipulator(e.at(i).manipulatorLabel()); }},
   {"combineManipulator",
    [](Edited& e, ZqU32 i)
    {
       const ZqU32 other = e.someManipulator();
       const ZqString label = e.at(other).manipulatorLabel();
       if (e.scene.combineManipulator(i, other, e.someLink(i), zqTest::randomFrame(e.random)))
          e.combined.push_back(label);
    }},
   {"uncombineManipulator",
    [](Edited& e, ZqU32)
    {
       if (e.combined.empty())
          return;
       ZqU32 parent = 0;
       ZqU32 child = 0;
       ZqCoordinateSystemTransformation X;
       e.scene.uncombineManipulator(
          e.combined[e.random.index(0, static_cast<ZqU32>(e.combined.size()) - 1)], parent, child,
          X);
    }},
   {"replaceLinkAndChildren",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someJoint(i);
       e.edit(i, [&](Manipulator& m) { m.replaceLinkAndChildren(label, e.newLink()); });
    }},
   {"transformLinkSubtreeBy",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someJoint(i);
       e.edit(i, [&](Manipulator& m)
              { m.transformLinkSubtreeBy(label, zqTest::randomFrame(e.random)); });
    }},
   {"convertManipulatorToCraigsDhForm",
    [](Edited& e, ZqU32 i)
    {
       ZqStatedSystem result;
       if (ZqKinematicsConversionTool().convertManipulatorToCraigsDhForm(e.scene, result, i))
          e.scene = result;
    }},
   {"reconfigureForIdentityPrimaryFrames", [](Edited& e, ZqU32 i)
    { ZqKinematicsConversionTool().reconfigureForIdentityPrimaryFrames(e.scene, i); }},
   {"recenterJointLimits",
    [](Edited& e, ZqU32 i)
    {
       const std::vector<double> centers(e.at(i).jointDof(), e.random.real(-9.0, 9.0));
       ZqKinematicsConversionTool().recenterJointLimits(e.scene, i, centers);
    }},
   {"reconfigureDhToPrecursor",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someJoint(i);
       e.edit(i, [&](Manipulator& m)
              { ZqKinematicsConversionTool::reconfigureDhToPrecursor(m, label); });
    }},
   {"flipJointSign",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someJoint(i);
       e.edit(i, [&](Manipulator& m) { ZqKinematicsConversionTool::flipJointSign(m, label); });
    }},
   {"add3SagJoints",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someJoint(i);
       std::vector<std::string> labels;
       e.edit(i,
              [&](Manipulator& m) { ZqKinematicsConversionTool::add3SagJoints(m, label, labels); });
    }},
   {"transformPrimaryFrame",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someLink(i);
       e.edit(i, [&](Manipulator& m)
              { m.transformPrimaryFrame(label, zqTest::randomFrame(e.random)); });
    }},
   {"simplifyLinkShapesWithCapsules", [](Edited& e, ZqU32 i)
    { e.edit(i, [](Manipulator& m) { m.simplifyLinkShapesWithCapsules({}); }); }},
   {"varyModel",
    [](Edited& e, ZqU32)
    {
       ZqLinkPropertyRandomVariation link;
       link.setLinkKinematicsRandomVariation({0.01, 0.01});
       ZqMassPropertyRandomVariation mass;
       mass.setMassRandomVariation(0.01);
       link.setMassPropertyRandomVariation(mass);
       ZqSystemRandomVariation system;
       system.setDefaultLinkPropertyRandomVariation(link);
       ZqVariationStudy study;
       study.setSystemRandomVariation(system);
       ZqStatedSystem varied;
       if (Zq::varyModel(e.scene, {study, ++e.last, 0}, varied))
          e.scene = varied;
    }},
   {"changeLinkLabel",
    [](Edited& e, ZqU32 i) { e.scene.changeLinkLabel(i, e.someLink(i), e.newLabel()); }},
   {"changeLinkLabel to one that is taken",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someLink(i);
       e.scene.changeLinkLabel(i, label, e.someLink(i));
    }},
   {"setJointLimit",
    [](Edited& e, ZqU32 i)
    {
       const bool isUpper = e.random.index(0, 1) == 0;
       e.scene.setJointLimit(i, e.someLink(i), isUpper,
                             e.random.real(0.5, 1.0) * (isUpper ? 1 : -1));
    }},
   {"replaceLinkKinematics", [](Edited& e, ZqU32 i)
    { e.scene.replaceLinkKinematics(i, e.someJoint(i), zqTest::randomJoint(e.random)); }},
   {"replaceLinkProperties",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someJoint(i);
       e.scene.replaceLinkProperties(i, label, e.newLink(), e.random.index(0, 1) == 0);
    }},
   {"replaceLinkShape",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someLink(i);
       e.scene.replaceLinkShape(i, label, ZqSphere(e.random.vector(), 0.2), e.random.index(0, 2),
                                e.random.index(0, 1) == 0);
    }},
   {"scaleManipulatorBy",
    // Not down, since what has no mass has the least.
    [](Edited& e, ZqU32 i) { e.scene.scaleManipulatorBy(i, e.random.real(1.0, 1.5)); }},
   {"findAndConvertToReferences", [](Edited& e, ZqU32) { e.scene.findAndConvertToReferences(); }},
   {"attachManipulator",
    [](Edited& e, ZqU32 i)
    {
       const ZqU32 carrier = e.someManipulator();
       e.scene.configuration().attachmentMap().attachManipulator(
          i, carrier, e.someLink(carrier), zqTest::randomFrame(e.random), e.newLabel());
       e.scene.placeAttachedManipulators();
    }},
   {"removeManipulatorAttachment", [](Edited& e, ZqU32 i)
    { e.scene.configuration().attachmentMap().removeManipulatorAttachment(i); }},
   {"setToMidpointState", [](Edited& e, ZqU32) { e.scene.setToMidpointState(); }},
   {"truncateValues", [](Edited& e, ZqU32) { e.scene.truncateValues(1e-6); }},
   {"excludeLinkCollisionCandidate",
    [](Edited& e, ZqU32 i)
    {
       ZqSystemCollisionExclusionMap map(e.scene.system().collisionExclusionMap());
       const ZqU32 other = e.someManipulator();
       const ZqString label = e.someLink(i);
       map.excludeLinkCollisionCandidate(i, label, other, e.someLink(other));
       e.scene.setCollisionExclusionMap(map);
    }},
   {"addChild",
    [](Edited& e, ZqU32 i) { e.edit(i, [&](Manipulator& m) { m.addChild(e.newLink()); }); }},
   {"addLinkToChildLinkByName",
    [](Edited& e, ZqU32 i)
    {
       const ZqString label = e.someLink(i);
       e.edit(i, [&](Manipulator& m) { m.addLinkToChildLinkByName(e.newLink(), label); });
    }},
   {"erase a child",
    [](Edited& e, ZqU32 i)
    {
       e.edit(i,
              [&](Manipulator& m)
              {
                 if (m.childLinks().size() > 0)
                    m.childLinks().erase(e.random.index(0, m.childLinks().size() - 1));
              });
    }},
   {"rotate children",
    [](Edited& e, ZqU32 i) { e.edit(i, [](Manipulator& m) { m.childLinks().leftRotate(1); }); }},
   {"clearChildLinks",
    [](Edited& e, ZqU32 i) { e.edit(i, [](Manipulator& m) { m.clearChildLinks(); }); }},
   {"appendToAllLabels",
    [](Edited& e, ZqU32 i) { e.edit(i, [](Manipulator& m) { m.appendToAllLabels("x"); }); }},
   {"relabelSubtree",
    [](Edited& e, ZqU32 i)
    {
       ZqU32 counter = 100 * ++e.last;
       e.edit(i, [&](Manipulator& m) { m.relabelSubtree("r", counter); });
    }},
};

/// Whether a code of a check means that something refers to what is not there, or does not fit.
bool isBroken(const Zq::Diagnostic& diagnostic)
{
   static const std::set<std::string> codes{
      "not-finite",          "state-size",     "reference-missing",  "reference-cycle",
      "reference-chain",     "label-repeated", "attachment-missing", "exclusion-missing",
      "interaction-missing", "limits-empty"};
   return codes.contains(diagnostic.code);
}

void expectSameCollisions(const ZqStatedSystem& scene, const ZqStatedSystem& fresh)
{
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      for (ZqU32 j = i; j < scene.numberOfManipulators(); ++j)
         for (ZqU32 k = 0; k <= scene.jointDof(i); ++k)
            for (ZqU32 l = 0; l <= scene.jointDof(j); ++l)
            {
               const ZqU32 first = k == scene.jointDof(i) ? ZqBaseLinkIndex : k;
               const ZqU32 second = l == scene.jointDof(j) ? ZqBaseLinkIndex : l;
               for (const bool avoids : {false, true})
                  ASSERT_EQ(scene.canCollide(i, first, j, second, avoids),
                            fresh.canCollide(i, first, j, second, avoids))
                     << i << ' ' << first << ' ' << j << ' ' << second;
               if (i == j)
               {
                  ASSERT_EQ(scene.manipulatorByIndex(i)->canCollide(first, second),
                            fresh.manipulatorByIndex(i)->canCollide(first, second));
               }
            }
}

void check(const ZqStatedSystem& scene)
{
   std::set<ZqString> labels;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      const Manipulator& m = *scene.manipulatorByIndex(i);
      ASSERT_TRUE(labels.insert(m.manipulatorLabel()).second) << m.manipulatorLabel();
      ASSERT_EQ(m.manipulatorIndex(), i);
      if (&m.concreteReference() == &m)
      {
         ASSERT_TRUE(zqTest::mapsAreRight(m) && zqTest::parentsAreRight(m)) << i;
      }
      ASSERT_EQ(m.linkPointerMap().size(), m.jointDof() + 1U) << m.manipulatorLabel();
   }
   for (const Zq::Diagnostic& diagnostic : Zq::checkModel(scene))
      ASSERT_FALSE(isBroken(diagnostic)) << Zq::toString(diagnostic);

   ZqString document;
   ASSERT_TRUE(Zq::toXml(scene, document));
   ZqStatedSystem fresh;
   const Zq::DiagnosticCollector told;
   ASSERT_TRUE(Zq::fromXml(fresh, document));
   for (const Zq::Diagnostic& diagnostic : told.diagnostics())
      ASSERT_EQ(diagnostic.severity, Zq::Severity::Note) << Zq::toString(diagnostic);
   const ZqModelDifference difference(scene, fresh);
   ASSERT_TRUE(difference.isEmpty()) << difference.text();
   ASSERT_TRUE(scene.state() == fresh.state());
   ASSERT_TRUE(scene.configuration() == fresh.configuration());
   // What is kept for speed was computed by another way, which rounds otherwise.
   const ZqMotionDifference motion = ZqMotionDifference::between(scene, fresh, {2, 1});
   ASSERT_TRUE(motion.isWithin(1e-9)) << motion.position.value << motion.position.place << ' '
                                      << motion.acceleration.value << motion.acceleration.place;
   expectSameCollisions(scene, fresh);
}

/// Of what the test has noted so far.
int partCount()
{
   return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

/// ZQ_EDIT_WALKS tells how many, for long runs; ZQ_EDIT_SEED the first seed.
ZqU32 numberFrom(const char* variable, ZqU32 otherwise)
{
   const char* const text = std::getenv(variable);
   return text != nullptr ? static_cast<ZqU32>(std::strtoul(text, nullptr, 10)) : otherwise;
}

TEST(EditWalk, LeavesASceneAsOneThatIsMadeAfresh)
{
   constexpr ZqU32 steps = 12;
   const ZqU32 first = numberFrom("ZQ_EDIT_SEED", 1);
   const ZqU32 walks = numberFrom("ZQ_EDIT_WALKS", 40);
   const zqTest::LogCapture log; // what is refused says so
   for (ZqU32 seed = first; seed < first + walks; ++seed)
   {
      Edited edited(seed);
      std::string way = "seed " + std::to_string(seed) + ':';
      const int failures = partCount();
      for (ZqU32 step = 0; step < steps && edited.count() > 0 && partCount() == failures; ++step)
      {
         const Operation& operation =
            operations[edited.random.index(0, static_cast<ZqU32>(std::size(operations)) - 1)];
         const ZqU32 i = edited.someManipulator();
         way += std::string(" ") + operation.name + '(' + std::to_string(i) + ')';
         SCOPED_TRACE(way);
         operation.apply(edited, i);
         check(edited.scene);
      }
   }
}
} // namespace
