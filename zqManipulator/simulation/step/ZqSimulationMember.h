#pragma once

#include "zqManipulator/dynamics/constraints/ZqStopFactor.h"
#include "zqManipulator/dynamics/motion/ZqArticulatedSweep.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqConstraintProjection.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <array>
#include <memory>
#include <utility>
#include <vector>

/// A joint with its drive, and what goes into it.
struct ZqSimulation::Joint
{
   const ZqManipulatorLink* link;
   const ZqMechanicalActuatorComponent* driveTrain; ///< or null
   const ZqBasePowerConverter* converter;           ///< or null
   ZqReal gearRatio;
   ZqReal lowerLimit, upperLimit, maxRate;
   bool isFlexible;
   ZqReal command = 0.0;
   ZqReal torque = 0.0;
   bool wasAtLimit = false;
};

/// A limit that depends on several joints, of one of them.
struct ZqSimulation::Limit
{
   ZqU32 joint;
   const ZqBaseStateConstraint* constraint;
   int stops = 0; ///< of the step, one a gradient
};

/// What a step must not exceed: the speed along a row of `ZqStopFactor` is to be a least one at its end.
struct ZqSimulation::Stop
{
   ZqU32 joint; ///< whose limit it is
   ZqReal sign; ///< of the only joint in the row; zero where there are several
   ZqReal least;
   bool isLimit;      ///< and not a highest rate
   bool acts = false; ///< by an impulse, or nothing can move what it stops
};

/// What an integrator moves: joints, then the origin of a free base, then motors; and the turn of the
/// base. All of the base stands in the axes of the manipulator's place.
struct ZqSimulation::Motion
{
   void resize(std::size_t count)
   {
      positions.resize(count);
      rates.resize(count);
   }

   std::vector<ZqReal> positions;
   std::vector<ZqReal> rates;
   ZqOrientation orientation;
   ZqVector angular; ///< rad/s
};

/// Of a manipulator with all that it carries.
struct ZqSimulation::Momentum
{
   ZqReal mass = 0.0;
   ZqVector center;  ///< of mass, in the system (m)
   ZqVector lever;   ///< from the origin of the base to the center, in axes of the system (m)
   ZqVector linear;  ///< in axes of the system (kg m/s)
   ZqVector angular; ///< about the center, in axes of the system (kg m^2/s)
   ZqSpatialMatrix inverseInertia; ///< of all bodies as one, about the center, in axes of the base
   ZqOrientation base;             ///< in the system
};

/// What does not change of a manipulator that is one free body.
struct ZqSimulation::RigidBody
{
   zqMotion::Body body;
   zqMotion::BaseFactor<ZqReal> factor; ///< of its inertia
};

/// An attached manipulator, and the link that it hangs on.
struct ZqSimulation::Carried
{
   ZqU32 manipulator;
   Place carrier;
   ZqGeneralForce force =
      {}; ///< of interactions, on it and on what it carries (N, N m), in the system
};

/// What a step notes of a manipulator for the book of energies, where it begins and on its way.
struct ZqSimulation::StepBook
{
   std::vector<ZqDriveLoads> drives; ///< with the damper at the joint
   ZqReal circulatingPower = 0.0;    ///< of springs at joints (W)
   ZqReal externalPower = 0.0;       ///< of the forces that are given (W)
   ZqActuatorState actuatorsKept;
   ZqManipulatorExternalForce
      interactions;               ///< if it is carried, less what is passed to its carrier
   ZqReal interactionPower = 0.0; ///< of these (W)
   ZqReal heldBefore = 0.0;       ///< if it is carried, by what follows (J)
   ZqReal lostAtLimits = 0.0;     ///< J
   ZqVelocityState scratchVelocity;
   bool hasOwnMotor = false; ///< a flexible drive of an own class
   bool isCarried = false;   ///< it is attached
   bool isLoad = false;      ///< and its carrier is not: its base moves as one with that
   bool hasReturned = false; ///< by a criterion, from
   ZqPositionState reachedPosition;
   ZqVelocityState reachedVelocity;
};

/// What a step found two shapes to do.
struct ZqSimulation::ContactOfStep
{
   ContactOfStep(const ZqShapeKey& key1, const ZqShapeKey& key2, const ZqContactMemory& memory);

   /// In the order in which contacts are walked over: the indices of both manipulators and links, the
   /// lesser first, and then the numbers of the shapes.
   std::array<ZqU32, 6> shapes;
   ContactMode mode;
};

/// What takes much room: those that are not one free body have it.
struct ZqSimulation::Solvers
{
   ZqCrbiAccelerationTool crbi;
   ZqArbiAccelerationTool arbi;
   ZqConstraintProjection projection;
   ZqStopFactor stops;
   ZqConstraintFactor constraintsBesideStops;
   ZqReArray jacobian;
   ZqMassMatrixFactor* massMatrix = nullptr; ///< with which the present step stops
   std::vector<ZqReal> lacking;              ///< speed, one a stop
};

/// A contact that pushes so hard that the step may be too long for it.
struct ZqSimulation::Push
{
   DeepestContact contact;
   ZqVector direction;             ///< of the force on the first link, unit, in the system
   std::array<ZqVector, 2> points; ///< that touch, in the primary frames
   ZqReal reach;                   ///< as far as links that are thrown go in the step, at least (m)
   bool isWithin;                  ///< deeper than the smaller link is large
   bool isFirstLighter;
   ZqReal stepLimit; ///< s
   ZqReal speed;     ///< with which the points part where the step begins (m/s)
};

