#include "support/contactScene.h"
#include "zqManipulator/tools/checks/ZqModelCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>

namespace
{
using zqTest::ContactMaterial;
using zqTest::ContactScene;

/// Cubes on each other that rest in their springs, each moved a little.
ContactScene stackOf(int count, ZqReal mass, ZqReal halfEdge, const ContactMaterial& material,
                     ZqReal speed)
{
   ContactScene scene;
   scene.addFloor();
   ZqReal height = 0.0;
   for (int i = 0; i < count; ++i)
   {
      height -= std::pow((count - i) * mass * 9.8 / material.stiffness, 1.0 / material.exponent);
      const ZqReal sign = i % 2 == 0 ? 1.0 : -1.0;
      scene.addFree(zqTest::solidBox(mass, {halfEdge, halfEdge, halfEdge}),
                    {ZqVector(0.0, 0.0, height + halfEdge), ZqOrientation()},
                    {ZqVector(sign * speed, 0.3 * speed, -speed),
                     ZqVector(speed, -sign * speed, 0.0) * (1.0 / halfEdge)});
      height += 2.0 * halfEdge;
   }
   scene.setContact(material);
   return scene;
}

/// The text of a finding of a code; none when there is none.
std::optional<std::string> findingOf(const ContactScene& scene, ZqReal step, const char* code)
{
   for (const Zq::Diagnostic& found : Zq::checkModel(scene.system, step))
      if (found.code == code)
         return found.text;
   return std::nullopt;
}

/// The number behind a text.
ZqReal numberBehind(const std::string& text, const std::string& words)
{
   const auto place = text.find(words);
   EXPECT_NE(place, std::string::npos) << text;
   return place == std::string::npos ? NAN : std::stod(text.substr(place + words.size()));
}

struct Energies
{
   ZqReal greatest, last;
};

/// Of the motion, in a number of steps.
Energies energiesOf(const ContactScene& scene, ZqReal step, int steps)
{
   ZqSimulation simulation(scene.system);
   Energies result{};
   for (int i = 0; i <= steps && !simulation.divergence(); ++i, simulation.step(step))
   {
      result.last = simulation.energy().kinetic;
      result.greatest = std::max(result.greatest, result.last);
   }
   return result;
}

TEST(ContactCheck, ASmallerStepIsStableAndOneFarBeyondRings)
{
   // Steps rang up from 1.1 to 2.7 times the longest one in a search over such cases; told is 0.65 of it.
   for (const ZqReal mass : {0.01, 1.0, 100.0})
      for (const ZqReal stiffness : {1e5, 1e7})
         for (const ZqReal exponent : {1.0, 1.5})
            for (const int count : {1, 3})
            {
               ContactMaterial material;
               material.exponent = exponent;
               material.stiffness = stiffness * mass;
               material.staticFriction = 5.0;
               material.kineticFriction = 4.0;
               const ContactScene scene = stackOf(count, mass, 0.05, material, 1e-7);
               SCOPED_TRACE(testing::Message() << mass << " kg, " << stiffness << ", exponent "
                                               << exponent << ", stack of " << count);
               const auto text = findingOf(scene, 1.0, "contact-step");
               ASSERT_TRUE(text);
               const ZqReal longest = numberBehind(*text, "take one of ");
               EXPECT_FALSE(findingOf(scene, 0.99 * longest, "contact-step"));
               const ZqReal atStart = energiesOf(scene, longest, 0).last;
               EXPECT_LT(energiesOf(scene, 1.5 * longest, 3000).last, 0.1 * atStart);
               EXPECT_GT(energiesOf(scene, 6.0 * longest, 3000).greatest, 1e3 * atStart);
            }
}

TEST(ContactCheck, StacksFoldUpWhereTheyAreSaidTo)
{
   for (const int count : {4, 8})
   {
      SCOPED_TRACE(count);
      const auto sceneOf = [&](ZqReal stiffness)
      {
         ContactMaterial material;
         material.stiffness = stiffness;
         return stackOf(count, 1.0, 0.05, material, 1e-4);
      };
      const ZqReal tooSoft = 0.5 * 9.8 * 0.1 * count * count * count / (4.0 * 0.05 * 0.05);
      const auto text = findingOf(sceneOf(tooSoft), 1e-4, "stack-too-soft");
      ASSERT_TRUE(text);
      const ZqReal factor = numberBehind(*text, "have to be ");
      const ZqReal stiffEnough = factor * tooSoft;
      EXPECT_FALSE(findingOf(sceneOf(1.1 * stiffEnough), 1e-4, "stack-too-soft"));
      EXPECT_TRUE(findingOf(sceneOf(0.85 * stiffEnough), 1e-4, "stack-too-soft"));
      // There is a reserve of a third, for stacks that are rough.
      const auto heightAfter = [&](ZqReal stiffness)
      {
         const ContactScene scene = sceneOf(stiffness);
         ZqSimulation simulation(scene.system);
         for (int i = 0; i < 20000 && !simulation.divergence(); ++i)
            simulation.step(4e-4);
         return zqTest::wayOf(simulation, static_cast<ZqU32>(count)).z();
      };
      const ZqReal whole = 0.1 * count - 0.05;
      EXPECT_GT(heightAfter(stiffEnough), 0.95 * whole);
      EXPECT_LT(heightAfter(0.55 * stiffEnough), 0.9 * whole);
   }
}

TEST(ContactCheck, WhatSinksRestsOnWhatIsBelow)
{
   const auto text = findingOf(stackOf(3, 300.0, 0.05, {}, 0.0), 1e-5, "contact-too-soft");
   ASSERT_TRUE(text);
   EXPECT_NE(text->find("\"body1\""), std::string::npos) << *text;
}

TEST(ContactCheck, LawsThatDoNothingAreTold)
{
   const auto findingWith = [](const ZqBaseDissipativeForceProcessor& friction, bool isUsed)
   {
      ZqMassSpringCollisionForceProcessor law;
      law.setDissipativeForceProcessor(friction);
      law.setUseFriction(isUsed);
      ContactScene scene = stackOf(1, 1.0, 0.05, {}, 0.0);
      scene.setContact(zqTest::contactOf(law));
      return findingOf(scene, 1e-5, "friction-without-effect").value_or("");
   };
   ZqDissipativeForceProcessor full;
   EXPECT_NE(findingWith(full, true).find("all switched off"), std::string::npos);
   full.setUseKineticFriction(true);
   EXPECT_EQ(findingWith(full, true), "");
   EXPECT_EQ(findingWith(full, false), "useFriction is false");
   ZqDryFrictionForceProcessor dry;
   EXPECT_NE(findingWith(dry, true).find("both switched off"), std::string::npos);
   dry.setUseKineticFriction(true);
   EXPECT_NE(findingWith(dry, true).find("exponent 0"), std::string::npos);
   dry.setKineticFrictionWeightingExponent(1e3);
   EXPECT_EQ(findingWith(dry, true), "");
}

TEST(ContactCheck, InteractionsOfLinksThatThereAreNotAreTold)
{
   ContactScene scene;
   scene.addFloor();
   scene.addFree(zqTest::solidBox(1.0, {0.05, 0.05, 0.05}),
                 {ZqVector(0.0, 0.0, 1.0), ZqOrientation()});
   ZqLinkInteractionsVector interactions;
   ZqSpringAndDamperBetweenLinks spring;
   spring.setManipulatorTwoIndex(7);
   spring.setLinkOneIndex(-2);
   interactions.pushBack(spring);
   ZqLatchedDoorLinks door;
   door.setManipulatorId(1);
   interactions.pushBack(door);
   scene.system.setLinkInteractionsVector(interactions);
   std::string found;
   for (const Zq::Diagnostic& diagnostic : Zq::checkModel(scene.system))
      found += diagnostic.code + ": " + Zq::toString(diagnostic) + '\n';
   const std::string front = "interaction-missing: linkInteractionsVector/interaction ";
   EXPECT_EQ(found, front + "0: acts on manipulator 7, which does not exist\n" + front +
                       "1: acts on link 0 of \"body1\", which does not exist\n" + front +
                       "1: acts on link 0 of \"body1\", which does not exist\n");
}
} // namespace
