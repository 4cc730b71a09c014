// Steps of bodies that touch beside other libraries of the field, those that were found: the same scenes,
// the same length of a step, one core. Each library is as it comes, so that the table has what a step
// costs, and below it what it is worth: how far a block goes on a slope that should hold it.
//
//    contactBenchmark [text...]    only the scenes that have one of the texts in their names

#include "contactLibrary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <random>
#include <span>

namespace
{
using namespace zqBenchmark;

constexpr struct
{
   const char* name;
   std::unique_ptr<ContactLibrary> (*make)(const ContactScene& scene);
} libraries[] = {
   {"ours", contactOurs},
#ifdef ZQ_WITH_BULLET
   {"Bullet", contactBullet},
#endif
#ifdef ZQ_WITH_MUJOCO
   {"MuJoCo", contactMujoco},
#endif
#ifdef ZQ_WITH_DART
   {"DART", contactDart},
#endif
#ifdef ZQ_WITH_SIMBODY
   {"Simbody", contactSimbody},
#endif
};
constexpr std::size_t libraryCount = std::size(libraries);

// Scenes

/// 1 kg and 0.1 m.
ContactBody cube(const Eigen::Vector3d& position, double yaw = 0.0)
{
   ContactBody body;
   body.halfExtents.setConstant(0.05);
   body.placement =
      Eigen::Translation3d(position) * Eigen::AngleAxisd(yaw, Eigen::Vector3d::UnitZ());
   return body;
}

ContactScene boxesOnPlane(int count)
{
   ContactScene scene;
   scene.name = count == 1 ? "a box on a plane" : std::to_string(count) + " boxes on a plane";
   const int side = static_cast<int>(std::ceil(std::sqrt(count)));
   for (int i = 0; i < count; ++i)
      scene.bodies.push_back(cube({0.3 * (i % side), 0.3 * (i / side), 0.05}, 0.1 * i));
   return scene;
}

ContactScene stackOfBoxes()
{
   ContactScene scene;
   scene.name = "a stack of 10 boxes";
   scene.timeStep = 2.5e-4;
   scene.stiffness = 1e5; // a softer one would fold up
   scene.hasStacks = true;
   for (int i = 0; i < 10; ++i)
      scene.bodies.push_back(cube({0.0, 0.0, 0.05 + 0.1 * i}));
   return scene;
}

ContactScene pileOfBoxes()
{
   ContactScene scene;
   scene.name = "a pile of 50 boxes";
   scene.timeStep = 2e-4;
   scene.hasStacks = true;
   std::mt19937_64 engine(3);
   const auto random = [&](double bound)
   { return bound * (static_cast<double>(engine() >> 11) * 0x1p-52 - 1.0); };
   for (int i = 0; i < 50; ++i)
   {
      const double x = 0.13 * (i % 3);
      const double y = 0.13 * (i / 3 % 3);
      const double z = 0.1 + 0.15 * (i / 9);
      scene.bodies.push_back(cube({x + random(0.02), y + random(0.02), z}, random(0.7)));
   }
   return scene;
}

ContactScene rollingSphere()
{
   ContactScene scene;
   scene.name = "a rolling sphere";
   ContactBody sphere;
   sphere.kind = ContactBody::Kind::Sphere;
   sphere.radius = 0.05;
   sphere.placement.translation().z() = sphere.radius;
   sphere.velocity.x() = 0.5;
   sphere.angularVelocity.y() = 0.5 / sphere.radius;
   scene.bodies.push_back(sphere);
   return scene;
}

/// A block between two fingers that are pressed together.
ContactScene squeezedBlock()
{
   ContactScene scene;
   scene.name = "a block between two fingers";
   scene.timeStep = 2.5e-4;
   scene.hasPlane = false;
   scene.hasStacks = true;
   for (const double side : {-1.0, 1.0})
   {
      ContactBody finger = cube({0.04 * side, 0.0, 0.0});
      finger.halfExtents = {0.01, 0.015, 0.02};
      finger.mass = 0.5;
      finger.isOnRail = true;
      finger.push = -50.0 * side;
      scene.bodies.push_back(finger);
   }
   ContactBody block = cube(Eigen::Vector3d::Zero());
   block.halfExtents = {0.03, 0.03, 0.05};
   scene.bodies.push_back(block);
   return scene;
}

/// A block on a slope that is as steep as this part of the angle of friction: the slope is level, and gravity
/// leans.
ContactScene blockOnSlope(double part)
{
   ContactScene scene = boxesOnPlane(1);
   scene.bodies[0] = cube({0.0, 0.0, 0.05});
   const double angle = part * std::atan(scene.friction);
   scene.gravity = 9.80665 * Eigen::Vector3d(std::sin(angle), 0.0, -std::cos(angle));
   return scene;
}

// Measurement

/// Batches of all libraries in turn, so that a busy machine is so for all of them.
class Measurement
{
public:
   explicit Measurement(const ContactScene& scene)
   {
      constexpr int rounds = 15;
      constexpr double batch = 5e-3; // of a clock that may count in us
      for (std::size_t i = 0; i < libraryCount; ++i)
      {
         m_worlds[i] = libraries[i].make(scene);
         if (m_worlds[i] == nullptr)
            continue;
         m_counts[i] = static_cast<int>(batch / settle(i, scene)) + 2;
      }
      for (int round = 0; round < rounds; ++round)
         for (std::size_t i = 0; i < libraryCount; ++i)
            if (m_worlds[i] != nullptr)
               m_seconds[i].push_back(time(i, m_counts[i]));
   }
   bool has(std::size_t library) const { return m_worlds[library] != nullptr; }
   double microseconds(std::size_t library) const
   {
      std::vector<double> values = m_seconds[library];
      const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
      std::nth_element(values.begin(), middle, values.end());
      return 1e6 * *middle;
   }
   int points(std::size_t library) { return m_worlds[library]->points(); }

private:
   /// For a second of the scene, but no longer than some of processor time. Returns what a step takes at the
   /// end.
   double settle(std::size_t library, const ContactScene& scene)
   {
      constexpr double longest = 15.0;
      constexpr int atOnce = 20;
      const std::clock_t start = std::clock();
      double last = 0.0;
      for (int i = 0; i < 1.0 / scene.timeStep; i += atOnce)
      {
         last = time(library, atOnce);
         if (static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC > longest)
            break;
      }
      return std::max(last, 1e-7);
   }
   /// Seconds of processor time for a step.
   double time(std::size_t library, int steps)
   {
      const std::clock_t start = std::clock();
      for (int i = 0; i < steps; ++i)
         m_worlds[library]->step();
      return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC / steps;
   }

