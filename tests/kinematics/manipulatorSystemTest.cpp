#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/state/ZqManipulatorSystemState.h"

namespace
{
using Manipulator = ZqIndividualManipulator;
using Manipulators = ZqManipulatorSystem::Manipulators;

Manipulator labelled(const ZqString& label, ZqU32 links)
{
   ZqManipulatorLink link;
   link.setMassProperties(ZqRigidBodyMassProperties::pointMass(1.0));
   link.setJointActuator(ZqJointActuator::defaultObject());
   Manipulator manipulator =
      zqTest::makeManipulator(zqTest::chain(links), [&](ZqU32) { return link; });
   manipulator.setMassProperties(link.massProperties());
   manipulator.setManipulatorLabel(label);
   return manipulator;
}

/// Manipulators by words: "a:3" has three links and a model of its own, "b>a" refers to "a".
Manipulators manipulatorsOf(const std::string& words)
{
   Manipulators manipulators;
   std::istringstream stream(words);
   for (std::string word; stream >> word;)
   {
      const std::size_t end = word.find_first_of(":>");
      const bool isReference = word[end] == '>';
      Manipulator manipulator =
         labelled(word.substr(0, end), isReference ? 0 : ZqU32(std::stoi(word.substr(end + 1))));
      ZqManipulatorReferenceDescription description;
      description.setIsManipulatorReferenced(isReference);
      description.setReferencedManipulatorLabel(isReference ? word.substr(end + 1) : "");
      manipulator.setManipulatorReferenceDescription(description);
      manipulators.pushBack(manipulator);
   }
   return manipulators;
}

std::string wordsOf(const ZqManipulatorSystem& system)
{
   std::string words;
   for (const Manipulator& manipulator : system.manipulators())
   {
      const auto& description = manipulator.manipulatorReferenceDescription();
      words += words.empty() ? "" : " ";
      words += manipulator.manipulatorLabel();
      words += description.isManipulatorReferenced()
                  ? '>' + description.referencedManipulatorLabel()
                  : ':' + std::to_string(manipulator.jointDof());
   }
   return words;
}

class System : public ZqManipulatorSystem
{
public:
   System() = default;
   explicit System(const std::string& words) { setManipulators(manipulatorsOf(words)); }
   using ZqManipulatorSystem::aboutToModifyManipulator;
};

ZqSystemCollisionExclusionMap excluded(std::initializer_list<std::pair<ZqU32, ZqU32>> pairs)
{
   ZqSystemCollisionExclusionMap map;
   for (const auto& [a, b] : pairs)
      map.excludeManipulatorCollisionCandidates(a, b);
   return map;
}

TEST(ManipulatorSystem, AModelIsItsOwnBeforeItChanges)
{
   const std::string function = "ZqManipulatorSystem::aboutToModifyManipulator(): ";
   const auto notFound = [&](const char* label)
   { return function + "could not find referenced manipulator " + label + "\n.\n"; };
   const struct
   {
      const char* before;
      ZqU32 index;
      const char* after;
      std::string message;
   } cases[] = {
      {"a:3 b>a c>a", 0, "a:3 b:3 c>b", ""},
      {"c>a b>a a:3 d>a", 2, "c:3 b>c a:3 d>c", ""},
      {"a:3 b>a c>b", 2, "a:3 b>a c:3", ""},
      {"a:3 b>a c>b", 1, "a:3 b:3 c>a", ""},
      {"a:3 b>a c>b", 0, "a:3 b:3 c>b", ""},
      {"a:3 b:2", 1, "a:3 b:2", ""},
      {"a:3 b>gone", 1, "a:3 b>gone", notFound("gone")},
      {"a>a", 0, "a>a", function + "self-reference error for manipulator 0.\n\n" + notFound("a")},
      {"a>b b>a", 0, "a>b b>b", notFound("b")},
      {"a>b b>c c>b d:1", 0, "a>b b>c c>b d:1", notFound("b")},
      {"a:3 b>a", 2, "a:3 b>a", function + "bad index (2).\n\n"},
   };
   for (const auto& [before, index, after, message] : cases)
   {
      SCOPED_TRACE(std::string(before) + ", " + std::to_string(index));
      System system(before);
      zqTest::LogCapture log;
      EXPECT_EQ(system.aboutToModifyManipulator(index), index < system.numberOfManipulators());
      EXPECT_EQ(wordsOf(system), after);
      EXPECT_EQ(log.text(), message);
      EXPECT_FALSE(system.aboutToModifyManipulator("gone"));
   }
}

TEST(ManipulatorSystem, LinksTellTheProgressOfDocuments)
{
   ZqXmlVectorType<ZqManipulatorSystem> systems(2, System("a:1 b>a"));
   std::string counts;
   const auto count = [&](unsigned done, unsigned total)
   { counts += std::to_string(done) + '/' + std::to_string(total) + ' '; };
   std::stringstream document;
   ZqXmlWriter writer("(test)", document);
   writer.setProgressSink(count);
   EXPECT_TRUE(Zq::write(systems, writer));
   ZqXmlReader reader(document, "(test)");
   reader.setProgressSink(count);
   EXPECT_TRUE(Zq::read(systems, reader));
   EXPECT_EQ(counts, zqTest::repeated("1/3 2/3 3/3 ", 4));
}

TEST(ManipulatorSystem, LabelsAreUnique)
{
   const std::pair<const char*, const char*> cases[] = {
      {"a:1 a:2 a:3", "a:1 a-1:2 a-2:3"},
      {"a-3:1 a-3:2 a-4:3", "a-3:1 a-4:2 a-5:3"},
      {"x>b b:1 x:2", "x-1>b b:1 x:2"},   // a model goes before a reference
      {"a:1 a:2 c>a", "a:1 a-1:2 c>a-1"}, // references go along
      {":1 :2", ":1 -1:2"},
      {"n-99999999999:1 n-99999999999:2 n-99999999999:3",
       "n-99999999999:1 n-99999999999-1:2 n-99999999999-2:3"},
   };
   for (const auto& [before, after] : cases)
      EXPECT_EQ(wordsOf(System(before)), after);
   System system("a:1 b>a c:2");
   EXPECT_FALSE(system.changeManipulatorLabel("gone", "z"));
   EXPECT_FALSE(system.changeManipulatorLabel("a", "c"));
   EXPECT_TRUE(system.changeManipulatorLabel("a", "z"));
   EXPECT_EQ(wordsOf(system), "z:1 b>z c:2");
   EXPECT_EQ(system.manipulatorByIdentifier("a"), nullptr);
   EXPECT_EQ(system.jointDof(1), 1u);
   EXPECT_EQ(system.jointDof(), 4u);
   EXPECT_EQ(system.countAllReadableLinks(), 6u);
}

/// Any change reaches one manipulator alone, whatever refers to whatever.
TEST(ManipulatorSystem, ManipulatorsAreIndependent)
{
   const auto valuesOf = [](const Manipulator& manipulator)
   {
      return std::pair(manipulator.jointDof(),
                       manipulator.linkByIndex(0)->jointActuator().upperLimit());
   };
   zqTest::RandomValues random(81);
   for (int round = 0; round < 40; ++round)
   {
      ZqManipulatorSystem system;
      const auto labelAt = [&](ZqU32 i) { return system.manipulators()[i].manipulatorLabel(); };
      std::map<ZqString, std::pair<ZqU32, ZqReal>> expected;
      for (int step = 0; step < 30; ++step)
      {
         const Manipulator manipulator =
            labelled("m-" + std::to_string(random.index(0, 5)), random.index(1, 2));
         const ZqU32 count = system.numberOfManipulators();
         const ZqU32 operation = count == 0 ? 0 : random.index(0, count > 8 ? 4 : 5);
         const ZqU32 i = random.index(0, std::max(count, 1U) - 1);
         const ZqString label = count == 0 ? "" : labelAt(i);
         if (operation == 0)
         {
            system.addManipulator(manipulator);
            expected[labelAt(count)] = valuesOf(manipulator);
         }
         else if (operation == 1)
         {
            EXPECT_TRUE(system.exchangeManipulator(label, manipulator));
            expected[label] = valuesOf(manipulator);
         }
         else if (operation == 2)
         {
            EXPECT_TRUE(system.deleteManipulator(i));
            expected.erase(label);
         }
         else if (operation == 3)
         {
            EXPECT_TRUE(system.setJointLimit(i, "label0", true, 10.0 + step));
            expected[label].second = 10.0 + step;
         }
         else if (operation == 4)
            EXPECT_TRUE(system.findAndConvertToReferences());
         else
         {
            EXPECT_TRUE(system.mergeWith(system));
            for (ZqU32 k = 0; k < count; ++k)
               expected[labelAt(count + k)] = expected[labelAt(k)];
         }
         ASSERT_EQ(system.numberOfManipulators(), expected.size());
         const ZqManipulatorSystem copy(system);
         for (const ZqManipulatorSystem* any : {&std::as_const(system), &copy})
            for (ZqU32 k = 0; k < expected.size(); ++k)
            {
               const Manipulator& found = any->manipulators()[k];
               ASSERT_EQ(valuesOf(found), expected[found.manipulatorLabel()]);
               ASSERT_EQ(any->manipulatorByIdentifier(found.manipulatorLabel()), &found);
               ASSERT_EQ(found.manipulatorIndex(), k);
            }
      }
      zqTest::expectRoundTrip(system);
   }
}

TEST(ManipulatorSystem, AlikeManipulatorsRefer)
{
   System system("a:2 b:2 c:3 d:2 e:3");
   system.findAndConvertToReferences();
   EXPECT_EQ(wordsOf(system), "a:2 b>a c:3 d>a e>c");
   system.addManipulator(labelled("f", 2));
   system.findAndConvertToReferences();
   EXPECT_EQ(wordsOf(system), "a:2 b>a c:3 d>a e>c f>a");
   EXPECT_EQ(system.jointDof(), 14u);

   // One that others refer to stays a model, whatever it says of itself; a chain leads to its end.
   const std::pair<const char*, std::vector<ZqU32>> cases[] = {
      {"a:2 b:2 r>b", {2, 2, 2}},
      {"a:3 b>a c>b d>c", {3, 3, 3, 3}},
      {"a:1 b>c c>b d>gone", {1, 0, 0, 0}}};
   for (const auto& [words, dof] : cases)
   {
      SCOPED_TRACE(words);
      System kept(words);
      kept.findAndConvertToReferences();
      EXPECT_EQ(wordsOf(kept), words);
      const zqTest::LogCapture log;
      ZqManipulatorSystem back;
      ASSERT_TRUE(Zq::fromXml(back, zqTest::written(kept)));
      for (ZqU32 i = 0; i < dof.size(); ++i)
      {
         EXPECT_EQ(kept.jointDof(i), dof[i]);
         EXPECT_EQ(back.jointDof(i), dof[i]);
      }
      EXPECT_EQ(log.size(), words == cases[2].first ? 3U : 0U);
   }
}

TEST(ManipulatorSystem, ExclusionsFollowTheManipulators)
{
   System system("a:1 b:1 c:1");
   system.setCollisionExclusionMap(excluded({{0, 1}, {0, 2}, {1, 2}}));
   EXPECT_TRUE(system.deleteManipulator(ZqU32(1)));
   EXPECT_EQ(system.collisionExclusionMap(), excluded({{0, 1}}));
   // What is appended is shifted by its own length.
   System longer("a:1 b:1 c:1");
   longer.mergeWith(system);
   EXPECT_EQ(longer.collisionExclusionMap(), excluded({{2, 3}}));
   EXPECT_EQ(wordsOf(longer), "a:1 b:1 c:1 a-1:1 c-1:1");

   // By label, they hold as soon as there are such links.
   ZqSystemCollisionExclusionMap map;
   map.excludeLinkCollisionCandidate(0, "label0", 1, "label1");
   system.setCollisionExclusionMap(map);
   EXPECT_TRUE(system.canCollide(0, 0, 1, 1));
   EXPECT_TRUE(system.exchangeManipulator(1, labelled("a", 2)));
   EXPECT_FALSE(system.canCollide(0, 0, 1, 1));
   EXPECT_EQ(wordsOf(system), "a:1 a-1:2");
}

TEST(ManipulatorSystem, ARefusedDeletionIsAnsweredWithTrue)
{
   class Refusing : public System
   {
   public:
      using System::System;
      bool aboutToModifyManipulator(ZqU32) override { return false; }
   };
   Refusing system("a:1 b:1");
   EXPECT_TRUE(system.deleteManipulator(ZqU32(0)));
   EXPECT_EQ(system.deleteManipulator("b"), 1);
   EXPECT_EQ(system.deleteManipulator("gone"), -1);
   EXPECT_FALSE(system.exchangeManipulator(0, labelled("c", 1)));
   EXPECT_EQ(wordsOf(system), "a:1 b:1");
}

TEST(ManipulatorSystem, BoundingSphereHoldsReferencesToo)
{
   zqTest::RandomValues random(82);
   const Manipulator manipulator = zqTest::randomManipulator(random, 4);
   ZqManipulatorSystem system;
   system.setManipulators({manipulator, manipulator, manipulator});
   ZqManipulatorSystemState state;
   for (int i = 0; i < 3; ++i)
      state.positionStates().pushBack(zqTest::randomPosition(random, manipulator));
   const ZqSphere sphere = system.absoluteBoundingSphere(state);
   for (const ZqPositionState& position : state.positionStates())
   {
      const ZqVector p = manipulator.coordSysXForm() * position.coordSysXForm().translation();
      EXPECT_LE((p - sphere.center()).mag() + manipulator.absoluteBoundingSphere().radius(),
                sphere.radius() * (1.0 + 10.0 * zqTest::epsilon));
   }
   system.findAndConvertToReferences();
   zqTest::LogCapture log;
   state.positionStates().resize(4);
   EXPECT_EQ(system.absoluteBoundingSphere(state), sphere);
   EXPECT_EQ(log.text(), "ZqManipulatorSystem::absoluteBoundingSphere(): system size, 3, not equal "
                         "to state size, 4.\n");
}

TEST(ManipulatorSystem, RejectsIndicesOfNoManipulator)
{
   System system("a:2");
   const zqTest::LogCapture log;
   EXPECT_FALSE(system.replaceLinkKinematics(1, "label1", ZqDenavitHartenberg()));
   EXPECT_FALSE(system.replaceLinkProperties(1, "label1", {}, false));
   EXPECT_FALSE(system.setJointLimit(1, "label1", true, 1.0));
   EXPECT_EQ(system.jointDof(0xFFFFFFFF), 0u);
   ASSERT_EQ(log.size(), 4U);
   EXPECT_EQ(log.messages()[0].text,
             "ZqManipulatorSystem::replaceLinkKinematics() - invalid manipulator index.\n");
   EXPECT_EQ(log.messages()[3].text,
             "ZqManipulatorSystem::jointDof-->manipulator at index (-1) undefined\n");
}
} // namespace
