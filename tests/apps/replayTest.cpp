#include "apps/replay/replay.h"
#include "apps/replay/page.h"
#include "apps/replay/replayShapes.h"
#include "apps/zqsimFixture.h"
#include "support/contactScene.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <random>

namespace
{
using zqReplay::Recording;
using zqTest::ContactScene;
using Settings = Recording::Settings;
using Vectors = std::vector<ZqVector>;

// The data of a page, as a browser reads it

/// By a table of the digits' values, and so another way than they are written.
std::string bytesOf(const std::string& text)
{
   const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
   std::string bytes;
   unsigned bits = 0;
   int count = 0;
   for (const char c : text.substr(0, text.find('=')))
   {
      bits = bits << 6 | static_cast<unsigned>(digits.find(c));
      count += 6;
      if (count >= 8)
         bytes += static_cast<char>(bits >> (count -= 8) & 0xff);
   }
   return bytes;
}

/// All finite.
template <class Number>
std::vector<Number> arrayOf(const Json& text)
{
   const std::string bytes = bytesOf(text.get<std::string>());
   std::vector<Number> numbers(bytes.size() / sizeof(Number));
   EXPECT_EQ(numbers.size() * sizeof(Number), bytes.size());
   if (!bytes.empty())
      std::memcpy(numbers.data(), bytes.data(), bytes.size());
   for (const Number number : numbers)
      EXPECT_TRUE(std::isfinite(static_cast<double>(number)));
   return numbers;
}

struct ReplayData
{
   explicit ReplayData(const std::string& text)
      : json(Json::parse(text)), times(arrayOf<double>(json.at("times"))),
        poses(arrayOf<double>(json.at("poses"))), values(arrayOf<float>(json.at("values"))),
        starts(arrayOf<std::uint32_t>(json.at("contacts").at("starts"))),
        rows(arrayOf<float>(json.at("contacts").at("rows"))),
        energies(arrayOf<float>(json.at("energies").at("rows")))
   {
      for (const Json& body : json.at("bodies"))
         moving += !body.contains("pose");
      EXPECT_EQ(poses.size(), times.size() * moving * 7);
      EXPECT_EQ(values.size(), times.size() * json.at("joints").size());
      EXPECT_EQ(energies.size(), times.size() * json.at("energies").at("names").size());
      EXPECT_EQ(starts.size(), times.size() + 1);
      EXPECT_EQ(rows.size(), std::size_t{8} * starts.back());
      for (std::size_t k = 1; k < times.size(); ++k)
         EXPECT_LT(times[k - 1], times[k]);
   }
   std::vector<double> poseOf(std::size_t frame, std::size_t body) const
   {
      const Json& bodies = json.at("bodies");
      if (bodies[body].contains("pose"))
         return bodies[body]["pose"].get<std::vector<double>>();
      std::size_t place = frame * moving;
      for (std::size_t i = 0; i < body; ++i)
         place += !bodies[i].contains("pose");
      return {poses.begin() + static_cast<std::ptrdiff_t>(7 * place),
              poses.begin() + static_cast<std::ptrdiff_t>(7 * place + 7)};
   }

   std::map<std::string, float> energyOf(std::size_t frame) const
   {
      std::map<std::string, float> result;
      const Json& names = json.at("energies").at("names");
      for (std::size_t i = 0; i < names.size(); ++i)
         result[names[i]] = energies[frame * names.size() + i];
      return result;
   }