   std::unique_ptr<ContactLibrary> m_worlds[libraryCount];
   int m_counts[libraryCount] = {};
   std::vector<double> m_seconds[libraryCount];
};

class Table
{
public:
   explicit Table(std::span<char*> filters) : m_filters(filters) {}

   void printHead(const char* title) const
   {
      std::printf("%-34s", title);
      for (const auto& library : libraries)
         std::printf(" %15s", library.name);
      std::printf("\n");
   }
   /// Microseconds, and how many points touch.
   void steps(const ContactScene& scene) const
   {
      if (!isWanted(scene.name))
         return;
      Measurement measurement(scene);
      std::printf("%-34s", scene.name.c_str());
      for (std::size_t i = 0; i < libraryCount; ++i)
         if (measurement.has(i))
            std::printf(" %8.2f (%4d)", measurement.microseconds(i), measurement.points(i));
         else
            std::printf(" %15s", "");
      std::printf("\n");
      std::fflush(stdout);
   }
   void shares(const ContactScene& scene) const
   {
      if (!isWanted(scene.name))
         return;
      const ContactShares shares = contactShares(scene);
      std::printf("%-34s %8.2f %12.2f %8.2f\n", scene.name.c_str(), shares.broadPhase,
                  shares.narrowPhase, shares.laws);
      std::fflush(stdout);
   }
   void worth(const char* name, const ContactScene& scene,
              double (*measure)(ContactLibrary&, const ContactScene&)) const
   {
      if (!isWanted(name))
         return;
      std::printf("%-34s", name);
      for (const auto& library : libraries)
         if (const auto world = library.make(scene))
            std::printf(" %15.3g", measure(*world, scene));
         else
            std::printf(" %15s", "");
      std::printf("\n");
      std::fflush(stdout);
   }

private:
   bool isWanted(const std::string& row) const
   {
      return m_filters.empty() ||
             std::any_of(m_filters.begin(), m_filters.end(),
                         [&](const char* filter) { return row.find(filter) != std::string::npos; });
   }

   std::span<char*> m_filters;
};

void run(ContactLibrary& world, double seconds, double dt)
{
   const int steps = static_cast<int>(std::lround(seconds / dt));
   for (int i = 0; i < steps; ++i)
      world.step();
}

/// mm that the last body goes in 10 s, after six in which it has come to rest.
double creep(ContactLibrary& world, const ContactScene& scene)
{
   const std::size_t last = scene.bodies.size() - 1;
   run(world, 6.0, scene.timeStep);
   const Eigen::Vector3d start = world.position(last);
   run(world, 10.0, scene.timeStep);
   return 1e3 * (world.position(last) - start).norm();
}

/// Of the acceleration down a slope of 1.1 times the angle of friction, in parts of what it should be.
double error(ContactLibrary& world, const ContactScene& scene)
{
   run(world, 1.0, scene.timeStep);
   const double start = world.velocity(0).x();
   run(world, 2.0, scene.timeStep);
   const double angle = 1.1 * std::atan(scene.friction);
   const double a = 9.80665 * (std::sin(angle) - scene.friction * std::cos(angle));
   return (world.velocity(0).x() - start) / 2.0 / a - 1.0;
}

} // namespace

int main(int argc, char** argv)
{
   const Table table(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
   table.printHead("us a step (points)");
   for (const int count : {1, 20, 100, 1000})
      table.steps(boxesOnPlane(count));
   table.steps(stackOfBoxes());
   table.steps(pileOfBoxes());
   table.steps(rollingSphere());
   table.steps(squeezedBlock());
   std::printf("\n%-34s %8s %12s %8s\n", "of our steps, us", "broad", "narrow", "laws");
   for (const int count : {1, 20, 100, 1000})
      table.shares(boxesOnPlane(count));
   table.shares(stackOfBoxes());
   table.shares(pileOfBoxes());
   std::printf("\n");
   table.printHead("what it is worth");
   table.worth("slope at 0.9: creep, mm in 10 s", blockOnSlope(0.9), creep);
   table.worth("slope at 1.1: error of sliding", blockOnSlope(1.1), error);
   table.worth("top of a stack: creep, mm in 10 s", stackOfBoxes(), creep);
   table.worth("held block: creep, mm in 10 s", squeezedBlock(), creep);
   return 0;
}
