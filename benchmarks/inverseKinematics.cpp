// Inverse kinematics of random reachable poses, beside other solvers with the same starts. It prints a table.
//
//     inverseKinematicsBenchmark [POSES] [PUMA]

#include "inverseKinematicsSolver.h"
#include "support/sevenAxisArm.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"
#include "zqManipulator/tools/posture/ZqInverseKinematicsTool.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

using namespace zqBenchmark;

namespace
{
constexpr double fine = 1e-9; // m and rad
/// What ends the restarts of other solvers: some take smaller angles for none.
constexpr double coarse = 1e-6;
constexpr int mostRestarts = 100;

class Tool : public InverseSolver
{
public:
   explicit Tool(const ZqStatedSystem& scene)
      : InverseSolver("zqManipulator"), m_start(scene.state().positionStates()[0])
   {
      m_tool.setManipulator(scene, 0);
      m_last = scene.manipulatorByIndex(0)->jointDof() - 1;
      m_tool.setTargets({ZqInverseKinematicsTool::Target::pose(m_last, {})});
   }
   void setRestarts(int restarts)
   {
      ZqInverseKinematicsTool::Settings settings;
      settings.maxRestarts = static_cast<ZqU32>(restarts);
      m_tool.setSettings(settings);
   }
   void solve(const Joints& start, const ZqCoordinateSystemTransformation& goal,
              Joints& result) override
   {
      m_start.jointPositions().values() = start;
      m_tool.setGoal(0, goal);
      m_tool.solve(m_start);
      result = m_tool.answer().position.jointPositions().values();
   }

private:
   ZqInverseKinematicsTool m_tool;
   ZqPositionState m_start;
   ZqU32 m_last = 0;
};

struct Task
{
   ZqCoordinateSystemTransformation goal;
   std::vector<Joints> starts; ///< the first, and those of restarts
};

/// What a robot is asked, and the check of all answers.
class Arm
{
public:
   Arm(std::string name, ZqStatedSystem& scene) : m_name(std::move(name)), m_scene(scene)
   {
      for (const ZqManipulatorLink* link : manipulator().linkPointerVector())
      {
         m_lower.push_back(link->jointActuator().lowerLimit());
         m_upper.push_back(link->jointActuator().upperLimit());
      }
   }
   const ZqIndividualManipulator& manipulator() const { return *m_scene.manipulatorByIndex(0); }
   const ZqStatedSystem& scene() const { return m_scene; }
   const Joints& lower() const { return m_lower; }
   const Joints& upper() const { return m_upper; }
   const std::string& name() const { return m_name; }

   Joints randomPosture(zqTest::RandomValues& random) const
   {
      Joints q(m_lower.size());
      for (std::size_t i = 0; i < q.size(); ++i)
         q[i] = random.real(m_lower[i], m_upper[i]);
      return q;
   }
   Joints middle() const
   {
      Joints q(m_lower.size());
      for (std::size_t i = 0; i < q.size(); ++i)
         q[i] = 0.5 * (m_lower[i] + m_upper[i]);
      return q;
   }
   ZqCoordinateSystemTransformation poseAt(const Joints& q)
   {
      ZqPositionState position = m_scene.state().positionStates()[0];
      position.jointPositions().values() = q;
      m_active.setPositionState(position);
      return manipulator().linkPointerVector().back()->primaryFrameInSystem(
         m_active.activePositionState());
   }
   /// How far a pose is from a goal (m or rad, whichever is more).
   double distance(const Joints& q, const ZqCoordinateSystemTransformation& goal)
   {
      const ZqCoordinateSystemTransformation X = poseAt(q);
      const ZqOrientation error = goal.orientation().inverse() * X.orientation();
      const double distance = std::max((X.translation() - goal.translation()).mag(),
                                       2.0 * error.vectorPart().mag());
      return std::isfinite(distance) ? distance : 1e300;
   }
   /// Also after whole turns.
   bool isWithinLimits(const Joints& q) const
   {
      for (std::size_t i = 0; i < q.size(); ++i)
      {
         const double turn = 2.0 * ZqMath::pi;
         const double lifted = q[i] + turn * std::ceil((m_lower[i] - q[i]) / turn);
         if (!(lifted <= m_upper[i]))
            return false;
      }
      return true;
   }

private:
   std::string m_name;
   ZqStatedSystem& m_scene;
   ZqManipulatorActiveState m_active;
   Joints m_lower, m_upper;
};

struct Score
{
   int fine = 0, coarse = 0, beyondLimits = 0;
   std::vector<double> times; ///< us
};

void print(const char* starts, const std::string& solver, Score& score)
{
   std::sort(score.times.begin(), score.times.end());
   const std::size_t count = score.times.size();
   double sum = 0.0;
   for (const double time : score.times)
      sum += time;
   const auto percent = [&](int part) { return 100.0 * part / static_cast<double>(count); };
   std::printf("  %-19s %-14s %8.2f %8.2f %8.2f %9.1f %9.1f %9.1f\n", starts, solver.c_str(),
               percent(score.fine), percent(score.coarse), percent(score.beyondLimits),
               score.times[count / 2], sum / static_cast<double>(count),
               score.times[count * 99 / 100]);
   std::fflush(stdout);
}

/// Up to so many starts of each task, until one is solved.
Score measure(Arm& arm, InverseSolver& solver, const std::vector<Task>& tasks, int starts)
{
   Score score;
   Joints result;
   for (const Task& task : tasks)
   {
      double time = 0.0;
      double best = 1e300;
      bool wasBeyond = false;
      for (int k = 0; k < starts && best > coarse; ++k)
      {
         const auto begin = std::chrono::steady_clock::now();
         solver.solve(task.starts[static_cast<std::size_t>(k)], task.goal, result);
         time += std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin)
                    .count();
         const double distance = arm.distance(result, task.goal);
         if (arm.isWithinLimits(result))
            best = std::min(best, distance);
         else
            wasBeyond = wasBeyond || distance <= coarse;
      }
      score.fine += best <= fine ? 1 : 0;
      score.coarse += best <= coarse ? 1 : 0;
      score.beyondLimits += best > coarse && wasBeyond ? 1 : 0;
      score.times.push_back(time);
   }
   return score;
}

