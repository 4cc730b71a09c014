#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/simulation/constraints/ZqConstraintKinematics.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"
#include "zqManipulator/tools/posture/ZqInverseKinematicsTool.h"

class ZqIndividualManipulator;

/// Inverse kinematics as plain numbers: errors of targets and gaps of constraints, with their derivatives by what
/// may vary: six numbers of a base that may move, translation and rotation in the axes of the system, and the
/// joints that matter.
namespace zqPosture
{
using Vec3 = zqMotion::Vec3<ZqReal>;
using Quat = zqMotion::Quat<ZqReal>;
using Mat3 = zqMotion::Mat3<ZqReal>;
using Tool = ZqInverseKinematicsTool;

struct Point
{
   std::vector<ZqReal> q; ///< of all joints
   zqMotion::Frame<ZqReal> base;
   std::vector<ZqReal> errors; ///< of targets, weighted; then gaps of constraints
   ZqReal cost = 0.0;          ///< of targets
   ZqReal gap = 0.0;           ///< the greatest of a constraint
};

class Problem
{
public:
   void setManipulator(const ZqIndividualManipulator& manipulator, const ZqPositionState& position);
   /// How errors count from now on: by the weights that were asked for, over the greatest; or so that what can be
   /// met is, whatever its weight and the size of the robot: with lengths over the reach, and none of the weights
   /// far below others.
   void weigh(bool asAsked);
   void setTargets(const std::vector<Tool::Target>& targets);
   void setGoal(std::size_t target, const ZqCoordinateSystemTransformation& goal);
   /// Which joints vary. False, with a message, where limits or constraints are not of a kind that can be kept.
   bool setVariables(const Tool::Settings& settings);
   /// Weighted sums keep the values that they have at these positions of joints.
   void setReference(const std::vector<ZqReal>& positions) { m_reference = positions; }

   /// Errors and gaps; afterwards `differentiate` of the same point tells the derivatives.
   void evaluate(Point& point);
   /// The derivatives of errors and gaps, one row below the other.
   void differentiate(const Point& point, std::vector<ZqReal>& rows);
   /// A point that differs by a step of the variables.
   void move(const Point& from, const ZqReal* step, Point& to) const;
   /// Whether each target is within a distance (m) and a chord, 2 sin(angle / 2).
   bool isMet(const Point& point, ZqReal distance, ZqReal chord) const;
   Tool::Residual residual(const Point& point, std::size_t target) const;
   /// Half of the sum of squares by the weights that were asked for.
   ZqReal askedCost(const Point& point) const;
   /// All links in line, from the base to where a target is on its link (m).
   ZqReal reachOf(const Tool::Target& target) const;
   /// The greatest of these, as a power of two: the size of the robot (m), or 1 where there is none.
   ZqReal length() const noexcept { return m_length; }

   int variables() const noexcept { return m_baseVariables + static_cast<int>(m_joints.size()); }
   int baseVariables() const noexcept { return m_baseVariables; }
   const std::vector<int>& joints() const noexcept { return m_joints; }
   int targetRows() const noexcept { return m_targetRows; }
   int rows() const noexcept { return m_targetRows + m_constraintRows; }
   bool hasConstraints() const noexcept { return m_constraintRows > 0; }
   const std::vector<ZqReal>& lower() const noexcept { return m_lower; } ///< by joint
   const std::vector<ZqReal>& upper() const noexcept { return m_upper; }
   /// Whether a joint may be anywhere, since a turn more or less brings it within its limits.
   bool turnsFreely(std::size_t joint) const noexcept
   {
      return m_turnsFreely[joint] || (m_isRelaxed && m_isPeriodic[joint]);
   }
   /// Lets all joints turn freely for which a turn more or less is the same place of all links.
   void relax(bool on) noexcept { m_isRelaxed = on; }
   bool isAngle(std::size_t joint) const noexcept { return m_isAngle[joint]; }
   const ZqIndividualManipulator& manipulator() const noexcept { return *m_manipulator; }
   const std::vector<Tool::Target>& targets() const noexcept { return m_targets; }
   /// A manipulator is the one that was flattened, and has not changed.
   bool isOf(const ZqIndividualManipulator* manipulator) const;

private:
   /// A target on its link.
   struct Aim
   {
      int link; ///< -1 for the base
      Vec3 p;   ///< the frame in the axis frame of the link
      Quat q;
      Vec3 goal;
      Quat goalAxes;
      Mat3 goalRotation;
      ZqReal asked[6];   ///< weights
      ZqReal weights[6]; ///< that count now
      int rows;
      Vec3 place; ///< where it is now
      Quat error; ///< its axes in those of the goal
   };

   bool takeLimits(const Tool::Settings& settings);
   bool takeConstraints(const Tool::Settings& settings);
   void takeJoints(const Tool::Settings& settings);
   void aimAt(Aim& aim, const ZqCoordinateSystemTransformation& goal);
   void place(const Point& point);
   void evaluateConstraints(Point& point);
   struct Lengths
   {
      ZqReal distance, chord;
   };
   static Lengths lengthsOf(const Aim& aim, const ZqReal*& errors);
   void writeColumn(const Aim& aim, int firstRow, int column, const Vec3& linear,
                    const Vec3& angular, ZqReal* rows) const;

   const ZqIndividualManipulator* m_manipulator = nullptr;
   std::shared_ptr<const ZqMotionPlan> m_plan;
   ZqCoordinateSystemTransformation m_placement; ///< of the frame in which states have the base
   std::vector<Tool::Target> m_targets;
   std::vector<Aim> m_aims;
   ZqReal m_length = 1.0;
   ZqReal m_greatestWeight = 1.0;
   bool m_hasOrientations = false;
   std::vector<int> m_links;      ///< that have to be placed, parents first
   std::vector<int> m_joints;     ///< by variable, after those of the base
   std::vector<int> m_variableOf; ///< by joint; -1 for one that does not vary
   std::vector<ZqReal> m_lower, m_upper;
   std::vector<bool> m_turnsFreely, m_isPeriodic, m_isAngle, m_isPlaced;
   bool m_isRelaxed = false;
   int m_baseVariables = 0, m_targetRows = 0, m_constraintRows = 0;
   std::vector<ZqReal>
      m_reference; ///< positions at which weighted sums have the values that they keep

   std::vector<ZqReal> m_halfCos, m_halfSin;
   std::vector<zqMotion::Slot<ZqReal>> m_slots;
   std::vector<zqMotion::Frame<ZqReal>> m_frames;
   ZqPositionState m_position;
   ZqManipulatorActiveState m_activeState;
   ZqConstraintKinematics m_kinematics;
};
} // namespace zqPosture