   Json json;
   std::vector<double> times, poses;
   std::vector<float> values;
   std::vector<std::uint32_t> starts;
   std::vector<float> rows, energies;
   std::size_t moving = 0;
};

std::string recorded(
   ZqSimulation& simulation, const Settings& settings, int steps, double dt,
   const std::function<void()>& look = [] {})
{
   Recording recording(simulation, settings);
   recording.sample(simulation);
   look();
   for (int k = 1; k <= steps && simulation.stepTo(dt * k); ++k)
   {
      recording.sample(simulation);
      look();
   }
   recording.sampleLast(simulation);
   return recording.json();
}

// Shapes as they are drawn

ZqVector vectorOf(const Json& json)
{
   return {json[0], json[1], json[2]};
}

ZqCoordinateSystemTransformation drawnFrame(const std::vector<double>& n)
{
   return {ZqVector(n[0], n[1], n[2]), ZqOrientation(n[3], n[4], n[5], n[6])};
}

Vectors drawnVertices(const Json& mesh)
{
   const auto numbers = arrayOf<float>(mesh.at("positions"));
   Vectors vertices;
   for (std::size_t i = 0; i < numbers.size(); i += 3)
      vertices.emplace_back(numbers[i], numbers[i + 1], numbers[i + 2]);
   return vertices;
}

/// How far a drawing reaches along a unit vector, by what the kinds mean.
double reachOf(const Json& shape, const ZqVector& d)
{
   const std::string kind = shape.at("kind");
   const auto ends = [&]
   { return std::max(vectorOf(shape["from"]).dot(d), vectorOf(shape["to"]).dot(d)); };
   if (kind == "sphere")
      return vectorOf(shape["center"]).dot(d) + shape["radius"].get<double>();
   if (kind == "capsule")
      return ends() + shape["radius"].get<double>();
   if (kind == "cylinder")
   {
      const ZqVector axis = (vectorOf(shape["to"]) - vectorOf(shape["from"])).unitVector();
      return ends() + shape["radius"].get<double>() * d.cross(axis).mag();
   }
   if (kind == "box")
   {
      const auto frame = drawnFrame(shape["frame"].get<std::vector<double>>());
      const ZqVector inBox = frame.orientation().inverse() * d;
      const ZqVector h = vectorOf(shape["halfExtents"]);
      return frame.translation().dot(d) + std::abs(inBox.x()) * h.x() +
             std::abs(inBox.y()) * h.y() + std::abs(inBox.z()) * h.z();
   }
   double reach = -INFINITY;
   for (const ZqVector& vertex : drawnVertices(shape))
      reach = std::max(reach, vertex.dot(d));
   return reach;
}

class ReplayOfModel : public ::testing::TestWithParam<std::string>
{
};

TEST_P(ReplayOfModel, TellsWhatTheLibraryTells)
{
   ZqStatedSystem scene;
   ASSERT_TRUE(Zq::load(scene, model(GetParam())));
   ZqSimulation simulation(scene);

   // By another way than through the present of the simulation.
   ZqSystemActiveState active;
   const auto forEachLink = [&](const auto& action)
   {
      active.setNonredundantState(simulation.state());
      std::size_t body = 0;
      for (ZqU32 i = 0; i < simulation.system().numberOfManipulators(); ++i)
      {
         const ZqIndividualManipulator& manipulator = simulation.system().manipulators()[i];
         auto& state = active.manipulatorActiveStateVector()[i].activePositionState();
         action(body++, manipulator.concreteReference(), state);
         for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
            action(body++, *link, state);
      }
   };
   std::map<double, std::vector<std::vector<double>>> poses;
   std::map<double, ZqVector> forces; // of all contacts, turned to the second body
   std::map<double, double> sizes;
   const auto look = [&]
   {
      const double time = simulation.state().time();
      forEachLink(
         [&](std::size_t, const ZqManipulatorLink& link, auto& state)
         {
            const auto& frame = link.primaryFrameInSystem(state);
            const ZqVector& t = frame.translation();
            const ZqOrientation& q = frame.orientation();
            poses[time].push_back({t.x(), t.y(), t.z(), q.w(), q.x(), q.y(), q.z()});
         });
      for (const ZqSimulation::Contact& contact : simulation.contacts())
      {
         const ZqContactResponse& response = contact.record->response();
         forces[time] -= response.normalForce + response.frictionForce;
         sizes[time] += contact.normalForce + contact.frictionForce;
      }
   };
   const ReplayData data(recorded(simulation, {}, 5000, 1e-4, look));

   EXPECT_EQ(data.times.front(), 0.0);
   EXPECT_EQ(data.times.back(), simulation.state().time());
   EXPECT_NEAR(static_cast<double>(data.times.size()), 31.0, 1.0);
   for (std::size_t k = 0; k < data.times.size(); ++k)
   {
      for (std::size_t i = 0; i < poses.at(data.times[k]).size(); ++i)
         EXPECT_EQ(data.poseOf(k, i), poses.at(data.times[k])[i]) << "body " << i;
      ZqVector sum;
      for (std::uint32_t row = data.starts[k]; row < data.starts[k + 1]; ++row)
      {
         const float* numbers = &data.rows[std::size_t{8} * row];
         sum += ZqVector(numbers[3], numbers[4], numbers[5]);
         EXPECT_LT(numbers[6], static_cast<float>(data.json["bodies"].size()));
         EXPECT_NE(numbers[6], numbers[7]);
      }
      // Each of a few rows is rounded to single precision.
      EXPECT_LE((sum - forces[data.times[k]]).mag(), 1e-6 * sizes[data.times[k]]);
   }
   // Shapes at the last frame, in the system.
   forEachLink(
      [&](std::size_t body, const ZqManipulatorLink& link, auto& state)
      {
         ZqXmlVectorType<ZqAxisAlignedBoundingBox> boxes;
         link.axisAlignedBoundingBoxVectorInSystem(state, boxes);
         const Json& shapes = data.json["bodies"][body]["shapes"];
         ASSERT_EQ(shapes.size(), boxes.size());
         const auto frame = drawnFrame(data.poseOf(data.times.size() - 1, body));
         for (unsigned i = 0; i < boxes.size(); ++i)
            if (shapes[i]["kind"] != "halfSpace")
               for (int axis = 0; axis < 3; ++axis)
               {
                  ZqVector d;
                  d[static_cast<std::size_t>(axis)] = 1.0;
                  const ZqVector inLink = frame.orientation().inverse() * d;
                  const double place = frame.translation().dot(d);
                  // Corners of meshes are of single precision.
                  EXPECT_NEAR(place + reachOf(shapes[i], inLink), boxes[i].upper().dot(d), 1e-6);
                  EXPECT_NEAR(place - reachOf(shapes[i], -inLink), boxes[i].lower().dot(d), 1e-6);
               }
      });
}

std::vector<std::string> exampleModels()
{
   std::vector<std::string> names;
   for (const auto& entry : std::filesystem::directory_iterator(PROJECT "examples/models"))
      if (entry.path().extension() == ".xml")
         names.push_back(entry.path().stem());
   std::sort(names.begin(), names.end());
   return names;
}
INSTANTIATE_TEST_SUITE_P(Examples, ReplayOfModel, ::testing::ValuesIn(exampleModels()),
                         [](const auto& parameter) { return parameter.param; });

/// A link of a shape, about a place that is nothing special.
Json drawnOf(const ZqShape& shape)
{
   ZqManipulatorLink link;
   link.setShape(shape);
   return zqReplay::drawShapes(link, {});
}

struct ShapeCase
{
   const char* name;
   std::shared_ptr<ZqShape> shape;
   std::vector<std::string> kinds;
   bool isFlat = false;
};

/// Each kind of shape, one of it; sizes differ, and nothing stands along the axes.
std::vector<ShapeCase> shapeCases()
{
   const ZqVector p(0.1, -0.2, 0.3);
   const ZqVector q(0.5, 0.1, -0.1);
   const ZqVector across = (q - p).cross({0.3, 0.7, 0.2});
   const ZqCoordinateSystemTransformation frame(p, ZqOrientation(0.5, 0.1, -0.7, 0.5));
   const auto of = [](auto shape) { return std::make_shared<decltype(shape)>(shape); };
   std::mt19937 random(1);
   std::normal_distribution<double> normal;
   Vectors points;
   for (int i = 0; i < 40; ++i)
      points.push_back(p + ZqVector(normal(random), normal(random), normal(random)) * 0.2);
   const Vectors corners{p, q, p + across, {0.2, 0.3, 1.0}};
   // Inside out.
   const ZqTriangleMesh mesh(corners, {{0, 1, 2}, {0, 2, 3}, {0, 3, 1}, {1, 3, 2}});
   const ZqTriangleMesh turned(corners, {{0, 2, 1}, {0, 3, 2}, {0, 1, 3}, {1, 2, 3}});
   ZqShapeUnion both;
   both.addShapeToUnion(ZqSphere(p, 0.1));
   both.addShapeToUnion(ZqCone({p, q}, 0.3, 0.1));
   return {{"sphere", of(ZqSphere(p, 0.3)), {"sphere"}},
           {"capsule", of(ZqCapsule({p, q}, 0.2)), {"capsule"}},
           {"cylinder", of(ZqCylinder({p, q}, 0.2)), {"cylinder"}},
           {"box", of(ZqBox(frame, {0.2, 0.3, 0.5})), {"box"}},
           {"cone", of(ZqCone({p, q}, 0.0, 0.3)), {"mesh"}},
           {"frustum", of(ZqCone({p, q}, 0.4, 0.1)), {"mesh"}},
           {"hull", of(ZqConvexHull(points)), {"mesh"}, true},
           {"ellipsoid", of(ZqEllipsoid(0.3, 0.05, 0.2, frame)), {"mesh"}},
           {"lozenge", of(ZqLozenge(p, q - p, across, 0.1)), {"mesh"}},
           {"disc", of(ZqCircularLozenge(p, q, 0.3, 0.1)), {"mesh"}},
           {"triangle", of(ZqTriangularLozenge(p, q - p, across, 0.1)), {"mesh"}},
           {"flat triangle", of(ZqTriangularLozenge(p, q - p, across, 0.0)), {"mesh"}, true},
           {"mesh", of(mesh), {"mesh"}},
           {"mesh inside out", of(turned), {"mesh"}},
           {"union", of(both), {"sphere", "mesh"}},
           {"point", of(ZqSphere(p, 0.0)), {}}};
}

TEST(ReplayShapes, OfVeryManyTrianglesAreDrawnByFewer)
{
   // A bowl, an open paraboloid.
   constexpr ZqU32 side = 230;
   const auto place = [](ZqU32 i) { return 2.0 * i / side - 1.0; };
   Vectors vertices;
   std::vector<ZqTriangleMesh::Triangle> triangles;
   for (ZqU32 i = 0; i <= side; ++i)
      for (ZqU32 j = 0; j <= side; ++j)
      {
         vertices.emplace_back(place(i), place(j), place(i) * place(i) + place(j) * place(j));
         const ZqU32 corner = i * (side + 1) + j;
         if (i < side && j < side)
         {
            triangles.push_back({corner, corner + side + 1, corner + 1});
            triangles.push_back({corner + 1, corner + side + 1, corner + side + 2});
         }
      }
   const Json mesh = drawnOf(ZqTriangleMesh(vertices, triangles))[0];
   const auto indices = arrayOf<ZqU32>(mesh["indices"]);
   EXPECT_LE(indices.size() / 3, 100'000U);
   EXPECT_GT(indices.size() / 3, 40'000U);
   const Vectors drawn = drawnVertices(mesh);
   // On the square below, triangles still add up to its area but for cells at its rim, and few are turned over.
   double area = 0.0;
   double turned = 0.0;
   for (std::size_t k = 0; k < indices.size(); k += 3)
   {
      const ZqVector& a = drawn.at(indices[k]);
      EXPECT_NEAR(a.z(), a.x() * a.x() + a.y() * a.y(), 1e-6);
      const ZqVector n = (drawn.at(indices[k + 1]) - a).cross(drawn.at(indices[k + 2]) - a);
      area += 0.5 * n.z();
      turned -= std::min(0.0, 0.5 * n.z());
   }
   EXPECT_NEAR(area, 4.0, 0.1);
   EXPECT_LT(turned, 0.1);
}

TEST(ReplayShapes, AreThoseOfTheLibrary)
{
   std::mt19937 random(2);
   std::normal_distribution<double> normal;
   Vectors directions;
   for (int i = 0; i < 200; ++i)
      directions.push_back(ZqVector(normal(random), normal(random), normal(random)).unitVector());
   for (const ShapeCase& test : shapeCases())
   {
      SCOPED_TRACE(test.name);
      const Json shapes = drawnOf(*test.shape);
      ASSERT_EQ(shapes.size(), test.kinds.size());
      for (ZqU32 i = 0; i < shapes.size(); ++i)
      {
         ZqU32 counter = 0;
         const ZqShape& member =
            test.shape->isCompoundShape() ? *test.shape->memberByIndex(i, counter) : *test.shape;
         const Json& shape = shapes[i];
         EXPECT_EQ(shape["kind"], test.kinds[i]);
         const auto& extent = dynamic_cast<const ZqBasePhysicalExtent&>(member);
         // Chords of a sixteenth of a right angle lie within their circle by 0.12 % of its radius, 0.4 at most;
         // where two such arcs cross, by as much again.
         const bool isExact = shape["kind"] != "mesh" || test.isFlat;
         for (const ZqVector& d : directions)
         {
            const double reach = extent.supportPoint(d).dot(d);
            EXPECT_LE(reachOf(shape, d), reach + 1e-7);
            EXPECT_GE(reachOf(shape, d), reach - (isExact ? 1e-7 : 1.2e-3));
         }
         if (shape["kind"] != "mesh")
            continue;
         EXPECT_EQ(shape["flat"], test.isFlat);
         const Vectors vertices = drawnVertices(shape);
         for (const ZqVector& vertex : vertices)
         {
            ZqSeparation apart;
            zqConvex::distance(ZqSphere(vertex, 0.0), member, {}, nullptr, apart);
            EXPECT_NEAR(apart.distance, 0.0, 1e-7);
         }
         const auto indices = arrayOf<ZqU32>(shape["indices"]);
         std::vector<ZqTriangleMesh::Triangle> triangles;
         for (std::size_t k = 0; k < indices.size(); k += 3)
            triangles.push_back({indices[k], indices[k + 1], indices[k + 2]});
         EXPECT_LT(triangles.size(), 10'000U);
         const ZqTriangleMesh drawn(vertices, triangles);
         EXPECT_TRUE(drawn.isClosed());
         const double volume = std::abs(member.volume());
         EXPECT_LE(drawn.volume(), volume * (1.0 + 1e-6));
         EXPECT_GE(drawn.volume(), volume * (isExact ? 1.0 - 1e-6 : 0.99));
      }
   }
   const Json floor = drawnOf(ZqHalfSpace(ZqPlane({1.0, 2.0, 3.0}, {0.0, 3.0, 4.0})))[0];
   EXPECT_EQ(floor["kind"], "halfSpace");
   const ZqVector n = vectorOf(floor["normal"]);
   EXPECT_LT((n - ZqVector(0.0, 0.6, 0.8)).mag(), 1e-15);
   EXPECT_NEAR((vectorOf(floor["point"]) - ZqVector(1.0, 2.0, 3.0)).dot(n), 0.0, 1e-15);
}

/// A cube that slides on a floor.
ContactScene slidingCube(const ZqLinkCollisionForce& contact)
{
   ContactScene scene;
   scene.addFloor();
   scene.addFree(zqTest::solidBox(1.0, {0.05, 0.05, 0.05}),
                 {ZqVector(0.0, 0.0, 0.05), ZqOrientation()},
                 {ZqVector(0.3, 0.1, 0.0), ZqVector()});
   scene.setContact(contact);
   return scene;
}
ContactScene slidingCube()
{
   return slidingCube(zqTest::contactOf(zqTest::ContactMaterial()));
}

TEST(Replay, ThinsItsFramesWhenTheyAreTooMany)
{
   const auto record = [](std::size_t budget)
   {
      ZqSimulation simulation(slidingCube().system);
      return ReplayData(recorded(simulation, {.frameRate = 200.0, .budget = budget}, 2000, 5e-4));
   };
   constexpr std::size_t budget = 10'000;
   const ReplayData all = record(1'000'000);
   const ReplayData some = record(budget);
   ASSERT_EQ(all.times.size(), 201U);
   EXPECT_LE(some.poses.size() * sizeof(double) + some.rows.size() * sizeof(float), budget);
   EXPECT_GT(some.times.size(), 20U);
   EXPECT_EQ(some.times.front(), 0.0);
   EXPECT_EQ(some.times.back(), all.times.back());
   const double gap = some.times[1] - some.times[0];
   for (std::size_t k = 2; k + 1 < some.times.size(); ++k)
      EXPECT_NEAR(some.times[k] - some.times[k - 1], gap, 1e-9);
   // What is left is as it was.
   for (std::size_t k = 0; k < some.times.size(); ++k)
   {
      const auto at = static_cast<std::size_t>(
         std::find(all.times.begin(), all.times.end(), some.times[k]) - all.times.begin());
      ASSERT_LT(at, all.times.size());
      EXPECT_EQ(some.poseOf(k, 1), all.poseOf(at, 1));
      const auto rowsOf = [](const ReplayData& data, std::size_t frame)
      {
         return std::vector<float>(data.rows.begin() + 8 * data.starts[frame],
                                   data.rows.begin() + 8 * data.starts[frame + 1]);
      };
      EXPECT_EQ(rowsOf(some, k), rowsOf(all, at));
      EXPECT_EQ(some.energyOf(k), all.energyOf(at));
   }
   // Steps that are longer than a frame are all taken, while there is room, and evenly after that.
   ZqSimulation slow(slidingCube().system, {.interacts = false});
   const ReplayData sparse(recorded(slow, {.budget = 2000}, 100, 0.05));
   EXPECT_GT(sparse.times.size(), 7U);
   EXPECT_NEAR(sparse.times[2] - sparse.times[1], sparse.times[1], 1e-9);
   EXPECT_NEAR(sparse.times[6] - sparse.times[5], sparse.times[1], 1e-9);
}

/// A law with friction that looks at a contact as one patch.
template <class Law>
ZqLinkCollisionForce contactByPatches()
{
   ZqDryFrictionForceProcessor friction;
   friction.setUseStaticFriction(true);
   friction.setUseKineticFriction(true);
   ZqFrictionCoefficientLookupTool table;
   table.setDefaultLinearTangentialStaticFrictionCoefficient(0.5);
   table.setDefaultLinearKineticFrictionCoefficient(0.4);
   friction.setFrictionCoefficientLUT(table);
   Law law;
   law.setDissipativeForceProcessor(friction);
   law.setUseFriction(true);
   return zqTest::contactOf(law);
}

TEST(Replay, SharesOutTheForcesOfAnyLaw)
{
   struct Case
   {
      ZqLinkCollisionForce contact;
      std::size_t points;
   };
   const std::vector<Case> cases{
      {zqTest::contactOf(zqTest::ContactMaterial()), 4},
      {contactByPatches<ZqPointContactForceProcessor>(), 4},
      {contactByPatches<ZqMassSpringDamperCollisionForceProcessor>(), 1}};
   for (const Case& test : cases)
   {
      ZqSimulation simulation(slidingCube(test.contact).system);
      ZqVector force;
      const auto look = [&]
      {
         for (const ZqSimulation::Contact& contact : simulation.contacts())
         {
            const ZqContactResponse& response = contact.record->response();
            force = response.normalForce + response.frictionForce;
         }
      };
      const ReplayData data(recorded(simulation, {}, 100, 1e-4, look));
      // The floor is the first body. What pushes the cube up and brakes it acts at its lower side.
      ZqVector sum;
      const std::size_t last = data.times.size() - 1;
      ASSERT_EQ(data.starts[last + 1] - data.starts[last], test.points);
      for (std::uint32_t row = data.starts[last]; row < data.starts[last + 1]; ++row)
      {
         const float* numbers = &data.rows[std::size_t{8} * row];
         const ZqVector cube = zqTest::wayOf(simulation, 1);
         const double aside = std::hypot(numbers[0] - cube.x(), numbers[1] - cube.y());
         EXPECT_NEAR(aside, test.points == 4 ? 0.05 * std::sqrt(2.0) : 0.0, 1e-3);
         EXPECT_NEAR(numbers[2], 0.0F, 1e-3F);
         EXPECT_EQ(numbers[3]<0.0F, force.x()> 0.0);
         EXPECT_EQ(numbers[4]<0.0F, force.y()> 0.0);
         EXPECT_GT(numbers[5], 0.0F);
         sum += ZqVector(numbers[3], numbers[4], numbers[5]);
         EXPECT_EQ(numbers[6], 0.0F);
         EXPECT_EQ(numbers[7], 1.0F);
      }
      EXPECT_LT((sum + force).mag(), 1e-6 * force.mag());
   }
}

TEST(Replay, TakesAnyNameAndNoNumberThatIsNotFinite)
{
   const std::string name = "</script><script>alert(\"1\")</script>&<!-- \xE2\x80\xA8 \xD0\x96 '\\";
   ContactScene scene = slidingCube();
   ASSERT_TRUE(scene.system.changeManipulatorLabel("body1", name + '\xff' + std::string(1, '\0')));
   ZqSimulation simulation(scene.system);
   Recording recording(simulation, {.title = name});
   recording.sample(simulation);
   const ZqGeneralForce endless(ZqVector(1e308, 0.0, 0.0), ZqVector());
   simulation.setExternalForce({1, ZqBaseLinkIndex}, endless);
   for (int k = 1; k < 100 && simulation.stepTo(0.1 * k); ++k)
      recording.sample(simulation);
   EXPECT_TRUE(simulation.divergence());
   recording.sampleLast(simulation);
   const std::string text = recording.json();
   for (const char c : text)
      ASSERT_TRUE(c >= ' ' && c <= '~' && c != '<' && c != '>' && c != '&');
   const ReplayData data(text);
   EXPECT_GE(data.times.size(), 1U);
   EXPECT_EQ(data.json["title"], name);
   EXPECT_EQ(data.json["bodies"][1]["name"].get<std::string>().substr(0, name.size() + 4),
             name + "\xEF\xBF\xBD" + std::string(1, '\0'));

   const std::vector<std::string> scenes{text, "{}"};
   EXPECT_EQ(zqReplay::makePage("a<!--scenes-->b", scenes),
             "a<script type=\"application/json\" class=\"zq-scene\">" + text +
                "</script>\n<script type=\"application/json\" class=\"zq-scene\">{}</script>\nb");
   EXPECT_THROW(zqReplay::makePage("a", scenes), std::runtime_error);
}

/// With a copy of zqsim, as the page stands beside the program.
class ZqsimReplay : public Zqsim
{
protected:
   Result runCopy(const std::string& arguments) const
   {
      const std::string command = "cd " PROJECT " && " + scratch("bin/zqsim") + " run " +
                                  arguments + " >" + scratch("out") + " 2>" + scratch("err");
      const int status = std::system(command.c_str());
      return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(scratch("out")),
              contentOf(scratch("err"))};
   }
};

TEST_F(ZqsimReplay, IsAPageOfTheRun)
{
   std::filesystem::create_directories(scratch("bin"));
   std::filesystem::create_directories(scratch("share/zqManipulator"));
   std::filesystem::copy_file(ZQSIM, scratch("bin/zqsim"));
   const std::string page = scratch("page.html");
   const std::string run = model("pendulum") + " --time 1 --quiet --replay ";
   const Result without = runCopy(run + page);
   EXPECT_EQ(without.code, 1);
   EXPECT_NE(without.err.find("this zqsim was built without the replay page"), std::string::npos);
   EXPECT_FALSE(std::filesystem::exists(page));

   const std::string head = "<!DOCTYPE html><p>";
   for (const char* place : {"share/zqManipulator/replay.html", "bin/replay.html"})
   {
      std::ofstream(scratch(place)) << head << "<!--scenes-->";
      EXPECT_EQ(runCopy(run + page).err, "");
      const std::string text = contentOf(page);
      EXPECT_TRUE(text.starts_with(head));
      const auto begin = text.find('{');
      const ReplayData data(text.substr(begin, text.rfind("</script>") - begin));
      EXPECT_EQ(data.json["title"], "pendulum.xml");
      EXPECT_EQ(data.times.back(), 1.0);
      EXPECT_EQ(runCopy(run + "-").out, text);
      const auto remainders = arrayOf<float>(data.json["energies"]["remainder"]);
      EXPECT_EQ(remainders.size(), data.times.size());
      EXPECT_NE(remainders.back(), 0.0F);
   }
   // A run that diverges leaves what came before.
   const Result diverged =
      runCopy(changed("pendulum", {{"9.80665", "1e307"}}) + " --time 1 --replay " + page);
   EXPECT_EQ(diverged.code, 4) << diverged.err;
   EXPECT_TRUE(contentOf(page).starts_with(head));

   const std::vector<std::pair<std::string, std::string>> mistakes{
      {page + "x", "does not end in .html"},
      {scratch("none/page.html"), "No such file"},
      {page + " --save " + page, "is the file of --save"},
      {"- --json", "standard output is that of"}};
   for (const auto& [arguments, message] : mistakes)
   {
      const Result result = runCopy(run + arguments);
      EXPECT_TRUE(result.code == 1 || result.code == 2) << arguments;
      EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
   }
}
} // namespace