void compare(Arm& arm, bool fromMiddle, int poses)
{
   zqTest::RandomValues random(2026);
   std::vector<Task> tasks;
   for (int i = 0; i < poses; ++i)
   {
      Task task;
      task.goal = arm.poseAt(arm.randomPosture(random));
      task.starts.push_back(fromMiddle ? arm.middle() : arm.randomPosture(random));
      for (int k = 0; k < mostRestarts; ++k)
         task.starts.push_back(arm.randomPosture(random));
      tasks.push_back(std::move(task));
   }
   Tool tool(arm.scene());
   const auto peers = peersFor(arm.manipulator(), arm.lower(), arm.upper());
   for (const auto& peer : peers)
      for (const Task& task : tasks)
         if (!peer->agrees(task.starts[0], arm.poseAt(task.starts[0])))
         {
            std::printf("%s has another arm\n", peer->name().c_str());
            std::exit(1);
         }
   std::printf("%s, %d poses, from %s\n", arm.name().c_str(), poses,
               fromMiddle ? "the middle of the limits" : "another random posture");
   for (const bool withRestarts : {false, true})
   {
      const char* const starts = withRestarts ? "up to 100 restarts" : "one start";
      tool.setRestarts(withRestarts ? mostRestarts : 0);
      Score ours = measure(arm, tool, tasks, 1); // it restarts itself
      print(starts, tool.name(), ours);
      for (const auto& peer : peers)
      {
         Score theirs = measure(arm, *peer, tasks, withRestarts ? mostRestarts + 1 : 1);
         print(starts, peer->name(), theirs);
      }
   }
}
} // namespace

int main(int argumentCount, char** arguments)
{
   const int poses = argumentCount > 1 ? std::atoi(arguments[1]) : 10000;
   ZqStatedSystem puma;
   if (poses < 1 ||
       !Zq::load(puma, argumentCount > 2 ? arguments[2] : "examples/models/puma560.xml"))
      return 1;
   ZqStatedSystem seven;
   seven.setFromManipulator(zqTest::sevenAxisArm());
   std::printf("  %-19s %-14s %8s %8s %8s %9s %9s %9s\n", "", "", "1e-9", "1e-6", "beyond", "median",
               "mean", "99 %");
   std::printf("  %-19s %-14s %8s %8s %8s %9s %9s %9s\n", "starts", "solver", "%", "%", "limits %",
               "us", "us", "us");
   Arm arms[] = {{"PUMA 560", puma}, {"arm of seven joints", seven}};
   for (Arm& arm : arms)
      for (const bool fromMiddle : {false, true})
         compare(arm, fromMiddle, poses);
   return 0;
}