/// What belongs to one manipulator.
struct ZqSimulation::Member
{
   explicit Member(const ZqIndividualManipulator& ofWhich) : manipulator(&ofWhich) {}

   std::size_t size() const { return 2 * joints.size() + 3; } ///< of a motion
   const ZqIndividualManipulator* manipulator;
   Tree* tree = nullptr; ///< with which it is solved; null for one that is solved by itself
   ZqU32 partOfTree = 0; ///< which one it is
   std::vector<Joint> joints;
   std::vector<ZqReal> linkSizes; ///< of the base first: the longest extents of their boxes (m)
   bool isStill = false;          ///< for ever: a fixed base without joints
   bool isBaseStill = false;      ///< for ever: it is fixed, and nothing carries it
   ZqOrientation toPlace;         ///< takes axes of the system to those of the manipulator's place
   std::optional<RigidBody> rigidBody;
   ZqAccelerationState accelerations;
   ZqAccelerationState gravity;
   ZqManipulatorExternalForce externalForce; ///< that is given
   bool isPushed = false;                    ///< by it
   ZqManipulatorExternalForce force;         ///< with that of interactions
   ZqReArray constraintForces;
   ZqConstraintKinematics constraintKinematics;
   ZqActuatorState drivesKept; ///< at the start of a step, or before an evaluation of the present
   std::unique_ptr<Solvers> solvers; ///< null for a rigid body
   bool isConstrained = false;       ///< and the solver heeds it
   bool wasClosed = false;           ///< all loops, at the start or since
   bool isToldOpen = false;          ///< by a message
   std::vector<bool> isFree;         ///< of the joints, those that no limit of their drives holds
   std::vector<Limit> limits;
   std::vector<Stop> stops;               ///< of the step, each with a row
   ZqAccelerationState freeAccelerations; ///< without stops
   std::vector<ZqReal> nextVelocities;    ///< of the joints at the end of the step
   std::vector<ZqReal> gradient;
   bool hasFiredCriterion = false;
   std::unique_ptr<StepBook> stepBook; ///< null without books

   /// \name Of the integrators with more than one evaluation a step
   /// @{
   Motion start, trial, end;              ///< of the step
   std::vector<ZqReal> slopes;            ///< accelerations, in the order of the rates
   ZqVector angularSlope;                 ///< angular acceleration (rad/s^2)
   std::vector<ZqReal> rateSum, slopeSum; ///< over the stages, by their shares
   ZqVector turnSum, angularSlopeSum;
   ZqVector turn; ///< from the start to the trial: a rotation vector
   ZqVector startInBody, endInBody, previousEndInBody; ///< angular velocities in axes of the base
   std::vector<ZqReal> previousEndRates;
   ZqActuatorState drivesBefore;  ///< the first evaluation, which takes the friction modes on
   ZqActuatorState drivesAtStart; ///< after it
   ZqManipulatorExternalForce forceAtStart;
   ZqPositionState scratchPosition;
   Momentum momentumAtStart;
   /// Its base is free, and there are neither constraints nor attachments, but for those that are solved with it.
   bool isUnbound = false;
   bool isLeftAlone = false; ///< nothing but gravity and external forces acts from outside
   /// @}
};

/// Manipulators that are attached to each other, as one with all of their joints. States, forces and drives are
/// gathered from those that it is made of, and what the solver finds is scattered to them.
struct ZqSimulation::Tree
{
   /// One of the manipulators.
   struct Part
   {
      ZqU32 manipulator;
      ZqU32 host; ///< the link of the tree of which its base is a part, or `ZqBaseLinkIndex`
      ZqCoordinateSystemTransformation base; ///< the D-H frame of its base in that of the host
      std::vector<ZqU32> joints = {};        ///< of the tree, by link index
      ZqU32 firstRow = 0;                    ///< of its constraints
      ZqU32 rows = 0;
   };

   Tree(std::vector<Part> ofWhat, const ZqIndividualManipulator& manipulator,
        const ZqSystemEnvironment& environment);

   ZqU32 root() const { return parts.front().manipulator; }
   Unit unit();

   std::vector<Part> parts;   ///< carriers before what they carry
   std::vector<Place> places; ///< of its joints
   ZqStatedSystem scene;      ///< with nothing but the one manipulator
   ZqManipulatorActiveState active;
   ZqPositionState position;
   ZqVelocityState velocity;
   ZqVelocityState velocityAfter; ///< the step, for the book
   ZqManipulatorTorque torque;
   Member whole;
   /// Of the constraints of the whole, the manipulator and its index there.
   std::vector<std::pair<ZqU32, ZqU32>> constraints;
   ZqReArray constraintForces;
};

/// What a solver is asked about: a manipulator by itself, or a tree.
struct ZqSimulation::Unit
{
   ZqU32 index; ///< of the manipulator, or of the one that carries the others
   const ZqStatedSystem& scene;
   Member& member;
   ZqManipulatorActiveState& active;
   ZqPositionState& position;
   ZqVelocityState& velocity;
   ZqManipulatorTorque& torque;
   Tree* tree; ///< null for a manipulator by itself
};
