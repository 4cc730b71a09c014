#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/state/ZqPositionState.h"

#include <memory>
#include <vector>

class ZqStatedSystem;

/// Finds positions of joints, and of a free base if it may move, that bring links of a manipulator to where they
/// are wanted: inverse kinematics.
///
/// It minimises the sum of squares of the weighted errors of all targets, within the limits of the joints, by
/// Gauss-Newton steps that are damped in proportion to that sum (Levenberg 1944; Sugihara, IEEE Trans. Robotics
/// 27(5), 2011), so that steps are careful where the targets are far or contradict, and converge quadratically
/// where they are met. An active set keeps each step within the limits. A start that comes to rest before the
/// targets are met is followed by others, drawn at random within the limits. Where targets leave freedom, the
/// joints are then led to a preferred posture without moving what was reached.
///
/// | what                   | how it is heeded                                                              |
/// |------------------------|-------------------------------------------------------------------------------|
/// | limits of drives       | held to the bit; a joint without a limit is free, and one that turns freely   |
/// |                        | over a whole turn or more has its answer next to the start                    |
/// | equality constraints   | loops are closed, and weighted sums of joints (gears, mimics) keep the value  |
/// |                        | that they have in the state, to 1e-12                                         |
/// | base                   | fixed where the state or the carrier has it, unless it is free and may move   |
/// | limits of several      | left alone                                                                    |
/// | joints, state          |                                                                               |
/// | constraints, collision |                                                                               |
///
/// What can be met is, whatever the weights and the size of the robot: until all starts have failed, lengths count
/// over the reach, and no weight for less than a hundredth of the greatest. Targets that cannot all be met are then
/// met as well as their weights allow: the answer is a least sum of squares among postures nearby, the best of all
/// starts, and says what is in the way: to rounding, by steps of Newton with the curvature of the errors; with
/// equality constraints, until the steps of a start gain less than a thousandth.
///
/// A solution follows from model, targets, start, settings and seed alone, to the last bit on every platform:
/// neither time nor the C library has a say. The tool keeps a reference to the scene, which has to live; after a
/// change of the manipulator in it, `setManipulator` comes first again. One tool serves one thread. Nothing is allocated once `setTargets` has been called, but for
/// the stream of random numbers, the first answer, and joints and constraints of a user's own.
class ZqInverseKinematicsTool
{
public:
   /// What is wanted of a link: that a frame on it comes to a goal.
   struct Target
   {
      ZqU32 link = 0xFFFFFFFE;                ///< by index; the base by `ZqBaseLinkIndex`
      ZqCoordinateSystemTransformation frame; ///< on the link, in its primary frame
      ZqCoordinateSystemTransformation goal;  ///< in the system
      /// Along the axes of the goal: errors count by so much; zero for a direction that is free. An error of
      /// 1 m counts as one of 1 rad; that of an orientation is 2 sin(angle / 2).
      ZqVector positionWeights{1.0, 1.0, 1.0};
      ZqVector orientationWeights{1.0, 1.0, 1.0}; ///< about the axes of the goal

      /// A frame on the link, by default its primary frame.
      static Target pose(ZqU32 link, const ZqCoordinateSystemTransformation& goal,
                         const ZqCoordinateSystemTransformation& frame = {});
      /// A point of the link (m, in its primary frame), whatever the orientation.
      static Target position(ZqU32 link, const ZqVector& goal, const ZqVector& point = {});
      /// A direction of the link (in its primary frame) along one of the system, whatever the position. Neither
      /// need be of unit length. One that is zero makes a target that is refused.
      static Target axis(ZqU32 link, const ZqVector& direction, const ZqVector& goal);
   };

   struct Settings
   {
      ZqReal tolerance =
         1e-9; ///< of each target (m and rad) for it to be met; steps go on while they gain
      ZqU32 maxIterations = 100; ///< of one start
      ZqU32 maxRestarts = 100;
      ZqU32 seed = 1;
      bool mayBaseMove = false; ///< without effect where it is fixed
      /// By joint: how much it is spared in comparison to others, above zero; more than 1e4 times the least counts
      /// as that, and infinite for one that stays as it is. Empty for 1 each.
      std::vector<ZqReal> jointWeights;
      /// By joint (rad, or m): where it would rather be. The sum of weighted squares of the differences is made
      /// least. Empty for none.
      std::vector<ZqReal> posture;
   };

   /// Why targets are not met.
   enum class Obstacle
   {
      None,   ///< they are
      Limits, ///< at rest, with joints that would go beyond their limits
      Reach,  ///< at rest away from limits: too far, or targets that contradict
      Loops,  ///< equality constraints that could not be fulfilled from any start
      Time    ///< no start came to rest within the iterations
   };
   struct Residual
   {
      ZqReal position = 0.0;    ///< m, of the components that have a weight
      ZqReal orientation = 0.0; ///< rad, likewise
   };
   struct JointAtLimit
   {
      ZqU32 joint = 0;
      bool isUpper = false;
      bool isInTheWay = false; ///< whether the errors would become less beyond it
      bool operator==(const JointAtLimit&) const = default;
   };
   struct Answer
   {
      bool isSolved = false;
      Obstacle obstacle = Obstacle::Time;
      /// Certain: some target is farther from the base than all links in line, whatever the limits. Else another
      /// start may do better, in theory.
      bool isBeyondReach = false;
      ZqPositionState position;        ///< all joints and the base
      std::vector<Residual> residuals; ///< by target
      std::vector<JointAtLimit> limits;
      ZqReal cost = 0.0;          ///< half of the sum of weighted squares
      ZqReal constraintGap = 0.0; ///< of equality constraints, the greatest of a row
      bool isPostureBest = false; ///< the preferred posture is as near as the targets allow
      ZqU32 iterations = 0;       ///< over all starts
      ZqU32 restarts = 0;
   };

   ZqInverseKinematicsTool();
   ZqInverseKinematicsTool(const ZqInverseKinematicsTool&) = delete;
   ZqInverseKinematicsTool& operator=(const ZqInverseKinematicsTool&) = delete;
   ~ZqInverseKinematicsTool();

   /// Takes a manipulator of a scene, which is not owned: attached manipulators stand where
   /// `ZqStatedSystem::placeAttachedManipulators` has put them. Forgets targets and settings by joint. False,
   /// with a message, for an index or a state that there is not, and for numbers in it that are not finite.
   bool setManipulator(const ZqStatedSystem& scene, ZqU32 index);
   /// False, with a message and as it was, for numbers that are no weights, lists of another length than that of
   /// the joints, a tolerance that is not above zero, and no manipulator.
   bool setSettings(const Settings& settings);
   const Settings& settings() const noexcept { return m_settings; }
   /// False, with a message and as it was, for no targets, links that there are not, numbers that are not
   /// finite, and targets that ask for nothing.
   bool setTargets(const std::vector<Target>& targets);
   /// Moves the goal of a target, whose weights stay. False likewise.
   bool setGoal(ZqU32 target, const ZqCoordinateSystemTransformation& goal);

   /// From the state of the scene, or from another one of the same manipulator; joints beyond their limits start
   /// at them. The answer belongs to the tool, and lasts until the next call. False where nothing could be
   /// computed, with a message: no targets, a start of another size or that is not finite, limits that exclude
   /// each other, a constraint that is not of a kind that can be held. Targets that are not met are no failure.
   /// @{
   bool solve();
   bool solve(const ZqPositionState& start);
   /// @}
   const Answer& answer() const noexcept { return m_answer; }

private:
   struct Work;

   bool isCurrent() const;

   Settings m_settings;
   Answer m_answer;
   std::unique_ptr<Work> m_work;
};
