#include "apps/zqsimFixture.h"
#include "support/contactScene.h"

#include <charconv>
#include <cmath>
#include <functional>

namespace
{
using zqTest::ContactScene;
using Rows = std::vector<std::vector<std::string>>;

constexpr double gravity = 9.8;
constexpr double halfEdge = 0.05;

/// Of a table without quotation marks, with the line of names.
Rows readRows(const std::string& text)
{
   Rows rows;
   std::istringstream lines(text);
   for (std::string line; std::getline(lines, line);)
   {
      rows.emplace_back();
      std::istringstream fields(line);
      for (std::string field; std::getline(fields, field, ',');)
         rows.back().push_back(field);
   }
   return rows;
}

double number(const std::string& field)
{
   double value = NAN;
   std::from_chars(field.data(), field.data() + field.size(), value);
   return value;
}

/// A cube above a floor at a height of its lower side.
ContactScene cubeAt(double height, double mass = 1.0, const ZqVector& velocity = {})
{
   ContactScene scene;
   scene.addFloor();
   scene.addFree(zqTest::solidBox(mass, {halfEdge, halfEdge, halfEdge}),
                 {ZqVector(0.0, 0.0, halfEdge + height), ZqOrientation()}, {velocity, ZqVector()});
   scene.setContact(zqTest::ContactMaterial());
   return scene;
}

class ZqsimContact : public Zqsim
{
protected:
   std::string save(const ContactScene& scene) const
   {
      const std::string fileName = scratch("scene.xml");
      EXPECT_TRUE(Zq::save(scene.system, fileName));
      return fileName;
   }
};

TEST_F(ZqsimContact, ABlockThatSlidesAndSticksIsRecorded)
{
   enum Column
   {
      Time,
      First,
      FirstShape,
      Second,
      SecondShape,
      Points,
      Depth,
      Normal,
      Friction,
      Mode
   };
   constexpr double stiffness = 1e5;
   const std::string run =
      "run " + save(cubeAt(0.0, 1.0, {0.2, 0.0, 0.0})) + " --time 0.5 --dt 2e-4";
   const std::string file = scratch("contacts.csv");
   const Json contact = runForJson(run + " --contacts " + file).at("contact");
   EXPECT_EQ(this->run(run + " --contacts -").out, contentOf(file));

   Rows rows = readRows(contentOf(file));
   EXPECT_EQ(rows.front(), (std::vector<std::string>{"time", "first", "first shape", "second",
                                                     "second shape", "points", "depth",
                                                     "normal force", "friction force", "mode"}));
   rows.erase(rows.begin());
   ASSERT_GT(rows.size(), 2000U);
   double deepest = 0.0;
   double deepestAt = 0.0;
   int slips = 0;
   int slipsBefore = 0;
   for (const auto& row : rows)
   {
      ASSERT_EQ(row.size(), 10U);
      EXPECT_EQ(row[First], "body0/");
      EXPECT_EQ(row[Second], "body1/");
      // It slides for 0.05 s, and then its springs unload.
      const double ratio = number(row[Friction]) / number(row[Normal]);
      if (row[Mode] == "slips" && number(row[Time]) < 0.03)
      {
         EXPECT_NEAR(ratio, 0.4, 1e-9) << row[Time];
      }
      EXPECT_LE(number(row[Friction]), 0.5 * number(row[Normal]) + 1e-12) << row[Time];
      slips += row[Mode] == "slips" && slipsBefore == 0;
      slipsBefore = row[Mode] == "slips";
      // Steps begin with all rows but the last.
      if (&row != &rows.back() && number(row[Depth]) > deepest)
      {
         deepest = number(row[Depth]);
         deepestAt = number(row[Time]);
      }
   }
   EXPECT_EQ(rows.back()[Mode], "sticks");
   EXPECT_EQ(rows.back()[Points], "4");
   EXPECT_NEAR(number(rows.back()[Normal]), gravity, 1e-4);
   EXPECT_NEAR(number(rows.back()[Depth]), gravity / stiffness, 1e-4 / stiffness);
   EXPECT_EQ(contact.at("touchingPairs"), 1);
   EXPECT_EQ(contact.at("slips"), slips);
   EXPECT_GE(slips, 1);
   EXPECT_NEAR(contact.at("greatestDepth").at("depth").get<double>(), deepest, 1e-12);
   EXPECT_NEAR(contact.at("greatestDepth").at("time").get<double>(), deepestAt, 1e-12);
   EXPECT_EQ(contact.at("greatestDepth").at("second"), "body1/");
}

TEST_F(ZqsimContact, WithoutContactLinksFallThroughEachOther)
{
   const std::string model = save(cubeAt(0.01));
   const std::string saved = scratch("saved.xml");
   const Json data =
      runForJson("run " + model + " --time 1 --dt 0.001 --no-contact --save " + saved);
   EXPECT_TRUE(data.at("contact").is_null());
   // What is left out of the run is not left out of the model.
   EXPECT_EQ(runForJson("info " + saved).at("interactions"),
             runForJson("info " + model).at("interactions"));
   const Json info = runForJson("info " + saved);
   EXPECT_NEAR(info.at("manipulators")[1].at("base").at("frame").at("position")[2].get<double>(),
               halfEdge + 0.01 - 0.5 * gravity, gravity * 0.001);
   EXPECT_EQ(run("run " + model + " --time 1 --no-contact --contacts x.csv").code, 2);
   EXPECT_EQ(run("run " + model + " --time 1 --contacts x.xml").code, 2);
   EXPECT_EQ(run("run " + model + " --time 1 --contacts ''").code, 2);
}

TEST_F(ZqsimContact, BadInputIsToldAndDivergesVisiblyOrIsDamped)
{
   using Law = ZqMassSpringCollisionForceProcessor;
   const auto withLaw = [](const std::function<void(Law&)>& change)
   {
      Law law;
      change(law);
      ContactScene scene = cubeAt(0.01);
      scene.setContact(zqTest::contactOf(law));
      return scene;
   };
   const auto withSurface = [](const ZqString& name, const auto& value)
   {
      ZqBox box({}, {halfEdge, halfEdge, halfEdge});
      ZqDataMap values;
      values.add(name, value);
      ZqShape::Surfaces surfaces;
      surfaces.add("0", values);
      box.setSurfaces(surfaces);
      ContactScene scene;
      scene.addFloor();
      zqTest::SolidBody body = zqTest::solidBox(1.0, {halfEdge, halfEdge, halfEdge});
      body.shape = std::make_unique<ZqBox>(box);
      scene.addFree(body, {ZqVector(0.0, 0.0, 0.06), ZqOrientation()});
      scene.setContact(zqTest::ContactMaterial());
      return scene;
   };
   ContactScene lightOnHeavy;
   lightOnHeavy.addFloor();
   lightOnHeavy.addFree(zqTest::solidBox(1e6, {0.5, 0.5, 0.5}),
                        {ZqVector(0.0, 0.0, 0.5), ZqOrientation()});
   lightOnHeavy.addFree(zqTest::solidBox(2e-9, {0.05, 0.05, 0.05}),
                        {ZqVector(0.0, 0.0, 1.05), ZqOrientation()});
   lightOnHeavy.setContact(zqTest::ContactMaterial());
   ContactScene withoutLaw = cubeAt(0.01);
   withoutLaw.setContact(ZqLinkCollisionForce());
   ContactScene twoLaws = cubeAt(0.01);
   ZqLinkInteractionsVector interactions = twoLaws.system.system().linkInteractionsVector();
   interactions.pushBack(zqTest::contactOf(zqTest::ContactMaterial()));
   twoLaws.system.setLinkInteractionsVector(interactions);
   zqTest::ContactMaterial slippery;
   slippery.staticFriction = 0.2;
   ContactScene heldInMotion = cubeAt(0.01);
   heldInMotion.setContact(slippery);
   const auto withoutError = [](Law& law)
   {
      ZqDissipativeForceProcessor friction;
      friction.setUseStaticFriction(true);
      friction.setLinearStaticFrictionModelMaxDistanceError(0.0);
      law.setDissipativeForceProcessor(friction);
      law.setUseFriction(true);
   };

   struct Case
   {
      const char* what;
      ContactScene scene;
      const char* step;
      const char* code; ///< of what is found
      const char* text;
   };
   std::vector<Case> cases;
   const auto add = [&](const char* what, ContactScene scene, const char* step, const char* code,
                        const char* text) {
      cases.push_back({what, std::move(scene), step, code, text});
   };
   add("a step far too long", cubeAt(0.01), "0.05", "contact-step", "body1");
   add("a light body on a heavy one", lightOnHeavy, "0.001", "contact-step", "body2");
   add("a body that is too heavy", cubeAt(0.01, 1000.0), "2e-4", "contact-too-soft",
       "0.098 m deep");
   add("a body deep in another", cubeAt(-0.04), "2e-4", "links-overlap", "by 0.04 m");
   add("no law", withoutLaw, "0.001", "contact-without-law", "interaction 0");
   add("negative stiffness", withLaw([](Law& law) { law.setDefaultSpringConstant(-1e4); }), "0.001",
       "interaction-constant", "defaultSpringConstant: is -10000");
   add("negative damping", withLaw([](Law& law) { law.setDefaultDamperConstant(-10.0); }), "0.001",
       "interaction-constant", "defaultDamperConstant: is -10");
   add("exponent 0", withLaw([](Law& law) { law.setDefaultSpringExponent(0.0); }), "0.001",
       "interaction-constant", "defaultSpringExponent: is 0");
   add("exponent 1000", withLaw([](Law& law) { law.setDefaultSpringExponent(1e3); }), "0.001",
       "interaction-constant", "defaultSpringExponent: is 1000");
   add("a surface of negative stiffness", withSurface("surfaceTensionSpringConstant", -1.0), "2e-4",
       "interaction-constant", "surfaces/'0'/surfaceTensionSpringConstant: is -1");
   add("no stiffness", withLaw([](Law& law) { law.setDefaultSpringConstant(0.0); }), "0.001",
       "contact-without-stiffness", "body0");
   add("two laws", twoLaws, "2e-4", "contact-twice", "interaction 1");
   add("more friction in motion than at rest", heldInMotion, "2e-4",
       "friction-kinetic-above-static", "0.4, is above static friction, 0.2");
   add("no error of static friction", withLaw(withoutError), "0.001", "interaction-constant",
       "linearStaticFrictionModelMaxDistanceError: is 0, and not above 0");
   add("an unknown material", withSurface("surfaceMaterialType", ZqString("cheese")), "2e-4",
       "material-unknown", "cheese");
   for (const auto& [what, scene, step, code, text] : cases)
   {
      SCOPED_TRACE(what);
      const std::string model = save(scene);
      const std::string dt = std::string(" --dt ") + step;
      const bool isNote = std::string(code) == "material-unknown";
      const Json found = runForJson("check " + model + dt, isNote ? 0 : 5).at("diagnostics");
      const auto told = std::find_if(found.begin(), found.end(),
                                     [&](const Json& one) { return one.at("code") == code; });
      ASSERT_NE(told, found.end()) << found;
      EXPECT_NE((told->at("path").get<std::string>() + ": " + told->at("text").get<std::string>())
                   .find(text),
                std::string::npos)
         << *told;

      const Result result = run("run " + model + " --time 1 --quiet --contacts " +
                                scratch("contacts.csv") + " --out " + scratch("out.csv") + dt);
      EXPECT_TRUE(result.code == 0 || result.code == 4) << result.code << result.err;
      if (result.code == 4)
      {
         EXPECT_NE(result.err.find(" m deep in each other at "), std::string::npos) << result.err;
      }
      if (std::string(step) == "0.05")
      {
         EXPECT_EQ(result.code, 4);
         EXPECT_NE(result.err.find("far too long for the contact of body0/ and body1/, "),
                   std::string::npos)
            << result.err;
         EXPECT_NE(result.err.find(": take one of 0.00"), std::string::npos) << result.err;
      }
      EXPECT_EQ(result.err.find(code) != std::string::npos, !isNote) << result.err;
      for (const std::string name : {"contacts.csv", "out.csv"})
      {
         const std::string table = contentOf(scratch(name));
         EXPECT_EQ(table.find("nan"), std::string::npos);
         EXPECT_EQ(table.find("inf"), std::string::npos);
      }
   }
}
} // namespace
